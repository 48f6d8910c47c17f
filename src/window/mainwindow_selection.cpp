// Command slots of the Selection menu.

#include "window/mainwindow.h"

#include "table/tablemodel.h"
#include "view/tableview.h"

namespace {

bool ready(const TableView* view) {
    return view && view->tableModel() && !view->isLoading();
}

} // namespace

bool MainWindow::commandSelectUp() {
    if (!ready(activeTable))
        return false;
    activeTable->extendSelection(Direction::Up, false);
    activeTable->scrollToMainCell(false, false);
    return true;
}

bool MainWindow::commandSelectDown() {
    if (!ready(activeTable))
        return false;
    activeTable->extendSelection(Direction::Down, false);
    activeTable->scrollToMainCell(false, false);
    return true;
}

bool MainWindow::commandSelectLeft() {
    if (!ready(activeTable))
        return false;
    activeTable->extendSelection(Direction::Left, false);
    activeTable->scrollToMainCell(false, false);
    return true;
}

bool MainWindow::commandSelectRight() {
    if (!ready(activeTable))
        return false;
    activeTable->extendSelection(Direction::Right, false);
    activeTable->scrollToMainCell(false, false);
    return true;
}

bool MainWindow::commandSelectUpByABlock() {
    if (!ready(activeTable))
        return false;
    activeTable->extendSelection(Direction::Up, true);
    return true;
}

bool MainWindow::commandSelectDownByABlock() {
    if (!ready(activeTable))
        return false;
    activeTable->extendSelection(Direction::Down, true);
    return true;
}

bool MainWindow::commandSelectLeftByABlock() {
    if (!ready(activeTable))
        return false;
    activeTable->extendSelection(Direction::Left, true);
    return true;
}

bool MainWindow::commandSelectRightByABlock() {
    if (!ready(activeTable))
        return false;
    activeTable->extendSelection(Direction::Right, true);
    return true;
}

bool MainWindow::commandSelectUpToTopOfColumnHeaderExcluded() {
    if (!ready(activeTable))
        return false;
    activeTable->selectToEdge(Direction::Up, true);
    return true;
}

bool MainWindow::commandSelectDownToBottomOfColumn() {
    if (!ready(activeTable))
        return false;
    activeTable->selectToEdge(Direction::Down, false);
    return true;
}

bool MainWindow::commandSelectLeftToStartOfRowHeaderExcluded() {
    if (!ready(activeTable))
        return false;
    activeTable->selectToEdge(Direction::Left, true);
    return true;
}

bool MainWindow::commandSelectRightToEndOfRow() {
    if (!ready(activeTable))
        return false;
    activeTable->selectToEdge(Direction::Right, false);
    return true;
}

bool MainWindow::commandSelectEntireColumns() {
    if (!ready(activeTable))
        return false;
    activeTable->selectEntireCols();
    return true;
}

bool MainWindow::commandSelectEntireColumnsHeaderExcluded() {
    if (!ready(activeTable))
        return false;
    activeTable->selectEntireColsHeaderExcluded();
    return true;
}

bool MainWindow::commandSelectEntireRows() {
    if (!ready(activeTable))
        return false;
    activeTable->selectEntireRows();
    return true;
}

bool MainWindow::commandSelectEntireRowsHeaderExcluded() {
    if (!ready(activeTable))
        return false;
    activeTable->selectEntireRowsHeaderExcluded();
    return true;
}

bool MainWindow::commandSelectEntireTable() {
    if (!ready(activeTable))
        return false;
    activeTable->selectEntireTable();
    return true;
}

bool MainWindow::commandMoveSelectionUp() {
    TableView* view = tableForEdit();
    if (!view)
        return false;
    view->moveSelectionRelative(-1, 0);
    view->scrollToMainCell(false, false);
    return true;
}

bool MainWindow::commandMoveSelectionDown() {
    TableView* view = tableForEdit();
    if (!view)
        return false;
    view->moveSelectionRelative(1, 0);
    view->scrollToMainCell(false, false);
    return true;
}

bool MainWindow::commandMoveSelectionLeft() {
    TableView* view = tableForEdit();
    if (!view)
        return false;
    view->moveSelectionRelative(0, -1);
    view->scrollToMainCell(false, false);
    return true;
}

bool MainWindow::commandMoveSelectionRight() {
    TableView* view = tableForEdit();
    if (!view)
        return false;
    view->moveSelectionRelative(0, 1);
    view->scrollToMainCell(false, false);
    return true;
}

bool MainWindow::commandMoveSelectionUpByABlock() {
    if (!ready(activeTable))
        return false;
    activeTable->moveSelectionByBlock(Direction::Up);
    return true;
}

bool MainWindow::commandMoveSelectionDownByABlock() {
    if (!ready(activeTable))
        return false;
    activeTable->moveSelectionByBlock(Direction::Down);
    return true;
}

bool MainWindow::commandMoveSelectionLeftByABlock() {
    if (!ready(activeTable))
        return false;
    activeTable->moveSelectionByBlock(Direction::Left);
    return true;
}

bool MainWindow::commandMoveSelectionRightByABlock() {
    if (!ready(activeTable))
        return false;
    activeTable->moveSelectionByBlock(Direction::Right);
    return true;
}

bool MainWindow::commandInvertSelectionByRowsHeaderExcluded() {
    if (!ready(activeTable))
        return false;
    activeTable->tableModel()->invertSelectionByRowsHeaderExcluded();
    activeTable->refreshView();
    return true;
}

bool MainWindow::commandInvertSelectionByColumnsHeaderExcluded() {
    if (!ready(activeTable))
        return false;
    activeTable->tableModel()->invertSelectionByColumnsHeaderExcluded();
    activeTable->refreshView();
    return true;
}
