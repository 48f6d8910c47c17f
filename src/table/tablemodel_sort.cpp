#include "table/tablemodel.h"

#include "table/tablemodelworker.h"
#include "util/sortutilities.h"

#include <algorithm>

bool TableModel::getSortIndexes(std::vector<int>& out, const SortData& sortData, int numHeaders,
                                bool useThread) {
    out.clear();
    if (!sortData.isValid())
        return false;
    std::vector<int> result;
    const bool finished = runOnWorker(
        [&](TableModelWorker& work) {
            return tableData.getSortIndexes(result, sortData.index, sortData.axis, sortData.type, numHeaders,
                                            &work);
        },
        useThread);
    if (!finished || result.empty())
        return false;
    out.swap(result);
    return true;
}

void TableModel::sortFilterLines(Axis axis, const std::vector<int>& map) {
    // A filter on a column conceals rows: when rows move, its exceptions move; a filter on a row
    // moves with its row. The reverse for columns.
    const RangeType ownType = axis == Axis::Row ? RangeType::Row : RangeType::Col;
    for (FilterData& filter : filterList) {
        if (filter.range.type == ownType) {
            int& line = axis == Axis::Row ? filter.range.row : filter.range.col;
            if (line >= 0 && line < static_cast<int>(map.size()))
                line = map[static_cast<std::size_t>(line)];
        } else {
            Utilities::mapSortIndexes(filter.exceptions, map);
            std::sort(filter.exceptions.begin(), filter.exceptions.end());
        }
    }
    // Lines hidden by hand stay the same lines of data.
    std::vector<int>& hidden = axis == Axis::Row ? hiddenRowsList : hiddenColsList;
    Utilities::mapSortIndexes(hidden, map);
    std::sort(hidden.begin(), hidden.end());
}

void TableModel::applySortMap(Axis axis, const std::vector<int>& map, bool unsort) {
    const bool rows = axis == Axis::Row;
    // Columns move within every row.
    const LongWrite write(*this, rows ? 0 : tableCells());
    emit layoutAboutToBeChanged();
    bool moved = false;
    if (rows)
        moved = unsort ? tableData.unsortRows(map) : tableData.sortRows(map);
    else
        moved = unsort ? tableData.unsortCols(map) : tableData.sortCols(map);
    if (moved) {
        const std::vector<int> lineMap = unsort ? Utilities::invertSortIndexesVector(map) : map;
        sortFilterLines(axis, lineMap);
        // The mark of the other axis names a line of this one.
        SortData& otherMark = rows ? colSortData : rowSortData;
        if (otherMark.index >= 0 && otherMark.index < static_cast<int>(lineMap.size()))
            otherMark.index = lineMap[static_cast<std::size_t>(otherMark.index)];
    }
    invalidateSelectionLookup();
    highlightLookupValid = false;
    previewLookupValid = false;
    emit layoutChanged();
    emit refreshHeadersSignal();
    if (moved)
        emit sortedLinesMovedSignal(axis);
}

void TableModel::sortRows(const std::vector<int>& indexes, SortType type, int index, bool) {
    rowSortData = SortData{type, Axis::Row, index};
    applySortMap(Axis::Row, indexes, false);
}

void TableModel::sortColumns(const std::vector<int>& indexes, SortType type, int index, bool) {
    colSortData = SortData{type, Axis::Col, index};
    applySortMap(Axis::Col, indexes, false);
}

bool TableModel::sortRows(const SortData& sortData, bool useThread) {
    std::vector<int> indexes;
    if (sortData.axis != Axis::Row || !getSortIndexes(indexes, sortData, numHeaderRows, useThread))
        return false;
    sortRows(indexes, sortData.type, sortData.index);
    return true;
}

bool TableModel::sortColumns(const SortData& sortData, bool useThread) {
    std::vector<int> indexes;
    if (sortData.axis != Axis::Col || !getSortIndexes(indexes, sortData, numHeaderCols, useThread))
        return false;
    sortColumns(indexes, sortData.type, sortData.index);
    return true;
}

void TableModel::unsortRows(const std::vector<int>& indexes) {
    rowSortData = SortData();
    applySortMap(Axis::Row, indexes, true);
}

void TableModel::unsortColumns(const std::vector<int>& indexes) {
    colSortData = SortData();
    applySortMap(Axis::Col, indexes, true);
}

std::vector<int> TableModel::getEdgeIndexesOfSortedRows(const std::vector<int>& rows, bool useThread) {
    return findDuplicateLines(Axis::Col, rows, useThread);
}

// The rows (Axis::Row) or columns that repeat an earlier one, compared on the cells of the lines
// `keys` across them (all when empty); header lines take no part.
std::vector<int> TableModel::findDuplicateLines(Axis axis, const std::vector<int>& keys, bool useThread) {
    const bool rows = axis == Axis::Row;
    std::vector<int> keyLines;
    const int across = rows ? tableData.numModelCols() : tableData.numModelRows();
    if (keys.empty()) {
        for (int k = 0; k < across; ++k)
            keyLines.push_back(k);
    } else {
        for (const int k : keys) {
            if (k >= 0 && k < across)
                keyLines.push_back(k);
        }
    }
    const int first = std::max(rows ? numVisibleHeaderRows : numHeaderCols, 0);
    const int lines = rows ? tableData.numModelRows() : tableData.numModelCols();
    std::vector<int> duplicates;
    if (keyLines.empty() || lines - first < 2)
        return duplicates;

    const bool finished = runOnWorker(
        [&](TableModelWorker& work) {
            std::vector<int> rawKeys;
            for (const int k : keyLines)
                rawKeys.push_back(rows ? tableData.getRawFromModelCol(k) : tableData.getRawFromModelRow(k));
            const int n = lines - first;
            // The keys as bytes: equal texts are equal bytes, and byte order groups them.
            std::vector<std::vector<std::vector<char>>> keyCells(static_cast<std::size_t>(n));
            for (int i = 0; i < n; ++i) {
                const int rawLine =
                    rows ? tableData.getRawFromModelRow(first + i) : tableData.getRawFromModelCol(first + i);
                auto& key = keyCells[static_cast<std::size_t>(i)];
                key.reserve(rawKeys.size());
                for (const int rawKey : rawKeys)
                    key.push_back(rows ? tableData.getValueRawCharVec(rawLine, rawKey)
                                       : tableData.getValueRawCharVec(rawKey, rawLine));
                if (!work.reportProgress(i, 2LL * n))
                    return false;
            }
            std::vector<int> order(static_cast<std::size_t>(n));
            for (int i = 0; i < n; ++i)
                order[static_cast<std::size_t>(i)] = i;
            // Stable, so the first line of a run of equals is the earliest and stays.
            std::stable_sort(order.begin(), order.end(), [&keyCells](int a, int b) {
                return keyCells[static_cast<std::size_t>(a)] < keyCells[static_cast<std::size_t>(b)];
            });
            if (!work.reportProgress(n, 2LL * n))
                return false;
            for (std::size_t i = 1; i < order.size(); ++i) {
                if (keyCells[static_cast<std::size_t>(order[i])] ==
                    keyCells[static_cast<std::size_t>(order[i - 1])])
                    duplicates.push_back(first + order[i]);
            }
            std::sort(duplicates.begin(), duplicates.end());
            return true;
        },
        useThread);
    if (!finished)
        duplicates.clear();
    return duplicates;
}
