#include "table/tabledata.h"

#include "storage/readonlydatacontainer.h"
#include "table/findbytematcher.h"
#include "table/range.h"
#include "table/rangevector.h"
#include "table/worker.h"

#include <QFile>
#include <QMutex>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <random>

using Positions = std::vector<int>;
using Grid = std::vector<std::vector<QString>>;

namespace {

enum Flag { FCase = 1, FWord = 2, FCell = 4, FRegex = 8 };

FindReplaceQuery query(const QString& find, int flags, const QString& replace = QString()) {
    FindReplaceQuery q;
    q.findStr = find;
    q.replaceStr = replace;
    q.caseSensitive = flags & FCase;
    q.wholeWord = flags & FWord;
    q.wholeCell = flags & FCell;
    q.regex = flags & FRegex;
    return q;
}

void fill(TableData& table, const Grid& grid) {
    for (int r = 0; r < static_cast<int>(grid.size()); ++r) {
        for (int c = 0; c < static_cast<int>(grid[static_cast<std::size_t>(r)].size()); ++c)
            table.setValueRaw(r, c, grid[static_cast<std::size_t>(r)][static_cast<std::size_t>(c)], true);
    }
}

// An independent reading of the matching rules.
bool referenceMatch(const FindReplaceQuery& q, const QString& text) {
    if (q.findStr.isEmpty())
        return text.isEmpty();
    const Qt::CaseSensitivity cs = q.caseSensitive ? Qt::CaseSensitive : Qt::CaseInsensitive;
    if (q.regex) {
        QString pattern = q.findStr;
        if (q.wholeCell)
            pattern = "^" + pattern + "$";
        else if (q.wholeWord)
            pattern = "\\b" + pattern + "\\b";
        const QRegularExpression re(pattern, q.caseSensitive ? QRegularExpression::NoPatternOption
                                                             : QRegularExpression::CaseInsensitiveOption);
        return re.isValid() && re.match(text).hasMatch();
    }
    if (q.wholeCell)
        return text.compare(q.findStr, cs) == 0;
    const QString delimiters = TableData::kDefaultWordDelimiters;
    const qsizetype n = q.findStr.size();
    for (qsizetype p = 0; p + n <= text.size(); ++p) {
        if (text.mid(p, n).compare(q.findStr, cs) != 0)
            continue;
        if (!q.wholeWord)
            return true;
        const bool before = p == 0 || delimiters.contains(text.at(p - 1));
        const bool after = p + n == text.size() || delimiters.contains(text.at(p + n));
        if (before && after)
            return true;
    }
    return false;
}

} // namespace

class TestFindReplace : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }

    void matchText_data();
    void matchText();
    void edgeCases_data();
    void edgeCases();
    void replaceCell_data();
    void replaceCell();
    void concealedNeverFound();
    void transposedOrder();
    void inSelectedCells();
    void regexCompiledOnce();
    void differentialAgainstBruteForce();
    void readOnlyFindsAsEditable();
    void bytesDecideAsDecodedText();
    void requiredLiterals_data();
    void requiredLiterals();
    void canceledSearchGivesNothing();
};

