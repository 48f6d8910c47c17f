#include "storage/editabledatacontainer.h"

#include "storage/largepageallocator.h"
#include "storage/loadevents.h"
#include "storage/loadscan.h"
#include "storage/piecereader.h"
#include "storage/rowarena.h"
#include "storage/saveerrorguard.h"

#include <QFile>
#include <QSaveFile>

#include <algorithm>
#include <atomic>
#include <bit>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <system_error>
#include <thread>
#include <type_traits>

namespace {

std::atomic<qint64> s_pieceSizeForTesting{0};
std::atomic<int> s_instructionSetForTesting{0};

// The read buffer runs this far past a piece, zeroed, so that the scanner may read whole blocks
// of 64 bytes and a short cell may be copied sixteen bytes at a time.
constexpr qint64 kPiecePadding = 64;

// The read buffer, in large pages where the system has them.
struct ReadBuffer {
    struct Release {
        void operator()(char* p) const { LargePages::release(p); }
    };
    std::unique_ptr<char, Release> memory;

    explicit ReadBuffer(size_t size) : memory(static_cast<char*>(LargePages::allocate(size))) {}
    char* get() const { return memory.get(); }
};

// Readies `got` bytes just read for the machines: a last, incomplete character (only the file's
// last one can be) is completed with zero bytes, and the padding behind it is zeroed. Returns the
// piece's length in whole characters.
qint64 completePiece(char* data, qint64 got, int unit) {
    qint64 length = got;
    if (unit > 1 && length % unit != 0) {
        const qint64 whole = (length + unit - 1) / unit * unit;
        std::memset(data + length, 0, static_cast<size_t>(whole - length));
        length = whole;
    }
    std::memset(data + length, 0, kPiecePadding);
    return length;
}

// Class of a byte (or unit) as the reader sees it. A quote only counts at a cell's start and
// inside quotes; in a plain cell it is an ordinary byte.
enum ByteClass : unsigned char {
    Ordinary = 0,
    Delimiter = 1,
    Terminator = 2, // LF or record separator
    CarriageReturn = 3,
    QuoteChar = 4,
};

enum class ParseState : unsigned char {
    RowStart,   // a row has ended (or none has started); the next character opens a row
    CellStart,  // a delimiter has ended a cell; the next character opens a cell
    PlainCell,  // inside an unquoted cell
    QuotedCell, // inside quotes
    AfterQuote, // just behind a quote that may close the cell
};

bool contains(const std::vector<int>& sortedList, int value) {
    return std::binary_search(sortedList.begin(), sortedList.end(), value);
}

// Where the next separator (delimiter or terminator) or quote of a piece is, for the cells that
// the state machine reads. The piece is scanned into bit masks a window of blocks at a time, as
// the machine comes to them, and it jumps from one marked byte to the next.
class PieceCursor {
public:
    PieceCursor(char delimiter, bool withDelimiter) : scan(LoadScan::bestScanFunction()) {
        // Without a delimiter LF stands in for it, which adds nothing to the set.
        keys.delimiter = withDelimiter ? delimiter : KeyChars::LF;
        keys.lineFeed = KeyChars::LF;
        keys.carriageReturn = KeyChars::CR;
        keys.recordSeparator = KeyChars::RecordSeparator;
        keys.quote = KeyChars::Quote;
    }

    // A new piece of `length` bytes, readable (and zeroed) for kPiecePadding bytes beyond.
    void reset(const char* data, size_t length) {
        base = data;
        blocks = (length + 63) / 64;
        const size_t tail = length % 64;
        lastBlockMask = tail ? (std::uint64_t(1) << tail) - 1 : ~std::uint64_t(0);
        first = 0;
        count = 0;
    }

    const char* pieceStart() const { return base; }

    // The first separator at or after p, or end.
    const char* nextSeparator(const char* p, const char* end) { return next<false>(p, end); }
    // The first quote at or after p, or end.
    const char* nextQuote(const char* p, const char* end) { return next<true>(p, end); }

private:
    static constexpr size_t kWindow = 64; // blocks, 4 KiB: the masks stay in the first-level cache

    template <bool Quotes> [[gnu::always_inline]] inline const char* next(const char* p, const char* end) {
        const size_t offset = static_cast<size_t>(p - base);
        size_t b = offset / 64;
        if (b >= blocks)
            return end;
        if (b - first >= count)
            fill(b);
        std::uint64_t m = (Quotes ? quotes : separators)[b - first] & (~std::uint64_t(0) << (offset % 64));
        while (m == 0) {
            if (++b >= blocks)
                return end;
            if (b - first >= count)
                fill(b);
            m = (Quotes ? quotes : separators)[b - first];
        }
        return base + b * 64 + LoadScan::lowestBit(m);
    }

    [[gnu::noinline]] void fill(size_t block) {
        first = block;
        count = std::min(kWindow, blocks - block);
        scan(base + block * 64, count, keys, separators, quotes);
        if (first + count == blocks) {
            // The last block's bytes past the piece are padding, never data.
            separators[count - 1] &= lastBlockMask;
            quotes[count - 1] &= lastBlockMask;
        }
    }

    LoadScan::ScanFunction scan;
    LoadScan::Keys keys;
    const char* base = nullptr;
    size_t blocks = 0;
    std::uint64_t lastBlockMask = 0;
    size_t first = 0; // the window holds the masks of blocks [first, first + count)
    size_t count = 0;
    std::uint64_t separators[kWindow];
    std::uint64_t quotes[kWindow];
};

} // namespace

// --- Row building, shared by every parser --------------------------------------------------
// Cells arrive in reading order, so a row is only ever appended to: its bytes and cell ends
// gather in buffers that keep their capacity from row to row, and the finished row is packed
// into one block of exactly its size, carved from the load's arena when the file is large. An
// empty cell is not stored unless a later cell of the row needs the place: memory follows content.
struct EditableDataContainer::RowSink {
    // A cell copied sixteen bytes at a time writes up to 15 bytes past its end.
    static constexpr size_t kSlack = 16;

    EditableDataContainer& c;
    RowArena ownArena;
    RowArena* arena = &ownArena; // a helper that reads several parts of a file gives its own
    bool useArena = false;       // only for files that fill a chunk: a small table keeps no spare memory
    std::unique_ptr<char[]> bytes;
    size_t used = 0;
    size_t capacity = 0;
    std::unique_ptr<std::uint64_t[]> ends;
    size_t count = 0;
    size_t endsCapacity = 0;
    bool rowOpen = false;

    explicit RowSink(EditableDataContainer& container) : c(container) {
        grow(4096);
        growEnds(64);
    }

    [[gnu::noinline]] void grow(size_t needed) {
        const size_t newCapacity = std::max(needed, capacity * 2);
        std::unique_ptr<char[]> larger(new char[newCapacity]);
        if (used > 0)
            std::memcpy(larger.get(), bytes.get(), used);
        bytes = std::move(larger);
        capacity = newCapacity;
    }

    [[gnu::noinline]] void growEnds(size_t needed) {
        const size_t newCapacity = std::max(needed, endsCapacity * 2);
        std::unique_ptr<std::uint64_t[]> larger(new std::uint64_t[newCapacity]);
        // All of it: the hot path keeps ends past `count` that it hasn't counted yet.
        if (endsCapacity > 0)
            std::memcpy(larger.get(), ends.get(), endsCapacity * sizeof(std::uint64_t));
        ends = std::move(larger);
        endsCapacity = newCapacity;
    }

    // A row counts from its first cell; it joins the table, packed, when it ends.
    void openRow() { rowOpen = true; }

    // Room for cell `index` and `length` more bytes.
    [[gnu::noinline]] void makeRoom(size_t index, size_t length) {
        if (index >= endsCapacity)
            growEnds(index + 1);
        if (capacity - used < length + kSlack)
            grow(used + length + kSlack);
    }

    // Sets the ends of the empty cells that come before cell `index`, beyond those stored, so
    // that any cell may be written next; the count of stored cells stays.
    void padTo(int index) {
        const size_t cells = static_cast<size_t>(index);
        if (cells > endsCapacity)
            growEnds(cells);
        for (size_t i = count; i < cells; ++i)
            ends[i] = used;
    }

    // Counts the cell and makes room for its bytes; false when there is nothing to store.
    [[gnu::always_inline]] inline bool place(int col, size_t length) {
        if (!rowOpen)
            openRow();
        if (col >= c.numColsLogical)
            c.numColsLogical = col + 1;
        if (length == 0)
            return false;
        const size_t index = static_cast<size_t>(col);
        if (index >= endsCapacity)
            growEnds(index + 1);
        while (count < index)
            ends[count++] = used; // empty cells before this one
        if (capacity - used < length + kSlack)
            grow(used + length + kSlack);
        return true;
    }

    [[gnu::always_inline]] inline void store(int col, const char* data, size_t length) {
        if (!place(col, length))
            return;
        std::memcpy(bytes.get() + used, data, length);
        used += length;
        ends[count++] = used;
    }

