#include "table/tablemodel.h"

#include "table/tablemodelworker.h"

bool TableModel::readCellsOnWorker(const std::function<bool(TableModelWorker&)>& job, bool useThread) {
    return runOnWorker(job, useThread);
}
