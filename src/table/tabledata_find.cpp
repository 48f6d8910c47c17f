// TableData: find and replace over the cells, in the view's row-major order on raw positions.

#include "table/tabledata.h"

#include "storage/abstractdatacontainer.h"
#include "storage/readonlydatacontainer.h"
#include "table/findbytematcher.h"
#include "table/range.h"
#include "table/rangevector.h"
#include "table/worker.h"

#include <QRegularExpressionMatchIterator>

#include <algorithm>
#include <utility>

namespace {

// Rows of a read-only table fetched by one batched read: enough to amortise the strip reads.
constexpr int kReadOnlyBatchRows = 2048;

QString wrappedPattern(const FindReplaceQuery& query) {
    // Whole cell goes before whole word: a whole cell is a whole word too.
    if (query.wholeCell)
        return QLatin1Char('^') + query.findStr + QLatin1Char('$');
    if (query.wholeWord)
        return QStringLiteral("\\b") + query.findStr + QStringLiteral("\\b");
    return query.findStr;
}

Qt::CaseSensitivity caseOf(const FindReplaceQuery& query) {
    return query.caseSensitive ? Qt::CaseSensitive : Qt::CaseInsensitive;
}

// Whether a cell can hold a match without being decoded: a plain search for something
// never matches an empty cell.
bool mayMatchEmpty(const FindReplaceQuery& query) {
    return query.regex;
}

} // namespace

// The positions a search walks: either the whole table (model rows by shown columns) or a list
// of raw cells in model order. `start` is the position of the start, or of the first position
// after it when the start itself is not walked (`exact` false).
struct TableData::FindWalk {
    bool isList = false;
    std::vector<std::pair<int, int>> cells; // raw (row, col)
    std::vector<int> shownCols;             // raw columns in model order
    qint64 count = 0;
    qint64 start = 0;
    bool exact = false;
};

// --- Matching one text -----------------------------------------------------------------------

const QRegularExpression& TableData::getOrCreateRegex(const FindReplaceQuery& query, bool& valid) const {
    if (!cacheValid || !(cachedFindQuery == query)) {
        cachedFindQuery = query;
        cachedRegex = QRegularExpression(wrappedPattern(query),
                                         query.caseSensitive ? QRegularExpression::NoPatternOption
                                                             : QRegularExpression::CaseInsensitiveOption);
        cachedValid = cachedRegex.isValid();
        if (cachedValid)
            cachedRegex.optimize();
        cacheValid = true;
    }
    valid = cachedValid;
    return cachedRegex;
}

bool TableData::determineMatchInternal(const FindReplaceQuery& query, const QString& text,
                                       std::vector<int>* positions) const {
    if (!query.regex || query.findStr.isEmpty())
        return determineMatchWith(query, text, positions, nullptr);
    bool valid = false;
    const QRegularExpression& re = getOrCreateRegex(query, valid);
    if (!valid) {
        if (positions)
            positions->clear();
        return false;
    }
    return determineMatchWith(query, text, positions, &re);
}

