// In-cell editing of a table view on its own: when a QuickEdit opens and when the large-cell
// question comes instead, typing over selections, the keys that end an edit, deletion, the
// read-only state, and the undo step that every edit becomes.

#include "viewfixture.h"

#include "util/clipboardutilities.h"
#include "util/msgbox.h"
#include "util/msgboxanswers.h"
#include "view/frozentableview.h"
#include "view/quickedit.h"

#include <QFile>
#include <QTemporaryDir>
#include <QUndoStack>

using namespace ViewFixture;
using Fixture::cell;
using Fixture::text;

namespace {

using Answers = MsgBoxAnswers;

const QString kLargeCellQuestion = QStringLiteral("This is a large cell which can only be edited in the "
                                                  "editor pane.\nWould you like to open the editor pane?");

void select(TableModel& m, int row, int col) {
    Range c = cell(row, col);
    c.isMainCell = true;
    m.setSelection(c);
}

void selectBlock(TableModel& m, int row, int col, int endRow, int endCol) {
    Range block = Fixture::table(row, col, endRow, endCol);
    block.isMainCell = true;
    block.mainCellRow = row;
    block.mainCellCol = col;
    m.setSelection(block);
}

// Sends each character of `keys` where a user's key would go: the open editor, or the grid.
// "\t" is Tab, "\b" Backtab, "\n" Return, "\x1b" Escape.
void type(TableView* view, const QString& keys) {
    for (const QChar c : keys) {
        QWidget* target = view->getQuickEdit() ? static_cast<QWidget*>(view->getQuickEdit()) : view;
        if (c == QLatin1Char('\t'))
            QTest::keyClick(target, Qt::Key_Tab);
        else if (c == QLatin1Char('\b'))
            QTest::keyClick(target, Qt::Key_Backtab, Qt::ShiftModifier);
        else if (c == QLatin1Char('\n'))
            QTest::keyClick(target, Qt::Key_Return);
        else if (c == QChar(0x1b))
            QTest::keyClick(target, Qt::Key_Escape);
        else
            QTest::keyClick(target, c.toLatin1());
    }
}

} // namespace

class TestCellEdit : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }
    void cleanup() { MsgBox::answerHook = nullptr; }
    void sizeRule_data();
    void sizeRule();
    void typingOverSelectionIsOneUndoStep();
    void typingOverLargeCellReplacesWithoutQuestion();
    void undoneTypingKeepsRaggedRows();
    void keysEndingEdit_data();
    void keysEndingEdit();
    void appendKeepsTextAndCursorAtEnd();
    void arrowKeyCommitsAndMoves();
    void clickElsewhereCommits();
    void readOnlyIgnoresEveryAttempt();
    void deleteIsOneUndoStep_data();
    void deleteIsOneUndoStep();
    void deleteKeepsExcludedCells();
    void typingPastDataIsUndoneWithItsLines();
    void unchangedEditLeavesNoStep();
    void undoToSavedStateAfterEditIsClean();
    void contextBitsFollowEdit();
    void headerCellEditsInFrozenGrid();
    void columnGrowsWhileTyping();
    void inputMethodCommitStartsEdit();
    void rowRemovedUnderEditDropsIt();
    void viewClosedWhileEditing();
    void composingKeysAreNotTyping();
    void lineBreaksSurviveTheLineEditor();
    void newTextTheEncodingCannotWrite_data();
    void newTextTheEncodingCannotWrite();
};

// 120 characters still open in the line editor, 121 ask for the pane; the rule counts
// characters, whatever the bytes of the encoding.
void TestCellEdit::sizeRule_data() {
    QTest::addColumn<QString>("content");
    QTest::addColumn<int>("answer");
    QTest::addColumn<bool>("asked");
    QTest::addColumn<bool>("quickEdit");
    QTest::addColumn<bool>("paneRequested");
    QTest::newRow("120 ascii") << QString(120, QLatin1Char('a')) << -1 << false << true << false;
    QTest::newRow("121 ascii, don't open") << QString(121, QLatin1Char('a')) << 1 << true << false << false;
    QTest::newRow("121 ascii, open") << QString(121, QLatin1Char('a')) << 0 << true << false << true;
    QTest::newRow("box closed") << QString(500, QLatin1Char('a')) << -1 << true << false << false;
    QTest::newRow("120 two-byte") << QString(120, QChar(0xe9)) << -1 << false << true << false;
    QTest::newRow("121 two-byte") << QString(121, QChar(0xe9)) << 1 << true << false << false;
    QTest::newRow("60 three-byte") << QString(60, QChar(0x20ac)) << -1 << false << true << false;
    QTest::newRow("121 three-byte") << QString(121, QChar(0x20ac)) << 1 << true << false << false;
    QTest::newRow("empty") << QString() << -1 << false << true << false;
}

