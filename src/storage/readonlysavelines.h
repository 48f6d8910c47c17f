#pragma once

// How a read-only table's save finds the lines of its file and tells which of them a save
// writes back unchanged. Private to the container's save.

#include <QtGlobal>

#include <bit>
#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif
#if defined(__x86_64__) && (defined(__GNUC__) || defined(__clang__))
#define ORVANE_SWAPRUN_X86 1
#include <immintrin.h>
#endif

namespace ReadOnlySaveLines {

enum Term : quint8 { TermNone, TermLf, TermCr, TermCrLf, TermRs };

// What decides whether a line of the file is also the line the writer makes of its cells. Units
// are compared whole, in the encoding's width.
struct Rules {
    std::uint32_t lf = 10, cr = 13, rs = 30, quote = '"', delimiter = ',';
    bool hasDelimiter = true;
    bool quoting = true;       // the reader honours quotes at a cell's start
    bool copy = true;          // any line may go out as it stands
    bool writerNever = false;  // the writer quotes no cell
    bool quoteAnywhere = true; // the writer quotes a cell with a quote anywhere in it
    bool padded = false;       // fields are counted against the table's width
    bool trailing = true;      // ... and padded up to it, else trailing empty ones dropped
    qint64 width = 0;
    Term saveTerm = TermLf;
};

// Units [start, end) of the data: one line with its terminator, if it has one.
struct Line {
    qint64 start = 0;
    qint64 end = 0;
    bool copyable = false;  // the writer makes the same bytes of it
    qint64 contentEnd = -1; // where its line ending starts; -1 for a line without one, or one
                            // with a quoted cell that isn't closed right before a delimiter
    bool quotes = true;     // it may have quotes that are read as such
};

template <int W> inline std::uint32_t unitAt(const char* p) {
    if constexpr (W == 1) {
        return static_cast<unsigned char>(*p);
    } else if constexpr (W == 2) {
        std::uint16_t u;
        std::memcpy(&u, p, 2);
        return u;
    } else {
        std::uint32_t u;
        std::memcpy(&u, p, 4);
        return u;
    }
}

// Finds, 64 units at a time, the units that end a line or, with quoting on, are a quote: the
// units to look for are spread over vectors once, not for every block.
template <int W> class EventFinder {
public:
    explicit EventFinder(const Rules& rules) : r(rules) {
#if defined(__SSE2__)
        const std::uint32_t quote = r.quoting ? r.quote : r.lf;
        if constexpr (W == 1) {
            lf = _mm_set1_epi8(static_cast<char>(r.lf));
            cr = _mm_set1_epi8(static_cast<char>(r.cr));
            rs = _mm_set1_epi8(static_cast<char>(r.rs));
            q = _mm_set1_epi8(static_cast<char>(quote));
        } else if constexpr (W == 2) {
            lf = _mm_set1_epi16(static_cast<short>(r.lf));
            cr = _mm_set1_epi16(static_cast<short>(r.cr));
            rs = _mm_set1_epi16(static_cast<short>(r.rs));
            q = _mm_set1_epi16(static_cast<short>(quote));
        }
#endif
    }

    // Bit k set where unit k of the 64 at p is one of them.
    std::uint64_t mask(const char* p) const {
#if defined(__SSE2__)
        if constexpr (W == 1) {
            std::uint64_t bits = 0;
            for (int k = 0; k < 4; ++k) {
                const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 16 * k));
                const __m128i hit = _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi8(v, lf), _mm_cmpeq_epi8(v, cr)),
                                                 _mm_or_si128(_mm_cmpeq_epi8(v, rs), _mm_cmpeq_epi8(v, q)));
                bits |= std::uint64_t(static_cast<std::uint16_t>(_mm_movemask_epi8(hit))) << (16 * k);
            }
            return bits;
        } else if constexpr (W == 2) {
            auto hits = [&](int k) {
                const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 16 * k));
                return _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi16(v, lf), _mm_cmpeq_epi16(v, cr)),
                                    _mm_or_si128(_mm_cmpeq_epi16(v, rs), _mm_cmpeq_epi16(v, q)));
            };
            std::uint64_t bits = 0;
            for (int k = 0; k < 4; ++k) {
                const __m128i packed = _mm_packs_epi16(hits(2 * k), hits(2 * k + 1));
                bits |= std::uint64_t(static_cast<std::uint16_t>(_mm_movemask_epi8(packed))) << (16 * k);
            }
            return bits;
        }
