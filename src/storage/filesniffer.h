#pragma once

#include "storage/fileparameters.h"

#include <QByteArray>
#include <QString>

// What a file shows of itself at its start: its encoding and its line ending. The opener takes
// these over the defaults of the file's extension, so that a file is saved as it came.
namespace FileSniffer {

struct Findings {
    bool encodingFound = false;
    EncodingType encoding = UTF_8;
    bool lineEndingFound = false;
    LineEndingType lineEnding = LINE_ENDING_UNIX;
    bool standardFound = false;
    ParsingStandard standard = RFC_4180;
};

// How many bytes of a file's start are looked at.
constexpr qint64 kSampleSize = 65536;

// `sample` is the start of the file (all of it when `wholeFile`); `delimiter` the one the file is
// read with, or 0. The encoding: a byte order mark decides; else zero bytes in the places where
// UTF-16 or UTF-32 text has them; else text that isn't valid UTF-8 is Windows-1252, and valid
// UTF-8 is left to the defaults. The line ending: the first one outside quotes; a lone CR is
// found as nothing, since a save has no such line ending to give. The quoting: every field
// quoted gives "All Quotes"; no field quoted, although some hold a quote, "Delimiter Only", whose
// writer leaves them as they are.
Findings sniff(const QByteArray& sample, char delimiter, bool wholeFile);
// The same over the start of the file at `path`; nothing found if it doesn't open.
Findings sniffFile(const QString& path, char delimiter);

} // namespace FileSniffer
