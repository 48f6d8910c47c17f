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
        options.push_back(widget);
    }
    ordered = options;
    numVisibleOptions = static_cast<int>(options.size());
    relayout();
    setWidget(content);
    connect(verticalScrollBar(), &QScrollBar::valueChanged, this, [this] { fillVisibleRows(); });
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
    // Rows are placed by hand: a layout would take every row out and in again per keystroke,
    // and a row that keeps its place and its visibility here costs nothing.
    const int width = content->width();
    int y = 0;
    for (size_t i = 0; i < ordered.size(); ++i) {
        OptionWidget* widget = ordered[i];
        if (static_cast<int>(i) < numVisibleOptions) {
            const int h = widget->height();
            widget->setGeometry(0, y, width, h);
            if (widget->isHidden())
                widget->show();
            y += h;
        } else if (!widget->isHidden()) {
            widget->hide();
        }
    }
    content->setFixedHeight(std::max(y, 1));
}

bool OptionListWidget::eventFilter(QObject* watched, QEvent* event) {
    if (watched == content && event->type() == QEvent::Resize) {
        const int width = content->width();
        for (int i = 0; i < numVisibleOptions; ++i) {
            OptionWidget* widget = ordered[static_cast<size_t>(i)];
            widget->resize(width, widget->height());
        }
    }
    return QScrollArea::eventFilter(watched, event);
}

void OptionListWidget::fillListWidgets() {
    const int count = std::min(numVisibleOptions, kInitialFill);
    for (int i = 0; i < count; ++i)
        ordered[static_cast<size_t>(i)]->fillWidget();
}

void OptionListWidget::fillVisibleRows() {
    const int top = verticalScrollBar()->value();
    const int bottom = top + viewport()->height();
    int y = 0;
    for (int i = 0; i < numVisibleOptions && y < bottom; ++i) {
        OptionWidget* widget = ordered[static_cast<size_t>(i)];
        const int h = widget->height();
        if (y + h >= top)
            widget->fillWidget();
        y += h;
    }
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
    int h = 0;
    for (int i = 0; i < numVisibleOptions; ++i)
        h += ordered[static_cast<size_t>(i)]->height();
    return h;
}

QString OptionListWidget::getSelectedResponseString() const {
    return selectedWidget ? selectedWidget->getResponseString() : QString();
}

void OptionListWidget::onCurrentTableChanged(const QString& name) {
    for (OptionWidget* widget : options) {
        if (widget->getOptionText() == QStringLiteral("(current file)"))
            widget->setDescription(name);
    }
}
