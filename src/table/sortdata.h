#pragma once

#include "table/rangetypes.h"

enum class SortType {
    Ascending = 0,
    Descending = 1,
    None = 2,
};

// The last sort of rows or of columns, shown as an arrow in the labels. An axis of 3 and an
// index of -1 mean that no sort is recorded.
struct SortData {
    SortType type = SortType::None;
    Axis axis = static_cast<Axis>(3);
    int index = -1; // raw index of the key column (rows sorted) or key row (columns sorted)

    bool isValid() const { return type != SortType::None && index >= 0 && static_cast<int>(axis) != 3; }
    friend bool operator==(const SortData&, const SortData&) = default;
};
