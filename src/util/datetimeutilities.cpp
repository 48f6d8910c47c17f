#include "util/datetimeutilities.h"

#include <QLocale>
#include <QRegularExpression>
#include <QTimeZone>

#include <array>
#include <charconv>
#include <cmath>

namespace Utilities {

namespace {

constexpr qint64 kMsPerDay = 86400000;

struct Label {
    DateTimeFormatType type;
    const char* text;
};
constexpr std::array<Label, 6> kLabels{{
    {DateTimeFormatType::IsoDateTime, "ISO 8601 Format"},
    {DateTimeFormatType::IsoDate, "ISO 8601 Format (date only)"},
    {DateTimeFormatType::Seconds, "Unix Epoch Time (seconds)"},
    {DateTimeFormatType::Milliseconds, "Unix Epoch Time (milliseconds)"},
    {DateTimeFormatType::Excel, "Excel Format"},
    {DateTimeFormatType::Custom, "Custom Format"},
}};

QDateTime excelBase() {
    return QDateTime(QDate(1899, 12, 30), QTime(0, 0), Qt::UTC);
}

// A format with backslash escapes as a QDateTime format, the escaped characters quoted.
QString qtFormat(const QString& format) {
    // Neighbouring escaped characters go in one quoted run: two runs side by side would read
    // as a quote ('' is a literal quote in QDateTime formats).
    QString out;
    QString literal;
    // A run of nothing but escaped quotes goes unquoted, as "''" each: inside quotes, "''''"
    // reads as two quotes rather than one.
    auto flush = [&] {
        if (!literal.isEmpty()) {
            const bool onlyQuotes = literal.count(QLatin1Char('\'')) == literal.size();
            out += onlyQuotes ? literal : QLatin1Char('\'') + literal + QLatin1Char('\'');
        }
        literal.clear();
    };
    for (qsizetype i = 0; i < format.size(); ++i) {
        const QChar c = format.at(i);
        if (c == QLatin1Char('\\') && i + 1 < format.size()) {
            const QChar next = format.at(++i);
            literal += next == QLatin1Char('\'') ? QStringLiteral("''") : QString(next);
            continue;
        }
        flush();
        out += c;
    }
    flush();
    return out;
}

// Whether `letter` stands in the format outside quotes and escapes.
bool hasFormatLetter(const QString& format, QChar letter) {
    bool quoted = false;
    for (qsizetype i = 0; i < format.size(); ++i) {
        const QChar c = format.at(i);
        if (c == QLatin1Char('\\'))
            ++i;
        else if (c == QLatin1Char('\''))
            quoted = !quoted;
        else if (!quoted && c == letter)
            return true;
    }
    return false;
}

// Whether the format holds a run of exactly two "y" outside quotes and escapes.
bool hasTwoDigitYear(const QString& format) {
    bool quoted = false;
    for (qsizetype i = 0; i < format.size(); ++i) {
        const QChar c = format.at(i);
        if (c == QLatin1Char('\\')) {
            ++i;
            continue;
        }
        if (c == QLatin1Char('\'')) {
            quoted = !quoted;
            continue;
        }
        if (quoted || c != QLatin1Char('y'))
            continue;
        qsizetype run = 1;
        while (i + run < format.size() && format.at(i + run) == QLatin1Char('y'))
            ++run;
        if (run == 2)
            return true;
        i += run - 1;
    }
    return false;
}

// "yyyy-MM-ddTHH:mm:ss" with an optional "Z", the common shape, read without the general
// parser; anything else gives an invalid result and goes the general way.
QDateTime quickIsoDateTime(const QString& t) {
    const qsizetype n = t.size();
    if ((n != 19 && n != 20) || (n == 20 && t.at(19) != QLatin1Char('Z')))
        return QDateTime();
    static constexpr char shape[] = "dddd-dd-ddTdd:dd:dd";
    int numbers[6] = {0, 0, 0, 0, 0, 0};
    int field = 0;
    for (qsizetype i = 0; i < 19; ++i) {
        const char16_t c = t.at(i).unicode();
        if (shape[i] == 'd') {
            if (c < u'0' || c > u'9')
                return QDateTime();
            numbers[field] = numbers[field] * 10 + int(c - u'0');
        } else if (c != char16_t(shape[i])) {
            return QDateTime();
        } else {
            ++field;
        }
    }
    const QDate date(numbers[0], numbers[1], numbers[2]);
    const QTime time(numbers[3], numbers[4], numbers[5]);
    if (!date.isValid() || !time.isValid())
        return QDateTime();
    return QDateTime(date, time, Qt::UTC);
}

// The whole seconds of an instant, rounded down: half a second before 1970 is second -1, as
// it is in every other second's count, not 0.
qint64 floorSeconds(qint64 ms) {
    return ms >= 0 ? ms / 1000 : -((-ms + 999) / 1000);
}

QString trimmedNumber(double value) {
    QString text = QString::number(value, 'f', 10);
    while (text.endsWith(QLatin1Char('0')))
        text.chop(1);
    if (text.endsWith(QLatin1Char('.')))
        text.chop(1);
    return text;
}

// --- The quick path ----------------------------------------------------------------------------
// A column of a million ISO times spends most of its time in QDateTime when each cell is parsed
// and printed through it. The common shapes are read and written here with calendar arithmetic
// instead; anything outside them (offsets, other separators, years outside 1-9999, leap seconds)
// goes the general way, so both give the same text.

// Days from 1970-01-01 of a date of the proleptic Gregorian calendar.
constexpr qint64 daysFromCivil(qint64 y, int m, int d) {
    y -= m <= 2 ? 1 : 0;
    const qint64 era = (y >= 0 ? y : y - 399) / 400;
    const qint64 yoe = y - era * 400;
    const qint64 doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
    const qint64 doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    return era * 146097 + doe - 719468;
}

constexpr void civilFromDays(qint64 z, qint64& y, int& m, int& d) {
    z += 719468;
    const qint64 era = (z >= 0 ? z : z - 146096) / 146097;
    const qint64 doe = z - era * 146097;
    const qint64 yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    const qint64 doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    const qint64 mp = (5 * doy + 2) / 153;
    d = int(doy - (153 * mp + 2) / 5 + 1);
    m = int(mp < 10 ? mp + 3 : mp - 9);
    y = yoe + era * 400 + (m <= 2 ? 1 : 0);
}

static_assert(daysFromCivil(1970, 1, 1) == 0);
static_assert(daysFromCivil(2000, 3, 1) == 11017);
static_assert(daysFromCivil(1899, 12, 30) == -25569);

constexpr int daysInMonth(qint64 y, int m) {
    constexpr int days[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    const bool leap = (y % 4 == 0 && y % 100 != 0) || y % 400 == 0;
    return m == 2 && leap ? 29 : days[m - 1];
}

// A UTC instant: days from 1970-01-01 and milliseconds into the day.
struct Instant {
    qint64 days = 0;
    int ms = 0;
};

// "yyyy-MM-dd", optionally followed by "Thh:mm:ss", ".zzz" and "Z".
bool quickReadIso(QStringView t, Instant& out) {
    const qsizetype n = t.size();
    if (n != 10 && n != 19 && n != 20 && n != 23 && n != 24)
        return false;
    auto digits = [&t](qsizetype from, qsizetype count, int& value) {
        value = 0;
        for (qsizetype i = from; i < from + count; ++i) {
            const char16_t c = t[i].unicode();
            if (c < u'0' || c > u'9')
                return false;
            value = value * 10 + int(c - u'0');
        }
        return true;
    };
    int y = 0, mo = 0, d = 0;
    if (!digits(0, 4, y) || t[4] != u'-' || !digits(5, 2, mo) || t[7] != u'-' || !digits(8, 2, d))
        return false;
    if (y < 1 || mo < 1 || mo > 12 || d < 1 || d > daysInMonth(y, mo))
        return false;
    out.days = daysFromCivil(y, mo, d);
    out.ms = 0;
    if (n == 10)
        return true;
    int h = 0, mi = 0, s = 0, ms = 0;
    if (t[10] != u'T' || !digits(11, 2, h) || t[13] != u':' || !digits(14, 2, mi) || t[16] != u':' ||
        !digits(17, 2, s))
        return false;
    qsizetype at = 19;
    if (n >= 23) {
        if (t[19] != u'.' || !digits(20, 3, ms))
            return false;
        at = 23;
    }
    if (at < n && (t[at] != u'Z' || at + 1 != n))
        return false;
    if (h > 23 || mi > 59 || s > 59)
        return false;
    out.ms = ((h * 60 + mi) * 60 + s) * 1000 + ms;
    return true;
}

void putDigits(char16_t*& p, qint64 value, int width) {
    for (int i = width - 1; i >= 0; --i) {
        p[i] = char16_t(u'0' + value % 10);
        value /= 10;
    }
    p += width;
}

QString quickIsoText(const Instant& at, bool withTime) {
    qint64 y = 0;
    int m = 0, d = 0;
    civilFromDays(at.days, y, m, d);
    if (y < 1 || y > 9999)
        return QString();
    char16_t buffer[24];
    char16_t* p = buffer;
    putDigits(p, y, 4);
    *p++ = u'-';
    putDigits(p, m, 2);
    *p++ = u'-';
    putDigits(p, d, 2);
    if (withTime) {
        *p++ = u'T';
        putDigits(p, at.ms / 3600000, 2);
        *p++ = u':';
        putDigits(p, at.ms / 60000 % 60, 2);
        *p++ = u':';
        putDigits(p, at.ms / 1000 % 60, 2);
        if (at.ms % 1000) {
            *p++ = u'.';
            putDigits(p, at.ms % 1000, 3);
        }
        *p++ = u'Z';
    }
    return QString(reinterpret_cast<const QChar*>(buffer), p - buffer);
}

QString quickExcelText(const Instant& at) {
    const qint64 days = at.days - daysFromCivil(1899, 12, 30);
    const qint64 serial = days <= 60 ? days - 1 : days;
    if (at.ms == 0)
        return QString::number(serial);
    // Fixed with ten decimals, correctly rounded as QString::number prints it, trailing zeros off.
    char buffer[64];
    const double value = double(serial) + double(at.ms) / double(kMsPerDay);
    const auto [end, error] =
        std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::fixed, 10);
    if (error != std::errc())
        return trimmedNumber(value);
    const char* last = end;
    while (last > buffer && last[-1] == '0')
        --last;
    if (last > buffer && last[-1] == '.')
        --last;
    return QString::fromLatin1(buffer, last - buffer);
}

// The text of `at` in `to`, or a null string where the general way has to write it.
QString quickWrite(const Instant& at, DateTimeFormatType to) {
    const qint64 ms = at.days * kMsPerDay + at.ms;
    switch (to) {
    case DateTimeFormatType::IsoDateTime:
        return quickIsoText(at, true);
    case DateTimeFormatType::IsoDate:
        return quickIsoText(at, false);
    case DateTimeFormatType::Seconds:
        return QString::number(floorSeconds(ms));
    case DateTimeFormatType::Milliseconds:
        return QString::number(ms);
    case DateTimeFormatType::Excel:
        return quickExcelText(at);
    case DateTimeFormatType::Custom:
        break;
    }
    return QString();
}

} // namespace

QString convertDateTimeFormatTypeToString(DateTimeFormatType type) {
    for (const Label& label : kLabels) {
        if (label.type == type)
            return QString::fromLatin1(label.text);
    }
    return QString();
}

bool convertStringToDateTimeFormatType(const QString& text, DateTimeFormatType& out) {
    for (const Label& label : kLabels) {
        if (text.compare(QLatin1String(label.text), Qt::CaseInsensitive) == 0) {
            out = label.type;
            return true;
        }
    }
    return false;
}

QDateTime convertStringToDateTime(const QString& text, DateTimeFormatType type, const QString& custom) {
    const QString t = text.trimmed();
    switch (type) {
    case DateTimeFormatType::IsoDateTime:
    case DateTimeFormatType::IsoDate: {
        if (type == DateTimeFormatType::IsoDateTime) {
            if (QDateTime quick = quickIsoDateTime(t); quick.isValid())
                return quick;
        }
        QDateTime dt = QDateTime::fromString(t, Qt::ISODate);
        // A time without an offset is UTC, and is read as UTC: read in the machine's zone, a time
        // in the hour that daylight saving time skips doesn't exist.
        if (!dt.isValid() || dt.timeSpec() == Qt::LocalTime) {
            if (const QDateTime utc = QDateTime::fromString(t + QLatin1Char('Z'), Qt::ISODate); utc.isValid())
                dt = utc;
        }
        if (!dt.isValid() && type == DateTimeFormatType::IsoDate)
            dt = QDateTime(QDate::fromString(t, Qt::ISODate), QTime(0, 0), Qt::UTC);
        if (!dt.isValid())
            return QDateTime();
        // A time without an offset is taken as UTC, not as the machine's local time.
        if (dt.timeSpec() == Qt::LocalTime)
            dt = QDateTime(dt.date(), dt.time(), Qt::UTC);
        return dt.toUTC();
    }
    case DateTimeFormatType::Seconds:
    case DateTimeFormatType::Milliseconds: {
        bool ok = false;
        qint64 value = t.toLongLong(&ok);
        if (!ok) {
            const double d = t.toDouble(&ok);
            if (!ok || !std::isfinite(d) || std::fabs(d) > 9.0e15)
                return QDateTime();
            value = qint64(std::llround(d));
        }
        QDateTime dt(QDate(1970, 1, 1), QTime(0, 0), Qt::UTC);
        if (type == DateTimeFormatType::Seconds)
            dt.setSecsSinceEpoch(value);
        else
            dt.setMSecsSinceEpoch(value);
        return dt.isValid() ? dt.toUTC() : QDateTime();
    }
    case DateTimeFormatType::Excel: {
        bool ok = false;
        const double serial = t.toDouble(&ok);
        if (!ok || !std::isfinite(serial) || std::fabs(serial) > 3.0e6)
            return QDateTime();
        const double whole = std::trunc(serial);
        const qint64 n = qint64(whole);
        // Serials below 61 count the spreadsheet's fictitious 29 February 1900, so 60 and
        // 61 both land on 1 March.
        QDateTime dt = excelBase().addDays(n < 61 ? n + 1 : n);
        return dt.addMSecs(std::llround((serial - whole) * double(kMsPerDay)));
    }
    case DateTimeFormatType::Custom:
        return convertCustomStringToDateTime(t, custom);
    }
    return QDateTime();
}

QString convertDateTimeToString(const QDateTime& dateTime, DateTimeFormatType type, const QString& custom) {
    if (!dateTime.isValid())
        return QString();
    const QDateTime utc = dateTime.toUTC();
    switch (type) {
    case DateTimeFormatType::IsoDateTime:
        return utc.time().msec() ? utc.toString(Qt::ISODateWithMs) : utc.toString(Qt::ISODate);
    case DateTimeFormatType::IsoDate:
        return utc.date().toString(Qt::ISODate);
    case DateTimeFormatType::Seconds:
        return QString::number(floorSeconds(utc.toMSecsSinceEpoch()));
    case DateTimeFormatType::Milliseconds:
        return QString::number(utc.toMSecsSinceEpoch());
    case DateTimeFormatType::Excel: {
        const qint64 days = utc.date().toJulianDay() - excelBase().date().toJulianDay();
        // Back through the fictitious leap day: days up to 60 are one more than their serial.
        const qint64 serial = days <= 60 ? days - 1 : days;
        const qint64 ms = utc.time().msecsSinceStartOfDay();
        if (ms == 0)
            return QString::number(serial);
        return trimmedNumber(double(serial) + double(ms) / double(kMsPerDay));
    }
    case DateTimeFormatType::Custom:
        return convertCustomDateTimeToString(utc, custom);
    }
    return QString();
}

QString convertDateTimeFormat(const QString& text, DateTimeFormatType from, DateTimeFormatType to,
                              const QString& fromCustom, const QString& toCustom) {
    if (from == DateTimeFormatType::IsoDateTime || from == DateTimeFormatType::IsoDate) {
        Instant at;
        if (quickReadIso(QStringView(text).trimmed(), at)) {
            if (QString out = quickWrite(at, to); !out.isNull())
                return out;
        }
    }
    const QDateTime dt = convertStringToDateTime(text, from, fromCustom);
    if (!dt.isValid())
        return text;
    const QString out = convertDateTimeToString(dt, to, toCustom);
    return out.isEmpty() ? text : out;
}

QDateTime convertCustomStringToDateTime(const QString& text, const QString& format) {
    if (format.isEmpty())
        return QDateTime();
    const QString qt = qtFormat(format);
    // Read as UTC where the format names no zone: read in the machine's zone, a time in the hour
    // that daylight saving time skips doesn't exist and the cell would stay unconverted.
    QDateTime dt;
    if (!hasFormatLetter(format, QLatin1Char('t')))
        dt = QDateTime::fromString(text + QLatin1String(" UTC"), qt + QLatin1String(" t"));
    if (!dt.isValid())
        dt = QDateTime::fromString(text, qt);
    if (!dt.isValid()) {
        // A format of a date alone or a time alone.
        const QDate date = QDate::fromString(text, qt);
        if (date.isValid())
            dt = QDateTime(date, QTime(0, 0));
        else if (const QTime time = QTime::fromString(text, qt); time.isValid())
            dt = QDateTime(QDate(1970, 1, 1), time);
    }
    if (!dt.isValid())
        return QDateTime();
    dt = QDateTime(dt.date(), dt.time(), Qt::UTC);
    if (hasTwoDigitYear(format) && dt.date().year() >= 1900 && dt.date().year() < 1969)
        dt.setDate(dt.date().addYears(100));
    return dt;
}

QString convertCustomDateTimeToString(const QDateTime& dateTime, const QString& format) {
    if (format.isEmpty() || !dateTime.isValid())
        return QString();
    return QLocale::c().toString(dateTime.toUTC(), qtFormat(format));
}

QStringList splitStringUseEscapeChar(const QString& text, const QString& separator) {
    QStringList out;
    if (separator.isEmpty())
        return {text};
    QString part;
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (text.at(i) == QLatin1Char('\\') && i + 1 < text.size()) {
            if (text.at(i + 1) == QLatin1Char('\\')) {
                part += QLatin1Char('\\');
                ++i;
                continue;
            }
            if (QStringView(text).mid(i + 1).startsWith(separator)) {
                part += separator;
                i += separator.size();
                continue;
            }
        }
        if (QStringView(text).mid(i).startsWith(separator)) {
            out.append(part);
            part.clear();
            i += separator.size() - 1;
            continue;
        }
        part += text.at(i);
    }
    out.append(part);
    return out;
}

