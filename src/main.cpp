#include "app/application.h"
#include "app/paintclock.h"
#include "app/terminationsignalwatcher.h"

#include <QDir>

#include <cstdio>

int main(int argc, char* argv[]) {
    PaintClock::mark("main");
    qputenv("QT_AUTO_SCREEN_SCALE_FACTOR", "1");
    QGuiApplication::setHighDpiScaleFactorRoundingPolicy(Qt::HighDpiScaleFactorRoundingPolicy::PassThrough);

    // A termination request during the start waits for the watcher the first process makes;
    // every thread started before it inherits the hold, so the request comes to that watcher.
    TerminationSignalWatcher::holdUntilWatched();
    Application app(argc, argv, true, Application::User, 1000);
    if (app.isSecondary()) {
        TerminationSignalWatcher::letThrough();
        // The first process opens our arguments; the wire text is the working directory, then
        // the arguments, all separated by "<".
        // A first process still starting up answers once its event loop runs: wait for it, so
        // that the files of a launch made in that moment are not dropped.
        constexpr int kHandOverTimeoutMs = 15000;
        const QByteArray joined = QCoreApplication::arguments().join(QLatin1Char('<')).toUtf8();
        if (!app.sendMessage(joined, QDir::currentPath(), kHandOverTimeoutMs, Application::NonBlocking)) {
            std::fputs("Orvane is running but did not answer; the files were not opened.\n", stderr);
            return 1;
        }
        return 0;
    }
    PaintClock::mark("application built");
    return app.exec();
}
