#pragma once

#include "table/tableundocommand.h"

// The cells a replace changed, as one step. The cells come from the search with both texts
// (`value` new, `oldValue` old) in raw indexes, so nothing is read again, and the writes go
// straight to the table with one change notice for all of them.
class ReplaceCommand : public TableUndoCommand {
public:
    // With `selectReplaced` the replaced cells become the selection after the change.
    ReplaceCommand(TableModel* model, RangeVector rawCells, bool selectReplaced,
                   QUndoCommand* parent = nullptr);

    void undo() override;
    void redo() override;

    std::size_t size() const { return cells.size(); }

private:
    void write(bool old);

    RangeVector cells;
    std::vector<int> rowsInvolved;
    std::vector<int> colsInvolved;
};
