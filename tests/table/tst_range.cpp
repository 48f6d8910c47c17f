#include "table/range.h"
#include "table/rangevector.h"

#include <QRandomGenerator>
#include <QTest>

#include <algorithm>

Q_DECLARE_METATYPE(Range)
Q_DECLARE_METATYPE(RangeVector)
Q_DECLARE_METATYPE(RangeType)

// Readable failure messages for QCOMPARE.
char* toString(const Range& r) {
    return QTest::toString(QStringLiteral("Range(type %1, %2, %3 to %4, %5)")
                               .arg(int(r.type))
                               .arg(r.row)
                               .arg(r.col)
                               .arg(r.endRow)
                               .arg(r.endCol));
}

namespace {

constexpr int End = Range::EndOfTable;

Range cell(int row, int col) {
    return Range(row, col, RangeIndexType::Model);
}
Range rowRange(int row) {
    return Range(row, RangeType::Row, RangeIndexType::Model);
}
Range colRange(int col) {
    return Range(col, RangeType::Col, RangeIndexType::Model);
}
Range table(int row, int col, int endRow = End, int endCol = End) {
    Range r(RangeType::Table, RangeIndexType::Model);
    r.row = row;
    r.col = col;
    r.endRow = endRow;
    r.endCol = endCol;
    return r;
}
Range withCols(Range r, int col, int endCol) {
    r.col = col;
    r.endCol = endCol;
    return r;
}
Range withRows(Range r, int row, int endRow) {
    r.row = row;
    r.endRow = endRow;
    return r;
}
Range invalid() {
    return Range(RangeType::Invalid);
}

std::vector<QVariant> vars(std::initializer_list<int> values) {
    std::vector<QVariant> out;
    for (int v : values)
        out.emplace_back(v);
    return out;
}

} // namespace

class TestRange : public QObject {
    Q_OBJECT

private slots:
    void constructors();

    void equality_data();
    void equality();

    void validity_data();
    void validity();

    void moveRelative_data();
    void moveRelative();

    void containsRange_data();
    void containsRange();

    void valueAt_data();
    void valueAt();

    void copyAndMove();

    void sanitizers();
    void numCells();
    void minMax();

    void colsInRow_data();
    void colsInRow();
    void colsInRowAgainstBruteForce();

    void lowestStartIndex();
    void orderedSets();
    void vectorMoveRelative();

    void transpose_data();
    void transpose();
};

void TestRange::constructors() {
    const Range r = rowRange(7);
    QCOMPARE(r.type, RangeType::Row);
    QCOMPARE(r.row, 7);
    QCOMPARE(r.col, 0);
    QCOMPARE(r.endRow, End);
    QCOMPARE(r.endCol, End);

    const Range c = colRange(4);
    QCOMPARE(c.row, 0);
    QCOMPARE(c.col, 4);

    const Range t(5, RangeType::Table, RangeIndexType::Raw);
    QCOMPARE(t.row, 5);
    QCOMPARE(t.col, 5);
    QCOMPARE(t.indexType, RangeIndexType::Raw);

    // Only the one-argument form puts an Invalid range off the table.
    QCOMPARE(invalid().row, -1);
    QCOMPARE(invalid().col, -1);
    QCOMPARE(Range(RangeType::Invalid, RangeIndexType::Raw).row, 0);
    QCOMPARE(Range(RangeType::Row).indexType, RangeIndexType::Model);
    QCOMPARE(Range(RangeType::Row).row, 0);

    const Range d;
    QCOMPARE(d.type, RangeType::Cell);
    QCOMPARE(d.indexType, RangeIndexType::Model);
    QVERIFY(!d.value.isValid());
    QCOMPARE(d.mainCellIndex, -1);
}