#endif
        std::uint64_t bits = 0;
        for (int k = 0; k < 64; ++k) {
            const std::uint32_t u = unitAt<W>(p + W * k);
            if (u == r.lf || u == r.cr || u == r.rs || (r.quoting && u == r.quote))
                bits |= std::uint64_t(1) << k;
        }
        return bits;
    }

private:
    const Rules& r;
#if defined(__SSE2__)
    __m128i lf{}, cr{}, rs{}, q{};
#endif
};

// Walks the lines of a piece of text that starts at a line's start. Only line ends and quotes
// are looked at one by one; everything between goes 64 units at a time.
template <int W> class Splitter {
public:
    enum Result { Found, NeedMore, Odd };

    explicit Splitter(const Rules& rules) : r(rules), events(rules) {}

    // `data` holds `units` units and at least 64 more readable behind them. `final`: the text
    // ends there; otherwise more follows.
    void attach(const char* data, qint64 units, bool final) {
        d = data;
        n = units;
        last = final;
        block = -1;
    }

    // The line from `s`. NeedMore: it runs past the data, which isn't the last. Odd: a quoted
    // cell with text behind its closing quote, or one never closed; the reader's own machine
    // finds such a line's end.
    Result line(qint64 s, Line& out) {
        bool copyable = r.copy;
        bool quotes = false;
        qint64 quotedDelimiters = 0;
        qint64 i = s;
        for (;;) {
            const qint64 p = nextEvent(i);
            if (p >= n) {
                if (!last)
                    return NeedMore;
                out = Line{s, n, false, -1}; // the file's last line, without a line ending
                return Found;
            }
            const std::uint32_t u = at(p);
            if (!r.quoting || u != r.quote) {
                Term t = TermLf;
                qint64 end = p + 1;
                if (u == r.rs) {
                    t = TermRs;
                } else if (u == r.cr) {
                    if (p + 1 >= n && !last)
                        return NeedMore;
                    t = TermCr;
                    if (p + 1 < n && at(p + 1) == r.lf) {
                        t = TermCrLf;
                        ++end;
                    }
                }
                if (copyable)
                    copyable = t == r.saveTerm && fieldsKept(s, p, quotedDelimiters);
                out = Line{s, end, copyable, p, quotes};
                return Found;
            }
            quotes = true;
            if (p != s && at(p - 1) != r.delimiter) {
                // A quote inside an unquoted cell is an ordinary character.
                if (r.quoteAnywhere && !r.writerNever)
                    copyable = false;
                i = p + 1;
                continue;
            }
            // A quoted cell from p on.
            bool lineBreak = false;
            bool doubled = false;
            bool leadingQuote = false;
            qint64 close = -1;
            for (qint64 j = p + 1;;) {
                const qint64 q = nextEvent(j);
                if (q >= n)
                    return last ? Odd : NeedMore;
                if (at(q) != r.quote) {
                    lineBreak = true;
                    j = q + 1;
                    continue;
                }
                if (q + 1 >= n) {
                    if (!last)
                        return NeedMore;
                    close = q;
                    break;
                }
                if (at(q + 1) == r.quote) {
                    doubled = true;
                    leadingQuote = leadingQuote || q == p + 1;
                    j = q + 2;
                    continue;
                }
                close = q;
                break;
            }
            const qint64 behind = close + 1;
            if (behind < n) {
                const std::uint32_t b = at(behind);
                if (!(r.hasDelimiter && b == r.delimiter) && b != r.lf && b != r.cr && b != r.rs)
                    return Odd;
            }
            if (copyable) {
                // The writer quotes the cell again, in the same way, only if it has to. Delimiters
                // in it are counted where fields are, else one is enough.
                const bool needs = lineBreak || (r.quoteAnywhere ? doubled : leadingQuote);
                qint64 inner = 0;
                if (r.hasDelimiter && (r.padded || !needs))
                    inner = r.padded ? countDelimiters(p + 1, close) : (findDelimiter(p + 1, close) ? 1 : 0);
                quotedDelimiters += inner;
                copyable = !r.writerNever && (needs || inner > 0);
            }
            i = behind;
        }
    }

private:
    std::uint32_t at(qint64 i) const { return unitAt<W>(d + W * i); }

    qint64 countDelimiters(qint64 from, qint64 to) const {
        qint64 count = 0;
        if constexpr (W == 1) {
            const char* p = d + from;
            const char* const end = d + to;
            const char delimiter = static_cast<char>(r.delimiter);
            while (p < end) {
                const void* hit = std::memchr(p, delimiter, static_cast<size_t>(end - p));
                if (!hit)
                    break;
                ++count;
                p = static_cast<const char*>(hit) + 1;
            }
        } else {
            for (qint64 i = from; i < to; ++i)
                count += at(i) == r.delimiter ? 1 : 0;
        }
        return count;
    }

    bool findDelimiter(qint64 from, qint64 to) const {
        if constexpr (W == 1) {
#if defined(__SSE2__)
            // A quoted cell is short, and the text is readable 64 bytes past its end: 16 bytes a
            // compare, no call.
            const __m128i delimiter = _mm_set1_epi8(static_cast<char>(r.delimiter));
            for (qint64 i = from; i < to; i += 16) {
                const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(d + i));
                const std::uint32_t hits =
                    static_cast<std::uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(v, delimiter)));
                const std::uint32_t inside = to - i >= 16 ? 0xFFFFu : (std::uint32_t(1) << (to - i)) - 1;
                if (hits & inside)
                    return true;
            }
            return false;
