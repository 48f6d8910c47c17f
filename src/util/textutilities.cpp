#include "util/textutilities.h"

#include <QDateTime>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QUuid>

#include <limits>

namespace Utilities {

namespace {

const QRegularExpression& numberExpression() {
    static const QRegularExpression expression(QStringLiteral("(?:-)?\\d+"));
    return expression;
}

const QRegularExpression& uuidExpression() {
    static const QRegularExpression expression(QStringLiteral(
        "\\{?[0-9A-Fa-f]{8}-[0-9A-Fa-f]{4}-[0-9A-Fa-f]{4}-[0-9A-Fa-f]{4}-[0-9A-Fa-f]{12}\\}?"));
    return expression;
}

// Digits of the match as a value; saturates instead of overflowing on absurdly long numbers.
qint64 parseDigits(QStringView digits) {
    qint64 value = 0;
    constexpr qint64 limit = std::numeric_limits<qint64>::max() / 10 - 9;
    for (const QChar c : digits) {
        const int d = c.digitValue();
        if (d < 0)
            continue;
        if (value > limit)
            return std::numeric_limits<qint64>::max();
        value = value * 10 + d;
    }
    return value;
}

qint64 saturatingAdd(qint64 a, qint64 b) {
    qint64 result = 0;
    if (__builtin_add_overflow(a, b, &result))
        return b > 0 ? std::numeric_limits<qint64>::max() : std::numeric_limits<qint64>::min();
    return result;
}

} // namespace

QString modifyNumberInString(const QString& text, qint64 delta) {
    if (delta == 0)
        return text;
    const QRegularExpressionMatch match = numberExpression().match(text);
    if (!match.hasMatch())
        return text;
    qsizetype start = match.capturedStart();
    qsizetype length = match.capturedLength();
    if (text.at(start) == QLatin1Char('-') && start > 0 && text.at(start - 1).isLetter()) {
        ++start;
        --length;
    }
    const bool negative = text.at(start) == QLatin1Char('-');
    const QStringView digits =
        QStringView(text).mid(negative ? start + 1 : start, negative ? length - 1 : length);
    const int width =
        digits.size() >= 2 && digits.front() == QLatin1Char('0') ? static_cast<int>(digits.size()) : 0;

    const qint64 magnitude = parseDigits(digits);
    const qint64 value = saturatingAdd(negative ? -magnitude : magnitude, delta);
    QString replacement;
    if (width == 0) {
        replacement = QString::number(value);
    } else {
        // The absolute value of INT64_MIN does not fit; print it through unsigned arithmetic.
        const quint64 absolute = value < 0 ? 0 - static_cast<quint64>(value) : static_cast<quint64>(value);
        const QString padded = QStringLiteral("%1").arg(absolute, width, 10, QLatin1Char('0'));
        replacement = value < 0 ? QStringLiteral("-%1").arg(padded) : padded;
    }
    QString result = text;
    result.replace(start, length, replacement);
    return result;
}

bool containsUuid(const QString& text) {
    return uuidExpression().match(text).hasMatch();
}

QString createUuid(UuidType type) {
    if (type != UuidV7)
        return QUuid::createUuid().toString(QUuid::WithoutBraces);
    // 48 bits of Unix milliseconds, version 7, variant 10, the rest random.
    const quint64 ms = static_cast<quint64>(QDateTime::currentMSecsSinceEpoch());
    quint64 high = (ms << 16) | 0x7000u | (QRandomGenerator::global()->generate() & 0x0fffu);
    quint64 low = (QRandomGenerator::global()->generate64() & 0x3fffffffffffffffULL) | 0x8000000000000000ULL;
    QByteArray bytes(16, Qt::Uninitialized);
    for (int i = 0; i < 8; ++i) {
        bytes[7 - i] = static_cast<char>(high & 0xff);
        bytes[15 - i] = static_cast<char>(low & 0xff);
        high >>= 8;
        low >>= 8;
    }
    return QUuid::fromRfc4122(bytes).toString(QUuid::WithoutBraces);
}

QString replaceUuidInString(const QString& text, UuidType type) {
    const QRegularExpressionMatch match = uuidExpression().match(text);
    if (!match.hasMatch())
        return text;
    const QString old = match.captured();
    bool hasUpper = false;
    bool hasLower = false;
    for (const QChar c : old) {
        hasUpper = hasUpper || (c >= QLatin1Char('A') && c <= QLatin1Char('F'));
        hasLower = hasLower || (c >= QLatin1Char('a') && c <= QLatin1Char('f'));
    }
    QString fresh = createUuid(type);
    if (hasUpper && !hasLower)
        fresh = fresh.toUpper();
    if (old.startsWith(QLatin1Char('{')) && old.endsWith(QLatin1Char('}')))
        fresh = QLatin1Char('{') + fresh + QLatin1Char('}');
    else if (old.startsWith(QLatin1Char('{')))
        fresh.prepend(QLatin1Char('{'));
    else if (old.endsWith(QLatin1Char('}')))
        fresh.append(QLatin1Char('}'));
    QString result = text;
    result.replace(match.capturedStart(), match.capturedLength(), fresh);
    return result;
}

} // namespace Utilities
