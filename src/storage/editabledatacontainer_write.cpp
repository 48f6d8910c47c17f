#include "storage/editabledatacontainer.h"

#include <QSaveFile>

#include <algorithm>
#include <cstring>

// --- Writing ---------------------------------------------------------------------------------

namespace {

bool contains(const std::vector<int>& sortedList, int value) {
    return std::binary_search(sortedList.begin(), sortedList.end(), value);
}

// The bytes that make a cell need quotes under a standard. One pass over a short cell with a
// table costs less than a memchr per byte value, and finds the same cells.
struct QuoteTriggers {
    bool always = false;
    bool never = false;
    bool table[256] = {};

    QuoteTriggers(ParsingStandard standard, char saveDelimiter) {
        always = standard == ALL_QUOTES;
        never = standard != RFC_4180 && standard != SPARSE_QUOTES && !always;
        table[static_cast<unsigned char>(saveDelimiter)] = true;
        table[static_cast<unsigned char>(KeyChars::CR)] = true;
        table[static_cast<unsigned char>(KeyChars::LF)] = true;
        if (standard == RFC_4180)
            table[static_cast<unsigned char>(KeyChars::Quote)] = true; // "Sparse Quotes" leaves a lone quote
    }

    bool needsQuotes(std::string_view cell) const {
        if (always || never)
            return always;
        for (const char c : cell) {
            if (table[static_cast<unsigned char>(c)])
                return true;
        }
        return false;
    }
};

void appendQuoted(std::vector<char>& out, std::string_view cell) {
    out.push_back(KeyChars::Quote);
    const char* p = cell.data();
    const char* const end = p + cell.size();
    while (p < end) {
        const void* q = std::memchr(p, KeyChars::Quote, static_cast<size_t>(end - p));
        const char* stop = q ? static_cast<const char*>(q) + 1 : end;
        out.insert(out.end(), p, stop);
        if (q)
            out.push_back(KeyChars::Quote);
        p = stop;
    }
    out.push_back(KeyChars::Quote);
}

void appendLineEnding(std::vector<char>& out, LineEndingType lineEnding) {
    if (lineEnding == LINE_ENDING_WINDOWS) {
        out.push_back(KeyChars::CR);
        out.push_back(KeyChars::LF);
    } else if (lineEnding == LINE_ENDING_RECORD_SEPARATOR) {
        out.push_back(KeyChars::RecordSeparator);
    } else {
        out.push_back(KeyChars::LF);
    }
}

// Unit-aligned search for one character in a multi-byte cell.
bool hasUnit(std::string_view cell, const std::vector<char>& unit) {
    const size_t width = unit.size();
    if (width == 0)
        return false;
    for (size_t i = 0; i + width <= cell.size(); i += width) {
        if (std::memcmp(cell.data() + i, unit.data(), width) == 0)
            return true;
    }
    return false;
}

} // namespace

void EditableDataContainer::buildLine(std::vector<char>& out, int index, bool column,
                                      GetRowColMaskType maskType, const std::vector<int>& mask) {
    const size_t startSize = out.size();
    const bool delimited = saveDelimiter != 0;
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
    if (!saveWithTrailingDelimiters) {
        while (count > 0 && cellAt(count - 1).empty())
            --count;
    }

    const QuoteTriggers triggers(parsingStandard, saveDelimiter);
    auto writeCell = [&](int i) {
        const std::string_view cell = cellAt(i);
        if (delimited && triggers.needsQuotes(cell))
            appendQuoted(out, cell);
        else
            out.insert(out.end(), cell.begin(), cell.end());
        if (delimited)
            out.push_back(saveDelimiter);
    };
    auto writePad = [&]() {
        if (parsingStandard == ALL_QUOTES) {
            out.push_back(KeyChars::Quote);
            out.push_back(KeyChars::Quote);
        }
        out.push_back(saveDelimiter);
    };
    const bool pad = delimited && saveWithTrailingDelimiters;

    if (maskType == MASK_ONLY_LISTED) {
        for (const int i : mask) {
            if (i >= 0 && i < count)
                writeCell(i);
            else if (pad && i >= 0 && i < logicalEnd)
                writePad();
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
                writePad();
            }
        }
    }
    if (delimited && out.size() > startSize)
        out.pop_back();
    appendLineEnding(out, lineEnding);
}

