#pragma once

#include <QTableWidget>

#include <vector>

// One of the pivot table's column lists ("Left Headers", "Top Headers", "Data"): a row per table
// column with a check box that takes it in or leaves it out, its name, and a button that removes
// it. Rows are dragged within a list and between lists.
class ColumnListTableWidget : public QTableWidget {
    Q_OBJECT

public:
    // The table's model column of a row, kept beside its name.
    static constexpr int ColumnRole = Qt::UserRole + 1;
    static constexpr const char* kMimeType = "application/x-orvane-pivot-columns";

    struct Item {
        int column = -1;
        QString name;
        bool enabled = true;
        bool operator==(const Item&) const = default;
    };

    explicit ColumnListTableWidget(QWidget* parent = nullptr);

    std::vector<Item> items() const;
    void setItems(const std::vector<Item>& items);
    // Inserts at `row` (the end when out of range); a column the list holds already is left out.
    // Returns how many were inserted.
    int insertItems(int row, const std::vector<Item>& items);
    void removeItemRows(std::vector<int> rows);
    bool containsColumn(int column) const;
    // The rows a drag takes: the selected ones, else the one under the press.
    std::vector<int> draggedRows() const { return dragRows; }
    // Where a drop at `pos` (viewport coordinates) inserts.
    int dropRow(const QPoint& pos) const;

signals:
    void dragStartedSignal(const QString& name);
    void itemDroppedSignal(QDropEvent* event);
    void itemEnabledChangedSignal(int row);
    void itemDeletedSignal(int row);

protected:
    void startDrag(Qt::DropActions supportedActions) override;
    QStringList mimeTypes() const override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragMoveEvent(QDragMoveEvent* event) override;
    void dragLeaveEvent(QDragLeaveEvent* event) override;
    void dropEvent(QDropEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    void setRow(int row, const Item& item);

    std::vector<int> dragRows;
    int insertionRow = -1; // where a drag over the list would put its rows; -1 without one
};
