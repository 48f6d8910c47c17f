#include "storage/packedrow.h"

#include "storage/bytescan.h"
#include "storage/rowarena.h"

#include <algorithm>
#include <atomic>
#include <bit>
#include <cstdlib>
#include <cstring>
#include <new>
#include <vector>

PackedRow::PackedRow(const PackedRow& other) {
    if (!other.block)
        return;
    const std::size_t size = other.blockSize();
    block = static_cast<char*>(std::malloc(size));
    if (!block)
        throw std::bad_alloc();
    std::memcpy(block, other.block, size);
    const std::uint32_t w = word() & ~kInArena; // a copy lives on the heap
    std::memcpy(block, &w, sizeof w);
}

PackedRow& PackedRow::operator=(const PackedRow& other) {
    if (this != &other)
        *this = PackedRow(other);
    return *this;
}

PackedRow& PackedRow::operator=(PackedRow&& other) noexcept {
    if (this != &other) {
        release(block);
        block = other.block;
        other.block = nullptr;
    }
    return *this;
}

void PackedRow::release(char* block) {
    if (!block)
        return;
    if (*reinterpret_cast<const std::uint32_t*>(block) & kInArena)
        RowArena::release(block);
    else
        std::free(block);
}

namespace {

template <class Offset> void writeEnds(char* offsets, const std::uint64_t* ends, std::size_t count) {
    auto* e = reinterpret_cast<Offset*>(offsets);
    for (std::size_t i = 0; i < count; ++i)
        e[i] = static_cast<Offset>(ends[i]);
}

template <class Offset>
void fillShortPlain(char* offsets, const char* bytes, const std::uint64_t* ends, std::size_t count,
                    std::size_t total) {
    writeEnds<Offset>(offsets, ends, count);
    std::memcpy(offsets + count * sizeof(Offset), bytes, total);
}

#if defined(ORVANE_BYTESCAN_X86)
// A load's row is short (ten cells of ninety bytes is typical), so the plain loop's narrowing of
// each end and the copy's call cost more than the bytes themselves; masked moves do both in a
// few instructions and never touch a byte beyond either buffer.
template <class Offset>
__attribute__((target("avx512f,avx512bw"))) void fillShortAvx512(char* offsets, const char* bytes,
                                                                 const std::uint64_t* ends, std::size_t count,
                                                                 std::size_t total) {
    for (std::size_t i = 0; i < count; i += 8) {
        const std::size_t n = std::min<std::size_t>(count - i, 8);
        const __mmask8 m = static_cast<__mmask8>((1u << n) - 1);
        const __m512i v = _mm512_maskz_loadu_epi64(m, ends + i);
        if constexpr (sizeof(Offset) == 1)
            _mm512_mask_cvtepi64_storeu_epi8(offsets + i, m, v);
        else
            _mm512_mask_cvtepi64_storeu_epi16(offsets + 2 * i, m, v);
    }
    char* out = offsets + count * sizeof(Offset);
    if (total > 256) {
        std::memcpy(out, bytes, total);
        return;
    }
    for (std::size_t i = 0; i < total; i += 64) {
        const std::size_t n = std::min<std::size_t>(total - i, 64);
        const __mmask64 m = n == 64 ? ~__mmask64(0) : (__mmask64(1) << n) - 1;
        _mm512_mask_storeu_epi8(out + i, m, _mm512_maskz_loadu_epi8(m, bytes + i));
    }
}

// Whole rows of a load are packed straight from the text by compresses of its bytes under masks
// (WholeRows), which needs AVX-512 VBMI2 and BITALG.
bool hasVectorCompress() {
    static const bool has = ByteScan::hasAvx512() && __builtin_cpu_supports("avx512vbmi2") &&
                            __builtin_cpu_supports("avx512bitalg");
    return has;
}
#endif

std::atomic<bool> s_vectorPacking {
#if defined(ORVANE_BYTESCAN_X86)
    ByteScan::hasAvx512()
#else
    false
#endif
};

} // namespace

void PackedRow::setVectorPackingForTesting(bool on) {
#if defined(ORVANE_BYTESCAN_X86)
    s_vectorPacking = on && ByteScan::hasAvx512();
#else
    s_vectorPacking = on && false;
#endif
}

bool PackedRow::vectorPackingOn() {
    return s_vectorPacking.load(std::memory_order_relaxed);
}

