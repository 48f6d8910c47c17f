#include "view/tableview.h"

#include "table/pastecommand.h"
#include "table/setmodeldatacommand.h"
#include "table/tablemodel.h"
#include "util/clipboardutilities.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QMimeData>
#include <QProgressDialog>

#include <algorithm>
#include <map>

namespace {

// From this many cells on, copies and pastes say that they are working: a million cells take
// long enough to look like a hang otherwise.
constexpr qint64 kBusyCells = 200000;

// A progress page without steps over a long clipboard job, painted before the job starts.
class ClipboardBusy {
public:
    ClipboardBusy(QWidget* parent, qint64 cells, const QString& label) {
        if (cells < kBusyCells)
            return;
        dialog = std::make_unique<QProgressDialog>(label, QString(), 0, 0, parent);
        dialog->setObjectName(QStringLiteral("clipboardProgressDialog"));
        dialog->setWindowTitle(QObject::tr("Clipboard"));
        dialog->setWindowModality(Qt::WindowModal);
        dialog->setMinimumDuration(0);
        dialog->setValue(0);
        QGuiApplication::setOverrideCursor(Qt::WaitCursor);
        QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
    }
    ~ClipboardBusy() {
        if (!dialog)
            return;
        QGuiApplication::restoreOverrideCursor();
        // The keys go back to the table, where they were before the page took them.
        QWidget* parent = dialog->parentWidget();
        dialog.reset();
        if (parent) {
            parent->window()->activateWindow();
            parent->setFocus();
        }
    }
    ClipboardBusy(const ClipboardBusy&) = delete;
    ClipboardBusy& operator=(const ClipboardBusy&) = delete;

private:
    std::unique_ptr<QProgressDialog> dialog;
};

void parseByFormat(const QByteArray& bytes, const QString& format, const QString& delimiter,
                   Utilities::TextBlock& out) {
    if (format == QLatin1String("Markdown")) {
        Utilities::parseMarkdownBlock(bytes, out);
    } else if (format == QLatin1String("HTML")) {
        Utilities::parseHtmlBlock(bytes, out);
    } else if (format == QLatin1String("Straight Text")) {
        Utilities::parseStraightTextBlock(bytes, out);
    } else if (format == QLatin1String("Delimiter")) {
        const QByteArray d = delimiter.toUtf8();
        if (d.size() == 1)
            Utilities::parseCsvBlock(bytes, out, d.front(), true);
        else
            out.clear();
    } else {
        out.clear();
    }
}

// The selection as a Markdown or HTML table, written row by row.
template <typename Writer> QString selectionAsTable(const TableModel& model, bool includeHeaders) {
    Writer writer;
    model.forEachSelectedRowText(includeHeaders,
                                 [&writer](const std::vector<QString>& row) { writer.addRow(row); });
    return writer.finish();
}

// The format the text itself shows: a Markdown or HTML table, else delimited text.
void parseDetected(const QByteArray& bytes, Utilities::TextBlock& out) {
    if (Utilities::containsMarkdownTable(bytes))
        Utilities::parseMarkdownBlock(bytes, out);
    else if (Utilities::containsHtmlTable(bytes))
        Utilities::parseHtmlBlock(bytes, out);
    else
        Utilities::parseCsvBlock(bytes, out, Utilities::detectDelimiterInByteArray(bytes), true);
}

} // namespace

bool TableView::copyCells(bool includeHeaders) {
    TableModel* m = tableModel();
    if (!m || loading)
        return false;
    ClipboardBusy busy(this, m->numSelectedCells(), tr("Copying..."));
    QGuiApplication::clipboard()->setMimeData(m->convertCellDataToMime(includeHeaders));
    return true;
}

bool TableView::cutCells() {
    TableModel* m = tableModel();
    if (!m || loading || isReadOnly() || !copyCells(false))
        return false;
    const int steps = undoStack()->count();
    clearCellContents();
    return undoStack()->count() != steps;
}

bool TableView::pasteBlock(Utilities::TextBlock pasted) {
    TableModel* m = tableModel();
    if (!m || loading || isReadOnly() || pasted.empty())
        return false;
    // Plain ASCII is written by every encoding the question is for: most pastes skip the decode.
    const bool ascii = std::all_of(pasted.bytes.cbegin(), pasted.bytes.cend(),
                                   [](char c) { return static_cast<unsigned char>(c) < 0x80; });
    if (!ascii)
        offerEncodingForNewText(QString::fromUtf8(pasted.bytes), true);
    return pushCommand(new PasteCommand(m, m->getSelection(), std::move(pasted), true));
}

