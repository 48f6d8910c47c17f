#include "table/tabledata.h"

#include "storage/editabledatacontainer.h"
#include "storage/readonlydatacontainer.h"
#include "table/indexmapping.h"
#include "table/range.h"
#include "table/worker.h"
#include "util/fileparameterutilities.h"

#include <QScopeGuard>
#include <QTextCodec>
#include <QThread>

#include <algorithm>
#include <climits>

const QString TableData::kDefaultWordDelimiters = QStringLiteral("`~!@#$%^&*()+=\t[]{}\\|;:'\",\n./?<> ");

TableData::TableData(QObject* parent) : QObject(parent), wordDelimiters(kDefaultWordDelimiters) {
    dataContainer = createDataContainer(Editable);
    setEncoding(UTF_8, false);
    rebuildWordDelimiterLookup();
}

TableData::~TableData() {
    stopLoadThread(true);
    delete dataContainer;
}

// --- Counts ----------------------------------------------------------------------------------

int TableData::numRawRows(bool ignoreTranspose) const {
    return rawCountOf(rowAxis(ignoreTranspose));
}
int TableData::numRawCols(bool ignoreTranspose) const {
    return rawCountOf(colAxis(ignoreTranspose));
}
int TableData::numModelRows(bool ignoreTranspose) const {
    return modelCountOf(rowAxis(ignoreTranspose));
}
int TableData::numModelCols(bool ignoreTranspose) const {
    return modelCountOf(colAxis(ignoreTranspose));
}

int TableData::modelCountOf(Dimension axis) const {
    // Concealed entries may lie past the raw end (hidden buffer lines); they take nothing away.
    const int raw = rawCountOf(axis);
    return raw - IndexMapping::countBelow(concealedOf(axis), raw);
}

// --- Mapping ---------------------------------------------------------------------------------

int TableData::getRawFromModelRow(int model, bool ignoreTranspose) const {
    return IndexMapping::rawFromModel(concealedOf(rowAxis(ignoreTranspose)), model);
}

int TableData::getRawFromModelCol(int model, bool ignoreTranspose) const {
    return IndexMapping::rawFromModel(concealedOf(colAxis(ignoreTranspose)), model);
}

int TableData::getModelFromRawRow(int raw, bool nearest, bool ignoreTranspose) const {
    const Dimension axis = rowAxis(ignoreTranspose);
    return IndexMapping::modelFromRaw(concealedOf(axis), raw, nearest, rawCountOf(axis));
}

int TableData::getModelFromRawCol(int raw, bool nearest, bool ignoreTranspose) const {
    const Dimension axis = colAxis(ignoreTranspose);
    return IndexMapping::modelFromRaw(concealedOf(axis), raw, nearest, rawCountOf(axis));
}

Range TableData::getRawFromModelRange(const Range& range) const {
    auto map = [](int index, auto&& mapper) {
        return index < 0 || index == Range::EndOfTable ? index : mapper(index);
    };
    Range result = range;
    result.indexType = RangeIndexType::Raw;
    result.row = map(range.row, [this](int i) { return getRawFromModelRow(i); });
    result.endRow = map(range.endRow, [this](int i) { return getRawFromModelRow(i); });
    result.col = map(range.col, [this](int i) { return getRawFromModelCol(i); });
    result.endCol = map(range.endCol, [this](int i) { return getRawFromModelCol(i); });
    return result;
}

Range TableData::getModelFromRawRange(const Range& range, bool nearest) const {
    auto map = [](int index, auto&& mapper) {
        return index < 0 || index == Range::EndOfTable ? index : mapper(index);
    };
    Range result = range;
    result.indexType = RangeIndexType::Model;
    result.row = map(range.row, [&](int i) { return getModelFromRawRow(i, nearest); });
    result.endRow = map(range.endRow, [&](int i) { return getModelFromRawRow(i, nearest); });
    result.col = map(range.col, [&](int i) { return getModelFromRawCol(i, nearest); });
    result.endCol = map(range.endCol, [&](int i) { return getModelFromRawCol(i, nearest); });
    return result;
}

bool TableData::isRowConcealed(int raw, bool ignoreTranspose) const {
    return IndexMapping::contains(concealedOf(rowAxis(ignoreTranspose)), raw);
}

bool TableData::isColConcealed(int raw, bool ignoreTranspose) const {
    return IndexMapping::contains(concealedOf(colAxis(ignoreTranspose)), raw);
}

// --- Cells -----------------------------------------------------------------------------------

namespace {

QString decodeBytes(const char* data, int size, EncodingType type, QTextCodec* textCodec) {
    // A wide file cut short inside a character keeps that character's first bytes in its last
    // cell; they show as the replacement character, also in a cell of nothing else.
    const int unit = Utilities::numBytesPerChar(type);
    if (unit > 1 && size % unit != 0)
        return decodeBytes(data, size - size % unit, type, textCodec) + QChar(QChar::ReplacementCharacter);
    if (type == UTF_8)
        return QString::fromUtf8(data, size);
    if (type == ISO_8859_1)
        return QString::fromLatin1(data, size);
    if (textCodec)
        return textCodec->toUnicode(data, size);
    return QString::fromUtf8(data, size);
}

} // namespace

QString TableData::decodeCell(const std::vector<char>& bytes, EncodingType type, QTextCodec* textCodec) {
    return decodeCell(std::string_view(bytes.data(), bytes.size()), type, textCodec);
}

QString TableData::decodeCell(std::string_view bytes, EncodingType type, QTextCodec* textCodec) {
    if (bytes.empty())
        return QString();
    return decodeBytes(bytes.data(), static_cast<int>(bytes.size()), type, textCodec);
}

QString TableData::decodeCellPrefix(std::string_view bytes, EncodingType type, QTextCodec* textCodec,
                                    int prefixLength) {
    // No encoding here takes more than four bytes for a character outside of shift sequences, so
    // this many bytes nearly always decode to more than the prefix; when they don't (a text full
    // of shifts), the whole cell is decoded after all.
    const qint64 window = (static_cast<qint64>(prefixLength) + 2) * 4 + 16;
    if (prefixLength <= 0 || static_cast<qint64>(bytes.size()) <= window)
        return decodeCell(bytes, type, textCodec);
    QString prefix = decodeBytes(bytes.data(), static_cast<int>(window), type, textCodec);
    // The window may end inside a character; that one is dropped along with anything past the
    // prefix the caller needs.
    if (prefix.size() > prefixLength + 1)
        return prefix.left(prefixLength + 1);
    return decodeCell(bytes, type, textCodec);
}