void TestFindReplace::matchText_data() {
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("find");
    QTest::addColumn<int>("flags");
    QTest::addColumn<Positions>("positions");

    QTest::newRow("plain, each occurrence") << "cat concat cat"
                                            << "cat" << 0 << Positions{0, 7, 11};
    QTest::newRow("plain, no overlap") << "aaaa"
                                       << "aa" << 0 << Positions{0, 2};
    QTest::newRow("case folded") << "Cat CAT"
                                 << "cat" << 0 << Positions{0, 4};
    QTest::newRow("case sensitive") << "Cat CAT cat"
                                    << "cat" << static_cast<int>(FCase) << Positions{8};
    QTest::newRow("whole word: concat cat") << "concat cat"
                                            << "cat" << static_cast<int>(FWord) << Positions{7};
    QTest::newRow("whole word inside failed find") << "catcat cat"
                                                   << "cat" << static_cast<int>(FWord) << Positions{7};
    QTest::newRow("whole word at delimiters") << "(cat),cat."
                                              << "cat" << static_cast<int>(FWord) << Positions{1, 6};
    QTest::newRow("whole word, letters around") << "scatter"
                                                << "cat" << static_cast<int>(FWord) << Positions{};
    QTest::newRow("whole word, non-latin delimiter absent")
        << "cat\u2014cat"
        << "cat" << static_cast<int>(FWord) << Positions{};
    QTest::newRow("whole cell") << "CAT"
                                << "cat" << static_cast<int>(FCell) << Positions{0};
    QTest::newRow("whole cell, longer") << "cats"
                                        << "cat" << static_cast<int>(FCell) << Positions{};
    QTest::newRow("whole cell wins over whole word")
        << "cat dog"
        << "cat" << static_cast<int>(FCell | FWord) << Positions{};
    QTest::newRow("whole cell wins over whole word, regex")
        << "cat dog"
        << "cat" << static_cast<int>(FCell | FWord | FRegex) << Positions{};
    QTest::newRow("whole cell, regex") << "cat9"
                                       << "cat\\d" << static_cast<int>(FCell | FRegex) << Positions{0};
    QTest::newRow("regex every match") << "a1 b22 c"
                                       << "\\d+" << static_cast<int>(FRegex) << Positions{1, 4};
    QTest::newRow("regex whole word") << "concat cat"
                                      << "cat" << static_cast<int>(FWord | FRegex) << Positions{7};
    QTest::newRow("regex case folded") << "ABC"
                                       << "b" << static_cast<int>(FRegex) << Positions{1};
    QTest::newRow("regex case sensitive") << "ABC"
                                          << "b" << static_cast<int>(FRegex | FCase) << Positions{};
    QTest::newRow("invalid regex finds nothing") << "a(b"
                                                 << "(" << static_cast<int>(FRegex) << Positions{};
    QTest::newRow("empty find, empty text") << ""
                                            << "" << 0 << Positions{0};
    QTest::newRow("empty find, filled text") << "x"
                                             << "" << 0 << Positions{};
}

void TestFindReplace::matchText() {
    QFETCH(QString, text);
    QFETCH(QString, find);
    QFETCH(int, flags);
    QFETCH(Positions, positions);
    TableData table;
    Positions got;
    const FindReplaceQuery q = query(find, flags);
    QCOMPARE(table.determineMatch(q, text, got), !positions.empty());
    QCOMPARE(got, positions);
    QCOMPARE(table.determineMatch(q, text), !positions.empty());
}

void TestFindReplace::edgeCases_data() {
    QTest::addColumn<Grid>("grid");
    QTest::addColumn<QString>("find");
    QTest::addColumn<int>("flags");
    QTest::addColumn<int>("startRow");
    QTest::addColumn<int>("startCol");
    QTest::addColumn<bool>("includeStart");
    QTest::addColumn<int>("nextRow"); // -1: no match
    QTest::addColumn<int>("nextCol");
    QTest::addColumn<int>("prevRow");
    QTest::addColumn<int>("prevCol");

    const Grid grid{{"a", "cat", "b"}, {"", "x", "cat"}, {"cat", "y", "z"}};
    QTest::newRow("empty find string") << grid << "" << 0 << 0 << 0 << true << -1 << -1 << -1 << -1;
    QTest::newRow("row-major from the start") << grid << "cat" << 0 << 0 << 0 << false << 0 << 1 << 2 << 0;
    QTest::newRow("start examined last") << grid << "cat" << 0 << 0 << 1 << false << 1 << 2 << 2 << 0;
    QTest::newRow("start first when included") << grid << "cat" << 0 << 0 << 1 << true << 0 << 1 << 0 << 1;
    QTest::newRow("wraps at the end") << grid << "cat" << 0 << 2 << 0 << false << 0 << 1 << 1 << 2;
    QTest::newRow("single match found again by wrap")
        << Grid{{"a", "b"}, {"only", "c"}} << "only" << 0 << 1 << 0 << false << 1 << 0 << 1 << 0;
    QTest::newRow("start beyond the data") << grid << "cat" << 0 << 9 << 0 << false << 0 << 1 << 2 << 0;
    QTest::newRow("start column clamped") << grid << "cat" << 0 << 1 << 40 << false << 2 << 0 << 0 << 1;
    QTest::newRow("no match anywhere") << grid << "dog" << 0 << 1 << 1 << false << -1 << -1 << -1 << -1;
}