bool TableView::pasteCells() {
    TableModel* m = tableModel();
    if (!m || loading || isReadOnly())
        return false;
    const QMimeData* mime = QGuiApplication::clipboard()->mimeData();
    if (!mime)
        return false;
    // The size of what comes is known only after reading; the text's length stands for it.
    const qint64 estimate = std::max(mime->data(QStringLiteral("text/csv")).size(), mime->text().size()) / 8;
    ClipboardBusy busy(this, estimate, tr("Pasting..."));
    Utilities::TextBlock pasted;
    m->convertMimeToTextBlock(mime, pasted);
    return pasteBlock(std::move(pasted));
}

bool TableView::dropCells(const QMimeData* mime, const Range& target) {
    TableModel* m = tableModel();
    if (!m || !mime || loading || isReadOnly() || target.row < 0 || target.col < 0)
        return false;
    Utilities::TextBlock pasted;
    m->convertMimeToTextBlock(mime, pasted);
    if (pasted.empty())
        return false;
    // The drop point is where the block lands, as the main cell is for a paste; a single text
    // goes into that one cell.
    Range cell(target.row, target.col, RangeIndexType::Model);
    cell.isMainCell = true;
    m->setSelection(cell);
    return pasteBlock(std::move(pasted));
}

bool TableView::pasteCellsWithFormat(const QString& format, const QString& delimiter) {
    TableModel* m = tableModel();
    if (!m || loading || isReadOnly())
        return false;
    const QMimeData* mime = QGuiApplication::clipboard()->mimeData();
    if (!mime)
        return false;
    QByteArray bytes;
    if (format == QLatin1String("HTML") && mime->hasHtml())
        bytes = mime->html().toUtf8();
    else if (mime->hasFormat(QStringLiteral("text/plain")))
        bytes = mime->data(QStringLiteral("text/plain"));
    else if (mime->hasFormat(QStringLiteral("text/plain;charset=utf-8")))
        bytes = mime->data(QStringLiteral("text/plain;charset=utf-8"));
    else
        bytes = mime->text().toUtf8();
    ClipboardBusy busy(this, bytes.size() / 8, tr("Pasting..."));
    Utilities::TextBlock pasted;
    parseByFormat(bytes, format, delimiter, pasted);
    return pasteBlock(std::move(pasted));
}

bool TableView::copyCellsToMarkdown(bool includeHeaders) {
    TableModel* m = tableModel();
    if (!m || loading)
        return false;
    ClipboardBusy busy(this, m->numSelectedCells(), tr("Copying..."));
    QGuiApplication::clipboard()->setText(
        selectionAsTable<Utilities::MarkdownTableWriter>(*m, includeHeaders));
    return true;
}

bool TableView::copyCellsToHtml(bool includeHeaders) {
    TableModel* m = tableModel();
    if (!m || loading)
        return false;
    ClipboardBusy busy(this, m->numSelectedCells(), tr("Copying..."));
    QGuiApplication::clipboard()->setText(selectionAsTable<Utilities::HtmlTableWriter>(*m, includeHeaders));
    return true;
}

bool TableView::parseSelectedCellContentsAsTable(const QString& format, const QString& delimiter,
                                                 bool detect) {
    TableModel* m = tableModel();
    if (!m || loading || isReadOnly())
        return false;
    const TableData& data = m->getTableData();
    // Later cells win where two blocks meet; every source is read before anything is written.
    std::map<std::pair<int, int>, QString> writes;
    for (const auto& [row, col] : m->getSelectionIndexes()) {
        QByteArray bytes = data.getValueModel(row, col).toString().toUtf8();
        if (bytes.isEmpty())
            continue;
        Utilities::TextBlock parsed;
        if (detect)
            parseDetected(bytes, parsed);
        else
            parseByFormat(bytes, format, delimiter, parsed);
        for (qsizetype r = 0; r < parsed.numRows(); ++r) {
            for (qsizetype i = parsed.rowBegin(r); i < parsed.rowEnd(r); ++i)
                writes[{row + int(r), col + int(i - parsed.rowBegin(r))}] = parsed.text(i);
        }
    }
    RangeVector cells;
    for (auto& [at, text] : writes) {
        // Cells that keep their text stay out, so a cell with nothing to split is no change.
        if (data.getValueModel(at.first, at.second).toString() == text)
            continue;
        Range cell(at.first, at.second, RangeIndexType::Model);
        cell.value = std::move(text);
        cells.push_back(std::move(cell));
    }
    if (cells.empty())
        return false;
    return pushCommand(new SetModelDataCommand(m, cells, true));
}
