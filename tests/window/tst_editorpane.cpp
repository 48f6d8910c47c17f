// The editor pane in a whole window: what it shows of the main cell, the chunked fill of huge
// cells and its generations, edits that start in the pane or reach it from the grid, its keys,
// and the context bit of a shown pane.

#include "window/mainwindow.h"

#include "table/tablemodel.h"
#include "util/msgbox.h"
#include "util/msgboxanswers.h"
#include "view/editorpane.h"
#include "view/quickedit.h"
#include "view/tableview.h"
#include "window/paneview.h"

#include <QDir>
#include <QFile>
#include <QScrollBar>
#include <QSplitter>
#include <QSplitterHandle>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <QUndoStack>

namespace {

using Answers = MsgBoxAnswers;

QString cellText(TableView* view, int row, int col) {
    return view->tableModel()->getTableData().getValueModel(row, col).toString();
}

void select(TableView* view, int row, int col) {
    Range cell(row, col, RangeIndexType::Model);
    cell.isMainCell = true;
    view->tableModel()->setSelection(cell);
}

// A text of `length` characters in lines, distinct per `seed`, so that a mix-up shows.
QString hugeText(int length, int seed) {
    QString text;
    text.reserve(length);
    int line = 0;
    while (text.size() < length) {
        text += QStringLiteral("cell %1 line %2 ").arg(seed).arg(line++);
        text += QString(40, QChar(QLatin1Char(static_cast<char>('a' + seed % 26))));
        text += QLatin1Char('\n');
    }
    text.truncate(length);
    return text;
}

QByteArray quoted(const QString& text) {
    QString escaped = text;
    escaped.replace(QLatin1Char('"'), QStringLiteral("\"\""));
    return QByteArray("\"") + escaped.toUtf8() + "\"";
}

// The fill begins from the event loop; one pass starts it, then its chunks run to the end.
bool waitForFill(PaneView* pane) {
    QCoreApplication::processEvents();
    return QTest::qWaitFor([pane] { return !pane->isEditorPaneUpdateRunning(); }, 5000);
}

} // namespace

class TestEditorPane : public QObject {
    Q_OBJECT

private:
    QTemporaryDir dir;
    std::unique_ptr<MainWindow> window;
    TableView* view = nullptr;
    PaneView* pane = nullptr;
    EditorPane* editor = nullptr;
    int fileCount = 0;

    void open(const QByteArray& content) {
        const QString path = dir.filePath(QStringLiteral("t%1.csv").arg(++fileCount));
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(content);
        file.close();
        window = std::make_unique<MainWindow>();
        window->setAttribute(Qt::WA_DeleteOnClose, false);
        window->resize(1000, 700);
        window->show();
        QVERIFY(QTest::qWaitForWindowExposed(window.get()));
        QVERIFY(window->openFiles({path}));
        view = window->getActiveTable();
        QVERIFY(view);
        pane = window->getPaneView();
        editor = pane->getEditorPane();
        QVERIFY(editor);
        window->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(window.get()));
    }

    void showPane() {
        window->showEditorPane(true, false);
        QCoreApplication::processEvents();
        QVERIFY(waitForFill(pane));
    }

