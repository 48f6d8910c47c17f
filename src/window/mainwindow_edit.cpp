// Command slots of the Edit menu.

#include "window/mainwindow.h"

#include "view/tableview.h"

bool MainWindow::commandUndo(const QString& path) {
    TableView* view = tableForEdit(path);
    if (!view)
        return false;
    view->undo();
    return true;
}

bool MainWindow::commandRedo(const QString& path) {
    TableView* view = tableForEdit(path);
    if (!view)
        return false;
    view->redo();
    return true;
}

bool MainWindow::commandEditSelectedCell(const QString& path) {
    TableView* view = resolveTable(path);
    if (!view || view->isEditing())
        return false;
    view->editMainCellAppend();
    return view->isEditing();
}

bool MainWindow::commandStopEditing(const QString& path) {
    TableView* view = resolveTable(path);
    if (!view || !view->isEditing())
        return false;
    view->stopEditing(true);
    return true;
}

bool MainWindow::commandToggleRetainSortAndFiltersUponFileRefresh(const QString&) {
    return toggleSetting(RetainSortAndFilters);
}

bool MainWindow::commandToggleLetEditorPaneConsumeNavigationKeystrokes(const QString&) {
    letEditorPaneConsumeNavigationKeystrokes(!settings.getValueBool(EditorPaneConsumeNavigation));
    return true;
}
