// Prompts that ask for a place in the table: go to cell, select to a cell, and the live
// preview of the typed place.

#include "window/mainwindow.h"

#include "table/tablemodel.h"
#include "util/locationutilities.h"
#include "view/tableview.h"
#include "window/launcher.h"
#include "window/paneview.h"

#include <algorithm>

bool MainWindow::commandGoToCell(const QString& path) {
    TableView* view = activeTableForEdit(path);
    if (!view)
        return false;
    onGoToCellPrompt();
    return true;
}

bool MainWindow::commandSelectFromMainCellTo(const QString& path) {
    TableView* view = activeTableForEdit(path);
    if (!view)
        return false;
    onSelectFromMainCellToPrompt();
    return true;
}

bool MainWindow::modelCellFromUserResponse(int& row, int& col, const QString& text) const {
    if (!activeModel)
        return false;
    const bool letters = activeTable->getSettings(false).getValueBool(RepresentColumnsAsLetters);
    const Range& main = activeModel->getMainCell();
    int userRow = activeModel->getUserFromModelRow(std::max(0, main.row));
    int userCol = activeModel->getUserFromModelCol(std::max(0, main.col));
    int rawCol = activeModel->getRawFromModelCol(std::max(0, main.col));
    int parsedCol = letters ? rawCol : userCol;
    if (!Utilities::parseCellLocationString(userRow, parsedCol, text.trimmed(), letters, true))
        return false;
    // Letters name raw columns; numbers are in the user's counting, like rows.
    const int rawRow = activeModel->getRawFromUserRow(userRow);
    rawCol = letters ? parsedCol : activeModel->getRawFromUserCol(parsedCol);
    if (rawRow < 0 || rawCol < 0)
        return false;
    row = std::min(activeModel->getModelFromRawRow(rawRow), activeModel->rowCount() - 1);
    col = std::min(activeModel->getModelFromRawCol(rawCol), activeModel->columnCount() - 1);
    return row >= 0 && col >= 0;
}

// The launcher of a prompt that takes a cell: each keystroke previews the cell typed.
void MainWindow::raiseCellPrompt(const QString& title, void (MainWindow::*preview)(const QString&),
                                 void (MainWindow::*received)(const QString&)) {
    if (!activeTable)
        return;
    Launcher* launcher = makePromptLauncher(title, getCellInputInstructions());
    launcher->setupEntryFeedback();
    connect(launcher, &Launcher::promptEditedSignal, this, preview);
    connect(launcher, &Launcher::launcherResponseSignal, this, received);
    paneView->setInitialScrollBarLocations();
    paneView->setLauncher(launcher);
    (this->*preview)(QString());
    launcher->adjustHeight(0);
}

// Says under the prompt which cell `text` names and scrolls to it; false, with any preview
// highlight cleared, when it names none.
bool MainWindow::previewCellFromUserResponse(const QString& text, int& row, int& col) {
    Launcher* launcher = getLauncher();
    if (!activeModel || !launcher)
        return false;
    if (!modelCellFromUserResponse(row, col, text)) {
        launcher->setEntryFeedbackText(Utilities::computeCellRangeFeedbackString(-1, -1, false));
        activeModel->clearHighlightedRange();
        return false;
    }
    const bool letters = activeTable->getSettings(false).getValueBool(RepresentColumnsAsLetters);
    const int rawRow = activeModel->getRawFromModelRow(row);
    const int rawCol = activeModel->getRawFromModelCol(col);
    launcher->setEntryFeedbackText(Utilities::computeCellRangeFeedbackString(
        activeModel->getUserFromRawRow(rawRow), letters ? rawCol : activeModel->getUserFromRawCol(rawCol),
        letters));
    activeTable->scrollToCell(row, col, false, false);
    return true;
}

// The cell a cell prompt was answered with; an answer that names none asks again with it, so
// that it can be put right.
bool MainWindow::takeCellAnswer(const QString& response, void (MainWindow::*prompt)(), int& row, int& col) {
    paneView->clearPrevOptionList();
    if (activeModel)
        activeModel->clearHighlightedRange();
    if (activeTable && modelCellFromUserResponse(row, col, response))
        return true;
    askAgain(prompt, response);
    return false;
}

void MainWindow::askAgain(void (MainWindow::*prompt)(), const QString& response) {
    (this->*prompt)();
    if (Launcher* launcher = getLauncher())
        launcher->setEditorText(response);
}

void MainWindow::onGoToCellPrompt() {
    raiseCellPrompt(tr("Go to Cell:"), &MainWindow::highlightRangeFromUserResponse,
                    &MainWindow::onGoToCellPromptReceived);
}

