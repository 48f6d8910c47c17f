#include "window/optionlistwidget.h"

#include "util/fuzzysearchutilities.h"

#include <QEvent>
#include <QScrollBar>

#include <algorithm>

OptionListWidget::OptionListWidget(const std::vector<OptionData>& optionData, const Theme& listTheme,
                                   QWidget* parent)
    : QScrollArea(parent), theme(listTheme) {
    setFrameShape(QFrame::NoFrame);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setWidgetResizable(true);
    setFocusPolicy(Qt::NoFocus);
    makeOptionWidgetStyleSheetsAndHTMLTags();

    content = new QWidget(this);
    content->setFocusPolicy(Qt::NoFocus);
    makeOptionWidgetStyleSheetsAndHTMLTags();
    content->installEventFilter(this);
    options.reserve(optionData.size());
    for (const OptionData& data : optionData) {
        auto* widget = new OptionWidget(data, &style, content);
        connect(widget, &OptionWidget::clickedSignal, this, &OptionListWidget::itemClicked);
        connect(widget, &OptionWidget::selectedSignal, this, &OptionListWidget::selectionChangedSignal);
        // Shown when a query or a scroll places it in view.
        widget->hide();
        options.push_back(widget);
    }
    ordered = options;
    numVisibleOptions = static_cast<int>(options.size());
    relayout();
    setWidget(content);
    connect(verticalScrollBar(), &QScrollBar::valueChanged, this, [this] { placeRowsInView(); });
    fillListWidgets();
    selectIndex(options.empty() ? -1 : 0);
}

void OptionListWidget::makeOptionWidgetStyleSheetsAndHTMLTags() {
    style.highlightOpen =
        QStringLiteral("<b style=\"color: %1;\">").arg(theme.FuzzySearchHighlightedTextColor.name());
    style.highlightClose = QStringLiteral("</b>");
    style.optionColor = theme.TextColor;
    style.highlightColor = theme.FuzzySearchHighlightedTextColor;
    style.descriptionColor = theme.StaticTextColor;
    style.shortcutColor = theme.DisabledTextColor;
    style.background = theme.Background2Color;
    style.selectedBackground = theme.SelectedItemColor;
    style.optionFont = QFont(QStringLiteral("Lucida Grande"), 14);
    style.highlightFont = style.optionFont;
    style.highlightFont.setBold(true);
    style.descriptionFont = QFont(QStringLiteral("Lucida Grande"), 11);
    QPalette pal = palette();
    pal.setColor(QPalette::Window, theme.Background2Color);
    pal.setColor(QPalette::Base, theme.Background2Color);
    setPalette(pal);
    viewport()->setAutoFillBackground(true);
    viewport()->setPalette(pal);
    if (content) {
        content->setAutoFillBackground(true);
        content->setPalette(pal);
    }
}

void OptionListWidget::setTheme(const Theme& newTheme) {
    theme = newTheme;
    makeOptionWidgetStyleSheetsAndHTMLTags();
    for (OptionWidget* widget : options)
        widget->setStyleSheetAndHTMLTagStrings(&style);
}

void OptionListWidget::relayout() {
    // Rows are placed by hand, and only those in and near the view: a keystroke that reorders
    // hundreds of rows moves and shows a screenful, and a scroll places the rows it brings in.
    rowTops.resize(static_cast<size_t>(numVisibleOptions) + 1);
    int y = 0;
    for (int i = 0; i < numVisibleOptions; ++i) {
        rowTops[static_cast<size_t>(i)] = y;
        y += ordered[static_cast<size_t>(i)]->height();
    }
    rowTops[static_cast<size_t>(numVisibleOptions)] = y;
    content->setFixedHeight(std::max(y, 1));
    std::vector<OptionWidget*> before;
    before.swap(placed);
    placeRowsInView();
    for (OptionWidget* widget : before) {
        if (std::find(placed.begin(), placed.end(), widget) == placed.end())
            widget->hide();
    }
}

void OptionListWidget::placeRowsInView() {
    if (numVisibleOptions == 0)
        return;
    // While the list is still being sized its view is small; place as much as it can grow to.
    const int top = verticalScrollBar()->value();
    const int bottom = top + std::max(viewport()->height(), kPlacedHeight);
    const int width = content->width();
    const auto end = rowTops.begin() + numVisibleOptions;
    auto first = std::upper_bound(rowTops.begin(), end, top);
    if (first != rowTops.begin())
        --first;
    for (auto it = first; it != end && *it < bottom; ++it) {
        OptionWidget* widget = ordered[static_cast<size_t>(it - rowTops.begin())];
        const QRect target(0, *it, width, widget->height());
        if (widget->geometry() != target)
            widget->setGeometry(target);
        widget->fillWidget();
        if (widget->isHidden()) {
            widget->show();
            placed.push_back(widget);
        } else if (std::find(placed.begin(), placed.end(), widget) == placed.end()) {
            placed.push_back(widget);
        }
    }
}

