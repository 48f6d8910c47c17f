#pragma once

#include "preferences/settings.h"
#include "preferences/theme.h"
#include "storage/fileparameters.h"
#include "table/filterdata.h"
#include "table/findreplacequery.h"
#include "table/range.h"
#include "table/rangetypes.h"
#include "table/sortdata.h"
#include "window/commands.h"
#include "window/configdata.h"
#include "window/context.h"

#include <QDateTime>
#include <QList>
#include <QMainWindow>
#include <QPointer>
#include <QString>
#include <QStringList>

#include <functional>
#include <map>
#include <memory>
#include <vector>

class EditableDataContainer;
class FileMetadataWidget;
class SideBar;
class FileAnalysisWindow;
struct SelectionStats;
class QTimer;
class HelpWindow;
class ImportWindow;
class FindReplaceWidget;
class FindResultsWidget;
class Launcher;
class PaneView;
class PrintDialog;
class PreferencesWindow;
class QFileSystemWatcher;
class QLabel;
class QMenu;
class QScrollArea;
class QSplitter;
class QVariantAnimation;
class TableDelegate;
class TableModel;
class TableView;
class TutorialWindow;
struct OptionData;

// Which column prompt of the column lookup a column answer belongs to: each has its own default
// for an empty answer.
enum class LookupColStep { SourceKey, SourceValues, DestKey, DestValue };

// One top-level window of the program: the pane of open tables, the places of the side bar,
// the metadata pane and the find area, the status bar, and every path by which a file becomes
// a table and a table goes back to a file.
//
// Implementation by topic: mainwindow.cpp (structure, status bar, panes, settings, events),
// mainwindow_file.cpp (open, save, close, reload), mainwindow_fileops.cpp (rename, move,
// duplicate, delete, recent files, watcher records), mainwindow_menus.cpp (commands, menus,
// context), and the command slots by menu: mainwindow_filecommands.cpp, mainwindow_edit.cpp,
// mainwindow_data.cpp, mainwindow_selection.cpp, mainwindow_goto.cpp, mainwindow_view.cpp.
class MainWindow : public QMainWindow {
    Q_OBJECT

public:
    // Bits that belong to a table and travel with it when the active table changes.
    static constexpr Context TableContextBits =
        ContextNotEditing | ContextEditing | ContextMultiSelection | ContextReadOnly;
    static constexpr int kPaneAnimationMs = 125;
    static constexpr int kDefaultSidebarWidth = 300;

    explicit MainWindow(QWidget* parent = nullptr, Qt::WindowFlags flags = {});
    ~MainWindow() override;

    // --- Start-up (mainwindow.cpp) --------------------------------------------------------
    // A window started with files to open: its first table is the first file that opens, and
    // the empty table is made only when none does (openFiles or ensureTable), which saves
    // making and dropping one on the way to the file's first paint.
    struct FilesToFollow {};
    explicit MainWindow(FilesToFollow, QWidget* parent = nullptr);
    // The empty table, when the window has no table yet.
    void ensureTable();

    // --- Tables (mainwindow_file.cpp) -----------------------------------------------------
    TableView* makeEmptyTableObject(const Settings& tableSettings);
    TableView* addEmptyTableEditor();
    void addTableEditorFromView(TableView* view, bool readOnly);
    TableView* addTableEditorFromFile(const QString& path, bool readOnly, bool isPreference);
    TableView* addTableEditorFromFile(const QString& path, bool readOnly, const ExtensionData& parameters);
    void setActiveTable(TableView* view);
    TableView* getActiveTable() const { return activeTable; }
    TableView* getTableView(const QString& path) const;
    // The table of `path` in another of the program's windows, and that window; null if none.
    TableView* getTableViewElsewhere(const QString& path, MainWindow** window = nullptr) const;
    std::vector<TableView*> getAllTableViews() const;
    PaneView* getPaneView() const { return paneView; }

    // --- Opening (mainwindow_file.cpp) -----------------------------------------------------
    void openFile(const QString& path);
    // Opens each path that isn't open yet and activates the first of them; true when
    // something was activated.
    bool openFiles(QList<QString> paths);
    // The same with the given parameters instead of the extension table's.
    bool openFiles(const QList<QString>& paths, const ExtensionData& parameters);
    void openFolder(const QString& path);
    // JSON and XML (mainwindow_import.cpp): the import window, opened if needed, takes the file.
    void importFile(const QString& path);
    // Offers the JSON and XML files of the list for import; those the user sends there leave it.
    void handleImportableFiles(QList<QString>& paths);
    ImportWindow* getImportWindow() const;
    // An import in the import window, which keeps the window open until it ends.
    bool isImporting() const;
    void cancelImport();
    // Side bar and metadata pane (mainwindow_sidebar.cpp). Closing a folder takes it out of the
    // side bar; renaming one moves every open table in it with it.
    bool closeFolder(const QString& path);
    bool renameFolder(const QString& oldPath, const QString& newPath);
    // Moves this window's tables and side bar folders at or below `oldPath` to `newPath`, after
    // the folder was renamed from any window.
    void followRenamedFolder(const QString& oldPath, const QString& newPath);
    SideBar* getSideBar() const { return sideBar; }
    FileMetadataWidget* getMetadataWidget() const { return metadataPane; }

    // --- Saving and closing (mainwindow_file.cpp) ------------------------------------------
    bool saveFile(TableView* view);
    bool saveFileAs(TableView* view, bool visibleDataOnly);
    void informSaveFailed(TableView* view);
    // A table whose worker runs (a sort, a filter's scan, a search...) is read by it, under an
    // event loop that runs inside the code that started it: it doesn't close until the work is
    // over, and neither does its window.
    bool closeFile(TableView* view);
    bool closeFile(const QString& path);
    bool closeFileNoSave(TableView* view);
    bool isWorking() const;
    // Test seam: how long a change signal waits for more, and how long after a save of our own
    // one is taken for its echo (750 and 3000 ms).
    static void setExternalChangeTimingForTesting(int delayMs, int cooldownMs);
    // Asks every table's running work to stop; it stops soon after, as its Cancel does.
    void cancelWork();
    // A table whose file failed to load is closed with a message; one whose file changed under
    // its read-only index is read again.
    void onTableLoadFailed(TableView* view, const QString& reason);
    void onTableFileChanged(TableView* view);
    void closeFiles(const std::vector<TableView*>& views);
    QString getFiletypeFilter(bool forOpen) const;

    // --- Rename, move, duplicate, delete (mainwindow_fileops.cpp) ---------------------------
    bool renameFile(const QString& oldPath, const QString& newPath);
    // Asks for a folder, then moves.
    bool moveFile(const QString& path);
    // Moves by copying and removing the source, so a move across volumes is like any other.
    bool moveFile(const QString& path, const QString& folder);
    // Copies the file to `newName` in its folder and opens the copy, after the checks of the
    // duplicate prompt with their messages.
    bool duplicateFile(const QString& path, const QString& newName);
    QString getCurrentTableDir() const;

    // --- Extension table --------------------------------------------------------------------
    void setupExtensions();
    void setExtensions(const std::vector<ExtensionData>& table) { extensions = table; }
    // The extension table's row, or one with empty delimiters and default values.
    ExtensionData getExtensionDataFromFileExtension(const QString& extension) const;
    QString getDelimiterFromFileExtension(const QString& extension, bool forLoad,
                                          bool ignoreActiveTable) const;
    LineEndingType getLineEndingFromFileExtension(const QString& extension) const;
    EncodingType getEncodingFromFileExtension(const QString& extension) const;
    ParsingStandard getParsingStandardFromFileExtension(const QString& extension) const;
    // The encoding, line ending and quoting the file at `path` shows at its start, over those of
    // `data`.
    static ExtensionData takeParametersFromFile(ExtensionData data, const QString& path);
    // Settles "(auto)" delimiters and an unknown byte order from the file itself; the
    // delimiters come back as the actual characters, empty for none. `forceByteOrder` turns a
    // width whose byte order the file can't tell into little-endian.
    static ExtensionData findFileParameters(ExtensionData data, const QString& path,
                                            bool forceByteOrder = true);

