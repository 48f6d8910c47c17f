#pragma once

#include <QString>
#include <QStringList>

#include <vector>

// Text rules of the split, join, series and keep-part commands. Pure functions, no widgets.
namespace Utilities {

// The items of a series typed as "start interval" (whole numbers or decimals) or as words,
// with double quotes around items that hold spaces and \" for a quote. At most `count` items;
// a text series is never repeated.
QStringList computeSeriesStrings(const QString& text, int count);

// "\n", "\t" and "\\" typed in a prompt as the characters they name.
bool evaluateAndConvertSeparatorString(const QString& text, QString& out);

// Character positions typed as "3 7 12" or "3,7,12": ascending and distinct, each above 0.
// False for anything else.
bool evaluateAndConvertIndexString(const QString& text, std::vector<int>& out);

// The parts of a split. An empty delimiter makes every character a part; otherwise the text is
// split where the delimiter stands, case-insensitively, empty parts kept.
QStringList splitByDelimiter(const QString& text, const QString& delimiter);
// The text cut before each of the ascending positions; positions past the end give no part.
QStringList splitByIndex(const QString& text, const std::vector<int>& indexes);

// A positive index keeps that many characters from the left (right); a negative one keeps all
// but that many from the other end.
QString keepLeftPart(const QString& text, int index);
QString keepRightPart(const QString& text, int index);
// From character `index` (negative: from the end, -1 the last), `count` characters to the right,
// or with a negative count that many just left of it.
QString keepMiddlePart(const QString& text, int index, int count);
// "2 5", "-5 3", "7 -4": the index and count of keepMiddlePart.
bool parseIndexAndCount(const QString& text, int& index, int& count);

} // namespace Utilities
