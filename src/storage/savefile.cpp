#include "storage/savefile.h"

#include <QFile>
#include <QSaveFile>

#if defined(Q_OS_UNIX)
#include <sys/stat.h>
#include <unistd.h>
#endif
#if defined(Q_OS_LINUX)
#include <fcntl.h>
#endif

bool SaveFile::open(QSaveFile& file, QString& error) {
    if (!file.open(QIODevice::WriteOnly)) {
        error = file.errorString();
        return false;
    }
#if defined(Q_OS_UNIX)
    struct stat old;
    const QByteArray path = QFile::encodeName(file.fileName());
    const int fd = file.handle();
    if (fd >= 0 && ::stat(path.constData(), &old) == 0) {
        // The owner first: a change of owner may clear the set-id bits, which the mode then restores.
        if (::fchown(fd, old.st_uid, old.st_gid) != 0 &&
            ::fchown(fd, static_cast<uid_t>(-1), old.st_gid) != 0) {
            // Not ours to give away: the new file stays the saving user's.
        }
        (void)::fchmod(fd, old.st_mode & 07777);
    }
#endif
    return true;
}

bool SaveFile::writeAll(QFileDevice& file, const char* bytes, qint64 size, QString& error) {
    while (size > 0) {
        const qint64 written = file.write(bytes, size);
        if (written <= 0) {
            error = file.error() != QFileDevice::NoError ? file.errorString() : QString();
            if (error.isEmpty())
                error = QStringLiteral("The disk took only part of the file.");
            return false;
        }
        bytes += written;
        size -= written;
    }
    return true;
}

void SaveFile::WriteBehind::wrote() {
#if defined(Q_OS_LINUX)
    const qint64 at = file.pos();
    if (at - handedOut < kBytes)
        return;
    if (const int fd = file.handle(); fd >= 0)
        ::sync_file_range(fd, handedOut, at - handedOut, SYNC_FILE_RANGE_WRITE);
    handedOut = at;
#endif
}
