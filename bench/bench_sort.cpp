// Sorting: a table of N rows x 10 columns sorted by a text, a natural ("file12") and a number
// column, in the editable and the read-only container. Each sort against the same run's limit:
// std::stable_sort of the same keys, already decoded, as plain strings. For the read-only
// container also the read of the key column against a memchr pass over the file, and the time
// from a cancel to the end of the sort.
#include "benchregistry.h"
#include "benchutil.h"
#include "datagen.h"

#include "storage/readonlydatacontainer.h"
#include "table/sortdata.h"
#include "table/sorter.h"
#include "table/tabledata.h"
#include "table/worker.h"

#include <QFile>
#include <QMutex>
#include <QThread>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <numeric>

#include <malloc.h>

using namespace BenchUtil;

namespace {

struct KeyColumn {
    const char* name;
    int col;
};
constexpr KeyColumn kKeyColumns[] = {{"text", 0}, {"natural", 1}, {"number", 2}};

void appendWord(QByteArray& out, DataRandom& random) {
    const quint32 length = 3 + random.below(8);
    for (quint32 i = 0; i < length; ++i) {
        const char c = static_cast<char>('a' + random.below(26));
        out += i == 0 && random.below(4) == 0 ? static_cast<char>(c - 'a' + 'A') : c;
    }
}

bool writeTable(const QString& path, qint64 rows, quint64 seed) {
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    DataRandom random(seed);
    QByteArray chunk;
    chunk += "name,file,amount,c3,c4,c5,c6,c7,c8,c9\n";
    static const char* const stems[] = {"file", "img", "IMG_", "report-", "track"};
    for (qint64 r = 0; r < rows; ++r) {
        appendWord(chunk, random);
        chunk += ',';
        chunk += stems[random.below(5)];
        chunk += QByteArray::number(random.below(100000) + 1);
        chunk += random.below(2) ? ".txt," : ".png,";
        // Amounts: integers and decimals, some negative, now and then empty.
        if (random.below(20) != 0) {
            if (random.below(5) == 0)
                chunk += '-';
            chunk += QByteArray::number(random.below(1000000) + 1);
            if (random.below(2))
                chunk += '.' + QByteArray::number(random.below(90) + 10);
        }
        for (int c = 3; c < 10; ++c) {
            chunk += ',';
            if (c % 2)
                chunk += QByteArray::number(random.below(1000));
            else
                appendWord(chunk, random);
        }
        chunk += '\n';
        if (chunk.size() > (1 << 22)) {
            file.write(chunk);
            chunk.clear();
        }
    }
    file.write(chunk);
    return true;
}

// The key column decoded as plain strings, outside any timing.
std::vector<QString> decodedColumn(const TableData& data, int col) {
    std::vector<QString> keys(static_cast<std::size_t>(data.numRawRows()));
    for (int r = 0; r < data.numRawRows(); ++r)
        keys[static_cast<std::size_t>(r)] = data.getValueRaw(r, col).toString();
    return keys;
}

// Time from a cancel `delayMs` after the start to the return of a sort on another thread, in
// seconds; -1 if the sort ended first.
double cancelLatency(const TableData& data, int col, unsigned long delayMs) {
    auto flag = std::make_shared<bool>(false);
    auto mutex = std::make_shared<QMutex>();
    Worker worker(flag, mutex);
    worker.initiateProgressUpdate();
    std::atomic<bool> finished = false;
    std::vector<int> out;
    QThread* thread = QThread::create([&] {
        data.getSortIndexes(out, col, Axis::Row, SortType::Ascending, 1, &worker);
        finished = true;
    });
    thread->start();
    QThread::msleep(delayMs);
    const Timer timer;
    {
        QMutexLocker locker(mutex.get());
        *flag = true;
    }
    thread->wait();
    const double seconds = timer.seconds();
    delete thread;
    return out.empty() ? seconds : -1;
}

int runSort(const QStringList& args) {
    const qint64 rows = optionInt(args, QStringLiteral("--rows"), 1000000);
    const quint64 seed = static_cast<quint64>(optionInt(args, QStringLiteral("--seed"), 1));
    const int repeats = static_cast<int>(std::max<qint64>(1, optionInt(args, QStringLiteral("--repeat"), 3)));
    ScratchFile scratch(QStringLiteral("sort"));
    std::fprintf(stderr, "generating %lld rows x 10 columns in %s\n", static_cast<long long>(rows),
                 qPrintable(scratch.path()));
    if (!writeTable(scratch.path(), rows, seed)) {
        std::fprintf(stderr, "sort: cannot write %s\n", qPrintable(scratch.path()));
        return 1;
    }
    std::vector<Figure> figures;
    MemchrPass limitPass = memchrNewlineCount(scratch.path());
    const MemchrPass second = memchrNewlineCount(scratch.path());
    if (second.seconds < limitPass.seconds)
        limitPass = second;

    const QString only = option(args, QStringLiteral("--only"));
    const QString onlyKey = option(args, QStringLiteral("--key"));
    const bool memoryOnly = args.contains(QStringLiteral("--memory-only"));
    for (const auto type : {TableData::Editable, TableData::ReadOnly}) {
        const bool readOnly = type == TableData::ReadOnly;
        if (!only.isEmpty() && only != (readOnly ? QStringLiteral("read-only") : QStringLiteral("editable")))
            continue;
        const std::string op = readOnly ? "sort-ro" : "sort";
        TableData data;
        data.loadCSV(scratch.path(), false, type, QStringLiteral(","), QStringLiteral(","), UTF_8, RFC_4180);
        std::printf("%s: %d rows x %d columns loaded\n", op.c_str(), data.numRawRows(), data.numRawCols());

        qint64 largestExtra = 0;
        // Peak memory of a read-only sort, measured before anything else of the run has taken
        // memory, each sort from the file's own order; freed memory goes back first, so that
        // the peak is this sort's.
        const auto* roContainer = qobject_cast<const ReadOnlyDataContainer*>(data.getDataContainer());
        const double indexBytes =
            roContainer
                ? static_cast<double>(roContainer->getStrips().size() * sizeof(ReadOnlyDataContainer::Strip))
                : 0;
        for (const KeyColumn& key : kKeyColumns) {
            if (!readOnly || (!onlyKey.isEmpty() && onlyKey != QLatin1String(key.name)))
                continue;
            ::malloc_trim(0);
            resetPeakRss();
            const qint64 before = currentRssBytes();
            const Timer timer;
            std::vector<int> map;
            if (!data.getSortIndexes(map, key.col, Axis::Row, SortType::Ascending, 1) || !data.sortRows(map))
                return 1;
            const double seconds = timer.seconds();
            const qint64 extra = peakRssBytes() - before;
            data.unsortRows(map);
            const std::string what = std::string("by ") + key.name;
            figures.push_back({op, what + ": first sort", seconds, "s", 0, ""});
            figures.push_back({op, what + ": first sort, extra peak RSS",
                               static_cast<double>(extra) / 1048576.0, "MiB", 0, ""});
            figures.push_back({op, what + ": first sort, extra peak RSS / index",
                               static_cast<double>(extra) / indexBytes, "x", 3, "goal"});
        }
        for (const KeyColumn& key : kKeyColumns) {
            if (memoryOnly || (!onlyKey.isEmpty() && onlyKey != QLatin1String(key.name)))
                continue;
            const std::string what = std::string("by ") + key.name;
            // The limit and the sort take turns, from the same starting order each time, so
            // that a slow spell of the shared machine falls on both; medians are reported.
            std::vector<double> limits, wholes, computed, comparisons, moves, ratios;
            qint64 extra = 0;
            for (int run = 0; run < repeats; ++run) {
                // The limit: the same keys, decoded before the clock starts, in plain string order.
                std::vector<QString> plain = decodedColumn(data, key.col);
                // The comparisons alone, over keys analysed beforehand.
                SortKeys keys;
                for (const QString& k : plain)
                    keys.add(k);
                std::vector<int> order(keys.size() - 1);
                std::iota(order.begin(), order.end(), 1);
                const Timer mergeTimer;
                Sorter::stableMergeSort(order, keys, false);
                comparisons.push_back(mergeTimer.seconds());
                keys.clear();
                const Timer limitTimer;
                std::stable_sort(plain.begin() + 1, plain.end());
                limits.push_back(limitTimer.seconds());
                plain = {};

                resetPeakRss();
                const qint64 before = currentRssBytes();
                const Timer timer;
                std::vector<int> map;
                if (!data.getSortIndexes(map, key.col, Axis::Row, SortType::Ascending, 1)) {
                    std::fprintf(stderr, "sort: getSortIndexes failed\n");
                    return 1;
                }
                computed.push_back(timer.seconds());
                data.sortRows(map);
                wholes.push_back(timer.seconds());
                moves.push_back(wholes.back() - computed.back());
                ratios.push_back(wholes.back() / std::max(limits.back(), 1e-9));
                extra = std::max(extra, peakRssBytes() - before);
                if (run + 1 < repeats)
                    data.unsortRows(map);
            }
            const double limit = median(limits);
            const char* limitName = "std::stable_sort, plain decoded strings";
            figures.push_back({op, what + ": whole sort", median(wholes), "s", limit, limitName});
            figures.push_back({op, what + ": whole / limit, each run", median(ratios), "x", 3, "goal"});
            figures.push_back({op, what + ": order computed", median(computed), "s", limit, limitName});
            figures.push_back({op, what + ": comparisons only", median(comparisons), "s", limit, limitName});
            figures.push_back({op, what + ": rows moved", median(moves), "s", 0, ""});
            figures.push_back(
                {op, what + ": extra peak RSS", static_cast<double>(extra) / 1048576.0, "MiB", 0, ""});
            largestExtra = std::max(largestExtra, extra);
        }

        if (readOnly) {
            const auto* container = qobject_cast<const ReadOnlyDataContainer*>(data.getDataContainer());
            // The column of the first sort, alone: one pass over the file, each cell handed on.
            std::vector<double> reads;
            qint64 bytes = 0;
            for (int run = 0; run < std::max(3, repeats); ++run) {
                const Timer readTimer;
                container->readColumn(container->fileColOf(0), [&bytes](std::string_view cell) {
                    bytes += static_cast<qint64>(cell.size());
                    return true;
                });
                reads.push_back(readTimer.seconds());
            }
            const double readSeconds = median(reads);
            if (bytes < 0)
                return 1;
            figures.push_back({op, "key column read", readSeconds, "s", limitPass.seconds,
                               "memchr newline count, same file"});
            figures.push_back({op, "key column read / memchr pass",
                               readSeconds / std::max(limitPass.seconds, 1e-9), "x", 3, "goal"});
            figures.push_back({op, "index", indexBytes / 1048576.0, "MiB", 0, ""});
            figures.push_back({op, "largest extra peak RSS / index",
                               static_cast<double>(largestExtra) / indexBytes, "x", 3, "goal"});
            figures.push_back({op, "order list",
                               static_cast<double>(container->getRowOrder().size() * sizeof(int)) / 1048576.0,
                               "MiB", 0, ""});
        }
        // Cancels in the reading of the keys and in the comparisons; the slowest counts.
        double latency = -1;
        for (const unsigned long delay : {50UL, 150UL, 400UL, 800UL, 1200UL})
            latency = std::max(latency, cancelLatency(data, 1, delay));
        figures.push_back(
            {op, "cancel seen after, slowest of 5", latency * 1000.0, "ms", 150, "150 ms goal"});
    }
    figures.push_back({"sort", "memchr pass", limitPass.seconds, "s", 0, ""});
    printFigures(figures);
    return 0;
}

BenchRegistration reg("sort",
                      "sort [--rows N] [--seed S] [--repeat R] [--only editable|read-only] [--key "
                      "text|natural|number] [--memory-only]: "
                      "sorts by a text, "
                      "a natural and a number column in both "
                      "containers against std::stable_sort of the decoded keys; read-only key column read "
                      "against the memchr pass; cancel latency",
                      &runSort);

} // namespace
