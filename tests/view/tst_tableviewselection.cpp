// Keys and mouse gestures on the grid and its frozen parts, and the selections they leave in
// the model.

#include "viewfixture.h"

#include "view/frozentableview.h"
#include "view/headerview.h"

#include <QTest>

using namespace ViewFixture;

namespace {

QString describe(const RangeVector& ranges) {
    QStringList out;
    for (const Range& r : ranges) {
        QString s;
        switch (r.type) {
        case RangeType::Cell:
            s = QStringLiteral("C%1,%2").arg(r.row).arg(r.col);
            break;
        case RangeType::Row:
            s = QStringLiteral("R%1").arg(r.row);
            break;
        case RangeType::Col:
            s = QStringLiteral("K%1").arg(r.col);
            break;
        case RangeType::Table:
            s = QStringLiteral("T%1,%2-%3,%4").arg(r.row).arg(r.col).arg(r.endRow).arg(r.endCol);
            break;
        case RangeType::Invalid:
            s = QStringLiteral("I");
            break;
        }
        out << s;
    }
    return out.join(QLatin1Char(' '));
}

// 30 rows by 6 columns; column 0 has a gap at rows 10-14 for block moves.
QStringList grid() {
    QStringList lines;
    for (int r = 0; r < 30; ++r) {
        QStringList cells;
        for (int c = 0; c < 6; ++c)
            cells << ((c == 0 && r >= 10 && r < 15) ? QString() : QStringLiteral("v%1_%2").arg(r).arg(c));
        lines << cells.join(QLatin1Char(','));
    }
    return lines;
}

struct Key {
    int key;
    Qt::KeyboardModifiers mods;
};

} // namespace

Q_DECLARE_METATYPE(QList<int>)

class TestTableViewSelection : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void keySequences_data();
    void keySequences();
    void enterResetsColumn();
    void printableKeyStartsEditing();
    void mouseClicks_data();
    void mouseClicks();
    void dragSelectsRectangle();
    void cellAtPosClamps_data();
    void cellAtPosClamps();
    void frozenViewsShareTheSelection();
    void frozenCornerFollowsBothFreezes();
    void frozenRowsFollowHorizontalScroll();
    void labelClicksSelectLines();
    void arrayDragMovesRows();
    void arrayDragRefusesFrozenHeader();
    void middleButtonDrag_data();
    void middleButtonDrag();
    void middleButtonUuid();
    void middleButtonSameKeyRestores();
    void middleButtonAxisAndShrink();
    void readOnlySwitch();
    void perTableSettings();
    void loadProgress();
};

void TestTableViewSelection::initTestCase() {
    QStandardPaths::setTestModeEnabled(true);
    TableView::autoFitWarningHook = [](const QString&, bool&) { return false; };
}

void TestTableViewSelection::keySequences_data() {
    QTest::addColumn<QPoint>("start");    // (col, row) of the first click
    QTest::addColumn<QList<int>>("keys"); // key, modifiers pairs
    QTest::addColumn<QString>("main");
    QTest::addColumn<QString>("selection");
    const int none = 0;
    QTest::newRow("arrows") << QPoint(1, 2)
                            << QList<int>{Qt::Key_Down, none, Qt::Key_Down, none, Qt::Key_Right, none}
                            << "4,2"
                            << "C4,2";
    QTest::newRow("stop at top-left")
        << QPoint(0, 0) << QList<int>{Qt::Key_Up, none, Qt::Key_Left, none} << "0,0"
        << "C0,0";
    // Keys with modifiers are commands of the window; their test drives a whole window.
}

void TestTableViewSelection::keySequences() {
    QFETCH(QPoint, start);
    QFETCH(QList<int>, keys);
    QFETCH(QString, main);
    QFETCH(QString, selection);
    ShownTable t = makeTable(grid());
    click(t.view.get(), start.y(), start.x());
    for (int i = 0; i + 1 < keys.size(); i += 2)
        QTest::keyClick(t.view.get(), Qt::Key(keys[i]), Qt::KeyboardModifiers(keys[i + 1]));
    QCOMPARE(mainCell(*t.model), main);
    RangeVector cells;
    t.model->getCellOnlyRangeVector(cells, t.model->getSelection());
    QCOMPARE(describe(cells), selection);
}

