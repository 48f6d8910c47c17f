// The pivot table's groups and measures against a plain count of the same rows, and the grids
// that a configuration lays them out in.

#include "table/pivottabledata.h"

#include "table/tablemodelworker.h"
#include "tablemodelfixture.h"
#include "util/sortutilities.h"

#include <QLocale>
#include <QMutex>
#include <QRandomGenerator>
#include <QTest>
#include <QThread>

#include <cmath>
#include <set>

namespace {

// What a group should hold, worked out the long way.
struct Expected {
    int count = 0;
    std::vector<std::vector<double>> values; // per data column, in row order
};

double plainSum(const std::vector<double>& v) {
    double s = 0;
    for (const double x : v)
        s += x;
    return s;
}

// The middle of the values as they came (not sorted), as the pivot table takes it.
double unsortedMedian(const std::vector<double>& v) {
    const std::size_t n = v.size();
    if (n == 1 || n % 2 == 1)
        return v[(n - 1) / 2];
    const double a = v[n / 2 - 1];
    const double b = v[n / 2];
    return a == b ? a : a + 0.5 * (b - a);
}

bool same(double a, double b) {
    if (std::isnan(a) || std::isnan(b))
        return std::isnan(a) && std::isnan(b);
    return std::fabs(a - b) <= 1e-9 * std::max(1.0, std::fabs(a));
}

Pivot::Result compute(const TableModel& model, const Pivot::Configuration& config,
                      TableModelWorker* worker = nullptr) {
    Pivot::Result result;
    if (!Pivot::computePivotTableData(model, config, result, worker))
        return {};
    return result;
}

} // namespace

