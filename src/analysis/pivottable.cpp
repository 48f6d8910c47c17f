#include "analysis/pivottable.h"

#include "analysis/analysisheaderwidget.h"
#include "analysis/analysistablemodel.h"
#include "analysis/analysistableview.h"

#include <QApplication>
#include <QClipboard>
#include <QContextMenuEvent>
#include <QGridLayout>
#include <QHeaderView>
#include <QItemSelectionModel>
#include <QLabel>
#include <QMenu>
#include <QScrollBar>
#include <QStyle>

#include <algorithm>
#include <set>

namespace {

// A grid larger than this scrolls inside its own frame, so that the grids beside it stay in view.
constexpr int kMaxValuesWidth = 900;
constexpr int kMaxValuesHeight = 420;
// Header columns wider than this cut their texts; the tooltip-free grid keeps its place.
constexpr int kMaxHeaderColWidth = 260;
// Only so many lines are measured for widths; the rest take the widest of them.
constexpr int kMeasuredLines = 200;

// A header text of several lines shows its first line and "…", as the table's cells do; a copy
// takes it whole.
QString firstLine(const QString& text) {
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (text.at(i) == u'\n' || text.at(i) == u'\r')
            return text.left(i) + QChar(0x2026);
    }
    return text;
}

} // namespace

PivotTable::PivotTable(QWidget* parent)
    : QWidget(parent), titleLabel(new QLabel(this)), corner(new AnalysisHeaderWidget(Axis::Col, this)),
      leftHeader(new AnalysisHeaderWidget(Axis::Row, this)),
      topHeader(new AnalysisHeaderWidget(Axis::Col, this)),
      valuesView(new AnalysisTableView(false, false, this)) {
    setObjectName(QStringLiteral("pivotTable"));
    titleLabel->setObjectName(QStringLiteral("pivotTableTitle"));
    QFont bold = titleLabel->font();
    bold.setBold(true);
    titleLabel->setFont(bold);
    corner->setObjectName(QStringLiteral("pivotTableCorner"));
    corner->setSelectionMode(QAbstractItemView::NoSelection);
    valuesView->letParentControlContextMenu();
    valuesView->setHorizontalScrollMode(QAbstractItemView::ScrollPerPixel);
    valuesView->setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    valuesView->setObjectName(QStringLiteral("pivotTableValues"));

    auto* layout = new QGridLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(titleLabel, 0, 0, 1, 2);
    layout->addWidget(corner, 1, 0, Qt::AlignRight | Qt::AlignBottom);
    layout->addWidget(topHeader, 1, 1, Qt::AlignLeft | Qt::AlignBottom);
    layout->addWidget(leftHeader, 2, 0, Qt::AlignRight | Qt::AlignTop);
    layout->addWidget(valuesView, 2, 1, Qt::AlignLeft | Qt::AlignTop);
    layout->setRowStretch(3, 1);
    layout->setColumnStretch(2, 1);

    // The headers follow the values as they scroll.
    connect(valuesView->horizontalScrollBar(), &QScrollBar::valueChanged, topHeader->horizontalScrollBar(),
            &QScrollBar::setValue);
    connect(valuesView->verticalScrollBar(), &QScrollBar::valueChanged, leftHeader->verticalScrollBar(),
            &QScrollBar::setValue);
    connect(leftHeader->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            &PivotTable::onLeftHeaderSelectionChanged);
    connect(topHeader->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            &PivotTable::onTopHeaderSelectionChanged);
}

QString PivotTable::getTitle() const {
    return grid.title;
}

