// Scrolling, snap and page arithmetic, bringing cells into view, auto-fit sampling and its
// warning, and the cost of painting.

#include "viewfixture.h"

#include "view/frozentableview.h"
#include "view/tabledelegate.h"

#include <QElapsedTimer>
#include <QTest>
#include <QWheelEvent>

using namespace ViewFixture;

class TestTableViewScroll : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void pageWithoutSnap();
    void stepsWithSnap_data();
    void stepsWithSnap();
    void snapAfterTouchPad();
    void wheelSteps();
    void scrollToCellRanges_data();
    void scrollToCellRanges();
    void extendingFollowsTheMovingEdge_data();
    void extendingFollowsTheMovingEdge();
    void autoFitSamplingRows_data();
    void autoFitSamplingRows();
    void autoFitSamplingCols_data();
    void autoFitSamplingCols();
    void autoFitLimits();
    void autoFitFitsSampledDigits();
    void autoFitWarning_data();
    void autoFitWarning();
    void paintAsksOnlyVisibleCells();

private:
    int asked = 0;
    QString lastText;
    bool answer = true; // tables made for these tests skip the fits of large files
};

void TestTableViewScroll::initTestCase() {
    QStandardPaths::setTestModeEnabled(true);
    TableView::autoFitWarningHook = [this](const QString& text, bool&) {
        ++asked;
        lastText = text;
        return answer;
    };
}

void TestTableViewScroll::pageWithoutSnap() {
    ShownTable t = makeTable({}, 600, 400, 500, 3);
    t.view->setSnapToRow(false);
    const int vh = t.view->viewport()->height();
    t.view->scroll(Direction::Down, true);
    QCOMPARE(t.view->verticalScrollBar()->value(), static_cast<int>(vh * 0.9));
    t.view->scroll(Direction::Up, true);
    QCOMPARE(t.view->verticalScrollBar()->value(), 0);
}

void TestTableViewScroll::stepsWithSnap_data() {
    QTest::addColumn<bool>("frozen");
    QTest::addColumn<bool>("page");
    QTest::addColumn<int>("times");
    QTest::newRow("step, frozen") << true << false << 3;
    QTest::newRow("step, not frozen") << false << false << 3;
    QTest::newRow("page, frozen") << true << true << 2;
    QTest::newRow("page, not frozen") << false << true << 1;
}

void TestTableViewScroll::stepsWithSnap() {
    QFETCH(bool, frozen);
    QFETCH(bool, page);
    QFETCH(int, times);
    ShownTable t = makeTable({}, 600, 400, 500, 3);
    t.view->setFreezeHeaderRows(frozen, false);
    t.view->setSnapToRow(true);
    const int fh = t.view->frozenHeight();
    QCOMPARE(fh, frozen ? t.view->rowHeight(0) : 0);
    const int rowH = t.view->rowHeight(5);
    const int vh = t.view->viewport()->height();
    for (int i = 0; i < times; ++i) {
        const int topBefore = t.view->rowAt(fh + 2);
        t.view->scroll(Direction::Down, page);
        const int value = t.view->verticalScrollBar()->value();
        const int top = t.view->rowAt(fh + 2);
        // Ends on a row boundary under the frozen rows.
        QCOMPARE(value, t.view->verticalHeader()->sectionPosition(top) - fh - 1);
        if (page) {
            // Whole rows that fit in 90 % of the viewport.
            QCOMPARE((top - topBefore) * rowH < static_cast<int>(vh * 0.9), true);
            QVERIFY((top - topBefore + 1) * rowH >= static_cast<int>(vh * 0.9));
        } else {
            QCOMPARE(top, topBefore + 1);
        }
    }
    const int top = t.view->rowAt(fh + 2);
    t.view->scroll(Direction::Up, false);
    QCOMPARE(t.view->rowAt(fh + 2), top - 1);
}

