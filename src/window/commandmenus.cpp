#include "window/commandmenus.h"

#include "window/commands.h"

#include <QFont>
#include <QMenu>

namespace CommandMenus {

std::vector<QAction*> actionsFor(const Commands& commands, std::initializer_list<const Command*> list) {
    std::vector<QAction*> actions;
    for (const Command* command : list) {
        if (!command) {
            if (!actions.empty() && actions.back())
                actions.push_back(nullptr);
        } else if (commands.isWired(*command)) {
            actions.push_back(command->action);
        }
    }
    if (!actions.empty() && !actions.back())
        actions.pop_back();
    return actions;
}

void exec(QWidget* parent, const std::vector<QAction*>& actions, const QPoint& globalPos) {
    if (actions.empty())
        return;
    QMenu menu(parent);
    menu.setFont(QFont(QStringLiteral("Lucida Grande"), 10));
    for (QAction* action : actions) {
        if (action)
            menu.addAction(action);
        else
            menu.addSeparator();
    }
    menu.exec(globalPos);
}

} // namespace CommandMenus
