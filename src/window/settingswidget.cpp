#include "window/settingswidget.h"

#include "preferences/preferencefiles.h"
#include "preferences/settingutilities.h"
#include "preferences/theme.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFileDialog>
#include <QFontDatabase>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSpinBox>
#include <QTableWidget>
#include <QVBoxLayout>

namespace {

QComboBox* makeCombo(const QStringList& items, bool editable, QWidget* parent) {
    auto* box = new QComboBox(parent);
    box->addItems(items);
    box->setEditable(editable);
    return box;
}

} // namespace

SettingsWidget::SettingsWidget(const Settings& current, QWidget* parent)
    : QWidget(parent), settings(current.copySettings()) {
    auto* layout = new QVBoxLayout(this);
    searchEdit = new QLineEdit(this);
    searchEdit->setPlaceholderText(tr("Search"));
    searchEdit->setClearButtonEnabled(true);
    connect(searchEdit, &QLineEdit::textChanged, this, &SettingsWidget::filter);
    layout->addWidget(searchEdit);

    auto* globalTitle =
        new QLabel(tr("<b>Global Settings</b><br>Global settings apply immediately to all files."), this);
    layout->addWidget(globalTitle);
    layout->addWidget(makeTable(Global), 3);

    auto* tableTitle =
        new QLabel(tr("<b>Default Table Settings</b><br>Default table settings apply only to newly "
                      "opened files.<br>To change settings in the current file, use the File "
                      "Metadata pane."),
                   this);
    auto* metadataButton = new QPushButton(tr("File Metadata"), this);
    connect(metadataButton, &QPushButton::clicked, this, &SettingsWidget::openFileMetadataSignal);
    auto* tableHeader = new QHBoxLayout;
    tableHeader->addWidget(tableTitle, 1);
    tableHeader->addWidget(metadataButton, 0, Qt::AlignBottom);
    layout->addLayout(tableHeader);
    layout->addWidget(makeTable(Table), 2);

    auto* restore = new QPushButton(tr("Restore Default Settings"), this);
    connect(restore, &QPushButton::clicked, this, &SettingsWidget::restoreDefaults);
    layout->addWidget(restore, 0, Qt::AlignLeft);
}

SettingsWidget::~SettingsWidget() {
    settings.clear();
}

QTableWidget* SettingsWidget::makeTable(ScopeType scope) {
    auto* table = new QTableWidget(0, 3, this);
    table->horizontalHeader()->hide();
    table->verticalHeader()->hide();
    table->setSelectionMode(QAbstractItemView::NoSelection);
    table->setFocusPolicy(Qt::NoFocus);
    table->setColumnWidth(0, 420);
    table->setColumnWidth(1, 200);
    table->horizontalHeader()->setStretchLastSection(true);
    for (Setting* s : settings.getSettings()) {
        if (!s->userEditable || s->scope != scope)
            continue;
        const int row = table->rowCount();
        table->insertRow(row);
        auto* name = new QTableWidgetItem(s->name);
        name->setFlags(Qt::ItemIsEnabled);
        table->setItem(row, 0, name);
        QWidget* widget = makeUserValueWidget(s, table);
        setUserValueText(s, widget, settings.convertValueToStringForFile(s->type));
        table->setCellWidget(row, 1, widget);
        auto* reset = new QPushButton(tr("Default"), table);
        connect(reset, &QPushButton::clicked, this, [this, s, widget] {
            setUserValueText(s, widget, settings.convertDefaultValueToStringForFile(s->type));
        });
        table->setCellWidget(row, 2, reset);
        rows.emplace_back(s, widget);
        // Any edit makes the tab dirty.
        if (auto* box = qobject_cast<QCheckBox*>(widget))
            connect(box, &QCheckBox::toggled, this, &SettingsWidget::updateSignal);
        else if (auto* combo = qobject_cast<QComboBox*>(widget))
            connect(combo, &QComboBox::currentTextChanged, this, &SettingsWidget::updateSignal);
        else if (auto* spin = qobject_cast<QSpinBox*>(widget))
            connect(spin, &QSpinBox::valueChanged, this, &SettingsWidget::updateSignal);
        else if (auto* edit = widget->findChild<QLineEdit*>())
            connect(edit, &QLineEdit::textEdited, this, &SettingsWidget::updateSignal);
    }
    tables.push_back(table);
    return table;
}

