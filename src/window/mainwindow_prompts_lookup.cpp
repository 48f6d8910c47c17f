// Column Lookup: the chain of prompts that names two tables, their key columns, the columns to
// copy and where they go, and the one undo step that writes them.

#include "window/mainwindow.h"

#include "table/tablemodel.h"
#include "util/locationutilities.h"
#include "util/lookuputilities.h"
#include "view/tableview.h"
#include "window/launcher.h"
#include "window/optiondata.h"
#include "window/paneview.h"
#include "window/prevoptionwidget.h"

#include <QFileInfo>

#include <algorithm>

namespace {

bool lettersIn(const TableView* view) {
    return view && view->getSettings(false).getValueBool(RepresentColumnsAsLetters);
}

// A typed column in the counting the prompt showed it in; letters name the stored columns.
int userColFromTyped(const TableModel* model, int typed, bool letters) {
    return letters ? model->getUserFromRawCol(typed) : typed;
}

// The model column of a user column of the data, or -1; with `allowEnd` also the column just
// past the data, where values can go as new columns at the end.
int modelColFromUser(const TableModel* model, int user, bool allowEnd = false) {
    const int raw = model->getRawFromUserCol(user);
    if (allowEnd && raw == model->columnCountRaw())
        return model->columnCountModel();
    if (raw < 0 || raw >= model->columnCountRaw())
        return -1;
    const int col = model->getModelFromUserCol(user);
    return col >= 0 && col < model->columnCountModel() ? col : -1;
}

// The user columns as the prompt's feedback names them: letters or numbers.
std::vector<int> typedCols(const TableModel* model, const std::vector<int>& userCols, bool letters) {
    std::vector<int> out;
    for (const int user : userCols)
        out.push_back(letters ? model->getRawFromUserCol(user) : user);
    return out;
}

const QString kResponsePrefix = QStringLiteral("lookup-tab:");

} // namespace

bool MainWindow::commandColumnLookup(const QString& path) {
    TableView* view = activeTableForEdit(path);
    if (!view)
        return false;
    lookupClearVariables();
    lookupStartTable = view;
    onColumnLookupFromFilePrompt();
    return true;
}

void MainWindow::lookupClearVariables() {
    lookupStartTable = nullptr;
    lookupSourceTable = nullptr;
    lookupDestTable = nullptr;
    lookupSourceKeyCol = 0;
    lookupSourceValueCols.clear();
    lookupSourceValueColsText.clear();
    lookupDestKeyCol = 0;
    lookupDestValueCol = 0;
    lookupInsertNewCols = false;
    lookupMismatchValue.clear();
    paneView->clearPrevOptionList();
}

// Each prompt starts with no column lit in either table.
static void clearLookupHighlights(TableView* a, TableView* b) {
    for (TableView* view : {a, b}) {
        if (view && view->tableModel())
            view->tableModel()->clearHighlightedRange();
    }
}

void MainWindow::addLookupPrevOption(const QString& question, const QString& answer,
                                     void (MainWindow::*prompt)()) {
    auto* bar = new PrevOptionWidget(question, answer);
    bar->propagateSettings(settings);
    connect(bar, &PrevOptionWidget::expandThisSignal, this, prompt);
    paneView->addPrevOption(bar);
}

void MainWindow::raiseLookupFilePrompt(const QString& title, bool forWriting,
                                       void (MainWindow::*received)(const QString&)) {
    clearLookupHighlights(lookupSourceTable, lookupDestTable);
    std::vector<OptionData> options;
    const std::vector<TableView*> views = paneView->getTableViews();
    // "(Current file)" first: the table the command started from.
    TableView* current = lookupStartTable ? lookupStartTable.data() : activeTable;
    const auto add = [&](TableView* view, const QString& text) {
        // Values can only be written where the table can change.
        if (forWriting && view->isReadOnly())
            return;
        const QString path =
            view->tableModel() ? view->tableModel()->getTableData().getFilepath() : QString();
        const int index = paneView->getTableIndex(view);
        options.push_back(OptionData{text,
                                     text == tableName(view) ? path : tableName(view),
                                     {},
                                     {},
                                     kResponsePrefix + QString::number(index)});
    };
    if (current)
        add(current, tr("(Current file)"));
    for (TableView* view : views) {
        if (view != current)
            add(view, tableName(view));
    }
    Launcher* launcher = makePromptLauncher(title, tr("Press enter for current file."));
    launcher->setOptions(options);
    connect(launcher, &Launcher::launcherResponseSignal, this, received);
    paneView->setLauncher(launcher);
}

