#include "storage/readonlydatacontainer_scan.h"

#include <QFile>

// One column of the file in one front-to-back pass: the same machine as the index passes, driven
// by the block masks, so that ordinary bytes are never looked at one by one. Only the wanted
// cell of each row is cut out; the cells before it are counted by the delimiters' bits.
struct ReadOnlyDataContainer::ColumnSink {
    const std::function<bool(std::string_view)>* out = nullptr;
    int target = 0;
    bool quoting = true;
    const unsigned char* data = nullptr; // the current piece; data[0] is at unit pieceBase
    qint64 pieceBase = 0;
    int col = -1;
    bool rowOpen = false;
    bool haveKey = false; // the current row's cell went out
    bool capturing = false;
    qint64 start = 0;
    bool carried = false; // the captured cell began in an earlier piece, kept in `carry`
    // Buffers of the read, behind pointers: the scanner copies its sink back and forth.
    std::vector<char>* carry = nullptr;
    std::vector<char>* decoded = nullptr;
    bool stopped = false;

    // The cell's value as the strip reader gives it: a quoted cell loses its quotes where the
    // loader honours them, and only if its closing quote is its last character.
    std::string_view value(std::string_view raw) {
        if (raw.size() == 1 &&
            (raw[0] == KeyChars::LF || raw[0] == KeyChars::CR || raw[0] == KeyChars::RecordSeparator))
            return {};
        if (!quoting || raw.empty() || raw[0] != '"')
            return raw;
        decoded->clear();
        for (std::size_t at = 1; at < raw.size(); ++at) {
            if (raw[at] == '"') {
                if (at + 1 == raw.size())
                    return std::string_view(decoded->data(), decoded->size());
                if (raw[at + 1] != '"')
                    return raw;
                ++at;
            }
            decoded->push_back(raw[at]);
        }
        return raw;
    }
    void handOn(qint64 end) {
        capturing = false;
        haveKey = true;
        if (stopped)
            return;
        std::string_view raw;
        if (carried) {
            const auto* from = reinterpret_cast<const char*>(data);
            carry->insert(carry->end(), from, from + std::max<qint64>(0, end - pieceBase));
            carried = false;
            raw = std::string_view(carry->data(), carry->size());
        } else if (end > start) {
            raw = std::string_view(reinterpret_cast<const char*>(data) + (start - pieceBase),
                                   static_cast<std::size_t>(end - start));
        }
        stopped = !(*out)(value(raw));
        carry->clear();
    }
    void handOnEmpty() {
        haveKey = true;
        if (!stopped)
            stopped = !(*out)(std::string_view());
    }
    void endRow() {
        if (rowOpen && !haveKey)
            handOnEmpty(); // a short row: its cell here is empty
        rowOpen = false;
    }
    void beginRow(qint64 pos) {
        rowOpen = true;
        haveKey = false;
        col = 0;
        capturing = target == 0;
        start = pos;
    }

    bool rowStart(qint64) {
        rowOpen = true;
        haveKey = false;
        col = -1;
        return !stopped;
    }
    bool cellStart(qint64 pos) {
        if (capturing)
            handOn(pos - 1); // behind the delimiter that ended it
        if (++col == target) {
            capturing = true;
            start = pos;
        }
        return true;
    }
    static bool cellEnd(qint64) { return true; }
    bool rowEnd(qint64 pos) {
        if (capturing)
            handOn(pos);
        endRow();
        return true;
    }
    // As the index's sinks: a cell starts behind each bit of `delims`, a row ends at each bit of
    // `ends`. Work is per row: the wanted cell is found by counting delimiters.
    [[gnu::always_inline]] bool block(std::uint64_t delims, std::uint64_t ends, std::uint64_t crBeforeLf,
                                      qint64 at, SelectBit select) {
        for (;;) {
            const int e = ends ? std::countr_zero(ends) : 64;
            const std::uint64_t inRow = e < 64 ? delims & ((std::uint64_t(1) << e) - 1) : delims;
            const int count = std::popcount(inRow);
            if (capturing && count > 0)
                handOn(at + std::countr_zero(inRow));
            // The wanted cell starts behind delimiter number `need` of this row's part here.
            const qint64 need = static_cast<qint64>(target) - col - 1;
            if (!haveKey && !capturing && need >= 0 && need < count) {
                start = at + select(inRow, static_cast<int>(need)) + 1;
                if (need + 1 < count) {
                    handOn(at + select(inRow, static_cast<int>(need + 1)));
                } else {
                    capturing = true;
                }
            }
            col += count;
            if (e == 64)
                break;
            if (capturing)
                handOn(at + e);
            endRow();
            beginRow(at + e + 1 + static_cast<qint64>((crBeforeLf >> e) & 1));
            delims &= ~((std::uint64_t(2) << e) - 1);
            ends &= ends - 1;
        }
        return !stopped;
    }
};

