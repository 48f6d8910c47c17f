#pragma once

#include "table/rangevector.h"
#include "table/setcelltextscommand.h"

#include <QString>

#include <functional>
#include <vector>

class TableData;
class TableModel;
class TableModelWorker;
class TableUndoCommand;

// The engine under the cell transformations: reads the selected cells, lets a string function
// or a layout rule decide their new texts, and hands back the ranges of one undo command.
// Core only, so every rule runs in a test without a window.
namespace CellTransform {

struct CellText {
    int row = 0; // model indexes
    int col = 0;
    QString text;
};

// The selected cells within the data, row by row, as (row, col).
std::vector<std::pair<int, int>> selectionIndexes(const TableModel& model);

// The same cells as a walk: a plain block by its corners, so that the cells of a whole large
// table need no list of positions, anything else as the list.
struct CellWalk {
    bool block = false;
    int top = 0;
    int left = 0;
    int height = 0;
    int width = 0;
    std::vector<std::pair<int, int>> list; // without `block`

    std::size_t size() const { return block ? std::size_t(height) * std::size_t(width) : list.size(); }
    std::pair<int, int> at(std::size_t i) const {
        if (!block)
            return list[i];
        return {top + int(i / std::size_t(width)), left + int(i % std::size_t(width))};
    }
};
CellWalk selectionWalk(const TableModel& model);

// The selected cells within the data with their texts: row by row (left to right), or column
// by column (top to bottom) with `byCols`.
std::vector<CellText> selectedCells(const TableModel& model, bool byCols = false);

// The given cells as ranges carrying their new texts, for a SetModelDataCommand. Cells whose
// text doesn't change are left out; a full rectangle of changes travels as one block.
RangeVector changedCells(const TableModel& model, std::vector<CellText> cells);

// One undo command that writes the cells (the last of repeated positions wins): a block when
// they fill a rectangle, else the cells whose text changes. Null when nothing changes.
TableUndoCommand* makeCommand(TableModel& model, std::vector<CellText> cells);
// The command of `fn` over every selected cell that isn't empty; null when nothing changes.
TableUndoCommand* mapCommand(TableModel& model, const std::function<QString(const QString&)>& fn);

// The new text of the cell that holds `text`, the `index`th of the walk.
using CellFunction = std::function<QString(const QString& text, std::size_t index)>;

// A change of many cells' texts, worked out before its undo command is made: a block of cells
// row by row, or the positions of the cells that change.
struct TextChange {
    bool block = false;
    int top = 0;
    int left = 0;
    int width = 0;
    std::vector<std::pair<int, int>> positions;
    CellTexts oldTexts;
    CellTexts newTexts;
    bool changed = false;
};

// `fn` over the cells of `cells` (row by row), reading nothing but `data`, so that it can run
// on the model's worker while the window waits; progress and cancel through `worker` when given
// (false when canceled). Empty cells are passed over with `skipEmpty`.
bool computeTextChange(const TableData& data, const CellWalk& cells, bool skipEmpty, const CellFunction& fn,
                       TextChange& out, TableModelWorker* worker);
// The command of a change; null when nothing changes.
TableUndoCommand* commandOf(TableModel& model, TextChange change);
// `fn` over the selected cells: computed on the model's worker with `useThread`, the command made
// here. Null when nothing changes or the work was canceled.
TableUndoCommand* mapCommand(TableModel& model, const CellFunction& fn, bool skipEmpty, bool useThread);

// `fn` over every selected cell that isn't empty.
RangeVector mapSelection(const TableModel& model, const std::function<QString(const QString&)>& fn);

// Series, reshape, split and join: the cells to write, as (row, col, text), in model indexes.
// The selection's cells, read row by row, take the items one each until the items run out.
std::vector<CellText> fillSeries(const TableModel& model, const QStringList& items, bool prepend,
                                 bool append);
// The selection flattened (row order for RowWise, column order otherwise) and laid out again
// from its top left corner `width` cells a row (RowWise) or `height` cells a column; the old
// places are emptied.
std::vector<CellText> reshape(const TableModel& model, int lineLength, bool rowWise);
// Each row's (column's) selected cells that aren't empty joined into its leftmost (topmost) one;
// the others are emptied, or with `closeGap` the rest of the row moves left over them.
std::vector<CellText> join(const TableModel& model, const QString& separator, bool horizontally,
                           bool closeGap);
// The commands of reshape and join: the cells are read and the change worked out on the
// model's worker with `useThread`, the command made here. Null when nothing changes or the
// work was canceled.
TableUndoCommand* reshapeCommand(TableModel& model, int lineLength, bool rowWise, bool useThread);
TableUndoCommand* joinCommand(TableModel& model, const QString& separator, bool horizontally, bool closeGap,
                              bool useThread);

// The command of a split of the selected cells into parts, placed right of (below) each cell:
// whole new lines are inserted for them first, or with `cellsOnly` (along rows only) the rest
// of each row moves right. The cells are read on the model's worker with `useThread`. Null when
// no cell splits or the work was canceled.
TableUndoCommand* splitCommand(TableModel& model, Axis axis, bool cellsOnly,
                               const std::function<QStringList(const QString&)>& split,
                               bool useThread = false);

// The IDs from `first` written over column 0, as far down as the data goes, in hidden rows too.
TableUndoCommand* idColumnCommand(TableModel& model, int first, bool useThread = false);
// A new first column of IDs.
TableUndoCommand* addIdColumnCommand(TableModel& model, int firstValue, bool useThread = false);

} // namespace CellTransform
