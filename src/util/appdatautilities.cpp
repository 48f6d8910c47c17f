#include "util/appdatautilities.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

namespace Utilities {

QString getAppDataLocation() {
    // "Orvane.ini" is located before the application name is set, while Qt still names the
    // program after its executable; the folder is named here so that both land in one place.
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + QStringLiteral("/Orvane");
}

QString getTutorialFilepath() {
    return getAppDataLocation() + QStringLiteral("/Tutorial (Fake Data).csv");
}

bool handleAppDataInRedundantFolders() {
    return handleAppDataInRedundantFolders(getAppDataLocation());
}

namespace {

// Copy, and where the copy is refused because the target exists, replace the target.
bool moveFile(const QString& source, const QString& target) {
    if (!QFile::copy(source, target)) {
        QFile::remove(target);
        if (!QFile::copy(source, target))
            return false;
    }
    return QFile::remove(source);
}

} // namespace

bool handleAppDataInRedundantFolders(const QString& dataFolder) {
    if (dataFolder.isEmpty())
        return true;
    QDir remnant(QDir(dataFolder).absoluteFilePath(QStringLiteral("Orvane")));
    if (!remnant.exists())
        return true;

    bool allMoved = true;
    // Hidden files count as files too: they would otherwise go down with the folder.
    const QFileInfoList files = remnant.entryInfoList({QStringLiteral("*")}, QDir::Files | QDir::Hidden);
    for (const QFileInfo& file : files) {
        if (!moveFile(file.absoluteFilePath(), QDir(dataFolder).absoluteFilePath(file.fileName())))
            allMoved = false;
    }
    if (!allMoved)
        return false;

    // Only files are moved; a folder nested in the remnant is user data we don't delete.
    if (!remnant.isEmpty(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot))
        return false;
    return remnant.removeRecursively();
}

} // namespace Utilities