void TestTableViewSelection::enterResetsColumn() {
    ShownTable t = makeTable(grid());
    click(t.view.get(), 2, 1);
    QTest::keyClick(t.view.get(), Qt::Key_Right);
    QTest::keyClick(t.view.get(), Qt::Key_Right);
    QTest::keyClick(t.view.get(), Qt::Key_Return);
    QCOMPARE(mainCell(*t.model), QStringLiteral("3,3"));
    QTest::keyClick(t.view.get(), Qt::Key_Return);
    QCOMPARE(mainCell(*t.model), QStringLiteral("4,3"));
}

void TestTableViewSelection::printableKeyStartsEditing() {
    ShownTable t = makeTable(grid());
    click(t.view.get(), 1, 1);
    int starts = 0;
    connect(t.view.get(), qOverload<bool, QKeyEvent*>(&AbstractTableView::startEditingSignal), this,
            [&](bool, QKeyEvent*) { ++starts; });
    QTest::keyClick(t.view.get(), Qt::Key_A);
    QTest::keyClick(t.view.get(), Qt::Key_F5);
    QTest::keyClick(t.view.get(), Qt::Key_Escape);
    QCOMPARE(starts, 1);
    t.view->setReadOnly(true, true);
    QTest::keyClick(t.view.get(), Qt::Key_B);
    QCOMPARE(starts, 1);
}

void TestTableViewSelection::mouseClicks_data() {
    QTest::addColumn<QList<int>>("clicks"); // row, col, modifiers triples
    QTest::addColumn<QString>("main");
    QTest::addColumn<QString>("selection");
    const int ctrl = int(Qt::ControlModifier);
    const int shift = int(Qt::ShiftModifier);
    QTest::newRow("click") << QList<int>{3, 2, 0} << "3,2"
                           << "C3,2";
    QTest::newRow("click replaces") << QList<int>{3, 2, 0, 5, 1, 0} << "5,1"
                                    << "C5,1";
    QTest::newRow("command adds") << QList<int>{3, 2, 0, 5, 1, ctrl} << "5,1"
                                  << "C3,2 C5,1";
    QTest::newRow("command toggles off") << QList<int>{3, 2, 0, 5, 1, ctrl, 5, 1, ctrl} << "3,2"
                                         << "C3,2";
    QTest::newRow("shift extends from main") << QList<int>{2, 1, 0, 3, 3, shift} << "2,1"
                                             << "C2,1 C2,2 C2,3 C3,1 C3,2 C3,3";
    QTest::newRow("shift upward") << QList<int>{4, 2, 0, 3, 1, shift} << "4,2"
                                  << "C3,1 C3,2 C4,1 C4,2";
}

void TestTableViewSelection::mouseClicks() {
    QFETCH(QList<int>, clicks);
    QFETCH(QString, main);
    QFETCH(QString, selection);
    ShownTable t = makeTable(grid());
    for (int i = 0; i + 2 < clicks.size(); i += 3)
        click(t.view.get(), clicks[i], clicks[i + 1], Qt::KeyboardModifiers(clicks[i + 2]));
    QCOMPARE(mainCell(*t.model), main);
    RangeVector cells;
    t.model->getCellOnlyRangeVector(cells, t.model->getSelection());
    QCOMPARE(describe(cells), selection);
}

