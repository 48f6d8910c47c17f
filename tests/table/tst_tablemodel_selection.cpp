#include "tablemodelfixture.h"

#include "table/tablemodel.h"

#include <QElapsedTimer>
#include <QRandomGenerator>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTest>

#include <algorithm>

using namespace Fixture;

Q_DECLARE_METATYPE(RangeVector)

namespace {

// "C r,c" / "R r" / "K c" / "T r,c" with a trailing "*" for the main flag.
QString describe(const Range& r) {
    QString s;
    switch (r.type) {
    case RangeType::Cell:
        s = QStringLiteral("C%1,%2").arg(r.row).arg(r.col);
        break;
    case RangeType::Row:
        s = QStringLiteral("R%1").arg(r.row);
        break;
    case RangeType::Col:
        s = QStringLiteral("K%1").arg(r.col);
        break;
    case RangeType::Table:
        s = QStringLiteral("T%1,%2").arg(r.row).arg(r.col);
        break;
    case RangeType::Invalid:
        s = QStringLiteral("I");
        break;
    }
    return r.isMainCell ? s + QLatin1Char('*') : s;
}

QStringList describe(const RangeVector& ranges) {
    QStringList out;
    for (const Range& r : ranges)
        out << describe(r);
    return out;
}

// A column of data with gaps: rows 0-3 and 7-9 hold values, 4-6 and 10-11 are empty.
QStringList gappedColumn() {
    return {"a,x", "b,x", "c,x", "d,x", ",x", ",x", ",x", "e,x", "f,x", "g,x", ",x", ",x"};
}

} // namespace

class TestTableModelSelection : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }

    void sanitizeOrdersAndDropsDuplicates_data();
    void sanitizeOrdersAndDropsDuplicates();
    void manyCellsOrderInTime();
    void mainCellFlagsInLineAndTableMembers();
    void cellOutsideTableIsNoSelection();
    void emptyTablesNeverThrow();
    void sanitizeTidiesExcludedCells();
    void onlyTheFirstMainFlagCounts();
    void exclusions();
    void membershipAgainstBruteForce();
    void removingTheMainCellMovesIt();
    void shiftExtensionReturnsExactly();
    void shiftExtensionAcrossAxes();
    void shiftExtensionGrowsTheGrid();
    void blockSteps_data();
    void blockSteps();
    void blockExtensionOverGaps();
    void ctrlOnlyGuard();
    void movesAtEdges();
    void moveSelectionRelativeMovesEveryMember();
    void selectionSize();
    void invertSelection();
    void orderedSetsAndCounts();
    void signalsOnChange();
    void sumAndMean_data();
    void sumAndMean();
    void sumAndMeanInSlices();
};

void TestTableModelSelection::sanitizeOrdersAndDropsDuplicates_data() {
    QTest::addColumn<RangeVector>("input");
    QTest::addColumn<QStringList>("expected");

    QTest::newRow("row-major order") << RangeVector{cell(2, 1), cell(0, 3), cell(2, 0), cell(0, 1)}
                                     << QStringList{"C0,1*", "C0,3", "C2,0", "C2,1"};
    QTest::newRow("duplicates go, main flag passes on")
        << RangeVector{cell(3, 3), cell(2, 1), cell(3, 3), cell(2, 1)} << QStringList{"C2,1*", "C3,3"};
    QTest::newRow("same start, different kinds stay")
        << RangeVector{rowRange(2), cell(2, 0), colRange(0), rowRange(2)}
        << QStringList{"K0*", "R2*", "C2,0*"};
}

void TestTableModelSelection::sanitizeOrdersAndDropsDuplicates() {
    QFETCH(RangeVector, input);
    QFETCH(QStringList, expected);
    LoadedModel m = load(gridLines(6, 6));
    // The last member carries the main flag; every member that holds the main cell gets it.
    input.back().isMainCell = true;
    m->setSelection(input, true);
    QCOMPARE(describe(m->getSelection()), expected);
    QCOMPARE(m->getSelection().numTableRows, -1);
}

