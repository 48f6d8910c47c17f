#pragma once

// The text machines of the read-only container: the index passes and the strip reader run the
// same ones, so that both agree on every cell. Private to the container's files.

#include "storage/readonlydatacontainer.h"

#include "storage/bytescan.h"
#include "storage/piecereader.h"

#include <algorithm>
#include <atomic>
#include <bit>
#include <climits>
#include <cstdint>
#include <cstring>
#include <memory>

namespace ReadOnlyScan {

inline std::atomic<qint64> s_pieceSizeForTesting{0};
inline std::atomic<int> s_instructionSetForTesting{0};

// The index passes report once per threshold size of the file.
constexpr qint64 kIndexProgressStep = AbstractDataContainer::kProgressThreshold;
static_assert(AbstractDataContainer::kReadPieceSize <= AbstractDataContainer::kMaxPieceSize &&
              AbstractDataContainer::kReadPieceSize % 4 == 0);
// Reads of neighbouring strips are merged while the gap between them stays below this, and a
// merged read never grows past the second limit.
constexpr qint64 kMergeGapBytes = 65536;
constexpr qint64 kMaxMergedReadBytes = 8 * 1024 * 1024;
// Slack behind every scanned buffer: the byte scanner loads whole 64-byte blocks.
constexpr qint64 kScanSlack = 128;

// States of the delimited-text machine. Cell and row starts happen only when a character is
// there to start them, exactly as in the loader, so both agree on every count.
enum class ScanState : quint8 { RowStart, CellStart, Plain, Quoted, AfterQuote, AfterCr };

// Units of one byte. Ordinary bytes are skipped 64 at a time: a block's delimiter and terminator
// positions come out of SIMD compares as one bit mask, and the machine only stops on those.
struct ByteUnits {
    using Unit = unsigned char;

    explicit ByteUnits(int delim, bool quoting) : delimiter(delim) {
        std::memset(classes, 0, sizeof(classes));
        classes[10] = classes[13] = classes[30] = kTerm;
        if (quoting && delim != '"')
            classes[static_cast<unsigned char>('"')] = kQuote;
        if (delim >= 0)
            classes[delim] = kDelim; // the delimiter wins over every other meaning
        compareDelimiter = delim >= 0 ? static_cast<char>(delim) : '\n';
    }

    void attach(const char* data, qint64 units) {
        buf = reinterpret_cast<const unsigned char*>(data);
        n = units;
        blockStart = -1;
        blockMask = 0;
    }

    Unit unit(qint64 i) const { return buf[i]; }
    bool isDelim(Unit u) const { return classes[u] == kDelim; }
    bool isTerm(Unit u) const { return classes[u] == kTerm; }
    bool isQuote(Unit u) const { return classes[u] == kQuote; }
    bool isOrdinary(Unit u) const { return classes[u] == 0; }
    static bool isCr(Unit u) { return u == 13; }
    static bool isLf(Unit u) { return u == 10; }

    // First delimiter or terminator at or after i, or n.
    qint64 findDelimOrTerm(qint64 i) {
        for (;;) {
            if (i >= n)
                return n;
            const qint64 block = i & ~qint64(63);
            if (block != blockStart) {
                blockStart = block;
                blockMask = computeMask<false>(block);
            }
            const std::uint64_t m = blockMask & (~std::uint64_t(0) << (i - block));
            if (m) {
                const qint64 j = block + std::countr_zero(m);
                return j < n ? j : n;
            }
            i = block + 64;
        }
    }

    qint64 findQuote(qint64 i) const {
        if (i >= n)
            return n;
        const void* hit = std::memchr(buf + i, '"', static_cast<size_t>(n - i));
        return hit ? static_cast<const unsigned char*>(hit) - buf : n;
    }

public:
    unsigned char scanDelimiter() const { return static_cast<unsigned char>(compareDelimiter); }
    bool hasDelimiter() const { return delimiter >= 0; }

