// Reading and writing whole ranges, and the data services that tools ask of a TableModel.

#include "table/tablemodel.h"

#include "table/tablemodel_p.h"
#include "table/tablemodelworker.h"
#include "util/locationutilities.h"
#include "util/statisticsutilities.h"

#include <QRegularExpression>

#include <algorithm>
#include <climits>
#include <set>

using namespace TableModelDetail;

namespace {

// The value a range carries for one of its cells: by column in a Row range, by row in a Col
// range, by both in a Table range.
QVariant carriedValue(const Range& range, int row, int col, bool old) {
    auto pick = [](const std::vector<QVariant>& values, qint64 at) {
        return at >= 0 && at < static_cast<qint64>(values.size()) ? values[static_cast<std::size_t>(at)]
                                                                  : QVariant();
    };
    switch (range.type) {
    case RangeType::Cell:
        return old ? range.oldValue : range.value;
    case RangeType::Row:
        return pick(old ? range.oldRowColValues : range.rowColValues, static_cast<qint64>(col) - range.col);
    case RangeType::Col:
        return pick(old ? range.oldRowColValues : range.rowColValues, static_cast<qint64>(row) - range.row);
    case RangeType::Table: {
        const auto& table = old ? range.oldTableValues : range.tableValues;
        const qint64 r = static_cast<qint64>(row) - range.row;
        if (r < 0 || r >= static_cast<qint64>(table.size()))
            return QVariant();
        return pick(table[static_cast<std::size_t>(r)], static_cast<qint64>(col) - range.col);
    }
    case RangeType::Invalid:
        break;
    }
    return QVariant();
}

bool rowMajor(const Range& a, const Range& b) {
    return a.row != b.row ? a.row < b.row : a.col < b.col;
}
bool colMajor(const Range& a, const Range& b) {
    return a.col != b.col ? a.col < b.col : a.row < b.row;
}

template <typename Key> void groupCells(std::vector<RangeVector>& out, std::vector<Range>& cells, Key key) {
    out.clear();
    for (Range& cell : cells) {
        if (out.empty() || key(out.back().back()) != key(cell))
            out.emplace_back();
        out.back().push_back(std::move(cell));
    }
}

} // namespace

// --- Single cells in any index space ---------------------------------------------------------

QVariant TableModel::readCell(RangeIndexType indexType, int row, int col) const {
    switch (indexType) {
    case RangeIndexType::Model:
        return tableData.getValueModel(row, col);
    case RangeIndexType::Raw:
        return tableData.getValueRaw(row, col);
    case RangeIndexType::User:
        return tableData.getValueRaw(getRawFromUserRow(row), getRawFromUserCol(col));
    }
    return QVariant();
}

void TableModel::writeCell(RangeIndexType indexType, int row, int col, const QVariant& value) {
    switch (indexType) {
    case RangeIndexType::Model:
        tableData.setValueModel(row, col, value.toString());
        break;
    case RangeIndexType::Raw:
        tableData.setValueRaw(row, col, value.toString());
        break;
    case RangeIndexType::User:
        tableData.setValueRaw(getRawFromUserRow(row), getRawFromUserCol(col), value.toString());
        break;
    }
}

// --- Filling and writing ranges --------------------------------------------------------------

