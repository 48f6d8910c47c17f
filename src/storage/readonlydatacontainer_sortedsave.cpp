// The save of a sorted read-only table: the start of every line first, then its lines gathered
// in the table's order, from the file held in memory where it fits, else from a store filled a
// pass over the file at a time.
#include "storage/readonlystreamsave.h"

#include "storage/largepageallocator.h"

namespace {

// The store a reordered save gathers its lines in: its bytes are all written before they are
// read, so they aren't cleared first, and it lies in large pages where the system has them.
class StoreBuffer {
public:
    StoreBuffer() = default;
    StoreBuffer(const StoreBuffer&) = delete;
    StoreBuffer& operator=(const StoreBuffer&) = delete;
    ~StoreBuffer() { LargePages::release(bytes); }

    void resize(size_t size) {
        if (size <= capacity)
            return;
        LargePages::release(bytes);
        bytes = nullptr;
        bytes = static_cast<char*>(LargePages::allocate(size));
        capacity = size;
    }
    char* data() { return bytes; }

private:
    char* bytes = nullptr;
    size_t capacity = 0;
};

// Whether a line goes out as it stands (bit 0), where its line ending starts if it is well
// formed (bit 1, and the ending's units in bits 2 and 3), whether it has quotes (bit 4).
quint8 kindOf(const Line& line) {
    return static_cast<quint8>(
        (line.copyable ? 1 : 0) | (line.quotes ? 16 : 0) |
        (line.contentEnd >= 0 ? 2 | static_cast<int>(line.end - line.contentEnd) << 2 : 0));
}
Line lineOf(qint64 start, qint64 end, quint8 kind) {
    return Line{start, end, (kind & 1) != 0, (kind & 2) ? end - ((kind >> 2) & 3) : -1, (kind & 16) != 0};
}

} // namespace

