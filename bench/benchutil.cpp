#include "benchutil.h"

#include <QDir>
#include <QFile>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <linux/perf_event.h>
#include <memory>
#include <random>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace BenchUtil {

CycleCounter::CycleCounter() {
    for (const bool kernel : {true, false}) {
        perf_event_attr attr;
        std::memset(&attr, 0, sizeof attr);
        attr.type = PERF_TYPE_HARDWARE;
        attr.size = sizeof attr;
        attr.config = PERF_COUNT_HW_CPU_CYCLES;
        attr.exclude_kernel = kernel ? 0 : 1;
        attr.exclude_hv = 1;
        attr.inherit = 1; // threads started meanwhile count too, once they have ended
        fd = static_cast<int>(::syscall(SYS_perf_event_open, &attr, 0, -1, -1, 0));
        if (fd >= 0) {
            withKernel = kernel;
            return;
        }
    }
}

CycleCounter::~CycleCounter() {
    if (fd >= 0)
        ::close(fd);
}

double CycleCounter::cycles() const {
    unsigned long long value = 0;
    if (fd < 0 || ::read(fd, &value, sizeof value) != static_cast<ssize_t>(sizeof value))
        return 0;
    return static_cast<double>(value);
}

double threadCpuSeconds() {
    timespec ts{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
    return double(ts.tv_sec) + double(ts.tv_nsec) * 1e-9;
}

double processCpuSeconds() {
    timespec t{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) * 1e-9;
}

QString option(const QStringList& args, const QString& name, const QString& fallback) {
    const qsizetype at = args.indexOf(name);
    if (at < 0 || at + 1 >= args.size())
        return fallback;
    return args.at(at + 1);
}

qint64 optionInt(const QStringList& args, const QString& name, qint64 fallback) {
    bool ok = false;
    const qint64 value = option(args, name).toLongLong(&ok);
    return ok ? value : fallback;
}

bool hasFlag(const QStringList& args, const QString& name) {
    return args.contains(name);
}

bool parseIntOptions(const QStringList& args, long long min, long long max,
                     const std::function<bool(const QString& name, long long value)>& take) {
    for (qsizetype i = 0; i + 1 < args.size(); i += 2) {
        bool ok = false;
        const long long value = args.at(i + 1).toLongLong(&ok);
        if (!ok || value < min || value > max || !take(args.at(i), value))
            return false;
    }
    return args.size() % 2 == 0;
}

QStringList positional(const QStringList& args, const QStringList& optionsWithValue) {
    QStringList out;
    for (qsizetype i = 0; i < args.size(); ++i) {
        if (optionsWithValue.contains(args.at(i))) {
            ++i;
            continue;
        }
        if (!args.at(i).startsWith(QStringLiteral("--")))
            out << args.at(i);
    }
    return out;
}

static qint64 statusField(const char* field) {
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    const QByteArray key = QByteArray(field) + ':';
    for (const QByteArray& line : status.readAll().split('\n')) {
        if (line.startsWith(key))
            return line.mid(key.size()).trimmed().split(' ').value(0).toLongLong() * 1024;
    }
    return -1;
}

qint64 peakRssBytes() {
    return statusField("VmHWM");
}
qint64 currentRssBytes() {
    return statusField("VmRSS");
}

void resetPeakRss() {
    // Writing 5 to clear_refs resets the peak to the current size (Linux 4.0 and later).
    const int fd = ::open("/proc/self/clear_refs", O_WRONLY);
    if (fd < 0)
        return;
    const ssize_t ignored = ::write(fd, "5", 1);
    (void)ignored;
    ::close(fd);
}

MemchrPass memchrNewlineCount(const QString& path) {
    MemchrPass pass;
    const int fd = ::open(QFile::encodeName(path).constData(), O_RDONLY);
    if (fd < 0)
        return pass;
    constexpr size_t kBlock = 4 << 20;
    std::unique_ptr<char[]> buffer(new char[kBlock]);
    std::memset(buffer.get(), 0, kBlock); // its pages are faulted in before the clock starts
    const Timer timer;
    const CycleCounter counter;
    for (;;) {
        const ssize_t got = ::read(fd, buffer.get(), kBlock);
        if (got <= 0)
            break;
        pass.bytes += got;
        const char* p = buffer.get();
        const char* const end = p + got;
        while (p < end) {
            const void* hit = std::memchr(p, '\n', static_cast<size_t>(end - p));
            if (!hit)
                break;
            ++pass.newlines;
            p = static_cast<const char*>(hit) + 1;
        }
    }
    pass.cycles = counter.cycles();
    pass.seconds = timer.seconds();
    pass.cpuSeconds = timer.cpuSeconds();
    ::close(fd);
    return pass;
}

ScratchFile::ScratchFile(const QString& stem) {
    QString folder = qEnvironmentVariable("ORVANE_BENCH_DIR");
    if (folder.isEmpty())
        folder = QStringLiteral("/tmp");
    filePath = QDir(folder).filePath(QStringLiteral("orvane-bench-%1-%2.csv").arg(stem).arg(::getpid()));
}

ScratchFile::~ScratchFile() {
    if (removeOnExit)
        QFile::remove(filePath);
}

double megabytesPerSecond(qint64 bytes, double seconds) {
    return seconds > 0 ? static_cast<double>(bytes) / 1e6 / seconds : 0;
}

static std::string jsonEscape(const std::string& s) {
    std::string out;
    for (const char c : s) {
        if (c == '"' || c == '\\')
            out += '\\';
        out += c;
    }
    return out;
}

void printFigures(const std::vector<Figure>& figures) {
    std::printf("\n%-10s %-28s %14s %-8s %14s %8s  %s\n", "operation", "figure", "value", "unit", "limit",
                "ratio", "limit is");
    for (const Figure& f : figures) {
        if (f.limit > 0)
            std::printf("%-10s %-28s %14.2f %-8s %14.2f %7.1f%%  %s\n", f.operation.c_str(), f.name.c_str(),
                        f.value, f.unit.c_str(), f.limit, 100.0 * f.value / f.limit, f.limitName.c_str());
        else
            std::printf("%-10s %-28s %14.2f %-8s\n", f.operation.c_str(), f.name.c_str(), f.value,
                        f.unit.c_str());
    }
    std::printf("\n");
    for (const Figure& f : figures) {
        std::printf("{\"operation\":\"%s\",\"figure\":\"%s\",\"value\":%.4f,\"unit\":\"%s\"",
                    jsonEscape(f.operation).c_str(), jsonEscape(f.name).c_str(), f.value,
                    jsonEscape(f.unit).c_str());
        if (f.limit > 0)
            std::printf(",\"limit\":%.4f,\"ratio\":%.4f,\"limit_is\":\"%s\"", f.limit, f.value / f.limit,
                        jsonEscape(f.limitName).c_str());
        std::printf("}\n");
    }
    std::fflush(stdout);
}

double median(std::vector<double> samples) {
    if (samples.empty())
        return 0;
    std::nth_element(samples.begin(), samples.begin() + static_cast<std::ptrdiff_t>(samples.size() / 2),
                     samples.end());
    return samples[samples.size() / 2];
}

bool writeMixedTable(const QString& path, int rows, int cols, unsigned seed, bool quoted) {
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    std::mt19937 rng(seed);
    const std::mt19937::result_type kinds = quoted ? 6 : 4;
    QByteArray line;
    for (int r = 0; r < rows; ++r) {
        line.clear();
        for (int c = 0; c < cols; ++c) {
            if (c)
                line += ',';
            const auto kind = rng() % kinds;
            if (kind == 0) {
                line += QByteArray::number(static_cast<int>(rng() % 100000));
            } else if (kind == 1) {
                line += "word";
                line += QByteArray::number(static_cast<int>(rng() % 100));
            } else if (kind == 2) {
                // empty
            } else if (quoted && kind == 3) {
                line += "\"a, \"\"quoted\"\" <cell>\"";
            } else if (quoted && kind == 4) {
                line += "\"two\nlines | & more\"";
            } else {
                line += QByteArray::number(static_cast<double>(rng() % 10000) / 7.0, 'f', 3);
            }
        }
        line += '\n';
        if (file.write(line) != line.size())
            return false;
    }
    return true;
}

} // namespace BenchUtil
