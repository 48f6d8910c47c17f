// Writing tables back: golden bytes per standard, encoding and line ending, round trips of
// canonical files, random tables saved and read again, skip lists, and failed saves.
#include "scratchdisk.h"
#include "storage/editabledatacontainer.h"
#include "storage/mappedloadtwin.h"
#include "util/fileparameterutilities.h"
#include "widentext.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <sys/resource.h>

namespace {

std::vector<char> cellOf(const QByteArray& text, EncodingType encoding) {
    const QByteArray wide = widen(text, encoding);
    return std::vector<char>(wide.begin(), wide.end());
}

QByteArray bytesOf(const std::vector<char>& v) {
    return QByteArray(v.data(), qsizetype(v.size()));
}

QByteArray lineEndingBytes(LineEndingType type) {
    if (type == LINE_ENDING_WINDOWS)
        return "\r\n";
    if (type == LINE_ENDING_RECORD_SEPARATOR)
        return "\x1e";
    return "\n";
}

// The sample table of the golden tests: quotes, delimiters, CR, LF, empties and a short row.
const QList<QByteArrayList> kSample = {
    {"a", "b,c", "d\"e"},
    {"", "f\ng", "h\ri"},
    {"x"},
};

// What each standard writes for kSample with trailing delimiters; '~' marks a line ending.
QByteArray goldenSample(ParsingStandard standard) {
    switch (standard) {
    case RFC_4180:
        return "a,\"b,c\",\"d\"\"e\"~,\"f\ng\",\"h\ri\"~x,,~";
    case ALL_QUOTES:
        return "\"a\",\"b,c\",\"d\"\"e\"~\"\",\"f\ng\",\"h\ri\"~\"x\",\"\",\"\"~";
    case SPARSE_QUOTES:
    case ASCII_SEPARATED_VALUES:
        return "a,\"b,c\",d\"e~,\"f\ng\",\"h\ri\"~x,,~";
    default:
        return "a,b,c,d\"e~,f\ng,h\ri~x,,~";
    }
}

} // namespace

class TestCsvWriting : public QObject {
    Q_OBJECT

private:
    QTemporaryDir dir{scratchTemplate(QStringLiteral("tst_csvwriting"))};
    int counter = 0;

    QString newPath() { return dir.filePath(QStringLiteral("w%1.csv").arg(++counter)); }

    QString writeFile(const QByteArray& bytes) {
        const QString path = newPath();
        QFile f(path);
        if (!f.open(QIODevice::WriteOnly) || f.write(bytes) != bytes.size())
            qFatal("cannot write test file");
        return path;
    }

    static QByteArray readFile(const QString& path) {
        QFile f(path);
        if (!f.open(QIODevice::ReadOnly))
            return QByteArray("<unreadable>");
        return f.readAll();
    }

    void setUp(EditableDataContainer& c, ParsingStandard standard, EncodingType encoding,
               LineEndingType ending, char delimiter = ',') {
        c.setDelimiter(delimiter, delimiter);
        c.setParsingStandard(standard);
        c.setEncoding(encoding);
        c.setLineEnding(ending);
    }

    // A container holding the BOM of `encoding`, as a load of a file with one leaves it.
    void giveBom(EditableDataContainer& c, EncodingType encoding) {
        const std::vector<char> bom = AbstractDataContainer::getEncodingBom(encoding);
        c.setEncoding(encoding);
        c.setFilepath(writeFile(bytesOf(bom) + widen("x", encoding)));
        QVERIFY(c.loadCSV());
        QVERIFY(c.getHasBom());
        c.clear();
    }

private slots:
    void initTestCase() {
        QStandardPaths::setTestModeEnabled(true);
        QVERIFY(dir.isValid());
        takeMappedLoadFromEnvironment();
    }

    // --- Golden bytes --------------------------------------------------------------------------

