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
    view->analysisModel()->setCellFunctions([this](int row, int col) { return cellText(row, col); },
                                            [this](int row, int col) { return cellFraction(row, col); });
}

ColumnAnalysisWidget::ColumnAnalysisWidget(TableModel* model, ColumnRangeType range, const Settings& settings,
                                           QWidget* parent)
    : ColumnAnalysisWidget(model, settings, parent) {
    compute(range);
}

void ColumnAnalysisWidget::constructButtons() {
    addCopyButton();

    QMenu* refresh = nullptr;
    addMenuButton(tr("Refresh Data"), refresh);
    refresh->addAction(tr("Same Columns"), this, &ColumnAnalysisWidget::onRefreshSameColsButtonClicked);
    refresh->addAction(tr("Selected Columns"), this, [this] { compute(SelectedColumns); });
    refresh->addAction(tr("All Columns"), this, [this] { compute(AllColumns); });

    QMenu* options = nullptr;
    addMenuButton(tr("Options"), options);
    thousandsAction =
        addOption(options, tr("Use Thousands Separators"), useThousandsSeparators, [this](bool on) {
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

QString ColumnAnalysisWidget::cellText(int row, int col) const {
    if (col < 0 || std::size_t(col) >= results.size())
        return {};
    const ColumnAnalysis& column = results[std::size_t(col)];
    if (row == 0)
        return column.title;
    const auto number = [this](int value) {
        return Utilities::convertNumberToString(value, useThousandsSeparators);
    };
    const QString none = QStringLiteral("-");
    switch (AnalysisType(row - 1)) {
    case AnalysisType::NumberOfFields:
        return number(column.fields);
    case AnalysisType::NumberOfNonEmptyFields:
        return number(column.nonEmpty);
    case AnalysisType::NumberOfEmptyFields:
        return number(column.empty());
    case AnalysisType::PercentNonEmptyFields:
        return column.noRows ? QStringLiteral("0")
                             : tr("%1%").arg(QLocale::system().toString(column.percentNonEmpty(), 'f', 1));
    case AnalysisType::MinimumFieldLength:
        return column.noRows ? none : number(column.minLength);
    case AnalysisType::MaximumFieldLength:
        return column.noRows ? none : number(column.maxLength);
    case AnalysisType::DataType:
        return column.noRows ? none : Utilities::convertDataTypeToString(column.dataType);
    }
    return {};
}

double ColumnAnalysisWidget::cellFraction(int row, int col) const {
    if (row != int(AnalysisType::PercentNonEmptyFields) + 1 || col < 0 ||
        std::size_t(col) >= results.size() || results[std::size_t(col)].noRows)
        return -1.0;
    return results[std::size_t(col)].percentNonEmpty() / 100.0;
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
    // The bars need room to be read as a share of the cell.
    fitColumns(90);
}

void ColumnAnalysisWidget::setUseThousandsSeparators(bool on) {
    if (thousandsAction && thousandsAction->isChecked() != on) {
        const QSignalBlocker block(thousandsAction);
        thousandsAction->setChecked(on);
    }
    if (useThousandsSeparators == on)
        return;
    useThousandsSeparators = on;
    // The texts are made as they show: a repaint is all it takes.
    view->analysisModel()->refreshAll();
    fitColumns(90);
}
