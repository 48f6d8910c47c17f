#include "app/application.h"

#include "table/tablemodel.h"
#include "table/tutorialtable.h"
#include "util/appdatautilities.h"
#include "view/tableview.h"
#include "window/helpwindow.h"
#include "window/mainwindow.h"
#include "window/tutorialwindow.h"

#include "util/msgboxanswers.h"

#include <QAction>
#include <QFile>
#include <QListWidget>
#include <QPushButton>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

namespace {

Application& app() {
    return *static_cast<Application*>(QCoreApplication::instance());
}

MainWindow& window() {
    return *app().getMainWindow();
}

QByteArray readAll(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void writeFile(const QString& path, const QByteArray& content) {
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(content);
}

QByteArray tutorialReference() {
    QTemporaryDir dir;
    const QString path = dir.filePath("t.csv");
    return TutorialTable::write(path) ? readAll(path) : QByteArray();
}

QAction* action(const QString& name) {
    const Command* command = window().getCommands().findByName(name);
    return command ? command->action : nullptr;
}

int stepIndex(const TutorialWindow& tour, const QString& command) {
    for (int i = 0; i < tour.stepCount(); ++i) {
        if (tour.stepCommand(i) == command)
            return i;
    }
    return -1;
}

QString cell(const TableView* view, int row, int col) {
    return view->tableModel()->getTableData().getValueRaw(row, col).toString();
}

} // namespace

// A start against an empty home: the first run of the program, and what the tutorial and the
// Help menu do afterwards.
class TestFirstRun : public QObject {
    Q_OBJECT

private:
    QTemporaryDir files;
    QString tutorialPath;

private slots:
    void initTestCase() {
        QVERIFY(files.isValid());
        tutorialPath = Utilities::getTutorialFilepath();
        QVERIFY(tutorialPath.startsWith(app().getAppDataPath()));
    }

    void firstRunWritesAndShowsTheTutorial() {
        QVERIFY(app().isFirstRun());
        QCOMPARE(readAll(tutorialPath), tutorialReference());
        QCOMPARE(readAll(tutorialPath).count('\n'), 101);
        // The tutorial takes the place of the empty table and has the tour beside it.
        QCOMPARE(window().getNumTables(), 1);
        QCOMPARE(window().getActiveFilepath(), tutorialPath);
        TutorialWindow* tour = window().getTutorialWindow();
        QVERIFY(tour);
        QVERIFY(tour->isVisible());
        QCOMPARE(tour->getTable(), window().getActiveTable());
        QCOMPARE(tour->doneCount(), 0);
        QCOMPARE(tour->currentStep(), 0);
    }

    // Start-up writes the file only when none is there: a second start keeps the user's file.
    void laterStartKeepsTheFile() {
        QTemporaryDir dir;
        const QString path = dir.filePath("Tutorial (Fake Data).csv");
        QVERIFY(!Application::prepareTutorialFile(path));
        QCOMPARE(readAll(path), tutorialReference());
        writeFile(path, "ID,Name\n7,Edited\n");
        QVERIFY(Application::prepareTutorialFile(path));
        QCOMPARE(readAll(path), QByteArray("ID,Name\n7,Edited\n"));
    }

    // The tour shows the steps whose command is built, and each ticks when its command runs.
    void stepsTickWhenTheirCommandRuns_data() {
        QTest::addColumn<QString>("command");
        for (const TutorialWindow::StepDefinition& step : TutorialWindow::allSteps())
            QTest::newRow(step.command) << QString::fromLatin1(step.command);
    }
    void stepsTickWhenTheirCommandRuns() {
        QFETCH(QString, command);
        MsgBoxAnswers answers;
        TutorialWindow* tour = window().getTutorialWindow();
        QVERIFY(tour);
        const Command* record = window().getCommands().findByName(command);
        QVERIFY2(record, "every step names a command of the command table");
        const int index = stepIndex(*tour, command);
        if (!window().getCommands().isWired(*record)) {
            QCOMPARE(index, -1);
            return;
        }
        QVERIFY(index >= 0);
        QVERIFY(!tour->isDone(index));
        const int doneBefore = tour->doneCount();
        QVERIFY(record->action->isEnabled());
        record->action->trigger();
        window().closeLauncher();
        QVERIFY(tour->isDone(index));
        QCOMPARE(tour->doneCount(), doneBefore + 1);
        QCOMPARE(tour->getStepList()->item(index)->checkState(), Qt::Checked);
        // Once done stays done, and counts once.
        record->action->trigger();
        window().closeLauncher();
        QCOMPARE(tour->doneCount(), doneBefore + 1);
    }

