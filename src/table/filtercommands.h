#pragma once

#include "table/tablemodel.h"
#include "table/tableundocommand.h"

#include <utility>
#include <vector>

// The common form of a change of filters or hand-hidden lists: the state before and after,
// concealment included, computed once when the command is built. Redo and undo set a state
// back without matching a cell again, so both are quick on any size. A canceled computation
// leaves isValid false.
class ConcealmentCommand : public TableUndoCommand {
public:
    void redo() override;
    void undo() override;

    const TableModel::ConcealmentState& getOldState() const { return oldState; }
    const TableModel::ConcealmentState& getNewState() const { return newState; }

protected:
    ConcealmentCommand(TableModel* model, std::vector<FilterData> filters, std::vector<int> hiddenRows,
                       std::vector<int> hiddenCols, bool useThread, QUndoCommand* parent);

private:
    void apply(const TableModel::ConcealmentState& state);

    TableModel::ConcealmentState oldState;
    TableModel::ConcealmentState newState;
    RangeVector rawSelection;
    Range rawMainCell;
};

class ApplyFiltersCommand : public ConcealmentCommand {
public:
    ApplyFiltersCommand(TableModel* model, const std::vector<FilterData>& filters, bool useThread = false,
                        QUndoCommand* parent = nullptr);
};

class ApplyHiddenRowsCommand : public ConcealmentCommand {
public:
    ApplyHiddenRowsCommand(TableModel* model, const std::vector<int>& hiddenRows, bool useThread = false,
                           QUndoCommand* parent = nullptr);
};

class ApplyHiddenColsCommand : public ConcealmentCommand {
public:
    ApplyHiddenColsCommand(TableModel* model, const std::vector<int>& hiddenCols, bool useThread = false,
                           QUndoCommand* parent = nullptr);
};

// Deletes every concealed row and column from the data; undo puts them back and conceals them
// again as before.
class RemoveAllFilteredOutAndHiddenDataCommand : public TableUndoCommand {
public:
    explicit RemoveAllFilteredOutAndHiddenDataCommand(TableModel* model, QUndoCommand* parent = nullptr);

    void redo() override;
    void undo() override;

private:
    TableModel::ConcealmentState oldState;
    std::vector<std::pair<int, int>> rowRuns; // (first, count), ascending
    std::vector<std::pair<int, int>> colRuns;
    std::vector<std::vector<std::vector<std::vector<char>>>> rowContents; // per run, whole rows
    std::vector<std::vector<int>> rowFieldsAsRead;                        // per run, per row
    std::vector<int> rowFieldsBefore; // of every stored row, when columns go
    std::vector<std::vector<std::vector<std::vector<char>>>> colContents; // per run, kept rows only
};
