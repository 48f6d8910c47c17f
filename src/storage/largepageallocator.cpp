#include "storage/largepageallocator.h"

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