std::vector<char> TableData::encodeCell(const QString& text, EncodingType type, QTextCodec* textCodec) {
    if (text.isEmpty())
        return {};
    QByteArray bytes;
    if (type == UTF_8)
        bytes = text.toUtf8();
    else if (type == ISO_8859_1)
        bytes = text.toLatin1();
    else if (textCodec)
        bytes = textCodec->fromUnicode(text);
    else
        bytes = text.toUtf8();
    return std::vector<char>(bytes.cbegin(), bytes.cend());
}

std::vector<char> TableData::getValueRawCharVec(int row, int col, bool ignoreTranspose) const {
    if (transposed && !ignoreTranspose)
        std::swap(row, col);
    // The counts stay 0 while a load runs, so this never reads a container being filled.
    if (!dataContainer || row < 0 || col < 0 || row >= rawRows || col >= rawCols)
        return {};
    return dataContainer->getValue(row, col);
}

QVariant TableData::getValueRaw(int row, int col, bool ignoreTranspose, int prefixLength) const {
    if (!dataContainer)
        return QVariant();
    // A cell held in memory is decoded where it lies: a huge one is not copied first.
    if (transposed && !ignoreTranspose)
        std::swap(row, col);
    std::string_view view;
    if (row >= 0 && col >= 0 && row < rawRows && col < rawCols && dataContainer->getValueView(row, col, view))
        return QVariant(decodeCellPrefix(view, encoding, codec, prefixLength));
    const std::vector<char> bytes = getValueRawCharVec(row, col, true);
    return QVariant(
        decodeCellPrefix(std::string_view(bytes.data(), bytes.size()), encoding, codec, prefixLength));
}

QVariant TableData::getValueModel(int row, int col, int prefixLength) const {
    if (!dataContainer)
        return QVariant();
    return getValueRaw(getRawFromModelRow(row), getRawFromModelCol(col), false, prefixLength);
}

bool TableData::setValueModel(int row, int col, const QString& text) {
    // A model index at or past the end maps past the raw end by the concealed count, so
    // typing into the buffer below the data grows the table where the user sees it.
    const int rawRow = getRawFromModelRow(row);
    const int rawCol = getRawFromModelCol(col);
    if (rawRow < 0 || rawCol < 0)
        return false;
    return setValueRaw(rawRow, rawCol, text);
}

bool TableData::setValueRaw(int row, int col, const QString& text, bool ignoreTranspose) {
    if (!editable())
        return false;
    if (transposed && !ignoreTranspose)
        std::swap(row, col);
    if (row < 0 || col < 0)
        return false;
    const bool outside = row >= rawRows || col >= rawCols;
    if (outside && text.isEmpty())
        return false;
    const bool changed = dataContainer->setValue(row, col, encodeCell(text, encoding, codec));
    if (outside && changed) {
        rawRows = std::max(rawRows, row + 1);
        rawCols = std::max(rawCols, col + 1);
    }
    keepContainerSize();
    if (outside && changed)
        emitTableSizeChanged();
    return changed;
}

void TableData::keepContainerSize() {
    // A write past the container's stored lines may leave its logical size at the written
    // line; the table's size is what this object counts.
    if (dataContainer->numRows() < rawRows)
        dataContainer->resizeRows(rawRows);
    if (dataContainer->numCols() < rawCols)
        dataContainer->resizeCols(rawCols);
}

void TableData::appendValueModelUtf8(int row, int col, QByteArray& out) const {
    int r = getRawFromModelRow(row);
    int c = getRawFromModelCol(col);
    if (transposed)
        std::swap(r, c);
    std::string_view view;
    if (encoding == UTF_8 && dataContainer && r >= 0 && c >= 0 && r < rawRows && c < rawCols &&
        dataContainer->getValueView(r, c, view)) {
        out.append(view.data(), qsizetype(view.size()));
        return;
    }
    out += getValueModel(row, col).toString().toUtf8();
}

void TableData::setBlockModelUtf8(int top, int left, int numRows,
                                  const std::function<void(int, std::vector<std::string_view>&)>& rowTexts,
                                  const std::function<void(int)>& rowsDone) {
    if (!editable() || !dataContainer)
        return;
    const int rowsBefore = rawRows;
    const int colsBefore = rawCols;
    // The rules of setValueRaw: an empty text outside the data writes nothing, anything else
    // grows the table to hold it.
    auto accept = [this](int r, int c, std::string_view text) {
        if (r < 0 || c < 0)
            return false;
        const bool outside = r >= rawRows || c >= rawCols;
        if (outside && text.empty())
            return false;
        rawRows = std::max(rawRows, r + 1);
        rawCols = std::max(rawCols, c + 1);
        return true;
    };
    const bool direct = encoding == UTF_8 && !transposed;
    std::vector<std::string_view> texts;
    std::vector<std::pair<int, std::string_view>> cells;
    std::vector<int> columnsRaw; // of the block's columns, looked up once rather than once a row
    for (int i = 0; i < numRows; ++i) {
        if (rowsDone && i % 1024 == 0)
            rowsDone(i);
        texts.clear();
        rowTexts(i, texts);
        const int rawRow = getRawFromModelRow(top + i);
        if (rawRow < 0)
            continue;
        cells.clear();
        while (columnsRaw.size() < texts.size())
            columnsRaw.push_back(getRawFromModelCol(left + int(columnsRaw.size())));
        for (std::size_t k = 0; k < texts.size(); ++k) {
            const int rawCol = columnsRaw[k];
            int r = rawRow;
            int c = rawCol;
            if (transposed)
                std::swap(r, c);
            if (!accept(r, c, texts[k]))
                continue;
            if (direct) {
                cells.emplace_back(c, texts[k]);
            } else {
                const QString text = QString::fromUtf8(texts[k].data(), qsizetype(texts[k].size()));
                dataContainer->setValue(r, c, encodeCell(text, encoding, codec));
            }
        }
        if (!cells.empty())
            dataContainer->setValuesInRow(rawRow, cells);
    }
    keepContainerSize();
    if (rawRows != rowsBefore || rawCols != colsBefore)
        emitTableSizeChanged();
}

bool TableData::isCellPopulated(int row, int col) const {
    return !getValueRawCharVec(row, col).empty();
}

