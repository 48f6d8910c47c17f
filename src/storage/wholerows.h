#pragma once

// Rows of a load packed whole from the scan's event masks, a window of blocks at a time. Packing
// each row on its own goes over each of its 64-byte blocks to build the row's masks, rank its
// cell ends and compress its bytes, and a row of ninety bytes touches two or three blocks, so
// every block was worked on about twice. Here each block of the window is worked on once: its
// kept bytes are compressed into one run, the ranks of its cell ends (how many kept bytes lie in
// front of each) into another, and the quotes that make a row unfit for this are marked. A row
// then takes its header, its ends as a subtraction from the ranks, and one short copy of its bytes
// from the run.
//
// A row goes whole under the same rule as the loader's single row (see ByteMachine::wholeRow):
// it starts at a row start, ends within the window, takes less than 256 bytes, and its quotes
// all enclose cells (a quote opening a cell, one closing it right before its end, and pairs of
// doubled quotes inside). Every other row is left to the cell walk. AVX-512 VBMI2 and BITALG
// only; elsewhere the loader packs rows one at a time.

#include "storage/largepageallocator.h"
#include "storage/loadevents.h"
#include "storage/packedrow.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <vector>

class RowArena;

class WholeRows {
public:
    using Rows = std::vector<PackedRow, LargePageAllocator<PackedRow>>;

    // True where this processor packs rows this way and the test switch
    // (PackedRow::setVectorPackingForTesting) leaves vector packing on.
    static bool available();

    // The runs are cleared once so that a vector read past what a window wrote reads zeros.
    WholeRows();

    // One call's input and what it did. Offsets count from the piece's first byte.
    struct Run {
        const char* text = nullptr; // the piece, readable 64 bytes past its end
        std::size_t length = 0;     // the piece's bytes
        std::size_t from = 0;       // the first row's start: a row start in the window
        std::size_t lastStart = 0;  // a row that starts behind this waits (a progress report is due)
        const std::atomic<bool>* cancel = nullptr;
        RowArena* arena = nullptr; // null: the rows' blocks come from the heap

        std::size_t rows = 0;    // rows packed
        std::size_t lastEnd = 0; // the line ending of the last one
        std::size_t next = 0;    // where the row behind it starts (a CR's LF skipped)
        int widest = 0;          // the most fields of a packed row
        int lastFields = 0;      // the fields of the last one
    };

    // Packs the rows from run.from one after the other, as long as they go whole and the next
    // one starts in the piece, before run.lastStart, and the load isn't cancelled. `w` is the
    // window of masks the row at run.from lies in.
    void pack(const LoadEvents::Window& w, Run& run, Rows& rows);

    // The window's masks have changed: what was worked out from them is stale.
    void forget() { prepared = false; }

private:
    static constexpr std::size_t kBlocks = LoadEvents::Window::kBlocks;
    // A window's worth, and two vectors more: a row reads two whatever its size.
    static constexpr std::size_t kRunSize = 64 * kBlocks + 128;

    // Works out the window's blocks from block k0 on; `fromBit` marks where a row starts in k0.
    void prepare(const LoadEvents::Window& w, const char* text, std::size_t k0, std::uint64_t fromBit);

    bool prepared = false;
    std::size_t preparedFrom = 0;      // the first block worked out
    std::uint64_t kept[kBlocks];       // the bytes rows keep: all but separators and the quotes left out
    std::uint64_t bad[kBlocks];        // the quotes that keep a row from going whole
    std::uint32_t badFrom[kBlocks];    // the first block from block k on with such a quote, or the count
    std::uint32_t endsBefore[kBlocks]; // cell ends in the blocks worked out before block k
    std::uint32_t keptBefore[kBlocks]; // kept bytes there
    std::uint32_t rowsBefore[kBlocks]; // row ends there
    std::size_t rowEndCount = 0;
    std::uint16_t rowEnds[64 * kBlocks + 64];  // the row ends' places in the window, in order
    alignas(64) char bytes[kRunSize];          // the kept bytes, back to back
    alignas(64) unsigned char ranks[kRunSize]; // per cell end, the kept bytes before it, modulo 256
};