// A selection of hundreds of thousands of cells, as Select All Matches makes of a large table,
// is put in order without moving each member many times: sorting the members themselves took
// more than ten seconds of a frozen window for 700,000 of them.
void TestTableModelSelection::manyCellsOrderInTime() {
    constexpr int kRows = 3000;
    constexpr int kCols = 200;
    LoadedModel m = load(gridLines(kRows, kCols));
    RangeVector cells;
    cells.reserve(std::size_t(kRows) * kCols);
    // Column by column, and each cell twice: the order comes out row by row, without repeats.
    for (int c = kCols - 1; c >= 0; --c) {
        for (int r = 0; r < kRows; ++r) {
            cells.push_back(cell(r, c));
            if (r % 100 == 0)
                cells.push_back(cell(r, c));
        }
    }
    cells[cells.size() / 2].isMainCell = true;
    const Range main = cells[cells.size() / 2];
    // The limit scales with a plain sort of the same members, timed in the same run, so a busy
    // machine doesn't fail it; the old way took ten seconds or more.
    QElapsedTimer timer;
    timer.start();
    RangeVector reference = cells;
    std::stable_sort(reference.begin(), reference.end(), [](const Range& a, const Range& b) {
        return a.row != b.row ? a.row < b.row : a.col < b.col;
    });
    const qint64 referenceElapsed = timer.restart();
    m->setSelection(cells, true);
    const qint64 elapsed = timer.elapsed();
    const RangeVector& s = m->getSelection();
    QCOMPARE(s.size(), std::size_t(kRows) * kCols);
    for (std::size_t i = 0; i < s.size(); i += 997) {
        QCOMPARE(s[i].row, int(i / kCols));
        QCOMPARE(s[i].col, int(i % kCols));
    }
    QCOMPARE(m->getMainCell().row, main.row);
    QCOMPARE(m->getMainCell().col, main.col);
    QCOMPARE(std::count_if(s.begin(), s.end(), [](const Range& r) { return r.isMainCell; }), 1);
    QVERIFY2(elapsed < std::max<qint64>(1500, 4 * referenceElapsed),
             qPrintable(QStringLiteral("%1 ms, a plain sort %2 ms").arg(elapsed).arg(referenceElapsed)));
}

void TestTableModelSelection::mainCellFlagsInLineAndTableMembers() {
    LoadedModel m = load(gridLines(8, 8));
    Range main = cell(3, 4);
    Range block = table(2, 2, 5, 5);
    Range row = rowRange(3);
    Range col = colRange(4);
    Range other = rowRange(6);
    RangeVector ranges{block, row, col, other};
    m->setSelection(main, ranges);
    const RangeVector& s = m->getSelection();
    QCOMPARE(describe(s), (QStringList{"K4*", "T2,2*", "R3*", "R6"}));
    QCOMPARE(s[0].mainCellIndex, 3); // a column records the row
    QCOMPARE(s[1].mainCellRow, 3);
    QCOMPARE(s[1].mainCellCol, 4);
    QCOMPARE(s[2].mainCellIndex, 4); // a row records the column
    QCOMPARE(m->getMainCell().type, RangeType::Cell);

    // A Row range named as the selection puts the main cell at its recorded column.
    Range line = rowRange(5);
    line.mainCellIndex = 2;
    m->setSelection(line);
    QCOMPARE(m->getMainCell().row, 5);
    QCOMPARE(m->getMainCell().col, 2);
    QCOMPARE(m->getMainCell().value.toString(), QStringLiteral("r5c2"));
    Range whole = table(1, 1);
    m->setSelection(whole);
    QCOMPARE(m->getMainCell().row, 1);
    QCOMPARE(m->getMainCell().col, 1);
}

void TestTableModelSelection::cellOutsideTableIsNoSelection() {
    TableModel model;
    // A cell at -1 is not a selection: nothing changes.
    Range none = cell(-1, 2);
    model.setSelection(none);
    QVERIFY(model.getSelection().empty());
}

void TestTableModelSelection::emptyTablesNeverThrow() {
    TableModel fresh;
    RangeVector none;
    fresh.setSelection(none, true);
    QVERIFY(fresh.getSelection().empty());
    fresh.addCellToSelection(cell(2, 3));
    QCOMPARE(fresh.getMainCell().row, 2);
    QCOMPARE(fresh.getMainCell().col, 3);
    QCOMPARE(describe(fresh.getSelection()), QStringList{"C2,3*"});

    // An empty read-only file: a grid of nothing, and a main cell that stays a cell.
    LoadedModel empty = load({}, TableData::ReadOnly);
    QCOMPARE(empty->rowCount(), 0);
    QCOMPARE(empty->columnCount(), 0);
    QVERIFY(empty->getMainCell().row >= 0 && empty->getMainCell().col >= 0);
    empty->addCellToSelection(cell(0, 0));
    empty->removeCellFromSelection(0, 0);
    QVERIFY(!empty->moveSelectionVertically(Direction::Down, false));
    QVERIFY(empty->selectUpOrDown(Direction::Down, false, true));
    empty->moveSelectionRelative(3, 3);
    QCOMPARE(empty->data(empty->index(0, 0)).isValid(), false);
}

