#include "window/fileextensionswidget.h"

#include "preferences/defaultextensions.h"
#include "preferences/preferencefiles.h"
#include "table/tablemodel.h"
#include "util/fileparameterutilities.h"

#include <QComboBox>
#include <QFileInfo>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QTableWidget>
#include <QVBoxLayout>

#include <memory>

namespace {

const QString kPlatform = QStringLiteral("(platform)");
const QString kRecordSeparator = QStringLiteral("Record Separator");
const QString kUnitSeparator = QStringLiteral("Unit Separator");
const QString kAscii = QStringLiteral("ASCII Separated Values");

QStringList extensionOptions() {
    return {QStringLiteral("csv"), QStringLiteral("tsv"), QStringLiteral("tab"), QStringLiteral("dsv"),
            QStringLiteral("psv")};
}

QStringList delimiterOptions() {
    return {QStringLiteral("(auto)"), QStringLiteral(","),     QStringLiteral("tab"),    QStringLiteral(";"),
            QStringLiteral("|"),      QStringLiteral("space"), QStringLiteral("(none)"), kUnitSeparator};
}

QStringList lineEndingOptions() {
    return {kPlatform, QStringLiteral("Windows (CR LF)"), QStringLiteral("Mac/Linux (LF)"), kRecordSeparator};
}

QStringList encodingOptions() {
    QStringList names;
    for (int type = 0; type < kNumEncodingTypes; ++type) {
        const QString name = Utilities::convertEncodingTypeToString(static_cast<EncodingType>(type));
        if (!names.contains(name))
            names.append(name);
    }
    return names;
}

QStringList standardOptions() {
    return {QStringLiteral("RFC 4180"), QStringLiteral("Delimiter Only"), QStringLiteral("All Quotes"),
            QStringLiteral("Sparse Quotes"), kAscii};
}

QString lineEndingWidgetText(LineEndingType type) {
    switch (type) {
    case LINE_ENDING_WINDOWS:
        return QStringLiteral("Windows (CR LF)");
    case LINE_ENDING_RECORD_SEPARATOR:
        return kRecordSeparator;
    default:
        return QStringLiteral("Mac/Linux (LF)");
    }
}

QStringList valuesOf(const ExtensionData& data) {
    return {data.extension, PreferenceFiles::convertDelimiterToUserString(data.delimiter),
            lineEndingWidgetText(data.lineEnding), Utilities::convertEncodingTypeToString(data.encoding),
            Utilities::convertParsingStandardToString(data.parsingStandard)};
}

} // namespace

FileExtensionsWidget::FileExtensionsWidget(const std::vector<ExtensionData>& extensions, QWidget* parent)
    : QWidget(parent) {
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(new QLabel(
        tr("<b>File Extension Parameters</b><br>Set the parameters for various file extensions below."),
        this));
    table = new QTableWidget(0, 7, this);
    table->setHorizontalHeaderLabels({tr("Extension"), tr("Delimiter"), tr("Line Ending"), tr("Encoding"),
                                      tr("Parsing Standard"), QString(), QString()});
    table->verticalHeader()->hide();
    table->setSelectionMode(QAbstractItemView::NoSelection);
    table->setColumnWidth(LineEndingCol, 150);
    table->setColumnWidth(EncodingCol, 150);
    table->setColumnWidth(StandardCol, 190);
    for (const ExtensionData& data : extensions)
        addRow(valuesOf(data));
    addEmptyRow();
    layout->addWidget(table, 1);
    auto* restore = new QPushButton(tr("Restore Default Parameters"), this);
    connect(restore, &QPushButton::clicked, this, &FileExtensionsWidget::restoreDefaults);
    layout->addWidget(restore, 0, Qt::AlignLeft);
}

QStringList FileExtensionsWidget::getDefaultValues(const QString& extension) {
    const QString key = extension.trimmed().toLower();
    for (const ExtensionData& data : PreferenceFiles::getDefaultExtensions()) {
        if (data.extension == key)
            return {key, PreferenceFiles::convertDelimiterToUserString(data.delimiter),
                    QStringLiteral("Mac/Linux (LF)"), QStringLiteral("UTF-8"), QStringLiteral("RFC 4180")};
    }
    return {};
}

