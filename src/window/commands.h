#pragma once

#include "util/shortcututilities.h"
#include "window/command.h"

#include <QKeySequence>
#include <QList>
#include <QStringList>

#include <vector>

class MainWindow;

// Runs a command's slot on a window; false when the command could not run.
using CommandSlot = bool (*)(MainWindow*);

// One row of the command table: everything populate needs to build a command and bind it.
struct CommandRow;

// The table of every command, by name in `commands` and by a named member each.
class Commands {
public:
    Commands() = default;
    // The list of wired commands points into the members: a copy would point into this one.
    Commands(const Commands&) = delete;
    Commands& operator=(const Commands&) = delete;

    // Builds all records and their actions, parented to `window`, and connects each action to
    // its slot there.
    void populate(MainWindow* window);
    // Deletes every action and empties the table.
    void clear();

    const std::vector<Command>& getCommands() const { return commands; }
    // Changes a command's shortcut text; the keys follow with applyShortcuts(). False for an
    // unknown name.
    bool setShortcutText(const QString& name, const QString& text);
    // Gives every action the keys of its command's shortcut text.
    void applyShortcuts();
    const Command* findByName(const QString& name) const;
    // Whether the command runs something yet; the others keep their records and shortcuts but
    // stay out of menus and the launcher, and their actions stay disabled.
    bool isWired(const Command& command) const;
    // The rows of the table in table order, which is menu order.
    static const std::vector<CommandRow>& rows();
    // The names of the commands that run nothing yet.
    static QStringList notYetWired();
    // The commands that run something, for setContext's pass.
    const std::vector<const Command*>& wiredCommands() const { return wired; }

