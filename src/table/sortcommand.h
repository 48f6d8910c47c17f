#pragma once

#include "table/sortdata.h"
#include "table/tableundocommand.h"

#include <vector>

// Sorts rows by one column, or columns by one row, and takes the sort back. The order is
// computed once, in the constructor, on the model's worker thread: a cancel there leaves
// isValid false and nothing changed.
class SortCommand : public TableUndoCommand {
public:
    // The key is the main cell's column (rows sorted) or row (columns sorted).
    SortCommand(TableModel* model, const RangeVector& selection, bool restoreSelection, Axis axis,
                SortType type, QUndoCommand* parent = nullptr);
    // A known key: `sortData.index` is a raw index.
    SortCommand(TableModel* model, const SortData& sortData, QUndoCommand* parent = nullptr);

    void redo() override;
    void undo() override;

    const std::vector<int>& getSortIndexes() const { return sortIndexes; }

private:
    void compute();

    std::vector<int> sortIndexes; // raw index -> raw index after the sort
    SortType type = SortType::None;
    Axis axis = Axis::Row;
    int index = -1;
};
