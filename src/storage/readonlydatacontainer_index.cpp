#include "storage/readonlydatacontainer_scan.h"

#include <QDateTime>
#include <QFile>
#include <QMutex>
#include <QWaitCondition>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <memory>

#if defined(Q_OS_UNIX)
#include <sys/stat.h>
#endif

// --- Opening and indexing --------------------------------------------------------------------

bool ReadOnlyDataContainer::openCSV() {
    if (file && file->isOpen())
        return true;
    delete file;
    file = new QFile(filepath);
    // Unbuffered: cell reads seek all over the file, and the index reads big pieces itself.
    if (!file->open(QIODevice::ReadOnly | QIODevice::Unbuffered)) {
        errorString = file->errorString();
        delete file;
        file = nullptr;
        return false;
    }
    fileSize = file->size();
    return true;
}

// One positioned read: a cell read costs a single system call where the platform has one.
qint64 ReadOnlyDataContainer::readAt(qint64 position, char* into, qint64 length, int* error) const {
#if defined(Q_OS_UNIX)
    const int fd = file->handle();
    if (fd >= 0)
        return PieceReader::readFully(fd, into, position, length, error);
#endif
    if (error)
        *error = 0;
    if (!file->seek(position))
        return -1;
    const qint64 got = file->read(into, length);
    if (got < 0 && error)
        *error = EIO;
    return got;
}

ReadOnlyDataContainer::FileStamp ReadOnlyDataContainer::currentStamp() const {
    FileStamp stamp;
#if defined(Q_OS_UNIX)
    struct stat info;
    if (file && file->handle() >= 0 && ::fstat(file->handle(), &info) == 0) {
        stamp.size = static_cast<qint64>(info.st_size);
        stamp.modified = static_cast<qint64>(info.st_mtim.tv_sec) * 1000000000 + info.st_mtim.tv_nsec;
        return stamp;
    }
#endif
    if (file) {
        stamp.size = file->size();
        stamp.modified = file->fileTime(QFileDevice::FileModificationTime).toMSecsSinceEpoch();
    }
    return stamp;
}

bool ReadOnlyDataContainer::fileUnchanged() const {
    if (fileChanged)
        return false;
    if (!file || !file->isOpen())
        return true;
    if (currentStamp() == indexedStamp)
        return true;
    noteFileChanged();
    return false;
}

void ReadOnlyDataContainer::noteFileChanged() const {
    if (fileChanged)
        return;
    fileChanged = true;
    emit fileChangedSignal(filepath);
}

void ReadOnlyDataContainer::closeCSV() {
    if (file)
        file->close();
    delete file;
    file = nullptr;
}

bool ReadOnlyDataContainer::loadCSV() {
    openCSV();
    return indexCSV();
}
bool ReadOnlyDataContainer::loadCSVNoDelimiter() {
    openCSV();
    return indexCSVNoDelimiter();
}
bool ReadOnlyDataContainer::loadCSVMultiByte() {
    openCSV();
    return indexCSVMultiByte();
}
bool ReadOnlyDataContainer::loadCSVNoDelimiterMultiByte() {
    openCSV();
    return indexCSVNoDelimiterMultiByte();
}

bool ReadOnlyDataContainer::indexCSV() {
    if (bytesPerChar >= 2)
        return delimiter == 0 ? indexCSVNoDelimiterMultiByte() : indexCSVMultiByte();
    if (delimiter == 0)
        return indexCSVNoDelimiter();
    return runIndex(false, true);
}
bool ReadOnlyDataContainer::indexCSVNoDelimiter() {
    return runIndex(bytesPerChar >= 2, false);
}
bool ReadOnlyDataContainer::indexCSVMultiByte() {
    return runIndex(true, delimiter != 0);
}
bool ReadOnlyDataContainer::indexCSVNoDelimiterMultiByte() {
    return runIndex(true, false);
}

void ReadOnlyDataContainer::resetIndex() {
    strips.clear();
    strips.shrink_to_fit();
    numRowsIndexed = 0;
    numColsIndexed = 0;
    rowOrder.clear();
    colOrder.clear();
    rowsReordered = false;
    colsReordered = false;
}

