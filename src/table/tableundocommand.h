#pragma once

#include "table/filterdata.h"
#include "table/rangevector.h"
#include "table/sortdata.h"

#include <QUndoCommand>

#include <functional>
#include <vector>

class TableModel;

// The base of every change to a table. A command is built with the state before the change;
// its redo does the change, also the first time (the stack calls it on push), and its undo
// puts everything back, the selection included. Commands never merge.
//
// Push pattern: construct; if isValid, push; else delete.
class TableUndoCommand : public QUndoCommand {
public:
    explicit TableUndoCommand(QUndoCommand* parent = nullptr);
    // Takes the model's current selection as the command's cells.
    explicit TableUndoCommand(TableModel* model, QUndoCommand* parent = nullptr);
    TableUndoCommand(TableModel* model, bool restoreSelection, QUndoCommand* parent = nullptr);
    TableUndoCommand(TableModel* model, const RangeVector& cells, bool restoreSelection,
                     QUndoCommand* parent = nullptr);
    TableUndoCommand(TableModel* model, const RangeVector& cells, const RangeVector& cellsAfter,
                     bool restoreSelection, QUndoCommand* parent = nullptr);
    ~TableUndoCommand() override;

    void undo() override;
    void redo() override;

    bool isValid = true;

    void setSelectionCells(const RangeVector& cells);
    void setSelectionCells(const RangeVector& before, const RangeVector& after);
    const RangeVector& getSelectionCells() const { return selectionCells; }

    void retainModelRowSortData();
    void retainModelColSortData();
    bool isModelRowSortDataValid() const;
    bool isModelColSortDataValid() const;
    void restoreRowSortDataToModel();
    void restoreColSortDataToModel();

protected:
    // Raw counts taken before a change, for the size bookkeeping of the common tail.
    struct RawSize {
        int rows = 0;
        int cols = 0;
    };
    RawSize rawSize() const;

    // Records how many raw rows and columns the change added past the end.
    void recordAdded(const RawSize& before);
    // Takes them off the end again, after the old values are back.
    void removeAdded();
    // The selection undo shows: selectionBefore when set, else the command's cells.
    void applySelectionUndo();
    // The selection redo shows: selectionAfter when set, else the command's cells.
    void applySelectionRedo();
    // The tail of a data change: auto-fit requests, the size rule, sort marks back on undo,
    // find matches, size notification when the raw size moved, saving after each edit.
    void finishDataChange(bool isUndo, const RawSize& before, const std::vector<int>& rows,
                          const std::vector<int>& cols);

    // Filter lists, called from the constructors of commands that shift lines: oldFilters is
    // the list now; newFilters moves each filter's line and exceptions through the maps (raw
    // old -> raw new, -1 drops it). An empty map leaves that axis alone.
    void populateFilterLists(const std::function<int(int)>& rowMap, const std::function<int(int)>& colMap);
    void applyFilterList(bool isUndo);

    // Whole lines of the table in the user's orientation, as stored bytes.
    // `fieldsAsRead`, when given, receives the fields the line had as the file was read (0 when
    // unknown, or for a line that is no stored row).
    void readLineRaw(Axis axis, int raw, std::vector<std::vector<char>>& out,
                     int* fieldsAsRead = nullptr) const;
    // The fields every stored row's line had as read, kept by a command that removes columns and
    // given back by its undo: removing a column changes them in a way that inserting it can't
    // always reverse.
    std::vector<int> readRowFieldsAsRead() const;
    void restoreRowFieldsAsRead(const std::vector<int>& fields);
    bool removesStoredColumns(Axis axis) const;
    void writeLineRaw(Axis axis, int raw, const std::vector<std::vector<char>>& cells);
    // Rearranges the contents of model lines: the line at targets[i] gets what stood at
    // sources[i]. Concealed lines between them stay where they are.
    void permuteModelLines(Axis axis, const std::vector<int>& targets, const std::vector<int>& sources);
    // Tells the view that every cell may have changed.
    void notifyAllChanged();
    // A stored row keeps, until a cell of it changes, the number of fields its line had as read,
    // and is saved with them. A command that writes cells notes those counts of the rows under
    // its model lines before its first redo, and its undo, once the cells hold their old texts
    // again, gives them back: an edit undone doesn't change how its row is saved.
    void rememberFieldsAsRead(const std::vector<int>& modelRows, const std::vector<int>& modelCols);
    void restoreFieldsAsRead();

public:
    // The same for any writer of cells (an edit shown while it is typed): the counts of the
    // stored rows under the model lines (unchanged rows only), and their return.
    static std::vector<std::pair<int, int>> readFieldsAsRead(const TableModel& model,
                                                             const std::vector<int>& modelRows,
                                                             const std::vector<int>& modelCols);
    static void writeFieldsAsRead(TableModel& model, const std::vector<std::pair<int, int>>& fields);

protected:
    TableModel* model = nullptr;
    RangeVector selectionCells;
    bool restoreSelection = true;
    SortData rowSortData;
    SortData colSortData;
    int numRowsAdded = 0;
    int numColsAdded = 0;
    RangeVector selectionBefore;
    RangeVector selectionAfter;
    std::vector<FilterData> oldFilters;
    std::vector<FilterData> newFilters;
    std::vector<int> oldHiddenRows; // lines hidden by hand, moved the same way
    std::vector<int> oldHiddenCols;
    std::vector<int> newHiddenRows;
    std::vector<int> newHiddenCols;
    bool hasFilters = false;
    std::vector<std::pair<int, int>> fieldsAsReadBefore; // stored row, fields; unchanged rows only
    bool fieldsAsReadKnown = false;
};

// Model lines of the axis taken by the ranges, within the data, ascending and distinct.
std::vector<int> orderedModelLines(const TableModel* model, const RangeVector& ranges, Axis axis);
// The ranges moved by the deltas with their ends, main-cell fields and exclusions; a Row range
// keeps its columns and a Col range its rows.
RangeVector shiftedRanges(const RangeVector& ranges, int rows, int cols);
// Runs of adjacent values of an ascending list, as (first, count).
std::vector<std::pair<int, int>> adjacentRuns(const std::vector<int>& sorted);
