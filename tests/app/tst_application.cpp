#include "app/application.h"

#include "util/fileparameterutilities.h"
#include "window/mainwindow.h"

#include <QDesktopServices>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QFileOpenEvent>
#include <QScreen>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <optional>

using Request = Application::CommandLineRequest;

namespace {

Application& app() {
    return *static_cast<Application*>(QCoreApplication::instance());
}

void writeFile(const QString& path, const QByteArray& content) {
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(content);
}

// A window with everything set away from its defaults.
ConfigData unusualConfig() {
    ConfigData data;
    data.windowState = 0;
    data.sideBarShowWidth = 420;
    data.editorPaneShowHeight = 333;
    data.defaultOpenFolderpath = QStringLiteral("/srv/tables");
    data.sidebarFolderpathList = {QStringLiteral("/srv/a"), QStringLiteral("/srv/b, with comma")};
    data.recentFilepathList = {QStringLiteral("/srv/x.csv")};
    data.paneVisibility = {false, false, true, false, false, true};
    data.useThousandsSeparators = false;
    data.hideColsWithNoData = true;
    data.excludeEmptyCells = true;
    data.importDefaults.extensionData.extension = QStringLiteral("tsv");
    data.importDefaults.extensionData.delimiter = QStringLiteral("\t");
    data.importDefaults.extensionData.saveDelimiter = QStringLiteral("\t");
    data.importDefaults.extensionData.lineEnding = LINE_ENDING_WINDOWS;
    data.importDefaults.extensionData.encoding = WINDOWS_1252;
    data.importDefaults.extensionData.parsingStandard = ALL_QUOTES;
    data.importDefaults.saveLocalInOriginatingDir = true;
    data.importDefaults.openFilesAfterImport = true;
    data.importDefaults.preserveStructure = true;
    PrintSettings& print = data.printData;
    print.pageSize = QStringLiteral("A4");
    print.customWidth = 21.0;
    print.customHeight = 29.7;
    print.isPortrait = false;
    print.marginLeft = 1.25;
    print.marginRight = 2.5;
    print.marginTop = 3.75;
    print.marginBottom = 4.0;
    print.marginUnits = QStringLiteral("Millimeters");
    print.pageUnits = QStringLiteral("Millimeters");
    print.printerName = QStringLiteral("Office Printer");
    print.copies = 3;
    print.collate = true;
    print.reverse = true;
    print.duplexMode = QStringLiteral("Long Edge (Portrait)");
    print.showTitle = false;
    print.showPageNumbers = false;
    print.showRowHeaders = false;
    print.showColumnHeaders = false;
    print.showRowLabels = true;
    print.showColumnLabels = true;
    print.rowWise = false;
    print.selectedRowsOnly = true;
    print.selectedColumnsOnly = true;
    print.showRowGridlines = false;
    print.showColumnGridlines = false;
    print.centerVertically = true;
    print.centerHorizontally = true;
    return data;
}

struct Loaded {
    MainWindow* window = nullptr;
    bool geometryLoaded = false;
    bool showSideBar = true;
    bool showMetadata = false;
};

// A new window with "Orvane.ini" applied to it, the way start-up does it.
Loaded loadIntoNewWindow() {
    Loaded loaded;
    app().addMainWindow(false);
    loaded.window = app().getMainWindow();
    app().loadConfig(loaded.geometryLoaded, loaded.showSideBar, loaded.showMetadata);
    loaded.window->showSideBar(loaded.showSideBar);
    loaded.window->showMetadata(loaded.showMetadata);
    loaded.window->showEditorPane(app().getShowEditorPane());
    return loaded;
}

// What a fresh run's window writes when "Orvane.ini" is empty.
void writeFromEmptyConfig() {
    app().getConfigFile().clear();
    const Loaded loaded = loadIntoNewWindow();
    app().updateConfigFile(loaded.window->makeConfigData());
}

} // namespace

class UrlCatcher : public QObject {
    Q_OBJECT
public:
    QList<QUrl> urls;
public slots:
    void open(const QUrl& url) { urls.append(url); }
};

