#pragma once

#include "table/tableundocommand.h"

// A selection change that undo can take back: redo shows `cells`, undo `previous`.
class ChangeSelectionCommand : public TableUndoCommand {
public:
    ChangeSelectionCommand(TableModel* model, const RangeVector& cells, const RangeVector& previous,
                           QUndoCommand* parent = nullptr);
    void undo() override;
    void redo() override;

private:
    RangeVector previous;
};
