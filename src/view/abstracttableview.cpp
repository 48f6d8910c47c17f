#include "view/abstracttableview.h"

#include "window/commandmenus.h"
#include "window/commands.h"

#include "table/tablemodel.h"
#include "view/headerview.h"
#include "view/tabledelegate.h"

#include "view/quickedit.h"

#include <QApplication>
#include <QInputMethodEvent>
#include <QKeyEvent>
#include <QPainter>
#include <QPen>

#include <algorithm>

AbstractTableView::AbstractTableView(QWidget* parent) : QTableView(parent) {
    setTextElideMode(Qt::ElideRight);
    setWordWrap(false);
    setAttribute(Qt::WA_InputMethodEnabled);
    setTabKeyNavigation(false);
    setCornerButtonEnabled(false);
    setAcceptDrops(true);
    setSelectionMode(QAbstractItemView::NoSelection);
    setEditTriggers(QAbstractItemView::NoEditTriggers);
    setDragDropMode(QAbstractItemView::DragDrop);
    hHeader = new HeaderView(Qt::Horizontal, this);
    vHeader = new HeaderView(Qt::Vertical, this);
    setHorizontalHeader(hHeader);
    setVerticalHeader(vHeader);
}

TableModel* AbstractTableView::tableModel() const {
    return qobject_cast<TableModel*>(model());
}

void AbstractTableView::setTableDelegate(TableDelegate* d) {
    delegate = d;
    setItemDelegate(d);
}

void AbstractTableView::moveSelectionRelative(int rows, int cols) {
    if (TableModel* m = tableModel())
        m->moveSelectionRelative(rows, cols);
}

void AbstractTableView::moveSelectionAbsolute(int row, int col) {
    TableModel* m = tableModel();
    if (!m)
        return;
    Range cell(std::max(0, row), std::max(0, col), RangeIndexType::Model);
    m->setSelection(cell);
}

void AbstractTableView::refreshView() {
    viewport()->update();
}

Range AbstractTableView::cellAtPos(int x, int y) const {
    const QAbstractItemModel* m = model();
    if (!m || m->rowCount() == 0 || m->columnCount() == 0)
        return Range(RangeType::Invalid);
    const int lastRow = m->rowCount() - 1;
    const int lastCol = m->columnCount() - 1;
    const int height = viewport()->height();
    const int width = viewport()->width();
    int row = 0;
    if (y >= height) {
        const int r = rowAt(height);
        row = r < 0 ? lastRow : std::min(r + 1, lastRow);
    } else if (y < 0) {
        row = std::max(rowAt(0) - 1, 0);
    } else {
        const int r = rowAt(y);
        row = r < 0 ? lastRow : r;
    }
    int col = 0;
    if (x >= width) {
        const int c = columnAt(width);
        col = c < 0 ? lastCol : std::min(c + 1, lastCol);
    } else if (x < 0) {
        col = std::max(columnAt(0) - 1, 0);
    } else {
        const int c = columnAt(x);
        col = c < 0 ? lastCol : c;
    }
    Range cell(row, col, RangeIndexType::Model);
    if (const TableModel* tm = tableModel())
        cell.isMainCell = tm->getMainCell().row == row && tm->getMainCell().col == col;
    return cell;
}

// --- Overlays ---------------------------------------------------------------------------

void AbstractTableView::setRowLineHighlightIndexes(const std::vector<int>& rows) {
    rowLineIndexes = rows;
    viewport()->update();
}

void AbstractTableView::setColLineHighlightIndexes(const std::vector<int>& cols) {
    colLineIndexes = cols;
    viewport()->update();
}

void AbstractTableView::clearLineHighlights() {
    if (rowLineIndexes.empty() && colLineIndexes.empty())
        return;
    rowLineIndexes.clear();
    colLineIndexes.clear();
    viewport()->update();
}

void AbstractTableView::setCellBorders(const RangeVector& ranges, const QColor& color) {
    cellBorders = ranges;
    cellBorderColor = color;
    viewport()->update();
}

void AbstractTableView::setDragPreview(const RangeVector& ranges, const Range& grabOffset) {
    dragPreview = ranges;
    dragGrab = grabOffset;
    viewport()->update();
}

