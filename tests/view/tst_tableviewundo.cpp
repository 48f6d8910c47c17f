// The view's undo stack: the saved state and the modified mark, read-only tables, saving
// after each edit, and the array and middle-button drags as single undo steps.

#include "viewfixture.h"

#include <QProgressDialog>
#include <QPushButton>
#include <QTimer>
#include <QUndoStack>

#include <thread>

using namespace ViewFixture;
using Fixture::cell;
using Fixture::text;

class TestTableViewUndo : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }
    void undoToSavedStateClearsModifiedMark();
    void readOnlySwitchClearsStackAndRefusesCommands();
    void saveAfterEachEditWritesFileAndMarksClean();
    void arrayDragIsOneUndoStep();
    void middleButtonDragIsOneUndoStep();
    void reloadDropsHistory();
    void operations_data();
    void operations();
    void duplicateCellContentsTo();
    void longWriteKeepsTheWindowGoing();
    void longUndoSaysSoWithoutCancel();
};

void TestTableViewUndo::undoToSavedStateClearsModifiedMark() {
    ShownTable t = makeTable(Fixture::gridLines(4, 3));
    QSignalSpy spy(t.view.get(), &TableView::undoStackCleanChangedSignal);
    QVERIFY(t.view->insertRows({1}, 1, false));
    QVERIFY(t.view->moveRowsRelative(1, {0}));
    QCOMPARE(spy.count(), 1);
    QCOMPARE(spy.last().at(0).toBool(), false);
    t.view->onTableSavedOrLoaded(); // saved after two steps
    QCOMPARE(spy.last().at(0).toBool(), true);
    t.view->undo();
    QCOMPARE(spy.last().at(0).toBool(), false);
    t.view->redo();
    QCOMPARE(spy.last().at(0).toBool(), true);
    QCOMPARE(t.model->rowCountRaw(), 5);
}

void TestTableViewUndo::readOnlySwitchClearsStackAndRefusesCommands() {
    ShownTable t = makeTable(Fixture::gridLines(3, 3));
    QVERIFY(t.view->duplicateRows(1, true, {0}));
    t.view->onTableSavedOrLoaded();
    QCOMPARE(t.view->undoStack()->count(), 1);
    t.view->setReadOnly(true, false);
    QCOMPARE(t.view->undoStack()->count(), 0);
    QVERIFY(!t.view->removeRows({0}));
    QVERIFY(!t.view->transposeTable());
    QCOMPARE(t.model->rowCountRaw(), 4);
}

void TestTableViewUndo::saveAfterEachEditWritesFileAndMarksClean() {
    ShownTable t = makeTable(QStringList{"a,b", "c,d"});
    t.model->setSaveAfterEachEdit(true);
    QSignalSpy spy(t.view.get(), &TableView::undoStackCleanChangedSignal);
    Range target = cell(0, 1);
    target.value = QStringLiteral("new");
    QVERIFY(t.view->setCellValues(RangeVector{target}));
    QCoreApplication::processEvents();
    QVERIFY(t.view->undoStack()->isClean());
    QFile file(t.model->getTableData().getFilepath());
    QVERIFY(file.open(QIODevice::ReadOnly));
    QVERIFY(file.readAll().startsWith("a,new"));
    file.close();
    // Undo writes the file again and stays clean with it.
    t.view->undo();
    QCoreApplication::processEvents();
    QVERIFY(file.open(QIODevice::ReadOnly));
    QVERIFY(file.readAll().startsWith("a,b"));
    QVERIFY(t.view->undoStack()->isClean());
    QCOMPARE(spy.last().at(0).toBool(), true);
}

void TestTableViewUndo::arrayDragIsOneUndoStep() {
    ShownTable t = makeTable(QStringList{"0", "1", "2", "3", "4"});
    t.view->setFreezeHeaderRows(false, false);
    t.view->selectRow(1);
    t.view->onArrayDragStart(Axis::Row, 1);
    t.view->onArrayDragStop(Axis::Row, 3);
    QCOMPARE(t.view->undoStack()->count(), 1);
    QCOMPARE(text(*t.model, 3, 0), QStringLiteral("1"));
    QCOMPARE(text(*t.model, 1, 0), QStringLiteral("2"));
    t.view->undo();
    for (int r = 0; r < 5; ++r)
        QCOMPARE(text(*t.model, r, 0), QString::number(r));
}

void TestTableViewUndo::middleButtonDragIsOneUndoStep() {
    ShownTable t = makeTable(QStringList{"5", "x"});
    t.model->setNumBufferRows(4);
    // What a drag down from the anchor leaves: values written as it went, past the data too.
    RangeVector cells;
    for (int r = 1; r <= 3; ++r) {
        Range c = cell(r, 0);
        c.oldValue = t.model->getTableData().getValueModel(r, 0);
        c.value = QString::number(5 + r);
        t.model->setData(t.model->index(r, 0), c.value);
        cells.push_back(c);
    }
    QCOMPARE(t.model->rowCountRaw(), 4);
    t.view->commitMiddleButtonDrag(cells);
    QCOMPARE(t.view->undoStack()->count(), 1);
    QCOMPARE(text(*t.model, 3, 0), QStringLiteral("8"));
    t.view->undo();
    QCOMPARE(t.model->rowCountRaw(), 2);
    QCOMPARE(text(*t.model, 1, 0), QStringLiteral("x"));
    t.view->redo();
    QCOMPARE(t.model->rowCountRaw(), 4);
}