TableView* MainWindow::lookupTableFromAnswer(const QString& response) {
    const QString answer = response.trimmed();
    if (answer.startsWith(kResponsePrefix)) {
        bool ok = false;
        const int index = answer.mid(kResponsePrefix.size()).toInt(&ok);
        return ok && index >= 0 && index < paneView->getNumTables() ? paneView->getTableAt(index) : nullptr;
    }
    // A path of a file that isn't open yet: opened, then found among the tables.
    if (answer.isEmpty())
        return nullptr;
    const QFileInfo info(answer);
    if (!info.isFile())
        return nullptr;
    const QString path = info.absoluteFilePath();
    if (TableView* open = getTableView(path))
        return open;
    openFile(path);
    return getTableView(path);
}

void MainWindow::onColumnLookupFromFilePrompt() {
    raiseLookupFilePrompt(tr("Select the File to Look Up Data From:"), false,
                          &MainWindow::onColumnLookupFromFilePromptReceived);
}

void MainWindow::onColumnLookupFromFilePromptReceived(const QString& response) {
    TableView* source = lookupTableFromAnswer(response);
    if (!source || source->isLoading()) {
        lookupClearVariables();
        return;
    }
    lookupSourceTable = source;
    addLookupPrevOption(tr("Select the File to Look Up Data From:"), tableName(source),
                        &MainWindow::onColumnLookupFromFilePrompt);
    // The source's columns are chosen where they can be seen.
    if (source != activeTable)
        setActiveTable(source);
    onColumnLookupFromKeyColPrompt();
}

std::vector<int> MainWindow::highlightColFromString(const QString& text, TableView* view,
                                                    LookupColStep step) {
    std::vector<int> cols;
    Launcher* launcher = getLauncher();
    if (!view || !view->tableModel())
        return cols;
    TableModel* model = view->tableModel();
    const bool letters = lettersIn(view);
    if (!lookupColsFromAnswer(text, view, step, cols))
        cols.clear();
    if (launcher)
        launcher->setEntryFeedbackText(
            Utilities::computeColRangeFeedbackString(typedCols(model, cols, letters), letters));
    RangeVector highlight;
    for (const int user : cols)
        highlight.push_back(Range(model->getRawFromUserCol(user), RangeType::Col, RangeIndexType::Raw));
    if (highlight.empty())
        model->clearHighlightedRange();
    else
        model->setHighlightedRange(highlight);
    if (!cols.empty() && view == activeTable) {
        const int col = modelColFromUser(model, cols.front(), true);
        if (col >= 0)
            view->scrollToCellAxis(col, false, Axis::Col);
    }
    return cols;
}

