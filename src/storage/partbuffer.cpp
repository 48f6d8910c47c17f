#include "storage/partbuffer.h"

#include <algorithm>

void PartBuffer::grow(std::size_t n) {
    constexpr std::size_t kFirst = 64 << 10;
    const std::size_t wanted = std::max({used + n, 2 * capacity, kFirst});
    auto larger = std::make_unique_for_overwrite<char[]>(wanted);
    if (used)
        std::memcpy(larger.get(), bytes.get(), used);
    bytes = std::move(larger);
    capacity = wanted;
}