    // --- What the window holds ---------------------------------------------------------------
    int getNumTables() const;
    QStringList getOpenFilepaths() const;
    QString getActiveFilepath() const;
    const EditableDataContainer* getContainer(const QString& path) const;
    ExtensionData getFileParameters(const QString& path) const;
    bool isReadOnly(const QString& path) const;
    static QString tableName(const TableView* view);
    Context getContext() const { return context; }
    const Commands& getCommands() const { return commands; }
    const QStringList& getRecentFilepaths() const { return recentFilepathList; }
    const QStringList& getPreferenceFilepaths() const { return preferenceFilepaths; }
    Settings& getSettings() { return settings; }
    QStringList getWatchedFiles() const;

    // --- Menus (mainwindow_menus.cpp) --------------------------------------------------------
    // Builds the menu bar from the command table.
    void setupMenus();
    // Puts the check marks of the switch commands in step with their settings: the window's, or
    // the active table's for a per-file one.
    void refreshToggles();

    // --- Launcher (mainwindow_launcher.cpp) ---------------------------------------------------
    // "Category: Name", or the name alone for a command in no menu.
    static QString makeCommandLauncherName(const Command& command);
    // The examples under a prompt that asks for a cell, in the table's column mode.
    QString getCellInputInstructions() const;
    Launcher* getLauncher() const;

    // --- Status bar -----------------------------------------------------------------------
    static QString tableSizeText(int rawRows, int rawCols, int modelRows, int modelCols);
    static QString selectionSizeText(const RangeSize& size);
    QString getTableSizeLabelText() const;
    QString getModeLabelText() const;
    QString getEncodingLabelText() const;
    QString getDelimiterLabelText() const;
    QString getSelectionLabelText() const;
    QString getCellLengthLabelText() const;
    QString getStatsLabelText() const;
    void updateStatusBar();
    // Sum and mean of the selection: at once for a few thousand cells, else read in slices
    // between events, with "Sum: ...    Mean: ..." meanwhile.
    void updateStatsLabel();
    void updateWindowTitle();

    // --- Panes ------------------------------------------------------------------------------
    void showTabBar(bool show, bool animate = false);
    void showSideBar(bool show, bool animate = false);
    void showMetadata(bool show, bool animate = false);
    void showEditorPane(bool show, bool animate = false);
    void showSideBarOpenFiles(bool show);
    void showSideBarFolders(bool show);
    const PaneVisibility& getPaneVisibility() const { return paneVisibility; }
    // Gives the side bar and the metadata pane their widths once the window has its own: sizes
    // set on a window not yet shown are scaled away when it first lays out.
    void initializeSidebarWidth();
    int getTabBarHeight() const;
    int getSideBarWidth() const;
    int getMetadataWidth() const;

    // --- Settings ---------------------------------------------------------------------------
    void propagateSettings();
    void saveAfterEachEdit(bool on);
    void saveWithTrailingDelimiters(bool on);
    void letEditorPaneConsumeNavigationKeystrokes(bool on);
    void setTextSize(int size);
    void setFont(const QFont& font);
    void setShowRowLabelsCommand(bool on);
    void setShowColLabelsCommand(bool on);
    void setRepresentColumnsAsLettersCommand(bool on);
    void setCaseSensitiveSorting(bool on);
    void setSnapToRowAfterScrolling(bool on);
    void setSnapToColumnAfterScrolling(bool on);
    void setRemoveExtraneousRowsColumnsOnFileSave(bool on);
    void setMinNumTableRows(int n);
    void setMinNumTableCols(int n);
    void setNumBufferRows(int n);
    void setNumBufferCols(int n);
    void setMinimumFileSizeAskAboutReadOnlyMb(int mb);

    // --- Preference files and themes (mainwindow_preferences.cpp) ----------------------------
    // Read the user's files into the window: settings, shortcuts (keys, menus and the launcher
    // follow at once) and the extension table. A missing or headerless file means the defaults.
    void loadSettingsFromFile();
    void loadCommandsFromFile();
    void addUserSettings(const TableModel& model);
    void setUserExtensions(const TableModel& model);
    const std::vector<ExtensionData>& getExtensions() const { return extensions; }
    // Upgrades the files that existed at start-up (in the order settings, shortcuts, extensions).
    void updatePreferenceFiles(const bool existed[3]);
    bool isPreferenceFilepath(const QString& path) const;
    void onPreferenceChanged(const QString& path);
    void onPreferenceDirChanged(const QString& path);
    // The user's theme files, read again into the list of themes.
    void loadThemesDirectory();
    void onThemesDirectoryChanged(const QString& path);
    // Puts the theme into the settings, remembers it in the settings file and applies it.
    void setTheme(const Theme& theme);
    // Reads all three files again, after the preferences window wrote them.
    void reloadPreferences();
    PreferencesWindow* getPreferencesWindow() const;

    // --- What "Orvane.ini" restores ---------------------------------------------------------
    void setDefaultOpenFolderpath(const QString& path) { defaultOpenFolderpath = path; }
    void setSidebarTopFolderpathList(const QStringList& list);
    // The recent files, newest first: up to 50 kept, the first 25 in File > Open Recent File.
    void setRecentFiles(const QList<QString>& list);
    const QStringList& getRecentFiles() const { return recentFilepathList; }
    // Opens a recent file, or says that it is gone and drops it from the list.
    void openRecentFile(const QString& path);
    void setSidebarShowWidth(int width) { sidebarShowWidth = width; }
    void setMetadataShowWidth(int width) { metadataShowWidth = width; }
    void setEditorPaneShowHeight(int height);
    void setUseThousandsSeparators(bool on) { useThousandsSeparators = on; }
    void setHideColsWithNoData(bool on) { hideColsWithNoData = on; }
    void setExcludeEmptyCells(bool on) { excludeEmptyCells = on; }
    void setImportDefaults(const ExtensionData& extensionData, bool saveLocalInOriginatingDir,
                           bool openFilesAfterImport, bool preserveStructure);
    void setPrintSettings(const PrintSettings& settings) { printSettings = settings; }
    const PrintSettings& getPrintSettings() const { return printSettings; }
    // The print dialog while it is open.
    PrintDialog* getPrintDialog() const;

