#pragma once

#include "analysis/columnlisttablewidget.h"
#include "table/pivottabledata.h"

#include <QWidget>

#include <array>

class QCheckBox;
class QPushButton;

// The pivot table's controls: the three column lists, the measures, the buttons and the option.
class PivotTableControlsWidget : public QWidget {
    Q_OBJECT

public:
    enum ListType { LeftList = 0, TopList = 1, DataList = 2 };

    explicit PivotTableControlsWidget(QWidget* parent = nullptr);

    // The ticked rows of the lists, with the measures.
    Pivot::Configuration getConfigurationBasedOnState() const;
    void setConfiguration(const Pivot::Configuration& config);
    void setColumns(ListType list, const std::vector<ColumnListTableWidget::Item>& items);
    // Adds to the end of a list; columns it holds already stay where they are.
    void addColumns(ListType list, const std::vector<ColumnListTableWidget::Item>& items);
    std::vector<ColumnListTableWidget::Item> getColumns(ListType list) const;
    void swapLeftAndTop();
    // Moves rows of `from` to `row` of `to` (within one list too).
    void moveItems(ColumnListTableWidget* from, std::vector<int> rows, ColumnListTableWidget* to, int row);
    void clearLists();
    bool allListsEmpty() const;

    ColumnListTableWidget* list(ListType type) const { return lists[std::size_t(type)]; }
    QCheckBox* measureCheckBox(PivotTableDataType type) const { return measureBoxes[std::size_t(type)]; }
    void setUseThousandsSeparators(bool on);

signals:
    void addSelectedColsSignal();
    void refreshSignal();
    void clearSignal();
    void itemEnabledChangedSignal(int row);
    void itemDeletedSignal(int row);
    void colsChangedSignal();
    void configChangedSignal();
    void thousandsSeparatorsToggledSignal(bool on);

private:
    void setupCheckBoxes(QWidget* box);
    void onItemDropped(QDropEvent* event);

    std::array<ColumnListTableWidget*, 3> lists{};
    std::array<QCheckBox*, kPivotTableDataTypeCount> measureBoxes{};
    QCheckBox* thousandsBox = nullptr;
};
