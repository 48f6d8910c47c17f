// CellWriter::appendRowLines: the lines of many stored rows in one pass by AVX-512. The keys of
// the scan stay in vector registers from row to row; a row's bytes are scanned in steps of 64
// for the units that may call for quotes, and a cell without one goes out in one move (see
// moveUpTo64). Only a marked cell is looked at closely.
#include "storage/cellwriter.h"

#include "storage/bytescan.h"
#include "storage/packedrow.h"
#include "storage/partbuffer.h"
#include "storage/rowlineshape.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace {

// Rows taken by the pass: longer ones go the cell by cell way, whose scratch grows.
constexpr std::size_t kMaxRowBytes = 4096;
constexpr std::size_t kWords = kMaxRowBytes / 64;
constexpr std::size_t kNone = ~std::size_t(0);

struct RowKeys {
    std::uint32_t special[5]; // the units that call for quotes anywhere in a cell
    int specialCount;
    std::uint32_t quote;
    std::uint32_t delimiter;
    bool never;
    bool always;
    char lineEnding[8];
    std::size_t lineEndingSize;
    // Single bytes whose keys differ in their low six bits: one table lookup finds them all.
    bool lookup;
    unsigned char table[64];
};

#if defined(ORVANE_BYTESCAN_X86)

// Whether any bit from `begin` up to `end` is set, 64 a word.
inline bool anyIn(const std::uint64_t* words, std::size_t begin, std::size_t end) {
    if (begin >= end)
        return false;
    std::size_t word = begin / 64;
    const std::size_t last = (end - 1) / 64;
    std::uint64_t bits = words[word] & (~std::uint64_t(0) << (begin % 64));
    while (word < last) {
        if (bits)
            return true;
        bits = words[++word];
    }
    if (const unsigned tail = static_cast<unsigned>(end % 64))
        bits &= (std::uint64_t(1) << tail) - 1;
    return bits != 0;
}

// The first set bit at or behind `from` of either mask, or kNone.
inline std::size_t markFrom(const std::uint64_t* a, const std::uint64_t* b, std::size_t words,
                            std::size_t from) {
    std::size_t k = from / 64;
    if (k >= words)
        return kNone;
    std::uint64_t bits = (a[k] | b[k]) & (~std::uint64_t(0) << (from % 64));
    while (!bits) {
        if (++k >= words)
            return kNone;
        bits = a[k] | b[k];
    }
    return 64 * k + static_cast<std::size_t>(std::countr_zero(bits));
}

#define ORVANE_ROWS_TARGET                                                                                   \
    __attribute__((target("avx512f,avx512bw,avx512vl,avx512vbmi,bmi,bmi2,popcnt,lzcnt")))

template <int Width> ORVANE_ROWS_TARGET inline __m512i broadcast(std::uint32_t unit) {
    if constexpr (Width == 1)
        return _mm512_set1_epi8(static_cast<char>(unit));
    else if constexpr (Width == 2)
        return _mm512_set1_epi16(static_cast<short>(unit));
    else
        return _mm512_set1_epi32(static_cast<int>(unit));
}

// The units of v equal to key, as a mask with the bit of each unit's first byte.
template <int Width> ORVANE_ROWS_TARGET inline std::uint64_t equal(__m512i v, __m512i key) {
    if constexpr (Width == 1)
        return _mm512_cmpeq_epi8_mask(v, key);
    else if constexpr (Width == 2)
        return _pdep_u64(_mm512_cmpeq_epi16_mask(v, key), 0x5555555555555555ULL);
    else
        return _pdep_u64(_mm512_cmpeq_epi32_mask(v, key), 0x1111111111111111ULL);
}

// The first n bytes at p, at most 64, nothing read past them; zeros behind. (The mask's
// length is cut at 64 first: bzhi takes it modulo 256.)
ORVANE_ROWS_TARGET inline __m512i loadUpTo(const char* p, std::size_t n) {
    return _mm512_maskz_loadu_epi8(
        _bzhi_u64(~std::uint64_t(0), static_cast<unsigned>(std::min<std::size_t>(n, 64))), p);
}

// GCC says a sanitizer is on by a macro, clang (before 16) only through __has_feature.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define ORVANE_ROWS_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define ORVANE_ROWS_SANITIZED 1
#endif
#endif

