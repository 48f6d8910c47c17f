// Commands of the Data/Filter and Data/Hide/Show menus.

#include "window/mainwindow.h"

#include "table/tablemodel.h"
#include "util/filterutilities.h"
#include "view/tableview.h"

#include <QSet>

#include <algorithm>
#include <unordered_map>

namespace {

// The main cell's raw column (a column filter) or raw row (a row filter).
FilterData filterOnMainCell(const TableModel* model, bool onColumn) {
    FilterData filter;
    const Range main = model->getRawRange(model->getMainCell());
    filter.range = onColumn ? Range(std::max(main.col, 0), RangeType::Col, RangeIndexType::Raw)
                            : Range(std::max(main.row, 0), RangeType::Row, RangeIndexType::Raw);
    return filter;
}

} // namespace

bool MainWindow::commandAddFilter(const QString& path) {
    if (!tableForEdit(path))
        return false;
    onAddFilterTargetPrompt(false);
    return true;
}

bool MainWindow::commandAddFilterWithRegularExpressions(const QString& path) {
    if (!tableForEdit(path))
        return false;
    onAddFilterTargetPrompt(true);
    return true;
}

bool MainWindow::commandViewEditFilters(const QString& path) {
    TableView* view = tableForEdit(path);
    if (!view || view->tableModel()->getFilterList().empty())
        return false;
    onViewEditFiltersPrompt();
    return true;
}

static bool raiseFilterPromptOnMainCell(MainWindow* window, TableView* view, bool onColumn, bool regex) {
    if (!view)
        return false;
    if (view != window->getActiveTable())
        window->setActiveTable(view);
    const FilterData target = filterOnMainCell(view->tableModel(), onColumn);
    const FilterData existing = view->getFilterData(target.range);
    QString text = existing.filterStr;
    if (regex && text.startsWith(u'#'))
        text.remove(0, 1);
    else if (regex)
        text.clear();
    window->onFilterPrompt(regex, (regex || !existing.isRegex) ? text : QString());
    return true;
}

bool MainWindow::commandFilterSelectedRow(const QString& path) {
    if (TableView* view = tableForEdit(path)) {
        pendingFilter = filterOnMainCell(view->tableModel(), false);
        return raiseFilterPromptOnMainCell(this, view, false, false);
    }
    return false;
}

bool MainWindow::commandFilterSelectedColumn(const QString& path) {
    if (TableView* view = tableForEdit(path)) {
        pendingFilter = filterOnMainCell(view->tableModel(), true);
        return raiseFilterPromptOnMainCell(this, view, true, false);
    }
    return false;
}

bool MainWindow::commandFilterSelectedRowWithRegularExpressions(const QString& path) {
    if (TableView* view = tableForEdit(path)) {
        pendingFilter = filterOnMainCell(view->tableModel(), false);
        return raiseFilterPromptOnMainCell(this, view, false, true);
    }
    return false;
}

bool MainWindow::commandFilterSelectedColumnWithRegularExpressions(const QString& path) {
    if (TableView* view = tableForEdit(path)) {
        pendingFilter = filterOnMainCell(view->tableModel(), true);
        return raiseFilterPromptOnMainCell(this, view, true, true);
    }
    return false;
}

// One filter per selected column (row): the texts of its selected cells as alternatives, each
// matched whole and literally.
static bool filterWithSelectedCellContents(TableView* view, bool onColumns) {
    if (!view)
        return false;
    TableModel* m = view->tableModel();
    std::vector<int> lines;
    std::vector<QStringList> alternatives;
    std::vector<QSet<QString>> seen; // a whole selected column may hold a million cells
    std::unordered_map<int, std::size_t> indexOfLine;
    for (const auto& [row, col] : m->getSelectionIndexes()) {
        const int line = onColumns ? col : row;
        auto [it, added] = indexOfLine.try_emplace(line, lines.size());
        if (added) {
            lines.push_back(line);
            alternatives.emplace_back();
            seen.emplace_back();
        }
        const std::size_t index = it->second;
        const QString alternative =
            Utilities::applyEscapeCharsToFilterStr(m->getTableData().getValueModel(row, col).toString());
        if (!seen[index].contains(alternative)) {
            seen[index].insert(alternative);
            alternatives[index] << alternative;
        }
    }
    std::vector<FilterData> filters;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        FilterData filter;
        filter.range = onColumns
                           ? Range(m->getRawFromModelCol(lines[i]), RangeType::Col, RangeIndexType::Raw)
                           : Range(m->getRawFromModelRow(lines[i]), RangeType::Row, RangeIndexType::Raw);
        filter.filterStr = alternatives[i].join(u'|');
        filter.caseSensitive = true;
        filter.convertFilterStrToRegexList();
        filters.push_back(std::move(filter));
    }
    return view->includeFiltersInList(filters);
}

