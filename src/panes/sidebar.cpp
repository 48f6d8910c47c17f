#include "panes/sidebar.h"

#include "panes/foldertreemodel.h"
#include "window/commandmenus.h"
#include "window/commands.h"

#include <QAction>
#include <QDir>
#include <QFileInfo>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QListWidget>
#include <QMenu>
#include <QPushButton>
#include <QSplitter>
#include <QTreeView>
#include <QVBoxLayout>

#include <algorithm>
#include <iterator>

namespace {

constexpr int kViewRole = Qt::UserRole + 1;
constexpr int kNameRole = Qt::UserRole + 2;
constexpr int kSavedRole = Qt::UserRole + 3;
constexpr int kPathRole = Qt::UserRole + 4;

QLabel* makeTitle(const QString& text, QWidget* parent) {
    auto* label = new QLabel(text, parent);
    QFont font = label->font();
    font.setBold(true);
    label->setFont(font);
    label->setContentsMargins(6, 4, 6, 2);
    return label;
}

} // namespace

SideBar::SideBar(QWidget* parent) : QWidget(parent) {
    setObjectName(QStringLiteral("sideBar"));
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    splitter = new QSplitter(Qt::Vertical, this);
    splitter->setHandleWidth(5);
    splitter->setChildrenCollapsible(false);
    layout->addWidget(splitter);

    openFilesPart = new QWidget(splitter);
    auto* filesLayout = new QVBoxLayout(openFilesPart);
    filesLayout->setContentsMargins(0, 0, 0, 0);
    filesLayout->setSpacing(0);
    filesLayout->addWidget(makeTitle(tr("Open Files"), openFilesPart));
    openFilesList = new QListWidget(openFilesPart);
    openFilesList->setObjectName(QStringLiteral("sideBarOpenFiles"));
    openFilesList->setFrameShape(QFrame::NoFrame);
    openFilesList->setTextElideMode(Qt::ElideMiddle);
    openFilesList->setSelectionMode(QAbstractItemView::SingleSelection);
    openFilesList->setContextMenuPolicy(Qt::CustomContextMenu);
    openFilesList->setFocusPolicy(Qt::NoFocus);
    openFilesList->setStyleSheet(QStringLiteral("QListView::item { padding: 2px 6px; }"));
    filesLayout->addWidget(openFilesList);
    connect(openFilesList, &QListWidget::itemClicked, this, [this](QListWidgetItem* item) {
        if (TableView* view = tableAt(openFilesList->row(item)))
            emit tableSelectedSignal(view);
    });
    connect(openFilesList, &QListWidget::customContextMenuRequested, this, &SideBar::onOpenFilesContextMenu);

    foldersPart = new QWidget(splitter);
    auto* foldersLayout = new QVBoxLayout(foldersPart);
    foldersLayout->setContentsMargins(0, 0, 0, 0);
    foldersLayout->setSpacing(0);
    foldersLayout->addWidget(makeTitle(tr("Folders"), foldersPart));
    folderModel = new FolderTreeModel(this);
    folderView = new QTreeView(foldersPart);
    folderView->setObjectName(QStringLiteral("sideBarFolders"));
    folderView->setModel(folderModel);
    folderView->setHeaderHidden(true);
    folderView->setFrameShape(QFrame::NoFrame);
    folderView->setTextElideMode(Qt::ElideMiddle);
    folderView->setUniformRowHeights(true); // a folder of thousands of files scrolls without measuring
    folderView->setContextMenuPolicy(Qt::CustomContextMenu);
    folderView->setEditTriggers(QAbstractItemView::NoEditTriggers);
    foldersLayout->addWidget(folderView, 1);
    openFolderButton = new QPushButton(tr("Open Folder..."), foldersPart);
    foldersLayout->addWidget(openFolderButton);
    foldersLayout->addStretch(0);
    connect(openFolderButton, &QPushButton::clicked, this, [this] {
        if (openFolderAction)
            openFolderAction->trigger();
    });
    folderView->installEventFilter(this);
    connect(folderView, &QTreeView::activated, this, &SideBar::onFolderActivated);
    connect(folderView, &QTreeView::customContextMenuRequested, this, &SideBar::onFolderContextMenu);
    // The active table's file, listed later (a folder expanded, a file renamed), is pointed at then.
    connect(folderModel, &QAbstractItemModel::rowsInserted, this,
            [this](const QModelIndex& parent, int first, int last) {
                if (activePath.isEmpty() || !activePath.startsWith(folderModel->filePath(parent)))
                    return;
                for (int row = first; row <= last; ++row) {
                    const QModelIndex index = folderModel->index(row, 0, parent);
                    if (folderModel->filePath(index) == activePath) {
                        folderView->setCurrentIndex(index);
                        break;
                    }
                }
            });

    openItemAction = new QAction(tr("Open"), this);
    renameFolderAction = new QAction(tr("Rename Folder..."), this);
    closeFolderAction = new QAction(tr("Close Folder"), this);
    connect(openItemAction, &QAction::triggered, this, [this] { emit openFileSignal(menuPath); });
    connect(renameFolderAction, &QAction::triggered, this, [this] { emit renameFolderSignal(menuPath); });
    connect(closeFolderAction, &QAction::triggered, this, [this] { emit closeFolderSignal(menuPath); });

    splitter->setStretchFactor(0, 1);
    splitter->setStretchFactor(1, 2);
    refreshFolderPart();
}

