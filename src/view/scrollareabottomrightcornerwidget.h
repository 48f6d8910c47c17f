#pragma once

#include <QWidget>

// Fills the corner between the two scroll bars with the theme's colour.
class ScrollAreaBottomRightCornerWidget : public QWidget {
    Q_OBJECT

public:
    explicit ScrollAreaBottomRightCornerWidget(QWidget* parent = nullptr);
    void setColor(const QColor& color);
};