#else
            return std::memchr(d + from, static_cast<int>(r.delimiter), static_cast<size_t>(to - from)) !=
                   nullptr;
#endif
        }
        for (qint64 i = from; i < to; ++i) {
            if (at(i) == r.delimiter)
                return true;
        }
        return false;
    }

    // Whether a line's fields go out as they stand when the writer counts them against the
    // table's width.
    bool fieldsKept(qint64 s, qint64 contentEnd, qint64 quotedDelimiters) const {
        if (!r.padded || !r.hasDelimiter)
            return true;
        if (!r.trailing)
            return contentEnd == s || at(contentEnd - 1) != r.delimiter;
        return 1 + countDelimiters(s, contentEnd) - quotedDelimiters >= r.width;
    }

    qint64 nextEvent(qint64 i) {
        for (;;) {
            if (i >= n)
                return n;
            const qint64 b = i & ~qint64(63);
            if (b != block) {
                block = b;
                mask = events.mask(d + W * b);
                if (n - b < 64)
                    mask &= (std::uint64_t(1) << (n - b)) - 1;
            }
            const std::uint64_t m = mask & (~std::uint64_t(0) << (i - b));
            if (m)
                return b + std::countr_zero(m);
            i = b + 64;
        }
    }

    const Rules& r;
    EventFinder<W> events;
    const char* d = nullptr;
    qint64 n = 0;
    bool last = false;
    qint64 block = -1;
    std::uint64_t mask = 0;
};

