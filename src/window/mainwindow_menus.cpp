// The command table's window side: the context that enables commands, and the menu bar.

#include "window/mainwindow.h"

#include "view/tableview.h"
#include "window/paneview.h"

#include <QAction>
#include <QMenu>
#include <QMenuBar>

#include <map>

namespace {

constexpr const char* kRecentFilesCategory = "File/Open Recent File";

struct SubMenu {
    const char* title;
    const char* category;
};

struct TopMenu {
    const char* title;
    const char* category;
    std::vector<SubMenu> subMenus;
    bool subMenusFirst;
};

const std::vector<TopMenu>& menuLayout() {
    static const std::vector<TopMenu> layout = {
        {"&File",
         "File",
         {{"Open Recent File", kRecentFilesCategory},
          {"Reload", "File/Reload"},
          {"Save Options", "File/Save Options"},
          {"File Location Information", "File/File Location Information"}},
         false},
        {"&Edit", "Edit", {}, false},
        {"&Data",
         "Data",
         {{"&Move", "Data/Move"},
          {"&Insert", "Data/Insert"},
          {"&Transpose", "Data/Transpose"},
          {"&Case", "Data/Case"},
          {"&Format", "Data/Format"},
          {"&Numbers", "Data/Numbers"},
          {"&Delete", "Data/Delete"},
          {"&Sort", "Data/Sort"},
          {"Du&plicate", "Data/Duplicate"},
          {"M&ulti-cell", "Data/Multi-cell"},
          {"St&ring Manipulation", "Data/String Manipulation"},
          {"Fi&lter", "Data/Filter"},
          {"&Hide/Show", "Data/Hide/Show"}},
         true},
        {"&Selection", "Selection", {}, false},
        {"Fi&nd", "Find", {}, false},
        {"&View",
         "View",
         {{"&Table Size", "View/Table Size"}, {"&Grid Size", "View/Grid Size"}, {"&Headers", "View/Headers"}},
         true},
        {"&Tools", "Tools", {}, false},
        {"&Go To", "Go To", {}, false},
        {"&Preferences", "Preferences", {}, false},
        {"Contact &Us", "Contact Us", {}, false},
        {"&Help", "Help", {}, false},
    };
    return layout;
}

QChar accelerator(const QString& title) {
    const qsizetype at = title.indexOf(QLatin1Char('&'));
    return at >= 0 && at + 1 < title.size() ? title.at(at + 1).toLower() : QChar();
}

// The name with an "&" before a letter no other item of the menu uses: a word's first letter
// if one is free, else any letter.
QString withAccelerator(const QString& name, QString& used) {
    qsizetype chosen = -1;
    for (qsizetype i = 0; i < name.size() && chosen < 0; ++i) {
        const bool wordStart = i == 0 || name.at(i - 1) == QLatin1Char(' ');
        if (wordStart && name.at(i).isLetterOrNumber() && !used.contains(name.at(i).toLower()))
            chosen = i;
    }
    for (qsizetype i = 0; i < name.size() && chosen < 0; ++i) {
        if (name.at(i).isLetterOrNumber() && !used.contains(name.at(i).toLower()))
            chosen = i;
    }
    if (chosen < 0)
        return name;
    used.append(name.at(chosen).toLower());
    QString text = name;
    text.insert(chosen, QLatin1Char('&'));
    return text;
}

// The commands of one category that run something, in table order, with their group starts.
std::vector<std::pair<QAction*, bool>> actionsOf(const Commands& commands, const char* category) {
    std::vector<std::pair<QAction*, bool>> actions;
    // A group whose first commands aren't shown still starts where its first shown one stands.
    bool groupStart = false;
    for (const CommandRow& row : Commands::rows()) {
        if (qstrcmp(row.category, category) != 0)
            continue;
        groupStart = groupStart || row.startsGroup;
        // The recent files' own sub-menu stands for the command that lists them.
        if (!row.slot || row.member == &Commands::openRecentFile)
            continue;
        actions.emplace_back((commands.*row.member).action, groupStart && !actions.empty());
        groupStart = false;
    }
    return actions;
}

void fillMenu(QMenu* menu, const std::vector<std::pair<QAction*, bool>>& actions, QString& used) {
    for (const auto& [action, groupStart] : actions) {
        if (groupStart)
            menu->addSeparator();
        action->setText(withAccelerator(action->text().remove(QLatin1Char('&')), used));
        menu->addAction(action);
    }
}

} // namespace

