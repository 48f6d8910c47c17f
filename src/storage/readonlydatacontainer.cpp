#include "storage/readonlydatacontainer.h"

#include "storage/bytescan.h"
#include "storage/piecereader.h"
#include "storage/saveerrorguard.h"

#include <QFile>
#include <QMutex>
#include <QSaveFile>
#include <QWaitCondition>

#include <algorithm>
#include <atomic>
#include <bit>
#include <climits>
#include <cstdint>
#include <cstring>
#include <memory>

namespace {

std::atomic<qint64> s_pieceSizeForTesting{0};
std::atomic<int> s_instructionSetForTesting{0};

constexpr qint64 kIndexProgressStep = 25165824; // 24 MiB between reports of the index passes
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
    if (!sink.capturing)
        return;
    // The text ran out inside the cell: only the file's last cell does that. An unclosed quoted
    // cell drops a final delimiter or terminator, as the loader's end of data does.
    qint64 end = units;
    if (st == ScanState::Quoted && end > sink.start) {
        const auto last = traits.unit(end - 1);
        if (traits.isDelim(last) || traits.isTerm(last))
            --end;
    }
    sink.capturing = false;
    if (sink.rowCells) {
        sink.rowCells->emplace_back();
        sink.take(end, sink.rowCells->back());
    } else if (sink.next < sink.count) {
        sink.take(end, sink.results[sink.next]);
        for (size_t k = sink.next + 1; k < sink.count && sink.wanted[k] == sink.wanted[sink.next]; ++k)
            sink.results[k] = sink.results[sink.next];
    }
}

bool isSorted(const std::vector<int>& v) {
    return std::is_sorted(v.begin(), v.end());
}

} // namespace

