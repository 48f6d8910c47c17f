#include "analysis/pivottablewidget.h"

#include "analysis/pivottable.h"
#include "analysis/pivottablecontrolswidget.h"
#include "table/tablemodel.h"
#include "table/tablemodelworker.h"
#include "view/workerprogress.h"

#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QScrollArea>
#include <QSplitter>
#include <QTimer>
#include <QVBoxLayout>

#include <algorithm>
#include <optional>

namespace {

// Changes to the lists come in bursts (a drag, a few ticks); the grids follow once they settle.
constexpr int kRefreshDelayMs = 300;

} // namespace

PivotTableWidget::PivotTableWidget(TableModel* model, QWidget* parent)
    : QWidget(parent), tableModel(model), controls(new PivotTableControlsWidget(this)),
      scrollArea(new QScrollArea(this)), tableArea(new QWidget), tableGrid(new QGridLayout(tableArea)),
      emptyArea(new QWidget(this)), emptyTablesLabel(new QLabel(emptyArea)),
      computeButton(new QPushButton(tr("Compute"), emptyArea)), refreshTimer(new QTimer(this)) {
    setObjectName(QStringLiteral("pivotTableWidget"));
    tableGrid->setSpacing(16);
    tableGrid->setContentsMargins(4, 4, 4, 4);
    scrollArea->setWidget(tableArea);
    scrollArea->setWidgetResizable(true);
    scrollArea->setObjectName(QStringLiteral("pivotTableArea"));

    emptyTablesLabel->setObjectName(QStringLiteral("emptyTablesLabel"));
    emptyTablesLabel->setTextFormat(Qt::RichText);
    emptyTablesLabel->setAlignment(Qt::AlignCenter);
    emptyTablesLabel->setWordWrap(true);
    computeButton->setObjectName(QStringLiteral("computeButton"));
    auto* emptyLayout = new QVBoxLayout(emptyArea);
    emptyLayout->addStretch();
    emptyLayout->addWidget(emptyTablesLabel);
    emptyLayout->addWidget(computeButton, 0, Qt::AlignHCenter);
    emptyLayout->addStretch();

    auto* right = new QWidget(this);
    auto* rightLayout = new QVBoxLayout(right);
    rightLayout->setContentsMargins(0, 0, 0, 0);
    rightLayout->addWidget(emptyArea, 1);
    rightLayout->addWidget(scrollArea, 1);

    auto* splitter = new QSplitter(this);
    splitter->addWidget(controls);
    splitter->addWidget(right);
    splitter->setStretchFactor(1, 1);
    splitter->setSizes({280, 620});
    auto* layout = new QHBoxLayout(this);
    layout->addWidget(splitter);

    refreshTimer->setSingleShot(true);
    refreshTimer->setInterval(kRefreshDelayMs);
    connect(refreshTimer, &QTimer::timeout, this, &PivotTableWidget::refreshBasedOnControls);
    connect(controls, &PivotTableControlsWidget::colsChangedSignal, refreshTimer,
            qOverload<>(&QTimer::start));
    connect(controls, &PivotTableControlsWidget::configChangedSignal, refreshTimer,
            qOverload<>(&QTimer::start));
    connect(controls, &PivotTableControlsWidget::addSelectedColsSignal, this,
            &PivotTableWidget::addSelectedCols);
    connect(controls, &PivotTableControlsWidget::refreshSignal, this, [this] { refresh(true); });
    connect(controls, &PivotTableControlsWidget::clearSignal, this, [this] { clear(false); });
    connect(controls, &PivotTableControlsWidget::thousandsSeparatorsToggledSignal, this, [this](bool on) {
        setUseThousandsSeparators(on);
        emit thousandsSeparatorsToggledSignal(on);
    });
    connect(computeButton, &QPushButton::clicked, this, [this] { refresh(true); });
    refreshEmptyTablesLabel(false);
}

void PivotTableWidget::setTableModel(TableModel* model) {
    tableModel = model;
}

