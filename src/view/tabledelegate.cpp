#include "view/tabledelegate.h"

#include <QFontMetrics>
#include <QPainter>

TableDelegate::TableDelegate(QObject* parent) : QStyledItemDelegate(parent) {}

const QFontMetricsF& TableDelegate::metricsFor(const QFont& font) const
{
    if (!metrics || !(metricsFont == font)) {
        metricsFont = font;
        metrics.emplace(font);
    }
    return *metrics;
}

void TableDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const
{
    const QAbstractItemModel* model = index.model();
    if (!model)
        return;
    const QVariant background = model->data(index, Qt::BackgroundRole);
    if (background.canConvert<QBrush>()) {
        const QBrush brush = background.value<QBrush>();
        if (brush.style() != Qt::NoBrush)
            painter->fillRect(option.rect, brush);
    }
    QString text = model->data(index, Qt::DisplayRole).toString();
    if (text.isEmpty())
        return;
    const QVariant fontValue = model->data(index, Qt::FontRole);
    const QFont font = fontValue.isValid() ? fontValue.value<QFont>() : option.font;
    const QVariant foreground = model->data(index, Qt::ForegroundRole);
    const QColor color = foreground.canConvert<QBrush>() ? foreground.value<QBrush>().color() : theme.TextColor;

    const QRectF textRect = QRectF(option.rect).adjusted(textInset, 0, -textInset, 0);
    if (textRect.width() <= 0)
        return;
    // Only the first line shows in a cell: word wrap is off for the grid.
    const qsizetype lineEnd = text.indexOf(QLatin1Char('\n'));
    if (lineEnd >= 0)
        text.truncate(lineEnd);
    const QFontMetricsF& fm = metricsFor(font);
    // Shaping is the cost of a cell: a text that surely fits is drawn at once, a long one is
    // measured, and only one that overflows is elided.
    if (fm.maxWidth() * text.size() > textRect.width() && fm.horizontalAdvance(text) > textRect.width())
        text = fm.elidedText(text, Qt::ElideRight, textRect.width());
    const qreal baseline = textRect.top() + (textRect.height() - fm.ascent() - fm.descent()) / 2 + fm.ascent();
    painter->setFont(font);
    painter->setPen(color);
    painter->drawText(QPointF(textRect.left(), baseline), text);
}

QSize TableDelegate::sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const
{
    const QAbstractItemModel* model = index.model();
    if (!model)
        return QSize();
    const QVariant fontValue = model->data(index, Qt::FontRole);
    const QFont font = fontValue.isValid() ? fontValue.value<QFont>() : option.font;
    const QFontMetrics metrics(font);
    const QRect bounds = metrics.boundingRect(QRect(0, 0, 100000, 100000), Qt::AlignLeft | Qt::AlignTop,
                                              model->data(index, Qt::DisplayRole).toString());
    return QSize(bounds.width() + 2 * textInset + 2, bounds.height() + 4);
}
