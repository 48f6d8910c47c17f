#pragma once

// Where the save tests write: a memory file system where there is one (saves sync to disk before
// they commit, which costs nothing there), and a small one of their own to fill up.

#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QString>
#include <QTemporaryDir>

#include <unistd.h>

// A QTemporaryDir template named after the test.
inline QString scratchTemplate(const QString& testName) {
    const QString name = QStringLiteral("/orvane-") + testName + QStringLiteral("-XXXXXX");
    if (QFileInfo(QStringLiteral("/dev/shm")).isWritable())
        return QStringLiteral("/dev/shm") + name;
    return QDir::tempPath() + name;
}

// A small memory file system of its own, as root only; unmounted with the object.
struct SmallDisk {
    QTemporaryDir mountPoint;
    bool mounted = false;
    SmallDisk(const QString& testName, const QString& size) : mountPoint(scratchTemplate(testName)) {
#if defined(__SANITIZE_THREAD__)
        return; // ThreadSanitizer stops a process that starts threads after a fork, as mount's does
#endif
        if (::geteuid() != 0 || !mountPoint.isValid())
            return;
        mounted =
            QProcess::execute(QStringLiteral("mount"), {QStringLiteral("-t"), QStringLiteral("tmpfs"),
                                                        QStringLiteral("-o"), QStringLiteral("size=") + size,
                                                        QStringLiteral("tmpfs"), mountPoint.path()}) == 0;
    }
    SmallDisk(const SmallDisk&) = delete;
    SmallDisk& operator=(const SmallDisk&) = delete;
    ~SmallDisk() {
        if (mounted)
            QProcess::execute(QStringLiteral("umount"), {mountPoint.path()});
    }
    bool remountReadOnly() const {
        return QProcess::execute(QStringLiteral("mount"), {QStringLiteral("-o"), QStringLiteral("remount,ro"),
                                                           mountPoint.path()}) == 0;
    }
    QString path(const QString& name) const {
        return mountPoint.filePath(name);
    }
};
