#include "window/mainwindow.h"

#include "table/range.h"
#include "table/tabledata.h"
#include "table/tablemodel.h"
#include "util/msgbox.h"
#include "view/tableview.h"
#include "window/paneview.h"

#include <QApplication>
#include <QFileInfo>
#include <QFileSystemWatcher>
#include <QScrollBar>
#include <QTimer>
#include <QUndoStack>

namespace {

// A burst of change signals (a program writing a file in several steps) makes one check.
int s_externalChangeDelayMs = 750;
// How long after the program's own save a change signal is taken for that save's echo.
int s_internalChangeCooldownMs = 3000;

} // namespace

void MainWindow::setExternalChangeTimingForTesting(int delayMs, int cooldownMs) {
    s_externalChangeDelayMs = delayMs;
    s_internalChangeCooldownMs = cooldownMs;
}

void MainWindow::onFileChanged(const QString& path) {
    if (settings.getValueRefreshBehavior(RefreshBehaviorOption) == RefreshBehaviorIgnore)
        return;
    if (!getTableView(path))
        return;
    deferExternalFileChange(path);
}

void MainWindow::deferExternalFileChange(const QString& path) {
    if (path.isEmpty())
        return;
    const int token = ++pendingExternalChangeTokens[path];
    QTimer::singleShot(s_externalChangeDelayMs, this,
                       [this, path, token] { processExternalFileChange(path, token); });
}

void MainWindow::processExternalFileChange(const QString& path, int token) {
    const auto pending = pendingExternalChangeTokens.find(path);
    if (pending == pendingExternalChangeTokens.end() || pending->second != token ||
        settings.getValueRefreshBehavior(RefreshBehaviorOption) == RefreshBehaviorIgnore)
        return;
    TableView* view = getTableView(path);
    if (!view)
        return;
    const auto later = [this, path, token] {
        QTimer::singleShot(s_externalChangeDelayMs, this,
                           [this, path, token] { processExternalFileChange(path, token); });
    };
    // Not now: while the program writes or reads the file (a load that read some of it before
    // the change is checked once it ends), while work on the table runs, while a question is
    // open (its answer may be about this very table), and while a cell is being typed (it ends
    // in an edit of the table as it is now).
    if (saveInProgress || reloadingFilepaths.contains(path) || view->isLoading() || isWorking() ||
        QApplication::activeModalWidget() || view->isEditing()) {
        later();
        return;
    }
    const auto cooldown = internalChangeCooldowns.find(path);
    if (cooldown != internalChangeCooldowns.end() && QDateTime::currentDateTimeUtc() < cooldown->second) {
        later();
        return;
    }
    pendingExternalChangeTokens.erase(path);
    if (!QFileInfo::exists(path)) {
        // The table is now the only copy of what the file held: it stays open, unsaved, so that
        // closing it asks and a save writes the file again.
        clearWatchedFileState(path);
        if (!view->isReadOnly())
            view->markModified();
        return;
    }
    // A file replaced by renaming another over it is no longer the one the watcher watched.
    watchFile(path);
    if (!hasWatchedFileStateChanged(path))
        return;

    // Asked always with that setting, and with the refresh setting over unsaved changes: the
    // second answer keeps the table and takes the file's new state as seen.
    const bool ask = settings.getValueRefreshBehavior(RefreshBehaviorOption) == RefreshBehaviorAsk;
    if (ask || view->isModified()) {
        const QString text =
            ask ? QStringLiteral("This file has been changed externally.\n\nWould you like to reload it?")
                : QStringLiteral("This file has been changed externally, but you have unsaved changes.\n\n"
                                 "Would you like to reload the file or ignore the external changes?");
        const QString keep = ask ? QStringLiteral("Do&n't Reload") : QStringLiteral("&Ignore");
        if (MsgBox::ask(
                this, text,
                {{QStringLiteral("&Reload"), QMessageBox::AcceptRole}, {keep, QMessageBox::AcceptRole}},
                0) != 0) {
            recordWatchedFileState(path);
            return;
        }
    }
    // The question may have given the event loop to a close of the table.
    view = getTableView(path);
    if (!view || view->isLoading())
        return;

    retainFiltersForReload(view);
    const int vertical = view->verticalScrollBar()->value();
    const int horizontal = view->horizontalScrollBar()->value();
    rememberReloadPlace(view, path);
    filepathSavedList.append(path);
    reloadingFilepaths.append(path);
    startInternalFileChangeCooldown(path);
    // The undo steps name rows and cells of the old contents: they go with them.
    view->undoStack()->clear();
    view->loadCSV(path, true);
    view->verticalScrollBar()->setValue(vertical);
    view->horizontalScrollBar()->setValue(horizontal);
}

bool MainWindow::hasWatchedFileStateChanged(const QString& path) const {
    const QFileInfo info(path);
    const auto it = watchedFileStates.find(path);
    if (!info.exists() || it == watchedFileStates.end())
        return true;
    return it->second.modified != info.lastModified() || it->second.size != info.size();
}

void MainWindow::startInternalFileChangeCooldown(const QString& path) {
    if (!path.isEmpty())
        internalChangeCooldowns[path] = QDateTime::currentDateTimeUtc().addMSecs(s_internalChangeCooldownMs);
}

void MainWindow::onSaveStarted(const QString& path) {
    saveInProgress = true;
    filepathSavedList.append(path);
    startInternalFileChangeCooldown(path);
}

void MainWindow::onSaveFinished(const QString& path) {
    saveInProgress = false;
    startInternalFileChangeCooldown(path);
    if (getTableView(path))
        recordWatchedFileState(path);
    QTimer::singleShot(1000, this, [this] { resetFilepathSavedList(); });
}

void MainWindow::resetFilepathSavedList() {
    // A save replaces the file by a new one, which the watcher no longer watches.
    const QStringList paths = filepathSavedList;
    filepathSavedList.clear();
    for (const QString& path : paths) {
        if (!getTableView(path))
            continue;
        watchFile(path);
        recordWatchedFileState(path);
    }
}

void MainWindow::rememberReloadPlace(TableView* view, const QString& path) {
    const Range main = view->tableModel()->getMainCell();
    reloadPlaces[path] = {view->verticalScrollBar()->value(), view->horizontalScrollBar()->value(), main.row,
                          main.col};
}

void MainWindow::finishExternalReload(TableView* view) {
    const QString path = view->tableModel()->getTableData().getFilepath();
    if (reloadingFilepaths.removeAll(path)) {
        recordWatchedFileState(path);
        resetFilepathSavedList();
        view->markClean();
    }
    // The load selects the first cell and the rows come in after the scroll was set: the place
    // goes back once the table and its retained filters stand.
    const auto place = reloadPlaces.find(path);
    if (place == reloadPlaces.end())
        return;
    QTimer::singleShot(0, view, [view, where = place->second] {
        TableModel* model = view->tableModel();
        if (where.row >= 0 && where.col >= 0 && model->rowCount() > 0 && model->columnCount() > 0) {
            Range cell(std::min(where.row, model->rowCount() - 1),
                       std::min(where.col, model->columnCount() - 1), RangeIndexType::Model);
            model->setSelection(cell);
        }
        view->verticalScrollBar()->setValue(where.vertical);
        view->horizontalScrollBar()->setValue(where.horizontal);
    });
    reloadPlaces.erase(place);
}
