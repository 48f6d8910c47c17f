#include "storage/readonlydatacontainer.h"
#include "table/sortcommand.h"
#include "table/tablemodelworker.h"

#include "tablemodelfixture.h"

#include <QLocale>
#include <QRandomGenerator>
#include <QTimer>
#include <QUndoStack>

using namespace Fixture;

Q_DECLARE_METATYPE(TableData::DataContainerType)

namespace {

// Every raw cell of the table, row by row.
QStringList dump(const TableModel& model) {
    QStringList out;
    const TableData& data = model.getTableData();
    for (int r = 0; r < data.numRawRows(); ++r) {
        QStringList cells;
        for (int c = 0; c < data.numRawCols(); ++c)
            cells << data.getValueRaw(r, c).toString();
        out << cells.join(QLatin1Char('|'));
    }
    return out;
}

QStringList column(const TableModel& model, int col) {
    QStringList out;
    const TableData& data = model.getTableData();
    for (int r = 0; r < data.numRawRows(); ++r)
        out << data.getValueRaw(r, col).toString();
    return out;
}

void addContainerTypes() {
    QTest::addColumn<TableData::DataContainerType>("type");
    QTest::newRow("editable") << TableData::Editable;
    QTest::newRow("read-only") << TableData::ReadOnly;
}

} // namespace

class TestSort : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void naturalOrder_data();
    void naturalOrder();
    void headerRowsStay_data();
    void headerRowsStay();
    void columnsAndTranspose_data();
    void columnsAndTranspose();
    void caseInsensitiveKeepsOrder();
    void undoRestoresExactly_data();
    void undoRestoresExactly();
    void concealmentFollows_data();
    void concealmentFollows();
    void containersAgree();
    void sortedTableSavesAsShown_data();
    void sortedTableSavesAsShown();
    void cancelLeavesEverything();
    void badMapsChangeNothing_data();
    void badMapsChangeNothing();
};

void TestSort::initTestCase() {
    QLocale::setDefault(QLocale::c());
}

void TestSort::naturalOrder_data() {
    addContainerTypes();
}

void TestSort::naturalOrder() {
    QFETCH(TableData::DataContainerType, type);
    LoadedModel m = load({"key,id", "10,a", "9,b", "a2,c", "a10,d", ",e", "b,f", "007,g", "7,h"}, type);
    const SortData ascending{SortType::Ascending, Axis::Row, 0};
    QVERIFY(m->sortRows(ascending, false));
    QCOMPARE(column(*m, 0), (QStringList{"key", "007", "7", "9", "10", "a2", "a10", "b", ""}));
    QCOMPARE(m->getRowSortData(), ascending);
    const SortData descending{SortType::Descending, Axis::Row, 0};
    QVERIFY(m->sortRows(descending, false));
    QCOMPARE(column(*m, 0), (QStringList{"key", "", "b", "a10", "a2", "10", "9", "7", "007"}));
    // Whole rows moved with their keys.
    QCOMPARE(column(*m, 1), (QStringList{"id", "e", "f", "d", "c", "a", "b", "h", "g"}));
}

void TestSort::headerRowsStay_data() {
    addContainerTypes();
}

void TestSort::headerRowsStay() {
    QFETCH(TableData::DataContainerType, type);
    LoadedModel m = load({"z", "y", "3", "1", "2"}, type);
    m->setNumberOfHeaderRows(2);
    QVERIFY(m->sortRows(SortData{SortType::Ascending, Axis::Row, 0}, false));
    QCOMPARE(column(*m, 0), (QStringList{"z", "y", "1", "2", "3"}));
}

void TestSort::columnsAndTranspose_data() {
    addContainerTypes();
}

void TestSort::columnsAndTranspose() {
    QFETCH(TableData::DataContainerType, type);
    LoadedModel m = load({"h,c10,c9,c1", "x,a,b,c"}, type);
    m->setNumberOfHeaderRows(0);
    m->setNumberOfHeaderCols(1);
    QVERIFY(m->sortColumns(SortData{SortType::Ascending, Axis::Col, 0}, false));
    QCOMPARE(dump(*m), (QStringList{"h|c1|c9|c10", "x|c|b|a"}));
    // Transposed, a sort of rows reorders the stored columns.
    m->getTableData().toggleTranspose();
    QVERIFY(m->sortRows(SortData{SortType::Descending, Axis::Row, 0}, false));
    m->getTableData().toggleTranspose();
    QCOMPARE(dump(*m), (QStringList{"h|c10|c9|c1", "x|a|b|c"}));
}