Range TableData::getNextBlockLocation(const Range& range, Direction direction) const {
    Range result = range;
    const bool vertical = direction == Direction::Up || direction == Direction::Down;
    const int step = direction == Direction::Up || direction == Direction::Left ? -1 : 1;
    const bool model = range.indexType == RangeIndexType::Model;
    const int count =
        vertical ? (model ? numModelRows() : numRawRows()) : (model ? numModelCols() : numRawCols());
    const int last = count - 1;
    const int start = vertical ? range.row : range.col;

    auto populated = [&](int index) {
        const int row = vertical ? index : range.row;
        const int col = vertical ? range.col : index;
        return model ? isCellPopulated(getRawFromModelRow(row), getRawFromModelCol(col))
                     : isCellPopulated(row, col);
    };
    // Towards 0 only 0 bounds the walk; away from it the last index does.
    auto inBounds = [&](int index) { return index >= 0 && (step < 0 || index <= last); };

    if (!inBounds(start) || !inBounds(start + step))
        return result;
    const int next = start + step;
    const bool here = populated(start);
    const bool there = populated(next);
    const int edge = step > 0 ? last : 0;
    int target = next;
    if (here == there) {
        // Along a run of equal cells: stop on the first populated cell after empty ones, or on
        // the last populated cell before an empty one.
        target = edge;
        for (int i = next + step; inBounds(i); i += step) {
            const bool now = populated(i);
            if (now != here) {
                target = now ? i : i - step;
                break;
            }
        }
    } else if (here) {
        // Off the end of a block: over the gap to the next populated cell.
        target = edge;
        for (int i = next + step; inBounds(i); i += step) {
            if (populated(i)) {
                target = i;
                break;
            }
        }
    }
    target = std::max(0, step > 0 ? std::min(target, last) : target);
    if (vertical)
        result.row = target;
    else
        result.col = target;
    return result;
}

bool TableData::linesBlank(Dimension axis, int line, const std::vector<int>& across) const {
    for (const int index : across) {
        const bool empty = axis == Dimension::Rows ? getValueRawCharVec(line, index, true).empty()
                                                   : getValueRawCharVec(index, line, true).empty();
        if (!empty)
            return false;
    }
    return true;
}

bool TableData::areColumnsInRowBlank(int row, const std::vector<int>& cols, bool ignoreTranspose) const {
    return linesBlank(rowAxis(ignoreTranspose), row, cols);
}

bool TableData::areRowsInColBlank(int col, const std::vector<int>& rows, bool ignoreTranspose) const {
    return linesBlank(colAxis(ignoreTranspose), col, rows);
}

// --- Inserting, removing, moving -------------------------------------------------------------

bool TableData::editable() const {
    return dataContainer && !loading && dataContainerType == Editable;
}

bool TableData::insertEmpty(Dimension axis, int at, int count) {
    if (!editable() || at < 0 || count <= 0 || at > rawCountOf(axis) || count > INT_MAX - rawCountOf(axis))
        return false;
    const bool inserted = axis == Dimension::Rows ? dataContainer->insertEmptyRows(at, count)
                                                  : dataContainer->insertEmptyCols(at, count);
    if (!inserted)
        return false;
    for (int& entry : concealedOf(axis)) {
        if (entry >= at)
            entry += count;
    }
    rawCountOf(axis) += count;
    return true;
}

bool TableData::insertFilled(Dimension axis, int at,
                             const std::vector<std::vector<std::vector<char>>>& lines) {
    if (lines.empty() || !insertEmpty(axis, at, static_cast<int>(lines.size())))
        return false;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        if (axis == Dimension::Rows)
            dataContainer->setRow(at + static_cast<int>(i), lines[i]);
        else
            dataContainer->setCol(at + static_cast<int>(i), lines[i]);
    }
    // A line longer than the table widens it.
    if (axis == Dimension::Rows)
        rawCols = std::max(rawCols, dataContainer->numCols());
    else
        rawRows = std::max(rawRows, dataContainer->numRows());
    keepContainerSize();
    return true;
}

bool TableData::insertModel(Dimension axis, int at, int count) {
    if (at < 0)
        return false;
    if (!insertEmpty(axis, IndexMapping::rawFromModel(concealedOf(axis), at), count))
        return false;
    emitTableSizeChanged();
    return true;
}

bool TableData::insertRowsModel(int at, int count, bool ignoreTranspose) {
    return insertModel(rowAxis(ignoreTranspose), at, count);
}

bool TableData::insertColsModel(int at, int count, bool ignoreTranspose) {
    return insertModel(colAxis(ignoreTranspose), at, count);
}

bool TableData::insertRowsRaw(int at, int count, bool ignoreTranspose) {
    if (!insertEmpty(rowAxis(ignoreTranspose), at, count))
        return false;
    emitTableSizeChanged();
    return true;
}

bool TableData::insertColsRaw(int at, int count, bool ignoreTranspose) {
    if (!insertEmpty(colAxis(ignoreTranspose), at, count))
        return false;
    emitTableSizeChanged();
    return true;
}

bool TableData::insertRowsRaw(int at, const std::vector<std::vector<std::vector<char>>>& rows,
                              bool ignoreTranspose) {
    if (!insertFilled(rowAxis(ignoreTranspose), at, rows))
        return false;
    emitTableSizeChanged();
    return true;
}

bool TableData::insertColsRaw(int at, const std::vector<std::vector<std::vector<char>>>& cols,
                              bool ignoreTranspose) {
    if (!insertFilled(colAxis(ignoreTranspose), at, cols))
        return false;
    emitTableSizeChanged();
    return true;
}

bool TableData::removeLines(Dimension axis, int at, int count) {
    if (!editable() || at < 0 || count < 1 || at >= rawCountOf(axis))
        return false;
    count = std::min(count, rawCountOf(axis) - at);
    const bool removed =
        axis == Dimension::Rows ? dataContainer->removeRows(at, count) : dataContainer->removeCols(at, count);
    if (!removed)
        return false;
    // Concealment stays on the same data: entries of removed lines go, later ones move up.
    std::vector<int>& list = concealedOf(axis);
    const auto first = std::lower_bound(list.begin(), list.end(), at);
    const auto last = std::lower_bound(first, list.end(), at + count);
    for (auto it = last; it != list.end(); ++it)
        *it -= count;
    list.erase(first, last);
    rawCountOf(axis) -= count;
    return true;
}

