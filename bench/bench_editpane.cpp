// The editor pane part of orvane-bench edit: a cell of many megabytes becomes the main cell of a
// table whose editor pane is shown. Figures: the time until control goes back to the event loop
// (limit: one frame at 60 Hz), the longest pass of the event loop while the pane fills (the
// same limit; the first pass also repaints the grid around the new main cell, so the passes of
// the chunks have a figure of their own), and the time until the whole text is in the pane
// (limit: the same text put into the pane at once, which freezes the program for all of it).

#include "bench_editpane.h"

#include "table/tablemodel.h"
#include "view/editorpane.h"
#include "view/tableview.h"
#include "window/paneview.h"

#include <QApplication>
#include <QFile>

#include <algorithm>
#include <cstdio>

namespace {

// Lines of words, as a long note or a pasted document in a cell looks.
QByteArray hugeCell(qint64 bytes) {
    QByteArray text;
    text.reserve(bytes + 128);
    qint64 line = 0;
    while (text.size() < bytes) {
        text += "line ";
        text += QByteArray::number(line++);
        text += ": the quick brown fox jumps over the lazy dog, again and again\n";
    }
    text.truncate(bytes);
    return text;
}

} // namespace

bool runEditPaneBench(const BenchUtil::ScratchFile& scratch, qint64 cellBytes,
                      std::vector<BenchUtil::Figure>& figures) {
    using BenchUtil::Figure;
    {
        QFile file(scratch.path());
        if (!file.open(QIODevice::WriteOnly))
            return false;
        file.write("name,notes\nshort,a few words\nlong,\"");
        file.write(hugeCell(cellBytes));
        file.write("\"\n");
    }
    auto* model = new TableModel(true);
    model->loadCSV(scratch.path(), false, TableData::Editable, QStringLiteral(","), QStringLiteral(","),
                   UTF_8, RFC_4180);
    const qsizetype length = model->getTableData().getValueModel(2, 1).toString().size();

    PaneView pane;
    pane.resize(1200, 800);
    auto* view = new TableView(pane.getTableStackWidget());
    view->setModel(model);
    model->setParent(view);
    view->onLoadFinished();
    pane.addTable(view, QStringLiteral("bench"));
    pane.setActiveTable(view);
    pane.show();
    pane.showEditorPane(true, false);
    Range start(1, 1, RangeIndexType::Model);
    start.isMainCell = true;
    model->setSelection(start);
    for (int i = 0; i < 20; ++i)
        QApplication::processEvents();

    // The move to the huge cell, as an arrow key makes it.
    BenchUtil::Timer moveTimer;
    Range target(2, 1, RangeIndexType::Model);
    target.isMainCell = true;
    model->setSelection(target);
    const double returnMs = moveTimer.seconds() * 1000;
    const double returnCpuMs = moveTimer.cpuSeconds() * 1000;

    // The event loop runs as it would; each pass is one frame at most.
    double longestPassMs = 0;
    // The first pass also repaints the grid around the new main cell; the others are chunks.
    double longestChunkPassMs = 0;
    // On a shared machine the wall time includes waiting for a core; the thread's CPU time
    // is what the pass itself costs.
    double longestChunkPassCpuMs = 0;
    int passes = 0;
    EditorPane* editor = pane.getEditorPane();
    while (passes < 1000000) {
        BenchUtil::Timer pass;
        QApplication::processEvents();
        const double passMs = pass.seconds() * 1000;
        longestPassMs = std::max(longestPassMs, passMs);
        if (passes > 0) {
            longestChunkPassMs = std::max(longestChunkPassMs, passMs);
            longestChunkPassCpuMs = std::max(longestChunkPassCpuMs, pass.cpuSeconds() * 1000);
        }
        ++passes;
        if (!pane.isEditorPaneUpdateRunning() && editor->document()->characterCount() - 1 >= length)
            break;
    }
    // From the key to the last character in the pane.
    const double fillMs = moveTimer.seconds() * 1000;
    const bool whole = editor->toPlainText().size() == length;

    // The limit of the fill: all of the text at once, with the program frozen for it.
    EditorPane plain;
    plain.resize(1200, 300);
    plain.show();
    QApplication::processEvents();
    const QString text = model->getTableData().getValueModel(2, 1).toString();
    BenchUtil::Timer atOnceTimer;
    plain.setPlainText(text);
    QApplication::processEvents();
    const double atOnceMs = atOnceTimer.seconds() * 1000;

    if (!whole) {
        std::fprintf(stderr, "edit: the pane does not hold the whole cell\n");
        return false;
    }
    figures.push_back({"edit", "pane cell chars", double(length), "chars", 0, ""});
    figures.push_back({"edit", "pane: back to event loop", returnMs, "ms", 16.0, "one frame at 60 Hz"});
    figures.push_back({"edit", "pane: back to loop CPU", returnCpuMs, "ms", 16.0, "one frame at 60 Hz"});
    figures.push_back({"edit", "pane: longest loop pass", longestPassMs, "ms", 16.0, "one frame at 60 Hz"});
    figures.push_back(
        {"edit", "pane: longest chunk pass", longestChunkPassMs, "ms", 16.0, "one frame at 60 Hz"});
    figures.push_back(
        {"edit", "pane: longest chunk pass CPU", longestChunkPassCpuMs, "ms", 16.0, "one frame at 60 Hz"});
    figures.push_back(
        {"edit", "pane: whole cell shown", fillMs, "ms", atOnceMs, "setPlainText at once (frozen)"});
    figures.push_back({"edit", "pane: loop passes", double(passes), "passes", 0, ""});
    return true;
}
