#include "window/optionwidget.h"

#include <QFontMetrics>
#include <QGridLayout>
#include <QLabel>
#include <QMouseEvent>
#include <QPainter>

namespace {
constexpr int kMargin = 4;
}

OptionWidget::OptionWidget(const OptionData& optionData, const Style* rowStyle, QWidget* parent)
    : QWidget(parent), data(optionData), style(rowStyle), optionText(optionData.option),
      highlightedText(optionData.option.toHtmlEscaped()), showDescription(!optionData.description.isEmpty()),
      showValue(!optionData.value.isEmpty()), showShortcut(!optionData.shortcut.isEmpty()) {
    int option = 0;
    int description = 0;
    int value = 0;
    int margins = 0;
    int total = 0;
    computeHeights(option, description, value, margins, total);
    setFixedHeight(total);
}

void OptionWidget::computeHeights(int& option, int& description, int& value, int& margins, int& total) const {
    option = QFontMetrics(style->optionFont).height() + 2;
    const int small = QFontMetrics(style->descriptionFont).height() + 2;
    description = showDescription ? small : 0;
    value = showValue ? small : 0;
    margins = 2 * kMargin;
    total = option + description + value + margins;
}

void OptionWidget::setHeights(int option, int description, int value) {
    if (!optionLabel)
        return;
    optionLabel->setFixedHeight(option);
    if (descriptionLabel)
        descriptionLabel->setFixedHeight(description);
    if (valueLabel)
        valueLabel->setFixedHeight(value);
    setFixedHeight(option + description + value + 2 * kMargin);
}

void OptionWidget::fillWidget() {
    if (optionLabel)
        return;
    auto* grid = new QGridLayout(this);
    grid->setContentsMargins(kMargin + 4, kMargin, kMargin + 4, kMargin);
    grid->setSpacing(0);
    optionLabel = new QLabel(this);
    optionLabel->setTextFormat(Qt::RichText);
    optionLabel->setFont(style->optionFont);
    // A long name gives way to the shortcut, never the other way round.
    optionLabel->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Fixed);
    grid->addWidget(optionLabel, 0, 0);
    if (showShortcut) {
        shortcutLabel = new QLabel(data.shortcut, this);
        shortcutLabel->setTextFormat(Qt::PlainText);
        shortcutLabel->setFont(style->descriptionFont);
        shortcutLabel->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
        shortcutLabel->setMinimumWidth(shortcutLabel->sizeHint().width());
        grid->addWidget(shortcutLabel, 0, 1);
    }
    int row = 1;
    if (showDescription) {
        descriptionLabel = new QLabel(data.description, this);
        descriptionLabel->setTextFormat(Qt::AutoText);
        descriptionLabel->setFont(style->descriptionFont);
        grid->addWidget(descriptionLabel, row++, 0, 1, 2);
    }
    if (showValue) {
        valueLabel = new QLabel(tr("Current value: %1").arg(data.value), this);
        valueLabel->setTextFormat(Qt::PlainText);
        valueLabel->setFont(style->descriptionFont);
        grid->addWidget(valueLabel, row++, 0, 1, 2);
    }
    grid->setColumnStretch(0, 1);
    int option = 0;
    int description = 0;
    int value = 0;
    int margins = 0;
    int total = 0;
    computeHeights(option, description, value, margins, total);
    setHeights(option, description, value);
    updateColors();
    updateOptionLabel();
}

void OptionWidget::updateOptionLabel() {
    if (optionLabel)
        optionLabel->setText(highlightedText);
}

void OptionWidget::highlightOption(const std::vector<int>& positions) {
    // Runs of adjacent positions share one pair of tags. Escaping comes first, per character,
    // so that positions keep pointing at the characters they matched.
    QString html;
    html.reserve(optionText.size() * 2);
    size_t next = 0;
    bool open = false;
    for (qsizetype i = 0; i < optionText.size(); ++i) {
        const bool matched = next < positions.size() && positions[next] == i;
        if (matched) {
            ++next;
            if (!open) {
                html += style->highlightOpen;
                open = true;
            }
        } else if (open) {
            html += style->highlightClose;
            open = false;
        }
        const QChar c = optionText.at(i);
        if (c == QLatin1Char('<'))
            html += QStringLiteral("&lt;");
        else if (c == QLatin1Char('>'))
            html += QStringLiteral("&gt;");
        else if (c == QLatin1Char('&'))
            html += QStringLiteral("&amp;");
        else
            html += c;
    }
    if (open)
        html += style->highlightClose;
    if (html == highlightedText)
        return;
    highlightedText = html;
    updateOptionLabel();
}

void OptionWidget::setSelected(bool on) {
    if (selected == on)
        return;
    selected = on;
    update();
    if (on)
        emit selectedSignal(getResponseString());
}

void OptionWidget::setDescription(const QString& text) {
    data.description = text;
    if (descriptionLabel)
        descriptionLabel->setText(text);
}

void OptionWidget::updateColors() {
    if (!optionLabel)
        return;
    optionLabel->setPalette(style->optionPalette);
    if (descriptionLabel)
        descriptionLabel->setPalette(style->descriptionPalette);
    if (valueLabel)
        valueLabel->setPalette(style->descriptionPalette);
    if (shortcutLabel)
        shortcutLabel->setPalette(style->shortcutPalette);
}

void OptionWidget::setStyleSheetAndHTMLTagStrings(const Style* newStyle) {
    style = newStyle;
    updateColors();
    update();
}

void OptionWidget::mousePressEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton) {
        emit clickedSignal(getResponseString());
        return;
    }
    QWidget::mousePressEvent(event);
}

void OptionWidget::paintEvent(QPaintEvent*) {
    if (!selected)
        return;
    QPainter painter(this);
    painter.fillRect(rect(), style->selectedBackground);
}
