#include "storage/readonlydatacontainer.h"
#include "table/tabledata.h"

#include "storage/abstractdatacontainer.h"
#include "table/range.h"
#include "table/worker.h"

#include <QMutex>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <QTextCodec>
#include <QThread>
#include <QWaitCondition>

#include <algorithm>
#include <random>

using Concealed = std::vector<int>;
Q_DECLARE_METATYPE(Concealed)

namespace {

// A table of `rows` raw rows, one column, the last cell set so that the size is real.
void makeRows(TableData& table, int rows) {
    QVERIFY(table.setValueRaw(rows - 1, 0, QStringLiteral("last"), true));
    QCOMPARE(table.numRawRows(true), rows);
}

Concealed randomSet(std::mt19937& rng, int size, int count) {
    std::vector<int> all(static_cast<size_t>(size));
    for (int i = 0; i < size; ++i)
        all[static_cast<size_t>(i)] = i;
    std::shuffle(all.begin(), all.end(), rng);
    all.resize(static_cast<size_t>(count));
    std::sort(all.begin(), all.end());
    return all;
}

// Checks both directions of the mapping of one axis against a plain list of the visible rows.
// `rowsAxis` says whether the user's rows or columns carry the concealed set.
void checkMappingAgainstBruteForce(const TableData& table, const Concealed& concealed, int rows,
                                   bool rowsAxis) {
    auto rawFromModel = [&](int m) {
        return rowsAxis ? table.getRawFromModelRow(m) : table.getRawFromModelCol(m);
    };
    auto modelFromRaw = [&](int r, bool nearest) {
        return rowsAxis ? table.getModelFromRawRow(r, nearest) : table.getModelFromRawCol(r, nearest);
    };
    std::vector<int> visible;
    std::vector<char> isConcealed(static_cast<size_t>(rows), 0);
    for (const int c : concealed)
        isConcealed[static_cast<size_t>(c)] = 1;
    for (int r = 0; r < rows; ++r) {
        if (!isConcealed[static_cast<size_t>(r)])
            visible.push_back(r);
    }
    const int numModel = static_cast<int>(visible.size());
    QCOMPARE(rowsAxis ? table.numModelRows() : table.numModelCols(), numModel);

    for (int m = 0; m < numModel; ++m) {
        if (rawFromModel(m) != visible[static_cast<size_t>(m)])
            QFAIL(qPrintable(QStringLiteral("model %1 maps to %2, expected %3")
                                 .arg(m)
                                 .arg(rawFromModel(m))
                                 .arg(visible[static_cast<size_t>(m)])));
    }
    // Past the end: on by the concealed count.
    for (int m = numModel; m < numModel + 3; ++m)
        QCOMPARE(rawFromModel(m), rows + (m - numModel));
    QCOMPARE(rawFromModel(-1), -1);
    QCOMPARE(modelFromRaw(-1, false), -1);
    QCOMPARE(modelFromRaw(-5, true), -1);

    // Walk downwards so that the nearest visible row after each raw row is known.
    int nextVisibleModel = -1; // model index of the first visible row at or after r
    for (int r = rows - 1; r >= 0; --r) {
        int expected = -1;
        if (!isConcealed[static_cast<size_t>(r)]) {
            expected =
                static_cast<int>(std::lower_bound(visible.begin(), visible.end(), r) - visible.begin());
            nextVisibleModel = expected;
        }
        const int expectedNearest = expected >= 0           ? expected
                                    : nextVisibleModel >= 0 ? nextVisibleModel
                                                            : std::max(0, numModel - 1);
        if (modelFromRaw(r, false) != expected || modelFromRaw(r, true) != expectedNearest)
            QFAIL(qPrintable(QStringLiteral("raw %1 maps to %2 / nearest %3, expected %4 / %5")
                                 .arg(r)
                                 .arg(modelFromRaw(r, false))
                                 .arg(modelFromRaw(r, true))
                                 .arg(expected)
                                 .arg(expectedNearest)));
    }
}

// What the table should hold, raw row by raw row: the cell of column 0 and the concealment.
struct RefRow {
    QString value;
    bool concealed = false;
};

void checkAgainstReference(const TableData& table, const std::vector<RefRow>& reference) {
    QCOMPARE(table.numRawRows(), static_cast<int>(reference.size()));
    int numConcealed = 0;
    for (int r = 0; r < static_cast<int>(reference.size()); ++r) {
        const RefRow& ref = reference[static_cast<size_t>(r)];
        if (table.getValueRaw(r, 0).toString() != ref.value || table.isRowConcealed(r) != ref.concealed)
            QFAIL(qPrintable(QStringLiteral("raw row %1 holds '%2' (%3), expected '%4' (%5)")
                                 .arg(r)
                                 .arg(table.getValueRaw(r, 0).toString())
                                 .arg(table.isRowConcealed(r))
                                 .arg(ref.value)
                                 .arg(ref.concealed)));
        numConcealed += ref.concealed ? 1 : 0;
    }
    QCOMPARE(table.numConcealedRows(), numConcealed);
}

std::vector<int> visibleOf(const std::vector<RefRow>& reference) {
    std::vector<int> visible;
    for (int r = 0; r < static_cast<int>(reference.size()); ++r) {
        if (!reference[static_cast<size_t>(r)].concealed)
            visible.push_back(r);
    }
    return visible;
}

QString writeFile(const QTemporaryDir& dir, const QString& name, const QByteArray& content) {
    const QString path = dir.filePath(name);
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        return QString();
    return path;
}

// A file past the progress threshold: rows of "number,word,word".
QString writeBigFile(const QTemporaryDir& dir, int& rows) {
    QByteArray content;
    const qint64 target = AbstractDataContainer::kProgressThreshold + 1024 * 1024;
    content.reserve(static_cast<qsizetype>(target) + 64);
    rows = 0;
    while (content.size() < target) {
        content.append(QByteArray::number(rows));
        content.append(",alpha,\"be,ta\"\n");
        ++rows;
    }
    return writeFile(dir, QStringLiteral("big.csv"), content);
}

} // namespace

class TestTableData : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();

    void mappingAgainstBruteForce_data();
    void mappingAgainstBruteForce();
    void transposedTwinsMapTheOtherAxis();
    void concealAndShowKeepASortedSet();
    void concealModelRowsMapsBeforeConcealing();

    void editsKeepConcealmentOnTheSameData_data();
    void editsKeepConcealmentOnTheSameData();
    void removeRowsModelOverConcealedGaps();
    void insertAtRawZeroShiftsConcealed();
    void insertAndRemoveRefuseBadArguments();
    void insertRowsRawWithContents();

    void setValueRawGrowth_data();
    void setValueRawGrowth();
    void setValueModelMapsPastTheEnd();
    void writesInsideKeepTheContainerSize();
    void roundTripInEncodings_data();
    void roundTripInEncodings();
    void setEncodingWithAndWithoutReencoding();
    void cellsLostInEncoding_data();
    void cellsLostInEncoding();
    void displayPrefixOfShiftHeavyText();

    void nextBlockLocation_data();
    void nextBlockLocation();
    void nextBlockLocationSkipsConcealedInModelSpace();
    void rangesMapAtBothCorners();
    void emptyRowsInModelSpace();

    void unthreadedLoad();
    void threadedLoadReportsProgress();
    void cancelEndsTheLoad();
    void failedThreadedLoadIsReported();
    void staleFinishIsIgnored();
    void reloadWhileLoadingReplacesTheTable();
    void setDataContainerTypeReloads();
    void saveVisibleOnlySkipsConcealed();
    void largeSaveReportsProgress_data();
    void largeSaveReportsProgress();

    void wordDelimiters();
    void delimitersFromText_data();
    void delimitersFromText();
};

