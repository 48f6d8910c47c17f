#include "storage/cellwriter.h"

#include "storage/bytescan.h"
#include "storage/packedrow.h"
#include "storage/partbuffer.h"

#include <algorithm>
#include <atomic>
#include <bit>
#include <cstring>
#include <iterator>

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

// The units of 16 bytes that call for quotes, as a mask with the bit of each unit's first byte.
template <int Width> class ChunkScan {
public:
    explicit ChunkScan(const ScanKeys& keys) {
        // A key given twice costs nothing and keeps the loop below of fixed length.
        for (int k = 0; k < 5; ++k) {
            const std::uint32_t unit = keys.units[k < keys.count ? k : 0];
#if defined(__SSE2__)
            key[k] = Width == 1   ? _mm_set1_epi8(static_cast<char>(unit))
                     : Width == 2 ? _mm_set1_epi16(static_cast<short>(unit))
                                  : _mm_set1_epi32(static_cast<int>(unit));
#else
            units[k] = unit;
#endif
        }
    }
    std::uint64_t operator()(const char* p) const {
#if defined(__SSE2__)
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
        __m128i hit = _mm_setzero_si128();
        for (int k = 0; k < 5; ++k)
            hit = _mm_or_si128(hit, Width == 1   ? _mm_cmpeq_epi8(v, key[k])
                                    : Width == 2 ? _mm_cmpeq_epi16(v, key[k])
                                                 : _mm_cmpeq_epi32(v, key[k]));
        const std::uint64_t bits = static_cast<std::uint16_t>(_mm_movemask_epi8(hit));
        return Width == 1 ? bits : bits & (Width == 2 ? 0x5555 : 0x1111);
#else
        std::uint64_t bits = 0;
        for (int i = 0; i < 16; i += Width) {
            std::uint32_t unit = 0;
            std::memcpy(&unit, p + i, Width);
            for (const std::uint32_t key : units)
                bits |= std::uint64_t(unit == key) << i;
        }
        return bits;
#endif
    }

private:
#if defined(__SSE2__)
    __m128i key[5];
#else
    std::uint32_t units[5];
#endif
};

// Marks the units of [p, p + n) that call for quotes in words[0 .. (n + 63) / 64), bit k of
// word w for byte 64 w + k; n is a whole number of units. Returns whether any is marked.
// Nothing is read outside the stretch: a short one goes unit by unit, a longer one in steps of
// 16 bytes, the last step ending at the stretch's end.
template <int Width>
bool markRowSse2(const char* p, std::size_t n, const ScanKeys& keys, std::uint64_t* words) {
    if (n < 16) {
        std::uint64_t bits = 0;
        for (std::size_t i = 0; i < n; i += Width) {
            std::uint32_t unit = 0;
            std::memcpy(&unit, p + i, Width);
            for (int k = 0; k < keys.count; ++k)
                bits |= std::uint64_t(unit == keys.units[k]) << i;
        }
        words[0] = bits;
        return bits != 0;
    }
    const ChunkScan<Width> chunk(keys);
    const std::size_t wordCount = (n + 63) / 64;
    std::uint64_t any = 0;
    std::size_t at = 0;
    for (std::size_t k = 0; k < wordCount; ++k) {
        std::uint64_t word = 0;
        for (unsigned j = 0; j < 64 && at + 16 <= n; j += 16, at += 16)
            word |= chunk(p + at) << j;
        words[k] = word;
        any |= word;
    }
    if (at < n) {
        const std::size_t last = n - 16;
        const std::uint64_t bits = chunk(p + last);
        const unsigned shift = static_cast<unsigned>(last % 64);
        words[last / 64] |= bits << shift;
        if (shift > 48)
            words[last / 64 + 1] |= bits >> (64 - shift);
        any |= bits;
    }
    return any != 0;
}

#if defined(ORVANE_BYTESCAN_X86)

// The same by AVX-512 in steps of 64 bytes; the last step loads only the stretch's bytes.
template <int Width>
__attribute__((target("avx512f,avx512bw,bmi2"))) std::uint64_t markBlockAvx512(__m512i v, const __m512i* key,
                                                                               int count) {
    std::uint64_t hit = 0;
    for (int k = 0; k < count; ++k) {
        if constexpr (Width == 1)
            hit |= _mm512_cmpeq_epi8_mask(v, key[k]);
        else if constexpr (Width == 2)
            hit |= _mm512_cmpeq_epi16_mask(v, key[k]);
        else
            hit |= _mm512_cmpeq_epi32_mask(v, key[k]);
    }
    // A unit's bit goes to its first byte.
    if constexpr (Width == 2)
        return _pdep_u64(hit, 0x5555555555555555ULL);
    else if constexpr (Width == 4)
        return _pdep_u64(hit, 0x1111111111111111ULL);
    else
        return hit;
}

