#include "table/tablemodel.h"

#include "table/tablemodelworker.h"

#include <algorithm>
#include <climits>

bool TableModel::readCellsOnWorker(const std::function<bool(TableModelWorker&)>& job, bool useThread) {
    return runOnWorker(job, useThread);
}

void TableModel::writeCellTexts(std::size_t count, const std::function<std::pair<int, int>(std::size_t)>& at,
                                const std::function<QString(std::size_t)>& text, bool atRawCells) {
    if (readOnly || count == 0)
        return;
    // What shows of the cells: for raw cells the model lines nearest to each, so that the grid
    // grows to hold a cell written past the end and the view repaints what it shows.
    int top = INT_MAX, left = INT_MAX, bottom = -1, right = -1;
    for (std::size_t i = 0; i < count; ++i) {
        auto [row, col] = at(i);
        if (atRawCells) {
            row = tableData.getModelFromRawRow(row, true);
            col = tableData.getModelFromRawCol(col, true);
        }
        top = std::min(top, row);
        left = std::min(left, col);
        bottom = std::max(bottom, row);
        right = std::max(right, col);
    }
    if (top < 0 || left < 0)
        return;
    // The grid first grows to hold what is written, so the view knows every cell it is told of.
    growViewTo(bottom + 1, right + 1);
    ++sizeRuleHold;
    {
        const LongWrite write(*this, qint64(count) * kCellAloneWeight);
        for (std::size_t i = 0; i < count; ++i) {
            if (write.isOn() && i % 4096 == 0)
                write.report(qint64(i), qint64(count));
            const auto [r, c] = at(i);
            if (atRawCells)
                tableData.setValueRaw(r, c, text(i));
            else
                tableData.setValueModel(r, c, text(i));
        }
    }
    --sizeRuleHold;
    bottom = std::min(bottom, rowCountView - 1);
    right = std::min(right, colCountView - 1);
    if (top <= bottom && left <= right)
        emit dataChanged(index(top, left), index(bottom, right));
    enforceTableSize();
    emit newDataCommittedSignal();
}
