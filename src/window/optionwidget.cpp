#include "window/optionwidget.h"

#include <QFontMetrics>

#include <QMouseEvent>
#include <QPainter>
#include <QTextDocument>
#include <cmath>

namespace {
constexpr int kMargin = 4;
// Left and right of the text, inside the row.
constexpr int kSideMargin = kMargin + 4;
} // namespace

OptionWidget::OptionWidget(const OptionData& optionData, const Style* rowStyle, QWidget* parent)
    : QWidget(parent), data(optionData), style(rowStyle),
      optionText(optionData.option), runs{{0, optionData.option.size(), false}},
      showDescription(!optionData.description.isEmpty()), showValue(!optionData.value.isEmpty()),
      showShortcut(!optionData.shortcut.isEmpty()) {
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
    setFixedHeight(option + description + value + 2 * kMargin);
}

void OptionWidget::fillWidget() {
    if (filled)
        return;
    filled = true;
    if (showValue)
        valueText = tr("Current value: %1").arg(data.value);
    prepareDescription();
    update();
}

void OptionWidget::prepareDescription() {
    descriptionIsRich = Qt::mightBeRichText(data.description);
    if (!descriptionIsRich)
        return;
    richDescription.setText(data.description);
    richDescription.setTextFormat(Qt::RichText);
    richDescription.setPerformanceHint(QStaticText::AggressiveCaching);
    richDescription.prepare(QTransform(), style->descriptionFont);
}

void OptionWidget::updateOptionLabel() {
    update();
}

void OptionWidget::highlightOption(const std::vector<int>& positions) {
    // Runs of adjacent positions draw as one stretch.
    std::vector<Run> next;
    next.reserve(positions.size() * 2 + 1);
    qsizetype at = 0;
    size_t i = 0;
    while (i < positions.size()) {
        const qsizetype start = positions[i];
        if (start < at || start >= optionText.size())
            break;
        qsizetype end = start + 1;
        ++i;
        while (i < positions.size() && positions[i] == end) {
            ++end;
            ++i;
        }
        end = std::min(end, optionText.size());
        if (start > at)
            next.push_back({at, start - at, false});
        next.push_back({start, end - start, true});
        at = end;
    }
    if (at < optionText.size())
        next.push_back({at, optionText.size() - at, false});
    const auto same = [](const Run& a, const Run& b) {
        return a.start == b.start && a.length == b.length && a.matched == b.matched;
    };
    if (std::equal(next.begin(), next.end(), runs.begin(), runs.end(), same))
        return;
    runs = std::move(next);
    if (filled && isVisible())
        update();
}

QString OptionWidget::getHighlightedText() const {
    QString html;
    for (const Run& run : runs) {
        const QString text = optionText.mid(run.start, run.length).toHtmlEscaped();
        html += run.matched ? style->highlightOpen + text + style->highlightClose : text;
    }
    return html;
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
    if (!showDescription && !text.isEmpty()) {
        showDescription = true;
        int option = 0;
        int description = 0;
        int value = 0;
        int margins = 0;
        int total = 0;
        computeHeights(option, description, value, margins, total);
        setFixedHeight(total);
    }
    if (filled)
        prepareDescription();
    update();
}

void OptionWidget::updateColors() {
    update();
}

void OptionWidget::setStyleSheetAndHTMLTagStrings(const Style* newStyle) {
    style = newStyle;
    if (filled)
        prepareDescription();
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
    QPainter painter(this);
    if (selected)
        painter.fillRect(rect(), style->selectedBackground);
    if (!filled)
        return;
    int optionHeight = 0;
    int descriptionHeight = 0;
    int valueHeight = 0;
    int margins = 0;
    int total = 0;
    computeHeights(optionHeight, descriptionHeight, valueHeight, margins, total);
    const int left = kSideMargin;
    const int right = width() - kSideMargin;
    int top = kMargin;

    // The shortcut keeps its width; a long name gives way to it.
    int textRight = right;
    const QFontMetrics smallMetrics(style->descriptionFont);
    if (showShortcut) {
        const int w = smallMetrics.horizontalAdvance(data.shortcut);
        painter.setFont(style->descriptionFont);
        painter.setPen(style->shortcutColor);
        painter.drawText(QRect(right - w, top, w, optionHeight), Qt::AlignRight | Qt::AlignVCenter,
                         data.shortcut);
        textRight = right - w;
    }

    // The option line: plain and highlighted stretches on one baseline, placed as a text layout
    // places a line in the middle of its label (fractional advances, so kerning stays even).
    const QFontMetricsF metrics(style->optionFont);
    const QFontMetricsF boldMetrics(style->highlightFont);
    const qreal lineHeight = std::max(metrics.height(), boldMetrics.height());
    const qreal ascent = std::max(metrics.ascent(), boldMetrics.ascent());
    const qreal baseline = std::floor(top + (optionHeight - lineHeight) / 2 + ascent);
    painter.save();
    painter.setClipRect(QRect(left, top, std::max(0, textRight - left), optionHeight));
    qreal x = left;
    for (const Run& run : runs) {
        if (x >= textRight)
            break;
        const QString text = optionText.mid(run.start, run.length);
        painter.setFont(run.matched ? style->highlightFont : style->optionFont);
        painter.setPen(run.matched ? style->highlightColor : style->optionColor);
        painter.drawText(QPointF(x, baseline), text);
        x += (run.matched ? boldMetrics : metrics).horizontalAdvance(text);
    }
    painter.restore();
    top += optionHeight;

    painter.setFont(style->descriptionFont);
    painter.setPen(style->descriptionColor);
    const QRect descriptionRect(left, top, right - left, descriptionHeight);
    if (showDescription) {
        if (descriptionIsRich) {
            painter.save();
            painter.setClipRect(descriptionRect);
            const QSizeF size = richDescription.size();
            painter.drawStaticText(QPointF(left, top + (descriptionHeight - size.height()) / 2.0),
                                   richDescription);
            painter.restore();
        } else {
            painter.drawText(descriptionRect, Qt::AlignLeft | Qt::AlignVCenter, data.description);
        }
        top += descriptionHeight;
    }
    if (showValue)
        painter.drawText(QRect(left, top, right - left, valueHeight), Qt::AlignLeft | Qt::AlignVCenter,
                         valueText);
}