bool ReadOnlyDataContainer::runIndex(bool multiByte, bool withDelimiter) {
    resetIndex();
    errorString.clear();
    fileChanged = false;
    finalLineEnding = true;
    if (!file || !file->isOpen())
        return false;
    indexedStamp = currentStamp();
    fileSize = file->size();
    if (fileSize == 0) {
        closeCSV();
        emit loadFinishedSignal();
        return true;
    }
    const bool quoting = withDelimiter && parsingStandard != DELIMITER_ONLY;
    const int unitBytes = multiByte ? bytesPerChar : 1;
    if (unitBytes != 1 && unitBytes != 2 && unitBytes != 4)
        return false;
    indexedAs = IndexedAs{quoting, withDelimiter ? delimiter : '\0', unitBytes};

    qint64 pieceSize = s_pieceSizeForTesting.load();
    if (pieceSize <= 0)
        pieceSize = kReadPieceSize;
    pieceSize = (pieceSize + 3) / 4 * 4;
    pieceSize = std::min(pieceSize, (fileSize + 3) / 4 * 4);
    std::vector<char> buffer(static_cast<size_t>(pieceSize + kScanSlack));

    bool indexed = false;
    if (unitBytes == 1) {
        indexed = indexPasses(ByteUnits(withDelimiter ? static_cast<unsigned char>(delimiter) : -1, quoting),
                              1, buffer);
    } else {
        const KeyCharVecs keys = setKeyCharVecs();
        if (keys.lf.size() != static_cast<size_t>(unitBytes))
            return false; // an encoding without key sequences never reaches the wide machine
        indexed = unitBytes == 2 ? indexPasses(WideUnits<quint16>(keys, withDelimiter, quoting), 2, buffer)
                                 : indexPasses(WideUnits<quint32>(keys, withDelimiter, quoting), 4, buffer);
    }
    if (!indexed)
        return false;
    // A file written to while the passes read it gives an index of neither its old nor its new
    // text.
    if (currentStamp() != indexedStamp) {
        resetIndex();
        errorString = QStringLiteral("The file was changed by another program while it was being read.");
        return false;
    }
    finalLineEnding = numRowsIndexed == 0 || !lastTerminator(file->handle(), fileSize).empty();
    emit loadFinishedSignal();
    return true;
}

