// Auto-fit of row heights and column widths for TableView. Large tables are sampled: every
// row (column) of the first hundred, then a step.

#include "view/tableview.h"

#include "table/tablemodel.h"
#include "view/frozentableview.h"
#include "view/sectionupdatesheld.h"
#include "view/tabledelegate.h"

#include <QCheckBox>
#include <QFontMetrics>
#include <QHeaderView>
#include <QMessageBox>
#include <QStyle>

#include <algorithm>

bool TableView::suppressAutoFitWarnings = false;
std::function<bool(const QString&, bool&)> TableView::autoFitWarningHook;

int TableView::calculateAutoFitRowHeight(int row, int sampleDivisor) const {
    const TableModel* m = tableModel();
    if (!m || row < 0 || row >= m->rowCount())
        return defaultRowHeight;
    const int margin = style()->pixelMetric(QStyle::PM_FocusFrameHMargin, nullptr, this);
    const int hPadding = 2 * margin + 2;
    const int vPadding = 2 * margin + 3;
    const int cols = m->columnCountModel();
    const int sampleStep = sampleDivisor > 0 ? cols / sampleDivisor : 0;
    const int step = sampleStep >= 2 ? sampleStep : 1;
    int largest = 0;
    bool capped = false;
    for (int c = numHeaderCols; c < cols; c += c < autoFitFullSampleCount ? 1 : step) {
        if (isColumnHidden(c))
            continue;
        const QModelIndex index = m->index(row, c);
        const QString text = m->data(index, Qt::DisplayRole).toString();
        if (text.isEmpty())
            continue;
        const QFontMetrics metrics(m->data(index, Qt::FontRole).value<QFont>());
        const QRect rect(0, 0, std::max(0, columnWidth(c) - hPadding - 1), 99999);
        const int height =
            metrics.boundingRect(rect, Qt::TextWordWrap | Qt::AlignLeft | Qt::AlignVCenter, text).height() +
            vPadding;
        if (height > maxAutoFitRowHeight) {
            largest = maxAutoFitRowHeight;
            capped = true;
            break;
        }
        largest = std::max(largest, height);
    }
    if (largest == 0 && !capped)
        return defaultRowHeight;
    largest = std::max(largest, std::min(defaultRowHeight, maxAutoFitRowHeight));
    return showGrid() ? largest + 1 : largest;
}

int TableView::estimateMaxWidthForColumnMainTable(int col, int sampleDivisor, int maxWidth, int minWidth,
                                                  bool& allEmpty) const {
    allEmpty = true;
    const TableModel* m = tableModel();
    if (!m || col < 0 || col >= m->columnCount())
        return minWidth;
    const int rows = m->rowCountModel();
    const int step = std::max(1, sampleDivisor > 0 ? rows / sampleDivisor : 1);
    const int padding = 2 * TableDelegate::textInset + 2;
    int widest = minWidth;

    struct Candidate {
        QString text;
        QFont font;
    };
    std::vector<Candidate> candidates;
    auto examine = [&](int r) {
        const QModelIndex index = m->index(r, col);
        const QString text = TableDelegate::shownLine(m->data(index, Qt::DisplayRole).toString());
        if (text.isEmpty())
            return;
        allEmpty = false;
        const QFont font = m->data(index, Qt::FontRole).value<QFont>();
        const QFontMetrics metrics(font);
        // Cheap estimate first: a text whose length times the average character is well under
        // the widest so far needs no measuring. Digits and capitals run wider than the average,
        // hence the margin of one half.
        if (static_cast<qint64>(text.size()) * metrics.averageCharWidth() * 3 / 2 + padding < widest)
            return;
        candidates.push_back({text, font});
        if (candidates.size() >= 64) {
            for (const Candidate& c : candidates)
                widest = std::max(widest, QFontMetrics(c.font).horizontalAdvance(c.text) + padding);
            candidates.clear();
        }
    };
    // Header rows are measured whole (their font is bold); the data below is sampled.
    for (int r = 0; r < std::min(numHeaderRows, rows); ++r)
        examine(r);
    for (int r = numHeaderRows; r < rows; r += r < autoFitFullSampleCount ? 1 : step) {
        examine(r);
        if (widest >= maxWidth)
            break;
    }
    // Only the widest texts are measured with the font metrics.
    std::sort(candidates.begin(), candidates.end(),
              [](const Candidate& a, const Candidate& b) { return a.text.size() > b.text.size(); });
    const std::size_t measured = std::min<std::size_t>(candidates.size(), 16);
    for (std::size_t i = 0; i < measured; ++i)
        widest = std::max(widest,
                          QFontMetrics(candidates[i].font).horizontalAdvance(candidates[i].text) + padding);
    return std::min(widest, maxWidth);
}

