#pragma once

#include "table/tableundocommand.h"
#include "util/clipboardutilities.h"

// Writes a pasted block into the table. One pasted cell fills every selected cell; a larger
// block lands with its top left cell on the main cell, whatever the selection's shape, and
// becomes the selection. Cells past the data grow the table, and undo takes that back.
class PasteCommand : public TableUndoCommand {
public:
    // `pasted` is a reader's block (util/clipboardutilities.h).
    PasteCommand(TableModel* model, const RangeVector& selection, RangeVector pasted, bool restoreSelection,
                 QUndoCommand* parent = nullptr);
    // The same from a compact block, taken by value so that a large one can be moved in: the
    // step keeps the new and the old texts in that form, about their UTF-8 size each.
    PasteCommand(TableModel* model, const RangeVector& selection, Utilities::TextBlock pasted,
                 bool restoreSelection, QUndoCommand* parent = nullptr);

    void undo() override;
    void redo() override;

    // What the step keeps of a pasted block, in bytes.
    qint64 memoryBytes() const;

private:
    void start(Utilities::TextBlock&& pasted);
    void fillSelection(const QVariant& value);
    void placeBlock(Utilities::TextBlock&& pasted);
    void writeBlock(const Utilities::TextBlock& block, int numCols) const;

    RangeVector target;            // one text over the selection: with values and old values
    Utilities::TextBlock newTexts; // a block: its texts from the main cell on
    Utilities::TextBlock oldTexts; // and what the cells under it within the data held
    int top = 0;
    int left = 0;
    std::vector<int> rowsInvolved;
    std::vector<int> colsInvolved;
};
