#include "table/tablemodelworker.h"

bool TableModelWorker::reportProgress(qint64 done, qint64 total) {
    // Cancel is read only when a report is due: a scan checks per row, the mutex per 101 ms.
    if (!readyForUpdate())
        return true;
    const float fraction = total > 0 ? static_cast<float>(done) / static_cast<float>(total) : 1.0f;
    return updateProgress(fraction > 1.0f ? 1.0f : fraction);
}

void TableModelWorker::run() {
    initiateProgressUpdate();
    const bool ok = job ? job(*this) : false;
    job = nullptr;
    emit finishedSignal(ok && !isCanceled());
}
