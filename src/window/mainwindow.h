#pragma once

#include "app/configdata.h"
#include "preferences/settings.h"
#include "preferences/theme.h"
#include "storage/fileparameters.h"
#include "table/range.h"
#include "table/rangetypes.h"

#include <QDateTime>
#include <QList>
#include <QMainWindow>
#include <QString>
#include <QStringList>

#include <map>
#include <vector>

class EditableDataContainer;
class PaneView;
class QFileSystemWatcher;
class QLabel;
class QScrollArea;
class QSplitter;
class QVariantAnimation;
class TableDelegate;
class TableModel;
class TableView;

// One top-level window of the program: the pane of open tables, the places of the side bar,
// the metadata pane and the find area, the status bar, and every path by which a file becomes
// a table and a table goes back to a file.
//
// Implementation by topic: mainwindow.cpp (structure, status bar, panes, settings, events),
// mainwindow_file.cpp (open, save, close, reload), mainwindow_fileops.cpp (rename, move,
// duplicate, delete, recent files, watcher records).
class MainWindow : public QMainWindow {
    Q_OBJECT

public:
    // Bits of the window's context: what is true now.
    static constexpr quint32 ContextTable = 1; // an active table that is not loading
    static constexpr quint32 ContextFocus = 4;
    static constexpr quint32 ContextEditing = 8;
    static constexpr quint32 ContextEditorPaneShown = 16;
    static constexpr quint32 ContextMultiSelection = 32;
    static constexpr quint32 ContextFileExists = 128;
    static constexpr quint32 ContextLauncher = 256;
    static constexpr quint32 ContextFind = 512;
    static constexpr quint32 ContextReadOnly = 0x20000;
    // Bits that belong to a table and travel with it when the active table changes.
    static constexpr quint32 TableContextBits = ContextEditing | ContextMultiSelection | ContextReadOnly;
    static constexpr int kPaneAnimationMs = 125;
    static constexpr int kDefaultSidebarWidth = 300;

    explicit MainWindow(QWidget* parent = nullptr, Qt::WindowFlags flags = {});
    ~MainWindow() override;

    // --- Tables (mainwindow_file.cpp) -----------------------------------------------------
    TableView* makeEmptyTableObject(const Settings& tableSettings);
    TableView* addEmptyTableEditor();
    void addTableEditorFromView(TableView* view, bool readOnly);
    TableView* addTableEditorFromFile(const QString& path, bool readOnly, bool isPreference);
    TableView* addTableEditorFromFile(const QString& path, bool readOnly, const ExtensionData& parameters);
    void setActiveTable(TableView* view);
    TableView* getActiveTable() const { return activeTable; }
    TableView* getTableView(const QString& path) const;
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

    // --- Saving and closing (mainwindow_file.cpp) ------------------------------------------
    bool saveFile(TableView* view);
    bool saveFileAs(TableView* view, bool visibleDataOnly);
    bool closeFile(TableView* view);
    bool closeFile(const QString& path);
    bool closeFileNoSave(TableView* view);
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
    quint32 getContext() const { return context; }
    const QStringList& getRecentFilepaths() const { return recentFilepathList; }
    const QStringList& getPreferenceFilepaths() const { return preferenceFilepaths; }
    Settings& getSettings() { return settings; }
    QStringList getWatchedFiles() const;

    // --- Status bar -----------------------------------------------------------------------
    static QString tableSizeText(int rawRows, int rawCols, int modelRows, int modelCols);
    static QString selectionSizeText(const RangeSize& size);
    QString getTableSizeLabelText() const;
    QString getModeLabelText() const;
    QString getEncodingLabelText() const;
    QString getDelimiterLabelText() const;
    QString getSelectionLabelText() const;
    QString getCellLengthLabelText() const;
    void updateStatusBar();
    void updateWindowTitle();

    // --- Panes ------------------------------------------------------------------------------
    void showTabBar(bool show, bool animate = false);
    void showSideBar(bool show, bool animate = false);
    void showMetadata(bool show, bool animate = false);
    void showEditorPane(bool show, bool animate = false);
    void showSideBarOpenFiles(bool show) { paneVisibility.showSideBarOpenFiles = show; }
    void showSideBarFolders(bool show) { paneVisibility.showSideBarFolders = show; }
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

