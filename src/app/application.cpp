#include "app/application.h"

#include "app/paintclock.h"
#include "app/terminationsignalwatcher.h"
#include "table/tutorialtable.h"
#include "util/appdatautilities.h"
#include "util/fileparameterutilities.h"
#include "window/mainwindow.h"
#include "window/shortcutpreferences.h"

#include <QDesktopServices>
#include <QDialog>
#include <QDir>
#include <QFileInfo>
#include <QFileOpenEvent>
#include <QGuiApplication>
#include <QPointer>
#include <QProcess>
#include <QProcessEnvironment>
#include <QScreen>
#include <QStandardPaths>
#include <QTimer>

#include <algorithm>
#include <cmath>

namespace {

const QString kVersion = QStringLiteral(ORVANE_VERSION);
constexpr int kMaxIgnoreVersionLength = 64;

// Keys of "Orvane.ini".
namespace Key {
const QString preferenceFileVersion = QStringLiteral("main/preference_file_version");
const QString updateIgnoreVersion = QStringLiteral("main/update_ignore_version");
const QString windowGeometry = QStringLiteral("main/window_geometry");
const QString windowState = QStringLiteral("main/window_state");
const QString defaultOpenFolderpath = QStringLiteral("main/default_open_folderpath");
const QString sidebarFolderpathList = QStringLiteral("main/sidebar_folderpath_list");
const QString recentFilepathList = QStringLiteral("main/recent_filepath_list");
const QString showTabBar = QStringLiteral("main/show_tab_bar");
const QString showSideBar = QStringLiteral("main/show_side_bar");
const QString showFileMetadata = QStringLiteral("main/show_file_metadata");
const QString showSideBarOpenFiles = QStringLiteral("main/show_side_bar_open_files");
const QString showSideBarFolders = QStringLiteral("main/show_side_bar_folders");
const QString sideBarShowWidth = QStringLiteral("main/side_bar_show_width");
const QString sideBarShowWidthRead = QStringLiteral("/main/side_bar_show_width");
const QString editorPaneShowHeight = QStringLiteral("main/editor_pane_show_height");
const QString showEditorPane = QStringLiteral("main/show_editor_pane");
const QString useThousandsSeparator = QStringLiteral("analysis/use_thousands_separator");
const QString hideColsWithNoData = QStringLiteral("analysis/hide_cols_with_no_data");
const QString excludeEmptyCells = QStringLiteral("analysis/exclude_empty_cells");
const QString importExtension = QStringLiteral("import/extension");
const QString importDelimiter = QStringLiteral("import/delimiter");
const QString importLineEnding = QStringLiteral("import/line_ending");
const QString importEncoding = QStringLiteral("import/encoding");
const QString importParsingStandard = QStringLiteral("import/parsing_standard");
const QString importSaveLocal = QStringLiteral("import/save_local_in_originating_dir");
const QString importOpenFiles = QStringLiteral("import/open_files_after_import");
const QString importPreserveStructure = QStringLiteral("import/preserve_structure");
const QString pageSize = QStringLiteral("print/page_setup/page_size");
const QString customWidth = QStringLiteral("print/page_setup/custom_width");
const QString customHeight = QStringLiteral("print/page_setup/custom_height");
const QString isPortrait = QStringLiteral("print/page_setup/is_portrait");
const QString marginLeft = QStringLiteral("print/page_setup/margin_left");
const QString marginRight = QStringLiteral("print/page_setup/margin_right");
const QString marginTop = QStringLiteral("print/page_setup/margin_top");
const QString marginBottom = QStringLiteral("print/page_setup/margin_bottom");
const QString marginUnits = QStringLiteral("print/page_setup/margin_units");
const QString pageUnits = QStringLiteral("print/page_setup/page_units");
const QString printerName = QStringLiteral("print/printer_settings/printer_name");
const QString copies = QStringLiteral("print/printer_settings/copies");
const QString collate = QStringLiteral("print/printer_settings/collate");
const QString reverse = QStringLiteral("print/printer_settings/reverse");
const QString duplexMode = QStringLiteral("print/printer_settings/duplex_mode");
const QString showTitle = QStringLiteral("print/csv_options/show_title");
const QString showPageNumbers = QStringLiteral("print/csv_options/show_page_numbers");
const QString showRowHeaders = QStringLiteral("print/csv_options/show_row_headers");
const QString showColumnHeaders = QStringLiteral("print/csv_options/show_column_headers");
const QString showRowLabels = QStringLiteral("print/csv_options/show_row_labels");
const QString showColumnLabels = QStringLiteral("print/csv_options/show_column_labels");
const QString rowWise = QStringLiteral("print/csv_options/row_wise");
const QString selectedRowsOnly = QStringLiteral("print/csv_options/selected_rows_only");
const QString selectedColumnsOnly = QStringLiteral("print/csv_options/selected_columns_only");
const QString showRowGridlines = QStringLiteral("print/csv_options/show_row_gridlines");
const QString showColumnGridlines = QStringLiteral("print/csv_options/show_column_gridlines");
const QString centerVertically = QStringLiteral("print/csv_options/center_vertically");
const QString centerHorizontally = QStringLiteral("print/csv_options/center_horizontally");
} // namespace Key

// A base-10 int; anything unreadable or out of range is 0.
int parseOptionValue(const QString& text) {
    bool ok = false;
    const int value = text.toInt(&ok, 10);
    return ok ? value : 0;
}

QList<QRect> availableScreenGeometries() {
    QList<QRect> geometries;
    const QList<QScreen*> screens = QGuiApplication::screens();
    for (const QScreen* screen : screens)
        geometries.append(screen->availableGeometry());
    return geometries;
}

QRect firstScreenAvailableGeometry() {
    const QList<QScreen*> screens = QGuiApplication::screens();
    return screens.isEmpty() ? QRect(0, 0, 1024, 768) : screens.first()->availableGeometry();
}

qreal primaryLogicalDpi() {
    const QScreen* screen = QGuiApplication::primaryScreen();
    return screen ? screen->logicalDotsPerInchX() : 96.0;
}

} // namespace