void TestTableData::initTestCase() {
    QStandardPaths::setTestModeEnabled(true);
}

void TestTableData::mappingAgainstBruteForce_data() {
    QTest::addColumn<int>("rows");
    QTest::addColumn<Concealed>("concealed");

    std::mt19937 rng(20261122);
    QTest::newRow("nothing concealed") << 50 << Concealed{};
    QTest::newRow("rows 1 and 2") << 6 << Concealed{1, 2};
    QTest::newRow("all but the first") << 40 << [] {
        Concealed c;
        for (int i = 1; i < 40; ++i)
            c.push_back(i);
        return c;
    }();
    QTest::newRow("all but the last") << 40 << [] {
        Concealed c;
        for (int i = 0; i < 39; ++i)
            c.push_back(i);
        return c;
    }();
    QTest::newRow("all but one in the middle") << 41 << [] {
        Concealed c;
        for (int i = 0; i < 41; ++i) {
            if (i != 20)
                c.push_back(i);
        }
        return c;
    }();
    QTest::newRow("all concealed") << 10 << Concealed{0, 1, 2, 3, 4, 5, 6, 7, 8, 9};
    QTest::newRow("runs at both ends") << 30 << Concealed{0, 1, 2, 3, 13, 14, 26, 27, 28, 29};
    QTest::newRow("alternating") << 30 << [] {
        Concealed c;
        for (int i = 0; i < 30; i += 2)
            c.push_back(i);
        return c;
    }();
    QTest::newRow("random sparse") << 2000 << randomSet(rng, 2000, 37);
    QTest::newRow("random dense") << 2000 << randomSet(rng, 2000, 1900);
    QTest::newRow("10^5 of 3*10^5") << 300000 << randomSet(rng, 300000, 100000);
}

void TestTableData::mappingAgainstBruteForce() {
    QFETCH(int, rows);
    QFETCH(Concealed, concealed);

    TableData table;
    makeRows(table, rows);
    Concealed shuffled = concealed;
    std::shuffle(shuffled.begin(), shuffled.end(), std::mt19937(7));
    table.concealRawRows(shuffled); // order and duplicates of the input don't matter
    table.concealRawRows(shuffled);
    Concealed stored;
    table.getConcealedRowsRaw(stored);
    QCOMPARE(stored, concealed);
    checkMappingAgainstBruteForce(table, concealed, rows, true);
}

void TestTableData::transposedTwinsMapTheOtherAxis() {
    std::mt19937 rng(11);
    const int rows = 500;
    const Concealed concealed = randomSet(rng, rows, 120);

    TableData table;
    makeRows(table, rows);
    QVERIFY(table.setValueRaw(0, 3, QStringLiteral("w"), true)); // 4 columns
    table.concealRawRows(concealed, true);
    table.toggleTranspose();

    // The user's columns are the stored rows now.
    QCOMPARE(table.numRawCols(), rows);
    QCOMPARE(table.numRawRows(), 4);
    QCOMPARE(table.numModelRows(), 4);
    QCOMPARE(table.numConcealedCols(), 120);
    QCOMPARE(table.numConcealedRows(true), 120);
    checkMappingAgainstBruteForce(table, concealed, rows, false);
    for (int m = 0; m < rows - 120; m += 7)
        QCOMPARE(table.getRawFromModelRow(m, true), table.getRawFromModelCol(m));
    QVERIFY(table.isColConcealed(concealed.front()));
    QVERIFY(table.isRowConcealed(concealed.front(), true));
    QVERIFY(!table.isRowConcealed(concealed.front()));

    // Cells follow: the user's (row, col) is the stored (col, row).
    QCOMPARE(table.getValueRaw(rows - 1, 0, true).toString(), QStringLiteral("last"));
    QCOMPARE(table.getValueRaw(0, rows - 1).toString(), QStringLiteral("last"));
    QCOMPARE(table.getValueRaw(3, 0).toString(), QStringLiteral("w"));

    // Concealing user rows of a transposed table conceals stored columns.
    table.concealRawRow(2);
    QVERIFY(table.isColConcealed(2, true));
    QCOMPARE(table.numModelRows(), 3);
    table.showAllRows();
    QCOMPARE(table.numModelRows(), 4);
    QCOMPARE(table.numConcealedCols(), 120);
}

void TestTableData::concealAndShowKeepASortedSet() {
    TableData table;
    makeRows(table, 20);
    QSignalSpy sizes(&table, &TableData::tableSizeChangedSignal);
    table.concealRawRows({9, 3, -4, 3, 15});
    Concealed stored;
    table.getConcealedRowsRaw(stored);
    QCOMPARE(stored, (Concealed{3, 9, 15}));
    QCOMPARE(sizes.count(), 1);
    QCOMPARE(sizes.last().at(2).toInt(), 17);

    table.concealRawRow(5);
    table.showRawRow(9);
    table.showRawRows({15, 4});
    table.getConcealedRowsRaw(stored);
    QCOMPARE(stored, (Concealed{3, 5}));
    QCOMPARE(table.numModelRows(), 18);
    table.showAllRows();
    QCOMPARE(table.numConcealedRows(), 0);
    QCOMPARE(sizes.count(), 5);

    // Entries past the raw end (hidden buffer rows) don't shrink the model.
    table.concealRawRows({25, 30});
    QCOMPARE(table.numModelRows(), 20);
    QCOMPARE(table.getRawFromModelRow(19), 19);
}

void TestTableData::concealModelRowsMapsBeforeConcealing() {
    TableData table;
    makeRows(table, 10);
    table.concealRawRows({1, 2});
    // Model 1 and 2 are raw 3 and 4, both as the user saw them before this call.
    table.concealModelRows({1, 2});
    Concealed stored;
    table.getConcealedRowsRaw(stored);
    QCOMPARE(stored, (Concealed{1, 2, 3, 4}));
    table.concealModelRow(0);
    table.getConcealedRowsRaw(stored);
    QCOMPARE(stored, (Concealed{0, 1, 2, 3, 4}));
}

void TestTableData::editsKeepConcealmentOnTheSameData_data() {
    QTest::addColumn<bool>("transposed");
    QTest::addColumn<int>("seed");
    QTest::newRow("rows, seed 1") << false << 1;
    QTest::newRow("rows, seed 2") << false << 2;
    QTest::newRow("rows, seed 3") << false << 3;
    QTest::newRow("transposed, seed 4") << true << 4;
    QTest::newRow("transposed, seed 5") << true << 5;
}

