#include "convert/tableprinter.h"

#include "convert/printlayout.h"
#include "table/tablemodel.h"
#include "view/tableview.h"

#include <QFontMetricsF>
#include <QHeaderView>
#include <QPageLayout>
#include <QPageSize>
#include <QPainter>

#include <algorithm>
#include <cmath>

namespace {

const QString kLabelFamily = QStringLiteral("Lucida Grande");
// The text whose height sets a band: capitals and descenders.
const QString kMeasureText = QStringLiteral("ABCgjpqy");
const QColor kLabelFill(232, 232, 232);
const QColor kLabelText(64, 64, 64);
const QColor kGridColor(150, 150, 150);
// Text keeps this many screen pixels from the sides of its cell, as on screen.
constexpr int kTextInset = 4;

double pointSizeOf(const QFont& font) {
    if (font.pointSizeF() > 0)
        return font.pointSizeF();
    return font.pixelSize() > 0 ? font.pixelSize() * 0.75 : 12.0;
}

int textHeight(const QFont& font, QPaintDevice* device) {
    return static_cast<int>(std::ceil(QFontMetricsF(font, device).size(0, kMeasureText).height()));
}

QPageLayout::Unit layoutUnit(const QString& units) {
    if (units == QStringLiteral("Millimeters"))
        return QPageLayout::Millimeter;
    if (units == QStringLiteral("Pixels"))
        return QPageLayout::Point;
    return QPageLayout::Inch;
}

// Pixels are screen pixels, 96 to the inch; the page layout knows them as points.
double layoutValue(double value, const QString& units) {
    return units == QStringLiteral("Pixels") ? value * 0.75 : value;
}

QPageSize pageSizeOf(const PrintSettings& settings) {
    if (settings.pageSize == QStringLiteral("Legal"))
        return QPageSize(QPageSize::Legal);
    if (settings.pageSize == QStringLiteral("A4"))
        return QPageSize(QPageSize::A4);
    if (settings.pageSize == QStringLiteral("Custom")) {
        const QString& units = settings.pageUnits;
        const QSizeF size(std::max(layoutValue(settings.customWidth, units), 0.01),
                          std::max(layoutValue(settings.customHeight, units), 0.01));
        const QPageSize::Unit unit = units == QStringLiteral("Millimeters") ? QPageSize::Millimeter
                                     : units == QStringLiteral("Pixels")    ? QPageSize::Point
                                                                            : QPageSize::Inch;
        return QPageSize(size, unit, QString(), QPageSize::ExactMatch);
    }
    return QPageSize(QPageSize::Letter);
}

// The first line of a cell, marked when more follows, as the grid shows it.
QString firstLine(const QString& text) {
    const qsizetype end = text.indexOf(QLatin1Char('\n'));
    if (end < 0)
        return text;
    QString line = text.left(end);
    if (line.endsWith(QLatin1Char('\r')))
        line.chop(1);
    return line + QChar(0x2026);
}

} // namespace

TablePrinter::TablePrinter(TableView* tableView, QPrinter::PrinterMode mode)
    : QPrinter(mode), view(tableView), model(tableView ? tableView->tableModel() : nullptr) {
    if (model) {
        tableFont = model->getFont();
        headerFont = model->headerData(0, Qt::Horizontal, Qt::FontRole).value<QFont>();
        title = model->getTableName();
    }
    if (title.isEmpty())
        title = QStringLiteral("untitled");
    // Pixel sizes would not follow the printer's resolution; points do.
    tableFont.setPointSizeF(pointSizeOf(tableFont));
    labelFont = QFont(kLabelFamily);
    labelFont.setPointSizeF(pointSizeOf(headerFont));
    titleFont = QFont(kLabelFamily);
    titleFont.setPointSizeF(pointSizeOf(tableFont) + 4);
    titleFont.setBold(true);
    headerFont = tableFont;
    headerFont.setBold(true);
    setDocName(title);
    applySettings(settings);
}

