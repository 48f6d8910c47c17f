// orvane-bench clipboard: copy and paste of a 100,000 x 10 block in each clipboard format.
// The limit is the same text built with one QString append per cell, straight from TableData:
// no copy can do less than read every cell and append it once.

#include "benchregistry.h"
#include "benchutil.h"

#include "table/pastecommand.h"
#include "table/tablemodel.h"
#include "util/clipboardutilities.h"

#include <QMimeData>
#include <QUndoStack>

#include <cstdio>
#include <malloc.h>
#include <memory>

namespace {

using BenchUtil::Figure;

std::unique_ptr<TableModel> loadModel(const QString& path) {
    auto model = std::make_unique<TableModel>(false);
    model->loadCSV(path, false, TableData::Editable, QStringLiteral(","), QStringLiteral(","), UTF_8,
                   RFC_4180);
    return model;
}

void selectBlock(TableModel& model, int rows, int cols) {
    Range block(RangeType::Table, RangeIndexType::Model);
    block.row = 0;
    block.col = 0;
    block.endRow = rows - 1;
    block.endCol = cols - 1;
    block.isMainCell = true;
    block.mainCellRow = 0;
    block.mainCellCol = 0;
    model.setSelection(block);
}

// Parse plus the paste command on a one-cell table; false when the result is wrong.
bool timePaste(const QString& tinyPath, const std::function<void(Utilities::TextBlock&)>& parse, qint64 cells,
               double& parseSeconds, double& commandSeconds, double& cpuSeconds, double& recordMiB) {
    auto target = loadModel(tinyPath);
    selectBlock(*target, 1, 1);
    BenchUtil::Timer parseTimer;
    Utilities::TextBlock pasted;
    parse(pasted);
    parseSeconds = parseTimer.seconds();
    if (pasted.numCells() != cells) {
        std::fprintf(stderr, "clipboard: parsed %lld cells, expected %lld\n",
                     static_cast<long long>(pasted.numCells()), static_cast<long long>(cells));
        return false;
    }
    QUndoStack stack;
    BenchUtil::Timer commandTimer;
    auto* command = new PasteCommand(target.get(), target->getSelection(), std::move(pasted), true);
    stack.push(command);
    commandSeconds = commandTimer.seconds();
    cpuSeconds = parseTimer.cpuSeconds();
    recordMiB = double(command->memoryBytes()) / (1 << 20);
    return stack.count() == 1;
}

bool measureRound(TableModel& model, int rows, int cols, qint64 cells, const QString& tinyPath,
                  std::vector<Figure>& figures) {
    // Limit: one append per cell into one string.
    double limitSeconds = 0;
    double limitCpuSeconds = 0;
    qint64 textChars = 0;
    qint64 textUtf8Bytes = 0;
    {
        const TableData& data = model.getTableData();
        BenchUtil::Timer timer;
        QString text;
        for (int r = 0; r < rows; ++r) {
            for (int c = 0; c < cols; ++c)
                text += data.getValueModel(r, c).toString();
        }
        limitSeconds = timer.seconds();
        limitCpuSeconds = timer.cpuSeconds();
        textChars = text.size();
        textUtf8Bytes = text.toUtf8().size();
    }

    malloc_trim(0);
    const qint64 rssBase = BenchUtil::currentRssBytes();
    BenchUtil::resetPeakRss();
    BenchUtil::Timer copyTimer;
    std::unique_ptr<QMimeData> mime(model.convertCellDataToMime(false));
    const double copySeconds = copyTimer.seconds();
    const double copyCpuSeconds = copyTimer.cpuSeconds();
    const double copyPeakMiB = double(BenchUtil::peakRssBytes() - rssBase) / (1 << 20);
    figures.push_back({"clipboard", "copy: plain + csv + html", copySeconds * 1000, "ms",
                       limitSeconds * 1000 * 3, "3 x one append per cell (one text per format)"});
    figures.push_back({"clipboard", "copy: plain + csv + html (cpu)", copyCpuSeconds * 1000, "ms",
                       limitCpuSeconds * 1000 * 3, "3 x one append per cell, thread CPU time"});
    figures.push_back({"clipboard", "copy peak memory", copyPeakMiB, "MiB", double(textChars * 2) / (1 << 20),
                       "UTF-16 text of the cells"});

    BenchUtil::Timer mdTimer;
    Utilities::MarkdownTableWriter mdWriter;
    model.forEachSelectedRowText(false,
                                 [&mdWriter](const std::vector<QString>& row) { mdWriter.addRow(row); });
    const QString markdown = mdWriter.finish();
    figures.push_back({"clipboard", "copy: markdown", mdTimer.seconds() * 1000, "ms", limitSeconds * 1000,
                       "one append per cell"});
    figures.push_back({"clipboard", "copy: markdown (cpu)", mdTimer.cpuSeconds() * 1000, "ms",
                       limitCpuSeconds * 1000, "one append per cell, thread CPU time"});
    BenchUtil::Timer htmlTimer;
    Utilities::HtmlTableWriter htmlWriter;
    model.forEachSelectedRowText(false,
                                 [&htmlWriter](const std::vector<QString>& row) { htmlWriter.addRow(row); });
    const QString html = htmlWriter.finish();
    figures.push_back({"clipboard", "copy: html table", htmlTimer.seconds() * 1000, "ms", limitSeconds * 1000,
                       "one append per cell"});
    figures.push_back({"clipboard", "copy: html table (cpu)", htmlTimer.cpuSeconds() * 1000, "ms",
                       limitCpuSeconds * 1000, "one append per cell, thread CPU time"});

    struct Format {
        const char* name;
        std::function<void(Utilities::TextBlock&)> parse;
    };
    const QByteArray csvBytes = mime->data(QStringLiteral("text/csv"));
    const QByteArray plainBytes = mime->text().toUtf8();
    const QByteArray htmlBytes = mime->html().toUtf8();
    const QByteArray markdownBytes = markdown.toUtf8();
    const std::vector<Format> formats{
        {"paste: csv",
         [&](Utilities::TextBlock& out) { Utilities::parseCsvBlock(csvBytes, out, ',', true); }},
        {"paste: plain (tab)",
         [&](Utilities::TextBlock& out) { Utilities::parseCsvBlock(plainBytes, out, '\t', true); }},
        {"paste: html", [&](Utilities::TextBlock& out) { Utilities::parseHtmlBlock(htmlBytes, out); }},
        {"paste: markdown",
         [&](Utilities::TextBlock& out) { Utilities::parseMarkdownBlock(markdownBytes, out); }},
    };
    mime.reset();
    for (const Format& format : formats) {
        double parseSeconds = 0;
        double commandSeconds = 0;
        double cpuSeconds = 0;
        double recordMiB = 0;
        if (!timePaste(tinyPath, format.parse, cells, parseSeconds, commandSeconds, cpuSeconds, recordMiB)) {
            std::fprintf(stderr, "clipboard: %s went wrong\n", format.name);
            return false;
        }
        figures.push_back({"clipboard", format.name, (parseSeconds + commandSeconds) * 1000, "ms",
                           limitSeconds * 1000, "one append per cell"});
        figures.push_back(
            {"clipboard", std::string(format.name) + " (parse only)", parseSeconds * 1000, "ms", 0, ""});
        figures.push_back({"clipboard", std::string(format.name) + " (cpu)", cpuSeconds * 1000, "ms",
                           limitCpuSeconds * 1000, "one append per cell, thread CPU time"});
        figures.push_back({"clipboard", std::string(format.name) + " undo record", recordMiB, "MiB",
                           double(textUtf8Bytes) / (1 << 20), "UTF-8 text of the cells"});
    }
    return true;
}

int runClipboard(const QStringList& args) {
    const int rows = static_cast<int>(
        std::clamp<qint64>(BenchUtil::optionInt(args, QStringLiteral("--rows"), 100000), 1, 10000000));
    const int cols = static_cast<int>(
        std::clamp<qint64>(BenchUtil::optionInt(args, QStringLiteral("--cols"), 10), 1, 1000));
    const unsigned seed =
        static_cast<unsigned>(BenchUtil::optionInt(args, QStringLiteral("--seed"), 20261124));
    BenchUtil::ScratchFile scratch(QStringLiteral("clipboard"));
    BenchUtil::ScratchFile tiny(QStringLiteral("clipboard-tiny"));
    if (!BenchUtil::writeMixedTable(scratch.path(), rows, cols, seed, true) ||
        !BenchUtil::writeMixedTable(tiny.path(), 1, 1, seed, true)) {
        std::fprintf(stderr, "clipboard: cannot write the scratch files\n");
        return 1;
    }
    auto model = loadModel(scratch.path());
    selectBlock(*model, rows, cols);
    const qint64 cells = qint64(rows) * cols;

    // The machine is shared: each round measures its own limit, and the medians are reported.
    const int repeat = static_cast<int>(
        std::clamp<qint64>(BenchUtil::optionInt(args, QStringLiteral("--repeat"), 3), 1, 50));
    std::vector<std::vector<Figure>> rounds;
    for (int round = 0; round < repeat; ++round) {
        std::vector<Figure> figures;
        if (!measureRound(*model, rows, cols, cells, tiny.path(), figures))
            return 1;
        rounds.push_back(std::move(figures));
    }
    std::vector<Figure> figures{{"clipboard", "cells", double(cells), "cells", 0, ""}};
    for (std::size_t i = 0; i < rounds.front().size(); ++i) {
        std::vector<double> values;
        std::vector<double> limits;
        for (const auto& figuresOfRound : rounds) {
            values.push_back(figuresOfRound[i].value);
            limits.push_back(figuresOfRound[i].limit);
        }
        std::sort(values.begin(), values.end());
        std::sort(limits.begin(), limits.end());
        Figure median = rounds.front()[i];
        median.value = values[values.size() / 2];
        median.limit = limits[limits.size() / 2];
        figures.push_back(median);
    }
    figures.push_back({"clipboard", "peak RSS", double(BenchUtil::peakRssBytes()) / (1 << 20), "MiB", 0, ""});
    BenchUtil::printFigures(figures);
    return 0;
}

BenchRegistration reg(
    "clipboard",
    "clipboard [--rows N] [--cols M] [--seed S] [--repeat R]: copy of an N x M block (default 100,000 x 10) "
    "to the clipboard formats, and paste of each format (parse + one undo command); medians of R rounds "
    "(default 3)",
    &runClipboard);

} // namespace