void TestTableViewUndo::reloadDropsHistory() {
    ShownTable t = makeTable(QStringList{"a,b", "c,d"});
    QVERIFY(t.view->removeRows({0}));
    QSignalSpy spy(t.view.get(), &TableView::undoStackCleanChangedSignal);
    t.view->reloadFile();
    QCOMPARE(t.view->undoStack()->count(), 0);
    QVERIFY(t.view->undoStack()->isClean());
    QVERIFY(!spy.isEmpty());
    QCOMPARE(spy.last().at(0).toBool(), true);
    QVERIFY(!t.view->isModified());
    QCOMPARE(t.model->rowCountRaw(), 2);
    QCOMPARE(text(*t.model, 0, 0), QStringLiteral("a"));
}

void TestTableViewUndo::operations_data() {
    QTest::addColumn<int>("operation");
    QTest::addColumn<int>("rawRows");
    QTest::addColumn<int>("rawCols");
    QTest::addColumn<QString>("topLeft");
    QTest::newRow("insert cols") << 0 << 3 << 4 << "r0c0";
    QTest::newRow("remove cols") << 1 << 3 << 2 << "r0c1";
    QTest::newRow("duplicate cols") << 2 << 3 << 4 << "r0c0";
    QTest::newRow("move cols") << 3 << 3 << 3 << "r0c1";
    QTest::newRow("transpose") << 4 << 3 << 3 << "r0c0";
    QTest::newRow("move cell right") << 5 << 3 << 3 << "r0c1";
    QTest::newRow("duplicate cell down") << 6 << 3 << 3 << "r0c0";
    QTest::newRow("move cols absolute") << 7 << 3 << 3 << "r0c1";
}

void TestTableViewUndo::operations() {
    QFETCH(int, operation);
    QFETCH(int, rawRows);
    QFETCH(int, rawCols);
    QFETCH(QString, topLeft);
    ShownTable t = makeTable(Fixture::gridLines(3, 3));
    Range start = cell(0, 0);
    t.model->setSelection(start);
    bool pushed = false;
    switch (operation) {
    case 0:
        pushed = t.view->insertCols({}, 1, true);
        break;
    case 1:
        pushed = t.view->removeCols();
        break;
    case 2:
        pushed = t.view->duplicateCols(1, true);
        break;
    case 3:
        pushed = t.view->moveColsRelative(1);
        break;
    case 4:
        pushed = t.view->transposeTable();
        break;
    case 5:
        pushed = t.view->moveCellContents(0, 1);
        break;
    case 6:
        pushed = t.view->duplicateCellContents(Direction::Down);
        break;
    default:
        pushed = t.view->moveColsAbsolute(2);
        break;
    }
    QVERIFY(pushed);
    QCOMPARE(t.model->rowCountRaw(), rawRows);
    QCOMPARE(t.model->columnCountRaw(), rawCols);
    QCOMPARE(text(*t.model, 0, 0), topLeft);
    t.view->undo();
    QCOMPARE(t.model->columnCountRaw(), 3);
    QCOMPARE(text(*t.model, 0, 0), QStringLiteral("r0c0"));
    QCOMPARE(text(*t.model, 1, 0), QStringLiteral("r1c0"));
    QCOMPARE(text(*t.model, 0, 1), QStringLiteral("r0c1"));
}

// The copy lands with the main cell on the place given, past the data too, and is selected;
// the originals and the gaps of a scattered selection stay; one undo step takes it all back.
void TestTableViewUndo::duplicateCellContentsTo() {
    ShownTable t = makeTable(Fixture::gridLines(3, 3));
    Range block = Fixture::table(0, 1, 1, 2); // r0c1 r0c2 / r1c1 r1c2, main cell at its bottom right
    block.isMainCell = true;
    block.mainCellRow = 1;
    block.mainCellCol = 2;
    RangeVector selection{block, cell(2, 0)};
    t.model->setSelection(selection);
    const RangeVector before = t.model->getSelection();
    QVERIFY(t.view->duplicateCellContentsTo(3, 4));
    QCOMPARE(t.view->undoStack()->count(), 1);
    QCOMPARE(texts(*t.model, {{2, 3}, {2, 4}, {3, 3}, {3, 4}, {4, 2}}),
             QStringLiteral("r0c1|r0c2|r1c1|r1c2|r2c0"));
    QCOMPARE(texts(*t.model, {{0, 1}, {1, 2}, {2, 0}, {4, 3}, {3, 2}}), QStringLiteral("r0c1|r1c2|r2c0||"));
    QCOMPARE(t.model->rowCountRaw(), 5);
    QCOMPARE(t.model->columnCountRaw(), 5);
    QCOMPARE(mainCell(*t.model), QStringLiteral("3,4"));
    QVERIFY(t.model->cellInSelection(4, 2));
    QVERIFY(!t.model->cellInSelection(4, 3));
    t.view->undo();
    QCOMPARE(t.model->rowCountRaw(), 3);
    QCOMPARE(t.model->columnCountRaw(), 3);
    QCOMPARE(t.model->getSelection(), before);
    // A copy that would fall off the top or the left is refused, and so is the place it stands on.
    QVERIFY(!t.view->duplicateCellContentsTo(0, 2));
    QVERIFY(!t.view->duplicateCellContentsTo(1, 2));
    QCOMPARE(t.view->undoStack()->count(), 1);
    QCOMPARE(t.view->undoStack()->index(), 0);
}