bool TableData::removeRowsRaw(int at, int count, bool ignoreTranspose) {
    if (!removeLines(rowAxis(ignoreTranspose), at, count))
        return false;
    emitTableSizeChanged();
    return true;
}

bool TableData::removeColsRaw(int at, int count, bool ignoreTranspose) {
    if (!removeLines(colAxis(ignoreTranspose), at, count))
        return false;
    emitTableSizeChanged();
    return true;
}

bool TableData::removeRunsRaw(Axis which, const std::vector<std::pair<int, int>>& runs,
                              bool ignoreTranspose) {
    const Dimension axis = which == Axis::Row ? rowAxis(ignoreTranspose) : colAxis(ignoreTranspose);
    if (!editable())
        return false;
    // Columns go a run at a time, from the last: a reorder of columns would rebuild every row and
    // lose the fields its line had; tables have far fewer columns than rows.
    if (runs.size() == 1 || axis == Dimension::Cols)
        return removeRunsFromLast(axis, runs);
    // The removed lines go to the end in one reorder and leave together there: removing run by
    // run moved the rest of the table once per run.
    const int n = rawCountOf(axis);
    std::vector<int> map(static_cast<std::size_t>(n));
    std::vector<bool> gone(static_cast<std::size_t>(n));
    int removed = 0;
    for (const auto& [first, count] : runs) {
        for (int line = std::max(first, 0); line < std::min(first + count, n); ++line) {
            if (!gone[static_cast<std::size_t>(line)]) {
                gone[static_cast<std::size_t>(line)] = true;
                ++removed;
            }
        }
    }
    if (removed == 0)
        return false;
    int kept = 0;
    int tail = n - removed;
    for (int line = 0; line < n; ++line)
        map[static_cast<std::size_t>(line)] = gone[static_cast<std::size_t>(line)] ? tail++ : kept++;
    if (!reorderLines(axis, map) || !removeLines(axis, n - removed, removed))
        return false;
    emitTableSizeChanged();
    return true;
}

bool TableData::insertRunsRaw(Axis which, const std::vector<std::pair<int, int>>& runs,
                              const std::vector<std::vector<std::vector<std::vector<char>>>>& contents,
                              const std::vector<std::vector<int>>* fieldsAsRead, bool ignoreTranspose) {
    const Dimension axis = which == Axis::Row ? rowAxis(ignoreTranspose) : colAxis(ignoreTranspose);
    if (!editable() || runs.size() != contents.size() || runs.empty() ||
        (fieldsAsRead && fieldsAsRead->size() != contents.size()))
        return false;
    if (axis == Dimension::Cols) {
        for (std::size_t r = 0; r < runs.size(); ++r) {
            if (!insertFilled(axis, runs[r].first, contents[r]))
                return false;
        }
        emitTableSizeChanged();
        return true;
    }
    // All lines join at the end, then one reorder takes each to its place: inserting run by run
    // moved the rest of the table once per run.
    const int n = rawCountOf(axis);
    int added = 0;
    for (const auto& lines : contents)
        added += static_cast<int>(lines.size());
    if (added == 0 || !insertEmpty(axis, n, added))
        return false;
    const int total = n + added;
    std::vector<int> map(static_cast<std::size_t>(total), -1);
    std::vector<bool> taken(static_cast<std::size_t>(total));
    int appended = n;
    for (std::size_t r = 0; r < runs.size(); ++r) {
        const auto& lines = contents[r];
        const std::vector<int>* fields = fieldsAsRead ? &(*fieldsAsRead)[r] : nullptr;
        for (std::size_t i = 0; i < lines.size(); ++i, ++appended) {
            const int target = runs[r].first + static_cast<int>(i);
            if (target < 0 || target >= total || taken[static_cast<std::size_t>(target)])
                return false;
            taken[static_cast<std::size_t>(target)] = true;
            map[static_cast<std::size_t>(appended)] = target;
            if (axis == Dimension::Cols)
                dataContainer->setCol(appended, lines[i]);
            else if (fields && i < fields->size())
                dataContainer->setRowAsRead(appended, lines[i], (*fields)[i]);
            else
                dataContainer->setRow(appended, lines[i]);
        }
    }
    // The lines that were there fill the other places in their order.
    int slot = 0;
    for (int line = 0; line < n; ++line) {
        while (taken[static_cast<std::size_t>(slot)])
            ++slot;
        map[static_cast<std::size_t>(line)] = slot++;
    }
    // A line longer than the table widens it.
    if (axis == Dimension::Rows)
        rawCols = std::max(rawCols, dataContainer->numCols());
    else
        rawRows = std::max(rawRows, dataContainer->numRows());
    keepContainerSize();
    const bool placed = reorderLines(axis, map);
    emitTableSizeChanged();
    return placed;
}

bool TableData::removeModel(Dimension axis, int at, int count) {
    if (!editable() || at < 0 || count < 1)
        return false;
    const int modelCount = modelCountOf(axis);
    if (at >= modelCount)
        return false;
    count = std::min(count, modelCount - at);

    // Runs of consecutive visible raw lines, found in one walk over the model lines and the
    // concealed entries; the concealed lines between runs stay.
    const std::vector<int>& list = concealedOf(axis);
    std::vector<std::pair<int, int>> runs; // first raw, count
    int raw = IndexMapping::rawFromModel(list, at);
    auto next = std::lower_bound(list.begin(), list.end(), raw);
    for (int i = 0; i < count; ++i) {
        while (next != list.end() && *next == raw) {
            ++raw;
            ++next;
        }
        if (!runs.empty() && runs.back().first + runs.back().second == raw)
            ++runs.back().second;
        else
            runs.emplace_back(raw, 1);
        ++raw;
    }
    return removeRunsFromLast(axis, runs);
}

bool TableData::removeRunsFromLast(Dimension axis, const std::vector<std::pair<int, int>>& runs) {
    // From the last run back, so the earlier runs keep their indexes.
    bool removed = false;
    for (auto it = runs.rbegin(); it != runs.rend(); ++it)
        removed = removeLines(axis, it->first, it->second) || removed;
    if (removed)
        emitTableSizeChanged();
    return removed;
}

bool TableData::removeRowsModel(int at, int count, bool ignoreTranspose) {
    return removeModel(rowAxis(ignoreTranspose), at, count);
}

