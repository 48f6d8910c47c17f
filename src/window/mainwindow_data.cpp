// Command slots of the Data menu: moving, inserting, transposing, duplicating and deleting.

#include "window/mainwindow.h"

#include "table/tablemodel.h"
#include "view/tableview.h"

#include <QUndoStack>

// --- Move ---------------------------------------------------------------------------------------

bool MainWindow::commandMoveCellContentsUp(const QString& path) {
    TableView* view = tableForEdit(path);
    return view && view->moveCellContents(-1, 0);
}

bool MainWindow::commandMoveCellContentsDown(const QString& path) {
    TableView* view = tableForEdit(path);
    return view && view->moveCellContents(1, 0);
}

bool MainWindow::commandMoveCellContentsLeft(const QString& path) {
    TableView* view = tableForEdit(path);
    return view && view->moveCellContents(0, -1);
}

bool MainWindow::commandMoveCellContentsRight(const QString& path) {
    TableView* view = tableForEdit(path);
    return view && view->moveCellContents(0, 1);
}

bool MainWindow::commandMoveRowsUp(const QString& path) {
    TableView* view = tableForEdit(path);
    return view && view->moveRowsRelative(-1);
}

bool MainWindow::commandMoveRowsDown(const QString& path) {
    TableView* view = tableForEdit(path);
    return view && view->moveRowsRelative(1);
}

bool MainWindow::commandMoveColumnsLeft(const QString& path) {
    TableView* view = tableForEdit(path);
    return view && view->moveColsRelative(-1);
}

bool MainWindow::commandMoveColumnsRight(const QString& path) {
    TableView* view = tableForEdit(path);
    return view && view->moveColsRelative(1);
}

// --- Insert -------------------------------------------------------------------------------------

bool MainWindow::commandInsertRowsBefore(const QString& path) {
    TableView* view = tableForEdit(path);
    return view && view->insertRows({}, 1, false);
}

bool MainWindow::commandInsertColumnsBefore(const QString& path) {
    TableView* view = tableForEdit(path);
    return view && view->insertCols({}, 1, false);
}

bool MainWindow::commandInsertRowsAfter(const QString& path) {
    TableView* view = tableForEdit(path);
    return view && view->insertRows({}, 1, true);
}

bool MainWindow::commandInsertColumnsAfter(const QString& path) {
    TableView* view = tableForEdit(path);
    return view && view->insertCols({}, 1, true);
}

bool MainWindow::commandInsertCellsMoveRestOfRowRight(const QString& path) {
    TableView* view = tableForEdit(path);
    return view && view->insertCellsMoveRestOfRowRight();
}

bool MainWindow::commandInsertCellsMoveRestOfColumnDown(const QString& path) {
    TableView* view = tableForEdit(path);
    return view && view->insertCellsMoveRestOfColumnDown();
}

// --- Transpose ----------------------------------------------------------------------------------

bool MainWindow::commandTransposeTable(const QString& path) {
    TableView* view = tableForEdit(path);
    return view && view->transposeTable();
}

bool MainWindow::commandTransposeSelectedCells(const QString& path) {
    TableView* view = tableForEdit(path);
    return view && view->transposeSelectedCells();
}

// --- Duplicate ----------------------------------------------------------------------------------

bool MainWindow::commandDuplicateSelectedCellContentsUp(const QString& path) {
    TableView* view = tableForEdit(path);
    return view && view->duplicateCellContents(Direction::Up);
}

bool MainWindow::commandDuplicateSelectedCellContentsDown(const QString& path) {
    TableView* view = tableForEdit(path);
    return view && view->duplicateCellContents(Direction::Down);
}

bool MainWindow::commandDuplicateSelectedCellContentsLeft(const QString& path) {
    TableView* view = tableForEdit(path);
    return view && view->duplicateCellContents(Direction::Left);
}

bool MainWindow::commandDuplicateSelectedCellContentsRight(const QString& path) {
    TableView* view = tableForEdit(path);
    return view && view->duplicateCellContents(Direction::Right);
}

bool MainWindow::commandDuplicateRows(const QString& path) {
    TableView* view = tableForEdit(path);
    return view && view->duplicateRows(1, true);
}

bool MainWindow::commandDuplicateColumns(const QString& path) {
    TableView* view = tableForEdit(path);
    return view && view->duplicateCols(1, true);
}

// --- Delete -------------------------------------------------------------------------------------

bool MainWindow::commandClearCellContents(const QString& path) {
    TableView* view = tableForEdit(path);
    if (!view)
        return false;
    const int before = view->undoStack()->count();
    view->clearCellContents();
    return view->undoStack()->count() != before;
}

bool MainWindow::commandRemoveRows(const QString& path) {
    TableView* view = tableForEdit(path);
    return view && view->removeRows();
}

bool MainWindow::commandRemoveColumns(const QString& path) {
    TableView* view = tableForEdit(path);
    return view && view->removeCols();
}

