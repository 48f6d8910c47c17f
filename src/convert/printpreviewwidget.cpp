#include "convert/printpreviewwidget.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QPainterPath>
#include <QPixmap>
#include <QPrintPreviewWidget>
#include <QSpinBox>
#include <QTimer>
#include <QToolButton>
#include <QVBoxLayout>

#include <algorithm>

namespace {

// A triangle pointing left or right, with a bar in front for the first and last page.
QIcon arrowIcon(const QColor& color, bool right, bool bar) {
    constexpr int side = 16;
    QPixmap pixmap(side, side);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(color);
    QPainterPath path;
    const double tip = right ? 12.5 : 3.5;
    const double base = right ? 5.0 : 11.0;
    path.moveTo(base, 3);
    path.lineTo(tip, 8);
    path.lineTo(base, 13);
    path.closeSubpath();
    painter.drawPath(path);
    if (bar)
        painter.drawRect(QRectF(right ? 12.5 : 2.0, 3, 1.5, 10));
    return QIcon(pixmap);
}

} // namespace

PrintPreviewWidget::PrintPreviewWidget(QPrinter* printer, QWidget* parent) : QWidget(parent) {
    preview = new QPrintPreviewWidget(printer, this);
    preview->setViewMode(QPrintPreviewWidget::SinglePageView);
    preview->setZoomMode(QPrintPreviewWidget::FitInView);
    connect(preview, &QPrintPreviewWidget::paintRequested, this, &PrintPreviewWidget::paintRequested);

    const auto makeButton = [this](const QString& tip) {
        auto* button = new QToolButton(this);
        button->setToolTip(tip);
        button->setAutoRaise(true);
        return button;
    };
    firstButton = makeButton(tr("First Page"));
    previousButton = makeButton(tr("Previous Page"));
    nextButton = makeButton(tr("Next Page"));
    lastButton = makeButton(tr("Last Page"));
    pageSpinBox = new QSpinBox(this);
    pageSpinBox->setKeyboardTracking(false);
    pageSpinBox->setAlignment(Qt::AlignRight);
    pageCountLabel = new QLabel(this);
    paintArrowIcons();

    connect(firstButton, &QToolButton::clicked, this, [this] { setCurrentPage(1); });
    connect(previousButton, &QToolButton::clicked, this, [this] { setCurrentPage(currentPage - 1); });
    connect(nextButton, &QToolButton::clicked, this, [this] { setCurrentPage(currentPage + 1); });
    connect(lastButton, &QToolButton::clicked, this, [this] { setCurrentPage(pageCount); });
    connect(pageSpinBox, &QSpinBox::valueChanged, this, [this](int page) { setCurrentPage(page); });

    auto* navigation = new QHBoxLayout;
    navigation->addStretch();
    navigation->addWidget(firstButton);
    navigation->addWidget(previousButton);
    navigation->addWidget(pageSpinBox);
    navigation->addWidget(pageCountLabel);
    navigation->addWidget(nextButton);
    navigation->addWidget(lastButton);
    navigation->addStretch();

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(preview, 1);
    layout->addLayout(navigation);
    updateNavigation();
}

void PrintPreviewWidget::setNavButtonColor(const QColor& color) {
    navButtonColor = color;
    paintArrowIcons();
}

void PrintPreviewWidget::paintArrowIcons() {
    firstButton->setIcon(arrowIcon(navButtonColor, false, true));
    previousButton->setIcon(arrowIcon(navButtonColor, false, false));
    nextButton->setIcon(arrowIcon(navButtonColor, true, false));
    lastButton->setIcon(arrowIcon(navButtonColor, true, true));
}

void PrintPreviewWidget::setPageCount(int count) {
    pageCount = std::max(count, 0);
    const int page = pageCount == 0 ? 0 : std::clamp(currentPage, 1, pageCount);
    const bool moved = page != currentPage;
    currentPage = page;
    updateNavigation();
    if (moved)
        emit pageChanged(currentPage);
}

void PrintPreviewWidget::setCurrentPage(int page) {
    page = pageCount == 0 ? 0 : std::clamp(page, 1, pageCount);
    if (page == currentPage) {
        updateNavigation();
        return;
    }
    currentPage = page;
    updateNavigation();
    emit pageChanged(currentPage);
}

void PrintPreviewWidget::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    // Fitted to the page once the view has its size; before that the page fits into nothing.
    QTimer::singleShot(0, preview, [this] {
        preview->updatePreview();
        preview->fitInView();
    });
}

void PrintPreviewWidget::updatePreview() {
    preview->updatePreview();
}

void PrintPreviewWidget::updateNavigation() {
    const QSignalBlocker blocker(pageSpinBox);
    pageSpinBox->setRange(pageCount == 0 ? 0 : 1, std::max(pageCount, 0));
    pageSpinBox->setValue(currentPage);
    pageSpinBox->setEnabled(pageCount > 1);
    pageCountLabel->setText(QStringLiteral("/ %1").arg(pageCount));
    firstButton->setEnabled(currentPage > 1);
    previousButton->setEnabled(currentPage > 1);
    nextButton->setEnabled(currentPage < pageCount);
    lastButton->setEnabled(currentPage < pageCount);
}
