#include "storage/bytescan.h"
#include "storage/containertesthelpers.h"
#include "storage/piecereader.h"
#include "storage/readonlydatacontainer.h"

#include <QFile>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

#include <QRandomGenerator>

#include <memory>

using Cells = std::vector<std::vector<char>>;

namespace {

// ASCII text widened to the code units of a 2- or 4-byte encoding.
QByteArray widen(const QByteArray& ascii, EncodingType encoding) {
    const int width = encoding >= UTF_16 && encoding <= UTF_16_GUESSED_LE ? 2 : 4;
    const bool big = encoding == UTF_16BE || encoding == UTF_32BE;
    QByteArray out;
    for (char c : ascii) {
        QByteArray unit(width, '\0');
        unit[big ? width - 1 : 0] = c;
        out += unit;
    }
    return out;
}

struct Fixture : TempFiles {
    static std::unique_ptr<ReadOnlyDataContainer> open(const QString& path, char delimiter = ',',
                                                       ParsingStandard standard = RFC_4180,
                                                       EncodingType encoding = UTF_8) {
        return openAs<ReadOnlyDataContainer>(path, delimiter, standard, encoding);
    }
};

// The index as the machine gives it, one byte at a time: row and cell starts happen only where
// a character is there to start them; a short row's missing cells point at its line ending.
struct PlainIndex {
    qint64 rows = 0;
    qint64 cols = 0;
    std::vector<ReadOnlyDataContainer::Strip> strips;
};

PlainIndex plainIndex(const QByteArray& text, char delimiter, bool quoting) {
    const auto isDelim = [&](char c) { return delimiter != 0 && c == delimiter; };
    const auto isTerm = [&](char c) { return !isDelim(c) && (c == '\n' || c == '\r' || c == '\x1e'); };
    const auto isQuote = [&](char c) { return quoting && c == '"' && !isDelim(c); };
    enum Kind { RowStart, CellStart, RowEnd };
    std::vector<std::pair<Kind, qint64>> events;
    enum { StartRow, StartCell, Plain, Quoted, AfterQuote, AfterCr } state = StartRow;
    const qint64 n = text.size();
    for (qint64 i = 0; i < n;) {
        const char c = text[i];
        switch (state) {
        case StartRow:
            events.push_back({RowStart, i});
            state = StartCell;
            break;
        case StartCell:
            events.push_back({CellStart, i});
            state = isQuote(c) ? Quoted : Plain;
            if (isDelim(c) || isTerm(c))
                state = Plain; // ends at once, below
            else
                ++i;
            break;
        case Plain:
        case AfterQuote:
            if (isDelim(c)) {
                state = StartCell;
            } else if (isTerm(c)) {
                events.push_back({RowEnd, i});
                state = c == '\r' ? AfterCr : StartRow;
            } else {
                state = state == AfterQuote && isQuote(c) ? Quoted : Plain;
            }
            ++i;
            break;
        case Quoted:
            if (isQuote(c))
                state = AfterQuote;
            ++i;
            break;
        case AfterCr:
            if (c == '\n')
                ++i;
            state = StartRow;
            break;
        }
    }
    if (state == StartCell)
        events.push_back({CellStart, n}); // a delimiter at the end opens one more, empty cell
    PlainIndex index;
    qint64 cells = 0;
    for (const auto& [kind, pos] : events) {
        if (kind == RowStart) {
            index.cols = std::max(index.cols, cells);
            cells = 0;
            ++index.rows;
        } else if (kind == CellStart) {
            ++cells;
        }
    }
    if (index.rows > 0)
        index.cols = std::max(index.cols, cells); // the last row's width counts too
    if (delimiter == 0 && index.rows > 0)
        index.cols = 1;
    qint64 number = -1;
    qint64 row = -1, col = -1, lineEnd = 0;
    for (const auto& [kind, pos] : events) {
        if (kind == RowEnd) {
            lineEnd = pos;
        } else if (kind == RowStart) {
            for (qint64 missing = 0; row >= 0 && missing < index.cols - 1 - col; ++missing) {
                if (++number % 25 == 0)
                    index.strips.push_back({int(row), int(col + missing + 1), lineEnd});
            }
            ++row;
            col = -1;
        } else {
            ++col;
            if (++number % 25 == 0)
                index.strips.push_back({int(row), int(col), pos});
        }
    }
    return index;
}

// Text that puts every kind of byte the index cares about at every place in a 64-byte block:
// long plain runs, quoted cells holding delimiters, line breaks and doubled quotes, quotes that
// don't open a cell, text behind a closing quote, every line ending and runs of delimiters.
QByteArray trickyText(QRandomGenerator& rng, char delimiter, int size) {
    const char d = delimiter ? delimiter : ',';
    const QByteArray pieces[] = {"\r\n", "\n", "\r", "\n\r", "\r\r", "\x1e", "\"", "\"\"", "x\"y", "\"q\"z"};
    QByteArray out;
    while (out.size() < size) {
        const int kind = rng.bounded(14);
        if (kind < 4) {
            out += QByteArray(rng.bounded(1, 90), char('a' + rng.bounded(26)));
        } else if (kind < 7) {
            out += d;
        } else if (kind == 7) {
            out += QByteArray(rng.bounded(20, 70), d); // many cells in one block
        } else if (kind == 8) {
            QByteArray inner = QByteArray(rng.bounded(0, 70), 'i');
            for (int k = rng.bounded(4); k > 0; --k)
                inner.insert(rng.bounded(int(inner.size()) + 1), pieces[rng.bounded(6)] + d + "\"\"");
            out += d + ("\"" + inner + "\"");
        } else {
            out += pieces[rng.bounded(int(std::size(pieces)))];
        }
    }
    return out;
}

// Rows of one width, the common shape of a real file, with now and then a quoted cell or a row
// of another width.
QByteArray regularText(QRandomGenerator& rng, char delimiter, int size) {
    const char d = delimiter ? delimiter : ',';
    const int width = rng.bounded(1, 30);
    const QByteArray endings[] = {"\n", "\r\n", "\r"};
    const QByteArray ending = endings[rng.bounded(3)];
    QByteArray out;
    while (out.size() < size) {
        const int cells = rng.bounded(12) == 0 ? rng.bounded(1, 40) : width;
        for (int c = 0; c < cells; ++c) {
            if (c)
                out += d;
            if (rng.bounded(8) == 0)
                out += "\"" + QByteArray(rng.bounded(6), 'q') + d + "\"\"" + ending + "\"";
            else
                out += QByteArray(rng.bounded(12), char('a' + rng.bounded(26)));
        }
        out += ending;
    }
    return out;
}

} // namespace

