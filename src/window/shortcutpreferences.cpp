#include "window/shortcutpreferences.h"

#include "preferences/settings.h"
#include "preferences/theme.h"
#include "table/tablemodel.h"
#include "window/commands.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <map>

namespace PreferenceFiles {

std::vector<ShortcutEntry> makeShortcutEntries(const Commands& commands) {
    std::vector<ShortcutEntry> entries;
    entries.reserve(commands.getCommands().size());
    for (const Command& command : commands.getCommands())
        entries.push_back({command.name, command.defaultShortcut, command.shortcut});
    return entries;
}

std::vector<ShortcutEntry> defaultShortcutEntries() {
    std::vector<ShortcutEntry> entries;
    for (const CommandRow& row : Commands::rows()) {
        const QString shortcut = QString::fromLatin1(row.shortcut);
        entries.push_back({QCoreApplication::translate("Commands", row.name), shortcut, shortcut});
    }
    std::sort(entries.begin(), entries.end(),
              [](const ShortcutEntry& a, const ShortcutEntry& b) { return a.name < b.name; });
    return entries;
}

void makeShortcutsTable(TableModel& model, const Commands& commands) {
    makeShortcutsTable(model, makeShortcutEntries(commands));
}

bool makeShortcutsFile(const QString& path) {
    return makeShortcutsFile(defaultShortcutEntries(), path);
}

bool makeShortcutsFile(const Commands& commands, const QString& path) {
    return makeShortcutsFile(makeShortcutEntries(commands), path);
}

void updateShortcutsFile(Commands& commands, const QString& path) {
    if (!QFileInfo(path).isFile())
        return;
    std::vector<ShortcutEntry> entries = makeShortcutEntries(commands);
    for (ShortcutEntry& entry : entries)
        entry.shortcut = entry.defaultShortcut;
    updateShortcutsFile(entries, path);
    for (const ShortcutEntry& entry : entries)
        commands.setShortcutText(entry.name, entry.shortcut);
    commands.applyShortcuts();
}

void addUserShortcuts(const TableModel& model, Commands& commands) {
    std::map<QString, QString> texts;
    const bool found = readUserShortcutTexts(model, texts);
    for (const Command& command : commands.getCommands()) {
        QString shortcut = command.defaultShortcut;
        if (found) {
            if (const auto it = texts.find(command.name); it != texts.end())
                shortcut = resolveUserShortcut(it->second, command.defaultShortcut);
        }
        if (shortcut != command.shortcut)
            commands.setShortcutText(command.name, shortcut);
    }
    commands.applyShortcuts();
}

void setUpPreferenceFiles(bool existed[3]) {
    const QString paths[3] = {Utilities::getSettingsFilepath(), Utilities::getShortcutsFilepath(),
                              Utilities::getExtensionsFilepath()};
    const bool valid[3] = {testSettingsFileValidity(paths[0]), testShortcutsFileValidity(paths[1]),
                           testExtensionsFileValidity(paths[2])};
    for (int i = 0; i < 3; ++i) {
        existed[i] = QFileInfo::exists(paths[i]) && valid[i];
        if (existed[i])
            continue;
        QFile::remove(paths[i]);
        if (i == 0)
            makeSettingsFile(paths[i]);
        else if (i == 1)
            makeShortcutsFile(paths[i]);
        else
            makeExtensionsFile(paths[i]);
    }
}

} // namespace PreferenceFiles

namespace PreferenceFiles {

Theme readThemeSetting() {
    Settings settings;
    TableModel model(false);
    if (loadTable(model, Utilities::getSettingsFilepath()))
        applyUserSettings(model, settings);
    const Theme theme = settings.getTheme();
    settings.clear();
    return theme;
}

} // namespace PreferenceFiles
