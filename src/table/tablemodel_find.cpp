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

Range TableModel::findNextMatch(const FindReplaceQuery& query, bool includeStart) {
    const Range start = getRawRange(mainCell);
    std::vector<int> positions;
    const Range found = query.inSelectedCells ? tableData.findNextMatch(query, start, includeStart, positions,
                                                                        rawSelectedCells(*this))
                                              : tableData.findNextMatch(query, start, includeStart);
    return found.isValid() ? getModelRange(found) : invalidRange();
}

Range TableModel::findPrevMatch(const FindReplaceQuery& query, bool includeStart) {
    const Range start = getRawRange(mainCell);
    std::vector<int> positions;
    const Range found = query.inSelectedCells ? tableData.findPrevMatch(query, start, includeStart, positions,
                                                                        rawSelectedCells(*this))
                                              : tableData.findPrevMatch(query, start, includeStart);
    return found.isValid() ? getModelRange(found) : invalidRange();
}

RangeVector TableModel::findAll(const FindReplaceQuery& query) {
    if (query.inSelectedCells)
        return tableData.findAll(query, rawSelectedCells(*this));
    return tableData.findAll(query);
}

Range TableModel::replaceNextMatch(const FindReplaceQuery& query, bool includeStart) {
    if (readOnly)
        return invalidRange();
    const Range start = getRawRange(mainCell);
    std::vector<int> positions;
    const Range found =
        query.inSelectedCells
            ? tableData.findNextMatch(query, start, includeStart, positions, rawSelectedCells(*this))
            : tableData.findNextMatch(query, start, includeStart, positions);
    const Range replaced = tableData.replace(query, found, positions, true);
    return replaced.isValid() ? getModelRange(replaced) : invalidRange();
}

Range TableModel::replacePrevMatch(const FindReplaceQuery& query, bool includeStart) {
    if (readOnly)
        return invalidRange();
    const Range start = getRawRange(mainCell);
    std::vector<int> positions;
    const Range found =
        query.inSelectedCells
            ? tableData.findPrevMatch(query, start, includeStart, positions, rawSelectedCells(*this))
            : tableData.findPrevMatch(query, start, includeStart, positions);
    const Range replaced = tableData.replace(query, found, positions, true);
    return replaced.isValid() ? getModelRange(replaced) : invalidRange();
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
