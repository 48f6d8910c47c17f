#pragma once

#include <QString>

class QSaveFile;

namespace SaveFile {

// Opens `file` for writing and gives the new file the permission bits of the file it is to
// replace, and its owner and group where the system lets us; `error` gets the reason when the
// file doesn't open. The commit replaces the old file by the new one, so a hard link to the old
// file keeps the old text.
bool open(QSaveFile& file, QString& error);

} // namespace SaveFile