    ConfigData makeConfigData() const;
    // Hands the window's state to Application for writing.
    void updateConfigFile();

public slots:
    // --- Command slots. File commands take a path; an empty one means the active table, an
    // unknown one does nothing. Each answers false when it could not run.
    // Files (mainwindow_file.cpp).
    bool commandSaveFile(const QString& path = QString());
    // Folders and the side panes (mainwindow_sidebar.cpp).
    bool commandOpenFolder();
    bool commandCloseFolder();
    bool commandToggleShowSideBar();
    bool commandToggleShowFileMetadata();
    bool commandToggleShowSideBarOpenFiles();
    bool commandToggleShowSideBarFolders();
    void onRenameFolderPrompt(const QString& path, const QString& text = QString());
    void onRenameFolderPromptReceived(const QString& path, const QString& response);
    bool commandSaveFileAs(const QString& path = QString());
    bool commandSaveVisibleDataAs(const QString& path = QString());
    bool commandSaveAllFiles();
    bool commandCloseFile(const QString& path = QString());
    bool commandCloseAllFiles();
    bool commandReloadFile(const QString& path = QString());
    bool commandDeleteFile(const QString& path = QString());
    bool commandMoveFile(const QString& path = QString());
    void commandNewFile();
    // Switches the active table between read-only and editable, reading the file again.
    void commandToggleReadOnly();
    // File (mainwindow_filecommands.cpp).
    bool commandNewWindow(const QString& path = QString());
    bool commandOpenFile(const QString& path = QString());
    bool commandOpenRecentFile(const QString& path = QString());
    bool commandShowFileInFileSystem(const QString& path = QString());
    bool commandOpenTerminalToFilesDirectory(const QString& path = QString());
    bool commandOpenFileInTextEditor(const QString& path = QString());
    // Import and export (mainwindow_convert.cpp, mainwindow_import.cpp).
    bool commandExportToJSONOrXML(const QString& path = QString());
    bool commandImportFromJSONOrXML(const QString& path = QString());
    bool commandExit(const QString& path = QString());
    // Print and PDF (mainwindow_print.cpp).
    bool commandPrint(const QString& path = QString());
    bool commandExportToPDF(const QString& path = QString());
    bool commandToggleSaveAfterEachEdit(const QString& path = QString());
    bool commandToggleRemoveExtraneousRowsColumnsOnFileSave(const QString& path = QString());
    bool commandToggleSaveWithTrailingDelimiters(const QString& path = QString());
    bool commandCopyFilePathToClipboard(const QString& path = QString());
    bool commandCopyFolderPathToClipboard(const QString& path = QString());
    bool commandCopyFileNameToClipboard(const QString& path = QString());
    // Edit (mainwindow_edit.cpp).
    bool commandUndo(const QString& path = QString());
    bool commandRedo(const QString& path = QString());
    bool commandEditSelectedCell(const QString& path = QString());
    bool commandStopEditing(const QString& path = QString());
    bool commandToggleRetainSortAndFiltersUponFileRefresh(const QString& path = QString());
    bool commandToggleLetEditorPaneConsumeNavigationKeystrokes(const QString& path = QString());
    // Clipboard (mainwindow_clipboard.cpp, prompts in mainwindow_prompts_clipboard.cpp).
    bool commandCutCells(const QString& path = QString());
    bool commandCopyCells(const QString& path = QString());
    bool commandCopyCellsWithHeader(const QString& path = QString());
    bool commandCopyCellsToMarkdown(const QString& path = QString());
    bool commandCopyCellsToHTML(const QString& path = QString());
    bool commandPasteCells(const QString& path = QString());
    bool commandPasteCellsSpecial(const QString& path = QString());
    bool commandParseSelectedCellContentsAsTable(const QString& path = QString());
    void onPasteCellsSpecialPrompt();
    void onPasteCellsSpecialPromptReceived(const QString& response);
    void onPasteDelimiterPrompt();
    void onPasteDelimiterPromptReceived(const QString& response);
    // Data (mainwindow_data.cpp): move, insert, transpose, delete, duplicate.
    bool commandMoveCellContentsUp(const QString& path = QString());
    bool commandMoveCellContentsDown(const QString& path = QString());
    bool commandMoveCellContentsLeft(const QString& path = QString());
    bool commandMoveCellContentsRight(const QString& path = QString());
    bool commandMoveRowsUp(const QString& path = QString());
    bool commandMoveRowsDown(const QString& path = QString());
    bool commandMoveColumnsLeft(const QString& path = QString());
    bool commandMoveColumnsRight(const QString& path = QString());
    bool commandInsertRowsBefore(const QString& path = QString());
    bool commandInsertColumnsBefore(const QString& path = QString());
    bool commandInsertRowsAfter(const QString& path = QString());
    bool commandInsertColumnsAfter(const QString& path = QString());
    bool commandInsertCellsMoveRestOfRowRight(const QString& path = QString());
    bool commandInsertCellsMoveRestOfColumnDown(const QString& path = QString());
    bool commandTransposeTable(const QString& path = QString());
    bool commandTransposeSelectedCells(const QString& path = QString());
    bool commandClearCellContents(const QString& path = QString());
    bool commandRemoveRows(const QString& path = QString());
    bool commandRemoveColumns(const QString& path = QString());
    bool commandRemoveEmptyRows(const QString& path = QString());
    bool commandRemoveEmptyColumns(const QString& path = QString());
    bool commandRemoveEmptyRowsBasedOnSelectedColumnsOnly(const QString& path = QString());
    bool commandRemoveEmptyColumnsBasedOnSelectedRowsOnly(const QString& path = QString());
    bool commandRemoveSelectedCellsMoveRestOfRowLeft(const QString& path = QString());
    bool commandRemoveSelectedCellsMoveRestOfColumnUp(const QString& path = QString());
    bool commandRemoveSelectedCellsAndTheRestOfTheirRows(const QString& path = QString());
    bool commandRemoveSelectedCellsAndTheRestOfTheirColumns(const QString& path = QString());
    bool commandToggleCaseSensitiveSorting(const QString& path = QString());
    bool commandSortSelectedColumnAscending(const QString& path = QString());
    bool commandSortSelectedColumnDescending(const QString& path = QString());
    bool commandSortSelectedRowAscending(const QString& path = QString());
    bool commandSortSelectedRowDescending(const QString& path = QString());
    bool commandSortSelectedCellsHorizontallyAscending(const QString& path = QString());
    bool commandSortSelectedCellsHorizontallyDescending(const QString& path = QString());
    bool commandSortSelectedCellsVerticallyAscending(const QString& path = QString());
    bool commandSortSelectedCellsVerticallyDescending(const QString& path = QString());
    bool commandRemoveDuplicateRows(const QString& path = QString());
    bool commandRemoveDuplicateColumns(const QString& path = QString());
    bool commandRemoveDuplicateRowsBasedOnSelectedColumnsOnly(const QString& path = QString());
    bool commandRemoveDuplicateColumnsBasedOnSelectedRowsOnly(const QString& path = QString());
    bool commandDuplicateSelectedCellContentsUp(const QString& path = QString());
    bool commandDuplicateSelectedCellContentsDown(const QString& path = QString());
    bool commandDuplicateSelectedCellContentsLeft(const QString& path = QString());
    bool commandDuplicateSelectedCellContentsRight(const QString& path = QString());
    bool commandDuplicateRows(const QString& path = QString());
    bool commandDuplicateColumns(const QString& path = QString());
    bool commandRemoveExtraneousRowsAndColumns(const QString& path = QString());
    // Selection (mainwindow_selection.cpp).
    bool commandSelectUp(const QString& path = QString());
    bool commandSelectDown(const QString& path = QString());
    bool commandSelectLeft(const QString& path = QString());
    bool commandSelectRight(const QString& path = QString());
    bool commandSelectUpByABlock(const QString& path = QString());
    bool commandSelectDownByABlock(const QString& path = QString());
    bool commandSelectLeftByABlock(const QString& path = QString());
    bool commandSelectRightByABlock(const QString& path = QString());
    bool commandSelectUpToTopOfColumnHeaderExcluded(const QString& path = QString());
    bool commandSelectDownToBottomOfColumn(const QString& path = QString());
    bool commandSelectLeftToStartOfRowHeaderExcluded(const QString& path = QString());
    bool commandSelectRightToEndOfRow(const QString& path = QString());
    bool commandSelectEntireColumns(const QString& path = QString());
    bool commandSelectEntireColumnsHeaderExcluded(const QString& path = QString());
    bool commandSelectEntireRows(const QString& path = QString());
    bool commandSelectEntireRowsHeaderExcluded(const QString& path = QString());
    bool commandSelectEntireTable(const QString& path = QString());
    bool commandMoveSelectionUp(const QString& path = QString());
    bool commandMoveSelectionDown(const QString& path = QString());
    bool commandMoveSelectionLeft(const QString& path = QString());
    bool commandMoveSelectionRight(const QString& path = QString());
    bool commandMoveSelectionUpByABlock(const QString& path = QString());
    bool commandMoveSelectionDownByABlock(const QString& path = QString());
    bool commandMoveSelectionLeftByABlock(const QString& path = QString());
    bool commandMoveSelectionRightByABlock(const QString& path = QString());
    bool commandInvertSelectionByRowsHeaderExcluded(const QString& path = QString());
    bool commandInvertSelectionByColumnsHeaderExcluded(const QString& path = QString());
    bool commandSelectDuplicateRows(const QString& path = QString());
    bool commandSelectDuplicateColumns(const QString& path = QString());
    bool commandSelectDuplicateRowsBasedOnSelectedColumnsOnly(const QString& path = QString());
    bool commandSelectDuplicateColumnsBasedOnSelectedRowsOnly(const QString& path = QString());
    // View's grid size and headers (mainwindow_view.cpp).
    bool commandToggleAutoFitRowHeight(const QString& path = QString());
    bool commandToggleAutoFitColumnWidth(const QString& path = QString());
    bool commandSetHeaderRowsToSelectedRow(const QString& path = QString());
    bool commandSetHeaderColumnsToSelectedColumn(const QString& path = QString());
    bool commandSetHeadersToSelectedCell(const QString& path = QString());
    bool commandRemoveHeaderRows(const QString& path = QString());
    bool commandRemoveHeaderColumns(const QString& path = QString());
    bool commandRemoveAllHeaders(const QString& path = QString());
    bool commandToggleFreezeHeaderRowsAndColumns(const QString& path = QString());
    bool commandToggleHighlightHeaderRows(const QString& path = QString());
    bool commandToggleHighlightHeaderColumns(const QString& path = QString());
    bool commandToggleFreezeHeaderRows(const QString& path = QString());
    bool commandToggleFreezeHeaderColumns(const QString& path = QString());
    // Go To (mainwindow_goto.cpp).
    bool commandSwitchToTabOnTheRight(const QString& path = QString());
    bool commandSwitchToTabOnTheLeft(const QString& path = QString());
    bool commandScrollUpOneScreen(const QString& path = QString());
    bool commandScrollDownOneScreen(const QString& path = QString());
    bool commandScrollLeftOneScreen(const QString& path = QString());
    bool commandScrollRightOneScreen(const QString& path = QString());
    bool commandScrollToTop(const QString& path = QString());
    bool commandScrollToBottom(const QString& path = QString());
    bool commandScrollToFarLeft(const QString& path = QString());
    bool commandScrollToFarRight(const QString& path = QString());
    bool commandGoUpOneScreen(const QString& path = QString());
    bool commandGoDownOneScreen(const QString& path = QString());
    bool commandGoLeftOneScreen(const QString& path = QString());
    bool commandGoRightOneScreen(const QString& path = QString());
    bool commandGoToTop(const QString& path = QString());
    bool commandGoToBottom(const QString& path = QString());
    bool commandGoToFarLeft(const QString& path = QString());
    bool commandGoToFarRight(const QString& path = QString());
    bool commandFollowSelectedHyperlinks(const QString& path = QString());
    bool commandEmailSelectedEmailAddresses(const QString& path = QString());
    bool commandWebSearchForSelectedTerms(const QString& path = QString());
    bool commandWebSearchForSelectedPlacesInMap(const QString& path = QString());
    // In no menu: the tab numbers (mainwindow_goto.cpp), closing the other tables and the
    // program switches (mainwindow_filecommands.cpp).
    bool commandCloseAllFilesExceptCurrent(const QString& path = QString());
    bool commandSwitchToTab1(const QString& path = QString());
    bool commandSwitchToTab2(const QString& path = QString());
    bool commandSwitchToTab3(const QString& path = QString());
    bool commandSwitchToTab4(const QString& path = QString());
    bool commandSwitchToTab5(const QString& path = QString());
    bool commandSwitchToTab6(const QString& path = QString());
    bool commandSwitchToTab7(const QString& path = QString());
    bool commandSwitchToTab8(const QString& path = QString());
    bool commandSwitchToTab9(const QString& path = QString());
    bool commandSwitchToTab10(const QString& path = QString());
    bool commandToggleEnableCheckForUpdates(const QString& path = QString());
    bool commandToggleDetectImportedFileTypeUponOpeningFile(const QString& path = QString());
    // View (mainwindow_view.cpp).
    bool commandToggleShowTabBar(const QString& path = QString());
    bool commandToggleShowRowLabels(const QString& path = QString());
    bool commandToggleShowColumnLabels(const QString& path = QString());
    bool commandToggleShowEditorPane(const QString& path = QString());
    bool commandToggleRepresentColumnsAsLetters(const QString& path = QString());
    bool commandToggleShadeEveryOtherRow(const QString& path = QString());
    bool commandToggleShadeEveryOtherColumn(const QString& path = QString());
    bool commandToggleHighlightMainSelectedCellsRow(const QString& path = QString());
    bool commandToggleHighlightMainSelectedCellsColumn(const QString& path = QString());
    bool commandToggleSnapToRowAfterScrolling(const QString& path = QString());
    bool commandToggleSnapToColumnAfterScrolling(const QString& path = QString());