bool TableData::determineMatchWith(const FindReplaceQuery& query, const QString& text,
                                   std::vector<int>* positions, const QRegularExpression* regex) const {
    if (positions)
        positions->clear();
    const QString& find = query.findStr;
    if (find.isEmpty()) {
        if (!text.isEmpty())
            return false;
        if (positions)
            positions->push_back(0);
        return true;
    }
    const Qt::CaseSensitivity cs = caseOf(query);

    if (query.regex) {
        if (!regex || !regex->isValid())
            return false;
        const QRegularExpression& re = *regex;
        if (!positions)
            return re.match(text).hasMatch();
        QRegularExpressionMatchIterator it = re.globalMatch(text);
        while (it.hasNext()) {
            const QRegularExpressionMatch match = it.next();
            qsizetype start = match.capturedStart(0);
            if (start < 0)
                break;
            // A leading word boundary may sit just before a blank.
            if (query.wholeWord && !query.wholeCell && start < text.size() &&
                text.at(start) == QLatin1Char(' '))
                ++start;
            positions->push_back(static_cast<int>(start));
        }
        return !positions->empty();
    }

    if (query.wholeCell) {
        if (text.size() != find.size() || text.compare(find, cs) != 0)
            return false;
        if (positions)
            positions->push_back(0);
        return true;
    }

    const qsizetype n = find.size();
    qsizetype from = 0;
    bool found = false;
    while (from <= text.size()) {
        const qsizetype p = text.indexOf(find, from, cs);
        if (p < 0)
            break;
        if (query.wholeWord) {
            const bool before = p == 0 || isWordDelimiter(text.at(p - 1));
            const bool after = p + n >= text.size() || isWordDelimiter(text.at(p + n));
            if (!before || !after) {
                // A word inside a failed find is still seen.
                from = p + 1;
                continue;
            }
        }
        found = true;
        if (!positions)
            return true;
        positions->push_back(static_cast<int>(p));
        from = p + n; // matches do not overlap
    }
    return found;
}

bool TableData::determineMatch(const FindReplaceQuery& query, const QString& text) const {
    return determineMatchInternal(query, text, nullptr);
}

bool TableData::determineMatch(const FindReplaceQuery& query, const QString& text,
                               std::vector<int>& positions) const {
    return determineMatchInternal(query, text, &positions);
}

bool TableData::determineMatch(const FindReplaceQuery& query, int row, int col) const {
    return determineMatchInternal(query, findCellText(row, col), nullptr);
}

bool TableData::determineMatch(const FindReplaceQuery& query, int row, int col,
                               std::vector<int>& positions) const {
    return determineMatchInternal(query, findCellText(row, col), &positions);
}

QString TableData::findCellText(int row, int col) const {
    if (!dataContainer || row < 0 || col < 0 || row >= numRawRows() || col >= numRawCols())
        return QString();
    if (transposed)
        std::swap(row, col);
    std::string_view view;
    if (dataContainer->getValueView(row, col, view))
        return decodeCell(view, encoding, codec);
    return decodeCell(dataContainer->getValue(row, col), encoding, codec);
}

// --- Walking the table -----------------------------------------------------------------------

