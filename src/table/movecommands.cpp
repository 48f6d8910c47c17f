#include "table/movecommands.h"

#include "table/tablemodel.h"

#include <algorithm>
#include <climits>
#include <map>
#include <unordered_map>

namespace {

constexpr int kMaxForwardMove = 1000000;

// The new order of one line of positions when the positions in `selected` (ascending,
// distinct) move by `delta`: the moved ones land at their new place, the others keep their
// order and fill the places left. Returns (target, source) pairs over the touched span.
std::vector<std::pair<int, int>> slidePlan(const std::vector<int>& selected, int delta) {
    std::vector<std::pair<int, int>> plan;
    if (selected.empty() || delta == 0)
        return plan;
    const qint64 lo = qint64(selected.front()) + std::min(delta, 0);
    const qint64 hi = qint64(selected.back()) + std::max(delta, 0);
    if (lo < 0 || hi > INT_MAX)
        return plan;
    const std::size_t span = static_cast<std::size_t>(hi - lo + 1);
    std::vector<char> isSource(span, 0);
    std::vector<char> isTarget(span, 0);
    for (int s : selected) {
        isSource[static_cast<std::size_t>(s - lo)] = 1;
        isTarget[static_cast<std::size_t>(s + delta - lo)] = 1;
    }
    plan.reserve(span);
    for (int s : selected)
        plan.emplace_back(s + delta, s);
    // Unselected positions flow, in order, into the places the block left.
    std::size_t free = 0;
    for (std::size_t i = 0; i < span; ++i) {
        if (isSource[i])
            continue;
        while (isTarget[free])
            ++free;
        plan.emplace_back(static_cast<int>(lo + qint64(free)), static_cast<int>(lo + qint64(i)));
        ++free;
    }
    return plan;
}

// Lines of positions grouped by the other index.
using LineMap = std::map<int, std::vector<int>>;

LineMap groupCells(const RangeVector& cells, bool byRow) {
    LineMap lines;
    for (const Range& cell : cells) {
        if (cell.type != RangeType::Cell || cell.row < 0 || cell.col < 0)
            continue;
        lines[byRow ? cell.row : cell.col].push_back(byRow ? cell.col : cell.row);
    }
    for (auto& [key, positions] : lines) {
        std::sort(positions.begin(), positions.end());
        positions.erase(std::unique(positions.begin(), positions.end()), positions.end());
    }
    return lines;
}

// Moves the cells of each line by `delta`; `byRow` says the lines are rows (a column move).
void slide(const RangeVector& cells, int delta, bool byRow, TableModel* model) {
    if (delta == 0 || cells.empty())
        return;
    const TableData& data = model->getTableData();
    RangeVector writes;
    for (const auto& [line, positions] : groupCells(cells, byRow)) {
        const auto plan = slidePlan(positions, delta);
        if (plan.empty())
            continue;
        int lo = INT_MAX;
        int hi = -1;
        for (const auto& [target, source] : plan) {
            lo = std::min(lo, target);
            hi = std::max(hi, target);
        }
        const int at = line; // clang before 16 can't capture a structured binding
        auto read = [&](int pos) {
            return byRow ? data.getValueModel(at, pos).toString() : data.getValueModel(pos, at).toString();
        };
        std::vector<QVariant> values(static_cast<std::size_t>(hi - lo + 1));
        for (const auto& [target, source] : plan)
            values[static_cast<std::size_t>(target - lo)] = read(source);
        // One Row (Col) range per line writes the whole span.
        Range range = byRow ? Range(line, lo, RangeIndexType::Model) : Range(lo, line, RangeIndexType::Model);
        range.type = byRow ? RangeType::Row : RangeType::Col;
        range.rowColValues = std::move(values);
        writes.push_back(std::move(range));
    }
    model->populateModel(writes, false);
}

RangeVector shifted(const RangeVector& cells, int rows, int cols) {
    RangeVector out = cells;
    for (Range& cell : out) {
        cell.row += rows;
        cell.col += cols;
    }
    return out;
}

std::vector<int> spanOf(int lo, int hi) {
    std::vector<int> out;
    // Auto-fit of very many lines is the view's own business; a few thousand are plenty.
    for (int i = std::max(lo, 0); i <= hi && out.size() < 10000; ++i)
        out.push_back(i);
    return out;
}

// The lines of the data among `lines`, sorted and each once.
std::vector<int> validLines(const std::vector<int>& lines, int count) {
    std::vector<int> sorted;
    for (int line : lines) {
        if (line >= 0 && line < count)
            sorted.push_back(line);
    }
    std::sort(sorted.begin(), sorted.end());
    sorted.erase(std::unique(sorted.begin(), sorted.end()), sorted.end());
    return sorted;
}

} // namespace