    void howToNamesTheKeysInEffect() {
        TutorialWindow* tour = window().getTutorialWindow();
        QVERIFY(tour && tour->stepCount() > 0);
        const QString launcherKey =
            action("Command Launcher")->shortcuts().first().toString(QKeySequence::NativeText);
        for (int i = 0; i < tour->stepCount(); ++i) {
            const QAction* stepAction = action(tour->stepCommand(i));
            const QString howTo = tour->stepHowTo(i);
            QVERIFY2(howTo.contains(tour->stepCommand(i).toHtmlEscaped()), qPrintable(howTo));
            if (stepAction->shortcuts().isEmpty())
                QVERIFY2(howTo.contains(launcherKey), qPrintable(howTo));
            else
                QVERIFY2(howTo.contains(stepAction->shortcuts().first().toString(QKeySequence::NativeText)),
                         qPrintable(howTo));
        }
    }

    void nextAndBack() {
        TutorialWindow* tour = window().getTutorialWindow();
        QVERIFY(tour && tour->stepCount() > 1);
        tour->goToStep(0);
        QVERIFY(!tour->getBackButton()->isEnabled());
        tour->back();
        QCOMPARE(tour->currentStep(), 0);
        tour->getNextButton()->click();
        QCOMPARE(tour->currentStep(), 1);
        tour->getBackButton()->click();
        QCOMPARE(tour->currentStep(), 0);
        tour->goToStep(tour->stepCount() - 1);
        QVERIFY(!tour->getNextButton()->isEnabled());
        tour->next();
        QCOMPARE(tour->currentStep(), tour->stepCount() - 1);
    }

    // The tour is about the tutorial table: it steps aside for another table, and commands run
    // there tick nothing.
    void otherTablesTickNothing() {
        MsgBoxAnswers answers;
        answers.queue = {1, 1, 1}; // "Don't Save" for the tutorial table changed above
        QVERIFY(action("Restore Tutorial to Default")->isEnabled());
        action("Restore Tutorial to Default")->trigger();
        TutorialWindow* tour = window().getTutorialWindow();
        QVERIFY(tour);
        QCOMPARE(tour->doneCount(), 0);
        TableView* tutorial = window().getActiveTable();

        const QString other = files.filePath("other.csv");
        writeFile(other, "a,b\n1,2\n");
        window().openFile(other);
        QVERIFY(window().getActiveTable() != tutorial);
        QVERIFY(!tour->isVisible());
        action("Undo")->trigger();
        action("Toggle Show Editor Pane")->trigger();
        action("Toggle Show Editor Pane")->trigger();
        QCOMPARE(tour->doneCount(), 0);

        window().setActiveTable(tutorial);
        QVERIFY(tour->isVisible());
        action("Undo")->trigger();
        QCOMPARE(tour->doneCount(), 1);
        window().closeFile(window().getTableView(other));
    }

    void restoreRewritesTheTutorial() {
        MsgBoxAnswers answers;
        TableView* view = window().getTableView(tutorialPath);
        QVERIFY(view);
        view->tableModel()->setDataRaw(1, 1, QStringLiteral("Changed"));
        QVERIFY(view->tableModel()->saveCSV(true, false));
        QVERIFY(readAll(tutorialPath) != tutorialReference());

        action("Restore Tutorial to Default")->trigger();
        QCOMPARE(readAll(tutorialPath), tutorialReference());
        TableView* restored = window().getTableView(tutorialPath);
        QVERIFY(restored);
        QCOMPARE(window().getActiveTable(), restored);
        QCOMPARE(cell(restored, 1, 1), QStringLiteral("Smith"));
        QCOMPARE(window().getOpenFilepaths().count(tutorialPath), 1);
        QVERIFY(window().getTutorialWindow());
        QCOMPARE(window().getTutorialWindow()->doneCount(), 0);
        QVERIFY(answers.asked.isEmpty());
    }

