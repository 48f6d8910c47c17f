#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

namespace Utilities {

// Whether `remote` is a later version than `own`. Parts between dots compare from the left, as
// numbers where both read as one and as text otherwise; a part the own version lacks makes the
// remote one later, and a remote version that runs out first is not.
bool isVersionNewer(const QString& remote, const QString& own);

// The version a server's answer names: its text without surrounding white space. Nothing when
// the answer can't be one: empty, white space inside, or 64 characters or more (an error page
// or a captive portal's, which no box should show).
std::optional<QString> versionFromAnswer(const QByteArray& answer);

} // namespace Utilities
