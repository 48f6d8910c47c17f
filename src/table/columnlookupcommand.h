#pragma once

#include "table/tableundocommand.h"

#include <QString>

#include <map>
#include <vector>

// Values copied from one table into another through a key column the two share: one undo
// step. With new columns it holds an InsertColsCommand that opens them and a
// SetModelDataCommand that writes the cells; overwriting needs only the second.
class ColumnLookupCommand : public TableUndoCommand {
public:
    // `cells` are model cells of the destination as they stand before any column is opened,
    // with their new values; `newCols` is one Col range over the columns to open (empty when
    // overwriting).
    ColumnLookupCommand(TableModel* model, const RangeVector& cells, const RangeVector& newCols,
                        bool insertNewCols, bool restoreSelection = true, QUndoCommand* parent = nullptr);

    void undo() override;
    void redo() override;
};

namespace ColumnLookup {

// All columns are model columns of their own table.
struct Request {
    int keyCol = -1;
    std::vector<int> valueCols;
    int destKeyCol = -1;
    int destValueCol = -1;
    bool insertNewCols = false;
    // Written into the value cells of rows whose key the source lacks; empty leaves them alone.
    QString mismatchValue;
};

using Values = std::map<QString, std::vector<QString>>;

// Whether the request names columns of its tables.
bool namesColumns(const TableModel& source, const TableModel& dest, const Request& request);
// The two reads of a lookup, each of one table's cells only, so that each may run on its own
// table's worker: the source's values by key (empty keys left out), and the destination cells
// they go to, with the mismatch value where a key finds nothing.
Values readValues(const TableModel& source, const Request& request);
RangeVector matchCells(const TableModel& dest, const Values& values, const Request& request);
// The command that writes `cells` (from matchCells), or null when there are none.
ColumnLookupCommand* makeCommand(const TableModel& source, TableModel& dest, const Request& request,
                                 RangeVector cells);

// The lookup as one command on `dest`, or null when no key of the destination is found in the
// source (nothing would change) or the request names no column of its table. The source's
// values are read first, so a lookup within one table reads it as it was before the write.
ColumnLookupCommand* makeCommand(const TableModel& source, TableModel& dest, const Request& request);

} // namespace ColumnLookup