TableModel* PivotTableWidget::getListsModel() const {
    return listsModel;
}

void PivotTableWidget::addSelectedCols() {
    TableModel* model = tableModel;
    if (!model || busy)
        return;
    // The lists hold the columns of one table: those of another go when this one's come.
    if (listsModel && listsModel != model) {
        disconnect(listsModel, &QObject::destroyed, this, &PivotTableWidget::onListsModelDestroyed);
        const QSignalBlocker block(controls);
        controls->clearLists();
    }
    listsModel = model;
    // A closed table takes its columns out of the lists.
    connect(model, &QObject::destroyed, this, &PivotTableWidget::onListsModelDestroyed, Qt::UniqueConnection);
    std::vector<int> cols;
    model->getOrderedSetOfSelectedCols(cols);
    cols.erase(std::remove_if(cols.begin(), cols.end(),
                              [model](int c) { return c < 0 || c >= model->columnCountModel(); }),
               cols.end());
    std::vector<QString> names;
    model->getColumnLabels(names, cols);
    std::vector<ColumnListTableWidget::Item> left;
    std::vector<ColumnListTableWidget::Item> data;
    for (std::size_t i = 0; i < cols.size(); ++i)
        (Pivot::isNumberColumn(*model, cols[i]) ? data : left).push_back({cols[i], names[i], true});
    // Columns all of one kind still make a table: the first groups, or the last is counted.
    const bool noHeaders = controls->getColumns(PivotTableControlsWidget::LeftList).empty() &&
                           controls->getColumns(PivotTableControlsWidget::TopList).empty();
    if (noHeaders && left.empty() && data.size() > 1) {
        left.push_back(data.front());
        data.erase(data.begin());
    }
    if (controls->getColumns(PivotTableControlsWidget::DataList).empty() && data.empty() && left.size() > 1) {
        data.push_back(left.back());
        left.pop_back();
    }
    controls->addColumns(PivotTableControlsWidget::LeftList, left);
    controls->addColumns(PivotTableControlsWidget::DataList, data);
}

void PivotTableWidget::onListsModelDestroyed() {
    clear(false);
}

void PivotTableWidget::refreshBasedOnControls() {
    refresh(false);
}

bool PivotTableWidget::refresh(bool force) {
    refreshTimer->stop();
    if (busy)
        return false;
    const Pivot::Configuration config = controls->getConfigurationBasedOnState();
    if (!config.canShowTables()) {
        deleteTables();
        result.reset();
        hasShown = false;
        refreshEmptyTablesLabel(false);
        return false;
    }
    if (!force && hasShown && config == shownConfig)
        return true;
    return computePivotTableData(config);
}

bool PivotTableWidget::computePivotTableData(const Pivot::Configuration& config) {
    TableModel* model = listsModel ? listsModel.data() : tableModel.data();
    if (!model || busy)
        return false;
    busy = true;
    const qint64 cells = qint64(model->rowCountModel()) *
                         qint64(config.leftCols.size() + config.topCols.size() + config.dataCols.size());
    const bool useThread = cells >= kWorkerCells;
    auto computed = std::make_shared<Pivot::Result>();
    bool finished = false;
    {
        // The dialog holds the table's window, whose cells are being read.
        QWidget* host = window()->parentWidget() ? window()->parentWidget() : this;
        std::optional<WorkerProgress> progress;
        if (useThread)
            progress.emplace(host, model, tr("Computing pivot table..."), tr("Pivot Table"));
        finished = model->readCellsOnWorker(
            [model, &config, &computed](TableModelWorker& worker) {
                return Pivot::computePivotTableData(*model, config, *computed, &worker);
            },
            useThread);
    }
    busy = false;
    onComputePivotTableDataFinished(finished, std::move(computed), config);
    return finished;
}

