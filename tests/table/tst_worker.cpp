#include "table/progressboundaries.h"
#include "table/worker.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QMutex>
#include <QSignalSpy>
#include <QTest>
#include <QThread>

#include <atomic>
#include <memory>

namespace {

// A worker whose clock the test sets.
class ClockedWorker : public Worker {
public:
    qint64 fakeElapsed = 0;

protected:
    qint64 elapsedSinceLastUpdate() const override { return fakeElapsed; }
};

// Reports until told to stop, the way a long loop does.
class LoopWorker : public Worker {
public:
    using Worker::Worker;
    std::atomic<int> reports = 0;
    std::atomic<bool> stoppedByCancel = false;

    // Works until cancelled; the time bound only keeps a broken cancel from hanging the test.
    void run() {
        initiateProgressUpdate();
        QElapsedTimer bound;
        bound.start();
        while (bound.elapsed() < 10000) {
            if (!updateProgress(0.5f)) {
                stoppedByCancel = true;
                return;
            }
            ++reports;
        }
    }
};

} // namespace

class TestWorker : public QObject {
    Q_OBJECT

private slots:
    void updateProgressScales_data();
    void updateProgressScales();
    void canceledWorkerStopsReporting();
    void cancelFlagNeedsBothPointers();
    void setCancelPointersReplacesBoth();
    void readyForUpdateAt101Ms_data();
    void readyForUpdateAt101Ms();
    void realTimerPacesReports();
    void cancelFromAnotherThreadStopsTheLoop();
    void subWorkerProgressLandsInParentRange();
    void listeningIsUniqueAndUndone();
    void listeningIgnoresObjectsWithoutTheSignal();
    void boundariesWalkThePhases();
    void boundariesNarrowInsideAPhase_data();
    void boundariesNarrowInsideAPhase();
    void workerTakesRangeFromBoundaries();
};

void TestWorker::updateProgressScales_data() {
    QTest::addColumn<int>("min");
    QTest::addColumn<int>("max");
    QTest::addColumn<float>("fraction");
    QTest::addColumn<float>("expected");

    QTest::newRow("whole bar, start") << 0 << 100 << 0.0f << 0.0f;
    QTest::newRow("whole bar, half") << 0 << 100 << 0.5f << 0.5f;
    QTest::newRow("whole bar, end") << 0 << 100 << 1.0f << 1.0f;
    QTest::newRow("second half, start") << 50 << 100 << 0.0f << 0.5f;
    QTest::newRow("second half, quarter") << 50 << 100 << 0.25f << 0.625f;
    QTest::newRow("middle phase") << 20 << 60 << 0.5f << 0.4f;
    QTest::newRow("empty range") << 30 << 30 << 0.9f << 0.3f;
}

void TestWorker::updateProgressScales() {
    QFETCH(int, min);
    QFETCH(int, max);
    QFETCH(float, fraction);
    QFETCH(float, expected);

    Worker worker;
    worker.setProgressMinMax(min, max);
    QSignalSpy spy(&worker, &Worker::updateProgressSignal);
    QVERIFY(worker.updateProgress(fraction));
    QCOMPARE(spy.count(), 1);
    QVERIFY(qAbs(spy.at(0).at(0).toFloat() - expected) < 1e-6f);
}

void TestWorker::canceledWorkerStopsReporting() {
    auto flag = std::make_shared<bool>(false);
    auto mutex = std::make_shared<QMutex>();
    Worker worker(flag, mutex);
    QSignalSpy spy(&worker, &Worker::updateProgressSignal);
    QVERIFY(worker.updateProgress(0.1f));
    *flag = true;
    QVERIFY(worker.isCanceled());
    QVERIFY(!worker.updateProgress(0.2f));
    QCOMPARE(spy.count(), 1);
}

void TestWorker::cancelFlagNeedsBothPointers() {
    auto flag = std::make_shared<bool>(true);
    QVERIFY(!Worker(flag, nullptr).isCanceled());
    QVERIFY(!Worker(nullptr, std::make_shared<QMutex>()).isCanceled());
    QVERIFY(Worker(flag, std::make_shared<QMutex>()).isCanceled());
}

void TestWorker::setCancelPointersReplacesBoth() {
    auto oldFlag = std::make_shared<bool>(false);
    auto newFlag = std::make_shared<bool>(true);
    Worker worker(oldFlag, std::make_shared<QMutex>());
    QVERIFY(!worker.isCanceled());
    worker.setCancelPointers(newFlag, std::make_shared<QMutex>());
    QVERIFY(worker.isCanceled());
    *newFlag = false;
    *oldFlag = true; // the old flag no longer counts
    QVERIFY(!worker.isCanceled());
}

void TestWorker::readyForUpdateAt101Ms_data() {
    QTest::addColumn<qint64>("elapsed");
    QTest::addColumn<bool>("ready");
    QTest::newRow("just reported") << qint64(0) << false;
    QTest::newRow("100 ms") << qint64(100) << false;
    QTest::newRow("101 ms") << qint64(101) << true;
    QTest::newRow("much later") << qint64(5000) << true;
}

void TestWorker::readyForUpdateAt101Ms() {
    QFETCH(qint64, elapsed);
    QFETCH(bool, ready);
    ClockedWorker worker;
    worker.fakeElapsed = elapsed;
    QCOMPARE(worker.readyForUpdate(), ready);
}