// --- Construction ---------------------------------------------------------------------------------

Application::Application(int& argc, char** argv, bool allowSecondary, Options mode, int timeout)
    : SingleApplication(argc, argv, allowSecondary, mode, timeout),
      // Opened before the application name is set, on the path that name-less start-up gives.
      configFile(Utilities::getAppDataLocation() + QStringLiteral("/Orvane.ini"), QSettings::IniFormat) {
    PaintClock::mark("application and single instance");
    QCoreApplication::setAttribute(Qt::AA_UseStyleSheetPropagationInWidgetStyles, true);
    workingDirectory = QDir::currentPath();
    if (isSecondary())
        return;
    // Here rather than after the start: a question asked during it paints the window.
    PaintClock::installIfAsked();
    // Queued: a handed-over file may ask a question, and the connection that brought it can close
    // and be deleted while the question waits; the question must not run inside its signal.
    connect(this, &SingleApplication::receivedMessage, this, &Application::onMessageReceived,
            Qt::QueuedConnection);

    // Before anything else can take long: a termination request that arrives during start-up
    // waits in the watcher until the event loop runs, and then closes the windows.
    auto* terminationWatcher = new TerminationSignalWatcher(this);
    connect(terminationWatcher, &TerminationSignalWatcher::terminationRequested, this,
            &Application::onTerminationRequested);

    QCoreApplication::setApplicationName(QStringLiteral("Orvane"));
    QCoreApplication::setApplicationVersion(kVersion);
    // Ties the windows to the installed desktop entry (its icon and name on Wayland).
    QGuiApplication::setDesktopFileName(QStringLiteral("app.orvane.Orvane"));
    appDataPath = Utilities::getAppDataLocation();
    Utilities::handleAppDataInRedundantFolders();
    const bool dataFolderExisted = QDir(appDataPath).exists();
    QDir().mkpath(appDataPath);
    // A missing or damaged preference file never stops the start: it is made anew.
    bool preferenceFileExisted[3] = {false, false, false};
    PreferenceFiles::setUpPreferenceFiles(preferenceFileExisted);

    // A first run is a start that finds no tutorial file: it writes the file and shows it.
    firstRun = !prepareTutorialFile(Utilities::getTutorialFilepath());
    PaintClock::mark("preference files set up");

    QDir::setCurrent(QDir(QDir::homePath()).absolutePath());

    // The style sheet goes on before any widget exists, so that widgets are styled once as they
    // are made instead of made and styled again: a shorter start.
    onThemeChanged(PreferenceFiles::readThemeSetting());
    PaintClock::mark("theme");
    const bool filesGiven =
        !parseCommandLineArguments(QCoreApplication::arguments(), workingDirectory).files.isEmpty();
    addMainWindow(false, filesGiven);
    PaintClock::mark("main window");
    bool geometryLoaded = false;
    bool showSideBar = true;
    bool showMetadata = false;
    loadConfig(geometryLoaded, showSideBar, showMetadata);
    if (!geometryLoaded)
        applyDefaultGeometry(mainWindow);
    if (prefFileVersion != kVersion)
        mainWindow->updatePreferenceFiles(preferenceFileExisted);
    onThemeChanged(mainWindow->getSettings().getTheme());

    makeMainWindowConnections(mainWindow);
    PaintClock::mark("window state");
    mainWindow->show();
    PaintClock::mark("show");
    mainWindow->showSideBar(showSideBar);
    mainWindow->showMetadata(showMetadata);

    handleCommandLineArguments(QCoreApplication::arguments());
    if (mainWindow)
        mainWindow->ensureTable();
    PaintClock::mark("command line");
    if (firstRun && mainWindow)
        mainWindow->showTutorial();
    startNetworkTasks();

    connect(this, &QCoreApplication::aboutToQuit, this, &Application::onQuit);
    if (mainWindow) {
        mainWindow->showEditorPane(showEditorPane);
        mainWindow->activateWindow();
        // Another version ran here before: say what changed. A first start has no folder yet.
        if (prefFileVersion != kVersion && dataFolderExisted)
            mainWindow->showChangelog();
        // The tutorial table opened before the settings reached every part of the window.
        if (firstRun)
            mainWindow->propagateSettings();
    }
    starting = false;
}

