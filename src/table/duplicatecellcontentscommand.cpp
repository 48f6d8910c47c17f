#include "table/duplicatecellcontentscommand.h"

#include "table/tablemodel.h"

#include <algorithm>
#include <climits>
#include <map>

DuplicateCellContentsCommand::DuplicateCellContentsCommand(TableModel* model, const RangeVector& cells,
                                                           Direction direction, QUndoCommand* parent)
    : TableUndoCommand(model, cells, true, parent), direction(direction) {
    setText(QStringLiteral("DuplicateCellContentsCommand"));
    const bool vertical = direction == Direction::Up || direction == Direction::Down;
    const bool forward = direction == Direction::Down || direction == Direction::Right;
    // Per column (row): the edge cell in the direction.
    std::map<int, int> edges;
    auto offer = [&edges, forward](int line, int pos) {
        auto it = edges.find(line);
        if (it == edges.end())
            edges.emplace(line, pos);
        else
            it->second = forward ? std::max(it->second, pos) : std::min(it->second, pos);
    };
    const TableData& data = model->getTableData();
    const int lastRow = data.numModelRows() - 1;
    const int lastCol = data.numModelCols() - 1;
    for (const Range& original : selectionCells) {
        const Range range = model->getModelRange(original);
        const bool plain = range.excludedRows.empty() && range.excludedCols.empty() &&
                           range.excludedCells.empty() && range.rowColValues.empty() &&
                           range.tableValues.empty();
        if (plain && range.type != RangeType::Cell && range.type != RangeType::Invalid) {
            // A whole block, row or column has its edges at its sides: a whole large table is
            // not taken apart into millions of cells to find them.
            const int r0 = std::max(range.row, 0);
            const int c0 = std::max(range.col, 0);
            const int r1 = range.type == RangeType::Row ? range.row : std::min(range.endRow, lastRow);
            const int c1 = range.type == RangeType::Col ? range.col : std::min(range.endCol, lastCol);
            if (r0 > r1 || c0 > c1)
                continue;
            if (vertical) {
                for (int c = c0; c <= c1; ++c)
                    offer(c, forward ? r1 : r0);
            } else {
                for (int r = r0; r <= r1; ++r)
                    offer(r, forward ? c1 : c0);
            }
            continue;
        }
        RangeVector one;
        one.push_back(original);
        RangeVector cells;
        model->getCellOnlyRangeVector(cells, one);
        for (const Range& cell : cells) {
            if (cell.type != RangeType::Cell || cell.row < 0 || cell.col < 0)
                continue;
            offer(vertical ? cell.col : cell.row, vertical ? cell.row : cell.col);
        }
    }
    for (const auto& [line, pos] : edges) {
        if ((!forward && pos == 0) || (forward && pos >= INT_MAX - 2))
            continue;
        const int to = forward ? pos + 1 : pos - 1;
        const int row = vertical ? pos : line;
        const int col = vertical ? line : pos;
        Range target =
            vertical ? Range(to, line, RangeIndexType::Model) : Range(line, to, RangeIndexType::Model);
        target.value = data.getValueModel(row, col).toString();
        target.oldValue = data.getValueModel(target.row, target.col).toString();
        rowsInvolved.push_back(target.row);
        colsInvolved.push_back(target.col);
        targets.push_back(std::move(target));
    }
    if (targets.empty()) {
        isValid = false;
        return;
    }
    for (std::vector<int>* list : {&rowsInvolved, &colsInvolved}) {
        std::sort(list->begin(), list->end());
        list->erase(std::unique(list->begin(), list->end()), list->end());
    }
}

void DuplicateCellContentsCommand::redo() {
    const RawSize before = rawSize();
    model->populateModel(targets, false);
    recordAdded(before);
    RangeVector rv = selectionCells;
    model->setSelection(rv, true);
    const bool vertical = direction == Direction::Up || direction == Direction::Down;
    if (vertical)
        model->selectUpOrDown(direction, false, false);
    else
        model->selectLeftOrRight(direction, false, false);
    const bool forward = direction == Direction::Down || direction == Direction::Right;
    if (vertical)
        emit model->scrollToRowSignal(forward ? targets.maxRow() : targets.minRow());
    else
        emit model->scrollToColSignal(forward ? targets.maxCol() : targets.minCol());
    finishDataChange(false, before, rowsInvolved, colsInvolved);
}

void DuplicateCellContentsCommand::undo() {
    const RawSize before = rawSize();
    model->populateModel(targets, true);
    removeAdded();
    TableUndoCommand::undo();
    finishDataChange(true, before, rowsInvolved, colsInvolved);
}
