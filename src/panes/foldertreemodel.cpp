#include "panes/foldertreemodel.h"

#include <QApplication>
#include <QDir>
#include <QDirIterator>
#include <QFileInfo>
#include <QFileSystemWatcher>
#include <QFont>
#include <QPalette>
#include <QSet>
#include <QStyle>
#include <QTimer>

#include <algorithm>
#include <iterator>
#include <utility>

namespace {

QString cleanPath(const QString& path) {
    return QDir::cleanPath(QFileInfo(path).absoluteFilePath());
}

bool isAtOrBelow(const QString& path, const QString& folder) {
    return path == folder ||
           path.startsWith(folder.endsWith(QLatin1Char('/')) ? folder : folder + QLatin1Char('/'));
}

// Names compare as people read them: runs of digits by their value ("file2" before
// "file10"), the rest without regard to case.
int naturalCompare(const QString& a, const QString& b) {
    qsizetype i = 0;
    qsizetype j = 0;
    while (i < a.size() && j < b.size()) {
        if (a[i].isDigit() && b[j].isDigit()) {
            qsizetype endA = i;
            qsizetype endB = j;
            while (endA < a.size() && a[endA].isDigit())
                ++endA;
            while (endB < b.size() && b[endB].isDigit())
                ++endB;
            qsizetype startA = i;
            qsizetype startB = j;
            while (startA + 1 < endA && a[startA] == QLatin1Char('0'))
                ++startA;
            while (startB + 1 < endB && b[startB] == QLatin1Char('0'))
                ++startB;
            if (endA - startA != endB - startB)
                return endA - startA < endB - startB ? -1 : 1;
            for (; startA < endA; ++startA, ++startB) {
                if (a[startA] != b[startB])
                    return a[startA] < b[startB] ? -1 : 1;
            }
            i = endA;
            j = endB;
            continue;
        }
        const QChar ca = a[i].toCaseFolded();
        const QChar cb = b[j].toCaseFolded();
        if (ca != cb)
            return ca < cb ? -1 : 1;
        ++i;
        ++j;
    }
    if (i < a.size() || j < b.size())
        return i < a.size() ? 1 : -1;
    return 0;
}

} // namespace

FolderTreeModel::FolderTreeModel(QObject* parent) : QAbstractItemModel(parent) {
    root.dir = true;
    root.listed = true;
    watcher = new QFileSystemWatcher(this);
    connect(watcher, &QFileSystemWatcher::directoryChanged, this, &FolderTreeModel::folderChanged);
    // A program writing thousands of files tells of each: the folder is read once per moment
    // rather than once per file, which would hold the window up for seconds.
    changeTimer = new QTimer(this);
    changeTimer->setSingleShot(true);
    changeTimer->setInterval(100);
    connect(changeTimer, &QTimer::timeout, this, [this] {
        const QStringList paths = std::exchange(changedFolders, {});
        for (const QString& path : paths)
            refreshFolder(path);
    });
    if (qApp) {
        folderIcon = QApplication::style()->standardIcon(QStyle::SP_DirIcon);
        fileIcon = QApplication::style()->standardIcon(QStyle::SP_FileIcon);
    }
}

FolderTreeModel::~FolderTreeModel() = default;

// --- Top folders --------------------------------------------------------------------------------

std::unique_ptr<FolderTreeModel::Node> FolderTreeModel::makeTopNode(const QString& path) const {
    auto node = std::make_unique<Node>();
    node->path = path;
    node->name = QFileInfo(path).fileName();
    if (node->name.isEmpty())
        node->name = path; // the root folder
    node->dir = true;
    node->parent = const_cast<Node*>(&root);
    return node;
}

void FolderTreeModel::setTopFolders(const QStringList& paths) {
    beginResetModel();
    root.children.clear();
    for (const QString& path : paths) {
        if (path.trimmed().isEmpty())
            continue;
        const QString clean = cleanPath(path);
        const bool known = std::any_of(root.children.begin(), root.children.end(),
                                       [&clean](const auto& node) { return node->path == clean; });
        if (!known)
            root.children.push_back(makeTopNode(clean));
    }
    endResetModel();
    pruneWatcher();
}

QStringList FolderTreeModel::topFolders() const {
    QStringList list;
    for (const auto& node : root.children)
        list.append(node->path);
    return list;
}

