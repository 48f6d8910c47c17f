#include "window/mainwindow.h"

#include "convert/conversion.h"
#include "table/tabledata.h"
#include "table/tablemodel.h"
#include "util/msgbox.h"
#include "view/tableview.h"
#include "window/filedialoghelper.h"

#include <QDir>
#include <QFileInfo>

namespace {

const QString kJsonFilter = QStringLiteral("JSON Files (*.json)");
const QString kXmlFilter = QStringLiteral("XML Files (*.xml)");

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
    if (!Conversion::convertFromTable(type, *model, target)) {
        MsgBox::inform(this, QStringLiteral("File failed to save."));
        return false;
    }
    return true;
}
