#pragma once

#include <QAbstractItemModel>
#include <QIcon>
#include <QStringList>

#include <functional>
#include <memory>
#include <vector>

class QFileSystemWatcher;
class QTimer;

// The folders of the side bar as a tree: the top folders the user opened, each with what lies in
// it. A folder is listed only when it is first expanded, and from then on kept in step with the
// disk through a watcher on that folder alone, so a folder of many thousands of files costs one
// listing when it is opened and nothing while it is closed. Hidden entries are left out.
class FolderTreeModel : public QAbstractItemModel {
    Q_OBJECT

public:
    static constexpr int PathRole = Qt::UserRole + 1;

    explicit FolderTreeModel(QObject* parent = nullptr);
    ~FolderTreeModel() override;

    // The top folders, in the order given; a folder is listed once however often it is given.
    void setTopFolders(const QStringList& paths);
    QStringList topFolders() const;
    // False when the folder is there already.
    bool addTopFolder(const QString& path);
    bool removeTopFolder(const QString& path);
    // Puts `newPath` in the place of every top folder at or below `oldPath` (a renamed folder).
    void replaceFolderPath(const QString& oldPath, const QString& newPath);
    // Files for which this is false are shown dimmed: the program does not read them.
    void setOpenablePredicate(std::function<bool(const QString&)> predicate);

    QString filePath(const QModelIndex& index) const;
    bool isDir(const QModelIndex& index) const;
    bool isTopFolder(const QModelIndex& index) const;
    bool isOpenable(const QModelIndex& index) const;
    // The top folder that holds `index` (itself for a top folder), as an index.
    QModelIndex topFolderOf(const QModelIndex& index) const;
    // The index of a top folder or of an entry already listed; invalid if none.
    QModelIndex indexOfPath(const QString& path) const;
    // Lists `path` again and brings the tree in step with what is there now.
    void refreshFolder(const QString& path);
    QStringList watchedFolders() const;

    QModelIndex index(int row, int column, const QModelIndex& parent = QModelIndex()) const override;
    QModelIndex parent(const QModelIndex& child) const override;
    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    int columnCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    bool hasChildren(const QModelIndex& parent = QModelIndex()) const override;
    bool canFetchMore(const QModelIndex& parent) const override;
    void fetchMore(const QModelIndex& parent) override;

private:
    struct Node {
        QString name;
        QString path;
        bool dir = false;
        bool listed = false;
        Node* parent = nullptr;
        std::vector<std::unique_ptr<Node>> children;
    };
    struct Entry {
        QString name;
        bool dir = false;
    };

    Node* nodeOf(const QModelIndex& index) const;
    QModelIndex indexOfNode(const Node* node) const;
    int rowOf(const Node* node) const;
    std::vector<Entry> listFolder(const QString& path) const;
    bool lessThan(const Entry& a, const Entry& b) const;
    std::unique_ptr<Node> makeNode(const Entry& entry, Node* parent) const;
    void pruneWatcher();
    void listNode(Node* node);
    void syncNode(Node* node);
    void folderChanged(const QString& path);
    std::unique_ptr<Node> makeTopNode(const QString& path) const;

    Node root;
    QFileSystemWatcher* watcher = nullptr;
    // Folders that changed on disk and are read again when the timer runs out.
    QStringList changedFolders;
    QTimer* changeTimer = nullptr;
    std::function<bool(const QString&)> openable;
    QIcon folderIcon;
    QIcon fileIcon;
};