    void closingTheTutorialTableClosesTheTour() {
        MsgBoxAnswers answers;
        QVERIFY(window().getTutorialWindow());
        QVERIFY(window().closeFile(window().getTableView(tutorialPath)));
        QVERIFY(!window().getTutorialWindow());
        QVERIFY(!window().getTableView(tutorialPath));

        // Open Tutorial brings both back; the file on disk is the user's and is not rewritten.
        writeFile(tutorialPath, "ID,Last Name\n0,Kept\n");
        action("Open Tutorial")->trigger();
        TableView* view = window().getTableView(tutorialPath);
        QVERIFY(view);
        QCOMPARE(cell(view, 1, 1), QStringLiteral("Kept"));
        QVERIFY(window().getTutorialWindow());
        QVERIFY(window().getTutorialWindow()->isVisible());

        // The tour's own close button ends it; the table stays.
        window().getTutorialWindow()->close();
        QTRY_VERIFY(!window().getTutorialWindow());
        QVERIFY(window().getTableView(tutorialPath));
    }

    void openTutorialWritesAMissingFile() {
        MsgBoxAnswers answers;
        window().closeFile(window().getTableView(tutorialPath));
        QVERIFY(QFile::remove(tutorialPath));
        action("Open Tutorial")->trigger();
        QCOMPARE(readAll(tutorialPath), tutorialReference());
        QVERIFY(window().getTutorialWindow());
    }

    void helpWindowsOpen_data() {
        QTest::addColumn<QString>("command");
        QTest::addColumn<QStringList>("phrases");
        QTest::newRow("documentation")
            << "Documentation" << QStringList{"Orvane User Guide",       "The command launcher",
                                              "Read-only mode",          "Preferences",
                                              "Opening files",           "The keyboard",
                                              "Tutorial (Fake Data).csv"};
        QTest::newRow("changelog") << "View Changelog" << QStringList{"Changelog", "Orvane 2.4.2"};
    }
    void helpWindowsOpen() {
        QFETCH(QString, command);
        QFETCH(QStringList, phrases);
        action(command)->trigger();
        HelpWindow* help =
            command == "Documentation" ? window().getDocumentationWindow() : window().getChangelogWindow();
        QVERIFY(help);
        QVERIFY(help->isVisible());
        const QString text = help->toPlainText();
        for (const QString& phrase : phrases)
            QVERIFY2(text.contains(phrase), qPrintable(phrase));
        // In the theme's colours.
        QVERIFY(help->document()->defaultStyleSheet().contains(
            window().getSettings().getTheme().TextColor.name()));
        // One window of each: the command raises it again.
        action(command)->trigger();
        QCOMPARE(command == "Documentation" ? window().getDocumentationWindow()
                                            : window().getChangelogWindow(),
                 help);
        // Escape puts it away.
        QTest::keyClick(help, Qt::Key_Escape);
        QTRY_VERIFY(command == "Documentation" ? !window().getDocumentationWindow()
                                               : !window().getChangelogWindow());
    }

    void aboutNamesVersionQtAndLicence() {
        MsgBoxAnswers answers;
        action("About")->trigger();
        QCOMPARE(answers.asked.size(), 1);
        const QString text = answers.asked.first().text;
        QVERIFY(text.contains("Orvane 2.4.2"));
        QVERIFY(text.contains(QString::fromLatin1(qVersion())));
        QVERIFY(text.contains("Licence"));
    }
};

int main(int argc, char** argv) {
    // A home of its own, empty: this start is a first run.
    QTemporaryDir home;
    if (!home.isValid())
        return 1;
    qputenv("HOME", home.path().toUtf8());
    qunsetenv("XDG_DATA_HOME");
    qunsetenv("XDG_CONFIG_HOME");
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QStandardPaths::setTestModeEnabled(true);

    int appArgc = 1;
    Application application(appArgc, argv, true, Application::User, 1000);
    QGuiApplication::setQuitOnLastWindowClosed(false);
    TestFirstRun test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_firstrun.moc"