void TestTableModelSelection::sanitizeTidiesExcludedCells() {
    LoadedModel m = load(gridLines(8, 8));
    Range block = table(1, 1, 4, 4);
    block.excludedRows = {2};
    block.excludedCols = {3};
    block.excludedCells = {{4, 4}, {0, 0}, {2, 1}, {1, 3}, {1, 2}, {4, 4}, {6, 2}};
    block.isMainCell = true;
    RangeVector ranges{block};
    m->setSelection(ranges, true);
    const auto& cells = m->getSelection().front().excludedCells;
    QCOMPARE(cells, (std::vector<std::pair<int, int>>{{1, 2}, {4, 4}}));
    QVERIFY(m->cellInSelection(1, 1));
    QVERIFY(!m->cellInSelection(1, 2));
    QVERIFY(!m->cellInSelection(2, 1));
    QVERIFY(!m->cellInSelection(3, 3));
    QVERIFY(!m->cellInSelection(5, 1));
}

void TestTableModelSelection::onlyTheFirstMainFlagCounts() {
    LoadedModel m = load(gridLines(8, 8));
    RangeVector ranges{cell(5, 5), cell(1, 1), cell(3, 3)};
    ranges[0].isMainCell = true;
    ranges[2].isMainCell = true;
    m->setSelection(ranges, true);
    QCOMPARE(m->getMainCell().row, 5);
    QCOMPARE(describe(m->getSelection()), (QStringList{"C1,1", "C3,3", "C5,5*"}));
}

void TestTableModelSelection::exclusions() {
    LoadedModel m = load(gridLines(8, 8));
    Range row = rowRange(1);
    Range col = colRange(6);
    Range block = table(3, 2, 5, 4);
    RangeVector ranges{cell(0, 0), row, col, block};
    ranges.front().isMainCell = true;
    m->setSelection(ranges, true);
    QVERIFY(m->cellInSelection(1, 5));
    QVERIFY(m->cellInSelection(7, 6));
    QVERIFY(m->cellInSelection(4, 3));

    m->removeCellFromSelection(1, 5);
    m->removeCellFromSelection(7, 6);
    m->removeCellFromSelection(4, 3);
    QVERIFY(!m->cellInSelection(1, 5));
    QVERIFY(m->cellInSelection(1, 4));
    QVERIFY(!m->cellInSelection(7, 6));
    QVERIFY(m->cellInSelection(6, 6));
    QVERIFY(!m->cellInSelection(4, 3));
    QVERIFY(m->cellInSelection(4, 2));
    QVERIFY(m->cellInSelection(cell(5, 4)));
    const RangeVector& s = m->getSelection();
    QCOMPARE(s.size(), std::size_t(4));
    for (const Range& r : s) {
        if (r.type == RangeType::Row)
            QCOMPARE(r.excludedCols, std::vector<int>{5});
        if (r.type == RangeType::Col)
            QCOMPARE(r.excludedRows, std::vector<int>{7});
        if (r.type == RangeType::Table) {
            QVERIFY(r.excludedRows.empty());
            QCOMPARE(r.excludedCells, (std::vector<std::pair<int, int>>{{4, 3}}));
        }
    }
    QVERIFY(!m->isRowSelected(1));
    QVERIFY(m->isColSelected(6) == false);

    m->removeCellFromSelection(2, 2); // not selected: nothing changes
    QCOMPARE(m->getSelection().size(), std::size_t(4));
    QCOMPARE(m->numSelectedCells(), qint64(1 + 7 + 7 + 8));
}