void TableModel::populateCellDataValues(Range& range, bool current, bool old) const {
    if (!current && !old)
        return;
    const RangeIndexType type = range.indexType;
    int lastRow = type == RangeIndexType::Model ? tableData.numModelRows() - 1 : tableData.numRawRows() - 1;
    int lastCol = type == RangeIndexType::Model ? tableData.numModelCols() - 1 : tableData.numRawCols() - 1;
    if (type == RangeIndexType::User) {
        lastRow = getUserFromRawRow(lastRow);
        lastCol = getUserFromRawCol(lastCol);
    }
    switch (range.type) {
    case RangeType::Cell: {
        const QVariant value = readCell(type, range.row, range.col);
        if (current)
            range.value = value;
        if (old)
            range.oldValue = value;
        break;
    }
    case RangeType::Row:
    case RangeType::Col: {
        const bool isRow = range.type == RangeType::Row;
        const int first = isRow ? range.col : range.row;
        const int last = std::min(isRow ? lastCol : lastRow, isRow ? range.endCol : range.endRow);
        std::vector<QVariant> values;
        values.reserve(static_cast<std::size_t>(std::max(0, last - first + 1)));
        for (int i = std::max(first, 0); i <= last; ++i)
            values.push_back(isRow ? readCell(type, range.row, i) : readCell(type, i, range.col));
        if (current && old)
            range.oldRowColValues = values;
        if (current)
            range.rowColValues = std::move(values);
        else
            range.oldRowColValues = std::move(values);
        break;
    }
    case RangeType::Table: {
        const int endRow = std::min(lastRow, range.endRow);
        const int endCol = std::min(lastCol, range.endCol);
        std::vector<std::vector<QVariant>> values;
        for (int r = std::max(range.row, 0); r <= endRow; ++r) {
            std::vector<QVariant>& line = values.emplace_back();
            for (int c = std::max(range.col, 0); c <= endCol; ++c)
                line.push_back(readCell(type, r, c));
        }
        if (current && old)
            range.oldTableValues = values;
        if (current)
            range.tableValues = std::move(values);
        else
            range.oldTableValues = std::move(values);
        break;
    }
    case RangeType::Invalid:
        break;
    }
}

void TableModel::populateCellDataValues(RangeVector& ranges, bool current, bool old) const {
    for (Range& range : ranges)
        populateCellDataValues(range, current, old);
}

void TableModel::populateModel(Range range, bool old, const Range& skip, bool raw) {
    if (readOnly || range.type == RangeType::Invalid)
        return;
    if (range.indexType == RangeIndexType::User)
        range = getModelRange(range);

    // Every written position, in the range's index space.
    std::vector<std::pair<std::pair<int, int>, QVariant>> writes;
    auto add = [&writes](int r, int c, const QVariant& v) {
        if (r >= 0 && c >= 0)
            writes.push_back({{r, c}, v});
    };
    switch (range.type) {
    case RangeType::Cell:
        if (!(skip.type == RangeType::Cell && range == skip))
            add(range.row, range.col, old ? range.oldValue : range.value);
        break;
    case RangeType::Row: {
        const auto& values = old ? range.oldRowColValues : range.rowColValues;
        for (std::size_t i = 0; i < values.size(); ++i)
            add(range.row, range.col + static_cast<int>(i), values[i]);
        break;
    }
    case RangeType::Col: {
        const auto& values = old ? range.oldRowColValues : range.rowColValues;
        for (std::size_t i = 0; i < values.size(); ++i)
            add(range.row + static_cast<int>(i), range.col, values[i]);
        break;
    }
    case RangeType::Table: {
        const auto& values = old ? range.oldTableValues : range.tableValues;
        for (std::size_t r = 0; r < values.size(); ++r) {
            for (std::size_t c = 0; c < values[r].size(); ++c)
                add(range.row + static_cast<int>(r), range.col + static_cast<int>(c), values[r][c]);
        }
        break;
    }
    case RangeType::Invalid:
        break;
    }
    if (writes.empty())
        return;

    const bool model = range.indexType == RangeIndexType::Model;
    int top = INT_MAX, left = INT_MAX, bottom = -1, right = -1;
    for (const auto& [at, value] : writes) {
        const int r = model ? at.first : tableData.getModelFromRawRow(at.first, true);
        const int c = model ? at.second : tableData.getModelFromRawCol(at.second, true);
        top = std::min(top, r);
        left = std::min(left, c);
        bottom = std::max(bottom, r);
        right = std::max(right, c);
    }
    // The grid first grows to hold what is written, so the view knows every cell it is told of.
    growViewTo(bottom + 1, right + 1);

    ++sizeRuleHold;
    const LongWrite write(*this, qint64(writes.size()) * kCellAloneWeight);
    qint64 done = 0;
    for (const auto& [at, value] : writes) {
        if (write.isOn() && done++ % 4096 == 0)
            write.report(done, qint64(writes.size()));
        if (raw) {
            const int rawRow = model ? tableData.getRawFromModelRow(at.first) : at.first;
            const int rawCol = model ? tableData.getRawFromModelCol(at.second) : at.second;
            setDataRaw(rawRow, rawCol, value);
        } else {
            writeCell(range.indexType, at.first, at.second, value);
        }
    }
    --sizeRuleHold;
    if (!raw && top >= 0 && left >= 0) {
        bottom = std::min(bottom, rowCountView - 1);
        right = std::min(right, colCountView - 1);
        if (top <= bottom && left <= right)
            emit dataChanged(index(top, left), index(bottom, right));
    }
    enforceTableSize();
    if (!writes.empty())
        emit newDataCommittedSignal();
}