// Copies `n` bytes from `from` to `to` with every `delimiter` made `save`: true if `save` is among
// them (a cell then needs quotes).
inline bool swapDelimiters(const char* from, char* to, size_t n, char delimiter, char save) {
    size_t k = 0;
    bool clash = false;
#if defined(__SSE2__)
    const __m128i d = _mm_set1_epi8(delimiter);
    const __m128i s = _mm_set1_epi8(save);
    __m128i seen = _mm_setzero_si128();
    for (; k + 16 <= n; k += 16) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from + k));
        const __m128i isDelimiter = _mm_cmpeq_epi8(v, d);
        seen = _mm_or_si128(seen, _mm_cmpeq_epi8(v, s));
        const __m128i swapped = _mm_or_si128(_mm_andnot_si128(isDelimiter, v), _mm_and_si128(isDelimiter, s));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(to + k), swapped);
    }
    clash = _mm_movemask_epi8(seen) != 0;
#endif
    for (; k < n; ++k) {
        const char ch = from[k];
        clash |= ch == save;
        to[k] = ch == delimiter ? save : ch;
    }
    return clash;
}

// The bytes that matter in an unquoted cell of one-byte text: the one that ends it, and up to two
// that make the writer quote it.
struct PlainBytes {
    bool ends = false;
    char end = 0;
    int mayQuoteCount = 0;
    char mayQuote[2] = {0, 0};
};

// Where the unquoted cell of `data` from `i` ends (its end byte, or `to`), 16 bytes at a time;
// `mayQuote` set if a byte before that makes the writer quote it. `data` is readable 16 bytes
// beyond `to`.
inline qint64 plainCellEnd(const char* data, qint64 i, qint64 to, const PlainBytes& b, bool& mayQuote) {
    mayQuote = false;
#if defined(__SSE2__)
    const __m128i e = _mm_set1_epi8(b.end);
    const __m128i q0 = _mm_set1_epi8(b.mayQuote[0]);
    const __m128i q1 = _mm_set1_epi8(b.mayQuote[1]);
    for (; i < to; i += 16) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(data + i));
        const std::uint32_t inside = to - i >= 16 ? 0xFFFFu : (std::uint32_t(1) << (to - i)) - 1;
        const std::uint32_t ends =
            b.ends ? static_cast<std::uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(v, e))) & inside : 0;
        std::uint32_t may = 0;
        if (b.mayQuoteCount > 0)
            may = static_cast<std::uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(v, q0)));
        if (b.mayQuoteCount > 1)
            may |= static_cast<std::uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(v, q1)));
        may &= inside;
        if (ends) {
            const int p = std::countr_zero(ends);
            mayQuote = mayQuote || (may & ((std::uint32_t(1) << p) - 1)) != 0;
            return i + p;
        }
        mayQuote = mayQuote || may != 0;
    }
    return to;
#else
    for (; i < to; ++i) {
        const char ch = data[i];
        if (b.ends && ch == b.end)
            return i;
        for (int k = 0; k < b.mayQuoteCount; ++k)
            mayQuote = mayQuote || ch == b.mayQuote[k];
    }
    return to;
#endif
}

// One-byte text saved with another delimiter: a line goes out as it stands with each delimiter
// outside quotes swapped, its LF the save's line ending, unless an unquoted cell in it holds the
// save delimiter, a CR, a record separator or a quote other than one that opens the cell, or a
// quoted cell would lose its quotes (the writer quotes only a cell that holds the save delimiter,
// a line break, a record separator, starts with a quote or, under "RFC 4180", holds one), or it
// has text behind a closing quote. Such lines are swapped 64 bytes at a time, a stretch of them in
// one go; only line ends and quotes, and inside quoted cells the bytes that keep the quotes, are
// looked at one by one.
struct SwapKeys {
    char delimiter = ',';
    char save = ';';
    char quote = '"';
    char lf = 10;
    char cr = 13;
    char rs = 30;
    bool quotedCells = true;   // quotes at a cell's start are read, and the writer may put them
    bool quoteAnywhere = true; // the writer quotes a cell with a quote anywhere in it
};

// Where a run of swapped lines stopped. Offsets count from the run's start.
struct SwapStop {
    qint64 lines = 0;        // the lines swapped
    qint64 lineStart = 0;    // where the line behind them starts: the first that wasn't
    qint64 outLineStart = 0; // ... and where their bytes made end
    qint64 at = -1;          // a byte of that line that stopped the run; -1 where the data ended
};