void TestRange::equality_data() {
    QTest::addColumn<Range>("a");
    QTest::addColumn<Range>("b");
    QTest::addColumn<bool>("equal");

    QTest::newRow("same cell") << cell(2, 3) << cell(2, 3) << true;
    QTest::newRow("other col") << cell(2, 3) << cell(2, 4) << false;
    QTest::newRow("other row") << cell(2, 3) << cell(1, 3) << false;
    QTest::newRow("cell vs row at same start") << cell(2, 0) << rowRange(2) << false;
    QTest::newRow("index space ignored") << cell(1, 1) << Range(1, 1, RangeIndexType::Raw) << true;
    QTest::newRow("ends ignored") << withCols(rowRange(3), 0, 5) << withCols(rowRange(3), 0, 9) << true;
    QTest::newRow("tables by start") << table(1, 2, 5, 5) << table(1, 2, 9, 9) << true;
    QTest::newRow("tables differ") << table(1, 2) << table(2, 1) << false;
    Range valued = cell(0, 0);
    valued.value = 42;
    valued.isMainCell = true;
    QTest::newRow("values ignored") << valued << cell(0, 0) << true;
    Range movedInvalid = cell(0, 0);
    movedInvalid.moveRelative(-5, 3, true);
    QTest::newRow("invalids always equal") << movedInvalid << invalid() << true;
    QTest::newRow("invalid vs cell at -1") << invalid() << cell(-1, -1) << false;
}

void TestRange::equality() {
    QFETCH(Range, a);
    QFETCH(Range, b);
    QFETCH(bool, equal);
    QCOMPARE(a == b, equal);
    QCOMPARE(b == a, equal);
    QCOMPARE(a != b, !equal);
}

void TestRange::validity_data() {
    QTest::addColumn<Range>("range");
    QTest::addColumn<bool>("valid");

    QTest::newRow("cell") << cell(0, 0) << true;
    QTest::newRow("cell negative row") << cell(-1, 0) << false;
    QTest::newRow("cell negative col") << cell(0, -1) << false;
    QTest::newRow("row") << rowRange(0) << true;
    QTest::newRow("row negative") << rowRange(-1) << false;
    QTest::newRow("row with negative col") << withCols(rowRange(2), -3, 5) << true;
    QTest::newRow("col") << colRange(3) << true;
    QTest::newRow("col negative") << colRange(-2) << false;
    QTest::newRow("col with negative row") << withRows(colRange(2), -3, 5) << true;
    QTest::newRow("table anywhere") << table(-5, -5) << true;
    QTest::newRow("invalid") << invalid() << false;
}

void TestRange::validity() {
    QFETCH(Range, range);
    QFETCH(bool, valid);
    QCOMPARE(range.isValid(), valid);
}

void TestRange::moveRelative_data() {
    QTest::addColumn<Range>("start");
    QTest::addColumn<int>("rows");
    QTest::addColumn<int>("cols");
    QTest::addColumn<bool>("invalidate");
    QTest::addColumn<RangeType>("type");
    QTest::addColumn<int>("row");
    QTest::addColumn<int>("col");

    QTest::newRow("cell inside") << cell(1, 1) << 2 << 3 << true << RangeType::Cell << 3 << 4;
    QTest::newRow("cell clamps") << cell(1, 1) << -2 << 0 << false << RangeType::Cell << 0 << 1;
    QTest::newRow("cell clamps col") << cell(1, 1) << 0 << -5 << false << RangeType::Cell << 1 << 0;
    // The numbers stay where the move put them; only the type says the cell is gone.
    QTest::newRow("cell invalidated") << cell(1, 1) << -2 << 0 << true << RangeType::Invalid << -1 << 1;
    QTest::newRow("cell to exactly 0") << cell(1, 1) << -1 << -1 << true << RangeType::Cell << 0 << 0;
    QTest::newRow("row clamps, flag off") << rowRange(7) << -9 << 0 << false << RangeType::Row << 0 << 0;
    QTest::newRow("row clamps, flag on") << rowRange(7) << -9 << 0 << true << RangeType::Row << 0 << 0;
    QTest::newRow("col clamps") << colRange(2) << 0 << -3 << true << RangeType::Col << 0 << 0;
    QTest::newRow("table clamps") << table(2, 2) << -3 << 1 << true << RangeType::Table << 0 << 3;
    QTest::newRow("invalid stays") << invalid() << 5 << 5 << false << RangeType::Invalid << -1 << -1;
    QTest::newRow("no wrap at int max") << cell(End - 1, 0) << 10 << 0 << true << RangeType::Cell << End << 0;
}