// --- Cell contents ---------------------------------------------------------------------------

MoveCellContentsCommand::MoveCellContentsCommand(TableModel* model, const RangeVector& cells, int rows,
                                                 int cols, bool restoreSelection, QUndoCommand* parent)
    : TableUndoCommand(model, cells, restoreSelection, parent), rowsDelta(rows), colsDelta(cols) {
    setText(QStringLiteral("MoveCellContentsCommand"));
    model->getCellOnlyRangeVector(cellList, selectionCells);
    cellList.erase(
        std::remove_if(cellList.begin(), cellList.end(),
                       [](const Range& r) { return r.type != RangeType::Cell || r.row < 0 || r.col < 0; }),
        cellList.end());
    for (Range& cell : cellList) {
        cell.value = QVariant();
        cell.oldValue = QVariant();
        cell.isMainCell = false;
    }
    if (cellList.empty()) {
        isValid = false;
        return;
    }
    int top = INT_MAX, left = INT_MAX, bottom = 0, right = 0;
    for (const Range& cell : cellList) {
        top = std::min(top, cell.row);
        left = std::min(left, cell.col);
        bottom = std::max(bottom, cell.row);
        right = std::max(right, cell.col);
    }
    // Limited by the top (left) edge of the block, never by the gaps inside it.
    if (rows < 0)
        rowsDelta = -std::min(top, -std::max(rows, -INT_MAX));
    if (cols < 0)
        colsDelta = -std::min(left, -std::max(cols, -INT_MAX));
    // Moves down or right may leave the data; a far jump would only fill the way with
    // empty cells, so it is kept within reach.
    rowsDelta = std::min(rowsDelta, kMaxForwardMove);
    colsDelta = std::min(colsDelta, kMaxForwardMove);
    if (rowsDelta > 0 && qint64(bottom) + rowsDelta >= INT_MAX - 1)
        rowsDelta = 0;
    if (colsDelta > 0 && qint64(right) + colsDelta >= INT_MAX - 1)
        colsDelta = 0;
    if (rowsDelta == 0 && colsDelta == 0) {
        isValid = false;
        return;
    }
    rowsInvolved = spanOf(top + std::min(rowsDelta, 0), bottom + std::max(rowsDelta, 0));
    colsInvolved = spanOf(left + std::min(colsDelta, 0), right + std::max(colsDelta, 0));
    selectionAfter = shiftedRanges(selectionCells, rowsDelta, colsDelta);
}

void MoveCellContentsCommand::moveCellContents(const RangeVector& cells, int first, int second,
                                               TableModel* model) {
    if (cells.empty())
        return;
    slide(cells, first, true, model);
    slide(shifted(cells, 0, first), second, false, model);
}

