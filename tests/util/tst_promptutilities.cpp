#include "util/promptutilities.h"

#include <QTest>

#include <climits>

class TestPromptUtilities : public QObject {
    Q_OBJECT

private slots:
    void count_data();
    void count();
    void integer_data();
    void integer();
};

void TestPromptUtilities::integer_data() {
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("minimum");
    QTest::addColumn<bool>("ok");
    QTest::addColumn<int>("value");
    QTest::newRow("plain") << "24" << 1 << true << 24;
    QTest::newRow("negative allowed") << " -3 " << INT_MIN << true << -3;
    QTest::newRow("negative refused") << "-3" << 0 << false << -7;
    QTest::newRow("plus") << "+7" << 0 << true << 7;
    QTest::newRow("thousands") << "1,200" << 1 << true << 1200;
    QTest::newRow("misplaced comma") << "12,00" << 1 << false << -7;
    QTest::newRow("leading comma") << ",200" << 1 << false << -7;
    QTest::newRow("pixels") << "60 px" << 1 << true << 60;
    QTest::newRow("megabytes") << "100MB" << 0 << true << 100;
    QTest::newRow("zero below a positive minimum") << "0" << 1 << false << -7;
    QTest::newRow("past int") << "3000000000" << INT_MIN << false << -7;
    QTest::newRow("lone sign") << "-" << INT_MIN << false << -7;
    QTest::newRow("decimal") << "2.5" << 0 << false << -7;
    QTest::newRow("unit alone") << "px" << 0 << false << -7;
    QTest::newRow("other digits") << QString::fromUtf8("٣") << 0 << false << -7;
}

void TestPromptUtilities::integer() {
    QFETCH(QString, text);
    QFETCH(int, minimum);
    QFETCH(bool, ok);
    QFETCH(int, value);
    int got = -7;
    QCOMPARE(Utilities::parseIntegerString(got, text, minimum, INT_MAX), ok);
    QCOMPARE(got, value);
}

void TestPromptUtilities::count_data() {
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("minimum");
    QTest::addColumn<int>("maximum");
    QTest::addColumn<bool>("ok");
    QTest::addColumn<int>("count");
    QTest::newRow("plain") << "5" << 1 << 100 << true << 5;
    QTest::newRow("blanks around") << "  12 " << 1 << 100 << true << 12;
    QTest::newRow("plus sign") << "+3" << 1 << 100 << true << 3;
    QTest::newRow("times after") << "10 times" << 1 << 100 << true << 10;
    QTest::newRow("x before") << "x4" << 1 << 100 << true << 4;
    QTest::newRow("x after") << "4x" << 1 << 100 << true << 4;
    QTest::newRow("lowest allowed") << "0" << 0 << 100 << true << 0;
    QTest::newRow("highest allowed") << "100" << 1 << 100 << true << 100;
    QTest::newRow("below the range") << "0" << 1 << 100 << false << -7;
    QTest::newRow("above the range") << "101" << 1 << 100 << false << -7;
    QTest::newRow("negative") << "-2" << 0 << 100 << false << -7;
    QTest::newRow("word") << "three" << 1 << 100 << false << -7;
    QTest::newRow("decimal") << "2.5" << 1 << 100 << false << -7;
    QTest::newRow("two numbers") << "2 3" << 1 << 100 << false << -7;
    QTest::newRow("empty") << "" << 1 << 100 << false << -7;
    QTest::newRow("only a word") << "times" << 1 << 100 << false << -7;
    QTest::newRow("past int") << "99999999999999999999" << 1 << 100 << false << -7;
    QTest::newRow("other digits") << QString::fromUtf8("٣") << 1 << 100 << false << -7;
}

void TestPromptUtilities::count() {
    QFETCH(QString, text);
    QFETCH(int, minimum);
    QFETCH(int, maximum);
    QFETCH(bool, ok);
    QFETCH(int, count);
    int got = -7;
    QCOMPARE(Utilities::parseCountString(got, text, minimum, maximum), ok);
    QCOMPARE(got, count);
}

QTEST_APPLESS_MAIN(TestPromptUtilities)
#include "tst_promptutilities.moc"