bool TableData::removeColsModel(int at, int count, bool ignoreTranspose) {
    return removeModel(colAxis(ignoreTranspose), at, count);
}

bool TableData::moveLine(Dimension axis, int from, int to) {
    const int modelCount = modelCountOf(axis);
    if (!editable() || from < 0 || to < 0 || from >= modelCount || to >= modelCount || from == to)
        return false;
    const std::vector<int>& list = concealedOf(axis);
    const int rawFrom = IndexMapping::rawFromModel(list, from);
    const int rawTo = IndexMapping::rawFromModel(list, to);
    // Insert an empty line where the moved one ends up, copy it there, remove the source.
    // Moving down the new line goes after the target, so it lands on the target's place
    // once the source is gone.
    const int target = to > from ? rawTo + 1 : rawTo;
    if (!insertEmpty(axis, target, 1))
        return false;
    const int source = rawFrom >= target ? rawFrom + 1 : rawFrom;
    if (axis == Dimension::Rows)
        dataContainer->copyRowContentsToAnotherRow(source, target);
    else
        dataContainer->copyColContentsToAnotherCol(source, target);
    keepContainerSize();
    removeLines(axis, source, 1);
    emitTableSizeChanged();
    return true;
}

bool TableData::moveRowRelative(int from, int to, bool ignoreTranspose) {
    return moveLine(rowAxis(ignoreTranspose), from, to);
}

bool TableData::moveColRelative(int from, int to, bool ignoreTranspose) {
    return moveLine(colAxis(ignoreTranspose), from, to);
}

bool TableData::duplicateLine(Dimension axis, int from, int to) {
    const int modelCount = modelCountOf(axis);
    if (!editable() || from < 0 || to < 0 || from >= modelCount || to > modelCount)
        return false;
    const std::vector<int>& list = concealedOf(axis);
    const int rawFrom = IndexMapping::rawFromModel(list, from);
    const int rawTo = to == modelCount ? rawCountOf(axis) : IndexMapping::rawFromModel(list, to);
    if (axis == Dimension::Cols) {
        // The copy goes in with its cells, one pass over the rows: an empty column put in and
        // then filled rebuilt every row twice, and the filling took the rows out of the shape
        // they were read with, which the copy's undo couldn't give back.
        if (rawCountOf(axis) == INT_MAX)
            return false;
        std::vector<std::vector<std::vector<char>>> copy(1);
        dataContainer->getCol(copy.front(), rawFrom);
        dataContainer->insertCols(rawTo, copy);
        for (int& entry : concealedOf(axis)) {
            if (entry >= rawTo)
                ++entry;
        }
        ++rawCountOf(axis);
        keepContainerSize();
        emitTableSizeChanged();
        return true;
    }
    if (!insertEmpty(axis, rawTo, 1))
        return false;
    const int source = rawFrom >= rawTo ? rawFrom + 1 : rawFrom;
    if (axis == Dimension::Rows)
        dataContainer->copyRowContentsToAnotherRow(source, rawTo);
    else
        dataContainer->copyColContentsToAnotherCol(source, rawTo);
    keepContainerSize();
    emitTableSizeChanged();
    return true;
}

bool TableData::duplicateLines(Axis which, const std::vector<int>& lines, int count, bool below) {
    const Dimension axis = which == Axis::Row ? rowAxis(false) : colAxis(false);
    const int modelCount = modelCountOf(axis);
    if (!editable() || lines.empty() || count < 1)
        return false;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        if (lines[i] < 0 || lines[i] >= modelCount || (i > 0 && lines[i] <= lines[i - 1]))
            return false;
    }
    // Columns a line at a time, from the last: a reorder of columns rebuilds every row, and
    // tables have far fewer columns than rows.
    if (axis == Dimension::Cols || lines.size() == 1) {
        for (std::size_t i = lines.size(); i-- > 0;) {
            for (int k = 0; k < count; ++k) {
                if (!duplicateLine(axis, lines[i], below ? lines[i] + 1 : lines[i]))
                    return false;
            }
        }
        return true;
    }
    // The copies join at the end, then one reorder takes every line to its place: a copy
    // inserted line by line moved the rest of the table once per line.
    const std::vector<int>& list = concealedOf(axis);
    const int n = rawCountOf(axis);
    const qint64 added = qint64(lines.size()) * count;
    if (added > INT_MAX - n)
        return false;
    std::vector<int> sources;
    std::vector<int> places; // the raw line that each line's copies go before, ascending
    sources.reserve(lines.size());
    places.reserve(lines.size());
    for (const int line : lines) {
        const int to = below ? line + 1 : line;
        sources.push_back(IndexMapping::rawFromModel(list, line));
        places.push_back(to == modelCount ? n : IndexMapping::rawFromModel(list, to));
    }
    if (!insertEmpty(axis, n, static_cast<int>(added)))
        return false;
    std::vector<int> map(static_cast<std::size_t>(n + added));
    std::size_t before = 0; // lines whose copies go before the line at hand
    for (int raw = 0; raw < n; ++raw) {
        while (before < places.size() && places[before] <= raw)
            ++before;
        map[static_cast<std::size_t>(raw)] = raw + static_cast<int>(before) * count;
    }
    int appended = n;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        for (int k = 0; k < count; ++k, ++appended) {
            if (axis == Dimension::Rows)
                dataContainer->copyRowContentsToAnotherRow(sources[i], appended);
            else
                dataContainer->copyColContentsToAnotherCol(sources[i], appended);
            map[static_cast<std::size_t>(appended)] = places[i] + static_cast<int>(i) * count + k;
        }
    }
    keepContainerSize();
    if (!reorderLines(axis, map))
        return false;
    emitTableSizeChanged();
    return true;
}

bool TableData::duplicateRow(int from, int to, bool ignoreTranspose) {
    return duplicateLine(rowAxis(ignoreTranspose), from, to);
}

bool TableData::duplicateCol(int from, int to, bool ignoreTranspose) {
    return duplicateLine(colAxis(ignoreTranspose), from, to);
}

// --- Concealed rows and columns --------------------------------------------------------------

void TableData::conceal(Dimension axis, std::vector<int> raws) {
    std::vector<int>& list = concealedOf(axis);
    raws.erase(std::remove_if(raws.begin(), raws.end(), [](int raw) { return raw < 0; }), raws.end());
    std::sort(raws.begin(), raws.end());
    std::vector<int> merged;
    merged.reserve(list.size() + raws.size());
    std::set_union(list.begin(), list.end(), raws.begin(), raws.end(), std::back_inserter(merged));
    merged.erase(std::unique(merged.begin(), merged.end()), merged.end());
    list.swap(merged);
    emitTableSizeChanged();
}