void TestRange::moveRelative() {
    QFETCH(Range, start);
    QFETCH(int, rows);
    QFETCH(int, cols);
    QFETCH(bool, invalidate);
    QFETCH(RangeType, type);
    QFETCH(int, row);
    QFETCH(int, col);

    Range r = start;
    r.moveRelative(rows, cols, invalidate);
    QCOMPARE(r.type, type);
    QCOMPARE(r.row, row);
    QCOMPARE(r.col, col);
    QCOMPARE(r.endRow, start.endRow);
    QCOMPARE(r.endCol, start.endCol);
    if (type != RangeType::Invalid && type != RangeType::Cell)
        QVERIFY(r.isValid());
}

void TestRange::containsRange_data() {
    QTest::addColumn<Range>("outer");
    QTest::addColumn<Range>("inner");
    QTest::addColumn<bool>("contains");

    QTest::newRow("cell in same cell") << cell(2, 3) << cell(2, 3) << true;
    QTest::newRow("cell in other cell") << cell(2, 3) << cell(3, 2) << false;
    QTest::newRow("cell in row") << withCols(rowRange(4), 2, 6) << cell(4, 6) << true;
    QTest::newRow("cell in row, past end") << withCols(rowRange(4), 2, 6) << cell(4, 7) << false;
    QTest::newRow("cell in row, other row") << rowRange(4) << cell(5, 0) << false;
    QTest::newRow("cell in row, before start") << withCols(rowRange(4), 2, 6) << cell(4, 1) << false;
    QTest::newRow("cell in open row") << rowRange(4) << cell(4, 100000) << true;
    QTest::newRow("cell in col") << withRows(colRange(1), 0, 9) << cell(9, 1) << true;
    QTest::newRow("cell in col, other col") << colRange(1) << cell(3, 2) << false;
    QTest::newRow("cell in table") << table(1, 1, 3, 3) << cell(3, 1) << true;
    QTest::newRow("cell below table") << table(1, 1, 3, 3) << cell(4, 1) << false;
    QTest::newRow("cell in invalid") << invalid() << cell(0, 0) << false;
    QTest::newRow("row in row") << withCols(rowRange(3), 0, 10) << withCols(rowRange(3), 2, 8) << true;
    QTest::newRow("row sticks out of row")
        << withCols(rowRange(3), 0, 5) << withCols(rowRange(3), 2, 8) << false;
    QTest::newRow("row in other row") << rowRange(3) << rowRange(4) << false;
    QTest::newRow("row in table at its first row") << table(3, 0) << rowRange(3) << true;
    QTest::newRow("row in table starting above") << table(0, 0) << rowRange(3) << false;
    QTest::newRow("row in col") << colRange(0) << rowRange(0) << false;
    QTest::newRow("row in cell") << cell(3, 0) << rowRange(3) << false;
    QTest::newRow("col in table at its first col") << table(0, 2) << colRange(2) << true;
    QTest::newRow("col in table starting left") << table(0, 0) << colRange(2) << false;
    QTest::newRow("col in col") << withRows(colRange(2), 0, 9) << withRows(colRange(2), 3, 9) << true;
    QTest::newRow("col sticks out") << withRows(colRange(2), 0, 9) << withRows(colRange(2), 3, 10) << false;
    QTest::newRow("col in row") << rowRange(0) << colRange(0) << false;
    QTest::newRow("table in table") << table(0, 0, 10, 10) << table(2, 3, 10, 5) << true;
    QTest::newRow("table sticks out") << table(0, 0, 10, 10) << table(2, 3, 11, 5) << false;
    QTest::newRow("table starts before") << table(1, 1) << table(0, 1) << false;
    QTest::newRow("table in row") << rowRange(0) << table(0, 0, 0, 5) << false;
    QTest::newRow("invalid in table") << table(0, 0) << invalid() << false;
}

void TestRange::containsRange() {
    QFETCH(Range, outer);
    QFETCH(Range, inner);
    QFETCH(bool, contains);
    QCOMPARE(outer.containsRange(inner), contains);

    RangeVector list{cell(100, 100), outer};
    QCOMPARE(list.containsRange(inner), contains);
}

