#include "table/tablemodel.h"

void TableModel::insertLineGroups(Axis axis, const std::vector<int>& map, int count) {
    const int rawBefore = int(map.size()) - count;
    if (readOnly || count < 1 || rawBefore < 0)
        return;
    const bool rows = axis == Axis::Row;
    const LongWrite write(*this, rows ? 0 : tableCells());
    beginResetModel();
    ++sizeRuleHold;
    if (rows ? tableData.insertRowsRaw(rawBefore, count) : tableData.insertColsRaw(rawBefore, count)) {
        rows ? tableData.sortRows(map) : tableData.sortCols(map);
        (rows ? rowCountView : colCountView) += count;
    }
    --sizeRuleHold;
    invalidateSelectionLookup();
    highlightLookupValid = previewLookupValid = false;
    endResetModel();
    enforceTableSize();
}

void TableModel::removeLineGroups(Axis axis, const std::vector<int>& map, int count) {
    const int rawBefore = int(map.size()) - count;
    if (readOnly || count < 1 || rawBefore < 0)
        return;
    const bool rows = axis == Axis::Row;
    const LongWrite write(*this, rows ? 0 : tableCells());
    beginResetModel();
    ++sizeRuleHold;
    // The new lines go back to the end, and from there.
    if (rows ? tableData.unsortRows(map) : tableData.unsortCols(map)) {
        rows ? tableData.removeRowsRaw(rawBefore, count) : tableData.removeColsRaw(rawBefore, count);
        int& viewCount = rows ? rowCountView : colCountView;
        viewCount = std::max(0, viewCount - count);
    }
    --sizeRuleHold;
    invalidateSelectionLookup();
    highlightLookupValid = previewLookupValid = false;
    endResetModel();
    enforceTableSize();
}

bool TableModel::duplicateLines(Axis axis, const std::vector<int>& lines, int count, bool below) {
    const LongWrite write(*this, axis == Axis::Row ? 0 : tableCells());
    return tableData.duplicateLines(axis, lines, count, below);
}

bool TableModel::removeLineRuns(Axis axis, const std::vector<std::pair<int, int>>& runs) {
    const LongWrite write(*this, axis == Axis::Row ? 0 : tableCells());
    return tableData.removeRunsRaw(axis, runs);
}