void TestWorker::realTimerPacesReports() {
    Worker worker;
    QVERIFY(worker.readyForUpdate()); // never reported: due at once
    worker.initiateProgressUpdate();
    QVERIFY(!worker.readyForUpdate());
    QTest::qSleep(120);
    QVERIFY(worker.readyForUpdate());
    QVERIFY(worker.updateProgress(0.3f)); // a report restarts the clock
    QVERIFY(!worker.readyForUpdate());
}

void TestWorker::cancelFromAnotherThreadStopsTheLoop() {
    auto flag = std::make_shared<bool>(false);
    auto mutex = std::make_shared<QMutex>();
    LoopWorker worker(flag, mutex);
    std::unique_ptr<QThread> thread(QThread::create([&worker] { worker.run(); }));
    thread->start();
    QTRY_VERIFY_WITH_TIMEOUT(worker.reports > 10, 5000);
    {
        QMutexLocker locker(mutex.get());
        *flag = true;
    }
    QVERIFY(thread->wait(5000));
    QVERIFY(worker.stoppedByCancel);
}

void TestWorker::subWorkerProgressLandsInParentRange() {
    Worker parent;
    Worker child;
    parent.setProgressMinMax(50, 100);
    child.setProgressMinMax(0, 100);
    parent.listenToProgressUpdates(true, &child);
    QSignalSpy spy(&parent, &Worker::updateProgressSignal);

    QVERIFY(child.updateProgress(0.5f));
    QCOMPARE(spy.count(), 0); // queued: arrives through the event loop
    QCoreApplication::processEvents();
    QCOMPARE(spy.count(), 1);
    QVERIFY(qAbs(spy.at(0).at(0).toFloat() - 0.75f) < 1e-6f);
}

void TestWorker::listeningIsUniqueAndUndone() {
    Worker parent;
    Worker first;
    Worker second;
    QSignalSpy spy(&parent, &Worker::updateProgressSignal);

    parent.listenToProgressUpdates(true, &first);
    parent.listenToProgressUpdates(true, &first);
    parent.listenToProgressUpdates(true, &second);
    QCOMPARE(parent.numListenedTo(), 2);
    first.updateProgress(0.1f);
    QCoreApplication::processEvents();
    QCOMPARE(spy.count(), 1);

    parent.listenToProgressUpdates(false, &first);
    first.updateProgress(0.2f);
    second.updateProgress(0.2f);
    QCoreApplication::processEvents();
    QCOMPARE(spy.count(), 2);

    parent.stopListeningToAll();
    QCOMPARE(parent.numListenedTo(), 0);
    second.updateProgress(0.3f);
    QCoreApplication::processEvents();
    QCOMPARE(spy.count(), 2);
}

void TestWorker::listeningIgnoresObjectsWithoutTheSignal() {
    Worker parent;
    QObject plain;
    parent.listenToProgressUpdates(true, &plain);
    parent.listenToProgressUpdates(true, nullptr);
    parent.listenToProgressUpdates(true, &parent);
    QCOMPARE(parent.numListenedTo(), 0);
}

void TestWorker::boundariesWalkThePhases() {
    ProgressBoundaries boundaries({20, 70, 90});
    const int expected[][2] = {{0, 20}, {20, 70}, {70, 90}, {0, 100}, {0, 100}};
    for (const auto& range : expected) {
        QCOMPARE(boundaries.getCurrentMin(), range[0]);
        QCOMPARE(boundaries.getCurrentMax(), range[1]);
        boundaries.incrementIndex();
    }
    ProgressBoundaries none;
    QCOMPARE(none.getCurrentMin(), 0);
    QCOMPARE(none.getCurrentMax(), 100);
}

void TestWorker::boundariesNarrowInsideAPhase_data() {
    QTest::addColumn<int>("phase");
    QTest::addColumn<int>("current");
    QTest::addColumn<int>("max");
    QTest::addColumn<int>("expectedMin");
    QTest::addColumn<int>("expectedMax");

    // Marks 20, 70: phase 1 spans 20..70.
    QTest::newRow("first of two") << 1 << 0 << 2 << 20 << 45;
    QTest::newRow("second of two") << 1 << 1 << 2 << 45 << 70;
    QTest::newRow("thirds round") << 1 << 1 << 3 << 37 << 53;
    QTest::newRow("first phase, quarter") << 0 << 3 << 4 << 15 << 20;
    QTest::newRow("current past max clamps") << 1 << 9 << 2 << 45 << 70;
    QTest::newRow("no items restores phase") << 1 << 0 << 0 << 20 << 70;
}

void TestWorker::boundariesNarrowInsideAPhase() {
    QFETCH(int, phase);
    QFETCH(int, current);
    QFETCH(int, max);
    QFETCH(int, expectedMin);
    QFETCH(int, expectedMax);

    ProgressBoundaries boundaries({20, 70});
    for (int i = 0; i < phase; ++i)
        boundaries.incrementIndex();
    boundaries.setCurrentMinMax(0, 7); // narrowing again starts from the phase, not from this
    boundaries.setCurrentMinMax(current, max);
    QCOMPARE(boundaries.getCurrentMin(), expectedMin);
    QCOMPARE(boundaries.getCurrentMax(), expectedMax);
}

void TestWorker::workerTakesRangeFromBoundaries() {
    ProgressBoundaries boundaries({40, 100});
    boundaries.incrementIndex();
    Worker worker;
    worker.setProgressMinMax(boundaries);
    QSignalSpy spy(&worker, &Worker::updateProgressSignal);
    worker.updateProgress(0.5f);
    QVERIFY(qAbs(spy.at(0).at(0).toFloat() - 0.7f) < 1e-6f);
}

QTEST_GUILESS_MAIN(TestWorker)
#include "tst_worker.moc"
