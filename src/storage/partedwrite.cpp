#include "storage/partedwrite.h"

#include "storage/partbuffer.h"

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <thread>

int PartedWrite::helpersFor(long long bytes, int parts) {
    constexpr long long kWorthAThread = 4LL << 20;
    if (bytes < kWorthAThread || parts < 2)
        return 0;
    const int cores = static_cast<int>(std::max(1u, std::thread::hardware_concurrency()));
    return std::min(cores - 1, parts - 1);
}

namespace {

template <class Buffer, class Encode, class Write>
bool runParts(const PartedWrite::Plan& plan, const Encode& encode, const Write& write) {
    if (plan.parts <= 0)
        return true;
    // Parts made ahead of the one written next, at most: memory stays a few parts whatever the size.
    const int window = 2 * (plan.helpers + 1);
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<Buffer> made(static_cast<size_t>(window));
    std::vector<char> ready(static_cast<size_t>(window), 0);
    std::vector<Buffer> spare; // buffers written out, kept for their capacity
    int nextToTake = 0;
    int nextToWrite = 0;
    bool stop = false;

    auto canTake = [&] { return nextToTake < plan.parts && nextToTake < nextToWrite + window; };
    // Takes the next part under the lock, makes it without, and files it.
    auto encodeNext = [&](std::unique_lock<std::mutex>& lock) {
        const int part = nextToTake++;
        Buffer buffer;
        if (!spare.empty()) {
            buffer = std::move(spare.back());
            spare.pop_back();
        }
        lock.unlock();
        buffer.clear();
        encode(part, buffer);
        lock.lock();
        const size_t slot = static_cast<size_t>(part % window);
        made[slot] = std::move(buffer);
        ready[slot] = 1;
        changed.notify_all();
    };

    std::vector<std::thread> helpers;
    helpers.reserve(static_cast<size_t>(plan.helpers));
    for (int h = 0; h < plan.helpers; ++h) {
        helpers.emplace_back([&] {
            std::unique_lock<std::mutex> lock(mutex);
            for (;;) {
                changed.wait(lock, [&] { return stop || canTake() || nextToTake >= plan.parts; });
                if (stop || nextToTake >= plan.parts)
                    return;
                encodeNext(lock);
            }
        });
    }

    bool ok = true;
    {
        std::unique_lock<std::mutex> lock(mutex);
        while (nextToWrite < plan.parts) {
            const size_t slot = static_cast<size_t>(nextToWrite % window);
            if (ready[slot]) {
                Buffer bytes = std::move(made[slot]);
                ready[slot] = 0;
                lock.unlock();
                ok = write(nextToWrite, bytes);
                lock.lock();
                spare.push_back(std::move(bytes));
                if (!ok) {
                    stop = true;
                    changed.notify_all();
                    break;
                }
                ++nextToWrite;
                changed.notify_all();
            } else if (canTake()) {
                encodeNext(lock);
            } else {
                changed.wait(lock);
            }
        }
    }
    for (std::thread& helper : helpers)
        helper.join();
    return ok;
}

} // namespace

bool PartedWrite::run(const Plan& plan, const std::function<void(int, std::vector<char>&)>& encode,
                      const std::function<bool(int, const std::vector<char>&)>& write) {
    return runParts<std::vector<char>>(plan, encode, write);
}

bool PartedWrite::run(const Plan& plan, const std::function<void(int, PartBuffer&)>& encode,
                      const std::function<bool(int, const char*, std::size_t)>& write) {
    return runParts<PartBuffer>(plan, encode, [&](int part, const PartBuffer& bytes) {
        return write(part, bytes.data(), bytes.size());
    });
}