void MoveCellContentsCommand::redo() {
    const RawSize before = rawSize();
    moveCellContents(cellList, colsDelta, rowsDelta, model);
    TableUndoCommand::redo();
    const RangeVector moved = shifted(cellList, rowsDelta, colsDelta);
    if (rowsDelta != 0)
        emit model->scrollToRowSignal(rowsDelta < 0 ? moved.minRow() : moved.maxRow());
    if (colsDelta != 0)
        emit model->scrollToColSignal(colsDelta < 0 ? moved.minCol() : moved.maxCol());
    recordAdded(before);
    finishDataChange(false, before, rowsInvolved, colsInvolved);
}

void MoveCellContentsCommand::undo() {
    const RawSize before = rawSize();
    // The reverse steps in the reverse order.
    slide(shifted(cellList, rowsDelta, colsDelta), -rowsDelta, false, model);
    slide(shifted(cellList, 0, colsDelta), -colsDelta, true, model);
    removeAdded();
    TableUndoCommand::undo();
    emit model->refreshHeadersSignal();
    finishDataChange(true, before, rowsInvolved, colsInvolved);
}

// --- Whole lines -----------------------------------------------------------------------------

MoveLinesCommand::MoveLinesCommand(TableModel* model, Axis axis, bool restoreSelection, QUndoCommand* parent)
    : TableUndoCommand(model, restoreSelection, parent), axis(axis) {}

void MoveLinesCommand::finishSetup() {
    if (targets.empty()) {
        isValid = false;
        return;
    }
    if (!model->hasConcealmentLists())
        return;
    std::unordered_map<int, int> rawMap;
    for (std::size_t i = 0; i < targets.size(); ++i) {
        if (axis == Axis::Row)
            rawMap[model->getRawFromModelRow(sources[i])] = model->getRawFromModelRow(targets[i]);
        else
            rawMap[model->getRawFromModelCol(sources[i])] = model->getRawFromModelCol(targets[i]);
    }
    auto map = [rawMap](int raw) {
        const auto it = rawMap.find(raw);
        return it == rawMap.end() ? raw : it->second;
    };
    if (axis == Axis::Row)
        populateFilterLists(map, {});
    else
        populateFilterLists({}, map);
}

void MoveLinesCommand::scrollTo(int line) {
    if (line < 0)
        return;
    if (axis == Axis::Row)
        emit model->scrollToRowSignal(line);
    else
        emit model->scrollToColSignal(line);
}

void MoveLinesCommand::redo() {
    const RawSize before = rawSize();
    permuteModelLines(axis, targets, sources);
    applyFilterList(false);
    TableUndoCommand::redo();
    scrollTo(scrollLine);
    finishDataChange(false, before, axis == Axis::Row ? targets : std::vector<int>(),
                     axis == Axis::Col ? targets : std::vector<int>());
}

void MoveLinesCommand::undo() {
    const RawSize before = rawSize();
    permuteModelLines(axis, sources, targets);
    applyFilterList(true);
    TableUndoCommand::undo();
    finishDataChange(true, before, axis == Axis::Row ? targets : std::vector<int>(),
                     axis == Axis::Col ? targets : std::vector<int>());
}

MoveLinesRelativeCommand::MoveLinesRelativeCommand(TableModel* model, Axis axis,
                                                   const std::vector<int>& lines, int delta,
                                                   bool restoreSelection, QUndoCommand* parent)
    : MoveLinesCommand(model, axis, restoreSelection, parent) {
    setText(axis == Axis::Row ? QStringLiteral("MoveRowsRelativeCommand")
                              : QStringLiteral("MoveColsRelativeCommand"));
    const int count = axis == Axis::Row ? model->rowCountModel() : model->columnCountModel();
    const std::vector<int> sorted = validLines(lines, count);
    if (sorted.empty()) {
        isValid = false;
        return;
    }
    // Lines stay within the data.
    if (delta < 0)
        this->delta = -std::min(sorted.front(), -std::max(delta, -INT_MAX));
    else
        this->delta = std::min(delta, count - 1 - sorted.back());
    for (const auto& [target, source] : slidePlan(sorted, this->delta)) {
        targets.push_back(target);
        sources.push_back(source);
    }
    scrollLine = this->delta < 0 ? sorted.front() + this->delta : sorted.back() + this->delta;
    selectionAfter = shiftedRanges(selectionCells, axis == Axis::Row ? this->delta : 0,
                                   axis == Axis::Col ? this->delta : 0);
    finishSetup();
}

