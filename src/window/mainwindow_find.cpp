// Command slots of Find and the match commands of Selection, and the find area that holds the
// search bar and the find-all list.

#include "window/mainwindow.h"

#include "table/tablemodel.h"
#include "view/tableview.h"
#include "window/findreplacewidget.h"
#include "window/findresultswidget.h"
#include "window/paneview.h"

#include <QLayout>
#include <QLineEdit>
#include <QRegularExpression>
#include <QSplitter>
#include <QUndoStack>

namespace {

// Tables up to this many cells show the count of matches as the user types; above it the count
// waits for Find All, so that typing stays quick.
constexpr qint64 kLiveCountCells = 500000;

// Whether a table's name passes the all-files filter: blank passes all, otherwise wildcards
// ("*.csv", "data*"), several separated by commas.
bool passesFilter(const QString& name, const QString& filter) {
    const QString trimmed = filter.trimmed();
    if (trimmed.isEmpty())
        return true;
    for (const QString& part : trimmed.split(QLatin1Char(','), Qt::SkipEmptyParts)) {
        const QRegularExpression re(QRegularExpression::wildcardToRegularExpression(
                                        part.trimmed(), QRegularExpression::UnanchoredWildcardConversion),
                                    QRegularExpression::CaseInsensitiveOption);
        if (re.isValid() && re.match(name).hasMatch())
            return true;
    }
    return false;
}

} // namespace

void MainWindow::ensureFindWidgets() {
    if (findReplaceWidget)
        return;
    findReplaceWidget = new FindReplaceWidget(findArea);
    findResultsWidget = new FindResultsWidget(findArea);
    findResultsWidget->setTheme(settings.getTheme());
    connect(this, &MainWindow::setThemeSignal, findResultsWidget, &FindResultsWidget::setTheme);
    findResultsWidget->hide();
    findArea->layout()->addWidget(findReplaceWidget);
    findArea->layout()->addWidget(findResultsWidget);
    connect(findReplaceWidget, &FindReplaceWidget::findReplaceQuerySignal, this,
            &MainWindow::onFindReplaceQueryEdited);
    connect(findReplaceWidget, &FindReplaceWidget::closeSignal, this, &MainWindow::hideFindArea);
    connect(findReplaceWidget, &FindReplaceWidget::findNextButtonClickedSignal, this,
            [this](const FindReplaceQuery&) { commandFindNextMatch(); });
    connect(findReplaceWidget, &FindReplaceWidget::findPrevButtonClickedSignal, this,
            [this](const FindReplaceQuery&) { commandFindPreviousMatch(); });
    connect(findReplaceWidget, &FindReplaceWidget::findAllButtonClickedSignal, this,
            [this](const FindReplaceQuery&) { commandFindAllMatches(); });
    connect(findReplaceWidget, &FindReplaceWidget::replaceNextButtonClickedSignal, this,
            [this](const FindReplaceQuery&) { commandReplaceNextMatch(); });
    connect(findReplaceWidget, &FindReplaceWidget::replacePrevButtonClickedSignal, this,
            [this](const FindReplaceQuery&) { commandReplacePreviousMatch(); });
    connect(findReplaceWidget, &FindReplaceWidget::replaceAllButtonClickedSignal, this,
            [this](const FindReplaceQuery&) { commandReplaceAllMatches(); });
    connect(findReplaceWidget, &FindReplaceWidget::findAllFilesButtonClickedSignal, this,
            &MainWindow::onFindInAllFiles);
    connect(findReplaceWidget, &FindReplaceWidget::replaceAllFilesButtonClickedSignal, this,
            &MainWindow::onReplaceInAllFiles);
    connect(findReplaceWidget, &FindReplaceWidget::allFilesRequestedSignal, this,
            [this](bool on) { showFindArea(on ? 2 : 0); });
    connect(findResultsWidget, &FindResultsWidget::resultSelectedSignal, this,
            &MainWindow::onFindAllResultSelected);
}

void MainWindow::showFindArea(int mode) {
    ensureFindWidgets();
    if (mode == 0) {
        findReplaceWidget->setFindConfiguration();
        removeContext(ContextReplaceOpen, false);
        addContext(ContextFindOpen | ContextFindMode);
    } else {
        if (mode == 2)
            findReplaceWidget->setAllFilesConfiguration();
        else
            findReplaceWidget->setReplaceConfiguration();
        removeContext(ContextFindMode, false);
        addContext(ContextFindOpen | ContextReplaceOpen);
    }
    findArea->show();
    verticalSplitter->setStretchFactor(1, findResultsWidget->isVisible() ? 1 : 0);
    findReplaceWidget->focusFind();
    onFindReplaceQueryEdited(findReplaceWidget->getFindReplaceQuery(true));
}