Application::~Application() {
    stopNetworkTasks();
    // Windows closed in the last moments of the event loop may still wait for deletion.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    const std::vector<MainWindow*> windows = mainWindows;
    std::vector<QPointer<MainWindow>> alive(windows.begin(), windows.end());
    for (MainWindow* window : windows)
        window->close();
    // A closed window deletes itself only from the event loop, which has ended: delete what is
    // left here, so that each still writes its state to "Orvane.ini".
    for (const QPointer<MainWindow>& window : alive)
        delete window.data();
}

bool Application::prepareTutorialFile(const QString& path) {
    if (QFileInfo::exists(path))
        return true;
    TutorialTable::write(path);
    return false;
}

MainWindow* Application::getMainWindow() const {
    return mainWindow;
}

// --- Windows --------------------------------------------------------------------------------------

QRect Application::defaultWindowGeometry(const QRect& available, qreal logicalDpi) {
    const int width = static_cast<int>(std::min(logicalDpi * 18.0, available.width() * 0.95));
    const int height = static_cast<int>(available.height() * 0.92);
    return QRect(available.x() + (available.width() - width) / 2,
                 available.y() + (available.height() - height) / 2, width, height);
}

std::optional<QPoint> Application::rescuedWindowPosition(const QRect& frame,
                                                         const QList<QRect>& availableGeometries) {
    if (availableGeometries.isEmpty())
        return std::nullopt;
    for (const QRect& available : availableGeometries) {
        if (frame.intersects(available))
            return std::nullopt;
    }
    const QRect& first = availableGeometries.first();
    return first.topLeft() +
           QPoint(static_cast<int>(first.width() * 0.02), static_cast<int>(first.height() * 0.02));
}

void Application::applyDefaultGeometry(MainWindow* window) {
    if (!window)
        return;
    const QRect geometry = defaultWindowGeometry(firstScreenAvailableGeometry(), primaryLogicalDpi());
    window->resize(geometry.size());
    window->move(geometry.topLeft());
}

void Application::addMainWindow(bool positionAndShow, bool filesToFollow) {
    auto* window = filesToFollow ? new MainWindow(MainWindow::FilesToFollow{}) : new MainWindow();
    mainWindow = window;
    mainWindows.push_back(window);
    if (positionAndShow) {
        applyDefaultGeometry(window);
        window->show();
    }
    connect(window, &MainWindow::mainWindowClosedSignal, this, &Application::onMainWindowClosed);
    connect(window, &MainWindow::mainWindowFocusChangedSignal, this, &Application::onMainWindowFocusChanged);
    connect(window, &QObject::destroyed, this, &Application::removeMainWindow);
}

void Application::makeMainWindowConnections(MainWindow* window) {
    if (!window)
        return;
    connect(window, &MainWindow::updateConfigFileSignal, this, &Application::updateConfigFile,
            Qt::UniqueConnection);
    connect(window, &MainWindow::openTerminalToFilesDirectorySignal, this,
            &Application::openTerminalToFilesDirectory, Qt::UniqueConnection);
    connect(window, &MainWindow::showFileInFileSystemSignal, this, &Application::showFileInFileSystem,
            Qt::UniqueConnection);
    connect(window, &MainWindow::createNewInstanceSignal, this, &Application::createNewInstance,
            Qt::UniqueConnection);
    connect(window, &MainWindow::setThemeSignal, this, &Application::onThemeChanged, Qt::UniqueConnection);
    connect(window, &MainWindow::checkForUpdatesSignal, this, &Application::checkForUpdatesOnCommand,
            Qt::UniqueConnection);
}

