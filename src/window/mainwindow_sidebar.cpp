// The side bar of open files and folders, the file metadata pane, and their commands.

#include "window/mainwindow.h"

#include "panes/filemetadatawidget.h"
#include "panes/sidebar.h"
#include "table/tablemodel.h"
#include "util/fileoptionutilities.h"
#include "util/msgbox.h"
#include "view/tableview.h"
#include "window/filedialoghelper.h"
#include "window/launcher.h"
#include "window/paneview.h"

#include <QApplication>
#include <QDir>
#include <QFileInfo>
#include <QPainter>
#include <QScrollArea>
#include <QSignalBlocker>
#include <QStatusBar>
#include <QToolButton>

namespace {

QString cleanPath(const QString& path) {
    return QDir::cleanPath(QFileInfo(path).absoluteFilePath());
}

QString pathOf(const TableView* view) {
    return view && view->tableModel() ? view->tableModel()->getTableData().getFilepath() : QString();
}

bool isBelow(const QString& path, const QString& folder) {
    return path.startsWith(folder.endsWith(QLatin1Char('/')) ? folder : folder + QLatin1Char('/'));
}

// A window outline with its left or right part filled: the pane the button shows and hides.
QIcon paneIcon(bool left) {
    QPixmap pixmap(17, 13);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    const QColor color = QApplication::palette().color(QPalette::WindowText);
    painter.setPen(color);
    painter.drawRect(0, 0, 16, 12);
    painter.fillRect(left ? QRect(1, 1, 5, 11) : QRect(11, 1, 5, 11), color);
    return QIcon(pixmap);
}

} // namespace

// --- Set-up -------------------------------------------------------------------------------------

void MainWindow::setupSidePanes() {
    sideBar->setupContextMenus(commands);
    sideBar->setOpenablePredicate([this](const QString& path) { return isOpenableFromSidebar(path); });
    sideBar->showOpenFiles(paneVisibility.showSideBarOpenFiles);
    sideBar->showFolders(paneVisibility.showSideBarFolders);
    metadataPane->setupActions(commands);
    connect(sideBar, &SideBar::tableSelectedSignal, this, &MainWindow::setActiveTable);
    connect(sideBar, &SideBar::openFileSignal, this, &MainWindow::openFile);
    connect(sideBar, &SideBar::renameFolderSignal, this,
            [this](const QString& path) { onRenameFolderPrompt(path); });
    connect(sideBar, &SideBar::closeFolderSignal, this, &MainWindow::closeFolder);
    connect(sideBar, &SideBar::foldersChangedSignal, this, &MainWindow::onSidebarFoldersChanged);
}

void MainWindow::setupSidePaneButtons() {
    const auto make = [this](bool left, const Command& command, const QString& tip) {
        auto* button = new QToolButton(this);
        button->setObjectName(left ? QStringLiteral("left_bar_button") : QStringLiteral("right_bar_button"));
        button->setAutoRaise(true);
        button->setCheckable(true);
        button->setFocusPolicy(Qt::NoFocus);
        button->setIcon(paneIcon(left));
        button->setIconSize(QSize(17, 13));
        button->setFixedSize(17, 13);
        const QString keys = command.action->shortcut().toString(QKeySequence::NativeText);
        button->setToolTip(keys.isEmpty() ? tip : QStringLiteral("%1 (%2)").arg(tip, keys));
        button->setChecked(command.action->isChecked());
        // The button shows the switch as the menu does, and presses it.
        connect(command.action, &QAction::changed, button,
                [button, action = command.action] { button->setChecked(action->isChecked()); });
        connect(button, &QToolButton::clicked, this, [this, left, button] {
            if (left)
                commandToggleShowSideBar();
            else
                commandToggleShowFileMetadata();
            button->setChecked(left ? getPaneVisibility().showSideBar : getPaneVisibility().showFileMetadata);
        });
        return button;
    };
    statusBar()->insertWidget(0, make(true, commands.toggleShowSideBar, tr("Open or Close the Sidebar")));
    statusBar()->addPermanentWidget(
        make(false, commands.toggleShowFileMetadata, tr("Open or Close File Metadata")));
}

