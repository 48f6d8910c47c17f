// The streamed save of a read-only table held byte for byte to the cell-by-cell save it replaces,
// on random files of every encoding family and standard, with awkward lines (quoted line breaks,
// doubled quotes, needless quotes, text behind a closing quote, mixed line endings, ragged and
// empty lines, lines far longer than a read), in the file's order, filtered, sorted and both,
// with columns moved or hidden, and saved with other parameters; read in pieces of several
// sizes. And saves that fail: a full or read-only disk, a file cut short while it is saved.
#include "containertesthelpers.h"
#include "scratchdisk.h"

#include "storage/piecereader.h"
#include "storage/readonlydatacontainer.h"
#include "storage/readonlysavelines.h"

#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QRandomGenerator>
#include <QStandardPaths>
#include <QTest>

#include <algorithm>
#include <numeric>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// Writes `text` over the file at `path` in place and gives it back its time of last change, as
// another program could (the file's size stays the same where the caller keeps it).
bool rewriteKeepingTime(const QString& path, const QByteArray& text) {
    struct stat before;
    if (::stat(QFile::encodeName(path).constData(), &before) != 0)
        return false;
    const int fd = ::open(QFile::encodeName(path).constData(), O_WRONLY);
    if (fd < 0)
        return false;
    const timespec times[2] = {before.st_atim, before.st_mtim};
    const bool done = ::pwrite(fd, text.constData(), size_t(text.size()), 0) == ssize_t(text.size()) &&
                      ::futimens(fd, times) == 0;
    ::close(fd);
    return done;
}

