// File parameter texts, the delimiter count and the byte order guess.
#include "storage/abstractdatacontainer.h"
#include "util/fileparameterutilities.h"

#include <QFile>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

class TestFileParameterUtilities : public QObject {
    Q_OBJECT

private:
    QTemporaryDir dir;
    int counter = 0;

    QString writeFile(const QByteArray& bytes) {
        const QString path = dir.filePath(QStringLiteral("u%1.txt").arg(++counter));
        QFile f(path);
        if (!f.open(QIODevice::WriteOnly) || f.write(bytes) != bytes.size())
            qFatal("cannot write test file");
        return path;
    }

private slots:
    void initTestCase() {
        QStandardPaths::setTestModeEnabled(true);
        QVERIFY(dir.isValid());
    }

    void encodingTablesAgree() {
        // Every display text and codec name finds its way back to a value with the same
        // width and, where known, the same byte order.
        for (int value = 0; value < kNumEncodingTypes; ++value) {
            const EncodingType type = EncodingType(value);
            for (const QString& text : {Utilities::convertEncodingTypeToString(type),
                                        Utilities::convertEncodingTypeToCodecName(type)}) {
                const EncodingType back = Utilities::convertEncodingStringToType(text);
                QVERIFY2(Utilities::numBytesPerChar(back) == Utilities::numBytesPerChar(type),
                         qPrintable(text));
                if (value <= UTF_32_GUESSED_LE) {
                    // The guessed values share their text with the undecided ones.
                    if (Utilities::getEndianness(back) != Utilities::Endianness::None)
                        QCOMPARE(Utilities::getEndianness(back), Utilities::getEndianness(type));
                } else {
                    QVERIFY2(back == type, qPrintable(text));
                }
            }
        }
        QCOMPARE(Utilities::convertEncodingTypeToString(ISO_8859_7),
                 QStringLiteral("ISO 8859-7 (Latin/Green)"));
        QCOMPARE(Utilities::convertEncodingTypeToCodecName(UTF_16_GUESSED_BE), QStringLiteral("UTF-16BE"));
        QCOMPARE(Utilities::convertEncodingTypeToString(UTF_32_GUESSED_LE), QStringLiteral("UTF-32"));
        QCOMPARE(Utilities::convertEncodingTypeToCodecName(CP949), QStringLiteral("CP949"));
    }

