#pragma once

#include <QString>

#include <vector>

// The arithmetic of the statistics and the data-type mask of the column analysis. Pure
// functions, no widgets.
namespace Utilities {

// The flags of a column's data-type mask.
enum DataTypeFlag : int {
    DataTypeNumeric = 1,
    DataTypeDate = 2,
    DataTypeString = 4,
};

double computeSum(const std::vector<double>& values);
// The population variance: squared deviations from `mean` over the count; 0 for no values.
double computeVariance(const std::vector<double>& values, double mean);
// The `percentile` (0 to 100) of ascending `values`, interpolating linearly between neighbours;
// 0 for no values.
double computePercentile(const std::vector<double>& values, double percentile);

// ORs into `mask` the one flag that a non-empty cell text stands for: a number by the
// locale-free reading, a date or date and time, else a string.
void setDataType(int& mask, const QString& text);
// "Numeric", "Date", "String" as the mask holds them, joined by ", "; "-" for none.
QString convertDataTypeToString(int mask);

} // namespace Utilities
