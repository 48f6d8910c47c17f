#include "util/promptutilities.h"

namespace Utilities {

bool parseCountString(int& count, const QString& text, int minimum, int maximum) {
    QString body = text.trimmed().toLower();
    if (body.startsWith(QLatin1Char('x')))
        body = body.mid(1).trimmed();
    for (const QString& suffix : {QStringLiteral("times"), QStringLiteral("time"), QStringLiteral("x")}) {
        if (body.endsWith(suffix)) {
            body.chop(suffix.size());
            body = body.trimmed();
            break;
        }
    }
    if (body.startsWith(QLatin1Char('+')))
        body = body.mid(1);
    if (body.isEmpty())
        return false;
    for (const QChar c : body) {
        if (!c.isDigit() || c.unicode() > 0x7f)
            return false;
    }
    bool ok = false;
    const long long value = body.toLongLong(&ok);
    if (!ok || value < minimum || value > maximum)
        return false;
    count = static_cast<int>(value);
    return true;
}

bool parseIntegerString(int& value, const QString& text, int minimum, int maximum) {
    QString body = text.trimmed().toLower();
    for (const QString& unit : {QStringLiteral("px"), QStringLiteral("mb")}) {
        if (body.endsWith(unit)) {
            body.chop(unit.size());
            body = body.trimmed();
            break;
        }
    }
    bool negative = false;
    if (body.startsWith(QLatin1Char('+')) || body.startsWith(QLatin1Char('-'))) {
        negative = body.front() == QLatin1Char('-');
        body = body.mid(1);
    }
    // Thousands separators, but only between digit groups of three.
    const QStringList groups = body.split(QLatin1Char(','));
    for (qsizetype i = 1; i < groups.size(); ++i) {
        if (groups[i].size() != 3 || groups.front().isEmpty())
            return false;
    }
    body = groups.join(QString());
    if (body.isEmpty() || body.size() > 12)
        return false;
    for (const QChar c : body) {
        if (c < QLatin1Char('0') || c > QLatin1Char('9'))
            return false;
    }
    const long long magnitude = body.toLongLong();
    const long long number = negative ? -magnitude : magnitude;
    if (number < minimum || number > maximum)
        return false;
    value = static_cast<int>(number);
    return true;
}

} // namespace Utilities
