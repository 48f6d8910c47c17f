#pragma once

#include "app/configdata.h"
#include "storage/fileparameters.h"

#include <QList>
#include <QMainWindow>
#include <QString>
#include <QStringList>

#include <memory>
#include <optional>
#include <vector>

class EditableDataContainer;
class QLabel;

// One top-level window of the program: the tables opened in it, its status bar, and what it
// remembers between runs.
class MainWindow : public QMainWindow {
    Q_OBJECT

public:
    explicit MainWindow(QWidget* parent = nullptr, Qt::WindowFlags flags = {});
    ~MainWindow() override;

    // --- Files ----------------------------------------------------------------------------
    void openFile(const QString& path);
    // Opens each path that isn't open yet and activates the first of them; true when
    // something was activated.
    bool openFiles(const QList<QString>& paths);
    // The same with the given parameters instead of the extension table's.
    bool openFiles(const QList<QString>& paths, const ExtensionData& parameters);
    void openFolder(const QString& path);

    int getNumTables() const { return static_cast<int>(tables.size()); }
    QStringList getOpenFilepaths() const;
    QString getActiveFilepath() const;
    const EditableDataContainer* getContainer(const QString& path) const;
    ExtensionData getFileParameters(const QString& path) const;
    bool isReadOnly(const QString& path) const;

    // --- File parameters --------------------------------------------------------------------
    // The extension table's row, or one with empty delimiters and default values.
    ExtensionData getExtensionDataFromFileExtension(const QString& extension) const;
    // Settles "(auto)" delimiters and an unknown byte order from the file itself; the
    // delimiters come back as the actual characters, empty for none.
    static ExtensionData findFileParameters(ExtensionData data, const QString& path);

    // --- Status bar -----------------------------------------------------------------------
    static QString tableSizeText(int rawRows, int rawCols, int modelRows, int modelCols);
    QString getTableSizeLabelText() const;
    QString getModeLabelText() const;
    QString getEncodingLabelText() const;

    // --- What "Orvane.ini" restores ---------------------------------------------------------
    void setDefaultOpenFolderpath(const QString& path) { defaultOpenFolderpath = path; }
    void setSidebarTopFolderpathList(const QStringList& list) { sidebarFolderpathList = list; }
    void setRecentFiles(const QList<QString>& list) { recentFilepathList = list; }
    void showTabBar(bool show, bool animate = false);
    void showSideBar(bool show, bool animate = false);
    void showMetadata(bool show, bool animate = false);
    void showSideBarOpenFiles(bool show) { paneVisibility.showSideBarOpenFiles = show; }
    void showSideBarFolders(bool show) { paneVisibility.showSideBarFolders = show; }
    void showEditorPane(bool show, bool animate = false);
    void setSidebarShowWidth(int width) { sidebarShowWidth = width; }
    void setEditorPaneShowHeight(int height) { editorPaneShowHeight = height; }
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
    void onTableSizeChanged(int rawRows, int rawCols, int modelRows, int modelCols);

signals:
    void updateConfigFileSignal(ConfigData data);
    void openTerminalToFilesDirectorySignal(QString path);
    void showFileInFileSystemSignal(QString path);
    void createNewInstanceSignal(bool newWindowFromOutside, QStringList filepaths);
    void mainWindowClosedSignal();
    void mainWindowFocusChangedSignal();

protected:
    void closeEvent(QCloseEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    struct OpenTable;

    int getTableIndex(const QString& path) const;
    ExtensionData extensionDataFor(const QString& path) const;
    bool openPaths(const QList<QString>& paths, const std::optional<ExtensionData>& parameters);
    int addTableEditorFromFile(const QString& path, bool readOnly, const ExtensionData& parameters);
    void setActiveTable(int index);
    void updateWindowTitle();
    void updateStatusBar();
    void setupStatusBar();

    std::vector<std::unique_ptr<OpenTable>> tables;
    int activeTable = -1;
    std::vector<ExtensionData> extensions;

    QLabel* tableSizeLabel = nullptr;
    QLabel* encodingLabel = nullptr;
    QLabel* lineEndingLabel = nullptr;
    QLabel* modeLabel = nullptr;

    QString defaultOpenFolderpath;
    QStringList sidebarFolderpathList;
    QStringList recentFilepathList;
    PaneVisibility paneVisibility;
    int sidebarShowWidth = 300;
    int editorPaneShowHeight = 200;
    bool useThousandsSeparators = true;
    bool hideColsWithNoData = false;
    bool excludeEmptyCells = false;
    ImportDefaults importDefaults;
    PrintSettings printSettings;
};
