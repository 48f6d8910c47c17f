#pragma once

#include "storage/rowarena.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <vector>

// One stored row in a single block: a small header, the end offset of every cell, then the
// cells' bytes back to back. A row without cells holds no block at all. Offsets take one byte a
// cell while the row's bytes fit in 255, as most rows of a table do, two up to 64 KiB, four up
// to 4 GiB and eight beyond. The block comes from the heap, or from a RowArena for the rows of a load; the
// header says which. The header takes four bytes while the row's cell count and the fields its
// line had fit in 14 bits each, as they do for nearly every row, and eight otherwise.
//
// Only replaceCell changes a row in place; every other edit builds the new row from views of the
// old one and then replaces it. Either way a view taken from a row is good until the row changes.
class PackedRow {
public:
    PackedRow() = default;
    PackedRow(const PackedRow& other);
    PackedRow(PackedRow&& other) noexcept : block(other.block) { other.block = nullptr; }
    PackedRow& operator=(const PackedRow& other);
    PackedRow& operator=(PackedRow&& other) noexcept;
    ~PackedRow() {
        if (block)
            release(block);
    }

    // The row of `count` cells whose bytes lie back to back in `bytes`, cell i ending at ends[i];
    // its block comes from `arena` when one is given.
    static PackedRow fromParts(const char* bytes, const std::uint64_t* ends, std::size_t count,
                               RowArena* arena = nullptr) {
        return make(bytes, ends, count, 0, arena);
    }
    // A row as a load read it: `fields` is how many fields its line had, trailing empty ones
    // included, which the row stores only up to its last non-empty cell. A line of empty fields
    // gets a block without cells so that it can remember the count.
    static PackedRow fromRead(const char* bytes, const std::uint64_t* ends, std::size_t count,
                              std::size_t fields, RowArena* arena = nullptr) {
        if (fields > kMaxFieldsAsRead || fields < count)
            fields = 0;
        if (count > 0)
            return make(bytes, ends, count, fields, arena);
        PackedRow row;
        if (fields > 0)
            row.block = allocate(0, 0, arena, fields);
        return row;
    }
    // A row as a load read it straight from its text, in `blocks` blocks of 64 bytes from `text`
    // (bit i of a mask word w stands for text[64 * w + i]): the bytes marked in `ends` end its
    // cells, the last of them the row, and those marked in `kept` are its cells' bytes; every
    // other byte (a quote around a cell, the first of a doubled quote, the text around the row)
    // is left out. Kept bytes lie in front of the last end. The same row as fromRead() makes of
    // those cells. A load packs such rows many at a time where it can (WholeRows); this is the
    // plain way, byte by byte.
    static PackedRow fromMasks(const char* text, const std::uint64_t* ends, const std::uint64_t* kept,
                               std::size_t blocks, RowArena* arena = nullptr);
    // True when this processor can pack whole rows of a load in vector moves (WholeRows), test
    // switch aside.
    static bool masksPackedInVectors();
    // The number of fields the row's line had when it was read; 0 for a row built or changed
    // since, and for one read with more fields than the count can hold.
    int fieldsAsRead() const { return block ? static_cast<int>(fieldsOf(word())) : 0; }
    // `fieldsAsRead`: the fields the row's line keeps having (see fromRead); 0 for a changed row.
    static PackedRow fromCells(const std::vector<std::string_view>& cells, std::size_t fieldsAsRead = 0);
    // Test seam: false packs short rows, and a load's whole rows, with the plain loops even where
    // the processor has the vector instructions for them.
    static void setVectorPackingForTesting(bool on);