void TableData::show(Dimension axis, const std::vector<int>& raws) {
    std::vector<int> sorted = raws;
    std::sort(sorted.begin(), sorted.end());
    std::vector<int>& list = concealedOf(axis);
    std::vector<int> kept;
    kept.reserve(list.size());
    std::set_difference(list.begin(), list.end(), sorted.begin(), sorted.end(), std::back_inserter(kept));
    list.swap(kept);
    emitTableSizeChanged();
}

void TableData::concealRawRows(const std::vector<int>& rows, bool ignoreTranspose) {
    conceal(rowAxis(ignoreTranspose), rows);
}

void TableData::concealRawCols(const std::vector<int>& cols, bool ignoreTranspose) {
    conceal(colAxis(ignoreTranspose), cols);
}

void TableData::concealRawRow(int row, bool ignoreTranspose) {
    conceal(rowAxis(ignoreTranspose), {row});
}
void TableData::concealRawCol(int col, bool ignoreTranspose) {
    conceal(colAxis(ignoreTranspose), {col});
}

void TableData::concealModelRows(const std::vector<int>& rows, bool ignoreTranspose) {
    // All are mapped before any is concealed: each model index means what the user saw.
    std::vector<int> raws;
    raws.reserve(rows.size());
    for (const int row : rows)
        raws.push_back(getRawFromModelRow(row, ignoreTranspose));
    conceal(rowAxis(ignoreTranspose), std::move(raws));
}

void TableData::concealModelCols(const std::vector<int>& cols, bool ignoreTranspose) {
    std::vector<int> raws;
    raws.reserve(cols.size());
    for (const int col : cols)
        raws.push_back(getRawFromModelCol(col, ignoreTranspose));
    conceal(colAxis(ignoreTranspose), std::move(raws));
}

void TableData::concealModelRow(int row, bool ignoreTranspose) {
    concealModelRows({row}, ignoreTranspose);
}
void TableData::concealModelCol(int col, bool ignoreTranspose) {
    concealModelCols({col}, ignoreTranspose);
}
void TableData::showRawRow(int row, bool ignoreTranspose) {
    show(rowAxis(ignoreTranspose), {row});
}
void TableData::showRawCol(int col, bool ignoreTranspose) {
    show(colAxis(ignoreTranspose), {col});
}

void TableData::showRawRows(const std::vector<int>& rows, bool ignoreTranspose) {
    show(rowAxis(ignoreTranspose), rows);
}

void TableData::showRawCols(const std::vector<int>& cols, bool ignoreTranspose) {
    show(colAxis(ignoreTranspose), cols);
}

void TableData::showAllRows(bool ignoreTranspose) {
    concealedOf(rowAxis(ignoreTranspose)).clear();
    emitTableSizeChanged();
}

void TableData::showAllCols(bool ignoreTranspose) {
    concealedOf(colAxis(ignoreTranspose)).clear();
    emitTableSizeChanged();
}

void TableData::getConcealedRowsRaw(std::vector<int>& out, bool ignoreTranspose) const {
    out = concealedOf(rowAxis(ignoreTranspose));
}

void TableData::getConcealedColsRaw(std::vector<int>& out, bool ignoreTranspose) const {
    out = concealedOf(colAxis(ignoreTranspose));
}

int TableData::numConcealedRows(bool ignoreTranspose) const {
    return static_cast<int>(concealedOf(rowAxis(ignoreTranspose)).size());
}

int TableData::numConcealedCols(bool ignoreTranspose) const {
    return static_cast<int>(concealedOf(colAxis(ignoreTranspose)).size());
}

// --- Empty rows and columns ------------------------------------------------------------------

std::vector<int> TableData::emptyLines(Dimension axis, int index, GetRowColMaskType maskType,
                                       const std::vector<int>& mask) const {
    if (!dataContainer || loading)
        return {};
    return axis == Dimension::Rows ? dataContainer->emptyRows(index, maskType, mask)
                                   : dataContainer->emptyCols(index, maskType, mask);
}

std::vector<int> TableData::getEmptyRowsRaw(int index, GetRowColMaskType maskType,
                                            const std::vector<int>& mask, bool ignoreTranspose) const {
    return emptyLines(rowAxis(ignoreTranspose), index, maskType, mask);
}

std::vector<int> TableData::getEmptyColsRaw(int index, GetRowColMaskType maskType,
                                            const std::vector<int>& mask, bool ignoreTranspose) const {
    return emptyLines(colAxis(ignoreTranspose), index, maskType, mask);
}

std::vector<int> TableData::emptyLinesIn(Dimension axis, int index, RangeIndexType indexType,
                                         GetRowColMaskType maskType, const std::vector<int>& mask) const {
    if (indexType != RangeIndexType::Model)
        return emptyLines(axis, index, maskType, mask);
    // The mask runs across the other axis: map it there, ask in raw terms, map the answer back.
    const std::vector<int>& across = concealedOf(other(axis));
    std::vector<int> rawMask;
    rawMask.reserve(mask.size());
    for (const int m : mask)
        rawMask.push_back(IndexMapping::rawFromModel(across, m));
    std::sort(rawMask.begin(), rawMask.end());
    const int rawIndex = index < 0 ? index : IndexMapping::rawFromModel(across, index);
    std::vector<int> result;
    const std::vector<int>& along = concealedOf(axis);
    for (const int raw : emptyLines(axis, rawIndex, maskType, rawMask)) {
        const int m = IndexMapping::modelFromRaw(along, raw, false, rawCountOf(axis));
        if (m >= 0)
            result.push_back(m);
    }
    return result;
}

std::vector<int> TableData::getEmptyRows(int index, RangeIndexType indexType, GetRowColMaskType maskType,
                                         const std::vector<int>& mask, bool ignoreTranspose) const {
    return emptyLinesIn(rowAxis(ignoreTranspose), index, indexType, maskType, mask);
}

std::vector<int> TableData::getEmptyCols(int index, RangeIndexType indexType, GetRowColMaskType maskType,
                                         const std::vector<int>& mask, bool ignoreTranspose) const {
    return emptyLinesIn(colAxis(ignoreTranspose), index, indexType, maskType, mask);
}

