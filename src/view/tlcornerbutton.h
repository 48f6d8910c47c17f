#pragma once

#include <QPushButton>
#include <QWidget>

// The flat button in the top left corner of a grid: selects the whole table.
class TLCornerButton : public QPushButton {
    Q_OBJECT

public:
    explicit TLCornerButton(QWidget* parent = nullptr);
    void setColor(const QColor& color);
};
