#include "window/launcher.h"

#include "table/tablemodel.h"
#include "util/locationutilities.h"
#include "util/msgboxanswers.h"
#include "view/tableview.h"
#include "window/mainwindow.h"
#include "window/optionlistwidget.h"
#include "window/paneview.h"
#include "window/prevoptionwidget.h"
#include "window/windowtesthelpers.h"

#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QScrollBar>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <QUndoStack>

#include <memory>

namespace {

std::vector<OptionData> makeOptions(const QStringList& names) {
    std::vector<OptionData> options;
    for (const QString& name : names)
        options.push_back(OptionData{name, {}, {}, {}, {}});
    return options;
}

QStringList shownOrder(const OptionListWidget* list) {
    QStringList names;
    for (int i = 0; i < list->getNumVisibleOptions(); ++i)
        names.append(list->getOrderedOptions()[static_cast<size_t>(i)]->getOptionText());
    return names;
}

void typeInto(QLineEdit* edit, const QString& text) {
    QTest::keyClicks(edit, text);
}

} // namespace

class TestLauncher : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<QTemporaryDir> dir;
    Settings settings;

    std::unique_ptr<MainWindow> openWindow() {
        const QString path = dir->filePath(QStringLiteral("table.csv"));
        QFile file(path);
        if (file.open(QIODevice::WriteOnly))
            file.write("h0,h1,h2\na1,b1,c1\na2,b2,c2\na3,b3,c3\na4,b4,c4\na5,b5,c5\na6,b6,c6\n");
        file.close();
        auto window = std::make_unique<MainWindow>();
        window->setAttribute(Qt::WA_DeleteOnClose, false);
        window->resize(1000, 700);
        window->openFile(path);
        window->show();
        window->activateWindow();
        if (!QTest::qWaitForWindowActive(window.get()))
            qWarning("window not active");
        window->getActiveTable()->setFocus();
        return window;
    }