bool MainWindow::commandRemoveEmptyRows(const QString& path) {
    TableView* view = tableForEdit(path);
    return view && view->removeEmptyLines(Axis::Row, false);
}

bool MainWindow::commandRemoveEmptyColumns(const QString& path) {
    TableView* view = tableForEdit(path);
    return view && view->removeEmptyLines(Axis::Col, false);
}

bool MainWindow::commandRemoveEmptyRowsBasedOnSelectedColumnsOnly(const QString& path) {
    TableView* view = tableForEdit(path);
    return view && view->removeEmptyLines(Axis::Row, true);
}

bool MainWindow::commandRemoveEmptyColumnsBasedOnSelectedRowsOnly(const QString& path) {
    TableView* view = tableForEdit(path);
    return view && view->removeEmptyLines(Axis::Col, true);
}

bool MainWindow::commandRemoveSelectedCellsMoveRestOfRowLeft(const QString& path) {
    TableView* view = tableForEdit(path);
    return view && view->removeSelectedCellsMoveRestOfRowLeft();
}

bool MainWindow::commandRemoveSelectedCellsMoveRestOfColumnUp(const QString& path) {
    TableView* view = tableForEdit(path);
    return view && view->removeSelectedCellsMoveRestOfColumnUp();
}

bool MainWindow::commandRemoveSelectedCellsAndTheRestOfTheirRows(const QString& path) {
    TableView* view = tableForEdit(path);
    return view && view->removeSelectedCellsAndTheRestOfTheirRows();
}

bool MainWindow::commandRemoveSelectedCellsAndTheRestOfTheirColumns(const QString& path) {
    TableView* view = tableForEdit(path);
    return view && view->removeSelectedCellsAndTheRestOfTheirColumns();
}

bool MainWindow::commandRemoveExtraneousRowsAndColumns(const QString& path) {
    TableView* view = tableForEdit(path);
    return view && view->removeEmptyRowsColsAtEnd();
}

// --- Settings -----------------------------------------------------------------------------------

bool MainWindow::commandToggleCaseSensitiveSorting(const QString&) {
    setCaseSensitiveSorting(!settings.getValueBool(CaseSensitiveSorting));
    return true;
}

// --- Sort ---------------------------------------------------------------------------------------

bool MainWindow::commandSortSelectedColumnAscending(const QString& path) {
    TableView* view = tableForEdit(path);
    return view && view->sortRowsOrCols(Axis::Row, SortType::Ascending);
}

bool MainWindow::commandSortSelectedColumnDescending(const QString& path) {
    TableView* view = tableForEdit(path);
    return view && view->sortRowsOrCols(Axis::Row, SortType::Descending);
}

bool MainWindow::commandSortSelectedRowAscending(const QString& path) {
    TableView* view = tableForEdit(path);
    return view && view->sortRowsOrCols(Axis::Col, SortType::Ascending);
}

bool MainWindow::commandSortSelectedRowDescending(const QString& path) {
    TableView* view = tableForEdit(path);
    return view && view->sortRowsOrCols(Axis::Col, SortType::Descending);
}

bool MainWindow::commandSortSelectedCellsHorizontallyAscending(const QString& path) {
    TableView* view = tableForEdit(path);
    return view && view->sortSelectedCells(Axis::Row, SortType::Ascending);
}

bool MainWindow::commandSortSelectedCellsHorizontallyDescending(const QString& path) {
    TableView* view = tableForEdit(path);
    return view && view->sortSelectedCells(Axis::Row, SortType::Descending);
}

bool MainWindow::commandSortSelectedCellsVerticallyAscending(const QString& path) {
    TableView* view = tableForEdit(path);
    return view && view->sortSelectedCells(Axis::Col, SortType::Ascending);
}

bool MainWindow::commandSortSelectedCellsVerticallyDescending(const QString& path) {
    TableView* view = tableForEdit(path);
    return view && view->sortSelectedCells(Axis::Col, SortType::Descending);
}

// --- Duplicates ---------------------------------------------------------------------------------

bool MainWindow::commandRemoveDuplicateRows(const QString& path) {
    TableView* view = tableForEdit(path);
    return view && view->removeDuplicateRowsOrCols(Axis::Row, false);
}

bool MainWindow::commandRemoveDuplicateColumns(const QString& path) {
    TableView* view = tableForEdit(path);
    return view && view->removeDuplicateRowsOrCols(Axis::Col, false);
}

bool MainWindow::commandRemoveDuplicateRowsBasedOnSelectedColumnsOnly(const QString& path) {
    TableView* view = tableForEdit(path);
    return view && view->removeDuplicateRowsOrCols(Axis::Row, true);
}

bool MainWindow::commandRemoveDuplicateColumnsBasedOnSelectedRowsOnly(const QString& path) {
    TableView* view = tableForEdit(path);
    return view && view->removeDuplicateRowsOrCols(Axis::Col, true);
}
