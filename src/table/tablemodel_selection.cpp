// The selection of TableModel: its forms, its order, the main cell and the keyboard extension.

#include "table/tablemodel.h"

#include "table/tablemodel_p.h"

#include <algorithm>
#include <climits>
#include <numeric>

using namespace TableModelDetail;

namespace {

bool listed(const std::vector<int>& list, int value) {
    return std::find(list.begin(), list.end(), value) != list.end();
}

// The main position that a range names through its main-cell fields, or its first cell when
// they are unset.
bool mainPositionOf(const Range& range, int& row, int& col) {
    switch (range.type) {
    case RangeType::Cell:
        row = range.row;
        col = range.col;
        break;
    case RangeType::Row:
        row = range.row;
        col = range.mainCellIndex >= 0 ? range.mainCellIndex : range.col;
        break;
    case RangeType::Col:
        row = range.mainCellIndex >= 0 ? range.mainCellIndex : range.row;
        col = range.col;
        break;
    case RangeType::Table:
        row = range.mainCellRow >= 0 ? range.mainCellRow : range.row;
        col = range.mainCellCol >= 0 ? range.mainCellCol : range.col;
        break;
    case RangeType::Invalid:
        return false;
    }
    return row >= 0 && col >= 0;
}

// The first cell of `range` that its exclusions leave selected.
bool firstHeldCell(const Range& range, int& row, int& col) {
    if (range.type == RangeType::Cell) {
        row = range.row;
        col = range.col;
        return row >= 0 && col >= 0;
    }
    const int rowSpan = static_cast<int>(range.excludedRows.size() + range.excludedCells.size()) + 1;
    const int colSpan = static_cast<int>(range.excludedCols.size() + range.excludedCells.size()) + 1;
    const int lastRow = range.type == RangeType::Row
                            ? range.row
                            : static_cast<int>(std::min<qint64>(INT_MAX - 1, qint64(range.row) + rowSpan));
    const int lastCol = range.type == RangeType::Col
                            ? range.col
                            : static_cast<int>(std::min<qint64>(INT_MAX - 1, qint64(range.col) + colSpan));
    for (int r = range.row; r <= lastRow && r >= 0; ++r) {
        for (int c = range.col; c <= lastCol && c >= 0; ++c) {
            if (rangeHoldsCell(range, r, c)) {
                row = r;
                col = c;
                return true;
            }
        }
    }
    return false;
}

SelectionType oppositeStep(SelectionType step) {
    const int value = static_cast<int>(step);
    return static_cast<SelectionType>(value ^ 1); // Up<->Down, Left<->Right, and their blocks
}

} // namespace

void TableModel::clearShiftState() {
    lastShiftSelection = 4;
    shiftSelection.clear();
    shiftMainCell = Range(kNoIndex, kNoIndex, RangeIndexType::Model);
    shiftSelectionTypes.clear();
}

void TableModel::resetShiftSelectInfo() {
    clearShiftState();
}

void TableModel::setMainCellPosition(int row, int col) {
    mainCell = Range(row, col, RangeIndexType::Model);
    mainCell.isMainCell = true;
}

void TableModel::finishSelectionChange(bool mainCellMoved) {
    invalidateSelectionLookup();
    // Before any main cell exists the first selectable member becomes it; with none there is
    // nothing to show yet.
    if (mainCell.row < 0 || mainCell.col < 0) {
        for (const Range& range : selection) {
            int row = kNoIndex;
            int col = kNoIndex;
            if (mainPositionOf(range, row, col)) {
                setMainCellPosition(row, col);
                mainCellMoved = true;
                break;
            }
        }
        if (mainCell.row < 0 || mainCell.col < 0)
            return;
    }
    sanitizeSelection();
    if (mainCellMoved)
        onMainCellChanged();
    emit selectionChangedSignal();
    getSelectionSize();
    enforceTableSize();
}