void TestRange::valueAt_data() {
    QTest::addColumn<Range>("range");
    QTest::addColumn<int>("row");
    QTest::addColumn<int>("col");
    QTest::addColumn<bool>("old");
    QTest::addColumn<QVariant>("expected");

    Range c = cell(1, 1);
    c.value = QStringLiteral("new");
    c.oldValue = QStringLiteral("old");
    QTest::newRow("cell value") << c << 1 << 1 << false << QVariant(QStringLiteral("new"));
    QTest::newRow("cell old value") << c << 1 << 1 << true << QVariant(QStringLiteral("old"));
    QTest::newRow("cell anywhere") << c << 9 << 9 << false << QVariant(QStringLiteral("new"));

    // A Row range is indexed by the row offset.
    Range r = withCols(rowRange(5), 2, End);
    r.rowColValues = vars({10, 11, 12});
    r.oldRowColValues = vars({20, 21, 22});
    r.value = -1;
    r.oldValue = -2;
    QTest::newRow("row first") << r << 5 << 2 << false << QVariant(10);
    QTest::newRow("row by row offset") << r << 7 << 2 << false << QVariant(12);
    QTest::newRow("row old") << r << 6 << 2 << true << QVariant(21);
    QTest::newRow("row col offset ignored") << r << 5 << 4 << false << QVariant(10);
    QTest::newRow("row past end") << r << 8 << 2 << false << QVariant(-1);
    QTest::newRow("row before start") << r << 4 << 2 << true << QVariant(-2);

    Range k = withRows(colRange(3), 1, End);
    k.rowColValues = vars({30, 31});
    QTest::newRow("col by col offset") << k << 1 << 4 << false << QVariant(31);
    QTest::newRow("col row offset ignored") << k << 9 << 3 << false << QVariant(30);
    QTest::newRow("col out of bounds") << k << 1 << 5 << false << QVariant();

    Range t = table(2, 3);
    t.tableValues = {vars({1, 2, 3}), vars({4, 5})};
    t.oldTableValues = {vars({7})};
    t.value = 99;
    QTest::newRow("table corner") << t << 2 << 3 << false << QVariant(1);
    QTest::newRow("table inner") << t << 3 << 4 << false << QVariant(5);
    QTest::newRow("table short row") << t << 3 << 5 << false << QVariant(99);
    QTest::newRow("table below") << t << 4 << 3 << false << QVariant(99);
    QTest::newRow("table left") << t << 2 << 2 << false << QVariant(99);
    QTest::newRow("table old") << t << 2 << 3 << true << QVariant(7);
    QTest::newRow("table old out") << t << 2 << 4 << true << QVariant();

    Range far = table(End - 1, End - 1);
    far.tableValues = {vars({1})};
    far.value = 0;
    QTest::newRow("no wrap into bounds") << far << -2147483647 - 1 << 0 << false << QVariant(0);
}

void TestRange::valueAt() {
    QFETCH(Range, range);
    QFETCH(int, row);
    QFETCH(int, col);
    QFETCH(bool, old);
    QFETCH(QVariant, expected);
    QCOMPARE(::valueAt(range, row, col, old), expected);
}

void TestRange::copyAndMove() {
    Range source = table(1, 2, 5, 6);
    source.indexType = RangeIndexType::Raw;
    source.value = 1;
    source.tableValues = {vars({1, 2})};
    source.oldRowColValues = vars({3});
    source.isMainCell = true;
    source.mainCellRow = 4;
    source.mainCellCol = 5;
    source.excludedRows = {2};
    source.excludedCells = {{3, 3}};

    Range target = cell(9, 9);
    target.endRow = 40;
    target.value = 7;
    copyWithoutValues(target, source);
    QCOMPARE(target.type, RangeType::Table);
    QCOMPARE(target.indexType, RangeIndexType::Raw);
    QCOMPARE(target.row, 1);
    QCOMPARE(target.col, 2);
    QCOMPARE(target.endRow, 40); // ends are not copied
    QCOMPARE(target.endCol, End);
    QCOMPARE(target.value, QVariant(7));
    QVERIFY(target.tableValues.empty());
    QCOMPARE(target.mainCellRow, 4);
    QCOMPARE(target.excludedRows, std::vector<int>{2});
    QCOMPARE(target.excludedCells.size(), size_t(1));

    Range copy = source;
    QCOMPARE(copy.tableValues, source.tableValues);
    Range moved = std::move(copy);
    QCOMPARE(moved.tableValues.size(), size_t(1));
    QVERIFY(copy.tableValues.empty());
    QVERIFY(copy.oldRowColValues.empty());
    QVERIFY(!copy.value.isValid());
    Range assigned;
    assigned = std::move(moved);
    QCOMPARE(assigned.value, QVariant(1));
    QVERIFY(moved.tableValues.empty());
    QVERIFY(!moved.value.isValid());
}

