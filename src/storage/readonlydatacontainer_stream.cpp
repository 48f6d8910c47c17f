// The save of a read-only table without reading it cell by cell: the file's lines stream through
// in big reads; every line the writer would make the same bytes of is copied as it stands, the
// others are made anew from their text, and only the few the line walker can't vouch for are read
// into cells and written as the cell-by-cell save writes them. Where the index shows rows starting
// often enough, the file is cut there into pieces that are read, walked and made on threads of
// their own while the calling thread writes.
#include "storage/readonlydatacontainer_scan.h"

#include "storage/aheadwriter.h"
#include "storage/cellwriter.h"
#include "storage/largepageallocator.h"
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

using namespace ReadOnlySaveLines;

namespace {

std::atomic<bool> s_streamedSave{true};

constexpr qint64 kPieceBytes = qint64(4) << 20; // one read of the file in order
constexpr qint64 kCarryRoom = qint64(1) << 20;  // room in front of a piece for a line begun before it
// A piece cut where a row starts, read and walked on a thread of its own: a few of them in flight
// stay in the processor's cache from the read to the write, which pieces of 4 MiB don't (twice
// the time of a whole file's save).
constexpr qint64 kCutPieceBytes = qint64(1) << 20;
constexpr qint64 kCarryAtMost = qint64(64) << 20; // a longer line ends the streaming
constexpr qint64 kSlackBytes = 512;               // behind the text: whole blocks of 64 units of 4 bytes
constexpr size_t kFlushBytes = size_t(1) << 20;   // the lines made go out about a megabyte at a time
constexpr size_t kDirectRun = size_t(256) << 10;  // lines copied unchanged go out straight from the read
constexpr size_t kViewRun = size_t(64) << 10;     // ... or, with a writing thread, straight from a store
// From this size on, a thread of its own writes, in buffers of the second size: the few in flight
// stay in the processor's cache until they are written (buffers of 4 MiB cost a shuffled save
// half as much time again).
constexpr qint64 kAheadWriteBytes = qint64(8) << 20;
constexpr size_t kAheadFlushBytes = size_t(1) << 20;
// A reordered table gathers its lines into a store of this size at most, a pass over the file per store.
constexpr qint64 kGatherBytes = qint64(256) << 20;
constexpr qint64 kGatherReadBytes = qint64(8) << 20;
constexpr int kGatherRowsAtMost = 50000000;
constexpr qint64 kGatherGapBytes = 65536; // smaller gaps are read over

constexpr char kChangedText[] = "The file was changed by another program since it was opened.";

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

} // namespace

