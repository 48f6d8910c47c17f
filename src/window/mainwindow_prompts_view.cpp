// Prompts of the View menu that ask for a number.

#include "window/mainwindow.h"

#include "table/tablemodel.h"
#include "util/promptutilities.h"
#include "view/tableview.h"
#include "window/launcher.h"
#include "window/paneview.h"

bool MainWindow::commandSetNumberOfHeaderRows(const QString& path) {
    TableView* view = activeTableForEdit(path);
    if (!view)
        return false;
    onSetNumberOfHeaderRowsPrompt();
    return true;
}

bool MainWindow::commandSetNumberOfHeaderColumns(const QString& path) {
    TableView* view = activeTableForEdit(path);
    if (!view)
        return false;
    onSetNumberOfHeaderColumnsPrompt();
    return true;
}

void MainWindow::onSetNumberOfHeaderRowsPrompt() {
    if (!activeTable)
        return;
    Launcher* launcher =
        makePromptLauncher(tr("Number of Header Rows:"),
                           tr("Rows at the top that label the columns; <b>0</b> for none. Now: <b>%1</b>")
                               .arg(activeTable->getNumHeaderRows()));
    connect(launcher, &Launcher::launcherResponseSignal, this,
            &MainWindow::onSetNumberOfHeaderRowsPromptReceived);
    paneView->setLauncher(launcher);
}

void MainWindow::onSetNumberOfHeaderRowsPromptReceived(const QString& response) {
    paneView->clearPrevOptionList();
    int count = 0;
    if (!activeModel || !Utilities::parseCountString(count, response, 0, activeModel->rowCountModel())) {
        askAgain(&MainWindow::onSetNumberOfHeaderRowsPrompt, response);
        return;
    }
    activeTable->applyVisibleHeaderRows(count, true, true);
}

void MainWindow::onSetNumberOfHeaderColumnsPrompt() {
    if (!activeTable)
        return;
    Launcher* launcher =
        makePromptLauncher(tr("Number of Header Columns:"),
                           tr("Columns at the left that label the rows; <b>0</b> for none. Now: <b>%1</b>")
                               .arg(activeTable->getNumHeaderCols()));
    connect(launcher, &Launcher::launcherResponseSignal, this,
            &MainWindow::onSetNumberOfHeaderColumnsPromptReceived);
    paneView->setLauncher(launcher);
}

void MainWindow::onSetNumberOfHeaderColumnsPromptReceived(const QString& response) {
    paneView->clearPrevOptionList();
    int count = 0;
    if (!activeModel || !Utilities::parseCountString(count, response, 0, activeModel->columnCountModel())) {
        askAgain(&MainWindow::onSetNumberOfHeaderColumnsPrompt, response);
        return;
    }
    activeTable->setNumberOfHeaderColumns(count, true);
}
