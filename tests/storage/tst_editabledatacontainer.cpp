// Editing the in-memory container: logical against physical size, growth, inserts and
// removes past the end, empty rows and columns under the three masks.
#include "storage/editabledatacontainer.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <cstring>

namespace {

std::vector<char> v(const char* text) {
    return std::vector<char>(text, text + std::strlen(text));
}

// The table as text, logical size: cells joined by '|', rows by '/'.
QByteArray dump(EditableDataContainer& c) {
    QByteArray out;
    for (int r = 0; r < c.numRows(); ++r) {
        if (r)
            out += '/';
        for (int col = 0; col < c.numCols(); ++col) {
            if (col)
                out += '|';
            const std::vector<char> cell = c.getValue(r, col);
            out += QByteArray(cell.data(), qsizetype(cell.size()));
        }
    }
    return out;
}

// Row r holds the given texts from column 0.
void fill(EditableDataContainer& c, const QList<QByteArrayList>& rows) {
    for (int r = 0; r < rows.size(); ++r)
        for (int col = 0; col < rows[r].size(); ++col)
            c.setValue(r, col, std::vector<char>(rows[r][col].begin(), rows[r][col].end()));
}

} // namespace

class TestEditableDataContainer : public QObject {
    Q_OBJECT

private slots:
    // Every pass that rebuilds each row reports how far it has come, for the progress bar of a
    // large table: from the first row, in order, out of all the rows.
    void columnPassesReportProgress_data() {
        QTest::addColumn<int>("operation");
        QTest::newRow("insert empty") << 0;
        QTest::newRow("insert with cells") << 1;
        QTest::newRow("remove") << 2;
        QTest::newRow("reorder") << 3;
        QTest::newRow("resize") << 4;
        QTest::newRow("copy column") << 5;
    }
    void columnPassesReportProgress() {
        QFETCH(int, operation);
        constexpr int rows = 10000;
        EditableDataContainer c;
        for (int r = 0; r < rows; ++r) {
            c.setValue(r, 0, v("a"));
            c.setValue(r, 2, v("b"));
        }
        std::vector<std::pair<qint64, qint64>> heard;
        c.setRowPassProgress([&heard](qint64 done, qint64 total) { heard.emplace_back(done, total); });
        switch (operation) {
        case 0:
            QVERIFY(c.insertEmptyCols(1, 2));
            break;
        case 1:
            c.insertCols(1, {std::vector<std::vector<char>>(rows, v("x"))});
            break;
        case 2:
            QVERIFY(c.removeCols(0, 1));
            break;
        case 3:
            QVERIFY(c.reorderCols({2, 0, 1}));
            break;
        case 4:
            QVERIFY(c.resizeCols(1));
            break;
        default:
            c.copyColContentsToAnotherCol(0, 1);
            break;
        }
        QVERIFY(heard.size() >= 2);
        QCOMPARE(heard.front().first, qint64(0));
        for (std::size_t i = 0; i < heard.size(); ++i) {
            QCOMPARE(heard[i].second, qint64(rows));
            QVERIFY(i == 0 || heard[i].first > heard[i - 1].first);
        }
        c.setRowPassProgress({});
    }
    void setValueGrowth() {
        EditableDataContainer c;
        QVERIFY(c.setValue(2, 3, v("x")));
        QCOMPARE(c.numRows(), 3);
        QCOMPARE(c.numCols(), 4);
        QCOMPARE(c.numRowsPhysical(), 3);
        QCOMPARE(c.numCellsStored(2), 4);
        QCOMPARE(c.numCellsStored(0), 0);
        // An empty value past a row's cells stores nothing but still widens the table.
        QVERIFY(c.setValue(0, 6, {}));
        QCOMPARE(c.numCellsStored(0), 0);
        QCOMPARE(c.numCols(), 7);
        // Reads beyond anything stored are empty, never an error.
        QVERIFY(c.getValue(100, 100).empty());
        QVERIFY(c.getValue(-1, 0).empty());
        QVERIFY(c.getValue(2, 5).empty());
        QVERIFY(!c.setValue(-1, 0, v("x")));
    }