template <int Width>
__attribute__((target("avx512f,avx512bw,bmi2"))) bool
markRowAvx512(const char* p, std::size_t n, const ScanKeys& keys, std::uint64_t* words) {
    __m512i key[5];
    for (int k = 0; k < keys.count; ++k)
        key[k] = Width == 1   ? _mm512_set1_epi8(static_cast<char>(keys.units[k]))
                 : Width == 2 ? _mm512_set1_epi16(static_cast<short>(keys.units[k]))
                              : _mm512_set1_epi32(static_cast<int>(keys.units[k]));
    std::uint64_t any = 0;
    const std::size_t whole = n / 64;
    for (std::size_t k = 0; k < whole; ++k) {
        words[k] = markBlockAvx512<Width>(_mm512_loadu_si512(p + 64 * k), key, keys.count);
        any |= words[k];
    }
    if (const std::size_t rest = n % 64) {
        const __mmask64 load = ~std::uint64_t(0) >> (64 - rest);
        words[whole] = markBlockAvx512<Width>(_mm512_maskz_loadu_epi8(load, p + 64 * whole), key, keys.count);
        any |= words[whole];
    }
    return any != 0;
}

#endif

struct ShortCellMarks {
    std::uint32_t special; // the delimiter and the bytes that end a row
    std::uint32_t quotes;
};

// The marks of 32 bytes of single-byte text, bit k for byte k.
inline ShortCellMarks shortCellMarks(const char* p, char delimiter) {
#if defined(__SSE2__)
    const __m128i quote = _mm_set1_epi8(KeyChars::Quote);
    const __m128i d = _mm_set1_epi8(delimiter);
    const __m128i lf = _mm_set1_epi8(KeyChars::LF);
    const __m128i cr = _mm_set1_epi8(KeyChars::CR);
    const __m128i rs = _mm_set1_epi8(KeyChars::RecordSeparator);
    ShortCellMarks m{0, 0};
    for (int half = 0; half < 2; ++half) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 16 * half));
        const __m128i special = _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi8(v, d), _mm_cmpeq_epi8(v, lf)),
                                             _mm_or_si128(_mm_cmpeq_epi8(v, cr), _mm_cmpeq_epi8(v, rs)));
        m.special |= static_cast<std::uint32_t>(_mm_movemask_epi8(special)) << (16 * half);
        m.quotes |= static_cast<std::uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(v, quote))) << (16 * half);
    }
    return m;
#else
    ShortCellMarks m{0, 0};
    for (int k = 0; k < 32; ++k) {
        const char c = p[k];
        m.special |= std::uint32_t(c == delimiter || c == KeyChars::LF || c == KeyChars::CR ||
                                   c == KeyChars::RecordSeparator)
                     << k;
        m.quotes |= std::uint32_t(c == KeyChars::Quote) << k;
    }
    return m;
#endif
}

// The cell between quotes, each quote in it doubled.
template <int Width> char* copyQuoted(char* w, std::string_view cell, const char* quote) {
    std::memcpy(w, quote, Width);
    w += Width;
    if constexpr (Width == 1) {
        const char* p = cell.data();
        const char* const end = p + cell.size();
        while (p < end) {
            // Up to the next quote and the quote itself, which goes out twice.
            const void* q = std::memchr(p, KeyChars::Quote, static_cast<std::size_t>(end - p));
            const char* const stop = q ? static_cast<const char*>(q) + 1 : end;
            std::memcpy(w, p, static_cast<std::size_t>(stop - p));
            w += stop - p;
            if (q)
                *w++ = KeyChars::Quote;
            p = stop;
        }
    } else {
        for (std::size_t at = 0; at + Width <= cell.size(); at += Width) {
            std::memcpy(w, cell.data() + at, Width);
            w += Width;
            if (std::memcmp(cell.data() + at, quote, Width) == 0) {
                std::memcpy(w, quote, Width);
                w += Width;
            }
        }
    }
    std::memcpy(w, quote, Width);
    return w + Width;
}

