#include "view/scrollareabottomrightcornerwidget.h"

ScrollAreaBottomRightCornerWidget::ScrollAreaBottomRightCornerWidget(QWidget* parent) : QWidget(parent) {
    setAutoFillBackground(true);
}

void ScrollAreaBottomRightCornerWidget::setColor(const QColor& color) {
    QPalette p = palette();
    p.setColor(QPalette::Window, color);
    setPalette(p);
}