void PackedRow::fillShort(char* offsets, const char* bytes, const std::uint64_t* ends, std::size_t count,
                          std::size_t total, std::size_t offsetSize) {
#if defined(ORVANE_BYTESCAN_X86)
    if (s_vectorPacking.load(std::memory_order_relaxed)) {
        if (offsetSize == 1)
            fillShortAvx512<std::uint8_t>(offsets, bytes, ends, count, total);
        else
            fillShortAvx512<std::uint16_t>(offsets, bytes, ends, count, total);
        return;
    }
#endif
    if (offsetSize == 1)
        fillShortPlain<std::uint8_t>(offsets, bytes, ends, count, total);
    else
        fillShortPlain<std::uint16_t>(offsets, bytes, ends, count, total);
}

bool PackedRow::masksPackedInVectors() {
#if defined(ORVANE_BYTESCAN_X86)
    return hasVectorCompress();
#else
    return false;
#endif
}

PackedRow PackedRow::fromMasks(const char* text, const std::uint64_t* ends, const std::uint64_t* kept,
                               std::size_t blocks, RowArena* arena) {
    std::vector<std::uint64_t> cellEnds;
    std::vector<char> bytes;
    for (std::size_t i = 0; i < 64 * blocks; ++i) {
        if ((ends[i / 64] >> (i % 64)) & 1)
            cellEnds.push_back(bytes.size());
        else if ((kept[i / 64] >> (i % 64)) & 1)
            bytes.push_back(text[i]);
    }
    const std::size_t fields = cellEnds.size();
    std::size_t count = fields;
    while (count > 0 && cellEnds[count - 1] == (count > 1 ? cellEnds[count - 2] : 0))
        --count; // empty cells at the end aren't stored
    return fromRead(bytes.data(), cellEnds.data(), count, fields, arena);
}

char* PackedRow::allocate(std::size_t count, std::uint64_t total, RowArena* arena, std::size_t fields) {
    const std::uint32_t width = widthCode(total);
    const std::size_t header = shortHeader(count, fields, width) ? 4 : 8;
    const std::size_t size = header + (count << width) + static_cast<std::size_t>(total);
    char* memory = arena ? arena->allocate(size) : nullptr;
    const bool inArena = memory != nullptr;
    if (!memory) {
        memory = static_cast<char*>(std::malloc(size));
        if (!memory)
            throw std::bad_alloc(); // as the vectors this replaces would have
    }
    writeHeader(memory, width, inArena, count, fields);
    return memory;
}

PackedRow PackedRow::fromPartsOutOfLine(const char* bytes, const std::uint64_t* ends, std::size_t count,
                                        std::size_t fields, RowArena* arena) {
    PackedRow row;
    if (count == 0)
        return row;
    const std::uint64_t total = ends[count - 1];
    row.block = allocate(count, total, arena, fields);
    char* offsets = row.block + headerSize(row.word());
    switch (row.word() & kWidthMask) {
    case 0:
        writeEnds<std::uint8_t>(offsets, ends, count);
        break;
    case 1:
        writeEnds<std::uint16_t>(offsets, ends, count);
        break;
    case 2:
        writeEnds<std::uint32_t>(offsets, ends, count);
        break;
    default:
        std::memcpy(offsets, ends, count * sizeof(std::uint64_t));
        break;
    }
    if (total > 0)
        std::memcpy(const_cast<char*>(row.bytes()), bytes, static_cast<std::size_t>(total));
    return row;
}

PackedRow PackedRow::fromCells(const std::vector<std::string_view>& cells, std::size_t fieldsAsRead) {
    PackedRow row;
    const std::size_t count = cells.size();
    if (fieldsAsRead > kMaxFieldsAsRead || fieldsAsRead < count)
        fieldsAsRead = 0;
    if (count == 0) {
        if (fieldsAsRead > 0)
            row.block = allocate(0, 0, nullptr, fieldsAsRead);
        return row;
    }
    std::uint64_t total = 0;
    for (const std::string_view cell : cells)
        total += cell.size();
    row.block = allocate(count, total, nullptr, fieldsAsRead);
    const std::uint32_t width = row.word() & kWidthMask;
    char* offsets = row.block + headerSize(row.word());
    char* out = const_cast<char*>(row.bytes());
    std::uint64_t end = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const std::string_view cell = cells[i];
        if (!cell.empty())
            std::memcpy(out + end, cell.data(), cell.size());
        end += cell.size();
        if (width == 0)
            reinterpret_cast<std::uint8_t*>(offsets)[i] = static_cast<std::uint8_t>(end);
        else if (width == 1)
            reinterpret_cast<std::uint16_t*>(offsets)[i] = static_cast<std::uint16_t>(end);
        else if (width == 2)
            reinterpret_cast<std::uint32_t*>(offsets)[i] = static_cast<std::uint32_t>(end);
        else
            reinterpret_cast<std::uint64_t*>(offsets)[i] = end;
    }
    return row;
}