// A random sequence of inserts, removes, moves, duplicates and concealment changes, checked
// after every step against a plain list of (cell, concealed) per raw row.
void TestTableData::editsKeepConcealmentOnTheSameData() {
    QFETCH(bool, transposed);
    QFETCH(int, seed);

    TableData table;
    if (transposed)
        table.toggleTranspose();
    std::vector<RefRow> reference;
    int label = 0;
    auto newLabel = [&label] { return QStringLiteral("v%1").arg(label++); };
    for (int r = 0; r < 30; ++r) {
        reference.push_back({newLabel(), false});
        QVERIFY(table.setValueRaw(r, 0, reference.back().value));
    }

    std::mt19937 rng(static_cast<unsigned>(seed));
    auto pick = [&rng](int low, int high) { return std::uniform_int_distribution<int>(low, high)(rng); };

    for (int step = 0; step < 400; ++step) {
        const int n = static_cast<int>(reference.size());
        const std::vector<int> visible = visibleOf(reference);
        const int numModel = static_cast<int>(visible.size());
        const int op = pick(0, 9);
        QString what;
        if (op == 0) { // conceal raw rows
            std::vector<int> rows;
            for (int i = pick(1, 4); i > 0 && n > 0; --i) {
                rows.push_back(pick(0, n - 1));
                reference[static_cast<size_t>(rows.back())].concealed = true;
            }
            table.concealRawRows(rows);
            what = QStringLiteral("conceal");
        } else if (op == 1 && n > 0) { // show one
            const int r = pick(0, n - 1);
            reference[static_cast<size_t>(r)].concealed = false;
            table.showRawRow(r);
            what = QStringLiteral("show %1").arg(r);
        } else if (op == 2) { // insert raw, then label the new rows
            const int at = pick(0, n);
            const int count = pick(1, 3);
            QVERIFY(table.insertRowsRaw(at, count));
            for (int i = 0; i < count; ++i) {
                reference.insert(reference.begin() + at + i, RefRow{newLabel(), false});
                QVERIFY(table.setValueRaw(at + i, 0, reference[static_cast<size_t>(at + i)].value));
            }
            what = QStringLiteral("insertRowsRaw %1 %2").arg(at).arg(count);
        } else if (op == 3) { // insert model
            const int at = pick(0, numModel);
            const int raw = at < numModel ? visible[static_cast<size_t>(at)] : n;
            QVERIFY(table.insertRowsModel(at, 1));
            reference.insert(reference.begin() + raw, RefRow{newLabel(), false});
            QVERIFY(table.setValueRaw(raw, 0, reference[static_cast<size_t>(raw)].value));
            what = QStringLiteral("insertRowsModel %1").arg(at);
        } else if (op == 4 && n > 3) { // remove raw
            const int at = pick(0, n - 1);
            const int count = pick(1, 3);
            QVERIFY(table.removeRowsRaw(at, count));
            reference.erase(reference.begin() + at, reference.begin() + std::min(n, at + count));
            what = QStringLiteral("removeRowsRaw %1 %2").arg(at).arg(count);
        } else if (op == 5 && numModel > 3) { // remove model, across concealed gaps
            const int at = pick(0, numModel - 1);
            const int count = pick(1, 4);
            QVERIFY(table.removeRowsModel(at, count));
            for (int i = std::min(numModel, at + count) - 1; i >= at; --i)
                reference.erase(reference.begin() + visible[static_cast<size_t>(i)]);
            what = QStringLiteral("removeRowsModel %1 %2").arg(at).arg(count);
        } else if (op == 6 && numModel > 1) { // move
            const int from = pick(0, numModel - 1);
            int to = pick(0, numModel - 1);
            if (to == from)
                to = (from + 1) % numModel;
            QVERIFY(table.moveRowRelative(from, to));
            // The row lands next to the target: after it moving down, before it moving up.
            const int rawFrom = visible[static_cast<size_t>(from)];
            const int rawTo = visible[static_cast<size_t>(to)];
            const RefRow moved = reference[static_cast<size_t>(rawFrom)];
            reference.erase(reference.begin() + rawFrom);
            const int target = rawTo - (rawFrom < rawTo ? 1 : 0);
            reference.insert(reference.begin() + target + (to > from ? 1 : 0), moved);
            what = QStringLiteral("move %1 to %2").arg(from).arg(to);
        } else if (op == 7 && numModel > 0) { // duplicate
            const int from = pick(0, numModel - 1);
            const int to = pick(0, numModel);
            const int rawTo = to < numModel ? visible[static_cast<size_t>(to)] : n;
            QVERIFY(table.duplicateRow(from, to));
            const RefRow copy{reference[static_cast<size_t>(visible[static_cast<size_t>(from)])].value,
                              false};
            reference.insert(reference.begin() + rawTo, copy);
            what = QStringLiteral("duplicate %1 to %2").arg(from).arg(to);
        } else if (op == 9 && numModel > 0 && n < 80) { // duplicate several lines at once
            std::vector<int> lines;
            for (int i = pick(1, 4); i > 0; --i)
                lines.push_back(pick(0, numModel - 1));
            std::sort(lines.begin(), lines.end());
            lines.erase(std::unique(lines.begin(), lines.end()), lines.end());
            const int count = pick(1, 2);
            const bool below = pick(0, 1) == 1;
            QVERIFY(table.duplicateLines(Axis::Row, lines, count, below));
            // As one line at a time from the last, where the copies go next to their line.
            for (std::size_t i = lines.size(); i-- > 0;) {
                const int to = below ? lines[i] + 1 : lines[i];
                const int rawTo = to < numModel ? visible[static_cast<size_t>(to)] : n;
                const RefRow copy{
                    reference[static_cast<size_t>(visible[static_cast<size_t>(lines[i])])].value, false};
                reference.insert(reference.begin() + rawTo, static_cast<std::size_t>(count), copy);
            }
            what = QStringLiteral("duplicate %1 lines %2 times").arg(lines.size()).arg(count);
        } else if (op == 8 && n > 0) { // edit a cell inside the table
            const int r = pick(0, n - 1);
            reference[static_cast<size_t>(r)].value = newLabel();
            table.setValueRaw(r, 0, reference[static_cast<size_t>(r)].value);
            what = QStringLiteral("edit %1").arg(r);
        } else {
            continue;
        }
        checkAgainstReference(table, reference);
        if (QTest::currentTestFailed())
            QFAIL(qPrintable(QStringLiteral("after step %1: %2").arg(step).arg(what)));
    }
}

void TestTableData::removeRowsModelOverConcealedGaps() {
    TableData table;
    for (int r = 0; r < 10; ++r)
        table.setValueRaw(r, 0, QString::number(r));
    table.concealRawRows({2, 3, 6});
    QSignalSpy sizes(&table, &TableData::tableSizeChangedSignal);

    // Model 1..4 are raw 1, 4, 5, 7; the concealed 2, 3 and 6 between them stay.
    QVERIFY(table.removeRowsModel(1, 4));
    QCOMPARE(sizes.count(), 1);
    QStringList left;
    for (int r = 0; r < table.numRawRows(); ++r)
        left << table.getValueRaw(r, 0).toString();
    QCOMPARE(left, (QStringList{"0", "2", "3", "6", "8", "9"}));
    Concealed stored;
    table.getConcealedRowsRaw(stored);
    QCOMPARE(stored, (Concealed{1, 2, 3}));
    QCOMPARE(sizes.last().at(0).toInt(), 6);
    QCOMPARE(sizes.last().at(2).toInt(), 3);

    // A count past the end removes what there is.
    QVERIFY(table.removeRowsModel(1, 100));
    QCOMPARE(table.numRawRows(), 4);
    QCOMPARE(table.numModelRows(), 1);
}

void TestTableData::insertAtRawZeroShiftsConcealed() {
    TableData table;
    makeRows(table, 5);
    table.concealRawRows({1, 2});
    QCOMPARE(table.getRawFromModelRow(1), 3);
    QCOMPARE(table.getModelFromRawRow(1), -1);
    QCOMPARE(table.getModelFromRawRow(3), 1);
    QSignalSpy sizes(&table, &TableData::tableSizeChangedSignal);
    QVERIFY(table.insertRowsRaw(0, 1));
    Concealed stored;
    table.getConcealedRowsRaw(stored);
    QCOMPARE(stored, (Concealed{2, 3}));
    QCOMPARE(sizes.count(), 1);
    QCOMPARE(sizes.last().at(0).toInt(), 6);
    QCOMPARE(sizes.last().at(2).toInt(), 4);
}