void TestCellEdit::sizeRule() {
    QFETCH(QString, content);
    QFETCH(int, answer);
    QFETCH(bool, asked);
    QFETCH(bool, quickEdit);
    QFETCH(bool, paneRequested);
    ShownTable t = makeTable(QStringList{QStringLiteral("h1,h2"), QStringLiteral("x,") + content});
    QCOMPARE(text(*t.model, 1, 1, Qt::EditRole), content);
    select(*t.model, 1, 1);
    Answers answers;
    answers.queue = {answer};
    QSignalSpy paneSpy(t.view.get(), &TableView::showEditorPaneSignal);
    QSignalSpy offCellSpy(t.view.get(), qOverload<bool, bool>(&TableView::startOffCellEditSignal));
    t.view->editMainCellAppend();
    QCOMPARE(answers.texts(), asked ? QStringList{kLargeCellQuestion} : QStringList());
    QCOMPARE(t.view->getQuickEdit() != nullptr, quickEdit);
    if (quickEdit)
        QCOMPARE(t.view->getQuickEdit()->text(), content);
    QCOMPARE(paneSpy.count(), paneRequested ? 1 : 0);
    // The pane opened by the question starts with its cursor at the front.
    QCOMPARE(offCellSpy.count(), paneRequested ? 1 : 0);
    if (paneRequested)
        QCOMPARE(offCellSpy.first().at(1).toBool(), false);
    QCOMPARE(t.view->isEditing(), quickEdit || paneRequested);
    t.view->stopEditing(true);
    QCOMPARE(text(*t.model, 1, 1, Qt::EditRole), content);
    QCOMPARE(t.view->undoStack()->count(), 0);
}

void TestCellEdit::typingOverSelectionIsOneUndoStep() {
    ShownTable t = makeTable(Fixture::gridLines(4, 4));
    selectBlock(*t.model, 1, 1, 1, 3);
    type(t.view.get(), QStringLiteral("x"));
    QVERIFY(t.view->getQuickEdit());
    // The grid follows from the first key, in every selected cell.
    QCOMPARE(texts(*t.model, {{1, 1}, {1, 2}, {1, 3}}), QStringLiteral("x|x|x"));
    type(t.view.get(), QStringLiteral("yz\n"));
    QVERIFY(!t.view->isEditing());
    QCOMPARE(texts(*t.model, {{1, 1}, {1, 2}, {1, 3}, {1, 0}, {2, 1}}),
             QStringLiteral("xyz|xyz|xyz|r1c0|r2c1"));
    QCOMPARE(t.view->undoStack()->count(), 1);
    t.view->undo();
    QCOMPARE(texts(*t.model, {{1, 1}, {1, 2}, {1, 3}}), QStringLiteral("r1c1|r1c2|r1c3"));
    t.view->redo();
    QCOMPARE(texts(*t.model, {{1, 1}, {1, 2}, {1, 3}}), QStringLiteral("xyz|xyz|xyz"));
}

// A ragged row is saved with the fields its line had until a cell of it changes; typing into
// it, undone, leaves it so, though the typed text was in the cell while it was typed.
void TestCellEdit::undoneTypingKeepsRaggedRows() {
    ShownTable t =
        makeTable(QStringList{QStringLiteral("h,a,b,c"), QStringLiteral("1,x"), QStringLiteral("4")});
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("saved.csv"));
    auto saved = [&] {
        QFile in(path);
        return t.model->saveCSV(path, false, false) && in.open(QIODevice::ReadOnly) ? in.readAll()
                                                                                    : QByteArray();
    };
    const QByteArray original = saved();
    QVERIFY(original.startsWith("h,a,b,c\n1,x\n4"));
    select(*t.model, 1, 1);
    type(t.view.get(), QStringLiteral("zz\n"));
    QVERIFY(saved().startsWith("h,a,b,c\n1,zz,,\n4"));
    t.view->undo();
    QCOMPARE(saved(), original);
    // Typing over both ragged rows at once, undone.
    selectBlock(*t.model, 1, 0, 2, 1);
    type(t.view.get(), QStringLiteral("w\n"));
    QVERIFY(saved().startsWith("h,a,b,c\nw,w,,\nw,w,,"));
    t.view->undo();
    QCOMPARE(saved(), original);
}