    void setValueResetsLogicalRowsToPhysicalEnd() {
        EditableDataContainer c;
        QVERIFY(c.resizeRows(1000000));
        QCOMPARE(c.numRows(), 1000000);
        QCOMPARE(c.numRowsPhysical(), 0);
        c.setValue(4, 0, v("a"));
        QCOMPARE(c.numRows(), 5); // deliberately: callers resize next
        c.resizeRows(1000000);
        c.setValue(2, 0, v("b")); // inside the physical part: the count stays
        QCOMPARE(c.numRows(), 1000000);
    }

    void resizeShrinksPhysicalPart() {
        EditableDataContainer c;
        fill(c, {{"a", "b", "c"}, {"d", "e", "f"}, {"g"}});
        QVERIFY(c.resizeCols(2));
        QCOMPARE(c.numCellsStored(0), 2);
        QCOMPARE(c.numCellsStored(2), 1);
        QVERIFY(c.resizeRows(2));
        QCOMPARE(c.numRowsPhysical(), 2);
        QVERIFY(c.resizeCols(10));
        QCOMPARE(c.numCellsStored(0), 2); // growing touches only the counter
        QCOMPARE(dump(c), QByteArray("a|b||||||||/d|e||||||||"));
    }

    // A cell copied from another cell of its own row, onto a longer, shorter or equal one: the
    // source bytes live in the very block that changes.
    void copyColWithinRows_data() {
        QTest::addColumn<int>("from");
        QTest::addColumn<int>("to");
        QTest::addColumn<QByteArray>("expected");
        QTest::newRow("long over short, rightwards")
            << 0 << 2 << QByteArray("longest|mid|longest|x/ab|c|ab|");
        QTest::newRow("short over long, leftwards") << 3 << 0 << QByteArray("x|mid|s|x/|c|ab|");
        QTest::newRow("short over long, rightwards") << 1 << 0 << QByteArray("mid|mid|s|x/c|c|ab|");
        QTest::newRow("long over short, leftwards")
            << 0 << 3 << QByteArray("longest|mid|s|longest/ab|c|ab|ab");
        QTest::newRow("onto a missing cell") << 1 << 5 << QByteArray("longest|mid|s|x||mid/ab|c|ab|||c");
    }

    void copyColWithinRows() {
        QFETCH(int, from);
        QFETCH(int, to);
        QFETCH(QByteArray, expected);
        EditableDataContainer c;
        fill(c, {{"longest", "mid", "s", "x"}, {"ab", "c", "ab"}});
        c.copyColContentsToAnotherCol(from, to);
        QCOMPARE(dump(c), expected);
    }

    // Several cells of a row written at once give the row that writing them one by one gives:
    // all fitting where they lie, some growing (the row is built once), past the row's end, and
    // texts taken from the row's own cells.
    void setValuesInRowMatchesOneByOne_data() {
        QTest::addColumn<QList<int>>("cols");
        QTest::addColumn<QByteArrayList>("values"); // "@n": the row's own cell n
        QTest::newRow("all fit") << QList<int>{0, 1, 3} << QByteArrayList{"a", "", "d"};
        QTest::newRow("all grow") << QList<int>{0, 1, 2, 3, 4}
                                  << QByteArrayList{"aaaaaaaa", "bbbbbbbbbb", "cc", "x", "eeeeeeee"};
        QTest::newRow("some grow, some shrink")
            << QList<int>{0, 2, 4} << QByteArrayList{"", "longer text", "e"};
        QTest::newRow("grow and past the end") << QList<int>{1, 6} << QByteArrayList{"0123456789", "far"};
        QTest::newRow("own cells, moved and grown")
            << QList<int>{0, 1, 4} << QByteArrayList{"@1", "@4", "@0"};
    }

