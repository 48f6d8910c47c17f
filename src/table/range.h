#pragma once

#include "table/rangetypes.h"

#include <QVariant>

#include <climits>
#include <utility>
#include <vector>

// A place in the table: one cell, one row, one column or a block, in one index space, with the
// cell contents that belong to it when it travels in an undo record or a clipboard payload.
// A plain value: it knows nothing about any model, and conversions between index spaces are
// done by whoever owns the mapping.
class Range {
public:
    // Range end meaning "to the end of the table", whatever its size is by then.
    static constexpr int EndOfTable = INT_MAX;

    Range() = default;
    // A Cell.
    Range(int row, int col, RangeIndexType indexType);
    // A Row range starts at column 0 and a Col range at row 0; any other type puts `index` in
    // both row and col.
    Range(int index, RangeType type, RangeIndexType indexType);
    Range(RangeType type, RangeIndexType indexType);
    // Model index space. An Invalid range stands at (-1, -1), any other at (0, 0).
    explicit Range(RangeType type);

    bool isValid() const;

    // Moves the range by the given deltas. A Cell pushed below 0 either stops at 0 or, with
    // invalidateIfOut, becomes Invalid; Row, Col and Table ranges always stop at 0. The ends
    // stay where they are.
    void moveRelative(int rows, int cols, bool invalidateIfOut);

    // Whether `inner` lies inside this range by its geometry. Exclusion lists are not looked at.
    // A Row range counts as inside a Table range only when both start at the same row (and
    // the Col mirror): a selection of whole rows is never folded into a block that merely
    // spans it.
    bool containsRange(const Range& inner) const;

    RangeType type = RangeType::Cell;
    RangeIndexType indexType = RangeIndexType::Model;
    int row = 0;
    int col = 0;
    int endRow = EndOfTable;
    int endCol = EndOfTable;

    QVariant value;                     // Cell range
    QVariant oldValue;                  // the same before the change, for undo
    std::vector<QVariant> rowColValues; // Row or Col range
    std::vector<QVariant> oldRowColValues;
    std::vector<std::vector<QVariant>> tableValues; // Table range, outer index by row
    std::vector<std::vector<QVariant>> oldTableValues;

    bool isMainCell = false; // the selection's main cell lies in this range
    int mainCellIndex = -1;  // its column in a Row range, its row in a Col range
    int mainCellRow = -1;    // its position in a Table range
    int mainCellCol = -1;

    std::vector<int> excludedRows;                  // out of a Col or Table range
    std::vector<int> excludedCols;                  // out of a Row or Table range
    std::vector<std::pair<int, int>> excludedCells; // (row, col) out of a Table range
};

// Strict orders on one key only, for sorting lists of ranges.
bool sortRangeRowAscending(const Range& a, const Range& b);
bool sortRangeColAscending(const Range& a, const Range& b);
bool sortRangeRowDescending(const Range& a, const Range& b);
bool sortRangeColDescending(const Range& a, const Range& b);

// Same kind at the same start position. Index space, ends, values and main-cell data do not
// take part; any two Invalid ranges are equal.
bool operator==(const Range& a, const Range& b);
bool operator!=(const Range& a, const Range& b);

// The value carried for (row, col): from `value`, `rowColValues` or `tableValues`, or their
// `old...` twins when `old` is set. A Row range is indexed by the row offset and a Col range
// by the column offset. Anything out of bounds gives the single `value` / `oldValue`.
QVariant valueAt(const Range& range, int row, int col, bool old);

// Copies kind, index space, start, main-cell data and exclusions; no values and no ends.
void copyWithoutValues(Range& to, const Range& from);
