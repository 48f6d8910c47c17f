// Memory handed back from within a large allocation: only whole large pages inside the range go,
// so that what lies around it (the rows still in a list) stays as it was.
#include "storage/largepageallocator.h"

#include <QtTest>

#include <chrono>
#include <cstring>
#include <thread>
#include <time.h>

namespace {

// Stand-ins for a region's first touch: one that takes 5 ms of the processor, one that waits as
// long off it.
void spinFiveMilliseconds(void*) {
    const auto cpu = [] {
        timespec t{};
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
        return double(t.tv_sec) * 1e3 + double(t.tv_nsec) / 1e6;
    };
    for (const double until = cpu() + 5; cpu() < until;) {
    }
}

void waitFiveMilliseconds(void*) {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
}

} // namespace

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

    // A region's first page as the system serves it: a thread that waits off the processor
    // meanwhile (another program had the core) has not met a slow page; one whose fault takes
    // the processor's time has. The stand-ins leave the memory alone, so that a page the system
    // is slow to give can't change the outcome.
    void adviceTimesTheFaultNotTheWait_data() {
        QTest::addColumn<bool>("onProcessor");
        QTest::addColumn<bool>("nextLarge");
        QTest::newRow("the thread waits 5 ms in it") << false << true;
        QTest::newRow("the fault takes 5 ms of processor time") << true << false;
    }

    void adviceTimesTheFaultNotTheWait() {
        QFETCH(bool, onProcessor);
        QFETCH(bool, nextLarge);
        LargePages::resetAdviceForTesting();
        LargePages::setFirstTouchForTesting(onProcessor ? &spinFiveMilliseconds : &waitFiveMilliseconds);
        void* region = LargePages::allocate(2 * LargePages::kPageSize);
        LargePages::setFirstTouchForTesting(nullptr);
        LargePages::release(region);
        const bool large = LargePages::nextRegionLargeForTesting();
        LargePages::resetAdviceForTesting();
        QCOMPARE(large, nextLarge);
    }
};

QTEST_GUILESS_MAIN(TestLargePages)
#include "tst_largepages.moc"
