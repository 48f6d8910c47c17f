#include "storage/rowarena.h"

#include "storage/largepageallocator.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <new>

namespace {

// The count of live blocks at a chunk's start. While the arena still carves from a chunk, the
// count carries a large bias, so that a block released early can't bring it to zero; the arena
// settles the true count when it moves on.
constexpr std::int64_t kBias = std::int64_t(1) << 62;

std::atomic<std::int64_t>& liveCount(char* chunk) {
    return *reinterpret_cast<std::atomic<std::int64_t>*>(chunk);
}

} // namespace

RowArena::~RowArena() {
    leaveChunk();
}

void RowArena::startChunk() {
    leaveChunk();
    char* chunk = static_cast<char*>(std::aligned_alloc(kChunkSize, kChunkSize));
    if (!chunk)
        throw std::bad_alloc(); // as a heap allocation per row would have
    // Large pages cut the page faults of a big load to a few hundred, where they come fast.
    LargePages::advise(chunk, kChunkSize);
    new (chunk) std::atomic<std::int64_t>(kBias);
    current = chunk;
    used = 0;
    blocksInCurrent = 0;
}

void RowArena::leaveChunk() {
    if (!current)
        return;
    const std::int64_t delta = static_cast<std::int64_t>(blocksInCurrent) - kBias;
    if (liveCount(current).fetch_add(delta, std::memory_order_acq_rel) + delta == 0)
        std::free(current);
    current = nullptr;
}

void RowArena::release(char* block) {
    char* chunk =
        reinterpret_cast<char*>(reinterpret_cast<std::uintptr_t>(block) & ~std::uintptr_t(kChunkSize - 1));
    if (liveCount(chunk).fetch_sub(1, std::memory_order_acq_rel) == 1)
        std::free(chunk);
}
