#include "table/setmodeldatacommand.h"

#include "table/tablemodel.h"

SetModelDataCommand::SetModelDataCommand(TableModel* model, const RangeVector& newCells,
                                         bool restoreSelection, QUndoCommand* parent)
    : SetModelDataCommand(model, newCells, RangeVector(), restoreSelection, parent) {}

SetModelDataCommand::SetModelDataCommand(TableModel* model, const RangeVector& newCells,
                                         const RangeVector& second, bool restoreSelection,
                                         QUndoCommand* parent)
    : TableUndoCommand(model, restoreSelection, parent) {
    setText(QStringLiteral("SetModelDataCommand"));
    cells = model->getModelRange(newCells);
    secondCells = model->getModelRange(second);
    model->populateCellDataValues(cells, false, true);
    model->populateCellDataValues(secondCells, false, true);
    if (cells.empty() && secondCells.empty())
        isValid = false;
    // Positions only: a copy with the values would double a large edit for a moment.
    RangeVector all;
    all.reserve(cells.size() + secondCells.size());
    for (const RangeVector* list : {&cells, &secondCells}) {
        for (const Range& range : *list) {
            Range place;
            copyWithoutValues(place, range);
            place.endRow = range.endRow;
            place.endCol = range.endCol;
            all.push_back(std::move(place));
        }
    }
    model->getOrderedSetOfRows(rowsInvolved, all);
    model->getOrderedSetOfCols(colsInvolved, all);
}

void SetModelDataCommand::redo() {
    const RawSize before = rawSize();
    rememberFieldsAsRead(rowsInvolved, colsInvolved);
    model->populateModel(cells, false, Range(RangeType::Invalid), false);
    model->populateModel(secondCells, false, Range(RangeType::Invalid), false);
    recordAdded(before);
    TableUndoCommand::redo();
    finishDataChange(false, before, rowsInvolved, colsInvolved);
}

void SetModelDataCommand::undo() {
    const RawSize before = rawSize();
    model->populateModel(secondCells, true);
    model->populateModel(cells, true);
    removeAdded();
    restoreFieldsAsRead();
    TableUndoCommand::undo();
    finishDataChange(true, before, rowsInvolved, colsInvolved);
}
