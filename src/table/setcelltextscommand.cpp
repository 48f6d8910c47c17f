#include "table/setcelltextscommand.h"

#include "table/tablemodel.h"

#include <algorithm>

namespace {

// Cells written per call of populateModel: its temporary values stay small.
constexpr std::size_t kChunk = 65536;

void append(QByteArray& bytes, std::vector<quint32>& ends, const QString& text) {
    bytes += text.toUtf8();
    ends.push_back(quint32(bytes.size()));
}

QString textAt(const QByteArray& bytes, const std::vector<quint32>& ends, std::size_t i) {
    const quint32 from = i == 0 ? 0 : ends[i - 1];
    return QString::fromUtf8(bytes.constData() + from, qsizetype(ends[i] - from));
}

} // namespace

SetCellTextsCommand::SetCellTextsCommand(TableModel* m, int blockTop, int blockLeft, int blockWidth,
                                         const std::vector<QString>& oldTexts,
                                         const std::vector<QString>& newTexts)
    : TableUndoCommand(m, true), top(blockTop), left(blockLeft), width(std::max(1, blockWidth)) {
    setText(QStringLiteral("SetCellTextsCommand"));
    store(oldTexts, newTexts);
    const int height = int((count + std::size_t(width) - 1) / std::size_t(width));
    for (int r = 0; r < height; ++r)
        rowsInvolved.push_back(top + r);
    for (int c = 0; c < width; ++c)
        colsInvolved.push_back(left + c);
}

SetCellTextsCommand::SetCellTextsCommand(TableModel* m, std::vector<std::pair<int, int>> cells,
                                         const std::vector<QString>& oldTexts,
                                         const std::vector<QString>& newTexts)
    : TableUndoCommand(m, true), positions(std::move(cells)) {
    setText(QStringLiteral("SetCellTextsCommand"));
    store(oldTexts, newTexts);
    for (const auto& [row, col] : positions) {
        rowsInvolved.push_back(row);
        colsInvolved.push_back(col);
    }
    for (auto* list : {&rowsInvolved, &colsInvolved}) {
        std::sort(list->begin(), list->end());
        list->erase(std::unique(list->begin(), list->end()), list->end());
    }
}

void SetCellTextsCommand::store(const std::vector<QString>& oldTexts, const std::vector<QString>& newTexts) {
    count = std::min(oldTexts.size(), newTexts.size());
    isValid = count > 0;
    oldEnds.reserve(count);
    newEnds.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
        append(oldBytes, oldEnds, oldTexts[i]);
        append(newBytes, newEnds, newTexts[i]);
    }
    oldBytes.squeeze();
    newBytes.squeeze();
}

std::pair<int, int> SetCellTextsCommand::positionOf(std::size_t i) const {
    if (!positions.empty())
        return positions[i];
    return {top + int(i / std::size_t(width)), left + int(i % std::size_t(width))};
}

void SetCellTextsCommand::write(bool old) {
    const QByteArray& bytes = old ? oldBytes : newBytes;
    const std::vector<quint32>& ends = old ? oldEnds : newEnds;
    if (positions.empty()) {
        // Whole rows of the block per call.
        const std::size_t rowsPerChunk = std::max<std::size_t>(1, kChunk / std::size_t(width));
        for (std::size_t first = 0; first < count; first += rowsPerChunk * std::size_t(width)) {
            const std::size_t last = std::min(count, first + rowsPerChunk * std::size_t(width));
            Range block(RangeType::Table, RangeIndexType::Model);
            block.row = positionOf(first).first;
            block.col = left;
            block.endRow = positionOf(last - 1).first;
            block.endCol = left + width - 1;
            for (std::size_t i = first; i < last; ++i) {
                if ((i - first) % std::size_t(width) == 0)
                    block.tableValues.emplace_back().reserve(std::size_t(width));
                block.tableValues.back().emplace_back(textAt(bytes, ends, i));
            }
            model->populateModel(block, false, Range(RangeType::Invalid), false);
        }
        return;
    }
    for (std::size_t first = 0; first < count; first += kChunk) {
        const std::size_t last = std::min(count, first + kChunk);
        RangeVector cells;
        cells.reserve(last - first);
        for (std::size_t i = first; i < last; ++i) {
            Range cell(positions[i].first, positions[i].second, RangeIndexType::Model);
            cell.value = textAt(bytes, ends, i);
            cells.push_back(std::move(cell));
        }
        model->populateModel(cells, false, Range(RangeType::Invalid), false);
    }
}

void SetCellTextsCommand::redo() {
    const RawSize before = rawSize();
    write(false);
    recordAdded(before);
    TableUndoCommand::redo();
    finishDataChange(false, before, rowsInvolved, colsInvolved);
}

void SetCellTextsCommand::undo() {
    const RawSize before = rawSize();
    write(true);
    removeAdded();
    TableUndoCommand::undo();
    finishDataChange(true, before, rowsInvolved, colsInvolved);
}

qint64 SetCellTextsCommand::memoryBytes() const {
    return qint64(oldBytes.capacity() + newBytes.capacity()) +
           qint64((oldEnds.capacity() + newEnds.capacity()) * sizeof(quint32)) +
           qint64(positions.capacity() * sizeof(std::pair<int, int>)) +
           qint64((rowsInvolved.capacity() + colsInvolved.capacity()) * sizeof(int));
}
