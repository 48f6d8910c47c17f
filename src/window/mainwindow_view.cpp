// Command slots of the View menu with its headers and grid size.

#include "window/mainwindow.h"

#include "table/tablemodel.h"
#include "view/tableview.h"
#include "window/paneview.h"

namespace {

bool ready(const TableView* view) {
    return view && view->tableModel() && !view->isLoading();
}

} // namespace

// --- Panes and labels ---------------------------------------------------------------------------

bool MainWindow::commandToggleShowTabBar(const QString&) {
    const bool on = !settings.getValueBool(ShowTabBar);
    settings.setValue(ShowTabBar, on);
    showTabBar(on, true);
    return true;
}

bool MainWindow::commandToggleShowEditorPane(const QString&) {
    const bool on = !paneView->isEditorPaneShown();
    settings.setValue(ShowEditorPane, on);
    showEditorPane(on, true);
    return true;
}

bool MainWindow::commandToggleShowRowLabels(const QString&) {
    setShowRowLabelsCommand(!settings.getValueBool(ShowRowLabels));
    return true;
}

bool MainWindow::commandToggleShowColumnLabels(const QString&) {
    setShowColLabelsCommand(!settings.getValueBool(ShowColumnLabels));
    return true;
}

bool MainWindow::commandToggleRepresentColumnsAsLetters(const QString&) {
    setRepresentColumnsAsLettersCommand(!settings.getValueBool(RepresentColumnsAsLetters));
    return true;
}

bool MainWindow::commandToggleSnapToRowAfterScrolling(const QString&) {
    setSnapToRowAfterScrolling(!settings.getValueBool(SnapToRow));
    return true;
}

bool MainWindow::commandToggleSnapToColumnAfterScrolling(const QString&) {
    setSnapToColumnAfterScrolling(!settings.getValueBool(SnapToColumn));
    return true;
}

// --- Shading and highlights of every table ------------------------------------------------------

bool MainWindow::toggleShading(SettingType type) {
    const bool on = !settings.getValueBool(type);
    settings.setValue(type, on);
    for (TableView* view : getAllTableViews()) {
        TableModel* model = view->tableModel();
        if (!model)
            continue;
        if (type == ShadeEveryOtherRow)
            model->setShadeEveryOtherRow(on);
        else if (type == ShadeEveryOtherColumn)
            model->setShadeEveryOtherCol(on);
        else if (type == HighlightMainCellRow)
            model->setHighlightMainCellRow(on);
        else
            model->setHighlightMainCellCol(on);
        view->refreshView();
    }
    return true;
}

bool MainWindow::commandToggleShadeEveryOtherRow(const QString&) {
    return toggleShading(ShadeEveryOtherRow);
}

bool MainWindow::commandToggleShadeEveryOtherColumn(const QString&) {
    return toggleShading(ShadeEveryOtherColumn);
}

bool MainWindow::commandToggleHighlightMainSelectedCellsRow(const QString&) {
    return toggleShading(HighlightMainCellRow);
}

bool MainWindow::commandToggleHighlightMainSelectedCellsColumn(const QString&) {
    return toggleShading(HighlightMainCellColumn);
}

// --- Grid size ----------------------------------------------------------------------------------

bool MainWindow::commandToggleAutoFitRowHeight(const QString& path) {
    TableView* view = resolveTable(path);
    return ready(view) && view->toggleTableSetting(AutoFitRowHeight);
}

bool MainWindow::commandToggleAutoFitColumnWidth(const QString& path) {
    TableView* view = resolveTable(path);
    return ready(view) && view->toggleTableSetting(AutoFitColumnWidth);
}

// --- Headers ------------------------------------------------------------------------------------

bool MainWindow::commandSetHeaderRowsToSelectedRow(const QString& path) {
    TableView* view = resolveTable(path);
    if (!ready(view) || view->tableModel()->getMainCell().row < 0)
        return false;
    view->applyVisibleHeaderRows(view->tableModel()->getMainCell().row + 1, true, true);
    return true;
}

bool MainWindow::commandSetHeaderColumnsToSelectedColumn(const QString& path) {
    TableView* view = resolveTable(path);
    if (!ready(view) || view->tableModel()->getMainCell().col < 0)
        return false;
    view->setNumberOfHeaderColumns(view->tableModel()->getMainCell().col + 1, true);
    return true;
}

bool MainWindow::commandSetHeadersToSelectedCell(const QString& path) {
    return commandSetHeaderRowsToSelectedRow(path) && commandSetHeaderColumnsToSelectedColumn(path);
}

bool MainWindow::commandRemoveHeaderRows(const QString& path) {
    TableView* view = resolveTable(path);
    if (!ready(view))
        return false;
    view->applyVisibleHeaderRows(0, true, true);
    return true;
}

bool MainWindow::commandRemoveHeaderColumns(const QString& path) {
    TableView* view = resolveTable(path);
    if (!ready(view))
        return false;
    view->setNumberOfHeaderColumns(0, true);
    return true;
}

bool MainWindow::commandRemoveAllHeaders(const QString& path) {
    return commandRemoveHeaderRows(path) && commandRemoveHeaderColumns(path);
}

bool MainWindow::commandToggleFreezeHeaderRowsAndColumns(const QString& path) {
    TableView* view = resolveTable(path);
    if (!ready(view))
        return false;
    const bool on = !(view->getFreezeHeaderRows() && view->getFreezeHeaderColumns());
    if (view->getFreezeHeaderRows() != on)
        view->toggleTableSetting(FreezeHeaderRows);
    if (view->getFreezeHeaderColumns() != on)
        view->toggleTableSetting(FreezeHeaderColumns);
    return true;
}

bool MainWindow::commandToggleHighlightHeaderRows(const QString& path) {
    TableView* view = resolveTable(path);
    return ready(view) && view->toggleTableSetting(HighlightHeaderRows);
}

bool MainWindow::commandToggleHighlightHeaderColumns(const QString& path) {
    TableView* view = resolveTable(path);
    return ready(view) && view->toggleTableSetting(HighlightHeaderColumns);
}

bool MainWindow::commandToggleFreezeHeaderRows(const QString& path) {
    TableView* view = resolveTable(path);
    return ready(view) && view->toggleTableSetting(FreezeHeaderRows);
}

bool MainWindow::commandToggleFreezeHeaderColumns(const QString& path) {
    TableView* view = resolveTable(path);
    return ready(view) && view->toggleTableSetting(FreezeHeaderColumns);
}