void PivotTable::setup(const Pivot::Grid& newGrid, std::shared_ptr<const Pivot::Result> newResult,
                       bool groups) {
    grid = newGrid;
    result = std::move(newResult);
    useGroups = groups;
    titleLabel->setText(grid.title);

    const int rows = int(grid.rows.size());
    const int cols = int(grid.cols.size());
    AnalysisTableModel* values = valuesView->analysisModel();
    values->clear();
    values->setRowCount(rows);
    values->setColumnCount(cols);
    // Texts are made when a cell shows or is copied: a grid of a key column with a value per row
    // would otherwise format every one of them up front.
    values->setCellFunctions([this](int r, int c) {
        return result ? Pivot::cellText(grid, *result, r, c, useGroups) : QString();
    });

    const int left = grid.rowLevels();
    leftHeader->setShape(rows, left);
    leftHeader->analysisModel()->setCellFunctions([this](int r, int level) {
        const std::vector<QString> texts = grid.rowHeader(r);
        return std::size_t(level) < texts.size() ? firstLine(texts[std::size_t(level)]) : QString();
    });
    const int top = grid.colLevels();
    corner->setShape(left, top);
    corner->analysisModel()->setCellFunctions([this](int level, int c) {
        const std::vector<std::vector<QString>> cells = grid.cornerCells();
        return std::size_t(level) < cells.size() && std::size_t(c) < cells[std::size_t(level)].size()
                   ? cells[std::size_t(level)][std::size_t(c)]
                   : QString();
    });
    topHeader->setShape(cols, top);
    topHeader->analysisModel()->setCellFunctions([this](int level, int c) {
        const std::vector<QString> texts = grid.colHeader(c);
        return std::size_t(level) < texts.size() ? firstLine(texts[std::size_t(level)]) : QString();
    });
    // Runs of equal outer values show as one cell; the innermost level is distinct line by line.
    const auto spans = [](AnalysisHeaderWidget* header, const std::vector<Pivot::Line>& lines, int levels) {
        std::vector<Pivot::Key> keys;
        keys.reserve(lines.size());
        for (const Pivot::Line& line : lines)
            keys.push_back(line.key);
        for (int level = 0; level + 1 < levels; ++level) {
            const std::vector<int> runs = Pivot::runLengths(keys, level);
            for (std::size_t i = 0; i < runs.size(); ++i)
                header->setSpan(level, int(i), runs[i]);
        }
    };
    if (grid.rowsAreKeys)
        spans(leftHeader, grid.rows, left);
    if (grid.colsAreKeys)
        spans(topHeader, grid.cols, top);
    fitSizes();
}

void PivotTable::fitSizes() {
    const int rowHeight = valuesView->verticalHeader()->defaultSectionSize();
    for (QTableView* v : {static_cast<QTableView*>(valuesView), static_cast<QTableView*>(leftHeader),
                          static_cast<QTableView*>(topHeader), static_cast<QTableView*>(corner)}) {
        v->verticalHeader()->setDefaultSectionSize(rowHeight);
        v->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    }
    // A value column is as wide as its widest value or header text, in both grids alike.
    const int cols = valuesView->analysisModel()->columnCount();
    const int measured = std::min(cols, kMeasuredLines);
    int widest = 40;
    for (int c = 0; c < measured; ++c) {
        valuesView->resizeColumnToContents(c);
        topHeader->resizeColumnToContents(c);
        const int w = std::max({40, valuesView->columnWidth(c), topHeader->columnWidth(c)});
        valuesView->setColumnWidth(c, w);
        topHeader->setColumnWidth(c, w);
        widest = std::max(widest, w);
    }
    // One width for all past the measured ones, set at once: a grid may have a column per value of
    // a key column.
    if (cols > measured) {
        valuesView->horizontalHeader()->setDefaultSectionSize(widest);
        topHeader->horizontalHeader()->setDefaultSectionSize(widest);
    }
    // A header level is as wide as its values or its title over them.
    for (int level = 0; level < leftHeader->analysisModel()->columnCount(); ++level) {
        leftHeader->resizeColumnToContents(level);
        corner->resizeColumnToContents(level);
        const int w = std::clamp(std::max(leftHeader->columnWidth(level), corner->columnWidth(level)), 30,
                                 kMaxHeaderColWidth);
        leftHeader->setColumnWidth(level, w);
        corner->setColumnWidth(level, w);
    }

    const int frame = 2 * valuesView->frameWidth();
    const int contentWidth = valuesView->horizontalHeader()->length();
    const int contentHeight = valuesView->verticalHeader()->length();
    const int bar = valuesView->style()->pixelMetric(QStyle::PM_ScrollBarExtent);
    bool hBar = contentWidth > kMaxValuesWidth;
    bool vBar = contentHeight > kMaxValuesHeight;
    const int viewWidth = std::min(contentWidth, kMaxValuesWidth) + frame + (vBar ? bar : 0);
    const int viewHeight = std::min(contentHeight, kMaxValuesHeight) + frame + (hBar ? bar : 0);
    valuesView->setFixedSize(std::max(viewWidth, 20), std::max(viewHeight, 20));
    valuesView->setHorizontalScrollBarPolicy(hBar ? Qt::ScrollBarAlwaysOn : Qt::ScrollBarAlwaysOff);
    valuesView->setVerticalScrollBarPolicy(vBar ? Qt::ScrollBarAlwaysOn : Qt::ScrollBarAlwaysOff);

    const int leftWidth = leftHeader->horizontalHeader()->length() + 2 * leftHeader->frameWidth();
    const int topHeight = topHeader->verticalHeader()->length() + 2 * topHeader->frameWidth();
    // The headers stop where the values' scroll bars begin, so their lines stay in step.
    leftHeader->setFixedSize(leftWidth, viewHeight - (hBar ? bar : 0));
    topHeader->setFixedSize(viewWidth - (vBar ? bar : 0), topHeight);
    corner->setFixedSize(leftWidth, topHeight);
}

