// Mouse selection, the cell drag and the middle-button drag of AbstractTableView.

#include "view/abstracttableview.h"

#include "table/tablemodel.h"
#include "util/textutilities.h"

#include <QApplication>
#include <QDrag>
#include <QKeyEvent>
#include <QMimeData>
#include <QMouseEvent>
#include <QUrl>

#include <algorithm>
#include <cstdlib>

namespace {

const QString kInternalDragFormat = QStringLiteral("application/x-orvane-cells");

Range rectangle(int r0, int c0, int r1, int c1, int mainRow, int mainCol) {
    const auto [top, bottom] = std::minmax(r0, r1);
    const auto [left, right] = std::minmax(c0, c1);
    if (top == bottom && left == right) {
        Range cell(top, left, RangeIndexType::Model);
        cell.isMainCell = true;
        return cell;
    }
    Range block(RangeType::Table, RangeIndexType::Model);
    block.row = top;
    block.col = left;
    block.endRow = bottom;
    block.endCol = right;
    block.mainCellRow = std::clamp(mainRow, top, bottom);
    block.mainCellCol = std::clamp(mainCol, left, right);
    block.isMainCell = mainRow >= top && mainRow <= bottom && mainCol >= left && mainCol <= right;
    return block;
}

} // namespace

void AbstractTableView::mousePressEvent(QMouseEvent* event) {
    TableModel* m = tableModel();
    if (!m || loading)
        return;
    // A click elsewhere ends an edit before the selection moves: the frozen parts never take
    // the focus, so the editor would not notice by itself.
    if (editingCell)
        stopEditing(true);
    const QPoint pos = event->position().toPoint();
    Range cell = cellAtPos(pos.x(), pos.y());
    if (!cell.isValid())
        return;
    rowResetCell = Range(RangeType::Invalid);
    const Qt::KeyboardModifiers mods = event->modifiers();

    if (event->button() == Qt::LeftButton) {
        if (mods & Qt::ShiftModifier) {
            if (m->cellInSelection(cell.row, cell.col)) {
                startCellDrag(cell);
                return;
            }
            expandSelection(cell);
            return;
        }
        leftPressed = true;
        commandClick = (mods & Qt::ControlModifier) != 0;
        pressCell = cell;
        lastExpandCell = cell;
        if (commandClick) {
            const bool wasSelected = m->cellInSelection(cell.row, cell.col);
            m->setMainCell(cell);
            m->setPendingSelectionCorner(cell);
            if (wasSelected)
                m->removeCellFromSelection(cell.row, cell.col);
            else
                m->addCellToSelection(Range(cell.row, cell.col, RangeIndexType::Model));
        } else {
            m->clearSelection();
            m->setMainCell(cell);
            m->setPendingSelectionCorner(cell);
            m->setSelection(cell);
            m->setPendingSelectionCorner(cell);
        }
        refreshView();
        return;
    }
    if (event->button() == Qt::MiddleButton) {
        mbAnchor = Range(cell.row, cell.col, RangeIndexType::Model);
        mbPointer = mbAnchor;
        mbAxis = 3;
        mbKeyBuffer.clear();
        mbLastKey.clear();
        mbToggled = false;
        mbTouched.clear();
        return;
    }
    QTableView::mousePressEvent(event);
}

void AbstractTableView::mouseMoveEvent(QMouseEvent* event) {
    const QPoint pos = event->position().toPoint();
    if (leftPressed && (event->buttons() & Qt::LeftButton)) {
        const Range cell = cellAtPos(pos.x(), pos.y());
        if (cell.isValid() && cell != lastExpandCell) {
            lastExpandCell = cell;
            expandSelection(cell);
        }
        return;
    }
    if (middleButtonDragActive()) {
        const Range cell = cellAtPos(pos.x(), pos.y());
        if (cell.isValid() && cell != mbPointer) {
            mbPointer = Range(cell.row, cell.col, RangeIndexType::Model);
            handleMiddleButtonDrag();
        }
    }
}