    void endRow() {
        if (rowOpen) {
            if (count > 0)
                c.rows.push_back(
                    PackedRow::fromParts(bytes.get(), ends.get(), count, useArena ? arena : nullptr));
            else
                c.rows.emplace_back();
            c.numRowsLogical = static_cast<int>(c.rows.size());
        }
        used = 0;
        count = 0;
        rowOpen = false;
    }
};

// --- The single-byte machine ---------------------------------------------------------------
// The reader walks the piece's events (delimiters and row ends outside quotes) from one to the
// next, and a cell that lies within the piece is stored straight from the read buffer. A cell that
// crosses a piece, or lies where quote parity can't be trusted, gathers in `cell` and goes through
// the state machine, which jumps between raw separators and quotes (PieceCursor).
struct EditableDataContainer::ByteMachine {
    RowSink sink;
    EditableDataContainer& c;
    unsigned char cellStartClass[256] = {}; // class of a cell's first byte
    PieceCursor cursor;
    ParseState state = ParseState::RowStart;
    bool skipLineFeed = false; // a CR ended the row; a LF right behind it belongs to it
    int row = -1;
    int col = -1;
    std::vector<char> cell;   // the cell under construction when it crosses pieces or is quoted
    qint64 piecePosition = 0; // of the piece's first byte in the file
    int quoteByte = -1;       // the quote when quotes are honoured, else no byte at all
    const bool honoursQuotes; // as the standard says, before the delimiter has its say

    // The hot path's masks of the piece: events outside quotes, and which of them end rows.
    LoadEvents::Window events;
    LoadEvents::Keys eventKeys;
    LoadEvents::FillFunction fill;
    size_t pieceBlocks = 0;
    std::uint64_t lastByteBit = 0; // the piece's last byte in its block
    size_t windowBlocks = 1;

    ByteMachine(EditableDataContainer& container, bool withDelimiter, bool honourQuotes)
        : sink(container), c(container), cursor(container.delimiter, withDelimiter),
          honoursQuotes(honourQuotes), fill(LoadEvents::bestFillFunction(s_instructionSetForTesting.load())) {
        const bool quotes = withDelimiter && honourQuotes && container.delimiter != KeyChars::Quote;
        quoteByte = quotes ? static_cast<unsigned char>(KeyChars::Quote) : -1;
        eventKeys.delimiter = static_cast<unsigned char>(container.delimiter);
        eventKeys.withDelimiter = withDelimiter;
        eventKeys.quotes = quotes;
        cellStartClass[static_cast<unsigned char>(KeyChars::LF)] = Terminator;
        cellStartClass[static_cast<unsigned char>(KeyChars::RecordSeparator)] = Terminator;
        cellStartClass[static_cast<unsigned char>(KeyChars::CR)] = CarriageReturn;
        if (withDelimiter && honourQuotes)
            cellStartClass[static_cast<unsigned char>(KeyChars::Quote)] = QuoteChar;
        // The delimiter wins over every other meaning of its byte.
        if (withDelimiter)
            cellStartClass[static_cast<unsigned char>(container.delimiter)] = Delimiter;
        cell.reserve(256);
    }

    void endRowBy(unsigned char cls) {
        sink.endRow();
        state = ParseState::RowStart;
        skipLineFeed = cls == CarriageReturn;
    }

    // Quotes stripped at both ends, doubled quotes undone, in place.
    void storeQuoted() {
        size_t w = 0;
        const size_t last = cell.size() - 1;
        for (size_t r = 1; r < last; ++r) {
            cell[w++] = cell[r];
            if (cell[r] == KeyChars::Quote && r + 1 < last && cell[r + 1] == KeyChars::Quote)
                ++r;
        }
        sink.store(col, cell.data(), w);
    }

    // Hands the hot path's locals back to the sink: it wrote cells firstColumn to lastColumn,
    // and `storedBefore` cells were stored before them.
    [[gnu::noinline]] void settle(int lastColumn, int firstColumn, size_t storedBefore, size_t used) {
        sink.used = used;
        size_t stored = storedBefore;
        const std::uint64_t* ends = sink.ends.get();
        for (int i = lastColumn; i >= firstColumn; --i) {
            if (ends[i] != (i > 0 ? ends[i - 1] : 0)) {
                stored = static_cast<size_t>(i) + 1;
                break;
            }
        }
        sink.count = stored;
        if (lastColumn >= c.numColsLogical)
            c.numColsLogical = lastColumn + 1;
    }

    // Stores a row that the hot path read whole, cells 0 to lastColumn, without going through
    // the sink's fields.
    [[gnu::always_inline]] inline void packRow(int lastColumn, const std::uint64_t* ends, const char* bytes) {
        if (lastColumn >= c.numColsLogical)
            c.numColsLogical = lastColumn + 1;
        size_t count = static_cast<size_t>(lastColumn) + 1;
        while (count > 0 && ends[count - 1] == (count > 1 ? ends[count - 2] : 0))
            --count; // empty cells at the end aren't stored
        if (count > 0)
            c.rows.push_back(PackedRow::fromParts(bytes, ends, count, sink.useArena ? sink.arena : nullptr));
        else
            c.rows.emplace_back();
        c.numRowsLogical = static_cast<int>(c.rows.size());
        sink.used = 0;
        sink.count = 0;
        sink.rowOpen = false;
    }

    // Hands the cell that starts at `start`, column `column`, to the state machine, which reads
    // it byte by byte; the hot path takes over again at the next cell.
    const char* handOver(const char* start, int column, int firstColumn, size_t storedBefore, size_t used) {
        settle(column - 1, firstColumn, storedBefore, used);
        col = column;
        if (quoteByte >= 0 && static_cast<unsigned char>(*start) == quoteByte) {
            cell.assign(1, KeyChars::Quote);
            state = ParseState::QuotedCell;
            return start + 1;
        }
        cell.clear();
        state = ParseState::PlainCell;
        return start;
    }

    // The events of block b, and where the walk must stop and look: row ends, and the piece's
    // last byte. False when the hot path can't read that block: it lies past the piece, or
    // parity can't tell its quoting.
    [[gnu::always_inline]] inline bool blockEvents(size_t b, std::uint64_t& m, std::uint64_t& stops) {
        if (b - events.first >= events.count) {
            if (events.invalid || b >= pieceBlocks || b != events.first + events.count)
                return false;
            fillEvents(b);
            if (events.count == 0)
                return false; // block b itself can't be read by parity
        }
        m = events.events[b - events.first];
        stops = events.rowEnds[b - events.first] | (b == pieceBlocks - 1 ? lastByteBit : 0);
        return true;
    }

    [[gnu::noinline]] void fillEvents(size_t b) {
        // A window grows from a few blocks after each entry, so that text the hot path has to
        // leave again soon (odd quotes) costs little scanning.
        const size_t blocks = std::min(windowBlocks, LoadEvents::Window::kBlocks);
        windowBlocks = std::min(windowBlocks * 4, LoadEvents::Window::kBlocks);
        fill(reinterpret_cast<const unsigned char*>(cursor.pieceStart()), b, blocks, pieceBlocks - 1,
             eventKeys, events);
    }

    // Starts the event masks at `offset` of the piece, where a cell starts outside quotes.
    void enterAt(size_t offset) {
        events.first = offset / 64;
        events.count = 0;
        events.invalid = false;
        events.insideCarry = 0;
        events.closerCarry = 0;
        events.crCarry = 0;
        events.startCarry = std::uint64_t(1) << (offset % 64);
        events.entryKeep = ~std::uint64_t(0) << (offset % 64);
        windowBlocks = 1;
    }

    // True if one of the `length` (at most 16) bytes at p is a quote; reads 16 bytes.
    static bool quoteAmong16(const char* p, size_t length) {
        constexpr std::uint64_t kOnes = 0x0101010101010101ULL;
        std::uint64_t half[2];
        std::memcpy(half, p, 16);
        for (int i = 0; i < 2; ++i) {
            if constexpr (std::endian::native == std::endian::big)
                half[i] = __builtin_bswap64(half[i]); // byte k of the text in bits 8k to 8k + 7
            const std::uint64_t x = half[i] ^ (kOnes * static_cast<unsigned char>(KeyChars::Quote));
            std::uint64_t found = (x - kOnes) & ~x & (kOnes << 7); // a zero byte of x is a quote
            const size_t bytesHere = std::min<size_t>(length, 8);
            if (bytesHere < 8)
                found &=
                    (std::uint64_t(1) << (8 * bytesHere)) - 1; // a false mark only ever lies above a true one
            if (found)
                return true;
            length -= bytesHere;
            if (length == 0)
                return false;
        }
        return false;
    }

