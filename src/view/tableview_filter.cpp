#include "view/tableview.h"

#include "table/filtercommands.h"
#include "table/filterscanner.h"
#include "table/tablemodel.h"
#include "table/tablemodelworker.h"
#include "view/workerprogress.h"

#include <QElapsedTimer>

#include <algorithm>
#include <functional>

namespace {

std::vector<int> joined(std::vector<int> list, const std::vector<int>& more) {
    list.insert(list.end(), more.begin(), more.end());
    std::sort(list.begin(), list.end());
    list.erase(std::unique(list.begin(), list.end()), list.end());
    return list;
}

std::vector<int> without(const std::vector<int>& list, std::vector<int> drop) {
    std::sort(drop.begin(), drop.end());
    std::vector<int> out;
    for (int v : list) {
        if (!std::binary_search(drop.begin(), drop.end(), v))
            out.push_back(v);
    }
    return out;
}

} // namespace

void TableView::onConcealmentChanged(bool filtersActive, bool hiddenActive) {
    if (filtersActive)
        addContextBits(ContextFiltersActive);
    else
        removeContextBits(ContextFiltersActive);
    if (hiddenActive)
        addContextBits(ContextHiddenArrays);
    else
        removeContextBits(ContextHiddenArrays);
}

bool TableView::runConcealmentCommand(TableUndoCommand* command) {
    if (!command)
        return false;
    if (!command->isValid) {
        delete command;
        return false;
    }
    if (isReadOnly()) {
        // Concealment is only a mapping, so a read-only table takes it, without a history.
        command->redo();
        delete command;
        refreshView();
        return true;
    }
    const bool pushed = pushCommand(command);
    refreshView();
    return pushed;
}

bool TableView::applyConcealmentChange(bool keepViolations,
                                       const std::function<TableUndoCommand*(TableModel*)>& build) {
    TableModel* m = tableModel();
    if (!m)
        return false;
    stopEditing(true);
    // One dialog for both scans; long ones run on the worker, and Cancel stops either.
    WorkerProgress progress(this, m, QObject::tr("Filtering..."), QObject::tr("Filter"));
    const std::vector<FilterData> before = m->getFilterList();
    if (keepViolations) {
        std::vector<FilterData> list = before;
        RangeVector violations;
        if (!m->findFilterViolations(list, violations, m->isForTableView()))
            return false;
        m->setFilterListDontApply(list);
    }
    TableUndoCommand* command = build(m);
    if (!command || !command->isValid) {
        // Canceled or nothing to do: the exceptions found above go too.
        m->setFilterListDontApply(before);
        delete command;
        return false;
    }
    return runConcealmentCommand(command);
}

bool TableView::includeFilterInList(const FilterData& filter) {
    return includeFiltersInList({filter});
}

bool TableView::includeFiltersInList(const std::vector<FilterData>& filters) {
    if (filters.empty())
        return false;
    return applyConcealmentChange(true, [&filters](TableModel* m) {
        std::vector<FilterData> list = m->getFilterList();
        for (FilterData filter : filters) {
            if (filter.parsedList.empty() && !filter.isRegex)
                filter.convertFilterStrToRegexList();
            filter.exceptions.clear();
            const auto same = std::find_if(
                list.begin(), list.end(), [&filter](const FilterData& f) { return f.range == filter.range; });
            if (same != list.end()) {
                filter.order = same->order;
                *same = std::move(filter);
            } else {
                filter.order = static_cast<int>(list.size());
                list.push_back(std::move(filter));
            }
        }
        return new ApplyFiltersCommand(m, list, m->isForTableView());
    });
}

bool TableView::setFilterList(const std::vector<FilterData>& filters) {
    // Exceptions only matter to filters that stay: removing them all needs no scan.
    const TableModel* current = tableModel();
    const bool anyStays =
        current && std::any_of(filters.begin(), filters.end(), [current](const FilterData& f) {
            const std::vector<FilterData>& list = current->getFilterList();
            return std::find(list.begin(), list.end(), f) != list.end();
        });
    return applyConcealmentChange(anyStays, [&filters](TableModel* m) {
        // Filters that stay keep the exceptions just found.
        std::vector<FilterData> list = filters;
        for (FilterData& filter : list) {
            for (const FilterData& current : m->getFilterList()) {
                if (current == filter)
                    filter.exceptions = current.exceptions;
            }
        }
        return new ApplyFiltersCommand(m, list, m->isForTableView());
    });
}

