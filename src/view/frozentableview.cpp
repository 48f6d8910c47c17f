#include "view/frozentableview.h"

#include "view/headerview.h"
#include "view/tabledelegate.h"
#include "view/tableview.h"

#include <QApplication>
#include <QScrollBar>
#include <QWheelEvent>

FrozenTableView::FrozenTableView(TableView* owner_, TableType type)
    : AbstractTableView(owner_), owner(owner_), tableType(type) {
    setFocusPolicy(Qt::NoFocus);
    setFrameShape(QFrame::NoFrame);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setTableType(type);
    hide();
}

void FrozenTableView::setTableType(TableType type) {
    tableType = type;
    horizontalScrollBar()->setEnabled(type == TableType::FrozenRows);
    verticalScrollBar()->setEnabled(type == TableType::FrozenCols);
    if (type == TableType::FrozenRows)
        setHorizontalScrollMode(QAbstractItemView::ScrollPerPixel);
    if (type == TableType::FrozenCols)
        setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
}

void FrozenTableView::setNumRows(int n) {
    numRows = std::max(0, n);
}
void FrozenTableView::setNumCols(int n) {
    numCols = std::max(0, n);
}

void FrozenTableView::setTheme(const Theme& theme) {
    if (delegate)
        delegate->setTheme(theme);
    viewport()->update();
}

void FrozenTableView::deleteCells() {
    owner->deleteCells();
}
void FrozenTableView::stopEditing(bool commit) {
    owner->stopEditing(commit);
}
QWidget* FrozenTableView::activeEditorWidget() const {
    return owner->activeEditorWidget();
}
void FrozenTableView::moveSelectionRelative(int rows, int cols) {
    owner->moveSelectionRelative(rows, cols);
}
void FrozenTableView::moveSelectionAbsolute(int row, int col) {
    owner->moveSelectionAbsolute(row, col);
}
bool FrozenTableView::dropCells(const QMimeData* mime, const Range& target) {
    return owner->dropCells(mime, target);
}

void FrozenTableView::commitMiddleButtonDrag(const RangeVector& cells) {
    owner->commitMiddleButtonDrag(cells);
}

void FrozenTableView::refreshView() {
    // Repainting asks the model for the cells on screen only; the rows or columns covered are
    // the frozen ones plus what the free axis shows.
    viewport()->update();
}

void FrozenTableView::wheelEvent(QWheelEvent* event) {
    // The frozen parts never scroll by themselves; the main grid scrolls and they follow.
    QApplication::sendEvent(owner->viewport(), event);
}

bool FrozenTableView::viewportEvent(QEvent* event) {
    if (event->type() == QEvent::Wheel) {
        wheelEvent(static_cast<QWheelEvent*>(event));
        return true;
    }
    return AbstractTableView::viewportEvent(event);
}
