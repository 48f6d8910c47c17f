#pragma once

// The commands that add or take away whole rows or columns: insert, remove, duplicate, and
// the removal of the empty lines at the end. Each row command has a column twin; both are
// one implementation over an Axis.

#include "table/tableundocommand.h"

// Inserts `count` empty lines before (or after) each group of adjacent lines.
class InsertLinesCommand : public TableUndoCommand {
public:
    InsertLinesCommand(TableModel* model, Axis axis, const std::vector<int>& lines, int count, bool after,
                       bool restoreSelection, QUndoCommand* parent);
    void undo() override;
    void redo() override;

protected:
    // Where group `g` (in order) starts its inserted lines once the groups before it inserted theirs.
    int computeNewLine(std::size_t group) const;

    Axis axis;
    std::vector<std::pair<int, int>> groups; // first model line, length
    int count = 1;
    bool after = false;
};

class InsertRowsCommand : public InsertLinesCommand {
public:
    InsertRowsCommand(TableModel* model, const std::vector<int>& rows, int count, bool after,
                      bool restoreSelection = true, QUndoCommand* parent = nullptr);
    int computeNewRow(std::size_t group) const { return computeNewLine(group); }
};

class InsertColsCommand : public InsertLinesCommand {
public:
    InsertColsCommand(TableModel* model, const std::vector<int>& cols, int count, bool after,
                      bool restoreSelection = true, QUndoCommand* parent = nullptr);
    int computeNewCol(std::size_t group) const { return computeNewLine(group); }
};

// Removes model lines; keeps their stored bytes, run by run in raw indexes.
class RemoveLinesCommand : public TableUndoCommand {
public:
    RemoveLinesCommand(TableModel* model, Axis axis, const std::vector<int>& lines, bool restoreSelection,
                       QUndoCommand* parent);
    void undo() override;
    void redo() override;

protected:
    Axis axis;
    std::vector<std::pair<int, int>> runs;                             // raw first, last
    std::vector<std::vector<std::vector<std::vector<char>>>> contents; // per run, per line
    std::vector<std::vector<int>> fieldsAsRead;                        // per run, per line
    std::vector<int> rowFieldsBefore;                                  // of every stored row, when columns go
    int firstModelLine = 0;
};

class RemoveRowsCommand : public RemoveLinesCommand {
public:
    RemoveRowsCommand(TableModel* model, const std::vector<int>& rows, bool restoreSelection = true,
                      QUndoCommand* parent = nullptr);
};

class RemoveColsCommand : public RemoveLinesCommand {
public:
    RemoveColsCommand(TableModel* model, const std::vector<int>& cols, bool restoreSelection = true,
                      QUndoCommand* parent = nullptr);
};

// Takes off the empty raw rows and columns at the end of the data.
class RemoveEmptyRowsColsAtEndCommand : public TableUndoCommand {
public:
    explicit RemoveEmptyRowsColsAtEndCommand(TableModel* model, QUndoCommand* parent = nullptr);
    void undo() override;
    void redo() override;

private:
    int numRows = 0;
    int numCols = 0;
    // Concealed lines among them, raw: the removal forgets them.
    std::vector<int> concealedRows;
    std::vector<int> concealedCols;
};

// Puts `count` copies of each line directly below (or above) it.
class DuplicateLinesCommand : public TableUndoCommand {
public:
    DuplicateLinesCommand(TableModel* model, Axis axis, const std::vector<int>& lines, int count, bool below,
                          bool restoreSelection, QUndoCommand* parent);
    void undo() override;
    void redo() override;

protected:
    // The first copy of line `i` (in order) once all copies are in.
    int copyPosition(std::size_t i) const;

    Axis axis;
    std::vector<int> lines;
    int count = 1;
    bool below = true;
    // Copied columns widen short rows; undo gives every row back the fields its line had.
    std::vector<int> rowFieldsBefore;
};

class DuplicateRowsCommand : public DuplicateLinesCommand {
public:
    DuplicateRowsCommand(TableModel* model, const std::vector<int>& rows, int count = 1, bool below = true,
                         bool restoreSelection = true, QUndoCommand* parent = nullptr);
};

class DuplicateColsCommand : public DuplicateLinesCommand {
public:
    DuplicateColsCommand(TableModel* model, const std::vector<int>& cols, int count = 1, bool below = true,
                         bool restoreSelection = true, QUndoCommand* parent = nullptr);
};