void TablePrinter::applySettings(const PrintSettings& newSettings) {
    settings = newSettings;
    applyPageLayout();
    computeLayout();
}

void TablePrinter::applyPageLayout() {
    const QString& units = settings.pageUnits;
    const QPageLayout::Orientation orientation =
        settings.isPortrait ? QPageLayout::Portrait : QPageLayout::Landscape;
    const QMarginsF margins(layoutValue(settings.marginLeft, units), layoutValue(settings.marginTop, units),
                            layoutValue(settings.marginRight, units),
                            layoutValue(settings.marginBottom, units));
    QPageLayout layout(pageSizeOf(settings), orientation, QMarginsF(), layoutUnit(units));
    // Margins that leave no room are cut to what the page allows, each side in proportion.
    const QSizeF full = layout.fullRectPoints().size();
    const double toPoints = layoutUnit(units) == QPageLayout::Inch         ? 72.0
                            : layoutUnit(units) == QPageLayout::Millimeter ? 72.0 / 25.4
                                                                           : 1.0;
    QMarginsF fitted(std::max(margins.left(), 0.0), std::max(margins.top(), 0.0),
                     std::max(margins.right(), 0.0), std::max(margins.bottom(), 0.0));
    const double across = (fitted.left() + fitted.right()) * toPoints;
    if (across > full.width() * 0.9) {
        const double factor = full.width() * 0.9 / across;
        fitted.setLeft(fitted.left() * factor);
        fitted.setRight(fitted.right() * factor);
    }
    const double down = (fitted.top() + fitted.bottom()) * toPoints;
    if (down > full.height() * 0.9) {
        const double factor = full.height() * 0.9 / down;
        fitted.setTop(fitted.top() * factor);
        fitted.setBottom(fitted.bottom() * factor);
    }
    layout.setMinimumMargins(QMarginsF());
    layout.setMargins(fitted);
    setFullPage(false);
    if (!setPageLayout(layout)) {
        // A printer that can't print so near the edge: its own minimum where ours is less.
        setPageSize(layout.pageSize());
        setPageOrientation(orientation);
        QPageLayout current = pageLayout();
        current.setUnits(layoutUnit(units));
        const QMarginsF minimum = current.minimumMargins();
        setPageMargins(
            QMarginsF(std::max(fitted.left(), minimum.left()), std::max(fitted.top(), minimum.top()),
                      std::max(fitted.right(), minimum.right()), std::max(fitted.bottom(), minimum.bottom())),
            layoutUnit(units));
    }
    switch (settings.duplexMode == QStringLiteral("Long Edge (Portrait)")     ? 1
            : settings.duplexMode == QStringLiteral("Short Edge (Landscape)") ? 2
                                                                              : 0) {
    case 1:
        setDuplex(QPrinter::DuplexLongSide);
        break;
    case 2:
        setDuplex(QPrinter::DuplexShortSide);
        break;
    default:
        setDuplex(QPrinter::DuplexNone);
        break;
    }
}

int TablePrinter::headerRowCount() const {
    return model ? std::clamp(model->getNumVisibleHeaderRows(), 0, model->rowCountModel()) : 0;
}

int TablePrinter::headerColCount() const {
    return model ? std::clamp(model->getNumHeaderCols(), 0, model->columnCountModel()) : 0;
}

int TablePrinter::rowHeight(int row) const {
    return PrintLayout::scaled(view ? view->rowHeight(row) : 0, scale);
}

int TablePrinter::colWidth(int col) const {
    return PrintLayout::scaled(view ? view->columnWidth(col) : 0, scale);
}

