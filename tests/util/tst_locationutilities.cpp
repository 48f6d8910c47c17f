#include "util/locationutilities.h"

#include <QElapsedTimer>
#include <QRandomGenerator>
#include <QTest>

#include <algorithm>
#include <climits>

using namespace Utilities;

namespace {
using Cols = std::vector<int>;
constexpr int Keep = 11; // start value of a position that the text should leave alone
} // namespace

class TestLocationUtilities : public QObject {
    Q_OBJECT

private slots:
    void letters_data();
    void letters();
    void lettersRejected_data();
    void lettersRejected();
    void lettersRoundTrip();

    void cellLocation_data();
    void cellLocation();
    void feedbackRoundTrip();

    void shape_data();
    void shape();

    void colsList_data();
    void colsList();
    void colsListLetters_data();
    void colsListLetters();

    void makeColsString_data();
    void makeColsString();
    void colsStringRoundTrip();

    void feedback_data();
    void feedback();

    void garbageNeverCrashes();
};

void TestLocationUtilities::letters_data() {
    QTest::addColumn<int>("number");
    QTest::addColumn<QString>("letters");
    const std::vector<std::pair<int, const char*>> table = {
        {0, "A"},    {25, "Z"},    {26, "AA"},     {27, "AB"},     {51, "AZ"},           {52, "BA"},
        {701, "ZZ"}, {702, "AAA"}, {16383, "XFD"}, {18277, "ZZZ"}, {INT_MAX, "FXSHRXX"},
    };
    for (const auto& [number, letters] : table)
        QTest::newRow(letters) << number << QString::fromLatin1(letters);
}

void TestLocationUtilities::letters() {
    QFETCH(int, number);
    QFETCH(QString, letters);
    QCOMPARE(convertNumberToLetters(number), letters);
    QCOMPARE(convertLettersToNumber(letters), number);
    QCOMPARE(convertLettersToNumber(QStringLiteral(" ") + letters.toLower() + QStringLiteral(" ")), number);
}

void TestLocationUtilities::lettersRejected_data() {
    QTest::addColumn<QString>("text");
    QTest::newRow("empty") << QString();
    QTest::newRow("blank") << QStringLiteral("   ");
    QTest::newRow("digit") << QStringLiteral("A1");
    QTest::newRow("hyphen") << QStringLiteral("A-B");
    QTest::newRow("inner blank") << QStringLiteral("A B");
    QTest::newRow("umlaut") << QStringLiteral("\u00c4");
    QTest::newRow("one past int") << QStringLiteral("FXSHRXY");
    QTest::newRow("far past int") << QString(40, u'Z');
}

void TestLocationUtilities::lettersRejected() {
    QFETCH(QString, text);
    QCOMPARE(convertLettersToNumber(text), INT_MIN);
}

void TestLocationUtilities::lettersRoundTrip() {
    QCOMPARE(convertNumberToLetters(-1), QString());
    QCOMPARE(convertNumberToLetters(INT_MIN), QString());
    for (int n = 0; n < 20000; ++n)
        QCOMPARE(convertLettersToNumber(convertNumberToLetters(n)), n);
}

