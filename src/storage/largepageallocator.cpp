#include "storage/largepageallocator.h"

#include <cstdlib>

#if defined(__linux__)
#include <sys/mman.h>
#endif

namespace {

constexpr std::size_t kLargePage = std::size_t(2) << 20;

} // namespace

void* LargePages::allocate(std::size_t size) {
    void* memory = nullptr;
    if (size < kLargePage) {
        memory = std::malloc(size > 0 ? size : 1);
    } else {
        const std::size_t rounded = (size + kLargePage - 1) / kLargePage * kLargePage;
        memory = std::aligned_alloc(kLargePage, rounded);
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
