// How the column lookup's prompts read their answers.

#include "util/lookuputilities.h"

#include <QTest>

class TestLookupUtilities : public QObject {
    Q_OBJECT

private slots:
    void column_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("letters");
        QTest::addColumn<bool>("blank");
        QTest::addColumn<bool>("valid");
        QTest::addColumn<int>("col");
        QTest::newRow("blank") << "  " << false << true << false << 0;
        QTest::newRow("number") << " 3 " << false << false << true << 3;
        QTest::newRow("word and number") << "col 12" << false << false << true << 12;
        QTest::newRow("column word") << "Column 2" << false << false << true << 2;
        QTest::newRow("first index below zero") << "-1" << false << false << true << -1;
        QTest::newRow("letters") << "c" << true << false << true << 2;
        QTest::newRow("two letters") << "AB" << true << false << true << 27;
        QTest::newRow("number where letters") << "3" << true << false << false << 0;
        QTest::newRow("letters where numbers") << "c" << false << false << false << 0;
        QTest::newRow("two numbers") << "3 4" << false << false << false << 0;
    }
    void column() {
        QFETCH(QString, text);
        QFETCH(bool, letters);
        QFETCH(bool, blank);
        QFETCH(bool, valid);
        QFETCH(int, col);
        const Utilities::LookupColumnAnswer answer = Utilities::parseLookupColumnAnswer(text, letters);
        QCOMPARE(answer.blank, blank);
        QCOMPARE(answer.valid, valid);
        if (valid)
            QCOMPARE(answer.col, col);
    }

    void columns_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("letters");
        QTest::addColumn<bool>("valid");
        QTest::addColumn<bool>("all");
        QTest::addColumn<QList<int>>("cols");
        QTest::newRow("all but key") << " * " << false << true << true << QList<int>{};
        QTest::newRow("list in order typed") << "4, 1-2" << false << true << false << QList<int>{4, 1, 2};
        QTest::newRow("letters") << "c, a" << true << true << false << QList<int>{2, 0};
        QTest::newRow("above the limit") << "1, 40" << false << false << false << QList<int>{};
        QTest::newRow("not a column") << "x" << false << false << false << QList<int>{};
    }
    void columns() {
        QFETCH(QString, text);
        QFETCH(bool, letters);
        QFETCH(bool, valid);
        QFETCH(bool, all);
        QFETCH(QList<int>, cols);
        const Utilities::LookupColumnsAnswer answer = Utilities::parseLookupColumnsAnswer(text, letters, 20);
        QCOMPARE(answer.valid, valid);
        QCOMPARE(answer.allButKey, all);
        QCOMPARE(QList<int>(answer.cols.begin(), answer.cols.end()), cols);
        QVERIFY(Utilities::parseLookupColumnsAnswer(QString(), letters, 20).blank);
    }

    void feedbackAndChoice() {
        QCOMPARE(Utilities::computeColRangeFeedbackString({3}, false), QStringLiteral("Column 3"));
        QCOMPARE(Utilities::computeColRangeFeedbackString({5, 1, 2, 3}, false),
                 QStringLiteral("Columns 1-3, 5"));
        QCOMPARE(Utilities::computeColRangeFeedbackString({2}, true), QStringLiteral("Column C"));
        QCOMPARE(Utilities::computeColRangeFeedbackString({}, false), QStringLiteral("(No column selected)"));
        QVERIFY(Utilities::isInsertNewColumnsAnswer(QStringLiteral("Insert new columns")));
        QVERIFY(!Utilities::isInsertNewColumnsAnswer(QStringLiteral("Overwrite existing columns")));
    }
};

QTEST_GUILESS_MAIN(TestLookupUtilities)
#include "tst_lookuputilities.moc"
