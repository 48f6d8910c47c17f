#pragma once

#include "preferences/preferencefiles.h"

#include <vector>

class Commands;
class Theme;
class TableModel;

// The shortcuts file over the command table.
namespace PreferenceFiles {

// One entry per command, in the order of the command list (by name).
std::vector<ShortcutEntry> makeShortcutEntries(const Commands& commands);
// The same with every command at its default shortcut, without a window.
std::vector<ShortcutEntry> defaultShortcutEntries();

void makeShortcutsTable(TableModel& model, const Commands& commands);
bool makeShortcutsFile(const QString& path = Utilities::getShortcutsFilepath());
bool makeShortcutsFile(const Commands& commands, const QString& path = Utilities::getShortcutsFilepath());
void updateShortcutsFile(Commands& commands, const QString& path = Utilities::getShortcutsFilepath());
// Puts every command back to its default, then takes the file's shortcuts: "(none)" empties a
// command's keys, blank or unreadable text keeps the default. Keys, menus and the launcher
// follow at once.
void addUserShortcuts(const TableModel& model, Commands& commands);

// Makes each preference file that is missing or has lost its header, with the defaults;
// `existed` tells, in the order settings, shortcuts, extensions, which were there and sound.
void setUpPreferenceFiles(bool existed[3]);
// The theme the settings file names, among the built-in and already loaded themes.
Theme readThemeSetting();

} // namespace PreferenceFiles