void PivotTableWidget::onComputePivotTableDataFinished(bool ok, std::shared_ptr<const Pivot::Result> computed,
                                                       const Pivot::Configuration& config) {
    if (!ok) {
        handleIncompleteComputation();
        return;
    }
    result = std::move(computed);
    shownConfig = config;
    hasShown = true;
    makeTables();
    moveTables();
    refreshEmptyTablesLabel(false);
    emit computedSignal();
    // The lists may have changed while the table was read.
    if (!(controls->getConfigurationBasedOnState() == config))
        refreshTimer->start();
}

void PivotTableWidget::handleIncompleteComputation() {
    deleteTables();
    result.reset();
    hasShown = false;
    refreshEmptyTablesLabel(true);
}

void PivotTableWidget::deleteTables() {
    for (PivotTable* table : tables)
        delete table;
    tables.clear();
}

void PivotTableWidget::makeTables() {
    deleteTables();
    if (!result)
        return;
    for (const Pivot::Grid& grid : Pivot::makeGrids(shownConfig, *result)) {
        auto* table = new PivotTable(tableArea);
        table->setup(grid, result, useThousandsSeparators);
        tables.push_back(table);
    }
}

void PivotTableWidget::moveTables() {
    // A grid per data column and measure: data columns down, measures across. Other kinds: one
    // grid under another.
    const int across = shownConfig.displayType() == PivotTableDisplayType::LeftAndTop
                           ? std::max<int>(1, int(shownConfig.tickedMeasures().size()))
                           : 1;
    for (std::size_t i = 0; i < tables.size(); ++i) {
        tableGrid->addWidget(tables[i], int(i) / across, int(i) % across, Qt::AlignLeft | Qt::AlignTop);
        tables[i]->show();
    }
    const int rows = (int(tables.size()) + across - 1) / across;
    for (int r = 0; r <= rows; ++r)
        tableGrid->setRowStretch(r, r == rows ? 1 : 0);
    for (int c = 0; c <= across; ++c)
        tableGrid->setColumnStretch(c, c == across ? 1 : 0);
}

void PivotTableWidget::refreshEmptyTablesLabel(bool halted) {
    const Pivot::Configuration config = controls->getConfigurationBasedOnState();
    QString text;
    if (halted) {
        text = tr("Pivot table computation was halted.");
    } else if (tables.empty()) {
        const bool headers = !config.leftCols.empty() || !config.topCols.empty();
        const bool data = !config.dataCols.empty();
        if (controls->allListsEmpty())
            text = tr("Populate one of the Header lists and the Data list to see tables.") +
                   tr("<br>Use the <b>Add Selected Columns</b> button.");
        else if (!headers && !data)
            text = tr("Populate one of the Header lists and the Data list to see tables.");
        else if (!data)
            text = tr("Populate the Data list to see tables.");
        else if (!headers)
            text = tr("Populate the Left Headers or Top Headers list to see tables.");
        if (config.tickedMeasures().empty())
            text = text.isEmpty() ? tr("Select at least one of the measures.")
                                  : text + tr("<br>Also, select at least one of the measures.");
    }
    emptyTablesLabel->setText(text);
    const bool empty = !text.isEmpty() || tables.empty();
    emptyArea->setVisible(empty);
    scrollArea->setVisible(!empty);
    // Once the lists and a measure are set, Compute makes the grids again, after a halt too.
    computeButton->setVisible(empty && config.canShowTables());
}

QString PivotTableWidget::getEmptyTablesText() const {
    return emptyArea->isVisibleTo(this) ? emptyTablesLabel->text() : QString();
}

void PivotTableWidget::clear(bool keepLists) {
    refreshTimer->stop();
    if (busy)
        return;
    if (!keepLists) {
        const QSignalBlocker block(controls);
        controls->clearLists();
        listsModel = nullptr;
    }
    deleteTables();
    result.reset();
    hasShown = false;
    refreshEmptyTablesLabel(false);
}

void PivotTableWidget::setUseThousandsSeparators(bool on) {
    controls->setUseThousandsSeparators(on);
    if (useThousandsSeparators == on)
        return;
    useThousandsSeparators = on;
    for (PivotTable* table : tables)
        table->refreshDataDisplay(on);
}