// `n` bytes, at most 64, from p to w in one move; up to 64 bytes at w are written. A short one
// goes in 16: a store of 64 bytes costs more than the cell it carries.
ORVANE_ROWS_TARGET inline void moveUpTo64(char* w, const char* p, std::size_t n) {
    if (n <= 16) [[likely]] {
#if !defined(ORVANE_ROWS_SANITIZED)
        // 16 bytes that stay in the page of the first can be read whole: what lies past the
        // cell is overwritten next. (The sanitizers would take the bytes past the cell, which
        // may belong to a freed block, for a use after free.)
        if ((reinterpret_cast<std::uintptr_t>(p) & 4095) <= 4096 - 16) [[likely]] {
            _mm_storeu_si128(reinterpret_cast<__m128i*>(w),
                             _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)));
            return;
        }
#endif
        _mm_storeu_si128(
            reinterpret_cast<__m128i*>(w),
            _mm_maskz_loadu_epi8(static_cast<__mmask16>(_bzhi_u32(0xFFFF, static_cast<unsigned>(n))), p));
    } else {
        _mm512_storeu_si512(w, loadUpTo(p, n));
    }
}

__extension__ typedef unsigned __int128 Pair;

// 64 bits of the marks from bit `at` on, of which the first `length` (at most 64) count.
ORVANE_ROWS_TARGET inline std::uint64_t window(const std::uint64_t* words, std::size_t at,
                                               std::size_t length) {
    const std::size_t k = at / 64;
    const Pair pair = (Pair(words[k + 1]) << 64) | words[k];
    return _bzhi_u64(static_cast<std::uint64_t>(pair >> (at % 64)), static_cast<unsigned>(length));
}

// The cell [at, at + size) of a row, at most 64 bytes, between quotes and with each quote in
// it doubled; `quoteBits` marks its quotes from bit 0.
template <int Width>
ORVANE_ROWS_TARGET inline char* copyDoubled(char* w, const char* cell, std::size_t size,
                                            std::uint64_t quoteBits, const char* quote) {
    std::memcpy(w, quote, Width);
    w += Width;
    std::size_t from = 0;
    for (; quoteBits; quoteBits &= quoteBits - 1) {
        const std::size_t to = static_cast<std::size_t>(std::countr_zero(quoteBits)) + Width;
        _mm512_storeu_si512(w, loadUpTo(cell + from, to - from));
        w += to - from;
        std::memcpy(w, quote, Width);
        w += Width;
        from = to;
    }
    _mm512_storeu_si512(w, loadUpTo(cell + from, size - from));
    w += size - from;
    std::memcpy(w, quote, Width);
    return w + Width;
}

// A rare cell of more than 64 bytes, by the marks of the whole row.
template <int Width>
char* copyLong(char* w, const char* base, std::size_t begin, std::size_t end, const std::uint64_t* special,
               const std::uint64_t* quotes, const RowKeys& k) {
    const char* const quote = reinterpret_cast<const char*>(&k.quote);
    const bool quoted =
        k.always || (!k.never && (anyIn(special, begin, end) || (quotes[begin / 64] >> (begin % 64)) & 1));
    if (quoted) {
        std::memcpy(w, quote, Width);
        w += Width;
    }
    std::size_t from = begin;
    if (quoted && !k.never) {
        for (std::size_t word = begin / 64; word * 64 < end; ++word) {
            std::uint64_t bits = quotes[word];
            if (word == begin / 64)
                bits &= ~std::uint64_t(0) << (begin % 64);
            for (; bits; bits &= bits - 1) {
                const std::size_t at = 64 * word + static_cast<std::size_t>(std::countr_zero(bits));
                if (at >= end)
                    break;
                std::memcpy(w, base + from, at + Width - from);
                w += at + Width - from;
                std::memcpy(w, quote, Width);
                w += Width;
                from = at + Width;
            }
        }
    }
    std::memcpy(w, base + from, end - from);
    w += end - from;
    if (quoted) {
        std::memcpy(w, quote, Width);
        w += Width;
    }
    return w;
}

// The keys of the scan in vector registers, made once for many rows.
struct VectorKeys {
    __m512i table;
    __m512i special[5];
    __m512i quote;
    __m512i delimiters;
};

