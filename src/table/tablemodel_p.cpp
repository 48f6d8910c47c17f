#include "table/tablemodel_p.h"

#include "table/tabledata.h"
#include "table/tablemodel.h"

#include <algorithm>

namespace TableModelDetail {

namespace {
bool listed(const std::vector<int>& list, int value) {
    // Exclusion lists are short; a scan beats keeping them sorted.
    return std::find(list.begin(), list.end(), value) != list.end();
}
} // namespace

bool rangeHoldsCell(const Range& range, int row, int col) {
    switch (range.type) {
    case RangeType::Cell:
        return range.row == row && range.col == col;
    case RangeType::Row:
        return range.row == row && col >= range.col && col <= range.endCol &&
               !listed(range.excludedCols, col);
    case RangeType::Col:
        return range.col == col && row >= range.row && row <= range.endRow &&
               !listed(range.excludedRows, row);
    case RangeType::Table:
        if (row < range.row || col < range.col || row > range.endRow || col > range.endCol)
            return false;
        if (listed(range.excludedRows, row) || listed(range.excludedCols, col))
            return false;
        return std::find(range.excludedCells.begin(), range.excludedCells.end(), std::make_pair(row, col)) ==
               range.excludedCells.end();
    case RangeType::Invalid:
        break;
    }
    return false;
}

void fillLookup(TableModelCellLookup& lookup, const RangeVector& ranges) {
    lookup.cells.clear();
    lookup.rowRanges.clear();
    lookup.colRanges.clear();
    lookup.others.clear();
    for (const Range& range : ranges) {
        switch (range.type) {
        case RangeType::Cell:
            lookup.cells.emplace_back(range.row, range.col);
            break;
        case RangeType::Row:
            lookup.rowRanges.push_back(range);
            break;
        case RangeType::Col:
            lookup.colRanges.push_back(range);
            break;
        case RangeType::Table:
            lookup.others.push_back(range);
            break;
        case RangeType::Invalid:
            break;
        }
    }
    std::sort(lookup.cells.begin(), lookup.cells.end());
    std::sort(lookup.rowRanges.begin(), lookup.rowRanges.end(), sortRangeRowAscending);
    std::sort(lookup.colRanges.begin(), lookup.colRanges.end(), sortRangeColAscending);
}

bool lookupHolds(const TableModelCellLookup& lookup, int row, int col) {
    if (std::binary_search(lookup.cells.begin(), lookup.cells.end(), std::make_pair(row, col)))
        return true;
    auto holdsAny = [row, col](auto first, auto last) {
        for (; first != last; ++first) {
            if (rangeHoldsCell(*first, row, col))
                return true;
        }
        return false;
    };
    const auto rowFirst = std::lower_bound(lookup.rowRanges.begin(), lookup.rowRanges.end(), row,
                                           [](const Range& r, int value) { return r.row < value; });
    const auto rowLast = std::upper_bound(rowFirst, lookup.rowRanges.end(), row,
                                          [](int value, const Range& r) { return value < r.row; });
    if (holdsAny(rowFirst, rowLast))
        return true;
    const auto colFirst = std::lower_bound(lookup.colRanges.begin(), lookup.colRanges.end(), col,
                                           [](const Range& r, int value) { return r.col < value; });
    const auto colLast = std::upper_bound(colFirst, lookup.colRanges.end(), col,
                                          [](int value, const Range& r) { return value < r.col; });
    if (holdsAny(colFirst, colLast))
        return true;
    for (const Range& range : lookup.others) {
        if (rangeHoldsCell(range, row, col))
            return true;
    }
    return false;
}

QColor blendColors(const QColor& base, const QColor& line, float alpha) {
    auto channel = [alpha](int a, int b) {
        return static_cast<int>((1.0f - alpha) * static_cast<float>(a) + alpha * static_cast<float>(b));
    };
    const int r = channel(base.red(), line.red());
    const int g = channel(base.green(), line.green());
    const int b = channel(base.blue(), line.blue());
    if (r < 0 || r > 255 || g < 0 || g > 255 || b < 0 || b > 255)
        return QColor();
    return QColor(r, g, b);
}

bool isLineEmpty(const TableData& data, bool row, int modelIndex) {
    const int raw = row ? data.getRawFromModelRow(modelIndex) : data.getRawFromModelCol(modelIndex);
    const int across = row ? data.numRawCols() : data.numRawRows();
    for (int other = 0; other < across; ++other) {
        if (row ? data.isColConcealed(other) : data.isRowConcealed(other))
            continue;
        if (row ? data.isCellPopulated(raw, other) : data.isCellPopulated(other, raw))
            return false;
    }
    return true;
}

} // namespace TableModelDetail
