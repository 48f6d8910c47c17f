#include "window/mainwindow.h"

#include "preferences/theme.h"
#include "table/tablemodel.h"
#include "table/tablemodelworker.h"
#include "util/msgboxanswers.h"
#include "view/tableview.h"
#include "window/commands.h"
#include "window/findreplacewidget.h"
#include "window/findresultswidget.h"

#include <QAction>
#include <QComboBox>
#include <QFile>
#include <QLineEdit>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <QToolButton>
#include <QUndoStack>

namespace {

const QByteArray kTable = "name,animal,note\n"
                          "Ann,cat,the cat sat\n"
                          "Bob,dog,concat cat\n"
                          "Cid,Cat,none\n"
                          "Dee,bird,catalog\n";

QString writeFile(const QString& path, const QByteArray& content) {
    QFile file(path);
    if (file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        file.write(content);
    return path;
}

QByteArray readFile(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QAction* action(const MainWindow& window, const char* name) {
    const Command* found = window.getCommands().findByName(QString::fromLatin1(name));
    return found ? found->action : nullptr;
}

std::pair<int, int> mainCell(const MainWindow& window) {
    const Range& main = window.getActiveTable()->tableModel()->getMainCell();
    return {main.row, main.col};
}

QString cell(const MainWindow& window, int row, int col) {
    const TableModel* m = window.getActiveTable()->tableModel();
    return m->data(m->index(row, col), Qt::EditRole).toString();
}

} // namespace

class TestFindWindow : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<QTemporaryDir> dir;

    std::unique_ptr<MainWindow> openWindow(const QString& path) {
        auto window = std::make_unique<MainWindow>();
        window->setAttribute(Qt::WA_DeleteOnClose, false);
        window->openFile(path);
        window->resize(1200, 800);
        window->show();
        (void)QTest::qWaitForWindowExposed(window.get());
        window->getActiveTable()->moveSelectionAbsolute(0, 0);
        return window;
    }

    // Ctrl+F and typing, as a user does.
    static QLineEdit* findAndType(MainWindow& window, const QString& text) {
        action(window, "Find")->trigger();
        FindReplaceWidget* widget = window.getFindReplaceWidget();
        QLineEdit* edit = widget->findBox()->lineEdit();
        edit->clear();
        QTest::keyClicks(edit, text);
        return edit;
    }

private slots:
    void initTestCase() {
        QStandardPaths::setTestModeEnabled(true);
        TableView::autoFitWarningHook = [](const QString&, bool&) { return false; };
    }

    void init() {
        dir = std::make_unique<QTemporaryDir>();
        QVERIFY(dir->isValid());
    }

    void findNextWithReturnWraps() {
        MsgBoxAnswers answers;
        auto window = openWindow(writeFile(dir->filePath("a.csv"), kTable));
        QLineEdit* edit = findAndType(*window, "cat");
        QVERIFY(window->getContext().contains(Context(ContextFindOpen)));
        QCOMPARE(window->getFindReplaceWidget()->feedbackText(), QString("5 matches"));
        // Highlight of the matches on screen, live as typed.
        QCOMPARE(window->getActiveTable()->tableModel()->getHighlightedRange().size(), std::size_t(5));
        const std::vector<std::pair<int, int>> order{{1, 1}, {1, 2}, {2, 2}, {3, 1}, {4, 2}, {1, 1}};
        for (const auto& want : order) {
            QTest::keyClick(edit, Qt::Key_Return);
            QCOMPARE(mainCell(*window), want);
        }
        QTest::keyClick(edit, Qt::Key_Return, Qt::ShiftModifier);
        QCOMPARE(mainCell(*window), std::make_pair(4, 2));
        QCOMPARE(window->getFindReplaceWidget()->recentFindStrings().value(0), QString("cat"));
        // Whole word by its key.
        QTest::keyClick(edit, Qt::Key_W, Qt::AltModifier | Qt::ShiftModifier);
        QCOMPARE(window->getFindReplaceWidget()->feedbackText(), QString("4 matches"));
        // Escape closes the area and ends the highlight.
        QTest::keyClick(edit, Qt::Key_Escape);
        QVERIFY(!window->getContext().intersects(Context(ContextFindOpen)));
        QVERIFY(window->getActiveTable()->tableModel()->getHighlightedRange().empty());
    }

    void invalidPatternSaysNoMatch() {
        MsgBoxAnswers answers;
        auto window = openWindow(writeFile(dir->filePath("a.csv"), kTable));
        QLineEdit* edit = findAndType(*window, "(");
        window->getFindReplaceWidget()->findChildren<QToolButton*>().at(3)->setChecked(true); // .*
        QTest::keyClick(edit, Qt::Key_Return);
        QCOMPARE(window->getFindReplaceWidget()->feedbackText(), QString("No matches found for \"(\"."));
        QCOMPARE(mainCell(*window), std::make_pair(0, 0));
    }

    void replaceAllIsOneStepAndSaves() {
        MsgBoxAnswers answers;
        const QString path = writeFile(dir->filePath("r.csv"), kTable);
        auto window = openWindow(path);
        findAndType(*window, "cat");
        action(*window, "Replace")->trigger();
        QVERIFY(window->getContext().contains(Context(ContextReplaceOpen)));
        QTest::keyClicks(window->getFindReplaceWidget()->replaceBox()->lineEdit(), "dog");
        QUndoStack* undo = window->getActiveTable()->undoStack();
        const int before = undo->count();
        QVERIFY(action(*window, "Replace All Matches")->isEnabled());
        action(*window, "Replace All Matches")->trigger();
        QCOMPARE(undo->count(), before + 1);
        QCOMPARE(cell(*window, 2, 2), QString("condog dog"));
        QCOMPARE(cell(*window, 3, 1), QString("dog"));
        QCOMPARE(window->getFindReplaceWidget()->feedbackText(), QString("Replaced 5 cells."));
        // One cell is one cell.
        undo->undo();
        window->getFindReplaceWidget()->findBox()->lineEdit()->setText("concat");
        action(*window, "Replace All Matches")->trigger();
        QCOMPARE(window->getFindReplaceWidget()->feedbackText(), QString("Replaced 1 cell."));
        undo->undo();
        window->getFindReplaceWidget()->findBox()->lineEdit()->setText("cat");
        action(*window, "Replace All Matches")->trigger();
        undo->undo();
        QCOMPARE(cell(*window, 2, 2), QString("concat cat"));
        QCOMPARE(cell(*window, 4, 2), QString("catalog"));
        undo->redo();
        QVERIFY(window->commandSaveFile());
        QCOMPARE(readFile(path), QByteArray("name,animal,note\n"
                                            "Ann,dog,the dog sat\n"
                                            "Bob,dog,condog dog\n"
                                            "Cid,dog,none\n"
                                            "Dee,bird,dogalog\n"));
    }

    void replaceNextStartsUnderTheCursor() {
        MsgBoxAnswers answers;
        auto window = openWindow(writeFile(dir->filePath("a.csv"), kTable));
        findAndType(*window, "cat");
        action(*window, "Replace")->trigger();
        QTest::keyClicks(window->getFindReplaceWidget()->replaceBox()->lineEdit(), "X");
        window->getActiveTable()->moveSelectionAbsolute(2, 2);
        QVERIFY(window->commandReplaceNextMatch());
        QCOMPARE(cell(*window, 2, 2), QString("conX X"));
        QVERIFY(window->commandReplaceNextMatch());
        QCOMPARE(cell(*window, 3, 1), QString("X"));
        QCOMPARE(mainCell(*window), std::make_pair(3, 1));
    }

    void findAllListGoesToTheMatch() {
        MsgBoxAnswers answers;
        auto window = openWindow(writeFile(dir->filePath("a.csv"), kTable));
        findAndType(*window, "cat");
        QVERIFY(window->commandFindAllMatches());
        FindResultsWidget* list = window->getFindResultsWidget();
        QVERIFY(list->isVisible());
        QCOMPARE(list->rowCount(), 6);
        QCOMPARE(list->item(0, 0)->text(), QString("5 matches found:"));
        QCOMPARE(list->item(4, 0)->text(), QString("r3 c1:"));
        QCOMPARE(list->item(4, 1)->text(), QString("Cat"));
        list->onCellClicked(4, 1);
        QCOMPARE(mainCell(*window), std::make_pair(3, 1));
        // The list follows the window's theme.
        for (const QString& name : Theme::getNamesList()) {
            const Theme theme = Theme::convertStringToTheme(name);
            window->setTheme(theme);
            QCOMPARE(list->palette().color(QPalette::Base), theme.CellColor);
            QCOMPARE(list->palette().color(QPalette::Highlight), theme.SelectedCellColor);
            QCOMPARE(list->item(4, 0)->foreground().color(), theme.StaticTextColor);
        }
    }

    // A large table is searched on the worker. Cancel (here at the search's first report) leaves
    // the cells and the undo stack as they were and lists nothing; without it the work is done.
    void canceledSearchChangesNothing() {
        MsgBoxAnswers answers;
        QByteArray big = "a,b,c,d,e,f,g,h\n";
        for (int r = 0; r < 26000; ++r)
            big += "cat,dog,cat " + QByteArray::number(r) + ",x,cat,z,cat,v\n";
        auto window = openWindow(writeFile(dir->filePath("big.csv"), big));
        findAndType(*window, "cat");
        action(*window, "Replace")->trigger();
        QTest::keyClicks(window->getFindReplaceWidget()->replaceBox()->lineEdit(), "dog");
        TableModel* m = window->getActiveTable()->tableModel();
        QUndoStack* undo = window->getActiveTable()->undoStack();
        const int before = undo->count();
        const auto cancel = connect(
            m->getWorker(), &Worker::updateProgressSignal, m, [m](float) { m->cancelWorker(); },
            Qt::DirectConnection);
        QVERIFY(!window->commandReplaceAllMatches());
        QVERIFY(!window->commandFindAllMatches());
        QVERIFY(!window->getFindResultsWidget()->isVisible());
        QVERIFY(!window->commandSelectAllMatches());
        disconnect(cancel);
        QCOMPARE(undo->count(), before);
        QCOMPARE(cell(*window, 1, 0), QString("cat"));
        QCOMPARE(cell(*window, 26000, 2), QString("cat 25999"));
        QVERIFY(window->commandReplaceAllMatches());
        QCOMPARE(undo->count(), before + 1);
        QCOMPARE(cell(*window, 26000, 2), QString("dog 25999"));
        QCOMPARE(cell(*window, 26000, 6), QString("dog"));
        // 104,000 replaced cells are too many to select one by one: the first one is selected.
        QCOMPARE(m->getSelectionIndexes().size(), std::size_t(1));
        QCOMPARE(mainCell(*window), std::make_pair(1, 0));
        undo->undo();
        QCOMPARE(cell(*window, 26000, 2), QString("cat 25999"));
    }

    void matchCommandsOfSelection() {
        MsgBoxAnswers answers;
        auto window = openWindow(writeFile(dir->filePath("a.csv"), kTable));
        // Without a find text the main cell's whole text is looked for.
        window->getActiveTable()->moveSelectionAbsolute(1, 1);
        QVERIFY(window->commandSelectAllMatches());
        QCOMPARE(window->getActiveTable()->tableModel()->getSelectionIndexes().size(), std::size_t(1));
        findAndType(*window, "cat");
        window->getActiveTable()->moveSelectionAbsolute(1, 1);
        QVERIFY(window->commandAddNextMatchToSelection());
        QVERIFY(window->commandAddNextMatchToSelection());
        QCOMPARE(window->getActiveTable()->tableModel()->getSelectionIndexes().size(), std::size_t(3));
        QCOMPARE(mainCell(*window), std::make_pair(2, 2));
        QVERIFY(window->commandSelectAllMatches());
        QCOMPARE(window->getActiveTable()->tableModel()->getSelectionIndexes().size(), std::size_t(5));
    }

    void readOnlyFindsButDoesNotReplace() {
        MsgBoxAnswers answers;
        const QString path = writeFile(dir->filePath("ro.csv"), kTable);
        auto window = openWindow(path);
        window->commandToggleReadOnly();
        QVERIFY(window->getActiveTable()->isReadOnly());
        QLineEdit* edit = findAndType(*window, "dog");
        QTest::keyClick(edit, Qt::Key_Return);
        QCOMPARE(mainCell(*window), std::make_pair(2, 1));
        QVERIFY(!action(*window, "Replace")->isEnabled());
        QVERIFY(!action(*window, "Replace All Matches")->isEnabled());
        QVERIFY(!window->commandReplaceAllMatches());
        QCOMPARE(readFile(path), kTable);
    }
    void highlightCoversVisibleCellsOnly() {
        MsgBoxAnswers answers;
        QByteArray many;
        for (int r = 0; r < 2000; ++r)
            many += "cat,x,cat\n";
        auto window = openWindow(writeFile(dir->filePath("many.csv"), many));
        findAndType(*window, "cat");
        const std::size_t lit = window->getActiveTable()->tableModel()->getHighlightedRange().size();
        QVERIFY(lit > 10);
        QVERIFY(lit < 200);
        // Scrolling lights the rows that come into view.
        window->getActiveTable()->scrollToCell(1500, 0, true, false);
        QCoreApplication::processEvents();
        bool farDown = false;
        for (const Range& r : window->getActiveTable()->tableModel()->getHighlightedRange())
            farDown = farDown || r.row > 1000;
        QVERIFY(farDown);
    }

    void allFilesStepsThroughTheTables() {
        MsgBoxAnswers answers;
        auto window = std::make_unique<MainWindow>();
        window->setAttribute(Qt::WA_DeleteOnClose, false);
        window->resize(1200, 800);
        window->show();
        const QString a = writeFile(dir->filePath("a.csv"), "x,cat\n");
        const QString b = writeFile(dir->filePath("b.csv"), "none,none\n");
        const QString c = writeFile(dir->filePath("c.tsv"), "cat\tcat\n");
        window->openFile(a);
        window->openFile(b);
        window->openFile(c);
        QCOMPARE(window->getNumTables(), 3);
        window->getActiveTable()->moveSelectionAbsolute(0, 0);
        findAndType(*window, "cat");
        window->onFindInAllFiles(window->getFindReplaceWidget()->getFindReplaceQuery(true));
        // From (0, 0) of c.tsv: its next cell, then round through a.csv (b.csv has none) and back.
        QCOMPARE(MainWindow::tableName(window->getActiveTable()), QString("c.tsv"));
        QCOMPARE(mainCell(*window), std::make_pair(0, 1));
        window->onFindInAllFiles(window->getFindReplaceWidget()->getFindReplaceQuery(true));
        QCOMPARE(MainWindow::tableName(window->getActiveTable()), QString("a.csv"));
        QCOMPARE(mainCell(*window), std::make_pair(0, 1));
        window->onFindInAllFiles(window->getFindReplaceWidget()->getFindReplaceQuery(true));
        QCOMPARE(MainWindow::tableName(window->getActiveTable()), QString("c.tsv"));
        QCOMPARE(mainCell(*window), std::make_pair(0, 0));
        // Replace in the files that pass the filter only.
        FindReplaceQuery query = window->getFindReplaceWidget()->getFindReplaceQuery(true);
        query.replaceStr = "dog";
        query.filterStr = "*.tsv";
        window->onReplaceInAllFiles(query);
        QCOMPARE(cell(*window, 0, 0), QString("dog"));
        QCOMPARE(window->getFindReplaceWidget()->feedbackText(), QString("Replaced 2 cells in 1 file."));
        window->commandSwitchToTabOnTheRight();
        QCOMPARE(MainWindow::tableName(window->getActiveTable()), QString("a.csv"));
        QCOMPARE(cell(*window, 0, 1), QString("cat"));
    }
};

QTEST_MAIN(TestFindWindow)
#include "tst_findwindow.moc"
