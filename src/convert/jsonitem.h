#pragma once

#include "storage/fileparameters.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <QVariant>

// A place in a document's text: line (from 1), column (from 0) and character offset.
struct DocumentLocation {
    int line = 1;
    int column = 0;
    qsizetype offset = 0;
};

// One value of a JSON document, with its place in the text and in the tree. An item owns its
// children. `header()` is its path from the root: keys and array indexes joined by "/", the
// form in which a table keeps a document's shape in its titles.
class JsonItem {
public:
    enum Type : int {
        OBJECT = 0,
        ARRAY = 1,
        STRING = 2,
        NUMBER = 3,
        BOOL = 4,
        NULL_TYPE = 5,
        COMMENT = 6,
    };

    explicit JsonItem(JsonItem* parent = nullptr);
    JsonItem(Type type, JsonItem* parent = nullptr);
    ~JsonItem();
    JsonItem(const JsonItem&) = delete;
    JsonItem& operator=(const JsonItem&) = delete;

    JsonItem* parent() const { return parentItem; }
    const QList<JsonItem*>& children() const { return childItems; }
    int childCount() const { return static_cast<int>(childItems.size()); }
    JsonItem* child(int i) const { return i >= 0 && i < childItems.size() ? childItems.at(i) : nullptr; }

    Type type = NULL_TYPE;
    QVariant value;
    QString key;
    int indent = 0;
    DocumentLocation start;
    DocumentLocation end;
    QList<QString> comments;
    bool closed = false;

    void setType(Type t) { type = t; }
    void setKey(const QString& k);
    void setLocation(int line, int column, qsizetype offset) { start = {line, column, offset}; }
    void setLocationBack(int line, int column, qsizetype offset) { end = {line, column, offset}; }

    bool isKeyValuePair() const { return parentItem && parentItem->type == OBJECT; }
    int index() const;
    void setValue(const QVariant& v, bool computeType);
    // The type a text written as a table cell stands for: a number when it reads as a double, the
    // words true, false and null, otherwise a string.
    void computeTypeFromValue();

    void addChild(JsonItem* item);
    void addChildren(const QList<JsonItem*>& items);
    void insertChild(int at, JsonItem* item);
    void insertChildren(int at, const QList<JsonItem*>& items);
    // Takes the child out without deleting it.
    void removeChild(JsonItem* item);
    // Takes out children [first, last]; deletes them with `deleteThem`.
    void removeChildren(int first, int last, bool deleteThem);
    // Moves the item below `newParent` (its indent follows); with `addToParent` it is also
    // appended to the new parent's children.
    void setParent(JsonItem* newParent, bool addToParent);

    void invalidateHeaderCache();
    void invalidateChildrenHeaderCache();
    QString header() const;

    // Appends the item as JSON text; `indentText` indents four blanks a level.
    void addJsonString(QByteArray& out, bool indentText, LineEndingType lineEnding) const;
    QString print() const;
    static QString typeName(Type type);

private:
    void setIndentFrom(int depth);

    JsonItem* parentItem = nullptr;
    QList<JsonItem*> childItems;
    int position = -1; // index among the parent's children, kept as they change
    mutable QString cachedHeader;
    mutable bool headerValid = false;
};
