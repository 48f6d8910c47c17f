// Prompts of the Data menu: how many times to insert or duplicate, and where to move rows and
// columns to.

#include "window/mainwindow.h"

#include "table/tablemodel.h"
#include "util/promptutilities.h"
#include "view/tableview.h"
#include "window/launcher.h"
#include "window/paneview.h"

namespace {
// More would only build a table that no one can scroll through.
constexpr int kMaxTimes = 100000;

bool raisePrompt(MainWindow* window, TableView* view, void (MainWindow::*prompt)()) {
    if (!view)
        return false;
    if (view != window->getActiveTable())
        window->setActiveTable(view);
    (window->*prompt)();
    return true;
}
} // namespace

bool MainWindow::commandInsertRowsBeforeMultipleTimes(const QString& path) {
    return raisePrompt(this, tableForEdit(path), &MainWindow::onInsertRowsBeforeMultipleTimesPrompt);
}

bool MainWindow::commandInsertColumnsBeforeMultipleTimes(const QString& path) {
    return raisePrompt(this, tableForEdit(path), &MainWindow::onInsertColumnsBeforeMultipleTimesPrompt);
}

bool MainWindow::commandDuplicateRowsMultipleTimes(const QString& path) {
    return raisePrompt(this, tableForEdit(path), &MainWindow::onDuplicateRowsMultipleTimesPrompt);
}

bool MainWindow::commandDuplicateColumnsMultipleTimes(const QString& path) {
    return raisePrompt(this, tableForEdit(path), &MainWindow::onDuplicateColumnsMultipleTimesPrompt);
}

bool MainWindow::commandMoveRowsJustAboveRow(const QString& path) {
    return raisePrompt(this, tableForEdit(path), &MainWindow::onMoveRowsJustAboveRowPrompt);
}

bool MainWindow::commandMoveColumnsToTheLeftOfColumn(const QString& path) {
    return raisePrompt(this, tableForEdit(path), &MainWindow::onMoveColumnsToTheLeftOfColumnPrompt);
}

void MainWindow::raiseCountPrompt(const QString& title, const QString& text,
                                  void (MainWindow::*received)(const QString&)) {
    if (!activeTable)
        return;
    Launcher* launcher = makePromptLauncher(
        title, tr("A whole number from 1 to %L1.<br>Examples: <b>3</b>, <b>10 times</b>").arg(kMaxTimes));
    launcher->setEditorText(text);
    connect(launcher, &Launcher::launcherResponseSignal, this, received);
    paneView->setLauncher(launcher);
}

bool MainWindow::takeCountAnswer(const QString& response, const QString& title,
                                 void (MainWindow::*received)(const QString&), int& times) {
    paneView->clearPrevOptionList();
    if (activeTable && Utilities::parseCountString(times, response, 1, kMaxTimes))
        return true;
    // An answer that is no count comes back in the prompt, to be put right.
    raiseCountPrompt(title, response, received);
    return false;
}

void MainWindow::onInsertRowsBeforeMultipleTimesPrompt() {
    raiseCountPrompt(tr("Insert Row(s) Before How Many Times?"), QString(),
                     &MainWindow::onInsertRowsBeforeMultipleTimesPromptReceived);
}

void MainWindow::onInsertRowsBeforeMultipleTimesPromptReceived(const QString& response) {
    int times = 0;
    if (takeCountAnswer(response, tr("Insert Row(s) Before How Many Times?"),
                        &MainWindow::onInsertRowsBeforeMultipleTimesPromptReceived, times))
        activeTable->insertRows({}, times, false);
}

void MainWindow::onInsertColumnsBeforeMultipleTimesPrompt() {
    raiseCountPrompt(tr("Insert Column(s) Before How Many Times?"), QString(),
                     &MainWindow::onInsertColumnsBeforeMultipleTimesPromptReceived);
}

void MainWindow::onInsertColumnsBeforeMultipleTimesPromptReceived(const QString& response) {
    int times = 0;
    if (takeCountAnswer(response, tr("Insert Column(s) Before How Many Times?"),
                        &MainWindow::onInsertColumnsBeforeMultipleTimesPromptReceived, times))
        activeTable->insertCols({}, times, false);
}

void MainWindow::onDuplicateRowsMultipleTimesPrompt() {
    raiseCountPrompt(tr("Duplicate Row(s) How Many Times?"), QString(),
                     &MainWindow::onDuplicateRowsMultipleTimesPromptReceived);
}

void MainWindow::onDuplicateRowsMultipleTimesPromptReceived(const QString& response) {
    int times = 0;
    if (takeCountAnswer(response, tr("Duplicate Row(s) How Many Times?"),
                        &MainWindow::onDuplicateRowsMultipleTimesPromptReceived, times))
        activeTable->duplicateRows(times, true);
}

