#pragma once

#include <vector>

// One page's share of one axis of a printed table: the rows (or columns) that land on it.
struct PageIndexes {
    // With `useIndexes` off, model indexes from `startIndex` to `endIndex` (one past the last);
    // with it on, places from `startIndex` to `endIndex` in the list of selected indexes, whose
    // model indexes for this page are in `indexes`.
    int startIndex = 0;
    int endIndex = 0;
    // The printed size of the share, in device pixels.
    int size = 0;
    std::vector<int> indexes;
    bool useIndexes = false;

    int count() const { return endIndex - startIndex; }
    // The model index of the i-th row (column) on the page.
    int modelIndex(int i) const { return useIndexes ? indexes[static_cast<std::size_t>(i)] : startIndex + i; }

    bool operator==(const PageIndexes&) const = default;
};
