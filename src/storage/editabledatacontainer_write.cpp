#include "storage/editabledatacontainer.h"

#include "storage/cellwriter.h"
#include "storage/savefile.h"

#include <QSaveFile>
#include <QScopeGuard>

#include <algorithm>
#include <cstring>

// --- Writing ---------------------------------------------------------------------------------

namespace {

bool contains(const std::vector<int>& sortedList, int value) {
    return std::binary_search(sortedList.begin(), sortedList.end(), value);
}

} // namespace

void EditableDataContainer::buildLine(std::vector<char>& out, int index, bool column,
                                      GetRowColMaskType maskType, const std::vector<int>& mask) {
    if (!lineWriter) {
        // A line asked for on its own, not as part of a save.
        const CellWriter writer(*this);
        lineWriter = &writer;
        buildLine(out, index, column, maskType, mask);
        lineWriter = nullptr;
        return;
    }
    const CellWriter& writer = *lineWriter;
    const size_t startSize = out.size();
    const int logicalEnd = column ? numRowsLogical : numColsLogical;

    // The cells stored in the line, fewer when trailing empty cells aren't written.
    int count = 0;
    if (column) {
        for (int row = static_cast<int>(rows.size()) - 1; row >= 0 && count == 0; --row) {
            if (index >= 0 && index < rows[static_cast<size_t>(row)].size())
                count = row + 1;
        }
    } else {
        count = numCellsStored(index);
    }
    // A row's cells are read straight from the row; a column's go through the lookup.
    static const PackedRow noRow;
    const PackedRow& rowCells = !column && index >= 0 && index < static_cast<int>(rows.size())
                                    ? rows[static_cast<size_t>(index)]
                                    : noRow;
    auto cellAt = [&](int i) -> std::string_view {
        return column ? cellView(i, index) : rowCells.cellOrEmpty(i);
    };
    auto writeCell = [&](int i) {
        writer.appendCell(out, cellAt(i), writingFileStart);
        writingFileStart = false;
    };
    // A row nobody changed since the load goes out with the fields its line had, whatever the
    // table's width and the trailing delimiter rule: a ragged file stays ragged.
    const int fieldsAsRead =
        !column && keepFieldCountsAsRead && mask.empty() && maskType == MASK_ALL_BUT_LISTED
            ? rowCells.fieldsAsRead()
            : 0;
    if (fieldsAsRead > 0) {
        for (int i = 0; i < count; ++i)
            writeCell(i);
        // An empty line is one empty field: nothing to write.
        const int pads = count == 0 && fieldsAsRead == 1 ? 0 : fieldsAsRead - count;
        for (int i = 0; i < pads && writer.delimited(); ++i)
            writer.appendPad(out);
        writingFileStart = false;
        writer.endCells(out, startSize);
        writer.appendLineEnding(out);
        return;
    }
    if (!saveWithTrailingDelimiters) {
        while (count > 0 && cellAt(count - 1).empty())
            --count;
    }

    const bool pad = writer.delimited() && saveWithTrailingDelimiters;

    if (maskType == MASK_ONLY_LISTED) {
        for (const int i : mask) {
            if (i >= 0 && i < count)
                writeCell(i);
            else if (pad && i >= 0 && i < logicalEnd)
                writer.appendPad(out);
        }
    } else {
        const bool skipListed = maskType == MASK_ALL_BUT_LISTED;
        auto skip = mask.begin();
        for (int i = 0; i < count; ++i) {
            if (skipListed) {
                while (skip != mask.end() && *skip < i)
                    ++skip;
                if (skip != mask.end() && *skip == i)
                    continue;
            }
            writeCell(i);
        }
        if (pad) {
            for (int i = count; i < logicalEnd; ++i) {
                if (skipListed && contains(mask, i))
                    continue;
                writer.appendPad(out);
            }
        }
    }
    writingFileStart = false; // a line without cells starts the file with its line ending
    writer.endCells(out, startSize);
    writer.appendLineEnding(out);
}

void EditableDataContainer::getRowCSVString(std::vector<char>& out, int row, GetRowColMaskType maskType,
                                            const std::vector<int>& mask) {
    buildLine(out, row, false, maskType, mask);
}

void EditableDataContainer::getRowCSVStringMultiByte(std::vector<char>& out, int row,
                                                     GetRowColMaskType maskType,
                                                     const std::vector<int>& mask) {
    buildLine(out, row, false, maskType, mask);
}

void EditableDataContainer::getColCSVString(std::vector<char>& out, int col, GetRowColMaskType maskType,
                                            const std::vector<int>& mask) {
    buildLine(out, col, true, maskType, mask);
}

void EditableDataContainer::getColCSVStringMultiByte(std::vector<char>& out, int col,
                                                     GetRowColMaskType maskType,
                                                     const std::vector<int>& mask) {
    buildLine(out, col, true, maskType, mask);
}

bool EditableDataContainer::saveCSV(bool, bool transposed, const std::vector<int>& rowsToSkip,
                                    const std::vector<int>& colsToSkip) {
    errorString.clear();
    QSaveFile file(filepath);
    if (!SaveFile::open(file, errorString))
        return false;
    // One writer for all the lines; it goes with this call.
    const CellWriter writer(*this);
    lineWriter = &writer;
    const auto done = qScopeGuard([this] {
        lineWriter = nullptr;
        writingFileStart = false;
    });

    // Lines are gathered into blocks of about a megabyte: few system calls, and the table is
    // never assembled in memory as a whole.
    constexpr size_t kBlockSize = 1 << 20;
    std::vector<char> block;
    block.reserve(kBlockSize + 4096);
    auto writeBlock = [&]() {
        if (block.empty())
            return true;
        const qint64 size = static_cast<qint64>(block.size());
        const bool whole = file.write(block.data(), size) == size;
        block.clear();
        if (!whole)
            errorString = file.errorString();
        return whole;
    };

    if (hasBom && !bom.empty() && isBomConsistentWithEncoding(bom, encoding))
        block.insert(block.end(), bom.begin(), bom.end());
    writingFileStart = block.empty();

    if (!transposed) {
        int lastRow = static_cast<int>(rows.size()) - 1;
        while (lastRow >= 0 && std::binary_search(rowsToSkip.begin(), rowsToSkip.end(), lastRow))
            --lastRow;
        auto skip = rowsToSkip.begin();
        for (int row = 0; row < static_cast<int>(rows.size()); ++row) {
            while (skip != rowsToSkip.end() && *skip < row)
                ++skip;
            if (skip != rowsToSkip.end() && *skip == row)
                continue;
            const size_t lineStart = block.size();
            getRowCSVString(block, row, MASK_ALL_BUT_LISTED, colsToSkip);
            if (row == lastRow && !finalLineEnding)
                writer.dropFinalLineEnding(block, lineStart);
            if (block.size() >= kBlockSize) {
                if (!writeBlock())
                    return false;
                reportSaveProgress(row + 1, static_cast<qint64>(rows.size()));
            }
        }
    } else {
        // Hidden columns drop out as lines; hidden rows stay in a transposed save.
        auto skip = colsToSkip.begin();
        for (int col = 0; col < numColsLogical; ++col) {
            while (skip != colsToSkip.end() && *skip < col)
                ++skip;
            if (skip != colsToSkip.end() && *skip == col)
                continue;
            getColCSVString(block, col, MASK_ALL, colsToSkip);
            if (block.size() >= kBlockSize) {
                if (!writeBlock())
                    return false;
                reportSaveProgress(col + 1, numColsLogical);
            }
        }
    }
    if (!writeBlock() || !file.commit()) {
        errorString = file.errorString();
        return false;
    }
    return true;
}
