#include "util/numberutilities.h"

#include <QLocale>
#include <QRegularExpression>
#include <QVarLengthArray>

#include <algorithm>
#include <cmath>
#include <limits>

namespace Utilities {

namespace {

QLocale localeOf(NumberFormatType type) {
    return type == NumberFormatType::DotDecimal ? QLocale(QLocale::English, QLocale::UnitedStates)
                                                : QLocale(QLocale::German, QLocale::Germany);
}

bool isDigit(QChar c) {
    return (c >= QLatin1Char('0') && c <= QLatin1Char('9')) || c.category() == QChar::Number_DecimalDigit;
}

} // namespace

QString convertNumberFormatTypeToString(NumberFormatType type) {
    return type == NumberFormatType::DotDecimal ? QStringLiteral("Dot Decimal")
                                                : QStringLiteral("Comma Decimal");
}

QString numberFormatTypeExample(NumberFormatType type) {
    return type == NumberFormatType::DotDecimal ? QStringLiteral("Example: 42137.24 or 42,137.24")
                                                : QStringLiteral("Example: 42137,24 or 42.137,24");
}

bool convertStringToNumberFormatType(const QString& text, NumberFormatType& out) {
    const QString t = text.trimmed().toLower();
    if (t.startsWith(QLatin1String("dot"))) {
        out = NumberFormatType::DotDecimal;
        return true;
    }
    if (t.startsWith(QLatin1String("comma"))) {
        out = NumberFormatType::CommaDecimal;
        return true;
    }
    return false;
}

QString convertNumberFormat(const QString& text, NumberFormatType from, NumberFormatType to) {
    if (from == to || text.isEmpty())
        return text;
    const QLocale source = localeOf(from);
    bool ok = false;
    source.toLongLong(text, &ok);
    if (!ok)
        source.toDouble(text, &ok);
    if (!ok)
        return text;
    // The marks trade places; the digits stay exactly as typed.
    QString out = text;
    for (QChar& c : out) {
        if (c == QLatin1Char('.'))
            c = QLatin1Char(',');
        else if (c == QLatin1Char(','))
            c = QLatin1Char('.');
    }
    return out;
}

QString convertNumberToString(double value, bool groups) {
    if (std::isinf(value))
        return value > 0 ? QStringLiteral("Inf") : QStringLiteral("-Inf");
    if (std::isnan(value))
        return QStringLiteral("NaN");
    if (value == 0)
        return QStringLiteral("0");
    QLocale locale = QLocale::system();
    locale.setNumberOptions(groups ? QLocale::DefaultNumberOptions : QLocale::OmitGroupSeparator);
    const double magnitude = std::fabs(value);
    QString text;
    if (magnitude >= 1e15 || magnitude < 1e-6) {
        text = locale.toString(value, 'e', 14);
        const qsizetype e = text.indexOf(QLatin1Char('e'));
        QString mantissa = text.left(e);
        if (mantissa.contains(locale.decimalPoint())) {
            while (mantissa.endsWith(QLatin1Char('0')))
                mantissa.chop(1);
            if (mantissa.endsWith(locale.decimalPoint()))
                mantissa.chop(locale.decimalPoint().size());
        }
        return mantissa + text.mid(e);
    }
    const int whole = magnitude < 1 ? 1 : int(std::floor(std::log10(magnitude))) + 1;
    text = locale.toString(value, 'f', std::max(0, 15 - whole));
    if (text.contains(locale.decimalPoint())) {
        while (text.endsWith(QLatin1Char('0')))
            text.chop(1);
        if (text.endsWith(locale.decimalPoint()))
            text.chop(locale.decimalPoint().size());
    }
    return text;
}

QString convertNumberToString(int value, bool groups) {
    QLocale locale = QLocale::system();
    locale.setNumberOptions(groups ? QLocale::DefaultNumberOptions : QLocale::OmitGroupSeparator);
    return locale.toString(value);
}

QString zeroFillWholeNumbers(const QString& text, int width) {
    if (text.isEmpty() || text.size() >= width || text.startsWith(QLatin1Char('0')))
        return text;
    for (const QChar c : text) {
        if (!isDigit(c))
            return text;
    }
    return QString(width - text.size(), QLatin1Char('0')) + text;
}

QString removeLeadingZeros(const QString& text) {
    static const QRegularExpression expression(QStringLiteral("^(\\D*)0+(\\d+.*)$"),
                                               QRegularExpression::DotMatchesEverythingOption);
    const QRegularExpressionMatch match = expression.match(text);
    return match.hasMatch() ? match.captured(1) + match.captured(2) : text;
}

namespace {

// The parts of a number as setNumDecimals reads it: sign, currency sign, whole part (plain, or in
// groups of three after the first one to three digits), fraction, exponent and a euro sign
// behind. A hand-written reader: a column of a million cells would spend most of its time in a
// regular expression.
struct NumberParts {
    QStringView sign, currency, whole, fraction, exponent, euro;
    bool hasPoint = false;
};

bool isAsciiDigit(QChar c) {
    return c >= QLatin1Char('0') && c <= QLatin1Char('9');
}

bool readNumber(QStringView t, const QString& group, const QString& point, NumberParts& parts) {
    qsizetype i = 0;
    const qsizetype n = t.size();
    auto take = [&](qsizetype from) { return t.mid(from, i - from); };
    qsizetype from = i;
    if (i < n && (t[i] == QLatin1Char('+') || t[i] == QLatin1Char('-')))
        ++i;
    parts.sign = take(from);
    from = i;
    if (i < n &&
        (t[i] == QLatin1Char('$') || t[i] == QChar(0x00A3) || t[i] == QChar(0x00A5) || t[i] == QChar(0x20AC)))
        ++i;
    parts.currency = take(from);
    // Whole part: digits, and group separators only between groups of three.
    from = i;
    qsizetype run = 0;
    bool grouped = false;
    while (i < n) {
        if (isAsciiDigit(t[i])) {
            ++run;
            ++i;
        } else if (!group.isEmpty() && t.mid(i).startsWith(group) && i + group.size() < n &&
                   isAsciiDigit(t[i + group.size()]) && (grouped ? run == 3 : run >= 1 && run <= 3)) {
            grouped = true;
            run = 0;
            i += group.size();
        } else {
            break;
        }
    }
    if (grouped && run != 3)
        return false;
    parts.whole = take(from);
    if (!point.isEmpty() && t.mid(i).startsWith(point)) {
        parts.hasPoint = true;
        i += point.size();
        from = i;
        while (i < n && isAsciiDigit(t[i]))
            ++i;
        parts.fraction = take(from);
    }
    // At least one digit before any exponent.
    if (parts.whole.isEmpty() && parts.fraction.isEmpty())
        return false;
    from = i;
    if (i < n && (t[i] == QLatin1Char('e') || t[i] == QLatin1Char('E'))) {
        qsizetype j = i + 1;
        if (j < n && (t[j] == QLatin1Char('+') || t[j] == QLatin1Char('-')))
            ++j;
        const qsizetype digits = j;
        while (j < n && isAsciiDigit(t[j]))
            ++j;
        if (j == digits)
            return false;
        i = j;
    }
    parts.exponent = take(from);
    from = i;
    if (i < n && t[i].isSpace() && i + 1 < n && t[i + 1] == QChar(0x20AC))
        i += 2;
    else if (i < n && t[i] == QChar(0x20AC))
        ++i;
    parts.euro = take(from);
    return i == n;
}

} // namespace

QString setNumDecimals(const QString& text, int count) {
    if (text.isEmpty() || count < 0)
        return text;
    static const QString group = QLocale::system().groupSeparator();
    static const QString point = QLocale::system().decimalPoint();
    NumberParts parts;
    if (!readNumber(text, group, point, parts))
        return text;
    // The whole digits (group separators left out) and the kept decimals in one run, behind a
    // slot for a carry out of the top digit, so that rounding is one walk back over it.
    QVarLengthArray<char16_t, 64> digits;
    digits.append(u'0');
    for (const QChar c : parts.whole) {
        if (isAsciiDigit(c))
            digits.append(c.unicode());
    }
    if (digits.size() == 1)
        digits.append(u'0');
    const qsizetype wholeEnd = digits.size();
    const qsizetype kept = std::min<qsizetype>(parts.fraction.size(), count);
    for (qsizetype i = 0; i < kept; ++i)
        digits.append(parts.fraction[i].unicode());
    if (parts.fraction.size() > count && parts.fraction[count] >= QLatin1Char('5')) {
        for (qsizetype i = digits.size() - 1; i >= 0; --i) {
            if (digits[i] != u'9') {
                ++digits[i];
                break;
            }
            digits[i] = u'0';
        }
    }
    for (qsizetype i = kept; i < count; ++i)
        digits.append(u'0');
    // A negative number that rounds to zero is zero: "-0.004" to two decimals is "0.00".
    if (parts.sign == QLatin1String("-") &&
        std::all_of(digits.begin(), digits.end(), [](char16_t d) { return d == u'0'; }))
        parts.sign = QStringView();
    const qsizetype first = digits[0] == u'0' ? 1 : 0;
    const qsizetype size = parts.sign.size() + parts.currency.size() + (digits.size() - first) +
                           (count > 0 ? point.size() : 0) + parts.exponent.size() + parts.euro.size();
    QString out(size, Qt::Uninitialized);
    QChar* p = out.data();
    auto put = [&p](QStringView piece) {
        std::copy(piece.begin(), piece.end(), p);
        p += piece.size();
    };
    put(parts.sign);
    put(parts.currency);
    for (qsizetype i = first; i < wholeEnd; ++i)
        *p++ = QChar(digits[i]);
    if (count > 0) {
        put(point);
        for (qsizetype i = wholeEnd; i < digits.size(); ++i)
            *p++ = QChar(digits[i]);
    }
    put(parts.exponent);
    put(parts.euro);
    return out;
}

bool parseRandomRanges(const QString& text, bool decimals, std::vector<std::pair<double, double>>& out,
                       int* places) {
    out.clear();
    int mostPlaces = 0;
    auto number = [&](const QString& t, double& value) {
        bool ok = false;
        value = t.toDouble(&ok);
        if (!ok || !std::isfinite(value))
            return false;
        const qsizetype dot = t.indexOf(QLatin1Char('.'));
        if (dot >= 0)
            mostPlaces = std::max(mostPlaces, int(t.size() - dot - 1));
        // Within what a uniform pick can span without overflowing.
        return std::fabs(value) < 9.0e15 && (decimals || dot < 0);
    };
    const QString trimmed = text.trimmed();
    if (trimmed.isEmpty()) {
        out.emplace_back(0, decimals ? 10.0 : 100.0);
    } else {
        static const QRegularExpression separators(QStringLiteral("[\\s,]+"));
        static const QRegularExpression range(QStringLiteral("^(-?[\\d.]+)-(-?[\\d.]+)$"));
        const QStringList items = trimmed.split(separators, Qt::SkipEmptyParts);
        bool sawRange = false;
        for (const QString& item : items) {
            double low = 0;
            double high = 0;
            const QRegularExpressionMatch match = range.match(item);
            if (match.hasMatch()) {
                sawRange = true;
                if (!number(match.captured(1), low) || !number(match.captured(2), high))
                    return false;
            } else if (!number(item, high)) {
                return false;
            } else {
                low = high;
            }
            if (low > high)
                std::swap(low, high);
            out.emplace_back(low, high);
        }
        // A single number is the top of a range from 0.
        if (items.size() == 1 && !sawRange)
            out.front() = {std::min(0.0, out.front().second), std::max(0.0, out.front().second)};
    }
    if (places)
        *places = mostPlaces;
    return !out.empty();
}

} // namespace Utilities

