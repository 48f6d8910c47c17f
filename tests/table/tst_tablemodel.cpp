#include "tablemodelfixture.h"

#include "preferences/settings.h"
#include "preferences/theme.h"
#include "table/tablemodel.h"
#include "table/tablemodelworker.h"

#include <QAbstractItemModelTester>
#include <QMutex>
#include <QRandomGenerator>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTest>
#include <QThread>

#include <algorithm>
#include <climits>
#include <map>
#include <set>

using namespace Fixture;

class TestTableModel : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }

    void modelTesterThroughStructuralChanges();
    void flagsAreEditableNotSelectable();
    void sizeRule_data();
    void sizeRule();
    void mainCellClampIsAsymmetric();
    void removeExtraneousRowsShrinksBack();
    void displayCut_data();
    void displayCut();
    void setDataWritesAndGrows();
    void backgroundPriority_data();
    void backgroundPriority();
    void lineHighlightBlend();
    void fontRole();
    void findPreviewShowsReplacedText();
    void conversions_data();
    void conversions();
    void rangeConversionsKeepTheirKind();
    void mappingAgainstBruteForce();
    void labels_data();
    void labels();
    void headerRowsFollowConcealment();
    void settingsApply();
    void populateRoundTrip();
    void populateModelGrowsTheGrid();
    void cellArraysHonourExclusions();
    void rangeShapes();
    void parseIntoMaps();
    void writeFromMapsAndCellDataVec();
    void headerRowInformation();
    void columnLabels();
    void columnFieldTypes();
    void columnAllNumbers_data();
    void columnAllNumbers();
    void duplicateRowsAgainstBruteForce();
    void removeDuplicateRowsAndSubset();
    void workerCancelStopsAScan();
    void threadedLoadSelectsFirstCell();
};

// Changes rows and columns every way the model allows while the tester watches every signal.
void TestTableModel::modelTesterThroughStructuralChanges() {
    LoadedModel m = load(gridLines(20, 5));
    m->setMinNumTableRows(10);
    m->setNumBufferRows(2);
    m->setNumBufferCols(1);
    QAbstractItemModelTester tester(m.model.get(), QAbstractItemModelTester::FailureReportingMode::QtTest);

    QCOMPARE(m->rowCount(), 22);
    QCOMPARE(m->columnCount(), 6);
    QVERIFY(m->insertRows(0, 3));
    QCOMPARE(m->rowCountModel(), 23);
    QCOMPARE(text(*m, 3, 0), QStringLiteral("r0c0"));
    QCOMPARE(m->rowCount(), 25);
    QVERIFY(m->insertRows(10, 2));
    QCOMPARE(text(*m, 12, 1), QStringLiteral("r7c1"));
    QVERIFY(m->removeRows(0, 5));
    QCOMPARE(text(*m, 0, 0), QStringLiteral("r2c0"));
    QCOMPARE(m->rowCount(), m->rowCountModel() + 2);
    QVERIFY(m->insertColumns(1, 2));
    QCOMPARE(m->columnCountModel(), 7);
    QCOMPARE(text(*m, 0, 3), QStringLiteral("r2c1"));
    QVERIFY(m->removeColumns(0, 2));
    QCOMPARE(m->columnCount(), 6);
    // Inside the buffer only the view changes; the size rule then takes it back.
    QVERIFY(m->insertRows(m->rowCount(), 4));
    QCOMPARE(m->rowCount(), m->rowCountModel() + 2);
    // A write past the data grows data and grid.
    QVERIFY(m->setData(m->index(m->rowCount() - 1, m->columnCount() - 1), QStringLiteral("far")));
    QCOMPARE(m->columnCountModel(), 6);
    QCOMPARE(m->columnCount(), 7);
    QCOMPARE(m->rowCount(), m->rowCountModel() + 2);
    // Walking the selection out grows the grid; coming back shrinks it.
    Range far = cell(80, 3);
    m->setSelection(far);
    QCOMPARE(m->rowCount(), 83);
    bool changed = false;
    Range near = cell(5, 3);
    m->setSelection(near);
    m->removeExtraneousRows(changed);
    QCOMPARE(m->rowCount(), m->rowCountModel() + 2);
    m->getTableData().concealRawRows({1, 2, 3});
    QCOMPARE(m->rowCount(), m->rowCountModel() + 2);
    // With rows concealed, structural changes work on what the user sees.
    const QString below = text(*m, 1, 0);
    QVERIFY(m->removeRows(0, 1));
    QCOMPARE(text(*m, 0, 0), below);
    QCOMPARE(m->getTableData().numConcealedRows(), 3);
    QVERIFY(m->insertRows(1, 2));
    QCOMPARE(text(*m, 1, 0), QString());
    QCOMPARE(text(*m, 3, 0), m->getTableData().getValueRaw(m->getRawFromModelRow(3), 0).toString());
    QCOMPARE(m->rowCount(), m->rowCountModel() + 2);
    QVERIFY(!m->removeRows(-1, 2));
    QVERIFY(!m->insertRows(m->rowCount() + 1, 1));
}

void TestTableModel::flagsAreEditableNotSelectable() {
    LoadedModel m = load(gridLines(2, 2));
    QCOMPARE(int(m->flags(m->index(0, 0))), 34);
    QCOMPARE(int(m->flags(QModelIndex())), 0);
}

void TestTableModel::sizeRule_data() {
    QTest::addColumn<int>("dataRows");
    QTest::addColumn<bool>("readOnly");
    QTest::addColumn<int>("minRows");
    QTest::addColumn<int>("bufferRows");
    QTest::addColumn<QList<int>>("concealed");
    QTest::addColumn<int>("selectedRow");
    QTest::addColumn<int>("expectedRows");

    QTest::newRow("empty table shows the minimum") << 0 << false << 100 << 5 << QList<int>{} << 0 << 100;
    QTest::newRow("98 rows show 103") << 98 << false << 100 << 5 << QList<int>{} << 0 << 103;
    QTest::newRow("read-only: no buffer, no minimum") << 98 << true << 100 << 5 << QList<int>{} << 0 << 98;
    QTest::newRow("selection far out, two concealed")
        << 50 << false << 10 << 5 << QList<int>{3, 7} << 200 << 204;
    QTest::newRow("selection inside the data") << 50 << false << 10 << 5 << QList<int>{3, 7} << 20 << 53;
    QTest::newRow("read-only ignores the selection") << 50 << true << 10 << 5 << QList<int>{} << 200 << 50;
    // A minimum or buffer in the billions (typed, or written in the settings file) is held to a
    // million empty lines.
    QTest::newRow("huge minimum") << 10 << false << 2000000000 << 5 << QList<int>{} << 0 << 1000000;
    QTest::newRow("huge buffer") << 10 << false << 100 << INT_MAX << QList<int>{} << 0 << 1000010;
}