void TestFindReplace::edgeCases() {
    QFETCH(Grid, grid);
    QFETCH(QString, find);
    QFETCH(int, flags);
    QFETCH(int, startRow);
    QFETCH(int, startCol);
    QFETCH(bool, includeStart);
    QFETCH(int, nextRow);
    QFETCH(int, nextCol);
    QFETCH(int, prevRow);
    QFETCH(int, prevCol);
    TableData table;
    fill(table, grid);
    const FindReplaceQuery q = query(find, flags);
    const Range start(startRow, startCol, RangeIndexType::Raw);
    const Range next = table.findNextMatch(q, start, includeStart);
    const Range prev = table.findPrevMatch(q, start, includeStart);
    QCOMPARE(next.isValid() ? next.row : -1, nextRow);
    QCOMPARE(next.isValid() ? next.col : -1, nextCol);
    QCOMPARE(prev.isValid() ? prev.row : -1, prevRow);
    QCOMPARE(prev.isValid() ? prev.col : -1, prevCol);
    if (next.isValid()) {
        QCOMPARE(next.indexType, RangeIndexType::Raw);
        QCOMPARE(next.value.toString(), grid[std::size_t(nextRow)][std::size_t(nextCol)]);
    }
}

void TestFindReplace::replaceCell_data() {
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("find");
    QTest::addColumn<int>("flags");
    QTest::addColumn<QString>("replace");
    QTest::addColumn<QString>("expected");

    QTest::newRow("plain, all in the cell") << "cat concat cat"
                                            << "cat" << 0 << "dog"
                                            << "dog condog dog";
    QTest::newRow("plain, longer replacement") << "aXa"
                                               << "a" << 0 << "bbb"
                                               << "bbbXbbb";
    QTest::newRow("case folded") << "Cat cAT"
                                 << "cat" << 0 << "x"
                                 << "x x";
    QTest::newRow("whole word only") << "concat cat"
                                     << "cat" << static_cast<int>(FWord) << "dog"
                                     << "concat dog";
    QTest::newRow("whole cell") << "CAT"
                                << "cat" << static_cast<int>(FCell) << "dog"
                                << "dog";
    QTest::newRow("regex back-reference") << "2024-05"
                                          << "(\\d+)-(\\d+)" << static_cast<int>(FRegex) << "\\2/\\1"
                                          << "05/2024";
    QTest::newRow("regex all matches") << "a1b2"
                                       << "\\d" << static_cast<int>(FRegex) << "#"
                                       << "a#b#";
    QTest::newRow("regex case folded") << "AbA"
                                       << "a" << static_cast<int>(FRegex) << "x"
                                       << "xbx";
    QTest::newRow("empty replacement") << "x-y-z"
                                       << "-" << 0 << ""
                                       << "xyz";
}

void TestFindReplace::replaceCell() {
    QFETCH(QString, text);
    QFETCH(QString, find);
    QFETCH(int, flags);
    QFETCH(QString, replace);
    QFETCH(QString, expected);
    TableData table;
    fill(table, {{"=", text}});
    const FindReplaceQuery q = query(find, flags, replace);
    const Range next = table.replaceNextMatch(q, Range(0, 0, RangeIndexType::Raw), false);
    QVERIFY(next.isValid());
    QCOMPARE(next.col, 1);
    QCOMPARE(next.value.toString(), expected);
    QCOMPARE(next.oldValue.toString(), text);
    // Nothing is written until the caller pushes the change.
    QCOMPARE(table.getValueRaw(0, 1).toString(), text);
    const RangeVector all = table.replaceAll(q);
    QCOMPARE(all.size(), std::size_t(1));
    QCOMPARE(all.front().value.toString(), expected);
}

void TestFindReplace::concealedNeverFound() {
    TableData table;
    fill(table, {{"cat", "a"}, {"cat", "cat"}, {"b", "cat"}});
    table.concealRawRow(1);
    table.concealRawCol(1);
    const FindReplaceQuery q = query("cat", 0);
    const RangeVector all = table.findAll(q);
    QCOMPARE(all.size(), std::size_t(1));
    QCOMPARE(all.front().row, 0);
    // From the concealed row the walk goes on at the next shown one and wraps to the only match.
    for (const bool include : {false, true}) {
        const Range next = table.findNextMatch(q, Range(1, 1, RangeIndexType::Raw), include);
        QCOMPARE(next.row, 0);
        QCOMPARE(next.col, 0);
        const Range prev = table.findPrevMatch(q, Range(0, 0, RangeIndexType::Raw), include);
        QCOMPARE(prev.row, 0);
    }
    QVERIFY(table.replaceAll(query("cat", 0, "x")).size() == 1);
}

