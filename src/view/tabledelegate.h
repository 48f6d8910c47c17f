#pragma once

#include "preferences/theme.h"

#include <QFontMetricsF>
#include <QStyledItemDelegate>

#include <optional>

// Paints a cell from the model's roles (display, background, foreground, font) with as few
// model calls as painting needs: every visible cell costs one call per role.
class TableDelegate : public QStyledItemDelegate {
    Q_OBJECT

public:
    explicit TableDelegate(QObject* parent = nullptr);

    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override;
    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;

    void setNumHeaderRows(int n) { numHeaderRows = n; }
    void setNumHeaderCols(int n) { numHeaderCols = n; }
    int getNumHeaderRows() const { return numHeaderRows; }
    int getNumHeaderCols() const { return numHeaderCols; }
    void setTheme(const Theme& t) { theme = t; }
    QColor backgroundColor() const { return theme.CellColor; }
    QColor textColor() const { return theme.TextColor; }

    // Horizontal inset of the text in a cell.
    static constexpr int textInset = 4;

private:
    // Metrics of the last font painted with: a grid paints with one or two fonts only.
    const QFontMetricsF& metricsFor(const QFont& font) const;

    mutable QFont metricsFont;
    mutable std::optional<QFontMetricsF> metrics;
    int numHeaderRows = 1;
    int numHeaderCols = 0;
    Theme theme;
};
