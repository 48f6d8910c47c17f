#include "storage/largepageallocator.h"

#include <cstdint>
#include <cstdlib>

#if defined(__linux__)
#include <sys/mman.h>
#endif

void* LargePages::allocate(std::size_t size) {
    void* memory = nullptr;
    if (size < kPageSize) {
        memory = std::malloc(size > 0 ? size : 1);
    } else {
        const std::size_t rounded = (size + kPageSize - 1) / kPageSize * kPageSize;
        memory = std::aligned_alloc(kPageSize, rounded);
#if defined(__linux__) && defined(MADV_HUGEPAGE)
        if (memory)
            madvise(memory, rounded, MADV_HUGEPAGE); // a refusal only costs speed
#endif
    }
    if (!memory)
        throw std::bad_alloc();
    return memory;
}

void LargePages::release(void* memory) noexcept {
    std::free(memory);
}

void LargePages::giveBack(void* from, std::size_t size) noexcept {
#if defined(__linux__) && defined(MADV_DONTNEED)
    // Whole large pages only: handing back part of one would split it.
    const std::uintptr_t begin = (reinterpret_cast<std::uintptr_t>(from) + kPageSize - 1) & ~(kPageSize - 1);
    const std::uintptr_t end = (reinterpret_cast<std::uintptr_t>(from) + size) & ~(kPageSize - 1);
    if (end > begin)
        madvise(reinterpret_cast<void*>(begin), end - begin, MADV_DONTNEED);
#else
    (void)from;
    (void)size;
#endif
}