void TableModel::setSelection(Range& range) {
    clearShiftState();
    range.isMainCell = true;
    Range model = getModelRange(range);
    int row = kNoIndex;
    int col = kNoIndex;
    if (!mainPositionOf(model, row, col))
        return;
    setMainCellPosition(row, col);
    mainCell.value = valueAt(model, row, col, false);
    mainCell.oldValue = valueAt(model, row, col, true);
    selection.clear();
    selection.push_back(std::move(model));
    finishSelectionChange(true);
}

void TableModel::setSelection(RangeVector& ranges, bool resetShift) {
    RangeVector model = getModelRange(ranges);
    model.numTableRows = -1;
    model.numTableCols = -1;
    if (resetShift)
        clearShiftState();
    bool found = false;
    for (Range& range : model) {
        if (!range.isMainCell)
            continue;
        if (found) {
            range.isMainCell = false;
            continue;
        }
        int row = kNoIndex;
        int col = kNoIndex;
        if (mainPositionOf(range, row, col)) {
            found = true;
            setMainCellPosition(row, col);
            if (range.type == RangeType::Cell) {
                mainCell.value = range.value;
                mainCell.oldValue = range.oldValue;
            }
        } else {
            range.isMainCell = false;
        }
    }
    // A list without a main member keeps the main cell, or takes its first member's start.
    if (!found && (mainCell.row < 0 || mainCell.col < 0)) {
        for (const Range& range : model) {
            int row = kNoIndex;
            int col = kNoIndex;
            if (mainPositionOf(range, row, col)) {
                setMainCellPosition(row, col);
                break;
            }
        }
    }
    selection = std::move(model);
    finishSelectionChange(true);
}

void TableModel::setSelection(Range& newMainCell, RangeVector& ranges) {
    const Range model = getModelRange(newMainCell);
    int row = kNoIndex;
    int col = kNoIndex;
    if (mainPositionOf(model, row, col))
        setMainCellPosition(row, col);
    clearShiftState();
    selection = getModelRange(ranges);
    selection.numTableRows = -1;
    selection.numTableCols = -1;
    finishSelectionChange(true);
}

void TableModel::sanitizeSelection() {
    // Every caller places the main cell first; without one there is nothing to order around.
    Q_ASSERT(mainCell.row != -1 && mainCell.col != -1);
    if (mainCell.row == -1 || mainCell.col == -1)
        return;
    mainCell.type = RangeType::Cell;
    mainCell.isMainCell = true;
    invalidateSelectionLookup();

    if (selection.empty()) {
        selection.push_back(mainCell);
        return;
    }
    // Row-major, stable: by row, then by column. The positions are sorted and each member moves
    // once; a member is large, and sorting the members themselves moved each many times.
    std::vector<std::size_t> order(selection.size());
    std::iota(order.begin(), order.end(), std::size_t(0));
    std::stable_sort(order.begin(), order.end(), [this](std::size_t a, std::size_t b) {
        const Range& x = selection[a];
        const Range& y = selection[b];
        return x.row < y.row || (x.row == y.row && x.col < y.col);
    });

    // Equal ranges share their start, so they sit in the same run of one (row, col).
    RangeVector unique;
    unique.reserve(selection.size());
    for (const std::size_t index : order) {
        Range& range = selection[index];
        bool duplicate = false;
        for (auto it = unique.rbegin(); it != unique.rend() && it->row == range.row && it->col == range.col;
             ++it) {
            if (*it == range) {
                it->isMainCell = it->isMainCell || range.isMainCell;
                duplicate = true;
                break;
            }
        }
        if (!duplicate)
            unique.push_back(std::move(range));
    }
    selection.swap(unique);
    selection.numTableRows = -1;
    selection.numTableCols = -1;

    for (Range& range : selection) {
        if (range.type != RangeType::Table || range.excludedCells.empty())
            continue;
        auto& cells = range.excludedCells;
        std::sort(cells.begin(), cells.end());
        cells.erase(std::unique(cells.begin(), cells.end()), cells.end());
        cells.erase(std::remove_if(cells.begin(), cells.end(),
                                   [&range](const std::pair<int, int>& cell) {
                                       const auto [r, c] = cell;
                                       const bool outside = r < range.row || c < range.col ||
                                                            r > range.endRow || c > range.endCol;
                                       return outside || listed(range.excludedRows, r) ||
                                              listed(range.excludedCols, c);
                                   }),
                    cells.end());
    }

    for (Range& range : selection) {
        if (range == mainCell) {
            range.isMainCell = true;
        } else if (range.type != RangeType::Cell && range.containsRange(mainCell)) {
            range.isMainCell = true;
            if (range.type == RangeType::Table) {
                range.mainCellRow = mainCell.row;
                range.mainCellCol = mainCell.col;
            } else if (range.type == RangeType::Col) {
                range.mainCellIndex = mainCell.row;
            } else {
                range.mainCellIndex = mainCell.col;
            }
        } else {
            range.isMainCell = false;
        }
    }
}

