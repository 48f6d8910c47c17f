#pragma once

#include "table/celltransform.h"

#include <QString>

#include <vector>

class TableData;
class TableModel;
class TableModelWorker;

// The statistics and the column analysis of a table, worked out from the table's cells alone so
// that they run on the model's worker and in tests without a window.

enum class StatisticType {
    NumberOfDataPoints = 0,
    Sum = 1,
    Mean = 2,
    Variance = 3,
    StandardDeviation = 4,
    Median = 5,
    Min = 6,
    Max = 7,
    Percentile20 = 8,
    Percentile40 = 9,
    Percentile60 = 10,
    Percentile80 = 11,
};
constexpr int kStatisticTypeCount = 12;

enum class AnalysisType {
    NumberOfFields = 0,
    NumberOfNonEmptyFields = 1,
    NumberOfEmptyFields = 2,
    PercentNonEmptyFields = 3,
    MinimumFieldLength = 4,
    MaximumFieldLength = 5,
    DataType = 6,
};
constexpr int kAnalysisTypeCount = 7;

// One row of the statistics of one column.
struct StatisticRecord {
    StatisticType type = StatisticType::NumberOfDataPoints;
    int intValue = 0;
    double doubleValue = 0.0;
    bool isInteger = false;
    bool noData = true;
    QString label;
};

struct ColumnStatistics {
    QString title;
    std::vector<StatisticRecord> records; // one per StatisticType, in order
    bool empty = true;                    // no data point
};

struct ColumnAnalysis {
    QString title;
    bool noRows = true; // nothing below the header rows
    int fields = 0;
    int nonEmpty = 0;
    int minLength = 0;
    int maxLength = 0;
    int dataType = 0; // Utilities::DataTypeFlag mask

    int empty() const { return fields - nonEmpty; }
    double percentNonEmpty() const { return fields > 0 ? nonEmpty * 100.0 / fields : 0.0; }
};

// The cells of one result column, in model order.
struct CellSource {
    QString title;
    CellTransform::CellWalk cells;
};

namespace ColumnScan {

QString statisticTypeLabel(StatisticType type);
QString analysisTypeLabel(AnalysisType type);

// The statistics of `values`, which come back sorted ascending.
std::vector<StatisticRecord> computeStatistics(std::vector<double>& values);

// Each model column from below the header rows to the end of the data, titled by its label.
std::vector<CellSource> columnSources(const TableModel& model, const std::vector<int>& cols);
std::vector<CellSource> allColumnSources(const TableModel& model);
std::vector<CellSource> selectedColumnSources(const TableModel& model);
// All selected cells within the data as one column, "Selection", header rows included.
std::vector<CellSource> selectedCellsSource(const TableModel& model);
// The selected cells within the data, one result column per table column.
std::vector<CellSource> selectedCellsByColumnSources(const TableModel& model);

qint64 cellCount(const std::vector<CellSource>& sources);

// Read and compute; false when `worker` was canceled.
bool computeStatistics(const TableData& data, const std::vector<CellSource>& sources,
                       std::vector<ColumnStatistics>& out, TableModelWorker* worker);
bool computeColumnAnalysis(const TableData& data, const std::vector<CellSource>& sources,
                           std::vector<ColumnAnalysis>& out, TableModelWorker* worker);

} // namespace ColumnScan
