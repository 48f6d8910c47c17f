#include "storage/editabledatacontainer_machines.h"
#include "storage/mappedfile.h"

#include <QFile>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <system_error>
#include <thread>

void EditableDataContainer::setInstructionSetForTesting(int level) {
    s_instructionSetForTesting = level;
}

void EditableDataContainer::setPieceSizeForTesting(qint64 size) {
    s_pieceSizeForTesting = size;
}

namespace {

std::atomic<EditableDataContainer::MappedLoad> s_mappedLoadForTesting{
    EditableDataContainer::MappedLoad::BySize};

// Files from this size on are read through a mapping: copying a piece out of the page cache
// costs several times more than the scan of it. Below, a file is a piece or two, and the mapping
// costs more than it saves.
constexpr qint64 kMappedLoadFrom = qint64(2) << 20;

bool mapsLoad(int fd, qint64 size) {
    // The read fault seam acts on copies only; a mapping would read past it.
    if (fd < 0 || PieceReader::readFaultForTesting())
        return false;
    switch (s_mappedLoadForTesting.load()) {
    case EditableDataContainer::MappedLoad::Never:
        return false;
    case EditableDataContainer::MappedLoad::Always:
        return true;
    case EditableDataContainer::MappedLoad::BySize:
        break;
    }
    return size >= kMappedLoadFrom;
}

// A piece is read in place out of the mapping when the mapping goes on for the padding behind it;
// the file's last bytes are copied into a buffer that has it.
bool inMapping(const MappedFile* mapping, qint64 position, qint64 length) {
    return mapping && position + length + kPiecePadding <= mapping->size();
}

// Gives the pages of the mapping that a thread has read back as it goes, so that the file doesn't
// count as the process's memory beside the table. In steps: each step costs the other threads
// of the process a flush of their address translations (a step a piece of 1 MiB took all the
// mapping's gain at 100 MiB), and the larger the step the more of the file counts for a while
// (16 MiB made a 100 MiB load's peak 1.4 x the file instead of 1.2-1.3 x).
class ReleaseBehind {
public:
    static constexpr qint64 kStep = qint64(4) << 20;

    explicit ReleaseBehind(const MappedFile* file) : mapping(file) {}
    ~ReleaseBehind() { flush(); }
    ReleaseBehind(const ReleaseBehind&) = delete;
    ReleaseBehind& operator=(const ReleaseBehind&) = delete;

    // Bytes [start, end) have been read.
    void read(qint64 start, qint64 end) {
        if (start != to) {
            flush();
            from = start;
        }
        to = end;
        if (to - from >= kStep)
            flush();
    }

    void flush() {
        if (mapping && from < to)
            mapping->release(from, to);
        from = to;
    }

private:
    const MappedFile* mapping;
    qint64 from = 0;
    qint64 to = 0;
};

} // namespace

void EditableDataContainer::setMappedLoadForTesting(MappedLoad use) {
    s_mappedLoadForTesting = use;
}

// --- Loading ---------------------------------------------------------------------------------