    // Bit k set where byte block + k is a delimiter or terminator (and, with quotes on, a quote).
    template <bool WithQuotes> std::uint64_t computeMask(qint64 block) const {
        std::uint64_t mask = 0;
#if defined(__SSE2__)
        const __m128i d = _mm_set1_epi8(compareDelimiter);
        const __m128i lf = _mm_set1_epi8(10);
        const __m128i cr = _mm_set1_epi8(13);
        const __m128i rs = _mm_set1_epi8(30);
        for (int k = 0; k < 4; ++k) {
            const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(buf + block + 16 * k));
            __m128i hit = _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi8(v, d), _mm_cmpeq_epi8(v, lf)),
                                       _mm_or_si128(_mm_cmpeq_epi8(v, cr), _mm_cmpeq_epi8(v, rs)));
            if constexpr (WithQuotes)
                hit = _mm_or_si128(hit, _mm_cmpeq_epi8(v, _mm_set1_epi8('"')));
            mask |= std::uint64_t(static_cast<quint16>(_mm_movemask_epi8(hit))) << (16 * k);
        }
#else
        for (int k = 0; k < 64; ++k) {
            const unsigned char c = buf[block + k];
            if (classes[c] == kDelim || classes[c] == kTerm || (WithQuotes && classes[c] == kQuote))
                mask |= std::uint64_t(1) << k;
        }
#endif
        if (block + 64 > n)
            mask &= (std::uint64_t(1) << (n - block)) - 1;
        return mask;
    }

public:
    static constexpr quint8 kDelim = 1, kTerm = 2, kQuote = 3;
    quint8 classes[256];

private:
    int delimiter;
    char compareDelimiter;
    const unsigned char* buf = nullptr;
    qint64 n = 0;
    qint64 blockStart = -1;
    std::uint64_t blockMask = 0;
};

// Units of 2 or 4 bytes, compared whole with the key sequences of the encoding.
template <class U> struct WideUnits {
    using Unit = U;

    WideUnits(const AbstractDataContainer::KeyCharVecs& keys, bool withDelimiter, bool quoting) {
        delim = load(keys.delimiter);
        hasDelim = withDelimiter;
        cr = load(keys.cr);
        lf = load(keys.lf);
        rs = load(keys.recordSeparator);
        quote = load(keys.quote);
        quoteOn = quoting && !(hasDelim && delim == quote);
    }

    void attach(const char* data, qint64 units) {
        buf = data;
        n = units;
    }

    Unit unit(qint64 i) const {
        U u;
        std::memcpy(&u, buf + i * sizeof(U), sizeof(U));
        return u;
    }
    bool isDelim(Unit u) const { return hasDelim && u == delim; }
    bool isTerm(Unit u) const { return !isDelim(u) && (u == lf || u == cr || u == rs); }
    bool isQuote(Unit u) const { return quoteOn && u == quote && !isDelim(u); }
    bool isOrdinary(Unit u) const { return !isDelim(u) && !isTerm(u) && !isQuote(u); }
    bool isCr(Unit u) const { return u == cr; }
    bool isLf(Unit u) const { return u == lf; }

    qint64 findDelimOrTerm(qint64 i) const {
        for (; i < n; ++i) {
            const U u = unit(i);
            if ((hasDelim && u == delim) || u == lf || u == cr || u == rs)
                return i;
        }
        return n;
    }
    qint64 findQuote(qint64 i) const {
        for (; i < n; ++i) {
            if (unit(i) == quote)
                return i;
        }
        return n;
    }

    static U load(const std::vector<char>& seq) {
        U u = 0;
        std::memcpy(&u, seq.data(), std::min<size_t>(seq.size(), sizeof(U)));
        return u;
    }

    U delim = 0, cr = 0, lf = 0, rs = 0, quote = 0;
    bool hasDelim = true;
    bool quoteOn = true;
    const char* buf = nullptr;
    qint64 n = 0;
};

// The index passes over one-byte text. The same machine as scanUnits, driven by the positions
// of delimiters, terminators and quotes only: ordinary bytes are never looked at one by one.
// A quote counts only where a cell starts; inside quotes only quotes count. Lookahead past the
// piece's end (a closing quote, a CR) waits for the next piece.
struct FastState {
    qint64 cellStart = 0; // where the current cell started (global)
    bool inQuotes = false;
    bool pendingAfterQuote = false;
    bool pendingAfterCr = false;
};

enum class Isa { Baseline, Avx2, Avx512 };

// The block masks of one instruction set, with whatever it sets up once per scan.
template <Isa I> struct Classifier {
    explicit Classifier(unsigned char d) : delimiter(d) {}
    [[gnu::always_inline]] ByteScan::BlockMasks operator()(const unsigned char* p) const {
#if defined(ORVANE_BYTESCAN_X86)
        if constexpr (I == Isa::Avx512)
            return ByteScan::blockMasksAvx512(p, delimiter);
#endif
        return ByteScan::blockMasks(p, delimiter);
    }
    unsigned char delimiter;
};

