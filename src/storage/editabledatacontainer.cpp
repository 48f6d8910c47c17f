#include "storage/editabledatacontainer.h"

#include <algorithm>
#include <cstring>

namespace {

bool contains(const std::vector<int>& sortedList, int value) {
    return std::binary_search(sortedList.begin(), sortedList.end(), value);
}

} // namespace

// --- Container -------------------------------------------------------------------------------

EditableDataContainer::EditableDataContainer(QObject* parent) : AbstractDataContainer(parent) {}

EditableDataContainer::~EditableDataContainer() = default;

int EditableDataContainer::numCellsStored(int row) const {
    if (row < 0 || row >= static_cast<int>(rows.size()))
        return 0;
    return rows[static_cast<size_t>(row)].size();
}

std::string_view EditableDataContainer::cellView(int row, int col) const {
    if (row < 0 || row >= static_cast<int>(rows.size()))
        return {};
    return rows[static_cast<size_t>(row)].cellOrEmpty(col);
}

void EditableDataContainer::setStoredCell(PackedRow& row, int col, std::string_view value) {
    // A cell the row already stores changes without a walk over the row's other cells, which
    // keeps a block edit of a million cells from costing a million row rebuilds.
    if (row.replaceCell(col, value))
        return;
    // Views into the old row stay valid until the new one has been built from them.
    row.views(scratchViews);
    if (static_cast<int>(scratchViews.size()) <= col)
        scratchViews.resize(static_cast<size_t>(col) + 1);
    scratchViews[static_cast<size_t>(col)] = value;
    row = PackedRow::fromCells(scratchViews);
}

std::vector<char> EditableDataContainer::getValue(int row, int col, bool) const {
    const std::string_view cell = cellView(row, col);
    return std::vector<char>(cell.begin(), cell.end());
}

bool EditableDataContainer::getValueView(int row, int col, std::string_view& out) const {
    out = cellView(row, col);
    return true;
}

int EditableDataContainer::numColsInRow(int row) const {
    if (row < 0 || row >= static_cast<int>(rows.size()))
        return 0;
    return rows[static_cast<size_t>(row)].widthWithoutTrailingEmpty();
}

bool EditableDataContainer::setValue(const int& row, const int& col, const std::vector<char>& value) {
    if (row < 0 || col < 0)
        return false;
    if (row >= static_cast<int>(rows.size())) {
        rows.resize(static_cast<size_t>(row) + 1);
        // Deliberately the new physical end, even below a larger logical count: callers that
        // grow a table call resizeRows next.
        numRowsLogical = row + 1;
    }
    if (col >= numColsLogical)
        resizeCols(col + 1);
    auto& r = rows[static_cast<size_t>(row)];
    if (col >= r.size() && value.empty())
        return true;
    setStoredCell(r, col, std::string_view(value.data(), value.size()));
    return true;
}

void EditableDataContainer::setValuesInRow(int row,
                                           const std::vector<std::pair<int, std::string_view>>& cells) {
    if (row < 0 || cells.empty() || cells.front().first < 0)
        return;
    if (row >= static_cast<int>(rows.size())) {
        rows.resize(static_cast<size_t>(row) + 1);
        numRowsLogical = row + 1; // as setValue does
    }
    if (cells.back().first >= numColsLogical)
        resizeCols(cells.back().first + 1);
    auto& r = rows[static_cast<size_t>(row)];
    int width = r.size();
    if (cells.back().first < width) {
        // Every cell is stored already: replaced where it lies while each fits there; one that
        // grows would take a new block, so then the row is built once for all of them (the undo
        // of a cleared block writes every text back longer than it is).
        bool fits = true;
        for (const auto& [col, value] : cells)
            fits = fits && value.size() <= r.cell(col).size();
        if (fits || cells.size() == 1) {
            for (const auto& [col, value] : cells)
                setStoredCell(r, col, value);
            return;
        }
    }
    // The row grows: built once from the old cells and the new ones, instead of once a cell.
    r.views(scratchViews);
    bool changed = false;
    for (const auto& [col, value] : cells) {
        if (col >= width && value.empty())
            continue;
        if (col >= width) {
            width = col + 1;
            scratchViews.resize(static_cast<size_t>(width));
        }
        scratchViews[static_cast<size_t>(col)] = value;
        changed = true;
    }
    if (changed)
        r = PackedRow::fromCells(scratchViews);
}

