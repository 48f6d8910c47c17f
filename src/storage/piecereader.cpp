#include "storage/piecereader.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#if defined(Q_OS_UNIX)
#include <unistd.h>
#endif

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

qint64 PieceReader::readFully(int fd, char* into, qint64 position, qint64 length) {
#if defined(Q_OS_UNIX)
    qint64 done = 0;
    while (done < length) {
        const ssize_t got = ::pread(fd, into + done, static_cast<size_t>(length - done), position + done);
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            break;
        done += got;
    }
    return done;
#else
    Q_UNUSED(fd);
    Q_UNUSED(into);
    Q_UNUSED(position);
    Q_UNUSED(length);
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
        const qint64 got = want > 0 ? readFully(fd, buffers[slot].get(), position, want) : 0;
        if (got < pieceSize)
            std::memset(buffers[slot].get() + std::max<qint64>(got, 0), 0, static_cast<size_t>(slack));
        {
            const std::lock_guard<std::mutex> lock(mutex);
            lengths[slot] = got;
            produced = piece + 1;
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
