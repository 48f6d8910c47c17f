// Scrolling of TableView: steps and pages with snap to rows and columns, bringing cells into
// view, and the snap after a touch-pad scroll.

#include "view/tableview.h"

#include "table/tablemodel.h"
#include "view/frozentableview.h"

#include <QHeaderView>
#include <QScrollBar>

#include <algorithm>

int TableView::frozenHeight() const {
    if (!freezeHeaderRows || numHeaderRows <= 0 || !model())
        return 0;
    const int rows = std::min(numHeaderRows, model()->rowCount());
    int height = 0;
    for (int r = 0; r < rows; ++r)
        height += rowHeight(r);
    return height;
}

int TableView::frozenWidth() const {
    if (!freezeHeaderCols || numHeaderCols <= 0 || !model())
        return 0;
    const int cols = std::min(numHeaderCols, model()->columnCount());
    int width = 0;
    for (int c = 0; c < cols; ++c)
        width += columnWidth(c);
    return width;
}

int TableView::rowsInPage(int fromRow, Direction direction) const {
    const int distance = static_cast<int>(viewport()->height() * 0.9);
    const int count = model() ? model()->rowCount() : 0;
    int rows = 0;
    int sum = 0;
    int r = fromRow;
    while (true) {
        const int next = direction == Direction::Down ? r + 1 : r - 1;
        if (next < 0 || next >= count)
            break;
        sum += rowHeight(direction == Direction::Down ? r : next);
        if (sum >= distance && rows > 0)
            break;
        r = next;
        ++rows;
    }
    return rows;
}

void TableView::scroll(Direction direction, bool page, int dx, int dy) {
    if (!model())
        return;
    const bool vertical = direction == Direction::Up || direction == Direction::Down;
    const bool back = direction == Direction::Up || direction == Direction::Left;
    QScrollBar* bar = vertical ? verticalScrollBar() : horizontalScrollBar();
    const bool snap = vertical ? snapToRow : snapToCol;
    const int viewportSize = vertical ? viewport()->height() : viewport()->width();
    const int distance = page ? static_cast<int>(viewportSize * 0.9)
                         : std::max(vertical ? dy : dx, 0) == 0 ? bar->singleStep()
                                                                : (vertical ? dy : dx);

    if (!snap) {
        bar->setValue(bar->value() + (back ? -distance : distance));
        return;
    }
    const int frozen = vertical ? frozenHeight() : frozenWidth();
    const int count = vertical ? model()->rowCount() : model()->columnCount();
    QHeaderView* header = vertical ? verticalHeader() : horizontalHeader();
    int base = vertical ? rowAt(frozen + 2) : columnAt(frozen + 2);
    if (base < 0)
        base = back ? count - 1 : 0;
    // Walk whole rows (columns) while their summed sizes stay under the distance; at least one.
    int target = base;
    int sum = 0;
    while (true) {
        const int next = back ? target - 1 : target + 1;
        if (next < 0 || next >= count)
            break;
        sum += header->sectionSize(back ? next : target);
        if (sum >= distance && target != base)
            break;
        target = next;
    }
    const int value = std::max(0, header->sectionPosition(target) - frozen - 1);
    // Scrolling repaints only what it uncovers; no full refresh is needed.
    bar->setValue(value);
}

void TableView::snapScrollBarPosition(Axis axis) {
    if (context.intersects(ContextEditing) || !model())
        return;
    const bool vertical = axis == Axis::Row;
    QScrollBar* bar = vertical ? verticalScrollBar() : horizontalScrollBar();
    if (bar->value() >= bar->maximum() || !(vertical ? snapToRow : snapToCol))
        return;
    const int frozen = vertical ? frozenHeight() : frozenWidth();
    const int probe = frozen > 0 ? frozen + 2 : 1;
    const int index = vertical ? rowAt(probe) : columnAt(probe);
    if (index < 0)
        return;
    QHeaderView* header = vertical ? verticalHeader() : horizontalHeader();
    const int value = std::max(0, header->sectionPosition(index) - (frozen + 1));
    if (bar->value() != value)
        bar->setValue(value);
}

void TableView::scrollToCellAxis(int index, bool nearest, Axis axis) {
    QAbstractItemModel* m = model();
    if (!m)
        return;
    const bool vertical = axis == Axis::Row;
    const int count = vertical ? m->rowCount() : m->columnCount();
    if (count == 0)
        return;
    index = std::clamp(index, 0, count - 1);
    QHeaderView* header = vertical ? verticalHeader() : horizontalHeader();
    QScrollBar* bar = vertical ? verticalScrollBar() : horizontalScrollBar();
    const int viewportSize = vertical ? viewport()->height() : viewport()->width();
    const int frozen = vertical ? frozenHeight() : frozenWidth();
    const int top = header->sectionPosition(index);
    const int bottom = top + header->sectionSize(index);
    // The value that shows the last row (column) at the bottom (right).
    const int cap = std::max(0, header->length() - viewportSize);
    // The lowest value that shows the row whole at the bottom, grid line included.
    const int lowest = std::min(std::max(0, bottom - viewportSize), cap);
    const int highest = std::max(std::min(top - frozen, cap), lowest);
    const int current = bar->value();
    int target = current;
    if (nearest) {
        if (current < lowest)
            target = lowest;
        else if (current > highest)
            target = highest;
    } else if (current < lowest || current > highest) {
        target = std::clamp((top + bottom) / 2 - viewportSize / 2 - frozen / 2, 0, cap);
    }
    if (bar->maximum() < target)
        bar->setMaximum(target);
    if (target != current)
        bar->setValue(target);
}

void TableView::scrollToCell(int row, int col, bool, bool nearest) {
    scrollToCellAxis(row, nearest, Axis::Row);
    scrollToCellAxis(col, nearest, Axis::Col);
}

void TableView::scrollToMainCell(bool, bool toEdge) {
    if (const TableModel* m = tableModel(); m && m->getMainCell().row >= 0)
        scrollToCell(m->getMainCell().row, m->getMainCell().col, toEdge, true);
}

void TableView::scrollToRow(int row, bool, bool) {
    scrollToCellAxis(row, true, Axis::Row);
}

void TableView::scrollToCol(int col, bool, bool) {
    scrollToCellAxis(col, true, Axis::Col);
}

void TableView::scrollToTopLeft() {
    verticalScrollBar()->setValue(0);
    horizontalScrollBar()->setValue(0);
}
