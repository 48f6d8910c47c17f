#include "window/prevoptionwidget.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QMouseEvent>
#include <QPainter>

PrevOptionWidget::PrevOptionWidget(const QString& questionText, const QString& answerText, QWidget* parent)
    : QWidget(parent), question(questionText), answer(answerText) {
    setAttribute(Qt::WA_TranslucentBackground);
    setCursor(Qt::PointingHandCursor);
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(10, 0, 10, 0);
    label = new QLabel(this);
    label->setTextFormat(Qt::RichText);
    label->setFont(QFont(QStringLiteral("Lucida Grande"), 11));
    row->addWidget(label);
    setFixedHeight(kHeight);
    updateText();
}

void PrevOptionWidget::propagateSettings(const Settings& settings) {
    theme = settings.getTheme();
    updateText();
}

void PrevOptionWidget::updateText() {
    label->setText(QStringLiteral("<span style=\"color: %1;\">%2</span> <b style=\"color: %3;\">%4</b>")
                       .arg(theme.StaticTextColor.name(), question.toHtmlEscaped(), theme.TextColor.name(),
                            answer.toHtmlEscaped()));
    update();
}

void PrevOptionWidget::adjustHeight(int height) {
    setFixedHeight(height);
}

void PrevOptionWidget::mousePressEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton) {
        emit goHereSignal();
        return;
    }
    QWidget::mousePressEvent(event);
}

void PrevOptionWidget::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(theme.Background4Color);
    painter.setBrush(theme.Background3Color);
    painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), 5, 5);
}