void TestCellEdit::typingOverLargeCellReplacesWithoutQuestion() {
    const QString large(5000, QLatin1Char('L'));
    ShownTable t = makeTable(QStringList{QStringLiteral("a,b"), QStringLiteral("c,") + large});
    select(*t.model, 1, 1);
    Answers answers;
    type(t.view.get(), QStringLiteral("q"));
    QVERIFY(answers.asked.isEmpty());
    QVERIFY(t.view->getQuickEdit());
    QCOMPARE(t.view->getQuickEdit()->text(), QStringLiteral("q"));
    type(t.view.get(), QStringLiteral("\n"));
    QCOMPARE(text(*t.model, 1, 1, Qt::EditRole), QStringLiteral("q"));
    t.view->undo();
    QCOMPARE(text(*t.model, 1, 1, Qt::EditRole), large);
}

// Keys typed from a main cell, with what the cells hold and where the main cell ends. Tab runs
// remember their first column for the Return that ends them; Backtab moves without that reset.
void TestCellEdit::keysEndingEdit_data() {
    QTest::addColumn<int>("row");
    QTest::addColumn<int>("col");
    QTest::addColumn<QString>("keys");
    QTest::addColumn<QString>("mainCell");
    QTest::addColumn<QString>("rowTexts");
    QTest::newRow("return") << 1 << 1 << "ab\n"
                            << "2,1"
                            << "r1c0|ab|r1c2|r1c3";
    QTest::newRow("escape keeps text") << 1 << 1 << "ab\x1b"
                                       << "1,1"
                                       << "r1c0|ab|r1c2|r1c3";
    QTest::newRow("tab run then return") << 1 << 0 << "a\tb\tc\n"
                                         << "2,0"
                                         << "a|b|c|r1c3";
    QTest::newRow("tab without typing") << 1 << 1 << "\t\tx\n"
                                        << "2,1"
                                        << "r1c0|r1c1|r1c2|x";
    QTest::newRow("backtab") << 1 << 2 << "a\bb\n"
                             << "2,2"
                             << "r1c0|b|a|r1c3";
    QTest::newRow("backtab at first column") << 1 << 0 << "a\b"
                                             << "1,0"
                                             << "a|r1c1|r1c2|r1c3";
}

void TestCellEdit::keysEndingEdit() {
    QFETCH(int, row);
    QFETCH(int, col);
    QFETCH(QString, keys);
    QFETCH(QString, mainCell);
    QFETCH(QString, rowTexts);
    ShownTable t = makeTable(Fixture::gridLines(4, 4));
    select(*t.model, row, col);
    type(t.view.get(), keys);
    QVERIFY(!t.view->isEditing());
    QCOMPARE(ViewFixture::mainCell(*t.model), mainCell);
    QCOMPARE(texts(*t.model, {{1, 0}, {1, 1}, {1, 2}, {1, 3}}), rowTexts);
    QCOMPARE(texts(*t.model, {{2, 0}, {2, 1}, {2, 2}, {2, 3}}), QStringLiteral("r2c0|r2c1|r2c2|r2c3"));
}

void TestCellEdit::appendKeepsTextAndCursorAtEnd() {
    ShownTable t = makeTable(Fixture::gridLines(4, 3));
    select(*t.model, 2, 1);
    t.view->editMainCellAppend();
    QuickEdit* editor = t.view->getQuickEdit();
    QVERIFY(editor);
    QCOMPARE(editor->text(), QStringLiteral("r2c1"));
    QVERIFY(!editor->hasSelectedText());
    QCOMPARE(editor->cursorPosition(), 4);
    QTest::keyClicks(editor, QStringLiteral("+"));
    QCOMPARE(text(*t.model, 2, 1, Qt::EditRole), QStringLiteral("r2c1+"));
    QTest::keyClick(editor, Qt::Key_Enter, Qt::KeypadModifier);
    QCOMPARE(text(*t.model, 2, 1, Qt::EditRole), QStringLiteral("r2c1+"));
    QCOMPARE(ViewFixture::mainCell(*t.model), QStringLiteral("3,1"));
    QCOMPARE(t.view->undoStack()->count(), 1);
}