void TestSort::caseInsensitiveKeepsOrder() {
    LoadedModel m = load({"k,n", "b,1", "A,2", "a,3", "B,4"});
    m->setNumberOfHeaderRows(1);
    m->getTableData().setCaseSensitiveSort(false);
    QVERIFY(m->sortRows(SortData{SortType::Ascending, Axis::Row, 0}, false));
    QCOMPARE(column(*m, 1), (QStringList{"n", "2", "3", "1", "4"}));
    QVERIFY(m->sortRows(SortData{SortType::Descending, Axis::Row, 0}, false));
    QCOMPARE(column(*m, 1), (QStringList{"n", "1", "4", "2", "3"}));
    m->getTableData().setCaseSensitiveSort(true);
    QVERIFY(m->sortRows(SortData{SortType::Ascending, Axis::Row, 0}, false));
    QCOMPARE(column(*m, 0), (QStringList{"k", "A", "B", "a", "b"}));
}

void TestSort::undoRestoresExactly_data() {
    addContainerTypes();
}

void TestSort::undoRestoresExactly() {
    QFETCH(TableData::DataContainerType, type);
    QRandomGenerator rng(5);
    QStringList lines{"name,size,when"};
    for (int i = 0; i < 300; ++i) {
        lines << QStringLiteral("file%1,%2,%3")
                     .arg(rng.bounded(50))
                     .arg(rng.bounded(-1000, 1000) / 10.0)
                     .arg(rng.bounded(3) == 0 ? QString() : QString::number(rng.bounded(9)));
    }
    LoadedModel m = load(lines, type);
    const QStringList before = dump(*m);
    QUndoStack stack;
    Range main = cell(4, 1);
    m->setSelection(main);
    auto* bySize = new SortCommand(m.model.get(), m->getSelection(), true, Axis::Row, SortType::Ascending);
    QVERIFY(bySize->isValid);
    stack.push(bySize);
    const QStringList sortedBySize = dump(*m);
    QVERIFY(sortedBySize != before);
    auto* byName = new SortCommand(m.model.get(), SortData{SortType::Descending, Axis::Row, 0});
    QVERIFY(byName->isValid);
    stack.push(byName);
    QCOMPARE(m->getRowSortData(), (SortData{SortType::Descending, Axis::Row, 0}));
    stack.undo();
    QCOMPARE(dump(*m), sortedBySize);
    QCOMPARE(m->getRowSortData(), (SortData{SortType::Ascending, Axis::Row, 1}));
    stack.undo();
    QCOMPARE(dump(*m), before);
    QCOMPARE(m->getRowSortData(), SortData());
    stack.redo();
    stack.redo();
    // The same order as sorting both keys at once on a fresh table.
    LoadedModel fresh = load(lines, type);
    QVERIFY(fresh->sortRows(SortData{SortType::Ascending, Axis::Row, 1}, false));
    QVERIFY(fresh->sortRows(SortData{SortType::Descending, Axis::Row, 0}, false));
    QCOMPARE(dump(*m), dump(*fresh));
}

void TestSort::concealmentFollows_data() {
    addContainerTypes();
}

void TestSort::concealmentFollows() {
    QFETCH(TableData::DataContainerType, type);
    LoadedModel m = load({"k", "d", "b", "c", "a"}, type);
    TableData& data = m->getTableData();
    data.concealRawRows({1, 3}); // "d" and "c"
    FilterData filter;
    filter.range = Range(0, RangeType::Col, RangeIndexType::Raw);
    filter.filterStr = QStringLiteral("x");
    filter.exceptions = {4}; // "a"
    m->setFilterListDontApply({filter});
    QUndoStack stack;
    auto* command = new SortCommand(m.model.get(), SortData{SortType::Ascending, Axis::Row, 0});
    QVERIFY(command->isValid);
    stack.push(command);
    QCOMPARE(column(*m, 0), (QStringList{"k", "a", "b", "c", "d"}));
    std::vector<int> concealed;
    data.getConcealedRowsRaw(concealed);
    QCOMPARE(concealed, (std::vector<int>{3, 4}));
    QCOMPARE(m->getFilterList().front().exceptions, (std::vector<int>{1}));
    QCOMPARE(m->rowCountModel(), 3);
    QCOMPARE(text(*m, 1, 0), QStringLiteral("a"));
    stack.undo();
    data.getConcealedRowsRaw(concealed);
    QCOMPARE(concealed, (std::vector<int>{1, 3}));
    QCOMPARE(m->getFilterList().front().exceptions, (std::vector<int>{4}));
    QCOMPARE(column(*m, 0), (QStringList{"k", "d", "b", "c", "a"}));
}