class TestReadOnlyDataContainer : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }
    void cleanup() {
        ReadOnlyDataContainer::setPieceSizeForTesting(0);
        ReadOnlyDataContainer::setInstructionSetForTesting(0);
    }

    void readsCells_data();
    void readsCells();
    void wideEncodings_data();
    void wideEncodings();
    void paddingStripsPointAtLineEnding();
    void piecesOfEverySize();
    void blockScanMatchesPlainMachine_data();
    void blockScanMatchesPlainMachine();
    void columnReadMatchesCells_data() { blockScanMatchesPlainMachine_data(); }
    void columnReadMatchesCells();
    void rowsColsAndOrder();
    void editingCallsChangeNothing();
    void saveOverTheFileBeingRead_data();
    void saveOverTheFileBeingRead();
    void transposedSave();
    void cancelStopsBothPasses();
    void progressCoversThreeThirds();
    void fileWidenedBetweenPassesFails();
    void unreadableFile();
    void pieceReaderReadsAheadInOrder();
};

// Each case: file text, delimiter, standard, rows, cols, then "row,col=value" checks.
void TestReadOnlyDataContainer::readsCells_data() {
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<char>("delimiter");
    QTest::addColumn<int>("standard");
    QTest::addColumn<int>("rows");
    QTest::addColumn<int>("cols");
    QTest::addColumn<QList<QByteArray>>("checks"); // "r c value"

    QByteArray wide;
    for (int i = 0; i < 30; ++i)
        wide += (i ? "," : "") + QByteArray::number(i);
    QTest::newRow("rows of 3, 1 and 30 cells: the last row widens the table")
        << QByteArray("a,b,c\nd\n" + wide + "\n") << ',' << 0 << 3 << 30
        << QList<QByteArray>{"0 2 c", "0 3 ",  "0 29 ",   "1 0 d", "1 1 ",
                             "2 2 2", "2 3 3", "2 29 29", "2 30 ", "3 0 "};
    QTest::newRow("last row wider, without a final line ending")
        << QByteArray("a\nb,c,d") << ',' << 0 << 2 << 3
        << QList<QByteArray>{"0 0 a", "0 1 ", "1 2 d", "1 1 c"};
    QTest::newRow("a delimiter at the end opens an empty cell")
        << QByteArray("a\nb,") << ',' << 0 << 2 << 2 << QList<QByteArray>{"1 0 b", "1 1 "};
    QTest::newRow("rfc 4180 undoes doubled quotes")
        << QByteArray("\"a\"\"b\",c\nx,y\n") << ',' << 0 << 2 << 2 << QList<QByteArray>{"0 0 a\"b", "0 1 c"};
    QTest::newRow("sparse quotes reads quoted cells as the loader does")
        << QByteArray("\"a\"\"b\",c\nx,y\"z,\"w\n") << ',' << 3 << 2 << 3
        << QList<QByteArray>{"0 0 a\"b", "1 1 y\"z", "1 2 \"w"};
    QTest::newRow("ascii separated reads quoted cells as the loader does")
        << QByteArray("\"a\x1f\"\x1f"
                      "b\x1ex\x1fy\x1e")
        << '\x1f' << 4 << 2 << 2 << QList<QByteArray>{"0 0 a\x1f", "0 1 b", "1 1 y"};
    QTest::newRow("all quotes leaves unquoted cells whole")
        << QByteArray("\"a\",abc,\"\"\nx,y,z\n") << ',' << 2 << 2 << 3
        << QList<QByteArray>{"0 0 a", "0 1 abc", "0 2 ", "1 0 x"};
    QTest::newRow("rfc 4180: a quote in the middle of a quoted cell keeps it as it stands")
        << QByteArray("\"x\"y\",b\n\"x\"\"\"\n") << ',' << 0 << 2 << 2
        << QList<QByteArray>{"0 0 \"x\"y\"", "0 1 b", "1 0 x\""};
    QTest::newRow("delimiter only: quotes are bytes")
        << QByteArray("\"a,b\"\nx,y\n") << ',' << 1 << 2 << 2 << QList<QByteArray>{"0 0 \"a", "0 1 b\""};
    QTest::newRow("quoted delimiter and line break")
        << QByteArray("\"a,\nb\",c\nd,e\n") << ',' << 0 << 2 << 2
        << QList<QByteArray>{"0 0 a,\nb", "0 1 c", "1 0 d", "1 1 e"};
    QTest::newRow("text behind a closing quote keeps its quotes")
        << QByteArray("\"abc\"def,x\n1,2\n") << ',' << 0 << 2 << 2
        << QList<QByteArray>{"0 0 \"abc\"def", "0 1 x"};
    QTest::newRow("quote inside a cell is a byte")
        << QByteArray("ab\"c,d\n1,2\n") << ',' << 0 << 2 << 2 << QList<QByteArray>{"0 0 ab\"c", "0 1 d"};
    QTest::newRow("crlf, lone cr and lf cr") << QByteArray("a,b\r\nc,d\re,f\n\rg") << ',' << 0 << 5 << 2
                                             << QList<QByteArray>{"1 0 c", "2 1 f", "3 0 ", "4 0 g"};
    QTest::newRow("empty lines and a final blank line")
        << QByteArray("a\n\nb\n\n") << ',' << 0 << 4 << 1
        << QList<QByteArray>{"0 0 a", "1 0 ", "2 0 b", "3 0 "};
    QTest::newRow("one past the last row") << QByteArray("a,b\nc,d\n") << ',' << 0 << 2 << 2
                                           << QList<QByteArray>{"2 0 ", "2 1 ", "1 1 d", "5 5 "};
    QTest::newRow("utf-8 byte order mark isn't in the first cell")
        << QByteArray("\xEF\xBB\xBFh1,h2\nv1,v2\n") << ',' << 0 << 2 << 2
        << QList<QByteArray>{"0 0 h1", "1 1 v2"};
    QTest::newRow("unclosed quote swallows the rest") << QByteArray("a,b\n\"c,d\ne,f\n") << ',' << 0 << 2 << 2
                                                      << QList<QByteArray>{"1 0 \"c,d\ne,f", "1 1 "};
    QTest::newRow("no delimiter: one cell per line") << QByteArray("a,b\n\"c\nd\n") << '\0' << 0 << 3 << 1
                                                     << QList<QByteArray>{"0 0 a,b", "1 0 \"c", "2 0 d"};
    QTest::newRow("a single line is a row of its cells")
        << QByteArray("a,b,c\n") << ',' << 0 << 1 << 3 << QList<QByteArray>{"0 0 a", "0 2 c", "0 3 "};
    QTest::newRow("a single line without a line ending")
        << QByteArray("h1;h2") << ';' << 0 << 1 << 2 << QList<QByteArray>{"0 0 h1", "0 1 h2"};
    QTest::newRow("delimiter wins over a terminator byte")
        << QByteArray("a\nb\rc\nd\r") << '\n'
        << 0 << 2 << 2 << QList<QByteArray>{"0 1 b", "1 0 c", "1 1 d"};
}

