// TableView: selections that reach to an edge of the table.

#include "view/tableview.h"

#include "table/tablemodel.h"

#include <algorithm>

void TableView::selectToEdge(Direction direction, bool headerExcluded) {
    TableModel* m = tableModel();
    if (!m || m->getMainCell().row < 0)
        return;
    const Range main = m->getMainCell();
    Range to(main.row, main.col, RangeIndexType::Model);
    switch (direction) {
    case Direction::Up:
        to.row = headerExcluded ? std::min(main.row, numHeaderRows) : 0;
        break;
    case Direction::Down:
        to.row = std::max(0, m->rowCountModel() - 1);
        break;
    case Direction::Left:
        to.col = headerExcluded ? std::min(main.col, numHeaderCols) : 0;
        break;
    case Direction::Right:
        to.col = std::max(0, m->columnCountModel() - 1);
        break;
    }
    expandSelection(to);
    scrollToCell(to.row, to.col, false, true);
    refreshView();
}