// Makes the lines from bytes [0, n) of p into `to`: every delimiter outside quotes made the save
// one, the quotes taken off a quoted cell that needs none; fills `stop`. Reads and writes whole
// blocks of 64: p is readable up to n rounded up to 64 and one byte more, `to` writable up to n
// rounded up to 64. Bytes of `to` from stop.outLineStart on are undefined.
using SwapRunFunction = void (*)(const char* p, char* to, qint64 n, const SwapKeys& keys, SwapStop& stop);

// Where a run stands between two blocks: inside a quoted cell or not.
struct SwapState {
    bool inside = false;
    bool needs = false;   // the quoted cell keeps its quotes
    bool doubled = false; // ... holds a doubled quote
    qint64 cellStart = 0; // its opening quote
    qint64 skip = -1;     // the second quote of a doubled one
    qint64 shift = 0;     // bytes of p behind the ones made: two for every cell unquoted
};

// The marked bytes of the block at k, in order: false, with `stop` filled, where the run stops.
inline bool swapEvents(const char* p, char* to, qint64 n, qint64 k, std::uint64_t events,
                       const SwapKeys& keys, SwapState& st, SwapStop& stop) {
    while (events) {
        const qint64 pos = k + std::countr_zero(events);
        events &= events - 1;
        if (pos == st.skip)
            continue;
        const char ch = p[pos];
        if (st.inside) {
            if (ch != keys.quote) {
                st.needs = true; // the save delimiter or a line break
                continue;
            }
            if (pos + 1 >= n) { // the next byte isn't the run's
                stop.at = st.cellStart;
                return false;
            }
            const char next = p[pos + 1];
            if (next == keys.quote) {
                st.needs = st.needs || keys.quoteAnywhere || pos == st.cellStart + 1;
                st.doubled = true;
                st.skip = pos + 1;
                continue;
            }
            if ((next != keys.delimiter && next != keys.lf) || (!st.needs && st.doubled)) {
                stop.at = st.cellStart;
                return false;
            }
            char* const cell = to + st.cellStart - st.shift;
            if (st.needs) {
                // The cell as it stands, its delimiters too.
                std::memcpy(cell, p + st.cellStart, static_cast<size_t>(pos + 1 - st.cellStart));
            } else {
                // Its text without the quotes, and the rest of the block made moved up to it.
                std::memcpy(cell, p + st.cellStart + 1, static_cast<size_t>(pos - st.cellStart - 1));
                std::memmove(to + pos - 1 - st.shift, to + pos + 1 - st.shift,
                             static_cast<size_t>(k + 63 - pos));
                st.shift += 2;
            }
            st.inside = false;
            continue;
        }
        if (ch == keys.lf) {
            ++stop.lines;
            stop.lineStart = pos + 1;
            stop.outLineStart = pos + 1 - st.shift;
            continue;
        }
        if (ch == keys.quote && keys.quotedCells &&
            (pos == 0 || p[pos - 1] == keys.delimiter || p[pos - 1] == keys.lf)) {
            st.inside = true;
            st.needs = false;
            st.doubled = false;
            st.cellStart = pos;
            continue;
        }
        stop.at = pos;
        return false;
    }
    return true;
}

inline std::uint64_t swapValid(qint64 k, qint64 n) {
    return n - k >= 64 ? ~std::uint64_t(0) : (std::uint64_t(1) << (n - k)) - 1;
}

inline void swapRunPlain(const char* p, char* to, qint64 n, const SwapKeys& keys, SwapStop& stop) {
    stop = SwapStop{};
    SwapState st;
    for (qint64 k = 0; k < n; k += 64) {
        std::uint64_t events = 0;
        for (int i = 0; i < 64; ++i) {
            const char ch = p[k + i];
            to[k - st.shift + i] = ch == keys.delimiter ? keys.save : ch;
            events |= std::uint64_t(ch == keys.quote || ch == keys.save || ch == keys.cr || ch == keys.rs ||
                                    ch == keys.lf)
                      << i;
        }
        if (!swapEvents(p, to, n, k, events & swapValid(k, n), keys, st, stop))
            return;
    }
}