#if defined(ORVANE_BYTESCAN_X86)
template <> struct Classifier<Isa::Avx2> : ByteScan::Avx2Classifier {
    using ByteScan::Avx2Classifier::Avx2Classifier;
};
#endif

// One block by its events: each delimiter, terminator and quote in turn, from `resume` on. Kept
// out of line, away from the mask loop and its registers.
template <bool WithQuotes, class Sink>
[[gnu::noinline]] bool eventBlock(const ByteUnits& t, const unsigned char* buf, qint64 n, qint64 base,
                                  bool final, qint64 b, qint64& resume, FastState& st, Sink& k) {
    const quint8* cls = t.classes;
    const qint64 limit = final ? n : n + 1; // a position below it holds a character
    std::uint64_t m = t.computeMask<WithQuotes>(b);
    if (resume > b)
        m &= ~std::uint64_t(0) << (resume - b);
    while (m) {
        const qint64 p = b + std::countr_zero(m);
        m &= m - 1;
        const quint8 kind = cls[buf[p]];
        if (WithQuotes && st.inQuotes) {
            if (kind != ByteUnits::kQuote)
                continue;
            if (p + 1 >= n) {
                st.pendingAfterQuote = !final;
                continue;
            }
            if (cls[buf[p + 1]] == ByteUnits::kQuote) {
                if (p + 1 - b < 64)
                    m &= ~(std::uint64_t(1) << (p + 1 - b));
                else
                    resume = p + 2;
                continue;
            }
            st.inQuotes = false;
            continue;
        }
        if (WithQuotes && kind == ByteUnits::kQuote) {
            if (base + p == st.cellStart)
                st.inQuotes = true;
            continue;
        }
        if (kind == ByteUnits::kDelim) {
            st.cellStart = base + p + 1;
            if (p + 1 < limit)
                k.cellStart(base + p + 1);
            continue;
        }
        k.rowEnd(base + p);
        qint64 q = p + 1;
        if (buf[p] == 13) {
            if (q < n) {
                if (buf[q] == 10) {
                    if (q - b < 64)
                        m &= ~(std::uint64_t(1) << (q - b));
                    else
                        resume = q + 1;
                    ++q;
                }
            } else if (!final) {
                st.pendingAfterCr = true;
                continue;
            }
        }
        st.cellStart = base + q;
        if (q < limit) {
            if (!k.rowStart(base + q))
                return false;
            k.cellStart(base + q);
        }
    }
    return true;
}

template <Isa I> [[gnu::always_inline]] inline std::uint64_t parityOf(std::uint64_t x) {
#if defined(ORVANE_BYTESCAN_X86)
    if constexpr (I != Isa::Baseline)
        return ByteScan::prefixXorClmul(x);
#endif
    return ByteScan::prefixXor(x);
}

using SelectBit = int (*)(std::uint64_t, int);

template <Isa I> constexpr SelectBit selectOf() {
#if defined(ORVANE_BYTESCAN_X86)
    if constexpr (I != Isa::Baseline)
        return ByteScan::selectBitBmi2;
#endif
    return ByteScan::selectBit;
}

