#include "table/rowcolcommands.h"

#include "table/tablemodel.h"

#include <algorithm>
#include <climits>

namespace {

int modelCount(const TableModel* model, Axis axis) {
    return axis == Axis::Row ? model->rowCountModel() : model->columnCountModel();
}

int rawCount(const TableModel* model, Axis axis) {
    return axis == Axis::Row ? model->rowCountRaw() : model->columnCountRaw();
}

int rawFromModel(const TableModel* model, Axis axis, int index) {
    return axis == Axis::Row ? model->getRawFromModelRow(index) : model->getRawFromModelCol(index);
}

// Raw index map for lines inserted at the given raw positions (original indexes), `count` each.
std::function<int(int)> insertionMap(std::vector<int> positions, int count) {
    std::sort(positions.begin(), positions.end());
    return [positions, count](int raw) {
        const auto before = std::upper_bound(positions.begin(), positions.end(), raw) - positions.begin();
        return static_cast<int>(std::min<qint64>(INT_MAX, raw + qint64(before) * count));
    };
}

std::vector<int> distinctSorted(std::vector<int> values) {
    std::sort(values.begin(), values.end());
    values.erase(std::unique(values.begin(), values.end()), values.end());
    return values;
}

// Whole lines as a selection, the first holding the main cell.
RangeVector wholeLines(const TableModel* model, Axis axis, const std::vector<int>& lines) {
    RangeVector out;
    const Range& main = model->getMainCell();
    for (int line : lines) {
        Range range(line, axis == Axis::Row ? RangeType::Row : RangeType::Col, RangeIndexType::Model);
        if (out.empty()) {
            range.isMainCell = true;
            range.mainCellIndex = std::max(0, axis == Axis::Row ? main.col : main.row);
        }
        out.push_back(std::move(range));
    }
    return out;
}

} // namespace

// --- Insert ----------------------------------------------------------------------------------

InsertLinesCommand::InsertLinesCommand(TableModel* model, Axis axis, const std::vector<int>& lines, int count,
                                       bool after, bool restoreSelection, QUndoCommand* parent)
    : TableUndoCommand(model, restoreSelection, parent), axis(axis), count(count), after(after) {
    setText(axis == Axis::Row ? QStringLiteral("InsertRowsCommand") : QStringLiteral("InsertColsCommand"));
    const int viewCount = axis == Axis::Row ? model->rowCount() : model->columnCount();
    std::vector<int> valid;
    for (int line : distinctSorted(lines)) {
        if (line >= 0 && line < std::max(viewCount, 1))
            valid.push_back(line);
    }
    groups = adjacentRuns(valid);
    if (groups.empty() || count < 1 ||
        qint64(count) * qint64(groups.size()) > qint64(INT_MAX) - qint64(viewCount) - 1) {
        isValid = false;
        return;
    }
    // Selection after: the new lines.
    std::vector<int> inserted;
    for (std::size_t g = 0; g < groups.size() && inserted.size() < 100000; ++g) {
        for (int k = 0; k < count; ++k)
            inserted.push_back(computeNewLine(g) + k);
    }
    selectionAfter = wholeLines(model, axis, inserted);

    std::vector<int> rawPositions;
    const int dataCount = modelCount(model, axis);
    for (const auto& [first, length] : groups) {
        const int at = after ? first + length : first;
        if (at <= dataCount)
            rawPositions.push_back(at == dataCount ? rawCount(model, axis) : rawFromModel(model, axis, at));
    }
    if (model->hasConcealmentLists()) {
        const auto map = insertionMap(rawPositions, count);
        if (axis == Axis::Row)
            populateFilterLists(map, {});
        else
            populateFilterLists({}, map);
    }
}

int InsertLinesCommand::computeNewLine(std::size_t group) const {
    const auto& [first, length] = groups[group];
    return (after ? first + length : first) + static_cast<int>(group) * count;
}

void InsertLinesCommand::redo() {
    const RawSize before = rawSize();
    for (std::size_t g = groups.size(); g-- > 0;) {
        const int at = after ? groups[g].first + groups[g].second : groups[g].first;
        if (axis == Axis::Row)
            model->insertRows(at, count);
        else
            model->insertColumns(at, count);
    }
    applyFilterList(false);
    TableUndoCommand::redo();
    finishDataChange(false, before, {}, {});
}

void InsertLinesCommand::undo() {
    const RawSize before = rawSize();
    for (std::size_t g = groups.size(); g-- > 0;) {
        if (axis == Axis::Row)
            model->removeRows(computeNewLine(g), count);
        else
            model->removeColumns(computeNewLine(g), count);
    }
    applyFilterList(true);
    TableUndoCommand::undo();
    finishDataChange(true, before, {}, {});
}

InsertRowsCommand::InsertRowsCommand(TableModel* model, const std::vector<int>& rows, int count, bool after,
                                     bool restoreSelection, QUndoCommand* parent)
    : InsertLinesCommand(model, Axis::Row, rows, count, after, restoreSelection, parent) {}

