#include "storage/aheadwriter.h"

bool AheadWriter::send(std::vector<char>& buffer) {
    std::unique_lock<std::mutex> lock(mutex);
    changed.wait(lock, [&] { return buffersQueued < kInFlight || failed; });
    if (failed)
        return false;
    queue.push_back(Item{std::move(buffer), nullptr, 0});
    ++buffersQueued;
    buffer = std::vector<char>();
    if (!spare.empty()) {
        buffer = std::move(spare.back());
        spare.pop_back();
    }
    buffer.clear();
    changed.notify_all();
    return true;
}

bool AheadWriter::sendView(const char* bytes, std::size_t size) {
    const std::lock_guard<std::mutex> lock(mutex);
    if (failed)
        return false;
    queue.push_back(Item{{}, bytes, size});
    changed.notify_all();
    return true;
}

bool AheadWriter::drain() {
    std::unique_lock<std::mutex> lock(mutex);
    changed.wait(lock, [&] { return (queue.empty() && !writing) || failed; });
    return !failed;
}

bool AheadWriter::finish() {
    {
        const std::lock_guard<std::mutex> lock(mutex);
        done = true;
        changed.notify_all();
    }
    if (thread.joinable())
        thread.join();
    return !failed;
}

void AheadWriter::run(const std::function<bool(const char*, qint64)>& put) {
    std::unique_lock<std::mutex> lock(mutex);
    for (;;) {
        changed.wait(lock, [&] { return !queue.empty() || done; });
        if (queue.empty())
            return;
        Item item = std::move(queue.front());
        queue.pop_front();
        if (!item.view)
            --buffersQueued;
        writing = true;
        lock.unlock();
        const bool ok = item.view ? put(item.view, static_cast<qint64>(item.viewSize))
                                  : put(item.buffer.data(), static_cast<qint64>(item.buffer.size()));
        lock.lock();
        writing = false;
        if (!item.view)
            spare.push_back(std::move(item.buffer));
        if (!ok) {
            failed = true;
            queue.clear();
            buffersQueued = 0;
            changed.notify_all();
            return;
        }
        changed.notify_all();
    }
}