void TableModel::populateModel(RangeVector& ranges, bool old, const Range& skip, bool raw) {
    for (const Range& range : ranges)
        populateModel(range, old, skip, raw);
}

// --- Cell arrays -----------------------------------------------------------------------------

void TableModel::expandToCells(std::vector<Range>& out, const RangeVector& ranges) const {
    out.clear();
    const int lastDataRow = tableData.numModelRows() - 1;
    const int lastDataCol = tableData.numModelCols() - 1;
    auto push = [&out](const Range& from, int r, int c) {
        Range cell(r, c, RangeIndexType::Model);
        cell.value = carriedValue(from, r, c, false);
        cell.oldValue = carriedValue(from, r, c, true);
        cell.isMainCell = from.isMainCell && ((from.type == RangeType::Cell) ||
                                              (from.type == RangeType::Row && from.mainCellIndex == c) ||
                                              (from.type == RangeType::Col && from.mainCellIndex == r) ||
                                              (from.mainCellRow == r && from.mainCellCol == c));
        out.push_back(std::move(cell));
    };
    for (const Range& original : ranges) {
        const Range range = getModelRange(original);
        switch (range.type) {
        case RangeType::Cell:
            if (range.row >= 0 && range.col >= 0)
                push(range, range.row, range.col);
            break;
        case RangeType::Row: {
            // Carried values may reach past the data (a paste that widens the table).
            const int reach = range.col + static_cast<int>(range.rowColValues.size()) - 1;
            const int last = std::min(range.endCol, std::max(lastDataCol, reach));
            for (int c = std::max(range.col, 0); c <= last; ++c) {
                if (rangeHoldsCell(range, range.row, c))
                    push(range, range.row, c);
            }
            break;
        }
        case RangeType::Col: {
            const int reach = range.row + static_cast<int>(range.rowColValues.size()) - 1;
            const int last = std::min(range.endRow, std::max(lastDataRow, reach));
            for (int r = std::max(range.row, 0); r <= last; ++r) {
                if (rangeHoldsCell(range, r, range.col))
                    push(range, r, range.col);
            }
            break;
        }
        case RangeType::Table: {
            int widest = 0;
            for (const auto& line : range.tableValues)
                widest = std::max(widest, static_cast<int>(line.size()));
            const int lastRow =
                std::min(range.endRow,
                         std::max(lastDataRow, range.row + static_cast<int>(range.tableValues.size()) - 1));
            const int lastCol = std::min(range.endCol, std::max(lastDataCol, range.col + widest - 1));
            for (int r = std::max(range.row, 0); r <= lastRow; ++r) {
                for (int c = std::max(range.col, 0); c <= lastCol; ++c) {
                    if (rangeHoldsCell(range, r, c))
                        push(range, r, c);
                }
            }
            break;
        }
        case RangeType::Invalid:
            break;
        }
    }
    std::stable_sort(out.begin(), out.end(), rowMajor);
    out.erase(std::unique(out.begin(), out.end(),
                          [](const Range& a, const Range& b) { return a.row == b.row && a.col == b.col; }),
              out.end());
}

void TableModel::getCellArrayByRows(std::vector<RangeVector>& out, const RangeVector& ranges, bool old,
                                    bool values) const {
    std::vector<Range> cells;
    expandToCells(cells, ranges);
    if (values) {
        for (Range& cell : cells)
            populateCellDataValues(cell, !old, old);
    }
    groupCells(out, cells, [](const Range& r) { return r.row; });
}

