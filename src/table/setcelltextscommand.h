#pragma once

#include "table/tableundocommand.h"

#include <QByteArray>

#include <utility>
#include <vector>

// Writes new texts into cells, keeping the old and the new ones as UTF-8 in two byte strings:
// the transformations may change a million cells in one step, and a value object per cell
// would keep several times the text they change. The cells are a block (row by row) or a list
// of positions, in model indexes.
class SetCellTextsCommand : public TableUndoCommand {
public:
    // A block of `width` columns from (top, left), row by row.
    SetCellTextsCommand(TableModel* model, int top, int left, int width, const std::vector<QString>& oldTexts,
                        const std::vector<QString>& newTexts);
    // Cells at `positions`.
    SetCellTextsCommand(TableModel* model, std::vector<std::pair<int, int>> positions,
                        const std::vector<QString>& oldTexts, const std::vector<QString>& newTexts);

    void undo() override;
    void redo() override;

    // What the step keeps, in bytes.
    qint64 memoryBytes() const;

private:
    void store(const std::vector<QString>& oldTexts, const std::vector<QString>& newTexts);
    void write(bool old);
    std::pair<int, int> positionOf(std::size_t i) const;

    int top = 0;
    int left = 0;
    int width = 0;
    std::vector<std::pair<int, int>> positions; // empty for a block
    std::size_t count = 0;
    QByteArray oldBytes;
    QByteArray newBytes;
    std::vector<quint32> oldEnds;
    std::vector<quint32> newEnds;
    std::vector<int> rowsInvolved;
    std::vector<int> colsInvolved;
};
