#include "statuslabelrow.h"

#include <QEvent>
#include <QPainter>
#include <QStyle>

#include <algorithm>

namespace {

// A label that elides its text to the room it is given, instead of cutting it off.
class ElidingLabel : public QLabel {
public:
    using QLabel::QLabel;

protected:
    void paintEvent(QPaintEvent* event) override {
        const QRect room = contentsRect().marginsRemoved(QMargins(margin(), margin(), margin(), margin()));
        const QString shown = fontMetrics().elidedText(text(), Qt::ElideRight, room.width());
        if (shown == text()) {
            QLabel::paintEvent(event);
            return;
        }
        QPainter painter(this);
        style()->drawItemText(&painter, room, static_cast<int>(alignment()), palette(), isEnabled(), shown,
                              foregroundRole());
    }
};

const QString ellipsis = QString(QChar(0x2026));

} // namespace

StatusLabelRow::StatusLabelRow(QWidget* parent) : QWidget(parent) {
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
}

QLabel* StatusLabelRow::addLabel(Side side, int rank, const KeepUntil& keepUntil) {
    auto* label = new ElidingLabel(this);
    label->setAlignment((side == Side::Left ? Qt::AlignLeft : Qt::AlignRight) | Qt::AlignVCenter);
    entries.push_back({label, side, rank, keepUntil});
    return label;
}

bool StatusLabelRow::event(QEvent* event) {
    // A label's new text asks its parent for a new layout.
    if (event->type() == QEvent::LayoutRequest)
        place();
    return QWidget::event(event);
}

void StatusLabelRow::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    place();
}

QSize StatusLabelRow::sizeHint() const {
    int width = 0;
    int height = 0;
    for (const Entry& entry : entries) {
        if (!entry.label->text().isEmpty())
            width += entry.label->sizeHint().width() + wideGap;
        height = std::max(height, entry.label->sizeHint().height());
    }
    return {width, height};
}

QSize StatusLabelRow::minimumSizeHint() const {
    return {0, sizeHint().height()};
}

namespace {

int wholeWidth(const QLabel* label) {
    return label->text().isEmpty() ? 0 : label->sizeHint().width();
}

} // namespace

bool StatusLabelRow::showsWholeText(const QLabel* label) const {
    return label->width() >= wholeWidth(label);
}

void StatusLabelRow::place() {
    const std::size_t count = entries.size();
    std::vector<int> widths(count);
    std::vector<int> kept(count);
    for (std::size_t i = 0; i < count; ++i) {
        const QLabel* label = entries[i].label;
        widths[i] = kept[i] = wholeWidth(label);
        if (entries[i].keepUntil && widths[i] > 0) {
            const QString text = label->text();
            const qsizetype until = entries[i].keepUntil(text);
            if (until <= 0)
                kept[i] = 0;
            else if (until < text.size())
                kept[i] = std::min(widths[i],
                                   widths[i] - label->fontMetrics().horizontalAdvance(text) +
                                       label->fontMetrics().horizontalAdvance(text.left(until) + ellipsis));
        }
    }
    int gap = wideGap;
    // Every shown label but the first brings a gap, and the right side one more after its last.
    const auto excess = [&] {
        int used = 0;
        int shown = 0;
        bool right = false;
        for (std::size_t i = 0; i < count; ++i) {
            if (widths[i] > 0) {
                used += widths[i];
                ++shown;
                right = right || entries[i].side == Side::Right;
            }
        }
        const int gaps = std::max(0, shown - 1) + (right ? 1 : 0);
        return used + gaps * gap - width();
    };
    std::vector<std::size_t> order(count);
    for (std::size_t i = 0; i < count; ++i)
        order[i] = i;
    std::stable_sort(order.begin(), order.end(),
                     [this](std::size_t a, std::size_t b) { return entries[a].rank < entries[b].rank; });

    // The labels that keep nothing go whole: a stub of them tells nothing.
    for (const std::size_t i : order) {
        if (excess() > 0 && kept[i] == 0)
            widths[i] = 0;
    }
    if (const int over = excess(); over > 0) {
        int gaps = 0;
        for (std::size_t i = 0; i < count; ++i)
            gaps += widths[i] > 0 ? 1 : 0;
        gap = std::max(narrowGap, gap - (over + gaps - 1) / std::max(1, gaps));
    }
    // Then each label down to what it keeps, then, in the same order, down to nothing; a label
    // with room for less than one character vanishes.
    for (const bool keep : {true, false}) {
        for (const std::size_t i : order) {
            const int over = excess();
            if (over <= 0 || widths[i] == 0)
                continue;
            widths[i] -= std::min(over, widths[i] - (keep ? kept[i] : 0));
            const QLabel* label = entries[i].label;
            if (widths[i] < label->fontMetrics().horizontalAdvance(QStringLiteral("W") + ellipsis))
                widths[i] = 0;
        }
    }

    int rightWidth = 0;
    for (std::size_t i = 0; i < count; ++i) {
        if (entries[i].side == Side::Right && widths[i] > 0)
            rightWidth += gap + widths[i];
    }
    int left = 0;
    int right = width() - rightWidth;
    bool first = true;
    for (std::size_t i = 0; i < count; ++i) {
        QLabel* label = entries[i].label;
        int& x = entries[i].side == Side::Left ? left : right;
        if (widths[i] > 0 && entries[i].side == Side::Left && !first)
            x += gap;
        label->setGeometry(x, 0, widths[i], height());
        x += widths[i];
        if (widths[i] > 0 && entries[i].side == Side::Right)
            x += gap;
        first = first && widths[i] == 0;
        label->setToolTip(widths[i] < wholeWidth(label) ? label->text() : QString());
    }
}
