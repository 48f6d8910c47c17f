#pragma once

#include <QPoint>

#include <initializer_list>
#include <vector>

struct Command;
class Commands;
class QAction;
class QWidget;

// Context menus built from the command table.
namespace CommandMenus {

// The actions of the given commands that run something; a null command marks a separator,
// and separators never lead, trail or double.
std::vector<QAction*> actionsFor(const Commands& commands, std::initializer_list<const Command*> list);
// The file commands that a tab's and the side bar's open-files menu hold.
std::vector<QAction*> fileActions(const Commands& commands);
// Opens a menu of the actions at a global position; null is a separator.
void exec(QWidget* parent, const std::vector<QAction*>& actions, const QPoint& globalPos);

} // namespace CommandMenus
