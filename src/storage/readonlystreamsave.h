#pragma once

// The streamed save of a read-only table, shared by the save in the file's order
// (readonlydatacontainer_stream.cpp) and the one in a sorted table's order
// (readonlydatacontainer_sortedsave.cpp). Private to the container's save.
#include "storage/readonlydatacontainer_scan.h"

#include "storage/aheadwriter.h"
#include "storage/cellwriter.h"
#include "storage/readonlysavelines.h"

#include <QFile>
#include <QScopeGuard>

#include <atomic>
#include <future>
#include <limits>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

namespace ReadOnlyStream {

inline std::atomic<bool> s_streamedSave{true};

inline constexpr qint64 kPieceBytes = qint64(4) << 20; // one read of the file in order
inline constexpr qint64 kCarryRoom = qint64(1) << 20;  // room in front of a piece for a line begun before it
// A piece cut where a row starts, read and walked on a thread of its own: a few of them in flight
// stay in the processor's cache from the read to the write, which pieces of 4 MiB don't (twice
// the time of a whole file's save).
inline constexpr qint64 kCutPieceBytes = qint64(1) << 20;
inline constexpr qint64 kCarryAtMost = qint64(64) << 20; // a longer line ends the streaming
inline constexpr qint64 kSlackBytes = 512;             // behind the text: whole blocks of 64 units of 4 bytes
inline constexpr size_t kFlushBytes = size_t(1) << 20; // the lines made go out about a megabyte at a time
inline constexpr size_t kDirectRun = size_t(256)
                                     << 10;          // lines copied unchanged go out straight from the read
inline constexpr size_t kViewRun = size_t(64) << 10; // ... or, with a writing thread, straight from a store
// From this size on, a thread of its own writes, in buffers of the second size: the few in flight
// stay in the processor's cache until they are written (buffers of 4 MiB cost a shuffled save
// half as much time again).
inline constexpr qint64 kAheadWriteBytes = qint64(8) << 20;
inline constexpr size_t kAheadFlushBytes = size_t(1) << 20;
// A reordered table gathers its lines into a store of this size at most, a pass over the file per store.
inline constexpr qint64 kGatherBytes = qint64(256) << 20;
// ... unless the whole text fits in an eighth of the machine's memory, and below 4 GiB (its lines'
// places are 32 bits): then it is read once and held whole, which costs a 1 GiB file about half
// the time of four passes.
inline constexpr qint64 kInMemoryAtMost = (qint64(4) << 30) - (qint64(1) << 20);
inline constexpr qint64 kGatherReadBytes = qint64(8) << 20;
inline constexpr int kGatherRowsAtMost = 50000000;
inline constexpr qint64 kGatherGapBytes = 65536; // smaller gaps are read over

inline constexpr char kChangedText[] = "The file was changed by another program since it was opened.";

// Where the reader's machine ends the line that starts at the data's start: the number of units
// up to the next line's start, or -1 when the line runs past the data.
struct LineEndSink {
    qint64 end = -1;
    bool rowStart(qint64 pos) {
        end = pos;
        return false;
    }
    static bool cellStart(qint64) { return true; }
    static bool cellEnd(qint64) { return true; }
    static bool rowEnd(qint64) { return true; }
};

template <class Traits> qint64 machineLineEnd(Traits traits, const char* data, qint64 units) {
    traits.attach(data, units);
    ScanState state = ScanState::CellStart;
    LineEndSink sink;
    scanUnits(traits, units, 0, state, sink);
    return sink.end;
}

} // namespace ReadOnlyStream

using namespace ReadOnlySaveLines;
using namespace ReadOnlyStream;

// Waits, on every way out of a save's scope, until the writing thread is done with the lines it
// was handed, so that the memory they lie in may be refilled or freed.
struct DrainOnExit {
    AheadWriter* ahead;
    ~DrainOnExit() {
        if (ahead)
            ahead->drain();
    }
};

struct ReadOnlyDataContainer::StreamSave {
    ReadOnlyDataContainer& c;
    const CellWriter& writer;
    const std::function<bool(const char*, qint64)>& put;
    const std::vector<int>& rowsToSkip;
    const std::vector<int>& colsToSkip;
    int lastRow;