template <class Traits>
bool ReadOnlyDataContainer::indexPasses(Traits traitsTemplate, int unitBytes, std::vector<char>& buffer) {
    const qint64 pieceSize = static_cast<qint64>(buffer.size()) - kScanSlack;
    const qint64 progressTotal = fileSize / kIndexProgressStep + 1;
    const bool reports = fileSize >= kProgressThreshold;

    // One pass over the file in pieces; the machine's state carries from piece to piece.
    auto runPass = [&](auto& sink) -> bool {
        if (!file->seek(0))
            return false;
        qint64 bytePos = 0;
        bool firstPiece = true;
        ScanState st = ScanState::RowStart;
        FastState fast;
        bool started = false;
        unsigned char lastByte = 0; // the text's last two, single-byte text
        unsigned char beforeLastByte = 0;
        qint64 endUnit = 0;
        Traits traits = traitsTemplate;
        // Single-byte text is read a piece ahead on a thread of its own where the file has a
        // descriptor; the pieces are the same either way. Below 64 KiB a piece costs less to
        // read than to hand from one thread to the other (only tests make them that small).
        std::unique_ptr<PieceReader> reader;
        if (std::is_same_v<Traits, ByteUnits> && file->handle() >= 0 && pieceSize >= 65536)
            reader = std::make_unique<PieceReader>(file->handle(), fileSize, pieceSize, kScanSlack);
        while (bytePos < fileSize) {
            const qint64 want = std::min(pieceSize, fileSize - bytePos);
            char* data = buffer.data();
            int readError = 0;
            const qint64 got = reader ? reader->next(data) : readAt(bytePos, data, want, &readError);
            if (got < want) {
                // The size taken at the start says where the file ends: the read failed, or the
                // file got shorter meanwhile.
                setReadError(reader ? reader->error() : readError);
                return false;
            }
            const qint64 usable = got - got % unitBytes; // short only by the file's last bytes
            if (usable == 0)
                break;
            qint64 skip = 0;
            if (firstPiece) {
                skip = computeTableBomOffset(data, usable, true);
                firstPiece = false;
            }
            const qint64 units = (usable - skip) / unitBytes;
            const qint64 base = (bytePos + skip) / unitBytes;
            if constexpr (std::is_same_v<Traits, ByteUnits>) {
                if (units > 0) {
                    if (!started) {
                        started = true;
                        fast.cellStart = base;
                        if (!sink.rowStart(base))
                            return false;
                        sink.cellStart(base);
                    }
                    const bool final = bytePos + usable >= fileSize;
                    traits.attach(data + skip, units);
                    const auto* bytes = reinterpret_cast<const unsigned char*>(data + skip);
                    const bool ok = traits.classes[static_cast<unsigned char>('"')] == ByteUnits::kQuote
                                        ? fastScan<true>(traits, bytes, units, base, final, fast, sink)
                                        : fastScan<false>(traits, bytes, units, base, final, fast, sink);
                    if (!ok)
                        return false;
                    beforeLastByte = units >= 2 ? bytes[units - 2] : lastByte;
                    lastByte = bytes[units - 1];
                    endUnit = base + units;
                }
            } else {
                traits.attach(data + skip, units);
                if (!scanUnits(traits, units, base, st, sink))
                    return false;
                endUnit = base + units;
            }
            bytePos += got;
        }
        // A delimiter at the very end, outside quotes, ends a cell and opens one more, empty, as
        // the loader counts it; no character is there to start it.
        bool trailingDelimiter = false;
        if constexpr (std::is_same_v<Traits, ByteUnits>)
            // With LF as delimiter, a CR LF at the end is one line ending: the LF opens nothing.
            trailingDelimiter = started && !fast.inQuotes && fast.cellStart == endUnit &&
                                traits.classes[lastByte] == ByteUnits::kDelim &&
                                !(lastByte == KeyChars::LF && beforeLastByte == KeyChars::CR);
        else
            trailingDelimiter = st == ScanState::CellStart;
        if (trailingDelimiter)
            sink.cellStart(endUnit);
        return true;
    };

    // Returns the next mark.
    auto progress = [&](qint64 bytePos, int pass, qint64 mark) -> qint64 {
        if (progressUpdateMutex)
            progressUpdateMutex->lock();
        const qint64 step = bytePos / kIndexProgressStep;
        emit loadProgressUpdateSignal(static_cast<int>(pass == 1 ? step : progressTotal + 2 * step),
                                      static_cast<int>(3 * progressTotal), static_cast<int>(fileSize >> 20));
        if (progressUpdateMutex && progressUpdateCondition)
            progressUpdateCondition->wait(progressUpdateMutex, 1);
        if (progressUpdateMutex)
            progressUpdateMutex->unlock();
        return mark + kIndexProgressStep;
    };

    // Pass 1 counts rows, and cells per row; a row's width counts when the next row starts, and
    // the last row's when the pass is over, so that every cell of the file has a place.
    struct CountSink {
        ReadOnlyDataContainer* self;
        decltype(progress)* report;
        int unitBytes;
        qint64 mark;
        qint64 rows = 0;
        qint64 cells = 0;
        qint64 widest = 0;
        bool tooLarge = false;
        [[gnu::always_inline]] bool rowStart(qint64 pos) {
            if (self->loadCanceled.load(std::memory_order_relaxed))
                return false;
            if (pos * unitBytes > mark)
                mark = (*report)(pos * unitBytes, 1, mark);
            widest = std::max(widest, cells);
            cells = 0;
            if (++rows >= INT_MAX || widest >= INT_MAX) {
                tooLarge = true;
                return false;
            }
            return true;
        }
        [[gnu::always_inline]] bool cellStart(qint64) {
            ++cells;
            return true;
        }
        // A cell starts behind each delimiter bit of `bits` (bit i: position base + i).
        [[gnu::always_inline]] void cellStarts(std::uint64_t bits, qint64) { cells += std::popcount(bits); }
        static bool cellEnd(qint64) { return true; }
        static bool rowEnd(qint64) { return true; }
        // A block of 64 characters from `at`: a cell starts behind each bit of `delims`, a row
        // ends at each bit of `ends` (the next one starts behind it, or behind the LF of a CR in
        // `crBeforeLf`). Cancel and progress are looked at once per block that starts a row: a
        // block spans less than a progress step, so the reports are the same.
        [[gnu::always_inline]] bool block(std::uint64_t delims, std::uint64_t ends, std::uint64_t crBeforeLf,
                                          qint64 at, SelectBit) {
            if (!ends) {
                cells += std::popcount(delims);
                return true;
            }
            if (self->loadCanceled.load(std::memory_order_relaxed))
                return false;
            const int last = 63 - std::countl_zero(ends);
            const qint64 lastStart = at + last + 1 + static_cast<qint64>((crBeforeLf >> last) & 1);
            if (lastStart * unitBytes > mark)
                mark = (*report)(lastStart * unitBytes, 1, mark);
            const std::uint64_t afterLast = delims & ~((std::uint64_t(2) << last) - 1);
            if (cells + std::popcount(delims) > widest) {
                // Some row here may be the widest so far: count them one by one.
                std::uint64_t rest = delims;
                qint64 inRow = cells;
                for (std::uint64_t e = ends; e; e &= e - 1) {
                    const std::uint64_t below = (std::uint64_t(1) << std::countr_zero(e)) - 1;
                    widest = std::max(widest, inRow + std::popcount(rest & below));
                    rest &= ~below;
                    inRow = 1;
                }
            }
            cells = 1 + std::popcount(afterLast);
            rows += std::popcount(ends);
            if (rows >= INT_MAX || widest >= INT_MAX) {
                tooLarge = true;
                return false;
            }
            return true;
        }
    };

    beginProgress(fileSize);
    CountSink counter{this, &progress, unitBytes, reports ? -1 : LLONG_MAX};
    if (!runPass(counter)) {
        resetIndex();
        return false;
    }
    const qint64 rows = counter.rows;
    qint64 cols = rows > 0 ? std::max(counter.widest, counter.cells) : 0;
    if (delimiter == 0 && rows > 0)
        cols = 1; // one cell per line, whatever the lines
    if (cols >= INT_MAX)
        return false;

    // The index covers the full rectangle; refuse a file whose rectangle would need more memory
    // for its index than the file has bytes (a few very wide rows among millions of short ones).
    const qint64 gridCells = rows > 0 ? (rows - 1) * cols + std::max(counter.cells, cols) : 0;
    const qint64 stripsNeeded = gridCells / stripSize + 1;
    const qint64 maxStrips = std::max<qint64>(kMaxPieceSize, fileSize) / static_cast<qint64>(sizeof(Strip));
    if (stripsNeeded > maxStrips) {
        resetIndex();
        return false;
    }
    // Pass 2 records a strip at every 25th cell number. A short row's missing cells have numbers
    // too; the strips among them point at the row's line ending. The strips go straight into
    // storage of pass 1's count, with a spare entry behind it: a strip is written there before it
    // is known to count and kept by moving on, so recording one takes no branch.
    strips.resize(static_cast<size_t>(stripsNeeded + 1));
    struct StripSink {
        ReadOnlyDataContainer* self;
        decltype(progress)* report;
        int unitBytes;
        qint64 mark;
        qint64 numCols;
        Strip* cursor;
        Strip* spare;
        qint64 cellNumber = -1;
        qint64 nextStripCell = 0;
        int row = -1;
        int col = -1;
        qint64 lineEnd = 0;
        bool overflow = false; // more strips than pass 1 counted: the file changed in between

        // Keeps the strip written at the cursor if `taken`.
        [[gnu::always_inline]] void keep(bool taken) {
            const bool room = cursor != spare;
            cursor += taken && room;
            overflow |= taken && !room;
            nextStripCell += taken ? 25 : 0;
        }
        [[gnu::always_inline]] void put(int r, int c, qint64 offset) {
            *cursor = Strip{r, c, offset};
            keep(true);
        }
        [[gnu::always_inline]] bool rowStart(qint64 pos) {
            if (self->loadCanceled.load(std::memory_order_relaxed))
                return false;
            if (pos * unitBytes > mark)
                mark = (*report)(pos * unitBytes, 2, mark);
            nextRow();
            return true;
        }
        [[gnu::always_inline]] void nextRow() {
            if (row >= 0) {
                const qint64 missing = numCols - 1 - col;
                if (missing > 0) {
                    const qint64 last = cellNumber + missing;
                    while (nextStripCell <= last)
                        put(row, static_cast<int>(col + (nextStripCell - cellNumber)), lineEnd);
                    cellNumber = last;
                }
            }
            ++row;
            col = -1;
        }
        [[gnu::always_inline]] bool cellStart(qint64 pos) {
            ++col;
            if (++cellNumber == nextStripCell)
                put(row, col, pos);
            return true;
        }
        // The cells that start behind the bits of `starts`, the first `inRow` of them in the
        // current row and the rest, if `newRow`, in the next one, which starts at the first.
        [[gnu::always_inline]] void cellStarts(std::uint64_t starts, qint64 at, SelectBit select, int inRow,
                                               bool newRow) {
            const int count = std::popcount(starts);
            // The strip cells among these are the starts numbered need, need + 25, ...; rarely
            // more than one, and most often none.
            for (qint64 need = nextStripCell - cellNumber - 1; need < count; need += 25) {
                const int bit = select(starts, static_cast<int>(need));
                const bool next = newRow && need >= inRow;
                *cursor =
                    Strip{row + next, static_cast<int>(next ? need - inRow : col + need + 1), at + bit + 1};
                keep(true);
            }
            cellNumber += count;
            if (newRow) {
                ++row;
                col = count - inRow - 1;
            } else {
                col += count;
            }
        }
        static bool cellEnd(qint64) { return true; }
        [[gnu::always_inline]] bool rowEnd(qint64 pos) {
            lineEnd = pos;
            return true;
        }
        // As CountSink::block.
        [[gnu::always_inline]] bool block(std::uint64_t delims, std::uint64_t ends, std::uint64_t crBeforeLf,
                                          qint64 at, SelectBit select) {
            if (!ends) {
                cellStarts(delims, at, select, 64, false);
                return true;
            }
            if (self->loadCanceled.load(std::memory_order_relaxed))
                return false;
            const int last = 63 - std::countl_zero(ends);
            const qint64 lastStart = at + last + 1 + static_cast<qint64>((crBeforeLf >> last) & 1);
            if (lastStart * unitBytes > mark)
                mark = (*report)(lastStart * unitBytes, 2, mark);
            if (!(ends & (ends - 1))) {
                // One row end, as in most blocks that have one.
                const int e = std::countr_zero(ends);
                const std::uint64_t before = delims & ((std::uint64_t(1) << e) - 1);
                const int inRow = std::popcount(before);
                const int rowStartBit = e + static_cast<int>((crBeforeLf >> e) & 1);
                if (col + inRow == numCols - 1) {
                    // Behind a row of full width: no padding, so the cell numbers run on through
                    // the block without a gap.
                    lineEnd = at + e;
                    cellStarts(delims | (std::uint64_t(1) << rowStartBit), at, select, inRow, true);
                    return true;
                }
                if (col + inRow < numCols - 1) {
                    // Behind a short row: its cells here, its missing cells at the line ending,
                    // the next row's first cell behind it and its cells after that, in number
                    // order. Only the strip cells among them are looked for.
                    const std::uint64_t after = delims & ~((std::uint64_t(2) << e) - 1);
                    const qint64 lastInRow = cellNumber + inRow;            // its last cell here
                    const qint64 rowEnd = cellNumber + (numCols - 1 - col); // its last number
                    const qint64 last = rowEnd + 1 + std::popcount(after);
                    lineEnd = at + e;
                    for (qint64 t = nextStripCell; t <= last; t = nextStripCell) {
                        if (t <= lastInRow)
                            put(row, static_cast<int>(col + (t - cellNumber)),
                                at + select(before, static_cast<int>(t - cellNumber - 1)) + 1);
                        else if (t <= rowEnd)
                            put(row, static_cast<int>(col + (t - cellNumber)), lineEnd);
                        else if (t == rowEnd + 1)
                            put(row + 1, 0, at + rowStartBit + 1);
                        else
                            put(row + 1, static_cast<int>(t - rowEnd - 1),
                                at + select(after, static_cast<int>(t - rowEnd - 2)) + 1);
                    }
                    cellNumber = last;
                    ++row;
                    col = static_cast<int>(last - rowEnd - 1);
                    return true;
                }
            }
            std::uint64_t rest = delims;
            do {
                const int e = std::countr_zero(ends);
                ends &= ends - 1;
                const std::uint64_t below = (std::uint64_t(1) << e) - 1;
                cellStarts(rest & below, at, select, 64, false);
                rest &= ~below;
                lineEnd = at + e;
                nextRow();
                cellStart(at + e + 1 + static_cast<qint64>((crBeforeLf >> e) & 1));
            } while (ends);
            cellStarts(rest, at, select, 64, false);
            return true;
        }
    };

    StripSink recorder{this,
                       &progress,
                       unitBytes,
                       reports ? -1 : LLONG_MAX,
                       cols,
                       strips.data(),
                       strips.data() + stripsNeeded};
    if (!runPass(recorder) || recorder.overflow) {
        if (recorder.overflow)
            errorString = QStringLiteral("The file was changed by another program while it was being read.");
        resetIndex();
        return false;
    }
    strips.resize(static_cast<size_t>(recorder.cursor - strips.data()));
    numRowsIndexed = static_cast<int>(rows);
    numColsIndexed = static_cast<int>(cols);
    return true;
}