bool MainWindow::lookupColsFromAnswer(const QString& text, TableView* view, LookupColStep step,
                                      std::vector<int>& cols) {
    cols.clear();
    TableModel* model = view ? view->tableModel() : nullptr;
    if (!model)
        return false;
    const bool letters = lettersIn(view);
    const int first = model->getUserFromRawCol(0);
    if (step == LookupColStep::SourceValues) {
        const Utilities::LookupColumnsAnswer answer = Utilities::parseLookupColumnsAnswer(
            text, letters, letters ? model->columnCountRaw() - 1 : first + model->columnCountRaw() - 1);
        if (answer.blank) {
            std::vector<int> selected;
            model->getOrderedSetOfSelectedCols(selected);
            for (const int col : selected) {
                if (col >= 0 && col < model->columnCountModel())
                    cols.push_back(model->getUserFromModelCol(col));
            }
        } else if (answer.allButKey) {
            for (int col = 0; col < model->columnCountModel(); ++col) {
                const int user = model->getUserFromModelCol(col);
                if (user != lookupSourceKeyCol)
                    cols.push_back(user);
            }
        } else if (answer.valid) {
            for (const int typed : answer.cols)
                cols.push_back(userColFromTyped(model, typed, letters));
        }
    } else {
        const Utilities::LookupColumnAnswer answer = Utilities::parseLookupColumnAnswer(text, letters);
        if (answer.blank) {
            int col = 0; // the destination's first column
            if (step == LookupColStep::SourceKey)
                col = model->getMainCell().col;
            else if (step == LookupColStep::DestValue)
                col = modelColFromUser(model, lookupDestKeyCol) + 1;
            if (col >= 0 && col < model->columnCountModel())
                cols.push_back(model->getUserFromModelCol(col));
            else if (step == LookupColStep::DestValue && col == model->columnCountModel())
                cols.push_back(model->getUserFromRawCol(model->columnCountRaw()));
        } else if (answer.valid) {
            cols.push_back(userColFromTyped(model, answer.col, letters));
        }
    }
    // Only columns of the data, and for the values' place the one right after it.
    const bool allowEnd = step == LookupColStep::DestValue;
    cols.erase(
        std::remove_if(cols.begin(), cols.end(),
                       [model, allowEnd](int user) { return modelColFromUser(model, user, allowEnd) < 0; }),
        cols.end());
    return !cols.empty();
}

void MainWindow::raiseLookupColPrompt(const QString& title, const QString& description, LookupColStep step,
                                      void (MainWindow::*edited)(const QString&),
                                      void (MainWindow::*received)(const QString&)) {
    clearLookupHighlights(lookupSourceTable, lookupDestTable);
    Launcher* launcher = makePromptLauncher(title, description);
    launcher->setupEntryFeedback();
    connect(launcher, &Launcher::promptEditedSignal, this, edited);
    connect(launcher, &Launcher::launcherResponseSignal, this, received);
    paneView->setInitialScrollBarLocations();
    paneView->setLauncher(launcher);
    // The default, lit before anything is typed.
    TableView* view = step == LookupColStep::SourceKey || step == LookupColStep::SourceValues
                          ? lookupSourceTable.data()
                          : lookupDestTable.data();
    highlightColFromString(QString(), view, step);
    launcher->adjustHeight(0);
}

void MainWindow::onColumnLookupFromKeyColPrompt() {
    raiseLookupColPrompt(tr("Enter the Source Key Column:"),
                         tr("For selected column, leave blank and hit enter."), LookupColStep::SourceKey,
                         &MainWindow::onColumnLookupFromKeyColPromptEdited,
                         &MainWindow::onColumnLookupFromKeyColPromptReceived);
}

void MainWindow::onColumnLookupFromKeyColPromptEdited(const QString& text) {
    highlightColFromString(text, lookupSourceTable, LookupColStep::SourceKey);
}

void MainWindow::onColumnLookupFromKeyColPromptReceived(const QString& response) {
    clearLookupHighlights(lookupSourceTable, lookupDestTable);
    std::vector<int> cols;
    if (!lookupColsFromAnswer(response, lookupSourceTable, LookupColStep::SourceKey, cols)) {
        lookupClearVariables();
        return;
    }
    lookupSourceKeyCol = cols.front();
    const bool letters = lettersIn(lookupSourceTable);
    addLookupPrevOption(tr("Enter the Source Key Column:"),
                        Utilities::computeColRangeFeedbackString(
                            typedCols(lookupSourceTable->tableModel(), cols, letters), letters),
                        &MainWindow::onColumnLookupFromKeyColPrompt);
    onColumnLookupFromValueColsPrompt();
}

