#include "window/commands.h"

#include "window/mainwindow.h"

#include <QAction>
#include <QCoreApplication>

#include <algorithm>

bool sortCommandByName(const Command& a, const Command& b) {
    return a.name < b.name;
}

namespace {

// The sequences of a shortcut text; `twins` adds the Enter or Return twin of each.
QList<QKeySequence> parseShortcut(const QString& text, bool twins) {
    QStringList alternatives;
    for (const QString& part : text.split(QLatin1Char('|'), Qt::SkipEmptyParts)) {
        QString alternative = part.trimmed().toLower();
        // "cmd" is the main modifier and "ctrl" the physical key, which Qt calls Meta where the
        // two differ.
        alternative.replace(QLatin1String("ctrl"), QLatin1String("meta"));
        alternative.replace(QLatin1String("cmd"), QLatin1String("ctrl"));
        if (!alternative.isEmpty())
            alternatives.append(alternative);
    }
    // Enter and Return are twins, so that a shortcut works on both keys.
    const QLatin1String enter("enter");
    const QLatin1String ret("return");
    for (qsizetype i = 0, count = twins ? alternatives.size() : 0; i < count; ++i) {
        QString twin = alternatives.at(i);
        if (twin.contains(enter))
            twin.replace(enter, ret);
        else if (twin.contains(ret))
            twin.replace(ret, enter);
        else
            continue;
        if (!alternatives.contains(twin))
            alternatives.append(twin);
    }
    QList<QKeySequence> sequences;
    for (const QString& alternative : alternatives) {
        const QKeySequence sequence = QKeySequence::fromString(alternative, QKeySequence::PortableText);
        bool known = !sequence.isEmpty();
        for (int i = 0; known && i < sequence.count(); ++i)
            known = sequence[i].key() != Qt::Key_unknown;
        if (known)
            sequences.append(sequence);
    }
    return sequences;
}

} // namespace

QList<QKeySequence> getKeySequenceList(const QString& text) {
    return parseShortcut(text, true);
}

void Commands::populate(MainWindow* window) {
    clear();
    const std::vector<CommandRow>& table = rows();
    commands.reserve(table.size());
    wired.reserve(table.size());
    // A twin that another command that runs names outright is that command's key: Alt+Return
    // then finds all matches while Alt+Enter (keypad) inserts cells.
    std::vector<QList<QKeySequence>> named;
    named.reserve(table.size());
    for (const CommandRow& row : table)
        named.push_back(parseShortcut(QString::fromLatin1(row.shortcut), false));
    const auto namedElsewhere = [&named, &table](std::size_t self, const QKeySequence& key) {
        for (std::size_t i = 0; i < named.size(); ++i) {
            if (i != self && table[i].slot && named[i].contains(key))
                return true;
        }
        return false;
    };
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
        QList<QKeySequence> keys = getKeySequenceList(command.shortcut);
        keys.removeIf([&](const QKeySequence& key) {
            return !named[index].contains(key) && namedElsewhere(index, key);
        });
        command.action->setShortcuts(keys);
        // Shortcuts work whether or not the command stands in a menu.
        window->addAction(command.action);
        if (row.slot) {
            const CommandSlot slot = row.slot;
            QObject::connect(command.action, &QAction::triggered, window, [window, slot] { slot(window); });
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
