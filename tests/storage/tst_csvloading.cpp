// Reading delimited files into the editable container: the state machine under every
// standard and line ending, the four loader variants, encodings, pieces, progress, cancel.
#include "storage/editabledatacontainer.h"
#include "storage/loadscan.h"
#include "storage/mappedloadtwin.h"
#include "storage/packedrow.h"
#include "util/fileparameterutilities.h"
#include "widentext.h"

#include <QFile>
#include <QRandomGenerator>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using Table = QList<QByteArrayList>;
Q_DECLARE_METATYPE(Table)

namespace {

// The inverse of widen for a cell; a unit with other bytes set is kept visibly wrong.
QByteArray narrow(const std::vector<char>& cell, EncodingType encoding) {
    const int width = Utilities::numBytesPerChar(encoding);
    if (width == 1)
        return QByteArray(cell.data(), static_cast<qsizetype>(cell.size()));
    const bool big = Utilities::getEndianness(encoding) == Utilities::Endianness::Big;
    QByteArray out;
    if (cell.size() % static_cast<size_t>(width) != 0)
        return QByteArray("<partial unit>");
    for (size_t i = 0; i < cell.size(); i += static_cast<size_t>(width)) {
        const char low = cell[i + (big ? static_cast<size_t>(width) - 1 : 0)];
        for (int k = 0; k < width; ++k) {
            const char b = cell[i + static_cast<size_t>(k)];
            if (b != 0 && b != low)
                return QByteArray("<not a widened byte>");
        }
        out += low;
    }
    return out;
}

Table tableOf(EditableDataContainer& c, EncodingType encoding = UTF_8) {
    Table t;
    for (int r = 0; r < c.numRows(); ++r) {
        QByteArrayList row;
        for (int col = 0; col < c.numCols(); ++col)
            row << narrow(c.getValue(r, col), encoding);
        t << row;
    }
    return t;
}

// Cells are separated by '|' and rows by '/'; "\\n" and "\\r" stand for the control bytes.
Table parseTable(const char* text) {
    Table t;
    if (!text)
        return t;
    const QByteArray all(text);
    if (all == "-")
        return t;
    for (const QByteArray& row : all.split('/')) {
        QByteArrayList cells;
        for (QByteArray cell : row.split('|')) {
            cell.replace("\\n", "\n").replace("\\r", "\r");
            cells << cell;
        }
        t << cells;
    }
    return t;
}

// The reading machine exactly as designed: one character of look-ahead, the pending one is
// appended only once the next is known. Slow and literal, the yardstick for the fast loaders.
void referenceLoad(const QByteArray& s, char delimiter, ParsingStandard standard,
                   EditableDataContainer& out) {
    out.clear();
    enum State { StartOfRow, StartOfCell, InPlainCell, InQuotedCell, AfterQuote, StoreCell, StoreQuotedCell };
    const bool delimited = delimiter != 0;
    auto isDelimiter = [&](char c) { return delimited && c == delimiter; };
    auto isTerminator = [](char c) { return c == 10 || c == 13 || c == 30; };
    auto unquote = [](std::vector<char>& cell) {
        std::vector<char> inner(cell.begin() + 1, cell.end() - 1);
        std::vector<char> result;
        for (size_t i = 0; i < inner.size(); ++i) {
            result.push_back(inner[i]);
            if (inner[i] == '"' && i + 1 < inner.size() && inner[i + 1] == '"')
                ++i;
        }
        cell = result;
    };
    State state = StartOfRow;
    int row = -1;
    int col = -1;
    char pending = 0;
    std::vector<char> cell;
    bool started = false;
    qsizetype i = 0;
    while (i < s.size()) {
        const char c = s[i];
        switch (state) {
        case StartOfRow:
            ++row;
            col = -1;
            state = StartOfCell;
            continue;
        case StartOfCell:
            ++col;
            cell.clear();
            started = true;
            if (isDelimiter(c) || isTerminator(c))
                state = StoreCell;
            else if (delimited && c == '"')
                state = standard == DELIMITER_ONLY ? InPlainCell : InQuotedCell;
            else
                state = InPlainCell;
            break;
        case InPlainCell:
            cell.push_back(pending);
            if (isDelimiter(c) || isTerminator(c))
                state = StoreCell;
            break;
        case InQuotedCell:
            cell.push_back(pending);
            if (c == '"' && delimiter != '"')
                state = AfterQuote;
            break;
        case AfterQuote:
            cell.push_back(pending);
            if (isDelimiter(c) || isTerminator(c))
                state = StoreQuotedCell;
            else if (c == '"')
                state = InQuotedCell;
            else
                state = InPlainCell;
            break;
        case StoreCell:
        case StoreQuotedCell:
            if (state == StoreQuotedCell)
                unquote(cell);
            out.setValue(row, col, cell);
            if (isDelimiter(pending)) {
                state = StartOfCell;
                continue;
            }
            if (pending == 13 && c == 10) {
                state = StartOfRow;
                break;
            }
            state = StartOfRow;
            continue;
        }
        pending = c;
        ++i;
    }
    if (!started)
        return;
    const bool quotedEnd = state == AfterQuote || state == StoreQuotedCell;
    if (!isDelimiter(pending) && !isTerminator(pending))
        cell.push_back(pending);
    if (quotedEnd)
        unquote(cell);
    out.setValue(row, col, cell);
    // A delimiter as the file's last byte still counts a column.
    if ((state == StoreCell || state == StoreQuotedCell) && isDelimiter(pending))
        out.setValue(row, col + 1, {});
}

QByteArray contentsOf(const QString& path) {
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

QString describe(const QByteArray& bytes) {
    return QString::fromLatin1(bytes.toPercentEncoding());
}

} // namespace

class TestCsvLoading : public QObject {
    Q_OBJECT

private:
    QTemporaryDir dir;
    int fileCounter = 0;

    QString writeFile(const QByteArray& bytes) {
        const QString path = dir.filePath(QStringLiteral("f%1.csv").arg(++fileCounter));
        QFile f(path);
        if (!f.open(QIODevice::WriteOnly) || f.write(bytes) != bytes.size())
            qFatal("cannot write test file");
        return path;
    }

    std::unique_ptr<EditableDataContainer> load(const QByteArray& bytes, char delimiter,
                                                ParsingStandard standard, EncodingType encoding,
                                                bool* ok = nullptr) {
        // One file written over and over: thousands of new files make the file system, not
        // the loader, the slow part of the random tests. It is cut to size after the write, not
        // emptied before it, which would have the file system flush it at every close.
        const QString path = dir.filePath(QStringLiteral("load.csv"));
        QFile f(path);
        if (!f.open(QIODevice::ReadWrite) || f.write(bytes) != bytes.size() || !f.resize(bytes.size()))
            qFatal("cannot write test file");
        f.close();
        auto c = std::make_unique<EditableDataContainer>();
        c->setFilepath(path);
        c->setDelimiter(delimiter, delimiter);
        c->setParsingStandard(standard);
        c->setEncoding(encoding);
        const bool result = c->loadCSV();
        if (ok)
            *ok = result;
        return c;
    }

    // Same cells, same sizes, same physical layout.
    static bool sameContainer(EditableDataContainer& a, EditableDataContainer& b, EncodingType encoding,
                              QString* why) {
        if (a.numRows() != b.numRows() || a.numCols() != b.numCols()) {
            *why = QStringLiteral("size %1x%2 vs %3x%4")
                       .arg(a.numRows())
                       .arg(a.numCols())
                       .arg(b.numRows())
                       .arg(b.numCols());
            return false;
        }
        if (a.numRowsPhysical() != b.numRowsPhysical()) {
            *why = QStringLiteral("physical rows %1 vs %2").arg(a.numRowsPhysical()).arg(b.numRowsPhysical());
            return false;
        }
        for (int r = 0; r < a.numRowsPhysical(); ++r) {
            if (a.numCellsStored(r) != b.numCellsStored(r)) {
                *why = QStringLiteral("row %1 stores %2 vs %3 cells")
                           .arg(r)
                           .arg(a.numCellsStored(r))
                           .arg(b.numCellsStored(r));
                return false;
            }
        }
        if (tableOf(a, encoding) != tableOf(b, UTF_8)) {
            *why = QStringLiteral("cells differ");
            return false;
        }
        return true;
    }