void TestCellEdit::arrowKeyCommitsAndMoves() {
    ShownTable t = makeTable(Fixture::gridLines(4, 3));
    select(*t.model, 2, 2);
    type(t.view.get(), QStringLiteral("up"));
    QTest::keyClick(t.view->getQuickEdit(), Qt::Key_Up);
    QVERIFY(!t.view->isEditing());
    QCOMPARE(text(*t.model, 2, 2, Qt::EditRole), QStringLiteral("up"));
    QCOMPARE(ViewFixture::mainCell(*t.model), QStringLiteral("1,2"));
}

void TestCellEdit::clickElsewhereCommits() {
    ShownTable t = makeTable(Fixture::gridLines(4, 3));
    select(*t.model, 2, 0);
    type(t.view.get(), QStringLiteral("new"));
    click(t.view.get(), 3, 2);
    QVERIFY(!t.view->isEditing());
    QVERIFY(!t.view->getQuickEdit());
    QCOMPARE(text(*t.model, 2, 0, Qt::EditRole), QStringLiteral("new"));
    QCOMPARE(ViewFixture::mainCell(*t.model), QStringLiteral("3,2"));
    QCOMPARE(t.view->undoStack()->count(), 1);
}

void TestCellEdit::readOnlyIgnoresEveryAttempt() {
    ShownTable t = makeTable(Fixture::gridLines(3, 3));
    t.view->setReadOnly(true, false);
    selectBlock(*t.model, 1, 0, 2, 2);
    Answers answers;
    QTest::keyClick(t.view.get(), Qt::Key_A);
    t.view->editMainCellAppend();
    t.view->clearCellContents();
    QTest::mouseDClick(t.view->viewport(), Qt::LeftButton, {}, cellCenter(t.view.get(), 1, 1));
    t.view->startEditing(true, true);
    t.view->deleteCells();
    QVERIFY(!t.view->isEditing());
    QVERIFY(!t.view->getQuickEdit());
    QVERIFY(!(t.view->getContext().intersects(ContextEditing)));
    QVERIFY(answers.asked.isEmpty());
    QCOMPARE(t.view->undoStack()->count(), 0);
    QCOMPARE(texts(*t.model, {{1, 0}, {1, 1}, {2, 2}}), QStringLiteral("r1c0|r1c1|r2c2"));
}

void TestCellEdit::deleteIsOneUndoStep_data() {
    QTest::addColumn<int>("rows");
    QTest::addColumn<int>("cols");
    QTest::newRow("a thousand cells") << 40 << 25;
    // Past the size from which the cells are emptied on the worker behind a progress dialog.
    QTest::newRow("120,000 cells") << 400 << 300;
}

void TestCellEdit::deleteIsOneUndoStep() {
    QFETCH(int, rows);
    QFETCH(int, cols);
    ShownTable t = makeTable(Fixture::gridLines(rows + 1, cols));
    selectBlock(*t.model, 1, 0, rows, cols - 1);
    t.view->deleteCells();
    QCOMPARE(t.view->undoStack()->count(), 1);
    int filled = 0;
    for (int r = 1; r <= rows; ++r)
        for (int c = 0; c < cols; ++c)
            filled += text(*t.model, r, c, Qt::EditRole).isEmpty() ? 0 : 1;
    QCOMPARE(filled, 0);
    QCOMPARE(text(*t.model, 0, 3, Qt::EditRole), QStringLiteral("r0c3"));
    t.view->undo();
    for (int r = 1; r <= rows; ++r)
        for (int c = 0; c < cols; ++c)
            QCOMPARE(text(*t.model, r, c, Qt::EditRole), QStringLiteral("r%1c%2").arg(r).arg(c));
    // A second press over nothing but empty cells changes nothing and adds no step.
    t.view->redo();
    t.view->deleteCells();
    QCOMPARE(t.view->undoStack()->count(), 1);
}

void TestCellEdit::deleteKeepsExcludedCells() {
    ShownTable t = makeTable(Fixture::gridLines(3, 3));
    selectBlock(*t.model, 0, 0, 2, 2);
    t.model->removeCellFromSelection(1, 1);
    QVERIFY(!t.model->cellInSelection(1, 1));
    t.view->deleteCells();
    QCOMPARE(texts(*t.model, {{0, 0}, {1, 1}, {2, 2}, {1, 0}}), QStringLiteral("|r1c1||"));
}

