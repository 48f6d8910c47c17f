// Prompts that ask for a size or a number a setting takes: row heights and column widths, the
// first row and column index, the table's minimum size and buffer, the read-only question's
// threshold.

#include "window/mainwindow.h"

#include "preferences/preferencefiles.h"
#include "table/tablemodel.h"
#include "util/promptutilities.h"
#include "view/tableview.h"
#include "window/launcher.h"
#include "window/paneview.h"

#include <climits>

namespace {

// Wide enough for any row or column; Qt keeps section sizes in an int.
constexpr int kMaxSectionSize = 10000;
// The table's least size and its buffer of empty lines: more would only fill the grid, and a
// count in the billions would hold the window for minutes.
constexpr int kMaxEmptyLines = 1000000;

int settingMaximum(SettingType type) {
    switch (type) {
    case MinTableRows:
    case MinTableColumns:
    case BufferRows:
    case BufferColumns:
        return kMaxEmptyLines;
    case DefaultRowHeight:
    case DefaultColumnWidth:
    case MaxAutoFitRowHeight:
    case MaxAutoFitColumnWidth:
        return kMaxSectionSize;
    default:
        return INT_MAX;
    }
}

} // namespace

void MainWindow::raiseNumberPrompt(const QString& title, const QString& description, const QString& text,
                                   int minimum, int maximum, const std::function<void(int)>& apply) {
    Launcher* launcher = makePromptLauncher(title, description);
    launcher->setEditorText(text);
    connect(launcher, &Launcher::launcherResponseSignal, this,
            [this, title, description, minimum, maximum, apply](const QString& response) {
                paneView->clearPrevOptionList();
                int value = 0;
                if (!Utilities::parseIntegerString(value, response, minimum, maximum)) {
                    // An answer out of range comes back in the prompt, to be put right.
                    raiseNumberPrompt(title, description, response, minimum, maximum, apply);
                    return;
                }
                apply(value);
            });
    paneView->setLauncher(launcher);
}

void MainWindow::raiseSettingPrompt(SettingType type, const QString& what,
                                    const std::function<void(int)>& apply, TableView* view) {
    const Setting* setting = settings.get(type);
    if (!setting)
        return;
    const int minimum = setting->dataType == IntPositive      ? 1
                        : setting->dataType == IntNonNegative ? 0
                                                              : INT_MIN;
    const int now = view ? view->getSettings(false).getValueInt(type) : settings.getValueInt(type);
    const int maximum = settingMaximum(type);
    const QString range = maximum != INT_MAX ? tr("A whole number from %1 to %L2.").arg(minimum).arg(maximum)
                          : minimum == 1     ? tr("A whole number from 1 up.")
                          : minimum == 0     ? tr("A whole number from 0 up.")
                                             : tr("A whole number; below 0 counts back.");
    // A setting of the whole program is remembered in the settings file, as a switch is; one
    // given for a table stays with that table.
    const bool remembered = !view && setting->userEditable;
    raiseNumberPrompt(tr("%1:").arg(setting->name), tr("%1 %2 Now: <b>%L3</b>").arg(what, range).arg(now),
                      QString(), minimum, maximum, [this, apply, type, remembered](int value) {
                          apply(value);
                          if (remembered)
                              PreferenceFiles::writeSettingToFile(settings, type);
                      });
}

// --- Grid size -----------------------------------------------------------------------------

bool MainWindow::commandSetSelectedRowHeights(const QString& path) {
    TableView* view = tableForEdit(path);
    if (!view)
        return false;
    raiseNumberPrompt(
        tr("Height of the Selected Row(s):"),
        tr("In pixels, from 1 to %L1.<br>Examples: <b>24</b>, <b>60 px</b>").arg(kMaxSectionSize), QString(),
        1, kMaxSectionSize, [view = QPointer<TableView>(view)](int height) {
            if (view)
                view->setSelectedRowHeights(height);
        });
    return true;
}

bool MainWindow::commandSetSelectedColumnWidths(const QString& path) {
    TableView* view = tableForEdit(path);
    if (!view)
        return false;
    raiseNumberPrompt(
        tr("Width of the Selected Column(s):"),
        tr("In pixels, from 1 to %L1.<br>Examples: <b>80</b>, <b>200 px</b>").arg(kMaxSectionSize), QString(),
        1, kMaxSectionSize, [view = QPointer<TableView>(view)](int width) {
            if (view)
                view->setSelectedColumnWidths(width);
        });
    return true;
}