    void golden_data() {
        QTest::addColumn<int>("standard");
        QTest::addColumn<int>("encoding");
        QTest::addColumn<bool>("withBom");
        QTest::addColumn<int>("lineEnding");
        const QList<std::pair<const char*, EncodingType>> families = {
            {"UTF-8", UTF_8},       {"UTF-16LE", UTF_16LE}, {"UTF-16BE", UTF_16BE},
            {"UTF-32LE", UTF_32LE}, {"UTF-32BE", UTF_32BE}, {"Windows-1252", WINDOWS_1252}};
        for (int standard = RFC_4180; standard <= ASCII_SEPARATED_VALUES; ++standard) {
            for (const auto& [name, encoding] : families) {
                for (const bool bom : {false, true}) {
                    if (bom && AbstractDataContainer::getEncodingBom(encoding).empty())
                        continue;
                    for (const LineEndingType ending :
                         {LINE_ENDING_UNIX, LINE_ENDING_WINDOWS, LINE_ENDING_RECORD_SEPARATOR}) {
                        const QString tag =
                            QStringLiteral("%1 %2%3 %4")
                                .arg(Utilities::convertParsingStandardToString(ParsingStandard(standard)),
                                     QString::fromLatin1(name), bom ? QStringLiteral(" BOM") : QString(),
                                     Utilities::convertLineEndingTypeToShortString(ending, false));
                        QTest::newRow(qPrintable(tag)) << standard << int(encoding) << bom << int(ending);
                    }
                }
            }
        }
    }

    void golden() {
        QFETCH(int, standard);
        QFETCH(int, encoding);
        QFETCH(bool, withBom);
        QFETCH(int, lineEnding);
        const EncodingType enc = EncodingType(encoding);
        EditableDataContainer c;
        if (withBom)
            giveBom(c, enc);
        setUp(c, ParsingStandard(standard), enc, LineEndingType(lineEnding));
        for (int r = 0; r < kSample.size(); ++r)
            for (int col = 0; col < kSample[r].size(); ++col)
                c.setValue(r, col, cellOf(kSample[r][col], enc));

        QByteArray expected = goldenSample(ParsingStandard(standard));
        expected.replace('~', lineEndingBytes(LineEndingType(lineEnding)));
        expected = widen(expected, enc);
        if (withBom)
            expected.prepend(bytesOf(AbstractDataContainer::getEncodingBom(enc)));

        const QString path = newPath();
        QVERIFY(c.saveCSV(path, false, false, {}, {}));
        QCOMPARE(c.getFilepath(), path);
        QCOMPARE(readFile(path), expected);

        // A canonical file reads back and saves to the same bytes. "Delimiter Only" and
        // "ASCII Separated Values" can't express the sample, so they get a plain table.
        if (standard == DELIMITER_ONLY) {
            QByteArray plain = "a,b\"c,~,d,e~f,,~";
            plain.replace('~', lineEndingBytes(LineEndingType(lineEnding)));
            expected = widen(plain, enc);
            if (withBom)
                expected.prepend(bytesOf(AbstractDataContainer::getEncodingBom(enc)));
        }
        const QString canonical = writeFile(expected);
        EditableDataContainer loaded;
        setUp(loaded, ParsingStandard(standard), enc, LineEndingType(lineEnding));
        loaded.setFilepath(canonical);
        QVERIFY(loaded.loadCSV());
        QCOMPARE(loaded.getHasBom(), withBom);
        const QString again = newPath();
        QVERIFY(loaded.saveCSV(again, false, false, {}, {}));
        QCOMPARE(readFile(again), expected);
    }

    // --- The rules case by case ----------------------------------------------------------------

    // A first cell that starts with the bytes of the encoding's byte order mark would lose them
    // to the next load, unless it is quoted or a mark stands in front of it.
    void firstCellLikeByteOrderMark_data() {
        QTest::addColumn<int>("encoding");
        QTest::addColumn<int>("standard");
        QTest::addColumn<bool>("withBom");
        const std::pair<const char*, EncodingType> encodings[] = {{"UTF-8", UTF_8},
                                                                  {"UTF-16LE", UTF_16LE},
                                                                  {"UTF-16BE", UTF_16BE},
                                                                  {"UTF-32LE", UTF_32LE},
                                                                  {"UTF-32BE", UTF_32BE}};
        const std::pair<const char*, ParsingStandard> standards[] = {
            {"rfc 4180", RFC_4180},
            {"sparse quotes", SPARSE_QUOTES},
            {"ascii separated", ASCII_SEPARATED_VALUES}};
        for (const auto& [encodingName, encoding] : encodings)
            for (const auto& [standardName, standard] : standards)
                for (const bool bom : {false, true})
                    QTest::addRow("%s, %s%s", encodingName, standardName, bom ? ", with a mark" : "")
                        << int(encoding) << int(standard) << bom;
    }