RangeSize TableModel::getSelectionSize() {
    RangeSize size;
    bool allCells = !selection.empty();
    for (const Range& range : selection) {
        switch (range.type) {
        case RangeType::Cell:
            ++size.numCells;
            break;
        case RangeType::Row:
            ++size.numRows;
            allCells = false;
            break;
        case RangeType::Col:
            ++size.numCols;
            allCells = false;
            break;
        case RangeType::Table: {
            const qint64 rows = std::max<qint64>(0, qint64(lastDataRowForSentinel(range)) - range.row + 1);
            const qint64 cols = std::max<qint64>(0, qint64(lastDataColForSentinel(range)) - range.col + 1);
            size.numCells = static_cast<std::int32_t>(
                std::min<qint64>(INT_MAX, static_cast<qint64>(size.numCells) + rows * cols));
            allCells = false;
            break;
        }
        case RangeType::Invalid:
            allCells = false;
            break;
        }
    }

    // Cells that fill one rectangle row by row: the status bar shows its shape.
    selectionBlock = Range(RangeType::Invalid);
    if (allCells) {
        // Positions only: copying and sorting the members themselves cost seconds for a
        // selection of hundreds of thousands of cells.
        std::vector<std::pair<int, int>> cells;
        cells.reserve(selection.size());
        for (const Range& range : selection)
            cells.emplace_back(range.row, range.col);
        std::sort(cells.begin(), cells.end());
        const int top = cells.front().first;
        const int left = cells.front().second;
        int width = 0;
        while (width < static_cast<int>(cells.size()) && cells[width].first == top &&
               cells[width].second == left + width)
            ++width;
        bool block = cells.size() % static_cast<std::size_t>(width) == 0;
        for (std::size_t i = 0; block && i < cells.size(); ++i) {
            const int line = static_cast<int>(i) / width;
            block = cells[i].first == top + line && cells[i].second == left + static_cast<int>(i) % width;
        }
        if (block) {
            selectionBlock = Range(RangeType::Table, RangeIndexType::Model);
            selectionBlock.row = top;
            selectionBlock.col = left;
            selectionBlock.endRow = cells.back().first;
            selectionBlock.endCol = left + width - 1;
        }
    }
    emit selectionSizeChangedSignal(size);
    return size;
}

int TableModel::lastDataRowForSentinel(const Range& range) const {
    return range.endRow == Range::EndOfTable ? tableData.numModelRows() - 1 : range.endRow;
}

int TableModel::lastDataColForSentinel(const Range& range) const {
    return range.endCol == Range::EndOfTable ? tableData.numModelCols() - 1 : range.endCol;
}

void TableModel::setPendingCorners(const Range& start, const Range& end) {
    const Range noCorner(kNoIndex, kNoIndex, RangeIndexType::Model);
    const Range s = start.isValid() ? getModelRange(start) : noCorner;
    const Range e = end.isValid() ? getModelRange(end) : noCorner;
    pendingCornerStart = Range(s.row, s.col, RangeIndexType::Model);
    pendingCornerEnd = Range(e.row, e.col, RangeIndexType::Model);
}