void TestLocationUtilities::cellLocation_data() {
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("colLetters");
    QTest::addColumn<bool>("userIndexes");
    QTest::addColumn<int>("row");
    QTest::addColumn<int>("col");
    QTest::addColumn<bool>("found");

    const auto add = [](const char* name, const char* text, int row, int col, bool found = true,
                        bool letters = false, bool user = false) {
        QTest::newRow(name) << QString::fromUtf8(text) << letters << user << row << col << found;
    };
    // Both named.
    add("row and col", "row 3 col 4", 3, 4);
    add("capitalised, comma", "Row 3, Column 4", 3, 4);
    add("col first", "col 4 row 3", 3, 4);
    add("short words", "r3c4", 3, 4);
    add("ro and colu", "ro 3 colu 4", 3, 4);
    // Two bare numbers.
    add("two numbers", "3 4", 3, 4);
    add("two numbers, wide gap", "  3 \t  4 ", 3, 4);
    add("comma", "3, 4", 3, 4);
    add("comma, no blank", "3,4", 3, 4);
    add("semicolon", "3;4", 3, 4);
    add("hyphen separates", "3-4", 3, 4);
    // Row before a named column, or after it.
    add("number then col", "3 col 4", 3, 4);
    add("number then c", "3c4", 3, 4);
    add("col then number", "col 4 3", 3, 4);
    add("col then comma number", "col 4, 3", 3, 4);
    add("col then several", "column 4 then 3", 3, 4);
    // Column before a named row, or after it.
    add("number then row", "4 row 3", 3, 4);
    add("row then number", "row 3 4", 3, 4);
    add("row then comma number", "r3,4", 3, 4);
    // One position only.
    add("row only", "row 7", 7, Keep);
    add("col only", "col 7", Keep, 7);
    add("c only", "c 7", Keep, 7);
    add("bare number is a row", "5", 5, Keep);
    add("bare number, trailing comma", "5,", 5, Keep);
    // Negative numbers are places only in user indexes.
    add("negative row, user", "row -2", -2, Keep, true, false, true);
    add("negative row, zero-based", "row -2", Keep, Keep, false);
    add("negative pair, user", "-3 -4", -3, -4, true, false, true);
    add("negative col after comma, user", "3, -4", 3, -4, true, false, true);
    add("negative col after comma, zero-based", "3, -4", 3, Keep);
    // Nothing usable.
    add("empty", "", Keep, Keep, false);
    add("blank", "   ", Keep, Keep, false);
    add("words", "abc", Keep, Keep, false);
    add("row word alone", "row", Keep, Keep, false);
    add("row x", "row x", Keep, Keep, false);
    add("overflow", "99999999999", Keep, Keep, false);
    add("overflowing col", "row 3 col 99999999999", 3, Keep);
    add("letters without letter mode", "B7", Keep, Keep, false);

    // Letters.
    add("A1", "A1", 1, 0, true, true);
    add("b7 lower", "b7", 7, 1, true, true);
    add("AA10", "AA10", 10, 26, true, true);
    add("letters, separator", "C, 12", 12, 2, true, true);
    add("row then letters", "7 b", 7, 1, true, true);
    add("letters alone", "AA", Keep, 26, true, true);
    add("digits alone", "12", 12, Keep, true, true);
    add("cell feedback text", "Cell D3", 3, 3, true, true);
    add("letters overflow", "zzzzzzzzzz5", 5, Keep, true, true);
    add("letters, no digits or letters", "!?", Keep, Keep, false, true);
}

void TestLocationUtilities::cellLocation() {
    QFETCH(QString, text);
    QFETCH(bool, colLetters);
    QFETCH(bool, userIndexes);
    QFETCH(int, row);
    QFETCH(int, col);
    QFETCH(bool, found);

    int r = Keep;
    int c = Keep;
    QCOMPARE(parseCellLocationString(r, c, text, colLetters, userIndexes), found);
    QCOMPARE(r, row);
    QCOMPARE(c, col);
}

void TestLocationUtilities::feedbackRoundTrip() {
    // What the prompt shows under a location reads back as that location.
    QRandomGenerator gen(7);
    for (int i = 0; i < 500; ++i) {
        const int row = int(gen.bounded(0, 2000000));
        const int col = int(gen.bounded(0, 20000));
        for (bool letters : {false, true}) {
            int r = -1;
            int c = -1;
            const QString text = computeCellRangeFeedbackString(row, col, letters);
            QVERIFY2(parseCellLocationString(r, c, text, letters, false), qPrintable(text));
            QCOMPARE(r, row);
            QCOMPARE(c, col);
        }
    }
}