// --- Context ------------------------------------------------------------------------------------

void MainWindow::addContext(Context bits, bool apply) {
    addContextGlobal(context, bits);
    if (apply)
        setContext();
}

void MainWindow::removeContext(Context bits, bool apply) {
    removeContextGlobal(context, bits);
    if (apply)
        setContext();
}

void MainWindow::setContext(Context bits) {
    context = bits;
    setContext();
}

void MainWindow::setContext() {
    paneVisibility.showEditorPane = context.intersects(ContextEditorPaneShown);
    paneView->setContext(context);
    // The table keeps its own bits and learns of the pane, which decides where it edits.
    const Context passed = TableContextBits | ContextEditorPaneShown;
    if (activeTable)
        activeTable->setContext((activeTable->getContext() - passed) | (context & passed));
    for (const Command* command : commands.wiredCommands())
        command->action->setEnabled(command->matchesContext(context));
}

// --- Menus --------------------------------------------------------------------------------------

void MainWindow::setupMenus() {
    QMenuBar* bar = menuBar();
    bar->clear();
    const QFont font(QStringLiteral("Lucida Grande"), 10);
    bar->setFont(font);
    for (const TopMenu& top : menuLayout()) {
        auto* menu = new QMenu(tr(top.title), bar);
        menu->setFont(font);
        QString used;
        const auto own = actionsOf(commands, top.category);
        if (!top.subMenusFirst)
            fillMenu(menu, own, used);
        bool subMenuAdded = false;
        for (const SubMenu& sub : top.subMenus) {
            const auto actions = actionsOf(commands, sub.category);
            // The recent files' menu holds paths, not commands.
            const bool recent = QLatin1String(sub.category) == QLatin1String(kRecentFilesCategory);
            if (actions.empty() && !recent)
                continue;
            if (!subMenuAdded && !menu->isEmpty())
                menu->addSeparator();
            subMenuAdded = true;
            QString title = tr(sub.title);
            if (accelerator(title).isNull())
                title = withAccelerator(title, used);
            else
                used.append(accelerator(title));
            auto* subMenu = menu->addMenu(title);
            subMenu->setFont(font);
            QString subUsed;
            fillMenu(subMenu, actions, subUsed);
            if (recent) {
                recentFilesMenu = subMenu;
                refreshRecentFilesMenu();
            }
        }
        if (top.subMenusFirst && !own.empty()) {
            if (!menu->isEmpty())
                menu->addSeparator();
            fillMenu(menu, own, used);
        }
        // A menu whose commands all wait for their part of the program stays out of the bar.
        if (menu->isEmpty())
            delete menu;
        else
            bar->addMenu(menu);
    }
    refreshToggles();
}

void MainWindow::refreshToggles() {
    for (const Command* command : commands.wiredCommands()) {
        if (!command->action->isCheckable())
            continue;
        bool on = false;
        if (command->setting == ReadOnly)
            on = activeTable && activeTable->isReadOnly();
        else if (command->setting == ShowEditorPane)
            on = paneView && paneView->isEditorPaneShown();
        else if (command->scope == Table && activeTable)
            on = activeTable->getTableSettingBool(command->setting);
        else
            on = settings.getValueBool(command->setting);
        command->action->setChecked(on);
    }
}

// --- Helpers of the command slots ---------------------------------------------------------------

TableView* MainWindow::tableForEdit(const QString& path) {
    TableView* view = resolveTable(path);
    if (!view || view->isLoading())
        return nullptr;
    view->stopEditing(true);
    return view;
}

TableView* MainWindow::activeTableForEdit(const QString& path) {
    TableView* view = tableForEdit(path);
    if (view && view != activeTable)
        setActiveTable(view);
    return view;
}

bool MainWindow::toggleSetting(SettingType type) {
    settings.toggleBoolValue(type);
    return true;
}
