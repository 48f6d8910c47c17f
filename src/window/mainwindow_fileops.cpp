// Renaming, moving, duplicating and deleting files; the recent list and the watcher's records.

#include "window/mainwindow.h"

#include "panes/sidebar.h"
#include "panes/tabbar.h"
#include "storage/abstractdatacontainer.h"
#include "table/tablemodel.h"
#include "util/msgbox.h"
#include "view/tableview.h"
#include "window/filedialoghelper.h"
#include "window/paneview.h"

#include <QAction>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QFileSystemWatcher>
#include <QMenu>

namespace {

constexpr int kMaxRecentFiles = 50;
constexpr int kRecentFilesShown = 25; // in the menu; the launcher offers them all

QString normalizedPath(const QString& path) {
    return QDir::cleanPath(QFileInfo(path).absoluteFilePath());
}

const QString kFileMissing = QStringLiteral("The file doesn't exist. Save it first.");

} // namespace

MainWindow::OverwriteAnswer MainWindow::askOverwrite() {
    const int answer =
        MsgBox::ask(this, QStringLiteral("A file already exists there. Do you want to overwrite it?"),
                    {{QStringLiteral("&Overwrite"), QMessageBox::AcceptRole},
                     {QStringLiteral("Do&n't Overwrite"), QMessageBox::DestructiveRole},
                     {QStringLiteral("&Cancel"), QMessageBox::RejectRole}},
                    1);
    return answer == 0 || answer == 1 ? static_cast<OverwriteAnswer>(answer) : OverwriteAnswer::Cancel;
}

bool MainWindow::refuseOpenTarget(const QString& target) {
    if (!getTableView(target) && !getTableViewElsewhere(target))
        return false;
    MsgBox::inform(this, QStringLiteral("That file is open in another tab. Close it first."));
    return true;
}

QString MainWindow::getCurrentTableDir() const {
    const QString path = getActiveFilepath();
    if (path.isEmpty() || !QFileInfo::exists(path))
        return QString();
    return QFileInfo(path).absolutePath();
}

void MainWindow::movePathOfTable(const QString& oldPath, const QString& newPath) {
    TableView* view = getTableView(oldPath);
    unwatchFile(oldPath);
    clearWatchedFileState(oldPath);
    replaceFilepathInRecentFilepaths(oldPath, newPath);
    if (!view)
        return;
    if (AbstractDataContainer* container = view->tableModel()->getTableData().getDataContainer())
        container->setFilepath(newPath);
    watchFile(newPath);
    recordWatchedFileState(newPath);
    paneView->getTabBar()->renameTable(view, tableName(view));
    sideBar->renameTable(view, tableName(view), newPath);
    if (view == activeTable) {
        updateWindowTitle();
        refreshMetadata();
    }
}

bool MainWindow::renameFile(const QString& oldPath, const QString& newPath) {
    const QString from = normalizedPath(oldPath);
    const QString to = normalizedPath(newPath);
    if (!QFile::rename(from, to))
        return false;
    movePathOfTable(from, to);
    return true;
}

bool MainWindow::moveFile(const QString& path) {
    if (!QFileInfo(lastUsedDirectory).isDir())
        lastUsedDirectory = QDir::homePath();
    const QString tableDir = getCurrentTableDir();
    const QString folder = FileDialogHelper::getExistingDirectory(
        this, QStringLiteral("Select Folder"), tableDir.isEmpty() ? lastUsedDirectory : tableDir);
    if (folder.isEmpty())
        return false;
    const QString source = normalizedPath(path);
    const QString target = QDir(folder).filePath(QFileInfo(source).fileName());
    if (normalizedPath(target) == source)
        return false;
    if (path.isEmpty() || !QFileInfo::exists(source)) {
        MsgBox::inform(this, kFileMissing);
        return false;
    }
    if (QFileInfo::exists(target)) {
        if (refuseOpenTarget(normalizedPath(target)))
            return false;
        switch (askOverwrite()) {
        case OverwriteAnswer::Overwrite:
            if (!QFile::remove(target))
                return false;
            break;
        case OverwriteAnswer::DontOverwrite:
            return commandMoveFile(path);
        case OverwriteAnswer::Cancel:
            return false;
        }
    }
    lastUsedDirectory = folder;
    return moveFile(source, folder);
}

bool MainWindow::moveFile(const QString& path, const QString& folder) {
    const QString source = normalizedPath(path);
    const QString target = normalizedPath(QDir(folder).filePath(QFileInfo(source).fileName()));
    if (target == source || !QFile::copy(source, target))
        return false;
    movePathOfTable(source, target);
    QFile::remove(source);
    return true;
}