    // Two loads of the same file: the same physical rows, cell for cell, byte for byte.
    static bool sameTables(EditableDataContainer& a, EditableDataContainer& b, QString* why) {
        if (a.numRows() != b.numRows() || a.numCols() != b.numCols() ||
            a.numRowsPhysical() != b.numRowsPhysical()) {
            *why = QStringLiteral("size %1x%2 vs %3x%4")
                       .arg(a.numRows())
                       .arg(a.numCols())
                       .arg(b.numRows())
                       .arg(b.numCols());
            return false;
        }
        for (int r = 0; r < a.numRowsPhysical(); ++r) {
            if (a.numCellsStored(r) != b.numCellsStored(r)) {
                *why = QStringLiteral("row %1 stores %2 vs %3 cells")
                           .arg(r)
                           .arg(a.numCellsStored(r))
                           .arg(b.numCellsStored(r));
                return false;
            }
            for (int col = 0; col < a.numCellsStored(r); ++col) {
                if (a.cellView(r, col) != b.cellView(r, col)) {
                    *why = QStringLiteral("cell %1, %2 differs").arg(r).arg(col);
                    return false;
                }
            }
        }
        return true;
    }

private slots:
    void initTestCase() {
        QStandardPaths::setTestModeEnabled(true);
        QVERIFY(dir.isValid());
        takeMappedLoadFromEnvironment();
    }
    void cleanup() {
        EditableDataContainer::setPieceSizeForTesting(0);
        EditableDataContainer::setInstructionSetForTesting(0);
        EditableDataContainer::setSplitLoadForTesting(0);
        PackedRow::setVectorPackingForTesting(true);
        EditableDataContainer::setMappedLoadForTesting(EditableDataContainer::MappedLoad::BySize);
        takeMappedLoadFromEnvironment();
    }

    // --- The machine, case by case -----------------------------------------------------------

    void delimited_data() {
        QTest::addColumn<QByteArray>("input");
        QTest::addColumn<bool>("quotesHonoured"); // rows only for that kind of standard
        QTest::addColumn<Table>("expected");
        QTest::addColumn<int>("numCols");

        auto add = [](const char* name, const QByteArray& input, bool quotes, const char* table, int cols) {
            QTest::newRow(name) << input << quotes << parseTable(table) << cols;
        };
        for (const bool q : {true, false}) {
            const QByteArray tag = q ? "quoted/" : "delimiterOnly/";
            auto both = [&](const char* name, const QByteArray& input, const char* table, int cols) {
                add((tag + name).constData(), input, q, table, cols);
            };
            both("plain LF", "a,b\nc,d\n", "a|b/c|d", 2);
            both("CR LF once", "a,b\r\nc,d", "a|b/c|d", 2);
            both("lone CR", "a,b\rc,d", "a|b/c|d", 2);
            both("LF CR twice", "a\n\rb", "a//b", 1);
            both("CR CR twice", "a\r\rb", "a//b", 1);
            both("record separator",
                 "a,b\x1e"
                 "c,d",
                 "a|b/c|d", 2);
            both("CR then RS",
                 "a\r\x1e"
                 "b",
                 "a//b", 1);
            both("final line ending makes no row", "a,b\n", "a|b", 2);
            both("blank final line is a row", "a,b\n\n", "a|b/|", 2);
            both("three endings three rows", "a,b\n\n\n", "a|b/|/|", 2);
            both("blank inner line", "a\n\nb", "a//b", 1);
            both("lone line ending", "\n", "", 1);
            both("lone CR LF", "\r\n", "", 1);
            both("trailing delimiter", "a,\n", "a|", 2);
            both("trailing delimiter at end of file", "a,", "a|", 2);
            both("two trailing delimiters", "a,,", "a||", 3);
            both("only a delimiter", ",", "|", 2);
            both("ragged rows", "a\nb,c,d\ne,f", "a||/b|c|d/e|f|", 3);
            both("empty inner cells", ",a,,b,", "|a||b|", 5);
            both("quote inside plain cell", "ab\"c,d", "ab\"c|d", 2);
            both("blank then quote", " \"a\",b", " \"a\"|b", 2);
            both("no line ending at end", "a,b", "a|b", 2);
            both("NUL bytes are data", QByteArray("a\0b,c", 5), nullptr, 2);
        }
        // Quotes honoured.
        add("quoted/doubled quote", "\"a\"\"b\",c", true, "a\"b|c", 2);
        add("quoted/line feed inside quotes", "\"a\nb\",c", true, "a\\nb|c", 2);
        add("quoted/CR LF inside quotes", "\"a\r\nb\",c\r\n", true, "a\\r\\nb|c", 2);
        add("quoted/delimiter inside quotes", "\"a,b\",c", true, "a,b|c", 2);
        add("quoted/quoted empty", "\"\",x", true, "|x", 2);
        add("quoted/quoted empty last", "x,\"\"", true, "x|", 2);
        add("quoted/quoted cell ends row CR", "\"a\"\rb", true, "a/b", 1);
        add("quoted/text behind closing quote", "\"abc\"def,x", true, "\"abc\"def|x", 2);
        add("quoted/doubled quotes kept in fallback", "\"a\"\"b\"c,x", true, "\"a\"\"b\"c|x", 2);
        add("quoted/unterminated swallows rest", "\"a,b\nc,d", true, "\"a,b\\nc,d", 1);
        add("quoted/unterminated drops final line ending", "\"a,b\n", true, "\"a,b", 1);
        add("quoted/unterminated drops final delimiter", "x,\"a,", true, "x|\"a", 2);
        add("quoted/lone opening quote", "\"", true, "\"", 1);
        add("quoted/file ends behind closing quote", "a,\"b\"", true, "a|b", 2);
        add("quoted/file ends in quotes pair", "\"\"", true, "", 1);
        add("quoted/three quotes", "\"\"\"", true, "\"\"\"", 1);
        add("quoted/four quotes", "\"\"\"\",a", true, "\"|a", 2);
        add("quoted/quoted then trailing delimiter at end", "\"a\",", true, "a|", 2);
        add("quoted/quoted cell with RS inside",
            "\"a\x1e"
            "b\"",
            true,
            "a\x1e"
            "b",
            1);
        // Quotes as ordinary bytes.
        add("delimiterOnly/quoted comma splits", "\"a,b\"", false, "\"a|b\"", 2);
        add("delimiterOnly/doubled quote kept", "\"a\"\"b\",c", false, "\"a\"\"b\"|c", 2);
        add("delimiterOnly/line break can't be quoted", "\"a\nb\"", false, "\"a/b\"", 1);
    }

    void delimited() {
        QFETCH(QByteArray, input);
        QFETCH(bool, quotesHonoured);
        QFETCH(Table, expected);
        QFETCH(int, numCols);

        const QList<ParsingStandard> standards =
            quotesHonoured ? QList<ParsingStandard>{RFC_4180, ALL_QUOTES, SPARSE_QUOTES,
                                                    ASCII_SEPARATED_VALUES, UNKNOWN_STANDARD}
                           : QList<ParsingStandard>{DELIMITER_ONLY};
        for (const EncodingType encoding : {UTF_8, UTF_16LE, UTF_16BE, UTF_32LE, UTF_32BE}) {
            for (const ParsingStandard standard : standards) {
                bool ok = false;
                auto c = load(widen(input, encoding), ',', standard, encoding, &ok);
                QVERIFY(ok);
                const QString where = QStringLiteral("encoding %1 standard %2").arg(encoding).arg(standard);
                QVERIFY2(c->numCols() == numCols, qPrintable(where));
                if (!QTest::currentDataTag() ||
                    !QByteArray(QTest::currentDataTag()).endsWith("NUL bytes are data"))
                    QVERIFY2(tableOf(*c, encoding) == expected,
                             qPrintable(where + QStringLiteral(": ") +
                                        QString::fromLatin1(tableOf(*c, encoding).isEmpty()
                                                                ? QByteArray("(empty)")
                                                                : tableOf(*c, encoding).first().join('|'))));
                else
                    QCOMPARE(narrow(c->getValue(0, 0), encoding), QByteArray("a\0b", 3));
            }
        }
    }

