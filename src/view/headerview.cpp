#include "view/headerview.h"

#include "window/commandmenus.h"
#include "window/commands.h"

#include <QMouseEvent>

HeaderView::HeaderView(Qt::Orientation orientation, QWidget* parent) : QHeaderView(orientation, parent) {
    setSectionsClickable(true);
    setHighlightSections(false);
    setSectionResizeMode(QHeaderView::Interactive);
    setContextMenuPolicy(Qt::CustomContextMenu);
    connect(this, &QWidget::customContextMenuRequested, this, &HeaderView::onCustomContextMenu);
}

void HeaderView::setupContextMenus(const Commands& commands) {
    const Commands& c = commands;
    if (orientation() == Qt::Horizontal)
        contextMenuActions = CommandMenus::actionsFor(
            c, {&c.cutCells, &c.copyCells, &c.pasteCells, nullptr, &c.insertColumnsBefore,
                &c.insertColumnsAfter, &c.duplicateColumns, nullptr, &c.removeColumns, &c.clearCellContents,
                nullptr, &c.setHeaderColumnsToSelectedColumn});
    else
        contextMenuActions = CommandMenus::actionsFor(
            c, {&c.cutCells, &c.copyCells, &c.pasteCells, nullptr, &c.insertRowsBefore, &c.insertRowsAfter,
                &c.duplicateRows, nullptr, &c.removeRows, &c.clearCellContents, nullptr,
                &c.setHeaderRowsToSelectedRow});
}

void HeaderView::onCustomContextMenu(const QPoint& pos) {
    CommandMenus::exec(this, contextMenuActions, viewport()->mapToGlobal(pos));
}

bool HeaderView::onResizeHandle(const QPoint& pos) const {
    const int p = orientation() == Qt::Horizontal ? pos.x() : pos.y();
    const int section = logicalIndexAt(p);
    if (section < 0)
        return false;
    const int start = sectionViewportPosition(section);
    const int end = start + sectionSize(section);
    const int margin = style()->pixelMetric(QStyle::PM_HeaderGripMargin, nullptr, this);
    return (p - start < margin && section > 0) || end - p <= margin;
}

void HeaderView::mousePressEvent(QMouseEvent* event) {
    const QPoint pos = event->position().toPoint();
    const int section = logicalIndexAt(pos);
    if (event->button() == Qt::RightButton) {
        if (section >= 0)
            emit sectionRightClicked(section);
        return;
    }
    if (event->button() != Qt::LeftButton)
        return;
    if (!dragging && onResizeHandle(pos)) {
        resizing = true;
        QHeaderView::mousePressEvent(event);
        return;
    }
    if (section < 0)
        return;
    pressed = true;
    lastEntered = section;
    const Qt::KeyboardModifiers mods = event->modifiers();
    if (mods & Qt::ShiftModifier) {
        emit sectionShiftClicked(section);
        emit headerShiftClickSignal(orientation() == Qt::Horizontal ? Axis::Col : Axis::Row, section);
    } else if (mods & Qt::ControlModifier) {
        emit sectionCtrlClicked(section);
    } else {
        emit sectionClicked(section);
        if (orientation() == Qt::Horizontal)
            emit selectColSignal(section);
        else
            emit selectRowSignal(section);
    }
}

void HeaderView::mouseMoveEvent(QMouseEvent* event) {
    if (resizing && !dragging) {
        QHeaderView::mouseMoveEvent(event);
        return;
    }
    if (!pressed) {
        // Let Qt show the split cursor over handles.
        if (!dragging)
            QHeaderView::mouseMoveEvent(event);
        return;
    }
    const QPoint pos = event->position().toPoint();
    int section = logicalIndexAt(pos);
    if (section < 0) {
        const int p = orientation() == Qt::Horizontal ? pos.x() : pos.y();
        section = p < 0 ? logicalIndexAt(0) : logicalIndexAt(length() - offset() - 1);
        if (section < 0)
            section = count() - 1;
    }
    if (section >= 0 && section != lastEntered) {
        lastEntered = section;
        emit sectionEntered(section);
    }
}

void HeaderView::mouseReleaseEvent(QMouseEvent* event) {
    if (resizing) {
        resizing = false;
        QHeaderView::mouseReleaseEvent(event);
        return;
    }
    if (pressed) {
        pressed = false;
        const int section = lastEntered;
        lastEntered = -1;
        emit sectionReleasedSignal(section);
    }
}

void HeaderView::mouseDoubleClickEvent(QMouseEvent* event) {
    if (!dragging && onResizeHandle(event->position().toPoint())) {
        QHeaderView::mouseDoubleClickEvent(event);
        return;
    }
    const int section = logicalIndexAt(event->position().toPoint());
    if (section >= 0)
        emit sectionDoubleClicked(section);
}
