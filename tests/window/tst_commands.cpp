#include "window/mainwindow.h"

#include "table/tablemodel.h"
#include "util/msgboxanswers.h"
#include "view/tableview.h"
#include "window/commands.h"
#include "window/filedialoghelper.h"
#include "window/launcher.h"
#include "window/paneview.h"
#include "window/windowtesthelpers.h"

#include <QAction>
#include <QClipboard>
#include <QDesktopServices>
#include <QFile>
#include <QGuiApplication>
#include <QHash>
#include <QLabel>
#include <QLineEdit>
#include <QMenuBar>
#include <QPointer>
#include <QSet>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <QUndoStack>

#include <functional>

namespace {

// Rows 0-7, columns 0-4: a header, words, an empty row (4), an empty column (3) and the
// trailing empty column that trailing delimiters make; row 6 holds a link and an address.
const QByteArray kFixture = "h0,h1,h2,,h4,\n"
                            "a1,b1,c1,,e1,\n"
                            "a2,b2,c2,,e2,\n"
                            "a3,,c3,,e3,\n"
                            ",,,,,\n"
                            "a5,b5,c5,,e5,\n"
                            "https://example.org/x,me@example.org,c6,,e6,\n"
                            "a7,b7,c7,,e7,\n";

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

const Command& command(const MainWindow& window, const QString& name) {
    const Command* found = window.getCommands().findByName(name);
    if (!found)
        qFatal("no command %s", qPrintable(name));
    return *found;
}

} // namespace

// Where the links that commands open go in this test, instead of to a browser or the file manager.
class UrlSink : public QObject {
    Q_OBJECT

public slots:
    void open(const QUrl& url) { opened << url; }

public:
    QList<QUrl> opened;
};

class TestCommands : public QObject {
    Q_OBJECT

private:
    QTemporaryDir home;
    // A text editor first on the path that only notes the file it was given, so that the
    // command starting one starts no real program from a test.
    QTemporaryDir bin;
    UrlSink urlSink;
    std::unique_ptr<QTemporaryDir> dir;

    QString fixture() const { return writeFile(dir->filePath(QStringLiteral("table.csv")), kFixture); }

    // A window with the fixture open and a 2 x 2 block selected from (1, 1).
    std::unique_ptr<MainWindow> openWindow() {
        auto window = std::make_unique<MainWindow>();
        window->setAttribute(Qt::WA_DeleteOnClose, false);
        window->openFile(fixture());
        selectBlock(window->getActiveTable(), 1, 1, 2, 2);
        return window;
    }

private slots:
    void initTestCase() {
        QStandardPaths::setTestModeEnabled(true);
        // The preference files that commands write stay in this test's own home.
        QVERIFY(home.isValid());
        qputenv("HOME", home.path().toLocal8Bit());
        TableView::autoFitWarningHook = [](const QString&, bool&) { return false; };
        QVERIFY(bin.isValid());
        QFile editor(bin.filePath(QStringLiteral("gnome-text-editor")));
        QVERIFY(editor.open(QIODevice::WriteOnly));
        editor.write("#!/bin/sh\necho \"$1\" > \"$(dirname \"$0\")/edited\"\n");
        editor.close();
        QVERIFY(editor.setPermissions(editor.permissions() | QFileDevice::ExeOwner));
        qputenv("PATH", bin.path().toLocal8Bit() + ':' + qgetenv("PATH"));
        for (const char* scheme : {"http", "https", "mailto", "file"})
            QDesktopServices::setUrlHandler(QString::fromLatin1(scheme), &urlSink, "open");
    }

    void cleanupTestCase() {
        for (const char* scheme : {"http", "https", "mailto", "file"})
            QDesktopServices::unsetUrlHandler(QString::fromLatin1(scheme));
    }

    // The table's file goes to the text editor found on the path.
    void openFileInTextEditor() {
        auto window = openWindow();
        QVERIFY(window->commandOpenFileInTextEditor(QString()));
        QFile edited(bin.filePath(QStringLiteral("edited")));
        QTRY_VERIFY(edited.exists());
        QVERIFY(edited.open(QIODevice::ReadOnly));
        QCOMPARE(QString::fromLocal8Bit(edited.readAll()).trimmed(),
                 dir->filePath(QStringLiteral("table.csv")));
    }

    void init() {
        dir = std::make_unique<QTemporaryDir>();
        QVERIFY(dir->isValid());
        FileDialogHelper::saveFileNameHook = [](const QString&, const QString&, const QString&) {
            return QString();
        };
        FileDialogHelper::openFileNamesHook = [](const QString&, const QString&, const QString&) {
            return QStringList();
        };
        FileDialogHelper::existingDirectoryHook = [](const QString&, const QString&) { return QString(); };
    }

