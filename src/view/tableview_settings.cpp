// TableView: the per-file switches that a command flips on one table.

#include "view/tableview.h"

#include "table/tablemodel.h"

bool TableView::toggleTableSetting(SettingType type) {
    TableModel* m = tableModel();
    if (!m)
        return false;
    const bool on = !settings.getValueBool(type);
    switch (type) {
    case HighlightHeaderRows:
        m->setBoldHeaderRows(on);
        break;
    case HighlightHeaderColumns:
        m->setBoldHeaderCols(on);
        break;
    case FreezeHeaderRows:
        setFreezeHeaderRows(on, true);
        break;
    case FreezeHeaderColumns:
        setFreezeHeaderColumns(on, true);
        break;
    case AutoFitRowHeight:
        setAutoFitRowHeight(on);
        break;
    case AutoFitColumnWidth:
        setAutoFitColWidth(on);
        break;
    default:
        return false;
    }
    settings.setValue(type, on);
    refreshView();
    return true;
}

bool TableView::getTableSettingBool(SettingType type) const {
    switch (type) {
    case FreezeHeaderRows:
        return freezeHeaderRows;
    case FreezeHeaderColumns:
        return freezeHeaderCols;
    case AutoFitRowHeight:
        return autoFitRowHeight;
    case AutoFitColumnWidth:
        return autoFitColWidth;
    default:
        return settings.getValueBool(type);
    }
}

void TableView::setFirstRowIndex(int index) {
    firstRowIndex = index;
    settings.setValue(FirstRowIndex, index);
    if (TableModel* m = tableModel())
        m->setFirstRowIndex(index);
    // Wider numbers need a wider label column.
    updateFrozenGeometry();
}

void TableView::setFirstColIndex(int index) {
    firstColIndex = index;
    settings.setValue(FirstColumnIndex, index);
    if (TableModel* m = tableModel())
        m->setFirstColIndex(index);
    updateFrozenGeometry();
}