void TestLocationUtilities::shape_data() {
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("rowWise");
    QTest::addColumn<int>("rows");
    QTest::addColumn<int>("cols");
    QTest::addColumn<bool>("found");

    const auto add = [](const char* text, bool rowWise, int rows, int cols, bool found = true) {
        QTest::newRow(qPrintable(
            QStringLiteral("%1 %2").arg(rowWise ? u"row-wise" : u"col-wise", QString::fromUtf8(text))))
            << QString::fromUtf8(text) << rowWise << rows << cols << found;
    };
    add("5", true, Keep, 5);
    add(" 5 ", true, Keep, 5);
    add("5 cols", true, Keep, 5);
    add("5 columns", true, Keep, 5);
    add("Column 5", true, Keep, 5);
    add("col5", true, Keep, 5);
    add("5 rows", true, 5, Keep);
    add("5r", true, 5, Keep);
    add("row 5", true, 5, Keep);
    add("r 5", true, 5, Keep);
    add("", true, Keep, Keep, false);
    add("-5", true, Keep, Keep, false);
    add("five", true, Keep, Keep, false);
    add("5 x", true, Keep, Keep, false);
    add("99999999999", true, Keep, Keep, false);

    add("5", false, 5, Keep);
    add("5 rows", false, 5, Keep);
    add("Row 5", false, 5, Keep);
    add("5 cols", false, Keep, 5);
    add("5c", false, Keep, 5);
    add("column 5", false, Keep, 5);
    add("c 5", false, Keep, 5);
    add("x5", false, Keep, Keep, false);
}

void TestLocationUtilities::shape() {
    QFETCH(QString, text);
    QFETCH(bool, rowWise);
    QFETCH(int, rows);
    QFETCH(int, cols);
    QFETCH(bool, found);

    int r = Keep;
    int c = Keep;
    const bool result = rowWise ? parseShapeStringRowWise(r, c, text) : parseShapeStringColWise(r, c, text);
    QCOMPARE(result, found);
    QCOMPARE(r, rows);
    QCOMPARE(c, cols);
}

void TestLocationUtilities::colsList_data() {
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("limit");
    QTest::addColumn<bool>("userIndexes");
    QTest::addColumn<Cols>("expected");
    QTest::addColumn<QString>("error");

    const auto add = [](const char* name, const char* text, const Cols& expected, const char* error = "",
                        int limit = INT_MAX, bool user = false) {
        QTest::newRow(name) << QString::fromUtf8(text) << limit << user << expected
                            << QString::fromUtf8(error);
    };
    add("list and range", "1, 3-5", {1, 3, 4, 5});
    add("words and blanks around hyphen", "col 2 - 4", {2, 3, 4});
    add("many blanks around hyphen", "2    -    4", {2, 3, 4});
    add("capital words", "Columns 1-3, Column 7", {1, 2, 3, 7});
    add("word glued to number", "col7", {7});
    add("blank separated", "1 3 5", {1, 3, 5});
    add("downward range", "5-3", {5, 4, 3});
    add("one-number range", "4-4", {4});
    add("repeats kept", "2, 2", {2, 2});
    add("empty", "", {});
    add("only separators", ", ,,", {});
    add("bad part", "2, x, 4", {2, 4}, "Column x");
    add("bad parts", "x, 1, y", {1}, "Columns x, y");
    add("dangling hyphen", "1--", {}, "Column 1--");
    add("overflow", "99999999999", {}, "Column 99999999999");
    add("at limit", "10", {10}, "", 10);
    add("above limit", "11, 2", {2}, "Column 11", 10);
    add("range above limit", "1-20", {}, "Column 1-20", 10);
    add("range end above limit, negative", "-3-20", {}, "Column -3-20", 10, true);
    add("absurd range", "0-2147483647", {}, "Column 0-2147483647");
    add("negative range, user", "-3--1", {-3, -2, -1}, "", INT_MAX, true);
    add("negative to positive, user", "-1-1", {-1, 0, 1}, "", INT_MAX, true);
    add("negative number, user", "-2", {-2}, "", INT_MAX, true);
    add("negative range, zero-based", "-3--1", {}, "Column -3--1");
    add("negative number, zero-based", "-2, 0", {0}, "Column -2");
}