    void firstCellLikeByteOrderMark() {
        QFETCH(int, encoding);
        QFETCH(int, standard);
        QFETCH(bool, withBom);
        const EncodingType enc = EncodingType(encoding);
        const QByteArray mark = bytesOf(AbstractDataContainer::getEncodingBom(enc));
        EditableDataContainer c;
        if (withBom)
            giveBom(c, enc);
        setUp(c, ParsingStandard(standard), enc, LINE_ENDING_UNIX);
        std::vector<char> first(mark.begin(), mark.end());
        const std::vector<char> x = cellOf("x", enc);
        first.insert(first.end(), x.begin(), x.end());
        c.setSaveWithTrailingDelimiters(false);
        c.setValue(0, 0, first);
        c.setValue(0, 1, cellOf("y", enc));
        c.setValue(1, 0, first); // not the first cell: goes out as it is
        const QString path = newPath();
        QVERIFY(c.saveCSV(path, false, false, {}, {}));
        const QByteArray saved = readFile(path);
        const QByteArray plain = bytesOf(first) + widen(",y\n", enc) + bytesOf(first) + widen("\n", enc);
        if (withBom)
            QCOMPARE(saved, mark + plain);
        else
            QCOMPARE(saved, widen("\"", enc) + bytesOf(first) + widen("\",y\n", enc) + bytesOf(first) +
                                widen("\n", enc));

        EditableDataContainer loaded;
        setUp(loaded, ParsingStandard(standard), enc, LINE_ENDING_UNIX);
        loaded.setFilepath(path);
        QVERIFY(loaded.loadCSV());
        QCOMPARE(bytesOf(loaded.getValue(0, 0)), bytesOf(first));
        QCOMPARE(bytesOf(loaded.getValue(1, 0)), bytesOf(first));
        QCOMPARE(loaded.getHasBom(), withBom);
    }

    void rowStrings_data() {
        QTest::addColumn<int>("standard");
        QTest::addColumn<bool>("trailing");
        QTest::addColumn<char>("saveDelimiter");
        QTest::addColumn<QByteArrayList>("cells");
        QTest::addColumn<QByteArray>("expected");
        QTest::newRow("trailing on pads")
            << int(RFC_4180) << true << ',' << QByteArrayList{"a"} << QByteArray("a,,\n");
        QTest::newRow("trailing off")
            << int(RFC_4180) << false << ',' << QByteArrayList{"a"} << QByteArray("a\n");
        QTest::newRow("trailing off keeps inner empty")
            << int(RFC_4180) << false << ',' << QByteArrayList{"a", "", "b"} << QByteArray("a,,b\n");
        QTest::newRow("trailing off drops stored empties")
            << int(RFC_4180) << false << ',' << QByteArrayList{"a", "b", ""} << QByteArray("a,b\n");
        QTest::newRow("all quotes pads with quotes")
            << int(ALL_QUOTES) << true << ',' << QByteArrayList{"a"} << QByteArray("\"a\",\"\",\"\"\n");
        QTest::newRow("all quotes trailing off")
            << int(ALL_QUOTES) << false << ',' << QByteArrayList{"a"} << QByteArray("\"a\"\n");
        QTest::newRow("RFC quotes a quote")
            << int(RFC_4180) << false << ',' << QByteArrayList{"a\"b"} << QByteArray("\"a\"\"b\"\n");
        QTest::newRow("sparse leaves a quote")
            << int(SPARSE_QUOTES) << false << ',' << QByteArrayList{"a\"b"} << QByteArray("a\"b\n");
        QTest::newRow("sparse doubles quotes when quoting")
            << int(SPARSE_QUOTES) << false << ',' << QByteArrayList{"a\"b,"} << QByteArray("\"a\"\"b,\"\n");
        QTest::newRow("RFC quotes the save delimiter only")
            << int(RFC_4180) << false << ';' << QByteArrayList{"a,b", "c;d"} << QByteArray("a,b;\"c;d\"\n");
        QTest::newRow("record separator is quoted, or it would end the row") << int(RFC_4180) << false << ','
                                                                             << QByteArrayList{"a\x1e"
                                                                                               "b"}
                                                                             << QByteArray("\"a\x1e"
                                                                                           "b\"\n");
        QTest::newRow("sparse quotes: record separator and a leading quote are quoted")
            << int(SPARSE_QUOTES) << false << ','
            << QByteArrayList{"a\x1e"
                              "b",
                              "\"q", "x\"y"}
            << QByteArray("\"a\x1e"
                          "b\",\"\"\"q\",x\"y\n");
        QTest::newRow("ascii separated quotes what needs it")
            << int(ASCII_SEPARATED_VALUES) << false << '\x1f'
            << QByteArrayList{"a\x1f"
                              "b",
                              "c"}
            << QByteArray("\"a\x1f"
                          "b\"\x1f"
                          "c\n");
        QTest::newRow("delimiter only goes bare")
            << int(DELIMITER_ONLY) << true << ',' << QByteArrayList{"a,b", "\""} << QByteArray("a,b,\",\n");
        QTest::newRow("unknown standard writes bare")
            << int(UNKNOWN_STANDARD) << false << ',' << QByteArrayList{"a,b"} << QByteArray("a,b\n");
        QTest::newRow("no save delimiter")
            << int(ALL_QUOTES) << true << char(0) << QByteArrayList{"a", "b,c"} << QByteArray("ab,c\n");
        QTest::newRow("empty row, trailing off")
            << int(RFC_4180) << false << ',' << QByteArrayList{} << QByteArray("\n");
        QTest::newRow("empty row, trailing on")
            << int(RFC_4180) << true << ',' << QByteArrayList{} << QByteArray(",,\n");
    }