void ReadOnlyDataContainer::setStreamedSaveForTesting(bool on) {
    s_streamedSave = on;
}

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

    bool usable() {
#if !defined(Q_OS_UNIX)
        return false; // the reads are positioned ones, which only Unix systems give here
#endif
        if (!s_streamedSave || c.numRowsIndexed <= 0 || c.strips.empty() || !c.file || !c.file->isOpen() ||
            c.file->handle() < 0)
            return false;
        // A reordered table keeps about 21 bytes a row while it gathers; past this many rows
        // that would outgrow memory, and it is read cell by cell instead.
        if (c.rowsReordered && c.numRowsIndexed > kGatherRowsAtMost)
            return false;
        unitBytes = c.bytesPerChar >= 2 ? c.bytesPerChar : 1;
        if (unitBytes != 1 && unitBytes != 2 && unitBytes != 4)
            return false;
        const char delimiter = c.delimiter;
        // A line ending as delimiter: the lines are no longer what ends them.
        if (delimiter == KeyChars::LF || delimiter == KeyChars::CR || delimiter == KeyChars::RecordSeparator)
            return false;
        rules.hasDelimiter = delimiter != 0;
        if (unitBytes > 1) {
            const KeyCharVecs keys = c.setKeyCharVecs();
            if (keys.lf.size() != static_cast<size_t>(unitBytes))
                return false;
            auto unit = [&](const std::vector<char>& seq) {
                std::uint32_t u = 0;
                std::memcpy(&u, seq.data(), std::min<size_t>(seq.size(), sizeof(u)));
                return u;
            };
            rules.lf = unit(keys.lf);
            rules.cr = unit(keys.cr);
            rules.rs = unit(keys.recordSeparator);
            rules.quote = unit(keys.quote);
            rules.delimiter = unit(keys.delimiter);
        } else {
            rules.delimiter = static_cast<unsigned char>(delimiter);
        }
        // As the reader's machine and the writer decide.
        rules.quoting =
            rules.hasDelimiter && c.parsingStandard != DELIMITER_ONLY && delimiter != KeyChars::Quote;
        // Read with other rules than the index's, lines may end elsewhere than its rows.
        const IndexedAs now{rules.hasDelimiter && c.parsingStandard != DELIMITER_ONLY, delimiter, unitBytes};
        if (now.quoting != c.indexedAs.quoting || now.delimiter != c.indexedAs.delimiter ||
            now.unitBytes != c.indexedAs.unitBytes)
            return false;
        const ParsingStandard standard = c.parsingStandard;
        const bool quotesRead = standard == RFC_4180 || standard == ALL_QUOTES || standard == SPARSE_QUOTES ||
                                standard == ASCII_SEPARATED_VALUES;
        rules.writerNever = c.saveDelimiter == 0 || !quotesRead || c.saveDelimiter == KeyChars::Quote;
        rules.quoteAnywhere = standard == RFC_4180;
        rules.copy = !c.colsReordered && colsToSkip.empty() && c.saveDelimiter == delimiter &&
                     !(standard == ALL_QUOTES && !rules.writerNever);
        rewritable = !c.colsReordered && colsToSkip.empty();
        // An unquoted cell of a line (never a line ending in it, nor a quote at its start where
        // quotes are read) is quoted only for the save delimiter, or a quote anywhere where
        // "RFC 4180" says so, unless the writer quotes everything or nothing.
        const bool writerAlways = standard == ALL_QUOTES && !rules.writerNever;
        plainFast = unitBytes == 1 && !writerAlways && (rules.quoting || rules.writerNever);
        plainBytes.ends = rules.hasDelimiter;
        plainBytes.end = delimiter;
        if (!rules.writerNever) {
            plainBytes.mayQuote[plainBytes.mayQuoteCount++] = c.saveDelimiter;
            if (rules.quoteAnywhere)
                plainBytes.mayQuote[plainBytes.mayQuoteCount++] = KeyChars::Quote;
        }
        swapLines = unitBytes == 1 && plainFast && rewritable && !rules.copy && rules.hasDelimiter &&
                    writer.delimited() && writer.lineEndingSize() == 1 && c.keepFieldCountsAsRead &&
                    c.saveDelimiter != 0 && c.saveDelimiter != delimiter;
        swapKeys.delimiter = delimiter;
        swapKeys.save = c.saveDelimiter;
        swapKeys.quote = KeyChars::Quote;
        swapKeys.quotedCells = rules.quoting && !rules.writerNever;
        swapKeys.quoteAnywhere = rules.quoteAnywhere;
        rules.padded = !c.keepFieldCountsAsRead;
        rules.trailing = c.saveWithTrailingDelimiters;
        rules.width = c.numColsIndexed;
        // Tests read in small pieces, so that lines straddle them and outgrow the room in front.
        if (const qint64 testing = s_pieceSizeForTesting.load(); testing > 0) {
            pieceBytes = (testing + 3) / 4 * 4;
            carryRoom = pieceBytes;
            carryAtMost = 16 * pieceBytes;
            gatherBytes = 4 * pieceBytes; // a store for a few pieces: most files take several
            cutPieceBytes = pieceBytes;
        }
        switch (c.lineEnding) {
        case LINE_ENDING_WINDOWS:
            rules.saveTerm = TermCrLf;
            break;
        case LINE_ENDING_RECORD_SEPARATOR:
            rules.saveTerm = TermRs;
            break;
        default:
            rules.saveTerm = TermLf;
            break;
        }
        swapLines = swapLines && rules.saveTerm == TermLf;
        return true;
    }

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
    bool plainWithQuotedCells(const char* data, const Line& line) {
        const qint64 end = line.contentEnd;
        const char quote = static_cast<char>(rules.quote);
        const char delimiter = c.delimiter;
        const char save = c.saveDelimiter;
        const size_t before = out.size();
        auto giveUp = [&] {
            out.resize(before);
            return false;
        };
        for (qint64 i = line.start;;) {
            if (i < end && data[i] == quote) {
                scratch.clear();
                qint64 j = i + 1;
                for (;;) {
                    const void* hit = std::memchr(data + j, quote, static_cast<size_t>(end - j));
                    if (!hit)
                        return giveUp();
                    const qint64 q = static_cast<const char*>(hit) - data;
                    scratch.insert(scratch.end(), data + j, data + q);
                    if (q + 1 < end && data[q + 1] == quote) {
                        scratch.push_back(quote);
                        j = q + 2;
                        continue;
                    }
                    i = q + 1;
                    break;
                }
                writer.appendCell(out, std::string_view(scratch.data(), scratch.size()), false);
                if (i >= end)
                    break;
                if (data[i] != delimiter)
                    return giveUp();
                ++i;
                continue;
            }
            // Up to the next cell that starts with a quote, its delimiter in front included.
            const void* hit = std::memchr(data + i, quote, static_cast<size_t>(end - i));
            const qint64 q = hit ? static_cast<const char*>(hit) - data : end;
            if (q < end && data[q - 1] != delimiter)
                return giveUp();
            const size_t n = static_cast<size_t>(q - i);
            const size_t at = out.size();
            out.resize(at + n + (q < end ? 0 : 1));
            if (swapDelimiters(data + i, out.data() + at, n, delimiter, save))
                return giveUp();
            if (q >= end) {
                out[at + n] = save; // behind the last cell, as the writer puts it
                break;
            }
            i = q;
        }
        writer.endCells(out, before);
        writer.appendLineEnding(out);
        return true;
    }

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

    // Cuts the file about a cut piece apart where the index has a strip at a row's first cell,
    // which is where that row's line starts. No plan where such cuts lie too far apart.
    void planPieces() {
        plan.clear();
        const std::vector<Strip>& strips = c.strips;
        const qint64 W = unitBytes;
        const qint64 fileEnd = c.fileSize;
        if (strips.front().row != 0 || strips.front().col != 0)
            return;
        qint64 begin = strips.front().offset * W;
        int row = 0;
        auto from = strips.begin();
        while (begin < fileEnd) {
            const qint64 target = begin + cutPieceBytes;
            auto cut = std::lower_bound(from, strips.end(), target,
                                        [W](const Strip& strip, qint64 at) { return strip.offset * W < at; });
            while (cut != strips.end() && cut->col != 0)
                ++cut;
            if (target >= fileEnd || cut == strips.end()) {
                plan.push_back(Piece{begin, fileEnd, row, c.numRowsIndexed - row, true});
                break;
            }
            if (cut->row <= row || cut->offset * W <= begin) {
                plan.clear();
                return;
            }
            plan.push_back(Piece{begin, cut->offset * W, row, cut->row - row, false});
            begin = cut->offset * W;
            row = cut->row;
            from = cut;
        }
        for (const Piece& piece : plan) {
            if (piece.rows <= 0 || piece.end - piece.begin > carryAtMost) {
                plan.clear();
                return;
            }
        }
    }

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
            Line line;
            if (split.line(at, line) == Splitter<W>::Odd) {
                qint64 end = machineEnd(data + W * at, units - at);
                if (end < 0)
                    end = units - at;
                line = Line{at, at + end, false, -1, true};
            }
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
    Swapped swapPiece(const Piece& piece, const char* data, qint64& linesEnd, std::vector<RowLine>& rest) {
        const qint64 units = piece.end - piece.begin;
        const size_t restBefore = rest.size();
        size_t made = 0;
        auto room = [&](size_t bytes) {
            if (swapped.size() < made + bytes)
                swapped.resize(std::max(made + bytes, swapped.size() + swapped.size() / 2));
        };
        const SwapRunFunction run = bestSwapRun();
        Splitter<1> split(rules);
        split.attach(data, units, true);
        qint64 i = 0;
        qint64 k = 0;
        bool handed = false;
        while (i < units && k < piece.rows) {
            if (!handed) {
                SwapStop stop;
                // Whole blocks of 64 are written: room for a last one that runs past the piece.
                room(static_cast<size_t>(units - i + 64));
                run(data + i, swapped.data() + made, units - i, swapKeys, stop);
                if (k + stop.lines > piece.rows) {
                    out.clear();
                    rest.resize(restBefore);
                    return Swapped::Redo;
                }
                const qint64 runEnd = i + stop.lineStart;
                made += static_cast<size_t>(stop.outLineStart);
                k += stop.lines;
                i = runEnd;
                if (i >= units || k >= piece.rows)
                    break;
            }
            Line line;
            if (split.line(i, line) == Splitter<1>::Odd) {
                qint64 end = machineEnd(data + i, units - i);
                if (end < 0)
                    end = units - i;
                line = Line{i, i + end, false, -1, true};
            }
            const int row = piece.firstRow + static_cast<int>(k);
            if (!handed && !emitLine<1>(row, data, line))
                handed = true;
            if (handed) {
                rest.push_back(RowLine{row, line});
            } else {
                room(out.size());
                std::memcpy(swapped.data() + made, out.data(), out.size());
                made += out.size();
                out.clear();
            }
            i = line.end;
            ++k;
        }
        swappedBytes = made;
        linesEnd = piece.begin + i;
        bool matches = k == piece.rows;
        if (!piece.last) {
            const std::uint32_t end = i > 0 ? unitAt<1>(data + i - 1) : 0;
            matches = matches && i == units && (end == rules.lf || end == rules.cr || end == rules.rs);
        }
        return matches ? Swapped::Matches : Swapped::Differs;
    }

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
            job.matches = walkPiece<W>(piece, data, job.linesEnd, [&](int row, const Line& line) {
                if (!handed && !inWorker(job, row, data, line))
                    handed = true;
                if (handed)
                    job.rest.push_back(RowLine{row, line});
            });
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
            job.skip = static_cast<size_t>(
                std::lower_bound(rowsToSkip.begin(), rowsToSkip.end(), job.piece.firstRow) -
                rowsToSkip.begin());
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

    // Rows in the file's order, a filter's rows left out, the pieces' lines made on their own
    // threads: this one writes them, and makes the first line and those that need the cells.
    template <int W> bool inFileOrderPieced() {
        // The first line written goes the cell-by-cell way, as the file's start may ask.
        int firstKept = 0;
        for (size_t k = 0; k < rowsToSkip.size() && rowsToSkip[k] <= firstKept; ++k)
            firstKept = rowsToSkip[k] + 1;
        Line first; // its line, found by the thread of its piece
        constexpr size_t kInFlight = 3;
        std::vector<StreamSave> makers;
        makers.reserve(kInFlight);
        std::vector<PieceJob> jobs(kInFlight);
        swapPieces = swapLines;
        for (size_t k = 0; k < kInFlight; ++k) {
            StreamSave& maker = makers.emplace_back(c, writer, put, rowsToSkip, colsToSkip, lastRow);
            maker.usable();
            maker.firstLine = false;
            maker.cellPathAllowed = false;
            maker.collectOnly = true;
            maker.runAtMost = std::numeric_limits<size_t>::max();
            maker.flushBytes = std::numeric_limits<size_t>::max();
            jobs[k].maker = &maker;
        }
        auto skipped = [this](size_t& skip, int row) {
            while (skip < rowsToSkip.size() && rowsToSkip[skip] < row)
                ++skip;
            return skip < rowsToSkip.size() && rowsToSkip[skip] == row;
        };
        const bool ok = forEachPiece<W>(
            jobs,
            [&](PieceJob& job, int row, const char* data, const Line& line) {
                if (skipped(job.skip, row))
                    return true;
                if (row == firstKept) {
                    // Left to this thread, in front of the rest of the piece's lines.
                    first = line;
                    return true;
                }
                return job.maker->emitLine<W>(row, data, line);
            },
            [&](PieceJob& job, const char* data) {
                StreamSave& maker = *job.maker;
                const int lastOfPiece = job.piece.firstRow + job.piece.rows - 1;
                if (job.piece.firstRow <= firstKept && firstKept <= lastOfPiece &&
                    (!emitLine<W>(firstKept, data, first) || !flushRun(firstKept) || !flushOut(firstKept)))
                    return false;
                const qint64 made =
                    static_cast<qint64>(maker.swappedBytes + maker.out.size() + maker.runBytes);
                if (maker.swappedBytes > 0 &&
                    !put(maker.swapped.data(), static_cast<qint64>(maker.swappedBytes)))
                    return false;
                if (!maker.out.empty() && !put(maker.out.data(), static_cast<qint64>(maker.out.size())))
                    return false;
                if (maker.runBytes > 0 && !put(maker.runBegin, static_cast<qint64>(maker.runBytes)))
                    return false;
                sinceReport += made;
                size_t skip = job.skip;
                for (const RowLine& rowLine : job.rest) {
                    if (!skipped(skip, rowLine.row) && !emitLine<W>(rowLine.row, data, rowLine.line))
                        return false;
                }
                // Nothing may point into the piece's memory once it is read into again.
                if (!flushRun(lastOfPiece) || !flushOut(lastOfPiece))
                    return false;
                report(lastOfPiece);
                return true;
            });
        if (!ok)
            return false;
        rowsDone = c.numRowsIndexed;
        return true;
    }

    // Rows in the file's order, a filter's rows left out.
    template <int W> bool inFileOrder() {
        if (!plan.empty())
            return inFileOrderPieced<W>();
        int row = 0;
        const char* pieceData = nullptr;
        size_t skip = 0;
        const bool ok = forEachLine<W>(
            [&](const char* data, qint64, const Line& line) -> int {
                while (skip < rowsToSkip.size() && rowsToSkip[skip] < row)
                    ++skip;
                if (!(skip < rowsToSkip.size() && rowsToSkip[skip] == row)) {
                    if (helper) {
                        batch.push_back(RowLine{row, line});
                        pieceData = data;
                    } else if (!emitLine<W>(row, data, line)) {
                        return 0;
                    }
                }
                ++row;
                return row < c.numRowsIndexed ? 1 : 2;
            },
            [&] { return (batch.empty() || emitParted<W>(pieceData)) && flushRun(row); });
        if (!ok)
            return false;
        if (!gaveUp && row != c.numRowsIndexed) {
            c.noteFileChanged();
            return fail(QLatin1String(kChangedText));
        }
        rowsDone = row;
        return flushOut(row);
    }

    // Rows in the table's order: the start of every line first, in one pass, then the lines of as
    // many rows as a store holds gathered from the file in position order, a pass per store.
    // Whether a line goes out as it stands (bit 0), where its line ending starts if it is well
    // formed (bit 1, and the ending's units in bits 2 and 3), whether it has quotes (bit 4).
    static quint8 kindOf(const Line& line) {
        return static_cast<quint8>(
            (line.copyable ? 1 : 0) | (line.quotes ? 16 : 0) |
            (line.contentEnd >= 0 ? 2 | static_cast<int>(line.end - line.contentEnd) << 2 : 0));
    }
    static Line lineOf(qint64 start, qint64 end, quint8 kind) {
        return Line{start, end, (kind & 1) != 0, (kind & 2) ? end - ((kind >> 2) & 3) : -1, (kind & 16) != 0};
    }

    template <int W> bool gathered() {
        if (!plan.empty() && c.fileSize - plan.front().begin <= gatherBytes) {
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
        auto sizeOf = [&](int f) {
            return starts[static_cast<size_t>(f) + 1] - starts[static_cast<size_t>(f)];
        };
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
        struct Drain {
            AheadWriter* ahead;
            ~Drain() {
                if (ahead)
                    ahead->drain();
            }
        } const drainFirst{ahead};
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
                    if (starts[static_cast<size_t>(next)] - end > kGatherGapBytes ||
                        e - begin > kGatherReadBytes)
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
                        std::memcpy(store.data() + place,
                                    got.data() + (starts[static_cast<size_t>(f)] - r.begin),
                                    static_cast<size_t>(sizeOf(f)));
                }
            }
            for (const Again& copy : again)
                std::memcpy(store.data() + copy.place, store.data() + copy.from,
                            static_cast<size_t>(copy.size));
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

    // The rows of a reordered table whose file fits a store: the file read into it once, in
    // pieces on two threads, its lines found on two threads, each put in the table's order as it
    // is found, and then taken from where it stands.
    // No answer, with nothing written, where the table shows a file row twice.
    template <int W> std::optional<bool> gatheredInMemory() {
        const int rows = c.numRowsIndexed;
        const qint64 base = plan.front().begin;
        const qint64 size = c.fileSize - base;
        // The place in the table's order of each file row that goes out, -1 for the others.
        std::vector<int> shown;
        shown.reserve(static_cast<size_t>(rows));
        // Written without a look first, which would wait for memory at every row: a file row
        // shown twice is found below by the count of lines placed.
        std::vector<int> placeOf(static_cast<size_t>(rows), -1);
        size_t skip = 0;
        for (int row = 0; row < rows; ++row) {
            while (skip < rowsToSkip.size() && rowsToSkip[skip] < row)
                ++skip;
            const int f = c.fileRowOf(row);
            if ((skip < rowsToSkip.size() && rowsToSkip[skip] == row) || f < 0 || f >= rows)
                continue;
            placeOf[static_cast<size_t>(f)] = static_cast<int>(shown.size());
            shown.push_back(row);
        }
        // The lines in that order, in bytes from the text's start: a text that fits a store is
        // far below 4 GiB.
        struct Placed {
            quint32 start;
            quint32 end;
            quint8 kind;
        };
        // Every entry is written before it is read: none is cleared first.
        const std::unique_ptr<Placed[]> placed(new Placed[shown.size()]);
        std::atomic<size_t> placedCount{0};
        StoreBuffer text;
        text.resize(static_cast<size_t>(size + kSlackBytes));
        std::memset(text.data() + size, 0, static_cast<size_t>(kSlackBytes));
        const int fd = c.file->handle();
        std::atomic<bool> same{true};
        onTwoThreads(plan.size(), [&](size_t k) {
            const Piece& piece = plan[k];
            if (PieceReader::readFully(fd, text.data() + (piece.begin - base), piece.begin,
                                       piece.end - piece.begin) < piece.end - piece.begin)
                same = false;
        });
        // Each line's entry is written by the thread of its piece alone.
        if (same) {
            onTwoThreads(plan.size(), [&](size_t k) {
                const Piece& piece = plan[k];
                const qint64 offset = piece.begin - base;
                qint64 linesEnd = 0;
                size_t count = 0;
                const bool matches =
                    walkPiece<W>(piece, text.data() + offset, linesEnd, [&](int row, const Line& line) {
                        const int place = placeOf[static_cast<size_t>(row)];
                        if (place >= 0) {
                            placed[static_cast<size_t>(place)] =
                                Placed{static_cast<quint32>(offset + W * line.start),
                                       static_cast<quint32>(offset + W * line.end), kindOf(line)};
                            ++count;
                        }
                    });
                placedCount += count;
                if (!matches)
                    same = false;
            });
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
        struct Drain {
            AheadWriter* ahead;
            ~Drain() {
                if (ahead)
                    ahead->drain();
            }
        } const drainFirst{ahead};
        viewsKept = ahead != nullptr;
        // Each line is somewhere else in the text: it is asked for a few lines ahead of its turn.
        constexpr size_t kAhead = 8;
        qint64 batchBytes = 0;
        for (size_t k = 0; k < shown.size(); ++k) {
            if (!helper && k + kAhead < shown.size()) {
                const char* const from = text.data() + placed[k + kAhead].start;
                __builtin_prefetch(from);
                __builtin_prefetch(from + 64);
            }
            const Placed& p = placed[k];
            const Line line = lineOf(p.start / W, p.end / W, p.kind);
            if (!helper) {
                if (!emitLine<W>(shown[k], text.data(), line))
                    return false;
                continue;
            }
            // In batches of about a read piece's bytes, each made on two threads.
            batch.push_back(RowLine{shown[k], line});
            batchBytes += p.end - p.start;
            if (batchBytes >= pieceBytes) {
                if (!emitParted<W>(text.data()))
                    return false;
                batchBytes = 0;
            }
        }
        if (!batch.empty() && !emitParted<W>(text.data()))
            return false;
        return shown.empty() || (flushRun(shown.back()) && flushOut(shown.back()));
    }

    template <int W> bool run() {
        return c.rowsReordered ? gathered<W>() : inFileOrder<W>();
    }
};

