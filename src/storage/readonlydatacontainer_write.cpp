#include "storage/readonlydatacontainer_scan.h"

#include "storage/cellwriter.h"
#include "storage/savefile.h"

#include <QFile>
#include <QSaveFile>
#include <QScopeGuard>

#include <algorithm>

namespace {

constexpr char kChangedText[] = "The file was changed by another program since it was opened.";

bool isSorted(const std::vector<int>& v) {
    return std::is_sorted(v.begin(), v.end());
}

} // namespace

// --- Writing ---------------------------------------------------------------------------------

// Appends one line from raw cells as they stand in the file: each is read as a load would read
// it, then written as the editable container writes cells, so that both save the same table
// alike whatever the save parameters. `realCount` is the number of cells the line has in the
// file, `logicalCount` the table's width (or height) up to which trailing delimiters pad.
void ReadOnlyDataContainer::writeLine(std::vector<char>& out, std::vector<std::vector<char>>& cells,
                                      qint64 realCount, qint64 logicalCount, GetRowColMaskType maskType,
                                      const std::vector<int>& mask) {
    if (!lineWriter) {
        // A line asked for on its own, not as part of a save.
        const CellWriter own(*this);
        lineWriter = &own;
        writeLine(out, cells, realCount, logicalCount, maskType, mask);
        lineWriter = nullptr;
        return;
    }
    const CellWriter& writer = *lineWriter;
    for (auto& cell : cells)
        cell = applyQuoteRule(std::move(cell));
    qint64 count = std::min<qint64>(realCount, static_cast<qint64>(cells.size()));
    if (!saveWithTrailingDelimiters) {
        while (count > 0 && cells[static_cast<size_t>(count - 1)].empty())
            --count;
    }
    const size_t before = out.size();
    auto appendCell = [&](const std::vector<char>& cell) {
        writer.appendCell(out, std::string_view(cell.data(), cell.size()), writingFileStart);
        writingFileStart = false;
    };
    static const std::vector<char> kEmpty;
    size_t m = 0;
    switch (maskType) {
    case MASK_ONLY_LISTED:
        for (int index : mask) {
            if (index >= 0 && index < count)
                appendCell(cells[static_cast<size_t>(index)]);
            else if (writer.delimited() && saveWithTrailingDelimiters && index >= 0 && index < logicalCount)
                writer.appendPad(out);
        }
        break;
    case MASK_ALL_BUT_LISTED:
        for (qint64 i = 0; i < count; ++i) {
            while (m < mask.size() && mask[m] < i)
                ++m;
            if (m < mask.size() && mask[m] == i)
                continue;
            appendCell(cells[static_cast<size_t>(i)]);
        }
        break;
    case MASK_ALL:
        for (qint64 i = 0; i < count; ++i)
            appendCell(cells[static_cast<size_t>(i)]);
        break;
    }
    if (writer.delimited() && saveWithTrailingDelimiters && maskType != MASK_ONLY_LISTED) {
        m = 0;
        for (qint64 i = count; i < logicalCount; ++i) {
            if (maskType == MASK_ALL_BUT_LISTED) {
                while (m < mask.size() && mask[m] < i)
                    ++m;
                if (m < mask.size() && mask[m] == i)
                    continue;
            }
            writer.appendPad(out);
        }
    }
    writingFileStart = false;
    writer.endCells(out, before);
    writer.appendLineEnding(out);
}

void ReadOnlyDataContainer::writeLineAsRead(std::vector<char>& out, std::vector<std::vector<char>>& cells) {
    if (!lineWriter) {
        const CellWriter own(*this);
        lineWriter = &own;
        writeLineAsRead(out, cells);
        lineWriter = nullptr;
        return;
    }
    const CellWriter& writer = *lineWriter;
    const size_t before = out.size();
    // An empty line is one empty field: nothing to write.
    const bool emptyLine = cells.empty() || (cells.size() == 1 && cells.front().empty());
    if (!emptyLine) {
        for (auto& cell : cells) {
            cell = applyQuoteRule(std::move(cell));
            writer.appendCell(out, std::string_view(cell.data(), cell.size()), writingFileStart);
            writingFileStart = false;
        }
    }
    writingFileStart = false;
    writer.endCells(out, before);
    writer.appendLineEnding(out);
}