    // Help: the tutorial, the user guide, the changelog and the about box (mainwindow_help.cpp).
    // showTutorial opens the tutorial table, writing it first where it is missing, with the
    // tour beside it.
    void showTutorial();
    void showChangelog();
    TutorialWindow* getTutorialWindow() const;
    HelpWindow* getDocumentationWindow() const;
    HelpWindow* getChangelogWindow() const;
    bool commandDocumentation(const QString& path = QString());
    bool commandOpenTutorial(const QString& path = QString());
    bool commandRestoreTutorialToDefault(const QString& path = QString());
    bool commandAbout(const QString& path = QString());
    bool commandViewChangelog(const QString& path = QString());
    // Asks the application for the check, whose boxes are its own.
    bool commandCheckForUpdates(const QString& path = QString());

    // Contact Us: each opens its page of the program's web service (mainwindow_contactus.cpp).
    bool commandReportABug(const QString& path = QString());
    bool commandRequestAFeature(const QString& path = QString());
    bool commandTakeASurvey(const QString& path = QString());
    bool commandGeneralFeedbackQuestions(const QString& path = QString());

    // Tools: the file analysis window and its tabs (mainwindow_tools.cpp). The window reads the
    // active table; it is made on first use and cleared when it closes.
    FileAnalysisWindow* getFileAnalysisWindow() const;
    FileAnalysisWindow* raiseFileAnalysisWindow();
    bool commandOpenFileAnalysisWindow(const QString& path = QString());
    bool commandStatisticsSelectedColumns(const QString& path = QString());
    bool commandStatisticsAllColumns(const QString& path = QString());
    bool commandStatisticsSelectedCells(const QString& path = QString());
    bool commandStatisticsSelectedCellsByColumns(const QString& path = QString());
    bool commandColumnAnalysisSelectedColumns(const QString& path = QString());
    bool commandColumnAnalysisAllColumns(const QString& path = QString());
    // The values of the main cell's column in the "Unique Values" tab; the second puts the focus
    // in their list, for values to be selected and filtered in or out.
    bool commandUniqueValuesSelectedColumn(const QString& path = QString());
    bool commandSelectValuesInSelectedColumnToFilter(const QString& path = QString());

