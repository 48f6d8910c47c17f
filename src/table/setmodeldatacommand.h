#pragma once

#include "table/tableundocommand.h"

// Writes new values into cells. The cells carry their new `value`s; the constructor reads
// the current ones into `oldValue`. An optional second set is written after the first and
// undone before it.
class SetModelDataCommand : public TableUndoCommand {
public:
    SetModelDataCommand(TableModel* model, const RangeVector& cells, bool restoreSelection = true,
                        QUndoCommand* parent = nullptr);
    SetModelDataCommand(TableModel* model, const RangeVector& cells, const RangeVector& secondCells,
                        bool restoreSelection = true, QUndoCommand* parent = nullptr);

    void undo() override;
    void redo() override;

private:
    RangeVector cells;
    RangeVector secondCells;
    std::vector<int> rowsInvolved;
    std::vector<int> colsInvolved;
};
