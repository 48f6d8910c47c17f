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

// One row of the find-all list: where the match is and what the cell holds.
struct FindResult {
    int rawRow = -1;
    int rawCol = -1;
    int userRow = -1;
    int userCol = -1;
    QString text;
};

// A cell a search over the whole table found, in raw indexes, with its text; a replace puts the
// new text in `text` and the one before in `oldText`.
struct FoundCell {
    int row = -1;
    int col = -1;
    QString text;
    QString oldText;
};