namespace {

// Files are read in parts at once from two parts of this size on; a large file is cut into
// more parts than there are cores, so that the loader and the helpers run out of work together.
constexpr qint64 kSplitPartSize = qint64(8) << 20;
constexpr qint64 kMostParts = 64;
// The loader reads parts from the front and the helpers from the back; where they meet, one
// waits for the part the other is still reading, half a part on average. So the middle third of
// the file (a third of the parts, two at least) is cut into parts of a quarter of the size.
constexpr qint64 kMiddleCut = 4;
// How much of the text around a part's nominal start is looked at to find a row's start there.
constexpr qint64 kSplitProbe = qint64(64) << 10;

std::atomic<qint64> s_splitPartSizeForTesting{0};
std::atomic<qint64> s_splitPartsTaken{0};
std::atomic<bool> s_splitHelpersOnlyForTesting{false};
std::atomic<bool> s_splitFinerMiddleForTesting{false};

// The characters that decide where rows start, as units of the file's encoding.
template <class Unit> struct RowStartKeys {
    Unit delimiter = 0;
    Unit lf = 0;
    Unit cr = 0;
    Unit rs = 0;
    Unit quote = 0;
    bool withDelimiter = true;
    bool quotes = true; // quotes are honoured (never when the delimiter is a quote itself)
};

// Where a row starts in `text` (`length` bytes of whole units), by its look alone: the byte offset
// behind the first line feed that lies outside quotes, or -1. Whether the text starts inside
// quotes isn't known; the first quote whose neighbours tell which side it is on settles it: a
// quote between a separator and an ordinary character opens a cell, one between an ordinary
// character and a separator closes one. Without such a quote the text is taken to start outside.
// The guess may be wrong (the text can mislead): the loader checks it before it takes what was
// read from it.
template <class Unit> qint64 guessRowStart(const char* text, qint64 length, const RowStartKeys<Unit>& keys) {
    const qint64 units = length / static_cast<qint64>(sizeof(Unit));
    const auto at = [text](qint64 i) {
        Unit u;
        std::memcpy(&u, text + i * static_cast<qint64>(sizeof(Unit)), sizeof(Unit));
        return u;
    };
    const auto separator = [&keys](Unit u) {
        return (keys.withDelimiter && u == keys.delimiter) || u == keys.lf || u == keys.cr || u == keys.rs;
    };
    bool inside = false;
    if (keys.quotes) {
        bool flipped = false; // an odd count of quotes so far
        for (qint64 i = 0; i + 1 < units; ++i) {
            if (at(i) != keys.quote)
                continue;
            if (i == 0) {
                flipped = true; // its neighbour in front is unknown
                continue;
            }
            const Unit before = at(i - 1);
            const Unit after = at(i + 1);
            const bool ordinaryBefore = !separator(before) && before != keys.quote;
            const bool ordinaryAfter = !separator(after) && after != keys.quote;
            if (separator(before) && ordinaryAfter) {
                inside = flipped; // outside right before this quote
                break;
            }
            if (ordinaryBefore && separator(after)) {
                inside = !flipped; // inside right before this quote
                break;
            }
            flipped = !flipped;
        }
    }
    const bool lineFeedEndsRows = !(keys.withDelimiter && keys.delimiter == keys.lf);
    for (qint64 i = 0; i < units; ++i) {
        const Unit u = at(i);
        if (keys.quotes && u == keys.quote)
            inside = !inside;
        else if (u == keys.lf && !inside && lineFeedEndsRows)
            return (i + 1) * static_cast<qint64>(sizeof(Unit));
    }
    return -1;
}

// The keys of a single-byte file are its bytes; those of a wider one come as byte sequences.
template <class Unit>
qint64 guessRowStartIn(const char* text, qint64 length, char delimiter,
                       const AbstractDataContainer::KeyCharVecs& vecs, bool withDelimiter,
                       bool honourQuotes) {
    const auto unitOf = [](const std::vector<char>& bytes, char single) {
        Unit u = 0;
        if constexpr (sizeof(Unit) == 1)
            u = static_cast<Unit>(single);
        else if (bytes.size() == sizeof(Unit))
            std::memcpy(&u, bytes.data(), sizeof(Unit));
        return u;
    };
    RowStartKeys<Unit> keys;
    keys.delimiter = unitOf(vecs.delimiter, delimiter);
    keys.lf = unitOf(vecs.lf, KeyChars::LF);
    keys.cr = unitOf(vecs.cr, KeyChars::CR);
    keys.rs = unitOf(vecs.recordSeparator, KeyChars::RecordSeparator);
    keys.quote = unitOf(vecs.quote, KeyChars::Quote);
    keys.withDelimiter = withDelimiter;
    keys.quotes = withDelimiter && honourQuotes && keys.delimiter != keys.quote;
    return guessRowStart(text, length, keys);
}

} // namespace

// A part of the file that a helper thread reads while the loader reads what lies before it. The
// loader takes the part's rows when it arrives at the part's start between two rows, and the part
// too ended between two rows (or at the file's end): reading on from a row's start is reading a
// file that starts there, so the rows are those the loader would have read itself. Otherwise the
// loader reads the part's bytes on its own.
//
// A helper appends the rows of all its parts to one table of its own, a part's rows lying in
// [firstRow, endRow) of it: one list in large pages instead of a list per part, whose 4 KiB pages
// cost more to fault in than the row pointers cost to write. The loader reads a helper's list
// only while no part that helper took is being read (see takePart), so the list never moves
// under it.
struct EditableDataContainer::LoadPart {
    enum class Owner { Nobody, Helper, Loader };