void TestTableModel::sizeRule() {
    QFETCH(int, dataRows);
    QFETCH(bool, readOnly);
    QFETCH(int, minRows);
    QFETCH(int, bufferRows);
    QFETCH(QList<int>, concealed);
    QFETCH(int, selectedRow);
    QFETCH(int, expectedRows);

    LoadedModel m = load(gridLines(dataRows, 3), readOnly ? TableData::ReadOnly : TableData::Editable);
    m->setNumBufferRows(bufferRows);
    m->setMinNumTableRows(minRows);
    if (!concealed.isEmpty())
        m->getTableData().concealRawRows(std::vector<int>(concealed.begin(), concealed.end()));
    Range target = cell(selectedRow, 0);
    m->setSelection(target);
    QCOMPARE(m->rowCount(), expectedRows);
    QCOMPARE(m->isReadOnly(), readOnly);
}

void TestTableModel::mainCellClampIsAsymmetric() {
    // 5 by 5 with one row and one column concealed: the grid is 4 by 4 without buffers.
    // The clamp runs when the grid changes size: concealing after the selection shrinks it.
    LoadedModel m = load(gridLines(5, 5));
    Range corner = cell(4, 4);
    m->setSelection(corner);
    QCOMPARE(m->rowCount(), 5);
    m->getTableData().concealRawRows({0});
    m->getTableData().concealRawCols({0});
    QCOMPARE(m->rowCount(), 4);
    QCOMPARE(m->columnCount(), 4);
    // A column at the count is pulled in; a row at the count is not (only beyond it).
    QCOMPARE(m->getMainCell().col, 3);
    QCOMPARE(m->getMainCell().row, 4);

    // Far beyond: 100 of 200 rows concealed, selection at 150.
    LoadedModel big = load(gridLines(200, 2));
    std::vector<int> half;
    for (int i = 0; i < 200; i += 2)
        half.push_back(i);
    Range deep = cell(150, 0);
    big->setSelection(deep);
    big->getTableData().concealRawRows(half);
    QCOMPARE(big->rowCount(), 100);
    QCOMPARE(big->getMainCell().row, 99);
    QCOMPARE(big->getSelection().size(), std::size_t(1));
    QCOMPARE(big->getSelection().front().row, 99);
}

void TestTableModel::removeExtraneousRowsShrinksBack() {
    LoadedModel m = load(gridLines(10, 3));
    m->setNumBufferRows(2);
    m->setMinNumTableRows(5);
    Range far = cell(40, 1);
    m->setSelection(far);
    QCOMPARE(m->rowCount(), 43);
    bool changed = false;
    m->removeExtraneousRows(changed);
    QVERIFY(changed);
    QCOMPARE(m->getMainCell().row, 11); // the last row of data plus buffer
    QCOMPARE(m->rowCount(), 14);
    QCOMPARE(m->getSelection().front().row, 11);
    m->removeExtraneousRows(changed);
    QVERIFY(!changed);

    Range wide = cell(1, 30);
    m->setSelection(wide);
    m->removeExtraneousCols(changed);
    QVERIFY(changed);
    QCOMPARE(m->getMainCell().col, 2);
    QCOMPARE(m->columnCount(), 3);
}

void TestTableModel::displayCut_data() {
    QTest::addColumn<int>("length");
    QTest::addColumn<QString>("unit");
    QTest::addColumn<int>("shown");
    QTest::newRow("short") << 10 << QString() << 10;
    QTest::newRow("exactly the limit") << 4096 << QString() << 4096;
    QTest::newRow("one past") << 4097 << QString() << 4096;
    QTest::newRow("5000") << 5000 << QString() << 4096;
    // Cells long enough that only their start is decoded for display.
    QTest::newRow("100000 letters") << 100000 << QString() << 4096;
    QTest::newRow("two-byte characters") << 30000 << QStringLiteral("\u00e9") << 4096;
    QTest::newRow("three-byte characters") << 30000 << QStringLiteral("\u20ac") << 4096;
    QTest::newRow("surrogate pairs") << 30000 << QString::fromUtf8("\xf0\x9f\x98\x80") << 4096;
    QTest::newRow("just under the window") << 16000 << QString() << 4096;
}

void TestTableModel::displayCut() {
    QFETCH(int, length);
    QFETCH(QString, unit);
    QFETCH(int, shown);
    LoadedModel m = load(gridLines(2, 2));
    QString longText;
    while (longText.size() < length)
        longText += unit.isEmpty() ? QString(QChar(char16_t(u'a' + longText.size() % 26))) : unit;
    QVERIFY(m->setData(m->index(1, 1), longText));
    const QString display = text(*m, 1, 1);
    QCOMPARE(display.size(), shown);
    if (shown < length) {
        QCOMPARE(display.left(4093), longText.left(4093));
        QCOMPARE(display.right(3), QStringLiteral("..."));
    } else {
        QCOMPARE(display, longText);
    }
    QCOMPARE(text(*m, 1, 1, Qt::EditRole), longText);
}

void TestTableModel::setDataWritesAndGrows() {
    LoadedModel m = load(gridLines(3, 3));
    m->setNumBufferRows(3);
    m->getTableData().concealRawRows({1});
    QSignalSpy changed(m.model.get(), &QAbstractItemModel::dataChanged);
    QVERIFY(m->setData(m->index(1, 0), QStringLiteral("x")));
    QCOMPARE(m->getTableData().getValueRaw(2, 0).toString(), QStringLiteral("x"));
    QVERIFY(changed.count() >= 1);
    // A write into the buffer lands where the user sees it: past the raw end by the concealed.
    QVERIFY(m->setData(m->index(4, 1), QStringLiteral("y")));
    QCOMPARE(m->rowCountRaw(), 6);
    QCOMPARE(text(*m, 4, 1), QStringLiteral("y"));
    QCOMPARE(m->rowCount(), m->rowCountModel() + 3);

    LoadedModel ro = load(gridLines(3, 3), TableData::ReadOnly);
    QVERIFY(!ro->setData(ro->index(0, 0), QStringLiteral("z")));
    QVERIFY(!ro->insertRows(0, 1));
    QCOMPARE(text(*ro, 0, 0), QStringLiteral("r0c0"));
}

