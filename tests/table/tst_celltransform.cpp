// The engine under the cell transformations, without a window: which cells a transformation
// writes, in how many records, and that one undo command takes any selection back exactly.
#include "table/celltransform.h"
#include "table/setmodeldatacommand.h"
#include "tablemodelfixture.h"

#include <QRandomGenerator>
#include <QTimer>
#include <QUndoStack>

#include <map>

using namespace Fixture;

Q_DECLARE_METATYPE(RangeVector)

namespace {

QStringList snapshot(const TableModel& m) {
    QStringList rows;
    for (int r = 0; r < m.rowCountModel(); ++r) {
        QStringList row;
        for (int c = 0; c < m.columnCountModel(); ++c)
            row << text(m, r, c, Qt::EditRole);
        rows << row.join('|');
    }
    return rows;
}

void select(TableModel& m, RangeVector ranges) {
    ranges.front().isMainCell = true;
    if (ranges.front().type == RangeType::Table) {
        ranges.front().mainCellRow = ranges.front().row;
        ranges.front().mainCellCol = ranges.front().col;
    }
    m.setSelection(ranges);
}

} // namespace

class TestCellTransform : public QObject {
    Q_OBJECT

private slots:
    // A large block travels as one Table range; a scattered selection as the changed cells.
    void recordsOfAChange() {
        auto m = load(gridLines(40, 5));
        select(*m, {table(0, 0, 39, 4)});
        const RangeVector block =
            CellTransform::mapSelection(*m, [](const QString& t) { return t.toUpper(); });
        QCOMPARE(block.size(), std::size_t(1));
        QCOMPARE(block.front().type, RangeType::Table);
        QCOMPARE(block.front().tableValues.size(), std::size_t(40));

        select(*m, {cell(1, 1), cell(3, 2), cell(5, 4)});
        // Only cells whose text changes are written.
        const RangeVector some = CellTransform::mapSelection(
            *m, [](const QString& t) { return t == QLatin1String("r3c2") ? t : t + QLatin1Char('!'); });
        QCOMPARE(some.size(), std::size_t(2));
        QCOMPARE(some[0].value.toString(), QStringLiteral("r1c1!"));
        QCOMPARE(some[1].value.toString(), QStringLiteral("r5c4!"));
    }

    // Empty cells stay empty, and nothing to change means no command at all.
    void emptyCellsAndNoChange() {
        auto m = load({"a,,c", ",,"});
        select(*m, {table(0, 0, 1, 2)});
        QVERIFY(CellTransform::mapSelection(*m, [](const QString& t) { return t; }).empty());
        const RangeVector out = CellTransform::mapSelection(*m, [](const QString& t) { return t + 'x'; });
        QCOMPARE(out.size(), std::size_t(2));
    }

    // A join leaves empty cells out, separators and all: a line of empty cells stays empty.
    void joinLeavesOutEmptyCells() {
        auto m = load({"a,,c,x", ",,,y", "d,e,,z"});
        select(*m, {table(0, 0, 2, 2)});
        QUndoStack stack;
        stack.push(CellTransform::makeCommand(*m, CellTransform::join(*m, ", ", true, false)));
        QCOMPARE(snapshot(*m).mid(0, 3), (QStringList{"a, c|||x", "|||y", "d, e|||z"}));
        stack.undo();
        stack.push(CellTransform::makeCommand(*m, CellTransform::join(*m, ", ", true, true)));
        QCOMPARE(snapshot(*m).mid(0, 3), (QStringList{"a, c|x||", "|y||", "d, e|z||"}));
        stack.undo();
        stack.push(CellTransform::makeCommand(*m, CellTransform::join(*m, "+", false, false)));
        QCOMPARE(snapshot(*m).mid(0, 3), (QStringList{"a+d|e|c|x", "|||y", "|||z"}));
    }