    void noDelimiter_data() {
        QTest::addColumn<QByteArray>("input");
        QTest::addColumn<Table>("expected");
        QTest::newRow("one cell per line") << QByteArray("a,b\nc;d") << parseTable("a,b/c;d");
        QTest::newRow("quotes are ordinary") << QByteArray("\"a\nb\"") << parseTable("\"a/b\"");
        QTest::newRow("CR LF once") << QByteArray("a\r\nb\r\n") << parseTable("a/b");
        QTest::newRow("LF CR twice") << QByteArray("a\n\rb") << parseTable("a//b");
        QTest::newRow("RS") << QByteArray("a\x1e"
                                          "b")
                            << parseTable("a/b");
        QTest::newRow("blank final line") << QByteArray("a\n\n") << parseTable("a/");
        QTest::newRow("lone ending") << QByteArray("\r") << parseTable("");
        QTest::newRow("NUL is data") << QByteArray("a\0", 2) << Table{QByteArrayList{QByteArray("a\0", 2)}};
    }

    void noDelimiter() {
        QFETCH(QByteArray, input);
        QFETCH(Table, expected);
        for (const EncodingType encoding : {UTF_8, UTF_16LE, UTF_16BE, UTF_32LE, UTF_32BE}) {
            for (int s = RFC_4180; s <= ASCII_SEPARATED_VALUES; ++s) {
                auto c = load(widen(input, encoding), 0, ParsingStandard(s), encoding);
                QCOMPARE(c->numCols(), 1);
                QCOMPARE(tableOf(*c, encoding), expected);
            }
        }
    }

    void otherDelimiters_data() {
        QTest::addColumn<QByteArray>("input");
        QTest::addColumn<char>("delimiter");
        QTest::addColumn<Table>("expected");
        QTest::newRow("tab") << QByteArray("a\tb\n\"c\td\"\te") << '\t' << parseTable("a|b/c\td|e");
        QTest::newRow("unit separator") << QByteArray("a\x1f"
                                                      "b\x1e"
                                                      "c\x1f"
                                                      "d")
                                        << char(31) << parseTable("a|b/c|d");
        QTest::newRow("quote as delimiter") << QByteArray("a\"b\"\"c") << '"' << parseTable("a|b||c");
        QTest::newRow("LF as delimiter, CR ends rows") << QByteArray("a\nb\r\nc") << '\n'
                                                       << parseTable("a|b/c|");
        QTest::newRow("CR as delimiter") << QByteArray("a\rb\nc") << '\r' << parseTable("a|b/c|");
    }

    void otherDelimiters() {
        QFETCH(QByteArray, input);
        QFETCH(char, delimiter);
        QFETCH(Table, expected);
        for (const EncodingType encoding : {UTF_8, UTF_16LE, UTF_32BE}) {
            auto c = load(widen(input, encoding), delimiter, RFC_4180, encoding);
            QCOMPARE(tableOf(*c, encoding), expected);
        }
    }

    // --- The fast loaders against the literal machine ----------------------------------------

    void randomAgainstReference_data() {
        QTest::addColumn<int>("encoding");
        QTest::addColumn<char>("delimiter");
        QTest::newRow("single byte, comma") << int(UTF_8) << ',';
        QTest::newRow("single byte, no delimiter") << int(UTF_8) << char(0);
        QTest::newRow("UTF-16LE, comma") << int(UTF_16LE) << ',';
        QTest::newRow("UTF-16BE, no delimiter") << int(UTF_16BE) << char(0);
        QTest::newRow("UTF-32BE, semicolon") << int(UTF_32BE) << ';';
        QTest::newRow("UTF-32LE, no delimiter") << int(UTF_32LE) << char(0);
    }

    void randomAgainstReference() {
        QFETCH(int, encoding);
        QFETCH(char, delimiter);
        const EncodingType enc = EncodingType(encoding);
        QRandomGenerator rng(1234 + static_cast<quint32>(encoding) * 31 + static_cast<quint32>(delimiter));
        const QByteArray alphabet = QByteArray("ab,;\"\"\r\n\x1e ", 11);
        const int rounds = Utilities::numBytesPerChar(enc) == 1 ? 1500 : 500;
        for (int round = 0; round < rounds; ++round) {
            QByteArray input;
            const int length = rng.bounded(0, 24);
            for (int i = 0; i < length; ++i)
                input += alphabet[rng.bounded(alphabet.size())];
            const ParsingStandard standard = ParsingStandard(rng.bounded(0, 5));
            EditableDataContainer::setPieceSizeForTesting(rng.bounded(0, 3) == 0 ? 0 : rng.bounded(1, 9));

            auto fast = load(widen(input, enc), delimiter, standard, enc);
            EditableDataContainer reference;
            referenceLoad(input, delimiter, standard, reference);
            QString why;
            QVERIFY2(sameContainer(*fast, reference, enc, &why),
                     qPrintable(QStringLiteral("input %1, standard %2: %3")
                                    .arg(describe(input), QString::number(standard), why)));
            // In parts of a few bytes, which may start in the middle of a character.
            const int part = rng.bounded(1, 12);
            EditableDataContainer::setSplitLoadForTesting(part, rng.bounded(0, 2) == 0);
            auto split = load(widen(input, enc), delimiter, standard, enc);
            EditableDataContainer::setSplitLoadForTesting(0);
            QVERIFY2(
                sameContainer(*split, reference, enc, &why),
                qPrintable(QStringLiteral("input %1, standard %2, parts of %3: %4")
                               .arg(describe(input), QString::number(standard), QString::number(part), why)));
        }
    }

    // Every scanner this processor runs marks the same bytes as the plain loop, whichever the
    // delimiter; the loader takes the fastest, so the others are held to it here.
    void scannersAgree_data() {
        QTest::addColumn<char>("delimiter");
        QTest::newRow("comma") << ',';
        QTest::newRow("tab") << '\t';
        QTest::newRow("quote") << '"';
        QTest::newRow("byte 0xE9") << char(0xE9);
        QTest::newRow("LF standing in for none") << '\n';
    }

    void scannersAgree() {
        QFETCH(char, delimiter);
        LoadScan::Keys keys;
        keys.delimiter = delimiter;
        LoadScan::ScanFunction scanners[3];
        const int count = LoadScan::availableScanFunctions(scanners);
        QVERIFY(count >= 1);
        QRandomGenerator rng(77 + static_cast<quint32>(static_cast<unsigned char>(delimiter)));
        const QByteArray alphabet = QByteArray("a,\t\"\r\n\x1e\xE9\x80\0", 10);
        constexpr int kBlocks = 40;
        for (int round = 0; round < 50; ++round) {
            QByteArray bytes(kBlocks * 64, '\0');
            for (char& b : bytes)
                b = alphabet[rng.bounded(alphabet.size())];
            std::uint64_t expectedSeparators[kBlocks];
            std::uint64_t expectedQuotes[kBlocks];
            LoadScan::scanPlain(bytes.constData(), kBlocks, keys, expectedSeparators, expectedQuotes);
            for (int block = 0; block < kBlocks; ++block) {
                for (int i = 0; i < 64; ++i) {
                    const char c = bytes[block * 64 + i];
                    const bool separator = c == delimiter || c == '\n' || c == '\r' || c == '\x1e';
                    QCOMPARE(bool((expectedSeparators[block] >> i) & 1), separator);
                    QCOMPARE(bool((expectedQuotes[block] >> i) & 1), c == '"');
                }
            }
            for (int k = 1; k < count; ++k) {
                std::uint64_t separators[kBlocks];
                std::uint64_t quotes[kBlocks];
                scanners[k](bytes.constData(), kBlocks, keys, separators, quotes);
                for (int block = 0; block < kBlocks; ++block) {
                    QCOMPARE(separators[block], expectedSeparators[block]);
                    QCOMPARE(quotes[block], expectedQuotes[block]);
                }
            }
        }
    }

