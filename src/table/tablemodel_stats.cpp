// TableModel: the sum and mean of the selected cells for the status bar.

#include "table/tablemodel.h"

#include "util/numberutilities.h"
#include "util/sortutilities.h"

#include <QElapsedTimer>

#include <cmath>

void TableModel::beginSelectionStats(SelectionStats& stats) const {
    stats = SelectionStats();
    getOrderedSetOfSelectedRows(stats.rows);
    getOrderedSetOfSelectedCols(stats.cols);
    if (stats.cols.empty())
        stats.rows.clear();
    // One block, the usual selection, needs no test per cell.
    stats.wholeBlock = selection.size() == 1 && selection.front().type == RangeType::Table &&
                       selection.front().excludedRows.empty() && selection.front().excludedCols.empty() &&
                       selection.front().excludedCells.empty();
}

bool TableModel::continueSelectionStats(SelectionStats& stats, int budgetMs) const {
    QElapsedTimer clock;
    clock.start();
    const int numRows = tableData.numModelRows();
    const int numCols = tableData.numModelCols();
    QByteArray utf8;
    int sinceCheck = 0;
    while (!stats.done()) {
        const int row = stats.rows[stats.nextRow];
        const int col = stats.cols[stats.nextCol];
        // Lines that went since the reading began hold nothing.
        if (row < numRows && col < numCols && (stats.wholeBlock || cellInSelection(row, col))) {
            utf8 = tableData.getValueModel(row, col).toString().toUtf8();
            const double value = Utilities::convertStringToDouble(utf8.constData(), true);
            if (!std::isnan(value)) {
                stats.sum += value;
                ++stats.count;
            }
        }
        if (++stats.nextCol >= stats.cols.size()) {
            stats.nextCol = 0;
            ++stats.nextRow;
        }
        if (++sinceCheck >= 256) {
            sinceCheck = 0;
            if (budgetMs >= 0 && clock.elapsed() >= budgetMs)
                break;
        }
    }
    return stats.done();
}

QString TableModel::selectionStatsText(const SelectionStats& stats) {
    if (stats.count == 0)
        return QStringLiteral("Sum: -      Mean: -");
    return QStringLiteral("Sum: %1      Mean: %2")
        .arg(Utilities::convertNumberToString(stats.sum, true),
             Utilities::convertNumberToString(stats.sum / double(stats.count), true));
}

QString TableModel::getSelectionSumMeanStr() const {
    SelectionStats stats;
    beginSelectionStats(stats);
    continueSelectionStats(stats, -1);
    return selectionStatsText(stats);
}