    // An ID column numbers hidden rows too, so that renumbering while rows are hidden gives no
    // ID twice once they show again; undo puts back every cell, hidden ones included.
    void idColumnNumbersHiddenRows() {
        auto m = load(gridLines(8, 3));
        QCOMPARE(m->getNumHeaderRows(), 1);
        const auto rawColumn = [&m](int col) {
            QStringList cells;
            for (int r = 0; r < m->getTableData().numRawRows(); ++r)
                cells << m->getTableData().getValueRaw(r, col).toString();
            return cells;
        };
        const QStringList original = rawColumn(0);
        m->setAndApplyHiddenRowsList({3, 4});
        QUndoStack stack;
        stack.push(CellTransform::addIdColumnCommand(*m, 1));
        QCOMPARE(rawColumn(0), (QStringList{"ID", "1", "2", "3", "4", "5", "6", "7"}));
        QCOMPARE(rawColumn(1), original);
        m->setAndApplyHiddenRowsList({2, 5});
        stack.push(CellTransform::idColumnCommand(*m, 10));
        QCOMPARE(rawColumn(0), (QStringList{"ID", "10", "11", "12", "13", "14", "15", "16"}));
        stack.undo();
        QCOMPARE(rawColumn(0), (QStringList{"ID", "1", "2", "3", "4", "5", "6", "7"}));
        stack.undo();
        QCOMPARE(rawColumn(0), original);
    }

    // Random selections of random shapes: one undo step puts table and selection back, and redo
    // gives the same table as the first run.
    void undoOfRandomSelections() {
        auto m = load(gridLines(30, 8));
        QUndoStack stack;
        QRandomGenerator random(7);
        const QStringList original = snapshot(*m);
        for (int round = 0; round < 60; ++round) {
            RangeVector ranges;
            const int pieces = 1 + int(random.bounded(4));
            for (int p = 0; p < pieces; ++p) {
                const int row = int(random.bounded(30)), col = int(random.bounded(8));
                if (random.bounded(2))
                    ranges.push_back(cell(row, col));
                else
                    ranges.push_back(table(row, col, std::min(29, row + int(random.bounded(10))),
                                           std::min(7, col + int(random.bounded(4)))));
            }
            select(*m, ranges);
            const QString selectionBefore = [&] {
                QStringList s;
                for (const auto& [r, c] : m->getSelectionIndexes())
                    s << QStringLiteral("%1,%2").arg(r).arg(c);
                return s.join(' ');
            }();
            const QStringList before = snapshot(*m);
            const std::vector<CellTransform::CellText> series =
                round % 3 == 0   ? CellTransform::reshape(*m, 3, round % 2)
                : round % 3 == 1 ? CellTransform::join(*m, "+", round % 2, round % 4 == 1)
                                 : std::vector<CellTransform::CellText>{};
            // Both records of a change: values per cell, and the compact texts of the engine.
            TableUndoCommand* command = nullptr;
            const auto upper = [](const QString& t) { return t.toUpper(); };
            if (round % 2 == 0) {
                command = round % 3 == 2 ? CellTransform::mapCommand(*m, upper)
                                         : CellTransform::makeCommand(*m, series);
            } else {
                RangeVector cells = round % 3 == 2 ? CellTransform::mapSelection(*m, upper)
                                                   : CellTransform::changedCells(*m, series);
                if (!cells.empty())
                    command = new SetModelDataCommand(m.model.get(), cells);
            }
            if (!command)
                continue;
            stack.push(command);
            const QStringList after = snapshot(*m);
            QVERIFY(after != before);
            stack.undo();
            QCOMPARE(snapshot(*m), before);
            QStringList s;
            for (const auto& [r, c] : m->getSelectionIndexes())
                s << QStringLiteral("%1,%2").arg(r).arg(c);
            QCOMPARE(s.join(' '), selectionBefore);
            stack.redo();
            QCOMPARE(snapshot(*m), after);
        }
        while (stack.canUndo())
            stack.undo();
        QCOMPARE(snapshot(*m), original);
    }

    // Reshape one way and back gives the block it started from.
    void reshapeBothWays() {
        auto m = load({"a,b,c,d,e,f", "", ""});
        select(*m, {table(0, 0, 0, 5)});
        QUndoStack stack;
        RangeVector cells = CellTransform::changedCells(*m, CellTransform::reshape(*m, 2, true));
        stack.push(new SetModelDataCommand(m.model.get(), cells));
        QCOMPARE(snapshot(*m).mid(0, 3), (QStringList{"a|b||||", "c|d||||", "e|f||||"}));
        select(*m, {table(0, 0, 2, 1)});
        cells = CellTransform::changedCells(*m, CellTransform::reshape(*m, 1, false));
        stack.push(new SetModelDataCommand(m.model.get(), cells));
        QCOMPARE(snapshot(*m).front(), QStringLiteral("a|c|e|b|d|f"));
        // Laid out column-wise again, three to a column: the block of the first step.
        select(*m, {table(0, 0, 0, 5)});
        cells = CellTransform::changedCells(*m, CellTransform::reshape(*m, 6, true));
        QVERIFY(cells.empty()); // already one row of six
        select(*m, {table(0, 0, 0, 5)});
        cells = CellTransform::changedCells(*m, CellTransform::reshape(*m, 3, false));
        stack.push(new SetModelDataCommand(m.model.get(), cells));
        QCOMPARE(snapshot(*m).mid(0, 3), (QStringList{"a|b||||", "c|d||||", "e|f||||"}));
    }