TableData::FindWalk TableData::makeFindWalk(const Range& start, const RangeVector* cells) const {
    FindWalk walk;
    const int rows = numRawRows();
    const int cols = numRawCols();
    if (rows <= 0 || cols <= 0)
        return walk;

    // The start in model indexes; a concealed start stands for the next shown line.
    bool exact = true;
    int modelRow = 0;
    int modelCol = 0;
    if (start.row < 0 || start.row >= rows) {
        exact = false;
        modelRow = start.row < 0 ? 0 : numModelRows();
    } else {
        int raw = start.row;
        while (raw < rows && isRowConcealed(raw)) {
            ++raw;
            exact = false;
        }
        modelRow = raw < rows ? getModelFromRawRow(raw) : numModelRows();
        int rawCol = std::clamp(start.col, 0, cols - 1);
        while (rawCol < cols && isColConcealed(rawCol)) {
            ++rawCol;
            exact = false;
        }
        if (rawCol < cols) {
            modelCol = getModelFromRawCol(rawCol);
        } else {
            ++modelRow;
            modelCol = 0;
        }
    }

    const int modelCols = numModelCols();
    if (!cells) {
        walk.shownCols.reserve(static_cast<std::size_t>(modelCols));
        for (int c = 0; c < modelCols; ++c)
            walk.shownCols.push_back(getRawFromModelCol(c));
        walk.count = qint64(numModelRows()) * modelCols;
        walk.start = qint64(modelRow) * modelCols + modelCol;
    } else {
        // The cells in model order, each once, concealed ones left out.
        std::vector<std::pair<int, int>> model;
        for (const Range& range : *cells) {
            if (range.type == RangeType::Invalid)
                continue;
            const bool wholeRows = range.type == RangeType::Row || range.type == RangeType::Table;
            const bool wholeCols = range.type == RangeType::Col || range.type == RangeType::Table;
            const int top = range.type == RangeType::Col ? 0 : std::max(0, range.row);
            const int left = range.type == RangeType::Row ? 0 : std::max(0, range.col);
            const int bottom = range.type == RangeType::Cell
                                   ? top
                                   : (wholeCols ? rows - 1 : std::min(rows - 1, range.endRow));
            const int right = range.type == RangeType::Cell
                                  ? left
                                  : (wholeRows ? cols - 1 : std::min(cols - 1, range.endCol));
            for (int r = top; r <= bottom && r < rows; ++r) {
                if (isRowConcealed(r))
                    continue;
                const int mr = getModelFromRawRow(r);
                for (int c = left; c <= right && c < cols; ++c) {
                    if (!isColConcealed(c))
                        model.emplace_back(mr, getModelFromRawCol(c));
                }
            }
        }
        std::sort(model.begin(), model.end());
        model.erase(std::unique(model.begin(), model.end()), model.end());
        const auto it = std::lower_bound(model.begin(), model.end(), std::make_pair(modelRow, modelCol));
        walk.start = it - model.begin();
        exact = exact && it != model.end() && *it == std::make_pair(modelRow, modelCol);
        walk.cells.reserve(model.size());
        for (const auto& [r, c] : model)
            walk.cells.emplace_back(getRawFromModelRow(r), getRawFromModelCol(c));
        walk.count = static_cast<qint64>(walk.cells.size());
        walk.isList = true;
    }
    if (walk.count > 0 && walk.start >= walk.count) {
        walk.start = 0;
        exact = false;
    }
    walk.exact = exact;
    return walk;
}

