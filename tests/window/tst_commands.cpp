#include "window/commandfixture.h"

#include "table/tablemodel.h"
#include "util/msgboxanswers.h"
#include "view/tableview.h"
#include "window/commands.h"
#include "window/launcher.h"
#include "window/paneview.h"

#include <QAction>
#include <QClipboard>
#include <QGuiApplication>
#include <QHash>
#include <QLabel>
#include <QLineEdit>
#include <QMenuBar>
#include <QPointer>
#include <QSet>
#include <QTest>
#include <QUndoStack>

#include <functional>

class TestCommands : public QObject {
    Q_OBJECT

private:
    CommandFixture f;
    std::unique_ptr<MainWindow> openWindow() const { return f.openWindow(); }

private slots:
    void initTestCase() { f.initTestCase(); }
    void cleanupTestCase() { f.cleanupTestCase(); }
    void init() { f.init(); }
    void cleanup() { f.cleanup(); }

    // The table's file goes to the text editor found on the path.
    void openFileInTextEditor() {
        auto window = openWindow();
        QVERIFY(window->commandOpenFileInTextEditor(QString()));
        QFile edited(f.editedPath());
        QTRY_VERIFY(edited.exists());
        QVERIFY(edited.open(QIODevice::ReadOnly));
        QCOMPARE(QString::fromLocal8Bit(edited.readAll()).trimmed(),
                 f.dir->filePath(QStringLiteral("table.csv")));
    }

    // --- Context rules ---------------------------------------------------------------------

    void addContext_data() {
        QTest::addColumn<quint32>("start");
        QTest::addColumn<quint32>("bits");
        QTest::addColumn<quint32>("expected");
        QTest::newRow("table gives focus") << 0u << 1u << 5u;
        QTest::newRow("table while editing keeps editing") << 8u << 1u << 9u;
        QTest::newRow("file needs table") << 0u << 128u << (128u | 5u);
        QTest::newRow("multi-selection needs table") << 8u << 32u << (32u | 9u);
        QTest::newRow("editing drops focus") << 5u << 8u << 9u;
        QTest::newRow("focus drops editing") << 9u << 4u << 5u;
        QTest::newRow("replace opens find") << 0u << 2048u << (2048u | 512u | 5u);
        QTest::newRow("find part while editing") << 9u << 1024u << (1024u | 512u | 9u);
        QTest::newRow("filter means not all shows") << 0u << 16384u << (16384u | 65536u | 1u);
        QTest::newRow("hidden means not all shows") << 0u << 32768u << (32768u | 65536u | 1u);
        QTest::newRow("read-only alone") << 0u << 0x20000u << 0x20000u;
        QTest::newRow("all ones stays") << 5u << 0xFFFFFFFFu << 0xFFFFFFFFu;
    }
    void addContext() {
        QFETCH(quint32, start);
        QFETCH(quint32, bits);
        QFETCH(quint32, expected);
        Context context(start);
        addContextGlobal(context, Context(bits));
        QCOMPARE(context.value(), expected);
    }

    void removeContext_data() {
        QTest::addColumn<quint32>("start");
        QTest::addColumn<quint32>("bits");
        QTest::addColumn<quint32>("expected");
        QTest::newRow("no table, no focus or edit") << (1u | 4u | 128u) << 1u << 128u;
        QTest::newRow("focus gone means editing") << (1u | 4u) << 4u << (1u | 8u);
        QTest::newRow("editing gone means focus") << (1u | 8u) << 8u << (1u | 4u);
        QTest::newRow("nothing left stays empty") << 4u << 4u << 0u;
        QTest::newRow("find closes its parts") << (1u | 4u | 512u | 2048u) << 512u << (1u | 4u);
        QTest::newRow("filter gone, hidden stays")
            << (16384u | 32768u | 65536u | 1u) << 16384u << (32768u | 65536u | 1u);
        QTest::newRow("last of both gone") << (16384u | 65536u | 1u) << 16384u << 1u;
        QTest::newRow("hidden gone, filter stays")
            << (16384u | 32768u | 65536u | 1u) << 32768u << (16384u | 65536u | 1u);
    }
    void removeContext() {
        QFETCH(quint32, start);
        QFETCH(quint32, bits);
        QFETCH(quint32, expected);
        Context context(start);
        removeContextGlobal(context, Context(bits));
        QCOMPARE(context.value(), expected);
    }

