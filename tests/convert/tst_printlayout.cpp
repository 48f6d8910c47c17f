#include "convert/printlayout.h"

#include <QRandomGenerator>
#include <QTest>

#include <numeric>

class TestPrintLayout : public QObject {
    Q_OBJECT

private:
    // What any cut must be: every index once and in order, each page as large as its rows and
    // within the body, an oversized row alone, and no page closed while its next row still fit.
    static void checkCut(const std::vector<PageIndexes>& pages, const std::vector<int>& order,
                         const std::vector<int>& sizes, int body) {
        std::vector<int> seen;
        for (std::size_t p = 0; p < pages.size(); ++p) {
            const PageIndexes& page = pages[p];
            QVERIFY(page.count() > 0);
            int sum = 0;
            for (int i = 0; i < page.count(); ++i) {
                seen.push_back(page.modelIndex(i));
                sum += sizes[static_cast<std::size_t>(page.modelIndex(i))];
            }
            if (sum > body) {
                QCOMPARE(page.count(), 1);
                QCOMPARE(page.size, body);
            } else {
                QCOMPARE(page.size, sum);
            }
            if (p + 1 < pages.size() && sum <= body) {
                const int next = pages[p + 1].modelIndex(0);
                QVERIFY2(sum + sizes[static_cast<std::size_t>(next)] > body, "a page closed early");
            }
        }
        QCOMPARE(seen, order);
    }

private slots:
    // Random row heights, some taller than a page, cut from every start and as selections.
    void cutAgainstItsRules() {
        QRandomGenerator random(4242);
        for (int round = 0; round < 300; ++round) {
            const int count = static_cast<int>(random.bounded(0, 60));
            const int body = static_cast<int>(random.bounded(1, 200));
            std::vector<int> sizes(static_cast<std::size_t>(count));
            for (int& size : sizes)
                size = static_cast<int>(random.bounded(0, random.bounded(10) == 0 ? 400 : 80));
            const auto sizeOf = [&sizes](int i) { return sizes[static_cast<std::size_t>(i)]; };

            const int first = count == 0 ? 0 : static_cast<int>(random.bounded(0, count + 1));
            std::vector<int> order(static_cast<std::size_t>(count - first));
            std::iota(order.begin(), order.end(), first);
            const std::vector<PageIndexes> pages = PrintLayout::cutPages(first, count, sizeOf, body);
            checkCut(pages, order, sizes, body);
            for (const PageIndexes& page : pages)
                QVERIFY(!page.useIndexes && page.indexes.empty());

            std::vector<int> selected;
            for (int i = 0; i < count; ++i) {
                if (random.bounded(3) == 0)
                    selected.push_back(i);
            }
            const std::vector<PageIndexes> chosen = PrintLayout::cutPages(selected, sizeOf, body);
            checkCut(chosen, selected, sizes, body);
            for (const PageIndexes& page : chosen)
                QVERIFY(page.useIndexes);
        }
    }

    // A row taller than the page sits alone, clipped to the body; the rows around it go on.
    void oversizedRowGetsItsOwnPage() {
        const std::vector<int> sizes{30, 30, 500, 30};
        const auto pages = PrintLayout::cutPages(
            0, 4, [&sizes](int i) { return sizes[static_cast<std::size_t>(i)]; }, 100);
        QCOMPARE(pages.size(), std::size_t(3));
        QCOMPARE(pages[0].startIndex, 0);
        QCOMPARE(pages[0].endIndex, 2);
        QCOMPARE(pages[1].startIndex, 2);
        QCOMPARE(pages[1].endIndex, 3);
        QCOMPARE(pages[1].size, 100);
        QCOMPARE(pages[2].startIndex, 3);
        QCOMPARE(pages[2].size, 30);
    }

    void emptyListGivesNoPage() {
        const auto sizeOf = [](int) { return 10; };
        QVERIFY(PrintLayout::cutPages(std::vector<int>{}, sizeOf, 100).empty());
        QVERIFY(PrintLayout::cutPages(5, 5, sizeOf, 100).empty());
    }

    void bodyIndexesDropPrintedHeaders() {
        QCOMPARE(PrintLayout::bodyIndexes({7, 0, 3, 1, 3}, 2, true), (std::vector<int>{3, 7}));
        QCOMPARE(PrintLayout::bodyIndexes({7, 0, 3, 1, 3}, 2, false), (std::vector<int>{0, 1, 3, 7}));
        QVERIFY(PrintLayout::bodyIndexes({0, 1}, 2, true).empty());
    }

    void pageOrder_data() {
        QTest::addColumn<int>("n");
        QTest::addColumn<bool>("rowWise");
        QTest::addColumn<int>("rowPage");
        QTest::addColumn<int>("colPage");
        // 2 pages down, 3 across.
        QTest::newRow("row-wise first") << 0 << true << 0 << 0;
        QTest::newRow("row-wise second goes across") << 1 << true << 0 << 1;
        QTest::newRow("row-wise fourth starts row two") << 3 << true << 1 << 0;
        QTest::newRow("row-wise last") << 5 << true << 1 << 2;
        QTest::newRow("column-wise second goes down") << 1 << false << 1 << 0;
        QTest::newRow("column-wise third starts column two") << 2 << false << 0 << 1;
        QTest::newRow("column-wise last") << 5 << false << 1 << 2;
    }
    void pageOrder() {
        QFETCH(int, n);
        QFETCH(bool, rowWise);
        QFETCH(int, rowPage);
        QFETCH(int, colPage);
        QCOMPARE(PrintLayout::pagePosition(n, 2, 3, rowWise), std::make_pair(rowPage, colPage));
    }

    void pageRanges_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QList<int>>("pages"); // of pages 1-12
        QTest::newRow("placeholder example") << "1-3, 5, 7-9" << QList<int>{1, 2, 3, 5, 7, 8, 9};
        QTest::newRow("spaces and empty parts") << " 2 ,, 4 - 5 ," << QList<int>{2, 4, 5};
        QTest::newRow("backwards range ignored") << "5-3, 1" << QList<int>{1};
        QTest::newRow("zero ignored") << "0, 0-2, 3" << QList<int>{3};
        QTest::newRow("letter ignored") << "a, 2-b, 4" << QList<int>{4};
        QTest::newRow("two hyphens ignored") << "1-2-3, 6" << QList<int>{6};
        QTest::newRow("negative ignored") << "-3, 7" << QList<int>{7};
        QTest::newRow("single page range") << "4-4" << QList<int>{4};
        QTest::newRow("overlaps merge") << "1-3, 2-4" << QList<int>{1, 2, 3, 4};
        QTest::newRow("nothing usable means all") << "x, 0" << QList<int>{};
        QTest::newRow("empty means all") << "" << QList<int>{};
    }
    void pageRanges() {
        QFETCH(QString, text);
        QFETCH(QList<int>, pages);
        const QPageRanges ranges = PrintLayout::parsePageRanges(text);
        QCOMPARE(ranges.isEmpty(), pages.isEmpty());
        QList<int> contained;
        for (int page = 1; page <= 12; ++page) {
            if (ranges.contains(page))
                contained.append(page);
        }
        QCOMPARE(contained, pages);
    }
};

QTEST_GUILESS_MAIN(TestPrintLayout)
#include "tst_printlayout.moc"