// The indexed lookup that data() uses, against a plain reading of each member with its
// exclusions, over random selections.
void TestTableModelSelection::membershipAgainstBruteForce() {
    QRandomGenerator rng(2024);
    LoadedModel m = load(gridLines(30, 12));
    auto in = [](const std::vector<int>& list, int v) {
        return std::find(list.begin(), list.end(), v) != list.end();
    };
    auto holds = [&in](const Range& r, int row, int col) {
        switch (r.type) {
        case RangeType::Cell:
            return r.row == row && r.col == col;
        case RangeType::Row:
            return r.row == row && col >= r.col && col <= r.endCol && !in(r.excludedCols, col);
        case RangeType::Col:
            return r.col == col && row >= r.row && row <= r.endRow && !in(r.excludedRows, row);
        case RangeType::Table: {
            const bool cellOut = std::find(r.excludedCells.begin(), r.excludedCells.end(),
                                           std::make_pair(row, col)) != r.excludedCells.end();
            return row >= r.row && row <= r.endRow && col >= r.col && col <= r.endCol &&
                   !in(r.excludedRows, row) && !in(r.excludedCols, col) && !cellOut;
        }
        default:
            return false;
        }
    };
    for (int round = 0; round < 20; ++round) {
        RangeVector ranges;
        const int count = 1 + int(rng.bounded(25));
        for (int i = 0; i < count; ++i) {
            const int kind = int(rng.bounded(4));
            Range r = cell(int(rng.bounded(30)), int(rng.bounded(12)));
            if (kind == 1) {
                r = rowRange(int(rng.bounded(30)));
                r.col = int(rng.bounded(4));
                if (rng.bounded(2))
                    r.endCol = r.col + int(rng.bounded(6));
            } else if (kind == 2) {
                r = colRange(int(rng.bounded(12)));
                r.row = int(rng.bounded(10));
                if (rng.bounded(2))
                    r.endRow = r.row + int(rng.bounded(12));
            } else if (kind == 3) {
                r = table(int(rng.bounded(25)), int(rng.bounded(10)));
                r.endRow = r.row + int(rng.bounded(6));
                r.endCol = r.col + int(rng.bounded(4));
            }
            for (int e = int(rng.bounded(3)); e > 0; --e) {
                r.excludedRows.push_back(int(rng.bounded(30)));
                r.excludedCols.push_back(int(rng.bounded(12)));
                r.excludedCells.emplace_back(int(rng.bounded(30)), int(rng.bounded(12)));
            }
            ranges.push_back(r);
        }
        ranges.front().isMainCell = true;
        m->setSelection(ranges, true);
        const RangeVector& kept = m->getSelection();
        for (int row = 0; row < 30; ++row) {
            for (int col = 0; col < 12; ++col) {
                const bool expected =
                    std::any_of(kept.begin(), kept.end(), [&](const Range& r) { return holds(r, row, col); });
                QCOMPARE(m->cellInSelection(row, col), expected);
            }
        }
    }
}

void TestTableModelSelection::removingTheMainCellMovesIt() {
    LoadedModel m = load(gridLines(8, 8));
    RangeVector ranges{cell(0, 0), cell(2, 3), cell(4, 4)};
    ranges[1].isMainCell = true;
    m->setSelection(ranges, true);
    m->removeCellFromSelection(2, 3);
    QCOMPARE(m->getMainCell().row, 0);
    QCOMPARE(m->getMainCell().col, 0);
    QCOMPARE(describe(m->getSelection()), (QStringList{"C0,0*", "C4,4"}));

    // The last cell cannot go: the selection falls back to the main cell.
    Range single = cell(3, 3);
    m->setSelection(single);
    m->removeCellFromSelection(3, 3);
    QCOMPARE(describe(m->getSelection()), QStringList{"C3,3*"});
}

