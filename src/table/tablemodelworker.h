#pragma once

#include "table/worker.h"

#include <functional>

// Runs one scan of a table model at a time on the model's thread. The model hands over the
// work as a function, starts it with run() through a queued call and waits in a local event
// loop for finishedSignal. The work reports progress and asks for cancel through this object.
class TableModelWorker : public Worker {
    Q_OBJECT

public:
    using Job = std::function<bool(TableModelWorker&)>;

    using Worker::Worker;

    void setJob(Job work) { job = std::move(work); }
    // Progress of `done` out of `total` steps when due; false once canceled.
    bool reportProgress(qint64 done, qint64 total);

public slots:
    void run();

signals:
    void finishedSignal(bool ok);

private:
    Job job;
};