bool TableView::refreshFilters() {
    const TableModel* m = tableModel();
    if (!m || m->getFilterList().empty())
        return false;
    return applyConcealmentChange(false, [](TableModel* model) {
        std::vector<FilterData> list = model->getFilterList();
        for (FilterData& filter : list)
            filter.exceptions.clear();
        return new ApplyFiltersCommand(model, list, model->isForTableView());
    });
}

FilterData TableView::getFilterData(const Range& range) const {
    if (const TableModel* m = tableModel()) {
        for (const FilterData& filter : m->getFilterList()) {
            if (filter.range == range)
                return filter;
        }
    }
    FilterData fresh;
    fresh.range = range;
    return fresh;
}

namespace {

enum class HideAction { Selected, AllButSelected, ShowInSelection };

std::vector<int> selectedRawLines(TableModel* m, bool rows) {
    std::vector<int> lines;
    if (rows)
        m->getOrderedSetOfSelectedRows(lines);
    else
        m->getOrderedSetOfSelectedCols(lines);
    return rows ? m->getRawFromModelRows(lines) : m->getRawFromModelCols(lines);
}

} // namespace

// One place for the hide and show operations on a selection.
static bool changeHiddenLines(TableView* view, bool rows, HideAction action) {
    TableModel* m = view->tableModel();
    if (!m)
        return false;
    view->stopEditing(true);
    const std::vector<int> selected = selectedRawLines(m, rows);
    if (selected.empty())
        return false;
    const std::vector<int>& current = rows ? m->getHiddenRows() : m->getHiddenCols();
    std::vector<int> list;
    switch (action) {
    case HideAction::Selected:
        list = joined(current, selected);
        break;
    case HideAction::AllButSelected: {
        // Header lines stay: they name what is left.
        const int count = rows ? m->rowCountRaw() : m->columnCountRaw();
        const int headers = rows ? m->getNumHeaderRows() : m->getNumHeaderCols();
        std::vector<int> others;
        for (int raw = std::max(headers, 0); raw < count; ++raw) {
            if (!std::binary_search(selected.begin(), selected.end(), raw))
                others.push_back(raw);
        }
        list = joined(current, others);
        break;
    }
    case HideAction::ShowInSelection: {
        const int first = selected.front();
        const int last = selected.back();
        for (int raw : current) {
            if (raw < first || raw > last)
                list.push_back(raw);
        }
        break;
    }
    }
    if (list == current)
        return false;
    return view->includeHiddenLines(rows, list);
}

bool TableView::includeHiddenLines(bool rows, const std::vector<int>& list) {
    return applyConcealmentChange(true, [rows, &list](TableModel* m) -> TableUndoCommand* {
        if (rows)
            return new ApplyHiddenRowsCommand(m, list, m->isForTableView());
        return new ApplyHiddenColsCommand(m, list, m->isForTableView());
    });
}

bool TableView::hideSelectedRows() {
    return changeHiddenLines(this, true, HideAction::Selected);
}

bool TableView::hideSelectedColumns() {
    return changeHiddenLines(this, false, HideAction::Selected);
}

bool TableView::hideAllButSelectedRows() {
    return changeHiddenLines(this, true, HideAction::AllButSelected);
}

bool TableView::hideAllButSelectedColumns() {
    return changeHiddenLines(this, false, HideAction::AllButSelected);
}

bool TableView::showHiddenRowsInSelection() {
    return changeHiddenLines(this, true, HideAction::ShowInSelection);
}

bool TableView::showHiddenColumnsInSelection() {
    return changeHiddenLines(this, false, HideAction::ShowInSelection);
}

