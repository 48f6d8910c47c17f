#pragma once

#include <QString>

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <vector>

class TableData;
class TableModel;
class TableModelWorker;

// The pivot table's grouping and measures, worked out from the table's cells alone so that they
// run on the model's worker and in tests without a window.

enum class PivotTableDataType {
    Sum = 0,
    Mean = 1,
    Median = 2,
    Count = 3,
    Variance = 4,
    StdDev = 5,
};
constexpr int kPivotTableDataTypeCount = 6;

// Which grids a configuration gives, from the number of ticked measures and the header lists
// that are filled.
enum class PivotTableDisplayType {
    LeftOneMeasure = 0, // one grid for all data columns
    LeftMeasures = 1,   // one grid per data column
    TopOneMeasure = 2,  // one grid for all data columns
    TopMeasures = 3,    // one grid per data column
    LeftAndTop = 4,     // one grid per data column and measure
};

struct StatParams {
    double sum = 0.0;
    double mean = 0.0;
    double median = 0.0;
    std::int32_t count = 0;
    double variance = 0.0;
    double stdDev = 0.0;
};

namespace Pivot {

struct Configuration {
    std::vector<int> leftCols; // model columns
    std::vector<int> topCols;
    std::vector<int> dataCols;
    std::vector<QString> leftTitles;
    std::vector<QString> topTitles;
    std::vector<QString> dataTitles;
    std::array<bool, kPivotTableDataTypeCount> measures{}; // by PivotTableDataType

    std::vector<PivotTableDataType> tickedMeasures() const;
    // Grids to show: a header list, the data list and a measure are filled.
    bool canShowTables() const;
    PivotTableDisplayType displayType() const;
    bool operator==(const Configuration& other) const = default;
};

// The left column texts followed by the top column texts.
using Key = std::vector<QString>;
// One StatParams per data column for each key; compared element by element, case-sensitive.
using GroupTable = std::map<Key, std::vector<StatParams>>;

struct Result {
    GroupTable groups;
    // The distinct left (top) parts of the keys, in the table's sort order.
    std::vector<Key> leftKeys;
    std::vector<Key> topKeys;
};

QString dataTypeLabel(PivotTableDataType type);

// The measures of one group's values in row order. The values are not sorted first: the median
// is taken from them as they came, so that a group's figures read like the column they came from.
StatParams computeStatParams(const std::vector<double>& values, int count);

// Groups rows of texts: `row(r, texts)` gives the key texts (left then top) followed by the data
// texts of row r. False when `worker` was canceled.
bool groupRows(int rows, int keyCount, int dataCount,
               const std::function<void(int, std::vector<QString>&)>& row, Result& out,
               TableModelWorker* worker);

// Reads the model rows below the header rows (the rows the table shows) of the configured columns
// and groups them. False when `worker` was canceled.
bool computePivotTableData(const TableModel& model, const Configuration& config, Result& out,
                           TableModelWorker* worker);

// Keys in the table's sort order, element by element; equal keys once. With `worker`, progress
// goes to the part of the bar from `from` to `to`; false when canceled.
bool sortKeys(std::vector<Key>& keys, TableModelWorker* worker = nullptr, double from = 0.0, double to = 1.0);

// Runs of equal values in the first `level + 1` elements of sorted keys: the length of the run
// that starts at each index, 0 inside a run.
std::vector<int> runLengths(const std::vector<Key>& keys, int level);

// One line (row or column) of a grid: a key part, or a data column, or a measure.
struct Line {
    Key key;
    int dataIndex = -1;
    int measure = -1;
};

// One grid of the display: its lines and what its cells show.
struct Grid {
    QString title;
    std::vector<Line> rows;
    std::vector<Line> cols;
    int dataIndex = -1; // when neither rows nor cols vary the data column
    int measure = -1;   // when neither rows nor cols vary the measure
    // The titles of the row (column) header levels.
    std::vector<QString> rowTitles;
    std::vector<QString> colTitles;
    std::vector<QString> dataTitles;
    bool rowsAreKeys = false;
    bool colsAreKeys = false;

    // The header texts of a line at each level.
    std::vector<QString> rowHeader(int row) const;
    std::vector<QString> colHeader(int col) const;
    // Header levels across the rows (down the columns); 1 for data columns or measures.
    int rowLevels() const;
    int colLevels() const;
    // The corner over the row header and beside the column header, colLevels() rows of
    // rowLevels() texts: the row titles over their levels in the last row, the column titles
    // beside theirs in the last column, and "%1\%2" of both where they meet.
    std::vector<std::vector<QString>> cornerCells() const;
};

// "%1 - %2" from data column and measure, or the one that applies.
QString getHeaderTitles(const Configuration& config, int dataIndex, int measure);
std::vector<Grid> makeGrids(const Configuration& config, const Result& result);

// The value of a cell, or none (false) when its key holds no rows.
bool cellValue(const Grid& grid, const Result& result, int row, int col, double& value, bool& isCount);
QString cellText(const Grid& grid, const Result& result, int row, int col, bool groups);

} // namespace Pivot

namespace Pivot {

// Whether the column's cells below the header rows hold numbers: every non-empty one of the
// first `sample` of them reads as one, and there is one.
bool isNumberColumn(const TableModel& model, int col, int sample = 1000);

} // namespace Pivot
