// Selection and navigation of TableView, the label clicks and the array drag.

#include "view/tableview.h"

#include "table/tablemodel.h"
#include "view/frozentableview.h"
#include "view/headerview.h"

#include <QScrollBar>

#include <algorithm>

// --- Array drag -------------------------------------------------------------------------

namespace {

// The shift that keeps all moved lines within [low, count - 1]; 0 when none fits.
int clampShift(int shift, int low, int count, const std::vector<int>& lines) {
    const int lo = low - lines.front();
    const int hi = count - 1 - lines.back();
    return lo > hi ? 0 : std::clamp(shift, lo, hi);
}

void setLabelsDragging(std::initializer_list<AbstractTableView*> views, bool on) {
    for (AbstractTableView* view : views) {
        view->horizontalHeaderView()->setDragging(on);
        view->verticalHeaderView()->setDragging(on);
    }
}

} // namespace

void TableView::moveSelectionRelative(int rows, int cols) {
    TableModel* m = tableModel();
    if (!m)
        return;
    m->moveSelectionRelative(rows, cols);
    scrollToMainCell(false, false);
}

void TableView::moveSelectionAbsolute(int row, int col) {
    TableModel* m = tableModel();
    if (!m || m->rowCount() == 0 || m->columnCount() == 0)
        return;
    Range cell(std::clamp(row, 0, m->rowCount() - 1), std::clamp(col, 0, m->columnCount() - 1),
               RangeIndexType::Model);
    cell.isMainCell = true;
    m->setSelection(cell);
    scrollToMainCell(false, false);
}

void TableView::moveSelectionOneScreen(Direction direction) {
    TableModel* m = tableModel();
    if (!m || m->getMainCell().row < 0)
        return;
    if (direction == Direction::Left || direction == Direction::Right) {
        const int width = static_cast<int>(viewport()->width() * 0.9);
        int col = m->getMainCell().col;
        int sum = 0;
        const int step = direction == Direction::Right ? 1 : -1;
        while (col + step >= 0 && col + step < m->columnCount() && sum + columnWidth(col + step) < width)
            sum += columnWidth(col += step);
        moveSelectionRelative(0, col - m->getMainCell().col == 0 ? step : col - m->getMainCell().col);
        return;
    }
    const int rows = rowsInPage(m->getMainCell().row, direction);
    if (rows == 0)
        return;
    scroll(direction, true);
    m->moveSelectionRelative(direction == Direction::Down ? rows : -rows, 0);
    scrollToMainCell(false, false);
}

void TableView::extendSelection(Direction direction, bool block) {
    TableModel* m = tableModel();
    if (!m)
        return;
    const bool vertical = direction == Direction::Up || direction == Direction::Down;
    if (vertical)
        m->selectUpOrDown(direction, false, block);
    else
        m->selectLeftOrRight(direction, false, block);
    // The view follows the edge that moves, as it follows the main cell: the farthest selected
    // line in the direction of the key while the selection grows past the main cell that way,
    // the farthest the other way while it shrinks back towards it.
    const Range& main = m->getMainCell();
    const Range ahead = findFarthestSelectedCellInDirection(direction);
    if (ahead.isValid() && main.row >= 0) {
        const bool towardsZero = direction == Direction::Up || direction == Direction::Left;
        const int mainIndex = vertical ? main.row : main.col;
        const int aheadIndex = vertical ? ahead.row : ahead.col;
        const bool grows = towardsZero ? aheadIndex < mainIndex : aheadIndex > mainIndex;
        int edge = aheadIndex;
        if (!grows) {
            const Direction back = direction == Direction::Up     ? Direction::Down
                                   : direction == Direction::Down ? Direction::Up
                                   : direction == Direction::Left ? Direction::Right
                                                                  : Direction::Left;
            const Range behind = findFarthestSelectedCellInDirection(back);
            edge = behind.isValid() ? (vertical ? behind.row : behind.col) : mainIndex;
        }
        scrollToCellAxis(edge, true, vertical ? Axis::Row : Axis::Col);
    }
    refreshView();
}

