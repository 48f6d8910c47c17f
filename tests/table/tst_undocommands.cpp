// Undo commands on a QUndoStack over a TableModel, without a window: a random sequence of
// commands undone and redone against snapshots of the whole table state, and the cases that
// pin the behaviour of single commands.

#include "tablemodelfixture.h"

#include "table/changeselectioncommand.h"
#include "table/duplicatecellcontentscommand.h"
#include "table/movecommands.h"
#include "table/rowcolcommands.h"
#include "table/saveparametercommands.h"
#include "table/setcelltextscommand.h"
#include "table/setmodeldatacommand.h"
#include "table/transposetablecommand.h"

#include <QFile>
#include <QRandomGenerator>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QUndoStack>

using namespace Fixture;

namespace {

struct Snapshot {
    int rawRows = 0;
    int rawCols = 0;
    int viewRows = 0;
    int viewCols = 0;
    bool transposed = false;
    std::vector<QString> cells; // physical order
    std::vector<int> concealedRows;
    std::vector<int> concealedCols;
    std::vector<QString> selection;
    int mainRow = 0;
    int mainCol = 0;
    SortData rowSort;
    SortData colSort;
    QString delimiter;
    int lineEnding = 0;
    int encoding = 0;
    int standard = 0;
    std::vector<QString> filters;

