#include "storage/readonlydatacontainer_scan.h"

#include <QFile>
#include <QSaveFile>

#include <algorithm>

namespace {

bool isSorted(const std::vector<int>& v) {
    return std::is_sorted(v.begin(), v.end());
}

} // namespace

// --- Writing ---------------------------------------------------------------------------------

// Appends one line from raw cells, which still hold their quotes: no quoting step here.
// `realCount` is the number of cells the line has in the file, `logicalCount` the table's width
// (or height) up to which trailing delimiters pad.
void ReadOnlyDataContainer::writeLine(std::vector<char>& out, std::vector<std::vector<char>>& cells,
                                      qint64 realCount, qint64 logicalCount, GetRowColMaskType maskType,
                                      const std::vector<int>& mask) {
    const bool wide = bytesPerChar >= 2;
    const KeyCharVecs keys = wide ? setKeyCharVecs() : KeyCharVecs{};
    const std::vector<char> delim = wide ? keys.saveDelimiter : std::vector<char>{saveDelimiter};
    const std::vector<char> quote = wide ? keys.quote : std::vector<char>{KeyChars::Quote};
    const bool hasDelimiter = saveDelimiter != 0;

    qint64 count = std::min<qint64>(realCount, static_cast<qint64>(cells.size()));
    if (!saveWithTrailingDelimiters) {
        while (count > 0 && cells[count - 1].empty())
            --count;
    }
    const size_t before = out.size();
    auto appendCell = [&](const std::vector<char>& cell) {
        out.insert(out.end(), cell.begin(), cell.end());
        if (hasDelimiter)
            out.insert(out.end(), delim.begin(), delim.end());
    };
    static const std::vector<char> kEmpty;
    size_t m = 0;
    switch (maskType) {
    case MASK_ONLY_LISTED:
        for (int index : mask)
            appendCell(index >= 0 && index < count ? cells[index] : kEmpty);
        break;
    case MASK_ALL_BUT_LISTED:
        for (qint64 i = 0; i < count; ++i) {
            while (m < mask.size() && mask[m] < i)
                ++m;
            if (m < mask.size() && mask[m] == i)
                continue;
            appendCell(cells[i]);
        }
        break;
    case MASK_ALL:
        for (qint64 i = 0; i < count; ++i)
            appendCell(cells[i]);
        break;
    }
    if (hasDelimiter && saveWithTrailingDelimiters) {
        m = 0;
        for (qint64 i = count; i < logicalCount; ++i) {
            if (maskType == MASK_ALL_BUT_LISTED) {
                while (m < mask.size() && mask[m] < i)
                    ++m;
                if (m < mask.size() && mask[m] == i)
                    continue;
            }
            if (parsingStandard == ALL_QUOTES) {
                out.insert(out.end(), quote.begin(), quote.end());
                out.insert(out.end(), quote.begin(), quote.end());
            }
            out.insert(out.end(), delim.begin(), delim.end());
        }
    }
    if (hasDelimiter && out.size() > before)
        out.resize(out.size() - delim.size());
    if (lineEnding == LINE_ENDING_WINDOWS) {
        if (wide) {
            out.insert(out.end(), keys.cr.begin(), keys.cr.end());
            out.insert(out.end(), keys.lf.begin(), keys.lf.end());
        } else {
            out.push_back(KeyChars::CR);
            out.push_back(KeyChars::LF);
        }
    } else if (lineEnding == LINE_ENDING_RECORD_SEPARATOR) {
        if (wide)
            out.insert(out.end(), keys.recordSeparator.begin(), keys.recordSeparator.end());
        else
            out.push_back(KeyChars::RecordSeparator);
    } else {
        if (wide)
            out.insert(out.end(), keys.lf.begin(), keys.lf.end());
        else
            out.push_back(KeyChars::LF);
    }
}

void ReadOnlyDataContainer::readWholeRow(int row, std::vector<std::vector<char>>& cells) const {
    cells.clear();
    if (row < 0 || row >= numRowsIndexed || strips.empty() || !file || !file->isOpen())
        return;
    // From the strip of the row's first cell to the strip behind that of the next row's first
    // cell; the last row reads to the end, since it may be wider than numCols.
    const qint64 unitBytes = bytesPerChar >= 2 ? bytesPerChar : 1;
    const qint64 stripCount = static_cast<qint64>(strips.size());
    const qint64 first = std::min(static_cast<qint64>(row) * numColsIndexed / stripSize, stripCount - 1);
    qint64 end = fileSize / unitBytes;
    if (row + 1 < numRowsIndexed) {
        const qint64 next = static_cast<qint64>(row + 1) * numColsIndexed / stripSize;
        if (next + 1 < stripCount)
            end = strips[next + 1].offset;
    }
    const qint64 begin = strips[first].offset;
    if (end <= begin)
        return;
    readBuffer.resize(static_cast<size_t>((end - begin) * unitBytes));
    const qint64 got = readAt(begin * unitBytes, readBuffer.data(), static_cast<qint64>(readBuffer.size()));
    readBuffer.resize(static_cast<size_t>(std::max<qint64>(0, got - got % unitBytes)));
    CellCollector sink;
    sink.rowCells = &cells;
    sink.targetRow = row;
    runCollector(readBuffer, strips[first].row, strips[first].col, sink, bytesPerChar >= 2, delimiter != 0);
}