InsertColsCommand::InsertColsCommand(TableModel* model, const std::vector<int>& cols, int count, bool after,
                                     bool restoreSelection, QUndoCommand* parent)
    : InsertLinesCommand(model, Axis::Col, cols, count, after, restoreSelection, parent) {}

// --- Remove ----------------------------------------------------------------------------------

namespace {

// Runs held as (first, last) in the form the table takes them, (first, count).
std::vector<std::pair<int, int>> firstAndCount(const std::vector<std::pair<int, int>>& runs) {
    std::vector<std::pair<int, int>> out;
    out.reserve(runs.size());
    for (const auto& [first, last] : runs)
        out.emplace_back(first, last - first + 1);
    return out;
}

} // namespace

RemoveLinesCommand::RemoveLinesCommand(TableModel* model, Axis axis, const std::vector<int>& lines,
                                       bool restoreSelection, QUndoCommand* parent)
    : TableUndoCommand(model, restoreSelection, parent), axis(axis) {
    setText(axis == Axis::Row ? QStringLiteral("RemoveRowsCommand") : QStringLiteral("RemoveColsCommand"));
    const int dataCount = modelCount(model, axis);
    std::vector<int> raws;
    for (int line : distinctSorted(lines)) {
        if (line >= 0 && line < dataCount)
            raws.push_back(rawFromModel(model, axis, line));
    }
    if (raws.empty()) {
        isValid = false;
        return;
    }
    firstModelLine =
        axis == Axis::Row ? model->getModelFromRawRow(raws.front()) : model->getModelFromRawCol(raws.front());
    if (removesStoredColumns(axis))
        rowFieldsBefore = readRowFieldsAsRead();
    std::sort(raws.begin(), raws.end());
    for (const auto& [first, length] : adjacentRuns(raws)) {
        runs.emplace_back(first, first + length - 1);
        std::vector<std::vector<std::vector<char>>> run(static_cast<std::size_t>(length));
        std::vector<int> fields(static_cast<std::size_t>(length));
        for (int i = 0; i < length; ++i)
            readLineRaw(axis, first + i, run[static_cast<std::size_t>(i)],
                        &fields[static_cast<std::size_t>(i)]);
        contents.push_back(std::move(run));
        fieldsAsRead.push_back(std::move(fields));
    }
    if (model->hasConcealmentLists()) {
        auto map = [raws](int raw) {
            const auto it = std::lower_bound(raws.begin(), raws.end(), raw);
            if (it != raws.end() && *it == raw)
                return -1;
            return raw - static_cast<int>(it - raws.begin());
        };
        if (axis == Axis::Row)
            populateFilterLists(map, {});
        else
            populateFilterLists({}, map);
    }
}

void RemoveLinesCommand::redo() {
    const RawSize before = rawSize();
    TableData& data = model->getTableData();
    data.removeRunsRaw(axis, firstAndCount(runs));
    applyFilterList(false);
    // The main cell stays on the line that took the place of the first removed one.
    const Range& main = model->getMainCell();
    const int line = std::clamp(firstModelLine, 0, std::max(0, modelCount(model, axis) - 1));
    Range cell = axis == Axis::Row ? Range(line, std::max(main.col, 0), RangeIndexType::Model)
                                   : Range(std::max(main.row, 0), line, RangeIndexType::Model);
    cell.isMainCell = true;
    selectionAfter = RangeVector{cell};
    TableUndoCommand::redo();
    finishDataChange(false, before, {}, {});
}

void RemoveLinesCommand::undo() {
    const RawSize before = rawSize();
    TableData& data = model->getTableData();
    data.insertRunsRaw(axis, firstAndCount(runs), contents, &fieldsAsRead);
    restoreRowFieldsAsRead(rowFieldsBefore);
    applyFilterList(true);
    TableUndoCommand::undo();
    finishDataChange(true, before, {}, {});
}

RemoveRowsCommand::RemoveRowsCommand(TableModel* model, const std::vector<int>& rows, bool restoreSelection,
                                     QUndoCommand* parent)
    : RemoveLinesCommand(model, Axis::Row, rows, restoreSelection, parent) {}

RemoveColsCommand::RemoveColsCommand(TableModel* model, const std::vector<int>& cols, bool restoreSelection,
                                     QUndoCommand* parent)
    : RemoveLinesCommand(model, Axis::Col, cols, restoreSelection, parent) {}

// --- Empty lines at the end ------------------------------------------------------------------

RemoveEmptyRowsColsAtEndCommand::RemoveEmptyRowsColsAtEndCommand(TableModel* model, QUndoCommand* parent)
    : TableUndoCommand(model, true, parent) {
    setText(QStringLiteral("RemoveEmptyRowsColsAtEndCommand"));
    const TableData& data = model->getTableData();
    numRows = data.numEmptyRowsRawAtEnd();
    numCols = data.numEmptyColsRawAtEnd();
    if (numRows <= 0 && numCols <= 0) {
        isValid = false;
        return;
    }
    const int keptRows = data.numRawRows() - numRows;
    const int keptCols = data.numRawCols() - numCols;
    std::vector<int> concealed;
    data.getConcealedRowsRaw(concealed);
    for (int raw : concealed) {
        if (raw >= keptRows)
            concealedRows.push_back(raw);
    }
    data.getConcealedColsRaw(concealed);
    for (int raw : concealed) {
        if (raw >= keptCols)
            concealedCols.push_back(raw);
    }
    if (model->hasConcealmentLists()) {
        populateFilterLists([keptRows](int raw) { return raw < keptRows ? raw : -1; },
                            [keptCols](int raw) { return raw < keptCols ? raw : -1; });
    }
}

