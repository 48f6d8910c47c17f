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
    lookup.others.clear();
    for (const Range& range : ranges) {
        if (range.type == RangeType::Cell)
            lookup.cells.emplace_back(range.row, range.col);
        else if (range.type != RangeType::Invalid)
            lookup.others.push_back(range);
    }
    std::sort(lookup.cells.begin(), lookup.cells.end());
}

bool lookupHolds(const TableModelCellLookup& lookup, int row, int col) {
    if (std::binary_search(lookup.cells.begin(), lookup.cells.end(), std::make_pair(row, col)))
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