private slots:
    // The registry's records are shared between copies and freed by clear().
    void cleanupTestCase() { settings.clear(); }
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }
    void init() {
        dir = std::make_unique<QTemporaryDir>();
        QVERIFY(dir->isValid());
    }

    // --- The list ---------------------------------------------------------------------------

    void listOrderAndHighlight() {
        Launcher launcher(settings);
        launcher.setOptions(
            makeOptions({QStringLiteral("Sort Selected Column"), QStringLiteral("Select Column"),
                         QStringLiteral("Save File"), QStringLiteral("Set Column Width")}));
        OptionListWidget* list = launcher.getOptionList();
        QCOMPARE(list->getNumVisibleOptions(), 4);

        typeInto(launcher.getPromptEditor(), QStringLiteral("col"));
        // Adjacent "Col" scores 180 in three; "Select Column" keeps its place before the later
        // equal ones; "Save File" has no "c" after an "o"... and is hidden.
        QCOMPARE(shownOrder(list),
                 (QStringList{QStringLiteral("Sort Selected Column"), QStringLiteral("Select Column"),
                              QStringLiteral("Set Column Width")}));
        QCOMPARE(list->getSelectedIndex(), 0);
        QVERIFY(list->getOrderedOptions()[0]->getHighlightedText().contains(QLatin1String(">Col</b>umn")));

        launcher.getPromptEditor()->clear();
        QCOMPARE(list->getNumVisibleOptions(), 4);
        QCOMPARE(shownOrder(list).first(), QStringLiteral("Sort Selected Column"));
        QCOMPARE(list->getOrderedOptions()[3]->getHighlightedText(), QStringLiteral("Set Column Width"));
    }

    void lazyFill() {
        QStringList names;
        for (int i = 0; i < 300; ++i)
            names.append(QStringLiteral("Option %1").arg(i, 3, 10, QLatin1Char('0')));
        Launcher launcher(settings);
        launcher.setOptions(makeOptions(names));
        const auto filled = [&launcher] {
            int n = 0;
            for (const OptionWidget* w : launcher.getOptionList()->getOrderedOptions())
                n += w->isFilled() ? 1 : 0;
            return n;
        };
        QCOMPARE(filled(), OptionListWidget::kInitialFill);
        // "o 2" matches every option; the first twenty in the new order are filled too.
        typeInto(launcher.getPromptEditor(), QStringLiteral("29"));
        QVERIFY(launcher.getOptionList()->getOrderedOptions()[0]->isFilled());
        QVERIFY(filled() < 60);
        // Selecting far down fills that row.
        launcher.getOptionList()->selectIndex(launcher.getOptionList()->getNumVisibleOptions() - 1);
        QVERIFY(launcher.getOptionList()->getSelectedWidget()->isFilled());
    }

    // Only rows in and near the view are shown; the others are placed when a scroll reaches
    // them, always where their order puts them.
    void rowsPlacedWhereTheyBelong() {
        QStringList names;
        for (int i = 0; i < 300; ++i)
            names.append(QStringLiteral("Option %1").arg(i, 3, 10, QLatin1Char('0')));
        Launcher launcher(settings);
        launcher.resize(600, 400);
        launcher.setOptions(makeOptions(names));
        launcher.show();
        OptionListWidget* list = launcher.getOptionList();
        const auto& rows = list->getOrderedOptions();
        const auto shown = [&rows] {
            int n = 0;
            for (const OptionWidget* w : rows)
                n += w->isVisible() ? 1 : 0;
            return n;
        };
        QVERIFY(shown() > 0 && shown() < 40);
        const auto inOrder = [&rows](int count) {
            int y = 0;
            for (int i = 0; i < count; ++i) {
                if (rows[size_t(i)]->isVisible() && rows[size_t(i)]->y() != y)
                    return false;
                y += rows[size_t(i)]->height();
            }
            return true;
        };
        list->verticalScrollBar()->setValue(list->verticalScrollBar()->maximum());
        QVERIFY(rows.back()->isVisible() && rows.back()->isFilled());
        QVERIFY(inOrder(300));
        // A query reorders: rows of the old view that no longer match go, the new first ones come.
        typeInto(launcher.getPromptEditor(), QStringLiteral("29"));
        QVERIFY(!rows.back()->isVisible() || rows.back()->getOptionText().contains(QLatin1String("29")));
        QVERIFY(rows.front()->isVisible());
        QVERIFY(inOrder(list->getNumVisibleOptions()));
        for (int i = list->getNumVisibleOptions(); i < 300; ++i)
            QVERIFY(!rows[size_t(i)]->isVisible());
        launcher.getPromptEditor()->clear();
        QVERIFY(inOrder(300));
        QCOMPARE(rows.front()->getOptionText(), QStringLiteral("Option 000"));
    }

    // --- Keys ---------------------------------------------------------------------------------

    void enterAnswers_data() {
        QTest::addColumn<bool>("withList");
        QTest::addColumn<QString>("typed");
        QTest::addColumn<int>("downs");
        QTest::addColumn<QString>("expected");
        QTest::newRow("no list: typed text") << false << "12 b" << 0 << "12 b";
        QTest::newRow("list: selected option") << true << "be" << 0 << "Beta";
        QTest::newRow("list: response string") << true << "ga" << 0 << "third";
        QTest::newRow("list: down moves the selection") << true << "a" << 1 << "Beta";
        QTest::newRow("list: down stops at the end") << true << "a" << 9 << "third";
        QTest::newRow("list, nothing matches: typed text") << true << "zz" << 0 << "zz";
        QTest::newRow("list, empty query: first option") << true << "" << 0 << "Alpha";
    }
    void enterAnswers() {
        QFETCH(bool, withList);
        QFETCH(QString, typed);
        QFETCH(int, downs);
        QFETCH(QString, expected);
        auto* launcher = new Launcher(settings);
        QPointer<Launcher> guard(launcher);
        if (withList) {
            auto options =
                makeOptions({QStringLiteral("Alpha"), QStringLiteral("Beta"), QStringLiteral("Gamma")});
            options[2].response = QStringLiteral("third");
            launcher->setOptions(options);
        }
        QSignalSpy spy(launcher, &Launcher::launcherResponseSignal);
        typeInto(launcher->getPromptEditor(), typed);
        for (int i = 0; i < downs; ++i)
            QTest::keyClick(launcher->getPromptEditor(), Qt::Key_Down);
        QTest::keyClick(launcher->getPromptEditor(), Qt::Key_Return);
        // A second Enter before the launcher is gone answers nothing more.
        QTest::keyClick(launcher->getPromptEditor(), Qt::Key_Enter);
        QCOMPARE(spy.count(), 1);
        QCOMPARE(spy.at(0).at(0).toString(), expected);
        QTRY_VERIFY(guard.isNull());
    }

    void upDownAndPages() {
        QStringList names;
        for (int i = 0; i < 50; ++i)
            names.append(QStringLiteral("Item %1").arg(i));
        Launcher launcher(settings);
        launcher.setOptions(makeOptions(names));
        launcher.resize(500, 400);
        launcher.show();
        QVERIFY(QTest::qWaitForWindowExposed(&launcher));
        OptionListWidget* list = launcher.getOptionList();
        QLineEdit* edit = launcher.getPromptEditor();
        QTest::keyClick(edit, Qt::Key_Up);
        QCOMPARE(list->getSelectedIndex(), 0);
        QTest::keyClick(edit, Qt::Key_Down);
        QTest::keyClick(edit, Qt::Key_Down);
        QCOMPARE(list->getSelectedIndex(), 2);
        const int page = list->rowsPerPage();
        QVERIFY(page > 1 && page < 50);
        QTest::keyClick(edit, Qt::Key_PageDown);
        QCOMPARE(list->getSelectedIndex(), 2 + page);
        // The selected row is scrolled into view.
        const QWidget* row = list->getSelectedWidget();
        const QPoint top = row->mapTo(list->viewport(), QPoint(0, 0));
        QVERIFY(top.y() >= 0 && top.y() + row->height() <= list->viewport()->height());
        for (int i = 0; i < 10; ++i)
            QTest::keyClick(edit, Qt::Key_PageDown);
        QCOMPARE(list->getSelectedIndex(), 49);
        QTest::keyClick(edit, Qt::Key_PageUp);
        QCOMPARE(list->getSelectedIndex(), 49 - page);
        for (int i = 0; i < 10; ++i)
            QTest::keyClick(edit, Qt::Key_PageUp);
        QCOMPARE(list->getSelectedIndex(), 0);
    }

    void leftRightCollapseSelection_data() {
        QTest::addColumn<int>("key");
        QTest::addColumn<int>("selectionStart");
        QTest::addColumn<int>("selectionLength");
        QTest::addColumn<int>("cursor");
        QTest::newRow("left collapses to the start") << int(Qt::Key_Left) << 2 << 3 << 2;
        QTest::newRow("right collapses to the end") << int(Qt::Key_Right) << 2 << 3 << 5;
        QTest::newRow("left without selection moves") << int(Qt::Key_Left) << 4 << 0 << 3;
        QTest::newRow("right without selection moves") << int(Qt::Key_Right) << 4 << 0 << 5;
        QTest::newRow("left at the start stays") << int(Qt::Key_Left) << 0 << 4 << 0;
    }
    void leftRightCollapseSelection() {
        QFETCH(int, key);
        QFETCH(int, selectionStart);
        QFETCH(int, selectionLength);
        QFETCH(int, cursor);
        Launcher launcher(settings);
        launcher.setEditorText(QStringLiteral("abcdefg"));
        if (selectionLength > 0)
            launcher.setEditorSelection(selectionStart, selectionLength);
        else
            launcher.setEditorCursorPosition(selectionStart);
        QTest::keyClick(launcher.getPromptEditor(), static_cast<Qt::Key>(key));
        QVERIFY(!launcher.getPromptEditor()->hasSelectedText());
        QCOMPARE(launcher.getPromptEditor()->cursorPosition(), cursor);
    }

    // --- The pane -----------------------------------------------------------------------------

    void resizeKeepsWidthAndCentre_data() {
        QTest::addColumn<int>("paneWidth");
        QTest::addColumn<int>("width");
        QTest::newRow("narrow: at least 400") << 420 << 400;
        QTest::newRow("80 percent") << 600 << 480;
        QTest::newRow("80 percent, odd") << 801 << 640;
        QTest::newRow("wide: at most 750") << 1600 << 750;
    }
    void resizeKeepsWidthAndCentre() {
        QFETCH(int, paneWidth);
        QFETCH(int, width);
        PaneView pane;
        pane.resize(1000, 600);
        pane.show();
        auto* launcher = new Launcher(settings);
        pane.setLauncher(launcher);
        pane.resize(paneWidth, 600);
        QTRY_COMPARE(launcher->width(), width);
        QVERIFY(qAbs(launcher->x() * 2 + launcher->width() - paneWidth) <= 1);
    }

    void chainGoesBack() {
        PaneView pane;
        pane.resize(900, 600);
        pane.show();
        auto* first = new PrevOptionWidget(QStringLiteral("Split:"), QStringLiteral("By Delimiter"));
        auto* second = new PrevOptionWidget(QStringLiteral("Delimiter:"), QStringLiteral(","));
        QSignalSpy firstSpy(first, &PrevOptionWidget::expandThisSignal);
        QSignalSpy secondSpy(second, &PrevOptionWidget::expandThisSignal);
        pane.addPrevOption(first);
        pane.addPrevOption(second);
        auto* launcher = new Launcher(settings);
        pane.setLauncher(launcher);
        // Bars stack down from the same top, then the launcher.
        QCOMPARE(second->y(), first->y() + PrevOptionWidget::kHeight + 11);
        QCOMPARE(launcher->y(), second->y() + PrevOptionWidget::kHeight + 11);
        QCOMPARE(first->width(), launcher->width());

        QTest::keyClick(launcher->getPromptEditor(), Qt::Key_Minus, Qt::ControlModifier);
        QCOMPARE(secondSpy.count(), 1);
        QCOMPARE(firstSpy.count(), 0);
        QCOMPARE(pane.getPrevOptions().size(), size_t(1));
        QCOMPARE(pane.getPrevOptions().front(), first);

        // A click on the remaining bar goes back to its step and takes it away too.
        QTest::mouseClick(first, Qt::LeftButton);
        QCOMPARE(firstSpy.count(), 1);
        QVERIFY(pane.getPrevOptions().empty());
    }

    void escapeClosesAndClearsBars() {
        PaneView pane;
        pane.resize(900, 600);
        pane.show();
        pane.addPrevOption(new PrevOptionWidget(QStringLiteral("Q:"), QStringLiteral("A")));
        auto* launcher = new Launcher(settings);
        QPointer<Launcher> guard(launcher);
        QSignalSpy destroyed(&pane, &PaneView::launcherDestroyedSignal);
        pane.setLauncher(launcher);
        QTest::keyClick(launcher->getPromptEditor(), Qt::Key_Escape);
        QVERIFY(pane.getPrevOptions().empty());
        QTRY_VERIFY(guard.isNull());
        QCOMPARE(destroyed.count(), 1);
        QCOMPARE(pane.getLauncher(), nullptr);
    }

    // --- In a window --------------------------------------------------------------------------

    void commandLauncherRunsCommand() {
        MsgBoxAnswers answers;
        auto window = openWindow();
        TableView* view = window->getActiveTable();
        view->moveSelectionAbsolute(2, 0);
        const QStringList before = cells(view);
        QTest::keyClick(view, Qt::Key_L, Qt::ControlModifier);
        Launcher* launcher = window->getLauncher();
        QVERIFY(launcher);
        QVERIFY(window->getContext().intersects(ContextLauncherOpen));
        QCOMPARE(launcher->getTitleLabel()->text(), QStringLiteral("Command:"));
        // Only commands that run something are offered, and the launcher itself isn't.
        for (const OptionWidget* option : launcher->getOptionList()->getOrderedOptions()) {
            QVERIFY(!option->getOptionText().endsWith(QLatin1String("Command Launcher")));
            const QString name = option->getOptionText().section(QStringLiteral(": "), -1);
            const Command* command = window->getCommands().findByName(name);
            QVERIFY2(command && window->getCommands().isWired(*command), qPrintable(name));
        }
        QTRY_VERIFY(launcher->getPromptEditor()->hasFocus());
        QTest::keyClicks(launcher->getPromptEditor(), QStringLiteral("insrowafter"));
        QCOMPARE(launcher->getSelectedResponseString(), QStringLiteral("Data/Insert: Insert Row(s) After"));
        QTest::keyClick(launcher->getPromptEditor(), Qt::Key_Return);
        QCOMPARE(cells(view).size(), before.size() + 1);
        QCOMPARE(cells(view).at(3), QStringLiteral(",,"));
        QTRY_VERIFY(!window->getContext().intersects(ContextLauncherOpen));
        QTRY_VERIFY(view->hasFocus());

        // Ctrl+Shift+P opens it too; a name that matches nothing runs nothing.
        QTest::keyClick(view, Qt::Key_P, Qt::ControlModifier | Qt::ShiftModifier);
        launcher = window->getLauncher();
        QVERIFY(launcher);
        QTest::keyClicks(launcher->getPromptEditor(), QStringLiteral("qqq"));
        QTest::keyClick(launcher->getPromptEditor(), Qt::Key_Return);
        QCOMPARE(cells(view).size(), before.size() + 1);
    }

    // The list's keys win over the window's shortcuts for the same keys (Page Down is "Go Down
    // One Screen" on the table).
    void listKeysBeforeShortcuts() {
        MsgBoxAnswers answers;
        auto window = openWindow();
        TableView* view = window->getActiveTable();
        QTest::keyClick(view, Qt::Key_L, Qt::ControlModifier);
        Launcher* launcher = window->getLauncher();
        QVERIFY(launcher);
        const Range before = view->tableModel()->getMainCell();
        QTest::keyClick(launcher->getPromptEditor(), Qt::Key_PageDown);
        QVERIFY(launcher->getOptionList()->getSelectedIndex() > 1);
        QCOMPARE(view->tableModel()->getMainCell().row, before.row);
        QTest::keyClick(launcher->getPromptEditor(), Qt::Key_PageUp);
        QCOMPARE(launcher->getOptionList()->getSelectedIndex(), 0);
    }

    void settingShowsValue() {
        MsgBoxAnswers answers;
        auto window = openWindow();
        window->onCommandLauncher();
        Launcher* launcher = window->getLauncher();
        QVERIFY(launcher);
        QTest::keyClicks(launcher->getPromptEditor(), QStringLiteral("toggle case sensitive sorting"));
        const OptionWidget* option = launcher->getOptionList()->getSelectedWidget();
        QVERIFY(option);
        QCOMPARE(option->getOptionText(), QStringLiteral("Data/Sort: Toggle Case Sensitive Sorting"));
        const QString value = window->getSettings().getValueBool(CaseSensitiveSorting)
                                  ? QStringLiteral("true")
                                  : QStringLiteral("false");
        QCOMPARE(option->getData().value, value);
    }

    void countPromptEndToEnd() {
        MsgBoxAnswers answers;
        auto window = openWindow();
        TableView* view = window->getActiveTable();
        view->moveSelectionAbsolute(1, 1);
        const QStringList before = cells(view);
        window->onCommandLauncher();
        QTest::keyClicks(window->getLauncher()->getPromptEditor(),
                         QStringLiteral("insert rows before multiple"));
        QTest::keyClick(window->getLauncher()->getPromptEditor(), Qt::Key_Return);
        Launcher* prompt = window->getLauncher();
        QVERIFY(prompt);
        QVERIFY(prompt->getTitleLabel()->text().contains(QLatin1String("How Many")));
        // Not a count: asked again with the answer in place, nothing done.
        QTest::keyClicks(prompt->getPromptEditor(), QStringLiteral("three"));
        QTest::keyClick(prompt->getPromptEditor(), Qt::Key_Return);
        QCOMPARE(cells(view), before);
        prompt = window->getLauncher();
        QVERIFY(prompt);
        QCOMPARE(prompt->getPromptEditor()->text(), QStringLiteral("three"));
        prompt->getPromptEditor()->selectAll();
        QTest::keyClicks(prompt->getPromptEditor(), QStringLiteral("3"));
        QTest::keyClick(prompt->getPromptEditor(), Qt::Key_Return);
        QCOMPARE(cells(view).size(), before.size() + 3);
        QCOMPARE(cells(view).at(1), QStringLiteral(",,"));
        QCOMPARE(cells(view).at(4), before.at(1));
        QCOMPARE(view->undoStack()->count(), 1);
        view->undoStack()->undo();
        QCOMPARE(cells(view), before);
    }

    void goToFileListsTheOthersFirst() {
        MsgBoxAnswers answers;
        auto window = openWindow();
        TableView* first = window->getActiveTable();
        for (const char* name : {"b.csv", "c.csv"}) {
            QFile file(dir->filePath(QString::fromLatin1(name)));
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write("x,y\n");
            file.close();
            window->openFile(file.fileName());
        }
        window->setActiveTable(first);
        QVERIFY(window->getCommands().goToFile.action->isEnabled());
        window->getCommands().goToFile.action->trigger();
        Launcher* launcher = window->getLauncher();
        QVERIFY(launcher);
        QCOMPARE(
            shownOrder(launcher->getOptionList()),
            (QStringList{QStringLiteral("b.csv"), QStringLiteral("c.csv"), QStringLiteral("table.csv")}));
        QTest::keyClicks(launcher->getPromptEditor(), QStringLiteral("c."));
        QTest::keyClick(launcher->getPromptEditor(), Qt::Key_Return);
        QCOMPARE(MainWindow::tableName(window->getActiveTable()), QStringLiteral("c.csv"));

        // A name that matches no table goes nowhere.
        window->onGoToFilePrompt();
        QTest::keyClicks(window->getLauncher()->getPromptEditor(), QStringLiteral("zzz"));
        QTest::keyClick(window->getLauncher()->getPromptEditor(), Qt::Key_Return);
        QCOMPARE(MainWindow::tableName(window->getActiveTable()), QStringLiteral("c.csv"));
    }

    void goToCellPreview() {
        MsgBoxAnswers answers;
        auto window = openWindow();
        TableView* view = window->getActiveTable();
        TableModel* model = view->tableModel();
        view->moveSelectionAbsolute(1, 0);
        QVERIFY(window->commandGoToCell());
        Launcher* launcher = window->getLauncher();
        QVERIFY(launcher && launcher->getEntryFeedbackLabel());
        QVERIFY(launcher->getDescriptionLabel()->text().contains(QLatin1String("Examples:")));
        QTest::keyClicks(launcher->getPromptEditor(), QStringLiteral("5 2"));
        QCOMPARE(launcher->getEntryFeedbackLabel()->text(),
                 Utilities::computeCellRangeFeedbackString(5, 2, false));
        QCOMPARE(model->getHighlightedRange().size(), size_t(1));
        QCOMPARE(model->getMainCell().row, 1); // only a preview so far
        // Escape puts the table back.
        QTest::keyClick(launcher->getPromptEditor(), Qt::Key_Escape);
        QVERIFY(model->getHighlightedRange().empty());
        QCOMPARE(model->getMainCell().row, 1);

        QVERIFY(window->commandGoToCell());
        launcher = window->getLauncher();
        QTest::keyClicks(launcher->getPromptEditor(), QStringLiteral("row 4, col 2"));
        QTest::keyClick(launcher->getPromptEditor(), Qt::Key_Return);
        QCOMPARE(model->getMainCell().row, model->getModelFromUserRow(4));
        QCOMPARE(model->getMainCell().col, model->getModelFromUserCol(2));
        QVERIFY(model->getHighlightedRange().empty());
    }
};

QTEST_MAIN(TestLauncher)
#include "tst_launcher.moc"
