#include "panes/filemetadatawidget.h"

#include "table/tablemodel.h"
#include "util/fileparameterutilities.h"
#include "view/tableview.h"
#include "window/commands.h"

#include <QAction>
#include <QDir>
#include <QFileInfo>
#include <QGridLayout>
#include <QLabel>
#include <QLocale>
#include <QPushButton>
#include <QVBoxLayout>

FileMetadataWidget::FileMetadataWidget(QWidget* parent) : QWidget(parent) {
    setObjectName(QStringLiteral("fileMetadata"));
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(12, 10, 12, 10);
    layout->setSpacing(8);
    title = new QLabel(this);
    QFont titleFont = title->font();
    titleFont.setBold(true);
    titleFont.setPointSizeF(titleFont.pointSizeF() * 1.25);
    title->setFont(titleFont);
    title->setWordWrap(true);
    title->setTextInteractionFlags(Qt::TextSelectableByMouse);
    layout->addWidget(title);

    grid = new QGridLayout;
    grid->setHorizontalSpacing(10);
    grid->setVerticalSpacing(6);
    grid->setColumnStretch(1, 1);
    layout->addLayout(grid);
    layout->addStretch(1);

    addRow(Field::Folder, tr("Folder"));
    addRow(Field::Size, tr("Size"));
    addRow(Field::Modified, tr("Modified"));
    addRow(Field::Created, tr("Created"));
    addRow(Field::Mode, tr("Mode"), true);
    addRow(Field::Delimiter, tr("Delimiter"), true);
    addRow(Field::LineEnding, tr("Line Ending"), true);
    addRow(Field::Encoding, tr("Encoding"), true);
    addRow(Field::Standard, tr("Parsing Standard"), true);
    addRow(Field::Rows, tr("Rows"));
    addRow(Field::Columns, tr("Columns"));
    setTable(nullptr);
}

void FileMetadataWidget::addRow(Field field, const QString& text, bool changeable) {
    const int row = grid->rowCount();
    auto* name = new QLabel(text, this);
    name->setAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    auto* value = new QLabel(this);
    value->setWordWrap(true);
    value->setTextInteractionFlags(Qt::TextSelectableByMouse);
    // A long path wraps anywhere rather than widening the pane.
    value->setMinimumWidth(1);
    grid->addWidget(name, row, 0);
    // A value without a button takes the button's column too.
    grid->addWidget(value, row, 1, 1, changeable ? 1 : 2);
    titles[field] = name;
    values[field] = value;
    if (changeable) {
        auto* button = new QPushButton(tr("Change"), this);
        button->setFocusPolicy(Qt::NoFocus);
        button->setEnabled(false);
        grid->addWidget(button, row, 2);
        buttons[field] = button;
        connect(button, &QPushButton::clicked, this, [this, field] {
            const auto it = actions.find(field);
            if (it != actions.end() && it->second && it->second->isEnabled())
                it->second->trigger();
        });
    }
}

void FileMetadataWidget::setupActions(const Commands& commands) {
    const std::pair<Field, const Command*> links[] = {
        {Field::Mode, &commands.toggleReadOnly},
        {Field::Delimiter, &commands.setDelimiterForFileSave},
        {Field::LineEnding, &commands.setLineEndingForFileSave},
        {Field::Encoding, &commands.setEncodingForFileSave},
        {Field::Standard, &commands.setParsingStandardForFileSave}};
    for (const auto& [field, command] : links) {
        QAction* action = command->action;
        actions[field] = action;
        QPushButton* button = buttons[field];
        button->setToolTip(command->name);
        if (!action) {
            button->setEnabled(false);
            continue;
        }
        // The button is greyed exactly when its command is.
        button->setEnabled(action->isEnabled());
        connect(action, &QAction::changed, button,
                [button, action] { button->setEnabled(action->isEnabled()); });
    }
}

QString FileMetadataWidget::sizeText(qint64 bytes) {
    const QLocale locale;
    if (bytes < 1024)
        return bytes == 1 ? tr("1 byte") : tr("%L1 bytes").arg(bytes);
    return tr("%1 (%L2 bytes)").arg(locale.formattedDataSize(bytes, 1, QLocale::DataSizeSIFormat)).arg(bytes);
}

void FileMetadataWidget::setField(Field field, const QString& text) {
    values[field]->setText(text);
    values[field]->setToolTip(text.size() > 40 ? text : QString());
}

void FileMetadataWidget::setTable(const TableView* table) {
    view = table;
    refresh();
}

void FileMetadataWidget::refresh() {
    const TableModel* model = view ? view->tableModel() : nullptr;
    const bool hasTable = model != nullptr;
    for (auto& [field, label] : titles) {
        label->setVisible(hasTable);
        values[field]->setVisible(hasTable);
    }
    for (auto& [field, button] : buttons)
        button->setVisible(hasTable);
    if (!hasTable) {
        title->setText(tr("No table is open."));
        return;
    }
    const TableData& data = model->getTableData();
    const QString path = data.getFilepath();
    const QString name = model->getTableName().isEmpty() ? QStringLiteral("untitled") : model->getTableName();
    title->setText(name);
    const QFileInfo info(path);
    const bool onDisk = !path.isEmpty() && info.exists();
    const QLocale locale;
    setField(Field::Folder,
             path.isEmpty() ? tr("Not saved yet") : QDir::toNativeSeparators(info.absolutePath()));
    setField(Field::Size, onDisk ? sizeText(info.size()) : tr("Not saved yet"));
    setField(Field::Modified,
             onDisk ? locale.toString(info.lastModified(), QLocale::ShortFormat) : QString());
    const QDateTime born = onDisk ? info.birthTime() : QDateTime();
    setField(Field::Created, born.isValid() ? locale.toString(born, QLocale::ShortFormat) : QString());
    // Dates that the file system doesn't keep take no room.
    for (const Field field : {Field::Modified, Field::Created}) {
        const bool shown = !values[field]->text().isEmpty();
        titles[field]->setVisible(shown);
        values[field]->setVisible(shown);
    }

    setField(Field::Mode, view->isReadOnly() ? tr("Read-Only") : tr("Editable"));
    const QString load = Utilities::convertDelimiterFromActualToShortReadable(data.getDelimiterText());
    const QString save = Utilities::convertDelimiterFromActualToShortReadable(data.getSaveDelimiterText());
    setField(Field::Delimiter, load == save || data.getSaveDelimiterText().isEmpty()
                                   ? load
                                   : tr("%1 (read), %2 (written)").arg(load, save));
    setField(Field::LineEnding, Utilities::convertLineEndingTypeToShortString(data.getLineEnding(), false));
    setField(Field::Encoding, Utilities::convertEncodingTypeToString(data.getEncoding()));
    setField(Field::Standard, Utilities::convertParsingStandardToString(data.getParsingStandard()));
    refreshTableSize();
}

void FileMetadataWidget::refreshTableSize() {
    const TableModel* model = view ? view->tableModel() : nullptr;
    if (!model)
        return;
    setField(Field::Rows, QStringLiteral("%L1").arg(model->rowCountRaw()));
    setField(Field::Columns, QStringLiteral("%L1").arg(model->columnCountRaw()));
}

QString FileMetadataWidget::titleText() const {
    return title->text();
}

QString FileMetadataWidget::fieldText(Field field) const {
    const auto it = values.find(field);
    return it == values.end() || !it->second->isVisibleTo(this) ? QString() : it->second->text();
}

QPushButton* FileMetadataWidget::changeButton(Field field) const {
    const auto it = buttons.find(field);
    return it == buttons.end() ? nullptr : it->second;
}
