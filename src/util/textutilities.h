#pragma once

#include "util/uuidtype.h"

#include <QString>

// Text rules of the middle-button drag: numbers counted up or down inside a cell, and UUIDs
// replaced by fresh ones. Pure functions, no widgets.
namespace Utilities {

// Adds `delta` to the first integer in `text`. A "-" right after a letter is a separator, not
// a sign ("INV-1001" + 1 is "INV-1002"); a leading zero keeps the digit count ("007" + 3 is
// "010"). Without a number, or with a delta of 0, the text comes back unchanged.
QString modifyNumberInString(const QString& text, qint64 delta);

// Whether `text` holds a UUID in 8-4-4-4-12 hex form, with or without braces.
bool containsUuid(const QString& text);

// Replaces the first UUID of `text` by a new one of `type`. Braces are kept when the old one
// had both; upper case is kept when the old one had upper-case hex letters and no lower-case
// ones.
QString replaceUuidInString(const QString& text, UuidType type);

// A new UUID without braces, lower case: random (v4) or time-ordered (v7).
QString createUuid(UuidType type);

} // namespace Utilities
