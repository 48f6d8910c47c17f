#pragma once

#include "convert/jsonitem.h"
#include "storage/fileparameters.h"

#include <QByteArray>
#include <QList>
#include <QPair>
#include <QString>
#include <QXmlStreamAttributes>

// One node of an XML document: an element with its attributes and text, or a declaration,
// comment, CDATA section or DTD. An item owns its children.
class XmlItem {
public:
    enum Type : int {
        REGULAR = 0,
        EMPTY = 1,
        DECLARATION = 2,
        COMMENT = 3,
        CDATA = 4,
        DTD = 5,
        UNDEFINED = 6,
    };

    explicit XmlItem(XmlItem* parent = nullptr);
    XmlItem(Type type, XmlItem* parent = nullptr);
    XmlItem(const QString& name, XmlItem* parent = nullptr);
    XmlItem(const QString& name, const QString& value, XmlItem* parent = nullptr);
    XmlItem(const QString& name, const QXmlStreamAttributes& attributes, XmlItem* parent = nullptr);
    XmlItem(const QString& name, const QXmlStreamAttributes& attributes, const QString& value,
            XmlItem* parent = nullptr);
    ~XmlItem();
    XmlItem(const XmlItem&) = delete;
    XmlItem& operator=(const XmlItem&) = delete;

    XmlItem* parent() const { return parentItem; }
    const QList<XmlItem*>& children() const { return childItems; }
    int childCount() const { return static_cast<int>(childItems.size()); }
    // How many children are elements named `name`.
    int childCount(const QString& name) const;

    Type type = REGULAR;
    QString name;
    QString value;
    QXmlStreamAttributes attributes;
    int indent = 0;
    DocumentLocation start;
    DocumentLocation end;
    bool closed = false;

    void setLocation(int line, int column, qsizetype offset) { start = {line, column, offset}; }
    void setLocationBack(int line, int column, qsizetype offset) { end = {line, column, offset}; }

    int index() const;
    // Position among the siblings of the same name.
    int index(const QString& sameName) const;

    void addChild(XmlItem* item);
    void addChildren(const QList<XmlItem*>& items);
    void insertChild(int at, XmlItem* item);
    void insertChildren(int at, const QList<XmlItem*>& items);
    void removeChild(XmlItem* item);
    void removeChildren(int first, int last, bool deleteThem);
    void setParent(XmlItem* newParent, bool addToParent);

    // The path from the root, "/name" a level. With `depthLimit` >= 0 the walk stops at an item
    // whose indent is under it. With `withIndexes`, a level among same-named siblings adds
    // "/index".
    QString header(int depthLimit = -1, bool withIndexes = false) const;
    // (column title, value) for each attribute ("header/name_") and for the item's own text.
    QList<QPair<QString, QString>> headerValues(int depthLimit = -1, bool withIndexes = false) const;

    QString getAttributesString() const;
    // Appends the item as XML text; `indentText` indents four blanks a level.
    void addXmlString(QByteArray& out, bool indentText, LineEndingType lineEnding) const;
    QString print() const;
    static QString typeName(Type type);

private:
    void setIndentFrom(int depth);

    XmlItem* parentItem = nullptr;
    QList<XmlItem*> childItems;
};
