#pragma once

#include "storage/packedrow.h"

#include <algorithm>

// Which of a stored row's cells go into its line of a saved file, and how many absent cells pad
// it: a row nobody changed since the load keeps the fields its line had (a ragged file stays
// ragged); another row drops its trailing empty cells unless the save keeps trailing
// delimiters, and is then padded up to the table's width.
struct RowLineShape {
    bool keepFieldCounts = false; // rows remember the fields they were read with
    bool keepTrailingEmpty = false;
    bool delimited = true;
    int padTo = 0; // the table's width when padded to it, else 0

    void pick(const PackedRow& row, int& count, int& pads) const {
        count = row.size();
        pads = 0;
        if (const int fields = keepFieldCounts ? row.fieldsAsRead() : 0; fields > 0) {
            // An empty line is one empty field: nothing to write.
            if (delimited)
                pads = count == 0 && fields == 1 ? 0 : std::max(0, fields - count);
            return;
        }
        if (!keepTrailingEmpty) {
            while (count > 0 && row.cellEmpty(count - 1))
                --count;
        }
        pads = std::max(0, padTo - count);
    }
};