void AbstractTableView::mouseReleaseEvent(QMouseEvent* event) {
    TableModel* m = tableModel();
    if (event->button() == Qt::MiddleButton && middleButtonDragActive()) {
        endMiddleButtonDrag();
        return;
    }
    if (event->button() != Qt::LeftButton || !leftPressed || !m) {
        QTableView::mouseReleaseEvent(event);
        return;
    }
    leftPressed = false;
    const Range start = m->getPendingCornerStart();
    const Range end = m->getPendingCornerEnd();
    m->setPendingCorners(Range(RangeType::Invalid), Range(RangeType::Invalid));
    if (start.row >= 0 && end.row >= 0 && (start.row != end.row || start.col != end.col)) {
        Range block = rectangle(start.row, start.col, end.row, end.col, start.row, start.col);
        if (commandClick) {
            RangeVector ranges{block};
            m->addCellsToSelection(ranges);
        } else {
            m->setSelection(block);
        }
    }
    if (!m->getHighlightedRange().empty())
        m->clearHighlightedRange();
    refreshView();
}

void AbstractTableView::mouseDoubleClickEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton && !loading && !readOnlyView && tableModel())
        emit startEditingSignal(false);
}

void AbstractTableView::expandSelection(const Range& to) {
    TableModel* m = tableModel();
    if (!m || !to.isValid())
        return;
    if (leftPressed) {
        // A drag in progress: the model paints the pending rectangle until release.
        m->setPendingSelectionCorner(Range(to.row, to.col, RangeIndexType::Model), true);
        refreshView();
        return;
    }
    const Range main = m->getMainCell();
    if (main.row < 0 || main.col < 0) {
        Range cell(to.row, to.col, RangeIndexType::Model);
        m->setSelection(cell);
    } else {
        Range block = rectangle(main.row, main.col, to.row, to.col, main.row, main.col);
        m->setSelection(block);
    }
    refreshView();
}

// --- Cell drag --------------------------------------------------------------------------

void AbstractTableView::startCellDrag(const Range& grabCell) {
    TableModel* m = tableModel();
    if (!m || readOnlyView)
        return;
    // The formats of a copy, so that a drop on another program carries what a paste would.
    QMimeData* mime = m->convertCellDataToMime(false);
    mime->setData(kInternalDragFormat, QByteArray::number(reinterpret_cast<quintptr>(this)));
    internalDrag = true;
    dragPreview.clear();
    dragGrab = Range(grabCell.row, grabCell.col, RangeIndexType::Model);
    auto* drag = new QDrag(this);
    drag->setMimeData(mime);
    // Moves within the table; other programs may take a copy.
    drag->exec(Qt::MoveAction | Qt::CopyAction, Qt::MoveAction);
    internalDrag = false;
    dragPreview.clear();
    viewport()->update();
}

void AbstractTableView::dragEnterEvent(QDragEnterEvent* event) {
    if (event->mimeData()->hasFormat(QStringLiteral("text/csv")) || event->mimeData()->hasText())
        event->acceptProposedAction();
    else
        event->ignore();
}

void AbstractTableView::dragMoveEvent(QDragMoveEvent* event) {
    TableModel* m = tableModel();
    if (!m || !(event->mimeData()->hasFormat(QStringLiteral("text/csv")) || event->mimeData()->hasText())) {
        event->ignore();
        return;
    }
    event->acceptProposedAction();
    if (!internalDrag || !dragGrab.isValid())
        return;
    const QPoint pos = event->position().toPoint();
    const Range target = cellAtPos(pos.x(), pos.y());
    RangeVector cells;
    m->getCellOnlyRangeVector(cells, m->getSelection());
    m->populateCellDataValues(cells, true, false);
    RangeVector moved;
    RangeVector raw;
    for (Range cell : cells) {
        cell.moveRelative(target.row - dragGrab.row, target.col - dragGrab.col, true);
        if (!cell.isValid() || cell.row >= m->rowCount() || cell.col >= m->columnCount())
            continue;
        moved.push_back(cell);
        raw.push_back(m->getRawRange(Range(cell.row, cell.col, RangeIndexType::Model)));
    }
    m->setHighlightedRange(raw);
    setDragPreview(moved, dragGrab);
}

void AbstractTableView::dragLeaveEvent(QDragLeaveEvent* event) {
    if (TableModel* m = tableModel(); m && !m->getHighlightedRange().empty())
        m->clearHighlightedRange();
    dragPreview.clear();
    viewport()->update();
    event->accept();
}