    void encodingFromFreeText_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("type");
        QTest::newRow("utf8 plain") << "utf8" << int(UTF_8);
        QTest::newRow("blanks and dashes") << " U T F - 1 6 _ l e " << int(UTF_16LE);
        QTest::newRow("utf-16 alone") << "UTF-16" << int(UTF_16);
        QTest::newRow("utf-32 alone") << "utf_32" << int(UTF_32);
        QTest::newRow("utf-32be") << "UTF-32BE" << int(UTF_32BE);
        QTest::newRow("latin-1 is not latin-10") << "ISO-8859-10" << int(ISO_8859_10);
        QTest::newRow("8859-1") << "iso 8859-1" << int(ISO_8859_1);
        QTest::newRow("8859-16") << "ISO8859-16" << int(ISO_8859_16);
        QTest::newRow("big5 hkscs first") << "big5-hkscs" << int(BIG5_HKSCS);
        QTest::newRow("big5") << "Big5" << int(BIG5);
        QTest::newRow("windows-949") << "windows-949" << int(CP949);
        QTest::newRow("euc-kr") << "EUC_KR" << int(EUC_KR);
        QTest::newRow("koi8-r") << "koi8-r" << int(KOI8_R);
        QTest::newRow("unknown") << "ebcdic" << int(UTF_8);
    }

    void encodingFromFreeText() {
        QFETCH(QString, text);
        QFETCH(int, type);
        QCOMPARE(int(Utilities::convertEncodingStringToType(text)), type);
    }

    void bytesAndEndianness() {
        const int widths[] = {1, 2, 2, 2, 2, 2, 4, 4, 4, 4, 4, 1};
        using E = Utilities::Endianness;
        const E orders[] = {E::None, E::None,   E::Big, E::Little, E::Big,    E::Little,
                            E::None, E::Little, E::Big, E::Big,    E::Little, E::None};
        for (int v = 0; v <= ISO_8859_1; ++v) {
            QCOMPARE(Utilities::numBytesPerChar(EncodingType(v)), widths[v]);
            QCOMPARE(Utilities::getEndianness(EncodingType(v)), orders[v]);
        }
        QCOMPARE(Utilities::numBytesPerChar(KOI8_R), 1);
    }

    void lineEndings_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("type");
        QTest::newRow("Windows") << "Windows" << int(LINE_ENDING_WINDOWS);
        QTest::newRow("Windows (CR LF)") << "Windows (CR LF)" << int(LINE_ENDING_WINDOWS);
        QTest::newRow("Mac/Linux (LF)") << "Mac/Linux (LF)" << int(LINE_ENDING_UNIX);
        QTest::newRow("crlf not lf") << "C R L F" << int(LINE_ENDING_WINDOWS);
        QTest::newRow("lf") << "LF" << int(LINE_ENDING_UNIX);
        QTest::newRow("record separator") << "Record Separator" << int(LINE_ENDING_RECORD_SEPARATOR);
    }

    void lineEndings() {
        QFETCH(QString, text);
        QFETCH(int, type);
        QCOMPARE(int(Utilities::convertLineEndingStringToType(text)), type);
        // Every short text converts back to the value (kept values read as Unix).
        const LineEndingType t = LineEndingType(type);
        QCOMPARE(
            Utilities::convertLineEndingStringToType(Utilities::convertLineEndingTypeToShortString(t, false)),
            t);
        QCOMPARE(Utilities::convertLineEndingTypeToShortString(LINE_ENDING_KEPT_3, false),
                 QStringLiteral("Unix"));
        QCOMPARE(Utilities::convertLineEndingTypeToShortString(LINE_ENDING_RECORD_SEPARATOR, true),
                 QStringLiteral("LF"));
        QCOMPARE(Utilities::convertLineEndingTypeToShortString(LINE_ENDING_WINDOWS, true),
                 QStringLiteral("CRLF"));
    }

    void parsingStandards() {
        for (int s = RFC_4180; s <= ASCII_SEPARATED_VALUES; ++s) {
            const QString text = Utilities::convertParsingStandardToString(ParsingStandard(s));
            QCOMPARE(int(Utilities::convertParsingStringToStandard(text)), s);
            QCOMPARE(int(Utilities::convertParsingStringToStandard(text.toUpper().replace(u' ', u'-'))), s);
        }
        QCOMPARE(Utilities::convertParsingStringToStandard(QStringLiteral("rfc-4180")), RFC_4180);
        QCOMPARE(Utilities::convertParsingStringToStandard(QStringLiteral("tsv")), UNKNOWN_STANDARD);
    }

    void delimiterTexts_data() {
        QTest::addColumn<QString>("readable");
        QTest::addColumn<QString>("actual");
        QTest::addColumn<bool>("valid");
        QTest::newRow("\\t") << "\\t"
                             << "\t" << true;
        QTest::newRow("tab") << "Tab"
                             << "\t" << true;
        QTest::newRow("\\s") << "\\s"
                             << " " << true;
        QTest::newRow("space") << "space"
                               << " " << true;
        QTest::newRow("(none)") << "(none)"
                                << "" << true;
        QTest::newRow("none") << "none"
                              << "" << false;
        QTest::newRow("(auto)") << "(auto)"
                                << "(auto)" << true;
        QTest::newRow("unit separator") << "unit separator" << QString(QChar(31)) << false;
        QTest::newRow("semicolon") << ";"
                                   << ";" << true;
        QTest::newRow("two characters") << ",,"
                                        << ",," << false;
    }

    void delimiterTexts() {
        QFETCH(QString, readable);
        QFETCH(QString, actual);
        QFETCH(bool, valid);
        QCOMPARE(Utilities::convertDelimiterFromShortReadableToActual(readable), actual);
        QCOMPARE(Utilities::delimiterValid(readable), valid);
        if (actual != u"(auto)" && actual.size() <= 1) {
            const QString written = Utilities::convertDelimiterFromActualToShortReadable(actual);
            QCOMPARE(Utilities::convertDelimiterFromShortReadableToActual(written), actual);
        }
    }

    void autoDetect_data() {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<char>("expected");
        QTest::newRow("empty") << QByteArray() << ',';
        QTest::newRow("no candidates") << QByteArray("abc\ndef") << ',';
        QTest::newRow("semicolons outnumber commas") << QByteArray("a,b;c;d\n1,2;3;4") << ';';
        QTest::newRow("quoted text counts too") << QByteArray("\"a|b|c|d\",x") << '|';
        QTest::newRow("tie comma tab gives comma") << QByteArray("a,b\tc") << ',';
        QTest::newRow("tie tab pipe gives tab") << QByteArray("a|b\tc") << '\t';
        QTest::newRow("unit separator") << QByteArray("a\x1f"
                                                      "b\x1f"
                                                      "c")
                                        << char(31);
        QTest::newRow("caret") << QByteArray("a^b^c,d") << '^';
        QByteArray late(10000, 'x');
        late += ";;;;";
        QTest::newRow("only the first 10000 bytes") << QByteArray("a,b\n" + late) << ',';
    }

    void autoDetect() {
        QFETCH(QByteArray, content);
        QFETCH(char, expected);
        QCOMPARE(Utilities::getDelimiterFromAutoDetect(writeFile(content)), expected);
    }

    void autoDetectWithoutFile() {
        QCOMPARE(Utilities::getDelimiterFromAutoDetect(QString()), ',');
        QCOMPARE(Utilities::getDelimiterFromAutoDetect(dir.filePath(QStringLiteral("missing"))), ',');
    }

    void byteOrderGuess_data() {
        QTest::addColumn<int>("type");
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<int>("expected");
        QTest::newRow("UTF-16 little") << int(UTF_16) << QByteArray("a\0b\0", 4) << int(UTF_16_GUESSED_LE);
        QTest::newRow("UTF-16 big") << int(UTF_16) << QByteArray("\0a\0b", 4) << int(UTF_16_GUESSED_BE);
        QTest::newRow("UTF-16 tie is little") << int(UTF_16) << QByteArray("abcd") << int(UTF_16_GUESSED_LE);
        QTest::newRow("UTF-16 below four bytes")
            << int(UTF_16) << QByteArray("\0a", 2) << int(UTF_16_GUESSED_LE);
        QTest::newRow("UTF-16 content beats BOM")
            << int(UTF_16) << QByteArray("\xFF\xFE\0a\0b\0c", 8) << int(UTF_16_GUESSED_BE);
        QTest::newRow("UTF-32 little")
            << int(UTF_32) << QByteArray("a\0\0\0b\0\0\0", 8) << int(UTF_32_GUESSED_LE);
        QTest::newRow("UTF-32 big") << int(UTF_32) << QByteArray("\0\0\0a\0\0\0b", 8)
                                    << int(UTF_32_GUESSED_BE);
        QTest::newRow("UTF-32 empty") << int(UTF_32) << QByteArray() << int(UTF_32_GUESSED_LE);
        QTest::newRow("other types unchanged") << int(UTF_8) << QByteArray("\0a\0b", 4) << int(UTF_8);
        QTest::newRow("explicit order unchanged")
            << int(UTF_16LE) << QByteArray("\0a\0b", 4) << int(UTF_16LE);
        // Only the first 1000 bytes count.
        QByteArray mixed;
        for (int i = 0; i < 500; ++i)
            mixed += QByteArray("a\0", 2);
        for (int i = 0; i < 1000; ++i)
            mixed += QByteArray("\0a", 2);
        QTest::newRow("first 1000 bytes") << int(UTF_16) << mixed << int(UTF_16_GUESSED_LE);
    }

    void byteOrderGuess() {
        QFETCH(int, type);
        QFETCH(QByteArray, content);
        QFETCH(int, expected);
        const QString path = writeFile(content);
        QCOMPARE(int(Utilities::guessEncodingFromFile(EncodingType(type), path)), expected);
        QCOMPARE(int(Utilities::getEncodingFromBom(EncodingType(type), path)), expected);
    }

    void byteOrderGuessWithoutFile() {
        const QString missing = dir.filePath(QStringLiteral("missing"));
        QCOMPARE(Utilities::guessEncodingFromFile(UTF_16, missing), UTF_16);
        QCOMPARE(Utilities::getEncodingFromBom(UTF_32, missing), UTF_32);
    }

    void boms_data() {
        QTest::addColumn<int>("type");
        QTest::addColumn<QByteArray>("bom");
        QTest::newRow("UTF-8") << int(UTF_8) << QByteArray("\xEF\xBB\xBF");
        QTest::newRow("UTF-16BE") << int(UTF_16BE) << QByteArray("\xFE\xFF");
        QTest::newRow("UTF-16 guessed LE") << int(UTF_16_GUESSED_LE) << QByteArray("\xFF\xFE");
        QTest::newRow("UTF-32LE") << int(UTF_32LE) << QByteArray("\xFF\xFE\0\0", 4);
        QTest::newRow("UTF-32 guessed BE") << int(UTF_32_GUESSED_BE) << QByteArray("\0\0\xFE\xFF", 4);
        QTest::newRow("UTF-16 undecided") << int(UTF_16) << QByteArray();
        QTest::newRow("UTF-32 undecided") << int(UTF_32) << QByteArray();
        QTest::newRow("ISO 8859-1") << int(ISO_8859_1) << QByteArray();
    }

    void boms() {
        QFETCH(int, type);
        QFETCH(QByteArray, bom);
        const std::vector<char> got = AbstractDataContainer::getEncodingBom(EncodingType(type));
        QCOMPARE(QByteArray(got.data(), qsizetype(got.size())), bom);
        const QByteArray file = bom + "a";
        QCOMPARE(AbstractDataContainer::computeBomOffset(file.constData(), file.size(), EncodingType(type)),
                 int(bom.size()));
        // Shorter than the BOM: no offset.
        if (!bom.isEmpty())
            QCOMPARE(
                AbstractDataContainer::computeBomOffset(bom.constData(), bom.size() - 1, EncodingType(type)),
                0);
    }

    void bomConsistency() {
        const std::vector<char> utf8 = AbstractDataContainer::getEncodingBom(UTF_8);
        QVERIFY(AbstractDataContainer::isBomConsistentWithEncoding(utf8, UTF_8));
        QVERIFY(!AbstractDataContainer::isBomConsistentWithEncoding(utf8, ISO_8859_1));
        QVERIFY(AbstractDataContainer::isBomConsistentWithEncoding(
            AbstractDataContainer::getEncodingBom(UTF_16BE), UTF_16));
        QVERIFY(AbstractDataContainer::isBomConsistentWithEncoding(
            AbstractDataContainer::getEncodingBom(UTF_32LE), UTF_32));
        QVERIFY(!AbstractDataContainer::isBomConsistentWithEncoding(
            AbstractDataContainer::getEncodingBom(UTF_16LE), UTF_32));
        QVERIFY(!AbstractDataContainer::isBomConsistentWithEncoding(
            AbstractDataContainer::getEncodingBom(UTF_16LE), UTF_16BE));
    }
};

QTEST_GUILESS_MAIN(TestFileParameterUtilities)
#include "tst_fileparameterutilities.moc"