template <bool WithQuotes, Isa I, class Sink>
[[gnu::always_inline]] inline bool fastScanBody(const ByteUnits& t, const unsigned char* buf, qint64 n,
                                                qint64 base, bool final, FastState& s, Sink& sink) {
    const quint8* cls = t.classes;
    const qint64 limit = final ? n : n + 1; // a position below it holds a character
    const Classifier<I> masksOf(t.scanDelimiter());
    const bool hasDelimiter = t.hasDelimiter();
    qint64 resume = 0;
    // Work on copies so that the counters live in registers, not behind references.
    Sink k = sink;
    FastState st = s;
    if (st.pendingAfterCr) {
        st.pendingAfterCr = false;
        const qint64 q = buf[0] == 10 ? 1 : 0;
        resume = q;
        st.cellStart = base + q;
        if (q < limit) {
            if (!k.rowStart(base + q)) {
                sink = k;
                return false;
            }
            k.cellStart(base + q);
        }
    } else if (WithQuotes && st.pendingAfterQuote) {
        st.pendingAfterQuote = false;
        if (cls[buf[0]] == ByteUnits::kQuote)
            resume = 1; // a doubled quote: still inside
        else
            st.inQuotes = false;
    }
    for (qint64 b = resume & ~qint64(63); b < n; b += 64) {
        // Whole blocks by their masks, as long as they allow it. Quoting is taken from the parity
        // of the quotes up to each byte. That is the machine's reading as long as each quote that
        // parity takes for an opening one stands at a cell start or right behind a closing quote
        // (a doubled quote inside quotes). A closing quote followed by other text leaves parity
        // outside, as the machine falls back to an unquoted cell; a quote later in that cell
        // would then open by parity, away from a cell start. A block with such a quote goes to
        // the event loop below, and so does a block whose last byte is a CR, and the last block
        // of a piece, where a start behind its last byte depends on what follows.
        if (resume <= b) {
            std::uint64_t insideCarry = WithQuotes && st.inQuotes ? ~std::uint64_t(0) : 0;
            std::uint64_t startCarry = !insideCarry && st.cellStart == base + b ? 1 : 0;
            for (; b + 64 < n && buf[b + 63] != 13; b += 64) {
                const ByteScan::BlockMasks bm = masksOf(buf + b);
                const std::uint64_t delims = hasDelimiter ? bm.delimiter : 0;
                const std::uint64_t terms = (bm.lf | bm.cr | bm.rs) & ~delims; // the delimiter wins
                std::uint64_t inside = 0;
                std::uint64_t quotes = 0;
                if (WithQuotes) {
                    quotes = bm.quote & ~delims;
                    inside = parityOf<I>(quotes) ^ insideCarry;
                }
                const std::uint64_t outside = ~inside;
                const std::uint64_t crs = bm.cr & ~delims & outside;
                const std::uint64_t consumedLf = bm.lf & (crs << 1); // CR LF ends a row once
                const std::uint64_t crBeforeLf = crs & (bm.lf >> 1);
                const std::uint64_t cellEnds = delims & outside & ~consumedLf;
                const std::uint64_t rowEnds = terms & outside & ~consumedLf;
                const std::uint64_t startsBehind = cellEnds | (rowEnds & ~crBeforeLf) | consumedLf;
                if (WithQuotes) {
                    // Quotes that parity takes for opening ones must stand at a cell start or
                    // double a closing quote.
                    const std::uint64_t closers = quotes & outside;
                    if (quotes & inside & ~((startsBehind << 1) | startCarry | (closers << 1)))
                        break;
                    // A doubled quote across the blocks' edge: the event loop reads the pair.
                    if ((closers >> 63) && buf[b + 64] == '"')
                        break;
                    insideCarry = static_cast<std::uint64_t>(static_cast<std::int64_t>(inside) >> 63);
                }
                startCarry = startsBehind >> 63;
                if (!k.block(cellEnds, rowEnds, crBeforeLf, base + b, selectOf<I>())) {
                    sink = k;
                    return false;
                }
            }
            // Only a quote's position is ever compared with the cell start, and none lies
            // before this block.
            st.inQuotes = insideCarry != 0;
            st.cellStart = startCarry ? base + b : base + b - 1;
        }
        // Through the caller's objects, so that the copies here never have their address taken.
        sink = k;
        s = st;
        if (!eventBlock<WithQuotes>(t, buf, n, base, final, b, resume, s, sink))
            return false;
        k = sink;
        st = s;
    }
    sink = k;
    s = st;
    return true;
}

// The body compiled for any x86-64 (or any processor), and again for processors with AVX2 and
// with AVX-512, where the block masks take fewer instructions.
template <bool WithQuotes, class Sink>
bool fastScanBaseline(const ByteUnits& t, const unsigned char* buf, qint64 n, qint64 base, bool final,
                      FastState& s, Sink& sink) {
    return fastScanBody<WithQuotes, Isa::Baseline>(t, buf, n, base, final, s, sink);
}

#if defined(ORVANE_BYTESCAN_X86)
template <bool WithQuotes, class Sink>
__attribute__((target("popcnt,bmi,bmi2,lzcnt,avx2,pclmul"))) bool
fastScanAvx2(const ByteUnits& t, const unsigned char* buf, qint64 n, qint64 base, bool final, FastState& s,
             Sink& sink) {
    return fastScanBody<WithQuotes, Isa::Avx2>(t, buf, n, base, final, s, sink);
}

