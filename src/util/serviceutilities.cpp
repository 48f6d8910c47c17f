#include "util/serviceutilities.h"

#include <QDesktopServices>
#include <QtGlobal>

namespace Utilities {

namespace {

const char kServiceBase[] = "https://orvane.app";
const char kServiceBaseVariable[] = "ORVANE_SERVICE_URL";

} // namespace

QUrl serviceUrl(const char* path) {
    QString base = qEnvironmentVariable(kServiceBaseVariable);
    if (base.isEmpty())
        base = QString::fromLatin1(kServiceBase);
    // Joined as text: a base with a path of its own ("http://host/api") keeps it.
    while (base.endsWith(QLatin1Char('/')))
        base.chop(1);
    return QUrl(base + QString::fromLatin1(path));
}

bool openServicePage(const char* path) {
    return QDesktopServices::openUrl(serviceUrl(path));
}

} // namespace Utilities