void MainWindow::hideFindArea() {
    findArea->hide();
    verticalSplitter->setStretchFactor(1, 0);
    removeContext(ContextFindOpen | ContextFindMode | ContextReplaceOpen);
    if (findTable)
        findTable->onFindReplaceClosed();
    findTable = nullptr;
    if (activeTable && !activeTable->isHidden())
        activeTable->setFocus();
}

TableView* MainWindow::findTableFor(const QString& path) {
    TableView* view = tableForEdit(path);
    if (view && findReplaceWidget)
        connect(view, &TableView::noMatchSignal, findReplaceWidget, &FindReplaceWidget::noMatch,
                Qt::UniqueConnection);
    return view;
}

bool MainWindow::currentFindQuery(FindReplaceQuery& query, bool replacing) {
    if (!findReplaceWidget || findArea->isHidden() || (replacing && findReplaceWidget->getMode() == 0)) {
        showFindArea(replacing ? 1 : 0);
        return false;
    }
    query = findReplaceWidget->getFindReplaceQuery(true);
    if (query.findStr.isEmpty()) {
        findReplaceWidget->focusFind();
        return false;
    }
    findReplaceWidget->addFindStringToList(query.findStr);
    if (replacing)
        findReplaceWidget->addReplaceStringToList(query.replaceStr);
    return true;
}

void MainWindow::onFindReplaceQueryEdited(const FindReplaceQuery& query) {
    if (findTable && findTable != activeTable) {
        findTable->onFindReplaceClosed();
        // The find-all list belongs to the table it was made for.
        if (findResultsWidget)
            findResultsWidget->hide();
    }
    findTable = activeTable;
    if (!activeTable || !activeModel || activeTable->isLoading())
        return;
    activeTable->onFindReplaceEdited(query);
    if (!findReplaceWidget || query.findStr.isEmpty())
        return;
    // The count as the user types, where the table is small enough to count at once.
    const qint64 cellCount = qint64(activeModel->rowCountModel()) * activeModel->columnCountModel();
    if (cellCount > kLiveCountCells)
        return;
    const qsizetype n = static_cast<qsizetype>(activeModel->findAll(query).size());
    if (n == 0)
        findReplaceWidget->noMatch(query.findStr);
    else
        findReplaceWidget->showFeedback(n == 1 ? tr("1 match") : tr("%1 matches").arg(QLocale().toString(n)));
}

// --- Commands ----------------------------------------------------------------------------

bool MainWindow::commandFind(const QString& path) {
    TableView* view = findTableFor(path);
    if (!view)
        return false;
    showFindArea(0);
    findTableFor(path);
    return true;
}

bool MainWindow::commandReplace(const QString& path) {
    TableView* view = findTableFor(path);
    if (!view || view->isReadOnly())
        return false;
    showFindArea(1);
    findTableFor(path);
    return true;
}

bool MainWindow::commandFindNextMatch(const QString& path) {
    TableView* view = findTableFor(path);
    FindReplaceQuery query;
    if (!view || !currentFindQuery(query, false))
        return false;
    findTableFor(path);
    return view->findNextMatch(query, false);
}

bool MainWindow::commandFindPreviousMatch(const QString& path) {
    TableView* view = findTableFor(path);
    FindReplaceQuery query;
    if (!view || !currentFindQuery(query, false))
        return false;
    findTableFor(path);
    return view->findPrevMatch(query, false);
}

bool MainWindow::commandFindAllMatches(const QString& path) {
    TableView* view = findTableFor(path);
    FindReplaceQuery query;
    if (!view || !currentFindQuery(query, false))
        return false;
    findTableFor(path);
    bool canceled = false;
    const std::vector<FindResult> results = view->findAll(query, &canceled);
    if (canceled)
        return false;
    findResultsWidget->setResults(results);
    findResultsWidget->show();
    verticalSplitter->setStretchFactor(1, 1);
    return !results.empty();
}

bool MainWindow::replaceStep(const QString& path, bool next) {
    TableView* view = findTableFor(path);
    FindReplaceQuery query;
    if (!view || view->isReadOnly() || !currentFindQuery(query, true))
        return false;
    findTableFor(path);
    // The first press replaces the match under the cursor.
    TableModel* m = view->tableModel();
    std::vector<int> positions;
    const Range main = m->getMainCell();
    const bool atMatch = m->determineMatch(query, main.row, main.col, positions);
    return next ? view->replaceNextMatch(query, atMatch) : view->replacePrevMatch(query, atMatch);
}

bool MainWindow::commandReplaceNextMatch(const QString& path) {
    return replaceStep(path, true);
}

bool MainWindow::commandReplacePreviousMatch(const QString& path) {
    return replaceStep(path, false);
}

