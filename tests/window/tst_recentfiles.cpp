// The recent files: kept newest first, shown in File > Open Recent File and in the launcher,
// and a file that is gone is said so once and leaves the list.

#include "window/mainwindow.h"

#include "util/msgboxanswers.h"
#include "view/tableview.h"
#include "window/commands.h"
#include "window/launcher.h"

#include <QAction>
#include <QFile>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

class TestRecentFiles : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<QTemporaryDir> dir;
    std::unique_ptr<MainWindow> window;

    QString makeFile(const QString& name) {
        const QString path = dir->filePath(name);
        QFile file(path);
        if (file.open(QIODevice::WriteOnly))
            file.write("a,b\n");
        return path;
    }
    QMenu* recentMenu() const {
        for (QAction* top : window->menuBar()->actions()) {
            for (QAction* item : top->menu()->actions()) {
                if (item->menu() &&
                    item->text().remove(QLatin1Char('&')) == QLatin1String("Open Recent File"))
                    return item->menu();
            }
        }
        return nullptr;
    }
    QStringList menuTexts() const {
        QStringList texts;
        for (QAction* action : recentMenu()->actions())
            texts.append(action->text());
        return texts;
    }

private slots:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }
    void init() {
        dir = std::make_unique<QTemporaryDir>();
        window = std::make_unique<MainWindow>();
        window->setAttribute(Qt::WA_DeleteOnClose, false);
        window->setRecentFiles({});
    }
    void cleanup() {
        window.reset();
        dir.reset();
    }

    void newestFirstWithoutDuplicates() {
        QVERIFY(recentMenu());
        QCOMPARE(menuTexts(), QStringList{"(none)"});
        QVERIFY(!recentMenu()->actions().front()->isEnabled());
        const QString a = makeFile(QStringLiteral("a.csv"));
        const QString b = makeFile(QStringLiteral("b & c.csv"));
        window->openFile(a);
        window->openFile(b);
        QCOMPARE(window->getRecentFiles(), (QStringList{b, a}));
        // A "&" in a path is shown, not taken for a key.
        QCOMPARE(menuTexts(), (QStringList{QString(b).replace(QLatin1Char('&'), QStringLiteral("&&")), a}));
        window->closeFile(a);
        window->openFile(a);
        QCOMPARE(window->getRecentFiles(), (QStringList{a, b}));
        // The menu opens what it names.
        window->closeFile(b);
        QVERIFY(!window->getTableView(b));
        recentMenu()->actions().at(1)->trigger();
        QVERIFY(window->getTableView(b));
    }

    // 50 are kept, 25 shown; a list read back from the settings is cleaned of blanks and repeats.
    void limits() {
        QStringList paths;
        for (int i = 0; i < 60; ++i)
            paths.append(dir->filePath(QStringLiteral("f%1.csv").arg(i)));
        window->setRecentFiles(paths + QStringList{QStringLiteral("  "), paths.front()});
        QCOMPARE(window->getRecentFiles(), paths.mid(0, 50));
        QCOMPARE(menuTexts(), paths.mid(0, 25));
    }

    void goneFileIsSaidOnceAndDropped() {
        MsgBoxAnswers answers;
        const QString gone = dir->filePath(QStringLiteral("gone.csv"));
        const QString kept = makeFile(QStringLiteral("kept.csv"));
        window->setRecentFiles({gone, kept});
        window->openRecentFile(gone);
        QCOMPARE(answers.texts(), QStringList{QStringLiteral("This file no longer exists:\n") + gone});
        QCOMPARE(window->getRecentFiles(), QStringList{kept});
        QCOMPARE(menuTexts(), QStringList{kept});
    }

    void launcherOffersThem() {
        const QString a = makeFile(QStringLiteral("alpha.csv"));
        const QString b = makeFile(QStringLiteral("beta.csv"));
        window->setRecentFiles({a, b});
        const Command* command = window->getCommands().findByName(QStringLiteral("Open Recent File"));
        QVERIFY(command);
        command->action->trigger();
        Launcher* launcher = window->getLauncher();
        QVERIFY(launcher);
        QTest::keyClicks(launcher->getPromptEditor(), QStringLiteral("beta"));
        QTest::keyClick(launcher->getPromptEditor(), Qt::Key_Return);
        QCoreApplication::processEvents();
        QVERIFY(window->getTableView(b));
        QCOMPARE(window->getActiveTable(), window->getTableView(b));
    }
};

QTEST_MAIN(TestRecentFiles)
#include "tst_recentfiles.moc"