void TestSort::containersAgree() {
    // Both containers read back the same cells after the same sorts, whatever the keys.
    QRandomGenerator rng(11);
    // Columns e and f hold numbers and empty cells, f with one text late on: a column of numbers
    // alone keeps only their values, and a late text sends the read back for the texts.
    QStringList lines{"a,b,c,d,e,f"};
    const QStringList pool{"",     "x",   "X",    "007",    "7",     "1e2",
                           "-3.5", "a_1", " pad", "file12", "file9", "\u00e9"};
    for (int i = 0; i < 500; ++i) {
        QStringList cells;
        for (int c = 0; c < 4; ++c)
            cells << pool.at(rng.bounded(pool.size())) +
                         (c == 3 ? QString::number(rng.bounded(20)) : QString());
        const QString number =
            rng.bounded(10) ? QString::number(rng.bounded(-300, 300) / 4.0 + 0.125) : QString();
        cells << number << (i == 480 ? QStringLiteral("n/a") : number);
        lines << cells.join(QLatin1Char(','));
    }
    LoadedModel editable = load(lines, TableData::Editable);
    LoadedModel readOnly = load(lines, TableData::ReadOnly);
    for (int round = 0; round < 9; ++round) {
        const SortData by{round % 2 ? SortType::Descending : SortType::Ascending, Axis::Row, round % 6};
        QVERIFY(editable->sortRows(by, true));
        QVERIFY(readOnly->sortRows(by, true));
        QCOMPARE(dump(*readOnly), dump(*editable));
    }
    // The read-only container holds one order list, not the cells.
    const auto* container =
        qobject_cast<const ReadOnlyDataContainer*>(readOnly->getTableData().getDataContainer());
    QVERIFY(container && container->getRowsReordered());
    QCOMPARE(container->getRowOrder().size(), std::size_t(501));
}

void TestSort::sortedTableSavesAsShown_data() {
    addContainerTypes();
}

// A sorted table is saved in the order it shows, rows and columns (the header row stays on top),
// plain and transposed: the read-only one writes its file's lines through the order list.
void TestSort::sortedTableSavesAsShown() {
    QFETCH(TableData::DataContainerType, type);
    LoadedModel m = load({"k,b,a", "2,y,q", "1,x,p", "3,z"}, type);
    QVERIFY(m->sortRows(SortData{SortType::Ascending, Axis::Row, 0}, false));
    QVERIFY(m->sortColumns(SortData{SortType::Ascending, Axis::Col, 0}, false));
    auto saved = [&m](const QString& name) {
        const QString path = m.dir->filePath(name);
        if (!m->getTableData().saveCSV(path, true, false))
            return QByteArray("save failed");
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    };
    QCOMPARE(saved(QStringLiteral("sorted.csv")), QByteArray("a,b,k\np,x,1\nq,y,2\n,z,3\n"));
    m->getTableData().toggleTranspose();
    QCOMPARE(saved(QStringLiteral("transposed.csv")), QByteArray("a,p,q,\nb,x,y,z\nk,1,2,3\n"));
}

void TestSort::cancelLeavesEverything() {
    QStringList lines{"n"};
    for (int i = 0; i < 400000; ++i)
        lines << QString::number((qint64(i) * 7919) % 400000);
    LoadedModel m = load(lines);
    const QStringList before = column(*m, 0);
    QUndoStack stack;
    QTimer::singleShot(30, m.model.get(), [&m]() { m->cancelWorker(); });
    auto* command = new SortCommand(m.model.get(), SortData{SortType::Ascending, Axis::Row, 0});
    QVERIFY(!command->isValid);
    delete command;
    QCOMPARE(stack.count(), 0);
    QCOMPARE(column(*m, 0), before);
    QCOMPARE(m->getRowSortData(), SortData());
    // Not canceled, the same command goes through.
    auto* again = new SortCommand(m.model.get(), SortData{SortType::Ascending, Axis::Row, 0});
    QVERIFY(again->isValid);
    stack.push(again);
    QCOMPARE(text(*m, 1, 0), QStringLiteral("0"));
    QCOMPARE(text(*m, 400000, 0), QStringLiteral("399999"));
}

void TestSort::badMapsChangeNothing_data() {
    QTest::addColumn<std::vector<int>>("map");
    QTest::newRow("repeated target") << std::vector<int>{0, 1, 1, 3};
    QTest::newRow("target past the end") << std::vector<int>{0, 1, 2, 4};
    QTest::newRow("negative target") << std::vector<int>{0, -1, 2, 3};
    QTest::newRow("too short") << std::vector<int>{1, 0, 2};
}

void TestSort::badMapsChangeNothing() {
    QFETCH(std::vector<int>, map);
    for (const auto type : {TableData::Editable, TableData::ReadOnly}) {
        LoadedModel m = load({"a,1", "b,2", "c,3", "d,4"}, type);
        const QStringList before = dump(*m);
        QVERIFY(!m->getTableData().sortRows(map));
        QVERIFY(!m->getTableData().sortCols(map));
        QCOMPARE(dump(*m), before);
    }
}

QTEST_MAIN(TestSort)
#include "tst_sort.moc"
