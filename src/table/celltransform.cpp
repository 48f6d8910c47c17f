#include "table/celltransform.h"

#include "table/insertlinegroupscommand.h"
#include "table/rowcolcommands.h"
#include "table/sequencecommand.h"
#include "table/setcelltextscommand.h"
#include "table/setmodeldatacommand.h"
#include "table/tablemodel.h"
#include "table/tablemodelworker.h"

#include <algorithm>
#include <climits>
#include <map>

namespace CellTransform {

namespace {

struct Extent {
    int rows = 0;
    int cols = 0;
};

QString textAt(const TableModel& model, int row, int col) {
    if (row < 0 || col < 0 || row >= model.rowCountModel() || col >= model.columnCountModel())
        return QString();
    return model.getTableData().getValueModel(row, col).toString();
}

} // namespace

// A single block, row or column is walked from its corners: the general expansion builds one
// Range per cell, which a million cells can't afford.
CellWalk selectionWalk(const TableModel& model) {
    CellWalk walk;
    const RangeVector& selection = model.getSelection();
    if (selection.size() == 1) {
        const Range& r = selection.front();
        const bool plain = r.excludedRows.empty() && r.excludedCols.empty() && r.excludedCells.empty();
        if (plain && r.type != RangeType::Cell && r.type != RangeType::Invalid && r.row >= 0 && r.col >= 0) {
            const int lastRow =
                std::min(r.type == RangeType::Row ? r.row : r.endRow, model.rowCountModel() - 1);
            const int lastCol =
                std::min(r.type == RangeType::Col ? r.col : r.endCol, model.columnCountModel() - 1);
            walk.block = true;
            walk.top = r.row;
            walk.left = r.col;
            walk.height = std::max(0, lastRow - r.row + 1);
            walk.width = std::max(0, lastCol - r.col + 1);
            if (walk.height == 0 || walk.width == 0)
                walk.height = walk.width = 0;
            return walk;
        }
    }
    walk.list = model.getSelectionIndexes();
    return walk;
}

// The selected cells within the data, row-major.
std::vector<std::pair<int, int>> selectionIndexes(const TableModel& model) {
    CellWalk walk = selectionWalk(model);
    if (!walk.block)
        return std::move(walk.list);
    std::vector<std::pair<int, int>> out;
    out.reserve(walk.size());
    for (int row = walk.top; row < walk.top + walk.height; ++row) {
        for (int col = walk.left; col < walk.left + walk.width; ++col)
            out.emplace_back(row, col);
    }
    return out;
}

std::vector<CellText> selectedCells(const TableModel& model, bool byCols) {
    auto indexes = selectionIndexes(model);
    if (byCols) {
        std::stable_sort(indexes.begin(), indexes.end(), [](const auto& a, const auto& b) {
            return a.second != b.second ? a.second < b.second : a.first < b.first;
        });
    }
    std::vector<CellText> out;
    out.reserve(indexes.size());
    const TableData& data = model.getTableData();
    for (const auto& [row, col] : indexes)
        out.push_back({row, col, data.getValueModel(row, col).toString()});
    return out;
}

RangeVector changedCells(const TableModel& model, std::vector<CellText> cells) {
    RangeVector out;
    if (cells.empty())
        return out;
    int top = cells.front().row, bottom = top, left = cells.front().col, right = left;
    for (const CellText& cell : cells) {
        top = std::min(top, cell.row);
        bottom = std::max(bottom, cell.row);
        left = std::min(left, cell.col);
        right = std::max(right, cell.col);
    }
    const qint64 area = qint64(bottom - top + 1) * (right - left + 1);
    // A large rectangle goes as one Table range: one record instead of one Range per cell.
    if (cells.size() > 64 && area == qint64(cells.size()) && bottom < model.rowCountModel() &&
        right < model.columnCountModel()) {
        Range block(RangeType::Table, RangeIndexType::Model);
        block.row = top;
        block.col = left;
        block.endRow = bottom;
        block.endCol = right;
        block.tableValues.assign(std::size_t(bottom - top + 1),
                                 std::vector<QVariant>(std::size_t(right - left + 1)));
        bool anyChange = false;
        for (CellText& cell : cells) {
            QVariant& slot = block.tableValues[std::size_t(cell.row - top)][std::size_t(cell.col - left)];
            anyChange = anyChange || textAt(model, cell.row, cell.col) != cell.text;
            slot = std::move(cell.text);
        }
        if (anyChange)
            out.push_back(std::move(block));
        return out;
    }
    std::map<std::pair<int, int>, QString> unique;
    for (CellText& cell : cells)
        unique[{cell.row, cell.col}] = std::move(cell.text);
    for (auto& [at, text] : unique) {
        if (textAt(model, at.first, at.second) == text)
            continue;
        Range range(at.first, at.second, RangeIndexType::Model);
        range.value = std::move(text);
        out.push_back(std::move(range));
    }
    return out;
}

namespace {

// Sorted row-major, the last of repeated positions kept.
void orderCells(std::vector<CellText>& cells) {
    auto before = [](const CellText& a, const CellText& b) {
        return a.row != b.row ? a.row < b.row : a.col < b.col;
    };
    bool ordered = true;
    for (std::size_t i = 1; i < cells.size() && ordered; ++i)
        ordered = before(cells[i - 1], cells[i]);
    if (ordered)
        return;
    std::stable_sort(cells.begin(), cells.end(), before);
    std::vector<CellText> unique;
    unique.reserve(cells.size());
    for (CellText& cell : cells) {
        if (!unique.empty() && unique.back().row == cell.row && unique.back().col == cell.col)
            unique.back() = std::move(cell);
        else
            unique.push_back(std::move(cell));
    }
    cells = std::move(unique);
}

// Work split in two passes reports the first as the lower half of the bar, the second as the
// upper half; false when the work was canceled.
bool tick(TableModelWorker* worker, int pass, std::size_t i, std::size_t n) {
    if ((i & 0xFFF) != 0 || !worker)
        return true;
    return worker->reportProgress(qint64(pass) * qint64(n) + qint64(i), 2 * qint64(n));
}

// Keeps one write of a change: every cell of a block, else only a cell whose text changes.
void keepWrite(TextChange& out, const QString& old, const QString& text, int row, int col) {
    const bool differs = old != text;
    out.changed = out.changed || differs;
    if (out.block || differs) {
        out.oldTexts.append(old);
        out.newTexts.append(text);
        if (!out.block)
            out.positions.emplace_back(row, col);
    }
}

QString textIn(const TableData& data, Extent extent, int row, int col) {
    if (row < 0 || col < 0 || row >= extent.rows || col >= extent.cols)
        return QString();
    return data.getValueModel(row, col).toString();
}

// The cells at `indexes` with their texts: row by row, or column by column with `byCols`.
bool readCells(const TableData& data, std::vector<std::pair<int, int>> indexes, bool byCols,
               std::vector<CellText>& out, TableModelWorker* worker) {
    if (byCols) {
        std::stable_sort(indexes.begin(), indexes.end(), [](const auto& a, const auto& b) {
            return a.second != b.second ? a.second < b.second : a.first < b.first;
        });
    }
    out.reserve(indexes.size());
    for (std::size_t i = 0; i < indexes.size(); ++i) {
        if (!tick(worker, 0, i, indexes.size()))
            return false;
        const auto& [row, col] = indexes[i];
        out.push_back({row, col, data.getValueModel(row, col).toString()});
    }
    return true;
}

// The change that writes `cells` (the last of repeated positions wins): a block when they fill
// a rectangle, else the cells whose text changes, with the texts they replace.
bool changeOf(const TableData& data, Extent extent, std::vector<CellText> cells, TextChange& out,
              TableModelWorker* worker) {
    out = TextChange();
    orderCells(cells);
    if (cells.empty())
        return true;
    int top = cells.front().row, bottom = top, left = cells.front().col, right = left;
    for (const CellText& cell : cells) {
        top = std::min(top, cell.row);
        bottom = std::max(bottom, cell.row);
        left = std::min(left, cell.col);
        right = std::max(right, cell.col);
    }
    out.block = qint64(bottom - top + 1) * (right - left + 1) == qint64(cells.size());
    out.top = top;
    out.left = left;
    out.width = right - left + 1;
    const std::size_t n = cells.size();
    for (std::size_t i = 0; i < n; ++i) {
        if (!tick(worker, 1, i, n))
            return false;
        const CellText& cell = cells[i];
        keepWrite(out, textIn(data, extent, cell.row, cell.col), cell.text, cell.row, cell.col);
    }
    return true;
}

// The cells that `layout` decides to write, with the texts they replace, worked out from
// nothing but the table's cells: on the model's worker with `useThread`, the command made here.
// Null when nothing changes or the work was canceled.
using Layout = std::function<bool(const TableData&, std::vector<CellText>&, TableModelWorker*)>;
TableUndoCommand* layoutCommand(TableModel& model, const Layout& layout, bool useThread) {
    const TableData& data = model.getTableData();
    const Extent extent{model.rowCountModel(), model.columnCountModel()};
    TextChange change;
    const bool finished = model.readCellsOnWorker(
        [&](TableModelWorker& worker) {
            std::vector<CellText> cells;
            return layout(data, cells, &worker) && changeOf(data, extent, std::move(cells), change, &worker);
        },
        useThread);
    return finished ? commandOf(model, std::move(change)) : nullptr;
}

} // namespace

TableUndoCommand* makeCommand(TableModel& model, std::vector<CellText> cells) {
    TextChange change;
    changeOf(model.getTableData(), {model.rowCountModel(), model.columnCountModel()}, std::move(cells),
             change, nullptr);
    return commandOf(model, std::move(change));
}

TableUndoCommand* mapCommand(TableModel& model, const std::function<QString(const QString&)>& fn) {
    return mapCommand(
        model, [&fn](const QString& text, std::size_t) { return fn(text); }, true, false);
}

bool computeTextChange(const TableData& data, const CellWalk& cells, bool skipEmpty, const CellFunction& fn,
                       TextChange& out, TableModelWorker* worker) {
    out = TextChange();
    const std::size_t n = cells.size();
    if (n == 0)
        return true;
    if (cells.block) {
        out.block = true;
        out.top = cells.top;
        out.left = cells.left;
        out.width = cells.width;
    } else {
        int top = cells.list.front().first, bottom = top, left = cells.list.front().second, right = left;
        for (const auto& [row, col] : cells.list) {
            top = std::min(top, row);
            bottom = std::max(bottom, row);
            left = std::min(left, col);
            right = std::max(right, col);
        }
        // A full rectangle keeps every cell (its positions follow from the block); anything
        // else keeps only the cells that change, with their positions.
        out.block = qint64(bottom - top + 1) * (right - left + 1) == qint64(n);
        out.top = top;
        out.left = left;
        out.width = right - left + 1;
    }
    if (out.block) {
        out.oldTexts.reserve(n, qsizetype(n) * 8);
        out.newTexts.reserve(n, qsizetype(n) * 8);
    }
    for (std::size_t i = 0; i < n; ++i) {
        if ((i & 0xFFF) == 0 && worker && !worker->reportProgress(qint64(i), qint64(n)))
            return false;
        const auto [row, col] = cells.at(i);
        const QString text = data.getValueModel(row, col).toString();
        keepWrite(out, text, skipEmpty && text.isEmpty() ? text : fn(text, i), row, col);
    }
    return true;
}

TableUndoCommand* commandOf(TableModel& model, TextChange change) {
    if (!change.changed)
        return nullptr;
    if (change.block)
        return new SetCellTextsCommand(&model, change.top, change.left, change.width,
                                       std::move(change.oldTexts), std::move(change.newTexts));
    return new SetCellTextsCommand(&model, std::move(change.positions), std::move(change.oldTexts),
                                   std::move(change.newTexts));
}

TableUndoCommand* mapCommand(TableModel& model, const CellFunction& fn, bool skipEmpty, bool useThread) {
    // The selection is read here: the worker touches nothing but the table's cells.
    const CellWalk cells = selectionWalk(model);
    TextChange change;
    const TableData& data = model.getTableData();
    const bool finished = model.readCellsOnWorker(
        [&](TableModelWorker& worker) {
            return computeTextChange(data, cells, skipEmpty, fn, change, &worker);
        },
        useThread);
    return finished ? commandOf(model, std::move(change)) : nullptr;
}

RangeVector mapSelection(const TableModel& model, const std::function<QString(const QString&)>& fn) {
    std::vector<CellText> cells = selectedCells(model);
    for (CellText& cell : cells) {
        if (!cell.text.isEmpty())
            cell.text = fn(cell.text);
    }
    return changedCells(model, std::move(cells));
}

std::vector<CellText> fillSeries(const TableModel& model, const QStringList& items, bool prepend,
                                 bool append) {
    std::vector<CellText> cells = selectedCells(model);
    const std::size_t count = std::min(cells.size(), std::size_t(items.size()));
    cells.resize(count);
    for (std::size_t i = 0; i < count; ++i) {
        const QString& item = items[qsizetype(i)];
        cells[i].text = prepend ? item + cells[i].text : append ? cells[i].text + item : item;
    }
    return cells;
}

namespace {

// The rest of reshape and join reads nothing but `data` (and `extent`, the table's size), so
// that a large selection runs on the model's worker; `cells` come as readCells gives them.
void reshapeCells(std::vector<CellText> cells, int lineLength, bool rowWise, std::vector<CellText>& out) {
    if (cells.empty() || lineLength < 1)
        return;
    int top = cells.front().row, left = cells.front().col;
    for (const CellText& cell : cells) {
        top = std::min(top, cell.row);
        left = std::min(left, cell.col);
    }
    out.reserve(cells.size() * 2);
    for (const CellText& cell : cells)
        out.push_back({cell.row, cell.col, QString()});
    for (std::size_t i = 0; i < cells.size(); ++i) {
        const int along = int(i / std::size_t(lineLength));
        const int across = int(i % std::size_t(lineLength));
        out.push_back(rowWise ? CellText{top + along, left + across, std::move(cells[i].text)}
                              : CellText{top + across, left + along, std::move(cells[i].text)});
    }
}

void joinCells(const TableData& data, Extent extent, std::vector<CellText> cells, const QString& separator,
               bool horizontally, bool closeGap, std::vector<CellText>& out) {
    std::map<int, std::vector<CellText>> lines;
    for (CellText& cell : cells)
        lines[horizontally ? cell.row : cell.col].push_back(std::move(cell));
    for (auto& [line, inLine] : lines) {
        // Empty cells add nothing, not even a separator: a line of empty cells stays empty, and
        // a first name, an empty middle name and a last name join with one space between.
        QStringList parts;
        for (const CellText& cell : inLine) {
            if (!cell.text.isEmpty())
                parts.append(cell.text);
        }
        const CellText& first = inLine.front();
        out.push_back({first.row, first.col, parts.join(separator)});
        if (!closeGap) {
            for (std::size_t i = 1; i < inLine.size(); ++i)
                out.push_back({inLine[i].row, inLine[i].col, QString()});
            continue;
        }
        // The rest of the line closes up over the joined cells.
        std::vector<int> gone;
        for (std::size_t i = 1; i < inLine.size(); ++i)
            gone.push_back(horizontally ? inLine[i].col : inLine[i].row);
        const int start = horizontally ? first.col : first.row;
        const int end = horizontally ? extent.cols : extent.rows;
        int to = start + 1;
        for (int from = start + 1; from < end; ++from) {
            if (std::binary_search(gone.begin(), gone.end(), from))
                continue;
            const QString text =
                horizontally ? textIn(data, extent, line, from) : textIn(data, extent, from, line);
            out.push_back(horizontally ? CellText{line, to, text} : CellText{to, line, text});
            ++to;
        }
        for (; to < end; ++to)
            out.push_back(horizontally ? CellText{line, to, QString()} : CellText{to, line, QString()});
    }
}

} // namespace

std::vector<CellText> reshape(const TableModel& model, int lineLength, bool rowWise) {
    std::vector<CellText> out;
    reshapeCells(selectedCells(model, !rowWise), lineLength, rowWise, out);
    return out;
}

std::vector<CellText> join(const TableModel& model, const QString& separator, bool horizontally,
                           bool closeGap) {
    std::vector<CellText> out;
    joinCells(model.getTableData(), {model.rowCountModel(), model.columnCountModel()},
              selectedCells(model, !horizontally), separator, horizontally, closeGap, out);
    return out;
}

TableUndoCommand* reshapeCommand(TableModel& model, int lineLength, bool rowWise, bool useThread) {
    // The selection is read here: the worker touches nothing but the table's cells.
    auto indexes = selectionIndexes(model);
    return layoutCommand(
        model,
        [&](const TableData& data, std::vector<CellText>& out, TableModelWorker* worker) {
            std::vector<CellText> cells;
            if (!readCells(data, std::move(indexes), !rowWise, cells, worker))
                return false;
            reshapeCells(std::move(cells), lineLength, rowWise, out);
            return true;
        },
        useThread);
}

TableUndoCommand* joinCommand(TableModel& model, const QString& separator, bool horizontally, bool closeGap,
                              bool useThread) {
    auto indexes = selectionIndexes(model);
    const Extent extent{model.rowCountModel(), model.columnCountModel()};
    return layoutCommand(
        model,
        [&](const TableData& data, std::vector<CellText>& out, TableModelWorker* worker) {
            std::vector<CellText> cells;
            if (!readCells(data, std::move(indexes), !horizontally, cells, worker))
                return false;
            joinCells(data, extent, std::move(cells), separator, horizontally, closeGap, out);
            return true;
        },
        useThread);
}

namespace {

// The parts of every selected cell, and how many new lines each line along the split needs.
struct SplitPlan {
    std::vector<std::pair<CellText, QStringList>> cells;
    std::map<int, int> extra; // line -> new lines after it
};

// Reads nothing but `data`, so that it can run on the model's worker.
bool planSplit(const TableData& data, const std::vector<std::pair<int, int>>& indexes, Axis axis,
               const std::function<QStringList(const QString&)>& split, SplitPlan& plan,
               TableModelWorker& worker) {
    for (std::size_t i = 0; i < indexes.size(); ++i) {
        if (!tick(&worker, 0, i, indexes.size()))
            return false;
        const auto& [row, col] = indexes[i];
        QString text = data.getValueModel(row, col).toString();
        QStringList parts = split(text);
        if (parts.size() < 2)
            continue;
        const int line = axis == Axis::Row ? col : row;
        int& need = plan.extra[line];
        need = std::max(need, int(parts.size()) - 1);
        plan.cells.emplace_back(CellText{row, col, std::move(text)}, std::move(parts));
    }
    return true;
}

// The writes of a split once its new lines are in, row by row: part 0 over its cell, the
// others into the new (empty) lines right of (below) it.
TextChange splitWrites(const SplitPlan& plan, Axis axis) {
    std::map<int, int> shiftOf; // source line -> new lines before it
    int shift = 0;
    for (const auto& [line, count] : plan.extra) {
        shiftOf[line] = shift;
        shift += count;
    }
    struct Write {
        int row, col;
        const QString* old;
        const QString* text;
    };
    static const QString empty;
    std::vector<Write> writes;
    int top = INT_MAX, bottom = -1, left = INT_MAX, right = -1;
    for (const auto& [cell, parts] : plan.cells) {
        const int last = int(parts.size()) - 1;
        if (axis == Axis::Row) {
            const int first = cell.col + shiftOf[cell.col];
            for (qsizetype i = 0; i < parts.size(); ++i)
                writes.push_back({cell.row, first + int(i), i == 0 ? &cell.text : &empty, &parts[i]});
            top = std::min(top, cell.row);
            bottom = std::max(bottom, cell.row);
            left = std::min(left, first);
            right = std::max(right, first + last);
        } else {
            // A cell's row moves down by the new rows of the split rows above it.
            auto above = plan.extra.lower_bound(cell.row);
            const int first = cell.row + (above == plan.extra.end() ? shift : shiftOf[above->first]);
            for (qsizetype i = 0; i < parts.size(); ++i)
                writes.push_back({first + int(i), cell.col, i == 0 ? &cell.text : &empty, &parts[i]});
            top = std::min(top, first);
            bottom = std::max(bottom, first + last);
            left = std::min(left, cell.col);
            right = std::max(right, cell.col);
        }
    }
    if (axis == Axis::Col) {
        std::sort(writes.begin(), writes.end(), [](const Write& a, const Write& b) {
            return a.row != b.row ? a.row < b.row : a.col < b.col;
        });
    }
    TextChange change;
    change.changed = !writes.empty();
    change.block = qint64(bottom - top + 1) * (right - left + 1) == qint64(writes.size());
    change.top = top;
    change.left = left;
    change.width = right - left + 1;
    for (const Write& write : writes) {
        if (!change.block && *write.old == *write.text)
            continue;
        change.oldTexts.append(*write.old);
        change.newTexts.append(*write.text);
        if (!change.block)
            change.positions.emplace_back(write.row, write.col);
    }
    return change;
}

// The change of a split along rows where the rest of each row moves right by the extra parts:
// every cell from a row's first split on takes the text that lands there. Each cell is read
// once (the split cells' texts are the plan's), and the texts they replace are the same reads.
bool restOfRowsMoved(const TableData& data, Extent extent, SplitPlan& plan, TextChange& out,
                     TableModelWorker* worker) {
    out = TextChange();
    // The split cells row by row, in their columns' order.
    std::vector<std::size_t> order(plan.cells.size());
    for (std::size_t i = 0; i < order.size(); ++i)
        order[i] = i;
    std::stable_sort(order.begin(), order.end(), [&plan](std::size_t a, std::size_t b) {
        const CellText& x = plan.cells[a].first;
        const CellText& y = plan.cells[b].first;
        return x.row != y.row ? x.row < y.row : x.col < y.col;
    });
    // A row's run of split cells, and the columns it writes: from its first split to the end of
    // the table moved right by its extra parts.
    struct Row {
        std::size_t begin, end; // in `order`
        int first, last;
    };
    std::vector<Row> rows;
    for (std::size_t i = 0; i < order.size();) {
        const int row = plan.cells[order[i]].first.row;
        Row run{i, i, plan.cells[order[i]].first.col, extent.cols - 1};
        for (; run.end < order.size() && plan.cells[order[run.end]].first.row == row; ++run.end)
            run.last += int(plan.cells[order[run.end]].second.size()) - 1;
        rows.push_back(run);
        i = run.end;
    }
    if (rows.empty())
        return true;
    // The writes fill a rectangle when the rows are adjacent and all alike: then every cell is
    // kept, else only those that change, with their positions.
    out.block = true;
    for (std::size_t r = 1; r < rows.size() && out.block; ++r) {
        out.block =
            rows[r].first == rows[0].first && rows[r].last == rows[0].last &&
            plan.cells[order[rows[r].begin]].first.row == plan.cells[order[rows[r - 1].begin]].first.row + 1;
    }
    out.top = plan.cells[order[rows.front().begin]].first.row;
    out.left = rows[0].first;
    out.width = rows[0].last - rows[0].first + 1;
    if (!out.block) {
        out.left = INT_MAX;
        int right = -1;
        for (const Row& run : rows) {
            out.left = std::min(out.left, run.first);
            right = std::max(right, run.last);
        }
        out.width = right - out.left + 1;
    }
    static const QString empty;
    std::vector<QString> olds;
    for (std::size_t r = 0; r < rows.size(); ++r) {
        if (!tick(worker, 1, r, rows.size()))
            return false;
        const Row& run = rows[r];
        const int row = plan.cells[order[run.begin]].first.row;
        // The row's texts from its first split on, as they are now.
        olds.clear();
        std::size_t next = run.begin;
        for (int col = run.first; col < extent.cols; ++col) {
            if (next < run.end && plan.cells[order[next]].first.col == col)
                olds.push_back(plan.cells[order[next++]].first.text);
            else
                olds.push_back(textIn(data, extent, row, col));
        }
        int to = run.first;
        const auto write = [&](const QString& text) {
            const std::size_t at = std::size_t(to - run.first);
            keepWrite(out, at < olds.size() ? olds[at] : empty, text, row, to);
            ++to;
        };
        next = run.begin;
        for (int from = run.first; from < extent.cols; ++from) {
            if (next < run.end && plan.cells[order[next]].first.col == from) {
                for (const QString& part : plan.cells[order[next++]].second)
                    write(part);
            } else {
                write(olds[std::size_t(from - run.first)]);
            }
        }
    }
    return true;
}

} // namespace

TableUndoCommand* splitCommand(TableModel& model, Axis axis, bool cellsOnly,
                               const std::function<QStringList(const QString&)>& split, bool useThread) {
    const std::vector<std::pair<int, int>> indexes = selectionIndexes(model);
    const TableData& data = model.getTableData();
    const Extent extent{model.rowCountModel(), model.columnCountModel()};
    const bool moveRest = cellsOnly;
    // The cells are read and the writes worked out on the worker; lines are inserted here.
    SplitPlan plan;
    TextChange change;
    const bool finished = model.readCellsOnWorker(
        [&](TableModelWorker& worker) {
            if (!planSplit(data, indexes, axis, split, plan, worker))
                return false;
            if (plan.cells.empty())
                return true;
            if (moveRest)
                return restOfRowsMoved(data, extent, plan, change, &worker);
            change = splitWrites(plan, axis);
            return true;
        },
        useThread);
    if (!finished || plan.cells.empty())
        return nullptr;
    if (moveRest)
        return commandOf(model, std::move(change));
    // Whole new lines after each split line, all in one move of the table's lines; then the
    // parts, at the places they have once the lines are in.
    std::vector<SequenceCommand::Step> steps;
    steps.push_back([axis, groups = std::vector<std::pair<int, int>>(plan.extra.begin(), plan.extra.end())](
                        TableModel* m) -> TableUndoCommand* {
        return new InsertLineGroupsCommand(m, axis == Axis::Row ? Axis::Col : Axis::Row, groups);
    });
    // The selection as it was, so that undo of the whole step shows it again.
    steps.push_back([change = std::move(change),
                     selection = model.getSelection()](TableModel* m) mutable -> TableUndoCommand* {
        RangeVector restored = selection;
        m->setSelection(restored);
        return commandOf(*m, std::move(change));
    });
    return new SequenceCommand(&model, std::move(steps));
}

namespace {

// The change of an ID column at raw column `rawCol`: "ID" in the last header row and numbers
// from `first` in every raw row below it down to the last that holds anything. Hidden and
// filtered-out rows are numbered too, so that no two rows share an ID once they show again.
// The texts replaced are read with `readOld` (a new column has none).
bool idChange(const TableData& data, int headers, qint64 first, int rawCol, bool readOld, TextChange& out,
              TableModelWorker* worker) {
    out = TextChange();
    const int lastRaw = data.numRawRows() - data.numEmptyRowsRawAtEnd() - 1;
    const int top = std::max(0, headers - 1);
    const std::size_t n = lastRaw >= top ? std::size_t(lastRaw - top + 1) : 0;
    static const QString empty;
    for (int row = top; row <= lastRaw; ++row) {
        if (!tick(worker, 1, std::size_t(row - top), n))
            return false;
        const QString text = headers > 0 && row == headers - 1 ? QStringLiteral("ID")
                                                               : QString::number(first + (row - headers));
        keepWrite(out, readOld ? data.getValueRaw(row, rawCol).toString() : empty, text, row, rawCol);
    }
    return true;
}

TableUndoCommand* rawCommandOf(TableModel& model, TextChange change) {
    if (!change.changed)
        return nullptr;
    return SetCellTextsCommand::atRawPositions(&model, std::move(change.positions),
                                               std::move(change.oldTexts), std::move(change.newTexts));
}

} // namespace

TableUndoCommand* idColumnCommand(TableModel& model, int first, bool useThread) {
    const int headers = model.getNumHeaderRows();
    const int rawCol = model.getTableData().getRawFromModelCol(0);
    const TableData& data = model.getTableData();
    TextChange change;
    const bool finished = model.readCellsOnWorker(
        [&](TableModelWorker& worker) {
            return idChange(data, headers, first, rawCol, true, change, &worker);
        },
        useThread);
    return finished ? rawCommandOf(model, std::move(change)) : nullptr;
}

TableUndoCommand* addIdColumnCommand(TableModel& model, int firstValue, bool useThread) {
    const int headers = model.getNumHeaderRows();
    const TableData& data = model.getTableData();
    // The new column is empty, so the change is known before it goes in: worked out here (on
    // the worker for a long column), only written when the step runs, in the column's raw place.
    TextChange change;
    const bool finished = model.readCellsOnWorker(
        [&](TableModelWorker& worker) {
            return idChange(data, headers, firstValue, 0, false, change, &worker);
        },
        useThread);
    if (!finished)
        return nullptr;
    std::vector<SequenceCommand::Step> steps;
    steps.push_back(
        [](TableModel* m) -> TableUndoCommand* { return new InsertColsCommand(m, {0}, 1, false); });
    steps.push_back([change = std::move(change)](TableModel* m) mutable -> TableUndoCommand* {
        const int rawCol = m->getTableData().getRawFromModelCol(0);
        for (auto& position : change.positions)
            position.second = rawCol;
        return rawCommandOf(*m, std::move(change));
    });
    return new SequenceCommand(&model, std::move(steps));
}

} // namespace CellTransform