    void setValuesInRowMatchesOneByOne() {
        QFETCH(QList<int>, cols);
        QFETCH(QByteArrayList, values);
        const QList<QByteArrayList> start = {{"aa", "bbbb", "c", "", "ddd"}, {"other", "row"}};
        EditableDataContainer together;
        EditableDataContainer single;
        fill(together, start);
        fill(single, start);
        std::vector<QByteArray> resolved;
        for (const QByteArray& value : values) {
            if (value.startsWith('@')) {
                const std::vector<char> own = single.getValue(0, value.mid(1).toInt());
                resolved.emplace_back(own.data(), qsizetype(own.size()));
            } else {
                resolved.push_back(value);
            }
        }
        std::vector<std::pair<int, std::string_view>> cells;
        for (qsizetype i = 0; i < cols.size(); ++i) {
            std::string_view text(resolved[std::size_t(i)].constData(),
                                  std::size_t(resolved[std::size_t(i)].size()));
            if (values[i].startsWith('@')) {
                // A view into the row's own block, as a move within the row hands over.
                QVERIFY(together.getValueView(0, values[i].mid(1).toInt(), text));
            }
            cells.emplace_back(cols[i], text);
        }
        together.setValuesInRow(0, cells);
        for (qsizetype i = 0; i < cols.size(); ++i) {
            const QByteArray& value = resolved[std::size_t(i)];
            single.setValue(0, cols[i], std::vector<char>(value.begin(), value.end()));
        }
        QCOMPARE(dump(together), dump(single));
    }

    // Each change of one cell leaves every other cell as it was, growing or shrinking the row.
    void setValueKeepsNeighbours() {
        EditableDataContainer c;
        fill(c, {{"aa", "bbbb", "c", "", "ddd"}});
        const QList<QByteArray> values = {"", "x", "yyyyyyyy", "bbbb", "zz", "", "0123456789"};
        QByteArray expected;
        for (const QByteArray& value : values) {
            c.setValue(0, 1, std::vector<char>(value.begin(), value.end()));
            QCOMPARE(dump(c), "aa|" + value + "|c||ddd");
        }
        c.setValue(0, 4, {});
        c.setValue(0, 0, v("first"));
        QCOMPARE(dump(c), QByteArray("first|0123456789|c||"));
    }

    void numColsInRow() {
        EditableDataContainer c;
        fill(c, {{"a", "", "b", ""}, {"", ""}});
        QCOMPARE(c.numColsInRow(0), 3);
        QCOMPARE(c.numColsInRow(1), 0);
        QCOMPARE(c.numColsInRow(7), 0);
    }

    void insertEmptyRows_data() {
        QTest::addColumn<int>("at");
        QTest::addColumn<int>("count");
        QTest::addColumn<bool>("result");
        QTest::addColumn<QByteArray>("expected");
        QTest::addColumn<int>("physical");
        // Start: a/b/c in one column, logical 5 rows.
        QTest::newRow("inside") << 1 << 2 << true << QByteArray("a///b/c//") << 5;
        QTest::newRow("at physical end") << 3 << 1 << true << QByteArray("a/b/c///") << 3;
        QTest::newRow("past logical end") << 8 << 2 << true << QByteArray("a/b/c///////") << 3;
        QTest::newRow("negative") << -1 << 1 << false << QByteArray("a/b/c//") << 3;
        QTest::newRow("zero count") << 0 << 0 << false << QByteArray("a/b/c//") << 3;
    }

    void insertEmptyRows() {
        QFETCH(int, at);
        QFETCH(int, count);
        QFETCH(bool, result);
        QFETCH(QByteArray, expected);
        QFETCH(int, physical);
        EditableDataContainer c;
        fill(c, {{"a"}, {"b"}, {"c"}});
        c.resizeRows(5);
        QCOMPARE(c.insertEmptyRows(at, count), result);
        QCOMPARE(dump(c), expected);
        QCOMPARE(c.numRowsPhysical(), physical);
    }

