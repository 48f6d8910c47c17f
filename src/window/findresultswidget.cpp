#include "window/findresultswidget.h"

#include "preferences/theme.h"

#include <QHeaderView>

namespace {

// Cells longer than this show their start: the list is for finding the place, not reading.
constexpr int kMaxShownLength = 200;
constexpr std::size_t kMaxListed = 10000;

} // namespace

FindResultsWidget::FindResultsWidget(QWidget* parent) : QTableWidget(parent) {
    setObjectName(QStringLiteral("findResults"));
    setup();
    connect(this, &QTableWidget::cellClicked, this, &FindResultsWidget::onCellClicked);
}

void FindResultsWidget::setup() {
    setColumnCount(2);
    horizontalHeader()->hide();
    verticalHeader()->hide();
    horizontalHeader()->setSectionResizeMode(0, QHeaderView::ResizeToContents);
    horizontalHeader()->setStretchLastSection(true);
    verticalHeader()->setDefaultSectionSize(fontMetrics().height() + 4);
    setEditTriggers(QAbstractItemView::NoEditTriggers);
    setSelectionBehavior(QAbstractItemView::SelectRows);
    setSelectionMode(QAbstractItemView::SingleSelection);
    setShowGrid(false);
    setWordWrap(false);
}

void FindResultsWidget::setResults(const std::vector<FindResult>& found) {
    results = found;
    clearContents();
    // The count tells all; the list stops where a table widget stops being quick.
    if (results.size() > kMaxListed)
        results.resize(kMaxListed);
    setRowCount(static_cast<int>(results.size()) + 1);
    const qsizetype n = static_cast<qsizetype>(found.size());
    QString head;
    if (n == 0)
        head = tr("0 matches found.");
    else if (n == 1)
        head = tr("%1 match found:").arg(n);
    else
        head = tr("%1 matches found:").arg(QLocale().toString(n));
    auto* headItem = new QTableWidgetItem(head);
    setItem(0, 0, headItem);
    setSpan(0, 0, 1, 2);
    for (int i = 0; i < static_cast<int>(results.size()); ++i) {
        const FindResult& r = results[static_cast<std::size_t>(i)];
        setItem(i + 1, 0, new QTableWidgetItem(QStringLiteral("r%1 c%2:").arg(r.userRow).arg(r.userCol)));
        QString text = r.text.left(kMaxShownLength);
        text.replace(QLatin1Char('\n'), QStringLiteral(" \u21b5 "));
        setItem(i + 1, 1, new QTableWidgetItem(text));
    }
    colourPlaces();
    scrollToTop();
}

void FindResultsWidget::setTheme(const Theme& theme) {
    QPalette p = palette();
    p.setColor(QPalette::Base, theme.CellColor);
    p.setColor(QPalette::AlternateBase, theme.CellShade1Color);
    p.setColor(QPalette::Window, theme.Background1Color);
    p.setColor(QPalette::Text, theme.TextColor);
    p.setColor(QPalette::WindowText, theme.TextColor);
    p.setColor(QPalette::Highlight, theme.SelectedCellColor);
    p.setColor(QPalette::HighlightedText, theme.TextColor);
    setPalette(p);
    viewport()->setPalette(p);
    placeColor = theme.StaticTextColor;
    colourPlaces();
}

void FindResultsWidget::colourPlaces() {
    if (!placeColor.isValid())
        return;
    for (int row = 1; row < rowCount(); ++row) {
        if (QTableWidgetItem* place = item(row, 0))
            place->setForeground(placeColor);
    }
}

void FindResultsWidget::onCellClicked(int row, int) {
    if (row < 1 || row > static_cast<int>(results.size()))
        return;
    const FindResult& r = results[static_cast<std::size_t>(row - 1)];
    emit resultSelectedSignal(r.rawRow, r.rawCol);
}