bool MainWindow::commandMoveFile(const QString& path) {
    TableView* view = resolveTable(path);
    if (!view)
        return false;
    const QString file = view->tableModel()->getTableData().getFilepath();
    if (file.isEmpty()) {
        MsgBox::inform(this, kFileMissing);
        return false;
    }
    return moveFile(file);
}

bool MainWindow::duplicateFile(const QString& path, const QString& newName) {
    return tryDuplicateFile(path, newName) == DuplicateResult::Done;
}

bool MainWindow::commandDeleteFile(const QString& path) {
    TableView* view = resolveTable(path);
    if (!view)
        return false;
    const QString file = view->tableModel()->getTableData().getFilepath();
    const int answer =
        MsgBox::ask(this, QStringLiteral("Are you sure you want to delete file %1?").arg(tableName(view)),
                    {{QStringLiteral("&Delete"), QMessageBox::AcceptRole},
                     {QStringLiteral("Do&n't Delete"), QMessageBox::RejectRole}},
                    1);
    if (answer != 0)
        return false;
    closeFileNoSave(view);
    if (file.isEmpty() || !QFile::remove(file))
        return false;
    removeFilepathFromRecentFilepaths(file);
    return true;
}

// --- Recent files -------------------------------------------------------------------------------

void MainWindow::addFilepathToRecentFilepaths(const QString& path) {
    if (path.trimmed().isEmpty())
        return;
    recentFilepathList.removeAll(path);
    recentFilepathList.prepend(path);
    while (recentFilepathList.size() > kMaxRecentFiles)
        recentFilepathList.removeLast();
    refreshRecentFilesMenu();
    updateConfigFile();
}

void MainWindow::removeFilepathFromRecentFilepaths(const QString& path) {
    if (!recentFilepathList.removeAll(path))
        return;
    refreshRecentFilesMenu();
    updateConfigFile();
}

void MainWindow::replaceFilepathInRecentFilepaths(const QString& oldPath, const QString& newPath) {
    if (!recentFilepathList.contains(oldPath))
        return;
    for (QString& entry : recentFilepathList) {
        if (entry == oldPath)
            entry = newPath;
    }
    recentFilepathList.removeDuplicates();
    refreshRecentFilesMenu();
    updateConfigFile();
}

void MainWindow::bumpUpFileInRecentFilepaths(const QString& path) {
    if (recentFilepathList.contains(path) && recentFilepathList.front() != path)
        addFilepathToRecentFilepaths(path);
}

void MainWindow::refreshRecentFilesMenu() {
    if (!recentFilesMenu)
        return;
    recentFilesMenu->clear();
    if (recentFilepathList.isEmpty()) {
        recentFilesMenu->addAction(tr("(none)"))->setEnabled(false);
        return;
    }
    for (const QString& path : recentFilepathList.mid(0, kRecentFilesShown)) {
        QString text = path;
        text.replace(u'&', QStringLiteral("&&")); // a path's "&" is no accelerator
        connect(recentFilesMenu->addAction(text), &QAction::triggered, this,
                [this, path] { openRecentFile(path); });
    }
}

void MainWindow::openRecentFile(const QString& path) {
    if (path.isEmpty())
        return;
    if (QFileInfo::exists(path)) {
        openFile(path);
        return;
    }
    MsgBox::inform(this, QStringLiteral("This file no longer exists:\n%1").arg(path));
    removeFilepathFromRecentFilepaths(path);
}

void MainWindow::setRecentFiles(const QList<QString>& list) {
    recentFilepathList.clear();
    for (const QString& path : list) {
        if (!path.trimmed().isEmpty() && !recentFilepathList.contains(path))
            recentFilepathList.append(path);
    }
    while (recentFilepathList.size() > kMaxRecentFiles)
        recentFilepathList.removeLast();
    refreshRecentFilesMenu();
}

// --- Watcher records ----------------------------------------------------------------------------

void MainWindow::watchFile(const QString& path) {
    if (!path.isEmpty() && QFileInfo::exists(path) && !fileWatcher->files().contains(path))
        fileWatcher->addPath(path);
}

void MainWindow::unwatchFile(const QString& path) {
    if (fileWatcher->files().contains(path))
        fileWatcher->removePath(path);
}

void MainWindow::recordWatchedFileState(const QString& path) {
    const QFileInfo info(path);
    if (!info.exists())
        return;
    watchedFileStates[path] = WatchedState{info.size(), info.lastModified()};
}

void MainWindow::clearWatchedFileState(const QString& path) {
    watchedFileStates.erase(path);
}

QStringList MainWindow::getWatchedFiles() const {
    return fileWatcher->files();
}
