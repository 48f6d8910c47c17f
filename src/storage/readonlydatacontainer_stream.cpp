// The save of a read-only table without reading it cell by cell: the file's lines stream through
// in big reads; every line the writer would make the same bytes of is copied as it stands, the
// others are made anew from their text, and only the few the line walker can't vouch for are read
// into cells and written as the cell-by-cell save writes them. Where the index shows rows starting
// often enough, the file is cut there into pieces that are read, walked and made on threads of
// their own while the calling thread writes.
#include "storage/readonlystreamsave.h"

#if defined(Q_OS_UNIX)
#include <unistd.h>
#endif

void ReadOnlyDataContainer::setStreamedSaveForTesting(bool on) {
    s_streamedSave = on;
}

bool ReadOnlyDataContainer::StreamSave::usable() {
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
    rules.quoting = rules.hasDelimiter && c.parsingStandard != DELIMITER_ONLY && delimiter != KeyChars::Quote;
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
#if defined(Q_OS_UNIX)
    if (const long pages = ::sysconf(_SC_PHYS_PAGES), pageSize = ::sysconf(_SC_PAGESIZE);
        pages > 0 && pageSize > 0)
        inMemoryBytes = std::clamp(qint64(pages) * pageSize / 8, kGatherBytes, kInMemoryAtMost);
#endif
    // Tests read in small pieces, so that lines straddle them and outgrow the room in front.
    if (const qint64 testing = s_pieceSizeForTesting.load(); testing > 0) {
        pieceBytes = (testing + 3) / 4 * 4;
        carryRoom = pieceBytes;
        carryAtMost = 16 * pieceBytes;
        gatherBytes = 4 * pieceBytes; // a store for a few pieces: most files take several
        inMemoryBytes = gatherBytes;
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

// One-byte text with quoted cells, only the delimiter changed: the unquoted cells between
// them go out a stretch at a time with their delimiters swapped, each quoted one as the
// writer writes its text. False, with nothing written, for a line with a quote inside an
// unquoted cell, text behind a closing quote, or an unquoted cell the writer would quote.
bool ReadOnlyDataContainer::StreamSave::plainWithQuotedCells(const char* data, const Line& line) {
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

// Cuts the file about a cut piece apart where the index has a strip at a row's first cell,
// which is where that row's line starts. No plan where such cuts lie too far apart.
void ReadOnlyDataContainer::StreamSave::planPieces() {
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

// The lines of a piece of one-byte text as emitLine makes them, on the piece's thread: a run of
// lines that need only their delimiters swapped (see SwapKeys) in one go, the first other line
// as emitLine makes it, and on. The lines from the first one emitLine leaves
// to the calling thread go to `rest`. Differs where the lines aren't the piece's rows; Redo,
// with `out` and `rest` as they came, where the piece has more lines than rows, which the
// line by line walk takes as it always did. The lines go to `swapped`, not to `out`.
ReadOnlyDataContainer::StreamSave::Swapped
ReadOnlyDataContainer::StreamSave::swapPiece(const Piece& piece, const char* data, qint64& linesEnd,
                                             std::vector<RowLine>& rest) {
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

// Rows in the file's order, a filter's rows left out, the pieces' lines made on their own
// threads: this one writes them, and makes the first line and those that need the cells.
template <int W> bool ReadOnlyDataContainer::StreamSave::inFileOrderPieced() {
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
    passOverDropped = std::adjacent_find(rowsToSkip.begin(), rowsToSkip.end()) == rowsToSkip.end();
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
            const qint64 made = static_cast<qint64>(maker.swappedBytes + maker.out.size() + maker.runBytes);
            if (maker.swappedBytes > 0 && !put(maker.swapped.data(), static_cast<qint64>(maker.swappedBytes)))
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
template <int W> bool ReadOnlyDataContainer::StreamSave::inFileOrder() {
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
