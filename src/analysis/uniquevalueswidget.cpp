#include "analysis/uniquevalueswidget.h"

#include "analysis/analysistablemodel.h"
#include "analysis/analysistableview.h"
#include "table/columnscan.h"
#include "table/tablemodel.h"
#include "util/numberutilities.h"

#include <QAction>
#include <QHeaderView>
#include <QItemSelectionModel>
#include <QLocale>
#include <QMenu>

#include <set>

namespace {

// The direction marks of a sorted column's title.

} // namespace

UniqueValuesWidget::UniqueValuesWidget(TableModel* model, const Settings& settings, QWidget* parent)
    : AnalysisTab(model, parent) {
    setObjectName(QStringLiteral("uniqueValuesWidget"));
    // One row per value under titled columns, rather than one column per table column.
    view->horizontalHeader()->setVisible(true);
    view->verticalHeader()->setVisible(false);
    view->setSelectionBehavior(QAbstractItemView::SelectRows);
    constructButtons();
    propagateSettings(settings);
    view->analysisModel()->setCellFunctions([this](int row, int col) { return cellText(row, col); },
                                            [this](int row, int col) { return cellFraction(row, col); });
    connect(view->horizontalHeader(), &QHeaderView::sectionDoubleClicked, this,
            &UniqueValuesWidget::onHorizontalSectionDoubleClicked);
    // A click on a title sorts (with its double click) rather than selecting every value,
    // which Filter would then take as the user's pick.
    disconnect(view->horizontalHeader(), &QHeaderView::sectionPressed, view, nullptr);
    disconnect(view->horizontalHeader(), &QHeaderView::sectionEntered, view, nullptr);
    // The order shows as the header's own mark, out of the titles that a copy takes. Titles
    // that take clicks would flip the mark on a single click without sorting.
    view->horizontalHeader()->setSectionsClickable(false);
    view->horizontalHeader()->setSortIndicatorShown(true);
}

UniqueValuesWidget::UniqueValuesWidget(TableModel* model, ColumnRangeType range, const Settings& settings,
                                       QWidget* parent)
    : UniqueValuesWidget(model, settings, parent) {
    compute(range);
}

UniqueValuesWidget::~UniqueValuesWidget() {
    emit destroyedSignal();
}

TableModel* UniqueValuesWidget::getCountedModel() const {
    return countedModel;
}

void UniqueValuesWidget::constructButtons() {
    addCopyButton();

    QMenu* refresh = nullptr;
    addMenuButton(tr("Refresh Data"), refresh);
    refresh->addAction(tr("Same Column"), this, [this] { compute(SameColumn); });
    refresh->addAction(tr("Selected Column"), this, [this] { compute(SelectedColumn); });

    QMenu* filter = nullptr;
    addMenuButton(tr("Filter"), filter);
    filter->addAction(tr("Selected Values In"), this, &UniqueValuesWidget::filterInSelectedValues);
    filter->addAction(tr("Selected Values Out"), this, &UniqueValuesWidget::filterOutSelectedValues);
    filter->addAction(tr("Remove Filter"), this, &UniqueValuesWidget::removeFilter);

    QMenu* options = nullptr;
    addMenuButton(tr("Options"), options);
    thousandsAction =
        addOption(options, tr("Use Thousands Separators"), useThousandsSeparators, [this](bool on) {
            setUseThousandsSeparators(on);
            emit thousandsSeparatorsToggledSignal(on);
        });
    excludeEmptyAction = addOption(options, tr("Exclude Empty Cells"), excludeEmptyCells, [this](bool on) {
        setExcludeEmptyCells(on);
        emit excludeEmptyCellsToggledSignal(on);
    });
}

bool UniqueValuesWidget::compute(ColumnRangeType range) {
    if (!tableModel)
        return false;
    int column = countedCol;
    if (range == SelectedColumn)
        column = tableModel->getMainCell().col;
    else if (countedModel != tableModel)
        return false; // the column counted last belongs to another table
    return populateTableWithValues(column);
}

bool UniqueValuesWidget::populateTableWithValues(int column) {
    TableModel* model = tableModel;
    if (!model || column < 0 || column >= model->columnCountModel())
        return false;
    const std::vector<CellSource> sources = ColumnScan::columnSources(*model, {column});
    if (sources.empty())
        return false;
    const CellSource& source = sources.front();
    std::vector<UniqueValue> counted;
    const bool exclude = excludeEmptyCells;
    const bool finished = runScan(qint64(source.cells.size()), tr("Counting values..."), tr("Unique Values"),
                                  [&](TableModelWorker* worker) {
                                      return UniqueValues::countValues(model->getTableData(), source.cells,
                                                                       exclude, counted, worker);
                                  });
    if (!finished)
        return false;
    values = std::move(counted);
    highestCount = UniqueValues::highestCount(values);
    countedModel = model;
    countedCol = column;
    countedRawCol = model->getRawFromModelCol(column);
    countedLabel = source.title;
    sortedColumn = UniqueValues::ValueColumn;
    sortedAscending = true;

    AnalysisTableModel* grid = view->analysisModel();
    grid->clear();
    grid->setRowCount(int(values.size()));
    grid->setColumnCount(4);
    grid->setColumnSelectable(UniqueValues::HistogramColumn, false);
    grid->setTextColumn(UniqueValues::ValueColumn, true);
    writeHeaders();
    view->clearSelection();
    fitColumns(90);
    // A bar as wide as a percent column at least, so that small shares still show.
    view->setColumnWidth(UniqueValues::HistogramColumn,
                         std::max(view->columnWidth(UniqueValues::HistogramColumn), 160));
    emit computedSignal();
    return true;
}

