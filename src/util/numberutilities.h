#pragma once

#include <QString>

// Exact and approximate comparison of numbers written as text. Pure functions, no widgets.
namespace Utilities {

// 0 when equal, 1 when a < b, 2 when a > b.
int compareNumbers(double a, double b);

// A decimal number ("-0012.50e3", ".5", "5.") in the canonical form sign, digit, ".", digits,
// "E", sign, exponent ("-1.25E+4"), which compareNumberStrings orders without rounding. Zero is
// "+0.0E+0" whatever its sign. A text that is no number comes back empty.
QString conditionNumberString(const QString& text);

// Orders two canonical forms exactly, whatever their length: 0 equal, 1 a < b, 2 a > b.
int compareNumberStrings(const QString& a, const QString& b);

} // namespace Utilities
