#include "table/tableundocommand.h"

#include "storage/abstractdatacontainer.h"
#include "table/tablemodel.h"

#include <algorithm>

TableUndoCommand::TableUndoCommand(QUndoCommand* parent) : QUndoCommand(parent) {}

TableUndoCommand::TableUndoCommand(TableModel* model, QUndoCommand* parent)
    : TableUndoCommand(model, true, parent) {}

TableUndoCommand::TableUndoCommand(TableModel* model, bool restoreSelection, QUndoCommand* parent)
    : TableUndoCommand(model, model ? model->getSelection() : RangeVector(), restoreSelection, parent) {}

TableUndoCommand::TableUndoCommand(TableModel* model, const RangeVector& cells, bool restoreSelection,
                                   QUndoCommand* parent)
    : QUndoCommand(parent), model(model), restoreSelection(restoreSelection) {
    if (model) {
        selectionCells = model->getModelRange(cells);
        rowSortData = model->getRowSortData();
        colSortData = model->getColSortData();
    }
}

TableUndoCommand::TableUndoCommand(TableModel* model, const RangeVector& cells, const RangeVector& cellsAfter,
                                   bool restoreSelection, QUndoCommand* parent)
    : TableUndoCommand(model, cells, restoreSelection, parent) {
    if (model)
        selectionAfter = model->getModelRange(cellsAfter);
}

TableUndoCommand::~TableUndoCommand() = default;

void TableUndoCommand::undo() {
    if (model && restoreSelection)
        applySelectionUndo();
}

void TableUndoCommand::redo() {
    if (model && restoreSelection)
        applySelectionRedo();
}

void TableUndoCommand::setSelectionCells(const RangeVector& cells) {
    selectionCells = model->getModelRange(cells);
}

void TableUndoCommand::setSelectionCells(const RangeVector& before, const RangeVector& after) {
    selectionBefore = model->getModelRange(before);
    selectionAfter = model->getModelRange(after);
}

// --- Sort marks ------------------------------------------------------------------------------

void TableUndoCommand::retainModelRowSortData() {
    rowSortData = model->getRowSortData();
}

void TableUndoCommand::retainModelColSortData() {
    colSortData = model->getColSortData();
}

bool TableUndoCommand::isModelRowSortDataValid() const {
    return model->getRowSortData().isValid();
}

bool TableUndoCommand::isModelColSortDataValid() const {
    return model->getColSortData().isValid();
}

void TableUndoCommand::restoreRowSortDataToModel() {
    model->setRowSortData(rowSortData);
    emit model->refreshHeadersSignal();
}

void TableUndoCommand::restoreColSortDataToModel() {
    model->setColSortData(colSortData);
    emit model->refreshHeadersSignal();
}

// --- Common tail -----------------------------------------------------------------------------

TableUndoCommand::RawSize TableUndoCommand::rawSize() const {
    return {model->rowCountRaw(), model->columnCountRaw()};
}

void TableUndoCommand::recordAdded(const RawSize& before) {
    const RawSize after = rawSize();
    numRowsAdded = std::max(0, after.rows - before.rows);
    numColsAdded = std::max(0, after.cols - before.cols);
}

void TableUndoCommand::removeAdded() {
    TableData& data = model->getTableData();
    if (numRowsAdded > 0)
        data.removeRowsRaw(data.numRawRows() - numRowsAdded, numRowsAdded);
    if (numColsAdded > 0)
        data.removeColsRaw(data.numRawCols() - numColsAdded, numColsAdded);
    model->enforceTableSize();
}

void TableUndoCommand::applySelectionUndo() {
    RangeVector rv = selectionBefore.empty() ? selectionCells : selectionBefore;
    model->setSelection(rv, true);
}

void TableUndoCommand::applySelectionRedo() {
    RangeVector rv = selectionAfter.empty() ? selectionCells : selectionAfter;
    model->setSelection(rv, true);
}

void TableUndoCommand::finishDataChange(bool isUndo, const RawSize& before, const std::vector<int>& rows,
                                        const std::vector<int>& cols) {
    if (!rows.empty())
        emit model->enforceAutoFitRowHeightsSignal(rows);
    if (!cols.empty())
        emit model->enforceAutoFitColWidthsSignal(cols);
    model->enforceTableSize();
    // The marks name the last sort, which an edit leaves as it was; undo puts back the marks
    // the step found.
    if (isUndo) {
        restoreRowSortDataToModel();
        restoreColSortDataToModel();
    }
    emit model->updateFindReplaceMatchesSignal();
    const RawSize after = rawSize();
    if (after.rows != before.rows || after.cols != before.cols)
        model->onTableSizeChanged(after.rows, after.cols, model->rowCountModel(), model->columnCountModel());
    model->saveAfterEdit();
}

// --- Filter lists ----------------------------------------------------------------------------