Range TableData::findMatch(const FindReplaceQuery& query, const Range& start, bool includeStart, bool forward,
                           std::vector<int>* positions, const RangeVector* cells) const {
    if (query.findStr.isEmpty() || numRawRows() <= 0)
        return Range(RangeType::Invalid);
    const FindWalk walk = makeFindWalk(start, cells);
    if (walk.count <= 0)
        return Range(RangeType::Invalid);

    // Forward, the start is examined last unless asked for first; backward the mirror. A start
    // that is not itself walked stands just before (forward) or after (backward) `walk.start`.
    qint64 k = walk.start;
    if (forward && walk.exact && !includeStart)
        k = walk.start + 1;
    else if (!forward && !(walk.exact && includeStart))
        k = walk.start - 1;
    const qint64 n = walk.count;
    const qint64 modelCols = static_cast<qint64>(walk.shownCols.size());
    int lastModelRow = -1;
    int rawRow = -1;
    std::vector<int> local;
    std::vector<int>* out = positions ? positions : &local;

    // A read-only table is read in blocks of rows in the walk's direction: one strip read then
    // serves many cells. Blocks start at a few rows, so that a match nearby comes back at once
    // (one small read), and grow fourfold up to the batch size.
    const auto* readOnly = walk.isList ? nullptr : qobject_cast<const ReadOnlyDataContainer*>(dataContainer);
    const int modelRowCount = modelCols > 0 ? static_cast<int>(n / modelCols) : 0;
    int blockFirst = 0;
    int blockLast = -1;
    int blockSize = 4;
    std::vector<ReadOnlyDataContainer::CellPosition> wanted;
    std::vector<std::vector<char>> block;
    const auto readOnlyBytes = [&](int modelRow, qint64 colIndex) {
        if (modelRow < blockFirst || modelRow > blockLast) {
            blockFirst = forward ? modelRow : std::max(0, modelRow - blockSize + 1);
            blockLast = forward ? std::min(modelRowCount - 1, modelRow + blockSize - 1) : modelRow;
            blockSize = std::min(blockSize * 4, kReadOnlyBatchRows);
            wanted.clear();
            for (int m = blockFirst; m <= blockLast; ++m) {
                const int raw = getRawFromModelRow(m);
                for (const int c : walk.shownCols) {
                    int r = raw;
                    int cc = c;
                    if (transposed)
                        std::swap(r, cc);
                    wanted.push_back({readOnly->fileRowOf(r), readOnly->fileColOf(cc)});
                }
            }
            readOnly->getValues(wanted, block);
        }
        const std::vector<char>& bytes =
            block[static_cast<std::size_t>(qint64(modelRow - blockFirst) * modelCols + colIndex)];
        return std::string_view(bytes.data(), bytes.size());
    };
    bool valid = false;
    const QRegularExpression* re = query.regex ? &getOrCreateRegex(query, valid) : nullptr;
    const FindByteMatcher matcher(query, encoding, codec != nullptr, wordDelimiterLookup, re);
    std::vector<char> scratch;
    const auto cellBytes = [&](int row, int col) {
        if (transposed)
            std::swap(row, col);
        std::string_view view;
        if (dataContainer->getValueView(row, col, view))
            return view;
        scratch = dataContainer->getValue(row, col);
        return std::string_view(scratch.data(), scratch.size());
    };

    for (qint64 step = 0; step < n; ++step, k += forward ? 1 : -1) {
        const qint64 at = ((k % n) + n) % n;
        int row = 0;
        int col = 0;
        int modelRow = -1;
        if (walk.isList) {
            row = walk.cells[static_cast<std::size_t>(at)].first;
            col = walk.cells[static_cast<std::size_t>(at)].second;
        } else {
            modelRow = static_cast<int>(at / modelCols);
            if (modelRow != lastModelRow) {
                lastModelRow = modelRow;
                rawRow = getRawFromModelRow(modelRow);
            }
            row = rawRow;
            col = walk.shownCols[static_cast<std::size_t>(at % modelCols)];
        }
        const std::string_view bytes =
            readOnly ? readOnlyBytes(modelRow, at % modelCols) : cellBytes(row, col);
        if (bytes.empty() && !mayMatchEmpty(query))
            continue;
        if (matcher.classify(bytes) == FindByteMatcher::NoMatch)
            continue;
        const QString text = decodeCell(bytes, encoding, codec);
        if (determineMatchInternal(query, text, out)) {
            Range found(row, col, RangeIndexType::Raw);
            found.value = text;
            return found;
        }
    }
    return Range(RangeType::Invalid);
}

Range TableData::findNextMatch(const FindReplaceQuery& query, const Range& start, bool includeStart) const {
    return findMatch(query, start, includeStart, true);
}

Range TableData::findPrevMatch(const FindReplaceQuery& query, const Range& start, bool includeStart) const {
    return findMatch(query, start, includeStart, false);
}

// --- Every match -----------------------------------------------------------------------------

// The cells of a pass as raw cells with their texts, and with `replaced` the texts they replace.
static RangeVector foundRanges(std::vector<FoundCell>& found, bool replaced) {
    RangeVector out;
    out.reserve(found.size());
    for (FoundCell& cell : found) {
        out.emplace_back(cell.row, cell.col, RangeIndexType::Raw);
        out.back().value = std::move(cell.text);
        if (replaced)
            out.back().oldValue = std::move(cell.oldText);
    }
    return out;
}

RangeVector TableData::findAll(const FindReplaceQuery& query, Worker* worker) const {
    std::vector<FoundCell> found;
    return findAllCells(query, found, false, worker) ? foundRanges(found, false) : RangeVector();
}