    void overlap_data() {
        QTest::addColumn<quint32>("a");
        QTest::addColumn<quint32>("b");
        QTest::addColumn<bool>("overlap");
        QTest::newRow("table and not editing") << 1u << 4u << true;
        QTest::newRow("editing and not editing") << 8u << 4u << false;
        QTest::newRow("editing and table") << 8u << 1u << false;
        QTest::newRow("always and anything") << 0xFFFFFFFFu << 8u << true;
        QTest::newRow("find and not editing") << (4u | 512u) << 4u << true;
        QTest::newRow("replace and editing") << 2048u << 8u << false;
    }
    void overlap() {
        QFETCH(quint32, a);
        QFETCH(quint32, b);
        QFETCH(bool, overlap);
        QCOMPARE(doContextsOverlap(Context(a), Context(b)), overlap);
        QCOMPARE(doContextsOverlap(Context(b), Context(a)), overlap);
    }

    // Whether a command's action is enabled in a given context, by its own rule.
    void enabledByContext_data() {
        QTest::addColumn<QString>("name");
        QTest::addColumn<quint32>("context");
        QTest::addColumn<bool>("enabled");
        const quint32 ready = 1u | 4u | 128u;
        QTest::newRow("save on a table") << QStringLiteral("Save File") << ready << true;
        QTest::newRow("save read-only") << QStringLiteral("Save File") << (ready | 0x20000u) << false;
        QTest::newRow("save as read-only") << QStringLiteral("Save File As") << (ready | 0x20000u) << true;
        QTest::newRow("undo while editing") << QStringLiteral("Undo") << (1u | 8u) << true;
        QTest::newRow("remove rows while editing") << QStringLiteral("Remove Row(s)") << (1u | 8u) << true;
        QTest::newRow("insert rows while editing")
            << QStringLiteral("Insert Row(s) Before") << (1u | 8u) << false;
        QTest::newRow("select up while editing") << QStringLiteral("Select Up") << (1u | 8u) << false;
        QTest::newRow("edit cell, one cell") << QStringLiteral("Edit Selected Cell") << ready << true;
        QTest::newRow("edit cell, many cells")
            << QStringLiteral("Edit Selected Cell") << (ready | 32u) << false;
        QTest::newRow("stop editing, editing") << QStringLiteral("Stop Editing") << (1u | 8u) << true;
        QTest::newRow("stop editing, not editing") << QStringLiteral("Stop Editing") << ready << false;
        QTest::newRow("replace all, find only")
            << QStringLiteral("Replace All Matches") << (ready | 512u) << false;
        QTest::newRow("replace all, replace shown")
            << QStringLiteral("Replace All Matches") << (ready | 512u | 2048u) << true;
        QTest::newRow("replace all, read-only")
            << QStringLiteral("Replace All Matches") << (ready | 512u | 2048u | 0x20000u) << false;
        QTest::newRow("visible data without filters")
            << QStringLiteral("Save Visible Data As") << ready << false;
        QTest::newRow("visible data with hidden rows")
            << QStringLiteral("Save Visible Data As") << (ready | 65536u) << true;
        QTest::newRow("reload without file") << QStringLiteral("Reload File") << (1u | 4u) << false;
        QTest::newRow("new file always") << QStringLiteral("New File") << 0u << true;
    }
    void enabledByContext() {
        QFETCH(QString, name);
        QFETCH(quint32, context);
        QFETCH(bool, enabled);
        MainWindow window;
        QCOMPARE(command(window, name).matchesContext(Context(context)), enabled);
    }

    // --- The table as a whole -----------------------------------------------------------------

