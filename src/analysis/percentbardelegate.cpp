#include "analysis/percentbardelegate.h"

#include "analysis/analysistablemodel.h"

#include <QPainter>

void PercentBarDelegate::setColors(const QColor& bar, const QColor& background) {
    barColor = bar;
    backgroundColor = background;
}

void PercentBarDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option,
                               const QModelIndex& index) const {
    const QVariant fraction = index.data(AnalysisTableModel::PercentRole);
    if (!fraction.isValid()) {
        QStyledItemDelegate::paint(painter, option, index);
        return;
    }
    painter->save();
    const QRect cell = option.rect;
    painter->fillRect(cell, backgroundColor);
    QRect bar = cell;
    bar.setWidth(int(fraction.toDouble() * cell.width()));
    painter->fillRect(bar, barColor);
    // A selected cell keeps its bar, so the selection shows as a frame.
    if (option.state & QStyle::State_Selected) {
        painter->setPen(option.palette.color(QPalette::Highlight));
        painter->drawRect(cell.adjusted(0, 0, -1, -1));
    }
    // The text reads against whatever lies under its middle: the bar from half way on.
    const QColor under = fraction.toDouble() >= 0.5 ? barColor : backgroundColor;
    const double luminance = 0.299 * under.redF() + 0.587 * under.greenF() + 0.114 * under.blueF();
    painter->setPen(luminance > 0.5 ? Qt::black : Qt::white);
    painter->setFont(option.font);
    painter->drawText(cell, Qt::AlignCenter, index.data(Qt::DisplayRole).toString());
    painter->restore();
}