    // Column lookup (mainwindow_prompts_lookup.cpp): a chain of seven prompts, source table,
    // its key and value columns, destination table, its key and first value column, new or
    // existing columns; then one undo step on the destination.
    bool commandColumnLookup(const QString& path = QString());
    void lookupClearVariables();
    void onColumnLookupFromFilePrompt();
    void onColumnLookupFromFilePromptReceived(const QString& response);
    void onColumnLookupFromKeyColPrompt();
    void onColumnLookupFromKeyColPromptEdited(const QString& text);
    void onColumnLookupFromKeyColPromptReceived(const QString& response);
    void onColumnLookupFromValueColsPrompt();
    void onColumnLookupFromValueColsPromptEdited(const QString& text);
    void onColumnLookupFromValueColsPromptReceived(const QString& response);
    void onColumnLookupToFilePrompt();
    void onColumnLookupToFilePromptReceived(const QString& response);
    void onColumnLookupToKeyColPrompt();
    void onColumnLookupToKeyColPromptEdited(const QString& text);
    void onColumnLookupToKeyColPromptReceived(const QString& response);
    void onColumnLookupToValueColPrompt();
    void onColumnLookupToValueColPromptEdited(const QString& text);
    void onColumnLookupToValueColPromptReceived(const QString& response);
    void onColumnLookupInsertNewColsPrompt();
    void onColumnLookupInsertNewColsPromptReceived(const QString& response);
    void onColumnLookupHandleMismatchesPrompt();
    void onColumnLookupHandleMismatchesPromptReceived(const QString& response);
    void performColumnLookup();
    // Highlights the columns `text` names in `view` and returns them (user indexes), the
    // feedback line set; `step` tells the prompt's default for an empty text.
    std::vector<int> highlightColFromString(const QString& text, TableView* view, LookupColStep step);
    bool commandPivotTableSelectedColumns(const QString& path = QString());

    // Launcher and prompts (mainwindow_launcher.cpp, mainwindow_prompts_<menu>.cpp).
    bool commandCommandLauncher(const QString& path = QString());
    bool commandGoToCell(const QString& path = QString());
    bool commandSelectFromMainCellTo(const QString& path = QString());
    bool commandInsertRowsBeforeMultipleTimes(const QString& path = QString());
    bool commandInsertColumnsBeforeMultipleTimes(const QString& path = QString());
    bool commandDuplicateRowsMultipleTimes(const QString& path = QString());
    bool commandDuplicateColumnsMultipleTimes(const QString& path = QString());
    bool commandMoveRowsJustAboveRow(const QString& path = QString());
    bool commandMoveColumnsToTheLeftOfColumn(const QString& path = QString());
    bool commandSetNumberOfHeaderRows(const QString& path = QString());
    bool commandSetNumberOfHeaderColumns(const QString& path = QString());
    // Sizes and numbers asked for in a prompt.
    bool commandSetSelectedRowHeights(const QString& path = QString());
    bool commandSetSelectedColumnWidths(const QString& path = QString());
    bool commandSetDefaultRowHeight(const QString& path = QString());
    bool commandSetDefaultColumnWidth(const QString& path = QString());
    bool commandSetMaximumRowHeightForAutoFit(const QString& path = QString());
    bool commandSetMaximumColumnWidthForAutoFit(const QString& path = QString());
    bool commandSetFirstRowIndex(const QString& path = QString());
    bool commandSetFirstColumnIndex(const QString& path = QString());
    bool commandSetMinimumNumberOfTableRows(const QString& path = QString());
    bool commandSetMinimumNumberOfTableColumns(const QString& path = QString());
    bool commandSetNumberOfBufferRows(const QString& path = QString());
    bool commandSetNumberOfBufferColumns(const QString& path = QString());
    bool commandSetMinimumFileSizeForReadOnlyModeQuery(const QString& path = QString());
    bool commandGoToFile(const QString& path = QString());
    bool commandMoveCellContentsTo(const QString& path = QString());
    bool commandDuplicateCellContentsTo(const QString& path = QString());
    // Preferences (mainwindow_preferences.cpp).
    bool commandPreferences(const QString& path = QString());
    bool commandEditSettings(const QString& path = QString());
    bool commandEditKeyboardShortcuts(const QString& path = QString());
    bool commandEditFileExtensionOptions(const QString& path = QString());
    bool commandOpenPreferenceFileFolder(const QString& path = QString());
    bool commandSetTheme(const QString& path = QString());
    void onSetThemePrompt();
    void onSetThemePromptReceived(const QString& response);
    void onCommandLauncher();
    void onCommandLauncherResponseReceived(const QString& response);
    void closeLauncher();
    void onLauncherDestroyed();
    void onGoToFilePrompt();
    void onMoveCellContentsToPrompt();
    void onMoveCellContentsToPromptReceived(const QString& response);
    void onDuplicateCellContentsToPrompt();
    void onDuplicateCellContentsToPromptReceived(const QString& response);
    void onGoToFilePromptReceived(const QString& response);
    void onGoToCellPrompt();
    void onGoToCellPromptReceived(const QString& response);
    void onSelectFromMainCellToPrompt();
    void onSelectFromMainCellToPromptReceived(const QString& response);
    void highlightRangeFromUserResponse(const QString& text);
    void highlightFromMainCellToUserResponse(const QString& text);
    void highlightRowLineFromUserResponse(const QString& text);
    void highlightColLineFromUserResponse(const QString& text);
    void onInsertRowsBeforeMultipleTimesPrompt();
    void onInsertRowsBeforeMultipleTimesPromptReceived(const QString& response);
    void onInsertColumnsBeforeMultipleTimesPrompt();
    void onInsertColumnsBeforeMultipleTimesPromptReceived(const QString& response);
    void onDuplicateRowsMultipleTimesPrompt();
    void onDuplicateRowsMultipleTimesPromptReceived(const QString& response);
    void onDuplicateColumnsMultipleTimesPrompt();
    void onDuplicateColumnsMultipleTimesPromptReceived(const QString& response);
    void onMoveRowsJustAboveRowPrompt();
    void onMoveRowsJustAboveRowPromptReceived(const QString& response);
    void onMoveColumnsToTheLeftOfColumnPrompt();
    void onMoveColumnsToTheLeftOfColumnPromptReceived(const QString& response);
    void onSetNumberOfHeaderRowsPrompt();
    void onSetNumberOfHeaderRowsPromptReceived(const QString& response);
    void onSetNumberOfHeaderColumnsPrompt();
    void onSetNumberOfHeaderColumnsPromptReceived(const QString& response);

    // --- File and program prompts (mainwindow_prompts_file.cpp, mainwindow_prompts_appearance.cpp):
    // rename and duplicate, reload with other parameters, the parameters of the next save, the
    // status bar's lists, and the settings that take a name, a choice or a size.
    bool commandRenameFile(const QString& path = QString());
    bool commandDuplicateFile(const QString& path = QString());
    bool commandReloadFileWithDelimiter(const QString& path = QString());
    bool commandReloadFileWithEncoding(const QString& path = QString());
    bool commandReloadFileWithParsingStandard(const QString& path = QString());
    bool commandReloadFileWithDifferentParameters(const QString& path = QString());
    bool commandSetParametersForFileSave(const QString& path = QString());
    bool commandSetDelimiterForFileSave(const QString& path = QString());
    bool commandSetLineEndingForFileSave(const QString& path = QString());
    bool commandSetEncodingForFileSave(const QString& path = QString());
    bool commandSetParsingStandardForFileSave(const QString& path = QString());
    bool commandSetTextEditor(const QString& path = QString());
    bool commandSetBehaviorWhenFileIsChangedExternally(const QString& path = QString());
    bool commandSetSearchEngine(const QString& path = QString());
    bool commandSetOnlineMap(const QString& path = QString());
    bool commandSetFont(const QString& path = QString());
    bool commandSetTextSize(const QString& path = QString());
    // Both act on the table they were raised for, even if another one is active by the answer.
    // `text` stands in the editor in place of the file's name (an answer brought back).
    void onRenameFilePrompt(TableView* view, const QString& text = QString());
    void onRenameFilePromptReceived(TableView* view, const QString& response);
    void onDuplicateFilePrompt(TableView* view);
    void onDuplicateFilePromptReceived(TableView* view, const QString& response, int selectionStart,
                                       int selectionLength, int cursorPosition);
    // Reads the table's file again with `parameters`, after the question about unsaved changes.
    bool reloadFileWithParameters(TableView* view, const ExtensionData& parameters);
    // The status bar's labels: the commands of the file mode, encoding, delimiter and table size.
    void onFileModeOptionsPrompt();
    void onEncodingOptionsPrompt();
    void onLineEndingOptionsPrompt();
    void onDelimiterOptionsPrompt();
    void onTableDimensionsOptionsPrompt();

