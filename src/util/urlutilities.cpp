#include "util/urlutilities.h"

#include <QRegularExpression>

namespace Utilities {

namespace {

const QRegularExpression& emailPattern() {
    static const QRegularExpression pattern(QStringLiteral("^.+@.+\\..+$"));
    return pattern;
}

} // namespace

QList<QUrl> buildHyperlinkUrls(const QStringList& texts) {
    QList<QUrl> urls;
    for (const QString& text : texts) {
        const QString trimmed = text.trimmed();
        if (trimmed.isEmpty() || trimmed.contains(QLatin1Char(' ')))
            continue;
        // An address without a scheme is one to write to, not a host with a user name.
        if (!trimmed.contains(QLatin1Char(':')) && emailPattern().match(trimmed).hasMatch()) {
            urls.append(QUrl(QStringLiteral("mailto:") + trimmed));
            continue;
        }
        // A bare word would read as a host name; a link has a scheme, a dotted host or a path.
        const QUrl url = QUrl::fromUserInput(trimmed);
        const bool hasScheme =
            trimmed.contains(QLatin1String("://")) || trimmed.startsWith(QLatin1String("mailto:"));
        if (url.isValid() && (hasScheme || url.isLocalFile() || url.host().contains(QLatin1Char('.'))))
            urls.append(url);
    }
    return urls;
}

QUrl buildEmailUrl(const QStringList& texts) {
    QStringList addresses;
    for (const QString& text : texts) {
        const QString trimmed = text.trimmed();
        if (emailPattern().match(trimmed).hasMatch())
            addresses.append(trimmed);
    }
    if (addresses.isEmpty())
        return QUrl();
    return QUrl(QStringLiteral("mailto:") + addresses.join(QLatin1Char(',')));
}

QUrl buildSearchUrl(const QString& site, const QString& term) {
    struct Known {
        const char* host;
        const char* query;
    };
    static const Known known[] = {
        {"duckduckgo.com", "/?q="},       {"www.bing.com/maps", "?q="},
        {"www.bing.com", "/search?q="},   {"www.google.com/maps", "/search/"},
        {"www.google.com", "/search?q="}, {"search.yahoo.com", "/search;?p="},
    };
    const QString value = site.trimmed();
    const QString encoded = QString::fromLatin1(QUrl::toPercentEncoding(term.trimmed()));
    for (const Known& entry : known) {
        if (value.compare(QLatin1String(entry.host), Qt::CaseInsensitive) == 0)
            return QUrl(QStringLiteral("https://") + QLatin1String(entry.host) + QLatin1String(entry.query) +
                        encoded);
    }
    QString base = value;
    if (!base.contains(QLatin1String("://")))
        base.prepend(QStringLiteral("https://"));
    return QUrl(base + encoded);
}

} // namespace Utilities