void Application::createNewInstance(bool newWindowFromOutside, const QStringList& filepaths) {
    auto* requester = qobject_cast<MainWindow*>(sender());
    addMainWindow(newWindowFromOutside);
    MainWindow* window = mainWindow;
    bool geometryLoaded = false;
    bool showSideBar = true;
    bool showMetadata = false;
    loadConfig(geometryLoaded, showSideBar, showMetadata);
    window->showSideBar(showSideBar);
    window->showMetadata(showMetadata);
    window->showEditorPane(showEditorPane);

    if (!newWindowFromOutside) {
        // The new window takes the size of the one that asked, else of the oldest window.
        MainWindow* model = requester;
        if (!model) {
            for (MainWindow* other : mainWindows) {
                if (other != window) {
                    model = other;
                    break;
                }
            }
        }
        if (model) {
            window->resize(model->size());
            window->setWindowState(model->windowState());
        } else {
            applyDefaultGeometry(window);
        }
        window->show();
    }
    window->openFiles(filepaths);
    makeMainWindowConnections(window);
}

void Application::dropWindow(const QObject* window) {
    const auto it = std::find_if(mainWindows.begin(), mainWindows.end(),
                                 [window](MainWindow* w) { return static_cast<QObject*>(w) == window; });
    if (it == mainWindows.end())
        return;
    const bool wasCurrent = *it == mainWindow;
    mainWindows.erase(it);
    // With no window left the current one is gone too; nothing may be sent to it.
    if (wasCurrent)
        mainWindow = mainWindows.empty() ? nullptr : mainWindows.front();
}

void Application::onMainWindowClosed() {
    dropWindow(sender());
}

void Application::removeMainWindow(QObject* window) {
    dropWindow(window);
}

void Application::onMainWindowFocusChanged() {
    auto* window = qobject_cast<MainWindow*>(sender());
    if (window && std::find(mainWindows.begin(), mainWindows.end(), window) != mainWindows.end())
        mainWindow = window;
}

void Application::closeProgram() {
    const std::vector<MainWindow*> windows = mainWindows;
    for (MainWindow* window : windows)
        window->close();
}

void Application::onQuit() {}

void Application::onTerminationRequested() {
    // A second request while the first one asks about unsaved tables must not close again from
    // inside that question.
    if (closingOnRequest || terminationPending)
        return;
    // A question open now runs its event loop inside the code of the window that asked it
    // (during the start, or over a file handed over later): closing the window from there would
    // delete it under that code. The question closes unanswered, which cancels what it asked
    // about, and the windows close once no question is left and the start is over; this timer
    // runs in the questions' own event loops.
    // Work on a table's worker (a sort, a scan) runs an event loop inside the code that started
    // it in the same way: it is cancelled, and the windows close once it has stopped.
    if (starting || QApplication::activeModalWidget() || stopWork()) {
        terminationPending = true;
        auto* closer = new QTimer(this);
        connect(closer, &QTimer::timeout, this, [this, closer] {
            if (stopWork())
                return;
            if (auto* question = qobject_cast<QDialog*>(QApplication::activeModalWidget())) {
                question->reject();
                return;
            }
            if (starting)
                return;
            closer->deleteLater();
            terminationPending = false;
            closeOnRequest();
        });
        closer->start(20);
        return;
    }
    closeOnRequest();
}

bool Application::stopWork() {
    bool working = false;
    for (MainWindow* window : mainWindows) {
        if (window->isWorking()) {
            window->cancelWork();
            working = true;
        }
    }
    return working;
}

void Application::closeOnRequest() {
    closingOnRequest = true;
    closeProgram();
    closingOnRequest = false;
}

bool Application::event(QEvent* event) {
    if (event->type() == QEvent::FileOpen && mainWindow)
        mainWindow->openFile(static_cast<QFileOpenEvent*>(event)->file());
    return QApplication::event(event);
}

// --- "Orvane.ini" -------------------------------------------------------------------------------

