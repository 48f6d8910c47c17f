#pragma once

#include "convert/nontablefile.h"
#include "preferences/settings.h"
#include "storage/fileparameters.h"

#include <QByteArray>
#include <QList>
#include <QNetworkReply>
#include <QPointer>
#include <QString>
#include <QWidget>

#include <memory>
#include <vector>

class FileImportWidget;
class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QNetworkAccessManager;
class QPushButton;
class QStackedWidget;
class QTabWidget;
class TableModel;

// Gathers JSON and XML sources (local files and drops, the clipboard, a URL), one tab each,
// shows what each holds, and turns them into table files with the parameters and targets set
// here. Also holds the type test that the main window puts every opened file through.
class ImportWindow : public QWidget {
    Q_OBJECT

public:
    // The preview shows this many characters of a source at most; the conversion reads all.
    static constexpr qsizetype kPreviewChars = kImportPreviewChars;
    // The type test of a file reads this many bytes.
    static constexpr qint64 kTypeSampleBytes = 200;

    ImportWindow(const Settings& settings, const QString& startFolder, std::vector<ExtensionData> extensions,
                 QWidget* parent = nullptr);
    ~ImportWindow() override;

    void propagateSettings(const Settings& newSettings);
    void setTheme(const Theme& theme);
    void setDefaultOptions(const ExtensionData& data, bool saveLocalInOriginatingDir,
                           bool openFilesAfterImport, bool preserveStructure);

    // What a document is: JSON or XML by the file's suffix, else by the start of its text.
    static FileType getFileType(const QString& path);
    static FileType getFileType(const QString& path, const QString& contents);
    static FileType getFileTypeFromString(const QString& text);
    static QString fileTypeWord(FileType type);

    // A tab for each file that can be read; false when it can't.
    bool openFile(const QString& path);
    // The same, naming the files that can't be read in one message.
    void openFiles(const QList<QString>& paths);
    void openLocalFilesQuery();
    void openByClipboardContents();
    void openUrlDialog();
    void openUrl(const QString& url);
    FileImportWidget* createTab(const QString& contents, SourceType type, const QString& source,
                                bool truncated);

    // Converts every tab that holds JSON or XML into its target, after asking about targets that
    // exist; false when nothing was done (the question answered no, or Cancel).
    bool importFiles();
    ExtensionData getFileParameters() const;
    ExtensionData getExtensionData() const { return getFileParameters(); }
    QString getSaveFolderpath(const NonTableFile& file) const;
    QString getInitialSaveFilepath(const NonTableFile& file) const;
    bool getSaveLocalToOriginating() const;
    bool getOpenFilesAfterImporting() const;
    bool getPreserveStructure() const;
    void setSaveFolder(const QString& folder);

    int numTabs() const;
    FileImportWidget* tabAt(int index) const;
    QTabWidget* getTabWidget() const { return tabs; }
    bool isFetching() const { return !reply.isNull(); }
    // While an import runs the window stays; Cancel (or cancelImport) stops it.
    bool isImporting() const { return importing; }
    void cancelImport();
    // The sentence for a network error, and the error's own name.
    static QString networkErrorText(QNetworkReply::NetworkError error);
    static QString networkErrorName(QNetworkReply::NetworkError error);

signals:
    void filesImportedSignal(QList<QString> paths, ExtensionData parameters);
    void importWindowClosingSignal();
    // A fetch from a URL ended, with a tab or with its error told.
    void urlFetchedSignal();

protected:
    void closeEvent(QCloseEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragMoveEvent(QDragMoveEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    void setup();
    void fillParameterCombos(const ExtensionData& data);
    void onExtensionComboChanged();
    void onSaveDirChanged();
    void updatePathFieldDisplay();
    void onReplyReadyRead();
    void onReplyFinished();
    void onNetworkError(QNetworkReply::NetworkError error);
    void closeTab(int index);
    void announceClosing();
    int findTab(const QString& key) const;

    Settings settings;
    std::vector<ExtensionData> extensions;
    QTabWidget* tabs = nullptr;
    QStackedWidget* sourceStack = nullptr;
    QLabel* fetchLabel = nullptr;
    QComboBox* extensionCombo = nullptr;
    QComboBox* delimiterCombo = nullptr;
    QComboBox* lineEndingCombo = nullptr;
    QComboBox* encodingCombo = nullptr;
    QComboBox* standardCombo = nullptr;
    QLineEdit* folderEdit = nullptr;
    QCheckBox* saveLocalCheck = nullptr;
    QCheckBox* openAfterCheck = nullptr;
    QCheckBox* preserveCheck = nullptr;
    QPushButton* importButton = nullptr;
    QNetworkAccessManager* network = nullptr;
    QPointer<QNetworkReply> reply;
    QByteArray received;
    bool networkErrorShown = false;
    bool closingAnnounced = false;
    bool importing = false;
    // Carries the conversion to a worker thread with the progress dialog of long table work.
    std::unique_ptr<TableModel> workHost;
};
