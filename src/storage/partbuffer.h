#pragma once

#include <cstddef>
#include <cstring>
#include <memory>

// The bytes of one part of a saved file. Writers make room ahead and fill it through a pointer:
// unlike a vector's resize, making room doesn't zero it first, and a buffer used again keeps its
// memory.
class PartBuffer {
public:
    const char* data() const { return bytes.get(); }
    std::size_t size() const { return used; }
    bool empty() const { return used == 0; }
    void clear() { used = 0; }
    void reserve(std::size_t n) {
        if (n > capacity)
            grow(n - used);
    }
    // Where `n` more bytes go behind the end; setEnd() then says how many were written.
    char* room(std::size_t n) {
        if (capacity - used < n)
            grow(n);
        return bytes.get() + used;
    }
    // Ends the bytes at `end`, a pointer into the room made last.
    void setEnd(const char* end) { used = static_cast<std::size_t>(end - bytes.get()); }
    void append(const char* p, std::size_t n) {
        if (n == 0)
            return;
        std::memcpy(room(n), p, n);
        used += n;
    }

private:
    void grow(std::size_t n);

    std::unique_ptr<char[]> bytes;
    std::size_t used = 0;
    std::size_t capacity = 0;
};