void Application::loadConfig(bool& geometryLoaded, bool& showSideBar, bool& showMetadata) {
    MainWindow* window = mainWindow;
    if (!window)
        return;
    QSettings& ini = configFile;
    const auto has = [&ini](const QString& key) { return ini.contains(key); };
    const auto readBool = [&](const QString& key, bool& target) {
        if (has(key))
            target = ini.value(key).toBool();
    };
    const auto readInt = [&](const QString& key, int& target) {
        if (has(key))
            target = ini.value(key).toInt();
    };
    const auto readDouble = [&](const QString& key, double& target) {
        if (has(key))
            target = ini.value(key).toDouble();
    };
    const auto readString = [&](const QString& key, QString& target) {
        if (has(key))
            target = ini.value(key).toString();
    };

    readString(Key::preferenceFileVersion, prefFileVersion);
    if (has(Key::updateIgnoreVersion)) {
        const QString version = ini.value(Key::updateIgnoreVersion).toString();
        if (version.size() < kMaxIgnoreVersionLength)
            updateIgnoreVersion = version;
    }

    if (has(Key::windowGeometry) && window->restoreGeometry(ini.value(Key::windowGeometry).toByteArray())) {
        geometryLoaded = true;
        if (const auto position = rescuedWindowPosition(window->frameGeometry(), availableScreenGeometries()))
            window->move(*position);
    }
    if (has(Key::windowState)) {
        // Never come back minimized: the window would seem not to start at all.
        const auto state = Qt::WindowStates(static_cast<int>(ini.value(Key::windowState).toUInt()));
        window->setWindowState(state & ~Qt::WindowMinimized);
    }
    if (has(Key::defaultOpenFolderpath))
        window->setDefaultOpenFolderpath(ini.value(Key::defaultOpenFolderpath).toString());
    if (has(Key::sidebarFolderpathList))
        window->setSidebarTopFolderpathList(ini.value(Key::sidebarFolderpathList).toStringList());
    if (has(Key::recentFilepathList))
        window->setRecentFiles(ini.value(Key::recentFilepathList).toStringList());
    if (has(Key::showTabBar))
        window->showTabBar(ini.value(Key::showTabBar).toBool());
    readBool(Key::showSideBar, showSideBar);
    readBool(Key::showFileMetadata, showMetadata);
    if (has(Key::showSideBarOpenFiles))
        window->showSideBarOpenFiles(ini.value(Key::showSideBarOpenFiles).toBool());
    if (has(Key::showSideBarFolders))
        window->showSideBarFolders(ini.value(Key::showSideBarFolders).toBool());
    if (has(Key::sideBarShowWidthRead)) {
        const int width = ini.value(Key::sideBarShowWidthRead).toInt();
        if (width > 0)
            window->setSidebarShowWidth(width);
    }
    if (has(Key::editorPaneShowHeight))
        window->setEditorPaneShowHeight(ini.value(Key::editorPaneShowHeight).toInt());
    readBool(Key::showEditorPane, showEditorPane);
    if (has(Key::useThousandsSeparator))
        window->setUseThousandsSeparators(ini.value(Key::useThousandsSeparator).toBool());
    if (has(Key::hideColsWithNoData))
        window->setHideColsWithNoData(ini.value(Key::hideColsWithNoData).toBool());
    if (has(Key::excludeEmptyCells))
        window->setExcludeEmptyCells(ini.value(Key::excludeEmptyCells).toBool());

    ExtensionData& import = importDefaults.extensionData;
    readString(Key::importExtension, import.extension);
    if (has(Key::importDelimiter)) {
        import.delimiter =
            Utilities::convertDelimiterFromShortReadableToActual(ini.value(Key::importDelimiter).toString());
        import.saveDelimiter = import.delimiter;
    }
    if (has(Key::importLineEnding))
        import.lineEnding =
            Utilities::convertLineEndingStringToType(ini.value(Key::importLineEnding).toString());
    if (has(Key::importEncoding))
        import.encoding = Utilities::convertEncodingStringToType(ini.value(Key::importEncoding).toString());
    if (has(Key::importParsingStandard))
        import.parsingStandard =
            Utilities::convertParsingStringToStandard(ini.value(Key::importParsingStandard).toString());
    readBool(Key::importSaveLocal, importDefaults.saveLocalInOriginatingDir);
    readBool(Key::importOpenFiles, importDefaults.openFilesAfterImport);
    readBool(Key::importPreserveStructure, importDefaults.preserveStructure);
    window->setImportDefaults(import, importDefaults.saveLocalInOriginatingDir,
                              importDefaults.openFilesAfterImport, importDefaults.preserveStructure);

    PrintSettings& print = printData;
    readString(Key::pageSize, print.pageSize);
    readDouble(Key::customWidth, print.customWidth);
    readDouble(Key::customHeight, print.customHeight);
    readBool(Key::isPortrait, print.isPortrait);
    readDouble(Key::marginLeft, print.marginLeft);
    readDouble(Key::marginRight, print.marginRight);
    readDouble(Key::marginTop, print.marginTop);
    readDouble(Key::marginBottom, print.marginBottom);
    // One unit serves page and margins; older files kept it under the margin key.
    if (has(Key::pageUnits))
        print.pageUnits = ini.value(Key::pageUnits).toString();
    else
        readString(Key::marginUnits, print.pageUnits);
    print.marginUnits = print.pageUnits;
    readString(Key::printerName, print.printerName);
    readInt(Key::copies, print.copies);
    readBool(Key::collate, print.collate);
    readBool(Key::reverse, print.reverse);
    readString(Key::duplexMode, print.duplexMode);
    readBool(Key::showTitle, print.showTitle);
    readBool(Key::showPageNumbers, print.showPageNumbers);
    readBool(Key::showRowHeaders, print.showRowHeaders);
    readBool(Key::showColumnHeaders, print.showColumnHeaders);
    readBool(Key::showRowLabels, print.showRowLabels);
    readBool(Key::showColumnLabels, print.showColumnLabels);
    readBool(Key::rowWise, print.rowWise);
    readBool(Key::selectedRowsOnly, print.selectedRowsOnly);
    readBool(Key::selectedColumnsOnly, print.selectedColumnsOnly);
    readBool(Key::showRowGridlines, print.showRowGridlines);
    readBool(Key::showColumnGridlines, print.showColumnGridlines);
    readBool(Key::centerVertically, print.centerVertically);
    readBool(Key::centerHorizontally, print.centerHorizontally);
    window->setPrintSettings(print);
}