    StreamSave(ReadOnlyDataContainer& container, const CellWriter& w,
               const std::function<bool(const char*, qint64)>& putBytes, const std::vector<int>& skipRows,
               const std::vector<int>& skipCols, int last)
        : c(container), writer(w), put(putBytes), rowsToSkip(skipRows), colsToSkip(skipCols), lastRow(last) {}

    Rules rules;
    int unitBytes = 1;
    qint64 pieceBytes = kPieceBytes;
    qint64 carryRoom = kCarryRoom;
    std::vector<char> out;
    const char* runBegin = nullptr; // lines copied unchanged, not yet in `out`
    size_t runBytes = 0;
    bool firstLine = true;
    qint64 sinceReport = 0;
    std::vector<char> lineBytes;
    std::vector<std::vector<char>> cells;
    // The cells of a line made anew: in the file's text, or quotes taken off in `scratch`.
    struct Span {
        bool decoded;
        size_t offset;
        size_t size;
        bool check; // the writer decides on quotes; else it surely puts none
    };
    // One-byte text: the bytes that end an unquoted cell or may make the writer quote it.
    PlainBytes plainBytes;
    bool plainFast = false;
    std::vector<Span> spans;
    std::vector<char> scratch;
    bool rewritable = false;
    AheadWriter* ahead = nullptr; // while lines are copied into buffers for a writing thread
    qint64 carryAtMost = kCarryAtMost;
    qint64 gatherBytes = kGatherBytes;
    qint64 inMemoryBytes = kGatherBytes; // a text up to this size is held whole
    qint64 cutPieceBytes = kCutPieceBytes;
    bool gaveUp = false;
    int rowsDone = 0; // the table's rows written, from the first
    size_t flushBytes = kFlushBytes;
    // A second maker of lines on a thread of its own (see emitParted); it makes only the lines
    // that need nothing of the container's own state, and stops at the first other one.
    StreamSave* helper = nullptr;
    // The text of the lines stays in place until the writing thread is drained: long runs of
    // lines copied unchanged go to it without a copy.
    bool viewsKept = false;
    bool cellPathAllowed = true;
    struct RowLine {
        int row;
        Line line;
    };
    std::vector<RowLine> batch;
    // A maker of a piece's lines on a thread of its own: it never writes, its lines stay in
    // `out` and, the last run of lines copied unchanged, in the piece's text.
    bool collectOnly = false;
    size_t runAtMost = kFlushBytes;
    // One-byte text saved with another delimiter: the lines that need only that swapped are made
    // a run at a time (swapPiece), a piece's lines all in `swapped`, its first `swappedBytes`.
    bool swapLines = false;
    bool swapPieces = false; // ... for the pieces of this save that swapAllowed() lets
    SwapKeys swapKeys;
    std::vector<char> swapped;
    size_t swappedBytes = 0;

    // Stretches of the file that start and end where the index says rows start, so that each can
    // be read and walked on a thread of its own. Empty where the index gives no such cuts close
    // enough together.
    struct Piece {
        qint64 begin; // bytes
        qint64 end;
        int firstRow;
        int rows;
        bool last;
    };
    std::vector<Piece> plan;
    // Rows left out are passed over unread where a piece has nothing else, and unwalked where
    // they fill the rows between two of the index's row starts (a save in the file's order, the
    // rows left out each listed once).
    bool passOverDropped = false;

    bool usable();

    // The line's end as the reader's machine finds it, for the lines the splitter leaves to it.
    qint64 machineEnd(const char* data, qint64 units) const {
        const bool withDelimiter = rules.hasDelimiter;
        if (unitBytes == 1)
            return machineLineEnd(
                ByteUnits(withDelimiter ? static_cast<unsigned char>(c.delimiter) : -1, rules.quoting), data,
                units);
        const KeyCharVecs keys = c.setKeyCharVecs();
        if (unitBytes == 2)
            return machineLineEnd(WideUnits<quint16>(keys, withDelimiter, rules.quoting), data, units);
        return machineLineEnd(WideUnits<quint32>(keys, withDelimiter, rules.quoting), data, units);
    }

