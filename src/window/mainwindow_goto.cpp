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

bool MainWindow::commandSwitchToTabOnTheRight(const QString& path) {
    const int index = paneView->getTableIndex(resolveTable(path));
    const int count = paneView->getNumTables();
    return index >= 0 && count > 1 && switchToTab((index + 1) % count);
}

bool MainWindow::commandSwitchToTabOnTheLeft(const QString& path) {
    const int index = paneView->getTableIndex(resolveTable(path));
    const int count = paneView->getNumTables();
    return index >= 0 && count > 1 && switchToTab((index + count - 1) % count);
}

bool MainWindow::commandSwitchToTab1(const QString&) {
    return switchToTab(0);
}

bool MainWindow::commandSwitchToTab2(const QString&) {
    return switchToTab(1);
}

bool MainWindow::commandSwitchToTab3(const QString&) {
    return switchToTab(2);
}

bool MainWindow::commandSwitchToTab4(const QString&) {
    return switchToTab(3);
}

bool MainWindow::commandSwitchToTab5(const QString&) {
    return switchToTab(4);
}

bool MainWindow::commandSwitchToTab6(const QString&) {
    return switchToTab(5);
}

bool MainWindow::commandSwitchToTab7(const QString&) {
    return switchToTab(6);
}

bool MainWindow::commandSwitchToTab8(const QString&) {
    return switchToTab(7);
}

bool MainWindow::commandSwitchToTab9(const QString&) {
    return switchToTab(8);
}

bool MainWindow::commandSwitchToTab10(const QString&) {
    return switchToTab(9);
}

bool MainWindow::commandScrollUpOneScreen(const QString& path) {
    TableView* view = resolveTable(path);
    if (!ready(view))
        return false;
    view->scroll(Direction::Up, true);
    return true;
}

bool MainWindow::commandScrollDownOneScreen(const QString& path) {
    TableView* view = resolveTable(path);
    if (!ready(view))
        return false;
    view->scroll(Direction::Down, true);
    return true;
}

bool MainWindow::commandScrollLeftOneScreen(const QString& path) {
    TableView* view = resolveTable(path);
    if (!ready(view))
        return false;
    view->scroll(Direction::Left, true);
    return true;
}

bool MainWindow::commandScrollRightOneScreen(const QString& path) {
    TableView* view = resolveTable(path);
    if (!ready(view))
        return false;
    view->scroll(Direction::Right, true);
    return true;
}

bool MainWindow::commandScrollToTop(const QString& path) {
    TableView* view = resolveTable(path);
    if (!ready(view))
        return false;
    QScrollBar* bar = view->verticalScrollBar();
    bar->setValue(bar->minimum());
    return true;
}

bool MainWindow::commandScrollToBottom(const QString& path) {
    TableView* view = resolveTable(path);
    if (!ready(view))
        return false;
    QScrollBar* bar = view->verticalScrollBar();
    bar->setValue(bar->maximum());
    return true;
}

bool MainWindow::commandScrollToFarLeft(const QString& path) {
    TableView* view = resolveTable(path);
    if (!ready(view))
        return false;
    QScrollBar* bar = view->horizontalScrollBar();
    bar->setValue(bar->minimum());
    return true;
}

bool MainWindow::commandScrollToFarRight(const QString& path) {
    TableView* view = resolveTable(path);
    if (!ready(view))
        return false;
    QScrollBar* bar = view->horizontalScrollBar();
    bar->setValue(bar->maximum());
    return true;
}

bool MainWindow::commandGoUpOneScreen(const QString& path) {
    TableView* view = tableForEdit(path);
    if (!view)
        return false;
    view->moveSelectionOneScreen(Direction::Up);
    return true;
}

bool MainWindow::commandGoDownOneScreen(const QString& path) {
    TableView* view = tableForEdit(path);
    if (!view)
        return false;
    view->moveSelectionOneScreen(Direction::Down);
    return true;
}

bool MainWindow::commandGoLeftOneScreen(const QString& path) {
    TableView* view = tableForEdit(path);
    if (!view)
        return false;
    view->moveSelectionOneScreen(Direction::Left);
    return true;
}

bool MainWindow::commandGoRightOneScreen(const QString& path) {
    TableView* view = tableForEdit(path);
    if (!view)
        return false;
    view->moveSelectionOneScreen(Direction::Right);
    return true;
}

bool MainWindow::commandGoToTop(const QString& path) {
    TableView* view = tableForEdit(path);
    if (!view)
        return false;
    view->goToTop();
    view->scrollToMainCell(false, false);
    return true;
}

bool MainWindow::commandGoToBottom(const QString& path) {
    TableView* view = tableForEdit(path);
    if (!view)
        return false;
    view->goToBottom();
    view->scrollToMainCell(false, false);
    return true;
}

bool MainWindow::commandGoToFarLeft(const QString& path) {
    TableView* view = tableForEdit(path);
    if (!view)
        return false;
    view->goToFarLeft();
    view->scrollToMainCell(false, false);
    return true;
}

bool MainWindow::commandGoToFarRight(const QString& path) {
    TableView* view = tableForEdit(path);
    if (!view)
        return false;
    view->goToFarRight();
    view->scrollToMainCell(false, false);
    return true;
}

bool MainWindow::commandFollowSelectedHyperlinks(const QString& path) {
    TableView* view = resolveTable(path);
    return ready(view) && view->followSelectedHyperlinks();
}

bool MainWindow::commandEmailSelectedEmailAddresses(const QString& path) {
    TableView* view = resolveTable(path);
    return ready(view) && view->emailSelectedAddresses();
}

bool MainWindow::commandWebSearchForSelectedTerms(const QString& path) {
    TableView* view = resolveTable(path);
    return ready(view) && view->webSearchForSelectedTerms();
}

bool MainWindow::commandWebSearchForSelectedPlacesInMap(const QString& path) {
    TableView* view = resolveTable(path);
    return ready(view) && view->webSearchForSelectedPlacesInMap();
}