void TableModel::setPendingSelectionCorner(const Range& corner, bool isEnd) {
    if (isEnd)
        setPendingCorners(pendingCornerStart, corner);
    else
        setPendingCorners(corner, Range(RangeType::Invalid));
}

void TableModel::setMainCell(Range& cell) {
    const Range model = getModelRange(cell);
    int row = kNoIndex;
    int col = kNoIndex;
    if (!mainPositionOf(model, row, col))
        return;
    setMainCellPosition(row, col);
    finishSelectionChange(true);
}

void TableModel::onMainCellChanged() {
    Range copy = mainCell;
    populateCellDataValues(copy, true, false);
    mainCell.value = copy.value;
    emit mainCellChangedSignal(copy);
}

bool TableModel::selectUpOrDown(Direction direction, bool ctrlOnly, bool block, bool* handled) {
    return extendSelection(true, direction, ctrlOnly, block, handled);
}

bool TableModel::selectLeftOrRight(Direction direction, bool ctrlOnly, bool block, bool* handled) {
    return extendSelection(false, direction, ctrlOnly, block, handled);
}

bool TableModel::extendSelection(bool vertical, Direction direction, bool ctrlOnly, bool block,
                                 bool* handled) {
    if (handled)
        *handled = false;
    const int d = static_cast<int>(direction);
    if (vertical ? (d < 0 || d > 1) : (d < 2 || d > 3))
        return false;
    if (mainCell.row < 0 || mainCell.col < 0)
        return false;
    // A sequence starts afresh unless the last step went along this axis.
    const bool fresh =
        vertical ? lastShiftSelection >= 2 : (lastShiftSelection < 2 || lastShiftSelection > 3);
    const bool towardsZero = direction == Direction::Up || direction == Direction::Left;
    if (ctrlOnly && towardsZero && (fresh || shiftSelectionTypes.empty()))
        return false;
    if (fresh) {
        shiftSelection = selection;
        shiftMainCell = mainCell;
        shiftSelectionTypes.clear();
        lastShiftSelection = d;
    }

    const SelectionType step = static_cast<SelectionType>(block ? d + 4 : d);
    if (!shiftSelectionTypes.empty() && shiftSelectionTypes.back() == oppositeStep(step)) {
        shiftSelectionTypes.pop_back();
        if (handled)
            *handled = true;
    } else {
        shiftSelectionTypes.push_back(step);
    }

    const int lastIndex = std::max(0, (vertical ? rowCount() : columnCount()) - 1);
    RangeVector rebuilt = shiftSelection;
    for (const Range& source : shiftSelection) {
        const bool lineAcross = vertical ? source.type == RangeType::Row : source.type == RangeType::Col;
        if (source.type != RangeType::Cell && !lineAcross)
            continue;
        Range cursor(source.row, source.col, RangeIndexType::Model);
        for (const SelectionType taken : shiftSelectionTypes) {
            const int value = static_cast<int>(taken);
            if (value >= 4) {
                Range next;
                getNextBlockLocation(cursor, next, static_cast<Direction>(value - 4));
                cursor = next;
            } else {
                const int delta = (value == 0 || value == 2) ? -1 : 1;
                (vertical ? cursor.row : cursor.col) += delta;
            }
            int& position = vertical ? cursor.row : cursor.col;
            position = std::clamp(position, 0, lastIndex);
        }
        const int from = vertical ? source.row : source.col;
        const int to = vertical ? cursor.row : cursor.col;
        const int stepBy = to > from ? 1 : -1;
        for (int at = from; at != to;) {
            at += stepBy;
            Range added = source;
            added.isMainCell = false;
            (vertical ? added.row : added.col) = at;
            rebuilt.push_back(std::move(added));
        }
    }
    replaceSelectionKeepShift(std::move(rebuilt));
    return true;
}

