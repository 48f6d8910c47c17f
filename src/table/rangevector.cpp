#include "table/rangevector.h"

#include <algorithm>

namespace {
// Open-ended ranges in a list whose producer never recorded the table size stop here.
constexpr int FallbackNumTableCols = 1000;
} // namespace

void RangeVector::sanitize() {
    if (size() == 1 && front().type == RangeType::Table)
        return;
    std::sort(begin(), end(), sortRangeRowAscending);
    std::sort(begin(), end(), sortRangeColAscending);
}

void RangeVector::sanitizeRowWise() {
    std::sort(begin(), end(), sortRangeColAscending);
    std::sort(begin(), end(), sortRangeRowAscending);
}

void RangeVector::sanitizeColWise() {
    std::sort(begin(), end(), sortRangeRowAscending);
    std::sort(begin(), end(), sortRangeColAscending);
}

int RangeVector::numCells() const {
    long long count = 0;
    for (const Range& range : *this) {
        switch (range.type) {
        case RangeType::Cell:
            ++count;
            break;
        case RangeType::Row:
        case RangeType::Col:
            count += static_cast<long long>(range.rowColValues.size());
            break;
        case RangeType::Table:
            if (!range.tableValues.empty())
                count += static_cast<long long>(range.tableValues.size()) *
                         static_cast<long long>(range.tableValues.front().size());
            break;
        case RangeType::Invalid:
            break;
        }
    }
    return static_cast<int>(std::min<long long>(count, INT_MAX));
}

int RangeVector::minRow() const {
    if (empty())
        return Range::EndOfTable;
    const auto it = std::min_element(begin(), end(), sortRangeRowAscending);
    return std::max(it->row, 0);
}

int RangeVector::maxRow() const {
    if (empty())
        return 0;
    const auto it = std::max_element(begin(), end(), sortRangeRowAscending);
    return std::max(it->row, 0);
}

int RangeVector::minCol() const {
    if (empty())
        return Range::EndOfTable;
    const auto it = std::min_element(begin(), end(), sortRangeColAscending);
    return std::max(it->col, 0);
}

int RangeVector::maxCol() const {
    if (empty())
        return 0;
    const auto it = std::max_element(begin(), end(), sortRangeColAscending);
    return std::max(it->col, 0);
}

void RangeVector::colsInRow(std::vector<int>& out, int row, bool sort) {
    if (sort)
        sanitizeRowWise();
    for (const Range& range : *this) {
        if (range.row > row)
            break;
        if (range.row != row && range.row >= 0)
            continue;
        switch (range.type) {
        case RangeType::Cell:
        case RangeType::Col:
            out.push_back(range.col);
            break;
        case RangeType::Row:
        case RangeType::Table: {
            int last = range.endCol;
            if (last == Range::EndOfTable)
                last = numTableCols != -1 ? numTableCols : FallbackNumTableCols;
            // 64-bit counter: an end at INT_MAX must not wrap the loop.
            for (long long c = range.col; c <= last; ++c)
                out.push_back(static_cast<int>(c));
            break;
        }
        case RangeType::Invalid:
            break;
        }
    }
}

int RangeVector::findLowestRowStartIndex() {
    std::stable_sort(begin(), end(), sortRangeRowAscending);
    if (empty() || front().row >= 0)
        return -1;
    return front().row;
}

int RangeVector::findLowestColStartIndex() {
    std::stable_sort(begin(), end(), sortRangeColAscending);
    if (empty() || front().col >= 0)
        return -1;
    return front().col;
}

std::vector<int> RangeVector::findUnselectedRowsAboveRowStartIndex() {
    findLowestRowStartIndex();
    return {};
}

void RangeVector::getOrderedSet(std::vector<int>& out, std::vector<int>& in) {
    std::sort(in.begin(), in.end());
    std::unique_copy(in.begin(), in.end(), std::back_inserter(out));
}

void RangeVector::getOrderedSetOfRowsRaw(std::vector<int>& out) const {
    std::vector<int> rows;
    rows.reserve(size());
    for (const Range& range : *this) {
        const bool allRows = range.type == RangeType::Col || range.type == RangeType::Table;
        rows.push_back(allRows ? -1 : range.row);
    }
    getOrderedSet(out, rows);
}

void RangeVector::getOrderedSetOfColsRaw(std::vector<int>& out) const {
    std::vector<int> cols;
    cols.reserve(size());
    for (const Range& range : *this) {
        const bool allCols = range.type == RangeType::Row || range.type == RangeType::Table;
        cols.push_back(allCols ? -1 : range.col);
    }
    getOrderedSet(out, cols);
}

bool RangeVector::hasTableCell() const {
    return std::any_of(begin(), end(), [](const Range& r) { return r.type == RangeType::Table; });
}

bool RangeVector::hasRowCell() const {
    return std::any_of(begin(), end(), [](const Range& r) { return r.type == RangeType::Row; });
}

bool RangeVector::hasColCell() const {
    return std::any_of(begin(), end(), [](const Range& r) { return r.type == RangeType::Col; });
}

bool RangeVector::containsRange(const Range& range) const {
    return std::any_of(begin(), end(), [&range](const Range& r) { return r.containsRange(range); });
}

void RangeVector::moveRelative(int rows, int cols, bool removeIfOut) {
    for (Range& range : *this)
        range.moveRelative(rows, cols, removeIfOut);
    if (removeIfOut)
        std::erase_if(*this, [](const Range& r) { return r.type == RangeType::Invalid; });
}

Range RangeVector::transposeRange(const Range& range) {
    Range result(RangeType::Invalid);
    switch (range.type) {
    case RangeType::Cell:
        result = Range(range.col, range.row, RangeIndexType::Model);
        break;
    case RangeType::Row:
        result = Range(range.row, RangeType::Col, RangeIndexType::Model);
        result.mainCellIndex = range.mainCellIndex;
        break;
    case RangeType::Col:
        result = Range(range.col, RangeType::Row, RangeIndexType::Model);
        result.mainCellIndex = range.mainCellIndex;
        break;
    case RangeType::Table:
        result = Range(RangeType::Table, RangeIndexType::Model);
        result.row = range.col;
        result.col = range.row;
        result.endRow = range.endCol;
        result.endCol = range.endRow;
        result.mainCellRow = range.mainCellRow;
        result.mainCellCol = range.mainCellCol;
        break;
    case RangeType::Invalid:
        break;
    }
    result.isMainCell = range.isMainCell;
    return result;
}

int RangeVector::numRows() const {
    return 0;
}

int RangeVector::numCols() const {
    return 0;
}

bool RangeVector::hasRow(int) const {
    return false;
}

bool RangeVector::hasCol(int) const {
    return false;
}

int RangeVector::numCellsInRow(int) const {
    return 0;
}

int RangeVector::numCellsInCol(int) const {
    return 0;
}

int RangeVector::numRowRangesInRow(int) const {
    return 0;
}

int RangeVector::numColRangesInCol(int) const {
    return 0;
}

void RangeVector::rowsInCol(std::vector<int>&, int, bool) {}

void RangeVector::getDimensions(int&, int&) const {}