    // Why the save stopped, other than a failed write; the container hears of it once the
    // writing thread, which may set its error too, has ended.
    QString failure;
    bool fail(const QString& why) {
        failure = why;
        return false;
    }

    bool flushOut(int row) {
        if (out.empty())
            return true;
        sinceReport += static_cast<qint64>(out.size());
        if (ahead) {
            if (!ahead->send(out))
                return false;
        } else {
            if (!put(out.data(), static_cast<qint64>(out.size())))
                return false;
            out.clear();
        }
        report(row);
        return true;
    }

    void report(int row) {
        if (sinceReport >= (1 << 20)) {
            sinceReport = 0;
            c.reportSaveProgress(row + 1, c.numRowsIndexed);
        }
    }

    bool flushRun(int row) {
        if (runBytes == 0)
            return true;
        if (collectOnly) {
            out.insert(out.end(), runBegin, runBegin + runBytes);
        } else if (viewsKept && runBytes >= kViewRun) {
            // Its bytes stay where they are until the writing thread has written them.
            if (!flushOut(row) || !ahead->sendView(runBegin, runBytes))
                return false;
            sinceReport += static_cast<qint64>(runBytes);
            report(row);
        } else if (runBytes >= kDirectRun && !ahead) {
            if (!flushOut(row) || !put(runBegin, static_cast<qint64>(runBytes)))
                return false;
            sinceReport += static_cast<qint64>(runBytes);
            report(row);
        } else {
            out.insert(out.end(), runBegin, runBegin + runBytes);
        }
        runBytes = 0;
        return true;
    }

    // Line `row` of the table from `line` of `data`: copied as it stands, made anew from its
    // cells found here, or, for the few lines that need it, read into cells and written as the
    // cell-by-cell save does.
    template <int W> bool emitLine(int row, const char* data, const Line& line) {
        const char* const bytes = data + W * line.start;
        const size_t size = static_cast<size_t>(W * (line.end - line.start));
        const bool lastLineCut = row == lastRow && !c.finalLineEnding;
        if (line.copyable && !firstLine && !lastLineCut) {
            // Runs end about a megabyte long, so that progress goes out as often as the lines.
            if (runBytes > 0 && runBegin + runBytes == bytes && runBytes < runAtMost) {
                runBytes += size;
            } else {
                if (!flushRun(row))
                    return false;
                runBegin = bytes;
                runBytes = size;
            }
        } else {
            if (!flushRun(row))
                return false;
            const size_t lineStart = out.size();
            if (firstLine || line.contentEnd < 0 || !rewritable || !rewrite<W>(data, line)) {
                if (!cellPathAllowed)
                    return false; // nothing of the line written: the caller's thread makes it
                // Read into cells and written as the cell-by-cell save does, from the same bytes.
                lineBytes.assign(bytes, bytes + size);
                CellCollector sink;
                sink.rowCells = &cells;
                sink.targetRow = 0;
                cells.clear();
                c.runCollector(lineBytes, 0, 0, sink, unitBytes >= 2, c.delimiter != 0);
                c.writeRow(out, cells, MASK_ALL_BUT_LISTED, colsToSkip);
            }
            if (lastLineCut)
                writer.dropFinalLineEnding(out, lineStart);
        }
        firstLine = false;
        return out.size() < flushBytes || flushOut(row);
    }

    // One-byte text with quoted cells, only the delimiter changed: the unquoted cells between
    // them go out a stretch at a time with their delimiters swapped, each quoted one as the
    // writer writes its text. False, with nothing written, for a line with a quote inside an
    // unquoted cell, text behind a closing quote, or an unquoted cell the writer would quote.
    bool plainWithQuotedCells(const char* data, const Line& line);

