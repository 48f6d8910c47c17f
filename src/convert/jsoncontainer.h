#pragma once

#include "convert/jsonitem.h"

#include <QByteArray>
#include <QList>
#include <QString>

#include <functional>
#include <vector>

// A JSON document as a tree of JsonItem and the same items in document order. The scanner is
// forgiving: comments ("//" and "/* */") are read, bad input never stops it with an error, and
// what was read before a fault stands. Values keep their source text, escapes included.
class JsonContainer {
public:
    JsonContainer() = default;
    explicit JsonContainer(const QString& text);
    ~JsonContainer();
    JsonContainer(const JsonContainer&) = delete;
    JsonContainer& operator=(const JsonContainer&) = delete;

    void setText(const QString& text);
    const QString& text() const { return source; }

    // Reads the text; stops after `limit` items (for a preview), or reads all with -1.
    void parse(int limit = -1);
    // Reads all of the text, telling `progress` from time to time how many characters of how
    // many are read; when it answers false the reading stops there (false).
    using Progress = std::function<bool(qint64 done, qint64 total)>;
    bool parse(const Progress& progress);
    void clearItems();

    const QList<JsonItem*>& items() const { return itemList; }
    qsizetype size() const { return itemList.size(); }
    bool isEmpty() const { return itemList.isEmpty(); }
    JsonItem* operator[](unsigned long i) const {
        return i < static_cast<unsigned long>(itemList.size()) ? itemList.at(static_cast<qsizetype>(i))
                                                               : nullptr;
    }
    // The first item that is not a comment: the document's root.
    JsonItem* root() const;
    // Takes an item (and, through it, its children) into the list and the container's care.
    void addItem(JsonItem* item) { itemList.append(item); }

    // Characters each item spans in the text, from its start to its end, for display.
    void computeItemLengths();
    const std::vector<qsizetype>& itemLengths() const { return lengths; }

    QString print() const;
    // The root as text, ending in a line end; nothing for an empty container.
    void write(QByteArray& out, bool indentText, LineEndingType lineEnding) const;
    QByteArray write(bool indentText, LineEndingType lineEnding) const;

    static bool isNumber(const QString&) { return true; }

    // Containers nested deeper than this end the reading: what stands above them is kept.
    static constexpr int kMaxDepth = 1000;

private:
    QString source;
    QList<JsonItem*> itemList;
    std::vector<qsizetype> lengths;
};
