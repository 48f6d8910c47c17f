// Command slots of the cell transformations: case, format, numbers, multi-cell, string
// manipulation and the plain Data commands. Those that need an answer raise their prompt.

#include "window/mainwindow.h"

#include "view/tableview.h"

TableView* MainWindow::tableForTransform(const QString& path) {
    TableView* view = tableForEdit(path);
    if (!view || view->isReadOnly())
        return nullptr;
    if (view != activeTable)
        setActiveTable(view);
    return view;
}

namespace {

template <typename Op> bool runOn(TableView* view, Op op) {
    return view && op(view);
}

} // namespace

// --- Case ---------------------------------------------------------------------------------------

bool MainWindow::commandUpperCase(const QString& path) {
    return runOn(tableForTransform(path), [](TableView* v) { return v->upperCase(); });
}

bool MainWindow::commandLowerCase(const QString& path) {
    return runOn(tableForTransform(path), [](TableView* v) { return v->lowerCase(); });
}

bool MainWindow::commandTitleCase(const QString& path) {
    return runOn(tableForTransform(path), [](TableView* v) { return v->titleCase(); });
}

bool MainWindow::commandUpperCamelCase(const QString& path) {
    return runOn(tableForTransform(path), [](TableView* v) { return v->upperCamelCase(); });
}

bool MainWindow::commandLowerCamelCase(const QString& path) {
    return runOn(tableForTransform(path), [](TableView* v) { return v->lowerCamelCase(); });
}

bool MainWindow::commandUpperSnakeCase(const QString& path) {
    return runOn(tableForTransform(path), [](TableView* v) { return v->upperSnakeCase(); });
}

bool MainWindow::commandLowerSnakeCase(const QString& path) {
    return runOn(tableForTransform(path), [](TableView* v) { return v->lowerSnakeCase(); });
}

bool MainWindow::commandConvertToAcronym(const QString& path) {
    return runOn(tableForTransform(path), [](TableView* v) { return v->convertToAcronym(); });
}

// --- Format and numbers -------------------------------------------------------------------------

bool MainWindow::commandConvertDateTimeFormat(const QString& path) {
    if (!tableForTransform(path))
        return false;
    onConvertDateTimeFormatPrompt();
    return true;
}

bool MainWindow::commandConvertNumberFormat(const QString& path) {
    if (!tableForTransform(path))
        return false;
    onConvertNumberFormatPrompt();
    return true;
}

bool MainWindow::commandPlaceCurrentDateTimeStamp(const QString& path) {
    return runOn(tableForTransform(path), [](TableView* v) { return v->placeCurrentDateTimeStamp(); });
}

bool MainWindow::commandZeroFillWholeNumbers(const QString& path) {
    if (!tableForTransform(path))
        return false;
    onZeroFillWholeNumbersPrompt();
    return true;
}

bool MainWindow::commandRemoveLeadingZeros(const QString& path) {
    return runOn(tableForTransform(path), [](TableView* v) { return v->removeLeadingZeros(); });
}

bool MainWindow::commandRandomIntegers(const QString& path) {
    if (!tableForTransform(path))
        return false;
    onRandomValuesPrompt(false);
    return true;
}

bool MainWindow::commandRandomDecimals(const QString& path) {
    if (!tableForTransform(path))
        return false;
    onRandomValuesPrompt(true);
    return true;
}

bool MainWindow::commandSetNumberOfDecimals(const QString& path) {
    if (!tableForTransform(path))
        return false;
    onSetNumberOfDecimalsPrompt();
    return true;
}

// --- Multi-cell ---------------------------------------------------------------------------------

bool MainWindow::commandCopyMainCellContentsToAllSelectedCells(const QString& path) {
    return runOn(tableForTransform(path),
                 [](TableView* v) { return v->copyMainCellContentsToAllSelectedCells(); });
}