    // A well-formed line's cells, quotes taken off as a load takes them, written as the writer
    // writes a line read from the file: false, with nothing written, where it finds otherwise.
    template <int W> bool rewrite(const char* data, const Line& line) {
        const qint64 end = line.contentEnd;
        auto at = [&](qint64 i) { return unitAt<W>(data + W * i); };
        auto find = [&](qint64 from, std::uint32_t unit) {
            if constexpr (W == 1) {
                const void* hit =
                    std::memchr(data + from, static_cast<int>(unit), static_cast<size_t>(end - from));
                return hit ? static_cast<qint64>(static_cast<const char*>(hit) - data) : end;
            } else {
                for (; from < end; ++from) {
                    if (at(from) == unit)
                        return from;
                }
                return end;
            }
        };
        if constexpr (W == 1) {
            if (plainFast && !line.quotes && rules.hasDelimiter && writer.delimited() &&
                c.keepFieldCountsAsRead) {
                // No quotes: the line's text with the delimiter changed, unless a cell then needs
                // quotes. An empty line stays empty.
                const size_t at0 = out.size();
                const size_t n = static_cast<size_t>(end - line.start);
                out.resize(at0 + n);
                const char* const from = data + line.start;
                char* const to = out.data() + at0;
                const char delimiter = c.delimiter;
                const char save = c.saveDelimiter;
                const bool clash = swapDelimiters(from, to, n, delimiter, save);
                if (!clash || rules.writerNever) {
                    writer.appendLineEnding(out);
                    return true;
                }
                out.resize(at0);
            }
            if (plainFast && line.quotes && rules.quoting && !rules.writerNever && rules.hasDelimiter &&
                writer.delimited() && c.keepFieldCountsAsRead && plainWithQuotedCells(data, line))
                return true;
        }
        spans.clear();
        scratch.clear();
        for (qint64 i = line.start;;) {
            if (rules.quoting && i < end && at(i) == rules.quote) {
                const size_t from = scratch.size();
                for (qint64 j = i + 1;;) {
                    const qint64 q = find(j, rules.quote);
                    if (q >= end)
                        return false;
                    scratch.insert(scratch.end(), data + W * j, data + W * q);
                    if (q + 1 < end && at(q + 1) == rules.quote) {
                        scratch.insert(scratch.end(), data + W * q, data + W * (q + 1));
                        j = q + 2;
                        continue;
                    }
                    i = q + 1;
                    break;
                }
                if (i < end && !(rules.hasDelimiter && at(i) == rules.delimiter))
                    return false;
                spans.push_back(Span{true, from, scratch.size() - from, true});
            } else if constexpr (W == 1) {
                // One pass over the cell finds its end and whether the writer may quote it.
                bool mayQuote = false;
                const qint64 d = plainCellEnd(data, i, end, plainBytes, mayQuote);
                spans.push_back(
                    Span{false, static_cast<size_t>(i), static_cast<size_t>(d - i), !plainFast || mayQuote});
                i = d;
            } else {
                const qint64 d = rules.hasDelimiter ? find(i, rules.delimiter) : end;
                spans.push_back(
                    Span{false, static_cast<size_t>(W * i), static_cast<size_t>(W * (d - i)), true});
                i = d;
            }
            if (i >= end)
                break;
            ++i; // the delimiter
        }
        auto put = [&](const Span& span) {
            const char* const from = (span.decoded ? scratch.data() : data) + span.offset;
            if (span.check) {
                writer.appendCell(out, std::string_view(from, span.size), false);
                return;
            }
            // Needs no quotes: its bytes and the delimiter.
            out.insert(out.end(), from, from + span.size);
            if (writer.delimited())
                out.push_back(c.saveDelimiter);
        };
        const size_t before = out.size();
        size_t count = spans.size();
        if (c.keepFieldCountsAsRead) {
            // An empty line is one empty field: nothing to write (two quotes are a field).
            if (end > line.start) {
                for (const Span& span : spans)
                    put(span);
            }
        } else {
            if (!c.saveWithTrailingDelimiters) {
                while (count > 0 && spans[count - 1].size == 0)
                    --count;
            }
            for (size_t k = 0; k < count; ++k)
                put(spans[k]);
            if (writer.delimited() && c.saveWithTrailingDelimiters) {
                for (qint64 k = static_cast<qint64>(count); k < c.numColsIndexed; ++k)
                    writer.appendPad(out);
            }
        }
        writer.endCells(out, before);
        writer.appendLineEnding(out);
        return true;
    }

