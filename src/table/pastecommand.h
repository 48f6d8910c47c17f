#pragma once

#include "table/tableundocommand.h"

// Writes a pasted block into the table. One pasted cell fills every selected cell; a larger
// block lands with its top left cell on the main cell, whatever the selection's shape, and
// becomes the selection. Cells past the data grow the table, and undo takes that back.
class PasteCommand : public TableUndoCommand {
public:
    // `pasted` is a reader's block (util/clipboardutilities.h); taken by value, so that a caller
    // done with it can move a large one in.
    PasteCommand(TableModel* model, const RangeVector& selection, RangeVector pasted, bool restoreSelection,
                 QUndoCommand* parent = nullptr);

    void undo() override;
    void redo() override;

private:
    void fillSelection(const QVariant& value);
    void placeBlock(RangeVector& pasted);

    RangeVector target; // with values and old values
    std::vector<int> rowsInvolved;
    std::vector<int> colsInvolved;
};
