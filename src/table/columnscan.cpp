#include "table/columnscan.h"

#include "table/tabledata.h"
#include "table/tablemodel.h"
#include "table/tablemodelworker.h"
#include "util/sortutilities.h"
#include "util/statisticsutilities.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <map>

namespace ColumnScan {

namespace {

// Progress and cancel every so many cells: often enough for a prompt Cancel, rarely enough to
// cost nothing.
constexpr qint64 kCellsPerReport = 4096;

struct Progress {
    TableModelWorker* worker;
    qint64 total;
    qint64 done = 0;

    bool step() {
        ++done;
        return !worker || done % kCellsPerReport != 0 || worker->reportProgress(done, total);
    }
};

CellSource columnSource(const TableModel& model, int col, const QString& title) {
    const int start = std::max(0, model.getNumVisibleHeaderRows());
    CellSource source;
    source.title = title;
    source.cells.block = true;
    source.cells.top = start;
    source.cells.left = col;
    source.cells.width = 1;
    source.cells.height = std::max(0, model.rowCountModel() - start);
    return source;
}

} // namespace

QString statisticTypeLabel(StatisticType type) {
    static const char* const labels[kStatisticTypeCount] = {"Number Of Data Points",
                                                            "Sum",
                                                            "Mean",
                                                            "Variance",
                                                            "Standard Deviation",
                                                            "Median",
                                                            "Min",
                                                            "Max",
                                                            "20th Percentile",
                                                            "40th Percentile",
                                                            "60th Percentile",
                                                            "80th Percentile"};
    return QString::fromLatin1(labels[int(type)]);
}

QString analysisTypeLabel(AnalysisType type) {
    static const char* const labels[kAnalysisTypeCount] = {"Number of Fields",
                                                           "Number of Non-Empty Fields",
                                                           "Number of Empty Fields",
                                                           "Percent Non-Empty Fields",
                                                           "Minimum Field Length",
                                                           "Maximum Field Length",
                                                           "Data Type"};
    return QString::fromLatin1(labels[int(type)]);
}

std::vector<StatisticRecord> computeStatistics(std::vector<double>& values) {
    std::vector<StatisticRecord> records(kStatisticTypeCount);
    for (int i = 0; i < kStatisticTypeCount; ++i) {
        records[std::size_t(i)].type = StatisticType(i);
        records[std::size_t(i)].label = statisticTypeLabel(StatisticType(i));
    }
    StatisticRecord& count = records[0];
    count.isInteger = true;
    if (values.empty())
        return records;
    const auto set = [&records](StatisticType type, double value) {
        StatisticRecord& r = records[std::size_t(type)];
        r.doubleValue = value;
        r.noData = false;
    };
    count.intValue = int(values.size());
    count.noData = false;
    const double sum = Utilities::computeSum(values);
    const double mean = sum / double(values.size());
    const double variance = Utilities::computeVariance(values, mean);
    set(StatisticType::Sum, sum);
    set(StatisticType::Mean, mean);
    set(StatisticType::Variance, variance);
    set(StatisticType::StandardDeviation, std::sqrt(variance));
    std::sort(values.begin(), values.end());
    set(StatisticType::Median, Utilities::computePercentile(values, 50));
    set(StatisticType::Min, Utilities::computePercentile(values, 0));
    set(StatisticType::Max, Utilities::computePercentile(values, 100));
    set(StatisticType::Percentile20, Utilities::computePercentile(values, 20));
    set(StatisticType::Percentile40, Utilities::computePercentile(values, 40));
    set(StatisticType::Percentile60, Utilities::computePercentile(values, 60));
    set(StatisticType::Percentile80, Utilities::computePercentile(values, 80));
    return records;
}

std::vector<CellSource> columnSources(const TableModel& model, const std::vector<int>& cols) {
    std::vector<int> inData;
    for (const int col : cols) {
        if (col >= 0 && col < model.columnCountModel())
            inData.push_back(col);
    }
    std::vector<QString> titles;
    model.getColumnLabels(titles, inData);
    std::vector<CellSource> out;
    out.reserve(inData.size());
    for (std::size_t i = 0; i < inData.size(); ++i)
        out.push_back(columnSource(model, inData[i], titles[i]));
    return out;
}

std::vector<CellSource> allColumnSources(const TableModel& model) {
    std::vector<int> cols(std::size_t(std::max(0, model.columnCountModel())));
    for (std::size_t i = 0; i < cols.size(); ++i)
        cols[i] = int(i);
    return columnSources(model, cols);
}

std::vector<CellSource> selectedColumnSources(const TableModel& model) {
    std::vector<int> cols;
    model.getOrderedSetOfSelectedCols(cols);
    return columnSources(model, cols);
}

std::vector<CellSource> selectedCellsSource(const TableModel& model) {
    CellSource source;
    source.title = QStringLiteral("Selection");
    source.cells = CellTransform::selectionWalk(model);
    if (!source.cells.block) {
        // The selection may reach past the data into the buffer rows and columns.
        auto& list = source.cells.list;
        const int rows = model.rowCountModel();
        const int cols = model.columnCountModel();
        list.erase(std::remove_if(list.begin(), list.end(),
                                  [rows, cols](const std::pair<int, int>& c) {
                                      return c.first < 0 || c.second < 0 || c.first >= rows ||
                                             c.second >= cols;
                                  }),
                   list.end());
    }
    return {std::move(source)};
}

std::vector<CellSource> selectedCellsByColumnSources(const TableModel& model) {
    const CellSource all = selectedCellsSource(model).front();
    const CellTransform::CellWalk& walk = all.cells;
    std::vector<int> cols;
    std::vector<CellTransform::CellWalk> walks;
    if (walk.block) {
        for (int c = 0; c < walk.width; ++c) {
            CellTransform::CellWalk column;
            column.block = true;
            column.top = walk.top;
            column.left = walk.left + c;
            column.height = walk.height;
            column.width = 1;
            cols.push_back(column.left);
            walks.push_back(std::move(column));
        }
    } else {
        std::map<int, std::vector<std::pair<int, int>>> byCol;
        for (const auto& cell : walk.list)
            byCol[cell.second].push_back(cell);
        for (auto& [col, cells] : byCol) {
            std::sort(cells.begin(), cells.end());
            CellTransform::CellWalk column;
            column.list = std::move(cells);
            cols.push_back(col);
            walks.push_back(std::move(column));
        }
    }
    std::vector<QString> titles;
    model.getColumnLabels(titles, cols);
    std::vector<CellSource> out(walks.size());
    for (std::size_t i = 0; i < walks.size(); ++i) {
        out[i].title = titles[i];
        out[i].cells = std::move(walks[i]);
    }
    return out;
}

qint64 cellCount(const std::vector<CellSource>& sources) {
    qint64 n = 0;
    for (const CellSource& s : sources)
        n += qint64(s.cells.size());
    return n;
}

bool computeStatistics(const TableData& data, const std::vector<CellSource>& sources,
                       std::vector<ColumnStatistics>& out, TableModelWorker* worker) {
    out.clear();
    out.reserve(sources.size());
    Progress progress{worker, cellCount(sources)};
    for (const CellSource& source : sources) {
        std::vector<double> values;
        const std::size_t n = source.cells.size();
        for (std::size_t i = 0; i < n; ++i) {
            if (!progress.step())
                return false;
            const auto [row, col] = source.cells.at(i);
            const QString text = data.getValueModel(row, col).toString();
            if (text.isEmpty())
                continue;
            const double value = Utilities::convertStringToDouble(text.toUtf8().constData(), true);
            if (!std::isnan(value))
                values.push_back(value);
        }
        ColumnStatistics column;
        column.title = source.title;
        column.empty = values.empty();
        column.records = computeStatistics(values);
        out.push_back(std::move(column));
    }
    return true;
}

bool computeColumnAnalysis(const TableData& data, const std::vector<CellSource>& sources,
                           std::vector<ColumnAnalysis>& out, TableModelWorker* worker) {
    out.clear();
    out.reserve(sources.size());
    Progress progress{worker, cellCount(sources)};
    for (const CellSource& source : sources) {
        ColumnAnalysis column;
        column.title = source.title;
        const std::size_t n = source.cells.size();
        column.fields = int(n);
        column.noRows = n == 0;
        int minLength = INT_MAX;
        for (std::size_t i = 0; i < n; ++i) {
            if (!progress.step())
                return false;
            const auto [row, col] = source.cells.at(i);
            const QString text = data.getValueModel(row, col).toString();
            if (text.isEmpty())
                continue;
            ++column.nonEmpty;
            // Characters as a reader counts them: a surrogate pair is one.
            int length = int(text.size());
            for (const QChar c : text)
                length -= int(c.isLowSurrogate());
            minLength = std::min(minLength, length);
            column.maxLength = std::max(column.maxLength, length);
            if (column.dataType != 7)
                Utilities::setDataType(column.dataType, text);
        }
        column.minLength = column.nonEmpty > 0 ? minLength : 0;
        out.push_back(std::move(column));
    }
    return true;
}

} // namespace ColumnScan