void TableUndoCommand::populateFilterLists(const std::function<int(int)>& rowMap,
                                           const std::function<int(int)>& colMap) {
    oldFilters = model->getFilterList();
    oldHiddenRows = model->getHiddenRows();
    oldHiddenCols = model->getHiddenCols();
    hasFilters = model->hasConcealmentLists();
    newFilters.clear();
    if (!hasFilters)
        return;
    auto mapList = [](std::vector<int>& list, const std::function<int(int)>& map) {
        std::vector<int> out;
        out.reserve(list.size());
        for (int index : list) {
            const int moved = map(index);
            if (moved >= 0)
                out.push_back(moved);
        }
        std::sort(out.begin(), out.end());
        list.swap(out);
    };
    for (FilterData filter : oldFilters) {
        // A column filter conceals rows: its exceptions are rows. A row filter the reverse.
        const bool onCol = filter.range.type == RangeType::Col;
        const std::function<int(int)>& ownMap = onCol ? colMap : rowMap;
        const std::function<int(int)>& exceptionMap = onCol ? rowMap : colMap;
        if (ownMap) {
            int& index = onCol ? filter.range.col : filter.range.row;
            const int moved = ownMap(index);
            if (moved < 0)
                continue; // its line is gone
            index = moved;
        }
        if (exceptionMap)
            mapList(filter.exceptions, exceptionMap);
        newFilters.push_back(std::move(filter));
    }
    newHiddenRows = oldHiddenRows;
    newHiddenCols = oldHiddenCols;
    if (rowMap)
        mapList(newHiddenRows, rowMap);
    if (colMap)
        mapList(newHiddenCols, colMap);
}

void TableUndoCommand::applyFilterList(bool isUndo) {
    if (!hasFilters)
        return;
    model->setFilterListDontApply(isUndo ? oldFilters : newFilters);
    model->setHiddenListsDontApply(isUndo ? oldHiddenRows : newHiddenRows,
                                   isUndo ? oldHiddenCols : newHiddenCols);
}

// --- Whole lines -----------------------------------------------------------------------------

void TableUndoCommand::readLineRaw(Axis axis, int raw, std::vector<std::vector<char>>& out,
                                   int* fieldsAsRead) const {
    const TableData& data = model->getTableData();
    AbstractDataContainer* container = data.getDataContainer();
    out.clear();
    if (fieldsAsRead)
        *fieldsAsRead = 0;
    if (!container)
        return;
    const bool physicalRow = (axis == Axis::Row) != data.isTransposed();
    if (physicalRow && fieldsAsRead)
        *fieldsAsRead = container->rowFieldsAsRead(raw);
    if (physicalRow)
        container->getRow(out, raw);
    else
        container->getCol(out, raw);
    // The other axis' count, so every stored line has the same length.
    out.resize(static_cast<std::size_t>(axis == Axis::Row ? data.numRawCols() : data.numRawRows()));
}

std::vector<int> TableUndoCommand::readRowFieldsAsRead() const {
    AbstractDataContainer* container = model->getTableData().getDataContainer();
    std::vector<int> fields;
    if (!container)
        return fields;
    const int rows = container->numRows();
    fields.resize(static_cast<std::size_t>(std::max(rows, 0)));
    for (int r = 0; r < rows; ++r)
        fields[static_cast<std::size_t>(r)] = container->rowFieldsAsRead(r);
    return fields;
}

void TableUndoCommand::restoreRowFieldsAsRead(const std::vector<int>& fields) {
    AbstractDataContainer* container = model->getTableData().getDataContainer();
    if (!container)
        return;
    for (std::size_t r = 0; r < fields.size(); ++r)
        container->setRowFieldsAsRead(static_cast<int>(r), fields[r]);
}

std::vector<std::pair<int, int>> TableUndoCommand::readFieldsAsRead(const TableModel& model,
                                                                    const std::vector<int>& modelRows,
                                                                    const std::vector<int>& modelCols) {
    std::vector<std::pair<int, int>> fields;
    const TableData& data = model.getTableData();
    const AbstractDataContainer* container = data.getDataContainer();
    if (!container)
        return fields;
    // A transposed table stores its model columns as rows.
    const bool transposed = data.isTransposed();
    const int stored = container->numRows();
    for (const int line : transposed ? modelCols : modelRows) {
        const int raw = transposed ? data.getRawFromModelCol(line) : data.getRawFromModelRow(line);
        if (raw < 0 || raw >= stored)
            continue;
        if (const int count = container->rowFieldsAsRead(raw); count > 0)
            fields.emplace_back(raw, count);
    }
    return fields;
}