    bool operator==(const Snapshot&) const = default;
};

QString describe(const Range& r) {
    return QStringLiteral("%1:%2,%3-%4,%5%6")
        .arg(int(r.type))
        .arg(r.row)
        .arg(r.col)
        .arg(r.endRow)
        .arg(r.endCol)
        .arg(r.isMainCell ? QStringLiteral("*") : QString());
}

Snapshot snapshot(TableModel& model) {
    Snapshot s;
    TableData& data = model.getTableData();
    s.transposed = data.isTransposed();
    s.rawRows = data.numRawRows(true);
    s.rawCols = data.numRawCols(true);
    s.viewRows = model.rowCount();
    s.viewCols = model.columnCount();
    for (int r = 0; r < s.rawRows; ++r) {
        for (int c = 0; c < s.rawCols; ++c)
            s.cells.push_back(data.getValueRaw(r, c, true).toString());
    }
    data.getConcealedRowsRaw(s.concealedRows, true);
    data.getConcealedColsRaw(s.concealedCols, true);
    for (const Range& r : model.getSelection())
        s.selection.push_back(describe(r));
    s.mainRow = model.getMainCell().row;
    s.mainCol = model.getMainCell().col;
    s.rowSort = model.getRowSortData();
    s.colSort = model.getColSortData();
    s.delimiter = model.getDelimiterSave();
    s.lineEnding = data.getLineEnding();
    s.encoding = data.getEncoding();
    s.standard = data.getParsingStandard();
    for (const FilterData& f : model.getFilterList()) {
        QString text = describe(f.range) + QLatin1Char('|');
        for (int e : f.exceptions)
            text += QString::number(e) + QLatin1Char(' ');
        s.filters.push_back(text);
    }
    return s;
}

// Where two snapshots first differ, for the failure message.
QString difference(const Snapshot& a, const Snapshot& b) {
    if (a.rawRows != b.rawRows || a.rawCols != b.rawCols)
        return QStringLiteral("raw size %1x%2 vs %3x%4")
            .arg(a.rawRows)
            .arg(a.rawCols)
            .arg(b.rawRows)
            .arg(b.rawCols);
    if (a.viewRows != b.viewRows || a.viewCols != b.viewCols)
        return QStringLiteral("view size %1x%2 vs %3x%4")
            .arg(a.viewRows)
            .arg(a.viewCols)
            .arg(b.viewRows)
            .arg(b.viewCols);
    if (a.transposed != b.transposed)
        return QStringLiteral("transposition");
    if (a.cells != b.cells)
        return QStringLiteral("cells");
    if (a.concealedRows != b.concealedRows || a.concealedCols != b.concealedCols)
        return QStringLiteral("concealment");
    if (a.selection != b.selection)
        return QStringLiteral("selection %1 vs %2")
            .arg(QStringList(a.selection.begin(), a.selection.end()).join(QLatin1Char(' ')),
                 QStringList(b.selection.begin(), b.selection.end()).join(QLatin1Char(' ')));
    if (a.mainRow != b.mainRow || a.mainCol != b.mainCol)
        return QStringLiteral("main cell %1,%2 vs %3,%4")
            .arg(a.mainRow)
            .arg(a.mainCol)
            .arg(b.mainRow)
            .arg(b.mainCol);
    if (!(a.rowSort == b.rowSort) || !(a.colSort == b.colSort))
        return QStringLiteral("sort marks");
    if (a.filters != b.filters)
        return QStringLiteral("filters");
    return QStringLiteral("file parameters");
}

class Generator {
public:
    explicit Generator(quint32 seed) : rng(seed) {}
    int below(int n) { return n <= 0 ? 0 : static_cast<int>(rng.bounded(n)); }
    int between(int lo, int hi) { return lo + below(hi - lo + 1); }
    bool chance(int percent) { return below(100) < percent; }
    QString text() {
        static const char* words[] = {"a",    "b",           "x y", "7", "-3.5", "\u00e9t\u00e9",
                                      "q\"t", "line\nbreak", ""};
        return QString::fromUtf8(words[below(9)]);
    }
    std::vector<int> lines(int count) {
        std::vector<int> out;
        const int n = between(1, 3);
        for (int i = 0; i < n; ++i)
            out.push_back(below(count));
        return out;
    }

private:
    QRandomGenerator rng;
};

Range randomSelectionRange(Generator& g, const TableModel& model) {
    const int rows = std::max(model.rowCount(), 1);
    const int cols = std::max(model.columnCount(), 1);
    switch (g.below(4)) {
    case 0:
    case 1:
        return cell(g.below(rows), g.below(cols));
    case 2: {
        const int r = g.below(rows);
        const int c = g.below(cols);
        return table(r, c, std::min(rows - 1, r + g.below(3)), std::min(cols - 1, c + g.below(3)));
    }
    default:
        return g.chance(50) ? rowRange(g.below(rows)) : colRange(g.below(cols));
    }
}

// One random command on the stack; false when the command found nothing to do.
bool pushRandomCommand(Generator& g, TableModel& model, QUndoStack& stack) {
    const int rows = std::max(model.rowCountModel(), 1);
    const int cols = std::max(model.columnCountModel(), 1);
    const RangeVector selection = model.getSelection();
    TableUndoCommand* command = nullptr;
    switch (g.below(22)) {
    case 0:
    case 1: {
        RangeVector next{randomSelectionRange(g, model)};
        if (g.chance(30))
            next.push_back(randomSelectionRange(g, model));
        next.front().isMainCell = true;
        command = new ChangeSelectionCommand(&model, next, selection);
        break;
    }
    case 2:
    case 3: {
        RangeVector cells;
        const int n = g.between(1, 4);
        for (int i = 0; i < n; ++i) {
            Range c = cell(g.below(model.rowCount() + 2), g.below(model.columnCount() + 1));
            c.value = g.text();
            cells.push_back(c);
        }
        RangeVector second;
        if (g.chance(30)) {
            Range block = table(g.below(rows), g.below(cols));
            const int h = g.between(1, 3), w = g.between(1, 3);
            block.endRow = block.row + h - 1;
            block.endCol = block.col + w - 1;
            block.tableValues.assign(h, std::vector<QVariant>(w));
            for (auto& line : block.tableValues)
                for (QVariant& v : line)
                    v = g.text();
            second.push_back(block);
        }
        command = new SetModelDataCommand(&model, cells, second);
        break;
    }
    case 4:
        command = new InsertRowsCommand(&model, g.lines(rows + 1), g.between(1, 2), g.chance(50));
        break;
    case 5:
        command = new InsertColsCommand(&model, g.lines(cols + 1), g.between(1, 2), g.chance(50));
        break;
    case 6:
        command = new RemoveRowsCommand(&model, g.lines(rows));
        break;
    case 7:
        command = new RemoveColsCommand(&model, g.lines(cols));
        break;
    case 8:
        command = new RemoveEmptyRowsColsAtEndCommand(&model);
        break;
    case 9:
    case 10: {
        const int dr = g.chance(50) ? g.between(-2, 2) : 0;
        const int dc = dr == 0 ? g.between(-2, 2) : 0;
        command = new MoveCellContentsCommand(&model, selection, dr, dc);
        break;
    }
    case 11:
        command = new MoveRowsRelativeCommand(&model, g.lines(rows),
                                              g.chance(50) ? -g.between(1, 2) : g.between(1, 2));
        break;
    case 12:
        command = new MoveColsRelativeCommand(&model, g.lines(cols), g.chance(50) ? -1 : 1);
        break;
    case 13:
        command = new MoveRowsAbsoluteCommand(&model, g.lines(rows), g.below(rows + 1));
        break;
    case 14:
        command = new MoveColsAbsoluteCommand(&model, g.lines(cols), g.below(cols + 1));
        break;
    case 15:
        command = new DuplicateRowsCommand(&model, g.lines(rows), g.between(1, 2), g.chance(50));
        break;
    case 16:
        command = new DuplicateColsCommand(&model, g.lines(cols), 1, g.chance(50));
        break;
    case 17:
        command = new DuplicateCellContentsCommand(&model, selection, static_cast<Direction>(g.below(4)));
        break;
    case 18:
        command = new TransposeTableCommand(&model);
        break;
    case 19: {
        static const char* delimiters[] = {",", ";", "\t", "|"};
        command = new SetDelimiterCommand(&model, QString::fromLatin1(delimiters[g.below(4)]));
        break;
    }
    case 20:
        command = g.chance(50)
                      ? static_cast<TableUndoCommand*>(new SetLineEndingCommand(
                            &model, g.chance(50) ? LINE_ENDING_WINDOWS : LINE_ENDING_UNIX))
                      : new SetParsingStandardCommand(&model, static_cast<ParsingStandard>(g.below(3)));
        break;
    default: {
        static const EncodingType encodings[] = {UTF_8, UTF_16LE, UTF_32BE, UTF_16BE};
        command = new SetEncodingCommand(&model, encodings[g.below(4)]);
        break;
    }
    }
    if (!command->isValid) {
        delete command;
        return false;
    }
    stack.push(command);
    return true;
}

LoadedModel randomTable(Generator& g) {
    const int rows = g.between(1, 9);
    const int cols = g.between(1, 6);
    QStringList lines;
    for (int r = 0; r < rows; ++r) {
        QStringList cells;
        for (int c = 0; c < cols; ++c) {
            QString text =
                g.text().replace(QLatin1Char('\n'), QLatin1Char(' ')).replace(QLatin1Char('"'), QString());
            cells << text;
        }
        lines << cells.join(QLatin1Char(','));
    }
    LoadedModel model = load(lines);
    model->setNumBufferRows(g.between(0, 2));
    model->setNumBufferCols(g.between(0, 2));
    TableData& data = model->getTableData();
    std::vector<int> concealed;
    for (int r = 1; r < data.numRawRows(); ++r) {
        if (g.chance(25))
            concealed.push_back(r);
    }
    data.concealRawRows(concealed);
    if (data.numRawCols() > 2 && g.chance(30))
        data.concealRawCols({1});
    if (g.chance(50))
        model->setRowSortData({SortType::Ascending, Axis::Row, 0});
    if (g.chance(40)) {
        FilterData filter;
        filter.range = Range(0, RangeType::Col, RangeIndexType::Raw);
        filter.filterStr = QStringLiteral("a");
        filter.exceptions = {0, 2, 4};
        FilterData rowFilter;
        rowFilter.range = Range(1, RangeType::Row, RangeIndexType::Raw);
        rowFilter.filterStr = QStringLiteral("b");
        rowFilter.exceptions = {1};
        model->setFilterListDontApply({filter, rowFilter});
    }
    Range start = cell(0, 0);
    model->setSelection(start);
    return model;
}

// The contents of model column `col` down to row `rows`.
QStringList column(const TableModel& model, int col, int rows) {
    QStringList out;
    for (int r = 0; r < rows; ++r)
        out << model.getTableData().getValueModel(r, col).toString();
    return out;
}

} // namespace