class TestApplication : public QObject {
    Q_OBJECT

private:
    QTemporaryDir files;
    QString dirA;
    QString dirB;

private slots:
    void initTestCase() {
        QVERIFY(files.isValid());
        QVERIFY(QDir(files.path()).mkpath("A/sub"));
        QVERIFY(QDir(files.path()).mkpath("B"));
        dirA = files.filePath("A");
        dirB = files.filePath("B");
        writeFile(dirA + "/data.csv", "a,b\nc,d\n");
        writeFile(dirB + "/data.csv", "1,2,3\n");
        QVERIFY(app().getConfigFilePath().startsWith(QDir::homePath()));
        QVERIFY(app().getConfigFilePath().endsWith("/Orvane.ini"));
        QVERIFY(QDir(app().getAppDataPath()).exists());
        QCOMPARE(QCoreApplication::applicationName(), QStringLiteral("Orvane"));
        QCOMPARE(app().getMainWindows().size(), size_t(1));
        QVERIFY(app().getMainWindow()->isVisible());
    }

    void init() { app().getConfigFile().clear(); }

    // After a run that found no "Orvane.ini", each key holds the value of a fresh start. These
    // run first: a key that is absent leaves what the application read before, by design.
    void absentKeysGiveDefaults_data() {
        QTest::addColumn<QString>("key");
        QTest::addColumn<QString>("expected");
        const auto row = [](const char* key, const QString& expected) {
            QTest::newRow(key) << QString::fromLatin1(key) << expected;
        };
        row("main/preference_file_version", "2.4.2");
        row("main/update_ignore_version", "");
        row("main/window_state", "0");
        row("main/default_open_folderpath", "");
        row("main/show_tab_bar", "true");
        row("main/show_side_bar", "true");
        row("main/show_file_metadata", "false");
        row("main/show_side_bar_open_files", "true");
        row("main/show_side_bar_folders", "true");
        row("main/side_bar_show_width", "300");
        row("main/show_editor_pane", "false");
        row("import/extension", "");
        row("import/delimiter", ",");
        row("import/line_ending", Utilities::convertLineEndingTypeToShortString(LINE_ENDING_UNIX, false));
        row("import/encoding", Utilities::convertEncodingTypeToString(UTF_8));
        row("import/parsing_standard", Utilities::convertParsingStandardToString(RFC_4180));
        row("import/save_local_in_originating_dir", "false");
        row("import/open_files_after_import", "false");
        row("import/preserve_structure", "false");
        row("print/page_setup/page_size", "Letter");
        row("print/page_setup/custom_width", "8.5");
        row("print/page_setup/custom_height", "11");
        row("print/page_setup/is_portrait", "true");
        row("print/page_setup/margin_left", "0.5");
        row("print/page_setup/margin_right", "0.5");
        row("print/page_setup/margin_top", "0.5");
        row("print/page_setup/margin_bottom", "0.5");
        row("print/page_setup/page_units", "Inches");
        row("print/printer_settings/printer_name", "");
        row("print/printer_settings/copies", "1");
        row("print/printer_settings/collate", "false");
        row("print/printer_settings/reverse", "false");
        row("print/printer_settings/duplex_mode", "Off");
        row("print/csv_options/show_title", "true");
        row("print/csv_options/show_page_numbers", "true");
        row("print/csv_options/show_row_headers", "true");
        row("print/csv_options/show_column_headers", "true");
        row("print/csv_options/show_row_labels", "false");
        row("print/csv_options/show_column_labels", "false");
        row("print/csv_options/row_wise", "true");
        row("print/csv_options/selected_rows_only", "false");
        row("print/csv_options/selected_columns_only", "false");
        row("print/csv_options/show_row_gridlines", "true");
        row("print/csv_options/show_column_gridlines", "true");
        row("print/csv_options/center_vertically", "false");
        row("print/csv_options/center_horizontally", "false");
    }
    void absentKeysGiveDefaults() {
        QFETCH(QString, key);
        QFETCH(QString, expected);
        writeFromEmptyConfig();
        const QSettings file(app().getConfigFilePath(), QSettings::IniFormat);
        QVERIFY(file.contains(key));
        QCOMPARE(file.value(key).toString(), expected);
    }

    void absentGeometryIsNotLoaded() {
        const Loaded loaded = loadIntoNewWindow();
        QVERIFY(!loaded.geometryLoaded);
        QVERIFY(loaded.showSideBar);
        QVERIFY(!loaded.showMetadata);
        QCOMPARE(app().getPrefFileVersion(), QString());
    }