void TestFindReplace::transposedOrder() {
    // The view's row-major order: on a transposed table the stored columns are the rows.
    TableData table;
    fill(table, {{"m1", "m3"}, {"m2", "m4"}});
    table.toggleTranspose();
    const RangeVector all = table.findAll(query("m", 0));
    QStringList order;
    for (const Range& r : all)
        order << r.value.toString();
    QCOMPARE(order, QStringList({"m1", "m2", "m3", "m4"}));
    QCOMPARE(all[1].row, 0);
    QCOMPARE(all[1].col, 1);
    const Range next = table.findNextMatch(query("m", 0), Range(0, 0, RangeIndexType::Raw), false);
    QCOMPARE(next.value.toString(), QString("m2"));
}

void TestFindReplace::inSelectedCells() {
    TableData table;
    fill(table, {{"cat", "cat", "cat"}, {"cat", "cat", "cat"}});
    RangeVector selection;
    selection.push_back(Range(1, 0, RangeIndexType::Raw));
    Range block(RangeType::Table, RangeIndexType::Raw);
    block.row = 0;
    block.col = 2;
    block.endRow = 1;
    block.endCol = 2;
    selection.push_back(block);
    std::vector<int> positions;
    const FindReplaceQuery q = query("cat", 0);
    // Selected: (0,2), (1,0), (1,2) in row-major order.
    Range at = table.findMatch(q, Range(0, 2, RangeIndexType::Raw), false, true, &positions, &selection);
    QCOMPARE(std::make_pair(at.row, at.col), std::make_pair(1, 0));
    at = table.findMatch(q, at, false, true, &positions, &selection);
    QCOMPARE(std::make_pair(at.row, at.col), std::make_pair(1, 2));
    at = table.findMatch(q, at, false, true, &positions, &selection);
    QCOMPARE(std::make_pair(at.row, at.col), std::make_pair(0, 2));
    at = table.findMatch(q, at, false, false, &positions, &selection);
    QCOMPARE(std::make_pair(at.row, at.col), std::make_pair(1, 2));
    // A start outside the selection goes to the next selected cell.
    at = table.findMatch(q, Range(0, 0, RangeIndexType::Raw), false, true, &positions, &selection);
    QCOMPARE(std::make_pair(at.row, at.col), std::make_pair(0, 2));
    QCOMPARE(table.findAll(q, selection).size(), std::size_t(3));
    QCOMPARE(table.replaceAll(query("cat", 0, "dog"), selection).size(), std::size_t(3));
}

void TestFindReplace::regexCompiledOnce() {
    TableData table;
    const FindReplaceQuery q = query("c(a", FRegex);
    bool valid = true;
    const QRegularExpression* first = &table.getOrCreateRegex(q, valid);
    QVERIFY(!valid);
    const FindReplaceQuery good = query("c.t", FRegex);
    const QString pattern = table.getOrCreateRegex(good, valid).pattern();
    QVERIFY(valid);
    QCOMPARE(pattern, QString("c.t"));
    QCOMPARE(&table.getOrCreateRegex(good, valid), first);
    // An invalid pattern finds nothing and replaces nothing.
    fill(table, {{"c(a"}});
    QVERIFY(!table.findNextMatch(q, Range(0, 0, RangeIndexType::Raw), true).isValid());
    QVERIFY(table.replaceAll(q).empty());
    QVERIFY(!table.replace(q, Range(0, 0, RangeIndexType::Raw), {0}, true).isValid());
}