// Reads the lines of rows first..last into readBuffer: from the strip of the first row's first cell
// to the strip behind that of the next row's first cell; the last row reads to the end, since it
// may be wider than numCols. Gives the strip the bytes start at, or -1 when there is nothing to read.
qint64 ReadOnlyDataContainer::readRowsBytes(int first, int last) const {
    if (first < 0 || last < first || last >= numRowsIndexed || strips.empty() || !file || !file->isOpen() ||
        !fileUnchanged())
        return -1;
    const qint64 unitBytes = bytesPerChar >= 2 ? bytesPerChar : 1;
    const qint64 stripCount = static_cast<qint64>(strips.size());
    const qint64 firstStrip =
        std::min(static_cast<qint64>(first) * numColsIndexed / stripSize, stripCount - 1);
    qint64 end = fileSize / unitBytes;
    if (last + 1 < numRowsIndexed) {
        const qint64 next = static_cast<qint64>(last + 1) * numColsIndexed / stripSize;
        if (next + 1 < stripCount)
            end = strips[next + 1].offset;
    }
    const qint64 begin = strips[firstStrip].offset;
    if (end <= begin)
        return -1;
    readBuffer.resize(static_cast<size_t>((end - begin) * unitBytes));
    const qint64 got = readAt(begin * unitBytes, readBuffer.data(), static_cast<qint64>(readBuffer.size()));
    if (got < static_cast<qint64>(readBuffer.size())) {
        noteFileChanged();
        return -1;
    }
    return firstStrip;
}

void ReadOnlyDataContainer::readWholeRow(int row, std::vector<std::vector<char>>& cells) const {
    cells.clear();
    const qint64 firstStrip = readRowsBytes(row, row);
    if (firstStrip < 0)
        return;
    CellCollector sink;
    sink.rowCells = &cells;
    sink.targetRow = row;
    runCollector(readBuffer, strips[firstStrip].row, strips[firstStrip].col, sink, bytesPerChar >= 2,
                 delimiter != 0);
}

void ReadOnlyDataContainer::readRowRange(int first, int last,
                                         std::vector<std::vector<std::vector<char>>>& rows) const {
    rows.resize(static_cast<size_t>(std::max(0, last - first + 1)));
    for (auto& cells : rows)
        cells.clear();
    const qint64 firstStrip = readRowsBytes(first, last);
    if (firstStrip < 0)
        return;
    CellCollector sink;
    sink.rangeCells = &rows;
    sink.rangeFirst = first;
    sink.targetRow = last;
    runCollector(readBuffer, strips[firstStrip].row, strips[firstStrip].col, sink, bytesPerChar >= 2,
                 delimiter != 0);
}

// Row `row` of the table as the user sees it: the file's line behind it, its cells in the table's
// column order, so that a sorted table saves as it shows.
void ReadOnlyDataContainer::readLineInOrder(int row, std::vector<std::vector<char>>& cells) const {
    readWholeRow(fileRowOf(row), cells);
    if (!colsReordered)
        return;
    std::vector<std::vector<char>> ordered(static_cast<size_t>(std::max<qint64>(numColsIndexed, 0)));
    for (int c = 0; c < static_cast<int>(ordered.size()); ++c) {
        const int from = fileColOf(c);
        if (from >= 0 && from < static_cast<int>(cells.size()))
            ordered[static_cast<size_t>(c)].swap(cells[static_cast<size_t>(from)]);
    }
    cells.swap(ordered);
}

