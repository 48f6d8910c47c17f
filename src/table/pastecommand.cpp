#include "table/pastecommand.h"

#include "table/tablemodel.h"
#include "util/clipboardutilities.h"

#include <algorithm>
#include <numeric>

namespace {

std::vector<int> lineSpan(int first, int count) {
    std::vector<int> lines(static_cast<std::size_t>(std::max(0, count)));
    std::iota(lines.begin(), lines.end(), first);
    return lines;
}

} // namespace

PasteCommand::PasteCommand(TableModel* model, const RangeVector& selection, RangeVector pasted,
                           bool restoreSelection, QUndoCommand* parent)
    : TableUndoCommand(model, selection, restoreSelection, parent) {
    setText(QStringLiteral("PasteCommand"));
    const qint64 count = Utilities::parsedCellCount(pasted);
    if (count == 0 || model->getMainCell().row < 0 || model->getMainCell().col < 0) {
        isValid = false;
        return;
    }
    if (count == 1) {
        for (const auto& row : Utilities::parsedRows(pasted)) {
            if (!row.empty())
                fillSelection(row.front());
        }
    } else {
        placeBlock(pasted);
    }
    if (target.empty())
        isValid = false;
    // Overwritten cells keep what they held, for undo.
    model->populateCellDataValues(target, false, true);
}

void PasteCommand::fillSelection(const QVariant& value) {
    RangeVector cells;
    model->getCellOnlyRangeVector(cells, selectionCells);
    // Runs of adjacent cells in a row travel as one Row range: one value per cell and one
    // write per run, however large the selection.
    for (const Range& cell : cells) {
        if (cell.type != RangeType::Cell || cell.row < 0 || cell.col < 0)
            continue;
        if (!target.empty() && target.back().row == cell.row && target.back().endCol + 1 == cell.col) {
            target.back().endCol = cell.col;
            target.back().rowColValues.push_back(value);
            continue;
        }
        Range run(cell.row, RangeType::Row, RangeIndexType::Model);
        run.col = cell.col;
        run.endCol = cell.col;
        run.rowColValues.push_back(value);
        target.push_back(std::move(run));
    }
    model->getOrderedSetOfRows(rowsInvolved, cells);
    model->getOrderedSetOfCols(colsInvolved, cells);
}

void PasteCommand::placeBlock(RangeVector& pasted) {
    const Range& main = model->getMainCell();
    Range& source = pasted.front();
    const int numRows = source.endRow + 1;
    const int numCols = source.endCol + 1;
    Range block(RangeType::Table, RangeIndexType::Model);
    block.row = main.row;
    block.col = main.col;
    block.endRow = main.row + numRows - 1;
    block.endCol = main.col + numCols - 1;
    block.tableValues = std::move(source.tableValues);
    target.push_back(std::move(block));

    Range after(RangeType::Table, RangeIndexType::Model);
    after.row = main.row;
    after.col = main.col;
    after.endRow = main.row + numRows - 1;
    after.endCol = main.col + numCols - 1;
    after.isMainCell = true;
    after.mainCellRow = main.row;
    after.mainCellCol = main.col;
    selectionBefore = selectionCells;
    selectionAfter = RangeVector{after};
    rowsInvolved = lineSpan(main.row, numRows);
    colsInvolved = lineSpan(main.col, numCols);
}

void PasteCommand::redo() {
    const RawSize before = rawSize();
    model->populateModel(target, false);
    recordAdded(before);
    TableUndoCommand::redo();
    finishDataChange(false, before, rowsInvolved, colsInvolved);
}

void PasteCommand::undo() {
    const RawSize before = rawSize();
    model->populateModel(target, true);
    removeAdded();
    TableUndoCommand::undo();
    finishDataChange(true, before, rowsInvolved, colsInvolved);
}