    // The text between the quotes of a closed quoted cell, [from, to), into out with each pair
    // of quotes as one; returns the end of what was written.
    static char* undoDoubledQuotes(char* out, const char* from, const char* const to) {
        while (from < to) {
            const char* at =
                static_cast<const char*>(std::memchr(from, KeyChars::Quote, static_cast<size_t>(to - from)));
            if (!at)
                at = to;
            else
                ++at; // the pair's first quote goes in
            std::memcpy(out, from, static_cast<size_t>(at - from));
            out += at - from;
            from = at + 1;
        }
        return out;
    }

    // The text of a cell that starts with a quote, [start, q), into out: closed right before its
    // end, the text between the quotes with each pair of quotes inside as one; with text behind
    // its closing quote, the cell as it stands. Returns the end of what was written.
    [[gnu::always_inline]] static inline char* quotedCell(char* out, const char* start, const char* q) {
        size_t length = static_cast<size_t>(q - start);
        if (length >= 2 && q[-1] == KeyChars::Quote) {
            ++start;
            length -= 2;
            if (length > 16 ? std::memchr(start, KeyChars::Quote, length) != nullptr
                            : quoteAmong16(start, length))
                return undoDoubledQuotes(out, start, q - 1);
        }
        std::memcpy(out, start, 16);
        if (length > 16)
            copyRest(out, start, length);
        return out + length;
    }

    // The bytes of a cell past its first sixteen, sixteen at a time.
    [[gnu::noinline]] static void copyRest(char* out, const char* from, size_t length) {
        for (size_t i = 16; i < length; i += 16)
            std::memcpy(out + i, from + i, 16);
    }

    // What the hot path's loop keeps out of its registers: looked at once a block or a row.
    struct Walk {
        int firstColumn = 0;           // the first cell this call writes in the row
        size_t storedBefore = 0;       // cells stored before it, up to the last non-empty one
        const char* roomEnd = nullptr; // the reading may go up to here with room in both buffers
    };

    // The hot path, from the start of cell `col` at p: reads cells and rows for as long as it
    // can, and returns where the reading stopped, with the state set for what comes there. It
    // walks the events of the piece's masks one after the other, delimiters and row ends outside
    // quotes; each ends a cell, and the cell's bytes go straight from the piece into the row: a
    // plain cell as it stands, a quoted one without its quotes and with its doubled quotes
    // undone, and one with text behind its closing quote as it stands. It stops at the end of
    // the piece, at a row's start when the state machine has work there, and hands a cell to the
    // state machine when the cell runs past the piece or lies where parity can't read quotes.
    //
    // The sink's fields are worked on in locals: the compiler must assume that a byte stored
    // into the row may change any field, and would reload them all for every cell. Which cells
    // are stored (up to the last non-empty one) is settled from their ends when the call stops.
    const char* readCells(const char* p, const char* const end) {
        return quoteByte >= 0 ? readCellsOf<true>(p, end) : readCellsOf<false>(p, end);
    }

    template <bool Quotes> const char* readCellsOf(const char* p, const char* const end) {
        if (!sink.rowOpen)
            sink.openRow();
        sink.padTo(col);
        Walk walk;
        walk.firstColumn = col;
        walk.storedBefore = sink.count;
        char* bytes = sink.bytes.get();
        char* out = bytes + sink.used;
        std::uint64_t* endsBase = sink.ends.get();
        std::uint64_t* endAt = endsBase + col; // where the end of the cell being read goes
        const char* const base = cursor.pieceStart();

        // A cell takes at most the bytes read for it and one end, so while the reading stays
        // before `roomEnd` both buffers have room (the row buffer with its slack).
        const auto measureRoom = [&](const char* from) {
            const std::ptrdiff_t byteRoom = (bytes + sink.capacity - RowSink::kSlack) - out;
            const std::ptrdiff_t endRoom = (endsBase + sink.endsCapacity - 1) - endAt;
            walk.roomEnd = from + std::min(byteRoom, endRoom);
        };
        const auto makeRoom = [&](const char* from, const char* until) {
            const size_t reach = static_cast<size_t>(until - from);
            const size_t column = static_cast<size_t>(endAt - endsBase);
            sink.used = static_cast<size_t>(out - bytes);
            // Ends and bytes to spare, so that a row of many or long cells seldom comes here.
            sink.makeRoom(column + reach + 64, reach + 4096);
            bytes = sink.bytes.get();
            out = bytes + sink.used;
            endsBase = sink.ends.get();
            endAt = endsBase + column;
            measureRoom(from);
        };
        const auto columnOf = [&] { return static_cast<int>(endAt - endsBase); };

        const char* start = p;
        measureRoom(start);
        enterAt(static_cast<size_t>(start - base));
        for (size_t b = static_cast<size_t>(start - base) / 64;; ++b) {
            std::uint64_t m;
            std::uint64_t stops;
            if (!blockEvents(b, m, stops))
                return handOver(start, columnOf(), walk.firstColumn, walk.storedBefore,
                                static_cast<size_t>(out - bytes));
            const char* const blockBase = base + b * 64;
            if (blockBase + 64 > walk.roomEnd)
                makeRoom(start, blockBase + 64);
            while (m) {
                const size_t bit = static_cast<size_t>(LoadScan::lowestBit(m));
                m &= m - 1;
                const char* const q = blockBase + bit; // the delimiter or line ending behind the cell
                if (__builtin_expect(Quotes && *start == KeyChars::Quote, 0)) {
                    out = quotedCell(out, start, q);
                } else {
                    // Sixteen bytes at a time: the piece is padded, the row buffer has the slack.
                    const size_t length = static_cast<size_t>(q - start);
                    std::memcpy(out, start, 16);
                    if (__builtin_expect(length > 16, 0))
                        copyRest(out, start, length);
                    out += length;
                }
                *endAt = static_cast<std::uint64_t>(out - bytes);
                start = q + 1;
                if (__builtin_expect(!((stops >> bit) & 1), 1)) {
                    ++endAt;
                    continue;
                }
                // A row ends here, or the piece does.
                const int column = columnOf();
                col = column;
                if (!((events.rowEnds[b - events.first] >> bit) & 1)) {
                    // A delimiter as the piece's last byte: the next cell starts in the next piece.
                    settle(column, walk.firstColumn, walk.storedBefore, static_cast<size_t>(out - bytes));
                    state = ParseState::CellStart;
                    return end;
                }
                if (walk.firstColumn == 0) {
                    packRow(column, endsBase, bytes);
                    state = ParseState::RowStart;
                    skipLineFeed = *q == KeyChars::CR;
                } else {
                    settle(column, walk.firstColumn, walk.storedBefore, static_cast<size_t>(out - bytes));
                    endRowBy(*q == KeyChars::CR ? CarriageReturn : Terminator);
                }
                // The next row starts here too, unless the state machine has work at its start:
                // a CR's LF at the end of the piece, a cancel or a progress report.
                if (start == end)
                    return start;
                if (skipLineFeed) {
                    // The masks already leave the LF out.
                    skipLineFeed = false;
                    if (*start == KeyChars::LF && ++start == end)
                        return start;
                }
                if (c.loadCanceled.load(std::memory_order_relaxed) ||
                    (c.fileSize >= kProgressThreshold && piecePosition + (start - base) > c.nextProgressMark))
                    return start;
                ++row;
                state = ParseState::CellStart;
                sink.openRow();
                endAt = endsBase;
                out = bytes;
                walk.firstColumn = 0;
                walk.storedBefore = 0;
                measureRoom(start);
                if (blockBase + 64 > walk.roomEnd)
                    makeRoom(start, blockBase + 64);
            }
        }
    }

    // True between rows, with nothing of the next one read: reading on from here is reading a
    // file that starts here.
    bool atCleanRowStart() const { return state == ParseState::RowStart && !skipLineFeed; }
    // What the machine was made with, for the machines that read parts of the same file.
    bool delimited() const { return eventKeys.withDelimiter; }
    bool quoted() const { return honoursQuotes; }

