#include "window/commandfixture.h"

#include "table/tablemodel.h"
#include "util/msgboxanswers.h"
#include "view/tableview.h"
#include "window/commands.h"
#include "window/launcher.h"
#include "window/mainwindow.h"

#include <QAction>
#include <QClipboard>
#include <QGuiApplication>
#include <QHash>
#include <QLabel>
#include <QLineEdit>
#include <QPointer>
#include <QTest>
#include <QUndoStack>

namespace {

// The menus whose commands one run tries: the data menus that change cells, the data menus
// that move, add, remove, hide and filter, the menus that select, move and show, or (unset) all
// the others. Each runs as a test of its own, so none grows past the time one test may take.
enum class Menus { Cells, Structure, Looking, Rest };

Menus menusOf(const QString& category) {
    const QString menu = category.section(QLatin1Char('/'), 0, 0);
    static const QStringList structure{QStringLiteral("Data/Delete"), QStringLiteral("Data/Insert"),
                                       QStringLiteral("Data/Move"),   QStringLiteral("Data/Duplicate"),
                                       QStringLiteral("Data/Filter"), QStringLiteral("Data/Hide/Show")};
    if (structure.contains(category))
        return Menus::Structure;
    if (menu == QLatin1String("Data"))
        return Menus::Cells;
    if (menu == QLatin1String("Selection") || menu == QLatin1String("Go To") || menu == QLatin1String("View"))
        return Menus::Looking;
    return Menus::Rest;
}

Menus menusOfThisRun() {
    const QByteArray menus = qgetenv("ORVANE_TEST_MENUS");
    return menus == "cells"       ? Menus::Cells
           : menus == "structure" ? Menus::Structure
           : menus == "looking"   ? Menus::Looking
                                  : Menus::Rest;
}

} // namespace

// Every wired command, triggered from its action on the fixture as a user would: a command
// that changes cells does so in one step that undo takes back exactly; anything else leaves
// the cells and the history alone and does what its kind promises.
class TestEveryCommand : public QObject {
    Q_OBJECT

private:
    CommandFixture f;

private slots:
    void initTestCase() { f.initTestCase(); }
    void cleanupTestCase() { f.cleanupTestCase(); }
    void init() { f.init(); }
    void cleanup() { f.cleanup(); }

    void everyWiredCommand_data() {
        QTest::addColumn<QString>("name");
        int count = 0;
        const Menus menus = menusOfThisRun();
        for (const CommandRow& row : Commands::rows()) {
            const QString name = QString::fromLatin1(row.name);
            // Exit closes every window of the process, the test's own included.
            if (!row.slot || name == QLatin1String("Exit") ||
                menusOf(QString::fromLatin1(row.category)) != menus)
                continue;
            QTest::newRow(row.name) << name;
            ++count;
        }
        qInfo("wired commands covered in these menus: %d", count);
    }
    void everyWiredCommand() {
        QFETCH(QString, name);
        MsgBoxAnswers answers;
        auto window = f.openWindow();
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
};

QTEST_MAIN(TestEveryCommand)
#include "tst_everycommand.moc"
