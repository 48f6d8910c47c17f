// The read-only container against the editable one on the same random files, in every standard
// and encoding: the same size and the same cells, malformed fields included. Random tables of
// awkward bytes (record and unit separators, NUL, byte order marks, quotes, line breaks) saved by
// the editable container read back as they were, and both containers save them to the same bytes,
// transposed or not, also over the file being read.
#include "storage/containertesthelpers.h"
#include "storage/editabledatacontainer.h"
#include "storage/mappedloadtwin.h"
#include "storage/readonlydatacontainer.h"

#include <QFile>
#include <QRandomGenerator>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <memory>
#include <string>

namespace {

// Text is built from code points and encoded at the end, so multi-byte files hold real
// characters, not widened bytes. None of the non-ASCII ones has a quote byte in any unit.
const char32_t kAlphabet[] = {U'a', U'b', U'x', U'Z', U'0', U'7', U' ', U'.', 0xE9, 0x3A9, 0x416, 0x4E2D};

Bytes encode(const std::u32string& text, EncodingType encoding) {
    Bytes out;
    auto unit = [&](quint32 v, int width, bool big) {
        for (int k = 0; k < width; ++k) {
            const int shift = big ? 8 * (width - 1 - k) : 8 * k;
            out.push_back(static_cast<char>((v >> shift) & 0xFF));
        }
    };
    for (char32_t cp : text) {
        switch (encoding) {
        case UTF_16LE:
        case UTF_16BE:
            unit(cp, 2, encoding == UTF_16BE);
            break;
        case UTF_32LE:
        case UTF_32BE:
            unit(cp, 4, encoding == UTF_32BE);
            break;
        default:
            if (cp < 0x80) {
                out.push_back(static_cast<char>(cp));
            } else if (cp < 0x800) {
                out.push_back(static_cast<char>(0xC0 | (cp >> 6)));
                out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
            } else {
                out.push_back(static_cast<char>(0xE0 | (cp >> 12)));
                out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
                out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
            }
        }
    }
    return out;
}

struct Field {
    std::u32string raw; // as it stands in the file
    bool quoted = false;
    bool wellFormed = true; // false: text behind the closing quote; the loader keeps it whole
};

struct RandomFile {
    std::vector<std::vector<Field>> rows;
    std::u32string text;
};

std::u32string unquote(const std::u32string& raw) {
    std::u32string out;
    for (size_t i = 1; i + 1 < raw.size(); ++i) {
        out += raw[i];
        if (raw[i] == U'"' && raw[i + 1] == U'"' && i + 2 < raw.size())
            ++i;
    }
    return out;
}

class Generator {
public:
    Generator(quint32 seed, ParsingStandard standard, char32_t delimiter)
        : rng(seed), standard(standard), delimiter(delimiter) {}

    std::u32string word(int maxLength) {
        std::u32string s;
        const int n = rng.bounded(maxLength + 1);
        for (int i = 0; i < n; ++i)
            s += kAlphabet[rng.bounded(int(std::size(kAlphabet)))];
        return s;
    }

    Field field() {
        const int kind = rng.bounded(10);
        if (standard != DELIMITER_ONLY && rng.bounded(25) == 0) {
            // Never a quote right behind the closing one: that would be a doubled quote.
            std::u32string behind = U"x" + word(2);
            if (rng.bounded(2))
                behind += U'"';
            return {U"\"" + word(3) + U"\"" + behind, false, false};
        }
        if (standard == ALL_QUOTES || (standard != DELIMITER_ONLY && kind >= 6))
            return quotedField();
        std::u32string s = word(6);
        if (kind == 0)
            return {};
        // A quote inside a plain field is an ordinary byte; at its start only where quotes mean
        // nothing.
        if (kind == 1 && !s.empty())
            s.insert(s.begin() + 1 + rng.bounded(int(s.size())), U'"');
        if (kind == 2 && standard == DELIMITER_ONLY)
            s.insert(s.begin(), U'"');
        return {s, false};
    }

