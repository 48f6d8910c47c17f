#include "util/sortutilities.h"

#include <QLocale>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

namespace {

struct LocaleMarks {
    char decimal = '.';
    char group = 0; // 0: none
};

// The marks of the locale in force at the first call; a mark that is not one ASCII character
// falls back to "." for the point and to none for the separator.
const LocaleMarks& localeMarks() {
    static const LocaleMarks marks = [] {
        const QLocale locale;
        const auto single = [](const QString& text, char fallback) {
            return text.size() == 1 && text.at(0).unicode() < 128 ? static_cast<char>(text.at(0).unicode())
                                                                  : fallback;
        };
        LocaleMarks m;
        m.decimal = single(locale.decimalPoint(), '.');
        m.group = single(locale.groupSeparator(), 0);
        if (m.group == m.decimal || (m.group >= '0' && m.group <= '9'))
            m.group = 0;
        return m;
    }();
    return marks;
}

constexpr const char kEuro[] = "\xE2\x82\xAC";
constexpr const char kYen[] = "\xC2\xA5";
constexpr const char kPound[] = "\xC2\xA3";

bool startsWith(const char* p, const char* prefix) {
    return std::strncmp(p, prefix, std::strlen(prefix)) == 0;
}

// A euro sign, alone or after one space, as the rest of the text.
bool isEuroEnding(const char* p) {
    if (*p == ' ')
        ++p;
    return std::strcmp(p, kEuro) == 0;
}

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

int leadingSpaces(const QString& s) {
    int n = 0;
    while (n < s.size() && s.at(n) == u' ')
        ++n;
    return n;
}

bool zeroLed(const QString& s) {
    const int i = leadingSpaces(s);
    return i < s.size() && s.at(i) == u'0' && !(i + 1 < s.size() && s.at(i + 1) == u'.');
}

} // namespace

namespace Utilities {

double convertStringToDouble(const char* text, bool allowCurrency) {
    constexpr double nan = std::numeric_limits<double>::quiet_NaN();
    if (!text || !*text)
        return nan;
    const LocaleMarks& marks = localeMarks();
    const char* p = text;
    const bool negative = *p == '-';
    if (negative)
        ++p;
    if (allowCurrency) {
        if (*p == '$')
            ++p;
        else if (startsWith(p, kEuro))
            p += 3;
        else if (startsWith(p, kYen) || startsWith(p, kPound))
            p += 2;
    }
    double digits = 0.0;
    int fractionDigits = 0;
    long exponent = 0;
    bool anyDigit = false;
    bool decimal = false;
    bool marksSeen = false;
    for (; *p; ++p) {
        const char c = *p;
        if (isDigit(c)) {
            digits = digits * 10.0 + (c - '0');
            anyDigit = true;
            if (decimal)
                ++fractionDigits;
        } else if (c == marks.decimal) {
            // A second point makes a version or a date, not a number.
            if (decimal)
                return nan;
            decimal = true;
            marksSeen = true;
        } else if (marks.group != 0 && c == marks.group) {
            marksSeen = true;
        } else if ((c == 'e' || c == 'E') && anyDigit) {
            ++p;
            const bool negativeExponent = *p == '-';
            if (negativeExponent)
                ++p;
            if (!isDigit(*p))
                return nan;
            for (; isDigit(*p); ++p)
                exponent = std::min(exponent * 10 + (*p - '0'), 100000L);
            if (*p && !(allowCurrency && isEuroEnding(p)))
                return nan;
            if (negativeExponent)
                exponent = -exponent;
            break;
        } else if (allowCurrency && isEuroEnding(p)) {
            break;
        } else {
            return nan;
        }
    }
    if (!anyDigit) {
        if (marksSeen)
            return nan;
        return negative ? -0.0 : 0.0;
    }
    double value = digits / std::pow(10.0, fractionDigits);
    if (exponent != 0)
        value *= std::pow(10.0, static_cast<double>(exponent));
    return negative ? -value : value;
}

void splitStringByNumberBoundaries(QList<QString>& out, bool& startsWithNumber, const QString& text) {
    out.clear();
    startsWithNumber = false;
    if (text.isEmpty())
        return;
    const auto digit = [](QChar c) { return c.unicode() >= u'0' && c.unicode() <= u'9'; };
    startsWithNumber = digit(text.at(0));
    qsizetype start = 0;
    bool inNumber = startsWithNumber;
    for (qsizetype i = 1; i < text.size(); ++i) {
        const bool isNumber = digit(text.at(i));
        if (isNumber != inNumber) {
            out.append(text.mid(start, i - start));
            start = i;
            inNumber = isNumber;
        }
    }
    out.append(text.mid(start));
}

bool qStringCompare(const QString& a, const QString& b, bool descending) {
    const auto sense = [descending](bool x) { return x != descending; };
    if (a == b)
        return false;
    if (a.isEmpty())
        return descending;
    if (b.isEmpty())
        return !descending;
    if (zeroLed(a) || zeroLed(b))
        return sense(a < b);
    if (!a.contains(u'_') && !b.contains(u'_')) {
        const double da = convertStringToDouble(a.toUtf8().constData(), false);
        if (!std::isnan(da)) {
            const double db = convertStringToDouble(b.toUtf8().constData(), false);
            if (!std::isnan(db)) {
                if (da == db)
                    return false;
                return sense(da < db);
            }
        }
    }
    const int spacesA = leadingSpaces(a);
    const int spacesB = leadingSpaces(b);
    if (spacesA != spacesB)
        return sense(spacesA < spacesB);
    const QString strippedA = a.mid(spacesA);
    const QString strippedB = b.mid(spacesB);
    if (strippedA.isEmpty())
        return descending;
    if (strippedB.isEmpty())
        return !descending;
    QList<QString> partsA;
    QList<QString> partsB;
    bool numberA = false;
    bool numberB = false;
    splitStringByNumberBoundaries(partsA, numberA, strippedA);
    splitStringByNumberBoundaries(partsB, numberB, strippedB);
    if (numberA != numberB)
        return sense(strippedA < strippedB);
    const qsizetype n = std::min(partsA.size(), partsB.size());
    if (n < 1)
        return sense(partsA.size() < partsB.size());
    for (qsizetype i = 0; i < n; ++i) {
        const bool numeric = numberA == (i % 2 == 0);
        if (numeric) {
            const qlonglong va = partsA.at(i).toLongLong(nullptr, 10);
            const qlonglong vb = partsB.at(i).toLongLong(nullptr, 10);
            if (va != vb)
                return sense(va < vb);
        } else if (partsA.at(i) != partsB.at(i)) {
            return sense(partsA.at(i) < partsB.at(i));
        }
    }
    // Equal runs ("a01" and "a1") stay equal in both directions; a stable sort keeps them.
    if (partsA.size() == partsB.size())
        return false;
    return sense(partsA.size() < partsB.size());
}

std::vector<int> invertSortIndexesVector(const std::vector<int>& indexes) {
    const int n = static_cast<int>(indexes.size());
    std::vector<int> out(indexes.size());
    for (int i = 0; i < n; ++i)
        out[static_cast<std::size_t>(i)] = i;
    for (int i = 0; i < n; ++i) {
        const int v = indexes[static_cast<std::size_t>(i)];
        if (v >= 0 && v < n)
            out[static_cast<std::size_t>(v)] = i;
    }
    return out;
}

void mapSortIndexes(std::vector<int>& values, const std::vector<int>& map) {
    const int n = static_cast<int>(map.size());
    for (int& v : values) {
        if (v >= 0 && v < n)
            v = map[static_cast<std::size_t>(v)];
    }
}

} // namespace Utilities