bool AbstractTableView::hasOverlays() const {
    return !rowLineIndexes.empty() || !colLineIndexes.empty() || !cellBorders.empty() || !dragPreview.empty();
}

void AbstractTableView::paintEvent(QPaintEvent* event) {
    QTableView::paintEvent(event);
    if (!preeditText.isEmpty())
        paintPreedit();
    if (!hasOverlays())
        return;
    QPainter painter(viewport());
    const int width = viewport()->width();
    const int height = viewport()->height();

    if (!rowLineIndexes.empty() || !colLineIndexes.empty()) {
        painter.setPen(QPen(lineColor, 4.0, Qt::SolidLine, Qt::SquareCap, Qt::BevelJoin));
        const int rows = model() ? model()->rowCount() : 0;
        const int cols = model() ? model()->columnCount() : 0;
        // An index one past the last line marks the edge after it.
        auto edge = [](int count, int index, auto position, auto size) {
            if (index < count)
                return position(index);
            return count > 0 ? position(count - 1) + size(count - 1) : -1;
        };
        for (int row : rowLineIndexes) {
            int y = edge(
                rows, row, [this](int i) { return rowViewportPosition(i); },
                [this](int i) { return rowHeight(i); });
            if (y < 0)
                continue;
            y = y < 3 ? 2 : y;
            painter.drawLine(0, y, width, y);
        }
        for (int col : colLineIndexes) {
            int x = edge(
                cols, col, [this](int i) { return columnViewportPosition(i); },
                [this](int i) { return columnWidth(i); });
            if (x < 0)
                continue;
            x = x < 3 ? 2 : x;
            painter.drawLine(x, 0, x, height);
        }
    }

    if (!cellBorders.empty()) {
        painter.setPen(QPen(cellBorderColor, 1.0));
        for (const Range& range : cellBorders) {
            if (range.type != RangeType::Cell && range.type != RangeType::Table)
                continue;
            const int lastRow = range.type == RangeType::Cell ? range.row : range.endRow;
            const int lastCol = range.type == RangeType::Cell ? range.col : range.endCol;
            if (!model() || lastRow >= model()->rowCount() || lastCol >= model()->columnCount())
                continue;
            const int x0 = std::max(0, columnViewportPosition(range.col));
            const int x1 = std::max(0, columnViewportPosition(lastCol) + columnWidth(lastCol));
            const int y0 = std::max(0, rowViewportPosition(range.row));
            const int y1 = std::max(0, rowViewportPosition(lastRow) + rowHeight(lastRow));
            painter.drawLine(x0, y0, x1, y0);
            painter.drawLine(x0, y1, x1, y1);
            painter.drawLine(x0, y0, x0, y1);
            painter.drawLine(x1, y0, x1, y1);
        }
    }

    if (!dragPreview.empty() && model()) {
        const QColor background = delegate ? delegate->backgroundColor() : palette().color(QPalette::Base);
        const QColor text = delegate ? delegate->textColor() : palette().color(QPalette::Text);
        painter.setFont(font());
        for (const Range& range : dragPreview) {
            if (range.type != RangeType::Cell)
                continue;
            if (range.row < 0 || range.col < 0 || range.row >= model()->rowCount() ||
                range.col >= model()->columnCount())
                continue;
            const QRect rect = visualRect(model()->index(range.row, range.col));
            if (rect.width() <= 0 || rect.height() <= 0)
                continue;
            painter.fillRect(rect, background);
            painter.setPen(text);
            painter.drawText(rect.adjusted(TableDelegate::textInset, 0, -TableDelegate::textInset, 0),
                             Qt::AlignLeft | Qt::AlignVCenter, range.value.toString());
        }
    }
}

void AbstractTableView::paintPreedit() {
    const TableModel* m = tableModel();
    if (!m || m->getMainCell().row < 0 || m->getMainCell().col < 0)
        return;
    const Range& main = m->getMainCell();
    if (main.row >= m->rowCount() || main.col >= m->columnCount())
        return;
    const QRect rect = visualRect(m->index(main.row, main.col));
    if (!rect.isValid() || !viewport()->rect().intersects(rect))
        return;
    QPainter painter(viewport());
    painter.fillRect(rect, delegate ? delegate->getEditorBackgroundColor() : palette().color(QPalette::Base));
    QFont underlined = font();
    underlined.setUnderline(true);
    painter.setFont(underlined);
    painter.setPen(delegate ? delegate->getEditorTextColor() : palette().color(QPalette::Text));
    painter.drawText(rect.adjusted(TableDelegate::textInset, 0, -TableDelegate::textInset, 0),
                     Qt::AlignLeft | Qt::AlignVCenter, preeditText);
}

