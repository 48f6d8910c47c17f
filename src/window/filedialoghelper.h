#pragma once

#include <QString>
#include <QStringList>

#include <functional>

class QWidget;

// The file dialogs of the window, in one place so that a test can answer them.
namespace FileDialogHelper {

QString getSaveFileName(QWidget* parent, const QString& title, const QString& startPath,
                        const QString& filter, QString* selectedFilter = nullptr);
QString getExistingDirectory(QWidget* parent, const QString& title, const QString& startPath);
QStringList getOpenFileNames(QWidget* parent, const QString& title, const QString& startPath,
                             const QString& filter);

// Test seams: when set they answer instead of a dialog; an empty answer means "cancelled".
// The arguments are the title, the start path and (for saving) the filter.
extern std::function<QString(const QString&, const QString&, const QString&)> saveFileNameHook;
extern std::function<QString(const QString&, const QString&)> existingDirectoryHook;
extern std::function<QStringList(const QString&, const QString&, const QString&)> openFileNamesHook;

} // namespace FileDialogHelper