bool TableView::showAllHiddenRows() {
    TableModel* m = tableModel();
    if (!m || m->getHiddenRows().empty())
        return false;
    stopEditing(true);
    return includeHiddenLines(true, {});
}

bool TableView::showAllHiddenColumns() {
    TableModel* m = tableModel();
    if (!m || m->getHiddenCols().empty())
        return false;
    stopEditing(true);
    return includeHiddenLines(false, {});
}

bool TableView::hideEmptyRows() {
    TableModel* m = tableModel();
    if (!m)
        return false;
    stopEditing(true);
    const std::vector<int> empty = m->getRawFromModelRows(m->getEmptyRowsModel());
    const std::vector<int> list = joined(m->getHiddenRows(), empty);
    if (list == m->getHiddenRows())
        return false;
    return includeHiddenLines(true, list);
}

bool TableView::hideEmptyColumns() {
    TableModel* m = tableModel();
    if (!m)
        return false;
    stopEditing(true);
    const std::vector<int> empty = m->getRawFromModelCols(m->getEmptyColumnsModel());
    const std::vector<int> list = joined(m->getHiddenCols(), empty);
    if (list == m->getHiddenCols())
        return false;
    return includeHiddenLines(false, list);
}

bool TableView::showEmptyRows() {
    TableModel* m = tableModel();
    if (!m || m->getHiddenRows().empty())
        return false;
    stopEditing(true);
    const TableData& data = m->getTableData();
    std::vector<int> allCols(static_cast<std::size_t>(data.numRawCols()));
    for (int c = 0; c < data.numRawCols(); ++c)
        allCols[static_cast<std::size_t>(c)] = c;
    std::vector<int> empty;
    for (int raw : m->getHiddenRows()) {
        if (data.areColumnsInRowBlank(raw, allCols))
            empty.push_back(raw);
    }
    if (empty.empty())
        return false;
    return includeHiddenLines(true, without(m->getHiddenRows(), empty));
}

bool TableView::showEmptyColumns() {
    TableModel* m = tableModel();
    if (!m || m->getHiddenCols().empty())
        return false;
    stopEditing(true);
    const TableData& data = m->getTableData();
    std::vector<int> allRows(static_cast<std::size_t>(data.numRawRows()));
    for (int r = 0; r < data.numRawRows(); ++r)
        allRows[static_cast<std::size_t>(r)] = r;
    std::vector<int> empty;
    for (int raw : m->getHiddenCols()) {
        if (data.areRowsInColBlank(raw, allRows))
            empty.push_back(raw);
    }
    if (empty.empty())
        return false;
    return includeHiddenLines(false, without(m->getHiddenCols(), empty));
}

bool TableView::removeAllFilteredOutAndHiddenData() {
    TableModel* m = tableModel();
    if (!m || isReadOnly())
        return false;
    stopEditing(true);
    return pushCommand(new RemoveAllFilteredOutAndHiddenDataCommand(m));
}

bool TableView::previewFilter(const FilterData& filter, std::vector<int>& keptRaw, int limit, int& looked,
                              qint64 budgetMs) const {
    keptRaw.clear();
    looked = 0;
    const TableModel* m = tableModel();
    if (!m)
        return true;
    const TableData& data = m->getTableData();
    const bool onCol = filter.range.type == RangeType::Col;
    const int count = onCol ? data.numRawRows() : data.numRawCols();
    const int headers = std::max(onCol ? m->getNumHeaderRows() : m->getNumHeaderCols(), 0);
    FilterScanner scanner(*m, filter);
    QElapsedTimer timer;
    timer.start();
    for (int raw = headers; raw < count; ++raw) {
        looked = raw - headers;
        // A file read from disk costs far more per cell: the clock, not the count, keeps typing quick.
        if (looked >= limit ||
            (budgetMs >= 0 && (looked & 0xFF) == 0 && looked > 0 && timer.elapsed() >= budgetMs))
            return false;
        if (scanner.matchesAt(raw))
            keptRaw.push_back(raw);
    }
    looked = std::max(count - headers, 0);
    return true;
}