void TestTableModel::backgroundPriority_data() {
    QTest::addColumn<QString>("setup");
    QTest::addColumn<int>("row");
    QTest::addColumn<int>("col");
    QTest::addColumn<QColor>("expected");
    const Theme t = Theme::darkTheme();

    QTest::newRow("main cell inside a selected block") << "block" << 2 << 2 << t.MainCellColor;
    QTest::newRow("selected block cell") << "block" << 3 << 4 << t.SelectedCellColor;
    QTest::newRow("excluded block cell") << "block" << 3 << 3 << t.CellColor;
    QTest::newRow("excluded block row") << "block" << 4 << 4 << t.CellColor;
    QTest::newRow("selected over highlight") << "block" << 2 << 3 << t.SelectedCellColor;
    QTest::newRow("highlight outside selection") << "block" << 6 << 1 << t.HighlightedCellColor;
    QTest::newRow("highlight of a concealed raw row") << "block" << 7 << 1 << t.CellColor;
    QTest::newRow("header row") << "block" << 0 << 1 << t.HeaderCellColor;
    QTest::newRow("row range minus excluded column") << "row" << 5 << 2 << t.CellColor;
    QTest::newRow("row range") << "row" << 5 << 3 << t.SelectedCellColor;
    QTest::newRow("row range before its start") << "row" << 5 << 0 << t.CellColor;
    QTest::newRow("col range") << "col" << 8 << 1 << t.SelectedCellColor;
    QTest::newRow("col range minus excluded row") << "col" << 6 << 1 << t.CellColor;
    QTest::newRow("pending drag, either order") << "drag" << 4 << 2 << t.SelectedCellColor;
    QTest::newRow("pending drag, outside") << "drag" << 6 << 2 << t.CellColor;
    QTest::newRow("pending start alone") << "dragstart" << 3 << 3 << t.SelectedCellColor;
    QTest::newRow("pending start alone, next cell") << "dragstart" << 3 << 4 << t.CellColor;
    QTest::newRow("shaded row") << "shade" << 5 << 2 << t.CellShade1Color;
    QTest::newRow("shaded column") << "shade" << 6 << 3 << t.CellShade1Color;
    QTest::newRow("shaded both") << "shade" << 5 << 3 << t.CellShade2Color;
    QTest::newRow("shaded header") << "shade" << 0 << 3 << t.HeaderCellShade1Color;
    QTest::newRow("shaded highlight") << "shade" << 7 << 3 << t.HighlightedCellShade2Color;
}

void TestTableModel::backgroundPriority() {
    QFETCH(QString, setup);
    QFETCH(int, row);
    QFETCH(int, col);
    QFETCH(QColor, expected);

    LoadedModel m = load(gridLines(12, 6));
    m->getTableData().concealRawRows({9}); // model row 9 shows raw 10
    if (setup == QLatin1String("block")) {
        Range block = table(2, 2, 4, 4);
        block.excludedRows = {4};
        block.excludedCells = {{3, 3}};
        block.isMainCell = true;
        block.mainCellRow = 2;
        block.mainCellCol = 2;
        RangeVector ranges{block};
        m->setSelection(ranges, true);
        RangeVector highlight{cell(2, 3, RangeIndexType::Raw), cell(6, 1, RangeIndexType::Raw),
                              cell(9, 1, RangeIndexType::Raw)};
        m->setHighlightedRange(highlight);
    } else if (setup == QLatin1String("row")) {
        Range r = rowRange(5);
        r.col = 1;
        r.excludedCols = {2};
        RangeVector ranges{cell(0, 0), r};
        ranges.front().isMainCell = true;
        m->setSelection(ranges, true);
    } else if (setup == QLatin1String("col")) {
        Range c = colRange(1);
        c.row = 3;
        c.excludedRows = {6};
        RangeVector ranges{cell(0, 5), c};
        ranges.front().isMainCell = true;
        m->setSelection(ranges, true);
    } else if (setup == QLatin1String("drag")) {
        Range first = cell(0, 0);
        m->setSelection(first);
        m->setPendingCorners(cell(5, 3), cell(3, 1));
    } else if (setup == QLatin1String("dragstart")) {
        Range first = cell(0, 0);
        m->setSelection(first);
        m->setPendingSelectionCorner(cell(3, 3));
    } else if (setup == QLatin1String("shade")) {
        m->setShadeEveryOtherRow(true);
        m->setShadeEveryOtherCol(true);
        Range first = cell(11, 0);
        m->setSelection(first);
        m->setHighlightedRange(RangeVector{cell(7, 3, RangeIndexType::Raw)});
    }
    const QVariant background = m->data(m->index(row, col), Qt::BackgroundRole);
    QVERIFY(background.canConvert<QBrush>());
    QCOMPARE(background.value<QBrush>().color(), expected);
}

void TestTableModel::lineHighlightBlend() {
    LoadedModel m = load(gridLines(6, 6));
    m->setHighlightMainCellRow(true);
    Range main = cell(3, 2);
    m->setSelection(main);
    const Theme t = Theme::darkTheme();
    auto blend = [&t](const QColor& base) {
        const double a = t.mixFactor;
        const QColor& line = t.HighlightedLineColor;
        return QColor(int((1 - a) * base.red() + a * line.red()),
                      int((1 - a) * base.green() + a * line.green()),
                      int((1 - a) * base.blue() + a * line.blue()));
    };
    auto colour = [&m](int r, int c) {
        return m->data(m->index(r, c), Qt::BackgroundRole).value<QBrush>().color();
    };
    QCOMPARE(colour(3, 5), blend(t.CellColor));
    QCOMPARE(colour(3, 5), QColor(0x4e, 0x1b, 0x1b));
    QCOMPARE(colour(2, 2), t.CellColor); // column highlight off
    QCOMPARE(colour(3, 2), t.MainCellColor);
    m->setHighlightedRange(RangeVector{cell(3, 4, RangeIndexType::Raw)});
    QCOMPARE(colour(3, 4), blend(t.HighlightedCellColor));
    // Only for a selection of one cell with no drag.
    m->addCellToSelection(cell(5, 5));
    QCOMPARE(colour(3, 5), t.CellColor);
}