bool MainWindow::commandFilterSelectedRowsWithSelectedCellContents(const QString& path) {
    return filterWithSelectedCellContents(tableForEdit(path), false);
}

bool MainWindow::commandFilterSelectedColumnsWithSelectedCellContents(const QString& path) {
    return filterWithSelectedCellContents(tableForEdit(path), true);
}

bool MainWindow::commandRemoveIndividualFilters(const QString& path) {
    TableView* view = tableForEdit(path);
    if (!view || view->tableModel()->getFilterList().empty())
        return false;
    onRemoveIndividualFiltersPrompt();
    return true;
}

bool MainWindow::commandRemoveAllFilters(const QString& path) {
    TableView* view = tableForEdit(path);
    if (!view || view->tableModel()->getFilterList().empty())
        return false;
    return view->setFilterList({});
}

bool MainWindow::commandRefreshFilters(const QString& path) {
    TableView* view = tableForEdit(path);
    return view && view->refreshFilters();
}

bool MainWindow::commandHideSelectedRows(const QString& path) {
    TableView* view = tableForEdit(path);
    return view && view->hideSelectedRows();
}

bool MainWindow::commandHideSelectedColumns(const QString& path) {
    TableView* view = tableForEdit(path);
    return view && view->hideSelectedColumns();
}

bool MainWindow::commandHideAllButSelectedRows(const QString& path) {
    TableView* view = tableForEdit(path);
    return view && view->hideAllButSelectedRows();
}

bool MainWindow::commandHideAllButSelectedColumns(const QString& path) {
    TableView* view = tableForEdit(path);
    return view && view->hideAllButSelectedColumns();
}

bool MainWindow::commandHideEmptyRows(const QString& path) {
    TableView* view = tableForEdit(path);
    return view && view->hideEmptyRows();
}

bool MainWindow::commandHideEmptyColumns(const QString& path) {
    TableView* view = tableForEdit(path);
    return view && view->hideEmptyColumns();
}

bool MainWindow::commandShowAllHiddenRows(const QString& path) {
    TableView* view = tableForEdit(path);
    return view && view->showAllHiddenRows();
}

bool MainWindow::commandShowAllHiddenColumns(const QString& path) {
    TableView* view = tableForEdit(path);
    return view && view->showAllHiddenColumns();
}

bool MainWindow::commandShowHiddenRowsInSelection(const QString& path) {
    TableView* view = tableForEdit(path);
    return view && view->showHiddenRowsInSelection();
}

bool MainWindow::commandShowHiddenColumnsInSelection(const QString& path) {
    TableView* view = tableForEdit(path);
    return view && view->showHiddenColumnsInSelection();
}

bool MainWindow::commandShowEmptyRows(const QString& path) {
    TableView* view = tableForEdit(path);
    return view && view->showEmptyRows();
}

bool MainWindow::commandShowEmptyColumns(const QString& path) {
    TableView* view = tableForEdit(path);
    return view && view->showEmptyColumns();
}

bool MainWindow::commandRemoveAllFilteredOutAndHiddenData(const QString& path) {
    TableView* view = tableForEdit(path);
    return view && view->removeAllFilteredOutAndHiddenData();
}

void MainWindow::retainFiltersForReload(TableView* view) {
    retainedFilters.erase(view);
    retainSortForReload(view);
    if (!view || !settings.getValueBool(RetainSortAndFilters) || view->tableModel()->getFilterList().empty())
        return;
    std::vector<FilterData> filters = view->tableModel()->getFilterList();
    // The exceptions named rows of the old contents.
    for (FilterData& filter : filters)
        filter.exceptions.clear();
    retainedFilters[view] = std::move(filters);
}

void MainWindow::restoreRetainedFilters(TableView* view) {
    restoreRetainedSort(view); // first: the filters then conceal the rows where they stand now
    const auto it = retainedFilters.find(view);
    if (it == retainedFilters.end())
        return;
    const std::vector<FilterData> filters = std::move(it->second);
    retainedFilters.erase(it);
    // Part of the reload, not a step of its own: nothing to undo, nothing modified.
    view->tableModel()->setAndApplyFilterList(filters);
}
