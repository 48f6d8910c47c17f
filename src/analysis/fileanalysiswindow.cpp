#include "analysis/fileanalysiswindow.h"

#include "analysis/columnanalysiswidget.h"
#include "analysis/pivottablewidget.h"
#include "analysis/statisticswidget.h"
#include "analysis/uniquevalueswidget.h"

#include <QCloseEvent>
#include <QKeyEvent>
#include <QTabWidget>
#include <QVBoxLayout>

FileAnalysisWindow::FileAnalysisWindow(TableModel* model, const QString& tableName, const Settings& settings,
                                       QWidget* parent)
    : QWidget(parent, Qt::Window), tabs(new QTabWidget(this)),
      statisticsWidget(new StatisticsWidget(model, settings, tabs)),
      columnAnalysisWidget(new ColumnAnalysisWidget(model, settings, tabs)),
      uniqueValuesWidget(new UniqueValuesWidget(model, settings, tabs)), currentTableName(tableName) {
    setObjectName(QStringLiteral("fileAnalysisWindow"));
    setWindowTitle(tr("File Analysis"));
    // Later tools come as further tabs in this order.
    tabs->addTab(statisticsWidget, tr("Statistics"));
    tabs->addTab(columnAnalysisWidget, tr("Column Analysis"));
    tabs->addTab(uniqueValuesWidget, tr("Unique Values"));
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(4, 4, 4, 4);
    layout->addWidget(tabs);
    resize(900, 480);

    connect(statisticsWidget, &StatisticsWidget::thousandsSeparatorsToggledSignal, this,
            &FileAnalysisWindow::onUseThousandsSeparatedToggled);
    connect(columnAnalysisWidget, &ColumnAnalysisWidget::thousandsSeparatorsToggledSignal, this,
            &FileAnalysisWindow::onUseThousandsSeparatedToggled);
    connect(statisticsWidget, &StatisticsWidget::hideColsWithNoDataToggledSignal, this,
            &FileAnalysisWindow::onHideColsWithNoDataToggled);
    connect(statisticsWidget, &AnalysisTab::computedSignal, this, &FileAnalysisWindow::onComputed);
    connect(columnAnalysisWidget, &AnalysisTab::computedSignal, this, &FileAnalysisWindow::onComputed);
    connect(uniqueValuesWidget, &UniqueValuesWidget::thousandsSeparatorsToggledSignal, this,
            &FileAnalysisWindow::onUseThousandsSeparatedToggled);
    connect(uniqueValuesWidget, &UniqueValuesWidget::excludeEmptyCellsToggledSignal, this,
            &FileAnalysisWindow::onExcludeEmptyCellsToggled);
    connect(uniqueValuesWidget, &AnalysisTab::computedSignal, this, &FileAnalysisWindow::onComputed);

    // The last tab, whatever comes before it.
    pivotTableWidget = new PivotTableWidget(model, tabs);
    tabs->addTab(pivotTableWidget, tr("Pivot Table"));
    connect(pivotTableWidget, &PivotTableWidget::thousandsSeparatorsToggledSignal, this,
            &FileAnalysisWindow::onUseThousandsSeparatedToggled);
    connect(pivotTableWidget, &PivotTableWidget::computedSignal, this, &FileAnalysisWindow::onComputed);
}

void FileAnalysisWindow::setTableModel(TableModel* model, const QString& tableName) {
    statisticsWidget->setTableModel(model);
    columnAnalysisWidget->setTableModel(model);
    uniqueValuesWidget->setTableModel(model);
    pivotTableWidget->setTableModel(model);
    currentTableName = tableName;
}

void FileAnalysisWindow::openTab(Tab tab) {
    if (tab == PivotTableTab) {
        tabs->setCurrentWidget(pivotTableWidget);
        return;
    }
    tabs->setCurrentIndex(int(tab));
}

void FileAnalysisWindow::propagateSettings(const Settings& settings) {
    statisticsWidget->propagateSettings(settings);
    columnAnalysisWidget->propagateSettings(settings);
    uniqueValuesWidget->propagateSettings(settings);
}

void FileAnalysisWindow::setUseThousandsSeparators(bool on) {
    statisticsWidget->setUseThousandsSeparators(on);
    columnAnalysisWidget->setUseThousandsSeparators(on);
    uniqueValuesWidget->setUseThousandsSeparators(on);
}

void FileAnalysisWindow::setExcludeEmptyCells(bool on) {
    excludeEmptyCells = on;
    uniqueValuesWidget->setExcludeEmptyCells(on);
    pivotTableWidget->setUseThousandsSeparators(on);
}

void FileAnalysisWindow::setHideColsWithNoData(bool on) {
    statisticsWidget->setHideColsWithNoData(on);
}

bool FileAnalysisWindow::isBusy() const {
    return statisticsWidget->isBusy() || columnAnalysisWidget->isBusy() || uniqueValuesWidget->isBusy();
    return statisticsWidget->isBusy() || columnAnalysisWidget->isBusy() || pivotTableWidget->isBusy();
}

void FileAnalysisWindow::onUseThousandsSeparatedToggled(bool on) {
    setUseThousandsSeparators(on);
    emit thousandsSeparatorsToggledSignal(on);
}

void FileAnalysisWindow::onHideColsWithNoDataToggled(bool on) {
    setHideColsWithNoData(on);
    emit hideColsWithNoDataToggledSignal(on);
}

void FileAnalysisWindow::onExcludeEmptyCellsToggled(bool on) {
    setExcludeEmptyCells(on);
    emit excludeEmptyCellsToggledSignal(on);
}

void FileAnalysisWindow::onComputed() {
    // The results are of the table read last, which the title names.
    setWindowTitle(currentTableName.isEmpty() ? tr("File Analysis")
                                              : tr("File Analysis - %1").arg(currentTableName));
}

void FileAnalysisWindow::closeEvent(QCloseEvent* event) {
    // A scan in progress still writes into the tabs when it ends.
    if (isBusy()) {
        event->ignore();
        return;
    }
    QWidget::closeEvent(event);
}

void FileAnalysisWindow::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape) {
        close();
        return;
    }
    QWidget::keyPressEvent(event);
}