void TestTableModel::fontRole() {
    LoadedModel m = load(gridLines(4, 4));
    m->setNumberOfHeaderCols(1);
    const QFont header = m->data(m->index(0, 2), Qt::FontRole).value<QFont>();
    const QFont body = m->data(m->index(2, 2), Qt::FontRole).value<QFont>();
    QVERIFY(header.bold());
    QVERIFY(!body.bold());
    QVERIFY(m->data(m->index(2, 0), Qt::FontRole).value<QFont>().bold());
    m->setBoldHeaderRows(false);
    QVERIFY(!m->data(m->index(0, 2), Qt::FontRole).value<QFont>().bold());
    QVERIFY(!m->data(m->index(0, 0), 10).isValid());
    QVERIFY(!m->data(m->index(0, 0), Qt::DecorationRole).isValid());
}

void TestTableModel::findPreviewShowsReplacedText() {
    LoadedModel m = load(gridLines(5, 5));
    m->getTableData().concealRawRows({0});
    Range replaced(2, 3, RangeIndexType::Raw); // model (1, 3)
    replaced.value = QStringLiteral("after");
    m->setFindReplacePreview(RangeVector{replaced});
    FindReplaceQuery query;
    query.previewReplace = true;
    // Without a live query the data shows.
    QCOMPARE(text(*m, 1, 3), QStringLiteral("r2c3"));
    m->setFindReplaceQuery(query);
    QCOMPARE(text(*m, 1, 3), QStringLiteral("after"));
    QCOMPARE(text(*m, 1, 3, Qt::EditRole), QStringLiteral("after"));
    QCOMPARE(m->data(m->index(1, 3), Qt::ForegroundRole).value<QBrush>().color(),
             Theme::darkTheme().HighlightedCellTextColor);
    QCOMPARE(m->data(m->index(1, 2), Qt::ForegroundRole).value<QBrush>().color(),
             Theme::darkTheme().TextColor);
    query.previewReplace = false;
    m->setFindReplaceQuery(query);
    QCOMPARE(text(*m, 1, 3), QStringLiteral("r2c3"));
    query.previewReplace = true;
    m->setFindReplaceQuery(query);
    m->onFindReplaceClosed();
    QVERIFY(!m->getHasFindReplaceQuery());
    QCOMPARE(text(*m, 1, 3), QStringLiteral("r2c3"));
}

void TestTableModel::conversions_data() {
    QTest::addColumn<int>("from");
    QTest::addColumn<int>("to");
    QTest::addColumn<int>("value");
    QTest::addColumn<int>("expected");
    const int raw = 0, model = 1, user = 2;
    // Concealed raw rows 1 and 2, first row index 1.
    QTest::newRow("model 0 to raw") << model << raw << 0 << 0;
    QTest::newRow("model 1 to raw") << model << raw << 1 << 3;
    QTest::newRow("model past end to raw") << model << raw << 20 << 22;
    QTest::newRow("raw concealed to model") << raw << model << 2 << -1;
    QTest::newRow("raw 3 to model") << raw << model << 3 << 1;
    QTest::newRow("user to raw") << user << raw << 4 << 3;
    QTest::newRow("user min int to raw") << user << raw << INT_MIN << 0;
    QTest::newRow("raw to user") << raw << user << 3 << 4;
    QTest::newRow("user to model") << user << model << 5 << 2;
    QTest::newRow("model to user") << model << user << 2 << 5;
    QTest::newRow("same space") << model << model << 7 << 7;
    QTest::newRow("negative model") << model << raw << -3 << -1;
}

void TestTableModel::conversions() {
    QFETCH(int, from);
    QFETCH(int, to);
    QFETCH(int, value);
    QFETCH(int, expected);
    LoadedModel m = load(gridLines(10, 10));
    m->getTableData().concealRawRows({1, 2});
    m->getTableData().concealRawCols({1, 2});
    m->setFirstRowIndex(1);
    m->setFirstColIndex(1);
    const auto f = static_cast<RangeIndexType>(from);
    const auto t = static_cast<RangeIndexType>(to);
    QCOMPARE(m->convertRowIndexType(value, t, f), expected);
    QCOMPARE(m->convertColIndexType(value, t, f), expected);
    QCOMPARE(m->convertRowIndexType(std::vector<int>{value, value}, t, f),
             (std::vector<int>{expected, expected}));
}

void TestTableModel::rangeConversionsKeepTheirKind() {
    LoadedModel m = load(gridLines(10, 10));
    m->getTableData().concealRawRows({1, 2});
    m->getTableData().concealRawCols({0});
    m->setFirstRowIndex(10);
    m->setFirstColIndex(100);

    Range c = cell(1, 1);
    c.value = QStringLiteral("v");
    c.isMainCell = true;
    const Range rawCell = m->getRawRange(c);
    QCOMPARE(rawCell.indexType, RangeIndexType::Raw);
    QCOMPARE(rawCell.row, 3);
    QCOMPARE(rawCell.col, 2);
    QCOMPARE(rawCell.value.toString(), QStringLiteral("v"));
    QVERIFY(rawCell.isMainCell);
    const Range userCell = m->getUserRange(c);
    QCOMPARE(userCell.row, 13);
    QCOMPARE(userCell.col, 102);
    QCOMPARE(m->getModelRange(userCell).row, 1);
    QCOMPARE(m->getModelRange(userCell).col, 1);

    Range r = rowRange(1);
    r.col = 1;
    const Range rawRow = m->getRawRange(r);
    QCOMPARE(rawRow.row, 3);
    QCOMPARE(rawRow.col, 1); // a Row range keeps its column
    Range k = colRange(1);
    k.row = 1;
    const Range rawCol = m->getRawRange(k);
    QCOMPARE(rawCol.col, 2);
    QCOMPARE(rawCol.row, 1); // a Col range keeps its row
    const Range rawTable = m->getRawRange(table(1, 1, 4, 4));
    QCOMPARE(rawTable.row, 1);
    QCOMPARE(rawTable.col, 1);
    QCOMPARE(rawTable.indexType, RangeIndexType::Raw);

    RangeVector list{c, r};
    list.numTableRows = 8;
    list.numTableCols = 9;
    const RangeVector user = m->getUserRange(list);
    QCOMPARE(user.size(), std::size_t(2));
    QCOMPARE(user.numTableRows, 8);
    QCOMPARE(user.numTableCols, 9);
    QCOMPARE(user[1].row, 13);
    QCOMPARE(m->getRawRange(user)[0].row, 3);
}

