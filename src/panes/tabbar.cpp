#include "panes/tabbar.h"

#include "window/commandmenus.h"
#include "window/commands.h"

#include <QContextMenuEvent>

namespace {
constexpr int kViewRole = 0; // index into the tab's data list
constexpr int kNameRole = 1;
constexpr int kSavedRole = 2;
} // namespace

TabBar::TabBar(QWidget* parent) : QTabBar(parent) {
    setTabsClosable(true);
    // The tab order is the order of the table stack; moving tabs would break that.
    setMovable(false);
    setExpanding(false);
    setDocumentMode(true);
    setElideMode(Qt::ElideMiddle);
    setFocusPolicy(Qt::NoFocus);
    connect(this, &QTabBar::tabBarClicked, this, [this](int index) {
        if (TableView* view = tableAt(index))
            emit tableSelectedSignal(view);
    });
    connect(this, &QTabBar::tabCloseRequested, this, [this](int index) {
        if (TableView* view = tableAt(index))
            emit closeTableSignal(view);
    });
}

void TabBar::addTable(TableView* view, const QString& name) {
    if (!view || indexOf(view) >= 0)
        return;
    const QSignalBlocker blocker(this);
    const int index = addTab(name);
    setTabData(index, QVariantList{QVariant::fromValue(reinterpret_cast<quintptr>(view)), name, true});
    refreshText(index);
}

void TabBar::removeTable(TableView* view) {
    const int index = indexOf(view);
    if (index < 0)
        return;
    const QSignalBlocker blocker(this);
    removeTab(index);
}

void TabBar::renameTable(TableView* view, const QString& name) {
    const int index = indexOf(view);
    if (index < 0)
        return;
    QVariantList data = tabData(index).toList();
    data[kNameRole] = name;
    setTabData(index, data);
    refreshText(index);
}

void TabBar::selectTable(TableView* view) {
    const int index = indexOf(view);
    if (index < 0)
        return;
    const QSignalBlocker blocker(this);
    setCurrentIndex(index);
}

int TabBar::indexOf(TableView* view) const {
    for (int i = 0; i < count(); ++i) {
        if (tableAt(i) == view)
            return i;
    }
    return -1;
}

TableView* TabBar::tableAt(int index) const {
    const QVariantList data = tabData(index).toList();
    if (data.size() <= kViewRole)
        return nullptr;
    return reinterpret_cast<TableView*>(data[kViewRole].value<quintptr>());
}

QString TabBar::nameAt(int index) const {
    const QVariantList data = tabData(index).toList();
    return data.size() > kNameRole ? data[kNameRole].toString() : QString();
}

bool TabBar::isSavedAt(int index) const {
    const QVariantList data = tabData(index).toList();
    return data.size() <= kSavedRole || data[kSavedRole].toBool();
}

void TabBar::onSavedStatusChanged(bool saved, TableView* view) {
    const int index = indexOf(view);
    if (index < 0)
        return;
    QVariantList data = tabData(index).toList();
    data[kSavedRole] = saved;
    setTabData(index, data);
    refreshText(index);
}

void TabBar::refreshText(int index) {
    setTabText(index, isSavedAt(index) ? nameAt(index) : nameAt(index) + QStringLiteral(" *"));
    setTabToolTip(index, nameAt(index));
}

void TabBar::setupContextMenus(const Commands& commands) {
    contextMenuActions = CommandMenus::fileActions(commands);
}

void TabBar::contextMenuEvent(QContextMenuEvent* event) {
    if (tabAt(event->pos()) < 0)
        return;
    CommandMenus::exec(this, contextMenuActions, event->globalPos());
}
