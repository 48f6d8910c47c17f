#include "table/pivottabledata.h"

#include "table/tabledata.h"
#include "table/tablemodel.h"
#include "table/tablemodelworker.h"
#include "util/numberutilities.h"
#include "util/sortutilities.h"
#include "util/statisticsutilities.h"

#include <QHash>
#include <QHashFunctions>
#include <QSet>
#include <QStringList>

#include <algorithm>
#include <cmath>
#include <unordered_map>

namespace Pivot {

namespace {

// Progress of `done` of `total` steps of the part of the bar from `from` to `to` (fractions of the
// whole); false once canceled. Reading the rows takes most of the bar, the groups' measures and
// the ordering of the header values the rest.
bool stepProgress(TableModelWorker* worker, double from, double to, qint64 done, qint64 total) {
    if (!worker)
        return true;
    const double fraction = from + (to - from) * (total > 0 ? double(done) / double(total) : 1.0);
    return worker->reportProgress(qint64(fraction * 1000.0), 1000);
}

struct KeyHash {
    std::size_t operator()(const Key& key) const noexcept {
        return std::size_t(qHashRange(key.begin(), key.end()));
    }
};

// What one group gathers while the rows are read.
struct Gathered {
    int count = 0;
    std::vector<std::vector<double>> values; // per data column, in row order
};

// A text read once for the table's sort order (Utilities::qStringCompare), so that ordering many
// distinct header values compares what was read instead of reading both texts per comparison.
struct SortText {
    QString text;
    bool zeroLed = false; // plain text order
    bool noUnderscore = true;
    double number = 0.0; // NaN when the text is no number
    int spaces = 0;
    QString stripped;
    bool startsWithNumber = false;
    QList<QString> parts;
    std::vector<qlonglong> values; // of the numeric parts
};

SortText readSortText(const QString& text) {
    SortText t;
    t.text = text;
    while (t.spaces < text.size() && text.at(t.spaces) == u' ')
        ++t.spaces;
    t.zeroLed = t.spaces < text.size() && text.at(t.spaces) == u'0' &&
                !(t.spaces + 1 < text.size() && text.at(t.spaces + 1) == u'.');
    t.noUnderscore = !text.contains(u'_');
    t.number =
        text.isEmpty() ? std::nan("") : Utilities::convertStringToDouble(text.toUtf8().constData(), false);
    t.stripped = text.mid(t.spaces);
    Utilities::splitStringByNumberBoundaries(t.parts, t.startsWithNumber, t.stripped);
    t.values.resize(std::size_t(t.parts.size()));
    for (qsizetype i = 0; i < t.parts.size(); ++i) {
        if (t.startsWithNumber == (i % 2 == 0))
            t.values[std::size_t(i)] = t.parts.at(i).toLongLong(nullptr, 10);
    }
    return t;
}

// Utilities::qStringCompare(a, b, false) over texts read before.
bool sortTextLess(const SortText& a, const SortText& b) {
    if (a.text == b.text || a.text.isEmpty())
        return false;
    if (b.text.isEmpty())
        return true;
    if (a.zeroLed || b.zeroLed)
        return a.text < b.text;
    if (a.noUnderscore && b.noUnderscore && !std::isnan(a.number) && !std::isnan(b.number))
        return a.number < b.number;
    if (a.spaces != b.spaces)
        return a.spaces < b.spaces;
    if (a.stripped.isEmpty())
        return false;
    if (b.stripped.isEmpty())
        return true;
    if (a.startsWithNumber != b.startsWithNumber)
        return a.stripped < b.stripped;
    const qsizetype n = std::min(a.parts.size(), b.parts.size());
    for (qsizetype i = 0; i < n; ++i) {
        if (a.startsWithNumber == (i % 2 == 0)) {
            if (a.values[std::size_t(i)] != b.values[std::size_t(i)])
                return a.values[std::size_t(i)] < b.values[std::size_t(i)];
        } else if (a.parts.at(i) != b.parts.at(i)) {
            return a.parts.at(i) < b.parts.at(i);
        }
    }
    return a.parts.size() < b.parts.size();
}

// The rank of each distinct text in the table's sort order, plain text order among texts that
// order holds equal ("1" and "1.0"), so that distinct texts keep distinct ranks.
QHash<QString, int> rankTexts(const std::vector<QString>& distinct) {
    std::vector<SortText> read;
    read.reserve(distinct.size());
    for (const QString& text : distinct)
        read.push_back(readSortText(text));
    std::vector<int> order(distinct.size());
    for (std::size_t i = 0; i < order.size(); ++i)
        order[i] = int(i);
    // A stable sort: the order is not strict everywhere (numbers beside texts), and a stable
    // sort stays within its range whatever the comparison says.
    std::stable_sort(order.begin(), order.end(), [&read](int x, int y) {
        const SortText& a = read[std::size_t(x)];
        const SortText& b = read[std::size_t(y)];
        if (sortTextLess(a, b))
            return true;
        if (sortTextLess(b, a))
            return false;
        return a.text < b.text;
    });
    QHash<QString, int> ranks;
    ranks.reserve(qsizetype(distinct.size()));
    for (std::size_t i = 0; i < order.size(); ++i)
        ranks.insert(distinct[std::size_t(order[i])], int(i));
    return ranks;
}

} // namespace

std::vector<PivotTableDataType> Configuration::tickedMeasures() const {
    std::vector<PivotTableDataType> out;
    for (int i = 0; i < kPivotTableDataTypeCount; ++i) {
        if (measures[std::size_t(i)])
            out.push_back(PivotTableDataType(i));
    }
    return out;
}

bool Configuration::canShowTables() const {
    return (!leftCols.empty() || !topCols.empty()) && !dataCols.empty() && !tickedMeasures().empty();
}

PivotTableDisplayType Configuration::displayType() const {
    if (!leftCols.empty() && !topCols.empty())
        return PivotTableDisplayType::LeftAndTop;
    const bool one = tickedMeasures().size() == 1;
    if (!leftCols.empty())
        return one ? PivotTableDisplayType::LeftOneMeasure : PivotTableDisplayType::LeftMeasures;
    return one ? PivotTableDisplayType::TopOneMeasure : PivotTableDisplayType::TopMeasures;
}

QString dataTypeLabel(PivotTableDataType type) {
    static const char* const labels[kPivotTableDataTypeCount] = {"Sum",   "Mean",     "Median",
                                                                 "Count", "Variance", "Std Dev"};
    return QString::fromLatin1(labels[int(type)]);
}

StatParams computeStatParams(const std::vector<double>& values, int count) {
    StatParams p;
    p.count = count;
    if (values.empty())
        return p;
    p.sum = Utilities::computeSum(values);
    p.mean = p.sum / double(count);
    p.variance = Utilities::computeVariance(values, p.mean);
    p.stdDev = std::sqrt(p.variance);
    p.median = Utilities::computePercentile(values, 50);
    return p;
}

bool groupRows(int rows, int keyCount, int dataCount,
               const std::function<void(int, std::vector<QString>&)>& row, Result& out,
               TableModelWorker* worker) {
    out = Result();
    std::unordered_map<Key, Gathered, KeyHash> gathered;
    gathered.max_load_factor(1.0f);
    std::vector<QString> texts;
    Key key;
    for (int r = 0; r < rows; ++r) {
        if (!stepProgress(worker, 0.0, 0.6, r, rows))
            return false;
        texts.clear();
        row(r, texts);
        texts.resize(std::size_t(keyCount + dataCount));
        key.assign(texts.begin(), texts.begin() + keyCount);
        auto [it, inserted] = gathered.try_emplace(key);
        Gathered& group = it->second;
        if (inserted)
            group.values.resize(std::size_t(dataCount));
        ++group.count;
        // An empty or non-numeric cell counts as NaN on purpose: the group's sum then says that
        // not every row of it held a number.
        for (int d = 0; d < dataCount; ++d) {
            const QByteArray utf8 = texts[std::size_t(keyCount + d)].toUtf8();
            group.values[std::size_t(d)].push_back(Utilities::convertStringToDouble(utf8.constData(), true));
        }
    }
    qint64 done = 0;
    const qint64 groups = qint64(gathered.size());
    for (auto& [k, group] : gathered) {
        if (!stepProgress(worker, 0.6, 0.8, done++, groups))
            return false;
        std::vector<StatParams> stats;
        stats.reserve(group.values.size());
        for (const std::vector<double>& values : group.values)
            stats.push_back(computeStatParams(values, group.count));
        out.groups.emplace(k, std::move(stats));
    }
    return !worker || !worker->isCanceled();
}

bool computePivotTableData(const TableModel& model, const Configuration& config, Result& out,
                           TableModelWorker* worker) {
    const TableData& data = model.getTableData();
    const int width = data.numModelCols();
    std::vector<int> cols;
    for (const auto* list : {&config.leftCols, &config.topCols, &config.dataCols})
        cols.insert(cols.end(), list->begin(), list->end());
    const int start = std::max(0, model.getNumVisibleHeaderRows());
    const int rows = std::max(0, data.numModelRows() - start);
    const int keyCount = int(config.leftCols.size() + config.topCols.size());
    const bool grouped = groupRows(
        rows, keyCount, int(config.dataCols.size()),
        [&](int r, std::vector<QString>& texts) {
            for (const int c : cols)
                texts.push_back(c >= 0 && c < width ? data.getValueModel(start + r, c).toString()
                                                    : QString());
        },
        out, worker);
    if (!grouped)
        return false;

    const std::size_t leftCount = config.leftCols.size();
    for (const auto& [key, stats] : out.groups) {
        out.leftKeys.emplace_back(key.begin(), key.begin() + std::ptrdiff_t(leftCount));
        out.topKeys.emplace_back(key.begin() + std::ptrdiff_t(leftCount), key.end());
    }
    return sortKeys(out.leftKeys, worker, 0.8, 0.9) && sortKeys(out.topKeys, worker, 0.9, 1.0) &&
           (!worker || !worker->isCanceled());
}

bool sortKeys(std::vector<Key>& keys, TableModelWorker* worker, double from, double to) {
    std::sort(keys.begin(), keys.end());
    keys.erase(std::unique(keys.begin(), keys.end()), keys.end());
    if (keys.empty())
        return true;
    // Each level's texts are ranked once; the keys then sort by their ranks.
    const std::size_t levels = keys.front().size();
    std::vector<std::vector<int>> ranked(keys.size(), std::vector<int>(levels));
    for (std::size_t level = 0; level < levels; ++level) {
        QSet<QString> seen;
        std::vector<QString> distinct;
        for (const Key& key : keys) {
            if (level < key.size() && !seen.contains(key[level])) {
                seen.insert(key[level]);
                distinct.push_back(key[level]);
            }
        }
        if (!stepProgress(worker, from, to, qint64(level), qint64(levels) + 1))
            return false;
        const QHash<QString, int> ranks = rankTexts(distinct);
        for (std::size_t i = 0; i < keys.size(); ++i)
            ranked[i][level] = level < keys[i].size() ? ranks.value(keys[i][level]) : -1;
    }
    std::vector<std::size_t> order(keys.size());
    for (std::size_t i = 0; i < order.size(); ++i)
        order[i] = i;
    std::sort(order.begin(), order.end(),
              [&ranked](std::size_t a, std::size_t b) { return ranked[a] < ranked[b]; });
    std::vector<Key> sorted;
    sorted.reserve(keys.size());
    for (const std::size_t i : order)
        sorted.push_back(std::move(keys[i]));
    keys = std::move(sorted);
    return stepProgress(worker, from, to, 1, 1);
}

std::vector<int> runLengths(const std::vector<Key>& keys, int level) {
    std::vector<int> out(keys.size(), 0);
    const auto samePrefix = [level](const Key& a, const Key& b) {
        for (int i = 0; i <= level; ++i) {
            if (std::size_t(i) >= a.size() || std::size_t(i) >= b.size() ||
                a[std::size_t(i)] != b[std::size_t(i)])
                return false;
        }
        return true;
    };
    std::size_t i = 0;
    while (i < keys.size()) {
        std::size_t j = i + 1;
        while (j < keys.size() && samePrefix(keys[i], keys[j]))
            ++j;
        out[i] = int(j - i);
        i = j;
    }
    return out;
}

namespace {

std::vector<QString> lineHeader(const Line& line, const std::vector<QString>& dataTitles) {
    if (line.dataIndex >= 0)
        return {std::size_t(line.dataIndex) < dataTitles.size() ? dataTitles[std::size_t(line.dataIndex)]
                                                                : QString()};
    if (line.measure >= 0)
        return {dataTypeLabel(PivotTableDataType(line.measure))};
    return line.key;
}

std::vector<Line> keyLines(const std::vector<Key>& keys) {
    std::vector<Line> out(keys.size());
    for (std::size_t i = 0; i < keys.size(); ++i)
        out[i].key = keys[i];
    return out;
}

std::vector<Line> dataLines(const Configuration& config) {
    std::vector<Line> out(config.dataCols.size());
    for (std::size_t i = 0; i < out.size(); ++i)
        out[i].dataIndex = int(i);
    return out;
}

std::vector<Line> measureLines(const Configuration& config) {
    std::vector<Line> out;
    for (const PivotTableDataType m : config.tickedMeasures()) {
        Line line;
        line.measure = int(m);
        out.push_back(line);
    }
    return out;
}

} // namespace

std::vector<QString> Grid::rowHeader(int row) const {
    if (row < 0 || std::size_t(row) >= rows.size())
        return {};
    return lineHeader(rows[std::size_t(row)], dataTitles);
}

std::vector<QString> Grid::colHeader(int col) const {
    if (col < 0 || std::size_t(col) >= cols.size())
        return {};
    return lineHeader(cols[std::size_t(col)], dataTitles);
}

namespace {

int levelsOf(const std::vector<Line>& lines, const std::vector<QString>& titles, bool keys) {
    if (!keys)
        return 1;
    const std::size_t fromLines = lines.empty() ? 0 : lines.front().key.size();
    return std::max(1, int(std::max(fromLines, titles.size())));
}

} // namespace

int Grid::rowLevels() const {
    return levelsOf(rows, rowTitles, rowsAreKeys);
}

int Grid::colLevels() const {
    return levelsOf(cols, colTitles, colsAreKeys);
}

std::vector<std::vector<QString>> Grid::cornerCells() const {
    const std::size_t across = std::size_t(rowLevels());
    const std::size_t down = std::size_t(colLevels());
    std::vector<std::vector<QString>> out(down, std::vector<QString>(across));
    for (std::size_t i = 0; i < across && i < rowTitles.size(); ++i)
        out[down - 1][i] = rowTitles[i];
    for (std::size_t i = 0; i < down && i < colTitles.size(); ++i) {
        QString& cell = out[i][across - 1];
        cell = i + 1 == down && !cell.isEmpty() ? QStringLiteral("%1\\%2").arg(cell, colTitles[i])
                                                : colTitles[i];
    }
    return out;
}

QString getHeaderTitles(const Configuration& config, int dataIndex, int measure) {
    const QString data = dataIndex >= 0 && std::size_t(dataIndex) < config.dataTitles.size()
                             ? config.dataTitles[std::size_t(dataIndex)]
                             : QString();
    const QString name = measure >= 0 ? dataTypeLabel(PivotTableDataType(measure)) : QString();
    if (dataIndex >= 0 && measure >= 0)
        return QStringLiteral("%1 - %2").arg(data, name);
    return dataIndex >= 0 ? data : name;
}

std::vector<Grid> makeGrids(const Configuration& config, const Result& result) {
    std::vector<Grid> out;
    if (!config.canShowTables())
        return out;
    const std::vector<PivotTableDataType> measures = config.tickedMeasures();
    const int first = int(measures.front());
    const auto grid = [&](int dataIndex, int measure) {
        Grid g;
        g.dataIndex = dataIndex;
        g.measure = measure;
        g.title = getHeaderTitles(config, dataIndex, measure);
        g.dataTitles = config.dataTitles;
        return g;
    };
    switch (config.displayType()) {
    case PivotTableDisplayType::LeftOneMeasure: {
        Grid g = grid(-1, first);
        g.rows = keyLines(result.leftKeys);
        g.rowsAreKeys = true;
        g.rowTitles = config.leftTitles;
        g.cols = dataLines(config);
        out.push_back(std::move(g));
        break;
    }
    case PivotTableDisplayType::LeftMeasures:
        for (std::size_t d = 0; d < config.dataCols.size(); ++d) {
            Grid g = grid(int(d), -1);
            g.rows = keyLines(result.leftKeys);
            g.rowsAreKeys = true;
            g.rowTitles = config.leftTitles;
            g.cols = measureLines(config);
            out.push_back(std::move(g));
        }
        break;
    case PivotTableDisplayType::TopOneMeasure: {
        Grid g = grid(-1, first);
        g.rows = dataLines(config);
        g.cols = keyLines(result.topKeys);
        g.colsAreKeys = true;
        g.colTitles = config.topTitles;
        out.push_back(std::move(g));
        break;
    }
    case PivotTableDisplayType::TopMeasures:
        for (std::size_t d = 0; d < config.dataCols.size(); ++d) {
            Grid g = grid(int(d), -1);
            g.rows = measureLines(config);
            g.cols = keyLines(result.topKeys);
            g.colsAreKeys = true;
            g.colTitles = config.topTitles;
            out.push_back(std::move(g));
        }
        break;
    case PivotTableDisplayType::LeftAndTop:
        for (std::size_t d = 0; d < config.dataCols.size(); ++d) {
            for (const PivotTableDataType m : measures) {
                Grid g = grid(int(d), int(m));
                g.rows = keyLines(result.leftKeys);
                g.rowsAreKeys = true;
                g.rowTitles = config.leftTitles;
                g.cols = keyLines(result.topKeys);
                g.colsAreKeys = true;
                g.colTitles = config.topTitles;
                out.push_back(std::move(g));
            }
        }
        break;
    }
    return out;
}

bool cellValue(const Grid& grid, const Result& result, int row, int col, double& value, bool& isCount) {
    if (row < 0 || col < 0 || std::size_t(row) >= grid.rows.size() || std::size_t(col) >= grid.cols.size())
        return false;
    const Line& r = grid.rows[std::size_t(row)];
    const Line& c = grid.cols[std::size_t(col)];
    Key key = r.key;
    key.insert(key.end(), c.key.begin(), c.key.end());
    const int dataIndex = r.dataIndex >= 0 ? r.dataIndex : c.dataIndex >= 0 ? c.dataIndex : grid.dataIndex;
    const int measure = r.measure >= 0 ? r.measure : c.measure >= 0 ? c.measure : grid.measure;
    const auto found = result.groups.find(key);
    if (found == result.groups.end() || dataIndex < 0 || std::size_t(dataIndex) >= found->second.size())
        return false;
    const StatParams& p = found->second[std::size_t(dataIndex)];
    isCount = false;
    switch (PivotTableDataType(measure)) {
    case PivotTableDataType::Sum:
        value = p.sum;
        return true;
    case PivotTableDataType::Mean:
        value = p.mean;
        return true;
    case PivotTableDataType::Median:
        value = p.median;
        return true;
    case PivotTableDataType::Count:
        value = p.count;
        isCount = true;
        return true;
    case PivotTableDataType::Variance:
        value = p.variance;
        return true;
    case PivotTableDataType::StdDev:
        value = p.stdDev;
        return true;
    }
    return false;
}

QString cellText(const Grid& grid, const Result& result, int row, int col, bool groups) {
    double value = 0.0;
    bool isCount = false;
    if (!cellValue(grid, result, row, col, value, isCount))
        return {};
    return isCount ? Utilities::convertNumberToString(int(value), groups)
                   : Utilities::convertNumberToString(value, groups);
}

} // namespace Pivot

namespace Pivot {

bool isNumberColumn(const TableModel& model, int col, int sample) {
    const TableData& data = model.getTableData();
    if (col < 0 || col >= data.numModelCols())
        return false;
    const int rows = data.numModelRows();
    int seen = 0;
    for (int r = std::max(0, model.getNumVisibleHeaderRows()); r < rows && seen < sample; ++r) {
        const QString text = data.getValueModel(r, col).toString();
        if (text.isEmpty())
            continue;
        ++seen;
        if (std::isnan(Utilities::convertStringToDouble(text.toUtf8().constData(), true)))
            return false;
    }
    return seen > 0;
}

} // namespace Pivot