void AbstractTableView::dropEvent(QDropEvent* event) {
    TableModel* m = tableModel();
    if (!m) {
        event->ignore();
        return;
    }
    if (!m->getHighlightedRange().empty())
        m->clearHighlightedRange();
    dragPreview.clear();
    viewport()->update();
    const QPoint pos = event->position().toPoint();
    const Range target = cellAtPos(pos.x(), pos.y());
    if (!internalDrag || !dragGrab.isValid()) {
        // Cells from elsewhere paste at the drop point; a drag of this table's own cells that
        // ends on another of its grids moves nothing.
        const auto* source = qobject_cast<const AbstractTableView*>(event->source());
        const bool ownCells = source && source->tableModel() == m;
        // Files go on to the window, which opens them.
        const QList<QUrl> urls = event->mimeData()->urls();
        const bool files =
            std::any_of(urls.cbegin(), urls.cend(), [](const QUrl& url) { return url.isLocalFile(); });
        if (!ownCells && !files && target.isValid() && !readOnlyView &&
            dropCells(event->mimeData(), target)) {
            // A copy: the program the cells came from keeps them.
            if (event->possibleActions() & Qt::CopyAction)
                event->setDropAction(Qt::CopyAction);
            event->accept();
        } else {
            event->ignore();
        }
        return;
    }
    if (!target.isValid()) {
        event->ignore();
        return;
    }
    RangeVector ranges = m->getSelection();
    emit moveCellContentsAbsoluteSignal(ranges, target, target.row - dragGrab.row, target.col - dragGrab.col);
    event->acceptProposedAction();
}

// --- Middle-button drag -----------------------------------------------------------------

void AbstractTableView::handleMiddleButtonDrag() {
    TableModel* m = tableModel();
    if (!m || readOnlyView || !mbAnchor.isValid())
        return;
    if (mbPointer == mbAnchor && mbAxis == 3)
        return;
    if (mbAxis == 3) {
        if (mbPointer.row == mbAnchor.row)
            mbAxis = 1;
        else if (mbPointer.col == mbAnchor.col)
            mbAxis = 0;
        else
            return;
    }
    // The span from the anchor (exclusive) to the pointer, read along the set axis.
    const int from = mbAxis == 0 ? mbAnchor.row : mbAnchor.col;
    const int to = mbAxis == 0 ? mbPointer.row : mbPointer.col;
    const int direction = to >= from ? 1 : -1;
    auto inSpan = [&](const Range& cell) {
        const int p = mbAxis == 0 ? cell.row : cell.col;
        const int other = mbAxis == 0 ? cell.col : cell.row;
        const int anchorOther = mbAxis == 0 ? mbAnchor.col : mbAnchor.row;
        return other == anchorOther && p != from && (p - from) * direction > 0 &&
               std::abs(p - from) <= std::abs(to - from);
    };

    for (auto it = mbTouched.begin(); it != mbTouched.end();) {
        if (inSpan(it->first)) {
            ++it;
            continue;
        }
        m->setData(m->index(it->first.row, it->first.col), it->second, Qt::EditRole);
        it = mbTouched.erase(it);
    }

    const QString anchorText = m->data(m->index(mbAnchor.row, mbAnchor.col), Qt::EditRole).toString();
    const bool uuid = mbStep != 0 && Utilities::containsUuid(anchorText);
    for (int k = 1; k <= std::abs(to - from); ++k) {
        const int p = from + k * direction;
        const Range cell = mbAxis == 0 ? Range(p, mbAnchor.col, RangeIndexType::Model)
                                       : Range(mbAnchor.row, p, RangeIndexType::Model);
        if (cell.row >= m->rowCount() || cell.col >= m->columnCount())
            break;
        const QModelIndex index = m->index(cell.row, cell.col);
        const auto found = std::find_if(mbTouched.begin(), mbTouched.end(),
                                        [&](const auto& entry) { return entry.first == cell; });
        const bool isNew = found == mbTouched.end();
        if (isNew)
            mbTouched.emplace_back(cell, m->data(index, Qt::EditRole));
        QString text;
        if (mbStep == 0)
            text = anchorText;
        else if (uuid)
            text = isNew || !Utilities::containsUuid(m->data(index, Qt::EditRole).toString())
                       ? Utilities::replaceUuidInString(anchorText, uuidType)
                       : m->data(index, Qt::EditRole).toString();
        else
            text = Utilities::modifyNumberInString(anchorText, static_cast<qint64>(k) * mbStep);
        if (m->data(index, Qt::EditRole).toString() != text)
            m->setData(index, text, Qt::EditRole);
    }
}

