// orvane-bench edit: delete of a selected block of cells as one undo command, its undo and
// redo, and the memory the command keeps. The limit of the times is a plain pass over the same
// cells through TableData (read every old value, write every new one); the limit of the memory
// is the text of the deleted cells, which any undo record must keep. Then a huge cell shown in
// the editor pane (bench_editpane.cpp).

#include "bench_editpane.h"
#include "benchregistry.h"
#include "benchutil.h"

#include "table/setmodeldatacommand.h"
#include "table/tablemodel.h"

#include <QCoreApplication>
#include <QUndoStack>

#include <cstdio>
#include <malloc.h>
#include <memory>

namespace {

using BenchUtil::Figure;

int runEdit(const QStringList& args) {
    const int side = static_cast<int>(
        std::clamp<qint64>(BenchUtil::optionInt(args, QStringLiteral("--side"), 1000), 1, 10000));
    const unsigned seed =
        static_cast<unsigned>(BenchUtil::optionInt(args, QStringLiteral("--seed"), 20261122));
    const qint64 cellMiB =
        std::clamp<qint64>(BenchUtil::optionInt(args, QStringLiteral("--cell-mb"), 10), 0, 512);

    // A side x side table of short mixed cells.
    BenchUtil::ScratchFile scratch(QStringLiteral("edit"));
    if (!BenchUtil::writeMixedTable(scratch.path(), side, side, seed)) {
        std::fprintf(stderr, "edit: cannot write %s\n", qPrintable(scratch.path()));
        return 1;
    }

    TableModel model(false);
    model.loadCSV(scratch.path(), false, TableData::Editable, QStringLiteral(","), QStringLiteral(","), UTF_8,
                  RFC_4180);
    const qint64 cells = qint64(side) * side;
    qint64 textBytes = 0;
    for (int r = 0; r < side; ++r)
        for (int c = 0; c < side; ++c)
            textBytes += model.getTableData().getValueModel(r, c).toString().size() * qint64(sizeof(QChar));

    // Limit: read the old value and write an empty one for every cell, straight through TableData.
    double limitSeconds = 0;
    {
        TableModel plain(false);
        plain.loadCSV(scratch.path(), false, TableData::Editable, QStringLiteral(","), QStringLiteral(","),
                      UTF_8, RFC_4180);
        TableData& data = plain.getTableData();
        BenchUtil::Timer timer;
        qint64 sink = 0;
        for (int r = 0; r < side; ++r)
            for (int c = 0; c < side; ++c) {
                sink += data.getValueModel(r, c).toString().size();
                data.setValueModel(r, c, QString());
            }
        limitSeconds = timer.seconds();
        if (sink < 0)
            std::printf("%lld\n", static_cast<long long>(sink));
    }

    // The delete: one Table range with an empty value for every cell, as selecting the block
    // and pressing Delete builds it.
    Range block(RangeType::Table, RangeIndexType::Model);
    block.row = 0;
    block.col = 0;
    block.endRow = side - 1;
    block.endCol = side - 1;
    block.isMainCell = true;
    RangeVector selection{block};
    model.setSelection(selection);

    QUndoStack stack;
    // What the command keeps, without the temporaries of building it: freed heap goes back
    // to the system before each reading, and the caller's list of new values is gone by then.
    malloc_trim(0);
    const qint64 rssBefore = BenchUtil::currentRssBytes();
    block.tableValues.assign(static_cast<std::size_t>(side),
                             std::vector<QVariant>(static_cast<std::size_t>(side), QString()));
    BenchUtil::Timer buildTimer;
    auto* command = new SetModelDataCommand(&model, RangeVector{block});
    const double buildSeconds = buildTimer.seconds();
    block.tableValues.clear();
    block.tableValues.shrink_to_fit();
    BenchUtil::Timer pushTimer;
    stack.push(command);
    const double pushSeconds = pushTimer.seconds();
    malloc_trim(0);
    const qint64 rssAfter = BenchUtil::currentRssBytes();
    if (!model.getTableData().getValueModel(side / 2, side / 2).toString().isEmpty()) {
        std::fprintf(stderr, "edit: the delete left a value\n");
        return 1;
    }
    BenchUtil::Timer undoTimer;
    stack.undo();
    const double undoSeconds = undoTimer.seconds();
    BenchUtil::Timer redoTimer;
    stack.redo();
    const double redoSeconds = redoTimer.seconds();

    std::vector<Figure> figures;
    figures.push_back({"edit", "cells", double(cells), "cells", 0, ""});
    figures.push_back({"edit", "delete build+push", (buildSeconds + pushSeconds) * 1000, "ms",
                       limitSeconds * 1000, "read+write each cell via TableData"});
    figures.push_back({"edit", "delete build (old values)", buildSeconds * 1000, "ms", 0, ""});
    figures.push_back({"edit", "undo", undoSeconds * 1000, "ms", limitSeconds * 1000,
                       "read+write each cell via TableData"});
    figures.push_back({"edit", "redo", redoSeconds * 1000, "ms", limitSeconds * 1000,
                       "read+write each cell via TableData"});
    figures.push_back({"edit", "command memory", double(rssAfter - rssBefore) / (1 << 20), "MiB",
                       double(textBytes) / (1 << 20), "UTF-16 text of the deleted cells"});
    if (cellMiB > 0) {
        BenchUtil::ScratchFile paneScratch(QStringLiteral("editpane"));
        if (!runEditPaneBench(paneScratch, cellMiB << 20, figures))
            return 1;
    }
    figures.push_back({"edit", "peak RSS", double(BenchUtil::peakRssBytes()) / (1 << 20), "MiB", 0, ""});
    BenchUtil::printFigures(figures);
    return 0;
}

BenchRegistration
    reg("edit",
        "edit [--side N] [--seed S] [--cell-mb M]: delete of an N x N selected block (default "
        "1000 x 1000) as one undo command, its undo and redo, and the command's memory; then a cell "
        "of M MiB (default 10, 0 for none) becoming the main cell with the editor pane shown",
        &runEdit, true);

} // namespace
