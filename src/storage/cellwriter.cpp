#include "storage/cellwriter.h"

#include "storage/bytescan.h"
#include "storage/packedrow.h"

#include <atomic>
#include <cstring>

namespace {

std::atomic<int> s_instructionSetForTesting{0};

using ScanKeys = CellWriter::ScanKeys;

// A plain loop over the units, for every width; what the vector scans are held to.
template <int Width>
bool scanPlain(const unsigned char* p, std::size_t blocks, const ScanKeys& keys, std::uint64_t* marks) {
    bool any = false;
    for (std::size_t b = 0; b < blocks; ++b, p += 64) {
        std::uint64_t bits = 0;
        for (int i = 0; i < 64; i += Width) {
            std::uint32_t unit = 0;
            if constexpr (Width == 1) {
                unit = p[i];
            } else if constexpr (Width == 2) {
                std::uint16_t u;
                std::memcpy(&u, p + i, 2);
                unit = u;
            } else {
                std::memcpy(&unit, p + i, 4);
            }
            for (int k = 0; k < keys.count; ++k)
                bits |= std::uint64_t(unit == keys.units[k]) << i;
        }
        any = any || bits;
        if (marks)
            marks[b] = bits;
        else if (bits)
            return true;
    }
    return any;
}

#if defined(ORVANE_BYTESCAN_X86)

// Single bytes through the loader's masks: the delimiter, LF, CR and record separator, and the
// quote when a fifth key asks for it.
bool scanBytesSse2(const unsigned char* p, std::size_t blocks, const ScanKeys& keys, std::uint64_t* marks) {
    const unsigned char delimiter = static_cast<unsigned char>(keys.units[0]);
    const bool quotes = keys.count == 5;
    bool any = false;
    for (std::size_t b = 0; b < blocks; ++b, p += 64) {
        const ByteScan::BlockMasks m = ByteScan::blockMasks(p, delimiter);
        const std::uint64_t bits = m.delimiter | m.lf | m.cr | m.rs | (quotes ? m.quote : 0);
        any = any || bits;
        if (marks)
            marks[b] = bits;
        else if (bits)
            return true;
    }
    return any;
}

__attribute__((target("avx2"))) bool scanBytesAvx2(const unsigned char* p, std::size_t blocks,
                                                   const ScanKeys& keys, std::uint64_t* marks) {
    const ByteScan::Avx2Classifier classify(static_cast<unsigned char>(keys.units[0]));
    const bool quotes = keys.count == 5;
    bool any = false;
    for (std::size_t b = 0; b < blocks; ++b, p += 64) {
        const ByteScan::BlockMasks m = classify(p);
        const std::uint64_t bits = m.delimiter | m.lf | m.cr | m.rs | (quotes ? m.quote : 0);
        any = any || bits;
        if (marks)
            marks[b] = bits;
        else if (bits)
            return true;
    }
    return any;
}

// Units of 2 or 4 bytes: lanes of that width compared with each key; of a hit's mask bits only
// the one at the unit's first byte is kept.
template <int Width>
bool scanUnitsSse2(const unsigned char* p, std::size_t blocks, const ScanKeys& keys, std::uint64_t* marks) {
    __m128i key[5];
    for (int k = 0; k < keys.count; ++k)
        key[k] = Width == 2 ? _mm_set1_epi16(static_cast<short>(keys.units[k]))
                            : _mm_set1_epi32(static_cast<int>(keys.units[k]));
    const std::uint64_t firstBytes = Width == 2 ? 0x5555 : 0x1111;
    bool any = false;
    for (std::size_t b = 0; b < blocks; ++b, p += 64) {
        std::uint64_t bits = 0;
        for (int part = 0; part < 4; ++part) {
            const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 16 * part));
            __m128i hit = _mm_setzero_si128();
            for (int k = 0; k < keys.count; ++k)
                hit = _mm_or_si128(hit, Width == 2 ? _mm_cmpeq_epi16(v, key[k]) : _mm_cmpeq_epi32(v, key[k]));
            bits |=
                (static_cast<std::uint64_t>(static_cast<std::uint16_t>(_mm_movemask_epi8(hit))) & firstBytes)
                << (16 * part);
        }
        any = any || bits;
        if (marks)
            marks[b] = bits;
        else if (bits)
            return true;
    }
    return any;
}