    Field quotedField() {
        std::u32string inner;
        const int parts = rng.bounded(4);
        for (int p = 0; p < parts; ++p) {
            inner += word(4);
            switch (rng.bounded(5)) {
            case 0:
                inner += delimiter;
                break;
            case 1:
                inner += U"\"\"";
                break;
            case 2:
                inner += U"\n";
                break;
            case 3:
                inner += U"\r\n";
                break;
            default:
                break;
            }
        }
        return {U"\"" + inner + U"\"", true};
    }

    std::u32string terminator() {
        if (standard == ASCII_SEPARATED_VALUES)
            return rng.bounded(5) ? U"\x1e" : U"\n";
        switch (rng.bounded(6)) {
        case 0:
            return U"\r\n";
        case 1:
            return U"\r";
        case 2:
            return U"\x1e";
        default:
            return U"\n";
        }
    }

    RandomFile make(int numRows, int maxCols) {
        RandomFile f;
        std::vector<std::u32string> endings;
        for (int r = 0; r < numRows; ++r) {
            std::vector<Field> row;
            const int n = 1 + rng.bounded(maxCols);
            for (int c = 0; c < n; ++c)
                row.push_back(field());
            f.rows.push_back(row);
            endings.push_back(terminator());
        }
        // A lone CR followed by an empty line's LF would be one CR LF: make it LF.
        for (int r = 0; r + 1 < numRows; ++r) {
            const auto& next = f.rows[r + 1];
            if (endings[r] == U"\r" && next.size() == 1 && next[0].raw.empty() && endings[r + 1][0] == U'\n')
                endings[r] = U"\n";
        }
        // The last line may go without its ending, unless it is an empty line, which needs one.
        const auto& last = f.rows.back();
        if (rng.bounded(2) && !(last.size() == 1 && last[0].raw.empty()))
            endings.back().clear();
        for (int r = 0; r < numRows; ++r) {
            for (size_t c = 0; c < f.rows[r].size(); ++c) {
                if (c)
                    f.text += delimiter;
                f.text += f.rows[r][c].raw;
            }
            f.text += endings[r];
        }
        return f;
    }

    QRandomGenerator rng;
    ParsingStandard standard;
    char32_t delimiter;
};

struct Params {
    ParsingStandard standard;
    char delimiter;
    EncodingType encoding;
};

template <class Container> std::unique_ptr<Container> load(const QString& path, const Params& p) {
    return openAs<Container>(path, p.delimiter, p.standard, p.encoding);
}

QByteArray hex(const Bytes& v) {
    return show(v).toHex(' ');
}

} // namespace

class TestReadOnlyDifferential : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() {
        QStandardPaths::setTestModeEnabled(true);
        takeMappedLoadFromEnvironment();
    }
    void cleanup() {
        ReadOnlyDataContainer::setPieceSizeForTesting(0);
        EditableDataContainer::setPieceSizeForTesting(0);
    }
    void cellsAgree_data();
    void cellsAgree();
    void saveOverSourceMatchesEditableSave_data();
    void saveOverSourceMatchesEditableSave();
    void raggedLinesKeepTheirFields_data();
    void raggedLinesKeepTheirFields();
};

void TestReadOnlyDifferential::raggedLinesKeepTheirFields_data() {
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<bool>("trailing");
    // What a table whose rows all follow the trailing delimiter rule writes.
    QTest::addColumn<QByteArray>("ruled");
    const QByteArray ragged("a,b,c\nd\n,x,\n\n,,\ne,,\nlast,,");
    QTest::newRow("padding on") << ragged << true << QByteArray("a,b,c\nd,,\n,x,\n,,\n,,\ne,,\nlast,,");
    QTest::newRow("padding off") << ragged << false << QByteArray("a,b,c\nd\n,x\n\n\ne\nlast");
    const QByteArray crlf("id;name;\r\n1;\r\n2;two;extra\r\n");
    QTest::newRow("short and long lines, CR LF")
        << crlf << true << QByteArray("id;name;\r\n1;;\r\n2;two;extra\r\n");
}