    // Every key written goes back into the window and the application unchanged.
    void everyKeyRoundTrips() {
        MainWindow* source = app().getMainWindow();
        source->setGeometry(40, 50, 640, 480);
        ConfigData written = unusualConfig();
        written.windowGeometry = source->saveGeometry();
        app().updateConfigFile(written);

        const Loaded loaded = loadIntoNewWindow();
        QVERIFY(loaded.geometryLoaded);
        QCOMPARE(loaded.window->geometry(), source->geometry());
        QCOMPARE(app().getImportDefaults(), written.importDefaults);
        QCOMPARE(app().getPrintData(), written.printData);
        QVERIFY(app().getShowEditorPane());

        const ConfigData read = loaded.window->makeConfigData();
        QCOMPARE(read.sidebarFolderpathList, written.sidebarFolderpathList);
        QCOMPARE(read.recentFilepathList, written.recentFilepathList);
        QVERIFY(read.paneVisibility == written.paneVisibility);
        written.windowGeometry = read.windowGeometry;
        QVERIFY(read == written);
    }

    void stringListsRoundTrip_data() {
        QTest::addColumn<QStringList>("list");
        QTest::newRow("empty") << QStringList();
        QTest::newRow("one with comma") << QStringList{"/x/a, b.csv"};
        QTest::newRow("several") << QStringList{"/x/1.csv", "/x/\"q\".csv", "/x/é ü.tsv"};
    }
    void stringListsRoundTrip() {
        QFETCH(QStringList, list);
        ConfigData written = unusualConfig();
        written.recentFilepathList = list;
        written.sidebarFolderpathList = list;
        app().updateConfigFile(written);
        const ConfigData read = loadIntoNewWindow().window->makeConfigData();
        QCOMPARE(read.recentFilepathList, list);
        QCOMPARE(read.sidebarFolderpathList, list);
    }

    // Values of the wrong type read as the converter makes them, and never fail.
    void wrongTypes_data() {
        QTest::addColumn<QString>("key");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("writtenBack");
        QTest::newRow("width text") << "main/side_bar_show_width"
                                    << "wide"
                                    << "300";
        QTest::newRow("width negative") << "main/side_bar_show_width"
                                        << "-20"
                                        << "300";
        QTest::newRow("height text") << "main/editor_pane_show_height"
                                     << "tall"
                                     << "0";
        QTest::newRow("copies text") << "print/printer_settings/copies"
                                     << "many"
                                     << "0";
        QTest::newRow("margin text") << "print/page_setup/margin_left"
                                     << "wide"
                                     << "0";
        QTest::newRow("state text") << "main/window_state"
                                    << "big"
                                    << "0";
        QTest::newRow("bool text") << "print/csv_options/show_title"
                                   << "false"
                                   << "false";
        QTest::newRow("bool number") << "print/csv_options/row_wise"
                                     << "0"
                                     << "false";
    }
    void wrongTypes() {
        QFETCH(QString, key);
        QFETCH(QString, text);
        QFETCH(QString, writtenBack);
        app().getConfigFile().setValue(key, text);
        const Loaded loaded = loadIntoNewWindow();
        app().updateConfigFile(loaded.window->makeConfigData());
        QCOMPARE(app().getConfigFile().value(key).toString(), writtenBack);
    }

    void brokenGeometryIsNotLoaded() {
        app().getConfigFile().setValue("main/window_geometry", QByteArray("not a geometry"));
        QVERIFY(!loadIntoNewWindow().geometryLoaded);
    }