void AbstractTableView::undoMiddleButtonIncrement() {
    TableModel* m = tableModel();
    if (!m)
        return;
    for (const auto& [cell, former] : mbTouched)
        m->setData(m->index(cell.row, cell.col), former, Qt::EditRole);
    mbTouched.clear();
    mbToggled = false;
}

void AbstractTableView::updateMiddleButtonToggleState(bool touched, const QString& key) {
    mbLastKey = key;
    mbToggled = touched;
}

void AbstractTableView::handleMiddleButtonKey(QKeyEvent* event) {
    event->accept();
    if (event->key() == Qt::Key_Escape) {
        mbStep = 0;
        mbKeyBuffer.clear();
        handleMiddleButtonDrag();
        mbLastKey.clear();
        mbToggled = false;
        return;
    }
    const QString text = event->text();
    if (text.size() != 1)
        return;
    QChar c = text.at(0);
    if (c == QLatin1Char('='))
        c = QLatin1Char('+');
    const bool sign = c == QLatin1Char('+') || c == QLatin1Char('-');
    if (!sign && !c.isDigit())
        return;
    const QString key(c);
    if (key == mbLastKey && !event->isAutoRepeat() && mbToggled && !mbTouched.empty()) {
        // The same key twice takes the drag's writes back.
        undoMiddleButtonIncrement();
        mbLastKey.clear();
        mbKeyBuffer.clear();
        return;
    }
    mbKeyHeld = true;
    if (sign) {
        if (!mbKeyBuffer.isEmpty() &&
            (mbKeyBuffer.front() == QLatin1Char('+') || mbKeyBuffer.front() == QLatin1Char('-')))
            mbKeyBuffer.remove(0, 1);
        mbKeyBuffer.prepend(c);
    } else {
        mbKeyBuffer.append(c);
    }
    if (mbKeyBuffer.size() > 2) {
        // Start a new number, keeping a typed sign.
        const QChar first = mbKeyBuffer.front();
        mbKeyBuffer =
            (first == QLatin1Char('+') || first == QLatin1Char('-')) ? QString(first) + c : QString(c);
        if (sign)
            mbKeyBuffer = QString(c);
    }
    const auto digitStep = [](QChar d) {
        const int v = d.digitValue();
        return v == 0 ? 10 : v;
    };
    if (mbKeyBuffer == QLatin1String("+"))
        mbStep = 1;
    else if (mbKeyBuffer == QLatin1String("-"))
        mbStep = -1;
    else if (mbKeyBuffer.size() == 1)
        mbStep = digitStep(mbKeyBuffer.front());
    else if (mbKeyBuffer.front() == QLatin1Char('+'))
        mbStep = digitStep(mbKeyBuffer.at(1));
    else if (mbKeyBuffer.front() == QLatin1Char('-'))
        mbStep = -digitStep(mbKeyBuffer.at(1));
    else
        mbStep = 0;
    handleMiddleButtonDrag();
    updateMiddleButtonToggleState(!mbTouched.empty(), key);
}

void AbstractTableView::endMiddleButtonDrag() {
    TableModel* m = tableModel();
    RangeVector cells;
    if (m) {
        for (const auto& [cell, former] : mbTouched) {
            Range written = cell;
            written.value = m->data(m->index(cell.row, cell.col), Qt::EditRole);
            written.oldValue = former;
            if (written.value != written.oldValue)
                cells.push_back(written);
        }
    }
    mbAnchor = Range(RangeType::Invalid);
    mbPointer = Range(RangeType::Invalid);
    mbAxis = 3;
    mbStep = 0;
    mbKeyBuffer.clear();
    mbLastKey.clear();
    mbToggled = false;
    mbTouched.clear();
    if (!cells.empty())
        commitMiddleButtonDrag(cells);
}

void AbstractTableView::commitMiddleButtonDrag(const RangeVector& cells) {
    // The cells hold their new values already; this is where they become one undoable edit.
    emit dataChangedSignal(cells);
}