// One pass in stored order; with `replaceIt` each match comes back replaced, and cells that a
// replacement leaves as they were are left out.
bool TableData::findAllCells(const FindReplaceQuery& query, std::vector<FoundCell>& out, bool replaceIt,
                             Worker* worker) const {
    out.clear();
    if (worker && !worker->updateProgress(0.0f))
        return false;
    if (query.findStr.isEmpty() || !dataContainer)
        return true;
    // A copy of the pattern: the search may run on the worker while the window's own searches
    // use the shared cache.
    QRegularExpression regex;
    if (query.regex) {
        bool valid = false;
        regex = getOrCreateRegex(query, valid);
        if (!valid)
            return true;
    }
    const QRegularExpression* re = query.regex ? &regex : nullptr;
    const FindByteMatcher matcher(query, encoding, codec != nullptr, wordDelimiterLookup, re);
    const int modelRows = numModelRows();
    const int modelCols = numModelCols();
    std::vector<int> shownCols;
    shownCols.reserve(static_cast<std::size_t>(modelCols));
    for (int c = 0; c < modelCols; ++c)
        shownCols.push_back(getRawFromModelCol(c));
    std::vector<int> positions;
    const auto examine = [&](int row, int col, std::string_view bytes) {
        if (bytes.empty() && !mayMatchEmpty(query))
            return;
        const FindByteMatcher::Verdict verdict = matcher.classify(bytes);
        if (verdict == FindByteMatcher::NoMatch)
            return;
        QString text = decodeCell(bytes, encoding, codec);
        if (verdict == FindByteMatcher::Undecided && !determineMatchWith(query, text, nullptr, re))
            return;
        if (!replaceIt) {
            out.push_back({row, col, std::move(text), QString()});
            return;
        }
        // A pattern replaces by itself; the plain forms need the places of the matches.
        if (!query.regex)
            determineMatchWith(query, text, &positions, re);
        bool valid = false;
        QString replaced = replacedText(query, text, positions, true, valid, re);
        if (valid && replaced != text)
            out.push_back({row, col, std::move(replaced), std::move(text)});
    };
    const auto progress = [worker, modelRows](int modelRow) {
        if (!worker || !worker->readyForUpdate())
            return worker == nullptr || !worker->isCanceled();
        return worker->updateProgress(static_cast<float>(modelRow) /
                                      static_cast<float>(std::max(1, modelRows)));
    };

    const auto* readOnly = qobject_cast<const ReadOnlyDataContainer*>(dataContainer);
    if (readOnly) {
        // Batched reads: one strip read serves many cells.
        std::vector<ReadOnlyDataContainer::CellPosition> wanted;
        std::vector<std::vector<char>> values;
        for (int first = 0; first < modelRows; first += kReadOnlyBatchRows) {
            const int last = std::min(modelRows, first + kReadOnlyBatchRows);
            wanted.clear();
            for (int m = first; m < last; ++m) {
                const int raw = getRawFromModelRow(m);
                for (const int col : shownCols) {
                    int r = raw;
                    int c = col;
                    if (transposed)
                        std::swap(r, c);
                    wanted.push_back({readOnly->fileRowOf(r), readOnly->fileColOf(c)});
                }
            }
            readOnly->getValues(wanted, values);
            std::size_t i = 0;
            for (int m = first; m < last; ++m) {
                const int raw = getRawFromModelRow(m);
                for (const int col : shownCols) {
                    const std::vector<char>& bytes = values[i++];
                    examine(raw, col, std::string_view(bytes.data(), bytes.size()));
                }
            }
            if (!progress(last)) {
                out.clear();
                return false;
            }
        }
        return true;
    }

    for (int m = 0; m < modelRows; ++m) {
        const int raw = getRawFromModelRow(m);
        for (const int col : shownCols) {
            int r = raw;
            int c = col;
            if (transposed)
                std::swap(r, c);
            std::string_view view;
            if (dataContainer->getValueView(r, c, view)) {
                examine(raw, col, view);
            } else {
                const std::vector<char> bytes = dataContainer->getValue(r, c);
                examine(raw, col, std::string_view(bytes.data(), bytes.size()));
            }
        }
        if ((m & 1023) == 0 && !progress(m)) {
            out.clear();
            return false;
        }
    }
    return true;
}