CellWriter::RowScanFunction chooseRowScan(std::size_t width, int level) {
#if defined(ORVANE_BYTESCAN_X86)
    if (level == 0 && ByteScan::hasAvx512())
        return width == 1 ? &markRowAvx512<1> : width == 2 ? &markRowAvx512<2> : &markRowAvx512<4>;
#else
    (void)level;
#endif
    return width == 1 ? &markRowSse2<1> : width == 2 ? &markRowSse2<2> : &markRowSse2<4>;
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
    scanRow = chooseRowScan(width, level);
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

    // The row scan marks every quote as well; the cells it marks are then looked at closely.
    rowScanKeys = scanKeys;
    if (!quoteAnywhere && rowScanKeys.count < 5) {
        if (width == 1)
            rowScanKeys.units[rowScanKeys.count++] = static_cast<unsigned char>(KeyChars::Quote);
        else if (keys.quote.size() == width)
            std::memcpy(&rowScanKeys.units[rowScanKeys.count++], keys.quote.data(), width);
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

    std::memcpy(lineEndingBytes, lineEnding.data(), std::min(lineEnding.size(), sizeof lineEndingBytes));

    if (keys.quote.size() == width)
        std::memcpy(&quoteUnit, keys.quote.data(), width);
    if (keys.saveDelimiter.size() == width)
        std::memcpy(&delimiterUnit, keys.saveDelimiter.data(), width);
    rowPass = level == 0 && rowPassAvailable() && hasDelimiter && keys.saveDelimiter.size() == width &&
              keys.quote.size() == width && lineEnding.size() <= sizeof lineEndingBytes &&
              (never || scanKeys.count > 0);

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
        out.insert(out.end(), keys.quote.begin(), keys.quote.end());
        // Bytes short of a unit are a character that the file cut short behind the cell: they go
        // back behind the closing quote, where the load found them.
        out.insert(out.end(), cell.begin() + static_cast<std::ptrdiff_t>(pos), cell.end());
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

bool CellWriter::appendRowLine(PartBuffer& out, const PackedRow& row, int count, int pads,
                               std::vector<std::uint64_t>& marks) const {
    if (plain || !hasDelimiter || keys.saveDelimiter.size() != width || keys.quote.size() != width ||
        lineEnding.size() > sizeof lineEndingBytes)
        return false;
    if (width == 1)
        return appendRowLineAs<1>(out, row, count, pads, marks);
    if (width == 2)
        return appendRowLineAs<2>(out, row, count, pads, marks);
    return width == 4 && appendRowLineAs<4>(out, row, count, pads, marks);
}

template <int Width>
bool CellWriter::appendRowLineAs(PartBuffer& out, const PackedRow& row, int count, int pads,
                                 std::vector<std::uint64_t>& marks) const {
    const char* base = nullptr;
    std::size_t span = 0;
    if (count > 0) {
        const std::string_view last = row.cell(count - 1);
        base = row.cell(0).data();
        span = static_cast<std::size_t>(last.data() + last.size() - base);
    }
    if (!never && span % Width != 0)
        return false;
    // A short cell goes in one move of 32 bytes, and a line ending as 8 bytes: what lands past
    // the end is overwritten next, and the room has that much to spare.
    constexpr std::size_t kMove = 32;
    const std::size_t padSize = (always ? 3 : 1) * std::size_t(Width);
    char* const start = out.room(2 * span + static_cast<std::size_t>(count) * 3 * Width +
                                 static_cast<std::size_t>(pads) * padSize + kMove);
    char* w = start;

    // The units that may call for quotes: those that always do and every quote, for a quote
    // counts at a cell's start under every standard that quotes. A cell with one is looked at
    // closely; the others are copied as they are.
    static constexpr std::size_t kNone = ~std::size_t(0);
    std::size_t nextMark = kNone;
    std::uint64_t local[6];
    std::uint64_t* words = local;
    std::size_t wordCount = 0;
    if (!never && !always && span > 0) {
        wordCount = (span + 63) / 64;
        if (wordCount > std::size(local)) {
            if (marks.size() < wordCount)
                marks.resize(wordCount);
            words = marks.data();
        }
        if (scanRow(base, span, rowScanKeys, words)) {
            std::size_t k = 0;
            while (!words[k])
                ++k;
            nextMark = 64 * k + static_cast<std::size_t>(std::countr_zero(words[k]));
        }
    }
    // The first mark at or behind `from`.
    auto markFrom = [words, wordCount](std::size_t from) {
        std::size_t k = from / 64;
        if (k >= wordCount)
            return kNone;
        std::uint64_t bits = words[k] & (~std::uint64_t(0) << (from % 64));
        while (!bits) {
            if (++k >= wordCount)
                return kNone;
            bits = words[k];
        }
        return 64 * k + static_cast<std::size_t>(std::countr_zero(bits));
    };
    // The row's last 32 bytes, with room behind them: a cell that starts less than 32 bytes
    // before the row's end is moved from here, so that no move reads past the row.
    alignas(16) char tail[2 * kMove] = {};
    if (span >= kMove)
        std::memcpy(tail, base + span - kMove, kMove);
    else if (span > 0)
        std::memcpy(tail + kMove - span, base, span);
    std::uint32_t delimiterUnit = 0; // by value: behind a pointer it is read after every store
    std::memcpy(&delimiterUnit, keys.saveDelimiter.data(), Width);
    // Cells shorter than this may take the common path: none where every cell is quoted.
    const std::size_t copyBelow = always ? 0 : kMove + 1;

    // The cells' ends are fetched a batch at a time and the cells written in a plain loop: a
    // large lambda in the row's walk keeps the walk from being inlined, and then every pointer
    // the lambda holds by reference lives in memory.
    constexpr int kBatch = 64;
    std::size_t ends[kBatch];
    std::size_t begin = 0;
    for (int from = 0; from < count; from += kBatch) {
        const int to = std::min(count, from + kBatch);
        row.forEachCell(from, to, [&](int i, std::string_view cell) {
            ends[i - from] = static_cast<std::size_t>(cell.data() + cell.size() - base);
        });
        for (int i = 0; i < to - from; ++i) {
            const std::size_t end = ends[i];
            const std::size_t size = end - begin;
            // The common cell: nothing that may call for quotes, whole units, at most 32 bytes.
            if (end <= nextMark && size < copyBelow && (Width == 1 || size % Width == 0)) [[likely]] {
                const std::size_t reach = span - begin;
                std::memcpy(w, reach >= kMove ? base + begin : tail + kMove - reach, kMove);
                w += size;
            } else if (Width == 1 && size < copyBelow) {
                // A short marked cell: its quotes and the bytes that call for quotes, from one
                // look at its 32 bytes.
                const std::size_t reach = span - begin;
                const char* const window = reach >= kMove ? base + begin : tail + kMove - reach;
                const std::uint32_t inCell = static_cast<std::uint32_t>((std::uint64_t(1) << size) - 1);
                const ShortCellMarks found = shortCellMarks(window, static_cast<char>(delimiterUnit));
                const std::uint32_t quotes = found.quotes & inCell;
                const bool quoted =
                    ((found.special | (quoteAnywhere ? quotes : 0)) & inCell) != 0 || (quotes & 1);
                if (quoted)
                    *w++ = KeyChars::Quote;
                if (!quoted || !quotes) {
                    std::memcpy(w, window, kMove);
                    w += size;
                } else {
                    // Each quote goes out twice.
                    std::size_t from = 0;
                    for (std::uint32_t left = quotes; left; left &= left - 1) {
                        const std::size_t at = static_cast<std::size_t>(std::countr_zero(left)) + 1;
                        std::memcpy(w, window + from, at - from);
                        w += at - from;
                        *w++ = KeyChars::Quote;
                        from = at;
                    }
                    std::memcpy(w, window + from, size - from);
                    w += size - from;
                }
                if (quoted)
                    *w++ = KeyChars::Quote;
                if (end > nextMark)
                    nextMark = markFrom(end);
            } else {
                const std::string_view cell(base + begin, size);
                if (!never && size % Width != 0)
                    return false; // units out of step with the scan: the caller goes cell by cell
                if (end > nextMark)
                    nextMark = markFrom(end);
                if (needsQuotes(cell, false)) {
                    w = copyQuoted<Width>(w, cell, keys.quote.data());
                } else {
                    std::memcpy(w, cell.data(), size);
                    w += size;
                }
            }
            std::memcpy(w, &delimiterUnit, Width);
            w += Width;
            begin = end;
        }
    }
    for (int i = 0; i < pads; ++i) {
        if (always) {
            std::memcpy(w, keys.quote.data(), Width);
            std::memcpy(w + Width, keys.quote.data(), Width);
            w += 2 * Width;
        }
        std::memcpy(w, &delimiterUnit, Width);
        w += Width;
    }
    if (w - start >= Width)
        w -= Width; // the delimiter behind the last cell
    std::memcpy(w, lineEndingBytes, sizeof lineEndingBytes);
    w += lineEnding.size();
    out.setEnd(w);
    return true;
}
