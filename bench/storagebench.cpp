// Benchmarks of the editable container: load, save, load + save, and the data generator.
#include "benchregistry.h"
#include "benchutil.h"
#include "datagen.h"

#include "storage/cellwriter.h"
#include "storage/editabledatacontainer.h"
#include "storage/largepageallocator.h"
#include "storage/readonlydatacontainer.h"
#include "storage/rowarena.h"
#include "util/fileparameterutilities.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QSaveFile>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <malloc.h>
#include <thread>
#include <unistd.h>

using namespace BenchUtil;

namespace {

// The middle value; the upper of the two middle ones for an even count.
double median(std::vector<double> values) {
    if (values.empty())
        return 0;
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

const QStringList kValueOptions = {
    QStringLiteral("--size-mb"),    QStringLiteral("--size-bytes"),    QStringLiteral("--seed"),
    QStringLiteral("--delimiter"),  QStringLiteral("--encoding"),      QStringLiteral("--file"),
    QStringLiteral("--repeat"),     QStringLiteral("--helpers"),       QStringLiteral("--keep-output"),
    QStringLiteral("--keep-plain"), QStringLiteral("--save-standard"), QStringLiteral("--only"),
    QStringLiteral("--read")};

DataGenOptions generatorOptions(const QStringList& args) {
    DataGenOptions options;
    options.sizeBytes = optionInt(args, QStringLiteral("--size-mb"), 100) << 20;
    options.sizeBytes = optionInt(args, QStringLiteral("--size-bytes"), options.sizeBytes);
    options.seed = static_cast<quint64>(optionInt(args, QStringLiteral("--seed"), 1));
    const QString delimiter = Utilities::convertDelimiterFromShortReadableToActual(
        option(args, QStringLiteral("--delimiter"), QStringLiteral(",")));
    options.delimiter = delimiter.isEmpty() ? '\0' : delimiter.at(0).toLatin1();
    options.encoding = Utilities::convertEncodingStringToType(
        option(args, QStringLiteral("--encoding"), QStringLiteral("UTF-8")));
    return options;
}

void configure(EditableDataContainer& c, const QString& path, const DataGenOptions& options) {
    c.setFilepath(path);
    c.setDelimiter(options.delimiter, options.delimiter);
    c.setEncoding(options.encoding);
    c.setParsingStandard(RFC_4180);
    c.setLineEnding(LINE_ENDING_UNIX);
}

// The file to work on: --file PATH as it is, or generated data in a scratch file.
bool prepareInput(const QStringList& args, const DataGenOptions& options, ScratchFile& scratch,
                  QString& path) {
    path = option(args, QStringLiteral("--file"));
    if (!path.isEmpty())
        return QFileInfo::exists(path);
    path = scratch.path();
    std::fprintf(stderr, "generating %.1f MiB (seed %llu) in %s\n",
                 static_cast<double>(options.sizeBytes) / 1048576.0,
                 static_cast<unsigned long long>(options.seed), qPrintable(path));
    return generateDelimitedFile(path, options);
}

// The least a load that keeps its own copy of the bytes can take: the file read in pieces of
// the loader's size, a share on every core, and each piece copied into fresh memory in large
// pages, as the rows' arena is. Parsing and the rows' offsets come on top of this.
double copyFloorSeconds(const QString& path) {
    const int fd = ::open(QFile::encodeName(path).constData(), O_RDONLY);
    if (fd < 0)
        return 0;
    const qint64 size = ::lseek(fd, 0, SEEK_END);
    const qint64 cores = std::max(1u, std::thread::hardware_concurrency());
    constexpr qint64 kPiece = AbstractDataContainer::kReadPieceSize;
    std::vector<std::unique_ptr<char[]>> buffers;
    for (qint64 k = 0; k < cores; ++k) {
        buffers.emplace_back(new char[kPiece]);
        std::memset(buffers.back().get(), 0, kPiece); // as the memchr pass's buffer
    }
    char* table = static_cast<char*>(LargePages::allocate(static_cast<size_t>(std::max<qint64>(size, 1))));
    const Timer timer;
    std::vector<std::thread> threads;
    for (qint64 k = 0; k < cores; ++k) {
        threads.emplace_back([&, k] {
            const qint64 end = size * (k + 1) / cores;
            for (qint64 at = size * k / cores; at < end;) {
                const ssize_t got =
                    ::pread(fd, buffers[size_t(k)].get(), size_t(std::min(kPiece, end - at)), at);
                if (got <= 0)
                    break;
                std::memcpy(table + at, buffers[size_t(k)].get(), size_t(got));
                at += got;
            }
        });
    }
    for (std::thread& t : threads)
        t.join();
    const double seconds = timer.seconds();
    LargePages::release(table);
    ::close(fd);
    return seconds;
}

int runLoad(const QStringList& args) {
    const DataGenOptions options = generatorOptions(args);
    ScratchFile scratch(QStringLiteral("load"));
    QString path;
    if (!prepareInput(args, options, scratch, path)) {
        std::fprintf(stderr, "load: cannot prepare the input file\n");
        return 1;
    }
    // The limit and the load take turns, the limit first, so both read a warm page cache alike
    // and a slow spell of the machine falls on both; the medians are reported.
    const int repeats = static_cast<int>(std::max<qint64>(1, optionInt(args, QStringLiteral("--repeat"), 1)));
    // How the loader reads the file: copied out piece by piece, or in place through a mapping.
    const QString read = option(args, QStringLiteral("--read"));
    EditableDataContainer::setMappedLoadForTesting(
        read == QLatin1String("copy")  ? EditableDataContainer::MappedLoad::Never
        : read == QLatin1String("map") ? EditableDataContainer::MappedLoad::Always
                                       : EditableDataContainer::MappedLoad::BySize);
    std::vector<double> loadSeconds, loadCpuSeconds, memchrSeconds, memchrCpuSeconds, pairRatios;
    std::vector<double> loadCycles, cycleRatios;
    std::vector<double> wallRatios, copyFloors;
    MemchrPass limit;
    qint64 peak = 0;
    qint64 baseline = 0;
    EditableDataContainer c;
    // Counting cycles over threads slows the threads down on a virtual machine (by a half and
    // more for the loader's helpers), so the timed runs count nothing, and every timed run is
    // followed by one that counts cycles.
    const auto loadOnce = [&](const CycleCounter* counter, bool& ok) {
        c.clear();
        malloc_trim(0); // each load faults its memory in afresh
        configure(c, path, options);
        ok = c.loadCSV();
        if (counter)
            loadCycles.push_back(counter->cycles());
    };
    for (int run = 0; run < repeats; ++run) {
        // The faster of two passes back to back, so that a slow spell of the machine doesn't
        // make the limit easy.
        limit = memchrNewlineCount(path);
        const MemchrPass second = memchrNewlineCount(path);
        if (second.seconds < limit.seconds)
            limit = second;
        c.clear();
        malloc_trim(0);
        // With the table of the run before gone, as the load has it.
        copyFloors.push_back(copyFloorSeconds(path));
        malloc_trim(0);
        resetPeakRss();
        baseline = currentRssBytes();
        bool ok = false;
        const Timer timer;
        loadOnce(nullptr, ok);
        loadSeconds.push_back(timer.seconds());
        loadCpuSeconds.push_back(timer.processCpuSeconds()); // the helper threads included
        peak = std::max(peak, peakRssBytes() - baseline);
        if (ok) {
            const CycleCounter counter;
            loadOnce(&counter, ok);
        }
        if (!ok) {
            std::fprintf(stderr, "load: loadCSV failed\n");
            return 1;
        }
        memchrSeconds.push_back(limit.seconds);
        memchrCpuSeconds.push_back(limit.cpuSeconds);
        pairRatios.push_back(limit.cpuSeconds / std::max(loadCpuSeconds.back(), 1e-9));
        cycleRatios.push_back(limit.cycles / std::max(loadCycles.back(), 1.0));
        wallRatios.push_back(limit.seconds / std::max(loadSeconds.back(), 1e-9));
    }
    const CycleCounter probe;
    const double seconds = median(loadSeconds);
    const double cpuSeconds = median(loadCpuSeconds);
    limit.seconds = median(memchrSeconds);
    limit.cpuSeconds = median(memchrCpuSeconds);
    const qint64 size = limit.bytes;

    // The storage floor: the same rows, of the same cells, packed into one block each from a
    // row arena as the container holds them, but without reading anything. No loader can be
    // faster than this.
    std::vector<std::uint64_t> shape; // per row: cell count, then each cell's end offset
    size_t widestRow = 0;
    for (int r = 0; r < c.numRowsPhysical(); ++r) {
        const int cells = c.numCellsStored(r);
        shape.push_back(static_cast<std::uint64_t>(cells));
        std::uint64_t end = 0;
        for (int col = 0; col < cells; ++col) {
            end += c.cellView(r, col).size();
            shape.push_back(end);
        }
        widestRow = std::max<size_t>(widestRow, static_cast<size_t>(end));
    }
    const int numRows = c.numRows();
    const int numCols = c.numCols();
    c.clear();
    malloc_trim(0); // the floor faults its memory in afresh, as the load did
    double floorSeconds = 0;
    double floorCpuSeconds = 0;
    {
        const std::vector<char> source(widestRow, 'x');
        const Timer floorTimer;
        RowArena arena;
        std::vector<PackedRow> rows;
        for (size_t i = 0; i < shape.size();) {
            const size_t cells = static_cast<size_t>(shape[i++]);
            rows.push_back(PackedRow::fromParts(source.data(), &shape[i], cells, &arena));
            i += cells;
        }
        floorSeconds = floorTimer.seconds();
        floorCpuSeconds = floorTimer.cpuSeconds();
    }

    const std::string op = "load";
    printFigures({
        {op, "loadCSV throughput", megabytesPerSecond(size, seconds), "MB/s",
         megabytesPerSecond(size, limit.seconds), "memchr newline count"},
        {op, "loadCSV CPU throughput, all threads", megabytesPerSecond(size, cpuSeconds), "MB/s",
         megabytesPerSecond(size, limit.cpuSeconds), "memchr newline count, CPU"},
        {op, "loadCSV time", seconds, "s", 0, ""},
        {op, "loadCSV CPU time, all threads", cpuSeconds, "s", 0, ""},
        {op, "memchr time", limit.seconds, "s", 0, ""},
        {op, "file size", static_cast<double>(size) / 1e6, "MB", 0, ""},
        {op, "loadCSV CPU vs storage floor", megabytesPerSecond(size, cpuSeconds), "MB/s",
         megabytesPerSecond(size, floorCpuSeconds), "packing the same rows, CPU"},
        {op, "storage floor time", floorSeconds, "s", 0, ""},
        {op, "rows", double(numRows), "", 0, ""},
        {op, "columns", double(numCols), "", 0, ""},
        // The goal: wall time within 1.5 times the memchr pass, nothing taken off.
        {op, "loadCSV vs memchr, wall, each run", median(wallRatios) * 100, "%", 100.0 / 1.5,
         "goal (within 1.5x)"},
        {op, "loadCSV wall / memchr wall", 1.0 / std::max(median(wallRatios), 1e-9), "x", 0, ""},
        {op, "copy floor time, all cores", median(copyFloors), "s", 0, ""},
        {op, "copy floor vs memchr, wall", median(copyFloors) / std::max(limit.seconds, 1e-9), "x", 0, ""},
        {op, "loadCSV CPU vs memchr CPU, all threads, each run", median(pairRatios) * 100, "%", 0, ""},
        {op,
         probe.countsKernel() ? "loadCSV cycles vs memchr cycles, each run"
                              : "loadCSV vs memchr, user cycles",
         median(cycleRatios) * 100, "%", 0, ""},
        {op, "loadCSV cycles", median(loadCycles) / 1e6, "M", 0, ""},
        {op, "loadCSV CPU time, fastest run", *std::min_element(loadCpuSeconds.begin(), loadCpuSeconds.end()),
         "s", 0, ""},
        {op, "loadCSV CPU time, slowest run", *std::max_element(loadCpuSeconds.begin(), loadCpuSeconds.end()),
         "s", 0, ""},
        {op, "runs", double(repeats), "", 0, ""},
        {op, "peak RSS / file size", double(peak) / double(size), "x", 0, ""},
        {op, "peak RSS above the start", static_cast<double>(peak) / 1e6, "MB", 0, ""},
    });
    return 0;
}

// Reads a whole file into memory; empty when it can't.
QByteArray readAll(const QString& path) {
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

bool writeAll(const QString& path, const QByteArray& bytes) {
    QFile f(path);
    return f.open(QIODevice::WriteOnly) && f.write(bytes) == bytes.size();
}

// The save's limit: bytes already in memory written through a QSaveFile and committed, as a
// save's last step is.
bool saveFileSeconds(const QByteArray& bytes, const QString& path, double& seconds, double& cpuSeconds) {
    const Timer timer;
    QSaveFile f(path);
    if (!f.open(QIODevice::WriteOnly) || f.write(bytes) != bytes.size() || !f.commit())
        return false;
    seconds = timer.seconds();
    cpuSeconds = timer.processCpuSeconds();
    return true;
}

// A read-only table's save: its file's lines streamed from the file, whole, with every third row
// left out as a filter leaves it, in a shuffled order as a sort leaves it, with another
// delimiter, of a UTF-16 file, and with all but every 1000th row left out; each against writing its result
// from memory, in turns. Unless
// --no-check, each result is held byte for byte to the cell-by-cell save once.
int runSaveReadOnly(const QStringList& args) {
    const DataGenOptions options = generatorOptions(args);
    ScratchFile scratch(QStringLiteral("save-ro-in"));
    ScratchFile wideScratch(QStringLiteral("save-ro-in16"));
    ScratchFile output(QStringLiteral("save-ro-out"));
    ScratchFile checkOutput(QStringLiteral("save-ro-check"));
    ScratchFile limitOutput(QStringLiteral("save-ro-limit"));
    QString path;
    if (!prepareInput(args, options, scratch, path)) {
        std::fprintf(stderr, "save: cannot prepare the input file\n");
        return 1;
    }
    const bool check = !hasFlag(args, QStringLiteral("--no-check"));
    const int repeats = static_cast<int>(std::max<qint64>(1, optionInt(args, QStringLiteral("--repeat"), 3)));
    std::vector<Figure> figures;
    bool allSame = true;
    enum Case { Whole, Filtered, Sorted, OtherDelimiter, Utf16, FewKept };
    // --only N: just one of the cases, in the order they are listed.
    const qint64 only = optionInt(args, QStringLiteral("--only"), -1);
    for (const Case which : {Whole, Filtered, Sorted, OtherDelimiter, Utf16, FewKept}) {
        if (only >= 0 && only != which)
            continue;
        DataGenOptions o = options;
        QString input = path;
        if (which == Utf16) {
            o.encoding = UTF_16LE;
            input = wideScratch.path();
            std::fprintf(stderr, "generating the UTF-16 file\n");
            if (!generateDelimitedFile(input, o)) {
                std::fprintf(stderr, "save: cannot generate the UTF-16 file\n");
                return 1;
            }
        }
        ReadOnlyDataContainer c;
        c.setFilepath(input);
        c.setDelimiter(o.delimiter, which == OtherDelimiter ? (o.delimiter == ';' ? ',' : ';') : o.delimiter);
        c.setEncoding(o.encoding);
        c.setParsingStandard(RFC_4180);
        c.setLineEnding(LINE_ENDING_UNIX);
        if (!c.loadCSV()) {
            std::fprintf(stderr, "save: indexing failed\n");
            return 1;
        }
        std::vector<int> skip;
        if (which == Filtered) {
            for (int r = 1; r < c.numRows(); r += 3)
                skip.push_back(r);
        }
        if (which == FewKept) {
            for (int r = 0; r < c.numRows(); ++r) {
                if (r % 1000 != 0)
                    skip.push_back(r);
            }
        }
        if (which == Sorted) {
            std::vector<int> order(static_cast<size_t>(c.numRows()));
            for (int r = 0; r < c.numRows(); ++r)
                order[static_cast<size_t>(r)] = r;
            quint64 state = o.seed * 0x9E3779B97F4A7C15ULL + 1;
            for (size_t i = order.size(); i > 1; --i) {
                state = state * 6364136223846793005ULL + 1442695040888963407ULL;
                std::swap(order[i - 1], order[static_cast<size_t>((state >> 33) % i)]);
            }
            c.setRowOrder(std::move(order));
        }
        std::vector<double> seconds, cpu, limits, limitCpus, ratios, cpuRatios;
        qint64 written = 0;
        QByteArray first;
        for (int run = 0; run < repeats; ++run) {
            const Timer timer;
            if (!c.saveCSV(output.path(), false, false, skip, {})) {
                std::fprintf(stderr, "save: the read-only save failed\n");
                return 1;
            }
            seconds.push_back(timer.seconds());
            cpu.push_back(timer.processCpuSeconds());
            c.setFilepath(input);
            const QByteArray bytes = readAll(output.path());
            // Each save makes a new file, as the limit does: replacing one costs more on some
            // file systems, and the two would not be measured alike.
            QFile::remove(output.path());
            written = bytes.size();
            double limit = 0;
            double limitCpu = 0;
            if (!saveFileSeconds(bytes, limitOutput.path(), limit, limitCpu))
                return 1;
            QFile::remove(limitOutput.path());
            limits.push_back(limit);
            limitCpus.push_back(limitCpu);
            ratios.push_back(seconds.back() / limit);
            cpuRatios.push_back(cpu.back() / std::max(limitCpu, 1e-9));
            if (run == 0 && check)
                first = bytes;
        }
        QFile::remove(output.path());
        double checkSeconds = 0;
        bool same = true;
        if (check) {
            ReadOnlyDataContainer::setStreamedSaveForTesting(false);
            const Timer timer;
            same =
                c.saveCSV(checkOutput.path(), false, false, skip, {}) && readAll(checkOutput.path()) == first;
            checkSeconds = timer.seconds();
            ReadOnlyDataContainer::setStreamedSaveForTesting(true);
            c.setFilepath(input);
            QFile::remove(checkOutput.path());
            first.clear();
        }
        allSame = allSame && same;
        const char* const names[] = {"save read-only",
                                     "save read-only, every third row filtered",
                                     "save read-only, rows shuffled",
                                     "save read-only, other delimiter",
                                     "save read-only, UTF-16",
                                     "save read-only, all but every 1000th row filtered"};
        const std::string op = names[which];
        // Writing a thousandth of the file sets no goal: the save's time is that of finding its rows.
        const double goal = which == FewKept ? 0 : which == Utf16 ? 4 : 2;
        const char* const goalName = goal > 0 ? "goal" : "";
        figures.push_back({op, "saveCSV time / limit time, each run", median(ratios), "x", goal, goalName});
        figures.push_back(
            {op, "saveCSV CPU time / limit CPU time, each run", median(cpuRatios), "x", goal, goalName});
        figures.push_back({op, "saveCSV time", median(seconds), "s", 0, ""});
        figures.push_back({op, "saveCSV CPU time", median(cpu), "s", 0, ""});
        figures.push_back({op, "limit time", median(limits), "s", 0, ""});
        figures.push_back({op, "bytes written", static_cast<double>(written) / 1e6, "MB", 0, ""});
        if (check) {
            figures.push_back({op, "cell-by-cell save time", checkSeconds, "s", 0, ""});
            figures.push_back({op, "same bytes as the cell-by-cell save", same ? 1.0 : 0.0, "bool", 0, ""});
        }
        if (which == Utf16)
            QFile::remove(input);
    }
    printFigures(figures);
    return allSame ? 0 : 1;
}

int runSave(const QStringList& args) {
    if (hasFlag(args, QStringLiteral("--read-only")))
        return runSaveReadOnly(args);
    const DataGenOptions options = generatorOptions(args);
    ScratchFile scratch(QStringLiteral("save-in"));
    ScratchFile output(QStringLiteral("save-out"));
    ScratchFile plainOutput(QStringLiteral("save-plain"));
    ScratchFile limitOutput(QStringLiteral("save-limit"));
    QString path;
    if (!prepareInput(args, options, scratch, path)) {
        std::fprintf(stderr, "save: cannot prepare the input file\n");
        return 1;
    }
    EditableDataContainer c;
    configure(c, path, options);
    if (!c.loadCSV()) {
        std::fprintf(stderr, "save: loadCSV failed\n");
        return 1;
    }
    const QString keepAs = option(args, QStringLiteral("--keep-output"));
    const QString keepPlainAs = option(args, QStringLiteral("--keep-plain"));
    // --save-standard N: written under another quoting standard than the one it was read with.
    if (const qint64 standard = optionInt(args, QStringLiteral("--save-standard"), -1); standard >= 0)
        c.setParsingStandard(static_cast<ParsingStandard>(standard));

    // The plain writer (one thread, a byte loop for the quoting test) gives the bytes that the
    // fast one must match.
    EditableDataContainer::setSavePartsForTesting(0, 0);
    CellWriter::setInstructionSetForTesting(2);
    const Timer plainTimer;
    const bool plainOk = c.saveCSV(plainOutput.path(), false, false, {}, {});
    const double plainSeconds = plainTimer.seconds();
    const double plainCpu = plainTimer.processCpuSeconds();
    EditableDataContainer::setSavePartsForTesting(-1, 0);
    CellWriter::setInstructionSetForTesting(0);
    const QByteArray expected = readAll(plainOutput.path());
    if (keepPlainAs.isEmpty()) {
        QFile::remove(plainOutput.path());
    } else {
        QFile::remove(keepPlainAs);
        QFile::rename(plainOutput.path(), keepPlainAs);
    }
    if (!plainOk || expected.isEmpty()) {
        std::fprintf(stderr, "save: the plain writer failed\n");
        return 1;
    }

    // --helpers N: the parts on N threads beside the caller instead of one a core.
    if (const qint64 helpers = optionInt(args, QStringLiteral("--helpers"), -1); helpers >= 0)
        EditableDataContainer::setSavePartsForTesting(
            static_cast<int>(std::max<qint64>(
                1, (2 << 20) / std::max<qint64>(1, expected.size() / std::max(1, c.numRowsPhysical())))),
            static_cast<int>(helpers));
    // The limit and the save take turns, the limit first; medians of the runs.
    const int repeats = static_cast<int>(std::max<qint64>(1, optionInt(args, QStringLiteral("--repeat"), 3)));
    std::vector<double> saveSeconds, saveCpu, limitSeconds, limitCpu, ratios, cpuRatios;
    bool same = true;
    for (int run = 0; run < repeats; ++run) {
        double limit = 0;
        double cpu = 0;
        const bool limitOk = saveFileSeconds(expected, limitOutput.path(), limit, cpu);
        QFile::remove(limitOutput.path());
        const Timer timer;
        const bool ok = c.saveCSV(output.path(), false, false, {}, {});
        saveSeconds.push_back(timer.seconds());
        saveCpu.push_back(timer.processCpuSeconds());
        if (!ok || !limitOk) {
            std::fprintf(stderr, "save: saveCSV failed\n");
            return 1;
        }
        limitSeconds.push_back(limit);
        limitCpu.push_back(cpu);
        ratios.push_back(saveSeconds.back() / limit);
        cpuRatios.push_back(saveCpu.back() / std::max(cpu, 1e-9));
        same = same && readAll(output.path()) == expected;
        if (run + 1 < repeats || keepAs.isEmpty())
            QFile::remove(output.path());
    }
    if (!keepAs.isEmpty()) {
        QFile::remove(keepAs);
        QFile::rename(output.path(), keepAs);
    }
    const qint64 written = expected.size();
    const double seconds = median(saveSeconds);
    const double limit = median(limitSeconds);
    const std::string op = "save";
    printFigures({
        {op, "saveCSV throughput", megabytesPerSecond(written, seconds), "MB/s",
         megabytesPerSecond(written, limit), "the same bytes from memory through QSaveFile"},
        {op, "saveCSV time / limit time, each run", median(ratios), "x", 2, "goal (4 for UTF-16)"},
        {op, "saveCSV CPU time / limit CPU time, each run", median(cpuRatios), "x", 2, "goal (4 for UTF-16)"},
        {op, "saveCSV time", seconds, "s", 0, ""},
        {op, "limit time", limit, "s", 0, ""},
        {op, "saveCSV CPU time, all threads", median(saveCpu), "s", 0, ""},
        {op, "limit CPU time", median(limitCpu), "s", 0, ""},
        {op, "plain writer time", plainSeconds, "s", 0, ""},
        {op, "plain writer CPU time", plainCpu, "s", 0, ""},
        {op, "runs", double(repeats), "", 0, ""},
        {op, "bytes written", static_cast<double>(written) / 1e6, "MB", 0, ""},
        {op, "same bytes as the plain writer", same ? 1.0 : 0.0, "bool", 0, ""},
        {op, "same bytes as input", written == QFileInfo(path).size() ? 1.0 : 0.0, "bool", 0, ""},
    });
    return same ? 0 : 1;
}

int runRoundtripInProcess(const QStringList& paths) {
    const Timer timer;
    EditableDataContainer c;
    c.setFilepath(paths.at(0));
    const char delimiter = Utilities::getDelimiterFromAutoDetect(paths.at(0));
    c.setDelimiter(delimiter, delimiter);
    if (!c.loadCSV()) {
        std::fprintf(stderr, "roundtrip: cannot load %s\n", qPrintable(paths.at(0)));
        return 1;
    }
    const double loaded = timer.seconds();
    if (!c.saveCSV(paths.at(1), false, false, {}, {})) {
        std::fprintf(stderr, "roundtrip: cannot save %s\n", qPrintable(paths.at(1)));
        return 1;
    }
    const double total = timer.seconds();
    const qint64 size = QFileInfo(paths.at(0)).size();
    const std::string op = "roundtrip";
    printFigures({
        {op, "wall time (load + save)", total, "s", 0, ""},
        {op, "load part", loaded, "s", 0, ""},
        {op, "save part", total - loaded, "s", 0, ""},
        {op, "throughput", megabytesPerSecond(size, total), "MB/s", 0, ""},
    });
    return 0;
}

// Runs a program to its end; the wall time in seconds, or -1 when it failed or ran past five minutes.
double timeProcess(const QString& program, const QStringList& arguments) {
    QProcess process;
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process.setStandardOutputFile(QProcess::nullDevice());
    const Timer timer;
    process.start(program, arguments);
    if (!process.waitForFinished(300000) || process.exitStatus() != QProcess::NormalExit ||
        process.exitCode() != 0)
        return -1;
    return timer.seconds();
}

// Open and save of one file in a process of its own, against two other programs that read and
// write CSV from the command line, where they are installed; medians of R runs each.
int runRoundtripCompare(const QStringList& args) {
    DataGenOptions options = generatorOptions(args);
    if (optionInt(args, QStringLiteral("--size-mb"), 0) == 0 &&
        optionInt(args, QStringLiteral("--size-bytes"), 0) == 0)
        options.sizeBytes = 50LL << 20;
    ScratchFile scratch(QStringLiteral("roundtrip-in"));
    QString path;
    if (!prepareInput(args, options, scratch, path)) {
        std::fprintf(stderr, "roundtrip: cannot prepare the input file\n");
        return 1;
    }
    const int repeats = static_cast<int>(std::max<qint64>(1, optionInt(args, QStringLiteral("--repeat"), 3)));
    QTemporaryDir work(QFileInfo(path).absolutePath() + QStringLiteral("/orvane-roundtrip-XXXXXX"));
    if (!work.isValid())
        return 1;
    const QString ours = work.filePath(QStringLiteral("ours.csv"));
    const QString self = QCoreApplication::applicationFilePath();
    // Office suites keep a profile; one of their own, made by a first run on a tiny file.
    const QString profile =
        QStringLiteral("-env:UserInstallation=file://") + work.filePath(QStringLiteral("profile"));
    const QString office = QStandardPaths::findExecutable(QStringLiteral("soffice"));
    const QString visidata = QStandardPaths::findExecutable(QStringLiteral("vd"));
    // The other programs read a file named .csv and write one of the same name in another folder.
    const QString input = work.filePath(QStringLiteral("input.csv"));
    if (!QFile::link(path, input))
        return 1;
    if (!office.isEmpty()) {
        const QString tiny = work.filePath(QStringLiteral("tiny.csv"));
        writeAll(tiny, "a,b\n");
        timeProcess(office, {profile, QStringLiteral("--headless"), QStringLiteral("--convert-to"),
                             QStringLiteral("csv"), QStringLiteral("--outdir"),
                             work.filePath(QStringLiteral("warm")), tiny});
    }
    std::vector<double> oursSeconds, officeSeconds, visidataSeconds;
    for (int run = 0; run < repeats; ++run) {
        oursSeconds.push_back(timeProcess(self, {QStringLiteral("roundtrip"), input, ours}));
        if (!office.isEmpty())
            officeSeconds.push_back(
                timeProcess(office, {profile, QStringLiteral("--headless"), QStringLiteral("--convert-to"),
                                     QStringLiteral("csv"), QStringLiteral("--outdir"),
                                     work.filePath(QStringLiteral("office")), input}));
        if (!visidata.isEmpty())
            visidataSeconds.push_back(
                timeProcess(visidata, {QStringLiteral("-b"), QStringLiteral("-o"),
                                       work.filePath(QStringLiteral("vd.csv")), input}));
    }
    const double mine = median(oursSeconds);
    const bool same = readAll(ours) == readAll(path);
    if (*std::min_element(oursSeconds.begin(), oursSeconds.end()) < 0) {
        std::fprintf(stderr, "roundtrip: our run failed\n");
        return 1;
    }
    std::vector<Figure> figures = {
        {"roundtrip", "open + save, own process", mine, "s", 0, ""},
        {"roundtrip", "file size", static_cast<double>(QFileInfo(path).size()) / 1e6, "MB", 0, ""},
        {"roundtrip", "saved file the same bytes as the input", same ? 1.0 : 0.0, "bool", 0, ""},
        {"roundtrip", "runs", double(repeats), "", 0, ""},
    };
    auto compare = [&](const char* name, const std::vector<double>& seconds) {
        if (seconds.empty() || *std::min_element(seconds.begin(), seconds.end()) < 0) {
            figures.push_back({"roundtrip", std::string(name) + ": not installed or failed", 0, "", 0, ""});
            return;
        }
        const double theirs = median(seconds);
        figures.push_back({"roundtrip", std::string(name) + " csv -> csv", theirs, "s", 0, ""});
        figures.push_back({"roundtrip", std::string("times faster than ") + name,
                           theirs / std::max(mine, 1e-9), "x", 50, "goal"});
    };
    compare("office suite headless", officeSeconds);
    compare("visidata batch", visidataSeconds);
    printFigures(figures);
    return same ? 0 : 1;
}

int runRoundtrip(const QStringList& args) {
    const QStringList paths = positional(args, kValueOptions);
    if (paths.isEmpty())
        return runRoundtripCompare(args);
    if (paths.size() != 2) {
        std::fprintf(stderr, "usage: roundtrip IN OUT\n");
        return 2;
    }
    return runRoundtripInProcess(paths);
}

int runGenerate(const QStringList& args) {
    const QStringList paths = positional(args, kValueOptions);
    if (paths.size() != 1) {
        std::fprintf(stderr, "usage: generate [--size-mb N | --size-bytes N] [--seed S] OUT\n");
        return 2;
    }
    qint64 written = 0;
    if (!generateDelimitedFile(paths.at(0), generatorOptions(args), &written)) {
        std::fprintf(stderr, "generate: cannot write %s\n", qPrintable(paths.at(0)));
        return 1;
    }
    std::printf("%lld bytes written to %s\n", static_cast<long long>(written), qPrintable(paths.at(0)));
    return 0;
}

const char* const kCommon =
    "[--size-mb N | --size-bytes N] [--seed S] [--delimiter D] [--encoding E] [--file PATH]";

BenchRegistration loadReg("load",
                          std::string("load ") + kCommon +
                              " [--repeat R] [--read copy|map]: MB/s of EditableDataContainer::loadCSV "
                              "(medians of R runs, each after its memchr pass); the file's pieces copied out "
                              "or read in place through a mapping (default: mapped from 2 MiB on)",
                          &runLoad);
BenchRegistration saveReg(
    "save",
    std::string("save ") + kCommon +
        " [--repeat R] [--helpers N] [--save-standard N] [--keep-output PATH] [--keep-plain PATH] "
        "[--read-only]: "
        "EditableDataContainer::saveCSV "
        "against writing "
        "its bytes from memory through a QSaveFile (medians of R runs, default 3), checked "
        "byte for byte against the plain one-thread writer; with --read-only [--no-check] [--only N] the "
        "read-only "
        "container's save, whole, filtered, shuffled, with another delimiter, of a UTF-16 file and with all "
        "but "
        "every 1000th row filtered, each held "
        "to the cell-by-cell save",
    &runSave);
BenchRegistration
    roundtripReg("roundtrip",
                 "roundtrip IN OUT: load and save in one process, wall time; roundtrip [--size-mb N] "
                 "[--file PATH] [--repeat R]: that as a process of its own on N MiB (default 50) against "
                 "an office suite's headless csv -> csv and VisiData's batch mode, where installed",
                 &runRoundtrip);
BenchRegistration generateReg("generate",
                              "generate [--size-mb N | --size-bytes N] [--seed S] [--delimiter D] OUT",
                              &runGenerate);

} // namespace