void TestTableModelSelection::shiftExtensionReturnsExactly() {
    LoadedModel m = load(gridLines(20, 20));
    RangeVector start{cell(5, 5), cell(9, 2)};
    start.front().isMainCell = true;
    m->setSelection(start, true);
    const QStringList before = describe(m->getSelection());

    for (int i = 0; i < 3; ++i)
        QVERIFY(m->selectUpOrDown(Direction::Down, false, false));
    QCOMPARE(describe(m->getSelection()),
             (QStringList{"C5,5*", "C6,5", "C7,5", "C8,5", "C9,2", "C10,2", "C11,2", "C12,2"}));
    QCOMPARE(m->getMainCell().row, 5);
    QCOMPARE(m->getShiftSelectionTypes().size(), std::size_t(3));

    bool handled = false;
    for (int i = 0; i < 3; ++i) {
        QVERIFY(m->selectUpOrDown(Direction::Up, false, false, &handled));
        QVERIFY(handled);
    }
    QCOMPARE(describe(m->getSelection()), before);
    QVERIFY(m->getShiftSelectionTypes().empty());

    // Past the start the other way, and back again.
    QVERIFY(m->selectUpOrDown(Direction::Up, false, false, &handled));
    QVERIFY(!handled);
    QCOMPARE(describe(m->getSelection()), (QStringList{"C4,5", "C5,5*", "C8,2", "C9,2"}));
    QVERIFY(m->selectUpOrDown(Direction::Down, false, false, &handled));
    QCOMPARE(describe(m->getSelection()), before);

    // At the top the cursor stops at row 0.
    Range top = cell(1, 0);
    m->setSelection(top);
    for (int i = 0; i < 4; ++i)
        m->selectUpOrDown(Direction::Up, false, false);
    QCOMPARE(describe(m->getSelection()), (QStringList{"C0,0", "C1,0*"}));
    QVERIFY(!m->selectUpOrDown(Direction::Left, false, false));
    QVERIFY(!m->selectLeftOrRight(Direction::Down, false, false));
}

void TestTableModelSelection::shiftExtensionAcrossAxes() {
    LoadedModel m = load(gridLines(10, 10));
    Range start = cell(2, 2);
    m->setSelection(start);
    m->selectUpOrDown(Direction::Down, false, false);
    m->selectLeftOrRight(Direction::Right, false, false);
    m->selectLeftOrRight(Direction::Right, false, false);
    QCOMPARE(describe(m->getSelection()), (QStringList{"C2,2*", "C2,3", "C2,4", "C3,2", "C3,3", "C3,4"}));
    QCOMPARE(m->getSelectionBlock().type, RangeType::Table);
    QCOMPARE(m->getSelectionBlock().endRow, 3);
    QCOMPARE(m->getSelectionBlock().endCol, 4);
    m->selectLeftOrRight(Direction::Left, false, false);
    QCOMPARE(describe(m->getSelection()), (QStringList{"C2,2*", "C2,3", "C3,2", "C3,3"}));
    // A plain selection change ends the sequence.
    Range other = cell(7, 7);
    m->setSelection(other);
    QCOMPARE(m->getLastShiftSelection(), 4);
    QVERIFY(m->getShiftSelection().empty());
}

void TestTableModelSelection::shiftExtensionGrowsTheGrid() {
    LoadedModel m = load(gridLines(3, 3));
    m->setNumBufferRows(1);
    Range last = cell(3, 0); // the buffer row
    m->setSelection(last);
    QCOMPARE(m->rowCount(), 5);
    m->selectUpOrDown(Direction::Down, false, false);
    QCOMPARE(m->rowCount(), 6);
    m->selectUpOrDown(Direction::Down, false, false);
    QCOMPARE(describe(m->getSelection()), (QStringList{"C3,0*", "C4,0", "C5,0"}));
}

void TestTableModelSelection::blockSteps_data() {
    QTest::addColumn<int>("row");
    QTest::addColumn<int>("direction");
    QTest::addColumn<int>("expected");
    const int up = 0, down = 1;
    QTest::newRow("inside a run down to its end") << 0 << down << 3;
    QTest::newRow("off a run over the gap") << 3 << down << 7;
    QTest::newRow("from the gap onto data") << 6 << down << 7;
    QTest::newRow("inside the gap onto the next run") << 4 << down << 7;
    QTest::newRow("off the last run to the last row") << 9 << down << 11;
    QTest::newRow("at the last row") << 11 << down << 11;
    QTest::newRow("inside a run up to its start") << 9 << up << 7;
    QTest::newRow("off a run up over the gap") << 7 << up << 3;
    QTest::newRow("up to row 0") << 2 << up << 0;
    QTest::newRow("at row 0") << 0 << up << 0;
    QTest::newRow("trailing gap up") << 11 << up << 9;
}

void TestTableModelSelection::blockSteps() {
    QFETCH(int, row);
    QFETCH(int, direction);
    QFETCH(int, expected);
    LoadedModel m = load(gappedColumn());
    Range out;
    m->getNextBlockLocation(cell(row, 0), out, static_cast<Direction>(direction));
    QCOMPARE(out.row, expected);
    QCOMPARE(out.col, 0);

    // The same through concealment: conceal a gap row; model indexes shift by one below it.
    m->getTableData().concealRawRows({5});
    const int modelRow = row > 5 ? row - 1 : row;
    const int modelExpected = expected > 5 ? expected - 1 : expected;
    if (row != 5) {
        m->getNextBlockLocation(cell(modelRow, 0), out, static_cast<Direction>(direction));
        QCOMPARE(out.row, modelExpected);
    }
}

