#pragma once

#include <QTabBar>

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

public slots:
    void onSavedStatusChanged(bool saved, TableView* view);

signals:
    void tableSelectedSignal(TableView* view);
    void closeTableSignal(TableView* view);

private:
    void refreshText(int index);
};
