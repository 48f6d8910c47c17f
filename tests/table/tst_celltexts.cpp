#include "table/setcelltextscommand.h"

#include <QTest>

#include <vector>

// The compact texts that undo steps keep: whatever the shape of the sequence, every text comes
// back as it went in, both as text and as its UTF-8 bytes.
class TestCellTexts : public QObject {
    Q_OBJECT

private slots:
    void cleanup() { CellTexts::setNarrowLimitForTesting(0); }
    void textsComeBack_data();
    void textsComeBack();
};

void TestCellTexts::textsComeBack_data() {
    QTest::addColumn<QStringList>("texts");
    QTest::addColumn<quint64>("narrowLimit"); // 0: the real one

    const QString wide = QStringLiteral("\u00e9t\u00e9 \u65e5\u672c");
    QStringList same(1000, QStringLiteral("abc"));
    QStringList lateChange = same;
    lateChange.append(QStringLiteral("x"));
    lateChange.append(QStringLiteral("abc"));
    QStringList empties(500, QString());
    QStringList emptiesThenText = empties;
    emptiesThenText.append(wide);
    QStringList mixed;
    for (int i = 0; i < 300; ++i)
        mixed.append(i % 7 == 0 ? QString() : i % 3 == 0 ? wide : QString::number(i * 37));

    QTest::newRow("one") << QStringList{QStringLiteral("a")} << quint64(0);
    QTest::newRow("all the same") << same << quint64(0);
    QTest::newRow("the same, then others") << lateChange << quint64(0);
    QTest::newRow("second differs") << QStringList{QStringLiteral("a"), QStringLiteral("b"),
                                                   QStringLiteral("a")}
                                    << quint64(0);
    QTest::newRow("all empty") << empties << quint64(0);
    QTest::newRow("empty, then non-ASCII") << emptiesThenText << quint64(0);
    QTest::newRow("mixed") << mixed << quint64(0);
    // Offsets past the narrow limit: while the same text repeats, when it is spelled out, and
    // while texts are appended one by one.
    QTest::newRow("wide while spelled out") << lateChange << quint64(1000);
    QTest::newRow("wide while appended") << mixed << quint64(200);
    QTest::newRow("wide from the start") << mixed << quint64(1);
}

void TestCellTexts::textsComeBack() {
    QFETCH(QStringList, texts);
    QFETCH(quint64, narrowLimit);
    CellTexts::setNarrowLimitForTesting(narrowLimit);

    CellTexts kept;
    kept.reserve(std::size_t(texts.size()), 16);
    for (const QString& text : texts)
        kept.append(text);
    kept.squeeze();
    QCOMPARE(kept.size(), std::size_t(texts.size()));
    for (qsizetype i = 0; i < texts.size(); ++i) {
        QCOMPARE(kept.at(std::size_t(i)), texts[i]);
        const std::string_view bytes = kept.view(std::size_t(i));
        QCOMPARE(QByteArray(bytes.data(), qsizetype(bytes.size())), texts[i].toUtf8());
    }
    // A run of one text keeps it once.
    if (texts.count(texts.front()) == texts.size())
        QVERIFY(kept.memoryBytes() < 1000);
}

QTEST_APPLESS_MAIN(TestCellTexts)
#include "tst_celltexts.moc"