    qint64 start = 0;
    qint64 end = 0;
    EditableDataContainer* table = nullptr; // the helper's, once one has taken it (under the mutex)
    size_t firstRow = 0;
    size_t endRow = 0;
    int columns = 0;
    std::atomic<qint64> done{0}; // bytes read so far
    // Under the split's mutex.
    Owner owner = Owner::Nobody;
    bool finished = false; // a helper has read it, or given up on it
    bool usable = false;   // read whole and ended between rows

    // Reads the part into `into` with a machine of the loader's kind, out of `mapping` where it
    // can, else through `buffer` (made when first needed, of pieceSize and the padding); true
    // when it is usable.
    template <class Machine>
    bool read(EditableDataContainer& into, int fd, const MappedFile* mapping, qint64 fileSize,
              qint64 pieceSize, bool withDelimiter, bool honourQuotes, RowArena& arena,
              std::unique_ptr<ReadBuffer>& buffer) {
        firstRow = into.rows.size();
        endRow = firstRow;
        into.numColsLogical = 0;
        try {
            Machine machine(into, withDelimiter, honourQuotes);
            machine.sink.arena = &arena;
            // The helper's arena takes the rows of all its parts, so a small part fills chunks too.
            machine.sink.useArena = fileSize >= static_cast<qint64>(RowArena::kChunkSize);
            const int unit = into.bytesPerChar;
            ReleaseBehind released(mapping);
            for (qint64 position = start; position < end;) {
                const qint64 wanted = std::min(pieceSize, end - position);
                if (inMapping(mapping, position, wanted)) {
                    if (!machine.feed(mapping->data() + position, wanted, position / unit))
                        return false;
                    if (mapping->failed())
                        return false; // as a short read: the loader finds out itself
                    released.read(position, position + wanted);
                } else {
                    if (!buffer)
                        buffer = std::make_unique<ReadBuffer>(static_cast<size_t>(pieceSize + kPiecePadding));
                    const qint64 got = PieceReader::readFully(fd, buffer->get(), position, wanted);
                    if (got < wanted)
                        return false; // the file is shorter than it was: the loader finds out itself
                    const qint64 length = completePiece(buffer->get(), got, unit);
                    if (!machine.feed(buffer->get(), length, position / unit))
                        return false;
                }
                position += wanted;
                done.store(position - start, std::memory_order_relaxed);
            }
            if (end < fileSize) {
                if (!machine.atCleanRowStart())
                    return false;
            } else {
                machine.finish();
                machine.sink.endRow();
            }
            endRow = into.rows.size();
            columns = into.numColsLogical;
            return true;
        } catch (...) {
            return false; // memory ran out: the loader reads the part itself and meets the same
        }
    }
};

// The parts of a load and the helpers that read them. Helpers take parts from the last one down
// while the loader reads from the front; it reads each part that no helper has taken yet itself,
// so where the two meet it waits for one part at most. No part that the loader has passed is
// left for a helper to take, and every part above one that a helper took was taken before it:
// once the loader takes a part, its helper takes no more parts, and the rows behind that part's
// in the helper's list are those of parts the loader has passed.
struct EditableDataContainer::SplitLoad {
    std::vector<std::unique_ptr<LoadPart>> parts;
    std::vector<std::unique_ptr<EditableDataContainer>> helperTables; // one a helper
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<std::thread> helpers;
    bool stopping = false;    // under the mutex
    bool helpersOnly = false; // tests have the loader wait for every part

    ~SplitLoad() { stop(); }

    void stop() {
        {
            std::lock_guard<std::mutex> lock(mutex);
            stopping = true;
            for (auto& table : helperTables)
                table->loadCanceled = true;
        }
        for (std::thread& helper : helpers) {
            if (helper.joinable())
                helper.join();
        }
    }

    template <class Machine>
    void help(EditableDataContainer& table, int fd, const MappedFile* mapping, qint64 fileSize,
              qint64 pieceSize, bool withDelimiter, bool honourQuotes) {
        RowArena arena; // one for all the parts this helper reads, and one read buffer
        std::unique_ptr<ReadBuffer> buffer;
        std::optional<MappedFile::Reading> reading;
        if (mapping)
            reading.emplace(*mapping);
        for (;;) {
            LoadPart* part = nullptr;
            {
                std::lock_guard<std::mutex> lock(mutex);
                if (stopping)
                    return;
                for (size_t k = parts.size(); k-- > 0 && parts[k]->owner != LoadPart::Owner::Loader;) {
                    if (parts[k]->owner == LoadPart::Owner::Nobody) {
                        part = parts[k].get();
                        part->owner = LoadPart::Owner::Helper;
                        part->table = &table;
                        break;
                    }
                }
                if (!part)
                    return;
            }
            bool usable = false;
            usable = part->template read<Machine>(table, fd, mapping, fileSize, pieceSize, withDelimiter,
                                                  honourQuotes, arena, buffer);
            {
                std::lock_guard<std::mutex> lock(mutex);
                part->usable = usable;
                part->finished = true;
            }
            changed.notify_all();
        }
    }

