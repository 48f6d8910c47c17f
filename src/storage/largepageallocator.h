#pragma once

#include <cstddef>
#include <new>

// Large buffers in large pages where the system has them. A load fills hundreds of megabytes of
// fresh memory, and faulting that in 4 KiB at a time costs more than the parsing of it. Below
// 2 MiB, and where large pages aren't offered, this is plain malloc.
namespace LargePages {
// The size of a large page: memory in large pages comes in multiples of it.
inline constexpr std::size_t kPageSize = std::size_t(2) << 20;
// Memory for `size` bytes, aligned to 16 at least; throws std::bad_alloc as new would.
void* allocate(std::size_t size);
// Gives back what allocate() returned (null is fine).
void release(void* memory) noexcept;
// Hands the whole large pages within `size` bytes from `from`, memory that allocate() returned
// and that holds nothing any longer, back to the system; they read as zeros if touched again.
void giveBack(void* from, std::size_t size) noexcept;
// Asks for large pages over `size` bytes of fresh memory at `memory` (aligned to kPageSize) as
// long as they come fast, and faults in its first page. On some virtual machines a large page
// that the host took back while it lay free costs several times what its 512 small pages do (a
// 1 GiB load took 40 % longer in large pages there), while one freed a moment ago costs a tenth
// of them: so the first page of each region is timed, and after a slow one the next regions take
// small pages, with a large page tried again now and then. The first page is timed on the
// thread's processor clock, so that a thread that loses its core meanwhile doesn't read as a slow
// page.
void advise(void* memory, std::size_t size) noexcept;
// Test seams: `touch` stands in for the timed first touch of a region (null restores it); whether
// the next region asks for large pages, without counting it as one; the advice as at the start.
void setFirstTouchForTesting(void (*touch)(void*));
bool nextRegionLargeForTesting();
void resetAdviceForTesting();
} // namespace LargePages

// The choice behind LargePages::advise, apart from the clock and the system calls.
class LargePageAdvice {
public:
    // Whether the next fresh region asks for large pages.
    bool wanted() {
        if (smallLeft == 0)
            return true;
        --smallLeft;
        return false;
    }
    // How long the first large page of a region took to fault in, in microseconds.
    void faulted(double microseconds) {
        smallLeft = microseconds > kSlowFaultMicroseconds ? kSmallAfterSlow : 0;
    }

    // About what the 512 small pages of a large page take to fault in on such a machine.
    static constexpr double kSlowFaultMicroseconds = 1000;
    // Regions in small pages after a slow large page (a 4 MiB row chunk each: 28 MiB of rows).
    static constexpr int kSmallAfterSlow = 7;

private:
    int smallLeft = 0;
};

// A standard allocator on LargePages, for containers that grow large (the container's row list).
template <class T> class LargePageAllocator {
public:
    using value_type = T;

    LargePageAllocator() = default;
    template <class U> LargePageAllocator(const LargePageAllocator<U>&) noexcept {}

    T* allocate(std::size_t n) { return static_cast<T*>(LargePages::allocate(n * sizeof(T))); }
    void deallocate(T* p, std::size_t) noexcept { LargePages::release(p); }

    template <class U> bool operator==(const LargePageAllocator<U>&) const noexcept { return true; }
};