void TestTableData::insertAndRemoveRefuseBadArguments() {
    TableData table;
    makeRows(table, 5);
    QSignalSpy sizes(&table, &TableData::tableSizeChangedSignal);
    QVERIFY(!table.insertRowsRaw(-1, 1));
    QVERIFY(!table.insertRowsRaw(0, 0));
    QVERIFY(!table.insertRowsRaw(6, 1));
    QVERIFY(!table.insertRowsModel(-1, 1));
    QVERIFY(!table.removeRowsRaw(-1, 1));
    QVERIFY(!table.removeRowsRaw(0, 0));
    QVERIFY(!table.removeRowsRaw(5, 1));
    QVERIFY(!table.removeRowsModel(5, 1));
    QVERIFY(!table.moveRowRelative(0, 5));
    QVERIFY(!table.moveRowRelative(2, 2));
    QVERIFY(!table.duplicateRow(5, 0));
    QVERIFY(!table.duplicateRow(0, 6));
    QCOMPARE(sizes.count(), 0);
    QCOMPARE(table.numRawRows(), 5);
    QVERIFY(table.insertRowsRaw(5, 2)); // at the end is allowed
    QCOMPARE(table.numRawRows(), 7);
}

void TestTableData::insertRowsRawWithContents() {
    TableData table;
    for (int r = 0; r < 4; ++r)
        table.setValueRaw(r, 0, QString::number(r));
    table.concealRawRows({2});
    const std::vector<std::vector<std::vector<char>>> rows{{{'a'}, {}, {'c'}}, {{'d'}}};
    QVERIFY(table.insertRowsRaw(1, rows));
    QCOMPARE(table.numRawRows(), 6);
    QCOMPARE(table.numRawCols(), 3); // the wider row widens the table
    QCOMPARE(table.getValueRaw(1, 2).toString(), QStringLiteral("c"));
    QCOMPARE(table.getValueRaw(2, 0).toString(), QStringLiteral("d"));
    QCOMPARE(table.getValueRaw(3, 0).toString(), QStringLiteral("1"));
    QVERIFY(table.isRowConcealed(4));
    QCOMPARE(table.getValueRaw(4, 0).toString(), QStringLiteral("2"));
    QVERIFY(!table.insertRowsRaw(0, std::vector<std::vector<std::vector<char>>>{}));
}

void TestTableData::setValueRawGrowth_data() {
    QTest::addColumn<bool>("transposed");
    QTest::addColumn<int>("row");
    QTest::addColumn<int>("col");
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("result");
    QTest::addColumn<int>("rows"); // stored rows afterwards
    QTest::addColumn<int>("cols");
    QTest::addColumn<int>("sizeSignals");

    // The table starts as 3 stored rows by 2 columns.
    QTest::newRow("inside") << false << 1 << 1 << "x" << true << 3 << 2 << 0;
    QTest::newRow("inside, emptied") << false << 0 << 0 << "" << true << 3 << 2 << 0;
    QTest::newRow("below, empty text") << false << 7 << 0 << "" << false << 3 << 2 << 0;
    QTest::newRow("right, empty text") << false << 0 << 9 << "" << false << 3 << 2 << 0;
    QTest::newRow("below") << false << 7 << 0 << "x" << true << 8 << 2 << 1;
    QTest::newRow("right") << false << 0 << 4 << "x" << true << 3 << 5 << 1;
    QTest::newRow("diagonal") << false << 5 << 5 << "x" << true << 6 << 6 << 1;
    QTest::newRow("negative row") << false << -1 << 0 << "x" << false << 3 << 2 << 0;
    QTest::newRow("negative col") << false << 0 << -1 << "x" << false << 3 << 2 << 0;
    QTest::newRow("transposed, below the user's rows") << true << 4 << 0 << "x" << true << 3 << 5 << 1;
    QTest::newRow("transposed, inside") << true << 0 << 1 << "x" << true << 3 << 2 << 0;
}

void TestTableData::setValueRawGrowth() {
    QFETCH(bool, transposed);
    QFETCH(int, row);
    QFETCH(int, col);
    QFETCH(QString, text);
    QFETCH(bool, result);
    QFETCH(int, rows);
    QFETCH(int, cols);
    QFETCH(int, sizeSignals);

    TableData table;
    QVERIFY(table.setValueRaw(2, 1, QStringLiteral("corner")));
    QVERIFY(table.setValueRaw(0, 0, QStringLiteral("first")));
    if (transposed)
        table.toggleTranspose();
    QSignalSpy sizes(&table, &TableData::tableSizeChangedSignal);
    QCOMPARE(table.setValueRaw(row, col, text), result);
    QCOMPARE(table.numRawRows(true), rows);
    QCOMPARE(table.numRawCols(true), cols);
    QCOMPARE(sizes.count(), sizeSignals);
    QCOMPARE(table.getDataContainer()->numRows(), rows);
    QCOMPARE(table.getDataContainer()->numCols(), cols);
    if (result)
        QCOMPARE(table.getValueRaw(row, col).toString(), text);
    if (sizeSignals > 0)
        QCOMPARE(sizes.last().at(transposed ? 1 : 0).toInt(), rows);
    QCOMPARE(table.getValueRaw(2, 1, true).toString(), QStringLiteral("corner"));
}

// Rows added at the end exist only as a count in the container; writing into them or copying
// onto them must not shrink the table to the written row.
void TestTableData::writesInsideKeepTheContainerSize() {
    TableData table;
    QVERIFY(table.setValueRaw(0, 0, QStringLiteral("a")));
    QVERIFY(table.insertRowsRaw(1, 9));
    QVERIFY(table.setValueRaw(4, 0, QStringLiteral("m")));
    QCOMPARE(table.getDataContainer()->numRows(), 10);
    QVERIFY(table.duplicateRow(0, 6));
    QCOMPARE(table.getDataContainer()->numRows(), 11);
    QVERIFY(table.moveRowRelative(4, 2));
    QCOMPARE(table.getDataContainer()->numRows(), 11);
    QCOMPARE(table.numRawRows(), 11);
    QCOMPARE(table.getValueRaw(2, 0).toString(), QStringLiteral("m"));
    QCOMPARE(table.getValueRaw(6, 0).toString(), QStringLiteral("a"));
    QVERIFY(table.removeRowsRaw(10, 1));
    QCOMPARE(table.getDataContainer()->numRows(), 10);
}

void TestTableData::setValueModelMapsPastTheEnd() {
    TableData table;
    makeRows(table, 4);
    table.concealRawRows({1, 3});
    // Model row 2 lies one past the two visible rows, so it is raw 4.
    QVERIFY(table.setValueModel(2, 0, QStringLiteral("new")));
    QCOMPARE(table.numRawRows(), 5);
    QCOMPARE(table.getValueRaw(4, 0).toString(), QStringLiteral("new"));
    QCOMPARE(table.getValueModel(2, 0).toString(), QStringLiteral("new"));
    QCOMPARE(table.getValueModel(1, 0).toString(), QString());
    QVERIFY(!table.setValueModel(-1, 0, QStringLiteral("x")));
    QVERIFY(table.getValueModel(99, 99).toString().isEmpty());
    QVERIFY(table.getValueModel(99, 99).isValid());
}

