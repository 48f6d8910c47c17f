#pragma once

#include <QtGlobal>

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

// Sends filled buffers to the file in order on a thread of its own, so that writing overlaps
// finding and making the next lines; a few buffers are in flight at most.
class AheadWriter {
public:
    explicit AheadWriter(const std::function<bool(const char*, qint64)>& put)
        : thread([this, &put] { run(put); }) {}
    ~AheadWriter() { finish(); }
    AheadWriter(const AheadWriter&) = delete;
    AheadWriter& operator=(const AheadWriter&) = delete;

    // Hands `buffer` over and gives back an empty one; false once a write has failed.
    bool send(std::vector<char>& buffer);
    // Queues `size` bytes at `bytes` as they stand, without a copy: they must stay until drain().
    bool sendView(const char* bytes, std::size_t size);
    // Waits until everything queued is written (or a write failed); false if one failed.
    bool drain();
    // Waits for every buffer to be written; false if one failed.
    bool finish();

private:
    static constexpr std::size_t kInFlight = 3;

    void run(const std::function<bool(const char*, qint64)>& put);

    std::mutex mutex;
    std::condition_variable changed;
    struct Item {
        std::vector<char> buffer;
        const char* view; // instead of the buffer
        std::size_t viewSize;
    };
    std::deque<Item> queue;
    std::size_t buffersQueued = 0; // views hold no memory of their own and aren't counted
    bool writing = false;
    std::vector<std::vector<char>> spare;
    bool done = false;
    bool failed = false;
    std::thread thread; // last: starts when the rest is ready
};
