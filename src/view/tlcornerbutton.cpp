#include "view/tlcornerbutton.h"

TLCornerButton::TLCornerButton(QWidget* parent) : QPushButton(parent) {
    setFlat(true);
    setFocusPolicy(Qt::NoFocus);
    setAutoFillBackground(true);
}

void TLCornerButton::setColor(const QColor& color) {
    setStyleSheet(QStringLiteral("QPushButton { background-color: %1; border: none; }").arg(color.name()));
}