    void tableIsConsistent() {
        MainWindow window;
        const Commands& commands = window.getCommands();
        QCOMPARE(commands.getCommands().size(), std::size_t(327));
        QCOMPARE(Commands::rows().size(), std::size_t(327));
        QSet<QString> names;
        QSet<QAction*> actions;
        std::vector<Command Commands::*> members;
        for (const CommandRow& row : Commands::rows()) {
            QVERIFY2(!names.contains(QString::fromLatin1(row.name)), row.name);
            names.insert(QString::fromLatin1(row.name));
            QVERIFY2(std::find(members.begin(), members.end(), row.member) == members.end(), row.name);
            members.push_back(row.member);
            const Command& member = commands.*row.member;
            QCOMPARE(member.name, QString::fromLatin1(row.name));
            QVERIFY(member.action && !actions.contains(member.action));
            actions.insert(member.action);
            // A command that runs nothing yet keeps its action disabled, whatever the context.
            if (!row.slot)
                QVERIFY2(!member.action->isEnabled(), row.name);
        }
        // Sorted by name for the launcher.
        const auto& list = commands.getCommands();
        QVERIFY(std::is_sorted(list.begin(), list.end(), sortCommandByName));
        QVERIFY(!command(window, QStringLiteral("Find All Matches")).showInLauncher);
        QVERIFY(!command(window, QStringLiteral("Replace All Matches")).showInLauncher);
        QVERIFY(command(window, QStringLiteral("Find")).showInLauncher);
        QCOMPARE(Commands::notYetWired().size() + qsizetype(commands.wiredCommands().size()), 327);
    }

    // No key may reach two commands that can be enabled at the same time.
    void shortcutsDontCollide() {
        MainWindow window;
        // A command that runs nothing yet keeps its action disabled, so it can't take a key.
        std::vector<Command> list;
        for (const Command* c : window.getCommands().wiredCommands())
            list.push_back(*c);
        const auto canHoldTogether = [](const Command& a, const Command& b) {
            const Context ca = a.context.isAll() ? Context() : modifyContext(a.context);
            const Context cb = b.context.isAll() ? Context() : modifyContext(b.context);
            return doContextsOverlap(a.context, b.context) && !ca.intersects(b.excludeContext) &&
                   !cb.intersects(a.excludeContext);
        };
        QStringList clashes;
        for (std::size_t i = 0; i < list.size(); ++i) {
            for (std::size_t j = i + 1; j < list.size(); ++j) {
                for (const QKeySequence& key : list[i].action->shortcuts()) {
                    if (list[j].action->shortcuts().contains(key) && canHoldTogether(list[i], list[j]))
                        clashes.append(list[i].name + QStringLiteral(" / ") + list[j].name +
                                       QStringLiteral(": ") + key.toString());
                }
            }
        }
        QVERIFY2(clashes.isEmpty(), qPrintable(clashes.join(QLatin1Char('\n'))));
    }

    void menus() {
        MainWindow window;
        QStringList titles;
        QSet<QAction*> inMenus;
        std::function<void(QMenu*)> walk = [&](QMenu* menu) {
            QSet<QChar> letters;
            for (QAction* action : menu->actions()) {
                // The empty recent files' menu holds a placeholder that nothing can choose.
                if (action->isSeparator() || action->text() == QLatin1String("(none)"))
                    continue;
                // A long menu can run out of letters; the items that got one don't share it.
                const qsizetype amp = action->text().indexOf(QLatin1Char('&'));
                if (amp < 0) {
                    for (const QChar ch : action->text())
                        QVERIFY2(!ch.isLetter() || letters.contains(ch.toLower()),
                                 qPrintable(action->text()));
                    if (action->menu())
                        walk(action->menu());
                    else
                        inMenus.insert(action);
                    continue;
                }
                const QChar letter = action->text().at(amp + 1).toLower();
                QVERIFY2(!letters.contains(letter),
                         qPrintable(menu->title() + QStringLiteral(": ") + action->text()));
                letters.insert(letter);
                if (action->menu())
                    walk(action->menu());
                else
                    inMenus.insert(action);
            }
        };
        for (QAction* top : window.menuBar()->actions()) {
            titles.append(top->text());
            walk(top->menu());
        }
        QCOMPARE(
            titles,
            (QStringList{QStringLiteral("&File"), QStringLiteral("&Edit"), QStringLiteral("&Data"),
                         QStringLiteral("&Selection"), QStringLiteral("Fi&nd"), QStringLiteral("&View"),
                         QStringLiteral("&Tools"), QStringLiteral("&Go To"), QStringLiteral("&Preferences"),
                         QStringLiteral("Contact &Us"), QStringLiteral("&Help")}));
        const Commands& commands = window.getCommands();
        int wiredInMenus = 0;
        for (const Command& c : commands.getCommands()) {
            // The recent files' sub-menu stands for the command that lists them.
            const bool shown = inMenus.contains(c.action) || c.name == QLatin1String("Open Recent File");
            if (!commands.isWired(c) || c.category == QLatin1String("-"))
                QVERIFY2(!shown, qPrintable(c.name));
            else
                QVERIFY2(shown, qPrintable(c.name));
            wiredInMenus += shown ? 1 : 0;
        }
        QVERIFY(wiredInMenus > 100);
    }

