#include "storage/readonlydatacontainer_scan.h"

#include <QFile>

#include <algorithm>

// --- Life ------------------------------------------------------------------------------------

ReadOnlyDataContainer::ReadOnlyDataContainer(QObject* parent) : AbstractDataContainer(parent) {}

ReadOnlyDataContainer::~ReadOnlyDataContainer() {
    closeCSV();
}

void ReadOnlyDataContainer::setPieceSizeForTesting(qint64 size) {
    s_pieceSizeForTesting = size;
}
void ReadOnlyDataContainer::setInstructionSetForTesting(int level) {
    s_instructionSetForTesting = level;
}
// --- Reading cells ---------------------------------------------------------------------------

int ReadOnlyDataContainer::numColsInRow(int row) const {
    Q_UNUSED(row);
    return numColsIndexed;
}

void ReadOnlyDataContainer::runCollector(std::vector<char>& buffer, int row, int col, CellCollector& sink,
                                         bool multiByte, bool withDelimiter) const {
    const int unitBytes = multiByte ? bytesPerChar : 1;
    const qint64 units = static_cast<qint64>(buffer.size()) / unitBytes;
    const size_t used = buffer.size();
    buffer.resize(used + kScanSlack); // room for the block scanner; never part of a cell
    sink.data = buffer.data();
    sink.unitBytes = unitBytes;
    sink.realEnd = units;
    sink.row = row;
    sink.col = col - 1;
    const bool quoting = withDelimiter && parsingStandard != DELIMITER_ONLY;
    if (unitBytes == 1) {
        collectCells(ByteUnits(withDelimiter ? static_cast<unsigned char>(delimiter) : -1, quoting), buffer,
                     units, sink);
    } else {
        const KeyCharVecs keys = setKeyCharVecs();
        if (keys.lf.size() == static_cast<size_t>(unitBytes)) {
            if (unitBytes == 2)
                collectCells(WideUnits<quint16>(keys, withDelimiter, quoting), buffer, units, sink);
            else
                collectCells(WideUnits<quint32>(keys, withDelimiter, quoting), buffer, units, sink);
        }
    }
    buffer.resize(used);
}

void ReadOnlyDataContainer::scanStrip(std::vector<char>& buffer, int row, int col, const CellPosition* wanted,
                                      size_t count, std::vector<char>* results, bool multiByte,
                                      bool withDelimiter) const {
    CellCollector sink;
    sink.wanted = wanted;
    sink.count = count;
    sink.results = results;
    runCollector(buffer, row, col, sink, multiByte, withDelimiter);
}

void ReadOnlyDataContainer::getRawCellsFromStrip(std::vector<char>& buffer, int row, int col,
                                                 const std::vector<CellPosition>& wanted,
                                                 std::vector<std::vector<char>>& results) const {
    results.assign(wanted.size(), {});
    scanStrip(buffer, row, col, wanted.data(), wanted.size(), results.data(), bytesPerChar >= 2,
              delimiter != 0);
}