class TestUndoCommands : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }

    void randomSequenceUndoesAndRedoes_data();
    void randomSequenceUndoesAndRedoes();
    void writePastLastRowAndUndo();
    void blockMoveAtRowZeroMakesNoCommand();
    void cellMoveSlidesPastNeighbours_data();
    void cellMoveSlidesPastNeighbours();
    void rowMovesKeepConcealedRowsInPlace();
    void moveRowsAbsolute_data();
    void moveRowsAbsolute();
    void lineCommandsForward_data();
    void lineCommandsForward();
    void duplicatingManyRowsTakesOnePass();
    void duplicateCellContentsOfWholeLines_data();
    void duplicateCellContentsOfWholeLines();
    void duplicateCellContentsOfALargeTable();
    void duplicateCellContentsExtendsSelection();
    void transposeTurnsSelection();
    void removeEmptyAtEndKeepsConcealment();
    void filterListsFollowInsertAndRemove();
    void mainCellComesBackOnUndo();
    void encodingUndoKeepsBytes();
    void undoneCellWritesKeepRaggedRows_data();
    void undoneCellWritesKeepRaggedRows();
    void undoneColumnCommandsKeepRaggedRows_data();
    void undoneColumnCommandsKeepRaggedRows();
};

void TestUndoCommands::randomSequenceUndoesAndRedoes_data() {
    QTest::addColumn<quint32>("firstSeed");
    for (quint32 block = 0; block < 8; ++block)
        QTest::addRow("seeds %u..%u", block * 8, block * 8 + 7) << block * 8;
}

void TestUndoCommands::randomSequenceUndoesAndRedoes() {
    QFETCH(quint32, firstSeed);
    for (quint32 seed = firstSeed; seed < firstSeed + 8; ++seed) {
        Generator g(seed);
        LoadedModel model = randomTable(g);
        QUndoStack stack;
        const Snapshot before = snapshot(*model);
        int pushed = 0;
        for (int i = 0; i < 200; ++i)
            pushed += pushRandomCommand(g, *model, stack) ? 1 : 0;
        QVERIFY2(pushed > 100, qPrintable(QStringLiteral("seed %1: only %2 commands").arg(seed).arg(pushed)));
        const Snapshot after = snapshot(*model);

        stack.setIndex(0);
        const Snapshot undone = snapshot(*model);
        QVERIFY2(undone == before,
                 qPrintable(QStringLiteral("seed %1 undo: %2").arg(seed).arg(difference(undone, before))));

        stack.setIndex(stack.count());
        const Snapshot redone = snapshot(*model);
        QVERIFY2(redone == after,
                 qPrintable(QStringLiteral("seed %1 redo: %2").arg(seed).arg(difference(redone, after))));
    }
}