    void contextMenus() {
        auto window = openWindow();
        const Commands& commands = window->getCommands();
        const auto& grid = window->getActiveTable()->getContextMenuActions();
        // Cut, copy and paste first, then the rest.
        QVERIFY(grid.size() > 4 && grid[0] == commands.cutCells.action &&
                grid[1] == commands.copyCells.action && grid[2] == commands.pasteCells.action && !grid[3] &&
                grid[4] == commands.insertRowsBefore.action);
        QVERIFY(std::find(grid.begin(), grid.end(), commands.removeRows.action) != grid.end());
        QVERIFY(grid.back() == commands.setHeadersToSelectedCell.action);
        // Nothing that runs nothing yet, and no separator at an end or twice.
        for (std::size_t i = 0; i < grid.size(); ++i) {
            QVERIFY(grid[i] || (i > 0 && i + 1 < grid.size() && grid[i - 1]));
            const auto& wired = commands.wiredCommands();
            QVERIFY(!grid[i] || std::any_of(wired.begin(), wired.end(),
                                            [&](const Command* c) { return c->action == grid[i]; }));
        }
    }

    // --- Every wired command on a real window ------------------------------------------------

    // Size and label prompts: the answer as a user types it, a wrong one coming back to be put right.
    void numberPrompts() {
        MsgBoxAnswers answers;
        auto window = openWindow();
        TableView* view = window->getActiveTable();
        auto answer = [&](const QString& name, const QString& text) {
            command(*window, name).action->trigger();
            Launcher* launcher = window->getLauncher();
            QVERIFY(launcher);
            launcher->getPromptEditor()->setText(text);
            QTest::keyClick(launcher->getPromptEditor(), Qt::Key_Return);
        };
        // The block of rows 1-2 and columns 1-2 is selected.
        answer(QStringLiteral("Set Selected Row Height(s)"), QStringLiteral("60 px"));
        QCOMPARE(view->rowHeight(1), 60);
        QCOMPARE(view->rowHeight(2), 60);
        QVERIFY(view->rowHeight(3) != 60);
        answer(QStringLiteral("Set Selected Column Width(s)"), QStringLiteral("1,200"));
        QCOMPARE(view->columnWidth(2), 1200);
        // Out of range: the prompt stays, with the answer in it, and nothing changes.
        answer(QStringLiteral("Set Selected Row Height(s)"), QStringLiteral("0"));
        QVERIFY(window->getLauncher());
        QCOMPARE(window->getLauncher()->getPromptEditor()->text(), QStringLiteral("0"));
        QCOMPARE(view->rowHeight(1), 60);
        window->getPaneView()->closeLauncher();
        // Labels count from the number given, negative ones too.
        answer(QStringLiteral("Set First Row Index"), QStringLiteral("-1"));
        TableModel* model = view->tableModel();
        QCOMPARE(model->headerData(1, Qt::Vertical).toString(), QStringLiteral("0"));
        QCOMPARE(view->getSettings(false).getValueInt(FirstRowIndex), -1);
        // The table keeps at least the rows asked for.
        answer(QStringLiteral("Set Minimum Number of Table Rows"), QStringLiteral("300"));
        QVERIFY(model->rowCount() >= 300);
        QCOMPARE(window->getSettings().getValueInt(MinTableRows), 300);
    }

