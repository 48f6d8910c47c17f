#include "window/filedialoghelper.h"

#include <QFileDialog>
#include <QRegularExpression>
#include <QUrl>

namespace FileDialogHelper {

std::function<QString(const QString&, const QString&, const QString&)> saveFileNameHook;
std::function<QString(const QString&, const QString&)> existingDirectoryHook;
std::function<QStringList(const QString&, const QString&, const QString&)> openFileNamesHook;

QString getSaveFileName(QWidget* parent, const QString& title, const QString& startPath,
                        const QString& filter, QString* selectedFilter) {
    if (saveFileNameHook)
        return saveFileNameHook(title, startPath, filter);
    QFileDialog dialog(parent, title, startPath, filter);
    prepareSaveDialog(dialog, selectedFilter ? *selectedFilter : QString());
    if (dialog.exec() != QDialog::Accepted)
        return QString();
    if (selectedFilter)
        *selectedFilter = dialog.selectedNameFilter();
    return dialog.selectedUrls().value(0).toLocalFile();
}

QString defaultSuffixOf(const QString& nameFilter) {
    static const QRegularExpression pattern(QStringLiteral(R"(\(\*\.([^\s()*.]+)\)\s*$)"));
    const QRegularExpressionMatch match = pattern.match(nameFilter);
    return match.hasMatch() ? match.captured(1) : QString();
}

void prepareSaveDialog(QFileDialog& dialog, const QString& selectedFilter) {
    dialog.setAcceptMode(QFileDialog::AcceptSave);
    dialog.setFileMode(QFileDialog::AnyFile);
    if (!selectedFilter.isEmpty())
        dialog.selectNameFilter(selectedFilter);
    dialog.setDefaultSuffix(defaultSuffixOf(dialog.selectedNameFilter()));
    QObject::connect(&dialog, &QFileDialog::filterSelected, &dialog, [&dialog](const QString& nameFilter) {
        dialog.setDefaultSuffix(defaultSuffixOf(nameFilter));
    });
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