// Rows in the table's order: the start of every line first, in one pass, then the lines of as
// many rows as a store holds gathered from the file in position order, a pass per store.
template <int W> bool ReadOnlyDataContainer::StreamSave::gathered() {
    if (!plan.empty() && c.fileSize - plan.front().begin <= inMemoryBytes) {
        if (const std::optional<bool> done = gatheredInMemory<W>())
            return *done;
    }
    const int rows = c.numRowsIndexed;
    // Per file row: where its line starts, and its kind.
    std::vector<qint64> starts(static_cast<size_t>(rows) + 1);
    std::vector<quint8> kinds(static_cast<size_t>(rows));
    int found = 0;
    bool ok = true;
    if (!plan.empty()) {
        // Each row's entries are written by the thread of its piece alone; the end of the
        // last line, shared with no row, here.
        std::vector<PieceJob> jobs(3);
        ok = forEachPiece<W>(
            jobs,
            [&](PieceJob& job, int row, const char*, const Line& line) {
                const size_t f = static_cast<size_t>(row);
                starts[f] = job.piece.begin + W * line.start;
                kinds[f] = kindOf(line);
                return true;
            },
            [&](PieceJob& job, const char*) {
                found += job.piece.rows;
                if (job.piece.last)
                    starts[static_cast<size_t>(found)] = job.linesEnd;
                return true;
            });
    } else {
        ok = forEachLine<W>(
            [&](const char*, qint64 dataPosition, const Line& line) -> int {
                const size_t f = static_cast<size_t>(found);
                starts[f] = dataPosition + W * line.start;
                starts[f + 1] = dataPosition + W * line.end;
                kinds[f] = kindOf(line);
                ++found;
                return found < rows ? 1 : 2;
            },
            [] { return true; });
    }
    if (!ok)
        return false;
    if (gaveUp)
        return true; // nothing written yet: the cell-by-cell save does it all
    if (found != rows) {
        c.noteFileChanged();
        return fail(QLatin1String(kChangedText));
    }
    rowsDone = rows;
    auto sizeOf = [&](int f) { return starts[static_cast<size_t>(f) + 1] - starts[static_cast<size_t>(f)]; };
    std::vector<int> shown; // the table's rows that go out, in order
    shown.reserve(static_cast<size_t>(rows));
    size_t skip = 0;
    for (int row = 0; row < rows; ++row) {
        while (skip < rowsToSkip.size() && rowsToSkip[skip] < row)
            ++skip;
        const int f = c.fileRowOf(row);
        if (!(skip < rowsToSkip.size() && rowsToSkip[skip] == row) && f >= 0 && f < rows)
            shown.push_back(row);
    }
    const int fd = c.file->handle();
    std::vector<qint64> placeOfFileRow(static_cast<size_t>(rows), -1);
    // A file row the table shows twice: its line is copied within the store.
    struct Again {
        qint64 place;
        qint64 from;
        qint64 size;
    };
    std::vector<Again> again;
    std::vector<qint64> places;
    StoreBuffer store;
    // The writing thread may still read the store's lines: it is done with them before the
    // store is refilled or freed, on every way out.
    const DrainOnExit drainFirst{ahead};
    viewsKept = ahead != nullptr;
    std::vector<char> readBuffer;
    std::vector<char> nextReadBuffer;
    struct Read {
        qint64 begin;
        qint64 end;
        int from; // file rows [from, to)
        int to;
    };
    std::vector<Read> reads;
    for (size_t first = 0; first < shown.size();) {
        // The next rows up to the store's size (at least one), and their places in it.
        size_t last = first;
        qint64 storeBytes = 0;
        places.clear();
        for (; last < shown.size(); ++last) {
            const qint64 size = sizeOf(c.fileRowOf(shown[last]));
            if (last > first && storeBytes + size > gatherBytes)
                break;
            places.push_back(storeBytes);
            storeBytes += size;
        }
        places.push_back(storeBytes);
        if (ahead && !ahead->drain())
            return false;
        std::fill(placeOfFileRow.begin(), placeOfFileRow.end(), -1);
        again.clear();
        for (size_t k = first; k < last; ++k) {
            qint64& place = placeOfFileRow[static_cast<size_t>(c.fileRowOf(shown[k]))];
            if (place >= 0)
                again.push_back(Again{places[k - first], place, sizeOf(c.fileRowOf(shown[k]))});
            else
                place = places[k - first];
        }
        store.resize(static_cast<size_t>(storeBytes + kSlackBytes));
        std::memset(store.data() + storeBytes, 0, static_cast<size_t>(kSlackBytes));
        // The file front to back, neighbouring lines in one read over small gaps; the next
        // read runs on a thread of its own while the lines of the last one are put in place.
        reads.clear();
        for (int f = 0; f < rows;) {
            if (placeOfFileRow[static_cast<size_t>(f)] < 0) {
                ++f;
                continue;
            }
            const qint64 begin = starts[static_cast<size_t>(f)];
            qint64 end = starts[static_cast<size_t>(f) + 1];
            int g = f + 1;
            for (int next = g; next < rows; ++next) {
                if (placeOfFileRow[static_cast<size_t>(next)] < 0)
                    continue;
                const qint64 e = starts[static_cast<size_t>(next) + 1];
                if (starts[static_cast<size_t>(next)] - end > kGatherGapBytes || e - begin > kGatherReadBytes)
                    break;
                end = e;
                g = next + 1;
            }
            reads.push_back(Read{begin, end, f, g});
            f = g;
        }
        std::vector<char>* buffers[2] = {&readBuffer, &nextReadBuffer};
        std::future<qint64> pending;
        auto launch = [&](size_t i) {
            std::vector<char>& into = *buffers[i % 2];
            const Read r = reads[i];
            into.resize(static_cast<size_t>(r.end - r.begin));
            pending = std::async(std::launch::async, [fd, r, &into] {
                return PieceReader::readFully(fd, into.data(), r.begin, r.end - r.begin);
            });
        };
        if (!reads.empty())
            launch(0);
        for (size_t i = 0; i < reads.size(); ++i) {
            const Read r = reads[i];
            if (pending.get() < r.end - r.begin) {
                c.noteFileChanged();
                return fail(QLatin1String(kChangedText));
            }
            if (i + 1 < reads.size())
                launch(i + 1);
            const std::vector<char>& got = *buffers[i % 2];
            for (int f = r.from; f < r.to; ++f) {
                const qint64 place = placeOfFileRow[static_cast<size_t>(f)];
                if (place >= 0)
                    std::memcpy(store.data() + place, got.data() + (starts[static_cast<size_t>(f)] - r.begin),
                                static_cast<size_t>(sizeOf(f)));
            }
        }
        for (const Again& copy : again)
            std::memcpy(store.data() + copy.place, store.data() + copy.from, static_cast<size_t>(copy.size));
        // In batches of about a read piece's bytes, each made on two threads with a helper.
        qint64 batchBytes = 0;
        for (size_t k = first; k < last; ++k) {
            const quint8 kind = kinds[static_cast<size_t>(c.fileRowOf(shown[k]))];
            const qint64 start = places[k - first] / W;
            const qint64 end = places[k - first + 1] / W;
            const Line line = lineOf(start, end, kind);
            if (!helper) {
                if (!emitLine<W>(shown[k], store.data(), line))
                    return false;
                continue;
            }
            batch.push_back(RowLine{shown[k], line});
            batchBytes += W * (end - start);
            if ((batchBytes >= pieceBytes || k + 1 == last) && !emitParted<W>(store.data()))
                return false;
            if (batch.empty())
                batchBytes = 0;
        }
        if (!flushRun(shown[last - 1]) || !flushOut(shown[last - 1]))
            return false;
        first = last;
    }
    return true;
}

