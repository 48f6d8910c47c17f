// The arithmetic under the statistics and the data-type names of the column analysis.

#include "util/statisticsutilities.h"

#include <QTest>

#include <vector>

using Values = std::vector<double>;
Q_DECLARE_METATYPE(Values)

class TestStatisticsUtilities : public QObject {
    Q_OBJECT

private slots:
    void percentile_data();
    void percentile();
    void variance();
    void dataType_data();
    void dataType();
};

void TestStatisticsUtilities::percentile_data() {
    QTest::addColumn<Values>("values"); // ascending
    QTest::addColumn<double>("percent");
    QTest::addColumn<double>("expected");
    const Values four{1, 2, 3, 4};
    QTest::newRow("median between the middle two") << four << 50.0 << 2.5;
    QTest::newRow("20th interpolates") << four << 20.0 << 1.6;
    QTest::newRow("min") << four << 0.0 << 1.0;
    QTest::newRow("max") << four << 100.0 << 4.0;
    QTest::newRow("on a value") << Values{10, 20, 30} << 50.0 << 20.0;
    QTest::newRow("position rounding up to the next value")
        << Values{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10} << 70.0 << 7.0;
    QTest::newRow("equal neighbours exactly") << Values{0.1, 0.1, 0.1, 9} << 40.0 << 0.1;
    QTest::newRow("one value") << Values{7} << 80.0 << 7.0;
    QTest::newRow("none") << Values{} << 50.0 << 0.0;
    QTest::newRow("negative values") << Values{-4, -2} << 25.0 << -3.5;
}

void TestStatisticsUtilities::percentile() {
    QFETCH(Values, values);
    QFETCH(double, percent);
    QFETCH(double, expected);
    QCOMPARE(Utilities::computePercentile(values, percent), expected);
}

void TestStatisticsUtilities::variance() {
    const Values four{1, 2, 3, 4};
    const double sum = Utilities::computeSum(four);
    QCOMPARE(sum, 10.0);
    // The population variance: over n, not n - 1.
    QCOMPARE(Utilities::computeVariance(four, sum / 4), 1.25);
    QCOMPARE(Utilities::computeVariance(Values{5}, 5), 0.0);
    QCOMPARE(Utilities::computeVariance(Values{}, 0), 0.0);
    QCOMPARE(Utilities::computeSum(Values{}), 0.0);
}

void TestStatisticsUtilities::dataType_data() {
    QTest::addColumn<QStringList>("texts");
    QTest::addColumn<QString>("expected");
    QTest::newRow("numbers") << QStringList{"1", "-2.5", "3e4"} << "Numeric";
    QTest::newRow("numbers and words") << QStringList{"12", "apple"} << "Numeric, String";
    QTest::newRow("date and time") << QStringList{"2024-03-05 10:20:30"} << "Date";
    QTest::newRow("ISO with T and Z") << QStringList{"2024-03-05t10:20:30z"} << "Date";
    QTest::newRow("day month year") << QStringList{"07/04/2024"} << "Date";
    QTest::newRow("all three in order")
        << QStringList{"x", "2024-01-31 00:00:00", "5"} << "Numeric, Date, String";
    // The locale-free reading: a grouped number or a currency is text here.
    QTest::newRow("grouped number") << QStringList{"1,234"} << "String";
    QTest::newRow("currency") << QStringList{"$5"} << "String";
    QTest::newRow("invalid month") << QStringList{"2024-13-05 10:20:30"} << "String";
    QTest::newRow("nothing") << QStringList{} << "-";
}

void TestStatisticsUtilities::dataType() {
    QFETCH(QStringList, texts);
    QFETCH(QString, expected);
    int mask = 0;
    for (const QString& text : texts)
        Utilities::setDataType(mask, text);
    QCOMPARE(Utilities::convertDataTypeToString(mask), expected);
}

QTEST_GUILESS_MAIN(TestStatisticsUtilities)
#include "tst_statisticsutilities.moc"
