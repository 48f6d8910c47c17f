#pragma once

#include "table/rangetypes.h"

#include <QHeaderView>

#include <vector>

class Commands;
class QAction;

// Row or column labels. Clicks select whole rows or columns in the model's own selection;
// Qt's selection handling is bypassed. While an array drag runs, resizing and selecting stop.
class HeaderView : public QHeaderView {
    Q_OBJECT

public:
    explicit HeaderView(Qt::Orientation orientation, QWidget* parent = nullptr);

    // Keeps the actions of the label's context menu: the line commands of this header's axis.
    void setupContextMenus(const Commands& commands);
    const std::vector<QAction*>& getContextMenuActions() const { return contextMenuActions; }
    void onCustomContextMenu(const QPoint& pos);

    void setDragging(bool on) { dragging = on; }
    bool isDragging() const { return dragging; }

signals:
    void sectionCtrlClicked(int section);
    void sectionShiftClicked(int section);
    void sectionRightClicked(int section);
    void selectColSignal(int col);
    void selectRowSignal(int row);
    void headerShiftClickSignal(Axis axis, int index);
    void sectionReleasedSignal(int section);

protected:
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;

private:
    // Whether the position lies on the handle between two sections (where Qt resizes).
    bool onResizeHandle(const QPoint& pos) const;

    std::vector<QAction*> contextMenuActions;
    bool dragging = false;
    bool pressed = false;
    bool resizing = false;
    int lastEntered = -1;
};