    // The sort and duplicate commands that leave the main fixture alone, on a table where they act.
    void commandsWithWork_data() {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QRect>("block"); // left, top, right, bottom
        QTest::addColumn<QStringList>("after");
        QTest::newRow("remove duplicate rows")
            << QStringLiteral("Remove Duplicate Row(s)") << QRect(QPoint(0, 1), QPoint(0, 1))
            << QStringList{"h,g", "b,2", "a,1", "B,4"};
        QTest::newRow("select duplicate rows")
            << QStringLiteral("Select Duplicate Row(s)") << QRect(QPoint(0, 1), QPoint(0, 1))
            << QStringList{"h,g", "b,2", "a,1", "b,2", "B,4"};
        QTest::newRow("sort cells horizontally")
            << QStringLiteral("Sort Selected Cells Horizontally - Ascending")
            << QRect(QPoint(0, 1), QPoint(1, 1)) << QStringList{"h,g", "2,b", "a,1", "b,2", "B,4"};
        QTest::newRow("sort cells vertically")
            << QStringLiteral("Sort Selected Cells Vertically - Ascending")
            << QRect(QPoint(0, 1), QPoint(0, 4)) << QStringList{"h,g", "B,2", "a,1", "b,2", "b,4"};
        QTest::newRow("sort column") << QStringLiteral("Sort Selected Column - Ascending")
                                     << QRect(QPoint(1, 2), QPoint(1, 2))
                                     << QStringList{"h,g", "a,1", "b,2", "b,2", "B,4"};
    }
    void commandsWithWork() {
        QFETCH(QString, name);
        QFETCH(QRect, block);
        QFETCH(QStringList, after);
        MsgBoxAnswers answers;
        auto window = std::make_unique<MainWindow>();
        window->setAttribute(Qt::WA_DeleteOnClose, false);
        window->openFile(writeFile(f.dir->filePath(QStringLiteral("dups.csv")), "h,g\nb,2\na,1\nb,2\nB,4\n"));
        TableView* view = window->getActiveTable();
        selectBlock(view, block.top(), block.left(), block.bottom(), block.right());
        const QStringList before = cells(view);
        const QString selectionBefore = selection(view);
        command(*window, name).action->trigger();
        QCOMPARE(cells(view), after);
        if (name.startsWith(QLatin1String("Select"))) {
            QCOMPARE(selection(view), QStringLiteral("main 3,0 3,0 3,1"));
            QCOMPARE(view->undoStack()->count(), 0);
            return;
        }
        QCOMPARE(view->undoStack()->count(), 1);
        command(*window, QStringLiteral("Undo")).action->trigger();
        QCOMPARE(cells(view), before);
        QCOMPARE(selection(view), selectionBefore);
    }

    // Commands that their rule disables in a read-only table, during an edit or without a file
    // are disabled there, and triggering them changes nothing.
    void disabledByContext_data() {
        QTest::addColumn<QString>("state");
        QTest::newRow("read-only") << QStringLiteral("read-only");
        QTest::newRow("editing") << QStringLiteral("editing");
        QTest::newRow("no file") << QStringLiteral("no file");
    }
    void disabledByContext() {
        QFETCH(QString, state);
        MsgBoxAnswers answers;
        auto window = openWindow();
        if (state == QLatin1String("read-only"))
            command(*window, QStringLiteral("Toggle Read-Only")).action->trigger();
        else if (state == QLatin1String("no file"))
            command(*window, QStringLiteral("New File")).action->trigger();
        TableView* view = window->getActiveTable();
        selectBlock(view, 1, 1, 1, 1);
        if (state == QLatin1String("editing")) {
            command(*window, QStringLiteral("Edit Selected Cell")).action->trigger();
            QVERIFY(view->isEditing());
        }
        const QStringList before = cells(view);
        const Commands& commands = window->getCommands();
        int disabled = 0;
        for (const Command* c : commands.wiredCommands()) {
            if (c->matchesContext(window->getContext()))
                continue;
            QVERIFY2(!c->action->isEnabled(), qPrintable(c->name));
            c->action->trigger();
            ++disabled;
        }
        QVERIFY(disabled > 5);
        QCOMPARE(cells(view), before);
        const bool readOnly = state == QLatin1String("read-only");
        QCOMPARE(commands.saveFile.action->isEnabled(), !readOnly);
        QCOMPARE(commands.saveFileAs.action->isEnabled(), true);
        QCOMPARE(commands.undo.action->isEnabled(), true);
        QCOMPARE(commands.removeRows.action->isEnabled(), !readOnly);
        QCOMPARE(commands.insertRowsBefore.action->isEnabled(), state == QLatin1String("no file"));
        QCOMPARE(commands.reloadFile.action->isEnabled(), state == QLatin1String("editing"));
    }