    // True while a helper that appends to `table` reads a part. Under the mutex.
    bool appending(const EditableDataContainer* table) const {
        return std::any_of(parts.begin(), parts.end(), [table](const std::unique_ptr<LoadPart>& p) {
            return p->table == table && !p->finished;
        });
    }

    // True when the loader is to read part k itself: no helper has taken it.
    bool claimForLoader(size_t k) {
        std::lock_guard<std::mutex> lock(mutex);
        if (parts[k]->owner != LoadPart::Owner::Nobody || helpersOnly)
            return false;
        parts[k]->owner = LoadPart::Owner::Loader;
        return true;
    }
};

void EditableDataContainer::setSplitLoadForTesting(qint64 partSize, bool helpersOnly, bool finerMiddle) {
    s_splitPartSizeForTesting = partSize;
    s_splitHelpersOnlyForTesting = helpersOnly;
    s_splitFinerMiddleForTesting = finerMiddle;
}

qint64 EditableDataContainer::splitPartsTakenForTesting() {
    return s_splitPartsTaken.load();
}

template <class Machine>
std::unique_ptr<EditableDataContainer::SplitLoad>
EditableDataContainer::startSplitLoad(int fd, const MappedFile* mapping, qint64 from, qint64 pieceSize,
                                      bool withDelimiter, bool honourQuotes) {
    const qint64 unit = bytesPerChar;
    const qint64 forcedSize = s_splitPartSizeForTesting.load();
    const qint64 length = fileSize - from;
    const qint64 cores = std::max(1u, std::thread::hardware_concurrency());
    qint64 count = 0;
    if (forcedSize != 0)
        count = forcedSize > 0 ? std::min<qint64>(length / forcedSize, kMostParts) : 0;
    else if (cores > 1)
        count = std::min<qint64>(length / kSplitPartSize, kMostParts);
    if (count < 2 || fd < 0)
        return nullptr;
    auto split = std::make_unique<SplitLoad>();
    split->helpersOnly = s_splitHelpersOnlyForTesting.load();
    // Where parts start, in quarters of a part: behind each whole part, and within those of the
    // middle. Parts start on whole characters, counted from the table's start.
    const qint64 middle =
        forcedSize == 0 || s_splitFinerMiddleForTesting.load() ? std::max<qint64>(count / 3, 2) : 0;
    const qint64 middleFrom = (count - middle) / 2;
    std::vector<qint64> quarters;
    for (qint64 k = 0; k < count; ++k) {
        if (k > 0)
            quarters.push_back(k * kMiddleCut);
        if (k >= middleFrom && k < middleFrom + middle) {
            for (qint64 q = 1; q < kMiddleCut; ++q)
                quarters.push_back(k * kMiddleCut + q);
        }
    }
    const qint64 probeSize = std::min(kSplitProbe, length / (count * kMiddleCut)) / unit * unit;
    std::vector<char> probe(mapping ? 0 : static_cast<size_t>(probeSize));
    const KeyCharVecs keys = setKeyCharVecs();
    qint64 previous = from;
    for (const qint64 quarter : quarters) {
        const qint64 nominal =
            std::max(from + length / (count * kMiddleCut) * quarter / unit * unit, previous + unit);
        const qint64 wanted = std::min(probeSize, fileSize - nominal);
        const char* text = mapping ? mapping->data() + nominal : probe.data();
        const qint64 got = mapping ? wanted : PieceReader::readFully(fd, probe.data(), nominal, wanted);
        const qint64 offset =
            unit == 1
                ? guessRowStartIn<unsigned char>(text, got, delimiter, keys, withDelimiter, honourQuotes)
            : unit == 2 ? guessRowStartIn<quint16>(text, got, delimiter, keys, withDelimiter, honourQuotes)
                        : guessRowStartIn<quint32>(text, got, delimiter, keys, withDelimiter, honourQuotes);
        if (offset < 0 || nominal + offset >= fileSize)
            continue;
        auto part = std::make_unique<LoadPart>();
        part->start = nominal + offset;
        previous = part->start;
        split->parts.push_back(std::move(part));
    }
    if (split->parts.empty())
        return nullptr;
    for (size_t k = 0; k < split->parts.size(); ++k)
        split->parts[k]->end = k + 1 < split->parts.size() ? split->parts[k + 1]->start : fileSize;
    const qint64 helpers =
        std::min<qint64>(std::max<qint64>(cores - 1, 1), static_cast<qint64>(split->parts.size()));
    SplitLoad* s = split.get();
    const qint64 size = fileSize;
    for (qint64 h = 0; h < helpers; ++h) {
        try {
            auto table = std::make_unique<EditableDataContainer>();
            table->setDelimiter(delimiter, saveDelimiter);
            table->setParsingStandard(parsingStandard);
            table->setEncoding(encoding);
            // Room for the rows of 64 bytes on average of the helpers' share and more; capacity
            // that no row takes costs address space only.
            table->rows.reserve(static_cast<size_t>(length / 64 / helpers));
            EditableDataContainer* into = table.get();
            split->helperTables.push_back(std::move(table));
            split->helpers.emplace_back([s, into, fd, mapping, size, pieceSize, withDelimiter, honourQuotes] {
                s->template help<Machine>(*into, fd, mapping, size, pieceSize, withDelimiter, honourQuotes);
            });
        } catch (const std::system_error&) {
            break; // the system has no thread to spare: fewer helpers, or none
        } catch (const std::bad_alloc&) {
            break;
        }
    }
    if (split->helpers.empty())
        return nullptr;
    return split;
}

