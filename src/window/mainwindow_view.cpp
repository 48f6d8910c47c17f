// Command slots of the View menu with its headers and grid size, and of Help.

#include "window/mainwindow.h"

#include "table/tablemodel.h"
#include "util/msgbox.h"
#include "view/tableview.h"
#include "window/paneview.h"

namespace {

bool ready(const TableView* view) {
    return view && view->tableModel() && !view->isLoading();
}

} // namespace

// --- Panes and labels ---------------------------------------------------------------------------

bool MainWindow::commandToggleShowTabBar() {
    const bool on = !settings.getValueBool(ShowTabBar);
    settings.setValue(ShowTabBar, on);
    showTabBar(on, true);
    return true;
}

bool MainWindow::commandToggleShowEditorPane() {
    const bool on = !paneView->isEditorPaneShown();
    settings.setValue(ShowEditorPane, on);
    showEditorPane(on, true);
    return true;
}

bool MainWindow::commandToggleShowRowLabels() {
    setShowRowLabelsCommand(!settings.getValueBool(ShowRowLabels));
    return true;
}

bool MainWindow::commandToggleShowColumnLabels() {
    setShowColLabelsCommand(!settings.getValueBool(ShowColumnLabels));
    return true;
}

bool MainWindow::commandToggleRepresentColumnsAsLetters() {
    setRepresentColumnsAsLettersCommand(!settings.getValueBool(RepresentColumnsAsLetters));
    return true;
}

bool MainWindow::commandToggleSnapToRowAfterScrolling() {
    setSnapToRowAfterScrolling(!settings.getValueBool(SnapToRow));
    return true;
}

bool MainWindow::commandToggleSnapToColumnAfterScrolling() {
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

bool MainWindow::commandToggleShadeEveryOtherRow() {
    return toggleShading(ShadeEveryOtherRow);
}

bool MainWindow::commandToggleShadeEveryOtherColumn() {
    return toggleShading(ShadeEveryOtherColumn);
}

bool MainWindow::commandToggleHighlightMainSelectedCellsRow() {
    return toggleShading(HighlightMainCellRow);
}

bool MainWindow::commandToggleHighlightMainSelectedCellsColumn() {
    return toggleShading(HighlightMainCellColumn);
}

// --- Grid size ----------------------------------------------------------------------------------

bool MainWindow::commandToggleAutoFitRowHeight() {
    return ready(activeTable) && activeTable->toggleTableSetting(AutoFitRowHeight);
}

bool MainWindow::commandToggleAutoFitColumnWidth() {
    return ready(activeTable) && activeTable->toggleTableSetting(AutoFitColumnWidth);
}

// --- Headers ------------------------------------------------------------------------------------

bool MainWindow::commandSetHeaderRowsToSelectedRow() {
    if (!ready(activeTable) || activeModel->getMainCell().row < 0)
        return false;
    activeTable->applyVisibleHeaderRows(activeModel->getMainCell().row + 1, true, true);
    return true;
}

bool MainWindow::commandSetHeaderColumnsToSelectedColumn() {
    if (!ready(activeTable) || activeModel->getMainCell().col < 0)
        return false;
    activeTable->setNumberOfHeaderColumns(activeModel->getMainCell().col + 1, true);
    return true;
}

bool MainWindow::commandSetHeadersToSelectedCell() {
    return commandSetHeaderRowsToSelectedRow() && commandSetHeaderColumnsToSelectedColumn();
}

bool MainWindow::commandRemoveHeaderRows() {
    if (!ready(activeTable))
        return false;
    activeTable->applyVisibleHeaderRows(0, true, true);
    return true;
}

bool MainWindow::commandRemoveHeaderColumns() {
    if (!ready(activeTable))
        return false;
    activeTable->setNumberOfHeaderColumns(0, true);
    return true;
}

bool MainWindow::commandRemoveAllHeaders() {
    return commandRemoveHeaderRows() && commandRemoveHeaderColumns();
}

bool MainWindow::commandToggleFreezeHeaderRowsAndColumns() {
    if (!ready(activeTable))
        return false;
    const bool on = !(activeTable->getFreezeHeaderRows() && activeTable->getFreezeHeaderColumns());
    if (activeTable->getFreezeHeaderRows() != on)
        activeTable->toggleTableSetting(FreezeHeaderRows);
    if (activeTable->getFreezeHeaderColumns() != on)
        activeTable->toggleTableSetting(FreezeHeaderColumns);
    return true;
}

bool MainWindow::commandToggleHighlightHeaderRows() {
    return ready(activeTable) && activeTable->toggleTableSetting(HighlightHeaderRows);
}

bool MainWindow::commandToggleHighlightHeaderColumns() {
    return ready(activeTable) && activeTable->toggleTableSetting(HighlightHeaderColumns);
}

bool MainWindow::commandToggleFreezeHeaderRows() {
    return ready(activeTable) && activeTable->toggleTableSetting(FreezeHeaderRows);
}

bool MainWindow::commandToggleFreezeHeaderColumns() {
    return ready(activeTable) && activeTable->toggleTableSetting(FreezeHeaderColumns);
}

// --- Help ---------------------------------------------------------------------------------------

bool MainWindow::commandAbout() {
    MsgBox::inform(this, tr("Orvane\n\nA table editor for delimited text files."));
    return true;
}
