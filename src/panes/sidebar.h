#pragma once

#include <QStringList>
#include <QWidget>

#include <functional>
#include <vector>

class Commands;
class FolderTreeModel;
class QAction;
class QLabel;
class QListWidget;
class QListWidgetItem;
class QModelIndex;
class QPushButton;
class QSplitter;
class QTreeView;
class TableView;

// The side bar: the open files of the window in tab order, the selected one the active table,
// and under it the folders the user opened, as trees that list a folder when it is expanded.
// Each part is shown or hidden on its own.
class SideBar : public QWidget {
    Q_OBJECT

public:
    explicit SideBar(QWidget* parent = nullptr);

    // --- Open files: kept in step with the tables of the pane.
    void addTable(TableView* view, const QString& name, const QString& path);
    void removeTable(TableView* view);
    void renameTable(TableView* view, const QString& name, const QString& path);
    void selectItem(TableView* view);
    void onSavedStatusChanged(bool saved, TableView* view);
    int getNumOpenFiles() const;
    // The row's text as shown: the name, with " *" while the table has unsaved changes.
    QString openFileText(int row) const;
    TableView* tableAt(int row) const;
    int selectedRow() const;
    QListWidget* getOpenFilesList() const { return openFilesList; }

    // --- Folders.
    // False for a path that is no folder or is open already.
    bool openFolder(const QString& path);
    bool closeFolder(const QString& path);
    void setFolders(const QStringList& paths);
    QStringList getFolders() const;
    // The top folder of the item the folder tree has as current; empty when none.
    QString currentTopFolder() const;
    void renameFolderPath(const QString& oldPath, const QString& newPath);
    FolderTreeModel* getFolderModel() const { return folderModel; }
    QTreeView* getFolderView() const { return folderView; }
    void setOpenablePredicate(std::function<bool(const QString&)> predicate);

    // --- The parts.
    void showOpenFiles(bool show);
    void showFolders(bool show);
    bool isOpenFilesShown() const { return openFilesShown; }
    bool isFoldersShown() const { return foldersShown; }
    // True when at least one part is on: a side bar with neither takes no room.
    bool hasContent() const { return openFilesShown || foldersShown; }

    // The file commands for the open files' menu, and Open Folder for the folders' part.
    void setupContextMenus(const Commands& commands);
    const std::vector<QAction*>& getContextMenuActions() const { return contextMenuActions; }
    // The actions of the folder tree's menu for the item at `index` (its row in the model).
    std::vector<QAction*> folderMenuActions(const QModelIndex& index);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

signals:
    void tableSelectedSignal(TableView* view);
    void openFileSignal(const QString& path);
    void renameFolderSignal(const QString& path);
    void closeFolderSignal(const QString& path);
    void foldersChangedSignal();

private:
    int rowOf(const TableView* view) const;
    void refreshText(QListWidgetItem* item);
    void refreshFolderPart();
    void onOpenFilesContextMenu(const QPoint& pos);
    void onFolderContextMenu(const QPoint& pos);
    void onFolderActivated(const QModelIndex& index);

    QSplitter* splitter = nullptr;
    QWidget* openFilesPart = nullptr;
    QWidget* foldersPart = nullptr;
    QListWidget* openFilesList = nullptr;
    QTreeView* folderView = nullptr;
    FolderTreeModel* folderModel = nullptr;
    QPushButton* openFolderButton = nullptr;
    QAction* openFolderAction = nullptr;
    QAction* openItemAction = nullptr;
    QAction* renameFolderAction = nullptr;
    QAction* closeFolderAction = nullptr;
    QString menuPath;   // the path the folder menu was opened on
    QString activePath; // the active table's file
    std::vector<QAction*> contextMenuActions;
    bool openFilesShown = true;
    bool foldersShown = true;
};
