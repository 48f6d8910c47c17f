#include "util/versionutilities.h"

#include <QStringList>

namespace Utilities {

namespace {

// The longest version "Orvane.ini" keeps as the one to ignore.
constexpr qsizetype kMaxVersionLength = 63;

} // namespace

bool isVersionNewer(const QString& remote, const QString& own) {
    const QStringList remoteParts = remote.split(QLatin1Char('.'), Qt::SkipEmptyParts);
    const QStringList ownParts = own.split(QLatin1Char('.'), Qt::SkipEmptyParts);
    for (qsizetype i = 0; i < remoteParts.size(); ++i) {
        if (i >= ownParts.size())
            return true;
        const QString& theirs = remoteParts[i];
        const QString& ours = ownParts[i];
        if (theirs == ours)
            continue;
        bool theirsIsNumber = false;
        bool oursIsNumber = false;
        const int theirNumber = theirs.toInt(&theirsIsNumber, 10);
        const int ourNumber = ours.toInt(&oursIsNumber, 10);
        if (theirsIsNumber && oursIsNumber)
            return theirNumber > ourNumber;
        return ours < theirs;
    }
    return false;
}

std::optional<QString> versionFromAnswer(const QByteArray& answer) {
    const QString text = QString::fromUtf8(answer).trimmed();
    if (text.isEmpty() || text.size() > kMaxVersionLength)
        return std::nullopt;
    for (const QChar c : text) {
        if (c.isSpace() || c.category() == QChar::Other_Control)
            return std::nullopt;
    }
    return text;
}

} // namespace Utilities
