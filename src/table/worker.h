#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <QPointer>

#include <memory>
#include <vector>

class QMutex;
class ProgressBoundaries;

// Base of every long operation that runs on a QThread. The GUI thread and the worker share a
// cancel flag guarded by a shared mutex; progress goes out at most about ten times a second.
class Worker : public QObject {
    Q_OBJECT

public:
    // Loops ask readyForUpdate() before they compute a percentage; this is the pacing.
    static constexpr qint64 kProgressIntervalMs = 101;

    explicit Worker(std::shared_ptr<bool> cancel = {}, std::shared_ptr<QMutex> cancelMutex = {},
                    QObject* parent = nullptr);
    ~Worker() override;

    void setCancelPointers(std::shared_ptr<bool> cancel, std::shared_ptr<QMutex> cancelMutex);
    bool isCanceled() const;

    void initiateProgressUpdate();
    bool readyForUpdate() const;

    // The part of the whole bar that this worker's fractions 0..1 cover, in percent.
    void setProgressMinMax(int min, int max);
    void setProgressMinMax(const ProgressBoundaries& boundaries);
    int getProgressMin() const { return progressMin; }
    int getProgressMax() const { return progressMax; }

    // Takes up another worker's progress inside this worker's own range.
    void listenToProgressUpdates(bool listen, QObject* worker);
    void stopListeningToAll();
    int numListenedTo() const;

public slots:
    // Reports `fraction` (0..1) of this worker's range. Returns false when canceled, which
    // tells the loop to stop.
    bool updateProgress(float fraction);
    // Reports `fraction` whether or not a cancel was asked: work that can't stop halfway (a
    // write of many cells) keeps its dialog going to the end.
    void showProgress(float fraction);

signals:
    void updateProgressSignal(float fraction);

protected:
    // Time since the last report; a timer that never started counts as due.
    virtual qint64 elapsedSinceLastUpdate() const;

    int progressMin = 0;
    int progressMax = 100;

private:
    std::vector<QPointer<QObject>> listenedTo;
    std::shared_ptr<bool> cancel;
    std::shared_ptr<QMutex> cancelMutex;
    QElapsedTimer timer;
};