void Application::onThemeChanged(const Theme& theme) {
    // The style sheet is the costly part: set it only when the theme changed.
    if (currentThemeApplied && theme.name == currentTheme.name && theme.getStyleSheet() == currentStyleSheet)
        return;
    currentTheme = theme;
    currentThemeApplied = true;
    currentStyleSheet = theme.getStyleSheet();
    setPalette(theme.getPalette());
    setStyleSheet(currentStyleSheet);
}

void Application::updateConfigFile(const ConfigData& data) {
    QSettings& ini = configFile;
    ini.setValue(Key::preferenceFileVersion, kVersion);
    ini.setValue(Key::updateIgnoreVersion, updateIgnoreVersion);
    ini.setValue(Key::windowGeometry, data.windowGeometry);
    ini.setValue(Key::windowState, static_cast<uint>(data.windowState));
    ini.setValue(Key::defaultOpenFolderpath, data.defaultOpenFolderpath);
    ini.setValue(Key::sidebarFolderpathList, data.sidebarFolderpathList);
    ini.setValue(Key::recentFilepathList, data.recentFilepathList);
    ini.setValue(Key::showTabBar, data.paneVisibility.showTabBar);
    ini.setValue(Key::showSideBar, data.paneVisibility.showSideBar);
    ini.setValue(Key::showFileMetadata, data.paneVisibility.showFileMetadata);
    ini.setValue(Key::showSideBarOpenFiles, data.paneVisibility.showSideBarOpenFiles);
    ini.setValue(Key::showSideBarFolders, data.paneVisibility.showSideBarFolders);
    ini.setValue(Key::sideBarShowWidth, data.sideBarShowWidth);
    ini.setValue(Key::editorPaneShowHeight, data.editorPaneShowHeight);
    ini.setValue(Key::showEditorPane, data.paneVisibility.showEditorPane);
    ini.setValue(Key::useThousandsSeparator, data.useThousandsSeparators);
    ini.setValue(Key::hideColsWithNoData, data.hideColsWithNoData);
    ini.setValue(Key::excludeEmptyCells, data.excludeEmptyCells);

    const ExtensionData& import = data.importDefaults.extensionData;
    ini.setValue(Key::importExtension, import.extension);
    ini.setValue(Key::importDelimiter,
                 Utilities::convertDelimiterFromActualToShortReadable(import.saveDelimiter));
    ini.setValue(Key::importLineEnding,
                 Utilities::convertLineEndingTypeToShortString(import.lineEnding, false));
    ini.setValue(Key::importEncoding, Utilities::convertEncodingTypeToString(import.encoding));
    ini.setValue(Key::importParsingStandard,
                 Utilities::convertParsingStandardToString(import.parsingStandard));
    ini.setValue(Key::importSaveLocal, data.importDefaults.saveLocalInOriginatingDir);
    ini.setValue(Key::importOpenFiles, data.importDefaults.openFilesAfterImport);
    ini.setValue(Key::importPreserveStructure, data.importDefaults.preserveStructure);

    const PrintSettings& print = data.printData;
    ini.setValue(Key::pageSize, print.pageSize);
    ini.setValue(Key::customWidth, print.customWidth);
    ini.setValue(Key::customHeight, print.customHeight);
    ini.setValue(Key::isPortrait, print.isPortrait);
    ini.setValue(Key::marginLeft, print.marginLeft);
    ini.setValue(Key::marginRight, print.marginRight);
    ini.setValue(Key::marginTop, print.marginTop);
    ini.setValue(Key::marginBottom, print.marginBottom);
    ini.remove(Key::marginUnits);
    ini.setValue(Key::pageUnits, print.pageUnits);
    ini.setValue(Key::printerName, print.printerName);
    ini.setValue(Key::copies, print.copies);
    ini.setValue(Key::collate, print.collate);
    ini.setValue(Key::reverse, print.reverse);
    ini.setValue(Key::duplexMode, print.duplexMode);
    ini.setValue(Key::showTitle, print.showTitle);
    ini.setValue(Key::showPageNumbers, print.showPageNumbers);
    ini.setValue(Key::showRowHeaders, print.showRowHeaders);
    ini.setValue(Key::showColumnHeaders, print.showColumnHeaders);
    ini.setValue(Key::showRowLabels, print.showRowLabels);
    ini.setValue(Key::showColumnLabels, print.showColumnLabels);
    ini.setValue(Key::rowWise, print.rowWise);
    ini.setValue(Key::selectedRowsOnly, print.selectedRowsOnly);
    ini.setValue(Key::selectedColumnsOnly, print.selectedColumnsOnly);
    ini.setValue(Key::showRowGridlines, print.showRowGridlines);
    ini.setValue(Key::showColumnGridlines, print.showColumnGridlines);
    ini.setValue(Key::centerVertically, print.centerVertically);
    ini.setValue(Key::centerHorizontally, print.centerHorizontally);
    ini.sync();
}

