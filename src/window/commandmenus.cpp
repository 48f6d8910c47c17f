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

std::vector<QAction*> fileActions(const Commands& c) {
    return actionsFor(c, {&c.closeFile,
                          &c.closeAllFilesExceptCurrent,
                          &c.closeAllFiles,
                          nullptr,
                          &c.saveFile,
                          &c.saveFileAs,
                          &c.reloadFile,
                          nullptr,
                          &c.copyFilePathToClipboard,
                          &c.copyFolderPathToClipboard,
                          &c.copyFileNameToClipboard,
                          nullptr,
                          &c.showFileInFileSystem,
                          &c.openTerminalToFilesDirectory,
                          &c.openFileInTextEditor,
                          nullptr,
                          &c.renameFile,
                          &c.duplicateFile,
                          &c.moveFile,
                          &c.deleteFile});
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