Bytes encode(const std::u32string& text, EncodingType encoding) {
    Bytes out;
    auto unit = [&](quint32 v, int width, bool big) {
        for (int k = 0; k < width; ++k)
            out.push_back(static_cast<char>((v >> (big ? 8 * (width - 1 - k) : 8 * k)) & 0xFF));
    };
    for (const char32_t cp : text) {
        if (encoding == UTF_16LE || encoding == UTF_16BE) {
            unit(cp, 2, encoding == UTF_16BE);
        } else if (encoding != UTF_8) {
            out.push_back(static_cast<char>(cp)); // a single-byte code page: code points below 256
        } else if (cp < 0x80) {
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
    return out;
}

// A random file's text: mostly one line ending, some of the others; cells of every kind.
std::u32string randomText(QRandomGenerator& rng, char32_t delimiter, bool wideAlphabet, bool finalEnding) {
    const char32_t narrow[] = {U'a', U'b', U'Z', U'0', U'7', U' ', U'.', 0xE9, 0xFC};
    const char32_t wide[] = {U'a', U'q', U'5', U' ', 0xE9, 0x3A9, 0x4E2D, 0xFEFF};
    auto word = [&](int maxLength) {
        std::u32string s;
        const int n = 1 + rng.bounded(maxLength);
        for (int i = 0; i < n; ++i)
            s += wideAlphabet ? wide[rng.bounded(int(std::size(wide)))]
                              : narrow[rng.bounded(int(std::size(narrow)))];
        return s;
    };
    const std::u32string endings[] = {U"\n", U"\r\n", U"\x1e", U"\r"};
    const int usual = rng.bounded(3);
    std::u32string text;
    const int lines = 1 + rng.bounded(60);
    for (int l = 0; l < lines; ++l) {
        const int fields = rng.bounded(8) == 0 ? 0 : 1 + rng.bounded(6);
        for (int f = 0; f < fields; ++f) {
            if (f > 0)
                text += delimiter;
            // Appended piece by piece: concatenated temporaries trip a false warning of the compiler.
            auto add = [&](std::initializer_list<std::u32string> parts) {
                for (const std::u32string& part : parts)
                    text.append(part);
            };
            const std::u32string q(1, U'"');
            switch (rng.bounded(13)) {
            case 0:
                break;
            case 1:
                add({word(3), q, word(3)}); // a quote inside an unquoted cell
                break;
            case 2:
                add({q, word(3), std::u32string(1, delimiter), word(3), q});
                break;
            case 3:
                add({q, word(3), rng.bounded(2) ? U"\n" : U"\r\n", word(3), q});
                break;
            case 4:
                if (rng.bounded(2))
                    add({q, word(3), q, q, word(2), q});
                else
                    add({q, q, q, word(3), q});
                break;
            case 5:
                if (rng.bounded(3))
                    add({q, word(4), q}); // quotes not needed
                else
                    add({q, q});
                break;
            case 6:
                add({q, word(3), q, word(2)}); // text behind the closing quote
                break;
            case 7:
                add({word(rng.bounded(2) ? 300 : 3000)}); // longer than a read
                break;
            case 8: {
                // Another save delimiter, or a quote, anywhere in a cell longer than a vector's bytes.
                std::u32string s = word(40);
                const char32_t marks[] = {U',', U'|', U';', U'\t', U'"'};
                s.insert(s.begin() + rng.bounded(int(s.size()) + 1), marks[rng.bounded(5)]);
                add({s});
                break;
            }
            default:
                add({word(8)});
                break;
            }
        }
        const bool last = l + 1 == lines;
        if (last && rng.bounded(6) == 0) {
            text += U'"'; // a quote never closed
            text.append(word(3));
        }
        if (!last || finalEnding)
            text.append(endings[rng.bounded(10) == 0 ? rng.bounded(4) : usual]);
    }
    return text;
}

// How a variation changes the table and its save parameters before the two saves.
enum Variation {
    AsRead,
    Filtered,
    Sorted,
    SortedFiltered,
    ColumnsMoved,
    ColumnsHidden,
    WindowsEndings,
    SeparatorEndings,
    OtherDelimiter,
    OtherStandard,
    PaddedLines,
    TrimmedLines,
    FinalEndingFlipped,
    VariationCount
};

} // namespace

class TestReadOnlyStreamSave : public QObject {
    Q_OBJECT

private:
    QTemporaryDir dir{scratchTemplate(QStringLiteral("tst_readonlystreamsave"))};
    int counter = 0;

    QString newPath() { return dir.filePath(QStringLiteral("s%1.csv").arg(++counter)); }

    QByteArray save(ReadOnlyDataContainer& c, bool streamed, const std::vector<int>& rows,
                    const std::vector<int>& cols) {
        ReadOnlyDataContainer::setStreamedSaveForTesting(streamed);
        const QString source = c.getFilepath();
        const QString path = newPath();
        const bool ok = c.saveCSV(path, false, false, rows, cols);
        ReadOnlyDataContainer::setStreamedSaveForTesting(true);
        c.setFilepath(source);
        const QByteArray bytes = ok ? readAll(path) : QByteArray("<failed: ") + c.getErrorString().toUtf8();
        QFile::remove(path);
        return bytes;
    }

    static std::vector<int> randomSubset(QRandomGenerator& rng, int n) {
        std::vector<int> out;
        for (int i = 0; i < n; ++i) {
            if (rng.bounded(3) == 0)
                out.push_back(i);
        }
        return out;
    }

    static std::vector<int> randomOrder(QRandomGenerator& rng, int n) {
        std::vector<int> order(static_cast<size_t>(n));
        std::iota(order.begin(), order.end(), 0);
        for (int i = n - 1; i > 0; --i)
            std::swap(order[static_cast<size_t>(i)], order[static_cast<size_t>(rng.bounded(i + 1))]);
        return order;
    }

private slots:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }
    void cleanup() {
        ReadOnlyDataContainer::setPieceSizeForTesting(0);
        ReadOnlyDataContainer::setStreamedSaveForTesting(true);
        PieceReader::setReadFaultForTesting(-1, 0);
    }

    void sameBytesAsCellByCellSave_data() {
        QTest::addColumn<int>("encoding");
        QTest::addColumn<bool>("bom");
        QTest::addColumn<int>("standard");
        QTest::addColumn<char>("delimiter");
        const struct {
            const char* name;
            EncodingType encoding;
            bool bom;
        } encodings[] = {{"UTF-8", UTF_8, false},
                         {"UTF-8 BOM", UTF_8, true},
                         {"UTF-16LE BOM", UTF_16LE, true},
                         {"UTF-16BE", UTF_16BE, false},
                         {"Windows-1252", WINDOWS_1252, false}};
        const struct {
            const char* name;
            ParsingStandard standard;
        } standards[] = {{"RFC 4180", RFC_4180},
                         {"Delimiter Only", DELIMITER_ONLY},
                         {"All Quotes", ALL_QUOTES},
                         {"Sparse Quotes", SPARSE_QUOTES},
                         {"ASCII Separated", ASCII_SEPARATED_VALUES}};
        for (const auto& e : encodings) {
            for (const auto& s : standards) {
                QTest::addRow("%s, %s", e.name, s.name)
                    << int(e.encoding) << e.bom << int(s.standard) << (s.standard == RFC_4180 ? ';' : ',');
            }
        }
        QTest::addRow("UTF-8, RFC 4180, tab") << int(UTF_8) << false << int(RFC_4180) << '\t';
        QTest::addRow("UTF-8, no delimiter") << int(UTF_8) << false << int(RFC_4180) << '\0';
    }

    void sameBytesAsCellByCellSave() {
        QFETCH(int, encoding);
        QFETCH(bool, bom);
        QFETCH(int, standard);
        QFETCH(char, delimiter);
        const auto type = static_cast<EncodingType>(encoding);
        // Small pieces cut the file at nearly every row's start, and a reordered table's text
        // takes several stores.
        const qint64 pieces[] = {0, 16, 100, 4000};
        for (quint32 seed = 1; seed <= 4; ++seed) {
            QRandomGenerator rng(seed * 7919 + quint32(encoding * 31 + standard * 5 + delimiter));
            const bool finalEnding = rng.bounded(4) != 0;
            Bytes text = encode(randomText(rng, char32_t(uchar(delimiter ? delimiter : ',')),
                                           type != WINDOWS_1252, finalEnding),
                                type);
            if (bom) {
                const Bytes mark = AbstractDataContainer::getEncodingBom(type);
                text.insert(text.begin(), mark.begin(), mark.end());
            }
            const QString path = newPath();
            writeFile(path, text);
            for (int v = 0; v < VariationCount; ++v) {
                ReadOnlyDataContainer::setPieceSizeForTesting(pieces[(seed + quint32(v)) % 4]);
                auto c = openAs<ReadOnlyDataContainer>(path, delimiter,
                                                       static_cast<ParsingStandard>(standard), type);
                QVERIFY(c);
                QVERIFY(c->numRows() > 0);
                std::vector<int> rows;
                std::vector<int> cols;
                switch (v) {
                case Filtered:
                    rows = randomSubset(rng, c->numRows());
                    break;
                case Sorted:
                    c->setRowOrder(randomOrder(rng, c->numRows()));
                    break;
                case SortedFiltered:
                    c->setRowOrder(randomOrder(rng, c->numRows()));
                    rows = randomSubset(rng, c->numRows());
                    break;
                case ColumnsMoved:
                    c->setColOrder(randomOrder(rng, c->numCols()));
                    break;
                case ColumnsHidden:
                    cols = randomSubset(rng, c->numCols());
                    break;
                case WindowsEndings:
                    c->setLineEnding(LINE_ENDING_WINDOWS);
                    break;
                case SeparatorEndings:
                    c->setLineEnding(LINE_ENDING_RECORD_SEPARATOR);
                    break;
                case OtherDelimiter:
                    c->setDelimiter(delimiter, delimiter == '|' ? ',' : '|');
                    break;
                case OtherStandard:
                    c->setParsingStandard(static_cast<ParsingStandard>((standard + 1 + rng.bounded(4)) % 5));
                    break;
                case PaddedLines:
                case TrimmedLines:
                    c->setKeepFieldCountsAsRead(false);
                    c->setSaveWithTrailingDelimiters(v == PaddedLines);
                    break;
                case FinalEndingFlipped:
                    c->setFinalLineEnding(!c->getFinalLineEnding());
                    break;
                default:
                    break;
                }
                const QByteArray expected = save(*c, false, rows, cols);
                const QByteArray streamed = save(*c, true, rows, cols);
                QVERIFY2(!expected.startsWith("<failed"), expected.constData());
                if (streamed != expected) {
                    qsizetype at = 0;
                    while (at < streamed.size() && at < expected.size() && streamed[at] == expected[at])
                        ++at;
                    const qsizetype from = std::max<qsizetype>(0, at - 40);
                    QFAIL(qPrintable(
                        QStringLiteral("seed %1, variation %2, first difference at %3:\n%4\n---\n%5")
                            .arg(seed)
                            .arg(v)
                            .arg(at)
                            .arg(QString::fromLatin1(streamed.mid(from, 80).toHex(' ')),
                                 QString::fromLatin1(expected.mid(from, 80).toHex(' ')))));
                }
            }
        }
    }

    // Long stretches of lines without quotes, which are taken many at a time, broken now and then
    // by a line that isn't (a quote, a carriage return, an empty line), cut at every read size:
    // whole, filtered, and with the last line's ending flipped.
    void plainStretchesAsCellByCellSave() {
        QRandomGenerator rng(77);
        Bytes text;
        for (int l = 0; l < 1500; ++l) {
            const int fields = 1 + rng.bounded(4);
            for (int f = 0; f < fields; ++f) {
                if (f > 0)
                    text.push_back(',');
                for (int k = rng.bounded(12); k > 0; --k)
                    text.push_back(char('a' + rng.bounded(26)));
            }
            switch (rng.bounded(40)) {
            case 0:
                text.insert(text.end(), {'"', 'x', ',', 'y', '"'});
                break;
            case 1:
                text.push_back('\r');
                break;
            default:
                break;
            }
            if (l + 1 < 1500 || rng.bounded(2))
                text.push_back('\n');
        }
        const QString path = newPath();
        writeFile(path, text);
        for (const qint64 piece : {qint64(0), qint64(16), qint64(64), qint64(100), qint64(1000)}) {
            for (int v = 0; v < 3; ++v) {
                ReadOnlyDataContainer::setPieceSizeForTesting(piece);
                auto c = openAs<ReadOnlyDataContainer>(path, ',', RFC_4180, UTF_8);
                QVERIFY(c);
                std::vector<int> rows;
                if (v == 1)
                    rows = randomSubset(rng, c->numRows());
                if (v == 2)
                    c->setFinalLineEnding(!c->getFinalLineEnding());
                const QByteArray expected = save(*c, false, rows, {});
                QVERIFY2(!expected.startsWith("<failed"), expected.constData());
                QCOMPARE(save(*c, true, rows, {}), expected);
            }
        }
    }

    // Lines with quoted cells saved with another delimiter, each among plain lines and cut into
    // pieces of every size: the quoted cells that no longer need quotes lose them, the others keep
    // or gain them, and the lines the stretch-at-a-time path leaves alone (a quote inside a cell,
    // text behind a closing quote, a cell with the new delimiter) come out as the writer makes them.
    void quotedCellsWithAnotherDelimiter_data() {
        QTest::addColumn<QByteArray>("line");
        QTest::newRow("comma no longer needs quotes") << QByteArray("a,\"b,c\",d");
        QTest::newRow("doubled quote keeps them") << QByteArray("\"x\"\"y\",z");
        QTest::newRow("quoted last cell") << QByteArray("a,b,\"c d\"");
        QTest::newRow("empty cell behind a quoted one") << QByteArray("\"a\",");
        QTest::newRow("two quoted cells, empty quotes") << QByteArray("\"a\",\"\",b");
        QTest::newRow("line break in quotes") << QByteArray("\"a\nb\",c");
        QTest::newRow("new delimiter in a plain cell") << QByteArray("a|b,\"c\"");
        QTest::newRow("new delimiter in a quoted cell") << QByteArray("a,\"b|c\"");
        QTest::newRow("quote inside a plain cell") << QByteArray("a\"b,\"c\"");
        QTest::newRow("text behind a closing quote") << QByteArray("\"a\"b,c");
    }

    void quotedCellsWithAnotherDelimiter() {
        QFETCH(QByteArray, line);
        QByteArray text;
        for (int r = 0; r < 30; ++r)
            text += (r % 7 == 3 ? line : "p" + QByteArray::number(r) + ",q,r") + "\n";
        const QString path = newPath();
        writeFile(path, text);
        for (const qint64 piece : {qint64(0), qint64(16), qint64(64), qint64(1000)}) {
            ReadOnlyDataContainer::setPieceSizeForTesting(piece);
            auto c = openAs<ReadOnlyDataContainer>(path);
            QVERIFY(c);
            c->setDelimiter(',', '|');
            const QByteArray expected = save(*c, false, {}, {});
            QVERIFY2(!expected.startsWith("<failed"), expected.constData());
            QCOMPARE(save(*c, true, {}, {}), expected);
        }
    }

    // Random lines saved with another delimiter, cut into pieces of every size, so that runs of
    // lines made in one go start and stop anywhere: cells with the new delimiter, quotes opening,
    // doubled, leading, empty or inside a plain cell, line breaks inside quotes, CR and record
    // separators, text behind a closing quote, cells across 64-byte blocks; both directions
    // between comma and tab, comma to semicolon; a standard that quotes cells with a quote
    // anywhere, one that doesn't, and one without quotes.
    void runsWithAnotherDelimiter_data() {
        QTest::addColumn<char>("from");
        QTest::addColumn<char>("to");
        QTest::addColumn<int>("standard");
        QTest::newRow("comma to tab, RFC 4180") << ',' << '\t' << int(RFC_4180);
        QTest::newRow("tab to comma, RFC 4180") << '\t' << ',' << int(RFC_4180);
        QTest::newRow("comma to semicolon, RFC 4180") << ',' << ';' << int(RFC_4180);
        QTest::newRow("comma to semicolon, Sparse Quotes") << ',' << ';' << int(SPARSE_QUOTES);
        QTest::newRow("tab to comma, Delimiter Only") << '\t' << ',' << int(DELIMITER_ONLY);
    }

    void runsWithAnotherDelimiter() {
        QFETCH(char, from);
        QFETCH(char, to);
        QFETCH(int, standard);
        for (quint32 seed = 1; seed <= 3; ++seed) {
            QRandomGenerator rng(seed * 131 + quint32(from * 7 + to + standard));
            QByteArray text;
            auto word = [&](int most) {
                QByteArray w;
                for (int k = rng.bounded(most + 1); k > 0; --k)
                    w += char('a' + rng.bounded(26));
                return w;
            };
            for (int l = 0; l < 400; ++l) {
                const int fields = 1 + rng.bounded(8);
                for (int f = 0; f < fields; ++f) {
                    if (f > 0)
                        text += from;
                    switch (rng.bounded(rng.bounded(4) == 0 ? 16 : 60)) {
                    case 0:
                        text += "\"" + word(4) + from + word(4) + "\""; // loses its quotes
                        break;
                    case 1:
                        text += "\"" + word(4) + to + word(4) + "\""; // keeps them
                        break;
                    case 2:
                        text += "\"" + word(3) + "\"\"" + word(3) + "\""; // keeps them under RFC 4180
                        break;
                    case 3:
                        text += "\"\"\"" + word(3) + "\""; // a leading quote keeps them
                        break;
                    case 4:
                        text += "\"\""; // empty
                        break;
                    case 5:
                        text += "\"" + word(3) + (rng.bounded(2) ? "\n" : "\r\n") + word(3) + "\"";
                        break;
                    case 6:
                        text += word(3) + to + word(3); // gains quotes
                        break;
                    case 7:
                        text += word(3) + "\"" + word(3); // a quote inside a plain cell
                        break;
                    case 8:
                        text += "\"" + word(3) + "\"" + word(2); // text behind the closing quote
                        break;
                    case 9:
                        text += word(2) + (rng.bounded(2) ? "\r" : "\x1e") + word(2);
                        break;
                    case 10:
                        text += "\"" + word(90) + from + word(90) + "\""; // across blocks
                        break;
                    default:
                        text += word(rng.bounded(8) == 0 ? 150 : 8);
                        break;
                    }
                }
                if (l + 1 < 400 || rng.bounded(2))
                    text += rng.bounded(30) == 0 ? "\r\n" : "\n";
            }
            const QString path = newPath();
            writeFile(path, text);
            for (const qint64 piece : {qint64(16), qint64(64), qint64(100), qint64(333), qint64(4096)}) {
                ReadOnlyDataContainer::setPieceSizeForTesting(piece);
                auto c =
                    openAs<ReadOnlyDataContainer>(path, from, static_cast<ParsingStandard>(standard), UTF_8);
                QVERIFY(c);
                c->setDelimiter(from, to);
                const QByteArray expected = save(*c, false, {}, {});
                QVERIFY2(!expected.startsWith("<failed"), expected.constData());
                const QByteArray streamed = save(*c, true, {}, {});
                if (streamed != expected) {
                    qsizetype at = 0;
                    while (at < streamed.size() && at < expected.size() && streamed[at] == expected[at])
                        ++at;
                    QFAIL(qPrintable(
                        QStringLiteral("seed %1, piece %2, first difference at %3: %4 --- %5")
                            .arg(seed)
                            .arg(piece)
                            .arg(at)
                            .arg(QString::fromLatin1(streamed.mid(std::max<qsizetype>(0, at - 30), 60)),
                                 QString::fromLatin1(expected.mid(std::max<qsizetype>(0, at - 30), 60)))));
                }
            }
        }
    }

    // The swappers this processor runs make the same bytes and stop at the same line as the plain
    // one, on text with every kind of byte that stops a run at every place in a block.
    void swappersAgree() {
        ReadOnlySaveLines::SwapRunFunction runs[3];
        const int count = ReadOnlySaveLines::availableSwapRuns(runs);
        QRandomGenerator rng(5);
        const char alphabet[] = {'a', 'b', ',', ',', ';', '"', '"', '\n', '\n', '\r', '\x1e', 'z'};
        for (int round = 0; round < 3000; ++round) {
            ReadOnlySaveLines::SwapKeys keys;
            keys.quoteAnywhere = rng.bounded(2) == 0;
            keys.quotedCells = rng.bounded(5) != 0;
            const int n = 1 + rng.bounded(300);
            std::vector<char> text(static_cast<size_t>(n + 64 + 1), '\0');
            // Mostly plain, so that runs go on a while.
            for (int i = 0; i < n; ++i)
                text[static_cast<size_t>(i)] =
                    rng.bounded(4) ? alphabet[rng.bounded(3)] : alphabet[rng.bounded(int(sizeof alphabet))];
            std::vector<char> first(static_cast<size_t>(n + 64));
            ReadOnlySaveLines::SwapStop firstStop;
            runs[0](text.data(), first.data(), n, keys, firstStop);
            for (int k = 1; k < count; ++k) {
                std::vector<char> made(static_cast<size_t>(n + 64));
                ReadOnlySaveLines::SwapStop stop;
                runs[k](text.data(), made.data(), n, keys, stop);
                QCOMPARE(stop.lines, firstStop.lines);
                QCOMPARE(stop.lineStart, firstStop.lineStart);
                QCOMPARE(stop.outLineStart, firstStop.outLineStart);
                QCOMPARE(stop.at, firstStop.at);
                QVERIFY(std::equal(made.begin(), made.begin() + stop.outLineStart, first.begin()));
            }
        }
    }

    // Saved over the file its index reads, sorted and filtered: the new file is what a save
    // elsewhere writes, and the cells still read from the file as it was.
    void savesOverItsOwnFile() {
        QRandomGenerator rng(42);
        const QString path = newPath();
        writeFile(path, encode(randomText(rng, U',', true, true), UTF_8));
        ReadOnlyDataContainer::setPieceSizeForTesting(64);
        auto c = openAs<ReadOnlyDataContainer>(path);
        QVERIFY(c);
        c->setRowOrder(randomOrder(rng, c->numRows()));
        const std::vector<int> rows = randomSubset(rng, c->numRows());
        const QByteArray expected = save(*c, false, rows, {});
        const Bytes firstCell = c->getValue(0, 0);
        QVERIFY(c->saveCSV(false, false, rows, {}));
        QCOMPARE(readAll(path), expected);
        QCOMPARE(c->getValue(0, 0), firstCell);
        QVERIFY(!c->getFileChanged());
        // And again, now that the path holds another file than the one open.
        QVERIFY(c->saveCSV(false, false, rows, {}));
        QCOMPARE(readAll(path), expected);
    }

    // An order that shows some file rows twice and others not at all saves as the cell-by-cell
    // save writes it, from a text in memory and from stores, filtered or not.
    void orderWithRepeatedRowsAsCellByCellSave() {
        QRandomGenerator rng(11);
        const QString path = newPath();
        writeFile(path, encode(randomText(rng, U',', false, true), UTF_8));
        for (const qint64 piece : {qint64(0), qint64(16), qint64(4000)}) {
            for (const bool filtered : {false, true}) {
                ReadOnlyDataContainer::setPieceSizeForTesting(piece);
                auto c = openAs<ReadOnlyDataContainer>(path);
                QVERIFY(c);
                std::vector<int> order = randomOrder(rng, c->numRows());
                for (size_t k = 0; k + 1 < order.size(); k += 3)
                    order[k] = order[k + 1];
                c->setRowOrder(order);
                const std::vector<int> rows = filtered ? randomSubset(rng, c->numRows()) : std::vector<int>{};
                const QByteArray expected = save(*c, false, rows, {});
                QVERIFY2(!expected.startsWith("<failed"), expected.constData());
                QCOMPARE(save(*c, true, rows, {}), expected);
            }
        }
    }

    // Filters that keep and drop long runs of rows, which start and end inside pieces, at
    // pieces' cuts and at the index's entries, and short ones, over lines with quoted line
    // breaks, needless quotes (lines made anew between runs copied) and CRLF endings.
    void filteredRunsAsCellByCellSave_data() {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<int>("ending");
        QByteArray lf;
        QByteArray crlf;
        for (int r = 0; r < 600; ++r) {
            QByteArray line = "r" + QByteArray::number(r) + ",";
            switch (r % 7) {
            case 2:
                line += "\"two\nlines\"";
                break;
            case 4:
                line += "\"needless\"";
                break;
            case 5:
                line += "\"a, b\",\"say \"\"hi\"\"\"";
                break;
            default:
                line += "plain";
                break;
            }
            lf += line + "\n";
            crlf += line + "\r\n";
        }
        QTest::newRow("LF") << lf << int(LINE_ENDING_UNIX);
        QTest::newRow("CRLF kept") << crlf << int(LINE_ENDING_WINDOWS);
        QTest::newRow("CRLF made LF") << crlf << int(LINE_ENDING_UNIX);
        QTest::newRow("no final ending") << lf.chopped(1) << int(LINE_ENDING_UNIX);
    }

    void filteredRunsAsCellByCellSave() {
        QFETCH(QByteArray, text);
        QFETCH(int, ending);
        const QString path = newPath();
        writeFile(path, text);
        // Rows dropped: every third; long runs kept and dropped; all but the first and the last;
        // all but a few; all but a few from every other row start of the index on.
        std::vector<std::vector<int>> filters(5);
        for (int r = 0; r < 600; ++r) {
            if (r % 3 == 1)
                filters[0].push_back(r);
            if ((r / 37) % 2 == 1 || (r > 400 && r < 590))
                filters[1].push_back(r);
            if (r > 0 && r < 599)
                filters[2].push_back(r);
            if (r % 101 != 0)
                filters[3].push_back(r);
            // Rows shown from where the index has a row's first cell (every 25 rows here) on.
            if (r % 50 >= 3)
                filters[4].push_back(r);
        }
        for (const qint64 piece : {qint64(64), qint64(1000), qint64(6000)}) {
            for (size_t f = 0; f < filters.size(); ++f) {
                ReadOnlyDataContainer::setPieceSizeForTesting(piece);
                auto c = openAs<ReadOnlyDataContainer>(path);
                QVERIFY(c);
                QCOMPARE(c->numRows(), 600);
                c->setLineEnding(static_cast<LineEndingType>(ending));
                const QByteArray expected = save(*c, false, filters[f], {});
                QVERIFY2(!expected.startsWith("<failed"), expected.constData());
                QVERIFY2(save(*c, true, filters[f], {}) == expected,
                         qPrintable(QStringLiteral("piece %1, filter %2").arg(piece).arg(f)));
            }
        }
    }

    // A sorted table whose text is held in memory whole, its lines copied on two threads: orders
    // reversed, shuffled, shuffled and filtered, with lines made anew (needless quotes, the first
    // line, a last line without its ending) among the copied ones on either thread's share.
    void sortedInMemoryAsCellByCellSave() {
        QRandomGenerator rng(23);
        QByteArray text;
        for (int r = 0; r < 600; ++r) {
            text += "k" + QByteArray::number(rng.bounded(1000)) + ",";
            switch (rng.bounded(40)) {
            case 0:
                text += "\"needless\"";
                break;
            case 1:
            case 2:
            case 3:
                text += "\"line\r\nbreak\"";
                break;
            default:
                text += QByteArray(rng.bounded(30), 'x');
                break;
            }
            text += rng.bounded(40) == 0 ? "\r\n" : "\n";
        }
        text.chop(1); // the last line without its ending
        const QString path = newPath();
        writeFile(path, text);
        // A store of four pieces holds the whole text: pieces of a quarter of it and more.
        for (const qint64 piece : {text.size() / 4 + 64, text.size() / 2, qint64(text.size())}) {
            for (int v = 0; v < 3; ++v) {
                ReadOnlyDataContainer::setPieceSizeForTesting(piece);
                auto c = openAs<ReadOnlyDataContainer>(path);
                QVERIFY(c);
                std::vector<int> order = randomOrder(rng, c->numRows());
                if (v == 0)
                    std::iota(order.rbegin(), order.rend(), 0);
                c->setRowOrder(order);
                const std::vector<int> rows = v == 2 ? randomSubset(rng, c->numRows()) : std::vector<int>{};
                const QByteArray expected = save(*c, false, rows, {});
                QVERIFY2(!expected.startsWith("<failed"), expected.constData());
                QVERIFY2(save(*c, true, rows, {}) == expected,
                         qPrintable(QStringLiteral("piece %1, variation %2").arg(piece).arg(v)));
            }
        }
    }

    // A file cut short while it is saved: the save says the file changed, and the target keeps
    // its old text; read in one stream, in pieces on their own threads, and into memory whole or
    // into stores for a sorted table.
    void fileCutShortFailsTheSave_data() {
        QTest::addColumn<qint64>("piece");
        QTest::addColumn<bool>("sorted");
        for (const qint64 piece : {qint64(0), qint64(4096), qint64(262144)}) {
            for (const bool sorted : {false, true})
                QTest::addRow("piece %lld%s", piece, sorted ? ", sorted" : "") << piece << sorted;
        }
    }

    void fileCutShortFailsTheSave() {
        QFETCH(qint64, piece);
        QFETCH(bool, sorted);
        QByteArray text;
        for (int r = 0; r < 20000; ++r)
            text += "cell" + QByteArray::number(r) + ",\"quoted, " + QByteArray::number(r) + "\",x\n";
        const QString path = newPath();
        writeFile(path, text);
        ReadOnlyDataContainer::setPieceSizeForTesting(piece);
        auto c = openAs<ReadOnlyDataContainer>(path);
        QVERIFY(c);
        if (sorted) {
            QRandomGenerator rng(7);
            c->setRowOrder(randomOrder(rng, c->numRows()));
        }
        const QString target = newPath();
        writeFile(target, QByteArray("old\n"));
        PieceReader::setReadFaultForTesting(text.size() / 2, 0);
        QVERIFY(!c->saveCSV(target, false, false, {}, {}));
        PieceReader::setReadFaultForTesting(-1, 0);
        QVERIFY(!c->getErrorString().isEmpty());
        QCOMPARE(readAll(target), QByteArray("old\n"));
        QCOMPARE(c->getFilepath(), path);
    }

    // Line breaks moved by another program that kept the file's size and time: the rows no
    // longer start where the index has them, and the save says the file changed instead of
    // writing the new text as the table's, in the file's order and sorted, from piece sizes that
    // cut the file where rows start.
    void movedLineBreakUnderTheSameStampFailsTheSave_data() {
        QTest::addColumn<QByteArray>("moved");
        QByteArray text;
        for (int r = 0; r < 400; ++r)
            text += "r" + QByteArray::number(1000 + r) + ",x\n";
        // Every "r1000,x\nr1001,x\n" becomes "r1000,x,r1001\nx\n": every other row starts elsewhere.
        QByteArray pairs;
        for (int r = 0; r < 400; r += 2)
            pairs += "r" + QByteArray::number(1000 + r) + ",x,r" + QByteArray::number(1001 + r) + "\nx\n";
        QTest::newRow("rows moved") << pairs;
        // One break a byte later, right where the index has a strip at row 25 (strips of 25
        // cells, rows of 2), and two lines joined further on: each piece has its count of lines,
        // but the first no longer ends with a line ending.
        QByteArray cut = text;
        std::swap(cut[25 * 8 - 1], cut[25 * 8]);
        cut[30 * 8 - 1] = ',';
        QTest::newRow("line running over a cut") << cut;
    }

    void movedLineBreakUnderTheSameStampFailsTheSave() {
        QFETCH(QByteArray, moved);
        QByteArray text;
        for (int r = 0; r < 400; ++r)
            text += "r" + QByteArray::number(1000 + r) + ",x\n";
        QCOMPARE(moved.size(), text.size());
        const QString path = newPath();
        for (const qint64 piece : {qint64(16), qint64(100)}) {
            for (const bool sorted : {false, true}) {
                ReadOnlyDataContainer::setPieceSizeForTesting(piece);
                writeFile(path, text);
                auto c = openAs<ReadOnlyDataContainer>(path);
                QVERIFY(c);
                QCOMPARE(c->numRows(), 400);
                if (sorted) {
                    QRandomGenerator rng(5);
                    c->setRowOrder(randomOrder(rng, c->numRows()));
                }
                QVERIFY(rewriteKeepingTime(path, moved));
                const QString target = newPath();
                writeFile(target, QByteArray("old\n"));
                QVERIFY2(!c->saveCSV(target, false, false, {}, {}),
                         qPrintable(QStringLiteral("piece %1, sorted %2").arg(piece).arg(sorted)));
                QVERIFY(c->getFileChanged());
                QCOMPARE(readAll(target), QByteArray("old\n"));
            }
        }
    }

    // A filter that leaves out whole pieces: their rows are neither read nor walked, yet a line
    // break moved over a cut of a piece with rows shown (the pieces are cut every 25 rows, where
    // the index has a row's first cell), under the same size and time, still fails the save, and
    // one moved over a cut between pieces of rows left out leaves what is written as it was.
    void changeUnderAFilterIsFoundWhereRowsShow_data() {
        QTest::addColumn<int>("row");
        QTest::addColumn<bool>("fails");
        QTest::newRow("among the rows shown") << 24 << true;
        QTest::newRow("among the rows left out") << 199 << false;
    }

    void changeUnderAFilterIsFoundWhereRowsShow() {
        QFETCH(int, row);
        QFETCH(bool, fails);
        QByteArray text;
        for (int r = 0; r < 400; ++r)
            text += "r" + QByteArray::number(1000 + r) + ",x\n";
        std::vector<int> rows;
        for (int r = 20; r < 380; ++r)
            rows.push_back(r);
        const QString path = newPath();
        writeFile(path, text);
        ReadOnlyDataContainer::setPieceSizeForTesting(16);
        auto c = openAs<ReadOnlyDataContainer>(path);
        QVERIFY(c);
        const QByteArray expected = save(*c, false, rows, {});
        // The row's line break a byte later, over the cut: "r1024,x\nr1025,x\n" becomes
        // "r1024,xr\n1025,x\n".
        QByteArray moved = text;
        std::swap(moved[(row + 1) * 8 - 1], moved[(row + 1) * 8]);
        QVERIFY(rewriteKeepingTime(path, moved));
        const QString target = newPath();
        writeFile(target, QByteArray("old\n"));
        QCOMPARE(c->saveCSV(target, false, false, rows, {}), !fails);
        QCOMPARE(readAll(target), fails ? QByteArray("old\n") : expected);
    }

    void failedWriteLeavesOldFileWhole() {
        SmallDisk disk(QStringLiteral("tst_readonlystreamsave"), QStringLiteral("1m"));
        if (!disk.mounted)
            QSKIP("mounting a small file system needs root (and no ThreadSanitizer)");
        QByteArray text;
        for (int r = 0; r < 200000; ++r)
            text += "row" + QByteArray::number(r) + ",a,b,c\n";
        const QString source = newPath();
        writeFile(source, text);
        const QString target = disk.path(QStringLiteral("table.csv"));
        writeFile(target, QByteArray("old,content\n"));
        // Written on the calling thread, and on a writing thread of its own (which small pieces
        // ask for).
        for (const int mode : {0, 1, 2, 3}) {
            const bool sorted = mode & 1;
            ReadOnlyDataContainer::setPieceSizeForTesting(mode & 2 ? 65536 : 0);
            auto c = openAs<ReadOnlyDataContainer>(source);
            QVERIFY(c);
            if (sorted) {
                QRandomGenerator rng(3);
                c->setRowOrder(randomOrder(rng, c->numRows()));
            }
            QVERIFY(!c->saveCSV(target, false, false, {}, {})); // the disk fills up half way
            QVERIFY(!c->getErrorString().isEmpty());
            QCOMPARE(readAll(target), QByteArray("old,content\n"));
            QCOMPARE(QDir(disk.mountPoint.path()).entryList(QDir::Files),
                     QStringList{QStringLiteral("table.csv")});
        }
        // A read-only disk: the table's own file there can't be replaced.
        const QString own = disk.path(QStringLiteral("own.csv"));
        writeFile(own, QByteArray("b,1\na,2\n"));
        QVERIFY(disk.remountReadOnly());
        auto c = openAs<ReadOnlyDataContainer>(own);
        QVERIFY(c);
        c->setRowOrder({1, 0});
        QVERIFY(!c->saveCSV(false, false, {}, {}));
        QVERIFY(!c->getErrorString().isEmpty());
        QCOMPARE(readAll(own), QByteArray("b,1\na,2\n"));
    }
};

QTEST_GUILESS_MAIN(TestReadOnlyStreamSave)
#include "tst_readonlystreamsave.moc"