    void rowStrings() {
        QFETCH(int, standard);
        QFETCH(bool, trailing);
        QFETCH(char, saveDelimiter);
        QFETCH(QByteArrayList, cells);
        QFETCH(QByteArray, expected);
        for (const EncodingType enc : {UTF_8, UTF_16BE, UTF_32LE}) {
            EditableDataContainer c;
            setUp(c, ParsingStandard(standard), enc, LINE_ENDING_UNIX);
            c.setDelimiter(',', saveDelimiter);
            c.setSaveWithTrailingDelimiters(trailing);
            c.resizeCols(3);
            for (int col = 0; col < cells.size(); ++col)
                c.setValue(0, col, cellOf(cells[col], enc));
            // The row is appended behind what the buffer holds.
            std::vector<char> out{'>'};
            c.getRowCSVString(out, 0, MASK_ALL_BUT_LISTED, {});
            QCOMPARE(bytesOf(out), QByteArray(">") + widen(expected, enc));
            // A column reads out as the same line.
            EditableDataContainer t;
            setUp(t, ParsingStandard(standard), enc, LINE_ENDING_UNIX);
            t.setDelimiter(',', saveDelimiter);
            t.setSaveWithTrailingDelimiters(trailing);
            t.resizeRows(3);
            for (int row = 0; row < cells.size(); ++row)
                t.setValue(row, 0, cellOf(cells[row], enc));
            t.resizeRows(3);
            std::vector<char> colOut;
            t.getColCSVString(colOut, 0, MASK_ALL, {});
            QCOMPARE(bytesOf(colOut), widen(expected, enc));
        }
    }

    void masks() {
        EditableDataContainer c;
        for (int col = 0; col < 4; ++col)
            c.setValue(0, col, {char('a' + col)});
        c.resizeCols(6);
        std::vector<char> out;
        c.getRowCSVString(out, 0, MASK_ONLY_LISTED, {3, 1, 5});
        QCOMPARE(bytesOf(out), QByteArray("d,b,\n"));
        out.clear();
        c.getRowCSVString(out, 0, MASK_ALL_BUT_LISTED, {1, 4});
        QCOMPARE(bytesOf(out), QByteArray("a,c,d,\n"));
        out.clear();
        c.getRowCSVString(out, 0, MASK_ALL, {1, 4});
        QCOMPARE(bytesOf(out), QByteArray("a,b,c,d,,\n"));
    }