    // Longer inputs built from runs of ordinary bytes, so that cells, quotes and row ends fall
    // on every offset of the scanner's 64-byte blocks and its 4 KiB windows, plain runs cross
    // pieces of every size, and rows outgrow the row builder's first capacity.
    void longRandomAgainstReference_data() {
        QTest::addColumn<char>("delimiter");
        QTest::addColumn<QByteArray>("specials"); // drawn between runs; 'd' is the delimiter
        QTest::addColumn<int>("longestRun");
        QTest::newRow("comma, short runs") << ',' << QByteArray("ddd\"\"\r\n\x1e;") << 12;
        QTest::newRow("comma, long runs") << ',' << QByteArray("ddd\"\"\r\n\x1e;") << 150;
        QTest::newRow("tab, wide rows") << '\t' << QByteArray("dddddddddddddddddddddddddddd\"\",\n") << 4;
        QTest::newRow("quote-heavy") << ';' << QByteArray("d\"\"\"\"\"\n\r,") << 30;
        QTest::newRow("no delimiter") << char(0) << QByteArray("\"\r\n\x1e,,") << 150;
        // Quotes that open by parity away from a cell start, and text behind closing quotes.
        QTest::newRow("stray quotes") << ',' << QByteArray("dd\"a\"\"\n\r\n") << 6;
        QTest::newRow("CR LF rows, quoted line breaks") << ',' << QByteArray("dd\"\"\r\n\r\n\r\n\n") << 20;
        // Delimiters that are otherwise a line ending or a quote: the delimiter wins.
        QTest::newRow("CR as delimiter") << '\r' << QByteArray("dd\"\"\n\r\n\x1e") << 10;
        QTest::newRow("LF as delimiter") << '\n' << QByteArray("dd\"\"\r\n\r\x1e") << 10;
        QTest::newRow("quote as delimiter") << '"' << QByteArray("dd\r\n\x1e,") << 10;
    }

    void longRandomAgainstReference() {
        QFETCH(char, delimiter);
        QFETCH(QByteArray, specials);
        QFETCH(int, longestRun);
        QRandomGenerator rng(4321 + static_cast<quint32>(static_cast<unsigned char>(delimiter)) +
                             static_cast<quint32>(longestRun));
        for (int round = 0; round < 80; ++round) {
            QByteArray input;
            const int length = rng.bounded(0, 3000);
            while (input.size() < length) {
                const int run = rng.bounded(0, longestRun + 1);
                for (int i = 0; i < run; ++i)
                    input += char('a' + rng.bounded(0, 3));
                const char special = specials[rng.bounded(specials.size())];
                input += special == 'd' ? (delimiter ? delimiter : ',') : special;
            }
            const ParsingStandard standard = ParsingStandard(rng.bounded(0, 5));
            const int pick = rng.bounded(0, 4);
            const int piece = pick == 0   ? 0
                              : pick == 1 ? rng.bounded(1, 130)
                              : pick == 2 ? 64 * rng.bounded(1, 5) + rng.bounded(-1, 2)
                                          : rng.bounded(130, 5000);
            EditableDataContainer::setPieceSizeForTesting(piece);

            EditableDataContainer reference;
            referenceLoad(input, delimiter, standard, reference);
            // The plain scan every processor runs, AVX2, and the best this one has.
            for (const int instructions : {1, 2, 0}) {
                EditableDataContainer::setInstructionSetForTesting(instructions);
                auto fast = load(input, delimiter, standard, UTF_8);
                QString why;
                QVERIFY2(sameContainer(*fast, reference, UTF_8, &why),
                         qPrintable(QStringLiteral("round %1, piece %2, standard %3, instructions %4: %5")
                                        .arg(round)
                                        .arg(piece)
                                        .arg(standard)
                                        .arg(instructions)
                                        .arg(why)));
            }
            // Read in parts at once, wherever the parts' starts fall: inside quotes, behind a
            // CR, in the middle of a cell.
            const int part = rng.bounded(20, 700);
            EditableDataContainer::setSplitLoadForTesting(part, rng.bounded(0, 2) == 0);
            auto split = load(input, delimiter, standard, UTF_8);
            EditableDataContainer::setSplitLoadForTesting(0);
            QString why;
            QVERIFY2(sameContainer(*split, reference, UTF_8, &why),
                     qPrintable(QStringLiteral("round %1, piece %2, standard %3, parts of %4: %5")
                                    .arg(round)
                                    .arg(piece)
                                    .arg(standard)
                                    .arg(part)
                                    .arg(why)));
        }
    }

    // Pieces read in place out of a mapping are followed by the file's next bytes, not by zeros,
    // and the file's last piece is copied: files that end at every place around the last piece
    // that the mapping can hold, around pages and pieces, read in one go and in parts, give the
    // tables that copied pieces give, byte for byte.
    void mappedPiecesAgreeWithCopies() {
        const QByteArray rows = "a,\"b,\"\"c\"\"\",,d\r\n\"x\ny\",1234.5\n\"q\"\r,e,\"\"\n";
        for (const EncodingType encoding : {UTF_8, UTF_16LE, UTF_32BE}) {
            const int unit = encoding == UTF_8 ? 1 : encoding == UTF_16LE ? 2 : 4;
            for (const qint64 piece : {qint64(64), qint64(4096), qint64(4100)}) {
                EditableDataContainer::setPieceSizeForTesting(piece);
                for (qint64 d = -70; d <= 70; d += unit == 1 ? 1 : 7) {
                    const qint64 size = 3 * piece + d; // bytes, cut to whole units below
                    const QByteArray text = widen(rows.repeated(int(size / rows.size()) + 1), encoding)
                                                .left(int(size / unit * unit));
                    EditableDataContainer::setSplitLoadForTesting(d % 2 ? piece + 50 : -1, d % 4 == 1);
                    EditableDataContainer::setMappedLoadForTesting(EditableDataContainer::MappedLoad::Never);
                    auto copied = load(text, ',', RFC_4180, encoding);
                    EditableDataContainer::setMappedLoadForTesting(EditableDataContainer::MappedLoad::Always);
                    auto mapped = load(text, ',', RFC_4180, encoding);
                    QString why;
                    QVERIFY2(sameTables(*mapped, *copied, &why),
                             qPrintable(QStringLiteral("encoding %1, piece %2, size %3: %4")
                                            .arg(encoding)
                                            .arg(piece)
                                            .arg(text.size())
                                            .arg(why)));
                }
            }
        }
    }

    // A file large enough that its rows are packed into the load's arena, of short and long rows
    // with quoted cells, doubled quotes, line breaks in quotes, CR LF and empty cells: against
    // the reference, with the short rows packed by vector moves and by the plain loop, in one
    // thread and in parts of several sizes (whose starts fall wherever the text puts them).
    void largeRandomAgainstReference() {
        QRandomGenerator rng(2411);
        QByteArray text;
        const char* words[] = {"a",          "bc",
                               "def",        "\"q,\"",
                               "\"x\"\"y\"", "\"line\nbreak\"",
                               "",           "1234.5",
                               "\"\"",       "longer cell text of some length"};
        while (text.size() < (5 << 20)) {
            const int cells = rng.bounded(1, 40);
            for (int k = 0; k < cells; ++k) {
                if (k > 0)
                    text += ',';
                text += words[rng.bounded(10)];
                if (rng.bounded(50) == 0)
                    text += QByteArray(rng.bounded(200, 70000), 'w'); // offsets of two and four bytes
            }
            text += rng.bounded(4) == 0 ? "\r\n" : "\n";
        }
        EditableDataContainer reference;
        referenceLoad(text, ',', RFC_4180, reference);
        for (const bool vector : {true, false}) {
            PackedRow::setVectorPackingForTesting(vector);
            for (const qint64 part : {qint64(-1), qint64(1) << 20, qint64(3) << 20}) {
                EditableDataContainer::setSplitLoadForTesting(part);
                auto c = load(text, ',', RFC_4180, UTF_8);
                QString why;
                QVERIFY2(
                    sameContainer(*c, reference, UTF_8, &why),
                    qPrintable(QStringLiteral("vector %1, parts of %2: %3").arg(vector).arg(part).arg(why)));
            }
        }
    }