EditableDataContainer::PartOutcome EditableDataContainer::takePart(SplitLoad& split, LoadPart& part) {
    {
        std::unique_lock<std::mutex> lock(split.mutex);
        // Its helper's list holds its rows; the helper may still be appending to it while it
        // reads a part that the loader has passed (it is told to stop, and stops at a row start).
        while (!part.finished || (part.usable && split.appending(part.table))) {
            // The part reports its progress while the loader waits, and a cancel reaches it.
            if (loadCanceled.load(std::memory_order_relaxed))
                return PartOutcome::Canceled;
            lock.unlock();
            reportProgressIfDue((part.start + part.done.load(std::memory_order_relaxed)) / bytesPerChar,
                                fileSize, bytesPerChar);
            lock.lock();
            split.changed.wait_for(lock, std::chrono::milliseconds(10));
        }
        if (!part.usable)
            return PartOutcome::Refused;
    }
    // A cancel is seen at row starts, and the part's start is one.
    if (loadCanceled.load(std::memory_order_relaxed))
        return PartOutcome::Canceled;
    auto& list = part.table->rows;
    const auto first = list.begin() + static_cast<std::ptrdiff_t>(part.firstRow);
    rows.insert(rows.end(), std::make_move_iterator(first),
                std::make_move_iterator(first + static_cast<std::ptrdiff_t>(part.endRow - part.firstRow)));
    // Behind the part in its helper's list lie only parts read after it, of lower place in the
    // file, which the loader has passed: the list ends here now, and its memory above goes back,
    // so that the rows don't take their pointers' memory twice while the table fills.
    list.erase(first, list.end());
    LargePages::giveBack(list.data() + list.size(), (list.capacity() - list.size()) * sizeof(PackedRow));
    numRowsLogical = static_cast<int>(rows.size());
    numColsLogical = std::max(numColsLogical, part.columns);
    s_splitPartsTaken.fetch_add(1, std::memory_order_relaxed);
    // The reports the part's rows would have made, one a mark, at most up to its last byte,
    // where its last row started at the latest.
    const qint64 lastCharacter = (part.end - 1) / bytesPerChar;
    while (fileSize >= kProgressThreshold && lastCharacter > nextProgressMark)
        reportProgressIfDue(lastCharacter, fileSize, bytesPerChar);
    return PartOutcome::Taken;
}