void ReadOnlyDataContainer::readRawCellsSorted(const std::vector<CellPosition>& sorted,
                                               std::vector<std::vector<char>>& results) const {
    results.assign(sorted.size(), {});
    if (!file || !file->isOpen() || strips.empty() || numColsIndexed <= 0 || !fileUnchanged())
        return;
    const qint64 unitBytes = bytesPerChar >= 2 ? bytesPerChar : 1;
    const qint64 unitsInFile = fileSize / unitBytes;
    const qint64 stripCount = static_cast<qint64>(strips.size());
    auto stripOf = [&](const CellPosition& p) -> qint64 {
        if (p.row < 0 || p.col < 0 || p.row >= numRowsIndexed || p.col >= numColsIndexed)
            return -1;
        const qint64 i = (static_cast<qint64>(p.row) * numColsIndexed + p.col) / stripSize;
        return i < stripCount ? i : -1;
    };
    auto stripEnd = [&](qint64 i) { return i + 1 < stripCount ? strips[i + 1].offset : unitsInFile; };

    size_t k = 0;
    while (k < sorted.size()) {
        const qint64 first = stripOf(sorted[k]);
        if (first < 0) {
            ++k;
            continue;
        }
        // Merge the following cells whose strips lie close behind into one read.
        qint64 last = first;
        size_t groupEnd = k + 1;
        while (groupEnd < sorted.size()) {
            const qint64 s = stripOf(sorted[groupEnd]);
            if (s < 0)
                break;
            if (s != last) {
                const qint64 gap = (strips[s].offset - stripEnd(last)) * unitBytes;
                const qint64 total = (stripEnd(s) - strips[first].offset) * unitBytes;
                if (gap > kMergeGapBytes || total > kMaxMergedReadBytes)
                    break;
                last = s;
            }
            ++groupEnd;
        }
        const qint64 begin = strips[first].offset;
        const qint64 end = stripEnd(last);
        if (end > begin) {
            readBuffer.resize(static_cast<size_t>((end - begin) * unitBytes));
            const qint64 got =
                readAt(begin * unitBytes, readBuffer.data(), static_cast<qint64>(readBuffer.size()));
            if (got < static_cast<qint64>(readBuffer.size())) {
                // Shorter than when it was indexed, or unreadable there: no cell is to be trusted.
                noteFileChanged();
                results.assign(sorted.size(), {});
                return;
            }
            scanStrip(readBuffer, strips[first].row, strips[first].col, sorted.data() + k, groupEnd - k,
                      results.data() + k, bytesPerChar >= 2, delimiter != 0);
        }
        k = groupEnd;
    }
}

void ReadOnlyDataContainer::getRawCells(const std::vector<CellPosition>& wanted,
                                        std::vector<std::vector<char>>& results) const {
    if (std::is_sorted(wanted.begin(), wanted.end())) {
        readRawCellsSorted(wanted, results);
        return;
    }
    std::vector<size_t> order(wanted.size());
    for (size_t i = 0; i < order.size(); ++i)
        order[i] = i;
    std::stable_sort(order.begin(), order.end(), [&](size_t a, size_t b) { return wanted[a] < wanted[b]; });
    std::vector<CellPosition> sorted(wanted.size());
    for (size_t i = 0; i < order.size(); ++i)
        sorted[i] = wanted[order[i]];
    std::vector<std::vector<char>> sortedResults;
    readRawCellsSorted(sorted, sortedResults);
    results.assign(wanted.size(), {});
    for (size_t i = 0; i < order.size(); ++i)
        results[order[i]].swap(sortedResults[i]);
}

void ReadOnlyDataContainer::getRawCell(int row, int col, std::vector<char>& out) const {
    out.clear();
    std::vector<std::vector<char>> results;
    readRawCellsSorted({CellPosition{row, col}}, results);
    out.swap(results.front());
}

