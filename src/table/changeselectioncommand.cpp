#include "table/changeselectioncommand.h"

#include "table/tablemodel.h"

ChangeSelectionCommand::ChangeSelectionCommand(TableModel* model, const RangeVector& cells,
                                               const RangeVector& previous, QUndoCommand* parent)
    : TableUndoCommand(model, cells, true, parent), previous(model->getModelRange(previous)) {
    setText(QStringLiteral("ChangeSelectionCommand"));
}

void ChangeSelectionCommand::redo() {
    RangeVector rv = selectionCells;
    model->setSelection(rv, true);
}

void ChangeSelectionCommand::undo() {
    RangeVector rv = previous;
    model->setSelection(rv, true);
}