void PivotTable::refreshDataDisplay(bool groups) {
    useGroups = groups;
    valuesView->analysisModel()->refreshAll();
    fitSizes();
}

void PivotTable::onLeftHeaderSelectionChanged() {
    const std::vector<int> lines = leftHeader->selectedLines();
    if (lines.empty())
        return;
    QItemSelection selection;
    const int last = valuesView->analysisModel()->columnCount() - 1;
    for (const int r : lines)
        selection.select(valuesView->analysisModel()->index(r, 0),
                         valuesView->analysisModel()->index(r, last));
    valuesView->selectionModel()->select(selection, QItemSelectionModel::ClearAndSelect);
}

void PivotTable::onTopHeaderSelectionChanged() {
    const std::vector<int> lines = topHeader->selectedLines();
    if (lines.empty())
        return;
    QItemSelection selection;
    const int last = valuesView->analysisModel()->rowCount() - 1;
    for (const int c : lines)
        selection.select(valuesView->analysisModel()->index(0, c),
                         valuesView->analysisModel()->index(last, c));
    valuesView->selectionModel()->select(selection, QItemSelectionModel::ClearAndSelect);
}

void PivotTable::onSelectAll() {
    valuesView->selectAll();
}

std::vector<std::vector<QString>> PivotTable::tableTexts(bool selectedOnly) const {
    std::vector<int> rows;
    std::vector<int> cols;
    if (selectedOnly) {
        std::set<int> r;
        std::set<int> c;
        for (const QModelIndex& i : valuesView->selectionModel()->selectedIndexes()) {
            r.insert(i.row());
            c.insert(i.column());
        }
        rows.assign(r.begin(), r.end());
        cols.assign(c.begin(), c.end());
        if (rows.empty())
            return {};
    } else {
        for (int r = 0; r < int(grid.rows.size()); ++r)
            rows.push_back(r);
        for (int c = 0; c < int(grid.cols.size()); ++c)
            cols.push_back(c);
    }
    const int left = grid.rowLevels();
    const int top = grid.colLevels();
    const std::vector<std::vector<QString>> cornerCells = grid.cornerCells();
    std::vector<std::vector<QString>> out;
    // A copied header names every line in full, so that the rows stand alone where they are pasted.
    for (int level = 0; level < top; ++level) {
        std::vector<QString> line = cornerCells[std::size_t(level)];
        for (const int c : cols) {
            const std::vector<QString> texts = grid.colHeader(c);
            line.push_back(std::size_t(level) < texts.size() ? texts[std::size_t(level)] : QString());
        }
        out.push_back(std::move(line));
    }
    for (const int r : rows) {
        std::vector<QString> line = grid.rowHeader(r);
        line.resize(std::size_t(left));
        for (const int c : cols)
            line.push_back(result ? Pivot::cellText(grid, *result, r, c, useGroups) : QString());
        out.push_back(std::move(line));
    }
    return out;
}

void PivotTable::copyTable(bool selectedOnly) const {
    const std::vector<std::vector<QString>> rows = tableTexts(selectedOnly);
    if (!rows.empty())
        QApplication::clipboard()->setMimeData(AnalysisTableView::mimeDataOf(rows));
}

void PivotTable::contextMenuEvent(QContextMenuEvent* event) {
    QMenu menu(this);
    QAction* selected = menu.addAction(tr("Copy Selected Cells"), this, [this] { copyTable(true); });
    selected->setEnabled(valuesView->selectionModel()->hasSelection());
    menu.addAction(tr("Copy Entire Table"), this, [this] { copyTable(false); });
    menu.addSeparator();
    menu.addAction(tr("Select All"), this, &PivotTable::onSelectAll);
    menu.exec(event->globalPos());
}