    // Returns false when the load was cancelled at a row start. The piece is padded as
    // PieceCursor::reset() says.
    bool feed(const char* data, qint64 length, qint64 position) {
        const char* p = data;
        const char* const end = data + length;
        cursor.reset(data, static_cast<size_t>(length));
        pieceBlocks = (static_cast<size_t>(length) + 63) / 64;
        lastByteBit = std::uint64_t(1) << ((static_cast<size_t>(length) - 1) % 64);
        piecePosition = position;
        while (p < end) {
            switch (state) {
            case ParseState::RowStart:
                if (skipLineFeed) {
                    skipLineFeed = false;
                    if (*p == KeyChars::LF) {
                        ++p;
                        continue;
                    }
                }
                ++row;
                col = -1;
                if (c.loadCanceled.load(std::memory_order_relaxed))
                    return false;
                if (c.fileSize >= kProgressThreshold && position + (p - data) > c.nextProgressMark)
                    c.reportProgressIfDue(position + (p - data), c.fileSize, 1);
                [[fallthrough]];
            case ParseState::CellStart:
                ++col;
                p = readCells(p, end);
                continue;
            case ParseState::PlainCell: {
                const char* q = cursor.nextSeparator(p, end);
                cell.insert(cell.end(), p, q);
                p = q;
                if (p == end)
                    continue;
                sink.store(col, cell.data(), cell.size());
                const unsigned char endCls = cellStartClass[static_cast<unsigned char>(*p)];
                if (endCls == Delimiter)
                    state = ParseState::CellStart;
                else
                    endRowBy(endCls);
                ++p;
                continue;
            }
            case ParseState::QuotedCell: {
                const char* q = cursor.nextQuote(p, end);
                if (q == end) {
                    cell.insert(cell.end(), p, end);
                    p = end;
                    continue;
                }
                cell.insert(cell.end(), p, q + 1);
                p = q + 1;
                state = ParseState::AfterQuote;
                continue;
            }
            case ParseState::AfterQuote: {
                const unsigned char cls = cellStartClass[static_cast<unsigned char>(*p)];
                if (cls == Delimiter) {
                    storeQuoted();
                    state = ParseState::CellStart;
                } else if (cls == Terminator || cls == CarriageReturn) {
                    storeQuoted();
                    endRowBy(cls);
                } else {
                    // A second quote reopens the quotes; anything else is text behind a closing
                    // quote, and the cell goes on as a plain one with its quotes as they stand.
                    cell.push_back(*p);
                    state = cls == QuoteChar ? ParseState::QuotedCell : ParseState::PlainCell;
                }
                ++p;
                continue;
            }
            }
        }
        return true;
    }

    void finish() {
        switch (state) {
        case ParseState::RowStart:
            break; // a final line ending makes no row
        case ParseState::CellStart:
            sink.store(col + 1, nullptr, 0); // a trailing delimiter still counts a column
            break;
        case ParseState::PlainCell:
            sink.store(col, cell.data(), cell.size());
            break;
        case ParseState::QuotedCell: {
            // Never closed: the cell keeps its opening quote; a delimiter or line ending as the
            // very last byte of the file isn't part of it.
            const unsigned char lastCls = cellStartClass[static_cast<unsigned char>(cell.back())];
            if (cell.size() > 1 &&
                (lastCls == Delimiter || lastCls == Terminator || lastCls == CarriageReturn))
                cell.pop_back();
            sink.store(col, cell.data(), cell.size());
            break;
        }
        case ParseState::AfterQuote:
            storeQuoted();
            break;
        }
    }
};

// --- The multi-byte machine ------------------------------------------------------------------
// The same machine over units of 2 or 4 bytes; a unit is compared with the key sequences as
// one integer, which is the byte comparison done at once.
template <int BytesPerUnit> struct EditableDataContainer::UnitMachine {
    using Unit = std::conditional_t<BytesPerUnit == 2, quint16, quint32>;

    RowSink sink;
    EditableDataContainer& c;
    bool withDelimiter;
    bool honourQuotes;
    Unit delimiterUnit = 0;
    Unit crUnit = 0;
    Unit lfUnit = 0;
    Unit rsUnit = 0;
    Unit quoteUnit = 0;
    ParseState state = ParseState::RowStart;
    bool skipLineFeed = false;
    int row = -1;
    int col = -1;
    std::vector<char> cell;

    static Unit unitOf(const std::vector<char>& bytes) {
        Unit u = 0;
        if (bytes.size() == BytesPerUnit)
            std::memcpy(&u, bytes.data(), BytesPerUnit);
        return u;
    }
    static Unit load(const char* p) {
        Unit u;
        std::memcpy(&u, p, BytesPerUnit);
        return u;
    }

    UnitMachine(EditableDataContainer& container, bool delimited, bool quotes)
        : sink(container), c(container), withDelimiter(delimited), honourQuotes(delimited && quotes) {
        const KeyCharVecs keys = container.setKeyCharVecs();
        delimiterUnit = unitOf(keys.delimiter);
        crUnit = unitOf(keys.cr);
        lfUnit = unitOf(keys.lf);
        rsUnit = unitOf(keys.recordSeparator);
        quoteUnit = unitOf(keys.quote);
        cell.reserve(256);
    }

    unsigned char classify(Unit u) const {
        if (withDelimiter && u == delimiterUnit)
            return Delimiter;
        if (u == lfUnit || u == rsUnit)
            return Terminator;
        if (u == crUnit)
            return CarriageReturn;
        if (honourQuotes && u == quoteUnit)
            return QuoteChar;
        return Ordinary;
    }
    bool endsPlain(Unit u) const {
        return (withDelimiter && u == delimiterUnit) || u == lfUnit || u == rsUnit || u == crUnit;
    }

    void endRowBy(unsigned char cls) {
        sink.endRow();
        state = ParseState::RowStart;
        skipLineFeed = cls == CarriageReturn;
    }

    // As ByteMachine's.
    bool atCleanRowStart() const { return state == ParseState::RowStart && !skipLineFeed; }
    bool delimited() const { return withDelimiter; }
    bool quoted() const { return honourQuotes; }

    void storeQuoted() {
        // Strip one unit at each end and undo doubled quotes, unit by unit.
        const size_t units = cell.size() / BytesPerUnit;
        size_t w = 0;
        for (size_t r = 1; r + 1 < units; ++r) {
            const Unit u = load(cell.data() + r * BytesPerUnit);
            std::memmove(cell.data() + w * BytesPerUnit, cell.data() + r * BytesPerUnit, BytesPerUnit);
            ++w;
            if (u == quoteUnit && r + 2 < units && load(cell.data() + (r + 1) * BytesPerUnit) == quoteUnit)
                ++r;
        }
        sink.store(col, cell.data(), w * BytesPerUnit);
    }

    bool feed(const char* data, qint64 length, qint64 position) {
        const char* p = data;
        const char* const end = data + length; // length is a whole number of units
        while (p < end) {
            switch (state) {
            case ParseState::RowStart:
                if (skipLineFeed) {
                    skipLineFeed = false;
                    if (load(p) == lfUnit) {
                        p += BytesPerUnit;
                        continue;
                    }
                }
                ++row;
                col = -1;
                if (c.loadCanceled.load(std::memory_order_relaxed))
                    return false;
                if (c.fileSize >= kProgressThreshold)
                    c.reportProgressIfDue(position + (p - data) / BytesPerUnit, c.fileSize, BytesPerUnit);
                [[fallthrough]];
            case ParseState::CellStart: {
                ++col;
                const unsigned char cls = classify(load(p));
                if (cls == Delimiter) {
                    sink.store(col, p, 0);
                    state = ParseState::CellStart;
                    p += BytesPerUnit;
                    continue;
                }
                if (cls == Terminator || cls == CarriageReturn) {
                    sink.store(col, p, 0);
                    endRowBy(cls);
                    p += BytesPerUnit;
                    continue;
                }
                if (cls == QuoteChar) {
                    cell.assign(p, p + BytesPerUnit);
                    state = ParseState::QuotedCell;
                    p += BytesPerUnit;
                    continue;
                }
                const char* start = p;
                p += BytesPerUnit;
                while (p < end && !endsPlain(load(p)))
                    p += BytesPerUnit;
                if (p == end) {
                    cell.assign(start, end);
                    state = ParseState::PlainCell;
                    continue;
                }
                sink.store(col, start, static_cast<size_t>(p - start));
                const unsigned char endCls = classify(load(p));
                if (endCls == Delimiter)
                    state = ParseState::CellStart;
                else
                    endRowBy(endCls);
                p += BytesPerUnit;
                continue;
            }
            case ParseState::PlainCell: {
                const char* start = p;
                while (p < end && !endsPlain(load(p)))
                    p += BytesPerUnit;
                cell.insert(cell.end(), start, p);
                if (p == end)
                    continue;
                sink.store(col, cell.data(), cell.size());
                const unsigned char endCls = classify(load(p));
                if (endCls == Delimiter)
                    state = ParseState::CellStart;
                else
                    endRowBy(endCls);
                p += BytesPerUnit;
                continue;
            }
            case ParseState::QuotedCell: {
                const char* start = p;
                while (p < end && load(p) != quoteUnit)
                    p += BytesPerUnit;
                if (p == end) {
                    cell.insert(cell.end(), start, end);
                    continue;
                }
                p += BytesPerUnit;
                cell.insert(cell.end(), start, p);
                state = ParseState::AfterQuote;
                continue;
            }
            case ParseState::AfterQuote: {
                const unsigned char cls = classify(load(p));
                if (cls == Delimiter) {
                    storeQuoted();
                    state = ParseState::CellStart;
                } else if (cls == Terminator || cls == CarriageReturn) {
                    storeQuoted();
                    endRowBy(cls);
                } else {
                    cell.insert(cell.end(), p, p + BytesPerUnit);
                    state = cls == QuoteChar ? ParseState::QuotedCell : ParseState::PlainCell;
                }
                p += BytesPerUnit;
                continue;
            }
            }
        }
        return true;
    }

    void finish() {
        switch (state) {
        case ParseState::RowStart:
            break;
        case ParseState::CellStart:
            sink.store(col + 1, nullptr, 0);
            break;
        case ParseState::PlainCell:
            sink.store(col, cell.data(), cell.size());
            break;
        case ParseState::QuotedCell: {
            if (cell.size() >= 2 * BytesPerUnit) {
                const unsigned char lastCls = classify(load(cell.data() + cell.size() - BytesPerUnit));
                if (lastCls == Delimiter || lastCls == Terminator || lastCls == CarriageReturn)
                    cell.resize(cell.size() - BytesPerUnit);
            }
            sink.store(col, cell.data(), cell.size());
            break;
        }
        case ParseState::AfterQuote:
            storeQuoted();
            break;
        }
    }
};