void TablePrinter::computeLayout() {
    rowPages.clear();
    colPages.clear();
    const QRect pageRect = pageLayout().paintRectPixels(resolution());
    const double screenDpi = view ? view->logicalDpiX() : 96.0;
    scale = resolution() / (screenDpi > 0 ? screenDpi : 96.0);

    Areas a;
    a.pageWidth = pageRect.width();
    a.pageHeight = pageRect.height();
    const int headerRows = headerRowCount();
    const int headerCols = headerColCount();
    if (settings.showRowLabels && view) {
        const QHeaderView* header = view->verticalHeader();
        a.rowLabelWidth =
            PrintLayout::scaled(header->isVisible() ? header->width() : header->sizeHint().width(), scale);
    }
    if (settings.showColumnHeaders) {
        for (int col = 0; col < headerCols; ++col)
            a.headerColsWidth += colWidth(col);
    }
    if (settings.showTitle)
        a.titleHeight = textHeight(titleFont, this);
    if (settings.showColumnLabels && view) {
        const QHeaderView* header = view->horizontalHeader();
        a.colLabelHeight =
            PrintLayout::scaled(header->isVisible() ? header->height() : header->sizeHint().height(), scale);
    }
    if (settings.showRowHeaders) {
        for (int row = 0; row < headerRows; ++row)
            a.headerRowsHeight += rowHeight(row);
    }
    if (settings.showPageNumbers)
        a.pageNumberHeight = textHeight(labelFont, this);
    const int padding = static_cast<int>(2 * scale);
    double width = a.pageWidth - a.rowLabelWidth - a.headerColsWidth;
    double height = a.pageHeight - a.titleHeight - a.colLabelHeight - a.headerRowsHeight - a.pageNumberHeight;
    if (settings.showColumnGridlines)
        width -= padding;
    if (settings.showRowGridlines)
        height -= padding;
    // Bands that fill the page leave each row a page of its own, never a page of nothing.
    a.bodyWidth = std::max(static_cast<int>(width), 1);
    a.bodyHeight = std::max(static_cast<int>(height), 1);
    areas = a;
    if (!model)
        return;

    const auto rowSize = [this](int row) { return rowHeight(row); };
    const auto colSize = [this](int col) { return colWidth(col); };
    if (settings.selectedRowsOnly) {
        std::vector<int> selected;
        model->getOrderedSetOfSelectedRows(selected);
        rowPages = PrintLayout::cutPages(
            PrintLayout::bodyIndexes(selected, headerRows, settings.showRowHeaders), rowSize, a.bodyHeight);
    } else {
        const int first = settings.showRowHeaders ? headerRows : 0;
        rowPages = PrintLayout::cutPages(first, model->rowCountModel(), rowSize, a.bodyHeight);
        // Nothing below the header rows: one page shows the headers.
        if (rowPages.empty())
            rowPages.push_back(PageIndexes{first, first, 0, {}, false});
    }
    if (settings.selectedColumnsOnly) {
        std::vector<int> selected;
        model->getOrderedSetOfSelectedCols(selected);
        colPages = PrintLayout::cutPages(
            PrintLayout::bodyIndexes(selected, headerCols, settings.showColumnHeaders), colSize, a.bodyWidth);
    } else {
        const int first = settings.showColumnHeaders ? headerCols : 0;
        colPages = PrintLayout::cutPages(first, model->columnCountModel(), colSize, a.bodyWidth);
        if (colPages.empty())
            colPages.push_back(PageIndexes{first, first, 0, {}, false});
    }
}

// The printer's own range stays "all": the pages are picked here, and a print system that
// picked them again would count from the first page that reaches it.
void TablePrinter::setPrintPageRanges(const QPageRanges& ranges) {
    pageRanges = ranges;
}

void TablePrinter::setCurrentPageOnly(bool on, int page) {
    currentPageOnly = on;
    currentPage = page;
}

std::vector<int> TablePrinter::pagesToPrint() const {
    std::vector<int> pages;
    const int total = pageCount();
    if (currentPageOnly) {
        if (currentPage >= 0 && currentPage < total)
            pages.push_back(currentPage);
        return pages;
    }
    for (int n = 0; n < total; ++n) {
        if (pageRanges.isEmpty() || pageRanges.contains(n + 1))
            pages.push_back(n);
    }
    return pages;
}

