#include "table/filtercommands.h"

#include <algorithm>

namespace {

void sortUnique(std::vector<int>& list) {
    std::sort(list.begin(), list.end());
    list.erase(std::unique(list.begin(), list.end()), list.end());
}

} // namespace

// --- Filters and hand-hidden lists -----------------------------------------------------------

ConcealmentCommand::ConcealmentCommand(TableModel* model, std::vector<FilterData> filters,
                                       std::vector<int> hiddenRows, std::vector<int> hiddenCols,
                                       bool useThread, QUndoCommand* parent)
    // The selection is kept here as raw ranges, since model indexes move with concealment.
    : TableUndoCommand(model, false, parent) {
    if (!model) {
        isValid = false;
        return;
    }
    oldState = model->getConcealmentState();
    newState.filters = std::move(filters);
    newState.hiddenRows = std::move(hiddenRows);
    newState.hiddenCols = std::move(hiddenCols);
    sortUnique(newState.hiddenRows);
    sortUnique(newState.hiddenCols);
    for (FilterData& filter : newState.filters) {
        if (filter.parsedList.empty() && !filter.isRegex)
            filter.convertFilterStrToRegexList();
    }
    if (!model->computeConcealment(newState, useThread)) {
        isValid = false;
        return;
    }
    rawSelection = model->getRawRange(model->getSelection());
    rawMainCell = model->getRawRange(model->getMainCell());
}

void ConcealmentCommand::apply(const TableModel::ConcealmentState& state) {
    model->setConcealmentState(state);
    const TableData& data = model->getTableData();
    RangeVector kept;
    for (const Range& raw : rawSelection) {
        Range range = data.getModelFromRawRange(raw);
        const bool rowsOk = range.type == RangeType::Col || (range.row >= 0 && range.endRow >= 0);
        const bool colsOk = range.type == RangeType::Row || (range.col >= 0 && range.endCol >= 0);
        if (range.isValid() && rowsOk && colsOk)
            kept.push_back(range);
    }
    if (kept.empty()) {
        // The selected lines went out of sight: the nearest cell that shows takes the main cell.
        Range cell = data.getModelFromRawRange(rawMainCell, true);
        cell.type = RangeType::Cell;
        cell.row = std::clamp(cell.row, 0, std::max(0, model->rowCountModel() - 1));
        cell.col = std::clamp(cell.col, 0, std::max(0, model->columnCountModel() - 1));
        cell.endRow = cell.row;
        cell.endCol = cell.col;
        cell.isMainCell = true;
        kept.push_back(cell);
    }
    model->setSelection(kept);
    const Range& main = model->getMainCell();
    if (main.row >= 0)
        emit model->scrollToRowSignal(main.row);
    if (main.col >= 0)
        emit model->scrollToColSignal(main.col);
    emit model->updateFindReplaceMatchesSignal();
}

void ConcealmentCommand::redo() {
    apply(newState);
}

void ConcealmentCommand::undo() {
    apply(oldState);
}

ApplyFiltersCommand::ApplyFiltersCommand(TableModel* model, const std::vector<FilterData>& filters,
                                         bool useThread, QUndoCommand* parent)
    : ConcealmentCommand(model, filters, model ? model->getHiddenRows() : std::vector<int>(),
                         model ? model->getHiddenCols() : std::vector<int>(), useThread, parent) {
    setText(QStringLiteral("ApplyFiltersCommand"));
}

ApplyHiddenRowsCommand::ApplyHiddenRowsCommand(TableModel* model, const std::vector<int>& hiddenRows,
                                               bool useThread, QUndoCommand* parent)
    : ConcealmentCommand(model, model ? model->getFilterList() : std::vector<FilterData>(), hiddenRows,
                         model ? model->getHiddenCols() : std::vector<int>(), useThread, parent) {
    setText(QStringLiteral("ApplyHiddenRowsCommand"));
}

ApplyHiddenColsCommand::ApplyHiddenColsCommand(TableModel* model, const std::vector<int>& hiddenCols,
                                               bool useThread, QUndoCommand* parent)
    : ConcealmentCommand(model, model ? model->getFilterList() : std::vector<FilterData>(),
                         model ? model->getHiddenRows() : std::vector<int>(), hiddenCols, useThread, parent) {
    setText(QStringLiteral("ApplyHiddenColsCommand"));
}

// --- Removing what is concealed --------------------------------------------------------------