void TableUndoCommand::writeFieldsAsRead(TableModel& model, const std::vector<std::pair<int, int>>& fields) {
    AbstractDataContainer* container = model.getTableData().getDataContainer();
    if (!container)
        return;
    const int stored = container->numRows();
    for (const auto& [raw, count] : fields) {
        if (raw < stored)
            container->setRowFieldsAsRead(raw, count);
    }
}

void TableUndoCommand::rememberFieldsAsRead(const std::vector<int>& modelRows,
                                            const std::vector<int>& modelCols) {
    if (fieldsAsReadKnown)
        return;
    fieldsAsReadKnown = true;
    fieldsAsReadBefore = readFieldsAsRead(*model, modelRows, modelCols);
}

void TableUndoCommand::restoreFieldsAsRead() {
    writeFieldsAsRead(*model, fieldsAsReadBefore);
}

bool TableUndoCommand::removesStoredColumns(Axis axis) const {
    return (axis == Axis::Col) != model->getTableData().isTransposed();
}

void TableUndoCommand::writeLineRaw(Axis axis, int raw, const std::vector<std::vector<char>>& cells) {
    TableData& data = model->getTableData();
    AbstractDataContainer* container = data.getDataContainer();
    if (!container)
        return;
    const bool physicalRow = (axis == Axis::Row) != data.isTransposed();
    if (physicalRow)
        container->setRow(raw, cells);
    else
        container->setCol(raw, cells);
}

void TableUndoCommand::permuteModelLines(Axis axis, const std::vector<int>& targets,
                                         const std::vector<int>& sources) {
    if (targets.empty() || model->isReadOnly() ||
        model->getTableData().getDataContainerType() != TableData::Editable)
        return;
    std::vector<std::vector<std::vector<char>>> lines(sources.size());
    auto rawOf = [this, axis](int index) {
        return axis == Axis::Row ? model->getRawFromModelRow(index) : model->getRawFromModelCol(index);
    };
    for (std::size_t i = 0; i < sources.size(); ++i)
        readLineRaw(axis, rawOf(sources[i]), lines[i]);
    for (std::size_t i = 0; i < targets.size(); ++i)
        writeLineRaw(axis, rawOf(targets[i]), lines[i]);
    notifyAllChanged();
}

void TableUndoCommand::notifyAllChanged() {
    const int rows = model->rowCount();
    const int cols = model->columnCount();
    if (rows > 0 && cols > 0)
        emit model->dataChanged(model->index(0, 0), model->index(rows - 1, cols - 1));
    if (rows > 0)
        emit model->headerDataChanged(Qt::Vertical, 0, rows - 1);
    if (cols > 0)
        emit model->headerDataChanged(Qt::Horizontal, 0, cols - 1);
}

// --- Free helpers ----------------------------------------------------------------------------

std::vector<int> orderedModelLines(const TableModel* model, const RangeVector& ranges, Axis axis) {
    std::vector<int> lines;
    if (axis == Axis::Row)
        model->getOrderedSetOfRows(lines, ranges);
    else
        model->getOrderedSetOfCols(lines, ranges);
    const int count = axis == Axis::Row ? model->rowCountModel() : model->columnCountModel();
    lines.erase(std::remove_if(lines.begin(), lines.end(), [count](int i) { return i < 0 || i >= count; }),
                lines.end());
    return lines;
}

std::vector<std::pair<int, int>> adjacentRuns(const std::vector<int>& sorted) {
    std::vector<std::pair<int, int>> runs;
    for (int value : sorted) {
        if (!runs.empty() && runs.back().first + runs.back().second == value)
            ++runs.back().second;
        else
            runs.emplace_back(value, 1);
    }
    return runs;
}

RangeVector shiftedRanges(const RangeVector& ranges, int rows, int cols) {
    auto add = [](int& value, int delta) {
        if (value >= 0 && value != Range::EndOfTable)
            value = static_cast<int>(std::clamp<qint64>(qint64(value) + delta, 0, Range::EndOfTable - 1));
    };
    RangeVector out = ranges;
    for (Range& r : out) {
        switch (r.type) {
        case RangeType::Cell:
            add(r.row, rows);
            add(r.col, cols);
            break;
        case RangeType::Row:
            add(r.row, rows);
            add(r.mainCellIndex, cols);
            break;
        case RangeType::Col:
            add(r.col, cols);
            add(r.mainCellIndex, rows);
            break;
        case RangeType::Table:
            add(r.row, rows);
            add(r.col, cols);
            add(r.endRow, rows);
            add(r.endCol, cols);
            add(r.mainCellRow, rows);
            add(r.mainCellCol, cols);
            for (int& e : r.excludedRows)
                add(e, rows);
            for (int& e : r.excludedCols)
                add(e, cols);
            for (auto& [er, ec] : r.excludedCells) {
                add(er, rows);
                add(ec, cols);
            }
            break;
        case RangeType::Invalid:
            break;
        }
    }
    return out;
}