// --- Container -------------------------------------------------------------------------------

EditableDataContainer::EditableDataContainer(QObject* parent) : AbstractDataContainer(parent) {}

EditableDataContainer::~EditableDataContainer() = default;

void EditableDataContainer::setInstructionSetForTesting(int level) {
    s_instructionSetForTesting = level;
}

void EditableDataContainer::setPieceSizeForTesting(qint64 size) {
    s_pieceSizeForTesting = size;
}

int EditableDataContainer::numCellsStored(int row) const {
    if (row < 0 || row >= static_cast<int>(rows.size()))
        return 0;
    return rows[static_cast<size_t>(row)].size();
}

std::string_view EditableDataContainer::cellView(int row, int col) const {
    if (row < 0 || row >= static_cast<int>(rows.size()))
        return {};
    return rows[static_cast<size_t>(row)].cellOrEmpty(col);
}

void EditableDataContainer::setStoredCell(PackedRow& row, int col, std::string_view value) {
    // A cell the row already stores changes without a walk over the row's other cells, which
    // keeps a block edit of a million cells from costing a million row rebuilds.
    if (row.replaceCell(col, value))
        return;
    // Views into the old row stay valid until the new one has been built from them.
    row.views(scratchViews);
    if (static_cast<int>(scratchViews.size()) <= col)
        scratchViews.resize(static_cast<size_t>(col) + 1);
    scratchViews[static_cast<size_t>(col)] = value;
    row = PackedRow::fromCells(scratchViews);
}

std::vector<char> EditableDataContainer::getValue(int row, int col, bool) const {
    const std::string_view cell = cellView(row, col);
    return std::vector<char>(cell.begin(), cell.end());
}

bool EditableDataContainer::getValueView(int row, int col, std::string_view& out) const {
    out = cellView(row, col);
    return true;
}

int EditableDataContainer::numColsInRow(int row) const {
    if (row < 0 || row >= static_cast<int>(rows.size()))
        return 0;
    return rows[static_cast<size_t>(row)].widthWithoutTrailingEmpty();
}

bool EditableDataContainer::setValue(const int& row, const int& col, const std::vector<char>& value) {
    if (row < 0 || col < 0)
        return false;
    if (row >= static_cast<int>(rows.size())) {
        rows.resize(static_cast<size_t>(row) + 1);
        // Deliberately the new physical end, even below a larger logical count: callers that
        // grow a table call resizeRows next.
        numRowsLogical = row + 1;
    }
    if (col >= numColsLogical)
        resizeCols(col + 1);
    auto& r = rows[static_cast<size_t>(row)];
    if (col >= r.size() && value.empty())
        return true;
    setStoredCell(r, col, std::string_view(value.data(), value.size()));
    return true;
}

bool EditableDataContainer::resizeRows(int n) {
    if (n < 0)
        return false;
    if (static_cast<int>(rows.size()) > n)
        rows.resize(static_cast<size_t>(n));
    numRowsLogical = n;
    return true;
}

bool EditableDataContainer::resizeCols(int n) {
    if (n < 0)
        return false;
    for (auto& r : rows) {
        if (r.size() > n) {
            r.views(scratchViews);
            scratchViews.resize(static_cast<size_t>(n));
            r = PackedRow::fromCells(scratchViews);
        }
    }
    numColsLogical = n;
    return true;
}

bool EditableDataContainer::clear() {
    rows.clear();
    rows.shrink_to_fit();
    scratchViews.clear();
    scratchViews.shrink_to_fit();
    numRowsLogical = 0;
    numColsLogical = 0;
    return true;
}

void EditableDataContainer::getRow(std::vector<std::vector<char>>& out, int row) {
    out.assign(static_cast<size_t>(std::max(numColsLogical, 0)), std::vector<char>());
    if (row < 0 || row >= static_cast<int>(rows.size()))
        return;
    const PackedRow& r = rows[static_cast<size_t>(row)];
    const int n = std::min(r.size(), static_cast<int>(out.size()));
    for (int i = 0; i < n; ++i) {
        const std::string_view cell = r.cell(i);
        out[static_cast<size_t>(i)].assign(cell.begin(), cell.end());
    }
}

void EditableDataContainer::getCol(std::vector<std::vector<char>>& out, int col) {
    out.assign(static_cast<size_t>(std::max(numRowsLogical, 0)), std::vector<char>());
    if (col < 0)
        return;
    const size_t n = std::min(rows.size(), out.size());
    for (size_t i = 0; i < n; ++i) {
        if (col < rows[i].size()) {
            const std::string_view cell = rows[i].cell(col);
            out[i].assign(cell.begin(), cell.end());
        }
    }
}

void EditableDataContainer::setRow(int row, const std::vector<std::vector<char>>& cells) {
    if (row < 0)
        return;
    if (row >= static_cast<int>(rows.size()))
        rows.resize(static_cast<size_t>(row) + 1);
    numRowsLogical = std::max(numRowsLogical, row + 1);
    numColsLogical = std::max(numColsLogical, static_cast<int>(cells.size()));
    size_t used = cells.size();
    while (used > 0 && cells[used - 1].empty())
        --used;
    scratchViews.resize(used);
    for (size_t i = 0; i < used; ++i)
        scratchViews[i] = std::string_view(cells[i].data(), cells[i].size());
    rows[static_cast<size_t>(row)] = PackedRow::fromCells(scratchViews);
}

void EditableDataContainer::setCol(int col, const std::vector<std::vector<char>>& cells) {
    if (col < 0)
        return;
    numColsLogical = std::max(numColsLogical, col + 1);
    numRowsLogical = std::max(numRowsLogical, static_cast<int>(cells.size()));
    for (size_t i = 0; i < cells.size(); ++i) {
        if (cells[i].empty()) {
            if (i < rows.size() && col < rows[i].size() && !rows[i].cellEmpty(col))
                setStoredCell(rows[i], col, {});
            continue;
        }
        if (i >= rows.size())
            rows.resize(i + 1);
        setStoredCell(rows[i], col, std::string_view(cells[i].data(), cells[i].size()));
    }
}

void EditableDataContainer::insertRow(int at, const std::vector<std::vector<char>>& cells) {
    insertRows(at, std::vector<std::vector<std::vector<char>>>{cells});
}

void EditableDataContainer::insertCol(int at, const std::vector<std::vector<char>>& cells) {
    insertCols(at, std::vector<std::vector<std::vector<char>>>{cells});
}

void EditableDataContainer::insertRows(int at,
                                       const std::vector<std::vector<std::vector<char>>>& rowsToInsert) {
    if (at < 0 || rowsToInsert.empty())
        return;
    if (at > static_cast<int>(rows.size()))
        rows.resize(static_cast<size_t>(at));
    std::vector<PackedRow> packed;
    packed.reserve(rowsToInsert.size());
    int widest = 0;
    for (const auto& cells : rowsToInsert) {
        size_t used = cells.size();
        while (used > 0 && cells[used - 1].empty())
            --used;
        scratchViews.resize(used);
        for (size_t i = 0; i < used; ++i)
            scratchViews[i] = std::string_view(cells[i].data(), cells[i].size());
        packed.push_back(PackedRow::fromCells(scratchViews));
        widest = std::max(widest, static_cast<int>(cells.size()));
    }
    rows.insert(rows.begin() + at, std::make_move_iterator(packed.begin()),
                std::make_move_iterator(packed.end()));
    numRowsLogical = std::max(numRowsLogical, at) + static_cast<int>(rowsToInsert.size());
    numColsLogical = std::max(numColsLogical, widest);
}