template <class Machine> bool EditableDataContainer::runLoad(Machine& machine) {
    clear();
    errorString.clear();
    finalLineEnding = true;
    hasBom = false;
    bom.clear();
    fileSize = 0;
    nextProgressMark = -1;

    QFile file(filepath);
    if (!file.open(QIODevice::ReadOnly)) {
        errorString = file.errorString();
        return false;
    }
    fileSize = file.size();
    if (fileSize <= 0) {
        file.close();
        emit loadFinishedSignal();
        return true;
    }
    beginProgress(fileSize);
    machine.sink.useArena = fileSize >= static_cast<qint64>(RowArena::kChunkSize);
    // Room for rows of 64 bytes on average, so that a large load rarely moves the row list;
    // capacity that no row takes is never touched, so it costs address space only.
    rows.reserve(static_cast<size_t>(fileSize / 64));

    // The BOM is judged on the file's first bytes, whatever the piece size.
    char head[4] = {};
    const qint64 headLength = file.peek(head, sizeof head);
    const int bomOffset = computeTableBomOffset(head, std::max<qint64>(headLength, 0), true);
    if (bomOffset > 0 && !file.seek(bomOffset)) {
        file.close();
        emit loadFinishedSignal();
        return true;
    }

    const int unit = bytesPerChar;
    qint64 pieceSize = s_pieceSizeForTesting.load();
    if (pieceSize <= 0)
        pieceSize = kReadPieceSize;
    if (unit > 1)
        pieceSize = (pieceSize + 3) / 4 * 4; // a piece never splits a character
    // A wide file may end inside a character: the machine reads the whole characters up to
    // `textEnd`, and the bytes behind go into the table as they stand (see UnitMachine::finish).
    const qint64 tailSize = (fileSize - bomOffset) % unit;
    const qint64 textEnd = fileSize - tailSize;
    const qint64 remaining = textEnd - bomOffset;
    const qint64 bufferSize = std::min(pieceSize, (remaining + 3) / 4 * 4);

    // The pieces are read in place out of a mapping of the file where the system allows one;
    // the rows are copied out of them, so the table never depends on the file once loaded.
    const int fd = file.handle();
    MappedFile mapping;
    const bool mapped = mapsLoad(fd, fileSize) && mapping.map(fd, fileSize);
    std::optional<MappedFile::Reading> reading;
    if (mapped)
        reading.emplace(mapping);
    const MappedFile* const pieces = mapped ? &mapping : nullptr;
    ReleaseBehind released(pieces);
    // A page of the mapping that fails to read is a short read: another program cut the file
    // short, or the disk failed. The table is then not kept, as after any short read.
    const auto failedMapping = [&] { return mapped && mapping.failed(); };

    // A large file is read in parts at once, on as many cores; one cut short inside a character
    // on one, whose machine then knows where its text ends.
    std::unique_ptr<SplitLoad> split = tailSize > 0
                                           ? nullptr
                                           : startSplitLoad<Machine>(fd, pieces, bomOffset, bufferSize,
                                                                     machine.delimited(), machine.quoted());
    const size_t partCount = split ? split->parts.size() : 0;
    const auto stopParts = [&split] {
        if (split)
            split->stop();
    };

    // Large pieces are read a piece ahead on a thread of its own, so that copying the next
    // piece out of the file overlaps the reading of this one; the pieces are the same either
    // way. Below 64 KiB a piece costs less to read than to hand from one thread to the other.
    const bool readAhead = bufferSize >= 65536 && fd >= 0 && !split && !mapped;
    ReadBuffer buffer(readAhead ? 0 : static_cast<size_t>(std::max<qint64>(bufferSize, 4) + kPiecePadding));

    qint64 position = bomOffset;
    size_t nextPart = 0;
    for (;;) {
        // Up to the next part's start, or to the end.
        const qint64 limit = nextPart < partCount ? split->parts[nextPart]->start : textEnd;
        std::unique_ptr<PieceReader> reader;
        if (readAhead)
            reader = std::make_unique<PieceReader>(file.handle(), limit, bufferSize, kPiecePadding, position);
        while (position < limit) {
            const qint64 wanted = std::min(bufferSize, limit - position);
            if (inMapping(pieces, position, wanted)) {
                if (!machine.feed(mapping.data() + position, wanted, position / unit)) {
                    stopParts();
                    file.close();
                    return false;
                }
                if (failedMapping())
                    break;
                released.read(position, position + wanted);
                position += wanted;
                continue;
            }
            char* data = buffer.get();
            qint64 got = 0;
            int readError = 0;
            if (reader) {
                got = reader->next(data);
                if (got < wanted)
                    readError = reader->error();
            } else if (file.handle() >= 0) {
                got = PieceReader::readFully(file.handle(), data, position, wanted, &readError);
            } else {
                while (got < wanted) {
                    const qint64 n = file.read(data + got, wanted - got);
                    if (n < 0)
                        readError = EIO;
                    if (n < 1)
                        break;
                    got += n;
                }
            }
            if (got < wanted) {
                // The size taken at the start says where the file ends, so a short read is a
                // failed one, or the file got shorter meanwhile: either way the table would be
                // a part of the file that looks like all of it, so it is not kept.
                reader.reset(); // it reads from the file's descriptor until it has stopped
                stopParts();
                file.close();
                clear();
                setReadError(readError);
                return false;
            }
            const qint64 length = completePiece(data, got, unit);
            if (!machine.feed(data, length, position / unit)) {
                reader.reset();
                stopParts();
                file.close();
                return false;
            }
            position += got;
        }
        reader.reset();
        if (position >= textEnd || nextPart >= partCount || failedMapping())
            break;
        // At the next part's start: read on into it when no helper has taken it; else its rows
        // are ours if we are between rows here.
        const size_t k = nextPart++;
        if (split->claimForLoader(k))
            continue;
        LoadPart& part = *split->parts[k];
        const PartOutcome outcome = machine.atCleanRowStart() ? takePart(*split, part) : PartOutcome::Refused;
        if (outcome == PartOutcome::Canceled) {
            stopParts();
            file.close();
            return false;
        }
        if (outcome == PartOutcome::Taken) {
            position = part.end;
        } else {
            // Its bytes are read here: a helper that took it stops, and none takes it later (as
            // one could where tests keep the loader from claiming parts). No part behind the
            // loader is left for a helper, so the helper takes no part after this one.
            std::lock_guard<std::mutex> lock(split->mutex);
            if (part.owner == LoadPart::Owner::Nobody)
                part.owner = LoadPart::Owner::Loader;
            if (part.table)
                part.table->loadCanceled = true;
        }
    }
    stopParts();
    split.reset(); // the helpers' row lists, emptied by the parts taken
    if (failedMapping()) {
        const int error = mapping.failureError(fd);
        file.close();
        clear();
        setReadError(error);
        return false;
    }
    char tail[4] = {};
    int tailError = 0;
    if (tailSize > 0 && (fd >= 0 ? PieceReader::readFully(fd, tail, textEnd, tailSize, &tailError)
                                 : (file.seek(textEnd) ? file.read(tail, tailSize) : -1)) != tailSize) {
        file.close();
        clear();
        setReadError(fd >= 0 ? tailError : EIO);
        return false;
    }
    if constexpr (std::is_same_v<Machine, ByteMachine>)
        machine.finish();
    else
        machine.finish(tail, static_cast<size_t>(tailSize));
    machine.sink.endRow();
    // The file ends its last row with a line ending if its last character is one (inside a quote
    // that is never closed, the loader leaves that character out of the cell as well). A file of
    // a byte order mark alone has no row to end: rows added to it end as in an empty file.
    finalLineEnding = tailSize == 0 && (rows.empty() || !lastTerminator(file.handle(), fileSize).empty());
    file.close();
    buffer.memory.reset();
    emit loadFinishedSignal();
    return true;
}