QWidget* SettingsWidget::makeUserValueWidget(const Setting* setting, QWidget* parent) {
    switch (setting->dataType) {
    case Bool: {
        auto* box = new QCheckBox(parent);
        box->setMinimumHeight(25);
        return box;
    }
    case Domain:
        return makeCombo(setting->type == OnlineMap ? Utilities::getOnlineMapOptions()
                                                    : Utilities::getSearchEngineOptions(),
                         true, parent);
    case Filepath: {
        auto* holder = new QWidget(parent);
        auto* row = new QHBoxLayout(holder);
        row->setContentsMargins(0, 0, 0, 0);
        auto* edit = new QLineEdit(holder);
        auto* browse = new QPushButton(QStringLiteral("..."), holder);
        browse->setFixedWidth(30);
        QObject::connect(browse, &QPushButton::clicked, holder, [holder, edit] {
            const QString chosen = QFileDialog::getOpenFileName(holder, tr("Choose a Program"), edit->text());
            if (!chosen.isEmpty()) {
                edit->setText(chosen);
                emit edit->textEdited(chosen);
            }
        });
        row->addWidget(edit, 1);
        row->addWidget(browse);
        return holder;
    }
    case Font:
        return makeCombo(QFontDatabase::families(), false, parent);
    case IntNonNegative:
    case IntPositive:
    case Int: {
        auto* spin = new QSpinBox(parent);
        spin->setRange(setting->dataType == IntNonNegative ? 0
                       : setting->dataType == IntPositive  ? 1
                                                           : -1000000,
                       1000000);
        return spin;
    }
    case Refresh:
        return makeCombo({tr("Refresh"), tr("Ask"), tr("Ignore")}, false, parent);
    case ThemeData:
        return makeCombo(Theme::getNamesList(), false, parent);
    case Uuid:
        return makeCombo({QStringLiteral("Random (v4)"), QStringLiteral("Time-ordered (v7)")}, false, parent);
    default:
        return new QLineEdit(parent);
    }
}

QString SettingsWidget::userValueText(const Setting* setting, const QWidget* widget) {
    if (const auto* box = qobject_cast<const QCheckBox*>(widget))
        return box->isChecked() ? QStringLiteral("true") : QStringLiteral("false");
    if (const auto* spin = qobject_cast<const QSpinBox*>(widget))
        return QString::number(spin->value());
    if (const auto* combo = qobject_cast<const QComboBox*>(widget))
        return setting->dataType == Refresh ? combo->currentText().toLower() : combo->currentText();
    if (const auto* edit = qobject_cast<const QLineEdit*>(widget))
        return edit->text();
    if (const auto* edit = widget->findChild<const QLineEdit*>())
        return edit->text();
    return QString();
}

void SettingsWidget::setUserValueText(const Setting* setting, QWidget* widget, const QString& text) {
    if (auto* box = qobject_cast<QCheckBox*>(widget)) {
        box->setChecked(Utilities::convertStringToBool(text, false));
    } else if (auto* spin = qobject_cast<QSpinBox*>(widget)) {
        spin->setValue(text.toInt());
    } else if (auto* combo = qobject_cast<QComboBox*>(widget)) {
        int index = combo->findText(text, Qt::MatchFixedString);
        if (setting->dataType == Uuid)
            index = Utilities::convertUuidStringToType(text, UuidV4) == UuidV7 ? 1 : 0;
        if (index < 0 && !combo->isEditable() && !text.isEmpty()) {
            // A value the list lacks (a font not installed here) is kept, not silently replaced.
            combo->addItem(text);
            index = combo->count() - 1;
        }
        if (index >= 0)
            combo->setCurrentIndex(index);
        else if (combo->isEditable())
            combo->setEditText(text);
    } else if (auto* edit = qobject_cast<QLineEdit*>(widget)) {
        edit->setText(text);
    } else if (auto* inner = widget->findChild<QLineEdit*>()) {
        inner->setText(text);
    }
}

void SettingsWidget::userValue(Setting* setting, const QWidget* widget) {
    setting->setValueFromString(userValueText(setting, widget));
}

bool SettingsWidget::apply() {
    for (const auto& [setting, widget] : rows)
        userValue(setting, widget);
    return PreferenceFiles::makeSettingsFile(settings);
}

void SettingsWidget::restoreDefaults() {
    for (const auto& [setting, widget] : rows)
        setUserValueText(setting, widget, settings.convertDefaultValueToStringForFile(setting->type));
    emit updateSignal();
}

void SettingsWidget::filter(const QString& text) {
    for (QTableWidget* table : tables) {
        for (int row = 0; row < table->rowCount(); ++row)
            table->setRowHidden(row, !table->item(row, 0)->text().contains(text, Qt::CaseInsensitive));
    }
}

QWidget* SettingsWidget::valueWidget(const QString& name) const {
    for (const auto& [setting, widget] : rows) {
        if (setting->name == name)
            return widget;
    }
    return nullptr;
}
