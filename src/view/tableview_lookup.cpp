#include "view/tableview.h"

#include "table/columnlookupcommand.h"
#include "table/tablemodel.h"

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
    ColumnLookupCommand* command = ColumnLookup::makeCommand(*source, *m, request);
    return command && pushCommand(command, tr("Writing the values..."), tr("Column Lookup"));
}
