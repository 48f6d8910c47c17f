// The save's pass over many rows at once (CellWriter::appendRowLines), held byte for byte to the
// plain one-thread writer with its byte loop, at the edges where the pass changes its way: rows
// around one and two words of the scan, the widths of the row's offsets, the longest and widest
// row it takes, pads beyond one vector store, cells around its moves of 16 and 64 bytes, and
// delimiters whose byte shares a table slot with another key.
#include "containertesthelpers.h"
#include "scratchdisk.h"
#include "widentext.h"

#include "storage/cellwriter.h"
#include "storage/editabledatacontainer.h"
#include "util/fileparameterutilities.h"

#include <QRandomGenerator>
#include <QStandardPaths>
#include <QTest>

namespace {

// A cell of `length` characters of plain text, and now and then a byte that calls for quotes, a
// quote inside or in front.
QByteArray makeCell(QRandomGenerator& rng, int length, char delimiter) {
    static const QByteArray plain = "abcdefghijklmnopqrstuvwxyz 0123456789.-";
    const QByteArray special = QByteArray(1, delimiter) + "\"\r\n\x1e";
    QByteArray cell;
    const int mood = rng.bounded(4); // clean, one special, many, a quote in front
    for (int i = 0; i < length; ++i) {
        const bool pick = (mood == 1 && i == length / 2) || (mood == 2 && rng.bounded(6) == 0);
        cell += pick ? special[rng.bounded(special.size())] : plain[rng.bounded(plain.size())];
    }
    if (mood == 3 && length > 0)
        cell[0] = '"';
    return cell;
}

} // namespace

class TestRowLinePass : public QObject {
    Q_OBJECT

private:
    QTemporaryDir dir{scratchTemplate(QStringLiteral("tst_rowlinepass"))};
    int counter = 0;

    QByteArray save(EditableDataContainer& c, const std::vector<int>& rowsToSkip, int lines, int helpers,
                    int level) {
        EditableDataContainer::setSavePartsForTesting(lines, helpers);
        CellWriter::setInstructionSetForTesting(level);
        const QString path = dir.filePath(QStringLiteral("s%1.csv").arg(++counter));
        const bool ok = c.saveCSV(path, false, false, rowsToSkip, {});
        EditableDataContainer::setSavePartsForTesting(-1, 0);
        CellWriter::setInstructionSetForTesting(0);
        const QByteArray bytes = ok ? readAll(path) : QByteArray("<failed>");
        QFile::remove(path);
        return bytes;
    }

    // The table against the plain writer, whole and with rows skipped, in parts of one line,
    // a few lines and all lines, on 0 and 1 helper threads.
    void compare(EditableDataContainer& c, const QString& what, QRandomGenerator& rng) {
        std::vector<int> skips;
        for (int r = 0; r < c.numRowsPhysical(); ++r)
            if (rng.bounded(5) == 0)
                skips.push_back(r);
        std::vector<int> none;
        for (const std::vector<int>* rowsToSkip : {&skips, &none}) {
            const std::vector<int>& skip = *rowsToSkip;
            const QByteArray expected = save(c, skip, 0, 0, 2);
            QVERIFY(expected != "<failed>");
            for (const int lines : {1, 3, 0}) {
                const QByteArray got = save(c, skip, lines, lines == 3 ? 1 : 0, 0);
                if (got == expected)
                    continue;
                qsizetype at = 0;
                while (at < got.size() && at < expected.size() && got[at] == expected[at])
                    ++at;
                QFAIL(qPrintable(
                    QStringLiteral("%1, %2 rows skipped, parts of %3 lines: first difference "
                                   "at byte %4 of %5: %6 / %7")
                        .arg(what)
                        .arg(skip.size())
                        .arg(lines)
                        .arg(at)
                        .arg(expected.size())
                        .arg(QString::fromLatin1(
                                 expected.mid(std::max<qsizetype>(0, at - 30), 60).toPercentEncoding()),
                             QString::fromLatin1(
                                 got.mid(std::max<qsizetype>(0, at - 30), 60).toPercentEncoding()))));
            }
        }
    }

private slots:
    void initTestCase() {
        QStandardPaths::setTestModeEnabled(true);
        QVERIFY(dir.isValid());
    }
    void cleanup() {
        EditableDataContainer::setSavePartsForTesting(-1, 0);
        CellWriter::setInstructionSetForTesting(0);
    }

