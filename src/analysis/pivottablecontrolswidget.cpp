#include "analysis/pivottablecontrolswidget.h"

#include <QCheckBox>
#include <QDropEvent>
#include <QGridLayout>
#include <QGroupBox>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

#include <algorithm>

PivotTableControlsWidget::PivotTableControlsWidget(QWidget* parent) : QWidget(parent) {
    setObjectName(QStringLiteral("pivotTableControls"));
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);

    auto* buttons = new QGridLayout;
    const auto button = [this, buttons](const QString& text, int row, int col, auto signal) {
        auto* b = new QPushButton(text, this);
        buttons->addWidget(b, row, col);
        connect(b, &QPushButton::clicked, this, signal);
        return b;
    };
    button(tr("Add Selected Columns"), 0, 0, &PivotTableControlsWidget::addSelectedColsSignal);
    button(tr("Refresh Data"), 0, 1, &PivotTableControlsWidget::refreshSignal);
    button(tr("Clear Data"), 1, 0, &PivotTableControlsWidget::clearSignal);
    button(tr("Swap Left and Top"), 1, 1, &PivotTableControlsWidget::swapLeftAndTop);
    layout->addLayout(buttons);

    const QString titles[3] = {tr("Left Headers"), tr("Top Headers"), tr("Data")};
    const char* names[3] = {"leftHeadersList", "topHeadersList", "dataList"};
    for (std::size_t i = 0; i < lists.size(); ++i) {
        auto* label = new QLabel(titles[i], this);
        QFont bold = label->font();
        bold.setBold(true);
        label->setFont(bold);
        layout->addWidget(label);
        auto* list = new ColumnListTableWidget(this);
        list->setObjectName(QString::fromLatin1(names[i]));
        list->setMinimumHeight(60);
        label->setBuddy(list);
        layout->addWidget(list, 1);
        lists[i] = list;
        connect(list, &ColumnListTableWidget::itemDroppedSignal, this,
                &PivotTableControlsWidget::onItemDropped);
        connect(list, &ColumnListTableWidget::itemEnabledChangedSignal, this, [this](int row) {
            emit itemEnabledChangedSignal(row);
            emit configChangedSignal();
        });
        connect(list, &ColumnListTableWidget::itemDeletedSignal, this, [this](int row) {
            emit itemDeletedSignal(row);
            emit colsChangedSignal();
        });
    }

    auto* measures = new QGroupBox(tr("Measures"), this);
    setupCheckBoxes(measures);
    layout->addWidget(measures);

    thousandsBox = new QCheckBox(tr("Use Thousands Separators"), this);
    thousandsBox->setChecked(true);
    connect(thousandsBox, &QCheckBox::toggled, this,
            &PivotTableControlsWidget::thousandsSeparatorsToggledSignal);
    layout->addWidget(thousandsBox);
}

void PivotTableControlsWidget::setupCheckBoxes(QWidget* box) {
    auto* grid = new QGridLayout(box);
    for (int i = 0; i < kPivotTableDataTypeCount; ++i) {
        auto* check = new QCheckBox(Pivot::dataTypeLabel(PivotTableDataType(i)), box);
        // Sum is what a pivot is most often made for.
        check->setChecked(i == int(PivotTableDataType::Sum));
        grid->addWidget(check, i / 3, i % 3);
        measureBoxes[std::size_t(i)] = check;
        connect(check, &QCheckBox::toggled, this, &PivotTableControlsWidget::configChangedSignal);
    }
}

Pivot::Configuration PivotTableControlsWidget::getConfigurationBasedOnState() const {
    Pivot::Configuration config;
    const auto read = [](const ColumnListTableWidget* list, std::vector<int>& cols,
                         std::vector<QString>& titles) {
        for (const ColumnListTableWidget::Item& item : list->items()) {
            if (!item.enabled)
                continue;
            cols.push_back(item.column);
            titles.push_back(item.name);
        }
    };
    read(lists[LeftList], config.leftCols, config.leftTitles);
    read(lists[TopList], config.topCols, config.topTitles);
    read(lists[DataList], config.dataCols, config.dataTitles);
    for (std::size_t i = 0; i < measureBoxes.size(); ++i)
        config.measures[i] = measureBoxes[i]->isChecked();
    return config;
}