bool EditableDataContainer::resizeRows(int n) {
    if (n < 0)
        return false;
    if (static_cast<int>(rows.size()) > n)
        rows.resize(static_cast<size_t>(n));
    numRowsLogical = n;
    return true;
}

bool EditableDataContainer::resizeCols(int n) {
    if (n < 0)
        return false;
    for (std::size_t i = 0; i < rows.size(); ++i) {
        rowPassed(i, rows.size());
        PackedRow& r = rows[i];
        if (r.size() > n) {
            r.views(scratchViews);
            scratchViews.resize(static_cast<size_t>(n));
            r = PackedRow::fromCells(scratchViews);
        }
    }
    numColsLogical = n;
    return true;
}

bool EditableDataContainer::clear() {
    rows.clear();
    rows.shrink_to_fit();
    scratchViews.clear();
    scratchViews.shrink_to_fit();
    numRowsLogical = 0;
    numColsLogical = 0;
    finalLineEnding = true; // a new table's last row ends with a line ending
    return true;
}

void EditableDataContainer::getRow(std::vector<std::vector<char>>& out, int row) {
    out.assign(static_cast<size_t>(std::max(numColsLogical, 0)), std::vector<char>());
    if (row < 0 || row >= static_cast<int>(rows.size()))
        return;
    const PackedRow& r = rows[static_cast<size_t>(row)];
    const int n = std::min(r.size(), static_cast<int>(out.size()));
    for (int i = 0; i < n; ++i) {
        const std::string_view cell = r.cell(i);
        out[static_cast<size_t>(i)].assign(cell.begin(), cell.end());
    }
}

void EditableDataContainer::getCol(std::vector<std::vector<char>>& out, int col) {
    out.assign(static_cast<size_t>(std::max(numRowsLogical, 0)), std::vector<char>());
    if (col < 0)
        return;
    const size_t n = std::min(rows.size(), out.size());
    for (size_t i = 0; i < n; ++i) {
        if (col < rows[i].size()) {
            const std::string_view cell = rows[i].cell(col);
            out[i].assign(cell.begin(), cell.end());
        }
    }
}

void EditableDataContainer::setRow(int row, const std::vector<std::vector<char>>& cells) {
    if (row < 0)
        return;
    if (row >= static_cast<int>(rows.size()))
        rows.resize(static_cast<size_t>(row) + 1);
    numRowsLogical = std::max(numRowsLogical, row + 1);
    numColsLogical = std::max(numColsLogical, static_cast<int>(cells.size()));
    size_t used = cells.size();
    while (used > 0 && cells[used - 1].empty())
        --used;
    scratchViews.resize(used);
    for (size_t i = 0; i < used; ++i)
        scratchViews[i] = std::string_view(cells[i].data(), cells[i].size());
    rows[static_cast<size_t>(row)] = PackedRow::fromCells(scratchViews);
}

int EditableDataContainer::rowFieldsAsRead(int row) const {
    return row >= 0 && row < static_cast<int>(rows.size()) ? rows[static_cast<size_t>(row)].fieldsAsRead()
                                                           : 0;
}

void EditableDataContainer::setRowAsRead(int row, const std::vector<std::vector<char>>& cells,
                                         int fieldsAsRead) {
    setRow(row, cells);
    setRowFieldsAsRead(row, fieldsAsRead);
}