int TableData::numEmptyRowsRawAtEnd(bool ignoreTranspose) const {
    if (!dataContainer || loading)
        return 0;
    return rowAxis(ignoreTranspose) == Dimension::Rows ? dataContainer->numEmptyRowsAtEnd()
                                                       : dataContainer->numEmptyColsAtEnd();
}

int TableData::numEmptyColsRawAtEnd(bool ignoreTranspose) const {
    if (!dataContainer || loading)
        return 0;
    return colAxis(ignoreTranspose) == Dimension::Rows ? dataContainer->numEmptyRowsAtEnd()
                                                       : dataContainer->numEmptyColsAtEnd();
}

// --- Parameters ------------------------------------------------------------------------------

char TableData::delimiterFromText(const QString& text) {
    if (text.isEmpty())
        return 0;
    const char16_t c = text.at(0).unicode();
    return c < 256 ? static_cast<char>(c) : 0;
}

QString TableData::getDelimiterText() const {
    return delimiter == 0 ? QString() : QString(QChar::fromLatin1(delimiter));
}

QString TableData::getSaveDelimiterText() const {
    return saveDelimiter == 0 ? QString() : QString(QChar::fromLatin1(saveDelimiter));
}

QString TableData::getFilepath() const {
    return dataContainer ? dataContainer->getFilepath() : QString();
}

void TableData::setDelimiter(const QString& readDelimiter, const QString& writeDelimiter) {
    delimiter = delimiterFromText(readDelimiter);
    saveDelimiter = delimiterFromText(writeDelimiter);
    if (dataContainer)
        dataContainer->setDelimiter(delimiter, saveDelimiter);
}

void TableData::setEncoding(EncodingType type, bool reencodeCells) {
    const EncodingType oldEncoding = encoding;
    QTextCodec* const oldCodec = codec;
    encoding = type;
    codecName = Utilities::convertEncodingTypeToCodecName(type).toLatin1();
    codec = QTextCodec::codecForName(codecName);

    if (reencodeCells && type != oldEncoding && editable() && rawRows > 0) {
        std::vector<std::vector<char>> row;
        const int rows = dataContainer->numRows();
        for (int r = 0; r < rows; ++r) {
            row.clear();
            dataContainer->getRow(row, r);
            for (std::vector<char>& cell : row) {
                if (!cell.empty())
                    cell = encodeCell(decodeCell(cell, oldEncoding, oldCodec), type, codec);
            }
            // The same fields in other bytes: a short row read from the file stays short on save.
            dataContainer->setRowAsRead(r, row, dataContainer->rowFieldsAsRead(r));
        }
    }
    if (dataContainer)
        dataContainer->setEncoding(type);
}

namespace {

// Encodings that write every character there is.
bool writesAllCharacters(EncodingType type) {
    return type <= UTF_32_GUESSED_LE || type == GB_18030;
}

// Encodings whose bytes below 0x80 are ASCII characters and nothing else. The stateful Japanese
// mail encoding spells its own letters in such bytes, and Shift JIS gives 0x5C and 0x7E other
// meanings in some tables: both take the slow road.
bool keepsAscii(EncodingType type) {
    return type == UTF_8 || (type >= ISO_8859_1 && type != ISO_2022_JP && type != SHIFT_JIS);
}

} // namespace

qint64 TableData::countCellsLostInEncoding(EncodingType type, Worker* worker) const {
    if (type == encoding || !editable() || rawRows <= 0 || writesAllCharacters(type))
        return 0;
    QTextCodec* const target =
        QTextCodec::codecForName(Utilities::convertEncodingTypeToCodecName(type).toLatin1());
    // Plain ASCII cells are most of most tables, and both sides write them the same.
    const bool asciiStays = keepsAscii(encoding) && keepsAscii(type);
    qint64 lost = 0;
    const int rows = dataContainer->numRows();
    std::string_view cell;
    for (int r = 0; r < rows; ++r) {
        if (worker && (r & 0x3FF) == 0 && worker->readyForUpdate() &&
            !worker->updateProgress(static_cast<float>(r) / static_cast<float>(rows)))
            return -1;
        const int cols = dataContainer->numColsInRow(r);
        for (int c = 0; c < cols; ++c) {
            if (!dataContainer->getValueView(r, c, cell) || cell.empty() || (asciiStays && isAscii(cell)))
                continue;
            const QString text = decodeCell(cell, encoding, codec);
            if (decodeCell(encodeCell(text, type, target), type, target) != text)
                ++lost;
        }
    }
    return worker && worker->isCanceled() ? -1 : lost;
}

void TableData::setLineEnding(LineEndingType type) {
    lineEnding = type;
    if (dataContainer)
        dataContainer->setLineEnding(type);
}

void TableData::setParsingStandard(ParsingStandard standard) {
    parsingStandard = standard;
    if (dataContainer)
        dataContainer->setParsingStandard(standard);
}

void TableData::setSaveWithTrailingDelimiters(bool on) {
    saveWithTrailingDelimiters = on;
    if (dataContainer)
        dataContainer->setSaveWithTrailingDelimiters(on);
}

void TableData::setKeepFieldCountsAsRead(bool on) {
    keepFieldCountsAsRead = on;
    if (dataContainer)
        dataContainer->setKeepFieldCountsAsRead(on);
}

void TableData::setProgressUpdateMutex(QMutex* mutex, QWaitCondition* condition) {
    progressUpdateMutex = mutex;
    progressUpdateCondition = condition;
    // A running load keeps the pair it started with; the next container gets this one.
    if (dataContainer && !loading)
        dataContainer->setProgressUpdateSync(mutex, condition);
}

// --- Transposition ---------------------------------------------------------------------------

void TableData::toggleTranspose() {
    transposed = !transposed;
    emitTableSizeChanged();
}

void TableData::emitTableSizeChanged() {
    emit tableSizeChangedSignal(numRawRows(), numRawCols(), numModelRows(), numModelCols());
}

// --- Loading and saving ----------------------------------------------------------------------

AbstractDataContainer* TableData::createDataContainer(DataContainerType type) {
    if (type == ReadOnly)
        return new ReadOnlyDataContainer;
    return new EditableDataContainer;
}

void TableData::endLoadThread() {
    if (!loadThread)
        return;
    if (loadThread->isRunning())
        loadThread->quit();
    loadThread->wait();
    delete loadThread;
    loadThread = nullptr;
}

