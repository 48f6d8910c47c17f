#include "viewfixture.h"

#include "view/headerview.h"

#include <QLocale>
#include <QUndoStack>

using namespace ViewFixture;

namespace {

QStringList columnTexts(const TableModel& m, int col) {
    QStringList out;
    for (int r = 0; r < m.rowCountModel(); ++r)
        out << Fixture::text(m, r, col, Qt::EditRole);
    return out;
}

void doubleClickLabel(HeaderView* header, int section) {
    const bool horizontal = header->orientation() == Qt::Horizontal;
    const int middle = header->sectionViewportPosition(section) + header->sectionSize(section) / 2;
    const QPoint p = horizontal ? QPoint(middle, header->height() / 2) : QPoint(header->width() / 2, middle);
    mouse(header->viewport(), QEvent::MouseButtonDblClick, p, Qt::LeftButton, Qt::LeftButton);
}

} // namespace

class TestTableViewSort : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void doubleClickTurnsOrder();
    void rowLabelSortsColumns();
    void editKeepsTheSortMark();
    void selectedCells_data();
    void selectedCells();
    void readOnlySortsWithoutUndo();
    void readOnlyFileSorts();
    void duplicates_data();
    void duplicates();
};

void TestTableViewSort::initTestCase() {
    QStandardPaths::setTestModeEnabled(true);
    QLocale::setDefault(QLocale::c());
}

void TestTableViewSort::doubleClickTurnsOrder() {
    ShownTable t = makeTable({"name,n", "b,10", "a,9", "c,a2", "d,", "e,a10"});
    HeaderView* header = t.view->horizontalHeaderView();
    doubleClickLabel(header, 1);
    QCOMPARE(columnTexts(*t.model, 1).mid(0, 6), (QStringList{"n", "9", "10", "a2", "a10", ""}));
    QCOMPARE(t.model->headerData(1, Qt::Horizontal).toString(), QStringLiteral("1 \u2191"));
    doubleClickLabel(header, 1);
    QCOMPARE(columnTexts(*t.model, 1).mid(0, 6), (QStringList{"n", "", "a10", "a2", "10", "9"}));
    QCOMPARE(t.model->headerData(1, Qt::Horizontal).toString(), QStringLiteral("1 \u2193"));
    doubleClickLabel(header, 1);
    QCOMPARE(columnTexts(*t.model, 1).mid(0, 6), (QStringList{"n", "9", "10", "a2", "a10", ""}));
    // Another column starts ascending again, and the first loses its arrow.
    doubleClickLabel(header, 0);
    QCOMPARE(columnTexts(*t.model, 0).mid(0, 6), (QStringList{"name", "a", "b", "c", "d", "e"}));
    QCOMPARE(t.model->headerData(1, Qt::Horizontal).toString(), QStringLiteral("1"));
    QCOMPARE(t.view->undoStack()->count(), 4);
    while (t.view->undoStack()->canUndo())
        t.view->undo();
    QCOMPARE(columnTexts(*t.model, 0).mid(0, 6), (QStringList{"name", "b", "a", "c", "d", "e"}));
    QCOMPARE(t.model->headerData(1, Qt::Horizontal).toString(), QStringLiteral("1"));
}

void TestTableViewSort::rowLabelSortsColumns() {
    ShownTable t = makeTable({"3,1,2", "c,a,b"});
    t.view->setNumberOfHeaderColumns(0, false);
    t.model->setNumberOfHeaderCols(0);
    doubleClickLabel(t.view->verticalHeaderView(), 1);
    QCOMPARE(Fixture::text(*t.model, 0, 0), QStringLiteral("1"));
    QCOMPARE(Fixture::text(*t.model, 1, 2), QStringLiteral("c"));
    QCOMPARE(t.model->getColSortData(), (SortData{SortType::Ascending, Axis::Col, 1}));
}

// The arrow names the last sort: an edit after it leaves the arrow, and so do its undo and redo.
void TestTableViewSort::editKeepsTheSortMark() {
    ShownTable t = makeTable({"name,n", "b,10", "a,9"});
    doubleClickLabel(t.view->horizontalHeaderView(), 0);
    const SortData mark{SortType::Ascending, Axis::Row, 0};
    QCOMPARE(t.model->getRowSortData(), mark);
    t.view->moveSelectionAbsolute(1, 0);
    QVERIFY(t.view->upperCase());
    QCOMPARE(Fixture::text(*t.model, 1, 0), QStringLiteral("A"));
    QCOMPARE(t.model->getRowSortData(), mark);
    QCOMPARE(t.model->headerData(0, Qt::Horizontal).toString(), QStringLiteral("0 \u2191"));
    t.view->undo();
    QCOMPARE(t.model->getRowSortData(), mark);
    t.view->redo();
    QCOMPARE(t.model->getRowSortData(), mark);
    // Undoing the sort itself takes the arrow away.
    t.view->undo();
    t.view->undo();
    QCOMPARE(t.model->getRowSortData(), SortData());
}

void TestTableViewSort::selectedCells_data() {
    QTest::addColumn<int>("axis");
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("expected"); // the 3 x 3 block, row by row
    QTest::newRow("each row, ascending") << int(Axis::Row) << int(SortType::Ascending) << "1 2 3|b c x|4 5 6";
    QTest::newRow("each column, descending")
        << int(Axis::Col) << int(SortType::Descending) << "x c b|6 5 4|3 1 2";
}

