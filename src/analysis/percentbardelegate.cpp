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
    // Each part of the text takes the colour that reads on what lies under it: the part over
    // the bar one, the part over the background another.
    const auto readableOn = [](const QColor& under) {
        const double luminance = 0.299 * under.redF() + 0.587 * under.greenF() + 0.114 * under.blueF();
        return luminance > 0.5 ? QColor(Qt::black) : QColor(Qt::white);
    };
    const QString text = index.data(Qt::DisplayRole).toString();
    painter->setFont(option.font);
    painter->setClipRect(bar);
    painter->setPen(readableOn(barColor));
    painter->drawText(cell, Qt::AlignCenter, text);
    painter->setClipRect(QRect(bar.right() + 1, cell.top(), cell.right() - bar.right(), cell.height()));
    painter->setPen(readableOn(backgroundColor));
    painter->drawText(cell, Qt::AlignCenter, text);
    painter->restore();
}