bool EditableDataContainer::loadCSV() {
    if (bytesPerChar > 1)
        return delimiter == 0 ? loadCSVNoDelimiterMultiByte() : loadCSVMultiByte();
    if (delimiter == 0)
        return loadCSVNoDelimiter();
    ByteMachine machine(*this, true, parsingStandard != DELIMITER_ONLY);
    return runLoad(machine);
}

bool EditableDataContainer::loadCSVNoDelimiter() {
    ByteMachine machine(*this, false, false);
    return runLoad(machine);
}

bool EditableDataContainer::loadCSVMultiByte() {
    if (bytesPerChar == 1)
        return loadCSV();
    if (bytesPerChar == 4) {
        UnitMachine<4> machine(*this, true, parsingStandard != DELIMITER_ONLY);
        return runLoad(machine);
    }
    UnitMachine<2> machine(*this, true, parsingStandard != DELIMITER_ONLY);
    return runLoad(machine);
}

bool EditableDataContainer::loadCSVNoDelimiterMultiByte() {
    if (bytesPerChar == 1)
        return loadCSVNoDelimiter();
    if (bytesPerChar == 4) {
        UnitMachine<4> machine(*this, false, false);
        return runLoad(machine);
    }
    UnitMachine<2> machine(*this, false, false);
    return runLoad(machine);
}