    // The page unit comes from the retired margin key only when the page key is missing, and
    // the first write drops the retired key.
    void retiredMarginUnits_data() {
        QTest::addColumn<QString>("pageUnits");
        QTest::addColumn<QString>("marginUnits");
        QTest::addColumn<QString>("expected");
        QTest::newRow("only retired") << QString() << "Millimeters"
                                      << "Millimeters";
        QTest::newRow("both") << "Pixels"
                              << "Millimeters"
                              << "Pixels";
        QTest::newRow("only current") << "Pixels" << QString() << "Pixels";
    }
    void retiredMarginUnits() {
        QFETCH(QString, pageUnits);
        QFETCH(QString, marginUnits);
        QFETCH(QString, expected);
        QSettings& ini = app().getConfigFile();
        if (!pageUnits.isEmpty())
            ini.setValue("print/page_setup/page_units", pageUnits);
        if (!marginUnits.isEmpty())
            ini.setValue("print/page_setup/margin_units", marginUnits);
        const Loaded loaded = loadIntoNewWindow();
        QCOMPARE(app().getPrintData().pageUnits, expected);
        app().updateConfigFile(loaded.window->makeConfigData());

        const QSettings file(app().getConfigFilePath(), QSettings::IniFormat);
        QVERIFY(!file.contains("print/page_setup/margin_units"));
        QCOMPARE(file.value("print/page_setup/page_units").toString(), expected);
    }

    void versionIsAlwaysWrittenAsCurrent() {
        app().getConfigFile().setValue("main/preference_file_version", "2.0.0");
        const Loaded loaded = loadIntoNewWindow();
        QCOMPARE(app().getPrefFileVersion(), QStringLiteral("2.0.0"));
        app().updateConfigFile(loaded.window->makeConfigData());
        const QSettings file(app().getConfigFilePath(), QSettings::IniFormat);
        QCOMPARE(file.value("main/preference_file_version").toString(), QStringLiteral("2.4.2"));
    }

    // The width is read through the key with a leading slash: both spellings name one key,
    // and the file is written without the slash.
    void sideBarWidthKey_data() {
        QTest::addColumn<QString>("key");
        QTest::newRow("with slash") << "/main/side_bar_show_width";
        QTest::newRow("without slash") << "main/side_bar_show_width";
    }
    void sideBarWidthKey() {
        QFETCH(QString, key);
        app().getConfigFile().setValue(key, 517);
        const Loaded loaded = loadIntoNewWindow();
        QCOMPARE(loaded.window->makeConfigData().sideBarShowWidth, 517);
        app().updateConfigFile(loaded.window->makeConfigData());

        QFile file(app().getConfigFilePath());
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QByteArray text = file.readAll();
        QVERIFY(text.contains("[main]"));
        QVERIFY(text.contains("\nside_bar_show_width=517"));
        QVERIFY(!text.contains("/side_bar_show_width"));
    }

    void ignoreVersionLength_data() {
        QTest::addColumn<int>("length");
        QTest::addColumn<bool>("kept");
        QTest::newRow("0") << 0 << true;
        QTest::newRow("63") << 63 << true;
        QTest::newRow("64") << 64 << false;
        QTest::newRow("200") << 200 << false;
    }
    void ignoreVersionLength() {
        QFETCH(int, length);
        QFETCH(bool, kept);
        app().getConfigFile().setValue("main/update_ignore_version", "3.0.0");
        loadIntoNewWindow();
        QCOMPARE(app().getUpdateIgnoreVersion(), QStringLiteral("3.0.0"));

        const QString version(length, QLatin1Char('9'));
        app().getConfigFile().setValue("main/update_ignore_version", version);
        const Loaded loaded = loadIntoNewWindow();
        QCOMPARE(app().getUpdateIgnoreVersion(), kept ? version : QStringLiteral("3.0.0"));
        app().updateConfigFile(loaded.window->makeConfigData());
        QCOMPARE(app().getConfigFile().value("main/update_ignore_version").toString(),
                 app().getUpdateIgnoreVersion());
    }

    // --- Command line ---------------------------------------------------------------------