bool OptionListWidget::eventFilter(QObject* watched, QEvent* event) {
    if (watched == content && event->type() == QEvent::Resize) {
        const int width = content->width();
        for (OptionWidget* widget : placed)
            widget->resize(width, widget->height());
    }
    return QScrollArea::eventFilter(watched, event);
}

void OptionListWidget::fillListWidgets() {
    const int count = std::min(numVisibleOptions, kInitialFill);
    for (int i = 0; i < count; ++i)
        ordered[static_cast<size_t>(i)]->fillWidget();
}

void OptionListWidget::updateOptionList(const QString& query) {
    if (query.trimmed().isEmpty()) {
        ordered = options;
        for (OptionWidget* widget : options)
            widget->highlightOption({});
        numVisibleOptions = static_cast<int>(options.size());
    } else {
        struct Scored {
            OptionWidget* widget;
            int score;
            std::vector<int> positions;
        };
        std::vector<Scored> scored;
        scored.reserve(options.size());
        for (OptionWidget* widget : options) {
            Scored entry{widget, -1, {}};
            Utilities::fuzzySearchScoreAndMatch(entry.score, entry.positions, query, widget->getOptionText());
            scored.push_back(std::move(entry));
        }
        // Stable, so that equal scores keep the first order; hidden ones go last.
        std::stable_sort(scored.begin(), scored.end(), [](const Scored& a, const Scored& b) {
            const bool aShown = a.score >= 0;
            const bool bShown = b.score >= 0;
            if (aShown != bShown)
                return aShown;
            return aShown && a.score > b.score;
        });
        numVisibleOptions = 0;
        for (size_t i = 0; i < scored.size(); ++i) {
            Scored& entry = scored[i];
            ordered[i] = entry.widget;
            if (entry.score >= 0) {
                ++numVisibleOptions;
                entry.widget->highlightOption(entry.positions);
            }
        }
    }
    relayout();
    fillListWidgets();
    if (selectedWidget)
        selectedWidget->setSelected(false);
    selectedWidget = nullptr;
    selectedIndex = -1;
    selectIndex(numVisibleOptions > 0 ? 0 : -1);
    verticalScrollBar()->setValue(0);
}

void OptionListWidget::selectIndex(int index) {
    if (index < -1 || index >= numVisibleOptions)
        return;
    if (selectedWidget)
        selectedWidget->setSelected(false);
    selectedIndex = index;
    selectedWidget = index >= 0 ? ordered[static_cast<size_t>(index)] : nullptr;
    if (selectedWidget) {
        selectedWidget->fillWidget();
        selectedWidget->setSelected(true);
        keepOptionTreeItemInView();
    }
}

void OptionListWidget::onPressUp() {
    if (selectedIndex > 0)
        selectIndex(selectedIndex - 1);
}

void OptionListWidget::onPressDown() {
    if (selectedIndex + 1 < numVisibleOptions)
        selectIndex(selectedIndex + 1);
}

int OptionListWidget::rowsPerPage() const {
    const int rowHeight = options.empty() ? 1 : std::max(1, options.front()->height());
    return std::max(1, viewport()->height() / rowHeight);
}

void OptionListWidget::keepOptionTreeItemInView() {
    if (!selectedWidget)
        return;
    // The layout may not have placed the row yet: count the heights above it.
    int y = 0;
    for (int i = 0; i < selectedIndex; ++i)
        y += ordered[static_cast<size_t>(i)]->height();
    const int h = selectedWidget->height();
    QScrollBar* bar = verticalScrollBar();
    // A row taller than the view (as while the list is still being sized) shows its top.
    if (y < bar->value() || h > viewport()->height())
        bar->setValue(y);
    else if (y + h > bar->value() + viewport()->height())
        bar->setValue(y + h - viewport()->height());
}

int OptionListWidget::neededHeight() const {
    return rowTops.empty() ? 0 : rowTops[static_cast<size_t>(numVisibleOptions)];
}

QString OptionListWidget::getSelectedResponseString() const {
    return selectedWidget ? selectedWidget->getResponseString() : QString();
}

void OptionListWidget::onCurrentTableChanged(const QString& name) {
    for (OptionWidget* widget : options) {
        if (widget->getOptionText() == QStringLiteral("(current file)"))
            widget->setDescription(name);
    }
    // A description line may have made a row taller.
    relayout();
}
