// Read-only mode: the two index passes against the memchr pass over the same file, the index's
// size per cell, and the cost of reading cells back (one random cell, one random screen).
#include "benchregistry.h"
#include "benchutil.h"
#include "datagen.h"

#include "storage/readonlydatacontainer.h"
#include "util/fileparameterutilities.h"

#include <QFileInfo>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <random>

using namespace BenchUtil;

namespace {

constexpr int kScreenRows = 50;
constexpr int kScreenCols = 20;

double percentile(std::vector<double> samples, double p) {
    if (samples.empty())
        return 0;
    std::sort(samples.begin(), samples.end());
    const size_t at =
        std::min(samples.size() - 1, static_cast<size_t>(p * static_cast<double>(samples.size())));
    return samples[at];
}

int runIndex(const QStringList& args) {
    DataGenOptions options;
    options.sizeBytes = optionInt(args, QStringLiteral("--size-mb"), 100) << 20;
    options.seed = static_cast<quint64>(optionInt(args, QStringLiteral("--seed"), 1));
    const QString encoding = option(args, QStringLiteral("--encoding"), QStringLiteral("UTF-8"));
    options.encoding = Utilities::convertEncodingStringToType(encoding);
    const int cellSamples = static_cast<int>(optionInt(args, QStringLiteral("--cells"), 5000));
    const int screenSamples = static_cast<int>(optionInt(args, QStringLiteral("--screens"), 200));

    ScratchFile scratch(QStringLiteral("index"));
    QString path = option(args, QStringLiteral("--file"));
    if (path.isEmpty()) {
        path = scratch.path();
        std::fprintf(stderr, "generating %.1f MiB (seed %llu) in %s\n",
                     static_cast<double>(options.sizeBytes) / 1048576.0,
                     static_cast<unsigned long long>(options.seed), qPrintable(path));
        if (!generateDelimitedFile(path, options)) {
            std::fprintf(stderr, "index: cannot write %s\n", qPrintable(path));
            return 1;
        }
    } else if (!QFileInfo::exists(path)) {
        std::fprintf(stderr, "index: no file %s\n", qPrintable(path));
        return 1;
    }

    // The limit and the index take turns, the limit first, so both read a warm page cache
    // alike and a slow spell of the machine falls on both; the medians are reported.
    const int repeats = static_cast<int>(std::max<qint64>(1, optionInt(args, QStringLiteral("--repeat"), 1)));
    std::vector<double> memchrSeconds, indexSeconds, pairRatios, cycleRatios;
    MemchrPass limit;
    double handshake = 0;
    qint64 peak = 0;
    resetPeakRss();
    const qint64 baseline = currentRssBytes();
    auto c = std::make_unique<ReadOnlyDataContainer>();
    // One index of the file; its time leaves out the progress handshake that files from 24 MiB
    // on start with, which is no work of the index.
    const auto indexOnce = [&](const CycleCounter* counter, double& seconds, double& cycles) {
        c = std::make_unique<ReadOnlyDataContainer>();
        c->setFilepath(path);
        c->setDelimiter(options.delimiter, options.delimiter);
        c->setEncoding(options.encoding);
        c->setParsingStandard(RFC_4180);
        const Timer timer;
        double handshakeStart = -1, handshakeEnd = -1;
        QObject::connect(c.get(), &AbstractDataContainer::startProgressUpdateSignal,
                         [&] { handshakeStart = timer.seconds(); });
        QObject::connect(c.get(), &AbstractDataContainer::loadProgressUpdateSignal, [&](int, int, int) {
            if (handshakeEnd < 0)
                handshakeEnd = timer.seconds();
        });
        const bool ok = c->loadCSV();
        cycles = counter ? counter->cycles() : 0;
        handshake = handshakeStart >= 0 && handshakeEnd >= 0 ? handshakeEnd - handshakeStart : 0;
        seconds = timer.seconds() - handshake;
        return ok;
    };
    for (int run = 0; run < repeats; ++run) {
        // The faster of two passes back to back, so that a slow spell doesn't make the limit easy.
        limit = memchrNewlineCount(path);
        const MemchrPass second = memchrNewlineCount(path);
        if (second.seconds < limit.seconds)
            limit = second;
        // A cycle counter that follows the threads slows the read-ahead thread on a virtual
        // machine, so the timed run counts nothing and a second run counts the cycles.
        double seconds = 0;
        double cycles = 0;
        bool ok = indexOnce(nullptr, seconds, cycles);
        peak = std::max(peak, peakRssBytes());
        if (ok) {
            const CycleCounter counter;
            double countedSeconds = 0;
            ok = indexOnce(&counter, countedSeconds, cycles);
        }
        if (!ok) {
            std::fprintf(stderr, "index: loadCSV failed\n");
            return 1;
        }
        memchrSeconds.push_back(limit.seconds);
        indexSeconds.push_back(seconds);
        pairRatios.push_back(seconds / std::max(limit.seconds, 1e-9));
        cycleRatios.push_back(cycles / std::max(limit.cycles, 1.0));
    }
    const CycleCounter probe;
    const double seconds = percentile(indexSeconds, 0.5);
    const double memchrSecondsMedian = percentile(memchrSeconds, 0.5);
    const ReadOnlyDataContainer& index = *c;
    const qint64 rows = index.numRows();
    const qint64 cols = index.numCols();
    const double indexBytes =
        static_cast<double>(index.getStrips().size() * sizeof(ReadOnlyDataContainer::Strip));
    const double cells = static_cast<double>(std::max<qint64>(1, rows * cols));

    // Random cells and screens, as a table view asks for them: every visible cell read anew.
    std::mt19937_64 random(options.seed);
    auto pick = [&](qint64 bound) {
        return static_cast<int>(random() % static_cast<quint64>(std::max<qint64>(1, bound)));
    };
    std::vector<double> cellMicros;
    for (int i = 0; i < cellSamples; ++i) {
        const int r = pick(rows), col = pick(cols);
        const Timer t;
        const std::vector<char> v = index.getValue(r, col, false);
        cellMicros.push_back(t.seconds() * 1e6);
        if (v.size() > static_cast<size_t>(options.sizeBytes))
            return 1; // keeps the read from being optimised away
    }
    std::vector<double> screenMillis, batchedMillis;
    std::vector<ReadOnlyDataContainer::CellPosition> wanted;
    std::vector<std::vector<char>> values;
    for (int i = 0; i < screenSamples; ++i) {
        const int top = pick(std::max<qint64>(1, rows - kScreenRows));
        const int left = pick(std::max<qint64>(1, cols - kScreenCols));
        const Timer t;
        for (int r = top; r < top + kScreenRows; ++r)
            for (int col = left; col < left + kScreenCols; ++col)
                (void)index.getValue(r, col, false);
        screenMillis.push_back(t.seconds() * 1e3);

        wanted.clear();
        for (int r = top; r < top + kScreenRows; ++r)
            for (int col = left; col < left + kScreenCols; ++col)
                wanted.push_back({r, col});
        const Timer tb;
        c->getValues(wanted, values);
        batchedMillis.push_back(tb.seconds() * 1e3);
    }

    const qint64 size = limit.bytes;
    const std::string op = "index";
    std::printf("file: %lld bytes in %s, %lld rows x %lld columns, %zu strips\n",
                static_cast<long long>(size), qPrintable(encoding), static_cast<long long>(rows),
                static_cast<long long>(cols), index.getStrips().size());
    printFigures({
        {op, "index throughput", megabytesPerSecond(size, seconds), "MB/s",
         megabytesPerSecond(size, memchrSecondsMedian), "memchr newline count, same file"},
        {op, "index time", seconds, "s", 3 * memchrSecondsMedian, "3 x memchr pass (goal)"},
        {op, "memchr pass time", memchrSecondsMedian, "s", 0, ""},
        {op, "index / memchr pass, each run", percentile(pairRatios, 0.5), "x", 3, "goal"},
        {op,
         probe.countsKernel() ? "index / memchr pass in cycles, each run"
                              : "index / memchr pass, user cycles",
         percentile(cycleRatios, 0.5), "x", 3, "goal"},
        {op, "index time, fastest run", percentile(indexSeconds, 0), "s", 0, ""},
        {op, "index time, slowest run", percentile(indexSeconds, 1), "s", 0, ""},
        {op, "runs", static_cast<double>(repeats), "", 0, ""},
        {op, "progress handshake (left out)", handshake, "s", 0, ""},
        {op, "index bytes per cell", indexBytes / cells, "B", 16.0 / 25.0, "16 B per 25 cells"},
        {op, "peak RSS / input",
         static_cast<double>(std::max<qint64>(0, peak - baseline)) / static_cast<double>(size), "x", 0, ""},
        {op, "cell read p50", percentile(cellMicros, 0.50), "us", 0, ""},
        {op, "cell read p99", percentile(cellMicros, 0.99), "us", 0, ""},
        {op, "screen 50x20 p50", percentile(screenMillis, 0.50), "ms", 5, "5 ms goal"},
        {op, "screen 50x20 p99", percentile(screenMillis, 0.99), "ms", 5, "5 ms goal"},
        {op, "screen batched p50", percentile(batchedMillis, 0.50), "ms", 5, "5 ms goal"},
        {op, "screen batched p99", percentile(batchedMillis, 0.99), "ms", 5, "5 ms goal"},
    });
    return 0;
}

BenchRegistration
    reg("index",
        "index --size-mb N [--seed S] [--encoding E] [--cells N] [--screens N] [--repeat R] [--file PATH]: "
        "read-only index against the memchr pass (medians of R alternating runs), index size, random "
        "cell and screen reads",
        &runIndex);

} // namespace