bool TablePrinter::printTable(QPainter& painter, const std::function<bool(int, int)>& onPage) {
    std::vector<int> pages;
    if (previewPage >= 0) {
        if (previewPage < pageCount())
            pages.push_back(previewPage);
    } else {
        pages = pagesToPrint();
        if (settings.reverse)
            std::reverse(pages.begin(), pages.end());
    }
    const QRectF pageRect(0, 0, areas.pageWidth, areas.pageHeight);
    const int total = pageCount();
    bool first = true;
    int done = 0;
    for (const int n : pages) {
        if (onPage && !onPage(done, static_cast<int>(pages.size())))
            return false;
        ++done;
        if (!first)
            newPage();
        first = false;
        const auto [rowPage, colPage] =
            PrintLayout::pagePosition(n, pagesDown(), pagesAcross(), settings.rowWise);
        drawPage(painter, pageRect, rowPages[static_cast<std::size_t>(rowPage)],
                 colPages[static_cast<std::size_t>(colPage)], n + 1, total);
    }
    return true;
}

void TablePrinter::drawHorizontalLine(QPainter& painter, double y, double x0, double x1) {
    painter.drawLine(QPointF(x0, y), QPointF(x1, y));
}

void TablePrinter::drawVerticalLine(QPainter& painter, double x, double y0, double y1) {
    painter.drawLine(QPointF(x, y0), QPointF(x, y1));
}

void TablePrinter::drawLabel(QPainter& painter, const QRectF& rect, const QString& text) {
    painter.fillRect(rect, kLabelFill);
    painter.setPen(kLabelText);
    painter.setFont(labelFont);
    painter.drawText(rect, Qt::AlignCenter, text);
}

void TablePrinter::drawCell(QPainter& painter, const QRectF& rect, int row, int col, bool header) {
    const QString text = model->data(model->index(row, col), Qt::DisplayRole).toString();
    if (text.isEmpty() || rect.width() <= 0 || rect.height() <= 0)
        return;
    const QFont& font = header ? headerFont : tableFont;
    painter.setFont(font);
    const double inset = kTextInset * scale;
    const QRectF textRect = rect.adjusted(inset, 0, -inset, 0);
    if (textRect.width() <= 0)
        return;
    const QFontMetricsF metrics(font, painter.device());
    painter.save();
    painter.setClipRect(rect, Qt::IntersectClip);
    if (rect.height() >= 2 * metrics.height()) {
        painter.drawText(textRect, Qt::AlignLeft | Qt::AlignVCenter | Qt::TextWordWrap, text);
    } else {
        painter.drawText(textRect, Qt::AlignLeft | Qt::AlignVCenter,
                         metrics.elidedText(firstLine(text), Qt::ElideRight, textRect.width()));
    }
    painter.restore();
}

