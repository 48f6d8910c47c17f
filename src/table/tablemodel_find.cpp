// TableModel: find and replace from the main cell or within the selection; the search itself
// runs in TableData on raw positions.

#include "table/tablemodel.h"

#include "table/tablemodelworker.h"

namespace {

// Tables at least this large are searched on the worker, behind a progress dialog.
constexpr qint64 kThreadedFindCells = 200000;

Range invalidRange() {
    return Range(RangeType::Invalid);
}

} // namespace

// The selected cells as raw cells, for the searches limited to them.
static RangeVector rawSelectedCells(const TableModel& model) {
    RangeVector cells;
    const auto indexes = model.getSelectionIndexes();
    cells.reserve(indexes.size());
    for (const auto& [row, col] : indexes) {
        if (row < model.rowCountModel() && col < model.columnCountModel())
            cells.push_back(
                Range(model.getRawFromModelRow(row), model.getRawFromModelCol(col), RangeIndexType::Raw));
    }
    return cells;
}

// The match after (before) the main cell, within the selected cells where the query says so;
// `positions` gets where it matches in the cell's text. Raw.
static Range matchFromMainCell(const TableModel& model, const FindReplaceQuery& query, bool includeStart,
                               bool forward, std::vector<int>* positions) {
    const Range start = model.getRawRange(model.getMainCell());
    if (!query.inSelectedCells)
        return model.getTableData().findMatch(query, start, includeStart, forward, positions);
    std::vector<int> unused;
    const RangeVector cells = rawSelectedCells(model);
    return model.getTableData().findMatch(query, start, includeStart, forward,
                                          positions ? positions : &unused, &cells);
}

Range TableModel::findNextMatch(const FindReplaceQuery& query, bool includeStart) {
    const Range found = matchFromMainCell(*this, query, includeStart, true, nullptr);
    return found.isValid() ? getModelRange(found) : invalidRange();
}

Range TableModel::findPrevMatch(const FindReplaceQuery& query, bool includeStart) {
    const Range found = matchFromMainCell(*this, query, includeStart, false, nullptr);
    return found.isValid() ? getModelRange(found) : invalidRange();
}

RangeVector TableModel::findAll(const FindReplaceQuery& query) {
    if (query.inSelectedCells)
        return tableData.findAll(query, rawSelectedCells(*this));
    return tableData.findAll(query);
}

// The next (previous) match with its text replaced in `value`; nothing is written. Model.
static Range replacedFromMainCell(const TableModel& model, const FindReplaceQuery& query, bool includeStart,
                                  bool forward) {
    if (model.isReadOnly())
        return invalidRange();
    std::vector<int> positions;
    const Range found = matchFromMainCell(model, query, includeStart, forward, &positions);
    const Range replaced = model.getTableData().replace(query, found, positions, true);
    return replaced.isValid() ? model.getModelRange(replaced) : invalidRange();
}

Range TableModel::replaceNextMatch(const FindReplaceQuery& query, bool includeStart) {
    return replacedFromMainCell(*this, query, includeStart, true);
}

Range TableModel::replacePrevMatch(const FindReplaceQuery& query, bool includeStart) {
    return replacedFromMainCell(*this, query, includeStart, false);
}

RangeVector TableModel::replaceAll(const FindReplaceQuery& query) {
    if (readOnly)
        return RangeVector();
    return query.inSelectedCells ? tableData.replaceAll(query, rawSelectedCells(*this))
                                 : tableData.replaceAll(query);
}

bool TableModel::findAllCells(const FindReplaceQuery& query, std::vector<FoundCell>& out, bool replaceIt,
                              bool useThread) {
    out.clear();
    if (replaceIt && readOnly)
        return true;
    if (query.inSelectedCells) {
        const RangeVector cells = rawSelectedCells(*this);
        const RangeVector found =
            replaceIt ? tableData.replaceAll(query, cells) : tableData.findAll(query, cells);
        out.reserve(found.size());
        for (const Range& cell : found)
            out.push_back({cell.row, cell.col, cell.value.toString(), cell.oldValue.toString()});
        return true;
    }
    // The pattern is compiled here, on the window's thread: the worker then only reads the cache.
    bool valid = false;
    if (query.regex)
        tableData.getOrCreateRegex(query, valid);
    const qint64 cells = qint64(rowCountModel()) * columnCountModel();
    const bool finished = runOnWorker(
        [&](TableModelWorker& work) { return tableData.findAllCells(query, out, replaceIt, &work); },
        useThread && cells >= kThreadedFindCells);
    if (!finished)
        out.clear();
    return finished;
}

bool TableModel::findAllResults(const FindReplaceQuery& query, std::vector<FindResult>& out, bool useThread) {
    out.clear();
    std::vector<FoundCell> found;
    if (!findAllCells(query, found, false, useThread))
        return false;
    out.reserve(found.size());
    for (FoundCell& cell : found) {
        const Range user = getUserRange(Range(cell.row, cell.col, RangeIndexType::Raw));
        out.push_back({cell.row, cell.col, user.row, user.col, std::move(cell.text)});
    }
    return true;
}

bool TableModel::determineMatch(const FindReplaceQuery& query, int row, int col,
                                std::vector<int>& positions) const {
    if (row < 0 || col < 0 || row >= rowCountModel() || col >= columnCountModel())
        return false;
    if (query.findStr.isEmpty())
        return false; // an empty search finds nothing in the table, not every empty cell
    return tableData.determineMatch(query, getRawFromModelRow(row), getRawFromModelCol(col), positions);
}

Range TableModel::replace(const FindReplaceQuery& query, const Range& cell, const std::vector<int>& positions,
                          bool all) const {
    return tableData.replace(query, cell, positions, all);
}