    // One member per command, in table order.
    // File
    Command newFile;
    Command newWindow;
    Command openFile;
    Command openFolder;
    Command openRecentFile;
    Command saveFile;
    Command saveFileAs;
    Command saveVisibleDataAs;
    Command saveAllFiles;
    Command closeFile;
    Command closeAllFiles;
    Command closeFolder;
    Command print;
    Command importFromJSONOrXML;
    Command exportToJSONOrXML;
    Command exportToPDF;
    Command duplicateFile;
    Command moveFile;
    Command renameFile;
    Command deleteFile;
    Command showFileInFileSystem;
    Command openTerminalToFilesDirectory;
    Command openFileInTextEditor;
    Command exit;
    Command setBehaviorWhenFileIsChangedExternally;
    Command setTextEditor;
    Command toggleSaveAfterEachEdit;
    Command toggleRemoveExtraneousRowsColumnsOnFileSave;
    // File/Reload
    Command reloadFile;
    Command reloadFileWithDifferentParameters;
    Command reloadFileWithDelimiter;
    Command reloadFileWithEncoding;
    Command reloadFileWithParsingStandard;
    // File/Save Options
    Command setParametersForFileSave;
    Command setDelimiterForFileSave;
    Command setLineEndingForFileSave;
    Command setEncodingForFileSave;
    Command setParsingStandardForFileSave;
    Command toggleSaveWithTrailingDelimiters;
    // File/File Location Information
    Command copyFilePathToClipboard;
    Command copyFolderPathToClipboard;
    Command copyFileNameToClipboard;
    // Edit
    Command undo;
    Command redo;
    Command cutCells;
    Command copyCells;
    Command copyCellsWithHeader;
    Command copyCellsToMarkdown;
    Command copyCellsToHTML;
    Command pasteCells;
    Command pasteCellsSpecial;
    Command editSelectedCell;
    Command stopEditing;
    Command toggleReadOnly;
    Command setMinimumFileSizeForReadOnlyModeQueryMB;
    Command toggleRetainSortAndFiltersUponFileRefresh;
    Command toggleLetEditorPaneConsumeNavigationKeystrokes;
    // Data/Move
    Command moveCellContentsUp;
    Command moveCellContentsDown;
    Command moveCellContentsLeft;
    Command moveCellContentsRight;
    Command moveRowsUp;
    Command moveRowsDown;
    Command moveColumnsLeft;
    Command moveColumnsRight;
    Command moveCellContentsTo;
    Command moveRowsJustAboveRow;
    Command moveColumnsToTheLeftOfColumn;
    // Data/Insert
    Command insertRowsBefore;
    Command insertColumnsBefore;
    Command insertRowsAfter;
    Command insertColumnsAfter;
    Command insertRowsBeforeMultipleTimes;
    Command insertColumnsBeforeMultipleTimes;
    Command insertCellsMoveRestOfRowRight;
    Command insertCellsMoveRestOfColumnDown;
    // Data/Transpose
    Command transposeTable;
    Command transposeSelectedCells;
    // Data/Case
    Command upperCase;
    Command lowerCase;
    Command titleCase;
    Command upperCamelCase;
    Command lowerCamelCase;
    Command upperSnakeCase;
    Command lowerSnakeCase;
    Command convertToAcronym;
    // Data/Format
    Command convertDateTimeFormat;
    Command convertNumberFormat;
    Command placeCurrentDateTimeStampNowInSelectedCells;
    // Data/Numbers
    Command zeroFillWholeNumbers;
    Command removeLeadingZeros;
    Command randomIntegersInSelectedCells;
    Command randomDecimalsFloatsInSelectedCells;
    Command setNumberOfDecimals;
    // Data/Delete
    Command clearCellContents;
    Command removeRows;
    Command removeColumns;
    Command removeDuplicateRows;
    Command removeDuplicateColumns;
    Command removeDuplicateRowsBasedOnSelectedColumnsOnly;
    Command removeDuplicateColumnsBasedOnSelectedRowsOnly;
    Command removeEmptyRows;
    Command removeEmptyColumns;
    Command removeEmptyRowsBasedOnSelectedColumnsOnly;
    Command removeEmptyColumnsBasedOnSelectedRowsOnly;
    Command removeSelectedCellsMoveRestOfRowLeft;
    Command removeSelectedCellsMoveRestOfColumnUp;
    Command removeSelectedCellsAndTheRestOfTheirRows;
    Command removeSelectedCellsAndTheRestOfTheirColumns;
    Command removeAllFilteredOutAndHiddenData;
    // Data/Sort
    Command sortSelectedColumnAscending;
    Command sortSelectedColumnDescending;
    Command sortSelectedRowAscending;
    Command sortSelectedRowDescending;
    Command sortSelectedCellsHorizontallyAscending;
    Command sortSelectedCellsHorizontallyDescending;
    Command sortSelectedCellsVerticallyAscending;
    Command sortSelectedCellsVerticallyDescending;
    Command toggleCaseSensitiveSorting;
    // Data/Duplicate
    Command duplicateCellContentsTo;
    Command duplicateSelectedCellContentsUp;
    Command duplicateSelectedCellContentsDown;
    Command duplicateSelectedCellContentsLeft;
    Command duplicateSelectedCellContentsRight;
    Command duplicateRows;
    Command duplicateColumns;
    Command duplicateRowsMultipleTimes;
    Command duplicateColumnsMultipleTimes;
    // Data/Multi-cell
    Command copyMainCellContentsToAllSelectedCells;
    Command fillSelectedCellsWithSeries;
    Command reshapeSelectedCellsRowWise;
    Command reshapeSelectedCellsColumnWise;
    // Data/String Manipulation
    Command joinSelectedCellsHorizontally;
    Command joinSelectedCellsVertically;
    Command joinSelectedCellsHorizontallyMoveRestOfRowLeft;
    Command splitSelectedCellsHorizontally;
    Command splitSelectedCellsVertically;
    Command splitSelectedCellsHorizontallyMoveRestOfRowRight;
    Command keepOnlyLeftPartOfSelectedCells;
    Command keepOnlyMiddlePartOfSelectedCells;
    Command keepOnlyRightPartOfSelectedCells;
    // Data/Filter
    Command addFilter;
    Command addFilterWithRegularExpressions;
    Command viewEditFilters;
    Command filterSelectedRow;
    Command filterSelectedColumn;
    Command filterSelectedRowWithRegularExpressions;
    Command filterSelectedColumnWithRegularExpressions;
    Command filterSelectedRowsWithSelectedCellContents;
    Command filterSelectedColumnsWithSelectedCellContents;
    Command selectValuesInSelectedColumnToFilter;
    Command removeIndividualFilters;
    Command removeAllFilters;
    Command refreshFilters;
    // Data/Hide/Show
    Command hideSelectedRows;
    Command hideSelectedColumns;
    Command hideAllButSelectedRows;
    Command hideAllButSelectedColumns;
    Command hideEmptyRows;
    Command hideEmptyColumns;
    Command showAllHiddenRows;
    Command showAllHiddenColumns;
    Command showHiddenRowsInSelection;
    Command showHiddenColumnsInSelection;
    Command showEmptyRows;
    Command showEmptyColumns;
    // Data
    Command prependCellContents;
    Command appendCellContents;
    Command trimSelectedCells;
    Command fillSelectedCellsWithUUIDGUID;
    Command listCharacterEncodings;
    Command removeExtraneousRowsAndColumns;
    Command addOrUpdateIDColumn;
    Command parseSelectedCellContentsAsTable;
    Command setUUIDType;
    // Selection
    Command selectUp;
    Command selectDown;
    Command selectLeft;
    Command selectRight;
    Command selectUpByABlock;
    Command selectDownByABlock;
    Command selectLeftByABlock;
    Command selectRightByABlock;
    Command selectUpToTopOfColumnHeaderExcluded;
    Command selectDownToBottomOfColumn;
    Command selectLeftToStartOfRowHeaderExcluded;
    Command selectRightToEndOfRow;
    Command selectEntireColumns;
    Command selectEntireColumnsHeaderExcluded;
    Command selectEntireRows;
    Command selectEntireRowsHeaderExcluded;
    Command selectEntireTable;
    Command moveSelectionUp;
    Command moveSelectionDown;
    Command moveSelectionLeft;
    Command moveSelectionRight;
    Command moveSelectionUpByABlock;
    Command moveSelectionDownByABlock;
    Command moveSelectionLeftByABlock;
    Command moveSelectionRightByABlock;
    Command invertSelectionByRowsHeaderExcluded;
    Command invertSelectionByColumnsHeaderExcluded;
    Command selectDuplicateRows;
    Command selectDuplicateColumns;
    Command selectFromMainCellTo;
    Command selectDuplicateRowsBasedOnSelectedColumnsOnly;
    Command selectDuplicateColumnsBasedOnSelectedRowsOnly;
    Command addNextMatchToSelection;
    Command selectAllMatches;
    // Find
    Command find;
    Command findNextMatch;
    Command findPreviousMatch;
    Command findAllMatches;
    Command replace;
    Command replaceNextMatch;
    Command replacePreviousMatch;
    Command replaceAllMatches;
    // View/Grid Size
    Command setSelectedRowHeights;
    Command setSelectedColumnWidths;
    Command setDefaultRowHeight;
    Command setDefaultColumnWidth;
    Command setMaximumRowHeightForAutoFit;
    Command setMaximumColumnWidthForAutoFit;
    Command toggleAutoFitRowHeight;
    Command toggleAutoFitColumnWidth;
    // View/Headers
    Command setHeaderRowsToSelectedRow;
    Command setHeaderColumnsToSelectedColumn;
    Command setHeadersToSelectedCell;
    Command removeHeaderRows;
    Command removeHeaderColumns;
    Command removeAllHeaders;
    Command toggleFreezeHeaderRowsAndColumns;
    Command setNumberOfHeaderRows;
    Command setNumberOfHeaderColumns;
    Command toggleHighlightHeaderRows;
    Command toggleHighlightHeaderColumns;
    Command toggleFreezeHeaderRows;
    Command toggleFreezeHeaderColumns;
    // Tools
    Command commandLauncher;
    Command openFileAnalysisWindow;
    Command statisticsSelectedColumns;
    Command statisticsAllColumns;
    Command statisticsSelectedCells;
    Command statisticsSelectedCellsByColumns;
    Command columnAnalysisSelectedColumns;
    Command columnAnalysisAllColumns;
    Command uniqueValuesSelectedColumn;
    Command pivotTableSelectedColumns;
    Command columnLookup;
    // Go To
    Command goToFile;
    Command goToCell;
    Command switchToTabOnTheRight;
    Command switchToTabOnTheLeft;
    Command scrollUpOneScreen;
    Command scrollDownOneScreen;
    Command scrollLeftOneScreen;
    Command scrollRightOneScreen;
    Command scrollToTop;
    Command scrollToBottom;
    Command scrollToFarLeft;
    Command scrollToFarRight;
    Command goUpOneScreen;
    Command goDownOneScreen;
    Command goLeftOneScreen;
    Command goRightOneScreen;
    Command goToTop;
    Command goToBottom;
    Command goToFarLeft;
    Command goToFarRight;
    Command followSelectedHyperlinks;
    Command emailSelectedEmailAddresses;
    Command webSearchForSelectedTerms;
    Command webSearchForSelectedPlacesInMap;
    Command setSearchEngine;
    Command setOnlineMap;
    // Preferences
    Command preferences;
    Command editSettings;
    Command editKeyboardShortcuts;
    Command editFileExtensionOptions;
    Command openPreferenceFileFolder;
    // Contact Us
    Command reportABug;
    Command requestAFeature;
    Command takeASurvey;
    Command generalFeedbackQuestions;
    // Help
    Command documentation;
    Command openTutorial;
    Command restoreTutorialToDefault;
    Command about;
    Command checkForUpdates;
    Command viewChangelog;
    // -
    Command closeAllFilesExceptCurrent;
    Command switchToTab1;
    Command switchToTab2;
    Command switchToTab3;
    Command switchToTab4;
    Command switchToTab5;
    Command switchToTab6;
    Command switchToTab7;
    Command switchToTab8;
    Command switchToTab9;
    Command switchToTab10;
    Command toggleEnableCheckForUpdates;
    Command toggleDetectImportedFileTypeUponOpeningFile;
    // View
    Command toggleShowTabBar;
    Command toggleShowSideBar;
    Command toggleShowFileMetadata;
    Command toggleShowSideBarOpenFiles;
    Command toggleShowSideBarFolders;
    Command toggleShowRowLabels;
    Command toggleShowColumnLabels;
    Command toggleShowEditorPane;
    Command setFirstRowIndex;
    Command setFirstColumnIndex;
    Command toggleRepresentColumnsAsLetters;
    Command setFont;
    Command setTextSize;
    Command setTheme;
    Command toggleShadeEveryOtherRow;
    Command toggleShadeEveryOtherColumn;
    Command toggleHighlightMainSelectedCellsRow;
    Command toggleHighlightMainSelectedCellsColumn;
    Command toggleSnapToRowAfterScrolling;
    Command toggleSnapToColumnAfterScrolling;
    // View/Table Size
    Command setMinimumNumberOfTableRows;
    Command setMinimumNumberOfTableColumns;
    Command setNumberOfBufferRows;
    Command setNumberOfBufferColumns;

private:
    std::vector<Command> commands;
    std::vector<const Command*> wired;
};

struct CommandRow {
    const char* name;
    const char* category;
    ScopeType scope;
    bool showInLauncher;
    Context context;
    Context exclude;
    const char* shortcut;
    SettingType setting;
    bool startsGroup; // a separator before it in its menu
    Command Commands::*member;
    CommandSlot slot; // null: not wired yet
};