// A write of millions of cells runs on the window's thread; past a moment its progress dialog
// shows and the window paints and runs its timers between reports, while the model counts as
// busy so that nothing closes the table or reloads its file under the write.
void TestTableViewUndo::longWriteKeepsTheWindowGoing() {
    ShownTable t = makeTable(Fixture::gridLines(3, 3));
    constexpr int rows = 20000;
    constexpr int cols = int(TableModel::kLongWriteCells / rows);
    const QByteArray word("w");
    bool busyInside = false;
    bool dialogShown = false;
    bool timerFired = false;
    QTimer::singleShot(200, t.view.get(), [&] { timerFired = true; });
    QElapsedTimer clock;
    clock.start();
    t.model->populateModelUtf8(0, 0, rows, cols, [&](int r, std::vector<std::string_view>& texts) {
        // Slow rows: the write lasts about a second.
        while (clock.elapsed() < qint64(r) * 1000 / rows)
            std::this_thread::sleep_for(std::chrono::microseconds(200));
        busyInside = busyInside || t.model->isWorkerBusy();
        if (auto* dialog = t.view->findChild<QProgressDialog*>(QStringLiteral("writeProgressDialog")))
            dialogShown = dialogShown || dialog->isVisible();
        texts.assign(std::size_t(cols), std::string_view(word.data(), std::size_t(word.size())));
    });
    QVERIFY(busyInside);
    QVERIFY(dialogShown);
    QVERIFY(timerFired);
    QVERIFY(!t.model->isWorkerBusy());
    QVERIFY(!t.view->findChild<QProgressDialog*>(QStringLiteral("writeProgressDialog")));
    QCOMPARE(t.model->rowCountRaw(), rows);
    QCOMPARE(t.model->getTableData().getValueModel(rows - 1, cols - 1).toString(), QStringLiteral("w"));
}

// Undo of a large clear is labelled as undo, without a Cancel that couldn't stop it halfway, and
// brings every cell back.
void TestTableViewUndo::longUndoSaysSoWithoutCancel() {
    constexpr int rows = 110000;
    constexpr int cols = 10;
    ShownTable t = makeTable({}, 800, 600, rows, cols);
    Range all(RangeType::Table, RangeIndexType::Model);
    t.model->setSelection(all);
    QString label;
    bool withCancel = true;
    QObject::connect(t.model.get(), &TableModel::longWriteSignal, t.view.get(), [&](bool started) {
        auto* dialog = t.view->findChild<QProgressDialog*>(QStringLiteral("writeProgressDialog"));
        if (!started || !dialog)
            return;
        label = dialog->labelText();
        withCancel = dialog->findChild<QPushButton*>() != nullptr;
    });
    t.view->clearCellContents();
    QCOMPARE(label, QStringLiteral("Clearing cells..."));
    QCOMPARE(t.model->getTableData().getValueModel(rows - 1, cols - 1).toString(), QString());
    label.clear();
    t.view->undo();
    QCOMPARE(label, QStringLiteral("Undoing..."));
    QVERIFY(!withCancel);
    QCOMPARE(t.model->getTableData().getValueModel(rows - 1, cols - 1).toString(), QString::number(rows - 1));
    label.clear();
    t.view->redo();
    QCOMPARE(label, QStringLiteral("Redoing..."));
    QVERIFY(!t.model->isWorkerBusy());
    // A column inserted into a million cells rebuilds every row, and says so as well.
    t.view->undo();
    label.clear();
    QVERIFY(t.view->insertCols({0}, 1, false));
    QCOMPARE(label, QStringLiteral("Changing the table..."));
    QCOMPARE(t.model->getTableData().getValueModel(rows - 1, cols).toString(), QString::number(rows - 1));
    QCOMPARE(t.model->getTableData().getValueModel(rows - 1, 0).toString(), QString());
    label.clear();
    t.view->undo();
    QCOMPARE(label, QStringLiteral("Undoing..."));
    QCOMPARE(t.model->getTableData().getValueModel(rows - 1, 0).toString(), QString::number(rows - 1));
}

QTEST_MAIN(TestTableViewUndo)
#include "tst_tableviewundo.moc"
