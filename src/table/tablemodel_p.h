#pragma once

#include "table/rangevector.h"

#include <QColor>

class TableData;
struct TableModelCellLookup;

// Small pieces shared by the files of TableModel.
namespace TableModelDetail {

// Whether a model cell lies in `range`, with its exclusion lists honoured.
bool rangeHoldsCell(const Range& range, int row, int col);
void fillLookup(TableModelCellLookup& lookup, const RangeVector& ranges);
bool lookupHolds(const TableModelCellLookup& lookup, int row, int col);
// (1 - alpha) * base + alpha * line per channel, truncated; invalid if a channel leaves 0..255.
QColor blendColors(const QColor& base, const QColor& line, float alpha);
// Whether a model row (`row` true) or model column holds no value in its visible cells.
bool isLineEmpty(const TableData& data, bool row, int modelIndex);

} // namespace TableModelDetail
