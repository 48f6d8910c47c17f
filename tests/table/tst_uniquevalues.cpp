// The count of distinct values of a column against a plain count, and the filter the values
// become.

#include "table/columnscan.h"
#include "table/tablemodelworker.h"
#include "table/uniquevalues.h"
#include "tablemodelfixture.h"
#include "util/sortutilities.h"

#include <QRandomGenerator>
#include <QTest>

#include <map>

class TestUniqueValues : public QObject {
    Q_OBJECT

private:
    static std::vector<UniqueValue> count(TableModel& m, int col, bool excludeEmpty, bool useThread = false) {
        const CellSource source = ColumnScan::columnSources(m, {col}).front();
        std::vector<UniqueValue> out;
        const bool finished = m.readCellsOnWorker(
            [&](TableModelWorker& worker) {
                return UniqueValues::countValues(m.getTableData(), source.cells, excludeEmpty, out, &worker);
            },
            useThread);
        return finished ? out : std::vector<UniqueValue>{};
    }
    // Quoted so that texts with commas and quotes stay one field.
    static QString csvField(const QString& text) {
        QString quoted = text;
        quoted.replace(QLatin1String("\""), QLatin1String("\"\""));
        return QLatin1Char('"') + quoted + QLatin1Char('"');
    }

private slots:
    void emptyCellsAndPercents() {
        auto m = Fixture::load({"word", "a", "a", "", "b"});
        std::vector<UniqueValue> v = count(*m, 0, true);
        QCOMPARE(v.size(), std::size_t(2));
        QCOMPARE(v[0].value, QStringLiteral("a"));
        QCOMPARE(v[0].count, 2);
        QCOMPARE(QString::number(v[0].percent, 'f', 1), QStringLiteral("66.7"));
        QCOMPARE(QString::number(v[1].percent, 'f', 1), QStringLiteral("33.3"));
        // Counted in, the empty text is a value of its own, last in the natural order.
        v = count(*m, 0, false);
        QCOMPARE(v.size(), std::size_t(3));
        QCOMPARE(v[0].percent, 50.0);
        QCOMPARE(v[2].value, QString());
        QCOMPARE(v[2].percent, 25.0);
        QCOMPARE(UniqueValues::highestCount(v), 2);
    }

    // Random small tables with header rows and hidden rows, counted on both paths (here and on
    // the worker), against a count of the shown cells below the shown header rows.
    void againstPlainCount() {
        QRandomGenerator rng(20261125);
        const QStringList pool{"a", "A", "b", "", "1", "01", "1.0", "10", "2", "x y", "a,b", "q\"t"};
        for (int round = 0; round < 60; ++round) {
            const int rows = rng.bounded(0, 25);
            QStringList lines{QStringLiteral("h0,h1")};
            for (int r = 0; r < rows; ++r)
                lines << csvField(pool[rng.bounded(int(pool.size()))]) + QLatin1Char(',') +
                             csvField(pool[rng.bounded(int(pool.size()))]);
            auto m = Fixture::load(lines);
            const int headers = rng.bounded(0, 3);
            m->setNumberOfHeaderRows(headers);
            std::vector<int> hidden;
            for (int r = 0; r < m->rowCountModel(); ++r) {
                if (rng.bounded(4) == 0)
                    hidden.push_back(r);
            }
            m->getTableData().concealModelRows(hidden);
            const bool excludeEmpty = rng.bounded(2) == 1;
            const int col = rng.bounded(2);

            std::map<QString, int> expected;
            int n = 0;
            for (int r = m->getNumVisibleHeaderRows(); r < m->rowCountModel(); ++r) {
                const QString text = m->getTableData().getValueModel(r, col).toString();
                if (excludeEmpty && text.isEmpty())
                    continue;
                ++expected[text];
                ++n;
            }
            for (const bool useThread : {false, true}) {
                const std::vector<UniqueValue> got = count(*m, col, excludeEmpty, useThread);
                QCOMPARE(got.size(), expected.size());
                for (std::size_t i = 0; i < got.size(); ++i) {
                    QCOMPARE(got[i].count, expected[got[i].value]);
                    QCOMPARE(got[i].percent, got[i].count * 100.0 / n);
                    QCOMPARE(got[i].rank, int(i));
                    if (i > 0)
                        QVERIFY(!Utilities::qStringCompare(got[i].value, got[i - 1].value, false));
                }
            }
        }
    }