    // A reordered table's lines are all over their text: each is asked for a few lines ahead.
    static constexpr size_t kLinesAhead = 8;
    template <int W> void prefetchLine(const char* data, size_t k, size_t end) const {
        if (k < end) {
            const char* const from = data + W * batch[k].line.start;
            __builtin_prefetch(from);
            __builtin_prefetch(from + 64);
        }
    }

    // The lines of `batch`, all in `data`, in order: this thread makes the first half while the
    // helper makes the second into a buffer of its own, which goes out behind the first. A line
    // the helper can't make alone, and every line behind it, is made here afterwards.
    template <int W> bool emitParted(const char* data) {
        const size_t count = batch.size();
        size_t half = helper && count >= 2 ? count / 2 : count;
        StreamSave& h = *helper;
        size_t stoppedAt = count;
        std::future<void> job;
        if (half < count) {
            h.out.clear();
            job = std::async(std::launch::async, [&] {
                for (size_t k = half; k < count; ++k) {
                    prefetchLine<W>(data, k + kLinesAhead, count);
                    if (!h.emitLine<W>(batch[k].row, data, batch[k].line)) {
                        stoppedAt = k;
                        return;
                    }
                }
                h.flushRun(batch.back().row);
            });
        }
        bool ok = true;
        for (size_t k = 0; k < half && ok; ++k) {
            prefetchLine<W>(data, k + kLinesAhead, half);
            ok = emitLine<W>(batch[k].row, data, batch[k].line);
        }
        if (job.valid())
            job.get();
        if (!ok)
            return false;
        if (half < count) {
            const int row = batch[half - 1].row;
            if (!flushRun(row) || !flushOut(row))
                return false;
            if (!h.out.empty()) {
                sinceReport += static_cast<qint64>(h.out.size());
                if (!ahead->send(h.out))
                    return false;
                report(batch[stoppedAt - 1].row);
            }
            for (size_t k = stoppedAt; k < count; ++k) {
                if (!emitLine<W>(batch[k].row, data, batch[k].line))
                    return false;
            }
        }
        batch.clear();
        return true;
    }

    // Every line of the file from row 0 on, in order, to onLine(data, dataPosition, line), which
    // returns 1 to go on, 2 to stop, 0 on failure; onPieceEnd() runs before a piece's bytes are
    // reused. The file is read a piece ahead on a thread of its own.
    template <int W, class OnLine, class OnPieceEnd>
    bool forEachLine(OnLine&& onLine, OnPieceEnd&& onPieceEnd) {
        struct Slot {
            std::vector<char> buffer;
            qint64 at = 0;
            qint64 length = 0;
            qint64 got = 0;
            std::future<void> done; // after the buffer: destroyed, and so waited for, first
        };
        const int fd = c.file->handle();
        const qint64 fileEnd = c.fileSize;
        Slot pieces[2];
        auto launch = [&](Slot& slot, qint64 at) {
            slot.at = at;
            slot.length = std::min(pieceBytes, fileEnd - at);
            if (slot.buffer.empty())
                slot.buffer.resize(static_cast<size_t>(carryRoom + pieceBytes + kSlackBytes));
            char* into = slot.buffer.data() + carryRoom;
            slot.done = std::async(std::launch::async, [&slot, fd, into] {
                slot.got = PieceReader::readFully(fd, into, slot.at, slot.length);
            });
        };
        qint64 next = c.strips.front().offset * W;
        if (next >= fileEnd)
            return true;
        launch(pieces[0], next);
        next += pieces[0].length;
        std::vector<char> carry;
        std::vector<char> joined;
        Splitter<W> split(rules);
        for (int k = 0;; k ^= 1) {
            Slot& slot = pieces[k];
            slot.done.get();
            if (slot.got < slot.length) {
                c.noteFileChanged();
                return fail(QLatin1String(kChangedText));
            }
            const bool final = next >= fileEnd;
            if (!final) {
                launch(pieces[k ^ 1], next);
                next += pieces[k ^ 1].length;
            }
            const qint64 carried = static_cast<qint64>(carry.size());
            const qint64 bytes = carried + slot.got;
            char* data = nullptr;
            if (carried <= carryRoom) {
                data = slot.buffer.data() + carryRoom - carried;
                if (carried > 0)
                    std::memcpy(data, carry.data(), carry.size());
            } else {
                joined.resize(static_cast<size_t>(bytes + kSlackBytes));
                std::memcpy(joined.data(), carry.data(), carry.size());
                std::memcpy(joined.data() + carried, slot.buffer.data() + carryRoom,
                            static_cast<size_t>(slot.got));
                data = joined.data();
            }
            std::memset(data + bytes, 0, static_cast<size_t>(kSlackBytes));
            const qint64 units = bytes / W;
            split.attach(data, units, final);
            qint64 at = 0;
            bool stop = false;
            while (at < units) {
                Line line;
                const auto found = split.line(at, line);
                if (found == Splitter<W>::NeedMore)
                    break;
                if (found == Splitter<W>::Odd) {
                    qint64 end = machineEnd(data + W * at, units - at);
                    if (end < 0) {
                        if (!final)
                            break;
                        end = units - at;
                    }
                    line = Line{at, at + end, false, -1, true};
                }
                const int result = onLine(data, slot.at - carried, line);
                if (result == 0)
                    return false;
                at = line.end;
                if (result == 2) {
                    stop = true;
                    break;
                }
            }
            if (!onPieceEnd())
                return false;
            if (final || stop)
                return true;
            carry.assign(data + W * at, data + bytes);
            if (static_cast<qint64>(carry.size()) > carryAtMost) {
                // One line this long (a quote never closed, say) would be walked again for every
                // piece read behind it: the cell-by-cell save takes over from its row on.
                gaveUp = true;
                return true;
            }
        }
    }