template <int Width>
__attribute__((target("avx2"))) bool scanUnitsAvx2(const unsigned char* p, std::size_t blocks,
                                                   const ScanKeys& keys, std::uint64_t* marks) {
    __m256i key[5];
    for (int k = 0; k < keys.count; ++k)
        key[k] = Width == 2 ? _mm256_set1_epi16(static_cast<short>(keys.units[k]))
                            : _mm256_set1_epi32(static_cast<int>(keys.units[k]));
    const std::uint64_t firstBytes = Width == 2 ? 0x55555555 : 0x11111111;
    bool any = false;
    for (std::size_t b = 0; b < blocks; ++b, p += 64) {
        std::uint64_t bits = 0;
        for (int part = 0; part < 2; ++part) {
            const __m256i v = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p + 32 * part));
            __m256i hit = _mm256_setzero_si256();
            for (int k = 0; k < keys.count; ++k)
                hit = _mm256_or_si256(hit, Width == 2 ? _mm256_cmpeq_epi16(v, key[k])
                                                      : _mm256_cmpeq_epi32(v, key[k]));
            bits |= (static_cast<std::uint64_t>(static_cast<std::uint32_t>(_mm256_movemask_epi8(hit))) &
                     firstBytes)
                    << (32 * part);
        }
        any = any || bits;
        if (marks)
            marks[b] = bits;
        else if (bits)
            return true;
    }
    return any;
}

#endif

CellWriter::ScanFunction chooseScan(std::size_t width, int level) {
#if defined(ORVANE_BYTESCAN_X86)
    const bool avx2 = level == 0 && ByteScan::hasAvx2();
    if (level <= 1) {
        if (width == 1)
            return avx2 ? &scanBytesAvx2 : &scanBytesSse2;
        if (width == 2)
            return avx2 ? &scanUnitsAvx2<2> : &scanUnitsSse2<2>;
        return avx2 ? &scanUnitsAvx2<4> : &scanUnitsSse2<4>;
    }
#else
    (void)level;
#endif
    if (width == 1)
        return &scanPlain<1>;
    if (width == 2)
        return &scanPlain<2>;
    return &scanPlain<4>;
}

// Whether any bit from `begin` up to `end` is set.
bool anyMarked(const std::uint64_t* marks, std::size_t begin, std::size_t end) {
    if (begin >= end)
        return false;
    std::size_t word = begin / 64;
    const std::size_t lastWord = (end - 1) / 64;
    std::uint64_t bits = marks[word] & (~std::uint64_t(0) << (begin % 64));
    while (word < lastWord) {
        if (bits)
            return true;
        bits = marks[++word];
    }
    const unsigned tail = static_cast<unsigned>(end % 64);
    if (tail)
        bits &= (std::uint64_t(1) << tail) - 1;
    return bits != 0;
}

} // namespace

void CellWriter::setInstructionSetForTesting(int level) {
    s_instructionSetForTesting = level;
}

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

    const int level = s_instructionSetForTesting;
    plain = level >= 2;
    scanBlocks = chooseScan(width, level);
    auto addKey = [&](const std::vector<char>& unit) {
        if (unit.size() != width)
            return; // never matches a unit, as hasUnit says
        std::uint32_t value = 0;
        if (width == 1) {
            value = static_cast<unsigned char>(unit[0]);
        } else if (width == 2) {
            std::uint16_t u;
            std::memcpy(&u, unit.data(), 2);
            value = u;
        } else {
            std::memcpy(&value, unit.data(), 4);
        }
        scanKeys.units[scanKeys.count++] = value;
    };
    if (width == 1) {
        // The byte scan takes the delimiter first and knows the other three by heart.
        for (const char k : {delimiter, KeyChars::CR, KeyChars::LF, KeyChars::RecordSeparator})
            scanKeys.units[scanKeys.count++] = static_cast<unsigned char>(k);
        if (quoteAnywhere)
            scanKeys.units[scanKeys.count++] = static_cast<unsigned char>(KeyChars::Quote);
    } else {
        for (const auto* unit : {&keys.saveDelimiter, &keys.cr, &keys.lf, &keys.recordSeparator})
            addKey(*unit);
        if (quoteAnywhere)
            addKey(keys.quote);
    }

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
    if (width == 1 && (plain || cell.size() < 32)) {
        for (const char ch : cell) {
            if (table[static_cast<unsigned char>(ch)])
                return true;
        }
        return false;
    }
    if (!plain) // only whole units count
        return scan(cell.data(), cell.size() - cell.size() % width, nullptr);
    return hasUnit(cell, keys.saveDelimiter) || hasUnit(cell, keys.cr) || hasUnit(cell, keys.lf) ||
           hasUnit(cell, keys.recordSeparator) || (quoteAnywhere && hasUnit(cell, keys.quote));
}