bool FolderTreeModel::addTopFolder(const QString& path) {
    const QString clean = cleanPath(path);
    if (topFolders().contains(clean))
        return false;
    const int row = static_cast<int>(root.children.size());
    beginInsertRows(QModelIndex(), row, row);
    root.children.push_back(makeTopNode(clean));
    endInsertRows();
    return true;
}

bool FolderTreeModel::removeTopFolder(const QString& path) {
    const int row = static_cast<int>(topFolders().indexOf(cleanPath(path)));
    if (row < 0)
        return false;
    beginRemoveRows(QModelIndex(), row, row);
    root.children.erase(root.children.begin() + row);
    endRemoveRows();
    pruneWatcher();
    return true;
}

void FolderTreeModel::replaceFolderPath(const QString& oldPath, const QString& newPath) {
    const QString from = cleanPath(oldPath);
    const QString to = cleanPath(newPath);
    QStringList list = topFolders();
    bool changed = false;
    for (QString& path : list) {
        if (isAtOrBelow(path, from)) {
            path = to + path.mid(from.size());
            changed = true;
        }
    }
    if (changed)
        setTopFolders(list);
}

void FolderTreeModel::setOpenablePredicate(std::function<bool(const QString&)> predicate) {
    openable = std::move(predicate);
    if (!root.children.empty())
        emit dataChanged(index(0, 0), index(rowCount() - 1, 0));
}

// --- Reading the model --------------------------------------------------------------------------

FolderTreeModel::Node* FolderTreeModel::nodeOf(const QModelIndex& index) const {
    return index.isValid() ? static_cast<Node*>(index.internalPointer()) : const_cast<Node*>(&root);
}

int FolderTreeModel::rowOf(const Node* node) const {
    const Node* parent = node->parent;
    if (!parent)
        return -1;
    for (std::size_t i = 0; i < parent->children.size(); ++i) {
        if (parent->children[i].get() == node)
            return static_cast<int>(i);
    }
    return -1;
}

QModelIndex FolderTreeModel::indexOfNode(const Node* node) const {
    if (!node || node == &root)
        return QModelIndex();
    const int row = rowOf(node);
    return row < 0 ? QModelIndex() : createIndex(row, 0, const_cast<Node*>(node));
}

QString FolderTreeModel::filePath(const QModelIndex& index) const {
    return index.isValid() ? nodeOf(index)->path : QString();
}

bool FolderTreeModel::isDir(const QModelIndex& index) const {
    return index.isValid() && nodeOf(index)->dir;
}

bool FolderTreeModel::isTopFolder(const QModelIndex& index) const {
    return index.isValid() && nodeOf(index)->parent == &root;
}

bool FolderTreeModel::isOpenable(const QModelIndex& index) const {
    if (!index.isValid() || nodeOf(index)->dir)
        return false;
    return !openable || openable(nodeOf(index)->path);
}

QModelIndex FolderTreeModel::topFolderOf(const QModelIndex& index) const {
    const Node* node = index.isValid() ? nodeOf(index) : nullptr;
    while (node && node->parent && node->parent != &root)
        node = node->parent;
    return node ? indexOfNode(node) : QModelIndex();
}

QModelIndex FolderTreeModel::indexOfPath(const QString& path) const {
    if (path.isEmpty())
        return QModelIndex();
    const QString clean = cleanPath(path);
    for (const auto& top : root.children) {
        if (!isAtOrBelow(clean, top->path))
            continue;
        const Node* node = top.get();
        // Walk down the listed folders, one name at a time.
        const QStringList parts = clean.mid(top->path.size()).split(QLatin1Char('/'), Qt::SkipEmptyParts);
        for (const QString& part : parts) {
            const auto it = std::find_if(node->children.begin(), node->children.end(),
                                         [&part](const auto& child) { return child->name == part; });
            if (it == node->children.end()) {
                node = nullptr;
                break;
            }
            node = it->get();
        }
        if (node)
            return indexOfNode(node);
    }
    return QModelIndex();
}

QStringList FolderTreeModel::watchedFolders() const {
    return watcher->directories();
}

