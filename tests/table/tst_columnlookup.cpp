// Column lookup on real tables: which cells a key match writes, in new or existing columns,
// within one table or across two, and that one undo gives the table back exactly.

#include "table/columnlookupcommand.h"
#include "tablemodelfixture.h"

#include <QTest>
#include <QUndoStack>

class TestColumnLookup : public QObject {
    Q_OBJECT

private:
    static QStringList lines(const TableModel& m) {
        QStringList out;
        for (int r = 0; r < m.rowCountModel(); ++r) {
            QStringList row;
            for (int c = 0; c < m.columnCountModel(); ++c)
                row << m.getTableData().getValueModel(r, c).toString();
            out << row.join(u',');
        }
        return out;
    }

private slots:
    void lookup_data() {
        QTest::addColumn<QStringList>("source"); // empty: the destination looks up in itself
        QTest::addColumn<QStringList>("dest");
        QTest::addColumn<int>("keyCol");
        QTest::addColumn<QList<int>>("valueCols");
        QTest::addColumn<int>("destKeyCol");
        QTest::addColumn<int>("destValueCol");
        QTest::addColumn<bool>("insert");
        QTest::addColumn<QString>("mismatch");
        QTest::addColumn<QStringList>("expected"); // empty: nothing to do

        const QStringList people{"id,name,city", "1,ann,oslo", "2,bob,rome", "3,cy,lima"};
        QTest::newRow("overwrite, a key missing")
            << people << QStringList{"id,x", "2,old", "9,keep", "1,"} << 0 << QList<int>{1} << 0 << 1 << false
            << QString() << QStringList{"id,x", "2,bob", "9,keep", "1,ann"};
        QTest::newRow("insert takes the titles")
            << people << QStringList{"id,x", "2,old", "9,keep"} << 0 << QList<int>{1, 2} << 0 << 1 << true
            << QString() << QStringList{"id,name,city,x", "2,bob,rome,old", "9,,,keep"};
        QTest::newRow("columns in the order given")
            << people << QStringList{"x,id", "a,3"} << 0 << QList<int>{2, 1} << 1 << 0 << false << QString()
            << QStringList{"x,id", "lima,cy"};
        QTest::newRow("after the last column")
            << people << QStringList{"id", "1", "3"} << 0 << QList<int>{2} << 0 << 1 << true << QString()
            << QStringList{"id,city", "1,oslo", "3,lima"};
        QTest::newRow("keys are text") << QStringList{"k,v", "01,a", " 1,b"} << QStringList{"k,v", "1,x"} << 0
                                       << QList<int>{1} << 0 << 1 << false << QString() << QStringList();
        QTest::newRow("later source row wins")
            << QStringList{"k,v", "a,1", "a,2"} << QStringList{"k,v", "a,"} << 0 << QList<int>{1} << 0 << 1
            << false << QString() << QStringList{"k,v", "a,2"};
        QTest::newRow("empty keys pair with nothing")
            << QStringList{"k,v", ",1", "a,2"} << QStringList{"k,v", ",x", "a,"} << 0 << QList<int>{1} << 0
            << 1 << false << QString() << QStringList{"k,v", ",x", "a,2"};
        QTest::newRow("header row is no key")
            << QStringList{"k,v", "k,title", "a,1"} << QStringList{"k,v", "a,"} << 0 << QList<int>{1} << 0
            << 1 << false << QString() << QStringList{"k,v", "a,1"};
        QTest::newRow("mismatch value")
            << people << QStringList{"id,x", "2,", "7,old"} << 0 << QList<int>{1} << 0 << 1 << false
            << QStringLiteral("n/a") << QStringList{"id,x", "2,bob", "7,n/a"};
        // Within one table the values are read before anything is written: the key column
        // written over still matched on its old keys.
        QTest::newRow("same table, key overwritten")
            << QStringList() << QStringList{"k,v", "a,b", "b,c"} << 0 << QList<int>{1} << 0 << 0 << false
            << QString() << QStringList{"k,v", "b,b", "c,c"};
        QTest::newRow("same table, insert")
            << QStringList() << QStringList{"k,v", "a,1", "b,2"} << 0 << QList<int>{1} << 0 << 1 << true
            << QString() << QStringList{"k,v,v", "a,1,1", "b,2,2"};
    }
    void lookup() {
        QFETCH(QStringList, source);
        QFETCH(QStringList, dest);
        QFETCH(int, keyCol);
        QFETCH(QList<int>, valueCols);
        QFETCH(int, destKeyCol);
        QFETCH(int, destValueCol);
        QFETCH(bool, insert);
        QFETCH(QString, mismatch);
        QFETCH(QStringList, expected);

        auto destModel = Fixture::load(dest);
        auto sourceModel = source.isEmpty() ? Fixture::LoadedModel{} : Fixture::load(source);
        const TableModel& from = source.isEmpty() ? *destModel : *sourceModel;
        const QStringList before = lines(*destModel);
        // A selection that undo must give back.
        Range selected = Fixture::cell(1, 0);
        destModel->setSelection(selected);

        ColumnLookup::Request request;
        request.keyCol = keyCol;
        request.valueCols.assign(valueCols.begin(), valueCols.end());
        request.destKeyCol = destKeyCol;
        request.destValueCol = destValueCol;
        request.insertNewCols = insert;
        request.mismatchValue = mismatch;
        ColumnLookupCommand* command = ColumnLookup::makeCommand(from, *destModel, request);
        if (expected.isEmpty()) {
            QVERIFY(!command);
            return;
        }
        QVERIFY(command);
        QUndoStack stack;
        stack.push(command);
        QCOMPARE(lines(*destModel), expected);
        stack.undo();
        QCOMPARE(lines(*destModel), before);
        QCOMPARE(destModel->getMainCell().row, 1);
        QCOMPARE(destModel->getMainCell().col, 0);
        stack.redo();
        QCOMPARE(lines(*destModel), expected);
    }

    // Requests that name no column of their table are refused, not clamped.
    void badColumns() {
        auto m = Fixture::load({"k,v", "a,1"});
        ColumnLookup::Request request;
        request.keyCol = 0;
        request.valueCols = {5};
        request.destKeyCol = 0;
        request.destValueCol = 1;
        QVERIFY(!ColumnLookup::makeCommand(*m, *m, request));
        request.valueCols = {1};
        request.destKeyCol = 2;
        QVERIFY(!ColumnLookup::makeCommand(*m, *m, request));
        request.destKeyCol = 0;
        request.keyCol = -1;
        QVERIFY(!ColumnLookup::makeCommand(*m, *m, request));
    }
};

QTEST_GUILESS_MAIN(TestColumnLookup)
#include "tst_columnlookup.moc"