void EditableDataContainer::buildLineMultiByte(std::vector<char>& out, int index, bool column,
                                               GetRowColMaskType maskType, const std::vector<int>& mask) {
    const KeyCharVecs keys = setKeyCharVecs();
    const size_t startSize = out.size();
    const bool delimited = saveDelimiter != 0;
    const int logicalEnd = column ? numRowsLogical : numColsLogical;
    const size_t width = static_cast<size_t>(bytesPerChar);

    int count = 0;
    if (column) {
        for (int row = static_cast<int>(rows.size()) - 1; row >= 0 && count == 0; --row) {
            if (index >= 0 && index < rows[static_cast<size_t>(row)].size())
                count = row + 1;
        }
    } else {
        count = numCellsStored(index);
    }
    auto cellAt = [&](int i) { return column ? cellView(i, index) : cellView(index, i); };
    if (!saveWithTrailingDelimiters) {
        while (count > 0 && cellAt(count - 1).empty())
            --count;
    }

    auto quoteNeeded = [&](std::string_view cell) {
        switch (parsingStandard) {
        case RFC_4180:
            return hasUnit(cell, keys.saveDelimiter) || hasUnit(cell, keys.quote) || hasUnit(cell, keys.cr) ||
                   hasUnit(cell, keys.lf);
        case ALL_QUOTES:
            return true;
        case SPARSE_QUOTES:
            return hasUnit(cell, keys.saveDelimiter) || hasUnit(cell, keys.cr) || hasUnit(cell, keys.lf);
        default:
            return false;
        }
    };
    auto writeCell = [&](int i) {
        const std::string_view cell = cellAt(i);
        if (delimited && quoteNeeded(cell)) {
            out.insert(out.end(), keys.quote.begin(), keys.quote.end());
            size_t pos = 0;
            for (; pos + width <= cell.size(); pos += width) {
                out.insert(out.end(), cell.begin() + static_cast<std::ptrdiff_t>(pos),
                           cell.begin() + static_cast<std::ptrdiff_t>(pos + width));
                if (std::memcmp(cell.data() + pos, keys.quote.data(), width) == 0)
                    out.insert(out.end(), keys.quote.begin(), keys.quote.end());
            }
            out.insert(out.end(), cell.begin() + static_cast<std::ptrdiff_t>(pos), cell.end());
            out.insert(out.end(), keys.quote.begin(), keys.quote.end());
        } else {
            out.insert(out.end(), cell.begin(), cell.end());
        }
        if (delimited)
            out.insert(out.end(), keys.saveDelimiter.begin(), keys.saveDelimiter.end());
    };
    auto writePad = [&]() {
        if (parsingStandard == ALL_QUOTES)
            out.insert(out.end(), keys.doubledQuote.begin(), keys.doubledQuote.end());
        out.insert(out.end(), keys.saveDelimiter.begin(), keys.saveDelimiter.end());
    };
    const bool pad = delimited && saveWithTrailingDelimiters;

    if (maskType == MASK_ONLY_LISTED) {
        for (const int i : mask) {
            if (i >= 0 && i < count)
                writeCell(i);
            else if (pad && i >= 0 && i < logicalEnd)
                writePad();
        }
    } else {
        const bool skipListed = maskType == MASK_ALL_BUT_LISTED;
        for (int i = 0; i < count; ++i) {
            if (skipListed && contains(mask, i))
                continue;
            writeCell(i);
        }
        if (pad) {
            for (int i = count; i < logicalEnd; ++i) {
                if (skipListed && contains(mask, i))
                    continue;
                writePad();
            }
        }
    }
    if (delimited && out.size() >= startSize + width)
        out.resize(out.size() - width);
    if (lineEnding == LINE_ENDING_WINDOWS) {
        out.insert(out.end(), keys.cr.begin(), keys.cr.end());
        out.insert(out.end(), keys.lf.begin(), keys.lf.end());
    } else if (lineEnding == LINE_ENDING_RECORD_SEPARATOR) {
        out.insert(out.end(), keys.recordSeparator.begin(), keys.recordSeparator.end());
    } else {
        out.insert(out.end(), keys.lf.begin(), keys.lf.end());
    }
}

void EditableDataContainer::getRowCSVString(std::vector<char>& out, int row, GetRowColMaskType maskType,
                                            const std::vector<int>& mask) {
    if (bytesPerChar >= 2) {
        getRowCSVStringMultiByte(out, row, maskType, mask);
        return;
    }
    buildLine(out, row, false, maskType, mask);
}

void EditableDataContainer::getRowCSVStringMultiByte(std::vector<char>& out, int row,
                                                     GetRowColMaskType maskType,
                                                     const std::vector<int>& mask) {
    if (bytesPerChar < 2) {
        buildLine(out, row, false, maskType, mask);
        return;
    }
    buildLineMultiByte(out, row, false, maskType, mask);
}

void EditableDataContainer::getColCSVString(std::vector<char>& out, int col, GetRowColMaskType maskType,
                                            const std::vector<int>& mask) {
    if (bytesPerChar >= 2) {
        getColCSVStringMultiByte(out, col, maskType, mask);
        return;
    }
    buildLine(out, col, true, maskType, mask);
}

void EditableDataContainer::getColCSVStringMultiByte(std::vector<char>& out, int col,
                                                     GetRowColMaskType maskType,
                                                     const std::vector<int>& mask) {
    if (bytesPerChar < 2) {
        buildLine(out, col, true, maskType, mask);
        return;
    }
    buildLineMultiByte(out, col, true, maskType, mask);
}

bool EditableDataContainer::saveCSV(bool, bool transposed, const std::vector<int>& rowsToSkip,
                                    const std::vector<int>& colsToSkip) {
    QSaveFile file(filepath);
    if (!file.open(QIODevice::WriteOnly))
        return false;

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
        return whole;
    };

    if (hasBom && !bom.empty() && isBomConsistentWithEncoding(bom, encoding))
        block.insert(block.end(), bom.begin(), bom.end());

    if (!transposed) {
        auto skip = rowsToSkip.begin();
        for (int row = 0; row < static_cast<int>(rows.size()); ++row) {
            while (skip != rowsToSkip.end() && *skip < row)
                ++skip;
            if (skip != rowsToSkip.end() && *skip == row)
                continue;
            getRowCSVString(block, row, MASK_ALL_BUT_LISTED, colsToSkip);
            if (block.size() >= kBlockSize && !writeBlock())
                return false;
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
            if (block.size() >= kBlockSize && !writeBlock())
                return false;
        }
    }
    if (!writeBlock())
        return false;
    return file.commit();
}
