#pragma once

#include "preferences/settingtypes.h"
#include "storage/fileparameters.h"

#include <QString>

#include <map>
#include <vector>

class Settings;
class TableModel;

namespace Utilities {

// The three preference files and the folder of user themes, in the data folder.
QString getSettingsFilepath();
QString getShortcutsFilepath();
QString getExtensionsFilepath();
QString getThemesFolderpath();

} // namespace Utilities

// Making, testing, upgrading and reading the user's preference files. Each file is an ordinary
// CSV file that the program also opens as a table, so nothing here assumes where its table
// stands: the header row is searched for, and comment rows and moved columns are fine.
// A bad file is never an error: what can't be read means the default.
namespace PreferenceFiles {

// One command's row of the shortcuts file.
struct ShortcutEntry {
    QString name;
    QString defaultShortcut;
    QString shortcut; // the user's; empty for none
};

// The header rows the files are recognised by.
const std::vector<QString>& settingsHeader();
const std::vector<QString>& shortcutsHeader();
const std::vector<QString>& extensionsHeader();      // the five names of the current layout
const std::vector<QString>& extensionsHeaderSaved(); // the six names of the earlier layout

// Loads a preference file into `model` with the plain CSV parameters; false when it is missing.
bool loadTable(TableModel& model, const QString& path);
// The first row of the first `maxRows` holding at least `required` of `names` (exact,
// case-sensitive) in the first `maxCols` columns. `cols` gets each name's column, -1 for one
// that row lacks.
bool findHeader(const TableModel& model, const std::vector<QString>& names, int required, int& row,
                std::vector<int>& cols, int maxRows = 100, int maxCols = 100);

// Filling a fresh model with a whole file.
void makeSettingsTable(TableModel& model, const Settings& settings);
void makeShortcutsTable(TableModel& model, const std::vector<ShortcutEntry>& entries);
void makeExtensionsTable(TableModel& model, const std::vector<ExtensionData>& table);

// Writing a whole file; false when it could not be written.
bool makeSettingsFile(const QString& path = Utilities::getSettingsFilepath());
bool makeSettingsFile(const Settings& settings, const QString& path = Utilities::getSettingsFilepath());
bool makeShortcutsFile(const std::vector<ShortcutEntry>& entries,
                       const QString& path = Utilities::getShortcutsFilepath());
bool makeExtensionsFile(const QString& path = Utilities::getExtensionsFilepath());
bool makeExtensionsFile(const std::vector<ExtensionData>& table,
                        const QString& path = Utilities::getExtensionsFilepath());

bool testSettingsFileValidity(const QString& path = Utilities::getSettingsFilepath());
bool testShortcutsFileValidity(const QString& path = Utilities::getShortcutsFilepath());
bool testExtensionsFileValidity(const QString& path = Utilities::getExtensionsFilepath());

// Upgrades in place: the file is written anew in this version's layout, keeping what the user
// set. A missing file stays missing.
void updateSettingsFile(const QString& path = Utilities::getSettingsFilepath());
// `entries` come in with their defaults and leave with the user's shortcuts of the file.
void updateShortcutsFile(std::vector<ShortcutEntry>& entries,
                         const QString& path = Utilities::getShortcutsFilepath());
// Only the earlier six-column layout is rewritten; a current file is left as it is.
void updateExtensionsFile(const QString& path = Utilities::getExtensionsFilepath());

// Writes one setting's value into its row, adding the row if the file lacks it.
bool writeSettingToFile(const Settings& settings, SettingType type,
                        const QString& path = Utilities::getSettingsFilepath());

// Reading a loaded file. Each answers false, and changes nothing, when the header is missing.
bool applyUserSettings(const TableModel& model, Settings& settings);
// Shortcut texts by command name, as the user wrote them; blank cells are left out.
bool readUserShortcutTexts(const TableModel& model, std::map<QString, QString>& texts);
// The user's shortcut text from a cell: "(none)" is no shortcut, blank or unreadable text the default.
QString resolveUserShortcut(const QString& cell, const QString& defaultShortcut);
// The text of the "User Shortcut" cell for a command.
QString userShortcutCell(const QString& defaultShortcut, const QString& shortcut);
// The extension table of the file, with the "csv" and "tsv" fallback rows where it has none.
bool readUserExtensions(const TableModel& model, std::vector<ExtensionData>& table);

// The extension table's own notation of a delimiter ("tab", "space", a quote means a comma).
QString convertDelimiterToUserString(const QString& delimiter);
// A delimiter cell as the actual delimiter, or "(auto)".
QString convertDelimiterFromFile(const QString& text);
bool extensionDataValid(const ExtensionData& data);

} // namespace PreferenceFiles