void PackedRow::views(std::vector<std::string_view>& out) const {
    const int n = size();
    out.resize(static_cast<std::size_t>(n));
    for (int i = 0; i < n; ++i)
        out[static_cast<std::size_t>(i)] = cell(i);
}

int PackedRow::widthWithoutTrailingEmpty() const {
    // Cells are empty exactly where an end offset repeats the one before it.
    for (int i = size() - 1; i >= 0; --i) {
        if (!cellEmpty(i))
            return i + 1;
    }
    return 0;
}

std::uint64_t PackedRow::totalBytes() const {
    const int n = size();
    if (n == 0)
        return 0;
    std::uint64_t begin = 0;
    std::uint64_t end = 0;
    bounds(static_cast<std::uint32_t>(n - 1), begin, end);
    return end;
}

std::size_t PackedRow::blockSize() const {
    if (!block)
        return 0;
    const std::uint32_t w = word();
    return headerSize(w) + (std::size_t(count()) << (w & kWidthMask)) +
           static_cast<std::size_t>(totalBytes());
}

namespace {

// Shifts the end offsets from `first` on by `delta` (which may be negative, as two's complement).
template <class Offset>
void shiftEnds(char* offsets, std::size_t first, std::size_t count, std::uint64_t delta) {
    auto* e = reinterpret_cast<Offset*>(offsets);
    for (std::size_t j = first; j < count; ++j)
        e[j] = static_cast<Offset>(e[j] + delta);
}

void shiftEndsOfWidth(std::uint32_t width, char* offsets, std::size_t first, std::size_t count,
                      std::uint64_t delta) {
    switch (width) {
    case 0:
        shiftEnds<std::uint8_t>(offsets, first, count, delta);
        break;
    case 1:
        shiftEnds<std::uint16_t>(offsets, first, count, delta);
        break;
    case 2:
        shiftEnds<std::uint32_t>(offsets, first, count, delta);
        break;
    default:
        shiftEnds<std::uint64_t>(offsets, first, count, delta);
        break;
    }
}

} // namespace

bool PackedRow::replaceCell(int i, std::string_view value) {
    if (i < 0 || i >= size())
        return false;
    const std::uint32_t index = static_cast<std::uint32_t>(i);
    std::uint64_t begin = 0;
    std::uint64_t end = 0;
    bounds(index, begin, end);
    const std::uint64_t total = totalBytes();
    const std::size_t count = this->count();
    const std::uint32_t width = word() & kWidthMask;
    const std::size_t offsetBytes = count << width;
    char* const ownOffsets = block + headerSize(word());
    const std::uint64_t oldLength = end - begin;
    const std::uint64_t newLength = value.size();
    const bool aliases = !value.empty() && value.data() >= block && value.data() < block + blockSize();

    if (newLength <= oldLength && !aliases) {
        // Shrinking: the tail moves down within the block it already has. The row is no longer
        // as it was read.
        clearFields();
        char* data = ownOffsets + offsetBytes;
        if (newLength > 0)
            std::memcpy(data + begin, value.data(), static_cast<std::size_t>(newLength));
        if (newLength < oldLength) {
            std::memmove(data + begin + newLength, data + end, static_cast<std::size_t>(total - end));
            shiftEndsOfWidth(width, ownOffsets, index, count, newLength - oldLength);
        }
        return true;
    }

    const std::uint64_t newTotal = total - oldLength + newLength;
    if (widthCode(newTotal) != width)
        return false;
    // Growing (or a value read from this very row): the new block takes the offsets and the
    // bytes before and after the cell as three plain copies.
    char* fresh = allocate(count, newTotal);
    char* freshOffsets = fresh + headerSize(*reinterpret_cast<const std::uint32_t*>(fresh));
    std::memcpy(freshOffsets, ownOffsets, offsetBytes);
    shiftEndsOfWidth(width, freshOffsets, index, count, newLength - oldLength);
    const char* oldData = ownOffsets + offsetBytes;
    char* freshData = freshOffsets + offsetBytes;
    std::memcpy(freshData, oldData, static_cast<std::size_t>(begin));
    if (newLength > 0)
        std::memcpy(freshData + begin, value.data(), static_cast<std::size_t>(newLength));
    std::memcpy(freshData + begin + newLength, oldData + end, static_cast<std::size_t>(total - end));
    release(block);
    block = fresh;
    return true;
}
