#include "storage/editabledatacontainer.h"

#include "storage/cellwriter.h"
#include "storage/partbuffer.h"
#include "storage/partedwrite.h"
#include "storage/rowlineshape.h"
#include "storage/savefile.h"

#include <QSaveFile>

#include <algorithm>
#include <atomic>
#include <cstring>

// --- Writing ---------------------------------------------------------------------------------

namespace {

bool contains(const std::vector<int>& sortedList, int value) {
    return std::binary_search(sortedList.begin(), sortedList.end(), value);
}

std::atomic<int> s_savePartLinesForTesting{-1};
std::atomic<int> s_saveHelpersForTesting{0};

} // namespace

struct EditableDataContainer::LineState {
    explicit LineState(const CellWriter& w, bool atFileStart = false) : writer(w), fileStart(atFileStart) {}
    const CellWriter& writer;
    bool fileStart;
    std::vector<std::uint64_t> marks;
};

void EditableDataContainer::setSavePartsForTesting(int lines, int helpers) {
    s_savePartLinesForTesting = lines;
    s_saveHelpersForTesting = helpers;
}

void EditableDataContainer::buildLine(std::vector<char>& out, int index, bool column,
                                      GetRowColMaskType maskType, const std::vector<int>& mask,
                                      LineState& state) const {
    const CellWriter& writer = state.writer;
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
        writer.appendCell(out, cellAt(i), state.fileStart);
        state.fileStart = false;
    };
    // Cells 0 to count - 1 of a row in one go; the file's first cell on its own, for the check
    // of a byte order mark.
    auto writeRowCells = [&](int count) {
        int from = 0;
        if (state.fileStart && count > 0)
            writeCell(from++);
        writer.appendRowCells(out, rowCells, from, count, state.marks);
    };
    // A row nobody changed since the load goes out with the fields its line had, whatever the
    // table's width and the trailing delimiter rule: a ragged file stays ragged.
    const int fieldsAsRead =
        !column && keepFieldCountsAsRead && mask.empty() && maskType == MASK_ALL_BUT_LISTED
            ? rowCells.fieldsAsRead()
            : 0;
    if (fieldsAsRead > 0) {
        writeRowCells(count);
        // An empty line is one empty field: nothing to write.
        const int pads = count == 0 && fieldsAsRead == 1 ? 0 : fieldsAsRead - count;
        for (int i = 0; i < pads && writer.delimited(); ++i)
            writer.appendPad(out);
        state.fileStart = false;
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
    } else if (!column && (maskType == MASK_ALL || mask.empty())) {
        writeRowCells(count);
        if (pad) {
            for (int i = count; i < logicalEnd; ++i)
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
    state.fileStart = false; // a line without cells starts the file with its line ending
    writer.endCells(out, startSize);
    writer.appendLineEnding(out);
}

void EditableDataContainer::getRowCSVString(std::vector<char>& out, int row, GetRowColMaskType maskType,
                                            const std::vector<int>& mask) {
    const CellWriter writer(*this);
    LineState state(writer);
    buildLine(out, row, false, maskType, mask, state);
}

void EditableDataContainer::getRowCSVStringMultiByte(std::vector<char>& out, int row,
                                                     GetRowColMaskType maskType,
                                                     const std::vector<int>& mask) {
    getRowCSVString(out, row, maskType, mask);
}

void EditableDataContainer::getColCSVString(std::vector<char>& out, int col, GetRowColMaskType maskType,
                                            const std::vector<int>& mask) {
    const CellWriter writer(*this);
    LineState state(writer);
    buildLine(out, col, true, maskType, mask, state);
}

void EditableDataContainer::getColCSVStringMultiByte(std::vector<char>& out, int col,
                                                     GetRowColMaskType maskType,
                                                     const std::vector<int>& mask) {
    getColCSVString(out, col, maskType, mask);
}

bool EditableDataContainer::saveCSV(bool, bool transposed, const std::vector<int>& rowsToSkip,
                                    const std::vector<int>& colsToSkip) {
    errorString.clear();
    QSaveFile file(filepath);
    if (!SaveFile::open(file, errorString))
        return false;
    const CellWriter writer(*this);
    const bool withBom = hasBom && !bom.empty() && isBomConsistentWithEncoding(bom, encoding);

    // A line of the file is a row, or a column of a transposed table; skipped ones give none.
    const int lines = transposed ? numColsLogical : static_cast<int>(rows.size());
    const std::vector<int>& linesToSkip = transposed ? colsToSkip : rowsToSkip;
    int lastLine = lines - 1;
    while (lastLine >= 0 && contains(linesToSkip, lastLine))
        --lastLine;

    // Parts of a few megabytes by the table's size on a sample of its rows.
    qint64 sampleBytes = 0;
    const int sampleStep = std::max(1, static_cast<int>(rows.size()) / 1024);
    int sampled = 0;
    for (size_t r = 0; r < rows.size(); r += static_cast<size_t>(sampleStep), ++sampled)
        sampleBytes += static_cast<qint64>(rows[r].blockSize()) + 2;
    const qint64 tableBytes = sampled > 0 ? sampleBytes * static_cast<qint64>(rows.size()) / sampled : 0;
    const qint64 bytesPerLine = std::max<qint64>(1, lines > 0 ? tableBytes / lines : 1);
    constexpr qint64 kPartBytes = 2 << 20;
    int linesPerPart = static_cast<int>(std::clamp<qint64>(kPartBytes / bytesPerLine, 1, 1 << 20));
    int helpers = -1;
    if (const int testLines = s_savePartLinesForTesting; testLines >= 0) {
        linesPerPart = testLines > 0 ? testLines : std::max(1, lines);
        helpers = testLines > 0 ? s_saveHelpersForTesting.load() : 0;
    }
    PartedWrite::Plan plan;
    plan.parts = std::max(1, (lines + linesPerPart - 1) / linesPerPart);
    plan.helpers = helpers >= 0 ? helpers : PartedWrite::helpersFor(tableBytes, plan.parts);

    // A row line with all its cells and no hidden columns goes straight into the part; other
    // lines are built on their own and copied in.
    const bool rowLines = !transposed && colsToSkip.empty();
    RowLineShape shape;
    shape.keepFieldCounts = keepFieldCountsAsRead;
    shape.keepTrailingEmpty = saveWithTrailingDelimiters;
    shape.delimited = writer.delimited();
    shape.padTo = shape.delimited && saveWithTrailingDelimiters ? numColsLogical : 0;
    const bool rowPass = rowLines && writer.rowLinesAvailable();
    auto encode = [&](int part, PartBuffer& out) {
        const int first = part * linesPerPart;
        const int end = std::min(lines, first + linesPerPart);
        out.reserve(static_cast<size_t>(std::min<qint64>(bytesPerLine * (end - first), kPartBytes) * 5 / 4));
        LineState state(writer);
        if (part == 0) {
            if (withBom)
                out.append(bom.data(), bom.size());
            state.fileStart = !withBom;
        }
        std::vector<char> line;
        auto skip = std::lower_bound(linesToSkip.begin(), linesToSkip.end(), first);
        for (int index = first; index < end; ++index) {
            while (skip != linesToSkip.end() && *skip < index)
                ++skip;
            if (skip != linesToSkip.end() && *skip == index)
                continue;
            if (rowPass && !state.fileStart) {
                // The rows up to the next skipped one, or the last line when it loses its ending,
                // in one pass; a row the pass doesn't take goes on below.
                int runEnd = skip != linesToSkip.end() ? std::min(end, *skip) : end;
                if (!finalLineEnding && index <= lastLine && lastLine < runEnd)
                    runEnd = lastLine;
                const int done = writer.appendRowLines(out, rows.data() + index, runEnd - index, shape);
                index += done;
                if (index >= end || (skip != linesToSkip.end() && *skip == index)) {
                    --index; // the loop's step moves on to it
                    continue;
                }
            }
            const bool last = index == lastLine && !transposed && !finalLineEnding;
            if (rowLines && !state.fileStart) {
                // The cells and pads as buildLine picks them.
                const PackedRow& row = rows[static_cast<size_t>(index)];
                int count = 0;
                int pads = 0;
                shape.pick(row, count, pads);
                const size_t lineStart = out.size();
                if (writer.appendRowLine(out, row, count, pads, state.marks)) {
                    if (last) {
                        const size_t ending = writer.lineEndingSize();
                        if (out.size() > lineStart + ending)
                            out.setEnd(out.data() + out.size() - ending);
                    }
                    continue;
                }
            }
            line.clear();
            if (transposed) {
                // Hidden columns drop out as lines; hidden rows stay in a transposed save.
                buildLine(line, index, true, MASK_ALL, colsToSkip, state);
            } else {
                buildLine(line, index, false, MASK_ALL_BUT_LISTED, colsToSkip, state);
                if (last)
                    writer.dropFinalLineEnding(line, 0);
            }
            out.append(line.data(), line.size());
        }
    };
    SaveFile::WriteBehind writeBehind(file);
    auto write = [&](int part, const char* bytes, size_t size) {
        if (!SaveFile::writeAll(file, bytes, static_cast<qint64>(size), errorString))
            return false;
        writeBehind.wrote();
        if (plan.parts > 1)
            reportSaveProgress(std::min<qint64>(lines, static_cast<qint64>(part + 1) * linesPerPart), lines);
        return true;
    };
    if (!PartedWrite::run(plan, encode, write))
        return false;
    if (!file.commit()) {
        errorString = file.errorString();
        return false;
    }
    return true;
}