    // Rows packed whole from the masks against the state machine cell by cell: rows of plain,
    // empty and quoted cells (doubled quotes, separators inside, text behind a closing quote,
    // stray quotes), ragged and with empty cells at the end, under every line ending, from a few
    // bytes to past the whole-row limit, read at every piece size up to 200 bytes and in parts.
    // The saved files must agree too: they keep each row's field count as read.
    void wholeRowsAgreeWithTheMachine_data() {
        QTest::addColumn<QByteArrayList>("cells");
        QTest::addColumn<int>("longest"); // cells per row at most
        QTest::newRow("plain and empty") << QByteArrayList{"a", "bc", "", "defgh", "1234.50"} << 12;
        QTest::newRow("quoted") << QByteArrayList{"\"q\"", "\"a,b\"", "\"\"", "\"x\ny\"", "\"c\r\nd\"", "w"}
                                << 10;
        QTest::newRow("doubled quotes")
            << QByteArrayList{"\"a\"\"b\"", "\"\"\"\"", "\"\"\"x\"", "\"x\"\"\"", "\"a\"\"\"\"b\"", "z"}
            << 10;
        QTest::newRow("quotes the machine reads as text")
            << QByteArrayList{"\"ab\"c", "a\"b", "\"a\"\"b\"c", "\"a\"b\"c\"", "x"} << 8;
        QTest::newRow("long cells") << QByteArrayList{"", "s", QByteArray(60, 'm'), QByteArray(130, 'l'),
                                                      "\"q\"\"\""}
                                    << 6;
        QTest::newRow("many short cells") << QByteArrayList{"", "a", "\"\"", "b"} << 90;
    }

    void wholeRowsAgreeWithTheMachine() {
        QFETCH(QByteArrayList, cells);
        QFETCH(int, longest);
        const QByteArrayList endings{"\n", "\r\n", "\r", "\x1e"};
        QRandomGenerator rng(2024 + static_cast<quint32>(longest));
        for (int round = 0; round < 6; ++round) {
            QByteArray text;
            const int rows = rng.bounded(20, 60);
            for (int r = 0; r < rows; ++r) {
                const int count = rng.bounded(0, longest + 1); // 0: an empty line
                for (int k = 0; k < count; ++k) {
                    if (k > 0)
                        text += ',';
                    text += cells[rng.bounded(cells.size())];
                }
                // Mostly one kind of line ending, now and then another.
                text += endings[rng.bounded(8) == 0 ? rng.bounded(endings.size()) : round % endings.size()];
            }
            if (round % 2)
                text.chop(1); // the last row without its line ending (or a CR without its LF)
            EditableDataContainer::setInstructionSetForTesting(1); // the state machine and the plain scan
            auto machine = load(text, ',', RFC_4180, UTF_8);
            const QString machineSaved = dir.filePath(QStringLiteral("machine.csv"));
            QVERIFY(machine->saveCSV(machineSaved, false, false, {}, {}));
            EditableDataContainer::setInstructionSetForTesting(0);
            for (int piece = 0; piece <= 200; piece += piece < 70 ? 1 : 13) {
                EditableDataContainer::setPieceSizeForTesting(piece);
                const bool split = piece % 5 == 3;
                EditableDataContainer::setSplitLoadForTesting(split ? rng.bounded(30, 400) : 0);
                // Many rows at a time, or one at a time by the plain loop.
                const bool vector = piece % 2 == 0;
                PackedRow::setVectorPackingForTesting(vector);
                auto whole = load(text, ',', RFC_4180, UTF_8);
                QString why;
                QVERIFY2(sameTables(*whole, *machine, &why),
                         qPrintable(QStringLiteral("round %1, piece %2, split %3, vector %4: %5 in %6")
                                        .arg(round)
                                        .arg(piece)
                                        .arg(split)
                                        .arg(vector)
                                        .arg(why, describe(text))));
                QCOMPARE(whole->numCols(), machine->numCols());
                const QString saved = dir.filePath(QStringLiteral("whole.csv"));
                QVERIFY(whole->saveCSV(saved, false, false, {}, {}));
                QVERIFY2(contentsOf(saved) == contentsOf(machineSaved),
                         qPrintable(QStringLiteral("saved, round %1, piece %2").arg(round).arg(piece)));
            }
            EditableDataContainer::setSplitLoadForTesting(0);
        }
    }

    // Rows packed many at a time meet the edges of the 64-byte blocks and of the scan's windows
    // of 4 KiB at every offset: a quote that closes a cell as a block's last byte (its end the
    // next block's first), doubled quotes across an edge, a CR with its LF in the next block,
    // rows of more than 64 cells and of more than 128 bytes, and rows that run past a window.
    // Against the state machine and against rows packed one at a time by the plain loop; the
    // saved files keep each row's field count as read.
    void wholeRowsAtBlockEdges() {
        const QByteArrayList rows{"\"ab\",\"c\"\"d\",e\r\n",
                                  "x,\"q\"\n",
                                  "\"\",,\r\n",
                                  "\"\"\"\",\"a,b\",\"\"\"x\"\n",
                                  QByteArray("a,").repeated(70) + "z\n",
                                  "\"" + QByteArray(140, 'l') + "\",s\n",
                                  ",,,\n",
                                  "\n",
                                  "\"a\"b,c\n"};
        QByteArray body;
        for (int i = 0; body.size() < 9000; ++i)
            body += rows[(i * 7) % rows.size()];
        for (int shift = 0; shift <= 130; ++shift) {
            const QByteArray text = QByteArray(shift, 'p') + "\n" + body;
            EditableDataContainer::setInstructionSetForTesting(1);
            auto machine = load(text, ',', RFC_4180, UTF_8);
            const QString machineSaved = dir.filePath(QStringLiteral("edges-machine.csv"));
            QVERIFY(machine->saveCSV(machineSaved, false, false, {}, {}));
            EditableDataContainer::setInstructionSetForTesting(0);
            for (const bool vector : {true, false}) {
                PackedRow::setVectorPackingForTesting(vector);
                auto whole = load(text, ',', RFC_4180, UTF_8);
                QString why;
                QVERIFY2(
                    sameTables(*whole, *machine, &why),
                    qPrintable(QStringLiteral("shift %1, vector %2: %3").arg(shift).arg(vector).arg(why)));
                const QString saved = dir.filePath(QStringLiteral("edges-whole.csv"));
                QVERIFY(whole->saveCSV(saved, false, false, {}, {}));
                QVERIFY2(contentsOf(saved) == contentsOf(machineSaved),
                         qPrintable(QStringLiteral("saved, shift %1, vector %2").arg(shift).arg(vector)));
            }
        }
    }

    // A file large enough that its rows are carved from shared chunks: edits that replace,
    // copy, insert and remove rows afterwards leave every other row intact, and a row too large
    // for a chunk lives on its own.
    void largeLoadThenEdits() {
        QByteArray text;
        for (int n = 0; text.size() < (6 << 20); ++n) {
            text += QByteArray::number(n) + ",cell " + QByteArray::number(n * 7) + ",\"quoted, " +
                    QByteArray::number(n % 13) + "\"\n";
            if (n == 5000)
                text += QByteArray(1 << 20, 'w') + ",tail\n";
        }
        auto c = load(text, ',', RFC_4180, UTF_8);
        Table expected = tableOf(*c);
        QVERIFY(expected.size() > 160000);
        QCOMPARE(expected[5001][0], QByteArray(1 << 20, 'w'));
        QCOMPARE(expected[160000], QByteArrayList({"159999", "cell 1119993", "quoted, 8"}));

        QVERIFY(c->setValue(10, 1, {'n', 'e', 'w'}));
        expected[10][1] = "new";
        c->copyRowContentsToAnotherRow(5001, 30);
        expected[30] = expected[5001];
        c->copyRowContentsToAnotherRow(20, 5001);
        expected[5001] = expected[20];
        QVERIFY(c->removeRows(100, 120000));
        expected.remove(100, 120000);
        QVERIFY(c->insertEmptyRows(50, 3));
        expected.insert(50, 3, QByteArrayList(3));
        QCOMPARE(c->numRows(), expected.size());
        QVERIFY(tableOf(*c) == expected);
        QVERIFY(c->clear());
        QCOMPARE(c->numRowsPhysical(), 0);
    }

    // --- Pieces ----------------------------------------------------------------------------

    void piecesGiveTheWholeTable_data() {
        QTest::addColumn<int>("encoding");
        QTest::newRow("single byte") << int(UTF_8);
        QTest::newRow("UTF-16LE") << int(UTF_16LE);
        QTest::newRow("UTF-32BE") << int(UTF_32BE);
    }