bool SideBar::eventFilter(QObject* watched, QEvent* event) {
    // The keys that move through the tree are the table's shortcuts too (Home, End, Page Up...):
    // while the tree has the focus they are its own.
    if (watched == folderView && event->type() == QEvent::ShortcutOverride) {
        auto* key = static_cast<QKeyEvent*>(event);
        static const int keys[] = {Qt::Key_Home,   Qt::Key_End,   Qt::Key_PageUp, Qt::Key_PageDown,
                                   Qt::Key_Up,     Qt::Key_Down,  Qt::Key_Left,   Qt::Key_Right,
                                   Qt::Key_Return, Qt::Key_Enter, Qt::Key_Space};
        const bool plain = (key->modifiers() & ~Qt::KeypadModifier) == Qt::NoModifier;
        if (plain && std::find(std::begin(keys), std::end(keys), key->key()) != std::end(keys)) {
            key->accept();
            return true;
        }
    }
    return QWidget::eventFilter(watched, event);
}

// --- Open files ---------------------------------------------------------------------------------

int SideBar::rowOf(const TableView* view) const {
    for (int row = 0; row < openFilesList->count(); ++row) {
        if (tableAt(row) == view)
            return row;
    }
    return -1;
}

void SideBar::addTable(TableView* view, const QString& name, const QString& path) {
    if (!view || rowOf(view) >= 0)
        return;
    auto* item = new QListWidgetItem;
    item->setData(kViewRole, QVariant::fromValue(reinterpret_cast<quintptr>(view)));
    item->setData(kNameRole, name);
    item->setData(kPathRole, path);
    item->setData(kSavedRole, true);
    const QSignalBlocker blocker(openFilesList);
    openFilesList->addItem(item);
    refreshText(item);
}

void SideBar::removeTable(TableView* view) {
    const int row = rowOf(view);
    if (row < 0)
        return;
    const QSignalBlocker blocker(openFilesList);
    delete openFilesList->takeItem(row);
}

void SideBar::renameTable(TableView* view, const QString& name, const QString& path) {
    const int row = rowOf(view);
    if (row < 0)
        return;
    QListWidgetItem* item = openFilesList->item(row);
    item->setData(kNameRole, name);
    item->setData(kPathRole, path);
    refreshText(item);
    if (row == openFilesList->currentRow())
        activePath = path;
}

void SideBar::selectItem(TableView* view) {
    const QSignalBlocker blocker(openFilesList);
    const int row = rowOf(view);
    if (row < 0) {
        openFilesList->clearSelection();
        return;
    }
    openFilesList->setCurrentRow(row);
    openFilesList->scrollToItem(openFilesList->item(row));
    // The folder tree points at the same file when it has it listed.
    activePath = openFilesList->item(row)->data(kPathRole).toString();
    const QModelIndex index = folderModel->indexOfPath(activePath);
    if (index.isValid()) {
        folderView->setCurrentIndex(index);
        folderView->scrollTo(index);
    } else {
        folderView->clearSelection();
    }
}

void SideBar::onSavedStatusChanged(bool saved, TableView* view) {
    const int row = rowOf(view);
    if (row < 0)
        return;
    QListWidgetItem* item = openFilesList->item(row);
    item->setData(kSavedRole, saved);
    refreshText(item);
}

void SideBar::refreshText(QListWidgetItem* item) {
    const QString name = item->data(kNameRole).toString();
    item->setText(item->data(kSavedRole).toBool() ? name : name + QStringLiteral(" *"));
    const QString path = item->data(kPathRole).toString();
    item->setToolTip(path.isEmpty() ? name : QDir::toNativeSeparators(path));
}

int SideBar::getNumOpenFiles() const {
    return openFilesList->count();
}

QString SideBar::openFileText(int row) const {
    const QListWidgetItem* item = openFilesList->item(row);
    return item ? item->text() : QString();
}

