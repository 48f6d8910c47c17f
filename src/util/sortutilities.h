#pragma once

#include <QList>
#include <QString>

#include <vector>

// The natural order of cells: numbers by value, text with embedded numbers by the value of those
// numbers, empty cells last. Pure functions, no widgets.
namespace Utilities {

// True when `a` goes before `b`. With `descending` the order turns round, except that equal
// values (same number, same runs) stay equal both ways, so a stable sort keeps their order.
// Cells whose first non-space character is a "0" not followed by "." compare as plain text:
// identifiers with leading zeros keep their text order.
bool qStringCompare(const QString& a, const QString& b, bool descending);

// Splits `text` into alternating runs of ASCII digits and of other characters.
// `startsWithNumber` tells which kind the first run is. An empty text gives no runs.
void splitStringByNumberBoundaries(QList<QString>& out, bool& startsWithNumber, const QString& text);

// Reads a number written in the locale's decimal point and group separator (both cached on the
// first call), with one leading "-" and an exponent ("e" or "E", optional "-", digits). With
// `allowCurrency` a currency sign may follow the sign, and a euro sign, alone or after one
// space, may end the text. Anything else, or an empty text, gives NaN; a sign or currency sign
// with no digits gives 0.
double convertStringToDouble(const char* text, bool allowCurrency);

// The inverse of a permutation: out[indexes[i]] = i. Values outside 0..size-1 are skipped;
// positions nothing maps to keep their own index.
std::vector<int> invertSortIndexesVector(const std::vector<int>& indexes);

// Each value v within the map becomes map[v]; values beyond it stay as they are, since lines
// past the sorted ones don't move.
void mapSortIndexes(std::vector<int>& values, const std::vector<int>& map);

} // namespace Utilities