bool MainWindow::commandSetDefaultRowHeight(const QString&) {
    raiseSettingPrompt(DefaultRowHeight, tr("The height of every row not sized by hand, in pixels."),
                       [this](int height) {
                           settings.setValue(DefaultRowHeight, height);
                           for (TableView* view : getAllTableViews())
                               view->setDefaultRowHeight(height);
                       });
    return true;
}

bool MainWindow::commandSetDefaultColumnWidth(const QString&) {
    raiseSettingPrompt(DefaultColumnWidth, tr("The width of every column not sized by hand, in pixels."),
                       [this](int width) {
                           settings.setValue(DefaultColumnWidth, width);
                           for (TableView* view : getAllTableViews())
                               view->setDefaultColumnWidth(width);
                       });
    return true;
}

bool MainWindow::commandSetMaximumRowHeightForAutoFit(const QString& path) {
    TableView* view = tableForEdit(path);
    if (!view)
        return false;
    raiseSettingPrompt(
        MaxAutoFitRowHeight, tr("Auto-fit makes no row of this table taller, in pixels."),
        [view = QPointer<TableView>(view)](int height) {
            if (view)
                view->setMaxAutoFitRowHeight(height);
        },
        view);
    return true;
}

bool MainWindow::commandSetMaximumColumnWidthForAutoFit(const QString& path) {
    TableView* view = tableForEdit(path);
    if (!view)
        return false;
    raiseSettingPrompt(
        MaxAutoFitColumnWidth, tr("Auto-fit makes no column of this table wider, in pixels."),
        [view = QPointer<TableView>(view)](int width) {
            if (view)
                view->setMaxAutoFitColWidth(width);
        },
        view);
    return true;
}

// --- Labels ----------------------------------------------------------------------------------

bool MainWindow::commandSetFirstRowIndex(const QString& path) {
    TableView* view = tableForEdit(path);
    if (!view)
        return false;
    raiseSettingPrompt(
        FirstRowIndex, tr("The number the row labels start from."),
        [view = QPointer<TableView>(view)](int index) {
            if (view)
                view->setFirstRowIndex(index);
        },
        view);
    return true;
}

bool MainWindow::commandSetFirstColumnIndex(const QString& path) {
    TableView* view = tableForEdit(path);
    if (!view)
        return false;
    raiseSettingPrompt(
        FirstColumnIndex, tr("The number the column labels start from."),
        [view = QPointer<TableView>(view)](int index) {
            if (view)
                view->setFirstColIndex(index);
        },
        view);
    return true;
}

// --- Table size and the read-only question --------------------------------------------------

bool MainWindow::commandSetMinimumNumberOfTableRows(const QString&) {
    raiseSettingPrompt(MinTableRows, tr("Rows an editable table always shows, empty ones included."),
                       [this](int n) { setMinNumTableRows(n); });
    return true;
}

bool MainWindow::commandSetMinimumNumberOfTableColumns(const QString&) {
    raiseSettingPrompt(MinTableColumns, tr("Columns an editable table always shows, empty ones included."),
                       [this](int n) { setMinNumTableCols(n); });
    return true;
}

bool MainWindow::commandSetNumberOfBufferRows(const QString&) {
    raiseSettingPrompt(BufferRows, tr("Empty rows kept below the last row with data."),
                       [this](int n) { setNumBufferRows(n); });
    return true;
}

bool MainWindow::commandSetNumberOfBufferColumns(const QString&) {
    raiseSettingPrompt(BufferColumns, tr("Empty columns kept right of the last column with data."),
                       [this](int n) { setNumBufferCols(n); });
    return true;
}

bool MainWindow::commandSetMinimumFileSizeForReadOnlyModeQuery(const QString&) {
    raiseSettingPrompt(MinFileSizeReadOnlyQuery,
                       tr("Files of this many megabytes or more ask whether to open read-only."),
                       [this](int mb) { setMinimumFileSizeAskAboutReadOnlyMb(mb); });
    return true;
}