void ReadOnlyDataContainer::writeRow(std::vector<char>& out, std::vector<std::vector<char>>& cells,
                                     GetRowColMaskType maskType, const std::vector<int>& mask) {
    if (colsReordered) {
        std::vector<std::vector<char>> ordered(static_cast<size_t>(std::max<qint64>(numColsIndexed, 0)));
        for (int c = 0; c < static_cast<int>(ordered.size()); ++c) {
            const int from = fileColOf(c);
            if (from >= 0 && from < static_cast<int>(cells.size()))
                ordered[static_cast<size_t>(c)].swap(cells[static_cast<size_t>(from)]);
        }
        cells.swap(ordered);
    }
    // Lines keep the fields they have in the file, as an editable table's unchanged rows do.
    if (keepFieldCountsAsRead && !colsReordered && mask.empty() && maskType == MASK_ALL_BUT_LISTED)
        writeLineAsRead(out, cells);
    else
        writeLine(out, cells, static_cast<qint64>(cells.size()), numColsIndexed, maskType, mask);
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
    readLineInOrder(row, cells);
    // Lines keep the fields they have in the file, as an editable table's unchanged rows do.
    if (keepFieldCountsAsRead && !colsReordered && mask.empty() && maskType == MASK_ALL_BUT_LISTED)
        writeLineAsRead(out, cells);
    else
        writeLine(out, cells, static_cast<qint64>(cells.size()), numColsIndexed, maskType, mask);
}

void ReadOnlyDataContainer::getRowCSVStringMultiByte(std::vector<char>& out, int row,
                                                     GetRowColMaskType maskType,
                                                     const std::vector<int>& mask) {
    if (row < 0 || row >= numRowsIndexed)
        return;
    std::vector<std::vector<char>> cells;
    readLineInOrder(row, cells);
    // Lines keep the fields they have in the file, as an editable table's unchanged rows do.
    if (keepFieldCountsAsRead && !colsReordered && mask.empty() && maskType == MASK_ALL_BUT_LISTED)
        writeLineAsRead(out, cells);
    else
        writeLine(out, cells, static_cast<qint64>(cells.size()), numColsIndexed, maskType, mask);
}

void ReadOnlyDataContainer::getColCSVString(std::vector<char>& out, int col, GetRowColMaskType maskType,
                                            const std::vector<int>& mask) {
    if (bytesPerChar >= 2) {
        getColCSVStringMultiByte(out, col, maskType, mask);
        return;
    }
    // Lines follow the table's order, which a sort may have changed from the file's.
    std::vector<CellPosition> wanted(static_cast<size_t>(std::max(0, numRowsIndexed)));
    for (int r = 0; r < numRowsIndexed; ++r)
        wanted[static_cast<size_t>(r)] = CellPosition{fileRowOf(r), fileColOf(col)};
    std::vector<std::vector<char>> cells;
    getRawCells(wanted, cells);
    writeLine(out, cells, numRowsIndexed, numRowsIndexed, maskType, mask);
}

void ReadOnlyDataContainer::getColCSVStringMultiByte(std::vector<char>& out, int col,
                                                     GetRowColMaskType maskType,
                                                     const std::vector<int>& mask) {
    // Lines follow the table's order, which a sort may have changed from the file's.
    std::vector<CellPosition> wanted(static_cast<size_t>(std::max(0, numRowsIndexed)));
    for (int r = 0; r < numRowsIndexed; ++r)
        wanted[static_cast<size_t>(r)] = CellPosition{fileRowOf(r), fileColOf(col)};
    std::vector<std::vector<char>> cells;
    getRawCells(wanted, cells);
    writeLine(out, cells, numRowsIndexed, numRowsIndexed, maskType, mask);
}