    void piecesGiveTheWholeTable() {
        QFETCH(int, encoding);
        const EncodingType enc = EncodingType(encoding);
        const QByteArray text = "id,name,note\r\n1,\"Smith, J\",\"said \"\"hi\"\"\"\n2,,\"multi\r\nline\"\r"
                                "3,plain text here,\"\"\n\n4,\"x\"y,\"unterminated, last \"\" cell";
        const QByteArray bytes =
            AbstractDataContainer::getEncodingBom(enc).empty()
                ? widen(text, enc)
                : QByteArray(AbstractDataContainer::getEncodingBom(enc).data(),
                             static_cast<qsizetype>(AbstractDataContainer::getEncodingBom(enc).size())) +
                      widen(text, enc);
        auto whole = load(bytes, ',', RFC_4180, enc);
        QCOMPARE(whole->numRows(), 6);
        QVERIFY(whole->getHasBom());
        const Table expected = tableOf(*whole, enc);
        QCOMPARE(expected[1][2], QByteArray("said \"hi\""));
        QCOMPARE(expected[5][2], QByteArray("\"unterminated, last \"\" cell"));
        for (int piece = 1; piece <= bytes.size() + 1; ++piece) {
            EditableDataContainer::setPieceSizeForTesting(piece);
            auto c = load(bytes, ',', RFC_4180, enc);
            QVERIFY2(tableOf(*c, enc) == expected, qPrintable(QStringLiteral("piece size %1").arg(piece)));
            QCOMPARE(c->numCols(), whole->numCols());
            QVERIFY(c->getHasBom());
        }
    }

    // --- Encodings -------------------------------------------------------------------------

    void encodings_data() {
        QTest::addColumn<int>("encoding");
        QTest::addColumn<QByteArray>("bom");
        QTest::addColumn<bool>("bomRecorded");
        const QByteArray none;
        QTest::newRow("UTF-8 without BOM") << int(UTF_8) << none << false;
        QTest::newRow("UTF-8 with BOM") << int(UTF_8) << QByteArray("\xEF\xBB\xBF") << true;
        QTest::newRow("UTF-16LE with BOM") << int(UTF_16LE) << QByteArray("\xFF\xFE") << true;
        QTest::newRow("UTF-16BE with BOM") << int(UTF_16BE) << QByteArray("\xFE\xFF") << true;
        QTest::newRow("UTF-16LE without BOM") << int(UTF_16LE) << none << false;
        QTest::newRow("UTF-16BE without BOM") << int(UTF_16BE) << none << false;
        QTest::newRow("UTF-32LE with BOM") << int(UTF_32LE) << QByteArray("\xFF\xFE\0\0", 4) << true;
        QTest::newRow("UTF-32BE with BOM") << int(UTF_32BE) << QByteArray("\0\0\xFE\xFF", 4) << true;
        QTest::newRow("UTF-32LE without BOM") << int(UTF_32LE) << none << false;
        QTest::newRow("UTF-32BE without BOM") << int(UTF_32BE) << none << false;
        QTest::newRow("guessed UTF-16LE with BOM")
            << int(UTF_16_GUESSED_LE) << QByteArray("\xFF\xFE") << true;
        QTest::newRow("guessed UTF-32BE with BOM")
            << int(UTF_32_GUESSED_BE) << QByteArray("\0\0\xFE\xFF", 4) << true;
        QTest::newRow("ISO 8859-1 keeps EF BB BF as data")
            << int(ISO_8859_1) << QByteArray("\xEF\xBB\xBF") << false;
    }

    void encodings() {
        QFETCH(int, encoding);
        QFETCH(QByteArray, bom);
        QFETCH(bool, bomRecorded);
        const EncodingType enc = EncodingType(encoding);
        // Non-ASCII text stays raw bytes in the file's encoding.
        const QByteArray text = "n\xE4me,\"x,y\"\r\n\xFC\xF6,2\n";
        auto c = load(bom + widen(text, enc), ',', RFC_4180, enc);
        QCOMPARE(c->getHasBom(), bomRecorded);
        if (bomRecorded)
            QCOMPARE(QByteArray(c->getBom().data(), static_cast<qsizetype>(c->getBom().size())), bom);
        Table expected = parseTable("n\xE4me|x,y/\xFC\xF6|2");
        if (!bomRecorded && !bom.isEmpty())
            expected[0][0].prepend(bom);
        QCOMPARE(tableOf(*c, enc), expected);
    }

    void bomOfUnknownByteOrder_data() {
        QTest::addColumn<int>("encoding");
        QTest::addColumn<QByteArray>("file");
        QTest::addColumn<bool>("hasBom");
        QTest::newRow("UTF-16 with LE BOM") << int(UTF_16)
                                            << QByteArray("\xFF\xFE"
                                                          "a\0",
                                                          4)
                                            << true;
        QTest::newRow("UTF-16 with BE BOM") << int(UTF_16) << QByteArray("\xFE\xFF\0a", 4) << true;
        QTest::newRow("UTF-16 without BOM") << int(UTF_16) << QByteArray("a\0", 2) << false;
        QTest::newRow("UTF-32 with LE BOM") << int(UTF_32) << QByteArray("\xFF\xFE\0\0a\0\0\0", 8) << true;
        QTest::newRow("UTF-32 with BE BOM") << int(UTF_32) << QByteArray("\0\0\xFE\xFF\0\0\0a", 8) << true;
    }

    void bomOfUnknownByteOrder() {
        QFETCH(int, encoding);
        QFETCH(QByteArray, file);
        QFETCH(bool, hasBom);
        auto c = load(file, ',', RFC_4180, EncodingType(encoding));
        QCOMPARE(c->getHasBom(), hasBom);
        QCOMPARE(c->numRows(), 1);
        if (hasBom)
            QVERIFY(AbstractDataContainer::isBomConsistentWithEncoding(c->getBom(), EncodingType(encoding)));
    }

    // A wide file cut short inside a character: that character's bytes stay in the table as
    // they stand, ending the last cell or in a row of their own behind a line ending, and a save
    // without an edit writes the file back byte for byte.
    void multiByteCutShortInsideCharacter_data() {
        QTest::addColumn<QByteArray>("file");
        QTest::addColumn<int>("encoding");
        QTest::addColumn<int>("row"); // the cell that holds the cut character's bytes
        QTest::addColumn<int>("col");
        QTest::addColumn<QByteArray>("cell");
        QTest::newRow("inside a cell")
            << widen("a,b", UTF_16LE) + "c" << int(UTF_16LE) << 0 << 1 << QByteArray("b\0c", 3);
        QTest::newRow("behind a line ending")
            << widen("a,b\n", UTF_16LE) + "c" << int(UTF_16LE) << 1 << 0 << QByteArray("c");
        // Completed with a zero byte, this one would be a line ending.
        QTest::newRow("first byte of a line feed") << widen("a\n", UTF_16LE) + "\n"
                                                   << int(UTF_16LE) << 1 << 0 << QByteArray("\n");
        QTest::newRow("behind a delimiter")
            << widen("a,", UTF_16BE) + QByteArray(1, '\0') << int(UTF_16BE) << 0 << 1 << QByteArray(1, '\0');
        QTest::newRow("behind a closing quote")
            << widen("x,\"a,b\"", UTF_16LE) + "c" << int(UTF_16LE) << 0 << 1 << widen("a,b", UTF_16LE) + "c";
        QTest::newRow("byte order mark and one byte")
            << QByteArray("\xFF\xFE") + "c" << int(UTF_16LE) << 0 << 0 << QByteArray("c");
        QTest::newRow("UTF-32, three bytes of four")
            << widen("a\n", UTF_32BE) + QByteArray(3, '\0') << int(UTF_32BE) << 1 << 0 << QByteArray(3, '\0');
    }

    void multiByteCutShortInsideCharacter() {
        QFETCH(QByteArray, file);
        QFETCH(int, encoding);
        QFETCH(int, row);
        QFETCH(int, col);
        QFETCH(QByteArray, cell);
        EditableDataContainer c;
        c.setFilepath(writeFile(file));
        c.setEncoding(EncodingType(encoding));
        QVERIFY(c.loadCSV());
        QCOMPARE(c.numRows(), row + 1);
        const std::vector<char> got = c.getValue(row, col);
        QCOMPARE(QByteArray(got.data(), static_cast<qsizetype>(got.size())), cell);
        QVERIFY(!c.getFinalLineEnding());
        QVERIFY(c.saveCSV(false, false, {}, {}));
        QFile saved(c.getFilepath());
        QVERIFY(saved.open(QIODevice::ReadOnly));
        QCOMPARE(saved.readAll(), file);
    }