void ReadOnlyDataContainer::getRowCSVString(std::vector<char>& out, int row, GetRowColMaskType maskType,
                                            const std::vector<int>& mask) {
    if (bytesPerChar >= 2) {
        getRowCSVStringMultiByte(out, row, maskType, mask);
        return;
    }
    if (row < 0 || row >= numRowsIndexed)
        return;
    std::vector<std::vector<char>> cells;
    readWholeRow(row, cells);
    writeLine(out, cells, static_cast<qint64>(cells.size()), numColsIndexed, maskType, mask);
}

void ReadOnlyDataContainer::getRowCSVStringMultiByte(std::vector<char>& out, int row,
                                                     GetRowColMaskType maskType,
                                                     const std::vector<int>& mask) {
    if (row < 0 || row >= numRowsIndexed)
        return;
    std::vector<std::vector<char>> cells;
    readWholeRow(row, cells);
    writeLine(out, cells, static_cast<qint64>(cells.size()), numColsIndexed, maskType, mask);
}

void ReadOnlyDataContainer::getColCSVString(std::vector<char>& out, int col, GetRowColMaskType maskType,
                                            const std::vector<int>& mask) {
    if (bytesPerChar >= 2) {
        getColCSVStringMultiByte(out, col, maskType, mask);
        return;
    }
    std::vector<CellPosition> wanted(static_cast<size_t>(std::max(0, numRowsIndexed)));
    for (int r = 0; r < numRowsIndexed; ++r)
        wanted[r] = CellPosition{r, col};
    std::vector<std::vector<char>> cells;
    readRawCellsSorted(wanted, cells);
    writeLine(out, cells, numRowsIndexed, numRowsIndexed, maskType, mask);
}

void ReadOnlyDataContainer::getColCSVStringMultiByte(std::vector<char>& out, int col,
                                                     GetRowColMaskType maskType,
                                                     const std::vector<int>& mask) {
    std::vector<CellPosition> wanted(static_cast<size_t>(std::max(0, numRowsIndexed)));
    for (int r = 0; r < numRowsIndexed; ++r)
        wanted[r] = CellPosition{r, col};
    std::vector<std::vector<char>> cells;
    readRawCellsSorted(wanted, cells);
    writeLine(out, cells, numRowsIndexed, numRowsIndexed, maskType, mask);
}

bool ReadOnlyDataContainer::saveCSV(bool, bool transposed, const std::vector<int>& rowsToSkip,
                                    const std::vector<int>& colsToSkip) {
    if (!isSorted(rowsToSkip) || !isSorted(colsToSkip))
        return false;
    // The source stays open and is read while the new file is written; the commit replaces the
    // old file in one step, so saving over the file being read works.
    QSaveFile out(filepath);
    if (!out.open(QIODevice::WriteOnly))
        return false;
    auto put = [&](const std::vector<char>& bytes) {
        return bytes.empty() || out.write(bytes.data(), static_cast<qint64>(bytes.size())) ==
                                    static_cast<qint64>(bytes.size());
    };
    if (hasBom && !bom.empty() && isBomConsistentWithEncoding(bom, encoding) && !put(bom))
        return false;
    std::vector<char> buffer;
    size_t skip = 0;
    if (!transposed) {
        for (int row = 0; row < numRowsIndexed; ++row) {
            while (skip < rowsToSkip.size() && rowsToSkip[skip] < row)
                ++skip;
            if (skip < rowsToSkip.size() && rowsToSkip[skip] == row)
                continue;
            buffer.clear();
            getRowCSVString(buffer, row, MASK_ALL_BUT_LISTED, colsToSkip);
            if (!put(buffer))
                return false;
        }
    } else {
        for (int col = 0; col < numColsIndexed; ++col) {
            while (skip < colsToSkip.size() && colsToSkip[skip] < col)
                ++skip;
            if (skip < colsToSkip.size() && colsToSkip[skip] == col)
                continue;
            buffer.clear();
            getColCSVString(buffer, col, MASK_ALL, colsToSkip);
            if (!put(buffer))
                return false;
        }
    }
    return out.commit();
}