void TestReadOnlyDataContainer::readsCells() {
    QFETCH(QByteArray, content);
    QFETCH(char, delimiter);
    QFETCH(int, standard);
    QFETCH(int, rows);
    QFETCH(int, cols);
    QFETCH(QList<QByteArray>, checks);
    Fixture fx;
    auto c = fx.open(fx.write(content), delimiter, static_cast<ParsingStandard>(standard));
    QVERIFY(c);
    QCOMPARE(c->numRows(), rows);
    QCOMPARE(c->numCols(), cols);
    for (const QByteArray& check : checks) {
        const QList<QByteArray> parts = check.split(' ');
        const int r = parts[0].toInt(), col = parts[1].toInt();
        const QByteArray expected = check.mid(parts[0].size() + parts[1].size() + 2);
        QCOMPARE(show(c->getValue(r, col, false)), expected);
        QCOMPARE(c->numColsInRow(r), cols);
    }
}

void TestReadOnlyDataContainer::wideEncodings_data() {
    QTest::addColumn<int>("encoding");
    QTest::addColumn<bool>("withBom");
    QTest::addColumn<char>("delimiter");
    QTest::newRow("utf-16le") << int(UTF_16LE) << false << ',';
    QTest::newRow("utf-16be with bom") << int(UTF_16BE) << true << ',';
    QTest::newRow("utf-32le") << int(UTF_32LE) << false << ',';
    QTest::newRow("utf-32be with bom") << int(UTF_32BE) << true << ',';
    QTest::newRow("utf-16 unknown order, le bom") << int(UTF_16) << true << ',';
    QTest::newRow("utf-16le no delimiter") << int(UTF_16LE) << false << '\0';
    QTest::newRow("utf-32be no delimiter") << int(UTF_32BE) << true << '\0';
}