void TableView::enforceAutoFitRowHeight(bool force) {
    if ((!autoFitRowHeight && !force) || !tableModel())
        return;
    const int rows = tableModel()->rowCountModel();
    const SectionUpdatesHeld held({verticalHeader(), frozenView(1)->verticalHeader(),
                                   frozenView(2)->verticalHeader(), frozenView(3)->verticalHeader()});
    for (int r = 0; r < rows; ++r)
        enforceAutoFitRowHeight(r);
    enforceEmptyRowHeight();
}

void TableView::enforceAutoFitRowHeight(int row) {
    const int height = calculateAutoFitRowHeight(row, autoFitRowSampleDivisor);
    if (rowHeight(row) != height)
        setRowHeight(row, height);
}

void TableView::enforceAutoFitRowHeights(const std::vector<int>& rows) {
    // Commands ask after every change; with auto-fit off the user's heights stay.
    if (!autoFitRowHeight)
        return;
    for (int r : rows)
        enforceAutoFitRowHeight(r);
}

void TableView::enforceAutoFitColWidth(bool force) {
    if ((!autoFitColWidth && !force) || !tableModel())
        return;
    const int cols = tableModel()->columnCountModel();
    const SectionUpdatesHeld held({horizontalHeader(), frozenView(1)->horizontalHeader(),
                                   frozenView(2)->horizontalHeader(), frozenView(3)->horizontalHeader()});
    for (int c = 0; c < cols; ++c)
        enforceAutoFitColWidth(c);
    enforceEmptyColumnWidth();
}

void TableView::enforceAutoFitColWidth(int col) {
    bool allEmpty = true;
    const int minWidth = std::min(40, maxAutoFitColWidth);
    int width = estimateMaxWidthForColumnMainTable(col, autoFitColSampleDivisor, maxAutoFitColWidth, minWidth,
                                                   allEmpty);
    if (allEmpty)
        width = defaultColWidth;
    if (columnWidth(col) != width)
        setColumnWidth(col, width);
}

void TableView::enforceAutoFitColWidths(const std::vector<int>& cols) {
    if (!autoFitColWidth)
        return;
    for (int c : cols)
        enforceAutoFitColWidth(c);
}

void TableView::enforceEmptyRowHeight() {
    const TableModel* m = tableModel();
    if (!m)
        return;
    for (int r = m->rowCountModel(); r < m->rowCount(); ++r)
        if (rowHeight(r) != defaultRowHeight)
            setRowHeight(r, defaultRowHeight);
}

void TableView::enforceEmptyColumnWidth() {
    const TableModel* m = tableModel();
    if (!m)
        return;
    for (int c = m->columnCountModel(); c < m->columnCount(); ++c)
        if (columnWidth(c) != defaultColWidth)
            setColumnWidth(c, defaultColWidth);
}

void TableView::resizeColumnsToContents() {
    enforceAutoFitColWidth(true);
}

void TableView::setDefaultRowHeight(int height) {
    if (height <= 0)
        return;
    defaultRowHeight = height;
    // Qt reports every section of a changed default size one by one; on a million rows that
    // storm must not reach the frozen views, which get the same default directly.
    for (AbstractTableView* view :
         {static_cast<AbstractTableView*>(this), static_cast<AbstractTableView*>(frozenView(1)),
          static_cast<AbstractTableView*>(frozenView(2)), static_cast<AbstractTableView*>(frozenView(3))}) {
        const QSignalBlocker blocker(view->verticalHeader());
        view->verticalHeader()->setMinimumSectionSize(std::min(height, 4));
        view->verticalHeader()->setDefaultSectionSize(height);
    }
    setFrozenRowHeights(false);
    updateFrozenGeometry();
}

void TableView::setDefaultColumnWidth(int width) {
    if (width <= 0)
        return;
    defaultColWidth = width;
    for (AbstractTableView* view :
         {static_cast<AbstractTableView*>(this), static_cast<AbstractTableView*>(frozenView(1)),
          static_cast<AbstractTableView*>(frozenView(2)), static_cast<AbstractTableView*>(frozenView(3))}) {
        const QSignalBlocker blocker(view->horizontalHeader());
        view->horizontalHeader()->setDefaultSectionSize(width);
    }
    setFrozenColWidths(false);
    updateFrozenGeometry();
}