void TestTableModelSelection::blockExtensionOverGaps() {
    LoadedModel m = load(gappedColumn());
    Range start = cell(1, 0);
    m->setSelection(start);
    QVERIFY(m->selectUpOrDown(Direction::Down, false, true));
    QCOMPARE(m->getSelection().size(), std::size_t(3)); // rows 1 to 3
    QVERIFY(m->selectUpOrDown(Direction::Down, false, true));
    QCOMPARE(m->getSelection().back().row, 7);
    QCOMPARE(m->getSelection().size(), std::size_t(7));
    // A plain step up does not undo a block step; a block step up does.
    QVERIFY(m->selectUpOrDown(Direction::Up, false, false));
    QCOMPARE(m->getSelection().back().row, 6);
    QVERIFY(m->selectUpOrDown(Direction::Down, false, false));
    QCOMPARE(m->getSelection().back().row, 7);
    bool handled = false;
    QVERIFY(m->selectUpOrDown(Direction::Up, false, true, &handled));
    QVERIFY(handled);
    QCOMPARE(m->getSelection().back().row, 3);
    QVERIFY(m->selectUpOrDown(Direction::Up, false, true, &handled));
    QCOMPARE(describe(m->getSelection()), QStringList{"C1,0*"});
}

void TestTableModelSelection::ctrlOnlyGuard() {
    LoadedModel m = load(gridLines(10, 10));
    Range start = cell(5, 5);
    m->setSelection(start);
    QVERIFY(!m->selectUpOrDown(Direction::Up, true, false));
    QCOMPARE(describe(m->getSelection()), QStringList{"C5,5*"});
    QVERIFY(m->selectUpOrDown(Direction::Down, true, false));
    QVERIFY(m->selectUpOrDown(Direction::Up, true, false));
    QCOMPARE(describe(m->getSelection()), QStringList{"C5,5*"});
    QVERIFY(!m->selectLeftOrRight(Direction::Left, true, false));
}

void TestTableModelSelection::movesAtEdges() {
    LoadedModel m = load(gridLines(5, 5));
    Range corner = cell(0, 0);
    m->setSelection(corner);
    QVERIFY(!m->moveSelectionVertically(Direction::Up, false));
    QVERIFY(!m->moveSelectionHorizontally(Direction::Left, false));
    QVERIFY(!m->moveSelectionVertically(Direction::Left, false));
    QVERIFY(m->moveSelectionVertically(Direction::Down, false));
    QCOMPARE(m->getMainCell().row, 1);
    QVERIFY(m->moveSelectionVertically(Direction::Down, true));
    QCOMPARE(m->getMainCell().row, 4);
    // Without a buffer the grid ends with the data: no further.
    QVERIFY(!m->moveSelectionVertically(Direction::Down, false));
    QVERIFY(m->moveSelectionHorizontally(Direction::Right, true));
    QCOMPARE(m->getMainCell().col, 4);

    m->moveSelectionRelative(-10, -2);
    QCOMPARE(m->getMainCell().row, 0);
    QCOMPARE(m->getMainCell().col, 2);
    m->moveSelectionRelative(100, 100);
    QCOMPARE(m->getMainCell().row, 4);
    QCOMPARE(m->getMainCell().col, 4);
    QCOMPARE(describe(m->getSelection()), QStringList{"C4,4*"});
}