void TestTableViewSelection::dragSelectsRectangle() {
    ShownTable t = makeTable(grid());
    QWidget* vp = t.view->viewport();
    mouse(vp, QEvent::MouseButtonPress, cellCenter(t.view.get(), 4, 3), Qt::LeftButton, Qt::LeftButton);
    mouse(vp, QEvent::MouseMove, cellCenter(t.view.get(), 5, 3), Qt::NoButton, Qt::LeftButton);
    mouse(vp, QEvent::MouseMove, cellCenter(t.view.get(), 6, 1), Qt::NoButton, Qt::LeftButton);
    // While the button is down the rectangle is pending, painted by the model.
    QCOMPARE(t.model->getPendingCornerEnd().row, 6);
    QCOMPARE(describe(t.model->getSelection()), QStringLiteral("C4,3"));
    mouse(vp, QEvent::MouseButtonRelease, cellCenter(t.view.get(), 6, 1), Qt::LeftButton, Qt::NoButton);
    QCOMPARE(describe(t.model->getSelection()), QStringLiteral("T4,1-6,3"));
    QCOMPARE(mainCell(*t.model), QStringLiteral("4,3"));
    QCOMPARE(t.model->getPendingCornerStart().row, -1);
}

void TestTableViewSelection::cellAtPosClamps_data() {
    QTest::addColumn<QPoint>("pos");
    QTest::addColumn<QString>("cell");
    // Rows are 24 px and columns at least 40: row 0 spans y 0-23.
    QTest::newRow("inside") << QPoint(5, 30) << "1,0";
    QTest::newRow("above") << QPoint(5, -10) << "0,0";
    QTest::newRow("left") << QPoint(-10, 5) << "0,0";
}

void TestTableViewSelection::cellAtPosClamps() {
    QFETCH(QPoint, pos);
    QFETCH(QString, cell);
    ShownTable t = makeTable(grid());
    const Range r = t.view->cellAtPos(pos.x(), pos.y());
    QCOMPARE(QStringLiteral("%1,%2").arg(r.row).arg(r.col), cell);

    // Below the viewport: the row after the one at the bottom edge.
    const int h = t.view->viewport()->height();
    const Range below = t.view->cellAtPos(5, h + 50);
    QCOMPARE(below.row, t.view->rowAt(h) + 1);
    // Right of the last column: the last column.
    const Range right = t.view->cellAtPos(t.view->viewport()->width() + 5, 5);
    QCOMPARE(right.col, t.model->columnCount() - 1);
    // Scrolled down, a position above the viewport is the row before the first shown.
    t.view->verticalScrollBar()->setValue(10 * t.view->rowHeight(0));
    QCOMPARE(t.view->cellAtPos(5, -3).row, t.view->rowAt(0) - 1);
}

void TestTableViewSelection::frozenViewsShareTheSelection() {
    ShownTable t = makeTable(grid());
    FrozenTableView* rows = t.view->frozenView(1);
    QVERIFY(rows->isVisible());
    QVERIFY(!t.view->frozenView(3)->isVisible());
    click(rows, 0, 2);
    QCOMPARE(mainCell(*t.model), QStringLiteral("0,2"));
    // Keys in a frozen view go to the owning grid.
    QTest::keyClick(rows, Qt::Key_Down);
    QCOMPARE(mainCell(*t.model), QStringLiteral("1,2"));
    // A drag that starts in the frozen rows and leaves them downward clamps to the next row.
    QWidget* vp = rows->viewport();
    mouse(vp, QEvent::MouseButtonPress, cellCenter(rows, 0, 1), Qt::LeftButton, Qt::LeftButton);
    mouse(vp, QEvent::MouseMove, QPoint(cellCenter(rows, 0, 3).x(), vp->height() + 5), Qt::NoButton,
          Qt::LeftButton);
    mouse(vp, QEvent::MouseButtonRelease, QPoint(cellCenter(rows, 0, 3).x(), vp->height() + 5),
          Qt::LeftButton, Qt::NoButton);
    // Past the bottom edge: the row after the one at the edge.
    const int below = rows->rowAt(vp->height()) + 1;
    QCOMPARE(describe(t.model->getSelection()), QStringLiteral("T0,1-%1,3").arg(below));
}

