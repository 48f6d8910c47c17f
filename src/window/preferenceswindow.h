#pragma once

#include "storage/fileparameters.h"

#include <QWidget>

#include <vector>

class Commands;
class FileExtensionsWidget;
class QTabWidget;
class Settings;
class SettingsWidget;
class ShortcutsWidget;

// The window in which the three preference files are edited as forms. It writes the same
// files the user may edit by hand; the main window then reads them again.
class PreferencesWindow : public QWidget {
    Q_OBJECT

public:
    enum TabType { SettingsTab = 0, ShortcutsTab = 1, FileExtensionsTab = 2 };

    PreferencesWindow(const Settings& settings, const Commands& commands,
                      const std::vector<ExtensionData>& extensions, QWidget* parent = nullptr);

    void openTab(TabType tab);
    // Writes each tab that changed; false when the user stayed to fix shortcuts.
    bool apply(bool closing);
    void onOkClicked();
    void onApplyClicked();
    void onSettingsUpdated() { settingsDirty = true; }
    void onShortcutsUpdated() { shortcutsDirty = true; }
    void onPreferencesUpdated() { extensionsDirty = true; }
    bool isDirty() const { return settingsDirty || shortcutsDirty || extensionsDirty; }

    SettingsWidget* getSettingsWidget() const { return settingsWidget; }
    ShortcutsWidget* getShortcutsWidget() const { return shortcutsWidget; }
    FileExtensionsWidget* getFileExtensionsWidget() const { return extensionsWidget; }
    QTabWidget* getTabWidget() const { return tabs; }

signals:
    // The files were written: read them again.
    void updateSignal();
    void openFileMetadataSignal();
    void makeExtensionsFileSignal();

protected:
    // Escape cancels, as in any dialog.
    void keyPressEvent(QKeyEvent* event) override;

private:
    QTabWidget* tabs = nullptr;
    SettingsWidget* settingsWidget = nullptr;
    ShortcutsWidget* shortcutsWidget = nullptr;
    FileExtensionsWidget* extensionsWidget = nullptr;
    bool settingsDirty = false;
    bool shortcutsDirty = false;
    bool extensionsDirty = false;
};
