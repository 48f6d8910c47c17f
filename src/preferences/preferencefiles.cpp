#include "preferences/preferencefiles.h"

#include "preferences/defaultextensions.h"
#include "preferences/settings.h"
#include "preferences/settingutilities.h"
#include "table/tablemodel.h"
#include "util/appdatautilities.h"
#include "util/fileparameterutilities.h"
#include "util/shortcututilities.h"

#include <QDir>
#include <QFileInfo>

#include <algorithm>

namespace Utilities {

QString getSettingsFilepath() {
    return QDir(getAppDataLocation()).absoluteFilePath(QStringLiteral("Settings (User).csv"));
}

QString getShortcutsFilepath() {
    return QDir(getAppDataLocation()).absoluteFilePath(QStringLiteral("Shortcuts (User).csv"));
}

QString getExtensionsFilepath() {
    return QDir(getAppDataLocation()).absoluteFilePath(QStringLiteral("File Extensions (User).csv"));
}

QString getThemesFolderpath() {
    return getAppDataLocation() + QStringLiteral("/Themes");
}

} // namespace Utilities

namespace PreferenceFiles {

namespace {

const QString kNone = QStringLiteral("(none)");
const QString kAuto = QStringLiteral("(auto)");
const QString kMakeChanges = QStringLiteral("!!! Make changes below !!!");

void setCell(TableModel& model, int row, int col, const QString& text) {
    model.getTableData().setValueModel(row, col, text);
}

QString cell(const TableModel& model, int row, int col) {
    if (row < 0 || col < 0)
        return QString();
    return model.getTableData().getValueModel(row, col).toString();
}

// A fresh model for a whole file: plain comma-separated UTF-8.
void prepareModel(TableModel& model) {
    model.setDelimiter(QStringLiteral(","), QStringLiteral(","));
    model.getTableData().setLineEnding(Utilities::getLineEndingFromPlatform());
    model.getTableData().setEncoding(UTF_8, true);
    model.getTableData().setParsingStandard(RFC_4180);
}

bool save(TableModel& model, const QString& path) {
    if (path.isEmpty())
        return false;
    QDir().mkpath(QFileInfo(path).absolutePath());
    return model.saveCSV(path, false, false);
}

bool hasHeader(const QString& path, const std::vector<QString>& names) {
    TableModel model(false);
    if (!loadTable(model, path))
        return false;
    int row = -1;
    std::vector<int> cols;
    return findHeader(model, names, static_cast<int>(names.size()), row, cols);
}

LineEndingType lineEndingFromFile(const QString& text) {
    // "(platform)", and anything that names no ending, is this platform's.
    const QString key = text.toLower();
    for (const char* name : {"windows", "unix", "mac", "linux", "record", "crlf", "lf"}) {
        if (key.contains(QLatin1String(name)))
            return Utilities::convertLineEndingStringToType(text);
    }
    return Utilities::getLineEndingFromPlatform();
}

} // namespace

const std::vector<QString>& settingsHeader() {
    static const std::vector<QString> names{QStringLiteral("Setting"), QStringLiteral("User Value")};
    return names;
}

const std::vector<QString>& shortcutsHeader() {
    static const std::vector<QString> names{QStringLiteral("Command"), QStringLiteral("User Shortcut")};
    return names;
}

const std::vector<QString>& extensionsHeader() {
    static const std::vector<QString> names{QStringLiteral("Extension"), QStringLiteral("Delimiter"),
                                            QStringLiteral("Line Ending"), QStringLiteral("Encoding"),
                                            QStringLiteral("Parsing Standard")};
    return names;
}

const std::vector<QString>& extensionsHeaderSaved() {
    static const std::vector<QString> names{
        QStringLiteral("Extension"),   QStringLiteral("Delimiter"), QStringLiteral("Delimiter (Save)"),
        QStringLiteral("Line Ending"), QStringLiteral("Encoding"),  QStringLiteral("Parsing Standard")};
    return names;
}

bool loadTable(TableModel& model, const QString& path) {
    if (path.isEmpty() || !QFileInfo(path).isFile())
        return false;
    model.loadCSV(path, false, TableData::Editable, QStringLiteral(","), QStringLiteral(","), UTF_8,
                  RFC_4180);
    return true;
}

bool findHeader(const TableModel& model, const std::vector<QString>& names, int required, int& row,
                std::vector<int>& cols, int maxRows, int maxCols) {
    const TableData& data = model.getTableData();
    const int rows = std::min(maxRows, data.numModelRows());
    const int width = std::min(maxCols, data.numModelCols());
    for (int r = 0; r < rows; ++r) {
        std::vector<int> found(names.size(), -1);
        int count = 0;
        for (int c = 0; c < width; ++c) {
            const QString text = data.getValueModel(r, c).toString();
            for (std::size_t i = 0; i < names.size(); ++i) {
                if (found[i] < 0 && text == names[i]) {
                    found[i] = c;
                    ++count;
                    break;
                }
            }
        }
        if (count >= required && count > 0) {
            row = r;
            cols = std::move(found);
            return true;
        }
    }
    return false;
}

// --- Settings -------------------------------------------------------------------------------------

void makeSettingsTable(TableModel& model, const Settings& settings) {
    prepareModel(model);
    const QString userValue = QStringLiteral("User Value");
    const QStringList comments{
        QStringLiteral("Place your desired setting in the \"%1\" column.").arg(userValue),
        QStringLiteral("If \"User Value\" is blank or invalid, the default value will be used."),
        QStringLiteral("The \"Type\" and \"Default Value\" columns are for informative"),
        QStringLiteral("purposes only. Changing them won't make any difference."),
        QStringLiteral("Scope: Global applies immediately to the whole program."),
        QStringLiteral("Table scope Settings are defaults for newly opened files."),
    };
    for (int row = 0; row < comments.size(); ++row)
        setCell(model, row, 0, comments.at(row));
    setCell(model, 6, 4, kMakeChanges);
    const QStringList header{QStringLiteral("Setting"), QStringLiteral("Scope"), QStringLiteral("Type"),
                             QStringLiteral("Default Value"), userValue};
    for (int col = 0; col < header.size(); ++col)
        setCell(model, 7, col, header.at(col));
    int row = 8;
    for (const Setting* s : settings.getSettings()) {
        if (!s->userEditable)
            continue;
        const QString value = settings.convertValueToStringForFile(s->type);
        const QString defaultValue = settings.convertDefaultValueToStringForFile(s->type);
        setCell(model, row, 0, s->name);
        setCell(model, row, 1, Utilities::convertScopeToString(s->scope));
        setCell(model, row, 2, convertSettingDataTypeToString(s->dataType));
        setCell(model, row, 3, defaultValue);
        // Blank follows the default, so a default that changes with a version reaches the user.
        setCell(model, row, 4, value.toLower() == defaultValue.toLower() ? QString() : value);
        ++row;
    }
}

bool makeSettingsFile(const QString& path) {
    Settings settings;
    const bool made = makeSettingsFile(settings, path);
    settings.clear();
    return made;
}

bool makeSettingsFile(const Settings& settings, const QString& path) {
    TableModel model(false);
    makeSettingsTable(model, settings);
    return save(model, path);
}

bool testSettingsFileValidity(const QString& path) {
    return hasHeader(path, settingsHeader());
}

void updateSettingsFile(const QString& path) {
    TableModel model(false);
    if (!loadTable(model, path))
        return;
    int headerRow = -1;
    std::vector<int> cols;
    if (!findHeader(model, settingsHeader(), 2, headerRow, cols)) {
        makeSettingsFile(path);
        return;
    }
    Settings settings;
    const int rows = model.getTableData().numModelRows();
    for (int row = headerRow + 1; row < rows; ++row) {
        const QString name = cell(model, row, cols[0]);
        if (name.isEmpty() || !settings.contains(name))
            continue;
        Setting* s = settings.find(name);
        if (s->userEditable)
            s->setValueFromString(cell(model, row, cols[1]));
    }
    makeSettingsFile(settings, path);
    settings.clear();
}

bool writeSettingToFile(const Settings& settings, SettingType type, const QString& path) {
    const Setting* s = settings.get(type);
    if (s->name.isEmpty())
        return false;
    TableModel model(false);
    if (!loadTable(model, path))
        return false;
    int headerRow = -1;
    std::vector<int> cols;
    if (!findHeader(model, settingsHeader(), 2, headerRow, cols))
        return false;
    QString value = settings.convertValueToStringForFile(type);
    if (value == settings.convertDefaultValueToStringForFile(type))
        value.clear();
    const int rows = model.getTableData().numModelRows();
    int target = -1;
    for (int row = headerRow + 1; row < rows && target < 0; ++row) {
        if (cell(model, row, cols[0]) == s->name)
            target = row;
    }
    if (target < 0) {
        target = rows;
        setCell(model, target, cols[0], s->name);
    }
    setCell(model, target, cols[1], value);
    return save(model, path);
}

bool applyUserSettings(const TableModel& model, Settings& settings) {
    int headerRow = -1;
    std::vector<int> cols;
    if (!findHeader(model, settingsHeader(), 2, headerRow, cols))
        return false;
    const std::map<QString, QString> values =
        model.parseIntoMapStringString(cols[0], cols[1], headerRow, true);
    for (const auto& [name, value] : values) {
        if (Setting* s = settings.find(name); s && s->userEditable)
            s->setValueFromString(value);
    }
    return true;
}

// --- Shortcuts ------------------------------------------------------------------------------------

QString userShortcutCell(const QString& defaultShortcut, const QString& shortcut) {
    if (shortcut.isEmpty() && !defaultShortcut.isEmpty())
        return kNone;
    if (shortcut == defaultShortcut)
        return QString();
    return shortcut;
}

QString resolveUserShortcut(const QString& cellText, const QString& defaultShortcut) {
    const QString text = cellText.trimmed();
    if (text.compare(kNone, Qt::CaseInsensitive) == 0)
        return QString();
    if (text.isEmpty() || getKeySequenceList(text).isEmpty())
        return defaultShortcut;
    return text;
}

void makeShortcutsTable(TableModel& model, const std::vector<ShortcutEntry>& entries) {
    prepareModel(model);
    const QStringList comments{
        QStringLiteral("Place your desired shortcuts in the \"User Shortcut\" column."),
        QStringLiteral("If \"User Shortcut\" is blank or invalid,"),
        QStringLiteral("the default shortcut will be used."),
        QStringLiteral("To have no shortcuts for a command, use \"(none)\"."),
        QStringLiteral("If you want multiple shortcuts for one command,"),
        QStringLiteral("separate them with a bar (|)."),
        QStringLiteral("If you use the same shortcut for multiple commands,"),
        QStringLiteral("it may not work for any of them."),
        QStringLiteral("The \"Default Shortcut\" column is for informative"),
        QStringLiteral("purposes only. Changing it won't make any difference."),
    };
    for (int row = 0; row < comments.size(); ++row)
        setCell(model, row, 0, comments.at(row));
    setCell(model, 10, 2, kMakeChanges);
    setCell(model, 11, 0, QStringLiteral("Command"));
    setCell(model, 11, 1, QStringLiteral("Default Shortcut"));
    setCell(model, 11, 2, QStringLiteral("User Shortcut"));
    int row = 12;
    for (const ShortcutEntry& entry : entries) {
        setCell(model, row, 0, entry.name);
        setCell(model, row, 1, entry.defaultShortcut.isEmpty() ? kNone : entry.defaultShortcut);
        setCell(model, row, 2, userShortcutCell(entry.defaultShortcut, entry.shortcut));
        ++row;
    }
}

bool makeShortcutsFile(const std::vector<ShortcutEntry>& entries, const QString& path) {
    TableModel model(false);
    makeShortcutsTable(model, entries);
    return save(model, path);
}

bool testShortcutsFileValidity(const QString& path) {
    return hasHeader(path, shortcutsHeader());
}

bool readUserShortcutTexts(const TableModel& model, std::map<QString, QString>& texts) {
    int headerRow = -1;
    std::vector<int> cols;
    if (!findHeader(model, shortcutsHeader(), 2, headerRow, cols))
        return false;
    texts = model.parseIntoMapStringString(cols[0], cols[1], headerRow, true);
    return true;
}

void updateShortcutsFile(std::vector<ShortcutEntry>& entries, const QString& path) {
    TableModel model(false);
    if (!loadTable(model, path))
        return;
    std::map<QString, QString> texts;
    if (readUserShortcutTexts(model, texts)) {
        for (ShortcutEntry& entry : entries) {
            const auto it = texts.find(entry.name);
            entry.shortcut = it == texts.end() ? entry.defaultShortcut
                                               : resolveUserShortcut(it->second, entry.defaultShortcut);
        }
    } else {
        for (ShortcutEntry& entry : entries)
            entry.shortcut = entry.defaultShortcut;
    }
    makeShortcutsFile(entries, path);
}

// --- File extensions ------------------------------------------------------------------------------

QString convertDelimiterToUserString(const QString& delimiter) {
    if (delimiter == u"\t" || delimiter == u"\\t")
        return QStringLiteral("tab");
    if (delimiter == u" " || delimiter == u"\\s")
        return QStringLiteral("space");
    if (delimiter == u"\"")
        return QStringLiteral(",");
    if (delimiter == QString(QChar::fromLatin1(KeyChars::UnitSeparator)))
        return QStringLiteral("unit separator");
    return delimiter;
}

QString convertDelimiterFromFile(const QString& text) {
    const QString key = text.toLower();
    if (key == kNone)
        return QString();
    if (key == kAuto)
        return kAuto;
    if (key == u"\\t" || key == u"tab")
        return QStringLiteral("\t");
    if (key == u"\\s" || key == u"space")
        return QStringLiteral(" ");
    if (key == u"unit separator")
        return QString(QChar::fromLatin1(KeyChars::UnitSeparator));
    // A quote can't delimit fields that quotes enclose: it is taken for the comma it most
    // likely stands for.
    if (text == u"\"")
        return QStringLiteral(",");
    return text;
}

bool extensionDataValid(const ExtensionData& data) {
    const auto valid = [](const QString& delimiter) {
        return Utilities::delimiterValid(delimiter) || delimiter.toLower() == u"unit separator";
    };
    return !data.extension.isEmpty() && valid(data.delimiter) &&
           (data.saveDelimiter.isEmpty() || valid(data.saveDelimiter)) && data.encoding >= 0 &&
           data.encoding < kNumEncodingTypes && data.parsingStandard != UNKNOWN_STANDARD;
}

void makeExtensionsTable(TableModel& model, const std::vector<ExtensionData>& table) {
    prepareModel(model);
    const std::vector<QStringList> comments{
        {QStringLiteral("For a given file extension,"), QStringLiteral("set your preferred delimiter,"),
         QStringLiteral("character encoding, and"), QStringLiteral("parsing standard. You may add"),
         QStringLiteral("your own extensions."), QStringLiteral("No extension: Type \"(none)\".")},
        {QStringLiteral("--- Delimiter ---"), QStringLiteral("Limited to one ASCII character."),
         QStringLiteral("No delimiter: Type \"(none)\"."), QStringLiteral("Auto-detect: Type \"(auto)\"."),
         QStringLiteral("Tab: Type \"\\t\" or \"tab\"."), QStringLiteral("Space: Type \"\\s\" or \"space\"."),
         QStringLiteral("Default delimiter: auto-detect"), QStringLiteral("if enabled. Otherwise, comma.")},
        {QStringLiteral("--- Line Ending ---"), QStringLiteral("Affects file save only."),
         QStringLiteral("Windows (CR LF): \"Windows\""), QStringLiteral("Mac/Linux (LF): \"Unix\""),
         QStringLiteral("Current Platform: \"(platform)\""),
         QStringLiteral("Default ending: current platform")},
        {QStringLiteral("--- Encoding ---"), QStringLiteral("To see supported encodings, call the"),
         QStringLiteral("\"List Character Encodings\" command"),
         QStringLiteral("and select one to copy to the clipboard."),
         QStringLiteral("Default encoding: UTF-8")},
        {QStringLiteral("--- Parsing Standard ---"), QStringLiteral("The current options include "),
         QStringLiteral("\"RFC 4180\", \"Delimiter Only\", "),
         QStringLiteral("\"All Quotes\", and \"Sparse Quotes\"."),
         QStringLiteral("Default standard: RFC 4180.")},
    };
    qsizetype longest = 0;
    for (int col = 0; col < static_cast<int>(comments.size()); ++col) {
        const QStringList& lines = comments[static_cast<std::size_t>(col)];
        longest = std::max(longest, lines.size());
        for (int row = 0; row < lines.size(); ++row)
            setCell(model, row, col, lines.at(row));
    }
    const int headerRow = static_cast<int>(longest) + 1;
    const std::vector<QString>& header = extensionsHeader();
    for (int col = 0; col < static_cast<int>(header.size()); ++col)
        setCell(model, headerRow, col, header[static_cast<std::size_t>(col)]);
    int row = headerRow + 1;
    for (const ExtensionData& data : table) {
        if (!extensionDataValid(data))
            continue;
        setCell(model, row, 0, data.extension);
        setCell(model, row, 1, data.delimiter);
        setCell(model, row, 2, Utilities::convertLineEndingTypeToShortString(data.lineEnding, false));
        setCell(model, row, 3, Utilities::convertEncodingTypeToString(data.encoding));
        setCell(model, row, 4, Utilities::convertParsingStandardToString(data.parsingStandard));
        ++row;
    }
}

bool makeExtensionsFile(const QString& path) {
    return makeExtensionsFile(getDefaultExtensions(), path);
}

bool makeExtensionsFile(const std::vector<ExtensionData>& table, const QString& path) {
    TableModel model(false);
    makeExtensionsTable(model, table);
    return save(model, path);
}

bool testExtensionsFileValidity(const QString& path) {
    return hasHeader(path, extensionsHeader());
}

void updateExtensionsFile(const QString& path) {
    TableModel model(false);
    if (!loadTable(model, path))
        return;
    const std::vector<QString>& names = extensionsHeaderSaved();
    int headerRow = -1;
    std::vector<int> cols;
    if (!findHeader(model, names, static_cast<int>(names.size()), headerRow, cols))
        return;
    std::vector<ExtensionData> table;
    const int rows = model.getTableData().numModelRows();
    for (int row = headerRow + 1; row < rows; ++row) {
        ExtensionData data;
        data.extension = cell(model, row, cols[0]).toLower().trimmed();
        if (data.extension.isEmpty())
            continue;
        data.delimiter = cell(model, row, cols[1]);
        if (!Utilities::delimiterValid(data.delimiter))
            data.delimiter = QStringLiteral(",");
        data.saveDelimiter = cell(model, row, cols[2]);
        if (!Utilities::delimiterValid(data.saveDelimiter))
            data.saveDelimiter = data.delimiter;
        data.lineEnding = lineEndingFromFile(cell(model, row, cols[3]));
        data.encoding = Utilities::convertEncodingStringToType(cell(model, row, cols[4]));
        data.parsingStandard = Utilities::convertParsingStringToStandard(cell(model, row, cols[5]));
        if (data.parsingStandard == UNKNOWN_STANDARD)
            data.parsingStandard = RFC_4180;
        table.push_back(data);
    }
    makeExtensionsFile(table, path);
}

bool readUserExtensions(const TableModel& model, std::vector<ExtensionData>& table) {
    // The earlier layout had a save delimiter column: any five of the six names find either.
    const std::vector<QString>& names = extensionsHeaderSaved();
    int headerRow = -1;
    std::vector<int> cols;
    if (!findHeader(model, names, static_cast<int>(names.size()) - 1, headerRow, cols))
        return false;
    table.clear();
    const int rows = model.getTableData().numModelRows();
    for (int row = headerRow + 1; row < rows; ++row) {
        ExtensionData data;
        QString extension = cell(model, row, cols[0]).toLower().trimmed();
        if (extension.startsWith(QLatin1Char('.')))
            extension.remove(0, 1);
        if (extension.isEmpty())
            continue;
        data.extension = extension;
        data.delimiter = convertDelimiterFromFile(cell(model, row, cols[1]));
        // Without a save column a file is written with the delimiter it was read with.
        data.saveDelimiter =
            cols[2] >= 0 ? convertDelimiterFromFile(cell(model, row, cols[2])) : data.delimiter;
        data.lineEnding = lineEndingFromFile(cell(model, row, cols[3]));
        data.encoding = Utilities::convertEncodingStringToType(cell(model, row, cols[4]));
        data.parsingStandard = Utilities::convertParsingStringToStandard(cell(model, row, cols[5]));
        if (data.parsingStandard == UNKNOWN_STANDARD)
            data.parsingStandard = RFC_4180;
        table.push_back(data);
    }
    const auto has = [&table](const char* extension) {
        return std::any_of(table.begin(), table.end(), [extension](const ExtensionData& d) {
            return d.extension == QLatin1String(extension);
        });
    };
    if (!has("csv")) {
        ExtensionData csv;
        csv.extension = QStringLiteral("csv");
        csv.lineEnding = Utilities::getLineEndingFromPlatform();
        table.push_back(csv);
    }
    if (!has("tsv")) {
        ExtensionData tsv;
        tsv.extension = QStringLiteral("tsv");
        tsv.delimiter = QStringLiteral("\t");
        tsv.lineEnding = Utilities::getLineEndingFromPlatform();
        table.push_back(tsv);
    }
    return true;
}

} // namespace PreferenceFiles