    // A slot given a path works on that table, whichever is active; an unknown path does nothing.
    void pathPicksTheTable() {
        MsgBoxAnswers answers;
        auto window = openWindow();
        TableView* first = window->getActiveTable();
        const QString firstPath = first->tableModel()->getTableData().getFilepath();
        const QString second = writeFile(f.dir->filePath(QStringLiteral("second.csv")), "x,y\n1,2\n");
        window->openFile(second);
        TableView* active = window->getActiveTable();
        QVERIFY(active != first);
        const QStringList activeBefore = cells(active);
        const QStringList firstBefore = cells(first);
        QVERIFY(!window->commandRemoveRows(f.dir->filePath(QStringLiteral("none.csv"))));
        QVERIFY(!window->commandCloseAllFilesExceptCurrent(f.dir->filePath(QStringLiteral("none.csv"))));
        QCOMPARE(window->getNumTables(), 2);
        QVERIFY(window->commandInsertRowsBefore(firstPath));
        QCOMPARE(cells(active), activeBefore);
        QCOMPARE(cells(first).size(), firstBefore.size() + 1);
        QVERIFY(window->commandSwitchToTabOnTheLeft(second));
        QCOMPARE(window->getActiveTable(), first);
    }

    // The fixture's row 6 holds a link and an address; the desktop is asked to open them.
    void linkCommands() {
        MsgBoxAnswers answers;
        auto window = openWindow();
        window->getActiveTable()->moveSelectionAbsolute(6, 0);
        QVERIFY(window->commandFollowSelectedHyperlinks());
        QVERIFY(!window->commandEmailSelectedEmailAddresses());
        QCOMPARE(answers.texts(), QStringList{QStringLiteral("No valid email addresses found.")});
        window->getActiveTable()->moveSelectionAbsolute(6, 1);
        QVERIFY(window->commandEmailSelectedEmailAddresses());
        window->getActiveTable()->moveSelectionAbsolute(6, 2);
        QVERIFY(!window->commandFollowSelectedHyperlinks());
        QVERIFY(window->commandWebSearchForSelectedTerms());
        window->getActiveTable()->moveSelectionAbsolute(4, 0);
        QVERIFY(!window->commandWebSearchForSelectedPlacesInMap());
        QCOMPARE(answers.asked.size(), 1);
    }

    // --- Keys reach commands -----------------------------------------------------------------

    void keysReachCommands() {
        MsgBoxAnswers answers;
        auto window = openWindow();
        window->show();
        window->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(window.get()));
        TableView* view = window->getActiveTable();
        view->setFocus();
        const QString path = view->tableModel()->getTableData().getFilepath();

        selectBlock(view, 1, 0, 1, 0);
        QTest::keyClick(view, Qt::Key_Down, Qt::AltModifier | Qt::ShiftModifier);
        QCOMPARE(cells(view).at(2), QStringLiteral("a1,b1,c1,,e1,"));
        QCOMPARE(cells(view).at(1), QStringLiteral("a2,b2,c2,,e2,"));

        QTest::keyClick(view, Qt::Key_S, Qt::ControlModifier);
        QVERIFY(readFile(path).startsWith("h0,h1,h2,,h4,\na2,b2,c2,,e2,\na1,b1,c1,,e1,\n"));

        selectBlock(view, 5, 0, 5, 0);
        QTest::keyClick(view, Qt::Key_K, Qt::ControlModifier | Qt::ShiftModifier);
        QCOMPARE(cells(view).at(5), QStringLiteral("https://example.org/x,me@example.org,c6,,e6,"));
        QTest::keyClick(view, Qt::Key_Z, Qt::ControlModifier);
        QCOMPARE(cells(view).at(5), QStringLiteral("a5,b5,c5,,e5,"));
        QTest::keyClick(view, Qt::Key_Y, Qt::ControlModifier);
        QCOMPARE(cells(view).at(5), QStringLiteral("https://example.org/x,me@example.org,c6,,e6,"));

