#include "storage/cellwriter.h"

#include <cstring>

CellWriter::CellWriter(const AbstractDataContainer& c) {
    const char delimiter = c.getSaveDelimiter();
    const ParsingStandard standard = c.getParsingStandard();
    width = c.getBytesPerChar() >= 2 ? static_cast<size_t>(c.getBytesPerChar()) : 1;
    if (width > 1) {
        keys = c.setKeyCharVecs();
    } else {
        keys.saveDelimiter = {delimiter};
        keys.cr = {KeyChars::CR};
        keys.lf = {KeyChars::LF};
        keys.recordSeparator = {KeyChars::RecordSeparator};
        keys.quote = {KeyChars::Quote};
        keys.doubledQuote = {KeyChars::Quote, KeyChars::Quote};
    }
    hasDelimiter = delimiter != 0;
    const bool quotesRead = standard == RFC_4180 || standard == ALL_QUOTES || standard == SPARSE_QUOTES ||
                            standard == ASCII_SEPARATED_VALUES;
    // With the quote as delimiter the reader honours no quotes either.
    never = !hasDelimiter || !quotesRead || delimiter == KeyChars::Quote;
    always = !never && standard == ALL_QUOTES;
    quoteAnywhere = standard == RFC_4180;
    for (const char k : {delimiter, KeyChars::CR, KeyChars::LF, KeyChars::RecordSeparator})
        table[static_cast<unsigned char>(k)] = true;
    if (quoteAnywhere)
        table[static_cast<unsigned char>(KeyChars::Quote)] = true;

    switch (c.getLineEnding()) {
    case LINE_ENDING_WINDOWS:
        lineEnding = keys.cr;
        lineEnding.insert(lineEnding.end(), keys.lf.begin(), keys.lf.end());
        break;
    case LINE_ENDING_RECORD_SEPARATOR:
        lineEnding = keys.recordSeparator;
        break;
    default:
        lineEnding = keys.lf;
        break;
    }

    const EncodingType encoding = c.getEncoding();
    if (encoding == UTF_16) {
        boms = {AbstractDataContainer::getEncodingBom(UTF_16BE),
                AbstractDataContainer::getEncodingBom(UTF_16LE)};
    } else if (encoding == UTF_32) {
        boms = {AbstractDataContainer::getEncodingBom(UTF_32BE),
                AbstractDataContainer::getEncodingBom(UTF_32LE)};
    } else {
        std::vector<char> bom = AbstractDataContainer::getEncodingBom(encoding);
        if (!bom.empty())
            boms.push_back(std::move(bom));
    }
}

bool CellWriter::hasUnit(std::string_view cell, const std::vector<char>& unit) const {
    if (unit.size() != width)
        return false;
    for (size_t i = 0; i + width <= cell.size(); i += width) {
        if (std::memcmp(cell.data() + i, unit.data(), width) == 0)
            return true;
    }
    return false;
}

bool CellWriter::startsWith(std::string_view cell, const std::vector<char>& prefix) const {
    return !prefix.empty() && cell.size() >= prefix.size() &&
           std::memcmp(cell.data(), prefix.data(), prefix.size()) == 0;
}

bool CellWriter::startsWithBom(std::string_view cell) const {
    for (const auto& bom : boms) {
        if (startsWith(cell, bom))
            return true;
    }
    return false;
}

bool CellWriter::needsQuotes(std::string_view cell, bool fileStart) const {
    if (never || always)
        return always;
    if (startsWith(cell, keys.quote) || (fileStart && startsWithBom(cell)))
        return true;
    if (width == 1) {
        for (const char ch : cell) {
            if (table[static_cast<unsigned char>(ch)])
                return true;
        }
        return false;
    }
    return hasUnit(cell, keys.saveDelimiter) || hasUnit(cell, keys.cr) || hasUnit(cell, keys.lf) ||
           hasUnit(cell, keys.recordSeparator) || (quoteAnywhere && hasUnit(cell, keys.quote));
}

void CellWriter::appendCell(std::vector<char>& out, std::string_view cell, bool fileStart) const {
    if (!needsQuotes(cell, fileStart)) {
        out.insert(out.end(), cell.begin(), cell.end());
    } else if (width == 1) {
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
    } else {
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
    }
    if (hasDelimiter)
        out.insert(out.end(), keys.saveDelimiter.begin(), keys.saveDelimiter.end());
}

void CellWriter::appendPad(std::vector<char>& out) const {
    if (always)
        out.insert(out.end(), keys.doubledQuote.begin(), keys.doubledQuote.end());
    out.insert(out.end(), keys.saveDelimiter.begin(), keys.saveDelimiter.end());
}

void CellWriter::endCells(std::vector<char>& out, size_t lineStart) const {
    if (hasDelimiter && out.size() >= lineStart + keys.saveDelimiter.size() && out.size() > lineStart)
        out.resize(out.size() - keys.saveDelimiter.size());
}

void CellWriter::appendLineEnding(std::vector<char>& out) const {
    out.insert(out.end(), lineEnding.begin(), lineEnding.end());
}

void CellWriter::dropFinalLineEnding(std::vector<char>& out, size_t lineStart) const {
    if (out.size() > lineStart + lineEnding.size())
        out.resize(out.size() - lineEnding.size());
}
