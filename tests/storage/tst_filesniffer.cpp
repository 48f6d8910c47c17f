// What a file's start says of its encoding and line ending, and the final line ending that both
// containers find at a load and keep at a save.
#include "storage/containertesthelpers.h"
#include "storage/editabledatacontainer.h"
#include "storage/filesniffer.h"
#include "storage/readonlydatacontainer.h"

#include <QStandardPaths>
#include <QTest>

namespace {

QByteArray utf16(const QString& s, bool big) {
    QByteArray out;
    for (const QChar ch : s) {
        const auto u = ch.unicode();
        const char hi = static_cast<char>(u >> 8), lo = static_cast<char>(u & 0xFF);
        out.append(big ? hi : lo);
        out.append(big ? lo : hi);
    }
    return out;
}

QByteArray utf32(const QString& s, bool big) {
    QByteArray out;
    for (const QChar ch : s) {
        QByteArray unit(4, '\0');
        unit[big ? 3 : 0] = static_cast<char>(ch.unicode() & 0xFF);
        unit[big ? 2 : 1] = static_cast<char>(ch.unicode() >> 8);
        out += unit;
    }
    return out;
}

} // namespace

class TestFileSniffer : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }

    void sniffs_data() {
        QTest::addColumn<QByteArray>("sample");
        QTest::addColumn<bool>("wholeFile");
        QTest::addColumn<int>("encoding");   // -1: nothing found
        QTest::addColumn<int>("lineEnding"); // -1: nothing found
        const QString text = QStringLiteral("a,\"b\r\nc\"\r\nd,\u00e9\n");
        QTest::newRow("plain ASCII, LF") << QByteArray("a,b\nc,d\n") << true << -1 << int(LINE_ENDING_UNIX);
        QTest::newRow("line break in quotes is skipped")
            << text.toUtf8() << true << -1 << int(LINE_ENDING_WINDOWS);
        QTest::newRow("record separator") << QByteArray("a\x1e"
                                                        "b\x1e")
                                          << true << -1 << int(LINE_ENDING_RECORD_SEPARATOR);
        QTest::newRow("lone CR: nothing to keep") << QByteArray("a\rb\r") << true << -1 << -1;
        QTest::newRow("no line ending at all") << QByteArray("a,b,c") << true << -1 << -1;
        QTest::newRow("UTF-8 BOM") << QByteArray("\xEF\xBB\xBF") + text.toUtf8() << true << int(UTF_8)
                                   << int(LINE_ENDING_WINDOWS);
        QTest::newRow("UTF-16LE BOM") << QByteArray("\xFF\xFE") + utf16(text, false) << true << int(UTF_16LE)
                                      << int(LINE_ENDING_WINDOWS);
        QTest::newRow("UTF-16BE BOM") << QByteArray("\xFE\xFF") + utf16(text, true) << true << int(UTF_16BE)
                                      << int(LINE_ENDING_WINDOWS);
        QTest::newRow("UTF-32LE BOM") << QByteArray("\xFF\xFE\x00\x00", 4) + utf32(text, false) << true
                                      << int(UTF_32LE) << int(LINE_ENDING_WINDOWS);
        QTest::newRow("UTF-32BE BOM") << QByteArray("\x00\x00\xFE\xFF", 4) + utf32(text, true) << true
                                      << int(UTF_32BE) << int(LINE_ENDING_WINDOWS);
        QTest::newRow("UTF-16LE by its zeros")
            << utf16(QStringLiteral("x,y\ny,z\n"), false) << true << int(UTF_16LE) << int(LINE_ENDING_UNIX);
        QTest::newRow("UTF-16BE by its zeros")
            << utf16(QStringLiteral("x,y\r\n"), true) << true << int(UTF_16BE) << int(LINE_ENDING_WINDOWS);
        QTest::newRow("UTF-32BE by its zeros")
            << utf32(QStringLiteral("x,y\n"), true) << true << int(UTF_32BE) << int(LINE_ENDING_UNIX);
        QTest::newRow("Windows-1252 bytes") << QByteArray("caf\xE9,\x93quoted\x94\r\n") << true
                                            << int(WINDOWS_1252) << int(LINE_ENDING_WINDOWS);
        QTest::newRow("a stray zero byte is still one-byte text")
            << QByteArray("abc\0def,ghi,jkl,mno,pqr\n", 24) << true << -1 << int(LINE_ENDING_UNIX);
        QTest::newRow("zeros on both sides of the pairs: one-byte text")
            << QByteArray("a,b\0c,d\n1,\0,3\n", 14) << true << -1 << int(LINE_ENDING_UNIX);
        QTest::newRow("one zero, no line break in its units: one-byte text")
            << QByteArray("a,b\0c,d\n", 8) << true << -1 << int(LINE_ENDING_UNIX);
        QTest::newRow("UTF-16LE of text with few zeros")
            << utf16(QStringLiteral("\u540d\u524d,\u90fd\u5e02\n\u6771\u4eac,\u5927\u962a\n"), false) << true
            << int(UTF_16LE) << int(LINE_ENDING_UNIX);
        QTest::newRow("UTF-8 cut at the sample's end")
            << QByteArray("a,\xC3\xA9\n\xC3") << false << -1 << int(LINE_ENDING_UNIX);
        QTest::newRow("the same at the file's end")
            << QByteArray("a,\xC3\xA9\n\xC3") << true << int(WINDOWS_1252) << int(LINE_ENDING_UNIX);
        QTest::newRow("overlong form isn't UTF-8")
            << QByteArray("a\xC0\xAF\n") << true << int(WINDOWS_1252) << int(LINE_ENDING_UNIX);
    }

    void findsQuoting_data() {
        QTest::addColumn<QByteArray>("sample");
        QTest::addColumn<int>("standard"); // -1: nothing found
        QTest::newRow("every field quoted")
            << QByteArray("\"a\",\"\"\r\n\"b\"\"c\",\"d\"\r\n") << int(ALL_QUOTES);
        QTest::newRow("one field not quoted") << QByteArray("\"a\",b\n\"c\",\"d\"\n") << -1;
        QTest::newRow("an empty line breaks it") << QByteArray("\"a\",\"b\"\n\n\"c\",\"d\"\n") << -1;
        QTest::newRow("none quoted, quotes inside") << QByteArray("a,5\" x\nb,c\n") << int(DELIMITER_ONLY);
        QTest::newRow("none quoted, no quotes") << QByteArray("a,b\nc,d\n") << -1;
        QTest::newRow("some quoted") << QByteArray("a,\"b,c\"\nd,e\n") << -1;
        QTest::newRow("text behind a closing quote") << QByteArray("\"a\"x,\"b\"\n") << -1;
    }

    void findsQuoting() {
        QFETCH(QByteArray, sample);
        QFETCH(int, standard);
        const FileSniffer::Findings f = FileSniffer::sniff(sample, ',', true);
        QCOMPARE(f.standardFound, standard >= 0);
        if (standard >= 0)
            QCOMPARE(int(f.standard), standard);
    }

    void sniffs() {
        QFETCH(QByteArray, sample);
        QFETCH(bool, wholeFile);
        QFETCH(int, encoding);
        QFETCH(int, lineEnding);
        const FileSniffer::Findings f = FileSniffer::sniff(sample, ',', wholeFile);
        QCOMPARE(f.encodingFound, encoding >= 0);
        if (encoding >= 0)
            QCOMPARE(int(f.encoding), encoding);
        QCOMPARE(f.lineEndingFound, lineEnding >= 0);
        if (lineEnding >= 0)
            QCOMPARE(int(f.lineEnding), lineEnding);
    }

    // Both containers find whether the last row ends with a line ending, and a save after an
    // edit that adds a row keeps it that way.
    void finalLineEnding_data() {
        QTest::addColumn<bool>("readOnly");
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<bool>("final");
        for (const bool readOnly : {false, true}) {
            const char* kind = readOnly ? "read-only" : "editable";
            QTest::addRow("%s, with", kind) << readOnly << QByteArray("a,b\nc,d\n") << true;
            QTest::addRow("%s, without", kind) << readOnly << QByteArray("a,b\nc,d") << false;
            QTest::addRow("%s, CR LF", kind) << readOnly << QByteArray("a,b\r\nc,d\r\n") << true;
            QTest::addRow("%s, quoted last cell", kind) << readOnly << QByteArray("a,\"b\nc\"") << false;
            QTest::addRow("%s, empty last line", kind) << readOnly << QByteArray("a,b\n\n") << true;
            QTest::addRow("%s, one cell", kind) << readOnly << QByteArray("x") << false;
            // No row to end: like an empty file, rows added later end with a line ending.
            QTest::addRow("%s, byte order mark only", kind) << readOnly << QByteArray("\xEF\xBB\xBF") << true;
        }
        QTest::addRow("editable, inside a quote never closed") << false << QByteArray("a,\"b\n") << true;
    }

    void finalLineEnding() {
        QFETCH(bool, readOnly);
        QFETCH(QByteArray, content);
        QFETCH(bool, final);
        TempFiles files;
        const QString path = files.write(content);
        std::unique_ptr<AbstractDataContainer> c;
        if (readOnly)
            c = openAs<ReadOnlyDataContainer>(path);
        else
            c = openAs<EditableDataContainer>(path);
        QVERIFY(c);
        QCOMPARE(c->getFinalLineEnding(), final);
        c->setLineEnding(content.contains("\r\n") ? LINE_ENDING_WINDOWS : LINE_ENDING_UNIX);
        c->setSaveWithTrailingDelimiters(false);
        const QString saved = files.write({});
        QVERIFY(c->saveCSV(saved, false, false, {}, {}));
        if (content == QByteArray("a,\"b\n"))
            QCOMPARE(readAll(saved), QByteArray("a,\"\"\"b\"\n")); // the quote never closed is a byte
        else
            QCOMPARE(readAll(saved), content);
        if (!readOnly) {
            QVERIFY(c->setValue(c->numRows(), 0, bytes("new")));
            QVERIFY(c->saveCSV(saved, false, false, {}, {}));
            const QByteArray ending = c->getLineEnding() == LINE_ENDING_WINDOWS ? "\r\n" : "\n";
            QCOMPARE(readAll(saved).endsWith("new" + ending), final);
            QCOMPARE(readAll(saved).endsWith("new"), !final);
        }
    }
};

QTEST_GUILESS_MAIN(TestFileSniffer)
#include "tst_filesniffer.moc"