void TablePrinter::drawPage(QPainter& painter, const QRectF& pageRect, const PageIndexes& rows,
                            const PageIndexes& cols, int pageNumber, int totalPages) {
    if (!model)
        return;
    const Areas& a = areas;
    const int headerRows = settings.showRowHeaders ? headerRowCount() : 0;
    const int headerCols = settings.showColumnHeaders ? headerColCount() : 0;

    // The block of labels, headers and cells, placed in the room between title and page number.
    const double blockWidth = a.rowLabelWidth + a.headerColsWidth + cols.size;
    const double blockHeight = a.colLabelHeight + a.headerRowsHeight + rows.size;
    const double roomTop = pageRect.top() + a.titleHeight;
    const double roomHeight = pageRect.height() - a.titleHeight - a.pageNumberHeight;
    double left = pageRect.left();
    double top = roomTop;
    if (settings.centerHorizontally)
        left += std::max(0.0, (pageRect.width() - blockWidth) / 2);
    if (settings.centerVertically)
        top += std::max(0.0, (roomHeight - blockHeight) / 2);

    // Edges of the printed rows and columns: header ones first, then the page's own.
    std::vector<double> rowEdges{top + a.colLabelHeight};
    std::vector<int> rowIndexes;
    for (int row = 0; row < headerRows; ++row) {
        rowIndexes.push_back(row);
        rowEdges.push_back(rowEdges.back() + rowHeight(row));
    }
    for (int i = 0; i < rows.count(); ++i) {
        const int row = rows.modelIndex(i);
        rowIndexes.push_back(row);
        // A row taller than the body has a page of its own and is cut at the body's end.
        rowEdges.push_back(rowEdges.back() + std::min(rowHeight(row), std::max(rows.size, a.bodyHeight)));
    }
    std::vector<double> colEdges{left + a.rowLabelWidth};
    std::vector<int> colIndexes;
    for (int col = 0; col < headerCols; ++col) {
        colIndexes.push_back(col);
        colEdges.push_back(colEdges.back() + colWidth(col));
    }
    for (int i = 0; i < cols.count(); ++i) {
        const int col = cols.modelIndex(i);
        colIndexes.push_back(col);
        colEdges.push_back(colEdges.back() + std::min(colWidth(col), std::max(cols.size, a.bodyWidth)));
    }

    painter.save();
    painter.setClipRect(pageRect);

    // 1. The title.
    if (settings.showTitle) {
        painter.setPen(Qt::black);
        painter.setFont(titleFont);
        painter.drawText(QRectF(pageRect.left(), pageRect.top(), pageRect.width(), a.titleHeight),
                         Qt::AlignTop | Qt::AlignHCenter, title);
    }
    // 2. Labels: row numbers down the left, column labels along the top.
    if (a.rowLabelWidth > 0) {
        for (std::size_t i = 0; i < rowIndexes.size(); ++i) {
            const QRectF rect(left, rowEdges[i], a.rowLabelWidth, rowEdges[i + 1] - rowEdges[i]);
            drawLabel(painter, rect, model->headerData(rowIndexes[i], Qt::Vertical).toString());
        }
    }
    if (a.colLabelHeight > 0) {
        for (std::size_t i = 0; i < colIndexes.size(); ++i) {
            const QRectF rect(colEdges[i], top, colEdges[i + 1] - colEdges[i], a.colLabelHeight);
            drawLabel(painter, rect, model->headerData(colIndexes[i], Qt::Horizontal).toString());
        }
        if (a.rowLabelWidth > 0)
            painter.fillRect(QRectF(left, top, a.rowLabelWidth, a.colLabelHeight), kLabelFill);
    }
    // 3 and 4. Header rows and columns on every page, then the page's own cells.
    // Header cells are bold as on screen, also where they print as ordinary rows.
    painter.setPen(Qt::black);
    const int boldRows = headerRowCount();
    const int boldCols = headerColCount();
    for (std::size_t r = 0; r < rowIndexes.size(); ++r) {
        const bool headerRow = rowIndexes[r] < boldRows;
        for (std::size_t c = 0; c < colIndexes.size(); ++c) {
            const bool headerCol = colIndexes[c] < boldCols;
            const QRectF rect(colEdges[c], rowEdges[r], colEdges[c + 1] - colEdges[c],
                              rowEdges[r + 1] - rowEdges[r]);
            drawCell(painter, rect, rowIndexes[r], colIndexes[c], headerRow || headerCol);
        }
    }
    // 5. Grid lines.
    painter.setPen(QPen(kGridColor, std::max(1.0, scale)));
    if (settings.showRowGridlines && !colIndexes.empty()) {
        for (const double y : rowEdges)
            drawHorizontalLine(painter, y, colEdges.front(), colEdges.back());
    }
    if (settings.showColumnGridlines && !rowIndexes.empty()) {
        for (const double x : colEdges)
            drawVerticalLine(painter, x, rowEdges.front(), rowEdges.back());
    }
    // 6. The page number.
    if (settings.showPageNumbers) {
        painter.setPen(Qt::black);
        painter.setFont(labelFont);
        painter.drawText(QRectF(pageRect.left(), pageRect.bottom() - a.pageNumberHeight, pageRect.width(),
                                a.pageNumberHeight),
                         Qt::AlignCenter, QStringLiteral("%1 / %2").arg(pageNumber).arg(totalPages));
    }
    painter.restore();
}
