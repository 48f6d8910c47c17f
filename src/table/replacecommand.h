#pragma once

#include "table/findreplacequery.h"
#include "table/tableundocommand.h"

#include <vector>

// The cells a replace changed, as one step. The cells come from the search with both texts in
// raw indexes, so nothing is read again, and the writes go straight to the table with one change
// notice for all of them. Cells are kept lean: a replace all may change millions.
class ReplaceCommand : public TableUndoCommand {
public:
    // With `selectReplaced` the replaced cells become the selection after the change.
    ReplaceCommand(TableModel* model, RangeVector rawCells, bool selectReplaced,
                   QUndoCommand* parent = nullptr);
    // The cells as a search over the table gives them: `text` new, `oldText` old.
    ReplaceCommand(TableModel* model, std::vector<FoundCell> rawCells, bool selectReplaced,
                   QUndoCommand* parent = nullptr);

    void undo() override;
    void redo() override;

    std::size_t size() const { return cells.size(); }

private:
    void write(bool old);
    void setup(bool selectReplaced);

    std::vector<FoundCell> cells;
    std::vector<int> rowsInvolved;
    std::vector<int> colsInvolved;
};