void EditableDataContainer::setRowFieldsAsRead(int row, int fieldsAsRead) {
    if (row < 0 || row >= static_cast<int>(rows.size()) || fieldsAsRead < 0)
        return;
    PackedRow& packed = rows[static_cast<size_t>(row)];
    if (packed.fieldsAsRead() == fieldsAsRead)
        return;
    packed.views(scratchViews);
    // A cell written past the line's fields and emptied again is no field of the line.
    while (!scratchViews.empty() && scratchViews.back().empty())
        scratchViews.pop_back();
    packed = PackedRow::fromCells(scratchViews, static_cast<size_t>(fieldsAsRead));
}

void EditableDataContainer::setCol(int col, const std::vector<std::vector<char>>& cells) {
    if (col < 0)
        return;
    numColsLogical = std::max(numColsLogical, col + 1);
    numRowsLogical = std::max(numRowsLogical, static_cast<int>(cells.size()));
    for (size_t i = 0; i < cells.size(); ++i) {
        if (cells[i].empty()) {
            if (i < rows.size() && col < rows[i].size() && !rows[i].cellEmpty(col))
                setStoredCell(rows[i], col, {});
            continue;
        }
        if (i >= rows.size())
            rows.resize(i + 1);
        setStoredCell(rows[i], col, std::string_view(cells[i].data(), cells[i].size()));
    }
}

void EditableDataContainer::insertRow(int at, const std::vector<std::vector<char>>& cells) {
    insertRows(at, std::vector<std::vector<std::vector<char>>>{cells});
}

void EditableDataContainer::insertCol(int at, const std::vector<std::vector<char>>& cells) {
    insertCols(at, std::vector<std::vector<std::vector<char>>>{cells});
}

void EditableDataContainer::insertRows(int at,
                                       const std::vector<std::vector<std::vector<char>>>& rowsToInsert) {
    if (at < 0 || rowsToInsert.empty())
        return;
    if (at > static_cast<int>(rows.size()))
        rows.resize(static_cast<size_t>(at));
    std::vector<PackedRow> packed;
    packed.reserve(rowsToInsert.size());
    int widest = 0;
    for (const auto& cells : rowsToInsert) {
        size_t used = cells.size();
        while (used > 0 && cells[used - 1].empty())
            --used;
        scratchViews.resize(used);
        for (size_t i = 0; i < used; ++i)
            scratchViews[i] = std::string_view(cells[i].data(), cells[i].size());
        packed.push_back(PackedRow::fromCells(scratchViews));
        widest = std::max(widest, static_cast<int>(cells.size()));
    }
    rows.insert(rows.begin() + at, std::make_move_iterator(packed.begin()),
                std::make_move_iterator(packed.end()));
    numRowsLogical = std::max(numRowsLogical, at) + static_cast<int>(rowsToInsert.size());
    numColsLogical = std::max(numColsLogical, widest);
}

void EditableDataContainer::insertCols(int at,
                                       const std::vector<std::vector<std::vector<char>>>& colsToInsert) {
    if (at < 0 || colsToInsert.empty())
        return;
    const size_t count = colsToInsert.size();
    size_t tallest = 0;
    for (const auto& column : colsToInsert)
        tallest = std::max(tallest, column.size());
    // Rows that get a non-empty cell need to exist physically.
    size_t lastNeeded = 0;
    for (const auto& column : colsToInsert) {
        for (size_t i = column.size(); i > 0; --i) {
            if (!column[i - 1].empty()) {
                lastNeeded = std::max(lastNeeded, i);
                break;
            }
        }
    }
    if (rows.size() < lastNeeded)
        rows.resize(lastNeeded);
    for (size_t i = 0; i < rows.size(); ++i) {
        rowPassed(i, rows.size());
        auto& r = rows[i];
        bool anyValue = false;
        for (const auto& column : colsToInsert)
            anyValue = anyValue || (i < column.size() && !column[i].empty());
        const int fields = r.fieldsAsRead();
        if (r.size() <= at && !anyValue && fields <= at)
            continue;
        r.views(scratchViews);
        if (static_cast<int>(scratchViews.size()) < at)
            scratchViews.resize(static_cast<size_t>(at));
        std::vector<std::string_view> inserted(count);
        for (size_t k = 0; k < count; ++k) {
            if (i < colsToInsert[k].size())
                inserted[k] = std::string_view(colsToInsert[k][i].data(), colsToInsert[k][i].size());
        }
        scratchViews.insert(scratchViews.begin() + at, inserted.begin(), inserted.end());
        while (!scratchViews.empty() && scratchViews.back().empty())
            scratchViews.pop_back();
        r = PackedRow::fromCells(scratchViews, fields > at ? static_cast<size_t>(fields) + count : 0);
    }
    numColsLogical = std::max(numColsLogical, at) + static_cast<int>(count);
    numRowsLogical = std::max(numRowsLogical, static_cast<int>(tallest));
}