class TestPivotTableData : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() {
        // The number reader keeps the marks of the locale of its first call.
        QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));
    }

    // Random small tables with header rows and hidden rows, grouped by random column choices:
    // every group, count and measure as a plain count of the shown rows gives them.
    void groupsAgainstPlainCount() {
        QRandomGenerator random(20261125);
        const QStringList keyTexts{"a", "A", "b", "", "10", "9", "x y"};
        const QStringList dataTexts{"1", "2.5", "-3", "1,000", "$4", "", "n/a", "7", "0.25"};
        for (int round = 0; round < 60; ++round) {
            const int cols = 2 + random.bounded(4);
            const int rows = 1 + random.bounded(40);
            const int headerRows = random.bounded(3);
            QStringList lines;
            std::vector<QStringList> cells;
            for (int r = 0; r < rows; ++r) {
                QStringList row;
                for (int c = 0; c < cols; ++c) {
                    const QStringList& pool = c % 2 == 0 ? keyTexts : dataTexts;
                    row << pool[random.bounded(int(pool.size()))];
                }
                cells.push_back(row);
                QStringList quoted;
                for (const QString& t : row)
                    quoted << (t.contains(QLatin1Char(',')) ? QStringLiteral("\"%1\"").arg(t) : t);
                lines << quoted.join(QLatin1Char(','));
            }
            auto model = Fixture::load(lines);
            model->setNumberOfHeaderRows(headerRows);
            // Hidden rows below the headers: they stay out of every group.
            std::set<int> hidden;
            for (int r = headerRows; r < rows; ++r) {
                if (random.bounded(5) == 0)
                    hidden.insert(r);
            }
            model->getTableData().concealModelRows(std::vector<int>(hidden.begin(), hidden.end()));

            Pivot::Configuration config;
            std::vector<int> order(static_cast<std::size_t>(cols));
            for (int c = 0; c < cols; ++c)
                order[std::size_t(c)] = c;
            std::shuffle(order.begin(), order.end(), random);
            const int leftCount = random.bounded(3);
            const int topCount = random.bounded(2);
            std::size_t next = 0;
            for (int i = 0; i < leftCount && next < order.size(); ++i)
                config.leftCols.push_back(order[next++]);
            for (int i = 0; i < topCount && next < order.size(); ++i)
                config.topCols.push_back(order[next++]);
            // A data column may also be a key column.
            config.dataCols.push_back(next < order.size() ? order[next] : order[0]);
            config.dataCols.push_back(random.bounded(cols));
            config.measures[0] = true;

            std::map<Pivot::Key, Expected> expected;
            for (int r = 0; r < rows; ++r) {
                if (hidden.count(r))
                    continue;
                // The first header rows of the shown rows are the headers.
                if (r < headerRows)
                    continue;
                Pivot::Key key;
                for (const int c : config.leftCols)
                    key.push_back(cells[std::size_t(r)][c]);
                for (const int c : config.topCols)
                    key.push_back(cells[std::size_t(r)][c]);
                Expected& e = expected[key];
                e.values.resize(config.dataCols.size());
                ++e.count;
                for (std::size_t d = 0; d < config.dataCols.size(); ++d) {
                    const QString t = cells[std::size_t(r)][config.dataCols[d]];
                    bool ok = false;
                    double v = QString(t).remove(QLatin1Char(',')).remove(QLatin1Char('$')).toDouble(&ok);
                    e.values[d].push_back(ok ? v : std::nan(""));
                }
            }

            const Pivot::Result result = compute(*model, config);
            QCOMPARE(result.groups.size(), expected.size());
            auto e = expected.begin();
            for (const auto& [key, stats] : result.groups) {
                QCOMPARE(key, e->first);
                QCOMPARE(stats.size(), config.dataCols.size());
                for (std::size_t d = 0; d < stats.size(); ++d) {
                    const std::vector<double>& v = e->second.values[d];
                    const double sum = plainSum(v);
                    const double mean = sum / double(v.size());
                    double squares = 0;
                    for (const double x : v)
                        squares += (x - mean) * (x - mean);
                    const QString where = QStringLiteral("round %1 key %2 data %3")
                                              .arg(round)
                                              .arg(QStringList(key.begin(), key.end()).join(QLatin1Char('|')))
                                              .arg(d);
                    QVERIFY2(stats[d].count == e->second.count, qPrintable(where));
                    QVERIFY2(same(stats[d].sum, sum), qPrintable(where));
                    QVERIFY2(same(stats[d].mean, mean), qPrintable(where));
                    QVERIFY2(same(stats[d].variance, squares / double(v.size())), qPrintable(where));
                    QVERIFY2(same(stats[d].stdDev, std::sqrt(squares / double(v.size()))), qPrintable(where));
                    QVERIFY2(same(stats[d].median, unsortedMedian(v)), qPrintable(where));
                }
                ++e;
            }
            // The header keys: each distinct left (top) part once.
            std::set<Pivot::Key> lefts;
            std::set<Pivot::Key> tops;
            for (const auto& [key, stats] : expected) {
                lefts.insert(Pivot::Key(key.begin(), key.begin() + std::ptrdiff_t(config.leftCols.size())));
                tops.insert(Pivot::Key(key.begin() + std::ptrdiff_t(config.leftCols.size()), key.end()));
            }
            QCOMPARE(result.leftKeys.size(), lefts.size());
            QCOMPARE(result.topKeys.size(), tops.size());
            QCOMPARE(std::set<Pivot::Key>(result.leftKeys.begin(), result.leftKeys.end()), lefts);
        }
    }

    // The rules a reader of the figures meets: case makes two groups, the median of the rows as
    // they come, an empty data cell spoils the sums but is counted, headers in natural order.
    void groupRules() {
        auto model = Fixture::load({"name,qty,price", "a,3,1", "A,1,2", "a,1,", "a,2,4", "10,5,5", "9,6,6"});
        Pivot::Configuration config;
        config.leftCols = {0};
        config.dataCols = {1, 2};
        const Pivot::Result result = compute(*model, config);
        QCOMPARE(result.groups.size(), std::size_t(4));
        // The group table orders by plain text: upper case before lower.
        QCOMPARE(std::prev(result.groups.end())->first, Pivot::Key{"a"});
        const std::vector<StatParams>& a = result.groups.at({"a"});
        QCOMPARE(a[0].median, 1.0); // 3, 1, 2 in row order: the one in the middle
        QCOMPARE(a[0].sum, 6.0);
        QCOMPARE(a[0].count, 3);
        QVERIFY(std::isnan(a[1].sum) && std::isnan(a[1].mean) && std::isnan(a[1].variance) &&
                std::isnan(a[1].stdDev));
        QCOMPARE(a[1].count, 3);
        QCOMPARE(result.groups.at({"A"})[0].sum, 1.0);
        // Header keys in the table's sort order: numbers by value.
        QCOMPARE(result.leftKeys, (std::vector<Pivot::Key>{{"9"}, {"10"}, {"A"}, {"a"}}));
    }

    // Header values in the table's sort order, as its own comparison has it, for every pair of
    // texts that order has rules for (numbers, leading zeros, runs of digits, spaces, underscores,
    // empties); texts it holds equal go in plain text order. Then over two levels.
    void headerOrder() {
        const QStringList pool{"10",   "9",  "1.0", "1",        "-3",       "1e3",  "0.5", "007",
                               "07",   "a2", "a10", "A",        "a",        " b",   "b",   "x_1",
                               "x_10", "",   "$5",  "2 apples", "apples 2", "Zebra"};
        for (const QString& a : pool) {
            for (const QString& b : pool) {
                if (a == b)
                    continue;
                std::vector<Pivot::Key> keys{{b}, {a}};
                Pivot::sortKeys(keys);
                const bool aFirst = Utilities::qStringCompare(a, b, false) ||
                                    (!Utilities::qStringCompare(b, a, false) && a < b);
                QVERIFY2(keys.front().front() == (aFirst ? a : b), qPrintable(a + QStringLiteral(" / ") + b));
            }
        }
        std::vector<Pivot::Key> keys{{"b", "10"}, {"a", "9"}, {"b", "9"}, {"a", "10"}, {"b", "9"}};
        Pivot::sortKeys(keys);
        QCOMPARE(keys, (std::vector<Pivot::Key>{{"a", "9"}, {"a", "10"}, {"b", "9"}, {"b", "10"}}));
    }

    // Spans of the header: runs of equal outer values.
    void runLengths() {
        const std::vector<Pivot::Key> keys{{"a", "1"}, {"a", "2"}, {"b", "1"}, {"c", "1"}, {"c", "1"}};
        QCOMPARE(Pivot::runLengths(keys, 0), (std::vector<int>{2, 0, 1, 2, 0}));
        QCOMPARE(Pivot::runLengths(keys, 1), (std::vector<int>{1, 1, 1, 2, 0}));
        QCOMPARE(Pivot::runLengths({}, 0), std::vector<int>{});
    }

    // Which grids each display type gives, their titles, and what a cell reads.
    void grids_data() {
        QTest::addColumn<std::vector<int>>("left");
        QTest::addColumn<std::vector<int>>("top");
        QTest::addColumn<QList<int>>("measures");
        // Per grid: "title|rows x cols|cell(0,0)|cell(last,last)".
        QTest::addColumn<QStringList>("grids");
        QTest::newRow("left, one measure")
            << std::vector<int>{0} << std::vector<int>{} << QList<int>{0} << QStringList{"Sum|2x2|3|70"};
        QTest::newRow("left, two measures") << std::vector<int>{0} << std::vector<int>{} << QList<int>{0, 3}
                                            << QStringList{"qty|2x2|3|2", "price|2x2|30|2"};
        QTest::newRow("top, one measure")
            << std::vector<int>{} << std::vector<int>{0} << QList<int>{1} << QStringList{"Mean|2x2|1.5|35"};
        QTest::newRow("top, two measures") << std::vector<int>{} << std::vector<int>{0} << QList<int>{1, 3}
                                           << QStringList{"qty|2x2|1.5|2", "price|2x2|15|2"};
        QTest::newRow("left and top") << std::vector<int>{0} << std::vector<int>{1} << QList<int>{0, 3}
                                      << QStringList{"qty - Sum|2x4|1|4", "qty - Count|2x4|1|1",
                                                     "price - Sum|2x4|10|40", "price - Count|2x4|1|1"};
    }
    void grids() {
        QFETCH(std::vector<int>, left);
        QFETCH(std::vector<int>, top);
        QFETCH(QList<int>, measures);
        QFETCH(QStringList, grids);
        // A grid per data column is titled by it alone, one per measure by both.
        auto model = Fixture::load({"shop,qty,price", "n,1,10", "n,2,20", "s,3,30", "s,4,40"});
        Pivot::Configuration config;
        config.leftCols = left;
        config.topCols = top;
        config.dataCols = {1, 2};
        config.dataTitles = {"qty", "price"};
        for (const int m : measures)
            config.measures[std::size_t(m)] = true;
        const Pivot::Result result = compute(*model, config);
        const std::vector<Pivot::Grid> made = Pivot::makeGrids(config, result);
        QStringList shown;
        for (const Pivot::Grid& g : made) {
            const int r = int(g.rows.size()) - 1;
            const int c = int(g.cols.size()) - 1;
            shown << QStringLiteral("%1|%2x%3|%4|%5")
                         .arg(g.title)
                         .arg(g.rows.size())
                         .arg(g.cols.size())
                         .arg(Pivot::cellText(g, result, 0, 0, false),
                              Pivot::cellText(g, result, r, c, false));
        }
        QCOMPARE(shown, grids);
    }

    // Left and top: a key no row has leaves its cell empty; the grid reads the measure and the
    // data column it stands for, with its headers and corner.
    void leftAndTopCells() {
        auto model = Fixture::load({"shop,day,qty", "n,mon,1", "n,tue,2", "s,mon,3", "n,mon,4"});
        Pivot::Configuration config;
        config.leftCols = {0};
        config.topCols = {1};
        config.dataCols = {2};
        config.leftTitles = {"shop"};
        config.topTitles = {"day"};
        config.dataTitles = {"qty"};
        config.measures[std::size_t(PivotTableDataType::Sum)] = true;
        const Pivot::Result result = compute(*model, config);
        const std::vector<Pivot::Grid> made = Pivot::makeGrids(config, result);
        QCOMPARE(made.size(), std::size_t(1));
        const Pivot::Grid& g = made[0];
        QCOMPARE(g.title, QStringLiteral("qty - Sum"));
        QCOMPARE(g.cornerCells(), (std::vector<std::vector<QString>>{{"shop\\day"}}));
        QCOMPARE(g.rowHeader(1), std::vector<QString>{"s"});
        QCOMPARE(g.colHeader(1), std::vector<QString>{"tue"});
        QCOMPARE(Pivot::cellText(g, result, 0, 0, false), QStringLiteral("5"));
        QCOMPARE(Pivot::cellText(g, result, 0, 1, false), QStringLiteral("2"));
        QCOMPARE(Pivot::cellText(g, result, 1, 1, false), QString()); // no row of s on tue

        // Two levels each way: row titles over their levels, column titles beside theirs.
        Pivot::Grid two;
        two.rowsAreKeys = two.colsAreKeys = true;
        two.rowTitles = {"a", "b"};
        two.colTitles = {"c", "d"};
        QCOMPARE(two.cornerCells(), (std::vector<std::vector<QString>>{{"", "c"}, {"a", "b\\d"}}));

        // No header list, or no measure: no grids.
        config.leftCols.clear();
        config.topCols.clear();
        QVERIFY(Pivot::makeGrids(config, result).empty());
        config.topCols = {1};
        config.measures = {};
        QVERIFY(Pivot::makeGrids(config, result).empty());
    }

    // A file opened read-only groups the same on the worker as the same file editable.
    void readOnlyAsEditable() {
        const QStringList lines{"k,t,v", "a,x,1", "b,\"x,y\",2", "a,x,", "\"q\"\"\",y,\"1,500\"", "b,x,4"};
        auto editable = Fixture::load(lines);
        auto readOnly = Fixture::load(lines, TableData::ReadOnly);
        Pivot::Configuration config;
        config.leftCols = {0};
        config.topCols = {1};
        config.dataCols = {2};
        Pivot::Result a;
        Pivot::Result b;
        QVERIFY(editable->readCellsOnWorker(
            [&](TableModelWorker& w) { return Pivot::computePivotTableData(*editable, config, a, &w); },
            true));
        QVERIFY(readOnly->readCellsOnWorker(
            [&](TableModelWorker& w) { return Pivot::computePivotTableData(*readOnly, config, b, &w); },
            true));
        QCOMPARE(a.groups.size(), std::size_t(4));
        QCOMPARE(a.groups.at({"q\"", "y"})[0].sum, 1500.0);
        QCOMPARE(b.leftKeys, a.leftKeys);
        QCOMPARE(b.topKeys, a.topKeys);
        for (const auto& [key, stats] : a.groups) {
            QVERIFY(b.groups.count(key));
            QCOMPARE(b.groups.at(key)[0].count, stats[0].count);
            QVERIFY(same(b.groups.at(key)[0].sum, stats[0].sum));
        }
    }

    // A cancel, asked before or during the reading, gives no result; on the model's thread too.
    void cancel() {
        QStringList lines{"k,v"};
        for (int r = 0; r < 20000; ++r)
            lines << QStringLiteral("k%1,%2").arg(r % 97).arg(r);
        auto model = Fixture::load(lines);
        Pivot::Configuration config;
        config.leftCols = {0};
        config.dataCols = {1};

        auto flag = std::make_shared<bool>(false);
        auto mutex = std::make_shared<QMutex>();
        TableModelWorker worker(flag, mutex);
        Pivot::Result result;
        int seen = 0;
        const bool finished = Pivot::groupRows(
            20000, 1, 1,
            [&](int r, std::vector<QString>& texts) {
                // Cancel is looked at once a progress report is due.
                if (++seen == 5000)
                    *flag = true;
                if (seen > 5000)
                    QThread::usleep(200);
                texts = {QString::number(r % 7), QString::number(r)};
            },
            result, &worker);
        QVERIFY(!finished);
        QVERIFY(seen < 20000);

        // On the model's worker thread: whole, then canceled before it starts.
        Pivot::Result whole;
        QVERIFY(model->readCellsOnWorker(
            [&](TableModelWorker& w) { return Pivot::computePivotTableData(*model, config, whole, &w); },
            true));
        QCOMPARE(whole.groups.size(), std::size_t(97));
        QCOMPARE(whole.groups.at({"k0"})[0].count, 207);
        *flag = true;
        Pivot::Result none;
        QVERIFY(!Pivot::computePivotTableData(*model, config, none, &worker));
    }
};

QTEST_GUILESS_MAIN(TestPivotTableData)
#include "tst_pivottabledata.moc"
