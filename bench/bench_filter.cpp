// Filtering: a table of N rows x 10 columns filtered on one column by a text equality, a
// wildcard, a numeric range, an "a|b&!c" combination, a regular expression and the texts of a
// third of the column's cells (as filtering with selected cell contents makes it), in the editable
// and the read-only container. Each against the same run's limit: one pass that decodes the
// same column's cells and compares each with a fixed string. Also the time to put a computed
// filter in place and to take it away again, which is what undo and redo cost.
#include "benchregistry.h"
#include "benchutil.h"
#include "datagen.h"

#include "table/filterdata.h"
#include "table/tablemodel.h"
#include "util/filterutilities.h"

#include <QFile>
#include <QStringList>

#include <algorithm>
#include <cstdio>
#include <utility>

using namespace BenchUtil;

namespace {

struct FilterCase {
    const char* name;
    const char* text;
    int col;
};
constexpr FilterCase kCases[] = {
    {"text equality", "kiwi", 0},
    {"wildcard", "b*e", 0},
    {"numeric range", "1000-250000", 1},
    {"a|b&!c combination", "a*|b*&!*c", 0},
    {"regular expression", "#^[a-c].*[aeiou]$", 0},
    // Nothing here for the prefilter to use: every cell goes to the pattern engine.
    {"regular expression, no shortcut", "#(an|er)e?$", 0},
};

bool writeTable(const QString& path, qint64 rows, quint64 seed) {
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    DataRandom random(seed);
    QByteArray chunk = "name,amount,c2,c3,c4,c5,c6,c7,c8,c9\n";
    static const char* const words[] = {"kiwi", "apple", "banana", "cherry", "bee", "bridge", "abc", "cone"};
    for (qint64 r = 0; r < rows; ++r) {
        // Words, a known few among random ones, so every filter keeps some rows and drops others.
        if (random.below(3) == 0) {
            chunk += words[random.below(8)];
        } else {
            const quint32 length = 3 + random.below(8);
            for (quint32 i = 0; i < length; ++i)
                chunk += static_cast<char>('a' + random.below(26));
        }
        chunk += ',';
        if (random.below(20) != 0) {
            chunk += QByteArray::number(random.below(1000000));
            if (random.below(2))
                chunk += '.' + QByteArray::number(random.below(90) + 10);
        }
        for (int c = 2; c < 10; ++c) {
            chunk += ',';
            chunk += QByteArray::number(random.below(100000));
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

// The limit: decode every cell of the column and compare it with a fixed string.
// Wall and thread CPU seconds.
std::pair<double, double> decodeAndCompare(const TableData& data, int col, int& equal) {
    const QString fixed = QStringLiteral("kiwi");
    equal = 0;
    const Timer timer;
    for (int r = 1; r < data.numRawRows(); ++r) {
        if (data.getValueRaw(r, col).toString() == fixed)
            ++equal;
    }
    return {timer.seconds(), timer.cpuSeconds()};
}

int runFilter(const QStringList& args) {
    const qint64 rows = optionInt(args, QStringLiteral("--rows"), 1000000);
    const quint64 seed = static_cast<quint64>(optionInt(args, QStringLiteral("--seed"), 1));
    const int repeats = static_cast<int>(std::max<qint64>(1, optionInt(args, QStringLiteral("--repeat"), 3)));
    const QString only = option(args, QStringLiteral("--only"));
    ScratchFile scratch(QStringLiteral("filter"));
    std::fprintf(stderr, "generating %lld rows x 10 columns in %s\n", static_cast<long long>(rows),
                 qPrintable(scratch.path()));
    if (!writeTable(scratch.path(), rows, seed)) {
        std::fprintf(stderr, "filter: cannot write %s\n", qPrintable(scratch.path()));
        return 1;
    }
    std::vector<Figure> figures;
    for (const auto type : {TableData::Editable, TableData::ReadOnly}) {
        const bool readOnly = type == TableData::ReadOnly;
        if (!only.isEmpty() && only != (readOnly ? QStringLiteral("read-only") : QStringLiteral("editable")))
            continue;
        const std::string op = readOnly ? "filter-ro" : "filter";
        TableModel model(false);
        model.loadCSV(scratch.path(), false, type, QStringLiteral(","), QStringLiteral(","), UTF_8, RFC_4180);
        std::printf("%s: %d rows x %d columns loaded\n", op.c_str(), model.rowCountRaw(),
                    model.columnCountRaw());
        // As "Filter Selected Column(s) with Selected Cell Contents" makes it of a third of the
        // column: every third row's text, escaped, as one alternative each.
        QStringList alternatives;
        for (int r = 1; r < model.rowCountRaw(); r += 3)
            alternatives << Utilities::applyEscapeCharsToFilterStr(
                model.getTableData().getValueRaw(r, 0).toString());
        const QString cellTexts = alternatives.join(u'|');
        const QByteArray cellTextsName =
            QByteArray::number(alternatives.size()) + " cell texts, case-sensitive";
        std::vector<FilterCase> cases(std::begin(kCases), std::end(kCases));
        cases.push_back({cellTextsName.constData(), nullptr, 0});
        for (const FilterCase& c : cases) {
            FilterData filter;
            filter.range = Range(c.col, RangeType::Col, RangeIndexType::Raw);
            filter.filterStr = c.text ? QString::fromLatin1(c.text) : cellTexts;
            filter.caseSensitive = !c.text;
            filter.convertFilterStrToRegexList();
            std::vector<double> limits, filters, ratios, cpuRatios, applies, removes;
            std::size_t concealed = 0;
            // Limit and filter take turns, so a slow spell of the shared machine falls on both.
            for (int run = 0; run < repeats; ++run) {
                int equal = 0;
                const auto [limit, limitCpu] = decodeAndCompare(model.getTableData(), c.col, equal);
                limits.push_back(limit);
                TableModel::ConcealmentState state;
                state.filters = {filter};
                const Timer timer;
                if (!model.computeConcealment(state, false)) {
                    std::fprintf(stderr, "filter: computeConcealment failed\n");
                    return 1;
                }
                filters.push_back(timer.seconds());
                ratios.push_back(filters.back() / std::max(limits.back(), 1e-9));
                cpuRatios.push_back(timer.cpuSeconds() / std::max(limitCpu, 1e-9));
                concealed = state.concealedRows.size();
                const Timer applyTimer;
                model.setConcealmentState(state);
                applies.push_back(applyTimer.seconds());
                const Timer removeTimer;
                model.setConcealmentState(TableModel::ConcealmentState());
                removes.push_back(removeTimer.seconds());
                if (equal < 0)
                    return 1;
            }
            const std::string what =
                c.text ? std::string(c.name) + " \"" + c.text + "\"" : std::string(c.name);
            const double limit = median(limits);
            const char* limitName = "decode the column, compare with a fixed string";
            figures.push_back({op, what + ": filter", median(filters), "s", limit, limitName});
            figures.push_back({op, what + ": filter / limit, each run", median(ratios), "x", 3, "goal"});
            figures.push_back(
                {op, what + ": CPU time filter / limit, each run", median(cpuRatios), "x", 3, "goal"});
            figures.push_back({op, what + ": rows concealed", static_cast<double>(concealed), "rows", 0, ""});
            figures.push_back({op, what + ": put in place", median(applies), "s", 0, ""});
            figures.push_back({op, what + ": taken away", median(removes), "s", 0, ""});
        }
    }
    printFigures(figures);
    return 0;
}

BenchRegistration
    reg("filter",
        "filter [--rows N] [--seed S] [--repeat R] [--only editable|read-only]: text, wildcard, "
        "numeric range, combination, regular expression and many-cell-texts filters on one column "
        "against one pass that decodes the column and compares each cell with a fixed string",
        &runFilter);

} // namespace