    // The line from unit `at` of a text read whole; one the splitter doesn't follow ends where
    // the state machine ends it, or with the text.
    template <int W> Line wholeLine(Splitter<W>& split, const char* data, qint64 at, qint64 units) const {
        Line line;
        if (split.line(at, line) == Splitter<W>::Odd) {
            qint64 end = machineEnd(data + W * at, units - at);
            if (end < 0)
                end = units - at;
            line = Line{at, at + end, false, -1, true};
        }
        return line;
    }

    // Cuts the file about a cut piece apart where the index has a strip at a row's first cell,
    // which is where that row's line starts. No plan where such cuts lie too far apart.
    void planPieces();

    // The lines of a piece read to `data`, which is readable 64 units behind its end, to
    // onLine(row, line); whether they are the rows the index has there. `linesEnd` gets where
    // the last one ends in the file, in bytes.
    template <int W, class OnLine>
    bool walkPiece(const Piece& piece, const char* data, qint64& linesEnd, OnLine&& onLine) const {
        const qint64 units = (piece.end - piece.begin) / W;
        Splitter<W> split(rules);
        split.attach(data, units, true);
        qint64 at = 0;
        int k = 0;
        while (at < units && k < piece.rows) {
            const Line line = wholeLine(split, data, at, units);
            onLine(piece.firstRow + k, line);
            at = line.end;
            ++k;
        }
        linesEnd = piece.begin + W * at;
        if (piece.last)
            return k == piece.rows;
        // The next piece starts a row: this one ends with a line's ending.
        const std::uint32_t end = at > 0 ? unitAt<W>(data + W * (at - 1)) : 0;
        return k == piece.rows && at == units && (end == rules.lf || end == rules.cr || end == rules.rs);
    }