    void insertEmptyCols_data() {
        QTest::addColumn<int>("at");
        QTest::addColumn<int>("count");
        QTest::addColumn<QByteArray>("expected");
        QTest::addColumn<int>("storedInRow1");
        // Start: a|b|c / d, logical 3 columns.
        QTest::newRow("inside") << 1 << 2 << QByteArray("a|||b|c/d||||") << 1;
        QTest::newRow("at first") << 0 << 1 << QByteArray("|a|b|c/|d||") << 2;
        QTest::newRow("past end") << 5 << 1 << QByteArray("a|b|c|||/d|||||") << 1;
    }

    void insertEmptyCols() {
        QFETCH(int, at);
        QFETCH(int, count);
        QFETCH(QByteArray, expected);
        QFETCH(int, storedInRow1);
        EditableDataContainer c;
        fill(c, {{"a", "b", "c"}, {"d"}});
        QVERIFY(c.insertEmptyCols(at, count));
        QCOMPARE(dump(c), expected);
        // Short rows stay short: only rows longer than the place get cells.
        QCOMPARE(c.numCellsStored(1), storedInRow1);
    }

    void removeRows_data() {
        QTest::addColumn<int>("at");
        QTest::addColumn<int>("count");
        QTest::addColumn<bool>("result");
        QTest::addColumn<int>("rows");
        QTest::addColumn<QByteArray>("first");
        // Start: a/b/c stored, 6 logical rows.
        QTest::newRow("inside") << 1 << 1 << true << 5 << QByteArray("a/c///");
        QTest::newRow("across physical end") << 2 << 3 << true << 3 << QByteArray("a/b/");
        QTest::newRow("beyond physical part") << 4 << 10 << true << 4 << QByteArray("a/b/c/");
        QTest::newRow("at logical end") << 6 << 1 << true << 6 << QByteArray("a/b/c///");
        QTest::newRow("negative") << -2 << 1 << false << 6 << QByteArray("a/b/c///");
        QTest::newRow("zero count") << 0 << 0 << false << 6 << QByteArray("a/b/c///");
    }

    void removeRows() {
        QFETCH(int, at);
        QFETCH(int, count);
        QFETCH(bool, result);
        QFETCH(int, rows);
        QFETCH(QByteArray, first);
        EditableDataContainer c;
        fill(c, {{"a"}, {"b"}, {"c"}});
        c.resizeRows(6);
        QCOMPARE(c.removeRows(at, count), result);
        QCOMPARE(c.numRows(), rows);
        QCOMPARE(dump(c), first);
        QVERIFY(c.numRowsPhysical() <= c.numRows());
    }

    void removeCols() {
        EditableDataContainer c;
        fill(c, {{"a", "b", "c", "d"}, {"e"}});
        c.resizeCols(6);
        QVERIFY(c.removeCols(1, 2));
        QCOMPARE(dump(c), QByteArray("a|d||/e|||"));
        QVERIFY(c.removeCols(2, 100));
        QCOMPARE(c.numCols(), 2);
        QVERIFY(c.removeCols(5, 1));
        QCOMPARE(c.numCols(), 2);
        QVERIFY(!c.removeCols(0, 0));
    }

