#pragma once

#include <QString>

// Text helpers of the filter language. Pure functions, no widgets.
namespace Utilities {

// A cell text as a filter piece that matches exactly that text: every character the language
// gives a meaning gets its backslash, and a text that would read as a number form keeps it as
// text.
QString applyEscapeCharsToFilterStr(const QString& text);

} // namespace Utilities
