// orvane-bench lines: the commands that add, remove, copy or move whole rows and columns of a
// large table, each pushed as one undo command and undone, the way the window runs them. The
// limit of the times is a plain pass over the same cells through TableData (read every cell):
// a column change rewrites every row, and no rewrite can do less than look at each cell once.

#include "benchregistry.h"
#include "benchutil.h"

#include "table/movecommands.h"
#include "table/rowcolcommands.h"
#include "table/tablemodel.h"
#include "table/transposetablecommand.h"

#include <QUndoStack>

#include <cstdio>
#include <functional>

namespace {

using BenchUtil::Figure;

int runLines(const QStringList& args) {
    const int rows = static_cast<int>(
        std::clamp<qint64>(BenchUtil::optionInt(args, QStringLiteral("--rows"), 200000), 1, 10000000));
    const int cols = static_cast<int>(
        std::clamp<qint64>(BenchUtil::optionInt(args, QStringLiteral("--cols"), 10), 2, 1000));
    const unsigned seed =
        static_cast<unsigned>(BenchUtil::optionInt(args, QStringLiteral("--seed"), 20261125));

    BenchUtil::ScratchFile scratch(QStringLiteral("lines"));
    if (!BenchUtil::writeMixedTable(scratch.path(), rows, cols, seed)) {
        std::fprintf(stderr, "lines: cannot write %s\n", qPrintable(scratch.path()));
        return 1;
    }
    TableModel model(false);
    model.loadCSV(scratch.path(), false, TableData::Editable, QStringLiteral(","), QStringLiteral(","), UTF_8,
                  RFC_4180);
    TableData& data = model.getTableData();
    if (data.numModelRows() != rows) {
        std::fprintf(stderr, "lines: the table did not load\n");
        return 1;
    }

    double limitSeconds = 0;
    {
        BenchUtil::Timer timer;
        qint64 sink = 0;
        for (int r = 0; r < rows; ++r)
            for (int c = 0; c < cols; ++c)
                sink += data.getValueRaw(r, c).toString().size();
        limitSeconds = timer.seconds();
        if (sink < 0)
            std::printf("%lld\n", static_cast<long long>(sink));
    }
    const std::string limitName = "read each cell via TableData";

    std::vector<Figure> figures;
    figures.push_back({"lines", "cells", double(qint64(rows) * cols), "cells", 0, ""});
    QUndoStack stack;
    const int midRow = rows / 2;
    const int midCol = cols / 2;
    const std::vector<std::pair<std::string, std::function<QUndoCommand*()>>> cases = {
        {"duplicate column", [&] { return new DuplicateColsCommand(&model, {midCol}); }},
        {"insert column", [&] { return new InsertColsCommand(&model, {midCol}, 1, false); }},
        {"remove column", [&] { return new RemoveColsCommand(&model, {midCol}); }},
        {"move column", [&] { return new MoveColsRelativeCommand(&model, {midCol}, 1); }},
        {"duplicate row", [&] { return new DuplicateRowsCommand(&model, {midRow}); }},
        {"insert row", [&] { return new InsertRowsCommand(&model, {midRow}, 1, false); }},
        {"remove row", [&] { return new RemoveRowsCommand(&model, {midRow}); }},
        {"move row", [&] { return new MoveRowsRelativeCommand(&model, {midRow}, 1); }},
        {"transpose", [&] { return new TransposeTableCommand(&model); }},
    };
    for (const auto& [name, make] : cases) {
        BenchUtil::Timer doTimer;
        stack.push(make());
        const double doSeconds = doTimer.seconds();
        BenchUtil::Timer undoTimer;
        stack.undo();
        const double undoSeconds = undoTimer.seconds();
        figures.push_back({"lines", name, doSeconds * 1000, "ms", limitSeconds * 1000, limitName});
        figures.push_back(
            {"lines", name + " undo", undoSeconds * 1000, "ms", limitSeconds * 1000, limitName});
    }
    figures.push_back({"lines", "peak RSS", double(BenchUtil::peakRssBytes()) / (1 << 20), "MiB", 0, ""});
    BenchUtil::printFigures(figures);
    return 0;
}

BenchRegistration reg("lines",
                      "lines [--rows R] [--cols C] [--seed S]: insert, remove, duplicate and move of one row "
                      "and one column, and transpose, of an R x C table (default 200,000 x 10), each "
                      "pushed as an undo command and undone",
                      &runLines);

} // namespace
