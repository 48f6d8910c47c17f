#include "window/mainwindow.h"

#include "convert/conversion.h"
#include "table/tabledata.h"
#include "table/tablemodel.h"
#include "table/tablemodelworker.h"
#include "util/msgbox.h"
#include "view/tableview.h"
#include "view/workerprogress.h"
#include "window/filedialoghelper.h"

#include <QDir>
#include <QFileInfo>

namespace {

const QString kJsonFilter = QStringLiteral("JSON Files (*.json)");
const QString kXmlFilter = QStringLiteral("XML Files (*.xml)");
// From this many cells the document is made on the worker, where a progress dialog can show.
constexpr qint64 kExportCellsOnWorker = 100000;

} // namespace

bool MainWindow::commandExportToJSONOrXML(const QString& path) {
    TableView* view = resolveTable(path);
    if (!view)
        return false;
    view->stopEditing(true);
    const TableModel* model = view->tableModel();
    // The table's own name and folder, with the extension of the first filter.
    const QString tablePath = model->getTableData().getFilepath();
    const QString start = tablePath.isEmpty()
                              ? QDir(lastUsedDirectory).filePath(QStringLiteral("untitled.json"))
                              : QFileInfo(tablePath).dir().filePath(QFileInfo(tablePath).completeBaseName() +
                                                                    QStringLiteral(".json"));
    QString selectedFilter = kJsonFilter;
    const QString chosen =
        FileDialogHelper::getSaveFileName(this, QStringLiteral("Export to JSON or XML"), start,
                                          kJsonFilter + QStringLiteral(";;") + kXmlFilter, &selectedFilter);
    if (chosen.isEmpty())
        return false;
    const QString target = QDir::cleanPath(QFileInfo(chosen).absoluteFilePath());
    lastUsedDirectory = QFileInfo(target).absolutePath();
    // The name's extension decides; a name without one of the two takes the chosen filter's.
    const QString suffix = QFileInfo(target).suffix().toLower();
    const FileType type = suffix == QLatin1String("xml")    ? FILE_TYPE_XML
                          : suffix == QLatin1String("json") ? FILE_TYPE_JSON
                          : selectedFilter == kXmlFilter    ? FILE_TYPE_XML
                                                            : FILE_TYPE_JSON;
    // The document is made on the model's worker, with progress and Cancel on a large table, and
    // written in one step at the end: a canceled export leaves no file behind.
    TableModel* m = view->tableModel();
    const TableData& data = m->getTableData();
    const int numRows = data.numRawRows();
    const Conversion::RowReader rowAt = Conversion::tableRowReader(*m);
    QByteArray document;
    bool finished = false;
    {
        WorkerProgress progress(view, m, tr("Exporting..."), tr("Export to JSON or XML"));
        const bool useThread = qint64(numRows) * data.numRawCols() >= kExportCellsOnWorker;
        finished = m->readCellsOnWorker(
            [&](TableModelWorker& work) {
                const Conversion::Progress report = [&work](qint64 done, qint64 total) {
                    return work.reportProgress(done, total);
                };
                document = type == FILE_TYPE_XML
                               ? Conversion::convertTableToXml(numRows, rowAt, data.getLineEnding(), report)
                               : Conversion::convertTableToJson(numRows, rowAt, data.getLineEnding(), report);
                return !document.isEmpty();
            },
            useThread);
    }
    if (!finished)
        return false;
    if (!Conversion::writeDocument(target, document)) {
        MsgBox::inform(this, QStringLiteral("File failed to save."));
        return false;
    }
    return true;
}
