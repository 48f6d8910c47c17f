// Command slots of the Go To menu: tabs, scrolling, moving the selection by screens and to
// the edges, and opening what the selected cells name.

#include "window/mainwindow.h"

#include "table/tablemodel.h"
#include "view/tableview.h"
#include "window/paneview.h"

#include <QScrollBar>

namespace {

bool ready(const TableView* view) {
    return view && view->tableModel() && !view->isLoading();
}

} // namespace

bool MainWindow::switchToTab(int index) {
    TableView* view = paneView->getTableAt(index);
    if (!view)
        return false;
    setActiveTable(view);
    return true;
}

bool MainWindow::commandSwitchToTabOnTheRight() {
    const int count = paneView->getNumTables();
    return count > 1 && switchToTab((paneView->getTableIndex(activeTable) + 1) % count);
}

bool MainWindow::commandSwitchToTabOnTheLeft() {
    const int count = paneView->getNumTables();
    return count > 1 && switchToTab((paneView->getTableIndex(activeTable) + count - 1) % count);
}

bool MainWindow::commandSwitchToTab1() {
    return switchToTab(0);
}

bool MainWindow::commandSwitchToTab2() {
    return switchToTab(1);
}

bool MainWindow::commandSwitchToTab3() {
    return switchToTab(2);
}

bool MainWindow::commandSwitchToTab4() {
    return switchToTab(3);
}

bool MainWindow::commandSwitchToTab5() {
    return switchToTab(4);
}

bool MainWindow::commandSwitchToTab6() {
    return switchToTab(5);
}

bool MainWindow::commandSwitchToTab7() {
    return switchToTab(6);
}

bool MainWindow::commandSwitchToTab8() {
    return switchToTab(7);
}

bool MainWindow::commandSwitchToTab9() {
    return switchToTab(8);
}

bool MainWindow::commandSwitchToTab10() {
    return switchToTab(9);
}

bool MainWindow::commandScrollUpOneScreen() {
    if (!ready(activeTable))
        return false;
    activeTable->scroll(Direction::Up, true);
    return true;
}

bool MainWindow::commandScrollDownOneScreen() {
    if (!ready(activeTable))
        return false;
    activeTable->scroll(Direction::Down, true);
    return true;
}

bool MainWindow::commandScrollLeftOneScreen() {
    if (!ready(activeTable))
        return false;
    activeTable->scroll(Direction::Left, true);
    return true;
}

bool MainWindow::commandScrollRightOneScreen() {
    if (!ready(activeTable))
        return false;
    activeTable->scroll(Direction::Right, true);
    return true;
}

bool MainWindow::commandScrollToTop() {
    if (!ready(activeTable))
        return false;
    QScrollBar* bar = activeTable->verticalScrollBar();
    bar->setValue(bar->minimum());
    return true;
}

bool MainWindow::commandScrollToBottom() {
    if (!ready(activeTable))
        return false;
    QScrollBar* bar = activeTable->verticalScrollBar();
    bar->setValue(bar->maximum());
    return true;
}

bool MainWindow::commandScrollToFarLeft() {
    if (!ready(activeTable))
        return false;
    QScrollBar* bar = activeTable->horizontalScrollBar();
    bar->setValue(bar->minimum());
    return true;
}

bool MainWindow::commandScrollToFarRight() {
    if (!ready(activeTable))
        return false;
    QScrollBar* bar = activeTable->horizontalScrollBar();
    bar->setValue(bar->maximum());
    return true;
}

bool MainWindow::commandGoUpOneScreen() {
    TableView* view = tableForEdit();
    if (!view)
        return false;
    view->moveSelectionOneScreen(Direction::Up);
    return true;
}

bool MainWindow::commandGoDownOneScreen() {
    TableView* view = tableForEdit();
    if (!view)
        return false;
    view->moveSelectionOneScreen(Direction::Down);
    return true;
}

bool MainWindow::commandGoLeftOneScreen() {
    TableView* view = tableForEdit();
    if (!view)
        return false;
    view->moveSelectionOneScreen(Direction::Left);
    return true;
}

bool MainWindow::commandGoRightOneScreen() {
    TableView* view = tableForEdit();
    if (!view)
        return false;
    view->moveSelectionOneScreen(Direction::Right);
    return true;
}

bool MainWindow::commandGoToTop() {
    TableView* view = tableForEdit();
    if (!view)
        return false;
    view->goToTop();
    view->scrollToMainCell(false, false);
    return true;
}

bool MainWindow::commandGoToBottom() {
    TableView* view = tableForEdit();
    if (!view)
        return false;
    view->goToBottom();
    view->scrollToMainCell(false, false);
    return true;
}

bool MainWindow::commandGoToFarLeft() {
    TableView* view = tableForEdit();
    if (!view)
        return false;
    view->goToFarLeft();
    view->scrollToMainCell(false, false);
    return true;
}

bool MainWindow::commandGoToFarRight() {
    TableView* view = tableForEdit();
    if (!view)
        return false;
    view->goToFarRight();
    view->scrollToMainCell(false, false);
    return true;
}

bool MainWindow::commandFollowSelectedHyperlinks() {
    return ready(activeTable) && activeTable->followSelectedHyperlinks();
}

bool MainWindow::commandEmailSelectedEmailAddresses() {
    return ready(activeTable) && activeTable->emailSelectedAddresses();
}

bool MainWindow::commandWebSearchForSelectedTerms() {
    return ready(activeTable) && activeTable->webSearchForSelectedTerms();
}

bool MainWindow::commandWebSearchForSelectedPlacesInMap() {
    return ready(activeTable) && activeTable->webSearchForSelectedPlacesInMap();
}
