#pragma once

#include "analysis/analysistab.h"
#include "table/columnscan.h"

#include <vector>

class QAction;

// The "Statistics" tab: count, sum, mean, spread and percentiles of the numbers in each column
// (or in the selection), one result column per table column.
class StatisticsWidget : public AnalysisTab {
    Q_OBJECT

public:
    enum RangeType {
        SelectedColumns = 0,
        AllColumns = 1,
        SelectedCells = 2,
        SelectionByColumns = 3,
    };

    StatisticsWidget(TableModel* model, const Settings& settings, QWidget* parent = nullptr);
    // Computes at once.
    StatisticsWidget(TableModel* model, RangeType range, const Settings& settings, QWidget* parent = nullptr);

    // Reads the cells of `range` and shows the results; false when canceled or nothing to read.
    bool compute(RangeType range);
    const std::vector<ColumnStatistics>& getResults() const { return results; }

    void setUseThousandsSeparators(bool on);
    void setHideColsWithNoData(bool on);

public slots:
    void onRefreshSameColsButtonClicked();

signals:
    void thousandsSeparatorsToggledSignal(bool on);
    void hideColsWithNoDataToggledSignal(bool on);

private:
    void constructButtons();
    bool computeSources(std::vector<CellSource> sources);
    void refreshValueDisplay();
    QString cellText(int row, int col) const;
    void handleColumnsWithNoData();

    std::vector<ColumnStatistics> results;
    RangeType lastRange = AllColumns;
    std::vector<int> lastCols;
    std::vector<CellSource> lastSources;
    bool useThousandsSeparators = true;
    bool hideColsWithNoData = false;
    QAction* thousandsAction = nullptr;
    QAction* hideAction = nullptr;
};
