// Cell transformations: 1,000,000 selected cells (N rows x 10 columns, all selected) through
// the engine and one undo command each, against the same run's limit: one pass that reads every
// cell, upper-cases it with QString::toUpper and writes it back with TableData directly, without
// undo. Also undo and redo of each command, and the memory the step keeps against the text it
// changed.
#include "benchregistry.h"
#include "benchutil.h"
#include "datagen.h"

#include "table/celltransform.h"
#include "table/setcelltextscommand.h"
#include "table/tablemodel.h"
#include "util/caseutilities.h"
#include "util/datetimeutilities.h"
#include "util/numberutilities.h"
#include "util/stringutilities.h"
#include "util/uuidutilities.h"

#include <QFile>
#include <QUndoStack>

#include <algorithm>
#include <cstdio>
#include <functional>

using namespace BenchUtil;

namespace {

constexpr int kCols = 10;

void appendWords(QByteArray& out, DataRandom& random) {
    static const char* const words[] = {"the",   "lord", "of",    "rings", "hello",
                                        "world", "data", "table", "and"};
    const quint32 count = 2 + random.below(3);
    for (quint32 i = 0; i < count; ++i) {
        if (i)
            out += ' ';
        out += words[random.below(9)];
    }
}

// Cells of one kind, so that every cell is one the operation works on.
bool writeTable(const QString& path, qint64 rows, const std::function<void(QByteArray&, DataRandom&)>& cell) {
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    DataRandom random(1);
    QByteArray chunk;
    for (qint64 r = 0; r < rows; ++r) {
        for (int c = 0; c < kCols; ++c) {
            if (c)
                chunk += ',';
            cell(chunk, random);
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

struct Operation {
    const char* name;
    std::function<void(QByteArray&, DataRandom&)> cell;
    // Builds the command over the selection; null when nothing changes.
    std::function<TableUndoCommand*(TableModel&)> make;
};

TableUndoCommand* mapped(TableModel& m, const std::function<QString(const QString&)>& fn) {
    return CellTransform::mapCommand(m, fn);
}

TableUndoCommand* laidOut(TableModel& m, std::vector<CellTransform::CellText> cells) {
    return CellTransform::makeCommand(m, std::move(cells));
}

std::vector<Operation> operations() {
    auto words = [](QByteArray& out, DataRandom& r) { appendWords(out, r); };
    return {
        {"upper case", words,
         [](TableModel& m) { return mapped(m, [](const QString& t) { return t.toUpper(); }); }},
        {"title case", words, [](TableModel& m) { return mapped(m, &Utilities::convertToTitleCase); }},
        // Delete on a large selection: every cell emptied, its undo writes every text back.
        {"clear", words, [](TableModel& m) { return mapped(m, [](const QString&) { return QString(); }); }},
        {"ISO to Excel serial",
         [](QByteArray& out, DataRandom& r) {
             out += QByteArray::number(1990 + r.below(40)) + '-' + QByteArray::number(10 + r.below(3)) + '-' +
                    QByteArray::number(10 + r.below(18)) + 'T' + QByteArray::number(10 + r.below(14)) + ":" +
                    QByteArray::number(10 + r.below(50)) + ":" + QByteArray::number(10 + r.below(50)) + 'Z';
         },
         [](TableModel& m) {
             return mapped(m, [](const QString& t) {
                 return Utilities::convertDateTimeFormat(t, DateTimeFormatType::IsoDateTime,
                                                         DateTimeFormatType::Excel, {}, {});
             });
         }},
        {"set 2 decimals",
         [](QByteArray& out, DataRandom& r) {
             out += QByteArray::number(r.below(1000000)) + '.' + QByteArray::number(1000 + r.below(9000));
         },
         [](TableModel& m) {
             return mapped(m, [](const QString& t) { return Utilities::setNumDecimals(t, 2); });
         }},
        {"split by ;",
         [](QByteArray& out, DataRandom& r) {
             appendWords(out, r);
             out += ';';
             appendWords(out, r);
         },
         [](TableModel& m) {
             return CellTransform::splitCommand(m, Axis::Row, false, [](const QString& t) {
                 return Utilities::splitByDelimiter(t, QStringLiteral(";"));
             });
         }},
        {"split by ;, rest of row moves on worker",
         [](QByteArray& out, DataRandom& r) {
             appendWords(out, r);
             out += ';';
             appendWords(out, r);
         },
         [](TableModel& m) {
             return CellTransform::splitCommand(
                 m, Axis::Row, true,
                 [](const QString& t) { return Utilities::splitByDelimiter(t, QStringLiteral(";")); }, true);
         }},
        // Every row gets one new row below it: 100,000 groups of new rows in one move.
        {"split down by ; on worker",
         [](QByteArray& out, DataRandom& r) {
             appendWords(out, r);
             out += ';';
             appendWords(out, r);
         },
         [](TableModel& m) {
             return CellTransform::splitCommand(
                 m, Axis::Col, false,
                 [](const QString& t) { return Utilities::splitByDelimiter(t, QStringLiteral(";")); }, true);
         }},
        {"join rows", words,
         [](TableModel& m) { return laidOut(m, CellTransform::join(m, QStringLiteral(", "), true, false)); }},
        // What a large selection runs: the same join read and worked out on the model's worker.
        {"join rows on worker", words,
         [](TableModel& m) {
             return CellTransform::joinCommand(m, QStringLiteral(", "), true, false, true);
         }},
        {"reshape on worker", words,
         [](TableModel& m) { return CellTransform::reshapeCommand(m, 2, true, true); }},
        {"ID numbers on worker", words,
         [](TableModel& m) { return CellTransform::idColumnCommand(m, 1, true); }},
        {"fill series", words,
         [](TableModel& m) {
             const QStringList items =
                 Utilities::computeSeriesStrings(QStringLiteral("1 1"), int(m.numSelectedCells()));
             return CellTransform::mapCommand(
                 m,
                 [&items](const QString& cell, std::size_t i) {
                     return i < std::size_t(items.size()) ? items[qsizetype(i)] : cell;
                 },
                 false, false);
         }},
        {"UUID v7", words,
         [](TableModel& m) {
             std::vector<QString> uuids(std::size_t(m.numSelectedCells()));
             Utilities::generateUuids(uuids, false, false, UuidV7);
             return CellTransform::mapCommand(
                 m, [&uuids](const QString&, std::size_t i) { return std::move(uuids[i]); }, false, false);
         }},
    };
}

void selectAll(TableModel& m) {
    Range all(RangeType::Table, RangeIndexType::Model);
    all.row = 0;
    all.col = 0;
    all.endRow = m.rowCountModel() - 1;
    all.endCol = m.columnCountModel() - 1;
    all.isMainCell = true;
    all.mainCellRow = 0;
    all.mainCellCol = 0;
    m.setSelection(all);
}

std::unique_ptr<TableModel> loadModel(const QString& path) {
    auto model = std::make_unique<TableModel>(false);
    model->loadCSV(path, false, TableData::Editable, QStringLiteral(","), QStringLiteral(","), UTF_8,
                   RFC_4180);
    model->setNumberOfHeaderRows(0);
    selectAll(*model);
    return model;
}

int runTransform(const QStringList& args) {
    const qint64 rows = optionInt(args, QStringLiteral("--rows"), 100000);
    const QString only = option(args, QStringLiteral("--only"));
    const int repeats = static_cast<int>(std::max<qint64>(1, optionInt(args, QStringLiteral("--repeat"), 3)));
    std::vector<Figure> figures;
    for (const Operation& op : operations()) {
        if (!only.isEmpty() && only != QLatin1String(op.name))
            continue;
        ScratchFile scratch(QStringLiteral("transform"));
        if (!writeTable(scratch.path(), rows, op.cell)) {
            std::fprintf(stderr, "transform: cannot write %s\n", qPrintable(scratch.path()));
            return 1;
        }
        const std::string name = op.name;

        // The limit and the operation take turns, each on its own fresh copy of the table, so that
        // a slow spell of the shared machine falls on both; medians of the runs are reported, in
        // wall time and in the thread's CPU time.
        std::vector<double> limits, limitsCpu, times, timesCpu, undos, redos, ratios, ratiosCpu, undoRatios,
            redoRatios;
        qint64 textBytes = 0;
        qint64 cells = 0;
        qint64 recordBytes = -1;
        qint64 newTextBytes = 0;
        qint64 kept = 0;
        for (int run = 0; run < repeats; ++run) {
            {
                auto model = loadModel(scratch.path());
                TableData& data = model->getTableData();
                const int numRows = data.numModelRows();
                const int numCols = data.numModelCols();
                textBytes = 0;
                const Timer timer;
                for (int r = 0; r < numRows; ++r) {
                    for (int c = 0; c < numCols; ++c) {
                        const QString text = data.getValueModel(r, c).toString();
                        textBytes += text.toUtf8().size();
                        data.setValueModel(r, c, text.toUpper());
                    }
                }
                limits.push_back(timer.seconds());
                limitsCpu.push_back(timer.cpuSeconds());
            }
            auto model = loadModel(scratch.path());
            cells = model->numSelectedCells();
            QUndoStack stack;
            const qint64 rssBefore = currentRssBytes();
            const Timer timer;
            TableUndoCommand* command = op.make(*model);
            if (!command) {
                std::fprintf(stderr, "transform: %s changed nothing\n", op.name);
                return 1;
            }
            const auto* record = dynamic_cast<const SetCellTextsCommand*>(command);
            recordBytes = record ? record->memoryBytes() : -1;
            stack.push(command);
            times.push_back(timer.seconds());
            timesCpu.push_back(timer.cpuSeconds());
            kept = std::max(kept, currentRssBytes() - rssBefore);
            // The texts after the change, outside the timing: a record that restores both
            // states can't be smaller than the text that goes in plus the text that goes out.
            if (record && run == 0) {
                const TableData& data = model->getTableData();
                for (int r = 0; r < data.numModelRows(); ++r) {
                    for (int c = 0; c < data.numModelCols(); ++c)
                        newTextBytes += data.getValueModel(r, c).toString().toUtf8().size();
                }
            }
            const Timer undoTimer;
            stack.undo();
            undos.push_back(undoTimer.seconds());
            const Timer redoTimer;
            stack.redo();
            redos.push_back(redoTimer.seconds());
            ratios.push_back(times.back() / std::max(limits.back(), 1e-9));
            ratiosCpu.push_back(timesCpu.back() / std::max(limitsCpu.back(), 1e-9));
            undoRatios.push_back(undos.back() / std::max(limits.back(), 1e-9));
            redoRatios.push_back(redos.back() / std::max(limits.back(), 1e-9));
        }
        const double limit = median(limits);

        std::printf("%s: %lld cells, %.1f MiB of text, %d runs\n", op.name, static_cast<long long>(cells),
                    double(textBytes) / 1048576.0, repeats);
        const char* limitName = "read, toUpper, write with TableData, no undo";
        figures.push_back({"transform", name, median(times), "s", limit, limitName});
        figures.push_back({"transform", name + ": / limit, each run", median(ratios), "x", 3, "goal"});
        figures.push_back({"transform", name + ": / limit, CPU time", median(ratiosCpu), "x", 3, "goal"});
        figures.push_back({"transform", name + ": undo", median(undos), "s", limit, limitName});
        figures.push_back({"transform", name + ": redo", median(redos), "s", limit, limitName});
        figures.push_back(
            {"transform", name + ": undo / limit, each run", median(undoRatios), "x", 2, "goal"});
        figures.push_back(
            {"transform", name + ": redo / limit, each run", median(redoRatios), "x", 2, "goal"});
        if (recordBytes >= 0)
            figures.push_back({"transform", name + ": undo record / text changed",
                               double(recordBytes) / double(std::max<qint64>(textBytes, 1)), "x", 3, "goal"});
        if (recordBytes >= 0)
            figures.push_back({"transform", name + ": undo record / text before and after",
                               double(recordBytes) / double(std::max<qint64>(textBytes + newTextBytes, 1)),
                               "x", 3, "goal"});
        figures.push_back({"transform", name + ": RSS kept / text changed",
                           double(kept) / double(std::max<qint64>(textBytes, 1)), "x", 3, "goal"});
    }
    printFigures(figures);
    return 0;
}

BenchRegistration reg(
    "transform",
    "transform [--rows N] [--repeat R] [--only NAME]: upper and title case, ISO to Excel serial, 2 decimals, "
    "split, join, series and UUID v7 over N x 10 selected cells, each one undo command, against "
    "a read-toUpper-write pass without undo; undo, redo and the memory the step keeps",
    &runTransform);

} // namespace
