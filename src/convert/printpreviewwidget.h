#pragma once

#include <QColor>
#include <QWidget>

class QLabel;
class QPrinter;
class QPrintPreviewWidget;
class QSpinBox;
class QToolButton;

// The preview beside the print options: one page at a time, with buttons to the first,
// previous, next and last page and a page number to type. Its own page count comes from
// outside, so the page underneath is the only one ever painted.
class PrintPreviewWidget : public QWidget {
    Q_OBJECT
    // The colour of the navigation arrows, set by the theme's style sheet.
    Q_PROPERTY(QColor navButtonColor READ getNavButtonColor WRITE setNavButtonColor)

public:
    explicit PrintPreviewWidget(QPrinter* printer, QWidget* parent = nullptr);

    // The number of pages to browse; the current page stays where it can.
    void setPageCount(int count);
    int getPageCount() const { return pageCount; }
    // From 1; 0 when there is no page.
    int getCurrentPage() const { return currentPage; }
    void setCurrentPage(int page);
    // Asks for the current page to be painted again.
    void updatePreview();

    QColor getNavButtonColor() const { return navButtonColor; }
    void setNavButtonColor(const QColor& color);

protected:
    void showEvent(QShowEvent* event) override;

signals:
    void pageChanged(int page);
    // The page to show is wanted on this printer (a preview of it).
    void paintRequested(QPrinter* printer);

private:
    void updateNavigation();
    void paintArrowIcons();

    QPrintPreviewWidget* preview = nullptr;
    QToolButton* firstButton = nullptr;
    QToolButton* previousButton = nullptr;
    QToolButton* nextButton = nullptr;
    QToolButton* lastButton = nullptr;
    QSpinBox* pageSpinBox = nullptr;
    QLabel* pageCountLabel = nullptr;
    QColor navButtonColor = QColor(80, 80, 80);
    int pageCount = 0;
    int currentPage = 0;
};
