// TableView: operations over the selected cells that shift, clear or turn the cells around
// them, each one undo step of new cell values.

#include "view/tableview.h"

#include "table/rowcolcommands.h"
#include "table/setmodeldatacommand.h"
#include "table/tablemodel.h"

#include <algorithm>
#include <map>

namespace {

// The first and last selected line across, for each selected line along `axis`.
std::map<int, std::pair<int, int>> spansByLine(const TableModel* m, Axis axis) {
    std::map<int, std::pair<int, int>> spans;
    for (const auto& [row, col] : m->getSelectionIndexes()) {
        const int line = axis == Axis::Row ? row : col;
        const int across = axis == Axis::Row ? col : row;
        auto [it, added] = spans.try_emplace(line, across, across);
        if (!added) {
            it->second.first = std::min(it->second.first, across);
            it->second.second = std::max(it->second.second, across);
        }
    }
    return spans;
}

QVariant cellValue(const TableModel* m, int row, int col) {
    if (row < 0 || col < 0 || row >= m->rowCountModel() || col >= m->columnCountModel())
        return QString();
    return m->data(m->index(row, col), Qt::EditRole);
}

void addCell(RangeVector& cells, const TableModel* m, int row, int col, const QVariant& value) {
    if (cellValue(m, row, col).toString() == value.toString())
        return;
    Range cell(row, col, RangeIndexType::Model);
    cell.value = value.toString();
    cells.push_back(std::move(cell));
}

} // namespace

bool TableView::pushCellValues(RangeVector& cells) {
    TableModel* m = tableModel();
    if (!m || cells.empty())
        return false;
    return pushCommand(new SetModelDataCommand(m, cells));
}

bool TableView::shiftSelectedCells(Axis axis, bool insert) {
    TableModel* m = tableModel();
    if (!m)
        return false;
    // Along rows the cells move across columns, and the other way round.
    const int extent = axis == Axis::Row ? m->columnCountModel() : m->rowCountModel();
    RangeVector cells;
    for (const auto& [line, span] : spansByLine(m, axis)) {
        const int width = span.second - span.first + 1;
        const int last = insert ? extent - 1 + width : extent - 1;
        for (int i = span.first; i <= last; ++i) {
            QVariant value;
            if (insert)
                value = i < span.first + width ? QVariant(QString()) : cellAt(axis, line, i - width);
            else
                value = cellAt(axis, line, i + width);
            if (axis == Axis::Row)
                addCell(cells, m, line, i, value);
            else
                addCell(cells, m, i, line, value);
        }
    }
    return pushCellValues(cells);
}

QVariant TableView::cellAt(Axis axis, int line, int across) const {
    return axis == Axis::Row ? cellValue(tableModel(), line, across) : cellValue(tableModel(), across, line);
}

bool TableView::insertCellsMoveRestOfRowRight() {
    return shiftSelectedCells(Axis::Row, true);
}

bool TableView::insertCellsMoveRestOfColumnDown() {
    return shiftSelectedCells(Axis::Col, true);
}

bool TableView::removeSelectedCellsMoveRestOfRowLeft() {
    return shiftSelectedCells(Axis::Row, false);
}

bool TableView::removeSelectedCellsMoveRestOfColumnUp() {
    return shiftSelectedCells(Axis::Col, false);
}

bool TableView::clearRestOfLines(Axis axis) {
    TableModel* m = tableModel();
    if (!m)
        return false;
    const int extent = axis == Axis::Row ? m->columnCountModel() : m->rowCountModel();
    RangeVector cells;
    for (const auto& [line, span] : spansByLine(m, axis)) {
        for (int i = span.first; i < extent; ++i) {
            if (axis == Axis::Row)
                addCell(cells, m, line, i, QString());
            else
                addCell(cells, m, i, line, QString());
        }
    }
    return pushCellValues(cells);
}

bool TableView::removeSelectedCellsAndTheRestOfTheirRows() {
    return clearRestOfLines(Axis::Row);
}

bool TableView::removeSelectedCellsAndTheRestOfTheirColumns() {
    return clearRestOfLines(Axis::Col);
}

bool TableView::transposeSelectedCells() {
    TableModel* m = tableModel();
    if (!m)
        return false;
    const auto indexes = m->getSelectionIndexes();
    if (indexes.size() < 2)
        return false;
    int top = indexes.front().first, bottom = top, left = indexes.front().second, right = left;
    for (const auto& [row, col] : indexes) {
        top = std::min(top, row);
        bottom = std::max(bottom, row);
        left = std::min(left, col);
        right = std::max(right, col);
    }
    // The block turns about its top left cell; what it no longer covers is cleared.
    const int height = bottom - top + 1;
    const int width = right - left + 1;
    RangeVector cells;
    for (int r = top; r < top + std::max(height, width); ++r) {
        for (int c = left; c < left + std::max(height, width); ++c) {
            const bool inNew = r - top < width && c - left < height;
            const bool inOld = r <= bottom && c <= right;
            if (inNew)
                addCell(cells, m, r, c, cellValue(m, top + (c - left), left + (r - top)));
            else if (inOld)
                addCell(cells, m, r, c, QString());
        }
    }
    if (cells.empty())
        return false;
    auto* command = new SetModelDataCommand(m, cells);
    Range after(RangeType::Table, RangeIndexType::Model);
    after.row = top;
    after.col = left;
    after.endRow = top + width - 1;
    after.endCol = left + height - 1;
    after.isMainCell = true;
    after.mainCellRow = top;
    after.mainCellCol = left;
    command->setSelectionCells(m->getSelection(), RangeVector{after});
    return pushCommand(command);
}

bool TableView::removeEmptyLines(Axis axis, bool selectedOnly) {
    TableModel* m = tableModel();
    if (!m)
        return false;
    std::vector<int> lines;
    if (!selectedOnly) {
        lines = axis == Axis::Row ? m->getEmptyRowsModel() : m->getEmptyColumnsModel();
    } else {
        // Lines empty in the selected columns (rows) only, asked of the stored rows: a cell's
        // text made for each of millions of cells held the window for many seconds.
        const std::vector<int> across = selectedLines(axis == Axis::Row ? Axis::Col : Axis::Row);
        const TableData& data = m->getTableData();
        if (!across.empty())
            lines = axis == Axis::Row
                        ? data.getEmptyRows(-1, RangeIndexType::Model, MASK_ONLY_LISTED, across)
                        : data.getEmptyCols(-1, RangeIndexType::Model, MASK_ONLY_LISTED, across);
    }
    if (lines.empty())
        return false;
    return axis == Axis::Row ? pushCommand(new RemoveRowsCommand(m, lines))
                             : pushCommand(new RemoveColsCommand(m, lines));
}
