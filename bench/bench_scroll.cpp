// orvane-bench scroll: frame times of the table view while it scrolls by wheel steps, pages and
// arrow keys and jumps top -> bottom -> middle through a generated editable table of a million
// rows and a read-only file of a gibibyte.
// A frame is the scroll itself plus the repaint it causes, run the way the event loop runs it.
// The figure beside each is the goal of one frame at 60 Hz (16 ms) and, as the floor measured
// in the same run, a repaint of the same screen without any scrolling.

#include "benchregistry.h"
#include "benchutil.h"

#include "table/tablemodel.h"
#include "view/frozentableview.h"
#include "view/tableview.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QHeaderView>
#include <QScrollBar>
#include <QStringList>
#include <QTemporaryDir>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include <time.h>

namespace {

struct Options {
    int rows = 1000000;
    int cols = 8;
    int width = 1400;
    int height = 900;
    int readOnlyMiB = 1024; // size of the read-only file; 0 leaves it out
    unsigned seed = 20261122;
    int concealEvery = 0; // with N > 1, every Nth data row is concealed, as a filter would
};

bool parseOptions(const QStringList& args, Options& options) {
    return BenchUtil::parseIntOptions(args, 0, 100000000, [&options](const QString& name, long long value) {
        if (name == QLatin1String("--rows"))
            options.rows = static_cast<int>(value);
        else if (name == QLatin1String("--cols"))
            options.cols = static_cast<int>(std::min<long long>(value, 1000));
        else if (name == QLatin1String("--readonly-mb"))
            options.readOnlyMiB = static_cast<int>(std::min<long long>(value, 16384));
        else if (name == QLatin1String("--seed"))
            options.seed = static_cast<unsigned>(value);
        else if (name == QLatin1String("--conceal-every"))
            options.concealEvery = static_cast<int>(value);
        else
            return false;
        return true;
    });
}

// Mixed cells: numbers, words, quoted cells with delimiters and doubled quotes, line breaks,
// empty cells and ragged rows.
qint64 writeTable(const QString& path, const Options& options) {
    static const char* words[] = {"alpha", "bravo",  "charlie", "delta", "echo", "foxtrot",  "golf",  "hotel",
                                  "india", "juliet", "kilo",    "lima",  "mike", "november", "oscar", "papa"};
    std::mt19937 rng(options.seed);
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return -1;
    QByteArray chunk;
    chunk.reserve(1 << 21);
    for (int r = 0; r < options.rows; ++r) {
        const int cols = (rng() % 50 == 0) ? options.cols - 1 - static_cast<int>(rng() % 3) : options.cols;
        for (int c = 0; c < std::max(1, cols); ++c) {
            if (c)
                chunk += ',';
            switch ((c + rng() % 7) % 7) {
            case 0:
                chunk += QByteArray::number(r);
                break;
            case 1:
                chunk += words[rng() % 16];
                break;
            case 2:
                chunk += QByteArray::number(static_cast<double>(rng() % 1000000) / 100.0, 'f', 2);
                break;
            case 3:
                chunk += "\"" + QByteArray(words[rng() % 16]) + ", " + words[rng() % 16] + "\"";
                break;
            case 4:
                chunk += "\"say \"\"" + QByteArray(words[rng() % 16]) + "\"\"\"";
                break;
            case 5:
                if (rng() % 20 == 0)
                    chunk += "\"two\nlines\"";
                break;
            default:
                chunk += QByteArray(words[rng() % 16]) + '-' + QByteArray::number(rng() % 10000);
                break;
            }
        }
        chunk += '\n';
        if (chunk.size() > (1 << 21) - 4096) {
            file.write(chunk);
            chunk.clear();
        }
    }
    file.write(chunk);
    return file.size();
}

struct Stats {
    double p50 = 0;
    double p99 = 0;
    double max = 0;
    std::size_t frames = 0;
};

Stats summarise(std::vector<double> ms) {
    Stats s;
    if (ms.empty())
        return s;
    std::sort(ms.begin(), ms.end());
    s.frames = ms.size();
    s.p50 = ms[ms.size() / 2];
    s.p99 = ms[std::min(ms.size() - 1, static_cast<std::size_t>(static_cast<double>(ms.size()) * 0.99))];
    s.max = ms.back();
    return s;
}

double threadCpuMs() {
    timespec ts{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
    return static_cast<double>(ts.tv_sec) * 1e3 + static_cast<double>(ts.tv_nsec) / 1e6;
}

// CPU time of the GUI thread per frame, beside the wall time: on a shared machine the wall
// time mostly measures the other processes.
std::vector<double>* cpuSink = nullptr;

// One frame: the action and the events it posted, painting included, as the event loop would
// run them before the next frame.
template <class Action> double frame(Action&& action) {
    const double cpuStart = threadCpuMs();
    const auto start = std::chrono::steady_clock::now();
    action();
    QCoreApplication::processEvents();
    const auto end = std::chrono::steady_clock::now();
    if (cpuSink)
        cpuSink->push_back(threadCpuMs() - cpuStart);
    return std::chrono::duration<double, std::milli>(end - start).count();
}

// Loads `path` into a model of the given container and measures the frame runs on it.
int measureFile(const QString& path, qint64 bytes, TableData::DataContainerType type, const char* label,
                const Options& options) {
    QElapsedTimer loadTimer;
    loadTimer.start();
    TableModel model(true);
    model.loadCSV(path, false, type, QStringLiteral(","), QStringLiteral(","), UTF_8, RFC_4180);
    const qint64 loadMs = loadTimer.elapsed();
    if (model.rowCountModel() == 0) {
        std::fprintf(stderr, "orvane-bench scroll: %s table did not load\n", label);
        return 1;
    }
    if (options.concealEvery > 1) {
        std::vector<int> concealed;
        for (int r = options.concealEvery; r < model.rowCountRaw(); r += options.concealEvery)
            concealed.push_back(r);
        model.setAndApplyFilterAndHiddenArraysList({}, concealed, {});
    }

    TableView::autoFitWarningHook = [](const QString&, bool&) { return true; };
    TableView view;
    view.setModel(&model);
    view.resize(options.width, options.height);
    QElapsedTimer showTimer;
    showTimer.start();
    view.onLoadFinished();
    view.show();
    QCoreApplication::processEvents();
    const qint64 showMs = showTimer.elapsed();
    const int rows = model.rowCountModel();
    struct Run {
        const char* op;
        std::vector<double> ms;
        std::vector<double> cpu;
    };
    std::vector<Run> runs;

    {
        Run run{"still", {}, {}};
        cpuSink = &run.cpu;
        for (int i = 0; i < 200; ++i)
            run.ms.push_back(frame([&] {
                view.viewport()->update();
                view.frozenView(1)->viewport()->update();
                view.verticalHeader()->viewport()->update();
            }));
        runs.push_back(std::move(run));
    }
    {
        Run run{"wheel-steps", {}, {}};
        cpuSink = &run.cpu;
        view.scrollToTopLeft();
        const int step = 3 * view.verticalHeader()->defaultSectionSize();
        for (int i = 0; i < 2000; ++i)
            run.ms.push_back(frame([&] { view.scroll(Direction::Down, false, 0, step); }));
        runs.push_back(std::move(run));
    }
    {
        Run run{"pages", {}, {}};
        cpuSink = &run.cpu;
        for (int i = 0; i < 500; ++i)
            run.ms.push_back(frame([&] { view.scroll(i % 4 == 3 ? Direction::Up : Direction::Down, true); }));
        runs.push_back(std::move(run));
    }
    {
        Run run{"arrow-keys", {}, {}};
        cpuSink = &run.cpu;
        view.moveSelectionAbsolute(rows / 3, 1);
        for (int i = 0; i < 1000; ++i)
            run.ms.push_back(frame([&] { view.moveSelectionRelative(1, 0); }));
        runs.push_back(std::move(run));
    }
    {
        Run run{"jumps", {}, {}};
        cpuSink = &run.cpu;
        const int targets[] = {0, rows - 1, rows / 2};
        for (int i = 0; i < 150; ++i) {
            const int target = targets[i % 3];
            run.ms.push_back(frame([&] { view.moveSelectionAbsolute(target, 2); }));
        }
        runs.push_back(std::move(run));
    }
    {
        Run run{"touchpad", {}, {}};
        cpuSink = &run.cpu;
        view.scrollToTopLeft();
        QScrollBar* bar = view.verticalScrollBar();
        for (int i = 0; i < 1000; ++i)
            run.ms.push_back(frame([&] { bar->setValue(bar->value() + 37); }));
        runs.push_back(std::move(run));
    }

    const double goal = 16.0;
    const long rss = static_cast<long>(BenchUtil::peakRssBytes() / 1024);
    const double floorP99 = summarise(runs.front().ms).p99;
    std::printf("scroll over %d rows x %d columns (%lld bytes, %s), view %dx%d\n", rows,
                model.columnCountModel(), static_cast<long long>(bytes), label, options.width,
                options.height);
    std::printf("load %lld ms, first show with auto-fit %lld ms\n\n", static_cast<long long>(loadMs),
                static_cast<long long>(showMs));
    std::printf("%-12s %7s %9s %9s %9s %9s %9s %9s %10s %10s\n", "operation", "frames", "p50 ms", "p99 ms",
                "max ms", "cpu p50", "cpu p99", "goal ms", "p99/goal", "p99/still");
    for (const Run& run : runs) {
        const Stats s = summarise(run.ms);
        const Stats c = summarise(run.cpu);
        std::printf("%-12s %7zu %9.2f %9.2f %9.2f %9.2f %9.2f %9.1f %10.2f %10.2f\n", run.op, s.frames, s.p50,
                    s.p99, s.max, c.p50, c.p99, goal, s.p99 / goal, floorP99 > 0 ? s.p99 / floorP99 : 0.0);
    }
    std::printf("\npeak RSS %ld KiB, %.2f x the file\n\n", rss,
                bytes > 0 ? static_cast<double>(rss) * 1024.0 / static_cast<double>(bytes) : 0.0);
    for (const Run& run : runs) {
        const Stats s = summarise(run.ms);
        const Stats c = summarise(run.cpu);
        std::printf("{\"bench\":\"scroll\",\"file\":\"%s\",\"op\":\"%s\",\"rows\":%d,\"bytes\":%lld,"
                    "\"frames\":%zu,\"p50_ms\":%.3f,"
                    "\"p99_ms\":%.3f,\"max_ms\":%.3f,\"cpu_p50_ms\":%.3f,\"cpu_p99_ms\":%.3f,\"goal_ms\":%."
                    "1f,\"ratio_goal\":%.3f,\"still_p99_ms\":%.3f,"
                    "\"peak_rss_kib\":%ld}\n",
                    label, run.op, rows, static_cast<long long>(bytes), s.frames, s.p50, s.p99, s.max, c.p50,
                    c.p99, goal, s.p99 / goal, floorP99, rss);
    }
    cpuSink = nullptr;
    return 0;
}

int runScroll(const QStringList& args) {
    Options options;
    if (!parseOptions(args, options)) {
        std::fprintf(stderr, "usage: orvane-bench scroll [--rows N] [--cols N] [--readonly-mb N] [--seed N] "
                             "[--conceal-every N]\n");
        return 2;
    }
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("scroll.csv"));
    const qint64 bytes = writeTable(path, options);
    if (bytes < 0) {
        std::fprintf(stderr, "orvane-bench scroll: could not write the table\n");
        return 1;
    }
    int result = measureFile(path, bytes, TableData::Editable, "editable", options);
    QFile::remove(path);
    if (result != 0 || options.readOnlyMiB == 0)
        return result;

    // The same kind of rows, enough of them for the asked size, opened read-only.
    Options big = options;
    const double bytesPerRow = static_cast<double>(bytes) / options.rows;
    big.rows =
        static_cast<int>(std::min(2.0e9, static_cast<double>(options.readOnlyMiB) * 1048576.0 / bytesPerRow));
    const QString bigPath = dir.filePath(QStringLiteral("scroll-readonly.csv"));
    const qint64 bigBytes = writeTable(bigPath, big);
    if (bigBytes < 0) {
        std::fprintf(stderr, "orvane-bench scroll: could not write the read-only table\n");
        return 1;
    }
    result = measureFile(bigPath, bigBytes, TableData::ReadOnly, "read-only", big);
    QFile::remove(bigPath);
    return result;
}

BenchRegistration
    reg("scroll",
        "scroll [--rows N] [--cols N] [--readonly-mb N] [--seed N] [--conceal-every N]: frame times of the "
        "table view "
        "scrolling and jumping through a generated editable table (default 1,000,000 rows) and a "
        "read-only file (default 1024 MiB, 0 to leave out)",
        &runScroll, true);

} // namespace