void TableModel::getCellArrayByCols(std::vector<RangeVector>& out, const RangeVector& ranges, bool old,
                                    bool values) const {
    std::vector<Range> cells;
    expandToCells(cells, ranges);
    std::stable_sort(cells.begin(), cells.end(), colMajor);
    if (values) {
        for (Range& cell : cells)
            populateCellDataValues(cell, !old, old);
    }
    groupCells(out, cells, [](const Range& r) { return r.col; });
}

void TableModel::convertCellArrayToCells(RangeVector& out, const std::vector<RangeVector>& array) {
    out.clear();
    for (const RangeVector& line : array)
        out.insert(out.end(), line.begin(), line.end());
}

void TableModel::getCellOnlyRangeVector(RangeVector& out, const RangeVector& ranges) const {
    std::vector<Range> cells;
    expandToCells(cells, ranges);
    out.assign(std::make_move_iterator(cells.begin()), std::make_move_iterator(cells.end()));
    out.numTableRows = ranges.numTableRows;
    out.numTableCols = ranges.numTableCols;
}

void TableModel::getCellBlockArrayHorizontal(std::vector<RangeVector>& out, const RangeVector& ranges) const {
    std::vector<Range> cells;
    expandToCells(cells, ranges);
    out.clear();
    for (Range& cell : cells) {
        const bool continues =
            !out.empty() && out.back().back().row == cell.row && out.back().back().col + 1 == cell.col;
        if (!continues)
            out.emplace_back();
        out.back().push_back(std::move(cell));
    }
}

void TableModel::getCellBlockArrayVertical(std::vector<RangeVector>& out, const RangeVector& ranges) const {
    std::vector<Range> cells;
    expandToCells(cells, ranges);
    std::stable_sort(cells.begin(), cells.end(), colMajor);
    out.clear();
    for (Range& cell : cells) {
        const bool continues =
            !out.empty() && out.back().back().col == cell.col && out.back().back().row + 1 == cell.row;
        if (!continues)
            out.emplace_back();
        out.back().push_back(std::move(cell));
    }
}

void TableModel::getListOfCellValues(std::vector<QString>& out, const RangeVector& ranges) const {
    std::vector<Range> cells;
    expandToCells(cells, ranges);
    out.clear();
    out.reserve(cells.size());
    for (const Range& cell : cells)
        out.push_back(tableData.getValueModel(cell.row, cell.col).toString());
}

void TableModel::getRelativeRangeVector(RangeVector& out, const RangeVector& ranges) {
    out = ranges;
    if (ranges.empty())
        return;
    const int top = ranges.minRow();
    const int left = ranges.minCol();
    auto move = [](int& v, int by) {
        if (v != Range::EndOfTable && v >= 0)
            v -= by;
    };
    for (Range& range : out) {
        move(range.row, top);
        move(range.col, left);
        move(range.endRow, top);
        move(range.endCol, left);
        for (int& r : range.excludedRows)
            move(r, top);
        for (int& c : range.excludedCols)
            move(c, left);
        for (auto& [r, c] : range.excludedCells) {
            move(r, top);
            move(c, left);
        }
    }
}

bool TableModel::areRangeVectorsSameShape(const RangeVector& a, const RangeVector& b) const {
    if (a.size() != b.size())
        return false;
    RangeVector ra;
    RangeVector rb;
    getRelativeRangeVector(ra, a);
    getRelativeRangeVector(rb, b);
    std::stable_sort(ra.begin(), ra.end(), rowMajor);
    std::stable_sort(rb.begin(), rb.end(), rowMajor);
    for (std::size_t i = 0; i < ra.size(); ++i) {
        const Range& x = ra[i];
        const Range& y = rb[i];
        if (x.type != y.type || x.row != y.row || x.col != y.col || x.endRow != y.endRow ||
            x.endCol != y.endCol)
            return false;
    }
    return true;
}

bool TableModel::areRangeVectorsSameShapeRowWise(const RangeVector& a, const RangeVector& b) const {
    std::vector<RangeVector> rowsA;
    std::vector<RangeVector> rowsB;
    getCellArrayByRows(rowsA, a, false, false);
    getCellArrayByRows(rowsB, b, false, false);
    if (rowsA.size() != rowsB.size())
        return false;
    for (std::size_t i = 0; i < rowsA.size(); ++i) {
        if (rowsA[i].size() != rowsB[i].size())
            return false;
    }
    return true;
}

