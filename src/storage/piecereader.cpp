#include "storage/piecereader.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>

#if defined(Q_OS_UNIX)
#include <unistd.h>
#endif

namespace {

std::atomic<qint64> s_faultFrom{-1};
std::atomic<int> s_faultError{0};

} // namespace

void PieceReader::setReadFaultForTesting(qint64 fromByte, int error) {
    s_faultError = error;
    s_faultFrom = fromByte;
}

bool PieceReader::readFaultForTesting() {
    return s_faultFrom.load() >= 0;
}

PieceReader::PieceReader(int descriptor, qint64 size, qint64 piece, qint64 slackBytes, qint64 first)
    : fd(descriptor), fileSize(size), pieceSize(piece), slack(slackBytes), start(first) {
    for (auto& buffer : buffers) {
        buffer.reset(new char[static_cast<size_t>(pieceSize + slack)]);
        std::memset(buffer.get(), 0, static_cast<size_t>(pieceSize + slack));
    }
    worker = std::thread([this] { run(); });
}

PieceReader::~PieceReader() {
    {
        const std::lock_guard<std::mutex> lock(mutex);
        stopping = true;
    }
    changed.notify_all();
    worker.join();
}

qint64 PieceReader::readFully(int fd, char* into, qint64 position, qint64 length, int* error) {
    if (error)
        *error = 0;
    qint64 allowed = length;
    const qint64 faultFrom = s_faultFrom.load(std::memory_order_relaxed);
    if (faultFrom >= 0)
        allowed = std::clamp<qint64>(faultFrom - position, 0, length);
#if defined(Q_OS_UNIX)
    qint64 done = 0;
    while (done < allowed) {
        const ssize_t got = ::pread(fd, into + done, static_cast<size_t>(allowed - done), position + done);
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0 && error)
            *error = errno;
        if (got <= 0)
            break;
        done += got;
    }
    if (done == allowed && allowed < length && error)
        *error = s_faultError.load(std::memory_order_relaxed);
    return done;
#else
    Q_UNUSED(fd);
    Q_UNUSED(into);
    Q_UNUSED(position);
    if (error)
        *error = EIO;
    return -1;
#endif
}

void PieceReader::run() {
    qint64 position = start;
    for (qint64 piece = 0;; ++piece) {
        {
            // Piece k goes into the buffer of piece k - 2, once the caller has moved past it.
            std::unique_lock<std::mutex> lock(mutex);
            changed.wait(lock, [&] { return stopping || piece < handed + 1; });
            if (stopping)
                return;
        }
        const int slot = static_cast<int>(piece % 2);
        const qint64 want = std::min(pieceSize, fileSize - position);
        int readError = 0;
        const qint64 got = want > 0 ? readFully(fd, buffers[slot].get(), position, want, &readError) : 0;
        if (got < pieceSize)
            std::memset(buffers[slot].get() + std::max<qint64>(got, 0), 0, static_cast<size_t>(slack));
        {
            const std::lock_guard<std::mutex> lock(mutex);
            lengths[slot] = got;
            produced = piece + 1;
            if (got < want)
                failure = readError;
            finished = got < want || got < 1 || position + got >= fileSize;
        }
        changed.notify_all();
        if (got < want || got < 1)
            return;
        position += got;
        if (position >= fileSize)
            return;
    }
}

qint64 PieceReader::next(char*& data) {
    std::unique_lock<std::mutex> lock(mutex);
    if (handed >= produced && finished)
        return 0; // the last piece was handed already
    ++handed;     // the piece handed before is free again
    changed.notify_all();
    changed.wait(lock, [&] { return produced >= handed; });
    const int slot = static_cast<int>((handed - 1) % 2);
    data = buffers[slot].get();
    return lengths[slot];
}

int PieceReader::error() {
    const std::lock_guard<std::mutex> lock(mutex);
    return failure;
}
