// An XML document nested deeper than the conversion reads: like a JSON document, it is read down
// to that depth, and its records still make a table.

#include "convert/conversion.h"
#include "convert/jsoncontainer.h"

#include <QTest>

class TestDeepXml : public QObject {
    Q_OBJECT

private slots:
    void readDownToTheLimit_data() {
        QTest::addColumn<int>("levels");
        QTest::newRow("just below the limit") << JsonContainer::kMaxDepth - 4;
        QTest::newRow("past the limit") << JsonContainer::kMaxDepth + 500;
        QTest::newRow("far past the limit") << 60000;
    }

    void readDownToTheLimit() {
        QFETCH(int, levels);
        // Records at depth 1; the first holds a chain of `levels` nested elements with a value at
        // its end and an attribute halfway down.
        QString text = QStringLiteral("<r><rec><name>x</name>");
        for (int i = 0; i < levels; ++i)
            text += i == 10 ? QStringLiteral("<d k=\"half\">") : QStringLiteral("<d>");
        text += QStringLiteral("v");
        for (int i = 0; i < levels; ++i)
            text += QStringLiteral("</d>");
        text += QStringLiteral("<after>z</after></rec><rec><name>y</name></rec></r>");

        const Conversion::Rows rows = Conversion::convertXmlToTable(text, false);
        QCOMPARE(rows.size(), std::size_t(3));
        const QStringList& titles = rows[0];
        const QString half = QStringList(11, QStringLiteral("d")).join(u'/') + QStringLiteral("/k_");
        QVERIFY(titles.contains(QStringLiteral("name")));
        QVERIFY(titles.contains(half));
        QVERIFY(titles.contains(QStringLiteral("after")));
        // The chain's value is a column only while it lies within the depth read.
        const bool deepValueRead = levels + 2 <= JsonContainer::kMaxDepth;
        QCOMPARE(titles.size(), deepValueRead ? 4 : 3);
        const auto cell = [&](std::size_t row, const QString& title) {
            return rows[row].value(titles.indexOf(title));
        };
        QCOMPARE(cell(1, QStringLiteral("name")), QStringLiteral("x"));
        QCOMPARE(cell(1, half), QStringLiteral("half"));
        QCOMPARE(cell(1, QStringLiteral("after")), QStringLiteral("z"));
        QCOMPARE(cell(2, QStringLiteral("name")), QStringLiteral("y"));
    }
};

QTEST_MAIN(TestDeepXml)
#include "tst_deepxml.moc"