    void cleanup() {
        FileDialogHelper::saveFileNameHook = nullptr;
        FileDialogHelper::openFileNamesHook = nullptr;
        FileDialogHelper::existingDirectoryHook = nullptr;
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

    void everyWiredCommand_data() {
        QTest::addColumn<QString>("name");
        int count = 0;
        for (const CommandRow& row : Commands::rows()) {
            const QString name = QString::fromLatin1(row.name);
            // Exit closes every window of the process, the test's own included.
            if (!row.slot || name == QLatin1String("Exit"))
                continue;
            QTest::newRow(row.name) << name;
            ++count;
        }
        qInfo("wired commands covered: %d of 327", count);
    }
    void everyWiredCommand() {
        QFETCH(QString, name);
        MsgBoxAnswers answers;
        auto window = openWindow();
        TableView* view = window->getActiveTable();
        const Command& cmd = command(*window, name);
        // One cell, unless the command works on several.
        if (!cmd.context.isAll() && cmd.context.intersects(ContextMultiSelection))
            selectBlock(view, 1, 1, 2, 3);
        else
            view->moveSelectionAbsolute(2, 1);
        const QStringList tableBefore = cells(view);
        const QString selectionBefore = selection(view);
        const int stepsBefore = view->undoStack()->count();
        const bool enabled = cmd.action->isEnabled();
        QCOMPARE(enabled, cmd.matchesContext(window->getContext()));
        // A setting with a value rather than a switch is asked for in a prompt.
        bool valueSetting = false;
        for (const Setting* s : window->getSettings().getSettings())
            valueSetting = valueSetting || (s->type == cmd.setting && s->dataType != Bool);
        const bool settingBefore = cmd.setting == NoSetting || valueSetting ? false
                                   : cmd.scope == Table ? view->getTableSettingBool(cmd.setting)
                                                        : window->getSettings().getValueBool(cmd.setting);
        const bool readOnlyBefore = view->isReadOnly();
        const QPointer<TableView> stillThere(view);
        // A known clipboard, so that a paste has something to paste and a copy shows.
        QGuiApplication::clipboard()->setText(QStringLiteral("pasted"));
        cmd.action->trigger();
        if (!enabled)
            return; // disabled by its rule here, e.g. a command for a filtered table
        // A prompt: answered as a user would, with a count or a place away from the selection; a
        // list with its first option. A chain of prompts is answered prompt by prompt, until one
        // comes back with the same title (its answer didn't read) or none is left.
        // The transformation prompts that take neither: answers that change the fixture's words.
        static const QHash<QString, QString> textAnswers{
            {QStringLiteral("Type in Index:"), QStringLiteral("1")},
            {QStringLiteral("Type in Delimiter:"), QStringLiteral("b")},
            {QStringLiteral("First ID Value:"), QStringLiteral("5")}};
        QString lastTitle;
        for (int step = 0; step < 4; ++step) {
            Launcher* launcher = window->getLauncher();
            if (!launcher || launcher->getTitleLabel()->text() == lastTitle)
                break;
            const QString title = launcher->getTitleLabel()->text();
            lastTitle = title;
            const bool count = valueSetting || title.contains(QLatin1String("How Many")) ||
                               title.startsWith(QLatin1String("Number"));
            const bool list = launcher->getOptionList() != nullptr;
            launcher->getPromptEditor()->setText(list    ? QString()
                                                 : count ? QStringLiteral("2")
                                                         : textAnswers.value(title, QStringLiteral("5 4")));
            QTest::keyClick(launcher->getPromptEditor(), Qt::Key_Return);
        }
        // The command changed tables: closing, new file, tab switches. A closed table is gone even
        // when its successor happens to take the same address.
        if (!stillThere || window->getActiveTable() != view)
            return;
        // The fixture has no duplicate rows, and the selected block is in order already; these
        // are tried on a table where they act in commandsWithWork.
        static const QStringList nothingToDo{
            QStringLiteral("Remove Duplicate Row(s)"), QStringLiteral("Select Duplicate Row(s)"),
            QStringLiteral("Sort Selected Cells Horizontally - Ascending"),
            QStringLiteral("Sort Selected Cells Vertically - Ascending"),
            // The fixture holds trimmed lower-case words and no numbers or dates, and
            // these see one cell; tst_transformcommands runs them where they act.
            QStringLiteral("Lower Case"), QStringLiteral("Lower Camel Case"),
            QStringLiteral("Lower Snake Case"), QStringLiteral("Convert Date/Time Format"),
            QStringLiteral("Convert Number Format"), QStringLiteral("Zero-Fill Whole Numbers"),
            QStringLiteral("Remove Leading Zeros"), QStringLiteral("Set Number of Decimals"),
            QStringLiteral("Trim Selected Cell(s)"), QStringLiteral("Reshape Selected Cells Row-Wise"),
            QStringLiteral("Reshape Selected Cells Column-Wise"),
            QStringLiteral("Join Selected Cells Horizontally"),
            QStringLiteral("Join Selected Cells Vertically"),
            QStringLiteral("Join Selected Cells Horizontally, Move Rest of Row Left"),
            // Copies an encoding's name to the clipboard.
            QStringLiteral("List Character Encodings"),
            // Nothing is hidden or filtered in the fixture, and
            // "5 4" names no column of the Add Filter list; these
            // act in tst_filtercommands.
            QStringLiteral("Show All Hidden Row(s)"), QStringLiteral("Show All Hidden Column(s)"),
            QStringLiteral("Show Hidden Row(s) in Selection"),
            QStringLiteral("Show Hidden Column(s) in Selection"), QStringLiteral("Show Empty Row(s)"),
            QStringLiteral("Show Empty Column(s)"), QStringLiteral("Remove All Filtered Out and Hidden Data"),
            QStringLiteral("Add Filter"), QStringLiteral("Add Filter with Regular Expressions"),
            // The fixture's cells hold no table to spread.
            QStringLiteral("Parse Selected Cell Contents as Table"),
            // Opens the column's values for the user to pick; tst_uniquevalueswidget filters with them.
            QStringLiteral("Select Values in Selected Column to Filter")};
        if (nothingToDo.contains(name)) {
            QCOMPARE(cells(view), tableBefore);
            QCOMPARE(selection(view), selectionBefore);
            QCOMPARE(view->undoStack()->count(), stepsBefore);
            return;
        }
        // Cut and paste change cells in one step as the Data commands do.
        static const QStringList clipboardEdits{QStringLiteral("Cut Cell(s)"),
                                                QStringLiteral("Paste Cell(s)")};
        const bool dataCommand =
            (cmd.category.startsWith(QLatin1String("Data")) && cmd.setting == NoSetting) ||
            clipboardEdits.contains(name);
        if (name.startsWith(QLatin1String("Copy Cell(s)")))
            QVERIFY(QGuiApplication::clipboard()->text() != QLatin1String("pasted"));
        if (dataCommand) {
            // One step that changes the table, and its undo gives back table and selection.
            QCOMPARE(view->undoStack()->count(), stepsBefore + 1);
            QVERIFY(cells(view) != tableBefore);
            command(*window, QStringLiteral("Undo")).action->trigger();
            QCOMPARE(cells(view), tableBefore);
            QCOMPARE(selection(view), selectionBefore);
            command(*window, QStringLiteral("Redo")).action->trigger();
            QVERIFY(cells(view) != tableBefore);
            return;
        }
        // Anything else leaves the cells alone and the history as it was.
        QCOMPARE(cells(view), tableBefore);
        QCOMPARE(view->undoStack()->count(), stepsBefore);
        if (cmd.setting == UuidTypeOption) {
            // Answered with the list's first option.
            QCOMPARE(window->getSettings().getUuidType(), UuidV4);
        } else if (cmd.setting == ThemeOption) {
            // An empty answer names no theme: the prompt comes back, and the theme stays.
            QVERIFY(window->getLauncher());
            QCOMPARE(window->getSettings().getTheme().name, QStringLiteral("Dark"));
        } else if (valueSetting) {
            // A number setting, answered "2" above: the table's own for a table setting.
            const Setting* setting = window->getSettings().get(cmd.setting);
            if (setting->dataType == Int || setting->dataType == IntPositive ||
                setting->dataType == IntNonNegative) {
                const int now = cmd.scope == Table ? view->getSettings(false).getValueInt(cmd.setting)
                                                   : window->getSettings().getValueInt(cmd.setting);
                QCOMPARE(now, 2);
            }
        } else if (cmd.setting == ReadOnly) {
            QCOMPARE(view->isReadOnly(), !readOnlyBefore);
            QCOMPARE(cmd.action->isChecked(), view->isReadOnly());
        } else if (cmd.setting != NoSetting) {
            const bool after = cmd.scope == Table ? view->getTableSettingBool(cmd.setting)
                                                  : window->getSettings().getValueBool(cmd.setting);
            QCOMPARE(after, !settingBefore);
            // A switch shows its state.
            if (name.startsWith(QLatin1String("Toggle")))
                QCOMPARE(cmd.action->isChecked(), after);
            cmd.action->trigger();
            const bool back = cmd.scope == Table ? view->getTableSettingBool(cmd.setting)
                                                 : window->getSettings().getValueBool(cmd.setting);
            QCOMPARE(back, settingBefore);
        } else if (name.contains(QLatin1String("Match"))) {
            // The match commands of Selection look for the main cell's text, which the fixture
            // holds once: nothing else to select (tst_findwindow selects with them).
            QCOMPARE(selection(view), selectionBefore);
        } else if (cmd.category == QLatin1String("Selection") ||
                   (cmd.category == QLatin1String("Go To") && name.startsWith(QLatin1String("Go ")) &&
                    name != QLatin1String("Go to File"))) {
            QVERIFY2(selection(view) != selectionBefore, qPrintable(selection(view)));
        }
    }

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
        window->openFile(writeFile(dir->filePath(QStringLiteral("dups.csv")), "h,g\nb,2\na,1\nb,2\nB,4\n"));
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
        const QString second = writeFile(dir->filePath(QStringLiteral("second.csv")), "x,y\n1,2\n");
        window->openFile(second);
        TableView* active = window->getActiveTable();
        QVERIFY(active != first);
        const QStringList activeBefore = cells(active);
        const QStringList firstBefore = cells(first);
        QVERIFY(!window->commandRemoveRows(dir->filePath(QStringLiteral("none.csv"))));
        QVERIFY(!window->commandCloseAllFilesExceptCurrent(dir->filePath(QStringLiteral("none.csv"))));
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