QString FileExtensionsWidget::convertLineEndingWidgetToFileString(const QString& text) {
    if (text.contains(QLatin1String("platform")))
        return kPlatform;
    return Utilities::convertLineEndingTypeToShortString(Utilities::convertLineEndingStringToType(text),
                                                         false);
}

int FileExtensionsWidget::rowCount() const {
    return table->rowCount();
}

QComboBox* FileExtensionsWidget::combo(int row, Column col) const {
    return qobject_cast<QComboBox*>(table->cellWidget(row, col));
}

void FileExtensionsWidget::addEmptyRow() {
    addRow({QString(), QStringLiteral("(auto)"), kPlatform, QStringLiteral("UTF-8"),
            QStringLiteral("RFC 4180")});
    combo(rowCount() - 1, ExtensionCol)->setEditText(QString());
}

void FileExtensionsWidget::addRow(const QStringList& values) {
    const int row = table->rowCount();
    table->insertRow(row);
    const std::vector<std::pair<QStringList, bool>> choices{{extensionOptions(), true},
                                                            {delimiterOptions(), true},
                                                            {lineEndingOptions(), false},
                                                            {encodingOptions(), false},
                                                            {standardOptions(), false}};
    for (int col = 0; col < static_cast<int>(choices.size()); ++col) {
        auto* box = new QComboBox(table);
        box->addItems(choices[static_cast<std::size_t>(col)].first);
        box->setEditable(choices[static_cast<std::size_t>(col)].second);
        table->setCellWidget(row, col, box);
        connect(box, &QComboBox::currentTextChanged, this, [this, box, col] {
            for (int r = 0; r < table->rowCount(); ++r) {
                if (table->cellWidget(r, col) == box)
                    onRowEdited(r, static_cast<Column>(col));
            }
        });
    }
    auto* reset = new QPushButton(tr("Default"), table);
    auto* clear = new QPushButton(QStringLiteral("X"), table);
    clear->setToolTip(tr("Clear"));
    table->setCellWidget(row, DefaultCol, reset);
    table->setCellWidget(row, ClearCol, clear);
    connect(reset, &QPushButton::clicked, this, [this, reset] {
        for (int r = 0; r < table->rowCount(); ++r) {
            if (table->cellWidget(r, DefaultCol) != reset)
                continue;
            QStringList values = getDefaultValues(combo(r, ExtensionCol)->currentText());
            if (values.isEmpty())
                values = {combo(r, ExtensionCol)->currentText(), QStringLiteral(","), kPlatform,
                          QStringLiteral("UTF-8"), QStringLiteral("RFC 4180")};
            setRow(r, values);
            emit updateSignal();
        }
    });
    connect(clear, &QPushButton::clicked, this, [this, clear] {
        for (int r = 0; r < table->rowCount(); ++r) {
            if (table->cellWidget(r, ClearCol) == clear && r < table->rowCount() - 1) {
                table->removeRow(r);
                emit updateSignal();
                return;
            }
        }
    });
    setRow(row, values);
}

void FileExtensionsWidget::setRow(int row, const QStringList& values) {
    filling = true;
    for (int col = 0; col < values.size() && col <= StandardCol; ++col) {
        QComboBox* box = combo(row, static_cast<Column>(col));
        QString text = values.at(col);
        if (col == LineEndingCol && text.compare(QLatin1String("Unix"), Qt::CaseInsensitive) == 0)
            text = QStringLiteral("Mac/Linux (LF)");
        else if (col == LineEndingCol && text.compare(QLatin1String("Windows"), Qt::CaseInsensitive) == 0)
            text = QStringLiteral("Windows (CR LF)");
        const int index = box->findText(text, Qt::MatchFixedString);
        if (index >= 0)
            box->setCurrentIndex(index);
        else if (box->isEditable())
            box->setEditText(text);
    }
    filling = false;
}