// The units of `bytes` that call for quotes anywhere, as a mask of their first bytes.
template <int Width>
[[gnu::always_inline]] ORVANE_ROWS_TARGET inline std::uint64_t specials(__m512i bytes, const VectorKeys& v,
                                                                        const RowKeys& k) {
    if constexpr (Width == 1) {
        if (k.lookup) [[likely]]
            return _mm512_cmpeq_epi8_mask(_mm512_maskz_permutexvar_epi8(~std::uint64_t(0), bytes, v.table),
                                          bytes);
    }
    std::uint64_t s = 0;
    for (int i = 0; i < 5; ++i)
        s |= equal<Width>(bytes, v.special[i]);
    return s;
}

// The line of one row of `count` cells ending at e[0 .. count) bytes from `base`, then `pads`
// absent cells; false, with nothing written, for a row the pass doesn't take. Cells go out by
// one move each; only a cell with a mark from the scan, of which most rows have one or none,
// takes a branch of its own. The walk reads the row's offsets itself: one loop a row, as a
// loop's exit costs a guess of the branch predictor that often fails.
template <int Width, class Offset>
[[gnu::always_inline]] ORVANE_ROWS_TARGET inline bool rowLine(PartBuffer& out, const char* base,
                                                              const Offset* e, int count, int pads,
                                                              const VectorKeys& v, const RowKeys& k) {
    const std::size_t span = count > 0 ? static_cast<std::size_t>(e[count - 1]) : 0;
    if (span > kMaxRowBytes)
        return false;
    if constexpr (Width > 1) {
        // A cell that isn't whole units is out of step with the scan: the row goes cell by cell.
        std::size_t uneven = 0;
        for (int i = 0; i < count; ++i)
            uneven |= static_cast<std::size_t>(e[i]);
        if (uneven & (Width - 1))
            return false;
    }

    // The units that call for quotes, and the quotes, with two zero words behind for the
    // windows; a quote counts at a cell's start.
    std::uint64_t special[kWords + 2];
    std::uint64_t quotes[kWords + 2];
    // Two words at least: most rows take one or two, and a loop whose count changes from row
    // to row is a guess of the branch predictor that often fails.
    const std::size_t words = std::max<std::size_t>(2, (span + 63) / 64);
    if (!k.never) [[likely]] {
        for (std::size_t at = 0; at < 2; ++at) {
            const __m512i bytes = loadUpTo(base + 64 * at, span - std::min(span, 64 * at));
            special[at] = specials<Width>(bytes, v, k);
            quotes[at] = equal<Width>(bytes, v.quote);
        }
        for (std::size_t at = 2; at < words; ++at) {
            const __m512i bytes = loadUpTo(base + 64 * at, span - std::min(span, 64 * at));
            special[at] = specials<Width>(bytes, v, k);
            quotes[at] = equal<Width>(bytes, v.quote);
        }
    } else {
        std::memset(special, 0, words * sizeof(std::uint64_t));
        std::memset(quotes, 0, words * sizeof(std::uint64_t));
    }
    special[words] = special[words + 1] = quotes[words] = quotes[words + 1] = 0;

    const std::size_t padSize = (k.always ? 3 : 1) * std::size_t(Width);
    char* const start = out.room(2 * span + std::size_t(count) * 3 * Width + std::size_t(pads) * padSize +
                                 128 + sizeof k.lineEnding);
    char* w = start;
    const std::uint32_t quoteUnit = k.quote; // by value: behind a pointer it is read after every store
    const std::uint32_t delimiter = k.delimiter;
    const std::size_t always = k.always ? Width : 0;
    std::size_t begin = 0;
    const std::uint64_t first = special[0] | quotes[0];
    std::size_t nextMark = k.always ? 0
                           : first  ? static_cast<std::size_t>(std::countr_zero(first))
                                    : markFrom(special, quotes, words, 64);
    for (int i = 0; i < count; ++i) {
        const std::size_t end = static_cast<std::size_t>(e[i]);
        const std::size_t size = end - begin;
        if (end <= nextMark && size <= 64 && !k.always) [[likely]] {
            moveUpTo64(w, base + begin, size);
            w += size;
        } else if (size <= 64) {
            const std::uint64_t marks = window(special, begin, size);
            const std::uint64_t quoteBits = window(quotes, begin, size);
            // Quoted: under "All Quotes", or with a unit that calls for quotes, or a quote first.
            const std::size_t quoted = always | ((marks != 0) | (quoteBits & 1) ? Width : 0);
            if (quoted && quoteBits) {
                w = copyDoubled<Width>(w, base + begin, size, quoteBits,
                                       reinterpret_cast<const char*>(&k.quote));
            } else {
                std::memcpy(w, &quoteUnit, Width);
                w += quoted;
                moveUpTo64(w, base + begin, size);
                w += size;
                std::memcpy(w, &quoteUnit, Width);
                w += quoted;
            }
            nextMark = k.always ? 0 : markFrom(special, quotes, words, end);
        } else {
            w = copyLong<Width>(w, base, begin, end, special, quotes, k);
            nextMark = k.always ? 0 : markFrom(special, quotes, words, end);
        }
        std::memcpy(w, &delimiter, Width);
        w += Width;
        begin = end;
    }
    if (!k.always && std::size_t(pads) * Width <= 64) [[likely]] {
        _mm512_storeu_si512(w, v.delimiters);
        w += std::size_t(pads) * Width;
    } else {
        for (int i = 0; i < pads; ++i) {
            if (k.always) {
                std::memcpy(w, &quoteUnit, Width);
                std::memcpy(w + Width, &quoteUnit, Width);
                w += 2 * Width;
            }
            std::memcpy(w, &delimiter, Width);
            w += Width;
        }
    }
    w -= w - start >= Width ? Width : 0; // the delimiter behind the last cell
    std::memcpy(w, k.lineEnding, sizeof k.lineEnding);
    out.setEnd(w + k.lineEndingSize);
    return true;
}

