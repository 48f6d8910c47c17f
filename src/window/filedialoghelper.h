#pragma once

#include <QString>
#include <QStringList>

#include <functional>

class QFileDialog;
class QWidget;

// The file dialogs of the window, in one place so that a test can answer them.
namespace FileDialogHelper {

QString getSaveFileName(QWidget* parent, const QString& title, const QString& startPath,
                        const QString& filter, QString* selectedFilter = nullptr);
QString getExistingDirectory(QWidget* parent, const QString& title, const QString& startPath);
QStringList getOpenFileNames(QWidget* parent, const QString& title, const QString& startPath,
                             const QString& filter);

// The extension a name filter such as "CSV File (*.csv)" stands for; none for "All Files (*.*)",
// "No Extension (*.)" or a filter of several patterns.
QString defaultSuffixOf(const QString& nameFilter);
// Readies `dialog` for saving: the given filter selected, and a name typed without an extension
// taking that of the selected filter (before the dialog asks about overwriting).
void prepareSaveDialog(QFileDialog& dialog, const QString& selectedFilter);

// Test seams: when set they answer instead of a dialog; an empty answer means "cancelled".
// The arguments are the title, the start path and (for saving) the filter.
extern std::function<QString(const QString&, const QString&, const QString&)> saveFileNameHook;
extern std::function<QString(const QString&, const QString&)> existingDirectoryHook;
extern std::function<QStringList(const QString&, const QString&, const QString&)> openFileNamesHook;

} // namespace FileDialogHelper
