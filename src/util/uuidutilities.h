#pragma once

#include "util/uuidtype.h"

#include <QString>

#include <vector>

// UUIDs for cells: random (v4) or time-ordered (v7). Pure functions, no widgets.
namespace Utilities {

QString generateUuid(bool braces, bool upperCase, UuidType type);
// `out.size()` new UUIDs. Version 7 ones come out in strictly ascending order, also within one
// millisecond, so a column filled at once sorts in its fill order.
void generateUuids(std::vector<QString>& out, bool braces, bool upperCase, UuidType type);

} // namespace Utilities
