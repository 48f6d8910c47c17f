#include "analysis/analysisheaderwidget.h"

#include "analysis/analysistablemodel.h"

#include <QHeaderView>
#include <QItemSelectionModel>

#include <algorithm>
#include <set>

AnalysisHeaderWidget::AnalysisHeaderWidget(Axis axis, QWidget* parent)
    : QTableView(parent), axis(axis), headerModel(new AnalysisTableModel(this)) {
    setModel(headerModel);
    horizontalHeader()->hide();
    verticalHeader()->hide();
    setEditTriggers(QAbstractItemView::NoEditTriggers);
    setSelectionMode(QAbstractItemView::ExtendedSelection);
    setWordWrap(false);
    setHorizontalScrollMode(QAbstractItemView::ScrollPerPixel);
    setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    // The grid beside it scrolls; the header follows it.
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setFocusPolicy(Qt::ClickFocus);
    setObjectName(axis == Axis::Row ? QStringLiteral("leftHeader") : QStringLiteral("topHeader"));
}

void AnalysisHeaderWidget::setShape(int lines, int levels) {
    clearSpans();
    headerModel->clear();
    if (axis == Axis::Row) {
        headerModel->setRowCount(lines);
        headerModel->setColumnCount(levels);
    } else {
        headerModel->setRowCount(levels);
        headerModel->setColumnCount(lines);
    }
    // Header texts sit in the middle of their span, as the outer levels of a header do.
    for (int i = 0; i < headerModel->rowCount(); ++i)
        headerModel->setTextRow(i, true);
}

void AnalysisHeaderWidget::setSpan(int level, int line, int count) {
    if (count < 2)
        return;
    if (axis == Axis::Row)
        QTableView::setSpan(line, level, count, 1);
    else
        QTableView::setSpan(level, line, 1, count);
}

QString AnalysisHeaderWidget::text(int level, int line) const {
    return axis == Axis::Row ? headerModel->cellText(line, level) : headerModel->cellText(level, line);
}

std::vector<int> AnalysisHeaderWidget::selectedLines() const {
    std::set<int> lines;
    if (!selectionModel())
        return {};
    for (const QModelIndex& i : selectionModel()->selectedIndexes()) {
        const int line = axis == Axis::Row ? i.row() : i.column();
        const int span = axis == Axis::Row ? rowSpan(i.row(), i.column()) : columnSpan(i.row(), i.column());
        for (int k = 0; k < std::max(1, span); ++k)
            lines.insert(line + k);
    }
    return {lines.begin(), lines.end()};
}

QSize AnalysisHeaderWidget::sizeHint() const {
    return {horizontalHeader()->length() + 2 * frameWidth(), verticalHeader()->length() + 2 * frameWidth()};
}