    // --- Bad input ---------------------------------------------------------------------------

    void badInputNeverFails_data() {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<int>("encoding");
        QTest::addColumn<int>("rows");
        QTest::newRow("empty file") << QByteArray() << int(UTF_8) << 0;
        QTest::newRow("UTF-8 BOM alone") << QByteArray("\xEF\xBB\xBF") << int(UTF_8) << 0;
        QTest::newRow("UTF-16 BOM alone") << QByteArray("\xFF\xFE") << int(UTF_16) << 0;
        QTest::newRow("UTF-32BE BOM alone") << QByteArray("\0\0\xFE\xFF", 4) << int(UTF_32BE) << 0;
        QTest::newRow("NUL bytes") << QByteArray(64, '\0') << int(UTF_8) << 1;
        QTest::newRow("NUL bytes, UTF-32") << QByteArray(64, '\0') << int(UTF_32LE) << 1;
        QTest::newRow("ends in quotes") << QByteArray("a,\"\"\"") << int(UTF_8) << 1;
        QTest::newRow("one odd byte, UTF-32") << QByteArray("\n") << int(UTF_32LE) << 1;
        QByteArray junk;
        QRandomGenerator rng(7);
        for (int i = 0; i < 4096; ++i)
            junk += char(rng.bounded(256));
        QTest::newRow("binary junk") << junk << int(UTF_8) << -1;
        QTest::newRow("binary junk, UTF-16") << junk << int(UTF_16BE) << -1;
    }

    void badInputNeverFails() {
        QFETCH(QByteArray, bytes);
        QFETCH(int, encoding);
        QFETCH(int, rows);
        EditableDataContainer c;
        QSignalSpy finished(&c, &AbstractDataContainer::loadFinishedSignal);
        c.setFilepath(writeFile(bytes));
        c.setEncoding(EncodingType(encoding));
        QVERIFY(c.loadCSV());
        QCOMPARE(finished.count(), 1);
        if (rows >= 0)
            QCOMPARE(c.numRows(), rows);
        for (int r = 0; r < c.numRowsPhysical(); ++r)
            QVERIFY(c.numCols() >= c.numColsInRow(r));
    }

    void unopenableFile_data() {
        QTest::addColumn<QString>("path");
        QTest::newRow("missing") << dir.filePath(QStringLiteral("does-not-exist.csv"));
        QTest::newRow("empty path") << QString();
    }

    void unopenableFile() {
        QFETCH(QString, path);
        EditableDataContainer c;
        c.setValue(0, 0, {'x'});
        QSignalSpy finished(&c, &AbstractDataContainer::loadFinishedSignal);
        c.setFilepath(path);
        QVERIFY(!c.loadCSV());
        QCOMPARE(finished.count(), 0);
        QCOMPARE(c.numRows(), 0);
    }

    void reloadStartsAfresh() {
        EditableDataContainer c;
        c.setFilepath(writeFile("\xEF\xBB\xBF"
                                "a,b,c\nd"));
        QVERIFY(c.loadCSV());
        QVERIFY(c.getHasBom());
        c.setFilepath(writeFile("x"));
        QVERIFY(c.loadCSV());
        QCOMPARE(c.numRows(), 1);
        QCOMPARE(c.numCols(), 1);
        QVERIFY(!c.getHasBom());
        QCOMPARE(c.getFileSize(), qint64(1));
    }

    // --- Progress and cancel -----------------------------------------------------------------

    void progressThreshold_data() {
        QTest::addColumn<qint64>("size");
        QTest::addColumn<bool>("reports");
        QTest::addColumn<qint64>("partSize"); // read in parts at once, or by one reader (-1)
        QTest::addColumn<int>("encoding");
        const qint64 threshold = AbstractDataContainer::kProgressThreshold;
        QTest::newRow("one byte below") << threshold - 1 << false << qint64(-1) << int(UTF_8);
        QTest::newRow("at the threshold") << threshold << true << qint64(-1) << int(UTF_8);
        QTest::newRow("one byte below, in parts") << threshold - 1 << false << qint64(5000000) << int(UTF_8);
        QTest::newRow("at the threshold, in parts") << threshold << true << qint64(5000000) << int(UTF_8);
        QTest::newRow("at the threshold, UTF-16LE in parts")
            << threshold << true << qint64(5000000) << int(UTF_16LE);
    }

    void progressThreshold() {
        QFETCH(qint64, size);
        QFETCH(bool, reports);
        QFETCH(qint64, partSize);
        QFETCH(int, encoding);
        const EncodingType enc = EncodingType(encoding);
        const qint64 width = Utilities::numBytesPerChar(enc);
        const qint64 characters = size / width;
        // Long lines keep the cell count small.
        QByteArray line(4095, 'x');
        line += '\n';
        QByteArray text;
        text.reserve(characters);
        while (text.size() + line.size() <= characters)
            text += line;
        text += QByteArray(characters - text.size(), 'y');
        const QByteArray bytes = widen(text, enc);
        QCOMPARE(bytes.size(), size);

        EditableDataContainer::setSplitLoadForTesting(partSize, true);
        const qint64 takenBefore = EditableDataContainer::splitPartsTakenForTesting();
        EditableDataContainer c;
        c.setEncoding(enc);
        QSignalSpy start(&c, &AbstractDataContainer::startProgressUpdateSignal);
        QSignalSpy progress(&c, &AbstractDataContainer::loadProgressUpdateSignal);
        c.setFilepath(writeFile(bytes));
        QVERIFY(c.loadCSV());
        QCOMPARE(c.numRows(), int(characters / line.size()) + (characters % line.size() ? 1 : 0));
        QCOMPARE(EditableDataContainer::splitPartsTakenForTesting() - takenBefore,
                 partSize > 0 ? size / partSize - 1 : 0);
        if (!reports) {
            QCOMPARE(start.count(), 0);
            QCOMPARE(progress.count(), 0);
            return;
        }
        QCOMPARE(start.count(), 1);
        // One report at the first row, then one per 8 MiB: positions 0, 8 Mi, 16 Mi.
        QCOMPARE(progress.count(), 3);
        QCOMPARE(progress.at(0).at(0).toInt(), 0);
        QCOMPARE(progress.at(0).at(1).toInt(), int((size >> 23) + 1));
        QCOMPARE(progress.at(0).at(2).toInt(), int(size >> 20));
        QCOMPARE(progress.at(1).at(0).toInt(), 1);
        QCOMPARE(progress.at(2).at(0).toInt(), 2);
    }

    // A file read in parts at once gives the table read in one go. Its parts start where the
    // text looks like a row's start, so on ordinary data, quoted line breaks and all, every part
    // is taken; the loader takes none whose start it doesn't arrive at between two rows.
    void splitLoadTakesItsParts_data() {
        QTest::addColumn<QByteArray>("lineEnd");
        QTest::addColumn<int>("standard");
        QTest::addColumn<int>("encoding");
        QTest::newRow("LF, RFC 4180") << QByteArray("\n") << int(RFC_4180) << int(UTF_8);
        QTest::newRow("CR LF, RFC 4180") << QByteArray("\r\n") << int(RFC_4180) << int(UTF_8);
        QTest::newRow("LF, delimiter only") << QByteArray("\n") << int(DELIMITER_ONLY) << int(UTF_8);
        QTest::newRow("CR LF, RFC 4180, UTF-16LE") << QByteArray("\r\n") << int(RFC_4180) << int(UTF_16LE);
        QTest::newRow("LF, RFC 4180, UTF-32BE") << QByteArray("\n") << int(RFC_4180) << int(UTF_32BE);
    }

