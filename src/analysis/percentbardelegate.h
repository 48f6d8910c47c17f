#pragma once

#include <QColor>
#include <QStyledItemDelegate>

// Draws a percent cell of an AnalysisTableModel as a bar over a background, with the text in
// the middle; other cells as usual.
class PercentBarDelegate : public QStyledItemDelegate {
    Q_OBJECT

public:
    using QStyledItemDelegate::QStyledItemDelegate;

    void setColors(const QColor& bar, const QColor& background);
    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override;

private:
    QColor barColor{0xbb, 0xbb, 0x00};
    QColor backgroundColor{0x3a, 0x3a, 0x3a};
};