void TestTableModelSelection::moveSelectionRelativeMovesEveryMember() {
    LoadedModel m = load(gridLines(10, 10));
    Range block = table(2, 2, 3, 3);
    block.excludedCells = {{3, 3}};
    Range out = cell(-2, 1);
    RangeVector ranges{cell(4, 4), block, rowRange(6), out};
    ranges.front().isMainCell = true;
    m->setSelection(ranges, true);
    m->moveSelectionRelative(1, 2);
    QCOMPARE(m->getMainCell().row, 5);
    QCOMPARE(m->getMainCell().col, 6);
    QStringList got = describe(m->getSelection());
    QVERIFY(got.contains(QStringLiteral("C-2,3"))); // the out-of-table mark stays on its row
    QVERIFY(got.contains(QStringLiteral("T3,4")));
    QVERIFY(got.contains(QStringLiteral("R7")));
    for (const Range& r : m->getSelection()) {
        if (r.type == RangeType::Table) {
            QCOMPARE(r.endRow, 4);
            QCOMPARE(r.endCol, 5);
            QCOMPARE(r.excludedCells, (std::vector<std::pair<int, int>>{{4, 5}}));
        }
    }
    QVERIFY(m->cellInSelection(3, 4));
    QVERIFY(!m->cellInSelection(4, 5));
}

void TestTableModelSelection::selectionSize() {
    LoadedModel m = load(gridLines(10, 10));
    QSignalSpy sizes(m.model.get(), &TableModel::selectionSizeChangedSignal);
    RangeVector ranges{cell(1, 1), cell(1, 2), cell(1, 3), cell(2, 1), cell(2, 2), cell(2, 3)};
    ranges.front().isMainCell = true;
    m->setSelection(ranges, true);
    RangeSize size = m->getSelectionSize();
    QCOMPARE(size.numCells, 6);
    QCOMPARE(m->getSelectionBlock().row, 1);
    QCOMPARE(m->getSelectionBlock().endCol, 3);
    QVERIFY(sizes.count() >= 1);

    m->addCellToSelection(cell(3, 1)); // no longer a rectangle
    QCOMPARE(m->getSelectionBlock().type, RangeType::Invalid);
    QCOMPARE(sizes.last().at(0).value<RangeSize>().numCells, 7);

    RangeVector mixed{rowRange(1), rowRange(4), colRange(2), table(0, 0, 2, 3), cell(9, 9)};
    mixed.back().isMainCell = true;
    m->setSelection(mixed, true);
    size = m->getSelectionSize();
    QCOMPARE(size.numRows, 2);
    QCOMPARE(size.numCols, 1);
    QCOMPARE(size.numCells, 12 + 1);
    RangeVector all{table(0, 0)};
    all.front().isMainCell = true;
    m->setSelection(all, true);
    QCOMPARE(m->getSelectionSize().numCells, 100);
}

void TestTableModelSelection::invertSelection() {
    LoadedModel m = load(gridLines(6, 3));
    RangeVector ranges{cell(2, 1), rowRange(4)};
    ranges.front().isMainCell = true;
    m->setSelection(ranges, true);
    m->invertSelectionByRowsHeaderExcluded();
    QCOMPARE(describe(m->getSelection()), (QStringList{"R1*", "R3", "R5"}));
    QCOMPARE(m->getMainCell().row, 1);
    QCOMPARE(m->getMainCell().col, 0);
    QVERIFY(m->isRowSelected(3));
    QVERIFY(!m->isRowSelected(2));

    m->setNumberOfHeaderCols(1);
    Range one = cell(0, 2);
    m->setSelection(one);
    m->invertSelectionByColumnsHeaderExcluded();
    QCOMPARE(describe(m->getSelection()), QStringList{"K1*"});
    QVERIFY(m->isColSelected(1));
}

void TestTableModelSelection::orderedSetsAndCounts() {
    LoadedModel m = load(gridLines(5, 5));
    Range col = colRange(3);
    col.excludedRows = {1};
    RangeVector ranges{cell(0, 0), col, cell(4, 1)};
    ranges.front().isMainCell = true;
    m->setSelection(ranges, true);
    std::vector<int> rows;
    m->getOrderedSetOfSelectedRows(rows);
    QCOMPARE(rows, (std::vector<int>{0, 2, 3, 4}));
    std::vector<int> cols;
    m->getOrderedSetOfSelectedCols(cols);
    QCOMPARE(cols, (std::vector<int>{0, 1, 3}));
    QCOMPARE(m->numSelectedCells(), qint64(1 + 4 + 1));
    const auto indexes = m->getSelectionIndexes();
    QCOMPARE(indexes.size(), std::size_t(6));
    QCOMPARE(indexes.front(), std::make_pair(0, 0));
    QCOMPARE(indexes.back(), std::make_pair(4, 3));
    RangeVector cells;
    m->getCellOnlyRangeVector(cells, m->getSelection());
    QCOMPARE(cells.size(), std::size_t(6));

    m->clearSelection(cell(2, 2));
    QCOMPARE(describe(m->getSelection()), QStringList{"C2,2*"});
    m->clearSelection();
    QCOMPARE(describe(m->getSelection()), QStringList{"C2,2*"});
}