void TableData::loadCSV(const QString& path, bool threaded, DataContainerType type,
                        const QString& readDelimiter, const QString& writeDelimiter,
                        EncodingType encodingType, ParsingStandard standard) {
    // Nothing of the old container may reach this object any more.
    ++loadGeneration;
    if (dataContainer) {
        QObject::disconnect(dataContainer, nullptr, this, nullptr);
        if (loading)
            dataContainer->setLoadCanceled(true);
    }
    endLoadThread();
    loading = false;
    delete dataContainer;
    dataContainer = nullptr;
    rawRows = 0;
    rawCols = 0;
    // Concealed indexes belong to the old data; whoever filters reapplies after the load.
    concealedRows.clear();
    concealedCols.clear();

    dataContainerType = type;
    AbstractDataContainer* container = createDataContainer(type);
    dataContainer = container;
    container->setProgressUpdateSync(progressUpdateMutex, progressUpdateCondition);
    container->setFilepath(path);
    setDelimiter(readDelimiter, writeDelimiter);
    setLineEnding(lineEnding);
    setEncoding(encodingType, false);
    setParsingStandard(standard);
    setSaveWithTrailingDelimiters(saveWithTrailingDelimiters);
    setKeepFieldCountsAsRead(keepFieldCountsAsRead);
    transposed = false;

    if (type == ReadOnly) {
        // Queued: the change is found in the middle of reading cells, for a paint among others.
        connect(static_cast<ReadOnlyDataContainer*>(container), &ReadOnlyDataContainer::fileChangedSignal,
                this, &TableData::fileChangedUnderTableSignal, Qt::QueuedConnection);
    }

    if (!threaded) {
        if (!container->loadCSV() && !container->getLoadCanceled())
            emit loadFailedSignal(path, container->getErrorString());
        onLoadFinished();
        return;
    }

    loadThread = new QThread;
    container->moveToThread(loadThread);
    QThread* const home = thread();
    const quint64 generation = loadGeneration;
    // The container goes back to this thread once it has loaded, so that it lives where it
    // is used from then on. This object outlives the thread: its destructor ends it first.
    connect(
        loadThread, &QThread::started, container,
        [this, container, home, generation] {
            const bool read = container->loadCSV();
            const bool canceled = container->getLoadCanceled();
            const QString path = container->getFilepath();
            const QString reason = container->getErrorString();
            container->moveToThread(home);
            if (!read && !canceled) {
                QMetaObject::invokeMethod(
                    this,
                    [this, generation, path, reason] {
                        if (generation == loadGeneration)
                            emit loadFailedSignal(path, reason);
                    },
                    Qt::QueuedConnection);
            }
        },
        Qt::QueuedConnection);
    connect(container, &AbstractDataContainer::startProgressUpdateSignal, this,
            &TableData::startProgressUpdateSignal);
    connect(container, &AbstractDataContainer::loadProgressUpdateSignal, this,
            &TableData::loadProgressUpdateSignal);
    connect(container, &AbstractDataContainer::loadFinishedSignal, this, [this, generation] {
        if (generation == loadGeneration)
            onLoadFinished();
    });
    loading = true;
    loadThread->start(QThread::InheritPriority);
}

void TableData::onLoadFinished() {
    // A direct call has no container as sender; a container that isn't ours is stale.
    const auto* from = qobject_cast<AbstractDataContainer*>(sender());
    if (from && from != dataContainer)
        return;
    if (!dataContainer)
        return;
    loading = false;
    endLoadThread();
    rawRows = dataContainer->numRows();
    rawCols = dataContainer->numCols();
    emit loadFinishedSignal();
    emitTableSizeChanged();
}

void TableData::stopLoadThread(bool cancel) {
    if (cancel && loading && dataContainer)
        dataContainer->setLoadCanceled(true);
    endLoadThread();
    loading = false;
}

void TableData::setDataContainerType(DataContainerType type) {
    if (type == dataContainerType)
        return;
    loadCSV(getFilepath(), true, type, getDelimiterText(), getSaveDelimiterText(), encoding, parsingStandard);
}

bool TableData::saveCSV(bool fromUser, bool visibleOnly) {
    return saveCSV(getFilepath(), fromUser, visibleOnly);
}

bool TableData::saveCSV(const QString& path, bool fromUser, bool visibleOnly) {
    if (!dataContainer || loading)
        return false;
    static const std::vector<int> none;
    const std::vector<int>& rowsToSkip = visibleOnly ? concealedRows : none;
    const std::vector<int>& colsToSkip = visibleOnly ? concealedCols : none;
    emit saveStartedSignal(path);
    int lastPercent = 0;
    dataContainer->setSaveProgress([this, &lastPercent](qint64 done, qint64 total) {
        const int percent = total > 0 ? static_cast<int>(done * 100 / total) : 100;
        if (percent != lastPercent) {
            lastPercent = percent;
            emit saveProgressSignal(percent);
        }
    });
    const auto unhook = qScopeGuard([this] { dataContainer->setSaveProgress({}); });
    const bool saved = path == dataContainer->getFilepath()
                           ? dataContainer->saveCSV(fromUser, transposed, rowsToSkip, colsToSkip)
                           : dataContainer->saveCSV(path, fromUser, transposed, rowsToSkip, colsToSkip);
    emit saveFinishedSignal(path);
    return saved;
}

QString TableData::getSaveErrorString() const {
    return dataContainer ? dataContainer->getErrorString() : QString();
}

void TableData::clear() {
    stopLoadThread(true);
    if (dataContainer)
        dataContainer->clear();
    rawRows = 0;
    rawCols = 0;
    concealedRows.clear();
    concealedCols.clear();
    emitTableSizeChanged();
}

// --- Word delimiters -------------------------------------------------------------------------

void TableData::setWordDelimiters(const QString& chars) {
    wordDelimiters = chars;
    rebuildWordDelimiterLookup();
}

void TableData::rebuildWordDelimiterLookup() {
    wordDelimiterLookup.fill(false);
    for (const QChar c : wordDelimiters) {
        if (c.unicode() < 256)
            wordDelimiterLookup[c.unicode()] = true;
    }
}

bool TableData::isWordDelimiter(QChar c) const {
    if (c.unicode() < 256)
        return wordDelimiterLookup[c.unicode()];
    return wordDelimiters.contains(c);
}