// The rows of a reordered table whose text is held whole: the file read into memory once, in
// pieces on two threads, each piece's lines found right behind its read, each line's start put
// in the table's order as it is found, and then the lines copied from where they stand, half of
// them on a thread of their own. No answer, with nothing written, where the table shows a file
// row twice.
template <int W> std::optional<bool> ReadOnlyDataContainer::StreamSave::gatheredInMemory() {
    const int rows = c.numRowsIndexed;
    const qint64 base = plan.front().begin;
    const qint64 size = c.fileSize - base;
    // The lines in the table's order, in bytes from the text's start: a text held whole is
    // below 4 GiB. Every entry is written before it is read: none is cleared first.
    struct Placed {
        quint32 start;
        quint32 end;
        quint8 kind;
    };
    StoreBuffer placedStore;
    placedStore.resize(std::max<size_t>(1, static_cast<size_t>(rows)) * sizeof(Placed));
    Placed* const placed = reinterpret_cast<Placed*>(placedStore.data());
    std::atomic<size_t> placedCount{0};
    StoreBuffer text;
    text.resize(static_cast<size_t>(size + kSlackBytes));
    std::memset(text.data() + size, 0, static_cast<size_t>(kSlackBytes));
    const int fd = c.file->handle();
    std::atomic<bool> same{true};
    // The place in the table's order of each file row that goes out, -1 for the others; and the
    // table's rows that go out, in order: listed here while another thread starts the reads.
    std::vector<int> shown;
    std::vector<int> placeOf;
    std::atomic<bool> listed{false};
    // The entry of a row a few on is asked for ahead, as the writes go all over.
    constexpr int kEntriesAhead = 16;
    // Each piece is walked as soon as it and the piece behind it are read (the walk looks at
    // whole blocks of 64 units, a few of them the next piece's) and the rows are listed, while
    // its bytes are still in the processor's cache; whoever sees the last of these walks it.
    // Each line's entry is written by the thread of its piece alone.
    const size_t pieces = plan.size();
    const std::unique_ptr<std::atomic<bool>[]> read(new std::atomic<bool>[pieces]());
    const std::unique_ptr<std::atomic<bool>[]> taken(new std::atomic<bool>[pieces]());
    auto walk = [&](size_t k) {
        if (k >= pieces || !listed || !read[k] || (k + 1 < pieces && !read[k + 1]) ||
            taken[k].exchange(true) || !same)
            return;
        const Piece& piece = plan[k];
        const qint64 offset = piece.begin - base;
        qint64 linesEnd = 0;
        size_t count = 0;
        const bool matches =
            walkPiece<W>(piece, text.data() + offset, linesEnd, [&](int row, const Line& line) {
                if (row + kEntriesAhead < rows) {
                    const int ahead = placeOf[static_cast<size_t>(row + kEntriesAhead)];
                    if (ahead >= 0)
                        __builtin_prefetch(&placed[ahead], 1);
                }
                const int place = placeOf[static_cast<size_t>(row)];
                if (place >= 0) {
                    placed[place] = Placed{static_cast<quint32>(offset + W * line.start),
                                           static_cast<quint32>(offset + W * line.end), kindOf(line)};
                    ++count;
                }
            });
        placedCount += count;
        if (!matches)
            same = false;
    };
    std::atomic<size_t> next{0};
    auto readAndWalk = [&] {
        for (size_t k = next.fetch_add(1); k < pieces; k = next.fetch_add(1)) {
            const Piece& piece = plan[k];
            if (same && PieceReader::readFully(fd, text.data() + (piece.begin - base), piece.begin,
                                               piece.end - piece.begin) < piece.end - piece.begin)
                same = false;
            read[k] = true;
            if (k > 0)
                walk(k - 1);
            walk(k);
        }
    };
    {
        auto reader = std::async(std::launch::async, readAndWalk);
        // Written without a look first, which would wait for memory at every row: a file row
        // shown twice is found below by the count of lines placed.
        shown.reserve(static_cast<size_t>(rows));
        placeOf.assign(static_cast<size_t>(rows), -1);
        const bool ordered = c.rowsReordered && c.rowOrder.size() == static_cast<size_t>(rows);
        size_t skip = 0;
        for (int row = 0; row < rows; ++row) {
            if (ordered && row + kEntriesAhead < rows) {
                const int ahead = c.rowOrder[static_cast<size_t>(row + kEntriesAhead)];
                if (ahead >= 0 && ahead < rows)
                    __builtin_prefetch(&placeOf[static_cast<size_t>(ahead)], 1);
            }
            while (skip < rowsToSkip.size() && rowsToSkip[skip] < row)
                ++skip;
            const int f = c.fileRowOf(row);
            if ((skip < rowsToSkip.size() && rowsToSkip[skip] == row) || f < 0 || f >= rows)
                continue;
            placeOf[static_cast<size_t>(f)] = static_cast<int>(shown.size());
            shown.push_back(row);
        }
        listed = true;
        // The pieces read while the rows were listed, then this thread's share of the rest.
        for (size_t k = 0; k < pieces; ++k)
            walk(k);
        readAndWalk();
        reader.get();
        // Every piece is read now: any left unwalked by the race between the two threads.
        for (size_t k = 0; k < pieces; ++k)
            walk(k);
    }
    if (!same) {
        c.noteFileChanged();
        return fail(QLatin1String(kChangedText));
    }
    if (placedCount != shown.size())
        return std::nullopt; // an order that shows a row twice: a store takes it
    rowsDone = rows;
    // The writing thread may still read lines of the text: it is done with them before the
    // text is freed, on every way out.
    const DrainOnExit drainFirst{ahead};
    viewsKept = ahead != nullptr;
    const size_t count = shown.size();
    auto lineAt = [&](size_t k) { return lineOf(placed[k].start / W, placed[k].end / W, placed[k].kind); };
    if (helper) {
        // In batches of about a read piece's bytes, each made on two threads.
        qint64 batchBytes = 0;
        for (size_t k = 0; k < count; ++k) {
            batch.push_back(RowLine{shown[k], lineAt(k)});
            batchBytes += placed[k].end - placed[k].start;
            if (batchBytes >= pieceBytes) {
                if (!emitParted<W>(text.data()))
                    return false;
                batchBytes = 0;
            }
        }
        if (!batch.empty() && !emitParted<W>(text.data()))
            return false;
        return count == 0 || (flushRun(shown.back()) && flushOut(shown.back()));
    }
    // Each line is somewhere else in the text: it is asked for a few lines ahead of its turn.
    constexpr size_t kAhead = 16;
    auto prefetch = [&](size_t k, size_t end) {
        if (k < end) {
            const char* const from = text.data() + placed[k].start;
            __builtin_prefetch(from);
            __builtin_prefetch(from + 64);
        }
    };
    // Lines k on, up to `end`, that go out as they stand (none the first written, nor the last
    // one cut short), appended to `into` a move a line, a stretch of them at a time; where it
    // stopped: the first line that isn't one of them, or `end`.
    auto copyLines = [&](size_t k, size_t end, std::vector<char>& into) {
        constexpr size_t kStretch = 64;
        for (size_t j = k; j < std::min(end, k + kAhead); ++j)
            prefetch(j, end);
        while (k < end) {
            const size_t stretchEnd = std::min(end, k + kStretch);
            qint64 bytes = 0;
            size_t plainEnd = k;
            for (; plainEnd < stretchEnd; ++plainEnd) {
                const Placed& p = placed[plainEnd];
                if ((p.kind & 1) == 0 || (shown[plainEnd] == lastRow && !c.finalLineEnding))
                    break;
                bytes += p.end - p.start;
            }
            const size_t at = into.size();
            into.resize(at + static_cast<size_t>(bytes));
            char* to = into.data() + at;
            for (; k < plainEnd; ++k) {
                prefetch(k + kAhead, end);
                const size_t n = placed[k].end - placed[k].start;
                std::memcpy(to, text.data() + placed[k].start, n);
                to += n;
            }
            if (plainEnd < stretchEnd)
                return k;
        }
        return end;
    };
    // In batches of about two buffers' bytes, the second half of each copied on a thread of its
    // own while this one copies the first: the copies wait on memory, each thread for its own
    // lines. A line that needs more than its copy stops the other thread, and this one makes it
    // and the rest of the half.
    std::vector<char> second;
    for (size_t first = 0; first < count;) {
        size_t last = first;
        for (qint64 bytes = 0; last < count && bytes < 2 * static_cast<qint64>(flushBytes); ++last)
            bytes += placed[last].end - placed[last].start;
        const size_t half = ahead && last - first >= 2 ? first + (last - first) / 2 : last;
        size_t stoppedAt = last;
        std::future<void> job;
        if (half < last) {
            second.clear();
            job = std::async(std::launch::async, [&] { stoppedAt = copyLines(half, last, second); });
        }
        bool ok = true;
        for (size_t k = first; k < half && ok;) {
            if (!firstLine) {
                ok = flushRun(shown[k]);
                k = ok ? copyLines(k, half, out) : k;
            }
            if (ok && k < half) {
                ok = emitLine<W>(shown[k], text.data(), lineAt(k));
                ++k;
            }
        }
        if (job.valid())
            job.get();
        if (!ok || !flushRun(shown[half - 1]) || !flushOut(shown[half - 1]))
            return false;
        if (half < last) {
            if (!second.empty()) {
                sinceReport += static_cast<qint64>(second.size());
                if (!ahead->send(second))
                    return false;
                report(shown[stoppedAt - 1]);
            }
            for (size_t k = stoppedAt; k < last; ++k) {
                if (!emitLine<W>(shown[k], text.data(), lineAt(k)))
                    return false;
            }
        }
        first = last;
    }
    return count == 0 || (flushRun(shown.back()) && flushOut(shown.back()));
}

template bool ReadOnlyDataContainer::StreamSave::gathered<1>();
template bool ReadOnlyDataContainer::StreamSave::gathered<2>();
template bool ReadOnlyDataContainer::StreamSave::gathered<4>();