    // The lines of a piece as walkPiece finds them, but the rows from `skip` on in rowsToSkip
    // (which holds no row twice) that fill all the rows between two of the index's row starts
    // (strips at a row's first cell) are passed over unwalked: the walk goes on from the next row
    // start, and wherever it arrives at one it checks that the lines walked end there.
    template <int W, class OnLine>
    bool walkPieceSkipping(const Piece& piece, const char* data, size_t skip, qint64& linesEnd,
                           OnLine&& onLine) const {
        const qint64 units = (piece.end - piece.begin) / W;
        Splitter<W> split(rules);
        split.attach(data, units, true);
        const std::vector<Strip>& strips = c.strips;
        auto entry = std::upper_bound(strips.begin(), strips.end(), piece.begin,
                                      [](qint64 at, const Strip& strip) { return at < strip.offset * W; });
        qint64 at = 0;
        int row = piece.firstRow;
        const int endRow = piece.firstRow + piece.rows;
        bool walkedLast = false;
        while (row < endRow) {
            while (entry != strips.end() && entry->offset * W < piece.end && entry->col != 0)
                ++entry;
            const bool inside = entry != strips.end() && entry->offset * W < piece.end;
            const int upTo = inside ? entry->row : endRow;
            while (skip < rowsToSkip.size() && rowsToSkip[skip] < row)
                ++skip;
            const size_t count = static_cast<size_t>(upTo - row);
            if (count > 0 && skip + count <= rowsToSkip.size() && rowsToSkip[skip] == row &&
                rowsToSkip[skip + count - 1] == upTo - 1) {
                // All left out: on from the next row start.
                row = upTo;
                at = inside ? (entry->offset * W - piece.begin) / W : units;
                walkedLast = false;
                if (inside)
                    ++entry;
                continue;
            }
            for (; row < upTo; ++row) {
                if (at >= units)
                    return false; // fewer lines than rows
                const Line line = wholeLine(split, data, at, units);
                onLine(row, line);
                at = line.end;
            }
            walkedLast = true;
            if (inside) {
                if (piece.begin + W * at != entry->offset * W)
                    return false; // the next row doesn't start where the index has it
                ++entry;
            }
        }
        linesEnd = piece.begin + W * at;
        if (piece.last || !walkedLast)
            return true;
        // The next piece starts a row: this one ends with a line's ending.
        const std::uint32_t end = at > 0 ? unitAt<W>(data + W * (at - 1)) : 0;
        return at == units && (end == rules.lf || end == rules.cr || end == rules.rs);
    }

    // Whether a piece's lines may go through swapPiece: none left out, none the first line written
    // (the calling thread's), none the last one of a file that didn't end with a line ending.
    bool swapAllowed(const Piece& piece) const {
        return swapPieces && rowsToSkip.empty() && piece.firstRow > 0 &&
               (c.finalLineEnding || piece.firstRow + piece.rows - 1 < lastRow);
    }

    enum class Swapped { Matches, Differs, Redo };

    // The lines of a piece of one-byte text as emitLine makes them, on the piece's thread: a run of
    // lines that need only their delimiters swapped (see SwapKeys) in one go, the first other line
    // as emitLine makes it, and on. The lines from the first one emitLine leaves
    // to the calling thread go to `rest`. Differs where the lines aren't the piece's rows; Redo,
    // with `out` and `rest` as they came, where the piece has more lines than rows, which the
    // line by line walk takes as it always did. The lines go to `swapped`, not to `out`.
    Swapped swapPiece(const Piece& piece, const char* data, qint64& linesEnd, std::vector<RowLine>& rest);

    // job(k) for every k below `count`, on this thread and one more.
    template <class Job> static void onTwoThreads(size_t count, Job&& job) {
        std::atomic<size_t> next{0};
        auto run = [&] {
            for (size_t k = next.fetch_add(1); k < count; k = next.fetch_add(1))
                job(k);
        };
        auto other = std::async(std::launch::async, run);
        run();
        other.get();
    }

    struct PieceJob {
        Piece piece{};
        std::vector<char> buffer;
        bool readOk = false;
        bool matches = false; // its lines are the rows the index has there
        size_t skip = 0;      // the first of rowsToSkip at or behind its first row
        qint64 linesEnd = 0;  // where its last line ends, in bytes
        std::vector<RowLine> rest;
        StreamSave* maker = nullptr;
        std::future<void> done; // after the buffer: destroyed, and so waited for, first
    };

