#include "table/columnlookupcommand.h"

#include "table/rowcolcommands.h"
#include "table/setmodeldatacommand.h"
#include "table/tablemodel.h"

#include <algorithm>
#include <set>

ColumnLookupCommand::ColumnLookupCommand(TableModel* model, const RangeVector& cells,
                                         const RangeVector& newCols, bool insertNewCols,
                                         bool restoreSelection, QUndoCommand* parent)
    : TableUndoCommand(model, restoreSelection, parent) {
    setText(QStringLiteral("ColumnLookupCommand"));
    if (insertNewCols && !newCols.empty()) {
        const Range& cols = newCols.front();
        auto* insert = new InsertColsCommand(model, {cols.col}, cols.endCol - cols.col + 1, false,
                                             restoreSelection, this);
        if (!insert->isValid) {
            isValid = false;
            return;
        }
    }
    // Built before the columns open, this child reads as old values the cells that will move
    // right; its undo writes them into the opened columns just before those close again.
    auto* write = new SetModelDataCommand(model, cells, restoreSelection, this);
    isValid = write->isValid;
}

void ColumnLookupCommand::redo() {
    QUndoCommand::redo(); // the children, in order
}

void ColumnLookupCommand::undo() {
    QUndoCommand::undo(); // the children, last first
}

namespace ColumnLookup {

bool namesColumns(const TableModel& source, const TableModel& dest, const Request& request) {
    const int sourceCols = source.columnCountModel();
    const int destCols = dest.columnCountModel();
    if (request.keyCol < 0 || request.keyCol >= sourceCols || request.valueCols.empty() ||
        request.destKeyCol < 0 || request.destKeyCol >= destCols || request.destValueCol < 0)
        return false;
    return std::all_of(request.valueCols.begin(), request.valueCols.end(),
                       [sourceCols](int col) { return col >= 0 && col < sourceCols; });
}

Values readValues(const TableModel& source, const Request& request) {
    const int sourceHeaders = std::max(0, source.getNumVisibleHeaderRows());
    Values values =
        source.parseIntoMapStringStringVector(request.keyCol, request.valueCols, sourceHeaders - 1);
    // An empty key names nothing: blank rows at the end of both tables must not pair up.
    values.erase(QString());
    return values;
}

RangeVector matchCells(const TableModel& dest, const Values& values, const Request& request) {
    const int destHeaders = std::max(0, dest.getNumVisibleHeaderRows());
    // The destination's header rows are titles, never keys.
    RangeVector cells = dest.cellDataVecFromMapStringStringVector(
        values, request.destKeyCol, request.destValueCol, destHeaders - 1, false);
    if (cells.empty() || request.mismatchValue.isEmpty())
        return cells;
    const int width = int(request.valueCols.size());
    std::set<int> matched;
    for (const Range& cell : cells)
        matched.insert(cell.row);
    for (int row = destHeaders; row < dest.rowCountModel(); ++row) {
        if (matched.count(row))
            continue;
        for (int i = 0; i < width; ++i) {
            Range cell(row, request.destValueCol + i, RangeIndexType::Model);
            cell.value = request.mismatchValue;
            cells.push_back(std::move(cell));
        }
    }
    return cells;
}

ColumnLookupCommand* makeCommand(const TableModel& source, TableModel& dest, const Request& request,
                                 RangeVector cells) {
    if (cells.empty() || !namesColumns(source, dest, request))
        return nullptr;
    const int sourceHeaders = std::max(0, source.getNumVisibleHeaderRows());
    const int destHeaders = std::max(0, dest.getNumVisibleHeaderRows());
    const int width = int(request.valueCols.size());
    RangeVector newCols;
    // Columns open only within the data; past its end the cells are empty already.
    const bool insert = request.insertNewCols && request.destValueCol < dest.columnCountModel();
    if (insert) {
        Range cols(request.destValueCol, RangeType::Col, RangeIndexType::Model);
        cols.endCol = request.destValueCol + width - 1;
        newCols.push_back(cols);
    }
    // New columns take the titles of the columns they come from, where both tables have them.
    if (request.insertNewCols && destHeaders > 0 && sourceHeaders > 0) {
        for (int i = 0; i < width; ++i) {
            Range title(0, request.destValueCol + i, RangeIndexType::Model);
            title.value = source.getTableData().getValueModel(0, request.valueCols[std::size_t(i)]);
            cells.push_back(std::move(title));
        }
    }
    auto* command = new ColumnLookupCommand(&dest, cells, newCols, insert);
    if (!command->isValid) {
        delete command;
        return nullptr;
    }
    return command;
}

ColumnLookupCommand* makeCommand(const TableModel& source, TableModel& dest, const Request& request) {
    if (!namesColumns(source, dest, request))
        return nullptr;
    return makeCommand(source, dest, request, matchCells(dest, readValues(source, request), request));
}

} // namespace ColumnLookup