    int size() const { return block ? static_cast<int>(count()) : 0; }
    // Cell i, for 0 <= i < size(); an empty cell is an empty view.
    std::string_view cell(int i) const {
        std::uint64_t begin = 0;
        std::uint64_t end = 0;
        bounds(static_cast<std::uint32_t>(i), begin, end);
        return std::string_view(bytes() + begin, static_cast<std::size_t>(end - begin));
    }
    bool cellEmpty(int i) const {
        std::uint64_t begin = 0;
        std::uint64_t end = 0;
        bounds(static_cast<std::uint32_t>(i), begin, end);
        return begin == end;
    }
    // Calls f(i, cell) for the stored cells i from `from` up to `to`, in order; a walk that reads
    // the offsets' width once instead of once a cell.
    template <class F> void forEachCell(int from, int to, F&& f) const {
        if (!block || from >= to)
            return;
        switch (word() & kWidthMask) {
        case 0:
            walk<std::uint8_t>(from, to, f);
            break;
        case 1:
            walk<std::uint16_t>(from, to, f);
            break;
        case 2:
            walk<std::uint32_t>(from, to, f);
            break;
        default:
            walk<std::uint64_t>(from, to, f);
            break;
        }
    }
    // Cell i, or an empty view when the row doesn't store it.
    std::string_view cellOrEmpty(int i) const { return i >= 0 && i < size() ? cell(i) : std::string_view(); }
    // Replaces `out` by views of every stored cell.
    void views(std::vector<std::string_view>& out) const;
    // Gives stored cell i the bytes of `value` without rebuilding the row from views of every
    // cell: in place when the value is no longer than the old one, else by copying the row's two
    // halves around it into a new block. False, with the row unchanged, when neither applies
    // (a cell the row doesn't store, or offsets that would change width); the caller then
    // rebuilds the row. `value` may be a view into this row.
    bool replaceCell(int i, std::string_view value);
    // Cells up to and including the last non-empty one.
    int widthWithoutTrailingEmpty() const;
    // Bytes the row's block takes, header included (0 for a row without cells).
    std::size_t blockSize() const;

    // The row as it lies, for a writer that walks many rows in a loop of its own: the cells'
    // bytes back to back, and the end of each cell as an unsigned integer of `offsetSize` bytes
    // (1, 2, 4 or 8). A row without cells has count 0, and null pointers when it holds no block.
    struct Layout {
        const char* bytes = nullptr;
        const void* ends = nullptr;
        int count = 0;
        int offsetSize = 1;
    };
    Layout layout() const {
        if (!block)
            return {};
        return {bytes(), offsets(), static_cast<int>(count()), 1 << (word() & kWidthMask)};
    }

private:
    friend class WholeRows; // packs load rows into blocks of its own, with a short header

    // The test switch's state (setVectorPackingForTesting).
    static bool vectorPackingOn();

