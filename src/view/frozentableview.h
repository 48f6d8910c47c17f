#pragma once

#include "preferences/theme.h"
#include "view/abstracttableview.h"

class TableView;

// Which frozen part of a table a FrozenTableView is.
enum class TableType {
    FrozenRows = 1,   // header rows, along the top
    FrozenCols = 2,   // header columns, along the left
    FrozenCorner = 3, // the crossing of both
};

// A second window on the same model and selection, laid over the edge of the main grid so that
// header rows or columns stay on screen. Moves and deletions go to the owning TableView.
class FrozenTableView : public AbstractTableView {
    Q_OBJECT

public:
    FrozenTableView(TableView* owner, TableType type);

    void setTableType(TableType type);
    TableType getTableType() const { return tableType; }
    void setNumRows(int n);
    void setNumCols(int n);
    int getNumRows() const { return numRows; }
    int getNumCols() const { return numCols; }
    void setTheme(const Theme& theme);

    void deleteCells() override;
    void stopEditing(bool commit) override;
    QWidget* activeEditorWidget() const override;
    void moveSelectionRelative(int rows, int cols) override;
    void moveSelectionAbsolute(int row, int col) override;
    void refreshView() override;
    void commitMiddleButtonDrag(const RangeVector& cells) override;
    bool dropCells(const QMimeData* mime, const Range& target) override;

protected:
    void wheelEvent(QWheelEvent* event) override;
    // Scrolling of the frozen parts follows the main grid only.
    bool viewportEvent(QEvent* event) override;

private:
    TableView* owner;
    TableType tableType;
    int numRows = 0;
    int numCols = 0;
};