// Model to raw and back over random concealment, against a list of the visible raw rows.
void TestTableModel::mappingAgainstBruteForce() {
    QRandomGenerator rng(42);
    LoadedModel m = load(gridLines(300, 2));
    for (int round = 0; round < 5; ++round) {
        std::vector<int> concealed;
        for (int i = 0; i < 300; ++i) {
            if (rng.bounded(4) == 0)
                concealed.push_back(i);
        }
        m->getTableData().showAllRows();
        m->getTableData().concealRawRows(concealed);
        const int first = int(rng.bounded(5)) - 2;
        m->setFirstRowIndex(first);
        std::vector<int> visible;
        for (int i = 0; i < 300; ++i) {
            if (!std::binary_search(concealed.begin(), concealed.end(), i))
                visible.push_back(i);
        }
        QCOMPARE(m->rowCountModel(), int(visible.size()));
        for (int model = 0; model < int(visible.size()); ++model) {
            QCOMPARE(m->getRawFromModelRow(model), visible[model]);
            QCOMPARE(m->getUserFromModelRow(model), visible[model] + first);
            QCOMPARE(m->getModelFromUserRow(visible[model] + first), model);
        }
        for (const int raw : concealed)
            QCOMPARE(m->getModelFromRawRow(raw), -1);
    }
}

void TestTableModel::labels_data() {
    QTest::addColumn<bool>("letters");
    QTest::addColumn<int>("firstIndex");
    QTest::addColumn<int>("sortType");
    QTest::addColumn<int>("sortIndex");
    QTest::addColumn<Qt::Orientation>("orientation");
    QTest::addColumn<int>("section");
    QTest::addColumn<QString>("expected");
    const QString up = QStringLiteral(" \u2191");
    const QString down = QStringLiteral(" \u2193");
    // Raw row 1 and raw column 1 are concealed.
    QTest::newRow("row number") << false << 0 << 2 << -1 << Qt::Vertical << 0 << "0";
    QTest::newRow("row past concealed") << false << 0 << 2 << -1 << Qt::Vertical << 1 << "2";
    QTest::newRow("row with first index") << false << 1 << 2 << -1 << Qt::Vertical << 1 << "3";
    QTest::newRow("row ascending arrow") << false << 1 << 0 << 2 << Qt::Vertical << 1 << QString("3" + up);
    QTest::newRow("row descending arrow") << false << 0 << 1 << 2 << Qt::Vertical << 1 << QString("2" + down);
    QTest::newRow("arrow on another row") << false << 0 << 0 << 5 << Qt::Vertical << 1 << "2";
    QTest::newRow("column number") << false << 1 << 2 << -1 << Qt::Horizontal << 2 << "4";
    QTest::newRow("column letters") << true << 1 << 2 << -1 << Qt::Horizontal << 2 << "D";
    QTest::newRow("letters past Z") << true << 0 << 2 << -1 << Qt::Horizontal << 26 << "AB";
    QTest::newRow("letters with arrow") << true << 0 << 0 << 3 << Qt::Horizontal << 2 << QString("D" + up);
    QTest::newRow("column descending") << false << 0 << 1 << 0 << Qt::Horizontal << 0 << QString("0" + down);
}

void TestTableModel::labels() {
    QFETCH(bool, letters);
    QFETCH(int, firstIndex);
    QFETCH(int, sortType);
    QFETCH(int, sortIndex);
    QFETCH(Qt::Orientation, orientation);
    QFETCH(int, section);
    QFETCH(QString, expected);
    LoadedModel m = load(gridLines(40, 40));
    m->getTableData().concealRawRows({1});
    m->getTableData().concealRawCols({1});
    m->setColLetters(letters);
    m->setFirstRowIndex(firstIndex);
    m->setFirstColIndex(firstIndex);
    SortData sort;
    sort.type = static_cast<SortType>(sortType);
    sort.index = sortIndex;
    // Row labels show the sort of columns, column labels the sort of rows.
    if (orientation == Qt::Vertical) {
        sort.axis = Axis::Col;
        m->setColSortData(sort);
    } else {
        sort.axis = Axis::Row;
        m->setRowSortData(sort);
    }
    QCOMPARE(m->headerData(section, orientation, Qt::DisplayRole).toString(), expected);
    QCOMPARE(m->headerData(section, orientation, Qt::FontRole).value<QFont>().family(),
             QStringLiteral("Lucida Grande"));
    QVERIFY(!m->headerData(section, orientation, Qt::BackgroundRole).isValid());
}

void TestTableModel::headerRowsFollowConcealment() {
    LoadedModel m = load(gridLines(10, 2));
    m->getTableData().concealRawRows({1});
    m->setNumberOfHeaderRows(2); // model rows 0 and 1 are raw 0 and 2
    QCOMPARE(m->getNumHeaderRows(), 3);
    QCOMPARE(m->getNumVisibleHeaderRows(), 2);
    m->getTableData().concealRawRows({0});
    QCOMPARE(m->getNumVisibleHeaderRows(), 1);
    m->getTableData().showAllRows();
    QCOMPARE(m->getNumVisibleHeaderRows(), 3);
    m->setNumberOfHeaderRows(0);
    QCOMPARE(m->getNumHeaderRows(), 0);
    QCOMPARE(m->getNumVisibleHeaderRows(), 0);
}

