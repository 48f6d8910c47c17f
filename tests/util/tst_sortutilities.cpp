#include "util/sortutilities.h"

#include <QLocale>
#include <QTest>

#include <algorithm>
#include <cmath>

class TestSortUtilities : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void numbers_data();
    void numbers();
    void compare_data();
    void compare();
    void ascendingOrder();
    void split_data();
    void split();
    void inversion();
};

void TestSortUtilities::initTestCase() {
    // The number reader keeps the marks of the locale of its first call.
    QLocale::setDefault(QLocale::c());
}

void TestSortUtilities::numbers_data() {
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<bool>("currency");
    QTest::addColumn<double>("expected"); // NaN: no number
    const double nan = std::nan("");
    QTest::newRow("integer") << QByteArray("42") << false << 42.0;
    QTest::newRow("negative decimal") << QByteArray("-3.25") << false << -3.25;
    QTest::newRow("group separator ignored") << QByteArray("1,234.5") << false << 1234.5;
    QTest::newRow("exponent") << QByteArray("1.5e3") << false << 1500.0;
    QTest::newRow("negative exponent") << QByteArray("25E-2") << false << 0.25;
    QTest::newRow("plus in exponent") << QByteArray("1e+3") << false << nan;
    QTest::newRow("exponent without digits") << QByteArray("1e") << false << nan;
    QTest::newRow("letter e alone") << QByteArray("e5") << false << nan;
    QTest::newRow("two points") << QByteArray("1.2.3") << false << nan;
    QTest::newRow("empty") << QByteArray("") << false << nan;
    QTest::newRow("sign alone") << QByteArray("-") << false << -0.0;
    QTest::newRow("point alone") << QByteArray(".") << false << nan;
    QTest::newRow("leading point") << QByteArray(".5") << false << 0.5;
    QTest::newRow("space inside") << QByteArray("1 2") << false << nan;
    QTest::newRow("leading space") << QByteArray(" 12") << false << nan;
    QTest::newRow("two signs") << QByteArray("--1") << false << nan;
    QTest::newRow("dollar refused without currency") << QByteArray("$5") << false << nan;
    QTest::newRow("dollar") << QByteArray("$5.50") << true << 5.5;
    QTest::newRow("negative pound") << QByteArray("-\xC2\xA3"
                                                  "7")
                                    << true << -7.0;
    QTest::newRow("yen") << QByteArray("\xC2\xA5"
                                       "100")
                         << true << 100.0;
    QTest::newRow("euro in front") << QByteArray("\xE2\x82\xAC"
                                                 "3")
                                   << true << 3.0;
    QTest::newRow("euro behind") << QByteArray("3,50 \xE2\x82\xAC") << true << 350.0;
    QTest::newRow("euro behind exponent") << QByteArray("2e2\xE2\x82\xAC") << true << 200.0;
    QTest::newRow("dollar behind") << QByteArray("3$") << true << nan;
    QTest::newRow("currency alone") << QByteArray("$") << true << 0.0;
    QTest::newRow("underscore") << QByteArray("1_000") << false << nan;
    QTest::newRow("word") << QByteArray("file12") << false << nan;
}

void TestSortUtilities::numbers() {
    QFETCH(QByteArray, text);
    QFETCH(bool, currency);
    QFETCH(double, expected);
    const double value = Utilities::convertStringToDouble(text.constData(), currency);
    if (std::isnan(expected)) {
        QVERIFY2(std::isnan(value), qPrintable(QString::number(value)));
    } else {
        QCOMPARE(value, expected);
        QCOMPARE(std::signbit(value), std::signbit(expected));
    }
}

