#pragma once

#include <QString>

// What a document is, as the type tests tell it.
enum FileType : int {
    FILE_TYPE_NEITHER = 0,
    FILE_TYPE_JSON = 4,
    FILE_TYPE_XML = 8,
};

// Where a document came from.
enum SourceType : int {
    SOURCE_LOCAL_FILE = 0,
    SOURCE_CLIPBOARD = 1,
    SOURCE_URL = 2,
};

// A preview shows this many characters of a source at most.
inline constexpr qsizetype kImportPreviewChars = 512000;

// A JSON or XML source on its way to becoming a table.
struct NonTableFile {
    FileType fileType = FILE_TYPE_NEITHER;
    SourceType sourceType = SOURCE_LOCAL_FILE;
    QString source;         // path or URL; empty for the clipboard
    QString contents;       // the whole text; for a local file too long to show, its start
    bool truncated = false; // the preview doesn't show all of it
};

// The key a source is known by: its path or URL; every clipboard source shares the empty key.
inline QString contentKey(const NonTableFile& file) {
    return file.sourceType == SOURCE_CLIPBOARD ? QString() : file.source;
}