void TestTableModel::settingsApply() {
    LoadedModel m = load(gridLines(60, 3));
    Settings settings;
    settings.setValue(FirstRowIndex, 1);
    settings.setValue(RepresentColumnsAsLetters, true);
    settings.setValue(HeaderRows, 2);
    settings.setValue(ShadeEveryOtherRow, true);
    m->applySettings(settings);
    settings.clear();
    // Defaults: at least 50 by 50, two buffer rows and columns.
    QCOMPARE(m->rowCount(), 62);
    QCOMPARE(m->columnCount(), 50);
    QCOMPARE(m->headerData(0, Qt::Vertical).toString(), QStringLiteral("1"));
    QCOMPARE(m->headerData(1, Qt::Horizontal).toString(), QStringLiteral("B"));
    QCOMPARE(m->getNumHeaderRows(), 2);
    QCOMPARE(m->data(m->index(3, 1), Qt::BackgroundRole).value<QBrush>().color(),
             Theme::darkTheme().CellShade1Color);
    QCOMPARE(m->getFont().pointSize(), 12);
}

void TestTableModel::populateRoundTrip() {
    LoadedModel m = load(gridLines(6, 6));
    m->getTableData().concealRawRows({2});
    Range block = table(1, 1, 3, 2);
    m->populateCellDataValues(block, true, true);
    QCOMPARE(block.tableValues.size(), std::size_t(3));
    QCOMPARE(block.tableValues[1][0].toString(), QStringLiteral("r3c1"));
    QCOMPARE(block.oldTableValues, block.tableValues);

    Range row = rowRange(4);
    row.col = 3;
    m->populateCellDataValues(row, true, false);
    QCOMPARE(row.rowColValues.size(), std::size_t(3));
    QCOMPARE(row.rowColValues[2].toString(), QStringLiteral("r5c5"));
    QVERIFY(row.oldRowColValues.empty());

    Range rawCol(2, RangeType::Col, RangeIndexType::Raw);
    m->populateCellDataValues(rawCol, true, false);
    QCOMPARE(rawCol.rowColValues.size(), std::size_t(6));
    QCOMPARE(rawCol.rowColValues[2].toString(), QStringLiteral("r2c2")); // raw reads see concealed rows

    // Write the block elsewhere, then its old values back.
    Range target = block;
    target.row = 0;
    target.col = 3;
    for (auto& line : target.oldTableValues)
        for (QVariant& v : line)
            v = QString();
    m->populateModel(target, false);
    QCOMPARE(m->getTableData().getValueRaw(0, 3).toString(), QStringLiteral("r1c1"));
    QCOMPARE(m->getTableData().getValueRaw(0, 4).toString(), QStringLiteral("r1c2"));
    QCOMPARE(m->getTableData().getValueRaw(1, 3).toString(), QStringLiteral("r3c1"));
    m->populateModel(target, true);
    QCOMPARE(m->getTableData().getValueRaw(0, 3).toString(), QString());

    // A user-index cell is converted first; a Table range keeps its numbers as they are.
    m->setFirstRowIndex(1);
    Range user(4, 2, RangeIndexType::User); // raw 3, model 2
    user.value = QStringLiteral("u");
    m->populateModel(user, false);
    QCOMPARE(m->getTableData().getValueRaw(3, 2).toString(), QStringLiteral("u"));

    Range single = cell(0, 0);
    single.value = QStringLiteral("new");
    m->populateModel(single, false, cell(0, 0));
    QCOMPARE(text(*m, 0, 0), QStringLiteral("r0c0"));
    m->populateModel(single, false, cell(0, 1), true);
    QCOMPARE(text(*m, 0, 0), QStringLiteral("new"));
}

void TestTableModel::populateModelGrowsTheGrid() {
    LoadedModel m = load(gridLines(3, 3));
    QAbstractItemModelTester tester(m.model.get(), QAbstractItemModelTester::FailureReportingMode::QtTest);
    Range paste = table(5, 5);
    paste.tableValues = {{QStringLiteral("a"), QStringLiteral("b")},
                         {QStringLiteral("c"), QStringLiteral("d")}};
    m->populateModel(paste, false);
    QCOMPARE(m->rowCountModel(), 7);
    QCOMPARE(m->columnCountModel(), 7);
    QCOMPARE(m->rowCount(), 7);
    QCOMPARE(text(*m, 6, 6), QStringLiteral("d"));
}

void TestTableModel::cellArraysHonourExclusions() {
    LoadedModel m = load(gridLines(4, 4));
    Range block = table(1, 1, 2, 3);
    block.excludedCols = {2};
    block.excludedCells = {{2, 3}};
    Range row = rowRange(3);
    row.excludedCols = {0};
    RangeVector ranges{row, block, cell(1, 1), cell(0, 3)};
    std::vector<RangeVector> byRows;
    m->getCellArrayByRows(byRows, ranges, false, true);
    QCOMPARE(byRows.size(), std::size_t(4));
    QCOMPARE(byRows[0].size(), std::size_t(1));
    QCOMPARE(byRows[1].size(), std::size_t(2)); // (1,1) once, (1,3)
    QCOMPARE(byRows[2].size(), std::size_t(1)); // (2,1)
    QCOMPARE(byRows[3].size(), std::size_t(3));
    QCOMPARE(byRows[1][1].col, 3);
    QCOMPARE(byRows[3][0].value.toString(), QStringLiteral("r3c1"));

    std::vector<RangeVector> byCols;
    m->getCellArrayByCols(byCols, ranges, true, true);
    QCOMPARE(byCols.size(), std::size_t(3));    // columns 1, 2, 3
    QCOMPARE(byCols[0].size(), std::size_t(3)); // rows 1, 2, 3
    QCOMPARE(byCols[0][2].oldValue.toString(), QStringLiteral("r3c1"));
    QVERIFY(!byCols[0][2].value.isValid());
    QCOMPARE(byCols[1].size(), std::size_t(1)); // (3,2): the block leaves column 2 out

    RangeVector flat;
    TableModel::convertCellArrayToCells(flat, byRows);
    QCOMPARE(flat.size(), std::size_t(7));
    std::vector<QString> values;
    m->getListOfCellValues(values, ranges);
    QCOMPARE(values.front(), QStringLiteral("r0c3"));
    QCOMPARE(values.back(), QStringLiteral("r3c3"));

    std::vector<RangeVector> runs;
    m->getCellBlockArrayHorizontal(runs, ranges);
    QCOMPARE(runs.size(), std::size_t(5)); // (0,3) | (1,1) | (1,3) | (2,1) | (3,1..3)
    m->getCellBlockArrayVertical(runs, ranges);
    QCOMPARE(runs.front().size(), std::size_t(3)); // column 1, rows 1 to 3
}

