// Saves made in parts on several threads with vector scans, held byte for byte to the plain
// one-thread writer with its byte loop; and saves that fail half way on a full or read-only disk.
#include "containertesthelpers.h"
#include "scratchdisk.h"
#include "widentext.h"

#include "storage/cellwriter.h"
#include "storage/editabledatacontainer.h"
#include "util/fileparameterutilities.h"

#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QRandomGenerator>
#include <QStandardPaths>
#include <QTest>

#include <unistd.h>

namespace {

// A cell of the random tables: short and long ones (across the 16 bytes of a short copy and the
// 64 of a scan block), with the bytes that call for quotes anywhere, a quote in front, and for
// wide encodings now and then a unit cut short.
QByteArray randomCell(QRandomGenerator& rng, EncodingType encoding, char delimiter) {
    static const QByteArray plain = "abcxyz 0123456789.-";
    const QByteArray special = QByteArray(1, delimiter) + "\"\r\n\x1e";
    const int lengths[] = {0, 0, 1, 3, 7, 15, 16, 17, 31, 40, 63, 64, 65, 130};
    const int length = lengths[rng.bounded(int(std::size(lengths)))];
    QByteArray cell;
    const bool clean = rng.bounded(3) != 0;
    for (int i = 0; i < length; ++i) {
        if (!clean && rng.bounded(12) == 0)
            cell += special[rng.bounded(special.size())];
        else
            cell += plain[rng.bounded(plain.size())];
    }
    if (length > 0 && rng.bounded(10) == 0)
        cell[0] = '"';
    QByteArray wide = widen(cell, encoding);
    if (Utilities::numBytesPerChar(encoding) > 1 && !wide.isEmpty() && rng.bounded(15) == 0)
        wide.chop(1); // a unit cut short: the scan's step no longer fits it, nor the cells behind it
    return wide;
}

} // namespace

class TestPartedSave : public QObject {
    Q_OBJECT

private:
    QTemporaryDir dir{scratchTemplate(QStringLiteral("tst_partedsave"))};
    int counter = 0;

    QString newPath() { return dir.filePath(QStringLiteral("s%1.csv").arg(++counter)); }

    // The table saved by the plain writer: one part on the calling thread, byte loop.
    QByteArray plainSave(EditableDataContainer& c, bool transposed, const std::vector<int>& rowsToSkip,
                         const std::vector<int>& colsToSkip) {
        EditableDataContainer::setSavePartsForTesting(0, 0);
        CellWriter::setInstructionSetForTesting(2);
        const QString path = newPath();
        const bool ok = c.saveCSV(path, false, transposed, rowsToSkip, colsToSkip);
        EditableDataContainer::setSavePartsForTesting(-1, 0);
        CellWriter::setInstructionSetForTesting(0);
        const QByteArray bytes = ok ? readAll(path) : QByteArray("<failed>");
        QFile::remove(path);
        return bytes;
    }

    QByteArray partedSave(EditableDataContainer& c, bool transposed, const std::vector<int>& rowsToSkip,
                          const std::vector<int>& colsToSkip, int lines, int helpers, int level) {
        EditableDataContainer::setSavePartsForTesting(lines, helpers);
        CellWriter::setInstructionSetForTesting(level);
        const QString path = newPath();
        const bool ok = c.saveCSV(path, false, transposed, rowsToSkip, colsToSkip);
        EditableDataContainer::setSavePartsForTesting(-1, 0);
        CellWriter::setInstructionSetForTesting(0);
        const QByteArray bytes = ok ? readAll(path) : QByteArray("<failed>");
        QFile::remove(path);
        return bytes;
    }

