#include "app/application.h"
#include "app/paintclock.h"
#include "app/terminationsignalwatcher.h"

#include <QDir>
#include <QFile>
#include <QThread>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <vector>

#include <unistd.h>

namespace {

// True once process `pid` has ended (a zombie counts as ended).
bool processGone(qint64 pid) {
    if (::kill(static_cast<pid_t>(pid), 0) != 0)
        return errno == ESRCH;
    QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
    if (!stat.open(QIODevice::ReadOnly))
        return false;
    const QByteArray line = stat.readAll();
    const qsizetype close = line.lastIndexOf(')');
    return close >= 0 && line.mid(close + 2, 1) == "Z";
}

} // namespace

int main(int argc, char* argv[]) {
    PaintClock::mark("main");
    // The arguments as given, for a start again below: the application takes its own out.
    const std::vector<char*> given(argv, argv + argc + 1);
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
        if (app.sendMessage(joined, QDir::currentPath(), kHandOverTimeoutMs, Application::NonBlocking))
            return 0;
        // A first process that was just killed keeps its place while the system frees its
        // memory, which takes seconds for a large table: once it has gone, this launch starts
        // again and takes its place, instead of dropping the files (once, so no loop).
        const qint64 primary = app.primaryPid();
        if (primary > 0 && qEnvironmentVariableIsEmpty("ORVANE_TAKING_OVER")) {
            for (int i = 0; i < 100 && !processGone(primary); ++i)
                QThread::msleep(100);
            if (processGone(primary)) {
                qputenv("ORVANE_TAKING_OVER", "1");
                ::execv("/proc/self/exe", given.data());
            }
        }
        std::fputs("Orvane is running but did not answer; the files were not opened.\n", stderr);
        return 1;
    }
    qunsetenv("ORVANE_TAKING_OVER"); // not handed on to the programs this one starts
    PaintClock::mark("application built");
    return app.exec();
}