void TestCellEdit::typingPastDataIsUndoneWithItsLines() {
    ShownTable t = makeTable(Fixture::gridLines(3, 2));
    t.model->setNumBufferRows(3);
    t.model->setNumBufferCols(3);
    t.model->enforceTableSize();
    const int rows = t.model->rowCountRaw();
    const int cols = t.model->columnCountRaw();
    QVERIFY(t.model->rowCount() > rows + 1 && t.model->columnCount() > cols + 1);
    select(*t.model, rows + 1, cols + 1);
    type(t.view.get(), QStringLiteral("far\n"));
    QCOMPARE(t.model->rowCountRaw(), rows + 2);
    QCOMPARE(t.model->columnCountRaw(), cols + 2);
    QCOMPARE(text(*t.model, rows + 1, cols + 1, Qt::EditRole), QStringLiteral("far"));
    t.view->undo();
    QCOMPARE(t.model->rowCountRaw(), rows);
    QCOMPARE(t.model->columnCountRaw(), cols);
    t.view->redo();
    QCOMPARE(text(*t.model, rows + 1, cols + 1, Qt::EditRole), QStringLiteral("far"));
}

void TestCellEdit::unchangedEditLeavesNoStep() {
    ShownTable t = makeTable(Fixture::gridLines(3, 3));
    select(*t.model, 1, 1);
    t.view->editMainCellAppend();
    QVERIFY(t.view->getQuickEdit());
    QTest::keyClick(t.view->getQuickEdit(), Qt::Key_Escape);
    QCOMPARE(t.view->undoStack()->count(), 0);
    QVERIFY(!t.view->isModified());
    // Typed and taken back to the same text: still nothing.
    type(t.view.get(), QStringLiteral("r1c1\n"));
    QCOMPARE(t.view->undoStack()->count(), 0);
}

void TestCellEdit::undoToSavedStateAfterEditIsClean() {
    ShownTable t = makeTable(Fixture::gridLines(3, 3));
    QVERIFY(!t.view->isModified());
    select(*t.model, 1, 1);
    type(t.view.get(), QStringLiteral("dirty\n"));
    QVERIFY(t.view->isModified());
    t.view->undo();
    QVERIFY(!t.view->isModified());
}

void TestCellEdit::contextBitsFollowEdit() {
    ShownTable t = makeTable(Fixture::gridLines(3, 3));
    QSignalSpy added(t.view.get(), &TableView::addContextSignal);
    QVERIFY(t.view->getContext().intersects(ContextNotEditing));
    select(*t.model, 0, 0);
    type(t.view.get(), QStringLiteral("a"));
    QCOMPARE(t.view->getContext() & (ContextEditing | ContextNotEditing), Context(ContextEditing));
    QCOMPARE(added.last().at(0).value<Context>(), Context(ContextEditing));
    type(t.view.get(), QStringLiteral("\x1b"));
    QCOMPARE(t.view->getContext() & (ContextEditing | ContextNotEditing), Context(ContextNotEditing));
    QCOMPARE(added.last().at(0).value<Context>(), Context(ContextNotEditing));
}

void TestCellEdit::headerCellEditsInFrozenGrid() {
    ShownTable t = makeTable(Fixture::gridLines(4, 3));
    QVERIFY(t.view->frozenView(1)->isVisible());
    select(*t.model, 0, 1);
    type(t.view.get(), QStringLiteral("H"));
    QVERIFY(t.view->getQuickEdit());
    QCOMPARE(t.view->getQuickEdit()->parentWidget(), t.view->frozenView(1)->viewport());
    // Header cells edit in the bold header font.
    QVERIFY(t.view->getQuickEdit()->font().bold());
    type(t.view.get(), QStringLiteral("\n"));
    QCOMPARE(text(*t.model, 0, 1, Qt::EditRole), QStringLiteral("H"));
}