TableView* SideBar::tableAt(int row) const {
    const QListWidgetItem* item = openFilesList->item(row);
    return item ? reinterpret_cast<TableView*>(item->data(kViewRole).value<quintptr>()) : nullptr;
}

int SideBar::selectedRow() const {
    const QList<QListWidgetItem*> selected = openFilesList->selectedItems();
    return selected.isEmpty() ? -1 : openFilesList->row(selected.first());
}

void SideBar::onOpenFilesContextMenu(const QPoint& pos) {
    QListWidgetItem* item = openFilesList->itemAt(pos);
    if (!item)
        return;
    // The file commands work on the active table: the file clicked becomes it first.
    if (TableView* view = tableAt(openFilesList->row(item)))
        emit tableSelectedSignal(view);
    CommandMenus::exec(this, contextMenuActions, openFilesList->viewport()->mapToGlobal(pos));
}

// --- Folders ------------------------------------------------------------------------------------

bool SideBar::openFolder(const QString& path) {
    if (!QFileInfo(path).isDir() || !folderModel->addTopFolder(path))
        return false;
    refreshFolderPart();
    // The new folder comes into view, open one level.
    const QModelIndex index = folderModel->index(folderModel->rowCount() - 1, 0);
    folderView->expand(index);
    folderView->scrollTo(index);
    folderView->setCurrentIndex(index);
    emit foldersChangedSignal();
    return true;
}

bool SideBar::closeFolder(const QString& path) {
    if (!folderModel->removeTopFolder(path))
        return false;
    refreshFolderPart();
    emit foldersChangedSignal();
    return true;
}

void SideBar::setFolders(const QStringList& paths) {
    folderModel->setTopFolders(paths);
    refreshFolderPart();
    emit foldersChangedSignal();
}

QStringList SideBar::getFolders() const {
    return folderModel->topFolders();
}

QString SideBar::currentTopFolder() const {
    return folderModel->filePath(folderModel->topFolderOf(folderView->currentIndex()));
}

void SideBar::renameFolderPath(const QString& oldPath, const QString& newPath) {
    const QStringList before = folderModel->topFolders();
    folderModel->replaceFolderPath(oldPath, newPath);
    if (folderModel->topFolders() != before) {
        refreshFolderPart();
        emit foldersChangedSignal();
    }
}

void SideBar::setOpenablePredicate(std::function<bool(const QString&)> predicate) {
    folderModel->setOpenablePredicate(std::move(predicate));
}

void SideBar::refreshFolderPart() {
    // With no folder open the part offers to open one instead of showing an empty tree.
    const bool any = folderModel->rowCount() > 0;
    folderView->setVisible(any);
    openFolderButton->setVisible(!any && openFolderAction);
}

void SideBar::onFolderActivated(const QModelIndex& index) {
    if (folderModel->isOpenable(index))
        emit openFileSignal(folderModel->filePath(index));
}

std::vector<QAction*> SideBar::folderMenuActions(const QModelIndex& index) {
    std::vector<QAction*> actions;
    menuPath = folderModel->filePath(index);
    if (index.isValid() && !folderModel->isDir(index)) {
        openItemAction->setEnabled(folderModel->isOpenable(index));
        actions.push_back(openItemAction);
    }
    if (folderModel->isDir(index)) {
        actions.push_back(renameFolderAction);
        if (folderModel->isTopFolder(index))
            actions.push_back(closeFolderAction);
    }
    if (openFolderAction) {
        if (!actions.empty())
            actions.push_back(nullptr);
        actions.push_back(openFolderAction);
    }
    return actions;
}

void SideBar::onFolderContextMenu(const QPoint& pos) {
    const QModelIndex index = folderView->indexAt(pos);
    if (index.isValid())
        folderView->setCurrentIndex(index);
    CommandMenus::exec(this, folderMenuActions(index), folderView->viewport()->mapToGlobal(pos));
}

// --- Parts and menus ----------------------------------------------------------------------------

void SideBar::showOpenFiles(bool show) {
    openFilesShown = show;
    openFilesPart->setVisible(show);
}

void SideBar::showFolders(bool show) {
    foldersShown = show;
    foldersPart->setVisible(show);
}

void SideBar::setupContextMenus(const Commands& commands) {
    const Commands& c = commands;
    contextMenuActions = CommandMenus::fileActions(c);
    const std::vector<QAction*> folderActions = CommandMenus::actionsFor(c, {&c.openFolder});
    openFolderAction = folderActions.empty() ? nullptr : folderActions.front();
    refreshFolderPart();
}
