#pragma once

#include "analysis/analysistab.h"
#include "table/columnscan.h"

#include <vector>

class QAction;

// The "Column Analysis" tab: how full each column is, how long its fields are and what kinds of
// values it holds.
class ColumnAnalysisWidget : public AnalysisTab {
    Q_OBJECT

public:
    enum ColumnRangeType {
        SelectedColumns = 0,
        AllColumns = 1,
    };

    ColumnAnalysisWidget(TableModel* model, const Settings& settings, QWidget* parent = nullptr);
    // Computes at once.
    ColumnAnalysisWidget(TableModel* model, ColumnRangeType range, const Settings& settings,
                         QWidget* parent = nullptr);

    bool compute(ColumnRangeType range);
    const std::vector<ColumnAnalysis>& getResults() const { return results; }

    void setUseThousandsSeparators(bool on);

public slots:
    void onRefreshSameColsButtonClicked();

signals:
    void thousandsSeparatorsToggledSignal(bool on);

private:
    void constructButtons();
    bool computeSources(const std::vector<CellSource>& sources);
    void populateTableWithAnalysis();
    QString cellText(int row, int col) const;
    double cellFraction(int row, int col) const;

    std::vector<ColumnAnalysis> results;
    ColumnRangeType lastRange = AllColumns;
    std::vector<int> lastCols;
    bool useThousandsSeparators = true;
    QAction* thousandsAction = nullptr;
};
