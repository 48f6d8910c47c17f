#pragma once

#include <QTabBar>

#include <vector>

class Commands;
class QAction;
class TableView;

// One tab per table of a pane, in the pane's order. A tab tells the table's name, with " *"
// after it while the table has unsaved changes.
class TabBar : public QTabBar {
    Q_OBJECT

public:
    explicit TabBar(QWidget* parent = nullptr);

    void addTable(TableView* view, const QString& name);
    void removeTable(TableView* view);
    void renameTable(TableView* view, const QString& name);
    void selectTable(TableView* view);
    int indexOf(TableView* view) const;
    TableView* tableAt(int index) const;
    QString nameAt(int index) const;
    bool isSavedAt(int index) const;
    // Keeps the actions of the tab's context menu: the file commands of the table whose tab
    // was clicked, which a right click makes the active one.
    void setupContextMenus(const Commands& commands);
    const std::vector<QAction*>& getContextMenuActions() const { return contextMenuActions; }

public slots:
    void onSavedStatusChanged(bool saved, TableView* view);

signals:
    void tableSelectedSignal(TableView* view);
    void closeTableSignal(TableView* view);

protected:
    void contextMenuEvent(QContextMenuEvent* event) override;

private:
    void refreshText(int index);

    std::vector<QAction*> contextMenuActions;
};
