// Prompts of filters: which column to filter, the filter text with a live preview, the lists
// of filters to edit or remove, and the status bar's filter commands.

#include "window/mainwindow.h"

#include "table/tablemodel.h"
#include "util/locationutilities.h"
#include "view/tableview.h"
#include "window/launcher.h"
#include "window/optiondata.h"
#include "window/paneview.h"

#include <QLabel>

#include <algorithm>

namespace {

// The preview reads at most this many cells per keystroke, and for no longer than the budget,
// so typing stays quick on any size, also on a file read from disk.
constexpr int kPreviewLimit = 200000;
constexpr qint64 kPreviewBudgetMs = 60;

bool columnsAsLetters(TableView* view) {
    return view && view->getSettings(false).getValueBool(RepresentColumnsAsLetters);
}

// "C3" (or "C" and letters) for a column filter, "R3" for a row filter.
QString filterPlaceName(const TableModel* model, const FilterData& filter, bool letters) {
    if (filter.range.type == RangeType::Col) {
        const int raw = filter.range.col;
        return QStringLiteral("C") + (letters ? Utilities::convertNumberToLetters(raw)
                                              : QString::number(model->getUserFromRawCol(raw)));
    }
    const int user = model->getUserFromRawRow(filter.range.row);
    return letters ? QString::number(user) : QStringLiteral("R%1").arg(user);
}

std::vector<OptionData> filterOptions(const TableModel* model, bool letters) {
    std::vector<FilterData> filters = model->getFilterList();
    std::vector<OptionData> options;
    for (std::size_t i = 0; i < filters.size(); ++i) {
        OptionData option;
        option.option =
            filterPlaceName(model, filters[i], letters) + QStringLiteral(": ") + filters[i].filterStr;
        option.response = QString::number(i);
        options.push_back(std::move(option));
    }
    return options;
}

} // namespace

QString MainWindow::getFiltersLabelText() const {
    return filtersLabel ? filtersLabel->text() : QString();
}

void MainWindow::updateFiltersLabel() {
    if (!filtersLabel || !activeModel)
        return;
    std::vector<FilterData> filters = activeModel->getFilterList();
    // Columns first, then rows, each in order.
    std::sort(filters.begin(), filters.end(), [](const FilterData& a, const FilterData& b) {
        if (a.range.type != b.range.type)
            return a.range.type == RangeType::Col;
        return a.range.type == RangeType::Col ? a.range.col < b.range.col : a.range.row < b.range.row;
    });
    QStringList names;
    const bool letters = columnsAsLetters(activeTable);
    for (const FilterData& filter : filters)
        names << filterPlaceName(activeModel, filter, letters);
    filtersLabel->setText(QStringLiteral("Filters: ") +
                          (names.isEmpty() ? QStringLiteral("none") : names.join(QStringLiteral(", "))));
}

void MainWindow::onFilterPrompt(bool regex, const QString& text) {
    if (!activeTable || !activeModel)
        return;
    pendingFilterRegex = regex;
    const bool onCol = pendingFilter.range.type == RangeType::Col;
    QString place;
    if (onCol) {
        activeModel->getColumnLabel(place, activeModel->getModelFromRawCol(pendingFilter.range.col));
        place = filterPlaceName(activeModel, pendingFilter, columnsAsLetters(activeTable)) +
                (place.isEmpty() ? QString() : QStringLiteral(" (%1)").arg(place));
    } else {
        place = QStringLiteral("R%1").arg(activeModel->getUserFromRawRow(pendingFilter.range.row));
    }
    const QString title =
        regex ? tr("Filter %1 with Regular Expression:").arg(place) : tr("Filter %1:").arg(place);
    const QString description =
        regex ? tr("Rows whose cell has a match stay. Empty removes the filter.")
              : tr("<b>abc</b> whole cell, <b>a*c</b> wildcards, <b>a|b</b> either, <b>a&amp;b</b> both, "
                   "<b>!a</b> not,<br><b>&lt;5</b> <b>&gt;=5</b> <b>5-10</b> numbers, <b>#re</b> regular "
                   "expression, <b>\\*</b> a literal *. Empty removes the filter.");
    Launcher* launcher = makePromptLauncher(title, description);
    launcher->setupEntryFeedback();
    launcher->setEditorText(text);
    connect(launcher, &Launcher::promptEditedSignal, this, &MainWindow::onFilterPromptEdited);
    connect(launcher, &Launcher::launcherResponseSignal, this, &MainWindow::onFilterPromptReceived);
    connect(launcher, &Launcher::launcherClosedSignal, this, [this] {
        if (activeModel)
            activeModel->clearHighlightedRange();
    });
    paneView->setInitialScrollBarLocations();
    paneView->setLauncher(launcher);
    onFilterPromptEdited(text);
    launcher->adjustHeight(0);
}

