#include "analysis/statisticswidget.h"

#include "analysis/analysistablemodel.h"
#include "analysis/analysistableview.h"
#include "preferences/settings.h"
#include "table/tablemodel.h"
#include "util/numberutilities.h"

#include <QAction>
#include <QHeaderView>
#include <QMenu>

#include <cmath>

namespace {

// Twelve significant digits: the last few of a double's are the rounding of the arithmetic
// (a percentile of 9,999.8 comes out as 9,999.800000000148), which only makes a column harder
// to read.
double roundedForDisplay(double value) {
    if (!std::isfinite(value) || value == 0)
        return value;
    return QString::number(value, 'g', 12).toDouble();
}

} // namespace

StatisticsWidget::StatisticsWidget(TableModel* model, const Settings& settings, QWidget* parent)
    : AnalysisTab(model, parent) {
    setObjectName(QStringLiteral("statisticsWidget"));
    constructButtons();
    propagateSettings(settings);
    view->analysisModel()->setCellFunctions([this](int row, int col) { return cellText(row, col); });
}

StatisticsWidget::StatisticsWidget(TableModel* model, RangeType range, const Settings& settings,
                                   QWidget* parent)
    : StatisticsWidget(model, settings, parent) {
    compute(range);
}

void StatisticsWidget::constructButtons() {
    addCopyButton();

    QMenu* refresh = nullptr;
    addMenuButton(tr("Refresh Data"), refresh);
    refresh->addAction(tr("Same Columns"), this, &StatisticsWidget::onRefreshSameColsButtonClicked);
    refresh->addAction(tr("Selected Columns"), this, [this] { compute(SelectedColumns); });
    refresh->addAction(tr("All Columns"), this, [this] { compute(AllColumns); });
    refresh->addAction(tr("Selected Cells"), this, [this] { compute(SelectedCells); });
    refresh->addAction(tr("Selection by Columns"), this, [this] { compute(SelectionByColumns); });

    QMenu* options = nullptr;
    addMenuButton(tr("Options"), options);
    thousandsAction =
        addOption(options, tr("Use Thousands Separators"), useThousandsSeparators, [this](bool on) {
            setUseThousandsSeparators(on);
            emit thousandsSeparatorsToggledSignal(on);
        });
    hideAction = addOption(options, tr("Hide Columns with No Data"), hideColsWithNoData, [this](bool on) {
        setHideColsWithNoData(on);
        emit hideColsWithNoDataToggledSignal(on);
    });
}

bool StatisticsWidget::compute(RangeType range) {
    if (!tableModel)
        return false;
    lastRange = range;
    switch (range) {
    case SelectedColumns:
        tableModel->getOrderedSetOfSelectedCols(lastCols);
        return computeSources(ColumnScan::columnSources(*tableModel, lastCols));
    case AllColumns:
        lastCols.clear();
        return computeSources(ColumnScan::allColumnSources(*tableModel));
    case SelectedCells:
        lastSources = ColumnScan::selectedCellsSource(*tableModel);
        return computeSources(lastSources);
    case SelectionByColumns:
        lastSources = ColumnScan::selectedCellsByColumnSources(*tableModel);
        return computeSources(lastSources);
    }
    return false;
}

void StatisticsWidget::onRefreshSameColsButtonClicked() {
    if (!tableModel)
        return;
    // Columns are read again to the present end of the table; a selection's cells stay the
    // cells they were.
    switch (lastRange) {
    case SelectedColumns:
        computeSources(ColumnScan::columnSources(*tableModel, lastCols));
        break;
    case AllColumns:
        computeSources(ColumnScan::allColumnSources(*tableModel));
        break;
    case SelectedCells:
    case SelectionByColumns:
        computeSources(lastSources);
        break;
    }
}

bool StatisticsWidget::computeSources(std::vector<CellSource> sources) {
    TableModel* model = tableModel;
    if (!model)
        return false;
    std::vector<ColumnStatistics> computed;
    const bool finished =
        runScan(ColumnScan::cellCount(sources), tr("Computing statistics..."), tr("Statistics"),
                [&](TableModelWorker* worker) {
                    return ColumnScan::computeStatistics(model->getTableData(), sources, computed, worker);
                });
    if (!finished)
        return false;
    results = std::move(computed);
    refreshValueDisplay();
    emit computedSignal();
    return true;
}

QString StatisticsWidget::cellText(int row, int col) const {
    if (col < 0 || std::size_t(col) >= results.size())
        return {};
    const ColumnStatistics& column = results[std::size_t(col)];
    if (row == 0)
        return column.title;
    if (row < 1 || std::size_t(row) > column.records.size())
        return {};
    // The record, not a text, is kept: the thousands option shows again without computing.
    const StatisticRecord& record = column.records[std::size_t(row - 1)];
    if (record.noData)
        return record.isInteger ? QStringLiteral("0") : QStringLiteral("-");
    if (record.isInteger)
        return Utilities::convertNumberToString(record.intValue, useThousandsSeparators);
    return Utilities::convertNumberToString(roundedForDisplay(record.doubleValue), useThousandsSeparators);
}

void StatisticsWidget::refreshValueDisplay() {
    AnalysisTableModel* grid = view->analysisModel();
    grid->clear();
    grid->setRowCount(kStatisticTypeCount + 1);
    grid->setColumnCount(int(results.size()));
    QList<QString> labels{tr("Column Title")};
    for (int i = 0; i < kStatisticTypeCount; ++i)
        labels.append(ColumnScan::statisticTypeLabel(StatisticType(i)));
    grid->setHeaderData(Qt::Vertical, labels);
    grid->setTextRow(0, true);
    handleColumnsWithNoData();
    fitColumns();
}

void StatisticsWidget::handleColumnsWithNoData() {
    for (std::size_t c = 0; c < results.size(); ++c) {
        // The one column of the selection stays: hiding it would leave an empty window.
        const bool hide = hideColsWithNoData && results[c].empty && lastRange != SelectedCells;
        if (view->isColumnHidden(int(c)) != hide)
            view->setColumnHidden(int(c), hide);
    }
}

void StatisticsWidget::setUseThousandsSeparators(bool on) {
    if (thousandsAction && thousandsAction->isChecked() != on) {
        const QSignalBlocker block(thousandsAction);
        thousandsAction->setChecked(on);
    }
    if (useThousandsSeparators == on)
        return;
    useThousandsSeparators = on;
    // The texts are made as they show: a repaint is all it takes.
    view->analysisModel()->refreshAll();
    fitColumns();
}

void StatisticsWidget::setHideColsWithNoData(bool on) {
    if (hideAction && hideAction->isChecked() != on) {
        const QSignalBlocker block(hideAction);
        hideAction->setChecked(on);
    }
    hideColsWithNoData = on;
    handleColumnsWithNoData();
}