QString dateTimeFormatDetect(const QString& text) {
    static const QRegularExpression iso(QStringLiteral(
        "^\\d{4}-(1[0-2]|0\\d)-([0-2]\\d|3[0-1])(T|\\s)([0-1]\\d|2[0-3]):[0-5]\\d:[0-5]\\dZ?$"));
    const QString t = text.trimmed();
    if (const QRegularExpressionMatch m = iso.match(t); m.hasMatch())
        return m.captured(3) == QLatin1String("T") ? QStringLiteral("yyyy-MM-ddThh:mm:ss")
                                                   : QStringLiteral("yyyy-MM-dd hh:mm:ss");
    // The text's shape: digits as "#", month and weekday names as their format letters.
    static const QRegularExpression word(QStringLiteral("[A-Za-z]+"));
    const QLocale c = QLocale::c();
    QString shape;
    qsizetype at = 0;
    QString marker;
    for (QRegularExpressionMatchIterator it = word.globalMatch(t); it.hasNext();) {
        const QRegularExpressionMatch m = it.next();
        shape += t.mid(at, m.capturedStart() - at);
        at = m.capturedEnd();
        const QString w = m.captured().toLower();
        QString letters;
        for (int i = 1; i <= 12 && letters.isEmpty(); ++i) {
            if (w == c.monthName(i, QLocale::LongFormat).toLower())
                letters = QStringLiteral("MMMM");
            else if (w == c.monthName(i, QLocale::ShortFormat).toLower())
                letters = QStringLiteral("MMM");
        }
        for (int i = 1; i <= 7 && letters.isEmpty(); ++i) {
            if (w == c.dayName(i, QLocale::LongFormat).toLower())
                letters = QStringLiteral("dddd");
            else if (w == c.dayName(i, QLocale::ShortFormat).toLower())
                letters = QStringLiteral("ddd");
        }
        if (letters.isEmpty() &&
            (w == QLatin1String("am") || w == QLatin1String("pm") || w == QLatin1String("ap"))) {
            letters = m.captured().at(0).isUpper() ? QStringLiteral("AP") : QStringLiteral("ap");
            marker = letters;
        }
        if (letters.isEmpty())
            return QString();
        shape += letters;
    }
    shape += t.mid(at);
    for (QChar& ch : shape) {
        if (ch.isDigit())
            ch = QLatin1Char('#');
    }
    // Any fraction of a second reads as one pattern digit.
    shape.replace(QRegularExpression(QStringLiteral("\\.#+")), QStringLiteral(".#"));

    static const std::array<std::pair<const char*, const char*>, 19> table{{
        {"##:##:##.#", "hh:mm:ss.z"},
        {"##:##:##", "hh:mm:ss"},
        {"##:##", "hh:mm"},
        {"#:##:##.#", "h:mm:ss.z"},
        {"#:##:##", "h:mm:ss"},
        {"#:##", "h:mm"},
        {"## ## ####", "MM dd yyyy"},
        {"##/##/####", "MM/dd/yyyy"},
        {"##-##-####", "MM-dd-yyyy"},
        {"#/##/####", "M/dd/yyyy"},
        {"#-##-####", "M-dd-yyyy"},
        {"## ## ##", "MM dd yy"},
        {"##/##/##", "MM/dd/yy"},
        {"##-##-##", "MM-dd-yy"},
        {"#/##/##", "M/dd/yy"},
        {"#-##-##", "M-dd-yy"},
        {"MMM ##, ####", "MMM dd, yyyy"},
        {"MMM. ##, ####", "MMM. dd, yyyy"},
        {"MMMM ##, ####", "MMMM dd, yyyy"},
    }};
    auto lookUp = [](const QString& s) -> QString {
        for (const auto& [pattern, format] : table) {
            if (s == QLatin1String(pattern))
                return QString::fromLatin1(format);
        }
        return QString();
    };
    auto withMarker = [&](const QString& s) -> QString {
        if (marker.isEmpty())
            return lookUp(s);
        // "h:mm AP", "h:mm:ssAP": the time before the marker, and the marker as it stood.
        const qsizetype m = s.lastIndexOf(marker);
        if (m < 0 || m + marker.size() != s.size())
            return QString();
        QString time = s.left(m);
        const bool space = time.endsWith(QLatin1Char(' '));
        if (space)
            time.chop(1);
        const QString found = lookUp(time);
        return found.isEmpty() ? QString() : found + (space ? QStringLiteral(" ") : QString()) + marker;
    };
    if (QString found = withMarker(shape); !found.isEmpty())
        return found;
    // A date and a time, or a weekday and a date, at each space in turn.
    for (qsizetype space = shape.indexOf(QLatin1Char(' ')); space >= 0;
         space = shape.indexOf(QLatin1Char(' '), space + 1)) {
        const QString left = shape.left(space);
        const QString right = shape.mid(space + 1);
        const QString date = lookUp(left);
        const QString time = withMarker(right);
        if (!date.isEmpty() && !time.isEmpty())
            return date + QLatin1Char(' ') + time;
        if ((left == QLatin1String("ddd,") || left == QLatin1String("dddd,")) && !lookUp(right).isEmpty())
            return left + QLatin1Char(' ') + lookUp(right);
    }
    return QString();
}

} // namespace Utilities
