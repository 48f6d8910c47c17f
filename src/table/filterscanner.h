#pragma once

#include "table/filterdata.h"
#include "table/regexprefilter.h"

#include <QString>

#include <string_view>

class AbstractDataContainer;
class TableData;
class TableModel;

// Runs one filter over the cells of its line, one cell at a time. A cell held in memory whose
// bytes are plain ASCII, in an encoding that agrees with ASCII, is read in place and widened
// into one text reused for every cell instead of a fresh decoded text each; a regular
// expression first asks its prefilter, on the bytes, and most cells never reach the pattern.
class FilterScanner {
public:
    FilterScanner(const TableModel& model, const FilterData& filter);

    // Whether the filter passes the cell at raw index `raw` across its line: the row for a
    // filter on a column, the column for a filter on a row.
    bool matchesAt(int raw);

private:
    bool matchesText(const QString& text) const;

    const TableModel& model;
    const TableData& data;
    const FilterData& filter;
    const AbstractDataContainer* container = nullptr;
    RegexPrefilter prefilter;
    QRegularExpression regex;
    bool onCol = true;
    int line = 0;
    bool inPlaceReads = false;
    bool transposed = false;
    bool regexValid = false;
    int physicalRows = 0;
    int physicalCols = 0;
    QString buffer;
};
