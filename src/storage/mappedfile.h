#pragma once

#include <QtGlobal>

#include <atomic>
#include <functional>

// A file's bytes mapped read-only, so that a pass over a file in the page cache reads them in
// place instead of copying them out first.
//
// A mapped page can fail to read where a copy would have returned short: another program may cut
// the file shorter while it is read, or the disk may fail, and either raises SIGBUS. While a
// thread reads the mapping inside a Reading, such a fault doesn't end the program: the page reads
// as zeros from then on and failed() turns true, so the reader drops what it read, as it would
// after a short read. A SIGBUS anywhere else goes on to the handler that was there before.
class MappedFile {
public:
    MappedFile() = default;
    ~MappedFile();
    MappedFile(const MappedFile&) = delete;
    MappedFile& operator=(const MappedFile&) = delete;

    // Maps the first `size` bytes of descriptor `fd`; false, with nothing mapped, where the
    // system can't (no descriptor, a pipe, a special file, no address space).
    bool map(int fd, qint64 size);
    void unmap();

    bool isMapped() const { return begin != nullptr; }
    const char* data() const { return begin; }
    qint64 size() const { return length; }
    // True once a page of the mapping failed to read.
    bool failed() const { return fault.load(std::memory_order_acquire); }
    // Unmaps the pages wholly inside bytes [from, to), which have been read: the page cache
    // keeps them, but while mapped they count as the process's memory, as much again as the file.
    // A page given back that is read again comes back from the page cache.
    void release(qint64 from, qint64 to) const;
    // The error number of that failure for descriptor `fd`, as a short read gives it: 0 when the
    // file is now shorter than the mapping, else EIO.
    int failureError(int fd) const;

    // The calling thread reads `file` while this lives; nested readings of other mappings are
    // fine.
    class Reading {
    public:
        explicit Reading(const MappedFile& file);
        ~Reading();
        Reading(const Reading&) = delete;
        Reading& operator=(const Reading&) = delete;

        struct Range {
            const char* begin;
            const char* end;
            std::atomic<bool>* failed;
            const Range* outer;
        };

    private:
        Range range;
    };

    // Test seam: called right after a mapping is made, e.g. to cut the file short under it. An
    // empty function turns it off.
    static void setAfterMapForTesting(std::function<void()> hook);

private:
    const char* begin = nullptr;
    qint64 length = 0;
    mutable std::atomic<bool> fault{false};
};
