// Command slots of the clipboard: cut, the copies, the pastes, and the parse of cell texts.

#include "window/mainwindow.h"

#include "view/tableview.h"

bool MainWindow::commandCutCells(const QString& path) {
    TableView* view = tableForEdit(path);
    return view && view->cutCells();
}

bool MainWindow::commandCopyCells(const QString& path) {
    TableView* view = tableForEdit(path);
    return view && view->copyCells(false);
}

bool MainWindow::commandCopyCellsWithHeader(const QString& path) {
    TableView* view = tableForEdit(path);
    return view && view->copyCells(true);
}

// A Markdown or HTML table reads best with its column names, so the header rows come along.
bool MainWindow::commandCopyCellsToMarkdown(const QString& path) {
    TableView* view = tableForEdit(path);
    return view && view->copyCellsToMarkdown(true);
}

bool MainWindow::commandCopyCellsToHTML(const QString& path) {
    TableView* view = tableForEdit(path);
    return view && view->copyCellsToHtml(true);
}

bool MainWindow::commandPasteCells(const QString& path) {
    TableView* view = tableForEdit(path);
    return view && view->pasteCells();
}

bool MainWindow::commandPasteCellsSpecial(const QString& path) {
    TableView* view = activeTableForEdit(path);
    if (!view)
        return false;
    onPasteCellsSpecialPrompt();
    return true;
}

bool MainWindow::commandParseSelectedCellContentsAsTable(const QString& path) {
    TableView* view = tableForEdit(path);
    return view && view->parseSelectedCellContentsAsTable(QString(), QString(), true);
}
