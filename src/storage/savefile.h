#pragma once

#include <QString>
#include <QtGlobal>

class QFileDevice;
class QSaveFile;

namespace SaveFile {

// Opens `file` for writing and gives the new file the permission bits of the file it is to
// replace, and its owner and group where the system lets us; `error` gets the reason when the
// file doesn't open. The commit replaces the old file by the new one, so a hard link to the old
// file keeps the old text.
bool open(QSaveFile& file, QString& error);

// Writes all of `size` bytes; false with the system's reason in `error` when they don't all go.
// A disk that fills up takes part of a write without an error, and only the next write tells
// why, so the rest is offered again before giving up.
bool writeAll(QFileDevice& file, const char* bytes, qint64 size, QString& error);

// Hands what a save has written to the disk a few megabytes behind the save as it goes, without
// waiting, so that the commit's wait for the disk finds most of it there already.
class WriteBehind {
public:
    explicit WriteBehind(QFileDevice& file) : file(file) {}
    // Call after each write.
    void wrote();

private:
    static constexpr qint64 kBytes = qint64(8) << 20;
    QFileDevice& file;
    qint64 handedOut = 0;
};

} // namespace SaveFile
