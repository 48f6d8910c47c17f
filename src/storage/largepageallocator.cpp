#include "storage/largepageallocator.h"

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <mutex>

#if defined(__linux__)
#include <sys/mman.h>
#endif

namespace {

std::mutex adviceMutex;
LargePageAdvice advice;

} // namespace

void LargePages::advise(void* memory, std::size_t size) noexcept {
#if defined(__linux__) && defined(MADV_HUGEPAGE) && defined(MADV_NOHUGEPAGE)
    bool large = false;
    {
        const std::lock_guard<std::mutex> lock(adviceMutex);
        large = advice.wanted();
    }
    // A refusal only costs speed. Small pages are asked for outright, in case the system gives
    // large ones unasked.
    madvise(memory, size, large ? MADV_HUGEPAGE : MADV_NOHUGEPAGE);
    if (!large || size < kPageSize)
        return;
    const auto start = std::chrono::steady_clock::now();
    *static_cast<volatile char*>(memory) = 0; // the memory holds nothing yet
    const std::chrono::duration<double, std::micro> took = std::chrono::steady_clock::now() - start;
    const std::lock_guard<std::mutex> lock(adviceMutex);
    advice.faulted(took.count());
#else
    (void)memory;
    (void)size;
#endif
}

void* LargePages::allocate(std::size_t size) {
    void* memory = nullptr;
    if (size < kPageSize) {
        memory = std::malloc(size > 0 ? size : 1);
    } else {
        const std::size_t rounded = (size + kPageSize - 1) / kPageSize * kPageSize;
        memory = std::aligned_alloc(kPageSize, rounded);
        if (memory)
            advise(memory, rounded);
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
