#include "analysis/columnlisttablewidget.h"

#include <QDrag>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QHeaderView>
#include <QMimeData>
#include <QPainter>
#include <QToolButton>

#include <algorithm>
#include <set>

namespace {

enum ListColumn { CheckColumn = 0, NameColumn = 1, DeleteColumn = 2 };

} // namespace

ColumnListTableWidget::ColumnListTableWidget(QWidget* parent) : QTableWidget(0, 3, parent) {
    horizontalHeader()->hide();
    verticalHeader()->hide();
    horizontalHeader()->setSectionResizeMode(CheckColumn, QHeaderView::ResizeToContents);
    horizontalHeader()->setSectionResizeMode(NameColumn, QHeaderView::Stretch);
    horizontalHeader()->setSectionResizeMode(DeleteColumn, QHeaderView::ResizeToContents);
    verticalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
    setSelectionBehavior(QAbstractItemView::SelectRows);
    setSelectionMode(QAbstractItemView::ExtendedSelection);
    setEditTriggers(QAbstractItemView::NoEditTriggers);
    setShowGrid(false);
    setWordWrap(false);
    setDragEnabled(true);
    setAcceptDrops(true);
    // The list draws its own insertion line, also in an empty list and below the last row.
    setDropIndicatorShown(false);
    setDragDropMode(QAbstractItemView::DragDrop);
    setDragDropOverwriteMode(false);
    setDefaultDropAction(Qt::MoveAction);
    connect(this, &QTableWidget::itemChanged, this, [this](QTableWidgetItem* item) {
        if (item->column() == CheckColumn)
            emit itemEnabledChangedSignal(item->row());
    });
}

std::vector<ColumnListTableWidget::Item> ColumnListTableWidget::items() const {
    std::vector<Item> out;
    for (int r = 0; r < rowCount(); ++r) {
        const QTableWidgetItem* check = item(r, CheckColumn);
        const QTableWidgetItem* name = item(r, NameColumn);
        if (!check || !name)
            continue;
        out.push_back({name->data(ColumnRole).toInt(), name->text(), check->checkState() == Qt::Checked});
    }
    return out;
}

void ColumnListTableWidget::setRow(int row, const Item& it) {
    const QSignalBlocker block(this);
    auto* check = new QTableWidgetItem;
    // Rows are dropped between, never onto.
    check->setFlags(Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsUserCheckable |
                    Qt::ItemIsDragEnabled);
    check->setCheckState(it.enabled ? Qt::Checked : Qt::Unchecked);
    setItem(row, CheckColumn, check);
    auto* name = new QTableWidgetItem(it.name);
    name->setFlags(Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsDragEnabled);
    name->setData(ColumnRole, it.column);
    name->setToolTip(it.name);
    setItem(row, NameColumn, name);
    auto* remove = new QToolButton(this);
    remove->setText(QStringLiteral("\u2715"));
    remove->setToolTip(tr("Remove"));
    remove->setAutoRaise(true);
    remove->setObjectName(QStringLiteral("deleteButton"));
    // Queued: the row and its button go once the button's click is over.
    connect(
        remove, &QToolButton::clicked, this,
        [this, remove] {
            for (int r = 0; r < rowCount(); ++r) {
                if (cellWidget(r, DeleteColumn) == remove) {
                    removeRow(r);
                    emit itemDeletedSignal(r);
                    return;
                }
            }
        },
        Qt::QueuedConnection);
    setCellWidget(row, DeleteColumn, remove);
}

void ColumnListTableWidget::setItems(const std::vector<Item>& list) {
    setRowCount(0);
    insertItems(0, list);
}

int ColumnListTableWidget::insertItems(int row, const std::vector<Item>& list) {
    if (row < 0 || row > rowCount())
        row = rowCount();
    int inserted = 0;
    for (const Item& it : list) {
        if (containsColumn(it.column))
            continue;
        insertRow(row + inserted);
        setRow(row + inserted, it);
        ++inserted;
    }
    return inserted;
}

void ColumnListTableWidget::removeItemRows(std::vector<int> rows) {
    std::sort(rows.begin(), rows.end());
    rows.erase(std::unique(rows.begin(), rows.end()), rows.end());
    for (auto it = rows.rbegin(); it != rows.rend(); ++it) {
        if (*it >= 0 && *it < rowCount())
            removeRow(*it);
    }
}

