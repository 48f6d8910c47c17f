#include "table/worker.h"

#include "table/progressboundaries.h"

#include <QMutex>
#include <QMutexLocker>

#include <algorithm>
#include <limits>

namespace {
constexpr Qt::ConnectionType kListenConnection =
    static_cast<Qt::ConnectionType>(Qt::QueuedConnection | Qt::UniqueConnection);
}

Worker::Worker(std::shared_ptr<bool> cancelFlag, std::shared_ptr<QMutex> mutex, QObject* parent)
    : QObject(parent), cancel(std::move(cancelFlag)), cancelMutex(std::move(mutex)) {}

Worker::~Worker() = default;

void Worker::setCancelPointers(std::shared_ptr<bool> cancelFlag, std::shared_ptr<QMutex> mutex) {
    // Hold the old mutex alive while we swap, so a reader on another thread never sees a
    // flag without the mutex that guards it.
    const std::shared_ptr<QMutex> oldMutex = cancelMutex;
    if (oldMutex)
        oldMutex->lock();
    cancel = std::move(cancelFlag);
    cancelMutex = std::move(mutex);
    if (oldMutex)
        oldMutex->unlock();
}

bool Worker::isCanceled() const {
    if (!cancel || !cancelMutex)
        return false;
    QMutexLocker locker(cancelMutex.get());
    return *cancel;
}

void Worker::initiateProgressUpdate() {
    timer.start();
}

qint64 Worker::elapsedSinceLastUpdate() const {
    return timer.isValid() ? timer.elapsed() : std::numeric_limits<qint64>::max();
}

bool Worker::readyForUpdate() const {
    return elapsedSinceLastUpdate() >= kProgressIntervalMs;
}

void Worker::setProgressMinMax(int min, int max) {
    progressMin = min;
    progressMax = max;
}

void Worker::setProgressMinMax(const ProgressBoundaries& boundaries) {
    setProgressMinMax(boundaries.getCurrentMin(), boundaries.getCurrentMax());
}

bool Worker::updateProgress(float fraction) {
    if (isCanceled())
        return false;
    showProgress(fraction);
    return true;
}

void Worker::showProgress(float fraction) {
    emit updateProgressSignal(
        (fraction * static_cast<float>(progressMax - progressMin) + static_cast<float>(progressMin)) /
        100.0f);
    timer.start();
}

void Worker::listenToProgressUpdates(bool listen, QObject* worker) {
    if (!worker || worker == this)
        return;
    const auto known = std::find(listenedTo.begin(), listenedTo.end(), worker);
    if (listen) {
        // Any object with the signal will do; checking first keeps Qt from warning.
        if (worker->metaObject()->indexOfSignal("updateProgressSignal(float)") < 0)
            return;
        connect(worker, SIGNAL(updateProgressSignal(float)), this, SLOT(updateProgress(float)),
                kListenConnection);
        if (known == listenedTo.end())
            listenedTo.emplace_back(worker);
    } else if (known != listenedTo.end()) {
        disconnect(worker, SIGNAL(updateProgressSignal(float)), this, SLOT(updateProgress(float)));
        listenedTo.erase(known);
    }
}

void Worker::stopListeningToAll() {
    for (const QPointer<QObject>& worker : listenedTo) {
        if (worker)
            disconnect(worker.data(), SIGNAL(updateProgressSignal(float)), this, SLOT(updateProgress(float)));
    }
    listenedTo.clear();
}

int Worker::numListenedTo() const {
    return static_cast<int>(std::count_if(listenedTo.begin(), listenedTo.end(),
                                          [](const QPointer<QObject>& p) { return !p.isNull(); }));
}