void TestTableViewSelection::frozenCornerFollowsBothFreezes() {
    ShownTable t = makeTable(grid());
    t.view->setNumberOfHeaderColumns(1, false);
    t.view->setFreezeHeaderColumns(true, false);
    QVERIFY(t.view->frozenView(2)->isVisible());
    QVERIFY(t.view->frozenView(3)->isVisible());
    QCOMPARE(t.view->frozenView(3)->size(), QSize(t.view->columnWidth(0) + 1, t.view->rowHeight(0) + 1));
    QSignalSpy spy(t.view.get(), &TableView::fileMetadataChangedSignal);
    t.view->setFreezeHeaderRows(false, true);
    QVERIFY(!t.view->frozenView(1)->isVisible());
    QVERIFY(!t.view->frozenView(3)->isVisible());
    QVERIFY(t.view->frozenView(2)->isVisible());
    QCOMPARE(spy.count(), 1);
    t.view->applyVisibleHeaderRows(0, false, false);
    t.view->setFreezeHeaderRows(true, false);
    QVERIFY(!t.view->frozenView(1)->isVisible());
}

void TestTableViewSelection::frozenRowsFollowHorizontalScroll() {
    ShownTable t = makeTable(grid(), 200, 200);
    // Auto-fit widths reach the frozen rows, column by column.
    for (int c = 0; c < t.model->columnCount(); ++c)
        QCOMPARE(t.view->frozenView(1)->columnWidth(c), t.view->columnWidth(c));
    QVERIFY(t.view->columnWidth(1) != t.view->horizontalHeader()->defaultSectionSize());
    t.view->horizontalScrollBar()->setValue(60);
    QCOMPARE(t.view->frozenView(1)->horizontalScrollBar()->value(), 60);
    t.view->setColumnWidth(2, 123);
    QCOMPARE(t.view->frozenView(1)->columnWidth(2), 123);
    t.view->setRowHeight(0, 40);
    QCOMPARE(t.view->frozenView(1)->rowHeight(0), 40);
    QCOMPARE(t.view->frozenView(1)->height(), 41);
}

void TestTableViewSelection::labelClicksSelectLines() {
    ShownTable t = makeTable(grid());
    t.view->onVerticalSectionClicked(3);
    QCOMPARE(describe(t.model->getSelection()), QStringLiteral("R3"));
    t.view->onVerticalSectionEntered(5); // dragging over labels
    QCOMPARE(describe(t.model->getSelection()), QStringLiteral("R3 R4 R5"));
    t.view->onVerticalSectionReleased(5);
    t.view->onHorizontalSectionCtrlClicked(2);
    QVERIFY(t.model->isColSelected(2));
    QVERIFY(t.model->isRowSelected(4));
    t.view->onHorizontalSectionClicked(1);
    t.view->onHorizontalSectionShiftClicked(3);
    QCOMPARE(describe(t.model->getSelection()), QStringLiteral("K1 K2 K3"));
}

void TestTableViewSelection::arrayDragMovesRows() {
    ShownTable t = makeTable(grid());
    t.view->onVerticalSectionClicked(3);
    t.view->onVerticalSectionEntered(4);
    t.view->onVerticalSectionReleased(4);
    t.view->onVerticalSectionShiftClicked(3);
    QVERIFY(t.view->arrayDragActive());
    QVERIFY(t.view->verticalHeaderView()->isDragging());
    t.view->onVerticalSectionEntered(6);
    QCOMPARE(t.view->getRowLineHighlightIndexes(), (std::vector<int>{6, 8}));
    t.view->onVerticalSectionEntered(3);
    QVERIFY(t.view->getRowLineHighlightIndexes().empty());
    t.view->onVerticalSectionEntered(6);
    t.view->onVerticalSectionReleased(6);
    QVERIFY(!t.view->arrayDragActive());
    QVERIFY(!t.view->verticalHeaderView()->isDragging());
    QVERIFY(t.view->getRowLineHighlightIndexes().empty());
    QStringList col;
    for (int r = 2; r <= 8; ++r)
        col << Fixture::text(*t.model, r, 1);
    QCOMPARE(col, QStringList({"v2_1", "v5_1", "v6_1", "v7_1", "v3_1", "v4_1", "v8_1"}));
    QCOMPARE(describe(t.model->getSelection()), QStringLiteral("R6 R7"));
}