    // Every cut of the table into parts, on 0 to 2 helper threads, with every scan, against the
    // plain writer.
    void compareAllCuts(EditableDataContainer& c, const QString& what, QRandomGenerator& rng) {
        const int lines = std::max(c.numRowsPhysical(), c.numCols());
        std::vector<int> rowsToSkip, colsToSkip;
        for (int r = 0; r < c.numRowsPhysical(); ++r)
            if (rng.bounded(4) == 0)
                rowsToSkip.push_back(r);
        for (int col = 0; col < c.numCols(); ++col)
            if (rng.bounded(4) == 0)
                colsToSkip.push_back(col);
        struct Variant {
            const char* name;
            bool transposed;
            bool skips;
        };
        for (const Variant v :
             {Variant{"all", false, false}, Variant{"visible", false, true},
              Variant{"transposed", true, false}, Variant{"transposed visible", true, true}}) {
            static const std::vector<int> none;
            const auto& rows = v.skips ? rowsToSkip : none;
            const auto& cols = v.skips ? colsToSkip : none;
            const QByteArray expected = plainSave(c, v.transposed, rows, cols);
            QVERIFY(expected != "<failed>");
            for (int part = 1; part <= lines + 1; ++part) {
                for (int level = 0; level <= 2; ++level) {
                    const int helpers = (part + level) % 3;
                    const QByteArray got = partedSave(c, v.transposed, rows, cols, part, helpers, level);
                    QVERIFY2(
                        got == expected,
                        qPrintable(QStringLiteral("%1, %2, parts of %3 lines, %4 helpers, scan %5:\n%6\n%7")
                                       .arg(what, QLatin1String(v.name))
                                       .arg(part)
                                       .arg(helpers)
                                       .arg(level)
                                       .arg(QString::fromLatin1(expected.toPercentEncoding()),
                                            QString::fromLatin1(got.toPercentEncoding()))));
                }
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
        for (const EncodingType e : {UTF_8, ISO_8859_1, UTF_16LE, UTF_16BE, UTF_32LE, UTF_32BE}) {
            for (int s = RFC_4180; s <= ASCII_SEPARATED_VALUES; ++s)
                QTest::addRow("%s, standard %d", qPrintable(Utilities::convertEncodingTypeToString(e)), s)
                    << int(e) << s;
        }
    }
    // Tables built cell by cell, and the same tables loaded from a file, whose rows keep the
    // fields their lines had; each with trailing delimiters on and off, every line ending, a
    // byte order mark or none, a last line with or without its line ending.
    void sameBytesAsPlainWriter() {
        QFETCH(int, encoding);
        QFETCH(int, standard);
        const EncodingType enc = EncodingType(encoding);
        QRandomGenerator rng(static_cast<quint32>(1000 * encoding + standard));
        const char delimiters[] = {',', ';', '\t', '|'};
        for (int round = 0; round < 4; ++round) {
            const char delimiter = delimiters[rng.bounded(4)];
            EditableDataContainer c;
            c.setDelimiter(delimiter, delimiter);
            c.setParsingStandard(ParsingStandard(standard));
            c.setEncoding(enc);
            c.setLineEnding(LineEndingType(rng.bounded(0, 5)));
            c.setSaveWithTrailingDelimiters(rng.bounded(2) == 0);
            c.setFinalLineEnding(rng.bounded(3) != 0);
            const int numRows = rng.bounded(1, 9);
            for (int r = 0; r < numRows; ++r) {
                const int width = rng.bounded(0, 7);
                for (int col = 0; col < width; ++col) {
                    const QByteArray cell = randomCell(rng, enc, delimiter);
                    c.setValue(r, col, Bytes(cell.begin(), cell.end()));
                }
            }
            if (round == 1) {
                // The file's first cell starts like a byte order mark; the writer quotes it.
                const QByteArray bomLike = show(AbstractDataContainer::getEncodingBom(enc)) + widen("b", enc);
                c.setValue(0, 0, Bytes(bomLike.begin(), bomLike.end()));
            }
            c.resizeRows(numRows + rng.bounded(0, 2));
            c.resizeCols(std::max(1, c.numCols() + rng.bounded(0, 2)));
            const QString what = QStringLiteral("round %1 built").arg(round);
            compareAllCuts(c, what, rng);

            // The same table read back from the plain writer's file.
            const QString path = newPath();
            writeFile(path, plainSave(c, false, {}, {}));
            EditableDataContainer loaded;
            loaded.setFilepath(path);
            loaded.setDelimiter(delimiter, delimiter);
            loaded.setParsingStandard(ParsingStandard(standard));
            loaded.setEncoding(enc);
            loaded.setLineEnding(c.getLineEnding());
            loaded.setSaveWithTrailingDelimiters(c.getSaveWithTrailingDelimiters());
            QVERIFY(loaded.loadCSV());
            compareAllCuts(loaded, QStringLiteral("round %1 loaded").arg(round), rng);
        }
    }

    void rowLinesAtEveryEdge_data() {
        QTest::addColumn<int>("encoding");
        QTest::addColumn<int>("standard");
        for (const EncodingType e : {UTF_8, UTF_16LE, UTF_16BE, UTF_32LE}) {
            for (int s = RFC_4180; s <= ASCII_SEPARATED_VALUES; ++s)
                QTest::addRow("%s, standard %d", qPrintable(Utilities::convertEncodingTypeToString(e)), s)
                    << int(e) << s;
        }
    }
    // Rows written as whole lines: a cell with each byte that calls for quotes, or a quote in
    // front, inside or doubled, of every length around the one move of 32 bytes, standing at
    // every distance from the row's end (where cells are moved from a copy of the row's last
    // bytes) and across the 64-byte words of the scan; behind plain cells of their own lengths,
    // with trailing empty fields. Built cell by cell and loaded from a file, each against the
    // plain writer.
    void rowLinesAtEveryEdge() {
        QFETCH(int, encoding);
        QFETCH(int, standard);
        const EncodingType enc = EncodingType(encoding);
        const char delimiter = ';';
        EditableDataContainer c;
        c.setDelimiter(delimiter, delimiter);
        c.setParsingStandard(ParsingStandard(standard));
        c.setEncoding(enc);
        c.setSaveWithTrailingDelimiters(false);
        auto wideBytes = [enc](const QByteArray& text) {
            const QByteArray wide = widen(text, enc);
            return Bytes(wide.begin(), wide.end());
        };
        const QByteArray specials[] = {"", ";", "\"", "\r", "\n", "\x1e", "\"\""};
        int r = 0;
        for (const int length : {1, 2, 15, 16, 31, 32, 33, 47, 64, 65}) {
            for (const QByteArray& special : specials) {
                for (const int place : {0, 1, 2}) { // the special byte first, inside, last
                    for (const int before : {0, 4, 29, 61}) {
                        QByteArray cell(length, 'a' + char(r % 26));
                        if (!special.isEmpty())
                            cell.replace(place == 0 ? 0 : place == 1 ? length / 2 : length - 1, 1, special);
                        int col = 0;
                        if (before > 0)
                            c.setValue(r, col++, wideBytes(QByteArray(before, 'b')));
                        c.setValue(r, col++, wideBytes(cell));
                        // Then 0 to 3 short cells, now and then an empty one.
                        for (int k = 0; k < r % 4; ++k)
                            c.setValue(r, col++, k == 1 ? Bytes() : wideBytes(QByteArray(3 * k + 1, 'c')));
                        ++r;
                    }
                }
            }
        }
        c.setValue(r, 0, wideBytes("x"));
        c.resizeCols(c.numCols() + 2); // trailing empty fields in the file read back
        for (const bool loaded : {false, true}) {
            EditableDataContainer fromFile;
            EditableDataContainer* table = &c;
            if (loaded) {
                const QString path = newPath();
                c.setSaveWithTrailingDelimiters(true);
                writeFile(path, plainSave(c, false, {}, {}));
                c.setSaveWithTrailingDelimiters(false);
                fromFile.setFilepath(path);
                fromFile.setDelimiter(delimiter, delimiter);
                fromFile.setParsingStandard(ParsingStandard(standard));
                fromFile.setEncoding(enc);
                // Where quotes aren't read the lines fall apart differently; any table will do.
                QVERIFY(fromFile.loadCSV());
                table = &fromFile;
            }
            const QByteArray expected = plainSave(*table, false, {}, {});
            QVERIFY(expected != "<failed>");
            for (const int lines : {1, 7, 0}) {
                for (int level = 0; level <= 1; ++level) {
                    const QByteArray got = partedSave(*table, false, {}, {}, lines, lines ? 1 : 0, level);
                    if (got != expected) {
                        qsizetype at = 0;
                        while (at < got.size() && at < expected.size() && got[at] == expected[at])
                            ++at;
                        QFAIL(qPrintable(
                            QStringLiteral(
                                "%1, parts of %2 lines, scan %3, first difference at byte %4: %5 / %6")
                                .arg(QString(loaded ? "loaded" : "built"))
                                .arg(lines)
                                .arg(level)
                                .arg(at)
                                .arg(QString::fromLatin1(expected.mid(std::max<qsizetype>(0, at - 40), 80)
                                                             .toPercentEncoding()),
                                     QString::fromLatin1(
                                         got.mid(std::max<qsizetype>(0, at - 40), 80).toPercentEncoding()))));
                    }
                }
            }
        }
    }

    // A table big enough for the writer to choose its own parts and helpers, against the plain one.
    void largeTableOnItsOwnParts() {
        EditableDataContainer c;
        QRandomGenerator rng(7);
        QByteArray text;
        while (text.size() < (9 << 20)) {
            const int width = rng.bounded(1, 12);
            for (int col = 0; col < width; ++col) {
                if (col > 0)
                    text += ',';
                const QByteArray cell = randomCell(rng, UTF_8, ',');
                if (cell.contains(',') || cell.contains('"') || cell.contains('\n') || cell.contains('\r') ||
                    cell.contains('\x1e'))
                    text += '"' + QByteArray(cell).replace("\"", "\"\"") + '"';
                else
                    text += cell;
            }
            text += '\n';
        }
        const QString path = newPath();
        writeFile(path, text);
        c.setFilepath(path);
        c.setDelimiter(',', ',');
        QVERIFY(c.loadCSV());
        const QByteArray expected = plainSave(c, false, {}, {});
        QCOMPARE(expected.size(), text.size());
        QVERIFY(expected == text);
        qint64 lastDone = -1;
        int reports = 0;
        c.setSaveProgress([&](qint64 done, qint64 total) {
            QVERIFY(done > lastDone && done <= total);
            lastDone = done;
            ++reports;
        });
        QVERIFY(c.saveCSV(false, false, {}, {}));
        c.setSaveProgress({});
        QVERIFY(readAll(path) == expected);
        QVERIFY(reports > 1);
    }

    // --- Failures --------------------------------------------------------------------------

    // The disk fills up half way through a save of many parts on several threads: the save says
    // so, the old file is whole, no temporary file stays behind, and the table can still be saved
    // elsewhere.
    void fullDiskLeavesOldFileWhole() {
        SmallDisk disk(QStringLiteral("tst_partedsave"), QStringLiteral("1m"));
        if (!disk.mounted)
            QSKIP("mounting a small file system needs root (and no ThreadSanitizer)");
        const QString target = disk.path(QStringLiteral("table.csv"));
        writeFile(target, QByteArray("old,content\n"));
        EditableDataContainer c;
        const Bytes cell(1000, 'x');
        for (int r = 0; r < 6000; ++r)
            c.setValue(r, 0, cell);
        c.setFilepath(target);
        EditableDataContainer::setSavePartsForTesting(64, 1);
        QVERIFY(!c.saveCSV(false, false, {}, {}));
        QVERIFY(!c.getErrorString().isEmpty());
        QCOMPARE(readAll(target), QByteArray("old,content\n"));
        QCOMPARE(QDir(disk.mountPoint.path()).entryList(QDir::Files),
                 QStringList{QStringLiteral("table.csv")});
        // The same failure on the default plan.
        EditableDataContainer::setSavePartsForTesting(-1, 0);
        QVERIFY(!c.saveCSV(false, false, {}, {}));
        QCOMPARE(readAll(target), QByteArray("old,content\n"));
        const QString elsewhere = newPath();
        QVERIFY(c.saveCSV(elsewhere, false, false, {}, {}));
        QCOMPARE(QFileInfo(elsewhere).size(), qint64(6000 * 1001));
    }

    void readOnlyDiskLeavesOldFileWhole() {
        SmallDisk disk(QStringLiteral("tst_partedsave"), QStringLiteral("1m"));
        if (!disk.mounted)
            QSKIP("mounting a small file system needs root (and no ThreadSanitizer)");
        const QString target = disk.path(QStringLiteral("table.csv"));
        writeFile(target, QByteArray("old\n"));
        QVERIFY(disk.remountReadOnly());
        EditableDataContainer c;
        c.setValue(0, 0, bytes("new"));
        c.setFilepath(target);
        QVERIFY(!c.saveCSV(false, false, {}, {}));
        QVERIFY(!c.getErrorString().isEmpty());
        QCOMPARE(readAll(target), QByteArray("old\n"));
    }
};

QTEST_GUILESS_MAIN(TestPartedSave)
#include "tst_partedsave.moc"