template <bool WithQuotes, class Sink>
__attribute__((target("popcnt,bmi,bmi2,lzcnt,avx2,avx512bw,pclmul"))) bool
fastScanAvx512(const ByteUnits& t, const unsigned char* buf, qint64 n, qint64 base, bool final, FastState& s,
               Sink& sink) {
    return fastScanBody<WithQuotes, Isa::Avx512>(t, buf, n, base, final, s, sink);
}
#endif

template <bool WithQuotes, class Sink>
bool fastScan(const ByteUnits& t, const unsigned char* buf, qint64 n, qint64 base, bool final, FastState& s,
              Sink& sink) {
#if defined(ORVANE_BYTESCAN_X86)
    const int allowed = s_instructionSetForTesting.load(std::memory_order_relaxed);
    if (ByteScan::hasAvx512() && (allowed == 0 || allowed >= 3))
        return fastScanAvx512<WithQuotes>(t, buf, n, base, final, s, sink);
    if (ByteScan::hasAvx2() && (allowed == 0 || allowed >= 2))
        return fastScanAvx2<WithQuotes>(t, buf, n, base, final, s, sink);
#endif
    return fastScanBaseline<WithQuotes>(t, buf, n, base, final, s, sink);
}

// Runs the machine over the units attached to `t`, from `state`, calling the sink at each row
// start, cell start, cell end and row end. Positions handed to the sink are `base` plus the unit
// index. Returns false when the sink asks to stop; `state` is left where the data ran out, so
// the next piece continues from it.
template <class Traits, class Sink>
bool scanUnits(Traits& t, qint64 n, qint64 base, ScanState& st, Sink& sink) {
    qint64 i = 0;
    for (;;) {
        switch (st) {
        case ScanState::RowStart:
            if (i >= n)
                return true;
            if (!sink.rowStart(base + i))
                return false;
            st = ScanState::CellStart;
            [[fallthrough]];
        case ScanState::CellStart: {
            if (i >= n)
                return true;
            if (!sink.cellStart(base + i))
                return false;
            const auto u = t.unit(i);
            if (t.isDelim(u)) {
                if (!sink.cellEnd(base + i))
                    return false;
                ++i;
                continue;
            }
            if (t.isTerm(u)) {
                if (!sink.cellEnd(base + i) || !sink.rowEnd(base + i))
                    return false;
                ++i;
                st = t.isCr(u) ? ScanState::AfterCr : ScanState::RowStart;
                continue;
            }
            ++i;
            if (t.isQuote(u)) {
                st = ScanState::Quoted;
                continue;
            }
            st = ScanState::Plain;
            [[fallthrough]];
        }
        case ScanState::Plain:
            for (;;) {
                const qint64 j = t.findDelimOrTerm(i);
                if (j >= n)
                    return true;
                if (!sink.cellEnd(base + j))
                    return false;
                const auto u = t.unit(j);
                i = j + 1;
                if (t.isDelim(u)) {
                    // Most cells start with an ordinary character: stay in this loop.
                    if (i < n && t.isOrdinary(t.unit(i))) {
                        if (!sink.cellStart(base + i))
                            return false;
                        ++i;
                        continue;
                    }
                    st = ScanState::CellStart;
                    break;
                }
                if (!sink.rowEnd(base + j))
                    return false;
                st = t.isCr(u) ? ScanState::AfterCr : ScanState::RowStart;
                break;
            }
            continue;
        case ScanState::Quoted: {
            const qint64 j = t.findQuote(i);
            if (j >= n)
                return true;
            i = j + 1;
            st = ScanState::AfterQuote;
            [[fallthrough]];
        }
        case ScanState::AfterQuote: {
            if (i >= n)
                return true;
            const auto u = t.unit(i);
            if (t.isDelim(u)) {
                if (!sink.cellEnd(base + i))
                    return false;
                ++i;
                st = ScanState::CellStart;
                continue;
            }
            if (t.isTerm(u)) {
                if (!sink.cellEnd(base + i) || !sink.rowEnd(base + i))
                    return false;
                ++i;
                st = t.isCr(u) ? ScanState::AfterCr : ScanState::RowStart;
                continue;
            }
            ++i;
            st = t.isQuote(u) ? ScanState::Quoted : ScanState::Plain;
            continue;
        }
        case ScanState::AfterCr:
            if (i >= n)
                return true;
            if (t.isLf(t.unit(i)))
                ++i; // CR LF is one row ending
            st = ScanState::RowStart;
            continue;
        }
    }
}

