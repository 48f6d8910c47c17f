#include "convert/jsonitem.h"

#include <vector>

namespace {

QByteArray lineEndOf(LineEndingType lineEnding) {
    return lineEnding == LINE_ENDING_WINDOWS ? QByteArrayLiteral("\r\n") : QByteArrayLiteral("\n");
}

} // namespace

JsonItem::JsonItem(JsonItem* parent) {
    if (parent)
        setParent(parent, true);
}

JsonItem::JsonItem(Type t, JsonItem* parent) : type(t) {
    if (parent)
        setParent(parent, true);
}

JsonItem::~JsonItem() {
    // Deleted by a list rather than by recursion: a document nested thousands deep must not run
    // the stack out.
    QList<JsonItem*> pending = std::move(childItems);
    childItems.clear();
    while (!pending.isEmpty()) {
        JsonItem* item = pending.takeLast();
        pending.append(item->childItems);
        item->childItems.clear();
        delete item;
    }
}

void JsonItem::setKey(const QString& k) {
    key = k;
    invalidateHeaderCache();
}

int JsonItem::index() const {
    return parentItem ? position : -1;
}

void JsonItem::setValue(const QVariant& v, bool computeType) {
    value = v;
    if (computeType)
        computeTypeFromValue();
}

void JsonItem::computeTypeFromValue() {
    const QString text = value.toString();
    bool ok = false;
    text.toDouble(&ok);
    if (ok)
        type = NUMBER;
    else if (text == QLatin1String("true") || text == QLatin1String("false"))
        type = BOOL;
    else if (text == QLatin1String("null"))
        type = NULL_TYPE;
    else
        type = STRING;
}

void JsonItem::addChild(JsonItem* item) {
    insertChild(childCount(), item);
}

void JsonItem::addChildren(const QList<JsonItem*>& items) {
    insertChildren(childCount(), items);
}

void JsonItem::insertChild(int at, JsonItem* item) {
    if (!item)
        return;
    if (item->parentItem && item->parentItem != this)
        item->parentItem->removeChild(item);
    at = std::clamp(at, 0, childCount());
    childItems.insert(at, item);
    item->parentItem = this;
    item->setIndentFrom(indent + 1);
    // Indexes of the later siblings moved.
    for (int i = at; i < childCount(); ++i) {
        childItems.at(i)->position = i;
        if (i > at)
            childItems.at(i)->invalidateHeaderCache();
    }
}

void JsonItem::insertChildren(int at, const QList<JsonItem*>& items) {
    for (JsonItem* item : items)
        insertChild(at++, item);
}

void JsonItem::removeChild(JsonItem* item) {
    const qsizetype at = childItems.indexOf(item);
    if (at < 0)
        return;
    childItems.removeAt(at);
    item->parentItem = nullptr;
    item->position = -1;
    item->setIndentFrom(0);
    for (qsizetype i = at; i < childItems.size(); ++i) {
        childItems.at(i)->position = static_cast<int>(i);
        childItems.at(i)->invalidateHeaderCache();
    }
}

void JsonItem::removeChildren(int first, int last, bool deleteThem) {
    first = std::max(first, 0);
    last = std::min(last, childCount() - 1);
    for (int i = last; i >= first; --i) {
        JsonItem* item = childItems.at(i);
        removeChild(item);
        if (deleteThem)
            delete item;
    }
}

void JsonItem::setParent(JsonItem* newParent, bool addToParent) {
    if (parentItem)
        parentItem->removeChild(this);
    if (newParent && addToParent) {
        newParent->addChild(this);
        return;
    }
    parentItem = newParent;
    setIndentFrom(newParent ? newParent->indent + 1 : 0);
}

void JsonItem::setIndentFrom(int depth) {
    indent = depth;
    invalidateHeaderCache();
    for (JsonItem* c : std::as_const(childItems))
        c->setIndentFrom(depth + 1);
}

void JsonItem::invalidateHeaderCache() {
    headerValid = false;
    invalidateChildrenHeaderCache();
}

void JsonItem::invalidateChildrenHeaderCache() {
    for (JsonItem* c : std::as_const(childItems))
        c->invalidateHeaderCache();
}

QString JsonItem::header() const {
    if (headerValid)
        return cachedHeader;
    // From the nearest ancestor that knows its header down to this item, without recursion.
    std::vector<const JsonItem*> chain;
    for (const JsonItem* item = this; item && !item->headerValid; item = item->parentItem)
        chain.push_back(item);
    for (auto it = chain.rbegin(); it != chain.rend(); ++it) {
        const JsonItem* item = *it;
        QString result;
        if (const JsonItem* p = item->parentItem) {
            result = p->cachedHeader;
            if (!result.isEmpty())
                result += QLatin1Char('/');
            result += p->type == OBJECT ? item->key : QString::number(item->position);
        }
        item->cachedHeader = result;
        item->headerValid = true;
    }
    return cachedHeader;
}

void JsonItem::addJsonString(QByteArray& out, bool indentText, LineEndingType lineEnding) const {
    const QByteArray lineEnd = lineEndOf(lineEnding);
    const QByteArray pad = indentText ? QByteArray(4 * indent, ' ') : QByteArray();
    out += pad;
    if (isKeyValuePair())
        out += QStringLiteral("\"%1\" : ").arg(key).toUtf8();
    switch (type) {
    case OBJECT:
    case ARRAY: {
        const char open = type == OBJECT ? '{' : '[';
        const char close = type == OBJECT ? '}' : ']';
        out += open;
        // Comments live on their container and are not written back.
        bool first = true;
        for (const JsonItem* c : childItems) {
            if (c->type == COMMENT)
                continue;
            out += first ? lineEnd : QByteArray(",") + lineEnd;
            first = false;
            c->addJsonString(out, indentText, lineEnding);
        }
        if (!first)
            out += lineEnd + pad;
        out += close;
        break;
    }
    case STRING:
        out += QStringLiteral("\"%1\"").arg(value.toString()).toUtf8();
        break;
    case NUMBER:
        out += value.toString().toUtf8();
        break;
    case BOOL:
        out += value.toString() == QLatin1String("true") ? "true" : "false";
        break;
    case NULL_TYPE:
        out += "null";
        break;
    case COMMENT:
        break;
    }
}

QString JsonItem::typeName(Type t) {
    switch (t) {
    case OBJECT:
        return QStringLiteral("OBJECT");
    case ARRAY:
        return QStringLiteral("ARRAY");
    case STRING:
        return QStringLiteral("STRING");
    case NUMBER:
        return QStringLiteral("NUMBER");
    case BOOL:
        return QStringLiteral("BOOL");
    case NULL_TYPE:
        return QStringLiteral("NULL_TYPE");
    case COMMENT:
        return QStringLiteral("COMMENT");
    }
    return QString();
}

QString JsonItem::print() const {
    return QStringLiteral("Type: %1(%2) Indent: %3 Index: %4 Key: %5 Header: %6")
        .arg(typeName(type), value.toString())
        .arg(indent)
        .arg(index())
        .arg(key, header());
}
