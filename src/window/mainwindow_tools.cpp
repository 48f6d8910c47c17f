// Command slots of the Tools menu's analysis: the file analysis window with its statistics and
// column analysis over the active table, and its pivot table.

#include "window/mainwindow.h"

#include "analysis/analysistableview.h"
#include "analysis/columnanalysiswidget.h"
#include "analysis/fileanalysiswindow.h"
#include "analysis/pivottablewidget.h"
#include "analysis/statisticswidget.h"
#include "analysis/uniquevalueswidget.h"
#include "table/tablemodel.h"
#include "view/tableview.h"

#include <algorithm>

namespace {

// A table still loading has no cells to read yet.
bool readyToRead(const TableView* view) {
    return view && !view->isLoading();
}

} // namespace

FileAnalysisWindow* MainWindow::getFileAnalysisWindow() const {
    return fileAnalysisWindow;
}

void MainWindow::followActiveTableInAnalysis() {
    if (fileAnalysisWindow && activeTable)
        fileAnalysisWindow->setTableModel(activeModel, tableName(activeTable));
}

FileAnalysisWindow* MainWindow::raiseFileAnalysisWindow() {
    if (!fileAnalysisWindow) {
        fileAnalysisWindow = new FileAnalysisWindow(
            activeModel, activeTable ? tableName(activeTable) : QString(), settings, this);
        fileAnalysisWindow->setAttribute(Qt::WA_DeleteOnClose);
        fileAnalysisWindow->setUseThousandsSeparators(useThousandsSeparators);
        fileAnalysisWindow->setHideColsWithNoData(hideColsWithNoData);
        fileAnalysisWindow->setExcludeEmptyCells(excludeEmptyCells);
        connect(fileAnalysisWindow, &FileAnalysisWindow::thousandsSeparatorsToggledSignal, this,
                [this](bool on) { useThousandsSeparators = on; });
        connect(fileAnalysisWindow, &FileAnalysisWindow::hideColsWithNoDataToggledSignal, this,
                [this](bool on) { hideColsWithNoData = on; });
        connect(fileAnalysisWindow, &FileAnalysisWindow::excludeEmptyCellsToggledSignal, this,
                [this](bool on) { excludeEmptyCells = on; });
        UniqueValuesWidget* unique = fileAnalysisWindow->getUniqueValuesWidget();
        connect(unique, &UniqueValuesWidget::includeFilterInListSignal, this,
                &MainWindow::onUniqueValuesFilter);
        connect(unique, &UniqueValuesWidget::removeFilterSignal, this,
                &MainWindow::onUniqueValuesRemoveFilter);
        // Over the middle of its main window, where the eye already is.
        const QRect frame = frameGeometry();
        fileAnalysisWindow->move(frame.center() -
                                 QPoint(fileAnalysisWindow->width() / 2, fileAnalysisWindow->height() / 2));
    } else {
        followActiveTableInAnalysis();
    }
    fileAnalysisWindow->show();
    fileAnalysisWindow->raise();
    fileAnalysisWindow->activateWindow();
    return fileAnalysisWindow;
}

bool MainWindow::commandOpenFileAnalysisWindow(const QString&) {
    const bool fresh = !fileAnalysisWindow;
    FileAnalysisWindow* analysis = raiseFileAnalysisWindow();
    // Opened afresh, it shows the statistics of the active table's columns rather than an empty
    // grid; opened again, it keeps what it shows.
    if (fresh && readyToRead(activeTable))
        analysis->getStatisticsWidget()->compute(StatisticsWidget::AllColumns);
    return true;
}

namespace {

bool showStatistics(MainWindow* window, StatisticsWidget::RangeType range) {
    if (!readyToRead(window->getActiveTable()))
        return false;
    FileAnalysisWindow* analysis = window->raiseFileAnalysisWindow();
    analysis->openTab(FileAnalysisWindow::StatisticsTab);
    return analysis->getStatisticsWidget()->compute(range);
}

bool showUniqueValues(MainWindow* window, bool focusList) {
    if (!readyToRead(window->getActiveTable()))
        return false;
    FileAnalysisWindow* analysis = window->raiseFileAnalysisWindow();
    analysis->openTab(FileAnalysisWindow::UniqueValuesTab);
    UniqueValuesWidget* unique = analysis->getUniqueValuesWidget();
    if (!unique->compute(UniqueValuesWidget::SelectedColumn))
        return false;
    if (focusList)
        unique->getView()->setFocus();
    return true;
}

bool showColumnAnalysis(MainWindow* window, ColumnAnalysisWidget::ColumnRangeType range) {
    if (!readyToRead(window->getActiveTable()))
        return false;
    FileAnalysisWindow* analysis = window->raiseFileAnalysisWindow();
    analysis->openTab(FileAnalysisWindow::ColumnAnalysisTab);
    return analysis->getColumnAnalysisWidget()->compute(range);
}

} // namespace

bool MainWindow::commandStatisticsSelectedColumns(const QString&) {
    return showStatistics(this, StatisticsWidget::SelectedColumns);
}

bool MainWindow::commandStatisticsAllColumns(const QString&) {
    return showStatistics(this, StatisticsWidget::AllColumns);
}

bool MainWindow::commandStatisticsSelectedCells(const QString&) {
    return showStatistics(this, StatisticsWidget::SelectedCells);
}

bool MainWindow::commandStatisticsSelectedCellsByColumns(const QString&) {
    return showStatistics(this, StatisticsWidget::SelectionByColumns);
}

bool MainWindow::commandColumnAnalysisSelectedColumns(const QString&) {
    return showColumnAnalysis(this, ColumnAnalysisWidget::SelectedColumns);
}

bool MainWindow::commandColumnAnalysisAllColumns(const QString&) {
    return showColumnAnalysis(this, ColumnAnalysisWidget::AllColumns);
}

bool MainWindow::commandUniqueValuesSelectedColumn(const QString&) {
    return showUniqueValues(this, false);
}

bool MainWindow::commandSelectValuesInSelectedColumnToFilter(const QString&) {
    return showUniqueValues(this, true);
}

namespace {

// The open table whose model the values were counted in; null once it has closed.
TableView* countedTable(const MainWindow* window) {
    const FileAnalysisWindow* analysis = window->getFileAnalysisWindow();
    const TableModel* model = analysis ? analysis->getUniqueValuesWidget()->getCountedModel() : nullptr;
    if (!model)
        return nullptr;
    for (TableView* view : window->getAllTableViews()) {
        if (view->tableModel() == model)
            return view->isLoading() ? nullptr : view;
    }
    return nullptr;
}

} // namespace

void MainWindow::onUniqueValuesFilter(const FilterData& filter) {
    if (TableView* view = countedTable(this))
        view->includeFilterInList(filter);
}

void MainWindow::onUniqueValuesRemoveFilter(const Range& range) {
    TableView* view = countedTable(this);
    if (!view)
        return;
    std::vector<FilterData> filters = view->tableModel()->getFilterList();
    const auto gone = std::remove_if(filters.begin(), filters.end(),
                                     [&range](const FilterData& f) { return f.range == range; });
    if (gone == filters.end())
        return;
    filters.erase(gone, filters.end());
    view->setFilterList(filters);
}

bool MainWindow::commandPivotTableSelectedColumns(const QString&) {
    if (!readyToRead(getActiveTable()))
        return false;
    FileAnalysisWindow* analysis = raiseFileAnalysisWindow();
    analysis->openTab(FileAnalysisWindow::PivotTableTab);
    PivotTableWidget* pivot = analysis->getPivotTableWidget();
    pivot->addSelectedCols();
    return pivot->refresh(true);
}
