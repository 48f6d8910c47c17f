#pragma once

#include "analysis/analysistab.h"
#include "table/filterdata.h"
#include "table/range.h"
#include "table/uniquevalues.h"

#include <QPointer>

#include <vector>

class QAction;

// The "Unique Values" tab: each distinct text of one column with its count, its share and a
// bar, and the values the user selects turned into a filter on the column.
class UniqueValuesWidget : public AnalysisTab {
    Q_OBJECT

public:
    enum ColumnRangeType {
        SameColumn = 0,
        SelectedColumn = 1,
    };

    UniqueValuesWidget(TableModel* model, const Settings& settings, QWidget* parent = nullptr);
    // Computes at once.
    UniqueValuesWidget(TableModel* model, ColumnRangeType range, const Settings& settings,
                       QWidget* parent = nullptr);
    ~UniqueValuesWidget() override;

    // Counts the values of the column and shows them; false when canceled or no column.
    bool compute(ColumnRangeType range);
    bool populateTableWithValues(int column);
    const std::vector<UniqueValue>& getValues() const { return values; }
    // The table the values were counted in, while it is open.
    TableModel* getCountedModel() const;
    // Double click on a title: orders by that column, again the other way round.
    void sortColumn(int column);

    void setUseThousandsSeparators(bool on, bool refresh = true);
    void setExcludeEmptyCells(bool on, bool refresh = true);

public slots:
    void filterInSelectedValues();
    void filterOutSelectedValues();
    void removeFilter();
    void onHorizontalSectionDoubleClicked(int column);

signals:
    // A filter on the counted column, for the table the values came from.
    void includeFilterInListSignal(FilterData filter);
    void removeFilterSignal(Range range);
    void thousandsSeparatorsToggledSignal(bool on);
    void excludeEmptyCellsToggledSignal(bool on);
    void destroyedSignal();

private:
    void constructButtons();
    void refreshCountColumn();
    void writeHeaders();
    QString cellText(int row, int col) const;
    double cellFraction(int row, int col) const;
    QStringList selectedValues() const;
    void sendFilter(bool keep);

    std::vector<UniqueValue> values;
    int highestCount = 0;
    QPointer<TableModel> countedModel;
    int countedCol = -1;    // model column of the last count
    int countedRawCol = -1; // the same as a raw column, for the filter
    QString countedLabel;
    int sortedColumn = UniqueValues::ValueColumn;
    bool sortedAscending = true;
    bool useThousandsSeparators = true;
    bool excludeEmptyCells = false;
    QAction* thousandsAction = nullptr;
    QAction* excludeEmptyAction = nullptr;
};
