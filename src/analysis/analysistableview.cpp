#include "analysis/analysistableview.h"

#include "analysis/analysistablemodel.h"
#include "analysis/percentbardelegate.h"
#include "util/clipboardutilities.h"

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QContextMenuEvent>
#include <QHeaderView>
#include <QMenu>
#include <QMimeData>

#include <algorithm>
#include <climits>

AnalysisTableView::AnalysisTableView(bool showHorizontalHeader, bool showVerticalHeader, QWidget* parent)
    : QTableView(parent), tableModel(new AnalysisTableModel(this)), delegate(new PercentBarDelegate(this)) {
    setModel(tableModel);
    setItemDelegate(delegate);
    delegate->setColors(barColor, backgroundColor);
    horizontalHeader()->setVisible(showHorizontalHeader);
    verticalHeader()->setVisible(showVerticalHeader);
    setEditTriggers(QAbstractItemView::NoEditTriggers);
    setSelectionMode(QAbstractItemView::ExtendedSelection);
    setWordWrap(false);

    auto* copy = new QAction(tr("Copy"), this);
    copy->setShortcut(QKeySequence::Copy);
    copy->setShortcutContext(Qt::WidgetShortcut);
    connect(copy, &QAction::triggered, this, &AnalysisTableView::onCopy);
    addAction(copy);
    auto* all = new QAction(tr("Select All"), this);
    all->setShortcut(QKeySequence::SelectAll);
    all->setShortcutContext(Qt::WidgetShortcut);
    connect(all, &QAction::triggered, this, &AnalysisTableView::onSelectAll);
    addAction(all);
}

void AnalysisTableView::setPercentBarColor(const QColor& color) {
    if (color == barColor)
        return;
    barColor = color;
    delegate->setColors(barColor, backgroundColor);
    viewport()->update();
    emit percentBarColorChangedSignal(color);
}

void AnalysisTableView::setPercentBackgroundColor(const QColor& color) {
    if (color == backgroundColor)
        return;
    backgroundColor = color;
    delegate->setColors(barColor, backgroundColor);
    viewport()->update();
    emit percentBackgroundColorChangedSignal(color);
}

void AnalysisTableView::onCopy() {
    copySelectedCellsToClipboard();
}

void AnalysisTableView::onSelectAll() {
    selectAll();
}

void AnalysisTableView::contextMenuEvent(QContextMenuEvent* event) {
    if (parentMenu) {
        event->ignore();
        return;
    }
    QMenu menu(this);
    QAction* copy = menu.addAction(tr("Copy"), this, &AnalysisTableView::onCopy);
    copy->setEnabled(selectionModel() && selectionModel()->hasSelection());
    menu.addAction(tr("Copy Whole Table"), this, [this] { copyTableToClipboard(true); });
    menu.addSeparator();
    menu.addAction(tr("Select All"), this, &AnalysisTableView::onSelectAll);
    menu.exec(event->globalPos());
}

std::vector<std::vector<QString>> AnalysisTableView::selectedCellTexts() const {
    const QModelIndexList indexes =
        selectionModel() ? selectionModel()->selectedIndexes() : QModelIndexList();
    if (indexes.isEmpty())
        return {};
    int top = INT_MAX, left = INT_MAX, bottom = -1, right = -1;
    for (const QModelIndex& i : indexes) {
        top = std::min(top, i.row());
        left = std::min(left, i.column());
        bottom = std::max(bottom, i.row());
        right = std::max(right, i.column());
    }
    std::vector<std::vector<QString>> rows(std::size_t(bottom - top + 1),
                                           std::vector<QString>(std::size_t(right - left + 1)));
    for (const QModelIndex& i : indexes)
        rows[std::size_t(i.row() - top)][std::size_t(i.column() - left)] =
            tableModel->cellText(i.row(), i.column());
    return rows;
}

std::vector<std::vector<QString>> AnalysisTableView::tableTexts(bool includeHeaders) const {
    const int rowCount = tableModel->rowCount();
    const int colCount = tableModel->columnCount();
    const bool rowLabels = includeHeaders && !verticalHeader()->isHidden();
    const bool colLabels = includeHeaders && !horizontalHeader()->isHidden();
    std::vector<std::vector<QString>> rows;
    if (colLabels) {
        std::vector<QString> labels;
        if (rowLabels)
            labels.emplace_back();
        for (int c = 0; c < colCount; ++c) {
            if (!isColumnHidden(c))
                labels.push_back(tableModel->headerData(c, Qt::Horizontal).toString());
        }
        rows.push_back(std::move(labels));
    }
    for (int r = 0; r < rowCount; ++r) {
        if (isRowHidden(r))
            continue;
        std::vector<QString> row;
        if (rowLabels)
            row.push_back(tableModel->headerData(r, Qt::Vertical).toString());
        // What the user doesn't see isn't copied: the columns hidden for having no data.
        for (int c = 0; c < colCount; ++c) {
            if (!isColumnHidden(c))
                row.push_back(tableModel->cellText(r, c));
        }
        rows.push_back(std::move(row));
    }
    return rows;
}

QMimeData* AnalysisTableView::mimeDataOf(const std::vector<std::vector<QString>>& rows) {
    QString comma;
    QString tab;
    for (const std::vector<QString>& row : rows) {
        for (std::size_t c = 0; c < row.size(); ++c) {
            QString csvField = row[c];
            QString tabField = row[c];
            Utilities::convertCellValueRawToQuotes(csvField);
            Utilities::convertCellValueToTabField(tabField);
            if (c > 0) {
                comma += QLatin1Char(',');
                tab += QLatin1Char('\t');
            }
            comma += csvField;
            tab += tabField;
        }
        comma += QLatin1Char('\n');
        tab += QLatin1Char('\n');
    }
    auto* mime = new QMimeData;
    mime->setText(tab);
    mime->setData(QStringLiteral("text/csv"), comma.toUtf8());
    return mime;
}

void AnalysisTableView::copySelectedCellsToClipboard() const {
    const std::vector<std::vector<QString>> rows = selectedCellTexts();
    if (!rows.empty())
        QApplication::clipboard()->setMimeData(mimeDataOf(rows));
}

void AnalysisTableView::copyTableToClipboard(bool includeHeaders) const {
    QApplication::clipboard()->setMimeData(mimeDataOf(tableTexts(includeHeaders)));
}
