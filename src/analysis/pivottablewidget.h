#pragma once

#include "table/pivottabledata.h"

#include <QPointer>
#include <QWidget>

#include <memory>
#include <vector>

class PivotTable;
class PivotTableControlsWidget;
class QGridLayout;
class QLabel;
class QPushButton;
class QScrollArea;
class QTimer;
class TableModel;

// The "Pivot Table" tab: the table grouped by the texts of the header columns, with measures of
// the data columns per group, as one or several grids. The grouping runs on the table's worker
// with progress and Cancel.
class PivotTableWidget : public QWidget {
    Q_OBJECT

public:
    // From this many cells to read on, the grouping shows progress with Cancel.
    static constexpr qint64 kWorkerCells = 100000;

    explicit PivotTableWidget(TableModel* model, QWidget* parent = nullptr);

    // The table whose selected columns "Add Selected Columns" takes.
    void setTableModel(TableModel* model);
    // The table the lists' columns belong to, which the grids are made of.
    TableModel* getListsModel() const;
    bool isBusy() const { return busy; }

    // Puts the table's selected columns into the lists: columns of numbers into "Data", the
    // others into "Left Headers".
    void addSelectedCols();
    // Computes for the lists as they stand; false when there is nothing to show or it was
    // canceled. With `force`, also when the lists are as they were at the last computation.
    bool refresh(bool force);
    // Empties the lists and the grids; with `keepLists` only the grids.
    void clear(bool keepLists);
    void setUseThousandsSeparators(bool on);

    PivotTableControlsWidget* getControls() const { return controls; }
    std::vector<PivotTable*> getTables() const { return tables; }
    // The text over the grid area when there is no grid; empty while grids show.
    QString getEmptyTablesText() const;
    std::shared_ptr<const Pivot::Result> getResult() const { return result; }

public slots:
    void refreshBasedOnControls();
    void onComputePivotTableDataFinished(bool ok, std::shared_ptr<const Pivot::Result> result,
                                         const Pivot::Configuration& config);

signals:
    void thousandsSeparatorsToggledSignal(bool on);
    void computedSignal();

private slots:
    void onListsModelDestroyed();

private:
    bool computePivotTableData(const Pivot::Configuration& config);
    void handleIncompleteComputation();
    void makeTables();
    void moveTables();
    void refreshEmptyTablesLabel(bool halted);
    void deleteTables();

    QPointer<TableModel> tableModel;
    QPointer<TableModel> listsModel;
    PivotTableControlsWidget* controls;
    QScrollArea* scrollArea;
    QWidget* tableArea;
    QGridLayout* tableGrid;
    QWidget* emptyArea;
    QLabel* emptyTablesLabel;
    QPushButton* computeButton;
    QTimer* refreshTimer;
    std::vector<PivotTable*> tables;
    std::shared_ptr<const Pivot::Result> result;
    Pivot::Configuration shownConfig;
    bool hasShown = false;
    bool busy = false;
    bool useThousandsSeparators = true;
};