void TestUndoCommands::writePastLastRowAndUndo() {
    LoadedModel model = load(gridLines(3, 3));
    model->setNumBufferRows(1);
    QUndoStack stack;
    Range target = cell(6, 1);
    target.value = QStringLiteral("far");
    stack.push(new SetModelDataCommand(&*model, RangeVector{target}));
    QCOMPARE(model->rowCountRaw(), 7);
    QCOMPARE(text(*model, 6, 1), QStringLiteral("far"));
    stack.undo();
    QCOMPARE(model->rowCountRaw(), 3);
    QCOMPARE(model->rowCount(), 4); // data and one buffer row
    QCOMPARE(text(*model, 2, 2), QStringLiteral("r2c2"));
    stack.redo();
    QCOMPARE(model->rowCountRaw(), 7);
}

void TestUndoCommands::blockMoveAtRowZeroMakesNoCommand() {
    LoadedModel model = load(gridLines(4, 3));
    QUndoStack stack;
    RangeVector block{table(0, 0, 1, 1)};
    auto* command = new MoveCellContentsCommand(&*model, block, -1, 0);
    QVERIFY(!command->isValid);
    delete command;
    QCOMPARE(stack.count(), 0);
    auto* left = new MoveCellContentsCommand(&*model, RangeVector{cell(2, 0)}, 0, -3);
    QVERIFY(!left->isValid);
    delete left;
}

void TestUndoCommands::cellMoveSlidesPastNeighbours_data() {
    QTest::addColumn<QList<int>>("rows");
    QTest::addColumn<int>("delta");
    QTest::addColumn<int>("expectedDelta");
    QTest::addColumn<QStringList>("expected"); // column 0 afterwards, as row numbers

    // A cell under another swaps with it.
    QTest::newRow("one up") << QList<int>{2} << -1 << -1 << QStringList{"0", "2", "1", "3", "4", "5", "6"};
    QTest::newRow("one down") << QList<int>{2} << 1 << 1 << QStringList{"0", "1", "3", "2", "4", "5", "6"};
    // Limited by the top of the block only: rows 3 and 5 by 2 move fully, the gap keeps its order.
    QTest::newRow("gap up by two") << QList<int>{3, 5} << -2 << -2
                                   << QStringList{"0", "3", "1", "5", "2", "4", "6"};
    QTest::newRow("limited by top") << QList<int>{1, 3} << -2 << -1
                                    << QStringList{"1", "0", "3", "2", "4", "5", "6"};
    QTest::newRow("gap down") << QList<int>{1, 3} << 2 << 2 << QStringList{"0", "2", "4", "1", "5", "3", "6"};
}

void TestUndoCommands::cellMoveSlidesPastNeighbours() {
    QFETCH(QList<int>, rows);
    QFETCH(int, delta);
    QFETCH(int, expectedDelta);
    QFETCH(QStringList, expected);
    QStringList lines;
    for (int r = 0; r < 7; ++r)
        lines << QStringLiteral("%1,x%1").arg(r);
    LoadedModel model = load(lines);
    RangeVector cells;
    for (int r : rows)
        cells.push_back(cell(r, 0));
    cells.front().isMainCell = true;
    model->setSelection(cells);
    QUndoStack stack;
    auto* command = new MoveCellContentsCommand(&*model, model->getSelection(), delta, 0);
    QVERIFY(command->isValid);
    QCOMPARE(command->getRowsDelta(), expectedDelta);
    stack.push(command);
    QCOMPARE(column(*model, 0, 7), expected);
    QCOMPARE(model->getMainCell().row, rows.front() + expectedDelta);
    // The neighbouring column did not move.
    QCOMPARE(text(*model, 4, 1), QStringLiteral("x4"));
    stack.undo();
    QCOMPARE(column(*model, 0, 7), (QStringList{"0", "1", "2", "3", "4", "5", "6"}));
    QCOMPARE(model->getMainCell().row, rows.front());
}

void TestUndoCommands::rowMovesKeepConcealedRowsInPlace() {
    LoadedModel model = load(QStringList{"a", "b", "hidden", "c", "d"});
    model->getTableData().concealRawRows({2});
    QUndoStack stack;
    // Model row 2 is "c": up past "b", the concealed row stays between the visible ones.
    stack.push(new MoveRowsRelativeCommand(&*model, {2}, -1));
    QCOMPARE(column(*model, 0, 4), (QStringList{"a", "c", "b", "d"}));
    QCOMPARE(model->getTableData().getValueRaw(2, 0).toString(), QStringLiteral("hidden"));
    stack.undo();
    QCOMPARE(model->getTableData().getValueRaw(1, 0).toString(), QStringLiteral("b"));
    QCOMPARE(model->getTableData().getValueRaw(3, 0).toString(), QStringLiteral("c"));
    // Past the last line the delta is cut to what fits.
    auto* down = new MoveRowsRelativeCommand(&*model, {3}, 5);
    QVERIFY(!down->isValid);
    delete down;
}