        // A second selected cell enables the commands for several cells and disables the
        // single-cell edit.
        view->moveSelectionAbsolute(1, 1);
        QTest::keyClick(view, Qt::Key_Right, Qt::ShiftModifier);
        QVERIFY(window->getContext().intersects(ContextMultiSelection));
        QVERIFY(window->getCommands().transposeSelectedCells.action->isEnabled());
        QVERIFY(!window->getCommands().editSelectedCell.action->isEnabled());
        QTest::keyClick(view, Qt::Key_Left, Qt::ShiftModifier);
        QVERIFY(!window->getContext().intersects(ContextMultiSelection));
        QVERIFY(window->getCommands().editSelectedCell.action->isEnabled());

        // Delete clears through its command; F2 edits; the edit's own keys stay the editor's.
        selectBlock(view, 1, 1, 1, 1);
        QTest::keyClick(view, Qt::Key_Delete);
        QCOMPARE(cells(view).at(1).section(QLatin1Char(','), 1, 1), QString());
        QTest::keyClick(view, Qt::Key_F2);
        QVERIFY(view->isEditing());
        QVERIFY(window->getContext().intersects(ContextEditing));
        QVERIFY(!window->getCommands().insertRowsBefore.action->isEnabled());
        QVERIFY(window->getCommands().stopEditing.action->isEnabled());
        QTest::keyClick(window->focusWidget(), Qt::Key_X);
        QTest::keyClick(window->focusWidget(), Qt::Key_E, Qt::ControlModifier);
        QVERIFY(!view->isEditing());
        QCOMPARE(cells(view).at(1).section(QLatin1Char(','), 1, 1), QStringLiteral("x"));

        // Alt+Enter pushes the rest of the row right; its twin Alt+Return finds all matches.
        QTest::keyClick(view, Qt::Key_Enter, Qt::AltModifier | Qt::KeypadModifier);
        QCOMPARE(cells(view).at(1).section(QLatin1Char(','), 1, 2), QStringLiteral(",x"));
    }

    void selectionKeys_data() {
        QTest::addColumn<QPoint>("start");    // (col, row)
        QTest::addColumn<QList<int>>("keys"); // key, modifier pairs
        QTest::addColumn<QString>("expected");
        const int shift = int(Qt::ShiftModifier);
        const int ctrl = int(Qt::ControlModifier);
        const int alt = int(Qt::AltModifier);
        QTest::newRow("shift extends")
            << QPoint(1, 1) << QList<int>{Qt::Key_Down, shift, Qt::Key_Right, shift}
            << QStringLiteral("main 1,1 1,1 1,2 2,1 2,2");
        QTest::newRow("shift back") << QPoint(1, 1) << QList<int>{Qt::Key_Down, shift, Qt::Key_Up, shift}
                                    << QStringLiteral("main 1,1 1,1");
        QTest::newRow("block down to the gap")
            << QPoint(0, 1) << QList<int>{Qt::Key_Down, ctrl} << QStringLiteral("main 3,0 3,0");
        QTest::newRow("go to bottom")
            << QPoint(2, 1) << QList<int>{Qt::Key_End, ctrl} << QStringLiteral("main 7,2 7,2");
        QTest::newRow("go to top") << QPoint(2, 5) << QList<int>{Qt::Key_Home, ctrl}
                                   << QStringLiteral("main 0,2 0,2");
        QTest::newRow("select to bottom") << QPoint(4, 5) << QList<int>{Qt::Key_End, ctrl | shift}
                                          << QStringLiteral("main 5,4 5,4 6,4 7,4");
        QTest::newRow("move selection with alt")
            << QPoint(1, 1) << QList<int>{Qt::Key_K, alt, Qt::Key_L, alt} << QStringLiteral("main 2,2 2,2");
    }
    void selectionKeys() {
        QFETCH(QPoint, start);
        QFETCH(QList<int>, keys);
        QFETCH(QString, expected);
        auto window = openWindow();
        window->show();
        window->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(window.get()));
        TableView* view = window->getActiveTable();
        view->setFocus();
        view->moveSelectionAbsolute(start.y(), start.x());
        for (int i = 0; i + 1 < keys.size(); i += 2)
            QTest::keyClick(view, Qt::Key(keys[i]), Qt::KeyboardModifiers(keys[i + 1]));
        QCOMPARE(selection(view), expected);
    }
};

QTEST_MAIN(TestCommands)
#include "tst_commands.moc"