void TestRange::sanitizers() {
    QRandomGenerator gen(1234);
    for (int round = 0; round < 50; ++round) {
        RangeVector list;
        const int n = int(gen.bounded(1, 40));
        for (int i = 0; i < n; ++i)
            list.push_back(cell(int(gen.bounded(-2, 8)), int(gen.bounded(-2, 8))));
        RangeVector rowWise = list;
        rowWise.sanitizeRowWise();
        RangeVector colWise = list;
        colWise.sanitizeColWise();
        RangeVector plain = list;
        plain.sanitize();
        QVERIFY(std::is_permutation(rowWise.begin(), rowWise.end(), list.begin()));
        QVERIFY(std::is_sorted(rowWise.begin(), rowWise.end(), sortRangeRowAscending));
        QVERIFY(std::is_sorted(colWise.begin(), colWise.end(), sortRangeColAscending));
        QVERIFY(std::is_sorted(plain.begin(), plain.end(), sortRangeColAscending));
        QVERIFY(std::is_permutation(plain.begin(), plain.end(), list.begin()));
    }
    RangeVector desc{cell(1, 5), cell(3, 2), cell(2, 9)};
    std::sort(desc.begin(), desc.end(), sortRangeRowDescending);
    QCOMPARE(desc.front().row, 3);
    std::sort(desc.begin(), desc.end(), sortRangeColDescending);
    QCOMPARE(desc.front().col, 9);
}

void TestRange::numCells() {
    Range r = rowRange(0);
    r.rowColValues = vars({1, 2, 3});
    Range k = colRange(0);
    k.rowColValues = vars({1});
    Range t = table(0, 0);
    t.tableValues = {vars({1, 2, 3, 4}), vars({1, 2, 3, 4}), vars({1})}; // first row decides the width
    const RangeVector list{cell(0, 0), r, k, t, table(5, 5), rowRange(9), invalid()};
    QCOMPARE(list.numCells(), 1 + 3 + 1 + 12);
    QCOMPARE(RangeVector().numCells(), 0);
}

void TestRange::minMax() {
    const RangeVector empty;
    QCOMPARE(empty.minRow(), End);
    QCOMPARE(empty.minCol(), End);
    QCOMPARE(empty.maxRow(), 0);
    QCOMPARE(empty.maxCol(), 0);

    const RangeVector list{cell(4, 7), withCols(rowRange(2), 3, 90), table(6, 1, 100, 100)};
    QCOMPARE(list.minRow(), 2);
    QCOMPARE(list.maxRow(), 6); // ends do not count
    QCOMPARE(list.minCol(), 1);
    QCOMPARE(list.maxCol(), 7);

    const RangeVector negative{cell(-3, -4), cell(-1, -2)};
    QCOMPARE(negative.minRow(), 0);
    QCOMPARE(negative.maxRow(), 0);
    QCOMPARE(negative.minCol(), 0);
}

void TestRange::colsInRow_data() {
    QTest::addColumn<RangeVector>("list");
    QTest::addColumn<int>("row");
    QTest::addColumn<std::vector<int>>("expected");

    QTest::newRow("cells of the row")
        << RangeVector{cell(2, 5), cell(2, 1), cell(3, 4)} << 2 << std::vector<int>{1, 5};
    QTest::newRow("bounded row") << RangeVector{withCols(rowRange(1), 2, 4)} << 1
                                 << std::vector<int>{2, 3, 4};
    QTest::newRow("bounded table") << RangeVector{table(1, 0, 1, 1)} << 1 << std::vector<int>{0, 1};
    QTest::newRow("other row only") << RangeVector{withCols(rowRange(1), 2, 4)} << 0 << std::vector<int>{};
    // A Col range stands at its own start row; one at a negative row counts for every row.
    QTest::newRow("col range at row 0") << RangeVector{colRange(6)} << 0 << std::vector<int>{6};
    QTest::newRow("col range from row 2")
        << RangeVector{withRows(colRange(6), 2, End)} << 3 << std::vector<int>{};
    QTest::newRow("negative start counts")
        << RangeVector{withRows(colRange(6), -1, End), cell(-2, 8)} << 5 << std::vector<int>{8, 6};

    RangeVector sized{withCols(rowRange(0), 2, End)};
    sized.numTableCols = 5;
    QTest::newRow("open end cut at table size") << sized << 0 << std::vector<int>{2, 3, 4, 5};
}