    void parseCommandLine_data() {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("workingDirectory");
        QTest::addColumn<QList<int>>("xywh");
        QTest::addColumn<QStringList>("expectedFiles");
        QTest::addColumn<QStringList>("expectedFolders");
        const QList<int> none{-1, -1, 0, 0};
        const QString a = dirA;
        const QString b = dirB;
        const QString prog = "orvane";

        QTest::newRow("program only") << QStringList{prog} << a << none << QStringList() << QStringList();
        QTest::newRow("empty list") << QStringList() << a << none << QStringList() << QStringList();
        QTest::newRow("-w 800 alone") << QStringList{prog, "-w", "800"} << a << QList<int>{-1, -1, 800, 0}
                                      << QStringList() << QStringList();
        QTest::newRow("all four") << QStringList{prog, "-x", "10", "-y", "20", "-w", "300", "-h", "200"} << a
                                  << QList<int>{10, 20, 300, 200} << QStringList() << QStringList();
        QTest::newRow("-x -5") << QStringList{prog, "-x", "-5"} << a << QList<int>{-5, -1, 0, 0}
                               << QStringList() << QStringList();
        QTest::newRow("unreadable value")
            << QStringList{prog, "-w", "wide"} << a << none << QStringList() << QStringList();
        QTest::newRow("value beyond int")
            << QStringList{prog, "-h", "99999999999"} << a << none << QStringList() << QStringList();
        QTest::newRow("option at the end") << QStringList{prog, "data.csv", "-h"} << a << none
                                           << QStringList{a + "/data.csv"} << QStringList();
        QTest::newRow("option takes an option as value")
            << QStringList{prog, "-w", "-h", "500", "data.csv"} << a << none
            << QStringList{a + "/500", a + "/data.csv"} << QStringList();
        QTest::newRow("relative in A")
            << QStringList{prog, "data.csv"} << a << none << QStringList{a + "/data.csv"} << QStringList();
        QTest::newRow("relative in B")
            << QStringList{prog, "data.csv"} << b << none << QStringList{b + "/data.csv"} << QStringList();
        QTest::newRow("absolute") << QStringList{prog, b + "/data.csv"} << a << none
                                  << QStringList{b + "/data.csv"} << QStringList();
        QTest::newRow("folders") << QStringList{prog, "sub", b} << a << none << QStringList()
                                 << QStringList{a + "/sub", b};
        // Missing paths reach the window, which names them in one message.
        QTest::newRow("missing kept")
            << QStringList{prog, "missing.csv", "", b + "/gone.csv", "data.csv"} << a << none
            << QStringList{a + "/missing.csv", b + "/gone.csv", a + "/data.csv"} << QStringList();
    }
    void parseCommandLine() {
        QFETCH(QStringList, arguments);
        QFETCH(QString, workingDirectory);
        QFETCH(QList<int>, xywh);
        QFETCH(QStringList, expectedFiles);
        QFETCH(QStringList, expectedFolders);
        const Request request = Application::parseCommandLineArguments(arguments, workingDirectory);
        QCOMPARE((QList<int>{request.x, request.y, request.width, request.height}), xywh);
        QCOMPARE(request.files, expectedFiles);
        QCOMPARE(request.folders, expectedFolders);
    }

    void applyCommandLineGeometry_data() {
        QTest::addColumn<QList<int>>("xywh");
        QTest::addColumn<QRect>("expected");
        // The window stands at (100, 50), 640 x 480.
        QTest::newRow("nothing") << QList<int>{-1, -1, 0, 0} << QRect(100, 50, 640, 480);
        QTest::newRow("both sizes") << QList<int>{-1, -1, 800, 600} << QRect(100, 50, 800, 600);
        QTest::newRow("-w alone keeps height") << QList<int>{-1, -1, 800, 0} << QRect(100, 50, 800, 480);
        QTest::newRow("-h alone keeps width") << QList<int>{-1, -1, 0, 300} << QRect(100, 50, 640, 300);
        QTest::newRow("both places") << QList<int>{0, 0, 0, 0} << QRect(0, 0, 640, 480);
        QTest::newRow("-x 0 alone keeps top") << QList<int>{0, -1, 0, 0} << QRect(0, 50, 640, 480);
        QTest::newRow("-y alone keeps left") << QList<int>{-1, 7, 0, 0} << QRect(100, 7, 640, 480);
        QTest::newRow("-x -5 is ignored") << QList<int>{-5, -1, 0, 0} << QRect(100, 50, 640, 480);
        QTest::newRow("negative size is ignored") << QList<int>{-1, -1, -10, 0} << QRect(100, 50, 640, 480);
    }
    void applyCommandLineGeometry() {
        QFETCH(QList<int>, xywh);
        QFETCH(QRect, expected);
        Request request;
        request.x = xywh[0];
        request.y = xywh[1];
        request.width = xywh[2];
        request.height = xywh[3];
        QCOMPARE(Application::applyCommandLineGeometry(QRect(100, 50, 640, 480), request), expected);
    }