std::vector<char> ReadOnlyDataContainer::applyQuoteRule(std::vector<char> raw) const {
    const size_t unit = bytesPerChar >= 2 ? static_cast<size_t>(bytesPerChar) : 1;
    const KeyCharVecs keys = unit > 1 ? setKeyCharVecs() : KeyCharVecs{};
    auto isUnit = [&](size_t at, char c, const std::vector<char>& seq) {
        if (unit == 1)
            return raw[at] == c;
        return seq.size() == unit && std::memcmp(raw.data() + at, seq.data(), unit) == 0;
    };
    // A strip on a line ending yields the ending itself: that is an empty cell.
    if (raw.size() == unit && (isUnit(0, KeyChars::LF, keys.lf) || isUnit(0, KeyChars::CR, keys.cr) ||
                               isUnit(0, KeyChars::RecordSeparator, keys.recordSeparator)))
        return {};
    // Quotes mean something only where the loader honours them, and only at a cell's start.
    if (delimiter == 0 || delimiter == KeyChars::Quote || parsingStandard == DELIMITER_ONLY ||
        raw.size() < unit || !isUnit(0, KeyChars::Quote, keys.quote))
        return raw;
    // As the loader reads it: a doubled quote stands for one, a lone quote closes the cell. The
    // cell is a quoted one only if that closing quote is its last character; text behind it, or
    // no closing quote at all, leaves the cell as it stands, quotes and all.
    std::vector<char> value;
    value.reserve(raw.size());
    if (unit == 1) {
        // The same walk a run of plain bytes at a time.
        const char* p = raw.data() + 1;
        const char* const end = raw.data() + raw.size();
        while (p < end) {
            const auto* q =
                static_cast<const char*>(std::memchr(p, KeyChars::Quote, static_cast<size_t>(end - p)));
            if (!q)
                return raw;
            value.insert(value.end(), p, q);
            if (q + 1 == end)
                return value;
            if (q[1] != KeyChars::Quote)
                return raw;
            value.push_back(KeyChars::Quote);
            p = q + 2;
        }
        return raw;
    }
    for (size_t at = unit; at + unit <= raw.size(); at += unit) {
        if (isUnit(at, KeyChars::Quote, keys.quote)) {
            if (at + unit == raw.size())
                return value;
            if (!isUnit(at + unit, KeyChars::Quote, keys.quote))
                return raw;
            at += unit; // the pair stands for one quote
        }
        value.insert(value.end(), raw.begin() + static_cast<std::ptrdiff_t>(at),
                     raw.begin() + static_cast<std::ptrdiff_t>(at + unit));
    }
    return raw;
}

std::vector<char> ReadOnlyDataContainer::getValue(int row, int col, bool useOrder) const {
    if (row >= numRowsIndexed && col >= numColsIndexed)
        return {};
    if (useOrder && rowsReordered && row >= 0 && row < static_cast<int>(rowOrder.size()))
        row = rowOrder[row];
    if (useOrder && colsReordered && col >= 0 && col < static_cast<int>(colOrder.size()))
        col = colOrder[col];
    if (bytesPerChar >= 2)
        return getValueMultiByte(row, col);
    std::vector<char> raw;
    getRawCell(row, col, raw);
    return applyQuoteRule(std::move(raw));
}

std::vector<char> ReadOnlyDataContainer::getValueMultiByte(int row, int col) const {
    std::vector<char> raw;
    getRawCell(row, col, raw);
    return applyQuoteRule(std::move(raw));
}

void ReadOnlyDataContainer::getValues(const std::vector<CellPosition>& wanted,
                                      std::vector<std::vector<char>>& results) const {
    getRawCells(wanted, results);
    for (auto& cell : results)
        cell = applyQuoteRule(std::move(cell));
}

void ReadOnlyDataContainer::getRow(std::vector<std::vector<char>>& out, int row) {
    std::vector<CellPosition> wanted(static_cast<size_t>(std::max(0, numColsIndexed)));
    for (int c = 0; c < numColsIndexed; ++c)
        wanted[c] = CellPosition{row, c};
    getValues(wanted, out);
}

void ReadOnlyDataContainer::getCol(std::vector<std::vector<char>>& out, int col) {
    std::vector<CellPosition> wanted(static_cast<size_t>(std::max(0, numRowsIndexed)));
    for (int r = 0; r < numRowsIndexed; ++r)
        wanted[r] = CellPosition{r, col};
    getValues(wanted, out);
}

// --- Order -----------------------------------------------------------------------------------

void ReadOnlyDataContainer::setRowOrder(std::vector<int> order) {
    rowOrder = std::move(order);
    rowsReordered = true;
}
void ReadOnlyDataContainer::setColOrder(std::vector<int> order) {
    colOrder = std::move(order);
    colsReordered = true;
}
void ReadOnlyDataContainer::clearRowOrder() {
    rowOrder.clear();
    rowsReordered = false;
}
void ReadOnlyDataContainer::clearColOrder() {
    colOrder.clear();
    colsReordered = false;
}
