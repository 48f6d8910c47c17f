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

} // namespace Utilities