// Both containers write every line the user left alone with the fields it had, whatever the rule;
// a changed row follows the rule, and so does every row once the user asks for the rule.
void TestReadOnlyDifferential::raggedLinesKeepTheirFields() {
    QFETCH(QByteArray, content);
    QFETCH(bool, trailing);
    QFETCH(QByteArray, ruled);
    const char delimiter = content.contains(';') ? ';' : ',';
    TempFiles files;
    const QString path = files.write(content);
    const QString out = files.dir.filePath(QStringLiteral("out.csv"));
    auto editable = openAs<EditableDataContainer>(path, delimiter);
    auto readOnly = openAs<ReadOnlyDataContainer>(path, delimiter);
    QVERIFY(editable && readOnly);
    for (AbstractDataContainer* c : {static_cast<AbstractDataContainer*>(editable.get()),
                                     static_cast<AbstractDataContainer*>(readOnly.get())}) {
        c->setFinalLineEnding(content.endsWith('\n'));
        c->setLineEnding(content.contains('\r') ? LINE_ENDING_WINDOWS : LINE_ENDING_UNIX);
        c->setSaveWithTrailingDelimiters(trailing);
        QVERIFY(c->saveCSV(out, false, false, {}, {}));
        QCOMPARE(readAll(out), content);
    }
    // An edit of the second row puts that row, and only it, under the rule.
    const Bytes second = editable->getValue(1, 0, false);
    QVERIFY(editable->setValue(1, 0, second));
    QVERIFY(editable->saveCSV(out, false, false, {}, {}));
    const QList<QByteArray> lines = readAll(out).split('\n');
    const QList<QByteArray> original = content.split('\n');
    const QList<QByteArray> rule = ruled.split('\n');
    QCOMPARE(lines.size(), original.size());
    for (qsizetype i = 0; i < lines.size(); ++i)
        QCOMPARE(lines[i], i == 1 ? rule[1] : original[i]);
    // The whole table under the rule.
    for (AbstractDataContainer* c : {static_cast<AbstractDataContainer*>(editable.get()),
                                     static_cast<AbstractDataContainer*>(readOnly.get())}) {
        c->setKeepFieldCountsAsRead(false);
        QVERIFY(c->saveCSV(out, false, false, {}, {}));
        QCOMPARE(readAll(out), ruled);
    }
}

static void addParamRows() {
    QTest::addColumn<int>("standard");
    QTest::addColumn<char>("delimiter");
    QTest::addColumn<int>("encoding");
    const struct {
        const char* name;
        ParsingStandard standard;
        char delimiter;
    } standards[] = {{"rfc 4180", RFC_4180, ','},
                     {"delimiter only", DELIMITER_ONLY, ';'},
                     {"all quotes", ALL_QUOTES, '\t'},
                     {"sparse quotes", SPARSE_QUOTES, '|'},
                     {"ascii separated", ASCII_SEPARATED_VALUES, '\x1f'}};
    const struct {
        const char* name;
        EncodingType encoding;
    } encodings[] = {
        {"utf-8", UTF_8}, {"utf-16le", UTF_16LE}, {"utf-16be", UTF_16BE}, {"utf-32be", UTF_32BE}};
    for (const auto& s : standards)
        for (const auto& e : encodings)
            QTest::addRow("%s, %s", s.name, e.name) << int(s.standard) << s.delimiter << int(e.encoding);
}

void TestReadOnlyDifferential::cellsAgree_data() {
    addParamRows();
}