void RemoveEmptyRowsColsAtEndCommand::redo() {
    const RawSize before = rawSize();
    TableData& data = model->getTableData();
    if (numRows > 0)
        data.removeRowsRaw(data.numRawRows() - numRows, numRows);
    if (numCols > 0)
        data.removeColsRaw(data.numRawCols() - numCols, numCols);
    applyFilterList(false);
    TableUndoCommand::redo();
    finishDataChange(false, before, {}, {});
}

void RemoveEmptyRowsColsAtEndCommand::undo() {
    const RawSize before = rawSize();
    TableData& data = model->getTableData();
    if (numCols > 0)
        data.insertColsRaw(data.numRawCols(), numCols);
    if (numRows > 0)
        data.insertRowsRaw(data.numRawRows(), numRows);
    if (!concealedRows.empty())
        data.concealRawRows(concealedRows);
    if (!concealedCols.empty())
        data.concealRawCols(concealedCols);
    applyFilterList(true);
    TableUndoCommand::undo();
    finishDataChange(true, before, {}, {});
}

// --- Duplicate -------------------------------------------------------------------------------

DuplicateLinesCommand::DuplicateLinesCommand(TableModel* model, Axis axis, const std::vector<int>& lines,
                                             int count, bool below, bool restoreSelection,
                                             QUndoCommand* parent)
    : TableUndoCommand(model, restoreSelection, parent), axis(axis), count(count), below(below) {
    setText(axis == Axis::Row ? QStringLiteral("DuplicateRowsCommand")
                              : QStringLiteral("DuplicateColsCommand"));
    const int dataCount = modelCount(model, axis);
    for (int line : distinctSorted(lines)) {
        if (line >= 0 && line < dataCount)
            this->lines.push_back(line);
    }
    if (this->lines.empty() || count < 1 ||
        qint64(count) * qint64(this->lines.size()) > qint64(INT_MAX) - rawCount(model, axis) - 1) {
        isValid = false;
        return;
    }
    if (model->hasConcealmentLists()) {
        std::vector<int> positions;
        for (int line : this->lines) {
            const int to = below ? line + 1 : line;
            positions.push_back(to == dataCount ? rawCount(model, axis) : rawFromModel(model, axis, to));
        }
        // Copies land at the insertion point, so lines from there on move.
        std::sort(positions.begin(), positions.end());
        const int n = count;
        auto map = [positions, n](int raw) {
            const auto before = std::upper_bound(positions.begin(), positions.end(), raw) - positions.begin();
            return raw + static_cast<int>(before) * n;
        };
        if (axis == Axis::Row)
            populateFilterLists(map, {});
        else
            populateFilterLists({}, map);
    }
}

int DuplicateLinesCommand::copyPosition(std::size_t i) const {
    return lines[i] + static_cast<int>(i) * count + (below ? 1 : 0);
}

void DuplicateLinesCommand::redo() {
    const RawSize before = rawSize();
    if (axis == Axis::Col && rowFieldsBefore.empty())
        rowFieldsBefore = readRowFieldsAsRead();
    model->duplicateLines(axis, lines, count, below);
    applyFilterList(false);
    TableUndoCommand::redo();
    finishDataChange(false, before, {}, {});
}

void DuplicateLinesCommand::undo() {
    const RawSize before = rawSize();
    // The copies stand where redo put them, each line's together; they go in one pass.
    std::vector<std::pair<int, int>> runs;
    runs.reserve(lines.size());
    for (std::size_t i = 0; i < lines.size(); ++i)
        runs.emplace_back(rawFromModel(model, axis, copyPosition(i)), count);
    model->removeLineRuns(axis, runs);
    if (axis == Axis::Col)
        restoreRowFieldsAsRead(rowFieldsBefore);
    applyFilterList(true);
    TableUndoCommand::undo();
    finishDataChange(true, before, {}, {});
}

DuplicateRowsCommand::DuplicateRowsCommand(TableModel* model, const std::vector<int>& rows, int count,
                                           bool below, bool restoreSelection, QUndoCommand* parent)
    : DuplicateLinesCommand(model, Axis::Row, rows, count, below, restoreSelection, parent) {}

DuplicateColsCommand::DuplicateColsCommand(TableModel* model, const std::vector<int>& cols, int count,
                                           bool below, bool restoreSelection, QUndoCommand* parent)
    : DuplicateLinesCommand(model, Axis::Col, cols, count, below, restoreSelection, parent) {}