    void sortByCount() {
        auto m = Fixture::load({"v", "b", "c", "c", "a", "b", "c", "d"});
        std::vector<UniqueValue> v = count(*m, 0, false);
        UniqueValues::sortValues(v, UniqueValues::CountColumn, false);
        QStringList order;
        for (const UniqueValue& u : v)
            order << u.value;
        // Equal counts keep the order of their values.
        QCOMPARE(order, (QStringList{"c", "b", "a", "d"}));
        UniqueValues::sortValues(v, UniqueValues::PercentColumn, true);
        QCOMPARE(v.front().value, QStringLiteral("a"));
        QCOMPARE(v.back().value, QStringLiteral("c"));
        UniqueValues::sortValues(v, UniqueValues::ValueColumn, false);
        QCOMPARE(v.front().value, QStringLiteral("d"));
    }

    // The filter of the selected values, applied to a table: the rows that stay are exactly
    // those holding one of the values (without regard to case), or none of them.
    void filterKeepsTheValues_data() {
        QTest::addColumn<QStringList>("values");
        QTest::newRow("plain") << QStringList{"apple"};
        QTest::newRow("two") << QStringList{"apple", "5"};
        QTest::newRow("pattern characters") << QStringList{"a*b", "x|y", "#x", "c&d"};
        QTest::newRow("number forms") << QStringList{"5-10", "<3", "4+", "!7"};
        QTest::newRow("backslash and slash") << QStringList{"a\\b", "//"};
        QTest::newRow("empty alone") << QStringList{""};
        QTest::newRow("empty and a word") << QStringList{"", "apple"};
        QTest::newRow("blanks kept") << QStringList{" pad "};
    }
    void filterKeepsTheValues() {
        QFETCH(QStringList, values);
        const QStringList column{"apple", "Apple", "5", "a*b",   "axb", "x|y", "x",  "#x",
                                 "c&d",   "5-10",  "7", "<3",    "2",   "4+",  "!7", "a\\b",
                                 "//",    "/",     "",  " pad ", "pad", "axxb"};
        QStringList lines{QStringLiteral("h,n")};
        for (int i = 0; i < column.size(); ++i)
            lines << csvField(column[i]) + QLatin1Char(',') + QString::number(i);
        for (const bool keep : {true, false}) {
            auto m = Fixture::load(lines);
            const FilterData filter = UniqueValues::makeFilter(0, values, keep);
            // The same filter as the text typed into the filter prompt.
            FilterData typed;
            typed.range = filter.range;
            typed.filterStr = filter.filterStr;
            typed.convertFilterStrToRegexList();
            QVERIFY(typed == filter);
            m->setAndApplyFilterList({filter});
            QStringList shown;
            for (int r = 1; r < m->rowCountModel(); ++r)
                shown << m->getTableData().getValueModel(r, 1).toString();
            QStringList expected;
            for (int i = 0; i < column.size(); ++i) {
                bool listed = false;
                for (const QString& v : values)
                    listed = listed || column[i].compare(v, Qt::CaseInsensitive) == 0;
                if (listed == keep)
                    expected << QString::number(i);
            }
            QVERIFY2(shown == expected,
                     qPrintable(filter.filterStr + QLatin1String(": ") + shown.join(u' ')));
        }
    }
};

QTEST_GUILESS_MAIN(TestUniqueValues)
#include "tst_uniquevalues.moc"