void TestSortUtilities::compare_data() {
    QTest::addColumn<QString>("a");
    QTest::addColumn<QString>("b");
    QTest::addColumn<bool>("ascending");  // a before b, ascending
    QTest::addColumn<bool>("descending"); // a before b, descending
    QTest::newRow("numbers by value") << "9"
                                      << "10" << true << false;
    QTest::newRow("decimals by value") << "2.5"
                                       << "10" << true << false;
    QTest::newRow("negative") << "-3"
                              << "2" << true << false;
    QTest::newRow("equal values stay") << "1.0"
                                       << "1" << false << false;
    QTest::newRow("exponent against plain") << "1e3"
                                            << "999" << false << true;
    QTest::newRow("runs by value") << "a2"
                                   << "a10" << true << false;
    QTest::newRow("file names") << "file9.txt"
                                << "file12.txt" << true << false;
    QTest::newRow("equal runs stay") << "a01"
                                     << "a1" << false << false;
    QTest::newRow("empty last") << ""
                                << "b" << false << true;
    QTest::newRow("text before empty") << "b"
                                       << "" << true << false;
    QTest::newRow("zero-led is text") << "007"
                                      << "7" << true << false;
    QTest::newRow("zero-led against larger") << "0x1"
                                             << "5" << true << false;
    QTest::newRow("zero alone is text") << "0"
                                        << "-1" << false << true;
    QTest::newRow("zero point is a number") << "0.5"
                                            << "0.25" << false << true;
    QTest::newRow("spaced zero-led") << "  05"
                                     << "4" << true << false;
    QTest::newRow("underscore is no number") << "1_5"
                                             << "2" << true << false;
    QTest::newRow("underscore runs") << "10_1"
                                     << "9_1" << false << true;
    QTest::newRow("fewer spaces first") << " b"
                                        << "  a" << true << false;
    QTest::newRow("spaces alone") << "   "
                                  << " a" << false << true;
    QTest::newRow("digit against letter by code") << "5a"
                                                  << "a5" << true << false;
    QTest::newRow("number against text") << "12"
                                         << "abc" << true << false;
    QTest::newRow("shorter list first") << "a1"
                                        << "a1b" << true << false;
    QTest::newRow("case matters") << "B"
                                  << "a" << true << false;
    QTest::newRow("identical") << "x"
                               << "x" << false << false;
    QTest::newRow("overflowing run counts zero") << "a99999999999999999999"
                                                 << "a1" << true << false;
}

void TestSortUtilities::compare() {
    QFETCH(QString, a);
    QFETCH(QString, b);
    QFETCH(bool, ascending);
    QFETCH(bool, descending);
    QCOMPARE(Utilities::qStringCompare(a, b, false), ascending);
    QCOMPARE(Utilities::qStringCompare(a, b, true), descending);
}

void TestSortUtilities::ascendingOrder() {
    QStringList cells{QStringLiteral("10"),  QStringLiteral("9"), QStringLiteral("a2"),
                      QStringLiteral("a10"), QString(),           QStringLiteral("b")};
    std::stable_sort(cells.begin(), cells.end(), [](const QString& a, const QString& b) {
        return Utilities::qStringCompare(a, b, false);
    });
    QCOMPARE(cells, (QStringList{QStringLiteral("9"), QStringLiteral("10"), QStringLiteral("a2"),
                                 QStringLiteral("a10"), QStringLiteral("b"), QString()}));
}

void TestSortUtilities::split_data() {
    QTest::addColumn<QString>("text");
    QTest::addColumn<QStringList>("parts");
    QTest::addColumn<bool>("startsWithNumber");
    QTest::newRow("empty") << QString() << QStringList() << false;
    QTest::newRow("text first") << "ab12c3" << QStringList{"ab", "12", "c", "3"} << false;
    QTest::newRow("digits first") << "12ab" << QStringList{"12", "ab"} << true;
    QTest::newRow("only digits") << "007" << QStringList{"007"} << true;
    // Other scripts' digits are text.
    QTest::newRow("arabic-indic digits")
        << QString::fromUtf8("a\u0661\u0662") << QStringList{QString::fromUtf8("a\u0661\u0662")} << false;
    QTest::newRow("point splits") << "1.5" << QStringList{"1", ".", "5"} << true;
}

void TestSortUtilities::split() {
    QFETCH(QString, text);
    QFETCH(QStringList, parts);
    QFETCH(bool, startsWithNumber);
    QList<QString> out{QStringLiteral("stale")};
    bool number = !startsWithNumber;
    Utilities::splitStringByNumberBoundaries(out, number, text);
    QCOMPARE(QStringList(out), parts);
    QCOMPARE(number, startsWithNumber);
}

void TestSortUtilities::inversion() {
    const std::vector<int> order{2, 0, 3, 1};
    const std::vector<int> inverse = Utilities::invertSortIndexesVector(order);
    QCOMPARE(inverse, (std::vector<int>{1, 3, 0, 2}));
    QCOMPARE(Utilities::invertSortIndexesVector(inverse), order);
    std::vector<int> values{0, 3, 7, -1};
    Utilities::mapSortIndexes(values, inverse);
    QCOMPARE(values, (std::vector<int>{1, 2, 7, -1}));
}

QTEST_GUILESS_MAIN(TestSortUtilities)
#include "tst_sortutilities.moc"