    void rowAndColumnCopies() {
        EditableDataContainer c;
        fill(c, {{"a", "b"}, {"c"}});
        c.resizeCols(3);
        std::vector<std::vector<char>> row;
        c.getRow(row, 1);
        QCOMPARE(row.size(), size_t(3)); // logical width, empty where nothing is stored
        QCOMPARE(row[0], v("c"));
        std::vector<std::vector<char>> col;
        c.getCol(col, 1);
        QCOMPARE(col.size(), size_t(2));
        QCOMPARE(col[0], v("b"));
        QVERIFY(col[1].empty());

        c.copyRowContentsToAnotherRow(0, 3);
        QCOMPARE(dump(c), QByteArray("a|b|/c||/||/a|b|"));
        c.copyColContentsToAnotherCol(0, 4);
        QCOMPARE(c.numCols(), 5);
        QCOMPARE(dump(c), QByteArray("a|b|||a/c||||c/||||/a|b|||a"));
        c.setRow(2, {v("x"), {}, v("y"), {}});
        QCOMPARE(c.numCellsStored(2), 3);
        c.setCol(1, {{}, v("p"), {}, {}, v("q")});
        QCOMPARE(c.numRows(), 5);
        QCOMPARE(dump(c), QByteArray("a||||a/c|p|||c/x||y||/a||||a/|q|||"));
    }

    // A row's cell offsets take one, two, four or eight bytes by the row's size: cells read
    // back whole on both sides of each step, and edits that move a row across a step keep it.
    void rowsOnBothSidesOfOffsetWidths_data() {
        QTest::addColumn<int>("firstCellSize");
        QTest::newRow("255 less one") << 255 - 4;
        QTest::newRow("255") << 255 - 3;
        QTest::newRow("256") << 256 - 3;
        QTest::newRow("64 KiB less one") << 65535 - 3;
        QTest::newRow("64 KiB") << 65536 - 3;
        QTest::newRow("64 KiB and one") << 65537 - 3;
        QTest::newRow("small") << 10;
    }

    void rowsOnBothSidesOfOffsetWidths() {
        QFETCH(int, firstCellSize);
        EditableDataContainer c;
        const std::vector<char> big(static_cast<size_t>(firstCellSize), 'b');
        c.setRow(0, {big, {}, v("xyz")}); // the row's bytes: firstCellSize + 3
        QCOMPARE(c.getValue(0, 0), big);
        QVERIFY(c.getValue(0, 1).empty());
        QCOMPARE(c.getValue(0, 2), v("xyz"));
        QCOMPARE(c.numColsInRow(0), 3);
        // Growing the row past 64 KiB and shrinking it back below.
        c.setValue(0, 1, std::vector<char>(70000, 'm'));
        QCOMPARE(c.getValue(0, 1).size(), size_t(70000));
        QCOMPARE(c.getValue(0, 2), v("xyz"));
        QCOMPARE(c.getValue(0, 0), big);
        c.setValue(0, 0, v("s"));
        c.setValue(0, 1, {});
        QCOMPARE(c.getValue(0, 0), v("s"));
        QVERIFY(c.getValue(0, 1).empty());
        QCOMPARE(c.getValue(0, 2), v("xyz"));
        c.copyRowContentsToAnotherRow(0, 1);
        QCOMPARE(dump(c), QByteArray("s||xyz/s||xyz"));
        // Growing one cell in place across the one-byte step, then shrinking it back.
        c.setValue(1, 1, std::vector<char>(300, 'g'));
        QCOMPARE(c.getValue(1, 1).size(), size_t(300));
        QCOMPARE(c.getValue(1, 2), v("xyz"));
        c.setValue(1, 1, v("h"));
        QCOMPARE(dump(c), QByteArray("s||xyz/s|h|xyz"));
    }