    void skipListsAndTransposition() {
        EditableDataContainer c;
        setUp(c, RFC_4180, UTF_8, LINE_ENDING_UNIX);
        const QList<QByteArrayList> table = {{"a", "b", "c"}, {"d", "e", "f"}, {"g", "h", "i"}};
        for (int r = 0; r < 3; ++r)
            for (int col = 0; col < 3; ++col)
                c.setValue(r, col, cellOf(table[r][col], UTF_8));
        c.resizeRows(5); // rows past the physical end aren't written
        const QString path = newPath();
        QVERIFY(c.saveCSV(path, false, false, {1}, {0}));
        QCOMPARE(readFile(path), QByteArray("b,c\nh,i\n"));
        // Transposed: hidden columns drop out as lines, hidden rows stay.
        QVERIFY(c.saveCSV(path, false, true, {1}, {0}));
        QCOMPARE(readFile(path), QByteArray("b,e,h,,\nc,f,i,,\n"));
    }

    void emptyTable() {
        EditableDataContainer plain;
        const QString path = newPath();
        QVERIFY(plain.saveCSV(path, false, false, {}, {}));
        QCOMPARE(readFile(path), QByteArray());

        EditableDataContainer withBom;
        giveBom(withBom, UTF_8);
        QVERIFY(withBom.saveCSV(path, false, false, {}, {}));
        QCOMPARE(readFile(path), QByteArray("\xEF\xBB\xBF"));
    }

    void bomDroppedOnEncodingChange() {
        EditableDataContainer c;
        c.setFilepath(writeFile("\xEF\xBB\xBF"
                                "a,b\n"));
        QVERIFY(c.loadCSV());
        const QString path = newPath();
        QVERIFY(c.saveCSV(path, false, false, {}, {}));
        QCOMPARE(readFile(path), QByteArray("\xEF\xBB\xBF"
                                            "a,b\n"));
        c.setEncoding(ISO_8859_1);
        QVERIFY(c.saveCSV(path, false, false, {}, {}));
        QCOMPARE(readFile(path), QByteArray("a,b\n"));
    }

    // --- Random tables -------------------------------------------------------------------------

    void randomTablesRoundTrip_data() {
        QTest::addColumn<int>("encoding");
        QTest::newRow("single byte") << int(UTF_8);
        QTest::newRow("UTF-16LE") << int(UTF_16LE);
        QTest::newRow("UTF-32BE") << int(UTF_32BE);
    }