    // A selection worked on the model's worker gives what the walk here gives, and a split along
    // rows lays its parts out as a plain rebuild of each row does, also with ragged part counts.
    // A cancel midway leaves table, selection and undo stack as they were.
    void workerSplitAndCancel() {
        constexpr int rows = 6000, cols = 5;
        QStringList lines;
        for (int r = 0; r < rows; ++r) {
            QStringList cells;
            for (int c = 0; c < cols; ++c)
                cells << (c == 3 ? QString()
                                 : QStringLiteral("c%1;r%2").arg(c).arg(r).repeated(1 + (r + c) % 3));
            lines << cells.join(',');
        }
        auto threaded = load(lines);
        auto plain = load(lines);
        select(*threaded, {table(0, 0, rows - 1, cols - 1)});
        select(*plain, {table(0, 0, rows - 1, cols - 1)});
        const QStringList original = snapshot(*threaded);
        const auto fn = [](const QString& t, std::size_t i) { return t.toUpper() + QString::number(i % 7); };
        QUndoStack stack;
        QUndoStack plainStack;
        stack.push(CellTransform::mapCommand(*threaded, fn, true, true));
        plainStack.push(CellTransform::mapCommand(*plain, fn, true, false));
        QCOMPARE(snapshot(*threaded), snapshot(*plain));
        stack.undo();
        QCOMPARE(snapshot(*threaded), original);

        const auto bySemicolon = [](const QString& t) { return t.split(';'); };
        stack.push(CellTransform::splitCommand(*threaded, Axis::Row, false, bySemicolon, true));
        std::vector<int> widths(cols, 1);
        for (const QString& line : lines) {
            const QStringList cells = line.split(',');
            for (int c = 0; c < cols; ++c)
                widths[std::size_t(c)] = std::max(widths[std::size_t(c)], int(cells[c].split(';').size()));
        }
        QStringList expected;
        for (const QString& line : lines) {
            const QStringList cells = line.split(',');
            QStringList row;
            for (int c = 0; c < cols; ++c) {
                QStringList parts = cells[c].split(';');
                while (parts.size() < widths[std::size_t(c)])
                    parts << QString();
                row << parts;
            }
            expected << row.join('|');
        }
        const QStringList split = snapshot(*threaded);
        QCOMPARE(split.size(), expected.size());
        for (int r = 0; r < rows; r += 997)
            QCOMPARE(split[r], expected[r]);
        QCOMPARE(split, expected);
        stack.undo();
        QCOMPARE(snapshot(*threaded), original);

        const RangeVector selection = threaded->getSelection();
        const int steps = stack.count();
        const int at = stack.index();
        TableModel* model = threaded.model.get();
        const auto canceling = [model](const QString& t, std::size_t i) {
            if (i == 10000)
                model->cancelWorker();
            return t + QLatin1Char('x');
        };
        QVERIFY(!CellTransform::mapCommand(*threaded, canceling, false, true));
        std::size_t seen = 0;
        QVERIFY(!CellTransform::splitCommand(
            *threaded, Axis::Row, false,
            [&](const QString& t) {
                canceling(t, seen++);
                return t.split(';');
            },
            true));
        QCOMPARE(snapshot(*threaded), original);
        QCOMPARE(threaded->getSelection(), selection);
        QCOMPARE(stack.count(), steps);
        QCOMPARE(stack.index(), at);
    }