namespace Utilities {

int compareNumbers(double a, double b) {
    if (a < b)
        return 1;
    if (a > b)
        return 2;
    return 0;
}

QString conditionNumberString(const QString& text) {
    const QString s = text.trimmed().toUpper();
    qsizetype i = 0;
    QChar sign = u'+';
    if (i < s.size() && (s[i] == u'+' || s[i] == u'-'))
        sign = s[i++];
    QString digits;
    qint64 pointAt = -1; // digits before the point
    bool anyDigit = false;
    for (; i < s.size(); ++i) {
        const QChar c = s[i];
        if (c.isDigit() && c.unicode() < 128) {
            digits += c;
            anyDigit = true;
        } else if (c == u'.' && pointAt < 0) {
            pointAt = digits.size();
        } else {
            break;
        }
    }
    if (!anyDigit)
        return QString();
    if (pointAt < 0)
        pointAt = digits.size();
    qint64 written = 0;
    if (i < s.size()) {
        if (s[i] != u'E')
            return QString();
        ++i;
        bool negative = false;
        if (i < s.size() && (s[i] == u'+' || s[i] == u'-'))
            negative = s[i++] == u'-';
        if (i >= s.size())
            return QString();
        for (; i < s.size(); ++i) {
            if (!s[i].isDigit() || s[i].unicode() >= 128)
                return QString();
            // Past this the number is out of any range anyone types; keep it from overflowing.
            if (written < std::numeric_limits<qint64>::max() / 20)
                written = written * 10 + s[i].digitValue();
        }
        if (negative)
            written = -written;
    }
    // The exponent of the first digit, then leading zeros shift it down.
    qint64 exponent = pointAt - 1 + written;
    qsizetype first = 0;
    while (first < digits.size() && digits[first] == u'0') {
        ++first;
        --exponent;
    }
    qsizetype last = digits.size();
    while (last > first && digits[last - 1] == u'0')
        --last;
    if (first == last)
        return QStringLiteral("+0.0E+0");
    const QString mantissa = digits.mid(first, last - first);
    const QString fraction = mantissa.size() > 1 ? mantissa.mid(1) : QStringLiteral("0");
    return QString(sign) + mantissa[0] + u'.' + fraction + u'E' + (exponent < 0 ? u'-' : u'+') +
           QString::number(exponent < 0 ? -exponent : exponent);
}

namespace {

struct Parts {
    bool negative = false;
    bool zero = false;
    qint64 exponent = 0;
    QString digits; // without the point, no trailing zeros
};

Parts split(const QString& canonical) {
    Parts p;
    p.negative = canonical.startsWith(u'-');
    const qsizetype e = canonical.indexOf(u'E');
    QString mantissa = canonical.mid(1, e < 0 ? -1 : e - 1);
    mantissa.remove(u'.');
    while (mantissa.endsWith(u'0'))
        mantissa.chop(1);
    p.digits = mantissa;
    p.zero = mantissa.isEmpty();
    if (e >= 0)
        p.exponent = canonical.mid(e + 1).toLongLong();
    return p;
}

// Order of the magnitudes: 0, 1 (a smaller) or 2.
int compareMagnitudes(const Parts& a, const Parts& b) {
    if (a.exponent != b.exponent)
        return a.exponent < b.exponent ? 1 : 2;
    const qsizetype n = std::max(a.digits.size(), b.digits.size());
    for (qsizetype i = 0; i < n; ++i) {
        const QChar da = i < a.digits.size() ? a.digits[i] : u'0';
        const QChar db = i < b.digits.size() ? b.digits[i] : u'0';
        if (da != db)
            return da < db ? 1 : 2;
    }
    return 0;
}

} // namespace

int compareNumberStrings(const QString& a, const QString& b) {
    if (a == b)
        return 0;
    const Parts pa = split(a);
    const Parts pb = split(b);
    if (pa.zero || pb.zero) {
        if (pa.zero && pb.zero)
            return 0;
        if (pa.zero)
            return pb.negative ? 2 : 1;
        return pa.negative ? 1 : 2;
    }
    if (pa.negative != pb.negative)
        return pa.negative ? 1 : 2;
    const int magnitude = compareMagnitudes(pa, pb);
    if (magnitude == 0 || !pa.negative)
        return magnitude;
    return magnitude == 1 ? 2 : 1;
}

} // namespace Utilities