void MainWindow::onFilterPromptEdited(const QString& text) {
    Launcher* launcher = getLauncher();
    if (!activeTable || !activeModel || !launcher)
        return;
    const bool onCol = pendingFilter.range.type == RangeType::Col;
    const QString lines = onCol ? tr("rows") : tr("columns");
    if (text.isEmpty()) {
        launcher->setEntryFeedbackText(tr("No filter: all %1 show").arg(lines));
        activeModel->clearHighlightedRange();
        return;
    }
    FilterData filter = pendingFilter;
    filter.filterStr = pendingFilterRegex ? QStringLiteral("#") + text : text;
    filter.convertFilterStrToRegexList();
    if (filter.isRegex && !filter.regex.isValid()) {
        launcher->setEntryFeedbackText(tr("Invalid regular expression: %1").arg(filter.regex.errorString()));
        activeModel->clearHighlightedRange();
        return;
    }
    std::vector<int> kept;
    int looked = 0;
    const bool complete = activeTable->previewFilter(filter, kept, kPreviewLimit, looked, kPreviewBudgetMs);
    const int headers =
        std::max(onCol ? activeModel->getNumHeaderRows() : activeModel->getNumHeaderCols(), 0);
    const int total =
        std::max(0, (onCol ? activeModel->rowCountRaw() : activeModel->columnCountRaw()) - headers);
    if (complete)
        launcher->setEntryFeedbackText(tr("%L1 of %L2 %3 stay").arg(kept.size()).arg(total).arg(lines));
    else
        launcher->setEntryFeedbackText(
            tr("%L1 of the first %L2 %3 stay").arg(kept.size()).arg(looked).arg(lines));
    // Light up the lines on screen that stay.
    RangeVector highlight;
    const int first = onCol ? activeTable->rowAt(0) : activeTable->columnAt(0);
    int last = onCol ? activeTable->rowAt(activeTable->viewport()->height() - 1)
                     : activeTable->columnAt(activeTable->viewport()->width() - 1);
    if (last < 0)
        last = onCol ? activeModel->rowCountModel() - 1 : activeModel->columnCountModel() - 1;
    for (int model = std::max(first, 0); model <= last; ++model) {
        const int raw =
            onCol ? activeModel->getRawFromModelRow(model) : activeModel->getRawFromModelCol(model);
        if (raw < headers || std::binary_search(kept.begin(), kept.end(), raw)) {
            if (raw >= headers)
                highlight.push_back(Range(raw, onCol ? RangeType::Row : RangeType::Col, RangeIndexType::Raw));
            continue;
        }
        // Beyond the part the preview read, a line is tested on its own.
        if (!complete && raw - headers >= looked) {
            const QString cell = (onCol ? activeModel->getTableData().getValueRaw(raw, filter.range.col)
                                        : activeModel->getTableData().getValueRaw(filter.range.row, raw))
                                     .toString();
            if (activeModel->filterMatch(filter, cell))
                highlight.push_back(Range(raw, onCol ? RangeType::Row : RangeType::Col, RangeIndexType::Raw));
        }
    }
    activeModel->setHighlightedRange(highlight);
}

void MainWindow::onFilterPromptReceived(const QString& response) {
    paneView->clearPrevOptionList();
    if (!activeTable || !activeModel)
        return;
    activeModel->clearHighlightedRange();
    if (response.isEmpty()) {
        // An empty answer takes this line's filter away.
        std::vector<FilterData> filters = activeModel->getFilterList();
        const auto gone = std::remove_if(filters.begin(), filters.end(), [this](const FilterData& f) {
            return f.range == pendingFilter.range;
        });
        if (gone != filters.end()) {
            filters.erase(gone, filters.end());
            activeTable->setFilterList(filters);
        }
        return;
    }
    FilterData filter = pendingFilter;
    filter.filterStr = pendingFilterRegex ? QStringLiteral("#") + response : response;
    filter.convertFilterStrToRegexList();
    activeTable->includeFilterInList(filter);
}

