#pragma once

#include <QString>

#include <utility>
#include <vector>

// Number rules of the Data commands: decimal marks, zero fill, decimals and the range grammar
// of random values. Pure functions, no widgets.

enum class NumberFormatType {
    DotDecimal = 0,   // 42137.24 or 42,137.24
    CommaDecimal = 1, // 42137,24 or 42.137,24
};

namespace Utilities {

QString convertNumberFormatTypeToString(NumberFormatType type);
// The example line under a format in its prompt.
QString numberFormatTypeExample(NumberFormatType type);
bool convertStringToNumberFormatType(const QString& text, NumberFormatType& out);

// A number written in `from` rewritten with the marks of `to`; other text stays.
QString convertNumberFormat(const QString& text, NumberFormatType from, NumberFormatType to);

// "Inf", "-Inf", "0", or the value in the system locale, fixed or (very large or small)
// scientific, trailing fraction zeros dropped; group separators only with `groups`.
QString convertNumberToString(double value, bool groups);
QString convertNumberToString(int value, bool groups);

// Whole numbers of digits only, not starting with 0, padded with zeros to `width`.
QString zeroFillWholeNumbers(const QString& text, int width);
// "007" -> "7", "ID-0042" -> "ID-42"; "0" stays.
QString removeLeadingZeros(const QString& text);
// A number (with a currency sign, group separators or an exponent) with exactly `count`
// decimals, rounded half away from zero; other text stays.
QString setNumDecimals(const QString& text, int count);

// The random-value grammar: "" (the default range), "7" (0 to 7), "1-5", "1,3,5", "1 3 5",
// "1-5, 15-20, 30". Each item is a (min, max) pair, a single value a pair of equals. With
// `decimals` the items may be decimals; `places` gets the most decimals typed.
bool parseRandomRanges(const QString& text, bool decimals, std::vector<std::pair<double, double>>& out,
                       int* places = nullptr);

// Exact and approximate comparison of numbers written as text.

// 0 when equal, 1 when a < b, 2 when a > b.
int compareNumbers(double a, double b);

// A decimal number ("-0012.50e3", ".5", "5.") in the canonical form sign, digit, ".", digits,
// "E", sign, exponent ("-1.25E+4"), which compareNumberStrings orders without rounding. Zero is
// "+0.0E+0" whatever its sign. A text that is no number comes back empty.
QString conditionNumberString(const QString& text);

// Orders two canonical forms exactly, whatever their length: 0 equal, 1 a < b, 2 a > b.
int compareNumberStrings(const QString& a, const QString& b);

} // namespace Utilities