void EditableDataContainer::insertCols(int at,
                                       const std::vector<std::vector<std::vector<char>>>& colsToInsert) {
    if (at < 0 || colsToInsert.empty())
        return;
    const size_t count = colsToInsert.size();
    size_t tallest = 0;
    for (const auto& column : colsToInsert)
        tallest = std::max(tallest, column.size());
    // Rows that get a non-empty cell need to exist physically.
    size_t lastNeeded = 0;
    for (const auto& column : colsToInsert) {
        for (size_t i = column.size(); i > 0; --i) {
            if (!column[i - 1].empty()) {
                lastNeeded = std::max(lastNeeded, i);
                break;
            }
        }
    }
    if (rows.size() < lastNeeded)
        rows.resize(lastNeeded);
    for (size_t i = 0; i < rows.size(); ++i) {
        auto& r = rows[i];
        bool anyValue = false;
        for (const auto& column : colsToInsert)
            anyValue = anyValue || (i < column.size() && !column[i].empty());
        if (r.size() <= at && !anyValue)
            continue;
        r.views(scratchViews);
        if (static_cast<int>(scratchViews.size()) < at)
            scratchViews.resize(static_cast<size_t>(at));
        std::vector<std::string_view> inserted(count);
        for (size_t k = 0; k < count; ++k) {
            if (i < colsToInsert[k].size())
                inserted[k] = std::string_view(colsToInsert[k][i].data(), colsToInsert[k][i].size());
        }
        scratchViews.insert(scratchViews.begin() + at, inserted.begin(), inserted.end());
        while (!scratchViews.empty() && scratchViews.back().empty())
            scratchViews.pop_back();
        r = PackedRow::fromCells(scratchViews);
    }
    numColsLogical = std::max(numColsLogical, at) + static_cast<int>(count);
    numRowsLogical = std::max(numRowsLogical, static_cast<int>(tallest));
}

bool EditableDataContainer::insertEmptyRows(int at, int count) {
    if (at < 0 || count < 1)
        return false;
    if (at >= static_cast<int>(rows.size())) {
        // Nothing stored there: only the size changes.
        numRowsLogical = std::max(numRowsLogical, at) + count;
        return true;
    }
    rows.insert(rows.begin() + at, static_cast<size_t>(count), PackedRow());
    numRowsLogical += count;
    return true;
}

bool EditableDataContainer::insertEmptyCols(int at, int count) {
    if (at < 0 || count < 1)
        return false;
    if (at >= numColsLogical) {
        numColsLogical = at + count;
        return true;
    }
    for (auto& r : rows) {
        if (r.size() > at) {
            r.views(scratchViews);
            scratchViews.insert(scratchViews.begin() + at, static_cast<size_t>(count), std::string_view());
            r = PackedRow::fromCells(scratchViews);
        }
    }
    numColsLogical += count;
    return true;
}

bool EditableDataContainer::removeRows(int at, int count) {
    if (at < 0 || count < 1)
        return false;
    if (at >= numRowsLogical)
        return true;
    const int n = std::min(count, numRowsLogical - at);
    if (at < static_cast<int>(rows.size())) {
        const int physicalEnd = std::min(at + n, static_cast<int>(rows.size()));
        rows.erase(rows.begin() + at, rows.begin() + physicalEnd);
    }
    numRowsLogical -= n;
    return true;
}

bool EditableDataContainer::removeCols(int at, int count) {
    if (at < 0 || count < 1)
        return false;
    if (at >= numColsLogical)
        return true;
    const int n = std::min(count, numColsLogical - at);
    for (auto& r : rows) {
        if (at < r.size()) {
            const int cellEnd = std::min(at + n, r.size());
            r.views(scratchViews);
            scratchViews.erase(scratchViews.begin() + at, scratchViews.begin() + cellEnd);
            r = PackedRow::fromCells(scratchViews);
        }
    }
    numColsLogical -= n;
    return true;
}

void EditableDataContainer::copyRowContentsToAnotherRow(int from, int to) {
    if (from < 0 || to < 0 || from == to)
        return;
    if (to >= static_cast<int>(rows.size())) {
        rows.resize(static_cast<size_t>(to) + 1);
        numRowsLogical = to + 1;
    }
    if (from < static_cast<int>(rows.size()))
        rows[static_cast<size_t>(to)] = rows[static_cast<size_t>(from)];
    else
        rows[static_cast<size_t>(to)] = PackedRow();
}

void EditableDataContainer::copyColContentsToAnotherCol(int from, int to) {
    if (from < 0 || to < 0 || from == to)
        return;
    if (to >= numColsLogical)
        resizeCols(to + 1);
    for (auto& r : rows) {
        const bool hasFrom = from < r.size() && !r.cellEmpty(from);
        if (!hasFrom) {
            if (to < r.size() && !r.cellEmpty(to))
                setStoredCell(r, to, {});
            continue;
        }
        setStoredCell(r, to, r.cell(from));
    }
}

std::vector<int> EditableDataContainer::emptyRows(int index, GetRowColMaskType maskType,
                                                  const std::vector<int>& mask) {
    // The mask selects the columns that are looked at in each row.
    std::vector<int> result;
    const int total = std::max(numRowsLogical, static_cast<int>(rows.size()));
    for (int row = 0; row < total; ++row) {
        bool empty = true;
        if (row < static_cast<int>(rows.size())) {
            const PackedRow& r = rows[static_cast<size_t>(row)];
            const int width = r.size();
            if (maskType == MASK_ONLY_LISTED) {
                for (const int col : mask) {
                    if (col >= 0 && col < width && !r.cellEmpty(col)) {
                        empty = false;
                        break;
                    }
                }
            } else {
                for (int col = std::max(index, 0); col < width; ++col) {
                    if (!r.cellEmpty(col) && (maskType == MASK_ALL || !contains(mask, col))) {
                        empty = false;
                        break;
                    }
                }
            }
        }
        if (empty)
            result.push_back(row);
    }
    return result;
}

std::vector<int> EditableDataContainer::emptyCols(int index, GetRowColMaskType maskType,
                                                  const std::vector<int>& mask) {
    // The mask selects the rows that are looked at in each column.
    const int total = numColsLogical;
    std::vector<char> occupied(static_cast<size_t>(std::max(total, 0)), 0);
    auto markRow = [&](int row) {
        if (row < 0 || row >= static_cast<int>(rows.size()))
            return;
        const PackedRow& r = rows[static_cast<size_t>(row)];
        const int width = std::min(r.size(), static_cast<int>(occupied.size()));
        for (int col = 0; col < width; ++col) {
            if (!r.cellEmpty(col))
                occupied[static_cast<size_t>(col)] = 1;
        }
    };
    if (maskType == MASK_ONLY_LISTED) {
        for (const int row : mask)
            markRow(row);
    } else {
        for (int row = std::max(index, 0); row < static_cast<int>(rows.size()); ++row) {
            if (maskType == MASK_ALL || !contains(mask, row))
                markRow(row);
        }
    }
    std::vector<int> result;
    for (int col = 0; col < total; ++col) {
        if (!occupied[static_cast<size_t>(col)])
            result.push_back(col);
    }
    return result;
}

int EditableDataContainer::numEmptyRowsAtEnd() {
    int count = 0;
    for (int row = static_cast<int>(rows.size()) - 1; row >= 0; --row) {
        if (numColsInRow(row) > 0)
            break;
        ++count;
    }
    return count;
}

int EditableDataContainer::numEmptyColsAtEnd() {
    int widest = 0;
    for (int row = 0; row < static_cast<int>(rows.size()); ++row)
        widest = std::max(widest, numColsInRow(row));
    return std::max(numColsLogical - widest, 0);
}

// --- Loading ---------------------------------------------------------------------------------