void TestLocationUtilities::colsList() {
    QFETCH(QString, text);
    QFETCH(int, limit);
    QFETCH(bool, userIndexes);
    QFETCH(Cols, expected);
    QFETCH(QString, error);

    Cols out{-100};
    QString err = QStringLiteral("stale");
    QCOMPARE(parseColsString(out, err, text, limit, userIndexes), error.isEmpty());
    QCOMPARE(err, error);
    expected.insert(expected.begin(), -100); // appends
    QCOMPARE(out, expected);
}

void TestLocationUtilities::colsListLetters_data() {
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("limit");
    QTest::addColumn<Cols>("expected");
    QTest::addColumn<QString>("error");

    const auto add = [](const char* name, const char* text, const Cols& expected, const char* error = "",
                        int limit = INT_MAX) {
        QTest::newRow(name) << QString::fromUtf8(text) << limit << expected << QString::fromUtf8(error);
    };
    add("list and range", "A, C-E", {0, 2, 3, 4});
    add("lower case, blanks", "col b - d", {1, 2, 3});
    add("word prefix", "Columns AA-AB, Z", {26, 27, 25});
    add("downward", "C-A", {2, 1, 0});
    add("column named like the word's start", "COLA", {convertLettersToNumber(QStringLiteral("COLA"))});
    add("word as a column name", "Column COL", {2429});
    add("range ending at a word", "cok-col", {2428, 2429});
    add("digit in part", "A1, B", {1}, "Column A1");
    add("numbers", "1, 2", {}, "Columns 1, 2");
    add("above limit", "Z, A", {0}, "Column Z", 5);
    add("range above limit", "A-Z", {}, "Column A-Z", 5);
    add("too long a name", "FXSHRXY", {}, "Column FXSHRXY");
    add("absurd range", "A-FXSHRXX", {}, "Column A-FXSHRXX");
}

void TestLocationUtilities::colsListLetters() {
    QFETCH(QString, text);
    QFETCH(int, limit);
    QFETCH(Cols, expected);
    QFETCH(QString, error);

    Cols out;
    QString err;
    QCOMPARE(parseColsStringColLetters(out, err, text, limit), error.isEmpty());
    QCOMPARE(err, error);
    QCOMPARE(out, expected);
}

void TestLocationUtilities::makeColsString_data() {
    QTest::addColumn<Cols>("cols");
    QTest::addColumn<bool>("letters");
    QTest::addColumn<bool>("prefix");
    QTest::addColumn<QString>("expected");

    QTest::newRow("runs") << Cols{5, 1, 3, 4} << false << true << QStringLiteral("Columns 1, 3-5");
    QTest::newRow("runs, no prefix") << Cols{5, 1, 3, 4} << false << false << QStringLiteral("1, 3-5");
    QTest::newRow("one") << Cols{2} << false << true << QStringLiteral("Column 2");
    QTest::newRow("one repeated") << Cols{3, 3} << false << true << QStringLiteral("Column 3");
    QTest::newRow("one run is plural") << Cols{0, 1} << false << true << QStringLiteral("Columns 0-1");
    QTest::newRow("letters") << Cols{0, 1, 2, 27} << true << true << QStringLiteral("Columns A-C, AB");
    QTest::newRow("negative") << Cols{-1, -3, -2, 5} << false << false << QStringLiteral("-3--1, 5");
    QTest::newRow("top of int") << Cols{INT_MAX, INT_MAX - 1} << false << false
                                << QStringLiteral("2147483646-2147483647");
    QTest::newRow("empty") << Cols{} << false << true << QString();
}

void TestLocationUtilities::makeColsString() {
    QFETCH(Cols, cols);
    QFETCH(bool, letters);
    QFETCH(bool, prefix);
    QFETCH(QString, expected);
    QCOMPARE(makeColsStringFromCols(cols, letters, prefix), expected);
    if (cols.size() == 1)
        QCOMPARE(makeColsStringFromCol(cols.front(), letters, prefix), expected);
}