void TestFindReplace::differentialAgainstBruteForce() {
    // Cells beyond ASCII go the decoded way and must agree with the ASCII ones read as bytes:
    // the Kelvin sign folds to k and the long s to s.
    const QStringList words{"cat",
                            "Cat",
                            "concat",
                            "cat dog",
                            "",
                            "a.b",
                            "dog,cat",
                            "CAT!",
                            "x",
                            "catcat",
                            "Kat",
                            QStringLiteral(u"\u212Aat"),
                            QStringLiteral(u"ca\u017F"),
                            QStringLiteral(u"\u00E9 cat"),
                            QStringLiteral(u"caf\u00E9")};
    const QStringList finds{"cat",      "CAT", "a.b", "dog", "c.t",
                            "^c",       "x",   "kat", "cas", QStringLiteral(u"caf\u00E9"),
                            "c[a-z]t|k"};
    std::mt19937 rng(27);
    for (int round = 0; round < 60; ++round) {
        const int rows = 1 + int(rng() % 7);
        const int cols = 1 + int(rng() % 5);
        Grid grid(static_cast<std::size_t>(rows), std::vector<QString>(static_cast<std::size_t>(cols)));
        for (auto& row : grid) {
            for (QString& cell : row)
                cell = words[int(rng() % std::size_t(words.size()))];
        }
        grid.back().back() = "last"; // the table's size is the grid's
        TableData table;
        fill(table, grid);
        std::vector<char> rowHidden(static_cast<std::size_t>(rows));
        std::vector<char> colHidden(static_cast<std::size_t>(cols));
        for (int r = 0; r < rows; ++r) {
            if (rng() % 4 == 0) {
                table.concealRawRow(r);
                rowHidden[std::size_t(r)] = 1;
            }
        }
        for (int c = 0; c < cols; ++c) {
            if (rng() % 5 == 0) {
                table.concealRawCol(c);
                colHidden[std::size_t(c)] = 1;
            }
        }
        std::vector<std::pair<int, int>> order; // shown cells in view order
        for (int r = 0; r < rows; ++r) {
            for (int c = 0; c < cols; ++c) {
                if (!rowHidden[std::size_t(r)] && !colHidden[std::size_t(c)])
                    order.emplace_back(r, c);
            }
        }
        for (int flags = 0; flags < 16; ++flags) {
            const FindReplaceQuery q = query(finds[int(rng() % std::size_t(finds.size()))], flags, "#");
            std::vector<std::pair<int, int>> expected;
            for (const auto& [r, c] : order) {
                if (referenceMatch(q, grid[std::size_t(r)][std::size_t(c)]))
                    expected.emplace_back(r, c);
            }
            const RangeVector all = table.findAll(q);
            std::vector<std::pair<int, int>> got;
            for (const Range& m : all)
                got.emplace_back(m.row, m.col);
            QCOMPARE(got, expected);

            // Find next and previous from every shown cell against a walk of the list.
            for (std::size_t i = 0; i < order.size(); ++i) {
                const Range start(order[i].first, order[i].second, RangeIndexType::Raw);
                const std::size_t n = order.size();
                std::pair<int, int> wantNext{-1, -1}, wantPrev{-1, -1};
                for (std::size_t s = 1; s <= n; ++s) {
                    const auto& cell = order[(i + s) % n];
                    if (referenceMatch(q, grid[std::size_t(cell.first)][std::size_t(cell.second)])) {
                        wantNext = cell;
                        break;
                    }
                }
                for (std::size_t s = 1; s <= n; ++s) {
                    const auto& cell = order[(i + n - s % n) % n];
                    if (referenceMatch(q, grid[std::size_t(cell.first)][std::size_t(cell.second)])) {
                        wantPrev = cell;
                        break;
                    }
                }
                const Range next = table.findNextMatch(q, start, false);
                const Range prev = table.findPrevMatch(q, start, false);
                QCOMPARE(next.isValid() ? std::make_pair(next.row, next.col) : std::make_pair(-1, -1),
                         wantNext);
                QCOMPARE(prev.isValid() ? std::make_pair(prev.row, prev.col) : std::make_pair(-1, -1),
                         wantPrev);
            }

            // Replace all, cell by cell, against a reference replacement of the plain forms.
            if (!q.regex) {
                const RangeVector replaced = table.replaceAll(q);
                std::size_t k = 0;
                for (const auto& [r, c] : expected) {
                    const QString& old = grid[std::size_t(r)][std::size_t(c)];
                    QString want = old;
                    if (q.wholeCell) {
                        want = q.replaceStr;
                    } else {
                        std::vector<int> at;
                        table.determineMatch(q, old, at);
                        for (auto it = at.rbegin(); it != at.rend(); ++it)
                            want.replace(*it, q.findStr.size(), q.replaceStr);
                    }
                    if (want == old)
                        continue;
                    QVERIFY(k < replaced.size());
                    QCOMPARE(std::make_pair(replaced[k].row, replaced[k].col), std::make_pair(r, c));
                    QCOMPARE(replaced[k].value.toString(), want);
                    QCOMPARE(replaced[k].oldValue.toString(), old);
                    QVERIFY(!want.contains(q.findStr, Qt::CaseInsensitive) || q.wholeWord);
                    ++k;
                }
                QCOMPARE(k, replaced.size());
            }
        }
    }
}