void TestTableData::roundTripInEncodings_data() {
    QTest::addColumn<int>("encoding");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QByteArray>("bytes");

    const QString accented = QStringLiteral("A\u00e9");
    QTest::newRow("UTF-8") << int(UTF_8) << accented << QByteArray("A\xc3\xa9");
    QTest::newRow("ISO 8859-1") << int(ISO_8859_1) << accented << QByteArray("A\xe9");
    QTest::newRow("UTF-16LE") << int(UTF_16LE) << accented << QByteArray("A\0\xe9\0", 4);
    QTest::newRow("UTF-16BE") << int(UTF_16BE) << accented << QByteArray("\0A\0\xe9", 4);
    QTest::newRow("UTF-16 unknown order, no BOM") << int(UTF_16) << accented << QByteArray("A\0\xe9\0", 4);
    QTest::newRow("UTF-32BE") << int(UTF_32BE) << accented << QByteArray("\0\0\0A\0\0\0\xe9", 8);
    QTest::newRow("Windows-1251") << int(WINDOWS_1251) << QStringLiteral("\u0416\u0438")
                                  << QByteArray("\xc6\xe8");
    QTest::newRow("KOI8-R") << int(KOI8_R) << QStringLiteral("\u0416\u0438") << QByteArray("\xf6\xc9");
    QTest::newRow("Shift-JIS") << int(SHIFT_JIS) << QStringLiteral("\u65e5\u672c")
                               << QByteArray("\x93\xfa\x96\x7b");
    QTest::newRow("GB 18030") << int(GB_18030) << QStringLiteral("\u4e2d") << QByteArray("\xd6\xd0");
    QTest::newRow("ISO 8859-7") << int(ISO_8859_7) << QStringLiteral("\u03a9") << QByteArray("\xd9");
}

void TestTableData::roundTripInEncodings() {
    QFETCH(int, encoding);
    QFETCH(QString, text);
    QFETCH(QByteArray, bytes);

    TableData table;
    table.setEncoding(static_cast<EncodingType>(encoding), false);
    QCOMPARE(table.getDataContainer()->getEncoding(), static_cast<EncodingType>(encoding));
    QVERIFY(table.setValueRaw(0, 0, text));
    const std::vector<char> stored = table.getValueRawCharVec(0, 0);
    QCOMPARE(QByteArray(stored.data(), static_cast<qsizetype>(stored.size())), bytes);
    QCOMPARE(table.getValueRaw(0, 0).toString(), text);
    QCOMPARE(table.getValueRaw(0, 1).toString(), QString());
    QVERIFY(table.getValueRaw(0, 1).isValid());

    // A long cell read for display decodes only its start, and that start is exact.
    const QString longText = text.repeated(20000);
    QVERIFY(table.setValueRaw(1, 0, longText));
    const QString start = table.getValueRaw(1, 0, false, 4096).toString();
    QVERIFY(start.size() > 4096);
    QCOMPARE(start, longText.left(start.size()));
}

// Shift sequences can make a character cost more than four bytes; the start is then found by
// decoding the whole cell rather than cut short.
void TestTableData::displayPrefixOfShiftHeavyText() {
    TableData table;
    table.setEncoding(ISO_2022_JP, false);
    // Each round: into JIS X 0208, one kanji, back to ASCII, one letter: 9 bytes, 2 characters.
    const QByteArray round("\x1b$B\x46\x7c\x1b(Ba", 9);
    const QByteArray bytes = round.repeated(5000);
    const QString whole = TableData::decodeCell(std::vector<char>(bytes.begin(), bytes.end()), ISO_2022_JP,
                                                QTextCodec::codecForName("ISO-2022-JP"));
    QCOMPARE(whole.size(), 10000);
    QCOMPARE(whole.left(2), QStringLiteral("\u65e5a"));
    QVERIFY(table.setValueRaw(0, 0, whole));
    const QString start = table.getValueModel(0, 0, 4096).toString();
    QVERIFY(start.size() > 4096);
    QCOMPARE(start, whole.left(start.size()));
}

void TestTableData::setEncodingWithAndWithoutReencoding() {
    const QString text = QStringLiteral("Gr\u00fc\u00dfe");
    TableData table;
    QVERIFY(table.setValueRaw(0, 0, text));
    QVERIFY(table.setValueRaw(1, 2, QStringLiteral("plain")));

    // Re-encoding keeps the text and changes the bytes.
    table.setEncoding(UTF_16BE, true);
    QCOMPARE(table.getValueRaw(0, 0).toString(), text);
    QCOMPARE(table.getValueRawCharVec(0, 0).size(), size_t(10));
    table.setEncoding(ISO_8859_1, true);
    QCOMPARE(table.getValueRaw(0, 0).toString(), text);
    QCOMPARE(table.getValueRawCharVec(0, 0).size(), size_t(5));
    QCOMPARE(table.getValueRaw(1, 2).toString(), QStringLiteral("plain"));
    QCOMPARE(table.numRawCols(), 3);
    QVERIFY(table.getValueRawCharVec(0, 1).empty());

    // Without re-encoding the bytes stay and are read anew: Latin-1 bytes as UTF-8.
    table.setEncoding(UTF_8, false);
    QCOMPARE(table.getValueRawCharVec(0, 0).size(), size_t(5));
    QVERIFY(table.getValueRaw(0, 0).toString() != text);
    table.setEncoding(ISO_8859_1, false);
    QCOMPARE(table.getValueRaw(0, 0).toString(), text);
    QCOMPARE(table.getCodecName(), QByteArray("ISO 8859-1"));
}

void TestTableData::cellsLostInEncoding_data() {
    QTest::addColumn<int>("from");
    QTest::addColumn<QStringList>("texts");
    QTest::addColumn<int>("to");
    QTest::addColumn<qint64>("lost");

    const QStringList mixed{QStringLiteral("plain"), QStringLiteral("caf\u00e9"), QStringLiteral("5 \u20ac"),
                            QStringLiteral("\u65e5\u672c"), QString()};
    QTest::newRow("Latin-1 loses the euro and the Japanese")
        << int(UTF_8) << mixed << int(ISO_8859_1) << qint64(2);
    QTest::newRow("Windows-1252 has the euro") << int(UTF_8) << mixed << int(WINDOWS_1252) << qint64(1);
    QTest::newRow("UTF-16 writes everything") << int(UTF_8) << mixed << int(UTF_16LE) << qint64(0);
    QTest::newRow("GB 18030 writes everything") << int(UTF_8) << mixed << int(GB_18030) << qint64(0);
    QTest::newRow("from UTF-16, plain text stays")
        << int(UTF_16BE) << QStringList{QStringLiteral("plain"), QStringLiteral("\u00e9")} << int(KOI8_R)
        << qint64(1);
    // The mail encoding spells Japanese in bytes below 0x80: they are not ASCII text.
    QTest::newRow("seven-bit Japanese is not ASCII")
        << int(ISO_2022_JP) << QStringList{QStringLiteral("abc"), QStringLiteral("\u65e5\u672c")}
        << int(ISO_8859_1) << qint64(1);
    QTest::newRow("seven-bit Japanese into EUC-JP")
        << int(ISO_2022_JP) << QStringList{QStringLiteral("abc"), QStringLiteral("\u65e5\u672c")}
        << int(EUC_JP) << qint64(0);
}

