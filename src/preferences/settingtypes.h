#pragma once

#include "util/uuidtype.h"

#include <QString>
#include <QVariant>

#include <functional>

// Numbered in the alphabetical order of the identifiers; the registry registers them in its
// own order.
enum SettingType : int {
    AutoFitColumnWidth = 0,
    AutoFitRowHeight = 1,
    CaseSensitiveSorting = 2,
    DefaultColumnWidth = 3,
    DefaultRowHeight = 4,
    DelimiterSave = 5,
    DelimiterLoad = 6,
    DetectImportedFileType = 7,
    EditorPaneConsumeNavigation = 8,
    EnableCheckForUpdates = 9,
    EncodingSave = 10,
    EncodingLoad = 11,
    FirstColumnIndex = 12,
    FirstRowIndex = 13,
    FontFamily = 14,
    FreezeHeaderColumns = 15,
    FreezeHeaderRows = 16,
    HighlightHeaderColumns = 17,
    HighlightHeaderRows = 18,
    HighlightMainCellColumn = 19,
    HighlightMainCellRow = 20,
    LineEndingSave = 21,
    MaxAutoFitColumnWidth = 22,
    MaxAutoFitRowHeight = 23,
    MinTableColumns = 24,
    MinTableRows = 25,
    MinFileSizeReadOnlyQuery = 26,
    BufferColumns = 27,
    BufferRows = 28,
    HeaderColumns = 29,
    HeaderRows = 30,
    OnlineMap = 31,
    ParsingStandardSave = 32,
    ParsingStandardLoad = 33,
    ReadOnly = 34,
    RefreshBehaviorOption = 35,
    RemoveExtraneousRowsColumns = 36,
    RepresentColumnsAsLetters = 37,
    RetainSortAndFilters = 38,
    SaveAfterEachEdit = 39,
    SaveWithTrailingDelimiters = 40,
    SearchEngine = 41,
    ShadeEveryOtherColumn = 42,
    ShadeEveryOtherRow = 43,
    ShowColumnLabels = 44,
    ShowEditorPane = 45,
    ShowFileMetadata = 46,
    ShowRowLabels = 47,
    ShowSideBarFolders = 48,
    ShowSideBarOpenFiles = 49,
    ShowSideBar = 50,
    ShowTabBar = 51,
    SnapToColumn = 52,
    SnapToRow = 53,
    SuppressAutoFitWarnings = 54,
    TextEditor = 55,
    TextSize = 56,
    ThemeOption = 57,
    UuidTypeOption = 58,
};
constexpr int kNumSettingTypes = 59;

enum ScopeType : qint32 {
    CommandScope = 0, // no setting: the scope of a plain command
    Global = 1,
    Table = 2,
};

enum SettingDataType : qint32 {
    Bool = 0,
    Domain = 1,
    Double = 2,
    Encoding = 3,
    Filepath = 4,
    Float = 5,
    Font = 6,
    IntNonNegative = 7,
    IntPositive = 8,
    Int = 9,
    LineEnding = 10,
    Parsing = 11,
    Refresh = 12,
    String = 13,
    ThemeData = 14,
    Uuid = 15,
};

enum RefreshBehavior : int {
    RefreshBehaviorRefresh = 0,
    RefreshBehaviorAsk = 1,
    RefreshBehaviorIgnore = 2,
    RefreshBehaviorInvalid = 3,
};

// One option of the registry. Records live on the heap and are shared by plain copies of
// Settings.
struct Setting {
    SettingType type;
    QString name;
    QVariant value;
    QVariant defaultValue;
    ScopeType scope;
    SettingDataType dataType;
    bool userEditable;
    std::function<void(const QString&)> setValueFromString; // file text -> value, by this setting's rule
    std::function<QString()> getDisplayString;
};