    void commandLineOnTheWindow() {
        MainWindow* window = app().getMainWindow();
        window->setGeometry(60, 70, 500, 400);
        const QPoint position = window->pos();
        app().handleCommandLineArguments({"orvane", "-w", "700", "-x", "-5", dirA + "/sub"});
        QCOMPARE(window->size(), QSize(700, 400));
        QCOMPARE(window->pos(), position);
        QVERIFY(window->makeConfigData().sidebarFolderpathList.contains(dirA + "/sub"));
    }

    void commandLineOpensFiles() {
        app().addMainWindow(true);
        MainWindow* window = app().getMainWindow();
        app().onMessageReceived(1, (dirB + "<orvane<data.csv").toUtf8());
        QCOMPARE(app().getWorkingDirectory(), dirB);
        QCOMPARE(window->getOpenFilepaths(), QStringList{dirB + "/data.csv"});
        QCOMPARE(window->getTableSizeLabelText(), QStringLiteral("1 row x 3 columns"));

        app().onMessageReceived(2, (dirA + "<orvane<data.csv<-h").toUtf8());
        QCOMPARE(window->getActiveFilepath(), dirA + "/data.csv");
        QCOMPARE(window->getNumTables(), 2);
    }

    void messageWithoutArgumentsOpensAWindow() {
        const size_t before = app().getMainWindows().size();
        const QString directory = app().getWorkingDirectory();
        app().onMessageReceived(3, (dirA + "<orvane").toUtf8());
        QCOMPARE(app().getMainWindows().size(), before + 1);
        QVERIFY(app().getMainWindow()->isVisible());
        QCOMPARE(app().getWorkingDirectory(), directory);
    }

    void fileOpenEventGoesToCurrentWindow() {
        app().addMainWindow(false);
        MainWindow* window = app().getMainWindow();
        // A file that no other window holds (one that does is shown there).
        writeFile(dirA + "/event.csv", "e\n");
        QFileOpenEvent event(dirA + "/event.csv");
        QCoreApplication::sendEvent(&app(), &event);
        QCOMPARE(window->getOpenFilepaths(), QStringList{dirA + "/event.csv"});
    }

    // --- Geometry ---------------------------------------------------------------------------

    void defaultWindowGeometry_data() {
        QTest::addColumn<QRect>("available");
        QTest::addColumn<qreal>("dpi");
        QTest::addColumn<QRect>("expected");
        QTest::newRow("screen narrower than 18 inches")
            << QRect(0, 0, 1600, 1000) << 96.0 << QRect(40, 40, 1520, 920);
        QTest::newRow("wide screen caps at 18 inches")
            << QRect(0, 0, 3840, 2160) << 96.0 << QRect(1056, 86, 1728, 1987);
        QTest::newRow("panel above") << QRect(0, 27, 1920, 1053) << 72.0 << QRect(312, 69, 1296, 968);
    }
    void defaultWindowGeometry() {
        QFETCH(QRect, available);
        QFETCH(qreal, dpi);
        QFETCH(QRect, expected);
        QCOMPARE(Application::defaultWindowGeometry(available, dpi), expected);
    }

    void rescuedWindowPosition_data() {
        QTest::addColumn<QRect>("frame");
        QTest::addColumn<QList<QRect>>("screens");
        QTest::addColumn<std::optional<QPoint>>("expected");
        const QRect first(0, 0, 1920, 1080);
        const QRect second(1920, 0, 1280, 1024);
        QTest::newRow("on screen") << QRect(100, 100, 800, 600) << QList<QRect>{first}
                                   << std::optional<QPoint>();
        QTest::newRow("partly on screen")
            << QRect(1800, 1000, 800, 600) << QList<QRect>{first} << std::optional<QPoint>();
        QTest::newRow("on the second screen")
            << QRect(2000, 100, 800, 600) << QList<QRect>{first, second} << std::optional<QPoint>();
        QTest::newRow("second screen gone")
            << QRect(2000, 100, 800, 600) << QList<QRect>{first} << std::optional<QPoint>(QPoint(38, 21));
        QTest::newRow("far above") << QRect(0, -5000, 800, 600) << QList<QRect>{first, second}
                                   << std::optional<QPoint>(QPoint(38, 21));
        QTest::newRow("first screen with offset")
            << QRect(-3000, 0, 800, 600) << QList<QRect>{QRect(0, 30, 1000, 500)}
            << std::optional<QPoint>(QPoint(20, 40));
        QTest::newRow("no screens") << QRect(0, 0, 10, 10) << QList<QRect>() << std::optional<QPoint>();
    }
    void rescuedWindowPosition() {
        QFETCH(QRect, frame);
        QFETCH(QList<QRect>, screens);
        QFETCH(std::optional<QPoint>, expected);
        QCOMPARE(Application::rescuedWindowPosition(frame, screens), expected);
    }

