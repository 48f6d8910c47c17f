#include "preferences/settingutilities.h"

#include <QStandardPaths>

namespace Utilities {

QString convertScopeToString(ScopeType scope) {
    switch (scope) {
    case CommandScope:
        return QStringLiteral("Command");
    case Global:
        return QStringLiteral("Global");
    case Table:
        return QStringLiteral("Table");
    }
    return QStringLiteral("Invalid");
}

QString convertRefreshBehaviorTypeToString(RefreshBehavior behavior, bool lowerCase) {
    switch (behavior) {
    case RefreshBehaviorRefresh:
        return lowerCase ? QStringLiteral("refresh") : QStringLiteral("Refresh");
    case RefreshBehaviorAsk:
        return lowerCase ? QStringLiteral("ask") : QStringLiteral("Ask");
    case RefreshBehaviorIgnore:
        return lowerCase ? QStringLiteral("ignore") : QStringLiteral("Ignore");
    default:
        return lowerCase ? QStringLiteral("invalid") : QStringLiteral("Invalid");
    }
}

RefreshBehavior convertRefreshBehaviorStringToType(const QString& text) {
    if (text == QLatin1String("refresh"))
        return RefreshBehaviorRefresh;
    if (text == QLatin1String("ask"))
        return RefreshBehaviorAsk;
    if (text == QLatin1String("ignore"))
        return RefreshBehaviorIgnore;
    return RefreshBehaviorInvalid;
}

QString convertUuidTypeToString(UuidType type) {
    return type == UuidV7 ? QStringLiteral("Time-ordered (v7)") : QStringLiteral("Random (v4)");
}

UuidType convertUuidStringToType(const QString& text, UuidType fallback) {
    const QString t = text.toLower().trimmed();
    if (t.contains(QLatin1String("v4")) || t.contains(QLatin1String("random")))
        return UuidV4;
    if (t.contains(QLatin1String("v7")) || t.contains(QLatin1String("ordered")))
        return UuidV7;
    return fallback;
}

bool convertStringToBool(const QString& text, bool fallback) {
    const QString t = text.toLower().trimmed();
    if (t == QLatin1String("true"))
        return true;
    if (t == QLatin1String("false"))
        return false;
    return fallback;
}

QStringList getSearchEngineOptions() {
    return {QStringLiteral("duckduckgo.com"), QStringLiteral("www.bing.com"),
            QStringLiteral("www.google.com"), QStringLiteral("search.yahoo.com")};
}

QStringList getOnlineMapOptions() {
    return {QStringLiteral("duckduckgo.com"), QStringLiteral("www.bing.com/maps"),
            QStringLiteral("www.google.com/maps")};
}

QString getDefaultTextEditorPath() {
    static const QString path = [] {
        const char* editors[] = {"gnome-text-editor", "gedit",  "kate", "kwrite", "mousepad", "xed", "pluma",
                                 "featherpad",        "leafpad"};
        for (const char* editor : editors) {
            const QString found = QStandardPaths::findExecutable(QString::fromLatin1(editor));
            if (!found.isEmpty())
                return found;
        }
        // No known editor: let the desktop pick the program for text files.
        return QStringLiteral("/usr/bin/xdg-open");
    }();
    return path;
}

} // namespace Utilities