bool MainWindow::isOpenableFromSidebar(const QString& path) const {
    // What the program reads: the extensions of its table, and JSON and XML, which it imports.
    QString extension = QFileInfo(path).suffix().toLower();
    if (extension == QLatin1String("json") || extension == QLatin1String("xml"))
        return true;
    if (extension.isEmpty())
        extension = QStringLiteral("(none)");
    return std::any_of(extensions.begin(), extensions.end(), [&extension](const ExtensionData& data) {
        return data.extension.toLower() == extension;
    });
}

void MainWindow::onSidebarFoldersChanged() {
    sidebarFolderpathList = sideBar->getFolders();
    const Context bits =
        sidebarFolderpathList.isEmpty() ? context - ContextFoldersOpen : context | ContextFoldersOpen;
    if (!(bits == context))
        setContext(bits);
    // Written at once, so that a folder opened is remembered whatever ends the program.
    if (!constructing)
        updateConfigFile();
}

void MainWindow::setSidebarTopFolderpathList(const QStringList& list) {
    {
        // Read from "Orvane.ini": nothing to write back.
        const QSignalBlocker blocker(sideBar);
        sideBar->setFolders(list);
    }
    sidebarFolderpathList = sideBar->getFolders();
    setContext(sidebarFolderpathList.isEmpty() ? context - ContextFoldersOpen : context | ContextFoldersOpen);
}

// --- Folders ------------------------------------------------------------------------------------

bool MainWindow::commandOpenFolder() {
    if (!QFileInfo(lastUsedDirectory).isDir())
        lastUsedDirectory = QDir::homePath();
    const QString tableDir = getCurrentTableDir();
    const QString folder = FileDialogHelper::getExistingDirectory(
        this, tr("Open Folder"), tableDir.isEmpty() ? lastUsedDirectory : tableDir);
    if (folder.isEmpty() || !QFileInfo(folder).isDir())
        return false;
    lastUsedDirectory = folder;
    openFolder(folder);
    return true;
}

bool MainWindow::commandCloseFolder() {
    // The folder the user last picked in the tree, else the one opened last.
    QString folder = sideBar->currentTopFolder();
    if (folder.isEmpty() && !sidebarFolderpathList.isEmpty())
        folder = sidebarFolderpathList.last();
    return closeFolder(folder);
}

bool MainWindow::closeFolder(const QString& path) {
    return !path.isEmpty() && sideBar->closeFolder(path);
}

bool MainWindow::renameFolder(const QString& oldPath, const QString& newPath) {
    const QString from = cleanPath(oldPath);
    const QString to = cleanPath(newPath);
    if (from == to || !QDir().rename(from, to))
        return false;
    // The program's other windows may hold tables of files in the folder too.
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        if (auto* window = qobject_cast<MainWindow*>(widget))
            window->followRenamedFolder(from, to);
    }
    return true;
}

void MainWindow::followRenamedFolder(const QString& oldPath, const QString& newPath) {
    const QString from = cleanPath(oldPath);
    const QString to = cleanPath(newPath);
    // Every table of a file in the folder goes with it, as after a rename of its file.
    for (TableView* view : getAllTableViews()) {
        const QString path = pathOf(view);
        if (!path.isEmpty() && isBelow(path, from))
            movePathOfTable(path, to + path.mid(from.size()));
    }
    sideBar->renameFolderPath(from, to);
}

void MainWindow::onRenameFolderPrompt(const QString& path, const QString& text) {
    const QFileInfo info(cleanPath(path));
    Launcher* launcher = makePromptLauncher(
        tr("Rename Folder:"), tr("A new name for the folder <b>%1</b>. Open files in it stay open.")
                                  .arg(info.fileName().toHtmlEscaped()));
    if (text.isEmpty()) {
        launcher->setEditorText(info.fileName());
        launcher->setEditorSelection(0, static_cast<int>(info.fileName().size()));
    } else {
        launcher->setEditorText(text);
    }
    connect(launcher, &Launcher::launcherResponseSignal, this,
            [this, path](const QString& response) { onRenameFolderPromptReceived(path, response); });
    paneView->setLauncher(launcher);
}

