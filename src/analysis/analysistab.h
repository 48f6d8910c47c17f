#pragma once

#include <QPointer>
#include <QString>
#include <QWidget>

#include <functional>

class AnalysisTableView;
class QAction;
class QMenu;
class QToolButton;
class Settings;
class TableModel;
class TableModelWorker;

// What the tabs of the file analysis window share: the table they read, the result grid, the
// buttons row, and the scan of the table's cells, which runs on the model's worker behind a
// progress dialog once it is large enough to be felt.
class AnalysisTab : public QWidget {
    Q_OBJECT

public:
    // From this many cells on, a scan runs on the model's worker with progress and Cancel.
    static constexpr qint64 kWorkerCells = 100000;

    AnalysisTab(TableModel* model, QWidget* parent);

    void setTableModel(TableModel* model);
    TableModel* getTableModel() const;
    AnalysisTableView* getView() const { return view; }
    bool isBusy() const { return busy; }
    void propagateSettings(const Settings& settings);

public slots:
    // The copy menu's two entries: every cell with the labels, or the selected cells.
    void onCopyAllButtonClicked();
    void onCopySelectedButtonClicked();

signals:
    // A scan finished and its results show.
    void computedSignal();

protected:
    // Runs `job` over `cells` cells; false when it was canceled or another scan runs.
    bool runScan(qint64 cells, const QString& label, const QString& title,
                 const std::function<bool(TableModelWorker*)>& job);
    QToolButton* addMenuButton(const QString& text, QMenu*& menu);
    // The "Copy to Clipboard" button with its two entries.
    void addCopyButton();
    // A checkable entry of `menu`, checked as `checked`, that calls `toggled` with its new state.
    QAction* addOption(QMenu* menu, const QString& text, bool checked,
                       const std::function<void(bool)>& toggled);
    // Column widths to the contents, at least `minimum` wide.
    void fitColumns(int minimum = 0);

    QPointer<TableModel> tableModel;
    AnalysisTableView* view;

private:
    QWidget* buttonRow;
    bool busy = false;
};
