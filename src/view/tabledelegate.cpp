#include "view/tabledelegate.h"

#include <QFontMetrics>
#include <QPainter>

TableDelegate::TableDelegate(QObject* parent) : QStyledItemDelegate(parent) {}

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
    const QString text = model->data(index, Qt::DisplayRole).toString();
    if (text.isEmpty())
        return;
    const QVariant fontValue = model->data(index, Qt::FontRole);
    const QFont font = fontValue.isValid() ? fontValue.value<QFont>() : option.font;
    const QVariant foreground = model->data(index, Qt::ForegroundRole);
    const QColor color = foreground.canConvert<QBrush>() ? foreground.value<QBrush>().color() : theme.TextColor;

    const QRect textRect = option.rect.adjusted(textInset, 0, -textInset, 0);
    if (textRect.width() <= 0)
        return;
    painter->save();
    painter->setFont(font);
    painter->setPen(color);
    // Only the first line shows in a cell: word wrap is off for the grid.
    const qsizetype lineEnd = text.indexOf(QLatin1Char('\n'));
    const QString line = lineEnd < 0 ? text : text.left(lineEnd);
    const QFontMetrics metrics(font);
    painter->drawText(textRect, Qt::AlignLeft | Qt::AlignVCenter, metrics.elidedText(line, Qt::ElideRight, textRect.width()));
    painter->restore();
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