bool EditableDataContainer::insertEmptyRows(int at, int count) {
    if (at < 0 || count < 1)
        return false;
    if (at >= static_cast<int>(rows.size())) {
        // Nothing stored there: only the size changes.
        numRowsLogical = std::max(numRowsLogical, at) + count;
        return true;
    }
    rows.insert(rows.begin() + at, static_cast<size_t>(count), PackedRow());
    numRowsLogical += count;
    return true;
}

bool EditableDataContainer::insertEmptyCols(int at, int count) {
    if (at < 0 || count < 1)
        return false;
    if (at >= numColsLogical) {
        numColsLogical = at + count;
        return true;
    }
    for (std::size_t i = 0; i < rows.size(); ++i) {
        rowPassed(i, rows.size());
        PackedRow& r = rows[i];
        // A row keeps the shape of its line: columns inserted among its fields add to them.
        const int fields = r.fieldsAsRead();
        if (r.size() > at || fields > at) {
            r.views(scratchViews);
            if (static_cast<int>(scratchViews.size()) > at)
                scratchViews.insert(scratchViews.begin() + at, static_cast<size_t>(count),
                                    std::string_view());
            r = PackedRow::fromCells(scratchViews, fields > at ? static_cast<size_t>(fields + count) : 0);
        }
    }
    numColsLogical += count;
    return true;
}

bool EditableDataContainer::removeRows(int at, int count) {
    if (at < 0 || count < 1)
        return false;
    if (at >= numRowsLogical)
        return true;
    const int n = std::min(count, numRowsLogical - at);
    if (at < static_cast<int>(rows.size())) {
        const int physicalEnd = std::min(at + n, static_cast<int>(rows.size()));
        rows.erase(rows.begin() + at, rows.begin() + physicalEnd);
    }
    numRowsLogical -= n;
    return true;
}

bool EditableDataContainer::removeCols(int at, int count) {
    if (at < 0 || count < 1)
        return false;
    if (at >= numColsLogical)
        return true;
    const int n = std::min(count, numColsLogical - at);
    for (std::size_t i = 0; i < rows.size(); ++i) {
        rowPassed(i, rows.size());
        PackedRow& r = rows[i];
        // A row keeps the shape of its line: it loses the removed columns that were among its
        // fields, and is saved with the fields left.
        const int fields = r.fieldsAsRead();
        if (at < r.size() || fields > at) {
            const int cellEnd = std::min(at + n, r.size());
            r.views(scratchViews);
            if (at < r.size())
                scratchViews.erase(scratchViews.begin() + at, scratchViews.begin() + cellEnd);
            r = PackedRow::fromCells(
                scratchViews, fields > at ? static_cast<size_t>(fields - std::min(n, fields - at)) : 0);
        }
    }
    numColsLogical -= n;
    return true;
}

