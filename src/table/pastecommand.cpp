#include "table/pastecommand.h"

#include "table/tablemodel.h"

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
    Utilities::TextBlock block;
    Utilities::rangesToBlock(pasted, block);
    pasted.clear();
    start(std::move(block));
}

PasteCommand::PasteCommand(TableModel* model, const RangeVector& selection, Utilities::TextBlock pasted,
                           bool restoreSelection, QUndoCommand* parent)
    : TableUndoCommand(model, selection, restoreSelection, parent) {
    start(std::move(pasted));
}

void PasteCommand::start(Utilities::TextBlock&& pasted) {
    setText(QStringLiteral("PasteCommand"));
    const qint64 count = pasted.numCells();
    if (count == 0 || model->getMainCell().row < 0 || model->getMainCell().col < 0) {
        isValid = false;
        return;
    }
    if (count == 1) {
        fillSelection(pasted.text(0));
        // Overwritten cells keep what they held, for undo.
        model->populateCellDataValues(target, false, true);
        isValid = !target.empty();
    } else {
        placeBlock(std::move(pasted));
    }
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

void PasteCommand::placeBlock(Utilities::TextBlock&& pasted) {
    const Range& main = model->getMainCell();
    top = main.row;
    left = main.col;
    newTexts = std::move(pasted);
    const int numRows = int(newTexts.numRows());
    const int numCols = int(newTexts.numCols);

    // What the block covers within the data, row by row, for undo.
    const TableData& data = model->getTableData();
    const int oldRows = std::clamp(data.numModelRows() - top, 0, numRows);
    const int oldCols = std::clamp(data.numModelCols() - left, 0, numCols);
    if (oldCols > 0) {
        for (int r = 0; r < oldRows; ++r) {
            for (int c = 0; c < oldCols; ++c) {
                data.appendValueModelUtf8(top + r, left + c, oldTexts.bytes);
                oldTexts.endCell();
            }
            oldTexts.endRow();
        }
    }
    oldTexts.bytes.squeeze();

    Range after(RangeType::Table, RangeIndexType::Model);
    after.row = top;
    after.col = left;
    after.endRow = top + numRows - 1;
    after.endCol = left + numCols - 1;
    after.isMainCell = true;
    after.mainCellRow = top;
    after.mainCellCol = left;
    selectionBefore = selectionCells;
    selectionAfter = RangeVector{after};
    rowsInvolved = lineSpan(top, numRows);
    colsInvolved = lineSpan(left, numCols);
}

void PasteCommand::writeBlock(const Utilities::TextBlock& block, int numCols) const {
    model->populateModelUtf8(top, left, int(block.numRows()), numCols,
                             [&block](int r, std::vector<std::string_view>& texts) {
                                 for (qsizetype i = block.rowBegin(r); i < block.rowEnd(r); ++i)
                                     texts.push_back(block.cell(i));
                             });
}

void PasteCommand::redo() {
    const RawSize before = rawSize();
    rememberFieldsAsRead(rowsInvolved, colsInvolved);
    if (newTexts.empty())
        model->populateModel(target, false);
    else
        writeBlock(newTexts, int(newTexts.numCols));
    recordAdded(before);
    TableUndoCommand::redo();
    finishDataChange(false, before, rowsInvolved, colsInvolved);
}

void PasteCommand::undo() {
    const RawSize before = rawSize();
    if (newTexts.empty())
        model->populateModel(target, true);
    else
        writeBlock(oldTexts, int(oldTexts.numCols));
    removeAdded();
    restoreFieldsAsRead();
    TableUndoCommand::undo();
    finishDataChange(true, before, rowsInvolved, colsInvolved);
}

qint64 PasteCommand::memoryBytes() const {
    auto size = [](const Utilities::TextBlock& block) {
        return qint64(block.bytes.capacity()) +
               qint64((block.cellEnds.capacity() + block.rowEnds.capacity()) * sizeof(qsizetype));
    };
    return size(newTexts) + size(oldTexts);
}