private slots:
    void initTestCase() {
        QStandardPaths::setTestModeEnabled(true);
        QVERIFY(dir.isValid());
    }
    void cleanup() {
        MsgBox::answerHook = nullptr;
        if (window)
            window->getSettings().setValue(EditorPaneConsumeNavigation, true);
        window.reset();
    }

    void paneShowsMainCellAndContextBit() {
        open("a,b\nc,\"two\nlines\"\n");
        QVERIFY(!(window->getContext().intersects(ContextEditorPaneShown)));
        showPane();
        QVERIFY(window->getContext().intersects(ContextEditorPaneShown));
        QVERIFY(view->getContext().intersects(ContextEditorPaneShown));
        select(view, 1, 1);
        QVERIFY(waitForFill(pane));
        QCOMPARE(editor->toPlainText(), QStringLiteral("two\nlines"));
        window->showEditorPane(false, false);
        QVERIFY(!(window->getContext().intersects(ContextEditorPaneShown)));
        QVERIFY(!(view->getContext().intersects(ContextEditorPaneShown)));
    }

    // A drag of the splitter handle down to nothing hides the pane for the commands too.
    void handleDragTracksContextBit() {
        open("a,b\n");
        showPane();
        QSplitter* splitter = pane->getSplitter();
        splitter->setSizes({splitter->height(), 0});
        QMouseEvent release(QEvent::MouseButtonRelease, QPointF(1, 1), QPointF(1, 1), Qt::LeftButton,
                            Qt::NoButton, Qt::NoModifier);
        QApplication::sendEvent(splitter->handle(1), &release);
        QVERIFY(!(window->getContext().intersects(ContextEditorPaneShown)));
        splitter->setSizes({splitter->height() - 150, 150});
        QApplication::sendEvent(splitter->handle(1), &release);
        QVERIFY(window->getContext().intersects(ContextEditorPaneShown));
        QCOMPARE(pane->getEditorPaneShowHeight(), splitter->sizes().at(1));
        // The window remembers it for the next start.
        QCOMPARE(window->makeConfigData().editorPaneShowHeight, splitter->sizes().at(1));
    }

    void largeCellQuestionOpensPane() {
        open(QByteArray("a,b\nc,") + QByteArray(121, 'x') + "\n");
        select(view, 1, 1);
        Answers answers;
        answers.queue = {0};
        QTest::keyClick(view, Qt::Key_F2);
        QCOMPARE(answers.asked.size(), 1);
        QVERIFY(!view->getQuickEdit());
        QVERIFY(pane->isEditorPaneShown());
        QVERIFY(window->getContext().intersects(ContextEditorPaneShown));
        QVERIFY(view->isEditing());
        QVERIFY(editor->hasFocus());
        QVERIFY(waitForFill(pane));
        QCOMPARE(editor->toPlainText(), QString(121, QLatin1Char('x')));
        // A large cell opened this way is edited from its front.
        QCOMPARE(editor->textCursor().position(), 0);
        QTest::keyClicks(editor, QStringLiteral(">"));
        QTest::keyClick(editor, Qt::Key_Escape);
        QVERIFY(!view->isEditing());
        QCOMPARE(cellText(view, 1, 1), QStringLiteral(">") + QString(121, QLatin1Char('x')));
        QCOMPARE(view->undoStack()->count(), 1);
    }

    // The fresh table after the last one closes gets the pane only when the user keeps it shown.
    void closingLastTableDropsPaneOpenedForACell_data() {
        QTest::addColumn<bool>("paneSetting");
        QTest::newRow("opened for a cell") << false;
        QTest::newRow("kept by the setting") << true;
    }
    void closingLastTableDropsPaneOpenedForACell() {
        QFETCH(bool, paneSetting);
        open("a,b\nc,\"two\nlines\"\n");
        window->getSettings().setValue(ShowEditorPane, paneSetting);
        showPane();
        QVERIFY(window->closeFile(view));
        QVERIFY(window->getActiveTable());
        QCOMPARE(pane->isEditorPaneShown(), paneSetting);
        QCOMPARE(bool(window->getContext().intersects(ContextEditorPaneShown)), paneSetting);
        window->getSettings().setValue(ShowEditorPane, false);
    }

    // With the pane shown every edit goes there, of any size, and with no question.
    void typingInGridWritesThroughPane() {
        open("a,b\nc,d\n");
        showPane();
        select(view, 1, 0);
        QVERIFY(waitForFill(pane));
        Answers answers;
        view->setFocus();
        QTest::keyClick(view, Qt::Key_K);
        QVERIFY(answers.asked.isEmpty());
        QVERIFY(!view->getQuickEdit());
        QVERIFY(editor->hasFocus());
        QCOMPARE(editor->toPlainText(), QStringLiteral("k"));
        QCOMPARE(cellText(view, 1, 0), QStringLiteral("k"));
        QTest::keyClicks(editor, QStringLiteral("ey"));
        QCOMPARE(cellText(view, 1, 0), QStringLiteral("key"));
        QTest::keyClick(editor, Qt::Key_Escape);
        QVERIFY(!view->isEditing());
        QVERIFY(view->hasFocus());
        QCOMPARE(view->undoStack()->count(), 1);
        view->undo();
        QCOMPARE(cellText(view, 1, 0), QStringLiteral("c"));
        // The main cell didn't move, but its text did: the pane follows.
        QVERIFY(waitForFill(pane));
        QCOMPARE(editor->toPlainText(), QStringLiteral("c"));
    }

    void clickIntoPaneStartsEdit() {
        open("a,b\nc,dd\n");
        showPane();
        select(view, 1, 1);
        QVERIFY(waitForFill(pane));
        QCOMPARE(editor->toPlainText(), QStringLiteral("dd"));
        view->setFocus();
        QVERIFY(!view->isEditing());
        QTest::mouseClick(editor->viewport(), Qt::LeftButton, {}, QPoint(200, 5));
        QVERIFY(editor->hasFocus());
        QVERIFY(view->isEditing());
        QVERIFY(window->getContext().intersects(ContextEditing));
        editor->moveCursor(QTextCursor::End);
        QTest::keyClicks(editor, QStringLiteral("!"));
        QCOMPARE(cellText(view, 1, 1), QStringLiteral("dd!"));
        // A click back into the grid ends it as one step.
        const QRect target = view->visualRect(view->model()->index(2, 0));
        QTest::mouseClick(view->viewport(), Qt::LeftButton, {}, target.center());
        QVERIFY(!view->isEditing());
        QCOMPARE(view->undoStack()->count(), 1);
        QCOMPARE(cellText(view, 1, 1), QStringLiteral("dd!"));
    }

    // The navigation flag decides whether Return and Tab stay in the text.
    void paneKeys_data() {
        QTest::addColumn<bool>("consume");
        QTest::addColumn<int>("key");
        QTest::addColumn<int>("modifiers");
        QTest::addColumn<QString>("cell");
        QTest::addColumn<bool>("editing");
        QTest::addColumn<QString>("mainCell");
        QTest::newRow("return consumed") << true << int(Qt::Key_Return) << 0 << "x\n" << true << "1,1";
        QTest::newRow("tab consumed") << true << int(Qt::Key_Tab) << 0 << "x\t" << true << "1,1";
        QTest::newRow("return moves") << false << int(Qt::Key_Return) << 0 << "x" << false << "2,1";
        QTest::newRow("keypad enter moves")
            << false << int(Qt::Key_Enter) << int(Qt::KeypadModifier) << "x" << false << "2,1";
        QTest::newRow("tab moves") << false << int(Qt::Key_Tab) << 0 << "x" << false << "1,2";
        QTest::newRow("backtab moves")
            << false << int(Qt::Key_Backtab) << int(Qt::ShiftModifier) << "x" << false << "1,0";
        QTest::newRow("command return is a newline")
            << false << int(Qt::Key_Return) << int(Qt::ControlModifier) << "x\n"
            << true << "1,1";
        QTest::newRow("command tab is a tab")
            << false << int(Qt::Key_Tab) << int(Qt::ControlModifier) << "x\t" << true << "1,1";
        QTest::newRow("escape finishes") << true << int(Qt::Key_Escape) << 0 << "x" << false << "1,1";
    }
    void paneKeys() {
        QFETCH(bool, consume);
        QFETCH(int, key);
        QFETCH(int, modifiers);
        QFETCH(QString, cell);
        QFETCH(bool, editing);
        QFETCH(QString, mainCell);
        open("a,b,c\nd,e,f\ng,h,i\n");
        window->letEditorPaneConsumeNavigationKeystrokes(consume);
        showPane();
        select(view, 1, 1);
        QVERIFY(waitForFill(pane));
        view->setFocus();
        QTest::keyClick(view, Qt::Key_X);
        QVERIFY(editor->hasFocus());
        QTest::keyClick(editor, Qt::Key(key), Qt::KeyboardModifiers(modifiers));
        QCOMPARE(view->isEditing(), editing);
        view->stopEditing(true);
        QCOMPARE(cellText(view, 1, 1), cell);
        const Range& main = view->tableModel()->getMainCell();
        QCOMPARE(QStringLiteral("%1,%2").arg(main.row).arg(main.col), mainCell);
        QCOMPARE(view->undoStack()->count(), 1);
    }

    // Moving fast down a column of huge cells: each move makes the fill before it stale, and
    // the pane ends with all of the last cell and nothing of the others.
    void fastMovesShowLastHugeCell() {
        constexpr int length = 300000;
        QByteArray content = "h\n";
        for (int r = 1; r <= 5; ++r)
            content += quoted(hugeText(length, r)) + "\n";
        open(content);
        showPane();
        select(view, 1, 0);
        // One pass of the event loop starts the fill with a first chunk; the rest waits.
        QCoreApplication::processEvents();
        QVERIFY(pane->isEditorPaneUpdateRunning());
        QVERIFY(!editor->isUndoRedoEnabled());
        const qsizetype partial = editor->toPlainText().size();
        QVERIFY(partial > 0 && partial < length);
        const int generation = pane->getEditorPaneGeneration();
        for (int r = 2; r <= 5; ++r)
            select(view, r, 0);
        QCOMPARE(pane->getEditorPaneGeneration(), generation + 4);
        QVERIFY(!pane->isEditorPaneUpdateRunning());
        QVERIFY(waitForFill(pane));
        QCOMPARE(editor->toPlainText(), hugeText(length, 5));
        QVERIFY(editor->isUndoRedoEnabled());
        QVERIFY(!view->isEditing());
    }

    // Line breaks inside a cell come back from the pane as they went in.
    void lineBreaksSurviveThePane_data() {
        QTest::addColumn<QString>("cell");
        QTest::newRow("lf") << "one\ntwo";
        QTest::newRow("crlf") << "one\r\ntwo";
        QTest::newRow("cr") << "one\rtwo";
        QTest::newRow("tab and trailing break") << "one\ttwo\n";
    }
    void lineBreaksSurviveThePane() {
        QFETCH(QString, cell);
        open(QByteArray("h\n") + quoted(cell) + "\n");
        QCOMPARE(cellText(view, 1, 0), cell);
        showPane();
        select(view, 1, 0);
        QVERIFY(waitForFill(pane));
        view->setFocus();
        QTest::keyClick(view, Qt::Key_F2);
        QTest::keyClicks(editor, QStringLiteral("!"));
        QTest::keyClick(editor, Qt::Key_Escape);
        QCOMPARE(cellText(view, 1, 0), cell + QStringLiteral("!"));
    }

    // Typing into a pane that is still filling, then leaving at once: the cell gets what was
    // typed and all of its old text, not only the part that had arrived.
    void typingDuringFillKeepsWholeText() {
        const QString huge = hugeText(300000, 3);
        open(QByteArray("h\n") + quoted(huge) + "\n");
        showPane();
        select(view, 1, 0);
        QCoreApplication::processEvents();
        QVERIFY(pane->isEditorPaneUpdateRunning());
        view->setFocus();
        QTest::keyClick(view, Qt::Key_F2);
        QVERIFY(view->isEditing());
        QCOMPARE(editor->textCursor().position(), 0);
        QTest::keyClicks(editor, QStringLiteral("Z"));
        QVERIFY(pane->isEditorPaneUpdateRunning());
        QTest::keyClick(editor, Qt::Key_Escape);
        QVERIFY(!view->isEditing());
        QCOMPARE(cellText(view, 1, 0), QStringLiteral("Z") + huge);
        QCOMPARE(view->undoStack()->count(), 1);
    }

    // The user's scrolling during a fill is left alone; the fill's own scrolling isn't theirs.
    void scrollBarTouchedDuringFill() {
        open(QByteArray("h\n") + quoted(hugeText(400000, 7)) + "\n");
        showPane();
        select(view, 1, 0);
        QCoreApplication::processEvents();
        QVERIFY(pane->isEditorPaneUpdateRunning());
        QVERIFY(!pane->hasUserTouchedEditorPaneScrollBar());
        QScrollBar* bar = editor->verticalScrollBar();
        QVERIFY(bar->maximum() > 100);
        bar->triggerAction(QAbstractSlider::SliderPageStepAdd);
        QVERIFY(pane->hasUserTouchedEditorPaneScrollBar());
        const int value = bar->value();
        QVERIFY(value > 0);
        QVERIFY(waitForFill(pane));
        QCOMPARE(bar->value(), value);
        QCOMPARE(editor->toPlainText().size(), 400000);
    }

    void readOnlyTableIgnoresPane() {
        open("a,b\nc,d\n");
        showPane();
        window->commandToggleReadOnly();
        view = window->getActiveTable();
        QVERIFY(view->isReadOnly());
        select(view, 1, 1);
        QVERIFY(waitForFill(pane));
        view->setFocus();
        QTest::keyClick(view, Qt::Key_Z);
        QVERIFY(!view->isEditing());
        QVERIFY(editor->isReadOnly());
        QTest::mouseClick(editor->viewport(), Qt::LeftButton, {}, QPoint(5, 5));
        QTest::keyClicks(editor, QStringLiteral("zz"));
        QVERIFY(!view->isEditing());
        QCOMPARE(cellText(view, 1, 1), QStringLiteral("d"));
    }

    // Saving during an edit ends it first: the file holds the text, and the table is clean.
    void saveCommitsEditFirst() {
        open("a,b\nc,d\n");
        select(view, 1, 1);
        view->setFocus();
        QTest::keyClick(view, Qt::Key_S);
        QVERIFY(view->getQuickEdit());
        QTest::keyClicks(view->getQuickEdit(), QStringLiteral("aved"));
        QVERIFY(window->commandSaveFile());
        QVERIFY(!view->isEditing());
        QVERIFY(!view->isModified());
        QCOMPARE(view->undoStack()->count(), 1);
        QFile file(view->tableModel()->getTableData().getFilepath());
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.readAll(), QByteArray("a,b\nc,saved\n"));
    }

    // A switch of table commits the edit in progress.
    void tabSwitchCommitsEdit() {
        open("a,b\nc,d\n");
        TableView* first = view;
        select(first, 1, 1);
        first->setFocus();
        QTest::keyClick(first, Qt::Key_Q);
        QVERIFY(first->getQuickEdit());
        TableView* second = window->addEmptyTableEditor();
        window->setActiveTable(second);
        QVERIFY(!first->isEditing());
        QCOMPARE(cellText(first, 1, 1), QStringLiteral("q"));
        QCOMPARE(first->undoStack()->count(), 1);
        QVERIFY(!(window->getContext().intersects(ContextEditing)));
    }
};

QTEST_MAIN(TestEditorPane)
#include "tst_editorpane.moc"