void TestTableModelSelection::signalsOnChange() {
    LoadedModel m = load(gridLines(5, 5));
    QSignalSpy changed(m.model.get(), &TableModel::selectionChangedSignal);
    QSignalSpy main(m.model.get(), &TableModel::mainCellChangedSignal);
    Range c = cell(2, 3);
    m->setSelection(c);
    QCOMPARE(changed.count(), 1);
    QCOMPARE(main.count(), 1);
    QCOMPARE(main.last().at(0).value<Range>().value.toString(), QStringLiteral("r2c3"));
    m->addCellToSelection(cell(4, 4));
    QCOMPARE(changed.count(), 2);
    QCOMPARE(main.count(), 1); // the main cell stayed
    Range moved = cell(4, 4);
    m->setMainCell(moved);
    QCOMPARE(main.count(), 2);
    QCOMPARE(describe(m->getSelection()), (QStringList{"C2,3", "C4,4*"}));
}

// The status bar's sum and mean: numbers only, as they stand in the selected cells of any shape.
void TestTableModelSelection::sumAndMean_data() {
    QTest::addColumn<QStringList>("lines");
    QTest::addColumn<RangeVector>("ranges");
    QTest::addColumn<QString>("expected");
    const QStringList mixed{"a,b,c", "1,x,2.5", "-4,,1e2", "$3,7 €,9"};
    QTest::newRow("one column") << mixed << RangeVector{colRange(0)} << "Sum: 0      Mean: 0";
    QTest::newRow("a block, words and blanks left out")
        << mixed << RangeVector{table(1, 0, 2, 2)} << "Sum: 99.5      Mean: 24.875";
    QTest::newRow("currency marks") << mixed << RangeVector{cell(3, 0), cell(3, 1)} << "Sum: 10      Mean: 5";
    QTest::newRow("scattered cells") << mixed << RangeVector{cell(1, 2), cell(3, 2)}
                                     << "Sum: 11.5      Mean: 5.75";
    QTest::newRow("words only") << mixed << RangeVector{rowRange(0)} << "Sum: -      Mean: -";
    QTest::newRow("a row with a cell excluded") << mixed << RangeVector{[] {
        Range r = rowRange(1);
        r.excludedCols = {0};
        return r;
    }()} << "Sum: 2.5      Mean: 2.5";
    QTest::newRow("no rounding noise")
        << QStringList{"0.1", "0.2"} << RangeVector{colRange(0)} << "Sum: 0.3      Mean: 0.15";
}

void TestTableModelSelection::sumAndMean() {
    QFETCH(QStringList, lines);
    QFETCH(RangeVector, ranges);
    QFETCH(QString, expected);
    LoadedModel m = load(lines);
    ranges.front().isMainCell = true;
    m->setSelection(ranges, true);
    QCOMPARE(m->getSelectionSumMeanStr(), expected);
}

// Read a slice at a time, with the table changing meanwhile, the reading never goes past the
// table, and read through it ends where one pass does.
void TestTableModelSelection::sumAndMeanInSlices() {
    QStringList lines;
    for (int r = 0; r < 3000; ++r)
        lines << QStringLiteral("%1,w,%2").arg(r).arg(r % 7 == 0 ? QStringLiteral("x")
                                                                 : QString::number(r * 0.5));
    LoadedModel m = load(lines);
    Range all = table(0, 0);
    all.isMainCell = true;
    m->setSelection(all);
    SelectionStats stats;
    m->beginSelectionStats(stats);
    int slices = 0;
    while (!m->continueSelectionStats(stats, 0))
        ++slices;
    QVERIFY(slices > 10); // a budget of nothing still reads a few hundred cells a slice
    QCOMPARE(TableModel::selectionStatsText(stats), m->getSelectionSumMeanStr());

    m->beginSelectionStats(stats);
    m->continueSelectionStats(stats, 0);
    m->getTableData().removeRowsRaw(10, 2990);
    while (!m->continueSelectionStats(stats, 0)) {
    }
    QVERIFY(stats.count > 0);
}

QTEST_MAIN(TestTableModelSelection)
#include "tst_tablemodel_selection.moc"