// The same text in a wide encoding reads as the widened cells of its single-byte reading.
void TestReadOnlyDataContainer::wideEncodings() {
    QFETCH(int, encoding);
    QFETCH(bool, withBom);
    QFETCH(char, delimiter);
    const auto type = static_cast<EncodingType>(encoding);
    QByteArray text;
    for (int r = 0; r < 40; ++r) {
        for (int k = 0; k <= r % 7; ++k)
            text +=
                (k ? "," : "") + (k == 2 ? QByteArray("\"q,\"\"x\"\"\r\ny\"") : QByteArray::number(r * k));
        text += r % 5 == 0 ? "\r\n" : "\n";
    }
    Fixture fx;
    ReadOnlyDataContainer::setPieceSizeForTesting(36);
    auto narrow = fx.open(fx.write(text), delimiter);
    QByteArray content = widen(text, type);
    if (withBom) {
        const EncodingType bomType = type == UTF_16 ? UTF_16LE : type;
        const std::vector<char> bom = AbstractDataContainer::getEncodingBom(bomType);
        content.prepend(QByteArray(bom.data(), static_cast<qsizetype>(bom.size())));
    }
    auto wideContainer = fx.open(fx.write(content), delimiter, RFC_4180, type);
    QVERIFY(narrow && wideContainer);
    QCOMPARE(wideContainer->getHasBom(), withBom);
    QCOMPARE(wideContainer->numRows(), narrow->numRows());
    QCOMPARE(wideContainer->numCols(), narrow->numCols());
    const EncodingType unitType = type == UTF_16 ? UTF_16LE : type;
    for (int r = 0; r <= narrow->numRows(); ++r) {
        for (int col = 0; col <= narrow->numCols(); ++col)
            QCOMPARE(show(wideContainer->getValue(r, col, false)),
                     widen(show(narrow->getValue(r, col, false)), unitType));
    }
}

// Rows of 60 cells and one of 1: the short row's missing cells cross two multiples of 25, so
// those strips point at its line ending and read as nothing, and the rows behind are still found.
void TestReadOnlyDataContainer::paddingStripsPointAtLineEnding() {
    QByteArray wide;
    for (int i = 0; i < 60; ++i)
        wide += (i ? "," : "") + QByteArray::number(i);
    const QByteArray content = wide + "\r\nshort\r\n" + wide + "\n" + wide + "\n";
    Fixture fx;
    auto c = fx.open(fx.write(content));
    QVERIFY(c);
    QCOMPARE(c->numCols(), 60);
    const qint64 lineEnd = content.indexOf("short") + 5;
    int pointing = 0;
    for (const auto& strip : c->getStrips()) {
        if (strip.row == 1 && strip.col > 0) {
            QCOMPARE(strip.offset, lineEnd);
            ++pointing;
        }
    }
    QCOMPARE(pointing, 2); // cell numbers 75 and 100: columns 15 and 40 of row 1
    QCOMPARE(show(c->getValue(1, 0, false)), QByteArray("short"));
    for (int col = 1; col < 60; ++col)
        QVERIFY(c->getValue(1, col, false).empty());
    for (int col = 0; col < 60; ++col)
        QCOMPARE(show(c->getValue(2, col, false)), QByteArray::number(col));
    QCOMPARE(c->getStrips().size(), size_t(4 * 60 / 25 + 1));
}

// The same file indexed in pieces of every small size gives the same index and cells.
void TestReadOnlyDataContainer::piecesOfEverySize() {
    QByteArray content = "\xEF\xBB\xBF";
    for (int r = 0; r < 60; ++r) {
        for (int k = 0; k < 1 + (r * 7) % 31; ++k)
            content += (k ? ";" : "") + (k % 4 == 3 ? QByteArray("\"a;\r\n\"\"b\"") : QByteArray::number(k));
        content += r % 3 ? "\n" : "\r\n";
    }
    Fixture fx;
    const QString path = fx.write(content);
    auto reference = fx.open(path, ';');
    QVERIFY(reference);
    // The same counts and the same strips.
    const auto sameIndex = [](const ReadOnlyDataContainer& a, const ReadOnlyDataContainer& b) {
        QCOMPARE(a.numRows(), b.numRows());
        QCOMPARE(a.numCols(), b.numCols());
        QCOMPARE(a.getStrips().size(), b.getStrips().size());
        for (size_t i = 0; i < a.getStrips().size(); ++i) {
            QCOMPARE(a.getStrips()[i].offset, b.getStrips()[i].offset);
            QCOMPARE(a.getStrips()[i].row, b.getStrips()[i].row);
            QCOMPARE(a.getStrips()[i].col, b.getStrips()[i].col);
        }
    };
    // The file indexed in pieces of `piece` bytes gives `expected`'s index.
    const auto checkPieces = [&](const QString& file, qint64 piece, const ReadOnlyDataContainer& expected) {
        ReadOnlyDataContainer::setPieceSizeForTesting(piece);
        auto c = fx.open(file, ';');
        QVERIFY(c);
        sameIndex(*c, expected);
    };
    for (qint64 piece = 4; piece <= 80 && !QTest::currentTestFailed(); piece += 4)
        checkPieces(path, piece, *reference);
    QCOMPARE(show(reference->getValue(1, 3, false)), QByteArray("a;\r\n\"b"));
    QCOMPARE(show(reference->getValue(0, 0, false)), QByteArray("0"));

    // Pieces from 64 KiB on are read ahead on a second thread: the same index as pieces read
    // one after the other.
    QByteArray large;
    while (large.size() < 400000)
        large += content.mid(3);
    const QString largePath = fx.write(large);
    ReadOnlyDataContainer::setPieceSizeForTesting(65532);
    auto direct = fx.open(largePath, ';');
    QVERIFY(direct);
    checkPieces(largePath, 65536, *direct);
    checkPieces(largePath, 131072, *direct);
}

