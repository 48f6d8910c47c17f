#include "app/paintclock.h"

#include "table/tabledata.h"
#include "table/tablemodel.h"
#include "view/tableview.h"
#include "window/mainwindow.h"

#include <QApplication>
#include <QDateTime>
#include <QFile>
#include <QSet>

#include <cstdio>
#include <ctime>
#include <unistd.h>

namespace {

// -1 not asked yet, 0 off, 1 first paints, 2 first paints and phases.
int clockLevel = -1;

int level() {
    if (clockLevel < 0) {
        const QByteArray asked = qgetenv("ORVANE_PAINT_CLOCK");
        clockLevel = asked.isEmpty() ? 0 : (asked == "phases" ? 2 : 1);
    }
    return clockLevel;
}

double cpuMsNow() {
    timespec cpu{};
    ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &cpu);
    return static_cast<double>(cpu.tv_sec) * 1000.0 + static_cast<double>(cpu.tv_nsec) / 1e6;
}

double monotonicMsNow() {
    timespec now{};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) * 1000.0 + static_cast<double>(now.tv_nsec) / 1e6;
}

// Milliseconds since the process started: the system keeps its start in clock ticks since boot,
// which the boot clock gives now to compare with.
double msSinceProcessStart() {
    QFile stat(QStringLiteral("/proc/self/stat"));
    if (!stat.open(QIODevice::ReadOnly))
        return -1;
    const QByteArray self = stat.readAll();
    // Fields after the command name, which may hold spaces, closed by the last ')'.
    const QList<QByteArray> fields = self.mid(self.lastIndexOf(')') + 2).split(' ');
    if (fields.size() < 20)
        return -1;
    const double startTicks = fields.at(19).toDouble(); // field 22 of the line
    timespec boot{};
    ::clock_gettime(CLOCK_BOOTTIME, &boot);
    const double nowMs = static_cast<double>(boot.tv_sec) * 1000.0 + static_cast<double>(boot.tv_nsec) / 1e6;
    return nowMs - startTicks * 1000.0 / static_cast<double>(::sysconf(_SC_CLK_TCK));
}

class PaintWatch : public QObject {
public:
    explicit PaintWatch(QObject* parent) : QObject(parent) {}

protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() != QEvent::Paint || !watched->isWidgetType())
            return false;
        auto* widget = static_cast<QWidget*>(watched);
        if (!windowDone && qobject_cast<MainWindow*>(widget->window())) {
            windowDone = true;
            note("window");
        }
        // A table's grid is its viewport; it counts once the table's file is in.
        if (auto* view = qobject_cast<TableView*>(widget->parentWidget())) {
            const TableModel* model = view->tableModel();
            if (model && view->viewport() == widget) {
                const TableData& data = model->getTableData();
                const QString path = data.getFilepath();
                if (!path.isEmpty() && !data.isLoading() && !tablesDone.contains(path)) {
                    tablesDone.insert(path);
                    note("table " + QFile::encodeName(path));
                }
            }
        }
        return false;
    }

private:
    void note(const QByteArray& what) {
        const double now = static_cast<double>(QDateTime::currentMSecsSinceEpoch());
        // The processor time too: on a busy machine it says what the start costs, when the wall
        // time also says what other programs took.
        const double cpuMs = cpuMsNow();
        std::fprintf(stderr,
                     "orvane: first paint of %s: %.0f ms after start, %.0f ms of processor time, at %.3f\n",
                     what.constData(), msSinceProcessStart(), cpuMs, now / 1000.0);
        std::fflush(stderr);
        PaintClock::mark("first paint");
    }

    bool windowDone = false;
    QSet<QString> tablesDone;
};

} // namespace

void PaintClock::installIfAsked() {
    if (level() == 0 || !qApp)
        return;
    qApp->installEventFilter(new PaintWatch(qApp));
}

void PaintClock::mark(const char* phase) {
    if (level() < 2)
        return;
    // The process's start is known only to the clock tick; the phases count from the first mark
    // on a fine clock, and that first mark tells where it stands after the start.
    static bool marked = false;
    static double firstMark = 0;
    const double now = monotonicMsNow();
    if (!marked) {
        marked = true;
        firstMark = now;
        std::fprintf(stderr, "orvane: phase %s: %.0f ms after start, %.1f ms of processor time\n", phase,
                     msSinceProcessStart(), cpuMsNow());
    } else {
        std::fprintf(stderr, "orvane: phase %s: +%.1f ms, %.1f ms of processor time\n", phase,
                     now - firstMark, cpuMsNow());
    }
}
