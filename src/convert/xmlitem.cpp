#include "convert/xmlitem.h"

#include <algorithm>

XmlItem::XmlItem(XmlItem* parent) {
    if (parent)
        setParent(parent, true);
}

XmlItem::XmlItem(Type t, XmlItem* parent) : type(t) {
    if (parent)
        setParent(parent, true);
}

XmlItem::XmlItem(const QString& n, XmlItem* parent) : name(n) {
    if (parent)
        setParent(parent, true);
}

XmlItem::XmlItem(const QString& n, const QString& v, XmlItem* parent) : name(n), value(v) {
    if (parent)
        setParent(parent, true);
}

XmlItem::XmlItem(const QString& n, const QXmlStreamAttributes& a, XmlItem* parent) : name(n), attributes(a) {
    if (parent)
        setParent(parent, true);
}

XmlItem::XmlItem(const QString& n, const QXmlStreamAttributes& a, const QString& v, XmlItem* parent)
    : name(n), value(v), attributes(a) {
    if (parent)
        setParent(parent, true);
}

XmlItem::~XmlItem() {
    // Deleted by a list rather than by recursion: a document nested thousands deep must not run
    // the stack out.
    QList<XmlItem*> pending = std::move(childItems);
    childItems.clear();
    while (!pending.isEmpty()) {
        XmlItem* item = pending.takeLast();
        pending.append(item->childItems);
        item->childItems.clear();
        delete item;
    }
}

int XmlItem::childCount(const QString& sameName) const {
    return static_cast<int>(std::count_if(childItems.begin(), childItems.end(), [&](const XmlItem* c) {
        return (c->type == REGULAR || c->type == EMPTY) && c->name == sameName;
    }));
}

int XmlItem::index() const {
    return parentItem ? static_cast<int>(parentItem->childItems.indexOf(this)) : -1;
}

int XmlItem::index(const QString& sameName) const {
    if (!parentItem)
        return -1;
    int at = 0;
    for (const XmlItem* c : parentItem->childItems) {
        if (c == this)
            return at;
        if ((c->type == REGULAR || c->type == EMPTY) && c->name == sameName)
            ++at;
    }
    return -1;
}

void XmlItem::addChild(XmlItem* item) {
    insertChild(childCount(), item);
}

void XmlItem::addChildren(const QList<XmlItem*>& items) {
    insertChildren(childCount(), items);
}

void XmlItem::insertChild(int at, XmlItem* item) {
    if (!item)
        return;
    if (item->parentItem && item->parentItem != this)
        item->parentItem->removeChild(item);
    childItems.insert(std::clamp(at, 0, childCount()), item);
    item->parentItem = this;
    item->setIndentFrom(indent + 1);
}

void XmlItem::insertChildren(int at, const QList<XmlItem*>& items) {
    for (XmlItem* item : items)
        insertChild(at++, item);
}

void XmlItem::removeChild(XmlItem* item) {
    if (childItems.removeOne(item)) {
        item->parentItem = nullptr;
        item->setIndentFrom(0);
    }
}

void XmlItem::removeChildren(int first, int last, bool deleteThem) {
    first = std::max(first, 0);
    last = std::min(last, childCount() - 1);
    for (int i = last; i >= first; --i) {
        XmlItem* item = childItems.at(i);
        removeChild(item);
        if (deleteThem)
            delete item;
    }
}

void XmlItem::setParent(XmlItem* newParent, bool addToParent) {
    if (parentItem)
        parentItem->removeChild(this);
    if (newParent && addToParent) {
        newParent->addChild(this);
        return;
    }
    parentItem = newParent;
    setIndentFrom(newParent ? newParent->indent + 1 : 0);
}

void XmlItem::setIndentFrom(int depth) {
    indent = depth;
    for (XmlItem* c : std::as_const(childItems))
        c->setIndentFrom(depth + 1);
}

QString XmlItem::header(int depthLimit, bool withIndexes) const {
    QStringList levels;
    for (const XmlItem* item = this; item; item = item->parentItem) {
        if (depthLimit >= 0 && item->indent < depthLimit)
            break;
        if (withIndexes && item->parentItem && item->parentItem->childCount(item->name) >= 2)
            levels.prepend(QString::number(item->index(item->name)));
        levels.prepend(item->name);
    }
    QString result;
    for (const QString& level : std::as_const(levels))
        result += QLatin1Char('/') + level;
    return result;
}

QList<QPair<QString, QString>> XmlItem::headerValues(int depthLimit, bool withIndexes) const {
    QList<QPair<QString, QString>> result;
    const QString own = header(depthLimit, withIndexes);
    for (const QXmlStreamAttribute& a : attributes)
        result.append(
            {QStringLiteral("%1/%2_").arg(own, a.qualifiedName().toString()), a.value().toString()});
    result.append({own, value});
    return result;
}

QString XmlItem::getAttributesString() const {
    QStringList parts;
    for (const QXmlStreamAttribute& a : attributes)
        parts.append(QStringLiteral("%1=\"").arg(a.qualifiedName().toString()) + a.value().toString() +
                     QLatin1Char('"'));
    return parts.join(QLatin1Char(' '));
}

void XmlItem::addXmlString(QByteArray& out, bool indentText, LineEndingType lineEnding) const {
    const QByteArray lineEnd =
        lineEnding == LINE_ENDING_WINDOWS ? QByteArrayLiteral("\r\n") : QByteArrayLiteral("\n");
    const QByteArray pad = indentText ? QByteArray(4 * indent, ' ') : QByteArray();
    const QString attrs = getAttributesString();
    const QString open = attrs.isEmpty() ? name : name + QLatin1Char(' ') + attrs;
    out += pad;
    switch (type) {
    case DECLARATION:
        out += "<?xml version=\"1.0\" encoding=\"UTF-8\"?>";
        break;
    case COMMENT:
        out += QStringLiteral("<!--%1-->").arg(value).toUtf8();
        break;
    case CDATA:
        out += QStringLiteral("<![CDATA[%1]]>").arg(value).toUtf8();
        break;
    case DTD:
    case UNDEFINED:
        out += value.toUtf8();
        break;
    case EMPTY:
    case REGULAR:
        if (type == EMPTY || (childItems.isEmpty() && value.isEmpty())) {
            out += QStringLiteral("<%1/>").arg(open).toUtf8();
            break;
        }
        out += QStringLiteral("<%1>").arg(open).toUtf8();
        if (childItems.isEmpty()) {
            out += value.toUtf8();
            out += QStringLiteral("</%1>").arg(name).toUtf8();
            break;
        }
        out += lineEnd;
        for (const XmlItem* c : childItems) {
            c->addXmlString(out, indentText, lineEnding);
            out += lineEnd;
        }
        out += pad + QStringLiteral("</%1>").arg(name).toUtf8();
        break;
    }
}

QString XmlItem::typeName(Type t) {
    static const char* const names[] = {"REGULAR", "EMPTY", "DECLARATION", "COMMENT",
                                        "CDATA",   "DTD",   "UNDEFINED"};
    return t >= REGULAR && t <= UNDEFINED ? QString::fromLatin1(names[t]) : QString();
}

QString XmlItem::print() const {
    return QStringLiteral("Type: %1(%2) Indent: %3 Index: %4 Key: %5 Header: %6")
        .arg(typeName(type), value)
        .arg(indent)
        .arg(index())
        .arg(name, header());
}