// Collects raw cells from a piece of text that starts at a cell start.
struct ReadOnlyDataContainer::CellCollector {
    const CellPosition* wanted = nullptr;
    size_t count = 0;
    size_t next = 0;
    std::vector<char>* results = nullptr;
    std::vector<std::vector<char>>* rowCells = nullptr; // whole-row mode: every cell of targetRow
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
        if (rowCells)
            return row <= targetRow;
        while (next < count && wanted[next].row < row)
            ++next;
        return next < count;
    }
    bool cellStart(qint64 pos) {
        ++col;
        if (rowCells) {
            if (row == targetRow) {
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
        if (rowCells) {
            rowCells->emplace_back();
            take(pos, rowCells->back());
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
};

// --- Life ------------------------------------------------------------------------------------

ReadOnlyDataContainer::ReadOnlyDataContainer(QObject* parent) : AbstractDataContainer(parent) {}

ReadOnlyDataContainer::~ReadOnlyDataContainer() {
    closeCSV();
}

void ReadOnlyDataContainer::setPieceSizeForTesting(qint64 size) {
    s_pieceSizeForTesting = size;
}
void ReadOnlyDataContainer::setInstructionSetForTesting(int level) {
    s_instructionSetForTesting = level;
}

bool ReadOnlyDataContainer::openCSV() {
    if (file && file->isOpen())
        return true;
    delete file;
    file = new QFile(filepath);
    // Unbuffered: cell reads seek all over the file, and the index reads big pieces itself.
    if (!file->open(QIODevice::ReadOnly | QIODevice::Unbuffered)) {
        delete file;
        file = nullptr;
        return false;
    }
    fileSize = file->size();
    return true;
}

// One positioned read: a cell read costs a single system call where the platform has one.
qint64 ReadOnlyDataContainer::readAt(qint64 position, char* into, qint64 length) const {
#if defined(Q_OS_UNIX)
    const int fd = file->handle();
    if (fd >= 0)
        return PieceReader::readFully(fd, into, position, length);
#endif
    if (!file->seek(position))
        return -1;
    return file->read(into, length);
}

void ReadOnlyDataContainer::closeCSV() {
    if (file)
        file->close();
    delete file;
    file = nullptr;
}

bool ReadOnlyDataContainer::loadCSV() {
    openCSV();
    return indexCSV();
}
bool ReadOnlyDataContainer::loadCSVNoDelimiter() {
    openCSV();
    return indexCSVNoDelimiter();
}
bool ReadOnlyDataContainer::loadCSVMultiByte() {
    openCSV();
    return indexCSVMultiByte();
}
bool ReadOnlyDataContainer::loadCSVNoDelimiterMultiByte() {
    openCSV();
    return indexCSVNoDelimiterMultiByte();
}

bool ReadOnlyDataContainer::indexCSV() {
    if (bytesPerChar >= 2)
        return delimiter == 0 ? indexCSVNoDelimiterMultiByte() : indexCSVMultiByte();
    if (delimiter == 0)
        return indexCSVNoDelimiter();
    return runIndex(false, true);
}
bool ReadOnlyDataContainer::indexCSVNoDelimiter() {
    return runIndex(bytesPerChar >= 2, false);
}
bool ReadOnlyDataContainer::indexCSVMultiByte() {
    return runIndex(true, delimiter != 0);
}
bool ReadOnlyDataContainer::indexCSVNoDelimiterMultiByte() {
    return runIndex(true, false);
}

void ReadOnlyDataContainer::resetIndex() {
    strips.clear();
    strips.shrink_to_fit();
    numRowsIndexed = 0;
    numColsIndexed = 0;
    rowOrder.clear();
    colOrder.clear();
    rowsReordered = false;
    colsReordered = false;
}

bool ReadOnlyDataContainer::runIndex(bool multiByte, bool withDelimiter) {
    resetIndex();
    if (!file || !file->isOpen())
        return false;
    fileSize = file->size();
    if (fileSize == 0) {
        closeCSV();
        emit loadFinishedSignal();
        return true;
    }
    const bool quoting = withDelimiter && parsingStandard != DELIMITER_ONLY;
    const int unitBytes = multiByte ? bytesPerChar : 1;
    if (unitBytes != 1 && unitBytes != 2 && unitBytes != 4)
        return false;

    qint64 pieceSize = s_pieceSizeForTesting.load();
    if (pieceSize <= 0)
        pieceSize = kReadPieceSize;
    pieceSize = (pieceSize + 3) / 4 * 4;
    pieceSize = std::min(pieceSize, (fileSize + 3) / 4 * 4);
    std::vector<char> buffer(static_cast<size_t>(pieceSize + kScanSlack));

    if (unitBytes == 1)
        return indexPasses(ByteUnits(withDelimiter ? static_cast<unsigned char>(delimiter) : -1, quoting), 1,
                           buffer);
    const KeyCharVecs keys = setKeyCharVecs();
    if (keys.lf.size() != static_cast<size_t>(unitBytes))
        return false; // an encoding without key sequences never reaches the wide machine
    if (unitBytes == 2)
        return indexPasses(WideUnits<quint16>(keys, withDelimiter, quoting), 2, buffer);
    return indexPasses(WideUnits<quint32>(keys, withDelimiter, quoting), 4, buffer);
}

template <class Traits>
bool ReadOnlyDataContainer::indexPasses(Traits traitsTemplate, int unitBytes, std::vector<char>& buffer) {
    const qint64 pieceSize = static_cast<qint64>(buffer.size()) - kScanSlack;
    const qint64 progressTotal = fileSize / kIndexProgressStep + 1;
    const bool reports = fileSize >= kProgressThreshold;

    // One pass over the file in pieces; the machine's state carries from piece to piece.
    auto runPass = [&](auto& sink) -> bool {
        if (!file->seek(0))
            return false;
        qint64 bytePos = 0;
        bool firstPiece = true;
        ScanState st = ScanState::RowStart;
        FastState fast;
        bool started = false;
        Traits traits = traitsTemplate;
        // Single-byte text is read a piece ahead on a thread of its own where the file has a
        // descriptor; the pieces are the same either way. Below 64 KiB a piece costs less to
        // read than to hand from one thread to the other (only tests make them that small).
        std::unique_ptr<PieceReader> reader;
        if (std::is_same_v<Traits, ByteUnits> && file->handle() >= 0 && pieceSize >= 65536)
            reader = std::make_unique<PieceReader>(file->handle(), fileSize, pieceSize, kScanSlack);
        while (bytePos < fileSize) {
            const qint64 want = std::min(pieceSize, fileSize - bytePos);
            char* data = buffer.data();
            const qint64 got = reader ? reader->next(data) : file->read(data, want);
            if (got < 1)
                break;
            const qint64 usable = got - got % unitBytes;
            if (usable == 0)
                break;
            if (usable != got && (reader || !file->seek(bytePos + usable)))
                break;
            qint64 skip = 0;
            if (firstPiece) {
                skip = computeTableBomOffset(data, usable, true);
                firstPiece = false;
            }
            const qint64 units = (usable - skip) / unitBytes;
            const qint64 base = (bytePos + skip) / unitBytes;
            if constexpr (std::is_same_v<Traits, ByteUnits>) {
                if (units > 0) {
                    if (!started) {
                        started = true;
                        fast.cellStart = base;
                        if (!sink.rowStart(base))
                            return false;
                        sink.cellStart(base);
                    }
                    const bool final = bytePos + usable >= fileSize;
                    traits.attach(data + skip, units);
                    const auto* bytes = reinterpret_cast<const unsigned char*>(data + skip);
                    const bool ok = traits.classes[static_cast<unsigned char>('"')] == ByteUnits::kQuote
                                        ? fastScan<true>(traits, bytes, units, base, final, fast, sink)
                                        : fastScan<false>(traits, bytes, units, base, final, fast, sink);
                    if (!ok)
                        return false;
                }
            } else {
                traits.attach(data + skip, units);
                if (!scanUnits(traits, units, base, st, sink))
                    return false;
            }
            bytePos += usable;
        }
        return true;
    };

    // Returns the next mark.
    auto progress = [&](qint64 bytePos, int pass, qint64 mark) -> qint64 {
        if (progressUpdateMutex)
            progressUpdateMutex->lock();
        const qint64 step = bytePos / kIndexProgressStep;
        emit loadProgressUpdateSignal(static_cast<int>(pass == 1 ? step : progressTotal + 2 * step),
                                      static_cast<int>(3 * progressTotal), static_cast<int>(fileSize >> 20));
        if (progressUpdateMutex && progressUpdateCondition)
            progressUpdateCondition->wait(progressUpdateMutex, 1);
        if (progressUpdateMutex)
            progressUpdateMutex->unlock();
        return mark + kIndexProgressStep;
    };

    // Pass 1 counts rows, and cells per row; a row's width counts when the next row starts, so
    // the last row takes no part in numCols.
    struct CountSink {
        ReadOnlyDataContainer* self;
        decltype(progress)* report;
        int unitBytes;
        qint64 mark;
        qint64 rows = 0;
        qint64 cells = 0;
        qint64 widest = 0;
        bool tooLarge = false;
        [[gnu::always_inline]] bool rowStart(qint64 pos) {
            if (self->loadCanceled.load(std::memory_order_relaxed))
                return false;
            if (pos * unitBytes > mark)
                mark = (*report)(pos * unitBytes, 1, mark);
            widest = std::max(widest, cells);
            cells = 0;
            if (++rows >= INT_MAX || widest >= INT_MAX) {
                tooLarge = true;
                return false;
            }
            return true;
        }
        [[gnu::always_inline]] bool cellStart(qint64) {
            ++cells;
            return true;
        }
        // A cell starts behind each delimiter bit of `bits` (bit i: position base + i).
        [[gnu::always_inline]] void cellStarts(std::uint64_t bits, qint64) { cells += std::popcount(bits); }
        static bool cellEnd(qint64) { return true; }
        static bool rowEnd(qint64) { return true; }
        // A block of 64 characters from `at`: a cell starts behind each bit of `delims`, a row
        // ends at each bit of `ends` (the next one starts behind it, or behind the LF of a CR in
        // `crBeforeLf`). Cancel and progress are looked at once per block that starts a row: a
        // block spans less than a progress step, so the reports are the same.
        [[gnu::always_inline]] bool block(std::uint64_t delims, std::uint64_t ends, std::uint64_t crBeforeLf,
                                          qint64 at, SelectBit) {
            if (!ends) {
                cells += std::popcount(delims);
                return true;
            }
            if (self->loadCanceled.load(std::memory_order_relaxed))
                return false;
            const int last = 63 - std::countl_zero(ends);
            const qint64 lastStart = at + last + 1 + static_cast<qint64>((crBeforeLf >> last) & 1);
            if (lastStart * unitBytes > mark)
                mark = (*report)(lastStart * unitBytes, 1, mark);
            const std::uint64_t afterLast = delims & ~((std::uint64_t(2) << last) - 1);
            if (cells + std::popcount(delims) > widest) {
                // Some row here may be the widest so far: count them one by one.
                std::uint64_t rest = delims;
                qint64 inRow = cells;
                for (std::uint64_t e = ends; e; e &= e - 1) {
                    const std::uint64_t below = (std::uint64_t(1) << std::countr_zero(e)) - 1;
                    widest = std::max(widest, inRow + std::popcount(rest & below));
                    rest &= ~below;
                    inRow = 1;
                }
            }
            cells = 1 + std::popcount(afterLast);
            rows += std::popcount(ends);
            if (rows >= INT_MAX || widest >= INT_MAX) {
                tooLarge = true;
                return false;
            }
            return true;
        }
    };

    beginProgress(fileSize);
    CountSink counter{this, &progress, unitBytes, reports ? -1 : LLONG_MAX};
    if (!runPass(counter)) {
        resetIndex();
        return false;
    }
    const qint64 rows = counter.rows;
    qint64 cols = counter.widest;
    if (delimiter == 0 && rows > 0)
        cols = 1; // one cell per line, whatever the lines
    if (cols >= INT_MAX)
        return false;

    // The index covers the full rectangle; refuse a file whose rectangle would need more memory
    // for its index than the file has bytes (a few very wide rows among millions of short ones).
    const qint64 gridCells = rows > 0 ? (rows - 1) * cols + std::max(counter.cells, cols) : 0;
    const qint64 stripsNeeded = gridCells / stripSize + 1;
    const qint64 maxStrips = std::max<qint64>(kMaxPieceSize, fileSize) / static_cast<qint64>(sizeof(Strip));
    if (stripsNeeded > maxStrips) {
        resetIndex();
        return false;
    }
    // Pass 2 records a strip at every 25th cell number. A short row's missing cells have numbers
    // too; the strips among them point at the row's line ending. The strips go straight into
    // storage of pass 1's count, with a spare entry behind it: a strip is written there before it
    // is known to count and kept by moving on, so recording one takes no branch.
    strips.resize(static_cast<size_t>(stripsNeeded + 1));
    struct StripSink {
        ReadOnlyDataContainer* self;
        decltype(progress)* report;
        int unitBytes;
        qint64 mark;
        qint64 numCols;
        Strip* cursor;
        Strip* spare;
        qint64 cellNumber = -1;
        qint64 nextStripCell = 0;
        int row = -1;
        int col = -1;
        qint64 lineEnd = 0;
        bool overflow = false; // more strips than pass 1 counted: the file changed in between

        // Keeps the strip written at the cursor if `taken`.
        [[gnu::always_inline]] void keep(bool taken) {
            const bool room = cursor != spare;
            cursor += taken && room;
            overflow |= taken && !room;
            nextStripCell += taken ? 25 : 0;
        }
        [[gnu::always_inline]] void put(int r, int c, qint64 offset) {
            *cursor = Strip{r, c, offset};
            keep(true);
        }
        [[gnu::always_inline]] bool rowStart(qint64 pos) {
            if (self->loadCanceled.load(std::memory_order_relaxed))
                return false;
            if (pos * unitBytes > mark)
                mark = (*report)(pos * unitBytes, 2, mark);
            nextRow();
            return true;
        }
        [[gnu::always_inline]] void nextRow() {
            if (row >= 0) {
                const qint64 missing = numCols - 1 - col;
                if (missing > 0) {
                    const qint64 last = cellNumber + missing;
                    while (nextStripCell <= last)
                        put(row, static_cast<int>(col + (nextStripCell - cellNumber)), lineEnd);
                    cellNumber = last;
                }
            }
            ++row;
            col = -1;
        }
        [[gnu::always_inline]] bool cellStart(qint64 pos) {
            ++col;
            if (++cellNumber == nextStripCell)
                put(row, col, pos);
            return true;
        }
        // The cells that start behind the bits of `starts`, the first `inRow` of them in the
        // current row and the rest, if `newRow`, in the next one, which starts at the first.
        [[gnu::always_inline]] void cellStarts(std::uint64_t starts, qint64 at, SelectBit select, int inRow,
                                               bool newRow) {
            const int count = std::popcount(starts);
            // The strip cells among these are the starts numbered need, need + 25, ...; rarely
            // more than one, and most often none.
            for (qint64 need = nextStripCell - cellNumber - 1; need < count; need += 25) {
                const int bit = select(starts, static_cast<int>(need));
                const bool next = newRow && need >= inRow;
                *cursor =
                    Strip{row + next, static_cast<int>(next ? need - inRow : col + need + 1), at + bit + 1};
                keep(true);
            }
            cellNumber += count;
            if (newRow) {
                ++row;
                col = count - inRow - 1;
            } else {
                col += count;
            }
        }
        static bool cellEnd(qint64) { return true; }
        [[gnu::always_inline]] bool rowEnd(qint64 pos) {
            lineEnd = pos;
            return true;
        }
        // As CountSink::block.
        [[gnu::always_inline]] bool block(std::uint64_t delims, std::uint64_t ends, std::uint64_t crBeforeLf,
                                          qint64 at, SelectBit select) {
            if (!ends) {
                cellStarts(delims, at, select, 64, false);
                return true;
            }
            if (self->loadCanceled.load(std::memory_order_relaxed))
                return false;
            const int last = 63 - std::countl_zero(ends);
            const qint64 lastStart = at + last + 1 + static_cast<qint64>((crBeforeLf >> last) & 1);
            if (lastStart * unitBytes > mark)
                mark = (*report)(lastStart * unitBytes, 2, mark);
            if (!(ends & (ends - 1))) {
                // One row end, as in most blocks that have one.
                const int e = std::countr_zero(ends);
                const std::uint64_t before = delims & ((std::uint64_t(1) << e) - 1);
                const int inRow = std::popcount(before);
                const int rowStartBit = e + static_cast<int>((crBeforeLf >> e) & 1);
                if (col + inRow == numCols - 1) {
                    // Behind a row of full width: no padding, so the cell numbers run on through
                    // the block without a gap.
                    lineEnd = at + e;
                    cellStarts(delims | (std::uint64_t(1) << rowStartBit), at, select, inRow, true);
                    return true;
                }
                if (col + inRow < numCols - 1) {
                    // Behind a short row: its cells here, its missing cells at the line ending,
                    // the next row's first cell behind it and its cells after that, in number
                    // order. Only the strip cells among them are looked for.
                    const std::uint64_t after = delims & ~((std::uint64_t(2) << e) - 1);
                    const qint64 lastInRow = cellNumber + inRow;            // its last cell here
                    const qint64 rowEnd = cellNumber + (numCols - 1 - col); // its last number
                    const qint64 last = rowEnd + 1 + std::popcount(after);
                    lineEnd = at + e;
                    for (qint64 t = nextStripCell; t <= last; t = nextStripCell) {
                        if (t <= lastInRow)
                            put(row, static_cast<int>(col + (t - cellNumber)),
                                at + select(before, static_cast<int>(t - cellNumber - 1)) + 1);
                        else if (t <= rowEnd)
                            put(row, static_cast<int>(col + (t - cellNumber)), lineEnd);
                        else if (t == rowEnd + 1)
                            put(row + 1, 0, at + rowStartBit + 1);
                        else
                            put(row + 1, static_cast<int>(t - rowEnd - 1),
                                at + select(after, static_cast<int>(t - rowEnd - 2)) + 1);
                    }
                    cellNumber = last;
                    ++row;
                    col = static_cast<int>(last - rowEnd - 1);
                    return true;
                }
            }
            std::uint64_t rest = delims;
            do {
                const int e = std::countr_zero(ends);
                ends &= ends - 1;
                const std::uint64_t below = (std::uint64_t(1) << e) - 1;
                cellStarts(rest & below, at, select, 64, false);
                rest &= ~below;
                lineEnd = at + e;
                nextRow();
                cellStart(at + e + 1 + static_cast<qint64>((crBeforeLf >> e) & 1));
            } while (ends);
            cellStarts(rest, at, select, 64, false);
            return true;
        }
    };

    StripSink recorder{this,
                       &progress,
                       unitBytes,
                       reports ? -1 : LLONG_MAX,
                       cols,
                       strips.data(),
                       strips.data() + stripsNeeded};
    if (!runPass(recorder) || recorder.overflow) {
        resetIndex();
        return false;
    }
    strips.resize(static_cast<size_t>(recorder.cursor - strips.data()));
    numRowsIndexed = static_cast<int>(rows);
    numColsIndexed = static_cast<int>(cols);
    emit loadFinishedSignal();
    return true;
}

// --- Reading cells ---------------------------------------------------------------------------

int ReadOnlyDataContainer::numColsInRow(int row) const {
    Q_UNUSED(row);
    return numColsIndexed;
}

void ReadOnlyDataContainer::runCollector(std::vector<char>& buffer, int row, int col, CellCollector& sink,
                                         bool multiByte, bool withDelimiter) const {
    const int unitBytes = multiByte ? bytesPerChar : 1;
    const qint64 units = static_cast<qint64>(buffer.size()) / unitBytes;
    const size_t used = buffer.size();
    buffer.resize(used + kScanSlack); // room for the block scanner; never part of a cell
    sink.data = buffer.data();
    sink.unitBytes = unitBytes;
    sink.realEnd = units;
    sink.row = row;
    sink.col = col - 1;
    const bool quoting = withDelimiter && parsingStandard != DELIMITER_ONLY;
    if (unitBytes == 1) {
        collectCells(ByteUnits(withDelimiter ? static_cast<unsigned char>(delimiter) : -1, quoting), buffer,
                     units, sink);
    } else {
        const KeyCharVecs keys = setKeyCharVecs();
        if (keys.lf.size() == static_cast<size_t>(unitBytes)) {
            if (unitBytes == 2)
                collectCells(WideUnits<quint16>(keys, withDelimiter, quoting), buffer, units, sink);
            else
                collectCells(WideUnits<quint32>(keys, withDelimiter, quoting), buffer, units, sink);
        }
    }
    buffer.resize(used);
}

void ReadOnlyDataContainer::scanStrip(std::vector<char>& buffer, int row, int col, const CellPosition* wanted,
                                      size_t count, std::vector<char>* results, bool multiByte,
                                      bool withDelimiter) const {
    CellCollector sink;
    sink.wanted = wanted;
    sink.count = count;
    sink.results = results;
    runCollector(buffer, row, col, sink, multiByte, withDelimiter);
}

void ReadOnlyDataContainer::getRawCellsFromStrip(std::vector<char>& buffer, int row, int col,
                                                 const std::vector<CellPosition>& wanted,
                                                 std::vector<std::vector<char>>& results) const {
    results.assign(wanted.size(), {});
    scanStrip(buffer, row, col, wanted.data(), wanted.size(), results.data(), false, true);
}

void ReadOnlyDataContainer::getRawCellsFromStripMultiByte(std::vector<char>& buffer, int row, int col,
                                                          const std::vector<CellPosition>& wanted,
                                                          std::vector<std::vector<char>>& results) const {
    results.assign(wanted.size(), {});
    scanStrip(buffer, row, col, wanted.data(), wanted.size(), results.data(), true, true);
}

void ReadOnlyDataContainer::getRawCellsFromStripNoDelimiter(std::vector<char>& buffer, int row, int col,
                                                            const std::vector<CellPosition>& wanted,
                                                            std::vector<std::vector<char>>& results) const {
    results.assign(wanted.size(), {});
    scanStrip(buffer, row, col, wanted.data(), wanted.size(), results.data(), false, false);
}

void ReadOnlyDataContainer::getRawCellsFromStripNoDelimiterMultiByte(
    std::vector<char>& buffer, int row, int col, const std::vector<CellPosition>& wanted,
    std::vector<std::vector<char>>& results) const {
    results.assign(wanted.size(), {});
    scanStrip(buffer, row, col, wanted.data(), wanted.size(), results.data(), true, false);
}

void ReadOnlyDataContainer::readRawCellsSorted(const std::vector<CellPosition>& sorted,
                                               std::vector<std::vector<char>>& results) const {
    results.assign(sorted.size(), {});
    if (!file || !file->isOpen() || strips.empty() || numColsIndexed <= 0)
        return;
    const qint64 unitBytes = bytesPerChar >= 2 ? bytesPerChar : 1;
    const qint64 unitsInFile = fileSize / unitBytes;
    const qint64 stripCount = static_cast<qint64>(strips.size());
    auto stripOf = [&](const CellPosition& p) -> qint64 {
        if (p.row < 0 || p.col < 0 || p.row >= numRowsIndexed || p.col >= numColsIndexed)
            return -1;
        const qint64 i = (static_cast<qint64>(p.row) * numColsIndexed + p.col) / stripSize;
        return i < stripCount ? i : -1;
    };
    auto stripEnd = [&](qint64 i) { return i + 1 < stripCount ? strips[i + 1].offset : unitsInFile; };

    size_t k = 0;
    while (k < sorted.size()) {
        const qint64 first = stripOf(sorted[k]);
        if (first < 0) {
            ++k;
            continue;
        }
        // Merge the following cells whose strips lie close behind into one read.
        qint64 last = first;
        size_t groupEnd = k + 1;
        while (groupEnd < sorted.size()) {
            const qint64 s = stripOf(sorted[groupEnd]);
            if (s < 0)
                break;
            if (s != last) {
                const qint64 gap = (strips[s].offset - stripEnd(last)) * unitBytes;
                const qint64 total = (stripEnd(s) - strips[first].offset) * unitBytes;
                if (gap > kMergeGapBytes || total > kMaxMergedReadBytes)
                    break;
                last = s;
            }
            ++groupEnd;
        }
        const qint64 begin = strips[first].offset;
        const qint64 end = stripEnd(last);
        if (end > begin) {
            readBuffer.resize(static_cast<size_t>((end - begin) * unitBytes));
            const qint64 got =
                readAt(begin * unitBytes, readBuffer.data(), static_cast<qint64>(readBuffer.size()));
            readBuffer.resize(static_cast<size_t>(std::max<qint64>(0, got - got % unitBytes)));
            scanStrip(readBuffer, strips[first].row, strips[first].col, sorted.data() + k, groupEnd - k,
                      results.data() + k, bytesPerChar >= 2, delimiter != 0);
        }
        k = groupEnd;
    }
}

void ReadOnlyDataContainer::getRawCells(const std::vector<CellPosition>& wanted,
                                        std::vector<std::vector<char>>& results) const {
    if (std::is_sorted(wanted.begin(), wanted.end())) {
        readRawCellsSorted(wanted, results);
        return;
    }
    std::vector<size_t> order(wanted.size());
    for (size_t i = 0; i < order.size(); ++i)
        order[i] = i;
    std::stable_sort(order.begin(), order.end(), [&](size_t a, size_t b) { return wanted[a] < wanted[b]; });
    std::vector<CellPosition> sorted(wanted.size());
    for (size_t i = 0; i < order.size(); ++i)
        sorted[i] = wanted[order[i]];
    std::vector<std::vector<char>> sortedResults;
    readRawCellsSorted(sorted, sortedResults);
    results.assign(wanted.size(), {});
    for (size_t i = 0; i < order.size(); ++i)
        results[order[i]].swap(sortedResults[i]);
}

void ReadOnlyDataContainer::getRawCell(int row, int col, std::vector<char>& out) const {
    out.clear();
    std::vector<std::vector<char>> results;
    readRawCellsSorted({CellPosition{row, col}}, results);
    out.swap(results.front());
}

std::vector<char> ReadOnlyDataContainer::applyQuoteRule(std::vector<char> raw) const {
    const size_t unit = bytesPerChar >= 2 ? static_cast<size_t>(bytesPerChar) : 1;
    const KeyCharVecs keys = unit > 1 ? setKeyCharVecs() : KeyCharVecs{};
    auto isUnit = [&](size_t at, char c, const std::vector<char>& seq) {
        if (unit == 1)
            return raw[at] == c;
        return std::memcmp(raw.data() + at, seq.data(), unit) == 0;
    };
    // A strip on a line ending yields the ending itself: that is an empty cell.
    if (raw.size() == unit && (isUnit(0, KeyChars::LF, keys.lf) || isUnit(0, KeyChars::CR, keys.cr) ||
                               isUnit(0, KeyChars::RecordSeparator, keys.recordSeparator)))
        return {};
    // Without a delimiter, or with the quote as delimiter, no cell is ever quoted.
    if (delimiter == 0 || delimiter == KeyChars::Quote)
        return raw;
    bool unquote = false;
    if (parsingStandard == ALL_QUOTES)
        unquote = true;
    else if (parsingStandard == RFC_4180)
        unquote = raw.size() >= 2 * unit && isUnit(0, KeyChars::Quote, keys.quote) &&
                  isUnit(raw.size() - unit, KeyChars::Quote, keys.quote);
    if (!unquote)
        return raw;
    if (raw.size() < 2 * unit)
        return {};
    raw.erase(raw.end() - static_cast<qsizetype>(unit), raw.end());
    raw.erase(raw.begin(), raw.begin() + static_cast<qsizetype>(unit));
    if (unit == 1)
        stringReplace(raw, std::vector<char>{'"', '"'}, std::vector<char>{'"'});
    else
        stringReplace(raw, keys.doubledQuote, keys.quote);
    return raw;
}

std::vector<char> ReadOnlyDataContainer::getValue(int row, int col, bool useOrder) const {
    if (row >= numRowsIndexed && col >= numColsIndexed)
        return {};
    if (useOrder && rowsReordered && row >= 0 && row < static_cast<int>(rowOrder.size()))
        row = rowOrder[row];
    if (useOrder && colsReordered && col >= 0 && col < static_cast<int>(colOrder.size()))
        col = colOrder[col];
    if (bytesPerChar >= 2)
        return getValueMultiByte(row, col);
    std::vector<char> raw;
    getRawCell(row, col, raw);
    return applyQuoteRule(std::move(raw));
}

std::vector<char> ReadOnlyDataContainer::getValueMultiByte(int row, int col) const {
    std::vector<char> raw;
    getRawCell(row, col, raw);
    return applyQuoteRule(std::move(raw));
}

void ReadOnlyDataContainer::getValues(const std::vector<CellPosition>& wanted,
                                      std::vector<std::vector<char>>& results) const {
    getRawCells(wanted, results);
    for (auto& cell : results)
        cell = applyQuoteRule(std::move(cell));
}

void ReadOnlyDataContainer::getRow(std::vector<std::vector<char>>& out, int row) {
    std::vector<CellPosition> wanted(static_cast<size_t>(std::max(0, numColsIndexed)));
    for (int c = 0; c < numColsIndexed; ++c)
        wanted[c] = CellPosition{row, c};
    getValues(wanted, out);
}

void ReadOnlyDataContainer::getCol(std::vector<std::vector<char>>& out, int col) {
    std::vector<CellPosition> wanted(static_cast<size_t>(std::max(0, numRowsIndexed)));
    for (int r = 0; r < numRowsIndexed; ++r)
        wanted[r] = CellPosition{r, col};
    getValues(wanted, out);
}

// --- Order -----------------------------------------------------------------------------------

void ReadOnlyDataContainer::setRowOrder(const std::vector<int>& order) {
    rowOrder = order;
    rowsReordered = true;
}
void ReadOnlyDataContainer::setColOrder(const std::vector<int>& order) {
    colOrder = order;
    colsReordered = true;
}
void ReadOnlyDataContainer::clearRowOrder() {
    rowOrder.clear();
    rowsReordered = false;
}
void ReadOnlyDataContainer::clearColOrder() {
    colOrder.clear();
    colsReordered = false;
}

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
    const SaveErrorGuard guard(out, saveError);
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
