#include "preferences/settings.h"

#include "preferences/settingutilities.h"
#include "preferences/theme.h"
#include "util/fileparameterutilities.h"

#include <QFont>

#include <algorithm>
#include <stdexcept>

namespace {

// How a setting turns the text of its file row into a value; the rules differ on purpose.
enum class FileRule {
    Bool,
    VerbatimOrDefault, // host names and paths: empty gives the default
    FontRule,
    ThemeRule,
    RefreshRule,
    UuidRule,
    IntNonNegativeStrict, // rejects negatives as well as non-numbers
    IntKeepNegative,      // non-numbers give the default, negatives stay
    IntPositiveRule,      // unparsable counts as 0, and 0 gives the default
    Parameter,            // the read/save parameters: the data type's converter, no fallback
};

struct SettingRow {
    SettingType type;
    const char* name;
    ScopeType scope;
    SettingDataType dataType;
    QVariant defaultValue;
    bool userEditable;
    FileRule rule;
};

std::vector<SettingRow> settingRows() {
    const QString duck = Utilities::getSearchEngineOptions().first();
    return {
        {DelimiterLoad, "Delimiter", Table, String, QStringLiteral(","), false, FileRule::Parameter},
        {EncodingLoad, "Encoding", Table, Encoding, int(UTF_8), false, FileRule::Parameter},
        {ParsingStandardLoad, "Parsing Standard", Table, Parsing, int(RFC_4180), false, FileRule::Parameter},
        {DelimiterSave, "Delimiter", Table, String, QStringLiteral(","), false, FileRule::Parameter},
        {LineEndingSave, "Line Ending", Table, LineEnding, int(LINE_ENDING_UNIX), false, FileRule::Parameter},
        {EncodingSave, "Encoding", Table, Encoding, int(UTF_8), false, FileRule::Parameter},
        {ParsingStandardSave, "Parsing Standard", Table, Parsing, int(RFC_4180), false, FileRule::Parameter},
        {SaveWithTrailingDelimiters, "Save With Trailing Delimiters", Global, Bool, true, true,
         FileRule::Bool},
        {RefreshBehaviorOption, "Behavior When File Is Changed Externally", Global, Refresh,
         int(RefreshBehaviorRefresh), true, FileRule::RefreshRule},
        {TextEditor, "Text Editor", Global, Filepath, Utilities::getDefaultTextEditorPath(), true,
         FileRule::VerbatimOrDefault},
        {SaveAfterEachEdit, "Save After Each Edit", Global, Bool, false, true, FileRule::Bool},
        {RemoveExtraneousRowsColumns, "Remove Extraneous Rows/Columns on File Save", Global, Bool, false,
         true, FileRule::Bool},
        {ReadOnly, "Read-Only", Table, Bool, false, true, FileRule::Bool},
        {MinFileSizeReadOnlyQuery, "Minimum File Size for Read-Only Mode Query (MB)", Global, IntNonNegative,
         100, true, FileRule::IntNonNegativeStrict},
        {RetainSortAndFilters, "Retain Sort and Filters Upon File Refresh", Global, Bool, true, true,
         FileRule::Bool},
        {EditorPaneConsumeNavigation, "Let Editor Pane Consume Navigation Keystrokes", Global, Bool, true,
         true, FileRule::Bool},
        {CaseSensitiveSorting, "Case Sensitive Sorting", Global, Bool, true, true, FileRule::Bool},
        {ShowTabBar, "Show Tab Bar", Global, Bool, true, true, FileRule::Bool},
        {ShowSideBar, "Show Side Bar", Global, Bool, true, false, FileRule::Bool},
        {ShowFileMetadata, "Show File Metadata", Global, Bool, false, false, FileRule::Bool},
        {ShowSideBarOpenFiles, "Show Side Bar Open Files", Global, Bool, true, false, FileRule::Bool},
        {ShowSideBarFolders, "Show Side Bar Folders", Global, Bool, true, false, FileRule::Bool},
        {ShowRowLabels, "Show Row Labels", Global, Bool, true, true, FileRule::Bool},
        {ShowColumnLabels, "Show Column Labels", Global, Bool, true, true, FileRule::Bool},
        {ShowEditorPane, "Show Editor Pane", Global, Bool, false, false, FileRule::Bool},
        {FirstRowIndex, "First Row Index", Table, Int, 0, true, FileRule::IntKeepNegative},
        {FirstColumnIndex, "First Column Index", Table, Int, 0, true, FileRule::IntKeepNegative},
        {RepresentColumnsAsLetters, "Represent Columns as Letters", Global, Bool, false, true,
         FileRule::Bool},
        {FontFamily, "Font", Global, Font, QStringLiteral("Verdana"), true, FileRule::FontRule},
        {TextSize, "Text Size", Global, IntPositive, 12, true, FileRule::IntPositiveRule},
        {ThemeOption, "Theme", Global, ThemeData, QVariant::fromValue(Theme::darkTheme()), true,
         FileRule::ThemeRule},
        {ShadeEveryOtherRow, "Shade Every Other Row", Global, Bool, false, true, FileRule::Bool},
        {ShadeEveryOtherColumn, "Shade Every Other Column", Global, Bool, false, true, FileRule::Bool},
        {HighlightMainCellRow, "Highlight Main Selected Cell's Row", Global, Bool, false, true,
         FileRule::Bool},
        {HighlightMainCellColumn, "Highlight Main Selected Cell's Column", Global, Bool, false, true,
         FileRule::Bool},
        {SnapToRow, "Snap to Row After Scrolling", Global, Bool, true, true, FileRule::Bool},
        {SnapToColumn, "Snap to Column After Scrolling", Global, Bool, false, true, FileRule::Bool},
        {SuppressAutoFitWarnings, "Suppress Auto-Fit Warnings", Global, Bool, false, true, FileRule::Bool},
        {MinTableRows, "Minimum Number of Table Rows", Global, IntPositive, 50, true,
         FileRule::IntPositiveRule},
        {MinTableColumns, "Minimum Number of Table Columns", Global, IntPositive, 50, true,
         FileRule::IntPositiveRule},
        {BufferRows, "Number of Buffer Rows", Global, IntNonNegative, 2, true, FileRule::IntKeepNegative},
        {BufferColumns, "Number of Buffer Columns", Global, IntNonNegative, 2, true,
         FileRule::IntKeepNegative},
        {DefaultRowHeight, "Default Row Height", Global, IntPositive, 24, true, FileRule::IntPositiveRule},
        {DefaultColumnWidth, "Default Column Width", Global, IntPositive, 80, true,
         FileRule::IntPositiveRule},
        {MaxAutoFitRowHeight, "Maximum Row Height for Auto-Fit", Table, IntPositive, 240, true,
         FileRule::IntPositiveRule},
        {MaxAutoFitColumnWidth, "Maximum Column Width for Auto-Fit", Table, IntPositive, 800, true,
         FileRule::IntPositiveRule},
        {AutoFitRowHeight, "Auto-Fit Row Height", Table, Bool, false, true, FileRule::Bool},
        {AutoFitColumnWidth, "Auto-Fit Column Width", Table, Bool, true, true, FileRule::Bool},
        {HeaderRows, "Number of Header Rows", Table, IntNonNegative, 1, true, FileRule::IntKeepNegative},
        {HeaderColumns, "Number of Header Columns", Table, IntNonNegative, 0, true,
         FileRule::IntKeepNegative},
        {HighlightHeaderRows, "Highlight Header Rows", Table, Bool, true, true, FileRule::Bool},
        {HighlightHeaderColumns, "Highlight Header Columns", Table, Bool, true, true, FileRule::Bool},
        {FreezeHeaderRows, "Freeze Header Rows", Table, Bool, true, true, FileRule::Bool},
        {FreezeHeaderColumns, "Freeze Header Columns", Table, Bool, false, true, FileRule::Bool},
        {SearchEngine, "Search Engine", Global, Domain, duck, true, FileRule::VerbatimOrDefault},
        {OnlineMap, "Online Map", Global, Domain, duck, true, FileRule::VerbatimOrDefault},
        {EnableCheckForUpdates, "Enable Check for Updates", Global, Bool, true, true, FileRule::Bool},
        {DetectImportedFileType, "Detect Imported File Type Upon Opening File", Global, Bool, true, true,
         FileRule::Bool},
        {UuidTypeOption, "UUID Type", Global, Uuid, int(UuidV4), true, FileRule::UuidRule},
    };
}

QFont fontOf(const QVariant& value) {
    if (value.typeId() == QMetaType::QFont)
        return value.value<QFont>();
    return QFont(value.toString());
}

} // namespace

