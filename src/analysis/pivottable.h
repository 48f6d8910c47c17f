#pragma once

#include "table/pivottabledata.h"

#include <QWidget>

#include <memory>

class AnalysisHeaderWidget;
class AnalysisTableView;
class QLabel;

// One grid of the pivot table: a title, the left and top headers with spanned runs of equal
// values, and the values, which scroll with both headers.
class PivotTable : public QWidget {
    Q_OBJECT

public:
    explicit PivotTable(QWidget* parent = nullptr);

    void setup(const Pivot::Grid& grid, std::shared_ptr<const Pivot::Result> result, bool groups);
    // Writes the values again with or without thousands separators; nothing is computed again.
    void refreshDataDisplay(bool groups);

    const Pivot::Grid& getGrid() const { return grid; }
    AnalysisTableView* getValuesView() const { return valuesView; }
    AnalysisHeaderWidget* getLeftHeader() const { return leftHeader; }
    AnalysisHeaderWidget* getTopHeader() const { return topHeader; }
    AnalysisHeaderWidget* getCorner() const { return corner; }
    QString getTitle() const;

    // Header cells, corner and values as rows of texts: all of them, or the rows and columns
    // that hold a selected value.
    std::vector<std::vector<QString>> tableTexts(bool selectedOnly) const;
    void copyTable(bool selectedOnly) const;

public slots:
    void onLeftHeaderSelectionChanged();
    void onTopHeaderSelectionChanged();
    void onSelectAll();

protected:
    void contextMenuEvent(QContextMenuEvent* event) override;

private:
    void fitSizes();

    Pivot::Grid grid;
    std::shared_ptr<const Pivot::Result> result;
    bool useGroups = true;
    QLabel* titleLabel;
    AnalysisHeaderWidget* corner;
    AnalysisHeaderWidget* leftHeader;
    AnalysisHeaderWidget* topHeader;
    AnalysisTableView* valuesView;
};