// --- Editing ----------------------------------------------------------------------------

QWidget* AbstractTableView::activeEditorWidget() const {
    return delegate ? delegate->getEditor() : nullptr;
}

void AbstractTableView::editMainCellAppend() {
    TableModel* m = tableModel();
    if (!m || loading || readOnlyView)
        return;
    const Range& main = m->getMainCell();
    if (main.row < 0 || main.col < 0)
        return;
    // The bytes tell whether the cell is empty without decoding a cell that may be huge.
    const bool empty =
        m->getTableData()
            .getValueRawCharVec(m->getRawFromModelRow(main.row), m->getRawFromModelCol(main.col))
            .empty();
    emit startEditingSignal(empty);
}

bool AbstractTableView::editOnAnyKeyPressed(const QModelIndex& index, QEvent* event) {
    // The grid's own triggers stay off, so that Qt never opens an editor by itself.
    setEditTriggers(QAbstractItemView::AnyKeyPressed);
    const bool opened = edit(index, QAbstractItemView::AnyKeyPressed, event);
    setEditTriggers(QAbstractItemView::NoEditTriggers);
    return opened;
}

void AbstractTableView::closeEditorPublic() {
    QuickEdit* open = delegate ? delegate->getEditor() : nullptr;
    if (open && open->parentWidget() == viewport())
        closeEditor(open, QAbstractItemDelegate::NoHint);
}

void AbstractTableView::deselectAllButTheMainCell() {
    TableModel* m = tableModel();
    if (!m || m->getMainCell().row < 0 || m->getMainCell().col < 0)
        return;
    const RangeVector& selection = m->getSelection();
    if (selection.size() == 1 && selection.front().type == RangeType::Cell)
        return;
    Range main(m->getMainCell().row, m->getMainCell().col, RangeIndexType::Model);
    main.isMainCell = true;
    m->setSelection(main);
    refreshView();
}

void AbstractTableView::inputMethodEvent(QInputMethodEvent* event) {
    TableModel* m = tableModel();
    if (!m || loading) {
        event->ignore();
        return;
    }
    event->accept();
    const QString preedit = event->preeditString();
    if (preeditText != preedit && (!editingCell || preedit.isEmpty())) {
        preeditText = editingCell ? QString() : preedit;
        viewport()->update();
    }
    const QString commit = event->commitString();
    if (commit.isEmpty() || editingCell || readOnlyView)
        return;
    preeditText.clear();
    viewport()->update();
    // An edit opens as for a key; the composed text is what gets typed into it.
    QKeyEvent opener(QEvent::KeyPress, Qt::Key_unknown, Qt::NoModifier);
    emit startEditingSignal(true, &opener);
    QWidget* target = activeEditorWidget();
    if (auto* quickEdit = qobject_cast<QuickEdit*>(target)) {
        quickEdit->insert(commit);
        emit quickEdit->textEdited(quickEdit->text());
        return;
    }
    if (QWidget* focus = QApplication::focusWidget(); focus && focus != this) {
        QInputMethodEvent forwarded;
        forwarded.setCommitString(commit);
        QApplication::sendEvent(focus, &forwarded);
    }
}

QVariant AbstractTableView::inputMethodQuery(Qt::InputMethodQuery query) const {
    const TableModel* m = tableModel();
    if (m && query == Qt::ImCursorRectangle && m->getMainCell().row >= 0 && m->getMainCell().col >= 0 &&
        m->getMainCell().row < m->rowCount() && m->getMainCell().col < m->columnCount())
        return visualRect(m->index(m->getMainCell().row, m->getMainCell().col));
    if (query == Qt::ImEnabled)
        return !readOnlyView && !loading;
    return QTableView::inputMethodQuery(query);
}

// --- Keys -------------------------------------------------------------------------------

