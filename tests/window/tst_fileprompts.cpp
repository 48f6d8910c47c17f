// The File menu's prompts and the status bar's lists on a real window: answers as a user types
// them, wrong ones, answers that would replace a file, and what the next save writes.

#include "window/mainwindow.h"

#include "table/tablemodel.h"
#include "util/msgboxanswers.h"
#include "view/tableview.h"
#include "window/launcher.h"
#include "window/optionlistwidget.h"
#include "window/paneview.h"
#include "window/prevoptionwidget.h"
#include "window/windowtesthelpers.h"

#include <QDir>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QStandardPaths>
#include <QStatusBar>
#include <QTemporaryDir>
#include <QTest>
#include <QUndoStack>

#include <memory>

namespace {

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

const QString kOverwriteQuestion =
    QStringLiteral("A file already exists there. Do you want to overwrite it?");

} // namespace

class TestFilePrompts : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<QTemporaryDir> dir;
    QTemporaryDir home;

    QString path(const QString& name) const { return dir->filePath(name); }

    std::unique_ptr<MainWindow> openWindow(const QString& file) {
        auto window = std::make_unique<MainWindow>();
        window->setAttribute(Qt::WA_DeleteOnClose, false);
        window->resize(1000, 700);
        window->openFile(file);
        return window;
    }

    // Runs the command by its launcher name, as Ctrl+L, a few letters and Return do.
    static void runCommand(MainWindow& window, const QString& name) {
        QVERIFY(window.getCommands().findByName(name));
        window.getCommands().findByName(name)->action->trigger();
    }

    // Answers the open prompt with `text` and Return.
    static void answer(MainWindow& window, const QString& text) {
        Launcher* launcher = window.getLauncher();
        QVERIFY(launcher);
        launcher->getPromptEditor()->setText(text);
        QTest::keyClick(launcher->getPromptEditor(), Qt::Key_Return);
    }

    static QString title(const MainWindow& window) {
        // An answered launcher hides at once and goes at the next turn of the event loop.
        const Launcher* launcher = window.getLauncher();
        return launcher && !launcher->isHidden() ? launcher->getTitleLabel()->text() : QString();
    }