QModelIndex FolderTreeModel::index(int row, int column, const QModelIndex& parent) const {
    const Node* node = nodeOf(parent);
    if (column != 0 || row < 0 || row >= static_cast<int>(node->children.size()))
        return QModelIndex();
    return createIndex(row, 0, node->children[static_cast<std::size_t>(row)].get());
}

QModelIndex FolderTreeModel::parent(const QModelIndex& child) const {
    if (!child.isValid())
        return QModelIndex();
    return indexOfNode(nodeOf(child)->parent);
}

int FolderTreeModel::rowCount(const QModelIndex& parent) const {
    if (parent.column() > 0)
        return 0;
    return static_cast<int>(nodeOf(parent)->children.size());
}

int FolderTreeModel::columnCount(const QModelIndex&) const {
    return 1;
}

QVariant FolderTreeModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid())
        return QVariant();
    const Node* node = nodeOf(index);
    const bool top = node->parent == &root;
    switch (role) {
    case Qt::DisplayRole:
        return node->name;
    case Qt::ToolTipRole:
        // A top folder that has gone (an unplugged drive) stays until it is closed.
        if (top && !QFileInfo(node->path).isDir())
            return tr("%1 (not found)").arg(QDir::toNativeSeparators(node->path));
        return QDir::toNativeSeparators(node->path);
    case PathRole:
        return node->path;
    case Qt::DecorationRole:
        return node->dir ? folderIcon : fileIcon;
    case Qt::FontRole:
        if (top) {
            QFont font;
            font.setBold(true);
            return font;
        }
        return QVariant();
    case Qt::ForegroundRole:
        if ((!node->dir && openable && !openable(node->path)) || (top && !QFileInfo(node->path).isDir()))
            return QApplication::palette().brush(QPalette::Disabled, QPalette::Text);
        return QVariant();
    default:
        return QVariant();
    }
}

Qt::ItemFlags FolderTreeModel::flags(const QModelIndex& index) const {
    if (!index.isValid())
        return Qt::NoItemFlags;
    return Qt::ItemIsEnabled | Qt::ItemIsSelectable;
}

bool FolderTreeModel::hasChildren(const QModelIndex& parent) const {
    const Node* node = nodeOf(parent);
    if (!node->dir)
        return false;
    // Until it is listed a folder shows its arrow; listing it tells whether it holds anything.
    return !node->listed || !node->children.empty();
}

bool FolderTreeModel::canFetchMore(const QModelIndex& parent) const {
    const Node* node = nodeOf(parent);
    return parent.isValid() && node->dir && !node->listed;
}

void FolderTreeModel::fetchMore(const QModelIndex& parent) {
    if (!canFetchMore(parent))
        return;
    listNode(nodeOf(parent));
}

// --- Listing folders ----------------------------------------------------------------------------

bool FolderTreeModel::lessThan(const Entry& a, const Entry& b) const {
    // Folders first, then files, each by name.
    if (a.dir != b.dir)
        return a.dir;
    const int order = naturalCompare(a.name, b.name);
    return order != 0 ? order < 0 : a.name < b.name;
}

std::vector<FolderTreeModel::Entry> FolderTreeModel::listFolder(const QString& path) const {
    std::vector<Entry> entries;
    QDirIterator it(path, QDir::AllEntries | QDir::NoDotAndDotDot | QDir::System);
    while (it.hasNext()) {
        it.next();
        const QFileInfo info = it.fileInfo();
        entries.push_back({info.fileName(), info.isDir()});
    }
    std::sort(entries.begin(), entries.end(),
              [this](const Entry& a, const Entry& b) { return lessThan(a, b); });
    return entries;
}

std::unique_ptr<FolderTreeModel::Node> FolderTreeModel::makeNode(const Entry& entry, Node* parent) const {
    auto node = std::make_unique<Node>();
    node->name = entry.name;
    node->path = parent->path.endsWith(QLatin1Char('/')) ? parent->path + entry.name
                                                         : parent->path + QLatin1Char('/') + entry.name;
    node->dir = entry.dir;
    node->parent = parent;
    return node;
}

