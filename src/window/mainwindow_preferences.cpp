// The preference files as the window reads them, the Preferences commands, and themes.

#include "window/mainwindow.h"

#include "preferences/defaultextensions.h"
#include "preferences/preferencefiles.h"
#include "table/tablemodel.h"
#include "util/appdatautilities.h"
#include "view/tableview.h"
#include "window/launcher.h"
#include "window/paneview.h"
#include "window/preferenceswindow.h"
#include "window/shortcutpreferences.h"

#include <QDir>
#include <QFileInfo>
#include <QFileSystemWatcher>

namespace {

// Hands the window's settings to everything, but lets each open table keep its own table
// settings: a new default applies to the files opened after it.
void propagateKeepingTableSettings(MainWindow& window) {
    std::vector<std::pair<TableView*, Settings>> own;
    for (TableView* view : window.getAllTableViews())
        own.emplace_back(view, view->getSettings(true));
    window.propagateSettings();
    for (auto& [view, tableSettings] : own) {
        Settings merged = window.getSettings().copySettings();
        for (Setting* s : merged.getSettings()) {
            if (s->scope == Table)
                s->value = tableSettings.get(s->type)->value;
        }
        view->propagateSettings(merged);
        merged.clear();
        tableSettings.clear();
    }
}

} // namespace

// --- Reading the files --------------------------------------------------------------------------

void MainWindow::loadSettingsFromFile() {
    TableModel model(false);
    if (PreferenceFiles::loadTable(model, Utilities::getSettingsFilepath()))
        addUserSettings(model);
}

void MainWindow::loadCommandsFromFile() {
    // A missing file still puts every command back to its default.
    TableModel model(false);
    PreferenceFiles::loadTable(model, Utilities::getShortcutsFilepath());
    PreferenceFiles::addUserShortcuts(model, commands);
}

void MainWindow::addUserSettings(const TableModel& model) {
    PreferenceFiles::applyUserSettings(model, settings);
}

void MainWindow::setUserExtensions(const TableModel& model) {
    std::vector<ExtensionData> table;
    if (PreferenceFiles::readUserExtensions(model, table))
        extensions = std::move(table);
}

void MainWindow::setupExtensions() {
    extensions = PreferenceFiles::getDefaultExtensions();
    TableModel model(false);
    if (PreferenceFiles::loadTable(model, Utilities::getExtensionsFilepath()))
        setUserExtensions(model);
}

void MainWindow::updatePreferenceFiles(const bool existed[3]) {
    if (existed[0])
        PreferenceFiles::updateSettingsFile();
    if (existed[1])
        PreferenceFiles::updateShortcutsFile(commands);
    if (existed[2])
        PreferenceFiles::updateExtensionsFile();
    watchPreferenceFiles();
}

void MainWindow::watchPreferenceFiles() {
    // A file replaced by a save leaves the watcher: add whatever exists again.
    for (const QString& path : std::as_const(preferenceFilepaths)) {
        if (QFileInfo::exists(path) && !preferenceWatcher->files().contains(path))
            preferenceWatcher->addPath(path);
    }
    const QString folder = Utilities::getAppDataLocation();
    if (QFileInfo(folder).isDir() && !preferenceWatcher->directories().contains(folder))
        preferenceWatcher->addPath(folder);
}

void MainWindow::onPreferenceChanged(const QString& path) {
    if (constructing)
        return;
    watchPreferenceFiles();
    if (path.endsWith(QLatin1String("Shortcuts (User).csv"))) {
        loadCommandsFromFile();
        setupMenus();
    } else if (path.endsWith(QLatin1String("Settings (User).csv"))) {
        loadSettingsFromFile();
        propagateKeepingTableSettings(*this);
        refreshToggles();
    } else if (path.endsWith(QLatin1String("File Extensions (User).csv"))) {
        setupExtensions();
    }
}

void MainWindow::onPreferenceDirChanged(const QString&) {
    watchPreferenceFiles();
}

bool MainWindow::isPreferenceFilepath(const QString& path) const {
    return isPreferencePath(path);
}

// --- Preferences commands -----------------------------------------------------------------------

bool MainWindow::openPreferenceFile(const QString& path) {
    // A file lost since start-up is made again, so the command always has something to show.
    bool made = true;
    if (!QFileInfo::exists(path)) {
        if (path == Utilities::getSettingsFilepath())
            made = PreferenceFiles::makeSettingsFile(settings, path);
        else if (path == Utilities::getShortcutsFilepath())
            made = PreferenceFiles::makeShortcutsFile(commands, path);
        else
            made = PreferenceFiles::makeExtensionsFile(path);
        watchPreferenceFiles();
    }
    return made && openFiles(QList<QString>{path});
}