QString convertSettingDataTypeToString(SettingDataType type) {
    static const char* const texts[] = {"true|false",         "domain",  "double",      "encoding",
                                        "filepath",           "float",   "font",        "integer >= 0",
                                        "integer >= 1",       "integer", "line ending", "parsing",
                                        "refresh|ignore|ask", "string",  "theme",       "v4|v7"};
    if (type < 0 || type > 15)
        return QStringLiteral("Undefined");
    return QString::fromLatin1(texts[type]);
}

bool sortSettingByName(const Setting* a, const Setting* b) {
    return a->name < b->name;
}

Settings::Settings() {
    populateDataTypeStringToValFunctionMap();
    populateDataTypeValToStringFunctionMap();
    registerAll();
    std::stable_sort(settings.begin(), settings.end(), sortSettingByName);
}

void Settings::registerAll() {
    for (const SettingRow& row : settingRows()) {
        Setting* s = addSetting(row.type, tr(row.name), row.defaultValue, row.defaultValue, row.scope,
                                row.dataType, row.userEditable);
        const FileRule rule = row.rule;
        // The function objects hold the record itself, never the registry, so they stay valid
        // in every shallow copy.
        auto toValue = dataTypeStringToValFunctionMap.at(row.dataType);
        s->setValueFromString = [s, rule, toValue](const QString& text) {
            bool ok = false;
            switch (rule) {
            case FileRule::Bool:
                s->value = Utilities::convertStringToBool(text, s->defaultValue.toBool());
                break;
            case FileRule::VerbatimOrDefault:
                s->value = text.isEmpty() ? s->defaultValue : QVariant(text);
                break;
            case FileRule::FontRule:
                s->value = QVariant::fromValue(text.isEmpty() ? fontOf(s->defaultValue) : QFont(text));
                break;
            case FileRule::ThemeRule:
                s->value =
                    text.isEmpty() ? s->defaultValue : QVariant::fromValue(Theme::convertStringToTheme(text));
                break;
            case FileRule::RefreshRule: {
                const RefreshBehavior b = Utilities::convertRefreshBehaviorStringToType(text);
                s->value = b == RefreshBehaviorInvalid ? s->defaultValue : QVariant(int(b));
                break;
            }
            case FileRule::UuidRule:
                s->value = int(Utilities::convertUuidStringToType(text, UuidType(s->defaultValue.toInt())));
                break;
            case FileRule::IntNonNegativeStrict: {
                const int v = text.toInt(&ok, 10);
                s->value = (ok && v >= 0) ? QVariant(v) : s->defaultValue;
                break;
            }
            case FileRule::IntKeepNegative: {
                const int v = text.toInt(&ok, 10);
                s->value = ok ? QVariant(v) : s->defaultValue;
                break;
            }
            case FileRule::IntPositiveRule: {
                const int v = text.toInt(&ok, 10); // unparsable text reads as 0
                s->value = v == 0 ? s->defaultValue : QVariant(v);
                break;
            }
            case FileRule::Parameter:
                s->value = toValue(text);
                break;
            }
        };
        auto toText = dataTypeValToStringFunctionMap.at(row.dataType);
        s->getDisplayString = [s, toText]() -> QString {
            switch (s->dataType) {
            case Bool:
                return s->value.toBool() ? QStringLiteral("Enabled") : QStringLiteral("Disabled");
            case Refresh:
                return Utilities::convertRefreshBehaviorTypeToString(RefreshBehavior(s->value.toInt()),
                                                                     false);
            case IntNonNegative:
            case IntPositive:
            case Int:
                return QString::number(s->value.toInt());
            case Uuid:
                return Utilities::convertUuidTypeToString(UuidType(s->value.toInt()));
            case Domain:
            case Filepath:
            case String:
                return s->value.toString();
            default:
                return toText(s->value);
            }
        };
    }
}

