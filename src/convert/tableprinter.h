#pragma once

#include "convert/pageindexes.h"
#include "convert/printsettings.h"

#include <QFont>
#include <QPageRanges>
#include <QPointer>
#include <QPrinter>
#include <QString>

#include <functional>
#include <vector>

class QPainter;
class QRectF;
class TableModel;
class TableView;

// A printer that knows one table: it cuts the table into pages from the view's row heights and
// column widths and paints them. The page count comes from geometry alone, so a preview paints
// only the page it shows, however large the table.
class TablePrinter : public QPrinter {
public:
    TablePrinter(TableView* view, QPrinter::PrinterMode mode = QPrinter::HighResolution);

    // Takes the page setup and the table options; the page cut is computed again.
    void applySettings(const PrintSettings& settings);
    const PrintSettings& getSettings() const { return settings; }

    // Which pages print: all (empty ranges), the given ones, or only `currentPage` (from 0).
    void setPrintPageRanges(const QPageRanges& ranges);
    void setCurrentPageOnly(bool on, int currentPage);
    // While a preview asks, only this page (from 0) is painted; -1 paints what prints.
    void setPreviewPage(int page) { previewPage = page; }

    // Pages of the whole document: pages down times pages across.
    int pageCount() const { return static_cast<int>(rowPages.size() * colPages.size()); }
    int pagesDown() const { return static_cast<int>(rowPages.size()); }
    int pagesAcross() const { return static_cast<int>(colPages.size()); }
    const std::vector<PageIndexes>& getRowPages() const { return rowPages; }
    const std::vector<PageIndexes>& getColPages() const { return colPages; }
    // The pages (from 0) that print, in document order, with the ranges applied.
    std::vector<int> pagesToPrint() const;
    // The printer's device pixels per pixel on screen.
    double getScale() const { return scale; }
    // The title printed at the top of each page.
    QString getTitle() const { return title; }

    // Paints the pages to print (or the preview page) on a painter begun on this printer.
    // `onPage` hears of each page before it is painted (done so far, of how many) and stops the
    // run by answering false; the answer is whether every page was painted.
    bool printTable(QPainter& painter, const std::function<bool(int done, int total)>& onPage = {});
    void drawPage(QPainter& painter, const QRectF& pageRect, const PageIndexes& rows, const PageIndexes& cols,
                  int pageNumber, int totalPages);
    void drawHorizontalLine(QPainter& painter, double y, double x0, double x1);
    void drawVerticalLine(QPainter& painter, double x, double y0, double y1);

private:
    // The bands around the body of a page, in device pixels.
    struct Areas {
        double pageWidth = 0;
        double pageHeight = 0;
        int rowLabelWidth = 0;
        int headerColsWidth = 0;
        int titleHeight = 0;
        int colLabelHeight = 0;
        int headerRowsHeight = 0;
        int pageNumberHeight = 0;
        int bodyWidth = 0;
        int bodyHeight = 0;
    };

    void applyPageLayout();
    void computeLayout();
    int rowHeight(int row) const;
    int colWidth(int col) const;
    int headerRowCount() const;
    int headerColCount() const;
    void drawCell(QPainter& painter, const QRectF& rect, int row, int col, bool header);
    void drawLabel(QPainter& painter, const QRectF& rect, const QString& text);

    // The table may go while the dialog is up (the window closing): then nothing is printed.
    QPointer<TableView> view;
    QPointer<TableModel> model;
    PrintSettings settings;
    QPageRanges pageRanges;
    bool currentPageOnly = false;
    int currentPage = 0;
    int previewPage = -1;
    double scale = 1.0;
    QString title;
    QFont tableFont;
    QFont headerFont;
    QFont labelFont;
    QFont titleFont;
    Areas areas;
    std::vector<PageIndexes> rowPages;
    std::vector<PageIndexes> colPages;
};