bool CellWriter::scan(const char* p, std::size_t size, std::uint64_t* marks) const {
    const auto* bytes = reinterpret_cast<const unsigned char*>(p);
    const std::size_t whole = size / 64;
    bool any = whole > 0 && scanBlocks(bytes, whole, scanKeys, marks);
    if (any && !marks)
        return true;
    if (const std::size_t rest = size % 64) {
        // The tail through a zeroed block: a zero unit is no key, as a save with a delimiter has none.
        alignas(64) unsigned char block[64] = {};
        std::memcpy(block, bytes + 64 * whole, rest);
        any = scanBlocks(block, 1, scanKeys, marks ? marks + whole : nullptr) || any;
    }
    return any;
}

void CellWriter::appendRowCells(std::vector<char>& out, const PackedRow& row, int from, int to,
                                std::vector<std::uint64_t>& marks) const {
    if (to <= from)
        return;
    if (plain || always) {
        for (int i = from; i < to; ++i)
            appendCell(out, row.cell(i), false);
        return;
    }
    // The row's cells lie back to back: one scan marks what calls for quotes in all of them.
    const std::string_view first = row.cell(from);
    const std::string_view last = row.cell(to - 1);
    const char* const base = first.data();
    const char* const spanEnd = last.data() + last.size();
    const std::size_t span = static_cast<std::size_t>(spanEnd - base);
    bool marked = false;
    if (!never) {
        marks.resize(span / 64 + 1);
        marked = scan(base, span, marks.data());
    }
    const std::size_t delimiterSize = hasDelimiter ? keys.saveDelimiter.size() : 0;
    const char* const delimiter = keys.saveDelimiter.data();
    // A quote at a cell's start calls for quotes too; "RFC 4180" has marked every quote already.
    const bool checkLeadingQuote = !never && !quoteAnywhere;
    std::uint32_t leadingQuoteUnit = static_cast<unsigned char>(KeyChars::Quote);
    if (width > 1 && keys.quote.size() == width)
        std::memcpy(&leadingQuoteUnit, keys.quote.data(), width);
    auto leadingQuote = [&](std::string_view cell) {
        if (cell.size() < width || keys.quote.size() != width)
            return false;
        std::uint32_t unit = 0;
        std::memcpy(&unit, cell.data(), width);
        return unit == leadingQuoteUnit;
    };
    // Plain cells are copied through a pointer into room made for the rest of the row.
    std::size_t at = out.size();
    row.forEachCell(from, to, [&](int i, std::string_view cell) {
        bool quoted = false;
        if (!never) {
            const std::size_t offset = static_cast<std::size_t>(cell.data() - base);
            if (width > 1 && ((offset | cell.size()) % width) != 0)
                quoted = needsQuotes(cell, false); // units out of step with the scan
            else
                quoted = (marked && anyMarked(marks.data(), offset, offset + cell.size())) ||
                         (checkLeadingQuote && leadingQuote(cell));
        }
        if (quoted) {
            out.resize(at);
            appendQuoted(out, cell);
            out.insert(out.end(), delimiter, delimiter + delimiterSize);
            at = out.size();
            return;
        }
        const std::size_t rest = static_cast<std::size_t>(spanEnd - cell.data());
        if (at + cell.size() + delimiterSize > out.size())
            out.resize(at + rest + static_cast<std::size_t>(to - i) * delimiterSize);
        char* w = out.data() + at;
        if (cell.size() <= 16 && rest >= 16) {
            // A short cell in one move of 16 bytes: the row's bytes go on behind it and the room
            // made goes as far; what lands past the cell is overwritten next.
            std::memcpy(w, cell.data(), 16);
        } else {
            std::memcpy(w, cell.data(), cell.size());
        }
        w += cell.size();
        if (delimiterSize == 1)
            *w = *delimiter;
        else
            std::memcpy(w, delimiter, delimiterSize);
        at += cell.size() + delimiterSize;
    });
    out.resize(at);
}

void CellWriter::appendCell(std::vector<char>& out, std::string_view cell, bool fileStart) const {
    if (!needsQuotes(cell, fileStart))
        out.insert(out.end(), cell.begin(), cell.end());
    else
        appendQuoted(out, cell);
    if (hasDelimiter)
        out.insert(out.end(), keys.saveDelimiter.begin(), keys.saveDelimiter.end());
}

void CellWriter::appendQuoted(std::vector<char>& out, std::string_view cell) const {
    if (width == 1) {
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