Setting* Settings::addSetting(SettingType type, const QString& name, const QVariant& value,
                              const QVariant& defaultValue, ScopeType scope, SettingDataType dataType,
                              bool userEditable) {
    auto* s = new Setting{type, name, value, defaultValue, scope, dataType, userEditable, {}, {}};
    settings.push_back(s);
    settingsByType[type] = s;
    settingsByName[name] = s;
    return s;
}

Setting* Settings::find(const QString& name) const {
    const auto it = settingsByName.find(name);
    return it == settingsByName.end() ? nullptr : it->second;
}

bool Settings::contains(const QString& name) const {
    return settingsByName.count(name) > 0;
}

const Setting* Settings::checked(SettingType type, std::initializer_list<SettingDataType> allowed) const {
    const Setting* s = settingsByType.at(type);
    if (std::find(allowed.begin(), allowed.end(), s->dataType) == allowed.end())
        throw std::runtime_error("Invalid type");
    return s;
}

bool Settings::getValueBool(SettingType type) const {
    return checked(type, {Bool})->value.toBool();
}

int Settings::getValueInt(SettingType type) const {
    return checked(type, {IntNonNegative, IntPositive, Int})->value.toInt();
}

float Settings::getValueFloat(SettingType type) const {
    return checked(type, {Double, Float})->value.toFloat();
}

