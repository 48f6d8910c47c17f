// Which cells the statistics and the column analysis read, and what they make of them.

#include "table/columnscan.h"

#include "table/tablemodelworker.h"
#include "tablemodelfixture.h"

#include <QLocale>
#include <QTest>

class TestColumnScan : public QObject {
    Q_OBJECT

private:
    static std::vector<ColumnStatistics> statistics(TableModel& m, const std::vector<CellSource>& sources,
                                                    bool useThread = false) {
        std::vector<ColumnStatistics> out;
        const bool finished = m.readCellsOnWorker(
            [&](TableModelWorker& worker) {
                return ColumnScan::computeStatistics(m.getTableData(), sources, out, &worker);
            },
            useThread);
        return finished ? out : std::vector<ColumnStatistics>{};
    }
    static double value(const ColumnStatistics& column, StatisticType type) {
        return column.records[std::size_t(type)].doubleValue;
    }
    static int count(const ColumnStatistics& column) {
        return column.records[std::size_t(StatisticType::NumberOfDataPoints)].intValue;
    }

private slots:
    void initTestCase() {
        // The number reader keeps the marks of the locale of its first call.
        QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));
    }

    void fourValues() {
        std::vector<double> values{4, 1, 3, 2};
        const std::vector<StatisticRecord> r = ColumnScan::computeStatistics(values);
        QCOMPARE(r.size(), std::size_t(kStatisticTypeCount));
        QCOMPARE(r[0].intValue, 4);
        QVERIFY(r[0].isInteger && !r[0].noData);
        QCOMPARE(r[std::size_t(StatisticType::Sum)].doubleValue, 10.0);
        QCOMPARE(r[std::size_t(StatisticType::Mean)].doubleValue, 2.5);
        QCOMPARE(r[std::size_t(StatisticType::Variance)].doubleValue, 1.25);
        QCOMPARE(r[std::size_t(StatisticType::StandardDeviation)].doubleValue, std::sqrt(1.25));
        QCOMPARE(r[std::size_t(StatisticType::Median)].doubleValue, 2.5);
        QCOMPARE(r[std::size_t(StatisticType::Min)].doubleValue, 1.0);
        QCOMPARE(r[std::size_t(StatisticType::Max)].doubleValue, 4.0);
        QCOMPARE(r[std::size_t(StatisticType::Percentile20)].doubleValue, 1.6);
        QCOMPARE(r[std::size_t(StatisticType::Percentile80)].doubleValue, 3.4);
        QCOMPARE(r[std::size_t(StatisticType::Percentile80)].label, QStringLiteral("80th Percentile"));

        std::vector<double> none;
        for (const StatisticRecord& record : ColumnScan::computeStatistics(none))
            QVERIFY(record.noData);
    }

    // Header rows, hidden rows and cells that are no number stay out of a column; the words and
    // the date-time make no data point, a currency and groups do.
    void whichCellsCount() {
        auto m = Fixture::load({"qty,name,when", "\"$1,000.50\",apple,2024-03-05 10:20:30", "2,pear,",
                                "3 apples,fig,x", "99,hidden,", "-4,,"});
        m->getTableData().concealModelRows({4});
        const std::vector<ColumnStatistics> all = statistics(*m, ColumnScan::allColumnSources(*m));
        QCOMPARE(all.size(), std::size_t(3));
        QCOMPARE(all[0].title, QStringLiteral("qty"));
        QCOMPARE(count(all[0]), 3);
        QCOMPARE(value(all[0], StatisticType::Sum), 998.5);
        QCOMPARE(value(all[0], StatisticType::Min), -4.0);
        QVERIFY(all[1].empty && all[2].empty);
        QCOMPARE(count(all[1]), 0);
        // The same on the worker.
        const std::vector<ColumnStatistics> threaded = statistics(*m, ColumnScan::allColumnSources(*m), true);
        QCOMPARE(threaded.size(), std::size_t(3));
        QCOMPARE(value(threaded[0], StatisticType::Sum), 998.5);

        // Without a header row the first line is data.
        m->setNumberOfHeaderRows(0);
        const std::vector<ColumnStatistics> noHeader = statistics(*m, ColumnScan::columnSources(*m, {0}));
        QCOMPARE(count(noHeader[0]), 3);
    }

    // Selected cells are taken as they stand, a header among them too, as one column or one per
    // table column.
    void selections() {
        auto m = Fixture::load({"10,20,30", "1,2,3", "4,5,6"});
        RangeVector picks;
        picks.push_back(Fixture::cell(0, 0));
        picks.push_back(Fixture::cell(2, 0));
        picks.push_back(Fixture::cell(1, 2));
        m->setSelection(picks);
        const std::vector<ColumnStatistics> one = statistics(*m, ColumnScan::selectedCellsSource(*m));
        QCOMPARE(one.size(), std::size_t(1));
        QCOMPARE(one[0].title, QStringLiteral("Selection"));
        QCOMPARE(value(one[0], StatisticType::Sum), 17.0);

        const std::vector<ColumnStatistics> byCols =
            statistics(*m, ColumnScan::selectedCellsByColumnSources(*m));
        QCOMPARE(byCols.size(), std::size_t(2));
        QCOMPARE(byCols[0].title, QStringLiteral("10"));
        QCOMPARE(value(byCols[0], StatisticType::Sum), 14.0);
        QCOMPARE(byCols[1].title, QStringLiteral("30"));
        QCOMPARE(value(byCols[1], StatisticType::Sum), 3.0);

        // A whole-column selection reaches into the empty buffer rows: they add nothing.
        Range column1 = Fixture::colRange(1);
        m->setSelection(column1);
        const std::vector<ColumnStatistics> column =
            statistics(*m, ColumnScan::selectedCellsByColumnSources(*m));
        QCOMPARE(column.size(), std::size_t(1));
        QCOMPARE(count(column[0]), 3);
        const std::vector<ColumnStatistics> selectedCol =
            statistics(*m, ColumnScan::selectedColumnSources(*m));
        QCOMPARE(count(selectedCol[0]), 2);
    }

    // A file opened read-only reads the same on the worker as the same file editable.
    void readOnlyAsEditable() {
        const QStringList lines{"n,w", "\"1,500\",a", "2,", "-3.5,2024-01-31 00:00:00", "x,\"q\"\"\"", "7,"};
        auto editable = Fixture::load(lines);
        auto readOnly = Fixture::load(lines, TableData::ReadOnly);
        QCOMPARE(readOnly->rowCountModel(), editable->rowCountModel());
        const auto a = statistics(*editable, ColumnScan::allColumnSources(*editable), true);
        const auto b = statistics(*readOnly, ColumnScan::allColumnSources(*readOnly), true);
        QCOMPARE(a.size(), std::size_t(2));
        QCOMPARE(b.size(), a.size());
        QCOMPARE(value(a[0], StatisticType::Sum), 1505.5);
        for (std::size_t c = 0; c < a.size(); ++c) {
            QCOMPARE(b[c].title, a[c].title);
            QCOMPARE(count(b[c]), count(a[c]));
            QCOMPARE(value(b[c], StatisticType::Sum), value(a[c], StatisticType::Sum));
        }
        std::vector<ColumnAnalysis> ea;
        std::vector<ColumnAnalysis> ra;
        QVERIFY(ColumnScan::computeColumnAnalysis(editable->getTableData(),
                                                  ColumnScan::allColumnSources(*editable), ea, nullptr));
        QVERIFY(ColumnScan::computeColumnAnalysis(readOnly->getTableData(),
                                                  ColumnScan::allColumnSources(*readOnly), ra, nullptr));
        QCOMPARE(ra[1].nonEmpty, ea[1].nonEmpty);
        QCOMPARE(ra[1].maxLength, ea[1].maxLength);
        QCOMPARE(ra[1].dataType, ea[1].dataType);
        QCOMPARE(ea[1].dataType, 2 | 4);
    }

    void columnAnalysis() {
        // "\U0001F600" is one character of two UTF-16 units.
        auto m = Fixture::load(
            {"id,word,empty", "1,\xF0\x9F\x98\x80,", "22,pear,", ",banana,", "4,2024-01-31 00:00:00,"});
        std::vector<ColumnAnalysis> out;
        QVERIFY(ColumnScan::computeColumnAnalysis(m->getTableData(), ColumnScan::allColumnSources(*m), out,
                                                  nullptr));
        QCOMPARE(out.size(), std::size_t(3));
        const ColumnAnalysis& id = out[0];
        QCOMPARE(id.fields, 4);
        QCOMPARE(id.nonEmpty, 3);
        QCOMPARE(id.empty(), 1);
        QCOMPARE(id.percentNonEmpty(), 75.0);
        QCOMPARE(id.minLength, 1);
        QCOMPARE(id.maxLength, 2);
        QCOMPARE(id.dataType, 1);
        const ColumnAnalysis& word = out[1];
        QCOMPARE(word.minLength, 1);
        QCOMPARE(word.maxLength, 19);
        QCOMPARE(word.dataType, 2 | 4);
        const ColumnAnalysis& empty = out[2];
        QCOMPARE(empty.nonEmpty, 0);
        QCOMPARE(empty.minLength, 0);
        QCOMPARE(empty.dataType, 0);
        QVERIFY(!empty.noRows);

        auto headerOnly = Fixture::load({"a,b"});
        QVERIFY(ColumnScan::computeColumnAnalysis(headerOnly->getTableData(),
                                                  ColumnScan::allColumnSources(*headerOnly), out, nullptr));
        QCOMPARE(out.size(), std::size_t(2));
        QVERIFY(out[0].noRows);
        QCOMPARE(out[0].fields, 0);
    }
};

QTEST_GUILESS_MAIN(TestColumnScan)
#include "tst_columnscan.moc"