MoveRowsRelativeCommand::MoveRowsRelativeCommand(TableModel* model, const std::vector<int>& rows, int delta,
                                                 bool restoreSelection, QUndoCommand* parent)
    : MoveLinesRelativeCommand(model, Axis::Row, rows, delta, restoreSelection, parent) {}

MoveColsRelativeCommand::MoveColsRelativeCommand(TableModel* model, const std::vector<int>& cols, int delta,
                                                 bool restoreSelection, QUndoCommand* parent)
    : MoveLinesRelativeCommand(model, Axis::Col, cols, delta, restoreSelection, parent) {}

MoveLinesAbsoluteCommand::MoveLinesAbsoluteCommand(TableModel* model, Axis axis,
                                                   const std::vector<int>& lines, int target,
                                                   bool restoreSelection, QUndoCommand* parent)
    : MoveLinesCommand(model, axis, restoreSelection, parent) {
    setText(axis == Axis::Row ? QStringLiteral("MoveRowsAbsoluteCommand")
                              : QStringLiteral("MoveColsAbsoluteCommand"));
    const int count = axis == Axis::Row ? model->rowCountModel() : model->columnCountModel();
    const std::vector<int> sorted = validLines(lines, count);
    if (sorted.empty()) {
        isValid = false;
        return;
    }
    target = std::clamp(target, 0, count);
    const int n = static_cast<int>(sorted.size());
    result =
        target - static_cast<int>(std::lower_bound(sorted.begin(), sorted.end(), target) - sorted.begin());
    const int lo = std::min(sorted.front(), result);
    const int hi = std::max(sorted.back(), result + n - 1);
    // The new order of the touched span: the others in order, the block inserted at `result`.
    std::vector<int> others;
    for (int i = lo, k = 0; i <= hi; ++i) {
        if (k < n && sorted[static_cast<std::size_t>(k)] == i)
            ++k;
        else
            others.push_back(i);
    }
    std::vector<int> order(others.begin(), others.begin() + (result - lo));
    order.insert(order.end(), sorted.begin(), sorted.end());
    order.insert(order.end(), others.begin() + (result - lo), others.end());
    for (int i = lo; i <= hi; ++i) {
        const int source = order[static_cast<std::size_t>(i - lo)];
        if (source != i) {
            targets.push_back(i);
            sources.push_back(source);
        }
    }
    std::vector<int> block;
    for (int i = 0; i < n && block.size() < 100000; ++i)
        block.push_back(result + i);
    RangeVector after;
    const Range& main = model->getMainCell();
    for (int line : block) {
        Range range(line, axis == Axis::Row ? RangeType::Row : RangeType::Col, RangeIndexType::Model);
        if (after.empty()) {
            range.isMainCell = true;
            range.mainCellIndex = std::max(0, axis == Axis::Row ? main.col : main.row);
        }
        after.push_back(std::move(range));
    }
    selectionAfter = after;
    scrollLine = result;
    finishSetup();
}

MoveRowsAbsoluteCommand::MoveRowsAbsoluteCommand(TableModel* model, const std::vector<int>& rows, int target,
                                                 bool restoreSelection, QUndoCommand* parent)
    : MoveLinesAbsoluteCommand(model, Axis::Row, rows, target, restoreSelection, parent) {}

MoveColsAbsoluteCommand::MoveColsAbsoluteCommand(TableModel* model, const std::vector<int>& cols, int target,
                                                 bool restoreSelection, QUndoCommand* parent)
    : MoveLinesAbsoluteCommand(model, Axis::Col, cols, target, restoreSelection, parent) {}