void TestTableData::cellsLostInEncoding() {
    QFETCH(int, from);
    QFETCH(QStringList, texts);
    QFETCH(int, to);
    QFETCH(qint64, lost);
    TableData table;
    table.setEncoding(EncodingType(from), false);
    // Ragged rows: the count covers every stored cell, not only the first row's width.
    for (int i = 0; i < texts.size(); ++i)
        QVERIFY(texts[i].isEmpty() || table.setValueRaw(i, i, texts[i]));
    QCOMPARE(table.countCellsLostInEncoding(EncodingType(to)), lost);
    QCOMPARE(table.countCellsLostInEncoding(EncodingType(from)), qint64(0));

    // A canceled look has no answer, rather than one that lets a lossy change through.
    if (lost > 0) {
        Worker canceled(std::make_shared<bool>(true), std::make_shared<QMutex>());
        QCOMPARE(table.countCellsLostInEncoding(EncodingType(to), &canceled), qint64(-1));
    }
}

void TestTableData::nextBlockLocation_data() {
    QTest::addColumn<QString>("pattern"); // 'x' populated, '.' empty, along the walked axis
    QTest::addColumn<int>("start");
    QTest::addColumn<int>("direction");
    QTest::addColumn<int>("expected");

    const QString p = QStringLiteral("xxx..x...xx");
    const int up = int(Direction::Up);
    const int down = int(Direction::Down);
    QTest::newRow("down inside a block to its end") << p << 0 << down << 2;
    QTest::newRow("down off a block to the next") << p << 2 << down << 5;
    QTest::newRow("down through a gap onto data") << p << 3 << down << 5;
    QTest::newRow("down, empty before data: one step") << p << 4 << down << 5;
    QTest::newRow("down from a lone cell") << p << 5 << down << 9;
    QTest::newRow("down in the last block stops at the edge") << p << 9 << down << 10;
    QTest::newRow("down from the last row: unchanged") << p << 10 << down << 10;
    QTest::newRow("down from past the end: unchanged") << p << 12 << down << 12;
    QTest::newRow("down from a negative start: unchanged") << p << -1 << down << -1;
    QTest::newRow("up inside a block") << p << 10 << up << 9;
    QTest::newRow("up off a block") << p << 9 << up << 5;
    QTest::newRow("up from a lone cell") << p << 5 << up << 2;
    QTest::newRow("up to row 0") << p << 2 << up << 0;
    QTest::newRow("up from row 0: unchanged") << p << 0 << up << 0;
    QTest::newRow("up from past the end onto data") << p << 15 << up << 10;
    QTest::newRow("down over empties to data") << QStringLiteral(".....x") << 0 << down << 5;
    QTest::newRow("down off data with nothing after") << QStringLiteral("x....") << 0 << down << 4;
    QTest::newRow("up over empties with nothing before") << QStringLiteral("....x") << 3 << up << 0;
}

void TestTableData::nextBlockLocation() {
    QFETCH(QString, pattern);
    QFETCH(int, start);
    QFETCH(int, direction);
    QFETCH(int, expected);

    // The same walk down a column and along a row.
    for (const bool vertical : {true, false}) {
        TableData table;
        for (int i = 0; i < pattern.size(); ++i) {
            const QString text = pattern.at(i) == QLatin1Char('x') ? QStringLiteral("v") : QString();
            const int row = vertical ? i : 1;
            const int col = vertical ? 1 : i;
            if (!text.isEmpty())
                QVERIFY(table.setValueRaw(row, col, text));
        }
        // Stretch the table to the pattern's length even if it ends empty.
        if (vertical)
            table.insertRowsRaw(table.numRawRows(), static_cast<int>(pattern.size()) - table.numRawRows());
        else
            table.insertColsRaw(table.numRawCols(), static_cast<int>(pattern.size()) - table.numRawCols());
        Direction dir = static_cast<Direction>(direction);
        if (!vertical)
            dir = dir == Direction::Up ? Direction::Left : Direction::Right;
        const Range from =
            vertical ? Range(start, 1, RangeIndexType::Raw) : Range(1, start, RangeIndexType::Raw);
        const Range to = table.getNextBlockLocation(from, dir);
        QCOMPARE(vertical ? to.row : to.col, expected);
        QCOMPARE(vertical ? to.col : to.row, 1);
    }
}

void TestTableData::nextBlockLocationSkipsConcealedInModelSpace() {
    TableData table;
    for (const int r : {0, 2, 4})
        table.setValueRaw(r, 0, QStringLiteral("v"));
    // Raw: a populated cell, a gap, the next block.
    QCOMPARE(table.getNextBlockLocation(Range(0, 0, RangeIndexType::Raw), Direction::Down).row, 2);
    // With the gaps concealed the user sees one block of three.
    table.concealRawRows({1, 3});
    const Range to = table.getNextBlockLocation(Range(0, 0, RangeIndexType::Model), Direction::Down);
    QCOMPARE(to.row, 2);
    QCOMPARE(to.indexType, RangeIndexType::Model);
}

void TestTableData::rangesMapAtBothCorners() {
    TableData table;
    table.setValueRaw(9, 9, QStringLiteral("v"));
    table.concealRawRows({0, 4});
    table.concealRawCols({1});

    Range block(RangeType::Table, RangeIndexType::Model);
    block.row = 1;
    block.col = 1;
    block.endRow = 3;
    const Range raw = table.getRawFromModelRange(block);
    QCOMPARE(raw.indexType, RangeIndexType::Raw);
    QCOMPARE(raw.row, 2);
    QCOMPARE(raw.col, 2);
    QCOMPARE(raw.endRow, 5);
    QCOMPARE(raw.endCol, Range::EndOfTable);

    const Range back = table.getModelFromRawRange(raw);
    QCOMPARE(back.indexType, RangeIndexType::Model);
    QCOMPARE(back.row, 1);
    QCOMPARE(back.col, 1);
    QCOMPARE(back.endRow, 3);
    QCOMPARE(back.endCol, Range::EndOfTable);

    // A concealed corner: -1, or with nearest the next visible row.
    const Range cell(4, 1, RangeIndexType::Raw);
    QCOMPARE(table.getModelFromRawRange(cell).row, -1);
    QCOMPARE(table.getModelFromRawRange(cell, true).row, 3);
    QCOMPARE(table.getModelFromRawRange(cell, true).col, 1);
}

void TestTableData::emptyRowsInModelSpace() {
    TableData table;
    table.setValueRaw(0, 0, QStringLiteral("a"));
    table.setValueRaw(2, 2, QStringLiteral("c"));
    table.setValueRaw(4, 1, QStringLiteral("e"));
    table.concealRawRows({3});
    table.concealRawCols({2});

    QCOMPARE(table.getEmptyRows(0, RangeIndexType::Raw, MASK_ALL, {}), (std::vector<int>{1, 3}));
    // Concealed row 3 is not reported; model rows follow the concealment.
    QCOMPARE(table.getEmptyRows(0, RangeIndexType::Model, MASK_ALL, {}), (std::vector<int>{1}));
    // Only the visible columns 0 and 1 looked at: row 2 counts as empty too.
    QCOMPARE(table.getEmptyRows(0, RangeIndexType::Model, MASK_ONLY_LISTED, {1, 0}),
             (std::vector<int>{1, 2}));
    QCOMPARE(table.getEmptyCols(0, RangeIndexType::Raw, MASK_ALL, {}), (std::vector<int>{}));
}

