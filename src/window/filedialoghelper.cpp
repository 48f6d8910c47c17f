#include "window/filedialoghelper.h"

#include <QFileDialog>

namespace FileDialogHelper {

std::function<QString(const QString&, const QString&, const QString&)> saveFileNameHook;
std::function<QString(const QString&, const QString&)> existingDirectoryHook;
std::function<QStringList(const QString&, const QString&, const QString&)> openFileNamesHook;

QString getSaveFileName(QWidget* parent, const QString& title, const QString& startPath,
                        const QString& filter, QString* selectedFilter) {
    if (saveFileNameHook)
        return saveFileNameHook(title, startPath, filter);
    return QFileDialog::getSaveFileName(parent, title, startPath, filter, selectedFilter);
}

QString getExistingDirectory(QWidget* parent, const QString& title, const QString& startPath) {
    if (existingDirectoryHook)
        return existingDirectoryHook(title, startPath);
    return QFileDialog::getExistingDirectory(parent, title, startPath);
}

QStringList getOpenFileNames(QWidget* parent, const QString& title, const QString& startPath,
                             const QString& filter) {
    if (openFileNamesHook)
        return openFileNamesHook(title, startPath, filter);
    return QFileDialog::getOpenFileNames(parent, title, startPath, filter);
}

} // namespace FileDialogHelper