void PivotTableControlsWidget::setConfiguration(const Pivot::Configuration& config) {
    const auto items = [](const std::vector<int>& cols, const std::vector<QString>& titles) {
        std::vector<ColumnListTableWidget::Item> out;
        for (std::size_t i = 0; i < cols.size(); ++i)
            out.push_back({cols[i], i < titles.size() ? titles[i] : QString(), true});
        return out;
    };
    lists[LeftList]->setItems(items(config.leftCols, config.leftTitles));
    lists[TopList]->setItems(items(config.topCols, config.topTitles));
    lists[DataList]->setItems(items(config.dataCols, config.dataTitles));
    for (std::size_t i = 0; i < measureBoxes.size(); ++i) {
        const QSignalBlocker block(measureBoxes[i]);
        measureBoxes[i]->setChecked(config.measures[i]);
    }
    emit colsChangedSignal();
}

void PivotTableControlsWidget::setColumns(ListType type,
                                          const std::vector<ColumnListTableWidget::Item>& items) {
    lists[std::size_t(type)]->setItems(items);
    emit colsChangedSignal();
}

void PivotTableControlsWidget::addColumns(ListType type,
                                          const std::vector<ColumnListTableWidget::Item>& items) {
    if (lists[std::size_t(type)]->insertItems(-1, items) > 0)
        emit colsChangedSignal();
}

std::vector<ColumnListTableWidget::Item> PivotTableControlsWidget::getColumns(ListType type) const {
    return lists[std::size_t(type)]->items();
}

void PivotTableControlsWidget::swapLeftAndTop() {
    const std::vector<ColumnListTableWidget::Item> left = lists[LeftList]->items();
    lists[LeftList]->setItems(lists[TopList]->items());
    lists[TopList]->setItems(left);
    emit colsChangedSignal();
}

void PivotTableControlsWidget::moveItems(ColumnListTableWidget* from, std::vector<int> rows,
                                         ColumnListTableWidget* to, int row) {
    if (!from || !to || rows.empty())
        return;
    std::sort(rows.begin(), rows.end());
    const std::vector<ColumnListTableWidget::Item> all = from->items();
    std::vector<ColumnListTableWidget::Item> moved;
    for (const int r : rows) {
        if (r >= 0 && std::size_t(r) < all.size())
            moved.push_back(all[std::size_t(r)]);
    }
    if (from == to) {
        // Rows above the place of the drop leave a gap that the place moves up into.
        const int above = int(std::count_if(rows.begin(), rows.end(), [row](int r) { return r < row; }));
        from->removeItemRows(rows);
        to->insertItems(row - above, moved);
    } else {
        // A column already in the target list stays there once; the drag still takes it away.
        from->removeItemRows(rows);
        to->insertItems(row, moved);
    }
    emit colsChangedSignal();
}

void PivotTableControlsWidget::onItemDropped(QDropEvent* event) {
    auto* to = qobject_cast<ColumnListTableWidget*>(sender());
    auto* from = qobject_cast<ColumnListTableWidget*>(event->source());
    if (!to || !from)
        return;
    moveItems(from, from->draggedRows(), to, to->dropRow(event->position().toPoint()));
}

void PivotTableControlsWidget::clearLists() {
    for (ColumnListTableWidget* list : lists)
        list->setRowCount(0);
    emit colsChangedSignal();
}

bool PivotTableControlsWidget::allListsEmpty() const {
    for (const ColumnListTableWidget* list : lists) {
        if (list->rowCount() > 0)
            return false;
    }
    return true;
}

void PivotTableControlsWidget::setUseThousandsSeparators(bool on) {
    const QSignalBlocker block(thousandsBox);
    thousandsBox->setChecked(on);
}