RangeVector TableData::findAll(const FindReplaceQuery& query, const RangeVector& cells) const {
    RangeVector out;
    if (query.findStr.isEmpty())
        return out;
    const FindWalk walk = makeFindWalk(Range(0, 0, RangeIndexType::Raw), &cells);
    for (const auto& [row, col] : walk.cells) {
        QString text = findCellText(row, col);
        if (text.isEmpty() && !mayMatchEmpty(query))
            continue;
        if (determineMatchInternal(query, text, nullptr)) {
            Range found(row, col, RangeIndexType::Raw);
            found.value = std::move(text);
            out.push_back(std::move(found));
        }
    }
    return out;
}

// --- Replacing -------------------------------------------------------------------------------

QString TableData::replacedText(const FindReplaceQuery& query, const QString& text,
                                const std::vector<int>& positions, bool all, bool& valid,
                                const QRegularExpression* regex) const {
    valid = true;
    QString out = text;
    if (!query.regex) {
        const qsizetype n = query.findStr.size();
        if (query.wholeCell) {
            if (!positions.empty())
                out = query.replaceStr;
        } else if (all) {
            // The last first, so the earlier positions stay good.
            for (auto it = positions.rbegin(); it != positions.rend(); ++it)
                out.replace(*it, n, query.replaceStr);
        } else if (!positions.empty()) {
            out.replace(positions.front(), n, query.replaceStr);
        }
        return out;
    }
    const QRegularExpression& re = regex ? *regex : getOrCreateRegex(query, valid);
    valid = re.isValid();
    if (!valid)
        return out;
    // Every match in the cell; back-references in the replacement work.
    out.replace(re, query.replaceStr);
    return out;
}

Range TableData::replace(const FindReplaceQuery& query, const Range& range, const std::vector<int>& positions,
                         bool all) const {
    if (range.type == RangeType::Invalid)
        return Range(RangeType::Invalid);
    bool valid = false;
    QString text = replacedText(query, range.value.toString(), positions, all, valid);
    if (!valid)
        return Range(RangeType::Invalid);
    Range result = range;
    result.oldValue = range.value;
    result.value = std::move(text);
    return result;
}

Range TableData::findMatchFrom(const FindReplaceQuery& query, const Range& start, bool includeStart,
                               bool forward, bool replaceIt) const {
    std::vector<int> positions;
    const Range found = findMatch(query, start, includeStart, forward, &positions);
    if (!replaceIt || found.type == RangeType::Invalid)
        return found;
    return replace(query, found, positions, true);
}

Range TableData::replaceNextMatch(const FindReplaceQuery& query, const Range& start,
                                  bool includeStart) const {
    return findMatchFrom(query, start, includeStart, true, true);
}

Range TableData::replacePrevMatch(const FindReplaceQuery& query, const Range& start,
                                  bool includeStart) const {
    return findMatchFrom(query, start, includeStart, false, true);
}

RangeVector TableData::replaceAll(const FindReplaceQuery& query, Worker* worker) const {
    std::vector<FoundCell> found;
    return findAllCells(query, found, true, worker) ? foundRanges(found, true) : RangeVector();
}

RangeVector TableData::replaceAll(const FindReplaceQuery& query, const RangeVector& cells) const {
    RangeVector found = findAll(query, cells);
    RangeVector out;
    out.reserve(found.size());
    std::vector<int> positions;
    for (Range& cell : found) {
        if (!determineMatchInternal(query, cell.value.toString(), &positions))
            continue;
        Range replaced = replace(query, cell, positions, true);
        if (replaced.type != RangeType::Invalid && replaced.value != replaced.oldValue)
            out.push_back(std::move(replaced));
    }
    return out;
}