    void splitLoadTakesItsParts() {
        QFETCH(QByteArray, lineEnd);
        QFETCH(int, standard);
        QFETCH(int, encoding);
        const EncodingType enc = EncodingType(encoding);
        QRandomGenerator rng(99);
        QByteArray input;
        for (int row = 0; input.size() < 300000; ++row) {
            input += QByteArray::number(row);
            for (int col = 0; col < 6; ++col) {
                input += ',';
                switch (rng.bounded(0, 5)) {
                case 0:
                    input += "\"line\nbreak\"";
                    break;
                case 1:
                    input += "\"doubled \"\"quote\"\"\"";
                    break;
                case 2:
                    input += "\"a, b\"";
                    break;
                case 3:
                    break;
                default:
                    input += QByteArray::number(rng.bounded(0, 100000));
                }
            }
            input += lineEnd;
        }
        input = widen(input, enc);
        const char* const partSizes[] = {"10000", "4099", "65536"};
        auto whole = load(input, ',', ParsingStandard(standard), enc);
        for (const char* size : partSizes) {
            const qint64 partSize = QByteArray(size).toLongLong();
            EditableDataContainer::setSplitLoadForTesting(partSize, true);
            const qint64 takenBefore = EditableDataContainer::splitPartsTakenForTesting();
            auto split = load(input, ',', ParsingStandard(standard), enc);
            const qint64 taken = EditableDataContainer::splitPartsTakenForTesting() - takenBefore;
            QString why;
            QVERIFY2(sameTables(*split, *whole, &why),
                     qPrintable(QStringLiteral("parts of %1: %2").arg(QLatin1String(size), why)));
            QCOMPARE(taken, std::min<qint64>(input.size() / partSize, 64) - 1);
            // With the middle third of the parts cut in quarters, as a large file's are.
            EditableDataContainer::setSplitLoadForTesting(partSize, true, true);
            const qint64 finerBefore = EditableDataContainer::splitPartsTakenForTesting();
            auto finer = load(input, ',', ParsingStandard(standard), enc);
            QVERIFY2(sameTables(*finer, *whole, &why),
                     qPrintable(QStringLiteral("finer parts of %1: %2").arg(QLatin1String(size), why)));
            const qint64 count = std::min<qint64>(input.size() / partSize, 64);
            QCOMPARE(EditableDataContainer::splitPartsTakenForTesting() - finerBefore,
                     count - 1 + 3 * std::max<qint64>(count / 3, 2));
            // With the loader reading the parts that no helper has taken yet.
            EditableDataContainer::setSplitLoadForTesting(partSize, false);
            auto shared = load(input, ',', ParsingStandard(standard), enc);
            QVERIFY2(sameTables(*shared, *whole, &why),
                     qPrintable(QStringLiteral("parts of %1, shared: %2").arg(QLatin1String(size), why)));
        }
        if (enc != UTF_8)
            return;
        // Parts that start inside quotes by every look: the loader arrives there inside a cell
        // and reads on itself.
        QByteArray quoted = "id,text\n1,\"";
        while (quoted.size() < 20000)
            quoted += "x\ny,z\n";
        quoted += "\"\n2,end\n";
        EditableDataContainer::setSplitLoadForTesting(2000, true);
        const qint64 takenBefore = EditableDataContainer::splitPartsTakenForTesting();
        auto split = load(quoted, ',', RFC_4180, UTF_8);
        QCOMPARE(EditableDataContainer::splitPartsTakenForTesting(), takenBefore);
        QCOMPARE(split->numRows(), 3);
        QCOMPARE(split->cellView(2, 1), std::string_view("end"));
        QCOMPARE(split->cellView(1, 1).size(), size_t(quoted.size() - 8 - 2 - 8 - 1));
    }

    // A helper keeps the rows of all its parts in one list: parts refused in the middle of it
    // (they start inside a long quoted cell) leave their rows there, and the parts on either
    // side still give their own rows, in order.
    void splitLoadTakesPartsAroundRefusedOnes() {
        QByteArray input;
        const auto plainRows = [&input](int from, int count) {
            for (int row = from; row < from + count; ++row)
                input += QByteArray::number(row) + ",\"q " + QByteArray::number(row % 7) + "\",plain,\n";
        };
        plainRows(0, 1500);
        input += "long,\"";
        for (int line = 0; line < 1200; ++line)
            input += "x\ny,z\n";
        input += "\"\n";
        plainRows(1500, 1500);
        auto whole = load(input, ',', RFC_4180, UTF_8);
        QCOMPARE(whole->numRows(), 3001);
        for (const bool helpersOnly : {true, false}) {
            EditableDataContainer::setSplitLoadForTesting(1000, helpersOnly);
            const qint64 takenBefore = EditableDataContainer::splitPartsTakenForTesting();
            auto split = load(input, ',', RFC_4180, UTF_8);
            const qint64 taken = EditableDataContainer::splitPartsTakenForTesting() - takenBefore;
            QString why;
            QVERIFY2(sameTables(*split, *whole, &why), qPrintable(why));
            if (helpersOnly) {
                // Every part but those that start inside the quoted cell, and the one behind it
                // (the loader arrives there within the cell's row).
                QVERIFY(taken > 0);
                QVERIFY(taken < 63);
            }
        }
        EditableDataContainer::setSplitLoadForTesting(0);
    }

    // A cancel while the loader waits for a part keeps the rows read up to the part: a prefix
    // of the table, whole rows only.
    void cancelDuringSplitLoadKeepsAPrefix() {
        QByteArray bytes;
        for (int row = 0; bytes.size() < AbstractDataContainer::kProgressThreshold; ++row)
            bytes += QByteArray::number(row) + ',' + QByteArray(3000, 'x') + ",\"quoted\nline feed\"\n";
        const int allRows = int(bytes.count('\n') / 2);
        EditableDataContainer::setSplitLoadForTesting(qint64(6) << 20, true);
        EditableDataContainer c;
        QSignalSpy finished(&c, &AbstractDataContainer::loadFinishedSignal);
        int reports = 0;
        int lastPosition = -1;
        bool inOrder = true;
        connect(&c, &AbstractDataContainer::loadProgressUpdateSignal, &c, [&](int position) {
            inOrder = inOrder && position > lastPosition;
            lastPosition = position;
            if (++reports == 2)
                c.setLoadCanceled(true);
        });
        c.setFilepath(writeFile(bytes));
        QVERIFY(!c.loadCSV());
        QCOMPARE(finished.count(), 0);
        QVERIFY(inOrder);
        QVERIFY(c.numRows() > 0);
        QVERIFY(c.numRows() < allRows);
        for (int row = 0; row < c.numRows(); ++row) {
            QCOMPARE(c.cellView(row, 0), std::string_view(QByteArray::number(row).constData()));
            QCOMPARE(c.cellView(row, 2), std::string_view("quoted\nline feed"));
        }
    }

    void cancelStopsAtRowStart() {
        QByteArray line(4000, 'x');
        line += ",\"quoted\nline feed\"\n";
        QByteArray bytes;
        while (bytes.size() < AbstractDataContainer::kProgressThreshold)
            bytes += line;
        EditableDataContainer::setSplitLoadForTesting(-1); // one reader: the row it stops at is known
        EditableDataContainer c;
        QSignalSpy finished(&c, &AbstractDataContainer::loadFinishedSignal);
        int reports = 0;
        connect(&c, &AbstractDataContainer::loadProgressUpdateSignal, &c, [&]() {
            // The second report comes at a row start past 8 MiB; cancel there.
            if (++reports == 2)
                c.setLoadCanceled(true);
        });
        c.setFilepath(writeFile(bytes));
        QVERIFY(!c.loadCSV());
        QCOMPARE(finished.count(), 0);
        // The second report comes at the first row start past the 8 MiB mark; that row is still
        // read, and the next row start sees the flag.
        int reportingRow = 0;
        while (qint64(reportingRow) * line.size() <= AbstractDataContainer::kProgressStep - 1)
            ++reportingRow;
        const int expectedRows = reportingRow + 1;
        QCOMPARE(c.numRows(), expectedRows);
        QCOMPARE(c.numCols(), 2);
        QCOMPARE(c.getValue(expectedRows - 1, 1),
                 (std::vector<char>{'q', 'u', 'o', 't', 'e', 'd', '\n', 'l', 'i', 'n', 'e', ' ', 'f', 'e',
                                    'e', 'd'}));
    }
};

QTEST_GUILESS_MAIN(TestCsvLoading)
#include "tst_csvloading.moc"