template <int Width>
ORVANE_ROWS_TARGET int rowLinesAs(PartBuffer& out, const PackedRow* rows, int n, const RowLineShape& shape,
                                  const RowKeys& k) {
    VectorKeys v;
    v.table = _mm512_loadu_si512(k.table);
    for (int i = 0; i < 5; ++i)
        v.special[i] = broadcast<Width>(k.special[i < k.specialCount ? i : 0]);
    v.quote = broadcast<Width>(k.quote);
    v.delimiters = broadcast<Width>(k.delimiter);
    for (int r = 0; r < n; ++r) {
        const PackedRow& row = rows[r];
        int count = 0;
        int pads = 0;
        shape.pick(row, count, pads);
        const PackedRow::Layout layout = row.layout();
        bool taken = false;
        switch (layout.offsetSize) {
        case 1:
            taken = rowLine<Width>(out, layout.bytes, static_cast<const std::uint8_t*>(layout.ends), count,
                                   pads, v, k);
            break;
        case 2:
            taken = rowLine<Width>(out, layout.bytes, static_cast<const std::uint16_t*>(layout.ends), count,
                                   pads, v, k);
            break;
        default:
            break; // rows of more than 64 KiB
        }
        if (!taken)
            return r;
    }
    return n;
}

#undef ORVANE_ROWS_TARGET

#endif

} // namespace

bool CellWriter::rowPassAvailable() {
#if defined(ORVANE_BYTESCAN_X86)
    static const bool has =
        ByteScan::hasAvx512() && __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("avx512vbmi");
    return has;
#else
    return false;
#endif
}

int CellWriter::appendRowLines(PartBuffer& out, const PackedRow* rows, int n,
                               const RowLineShape& shape) const {
#if defined(ORVANE_BYTESCAN_X86)
    if (!rowPass || n <= 0)
        return 0;
    RowKeys k{};
    for (int i = 0; i < scanKeys.count; ++i)
        k.special[i] = scanKeys.units[i];
    k.specialCount = scanKeys.count;
    k.quote = quoteUnit;
    k.delimiter = delimiterUnit;
    k.never = never;
    k.always = always;
    std::memcpy(k.lineEnding, lineEndingBytes, sizeof k.lineEnding);
    k.lineEndingSize = lineEnding.size();
    // Each entry not a key holds a byte that its index can't match.
    for (int i = 0; i < 64; ++i)
        k.table[i] = static_cast<unsigned char>((i + 1) & 63);
    k.lookup = width == 1;
    for (int i = 0; i < k.specialCount; ++i) {
        const unsigned char key = static_cast<unsigned char>(k.special[i]);
        const int slot = key & 63;
        if (k.table[slot] != key && (k.table[slot] & 63) == slot)
            k.lookup = false; // two keys in one slot
        k.table[slot] = key;
    }
    if (width == 1)
        return rowLinesAs<1>(out, rows, n, shape, k);
    if (width == 2)
        return rowLinesAs<2>(out, rows, n, shape, k);
    return rowLinesAs<4>(out, rows, n, shape, k);
#else
    (void)out;
    (void)rows;
    (void)n;
    (void)shape;
    return 0;
#endif
}