namespace {

// Files are read in parts at once from two parts of this size on; a large file is cut into
// more parts than there are cores, so that the loader and the helpers run out of work together.
constexpr qint64 kSplitPartSize = qint64(8) << 20;
constexpr qint64 kMostParts = 64;
// How much of the text around a part's nominal start is looked at to find a row's start there.
constexpr qint64 kSplitProbe = qint64(64) << 10;

std::atomic<qint64> s_splitPartSizeForTesting{0};
std::atomic<qint64> s_splitPartsTaken{0};
std::atomic<bool> s_splitHelpersOnlyForTesting{false};

// The characters that decide where rows start, as units of the file's encoding.
template <class Unit> struct RowStartKeys {
    Unit delimiter = 0;
    Unit lf = 0;
    Unit cr = 0;
    Unit rs = 0;
    Unit quote = 0;
    bool withDelimiter = true;
    bool quotes = true; // quotes are honoured (never when the delimiter is a quote itself)
};

// Where a row starts in `text` (`length` bytes of whole units), by its look alone: the byte offset
// behind the first line feed that lies outside quotes, or -1. Whether the text starts inside
// quotes isn't known; the first quote whose neighbours tell which side it is on settles it: a
// quote between a separator and an ordinary character opens a cell, one between an ordinary
// character and a separator closes one. Without such a quote the text is taken to start outside.
// The guess may be wrong (the text can mislead): the loader checks it before it takes what was
// read from it.
template <class Unit> qint64 guessRowStart(const char* text, qint64 length, const RowStartKeys<Unit>& keys) {
    const qint64 units = length / static_cast<qint64>(sizeof(Unit));
    const auto at = [text](qint64 i) {
        Unit u;
        std::memcpy(&u, text + i * static_cast<qint64>(sizeof(Unit)), sizeof(Unit));
        return u;
    };
    const auto separator = [&keys](Unit u) {
        return (keys.withDelimiter && u == keys.delimiter) || u == keys.lf || u == keys.cr || u == keys.rs;
    };
    bool inside = false;
    if (keys.quotes) {
        bool flipped = false; // an odd count of quotes so far
        for (qint64 i = 0; i + 1 < units; ++i) {
            if (at(i) != keys.quote)
                continue;
            if (i == 0) {
                flipped = true; // its neighbour in front is unknown
                continue;
            }
            const Unit before = at(i - 1);
            const Unit after = at(i + 1);
            const bool ordinaryBefore = !separator(before) && before != keys.quote;
            const bool ordinaryAfter = !separator(after) && after != keys.quote;
            if (separator(before) && ordinaryAfter) {
                inside = flipped; // outside right before this quote
                break;
            }
            if (ordinaryBefore && separator(after)) {
                inside = !flipped; // inside right before this quote
                break;
            }
            flipped = !flipped;
        }
    }
    const bool lineFeedEndsRows = !(keys.withDelimiter && keys.delimiter == keys.lf);
    for (qint64 i = 0; i < units; ++i) {
        const Unit u = at(i);
        if (keys.quotes && u == keys.quote)
            inside = !inside;
        else if (u == keys.lf && !inside && lineFeedEndsRows)
            return (i + 1) * static_cast<qint64>(sizeof(Unit));
    }
    return -1;
}

// The keys of a single-byte file are its bytes; those of a wider one come as byte sequences.
template <class Unit>
qint64 guessRowStartIn(const char* text, qint64 length, char delimiter,
                       const AbstractDataContainer::KeyCharVecs& vecs, bool withDelimiter,
                       bool honourQuotes) {
    const auto unitOf = [](const std::vector<char>& bytes, char single) {
        Unit u = 0;
        if constexpr (sizeof(Unit) == 1)
            u = static_cast<Unit>(single);
        else if (bytes.size() == sizeof(Unit))
            std::memcpy(&u, bytes.data(), sizeof(Unit));
        return u;
    };
    RowStartKeys<Unit> keys;
    keys.delimiter = unitOf(vecs.delimiter, delimiter);
    keys.lf = unitOf(vecs.lf, KeyChars::LF);
    keys.cr = unitOf(vecs.cr, KeyChars::CR);
    keys.rs = unitOf(vecs.recordSeparator, KeyChars::RecordSeparator);
    keys.quote = unitOf(vecs.quote, KeyChars::Quote);
    keys.withDelimiter = withDelimiter;
    keys.quotes = withDelimiter && honourQuotes && keys.delimiter != keys.quote;
    return guessRowStart(text, length, keys);
}

} // namespace

// A part of the file that a helper thread reads into a table of its own while the loader reads
// what lies before it. The loader takes the part's rows when it arrives at the part's start
// between two rows, and the part too ended between two rows (or at the file's end): reading on
// from a row's start is reading a file that starts there, so the rows are those the loader would
// have read itself. Otherwise the loader reads the part's bytes on its own.
struct EditableDataContainer::LoadPart {
    enum class Owner { Nobody, Helper, Loader };

    qint64 start = 0;
    qint64 end = 0;
    EditableDataContainer table;
    std::atomic<qint64> done{0}; // bytes read so far
    // Under the split's mutex.
    Owner owner = Owner::Nobody;
    bool finished = false; // a helper has read it, or given up on it
    bool usable = false;   // read whole and ended between rows

    // Reads the part with a machine of the loader's kind; true when it is usable.
    template <class Machine>
    bool read(int fd, qint64 fileSize, qint64 pieceSize, bool withDelimiter, bool honourQuotes,
              RowArena& arena) {
        try {
            Machine machine(table, withDelimiter, honourQuotes);
            machine.sink.arena = &arena;
            machine.sink.useArena = end - start >= static_cast<qint64>(RowArena::kChunkSize);
            table.rows.reserve(static_cast<size_t>((end - start) / 64));
            const int unit = table.bytesPerChar;
            ReadBuffer buffer(static_cast<size_t>(pieceSize + kPiecePadding));
            for (qint64 position = start; position < end;) {
                const qint64 wanted = std::min(pieceSize, end - position);
                const qint64 got = PieceReader::readFully(fd, buffer.get(), position, wanted);
                if (got < wanted)
                    return false; // the file is shorter than it was: the loader finds out itself
                const qint64 length = completePiece(buffer.get(), got, unit);
                if (!machine.feed(buffer.get(), length, position / unit))
                    return false;
                position += got;
                done.store(position - start, std::memory_order_relaxed);
            }
            if (end < fileSize)
                return machine.atCleanRowStart();
            machine.finish();
            machine.sink.endRow();
            return true;
        } catch (...) {
            return false; // memory ran out: the loader reads the part itself and meets the same
        }
    }
};

// The parts of a load and the helpers that read them. Helpers take parts from the last one down
// while the loader reads from the front; it reads each part that no helper has taken yet itself,
// so where the two meet it waits for one part at most.
struct EditableDataContainer::SplitLoad {
    std::vector<std::unique_ptr<LoadPart>> parts;
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<std::thread> helpers;
    bool stopping = false;    // under the mutex
    bool helpersOnly = false; // tests have the loader wait for every part

    ~SplitLoad() { stop(); }

    void stop() {
        {
            std::lock_guard<std::mutex> lock(mutex);
            stopping = true;
            for (auto& part : parts)
                part->table.loadCanceled = true;
        }
        for (std::thread& helper : helpers) {
            if (helper.joinable())
                helper.join();
        }
    }

    template <class Machine>
    void help(int fd, qint64 fileSize, qint64 pieceSize, bool withDelimiter, bool honourQuotes) {
        RowArena arena; // one for all the parts this helper reads
        for (;;) {
            LoadPart* part = nullptr;
            {
                std::lock_guard<std::mutex> lock(mutex);
                if (stopping)
                    return;
                for (size_t k = parts.size(); k-- > 0 && parts[k]->owner != LoadPart::Owner::Loader;) {
                    if (parts[k]->owner == LoadPart::Owner::Nobody) {
                        part = parts[k].get();
                        part->owner = LoadPart::Owner::Helper;
                        break;
                    }
                }
                if (!part)
                    return;
            }
            const bool usable =
                part->template read<Machine>(fd, fileSize, pieceSize, withDelimiter, honourQuotes, arena);
            {
                std::lock_guard<std::mutex> lock(mutex);
                part->usable = usable;
                part->finished = true;
            }
            changed.notify_all();
        }
    }

    // True when the loader is to read part k itself: no helper has taken it.
    bool claimForLoader(size_t k) {
        std::lock_guard<std::mutex> lock(mutex);
        if (parts[k]->owner != LoadPart::Owner::Nobody || helpersOnly)
            return false;
        parts[k]->owner = LoadPart::Owner::Loader;
        return true;
    }
};

void EditableDataContainer::setSplitLoadForTesting(qint64 partSize, bool helpersOnly) {
    s_splitPartSizeForTesting = partSize;
    s_splitHelpersOnlyForTesting = helpersOnly;
}

qint64 EditableDataContainer::splitPartsTakenForTesting() {
    return s_splitPartsTaken.load();
}

template <class Machine>
std::unique_ptr<EditableDataContainer::SplitLoad>
EditableDataContainer::startSplitLoad(int fd, qint64 from, qint64 pieceSize, bool withDelimiter,
                                      bool honourQuotes) {
    const qint64 unit = bytesPerChar;
    const qint64 forcedSize = s_splitPartSizeForTesting.load();
    const qint64 length = fileSize - from;
    const qint64 cores = std::max(1u, std::thread::hardware_concurrency());
    qint64 count = 0;
    if (forcedSize != 0)
        count = forcedSize > 0 ? std::min<qint64>(length / forcedSize, kMostParts) : 0;
    else if (cores > 1)
        count = std::min<qint64>(length / kSplitPartSize, kMostParts);
    if (count < 2 || fd < 0)
        return nullptr;
    auto split = std::make_unique<SplitLoad>();
    split->helpersOnly = s_splitHelpersOnlyForTesting.load();
    // Parts start on whole characters, counted from the table's start.
    const qint64 probeSize = std::min(kSplitProbe, length / count) / unit * unit;
    std::vector<char> probe(static_cast<size_t>(probeSize));
    const KeyCharVecs keys = setKeyCharVecs();
    qint64 previous = from;
    for (qint64 k = 1; k < count; ++k) {
        const qint64 nominal = std::max(from + length / count * k / unit * unit, previous + unit);
        const qint64 got =
            PieceReader::readFully(fd, probe.data(), nominal, std::min(probeSize, fileSize - nominal));
        const qint64 offset =
            unit == 1 ? guessRowStartIn<unsigned char>(probe.data(), got, delimiter, keys, withDelimiter,
                                                       honourQuotes)
            : unit == 2
                ? guessRowStartIn<quint16>(probe.data(), got, delimiter, keys, withDelimiter, honourQuotes)
                : guessRowStartIn<quint32>(probe.data(), got, delimiter, keys, withDelimiter, honourQuotes);
        if (offset < 0 || nominal + offset >= fileSize)
            continue;
        auto part = std::make_unique<LoadPart>();
        part->start = nominal + offset;
        previous = part->start;
        part->table.setDelimiter(delimiter, saveDelimiter);
        part->table.setParsingStandard(parsingStandard);
        part->table.setEncoding(encoding);
        split->parts.push_back(std::move(part));
    }
    if (split->parts.empty())
        return nullptr;
    for (size_t k = 0; k < split->parts.size(); ++k)
        split->parts[k]->end = k + 1 < split->parts.size() ? split->parts[k + 1]->start : fileSize;
    const qint64 helpers =
        std::min<qint64>(std::max<qint64>(cores - 1, 1), static_cast<qint64>(split->parts.size()));
    SplitLoad* s = split.get();
    const qint64 size = fileSize;
    for (qint64 h = 0; h < helpers; ++h) {
        try {
            split->helpers.emplace_back([s, fd, size, pieceSize, withDelimiter, honourQuotes] {
                s->template help<Machine>(fd, size, pieceSize, withDelimiter, honourQuotes);
            });
        } catch (const std::system_error&) {
            break; // the system has no thread to spare: fewer helpers, or none
        }
    }
    if (split->helpers.empty())
        return nullptr;
    return split;
}