bool ReadOnlyDataContainer::streamSave(const CellWriter& writer,
                                       const std::function<bool(const char*, qint64)>& put,
                                       const std::vector<int>& rowsToSkip, const std::vector<int>& colsToSkip,
                                       int lastRow, int& rowsDone) {
    StreamSave save{*this, writer, put, rowsToSkip, colsToSkip, lastRow};
    rowsDone = 0;
    if (!save.usable())
        return true;
    std::optional<AheadWriter> ahead;
    // Tests that read in small pieces write in small buffers on the writing thread too.
    const qint64 testing = s_pieceSizeForTesting.load();
    std::optional<StreamSave> helper;
    const bool big = fileSize >= kAheadWriteBytes || testing > 0;
    if (big)
        save.planPieces();
    // In the file's order the pieces' threads make the lines and this one writes them.
    if (big && (save.plan.empty() || rowsReordered)) {
        ahead.emplace(put);
        save.ahead = &*ahead;
        save.flushBytes = testing > 0 ? static_cast<size_t>(testing) : kAheadFlushBytes;
        // Lines made anew cost more than their copy: a second core makes half of them. Lines
        // copied unchanged cost less than handing them over.
        if (!save.rules.copy && (std::thread::hardware_concurrency() >= 2 || testing > 0)) {
            helper.emplace(*this, writer, put, rowsToSkip, colsToSkip, lastRow);
            helper->usable();
            helper->ahead = &*ahead; // never written from: its lines go out through `save`
            helper->flushBytes = std::numeric_limits<size_t>::max();
            helper->firstLine = false;
            helper->cellPathAllowed = false;
            save.helper = &*helper;
        }
    }
    bool ok = false;
    switch (save.unitBytes) {
    case 2:
        ok = save.run<2>();
        break;
    case 4:
        ok = save.run<4>();
        break;
    default:
        ok = save.run<1>();
        break;
    }
    if (ahead && !ahead->finish())
        ok = false;
    if (!ok && errorString.isEmpty())
        errorString = save.failure;
    rowsDone = save.rowsDone;
    return ok;
}