void TestReadOnlyDataContainer::blockScanMatchesPlainMachine_data() {
    QTest::addColumn<char>("delimiter");
    QTest::addColumn<int>("standard");
    QTest::addColumn<int>("instructions");
    const struct {
        const char* name;
        char delimiter;
        ParsingStandard standard;
    } kinds[] = {{"comma, rfc 4180", ',', RFC_4180},
                 {"semicolon, delimiter only", ';', DELIMITER_ONLY},
                 {"tab, all quotes", '\t', ALL_QUOTES},
                 {"unit separator, ascii separated", '\x1f', ASCII_SEPARATED_VALUES},
                 {"delimiter is LF", '\n', RFC_4180},
                 {"delimiter is CR", '\r', RFC_4180},
                 {"delimiter is the record separator", '\x1e', SPARSE_QUOTES},
                 {"delimiter is the quote", '"', RFC_4180},
                 {"no delimiter", '\0', RFC_4180}};
    // Each instruction set the processor has; the baseline always.
    const char* const sets[] = {"baseline", "avx2", "avx-512"};
    for (int level = 1; level <= 3; ++level) {
#if defined(ORVANE_BYTESCAN_X86)
        if ((level == 2 && !ByteScan::hasAvx2()) || (level == 3 && !ByteScan::hasAvx512()))
            break;
#else
        if (level > 1)
            break;
#endif
        for (const auto& k : kinds)
            QTest::addRow("%s, %s", k.name, sets[level - 1]) << k.delimiter << int(k.standard) << level;
    }
}

// The index, which skips through whole blocks by their byte masks and falls back to single
// events where a block needs it, against the machine run one byte at a time: the same text moved
// through every offset of a block, read whole and in small pieces. Half the files are regular
// rows, half a mix of every kind of line ending and of quotes in and out of place.
void TestReadOnlyDataContainer::blockScanMatchesPlainMachine() {
    QFETCH(char, delimiter);
    QFETCH(int, standard);
    QFETCH(int, instructions);
    ReadOnlyDataContainer::setInstructionSetForTesting(instructions);
    const bool quoting = delimiter != 0 && standard != DELIMITER_ONLY;
    Fixture fx;
    QRandomGenerator rng(quint32(uchar(delimiter)) * 131 + quint32(standard));
    for (int file = 0; file < 4; ++file) {
        const int size = rng.bounded(300, 1500);
        const QByteArray body =
            file % 2 ? trickyText(rng, delimiter, size) : regularText(rng, delimiter, size);
        for (int shift = 0; shift < 64; ++shift) {
            const QByteArray text = QByteArray(shift, 'p') + body;
            const PlainIndex expected = plainIndex(text, delimiter, quoting);
            const QString path = fx.write(text);
            for (qint64 piece : {qint64(0), 4 * qint64(rng.bounded(1, 40))}) {
                ReadOnlyDataContainer::setPieceSizeForTesting(piece);
                auto c = fx.open(path, delimiter, static_cast<ParsingStandard>(standard));
                QVERIFY(c);
                const QByteArray where = "file " + QByteArray::number(file) + ", shift " +
                                         QByteArray::number(shift) + ", piece " + QByteArray::number(piece);
                QVERIFY2(c->numRows() == expected.rows, where.constData());
                QVERIFY2(c->numCols() == expected.cols, where.constData());
                const auto& strips = c->getStrips();
                QVERIFY2(strips.size() == expected.strips.size(), where.constData());
                for (size_t i = 0; i < strips.size(); ++i) {
                    const auto& a = strips[i];
                    const auto& b = expected.strips[i];
                    QVERIFY2(a.row == b.row && a.col == b.col && a.offset == b.offset,
                             (where + ", strip " + QByteArray::number(qulonglong(i))).constData());
                }
            }
            QFile::remove(path);
        }
    }
}

// A whole column in one pass, as the sort reads its keys, against the cells read one by one: the
// same tricky and regular texts, from odd offsets, behind a byte order mark, in pieces small
// enough that cells straddle them, and once large enough for the read-ahead thread.
void TestReadOnlyDataContainer::columnReadMatchesCells() {
    QFETCH(char, delimiter);
    QFETCH(int, standard);
    QFETCH(int, instructions);
    ReadOnlyDataContainer::setInstructionSetForTesting(instructions);
    Fixture fx;
    QRandomGenerator rng(quint32(uchar(delimiter)) * 17 + quint32(standard));
    for (int file = 0; file < 6; ++file) {
        const bool large = file == 5;
        const int size = large ? 100000 : rng.bounded(100, 1500);
        QByteArray text = file % 2 ? trickyText(rng, delimiter, size) : regularText(rng, delimiter, size);
        text.prepend(QByteArray(rng.bounded(64), 'p'));
        if (file == 2)
            text.prepend("\xEF\xBB\xBF");
        const QString path = fx.write(text);
        for (qint64 piece : {qint64(0), large ? qint64(65536) : 4 * qint64(rng.bounded(1, 40))}) {
            ReadOnlyDataContainer::setPieceSizeForTesting(piece);
            auto c = fx.open(path, delimiter, static_cast<ParsingStandard>(standard));
            QVERIFY(c);
            for (int col = 0; col < c->numCols(); col += large ? std::max(1, c->numCols() - 1) : 1) {
                std::vector<QByteArray> cells;
                QVERIFY(c->readColumn(col, [&cells](std::string_view cell) {
                    cells.emplace_back(cell.data(), qsizetype(cell.size()));
                    return true;
                }));
                const QByteArray where = "file " + QByteArray::number(file) + ", piece " +
                                         QByteArray::number(piece) + ", column " + QByteArray::number(col);
                QVERIFY2(int(cells.size()) == c->numRows(), where.constData());
                for (int r = 0; r < c->numRows(); ++r)
                    QVERIFY2(cells[size_t(r)] == show(c->getValue(r, col, false)),
                             (where + ", row " + QByteArray::number(r)).constData());
            }
            // A sink that says stop ends the read there.
            int taken = 0;
            QVERIFY(!c->readColumn(0, [&taken](std::string_view) { return ++taken < 2; }) ||
                    c->numRows() < 2);
        }
        QFile::remove(path);
    }
}