void TestUndoCommands::moveRowsAbsolute_data() {
    QTest::addColumn<QList<int>>("rows");
    QTest::addColumn<int>("target");
    QTest::addColumn<QString>("expected");
    QTest::addColumn<int>("result");
    QTest::newRow("down") << QList<int>{0, 1} << 4 << "23014" << 2;
    QTest::newRow("up") << QList<int>{3} << 0 << "30124" << 0;
    QTest::newRow("scattered to end") << QList<int>{0, 2} << 5 << "13402" << 3;
    QTest::newRow("into itself") << QList<int>{1, 2} << 2 << "01234" << 1;
}

void TestUndoCommands::moveRowsAbsolute() {
    QFETCH(QList<int>, rows);
    QFETCH(int, target);
    QFETCH(QString, expected);
    QFETCH(int, result);
    LoadedModel model = load(QStringList{"0", "1", "2", "3", "4"});
    QUndoStack stack;
    auto* command = new MoveRowsAbsoluteCommand(&*model, std::vector<int>(rows.begin(), rows.end()), target);
    if (expected == QStringLiteral("01234")) {
        QVERIFY(!command->isValid);
        delete command;
        return;
    }
    QCOMPARE(command->getResult(), result);
    stack.push(command);
    QCOMPARE(column(*model, 0, 5).join(QString()), expected);
    QCOMPARE(model->getMainCell().row, result);
    stack.undo();
    QCOMPARE(column(*model, 0, 5).join(QString()), QStringLiteral("01234"));
}

void TestUndoCommands::lineCommandsForward_data() {
    QTest::addColumn<int>("kind");
    QTest::addColumn<QList<int>>("rows");
    QTest::addColumn<int>("count");
    QTest::addColumn<bool>("flag");
    QTest::addColumn<QString>("expected"); // column 0, "_" for an empty cell
    // Insert before (flag false) or after each group of adjacent rows.
    QTest::newRow("insert before groups") << 0 << QList<int>{1, 2, 4} << 1 << false << "0_123_45";
    QTest::newRow("insert after groups") << 0 << QList<int>{1, 2, 4} << 2 << true << "012__34__5";
    QTest::newRow("remove scattered") << 1 << QList<int>{0, 2, 3, 9} << 0 << false << "145";
    QTest::newRow("duplicate below") << 2 << QList<int>{1, 4} << 1 << true << "01123445";
    QTest::newRow("duplicate above twice") << 2 << QList<int>{0} << 2 << false << "00012345";
    QTest::newRow("move relative down") << 3 << QList<int>{1, 2} << 2 << false << "034125";
}

void TestUndoCommands::lineCommandsForward() {
    QFETCH(int, kind);
    QFETCH(QList<int>, rows);
    QFETCH(int, count);
    QFETCH(bool, flag);
    QFETCH(QString, expected);
    LoadedModel model = load(QStringList{"0", "1", "2", "3", "4", "5"});
    const std::vector<int> lines(rows.begin(), rows.end());
    QUndoStack stack;
    TableUndoCommand* command = nullptr;
    switch (kind) {
    case 0:
        command = new InsertRowsCommand(&*model, lines, count, flag);
        break;
    case 1:
        command = new RemoveRowsCommand(&*model, lines);
        break;
    case 2:
        command = new DuplicateRowsCommand(&*model, lines, count, flag);
        break;
    default:
        command = new MoveRowsRelativeCommand(&*model, lines, count);
        break;
    }
    QVERIFY(command->isValid);
    stack.push(command);
    QString actual;
    for (int r = 0; r < model->rowCountModel(); ++r) {
        const QString value = model->getTableData().getValueModel(r, 0).toString();
        actual += value.isEmpty() ? QStringLiteral("_") : value;
    }
    QCOMPARE(actual, expected);
    stack.undo();
    QCOMPARE(column(*model, 0, 6).join(QString()), QStringLiteral("012345"));
    QCOMPARE(model->rowCountRaw(), 6);
}