bool MainWindow::commandPreferences(const QString&) {
    if (!preferencesWindow) {
        preferencesWindow = new PreferencesWindow(settings, commands, extensions, this);
        connect(preferencesWindow, &PreferencesWindow::updateSignal, this, &MainWindow::reloadPreferences);
        connect(preferencesWindow, &PreferencesWindow::makeExtensionsFileSignal, this,
                [] { PreferenceFiles::makeExtensionsFile(); });
    }
    preferencesWindow->show();
    preferencesWindow->raise();
    preferencesWindow->activateWindow();
    preferencesWindow->openTab(PreferencesWindow::SettingsTab);
    return true;
}

PreferencesWindow* MainWindow::getPreferencesWindow() const {
    return preferencesWindow.data();
}

void MainWindow::reloadPreferences() {
    loadCommandsFromFile();
    setupMenus();
    loadSettingsFromFile();
    propagateKeepingTableSettings(*this);
    refreshToggles();
    setupExtensions();
    watchPreferenceFiles();
}

bool MainWindow::commandEditSettings(const QString&) {
    return openPreferenceFile(Utilities::getSettingsFilepath());
}

bool MainWindow::commandEditKeyboardShortcuts(const QString&) {
    return openPreferenceFile(Utilities::getShortcutsFilepath());
}

bool MainWindow::commandEditFileExtensionOptions(const QString&) {
    return openPreferenceFile(Utilities::getExtensionsFilepath());
}

bool MainWindow::commandOpenPreferenceFileFolder(const QString&) {
    const QString folder = Utilities::getAppDataLocation();
    if (!QDir().mkpath(folder))
        return false;
    // The file manager shows the folder that holds the settings file: the preference folder.
    emit showFileInFileSystemSignal(Utilities::getSettingsFilepath());
    return true;
}

// --- Themes -------------------------------------------------------------------------------------

void MainWindow::loadThemesDirectory() {
    const QString folder = Utilities::getThemesFolderpath();
    QDir().mkpath(folder);
    Theme::clearThemeFileList();
    if (!themesWatcher->files().isEmpty())
        themesWatcher->removePaths(themesWatcher->files());
    if (QFileInfo(folder).isDir() && !themesWatcher->directories().contains(folder))
        themesWatcher->addPath(folder);
    const QFileInfoList files =
        QDir(folder).entryInfoList({QStringLiteral("*.csv")}, QDir::Files, QDir::Name);
    for (const QFileInfo& info : files) {
        TableModel model(false);
        if (!PreferenceFiles::loadTable(model, info.absoluteFilePath()))
            continue;
        Theme::addOrReplaceTheme(info.baseName(), model.parseIntoMapStringStringVector(0, {1, 2}, -1));
        themesWatcher->addPath(info.absoluteFilePath());
    }
}

void MainWindow::onThemesDirectoryChanged(const QString&) {
    loadThemesDirectory();
    Theme theme = settings.getTheme();
    theme.refresh();
    settings.setTheme(theme);
    propagateKeepingTableSettings(*this);
}

void MainWindow::setTheme(const Theme& theme) {
    settings.setTheme(theme);
    PreferenceFiles::writeSettingToFile(settings, ThemeOption);
    propagateKeepingTableSettings(*this);
}

bool MainWindow::commandSetTheme(const QString&) {
    if (!activeTable)
        return false;
    onSetThemePrompt();
    return true;
}

void MainWindow::onSetThemePrompt() {
    if (!activeTable)
        return;
    const QString current = settings.getTheme().name;
    std::vector<OptionData> options;
    for (const QString& name : Theme::getNamesList()) {
        OptionData option;
        option.option = name;
        if (name.compare(current, Qt::CaseInsensitive) == 0)
            option.description = tr("The theme in use");
        options.push_back(option);
    }
    Launcher* launcher =
        makePromptLauncher(tr("Theme:"), tr("Themes of your own go in the folder \"Themes\" "
                                            "beside the preference files, one CSV file each."));
    launcher->setOptions(options);
    connect(launcher, &Launcher::launcherResponseSignal, this, &MainWindow::onSetThemePromptReceived);
    paneView->setLauncher(launcher);
}

void MainWindow::onSetThemePromptReceived(const QString& response) {
    paneView->clearPrevOptionList();
    const QString wanted = response.trimmed();
    for (const QString& name : Theme::getNamesList()) {
        if (name.compare(wanted, Qt::CaseInsensitive) == 0) {
            setTheme(Theme::convertStringToTheme(name));
            return;
        }
    }
    // A name that matches no theme comes back to be put right.
    askAgain(&MainWindow::onSetThemePrompt, response);
}
