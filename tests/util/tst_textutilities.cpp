#include "util/textutilities.h"

#include <QRegularExpression>
#include <QTest>

class TestTextUtilities : public QObject {
    Q_OBJECT

private slots:
    void modifyNumber_data();
    void modifyNumber();
    void countingSeries();
    void uuidDetection_data();
    void uuidDetection();
    void uuidReplacement_data();
    void uuidReplacement();
    void uuidVersions();
};

void TestTextUtilities::modifyNumber_data() {
    QTest::addColumn<QString>("text");
    QTest::addColumn<qint64>("delta");
    QTest::addColumn<QString>("expected");
    QTest::newRow("separator after letter") << "INV-1001" << qint64(1) << "INV-1002";
    QTest::newRow("separator, down") << "INV-1001" << qint64(-2) << "INV-999";
    QTest::newRow("negative to zero") << "-1" << qint64(1) << "0";
    QTest::newRow("negative after space") << "a -5" << qint64(1) << "a -4";
    QTest::newRow("zero padded") << "007" << qint64(1) << "008";
    QTest::newRow("zero padded overflow width") << "99" << qint64(1) << "100";
    QTest::newRow("padded grows") << "09" << qint64(100) << "109";
    QTest::newRow("padded negative") << "007" << qint64(-10) << "-003";
    QTest::newRow("first number only") << "a1b2" << qint64(5) << "a6b2";
    QTest::newRow("no number") << "abc" << qint64(3) << "abc";
    QTest::newRow("empty") << "" << qint64(3) << "";
    QTest::newRow("delta zero") << "12" << qint64(0) << "12";
    QTest::newRow("single zero is no width") << "0" << qint64(-1) << "-1";
    QTest::newRow("large") << "9223372036854775806" << qint64(1) << "9223372036854775807";
    QTest::newRow("saturates") << "9223372036854775807" << qint64(1) << "9223372036854775807";
    QTest::newRow("huge digits") << "99999999999999999999999" << qint64(-1) << "9223372036854775806";
    QTest::newRow("unicode letter before minus")
        << QString::fromUtf8("é-5") << qint64(1) << QString::fromUtf8("é-6");
    QTest::newRow("digit before minus is a sign") << "5-5" << qint64(1) << "6-5";
}

void TestTextUtilities::modifyNumber() {
    QFETCH(QString, text);
    QFETCH(qint64, delta);
    QFETCH(QString, expected);
    QCOMPARE(Utilities::modifyNumberInString(text, delta), expected);
}

// The drag gives cell k of the span the anchor text changed by k * step.
void TestTextUtilities::countingSeries() {
    QStringList got;
    for (int k = 1; k <= 3; ++k)
        got << Utilities::modifyNumberInString(QStringLiteral("007"), k);
    QCOMPARE(got, QStringList({"008", "009", "010"}));
}

void TestTextUtilities::uuidDetection_data() {
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("expected");
    QTest::newRow("plain") << "123e4567-e89b-12d3-a456-426614174000" << true;
    QTest::newRow("in text") << "id: {123E4567-E89B-12D3-A456-426614174000}." << true;
    QTest::newRow("short group") << "123e4567-e89b-12d3-a456-42661417400" << false;
    QTest::newRow("not hex") << "123e4567-e89b-12d3-a456-42661417400g" << false;
    QTest::newRow("empty") << "" << false;
}

void TestTextUtilities::uuidDetection() {
    QFETCH(QString, text);
    QFETCH(bool, expected);
    QCOMPARE(Utilities::containsUuid(text), expected);
}

void TestTextUtilities::uuidReplacement_data() {
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("pattern"); // what the result must match whole
    const QString lower = QStringLiteral("[0-9a-f]{8}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{12}");
    const QString upper = QStringLiteral("[0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{12}");
    QTest::newRow("lower") << "123e4567-e89b-12d3-a456-426614174000" << lower;
    QTest::newRow("braces kept") << "{123e4567-e89b-12d3-a456-426614174000}"
                                 << "\\{" + lower + "\\}";
    QTest::newRow("upper kept") << "123E4567-E89B-12D3-A456-426614174000" << upper;
    QTest::newRow("digits only is lower") << "12345678-1234-1234-1234-123456789012" << lower;
    QTest::newRow("mixed case is lower") << "123E4567-e89b-12d3-a456-426614174000" << lower;
    QTest::newRow("text around, first only")
        << "a 123e4567-e89b-12d3-a456-426614174000 b 00000000-0000-0000-0000-000000000000"
        << "a " + lower + " b 00000000-0000-0000-0000-000000000000";
    QTest::newRow("no uuid") << "abc"
                             << "abc";
}

void TestTextUtilities::uuidReplacement() {
    QFETCH(QString, text);
    QFETCH(QString, pattern);
    const QString result = Utilities::replaceUuidInString(text, UuidV4);
    const QRegularExpression re(QRegularExpression::anchoredPattern(pattern));
    QVERIFY2(re.match(result).hasMatch(), qPrintable(result));
    if (Utilities::containsUuid(text))
        QVERIFY(result != text);
}

void TestTextUtilities::uuidVersions() {
    const QString v4 = Utilities::createUuid(UuidV4);
    const QString v7a = Utilities::createUuid(UuidV7);
    const QString v7b = Utilities::createUuid(UuidV7);
    QCOMPARE(v4.at(14), QLatin1Char('4'));
    QCOMPARE(v7a.at(14), QLatin1Char('7'));
    QVERIFY(QStringLiteral("89ab").contains(v7a.at(19)));
    QVERIFY(v7a != v7b);
    // The time prefix orders v7 values made one after another.
    QVERIFY(v7a.left(8) <= v7b.left(8));
}

QTEST_GUILESS_MAIN(TestTextUtilities)
#include "tst_textutilities.moc"