void TestRange::colsInRow() {
    QFETCH(RangeVector, list);
    QFETCH(int, row);
    QFETCH(std::vector<int>, expected);
    std::vector<int> out{-99};
    list.colsInRow(out, row, true);
    expected.insert(expected.begin(), -99); // appends, never clears
    QCOMPARE(out, expected);
}

void TestRange::colsInRowAgainstBruteForce() {
    // Fallback end: an open row with no recorded table size runs to column 1000 inclusive.
    RangeVector open{rowRange(0)};
    std::vector<int> out;
    open.colsInRow(out, 0, false);
    QCOMPARE(out.size(), size_t(1001));
    QCOMPARE(out.front(), 0);
    QCOMPARE(out.back(), 1000);

    // Sorted, the early stop never loses a range that a full scan would find.
    QRandomGenerator gen(99);
    for (int round = 0; round < 200; ++round) {
        RangeVector list;
        list.numTableCols = int(gen.bounded(-1, 12));
        for (int i = 0, n = int(gen.bounded(0, 12)); i < n; ++i) {
            const int r = int(gen.bounded(-2, 6));
            const int c = int(gen.bounded(0, 10));
            switch (gen.bounded(4)) {
            case 0:
                list.push_back(cell(r, c));
                break;
            case 1:
                list.push_back(withCols(rowRange(r), c, gen.bounded(2) ? End : c + int(gen.bounded(3))));
                break;
            case 2:
                list.push_back(withRows(colRange(c), r, End));
                break;
            default:
                list.push_back(table(r, c, End, gen.bounded(2) ? End : c + 2));
                break;
            }
        }
        const int row = int(gen.bounded(0, 6));
        std::vector<int> expected;
        for (const Range& range : list) {
            if (range.row != row && range.row >= 0)
                continue;
            if (range.type == RangeType::Cell || range.type == RangeType::Col) {
                expected.push_back(range.col);
                continue;
            }
            int last = range.endCol;
            if (last == End)
                last = list.numTableCols != -1 ? list.numTableCols : 1000;
            for (int c = range.col; c <= last; ++c)
                expected.push_back(c);
        }
        std::vector<int> actual;
        list.colsInRow(actual, row, true);
        std::sort(expected.begin(), expected.end());
        std::sort(actual.begin(), actual.end());
        QCOMPARE(actual, expected);
    }
}

void TestRange::lowestStartIndex() {
    RangeVector list{cell(3, 0), cell(-2, 5), cell(-7, -1), cell(0, -4)};
    QCOMPARE(list.findLowestRowStartIndex(), -7);
    QVERIFY(std::is_sorted(list.begin(), list.end(), sortRangeRowAscending));
    QCOMPARE(list.findLowestColStartIndex(), -4);
    QVERIFY(std::is_sorted(list.begin(), list.end(), sortRangeColAscending));

    RangeVector positive{cell(3, 2), cell(1, 1)};
    QCOMPARE(positive.findLowestRowStartIndex(), -1);
    QCOMPARE(positive.front().row, 1);
    QCOMPARE(positive.findLowestColStartIndex(), -1);
    QCOMPARE(RangeVector().findLowestRowStartIndex(), -1);

    // Order-preserving: equal rows keep their order.
    RangeVector ties{cell(1, 9), cell(0, 5), cell(1, 3), cell(0, 1)};
    QVERIFY(ties.findUnselectedRowsAboveRowStartIndex().empty());
    QCOMPARE(ties, (RangeVector{cell(0, 5), cell(0, 1), cell(1, 9), cell(1, 3)}));
}

