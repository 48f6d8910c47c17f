// What "Orvane.ini" keeps of the side bar and the metadata pane: written from a window the user
// changed, and read back into a new one as start-up does.

#include "app/application.h"

#include "panes/sidebar.h"
#include "window/mainwindow.h"

#include <QDir>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

namespace {

Application& app() {
    return *static_cast<Application*>(QCoreApplication::instance());
}

bool checked(const MainWindow* window, const char* name) {
    return window->getCommands().findByName(QString::fromLatin1(name))->action->isChecked();
}

} // namespace

class TestSideBarConfig : public QObject {
    Q_OBJECT

private:
    QTemporaryDir files;

    // A new window with "Orvane.ini" applied, as start-up and a new window do it.
    MainWindow* loadIntoNewWindow() {
        app().addMainWindow(false);
        MainWindow* window = app().getMainWindow();
        bool geometryLoaded = false;
        bool showSideBar = true;
        bool showMetadata = false;
        app().loadConfig(geometryLoaded, showSideBar, showMetadata);
        window->showSideBar(showSideBar);
        window->showMetadata(showMetadata);
        return window;
    }

private slots:
    void initTestCase() {
        QVERIFY(files.isValid());
        QVERIFY(QDir(files.path()).mkpath("one"));
        QVERIFY(QDir(files.path()).mkpath("two"));
    }

    void init() { app().getConfigFile().clear(); }

    // A fresh file holds the defaults: both parts and the side bar on, the metadata pane off.
    void defaultsWritten() {
        MainWindow* window = loadIntoNewWindow();
        app().makeMainWindowConnections(window);
        window->updateConfigFile();
        QSettings& ini = app().getConfigFile();
        QCOMPARE(ini.value("main/show_side_bar").toBool(), true);
        QCOMPARE(ini.value("main/show_file_metadata").toBool(), false);
        QCOMPARE(ini.value("main/show_side_bar_open_files").toBool(), true);
        QCOMPARE(ini.value("main/show_side_bar_folders").toBool(), true);
        QCOMPARE(ini.value("main/side_bar_show_width").toInt(), 300);
        QCOMPARE(ini.value("main/sidebar_folderpath_list").toStringList(), QStringList());
        window->close();
    }

    // Each switch and the folders go to the file the moment they change, and come back into a
    // new window with the menus' check marks to match.
    void changesRoundTrip() {
        MainWindow* window = app().getMainWindows().front();
        app().makeMainWindowConnections(window);
        const QStringList folders{files.filePath("one"), files.filePath("two")};
        window->openFolder(folders[0]);
        window->openFolder(folders[1]);
        QSettings& ini = app().getConfigFile();
        QCOMPARE(ini.value("main/sidebar_folderpath_list").toStringList(), folders);

        QVERIFY(window->commandToggleShowSideBarOpenFiles());
        QVERIFY(window->commandToggleShowFileMetadata());
        QVERIFY(window->commandToggleShowTabBar());
        window->updateConfigFile();
        QCOMPARE(ini.value("main/show_side_bar_open_files").toBool(), false);
        QCOMPARE(ini.value("main/show_side_bar_folders").toBool(), true);
        QCOMPARE(ini.value("main/show_file_metadata").toBool(), true);
        QCOMPARE(ini.value("main/show_tab_bar").toBool(), false);
        QCOMPARE(ini.value("main/show_side_bar").toBool(), true);

        MainWindow* loaded = loadIntoNewWindow();
        SideBar* bar = loaded->getSideBar();
        QCOMPARE(bar->getFolders(), folders);
        QVERIFY(loaded->getContext().intersects(ContextFoldersOpen));
        QVERIFY(!bar->isOpenFilesShown());
        QVERIFY(bar->isFoldersShown());
        QVERIFY(!checked(loaded, "Toggle Show Side Bar Open Files"));
        QVERIFY(checked(loaded, "Toggle Show Side Bar Folders"));
        QVERIFY(checked(loaded, "Toggle Show File Metadata"));
        QVERIFY(!checked(loaded, "Toggle Show Tab Bar"));
        QVERIFY(loaded->getPaneVisibility() == window->getPaneVisibility());

        // The switches of the new window start from what it shows: one press turns each back.
        QVERIFY(loaded->commandToggleShowTabBar());
        QVERIFY(loaded->commandToggleShowFileMetadata());
        QVERIFY(loaded->commandToggleShowSideBarOpenFiles());
        QVERIFY(loaded->getPaneVisibility() == PaneVisibility());

        // Closing the folders empties the list in the file.
        app().makeMainWindowConnections(loaded);
        QVERIFY(loaded->closeFolder(folders[0]));
        QVERIFY(loaded->closeFolder(folders[1]));
        QVERIFY(!loaded->getContext().intersects(ContextFoldersOpen));
        QCOMPARE(ini.value("main/sidebar_folderpath_list").toStringList(), QStringList());
        loaded->close();
    }

    // A width above zero is taken; zero or less leaves the window's own.
    void sideBarWidth_data() {
        QTest::addColumn<int>("written");
        QTest::addColumn<int>("expected");
        QTest::newRow("wider") << 420 << 420;
        QTest::newRow("zero") << 0 << 300;
        QTest::newRow("negative") << -5 << 300;
    }
    void sideBarWidth() {
        QFETCH(int, written);
        QFETCH(int, expected);
        app().getConfigFile().setValue("main/side_bar_show_width", written);
        MainWindow* window = loadIntoNewWindow();
        window->resize(1400, 700);
        window->show();
        QTRY_COMPARE(window->getSideBarWidth(), expected);
        QCOMPARE(window->makeConfigData().sideBarShowWidth, expected);
        window->close();
    }
};

int main(int argc, char** argv) {
    // Everything the application writes goes below a temporary home.
    QTemporaryDir home;
    if (!home.isValid())
        return 1;
    qputenv("HOME", home.path().toUtf8());
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QStandardPaths::setTestModeEnabled(true);

    int appArgc = 1;
    Application application(appArgc, argv, true, Application::User, 1000);
    QGuiApplication::setQuitOnLastWindowClosed(false);
    TestSideBarConfig test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_sidebarconfig.moc"
