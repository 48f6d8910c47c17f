#pragma once

#include "table/celltransform.h"
#include "table/filterdata.h"

#include <QString>
#include <QStringList>

#include <vector>

class TableData;
class TableModelWorker;

// The distinct texts of one column with how often each occurs, worked out from the table's
// cells alone so that the count runs on the model's worker and in tests without a window.

struct UniqueValue {
    QString value;
    int count = 0;
    double percent = 0.0; // count * 100 / the cells counted
    int rank = 0;         // place in the natural order of the values, for stable re-sorts
};

namespace UniqueValues {

enum SortColumn {
    ValueColumn = 0,
    CountColumn = 1,
    PercentColumn = 2,
    HistogramColumn = 3,
};

// Counts the texts of `cells`, compared exactly (case included), and returns them in the
// natural order of the sort commands. With `excludeEmpty` empty cells neither get a row nor
// count towards the percentages. False when `worker` was canceled.
bool countValues(const TableData& data, const CellTransform::CellWalk& cells, bool excludeEmpty,
                 std::vector<UniqueValue>& out, TableModelWorker* worker);

// The highest count of the list, 0 for an empty one.
int highestCount(const std::vector<UniqueValue>& values);

// Orders the list by one of its columns: values in natural order, counts and percents by
// size; equal keys keep the natural order of their values.
void sortValues(std::vector<UniqueValue>& values, SortColumn column, bool ascending);

// The filter text that keeps the rows holding one of `values` (with `keep`) or drops them
// (without): the values written in the filter language, each matched whole and literally.
QString filterString(const QStringList& values, bool keep);

// That text as a compiled filter on raw column `rawCol`, as a typed filter would be.
FilterData makeFilter(int rawCol, const QStringList& values, bool keep);

} // namespace UniqueValues