EditableDataContainer::PartOutcome EditableDataContainer::takePart(SplitLoad& split, LoadPart& part) {
    {
        std::unique_lock<std::mutex> lock(split.mutex);
        while (!part.finished) {
            // The part reports its progress while the loader waits, and a cancel reaches it.
            if (loadCanceled.load(std::memory_order_relaxed))
                return PartOutcome::Canceled;
            lock.unlock();
            reportProgressIfDue((part.start + part.done.load(std::memory_order_relaxed)) / bytesPerChar,
                                fileSize, bytesPerChar);
            lock.lock();
            split.changed.wait_for(lock, std::chrono::milliseconds(10));
        }
        if (!part.usable)
            return PartOutcome::Refused;
    }
    // A cancel is seen at row starts, and the part's start is one.
    if (loadCanceled.load(std::memory_order_relaxed))
        return PartOutcome::Canceled;
    rows.insert(rows.end(), std::make_move_iterator(part.table.rows.begin()),
                std::make_move_iterator(part.table.rows.end()));
    decltype(rows)().swap(part.table.rows); // its list's memory goes now, not with the load's end
    numRowsLogical = static_cast<int>(rows.size());
    numColsLogical = std::max(numColsLogical, part.table.numColsLogical);
    s_splitPartsTaken.fetch_add(1, std::memory_order_relaxed);
    // The reports the part's rows would have made, one a mark, at most up to its last byte,
    // where its last row started at the latest.
    const qint64 lastCharacter = (part.end - 1) / bytesPerChar;
    while (fileSize >= kProgressThreshold && lastCharacter > nextProgressMark)
        reportProgressIfDue(lastCharacter, fileSize, bytesPerChar);
    return PartOutcome::Taken;
}

template <class Machine> bool EditableDataContainer::runLoad(Machine& machine) {
    clear();
    hasBom = false;
    bom.clear();
    fileSize = 0;
    nextProgressMark = -1;

    QFile file(filepath);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    fileSize = file.size();
    if (fileSize <= 0) {
        file.close();
        emit loadFinishedSignal();
        return true;
    }
    beginProgress(fileSize);
    machine.sink.useArena = fileSize >= static_cast<qint64>(RowArena::kChunkSize);
    // Room for rows of 64 bytes on average, so that a large load rarely moves the row list;
    // capacity that no row takes is never touched, so it costs address space only.
    rows.reserve(static_cast<size_t>(fileSize / 64));

    // The BOM is judged on the file's first bytes, whatever the piece size.
    char head[4] = {};
    const qint64 headLength = file.peek(head, sizeof head);
    const int bomOffset = computeTableBomOffset(head, std::max<qint64>(headLength, 0), true);
    if (bomOffset > 0 && !file.seek(bomOffset)) {
        file.close();
        emit loadFinishedSignal();
        return true;
    }

    const int unit = bytesPerChar;
    qint64 pieceSize = s_pieceSizeForTesting.load();
    if (pieceSize <= 0)
        pieceSize = kReadPieceSize;
    if (unit > 1)
        pieceSize = (pieceSize + 3) / 4 * 4; // a piece never splits a character
    const qint64 remaining = fileSize - bomOffset;
    const qint64 bufferSize = std::min(pieceSize, (remaining + 3) / 4 * 4);

    // A large file is read in parts at once, on as many cores.
    std::unique_ptr<SplitLoad> split =
        startSplitLoad<Machine>(file.handle(), bomOffset, bufferSize, machine.delimited(), machine.quoted());
    const size_t partCount = split ? split->parts.size() : 0;
    const auto stopParts = [&split] {
        if (split)
            split->stop();
    };

    // Large pieces are read a piece ahead on a thread of its own, so that copying the next
    // piece out of the file overlaps the reading of this one; the pieces are the same either
    // way. Below 64 KiB a piece costs less to read than to hand from one thread to the other.
    const bool readAhead = bufferSize >= 65536 && file.handle() >= 0 && !split;
    ReadBuffer buffer(readAhead ? 0 : static_cast<size_t>(std::max<qint64>(bufferSize, 4) + kPiecePadding));

    qint64 position = bomOffset;
    size_t nextPart = 0;
    bool fileEnded = false;
    while (!fileEnded) {
        // Up to the next part's start, or to the end.
        const qint64 limit = nextPart < partCount ? split->parts[nextPart]->start : fileSize;
        std::unique_ptr<PieceReader> reader;
        if (readAhead)
            reader = std::make_unique<PieceReader>(file.handle(), limit, bufferSize, kPiecePadding, position);
        while (position < limit) {
            const qint64 wanted = std::min(bufferSize, limit - position);
            char* data = buffer.get();
            qint64 got = 0;
            if (reader) {
                got = reader->next(data);
            } else if (!split) {
                while (got < wanted) {
                    const qint64 n = file.read(data + got, wanted - got);
                    if (n < 1)
                        break;
                    got += n;
                }
            } else {
                got = PieceReader::readFully(file.handle(), data, position, wanted);
            }
            if (got < 1) {
                fileEnded = true;
                break;
            }
            const qint64 length = completePiece(data, got, unit);
            if (!machine.feed(data, length, position / unit)) {
                reader.reset(); // it reads from the file's descriptor until it has stopped
                stopParts();
                file.close();
                return false;
            }
            position += got;
            if (got < wanted) {
                fileEnded = true;
                break;
            }
        }
        reader.reset();
        if (fileEnded || position >= fileSize || nextPart >= partCount)
            break;
        // At the next part's start: read on into it when no helper has taken it; else its rows
        // are ours if we are between rows here.
        const size_t k = nextPart++;
        if (split->claimForLoader(k))
            continue;
        LoadPart& part = *split->parts[k];
        const PartOutcome outcome = machine.atCleanRowStart() ? takePart(*split, part) : PartOutcome::Refused;
        if (outcome == PartOutcome::Canceled) {
            stopParts();
            file.close();
            return false;
        }
        if (outcome == PartOutcome::Taken)
            position = part.end;
        else
            part.table.loadCanceled = true; // its bytes are read here
    }
    stopParts();
    machine.finish();
    machine.sink.endRow();
    file.close();
    buffer.memory.reset();
    emit loadFinishedSignal();
    return true;
}

bool EditableDataContainer::loadCSV() {
    if (bytesPerChar > 1)
        return delimiter == 0 ? loadCSVNoDelimiterMultiByte() : loadCSVMultiByte();
    if (delimiter == 0)
        return loadCSVNoDelimiter();
    ByteMachine machine(*this, true, parsingStandard != DELIMITER_ONLY);
    return runLoad(machine);
}

bool EditableDataContainer::loadCSVNoDelimiter() {
    ByteMachine machine(*this, false, false);
    return runLoad(machine);
}

bool EditableDataContainer::loadCSVMultiByte() {
    if (bytesPerChar == 1)
        return loadCSV();
    if (bytesPerChar == 4) {
        UnitMachine<4> machine(*this, true, parsingStandard != DELIMITER_ONLY);
        return runLoad(machine);
    }
    UnitMachine<2> machine(*this, true, parsingStandard != DELIMITER_ONLY);
    return runLoad(machine);
}

bool EditableDataContainer::loadCSVNoDelimiterMultiByte() {
    if (bytesPerChar == 1)
        return loadCSVNoDelimiter();
    if (bytesPerChar == 4) {
        UnitMachine<4> machine(*this, false, false);
        return runLoad(machine);
    }
    UnitMachine<2> machine(*this, false, false);
    return runLoad(machine);
}

// --- Writing ---------------------------------------------------------------------------------

namespace {

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
    const SaveErrorGuard guard(file, saveError);
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
