// Command slots of the Data menu: moving, inserting, transposing, duplicating and deleting.

#include "window/mainwindow.h"

#include "table/tablemodel.h"
#include "view/tableview.h"

#include <QUndoStack>

// --- Move ---------------------------------------------------------------------------------------

bool MainWindow::commandMoveCellContentsUp() {
    TableView* view = tableForEdit();
    return view && view->moveCellContents(-1, 0);
}

bool MainWindow::commandMoveCellContentsDown() {
    TableView* view = tableForEdit();
    return view && view->moveCellContents(1, 0);
}

bool MainWindow::commandMoveCellContentsLeft() {
    TableView* view = tableForEdit();
    return view && view->moveCellContents(0, -1);
}

bool MainWindow::commandMoveCellContentsRight() {
    TableView* view = tableForEdit();
    return view && view->moveCellContents(0, 1);
}

bool MainWindow::commandMoveRowsUp() {
    TableView* view = tableForEdit();
    return view && view->moveRowsRelative(-1);
}

bool MainWindow::commandMoveRowsDown() {
    TableView* view = tableForEdit();
    return view && view->moveRowsRelative(1);
}

bool MainWindow::commandMoveColumnsLeft() {
    TableView* view = tableForEdit();
    return view && view->moveColsRelative(-1);
}

bool MainWindow::commandMoveColumnsRight() {
    TableView* view = tableForEdit();
    return view && view->moveColsRelative(1);
}

// --- Insert -------------------------------------------------------------------------------------

bool MainWindow::commandInsertRowsBefore() {
    TableView* view = tableForEdit();
    return view && view->insertRows({}, 1, false);
}

bool MainWindow::commandInsertColumnsBefore() {
    TableView* view = tableForEdit();
    return view && view->insertCols({}, 1, false);
}

bool MainWindow::commandInsertRowsAfter() {
    TableView* view = tableForEdit();
    return view && view->insertRows({}, 1, true);
}

bool MainWindow::commandInsertColumnsAfter() {
    TableView* view = tableForEdit();
    return view && view->insertCols({}, 1, true);
}

bool MainWindow::commandInsertCellsMoveRestOfRowRight() {
    TableView* view = tableForEdit();
    return view && view->insertCellsMoveRestOfRowRight();
}

bool MainWindow::commandInsertCellsMoveRestOfColumnDown() {
    TableView* view = tableForEdit();
    return view && view->insertCellsMoveRestOfColumnDown();
}

// --- Transpose ----------------------------------------------------------------------------------

bool MainWindow::commandTransposeTable() {
    TableView* view = tableForEdit();
    return view && view->transposeTable();
}

bool MainWindow::commandTransposeSelectedCells() {
    TableView* view = tableForEdit();
    return view && view->transposeSelectedCells();
}

// --- Duplicate ----------------------------------------------------------------------------------

bool MainWindow::commandDuplicateSelectedCellContentsUp() {
    TableView* view = tableForEdit();
    return view && view->duplicateCellContents(Direction::Up);
}

bool MainWindow::commandDuplicateSelectedCellContentsDown() {
    TableView* view = tableForEdit();
    return view && view->duplicateCellContents(Direction::Down);
}

bool MainWindow::commandDuplicateSelectedCellContentsLeft() {
    TableView* view = tableForEdit();
    return view && view->duplicateCellContents(Direction::Left);
}

bool MainWindow::commandDuplicateSelectedCellContentsRight() {
    TableView* view = tableForEdit();
    return view && view->duplicateCellContents(Direction::Right);
}

bool MainWindow::commandDuplicateRows() {
    TableView* view = tableForEdit();
    return view && view->duplicateRows(1, true);
}

bool MainWindow::commandDuplicateColumns() {
    TableView* view = tableForEdit();
    return view && view->duplicateCols(1, true);
}

// --- Delete -------------------------------------------------------------------------------------

bool MainWindow::commandClearCellContents() {
    TableView* view = tableForEdit();
    if (!view)
        return false;
    const int before = view->undoStack()->count();
    view->clearCellContents();
    return view->undoStack()->count() != before;
}

bool MainWindow::commandRemoveRows() {
    TableView* view = tableForEdit();
    return view && view->removeRows();
}

bool MainWindow::commandRemoveColumns() {
    TableView* view = tableForEdit();
    return view && view->removeCols();
}

bool MainWindow::commandRemoveEmptyRows() {
    TableView* view = tableForEdit();
    return view && view->removeEmptyLines(Axis::Row, false);
}

bool MainWindow::commandRemoveEmptyColumns() {
    TableView* view = tableForEdit();
    return view && view->removeEmptyLines(Axis::Col, false);
}

bool MainWindow::commandRemoveEmptyRowsBasedOnSelectedColumnsOnly() {
    TableView* view = tableForEdit();
    return view && view->removeEmptyLines(Axis::Row, true);
}

bool MainWindow::commandRemoveEmptyColumnsBasedOnSelectedRowsOnly() {
    TableView* view = tableForEdit();
    return view && view->removeEmptyLines(Axis::Col, true);
}

bool MainWindow::commandRemoveSelectedCellsMoveRestOfRowLeft() {
    TableView* view = tableForEdit();
    return view && view->removeSelectedCellsMoveRestOfRowLeft();
}

bool MainWindow::commandRemoveSelectedCellsMoveRestOfColumnUp() {
    TableView* view = tableForEdit();
    return view && view->removeSelectedCellsMoveRestOfColumnUp();
}

bool MainWindow::commandRemoveSelectedCellsAndTheRestOfTheirRows() {
    TableView* view = tableForEdit();
    return view && view->removeSelectedCellsAndTheRestOfTheirRows();
}

bool MainWindow::commandRemoveSelectedCellsAndTheRestOfTheirColumns() {
    TableView* view = tableForEdit();
    return view && view->removeSelectedCellsAndTheRestOfTheirColumns();
}

bool MainWindow::commandRemoveExtraneousRowsAndColumns() {
    TableView* view = tableForEdit();
    return view && view->removeEmptyRowsColsAtEnd();
}

// --- Settings -----------------------------------------------------------------------------------

bool MainWindow::commandToggleCaseSensitiveSorting() {
    setCaseSensitiveSorting(!settings.getValueBool(CaseSensitiveSorting));
    return true;
}
