#include "storage/readonlydatacontainer.h"

#include <algorithm>

int ReadOnlyDataContainer::fileRowOf(int row) const {
    if (rowsReordered && row >= 0 && row < static_cast<int>(rowOrder.size()))
        return rowOrder[static_cast<std::size_t>(row)];
    return row;
}

int ReadOnlyDataContainer::fileColOf(int col) const {
    if (colsReordered && col >= 0 && col < static_cast<int>(colOrder.size()))
        return colOrder[static_cast<std::size_t>(col)];
    return col;
}

bool ReadOnlyDataContainer::readLineInPieces(
    bool column, int fileIndex, int pieceSize,
    const std::function<bool(int, std::vector<std::vector<char>>&)>& sink) const {
    const int count = column ? numRowsIndexed : numColsIndexed;
    pieceSize = std::max(1, pieceSize);
    std::vector<CellPosition> wanted;
    std::vector<std::vector<char>> cells;
    for (int first = 0; first < count; first += pieceSize) {
        const int last = std::min(count, first + pieceSize);
        wanted.resize(static_cast<std::size_t>(last - first));
        for (int i = first; i < last; ++i)
            wanted[static_cast<std::size_t>(i - first)] =
                column ? CellPosition{i, fileIndex} : CellPosition{fileIndex, i};
        // The positions go in file order, so the strips are read front to back, each once.
        getValues(wanted, cells);
        if (!sink(first, cells))
            return false;
    }
    return true;
}