void MainWindow::onAddFilterTargetPrompt(bool regex) {
    if (!activeTable || !activeModel)
        return;
    pendingFilterRegex = regex;
    std::vector<QString> labels;
    activeModel->getAllColumnLabels(labels);
    const bool letters = columnsAsLetters(activeTable);
    std::vector<OptionData> options;
    for (std::size_t i = 0; i < labels.size(); ++i) {
        const int raw = activeModel->getRawFromModelCol(static_cast<int>(i));
        OptionData option;
        FilterData place;
        place.range = Range(raw, RangeType::Col, RangeIndexType::Raw);
        option.option = labels[i].isEmpty() ? filterPlaceName(activeModel, place, letters) : labels[i];
        option.description = filterPlaceName(activeModel, place, letters);
        option.response = QString::number(raw);
        options.push_back(std::move(option));
    }
    Launcher* launcher = makePromptLauncher(tr("Add Filter to Column:"), QString());
    launcher->setOptions(options);
    connect(launcher, &Launcher::launcherResponseSignal, this, &MainWindow::onAddFilterTargetPromptReceived);
    paneView->setInitialScrollBarLocations();
    paneView->setLauncher(launcher);
}

void MainWindow::onAddFilterTargetPromptReceived(const QString& response) {
    paneView->clearPrevOptionList();
    bool ok = false;
    const int raw = response.toInt(&ok);
    if (!activeTable || !activeModel || !ok || raw < 0 || raw >= activeModel->columnCountRaw())
        return;
    const FilterData existing = activeTable->getFilterData(Range(raw, RangeType::Col, RangeIndexType::Raw));
    pendingFilter = existing;
    QString text = existing.filterStr;
    if (pendingFilterRegex)
        text = text.startsWith(u'#') ? text.mid(1) : QString();
    else if (existing.isRegex)
        text.clear();
    // The launcher that answered closes after this slot; the next one goes up once it is gone.
    const bool regex = pendingFilterRegex;
    QMetaObject::invokeMethod(
        this, [this, regex, text] { onFilterPrompt(regex, text); }, Qt::QueuedConnection);
}

void MainWindow::onViewEditFiltersPrompt() {
    if (!activeTable || !activeModel)
        return;
    Launcher* launcher = makePromptLauncher(tr("View/Edit Filter:"), QString());
    launcher->setOptions(filterOptions(activeModel, columnsAsLetters(activeTable)));
    connect(launcher, &Launcher::launcherResponseSignal, this, &MainWindow::onViewEditFiltersPromptReceived);
    paneView->setInitialScrollBarLocations();
    paneView->setLauncher(launcher);
}

void MainWindow::onViewEditFiltersPromptReceived(const QString& response) {
    paneView->clearPrevOptionList();
    bool ok = false;
    const int index = response.toInt(&ok);
    if (!activeModel || !ok || index < 0 || index >= static_cast<int>(activeModel->getFilterList().size()))
        return;
    pendingFilter = activeModel->getFilterList()[static_cast<std::size_t>(index)];
    const bool regex = pendingFilter.isRegex;
    const QString text = regex ? pendingFilter.filterStr.mid(1) : pendingFilter.filterStr;
    QMetaObject::invokeMethod(
        this, [this, regex, text] { onFilterPrompt(regex, text); }, Qt::QueuedConnection);
}

void MainWindow::onRemoveIndividualFiltersPrompt() {
    if (!activeTable || !activeModel)
        return;
    Launcher* launcher = makePromptLauncher(tr("Remove Filter:"), QString());
    launcher->setOptions(filterOptions(activeModel, columnsAsLetters(activeTable)));
    connect(launcher, &Launcher::launcherResponseSignal, this,
            &MainWindow::onRemoveIndividualFiltersPromptReceived);
    paneView->setInitialScrollBarLocations();
    paneView->setLauncher(launcher);
}

void MainWindow::onRemoveIndividualFiltersPromptReceived(const QString& response) {
    paneView->clearPrevOptionList();
    bool ok = false;
    const int index = response.toInt(&ok);
    if (!activeTable || !activeModel || !ok || index < 0 ||
        index >= static_cast<int>(activeModel->getFilterList().size()))
        return;
    std::vector<FilterData> filters = activeModel->getFilterList();
    filters.erase(filters.begin() + index);
    activeTable->setFilterList(filters);
}

void MainWindow::onFiltersOptionsPrompt() {
    if (!activeTable)
        return;
    activeTable->stopEditing(true);
    std::vector<OptionData> options;
    for (const Command* command : commands.wiredCommands()) {
        if (command->category != QStringLiteral("Data/Filter") || !command->matchesContext(context))
            continue;
        OptionData option;
        option.option = makeCommandLauncherName(*command);
        option.shortcut = command->shortcut;
        options.push_back(std::move(option));
    }
    Launcher* launcher = makePromptLauncher(tr("Filter Commands:"), QString());
    launcher->setOptions(options);
    connect(launcher, &Launcher::launcherResponseSignal, this,
            &MainWindow::onCommandLauncherResponseReceived);
    paneView->setInitialScrollBarLocations();
    paneView->setLauncher(launcher);
}