// Runs the strip scanner over `buffer` (whose tail beyond `units` is free for slack).
template <class Traits, class Sink>
void collectCells(Traits traits, const std::vector<char>& buffer, qint64 units, Sink& sink) {
    traits.attach(buffer.data(), units);
    ScanState st = ScanState::CellStart;
    scanUnits(traits, units, 0, st, sink);
    if (!sink.capturing) {
        // A delimiter as the file's last character leaves an empty field behind it.
        if ((sink.rowCells || sink.rangeCells) && sink.row == sink.targetRow && st == ScanState::CellStart &&
            units > 0 && traits.isDelim(traits.unit(units - 1)))
            sink.lastRowCells().emplace_back();
        return;
    }
    // The text ran out inside the cell: only the file's last cell does that. An unclosed quoted
    // cell drops a final delimiter or terminator, as the loader's end of data does.
    qint64 end = units;
    if (st == ScanState::Quoted && end > sink.start) {
        const auto last = traits.unit(end - 1);
        if (traits.isDelim(last) || traits.isTerm(last))
            --end;
    }
    sink.capturing = false;
    if (sink.rowCells || sink.rangeCells) {
        auto& cells = sink.rangeCells ? (*sink.rangeCells)[static_cast<size_t>(sink.row - sink.rangeFirst)]
                                      : *sink.rowCells;
        cells.emplace_back();
        sink.take(end, cells.back());
    } else if (sink.next < sink.count) {
        sink.take(end, sink.results[sink.next]);
        for (size_t k = sink.next + 1; k < sink.count && sink.wanted[k] == sink.wanted[sink.next]; ++k)
            sink.results[k] = sink.results[sink.next];
    }
}

} // namespace ReadOnlyScan

// Only the container's own files include this one.
using namespace ReadOnlyScan;

// Collects raw cells from a piece of text that starts at a cell start.
struct ReadOnlyDataContainer::CellCollector {
    const CellPosition* wanted = nullptr;
    size_t count = 0;
    size_t next = 0;
    std::vector<char>* results = nullptr;
    std::vector<std::vector<char>>* rowCells = nullptr; // whole-row mode: every cell of targetRow
    // Row-range mode: every cell of the rows from rangeFirst to targetRow, a list for each row.
    std::vector<std::vector<std::vector<char>>>* rangeCells = nullptr;
    int rangeFirst = 0;
    int targetRow = -1;
    const char* data = nullptr;
    int unitBytes = 1;
    qint64 realEnd = 0;
    int row = 0;
    int col = -1;
    qint64 start = 0;
    bool capturing = false;

    void take(qint64 end, std::vector<char>& out) const {
        end = std::min(end, realEnd);
        if (end > start)
            out.assign(data + start * unitBytes, data + end * unitBytes);
        else
            out.clear();
    }
    bool rowStart(qint64) {
        ++row;
        col = -1;
        if (rowCells || rangeCells)
            return row <= targetRow;
        while (next < count && wanted[next].row < row)
            ++next;
        return next < count;
    }
    bool cellStart(qint64 pos) {
        ++col;
        if (rowCells || rangeCells) {
            if (row == targetRow || (rangeCells && row >= rangeFirst && row <= targetRow)) {
                capturing = true;
                start = pos;
            }
            return true;
        }
        while (next < count &&
               (wanted[next].row < row || (wanted[next].row == row && wanted[next].col < col)))
            ++next;
        if (next == count)
            return false;
        if (wanted[next].row == row && wanted[next].col == col) {
            capturing = true;
            start = pos;
        }
        return true;
    }
    bool cellEnd(qint64 pos) {
        if (!capturing)
            return true;
        capturing = false;
        if (rowCells || rangeCells) {
            auto& list = rangeCells ? (*rangeCells)[static_cast<size_t>(row - rangeFirst)] : *rowCells;
            list.emplace_back();
            take(pos, list.back());
            return true;
        }
        take(pos, results[next]);
        ++next;
        while (next < count && wanted[next] == wanted[next - 1]) {
            results[next] = results[next - 1];
            ++next;
        }
        return next < count;
    }
    static bool rowEnd(qint64) { return true; }
    // The cells of targetRow, in either whole-row mode.
    std::vector<std::vector<char>>& lastRowCells() const {
        return rangeCells ? (*rangeCells)[static_cast<size_t>(targetRow - rangeFirst)] : *rowCells;
    }
};