    void sameBytesAsPlainWriter_data() {
        QTest::addColumn<int>("encoding");
        QTest::addColumn<int>("standard");
        QTest::addColumn<char>("delimiter");
        // 'J' shares the table slot of LF, 'b' that of the quote: the scan compares key by key.
        for (const EncodingType e : {UTF_8, UTF_16LE, UTF_16BE, UTF_32LE}) {
            for (int s = RFC_4180; s <= ASCII_SEPARATED_VALUES; ++s) {
                for (const char d : {',', '\t', 'J', 'b'})
                    QTest::addRow("%s, standard %d, delimiter %c",
                                  qPrintable(Utilities::convertEncodingTypeToString(e)), s,
                                  d == '\t' ? 'T' : d)
                        << int(e) << s << d;
            }
        }
    }
    // Rows of every length around the pass's edges, cells around its moves, a row too wide and
    // one too long for it between rows it takes; built cell by cell and read back from a file,
    // padded to the table's width or not, with a last line with or without its line ending.
    void sameBytesAsPlainWriter() {
        QFETCH(int, encoding);
        QFETCH(int, standard);
        QFETCH(char, delimiter);
        const EncodingType enc = EncodingType(encoding);
        const int width = Utilities::numBytesPerChar(enc);
        QRandomGenerator rng(static_cast<quint32>(97 * encoding + 7 * standard + delimiter));
        EditableDataContainer c;
        c.setDelimiter(delimiter, delimiter);
        c.setParsingStandard(ParsingStandard(standard));
        c.setEncoding(enc);
        c.setLineEnding(LineEndingType(rng.bounded(0, 3)));
        auto put = [&](int row, int col, const QByteArray& text) {
            const QByteArray wide = widen(text, enc);
            c.setValue(row, col, Bytes(wide.begin(), wide.end()));
        };
        int r = 0;
        // Rows whose bytes end around one and two 64-byte words, and the offsets' 255 and 64 Ki.
        for (const int total : {15, 16, 17, 63, 64, 65, 127, 128, 129, 254, 255, 256, 600, 4095 / width,
                                4096 / width, 4097 / width, 65535 / width, 65537 / width}) {
            int used = 0;
            for (int col = 0; used < total; ++col) {
                const int lengths[] = {0, 1, 5, 15, 16, 17, 31, 63, 64, 65, 100};
                const int length = std::min(total - used, lengths[rng.bounded(int(std::size(lengths)))]);
                put(r, col, makeCell(rng, length, delimiter));
                used += length;
            }
            ++r;
        }
        // A row wider than the pass takes, a short row padded far, an empty row, a row of empty cells.
        for (int col = 0; col < 1030; ++col)
            put(r, col, col % 7 ? QByteArray("x") : makeCell(rng, 3, delimiter));
        ++r;
        put(r++, 0, "short");
        ++r;
        put(r, 3, "");
        put(r++, 4, "");
        for (int k = 0; k < 40; ++k) {
            const int cells = rng.bounded(1, 14);
            for (int col = 0; col < cells; ++col)
                put(r, col, makeCell(rng, rng.bounded(0, 40), delimiter));
            ++r;
        }
        for (const bool padded : {false, true}) {
            c.setSaveWithTrailingDelimiters(padded);
            c.setFinalLineEnding(padded);
            compare(c, QStringLiteral("built, padded %1").arg(padded), rng);
        }

        // The same table read back: its rows keep the fields their lines had.
        const QString path = dir.filePath(QStringLiteral("read.csv"));
        writeFile(path, save(c, {}, 0, 0, 2));
        EditableDataContainer loaded;
        loaded.setFilepath(path);
        loaded.setDelimiter(delimiter, delimiter);
        loaded.setParsingStandard(ParsingStandard(standard));
        loaded.setEncoding(enc);
        loaded.setLineEnding(c.getLineEnding());
        QVERIFY(loaded.loadCSV());
        compare(loaded, QStringLiteral("loaded"), rng);
    }
};

QTEST_GUILESS_MAIN(TestRowLinePass)
#include "tst_rowlinepass.moc"
