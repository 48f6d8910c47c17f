#pragma once

#include <QtGlobal>

#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>

// Reads a file from its start in pieces on a thread of its own, one piece ahead of the caller:
// while the caller scans a piece, the next one is copied out of the file, so a pass over a file
// in the page cache takes about the longer of the two instead of both one after the other.
// Reads are positioned, so the descriptor's own position is left alone.
//
// A piece is short only where the file ends or a read fails; after it the next piece is empty.
class PieceReader {
public:
    // Pieces of `pieceSize` bytes from descriptor `fd`, from byte `start` up to `fileSize`;
    // each piece is followed by `slack` zero bytes that the caller may read (and write).
    PieceReader(int fd, qint64 fileSize, qint64 pieceSize, qint64 slack, qint64 start = 0);
    ~PieceReader();
    PieceReader(const PieceReader&) = delete;
    PieceReader& operator=(const PieceReader&) = delete;

    // The next piece into `data`; returns its length, below 1 once the file has ended or a read
    // failed. The bytes stay valid until the next call.
    qint64 next(char*& data);
    // The system's error number of the read that ended the pieces early, or 0.
    int error();

    // Reads up to `length` bytes at `position` of descriptor `fd`, all of them unless the file
    // ends or a read fails first; returns how many it read. A failed read leaves its error
    // number in `error` (when given); the file's end leaves 0 there.
    static qint64 readFully(int fd, char* into, qint64 position, qint64 length, int* error = nullptr);

    // Test seam for every read of the containers: from byte `fromByte` of any file on, a read
    // fails with the error number `error`, or, with 0, finds the file ending there, as if another
    // program had cut it short. A negative `fromByte` turns it off.
    static void setReadFaultForTesting(qint64 fromByte, int error);
    // True while that seam is on: readers that don't go through readFully() copy instead.
    static bool readFaultForTesting();

private:
    void run();

    const int fd;
    const qint64 fileSize;
    const qint64 pieceSize;
    const qint64 slack;
    const qint64 start;
    std::unique_ptr<char[]> buffers[2];
    qint64 lengths[2] = {0, 0};

    std::mutex mutex;
    std::condition_variable changed;
    qint64 produced = 0;   // pieces read
    qint64 handed = 0;     // pieces given to the caller; all but the last are free again
    bool finished = false; // the reader has read its last piece
    int failure = 0;       // error number of a failed read
    bool stopping = false;
    std::thread worker;
};