void TestReadOnlyDataContainer::rowsColsAndOrder() {
    QByteArray content;
    for (int r = 0; r < 40; ++r) {
        for (int k = 0; k < 40; ++k)
            content += (k ? "," : "") + QByteArray::number(r * 100 + k);
        content += "\n";
    }
    Fixture fx;
    auto c = fx.open(fx.write(content));
    QVERIFY(c);
    Cells row, col;
    c->getRow(row, 7);
    c->getCol(col, 33);
    QCOMPARE(int(row.size()), 40);
    QCOMPARE(int(col.size()), 40);
    for (int i = 0; i < 40; ++i) {
        QCOMPARE(show(row[i]), QByteArray::number(700 + i));
        QCOMPARE(show(col[i]), QByteArray::number(i * 100 + 33));
    }
    // A screenful in any order through one call.
    std::vector<ReadOnlyDataContainer::CellPosition> wanted;
    for (int r = 39; r >= 0; r -= 3)
        for (int k = 5; k < 25; k += 2)
            wanted.push_back({r, k});
    wanted.push_back({1, 1});
    wanted.push_back({1, 1});
    Cells values;
    c->getValues(wanted, values);
    for (size_t i = 0; i < wanted.size(); ++i)
        QCOMPARE(show(values[i]), QByteArray::number(wanted[i].row * 100 + wanted[i].col));

    std::vector<int> order(40);
    for (int i = 0; i < 40; ++i)
        order[i] = 39 - i;
    c->setRowOrder(order);
    QVERIFY(c->getRowsReordered());
    QCOMPARE(show(c->getValue(0, 5, true)), QByteArray("3905"));
    QCOMPARE(show(c->getValue(0, 5, false)), QByteArray("5"));
    c->setColOrder(order);
    QCOMPARE(show(c->getValue(0, 5, true)), QByteArray("3934"));
    QVERIFY(c->getValue(40, 40, true).empty());
    QVERIFY(c->getValue(-1, 3, true).empty());
    c->clearRowOrder();
    c->clearColOrder();
    QCOMPARE(show(c->getValue(0, 5, true)), QByteArray("5"));
}

void TestReadOnlyDataContainer::editingCallsChangeNothing() {
    const QByteArray content = "a,b\nc,d\n";
    Fixture fx;
    const QString path = fx.write(content);
    auto c = fx.open(path);
    QVERIFY(c);
    const Cells cells{bytes("x"), bytes("y")};
    QVERIFY(!c->setValue(0, 0, bytes("x")));
    QVERIFY(!c->resizeRows(10));
    QVERIFY(!c->resizeCols(10));
    QVERIFY(!c->insertEmptyRows(0, 2));
    QVERIFY(!c->insertEmptyCols(0, 2));
    QVERIFY(!c->removeRows(0, 1));
    QVERIFY(!c->removeCols(0, 1));
    QVERIFY(!c->clear());
    c->setRow(0, cells);
    c->setCol(0, cells);
    c->insertRow(0, cells);
    c->insertCol(0, cells);
    c->insertRows(0, {cells});
    c->insertCols(0, {cells});
    c->copyRowContentsToAnotherRow(0, 1);
    c->copyColContentsToAnotherCol(0, 1);
    QVERIFY(c->emptyRows(0, MASK_ALL, {}).empty());
    QCOMPARE(c->numEmptyRowsAtEnd(), 0);
    QCOMPARE(readAll(path), content);
    QCOMPARE(c->numRows(), 2);
    QCOMPARE(c->numCols(), 2);
    QCOMPARE(show(c->getValue(0, 0, false)), QByteArray("a"));
    QCOMPARE(show(c->getValue(1, 1, false)), QByteArray("d"));
}

