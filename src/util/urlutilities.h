#pragma once

#include <QList>
#include <QString>
#include <QStringList>
#include <QUrl>

namespace Utilities {

// The links among the texts: each text that reads as a web address or file path.
QList<QUrl> buildHyperlinkUrls(const QStringList& texts);
// One "mailto:" address for the texts that look like email addresses; empty when none does.
QUrl buildEmailUrl(const QStringList& texts);
// The query of `term` at a search engine or map site: a known host gets its query path, any
// other value is taken as the start of a query URL, given "https://" when it has no scheme.
QUrl buildSearchUrl(const QString& site, const QString& term);

} // namespace Utilities