    // A geometry saved where no screen is now comes back within reach.
    void savedGeometryOffScreenComesBack() {
        MainWindow* source = app().getMainWindow();
        source->setGeometry(9000, 7000, 400, 300);
        ConfigData data = source->makeConfigData();
        app().updateConfigFile(data);

        const Loaded loaded = loadIntoNewWindow();
        QVERIFY(loaded.geometryLoaded);
        const QRect available = QGuiApplication::screens().first()->availableGeometry();
        QVERIFY2(loaded.window->frameGeometry().intersects(available),
                 qPrintable(QStringLiteral("%1,%2").arg(loaded.window->x()).arg(loaded.window->y())));
    }

    // --- Windows ----------------------------------------------------------------------------

    void currentWindowFollowsFocusAndClosing() {
        app().closeProgram();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QVERIFY(app().getMainWindows().empty());
        QCOMPARE(app().getMainWindow(), nullptr);

        app().addMainWindow(true);
        MainWindow* first = app().getMainWindow();
        app().addMainWindow(true);
        MainWindow* second = app().getMainWindow();
        app().addMainWindow(true);
        MainWindow* third = app().getMainWindow();
        QCOMPARE(app().getMainWindows(), (std::vector<MainWindow*>{first, second, third}));

        emit second->mainWindowFocusChangedSignal();
        QCOMPARE(app().getMainWindow(), second);

        // Closing a window that isn't current leaves the current one alone.
        third->close();
        QCOMPARE(app().getMainWindow(), second);
        emit third->mainWindowFocusChangedSignal(); // no longer listed
        QCOMPARE(app().getMainWindow(), second);

        second->close();
        QCOMPARE(app().getMainWindow(), first);
        QCOMPARE(app().getMainWindows(), std::vector<MainWindow*>{first});

        // A window destroyed without closing leaves the list too.
        app().addMainWindow(false);
        delete app().getMainWindow();
        QCOMPARE(app().getMainWindows(), std::vector<MainWindow*>{first});
        QCOMPARE(app().getMainWindow(), first);

        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        app().closeProgram();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QVERIFY(app().getMainWindows().empty());

        // With no window left, a file from the system is ignored rather than crashing.
        QFileOpenEvent event(dirA + "/data.csv");
        QCoreApplication::sendEvent(&app(), &event);
        app().handleCommandLineArguments({"orvane", dirA + "/data.csv"});
    }

    // A window asked for by another takes its size; closing writes "Orvane.ini".
    void newWindowFromWindowAndClosingWritesConfig() {
        app().addMainWindow(true);
        MainWindow* requester = app().getMainWindow();
        app().makeMainWindowConnections(requester);
        requester->resize(555, 444);

        app().getConfigFile().setValue("main/show_side_bar", false);
        emit requester->createNewInstanceSignal(false, {dirA + "/data.csv"});
        MainWindow* created = app().getMainWindow();
        QVERIFY(!created->makeConfigData().paneVisibility.showSideBar);
        QVERIFY(created != requester);
        QCOMPARE(created->size(), QSize(555, 444));
        QVERIFY(created->isVisible());
        QCOMPARE(created->getOpenFilepaths(), QStringList{dirA + "/data.csv"});

        created->resize(612, 345);
        created->setSidebarShowWidth(271);
        app().getConfigFile().clear();
        created->close();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);