bool TableModel::areRangeVectorsSameShapeColWise(const RangeVector& a, const RangeVector& b) const {
    std::vector<RangeVector> colsA;
    std::vector<RangeVector> colsB;
    getCellArrayByCols(colsA, a, false, false);
    getCellArrayByCols(colsB, b, false, false);
    if (colsA.size() != colsB.size())
        return false;
    for (std::size_t i = 0; i < colsA.size(); ++i) {
        if (colsA[i].size() != colsB[i].size())
            return false;
    }
    return true;
}

// --- Maps from key columns -------------------------------------------------------------------

template <typename Map>
Map TableModel::parseIntoMap(int keyCol, int valCol, int headerRow, bool skipEmpty) const {
    Map out;
    const int rows = tableData.numModelRows();
    const int cols = tableData.numModelCols();
    if (keyCol < 0 || valCol < 0 || keyCol >= cols || valCol >= cols)
        return out;
    for (int row = std::max(headerRow + 1, 0); row < rows; ++row) {
        const QString key = tableData.getValueModel(row, keyCol).toString();
        if (skipEmpty && key.isEmpty())
            continue;
        out[key] = tableData.getValueModel(row, valCol).toString();
    }
    return out;
}

QHash<QString, QString> TableModel::parseIntoHashStringString(int keyCol, int valCol, int headerRow,
                                                              bool skipEmpty) const {
    return parseIntoMap<QHash<QString, QString>>(keyCol, valCol, headerRow, skipEmpty);
}

std::map<QString, QString> TableModel::parseIntoMapStringString(int keyCol, int valCol, int headerRow,
                                                                bool skipEmpty) const {
    return parseIntoMap<std::map<QString, QString>>(keyCol, valCol, headerRow, skipEmpty);
}

std::map<QString, std::vector<QString>>
TableModel::parseIntoMapStringStringVector(int keyCol, const std::vector<int>& valCols, int headerRow) const {
    std::map<QString, std::vector<QString>> out;
    const int rows = tableData.numModelRows();
    const int cols = tableData.numModelCols();
    if (keyCol < 0 || keyCol >= cols)
        return out;
    for (int row = std::max(headerRow + 1, 0); row < rows; ++row) {
        std::vector<QString> values;
        values.reserve(valCols.size());
        for (const int col : valCols)
            values.push_back(col >= 0 && col < cols ? tableData.getValueModel(row, col).toString()
                                                    : QString());
        out[tableData.getValueModel(row, keyCol).toString()] = std::move(values);
    }
    return out;
}

int TableModel::writeFromHashStringString(const QHash<QString, QString>& values, int keyCol, int valCol,
                                          int headerRow, bool appendNewKeys) {
    std::map<QString, std::vector<QString>> converted;
    for (auto it = values.cbegin(); it != values.cend(); ++it)
        converted[it.key()] = {it.value()};
    return writeFromMapStringStringVector(converted, keyCol, valCol, headerRow, appendNewKeys);
}

int TableModel::writeFromMapStringString(const std::map<QString, QString>& values, int keyCol, int valCol,
                                         int headerRow, bool appendNewKeys) {
    std::map<QString, std::vector<QString>> converted;
    for (const auto& [key, value] : values)
        converted[key] = {value};
    return writeFromMapStringStringVector(converted, keyCol, valCol, headerRow, appendNewKeys);
}

int TableModel::writeFromMapStringStringVector(const std::map<QString, std::vector<QString>>& values,
                                               int keyCol, int valCol, int headerRow, bool appendNewKeys) {
    if (readOnly || keyCol < 0 || valCol < 0)
        return 0;
    const RangeVector cells =
        cellDataVecFromMapStringStringVector(values, keyCol, valCol, headerRow, appendNewKeys);
    int changed = 0;
    ++sizeRuleHold;
    for (const Range& cell : cells) {
        if (tableData.setValueModel(cell.row, cell.col, cell.value.toString()))
            ++changed;
    }
    --sizeRuleHold;
    if (changed > 0) {
        enforceTableSize();
        if (rowCountView > 0 && colCountView > 0)
            emit dataChanged(index(0, 0), index(rowCountView - 1, colCountView - 1));
        emit newDataCommittedSignal();
    }
    return changed;
}