    // Cell transformations (mainwindow_transform.cpp, mainwindow_prompts_transform.cpp).
    bool commandUpperCase(const QString& path = QString());
    bool commandLowerCase(const QString& path = QString());
    bool commandTitleCase(const QString& path = QString());
    bool commandUpperCamelCase(const QString& path = QString());
    bool commandLowerCamelCase(const QString& path = QString());
    bool commandUpperSnakeCase(const QString& path = QString());
    bool commandLowerSnakeCase(const QString& path = QString());
    bool commandConvertToAcronym(const QString& path = QString());
    bool commandConvertDateTimeFormat(const QString& path = QString());
    bool commandConvertNumberFormat(const QString& path = QString());
    bool commandPlaceCurrentDateTimeStamp(const QString& path = QString());
    bool commandZeroFillWholeNumbers(const QString& path = QString());
    bool commandRemoveLeadingZeros(const QString& path = QString());
    bool commandRandomIntegers(const QString& path = QString());
    bool commandRandomDecimals(const QString& path = QString());
    bool commandSetNumberOfDecimals(const QString& path = QString());
    bool commandCopyMainCellContentsToAllSelectedCells(const QString& path = QString());
    bool commandFillSelectedCellsWithSeries(const QString& path = QString());
    bool commandReshapeSelectedCellsRowWise(const QString& path = QString());
    bool commandReshapeSelectedCellsColumnWise(const QString& path = QString());
    bool commandJoinSelectedCellsHorizontally(const QString& path = QString());
    bool commandJoinSelectedCellsVertically(const QString& path = QString());
    bool commandJoinSelectedCellsHorizontallyMoveRestOfRowLeft(const QString& path = QString());
    bool commandSplitSelectedCellsHorizontally(const QString& path = QString());
    bool commandSplitSelectedCellsVertically(const QString& path = QString());
    bool commandSplitSelectedCellsHorizontallyMoveRestOfRowRight(const QString& path = QString());
    bool commandKeepOnlyLeftPartOfSelectedCells(const QString& path = QString());
    bool commandKeepOnlyMiddlePartOfSelectedCells(const QString& path = QString());
    bool commandKeepOnlyRightPartOfSelectedCells(const QString& path = QString());
    bool commandPrependCellContents(const QString& path = QString());
    bool commandAppendCellContents(const QString& path = QString());
    bool commandTrimSelectedCells(const QString& path = QString());
    bool commandFillSelectedCellsWithUuidGuid(const QString& path = QString());
    bool commandListCharacterEncodings(const QString& path = QString());
    bool commandAddOrUpdateIdColumn(const QString& path = QString());
    bool commandSetUuidType(const QString& path = QString());
    void onConvertDateTimeFormatPrompt();
    void onConvertNumberFormatPrompt();
    void onZeroFillWholeNumbersPrompt();
    void onRandomValuesPrompt(bool decimals);
    void onSetNumberOfDecimalsPrompt();
    void onFillSelectedCellsWithSeriesPrompt();
    void onReshapeSelectedCellsPrompt(bool rowWise);
    void onJoinSelectedCellsPrompt(int kind);
    void onSplitSelectedCellsPrompt(int kind);
    void onKeepPartOfCellsPrompt(int part);
    void onPrependOrAppendPrompt(bool append);
    void onFillSelectedCellsWithUuidGuidPrompt();
    void onListCharacterEncodingsPrompt();
    void onFirstIdValuePrompt();
    void onSetUuidTypePrompt();

    // --- Filters and hiding (mainwindow_filter.cpp, mainwindow_prompts_filter.cpp) ---------
    bool commandAddFilter(const QString& path = QString());
    bool commandAddFilterWithRegularExpressions(const QString& path = QString());
    bool commandViewEditFilters(const QString& path = QString());
    bool commandFilterSelectedRow(const QString& path = QString());
    bool commandFilterSelectedColumn(const QString& path = QString());
    bool commandFilterSelectedRowWithRegularExpressions(const QString& path = QString());
    bool commandFilterSelectedColumnWithRegularExpressions(const QString& path = QString());
    bool commandFilterSelectedRowsWithSelectedCellContents(const QString& path = QString());
    bool commandFilterSelectedColumnsWithSelectedCellContents(const QString& path = QString());
    bool commandRemoveIndividualFilters(const QString& path = QString());
    bool commandRemoveAllFilters(const QString& path = QString());
    bool commandRefreshFilters(const QString& path = QString());
    bool commandHideSelectedRows(const QString& path = QString());
    bool commandHideSelectedColumns(const QString& path = QString());
    bool commandHideAllButSelectedRows(const QString& path = QString());
    bool commandHideAllButSelectedColumns(const QString& path = QString());
    bool commandHideEmptyRows(const QString& path = QString());
    bool commandHideEmptyColumns(const QString& path = QString());
    bool commandShowAllHiddenRows(const QString& path = QString());
    bool commandShowAllHiddenColumns(const QString& path = QString());
    bool commandShowHiddenRowsInSelection(const QString& path = QString());
    bool commandShowHiddenColumnsInSelection(const QString& path = QString());
    bool commandShowEmptyRows(const QString& path = QString());
    bool commandShowEmptyColumns(const QString& path = QString());
    bool commandRemoveAllFilteredOutAndHiddenData(const QString& path = QString());
    // The filter text prompt for `pendingFilter`'s row or column; `regex` takes the text as a
    // regular expression.
    void onFilterPrompt(bool regex, const QString& text);
    void onFilterPromptEdited(const QString& text);
    void onFilterPromptReceived(const QString& response);
    void onAddFilterTargetPrompt(bool regex);
    void onAddFilterTargetPromptReceived(const QString& response);
    void onViewEditFiltersPrompt();
    void onViewEditFiltersPromptReceived(const QString& response);
    void onRemoveIndividualFiltersPrompt();
    void onRemoveIndividualFiltersPromptReceived(const QString& response);
    // The status bar's filter label: the filter commands that apply now.
    void onFiltersOptionsPrompt();
    void updateFiltersLabel();
    QString getFiltersLabelText() const;
    // With "Retain Sort and Filters Upon File Refresh" on, a reload keeps the table's filters
    // (and, through the two below, its sorts).
    void retainFiltersForReload(TableView* view);
    void restoreRetainedFilters(TableView* view);
    // --- Sorts kept over a reload (mainwindow_sortretain.cpp) ------------------------------
    void retainSortForReload(TableView* view);
    void restoreRetainedSort(TableView* view);
    // --- Find and replace (mainwindow_find.cpp) ------------------------------------------
    bool commandFind(const QString& path = QString());
    bool commandFindNextMatch(const QString& path = QString());
    bool commandFindPreviousMatch(const QString& path = QString());
    bool commandFindAllMatches(const QString& path = QString());
    bool commandReplace(const QString& path = QString());
    bool commandReplaceNextMatch(const QString& path = QString());
    bool commandReplacePreviousMatch(const QString& path = QString());
    bool commandReplaceAllMatches(const QString& path = QString());
    bool commandAddNextMatchToSelection(const QString& path = QString());
    bool commandSelectAllMatches(const QString& path = QString());
    void onFindReplaceQueryEdited(const FindReplaceQuery& query);
    void onFindAllResultSelected(int rawRow, int rawCol);
    void onFindInAllFiles(const FindReplaceQuery& query);
    void onReplaceInAllFiles(const FindReplaceQuery& query);
    // Hides the find area and ends the highlight of its matches.
    void hideFindArea();
    FindReplaceWidget* getFindReplaceWidget() const { return findReplaceWidget; }
    FindResultsWidget* getFindResultsWidget() const { return findResultsWidget; }