void TestLocationUtilities::colsStringRoundTrip() {
    QCOMPARE(makeColsStringFromCol(4, true, true), QStringLiteral("Column E"));
    QCOMPARE(makeColsStringFromCol(4, false, false), QStringLiteral("4"));

    // What the program writes as a column list reads back as the same set.
    QRandomGenerator gen(42);
    for (int round = 0; round < 300; ++round) {
        Cols cols;
        for (int i = 0, n = int(gen.bounded(1, 30)); i < n; ++i)
            cols.push_back(int(gen.bounded(0, 60)));
        Cols expected = cols;
        std::sort(expected.begin(), expected.end());
        expected.erase(std::unique(expected.begin(), expected.end()), expected.end());

        for (bool letters : {false, true}) {
            const QString text = makeColsStringFromCols(cols, letters, gen.bounded(2) == 1);
            Cols out;
            QString error;
            const bool ok = letters ? parseColsStringColLetters(out, error, text, 59)
                                    : parseColsString(out, error, text, 59, false);
            QVERIFY2(ok, qPrintable(text + QStringLiteral(": ") + error));
            QCOMPARE(out, expected);
        }
    }
}

void TestLocationUtilities::feedback_data() {
    QTest::addColumn<int>("row");
    QTest::addColumn<int>("col");
    QTest::addColumn<bool>("letters");
    QTest::addColumn<QString>("expected");

    QTest::newRow("nothing") << -1 << -1 << false << QStringLiteral("(No cell selected)");
    QTest::newRow("nothing, letters") << -1 << -5 << true << QStringLiteral("(No cell selected)");
    QTest::newRow("row") << 3 << -1 << false << QStringLiteral("Row 3");
    QTest::newRow("row, letters") << 3 << -1 << true << QStringLiteral("Row 3");
    QTest::newRow("col") << -1 << 4 << false << QStringLiteral("Column 4");
    QTest::newRow("col, letters") << -1 << 4 << true << QStringLiteral("Column E");
    QTest::newRow("cell") << 3 << 4 << false << QStringLiteral("Row 3, Column 4");
    QTest::newRow("cell, letters") << 3 << 27 << true << QStringLiteral("Cell AB3");
    QTest::newRow("origin, letters") << 0 << 0 << true << QStringLiteral("Cell A0");
}

void TestLocationUtilities::feedback() {
    QFETCH(int, row);
    QFETCH(int, col);
    QFETCH(bool, letters);
    QFETCH(QString, expected);
    QCOMPARE(computeCellRangeFeedbackString(row, col, letters), expected);
}

void TestLocationUtilities::garbageNeverCrashes() {
    // Random texts from the characters the grammar cares about; every parser must return
    // quickly and leave sane results. Long texts check that nothing backtracks without bound.
    const QString alphabet = QStringLiteral("rowcolumnsRC0123456789-- ,,;\t\u00e4x");
    QRandomGenerator gen(2024);
    QElapsedTimer timer;
    timer.start();
    for (int i = 0; i < 3000; ++i) {
        const int length = i % 100 == 0 ? int(gen.bounded(500, 5000)) : int(gen.bounded(0, 40));
        QString text;
        for (int k = 0; k < length; ++k)
            text += alphabet.at(int(gen.bounded(alphabet.size())));
        int r = 0;
        int c = 0;
        parseCellLocationString(r, c, text, false, true);
        parseCellLocationString(r, c, text, true, false);
        parseShapeStringRowWise(r, c, text);
        parseShapeStringColWise(r, c, text);
        Cols out;
        QString error;
        parseColsString(out, error, text, 1000, i % 2 == 0);
        QVERIFY(std::all_of(out.begin(), out.end(), [](int v) { return v <= 1000; }));
        parseColsStringColLetters(out, error, text, 1000);
        QVERIFY(out.size() <= 10'000'000);
        convertLettersToNumber(text);
    }
    // A long row of digits and blanks is the worst case for the patterns with ".*".
    QString worst = QStringLiteral("c1");
    for (int i = 0; i < 490; ++i)
        worst += QStringLiteral(" 2");
    int r = 0;
    int c = 0;
    parseCellLocationString(r, c, worst, false, false);
    QVERIFY2(timer.elapsed() < 5000, "parsers too slow on garbage");
}

QTEST_APPLESS_MAIN(TestLocationUtilities)
#include "tst_locationutilities.moc"