void MainWindow::onRenameFolderPromptReceived(const QString& path, const QString& response) {
    paneView->clearPrevOptionList();
    const QString source = cleanPath(path);
    if (!QFileInfo(source).isDir()) {
        MsgBox::inform(this, QStringLiteral("The folder doesn't exist."));
        return;
    }
    const QString name = response.trimmed();
    if (name.isEmpty() || name == QFileInfo(source).fileName())
        return;
    if (!Utilities::fileNameValid(name)) {
        onRenameFolderPrompt(path, response);
        return;
    }
    const QString target = cleanPath(QFileInfo(source).dir().filePath(name));
    if (QFileInfo::exists(target)) {
        MsgBox::inform(this, QStringLiteral("A folder already exists at that location."));
        onRenameFolderPrompt(path, response);
        return;
    }
    if (!renameFolder(source, target))
        MsgBox::inform(this, tr("The folder could not be renamed."));
}

// --- Showing the parts --------------------------------------------------------------------------

void MainWindow::showSideBarOpenFiles(bool show) {
    paneVisibility.showSideBarOpenFiles = show;
    settings.setValue(ShowSideBarOpenFiles, show);
    sideBar->showOpenFiles(show);
    // The side bar goes when its last part does, and comes back with its first.
    if (paneVisibility.showSideBar && sideBar->hasContent() == sideBar->isHidden())
        showSideBar(true, false);
    refreshToggles();
}

void MainWindow::showSideBarFolders(bool show) {
    paneVisibility.showSideBarFolders = show;
    settings.setValue(ShowSideBarFolders, show);
    sideBar->showFolders(show);
    if (paneVisibility.showSideBar && sideBar->hasContent() == sideBar->isHidden())
        showSideBar(true, false);
    refreshToggles();
}

bool MainWindow::commandToggleShowSideBar() {
    const bool shown = paneVisibility.showSideBar && sideBar->hasContent();
    // Asked for a side bar with both parts off, the user gets both back.
    if (!shown && !sideBar->hasContent()) {
        paneVisibility.showSideBar = false;
        showSideBarOpenFiles(true);
        showSideBarFolders(true);
    }
    showSideBar(!shown, true);
    refreshToggles();
    return true;
}

bool MainWindow::commandToggleShowFileMetadata() {
    showMetadata(!paneVisibility.showFileMetadata, true);
    refreshToggles();
    return true;
}

bool MainWindow::commandToggleShowSideBarOpenFiles() {
    const bool on = !paneVisibility.showSideBarOpenFiles;
    showSideBarOpenFiles(on);
    if (on && !paneVisibility.showSideBar)
        showSideBar(true, true);
    refreshToggles();
    return true;
}

bool MainWindow::commandToggleShowSideBarFolders() {
    const bool on = !paneVisibility.showSideBarFolders;
    showSideBarFolders(on);
    if (on && !paneVisibility.showSideBar)
        showSideBar(true, true);
    refreshToggles();
    return true;
}

void MainWindow::initializeSidebarWidth() {
    if (paneVisibility.showSideBar && sideBar->hasContent())
        setPaneSize(Pane::SideBar, std::min(sidebarShowWidth, (width() + 1) * 2 / 3));
    if (paneVisibility.showFileMetadata)
        setPaneSize(Pane::Metadata, std::min(metadataShowWidth, (width() + 1) * 2 / 3));
}

void MainWindow::showEvent(QShowEvent* event) {
    QMainWindow::showEvent(event);
    if (!sidePanesSized) {
        sidePanesSized = true;
        initializeSidebarWidth();
    }
}

void MainWindow::refreshMetadata() {
    // A hidden pane is refilled when it is shown.
    if (!metadataPane || metadataScrollArea->isHidden())
        return;
    metadataPane->setTable(activeTable);
}