void TestCellEdit::columnGrowsWhileTyping() {
    ShownTable t = makeTable(Fixture::gridLines(3, 3));
    t.view->setAutoFitColWidth(true);
    select(*t.model, 1, 1);
    const int before = t.view->columnWidth(1);
    type(t.view.get(), QString(60, QLatin1Char('w')));
    const int during = t.view->columnWidth(1);
    QVERIFY2(during > before, qPrintable(QStringLiteral("%1 -> %2").arg(before).arg(during)));
    // Taking the text back does not shrink it during the edit; the end of the edit fits again.
    for (int i = 0; i < 58; ++i)
        QTest::keyClick(t.view->getQuickEdit(), Qt::Key_Backspace);
    QCOMPARE(t.view->columnWidth(1), during);
    type(t.view.get(), QStringLiteral("\n"));
    QVERIFY(t.view->columnWidth(1) < during);
}

void TestCellEdit::inputMethodCommitStartsEdit() {
    ShownTable t = makeTable(Fixture::gridLines(3, 3));
    select(*t.model, 1, 2);
    QInputMethodEvent preedit(QStringLiteral("ni"), {});
    QApplication::sendEvent(t.view.get(), &preedit);
    QCOMPARE(t.view->getPreeditText(), QStringLiteral("ni"));
    QVERIFY(!t.view->isEditing());
    QInputMethodEvent commit;
    commit.setCommitString(QStringLiteral("你"));
    QApplication::sendEvent(t.view.get(), &commit);
    QVERIFY(t.view->getPreeditText().isEmpty());
    QVERIFY(t.view->getQuickEdit());
    QCOMPARE(text(*t.model, 1, 2, Qt::EditRole), QStringLiteral("你"));
    type(t.view.get(), QStringLiteral("\n"));
    QCOMPARE(text(*t.model, 1, 2, Qt::EditRole), QStringLiteral("你"));
    QCOMPARE(t.view->undoStack()->count(), 1);
}

// Qt closes the editor of a row that goes; the edit goes with it and writes nowhere.
void TestCellEdit::rowRemovedUnderEditDropsIt() {
    ShownTable t = makeTable(Fixture::gridLines(5, 3));
    select(*t.model, 2, 1);
    type(t.view.get(), QStringLiteral("gone"));
    QVERIFY(t.view->isEditing());
    QVERIFY(t.model->removeRows(2, 1));
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QVERIFY(!t.view->isEditing());
    QVERIFY(t.view->getContext().intersects(ContextNotEditing));
    QCOMPARE(t.view->undoStack()->count(), 0);
    QCOMPARE(texts(*t.model, {{2, 1}, {1, 1}}), QStringLiteral("r3c1|r1c1"));
    // The next key starts a fresh edit.
    type(t.view.get(), QStringLiteral("new\n"));
    QCOMPARE(text(*t.model, 2, 1, Qt::EditRole), QStringLiteral("new"));
    QCOMPARE(t.view->undoStack()->count(), 1);
}

// The editor and its delegate go after the view's own part: they must not reach it then.
void TestCellEdit::viewClosedWhileEditing() {
    ShownTable t = makeTable(Fixture::gridLines(3, 3));
    select(*t.model, 1, 1);
    type(t.view.get(), QStringLiteral("open"));
    QVERIFY(t.view->getQuickEdit());
    QVERIFY(t.view->getQuickEdit()->hasFocus() || !QApplication::focusWidget());
    t.view.reset();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QCOMPARE(text(*t.model, 1, 1, Qt::EditRole), QStringLiteral("open"));
}

// Keys that an input method sends while it composes carry text but are not typing: over a
// large cell they ask like F2 does, and inside a line editor they change nothing.
void TestCellEdit::composingKeysAreNotTyping() {
    ShownTable t =
        makeTable(QStringList{QStringLiteral("a,b"), QStringLiteral("c,") + QString(200, QLatin1Char('L'))});
    select(*t.model, 1, 1);
    Answers answers;
    answers.queue = {1};
    QKeyEvent composing(QEvent::KeyPress, Qt::Key_A, Qt::NoModifier, QuickEdit::kImeScanCode, 0, 0,
                        QStringLiteral("a"));
    QApplication::sendEvent(t.view.get(), &composing);
    QCOMPARE(answers.texts(), QStringList{kLargeCellQuestion});
    QVERIFY(!t.view->isEditing());

    select(*t.model, 1, 0);
    type(t.view.get(), QStringLiteral("x"));
    QVERIFY(t.view->getQuickEdit());
    QKeyEvent inEditor(QEvent::KeyPress, Qt::Key_B, Qt::NoModifier, QuickEdit::kImeScanCode, 0, 0,
                       QStringLiteral("b"));
    QApplication::sendEvent(t.view->getQuickEdit(), &inEditor);
    QVERIFY(inEditor.isAccepted());
    QCOMPARE(t.view->getQuickEdit()->text(), QStringLiteral("x"));
}