void TestFindReplace::readOnlyFindsAsEditable() {
    QTemporaryDir dir;
    const QString path = dir.filePath("find.csv");
    QByteArray bytes;
    for (int r = 0; r < 3000; ++r)
        bytes += QByteArray::number(r) + ",word" + QByteArray::number(r % 7) + ",\"cat, " +
                 QByteArray::number(r) + "\"\n";
    {
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(bytes);
    }
    TableData editable;
    editable.loadCSV(path, false, TableData::Editable, ",", ",", UTF_8, RFC_4180);
    TableData readOnly;
    readOnly.loadCSV(path, false, TableData::ReadOnly, ",", ",", UTF_8, RFC_4180);
    QCOMPARE(readOnly.getDataContainerType(), TableData::ReadOnly);
    readOnly.concealRawRow(5);
    editable.concealRawRow(5);
    for (const FindReplaceQuery& q : {query("word3", FCell), query("cat, 5", 0), query("^\\d*7$", FRegex)}) {
        const RangeVector a = editable.findAll(q);
        const RangeVector b = readOnly.findAll(q);
        QVERIFY(!a.empty());
        QCOMPARE(a.size(), b.size());
        for (std::size_t i = 0; i < a.size(); ++i) {
            QCOMPARE(std::make_pair(a[i].row, a[i].col), std::make_pair(b[i].row, b[i].col));
            QCOMPARE(a[i].value, b[i].value);
        }
        // The read-only walk reads blocks of rows ahead, both ways and round the end.
        for (const int start : {0, 5, 1500, 2998, 2999}) {
            for (const bool forward : {true, false}) {
                const Range from(start, 1, RangeIndexType::Raw);
                const Range got =
                    forward ? readOnly.findNextMatch(q, from, false) : readOnly.findPrevMatch(q, from, false);
                const Range want =
                    forward ? editable.findNextMatch(q, from, false) : editable.findPrevMatch(q, from, false);
                QCOMPARE(std::make_pair(got.row, got.col), std::make_pair(want.row, want.col));
                QCOMPARE(got.value, want.value);
            }
        }
    }
}

// The byte verdicts against the decoded path, over random cells of ASCII, text beyond it and
// broken UTF-8, for every flag combination; in UTF-8 and Latin-1.
void TestFindReplace::bytesDecideAsDecodedText() {
    const std::vector<QByteArray> pieces{"cat",
                                         "CAT",
                                         "Cat",
                                         "k",
                                         "K",
                                         "s",
                                         " ",
                                         ",",
                                         ".",
                                         "-",
                                         "t1",
                                         "t42",
                                         "a.b",
                                         "dog",
                                         "x",
                                         "xx",
                                         "\xE2\x84\xAA" /* Kelvin sign */,
                                         "\xC5\xBF" /* long s */,
                                         "\xC3\xA9",
                                         "\xF0\x9F\x98\x80",
                                         "\xC3" /* cut */,
                                         "\x80",
                                         "\xFF",
                                         "ca\xC3",
                                         QByteArray("\0", 1)};
    const QStringList finds{"cat",
                            "CAT",
                            "k",
                            "s",
                            "ss",
                            "t",
                            "a.b",
                            "c.t",
                            "t\\d+",
                            "^c",
                            "[ck]at",
                            "(ca)+t",
                            "ca?t",
                            "x{2}",
                            "\\.",
                            "c\\w",
                            "a|b",
                            "\\bcat",
                            "cat$",
                            QStringLiteral(u"\u00E9"),
                            QStringLiteral(u"\u212A"),
                            "(",
                            "x y",
                            "t\\b",
                            "\\d"};
    std::mt19937 rng(2727);
    TableData table;
    int decided = 0;
    for (const EncodingType encoding : {UTF_8, ISO_8859_1}) {
        for (const QString& find : finds) {
            for (int flags = 0; flags < 16; ++flags) {
                const FindReplaceQuery q = query(find, flags);
                bool valid = false;
                const QRegularExpression& re = table.getOrCreateRegex(q, valid);
                const FindByteMatcher matcher(q, encoding, false, table.wordDelimiterLookupTable(),
                                              q.regex && valid ? &re : nullptr);
                for (int round = 0; round < 150; ++round) {
                    QByteArray bytes;
                    const int n = int(rng() % 5);
                    for (int i = 0; i < n; ++i)
                        bytes += pieces[rng() % pieces.size()];
                    const FindByteMatcher::Verdict verdict =
                        matcher.classify(std::string_view(bytes.constData(), std::size_t(bytes.size())));
                    if (verdict == FindByteMatcher::Undecided)
                        continue;
                    ++decided;
                    const QString text = TableData::decodeCell(
                        std::string_view(bytes.constData(), std::size_t(bytes.size())), encoding, nullptr);
                    QCOMPARE(verdict == FindByteMatcher::Match, table.determineMatch(q, text));
                }
            }
        }
    }
    // Most random cells are ASCII, and those the bytes decide.
    QVERIFY(decided > 50000);
}