    void randomTablesRoundTrip() {
        QFETCH(int, encoding);
        const EncodingType enc = EncodingType(encoding);
        QRandomGenerator rng(99 + static_cast<quint32>(encoding));
        const QByteArray alphabet = QByteArray("ab,;\t\"\"\r\n\x1e ");
        const char delimiters[] = {',', ';', '\t'};
        const int rounds = enc == UTF_8 ? 2500 : 600;
        int comparedCells = 0;
        for (int round = 0; round < rounds; ++round) {
            const ParsingStandard standard = ParsingStandard(rng.bounded(0, 5));
            const char delimiter = delimiters[rng.bounded(3)];
            const bool trailing = rng.bounded(2) == 0;
            const LineEndingType ending = LineEndingType(rng.bounded(0, 5));

            // A cell the standard can't express is replaced by one it can, so every table
            // is one that must come back whole.
            auto expressible = [&](const QByteArray& cell) {
                const bool special = cell.contains(delimiter) || cell.contains('\r') || cell.contains('\n');
                const bool rs = cell.contains('\x1e');
                switch (standard) {
                case RFC_4180:
                    return !rs || special || cell.contains('"');
                case ALL_QUOTES:
                    return true;
                case SPARSE_QUOTES:
                    return special || (!rs && !cell.startsWith('"'));
                case DELIMITER_ONLY:
                    return !special && !rs;
                default:
                    return !special && !rs && !cell.startsWith('"');
                }
            };
            const int numRows = rng.bounded(1, 5);
            const int numCols = rng.bounded(1, 5);
            QList<QByteArrayList> table;
            EditableDataContainer c;
            setUp(c, standard, enc, ending, delimiter);
            c.setSaveWithTrailingDelimiters(trailing);
            for (int r = 0; r < numRows; ++r) {
                QByteArrayList row;
                const int width = rng.bounded(0, numCols + 1);
                for (int col = 0; col < width; ++col) {
                    QByteArray cell;
                    const int length = rng.bounded(0, 5);
                    for (int i = 0; i < length; ++i)
                        cell += alphabet[rng.bounded(alphabet.size())];
                    if (!expressible(cell))
                        cell = "z";
                    row << cell;
                    c.setValue(r, col, cellOf(cell, enc));
                }
                table << row;
            }
            c.resizeRows(numRows);
            c.resizeCols(std::max(c.numCols(), 1));
            // Physical rows only are written; make sure each row of the table is stored.
            for (int r = 0; r < numRows; ++r)
                c.setValue(r, 0, c.getValue(r, 0));

            // Lines built as saveCSV builds them; the file itself is written without the
            // save's sync to disk, which would make thousands of tables slow.
            std::vector<char> lines;
            for (int r = 0; r < c.numRowsPhysical(); ++r)
                c.getRowCSVString(lines, r, MASK_ALL_BUT_LISTED, {});
            const QString path = writeFile(bytesOf(lines));
            EditableDataContainer back;
            setUp(back, standard, enc, ending, delimiter);
            back.setFilepath(path);
            QVERIFY(back.loadCSV());
            const QString context = QStringLiteral("round %1 standard %2 delimiter %3 trailing %4 file %5")
                                        .arg(round)
                                        .arg(standard)
                                        .arg(int(delimiter))
                                        .arg(trailing)
                                        .arg(QString::fromLatin1(readFile(path).toPercentEncoding()));
            QVERIFY2(back.numRows() == c.numRowsPhysical(), qPrintable(context));
            if (trailing)
                QVERIFY2(back.numCols() == c.numCols(), qPrintable(context));
            for (int r = 0; r < numRows; ++r) {
                for (int col = 0; col < numCols; ++col) {
                    const QByteArray want = col < table[r].size() ? table[r][col] : QByteArray();
                    QVERIFY2(bytesOf(back.getValue(r, col)) == widen(want, enc),
                             qPrintable(context + QStringLiteral(" cell %1,%2").arg(r).arg(col)));
                    ++comparedCells;
                }
            }
            QFile::remove(path);
        }
        QVERIFY(comparedCells > rounds);
    }

    // --- Failures --------------------------------------------------------------------------

    void unwritableTargets() {
        EditableDataContainer c;
        c.setValue(0, 0, {'a'});
        const QString original = writeFile("keep me");
        c.setFilepath(original);
        // The parent of the target is a regular file.
        QVERIFY(!c.saveCSV(original + QStringLiteral("/inside.csv"), false, false, {}, {}));
        QCOMPARE(c.getFilepath(), original);
        // The target is a folder.
        QVERIFY(!c.saveCSV(dir.path(), false, false, {}, {}));
        QCOMPARE(c.getFilepath(), original);
        QCOMPARE(readFile(original), QByteArray("keep me"));
    }

    void shortWriteLeavesOldFileWhole() {
        // A file size limit makes the write itself fall short, as a full disk would.
        EditableDataContainer c;
        std::vector<char> big(5000, 'x');
        for (int r = 0; r < 50; ++r)
            c.setValue(r, 0, big);
        const QString target = writeFile("old content");
        c.setFilepath(writeFile("the container's own file"));
        const QString own = c.getFilepath();

        rlimit previous{};
        QVERIFY(getrlimit(RLIMIT_FSIZE, &previous) == 0);
        const auto oldHandler = std::signal(SIGXFSZ, SIG_IGN);
        rlimit limited = previous;
        limited.rlim_cur = 4096;
        QVERIFY(setrlimit(RLIMIT_FSIZE, &limited) == 0);
        const bool saved = c.saveCSV(target, false, false, {}, {});
        setrlimit(RLIMIT_FSIZE, &previous);
        std::signal(SIGXFSZ, oldHandler);

        QVERIFY(!saved);
        QCOMPARE(readFile(target), QByteArray("old content"));
        QCOMPARE(c.getFilepath(), own);
        // Once the disk has room again, the same save goes through.
        QVERIFY(c.saveCSV(target, false, false, {}, {}));
        QCOMPARE(readFile(target).size(), qsizetype(50 * 5001));
    }
};

QTEST_GUILESS_MAIN(TestCsvWriting)
#include "tst_csvwriting.moc"