    void onTableSizeChanged(int rawRows, int rawCols, int modelRows, int modelCols);
    void onSelectionSizeChanged(const RangeSize& size);
    void onMainCellLengthChanged(int length);
    void onLoadFinished(TableView* view);
    void onUndoStackCleanChanged(bool clean);
    // The context: add or remove bits with what they imply, and with `apply` enable the
    // actions at once. setContext() applies the current set; setContext(bits) replaces it.
    void addContext(Context bits, bool apply = true);
    void removeContext(Context bits, bool apply = true);
    void setContext();
    void setContext(Context bits);

signals:
    void updateConfigFileSignal(ConfigData data);
    void openTerminalToFilesDirectorySignal(QString path);
    void showFileInFileSystemSignal(QString path);
    void createNewInstanceSignal(bool newWindowFromOutside, QStringList filepaths);
    void mainWindowClosedSignal();
    void mainWindowFocusChangedSignal();
    void setThemeSignal(Theme theme);
    void checkForUpdatesSignal();

protected:
    void closeEvent(QCloseEvent* event) override;
    void changeEvent(QEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragMoveEvent(QDragMoveEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    enum class Pane { TabBar, SideBar, Metadata };

    // The command's table (the active one for an empty path) when it is ready, its edit (if
    // any) over.
    TableView* tableForEdit(const QString& path);
    // The same, made the active table: for commands that go on in a prompt over it.
    TableView* activeTableForEdit(const QString& path);
    bool toggleSetting(SettingType type);
    bool switchToTab(int index);
    bool toggleShading(SettingType type);
    // A launcher over the active table with the window's settings, a title and a description.
    Launcher* makePromptLauncher(const QString& title, const QString& description);
    // Reads a typed location into model indexes of the active table; the missing part comes
    // from the main cell. False when the text gives no place in the table.
    bool modelCellFromUserResponse(int& row, int& col, const QString& text) const;
    // The count prompt shared by the "... Multiple Times" commands.
    void raiseCountPrompt(const QString& title, const QString& text,
                          void (MainWindow::*received)(const QString&));
    // The count a count prompt was answered with; false, with the prompt raised again, if none.
    void raiseCellPrompt(const QString& title, void (MainWindow::*preview)(const QString&),
                         void (MainWindow::*received)(const QString&));
    bool previewCellFromUserResponse(const QString& text, int& row, int& col);
    bool takeCellAnswer(const QString& response, void (MainWindow::*prompt)(), int& row, int& col);
    // Raises `prompt` again with `response` in its editor, for an answer to be put right.
    void askAgain(void (MainWindow::*prompt)(), const QString& response);
    bool takeCountAnswer(const QString& response, const QString& title,
                         void (MainWindow::*received)(const QString&), int& times);
    // A prompt for a whole number from minimum to maximum, raised again with the answer until
    // the answer is one; then `apply` gets it.
    void raiseNumberPrompt(const QString& title, const QString& description, const QString& text, int minimum,
                           int maximum, const std::function<void(int)>& apply);
    // The number prompt of an integer setting, titled with its name, showing its value now (the
    // table's, when a view is given) and the range its type allows.
    void raiseSettingPrompt(SettingType type, const QString& what, const std::function<void(int)>& apply,
                            TableView* view = nullptr);

    // A transformation prompt: `take` gets the answer and says whether it was good; a bad one
    // brings the prompt back with the text. `preview` (optional) gives the feedback line for
    // the text as typed.
    void raiseTransformPrompt(const QString& title, const QString& description,
                              const std::vector<OptionData>& options, const QString& text,
                              std::function<bool(const QString&)> take,
                              std::function<QString(const QString&)> preview = {});
    // A list prompt whose answer `take` reads; an answer that doesn't read (false) brings the
    // prompt back with the text. The bars of a chain stay until the chain ends.
    void raiseChoicePrompt(const QString& title, const QString& description,
                           const std::vector<OptionData>& options, const QString& text,
                           const std::function<bool(const QString&)>& take);
    // The commands of the status bar's prompts, by a test on each; the launcher runs the one chosen.
    void raiseCommandListPrompt(const QString& title, const std::function<bool(const Command&)>& wanted);
    // The value line of a setting command in a launcher list: a file parameter as the active
    // table has it, another setting as the table's or the window's settings hold it.
    QString commandValueText(const Command& command, const Settings& tableSettings) const;
    enum class DuplicateResult { Done, Retry, Stop };
    DuplicateResult tryDuplicateFile(const QString& path, const QString& newName);
    // The active table, made active for `path` and ready for a transformation.
    TableView* tableForTransform(const QString& path);
    // The answers of the column lookup's chain so far.
    QPointer<TableView> lookupStartTable;
    QPointer<TableView> lookupSourceTable;
    QPointer<TableView> lookupDestTable;
    int lookupSourceKeyCol = 0;
    std::vector<int> lookupSourceValueCols;
    QString lookupSourceValueColsText;
    int lookupDestKeyCol = 0;
    int lookupDestValueCol = 0;
    bool lookupInsertNewCols = false;
    QString lookupMismatchValue;
    // The lookup's table prompts: the open tables as options, and the table an answer names.
    void raiseLookupFilePrompt(const QString& title, bool forWriting,
                               void (MainWindow::*received)(const QString&));
    TableView* lookupTableFromAnswer(const QString& response);
    void raiseLookupColPrompt(const QString& title, const QString& description, LookupColStep step,
                              void (MainWindow::*edited)(const QString&),
                              void (MainWindow::*received)(const QString&));
    void addLookupPrevOption(const QString& question, const QString& answer, void (MainWindow::*prompt)());
    // The chain's column answers in user indexes of `view`; false when the text names no column.
    bool lookupColsFromAnswer(const QString& text, TableView* view, LookupColStep step,
                              std::vector<int>& cols);
    // The chain of the date conversion: source, source format, target, target format.
    int dateFromType = 0;
    int dateToType = 0;
    QString dateFromCustom;

    void setupLayout();
    void setupStatusBar();
    void setupAnimations();
    TableView* resolveTable(const QString& path) const;
    bool isPreferencePath(const QString& path) const;
    bool openPreferenceFile(const QString& path);
    void watchPreferenceFiles();
    // Answers in the order of the buttons.
    enum class LargeFileAnswer { ReadOnly, EditMode, Cancel };
    enum class OverwriteAnswer { Overwrite, DontOverwrite, Cancel };
    LargeFileAnswer askLargeFileQuestion(qint64 sizeMiB);
    OverwriteAnswer askOverwrite();
    // True (and said so) when `target` is open in a table of any window: a file operation onto it
    // would leave that table standing for a file that is gone.
    bool refuseOpenTarget(const QString& target);
    bool openPaths(QList<QString> paths, const ExtensionData* parameters);
    void afterFirstActivation(bool activated);
    MainWindow(bool withEmptyTable, QWidget* parent, Qt::WindowFlags flags);
    void showPane(Pane pane, bool show, bool animate);
    void setPaneSize(Pane pane, int size);
    int paneSize(Pane pane) const;
    void cancelLoad(TableView* view);
    void refreshTableName(TableView* view);

    // Recent files and watcher records (mainwindow_fileops.cpp).
    void addFilepathToRecentFilepaths(const QString& path);
    void removeFilepathFromRecentFilepaths(const QString& path);
    void replaceFilepathInRecentFilepaths(const QString& oldPath, const QString& newPath);
    void bumpUpFileInRecentFilepaths(const QString& path);
    void refreshRecentFilesMenu();
    QPointer<QMenu> recentFilesMenu;
    void watchFile(const QString& path);
    void unwatchFile(const QString& path);
    void recordWatchedFileState(const QString& path);
    void clearWatchedFileState(const QString& path);
    void movePathOfTable(const QString& oldPath, const QString& newPath);

    // Files changed by other programs (mainwindow_externalchange.cpp): a change signal waits
    // 750 ms, so that a burst of writes makes one check; the program's own saves make none.
    void onFileChanged(const QString& path);
    void deferExternalFileChange(const QString& path);
    void processExternalFileChange(const QString& path, int token);
    bool hasWatchedFileStateChanged(const QString& path) const;
    void startInternalFileChangeCooldown(const QString& path);
    void onSaveStarted(const QString& path);
    void onSaveFinished(const QString& path);
    void resetFilepathSavedList();
    // After a load: ends a reload that an external change started, and puts back the place of
    // any reload.
    void finishExternalReload(TableView* view);
    // Where the user is in the table of `path`, put back once a reload of it has been read.
    void rememberReloadPlace(TableView* view, const QString& path);

    // Help windows (mainwindow_help.cpp): at most one of each, cleared when it closes.
    void closeTutorialWindow(const TableView* view);
    QPointer<TutorialWindow> tutorialWindow;
    QPointer<HelpWindow> documentationWindow;
    QPointer<HelpWindow> changelogWindow;
    QPointer<FileAnalysisWindow> fileAnalysisWindow;
    QPointer<PrintDialog> printDialog;
    QPointer<ImportWindow> importWindow;
    ImportWindow* ensureImportWindow();
    void onFilesImported(const QList<QString>& paths, const ExtensionData& parameters);
    void onImportWindowClosing();
    // The import window's choices while it is open, else those it left.
    ImportDefaults currentImportDefaults() const;
    // Whether a file about to open with given parameters should go to the import window
    // instead: asked when it reads as JSON or XML. Cancel drops the file.
    enum class ImportAnswer { Import, DontImport, Cancel };
    ImportAnswer askImportQuestion(const QString& path);
    bool openPrintDialog(const QString& path, bool exportToPdf);
    // The active table to the analysis window, when it is open.
    void followActiveTableInAnalysis();
    // The filters the "Unique Values" tab makes, on the table its values were counted in.
    void onUniqueValuesFilter(const FilterData& filter);
    void onUniqueValuesRemoveFilter(const Range& range);

    Settings settings;
    bool constructing = true;
    bool windowClosing = false;
    Commands commands;
    Context context = ContextTableReady | ContextNotEditing;
    std::vector<ExtensionData> extensions;
    QStringList preferenceFilepaths;
    QString lastUsedDirectory;

    PaneView* paneView = nullptr;
    std::vector<PaneView*> paneViews;
    TableView* activeTable = nullptr;
    TableModel* activeModel = nullptr;
    TableDelegate* activeDelegate = nullptr;

    QSplitter* horizontalSplitter = nullptr;
    QSplitter* verticalSplitter = nullptr;
    SideBar* sideBar = nullptr;
    QScrollArea* metadataScrollArea = nullptr;
    FileMetadataWidget* metadataPane = nullptr;
    // The side bar and the metadata pane (mainwindow_sidebar.cpp).
    void setupSidePanes();
    // The buttons at the two ends of the status bar that show and hide the side bar and the
    // metadata pane.
    void setupSidePaneButtons();
    void onSidebarFoldersChanged();
    bool isOpenableFromSidebar(const QString& path) const;
    bool sidePanesSized = false;
    // Refills the metadata pane from the active table, when the pane is shown.
    void refreshMetadata();
    QWidget* findArea = nullptr;
    // Find: the widgets of the find area, made at first use, and the table it highlights.
    void ensureFindWidgets();
    void showFindArea(int mode);
    TableView* findTableFor(const QString& path);
    // The query of the widget; false (with the find area raised) when there is nothing to find.
    bool currentFindQuery(FindReplaceQuery& query, bool replacing);
    // Replace Next (Previous): the match under the cursor first.
    bool replaceStep(const QString& path, bool next);
    FindReplaceWidget* findReplaceWidget = nullptr;
    FindResultsWidget* findResultsWidget = nullptr;
    QPointer<TableView> findTable;
    QVariantAnimation* tabBarAnimation = nullptr;
    QVariantAnimation* sideBarAnimation = nullptr;
    QVariantAnimation* metadataAnimation = nullptr;
    int tabBarShowHeight = 28;
    int metadataShowWidth = 380;

    QFileSystemWatcher* fileWatcher = nullptr;
    QFileSystemWatcher* preferenceWatcher = nullptr;
    QFileSystemWatcher* themesWatcher = nullptr;
    QPointer<PreferencesWindow> preferencesWindow;
    struct WatchedState {
        qint64 size = -1;
        QDateTime modified;
    };
    std::map<QString, WatchedState> watchedFileStates;
    std::map<QString, QDateTime> internalChangeCooldowns; // until then a change is our own save's
    std::map<QString, int> pendingExternalChangeTokens;   // the latest deferred check of a path
    QStringList filepathSavedList;                        // put back on the watcher after a save
    QStringList reloadingFilepaths;
    // Where the user was in a table being reloaded: put back once it is read.
    struct ReloadPlace {
        int vertical = 0;
        int horizontal = 0;
        int row = -1;
        int col = -1;
    };
    std::map<QString, ReloadPlace> reloadPlaces;
    bool saveInProgress = false;

    QLabel* tableSizeLabel = nullptr;
    QLabel* selectionSizeLabel = nullptr;
    QLabel* cellLengthLabel = nullptr;
    QLabel* statsLabel = nullptr;
    QTimer* statsTimer = nullptr;
    std::shared_ptr<SelectionStats> statsRun;
    QPointer<TableModel> statsModel;
    void onStatsTimeout();
    QLabel* delimiterLabel = nullptr;
    QLabel* encodingLabel = nullptr;
    QLabel* lineEndingLabel = nullptr;
    QLabel* modeLabel = nullptr;
    // Filters: the label, and the row or column a filter prompt works on.
    QLabel* filtersLabel = nullptr;
    FilterData pendingFilter;
    bool pendingFilterRegex = false;
    std::map<TableView*, std::vector<FilterData>> retainedFilters;
    // The last row sort and column sort of a table being reloaded with the retain setting on.
    std::map<TableView*, std::pair<SortData, SortData>> retainedSorts;

    QString defaultOpenFolderpath;
    QStringList sidebarFolderpathList;
    QStringList recentFilepathList;
    PaneVisibility paneVisibility;
    int sidebarShowWidth = kDefaultSidebarWidth;
    int editorPaneShowHeight = 200;
    bool useThousandsSeparators = true;
    bool hideColsWithNoData = false;
    bool excludeEmptyCells = false;
    ImportDefaults importDefaults;
    PrintSettings printSettings;
};