RangeVector
TableModel::cellDataVecFromMapStringStringVector(const std::map<QString, std::vector<QString>>& values,
                                                 int keyCol, int valCol, int headerRow,
                                                 bool appendNewKeys) const {
    RangeVector out;
    if (keyCol < 0 || valCol < 0)
        return out;
    const int rows = tableData.numModelRows();
    std::set<QString> found;
    auto addRow = [&](int row, const std::vector<QString>& rowValues) {
        for (std::size_t i = 0; i < rowValues.size(); ++i) {
            Range cell(row, valCol + static_cast<int>(i), RangeIndexType::Model);
            cell.value = rowValues[i];
            cell.oldValue = tableData.getValueModel(cell.row, cell.col);
            out.push_back(std::move(cell));
        }
    };
    for (int row = std::max(headerRow + 1, 0); row < rows; ++row) {
        const QString key = tableData.getValueModel(row, keyCol).toString();
        const auto it = values.find(key);
        if (it == values.end())
            continue;
        found.insert(key);
        addRow(row, it->second);
    }
    if (appendNewKeys) {
        int row = rows;
        for (const auto& [key, rowValues] : values) {
            if (found.count(key))
                continue;
            Range keyCell(row, keyCol, RangeIndexType::Model);
            keyCell.value = key;
            keyCell.oldValue = QString();
            out.push_back(std::move(keyCell));
            addRow(row, rowValues);
            ++row;
        }
    }
    return out;
}

bool TableModel::getHeaderRowInformation(const std::vector<QString>& names, int& headerRow,
                                         std::vector<int>& cols, int maxRows, int maxCols) const {
    const int rows = std::min(maxRows, tableData.numModelRows());
    const int width = std::min(maxCols, tableData.numModelCols());
    for (int row = 0; row < rows; ++row) {
        std::map<QString, int> firstCol;
        for (int col = 0; col < width; ++col)
            firstCol.emplace(tableData.getValueModel(row, col).toString(), col);
        std::vector<int> found;
        found.reserve(names.size());
        for (const QString& name : names) {
            const auto it = firstCol.find(name);
            if (it == firstCol.end())
                break;
            found.push_back(it->second);
        }
        if (found.size() == names.size()) {
            headerRow = row;
            cols = std::move(found);
            return true;
        }
    }
    return false;
}

// --- Labels ----------------------------------------------------------------------------------

void TableModel::getColumnLabel(QString& out, int col) const {
    if (col < 0) {
        out.clear();
        return;
    }
    std::vector<QString> labels;
    getColumnLabels(labels, {col});
    out = labels.front();
}

void TableModel::getColumnLabels(std::vector<QString>& out, const std::vector<int>& cols) const {
    out.clear();
    out.reserve(cols.size());
    for (const int col : cols) {
        if (numVisibleHeaderRows > 0) {
            out.push_back(tableData.getValueModel(numVisibleHeaderRows - 1, col).toString());
            continue;
        }
        const int raw = tableData.getRawFromModelCol(col);
        out.push_back(colLetters ? Utilities::convertNumberToLetters(raw)
                                 : QString::number(static_cast<qint64>(raw) + firstColIndex));
    }
}

void TableModel::getAllColumnLabels(std::vector<QString>& out) const {
    std::vector<int> cols(static_cast<std::size_t>(std::max(0, tableData.numModelCols())));
    for (std::size_t i = 0; i < cols.size(); ++i)
        cols[i] = static_cast<int>(i);
    getColumnLabels(out, cols);
}

void TableModel::getSelectedColumnLabels(std::vector<QString>& out) const {
    std::vector<int> cols;
    getOrderedSetOfSelectedCols(cols);
    getColumnLabels(out, cols);
}

// --- Column scans ----------------------------------------------------------------------------

int TableModel::evaluateColumnFieldTypes(int col) const {
    int mask = 0;
    if (col < 0 || col >= tableData.numModelCols())
        return mask;
    const int rows = tableData.numModelRows();
    for (int row = std::max(numVisibleHeaderRows, 0); row < rows && mask != 7; ++row) {
        const QString text = tableData.getValueModel(row, col).toString();
        if (!text.isEmpty())
            Utilities::setDataType(mask, text);
    }
    return mask;
}