void TableView::setAutoFitRowHeight(bool on, bool apply) {
    autoFitRowHeight = on;
    if (ownsSettings)
        settings.setValue(AutoFitRowHeight, on);
    if (apply)
        enforceAutoFitRowHeight(false);
}

void TableView::setAutoFitColWidth(bool on, bool apply) {
    autoFitColWidth = on;
    if (ownsSettings)
        settings.setValue(AutoFitColumnWidth, on);
    if (apply)
        enforceAutoFitColWidth(false);
}

bool TableView::askAutoFitWarning(const QString& text, bool& suppress) {
    if (autoFitWarningHook)
        return autoFitWarningHook(text, suppress);
    QMessageBox box(QMessageBox::Question, QString(), text, QMessageBox::Yes | QMessageBox::No);
    auto* check = new QCheckBox(QStringLiteral("Don't show this again"));
    box.setCheckBox(check);
    const bool disable = box.exec() == QMessageBox::Yes;
    suppress = check->isChecked();
    return disable;
}

bool TableView::warnAutoFitIfLargeFile() {
    const TableModel* m = tableModel();
    if (suppressAutoFitWarnings || !m)
        return false;
    const int rows = m->rowCountModel();
    const int cols = m->columnCountModel();
    const bool manyRows = autoFitRowHeight && rows >= autoFitWarningThreshold;
    const bool manyCols = autoFitColWidth && cols >= autoFitWarningThreshold;
    QString text;
    if (manyRows && manyCols)
        text = QStringLiteral("This file has a lot of rows (%1) and columns (%2).\n").arg(rows).arg(cols) +
               QStringLiteral("Auto-Fit Row Height and Auto-Fit Column Width are enabled, so loading will "
                              "take a while.\n") +
               QStringLiteral("Would you like to disable them?");
    else if (manyCols)
        text = QStringLiteral("This file has a lot of columns (%1).\n").arg(cols) +
               QStringLiteral("Auto-Fit Column Width is enabled, so loading will take a while.\n") +
               QStringLiteral("Would you like to disable Auto-Fit Column Width?");
    else if (manyRows)
        text = QStringLiteral("This file has a lot of rows (%1).\n").arg(rows) +
               QStringLiteral("Auto-Fit Row Height is enabled, so loading will take a while.\n") +
               QStringLiteral("Would you like to disable Auto-Fit Row Height?");
    else
        return false;
    bool suppress = false;
    const bool disable = askAutoFitWarning(text, suppress);
    if (suppress != suppressAutoFitWarnings) {
        suppressAutoFitWarnings = suppress;
        emit suppressAutoFitWarningsChangedSignal(suppress);
    }
    if (disable) {
        if (manyRows) {
            autoFitRowHeight = false;
            if (ownsSettings)
                settings.setValue(AutoFitRowHeight, false);
        }
        if (manyCols) {
            autoFitColWidth = false;
            if (ownsSettings)
                settings.setValue(AutoFitColumnWidth, false);
        }
    }
    return true;
}

void TableView::setSelectedRowHeights(int height) {
    TableModel* m = tableModel();
    if (!m || height <= 0)
        return;
    std::vector<int> rows;
    m->getOrderedSetOfSelectedRows(rows);
    for (const int row : rows)
        setRowHeight(row, height);
    setFrozenRowHeights(false);
    updateFrozenGeometry();
}

void TableView::setSelectedColumnWidths(int width) {
    TableModel* m = tableModel();
    if (!m || width <= 0)
        return;
    std::vector<int> cols;
    m->getOrderedSetOfSelectedCols(cols);
    for (const int col : cols)
        setColumnWidth(col, width);
    setFrozenColWidths(false);
    updateFrozenGeometry();
}

void TableView::setMaxAutoFitRowHeight(int height) {
    if (height <= 0)
        return;
    maxAutoFitRowHeight = height;
    settings.setValue(MaxAutoFitRowHeight, height);
    enforceAutoFitRowHeight(false);
}

void TableView::setMaxAutoFitColWidth(int width) {
    if (width <= 0)
        return;
    maxAutoFitColWidth = width;
    settings.setValue(MaxAutoFitColumnWidth, width);
    enforceAutoFitColWidth(false);
}
