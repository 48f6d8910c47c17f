#pragma once

#include "app/singleapplication.h"
#include "convert/printsettings.h"
#include "preferences/theme.h"
#include "window/configdata.h"

#include <QList>
#include <QPointer>
#include <QRect>
#include <QSettings>
#include <QString>
#include <QStringList>
#include <QUrl>

#include <functional>
#include <optional>
#include <vector>

class ExternalServer;
class MainWindow;
class QThread;

// The process: its main windows, "Orvane.ini", the data folder, and the requests that a window
// can't carry out itself.
class Application : public SingleApplication {
    Q_OBJECT

public:
    Application(int& argc, char** argv, bool allowSecondary = false, Options mode = User, int timeout = 1000);
    ~Application() override;

    // What the command line asks for; -1 and 0 mean "not given".
    struct CommandLineRequest {
        int x = -1;
        int y = -1;
        int width = 0;
        int height = 0;
        QStringList folders;
        QStringList files;
    };
    static CommandLineRequest parseCommandLineArguments(const QList<QString>& arguments,
                                                        const QString& workingDirectory);
    // The window's frame position and size after the request.
    static QRect applyCommandLineGeometry(const QRect& current, const CommandLineRequest& request);
    // At most 18 logical inches wide, centred in the available area.
    static QRect defaultWindowGeometry(const QRect& available, qreal logicalDpi);
    // Where a window must go when its frame meets no screen; nothing when it is on one.
    static std::optional<QPoint> rescuedWindowPosition(const QRect& frame,
                                                       const QList<QRect>& availableGeometries);

    // The desktop's terminal, started in `folder`. Empty program when none is found.
    struct TerminalCommand {
        QString program;
        QStringList arguments;
    };
    static TerminalCommand findTerminalCommand(const QString& folder, const QString& desktop,
                                               const QString& preferred,
                                               const std::function<QString(const QString&)>& findExecutable);
    // The folder that holds `path`, as a URL for the file manager; invalid when it is missing.
    static QUrl folderUrlForFile(const QString& path);

    // Writes the tutorial table to `path` unless a file is there; whether one was.
    static bool prepareTutorialFile(const QString& path);
    // This start found no tutorial file: the tutorial is shown, and the preference files are
    // made rather than updated.
    bool isFirstRun() const { return firstRun; }

    MainWindow* getMainWindow() const;
    const std::vector<MainWindow*>& getMainWindows() const { return mainWindows; }
    QString getAppDataPath() const { return appDataPath; }
    QString getConfigFilePath() const { return configFile.fileName(); }
    QString getPrefFileVersion() const { return prefFileVersion; }
    QString getWorkingDirectory() const { return workingDirectory; }
    QString getUpdateIgnoreVersion() const { return updateIgnoreVersion; }
    bool getShowEditorPane() const { return showEditorPane; }
    const ImportDefaults& getImportDefaults() const { return importDefaults; }
    const PrintSettings& getPrintData() const { return printData; }
    QSettings& getConfigFile() { return configFile; }

    // With files to follow, the window waits for them for its first table (see MainWindow).
    void addMainWindow(bool positionAndShow, bool filesToFollow = false);
    void loadConfig(bool& geometryLoaded, bool& showSideBar, bool& showMetadata);
    void makeMainWindowConnections(MainWindow* window);
    void handleCommandLineArguments(const QList<QString>& arguments);

    // The start-up report, and the update check when the setting asks for it (application_update.cpp).
    void startNetworkTasks();
    // How many of the report's and the checks' threads and objects are still alive.
    int liveNetworkObjects() const;
    // Ends the requests still running and waits for their threads: the end of the program.
    void stopNetworkTasks();

public slots:
    void onMessageReceived(quint32 instanceId, const QByteArray& message);
    void createNewInstance(bool newWindowFromOutside, const QStringList& filepaths);
    void updateConfigFile(const ConfigData& data);
    // Gives the whole program the theme's style sheet.
    void onThemeChanged(const Theme& theme);
    void openTerminalToFilesDirectory(const QString& path);
    void showFileInFileSystem(const QString& path);
    void onMainWindowClosed();
    void onMainWindowFocusChanged();
    void removeMainWindow(QObject* window);
    void closeProgram();
    void onQuit();
    // SIGTERM or SIGHUP: close every window as File > Exit does.
    void onTerminationRequested();
    void closeOnRequest();
    // Asks the work running on any window's tables to stop; true when some was running.
    bool stopWork();

    void startupData();
    void checkForUpdates(bool startup, const QString& updateIgnoreVersion);
    void sameVersionWindow();
    void newVersionWindow(const QString& version);
    void onNetworkError(const QString& text);
    void onDownloadButtonClicked();
    void updateDontBugMeState(int state);

private slots:
    void checkForUpdatesOnCommand();

protected:
    bool event(QEvent* event) override;

private:
    void applyDefaultGeometry(MainWindow* window);
    void dropWindow(const QObject* window);
    void runOnNetworkThread(ExternalServer* server, void (ExternalServer::*start)());

    MainWindow* mainWindow = nullptr;
    std::vector<MainWindow*> mainWindows;
    QString appDataPath;
    QSettings configFile;
    QString prefFileVersion;
    QString workingDirectory;
    QString updateIgnoreVersion;
    bool showEditorPane = false;
    bool closingOnRequest = false;
    // A termination request during the constructor or a question (a question runs events) waits
    // for both to end: closing earlier would delete the window under the question.
    bool starting = true;
    bool terminationPending = false;
    bool firstRun = false;
    ImportDefaults importDefaults;
    PrintSettings printData;
    Theme currentTheme;
    QString currentStyleSheet;
    bool currentThemeApplied = false;
    struct NetworkTask {
        QPointer<QThread> thread;
        QPointer<ExternalServer> server;
    };
    std::vector<NetworkTask> networkTasks;
    // The version the last new-version box offered, which its check box would ignore.
    QString offeredVersion;
};
