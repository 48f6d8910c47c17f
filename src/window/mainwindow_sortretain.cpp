#include "window/mainwindow.h"

#include "table/tablemodel.h"
#include "view/tableview.h"
#include "view/workerprogress.h"

void MainWindow::retainSortForReload(TableView* view) {
    retainedSorts.erase(view);
    if (!view || !settings.getValueBool(RetainSortAndFilters))
        return;
    const TableModel* m = view->tableModel();
    const SortData rows = m->getRowSortData();
    const SortData cols = m->getColSortData();
    if (rows.isValid() || cols.isValid())
        retainedSorts[view] = {rows, cols};
}

// The reloaded table sorted again by the same keys: part of the reload, as the filters are, so
// nothing to undo and nothing modified. A key beyond the new contents is dropped; a cancel in
// the progress dialog leaves the file's order.
void MainWindow::restoreRetainedSort(TableView* view) {
    const auto it = retainedSorts.find(view);
    if (it == retainedSorts.end())
        return;
    const auto [rows, cols] = it->second;
    retainedSorts.erase(it);
    TableModel* m = view->tableModel();
    WorkerProgress progress(view, m, tr("Sorting..."), tr("Sort"));
    if (rows.isValid() && rows.index < m->columnCountRaw())
        m->sortRows(rows, true);
    if (cols.isValid() && cols.index < m->rowCountRaw())
        m->sortColumns(cols, true);
}
