#include "storage/wholerows.h"

#include "storage/bytescan.h"
#include "storage/fileparameters.h"
#include "storage/rowarena.h"

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <cstring>
#include <new>

bool WholeRows::available() {
    return PackedRow::masksPackedInVectors() && PackedRow::vectorPackingOn();
}

WholeRows::WholeRows() {
    std::memset(bytes, 0, sizeof bytes);
    std::memset(ranks, 0, sizeof ranks);
}

#if defined(ORVANE_BYTESCAN_X86)

#define ORVANE_WHOLE_ROWS_TARGET                                                                             \
    __attribute__((target("avx512f,avx512bw,avx512vbmi2,avx512bitalg,bmi,bmi2,popcnt,lzcnt")))

namespace {

// The bits below bit `n` (n up to 64).
ORVANE_WHOLE_ROWS_TARGET inline std::uint64_t below(std::size_t n) {
    return _bzhi_u64(~std::uint64_t(0), static_cast<unsigned>(n));
}

} // namespace

ORVANE_WHOLE_ROWS_TARGET void WholeRows::prepare(const LoadEvents::Window& w, const char* text,
                                                 std::size_t k0, std::uint64_t fromBit) {
    // Byte i holds i.
    const __m512i iota =
        _mm512_set_epi64(0x3F3E3D3C3B3A3938, 0x3736353433323130, 0x2F2E2D2C2B2A2928, 0x2726252423222120,
                         0x1F1E1D1C1B1A1918, 0x1716151413121110, 0x0F0E0D0C0B0A0908, 0x0706050403020100);
    constexpr std::uint64_t kEdges = 0x8000000000000001ULL;
    // A cell starts behind every separator and behind a CR's LF; into block k0 from the block
    // before it, or where the caller says a row starts.
    std::uint64_t startCarry = k0 > 0 ? (w.events[k0 - 1] | w.lineFeedsTaken[k0 - 1]) >> 63 : 0;
    startCarry |= fromBit;
    std::size_t ends = 0;
    std::size_t keptSoFar = 0;
    std::size_t rows = 0;
    for (std::size_t k = k0; k < w.count; ++k) {
        const std::uint64_t e = w.events[k];
        const std::uint64_t taken = w.lineFeedsTaken[k];
        std::uint64_t keep = ~(e | taken);
        std::uint64_t wrong = 0;
        if (const std::uint64_t quotes = w.quotes[k]) {
            // As the single row's test: a quote that neither opens a cell, nor closes one right
            // before its end, is one of a pair inside, the second of which is kept; anything
            // else (a lone quote, three in a row, a pair across the block's edge) is wrong.
            const std::uint64_t starts = ((e | taken) << 1) | startCarry;
            const std::uint64_t nextEnd = k + 1 < w.count ? w.events[k + 1] & 1 : 0;
            const std::uint64_t inner = quotes & ~(starts | (e >> 1) | (nextEnd << 63));
            const std::uint64_t firsts = inner & ~(inner << 1);
            const std::uint64_t seconds = firsts << 1;
            wrong = (seconds & ~inner) | (inner & ~(firsts | seconds)) | (inner & kEdges);
            keep = (keep & ~quotes) | seconds;
        }
        startCarry = (e | taken) >> 63;
        kept[k] = keep;
        bad[k] = wrong;
        endsBefore[k] = static_cast<std::uint32_t>(ends);
        keptBefore[k] = static_cast<std::uint32_t>(keptSoFar);
        rowsBefore[k] = static_cast<std::uint32_t>(rows);
        // The row ends' places in the window, in order, so that rows follow one another without
        // looking for the next end bit by bit.
        const std::uint64_t r = w.rowEnds[k];
        const __m512i places = _mm512_maskz_compress_epi8(r, iota);
        const __m512i blockStart = _mm512_set1_epi16(static_cast<short>(64 * k));
        _mm512_storeu_si512(
            rowEnds + rows,
            _mm512_add_epi16(_mm512_cvtepu8_epi16(_mm512_maskz_extracti64x4_epi64(0xF, places, 0)),
                             blockStart));
        _mm512_storeu_si512(
            rowEnds + rows + 32,
            _mm512_add_epi16(_mm512_cvtepu8_epi16(_mm512_maskz_extracti64x4_epi64(0xF, places, 1)),
                             blockStart));
        rows += static_cast<std::size_t>(_mm_popcnt_u64(r));
        // The kept bytes in front of cell end j: among the kept bytes and the ends, in order, the
        // end's place less the j ends in front of it.
        const __m512i endAt = _mm512_maskz_compress_epi8(_pext_u64(e, keep | e), iota);
        _mm512_storeu_si512(ranks + ends, _mm512_add_epi8(_mm512_sub_epi8(endAt, iota),
                                                          _mm512_set1_epi8(static_cast<char>(keptSoFar))));
        const __m512i block = _mm512_loadu_si512(text + 64 * (w.first + k));
        _mm512_storeu_si512(bytes + keptSoFar, _mm512_maskz_compress_epi8(keep, block));
        ends += static_cast<std::size_t>(_mm_popcnt_u64(e));
        keptSoFar += static_cast<std::size_t>(_mm_popcnt_u64(keep));
    }
    rowEndCount = rows;
    std::size_t nextBad = w.count; // none
    for (std::size_t k = w.count; k-- > k0;) {
        if (bad[k])
            nextBad = k;
        badFrom[k] = static_cast<std::uint32_t>(nextBad);
    }
    preparedFrom = k0;
    prepared = true;
}

