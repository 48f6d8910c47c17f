#include "table/sortcommand.h"

#include "table/tablemodel.h"

SortCommand::SortCommand(TableModel* model, const RangeVector& selection, bool restoreSelection, Axis axis,
                         SortType type, QUndoCommand* parent)
    : TableUndoCommand(model, selection, restoreSelection, parent), type(type), axis(axis) {
    setText(QStringLiteral("SortCommand"));
    if (model) {
        const Range mainCell = model->getRawRange(model->getMainCell());
        index = axis == Axis::Row ? mainCell.col : mainCell.row;
    }
    compute();
}

SortCommand::SortCommand(TableModel* model, const SortData& sortData, QUndoCommand* parent)
    : TableUndoCommand(model, true, parent), type(sortData.type), axis(sortData.axis), index(sortData.index) {
    setText(QStringLiteral("SortCommand"));
    compute();
}

void SortCommand::compute() {
    const SortData sortData{type, axis, index};
    if (!model || !sortData.isValid()) {
        isValid = false;
        return;
    }
    const int numHeaders = axis == Axis::Row ? model->getNumHeaderRows() : model->getNumHeaderCols();
    if (!model->getSortIndexes(sortIndexes, sortData, numHeaders, model->isForTableView())) {
        isValid = false;
        return;
    }
    const std::vector<int>& map = sortIndexes;
    const auto moveLine = [&map](int line) {
        return line >= 0 && line < static_cast<int>(map.size()) ? map[static_cast<std::size_t>(line)] : line;
    };
    if (axis == Axis::Row)
        populateFilterLists(moveLine, {});
    else
        populateFilterLists({}, moveLine);
}

void SortCommand::redo() {
    if (axis == Axis::Row)
        model->sortRows(sortIndexes, type, index, false);
    else
        model->sortColumns(sortIndexes, type, index, false);
    applyFilterList(false);
    TableUndoCommand::redo();
    emit model->updateFindReplaceMatchesSignal();
    model->saveAfterEdit();
}

void SortCommand::undo() {
    if (axis == Axis::Row)
        model->unsortRows(sortIndexes);
    else
        model->unsortColumns(sortIndexes);
    applyFilterList(true);
    TableUndoCommand::undo();
    restoreRowSortDataToModel();
    restoreColSortDataToModel();
    emit model->refreshHeadersSignal();
    emit model->updateFindReplaceMatchesSignal();
    model->saveAfterEdit();
}
