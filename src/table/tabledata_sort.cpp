#include "table/tabledata.h"

#include "storage/editabledatacontainer.h"
#include "storage/readonlydatacontainer.h"
#include "table/sortdata.h"
#include "table/sorter.h"
#include "table/worker.h"
#include "util/sortutilities.h"

#include <algorithm>
#include <numeric>

namespace {

// Reading the keys is this share of the progress bar; the comparisons are the rest.
constexpr float kReadShare = 0.2f;
// Cells of a read-only file read per piece: one piece's bytes at a time, and a check for cancel
// between pieces.
constexpr int kReadPiece = 1 << 16;

// Called every few thousand steps: the cancel flag is read each time, so that a cancel is seen
// within milliseconds; progress goes out at the worker's pace.
bool report(Worker* worker, float fraction) {
    if (!worker)
        return true;
    if (worker->isCanceled())
        return false;
    if (!worker->readyForUpdate())
        return true;
    return worker->updateProgress(std::clamp(fraction, 0.0f, 1.0f));
}

} // namespace

// Keys go in by raw line, so that key i is that of raw line i.
bool TableData::readSortKeys(SortKeys& keys, Dimension moving, int index, Worker* worker) const {
    const int count = rawCountOf(moving);
    const bool rowsMove = moving == Dimension::Rows;
    QString key;
    std::u16string ascii;
    const bool utf8 = encoding == UTF_8;
    const auto add = [&](std::string_view bytes) {
        // Most cells are ASCII: in UTF-8 those bytes are the characters, and need no QString.
        if (utf8) {
            ascii.resize(bytes.size());
            bool plain = true;
            for (std::size_t i = 0; i < bytes.size(); ++i) {
                const auto c = static_cast<unsigned char>(bytes[i]);
                if (c >= 0x80) {
                    plain = false;
                    break;
                }
                ascii[i] =
                    static_cast<char16_t>(!caseSensitiveSort && c >= 'A' && c <= 'Z' ? c + ('a' - 'A') : c);
            }
            if (plain) {
                keys.add(QStringView(ascii.data(), static_cast<qsizetype>(ascii.size())));
                return;
            }
        }
        key = decodeCell(bytes, encoding, codec);
        if (!caseSensitiveSort)
            key = std::move(key).toLower();
        keys.add(key);
    };

    if (const auto* readOnly = qobject_cast<const ReadOnlyDataContainer*>(dataContainer)) {
        const int fileIndex = rowsMove ? readOnly->fileColOf(index) : readOnly->fileRowOf(index);
        const bool reordered = rowsMove ? readOnly->getRowsReordered() : readOnly->getColsReordered();
        keys.reserve(static_cast<std::size_t>(count), 0);
        if (!reordered) {
            return readOnly->readLineInPieces(
                rowsMove, fileIndex, kReadPiece, [&](int first, std::vector<std::vector<char>>& cells) {
                    for (const std::vector<char>& cell : cells)
                        add(std::string_view(cell.data(), cell.size()));
                    return report(worker, kReadShare * static_cast<float>(first) / static_cast<float>(count));
                });
        }
        // The file is read front to back, but the keys go in by raw line, so that the sort walks
        // them in memory order. The column's bytes wait in one buffer meanwhile: smaller than the
        // analysed keys, which are made once.
        std::vector<char> bytes;
        std::vector<std::size_t> ends;
        ends.reserve(static_cast<std::size_t>(count));
        const bool read = readOnly->readLineInPieces(
            rowsMove, fileIndex, kReadPiece, [&](int first, std::vector<std::vector<char>>& cells) {
                for (const std::vector<char>& cell : cells) {
                    bytes.insert(bytes.end(), cell.begin(), cell.end());
                    ends.push_back(bytes.size());
                }
                return report(worker, kReadShare / 2 * static_cast<float>(first) / static_cast<float>(count));
            });
        if (!read || ends.size() != static_cast<std::size_t>(count))
            return false;
        for (int raw = 0; raw < count; ++raw) {
            const auto file =
                static_cast<std::size_t>(rowsMove ? readOnly->fileRowOf(raw) : readOnly->fileColOf(raw));
            const std::size_t begin = file == 0 ? 0 : ends[file - 1];
            add(std::string_view(bytes.data() + begin, ends[file] - begin));
            if ((raw & 0xFFF) == 0 &&
                !report(worker,
                        kReadShare / 2 * (1.0f + static_cast<float>(raw) / static_cast<float>(count))))
                return false;
        }
        return true;
    }

    keys.reserve(static_cast<std::size_t>(count), static_cast<std::size_t>(count) * 8);
    std::string_view view;
    std::vector<char> bytes;
    for (int i = 0; i < count; ++i) {
        const int row = rowsMove ? i : index;
        const int col = rowsMove ? index : i;
        if (dataContainer->getValueView(row, col, view)) {
            add(view);
        } else {
            bytes = dataContainer->getValue(row, col, false);
            add(std::string_view(bytes.data(), bytes.size()));
        }
        if ((i & 0xFFF) == 0 &&
            !report(worker, kReadShare * static_cast<float>(i) / static_cast<float>(count)))
            return false;
    }
    return true;
}