void TestReadOnlyDataContainer::saveOverTheFileBeingRead_data() {
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<int>("standard");
    QTest::addColumn<bool>("trailing");
    QTest::addColumn<int>("lineEnding");
    QTest::addColumn<QByteArray>("expected");
    QTest::addColumn<bool>("keepFields");
    // The rule over the whole table, as when the user asks for it.
    QTest::newRow("pads short rows") << QByteArray("a,b,c\nd\n\"e,\"\"f\",g,h\n") << 0 << true << 1
                                     << QByteArray("a,b,c\nd,,\n\"e,\"\"f\",g,h\n") << false;
    QTest::newRow("no trailing delimiters drops empty tails")
        << QByteArray("a,b,c\nd,,\n,x,\nlast,,") << 0 << false << 1 << QByteArray("a,b,c\nd\n,x\nlast")
        << false;
    QTest::newRow("all quotes pads with two quotes") << QByteArray("\"a\",\"b\"\n\"c\"\n") << 2 << true << 0
                                                     << QByteArray("\"a\",\"b\"\r\n\"c\",\"\"\r\n") << false;
    QTest::newRow("the last row's extra cells aren't lost") << QByteArray("a,b\nc,d,e,f\n") << 0 << true << 4
                                                            << QByteArray("a,b,,\x1e"
                                                                          "c,d,e,f\x1e")
                                                            << false;
    QTest::newRow("bom is written back") << QByteArray("\xEF\xBB\xBFx,y\n1,2\n") << 0 << true << 1
                                         << QByteArray("\xEF\xBB\xBFx,y\n1,2\n") << true;
    // Left alone, every line keeps the fields it has, whichever way the rule points; only a
    // quote no cell needs goes.
    for (const bool trailing : {true, false}) {
        QTest::addRow("ragged lines stay ragged, trailing %d", int(trailing))
            << QByteArray("a,b,c\nd\n,x,\n\n\"e\",,\nlast,,") << 0 << trailing << 1
            << QByteArray("a,b,c\nd\n,x,\n\ne,,\nlast,,") << true;
    }
}

// Saving to the path being read replaces the file only at the commit, and the rows come from
// the open source; a second save must see the same cells.
void TestReadOnlyDataContainer::saveOverTheFileBeingRead() {
    QFETCH(QByteArray, content);
    QFETCH(int, standard);
    QFETCH(bool, trailing);
    QFETCH(int, lineEnding);
    QFETCH(QByteArray, expected);
    QFETCH(bool, keepFields);
    Fixture fx;
    const QString path = fx.write(content);
    auto c = fx.open(path, ',', static_cast<ParsingStandard>(standard));
    QVERIFY(c);
    c->setSaveWithTrailingDelimiters(trailing);
    c->setKeepFieldCountsAsRead(keepFields);
    c->setLineEnding(static_cast<LineEndingType>(lineEnding));
    QVERIFY(c->saveCSV(false, false, {}, {}));
    QCOMPARE(readAll(path), expected);
    QVERIFY(c->saveCSV(false, false, {}, {}));
    QCOMPARE(readAll(path), expected);
    // Skipped rows and columns leave the output; a failed save leaves the path alone.
    const QString other = fx.dir.filePath(QStringLiteral("other.csv"));
    QVERIFY(c->saveCSV(other, false, false, {0}, {1}));
    QCOMPARE(c->getFilepath(), other);
    QVERIFY(!c->saveCSV(fx.dir.filePath(QStringLiteral("missing/x.csv")), false, false, {}, {}));
    QCOMPARE(c->getFilepath(), other);
}

// A transposed save writes each column as a line; hidden columns drop out, hidden rows don't.
void TestReadOnlyDataContainer::transposedSave() {
    Fixture fx;
    const QString path = fx.write("a,\"b,1\",c\nd\ne,f,g\n");
    auto c = fx.open(path);
    QVERIFY(c);
    QVERIFY(c->saveCSV(false, true, {}, {}));
    QCOMPARE(readAll(path), QByteArray("a,d,e\n\"b,1\",,f\nc,,g\n"));
    QVERIFY(c->saveCSV(false, true, {0}, {1}));
    QCOMPARE(readAll(path), QByteArray("a,d,e\nc,,g\n"));
    c->setSaveWithTrailingDelimiters(false);
    QVERIFY(c->saveCSV(false, true, {}, {0, 2}));
    QCOMPARE(readAll(path), QByteArray("\"b,1\",,f\n"));
}

void TestReadOnlyDataContainer::cancelStopsBothPasses() {
    Fixture fx;
    const QString path = fx.write("a,b\nc,d\n");
    ReadOnlyDataContainer c;
    c.setFilepath(path);
    QSignalSpy finished(&c, &AbstractDataContainer::loadFinishedSignal);
    c.setLoadCanceled(true);
    QVERIFY(!c.loadCSV());
    QCOMPARE(finished.count(), 0);
    QCOMPARE(c.numRows(), 0);
    QVERIFY(c.getValue(0, 0, false).empty());
    c.setLoadCanceled(false);
    QVERIFY(c.loadCSV());
    QCOMPARE(finished.count(), 1);
    QCOMPARE(c.numRows(), 2);
}