ORVANE_WHOLE_ROWS_TARGET void WholeRows::pack(const LoadEvents::Window& w, Run& run, Rows& rows) {
    run.rows = 0;
    std::size_t pos = run.from;
    if (pos / 64 < w.first || pos / 64 - w.first >= w.count)
        return;
    std::size_t k = pos / 64 - w.first;
    const std::uint64_t fromBit = std::uint64_t(1) << (pos % 64);
    if (!prepared || k < preparedFrom)
        prepare(w, run.text, k, fromBit);
    std::size_t endsBeforeRow =
        endsBefore[k] + static_cast<std::size_t>(_mm_popcnt_u64(w.events[k] & below(pos % 64)));
    std::size_t keptBeforeRow =
        keptBefore[k] + static_cast<std::size_t>(_mm_popcnt_u64(kept[k] & below(pos % 64)));
    // The first wrong quote at or behind the row's start: rows go whole up to the one holding it.
    std::size_t nextBad = ~std::size_t(0);
    if (const std::uint64_t here = bad[k] & ~below(pos % 64)) {
        nextBad = (w.first + k) * 64 + static_cast<std::size_t>(_tzcnt_u64(here));
    } else if (k + 1 < w.count && badFrom[k + 1] < w.count) {
        const std::size_t kb = badFrom[k + 1];
        nextBad = (w.first + kb) * 64 + static_cast<std::size_t>(_tzcnt_u64(bad[kb]));
    }
    // The loop works on locals: every byte it stores may alias any field as far as the compiler
    // knows.
    const std::size_t first = w.first;
    const char* const text = run.text;
    const std::size_t length = run.length;
    const std::size_t lastStart = run.lastStart;
    RowArena* const arena = run.arena;
    const std::uint32_t inArena = arena ? PackedRow::kInArena : 0;
    std::size_t packed = 0;
    std::size_t lastEnd = 0;
    std::size_t next = pos;
    std::size_t fields = 0;
    int widest = run.widest;
    // The row at pos ends at the first row end from there on, and each row behind it at the next.
    std::size_t j = rowsBefore[k] + static_cast<std::size_t>(_mm_popcnt_u64(w.rowEnds[k] & below(pos % 64)));
    for (; j < rowEndCount; ++j) {
        const std::size_t inWindow = rowEnds[j];
        const std::size_t kb = inWindow / 64;
        const std::size_t bit = inWindow % 64;
        const std::size_t rowEnd = first * 64 + inWindow;
        if (rowEnd - pos >= 256 || rowEnd >= nextBad)
            break;
        const std::size_t endsUpTo =
            endsBefore[kb] + static_cast<std::size_t>(_mm_popcnt_u64(w.events[kb] & below(bit)));
        const std::size_t keptUpTo =
            keptBefore[kb] + static_cast<std::size_t>(_mm_popcnt_u64(kept[kb] & below(bit)));
        fields = endsUpTo - endsBeforeRow + 1;
        const std::size_t total = keptUpTo - keptBeforeRow;
        // The cells stored go up to the first end behind the row's last kept byte.
        std::size_t count = 0;
        if (total > 0) {
            std::size_t kl = kb;
            std::uint64_t km = kept[kb] & below(bit);
            while (km == 0)
                km = kept[--kl]; // the row keeps a byte, so this stops within it
            const std::size_t last = 63 - static_cast<std::size_t>(_lzcnt_u64(km));
            count = endsBefore[kl] + static_cast<std::size_t>(_mm_popcnt_u64(w.events[kl] & below(last))) -
                    endsBeforeRow + 1;
        }
        const std::size_t size = sizeof(std::uint32_t) + count + total;
        char* block = arena ? arena->allocate(size) : nullptr;
        // A short header with offsets of one byte: a row of fewer than 256 bytes keeps fewer, and
        // has at most 256 fields.
        static_assert(256 <= PackedRow::kShortMost);
        std::uint32_t header = static_cast<std::uint32_t>(count) << PackedRow::kShortCountShift |
                               static_cast<std::uint32_t>(fields) << PackedRow::kShortFieldsShift;
        if (block) {
            header |= inArena;
        } else {
            block = static_cast<char*>(std::malloc(size));
            if (!block)
                throw std::bad_alloc();
        }
        std::memcpy(block, &header, sizeof header);
        // The ends from the ranks, exact as the row keeps fewer than 256 bytes, and the bytes
        // from the run: two vectors of each, masked, whatever the row's size (a mask may be
        // empty), so that short rows take no branch; longer ones loop for the rest.
        char* const offsets = block + sizeof header;
        const __m512i base = _mm512_set1_epi8(static_cast<char>(keptBeforeRow));
        const unsigned char* const rankAt = ranks + endsBeforeRow;
        _mm512_mask_storeu_epi8(offsets, below(std::min<std::size_t>(count, 64)),
                                _mm512_sub_epi8(_mm512_loadu_si512(rankAt), base));
        char* const data = offsets + count;
        const char* const from = bytes + keptBeforeRow;
        _mm512_mask_storeu_epi8(data, below(std::min<std::size_t>(total, 64)), _mm512_loadu_si512(from));
        _mm512_mask_storeu_epi8(data + 64,
                                below(std::min<std::size_t>(std::max<std::size_t>(total, 64) - 64, 64)),
                                _mm512_loadu_si512(from + 64));
        if (count > 64 || total > 128) [[unlikely]] {
            for (std::size_t i = 64; i < count; i += 64)
                _mm512_mask_storeu_epi8(offsets + i, below(std::min<std::size_t>(count - i, 64)),
                                        _mm512_sub_epi8(_mm512_loadu_si512(rankAt + i), base));
            for (std::size_t i = 128; i < total; i += 64)
                _mm512_mask_storeu_epi8(data + i, below(std::min<std::size_t>(total - i, 64)),
                                        _mm512_loadu_si512(from + i));
        }
        PackedRow row;
        row.block = block;
        rows.push_back(std::move(row));
        ++packed;
        widest = std::max(widest, static_cast<int>(fields));
        // The next row starts behind the line ending; a CR's LF belongs to it (the masks leave
        // it out of the kept bytes).
        lastEnd = rowEnd;
        next = rowEnd + 1;
        if (text[rowEnd] == KeyChars::CR && next < length && text[next] == KeyChars::LF)
            ++next;
        endsBeforeRow = endsUpTo + 1;
        keptBeforeRow = keptUpTo;
        if (next >= length || next > lastStart || run.cancel->load(std::memory_order_relaxed))
            break;
        pos = next;
    }
    run.rows = packed;
    run.lastEnd = lastEnd;
    run.next = next;
    run.lastFields = static_cast<int>(fields);
    run.widest = widest;
}

#else

void WholeRows::prepare(const LoadEvents::Window&, const char*, std::size_t, std::uint64_t) {}

void WholeRows::pack(const LoadEvents::Window&, Run& run, Rows&) {
    run.rows = 0;
}

#endif