void TestTableViewSelection::arrayDragRefusesFrozenHeader() {
    ShownTable t = makeTable(grid());
    t.view->onVerticalSectionClicked(0);
    t.view->onVerticalSectionReleased(0);
    t.view->onVerticalSectionShiftClicked(0);
    QVERIFY(!t.view->arrayDragActive());
    t.view->onVerticalSectionEntered(4);
    t.view->onVerticalSectionReleased(4);
    QCOMPARE(Fixture::text(*t.model, 0, 0), QStringLiteral("v0_0"));
}

void TestTableViewSelection::middleButtonDrag_data() {
    QTest::addColumn<QString>("anchor");
    QTest::addColumn<QString>("keys");
    QTest::addColumn<QString>("expected"); // the three cells under the anchor
    QTest::newRow("copy without step") << "007"
                                       << ""
                                       << "007|007|007";
    QTest::newRow("plus") << "007"
                          << "+"
                          << "008|009|010";
    QTest::newRow("minus") << "INV-1001"
                           << "-"
                           << "INV-1000|INV-999|INV-998";
    QTest::newRow("negative up") << "-1"
                                 << "+"
                                 << "0|1|2";
    QTest::newRow("digit") << "5"
                           << "3"
                           << "8|11|14";
    QTest::newRow("zero is ten") << "1"
                                 << "0"
                                 << "11|21|31";
    QTest::newRow("sign and digit") << "100"
                                    << "-2"
                                    << "98|96|94";
    QTest::newRow("equals is plus") << "a1"
                                    << "="
                                    << "a2|a3|a4";
    QTest::newRow("two digits is copy") << "1"
                                        << "23"
                                        << "1|1|1";
    QTest::newRow("escape copies") << "1"
                                   << "+\x1b"
                                   << "1|1|1";
    QTest::newRow("other text ignored") << "1"
                                        << "+x"
                                        << "2|3|4";
}

void TestTableViewSelection::middleButtonDrag() {
    QFETCH(QString, anchor);
    QFETCH(QString, keys);
    QFETCH(QString, expected);
    ShownTable t = makeTable(grid());
    t.model->setData(t.model->index(2, 1), anchor);
    QWidget* vp = t.view->viewport();
    QVector<RangeVector> committed;
    connect(t.view.get(), &AbstractTableView::dataChangedSignal, this,
            [&](RangeVector cells) { committed.push_back(cells); });
    mouse(vp, QEvent::MouseButtonPress, cellCenter(t.view.get(), 2, 1), Qt::MiddleButton, Qt::MiddleButton);
    mouse(vp, QEvent::MouseMove, cellCenter(t.view.get(), 5, 1), Qt::NoButton, Qt::MiddleButton);
    for (const QChar c : keys) {
        if (c == QChar(0x1b))
            QTest::keyClick(t.view.get(), Qt::Key_Escape);
        else
            QTest::keyClick(t.view.get(), c.toLatin1());
    }
    QCOMPARE(texts(*t.model, {{3, 1}, {4, 1}, {5, 1}}), expected);
    mouse(vp, QEvent::MouseButtonRelease, cellCenter(t.view.get(), 5, 1), Qt::MiddleButton, Qt::NoButton);
    QVERIFY(!t.view->middleButtonDragActive());
    QCOMPARE(committed.size(), 1);
    QCOMPARE(committed.front().size(), std::size_t(3));
    QCOMPARE(committed.front().front().oldValue.toString(), QStringLiteral("v3_1"));
}