void TestTableViewSort::selectedCells() {
    QFETCH(int, axis);
    QFETCH(int, type);
    QFETCH(QString, expected);
    ShownTable t = makeTable({"h,h,h,h", "3,1,2,keep", "x,c,b,keep", "6,5,4,keep"});
    Range block = Fixture::table(1, 0, 3, 2);
    t.model->setSelection(block);
    t.view->sortSelectedCells(static_cast<Axis>(axis), static_cast<SortType>(type));
    QStringList rows;
    for (int r = 1; r <= 3; ++r)
        rows << QStringList{Fixture::text(*t.model, r, 0), Fixture::text(*t.model, r, 1),
                            Fixture::text(*t.model, r, 2)}
                    .join(QLatin1Char(' '));
    QCOMPARE(rows.join(QLatin1Char('|')), expected);
    QCOMPARE(columnTexts(*t.model, 3).mid(0, 4), (QStringList{"h", "keep", "keep", "keep"}));
    t.view->undo();
    QCOMPARE(Fixture::text(*t.model, 1, 0), QStringLiteral("3"));
    QCOMPARE(Fixture::text(*t.model, 2, 0), QStringLiteral("x"));
}

void TestTableViewSort::readOnlySortsWithoutUndo() {
    ShownTable t = makeTable({"k", "b", "c", "a"});
    t.view->setReadOnly(true, true);
    doubleClickLabel(t.view->horizontalHeaderView(), 0);
    QCOMPARE(columnTexts(*t.model, 0).mid(0, 4), (QStringList{"k", "a", "b", "c"}));
    QCOMPARE(t.view->undoStack()->count(), 0);
    QVERIFY(t.view->undoStack()->isClean());
}

void TestTableViewSort::readOnlyFileSorts() {
    // A file opened read-only: the sort reads the file through an order list.
    Fixture::LoadedModel m = Fixture::load({"k,v", "b,2", "c,3", "a,1"}, TableData::ReadOnly);
    TableView view;
    view.setModel(m.model.get());
    view.setReadOnly(true, true);
    view.onLoadFinished();
    view.resize(600, 400);
    view.show();
    QVERIFY(QTest::qWaitForWindowExposed(&view));
    doubleClickLabel(view.horizontalHeaderView(), 1);
    QCOMPARE(columnTexts(*m, 0).mid(0, 4), (QStringList{"k", "a", "b", "c"}));
    doubleClickLabel(view.horizontalHeaderView(), 1);
    QCOMPARE(columnTexts(*m, 0).mid(0, 4), (QStringList{"k", "c", "b", "a"}));
    QCOMPARE(m->headerData(1, Qt::Horizontal).toString(), QStringLiteral("1 \u2193"));
    QCOMPARE(view.undoStack()->count(), 0);
}

namespace {

QString table(const TableModel& m) {
    QStringList rows;
    for (int r = 0; r < m.rowCountModel(); ++r) {
        QStringList cells;
        for (int c = 0; c < m.columnCountModel(); ++c)
            cells << Fixture::text(m, r, c, Qt::EditRole);
        rows << cells.join(QLatin1Char(','));
    }
    return rows.join(QLatin1Char('|'));
}

} // namespace

void TestTableViewSort::duplicates_data() {
    QTest::addColumn<QStringList>("lines");
    QTest::addColumn<int>("axis");
    QTest::addColumn<int>("selectedLine"); // -1: compare over everything
    QTest::addColumn<QString>("kept");
    QTest::addColumn<std::vector<int>>("duplicates");
    const QStringList rows{"h,h2", "a,1", "b,2", "a,1", "a,3", "b,2"};
    QTest::newRow("rows over all columns")
        << rows << int(Axis::Row) << -1 << "h,h2|a,1|b,2|a,3" << std::vector<int>{3, 5};
    QTest::newRow("rows over the selected column")
        << rows << int(Axis::Row) << 0 << "h,h2|a,1|b,2" << std::vector<int>{3, 4, 5};
    const QStringList cols{"x,y,x,z", "1,2,1,1"};
    QTest::newRow("columns over all rows")
        << cols << int(Axis::Col) << -1 << "x,y,z|1,2,1" << std::vector<int>{2};
    QTest::newRow("columns over the selected row")
        << cols << int(Axis::Col) << 1 << "x,y|1,2" << std::vector<int>{2, 3};
}

void TestTableViewSort::duplicates() {
    QFETCH(QStringList, lines);
    QFETCH(int, axis);
    QFETCH(int, selectedLine);
    QFETCH(QString, kept);
    QFETCH(std::vector<int>, duplicates);
    ShownTable t = makeTable(lines);
    t.model->setMinNumTableRows(0);
    t.model->setMinNumTableCols(0);
    t.model->setNumBufferRows(0);
    t.model->setNumBufferCols(0);
    t.model->enforceTableSize();
    const bool rows = axis == int(Axis::Row);
    if (selectedLine >= 0) {
        Range line(selectedLine, rows ? RangeType::Col : RangeType::Row, RangeIndexType::Model);
        t.model->setSelection(line);
    }
    const QString before = table(*t.model);
    t.view->selectDuplicateRowsOrCols(static_cast<Axis>(axis), selectedLine >= 0);
    std::vector<int> selected;
    if (rows)
        t.model->getOrderedSetOfSelectedRows(selected);
    else
        t.model->getOrderedSetOfSelectedCols(selected);
    QCOMPARE(selected, duplicates);
    if (selectedLine >= 0) {
        Range line(selectedLine, rows ? RangeType::Col : RangeType::Row, RangeIndexType::Model);
        t.model->setSelection(line);
    }
    t.view->removeDuplicateRowsOrCols(static_cast<Axis>(axis), selectedLine >= 0);
    QCOMPARE(table(*t.model), kept);
    t.view->undo();
    QCOMPARE(table(*t.model), before);
}

QTEST_MAIN(TestTableViewSort)
#include "tst_tableviewsort.moc"