void MainWindow::onDuplicateColumnsMultipleTimesPrompt() {
    raiseCountPrompt(tr("Duplicate Column(s) How Many Times?"), QString(),
                     &MainWindow::onDuplicateColumnsMultipleTimesPromptReceived);
}

void MainWindow::onDuplicateColumnsMultipleTimesPromptReceived(const QString& response) {
    int times = 0;
    if (takeCountAnswer(response, tr("Duplicate Column(s) How Many Times?"),
                        &MainWindow::onDuplicateColumnsMultipleTimesPromptReceived, times))
        activeTable->duplicateCols(times, true);
}

void MainWindow::onMoveRowsJustAboveRowPrompt() {
    if (!activeTable)
        return;
    Launcher* launcher = makePromptLauncher(tr("Move Row(s) Just Above Row:"), getCellInputInstructions());
    connect(launcher, &Launcher::promptEditedSignal, this, &MainWindow::highlightRowLineFromUserResponse);
    connect(launcher, &Launcher::launcherResponseSignal, this,
            &MainWindow::onMoveRowsJustAboveRowPromptReceived);
    paneView->setInitialScrollBarLocations();
    paneView->setLauncher(launcher);
}

void MainWindow::onMoveRowsJustAboveRowPromptReceived(const QString& response) {
    paneView->clearPrevOptionList();
    if (activeTable)
        activeTable->clearLineHighlights();
    int row = -1;
    int col = -1;
    if (!activeTable || !modelCellFromUserResponse(row, col, response)) {
        askAgain(&MainWindow::onMoveRowsJustAboveRowPrompt, response);
        return;
    }
    activeTable->moveRowsAbsolute(row);
}

void MainWindow::onMoveColumnsToTheLeftOfColumnPrompt() {
    if (!activeTable)
        return;
    Launcher* launcher =
        makePromptLauncher(tr("Move Column(s) to the Left of Column:"), getCellInputInstructions());
    connect(launcher, &Launcher::promptEditedSignal, this, &MainWindow::highlightColLineFromUserResponse);
    connect(launcher, &Launcher::launcherResponseSignal, this,
            &MainWindow::onMoveColumnsToTheLeftOfColumnPromptReceived);
    paneView->setInitialScrollBarLocations();
    paneView->setLauncher(launcher);
}

void MainWindow::onMoveColumnsToTheLeftOfColumnPromptReceived(const QString& response) {
    paneView->clearPrevOptionList();
    if (activeTable)
        activeTable->clearLineHighlights();
    int row = -1;
    int col = -1;
    if (!activeTable || !modelCellFromUserResponse(row, col, response)) {
        askAgain(&MainWindow::onMoveColumnsToTheLeftOfColumnPrompt, response);
        return;
    }
    activeTable->moveColsAbsolute(col);
}

bool MainWindow::commandDuplicateCellContentsTo(const QString& path) {
    return raisePrompt(this, tableForEdit(path), &MainWindow::onDuplicateCellContentsToPrompt);
}

void MainWindow::onDuplicateCellContentsToPrompt() {
    raiseCellPrompt(tr("Duplicate Cell Contents To:"), &MainWindow::highlightRangeFromUserResponse,
                    &MainWindow::onDuplicateCellContentsToPromptReceived);
}

void MainWindow::onDuplicateCellContentsToPromptReceived(const QString& response) {
    int row = -1;
    int col = -1;
    if (!takeCellAnswer(response, &MainWindow::onDuplicateCellContentsToPrompt, row, col))
        return;
    const Range& main = activeModel->getMainCell();
    if ((row != main.row || col != main.col) && !activeTable->duplicateCellContentsTo(row, col)) {
        // A place from which the copy would fall off the table: asked again.
        askAgain(&MainWindow::onDuplicateCellContentsToPrompt, response);
    }
}

bool MainWindow::commandMoveCellContentsTo(const QString& path) {
    return raisePrompt(this, tableForEdit(path), &MainWindow::onMoveCellContentsToPrompt);
}

void MainWindow::onMoveCellContentsToPrompt() {
    raiseCellPrompt(tr("Move Cell Contents To:"), &MainWindow::highlightRangeFromUserResponse,
                    &MainWindow::onMoveCellContentsToPromptReceived);
}

void MainWindow::onMoveCellContentsToPromptReceived(const QString& response) {
    int row = -1;
    int col = -1;
    if (!takeCellAnswer(response, &MainWindow::onMoveCellContentsToPrompt, row, col))
        return;
    // The main cell lands on the place typed; the rest of the selection keeps its shape around it.
    const Range& main = activeModel->getMainCell();
    if (row != main.row || col != main.col)
        activeTable->moveCellContents(row - main.row, col - main.col);
}
