// Lines inserted after several lines in one move of the table, against the same inserts made one
// line at a time: the same table, raw and shown, the same hidden lines, and undo back to the start.
#include "table/insertlinegroupscommand.h"
#include "table/rowcolcommands.h"
#include "tablemodelfixture.h"

#include <QUndoStack>

using namespace Fixture;

namespace {

QStringList rawCells(const TableModel& m) {
    QStringList rows;
    const TableData& data = m.getTableData();
    for (int r = 0; r < data.numRawRows(); ++r) {
        QStringList row;
        for (int c = 0; c < data.numRawCols(); ++c)
            row << data.getValueRaw(r, c).toString();
        rows << row.join('|');
    }
    return rows;
}

QStringList shownCells(const TableModel& m) {
    QStringList rows;
    for (int r = 0; r < m.rowCountModel(); ++r) {
        QStringList row;
        for (int c = 0; c < m.columnCountModel(); ++c)
            row << text(m, r, c, Qt::EditRole);
        rows << row.join('|');
    }
    return rows;
}

using Groups = std::vector<std::pair<int, int>>;

} // namespace

Q_DECLARE_METATYPE(Groups)

class TestInsertLineGroups : public QObject {
    Q_OBJECT

private slots:
    void sameAsOneLineAtATime_data() {
        QTest::addColumn<bool>("rows");
        QTest::addColumn<bool>("hidden");
        QTest::addColumn<Groups>("groups");
        const Groups rowGroups{{0, 2}, {4, 1}, {5, 3}, {11, 1}};
        const Groups colGroups{{0, 1}, {2, 2}, {4, 1}};
        QTest::newRow("rows") << true << false << rowGroups;
        QTest::newRow("rows, some hidden") << true << true << rowGroups;
        QTest::newRow("rows, after the last") << true << false << Groups{{13, 2}};
        QTest::newRow("columns") << false << false << colGroups;
        QTest::newRow("columns, some hidden") << false << true << colGroups;
    }
    void sameAsOneLineAtATime() {
        QFETCH(bool, rows);
        QFETCH(bool, hidden);
        QFETCH(Groups, groups);
        const QStringList lines = gridLines(14, 6);
        auto one = load(lines);
        auto many = load(lines);
        for (TableModel* m : {one.model.get(), many.model.get()}) {
            m->setNumberOfHeaderRows(0);
            if (hidden) {
                m->setAndApplyHiddenRowsList({3, 8});
                m->setAndApplyHiddenColsList({2});
            }
        }
        const QStringList original = rawCells(*many);
        QUndoStack oneStack;
        QUndoStack manyStack;
        // The last line first, so that the earlier ones keep their places.
        for (auto it = groups.rbegin(); it != groups.rend(); ++it) {
            if (rows)
                oneStack.push(new InsertRowsCommand(one.model.get(), {it->first}, it->second, true));
            else
                oneStack.push(new InsertColsCommand(one.model.get(), {it->first}, it->second, true));
        }
        manyStack.push(new InsertLineGroupsCommand(many.model.get(), rows ? Axis::Row : Axis::Col, groups));
        QCOMPARE(manyStack.count(), 1);
        QCOMPARE(rawCells(*many), rawCells(*one));
        QCOMPARE(shownCells(*many), shownCells(*one));
        QCOMPARE(many->getHiddenRows(), one->getHiddenRows());
        QCOMPARE(many->getHiddenCols(), one->getHiddenCols());
        QCOMPARE(many->rowCount(), one->rowCount());
        QCOMPARE(many->columnCount(), one->columnCount());
        QVERIFY(rawCells(*many) != original);

        manyStack.undo();
        while (oneStack.canUndo())
            oneStack.undo();
        QCOMPARE(rawCells(*many), original);
        QCOMPARE(shownCells(*many), shownCells(*one));
        QCOMPARE(many->getHiddenRows(), one->getHiddenRows());
        manyStack.redo();
        while (oneStack.canRedo())
            oneStack.redo();
        QCOMPARE(rawCells(*many), rawCells(*one));
    }
};

QTEST_GUILESS_MAIN(TestInsertLineGroups)
#include "tst_insertlinegroups.moc"
