#include "util/fileoptionutilities.h"

#include "preferences/settingutilities.h"
#include "util/fileparameterutilities.h"

#include <QTest>

class TestFileOptionUtilities : public QObject {
    Q_OBJECT

private slots:
    // What a user types into the delimiter prompts, and what is refused.
    void delimiterAnswers_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("ok");
        QTest::addColumn<QString>("delimiter");
        QTest::newRow("choice name") << "Semicolon (;)" << true << ";";
        QTest::newRow("word") << " semicolon " << true << ";";
        QTest::newRow("word, any case") << "PIPE" << true << "|";
        QTest::newRow("tab word") << "tab" << true << "\t";
        QTest::newRow("tab escape") << "\\t" << true << "\t";
        QTest::newRow("a lone blank") << " " << true << " ";
        QTest::newRow("space escape") << "\\s" << true << " ";
        QTest::newRow("any character") << "#" << true << "#";
        QTest::newRow("unit separator") << "unit separator" << true << QString(QChar(31));
        QTest::newRow("empty") << "" << false << "";
        QTest::newRow("two characters") << ";;" << false << "";
        QTest::newRow("quote") << "\"" << false << "";
        QTest::newRow("line break") << "\n" << false << "";
        QTest::newRow("not ASCII") << "é" << false << "";
    }
    void delimiterAnswers() {
        QFETCH(QString, text);
        QFETCH(bool, ok);
        QFETCH(QString, delimiter);
        QString got = QStringLiteral("unchanged");
        QCOMPARE(Utilities::parseDelimiterAnswer(text, got), ok);
        QCOMPARE(got, ok ? delimiter : QStringLiteral("unchanged"));
    }

    // Every offered choice reads back as itself, through its name and through its response.
    void choicesReadBack() {
        for (const Utilities::NamedChoice& c : Utilities::getDelimiterChoices()) {
            QString d;
            QVERIFY2(Utilities::parseDelimiterAnswer(c.name, d) && d == c.response, qPrintable(c.name));
        }
        for (const Utilities::NamedChoice& c : Utilities::getEncodingChoices()) {
            EncodingType e = UTF_16;
            QVERIFY2(Utilities::parseEncodingAnswer(c.name, e), qPrintable(c.name));
            QCOMPARE(Utilities::convertEncodingTypeToString(e), c.name);
        }
        for (const Utilities::NamedChoice& c : Utilities::getLineEndingChoices()) {
            LineEndingType a = LineEndingType(5);
            LineEndingType b = LineEndingType(5);
            QVERIFY(Utilities::parseLineEndingAnswer(c.name, a) &&
                    Utilities::parseLineEndingAnswer(c.response, b));
            QCOMPARE(a, b);
        }
        for (const Utilities::NamedChoice& c : Utilities::getParsingStandardChoices()) {
            ParsingStandard s = UNKNOWN_STANDARD;
            QVERIFY2(Utilities::parseParsingStandardAnswer(c.name, s), qPrintable(c.name));
            QCOMPARE(Utilities::convertParsingStandardToString(s), c.name);
        }
        for (const Utilities::NamedChoice& c : Utilities::getRefreshBehaviorChoices()) {
            RefreshBehavior r = RefreshBehaviorInvalid;
            QVERIFY2(Utilities::parseRefreshBehaviorAnswer(c.name, r), qPrintable(c.name));
            QCOMPARE(Utilities::convertRefreshBehaviorTypeToString(r), c.response);
        }
    }

    void encodingAnswers_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("ok");
        QTest::addColumn<int>("encoding");
        QTest::newRow("utf8 loosely") << "utf 8" << true << int(UTF_8);
        QTest::newRow("codec name") << "windows-1252" << true << int(WINDOWS_1252);
        QTest::newRow("byte order named") << "utf16be" << true << int(UTF_16BE);
        // A width without a byte order writes little-endian, as the opener reads it.
        QTest::newRow("byte order not named") << "UTF-16" << true << int(UTF_16LE);
        QTest::newRow("unknown") << "no such thing" << false << 0;
        QTest::newRow("empty") << "  " << false << 0;
    }
    void encodingAnswers() {
        QFETCH(QString, text);
        QFETCH(bool, ok);
        QFETCH(int, encoding);
        EncodingType got = KOI8_R;
        QCOMPARE(Utilities::parseEncodingAnswer(text, got), ok);
        QCOMPARE(int(got), ok ? encoding : int(KOI8_R));
    }

    void otherAnswers() {
        LineEndingType l = LINE_ENDING_UNIX;
        QVERIFY(Utilities::parseLineEndingAnswer(QStringLiteral("crlf"), l) && l == LINE_ENDING_WINDOWS);
        QVERIFY(!Utilities::parseLineEndingAnswer(QStringLiteral("sideways"), l));
        ParsingStandard s = RFC_4180;
        QVERIFY(Utilities::parseParsingStandardAnswer(QStringLiteral("all quotes"), s) && s == ALL_QUOTES);
        QVERIFY(!Utilities::parseParsingStandardAnswer(QStringLiteral("quotes please"), s));
        RefreshBehavior r = RefreshBehaviorRefresh;
        QVERIFY(Utilities::parseRefreshBehaviorAnswer(QStringLiteral(" Ask "), r) && r == RefreshBehaviorAsk);
        QVERIFY(!Utilities::parseRefreshBehaviorAnswer(QStringLiteral("sometimes"), r));
    }

    void fileNames_data() {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("duplicate");
        QTest::addColumn<bool>("valid");
        QTest::newRow("extension") << "sales.csv"
                                   << "sales Duplicate.csv" << true;
        QTest::newRow("two dots") << "sales.2024.tsv"
                                  << "sales.2024 Duplicate.tsv" << true;
        QTest::newRow("no extension") << "notes"
                                      << "notes Duplicate" << true;
        QTest::newRow("hidden file") << ".data"
                                     << ".data Duplicate" << true;
        QTest::newRow("folder in it") << "a/b.csv"
                                      << "" << false;
        QTest::newRow("dot dot") << ".."
                                 << "" << false;
    }
    void fileNames() {
        QFETCH(QString, name);
        QFETCH(QString, duplicate);
        QFETCH(bool, valid);
        QCOMPARE(Utilities::fileNameValid(name), valid);
        if (valid)
            QCOMPARE(Utilities::makeDuplicateFileName(name), duplicate);
    }
};

QTEST_MAIN(TestFileOptionUtilities)
#include "tst_fileoptionutilities.moc"
