#include "window/commands.h"

#include "preferences/preferencefiles.h"
#include "util/shortcututilities.h"
#include "window/mainwindow.h"

#include <QAction>
#include <QCoreApplication>

#include <algorithm>

bool sortCommandByName(const Command& a, const Command& b) {
    return a.name < b.name;
}

void Commands::populate(MainWindow* window) {
    clear();
    const std::vector<CommandRow>& table = rows();
    commands.reserve(table.size());
    wired.reserve(table.size());
    for (std::size_t index = 0; index < table.size(); ++index) {
        const CommandRow& row = table[index];
        Command command;
        command.name = QCoreApplication::translate("Commands", row.name);
        command.category = QString::fromLatin1(row.category);
        command.scope = row.scope;
        command.showInLauncher = row.showInLauncher;
        command.context = row.context;
        command.excludeContext = row.exclude;
        command.shortcut = QString::fromLatin1(row.shortcut);
        command.defaultShortcut = command.shortcut;
        command.setting = row.setting;
        command.action = new QAction(command.name, window);
        // Shortcuts work whether or not the command stands in a menu.
        window->addAction(command.action);
        // A switch shows its state with a check mark.
        const bool toggle = row.setting != NoSetting && command.name.startsWith(QLatin1String("Toggle"));
        command.action->setCheckable(toggle);
        if (row.slot) {
            const CommandSlot slot = row.slot;
            const SettingType setting = row.setting;
            const bool remembered = toggle && row.scope == Global;
            QObject::connect(command.action, &QAction::triggered, window,
                             [window, slot, toggle, setting, remembered] {
                                 slot(window);
                                 if (toggle)
                                     window->refreshToggles();
                                 // A switch of the whole program is remembered in the settings file.
                                 if (remembered && window->getSettings().get(setting)->userEditable)
                                     PreferenceFiles::writeSettingToFile(window->getSettings(), setting);
                             });
        } else {
            command.action->setEnabled(false);
        }
        Command& member = this->*row.member;
        member = std::move(command);
        commands.push_back(member);
        if (row.slot)
            wired.push_back(&member);
    }
    std::sort(commands.begin(), commands.end(), sortCommandByName);
    applyShortcuts();
}

void Commands::applyShortcuts() {
    const std::vector<CommandRow>& table = rows();
    // A twin that another command that runs names outright is that command's key: Alt+Return
    // then finds all matches while Alt+Enter (keypad) inserts cells.
    std::vector<QList<QKeySequence>> named;
    named.reserve(table.size());
    for (const CommandRow& row : table)
        named.push_back(parseShortcut((this->*row.member).shortcut, false));
    const auto namedElsewhere = [&named, &table](std::size_t self, const QKeySequence& key) {
        for (std::size_t i = 0; i < named.size(); ++i) {
            if (i != self && table[i].slot && named[i].contains(key))
                return true;
        }
        return false;
    };
    for (std::size_t index = 0; index < table.size(); ++index) {
        const Command& command = this->*table[index].member;
        if (!command.action)
            continue;
        QList<QKeySequence> keys = getKeySequenceList(command.shortcut);
        keys.removeIf([&](const QKeySequence& key) {
            return !named[index].contains(key) && namedElsewhere(index, key);
        });
        command.action->setShortcuts(keys);
    }
}

bool Commands::setShortcutText(const QString& name, const QString& text) {
    const auto it =
        std::lower_bound(commands.begin(), commands.end(), name,
                         [](const Command& command, const QString& n) { return command.name < n; });
    if (it == commands.end() || it->name != name)
        return false;
    it->shortcut = text;
    for (const CommandRow& row : rows()) {
        Command& member = this->*row.member;
        if (member.action == it->action)
            member.shortcut = text;
    }
    return true;
}

void Commands::clear() {
    for (const Command& command : commands)
        delete command.action;
    for (const CommandRow& row : rows())
        (this->*row.member).action = nullptr;
    commands.clear();
    wired.clear();
}

const Command* Commands::findByName(const QString& name) const {
    const auto it =
        std::lower_bound(commands.begin(), commands.end(), name,
                         [](const Command& command, const QString& n) { return command.name < n; });
    return it != commands.end() && it->name == name ? &*it : nullptr;
}

bool Commands::isWired(const Command& command) const {
    return command.action && std::any_of(wired.begin(), wired.end(), [&command](const Command* w) {
               return w->action == command.action;
           });
}

QStringList Commands::notYetWired() {
    QStringList names;
    for (const CommandRow& row : rows()) {
        if (!row.slot)
            names.append(QString::fromLatin1(row.name));
    }
    return names;
}
