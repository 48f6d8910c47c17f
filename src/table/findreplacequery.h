#pragma once

#include <QString>

// What the find and replace widget asks for.
struct FindReplaceQuery {
    int mode = 0; // 0 find, 1 replace, 2 all files
    QString findStr;
    QString replaceStr;
    QString filterStr;
    bool caseSensitive = false;
    bool wholeWord = false;
    bool wholeCell = false;
    bool regex = false;
    bool inSelectedCells = false;
    bool highlightMatches = false;
    bool previewReplace = false;

    friend bool operator==(const FindReplaceQuery&, const FindReplaceQuery&) = default;
};
