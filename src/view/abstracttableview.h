#pragma once

#include "preferences/settingtypes.h"
#include "table/range.h"
#include "table/rangevector.h"

#include <QColor>
#include <QString>
#include <QTableView>

#include <utility>
#include <vector>

class Commands;
class QAction;
class TableModel;
class TableDelegate;
class HeaderView;
class QInputMethodEvent;
class QMimeData;

// What the main grid and its frozen parts share: keys, mouse selection, the cell drag, the
// middle-button drag and the overlays painted over the cells. The selection itself lives in
// the model; Qt's selection model is not used.
class AbstractTableView : public QTableView {
    Q_OBJECT

public:
    explicit AbstractTableView(QWidget* parent = nullptr);

    TableModel* tableModel() const;
    TableDelegate* tableDelegate() const { return delegate; }
    void setTableDelegate(TableDelegate* d);
    HeaderView* horizontalHeaderView() const { return hHeader; }
    HeaderView* verticalHeaderView() const { return vHeader; }

    // Keeps the actions of the grid's context menu: cut, copy and paste, then inserting and
    // removing, then the header commands. Commands that run nothing yet are left out.
    virtual void setupContextMenus(const Commands& commands);
    // The context menu's actions; null marks a separator.
    const std::vector<QAction*>& getContextMenuActions() const { return contextMenuActions; }

    virtual void deleteCells() {}
    // Ends a cell edit; the main grid owns it, the frozen parts pass it on.
    virtual void stopEditing(bool) {}
    // The open line editor of the edit in progress, or the grid's own when it is the owner.
    virtual QWidget* activeEditorWidget() const;
    // F2: an edit of the main cell that keeps its text, with the cursor at the end.
    void editMainCellAppend();
    void nextRowWithColumnReset();
    // Opens the editor of `index` and hands it the key that started the edit.
    bool editOnAnyKeyPressed(const QModelIndex& index, QEvent* event);
    // Closes this grid's open editor, if any; the text stays where the view put it.
    void closeEditorPublic();
    void deselectAllButTheMainCell();
    const QString& getPreeditText() const { return preeditText; }
    QVariant inputMethodQuery(Qt::InputMethodQuery query) const override;
    virtual void moveSelectionRelative(int rows, int cols);
    virtual void moveSelectionAbsolute(int row, int col);
    virtual void refreshView();
    // The cell under a viewport position; positions outside clamp to the cell next to the edge.
    Range cellAtPos(int x, int y) const;

    // Overlays.
    void setRowLineHighlightIndexes(const std::vector<int>& rows);
    void setColLineHighlightIndexes(const std::vector<int>& cols);
    const std::vector<int>& getRowLineHighlightIndexes() const { return rowLineIndexes; }
    const std::vector<int>& getColLineHighlightIndexes() const { return colLineIndexes; }
    void clearLineHighlights();
    void setLineColor(const QColor& color) { lineColor = color; }
    void setCellBorders(const RangeVector& ranges, const QColor& color);
    const RangeVector& getCellBorders() const { return cellBorders; }
    void setDragPreview(const RangeVector& ranges, const Range& grabOffset);
    bool hasOverlays() const;

    // Middle-button drag state, readable for tests and the undo seam.
    int middleButtonStep() const { return mbStep; }
    bool middleButtonDragActive() const { return mbAnchor.isValid(); }
    void setUuidType(UuidType type) { uuidType = type; }
    bool isEditingCell() const { return editingCell; }
    void setEditingCell(bool on) { editingCell = on; }
    bool isLoading() const { return loading; }
    void setLoading(bool on) { loading = on; }
    bool isReadOnlyView() const { return readOnlyView; }
    void setReadOnlyView(bool on) { readOnlyView = on; }

    // Called for every cell written by the middle-button drag when it ends: one place where the
    // final write becomes a single undoable edit.
    virtual void commitMiddleButtonDrag(const RangeVector& cells);
    // Cells dropped from another program or window: pasted with their top left cell on
    // `target` (model indexes) as one step. False when nothing was pasted.
    virtual bool dropCells(const QMimeData* mime, const Range& target) {
        (void)mime;
        (void)target;
        return false;
    }

signals:
    void startEditingSignal(bool clear);
    void startEditingSignal(bool clear, QKeyEvent* event);
    void dataChangedSignal(RangeVector ranges);
    void moveCellContentsAbsoluteSignal(RangeVector ranges, Range target, int rowOffset, int colOffset);
    void scrollSignal(Direction direction, bool page);
    void scrollToMainCellSignal(bool animate, bool toEdge);

protected:
    void paintEvent(QPaintEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void keyReleaseEvent(QKeyEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragMoveEvent(QDragMoveEvent* event) override;
    void dropEvent(QDropEvent* event) override;
    void dragLeaveEvent(QDragLeaveEvent* event) override;
    void inputMethodEvent(QInputMethodEvent* event) override;

    // Extends the selection from the main cell to `to` (a rectangle).
    virtual void expandSelection(const Range& to);
    void handleMiddleButtonDrag();
    void handleMiddleButtonKey(QKeyEvent* event);
    void undoMiddleButtonIncrement();
    void updateMiddleButtonToggleState(bool touched, const QString& key);
    void endMiddleButtonDrag();
    void paintPreedit();
    void startCellDrag(const Range& grabCell);
    static bool isPrintableKey(const QKeyEvent* event);

    std::vector<QAction*> contextMenuActions;
    TableDelegate* delegate = nullptr;
    HeaderView* hHeader = nullptr;
    HeaderView* vHeader = nullptr;
    bool loading = false;
    bool editingCell = false;
    bool readOnlyView = false;
    UuidType uuidType = UuidV4;
    // An input method's text being composed before any editor is open, shown over the main cell.
    QString preeditText;

    // Mouse selection.
    bool leftPressed = false;
    bool commandClick = false;
    Range pressCell{RangeType::Invalid};
    Range lastExpandCell{RangeType::Invalid};
    Range rowResetCell{RangeType::Invalid};

    // Middle-button drag.
    Range mbAnchor{RangeType::Invalid};
    int mbAxis = 3; // 0 vertical, 1 horizontal, 3 undecided
    int mbStep = 0;
    Range mbPointer{RangeType::Invalid};
    QString mbKeyBuffer;
    QString mbLastKey;
    bool mbToggled = false;
    bool mbKeyHeld = false;
    std::vector<std::pair<Range, QVariant>> mbTouched; // cell, its former value

    // Overlays.
    std::vector<int> rowLineIndexes;
    std::vector<int> colLineIndexes;
    QColor lineColor{Qt::red};
    RangeVector cellBorders;
    QColor cellBorderColor{Qt::red};
    RangeVector dragPreview;
    Range dragGrab{RangeType::Invalid};
    bool internalDrag = false;
};