void TestReadOnlyDifferential::cellsAgree() {
    QFETCH(int, standard);
    QFETCH(char, delimiter);
    QFETCH(int, encoding);
    const Params p{static_cast<ParsingStandard>(standard), delimiter, static_cast<EncodingType>(encoding)};
    QTemporaryDir dir;
    for (quint32 seed = 1; seed <= 8; ++seed) {
        Generator gen(seed * 7919 + quint32(standard * 31 + encoding), p.standard,
                      char32_t(uchar(delimiter)));
        // Some files are a single line: the table is as wide as that line.
        const int numRows = seed % 4 == 0 ? 1 : 1 + gen.rng.bounded(40);
        const RandomFile file = gen.make(numRows, 1 + gen.rng.bounded(30));
        const QString path = dir.filePath(QStringLiteral("d%1.csv").arg(seed));
        writeFile(path, encode(file.text, p.encoding));
        // Small pieces for some files: the machine's state must carry across them.
        const qint64 piece = seed % 3 == 0 ? 4 * (1 + gen.rng.bounded(20)) : 0;
        ReadOnlyDataContainer::setPieceSizeForTesting(piece);
        EditableDataContainer::setPieceSizeForTesting(piece);
        auto ro = load<ReadOnlyDataContainer>(path, p);
        auto ed = load<EditableDataContainer>(path, p);
        QVERIFY(ro && ed);

        const int rows = int(file.rows.size());
        int cols = 0;
        for (const auto& row : file.rows)
            cols = std::max(cols, int(row.size()));
        QCOMPARE(ed->numRows(), rows);
        QCOMPARE(ro->numRows(), rows);
        QCOMPARE(ed->numCols(), cols);
        QCOMPARE(ro->numCols(), cols);

        std::vector<ReadOnlyDataContainer::CellPosition> all;
        std::vector<Bytes> expectedValues;
        for (int r = 0; r <= rows; ++r) {
            for (int c = 0; c <= cols; ++c) {
                const Field* f = r < rows && c < int(file.rows[r].size()) ? &file.rows[r][c] : nullptr;
                const Bytes ro1 = ro->getValue(r, c, false);
                const Bytes ed1 = ed->getValue(r, c, false);
                const QString where = QStringLiteral("seed %1 cell %2,%3: ro %4 ed %5")
                                          .arg(seed)
                                          .arg(r)
                                          .arg(c)
                                          .arg(QString::fromLatin1(hex(ro1)), QString::fromLatin1(hex(ed1)));
                if (!f || f->wellFormed) {
                    const bool unquotes = f && f->quoted && p.standard != DELIMITER_ONLY;
                    const Bytes loaded =
                        f ? encode(unquotes ? unquote(f->raw) : f->raw, p.encoding) : Bytes();
                    QVERIFY2(ed1 == loaded, qPrintable(where));
                } else {
                    QVERIFY2(ed1 == encode(f->raw, p.encoding), qPrintable(where));
                }
                QVERIFY2(ro1 == ed1, qPrintable(where));
                all.push_back({r, c});
                expectedValues.push_back(ro1);
            }
        }
        // All cells at once, in batched reads, read as they do one by one.
        std::vector<Bytes> batched;
        ro->getValues(all, batched);
        QVERIFY(batched == expectedValues);
    }
}

void TestReadOnlyDifferential::saveOverSourceMatchesEditableSave_data() {
    addParamRows();
}

// A cell of awkward characters that the standard can express: under "Delimiter Only" nothing
// may end the cell or the row, and the file's first cell may not start with a byte order mark.
std::u32string awkwardCell(QRandomGenerator& rng, const Params& p, bool firstInFile) {
    const char32_t delimiter = char32_t(uchar(p.delimiter));
    const char32_t all[] = {U'a',  U'b', U'Z', U'0', U' ',   delimiter, U'"',  U'\r',
                            U'\n', 0x1E, 0x1F, 0,    0xFEFF, 0xE9,      0x4E2D};
    std::u32string s;
    const int n = rng.bounded(7);
    for (int i = 0; i < n; ++i) {
        char32_t ch = all[rng.bounded(int(std::size(all)))];
        if (p.standard == DELIMITER_ONLY && (ch == delimiter || ch == U'\r' || ch == U'\n' || ch == 0x1E ||
                                             (i == 0 && firstInFile && ch == 0xFEFF)))
            ch = U'x';
        s += ch;
    }
    return s;
}

