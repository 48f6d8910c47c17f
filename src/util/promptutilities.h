#pragma once

#include <QString>

// Readers of the short answers typed into launcher prompts. Pure functions.
namespace Utilities {

// Reads a whole number from `minimum` to `maximum` ("5", " 12 ", "+3", "x5", "5 times");
// anything else, or a number out of range, leaves `count` alone and returns false.
bool parseCountString(int& count, const QString& text, int minimum, int maximum);

// Reads a whole number, signed, from `minimum` to `maximum` ("24", "-3", "+7", "1,200", "60 px",
// "100 MB"); anything else leaves `value` alone and returns false.
bool parseIntegerString(int& value, const QString& text, int minimum, int maximum);

} // namespace Utilities
