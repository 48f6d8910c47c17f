#include "view/tableview.h"

#include "table/columnlookupcommand.h"
#include "table/tablemodel.h"
#include "view/workerprogress.h"

#include <optional>

namespace {

constexpr qint64 kLookupCellsOnWorker = 100000;

} // namespace

bool TableView::columnLookup(TableModel* source, int keyCol, std::vector<int> valueCols, int destKeyCol,
                             int destValueCol, bool insertNewCols, QString mismatchValue) {
    TableModel* m = tableModel();
    if (!source || !m || isReadOnly() || isLoading())
        return false;
    stopEditing(true);
    ColumnLookup::Request request;
    request.keyCol = keyCol;
    request.valueCols = std::move(valueCols);
    request.destKeyCol = destKeyCol;
    request.destValueCol = destValueCol;
    request.insertNewCols = insertNewCols;
    request.mismatchValue = std::move(mismatchValue);
    if (!ColumnLookup::namesColumns(*source, *m, request))
        return false;
    // Each table is read on its own worker once it is large, with progress; Cancel writes nothing.
    const auto large = [](const TableModel* model) {
        return qint64(model->rowCountModel()) * model->columnCountModel() >= kLookupCellsOnWorker;
    };
    ColumnLookup::Values values;
    RangeVector cells;
    {
        std::optional<WorkerProgress> progress;
        if (large(source))
            progress.emplace(this, source, tr("Reading the values..."), tr("Column Lookup"));
        if (!source->readCellsOnWorker(
                [&](TableModelWorker&) {
                    values = ColumnLookup::readValues(*source, request);
                    return true;
                },
                large(source)))
            return false;
    }
    {
        std::optional<WorkerProgress> progress;
        if (large(m))
            progress.emplace(this, m, tr("Matching the keys..."), tr("Column Lookup"));
        if (!m->readCellsOnWorker(
                [&](TableModelWorker&) {
                    cells = ColumnLookup::matchCells(*m, values, request);
                    return true;
                },
                large(m)))
            return false;
    }
    ColumnLookupCommand* command = ColumnLookup::makeCommand(*source, *m, request, std::move(cells));
    return command && pushCommand(command, tr("Writing the values..."), tr("Column Lookup"));
}