    // Rows of a large load come packed from the loader: short rows with one-byte offsets,
    // longer ones with two, and edits of them afterwards.
    void loadedRowsOfEveryOffsetWidth() {
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("rows.csv"));
        QByteArray text;
        QList<QByteArray> lines;
        for (int n = 0; text.size() < (5 << 20); ++n) {
            const int width = n % 3 == 0 ? 250 + n % 10 : n % 3 == 1 ? 3 : 70000 + n % 7;
            QByteArray line = QByteArray::number(n) + ',' + QByteArray(width, char('a' + n % 26)) + ",z";
            lines << line;
            text += line + '\n';
        }
        QFile f(path);
        QVERIFY(f.open(QIODevice::WriteOnly));
        QCOMPARE(f.write(text), text.size());
        f.close();
        EditableDataContainer c;
        c.setFilepath(path);
        c.setDelimiter(',', ',');
        QVERIFY(c.loadCSV());
        QCOMPARE(c.numRows(), int(lines.size()));
        for (int r = 0; r < c.numRows(); ++r) {
            const QList<QByteArray> cells = lines[r].split(',');
            for (int col = 0; col < 3; ++col)
                QCOMPARE(QByteArray(c.getValue(r, col).data(), qsizetype(c.getValue(r, col).size())),
                         cells[col]);
        }
        c.setValue(1, 1, std::vector<char>(400, 'q')); // a short row grows past 255
        c.setValue(0, 1, v("s"));                      // a row of 256 and more shrinks
        QCOMPARE(c.getValue(1, 1).size(), size_t(400));
        QCOMPARE(c.getValue(1, 2), v("z"));
        QCOMPARE(c.getValue(0, 1), v("s"));
        QCOMPARE(c.getValue(0, 2), v("z"));
    }

    void insertRowsAndCols() {
        EditableDataContainer c;
        fill(c, {{"a", "b"}, {"c", "d"}});
        c.insertRow(1, {v("x"), {}, v("y")});
        QCOMPARE(dump(c), QByteArray("a|b|/x||y/c|d|"));
        c.insertCol(1, {v("1"), {}, v("3"), v("4")});
        QCOMPARE(dump(c), QByteArray("a|1|b|/x|||y/c|3|d|/|4||"));
        c.insertRows(6, {{v("z")}});
        QCOMPARE(c.numRows(), 7);
        QCOMPARE(c.getValue(6, 0), v("z"));
    }

    void emptyRows_data() {
        QTest::addColumn<int>("index");
        QTest::addColumn<int>("maskType");
        QTest::addColumn<QList<int>>("mask");
        QTest::addColumn<QList<int>>("expected");
        // Rows: 0 "a||", 1 "||b", 2 "", 3 not stored (logical).
        QTest::newRow("all columns") << 0 << int(MASK_ALL) << QList<int>{} << QList<int>{2, 3};
        QTest::newRow("all from column 1") << 1 << int(MASK_ALL) << QList<int>{} << QList<int>{0, 2, 3};
        QTest::newRow("only column 0") << 0 << int(MASK_ONLY_LISTED) << QList<int>{0} << QList<int>{1, 2, 3};
        QTest::newRow("only columns 0 and 2")
            << 0 << int(MASK_ONLY_LISTED) << QList<int>{0, 2} << QList<int>{2, 3};
        QTest::newRow("all but column 2")
            << 0 << int(MASK_ALL_BUT_LISTED) << QList<int>{2} << QList<int>{1, 2, 3};
        QTest::newRow("all but 0 from 0")
            << 0 << int(MASK_ALL_BUT_LISTED) << QList<int>{0} << QList<int>{0, 2, 3};
    }

    void emptyRows() {
        QFETCH(int, index);
        QFETCH(int, maskType);
        QFETCH(QList<int>, mask);
        QFETCH(QList<int>, expected);
        EditableDataContainer c;
        fill(c, {{"a"}, {"", "", "b"}, {""}});
        c.resizeRows(4);
        const std::vector<int> got =
            c.emptyRows(index, GetRowColMaskType(maskType), std::vector<int>(mask.begin(), mask.end()));
        QCOMPARE(QList<int>(got.begin(), got.end()), expected);

        // The same table transposed gives the same answer for columns.
        EditableDataContainer t;
        t.setValue(0, 0, v("a"));
        t.setValue(2, 1, v("b"));
        t.resizeCols(4);
        t.resizeRows(3);
        const std::vector<int> gotCols =
            t.emptyCols(index, GetRowColMaskType(maskType), std::vector<int>(mask.begin(), mask.end()));
        QCOMPARE(QList<int>(gotCols.begin(), gotCols.end()), expected);
    }

    void emptyAtEnd() {
        EditableDataContainer c;
        fill(c, {{"a"}, {"", "b"}, {""}, {"", ""}});
        c.resizeRows(10);
        c.resizeCols(5);
        QCOMPARE(c.numEmptyRowsAtEnd(), 2); // logical rows past the physical end don't count
        QCOMPARE(c.numEmptyColsAtEnd(), 3);
        c.setValue(0, 4, v("z"));
        QCOMPARE(c.numEmptyColsAtEnd(), 0);
        EditableDataContainer empty;
        QCOMPARE(empty.numEmptyRowsAtEnd(), 0);
        QCOMPARE(empty.numEmptyColsAtEnd(), 0);
    }

    void clearDropsEverything() {
        EditableDataContainer c;
        fill(c, {{"a", "b"}});
        QVERIFY(c.clear());
        QCOMPARE(c.numRows(), 0);
        QCOMPARE(c.numCols(), 0);
        QCOMPARE(c.numRowsPhysical(), 0);
    }

    void baseClassIsQuietNoOp() {
        // A container that can't edit answers every editing call with a quiet no.
        AbstractDataContainer base;
        QVERIFY(!base.setValue(0, 0, v("a")));
        QVERIFY(!base.insertEmptyRows(0, 1));
        QVERIFY(!base.removeCols(0, 1));
        QVERIFY(!base.clear());
        QVERIFY(base.emptyRows(0, MASK_ALL, {}).empty());
        QCOMPARE(base.numEmptyColsAtEnd(), 0);
        QVERIFY(base.getValue(0, 0).empty());
    }

    void textOperations() {
        const AbstractDataContainer c;
        std::vector<char> s = v("a\"b\"\"c");
        c.stringReplace(s, v("\""), v("\"\""));
        QCOMPARE(s, v("a\"\"b\"\"\"\"c")); // written text isn't rescanned
        c.stringReplace(s, std::string("\"\""), std::string("'"));
        QCOMPARE(s, v("a'b''c"));
        c.stringReplace(s, '\'', '-');
        QCOMPARE(s, v("a-b--c"));
        QCOMPARE(c.findChars(s, v("--")), qsizetype(3));
        QCOMPARE(c.findChars(s, v("x")), qsizetype(-1));
        c.replaceChars(s, 1, 1, v("XY"));
        QCOMPARE(c.charVecToStdString(s), std::string("aXYb--c"));
        QVERIFY(c.areCharVecsEqual(c.stdStringToCharVec("ab"), v("ab")));
    }

    void keySequences() {
        AbstractDataContainer c;
        c.setDelimiter(';', '\t');
        c.setEncoding(UTF_16BE);
        AbstractDataContainer::KeyCharVecs keys = c.setKeyCharVecs();
        QCOMPARE(keys.delimiter, (std::vector<char>{'\0', ';'}));
        QCOMPARE(keys.saveDelimiter, (std::vector<char>{'\0', '\t'}));
        QCOMPARE(keys.doubledQuote, (std::vector<char>{'\0', '"', '\0', '"'}));
        c.setEncoding(UTF_32);
        keys = c.setKeyCharVecs();
        QCOMPARE(keys.lf, (std::vector<char>{'\n', '\0', '\0', '\0'}));
        c.setEncoding(UTF_32_GUESSED_BE);
        QCOMPARE(c.setKeyCharVecs().recordSeparator, (std::vector<char>{'\0', '\0', '\0', '\x1e'}));
        c.setEncoding(SHIFT_JIS);
        QVERIFY(c.setKeyCharVecs().cr.empty());
        QCOMPARE(c.getBytesPerChar(), 1);
    }
};

QTEST_GUILESS_MAIN(TestEditableDataContainer)
#include "tst_editabledatacontainer.moc"