bool TableModel::isColumnAllNumbers(int col, bool useThread) {
    if (col < 0 || col >= tableData.numModelCols())
        return false;
    const int first = std::max(numVisibleHeaderRows, 0);
    const int rows = tableData.numModelRows();
    const QString pattern = QRegularExpression::anchoredPattern(numberRegex.pattern());
    bool all = true;
    const bool finished = runOnWorker(
        [&](TableModelWorker& work) {
            const QRegularExpression number(pattern);
            const int rawCol = tableData.getRawFromModelCol(col);
            for (int row = first; row < rows; ++row) {
                const QString text =
                    tableData.getValueRaw(tableData.getRawFromModelRow(row), rawCol).toString();
                // The pattern lets a lone sign through; a number has a digit.
                if (!text.isEmpty() &&
                    (!number.match(text).hasMatch() ||
                     std::none_of(text.begin(), text.end(), [](QChar c) { return c.isDigit(); }))) {
                    all = false;
                    break;
                }
                if (!work.reportProgress(row - first, rows - first))
                    return false;
            }
            return true;
        },
        useThread);
    return finished && all;
}

std::vector<int> TableModel::getEdgeIndexesOfSortedColumns(const std::vector<int>& cols, bool useThread) {
    return findDuplicateLines(Axis::Row, cols, useThread);
}

std::vector<int> TableModel::getEdgeIndexesOfSortedColumn(int col, bool useThread) {
    if (col < 0)
        return {};
    return getEdgeIndexesOfSortedColumns({col}, useThread);
}

std::vector<int> TableModel::removeDuplicateRows(std::vector<int> cols) {
    if (readOnly)
        return {};
    std::vector<int> duplicates = getEdgeIndexesOfSortedColumns(cols, forTableView);
    if (duplicates.empty())
        return duplicates;
    beginResetModel();
    ++sizeRuleHold;
    // From the last run up, so that the rows above keep their indexes.
    for (std::size_t end = duplicates.size(); end > 0;) {
        std::size_t start = end - 1;
        while (start > 0 && duplicates[start - 1] + 1 == duplicates[start])
            --start;
        tableData.removeRowsModel(duplicates[start], static_cast<int>(end - start));
        end = start;
    }
    --sizeRuleHold;
    invalidateSelectionLookup();
    endResetModel();
    enforceTableSize();
    return duplicates;
}

TableModel* TableModel::getModelWithColModelSubset(const std::vector<int>& cols, bool useThread) {
    const int width = tableData.numModelCols();
    const int rows = tableData.numModelRows();
    std::vector<int> rawCols;
    for (const int c : cols) {
        if (c >= 0 && c < width)
            rawCols.push_back(tableData.getRawFromModelCol(c));
    }
    std::vector<std::vector<std::vector<char>>> lines;
    const bool finished = runOnWorker(
        [&](TableModelWorker& work) {
            lines.reserve(static_cast<std::size_t>(rows));
            for (int row = 0; row < rows; ++row) {
                const int rawRow = tableData.getRawFromModelRow(row);
                auto& line = lines.emplace_back();
                line.reserve(rawCols.size());
                for (const int rawCol : rawCols)
                    line.push_back(tableData.getValueRawCharVec(rawRow, rawCol));
                if (!work.reportProgress(row, rows))
                    return false;
            }
            return true;
        },
        useThread);
    if (!finished)
        return nullptr;

    auto* subset = new TableModel(false);
    subset->tableData.setEncoding(tableData.getEncoding(), false);
    subset->colLetters = colLetters;
    subset->firstRowIndex = firstRowIndex;
    subset->firstColIndex = firstColIndex;
    if (!lines.empty() && !rawCols.empty())
        subset->tableData.insertRowsRaw(0, lines);
    subset->numHeaderRows = numVisibleHeaderRows;
    subset->numVisibleHeaderRows = numVisibleHeaderRows;
    subset->numHeaderCols = 0;
    subset->enforceTableSize();
    return subset;
}