void UniqueValuesWidget::writeHeaders() {
    view->analysisModel()->setHeaderData(Qt::Horizontal,
                                         {countedLabel, tr("Count"), tr("Percent"), tr("Histogram")});
    // Count, percent and bar order alike: the mark goes on the column that was double-clicked.
    view->horizontalHeader()->setSortIndicator(sortedColumn,
                                               sortedAscending ? Qt::AscendingOrder : Qt::DescendingOrder);
}

QString UniqueValuesWidget::cellText(int row, int col) const {
    if (row < 0 || std::size_t(row) >= values.size())
        return {};
    const UniqueValue& value = values[std::size_t(row)];
    switch (col) {
    case UniqueValues::ValueColumn:
        return value.value;
    case UniqueValues::CountColumn:
        return Utilities::convertNumberToString(value.count, useThousandsSeparators);
    case UniqueValues::PercentColumn:
        return tr("%1%").arg(QLocale::system().toString(value.percent, 'f', 1));
    default:
        return QString(QLatin1String(""));
    }
}

double UniqueValuesWidget::cellFraction(int row, int col) const {
    if (col != UniqueValues::HistogramColumn || row < 0 || std::size_t(row) >= values.size() ||
        highestCount <= 0)
        return -1.0;
    // The most frequent value fills its cell.
    return double(values[std::size_t(row)].count) / double(highestCount);
}

void UniqueValuesWidget::sortColumn(int column) {
    if (column < 0 || column > UniqueValues::HistogramColumn || values.empty())
        return;
    if (column == sortedColumn) {
        sortedAscending = !sortedAscending;
    } else {
        sortedColumn = column;
        // Values read A to Z first; counts most frequent first, which is what one looks for.
        sortedAscending = column == UniqueValues::ValueColumn;
    }
    UniqueValues::sortValues(values, UniqueValues::SortColumn(sortedColumn), sortedAscending);
    view->clearSelection();
    writeHeaders();
    view->analysisModel()->refreshAll();
}

void UniqueValuesWidget::onHorizontalSectionDoubleClicked(int column) {
    sortColumn(column);
}

void UniqueValuesWidget::refreshCountColumn() {
    // The texts are made as they show: repainting the column is all it takes.
    AnalysisTableModel* grid = view->analysisModel();
    if (grid->rowCount() > 0)
        emit grid->dataChanged(grid->index(0, UniqueValues::CountColumn),
                               grid->index(grid->rowCount() - 1, UniqueValues::CountColumn));
    view->resizeColumnToContents(UniqueValues::CountColumn);
}

void UniqueValuesWidget::setUseThousandsSeparators(bool on, bool refresh) {
    if (thousandsAction && thousandsAction->isChecked() != on) {
        const QSignalBlocker block(thousandsAction);
        thousandsAction->setChecked(on);
    }
    if (useThousandsSeparators == on)
        return;
    useThousandsSeparators = on;
    if (refresh)
        refreshCountColumn();
}

void UniqueValuesWidget::setExcludeEmptyCells(bool on, bool refresh) {
    if (excludeEmptyAction && excludeEmptyAction->isChecked() != on) {
        const QSignalBlocker block(excludeEmptyAction);
        excludeEmptyAction->setChecked(on);
    }
    if (excludeEmptyCells == on)
        return;
    excludeEmptyCells = on;
    // The counts and shares change: the column shown is counted again.
    if (refresh && countedModel && countedModel == tableModel)
        populateTableWithValues(countedCol);
}

QStringList UniqueValuesWidget::selectedValues() const {
    std::set<int> rows;
    if (view->selectionModel()) {
        for (const QModelIndex& index : view->selectionModel()->selectedIndexes())
            rows.insert(index.row());
    }
    QStringList out;
    for (const int row : rows) {
        if (row >= 0 && std::size_t(row) < values.size())
            out.append(values[std::size_t(row)].value);
    }
    return out;
}

void UniqueValuesWidget::sendFilter(bool keep) {
    const QStringList chosen = selectedValues();
    if (chosen.isEmpty() || !countedModel || countedRawCol < 0)
        return;
    emit includeFilterInListSignal(UniqueValues::makeFilter(countedRawCol, chosen, keep));
}

void UniqueValuesWidget::filterInSelectedValues() {
    sendFilter(true);
}

void UniqueValuesWidget::filterOutSelectedValues() {
    sendFilter(false);
}

void UniqueValuesWidget::removeFilter() {
    if (!countedModel || countedRawCol < 0)
        return;
    emit removeFilterSignal(Range(countedRawCol, RangeType::Col, RangeIndexType::Raw));
}
