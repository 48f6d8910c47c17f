// Memory handed back from within a large allocation: only whole large pages inside the range go,
// so that what lies around it (the rows still in a list) stays as it was.
#include "storage/largepageallocator.h"

#include <QtTest>

#include <cstring>

class TestLargePages : public QObject {
    Q_OBJECT

private slots:
    void giveBackKeepsWhatLiesAround_data() {
        QTest::addColumn<int>("from");
        QTest::addColumn<int>("size");
        constexpr int kPage = int(LargePages::kPageSize);
        QTest::newRow("pages inside, ragged ends") << kPage / 2 + 3 << 3 * kPage;
        QTest::newRow("exactly two pages") << kPage << 2 * kPage;
        QTest::newRow("less than a page") << kPage - 10 << kPage - 100;
        QTest::newRow("to the end") << kPage + 1 << 4 * kPage - 1;
        QTest::newRow("nothing") << 100 << 0;
    }

    void giveBackKeepsWhatLiesAround() {
        QFETCH(int, from);
        QFETCH(int, size);
        const std::size_t total = 5 * LargePages::kPageSize;
        auto* memory = static_cast<unsigned char*>(LargePages::allocate(total));
        for (std::size_t i = 0; i < total; ++i)
            memory[i] = static_cast<unsigned char>(i % 251 + 1);
        LargePages::giveBack(memory + from, std::size_t(size));
        // Bytes in the range may read as zeros now; every other byte is as written.
        for (std::size_t i = 0; i < total; ++i) {
            const bool inRange = i >= std::size_t(from) && i < std::size_t(from) + std::size_t(size);
            const unsigned char written = static_cast<unsigned char>(i % 251 + 1);
            if (memory[i] != written && !(inRange && memory[i] == 0))
                QFAIL(qPrintable(QStringLiteral("byte %1 changed").arg(i)));
        }
        // What was handed back can be written again.
        std::memset(memory + from, 7, std::size_t(size));
        if (size > 0)
            QCOMPARE(int(memory[std::size_t(from + size / 2)]), 7);
        LargePages::release(memory);
    }

    // Timings of the first large page of successive regions; "L" where a region asks for large
    // pages, "s" where it takes small ones (and has no timing).
    void adviceFollowsHowFastLargePagesCome_data() {
        QTest::addColumn<QList<double>>("timings");
        QTest::addColumn<QString>("expected");
        const double fast = 150;
        const double slow = 4400;
        const QString smallRun = QString(LargePageAdvice::kSmallAfterSlow, QLatin1Char('s'));
        QTest::newRow("fast pages stay large") << QList<double>{fast, fast, fast} << QStringLiteral("LLL");
        QTest::newRow("a slow page: small pages, then a try")
            << QList<double>{slow, fast, fast} << QStringLiteral("L") + smallRun + QStringLiteral("LL");
        QTest::newRow("slow again on the try")
            << QList<double>{slow, slow, fast}
            << QStringLiteral("L") + smallRun + QStringLiteral("L") + smallRun + QStringLiteral("L");
        QTest::newRow("the limit itself is fast")
            << QList<double>{LargePageAdvice::kSlowFaultMicroseconds, fast} << QStringLiteral("LL");
    }

    void adviceFollowsHowFastLargePagesCome() {
        QFETCH(QList<double>, timings);
        QFETCH(QString, expected);
        LargePageAdvice advice;
        QString seen;
        for (qsizetype next = 0; next < timings.size();) {
            if (advice.wanted()) {
                seen += QLatin1Char('L');
                advice.faulted(timings[next++]);
            } else {
                seen += QLatin1Char('s');
            }
        }
        QCOMPARE(seen, expected);
    }
};

QTEST_GUILESS_MAIN(TestLargePages)
#include "tst_largepages.moc"