    // The header's first word: bits 0-1 the offsets' width, bit 2 set for an arena block, bit 3
    // for a long header. A short header (that word alone) holds the cell count in bits 4-17 and
    // the fields as read in bits 18-31. A long one holds the fields in bits 8-31 and the count in
    // a second word; rows with offsets of eight bytes always take it, so that their offsets lie
    // on eight-byte bounds as the heap's blocks do.
    // Offsets take 1 << (word & kWidthMask) bytes: 1, 2, 4 or 8.
    static constexpr std::uint32_t kWidthMask = 3;
    static constexpr std::uint32_t kInArena = 4; // the block belongs to a RowArena
    static constexpr std::uint32_t kLong = 8;
    static constexpr unsigned kShortCountShift = 4;
    static constexpr unsigned kShortFieldsShift = 18;
    static constexpr std::size_t kShortMost = 0x3FFF; // the largest count or fields a short header holds
    static constexpr unsigned kLongFieldsShift = 8;
    static constexpr std::size_t kMaxFieldsAsRead = (std::size_t(1) << (32 - kLongFieldsShift)) - 1;
    static std::uint32_t widthCode(std::uint64_t total) {
        return total <= 0xFF ? 0 : total <= 0xFFFF ? 1 : total <= 0xFFFFFFFF ? 2 : 3;
    }
    template <class Offset> static constexpr std::uint32_t widthOf() {
        return sizeof(Offset) == 1 ? 0 : sizeof(Offset) == 2 ? 1 : sizeof(Offset) == 4 ? 2 : 3;
    }
    static bool shortHeader(std::size_t count, std::size_t fields, std::uint32_t width) {
        return count <= kShortMost && fields <= kShortMost && width < 3;
    }
    // Writes the header of a block with offsets of `width`; returns its size.
    static std::size_t writeHeader(char* block, std::uint32_t width, bool inArena, std::size_t count,
                                   std::size_t fields) {
        std::uint32_t w = width | (inArena ? kInArena : 0);
        if (shortHeader(count, fields, width)) {
            w |= static_cast<std::uint32_t>(count) << kShortCountShift | static_cast<std::uint32_t>(fields)
                                                                             << kShortFieldsShift;
            std::memcpy(block, &w, sizeof w);
            return sizeof w;
        }
        const std::uint32_t words[2] = {w | kLong | static_cast<std::uint32_t>(fields) << kLongFieldsShift,
                                        static_cast<std::uint32_t>(count)};
        std::memcpy(block, words, sizeof words);
        return sizeof words;
    }
    std::uint32_t word() const { return *reinterpret_cast<const std::uint32_t*>(block); }
    std::uint32_t count() const {
        const std::uint32_t w = word();
        return w & kLong ? reinterpret_cast<const std::uint32_t*>(block)[1]
                         : (w >> kShortCountShift) & static_cast<std::uint32_t>(kShortMost);
    }
    static std::uint32_t fieldsOf(std::uint32_t w) {
        return w & kLong ? w >> kLongFieldsShift : w >> kShortFieldsShift;
    }
    static std::size_t headerSize(std::uint32_t w) { return 4 + ((w & kLong) >> 1); }
    // Forgets the fields as read: the row is no longer as its line was.
    void clearFields() {
        std::uint32_t w = word();
        w &= w & kLong ? (std::uint32_t(1) << kLongFieldsShift) - 1
                       : (std::uint32_t(1) << kShortFieldsShift) - 1;
        std::memcpy(block, &w, sizeof w);
    }
    const char* offsets() const { return block + headerSize(word()); }
    const char* bytes() const {
        const std::uint32_t w = word();
        return block + headerSize(w) + (std::size_t(count()) << (w & kWidthMask));
    }
    template <class Offset> void boundsAs(std::uint32_t i, std::uint64_t& begin, std::uint64_t& end) const {
        const auto* e = reinterpret_cast<const Offset*>(offsets());
        begin = i ? e[i - 1] : 0;
        end = e[i];
    }
    void bounds(std::uint32_t i, std::uint64_t& begin, std::uint64_t& end) const {
        switch (word() & kWidthMask) {
        case 0:
            boundsAs<std::uint8_t>(i, begin, end);
            break;
        case 1:
            boundsAs<std::uint16_t>(i, begin, end);
            break;
        case 2:
            boundsAs<std::uint32_t>(i, begin, end);
            break;
        default:
            boundsAs<std::uint64_t>(i, begin, end);
            break;
        }
    }
    template <class Offset, class F> void walk(int from, int to, F& f) const {
        const auto* e = reinterpret_cast<const Offset*>(offsets());
        const char* const b = bytes();
        std::uint64_t begin = from ? e[from - 1] : 0;
        for (int i = from; i < to; ++i) {
            const std::uint64_t end = e[i];
            f(i, std::string_view(b + begin, static_cast<std::size_t>(end - begin)));
            begin = end;
        }
    }
    std::uint64_t totalBytes() const;
    // A block for `count` cells of `total` bytes with the header set; the caller fills the rest.
    static char* allocate(std::size_t count, std::uint64_t total, RowArena* arena = nullptr,
                          std::size_t fields = 0);
    // The row of `count` cells (at least one) from their bytes and ends, remembering `fields`.
    static PackedRow make(const char* bytes, const std::uint64_t* ends, std::size_t count, std::size_t fields,
                          RowArena* arena) {
        // The common row of a load, a million times over: short offsets in an arena block.
        if (arena && ends[count - 1] <= 0xFFFF) {
            PackedRow row;
            row.block = ends[count - 1] <= 0xFF
                            ? packShort<std::uint8_t>(bytes, ends, count, fields, *arena)
                            : packShort<std::uint16_t>(bytes, ends, count, fields, *arena);
            if (row.block)
                return row;
        }
        return fromPartsOutOfLine(bytes, ends, count, fields, arena);
    }
    // An arena block for `count` cells of at most 64 KiB with offsets of type Offset, filled;
    // null when the arena has no room for it.
    template <class Offset>
    static char* packShort(const char* bytes, const std::uint64_t* ends, std::size_t count,
                           std::size_t fields, RowArena& arena) {
        const std::size_t total = static_cast<std::size_t>(ends[count - 1]);
        const std::size_t header = shortHeader(count, fields, widthOf<Offset>()) ? 4 : 8;
        char* block = arena.allocate(header + sizeof(Offset) * count + total);
        if (!block)
            return nullptr;
        writeHeader(block, widthOf<Offset>(), true, count, fields);
        fillShort(block + header, bytes, ends, count, total, sizeof(Offset));
        return block;
    }
    // Writes the offsets (of `offsetSize` bytes, 1 or 2) and the bytes of a short row's block.
    static void fillShort(char* offsets, const char* bytes, const std::uint64_t* ends, std::size_t count,
                          std::size_t total, std::size_t offsetSize);
    static PackedRow fromPartsOutOfLine(const char* bytes, const std::uint64_t* ends, std::size_t count,
                                        std::size_t fields, RowArena* arena);
    static void release(char* block);

    char* block = nullptr;
};