bool TableData::getSortIndexes(std::vector<int>& out, int index, Axis axis, SortType type, int numHeaders,
                               Worker* worker) const {
    out.clear();
    if (!dataContainer || type == SortType::None || index < 0)
        return false;
    const Dimension moving = axis == Axis::Row ? rowAxis(false) : colAxis(false);
    const int count = rawCountOf(moving);
    if (index >= rawCountOf(other(moving)) || count < 1)
        return false;
    numHeaders = std::clamp(numHeaders, 0, count);

    SortKeys keys;
    if (!readSortKeys(keys, moving, index, worker) || keys.size() != static_cast<std::size_t>(count))
        return false;

    // Old raw indexes in their new order; the headers first, where they stood.
    std::vector<int> oldInNewOrder(static_cast<std::size_t>(count));
    std::iota(oldInNewOrder.begin(), oldInNewOrder.end(), 0);
    std::vector<int> order(oldInNewOrder.begin() + numHeaders, oldInNewOrder.end());
    const qint64 total = Sorter::expectedComparisons(order.size());
    const Sorter::Progress progress = [worker, total](qint64 done) {
        const float fraction =
            static_cast<float>(std::min(1.0, static_cast<double>(done) / static_cast<double>(total)));
        return report(worker, kReadShare + (1.0f - kReadShare) * fraction);
    };
    try {
        Sorter::stableMergeSort(order, keys, type == SortType::Descending, progress);
    } catch (const SortCanceledException&) {
        return false;
    }
    if (worker && worker->isCanceled())
        return false;
    keys.clear();
    std::copy(order.begin(), order.end(), oldInNewOrder.begin() + numHeaders);
    out = Utilities::invertSortIndexesVector(oldInNewOrder);
    return true;
}

bool TableData::reorderLines(Dimension axis, const std::vector<int>& map) {
    if (!dataContainer || static_cast<int>(map.size()) != rawCountOf(axis))
        return false;
    std::vector<bool> seen(map.size());
    for (const int target : map) {
        if (target < 0 || static_cast<std::size_t>(target) >= map.size() ||
            seen[static_cast<std::size_t>(target)])
            return false;
        seen[static_cast<std::size_t>(target)] = true;
    }
    if (auto* readOnly = qobject_cast<ReadOnlyDataContainer*>(dataContainer)) {
        const bool rows = axis == Dimension::Rows;
        std::vector<int> order(map.size());
        bool identity = true;
        for (std::size_t i = 0; i < map.size(); ++i) {
            const int file =
                rows ? readOnly->fileRowOf(static_cast<int>(i)) : readOnly->fileColOf(static_cast<int>(i));
            order[static_cast<std::size_t>(map[i])] = file;
        }
        for (std::size_t i = 0; i < order.size() && identity; ++i)
            identity = order[i] == static_cast<int>(i);
        if (rows) {
            if (identity)
                readOnly->clearRowOrder();
            else
                readOnly->setRowOrder(order);
        } else {
            if (identity)
                readOnly->clearColOrder();
            else
                readOnly->setColOrder(order);
        }
    } else if (auto* editable = qobject_cast<EditableDataContainer*>(dataContainer)) {
        const bool done = axis == Dimension::Rows ? editable->reorderRows(map) : editable->reorderCols(map);
        if (!done)
            return false;
    } else {
        return false;
    }
    // Concealment goes with the line.
    std::vector<int>& concealed = concealedOf(axis);
    Utilities::mapSortIndexes(concealed, map);
    std::sort(concealed.begin(), concealed.end());
    return true;
}

bool TableData::sortRows(const std::vector<int>& map, bool ignoreTranspose) {
    return reorderLines(rowAxis(ignoreTranspose), map);
}

bool TableData::sortCols(const std::vector<int>& map, bool ignoreTranspose) {
    return reorderLines(colAxis(ignoreTranspose), map);
}

bool TableData::unsortRows(const std::vector<int>& map, bool ignoreTranspose) {
    return reorderLines(rowAxis(ignoreTranspose), Utilities::invertSortIndexesVector(map));
}

bool TableData::unsortCols(const std::vector<int>& map, bool ignoreTranspose) {
    return reorderLines(colAxis(ignoreTranspose), Utilities::invertSortIndexesVector(map));
}
