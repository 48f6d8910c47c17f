// Command slots of the Selection menu.

#include "window/mainwindow.h"

#include "table/tablemodel.h"
#include "view/tableview.h"

namespace {

bool ready(const TableView* view) {
    return view && view->tableModel() && !view->isLoading();
}

} // namespace

bool MainWindow::commandSelectUp(const QString& path) {
    TableView* view = resolveTable(path);
    if (!ready(view))
        return false;
    view->extendSelection(Direction::Up, false);
    return true;
}

bool MainWindow::commandSelectDown(const QString& path) {
    TableView* view = resolveTable(path);
    if (!ready(view))
        return false;
    view->extendSelection(Direction::Down, false);
    return true;
}

bool MainWindow::commandSelectLeft(const QString& path) {
    TableView* view = resolveTable(path);
    if (!ready(view))
        return false;
    view->extendSelection(Direction::Left, false);
    return true;
}

bool MainWindow::commandSelectRight(const QString& path) {
    TableView* view = resolveTable(path);
    if (!ready(view))
        return false;
    view->extendSelection(Direction::Right, false);
    return true;
}

bool MainWindow::commandSelectUpByABlock(const QString& path) {
    TableView* view = resolveTable(path);
    if (!ready(view))
        return false;
    view->extendSelection(Direction::Up, true);
    return true;
}

bool MainWindow::commandSelectDownByABlock(const QString& path) {
    TableView* view = resolveTable(path);
    if (!ready(view))
        return false;
    view->extendSelection(Direction::Down, true);
    return true;
}

bool MainWindow::commandSelectLeftByABlock(const QString& path) {
    TableView* view = resolveTable(path);
    if (!ready(view))
        return false;
    view->extendSelection(Direction::Left, true);
    return true;
}

bool MainWindow::commandSelectRightByABlock(const QString& path) {
    TableView* view = resolveTable(path);
    if (!ready(view))
        return false;
    view->extendSelection(Direction::Right, true);
    return true;
}

bool MainWindow::commandSelectUpToTopOfColumnHeaderExcluded(const QString& path) {
    TableView* view = resolveTable(path);
    if (!ready(view))
        return false;
    view->selectToEdge(Direction::Up, true);
    return true;
}

bool MainWindow::commandSelectDownToBottomOfColumn(const QString& path) {
    TableView* view = resolveTable(path);
    if (!ready(view))
        return false;
    view->selectToEdge(Direction::Down, false);
    return true;
}

bool MainWindow::commandSelectLeftToStartOfRowHeaderExcluded(const QString& path) {
    TableView* view = resolveTable(path);
    if (!ready(view))
        return false;
    view->selectToEdge(Direction::Left, true);
    return true;
}

bool MainWindow::commandSelectRightToEndOfRow(const QString& path) {
    TableView* view = resolveTable(path);
    if (!ready(view))
        return false;
    view->selectToEdge(Direction::Right, false);
    return true;
}

bool MainWindow::commandSelectEntireColumns(const QString& path) {
    TableView* view = resolveTable(path);
    if (!ready(view))
        return false;
    view->selectEntireCols();
    return true;
}

bool MainWindow::commandSelectEntireColumnsHeaderExcluded(const QString& path) {
    TableView* view = resolveTable(path);
    if (!ready(view))
        return false;
    view->selectEntireColsHeaderExcluded();
    return true;
}

bool MainWindow::commandSelectEntireRows(const QString& path) {
    TableView* view = resolveTable(path);
    if (!ready(view))
        return false;
    view->selectEntireRows();
    return true;
}

bool MainWindow::commandSelectEntireRowsHeaderExcluded(const QString& path) {
    TableView* view = resolveTable(path);
    if (!ready(view))
        return false;
    view->selectEntireRowsHeaderExcluded();
    return true;
}

bool MainWindow::commandSelectEntireTable(const QString& path) {
    TableView* view = resolveTable(path);
    if (!ready(view))
        return false;
    view->selectEntireTable();
    return true;
}

bool MainWindow::commandMoveSelectionUp(const QString& path) {
    TableView* view = tableForEdit(path);
    if (!view)
        return false;
    view->moveSelectionRelative(-1, 0);
    view->scrollToMainCell(false, false);
    return true;
}

bool MainWindow::commandMoveSelectionDown(const QString& path) {
    TableView* view = tableForEdit(path);
    if (!view)
        return false;
    view->moveSelectionRelative(1, 0);
    view->scrollToMainCell(false, false);
    return true;
}

bool MainWindow::commandMoveSelectionLeft(const QString& path) {
    TableView* view = tableForEdit(path);
    if (!view)
        return false;
    view->moveSelectionRelative(0, -1);
    view->scrollToMainCell(false, false);
    return true;
}

bool MainWindow::commandMoveSelectionRight(const QString& path) {
    TableView* view = tableForEdit(path);
    if (!view)
        return false;
    view->moveSelectionRelative(0, 1);
    view->scrollToMainCell(false, false);
    return true;
}

bool MainWindow::commandMoveSelectionUpByABlock(const QString& path) {
    TableView* view = resolveTable(path);
    if (!ready(view))
        return false;
    view->moveSelectionByBlock(Direction::Up);
    return true;
}

bool MainWindow::commandMoveSelectionDownByABlock(const QString& path) {
    TableView* view = resolveTable(path);
    if (!ready(view))
        return false;
    view->moveSelectionByBlock(Direction::Down);
    return true;
}

bool MainWindow::commandMoveSelectionLeftByABlock(const QString& path) {
    TableView* view = resolveTable(path);
    if (!ready(view))
        return false;
    view->moveSelectionByBlock(Direction::Left);
    return true;
}

bool MainWindow::commandMoveSelectionRightByABlock(const QString& path) {
    TableView* view = resolveTable(path);
    if (!ready(view))
        return false;
    view->moveSelectionByBlock(Direction::Right);
    return true;
}

bool MainWindow::commandInvertSelectionByRowsHeaderExcluded(const QString& path) {
    TableView* view = resolveTable(path);
    if (!ready(view))
        return false;
    view->tableModel()->invertSelectionByRowsHeaderExcluded();
    view->refreshView();
    return true;
}

bool MainWindow::commandInvertSelectionByColumnsHeaderExcluded(const QString& path) {
    TableView* view = resolveTable(path);
    if (!ready(view))
        return false;
    view->tableModel()->invertSelectionByColumnsHeaderExcluded();
    view->refreshView();
    return true;
}

bool MainWindow::commandSelectDuplicateRows(const QString& path) {
    TableView* view = tableForEdit(path);
    return ready(view) && view->selectDuplicateRowsOrCols(Axis::Row, false);
}

bool MainWindow::commandSelectDuplicateColumns(const QString& path) {
    TableView* view = tableForEdit(path);
    return ready(view) && view->selectDuplicateRowsOrCols(Axis::Col, false);
}

bool MainWindow::commandSelectDuplicateRowsBasedOnSelectedColumnsOnly(const QString& path) {
    TableView* view = tableForEdit(path);
    return ready(view) && view->selectDuplicateRowsOrCols(Axis::Row, true);
}

bool MainWindow::commandSelectDuplicateColumnsBasedOnSelectedRowsOnly(const QString& path) {
    TableView* view = tableForEdit(path);
    return ready(view) && view->selectDuplicateRowsOrCols(Axis::Col, true);
}