QString Settings::getValueString(SettingType type) const {
    const Setting* s = checked(type, {Domain, Filepath, Font, String});
    if (s->dataType == Font)
        return fontOf(s->value).family();
    return s->value.toString();
}

RefreshBehavior Settings::getValueRefreshBehavior(SettingType type) const {
    return RefreshBehavior(checked(type, {Refresh})->value.toInt());
}

LineEndingType Settings::getValueLineEnding(SettingType type) const {
    return LineEndingType(checked(type, {LineEnding})->value.toInt());
}

EncodingType Settings::getValueEncoding(SettingType type) const {
    return EncodingType(checked(type, {Encoding})->value.toInt());
}

ParsingStandard Settings::getValueParsingStandard(SettingType type) const {
    return ParsingStandard(checked(type, {Parsing})->value.toInt());
}

QFont Settings::getFont() const {
    return fontOf(settingsByType.at(FontFamily)->value);
}

Theme Settings::getTheme() const {
    const QVariant& v = settingsByType.at(ThemeOption)->value;
    return v.canConvert<Theme>() ? v.value<Theme>() : Theme::convertStringToTheme(v.toString());
}

void Settings::setTheme(const Theme& theme) {
    settingsByType.at(ThemeOption)->value = QVariant::fromValue(theme);
}

UuidType Settings::getUuidType() const {
    return UuidType(settingsByType.at(UuidTypeOption)->value.toInt());
}

void Settings::setValue(SettingType type, const QVariant& value) {
    settingsByType.at(type)->value = value;
}

void Settings::toggleBoolValue(SettingType type) {
    Setting* s = settingsByType.at(type);
    if (s->dataType != Bool)
        throw std::runtime_error("Invalid type");
    s->value = !s->value.toBool();
}

QString Settings::convertValueToStringForFile(SettingType type) const {
    const Setting* s = settingsByType.at(type);
    return dataTypeValToStringFunctionMap.at(s->dataType)(s->value);
}

QString Settings::convertDefaultValueToStringForFile(SettingType type) const {
    const Setting* s = settingsByType.at(type);
    return dataTypeValToStringFunctionMap.at(s->dataType)(s->defaultValue);
}

