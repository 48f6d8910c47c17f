#pragma once

#include "table/rangetypes.h"
#include "table/tableundocommand.h"

// Copies the edge of the selected cells one step in a direction (the last cell of each
// column downwards, the first one upwards, and so on) and extends the selection over it.
class DuplicateCellContentsCommand : public TableUndoCommand {
public:
    DuplicateCellContentsCommand(TableModel* model, const RangeVector& cells, Direction direction,
                                 QUndoCommand* parent = nullptr);
    void undo() override;
    void redo() override;

private:
    Direction direction;
    RangeVector targets; // Cells with value and oldValue
    std::vector<int> rowsInvolved;
    std::vector<int> colsInvolved;
};