// Duplicating every row of a large table, and undoing it, moves the table once, not once per
// row: a whole column selected and Ctrl+Alt+R took minutes on a few hundred thousand rows.
void TestUndoCommands::duplicatingManyRowsTakesOnePass() {
    QStringList lines;
    const int rows = 60000;
    for (int r = 0; r < rows; ++r)
        lines << QStringLiteral("%1,x").arg(r);
    LoadedModel model = load(lines);
    model->getTableData().concealRawRows({7, 8}); // hidden rows keep their place and stay hidden
    std::vector<int> all;
    for (int r = 0; r < model->rowCountModel(); ++r)
        all.push_back(r);
    QUndoStack stack;
    QElapsedTimer clock;
    clock.start();
    stack.push(new DuplicateRowsCommand(&*model, all, 1, true));
    const qint64 redoMs = clock.restart();
    QCOMPARE(model->rowCountRaw(), 2 * rows - 2);
    QCOMPARE(column(*model, 0, 8).join(QLatin1Char(' ')), QStringLiteral("0 0 1 1 2 2 3 3"));
    QCOMPARE(model->getTableData().getValueModel(13, 0).toString(), QStringLiteral("6"));
    QCOMPARE(model->getTableData().getValueModel(14, 0).toString(), QStringLiteral("9"));
    QCOMPARE(model->getTableData().getValueRaw(13, 0).toString(), QStringLiteral("7"));
    QCOMPARE(model->getTableData().getValueRaw(14, 0).toString(), QStringLiteral("8"));
    stack.undo();
    const qint64 undoMs = clock.elapsed();
    QCOMPARE(model->rowCountRaw(), rows);
    QCOMPARE(model->rowCountModel(), rows - 2);
    QCOMPARE(column(*model, 0, 8).join(QLatin1Char(' ')), QStringLiteral("0 1 2 3 4 5 6 9"));
    QCOMPARE(model->getTableData().getValueRaw(rows - 1, 0).toString(), QString::number(rows - 1));
    QVERIFY2(redoMs < 1500 && undoMs < 1500,
             qPrintable(QStringLiteral("%1 / %2 ms").arg(redoMs).arg(undoMs)));
}

// Ctrl+Alt+arrows over whole rows, columns and blocks copy the same edge cells as over the
// same cells picked one by one, and a whole large table takes no longer than its edge.
void TestUndoCommands::duplicateCellContentsOfWholeLines_data() {
    QTest::addColumn<RangeVector>("ranges");
    QTest::addColumn<int>("direction");
    for (int d = 0; d < 4; ++d) {
        const QByteArray name = QByteArray("direction ") + QByteArray::number(d);
        QTest::newRow(name + ", whole table") << RangeVector{table(0, 0)} << d;
        QTest::newRow(name + ", block") << RangeVector{table(1, 1, 3, 2)} << d;
        QTest::newRow(name + ", column") << RangeVector{colRange(1)} << d;
        QTest::newRow(name + ", row") << RangeVector{rowRange(2)} << d;
        QTest::newRow(name + ", row and cell") << RangeVector{rowRange(3), cell(0, 4)} << d;
    }
}

void TestUndoCommands::duplicateCellContentsOfWholeLines() {
    QFETCH(RangeVector, ranges);
    QFETCH(int, direction);
    const QStringList lines = gridLines(5, 4);
    LoadedModel whole = load(lines);
    LoadedModel picked = load(lines);
    RangeVector cells;
    whole->getCellOnlyRangeVector(cells, ranges);
    auto* wholeCommand = new DuplicateCellContentsCommand(&*whole, ranges, static_cast<Direction>(direction));
    auto* pickedCommand =
        new DuplicateCellContentsCommand(&*picked, cells, static_cast<Direction>(direction));
    QCOMPARE(wholeCommand->isValid, pickedCommand->isValid);
    if (!wholeCommand->isValid) {
        delete wholeCommand;
        delete pickedCommand;
        return;
    }
    QUndoStack wholeStack;
    QUndoStack pickedStack;
    wholeStack.push(wholeCommand);
    pickedStack.push(pickedCommand);
    QCOMPARE(whole->rowCountRaw(), picked->rowCountRaw());
    QCOMPARE(whole->columnCountRaw(), picked->columnCountRaw());
    for (int c = 0; c < whole->columnCountRaw(); ++c)
        QCOMPARE(column(*whole, c, whole->rowCountRaw()), column(*picked, c, picked->rowCountRaw()));
    wholeStack.undo();
    QCOMPARE(whole->rowCountRaw(), 5);
    QCOMPARE(whole->columnCountRaw(), 4);
    QCOMPARE(column(*whole, 3, 5), (QStringList{"r0c3", "r1c3", "r2c3", "r3c3", "r4c3"}));
}

void TestUndoCommands::duplicateCellContentsOfALargeTable() {
    QStringList big;
    for (int r = 0; r < 300000; ++r)
        big << QStringLiteral("%1,x,y").arg(r);
    LoadedModel large = load(big);
    QElapsedTimer clock;
    clock.start();
    QUndoStack stack;
    stack.push(new DuplicateCellContentsCommand(&*large, RangeVector{table(0, 0)}, Direction::Down));
    QVERIFY2(clock.elapsed() < 1000, qPrintable(QStringLiteral("%1 ms").arg(clock.elapsed())));
    QCOMPARE(large->rowCountRaw(), 300001);
    QCOMPARE(large->getTableData().getValueModel(300000, 0).toString(), QStringLiteral("299999"));
    QCOMPARE(large->getTableData().getValueModel(300000, 2).toString(), QStringLiteral("y"));
}

