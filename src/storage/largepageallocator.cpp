#include "storage/largepageallocator.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <mutex>
#include <time.h>

#if defined(__linux__)
#include <sys/mman.h>
#endif

namespace {

std::mutex adviceMutex;
LargePageAdvice advice;
std::atomic<void (*)(void*)> s_firstTouchForTesting{nullptr};

double threadCpuMicroseconds() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e6 + static_cast<double>(now.tv_nsec) / 1e3;
}

} // namespace

void LargePages::setFirstTouchForTesting(void (*touch)(void*)) {
    s_firstTouchForTesting = touch;
}

bool LargePages::nextRegionLargeForTesting() {
    const std::lock_guard<std::mutex> lock(adviceMutex);
    LargePageAdvice copy = advice;
    return copy.wanted();
}

void LargePages::resetAdviceForTesting() {
    const std::lock_guard<std::mutex> lock(adviceMutex);
    advice = LargePageAdvice();
}

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
    // Timed on the thread's processor clock: on a busy machine the thread may lose its core in
    // the middle of the fault, and on the wall clock that read as a slow page, so that a load
    // under load took small pages for much of its rows (100 MiB loads beside other builds faulted
    // a median 8,900 times instead of 560, for a fifth more processor time). The host's work for a
    // page that lay free counts on this clock as well: it is done while the thread is in the fault.
    const double start = threadCpuMicroseconds();
    if (const auto touch = s_firstTouchForTesting.load())
        touch(memory);
    else
        *static_cast<volatile char*>(memory) = 0; // the memory holds nothing yet
    const double took = threadCpuMicroseconds() - start;
    const std::lock_guard<std::mutex> lock(adviceMutex);
    advice.faulted(took);
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
