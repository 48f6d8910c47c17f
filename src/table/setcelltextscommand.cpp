#include "table/setcelltextscommand.h"

#include "table/tablemodel.h"

#include <algorithm>

namespace {

CellTexts textsOf(const std::vector<QString>& texts, std::size_t count) {
    CellTexts out;
    qsizetype total = 0;
    for (std::size_t i = 0; i < count; ++i)
        total += texts[i].size();
    out.reserve(count, total);
    for (std::size_t i = 0; i < count; ++i)
        out.append(texts[i]);
    return out;
}

} // namespace

namespace {
quint64 s_narrowLimit = 0xFFFFFFFFu;
} // namespace

void CellTexts::setNarrowLimitForTesting(quint64 limit) {
    s_narrowLimit = limit == 0 ? 0xFFFFFFFFu : limit;
}

void CellTexts::reserve(std::size_t count, qsizetype hint) {
    // Taken up once the texts differ: a block of equal texts needs neither.
    countHint = count;
    bytesHint = hint;
}

void CellTexts::spellOut() {
    repeated = false;
    const std::size_t n = repeats;
    const QByteArray one = bytes;
    bytes.clear();
    bytes.reserve(std::max(bytesHint, qsizetype(n) * one.size()));
    ends.reserve(std::max(countHint, n));
    for (std::size_t i = 0; i < n; ++i) {
        if (quint64(bytes.size()) + quint64(one.size()) > s_narrowLimit && !wide)
            widen();
        bytes += one;
        if (wide)
            wideEnds.push_back(quint64(bytes.size()));
        else
            ends.push_back(quint32(bytes.size()));
    }
    first.clear();
}

void CellTexts::widen() {
    wide = true;
    wideEnds.reserve(std::max(countHint, ends.size() + 1));
    wideEnds.assign(ends.begin(), ends.end());
    std::vector<quint32>().swap(ends);
}

void CellTexts::append(QStringView text) {
    if (repeated) {
        if (repeats == 0) {
            first = text.toString();
            bytes = first.toUtf8();
            repeats = 1;
            return;
        }
        if (text == first) {
            ++repeats;
            return;
        }
        spellOut();
    }
    // ASCII, the usual case, byte for byte; anything else through the codec.
    const qsizetype from = bytes.size();
    if (!wide && quint64(from) + quint64(text.size()) * 3 > s_narrowLimit)
        widen();
    if (bytes.capacity() < from + text.size())
        bytes.reserve(std::max(2 * bytes.capacity(), from + text.size() + 64));
    bytes.resize(from + text.size());
    char* out = bytes.data() + from;
    bool ascii = true;
    for (const QChar c : text) {
        if (c.unicode() >= 0x80) {
            ascii = false;
            break;
        }
        *out++ = char(c.unicode());
    }
    if (!ascii) {
        bytes.truncate(from);
        bytes += text.toUtf8();
    }
    if (wide)
        wideEnds.push_back(quint64(bytes.size()));
    else
        ends.push_back(quint32(bytes.size()));
}

std::size_t CellTexts::begin(std::size_t i) const {
    return i == 0 ? 0 : end(i - 1);
}

QString CellTexts::at(std::size_t i) const {
    if (repeated)
        return first;
    const std::size_t from = begin(i);
    return QString::fromUtf8(bytes.constData() + from, qsizetype(end(i) - from));
}

std::string_view CellTexts::view(std::size_t i) const {
    if (repeated)
        return {bytes.constData(), std::size_t(bytes.size())};
    const std::size_t from = begin(i);
    return {bytes.constData() + from, end(i) - from};
}

void CellTexts::squeeze() {
    bytes.squeeze();
    ends.shrink_to_fit();
    wideEnds.shrink_to_fit();
}

qint64 CellTexts::memoryBytes() const {
    return qint64(bytes.capacity()) + qint64(ends.capacity() * sizeof(quint32)) +
           qint64(wideEnds.capacity() * sizeof(quint64)) + qint64(first.capacity()) * 2;
}

SetCellTextsCommand::SetCellTextsCommand(TableModel* m, int blockTop, int blockLeft, int blockWidth,
                                         CellTexts olds, CellTexts news)
    : TableUndoCommand(m, true), top(blockTop), left(blockLeft), width(std::max(1, blockWidth)),
      oldTexts(std::move(olds)), newTexts(std::move(news)) {
    finishBlock();
}

SetCellTextsCommand::SetCellTextsCommand(TableModel* m, std::vector<std::pair<int, int>> cells,
                                         CellTexts olds, CellTexts news)
    : TableUndoCommand(m, true), positions(std::move(cells)), oldTexts(std::move(olds)),
      newTexts(std::move(news)) {
    finishPositions();
}