void TableModel::replaceSelectionKeepShift(RangeVector ranges) {
    selection = std::move(ranges);
    finishSelectionChange(false);
}

bool TableModel::getNextBlockLocation(const Range& start, Range& out, Direction direction) const {
    const Range model = getModelRange(start);
    out = tableData.getNextBlockLocation(model, direction);
    return out.row != model.row || out.col != model.col;
}

void TableModel::moveSelectionRelative(int rows, int cols) {
    if (mainCell.row < 0 || mainCell.col < 0)
        return;
    rows =
        rows < 0 ? std::max(rows, -mainCell.row) : std::min(rows, std::max(0, rowCount() - 1 - mainCell.row));
    cols = cols < 0 ? std::max(cols, -mainCell.col)
                    : std::min(cols, std::max(0, columnCount() - 1 - mainCell.col));
    auto shift = [](int& value, int delta) {
        if (value >= 0)
            value = std::max(0, value + delta);
    };
    auto shiftEnd = [](int& value, int delta) {
        if (value != Range::EndOfTable)
            value = std::max(0, value + delta);
    };
    for (Range& range : selection) {
        if (range.type == RangeType::Cell) {
            // A position of -2 marks a cell outside the table; it keeps the mark.
            if (range.row != -2)
                range.row = std::max(0, range.row + rows);
            if (range.col != -2)
                range.col = std::max(0, range.col + cols);
            continue;
        }
        shift(range.row, rows);
        shift(range.col, cols);
        for (int& r : range.excludedRows)
            shift(r, rows);
        for (int& c : range.excludedCols)
            shift(c, cols);
        for (auto& [r, c] : range.excludedCells) {
            shift(r, rows);
            shift(c, cols);
        }
        if (range.type == RangeType::Row && range.isMainCell)
            shift(range.mainCellIndex, cols);
        else if (range.type == RangeType::Col && range.isMainCell)
            shift(range.mainCellIndex, rows);
        else if (range.type == RangeType::Table) {
            shiftEnd(range.endRow, rows);
            shiftEnd(range.endCol, cols);
            if (range.isMainCell) {
                shift(range.mainCellRow, rows);
                shift(range.mainCellCol, cols);
            }
        }
    }
    mainCell.row += rows;
    mainCell.col += cols;
    clearShiftState();
    finishSelectionChange(true);
}

bool TableModel::moveSelectionVertically(Direction direction, bool block) {
    if (direction != Direction::Up && direction != Direction::Down)
        return false;
    return moveMainCell(true, direction, block);
}

bool TableModel::moveSelectionHorizontally(Direction direction, bool block) {
    if (direction != Direction::Left && direction != Direction::Right)
        return false;
    return moveMainCell(false, direction, block);
}

bool TableModel::moveMainCell(bool vertical, Direction direction, bool block) {
    if (mainCell.row < 0 || mainCell.col < 0 || rowCount() < 1 || columnCount() < 1)
        return false;
    Range target = mainCell;
    if (block)
        getNextBlockLocation(mainCell, target, direction);
    else
        (vertical ? target.row : target.col) +=
            direction == Direction::Up || direction == Direction::Left ? -1 : 1;
    target.row = std::clamp(target.row, 0, rowCount() - 1);
    target.col = std::clamp(target.col, 0, columnCount() - 1);
    if (target.row == mainCell.row && target.col == mainCell.col && selection.size() == 1 &&
        selection.front().type == RangeType::Cell)
        return false;
    Range cell(target.row, target.col, RangeIndexType::Model);
    setSelection(cell);
    return true;
}

void TableModel::addCellToSelection(const Range& range) {
    clearShiftState();
    selection.push_back(getModelRange(range));
    finishSelectionChange(false);
}

void TableModel::addCellsToSelection(const RangeVector& ranges) {
    clearShiftState();
    for (const Range& range : ranges)
        selection.push_back(getModelRange(range));
    finishSelectionChange(false);
}