void TestTableViewSelection::middleButtonUuid() {
    ShownTable t = makeTable(grid());
    const QString upperBraced = QStringLiteral("{123E4567-E89B-12D3-A456-426614174000}");
    t.model->setData(t.model->index(1, 2), upperBraced);
    QWidget* vp = t.view->viewport();
    mouse(vp, QEvent::MouseButtonPress, cellCenter(t.view.get(), 1, 2), Qt::MiddleButton, Qt::MiddleButton);
    QTest::keyClick(t.view.get(), '+');
    mouse(vp, QEvent::MouseMove, cellCenter(t.view.get(), 1, 4), Qt::NoButton, Qt::MiddleButton);
    const QString a = Fixture::text(*t.model, 1, 3, Qt::EditRole);
    const QString b = Fixture::text(*t.model, 1, 4, Qt::EditRole);
    mouse(vp, QEvent::MouseButtonRelease, cellCenter(t.view.get(), 1, 4), Qt::MiddleButton, Qt::NoButton);
    const QRegularExpression form(
        QStringLiteral("^\\{[0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{12}\\}$"));
    QVERIFY2(form.match(a).hasMatch(), qPrintable(a));
    QVERIFY2(form.match(b).hasMatch(), qPrintable(b));
    QVERIFY(a != b && a != upperBraced);
}

void TestTableViewSelection::middleButtonSameKeyRestores() {
    ShownTable t = makeTable(grid());
    t.model->setData(t.model->index(2, 1), QStringLiteral("7"));
    QWidget* vp = t.view->viewport();
    mouse(vp, QEvent::MouseButtonPress, cellCenter(t.view.get(), 2, 1), Qt::MiddleButton, Qt::MiddleButton);
    mouse(vp, QEvent::MouseMove, cellCenter(t.view.get(), 4, 1), Qt::NoButton, Qt::MiddleButton);
    QTest::keyClick(t.view.get(), '+');
    QCOMPARE(texts(*t.model, {{3, 1}, {4, 1}}), QStringLiteral("8|9"));
    QTest::keyClick(t.view.get(), '+');
    QCOMPARE(texts(*t.model, {{3, 1}, {4, 1}}), QStringLiteral("v3_1|v4_1"));
    QTest::keyClick(t.view.get(), '-');
    QCOMPARE(texts(*t.model, {{3, 1}, {4, 1}}), QStringLiteral("6|5"));
    mouse(vp, QEvent::MouseButtonRelease, cellCenter(t.view.get(), 4, 1), Qt::MiddleButton, Qt::NoButton);
}

void TestTableViewSelection::middleButtonAxisAndShrink() {
    ShownTable t = makeTable(grid());
    t.model->setData(t.model->index(5, 1), QStringLiteral("x"));
    QWidget* vp = t.view->viewport();
    mouse(vp, QEvent::MouseButtonPress, cellCenter(t.view.get(), 5, 1), Qt::MiddleButton, Qt::MiddleButton);
    // Off both lines while undecided: nothing.
    mouse(vp, QEvent::MouseMove, cellCenter(t.view.get(), 7, 3), Qt::NoButton, Qt::MiddleButton);
    QCOMPARE(Fixture::text(*t.model, 7, 3), QStringLiteral("v7_3"));
    // Upward along the column sets the axis; a diagonal pointer then reads along it.
    mouse(vp, QEvent::MouseMove, cellCenter(t.view.get(), 3, 1), Qt::NoButton, Qt::MiddleButton);
    QCOMPARE(texts(*t.model, {{3, 1}, {4, 1}}), QStringLiteral("x|x"));
    mouse(vp, QEvent::MouseMove, cellCenter(t.view.get(), 4, 4), Qt::NoButton, Qt::MiddleButton);
    QCOMPARE(texts(*t.model, {{3, 1}, {4, 1}, {5, 4}}), QStringLiteral("v3_1|x|v5_4"));
    mouse(vp, QEvent::MouseButtonRelease, cellCenter(t.view.get(), 4, 4), Qt::MiddleButton, Qt::NoButton);
}

