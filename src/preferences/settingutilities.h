#pragma once

#include "preferences/settingtypes.h"

#include <QStringList>

// Text conversions of the settings registry's enums.
namespace Utilities {

QString convertScopeToString(ScopeType scope);
QString convertRefreshBehaviorTypeToString(RefreshBehavior behavior, bool lowerCase = true);
RefreshBehavior convertRefreshBehaviorStringToType(const QString& text);
QString convertUuidTypeToString(UuidType type);
UuidType convertUuidStringToType(const QString& text, UuidType fallback);
// Lower-cased and trimmed: "true" and "false" decide, anything else gives the fallback.
bool convertStringToBool(const QString& text, bool fallback);
QStringList getSearchEngineOptions();
QStringList getOnlineMapOptions();
// The desktop's text editor: the first of the usual editors found on the PATH.
QString getDefaultTextEditorPath();

} // namespace Utilities
