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
    contents->setPlainText(previewText(file));
    form->addRow(QStringLiteral("Contents:"), contents);
}

QString FileImportWidget::previewText(const NonTableFile& file) {
    const QStringView shown =
        file.truncated ? QStringView(file.contents).left(kImportPreviewChars) : QStringView(file.contents);
    // A document written on one line (as most JSON from the web is) would be one line of half a
    // million characters, which the text view takes seconds to lay out and colour. It is cut
    // after a comma or the end of a tag near the limit where there is one, so that a record starts
    // a line, else at the limit.
    QString text;
    text.reserve(shown.size() + shown.size() / kPreviewLineChars + 16);
    qsizetype lineStart = 0;
    while (lineStart < shown.size()) {
        qsizetype end = shown.indexOf(u'\n', lineStart);
        if (end < 0)
            end = shown.size();
        qsizetype at = lineStart;
        while (end - at > kPreviewLineChars) {
            qsizetype cut = at + kPreviewLineChars;
            for (qsizetype i = cut; i > at + kPreviewLineChars / 2; --i) {
                const QChar before = shown.at(i - 1);
                if (before == u',' || before == u'>') {
                    cut = i;
                    break;
                }
            }
            text += shown.mid(at, cut - at);
            text += u'\n';
            at = cut;
        }
        text += shown.mid(at, end - at);
        if (end < shown.size())
            text += u'\n';
        lineStart = end + 1;
    }
    if (file.truncated)
        text += QStringLiteral("\n(truncated)");
    return text;
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
