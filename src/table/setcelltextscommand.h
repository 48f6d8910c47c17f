#pragma once

#include "table/tableundocommand.h"

#include <QByteArray>
#include <QStringView>

#include <string_view>

#include <utility>
#include <vector>

// Texts of many cells as UTF-8 in one byte string: a million cells would cost several times
// their text as one value object each. While every text is the same (a cleared or filled block),
// only the text and the count are kept.
class CellTexts {
public:
    void reserve(std::size_t count, qsizetype bytesHint);
    void append(QStringView text);
    QString at(std::size_t i) const;
    // Text i as its UTF-8 bytes, good while this lives unchanged.
    std::string_view view(std::size_t i) const;
    std::size_t size() const { return repeated ? repeats : wide ? wideEnds.size() : ends.size(); }
    void squeeze();
    qint64 memoryBytes() const;

    // Tests reach the wide ends with small texts: past `bytes` bytes, ends take 64 bits.
    static void setNarrowLimitForTesting(quint64 bytes);

private:
    void spellOut();
    void widen();
    std::size_t begin(std::size_t i) const;
    std::size_t end(std::size_t i) const { return wide ? std::size_t(wideEnds[i]) : ends[i]; }

    QByteArray bytes;
    std::vector<quint32> ends;     // while the bytes stay within 32-bit offsets
    std::vector<quint64> wideEnds; // past that
    bool wide = false;
    // Every text so far is `first`, `repeats` times, its bytes alone in `bytes`.
    bool repeated = true;
    std::size_t repeats = 0;
    QString first;
    std::size_t countHint = 0;
    qsizetype bytesHint = 0;
};

// Writes new texts into cells, keeping the old and the new ones as CellTexts. The cells are a
// block (row by row) or a list of positions, in model indexes (or raw ones, see atRawPositions).
class SetCellTextsCommand : public TableUndoCommand {
public:
    // A block of `width` columns from (top, left), row by row.
    SetCellTextsCommand(TableModel* model, int top, int left, int width, CellTexts oldTexts,
                        CellTexts newTexts);
    // Cells at `positions`.
    SetCellTextsCommand(TableModel* model, std::vector<std::pair<int, int>> positions, CellTexts oldTexts,
                        CellTexts newTexts);
    SetCellTextsCommand(TableModel* model, int top, int left, int width, const std::vector<QString>& oldTexts,
                        const std::vector<QString>& newTexts);
    SetCellTextsCommand(TableModel* model, std::vector<std::pair<int, int>> positions,
                        const std::vector<QString>& oldTexts, const std::vector<QString>& newTexts);
    // Cells at `positions` in raw indexes, hidden ones included.
    static SetCellTextsCommand* atRawPositions(TableModel* model, std::vector<std::pair<int, int>> positions,
                                               CellTexts oldTexts, CellTexts newTexts);

    void undo() override;
    void redo() override;

    // What the step keeps, in bytes.
    qint64 memoryBytes() const;

private:
    void finishBlock();
    void finishPositions();
    void write(bool old);
    std::pair<int, int> positionOf(std::size_t i) const;

    int top = 0;
    int left = 0;
    int width = 0;
    std::vector<std::pair<int, int>> positions; // empty for a block
    bool rawPositions = false;
    std::size_t count = 0;
    CellTexts oldTexts;
    CellTexts newTexts;
    std::vector<int> rowsInvolved;
    std::vector<int> colsInvolved;
};