bool ReadOnlyDataContainer::readColumn(int fileCol, const std::function<bool(std::string_view)>& sink) const {
    const auto bySlowPath = [&] {
        return readLineInPieces(true, fileCol, 1 << 16, [&sink](int, std::vector<std::vector<char>>& cells) {
            for (const std::vector<char>& cell : cells) {
                if (!sink(std::string_view(cell.data(), cell.size())))
                    return false;
            }
            return true;
        });
    };
    if (bytesPerChar >= 2 || delimiter == 0 || fileCol < 0 || fileCol >= numColsIndexed || !file ||
        !file->isOpen() || file->handle() < 0 || fileSize <= 0 || !fileUnchanged())
        return bySlowPath();

    const bool quoting = parsingStandard != DELIMITER_ONLY;
    ByteUnits traits(static_cast<unsigned char>(delimiter), quoting);
    const bool withQuotes = traits.classes[static_cast<unsigned char>('"')] == ByteUnits::kQuote;
    std::vector<char> carry;
    std::vector<char> decoded;
    ColumnSink columns;
    columns.carry = &carry;
    columns.decoded = &decoded;
    columns.out = &sink;
    columns.target = fileCol;
    columns.quoting = withQuotes;

    qint64 pieceSize = s_pieceSizeForTesting.load();
    if (pieceSize <= 0)
        pieceSize = kReadPieceSize;
    pieceSize = std::min((pieceSize + 3) / 4 * 4, (fileSize + 3) / 4 * 4);
    std::unique_ptr<PieceReader> reader;
    std::vector<char> buffer;
    if (pieceSize >= 65536)
        reader = std::make_unique<PieceReader>(file->handle(), fileSize, pieceSize, kScanSlack);
    else
        buffer.resize(static_cast<std::size_t>(pieceSize + kScanSlack));

    FastState fast;
    bool started = false;
    unsigned char lastByte = 0;
    unsigned char beforeLastByte = 0;
    qint64 endUnit = 0;
    qint64 bytePos = 0;
    while (bytePos < fileSize) {
        const qint64 want = std::min(pieceSize, fileSize - bytePos);
        char* data = buffer.data();
        const qint64 got = reader ? reader->next(data) : readAt(bytePos, data, want);
        if (got < want) {
            noteFileChanged();
            return false;
        }
        const qint64 skip = bytePos == 0 ? computeBomOffset(data, got, encoding) : 0;
        const qint64 units = got - skip;
        const qint64 base = bytePos + skip;
        bytePos += got;
        if (units <= 0)
            continue;
        std::memset(data + got, 0, static_cast<std::size_t>(kScanSlack));
        const auto* bytes = reinterpret_cast<const unsigned char*>(data + skip);
        columns.data = bytes;
        columns.pieceBase = base;
        if (!started) {
            started = true;
            fast.cellStart = base;
            columns.rowStart(base);
            columns.cellStart(base);
        }
        traits.attach(data + skip, units);
        const bool final = bytePos >= fileSize;
        const bool ok = withQuotes ? fastScan<true>(traits, bytes, units, base, final, fast, columns)
                                   : fastScan<false>(traits, bytes, units, base, final, fast, columns);
        if (!ok || columns.stopped)
            return false;
        beforeLastByte = units >= 2 ? bytes[units - 2] : lastByte;
        lastByte = bytes[units - 1];
        endUnit = base + units;
        if (columns.capturing && !final) {
            // The cell goes on in the next piece: keep what of it is here.
            const qint64 from = std::max(columns.start, base);
            if (from < endUnit)
                columns.carry->insert(columns.carry->end(), data + skip + (from - base), data + skip + units);
            columns.carried = true;
        }
    }
    if (!started)
        return true;
    // A delimiter at the very end opens one more cell, empty, as the index counts it.
    if (!fast.inQuotes && fast.cellStart == endUnit && traits.classes[lastByte] == ByteUnits::kDelim &&
        !(lastByte == KeyChars::LF && beforeLastByte == KeyChars::CR))
        columns.cellStart(endUnit);
    if (columns.capturing) {
        // The text ran out inside the cell. An unclosed quoted cell drops a final delimiter or
        // terminator, as the loader's end of data does.
        qint64 end = endUnit;
        if (fast.inQuotes && end > columns.start &&
            (traits.classes[lastByte] == ByteUnits::kDelim || traits.classes[lastByte] == ByteUnits::kTerm))
            --end;
        columns.handOn(end);
    }
    columns.endRow();
    return !columns.stopped;
}