SetCellTextsCommand::SetCellTextsCommand(TableModel* m, int blockTop, int blockLeft, int blockWidth,
                                         const std::vector<QString>& olds, const std::vector<QString>& news)
    : SetCellTextsCommand(m, blockTop, blockLeft, blockWidth,
                          textsOf(olds, std::min(olds.size(), news.size())),
                          textsOf(news, std::min(olds.size(), news.size()))) {}

SetCellTextsCommand::SetCellTextsCommand(TableModel* m, std::vector<std::pair<int, int>> cells,
                                         const std::vector<QString>& olds, const std::vector<QString>& news)
    : SetCellTextsCommand(m, std::move(cells), textsOf(olds, std::min(olds.size(), news.size())),
                          textsOf(news, std::min(olds.size(), news.size()))) {}

SetCellTextsCommand* SetCellTextsCommand::atRawPositions(TableModel* m,
                                                         std::vector<std::pair<int, int>> cells,
                                                         CellTexts olds, CellTexts news) {
    auto* command = new SetCellTextsCommand(m, std::vector<std::pair<int, int>>(), CellTexts(), CellTexts());
    command->positions = std::move(cells);
    command->oldTexts = std::move(olds);
    command->newTexts = std::move(news);
    command->rawPositions = true;
    command->rowsInvolved.clear();
    command->colsInvolved.clear();
    command->finishPositions();
    return command;
}

void SetCellTextsCommand::finishBlock() {
    setText(QStringLiteral("SetCellTextsCommand"));
    count = std::min(oldTexts.size(), newTexts.size());
    isValid = count > 0;
    oldTexts.squeeze();
    newTexts.squeeze();
    const int height = int((count + std::size_t(width) - 1) / std::size_t(width));
    for (int r = 0; r < height; ++r)
        rowsInvolved.push_back(top + r);
    for (int c = 0; c < width; ++c)
        colsInvolved.push_back(left + c);
}

void SetCellTextsCommand::finishPositions() {
    setText(QStringLiteral("SetCellTextsCommand"));
    count = std::min({oldTexts.size(), newTexts.size(), positions.size()});
    isValid = count > 0;
    oldTexts.squeeze();
    newTexts.squeeze();
    // Fitted to their contents afterwards: the model lines of the cells that show.
    const TableData& data = model->getTableData();
    for (const auto& [row, col] : positions) {
        const int shownRow = rawPositions ? data.getModelFromRawRow(row) : row;
        const int shownCol = rawPositions ? data.getModelFromRawCol(col) : col;
        if (shownRow >= 0)
            rowsInvolved.push_back(shownRow);
        if (shownCol >= 0)
            colsInvolved.push_back(shownCol);
    }
    for (auto* list : {&rowsInvolved, &colsInvolved}) {
        std::sort(list->begin(), list->end());
        list->erase(std::unique(list->begin(), list->end()), list->end());
    }
}

std::pair<int, int> SetCellTextsCommand::positionOf(std::size_t i) const {
    if (!positions.empty())
        return positions[i];
    return {top + int(i / std::size_t(width)), left + int(i % std::size_t(width))};
}

void SetCellTextsCommand::write(bool old) {
    const CellTexts& texts = old ? oldTexts : newTexts;
    if (positions.empty()) {
        // A block goes in row by row as the bytes it keeps: no text object per cell, and each
        // row of the container rebuilt once.
        const std::size_t columns = std::size_t(width);
        const int rows = int((count + columns - 1) / columns);
        model->populateModelUtf8(top, left, rows, width, [&](int r, std::vector<std::string_view>& out) {
            const std::size_t from = std::size_t(r) * columns;
            for (std::size_t i = from; i < std::min(count, from + columns); ++i)
                out.push_back(texts.view(i));
        });
        return;
    }
    const auto at = [this](std::size_t i) { return positionOf(i); };
    const auto text = [&texts](std::size_t i) { return texts.at(i); };
    model->writeCellTexts(count, at, text, rawPositions);
}

void SetCellTextsCommand::redo() {
    const RawSize before = rawSize();
    rememberFieldsAsRead(rowsInvolved, colsInvolved);
    write(false);
    recordAdded(before);
    TableUndoCommand::redo();
    finishDataChange(false, before, rowsInvolved, colsInvolved);
}

void SetCellTextsCommand::undo() {
    const RawSize before = rawSize();
    write(true);
    removeAdded();
    restoreFieldsAsRead();
    TableUndoCommand::undo();
    finishDataChange(true, before, rowsInvolved, colsInvolved);
}

qint64 SetCellTextsCommand::memoryBytes() const {
    return oldTexts.memoryBytes() + newTexts.memoryBytes() +
           qint64(positions.capacity() * sizeof(std::pair<int, int>)) +
           qint64((rowsInvolved.capacity() + colsInvolved.capacity()) * sizeof(int));
}