    // Join, reshape and the ID column worked on the model's worker give what the walk here gives,
    // and undo takes the table back; a cancel midway leaves table, selection and undo stack as
    // they were.
    void layoutsOnWorker_data() {
        QTest::addColumn<int>("op");
        QTest::newRow("join rows") << 0;
        QTest::newRow("join rows, close gap") << 1;
        QTest::newRow("join columns") << 2;
        QTest::newRow("reshape row-wise") << 3;
        QTest::newRow("reshape column-wise") << 4;
        QTest::newRow("add ID column") << 5;
        QTest::newRow("update ID column") << 6;
        QTest::newRow("split, rest of row moves") << 7;
        QTest::newRow("split down") << 8;
    }
    void layoutsOnWorker() {
        QFETCH(int, op);
        constexpr int rows = 21000, cols = 6;
        QStringList lines;
        for (int r = 0; r < rows; ++r) {
            QStringList cells;
            for (int c = 0; c < cols; ++c)
                cells << ((r + c) % 5 == 0 ? QString() : QStringLiteral("r%1c%2").arg(r).arg(c));
            lines << cells.join(',');
        }
        const auto build = [op](TableModel& m, bool useThread) -> TableUndoCommand* {
            switch (op) {
            case 0:
            case 1:
                return CellTransform::joinCommand(m, "+", true, op == 1, useThread);
            case 2:
                return CellTransform::joinCommand(m, "+", false, false, useThread);
            case 3:
            case 4:
                return CellTransform::reshapeCommand(m, op == 3 ? 4 : 25000, op == 3, useThread);
            case 5:
                return CellTransform::addIdColumnCommand(m, 3, useThread);
            case 6:
                return CellTransform::idColumnCommand(m, -2, useThread);
            default:
                // Rows 10, 20, ... split into two or three parts, the rest stay whole.
                return CellTransform::splitCommand(
                    m, op == 7 ? Axis::Row : Axis::Col, op == 7,
                    [](const QString& t) {
                        return t.contains("0c") ? t.split(QRegularExpression("[c5]")) : QStringList{t};
                    },
                    useThread);
            }
        };
        auto threaded = load(lines);
        auto plain = load(lines);
        for (TableModel* m : {threaded.model.get(), plain.model.get()}) {
            m->setNumberOfHeaderRows(1);
            select(*m, {table(0, 1, rows - 1, cols - 1)});
            QVERIFY(m->numSelectedCells() > 100000);
        }
        const QStringList original = snapshot(*threaded);
        const RangeVector selection = threaded->getSelection();
        QUndoStack stack;
        QUndoStack plainStack;

        // Canceled as soon as the window's loop runs, while the worker is still reading. A job
        // quick enough may end before the cancel arrives: that run is undone and the cancel tried
        // again, with the stale cancel let through before the next run.
        bool canceled = false;
        for (int attempt = 0; attempt < 20 && !canceled; ++attempt) {
            QTimer::singleShot(0, threaded.model.get(), &TableModel::cancelWorker);
            if (TableUndoCommand* ran = build(*threaded, true)) {
                QUndoStack scratch;
                scratch.push(ran);
                scratch.undo();
                QCoreApplication::processEvents();
            } else {
                canceled = true;
            }
            QCOMPARE(snapshot(*threaded), original);
            QCOMPARE(threaded->getSelection(), selection);
        }
        QVERIFY(canceled);
        QCOMPARE(stack.count(), 0);

        stack.push(build(*threaded, true));
        plainStack.push(build(*plain, false));
        QCOMPARE(stack.count(), 1);
        const QStringList done = snapshot(*threaded);
        QVERIFY(done != original);
        QCOMPARE(done, snapshot(*plain));
        if (op == 0)
            QCOMPARE(done[1].section('|', 0, 2), QStringLiteral("r1c0|r1c1+r1c2+r1c3+r1c5|"));
        // Row 0 splits too, so row 10 comes one down.
        if (op == 8)
            QCOMPARE(done.mid(11, 3), QStringList({"|r10|r10|r10|r10|", "|1|2|3|4|", original[11]}));
        if (op == 5 || op == 6)
            QCOMPARE(done[0].section('|', 0, 0), QStringLiteral("ID"));
        stack.undo();
        QCOMPARE(snapshot(*threaded).mid(0, rows), original);
        stack.redo();
        QCOMPARE(snapshot(*threaded), done);
    }

