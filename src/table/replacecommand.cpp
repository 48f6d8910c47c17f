#include "table/replacecommand.h"

#include "table/tablemodel.h"

#include <algorithm>

namespace {

void sortUnique(std::vector<int>& v) {
    std::sort(v.begin(), v.end());
    v.erase(std::unique(v.begin(), v.end()), v.end());
}

} // namespace

ReplaceCommand::ReplaceCommand(TableModel* model, RangeVector rawCells, bool selectReplaced,
                               QUndoCommand* parent)
    : TableUndoCommand(model, true, parent) {
    cells.reserve(rawCells.size());
    for (Range& cell : rawCells)
        cells.push_back({cell.row, cell.col, cell.value.toString(), cell.oldValue.toString()});
    setup(selectReplaced);
}

ReplaceCommand::ReplaceCommand(TableModel* model, std::vector<FoundCell> rawCells, bool selectReplaced,
                               QUndoCommand* parent)
    : TableUndoCommand(model, true, parent), cells(std::move(rawCells)) {
    setup(selectReplaced);
}

void ReplaceCommand::setup(bool selectReplaced) {
    setText(QStringLiteral("ReplaceCommand"));
    if (!model || cells.empty()) {
        isValid = false;
        return;
    }
    const TableData& data = model->getTableData();
    rowsInvolved.reserve(cells.size());
    colsInvolved.reserve(cells.size());
    RangeVector after;
    if (selectReplaced)
        after.reserve(cells.size());
    for (const FoundCell& cell : cells) {
        const int row = data.getModelFromRawRow(cell.row);
        const int col = data.getModelFromRawCol(cell.col);
        rowsInvolved.push_back(row);
        colsInvolved.push_back(col);
        if (selectReplaced)
            after.emplace_back(row, col, RangeIndexType::Model);
    }
    sortUnique(rowsInvolved);
    sortUnique(colsInvolved);
    if (selectReplaced)
        selectionAfter = std::move(after);
}

void ReplaceCommand::write(bool old) {
    TableData& data = model->getTableData();
    for (const FoundCell& cell : cells)
        data.setValueRaw(cell.row, cell.col, old ? cell.oldText : cell.text);
    const int rows = model->rowCount();
    const int cols = model->columnCount();
    if (rows > 0 && cols > 0)
        emit model->dataChanged(model->index(0, 0), model->index(rows - 1, cols - 1));
    emit model->newDataCommittedSignal();
}

void ReplaceCommand::redo() {
    const RawSize before = rawSize();
    write(false);
    TableUndoCommand::redo();
    finishDataChange(false, before, rowsInvolved, colsInvolved);
}

void ReplaceCommand::undo() {
    const RawSize before = rawSize();
    write(true);
    TableUndoCommand::undo();
    finishDataChange(true, before, rowsInvolved, colsInvolved);
}
