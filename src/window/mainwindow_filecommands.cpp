// Command slots of the File menu that mainwindow_file.cpp doesn't hold: new window, opening,
// the file's place on disk and the file settings.

#include "window/mainwindow.h"

#include "table/tablemodel.h"
#include "util/msgbox.h"
#include "view/tableview.h"
#include "window/filedialoghelper.h"

#include <QApplication>
#include <QClipboard>
#include <QFileInfo>
#include <QProcess>

namespace {

QString filepathOf(const TableView* view) {
    return view && view->tableModel() ? view->tableModel()->getTableData().getFilepath() : QString();
}

} // namespace

bool MainWindow::commandNewWindow(const QString&) {
    emit createNewInstanceSignal(false, QStringList());
    return true;
}

bool MainWindow::commandOpenFile(const QString&) {
    const QString start = getCurrentTableDir().isEmpty() ? lastUsedDirectory : getCurrentTableDir();
    const QStringList paths =
        FileDialogHelper::getOpenFileNames(this, tr("Open File"), start, getFiletypeFilter(true));
    if (paths.isEmpty())
        return false;
    lastUsedDirectory = QFileInfo(paths.first()).absolutePath();
    return openFiles(paths);
}

bool MainWindow::commandShowFileInFileSystem(const QString& path) {
    const QString file = filepathOf(resolveTable(path));
    if (file.isEmpty())
        return false;
    emit showFileInFileSystemSignal(file);
    return true;
}

bool MainWindow::commandOpenTerminalToFilesDirectory(const QString& path) {
    const QString file = filepathOf(resolveTable(path));
    if (file.isEmpty())
        return false;
    emit openTerminalToFilesDirectorySignal(file);
    return true;
}

bool MainWindow::commandOpenFileInTextEditor(const QString& path) {
    const QString file = filepathOf(resolveTable(path));
    if (file.isEmpty())
        return false;
    if (!QProcess::startDetached(settings.getValueString(TextEditor), {file})) {
        MsgBox::inform(this, tr("Invalid editor path."));
        return false;
    }
    return true;
}

bool MainWindow::commandExit(const QString&) {
    QApplication::closeAllWindows();
    return true;
}

bool MainWindow::commandCloseAllFilesExceptCurrent(const QString& path) {
    TableView* view = resolveTable(path);
    if (!view)
        return false;
    std::vector<TableView*> others = getAllTableViews();
    std::erase(others, view);
    closeFiles(others);
    return true;
}

bool MainWindow::commandToggleSaveAfterEachEdit(const QString&) {
    saveAfterEachEdit(!settings.getValueBool(SaveAfterEachEdit));
    return true;
}

bool MainWindow::commandToggleRemoveExtraneousRowsColumnsOnFileSave(const QString&) {
    setRemoveExtraneousRowsColumnsOnFileSave(!settings.getValueBool(RemoveExtraneousRowsColumns));
    return true;
}

bool MainWindow::commandToggleSaveWithTrailingDelimiters(const QString&) {
    saveWithTrailingDelimiters(!settings.getValueBool(SaveWithTrailingDelimiters));
    return true;
}

bool MainWindow::commandToggleEnableCheckForUpdates(const QString&) {
    return toggleSetting(EnableCheckForUpdates);
}

bool MainWindow::commandToggleDetectImportedFileTypeUponOpeningFile(const QString&) {
    return toggleSetting(DetectImportedFileType);
}

// --- File location on the clipboard -------------------------------------------------------------

bool MainWindow::commandCopyFilePathToClipboard(const QString& path) {
    const QString file = filepathOf(resolveTable(path));
    if (file.isEmpty())
        return false;
    QGuiApplication::clipboard()->setText(file);
    return true;
}

bool MainWindow::commandCopyFolderPathToClipboard(const QString& path) {
    const QString file = filepathOf(resolveTable(path));
    if (file.isEmpty())
        return false;
    QGuiApplication::clipboard()->setText(QFileInfo(file).absolutePath());
    return true;
}

bool MainWindow::commandCopyFileNameToClipboard(const QString& path) {
    const QString file = filepathOf(resolveTable(path));
    if (file.isEmpty())
        return false;
    QGuiApplication::clipboard()->setText(QFileInfo(file).fileName());
    return true;
}