void FileExtensionsWidget::setAsciiSeparatedValues(int row, bool on) {
    filling = true;
    combo(row, DelimiterCol)->setCurrentText(on ? kUnitSeparator : QStringLiteral(","));
    combo(row, LineEndingCol)->setCurrentText(on ? kRecordSeparator : kPlatform);
    combo(row, StandardCol)->setCurrentText(on ? kAscii : QStringLiteral("RFC 4180"));
    filling = false;
}

void FileExtensionsWidget::onRowEdited(int row, Column col) {
    if (filling)
        return;
    const bool ascii = col == DelimiterCol    ? combo(row, col)->currentText() == kUnitSeparator
                       : col == LineEndingCol ? combo(row, col)->currentText() == kRecordSeparator
                       : col == StandardCol   ? combo(row, col)->currentText() == kAscii
                                              : false;
    if (col != ExtensionCol && col != EncodingCol) {
        const bool wasAscii = combo(row, StandardCol)->currentText() == kAscii ||
                              combo(row, DelimiterCol)->currentText() == kUnitSeparator ||
                              combo(row, LineEndingCol)->currentText() == kRecordSeparator;
        if (ascii)
            setAsciiSeparatedValues(row, true);
        else if (wasAscii)
            setAsciiSeparatedValues(row, false);
    }
    // Typing into the empty last row makes it a row: another empty one follows.
    if (row == rowCount() - 1 && col == ExtensionCol && !combo(row, col)->currentText().trimmed().isEmpty())
        addEmptyRow();
    emit updateSignal();
}

void FileExtensionsWidget::restoreDefaults() {
    while (table->rowCount() > 0)
        table->removeRow(0);
    for (const ExtensionData& data : PreferenceFiles::getDefaultExtensions())
        addRow(getDefaultValues(data.extension));
    addEmptyRow();
    emit updateSignal();
}

std::vector<QStringList> FileExtensionsWidget::rowTexts() const {
    std::vector<QStringList> rows;
    for (int row = 0; row < rowCount() - 1; ++row) {
        const QString extension = combo(row, ExtensionCol)->currentText().trimmed().toLower();
        if (extension.isEmpty())
            continue;
        rows.push_back(
            {extension,
             PreferenceFiles::convertDelimiterToUserString(combo(row, DelimiterCol)->currentText()),
             convertLineEndingWidgetToFileString(combo(row, LineEndingCol)->currentText()),
             combo(row, EncodingCol)->currentText(), combo(row, StandardCol)->currentText()});
    }
    return rows;
}

bool FileExtensionsWidget::apply() {
    const QString path = Utilities::getExtensionsFilepath();
    if (!QFileInfo::exists(path))
        emit makeExtensionsFileSignal();
    auto model = std::make_unique<TableModel>(false);
    int headerRow = -1;
    std::vector<int> cols;
    const std::vector<QString>& names = PreferenceFiles::extensionsHeader();
    const auto found = [&] {
        return PreferenceFiles::loadTable(*model, path) &&
               PreferenceFiles::findHeader(*model, names, static_cast<int>(names.size()), headerRow, cols);
    };
    if (!found()) {
        // No table to merge into: the file is made from the tab alone.
        PreferenceFiles::makeExtensionsFile(std::vector<ExtensionData>(), path);
        model = std::make_unique<TableModel>(false);
        if (!found())
            return false;
    }
    TableData& data = model->getTableData();
    // Each extension overwrites its row or gets a new one; rows the tab lacks stay, as the
    // user's own notes do.
    for (const QStringList& values : rowTexts()) {
        int target = -1;
        const int rows = data.numModelRows();
        for (int row = headerRow + 1; row < rows && target < 0; ++row) {
            if (data.getValueModel(row, cols[0]).toString().trimmed().toLower() == values.at(0))
                target = row;
        }
        if (target < 0)
            target = rows;
        for (int i = 0; i < values.size(); ++i)
            data.setValueModel(target, cols[static_cast<std::size_t>(i)], values.at(i));
    }
    return model->saveCSV(path, false, false);
}