void TableModel::removeCellFromSelection(int row, int col) {
    const bool wasMain = row == mainCell.row && col == mainCell.col;
    for (auto it = selection.begin(); it != selection.end();) {
        if (!rangeHoldsCell(*it, row, col)) {
            ++it;
            continue;
        }
        switch (it->type) {
        case RangeType::Cell:
            it = selection.erase(it);
            continue;
        case RangeType::Row:
            it->excludedCols.push_back(col);
            break;
        case RangeType::Col:
            it->excludedRows.push_back(row);
            break;
        case RangeType::Table:
            it->excludedCells.emplace_back(row, col);
            break;
        case RangeType::Invalid:
            break;
        }
        ++it;
    }
    if (wasMain) {
        for (const Range& range : selection) {
            int r = kNoIndex;
            int c = kNoIndex;
            if (firstHeldCell(range, r, c)) {
                setMainCellPosition(r, c);
                break;
            }
        }
    }
    clearShiftState();
    finishSelectionChange(wasMain);
}

bool TableModel::cellInSelection(const Range& cell) const {
    const Range model = getModelRange(cell);
    if (model.type != RangeType::Cell)
        return false;
    return cellInSelection(model.row, model.col);
}

bool TableModel::cellInSelection(int row, int col) const {
    return inSelectionLookup(row, col);
}

void TableModel::clearSelection(const Range& keep) {
    clearShiftState();
    pendingCornerStart = pendingCornerEnd = Range(kNoIndex, kNoIndex, RangeIndexType::Model);
    selection.clear();
    invalidateSelectionLookup();
    if (keep.isValid()) {
        const Range model = getModelRange(keep);
        int row = kNoIndex;
        int col = kNoIndex;
        if (mainPositionOf(model, row, col)) {
            setMainCellPosition(row, col);
            selection.push_back(mainCell);
        }
    }
    if (mainCell.row < 0 || mainCell.col < 0)
        return;
    finishSelectionChange(true);
}

bool TableModel::isRowSelected(int row) const {
    for (const Range& range : selection) {
        const bool allCols =
            range.col == 0 && range.endCol == Range::EndOfTable && range.excludedCols.empty();
        if (range.type == RangeType::Row && range.row == row && allCols)
            return true;
        if (range.type == RangeType::Table && allCols && row >= range.row && row <= range.endRow &&
            !listed(range.excludedRows, row) &&
            std::none_of(range.excludedCells.begin(), range.excludedCells.end(),
                         [row](const std::pair<int, int>& cell) { return cell.first == row; }))
            return true;
    }
    return false;
}

bool TableModel::isColSelected(int col) const {
    for (const Range& range : selection) {
        const bool allRows =
            range.row == 0 && range.endRow == Range::EndOfTable && range.excludedRows.empty();
        if (range.type == RangeType::Col && range.col == col && allRows)
            return true;
        if (range.type == RangeType::Table && allRows && col >= range.col && col <= range.endCol &&
            !listed(range.excludedCols, col) &&
            std::none_of(range.excludedCells.begin(), range.excludedCells.end(),
                         [col](const std::pair<int, int>& cell) { return cell.second == col; }))
            return true;
    }
    return false;
}

