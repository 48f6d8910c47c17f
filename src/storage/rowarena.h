#pragma once

#include <cstddef>

// Memory for the rows that a load makes by the million: blocks are carved one after the other
// from large chunks instead of taking one heap allocation each, which saves the allocator's
// bookkeeping per row and most page faults. A chunk is freed when the last row in it is gone,
// so rows that edits replace still give their memory back, a chunk at a time.
//
// Chunks are aligned to their size, so a block finds its chunk from its own address.
class RowArena {
public:
    RowArena() = default;
    RowArena(const RowArena&) = delete;
    RowArena& operator=(const RowArena&) = delete;
    ~RowArena();

    // A block of `size` bytes, aligned to 4 (a row's header and offsets; a block of a chunk never
    // needs offsets of eight bytes), or null when the size is too large for a chunk
    // (the caller then allocates it on its own).
    char* allocate(std::size_t size) {
        const std::size_t rounded = (size + 3) & ~std::size_t(3);
        if (rounded > kChunkSize - kChunkHeader - used || !current) {
            if (rounded > kLargestBlock)
                return nullptr;
            startChunk();
        }
        char* block = current + kChunkHeader + used;
        used += rounded;
        ++blocksInCurrent;
        return block;
    }

    // Gives back a block that allocate() returned; the chunk goes with its last block.
    static void release(char* block);

    static constexpr std::size_t kChunkSize = std::size_t(4) << 20;
    static constexpr std::size_t kLargestBlock = kChunkSize / 8;

private:
    static constexpr std::size_t kChunkHeader = 64;

    void startChunk();
    void leaveChunk();

    char* current = nullptr;
    std::size_t used = 0;
    std::size_t blocksInCurrent = 0;
};