bool MainWindow::commandFillSelectedCellsWithSeries(const QString& path) {
    if (!tableForTransform(path))
        return false;
    onFillSelectedCellsWithSeriesPrompt();
    return true;
}

bool MainWindow::commandReshapeSelectedCellsRowWise(const QString& path) {
    if (!tableForTransform(path))
        return false;
    onReshapeSelectedCellsPrompt(true);
    return true;
}

bool MainWindow::commandReshapeSelectedCellsColumnWise(const QString& path) {
    if (!tableForTransform(path))
        return false;
    onReshapeSelectedCellsPrompt(false);
    return true;
}

// --- String manipulation ------------------------------------------------------------------------

bool MainWindow::commandJoinSelectedCellsHorizontally(const QString& path) {
    if (!tableForTransform(path))
        return false;
    onJoinSelectedCellsPrompt(0);
    return true;
}

bool MainWindow::commandJoinSelectedCellsVertically(const QString& path) {
    if (!tableForTransform(path))
        return false;
    onJoinSelectedCellsPrompt(1);
    return true;
}

bool MainWindow::commandJoinSelectedCellsHorizontallyMoveRestOfRowLeft(const QString& path) {
    if (!tableForTransform(path))
        return false;
    onJoinSelectedCellsPrompt(2);
    return true;
}

bool MainWindow::commandSplitSelectedCellsHorizontally(const QString& path) {
    if (!tableForTransform(path))
        return false;
    onSplitSelectedCellsPrompt(0);
    return true;
}

bool MainWindow::commandSplitSelectedCellsVertically(const QString& path) {
    if (!tableForTransform(path))
        return false;
    onSplitSelectedCellsPrompt(1);
    return true;
}

bool MainWindow::commandSplitSelectedCellsHorizontallyMoveRestOfRowRight(const QString& path) {
    if (!tableForTransform(path))
        return false;
    onSplitSelectedCellsPrompt(2);
    return true;
}

bool MainWindow::commandKeepOnlyLeftPartOfSelectedCells(const QString& path) {
    if (!tableForTransform(path))
        return false;
    onKeepPartOfCellsPrompt(0);
    return true;
}

bool MainWindow::commandKeepOnlyMiddlePartOfSelectedCells(const QString& path) {
    if (!tableForTransform(path))
        return false;
    onKeepPartOfCellsPrompt(1);
    return true;
}

bool MainWindow::commandKeepOnlyRightPartOfSelectedCells(const QString& path) {
    if (!tableForTransform(path))
        return false;
    onKeepPartOfCellsPrompt(2);
    return true;
}

// --- Data ---------------------------------------------------------------------------------------

bool MainWindow::commandPrependCellContents(const QString& path) {
    if (!tableForTransform(path))
        return false;
    onPrependOrAppendPrompt(false);
    return true;
}

bool MainWindow::commandAppendCellContents(const QString& path) {
    if (!tableForTransform(path))
        return false;
    onPrependOrAppendPrompt(true);
    return true;
}

bool MainWindow::commandTrimSelectedCells(const QString& path) {
    return runOn(tableForTransform(path), [](TableView* v) { return v->trimSelectedCells(); });
}

bool MainWindow::commandFillSelectedCellsWithUuidGuid(const QString& path) {
    if (!tableForTransform(path))
        return false;
    onFillSelectedCellsWithUuidGuidPrompt();
    return true;
}

bool MainWindow::commandListCharacterEncodings(const QString& path) {
    if (!tableForEdit(path))
        return false;
    onListCharacterEncodingsPrompt();
    return true;
}

bool MainWindow::commandAddOrUpdateIdColumn(const QString& path) {
    TableView* view = tableForTransform(path);
    if (!view)
        return false;
    if (view->hasIdColumn())
        return view->updateIdColumn();
    onFirstIdValuePrompt();
    return true;
}

bool MainWindow::commandSetUuidType(const QString&) {
    if (!activeTable)
        return false;
    onSetUuidTypePrompt();
    return true;
}