// --- Command line and second launches -------------------------------------------------------------

Application::CommandLineRequest Application::parseCommandLineArguments(const QList<QString>& arguments,
                                                                       const QString& workingDirectory) {
    CommandLineRequest request;
    const QDir base(workingDirectory);
    for (qsizetype i = 1; i < arguments.size(); ++i) {
        const QString& argument = arguments[i];
        int* option = nullptr;
        if (argument == QLatin1String("-w"))
            option = &request.width;
        else if (argument == QLatin1String("-h"))
            option = &request.height;
        else if (argument == QLatin1String("-x"))
            option = &request.x;
        else if (argument == QLatin1String("-y"))
            option = &request.y;
        if (option) {
            if (i + 1 >= arguments.size())
                break;
            *option = parseOptionValue(arguments[++i]);
            continue;
        }
        if (argument.isEmpty())
            continue;

        // A relative path belongs to the directory the launch came from, which wins over
        // our own current directory.
        bool found = false;
        for (const QString& candidate : {base.absoluteFilePath(argument), argument}) {
            const QFileInfo info(candidate);
            if (info.isDir()) {
                request.folders.append(info.absoluteFilePath());
                found = true;
                break;
            }
            if (info.isFile()) {
                request.files.append(info.absoluteFilePath());
                found = true;
                break;
            }
        }
        // A path that names nothing goes on to the window, which tells the user about it.
        if (!found)
            request.files.append(base.absoluteFilePath(argument));
    }
    return request;
}

QRect Application::applyCommandLineGeometry(const QRect& current, const CommandLineRequest& request) {
    QRect result = current;
    if (request.width >= 1 && request.height >= 1)
        result.setSize(QSize(request.width, request.height));
    else if (request.width >= 1)
        result.setWidth(request.width);
    else if (request.height >= 1)
        result.setHeight(request.height);

    QPoint position = current.topLeft();
    if (request.x >= 0)
        position.setX(request.x);
    if (request.y >= 0)
        position.setY(request.y);
    result.moveTopLeft(position);
    return result;
}

void Application::handleCommandLineArguments(const QList<QString>& arguments) {
    if (arguments.size() < 2 || !mainWindow)
        return;
    const CommandLineRequest request = parseCommandLineArguments(arguments, workingDirectory);
    MainWindow* window = mainWindow;
    for (const QString& folder : request.folders)
        window->openFolder(folder);

    const QRect current(window->pos(), window->size());
    const QRect wanted = applyCommandLineGeometry(current, request);
    if (wanted.size() != current.size())
        window->resize(wanted.size());
    if (wanted.topLeft() != current.topLeft())
        window->move(wanted.topLeft());

    window->openFiles(request.files);
    // Files handed over by a later launch come to the front with their window.
    if (window->isMinimized())
        window->showNormal();
    window->raise();
    window->activateWindow();
}

void Application::onMessageReceived(quint32 instanceId, const QByteArray& message) {
    Q_UNUSED(instanceId)
    const QList<QByteArray> pieces = message.split('<');
    if (pieces.size() < 3) {
        createNewInstance(true, {});
        return;
    }
    workingDirectory = QString::fromUtf8(pieces[0]);
    QList<QString> arguments;
    for (qsizetype i = 1; i < pieces.size(); ++i)
        arguments.append(QString::fromUtf8(pieces[i]));
    handleCommandLineArguments(arguments);
}

