// Command slots of printing: the print dialog over a table, to a printer or a PDF file.

#include "window/mainwindow.h"

#include "convert/printdialog.h"
#include "table/tabledata.h"
#include "table/tablemodel.h"
#include "view/tableview.h"

PrintDialog* MainWindow::getPrintDialog() const {
    return printDialog;
}

bool MainWindow::openPrintDialog(const QString& path, bool exportToPdf) {
    TableView* view = resolveTable(path);
    if (!view || view->isLoading())
        return false;
    view->stopEditing(true);
    // One dialog at a time: a second call brings the open one forward.
    if (printDialog) {
        printDialog->raise();
        printDialog->activateWindow();
        return true;
    }
    printDialog = new PrintDialog(view, exportToPdf, printSettings, this);
    printDialog->setAttribute(Qt::WA_DeleteOnClose);
    QStringList tableFiles;
    for (const TableView* table : getAllTableViews()) {
        if (table->tableModel())
            tableFiles.append(table->tableModel()->getTableData().getFilepath());
    }
    printDialog->setOpenTableFiles(tableFiles);
    connect(printDialog, &PrintDialog::printDialogClosingSignal, this, [this] {
        if (!printDialog)
            return;
        printSettings = printDialog->printSettings();
        // Closing is final: the next command opens a new dialog, not this one on its way out.
        printDialog = nullptr;
        updateConfigFile();
    });
    // The keys go back to the table, also where no window manager hands the focus back.
    connect(printDialog, &QDialog::finished, this, [this, table = QPointer<TableView>(view)] {
        activateWindow();
        if (table)
            table->setFocus();
    });
    // Window-modal and not blocking: the table waits, the event loop goes on.
    printDialog->open();
    return true;
}

bool MainWindow::commandPrint(const QString& path) {
    return openPrintDialog(path, false);
}

bool MainWindow::commandExportToPDF(const QString& path) {
    return openPrintDialog(path, true);
}