    // --- What "Orvane.ini" restores ---------------------------------------------------------
    void setDefaultOpenFolderpath(const QString& path) { defaultOpenFolderpath = path; }
    void setSidebarTopFolderpathList(const QStringList& list) { sidebarFolderpathList = list; }
    void setRecentFiles(const QList<QString>& list) { recentFilepathList = list; }
    void setSidebarShowWidth(int width) { sidebarShowWidth = width; }
    void setMetadataShowWidth(int width) { metadataShowWidth = width; }
    void setEditorPaneShowHeight(int height);
    void setUseThousandsSeparators(bool on) { useThousandsSeparators = on; }
    void setHideColsWithNoData(bool on) { hideColsWithNoData = on; }
    void setExcludeEmptyCells(bool on) { excludeEmptyCells = on; }
    void setImportDefaults(const ExtensionData& extensionData, bool saveLocalInOriginatingDir,
                           bool openFilesAfterImport, bool preserveStructure);
    void setPrintSettings(const PrintSettings& settings) { printSettings = settings; }

    ConfigData makeConfigData() const;
    // Hands the window's state to Application for writing.
    void updateConfigFile();

public slots:
    // File commands; an empty path means the active table, an unknown one does nothing.
    bool commandSaveFile(const QString& path = QString());
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

    void onTableSizeChanged(int rawRows, int rawCols, int modelRows, int modelCols);
    void onSelectionSizeChanged(const RangeSize& size);
    void onMainCellLengthChanged(int length);
    void onLoadFinished(TableView* view);
    void onUndoStackCleanChanged(bool clean);
    void addContext(quint32 bits);
    void removeContext(quint32 bits);
    void setContext(quint32 bits);

signals:
    void updateConfigFileSignal(ConfigData data);
    void openTerminalToFilesDirectorySignal(QString path);
    void showFileInFileSystemSignal(QString path);
    void createNewInstanceSignal(bool newWindowFromOutside, QStringList filepaths);
    void mainWindowClosedSignal();
    void mainWindowFocusChangedSignal();
    void setThemeSignal(Theme theme);

protected:
    void closeEvent(QCloseEvent* event) override;
    void changeEvent(QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragMoveEvent(QDragMoveEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    enum class Pane { TabBar, SideBar, Metadata };

    void setupLayout();
    void setupStatusBar();
    void setupAnimations();
    TableView* resolveTable(const QString& path) const;
    bool isPreferencePath(const QString& path) const;
    // The large-file question: 0 read-only, 1 edit mode, 2 cancel.
    int askLargeFileQuestion(qint64 sizeMiB);
    // The overwrite question: 0 overwrite, 1 don't, 2 cancel.
    int askOverwrite();
    bool openPaths(QList<QString> paths, const ExtensionData* parameters);
    void afterFirstActivation(bool activated);
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
    void watchFile(const QString& path);
    void unwatchFile(const QString& path);
    void recordWatchedFileState(const QString& path);
    void clearWatchedFileState(const QString& path);
    void movePathOfTable(const QString& oldPath, const QString& newPath);

    Settings settings;
    bool constructing = true;
    bool windowClosing = false;
    quint32 context = ContextTable | ContextFocus;
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
    QWidget* sideBar = nullptr;
    QScrollArea* metadataScrollArea = nullptr;
    QWidget* metadataPane = nullptr;
    QWidget* findArea = nullptr;
    QVariantAnimation* tabBarAnimation = nullptr;
    QVariantAnimation* sideBarAnimation = nullptr;
    QVariantAnimation* metadataAnimation = nullptr;
    int tabBarShowHeight = 28;
    int metadataShowWidth = 380;

    QFileSystemWatcher* fileWatcher = nullptr;
    QFileSystemWatcher* preferenceWatcher = nullptr;
    struct WatchedState {
        qint64 size = -1;
        QDateTime modified;
    };
    std::map<QString, WatchedState> watchedFileStates;

    QLabel* tableSizeLabel = nullptr;
    QLabel* selectionSizeLabel = nullptr;
    QLabel* cellLengthLabel = nullptr;
    QLabel* statsLabel = nullptr;
    QLabel* delimiterLabel = nullptr;
    QLabel* encodingLabel = nullptr;
    QLabel* lineEndingLabel = nullptr;
    QLabel* modeLabel = nullptr;

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