void TableView::moveSelectionByBlock(Direction direction) {
    TableModel* m = tableModel();
    if (!m || m->getMainCell().row < 0)
        return;
    const Range main = m->getMainCell();
    Range out(RangeType::Invalid);
    if (!m->getNextBlockLocation(Range(main.row, main.col, RangeIndexType::Model), out, direction))
        return;
    const bool vertical = direction == Direction::Up || direction == Direction::Down;
    const int offset = vertical ? out.row - main.row : out.col - main.col;
    RangeVector shifted;
    for (const Range& range : m->getSelection()) {
        if (range.type != RangeType::Cell)
            continue;
        Range moved(vertical ? std::max(0, range.row + offset) : range.row,
                    vertical ? range.col : std::max(0, range.col + offset), RangeIndexType::Model);
        moved.isMainCell = range.row == main.row && range.col == main.col;
        shifted.push_back(moved);
    }
    if (shifted.empty() ||
        std::none_of(shifted.begin(), shifted.end(), [](const Range& r) { return r.isMainCell; })) {
        Range cell(out.row, out.col, RangeIndexType::Model);
        m->setSelection(cell);
    } else {
        m->setSelection(shifted);
    }
    scrollToMainCell(false, false);
    refreshView();
}

Range TableView::findFarthestSelectedCellInDirection(Direction direction) const {
    const TableModel* m = tableModel();
    Range best(RangeType::Invalid);
    if (!m)
        return best;
    const int lastRow = std::max(0, m->rowCountModel() - 1);
    const int lastCol = std::max(0, m->columnCountModel() - 1);
    for (const Range& range : m->getSelection()) {
        int r0 = range.row;
        int c0 = range.col;
        int r1 = range.row;
        int c1 = range.col;
        if (range.type == RangeType::Row) {
            c1 = std::min(range.endCol, lastCol);
        } else if (range.type == RangeType::Col) {
            r1 = std::min(range.endRow, lastRow);
        } else if (range.type == RangeType::Table) {
            r1 = std::min(range.endRow, lastRow);
            c1 = std::min(range.endCol, lastCol);
        } else if (range.type != RangeType::Cell) {
            continue;
        }
        Range candidate(direction == Direction::Down ? r1 : r0, direction == Direction::Right ? c1 : c0,
                        RangeIndexType::Model);
        const bool better = !best.isValid() || (direction == Direction::Up && candidate.row < best.row) ||
                            (direction == Direction::Down && candidate.row > best.row) ||
                            (direction == Direction::Left && candidate.col < best.col) ||
                            (direction == Direction::Right && candidate.col > best.col);
        if (better)
            best = candidate;
    }
    return best;
}

void TableView::selectWholeLines(Axis axis, int from, int to, bool add) {
    TableModel* m = tableModel();
    if (!m)
        return;
    const auto [first, last] = std::minmax(from, to);
    const Range main = m->getMainCell();
    RangeVector ranges;
    for (int i = first; i <= last; ++i) {
        Range line(i, axis == Axis::Row ? RangeType::Row : RangeType::Col, RangeIndexType::Model);
        line.mainCellIndex = std::max(0, axis == Axis::Row ? main.col : main.row);
        line.isMainCell = i == from;
        ranges.push_back(line);
    }
    if (add) {
        for (Range& r : ranges)
            r.isMainCell = false;
        m->addCellsToSelection(ranges);
    } else {
        m->setSelection(ranges);
    }
    refreshView();
}

void TableView::selectLinesOf(Axis axis, const std::vector<int>& indexes) {
    TableModel* m = tableModel();
    if (!m || indexes.empty())
        return;
    const Range main = m->getMainCell();
    RangeVector ranges;
    for (std::size_t i = 0; i < indexes.size(); ++i) {
        Range line(indexes[i], axis == Axis::Row ? RangeType::Row : RangeType::Col, RangeIndexType::Model);
        line.mainCellIndex = std::max(0, axis == Axis::Row ? main.col : main.row);
        line.isMainCell = i == 0;
        ranges.push_back(line);
    }
    m->setSelection(ranges);
    refreshView();
}

void TableView::selectRow(int row) {
    selectWholeLines(Axis::Row, row, row, false);
}
void TableView::selectCol(int col) {
    selectWholeLines(Axis::Col, col, col, false);
}

void TableView::selectEntireTable() {
    TableModel* m = tableModel();
    if (!m)
        return;
    Range all(RangeType::Table, RangeIndexType::Model);
    all.mainCellRow = std::max(0, m->getMainCell().row);
    all.mainCellCol = std::max(0, m->getMainCell().col);
    all.isMainCell = true;
    m->setSelection(all);
    refreshView();
}

void TableView::addWholeTableToSelection() {
    TableModel* m = tableModel();
    if (!m)
        return;
    m->addCellToSelection(Range(RangeType::Table, RangeIndexType::Model));
    refreshView();
}