void TestUndoCommands::duplicateCellContentsExtendsSelection() {
    LoadedModel model = load(gridLines(3, 3));
    // A selection of single cells, as the keyboard makes it: the step extends each of them.
    RangeVector block{cell(0, 0), cell(0, 1), cell(1, 0), cell(1, 1)};
    block.front().isMainCell = true;
    model->setSelection(block);
    QUndoStack stack;
    stack.push(new DuplicateCellContentsCommand(&*model, model->getSelection(), Direction::Down));
    QCOMPARE(text(*model, 2, 0), QStringLiteral("r1c0"));
    QCOMPARE(text(*model, 2, 1), QStringLiteral("r1c1"));
    QCOMPARE(text(*model, 2, 2), QStringLiteral("r2c2")); // outside the block
    QVERIFY(model->cellInSelection(2, 1));
    stack.undo();
    QCOMPARE(text(*model, 2, 0), QStringLiteral("r2c0"));
    QVERIFY(!model->cellInSelection(2, 1));
    // Nothing above row 0.
    auto* up = new DuplicateCellContentsCommand(&*model, model->getSelection(), Direction::Up);
    QVERIFY(!up->isValid);
    delete up;
}

void TestUndoCommands::transposeTurnsSelection() {
    LoadedModel model = load(gridLines(2, 4));
    Range start = cell(1, 3);
    model->setSelection(start);
    QUndoStack stack;
    stack.push(new TransposeTableCommand(&*model));
    QCOMPARE(model->rowCountModel(), 4);
    QCOMPARE(text(*model, 3, 1), QStringLiteral("r1c3"));
    QCOMPARE(model->getMainCell().row, 3);
    QCOMPARE(model->getMainCell().col, 1);
    stack.undo();
    QCOMPARE(model->getMainCell().row, 1);
    QCOMPARE(model->getMainCell().col, 3);
    QCOMPARE(text(*model, 1, 3), QStringLiteral("r1c3"));
}

void TestUndoCommands::removeEmptyAtEndKeepsConcealment() {
    LoadedModel model = load(QStringList{"a,,", "b,,", ",,", ",,"});
    model->getTableData().concealRawRows({1, 3});
    QUndoStack stack;
    auto* command = new RemoveEmptyRowsColsAtEndCommand(&*model);
    QVERIFY(command->isValid);
    stack.push(command);
    QCOMPARE(model->rowCountRaw(), 2);
    QCOMPARE(model->columnCountRaw(), 1);
    stack.undo();
    QCOMPARE(model->rowCountRaw(), 4);
    QCOMPARE(model->columnCountRaw(), 3);
    std::vector<int> concealed;
    model->getTableData().getConcealedRowsRaw(concealed);
    QCOMPARE(concealed, (std::vector<int>{1, 3}));
    // A table without empty lines at its end gives no command.
    stack.redo();
    auto* again = new RemoveEmptyRowsColsAtEndCommand(&*model);
    QVERIFY(!again->isValid);
    delete again;
}

void TestUndoCommands::filterListsFollowInsertAndRemove() {
    LoadedModel model = load(gridLines(6, 3));
    FilterData onRow;
    onRow.range = Range(3, RangeType::Row, RangeIndexType::Raw);
    onRow.exceptions = {0, 2};
    FilterData onCol;
    onCol.range = Range(2, RangeType::Col, RangeIndexType::Raw);
    onCol.exceptions = {1, 4};
    model->setFilterListDontApply({onRow, onCol});
    QUndoStack stack;
    stack.push(new InsertRowsCommand(&*model, {2}, 2, false));
    QCOMPARE(model->getFilterList()[0].range.row, 5);
    QCOMPARE(model->getFilterList()[1].exceptions, (std::vector<int>{1, 6}));
    stack.push(new RemoveColsCommand(&*model, {0}));
    QCOMPARE(model->getFilterList()[0].exceptions, (std::vector<int>{1}));
    QCOMPARE(model->getFilterList()[1].range.col, 1);
    stack.push(new RemoveRowsCommand(&*model, {5}));
    QCOMPARE(model->getFilterList().size(), std::size_t(1)); // its row is gone
    stack.setIndex(0);
    QCOMPARE(model->getFilterList()[0].range.row, 3);
    QCOMPARE(model->getFilterList()[1].exceptions, (std::vector<int>{1, 4}));
}