    // Both splits that make room laid beside a plain rebuild of the grid: along rows the rest of
    // each row moves right by the extra parts; down, each split row gets as many new rows below
    // it as its longest split needs (the parts go down their column, the other cells of the new
    // rows stay empty). One undo step takes the table back, and redo gives the split again.
    void splitsMatchRebuild_data() {
        QTest::addColumn<bool>("down");
        QTest::addColumn<RangeVector>("selection");
        QTest::newRow("rest moves, whole table") << false << RangeVector{table(0, 0, 11, 4)};
        QTest::newRow("rest moves, one column: a block") << false << RangeVector{table(0, 1, 11, 1)};
        QTest::newRow("rest moves, scattered")
            << false << RangeVector{cell(2, 3), cell(2, 1), cell(5, 0), cell(9, 4), cell(11, 2)};
        QTest::newRow("down, whole table") << true << RangeVector{table(0, 0, 11, 4)};
        QTest::newRow("down, one column") << true << RangeVector{table(0, 3, 11, 3)};
        QTest::newRow("down, scattered")
            << true << RangeVector{cell(0, 0), cell(4, 2), cell(4, 3), cell(11, 4)};
    }
    void splitsMatchRebuild() {
        QFETCH(bool, down);
        QFETCH(RangeVector, selection);
        constexpr int rows = 12, cols = 5;
        std::vector<QStringList> grid(rows);
        QStringList lines;
        for (int r = 0; r < rows; ++r) {
            for (int c = 0; c < cols; ++c) {
                // Column 1 always in two parts; elsewhere none, one, two or three.
                const int parts = c == 1 ? 2 : (r * 7 + c * 3) % 4;
                QStringList texts;
                for (int p = 0; p < parts; ++p)
                    texts << QStringLiteral("%1.%2.%3").arg(r).arg(c).arg(p);
                grid[std::size_t(r)] << texts.join(';');
            }
            lines << grid[std::size_t(r)].join(',');
        }
        auto m = load(lines);
        m->setNumberOfHeaderRows(0);
        select(*m, selection);
        std::vector<std::pair<int, int>> cells = m->getSelectionIndexes();
        std::sort(cells.begin(), cells.end());
        const QStringList original = snapshot(*m);

        std::vector<QStringList> expected;
        if (down) {
            std::map<int, int> extra;
            for (const auto& [r, c] : cells)
                extra[r] = std::max(extra[r], int(grid[std::size_t(r)][c].split(';').size()) - 1);
            for (int r = 0; r < rows; ++r) {
                const int at = int(expected.size());
                expected.push_back(grid[std::size_t(r)]);
                for (int k = 0; k < extra[r]; ++k)
                    expected.push_back(QStringList(QList<QString>(cols)));
                for (const auto& [sr, sc] : cells) {
                    const QStringList parts = grid[std::size_t(r)][sc].split(';');
                    for (qsizetype p = 0; sr == r && parts.size() > 1 && p < parts.size(); ++p)
                        expected[std::size_t(at + p)][sc] = parts[p];
                }
            }
        } else {
            for (int r = 0; r < rows; ++r) {
                QStringList row;
                for (int c = 0; c < cols; ++c) {
                    const QStringList parts = grid[std::size_t(r)][c].split(';');
                    const bool chosen = std::find(cells.begin(), cells.end(), std::pair{r, c}) != cells.end();
                    if (chosen && parts.size() > 1)
                        row << parts;
                    else
                        row << grid[std::size_t(r)][c];
                }
                expected.push_back(row);
            }
        }
        qsizetype width = 0;
        for (const QStringList& row : expected)
            width = std::max(width, row.size());
        QStringList want;
        for (QStringList row : expected) {
            while (row.size() < width)
                row << QString();
            want << row.join('|');
        }

        QUndoStack stack;
        stack.push(CellTransform::splitCommand(
            *m, down ? Axis::Col : Axis::Row, !down, [](const QString& t) { return t.split(';'); }, true));
        QCOMPARE(stack.count(), 1);
        QCOMPARE(snapshot(*m), want);
        stack.undo();
        QCOMPARE(snapshot(*m), original);
        stack.redo();
        QCOMPARE(snapshot(*m), want);
    }

    // The walk of a series stops when the items run out.
    void seriesStops() {
        auto m = load({"1,2,3", "4,5,6"});
        select(*m, {table(0, 0, 1, 2)});
        const auto cells = CellTransform::fillSeries(*m, {"x", "y"}, false, true);
        QCOMPARE(cells.size(), std::size_t(2));
        QCOMPARE(cells[1].text, QStringLiteral("2y"));
    }
};

QTEST_GUILESS_MAIN(TestCellTransform)
#include "tst_celltransform.moc"
