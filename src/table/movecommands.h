#pragma once

// The commands that move contents without adding or taking away lines: selected cells
// sliding past their neighbours, and whole rows or columns moved by a delta or to a place.
// Each row command has a column twin over the same implementation.

#include "table/tableundocommand.h"

// Moves the selected cells by rows and columns; what stood in the way flows around into the
// vacated places in its own order, so nothing is overwritten. A move up or left is limited by
// the top or left edge of the block.
class MoveCellContentsCommand : public TableUndoCommand {
public:
    MoveCellContentsCommand(TableModel* model, const RangeVector& cells, int rows, int cols,
                            bool restoreSelection = true, QUndoCommand* parent = nullptr);
    void undo() override;
    void redo() override;

    int getRowsDelta() const { return rowsDelta; }
    int getColsDelta() const { return colsDelta; }

    // The move itself: `first` along the rows (a column delta), then `second` along the
    // columns (a row delta). Model Cells; reads and writes go through the model.
    static void moveCellContents(const RangeVector& cells, int first, int second, TableModel* model);

private:
    int rowsDelta = 0;
    int colsDelta = 0;
    RangeVector cellList; // the selected cells as Cells, before the move
    std::vector<int> rowsInvolved;
    std::vector<int> colsInvolved;
};

// Whole lines rearranged: the line at targets[i] receives what stood at sources[i].
class MoveLinesCommand : public TableUndoCommand {
public:
    void undo() override;
    void redo() override;

protected:
    MoveLinesCommand(TableModel* model, Axis axis, bool restoreSelection, QUndoCommand* parent);
    // Sets up the filter map and the involved lines once targets and sources are known.
    void finishSetup();
    void scrollTo(int line);

    Axis axis;
    std::vector<int> targets;
    std::vector<int> sources;
    int scrollLine = -1;
};

// Each line slides by `delta` past its neighbours, as the contents move of alt and arrow keys.
class MoveLinesRelativeCommand : public MoveLinesCommand {
public:
    MoveLinesRelativeCommand(TableModel* model, Axis axis, const std::vector<int>& lines, int delta,
                             bool restoreSelection, QUndoCommand* parent);
    int getDelta() const { return delta; }

protected:
    int delta = 0;
};

class MoveRowsRelativeCommand : public MoveLinesRelativeCommand {
public:
    MoveRowsRelativeCommand(TableModel* model, const std::vector<int>& rows, int delta,
                            bool restoreSelection = true, QUndoCommand* parent = nullptr);
};

class MoveColsRelativeCommand : public MoveLinesRelativeCommand {
public:
    MoveColsRelativeCommand(TableModel* model, const std::vector<int>& cols, int delta,
                            bool restoreSelection = true, QUndoCommand* parent = nullptr);
};

// The lines move as one block in front of model line `target` (0 to the line count); the
// others close up. `getResult` is the block's first line afterwards.
class MoveLinesAbsoluteCommand : public MoveLinesCommand {
public:
    MoveLinesAbsoluteCommand(TableModel* model, Axis axis, const std::vector<int>& lines, int target,
                             bool restoreSelection, QUndoCommand* parent);
    int getResult() const { return result; }

protected:
    int result = -1;
};

class MoveRowsAbsoluteCommand : public MoveLinesAbsoluteCommand {
public:
    MoveRowsAbsoluteCommand(TableModel* model, const std::vector<int>& rows, int target,
                            bool restoreSelection = true, QUndoCommand* parent = nullptr);
};

class MoveColsAbsoluteCommand : public MoveLinesAbsoluteCommand {
public:
    MoveColsAbsoluteCommand(TableModel* model, const std::vector<int>& cols, int target,
                            bool restoreSelection = true, QUndoCommand* parent = nullptr);
};