void MainWindow::onColumnLookupFromValueColsPrompt() {
    raiseLookupColPrompt(tr("Enter the Source Value Column(s):"),
                         tr("For selected column, leave blank and hit enter.") +
                             tr("<br>For all columns except the key column, type *."),
                         LookupColStep::SourceValues, &MainWindow::onColumnLookupFromValueColsPromptEdited,
                         &MainWindow::onColumnLookupFromValueColsPromptReceived);
}

void MainWindow::onColumnLookupFromValueColsPromptEdited(const QString& text) {
    highlightColFromString(text, lookupSourceTable, LookupColStep::SourceValues);
}

void MainWindow::onColumnLookupFromValueColsPromptReceived(const QString& response) {
    clearLookupHighlights(lookupSourceTable, lookupDestTable);
    std::vector<int> cols;
    if (!lookupColsFromAnswer(response, lookupSourceTable, LookupColStep::SourceValues, cols)) {
        lookupClearVariables();
        return;
    }
    lookupSourceValueCols = cols;
    lookupSourceValueColsText = response.trimmed();
    const bool letters = lettersIn(lookupSourceTable);
    addLookupPrevOption(tr("Enter the Source Value Column(s):"),
                        Utilities::computeColRangeFeedbackString(
                            typedCols(lookupSourceTable->tableModel(), cols, letters), letters),
                        &MainWindow::onColumnLookupFromValueColsPrompt);
    // "(Current file)" in the next list is the table the command started from again.
    if (lookupStartTable && lookupStartTable != activeTable)
        setActiveTable(lookupStartTable);
    onColumnLookupToFilePrompt();
}

void MainWindow::onColumnLookupToFilePrompt() {
    raiseLookupFilePrompt(tr("Select the File to Write Data To:"), true,
                          &MainWindow::onColumnLookupToFilePromptReceived);
}

void MainWindow::onColumnLookupToFilePromptReceived(const QString& response) {
    TableView* dest = lookupTableFromAnswer(response);
    if (!dest || dest->isLoading() || dest->isReadOnly() || !lookupSourceTable) {
        lookupClearVariables();
        return;
    }
    lookupDestTable = dest;
    addLookupPrevOption(tr("Select the File to Write Data To:"), tableName(dest),
                        &MainWindow::onColumnLookupToFilePrompt);
    if (dest != activeTable)
        setActiveTable(dest);
    onColumnLookupToKeyColPrompt();
}

void MainWindow::onColumnLookupToKeyColPrompt() {
    raiseLookupColPrompt(tr("Enter the Destination Key Column:"),
                         tr("For the first column, leave blank and hit enter."), LookupColStep::DestKey,
                         &MainWindow::onColumnLookupToKeyColPromptEdited,
                         &MainWindow::onColumnLookupToKeyColPromptReceived);
}

void MainWindow::onColumnLookupToKeyColPromptEdited(const QString& text) {
    highlightColFromString(text, lookupDestTable, LookupColStep::DestKey);
}

void MainWindow::onColumnLookupToKeyColPromptReceived(const QString& response) {
    clearLookupHighlights(lookupSourceTable, lookupDestTable);
    std::vector<int> cols;
    if (!lookupColsFromAnswer(response, lookupDestTable, LookupColStep::DestKey, cols)) {
        lookupClearVariables();
        return;
    }
    lookupDestKeyCol = cols.front();
    const bool letters = lettersIn(lookupDestTable);
    addLookupPrevOption(tr("Enter the Destination Key Column:"),
                        Utilities::computeColRangeFeedbackString(
                            typedCols(lookupDestTable->tableModel(), cols, letters), letters),
                        &MainWindow::onColumnLookupToKeyColPrompt);
    onColumnLookupToValueColPrompt();
}

void MainWindow::onColumnLookupToValueColPrompt() {
    raiseLookupColPrompt(tr("Enter the Destination Value Column:"),
                         tr("For the first column after the key column, leave blank and hit enter."),
                         LookupColStep::DestValue, &MainWindow::onColumnLookupToValueColPromptEdited,
                         &MainWindow::onColumnLookupToValueColPromptReceived);
}