#ifdef ORVANE_SWAPRUN_X86

inline void swapRunSse2(const char* p, char* to, qint64 n, const SwapKeys& keys, SwapStop& stop) {
    stop = SwapStop{};
    SwapState st;
    const __m128i d = _mm_set1_epi8(keys.delimiter);
    const __m128i s = _mm_set1_epi8(keys.save);
    const __m128i q = _mm_set1_epi8(keys.quote);
    const __m128i lf = _mm_set1_epi8(keys.lf);
    const __m128i cr = _mm_set1_epi8(keys.cr);
    const __m128i rs = _mm_set1_epi8(keys.rs);
    for (qint64 k = 0; k < n; k += 64) {
        std::uint64_t events = 0;
        for (int part = 0; part < 4; ++part) {
            const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + k + 16 * part));
            const __m128i isDelimiter = _mm_cmpeq_epi8(v, d);
            _mm_storeu_si128(reinterpret_cast<__m128i*>(to + k - st.shift + 16 * part),
                             _mm_or_si128(_mm_andnot_si128(isDelimiter, v), _mm_and_si128(isDelimiter, s)));
            const __m128i hit =
                _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi8(v, s), _mm_cmpeq_epi8(v, q)),
                             _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi8(v, cr), _mm_cmpeq_epi8(v, rs)),
                                          _mm_cmpeq_epi8(v, lf)));
            events |= std::uint64_t(static_cast<std::uint16_t>(_mm_movemask_epi8(hit))) << (16 * part);
        }
        if (!swapEvents(p, to, n, k, events & swapValid(k, n), keys, st, stop))
            return;
    }
}

__attribute__((target("avx512f,avx512bw"))) inline void swapRunAvx512(const char* p, char* to, qint64 n,
                                                                      const SwapKeys& keys, SwapStop& stop) {
    stop = SwapStop{};
    SwapState st;
    const __m512i d = _mm512_set1_epi8(keys.delimiter);
    const __m512i s = _mm512_set1_epi8(keys.save);
    const __m512i q = _mm512_set1_epi8(keys.quote);
    const __m512i lf = _mm512_set1_epi8(keys.lf);
    const __m512i cr = _mm512_set1_epi8(keys.cr);
    const __m512i rs = _mm512_set1_epi8(keys.rs);
    for (qint64 k = 0; k < n; k += 64) {
        const __m512i v = _mm512_loadu_si512(p + k);
        _mm512_storeu_si512(to + k - st.shift, _mm512_mask_mov_epi8(v, _mm512_cmpeq_epi8_mask(v, d), s));
        const std::uint64_t events = _mm512_cmpeq_epi8_mask(v, s) | _mm512_cmpeq_epi8_mask(v, q) |
                                     _mm512_cmpeq_epi8_mask(v, cr) | _mm512_cmpeq_epi8_mask(v, rs) |
                                     _mm512_cmpeq_epi8_mask(v, lf);
        if (!swapEvents(p, to, n, k, events & swapValid(k, n), keys, st, stop))
            return;
    }
}

#endif

// The swappers this processor runs, the plain one first: the last is the fastest. For tests that
// hold them to each other.
inline int availableSwapRuns(SwapRunFunction* out) {
    int n = 0;
    out[n++] = &swapRunPlain;
#ifdef ORVANE_SWAPRUN_X86
    out[n++] = &swapRunSse2;
    if (__builtin_cpu_supports("avx512bw"))
        out[n++] = &swapRunAvx512;
#endif
    return n;
}

inline SwapRunFunction bestSwapRun() {
    static const SwapRunFunction best = [] {
        SwapRunFunction all[3];
        return all[availableSwapRuns(all) - 1];
    }();
    return best;
}

} // namespace ReadOnlySaveLines