void TestTableViewScroll::snapAfterTouchPad() {
    ShownTable t = makeTable({}, 600, 400, 500, 3);
    const int rowH = t.view->rowHeight(5);
    QWheelEvent event(QPointF(50, 50), t.view->mapToGlobal(QPointF(50, 50)), QPoint(0, -(3 * rowH + 7)),
                      QPoint(0, -120), Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
    QApplication::sendEvent(t.view->viewport(), &event);
    QCOMPARE(t.view->verticalScrollBar()->value(), 3 * rowH + 7);
    // The snap runs once the pad has been still for 100 ms: the first row under the frozen
    // rows then starts right under them.
    const int fh = t.view->frozenHeight();
    QTRY_VERIFY_WITH_TIMEOUT(t.view->verticalScrollBar()->value() != 3 * rowH + 7, 1000);
    QCOMPARE(t.view->verticalScrollBar()->value() + fh + 1,
             t.view->verticalHeader()->sectionPosition(t.view->rowAt(fh + 2)));
}

void TestTableViewScroll::wheelSteps() {
    ShownTable t = makeTable({}, 600, 400, 500, 30);
    auto wheel = [&](QPoint angle, Qt::KeyboardModifiers mods) {
        QWheelEvent event(QPointF(50, 50), t.view->mapToGlobal(QPointF(50, 50)), QPoint(), angle,
                          Qt::NoButton, mods, Qt::NoScrollPhase, false);
        QApplication::sendEvent(t.view->viewport(), &event);
    };
    wheel(QPoint(0, -120), Qt::NoModifier);
    const int afterStep = t.view->verticalScrollBar()->value();
    QVERIFY(afterStep > 0);
    wheel(QPoint(0, 120), Qt::NoModifier);
    QCOMPARE(t.view->verticalScrollBar()->value(), 0);
    wheel(QPoint(0, -120), Qt::ControlModifier);
    QVERIFY(t.view->verticalScrollBar()->value() > afterStep);
    const int afterPage = t.view->verticalScrollBar()->value();
    wheel(QPoint(0, -120), Qt::ShiftModifier);
    QCOMPARE(t.view->verticalScrollBar()->value(), afterPage);
    QVERIFY(t.view->horizontalScrollBar()->value() > 0);
}

void TestTableViewScroll::scrollToCellRanges_data() {
    QTest::addColumn<int>("startRow"); // row at the top before
    QTest::addColumn<int>("row");
    QTest::addColumn<bool>("nearest");
    QTest::addColumn<QString>("where"); // bottom, top, centre, stay, end
    QTest::newRow("below, nearest") << 0 << 200 << true << "bottom";
    QTest::newRow("above, nearest") << 300 << 100 << true << "top";
    QTest::newRow("shown, nearest") << 100 << 105 << true << "stay";
    QTest::newRow("shown, centred") << 100 << 105 << false << "stay";
    QTest::newRow("below, centred") << 0 << 200 << false << "centre";
    QTest::newRow("last row") << 0 << 499 << true << "end";
    QTest::newRow("past the end clamps") << 0 << 5000 << true << "end";
}

void TestTableViewScroll::scrollToCellRanges() {
    QFETCH(int, startRow);
    QFETCH(int, row);
    QFETCH(bool, nearest);
    QFETCH(QString, where);
    ShownTable t = makeTable({}, 600, 400, 500, 3);
    QScrollBar* bar = t.view->verticalScrollBar();
    QHeaderView* header = t.view->verticalHeader();
    bar->setValue(header->sectionPosition(startRow));
    const int before = bar->value();
    t.view->scrollToCell(row, 0, false, nearest);
    const int vh = t.view->viewport()->height();
    const int fh = t.view->frozenHeight();
    const int r = std::min(row, 499);
    const int top = header->sectionPosition(r);
    const int bottom = top + header->sectionSize(r);
    if (where == QLatin1String("bottom"))
        QCOMPARE(bar->value(), bottom - vh);
    else if (where == QLatin1String("top"))
        QCOMPARE(bar->value(), top - fh);
    else if (where == QLatin1String("stay"))
        QCOMPARE(bar->value(), before);
    else if (where == QLatin1String("centre"))
        QCOMPARE(bar->value(), (top + bottom) / 2 - vh / 2 - fh / 2);
    else
        QCOMPARE(bar->value(), std::max(0, header->length() - vh));
    // The row is whole on screen under the frozen rows.
    QVERIFY(t.view->rowViewportPosition(r) >= fh);
    QVERIFY(t.view->rowViewportPosition(r) + header->sectionSize(r) <= vh);
}

// Shift+arrows and Ctrl+Shift+arrows keep the edge of the selection that moves in sight, the
// far end while the selection grows and the near one while it shrinks back.
void TestTableViewScroll::extendingFollowsTheMovingEdge_data() {
    QTest::addColumn<int>("startRow");
    QTest::addColumn<int>("startCol");
    QTest::addColumn<QString>("keys"); // d u l r: one step; D U R: a block
    QTest::addColumn<int>("edgeRow");
    QTest::addColumn<int>("edgeCol");
    QTest::newRow("down past the screen") << 5 << 0 << QString(30, QLatin1Char('d')) << 35 << 0;
    QTest::newRow("down, then back up")
        << 5 << 0 << QString(40, QLatin1Char('d')) + QString(25, QLatin1Char('u')) << 20 << 0;
    QTest::newRow("up from the bottom") << 480 << 0 << QString(30, QLatin1Char('u')) << 450 << 0;
    QTest::newRow("a block down") << 1 << 0 << QStringLiteral("D") << 499 << 0;
    QTest::newRow("a block down and one back") << 1 << 0 << QStringLiteral("Du") << 498 << 0;
    QTest::newRow("right past the screen") << 3 << 0 << QString(25, QLatin1Char('r')) << 3 << 25;
    QTest::newRow("a block right") << 3 << 0 << QStringLiteral("R") << 3 << 59;
}

void TestTableViewScroll::extendingFollowsTheMovingEdge() {
    QFETCH(int, startRow);
    QFETCH(int, startCol);
    QFETCH(QString, keys);
    QFETCH(int, edgeRow);
    QFETCH(int, edgeCol);
    ShownTable t = makeTable({}, 600, 400, 500, 60);
    t.view->setSnapToRow(false);
    t.view->moveSelectionAbsolute(startRow, startCol);
    for (const QChar key : keys) {
        const char k = key.toLatin1();
        const bool block = QChar(key).isUpper();
        const Direction direction = k == 'd' || k == 'D'   ? Direction::Down
                                    : k == 'u' || k == 'U' ? Direction::Up
                                    : k == 'l' || k == 'L' ? Direction::Left
                                                           : Direction::Right;
        t.view->extendSelection(direction, block);
    }
    // The selection reached the edge, and the main cell stayed where it began.
    const TableModel* m = t.view->tableModel();
    QCOMPARE(m->getMainCell().row, startRow);
    QCOMPARE(m->getMainCell().col, startCol);
    QVERIFY(m->cellInSelection(edgeRow, edgeCol));
    const int y = t.view->rowViewportPosition(edgeRow);
    const int x = t.view->columnViewportPosition(edgeCol);
    QVERIFY2(y >= t.view->frozenHeight() && y + t.view->rowHeight(edgeRow) <= t.view->viewport()->height(),
             qPrintable(QStringLiteral("row %1 at %2").arg(edgeRow).arg(y)));
    QVERIFY2(x >= 0 && x + t.view->columnWidth(edgeCol) <= t.view->viewport()->width(),
             qPrintable(QStringLiteral("column %1 at %2").arg(edgeCol).arg(x)));
}

void TestTableViewScroll::autoFitSamplingRows_data() {
    QTest::addColumn<int>("rows");
    QTest::addColumn<int>("divisor");
    QTest::addColumn<int>("reads"); // cell reads of one column, header row included
    QTest::newRow("under 100 rows: all") << 80 << 10 << 80;
    QTest::newRow("100 rows: all") << 100 << 10 << 100;
    QTest::newRow("1000 rows, step 10") << 1000 << 100 << 100 + 90;
    QTest::newRow("1000 rows, step 1") << 1000 << 5000 << 1000;
    QTest::newRow("2000 rows, step 4") << 2000 << 500 << 100 + 475;
}

void TestTableViewScroll::autoFitSamplingRows() {
    QFETCH(int, rows);
    QFETCH(int, divisor);
    QFETCH(int, reads);
    ShownTable t = makeTable({}, 600, 400, rows, 2);
    t.model->displayCalls = 0;
    bool allEmpty = true;
    const int width = t.view->estimateMaxWidthForColumnMainTable(1, divisor, 800, 10, allEmpty);
    QCOMPARE(t.model->displayCalls, qint64(reads));
    QVERIFY(!allEmpty);
    QVERIFY(width > 10);
}

void TestTableViewScroll::autoFitSamplingCols_data() {
    QTest::addColumn<int>("cols");
    QTest::addColumn<int>("divisor");
    QTest::addColumn<int>("reads");
    QTest::newRow("under 100 columns: all") << 60 << 10 << 60;
    QTest::newRow("1000 columns, step 10") << 1000 << 100 << 100 + 90;
    QTest::newRow("step below 2 reads all") << 300 << 200 << 300;
    QTest::newRow("300 columns, step 3") << 300 << 100 << 100 + 67;
}

void TestTableViewScroll::autoFitSamplingCols() {
    QFETCH(int, cols);
    QFETCH(int, divisor);
    QFETCH(int, reads);
    ShownTable t = makeTable({}, 600, 400, 3, cols);
    t.model->displayCalls = 0;
    const int height = t.view->calculateAutoFitRowHeight(1, divisor);
    QCOMPARE(t.model->displayCalls, qint64(reads));
    QVERIFY(height > 0);
}

void TestTableViewScroll::autoFitLimits() {
    // A wide cell, a tall cell (quoted line breaks) and an empty third column.
    const QStringList lines{
        "h1,h2,", QStringLiteral("%1,x,").arg(QString(400, QLatin1Char('w'))),
        QStringLiteral("\"%1\",y,").arg(QStringList(40, QStringLiteral("line")).join(QLatin1Char('\n')))};
    ShownTable t = makeTable(lines);
    bool allEmpty = false;
    QCOMPARE(t.view->estimateMaxWidthForColumnMainTable(0, 1000, 300, 10, allEmpty), 300);
    QCOMPARE(t.view->calculateAutoFitRowHeight(2, 100), 240 + (t.view->showGrid() ? 1 : 0));
    const int normal = t.view->calculateAutoFitRowHeight(0, 100);
    QVERIFY(normal < 60);
    // Hidden columns are not measured.
    t.view->setColumnHidden(0, true);
    QVERIFY(t.view->calculateAutoFitRowHeight(2, 100) < 60);
    // An empty column gets the default width.
    t.view->setColumnWidth(2, 7);
    t.view->enforceAutoFitColWidth(2);
    QCOMPARE(t.view->columnWidth(2), t.view->horizontalHeader()->defaultSectionSize());
}

// Digits are wider than the average character: a long number found by sampling still fits.
void TestTableViewScroll::autoFitFitsSampledDigits() {
    // Pick a length at which one more digit, counted in average characters, looks narrower
    // than the numbers already measured.
    const QFont font = makeTable({QStringLiteral("1")}).model->getFont();
    const QFontMetrics metrics(font);
    const int average = metrics.averageCharWidth();
    const int digit = metrics.horizontalAdvance(QLatin1Char('9'));
    if (digit <= average)
        QSKIP("digits of this font are not wider than its average character");
    const int n = average / (digit - average) + 2;
    QStringList lines(150, QString(n, QLatin1Char('1')));
    const QString longer(n + 1, QLatin1Char('9'));
    lines[120] = longer;
    ShownTable t = makeTable(lines);
    QVERIFY(t.view->columnWidth(0) >= metrics.horizontalAdvance(longer) + 2 * TableDelegate::textInset);
}

void TestTableViewScroll::autoFitWarning_data() {
    QTest::addColumn<int>("rows");
    QTest::addColumn<int>("cols");
    QTest::addColumn<bool>("fitRows");
    QTest::addColumn<bool>("fitCols");
    QTest::addColumn<QString>("start"); // start of the text, empty for no question
    QTest::newRow("10,000 rows") << 10000 << 1 << true << true << "";
    QTest::newRow("10,001 rows") << 10001 << 1 << true << true
                                 << "This file has a lot of rows (10001).\nAuto-Fit Row Height is enabled";
    QTest::newRow("10,001 rows, no row fit") << 10001 << 1 << false << true << "";
    QTest::newRow("10,001 columns")
        << 1 << 10001 << false << true
        << "This file has a lot of columns (10001).\nAuto-Fit Column Width is enabled";
    QTest::newRow("both")
        << 10001 << 10001 << true << true
        << "This file has a lot of rows (10001) and columns (10001).\nAuto-Fit Row Height and";
}

void TestTableViewScroll::autoFitWarning() {
    QFETCH(int, rows);
    QFETCH(int, cols);
    QFETCH(bool, fitRows);
    QFETCH(bool, fitCols);
    QFETCH(QString, start);
    // A sparse table of the wanted size: one value at the far corner.
    QStringList lines;
    if (rows > 1 && cols > 1) {
        lines = QStringList(rows - 1, QString());
        lines << QString(cols - 1, QLatin1Char(',')) + QLatin1Char('x');
    }
    ShownTable t = lines.isEmpty() ? makeTable({}, 300, 200, rows, cols) : makeTable(lines, 300, 200);
    TableView view;
    view.setModel(t.model.get());
    // Only the flags matter here: no fit runs on so large a table.
    view.setAutoFitRowHeight(fitRows, false);
    view.setAutoFitColWidth(fitCols, false);
    asked = 0;
    answer = true;
    const bool askedNow = view.warnAutoFitIfLargeFile();
    QCOMPARE(askedNow, !start.isEmpty());
    QCOMPARE(asked, start.isEmpty() ? 0 : 1);
    if (start.isEmpty())
        return;
    QVERIFY2(lastText.startsWith(start), qPrintable(lastText));
    QVERIFY(lastText.endsWith(QLatin1Char('?')));
    // "Disable" turns the warned fits off.
    QVERIFY(!view.getAutoFitRowHeight() || rows < TableView::autoFitWarningThreshold);
    QVERIFY(!view.getAutoFitColWidth() || cols < TableView::autoFitWarningThreshold);
}

void TestTableViewScroll::paintAsksOnlyVisibleCells() {
    QElapsedTimer timer;
    timer.start();
    ShownTable t = makeTable({}, 800, 600, 1000000, 3);
    QVERIFY(t.model->rowCountModel() >= 1000000);
    for (int jump : {0, 500000, 999990}) {
        t.view->verticalScrollBar()->setValue(t.view->verticalHeader()->sectionPosition(jump));
        QApplication::processEvents();
        t.model->displayCalls = 0;
        t.view->viewport()->repaint();
        t.view->frozenView(1)->viewport()->repaint();
        const int firstRow = t.view->rowAt(0);
        int lastRow = t.view->rowAt(t.view->viewport()->height() - 1);
        if (lastRow < 0)
            lastRow = t.model->rowCount() - 1;
        int lastCol = t.view->columnAt(t.view->viewport()->width() - 1);
        if (lastCol < 0)
            lastCol = t.model->columnCount() - 1;
        const qint64 visible = qint64(lastRow - firstRow + 1) * (lastCol + 1);
        QVERIFY(t.model->displayCalls > 0);
        QVERIFY2(
            t.model->displayCalls <= 3 * visible,
            qPrintable(
                QStringLiteral("%1 reads for %2 visible cells").arg(t.model->displayCalls).arg(visible)));
    }
    // The last rows can be scrolled to and read.
    t.view->scrollToCell(999999, 0, false, true);
    QVERIFY(t.view->rowViewportPosition(999999) >= 0);
    QVERIFY(timer.elapsed() < 8000);
}

QTEST_MAIN(TestTableViewScroll)
#include "tst_tableviewscroll.moc"
