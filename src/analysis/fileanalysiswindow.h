#pragma once

#include <QString>
#include <QWidget>

class ColumnAnalysisWidget;
class PivotTableWidget;
class QTabWidget;
class Settings;
class StatisticsWidget;
class TableModel;
class UniqueValuesWidget;

// The tool window of the analysis tabs over the active table. It stays open beside the main
// window; each tab reads the table when told to and keeps its results until the next time.
class FileAnalysisWindow : public QWidget {
    Q_OBJECT

public:
    enum Tab {
        StatisticsTab = 0,
        ColumnAnalysisTab = 1,
        UniqueValuesTab = 2,
        PivotTableTab = 3,
    };

    FileAnalysisWindow(TableModel* model, const QString& tableName, const Settings& settings,
                       QWidget* parent);

    // The table the tabs read from now on, and its name for the title.
    void setTableModel(TableModel* model, const QString& tableName);
    void openTab(Tab tab);
    void propagateSettings(const Settings& settings);
    void setUseThousandsSeparators(bool on);
    void setHideColsWithNoData(bool on);
    void setExcludeEmptyCells(bool on);
    bool getExcludeEmptyCells() const { return excludeEmptyCells; }

    StatisticsWidget* getStatisticsWidget() const { return statisticsWidget; }
    ColumnAnalysisWidget* getColumnAnalysisWidget() const { return columnAnalysisWidget; }
    UniqueValuesWidget* getUniqueValuesWidget() const { return uniqueValuesWidget; }
    PivotTableWidget* getPivotTableWidget() const { return pivotTableWidget; }
    bool isBusy() const;

public slots:
    void onUseThousandsSeparatedToggled(bool on);
    void onHideColsWithNoDataToggled(bool on);
    void onExcludeEmptyCellsToggled(bool on);

signals:
    // The options as the user set them in a tab, for the main window to remember.
    void thousandsSeparatorsToggledSignal(bool on);
    void hideColsWithNoDataToggledSignal(bool on);
    void excludeEmptyCellsToggledSignal(bool on);

protected:
    void closeEvent(QCloseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    void onComputed();

    QTabWidget* tabs;
    StatisticsWidget* statisticsWidget;
    ColumnAnalysisWidget* columnAnalysisWidget;
    UniqueValuesWidget* uniqueValuesWidget;
    PivotTableWidget* pivotTableWidget = nullptr;
    QString currentTableName;
    bool excludeEmptyCells = false;
};