void EditableDataContainer::copyRowContentsToAnotherRow(int from, int to) {
    if (from < 0 || to < 0 || from == to)
        return;
    if (to >= static_cast<int>(rows.size())) {
        rows.resize(static_cast<size_t>(to) + 1);
        numRowsLogical = to + 1;
    }
    if (from < static_cast<int>(rows.size()))
        rows[static_cast<size_t>(to)] = rows[static_cast<size_t>(from)];
    else
        rows[static_cast<size_t>(to)] = PackedRow();
}

void EditableDataContainer::copyColContentsToAnotherCol(int from, int to) {
    if (from < 0 || to < 0 || from == to)
        return;
    if (to >= numColsLogical)
        resizeCols(to + 1);
    for (std::size_t i = 0; i < rows.size(); ++i) {
        rowPassed(i, rows.size());
        PackedRow& r = rows[i];
        const bool hasFrom = from < r.size() && !r.cellEmpty(from);
        if (!hasFrom) {
            if (to < r.size() && !r.cellEmpty(to))
                setStoredCell(r, to, {});
            continue;
        }
        setStoredCell(r, to, r.cell(from));
    }
}

std::vector<int> EditableDataContainer::emptyRows(int index, GetRowColMaskType maskType,
                                                  const std::vector<int>& mask) {
    // The mask selects the columns that are looked at in each row.
    std::vector<int> result;
    const int total = std::max(numRowsLogical, static_cast<int>(rows.size()));
    for (int row = 0; row < total; ++row) {
        bool empty = true;
        if (row < static_cast<int>(rows.size())) {
            const PackedRow& r = rows[static_cast<size_t>(row)];
            const int width = r.size();
            if (maskType == MASK_ONLY_LISTED) {
                for (const int col : mask) {
                    if (col >= 0 && col < width && !r.cellEmpty(col)) {
                        empty = false;
                        break;
                    }
                }
            } else {
                for (int col = std::max(index, 0); col < width; ++col) {
                    if (!r.cellEmpty(col) && (maskType == MASK_ALL || !contains(mask, col))) {
                        empty = false;
                        break;
                    }
                }
            }
        }
        if (empty)
            result.push_back(row);
    }
    return result;
}

std::vector<int> EditableDataContainer::emptyCols(int index, GetRowColMaskType maskType,
                                                  const std::vector<int>& mask) {
    // The mask selects the rows that are looked at in each column.
    const int total = numColsLogical;
    std::vector<char> occupied(static_cast<size_t>(std::max(total, 0)), 0);
    auto markRow = [&](int row) {
        if (row < 0 || row >= static_cast<int>(rows.size()))
            return;
        const PackedRow& r = rows[static_cast<size_t>(row)];
        const int width = std::min(r.size(), static_cast<int>(occupied.size()));
        for (int col = 0; col < width; ++col) {
            if (!r.cellEmpty(col))
                occupied[static_cast<size_t>(col)] = 1;
        }
    };
    if (maskType == MASK_ONLY_LISTED) {
        for (const int row : mask)
            markRow(row);
    } else {
        for (int row = std::max(index, 0); row < static_cast<int>(rows.size()); ++row) {
            if (maskType == MASK_ALL || !contains(mask, row))
                markRow(row);
        }
    }
    std::vector<int> result;
    for (int col = 0; col < total; ++col) {
        if (!occupied[static_cast<size_t>(col)])
            result.push_back(col);
    }
    return result;
}

int EditableDataContainer::numEmptyRowsAtEnd() {
    int count = 0;
    for (int row = static_cast<int>(rows.size()) - 1; row >= 0; --row) {
        if (numColsInRow(row) > 0)
            break;
        ++count;
    }
    return count;
}

int EditableDataContainer::numEmptyColsAtEnd() {
    int widest = 0;
    for (int row = 0; row < static_cast<int>(rows.size()); ++row)
        widest = std::max(widest, numColsInRow(row));
    return std::max(numColsLogical - widest, 0);
}