        const QSettings file(app().getConfigFilePath(), QSettings::IniFormat);
        QCOMPARE(file.value("main/side_bar_show_width").toInt(), 271);
        const Loaded loaded = loadIntoNewWindow();
        QVERIFY(loaded.geometryLoaded);
        QCOMPARE(loaded.window->size(), QSize(612, 345));
    }

    // --- Requests of a window -------------------------------------------------------------------

    void showFileInFileSystem() {
        UrlCatcher catcher;
        QDesktopServices::setUrlHandler("file", &catcher, "open");
        app().showFileInFileSystem(dirA + "/data.csv");
        app().showFileInFileSystem(dirA + "/sub/not-there.csv");
        app().showFileInFileSystem(files.filePath("gone/x.csv"));
        app().showFileInFileSystem(QString());
        QDesktopServices::unsetUrlHandler("file");
        QCOMPARE(catcher.urls, (QList<QUrl>{QUrl::fromLocalFile(dirA), QUrl::fromLocalFile(dirA + "/sub")}));
    }

    void findTerminalCommand_data() {
        QTest::addColumn<QString>("desktop");
        QTest::addColumn<QString>("preferred");
        QTest::addColumn<QStringList>("installed");
        QTest::addColumn<QString>("program");
        QTest::addColumn<QStringList>("arguments");
        const QString dir = "/home/u/t";
        QTest::newRow("KDE") << "KDE"
                             << "" << QStringList{"xterm", "konsole", "gnome-terminal"} << "/bin/konsole"
                             << QStringList{"--workdir", dir};
        QTest::newRow("GNOME in a list")
            << "ubuntu:GNOME"
            << "" << QStringList{"konsole", "gnome-terminal"} << "/bin/gnome-terminal"
            << QStringList{"--working-directory=" + dir};
        QTest::newRow("XFCE") << "XFCE"
                              << "" << QStringList{"xfce4-terminal", "xterm"} << "/bin/xfce4-terminal"
                              << QStringList{"--working-directory=" + dir};
        QTest::newRow("user's choice first")
            << "KDE"
            << "kitty" << QStringList{"konsole", "kitty"} << "/bin/kitty" << QStringList{"--directory", dir};
        QTest::newRow("user's choice missing")
            << ""
            << "foot" << QStringList{"xterm"} << "/bin/xterm" << QStringList();
        QTest::newRow("system default") << ""
                                        << "" << QStringList{"xterm", "x-terminal-emulator"}
                                        << "/bin/x-terminal-emulator" << QStringList();
        QTest::newRow("desktop terminal missing")
            << "KDE"
            << "" << QStringList{"mate-terminal"} << "/bin/mate-terminal"
            << QStringList{"--working-directory=" + dir};
        QTest::newRow("none") << "GNOME"
                              << "" << QStringList() << "" << QStringList();
    }
    void findTerminalCommand() {
        QFETCH(QString, desktop);
        QFETCH(QString, preferred);
        QFETCH(QStringList, installed);
        QFETCH(QString, program);
        QFETCH(QStringList, arguments);
        const auto find = [&installed](const QString& name) {
            return installed.contains(name) ? "/bin/" + name : QString();
        };
        const Application::TerminalCommand command =
            Application::findTerminalCommand("/home/u/t", desktop, preferred, find);
        QCOMPARE(command.program, program);
        QCOMPARE(command.arguments, arguments);
    }

    // The terminal really starts, detached, in the folder; a missing folder starts nothing.
    void terminalStartsInTheFolder() {
        const QString out = files.filePath("terminal-started-in");
        const QString script = files.filePath("fake-terminal");
        writeFile(script, "#!/bin/sh\npwd > '" + out.toUtf8() + "'\n");
        QVERIFY(QFile::setPermissions(script, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
        const QByteArray previous = qgetenv("TERMINAL");
        qputenv("TERMINAL", script.toUtf8());

        app().openTerminalToFilesDirectory(files.filePath("no such folder"));
        QTest::qWait(300);
        QVERIFY(!QFile::exists(out));

        app().openTerminalToFilesDirectory(dirA + "/sub");
        QTRY_VERIFY(QFileInfo(out).size() > 0);
        QFile result(out);
        QVERIFY(result.open(QIODevice::ReadOnly));
        QCOMPARE(QString::fromUtf8(result.readAll()).trimmed(), dirA + "/sub");
        qputenv("TERMINAL", previous);
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

    // The test's own options are not the program's arguments.
    int appArgc = 1;
    Application application(appArgc, argv, true, Application::User, 1000);
    QGuiApplication::setQuitOnLastWindowClosed(false);
    TestApplication test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_application.moc"
