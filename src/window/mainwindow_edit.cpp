// Command slots of the Edit menu.

#include "window/mainwindow.h"

#include "view/tableview.h"

bool MainWindow::commandUndo() {
    TableView* view = tableForEdit();
    if (!view)
        return false;
    view->undo();
    return true;
}

bool MainWindow::commandRedo() {
    TableView* view = tableForEdit();
    if (!view)
        return false;
    view->redo();
    return true;
}

bool MainWindow::commandEditSelectedCell() {
    if (!activeTable || activeTable->isEditing())
        return false;
    activeTable->editMainCellAppend();
    return activeTable->isEditing();
}

bool MainWindow::commandStopEditing() {
    if (!activeTable || !activeTable->isEditing())
        return false;
    activeTable->stopEditing(true);
    return true;
}

bool MainWindow::commandToggleRetainSortAndFiltersUponFileRefresh() {
    return toggleSetting(RetainSortAndFilters);
}

bool MainWindow::commandToggleLetEditorPaneConsumeNavigationKeystrokes() {
    letEditorPaneConsumeNavigationKeystrokes(!settings.getValueBool(EditorPaneConsumeNavigation));
    return true;
}
