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
} // namespace LargePages

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