void TestTableViewSelection::readOnlySwitch() {
    ShownTable t = makeTable(grid());
    t.view->setReadOnly(true, false);
    QVERIFY(t.view->getContext().intersects(ContextReadOnly));
    QVERIFY(t.model->isReadOnly());
    QVERIFY(!t.model->setData(t.model->index(0, 0), QStringLiteral("z")));
    // A middle-button drag writes nothing in a read-only table.
    QWidget* vp = t.view->viewport();
    mouse(vp, QEvent::MouseButtonPress, cellCenter(t.view.get(), 2, 1), Qt::MiddleButton, Qt::MiddleButton);
    mouse(vp, QEvent::MouseMove, cellCenter(t.view.get(), 4, 1), Qt::NoButton, Qt::MiddleButton);
    mouse(vp, QEvent::MouseButtonRelease, cellCenter(t.view.get(), 4, 1), Qt::MiddleButton, Qt::NoButton);
    QCOMPARE(Fixture::text(*t.model, 3, 1), QStringLiteral("v3_1"));
    t.view->setReadOnly(false, false);
    QVERIFY(!(t.view->getContext().intersects(ContextReadOnly)));
    QVERIFY(t.model->setData(t.model->index(0, 0), QStringLiteral("z")));
}

void TestTableViewSelection::perTableSettings() {
    ShownTable t = makeTable(grid());
    Settings settings;
    settings.setValue(HeaderRows, 2);
    settings.setValue(HeaderColumns, 1);
    settings.setValue(FreezeHeaderColumns, true);
    settings.setValue(SnapToRow, false);
    settings.setValue(FirstRowIndex, 1);
    settings.setValue(RepresentColumnsAsLetters, true);
    settings.setValue(ShowRowLabels, false);
    t.view->propagateSettings(settings);
    settings.clear();
    QCOMPARE(t.view->getNumHeaderRows(), 2);
    QCOMPARE(t.view->frozenView(1)->getNumRows(), 2);
    QCOMPARE(t.view->frozenHeight(), t.view->rowHeight(0) + t.view->rowHeight(1));
    QVERIFY(t.view->frozenView(2)->isVisible());
    QVERIFY(t.view->frozenView(3)->isVisible());
    QVERIFY(t.view->verticalHeader()->isHidden());
    QCOMPARE(t.model->getNumHeaderRows(), 2);
    QCOMPARE(t.model->headerData(0, Qt::Vertical).toString(), QStringLiteral("1"));
    QCOMPARE(t.model->headerData(0, Qt::Horizontal).toString(), QStringLiteral("A"));
    // Without snap, a step moves the slider by exactly its size.
    t.view->scroll(Direction::Down, false, 0, 7);
    QCOMPARE(t.view->verticalScrollBar()->value(), 7);
    const Settings back = t.view->getSettings(true);
    QCOMPARE(back.getValueInt(HeaderRows), 2);
    QCOMPARE(back.getValueBool(FreezeHeaderColumns), true);
    Settings copy = back;
    copy.clear();
}

void TestTableViewSelection::loadProgress() {
    ShownTable t = makeTable(grid());
    QSignalSpy progress(t.view.get(), &TableView::loadProgressSignal);
    t.view->onLoadStarted();
    QVERIFY(t.view->isLoading());
    QVERIFY(t.view->isHidden());
    // Keys are ignored while loading.
    const QString before = mainCell(*t.model);
    QTest::keyClick(t.view.get(), Qt::Key_Down);
    QCOMPARE(mainCell(*t.model), before);
    t.view->onLoadProgressUpdate(50, 200, 3);
    QCOMPARE(progress.count(), 1);
    QCOMPARE(progress.at(0).at(0).toInt(), 25);
    t.view->onLoadProgressUpdate(5, 0, 3);
    QCOMPARE(progress.at(1).at(0).toInt(), 0);
    t.view->onLoadFinished();
    QVERIFY(!t.view->isLoading());
    QVERIFY(t.view->isVisible());
}

QTEST_MAIN(TestTableViewSelection)
#include "tst_tableviewselection.moc"
