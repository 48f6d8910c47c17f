// Import from JSON or XML: the import window, and JSON and XML files met on the way to a table.

#include "window/mainwindow.h"

#include "convert/importwindow.h"
#include "util/msgbox.h"

#include <QDir>
#include <QFileInfo>
#include <QTimer>

ImportWindow* MainWindow::getImportWindow() const {
    return importWindow;
}

ImportWindow* MainWindow::ensureImportWindow() {
    if (importWindow)
        return importWindow;
    const QString tableDir = getCurrentTableDir();
    importWindow =
        new ImportWindow(settings, tableDir.isEmpty() ? lastUsedDirectory : tableDir, extensions, this);
    importWindow->setAttribute(Qt::WA_DeleteOnClose);
    importWindow->setDefaultOptions(importDefaults.extensionData, importDefaults.saveLocalInOriginatingDir,
                                    importDefaults.openFilesAfterImport, importDefaults.preserveStructure);
    importWindow->setPalette(palette());
    connect(importWindow, &ImportWindow::filesImportedSignal, this, &MainWindow::onFilesImported);
    connect(importWindow, &ImportWindow::importWindowClosingSignal, this, &MainWindow::onImportWindowClosing);
    connect(this, &MainWindow::setThemeSignal, importWindow, &ImportWindow::setTheme);
    return importWindow;
}

namespace {

// Shows the window in front, and again once the events of the moment are done: a file handed
// over by a second start brings the main window forward after it was opened.
void bringForward(ImportWindow* window) {
    window->show();
    window->raise();
    window->activateWindow();
    QTimer::singleShot(0, window, [window] {
        window->raise();
        window->activateWindow();
    });
}

} // namespace

bool MainWindow::commandImportFromJSONOrXML(const QString&) {
    bringForward(ensureImportWindow());
    return true;
}

void MainWindow::importFile(const QString& path) {
    ImportWindow* window = ensureImportWindow();
    bringForward(window);
    window->openFiles({path});
}

void MainWindow::onFilesImported(const QList<QString>& paths, const ExtensionData& parameters) {
    openFiles(paths, parameters);
}

bool MainWindow::isImporting() const {
    return importWindow && importWindow->isImporting();
}

void MainWindow::cancelImport() {
    if (importWindow)
        importWindow->cancelImport();
}

ImportDefaults MainWindow::currentImportDefaults() const {
    if (!importWindow)
        return importDefaults;
    return {importWindow->getExtensionData(), importWindow->getSaveLocalToOriginating(),
            importWindow->getOpenFilesAfterImporting(), importWindow->getPreserveStructure()};
}

void MainWindow::onImportWindowClosing() {
    if (!importWindow)
        return;
    importDefaults = currentImportDefaults();
    updateConfigFile();
}

void MainWindow::handleImportableFiles(QList<QString>& paths) {
    QList<QPair<QString, FileType>> importable;
    for (const QString& path : paths) {
        // A file open as a table already stays one; a folder or a missing file is no document.
        if (path.isEmpty() || !QFileInfo(path).isFile() || getTableView(path))
            continue;
        const FileType type = ImportWindow::getFileType(path);
        if (type == FILE_TYPE_JSON || type == FILE_TYPE_XML)
            importable.append({path, type});
    }
    if (importable.isEmpty())
        return;
    QString text;
    QString informative;
    if (importable.size() == 1) {
        text = QStringLiteral("This appears to be a %1 file.\n")
                   .arg(ImportWindow::fileTypeWord(importable[0].second)) +
               QStringLiteral("Would you like to import it?");
    } else {
        text = QStringLiteral("The following files are importable.\nWould you like to import them?");
        for (const auto& [path, type] : importable)
            informative +=
                QStringLiteral("%1 (%2)\n").arg(QFileInfo(path).fileName(), ImportWindow::fileTypeWord(type));
        informative.chop(1);
    }
    const int answer = MsgBox::ask(this, text,
                                   {{QStringLiteral("&Import"), QMessageBox::AcceptRole},
                                    {QStringLiteral("Do&n't Import"), QMessageBox::AcceptRole}},
                                   0, informative);
    if (answer != 0)
        return;
    for (const auto& [path, type] : importable) {
        paths.removeAll(path);
        importFile(path);
    }
}

MainWindow::ImportAnswer MainWindow::askImportQuestion(const QString& path) {
    const FileType type = ImportWindow::getFileType(path);
    if (type != FILE_TYPE_JSON && type != FILE_TYPE_XML)
        return ImportAnswer::DontImport;
    const int answer =
        MsgBox::ask(this,
                    QStringLiteral("This appears to be a %1 file.\n").arg(ImportWindow::fileTypeWord(type)) +
                        QStringLiteral("Would you like to import it?"),
                    {{QStringLiteral("&Import"), QMessageBox::AcceptRole},
                     {QStringLiteral("Do&n't Import"), QMessageBox::AcceptRole},
                     {QStringLiteral("&Cancel"), QMessageBox::DestructiveRole}},
                    0);
    return answer == 0 ? ImportAnswer::Import : answer == 1 ? ImportAnswer::DontImport : ImportAnswer::Cancel;
}
