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

// Keys go in by line of the container: a read-only file's in file order (its order lists say
// which file line each raw line reads), an editable table's by raw line.
bool TableData::readSortKeys(SortKeys& keys, Dimension moving, int index, int numHeaders, Worker* worker,
                             bool& refused) const {
    refused = false;
    const int count = rawCountOf(moving);
    const bool rowsMove = moving == Dimension::Rows;
    const auto* readOnly = qobject_cast<const ReadOnlyDataContainer*>(dataContainer);
    // Where the header lines' keys come, in the order the keys are read.
    std::vector<int> headers;
    for (int raw = 0; raw < numHeaders; ++raw)
        headers.push_back(!readOnly ? raw : (rowsMove ? readOnly->fileRowOf(raw) : readOnly->fileColOf(raw)));
    std::sort(headers.begin(), headers.end());
    std::size_t nextHeader = 0;
    QString key;
    std::string folded;
    const bool utf8 = encoding == UTF_8;
    int added = 0;
    // False to stop: a refused key, or a cancel (looked at every few thousand keys).
    const auto add = [&](std::string_view bytes) {
        bool taken = false;
        if (nextHeader < headers.size() && headers[nextHeader] == added) {
            ++nextHeader;
            keys.addPlaceholder();
            ++added;
            return true;
        }
        // Most cells are ASCII: in UTF-8 those bytes are the characters, and need no QString.
        if (utf8 && std::all_of(bytes.begin(), bytes.end(),
                                [](char c) { return static_cast<signed char>(c) >= 0; })) {
            if (caseSensitiveSort) {
                taken = keys.addLatin1(bytes);
            } else {
                folded.assign(bytes);
                for (char& c : folded) {
                    if (c >= 'A' && c <= 'Z')
                        c = static_cast<char>(c + ('a' - 'A'));
                }
                taken = keys.addLatin1(folded);
            }
        } else {
            key = decodeCell(bytes, encoding, codec);
            if (!caseSensitiveSort)
                key = std::move(key).toLower();
            taken = keys.add(key);
        }
        if (!taken) {
            refused = true;
            return false;
        }
        return (++added & 0xFFF) != 0 ||
               report(worker, kReadShare * static_cast<float>(added) / static_cast<float>(count));
    };
    keys.reserve(static_cast<std::size_t>(count));

    if (readOnly) {
        if (rowsMove)
            return readOnly->readColumn(readOnly->fileColOf(index), add);
        return readOnly->readLineInPieces(false, readOnly->fileRowOf(index), kReadPiece,
                                          [&](int, std::vector<std::vector<char>>& cells) {
                                              for (const std::vector<char>& cell : cells) {
                                                  if (!add(std::string_view(cell.data(), cell.size())))
                                                      return false;
                                              }
                                              return true;
                                          });
    }

    std::string_view view;
    std::vector<char> bytes;
    for (int i = 0; i < count; ++i) {
        const int row = rowsMove ? i : index;
        const int col = rowsMove ? index : i;
        if (!dataContainer->getValueView(row, col, view)) {
            bytes = dataContainer->getValue(row, col, false);
            view = std::string_view(bytes.data(), bytes.size());
        }
        if (!add(view))
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

    // A column of numbers (and empty cells) keeps only their values; the first other key sends
    // the read back to the start, keeping texts too.
    SortKeys numbers(true);
    SortKeys texts(false);
    bool refused = false;
    SortKeys* keys = &numbers;
    if (!readSortKeys(numbers, moving, index, numHeaders, worker, refused)) {
        numbers.clear();
        if (!refused || !readSortKeys(texts, moving, index, numHeaders, worker, refused))
            return false;
        keys = &texts;
    }
    if (keys->size() != static_cast<std::size_t>(count))
        return false;

    // A read-only file's keys come in file order; where its lines are in another order, the keys
    // are put in raw order, so that the sort walks them front to back.
    const auto* readOnly = qobject_cast<const ReadOnlyDataContainer*>(dataContainer);
    const bool rowsMove = moving == Dimension::Rows;
    std::vector<int> order(static_cast<std::size_t>(count));
    if (readOnly && (rowsMove ? readOnly->getRowsReordered() : readOnly->getColsReordered())) {
        for (int raw = 0; raw < count; ++raw)
            order[static_cast<std::size_t>(raw)] =
                rowsMove ? readOnly->fileRowOf(raw) : readOnly->fileColOf(raw);
        keys->permute(order);
    }
    std::iota(order.begin(), order.end(), 0);

    // The headers stay in front, where they stood.
    const qint64 total = Sorter::expectedComparisons(static_cast<std::size_t>(count - numHeaders));
    const Sorter::Progress progress = [worker, total](qint64 done) {
        const float fraction =
            static_cast<float>(std::min(1.0, static_cast<double>(done) / static_cast<double>(total)));
        return report(worker, kReadShare + (1.0f - kReadShare) * fraction);
    };
    try {
        Sorter::stableMergeSort(order.data() + numHeaders, order.data() + count, *keys,
                                type == SortType::Descending, progress);
    } catch (const SortCanceledException&) {
        return false;
    }
    keys->clear();
    if (worker && worker->isCanceled())
        return false;
    // `order` holds the old raw indexes in their new order; the caller wants the inverse.
    out = Utilities::invertSortIndexesVector(order);
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
                readOnly->setRowOrder(std::move(order));
        } else {
            if (identity)
                readOnly->clearColOrder();
            else
                readOnly->setColOrder(std::move(order));
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