void FolderTreeModel::listNode(Node* node) {
    const std::vector<Entry> entries = listFolder(node->path);
    node->listed = true;
    if (QFileInfo(node->path).isDir())
        watcher->addPath(node->path);
    if (entries.empty()) {
        // The arrow goes: the folder turned out empty.
        const QModelIndex index = indexOfNode(node);
        emit dataChanged(index, index);
        return;
    }
    beginInsertRows(indexOfNode(node), 0, static_cast<int>(entries.size()) - 1);
    node->children.reserve(entries.size());
    for (const Entry& entry : entries)
        node->children.push_back(makeNode(entry, node));
    endInsertRows();
}

void FolderTreeModel::pruneWatcher() {
    // A folder can be listed under two top folders; it is watched while any listing of it stays.
    QStringList listed;
    std::function<void(const Node*)> collect = [&](const Node* node) {
        if (!node->dir || !node->listed)
            return;
        listed.append(node->path);
        for (const auto& child : node->children)
            collect(child.get());
    };
    for (const auto& top : root.children)
        collect(top.get());
    QStringList gone;
    for (const QString& path : watcher->directories()) {
        if (!listed.contains(path))
            gone.append(path);
    }
    if (!gone.isEmpty())
        watcher->removePaths(gone);
}

void FolderTreeModel::folderChanged(const QString& path) {
    if (!changedFolders.contains(path))
        changedFolders.append(path);
    // Not restarted by later news: a folder that keeps changing is still shown every moment.
    if (!changeTimer->isActive())
        changeTimer->start();
}

void FolderTreeModel::refreshFolder(const QString& path) {
    const QString clean = cleanPath(path);
    // Every listing of that folder: it can stand under two top folders.
    std::vector<Node*> nodes;
    std::function<void(Node*)> collect = [&](Node* node) {
        if (!node->dir || !node->listed)
            return;
        if (node->path == clean)
            nodes.push_back(node);
        else if (!isAtOrBelow(clean, node->path))
            return;
        for (const auto& child : node->children)
            collect(child.get());
    };
    for (const auto& top : root.children)
        collect(top.get());
    for (Node* node : nodes)
        syncNode(node);
}

void FolderTreeModel::syncNode(Node* node) {
    const std::vector<Entry> entries = listFolder(node->path);
    const QModelIndex parent = indexOfNode(node);
    const auto sameEntry = [](const Node& n, const Entry& e) { return n.name == e.name && n.dir == e.dir; };
    const auto key = [](const QString& name, bool dir) {
        return (dir ? QLatin1Char('d') : QLatin1Char('f')) + name;
    };
    QSet<QString> present;
    present.reserve(static_cast<qsizetype>(entries.size()));
    for (const Entry& entry : entries)
        present.insert(key(entry.name, entry.dir));
    // What went: rows whose entry is no longer there, last first, each run of them in one step.
    bool removed = false;
    int row = static_cast<int>(node->children.size()) - 1;
    while (row >= 0) {
        const auto gone = [&](int r) {
            const Node& child = *node->children[static_cast<std::size_t>(r)];
            return !present.contains(key(child.name, child.dir));
        };
        if (!gone(row)) {
            --row;
            continue;
        }
        int first = row;
        while (first > 0 && gone(first - 1))
            --first;
        beginRemoveRows(parent, first, row);
        node->children.erase(node->children.begin() + first, node->children.begin() + row + 1);
        endRemoveRows();
        removed = true;
        row = first - 1;
    }
    if (removed)
        pruneWatcher();
    // What came: both lists are in the same order, so new entries go where the walk stands, each
    // run of them in one step.
    std::size_t at = 0;
    std::size_t next = 0;
    while (next < entries.size()) {
        if (at < node->children.size() && sameEntry(*node->children[at], entries[next])) {
            ++at;
            ++next;
            continue;
        }
        std::size_t end = next + 1;
        while (end < entries.size() &&
               !(at < node->children.size() && sameEntry(*node->children[at], entries[end])))
            ++end;
        const int first = static_cast<int>(at);
        beginInsertRows(parent, first, first + static_cast<int>(end - next) - 1);
        std::vector<std::unique_ptr<Node>> added;
        added.reserve(end - next);
        for (std::size_t i = next; i < end; ++i)
            added.push_back(makeNode(entries[i], node));
        node->children.insert(node->children.begin() + first, std::make_move_iterator(added.begin()),
                              std::make_move_iterator(added.end()));
        endInsertRows();
        at += end - next;
        next = end;
    }
    if (entries.empty())
        emit dataChanged(parent, parent);
}
