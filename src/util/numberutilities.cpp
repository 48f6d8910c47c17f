#include "util/numberutilities.h"

#include <limits>

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
