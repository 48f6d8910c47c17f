#pragma once

#include <QString>

#include <vector>

// The loose, typed-by-hand forms in which prompts accept a place in the table ("row 3 col 4",
// "3 4", "B7", "cols 1, 3-5", "5 rows"), and their way back to text. Pure functions.
//
// Numbers come back exactly as typed: a caller whose table counts from a first index other
// than 0 subtracts it. `userIndexes` says whether the text is in such user indexes, where a
// negative number is a real place; without it a negative number is no position at all.
namespace Utilities {

// Reads a row and a column from `text`, e.g. "row 3 col 4", "col 4, row 3", "r3c4", "3 4",
// "3, 4", "4 row 3", "5" (a row). A position the text does not give keeps its value. With
// `colLetters` the text is read as letters and a row number ("B7", "7 b") instead. Returns
// whether the text gave either position.
bool parseCellLocationString(int& row, int& col, const QString& text, bool colLetters, bool userIndexes);
bool parseCellLocationStringColLetters(int& row, int& col, const QString& text);

// Reads one dimension of a shape: "5 cols", "col 5", "5 rows", "row 5". A bare number is a
// column count in the row-wise form and a row count in the column-wise form. Returns whether
// either count was read.
bool parseShapeStringRowWise(int& rows, int& cols, const QString& text);
bool parseShapeStringColWise(int& rows, int& cols, const QString& text);

// Appends the columns of a list such as "1, 3-5", "cols 2 - 4", "-3--1" to `out`; a range
// runs from its first end to its last, downwards too. Parts that are not numbers or ranges,
// or that hold a number above `limit`, are left out and named in `error` ("Column x" or
// "Columns x, 9-12"); `error` is empty otherwise. Returns whether `error` is empty.
bool parseColsString(std::vector<int>& out, QString& error, QString text, int limit, bool userIndexes);
// The same with column letters: "A, C-E".
bool parseColsStringColLetters(std::vector<int>& out, QString& error, QString text, int limit);

// "Column 5" / "Column E" (with `prefix`), or just the number or letters.
QString makeColsStringFromCol(int col, bool letters, bool prefix);
// Sorted, with runs collapsed: "Columns 1, 3-5" (with `prefix`), "A, C-E". Duplicates count
// once; an empty list gives an empty text.
QString makeColsStringFromCols(std::vector<int> cols, bool letters, bool prefix);

// Column letters in bijective base 26 with A as 0: Z 25, AA 26, ZZ 701. Anything that is not
// a column name, including one past the range of int, gives INT_MIN.
int convertLettersToNumber(QString text);
// The reverse; a negative number gives an empty text.
QString convertNumberToLetters(int number);

// The feedback line under a location prompt: "Row 3, Column 4", "Cell D3", "(No cell selected)".
QString computeCellRangeFeedbackString(int row, int col, bool letters);

} // namespace Utilities