void TestRange::orderedSets() {
    std::vector<int> in{5, 1, 5, 3, 1};
    std::vector<int> out{100};
    RangeVector::getOrderedSet(out, in);
    QCOMPARE(out, (std::vector<int>{100, 1, 3, 5}));
    QCOMPARE(in, (std::vector<int>{1, 1, 3, 5, 5}));
    std::vector<int> none;
    RangeVector::getOrderedSet(out, none);
    QCOMPARE(out.size(), size_t(4));

    const RangeVector onlyTable{table(4, 4)};
    std::vector<int> rows;
    onlyTable.getOrderedSetOfRowsRaw(rows);
    QCOMPARE(rows, std::vector<int>{-1});

    const RangeVector mixed{cell(4, 2), rowRange(1), colRange(7), cell(1, 2), withCols(rowRange(4), 3, 5)};
    rows.clear();
    mixed.getOrderedSetOfRowsRaw(rows);
    QCOMPARE(rows, (std::vector<int>{-1, 1, 4}));
    std::vector<int> cols;
    mixed.getOrderedSetOfColsRaw(cols);
    QCOMPARE(cols, (std::vector<int>{-1, 2, 7}));

    QVERIFY(mixed.hasRowCell());
    QVERIFY(mixed.hasColCell());
    QVERIFY(!mixed.hasTableCell());
    QVERIFY(onlyTable.hasTableCell());
    QVERIFY(!onlyTable.hasRowCell());
}

void TestRange::vectorMoveRelative() {
    const RangeVector start{cell(1, 1), cell(0, 3), cell(0, 0), rowRange(1), cell(5, 5), invalid()};

    RangeVector kept = start;
    kept.moveRelative(-2, 0, false);
    QCOMPARE(kept.size(), start.size());
    QCOMPARE(kept[0], cell(0, 1));
    QCOMPARE(kept[3], rowRange(0));

    // Adjacent cells that fall off are all removed, and an already-invalid one goes too.
    RangeVector removed = start;
    removed.moveRelative(-2, 0, true);
    QCOMPARE(removed, (RangeVector{rowRange(0), cell(3, 5)}));
}

void TestRange::transpose_data() {
    QTest::addColumn<Range>("range");
    QTest::addColumn<Range>("expected");
    QTest::addColumn<int>("endRow");
    QTest::addColumn<int>("endCol");

    QTest::newRow("cell") << Range(2, 7, RangeIndexType::Raw) << cell(7, 2) << End << End;
    QTest::newRow("row becomes whole col") << withCols(rowRange(4), 3, 9) << colRange(4) << End << End;
    QTest::newRow("col becomes whole row") << withRows(colRange(6), 1, 2) << rowRange(6) << End << End;
    QTest::newRow("table") << table(1, 5, 3, 20) << table(5, 1) << 20 << 3;
    QTest::newRow("invalid") << invalid() << invalid() << End << End;
}

void TestRange::transpose() {
    QFETCH(Range, range);
    QFETCH(Range, expected);
    QFETCH(int, endRow);
    QFETCH(int, endCol);

    range.isMainCell = true;
    range.mainCellIndex = 3;
    range.mainCellRow = 8;
    range.mainCellCol = 9;
    range.value = 1;
    range.rowColValues = vars({1});
    range.excludedRows = {1};

    const Range t = RangeVector::transposeRange(range);
    QCOMPARE(t, expected);
    QCOMPARE(t.endRow, endRow);
    QCOMPARE(t.endCol, endCol);
    QCOMPARE(t.indexType, RangeIndexType::Model);
    QCOMPARE(t.isMainCell, true);
    QVERIFY(!t.value.isValid());
    QVERIFY(t.rowColValues.empty());
    QVERIFY(t.excludedRows.empty());
    const bool lineRange = range.type == RangeType::Row || range.type == RangeType::Col;
    QCOMPARE(t.mainCellIndex, lineRange ? 3 : -1);
    QCOMPARE(t.mainCellRow, range.type == RangeType::Table ? 8 : -1);
    QCOMPARE(t.mainCellCol, range.type == RangeType::Table ? 9 : -1);
    if (range.type == RangeType::Cell || range.type == RangeType::Table)
        QCOMPARE(RangeVector::transposeRange(t), range);
}

QTEST_APPLESS_MAIN(TestRange)
#include "tst_range.moc"