void TableView::selectEntireRows() {
    TableModel* m = tableModel();
    if (!m)
        return;
    std::vector<int> rows;
    m->getOrderedSetOfSelectedRows(rows);
    const int mainRow = m->getMainCell().row;
    if (rows.empty() && mainRow >= 0)
        rows.push_back(mainRow);
    std::stable_partition(rows.begin(), rows.end(), [&](int r) { return r == mainRow; });
    selectLinesOf(Axis::Row, rows);
}

void TableView::selectEntireCols() {
    TableModel* m = tableModel();
    if (!m)
        return;
    std::vector<int> cols;
    m->getOrderedSetOfSelectedCols(cols);
    const int mainCol = m->getMainCell().col;
    if (cols.empty() && mainCol >= 0)
        cols.push_back(mainCol);
    std::stable_partition(cols.begin(), cols.end(), [&](int c) { return c == mainCol; });
    selectLinesOf(Axis::Col, cols);
}

void TableView::selectEntireRowsHeaderExcluded() {
    TableModel* m = tableModel();
    if (!m)
        return;
    std::vector<int> rows;
    m->getOrderedSetOfSelectedRows(rows);
    rows.erase(std::remove_if(rows.begin(), rows.end(), [this](int r) { return r < numHeaderRows; }),
               rows.end());
    selectLinesOf(Axis::Row, rows);
}

void TableView::selectEntireColsHeaderExcluded() {
    TableModel* m = tableModel();
    if (!m)
        return;
    std::vector<int> cols;
    m->getOrderedSetOfSelectedCols(cols);
    cols.erase(std::remove_if(cols.begin(), cols.end(), [this](int c) { return c < numHeaderCols; }),
               cols.end());
    selectLinesOf(Axis::Col, cols);
}

void TableView::goToTop() {
    if (const TableModel* m = tableModel())
        moveSelectionAbsolute(0, std::max(0, m->getMainCell().col));
}

void TableView::goToBottom() {
    if (const TableModel* m = tableModel())
        moveSelectionAbsolute(std::max(0, m->rowCountModel() - 1), std::max(0, m->getMainCell().col));
}

void TableView::goToFarLeft() {
    if (const TableModel* m = tableModel())
        moveSelectionAbsolute(std::max(0, m->getMainCell().row), 0);
}

void TableView::goToFarRight() {
    if (const TableModel* m = tableModel())
        moveSelectionAbsolute(std::max(0, m->getMainCell().row), std::max(0, m->columnCountModel() - 1));
}

// --- Labels -----------------------------------------------------------------------------

void TableView::onHorizontalSectionClicked(int col) {
    labelPressIndex = col;
    selectCol(col);
}

void TableView::onVerticalSectionClicked(int row) {
    labelPressIndex = row;
    selectRow(row);
}

void TableView::onHorizontalSectionCtrlClicked(int col) {
    labelPressIndex = -1;
    selectWholeLines(Axis::Col, col, col, true);
}

void TableView::onVerticalSectionCtrlClicked(int row) {
    labelPressIndex = -1;
    selectWholeLines(Axis::Row, row, row, true);
}

void TableView::onHorizontalSectionShiftClicked(int col) {
    TableModel* m = tableModel();
    if (!m)
        return;
    labelPressIndex = -1;
    if (m->isColSelected(col)) {
        onArrayDragStart(Axis::Col, col);
        return;
    }
    std::vector<int> cols;
    m->getOrderedSetOfSelectedCols(cols);
    const int from = m->getMainCell().col >= 0 ? m->getMainCell().col : (cols.empty() ? col : cols.back());
    selectWholeLines(Axis::Col, from, col, false);
}

void TableView::onVerticalSectionShiftClicked(int row) {
    TableModel* m = tableModel();
    if (!m)
        return;
    labelPressIndex = -1;
    if (m->isRowSelected(row)) {
        onArrayDragStart(Axis::Row, row);
        return;
    }
    std::vector<int> rows;
    m->getOrderedSetOfSelectedRows(rows);
    const int from = m->getMainCell().row >= 0 ? m->getMainCell().row : (rows.empty() ? row : rows.back());
    selectWholeLines(Axis::Row, from, row, false);
}

void TableView::onHorizontalSectionEntered(int col) {
    if (arrayAxis == 1) {
        arrayCurrent = col;
        highlightDragArrays();
    } else if (labelPressIndex >= 0) {
        selectWholeLines(Axis::Col, labelPressIndex, col, false);
    }
}

void TableView::onVerticalSectionEntered(int row) {
    if (arrayAxis == 0) {
        arrayCurrent = row;
        highlightDragArrays();
    } else if (labelPressIndex >= 0) {
        selectWholeLines(Axis::Row, labelPressIndex, row, false);
    }
}