// 24 MiB reports: pass 1 fills the first third of the bar, pass 2 the other two.
void TestReadOnlyDataContainer::progressCoversThreeThirds() {
    const qint64 size = AbstractDataContainer::kProgressThreshold + 30 * 1024 * 1024;
    QByteArray content;
    content.reserve(size);
    const QByteArray line = "123456,abcdef,\"x,y\",,9\n";
    while (content.size() + line.size() <= size)
        content += line;
    content += QByteArray(size - content.size(), 'z');
    Fixture fx;
    ReadOnlyDataContainer c;
    c.setFilepath(fx.write(content));
    QSignalSpy start(&c, &AbstractDataContainer::startProgressUpdateSignal);
    QSignalSpy progress(&c, &AbstractDataContainer::loadProgressUpdateSignal);
    QVERIFY(c.loadCSV());
    QCOMPARE(start.count(), 1);
    const int total = int(size / 25165824 + 1); // 3
    QList<int> seen;
    for (const auto& args : progress) {
        QCOMPARE(args.at(1).toInt(), 3 * total);
        QCOMPARE(args.at(2).toInt(), int(size >> 20));
        seen << args.at(0).toInt();
    }
    QCOMPARE(seen, (QList<int>{0, 1, 2, total, total + 2, total + 4}));
    QCOMPARE(c.numCols(), 5);
    QCOMPARE(show(c.getValue(c.numRows() - 2, 2, false)), QByteArray("x,y"));

    // Just below the threshold: silent.
    ReadOnlyDataContainer small;
    small.setFilepath(fx.write(content.left(AbstractDataContainer::kProgressThreshold - 1)));
    QSignalSpy smallProgress(&small, &AbstractDataContainer::loadProgressUpdateSignal);
    QVERIFY(small.loadCSV());
    QCOMPARE(smallProgress.count(), 0);
}

// Pass 2 keeps its strips in the room that pass 1's counts call for. A file rewritten with wider
// rows once pass 2 has begun needs more: the index fails instead of writing past that room.
void TestReadOnlyDataContainer::fileWidenedBetweenPassesFails() {
    const qint64 size = AbstractDataContainer::kProgressThreshold + 4096;
    const auto filled = [size](const QByteArray& line) {
        QByteArray content;
        content.reserve(size);
        while (content.size() + line.size() <= size)
            content += line;
        return content + QByteArray(size - content.size(), 'z');
    };
    Fixture fx;
    const QString path = fx.write(filled("ab,cd\n"));
    ReadOnlyDataContainer c;
    c.setFilepath(path);
    const int secondPass = int(size / 25165824 + 1);
    bool rewritten = false;
    connect(&c, &AbstractDataContainer::loadProgressUpdateSignal, this, [&](int value, int, int) {
        if (value < secondPass || rewritten)
            return;
        rewritten = true;
        // Written over in place: emptied first, the file could look ended to a read running
        // ahead on another thread.
        QFile f(path);
        QVERIFY(f.open(QIODevice::ReadWrite));
        QVERIFY(f.write(filled(QByteArray(40, ',') + "\n")) == size);
    });
    QSignalSpy finished(&c, &AbstractDataContainer::loadFinishedSignal);
    QVERIFY(!c.loadCSV());
    QVERIFY(rewritten);
    QCOMPARE(finished.count(), 0);
    QCOMPARE(c.numRows(), 0);
    QVERIFY(c.getStrips().empty());
}

void TestReadOnlyDataContainer::unreadableFile() {
    ReadOnlyDataContainer c;
    c.setFilepath(QStringLiteral("/nonexistent/file.csv"));
    QVERIFY(!c.loadCSV());
    QVERIFY(!c.indexCSV());
    QVERIFY(c.getValue(0, 0, false).empty());
    Fixture fx;
    auto empty = fx.open(fx.write(""));
    QVERIFY(empty);
    QCOMPARE(empty->numRows(), 0);
    auto bomOnly = fx.open(fx.write("\xEF\xBB\xBF"));
    QVERIFY(bomOnly);
    QCOMPARE(bomOnly->numRows(), 0);
}

QTEST_GUILESS_MAIN(TestReadOnlyDataContainer)
// The read-ahead of the index passes: every piece in order, a short last one, zero slack
// behind each; a file shorter than announced ends early; a reader dropped midway stops.
void TestReadOnlyDataContainer::pieceReaderReadsAheadInOrder() {
    QByteArray content(10000, '\0');
    for (int i = 0; i < content.size(); ++i)
        content[i] = char('a' + i % 23);
    Fixture fx;
    QFile file(fx.write(content));
    QVERIFY(file.open(QIODevice::ReadOnly));
    for (const qint64 piece : {qint64(1), qint64(7), qint64(4096), qint64(10000), qint64(65536)}) {
        PieceReader reader(file.handle(), content.size(), piece, 16);
        QByteArray read;
        char* data = nullptr;
        for (qint64 got; (got = reader.next(data)) > 0;) {
            QVERIFY(got <= piece);
            read.append(data, got);
            for (int k = 0; k < 16; ++k)
                QVERIFY2(data[got + k] == 0 || got == piece, "slack behind a short piece");
        }
        QCOMPARE(read, content);
        QCOMPARE(reader.next(data), qint64(0)); // and it stays ended
    }
    {
        // Announced longer than it is: the pieces stop where the file does.
        PieceReader reader(file.handle(), content.size() + 5000, 4096, 16);
        qint64 total = 0;
        char* data = nullptr;
        for (qint64 got; (got = reader.next(data)) > 0;)
            total += got;
        QCOMPARE(total, qint64(content.size()));
    }
    {
        // Dropped after one piece, as a cancelled pass drops it.
        PieceReader reader(file.handle(), content.size(), 100, 16);
        char* data = nullptr;
        QCOMPARE(reader.next(data), qint64(100));
    }
}

#include "tst_readonlydatacontainer.moc"