void TestTableData::unthreadedLoad() {
    QTemporaryDir dir;
    const QString path = writeFile(dir, QStringLiteral("t.tsv"), "a\tb\tc\n1\t2\n\"x\ty\"\t\t3\n");
    TableData table;
    table.concealRawRows({1});
    table.toggleTranspose();
    QSignalSpy finished(&table, &TableData::loadFinishedSignal);
    QSignalSpy sizes(&table, &TableData::tableSizeChangedSignal);
    table.loadCSV(path, false, TableData::Editable, QStringLiteral("\t"), QStringLiteral(";"), UTF_8,
                  RFC_4180);
    QCOMPARE(finished.count(), 1);
    QCOMPARE(sizes.count(), 1);
    QVERIFY(!table.isLoading());
    QVERIFY(!table.isTransposed());
    QCOMPARE(table.numConcealedRows(), 0);
    QCOMPARE(table.numRawRows(), 3);
    QCOMPARE(table.numRawCols(), 3);
    QCOMPARE(table.getValueRaw(2, 0).toString(), QStringLiteral("x\ty"));
    QCOMPARE(table.getDelimiter(), '\t');
    QCOMPARE(table.getSaveDelimiter(), ';');
    QCOMPARE(table.getDataContainer()->getSaveDelimiter(), ';');
    QCOMPARE(table.getFilepath(), path);
}

void TestTableData::threadedLoadReportsProgress() {
    QTemporaryDir dir;
    int rows = 0;
    const QString path = writeBigFile(dir, rows);
    QVERIFY(!path.isEmpty());
    const qint64 size = QFileInfo(path).size();
    QVERIFY(size >= AbstractDataContainer::kProgressThreshold);

    QMutex mutex;
    QWaitCondition condition;
    TableData table;
    table.setProgressUpdateMutex(&mutex, &condition);
    QSignalSpy started(&table, &TableData::startProgressUpdateSignal);
    QSignalSpy progress(&table, &TableData::loadProgressUpdateSignal);
    QSignalSpy finished(&table, &TableData::loadFinishedSignal);
    // The dialog's side of the handshake: wake the loader once a report is painted.
    connect(&table, &TableData::loadProgressUpdateSignal, this, [&] { condition.wakeAll(); });

    table.loadCSV(path, true, TableData::Editable, QStringLiteral(","), QStringLiteral(","), UTF_8, RFC_4180);
    QVERIFY(table.isLoading());
    QCOMPARE(table.numRawRows(), 0);
    QVERIFY(!table.setValueRaw(0, 0, QStringLiteral("refused while loading")));
    QVERIFY(finished.wait(20000));
    QVERIFY(!table.isLoading());
    QCOMPARE(started.count(), 1);
    const int total = static_cast<int>((size >> 23) + 1);
    QVERIFY2(progress.count() >= total - 1, qPrintable(QString::number(progress.count())));
    QCOMPARE(progress.first().at(0).toInt(), 0);
    QCOMPARE(progress.last().at(1).toInt(), total);
    QCOMPARE(progress.last().at(2).toInt(), static_cast<int>(size >> 20));
    QCOMPARE(table.numRawRows(), rows);
    QCOMPARE(table.numRawCols(), 3);
    QCOMPARE(table.getValueRaw(rows - 1, 2).toString(), QStringLiteral("be,ta"));
    // The container is ours again and editable.
    QCOMPARE(table.getDataContainer()->thread(), table.thread());
    QVERIFY(table.setValueRaw(0, 0, QStringLiteral("edited")));
}

void TestTableData::cancelEndsTheLoad() {
    QTemporaryDir dir;
    int rows = 0;
    const QString path = writeBigFile(dir, rows);
    TableData table;
    QSignalSpy finished(&table, &TableData::loadFinishedSignal);
    table.loadCSV(path, true, TableData::Editable, QStringLiteral(","), QStringLiteral(","), UTF_8, RFC_4180);
    QVERIFY(table.isLoading());
    QElapsedTimer timer;
    timer.start();
    table.stopLoadThread(true);
    QVERIFY(timer.elapsed() < 3000);
    QVERIFY(!table.isLoading());
    QTest::qWait(50);
    QCOMPARE(finished.count(), 0);
    QCOMPARE(table.numRawRows(), 0);
}

void TestTableData::failedThreadedLoadIsReported() {
    QTemporaryDir dir;
    const QString missing = dir.filePath(QStringLiteral("missing.csv"));
    TableData table;
    QSignalSpy failed(&table, &TableData::loadFailedSignal);
    QSignalSpy finished(&table, &TableData::loadFinishedSignal);
    table.loadCSV(missing, true, TableData::Editable, QStringLiteral(","), QStringLiteral(","), UTF_8,
                  RFC_4180);
    QVERIFY(failed.wait(5000));
    QCOMPARE(failed.first().at(0).toString(), missing);
    QCOMPARE(finished.count(), 0);
    QVERIFY(table.isLoading());
    table.stopLoadThread(false);
    QVERIFY(!table.isLoading());
    QCOMPARE(table.numRawRows(), 0);

    table.loadCSV(missing, false, TableData::Editable, QStringLiteral(","), QStringLiteral(","), UTF_8,
                  RFC_4180);
    QCOMPARE(failed.count(), 2);
    QCOMPARE(finished.count(), 1);
    QVERIFY(!table.isLoading());
}

void TestTableData::staleFinishIsIgnored() {
    QTemporaryDir dir;
    const QString first = writeFile(dir, QStringLiteral("a.csv"), "1,2\n3,4\n5,6\n7,8\n");
    const QString second = writeFile(dir, QStringLiteral("b.csv"), "x\n");
    TableData table;
    QSignalSpy finished(&table, &TableData::loadFinishedSignal);
    table.loadCSV(first, true, TableData::Editable, QStringLiteral(","), QStringLiteral(","), UTF_8,
                  RFC_4180);

    // Let the first container finish without running the event loop, so its finish waits
    // in the queue while the second file replaces it. The container comes back to this thread
    // only after it has sent its finish, and its thread affinity is safe to read from here.
    AbstractDataContainer* const firstContainer = table.getDataContainer();
    QElapsedTimer timer;
    timer.start();
    while (firstContainer->thread() != QThread::currentThread() && timer.elapsed() < 10000)
        QThread::msleep(1);
    QCOMPARE(firstContainer->thread(), QThread::currentThread());

    table.loadCSV(second, false, TableData::Editable, QStringLiteral(","), QStringLiteral(","), UTF_8,
                  RFC_4180);
    QCOMPARE(finished.count(), 1);
    QCOMPARE(table.numRawRows(), 1);
    QTest::qWait(50);
    QCoreApplication::processEvents();
    QCOMPARE(finished.count(), 1);
    QCOMPARE(table.numRawRows(), 1);
    QCOMPARE(table.getValueRaw(0, 0).toString(), QStringLiteral("x"));
}

void TestTableData::reloadWhileLoadingReplacesTheTable() {
    QTemporaryDir dir;
    int rows = 0;
    const QString big = writeBigFile(dir, rows);
    const QString small = writeFile(dir, QStringLiteral("s.csv"), "p,q\n");
    TableData table;
    QSignalSpy finished(&table, &TableData::loadFinishedSignal);
    table.loadCSV(big, true, TableData::Editable, QStringLiteral(","), QStringLiteral(","), UTF_8, RFC_4180);
    table.loadCSV(small, true, TableData::Editable, QStringLiteral(","), QStringLiteral(","), UTF_8,
                  RFC_4180);
    QVERIFY(finished.wait(10000));
    QTest::qWait(50);
    QCOMPARE(finished.count(), 1);
    QCOMPARE(table.numRawRows(), 1);
    QCOMPARE(table.getValueRaw(0, 1).toString(), QStringLiteral("q"));
}

