#include "convert/fileimportwidget.h"

#include "convert/documenthighlighter.h"
#include "preferences/theme.h"

#include <QDir>
#include <QFontDatabase>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>

namespace {

const QString kCannotSave = QStringLiteral("(Cannot save. Invalid file type.)");

} // namespace

FileImportWidget::FileImportWidget(const NonTableFile& file, const QString& savePath,
                                   const Settings& settings, bool highlight, QWidget* parent)
    : QWidget(parent), file(file) {
    auto* form = new QFormLayout(this);
    form->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);
    auto* type = new QLabel(typeText(file.fileType), this);
    type->setObjectName(QStringLiteral("typeLabel"));
    form->addRow(QStringLiteral("Type:"), type);
    auto* source = new QLabel(sourceText(file), this);
    source->setObjectName(QStringLiteral("sourceLabel"));
    source->setTextInteractionFlags(Qt::TextSelectableByMouse);
    source->setWordWrap(true);
    form->addRow(QStringLiteral("Source:"), source);
    saveEdit = new QLineEdit(this);
    saveEdit->setObjectName(QStringLiteral("saveFileEdit"));
    if (isImportable()) {
        saveEdit->setText(QDir::toNativeSeparators(savePath));
    } else {
        saveEdit->setText(kCannotSave);
        saveEdit->setEnabled(false);
    }
    // Only what the user types makes the target their own.
    connect(saveEdit, &QLineEdit::textEdited, this, [this] { edited = true; });
    form->addRow(QStringLiteral("Save To:"), saveEdit);
    contents = new QPlainTextEdit(this);
    contents->setObjectName(QStringLiteral("contentsEdit"));
    contents->setReadOnly(true);
    contents->setLineWrapMode(QPlainTextEdit::NoWrap);
    QFont font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    font.setPointSize(settings.getFont().pointSize() > 0 ? settings.getFont().pointSize() : font.pointSize());
    contents->setFont(font);
    if (highlight && isImportable())
        highlighter = new DocumentHighlighter(contents->document(), file.fileType);
    setTheme(settings.getTheme());
    contents->setPlainText(file.truncated
                               ? file.contents.left(kImportPreviewChars) + QStringLiteral("\n(truncated)")
                               : file.contents);
    form->addRow(QStringLiteral("Contents:"), contents);
}

QString FileImportWidget::typeText(FileType type) {
    switch (type) {
    case FILE_TYPE_JSON:
        return QStringLiteral("JSON");
    case FILE_TYPE_XML:
        return QStringLiteral("XML");
    default:
        return QStringLiteral("Not JSON or XML. Cannot import.");
    }
}

QString FileImportWidget::sourceText(const NonTableFile& file) {
    switch (file.sourceType) {
    case SOURCE_LOCAL_FILE:
        return QStringLiteral("%1 (Local File)").arg(QDir::toNativeSeparators(file.source));
    case SOURCE_URL:
        return QStringLiteral("%1 (URL)").arg(file.source);
    default:
        return QStringLiteral("Clipboard");
    }
}

QString FileImportWidget::getSaveFilepath() const {
    return isImportable() ? QDir::fromNativeSeparators(saveEdit->text().trimmed()) : QString();
}

void FileImportWidget::setInitialSaveFilepath(const QString& path) {
    if (edited || !isImportable())
        return;
    saveEdit->setText(QDir::toNativeSeparators(path));
}

void FileImportWidget::focusAndSelectFileEdit() {
    saveEdit->setFocus(Qt::OtherFocusReason);
    saveEdit->selectAll();
}

void FileImportWidget::setTheme(const Theme& theme) {
    if (!highlighter)
        return;
    DocumentHighlighter::Colors colors;
    colors.key = theme.LinkColor;
    colors.string = theme.HighlightedCellTextColor;
    colors.number = theme.HistogramBarColor;
    colors.word = theme.SelectedTextColor;
    colors.comment = theme.DisabledTextColor;
    highlighter->setColors(colors);
}
