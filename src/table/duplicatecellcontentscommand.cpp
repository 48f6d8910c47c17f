#include "table/duplicatecellcontentscommand.h"

#include "table/tablemodel.h"

#include <algorithm>
#include <climits>
#include <map>

DuplicateCellContentsCommand::DuplicateCellContentsCommand(TableModel* model, const RangeVector& cells,
                                                           Direction direction, QUndoCommand* parent)
    : TableUndoCommand(model, cells, true, parent), direction(direction) {
    setText(QStringLiteral("DuplicateCellContentsCommand"));
    RangeVector all;
    model->getCellOnlyRangeVector(all, selectionCells);
    const bool vertical = direction == Direction::Up || direction == Direction::Down;
    const bool forward = direction == Direction::Down || direction == Direction::Right;
    // Per column (row): the edge cell in the direction.
    std::map<int, int> edges;
    for (const Range& cell : all) {
        if (cell.type != RangeType::Cell || cell.row < 0 || cell.col < 0)
            continue;
        const int line = vertical ? cell.col : cell.row;
        const int pos = vertical ? cell.row : cell.col;
        auto it = edges.find(line);
        if (it == edges.end())
            edges.emplace(line, pos);
        else
            it->second = forward ? std::max(it->second, pos) : std::min(it->second, pos);
    }
    const TableData& data = model->getTableData();
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