private slots:
    void initTestCase() {
        QStandardPaths::setTestModeEnabled(true);
        // The settings these prompts remember stay in this test's own home.
        QVERIFY(home.isValid());
        qputenv("HOME", home.path().toLocal8Bit());
    }
    void init() {
        dir = std::make_unique<QTemporaryDir>();
        QVERIFY(dir->isValid());
    }

    // --- Rename -----------------------------------------------------------------------------

    void renameOntoExisting_data() {
        QTest::addColumn<int>("button"); // of the overwrite question
        QTest::addColumn<bool>("replaced");
        QTest::addColumn<bool>("promptBack");
        QTest::newRow("overwrite") << 0 << true << false;
        QTest::newRow("don't overwrite") << 1 << false << true;
        QTest::newRow("cancel") << 2 << false << false;
    }
    void renameOntoExisting() {
        QFETCH(int, button);
        QFETCH(bool, replaced);
        QFETCH(bool, promptBack);
        const QString a = writeFile(path("a.csv"), "1,2\n");
        const QString b = writeFile(path("b.csv"), "old\n");
        auto window = openWindow(a);
        MsgBoxAnswers answers;
        answers.queue = {button};
        runCommand(*window, QStringLiteral("Rename File"));
        QCOMPARE(title(*window), QStringLiteral("Rename File:"));
        // The name stands in the prompt with the base name selected, ready to be typed over.
        QCOMPARE(window->getLauncher()->getPromptEditor()->text(), QStringLiteral("a.csv"));
        QCOMPARE(window->getLauncher()->getPromptEditor()->selectedText(), QStringLiteral("a"));
        answer(*window, QStringLiteral(" b.csv "));
        QCOMPARE(answers.texts(), QStringList{kOverwriteQuestion});
        // Neither file is ever lost: one of the two contents is at b, the other at a or b.
        QCOMPARE(readFile(b), replaced ? QByteArray("1,2\n") : QByteArray("old\n"));
        QCOMPARE(QFile::exists(a), !replaced);
        QCOMPARE(window->getActiveFilepath(), replaced ? b : a);
        QVERIFY(!QFile::exists(b + QStringLiteral(".replaced-0")));
        QCOMPARE(title(*window), promptBack ? QStringLiteral("Rename File:") : QString());
        if (promptBack)
            QCOMPARE(window->getLauncher()->getPromptEditor()->text(), QStringLiteral(" b.csv "));
    }

    void renameAnswers() {
        const QString a = writeFile(path("a.csv"), "1,2\n");
        auto window = openWindow(a);
        MsgBoxAnswers answers;
        // A name with a folder in it comes back to be put right; nothing moves.
        runCommand(*window, QStringLiteral("Rename File"));
        answer(*window, QStringLiteral("sub/c.csv"));
        QCOMPARE(title(*window), QStringLiteral("Rename File:"));
        QCOMPARE(window->getLauncher()->getPromptEditor()->text(), QStringLiteral("sub/c.csv"));
        QVERIFY(QFile::exists(a));
        // Typed over the selected base name, as a user does.
        window->getPaneView()->closeLauncher();
        runCommand(*window, QStringLiteral("Rename File"));
        QTest::keyClicks(window->getLauncher()->getPromptEditor(), QStringLiteral("c"));
        QTest::keyClick(window->getLauncher()->getPromptEditor(), Qt::Key_Return);
        QVERIFY(answers.asked.isEmpty());
        QVERIFY(!QFile::exists(a));
        QCOMPARE(readFile(path("c.csv")), QByteArray("1,2\n"));
        QCOMPARE(window->getActiveFilepath(), path("c.csv"));
        QVERIFY(window->windowTitle().startsWith(QLatin1String("c.csv")));
    }

    // A prompt answered after the user went to another tab still acts on the file it named.
    void promptsKeepTheirTable_data() {
        QTest::addColumn<QString>("command");
        QTest::addColumn<QString>("made");
        QTest::addColumn<bool>("sourceStays");
        QTest::newRow("rename") << "Rename File"
                                << "c.csv" << false;
        QTest::newRow("duplicate") << "Duplicate File"
                                   << "c.csv" << true;
    }
    void promptsKeepTheirTable() {
        QFETCH(QString, command);
        QFETCH(QString, made);
        QFETCH(bool, sourceStays);
        const QString a = writeFile(path("a.csv"), "a\n");
        const QString b = writeFile(path("b.csv"), "b\n");
        auto window = openWindow(a);
        window->openFile(b);
        QCOMPARE(window->getActiveFilepath(), b);
        MsgBoxAnswers answers;
        runCommand(*window, command);
        window->setActiveTable(window->getTableView(a));
        QCOMPARE(window->getActiveFilepath(), a);
        if (!window->getLauncher())
            QSKIP("the prompt closes with a change of table");
        answer(*window, made);
        QCOMPARE(readFile(path(made)), QByteArray("b\n"));
        QCOMPARE(readFile(a), QByteArray("a\n"));
        QCOMPARE(QFile::exists(b), sourceStays);
    }

    // --- Duplicate --------------------------------------------------------------------------

    void duplicateStaysUpOnFailure() {
        const QString a = writeFile(path("a.csv"), "1,2\n");
        const QString b = writeFile(path("b.csv"), "old\n");
        const QString open = writeFile(path("open.csv"), "x\n");
        auto window = openWindow(open);
        window->openFile(a);
        MsgBoxAnswers answers;
        runCommand(*window, QStringLiteral("Duplicate File"));
        QCOMPARE(title(*window), QStringLiteral("Duplicate File Name:"));
        Launcher* launcher = window->getLauncher();
        QCOMPARE(launcher->getPromptEditor()->text(), QStringLiteral("a Duplicate.csv"));
        QCOMPARE(launcher->getPromptEditor()->selectedText(), QStringLiteral("a Duplicate"));

        // The original's name: told so, and the same prompt stays with the text and selection.
        launcher->getPromptEditor()->setText(QStringLiteral("a.csv"));
        launcher->getPromptEditor()->setSelection(0, 1);
        QTest::keyClick(launcher->getPromptEditor(), Qt::Key_Return);
        QCOMPARE(answers.texts(), QStringList{QStringLiteral("Choose a different name from the original.")});
        QCOMPARE(window->getLauncher(), launcher);
        QCOMPARE(launcher->getPromptEditor()->text(), QStringLiteral("a.csv"));
        QCOMPARE(launcher->getPromptEditor()->selectedText(), QStringLiteral("a"));

        // A file open in another tab is never replaced under it.
        answer(*window, QStringLiteral("open.csv"));
        QCOMPARE(answers.texts().last(), QStringLiteral("That file is open in another tab. Close it first."));
        QCOMPARE(readFile(open), QByteArray("x\n"));
        QCOMPARE(window->getLauncher(), launcher);

        // An existing file: not overwritten, back in the prompt; then overwritten.
        answers.queue = {1, 0};
        answer(*window, QStringLiteral("b.csv"));
        QCOMPARE(answers.texts().last(), kOverwriteQuestion);
        QCOMPARE(readFile(b), QByteArray("old\n"));
        QCOMPARE(window->getLauncher(), launcher);
        answer(*window, QStringLiteral("b.csv"));
        QCOMPARE(readFile(b), QByteArray("1,2\n"));
        QCOMPARE(readFile(a), QByteArray("1,2\n"));
        QCOMPARE(window->getActiveFilepath(), b);
        QCOMPARE(title(*window), QString());
        QCOMPARE(QDir(dir->path()).entryList(QDir::Files).size(), 3); // nothing set aside is left
    }

    // --- Save options -----------------------------------------------------------------------

    void saveOptionsChangeWhatIsWritten() {
        const QString a = writeFile(path("a.csv"), "a,b\n1,2\n");
        auto window = openWindow(a);
        TableView* view = window->getActiveTable();
        MsgBoxAnswers answers;
        runCommand(*window, QStringLiteral("Set Delimiter for File Save"));
        answer(*window, QStringLiteral("semicolon"));
        runCommand(*window, QStringLiteral("Set Line Ending for File Save"));
        answer(*window, QStringLiteral("Windows"));
        QCOMPARE(view->undoStack()->count(), 2);
        QCOMPARE(cells(view).first(), QStringLiteral("a,b"));
        QVERIFY(window->commandSaveFile());
        QCOMPARE(readFile(a), QByteArray("a;b\r\n1;2\r\n"));
        // The table is read again with what was written.
        QCOMPARE(cells(view).first(), QStringLiteral("a,b"));

        // A delimiter that isn't one comes back to be put right.
        runCommand(*window, QStringLiteral("Set Delimiter for File Save"));
        answer(*window, QStringLiteral("two chars"));
        QCOMPARE(title(*window), QStringLiteral("Delimiter for File Save:"));
        QCOMPARE(window->getLauncher()->getPromptEditor()->text(), QStringLiteral("two chars"));
    }

    // An encoding that can't write some cells asks first: kept, nothing changes; changed, the
    // cells show what the file will hold. Text it can write asks nothing.
    void lossyEncodingAsksFirst() {
        // A ragged file: the header row, untouched, keeps its two fields through the change.
        const QString a = writeFile(path("a.csv"), "name,price\nx,\xE2\x82\xAC"
                                                   "5,z\n");
        auto window = openWindow(a);
        TableView* view = window->getActiveTable();
        MsgBoxAnswers answers;
        answers.queue = {1, 0};
        runCommand(*window, QStringLiteral("Set Encoding for File Save"));
        answer(*window, QStringLiteral("ISO 8859-1"));
        QCOMPARE(answers.texts(),
                 QStringList{QStringLiteral("1 cell holds characters that ISO 8859-1 (Western "
                                            "European) can't write: they would become \"?\".\n\n"
                                            "Change the encoding anyway?")});
        QCOMPARE(view->undoStack()->count(), 0);
        QCOMPARE(window->getEncodingLabelText(), QStringLiteral("UTF-8"));
        QCOMPARE(cells(view).at(1), QStringLiteral("x,\u20AC5,z"));

        runCommand(*window, QStringLiteral("Set Encoding for File Save"));
        answer(*window, QStringLiteral("ISO 8859-1"));
        QCOMPARE(answers.texts().size(), 2);
        QCOMPARE(view->undoStack()->count(), 1);
        QCOMPARE(cells(view).at(1), QStringLiteral("x,?5,z"));
        view->undoStack()->undo();
        QCOMPARE(cells(view).at(1), QStringLiteral("x,\u20AC5,z"));

        // Windows-1252 has the euro sign.
        runCommand(*window, QStringLiteral("Set Encoding for File Save"));
        answer(*window, QStringLiteral("windows-1252"));
        QCOMPARE(answers.texts().size(), 2);
        QVERIFY(window->commandSaveFile());
        QCOMPARE(readFile(a), QByteArray("name,price\nx,\x80"
                                         "5,z\n"));
    }

    // The status bar names what the next save writes, also after undo and redo.
    void statusBarFollowsUndoOfSaveOptions() {
        const QString a = writeFile(path("a.csv"), "a,b\n1,2\n");
        auto window = openWindow(a);
        TableView* view = window->getActiveTable();
        MsgBoxAnswers answers;
        runCommand(*window, QStringLiteral("Set Delimiter for File Save"));
        answer(*window, QStringLiteral("semicolon"));
        runCommand(*window, QStringLiteral("Set Encoding for File Save"));
        answer(*window, QStringLiteral("utf-16le"));
        const QString both = QStringLiteral("Delimiters (Load, Save): ,, ;");
        QCOMPARE(window->getDelimiterLabelText(), both);
        QCOMPARE(window->getEncodingLabelText(), QStringLiteral("UTF-16LE"));
        view->undoStack()->undo();
        QCOMPARE(window->getEncodingLabelText(), QStringLiteral("UTF-8"));
        view->undoStack()->undo();
        QCOMPARE(window->getDelimiterLabelText(), QStringLiteral("Delimiter: ,"));
        view->undoStack()->redo();
        QCOMPARE(window->getDelimiterLabelText(), both);
        view->undoStack()->redo();
        QCOMPARE(window->getEncodingLabelText(), QStringLiteral("UTF-16LE"));
    }

    void saveParametersChain() {
        const QString a = writeFile(path("a.csv"), "a,b\n1,2\n");
        auto window = openWindow(a);
        TableView* view = window->getActiveTable();
        MsgBoxAnswers answers;
        // From the keys, as a user starts it: Ctrl+L, a few letters, Return.
        window->show();
        window->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(window.get()));
        view->setFocus();
        QTest::keyClick(view, Qt::Key_L, Qt::ControlModifier);
        QVERIFY(window->getLauncher());
        QTest::keyClicks(window->getLauncher()->getPromptEditor(), QStringLiteral("setparamfile"));
        QTest::keyClick(window->getLauncher()->getPromptEditor(), Qt::Key_Return);
        QCOMPARE(title(*window), QStringLiteral("Delimiter for File Save:"));
        answer(*window, QStringLiteral("tab"));
        answer(*window, QStringLiteral("unix"));
        // Two steps answered stand as bars above the third, which takes a wrong answer again.
        QCOMPARE(title(*window), QStringLiteral("Encoding for File Save:"));
        const auto& bars = window->getPaneView()->getPrevOptions();
        QCOMPARE(bars.size(), size_t(2));
        QCOMPARE(bars[0]->getAnswer(), QStringLiteral("Tab"));
        QCOMPARE(bars[1]->getAnswer(), QStringLiteral("Mac/Linux (LF)"));
        answer(*window, QStringLiteral("no such encoding"));
        QCOMPARE(title(*window), QStringLiteral("Encoding for File Save:"));
        QCOMPARE(window->getPaneView()->getPrevOptions().size(), size_t(2));
        answer(*window, QStringLiteral("utf-8"));
        answer(*window, QStringLiteral("All Quotes"));
        QCOMPARE(title(*window), QString());
        QVERIFY(window->getPaneView()->getPrevOptions().empty());
        // One step for the whole chain, and undo takes all of it back.
        QCOMPARE(view->undoStack()->count(), 1);
        view->undoStack()->undo();
        QVERIFY(window->commandSaveFile());
        QCOMPARE(readFile(a), QByteArray("a,b\n1,2\n"));
        view->undoStack()->redo();
        QVERIFY(window->commandSaveFile());
        QCOMPARE(readFile(a), QByteArray("\"a\"\t\"b\"\n\"1\"\t\"2\"\n"));
    }

    // --- Reload -----------------------------------------------------------------------------

    void reloadWithEncodingAsksFirst_data() {
        QTest::addColumn<int>("button"); // save, discard, cancel
        QTest::addColumn<QString>("firstCell");
        QTest::newRow("discard") << 1 << "café";
        QTest::newRow("cancel") << 2 << "edited";
    }
    void reloadWithEncodingAsksFirst() {
        QFETCH(int, button);
        QFETCH(QString, firstCell);
        const QString a = writeFile(path("a.csv"), "caf\xe9,x\n");
        auto window = openWindow(a);
        TableView* view = window->getActiveTable();
        TableModel* model = view->tableModel();
        model->setData(model->index(0, 0), QStringLiteral("edited"));
        QVERIFY(view->isModified());
        MsgBoxAnswers answers;
        answers.queue = {button};
        runCommand(*window, QStringLiteral("Reload File with Encoding"));
        answer(*window, QStringLiteral("windows-1252"));
        QCOMPARE(answers.asked.size(), 1);
        QVERIFY(answers.texts().first().startsWith(QLatin1String("This file has unsaved changes.")));
        QCOMPARE(model->data(model->index(0, 0), Qt::EditRole).toString(), firstCell);
        QCOMPARE(view->isModified(), button == 2);
        QCOMPARE(readFile(a), QByteArray("caf\xe9,x\n"));
    }

    void reloadWithDelimiterKeepsTheFile() {
        const QString a = writeFile(path("a.csv"), "a;b,c\n1;2,3\n");
        auto window = openWindow(a);
        TableView* view = window->getActiveTable();
        QCOMPARE(cells(view, QLatin1Char('|')).first(), QStringLiteral("a;b|c"));
        MsgBoxAnswers answers;
        runCommand(*window, QStringLiteral("Reload File with Delimiter"));
        QCOMPARE(title(*window), QStringLiteral("Reload File with Delimiter:"));
        // An answer that names no delimiter comes back to be put right; nothing is read again.
        answer(*window, QStringLiteral("zzz"));
        QCOMPARE(title(*window), QStringLiteral("Reload File with Delimiter:"));
        QCOMPARE(window->getLauncher()->getPromptEditor()->text(), QStringLiteral("zzz"));
        QCOMPARE(cells(view, QLatin1Char('|')).first(), QStringLiteral("a;b|c"));
        answer(*window, QStringLiteral(";"));
        QCOMPARE(cells(view, QLatin1Char('|')).first(), QStringLiteral("a|b,c"));
        QCOMPARE(window->getDelimiterLabelText(), QStringLiteral("Delimiter: ;"));
        // What was read with the new delimiter is written back with it.
        QVERIFY(window->commandSaveFile());
        QCOMPARE(readFile(a), QByteArray("a;b,c\n1;2,3\n"));
    }

    void reloadChainGoesBack() {
        const QString a = writeFile(path("a.csv"), "a;b\n");
        auto window = openWindow(a);
        MsgBoxAnswers answers;
        runCommand(*window, QStringLiteral("Reload File with Different Parameters"));
        answer(*window, QStringLiteral("comma"));
        answer(*window, QStringLiteral("UTF-8"));
        QCOMPARE(title(*window), QStringLiteral("Parsing Standard:"));
        // Ctrl+minus: back to the encoding, the delimiter's bar staying.
        QTest::keyClick(window->getLauncher()->getPromptEditor(), Qt::Key_Minus, Qt::ControlModifier);
        QCOMPARE(title(*window), QStringLiteral("Encoding:"));
        QCOMPARE(window->getPaneView()->getPrevOptions().size(), size_t(1));
        answer(*window, QStringLiteral("UTF-8"));
        window->getPaneView()->getPrevOptions().front()->goHereSignal();
        QCOMPARE(title(*window), QStringLiteral("Delimiter:"));
        answer(*window, QStringLiteral("semicolon"));
        answer(*window, QStringLiteral("UTF-8"));
        answer(*window, QStringLiteral("RFC 4180"));
        QCOMPARE(cells(window->getActiveTable(), QLatin1Char('|')).first(), QStringLiteral("a|b"));
    }

    // --- Status bar ---------------------------------------------------------------------------

    void statusBarLabelsOpenTheirLists_data() {
        QTest::addColumn<QString>("label");
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("option");
        QTest::newRow("encoding") << "UTF-8"
                                  << "Encoding Commands:"
                                  << "File/Reload: Reload File with Encoding";
        QTest::newRow("delimiter") << "Delimiter: ,"
                                   << "Delimiter Commands:"
                                   << "File/Save Options: Set Delimiter for File Save";
        QTest::newRow("mode") << "Editable"
                              << "File Mode Commands:"
                              << "Edit: Toggle Read-Only";
        QTest::newRow("size") << "2 rows x 2 columns"
                              << "Table Dimensions Commands:"
                              << "File: Toggle Remove Extraneous Rows/Columns on File Save";
        QTest::newRow("line ending") << "Unix"
                                     << "Line Ending for File Save:"
                                     << "Windows (CR LF)";
    }
    void statusBarLabelsOpenTheirLists() {
        QFETCH(QString, label);
        QFETCH(QString, title);
        QFETCH(QString, option);
        auto window = openWindow(writeFile(path("a.csv"), "a,b\n1,2\n"));
        window->show();
        QLabel* target = nullptr;
        for (QLabel* l : window->statusBar()->findChildren<QLabel*>()) {
            if (l->text() == label)
                target = l;
        }
        QVERIFY2(target, qPrintable(label));
        QTest::mouseClick(target, Qt::LeftButton);
        QCOMPARE(TestFilePrompts::title(*window), title);
        QStringList shown;
        for (const OptionWidget* w : window->getLauncher()->getOptionList()->getOrderedOptions())
            shown.append(w->getOptionText());
        QVERIFY2(shown.contains(option), qPrintable(shown.join(QLatin1String("; "))));
    }

    // --- Program settings ----------------------------------------------------------------------

    void settingPrompts() {
        auto window = openWindow(writeFile(path("a.csv"), "a,b\n"));
        Settings& settings = window->getSettings();
        MsgBoxAnswers answers;
        runCommand(*window, QStringLiteral("Set Text Size"));
        answer(*window, QStringLiteral("500"));
        QCOMPARE(title(*window), QStringLiteral("Text Size:")); // out of range: asked again
        answer(*window, QStringLiteral("15"));
        QCOMPARE(settings.getValueInt(TextSize), 15);
        runCommand(*window, QStringLiteral("Set Search Engine"));
        answer(*window, QStringLiteral("search.example.org"));
        QCOMPARE(settings.getValueString(SearchEngine), QStringLiteral("search.example.org"));
        runCommand(*window, QStringLiteral("Set Behavior When File Is Changed Externally"));
        answer(*window, QStringLiteral("ignore"));
        QCOMPARE(settings.getValueRefreshBehavior(RefreshBehaviorOption), RefreshBehaviorIgnore);
        runCommand(*window, QStringLiteral("Set Font"));
        answer(*window, QStringLiteral("no font of this name"));
        QCOMPARE(title(*window), QStringLiteral("Font:"));
        runCommand(*window, QStringLiteral("Set Text Editor"));
        answer(*window, QStringLiteral("  "));
        QCOMPARE(settings.getValueString(TextEditor), settings.get(TextEditor)->defaultValue.toString());
        QVERIFY(answers.asked.isEmpty());
    }
};

QTEST_MAIN(TestFilePrompts)
#include "tst_fileprompts.moc"