// --- Requests of a window ------------------------------------------------------------------------

Application::TerminalCommand
Application::findTerminalCommand(const QString& folder, const QString& desktop, const QString& preferred,
                                 const std::function<QString(const QString&)>& findExecutable) {
    // How each terminal is told where to start; the rest take the directory we start them in.
    const auto argumentsFor = [&folder](const QString& name) -> QStringList {
        if (name == QLatin1String("gnome-terminal") || name == QLatin1String("xfce4-terminal") ||
            name == QLatin1String("mate-terminal") || name == QLatin1String("tilix") ||
            name == QLatin1String("terminator"))
            return {QStringLiteral("--working-directory=") + folder};
        if (name == QLatin1String("konsole"))
            return {QStringLiteral("--workdir"), folder};
        if (name == QLatin1String("kgx"))
            return {QStringLiteral("--working-directory"), folder};
        if (name == QLatin1String("qterminal"))
            return {QStringLiteral("--workdir"), folder};
        if (name == QLatin1String("alacritty"))
            return {QStringLiteral("--working-directory"), folder};
        if (name == QLatin1String("kitty"))
            return {QStringLiteral("--directory"), folder};
        return {};
    };

    QStringList candidates;
    if (!preferred.isEmpty())
        candidates.append(preferred);
    const QStringList desktops = desktop.toLower().split(QLatin1Char(':'), Qt::SkipEmptyParts);
    for (const QString& name : desktops) {
        if (name == QLatin1String("kde"))
            candidates << QStringLiteral("konsole");
        else if (name == QLatin1String("xfce"))
            candidates << QStringLiteral("xfce4-terminal");
        else if (name == QLatin1String("mate"))
            candidates << QStringLiteral("mate-terminal");
        else if (name == QLatin1String("lxqt"))
            candidates << QStringLiteral("qterminal");
        else if (name == QLatin1String("lxde"))
            candidates << QStringLiteral("lxterminal");
        else if (name == QLatin1String("gnome") || name == QLatin1String("unity") ||
                 name == QLatin1String("cinnamon") || name == QLatin1String("budgie"))
            candidates << QStringLiteral("gnome-terminal") << QStringLiteral("kgx");
    }
    candidates << QStringLiteral("x-terminal-emulator") << QStringLiteral("gnome-terminal")
               << QStringLiteral("konsole") << QStringLiteral("xfce4-terminal")
               << QStringLiteral("mate-terminal") << QStringLiteral("qterminal")
               << QStringLiteral("lxterminal") << QStringLiteral("kgx") << QStringLiteral("tilix")
               << QStringLiteral("terminator") << QStringLiteral("alacritty") << QStringLiteral("kitty")
               << QStringLiteral("xterm");

    for (const QString& candidate : candidates) {
        const QString program = findExecutable(candidate);
        if (!program.isEmpty())
            return {program, argumentsFor(QFileInfo(candidate).fileName())};
    }
    return {};
}

void Application::openTerminalToFilesDirectory(const QString& path) {
    const QDir folder(path);
    if (path.isEmpty() || !folder.exists())
        return;
#ifdef Q_OS_MACOS
    const QStringList apps = {QStringLiteral("/Applications/Utilities/Terminal.app"),
                              QStringLiteral("/System/Applications/Utilities/Terminal.app")};
    for (const QString& app : apps) {
        if (QFileInfo(app).isDir()) {
            QProcess::startDetached(app + QStringLiteral("/Contents/MacOS/Terminal"),
                                    {folder.absolutePath()});
            return;
        }
    }
#else
    const QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    const TerminalCommand command =
        findTerminalCommand(folder.absolutePath(), environment.value(QStringLiteral("XDG_CURRENT_DESKTOP")),
                            environment.value(QStringLiteral("TERMINAL")),
                            [](const QString& name) { return QStandardPaths::findExecutable(name); });
    if (!command.program.isEmpty())
        QProcess::startDetached(command.program, command.arguments, folder.absolutePath());
#endif
}

QUrl Application::folderUrlForFile(const QString& path) {
    if (path.isEmpty())
        return {};
    const QString folder = QFileInfo(path).absolutePath();
    if (!QFileInfo::exists(folder))
        return {};
    // Network shares keep their own form.
    if (folder.startsWith(QLatin1String("\\\\")) || folder.startsWith(QLatin1String("//"))) {
        QUrl url;
        url.setUrl(QDir::toNativeSeparators(folder));
        return url;
    }
    return QUrl::fromLocalFile(folder);
}

void Application::showFileInFileSystem(const QString& path) {
    const QUrl url = folderUrlForFile(path);
    if (url.isValid())
        QDesktopServices::openUrl(url);
}