void TestReadOnlyDifferential::saveOverSourceMatchesEditableSave() {
    QFETCH(int, standard);
    QFETCH(char, delimiter);
    QFETCH(int, encoding);
    const Params p{static_cast<ParsingStandard>(standard), delimiter, static_cast<EncodingType>(encoding)};
    QTemporaryDir dir;
    for (quint32 seed = 1; seed <= 4; ++seed) {
        QRandomGenerator rng(seed * 104729 + quint32(standard * 7 + encoding));
        EditableDataContainer source;
        source.setDelimiter(p.delimiter, p.delimiter);
        source.setEncoding(p.encoding);
        source.setParsingStandard(p.standard);
        source.setSaveWithTrailingDelimiters(rng.bounded(2));
        const LineEndingType endings[] = {LINE_ENDING_WINDOWS, LINE_ENDING_UNIX,
                                          LINE_ENDING_RECORD_SEPARATOR};
        source.setLineEnding(endings[rng.bounded(3)]);
        const int rows = seed == 1 ? 1 : 1 + rng.bounded(30);
        for (int r = 0; r < rows; ++r) {
            const int n = 1 + rng.bounded(8);
            for (int c = 0; c < n; ++c)
                source.setValue(r, c, encode(awkwardCell(rng, p, r == 0 && c == 0), p.encoding));
        }
        const QString path = dir.filePath(QStringLiteral("s%1.csv").arg(seed));
        QVERIFY(source.saveCSV(path, false, false, {}, {}));

        auto ed = load<EditableDataContainer>(path, p);
        auto ro = load<ReadOnlyDataContainer>(path, p);
        QVERIFY(ed && ro);
        // What was saved reads back, in both containers.
        QCOMPARE(ed->numRows(), rows);
        QCOMPARE(ro->numRows(), rows);
        QCOMPARE(ro->numCols(), ed->numCols());
        for (int r = 0; r < rows; ++r) {
            for (int c = 0; c <= source.numCols(); ++c) {
                const QString where = QStringLiteral("seed %1 cell %2,%3: %4")
                                          .arg(seed)
                                          .arg(r)
                                          .arg(c)
                                          .arg(QString::fromLatin1(hex(source.getValue(r, c))));
                QVERIFY2(ed->getValue(r, c) == source.getValue(r, c), qPrintable(where));
                QVERIFY2(ro->getValue(r, c, false) == source.getValue(r, c), qPrintable(where));
            }
        }

        // Both save the table alike, in rows and transposed, and over the file being read.
        for (AbstractDataContainer* c :
             {static_cast<AbstractDataContainer*>(ed.get()), static_cast<AbstractDataContainer*>(ro.get())}) {
            c->setSaveWithTrailingDelimiters(source.getSaveWithTrailingDelimiters());
            c->setLineEnding(source.getLineEnding());
        }
        for (const bool transposed : {true, false}) {
            const QString editablePath = dir.filePath(QStringLiteral("e%1%2.csv").arg(seed).arg(transposed));
            const QString readOnlyPath = dir.filePath(QStringLiteral("r%1%2.csv").arg(seed).arg(transposed));
            QVERIFY(ed->saveCSV(editablePath, false, transposed, {}, {}));
            ro->setFilepath(readOnlyPath);
            QVERIFY(ro->saveCSV(false, transposed, {}, {}));
            QCOMPARE(readAll(readOnlyPath), readAll(editablePath));
            ro->setFilepath(path);
        }
        const QString editablePath = dir.filePath(QStringLiteral("e%1.csv").arg(seed));
        QVERIFY(ed->saveCSV(editablePath, false, false, {}, {}));
        const Bytes before = ro->getValue(rows - 1, 0, false);
        QVERIFY(ro->saveCSV(false, false, {}, {})); // over the file it is reading
        QCOMPARE(readAll(path), readAll(editablePath));
        // The index still reads the replaced file's cells through the open file.
        QCOMPARE(ro->getValue(rows - 1, 0, false), before);
    }
}

QTEST_GUILESS_MAIN(TestReadOnlyDifferential)
#include "tst_readonlydifferential.moc"