void TestTableData::setDataContainerTypeReloads() {
    QTemporaryDir dir;
    const QString path = writeFile(dir, QStringLiteral("r.csv"), "1;2\n3;4\n");
    TableData table;
    table.loadCSV(path, false, TableData::Editable, QStringLiteral(";"), QStringLiteral(";"), UTF_8,
                  RFC_4180);
    QVERIFY(table.setValueRaw(0, 0, QStringLiteral("unsaved")));
    QSignalSpy finished(&table, &TableData::loadFinishedSignal);
    table.setDataContainerType(TableData::Editable); // same type: nothing happens
    QVERIFY(!table.isLoading());

    table.setDataContainerType(TableData::ReadOnly);
    QVERIFY(table.isLoading());
    QVERIFY(finished.wait(10000));
    QCOMPARE(table.getDataContainerType(), TableData::ReadOnly);
    QVERIFY(qobject_cast<ReadOnlyDataContainer*>(table.getDataContainer()));
    QCOMPARE(table.getValueRaw(0, 0).toString(), QStringLiteral("1")); // read anew from the file
    QCOMPARE(table.getValueRaw(1, 1).toString(), QStringLiteral("4"));
    QCOMPARE(table.getDelimiter(), ';');
    // A read-only table refuses every edit.
    QVERIFY(!table.setValueRaw(0, 0, QStringLiteral("no")));
    QVERIFY(!table.insertRowsRaw(0, 1));
    QVERIFY(!table.removeRowsRaw(0, 1));
    QVERIFY(!table.moveRowRelative(0, 1));
    QCOMPARE(table.numRawRows(), 2);
}

void TestTableData::largeSaveReportsProgress_data() {
    QTest::addColumn<int>("type");
    QTest::addColumn<bool>("transposed");
    QTest::newRow("editable") << int(TableData::Editable) << false;
    QTest::newRow("editable transposed") << int(TableData::Editable) << true;
    QTest::newRow("read-only") << int(TableData::ReadOnly) << false;
}

// Percentages rise through the save and stay within 1..100; the bytes are those of the table.
void TestTableData::largeSaveReportsProgress() {
    QFETCH(int, type);
    QFETCH(bool, transposed);
    QTemporaryDir dir;
    QByteArray content;
    for (int i = 0; i < 60000; ++i)
        content += "row " + QByteArray::number(i) + ",some words to fill the line,\"quoted, cell\"\n";
    const QString path = writeFile(dir, QStringLiteral("big.csv"), content);
    const QString copy = dir.filePath(QStringLiteral("copy.csv"));
    TableData table;
    table.loadCSV(path, false, static_cast<TableData::DataContainerType>(type), QStringLiteral(","),
                  QStringLiteral(","), UTF_8, RFC_4180);
    if (transposed)
        table.toggleTranspose();
    QSignalSpy progress(&table, &TableData::saveProgressSignal);
    QVERIFY(table.saveCSV(copy, true, false));
    QVERIFY(progress.count() >= (transposed ? 1 : 2)); // transposed, the 3 columns are 3 long lines
    int last = 0;
    for (const QList<QVariant>& report : progress) {
        const int percent = report.at(0).toInt();
        QVERIFY(percent > last && percent <= 100);
        last = percent;
    }
    if (!transposed) {
        QFile saved(copy);
        QVERIFY(saved.open(QIODevice::ReadOnly));
        QCOMPARE(saved.readAll(), content);
    }
    // A small save sends nothing.
    progress.clear();
    const QString small = writeFile(dir, QStringLiteral("small.csv"), "a,b\n");
    TableData other;
    other.loadCSV(small, false, TableData::Editable, QStringLiteral(","), QStringLiteral(","), UTF_8,
                  RFC_4180);
    QSignalSpy none(&other, &TableData::saveProgressSignal);
    QVERIFY(other.saveCSV(copy, true, false));
    QCOMPARE(none.count(), 0);
}

void TestTableData::saveVisibleOnlySkipsConcealed() {
    QTemporaryDir dir;
    const QString path = writeFile(dir, QStringLiteral("s.csv"), "a,b,c\nd,e,f\ng,h,i\n");
    const QString copy = dir.filePath(QStringLiteral("copy.csv"));
    TableData table;
    table.loadCSV(path, false, TableData::Editable, QStringLiteral(","), QStringLiteral(","), UTF_8,
                  RFC_4180);
    table.concealRawRows({1});
    table.concealRawCols({0});
    QSignalSpy startedSpy(&table, &TableData::saveStartedSignal);
    QSignalSpy finishedSpy(&table, &TableData::saveFinishedSignal);

    QVERIFY(table.saveCSV(copy, true, true));
    QCOMPARE(startedSpy.count(), 1);
    QCOMPARE(finishedSpy.count(), 1);
    QCOMPARE(startedSpy.first().at(0).toString(), copy);
    QFile saved(copy);
    QVERIFY(saved.open(QIODevice::ReadOnly));
    QCOMPARE(saved.readAll(), QByteArray("b,c\nh,i\n"));
    saved.close();

    QVERIFY(table.saveCSV(copy, true, false));
    QVERIFY(saved.open(QIODevice::ReadOnly));
    QCOMPARE(saved.readAll(), QByteArray("a,b,c\nd,e,f\ng,h,i\n"));
    saved.close();

    // Transposed, the stored columns are written as lines: concealed columns drop out,
    // concealed rows stay, as the writer requires.
    table.toggleTranspose();
    QVERIFY(table.saveCSV(copy, true, true));
    QVERIFY(saved.open(QIODevice::ReadOnly));
    QCOMPARE(saved.readAll(), QByteArray("b,e,h\nc,f,i\n"));
}

void TestTableData::wordDelimiters() {
    TableData table;
    for (const QChar c : QStringLiteral("`~!@#$%^&*()+=[]{}\\|;:'\",./?<> \t\n"))
        QVERIFY2(table.isWordDelimiter(c), qPrintable(QString(c)));
    for (const QChar c : QStringLiteral("aZ09-_\u00e9\u4e2d"))
        QVERIFY2(!table.isWordDelimiter(c), qPrintable(QString(c)));
    table.setWordDelimiters(QStringLiteral("-\u2014"));
    QVERIFY(table.isWordDelimiter(QLatin1Char('-')));
    QVERIFY(table.isWordDelimiter(QChar(0x2014)));
    QVERIFY(!table.isWordDelimiter(QLatin1Char(',')));
}

void TestTableData::delimitersFromText_data() {
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("expected");
    QTest::newRow("comma") << "," << int(',');
    QTest::newRow("tab") << "\t" << int('\t');
    QTest::newRow("first character only") << ";x" << int(';');
    QTest::newRow("empty means none") << "" << 0;
    QTest::newRow("Latin-1 character") << "\u00a7" << int(static_cast<char>(0xa7));
    QTest::newRow("beyond Latin-1") << "\u2014" << 0;
}

void TestTableData::delimitersFromText() {
    QFETCH(QString, text);
    QFETCH(int, expected);
    TableData table;
    table.setDelimiter(text, text);
    QCOMPARE(int(table.getDelimiter()), expected);
    QCOMPARE(int(table.getDataContainer()->getDelimiter()), expected);
    QCOMPARE(table.getDelimiterText().isEmpty(), expected == 0);
}

QTEST_GUILESS_MAIN(TestTableData)
#include "tst_tabledata.moc"