    // Every line of the planned pieces, a few pieces at a time, each read and walked on a thread
    // of its own: inWorker(job, row, data, line) there, in order within the piece, until it says
    // false, which leaves that line and the rest of the piece's in job.rest; then inOrder(job, data)
    // here, piece by piece in the file's order, before the piece's memory is used again.
    template <int W, class InWorker, class InOrder>
    bool forEachPiece(std::vector<PieceJob>& jobs, InWorker&& inWorker, InOrder&& inOrder) {
        const int fd = c.file->handle();
        auto work = [this, fd, &inWorker](PieceJob& job) {
            const Piece& piece = job.piece;
            const qint64 size = piece.end - piece.begin;
            job.buffer.resize(static_cast<size_t>(size + kSlackBytes));
            char* const data = job.buffer.data();
            if (PieceReader::readFully(fd, data, piece.begin, size) < size)
                return;
            job.readOk = true;
            std::memset(data + size, 0, static_cast<size_t>(kSlackBytes));
            if constexpr (W == 1) {
                if (job.maker && swapAllowed(piece)) {
                    const Swapped result = job.maker->swapPiece(piece, data, job.linesEnd, job.rest);
                    if (result != Swapped::Redo) {
                        job.matches = result == Swapped::Matches;
                        return;
                    }
                }
            }
            bool handed = false;
            auto onLine = [&](int row, const Line& line) {
                if (!handed && !inWorker(job, row, data, line))
                    handed = true;
                if (handed)
                    job.rest.push_back(RowLine{row, line});
            };
            job.matches = passOverDropped && job.skip < rowsToSkip.size()
                              ? walkPieceSkipping<W>(piece, data, job.skip, job.linesEnd, onLine)
                              : walkPiece<W>(piece, data, job.linesEnd, onLine);
        };
        auto launch = [&](size_t k) {
            PieceJob& job = jobs[k % jobs.size()];
            job.piece = plan[k];
            job.readOk = false;
            job.matches = false;
            job.rest.clear();
            if (job.maker) {
                job.maker->out.clear();
                job.maker->runBytes = 0;
                job.maker->swappedBytes = 0;
            }
            const auto skipFrom = std::lower_bound(rowsToSkip.begin(), rowsToSkip.end(), job.piece.firstRow);
            job.skip = static_cast<size_t>(skipFrom - rowsToSkip.begin());
            if (passOverDropped &&
                std::lower_bound(skipFrom, rowsToSkip.end(), job.piece.firstRow + job.piece.rows) -
                        skipFrom ==
                    job.piece.rows) {
                // Every row of it left out: neither read nor walked. The lines written are still
                // each held to the index, piece by piece; a change only among rows left out
                // changes nothing written.
                job.readOk = true;
                job.matches = true;
                job.done = std::async(std::launch::deferred, [] {});
                return;
            }
            job.done = std::async(std::launch::async, [&work, &job] { work(job); });
        };
        // The threads use what is local here: they are done before it goes, on every way out.
        const auto waitForAll = qScopeGuard([&jobs] {
            for (PieceJob& job : jobs) {
                if (job.done.valid())
                    job.done.wait();
            }
        });
        for (size_t k = 0; k < plan.size() && k < jobs.size(); ++k)
            launch(k);
        for (size_t k = 0; k < plan.size(); ++k) {
            PieceJob& job = jobs[k % jobs.size()];
            job.done.get();
            if (!job.readOk || !job.matches) {
                // Short, or its lines aren't where the index put them: not the file indexed.
                c.noteFileChanged();
                return fail(QLatin1String(kChangedText));
            }
            if (!inOrder(job, job.buffer.data()))
                return false;
            if (k + jobs.size() < plan.size())
                launch(k + jobs.size());
        }
        return true;
    }

    // Rows in the file's order, a filter's rows left out (readonlydatacontainer_stream.cpp).
    template <int W> bool inFileOrderPieced();
    template <int W> bool inFileOrder();
    // Rows in the table's order (readonlydatacontainer_sortedsave.cpp).
    template <int W> bool gathered();
    template <int W> std::optional<bool> gatheredInMemory();

    template <int W> bool run() { return c.rowsReordered ? gathered<W>() : inFileOrder<W>(); }
};