void TestTableModel::rangeShapes() {
    LoadedModel m = load(gridLines(8, 8));
    const RangeVector a{cell(1, 1), cell(1, 2), cell(2, 1)};
    const RangeVector b{cell(5, 3), cell(4, 4), cell(4, 3)};
    const RangeVector c{cell(4, 3), cell(4, 4), cell(5, 4)};
    QVERIFY(m->areRangeVectorsSameShape(a, b));
    QVERIFY(!m->areRangeVectorsSameShape(a, c));
    QVERIFY(m->areRangeVectorsSameShapeRowWise(a, c));
    QVERIFY(!m->areRangeVectorsSameShapeColWise(a, c));
    RangeVector relative;
    TableModel::getRelativeRangeVector(relative, b);
    QCOMPARE(relative[0].row, 1);
    QCOMPARE(relative[2].col, 0);
}

void TestTableModel::parseIntoMaps() {
    LoadedModel m = load({"key,value,other", "a,1,x", ",2,y", "b,3,z", "a,4,w"});
    const auto map = m->parseIntoMapStringString(0, 1, 0, true);
    QCOMPARE(map.size(), std::size_t(2));
    QCOMPARE(map.at(QStringLiteral("a")), QStringLiteral("4")); // a repeated key overwrites
    QCOMPARE(m->parseIntoMapStringString(0, 1, 0, false).size(), std::size_t(3));
    QCOMPARE(m->parseIntoHashStringString(0, 1, 0, true).value(QStringLiteral("b")), QStringLiteral("3"));
    QVERIFY(m->parseIntoMapStringString(0, 9, 0, true).empty());
    QCOMPARE(m->parseIntoMapStringString(0, 1, -1, true).size(), std::size_t(3)); // "key" too

    const auto vectors = m->parseIntoMapStringStringVector(0, {2, 1, 7}, 0);
    QCOMPARE(vectors.at(QStringLiteral("b")), (std::vector<QString>{"z", "3", ""}));
}

void TestTableModel::writeFromMapsAndCellDataVec() {
    LoadedModel m = load({"key,value", "a,1", "b,2"});
    const std::map<QString, std::vector<QString>> values{{"b", {"20", "x"}}, {"c", {"30"}}};
    const RangeVector cells = m->cellDataVecFromMapStringStringVector(values, 0, 1, 0, false);
    QCOMPARE(cells.size(), std::size_t(2));
    QCOMPARE(cells[0].row, 2);
    QCOMPARE(cells[0].oldValue.toString(), QStringLiteral("2"));
    QCOMPARE(cells[1].col, 2);
    QCOMPARE(m->cellDataVecFromMapStringStringVector(values, 0, 1, 0, true).size(), std::size_t(4));

    const std::map<QString, QString> settings{{"a", "10"}, {"d", "40"}};
    QCOMPARE(m->writeFromMapStringString(settings, 0, 1, 0, true), 3);
    QCOMPARE(text(*m, 1, 1), QStringLiteral("10"));
    QCOMPARE(text(*m, 3, 0), QStringLiteral("d"));
    QCOMPARE(text(*m, 3, 1), QStringLiteral("40"));
    QCOMPARE(m->rowCount(), 4);
    QHash<QString, QString> hash;
    hash.insert(QStringLiteral("b"), QStringLiteral("22"));
    QCOMPARE(m->writeFromHashStringString(hash, 0, 1, 0, false), 1);
    QCOMPARE(text(*m, 2, 1), QStringLiteral("22"));
}

void TestTableModel::headerRowInformation() {
    LoadedModel m = load({"title,,", "Name,Value,Extra", "Name,x,Value"});
    int headerRow = -1;
    std::vector<int> cols;
    QVERIFY(m->getHeaderRowInformation({"Value", "Name"}, headerRow, cols));
    QCOMPARE(headerRow, 1);
    QCOMPARE(cols, (std::vector<int>{1, 0}));
    QVERIFY(!m->getHeaderRowInformation({"value"}, headerRow, cols)); // case-sensitive
    QVERIFY(!m->getHeaderRowInformation({"Extra"}, headerRow, cols, 100, 2));
}

void TestTableModel::columnLabels() {
    LoadedModel m = load({"Name,Value,Extra", "a,1,x"});
    std::vector<QString> labels;
    m->getAllColumnLabels(labels);
    QCOMPARE(labels, (std::vector<QString>{"Name", "Value", "Extra"}));
    m->setNumberOfHeaderRows(0);
    m->setColLetters(true);
    m->getColumnLabels(labels, {0, 2});
    QCOMPARE(labels, (std::vector<QString>{"A", "C"}));
    m->setColLetters(false);
    m->setFirstColIndex(1);
    QString label;
    m->getColumnLabel(label, 2);
    QCOMPARE(label, QStringLiteral("3"));
    m->getColumnLabel(label, -5);
    QVERIFY(label.isEmpty());
    RangeVector selection{colRange(2), cell(0, 0)};
    selection.front().isMainCell = true;
    m->setSelection(selection, true);
    m->getSelectedColumnLabels(labels);
    QCOMPARE(labels, (std::vector<QString>{"1", "3"}));
}

void TestTableModel::columnFieldTypes() {
    LoadedModel m = load({"h,h,h,h", "1,2020-01-02 10:11:12,1,", "2.5,x,2020-13-01 10:11:12,"});
    QCOMPARE(m->evaluateColumnFieldTypes(0), 1);
    QCOMPARE(m->evaluateColumnFieldTypes(1), 2 | 4);
    QCOMPARE(m->evaluateColumnFieldTypes(2), 1 | 4);
    QCOMPARE(m->evaluateColumnFieldTypes(3), 0);
    QCOMPARE(m->evaluateColumnFieldTypes(9), 0);
}