void TestCellEdit::lineBreaksSurviveTheLineEditor() {
    ShownTable t = makeTable(QStringList{QStringLiteral("a,b"), QStringLiteral("\"one\r\ntwo\",x")});
    QCOMPARE(text(*t.model, 1, 0, Qt::EditRole), QStringLiteral("one\r\ntwo"));
    select(*t.model, 1, 0);
    // A one-line editor would show only the end of the text: editing the cell offers the pane
    // instead, and declining leaves the cell as it was.
    Answers answers;
    answers.queue = {1};
    t.view->editMainCellAppend();
    QCOMPARE(answers.asked.size(), 1);
    QVERIFY(!t.view->getQuickEdit());
    QCOMPARE(text(*t.model, 1, 0, Qt::EditRole), QStringLiteral("one\r\ntwo"));
    // Typing over the cell replaces its lines, in the line editor.
    QTest::keyClick(t.view.get(), Qt::Key_Z);
    QVERIFY(t.view->getQuickEdit());
    QCOMPARE(answers.asked.size(), 1);
}

// Typed or pasted characters that the file's encoding has no codes for: the user is asked before
// they go in, and either the file is written in UTF-8 from then on, the text kept as it came, or
// they become "?" as the encoding writes them. Characters it can write ask nothing.
void TestCellEdit::newTextTheEncodingCannotWrite_data() {
    QTest::addColumn<bool>("paste");
    QTest::addColumn<int>("answer");
    QTest::addColumn<QString>("stored");
    QTest::addColumn<int>("encoding");
    for (const bool paste : {false, true}) {
        const QByteArray how = paste ? "pasted, " : "typed, ";
        QTest::newRow(how + "change to UTF-8")
            << paste << 0 << QStringLiteral("\u0141\u00f3d\u017a \u65e5") << int(UTF_8);
        QTest::newRow(how + "keep the encoding")
            << paste << 1 << QStringLiteral("?\u00f3d? ?") << int(WINDOWS_1252);
    }
}

void TestCellEdit::newTextTheEncodingCannotWrite() {
    QFETCH(bool, paste);
    QFETCH(int, answer);
    QFETCH(QString, stored);
    QFETCH(int, encoding);
    ShownTable t = makeTable(Fixture::gridLines(3, 3));
    QVERIFY(t.view->setEncodingForFileSave(WINDOWS_1252));
    t.view->undoStack()->clear();
    Answers answers;
    answers.queue = {answer};
    const auto typeText = [&](int row, int col, const QString& text) {
        select(*t.model, row, col);
        if (paste) {
            Utilities::TextBlock block;
            Utilities::parseCsvBlock(text.toUtf8(), block, ',', true);
            QVERIFY(t.view->pasteBlock(std::move(block)));
            return;
        }
        QInputMethodEvent commit;
        commit.setCommitString(text);
        QApplication::sendEvent(t.view.get(), &commit);
        type(t.view.get(), QStringLiteral("\n"));
    };
    typeText(1, 2, QStringLiteral("\u0141\u00f3d\u017a \u65e5"));
    QCOMPARE(answers.asked.size(), 1);
    QCOMPARE(text(*t.model, 1, 2, Qt::EditRole), stored);
    QCOMPARE(int(t.model->getTableData().getEncoding()), encoding);
    typeText(2, 2, QStringLiteral("\u00e9t\u00e9"));
    QCOMPARE(answers.asked.size(), 1);
    QCOMPARE(text(*t.model, 2, 2, Qt::EditRole), QStringLiteral("\u00e9t\u00e9"));
    // Undo takes back the edits, then the change of encoding.
    while (t.view->undoStack()->canUndo())
        t.view->undo();
    QCOMPARE(text(*t.model, 1, 2, Qt::EditRole), QStringLiteral("r1c2"));
    QCOMPARE(int(t.model->getTableData().getEncoding()), int(WINDOWS_1252));
}

QTEST_MAIN(TestCellEdit)
#include "tst_celledit.moc"