void TestFindReplace::requiredLiterals_data() {
    QTest::addColumn<QString>("pattern");
    QTest::addColumn<QStringList>("literals");
    QTest::newRow("plain") << "cat" << QStringList{"cat"};
    QTest::newRow("class between") << "c[aeiou]t\\d" << QStringList{"c", "t"};
    QTest::newRow("optional") << "ca?t" << QStringList{"c", "t"};
    QTest::newRow("at least once") << "ab+c" << QStringList{"ab", "c"};
    QTest::newRow("star, braces") << "xa*b{2}cd" << QStringList{"x", "cd"};
    QTest::newRow("escaped punctuation") << "\\.txt" << QStringList{".txt"};
    QTest::newRow("optional group") << "cat(s)?dog" << QStringList{"cat", "dog"};
    QTest::newRow("group with a class") << "a([)]|b)c" << QStringList{};
    QTest::newRow("nested group") << "a(b(c)d)e" << QStringList{"a", "e"};
    QTest::newRow("class with bracket") << "[]a]bc" << QStringList{"bc"};
    QTest::newRow("anchors, dot") << "^a.b$" << QStringList{"a", "b"};
    QTest::newRow("alternatives") << "cat|dog" << QStringList{};
    QTest::newRow("inline option") << "(?i)cat" << QStringList{};
    QTest::newRow("code point") << "\\x41bc" << QStringList{};
    QTest::newRow("back-reference") << "(a)\\1" << QStringList{};
    QTest::newRow("posix class") << "[[:alpha:]]x" << QStringList{};
    QTest::newRow("lazy quantifier") << "ab*?c" << QStringList{"a", "c"};
    QTest::newRow("not a quantifier") << "a{x}" << QStringList{};
    QTest::newRow("unclosed") << "a(b" << QStringList{};
    QTest::newRow("beyond ASCII") << QStringLiteral(u"caf\u00E9s") << QStringList{"caf", "s"};
}

void TestFindReplace::requiredLiterals() {
    QFETCH(QString, pattern);
    QFETCH(QStringList, literals);
    QStringList got;
    for (const std::string& literal : FindByteMatcher::requiredLiterals(pattern))
        got << QString::fromStdString(literal);
    QCOMPARE(got, literals);
}

void TestFindReplace::canceledSearchGivesNothing() {
    TableData table;
    fill(table, Grid{{"cat", "dog"}, {"cat", "cat"}});
    auto flag = std::make_shared<bool>(true);
    Worker canceled(flag, std::make_shared<QMutex>());
    std::vector<FoundCell> out{{0, 0, "stale", ""}};
    QVERIFY(!table.findAllCells(query("cat", 0, "x"), out, true, &canceled));
    QVERIFY(out.empty());
    QVERIFY(table.findAll(query("cat", 0), &canceled).empty());
    *flag = false;
    QVERIFY(table.findAllCells(query("cat", 0, "x"), out, true, &canceled));
    QCOMPARE(out.size(), std::size_t(3));
    QCOMPARE(out[1].oldText, QString("cat"));
    QCOMPARE(out[1].text, QString("x"));
}

QTEST_GUILESS_MAIN(TestFindReplace)
#include "tst_findreplace.moc"
