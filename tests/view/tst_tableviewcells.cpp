#include "viewfixture.h"

#include <QUndoStack>

using namespace ViewFixture;

namespace {

using Operation = bool (TableView::*)();

// The table as lines of cells, for as far as the data goes.
QStringList lines(const TableModel& m) {
    QStringList out;
    for (int r = 0; r < m.rowCountModel(); ++r) {
        QStringList cells;
        for (int c = 0; c < m.columnCountModel(); ++c)
            cells << Fixture::text(m, r, c, Qt::EditRole);
        out << cells.join(QLatin1Char(','));
    }
    return out;
}

QString selected(const TableModel& m) {
    QStringList parts{mainCell(m)};
    for (const auto& [row, col] : m.getSelectionIndexes())
        parts << QStringLiteral("%1,%2").arg(row).arg(col);
    return parts.join(QLatin1Char(' '));
}

} // namespace

Q_DECLARE_METATYPE(Operation)

class TestTableViewCells : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() {
        QStandardPaths::setTestModeEnabled(true);
        TableView::autoFitWarningHook = [](const QString&, bool&) { return false; };
    }

    // On a 3 x 3 grid of "r<row>c<col>": the lines after the operation, which one undo step
    // takes back exactly, selection included.
    void operations_data() {
        QTest::addColumn<Operation>("operation");
        QTest::addColumn<QRect>("block"); // columns x..right, rows y..bottom
        QTest::addColumn<QStringList>("expected");
        const auto l = [](const char* text) { return QString::fromLatin1(text); };
        QTest::newRow("insert cells, row right")
            << &TableView::insertCellsMoveRestOfRowRight << QRect(QPoint(1, 1), QPoint(1, 1))
            << QStringList{l("r0c0,r0c1,r0c2,"), l("r1c0,,r1c1,r1c2"), l("r2c0,r2c1,r2c2,")};
        QTest::newRow("insert two cells, row right")
            << &TableView::insertCellsMoveRestOfRowRight << QRect(QPoint(0, 2), QPoint(1, 2))
            << QStringList{l("r0c0,r0c1,r0c2,,"), l("r1c0,r1c1,r1c2,,"), l(",,r2c0,r2c1,r2c2")};
        QTest::newRow("insert cells, column down")
            << &TableView::insertCellsMoveRestOfColumnDown << QRect(QPoint(2, 0), QPoint(2, 1))
            << QStringList{l("r0c0,r0c1,"), l("r1c0,r1c1,"), l("r2c0,r2c1,r0c2"), l(",,r1c2"), l(",,r2c2")};
        QTest::newRow("remove cells, row left")
            << &TableView::removeSelectedCellsMoveRestOfRowLeft << QRect(QPoint(0, 1), QPoint(1, 1))
            << QStringList{l("r0c0,r0c1,r0c2"), l("r1c2,,"), l("r2c0,r2c1,r2c2")};
        QTest::newRow("remove cells, column up")
            << &TableView::removeSelectedCellsMoveRestOfColumnUp << QRect(QPoint(1, 0), QPoint(1, 0))
            << QStringList{l("r0c0,r1c1,r0c2"), l("r1c0,r2c1,r1c2"), l("r2c0,,r2c2")};
        QTest::newRow("rest of rows")
            << &TableView::removeSelectedCellsAndTheRestOfTheirRows << QRect(QPoint(1, 0), QPoint(1, 1))
            << QStringList{l("r0c0,,"), l("r1c0,,"), l("r2c0,r2c1,r2c2")};
        QTest::newRow("rest of columns")
            << &TableView::removeSelectedCellsAndTheRestOfTheirColumns << QRect(QPoint(2, 1), QPoint(2, 1))
            << QStringList{l("r0c0,r0c1,r0c2"), l("r1c0,r1c1,"), l("r2c0,r2c1,")};
        QTest::newRow("transpose a row part")
            << &TableView::transposeSelectedCells << QRect(QPoint(0, 0), QPoint(2, 0))
            << QStringList{l("r0c0,,"), l("r0c1,r1c1,r1c2"), l("r0c2,r2c1,r2c2")};
        QTest::newRow("transpose a square")
            << &TableView::transposeSelectedCells << QRect(QPoint(1, 1), QPoint(2, 2))
            << QStringList{l("r0c0,r0c1,r0c2"), l("r1c0,r1c1,r2c1"), l("r2c0,r1c2,r2c2")};
    }
    void operations() {
        QFETCH(Operation, operation);
        QFETCH(QRect, block);
        QFETCH(QStringList, expected);
        ShownTable t = makeTable(Fixture::gridLines(3, 3));
        t.view->moveSelectionAbsolute(block.top(), block.left());
        Range range = Fixture::table(block.top(), block.left(), block.bottom(), block.right());
        range.isMainCell = true;
        range.mainCellRow = block.top();
        range.mainCellCol = block.left();
        t.model->setSelection(range);
        const QStringList before = lines(*t.model);
        const QString selectionBefore = selected(*t.model);
        QVERIFY((t.view.get()->*operation)());
        QCOMPARE(lines(*t.model), expected);
        QCOMPARE(t.view->undoStack()->count(), 1);
        t.view->undo();
        QCOMPARE(lines(*t.model), before);
        QCOMPARE(selected(*t.model), selectionBefore);
    }

    // Nothing to change makes no step.
    void nothingToDo() {
        ShownTable t = makeTable(QStringList{QStringLiteral("a,,"), QStringLiteral(",,")});
        t.view->moveSelectionAbsolute(0, 2);
        QVERIFY(!t.view->removeSelectedCellsAndTheRestOfTheirRows());
        QVERIFY(!t.view->transposeSelectedCells());
        QCOMPARE(t.view->undoStack()->count(), 0);
    }

    void removeEmptyLines_data() {
        QTest::addColumn<int>("axis");
        QTest::addColumn<bool>("selectedOnly");
        QTest::addColumn<QStringList>("expected");
        QTest::newRow("empty rows") << int(Axis::Row) << false
                                    << QStringList{QStringLiteral("a,,c"), QStringLiteral(",,z")};
        QTest::newRow("empty columns")
            << int(Axis::Col) << false
            << QStringList{QStringLiteral("a,c"), QStringLiteral(","), QStringLiteral(",z")};
        // Column 0 is selected: rows empty there go, whatever the other columns hold.
        QTest::newRow("rows empty in the selected column")
            << int(Axis::Row) << true << QStringList{QStringLiteral("a,,c")};
        // Row 0 is selected: column 1 is empty there.
        QTest::newRow("columns empty in the selected row")
            << int(Axis::Col) << true
            << QStringList{QStringLiteral("a,c"), QStringLiteral(","), QStringLiteral(",z")};
    }
    void removeEmptyLines() {
        QFETCH(int, axis);
        QFETCH(bool, selectedOnly);
        QFETCH(QStringList, expected);
        ShownTable t =
            makeTable(QStringList{QStringLiteral("a,,c"), QStringLiteral(",,"), QStringLiteral(",,z")});
        t.view->moveSelectionAbsolute(0, 0);
        QVERIFY(t.view->removeEmptyLines(Axis(axis), selectedOnly));
        QCOMPARE(lines(*t.model), expected);
    }

    // The lines of a sorted table are its model's: a row empty in the selected column is found
    // where the sort shows it, and a row hidden by a filter is not touched.
    void removeEmptyRowsOfASortedTable() {
        ShownTable t =
            makeTable(QStringList{QStringLiteral("h,h"), QStringLiteral("b,1"), QStringLiteral(",2"),
                                  QStringLiteral("a,3"), QStringLiteral(",4")});
        t.view->moveSelectionAbsolute(1, 1);
        QVERIFY(t.view->sortRowsOrCols(Axis::Row, SortType::Descending));
        t.view->moveSelectionAbsolute(1, 0);
        QVERIFY(t.view->removeEmptyLines(Axis::Row, true));
        QCOMPARE(lines(*t.model),
                 (QStringList{QStringLiteral("h,h"), QStringLiteral("a,3"), QStringLiteral("b,1")}));
        // Hidden, the row ",5" is no line of the model's; ",6" below it goes.
        ShownTable h = makeTable(QStringList{QStringLiteral("h,h"), QStringLiteral(",5"),
                                             QStringLiteral("a,3"), QStringLiteral(",6")});
        h.view->moveSelectionAbsolute(1, 0);
        QVERIFY(h.view->hideSelectedRows());
        h.view->moveSelectionAbsolute(1, 0);
        QVERIFY(h.view->removeEmptyLines(Axis::Row, true));
        QCOMPARE(lines(*h.model), (QStringList{QStringLiteral("h,h"), QStringLiteral("a,3")}));
        QCOMPARE(h.model->rowCountRaw(), 3);
    }
};

QTEST_MAIN(TestTableViewCells)
#include "tst_tableviewcells.moc"