void MainWindow::highlightRangeFromUserResponse(const QString& text) {
    int row = -1;
    int col = -1;
    if (!previewCellFromUserResponse(text, row, col))
        return;
    const int rawRow = activeModel->getRawFromModelRow(row);
    const int rawCol = activeModel->getRawFromModelCol(col);
    RangeVector highlight;
    highlight.push_back(Range(rawRow, rawCol, RangeIndexType::Raw));
    activeModel->setHighlightedRange(highlight);
}

void MainWindow::onGoToCellPromptReceived(const QString& response) {
    int row = -1;
    int col = -1;
    if (!takeCellAnswer(response, &MainWindow::onGoToCellPrompt, row, col))
        return;
    Range cell(row, col, RangeIndexType::Model);
    activeModel->setSelection(cell);
    activeTable->scrollToCell(row, col, false, false);
}

void MainWindow::onSelectFromMainCellToPrompt() {
    raiseCellPrompt(tr("Select From Main Cell To:"), &MainWindow::highlightFromMainCellToUserResponse,
                    &MainWindow::onSelectFromMainCellToPromptReceived);
}

void MainWindow::highlightFromMainCellToUserResponse(const QString& text) {
    int row = -1;
    int col = -1;
    if (!previewCellFromUserResponse(text, row, col))
        return;
    const Range& main = activeModel->getMainCell();
    // The highlight is in raw terms: the block's corners, as the table stores them.
    Range block(RangeType::Table, RangeIndexType::Raw);
    block.row = activeModel->getRawFromModelRow(std::min(row, main.row));
    block.col = activeModel->getRawFromModelCol(std::min(col, main.col));
    block.endRow = activeModel->getRawFromModelRow(std::max(row, main.row));
    block.endCol = activeModel->getRawFromModelCol(std::max(col, main.col));
    RangeVector highlight;
    highlight.push_back(block);
    activeModel->setHighlightedRange(highlight);
}

void MainWindow::onSelectFromMainCellToPromptReceived(const QString& response) {
    int row = -1;
    int col = -1;
    if (!takeCellAnswer(response, &MainWindow::onSelectFromMainCellToPrompt, row, col))
        return;
    Range main = activeModel->getMainCell();
    Range block(RangeType::Table, RangeIndexType::Model);
    block.row = std::min(row, main.row);
    block.col = std::min(col, main.col);
    block.endRow = std::max(row, main.row);
    block.endCol = std::max(col, main.col);
    RangeVector ranges;
    ranges.push_back(block);
    activeModel->setSelection(main, ranges);
}

void MainWindow::highlightRowLineFromUserResponse(const QString& text) {
    if (!activeModel)
        return;
    int row = -1;
    int col = -1;
    if (!modelCellFromUserResponse(row, col, text)) {
        activeTable->clearLineHighlights();
        return;
    }
    activeTable->setRowLineHighlightIndexes({row});
    activeTable->scrollToCellAxis(row, false, Axis::Row);
}

void MainWindow::highlightColLineFromUserResponse(const QString& text) {
    if (!activeModel)
        return;
    int row = -1;
    int col = -1;
    if (!modelCellFromUserResponse(row, col, text)) {
        activeTable->clearLineHighlights();
        return;
    }
    activeTable->setColLineHighlightIndexes({col});
    activeTable->scrollToCellAxis(col, false, Axis::Col);
}

bool MainWindow::commandGoToFile(const QString&) {
    if (getNumTables() == 0)
        return false;
    if (activeTable)
        activeTable->stopEditing(true);
    onGoToFilePrompt();
    return true;
}

void MainWindow::onGoToFilePrompt() {
    // The tables that follow the current one come first, as the tabs go round from it, and
    // the current one last.
    const std::vector<TableView*> views = paneView->getTableViews();
    const int count = static_cast<int>(views.size());
    const int current = std::max(0, paneView->getTableIndex(activeTable));
    std::vector<OptionData> options;
    for (int step = 1; step <= count; ++step) {
        const int index = (current + step) % count;
        TableView* view = views[static_cast<size_t>(index)];
        const QString path =
            view->tableModel() ? view->tableModel()->getTableData().getFilepath() : QString();
        // The response names the tab, so that two files of one name stay apart.
        options.push_back(OptionData{tableName(view), path, {}, {}, QStringLiteral("tab:%1").arg(index)});
    }
    Launcher* launcher = makePromptLauncher(tr("Go to File:"), QString());
    launcher->setOptions(options);
    connect(launcher, &Launcher::launcherResponseSignal, this, &MainWindow::onGoToFilePromptReceived);
    paneView->setLauncher(launcher);
}

void MainWindow::onGoToFilePromptReceived(const QString& response) {
    paneView->clearPrevOptionList();
    // A typed name that matches no open table goes nowhere.
    if (!response.startsWith(QLatin1String("tab:")))
        return;
    bool ok = false;
    const int index = response.mid(4).toInt(&ok);
    if (ok && index >= 0 && index < paneView->getNumTables())
        setActiveTable(paneView->getTableAt(index));
}