bool ColumnListTableWidget::containsColumn(int column) const {
    for (int r = 0; r < rowCount(); ++r) {
        const QTableWidgetItem* name = item(r, NameColumn);
        if (name && name->data(ColumnRole).toInt() == column)
            return true;
    }
    return false;
}

int ColumnListTableWidget::dropRow(const QPoint& pos) const {
    const QModelIndex at = indexAt(pos);
    if (!at.isValid())
        return rowCount();
    const QRect rect = visualRect(at);
    return pos.y() > rect.center().y() ? at.row() + 1 : at.row();
}

QStringList ColumnListTableWidget::mimeTypes() const {
    return {QString::fromLatin1(kMimeType)};
}

void ColumnListTableWidget::startDrag(Qt::DropActions) {
    std::set<int> rows;
    for (const QModelIndex& i : selectedIndexes())
        rows.insert(i.row());
    if (rows.empty() && currentIndex().isValid())
        rows.insert(currentIndex().row());
    if (rows.empty())
        return;
    dragRows.assign(rows.begin(), rows.end());
    const QTableWidgetItem* first = item(dragRows.front(), NameColumn);
    const QString name = first ? first->text() : QString();
    emit dragStartedSignal(name);
    auto* mime = new QMimeData;
    mime->setData(QString::fromLatin1(kMimeType), name.toUtf8());
    auto* drag = new QDrag(this);
    drag->setMimeData(mime);
    // The name goes along under the pointer.
    const QString label = dragRows.size() > 1 ? tr("%1 (+%2)").arg(name).arg(dragRows.size() - 1) : name;
    const QFontMetrics metrics(font());
    QPixmap pixmap(metrics.horizontalAdvance(label) + 12, metrics.height() + 6);
    pixmap.fill(palette().color(QPalette::Highlight));
    {
        QPainter painter(&pixmap);
        painter.setPen(palette().color(QPalette::HighlightedText));
        painter.drawText(pixmap.rect(), Qt::AlignCenter, label);
    }
    drag->setPixmap(pixmap);
    drag->setHotSpot(QPoint(-8, -8));
    // The lists move the rows themselves on the drop; nothing is removed here afterwards.
    drag->exec(Qt::MoveAction);
    dragRows.clear();
}

void ColumnListTableWidget::dragEnterEvent(QDragEnterEvent* event) {
    if (event->mimeData()->hasFormat(QString::fromLatin1(kMimeType)) &&
        qobject_cast<ColumnListTableWidget*>(event->source())) {
        QTableWidget::dragEnterEvent(event);
        event->acceptProposedAction();
        return;
    }
    event->ignore();
}

void ColumnListTableWidget::dragMoveEvent(QDragMoveEvent* event) {
    if (!event->mimeData()->hasFormat(QString::fromLatin1(kMimeType)) ||
        !qobject_cast<ColumnListTableWidget*>(event->source())) {
        event->ignore();
        return;
    }
    QTableWidget::dragMoveEvent(event);
    event->acceptProposedAction();
    const int row = dropRow(event->position().toPoint());
    if (row != insertionRow) {
        insertionRow = row;
        viewport()->update();
    }
}

void ColumnListTableWidget::dragLeaveEvent(QDragLeaveEvent* event) {
    QTableWidget::dragLeaveEvent(event);
    insertionRow = -1;
    viewport()->update();
}

void ColumnListTableWidget::paintEvent(QPaintEvent* event) {
    QTableWidget::paintEvent(event);
    if (insertionRow < 0)
        return;
    int y = 1;
    if (insertionRow < rowCount())
        y = rowViewportPosition(insertionRow);
    else if (rowCount() > 0)
        y = rowViewportPosition(rowCount() - 1) + rowHeight(rowCount() - 1);
    QPainter painter(viewport());
    painter.fillRect(QRect(0, std::max(0, y - 1), viewport()->width(), 3),
                     palette().color(QPalette::Highlight));
}

void ColumnListTableWidget::dropEvent(QDropEvent* event) {
    if (!event->mimeData()->hasFormat(QString::fromLatin1(kMimeType)) ||
        !qobject_cast<ColumnListTableWidget*>(event->source())) {
        event->ignore();
        return;
    }
    insertionRow = -1;
    emit itemDroppedSignal(event);
    // The move is done; the view's own drop would insert the rows a second time.
    event->setDropAction(Qt::IgnoreAction);
    event->accept();
    setState(QAbstractItemView::NoState);
    viewport()->update();
}
