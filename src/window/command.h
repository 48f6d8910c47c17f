#pragma once

#include "preferences/settingtypes.h"
#include "window/context.h"

#include <QString>

class QAction;

// The setting value of a command that shows or changes none.
constexpr SettingType NoSetting = static_cast<SettingType>(kNumSettingTypes);

// One thing the user can do: its name, where it stands in the menus, when it can run, its
// shortcut and the action that menus, keys and the launcher all trigger.
struct Command {
    QString name;     // unique; the launcher's text and the key of a user shortcut
    QString category; // menu path such as "Data/Move"; "-" is in no menu
    ScopeType scope = CommandScope;
    bool showInLauncher = true;
    Context context{ContextAll}; // bits that must all be set
    Context excludeContext;      // bits of which none may be set
    QString shortcut;
    QString defaultShortcut;
    QAction* action = nullptr; // parented to the window
    SettingType setting = NoSetting;

    bool matchesContext(Context current) const {
        return (context.isAll() || current.contains(context)) && !current.intersects(excludeContext);
    }
};

bool sortCommandByName(const Command& a, const Command& b);