void TableView::onHorizontalSectionReleased(int col) {
    labelPressIndex = -1;
    if (arrayAxis == 1)
        onArrayDragStop(Axis::Col, col < 0 ? arrayCurrent : col);
}

void TableView::onVerticalSectionReleased(int row) {
    labelPressIndex = -1;
    if (arrayAxis == 0)
        onArrayDragStop(Axis::Row, row < 0 ? arrayCurrent : row);
}

void TableView::onArrayDragStart(Axis axis, int index) {
    TableModel* m = tableModel();
    if (!m || readOnlyView)
        return;
    const bool rows = axis == Axis::Row;
    // Header arrays stay where they are while frozen.
    if (rows && freezeHeaderRows && index < numHeaderRows)
        return;
    if (!rows && freezeHeaderCols && index < numHeaderCols)
        return;
    arrayAxis = rows ? 0 : 1;
    arrayStart = index;
    arrayCurrent = index;
    setLabelsDragging({this, frozenRows, frozenCols, frozenCorner}, true);
    arraySelected.clear();
    for (const Range& range : m->getSelection())
        if (range.type == (rows ? RangeType::Row : RangeType::Col))
            arraySelected.push_back(rows ? range.row : range.col);
    if (std::find(arraySelected.begin(), arraySelected.end(), index) == arraySelected.end())
        arraySelected = {index};
    std::sort(arraySelected.begin(), arraySelected.end());
    arraySelected.erase(std::unique(arraySelected.begin(), arraySelected.end()), arraySelected.end());
    selectLinesOf(axis, arraySelected);
}

void TableView::highlightDragArrays() {
    const int shift = arrayCurrent - arrayStart;
    if (arrayAxis == 3 || shift == 0 || arraySelected.empty() || !model()) {
        clearLineHighlights();
        return;
    }
    const bool rows = arrayAxis == 0;
    const int count = rows ? model()->rowCount() : model()->columnCount();
    const int low = (rows ? freezeHeaderRows : freezeHeaderCols) ? (rows ? numHeaderRows : numHeaderCols) : 0;
    // The selected lines keep their gaps and land shifted, kept inside the table.
    const int clampedShift = clampShift(shift, low, count, arraySelected);
    std::vector<int> edges;
    std::size_t i = 0;
    while (i < arraySelected.size()) {
        std::size_t j = i;
        while (j + 1 < arraySelected.size() && arraySelected[j + 1] == arraySelected[j] + 1)
            ++j;
        edges.push_back(arraySelected[i] + clampedShift);
        edges.push_back(arraySelected[j] + clampedShift + 1);
        i = j + 1;
    }
    std::sort(edges.begin(), edges.end());
    edges.erase(std::unique(edges.begin(), edges.end()), edges.end());
    if (rows) {
        setRowLineHighlightIndexes(edges);
        frozenCols->setRowLineHighlightIndexes(edges);
    } else {
        setColLineHighlightIndexes(edges);
        frozenRows->setColLineHighlightIndexes(edges);
    }
}

void TableView::onArrayDragStop(Axis axis, int index) {
    setLabelsDragging({this, frozenRows, frozenCols, frozenCorner}, false);
    if (arrayAxis == 3)
        return;
    const int offset = index - arrayStart;
    if (offset != 0 && index >= 0) {
        if (axis == Axis::Row)
            moveRowContentsRelative(offset);
        else
            moveColContentsRelative(offset);
    }
    arrayAxis = 3;
    arrayStart = arrayCurrent = -1;
    arraySelected.clear();
    for (AbstractTableView* v :
         {static_cast<AbstractTableView*>(this), static_cast<AbstractTableView*>(frozenRows),
          static_cast<AbstractTableView*>(frozenCols)})
        v->clearLineHighlights();
    refreshView();
}

void TableView::moveRowContentsRelative(int offset) {
    TableModel* m = tableModel();
    if (!m || arraySelected.empty())
        return;
    const int count = m->rowCountModel();
    const int low = freezeHeaderRows ? numHeaderRows : 0;
    const int shift = clampShift(offset, low, count, arraySelected);
    if (shift == 0)
        return;
    // One undo step; the lines stay selected where they land.
    moveRowsRelative(shift, arraySelected);
}

void TableView::moveColContentsRelative(int offset) {
    TableModel* m = tableModel();
    if (!m || arraySelected.empty())
        return;
    const int count = m->columnCountModel();
    const int low = freezeHeaderCols ? numHeaderCols : 0;
    const int shift = clampShift(offset, low, count, arraySelected);
    if (shift == 0)
        return;
    moveColsRelative(shift, arraySelected);
}