QVariant Settings::convertStringToValue(SettingDataType dataType, const QString& text) const {
    return dataTypeStringToValFunctionMap.at(dataType)(text);
}

Settings Settings::copySettings() const {
    Settings copy;
    // Both vectors are sorted the same way, so records pair up by position.
    for (size_t i = 0; i < settings.size() && i < copy.settings.size(); ++i)
        copy.settings[i]->value = settings[i]->value;
    return copy;
}

void Settings::clear() {
    for (Setting* s : settings)
        delete s;
    settings.clear();
    settingsByType.clear();
    settingsByName.clear();
}

void Settings::populateDataTypeStringToValFunctionMap() {
    auto& m = dataTypeStringToValFunctionMap;
    auto verbatim = [](const QString& t) { return QVariant(t); };
    auto integer = [](const QString& t) { return QVariant(t.toInt(nullptr, 10)); };
    m[Bool] = [](const QString& t) { return QVariant(t.toLower() == QLatin1String("true")); };
    m[Domain] = verbatim;
    m[Filepath] = verbatim;
    m[String] = verbatim;
    m[Double] = [](const QString& t) { return QVariant(t.toDouble()); };
    m[Float] = [](const QString& t) { return QVariant(t.toFloat()); };
    m[Encoding] = [](const QString& t) { return QVariant(int(Utilities::convertEncodingStringToType(t))); };
    m[Font] = [](const QString& t) {
        QFont font;
        font.fromString(t);
        return QVariant::fromValue(font);
    };
    m[IntNonNegative] = integer;
    m[IntPositive] = integer;
    m[Int] = integer;
    m[LineEnding] = [](const QString& t) {
        return QVariant(int(Utilities::convertLineEndingStringToType(t)));
    };
    m[Parsing] = [](const QString& t) { return QVariant(int(Utilities::convertParsingStringToStandard(t))); };
    m[Refresh] = [](const QString& t) {
        return QVariant(int(Utilities::convertRefreshBehaviorStringToType(t)));
    };
    m[ThemeData] = [](const QString& t) { return QVariant::fromValue(Theme::convertStringToTheme(t)); };
    m[Uuid] = [](const QString& t) { return QVariant(int(Utilities::convertUuidStringToType(t, UuidV4))); };
}

void Settings::populateDataTypeValToStringFunctionMap() {
    auto& m = dataTypeValToStringFunctionMap;
    auto plain = [](const QVariant& v) { return v.toString(); };
    auto integer = [](const QVariant& v) { return QString::number(v.toInt()); };
    auto real = [](const QVariant& v) { return QString::number(v.toDouble(), 'g', 6); };
    m[Bool] = [](const QVariant& v) { return v.toBool() ? QStringLiteral("true") : QStringLiteral("false"); };
    m[Domain] = plain;
    m[Filepath] = plain;
    m[String] = plain;
    m[Double] = real;
    m[Float] = real;
    m[Encoding] = [](const QVariant& v) {
        return Utilities::convertEncodingTypeToString(EncodingType(v.toInt()));
    };
    // The family alone: the text before the first comma of the font's description.
    m[Font] = [](const QVariant& v) { return fontOf(v).toString().section(QLatin1Char(','), 0, 0); };
    m[IntNonNegative] = integer;
    m[IntPositive] = integer;
    m[Int] = integer;
    m[LineEnding] = [](const QVariant& v) {
        return Utilities::convertLineEndingTypeToShortString(LineEndingType(v.toInt()), false);
    };
    m[Parsing] = [](const QVariant& v) {
        return Utilities::convertParsingStandardToString(ParsingStandard(v.toInt()));
    };
    m[Refresh] = [](const QVariant& v) {
        return Utilities::convertRefreshBehaviorTypeToString(RefreshBehavior(v.toInt()), true);
    };
    m[ThemeData] = [](const QVariant& v) {
        return v.canConvert<Theme>() ? v.value<Theme>().name : v.toString();
    };
    m[Uuid] = [](const QVariant& v) { return Utilities::convertUuidTypeToString(UuidType(v.toInt())); };
}
