#include "table/range.h"

#include <algorithm>

Range::Range(int row, int col, RangeIndexType indexType)
    : type(RangeType::Cell), indexType(indexType), row(row), col(col) {}

Range::Range(int index, RangeType type, RangeIndexType indexType) : type(type), indexType(indexType) {
    switch (type) {
    case RangeType::Row:
        row = index;
        col = 0;
        break;
    case RangeType::Col:
        row = 0;
        col = index;
        break;
    default:
        row = index;
        col = index;
        break;
    }
}

Range::Range(RangeType type, RangeIndexType indexType) : type(type), indexType(indexType) {}

Range::Range(RangeType type) : type(type) {
    if (type == RangeType::Invalid) {
        row = -1;
        col = -1;
    }
}

bool Range::isValid() const {
    switch (type) {
    case RangeType::Cell:
        return row >= 0 && col >= 0;
    case RangeType::Row:
        return row >= 0;
    case RangeType::Col:
        return col >= 0;
    case RangeType::Table:
        return true;
    case RangeType::Invalid:
        break;
    }
    return false;
}

namespace {
// Adds without wrapping: a move far past either end of int stops at the end.
int addClamped(int value, int delta) {
    const long long sum = static_cast<long long>(value) + delta;
    return static_cast<int>(std::clamp<long long>(sum, INT_MIN, INT_MAX));
}
} // namespace

void Range::moveRelative(int rows, int cols, bool invalidateIfOut) {
    if (type == RangeType::Invalid)
        return;
    row = addClamped(row, rows);
    col = addClamped(col, cols);
    if (type == RangeType::Cell && invalidateIfOut && (row < 0 || col < 0)) {
        type = RangeType::Invalid;
        return;
    }
    row = std::max(row, 0);
    col = std::max(col, 0);
}

bool Range::containsRange(const Range& inner) const {
    switch (inner.type) {
    case RangeType::Cell: {
        if (type == RangeType::Cell)
            return inner.row == row && inner.col == col;
        if (type == RangeType::Invalid)
            return false;
        const int lastRow = type == RangeType::Row ? row : endRow;
        const int lastCol = type == RangeType::Col ? col : endCol;
        return inner.row >= row && inner.col >= col && inner.row <= lastRow && inner.col <= lastCol;
    }
    case RangeType::Row:
        if (type != RangeType::Row && type != RangeType::Table)
            return false;
        return inner.row == row && inner.col >= col && inner.endCol <= endCol;
    case RangeType::Col:
        if (type != RangeType::Col && type != RangeType::Table)
            return false;
        return inner.col == col && inner.row >= row && inner.endRow <= endRow;
    case RangeType::Table:
        if (type != RangeType::Table)
            return false;
        return inner.row >= row && inner.col >= col && inner.endRow <= endRow && inner.endCol <= endCol;
    case RangeType::Invalid:
        break;
    }
    return false;
}

bool sortRangeRowAscending(const Range& a, const Range& b) {
    return a.row < b.row;
}

bool sortRangeColAscending(const Range& a, const Range& b) {
    return a.col < b.col;
}

bool sortRangeRowDescending(const Range& a, const Range& b) {
    return a.row > b.row;
}

bool sortRangeColDescending(const Range& a, const Range& b) {
    return a.col > b.col;
}

bool operator==(const Range& a, const Range& b) {
    if (a.type != b.type)
        return false;
    if (a.type == RangeType::Invalid)
        return true;
    return a.row == b.row && a.col == b.col;
}

bool operator!=(const Range& a, const Range& b) {
    return !(a == b);
}

namespace {
template <typename T> const T* elementAt(const std::vector<T>& values, long long index) {
    if (index < 0 || index >= static_cast<long long>(values.size()))
        return nullptr;
    return &values[static_cast<size_t>(index)];
}
} // namespace

QVariant valueAt(const Range& range, int row, int col, bool old) {
    const QVariant& single = old ? range.oldValue : range.value;
    // Offsets in 64 bits: a range near either end of int must not wrap into bounds.
    const long long rowOffset = static_cast<long long>(row) - range.row;
    const long long colOffset = static_cast<long long>(col) - range.col;
    const QVariant* found = nullptr;
    switch (range.type) {
    case RangeType::Row:
        found = elementAt(old ? range.oldRowColValues : range.rowColValues, rowOffset);
        break;
    case RangeType::Col:
        found = elementAt(old ? range.oldRowColValues : range.rowColValues, colOffset);
        break;
    case RangeType::Table:
        if (const auto* line = elementAt(old ? range.oldTableValues : range.tableValues, rowOffset))
            found = elementAt(*line, colOffset);
        break;
    default:
        break;
    }
    return found ? *found : single;
}

void copyWithoutValues(Range& to, const Range& from) {
    to.type = from.type;
    to.indexType = from.indexType;
    to.row = from.row;
    to.col = from.col;
    to.isMainCell = from.isMainCell;
    to.mainCellIndex = from.mainCellIndex;
    to.mainCellRow = from.mainCellRow;
    to.mainCellCol = from.mainCellCol;
    to.excludedRows = from.excludedRows;
    to.excludedCols = from.excludedCols;
    to.excludedCells = from.excludedCells;
}
