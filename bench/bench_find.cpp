// Find and replace: N rows x 10 columns in the editable and the read-only container. Find all of
// a plain word, a whole word, a case-folded word and a pattern, and replace all of a plain word
// with its undo command, each against the same run's limit: one pass that decodes every cell and
// calls QString::contains with a fixed string. Also find next from a cell with a match near, and
// the undo of the replace all.
#include "benchregistry.h"
#include "benchutil.h"
#include "datagen.h"

#include "storage/abstractdatacontainer.h"
#include "storage/readonlydatacontainer.h"
#include "table/rangevector.h"
#include "table/replacecommand.h"
#include "table/tabledata.h"
#include "table/tablemodel.h"

#include <QFile>
#include <QUndoStack>

#include <algorithm>
#include <cstdio>

using namespace BenchUtil;

namespace {

// Words, some of which hold "cat" inside or as a word, numbers and now and then a sentence.
bool writeTable(const QString& path, qint64 rows, quint64 seed) {
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    DataRandom random(seed);
    static const char* const words[] = {"cat",     "Cat",   "concat", "dog",   "bird", "catalog", "mouse",
                                        "the cat", "horse", "CAT!",   "zebra", "fox",  "lion",    "otter"};
    QByteArray chunk = "c0,c1,c2,c3,c4,c5,c6,c7,c8,c9\n";
    for (qint64 r = 0; r < rows; ++r) {
        for (int c = 0; c < 10; ++c) {
            if (c)
                chunk += ',';
            const quint32 kind = random.below(10);
            if (kind < 3) {
                chunk += QByteArray::number(random.below(1000000));
            } else if (kind < 9) {
                chunk += words[random.below(14)];
                chunk += QByteArray::number(random.below(100));
            } else if (random.below(8) != 0) {
                chunk += "\"a note, with the ";
                chunk += words[random.below(14)];
                chunk += " in it\"";
            }
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

// The limit: every cell decoded and searched with QString::contains for a fixed string, read
// the cheapest way the container offers.
qint64 limitPass(const TableData& data, const QString& word) {
    qint64 hits = 0;
    const int rows = data.numRawRows();
    const int cols = data.numRawCols();
    const AbstractDataContainer* container = data.getDataContainer();
    if (const auto* readOnly = qobject_cast<const ReadOnlyDataContainer*>(container)) {
        std::vector<ReadOnlyDataContainer::CellPosition> wanted;
        std::vector<std::vector<char>> values;
        for (int first = 0; first < rows; first += 2048) {
            wanted.clear();
            for (int r = first; r < std::min(rows, first + 2048); ++r) {
                for (int c = 0; c < cols; ++c)
                    wanted.push_back({r, c});
            }
            readOnly->getValues(wanted, values);
            for (const auto& bytes : values)
                hits += TableData::decodeCell(std::string_view(bytes.data(), bytes.size()), UTF_8, nullptr)
                            .contains(word);
        }
        return hits;
    }
    for (int r = 0; r < rows; ++r) {
        for (int c = 0; c < cols; ++c) {
            std::string_view view;
            container->getValueView(r, c, view);
            hits += TableData::decodeCell(view, UTF_8, nullptr).contains(word);
        }
    }
    return hits;
}

FindReplaceQuery makeQuery(const char* find, bool caseSensitive, bool wholeWord, bool regex) {
    FindReplaceQuery q;
    q.findStr = QString::fromLatin1(find);
    q.caseSensitive = caseSensitive;
    q.wholeWord = wholeWord;
    q.regex = regex;
    return q;
}

int runFind(const QStringList& args) {
    const qint64 rows = optionInt(args, QStringLiteral("--rows"), 1000000);
    const quint64 seed = static_cast<quint64>(optionInt(args, QStringLiteral("--seed"), 1));
    const int repeats = static_cast<int>(std::max<qint64>(1, optionInt(args, QStringLiteral("--repeat"), 3)));
    const QString only = option(args, QStringLiteral("--only"));
    ScratchFile scratch(QStringLiteral("find"));
    std::fprintf(stderr, "generating %lld rows x 10 columns in %s\n", static_cast<long long>(rows),
                 qPrintable(scratch.path()));
    if (!writeTable(scratch.path(), rows, seed)) {
        std::fprintf(stderr, "find: cannot write %s\n", qPrintable(scratch.path()));
        return 1;
    }
    struct Case {
        const char* name;
        FindReplaceQuery query;
    };
    const Case cases[] = {{"plain word", makeQuery("cat", true, false, false)},
                          {"whole word", makeQuery("cat", true, true, false)},
                          {"case-insensitive", makeQuery("CAT", false, false, false)},
                          {"regular expression", makeQuery("c[aeiou]t\\d", true, false, true)}};
    const char* limitName = "decode every cell + QString::contains";
    std::vector<Figure> figures;
    for (const auto type : {TableData::Editable, TableData::ReadOnly}) {
        const bool readOnly = type == TableData::ReadOnly;
        if (!only.isEmpty() && only != (readOnly ? QStringLiteral("read-only") : QStringLiteral("editable")))
            continue;
        const std::string op = readOnly ? "find-ro" : "find";
        TableModel model(true);
        model.loadCSV(scratch.path(), false, type, QStringLiteral(","), QStringLiteral(","), UTF_8, RFC_4180);
        TableData& data = model.getTableData();
        std::printf("%s: %d rows x %d columns loaded\n", op.c_str(), data.numRawRows(), data.numRawCols());

        for (const Case& c : cases) {
            // The limit and the search take turns, so that a slow spell falls on both; medians.
            // The search is the Find All command's: the list with user rows and columns, on
            // this thread (the command runs it on the worker, the same work).
            std::vector<double> limits, finds, ratios, cpuRatios;
            std::size_t found = 0;
            std::vector<FindResult> results;
            for (int run = 0; run < repeats; ++run) {
                const Timer limitTimer;
                const qint64 hits = limitPass(data, QStringLiteral("cat"));
                limits.push_back(limitTimer.seconds());
                const double limitCpu = limitTimer.cpuSeconds();
                const Timer timer;
                model.findAllResults(c.query, results, false);
                found = results.size();
                finds.push_back(timer.seconds());
                ratios.push_back(finds.back() / std::max(limits.back(), 1e-9));
                cpuRatios.push_back(timer.cpuSeconds() / std::max(limitCpu, 1e-9));
                results = std::vector<FindResult>();
                if (hits < 0)
                    return 1;
            }
            const std::string what = std::string("find all, ") + c.name;
            figures.push_back({op, what, median(finds), "s", median(limits), limitName});
            figures.push_back({op, what + ": / limit, each run", median(ratios), "x", 2, "goal"});
            figures.push_back({op, what + ": CPU time / limit's", median(cpuRatios), "x", 2, "goal"});
            figures.push_back({op, what + ": matches", static_cast<double>(found), "cells", 0, ""});
        }

        // Find next from cells spread over the table, the match a few cells on, in turns with
        // matches far off (a word that is rare): the near ones must stay within a frame.
        std::vector<double> nexts, nextCpus;
        DataRandom random(seed + 7);
        for (int i = 0; i < 200; ++i) {
            const int row = static_cast<int>(random.below(static_cast<quint32>(data.numRawRows())));
            const Timer timer;
            const Range next = data.findNextMatch(cases[0].query, Range(row, 0, RangeIndexType::Raw), false);
            nexts.push_back(timer.seconds() * 1000);
            nextCpus.push_back(timer.cpuSeconds() * 1000);
            if (!next.isValid())
                return 1;
        }
        figures.push_back(
            {op, "find next, match near: median of 200", median(nexts), "ms", 16.7, "one frame"});
        figures.push_back({op, "find next, match near: slowest of 200",
                           *std::max_element(nexts.begin(), nexts.end()), "ms", 16.7, "one frame"});
        // The thread clock of a shared virtual machine ticks too coarsely for one short call: the
        // CPU time is given as the mean over all of them.
        double cpuTotal = 0;
        for (const double cpu : nextCpus)
            cpuTotal += cpu;
        figures.push_back({op, "find next, match near: mean CPU time of 200",
                           cpuTotal / static_cast<double>(nextCpus.size()), "ms", 16.7, "one frame"});

        if (readOnly)
            continue;
        // Replace all of a plain word with its undo command, then its undo.
        FindReplaceQuery replaceQuery = cases[0].query;
        replaceQuery.replaceStr = QStringLiteral("dog");
        const Timer limitTimer;
        limitPass(data, QStringLiteral("cat"));
        const double limit = limitTimer.seconds();
        QUndoStack stack;
        resetPeakRss();
        const qint64 before = currentRssBytes();
        const Timer timer;
        std::vector<FoundCell> cells;
        model.findAllCells(replaceQuery, cells, true, false);
        const double computed = timer.seconds();
        const std::size_t replaced = cells.size();
        stack.push(new ReplaceCommand(&model, std::move(cells), false));
        const double whole = timer.seconds();
        const qint64 extra = peakRssBytes() - before;
        figures.push_back({op, "replace all, plain word, with undo command", whole, "s", limit, limitName});
        figures.push_back({op, "replace all: / limit", whole / std::max(limit, 1e-9), "x", 4, "goal"});
        figures.push_back({op, "replace all: replacements computed", computed, "s", limit, limitName});
        figures.push_back({op, "replace all: cells", static_cast<double>(replaced), "cells", 0, ""});
        figures.push_back(
            {op, "replace all: extra peak RSS", static_cast<double>(extra) / 1048576.0, "MiB", 0, ""});
        const Timer undoTimer;
        stack.undo();
        figures.push_back({op, "undo of the replace all", undoTimer.seconds(), "s", 1, "1 s goal"});
        figures.push_back(
            {op, "undo of the replace all: CPU time", undoTimer.cpuSeconds(), "s", 1, "1 s goal"});
        const Timer redoTimer;
        stack.redo();
        figures.push_back({op, "redo of the replace all", redoTimer.seconds(), "s", 1, "1 s goal"});
        figures.push_back(
            {op, "redo of the replace all: CPU time", redoTimer.cpuSeconds(), "s", 1, "1 s goal"});
        stack.undo();
        if (data.findAll(replaceQuery).size() == 0)
            return 1; // the undo must bring the words back
    }
    printFigures(figures);
    return 0;
}

BenchRegistration
    reg("find",
        "find [--rows N] [--seed S] [--repeat R] [--only editable|read-only]: find all of a plain "
        "word, a whole word, a case-insensitive word and a regular expression in both containers, "
        "and replace all with its undo, against a decode-and-contains pass over every cell; find "
        "next near a match; the undo of the replace all",
        &runFind);

} // namespace
