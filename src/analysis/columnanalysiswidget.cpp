#include "analysis/columnanalysiswidget.h"

#include "analysis/analysistablemodel.h"
#include "analysis/analysistableview.h"
#include "table/tablemodel.h"
#include "util/numberutilities.h"
#include "util/statisticsutilities.h"

#include <QAction>
#include <QLocale>
#include <QMenu>

ColumnAnalysisWidget::ColumnAnalysisWidget(TableModel* model, const Settings& settings, QWidget* parent)
    : AnalysisTab(model, parent) {
    setObjectName(QStringLiteral("columnAnalysisWidget"));
    constructButtons();
    propagateSettings(settings);
}

ColumnAnalysisWidget::ColumnAnalysisWidget(TableModel* model, ColumnRangeType range, const Settings& settings,
                                           QWidget* parent)
    : ColumnAnalysisWidget(model, settings, parent) {
    compute(range);
}

void ColumnAnalysisWidget::constructButtons() {
    QMenu* copy = nullptr;
    addMenuButton(tr("Copy to Clipboard"), copy);
    copy->addAction(tr("Whole Table"), this, &ColumnAnalysisWidget::onCopyAllButtonClicked);
    copy->addAction(tr("Selected Values"), this, &ColumnAnalysisWidget::onCopySelectedButtonClicked);

    QMenu* refresh = nullptr;
    addMenuButton(tr("Refresh Data"), refresh);
    refresh->addAction(tr("Same Columns"), this, &ColumnAnalysisWidget::onRefreshSameColsButtonClicked);
    refresh->addAction(tr("Selected Columns"), this, [this] { compute(SelectedColumns); });
    refresh->addAction(tr("All Columns"), this, [this] { compute(AllColumns); });

    QMenu* options = nullptr;
    addMenuButton(tr("Options"), options);
    thousandsAction = options->addAction(tr("Use Thousands Separators"));
    thousandsAction->setCheckable(true);
    thousandsAction->setChecked(useThousandsSeparators);
    connect(thousandsAction, &QAction::toggled, this, [this](bool on) {
        setUseThousandsSeparators(on);
        emit thousandsSeparatorsToggledSignal(on);
    });
}

bool ColumnAnalysisWidget::compute(ColumnRangeType range) {
    if (!tableModel)
        return false;
    lastRange = range;
    if (range == SelectedColumns) {
        tableModel->getOrderedSetOfSelectedCols(lastCols);
        return computeSources(ColumnScan::columnSources(*tableModel, lastCols));
    }
    lastCols.clear();
    return computeSources(ColumnScan::allColumnSources(*tableModel));
}

void ColumnAnalysisWidget::onRefreshSameColsButtonClicked() {
    if (!tableModel)
        return;
    computeSources(lastRange == SelectedColumns ? ColumnScan::columnSources(*tableModel, lastCols)
                                                : ColumnScan::allColumnSources(*tableModel));
}

bool ColumnAnalysisWidget::computeSources(const std::vector<CellSource>& sources) {
    TableModel* model = tableModel;
    if (!model)
        return false;
    std::vector<ColumnAnalysis> computed;
    const bool finished = runScan(ColumnScan::cellCount(sources), tr("Analysing columns..."),
                                  tr("Column Analysis"), [&](TableModelWorker* worker) {
                                      return ColumnScan::computeColumnAnalysis(model->getTableData(), sources,
                                                                               computed, worker);
                                  });
    if (!finished)
        return false;
    results = std::move(computed);
    populateTableWithAnalysis();
    emit computedSignal();
    return true;
}

void ColumnAnalysisWidget::populateTableWithAnalysis() {
    AnalysisTableModel* grid = view->analysisModel();
    grid->clear();
    grid->setRowCount(kAnalysisTypeCount + 1);
    grid->setColumnCount(int(results.size()));
    QList<QString> labels{tr("Column Title")};
    for (int i = 0; i < kAnalysisTypeCount; ++i)
        labels.append(ColumnScan::analysisTypeLabel(AnalysisType(i)));
    grid->setHeaderData(Qt::Vertical, labels);
    grid->setTextRow(0, true);
    grid->setTextRow(int(AnalysisType::DataType) + 1, true);
    const auto number = [this](int value) {
        return Utilities::convertNumberToString(value, useThousandsSeparators);
    };
    const auto row = [](AnalysisType type) { return int(type) + 1; };
    for (std::size_t i = 0; i < results.size(); ++i) {
        const ColumnAnalysis& column = results[i];
        const int c = int(i);
        grid->setCell(0, c, column.title);
        grid->setCell(row(AnalysisType::NumberOfFields), c, number(column.fields));
        grid->setCell(row(AnalysisType::NumberOfNonEmptyFields), c, number(column.nonEmpty));
        grid->setCell(row(AnalysisType::NumberOfEmptyFields), c, number(column.empty()));
        if (column.noRows) {
            const QString none = QStringLiteral("-");
            grid->setCell(row(AnalysisType::PercentNonEmptyFields), c, QStringLiteral("0"));
            grid->setCell(row(AnalysisType::MinimumFieldLength), c, none);
            grid->setCell(row(AnalysisType::MaximumFieldLength), c, none);
            grid->setCell(row(AnalysisType::DataType), c, none);
            continue;
        }
        const double percent = column.percentNonEmpty();
        grid->setPercentCell(row(AnalysisType::PercentNonEmptyFields), c, percent / 100.0,
                             tr("%1%").arg(QLocale::system().toString(percent, 'f', 1)));
        grid->setCell(row(AnalysisType::MinimumFieldLength), c, number(column.minLength));
        grid->setCell(row(AnalysisType::MaximumFieldLength), c, number(column.maxLength));
        grid->setCell(row(AnalysisType::DataType), c, Utilities::convertDataTypeToString(column.dataType));
    }
    view->resizeColumnsToContents();
    // The bars need room to be read as a share of the cell.
    for (int c = 0; c < grid->columnCount(); ++c)
        view->setColumnWidth(c, std::max(view->columnWidth(c), 90));
}

void ColumnAnalysisWidget::setUseThousandsSeparators(bool on) {
    if (thousandsAction && thousandsAction->isChecked() != on) {
        const QSignalBlocker block(thousandsAction);
        thousandsAction->setChecked(on);
    }
    if (useThousandsSeparators == on)
        return;
    useThousandsSeparators = on;
    if (!results.empty())
        populateTableWithAnalysis();
}

void ColumnAnalysisWidget::onCopyAllButtonClicked() {
    view->copyTableToClipboard(true);
}

void ColumnAnalysisWidget::onCopySelectedButtonClicked() {
    view->copySelectedCellsToClipboard();
}