bool AbstractTableView::isPrintableKey(const QKeyEvent* event) {
    const int key = event->key();
    if (key >= Qt::Key_Escape && key <= Qt::Key_Direction_R)
        return false; // editing, navigation, modifiers, function keys
    if (key >= Qt::Key_Back && key < Qt::Key_unknown)
        return false; // media, browser and launch keys
    if (key >= Qt::Key_Context1)
        return false;
    const QString text = event->text();
    return !text.isEmpty() && text.at(0).isPrint();
}

void AbstractTableView::nextRowWithColumnReset() {
    TableModel* m = tableModel();
    if (!m)
        return;
    const Range& main = m->getMainCell();
    if (!rowResetCell.isValid() || rowResetCell.row != main.row)
        rowResetCell = Range(main.row, main.col, RangeIndexType::Model);
    const int col = rowResetCell.col;
    moveSelectionAbsolute(main.row + 1, col);
    rowResetCell = Range(m->getMainCell().row, col, RangeIndexType::Model);
}

void AbstractTableView::keyPressEvent(QKeyEvent* event) {
    if (middleButtonDragActive()) {
        handleMiddleButtonKey(event);
        return;
    }
    if (leftPressed || loading || !tableModel()) {
        event->accept();
        return;
    }
    const Qt::KeyboardModifiers mods = event->modifiers() & ~Qt::KeypadModifier;
    const int key = event->key();

    if ((key == Qt::Key_Enter && mods == Qt::NoModifier) ||
        (key == Qt::Key_Return && mods == Qt::NoModifier)) {
        if (editingCell) {
            event->ignore();
            return;
        }
        nextRowWithColumnReset();
        event->accept();
        return;
    }
    if (!editingCell && (mods == Qt::NoModifier || mods == Qt::ShiftModifier) && isPrintableKey(event)) {
        // Typing keeps the column where a run of Tabs began, for the Return that ends the row.
        if (!readOnlyView)
            emit startEditingSignal(false, event);
        event->accept();
        return;
    }
    rowResetCell = Range(RangeType::Invalid);

    const bool arrow =
        key == Qt::Key_Left || key == Qt::Key_Right || key == Qt::Key_Up || key == Qt::Key_Down;
    if (arrow && mods == Qt::NoModifier) {
        if (editingCell) {
            event->ignore();
            return;
        }
        const int dr = key == Qt::Key_Up ? -1 : (key == Qt::Key_Down ? 1 : 0);
        const int dc = key == Qt::Key_Left ? -1 : (key == Qt::Key_Right ? 1 : 0);
        moveSelectionRelative(dr, dc);
        emit scrollToMainCellSignal(false, false);
        event->accept();
        return;
    }
    // Qt's own cursor navigation would fight the model's selection.
    event->ignore();
}

void AbstractTableView::keyReleaseEvent(QKeyEvent* event) {
    mbKeyHeld = false;
    QTableView::keyReleaseEvent(event);
}

// --- Context menu -------------------------------------------------------------------------

void AbstractTableView::setupContextMenus(const Commands& commands) {
    const Commands& c = commands;
    contextMenuActions = CommandMenus::actionsFor(c, {&c.cutCells,
                                                      &c.copyCells,
                                                      &c.pasteCells,
                                                      nullptr,
                                                      &c.insertRowsBefore,
                                                      &c.insertRowsAfter,
                                                      &c.insertColumnsBefore,
                                                      &c.insertColumnsAfter,
                                                      &c.insertCellsMoveRestOfRowRight,
                                                      &c.insertCellsMoveRestOfColumnDown,
                                                      nullptr,
                                                      &c.removeRows,
                                                      &c.removeColumns,
                                                      &c.removeSelectedCellsMoveRestOfRowLeft,
                                                      &c.removeSelectedCellsMoveRestOfColumnUp,
                                                      &c.clearCellContents,
                                                      nullptr,
                                                      &c.setHeaderRowsToSelectedRow,
                                                      &c.setHeaderColumnsToSelectedColumn,
                                                      &c.setHeadersToSelectedCell});
    if (hHeader)
        hHeader->setupContextMenus(commands);
    if (vHeader)
        vHeader->setupContextMenus(commands);
}
