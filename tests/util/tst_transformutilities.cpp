// The string functions of the cell transformations, family by family.
#include "util/caseutilities.h"
#include "util/datetimeutilities.h"
#include "util/numberutilities.h"
#include "util/stringutilities.h"
#include "util/uuidutilities.h"

#include <QRandomGenerator>
#include <QRegularExpression>
#include <QTest>

#include <ctime>
#include <set>

class TestTransformUtilities : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { QLocale::setDefault(QLocale::c()); }

    // --- Case -----------------------------------------------------------------------------------
    void caseStyles_data() {
        QTest::addColumn<QString>("style");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("expected");
        QTest::newRow("title small words") << "title"
                                           << "the lord of the rings"
                                           << "The Lord of the Rings";
        QTest::newRow("title last small word") << "title"
                                               << "what it is for"
                                               << "What It Is For";
        QTest::newRow("title from snake") << "title"
                                          << "HELLO_big_world"
                                          << "Hello Big World";
        QTest::newRow("title one word") << "title"
                                        << "the"
                                        << "The";
        QTest::newRow("lower snake from camel") << "lowerSnake"
                                                << "helloWorld"
                                                << "hello_world";
        QTest::newRow("upper snake, separators") << "upperSnake"
                                                 << "a-b,c/d e"
                                                 << "A_B_C_D_E";
        QTest::newRow("upper camel") << "upperCamel"
                                     << "hello big world"
                                     << "HelloBigWorld";
        QTest::newRow("lower camel") << "lowerCamel"
                                     << "Hello Big_WORLD"
                                     << "helloBigWorld";
        QTest::newRow("camel from camel") << "upperCamel"
                                          << "xmlHttpRequest"
                                          << "XmlHttpRequest";
        QTest::newRow("non-ascii boundary") << "lowerSnake"
                                            << "größeÄnderung"
                                            << "größe_änderung";
        QTest::newRow("acronym") << "acronym"
                                 << "portable network graphics"
                                 << "PNG";
        QTest::newRow("acronym camel") << "acronym"
                                       << "asSoonAsPossible"
                                       << "ASAP";
        QTest::newRow("empty") << "title"
                               << ""
                               << "";
        QTest::newRow("separators only stay") << "upperCamel"
                                              << " - , "
                                              << " - , ";
        QTest::newRow("a dash stays") << "title"
                                      << "-"
                                      << "-";
        QTest::newRow("acronym beyond the basic plane") << "acronym"
                                                        << "\U0001F600 smile"
                                                        << "\U0001F600S";
        QTest::newRow("camel beyond the basic plane") << "upperCamel"
                                                      << "\U00010428\U0001042F deseret"
                                                      << "\U00010400\U0001042FDeseret";
        QTest::newRow("title of a digraph") << "title"
                                            << "\u01C6emo"
                                            << "\u01C5emo";
        QTest::newRow("title of a sharp s") << "title"
                                            << "\u00DFtra\u00DFe"
                                            << "Sstra\u00DFe";
        QTest::newRow("single upper letter") << "lowerSnake"
                                             << "A"
                                             << "a";
    }
    void caseStyles() {
        QFETCH(QString, style);
        QFETCH(QString, text);
        QFETCH(QString, expected);
        QString out;
        if (style == "title")
            out = Utilities::convertToTitleCase(text);
        else if (style == "upperCamel")
            out = Utilities::convertToUpperCamelCase(text);
        else if (style == "lowerCamel")
            out = Utilities::convertToLowerCamelCase(text);
        else if (style == "upperSnake")
            out = Utilities::convertToUpperSnakeCase(text);
        else if (style == "lowerSnake")
            out = Utilities::convertToLowerSnakeCase(text);
        else
            out = Utilities::convertToAcronym(text);
        QCOMPARE(out, expected);
    }

    // --- Dates ----------------------------------------------------------------------------------
    void excelSerials_data() {
        QTest::addColumn<QString>("serial");
        QTest::addColumn<QString>("iso");
        QTest::newRow("1") << "1"
                           << "1900-01-01T00:00:00Z";
        QTest::newRow("59") << "59"
                            << "1900-02-28T00:00:00Z";
        QTest::newRow("60 fictitious leap day") << "60"
                                                << "1900-03-01T00:00:00Z";
        QTest::newRow("61") << "61"
                            << "1900-03-01T00:00:00Z";
        QTest::newRow("modern") << "45306"
                                << "2024-01-15T00:00:00Z";
        QTest::newRow("noon") << "45306.5"
                              << "2024-01-15T12:00:00Z";
        QTest::newRow("0") << "0"
                           << "1899-12-31T00:00:00Z";
    }
    void excelSerials() {
        QFETCH(QString, serial);
        QFETCH(QString, iso);
        QCOMPARE(Utilities::convertDateTimeFormat(serial, DateTimeFormatType::Excel,
                                                  DateTimeFormatType::IsoDateTime, {}, {}),
                 iso);
    }

    void dateConversions_data() {
        QTest::addColumn<int>("from");
        QTest::addColumn<QString>("fromCustom");
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("to");
        QTest::addColumn<QString>("toCustom");
        QTest::addColumn<QString>("expected");
        const int iso = int(DateTimeFormatType::IsoDateTime), isoDate = int(DateTimeFormatType::IsoDate),
                  secs = int(DateTimeFormatType::Seconds), ms = int(DateTimeFormatType::Milliseconds),
                  excel = int(DateTimeFormatType::Excel), custom = int(DateTimeFormatType::Custom);
        QTest::newRow("iso to excel") << iso << ""
                                      << "2024-01-15T12:00:00Z" << excel << ""
                                      << "45306.5";
        QTest::newRow("iso without zone is utc") << iso << ""
                                                 << "2024-01-15T00:00:00" << secs << ""
                                                 << "1705276800";
        QTest::newRow("iso date to seconds") << isoDate << ""
                                             << "1970-01-02" << secs << ""
                                             << "86400";
        QTest::newRow("ms to iso keeps ms") << ms << ""
                                            << "1500" << iso << ""
                                            << "1970-01-01T00:00:01.500Z";
        QTest::newRow("excel before leap day back") << iso << ""
                                                    << "1900-02-28T00:00:00Z" << excel << ""
                                                    << "59";
        QTest::newRow("excel 1 march") << iso << ""
                                       << "1900-03-01T00:00:00Z" << excel << ""
                                       << "61";
        QTest::newRow("custom us") << custom << "MM/dd/yyyy"
                                   << "07/04/2024" << isoDate << ""
                                   << "2024-07-04";
        QTest::newRow("custom escapes") << iso << ""
                                        << "2024-07-04T09:05:00Z" << custom << "\\D\\a\\y: d, \\\\ hh\\h"
                                        << "Day: 4, \\ 09h";
        QTest::newRow("custom month name") << custom << "MMM dd, yyyy"
                                           << "Jul 04, 2024" << isoDate << ""
                                           << "2024-07-04";
        QTest::newRow("two digit year 2000s") << custom << "MM/dd/yy"
                                              << "07/04/24" << isoDate << ""
                                              << "2024-07-04";
        QTest::newRow("two digit year 1900s") << custom << "MM/dd/yy"
                                              << "07/04/85" << isoDate << ""
                                              << "1985-07-04";
        QTest::newRow("iso impossible day stays") << iso << ""
                                                  << "2024-02-30T00:00:00Z" << excel << ""
                                                  << "2024-02-30T00:00:00Z";
        QTest::newRow("iso with offset") << iso << ""
                                         << "2024-01-15T14:00:00+02:00" << iso << ""
                                         << "2024-01-15T12:00:00Z";
        QTest::newRow("unknown text stays") << iso << ""
                                            << "not a date" << excel << ""
                                            << "not a date";
        QTest::newRow("custom escaped quote") << iso << ""
                                              << "2024-07-04T09:05:00Z" << custom << "d\\'MM"
                                              << "4'07";
        QTest::newRow("custom two escaped quotes") << iso << ""
                                                   << "2024-07-04T09:05:00Z" << custom << "d\\'\\'MM"
                                                   << "4''07";
        QTest::newRow("seconds before 1970 round down") << iso << ""
                                                        << "1969-12-31T23:59:59.500Z" << secs << ""
                                                        << "-1";
        QTest::newRow("ms to seconds before 1970") << ms << ""
                                                   << "-1" << secs << ""
                                                   << "-1";
        QTest::newRow("bad custom stays") << custom << "yyyy-MM-dd"
                                          << "2024/01/01" << iso << ""
                                          << "2024/01/01";
    }
    void dateConversions() {
        QFETCH(int, from);
        QFETCH(QString, fromCustom);
        QFETCH(QString, text);
        QFETCH(int, to);
        QFETCH(QString, toCustom);
        QFETCH(QString, expected);
        QCOMPARE(Utilities::convertDateTimeFormat(text, DateTimeFormatType(from), DateTimeFormatType(to),
                                                  fromCustom, toCustom),
                 expected);
    }

    // Every type written and read back gives the same moment (to its resolution).
    // A time without a zone, in a format of one's own or in ISO forms, reads as UTC: the hour
    // that daylight saving time skips where the machine stands is a time like any other.
    void timesInSkippedHour() {
        const QByteArray zone = qgetenv("TZ");
        qputenv("TZ", "Europe/Berlin");
        tzset();
        const QString custom =
            Utilities::convertDateTimeFormat("2024-03-31 02:30", DateTimeFormatType::Custom,
                                             DateTimeFormatType::IsoDateTime, "yyyy-MM-dd hh:mm", {});
        QStringList iso;
        for (const QString text : {"2024-03-31T02:30", "2024-03-31 02:30:00", "2024-03-31T02:30:00.5"})
            iso << Utilities::convertDateTimeFormat(text, DateTimeFormatType::IsoDateTime,
                                                    DateTimeFormatType::Seconds, {}, {});
        if (zone.isNull())
            qunsetenv("TZ");
        else
            qputenv("TZ", zone);
        tzset();
        QCOMPARE(custom, QStringLiteral("2024-03-31T02:30:00Z"));
        QCOMPARE(iso, (QStringList{"1711852200", "1711852200", "1711852200"}));
    }

    void dateRoundTrips_data() {
        QTest::addColumn<int>("type");
        QTest::addColumn<QString>("custom");
        QTest::newRow("iso") << int(DateTimeFormatType::IsoDateTime) << "";
        QTest::newRow("iso date") << int(DateTimeFormatType::IsoDate) << "";
        QTest::newRow("seconds") << int(DateTimeFormatType::Seconds) << "";
        QTest::newRow("milliseconds") << int(DateTimeFormatType::Milliseconds) << "";
        QTest::newRow("excel") << int(DateTimeFormatType::Excel) << "";
        QTest::newRow("custom") << int(DateTimeFormatType::Custom) << "dd.MM.yyyy hh:mm:ss.zzz";
        QTest::newRow("custom escaped") << int(DateTimeFormatType::Custom) << "\\T yyyyMMdd'T'HHmmss";
    }
    void dateRoundTrips() {
        QFETCH(int, type);
        QFETCH(QString, custom);
        const auto t = DateTimeFormatType(type);
        for (const QDateTime& moment : {QDateTime(QDate(1900, 1, 1), QTime(0, 0), Qt::UTC),
                                        QDateTime(QDate(1900, 3, 1), QTime(6, 0), Qt::UTC),
                                        QDateTime(QDate(2024, 2, 29), QTime(23, 59, 58, 250), Qt::UTC),
                                        QDateTime(QDate(1969, 12, 31), QTime(12, 0, 1), Qt::UTC)}) {
            const QString text = Utilities::convertDateTimeToString(moment, t, custom);
            const QDateTime back = Utilities::convertStringToDateTime(text, t, custom);
            QVERIFY2(back.isValid(), qPrintable(text));
            QDateTime expected = moment;
            if (t == DateTimeFormatType::IsoDate)
                expected = QDateTime(moment.date(), QTime(0, 0), Qt::UTC);
            else if (t == DateTimeFormatType::Seconds ||
                     (t == DateTimeFormatType::Custom && !custom.contains('z')))
                expected = moment.addMSecs(-moment.time().msec());
            QCOMPARE(back, expected);
            QCOMPARE(Utilities::convertDateTimeToString(back, t, custom), text);
        }
    }

    // The hand-written reading and writing of ISO texts against the general way through
    // QDateTime, on random moments in every shape it takes and on near misses it must leave to
    // the general way.
    void isoQuickPathAgainstGeneral() {
        QStringList texts{"1900-02-28",
                          "1900-02-29",
                          "1900-03-01T00:00:00Z",
                          "2024-02-29T23:59:59",
                          "2023-02-29T10:00:00Z",
                          "0000-01-01T00:00:00Z",
                          "0001-01-01",
                          "9999-12-31T23:59:59.999Z",
                          "2024-01-01T24:00:00Z",
                          "2024-01-01T23:59:60Z",
                          "2024-01-01t10:00:00z",
                          "2024-01-01 10:00:00",
                          " 2024-05-06T07:08:09Z ",
                          "2024-05-06T07:08:09+02:00",
                          "2024-05-06T07:08",
                          "2024-13-01",
                          "2024-00-10",
                          "2024-1-01",
                          "1899-12-30T12:00:00.5Z",
                          "1969-12-31T23:59:59.999Z",
                          "1970-01-01T00:00:00.001"};
        QRandomGenerator random(29);
        const char* const shapes[] = {"%1", "%1T%2", "%1T%2Z", "%1T%2.%3", "%1T%2.%3Z"};
        for (int i = 0; i < 3000; ++i) {
            const QDate date = QDate(1, 1, 1).addDays(random.bounded(3652058));
            const QTime time = QTime::fromMSecsSinceStartOfDay(int(random.bounded(86400000)));
            texts << QString::fromLatin1(shapes[random.bounded(5)])
                         .arg(date.toString(Qt::ISODate), time.toString("hh:mm:ss"),
                              QString::number(time.msec()).rightJustified(3, '0'));
        }
        for (const auto from : {DateTimeFormatType::IsoDateTime, DateTimeFormatType::IsoDate}) {
            for (const auto to :
                 {DateTimeFormatType::IsoDateTime, DateTimeFormatType::IsoDate, DateTimeFormatType::Seconds,
                  DateTimeFormatType::Milliseconds, DateTimeFormatType::Excel}) {
                for (const QString& text : texts) {
                    const QDateTime moment = Utilities::convertStringToDateTime(text, from, {});
                    QString general =
                        moment.isValid() ? Utilities::convertDateTimeToString(moment, to, {}) : text;
                    if (general.isEmpty())
                        general = text;
                    const QString quick = Utilities::convertDateTimeFormat(text, from, to, {}, {});
                    QVERIFY2(quick == general, qPrintable(QString("%1 (%2 -> %3): %4, expected %5")
                                                              .arg(text)
                                                              .arg(int(from))
                                                              .arg(int(to))
                                                              .arg(quick, general)));
                }
            }
        }
    }

    void labels() {
        for (int t = 0; t <= int(DateTimeFormatType::Custom); ++t) {
            DateTimeFormatType back;
            QVERIFY(Utilities::convertStringToDateTimeFormatType(
                Utilities::convertDateTimeFormatTypeToString(DateTimeFormatType(t)), back));
            QCOMPARE(int(back), t);
        }
        DateTimeFormatType none;
        QVERIFY(!Utilities::convertStringToDateTimeFormatType("ISO", none));
    }

    void escapeSplit_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("separator");
        QTest::addColumn<QStringList>("expected");
        QTest::newRow("plain") << "a/b/c"
                               << "/" << QStringList{"a", "b", "c"};
        QTest::newRow("escaped separator") << "a\\/b/c"
                                           << "/" << QStringList{"a/b", "c"};
        QTest::newRow("escaped backslash") << "a\\\\/b"
                                           << "/" << QStringList{"a\\", "b"};
        QTest::newRow("long separator") << "1ss2\\ss3"
                                        << "ss" << QStringList{"1", "2ss3"};
        QTest::newRow("empty parts") << "/a/"
                                     << "/" << QStringList{"", "a", ""};
    }
    void escapeSplit() {
        QFETCH(QString, text);
        QFETCH(QString, separator);
        QFETCH(QStringList, expected);
        QCOMPARE(Utilities::splitStringUseEscapeChar(text, separator), expected);
    }

    void detect_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("format");
        QTest::newRow("us date") << "07/04/2024"
                                 << "MM/dd/yyyy";
        QTest::newRow("short month") << "7-04-24"
                                     << "M-dd-yy";
        QTest::newRow("time with fraction") << "12:30:15.250"
                                            << "hh:mm:ss.z";
        QTest::newRow("month name") << "Jul 04, 2024"
                                    << "MMM dd, yyyy";
        QTest::newRow("full month name") << "july 04, 2024"
                                         << "MMMM dd, yyyy";
        QTest::newRow("date and time pm") << "07/04/2024 3:15 PM"
                                          << "MM/dd/yyyy h:mm AP";
        QTest::newRow("iso") << "2024-07-04T03:15:00Z"
                             << "yyyy-MM-ddThh:mm:ss";
        QTest::newRow("iso space") << "2024-07-04 03:15:00"
                                   << "yyyy-MM-dd hh:mm:ss";
        QTest::newRow("not a date") << "hello 12"
                                    << "";
        QTest::newRow("bad month in iso shape") << "2024-13-04T03:15:00"
                                                << "";
    }
    void detect() {
        QFETCH(QString, text);
        QFETCH(QString, format);
        QCOMPARE(Utilities::dateTimeFormatDetect(text), format);
        // What it finds reads the text it came from.
        if (!format.isEmpty() && !format.contains('T'))
            QVERIFY(Utilities::convertCustomStringToDateTime(text, format).isValid());
    }

    // --- Numbers --------------------------------------------------------------------------------
    void numberFormats_data() {
        QTest::addColumn<QString>("dot");
        QTest::addColumn<QString>("comma");
        QTest::newRow("plain") << "42137.24"
                               << "42137,24";
        QTest::newRow("grouped") << "42,137.24"
                                 << "42.137,24";
        QTest::newRow("integer") << "42137"
                                 << "42137";
        QTest::newRow("negative") << "-1,000,000.5"
                                  << "-1.000.000,5";
    }
    void numberFormats() {
        QFETCH(QString, dot);
        QFETCH(QString, comma);
        QCOMPARE(
            Utilities::convertNumberFormat(dot, NumberFormatType::DotDecimal, NumberFormatType::CommaDecimal),
            comma);
        QCOMPARE(Utilities::convertNumberFormat(comma, NumberFormatType::CommaDecimal,
                                                NumberFormatType::DotDecimal),
                 dot);
    }
    void numberFormatLeavesText() {
        QCOMPARE(Utilities::convertNumberFormat("abc", NumberFormatType::DotDecimal,
                                                NumberFormatType::CommaDecimal),
                 "abc");
        QCOMPARE(Utilities::convertNumberFormat("1.2.3", NumberFormatType::DotDecimal,
                                                NumberFormatType::CommaDecimal),
                 "1.2.3");
    }

    void zeroFillAndLeadingZeros_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("filled"); // to width 5
        QTest::addColumn<QString>("noZeros");
        QTest::newRow("007") << "007"
                             << "007"
                             << "7";
        QTest::newRow("12a") << "12a"
                             << "12a"
                             << "12a";
        QTest::newRow("42") << "42"
                            << "00042"
                            << "42";
        QTest::newRow("wide enough") << "123456"
                                     << "123456"
                                     << "123456";
        QTest::newRow("zero") << "0"
                              << "0"
                              << "0";
        QTest::newRow("zeros") << "000"
                               << "000"
                               << "0";
        QTest::newRow("prefix") << "ID-0042"
                                << "ID-0042"
                                << "ID-42";
        QTest::newRow("arabic-indic digits") << "\u0664\u0662"
                                             << "000\u0664\u0662"
                                             << "\u0664\u0662";
        QTest::newRow("empty") << ""
                               << ""
                               << "";
        QTest::newRow("decimal") << "0.5"
                                 << "0.5"
                                 << "0.5";
    }
    void zeroFillAndLeadingZeros() {
        QFETCH(QString, text);
        QFETCH(QString, filled);
        QFETCH(QString, noZeros);
        QCOMPARE(Utilities::zeroFillWholeNumbers(text, 5), filled);
        QCOMPARE(Utilities::removeLeadingZeros(text), noZeros);
    }

    void decimals_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("count");
        QTest::addColumn<QString>("expected");
        QTest::newRow("round down") << "3.14159" << 2 << "3.14";
        QTest::newRow("round half up") << "2.675" << 2 << "2.68";
        QTest::newRow("carry") << "9.999" << 2 << "10.00";
        QTest::newRow("pad") << "7" << 2 << "7.00";
        QTest::newRow("to whole") << "7.5" << 0 << "8";
        QTest::newRow("negative") << "-1.005" << 2 << "-1.01";
        QTest::newRow("currency") << "$1,234.5" << 2 << "$1234.50";
        QTest::newRow("euro behind") << "12.3 €" << 1 << "12.3 €";
        QTest::newRow("exponent kept") << "1.23456e5" << 2 << "1.23e5";
        QTest::newRow("leading point") << ".5" << 1 << "0.5";
        QTest::newRow("text") << "abc" << 2 << "abc";
        QTest::newRow("groups of three") << "1,234,567.891" << 1 << "1234567.9";
        QTest::newRow("bad group") << "1,23.5" << 1 << "1,23.5";
        QTest::newRow("group too long first") << "1234,567" << 1 << "1234,567";
        QTest::newRow("exponent without digits") << "1.5e" << 1 << "1.5e";
        QTest::newRow("sign and pound") << "-£3.456" << 2 << "-£3.46";
        QTest::newRow("only a point") << "." << 2 << ".";
        QTest::newRow("trailing point") << "5." << 1 << "5.0";
        QTest::newRow("mixed") << "12a" << 2 << "12a";
        QTest::newRow("negative to zero") << "-0.004" << 2 << "0.00";
        QTest::newRow("negative to whole zero") << "-0.4" << 0 << "0";
    }
    void decimals() {
        if (QLocale::system().decimalPoint() != "." || QLocale::system().groupSeparator() != ",")
            QSKIP("the cases are written for a system locale with \".\" and \",\"");
        QFETCH(QString, text);
        QFETCH(int, count);
        QFETCH(QString, expected);
        QCOMPARE(Utilities::setNumDecimals(text, count), expected);
    }

    // The hand-written reader against the expression it replaces, on random short texts.
    void decimalsAgainstExpression() {
        if (QLocale::system().decimalPoint() != "." || QLocale::system().groupSeparator() != ",")
            QSKIP("the cases are written for a system locale with \".\" and \",\"");
        static const QRegularExpression expression(
            "^([+-]?)([\\$£¥€]?)(\\d*|\\d{1,3}(?:,\\d{3})+)(?:\\.(\\d*))?([eE][+-]?\\d+)?(\\s?€)?$");
        const QString alphabet = "0123456789,.+-$e€ a59999";
        QRandomGenerator random(11);
        for (int round = 0; round < 20000; ++round) {
            QString text;
            const int length = int(random.bounded(12));
            for (int i = 0; i < length; ++i)
                text += alphabet.at(int(random.bounded(int(alphabet.size()))));
            const QRegularExpressionMatch match = expression.match(text);
            const bool number =
                match.hasMatch() && !(match.captured(3).isEmpty() && match.captured(4).isEmpty());
            const QString out = Utilities::setNumDecimals(text, 2);
            if (!number) {
                QVERIFY2(out == text, qPrintable(text + " -> " + out));
                continue;
            }
            // Worked out on strings the slow way: groups out, cut, round half up by carrying.
            QString whole = match.captured(3).remove(',');
            QString fraction = match.captured(4);
            if (whole.isEmpty())
                whole = "0";
            QString digits = whole + (fraction + "000").left(2);
            if (fraction.size() > 2 && fraction.at(2) >= '5') {
                qsizetype i = digits.size() - 1;
                for (; i >= 0 && digits[i] == '9'; --i)
                    digits[i] = '0';
                if (i < 0)
                    digits.prepend('1');
                else
                    digits[i] = QChar(digits[i].unicode() + 1);
            }
            // A negative number that rounds to zero loses its sign.
            const bool zero = digits.count('0') == digits.size();
            const QString sign = zero && match.captured(1) == "-" ? QString() : match.captured(1);
            const QString expected = sign + match.captured(2) + digits.chopped(2) + "." + digits.right(2) +
                                     match.captured(5) + match.captured(6);
            QVERIFY2(out == expected, qPrintable(text + " -> " + out + ", expected " + expected));
            // A number comes back with two decimals and everything around the digits kept.
            QVERIFY2(out.startsWith(sign + match.captured(2)), qPrintable(text + " -> " + out));
            QVERIFY2(out.endsWith(match.captured(5) + match.captured(6)), qPrintable(text + " -> " + out));
            const QString core = out.mid(sign.size() + match.captured(2).size(),
                                         out.size() - sign.size() - match.captured(2).size() -
                                             match.captured(5).size() - match.captured(6).size());
            QVERIFY2(QRegularExpression("^\\d+\\.\\d\\d$").match(core).hasMatch(),
                     qPrintable(text + " -> " + out));
        }
    }

    void numberToString_data() {
        QTest::addColumn<double>("value");
        QTest::addColumn<bool>("groups");
        QTest::addColumn<QString>("expected");
        QTest::newRow("inf") << qInf() << false << "Inf";
        QTest::newRow("-inf") << -qInf() << false << "-Inf";
        QTest::newRow("zero") << 0.0 << false << "0";
        QTest::newRow("fraction") << 0.25 << false << "0.25";
        QTest::newRow("groups") << 1234567.5 << true << "1,234,567.5";
        QTest::newRow("no groups") << 1234567.5 << false << "1234567.5";
        QTest::newRow("tiny") << 1.5e-9 << false << "1.5e-09";
        QTest::newRow("huge") << 2e20 << false << "2e+20";
    }
    void numberToString() {
        QFETCH(double, value);
        QFETCH(bool, groups);
        QFETCH(QString, expected);
        QCOMPARE(Utilities::convertNumberToString(value, groups), expected);
    }

    void randomRanges_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("decimals");
        QTest::addColumn<bool>("ok");
        QTest::addColumn<QString>("pairs");
        QTest::newRow("default ints") << "" << false << true << "0:100";
        QTest::newRow("default decimals") << " " << true << true << "0:10";
        QTest::newRow("single number") << "7" << false << true << "0:7";
        QTest::newRow("range") << "1-5" << false << true << "1:5";
        QTest::newRow("values") << "1,3 5" << false << true << "1:1 3:3 5:5";
        QTest::newRow("mixed") << "1-5,7, 15-20" << false << true << "1:5 7:7 15:20";
        QTest::newRow("reversed range") << "9-2" << false << true << "2:9";
        QTest::newRow("negative") << "-5--1" << false << true << "-5:-1";
        QTest::newRow("decimal for ints") << "1.5" << false << false << "";
        QTest::newRow("decimals") << "0.5-1.25" << true << true << "0.5:1.25";
        QTest::newRow("word") << "few" << false << false << "";
        QTest::newRow("too large to pick from") << "1e300" << true << false << "";
    }
    void randomRanges() {
        QFETCH(QString, text);
        QFETCH(bool, decimals);
        QFETCH(bool, ok);
        QFETCH(QString, pairs);
        std::vector<std::pair<double, double>> out;
        QCOMPARE(Utilities::parseRandomRanges(text, decimals, out), ok);
        if (!ok)
            return;
        QStringList got;
        for (const auto& [low, high] : out)
            got.append(QString::number(low) + ':' + QString::number(high));
        QCOMPARE(got.join(' '), pairs);
    }

    // --- Series, split, join, keep --------------------------------------------------------------
    void series_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("count");
        QTest::addColumn<QStringList>("expected");
        QTest::newRow("integers") << "5 3" << 4 << QStringList{"5", "8", "11", "14"};
        QTest::newRow("negative step") << "1 -2" << 3 << QStringList{"1", "-1", "-3"};
        QTest::newRow("decimals") << "0.5 0.25" << 3 << QStringList{"0.5", "0.75", "1"};
        QTest::newRow("words, not repeated") << "red green blue" << 10 << QStringList{"red", "green", "blue"};
        QTest::newRow("cut to count") << "a b c d" << 2 << QStringList{"a", "b"};
        QTest::newRow("quoted") << "\"New York\" Paris" << 5 << QStringList{"New York", "Paris"};
        QTest::newRow("escaped quote") << "say \"a \\\"b\\\" c\"" << 5 << QStringList{"say", "a \"b\" c"};
        QTest::newRow("slashes survive") << "a/b \"c//d\"" << 5 << QStringList{"a/b", "c//d"};
        QTest::newRow("two words") << "yes no" << 3 << QStringList{"yes", "no"};
        QTest::newRow("int overflow is decimal") << "3000000000 1" << 2 << QStringList{"3e+09", "3e+09"};
        QTest::newRow("binary fractions") << "0.1 0.2" << 3 << QStringList{"0.1", "0.3", "0.5"};
    }
    void series() {
        QFETCH(QString, text);
        QFETCH(int, count);
        QFETCH(QStringList, expected);
        QCOMPARE(Utilities::computeSeriesStrings(text, count), expected);
    }

    void separators() {
        QString out;
        Utilities::evaluateAndConvertSeparatorString("a\\nb\\tc\\\\n\\x", out);
        QCOMPARE(out, QString("a\nb\tc\\n\\x"));
    }

    void indexes_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("ok");
        QTest::addColumn<QList<int>>("expected");
        QTest::newRow("spaces") << "7 3" << true << QList<int>{3, 7};
        QTest::newRow("commas, duplicates") << "3,3, 5" << true << QList<int>{3, 5};
        QTest::newRow("zero") << "0 2" << false << QList<int>{};
        QTest::newRow("word") << "two" << false << QList<int>{};
        QTest::newRow("empty") << "" << false << QList<int>{};
    }
    void indexes() {
        QFETCH(QString, text);
        QFETCH(bool, ok);
        QFETCH(QList<int>, expected);
        std::vector<int> out;
        QCOMPARE(Utilities::evaluateAndConvertIndexString(text, out), ok);
        if (ok)
            QCOMPARE(QList<int>(out.begin(), out.end()), expected);
    }

    // Split then join with the same delimiter gives the original back.
    void splitJoinRoundTrip_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("delimiter");
        QTest::addColumn<int>("parts");
        QTest::newRow("comma") << "a,b,,c"
                               << "," << 4;
        QTest::newRow("ends") << ",a,"
                              << "," << 3;
        QTest::newRow("long delimiter") << "1::2::3"
                                        << "::" << 3;
        QTest::newRow("no delimiter") << "abc"
                                      << ";" << 1;
        QTest::newRow("every character") << "héllo"
                                         << "" << 5;
    }
    void splitJoinRoundTrip() {
        QFETCH(QString, text);
        QFETCH(QString, delimiter);
        QFETCH(int, parts);
        const QStringList split = Utilities::splitByDelimiter(text, delimiter);
        QCOMPARE(split.size(), parts);
        QCOMPARE(split.join(delimiter), text);
    }
    void splitIsCaseInsensitive() {
        QCOMPARE(Utilities::splitByDelimiter("2024T01t02", "T"), (QStringList{"2024", "01", "02"}));
    }
    void splitByIndex_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QList<int>>("indexes");
        QTest::addColumn<QStringList>("expected");
        QTest::newRow("date") << "20240115" << QList<int>{4, 6} << QStringList{"2024", "01", "15"};
        QTest::newRow("past end") << "abc" << QList<int>{2, 9} << QStringList{"ab", "c"};
        QTest::newRow("at end") << "abc" << QList<int>{3} << QStringList{"abc"};
    }
    void splitByIndex() {
        QFETCH(QString, text);
        QFETCH(QList<int>, indexes);
        QFETCH(QStringList, expected);
        const QStringList parts =
            Utilities::splitByIndex(text, std::vector<int>(indexes.begin(), indexes.end()));
        QCOMPARE(parts, expected);
        QCOMPARE(parts.join(QString()), text);
    }

    void keepParts_data() {
        QTest::addColumn<QString>("which");
        QTest::addColumn<int>("index");
        QTest::addColumn<int>("count");
        QTest::addColumn<QString>("expected");
        QTest::newRow("left 4") << "left" << 4 << 0 << "Lore";
        QTest::newRow("left -4") << "left" << -4 << 0 << "Lorem I";
        QTest::newRow("left past end") << "left" << 40 << 0 << "Lorem Ipsum";
        QTest::newRow("left -40") << "left" << -40 << 0 << "";
        QTest::newRow("right 4") << "right" << 4 << 0 << "psum";
        QTest::newRow("right -4") << "right" << -4 << 0 << "m Ipsum";
        QTest::newRow("middle 2 5") << "middle" << 2 << 5 << "rem I";
        QTest::newRow("middle -5 3") << "middle" << -5 << 3 << "Ips";
        QTest::newRow("middle 7 -4") << "middle" << 7 << -4 << "em I";
        QTest::newRow("middle 2 -9") << "middle" << 2 << -9 << "Lo";
        QTest::newRow("middle past end") << "middle" << 20 << 3 << "";
    }
    void keepParts() {
        QFETCH(QString, which);
        QFETCH(int, index);
        QFETCH(int, count);
        QFETCH(QString, expected);
        const QString text = "Lorem Ipsum";
        const QString out = which == "left"    ? Utilities::keepLeftPart(text, index)
                            : which == "right" ? Utilities::keepRightPart(text, index)
                                               : Utilities::keepMiddlePart(text, index, count);
        QCOMPARE(out, expected);
    }

    // Character positions count a character beyond the basic plane (an emoji) as one, and never
    // cut it in half.
    void positionsCountWholeCharacters() {
        const QString text = QStringLiteral("a\U0001F600b\U0001F600");
        const QString smile = QStringLiteral("\U0001F600");
        QCOMPARE(Utilities::keepLeftPart(text, 2), "a" + smile);
        QCOMPARE(Utilities::keepLeftPart(text, -1), "a" + smile + "b");
        QCOMPARE(Utilities::keepRightPart(text, 1), smile);
        QCOMPARE(Utilities::keepRightPart(text, -2), "b" + smile);
        QCOMPARE(Utilities::keepMiddlePart(text, 1, 2), smile + "b");
        QCOMPARE(Utilities::keepMiddlePart(text, -1, -2), smile + "b");
        QCOMPARE(Utilities::splitByIndex(text, {1, 3}), (QStringList{"a", smile + "b", smile}));
        QCOMPARE(Utilities::splitByDelimiter(text, ""), (QStringList{"a", smile, "b", smile}));
    }

    // --- UUIDs ----------------------------------------------------------------------------------
    void uuidForms() {
        static const QRegularExpression lower(
            "^[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}$");
        static const QRegularExpression upper7(
            "^\\{[0-9A-F]{8}-[0-9A-F]{4}-7[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}\\}$");
        QVERIFY(lower.match(Utilities::generateUuid(false, false, UuidV4)).hasMatch());
        QVERIFY(upper7.match(Utilities::generateUuid(true, true, UuidV7)).hasMatch());
    }
    void uuidV7Ordered() {
        static const QRegularExpression v7(
            "^[0-9a-f]{8}-[0-9a-f]{4}-7[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}$");
        const qint64 before = QDateTime::currentMSecsSinceEpoch();
        std::vector<QString> uuids(20000);
        Utilities::generateUuids(uuids, false, false, UuidV7);
        const qint64 after = QDateTime::currentMSecsSinceEpoch();
        std::set<QString> distinct(uuids.begin(), uuids.end());
        QCOMPARE(distinct.size(), uuids.size());
        for (std::size_t i = 0; i < uuids.size(); ++i) {
            QVERIFY2(v7.match(uuids[i]).hasMatch(), qPrintable(uuids[i]));
            if (i > 0)
                QVERIFY2(uuids[i - 1] < uuids[i], qPrintable(uuids[i - 1] + " " + uuids[i]));
        }
        // The first 48 bits are the time it was made.
        const qint64 ms = QString(uuids.front()).remove('-').left(12).toLongLong(nullptr, 16);
        QVERIFY(ms >= before && ms <= after + 1);
    }
};

QTEST_GUILESS_MAIN(TestTransformUtilities)
#include "tst_transformutilities.moc"
