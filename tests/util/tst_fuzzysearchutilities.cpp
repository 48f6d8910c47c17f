#include "util/fuzzysearchutilities.h"

#include <QTest>

using Positions = std::vector<int>;

class TestFuzzySearchUtilities : public QObject {
    Q_OBJECT

private slots:
    void score_data();
    void score();
};

void TestFuzzySearchUtilities::score_data() {
    QTest::addColumn<QString>("query");
    QTest::addColumn<QString>("target");
    QTest::addColumn<int>("score");
    QTest::addColumn<Positions>("positions");

    const QString sortColumn = QStringLiteral("Sort Selected Column");
    QTest::newRow("adjacent letters cost nothing") << "sor" << sortColumn << 180 << Positions{0, 1, 2};
    // Two gaps of 4 in the text without spaces: 180 - 2 * (20 + 12).
    QTest::newRow("initials score below adjacent") << "ssc" << sortColumn << 116 << Positions{0, 5, 9};
    QTest::newRow("case is ignored") << "SORT"
                                     << "sort" << 240 << Positions{0, 1, 2, 3};
    QTest::newRow("missing character") << "sq" << sortColumn << -1 << Positions{};
    QTest::newRow("characters out of order") << "cs" << sortColumn << -1 << Positions{};
    QTest::newRow("empty query") << "" << sortColumn << -1 << Positions{};
    QTest::newRow("query of spaces") << "   " << sortColumn << -1 << Positions{};
    QTest::newRow("empty target") << "a"
                                  << "" << -1 << Positions{};

    const QString goToCell = QStringLiteral("Go To Cell");
    QTest::newRow("spaces in the target only") << "goto" << goToCell << 240 << Positions{0, 1, 3, 4};
    QTest::newRow("spaces in both") << "go to" << goToCell << 240 << Positions{0, 1, 3, 4};
    QTest::newRow("spaces elsewhere in the query") << "g ot o" << goToCell << 240 << Positions{0, 1, 3, 4};
    QTest::newRow("trailing spaces") << "cell  " << goToCell << 240 << Positions{6, 7, 8, 9};

    QTest::newRow("a later start wins") << "col"
                                        << "Select Column" << 180 << Positions{7, 8, 9};
    QTest::newRow("equal scores keep the earliest") << "ab"
                                                    << "ab ab" << 120 << Positions{0, 1};
    // One gap of 41: 120 - (20 + 123).
    const QString far = QStringLiteral("a") + QString(40, QLatin1Char('x')) + QStringLiteral("b");
    QTest::newRow("scattered query scores below 0") << "ab" << far << -23 << Positions{0, 41};

    QTest::newRow("command with category")
        << "ins"
        << "Data/Insert: Insert Row(s) Before" << 180 << Positions{5, 6, 7};
    // "Go To:" offers a start too, but the second "Go To" has the shorter gaps.
    QTest::newRow("best of the starts in a command") << "gtc"
                                                     << "Go To: Go To Cell" << 128 << Positions{7, 10, 13};
    QTest::newRow("punctuation matches")
        << "row(s)"
        << "Data/Insert: Insert Row(s) Before" << 360 << Positions{20, 21, 22, 23, 24, 25};
    QTest::newRow("letters beyond ASCII") << "ÜBER"
                                          << "über alles" << 240 << Positions{0, 1, 2, 3};
}

void TestFuzzySearchUtilities::score() {
    QFETCH(QString, query);
    QFETCH(QString, target);
    QFETCH(int, score);
    QFETCH(Positions, positions);

    int gotScore = 12345;
    Positions gotPositions{99};
    Utilities::fuzzySearchScoreAndMatch(gotScore, gotPositions, query, target);
    QCOMPARE(gotScore, score);
    QCOMPARE(gotPositions, positions);
    for (int p : gotPositions)
        QVERIFY(target.at(p) != QLatin1Char(' '));
}

QTEST_APPLESS_MAIN(TestFuzzySearchUtilities)
#include "tst_fuzzysearchutilities.moc"