qint64 TableModel::numSelectedCells() const {
    // Per member, within the data; members that overlap count their overlap twice.
    auto countIn = [](const std::vector<int>& list, int from, int to) {
        return static_cast<qint64>(
            std::count_if(list.begin(), list.end(), [from, to](int v) { return v >= from && v <= to; }));
    };
    qint64 total = 0;
    for (const Range& range : selection) {
        const int lastRow = std::min(lastDataRowForSentinel(range), tableData.numModelRows() - 1);
        const int lastCol = std::min(lastDataColForSentinel(range), tableData.numModelCols() - 1);
        switch (range.type) {
        case RangeType::Cell:
            ++total;
            break;
        case RangeType::Row:
            total += std::max<qint64>(0, qint64(lastCol) - range.col + 1) -
                     countIn(range.excludedCols, range.col, lastCol);
            break;
        case RangeType::Col:
            total += std::max<qint64>(0, qint64(lastRow) - range.row + 1) -
                     countIn(range.excludedRows, range.row, lastRow);
            break;
        case RangeType::Table: {
            const qint64 rows = std::max<qint64>(0, qint64(lastRow) - range.row + 1) -
                                countIn(range.excludedRows, range.row, lastRow);
            const qint64 cols = std::max<qint64>(0, qint64(lastCol) - range.col + 1) -
                                countIn(range.excludedCols, range.col, lastCol);
            total += std::max<qint64>(0, rows * cols - static_cast<qint64>(range.excludedCells.size()));
            break;
        }
        case RangeType::Invalid:
            break;
        }
    }
    return total;
}

std::vector<std::pair<int, int>> TableModel::getSelectionIndexes() const {
    std::vector<Range> cells;
    expandToCells(cells, selection);
    std::vector<std::pair<int, int>> out;
    out.reserve(cells.size());
    for (const Range& cell : cells)
        out.emplace_back(cell.row, cell.col);
    return out;
}

void TableModel::invertSelectionByRowsHeaderExcluded() {
    invertSelection(true);
}

void TableModel::invertSelectionByColumnsHeaderExcluded() {
    invertSelection(false);
}

void TableModel::invertSelection(bool byRows) {
    std::vector<int> selected;
    if (byRows)
        getOrderedSetOfSelectedRows(selected);
    else
        getOrderedSetOfSelectedCols(selected);
    const int first = byRows ? numVisibleHeaderRows : numHeaderCols;
    const int count = byRows ? tableData.numModelRows() : tableData.numModelCols();
    RangeVector inverted;
    for (int i = std::max(first, 0); i < count; ++i) {
        if (!std::binary_search(selected.begin(), selected.end(), i))
            inverted.emplace_back(i, byRows ? RangeType::Row : RangeType::Col, RangeIndexType::Model);
    }
    if (inverted.empty())
        return;
    inverted.front().isMainCell = true;
    inverted.front().mainCellIndex = 0;
    setSelection(inverted, true);
}

void TableModel::getOrderedSetOfSelectedRows(std::vector<int>& out) const {
    getOrderedSetOfRows(out, selection);
}

void TableModel::getOrderedSetOfSelectedCols(std::vector<int>& out) const {
    getOrderedSetOfCols(out, selection);
}

void TableModel::getOrderedSetOfRows(std::vector<int>& out, const RangeVector& ranges) const {
    std::vector<int> rows;
    const int lastDataRow = tableData.numModelRows() - 1;
    for (const Range& range : ranges) {
        if (range.type == RangeType::Cell || range.type == RangeType::Row) {
            if (range.row >= 0)
                rows.push_back(range.row);
        } else if (range.type == RangeType::Col || range.type == RangeType::Table) {
            const int last = std::min(lastDataRow, range.endRow);
            for (int r = std::max(range.row, 0); r <= last; ++r) {
                if (!listed(range.excludedRows, r))
                    rows.push_back(r);
            }
        }
    }
    RangeVector::getOrderedSet(out, rows);
}

void TableModel::getOrderedSetOfCols(std::vector<int>& out, const RangeVector& ranges) const {
    std::vector<int> cols;
    const int lastDataCol = tableData.numModelCols() - 1;
    for (const Range& range : ranges) {
        if (range.type == RangeType::Cell || range.type == RangeType::Col) {
            if (range.col >= 0)
                cols.push_back(range.col);
        } else if (range.type == RangeType::Row || range.type == RangeType::Table) {
            const int last = std::min(lastDataCol, range.endCol);
            for (int c = std::max(range.col, 0); c <= last; ++c) {
                if (!listed(range.excludedCols, c))
                    cols.push_back(c);
            }
        }
    }
    RangeVector::getOrderedSet(out, cols);
}
