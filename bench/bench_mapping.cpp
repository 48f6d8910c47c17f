// orvane-bench mapping: cost of the model <-> raw row mapping against the number of concealed
// rows. The limit beside each figure is a read of a per-row table of the visible rows, with the
// same random indexes: what the mapping would cost if it kept such a table, which it must not.

#include "benchregistry.h"
#include "benchutil.h"

#include "table/tabledata.h"

#include <QStringList>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

namespace {

volatile long long keepAlive = 0; // the results of the timed loops end here

struct Options {
    int rows = 2000000;
    int queries = 2000000;
    int repeats = 3;
    unsigned seed = 20261122;
};

bool parseOptions(const QStringList& args, Options& options) {
    return BenchUtil::parseIntOptions(args, 1, 100000000, [&options](const QString& name, long long value) {
        if (name == QLatin1String("--rows"))
            options.rows = static_cast<int>(value);
        else if (name == QLatin1String("--queries"))
            options.queries = static_cast<int>(value);
        else if (name == QLatin1String("--repeats"))
            options.repeats = static_cast<int>(value);
        else if (name == QLatin1String("--seed"))
            options.seed = static_cast<unsigned>(value);
        else
            return false;
        return true;
    });
}

// Best of `repeats` runs of `body` over `count` operations, in ns per operation. The sum of
// the results goes into `sink` so the compiler can't drop the work.
template <class Body> double timePerOp(int repeats, int count, long long& sink, Body&& body) {
    double best = 1e300;
    for (int r = 0; r < repeats; ++r) {
        const auto start = std::chrono::steady_clock::now();
        long long sum = 0;
        for (int i = 0; i < count; ++i)
            sum += body(i);
        const auto end = std::chrono::steady_clock::now();
        sink += sum;
        best = std::min(best, std::chrono::duration<double, std::nano>(end - start).count() / count);
    }
    return best;
}

struct Figure {
    std::string op;
    int concealed = 0;
    double ns = 0;
    double limitNs = 0;
};

int runMapping(const QStringList& args) {
    Options options;
    if (!parseOptions(args, options)) {
        std::fprintf(stderr,
                     "usage: orvane-bench mapping [--rows N] [--queries N] [--repeats N] [--seed N]\n");
        return 2;
    }
    const int rows = options.rows;
    std::vector<int> counts;
    for (const int c : {0, 1000, 100000, 1000000}) {
        if (c < rows)
            counts.push_back(c);
    }

    TableData table;
    if (!table.setValueRaw(rows - 1, 0, QStringLiteral("x"))) {
        std::fprintf(stderr, "orvane-bench mapping: could not size the table\n");
        return 1;
    }

    std::mt19937 rng(options.seed);
    // One random order of all rows; the first c of it are concealed for count c, so every
    // larger set contains the smaller ones.
    std::vector<int> order(static_cast<size_t>(rows));
    for (int i = 0; i < rows; ++i)
        order[static_cast<size_t>(i)] = i;
    std::shuffle(order.begin(), order.end(), rng);

    std::vector<Figure> figures;
    long long sink = 0;
    std::printf("mapping on %d raw rows, %d random queries, best of %d\n\n", rows, options.queries,
                options.repeats);
    std::printf("%-20s %10s %10s %12s %8s %12s %12s\n", "operation", "concealed", "ns/op", "limit ns/op",
                "ratio", "ns/log2(n)", "list bytes");
    for (const int count : counts) {
        std::vector<int> concealed(order.begin(), order.begin() + count);
        table.showAllRows();
        table.concealRawRows(concealed);
        std::sort(concealed.begin(), concealed.end());
        const int numModel = table.numModelRows();

        // The per-row tables a naive mapping would keep, used only as the limit.
        std::vector<int> visible;
        visible.reserve(static_cast<size_t>(numModel));
        std::vector<int> modelOfRaw(static_cast<size_t>(rows), -1);
        {
            auto next = concealed.begin();
            for (int r = 0; r < rows; ++r) {
                if (next != concealed.end() && *next == r) {
                    ++next;
                    continue;
                }
                modelOfRaw[static_cast<size_t>(r)] = static_cast<int>(visible.size());
                visible.push_back(r);
            }
        }

        std::vector<int> modelQueries(static_cast<size_t>(options.queries));
        std::vector<int> rawQueries(static_cast<size_t>(options.queries));
        std::uniform_int_distribution<int> modelPick(0, numModel - 1);
        std::uniform_int_distribution<int> rawPick(0, rows - 1);
        for (int i = 0; i < options.queries; ++i) {
            modelQueries[static_cast<size_t>(i)] = modelPick(rng);
            rawQueries[static_cast<size_t>(i)] = rawPick(rng);
        }

        Figure toRaw{"getRawFromModelRow", count, 0, 0};
        toRaw.ns = timePerOp(options.repeats, options.queries, sink, [&](int i) {
            return table.getRawFromModelRow(modelQueries[static_cast<size_t>(i)]);
        });
        toRaw.limitNs = timePerOp(options.repeats, options.queries, sink, [&](int i) {
            return visible[static_cast<size_t>(modelQueries[static_cast<size_t>(i)])];
        });
        Figure toModel{"getModelFromRawRow", count, 0, 0};
        toModel.ns = timePerOp(options.repeats, options.queries, sink, [&](int i) {
            return table.getModelFromRawRow(rawQueries[static_cast<size_t>(i)]);
        });
        toModel.limitNs = timePerOp(options.repeats, options.queries, sink, [&](int i) {
            return modelOfRaw[static_cast<size_t>(rawQueries[static_cast<size_t>(i)])];
        });
        for (const Figure& f : {toRaw, toModel}) {
            // Cost per halving step of the search; flat if the growth is logarithmic.
            const double perStep = f.concealed > 1 ? f.ns / std::log2(f.concealed) : 0.0;
            std::printf("%-20s %10d %10.1f %12.1f %8.2f %12.2f %12zu\n", f.op.c_str(), f.concealed, f.ns,
                        f.limitNs, f.ns / f.limitNs, perStep, concealed.size() * sizeof(int));
            figures.push_back(f);
        }
    }

    // Growth: from the smallest to the largest non-empty set, against log2 and linear growth.
    std::printf("\n%-20s %14s %14s %14s\n", "growth", "measured", "if log2(n)", "if n");
    for (const char* op : {"getRawFromModelRow", "getModelFromRawRow"}) {
        const Figure* small = nullptr;
        const Figure* large = nullptr;
        for (const Figure& f : figures) {
            if (f.op != op || f.concealed == 0)
                continue;
            if (!small || f.concealed < small->concealed)
                small = &f;
            if (!large || f.concealed > large->concealed)
                large = &f;
        }
        if (small && large && small != large) {
            std::printf("%-20s %14.2f %14.2f %14.0f\n", op, large->ns / small->ns,
                        std::log2(large->concealed) / std::log2(small->concealed),
                        static_cast<double>(large->concealed) / small->concealed);
        }
    }
    const long rss = static_cast<long>(BenchUtil::peakRssBytes() / 1024);
    std::printf("\npeak RSS %ld KiB (the per-row limit tables and the query lists included)\n\n", rss);

    for (const Figure& f : figures) {
        std::printf("{\"bench\":\"mapping\",\"op\":\"%s\",\"rows\":%d,\"concealed\":%d,\"queries\":%d,"
                    "\"ns_per_op\":%.2f,\"limit_ns_per_op\":%.2f,\"ratio\":%.3f,\"concealed_list_bytes\":%zu,"
                    "\"peak_rss_kib\":%ld}\n",
                    f.op.c_str(), rows, f.concealed, options.queries, f.ns, f.limitNs, f.ns / f.limitNs,
                    static_cast<size_t>(f.concealed) * sizeof(int), rss);
    }
    keepAlive = sink;
    return 0;
}

static BenchRegistration
    reg("mapping",
        "mapping [--rows N] [--queries N] [--repeats N] [--seed N]: ns per model<->raw row "
        "mapping with 0, 10^3, 10^5, 10^6 concealed rows",
        &runMapping);

} // namespace
