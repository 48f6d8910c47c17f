#include "analysis/analysistab.h"

#include "analysis/analysistableview.h"
#include "preferences/settings.h"
#include "preferences/theme.h"
#include "table/tablemodel.h"
#include "table/tablemodelworker.h"
#include "view/workerprogress.h"

#include <QHBoxLayout>
#include <QHeaderView>
#include <QMenu>
#include <QToolButton>
#include <QVBoxLayout>

#include <algorithm>
#include <optional>

AnalysisTab::AnalysisTab(TableModel* model, QWidget* parent)
    : QWidget(parent), tableModel(model), view(new AnalysisTableView(false, true, this)),
      buttonRow(new QWidget(this)) {
    auto* buttons = new QHBoxLayout(buttonRow);
    buttons->setContentsMargins(0, 0, 0, 0);
    buttons->addStretch();
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(buttonRow);
    layout->addWidget(view, 1);
}

TableModel* AnalysisTab::getTableModel() const {
    return tableModel;
}

void AnalysisTab::setTableModel(TableModel* model) {
    tableModel = model;
}

void AnalysisTab::propagateSettings(const Settings& settings) {
    const Theme theme = settings.getTheme();
    view->setPercentBarColor(theme.HistogramBarColor);
    view->setPercentBackgroundColor(theme.Background3Color);
}

QToolButton* AnalysisTab::addMenuButton(const QString& text, QMenu*& menu) {
    auto* button = new QToolButton(buttonRow);
    button->setText(text);
    button->setPopupMode(QToolButton::InstantPopup);
    menu = new QMenu(button);
    button->setMenu(menu);
    auto* buttons = static_cast<QHBoxLayout*>(buttonRow->layout());
    buttons->insertWidget(buttons->count() - 1, button);
    return button;
}

void AnalysisTab::addCopyButton() {
    QMenu* copy = nullptr;
    addMenuButton(tr("Copy to Clipboard"), copy);
    copy->addAction(tr("Whole Table"), this, &AnalysisTab::onCopyAllButtonClicked);
    copy->addAction(tr("Selected Values"), this, &AnalysisTab::onCopySelectedButtonClicked);
}

QAction* AnalysisTab::addOption(QMenu* menu, const QString& text, bool checked,
                                const std::function<void(bool)>& toggled) {
    QAction* action = menu->addAction(text);
    action->setCheckable(true);
    action->setChecked(checked);
    connect(action, &QAction::toggled, this, toggled);
    return action;
}

void AnalysisTab::onCopyAllButtonClicked() {
    view->copyTableToClipboard(true);
}

void AnalysisTab::onCopySelectedButtonClicked() {
    view->copySelectedCellsToClipboard();
}

void AnalysisTab::fitColumns(int minimum) {
    // Fitting measures every cell it fits: on results for a very wide table (one column per
    // table column) only the first columns are measured, and the rest take the widest of them.
    constexpr int kMeasuredCols = 200;
    const int cols = view->model()->columnCount();
    const int measured = std::min(cols, kMeasuredCols);
    int widest = minimum;
    for (int c = 0; c < measured; ++c) {
        view->resizeColumnToContents(c);
        if (view->columnWidth(c) < minimum)
            view->setColumnWidth(c, minimum);
        widest = std::max(widest, view->columnWidth(c));
    }
    if (cols > measured)
        view->horizontalHeader()->setDefaultSectionSize(widest);
}

bool AnalysisTab::runScan(qint64 cells, const QString& label, const QString& title,
                          const std::function<bool(TableModelWorker*)>& job) {
    TableModel* model = tableModel;
    if (busy || !model)
        return false;
    busy = true;
    const bool useThread = cells >= kWorkerCells;
    bool finished = false;
    {
        // The dialog holds the table's window, where the cells being read could change; this
        // window stays open but takes no second scan meanwhile.
        QWidget* host = window()->parentWidget() ? window()->parentWidget() : this;
        std::optional<WorkerProgress> progress;
        if (useThread)
            progress.emplace(host, model, label, title);
        finished =
            model->readCellsOnWorker([&job](TableModelWorker& worker) { return job(&worker); }, useThread);
    }
    busy = false;
    return finished;
}