void TestTableModel::columnAllNumbers_data() {
    QTest::addColumn<QStringList>("cells");
    QTest::addColumn<bool>("expected");
    QTest::newRow("integers") << QStringList{"1", "-2", "+3"} << true;
    QTest::newRow("decimals and exponents") << QStringList{".5", "1.25", "3e5", "-2E-3"} << true;
    QTest::newRow("empty cells are skipped") << QStringList{"1", "", "2"} << true;
    QTest::newRow("a word") << QStringList{"1", "two"} << false;
    QTest::newRow("a lone sign") << QStringList{"1", "-"} << false;
    QTest::newRow("trailing text") << QStringList{"1", "2x"} << false;
}

void TestTableModel::columnAllNumbers() {
    QFETCH(QStringList, cells);
    QFETCH(bool, expected);
    QStringList lines{"header"};
    lines << cells;
    LoadedModel m = load(lines);
    QCOMPARE(m->isColumnAllNumbers(0, false), expected);
    QCOMPARE(m->isColumnAllNumbers(0, true), expected);
    QVERIFY(!m->isColumnAllNumbers(3, false));
}

// Duplicate rows found on the worker thread, against a set of the rows seen so far.
void TestTableModel::duplicateRowsAgainstBruteForce() {
    QRandomGenerator rng(7);
    QStringList lines{"a,b,c"};
    for (int i = 0; i < 400; ++i)
        lines << QStringLiteral("%1,%2,%3").arg(rng.bounded(4)).arg(rng.bounded(3)).arg(rng.bounded(50));
    LoadedModel m = load(lines);
    m->getTableData().concealRawRows({5, 6});
    const std::vector<std::vector<int>> keySets{{0}, {0, 1}, {1, 0}, {}, {2, 9}};
    for (const auto& keys : keySets) {
        std::vector<int> cols = keys;
        if (cols.empty())
            cols = {0, 1, 2};
        cols.erase(std::remove(cols.begin(), cols.end(), 9), cols.end());
        std::set<QStringList> seen;
        std::vector<int> expected;
        for (int row = 1; row < m->rowCountModel(); ++row) {
            QStringList key;
            for (const int c : cols)
                key << text(*m, row, c);
            if (!seen.insert(key).second)
                expected.push_back(row);
        }
        QCOMPARE(m->getEdgeIndexesOfSortedColumns(keys, true), expected);
        QCOMPARE(m->getEdgeIndexesOfSortedColumns(keys, false), expected);
    }
    QCOMPARE(m->getEdgeIndexesOfSortedColumn(0, true), m->getEdgeIndexesOfSortedColumns({0}, false));
}

void TestTableModel::removeDuplicateRowsAndSubset() {
    LoadedModel m = load({"k,v,w", "a,1,p", "b,2,q", "a,3,r", "c,4,s", "b,5,t", "a,6,u"});
    std::unique_ptr<TableModel> subset(m->getModelWithColModelSubset({0, 2}));
    QVERIFY(subset);
    QCOMPARE(subset->rowCountModel(), 7);
    QCOMPARE(subset->columnCountModel(), 2);
    QCOMPARE(subset->getTableData().getValueModel(3, 1).toString(), QStringLiteral("r"));
    QCOMPARE(subset->getNumVisibleHeaderRows(), 1);
    QCOMPARE(subset->removeDuplicateRows({0}), (std::vector<int>{3, 5, 6}));
    QCOMPARE(subset->rowCountModel(), 4);
    QStringList keys;
    for (int row = 1; row < 4; ++row)
        keys << subset->getTableData().getValueModel(row, 0).toString() +
                    subset->getTableData().getValueModel(row, 1).toString();
    QCOMPARE(keys, (QStringList{"ap", "bq", "cs"}));
    // The source is untouched.
    QCOMPARE(m->rowCountModel(), 7);
}

void TestTableModel::workerCancelStopsAScan() {
    auto cancel = std::make_shared<bool>(false);
    auto mutex = std::make_shared<QMutex>();
    TableModelWorker worker(cancel, mutex);
    QSignalSpy finished(&worker, &TableModelWorker::finishedSignal);
    QSignalSpy progress(&worker, &TableModelWorker::updateProgressSignal);
    qint64 steps = 0;
    // A scan that only ends when told to: the report that falls due sees the flag.
    worker.setJob([&steps](TableModelWorker& w) {
        while (w.reportProgress(steps, 1000000))
            ++steps;
        return true;
    });
    *cancel = true;
    worker.run();
    QCOMPARE(finished.count(), 1);
    QCOMPARE(finished.first().at(0).toBool(), false);
    QCOMPARE(progress.count(), 0);
    QVERIFY(steps > 0);

    *cancel = false;
    worker.setJob([](TableModelWorker& w) { return w.reportProgress(1, 2); });
    worker.run();
    QCOMPARE(finished.count(), 2);
    QCOMPARE(finished.last().at(0).toBool(), true);

    // Through the model: a scan run on the worker thread after a cancel starts afresh.
    LoadedModel m = load(gridLines(50, 2));
    QVERIFY(m->getWorker());
    QCOMPARE(m->getWorker()->thread(), QThread::currentThread()); // no thread before the first scan
    m->cancelWorker();
    QCOMPARE(m->getEdgeIndexesOfSortedColumns({0}, true).size(), std::size_t(0));
    QVERIFY(m->getWorker());
    QVERIFY(m->getWorker()->thread() != QThread::currentThread());
}

void TestTableModel::threadedLoadSelectsFirstCell() {
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("t.csv"));
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("a,b\nc,d\n");
    file.close();
    TableModel model;
    model.setNumBufferRows(1);
    QSignalSpy finished(&model, &TableModel::loadFinishedSignal);
    QSignalSpy mainCell(&model, &TableModel::mainCellChangedSignal);
    model.loadCSV(path, true, TableData::Editable, QStringLiteral(","), QStringLiteral(","), UTF_8, RFC_4180);
    QVERIFY(finished.wait(5000));
    QCOMPARE(model.getMainCell().row, 0);
    QCOMPARE(model.getMainCell().col, 0);
    QCOMPARE(model.rowCount(), 3);
    QVERIFY(mainCell.count() >= 1);
    QCOMPARE(mainCell.last().at(0).value<Range>().value.toString(), QStringLiteral("a"));
    QCOMPARE(model.getTableName(), QStringLiteral("t.csv"));
}

QTEST_MAIN(TestTableModel)
#include "tst_tablemodel.moc"
