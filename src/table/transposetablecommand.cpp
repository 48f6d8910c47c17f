#include "table/transposetablecommand.h"

#include "table/tablemodel.h"

#include <utility>

namespace {

RangeVector transposed(const RangeVector& ranges) {
    RangeVector out;
    out.reserve(ranges.size());
    for (const Range& range : ranges) {
        Range turned = RangeVector::transposeRange(range);
        turned.isMainCell = range.isMainCell;
        turned.mainCellIndex = range.mainCellIndex;
        turned.mainCellRow = range.mainCellCol;
        turned.mainCellCol = range.mainCellRow;
        for (int row : range.excludedRows)
            turned.excludedCols.push_back(row);
        for (int col : range.excludedCols)
            turned.excludedRows.push_back(col);
        for (const auto& [row, col] : range.excludedCells)
            turned.excludedCells.emplace_back(col, row);
        out.push_back(std::move(turned));
    }
    return out;
}

} // namespace

TransposeTableCommand::TransposeTableCommand(TableModel* model, QUndoCommand* parent)
    : TableUndoCommand(model, true, parent) {
    setText(QStringLiteral("TransposeTableCommand"));
    selectionAfter = transposed(selectionCells);
}

void TransposeTableCommand::toggle() {
    model->getTableData().toggleTranspose();
    model->transposeConcealmentLists();
    emit model->toggleTransposeSignal();
}

void TransposeTableCommand::redo() {
    const RawSize before = rawSize();
    toggle();
    TableUndoCommand::redo();
    emit model->refreshViewSignal();
    finishDataChange(false, before, {}, {});
}

void TransposeTableCommand::undo() {
    const RawSize before = rawSize();
    toggle();
    TableUndoCommand::undo();
    emit model->refreshViewSignal();
    finishDataChange(true, before, {}, {});
}