void TestUndoCommands::mainCellComesBackOnUndo() {
    LoadedModel model = load(gridLines(6, 2));
    Range start = cell(3, 1);
    model->setSelection(start);
    QUndoStack stack;
    stack.push(new RemoveRowsCommand(&*model, {3}));
    QCOMPARE(model->rowCountRaw(), 5);
    QCOMPARE(model->getMainCell().row, 3);
    stack.undo();
    QCOMPARE(model->rowCountRaw(), 6);
    QCOMPARE(text(*model, 3, 0), QStringLiteral("r3c0"));
    QCOMPARE(model->getMainCell().row, 3);
    QCOMPARE(model->getMainCell().col, 1);
}

void TestUndoCommands::encodingUndoKeepsBytes() {
    LoadedModel model = load(QStringList{QStringLiteral("\u20ac,b")});
    QUndoStack stack;
    const std::vector<char> before = model->getTableData().getValueRawCharVec(0, 0);
    stack.push(new SetEncodingCommand(&*model, UTF_16LE));
    QCOMPARE(text(*model, 0, 0), QStringLiteral("\u20ac"));
    QVERIFY(model->getTableData().getValueRawCharVec(0, 0) != before);
    stack.undo();
    QCOMPARE(model->getTableData().getEncoding(), UTF_8);
    QCOMPARE(model->getTableData().getValueRawCharVec(0, 0), before);
}

// A ragged file's rows are saved with the fields their lines had until a cell of them changes;
// a change undone gives the rows that shape back, so the file saves as it was read.
void TestUndoCommands::undoneCellWritesKeepRaggedRows_data() {
    QTest::addColumn<QString>("command");
    QTest::addColumn<bool>("transposed");
    for (const bool transposed : {false, true}) {
        for (const char* command : {"edit", "transform"})
            QTest::addRow("%s%s", command, transposed ? ", transposed" : "")
                << QString::fromLatin1(command) << transposed;
    }
}

void TestUndoCommands::undoneCellWritesKeepRaggedRows() {
    QFETCH(QString, command);
    QFETCH(bool, transposed);
    const QByteArray original("h,a,b,c\n1,x\n2,y,,\n3,z,p,q\n4\n5,w,\n");
    const auto loaded = Fixture::loadBytes(original);
    TableModel& model = *loaded;
    QUndoStack stack;
    if (transposed)
        stack.push(new TransposeTableCommand(&model));
    // Cells of the file's rows 1 and 4, wherever the table shows them.
    const auto at = [transposed](int row, int col) {
        return transposed ? std::pair{col, row} : std::pair{row, col};
    };
    const std::vector<std::pair<int, int>> places{at(1, 1), at(4, 0)};
    if (command == QLatin1String("edit")) {
        RangeVector cells;
        for (const auto& [row, col] : places) {
            Range cell(row, col, RangeIndexType::Model);
            cell.value = QStringLiteral("new");
            cells.push_back(cell);
        }
        stack.push(new SetModelDataCommand(&model, cells));
    } else {
        stack.push(new SetCellTextsCommand(&model, places, {QStringLiteral("x"), QStringLiteral("4")},
                                           {QStringLiteral("new"), QStringLiteral("new")}));
    }
    if (!transposed) {
        // The rows written are saved whole; the others keep their lines' fields.
        QCOMPARE(Fixture::saveAndRead(loaded),
                 QByteArray("h,a,b,c\n1,new,,\n2,y,,\n3,z,p,q\nnew,,,\n5,w,\n"));
    }
    while (stack.canUndo())
        stack.undo();
    QCOMPARE(Fixture::saveAndRead(loaded), original);
}

void TestUndoCommands::undoneColumnCommandsKeepRaggedRows_data() {
    QTest::addColumn<QString>("command");
    QTest::addColumn<int>("col");
    for (const QString& command :
         {QStringLiteral("duplicate"), QStringLiteral("insert before"), QStringLiteral("insert after")}) {
        // Inside every row's fields, at the last field of the short rows, past them.
        for (int col : {0, 1, 3})
            QTest::newRow(qPrintable(QStringLiteral("%1 %2").arg(command).arg(col))) << command << col;
    }
}

// A column command that is undone leaves every row with the fields its line had: rows the
// command widened don't come back with trailing delimiters.
void TestUndoCommands::undoneColumnCommandsKeepRaggedRows() {
    QFETCH(QString, command);
    QFETCH(int, col);
    const QByteArray original("h,a,b,c\n1,x\n2,y,,\n3,z,p,q\n4\n5,w,\n");
    const auto loaded = Fixture::loadBytes(original);
    TableModel& model = *loaded;
    QUndoStack stack;
    if (command == QLatin1String("duplicate"))
        stack.push(new DuplicateColsCommand(&model, {col}));
    else
        stack.push(new InsertColsCommand(&model, {col}, 1, command == QLatin1String("insert after")));
    stack.undo();
    QCOMPARE(Fixture::saveAndRead(loaded), original);
    stack.redo();
    stack.undo();
    QCOMPARE(Fixture::saveAndRead(loaded), original);
}

QTEST_GUILESS_MAIN(TestUndoCommands)
#include "tst_undocommands.moc"
