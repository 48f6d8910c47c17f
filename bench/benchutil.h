#pragma once

#include <functional>

#include <QString>
#include <QStringList>

#include <chrono>
#include <string>
#include <vector>

// Shared by every benchmark operation: options, timing, memory, the memchr limit and output.
namespace BenchUtil {

// --name VALUE from the arguments, or the fallback.
QString option(const QStringList& args, const QString& name, const QString& fallback = QString());
qint64 optionInt(const QStringList& args, const QString& name, qint64 fallback);
bool hasFlag(const QStringList& args, const QString& name);
// Reads "--name value" pairs with whole values in [min, max], handing each to `take`, which says
// whether it knows the name. False on an unknown name, a missing value or one out of range.
bool parseIntOptions(const QStringList& args, long long min, long long max,
                     const std::function<bool(const QString& name, long long value)>& take);
// The arguments that are neither options nor their values (paths, for instance).
QStringList positional(const QStringList& args, const QStringList& optionsWithValue);

// Wall time, and the CPU time of this thread over the same span. The machine is shared, so
// CPU time shows what the code costs when wall time also shows what others took.
double threadCpuSeconds();
// The CPU time of the whole process: for work that keeps a helper thread of its own (a read
// ahead), which the thread's own CPU time leaves out.
double processCpuSeconds();

class Timer {
public:
    Timer()
        : start(std::chrono::steady_clock::now()), cpuStart(threadCpuSeconds()),
          processCpuStart(BenchUtil::processCpuSeconds()) {}
    double seconds() const {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    }
    double cpuSeconds() const { return threadCpuSeconds() - cpuStart; }
    double processCpuSeconds() const { return BenchUtil::processCpuSeconds() - processCpuStart; }

private:
    std::chrono::steady_clock::time_point start;
    double cpuStart;
    double processCpuStart;
};

// Processor cycles spent by this thread and the threads it starts (counted once they end), kernel included
// where the system lets a process count them (as root, or with perf_event_paranoid at most 1), else in user
// space only. On a shared virtual machine the clock of a core changes from second to second, and seconds with
// it; the cycles of the same work stay the same, so figures in cycles compare across runs.
class CycleCounter {
public:
    CycleCounter();
    ~CycleCounter();
    CycleCounter(const CycleCounter&) = delete;
    CycleCounter& operator=(const CycleCounter&) = delete;
    bool available() const { return fd >= 0; }
    bool countsKernel() const { return withKernel; }
    // Cycles since the counter was made; 0 when it isn't available.
    double cycles() const;

private:
    int fd = -1;
    bool withKernel = false;
};

// Peak resident set size of this process (VmHWM), in bytes; resetPeakRss starts a new peak
// so that a measurement doesn't include what came before it.
qint64 peakRssBytes();
qint64 currentRssBytes();
void resetPeakRss();

// The limit of every file figure: the file read in large blocks and its newlines counted with
// memchr. Reading and counting are what any loader must do at the least.
struct MemchrPass {
    qint64 bytes = 0;
    qint64 newlines = 0;
    double seconds = 0;
    double cpuSeconds = 0;
    double cycles = 0; // 0 where cycles can't be counted
};
MemchrPass memchrNewlineCount(const QString& path);

// Writes a rows x cols table of short mixed cells (whole numbers, words, empty cells, decimals),
// the same for the same seed; with `quoted`, also quoted cells with delimiters, doubled quotes and
// line breaks. False when the file can't be written.
bool writeMixedTable(const QString& path, int rows, int cols, unsigned seed, bool quoted = false);

// A temporary file in /tmp (or $ORVANE_BENCH_DIR) that is removed when the object goes.
class ScratchFile {
public:
    explicit ScratchFile(const QString& stem);
    ~ScratchFile();
    ScratchFile(const ScratchFile&) = delete;
    ScratchFile& operator=(const ScratchFile&) = delete;
    const QString& path() const { return filePath; }
    void keep() { removeOnExit = false; }

private:
    QString filePath;
    bool removeOnExit = true;
};

// One measured figure, printed in a table for people and as one JSON line for scripts.
struct Figure {
    std::string operation;
    std::string name;
    double value = 0;
    std::string unit;
    double limit = 0;      // the same quantity for the limit, 0 if none
    std::string limitName; // what the limit is
};

void printFigures(const std::vector<Figure>& figures);

double megabytesPerSecond(qint64 bytes, double seconds);

// The middle of the samples (the upper one of the two middles); 0 for none.
double median(std::vector<double> samples);

} // namespace BenchUtil