bool MainWindow::commandReplaceAllMatches(const QString& path) {
    TableView* view = findTableFor(path);
    FindReplaceQuery query;
    if (!view || view->isReadOnly() || !currentFindQuery(query, true))
        return false;
    findTableFor(path);
    qsizetype replaced = 0;
    if (!view->replaceAll(query, &replaced))
        return false;
    if (replaced > 0)
        findReplaceWidget->showFeedback(replaced == 1
                                            ? tr("Replaced 1 cell.")
                                            : tr("Replaced %1 cells.").arg(QLocale().toString(replaced)));
    return true;
}

// The query of the match commands of Selection: the find bar's when it is open with a text,
// otherwise the main cell's whole text, as it is written.
static bool selectionMatchQuery(const TableModel* m, const FindReplaceWidget* widget, bool findOpen,
                                FindReplaceQuery& query) {
    if (widget && findOpen) {
        query = widget->getFindReplaceQuery(true);
        if (!query.findStr.isEmpty())
            return true;
    }
    const Range main = m->getMainCell();
    query = FindReplaceQuery();
    query.findStr = m->getTableData().getValueModel(main.row, main.col).toString();
    query.caseSensitive = true;
    query.wholeCell = true;
    return !query.findStr.isEmpty();
}

bool MainWindow::commandAddNextMatchToSelection(const QString& path) {
    TableView* view = findTableFor(path);
    FindReplaceQuery query;
    if (!view || !selectionMatchQuery(view->tableModel(), findReplaceWidget, !findArea->isHidden(), query))
        return false;
    return view->addNextMatchToSelection(query);
}

bool MainWindow::commandSelectAllMatches(const QString& path) {
    TableView* view = findTableFor(path);
    FindReplaceQuery query;
    if (!view || !selectionMatchQuery(view->tableModel(), findReplaceWidget, !findArea->isHidden(), query))
        return false;
    return view->selectAllMatches(query);
}

void MainWindow::onFindAllResultSelected(int rawRow, int rawCol) {
    TableView* view = activeTable;
    if (!view || !activeModel)
        return;
    Range cell = activeModel->getModelRange(Range(rawRow, rawCol, RangeIndexType::Raw));
    if (!cell.isValid() || cell.row < 0 || cell.col < 0)
        return;
    activeModel->setSelection(cell);
    view->scrollToCell(cell.row, cell.col, true, true);
}

// --- All open files ------------------------------------------------------------------------

void MainWindow::onFindInAllFiles(const FindReplaceQuery& query) {
    // From the main cell on to the end of this table, then on through the other tables that pass
    // the filter, and round to this one's start.
    if (!activeTable || query.findStr.isEmpty())
        return;
    const int count = paneView->getNumTables();
    const int first = paneView->getTableIndex(activeTable);
    FindReplaceQuery q = query;
    q.inSelectedCells = false;
    for (int step = 0; step <= count; ++step) {
        TableView* view = paneView->getTableAt((first + step) % count);
        if (!view || !view->tableModel() || view->isLoading() ||
            !passesFilter(tableName(view), query.filterStr))
            continue;
        TableModel* m = view->tableModel();
        const RangeVector found = m->findAll(q);
        const Range main = m->getMainCell();
        for (const Range& raw : found) {
            Range cell = m->getModelRange(raw);
            const bool after = cell.row > main.row || (cell.row == main.row && cell.col > main.col);
            // In the starting table only what lies after the cursor, until the walk comes round.
            if (step == 0 && !after)
                continue;
            if (step == count && after)
                break;
            if (view != activeTable)
                setActiveTable(view);
            cell.value = QVariant();
            m->setSelection(cell);
            view->scrollToCell(cell.row, cell.col, true, true);
            showFindArea(2);
            findReplaceWidget->showFeedback(tableName(view));
            return;
        }
    }
    ensureFindWidgets();
    findReplaceWidget->noMatch(query.findStr);
}

void MainWindow::onReplaceInAllFiles(const FindReplaceQuery& query) {
    if (query.findStr.isEmpty())
        return;
    FindReplaceQuery q = query;
    q.inSelectedCells = false;
    int files = 0;
    qsizetype cells = 0;
    for (int i = 0; i < paneView->getNumTables(); ++i) {
        TableView* view = paneView->getTableAt(i);
        if (!view || view->isReadOnly() || view->isLoading() ||
            !passesFilter(tableName(view), query.filterStr))
            continue;
        view->stopEditing(true);
        qsizetype replaced = 0;
        if (view->replaceAll(q, &replaced)) {
            ++files;
            cells += replaced;
        }
    }
    ensureFindWidgets();
    if (files == 0)
        findReplaceWidget->noMatch(query.findStr);
    else
        findReplaceWidget->showFeedback(
            (cells == 1 ? tr("Replaced 1 cell") : tr("Replaced %1 cells").arg(QLocale().toString(cells))) +
            (files == 1 ? tr(" in 1 file.") : tr(" in %1 files.").arg(files)));
}
