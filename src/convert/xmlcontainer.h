#pragma once

#include "convert/xmlitem.h"

#include <QByteArray>
#include <QList>
#include <QString>

#include <vector>

// An XML document as a tree of XmlItem and the same items in document order, read with
// QXmlStreamReader. Reading stops at the first fault and keeps what was read before it; the
// reader's own error is kept for whoever needs to know the document was not whole.
class XmlContainer {
public:
    XmlContainer() = default;
    explicit XmlContainer(const QString& text);
    ~XmlContainer();
    XmlContainer(const XmlContainer&) = delete;
    XmlContainer& operator=(const XmlContainer&) = delete;

    void setText(const QString& text);
    const QString& text() const { return source; }

    // Reads the text; stops after `limit` items, or reads all with -1.
    void parse(int limit = -1);
    void clearItems();
    bool hasError() const { return !errorText.isEmpty(); }
    const QString& errorString() const { return errorText; }

    const QList<XmlItem*>& items() const { return itemList; }
    qsizetype size() const { return itemList.size(); }
    bool isEmpty() const { return itemList.isEmpty(); }
    XmlItem* operator[](unsigned long i) const {
        return i < static_cast<unsigned long>(itemList.size()) ? itemList.at(static_cast<qsizetype>(i))
                                                               : nullptr;
    }
    // Takes an item (and, through it, its children) into the list and the container's care.
    void addItem(XmlItem* item) { itemList.append(item); }

    void computeItemLengths();
    const std::vector<qsizetype>& itemLengths() const { return lengths; }

    QString print() const;
    // Every top-level item, each ending in a line end.
    void write(QByteArray& out, bool indentText, LineEndingType lineEnding) const;
    QByteArray write(bool indentText, LineEndingType lineEnding) const;

private:
    QString source;
    QList<XmlItem*> itemList;
    std::vector<qsizetype> lengths;
    QString errorText;
};