void MainWindow::onColumnLookupToValueColPromptEdited(const QString& text) {
    highlightColFromString(text, lookupDestTable, LookupColStep::DestValue);
}

void MainWindow::onColumnLookupToValueColPromptReceived(const QString& response) {
    clearLookupHighlights(lookupSourceTable, lookupDestTable);
    std::vector<int> cols;
    if (!lookupColsFromAnswer(response, lookupDestTable, LookupColStep::DestValue, cols)) {
        lookupClearVariables();
        return;
    }
    lookupDestValueCol = cols.front();
    const bool letters = lettersIn(lookupDestTable);
    addLookupPrevOption(tr("Enter the Destination Value Column:"),
                        Utilities::computeColRangeFeedbackString(
                            typedCols(lookupDestTable->tableModel(), cols, letters), letters),
                        &MainWindow::onColumnLookupToValueColPrompt);
    onColumnLookupInsertNewColsPrompt();
}

void MainWindow::onColumnLookupInsertNewColsPrompt() {
    clearLookupHighlights(lookupSourceTable, lookupDestTable);
    Launcher* launcher =
        makePromptLauncher(tr("Do you want to insert new columns or overwrite existing columns?"), QString());
    std::vector<OptionData> options;
    options.push_back(OptionData{QStringLiteral("Insert new columns"), {}, {}, {}, {}});
    options.push_back(OptionData{QStringLiteral("Overwrite existing columns"), {}, {}, {}, {}});
    launcher->setOptions(options);
    connect(launcher, &Launcher::launcherResponseSignal, this,
            &MainWindow::onColumnLookupInsertNewColsPromptReceived);
    paneView->setLauncher(launcher);
}

void MainWindow::onColumnLookupInsertNewColsPromptReceived(const QString& response) {
    paneView->clearPrevOptionList();
    // Anything but "Insert new columns" overwrites; the whole lookup is one undo step either way.
    lookupInsertNewCols = Utilities::isInsertNewColumnsAnswer(response);
    performColumnLookup();
}

// A value for rows whose key the other table lacks. No step of the chain asks it yet, so such
// rows stay as they are (an empty mismatch value writes nothing).
void MainWindow::onColumnLookupHandleMismatchesPrompt() {
    Launcher* launcher = makePromptLauncher(tr("Enter the value for cells with mismatched keys:"),
                                            tr("To leave them empty, leave blank and hit enter."));
    connect(launcher, &Launcher::launcherResponseSignal, this,
            &MainWindow::onColumnLookupHandleMismatchesPromptReceived);
    paneView->setLauncher(launcher);
}

void MainWindow::onColumnLookupHandleMismatchesPromptReceived(const QString& response) {
    lookupMismatchValue = response;
    performColumnLookup();
}

void MainWindow::performColumnLookup() {
    TableView* source = lookupSourceTable;
    TableView* dest = lookupDestTable;
    if (!source || !dest || !source->tableModel() || !dest->tableModel() || source->isLoading())
        return;
    TableModel* sourceModel = source->tableModel();
    TableModel* destModel = dest->tableModel();
    const int keyCol = modelColFromUser(sourceModel, lookupSourceKeyCol);
    const int destKeyCol = modelColFromUser(destModel, lookupDestKeyCol);
    const int destValueCol = modelColFromUser(destModel, lookupDestValueCol, true);
    std::vector<int> valueCols = sourceModel->getModelFromUserCols(lookupSourceValueCols);
    if (keyCol < 0 || destKeyCol < 0 || destValueCol < 0 || valueCols.empty() ||
        std::any_of(valueCols.begin(), valueCols.end(),
                    [sourceModel](int col) { return col < 0 || col >= sourceModel->columnCountModel(); }))
        return;
    if (dest != activeTable)
        setActiveTable(dest);
    dest->columnLookup(sourceModel, keyCol, std::move(valueCols), destKeyCol, destValueCol,
                       lookupInsertNewCols, lookupMismatchValue);
}