bool ReadOnlyDataContainer::saveCSV(bool, bool transposed, const std::vector<int>& rowsToSkip,
                                    const std::vector<int>& colsToSkip) {
    if (!isSorted(rowsToSkip) || !isSorted(colsToSkip))
        return false;
    // The source stays open and is read while the new file is written; the commit replaces the
    // old file in one step, so saving over the file being read works.
    errorString.clear();
    if (!fileUnchanged()) {
        errorString = QLatin1String(kChangedText);
        return false;
    }
    QSaveFile out(filepath);
    if (!SaveFile::open(out, errorString))
        return false;
    auto put = [&](const std::vector<char>& bytes) {
        return SaveFile::writeAll(out, bytes.data(), static_cast<qint64>(bytes.size()), errorString);
    };
    const CellWriter writer(*this);
    lineWriter = &writer;
    const auto done = qScopeGuard([this] {
        writingFileStart = false;
        lineWriter = nullptr;
    });
    const bool withBom = hasBom && !bom.empty() && isBomConsistentWithEncoding(bom, encoding);
    if (withBom && !put(bom))
        return false;
    writingFileStart = !withBom;
    std::vector<char> buffer;
    size_t skip = 0;
    // Progress goes out about once a megabyte, as an editable table's save reports it.
    qint64 sinceReport = 0;
    auto written = [&](int line, int lines) {
        sinceReport += static_cast<qint64>(buffer.size());
        if (sinceReport >= (1 << 20)) {
            sinceReport = 0;
            reportSaveProgress(line + 1, lines);
        }
    };
    if (!transposed) {
        int lastRow = numRowsIndexed - 1;
        while (lastRow >= 0 && std::binary_search(rowsToSkip.begin(), rowsToSkip.end(), lastRow))
            --lastRow;
        SaveFile::WriteBehind writeBehind(out);
        const std::function<bool(const char*, qint64)> putBytes = [&](const char* bytes, qint64 size) {
            if (size <= 0)
                return true;
            if (!SaveFile::writeAll(out, bytes, size, errorString))
                return false;
            writeBehind.wrote();
            return true;
        };
        int streamedRows = 0;
        if (!streamSave(writer, putBytes, rowsToSkip, colsToSkip, lastRow, streamedRows))
            return false;
        // In the file's order the rows are read a batch at a time, in one read and one scan, and
        // their lines go out a megabyte at a time; a sorted table reads line by line.
        constexpr int kBatchRows = 4096;
        constexpr size_t kBlockBytes = 1 << 20;
        std::vector<std::vector<std::vector<char>>> batch;
        int batchFirst = 0;
        int batchEnd = 0;
        for (int row = streamedRows; row < numRowsIndexed; ++row) {
            while (skip < rowsToSkip.size() && rowsToSkip[skip] < row)
                ++skip;
            if (skip < rowsToSkip.size() && rowsToSkip[skip] == row)
                continue;
            const size_t lineStart = buffer.size();
            if (rowsReordered) {
                getRowCSVString(buffer, row, MASK_ALL_BUT_LISTED, colsToSkip);
            } else {
                if (row >= batchEnd) {
                    batchFirst = row;
                    batchEnd = std::min(numRowsIndexed, row + kBatchRows);
                    readRowRange(batchFirst, batchEnd - 1, batch);
                }
                writeRow(buffer, batch[static_cast<size_t>(row - batchFirst)], MASK_ALL_BUT_LISTED,
                         colsToSkip);
            }
            if (row == lastRow && !finalLineEnding)
                writer.dropFinalLineEnding(buffer, lineStart);
            if (buffer.size() >= kBlockBytes) {
                if (!put(buffer))
                    return false;
                written(row, numRowsIndexed);
                buffer.clear();
            }
        }
        if (!put(buffer))
            return false;
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
            written(col, numColsIndexed);
        }
    }
    // A file changed while it was copied gives cells of neither its old nor its new text.
    if (fileChanged) {
        errorString = QLatin1String(kChangedText);
        return false;
    }
    if (!out.commit()) {
        errorString = out.errorString();
        return false;
    }
    return true;
}
