#include "window/shortcutswidget.h"

#include "util/msgbox.h"
#include "window/shortcutpreferences.h"

#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTableWidget>
#include <QVBoxLayout>

#include <algorithm>

namespace {
const QString kNone = QStringLiteral("(none)");
}

ShortcutsWidget::ShortcutsWidget(const Commands& commands, QWidget* parent)
    : QWidget(parent), entries(PreferenceFiles::makeShortcutEntries(commands)) {
    auto* layout = new QVBoxLayout(this);
    searchEdit = new QLineEdit(this);
    searchEdit->setPlaceholderText(tr("Search"));
    searchEdit->setClearButtonEnabled(true);
    connect(searchEdit, &QLineEdit::textChanged, this, &ShortcutsWidget::filter);
    layout->addWidget(searchEdit);
    layout->addWidget(new QLabel(tr("<b>Shortcuts</b><br>You may apply several shortcuts to a command by "
                                    "separating with the | character."),
                                 this));

    table = new QTableWidget(static_cast<int>(entries.size()), 3, this);
    table->horizontalHeader()->hide();
    table->verticalHeader()->hide();
    table->setSelectionMode(QAbstractItemView::NoSelection);
    table->setColumnWidth(0, 420);
    table->setColumnWidth(1, 200);
    table->horizontalHeader()->setStretchLastSection(true);
    for (int row = 0; row < static_cast<int>(entries.size()); ++row) {
        const PreferenceFiles::ShortcutEntry& entry = entries[static_cast<std::size_t>(row)];
        auto* name = new QTableWidgetItem(entry.name);
        name->setFlags(Qt::ItemIsEnabled);
        table->setItem(row, 0, name);
        auto* edit = new QLineEdit(entry.shortcut.isEmpty() ? kNone : entry.shortcut, table);
        connect(edit, &QLineEdit::textEdited, this, &ShortcutsWidget::updateSignal);
        table->setCellWidget(row, 1, edit);
        edits.push_back(edit);
        auto* reset = new QPushButton(tr("Default"), table);
        const QString defaultText = entry.defaultShortcut.isEmpty() ? kNone : entry.defaultShortcut;
        connect(reset, &QPushButton::clicked, this, [this, edit, defaultText] {
            edit->setText(defaultText);
            emit updateSignal();
        });
        table->setCellWidget(row, 2, reset);
    }
    layout->addWidget(table, 1);

    auto* restore = new QPushButton(tr("Restore Default Shortcuts"), this);
    connect(restore, &QPushButton::clicked, this, &ShortcutsWidget::restoreDefaults);
    layout->addWidget(restore, 0, Qt::AlignLeft);
}

QString ShortcutsWidget::userValue(const PreferenceFiles::ShortcutEntry& entry, const QString& text) {
    return PreferenceFiles::resolveUserShortcut(text, entry.defaultShortcut);
}

bool ShortcutsWidget::apply() {
    std::vector<PreferenceFiles::ShortcutEntry> written = entries;
    for (std::size_t i = 0; i < written.size(); ++i)
        written[i].shortcut = userValue(written[i], edits[i]->text());
    return PreferenceFiles::makeShortcutsFile(written);
}

void ShortcutsWidget::restoreDefaults() {
    for (std::size_t i = 0; i < entries.size(); ++i)
        edits[i]->setText(entries[i].defaultShortcut.isEmpty() ? kNone : entries[i].defaultShortcut);
    emit updateSignal();
}

void ShortcutsWidget::filter(const QString& text) {
    for (int row = 0; row < table->rowCount(); ++row)
        table->setRowHidden(row, !table->item(row, 0)->text().contains(text, Qt::CaseInsensitive));
}

std::map<QString, QStringList> ShortcutsWidget::findRedundantShortcuts() const {
    std::map<QString, QStringList> owners;
    for (std::size_t i = 0; i < entries.size(); ++i) {
        for (const QString& part : edits[i]->text().split(QLatin1Char('|'))) {
            const QString key = part.trimmed().toLower();
            if (key.isEmpty() || key == kNone)
                continue;
            if (!owners[key].contains(entries[i].name))
                owners[key].append(entries[i].name);
        }
    }
    // The defaults share a few keys between commands that never run at the same time (Edit
    // Selected Cell and Stop Editing); only a sharing the user made is worth a question.
    const auto isDefaultOf = [this](const QString& key, const QString& name) {
        for (const PreferenceFiles::ShortcutEntry& entry : entries) {
            if (entry.name != name)
                continue;
            for (const QString& part : entry.defaultShortcut.split(QLatin1Char('|'))) {
                if (part.trimmed().toLower() == key)
                    return true;
            }
        }
        return false;
    };
    std::map<QString, QStringList> redundant;
    for (const auto& owner : owners) {
        const QString& key = owner.first;
        const QStringList& names = owner.second;
        if (names.size() < 2)
            continue;
        if (std::all_of(names.begin(), names.end(),
                        [&](const QString& name) { return isDefaultOf(key, name); }))
            continue;
        redundant.emplace(key, names);
    }
    return redundant;
}

bool ShortcutsWidget::checkRedundantShortcuts(bool closing) {
    const std::map<QString, QStringList> redundant = findRedundantShortcuts();
    if (redundant.empty())
        return true;
    QString text = tr("The following shortcuts appear on multiple commands.") + QStringLiteral("<br><br>");
    for (const auto& [key, names] : redundant) {
        text += QStringLiteral("<b>%1</b>:").arg(key.toHtmlEscaped());
        for (const QString& name : names)
            text += QStringLiteral("<br>%1").arg(name.toHtmlEscaped());
        text += QStringLiteral("<br><br>");
    }
    text += tr("If left unresolved, these shortcuts won't work on any of the commands.");
    text += closing ? tr("<br>Would you like to apply the changes and exit or stay and fix them?")
                    : tr("<br>Would you still like to apply changes or fix them first?");
    const std::vector<MsgBox::Button> buttons =
        closing ? std::vector<MsgBox::Button>{{tr("&Stay and Fix"), QMessageBox::RejectRole},
                                              {tr("&Apply and Exit"), QMessageBox::AcceptRole}}
                : std::vector<MsgBox::Button>{{tr("&Fix"), QMessageBox::RejectRole},
                                              {tr("&Apply"), QMessageBox::AcceptRole}};
    return MsgBox::ask(this, text, buttons, 1) == 1;
}

QLineEdit* ShortcutsWidget::shortcutEdit(const QString& name) const {
    for (std::size_t i = 0; i < entries.size(); ++i) {
        if (entries[i].name == name)
            return edits[i];
    }
    return nullptr;
}
