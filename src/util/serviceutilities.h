#pragma once

#include <QString>
#include <QUrl>

// The program's own web service: the update check, the start-up report, the download page and
// the pages of the Contact Us menu. Every address of it is made here.
namespace Utilities {

namespace ServicePath {
inline constexpr char version[] = "/version";
inline constexpr char startup[] = "/startup";
inline constexpr char download[] = "/download/";
inline constexpr char reportBug[] = "/contact/bug";
inline constexpr char requestFeature[] = "/contact/feature";
inline constexpr char survey[] = "/contact/survey";
inline constexpr char feedback[] = "/contact/feedback";
} // namespace ServicePath

// The service's address of `path`. The environment variable ORVANE_SERVICE_URL, when set, takes
// the place of the service's base address (a local server in tests and trials).
QUrl serviceUrl(const char* path);

// Opens the service's page at `path` in the browser; false when no browser took it.
bool openServicePage(const char* path);

} // namespace Utilities
