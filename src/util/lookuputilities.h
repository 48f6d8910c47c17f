#pragma once

#include <QString>

#include <vector>

// The answers of the column lookup's prompts, read without a table: columns come back in the
// counting the user typed them in (numbers as shown beside the rows, letters as the table's
// own columns), and the caller maps them into its table. Pure functions.
namespace Utilities {

// One column: a number, or letters with `letters`. An empty answer is `blank` (the prompt's
// default stands); `valid` says whether `col` was read.
struct LookupColumnAnswer {
    bool blank = false;
    bool valid = false;
    int col = 0;
};
LookupColumnAnswer parseLookupColumnAnswer(const QString& text, bool letters);

// A list of columns in the forms of the column prompts ("1, 3-5", "A, C-E"), or "*" for every
// column but the key. An empty answer is `blank`; `valid` is false when a part doesn't read
// or names a column above `limit`.
struct LookupColumnsAnswer {
    bool blank = false;
    bool valid = false;
    bool allButKey = false;
    std::vector<int> cols; // in the order typed
};
LookupColumnsAnswer parseLookupColumnsAnswer(const QString& text, bool letters, int limit);

// The line of feedback under a column prompt: "Column 3", "Columns 1, 3-5", "Column C", or
// "(No column selected)" for an empty list.
QString computeColRangeFeedbackString(const std::vector<int>& cols, bool letters);

// Whether the last prompt's answer asks for new columns (else existing ones are overwritten).
bool isInsertNewColumnsAnswer(const QString& text);

} // namespace Utilities
