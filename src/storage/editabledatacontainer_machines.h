#pragma once

// The parsers of the editable container and the row builder they share. Private to the loader,
// which is the only file that includes this one.

#include "storage/editabledatacontainer.h"

#include "storage/largepageallocator.h"
#include "storage/loadevents.h"
#include "storage/loadscan.h"
#include "storage/piecereader.h"
#include "storage/rowarena.h"
#include "storage/wholerows.h"

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

namespace EditableLoad {

inline std::atomic<qint64> s_pieceSizeForTesting{0};
inline std::atomic<int> s_instructionSetForTesting{0};

// A piece is readable this far past its end, so that the scanner may read whole blocks of 64 bytes
// and a short cell may be copied sixteen bytes at a time. In the read buffer these bytes are
// zeroed; a piece read straight out of a mapped file has the next piece's bytes there, which the
// machines never take for text.
constexpr qint64 kPiecePadding = 64;

// The read buffer, in large pages where the system has them. One of half a large page or more
// takes a whole one: faulting in half a large page 4 KiB at a time costs several times more than
// the kernel's zeroing of a whole one.
struct ReadBuffer {
    struct Release {
        void operator()(char* p) const { LargePages::release(p); }
    };
    std::unique_ptr<char, Release> memory;

    explicit ReadBuffer(size_t size)
        : memory(static_cast<char*>(LargePages::allocate(
              size >= LargePages::kPageSize / 2 ? std::max(size, LargePages::kPageSize) : size))) {}
    char* get() const { return memory.get(); }
};

// Readies `got` bytes just read for the machines: a last, incomplete character (only the file's
// last one can be) is completed with zero bytes, and the padding behind it is zeroed. Returns the
// piece's length in whole characters.
inline qint64 completePiece(char* data, qint64 got, int unit) {
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

    // A new piece of `length` bytes, readable for kPiecePadding bytes beyond.
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

} // namespace EditableLoad

// Only the loader includes this file.
using namespace EditableLoad;

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
    int lastCol = -1; // the open row's last field so far, empty ones included

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
        if (col > lastCol)
            lastCol = col;
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
            // A line without a single delimiter is one field, even when empty.
            const size_t fields = static_cast<size_t>(std::max(lastCol, 0)) + 1;
            c.rows.push_back(
                PackedRow::fromRead(bytes.get(), ends.get(), count, fields, useArena ? arena : nullptr));
            c.numRowsLogical = static_cast<int>(c.rows.size());
        }
        used = 0;
        count = 0;
        lastCol = -1;
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
    size_t pieceLength = 0;
    size_t pieceBlocks = 0;
    std::uint64_t lastByteBit = 0; // the piece's last byte in its block
    size_t windowBlocks = 1;
    bool wholeRows;  // rows are packed whole where they can be (the best instruction set only)
    bool manyAtOnce; // and a window of them at a time, not one by one (a test switch aside)
    WholeRows whole;

    ByteMachine(EditableDataContainer& container, bool withDelimiter, bool honourQuotes)
        : sink(container), c(container), cursor(container.delimiter, withDelimiter),
          honoursQuotes(honourQuotes), fill(LoadEvents::bestFillFunction(s_instructionSetForTesting.load())),
          wholeRows(s_instructionSetForTesting.load() == 0 && PackedRow::masksPackedInVectors()),
          manyAtOnce(wholeRows && WholeRows::available()) {
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
        if (lastColumn > sink.lastCol)
            sink.lastCol = lastColumn;
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
        c.rows.push_back(PackedRow::fromRead(bytes, ends, count, static_cast<size_t>(lastColumn) + 1,
                                             sink.useArena ? sink.arena : nullptr));
        c.numRowsLogical = static_cast<int>(c.rows.size());
        sink.used = 0;
        sink.count = 0;
        sink.lastCol = -1;
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
        whole.forget();
        fill(reinterpret_cast<const unsigned char*>(cursor.pieceStart()), b, blocks, pieceLength, eventKeys,
             events);
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
        whole.forget();
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
        // After a row's end: true when the next row starts here too, set up; false when the
        // state machine has work at its start: a CR's LF at the end of the piece, a cancel or a
        // progress report.
        const auto nextRowHere = [&] {
            if (start == end)
                return false;
            if (skipLineFeed) {
                // The masks already leave the LF out.
                skipLineFeed = false;
                if (*start == KeyChars::LF && ++start == end)
                    return false;
            }
            if (c.loadCanceled.load(std::memory_order_relaxed) ||
                (c.fileSize >= kProgressThreshold && piecePosition + (start - base) > c.nextProgressMark))
                return false;
            ++row;
            state = ParseState::CellStart;
            sink.openRow();
            endAt = endsBase;
            out = bytes;
            walk.firstColumn = 0;
            walk.storedBefore = 0;
            measureRoom(start);
            return true;
        };

        measureRoom(start);
        enterAt(static_cast<size_t>(start - base));
        size_t b = static_cast<size_t>(start - base) / 64;
        std::uint64_t m;
        std::uint64_t stops;
        if (!blockEvents(b, m, stops))
            return handOver(start, columnOf(), walk.firstColumn, walk.storedBefore,
                            static_cast<size_t>(out - bytes));
        for (;;) {
            const char* const blockBase = base + b * 64;
            if (blockBase + 64 > walk.roomEnd)
                makeRoom(start, blockBase + 64);
            bool moved = false;
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
                if (!nextRowHere())
                    return start;
                // After rows that went whole: true when the walk stops at `start`, the next row's
                // start (the piece's end, a cancel, a progress report due), with the state set.
                const auto stopsAtRowStart = [&](bool crLast) {
                    if (start != end && !c.loadCanceled.load(std::memory_order_relaxed) &&
                        !(c.fileSize >= kProgressThreshold &&
                          piecePosition + (start - base) > c.nextProgressMark))
                        return false;
                    state = ParseState::RowStart;
                    skipLineFeed = crLast;
                    sink.rowOpen = false;
                    return true;
                };
                // Rows that go whole (see wholeRow), one after the other, as long as they come.
                size_t rowEnd = 0;
                if (manyAtOnce) {
                    size_t next = 0;
                    if (const size_t taken = packWholeRows(static_cast<size_t>(start - base),
                                                           static_cast<size_t>(end - base), rowEnd, next)) {
                        moved = true;
                        row += static_cast<int>(taken) - 1;
                        start = base + next;
                        // A CR as the piece's last byte leaves the LF to the next piece.
                        const bool crLast = base[rowEnd] == KeyChars::CR && base + rowEnd + 1 == end;
                        if (stopsAtRowStart(crLast))
                            return start;
                        ++row;
                        measureRoom(start);
                    }
                } else if (wholeRows && wholeRow(static_cast<size_t>(start - base), rowEnd)) {
                    moved = true;
                    for (;;) {
                        start = base + rowEnd + 1;
                        // A CR's LF belongs to its row; the masks leave it out.
                        // A CR as the piece's last byte leaves the LF to the next piece.
                        const bool crLast = base[rowEnd] == KeyChars::CR && base + rowEnd + 1 == end;
                        if (base[rowEnd] == KeyChars::CR && start != end && *start == KeyChars::LF)
                            ++start;
                        if (stopsAtRowStart(crLast))
                            return start;
                        ++row;
                        if (!wholeRow(static_cast<size_t>(start - base), rowEnd))
                            break;
                    }
                    measureRoom(start);
                }
                if (moved) {
                    // The walk goes on behind the last of them, in its block.
                    b = rowEnd / 64;
                    const size_t k = b - events.first;
                    const std::uint64_t behind =
                        rowEnd % 64 == 63 ? 0 : ~std::uint64_t(0) << (rowEnd % 64 + 1);
                    m = events.events[k] & behind;
                    stops = events.rowEnds[k] | (b == pieceBlocks - 1 ? lastByteBit : 0);
                    break;
                }
                if (blockBase + 64 > walk.roomEnd)
                    makeRoom(start, blockBase + 64);
            }
            if (moved)
                continue;
            ++b;
            if (!blockEvents(b, m, stops))
                return handOver(start, columnOf(), walk.firstColumn, walk.storedBefore,
                                static_cast<size_t>(out - bytes));
        }
    }

    // Packs the rows from `from` of the piece, `length` bytes, that go whole, a window at a time;
    // returns how many, and sets `to` to the last one's line ending and `next` to where the row
    // behind it starts. They stop in front of a row where a progress report is due, as the walk
    // does.
    size_t packWholeRows(size_t from, size_t length, size_t& to, size_t& next) {
        WholeRows::Run run;
        run.text = cursor.pieceStart();
        run.length = length;
        run.from = from;
        run.lastStart = ~size_t(0);
        if (c.fileSize >= kProgressThreshold)
            run.lastStart = c.nextProgressMark < piecePosition
                                ? 0
                                : static_cast<size_t>(c.nextProgressMark - piecePosition);
        run.cancel = &c.loadCanceled;
        run.arena = sink.useArena ? sink.arena : nullptr;
        run.widest = c.numColsLogical;
        whole.pack(events, run, c.rows);
        if (run.rows == 0)
            return 0;
        c.numColsLogical = run.widest;
        c.numRowsLogical = static_cast<int>(c.rows.size());
        col = run.lastFields - 1;
        to = run.lastEnd;
        next = run.next;
        return run.rows;
    }

    // Packs the row that starts at `from` of the piece whole when it is short, ends within the
    // masks at hand, and its quotes are only those around quoted cells and doubled quotes inside
    // them (each quote opens a cell, closes one right before its end, or is one of a pair inside);
    // sets `to` to its line ending. False otherwise, with nothing done. One row at a time by the
    // plain loop: the path beside WholeRows that the vector packing's test switch takes.
    [[gnu::always_inline]] inline bool wholeRow(size_t from, size_t& to) {
        constexpr size_t kMostBlocks = 5; // a row of up to 256 bytes
        size_t k = from / 64 - events.first;
        if (k >= events.count)
            return false;
        const size_t firstBlock = k;
        const size_t last = std::min(events.count, k + kMostBlocks);
        std::uint64_t ends[kMostBlocks];
        std::uint64_t kept[kMostBlocks];
        size_t blocks = 0;
        std::uint64_t inRow = ~std::uint64_t(0) << (from % 64);
        std::uint64_t starts = std::uint64_t(1) << (from % 64); // where cells start
        for (;;) {
            const std::uint64_t rowEnds = events.rowEnds[k] & inRow;
            const std::uint64_t within = rowEnds ? inRow & (rowEnds ^ (rowEnds - 1)) : inRow;
            const std::uint64_t e = events.events[k] & within;
            std::uint64_t keep = within & ~e;
            if (const std::uint64_t quotes = events.quotes[k] & within) {
                const std::uint64_t nextEnd = k + 1 < events.count ? events.events[k + 1] & 1 : 0;
                const std::uint64_t inner = quotes & ~(starts | (e << 1) | (e >> 1) | (nextEnd << 63));
                // Pairs of quotes, the second of each kept, away from the block's edges.
                const std::uint64_t firsts = inner & ~(inner << 1);
                const std::uint64_t seconds = firsts << 1;
                if ((seconds & ~inner) || (inner & ~(firsts | seconds)) || (inner & 0x8000000000000001ULL))
                    return false;
                keep = (keep & ~quotes) | seconds;
            }
            ends[blocks] = e;
            kept[blocks] = keep;
            ++blocks;
            if (rowEnds) {
                const size_t rowEnd =
                    (events.first + k) * 64 + static_cast<size_t>(LoadScan::lowestBit(rowEnds));
                if (rowEnd - from >= 256)
                    return false;
                to = rowEnd;
                break;
            }
            starts = e >> 63;
            if (++k >= last)
                return false;
            inRow = ~std::uint64_t(0);
        }
        PackedRow packed = PackedRow::fromMasks(cursor.pieceStart() + (events.first + firstBlock) * 64, ends,
                                                kept, blocks, sink.useArena ? sink.arena : nullptr);
        const int fields = packed.fieldsAsRead();
        if (fields > c.numColsLogical)
            c.numColsLogical = fields;
        col = fields - 1;
        c.rows.push_back(std::move(packed));
        c.numRowsLogical = static_cast<int>(c.rows.size());
        return true;
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
        pieceLength = static_cast<size_t>(length);
        pieceBlocks = (pieceLength + 63) / 64;
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

    // `tail` is what follows the closing quote at the file's end: the bytes of a character that
    // the file cuts short, kept behind the cell's text.
    void storeQuoted(const char* tail = nullptr, size_t tailSize = 0) {
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
        // The two quotes stripped leave room for a tail shorter than a unit.
        if (tailSize > 0)
            std::memcpy(cell.data() + w * BytesPerUnit, tail, tailSize);
        sink.store(col, cell.data(), w * BytesPerUnit + tailSize);
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

    void finish() { finish(nullptr, 0); }

    // The end of the text, which `tail` follows: the first bytes of a character that the file
    // cuts short (fewer than a unit), or nothing. Those bytes end the last cell as they stand, or
    // make a row of their own behind a line ending, so that a save writes the file back whole;
    // shown, they are a character that doesn't decode.
    void finish(const char* tail, size_t tailSize) {
        switch (state) {
        case ParseState::RowStart:
            if (tailSize > 0)
                sink.store(0, tail, tailSize);
            break;
        case ParseState::CellStart:
            sink.store(col + 1, tail, tailSize);
            break;
        case ParseState::PlainCell:
            cell.insert(cell.end(), tail, tail + tailSize);
            sink.store(col, cell.data(), cell.size());
            break;
        case ParseState::QuotedCell: {
            if (tailSize > 0) {
                // Not the file's last unit, so not its final line ending.
                cell.insert(cell.end(), tail, tail + tailSize);
            } else if (cell.size() >= 2 * BytesPerUnit) {
                const unsigned char lastCls = classify(load(cell.data() + cell.size() - BytesPerUnit));
                if (lastCls == Delimiter || lastCls == Terminator || lastCls == CarriageReturn)
                    cell.resize(cell.size() - BytesPerUnit);
            }
            sink.store(col, cell.data(), cell.size());
            break;
        }
        case ParseState::AfterQuote:
            storeQuoted(tail, tailSize);
            break;
        }
    }
};
