#include "view/tableview.h"

#include "table/setmodeldatacommand.h"
#include "table/sortcommand.h"
#include "table/sorter.h"
#include "table/tablemodel.h"
#include "table/tablemodelworker.h"
#include "util/sortutilities.h"
#include "view/workerprogress.h"

#include <algorithm>
#include <numeric>

bool TableView::sortRowsOrCols(const SortData& sortData) {
    TableModel* m = tableModel();
    if (!m || sortData.index < 0 || sortData.type == SortType::None || static_cast<int>(sortData.axis) == 3)
        return false;
    stopEditing(true);
    WorkerProgress progress(this, m, QObject::tr("Sorting..."), QObject::tr("Sort"));
    if (isReadOnly()) {
        // Nothing of the file changes, so there is nothing to take back or to save.
        return sortData.axis == Axis::Row ? m->sortRows(sortData, true) : m->sortColumns(sortData, true);
    }
    return pushCommand(new SortCommand(m, sortData));
}

bool TableView::sortRowsOrCols(Axis axis, SortType type) {
    TableModel* m = tableModel();
    if (!m)
        return false;
    const Range mainCell = m->getRawRange(m->getMainCell());
    const int index = axis == Axis::Row ? mainCell.col : mainCell.row;
    if (index < 0 || index >= (axis == Axis::Row ? m->columnCountRaw() : m->rowCountRaw()))
        return false;
    if (isReadOnly())
        return sortRowsOrCols(SortData{type, axis, index});
    stopEditing(true);
    WorkerProgress progress(this, m, QObject::tr("Sorting..."), QObject::tr("Sort"));
    return pushCommand(new SortCommand(m, m->getSelection(), true, axis, type));
}

bool TableView::sortSelectedCells(Axis axis, SortType type) {
    TableModel* m = tableModel();
    if (!m || isReadOnly() || type == SortType::None)
        return false;
    stopEditing(true);
    std::vector<RangeVector> lines;
    if (axis == Axis::Row)
        m->getCellArrayByRows(lines, m->getSelection(), false, true);
    else
        m->getCellArrayByCols(lines, m->getSelection(), false, true);
    const bool caseSensitive = m->getTableData().getCaseSensitiveSort();
    const bool descending = type == SortType::Descending;
    bool changed = false;
    for (RangeVector& line : lines) {
        std::vector<QVariant> values;
        SortKeys keys;
        for (const Range& cell : line) {
            values.push_back(cell.value);
            const QString text = cell.value.toString();
            keys.add(caseSensitive ? text : text.toLower());
        }
        std::vector<int> order(values.size());
        std::iota(order.begin(), order.end(), 0);
        Sorter::stableMergeSort(order, keys, descending);
        for (std::size_t i = 0; i < line.size(); ++i) {
            line[i].value = values[static_cast<std::size_t>(order[i])];
            changed = changed || order[i] != static_cast<int>(i);
        }
    }
    if (!changed)
        return false;
    RangeVector cells;
    TableModel::convertCellArrayToCells(cells, lines);
    return pushCommand(new SetModelDataCommand(m, cells, true));
}

namespace {

// Model lines that repeat a line before them, found by sorting on the worker.
std::vector<int> duplicateLines(QWidget* view, TableModel* m, Axis axis, bool basedOnSelection) {
    std::vector<int> across;
    if (basedOnSelection) {
        if (axis == Axis::Row)
            m->getOrderedSetOfSelectedCols(across);
        else
            m->getOrderedSetOfSelectedRows(across);
        if (across.empty())
            return {};
    }
    WorkerProgress progress(view, m, QObject::tr("Finding duplicates..."), QObject::tr("Sort"));
    return axis == Axis::Row ? m->getEdgeIndexesOfSortedColumns(across, m->isForTableView())
                             : m->getEdgeIndexesOfSortedRows(across, m->isForTableView());
}

} // namespace

bool TableView::removeDuplicateRowsOrCols(Axis axis, bool basedOnSelection) {
    TableModel* m = tableModel();
    if (!m || isReadOnly())
        return false;
    stopEditing(true);
    const std::vector<int> lines = duplicateLines(this, m, axis, basedOnSelection);
    if (lines.empty())
        return false;
    return axis == Axis::Row ? removeRows(lines) : removeCols(lines);
}

bool TableView::selectDuplicateRowsOrCols(Axis axis, bool basedOnSelection) {
    TableModel* m = tableModel();
    if (!m)
        return false;
    stopEditing(true);
    const std::vector<int> lines = duplicateLines(this, m, axis, basedOnSelection);
    if (lines.empty())
        return false;
    RangeVector ranges;
    for (const int line : lines)
        ranges.push_back(
            Range(line, axis == Axis::Row ? RangeType::Row : RangeType::Col, RangeIndexType::Model));
    // The main cell goes to the first duplicate, so that it stands in the selection.
    Range mainCell = axis == Axis::Row ? Range(lines.front(), 0, RangeIndexType::Model)
                                       : Range(0, lines.front(), RangeIndexType::Model);
    m->setSelection(mainCell, ranges);
    refreshView();
    return true;
}

void TableView::fitAfterSort(Axis axis) {
    TableModel* m = tableModel();
    if (!m)
        return;
    const bool rows = axis == Axis::Row;
    if (rows ? !autoFitRowHeight : !autoFitColWidth)
        return;
    // Only the heights of rows (widths of columns) changed hands; fitting a million of them would
    // cost more than the sort, so a large table fits what is in view, and a band around it.
    const int count = rows ? m->rowCountModel() : m->columnCountModel();
    int first = 0;
    int last = count - 1;
    if (count > autoFitWarningThreshold) {
        const int extent = rows ? viewport()->height() : viewport()->width();
        first = rows ? rowAt(0) : columnAt(0);
        last = rows ? rowAt(extent - 1) : columnAt(extent - 1);
        first = std::max(0, first < 0 ? 0 : first - 50);
        last = std::min(count - 1, (last < 0 ? count - 1 : last) + 50);
    }
    for (int line = first; line <= last; ++line) {
        if (rows)
            enforceAutoFitRowHeight(line);
        else
            enforceAutoFitColWidth(line);
    }
}

void TableView::onHorizontalSectionDoubleClicked(int col) {
    TableModel* m = tableModel();
    if (!m)
        return;
    const int raw = m->getRawFromModelCol(col);
    if (raw < 0 || raw >= m->columnCountRaw())
        return;
    const SortData last = m->getRowSortData();
    const SortType type =
        last.index == raw && last.type == SortType::Ascending ? SortType::Descending : SortType::Ascending;
    sortRowsOrCols(SortData{type, Axis::Row, raw});
}

void TableView::onVerticalSectionDoubleClicked(int row) {
    TableModel* m = tableModel();
    if (!m)
        return;
    const int raw = m->getRawFromModelRow(row);
    if (raw < 0 || raw >= m->rowCountRaw())
        return;
    const SortData last = m->getColSortData();
    const SortType type =
        last.index == raw && last.type == SortType::Ascending ? SortType::Descending : SortType::Ascending;
    sortRowsOrCols(SortData{type, Axis::Col, raw});
}
