#include "view/tableview.h"

#include "table/tablemodel.h"
#include "util/msgbox.h"
#include "view/frozentableview.h"
#include "view/headerview.h"

#include <QFontMetrics>
#include <QProgressDialog>
#include <QUndoStack>

void TableView::loadCSV(const QString& path, bool async) {
    TableModel* m = tableModel();
    if (!m)
        return;
    TableData& data = m->getTableData();
    if (async) {
        hide();
        loading = true;
        for (FrozenTableView* frozen : {frozenRows, frozenCols, frozenCorner})
            frozen->setLoading(true);
        setUpdatesEnabled(false);
    } else {
        horizontalHeader()->setResizeContentsPrecision(50);
        verticalHeader()->setResizeContentsPrecision(50);
    }
    m->loadCSV(path, async, fileMode == FileMode::ReadOnly ? TableData::ReadOnly : TableData::Editable,
               data.getDelimiterText(), data.getSaveDelimiterText(), data.getEncoding(),
               data.getParsingStandard());
    // A load that ends here has already fitted rows and columns as the settings ask, in
    // onLoadFinished; forcing a fit of every row on top of it costs seconds on large files.
}

bool TableView::isModified() const {
    return !undoStackObject->isClean() || editedOutsideUndo;
}

void TableView::markClean() {
    const bool was = isModified();
    editedOutsideUndo = false;
    undoStackObject->setClean();
    if (was)
        emit undoStackCleanChangedSignal(true);
}

void TableView::markModified() {
    const bool was = isModified();
    editedOutsideUndo = true;
    if (!was)
        emit undoStackCleanChangedSignal(false);
}

void TableView::onNewDataCommitted() {
    // Commands and the typing of an edit, which ends in a command, are counted by the stack.
    if (loading || editedOutsideUndo || runningCommand || writingEdit)
        return;
    const bool was = isModified();
    editedOutsideUndo = true;
    if (!was)
        emit undoStackCleanChangedSignal(false);
}

bool TableView::confirmDiscardUnsavedEditsForReload() {
    stopEditing(true);
    if (!isModified())
        return true;
    const int answer = MsgBox::ask(this,
                                   QStringLiteral("This file has unsaved changes.\n\n") +
                                       QStringLiteral("Would you like to save the file first, discard the "
                                                      "changes, or cancel?"),
                                   {{QStringLiteral("&Save"), QMessageBox::AcceptRole, 0, 0, true},
                                    {QStringLiteral("&Discard"), QMessageBox::DestructiveRole, 0, 0, true},
                                    {QStringLiteral("&Cancel"), QMessageBox::RejectRole, 0, 0, true}},
                                   0);
    if (answer == 1)
        return true;
    if (answer != 0)
        return false;
    TableModel* m = tableModel();
    if (!m || !m->saveCSV(true, false)) {
        MsgBox::inform(this, QStringLiteral("File failed to save."));
        return false;
    }
    markClean();
    return true;
}

void TableView::onTableSaved() {
    TableModel* m = tableModel();
    if (!m)
        return;
    TableData& data = m->getTableData();
    const QString save = data.getSaveDelimiterText();
    if (save == data.getDelimiterText())
        return;
    m->setDelimiter(save, save);
    const QString path = data.getFilepath();
    if (!path.isEmpty())
        loadCSV(path, false);
}

// --- Save progress -----------------------------------------------------------------------

void TableView::onSaveStarted() {
    delete saveProgressDialog;
    // No Cancel: a save stopped half way would leave the user wondering what is on disk. The
    // dialog is modal, so while it shows the table cannot change under the writer.
    auto* dialog = new QProgressDialog(tr("Saving..."), QString(), 0, 100, this);
    dialog->setObjectName(QStringLiteral("saveProgressDialog"));
    dialog->setWindowTitle(tr("Save"));
    dialog->setWindowModality(Qt::WindowModal);
    dialog->setMinimumDuration(400);
    dialog->setAutoClose(false);
    dialog->setAutoReset(false);
    dialog->setValue(0);
    saveProgressDialog = dialog;
}

void TableView::onSaveProgress(int percent) {
    if (saveProgressDialog)
        saveProgressDialog->setValue(percent);
}

void TableView::onSaveFinished() {
    delete saveProgressDialog;
}