RemoveAllFilteredOutAndHiddenDataCommand::RemoveAllFilteredOutAndHiddenDataCommand(TableModel* model,
                                                                                   QUndoCommand* parent)
    : TableUndoCommand(model, true, parent) {
    setText(QStringLiteral("RemoveAllFilteredOutAndHiddenDataCommand"));
    if (!model) {
        isValid = false;
        return;
    }
    oldState = model->getConcealmentState();
    const TableData& data = model->getTableData();
    std::vector<int> rows;
    std::vector<int> cols;
    // Concealed entries past the data (hidden buffer lines) hold nothing to remove.
    for (int raw : oldState.concealedRows) {
        if (raw >= 0 && raw < data.numRawRows())
            rows.push_back(raw);
    }
    for (int raw : oldState.concealedCols) {
        if (raw >= 0 && raw < data.numRawCols())
            cols.push_back(raw);
    }
    if (rows.empty() && cols.empty() && oldState.filters.empty() && oldState.hiddenRows.empty() &&
        oldState.hiddenCols.empty()) {
        isValid = false;
        return;
    }
    rowRuns = adjacentRuns(rows);
    colRuns = adjacentRuns(cols);
    if ((!colRuns.empty() && removesStoredColumns(Axis::Col)) ||
        (!rowRuns.empty() && removesStoredColumns(Axis::Row)))
        rowFieldsBefore = readRowFieldsAsRead();
    for (const auto& [first, count] : rowRuns) {
        std::vector<std::vector<std::vector<char>>> run(static_cast<std::size_t>(count));
        std::vector<int> fields(static_cast<std::size_t>(count));
        for (int i = 0; i < count; ++i)
            readLineRaw(Axis::Row, first + i, run[static_cast<std::size_t>(i)],
                        &fields[static_cast<std::size_t>(i)]);
        rowContents.push_back(std::move(run));
        rowFieldsAsRead.push_back(std::move(fields));
    }
    // Columns go after the rows, so each keeps only the cells of the rows that stay.
    for (const auto& [first, count] : colRuns) {
        std::vector<std::vector<std::vector<char>>> run(static_cast<std::size_t>(count));
        std::vector<std::vector<char>> col;
        for (int i = 0; i < count; ++i) {
            readLineRaw(Axis::Col, first + i, col);
            std::vector<std::vector<char>>& kept = run[static_cast<std::size_t>(i)];
            auto removed = rows.begin();
            for (int r = 0; r < static_cast<int>(col.size()); ++r) {
                while (removed != rows.end() && *removed < r)
                    ++removed;
                if (removed == rows.end() || *removed != r)
                    kept.push_back(std::move(col[static_cast<std::size_t>(r)]));
            }
        }
        colContents.push_back(std::move(run));
    }
    Range main = model->getMainCell();
    main.isMainCell = true;
    selectionAfter = RangeVector{main};
}

void RemoveAllFilteredOutAndHiddenDataCommand::redo() {
    const RawSize before = rawSize();
    model->setConcealmentState(TableModel::ConcealmentState());
    TableData& data = model->getTableData();
    emit model->layoutAboutToBeChanged();
    if (!rowRuns.empty())
        data.removeRunsRaw(Axis::Row, rowRuns);
    if (!colRuns.empty())
        data.removeRunsRaw(Axis::Col, colRuns);
    emit model->layoutChanged();
    // The main cell stays where it was on screen, within what is left.
    Range& main = selectionAfter.front();
    main.row = main.endRow = std::clamp(main.row, 0, std::max(0, model->rowCountModel() - 1));
    main.col = main.endCol = std::clamp(main.col, 0, std::max(0, model->columnCountModel() - 1));
    TableUndoCommand::redo();
    finishDataChange(false, before, {}, {});
    notifyAllChanged();
}

void RemoveAllFilteredOutAndHiddenDataCommand::undo() {
    const RawSize before = rawSize();
    TableData& data = model->getTableData();
    emit model->layoutAboutToBeChanged();
    if (!colRuns.empty())
        data.insertRunsRaw(Axis::Col, colRuns, colContents);
    if (!rowRuns.empty())
        data.insertRunsRaw(Axis::Row, rowRuns, rowContents, &rowFieldsAsRead);
    restoreRowFieldsAsRead(rowFieldsBefore);
    emit model->layoutChanged();
    model->setConcealmentState(oldState);
    TableUndoCommand::undo();
    finishDataChange(true, before, {}, {});
    notifyAllChanged();
}
