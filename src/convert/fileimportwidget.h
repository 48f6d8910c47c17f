#pragma once

#include "convert/nontablefile.h"
#include "preferences/settings.h"

#include <QWidget>

class DocumentHighlighter;
class QLineEdit;
class QPlainTextEdit;

// One tab of the import window: what a source is, where it came from, the file it becomes, and
// its text.
class FileImportWidget : public QWidget {
    Q_OBJECT

public:
    // `highlight` colours the text as its type's syntax.
    FileImportWidget(const NonTableFile& file, const QString& savePath, const Settings& settings,
                     bool highlight, QWidget* parent = nullptr);

    const NonTableFile& getFile() const { return file; }
    bool isImportable() const { return file.fileType == FILE_TYPE_JSON || file.fileType == FILE_TYPE_XML; }
    QString getSaveFilepath() const;
    // A target the user typed stays; otherwise the one computed now replaces it.
    void setInitialSaveFilepath(const QString& path);
    bool isSaveFilepathEdited() const { return edited; }
    void focusAndSelectFileEdit();
    void setTheme(const Theme& theme);

    static QString typeText(FileType type);
    // The text the tab shows: the source's start, with lines longer than `kPreviewLineChars` shown
    // in pieces. The import itself reads the source as it is.
    static QString previewText(const NonTableFile& file);
    static constexpr qsizetype kPreviewLineChars = 1000;
    static QString sourceText(const NonTableFile& file);

    QLineEdit* getSaveFileEdit() const { return saveEdit; }
    QPlainTextEdit* getContentsEdit() const { return contents; }

private:
    NonTableFile file;
    QLineEdit* saveEdit = nullptr;
    QPlainTextEdit* contents = nullptr;
    DocumentHighlighter* highlighter = nullptr;
    bool edited = false;
};
