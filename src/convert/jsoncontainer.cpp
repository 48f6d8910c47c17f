#include "convert/jsoncontainer.h"

#include <QStringList>

#include <vector>

namespace {

// One pass over the text, character by character.
class JsonScanner {
public:
    JsonScanner(const QString& text, QList<JsonItem*>& items, int limit,
                const JsonContainer::Progress& progress)
        : text(text), n(text.size()), items(items), limit(limit), progress(progress) {}

    // False when `progress` asked to stop.
    bool run() {
        qsizetype nextReport = progress ? kReportEvery : n;
        while (i < n && !limitReached()) {
            if (i >= nextReport) {
                nextReport = i + kReportEvery;
                if (!progress(i, n))
                    return false;
            }
            const QChar c = text.at(i);
            if (c == u'\n') {
                newLine();
                continue;
            }
            if (c == u' ' || c == u'\t' || c == u'\r') {
                advance();
                continue;
            }
            if (c == u'/' && i + 1 < n && (text.at(i + 1) == u'/' || text.at(i + 1) == u'*')) {
                readComment();
                continue;
            }
            JsonItem* open = stack.empty() ? nullptr : stack.back();
            if (c == u'}' || c == u']') {
                if (open) {
                    open->setLocationBack(line, column, i);
                    open->closed = true;
                    stack.pop_back();
                }
                advance();
                expectKey = false;
                continue;
            }
            if (c == u',') {
                advance();
                expectKey = open && open->type == JsonItem::OBJECT;
                pendingKey.clear();
                continue;
            }
            if (c == u':') {
                advance();
                expectKey = false;
                continue;
            }
            if (c == u'"' && open && open->type == JsonItem::OBJECT && expectKey) {
                pendingKey = readString();
                expectKey = false;
                continue;
            }
            readValue(open);
        }
        return true;
    }

private:
    bool limitReached() const { return limit >= 0 && count >= limit; }

    void advance() {
        ++i;
        ++column;
    }
    void newLine() {
        ++i;
        ++line;
        column = 0;
    }
    // Steps over one character of a token, counting lines within it.
    void step() {
        if (text.at(i) == u'\n')
            newLine();
        else
            advance();
    }

    void readComment() {
        const bool block = text.at(i + 1) == u'*';
        advance();
        advance();
        const qsizetype from = i;
        qsizetype to = n;
        while (i < n) {
            if (block && text.at(i) == u'*' && i + 1 < n && text.at(i + 1) == u'/') {
                to = i;
                advance();
                advance();
                break;
            }
            if (!block && text.at(i) == u'\n') {
                to = i > from && text.at(i - 1) == u'\r' ? i - 1 : i;
                break;
            }
            step();
        }
        const QString comment = text.mid(from, to - from);
        if (!stack.empty()) {
            stack.back()->comments.append(comment);
            return;
        }
        auto* item = new JsonItem(JsonItem::COMMENT);
        item->setValue(comment, false);
        items.append(item);
    }

    // The text between the quotes as it stands, escapes kept; a backslash hides the next
    // character. An unclosed string runs to the end of the text.
    QString readString() {
        advance(); // the opening quote
        const qsizetype from = i;
        while (i < n && text.at(i) != u'"') {
            if (text.at(i) == u'\\' && i + 1 < n)
                advance();
            step();
        }
        const QString result = text.mid(from, i - from);
        if (i < n)
            advance(); // the closing quote
        return result;
    }

    void readValue(JsonItem* open) {
        if ((text.at(i) == u'{' || text.at(i) == u'[') &&
            stack.size() >= static_cast<std::size_t>(JsonContainer::kMaxDepth)) {
            i = n;
            return;
        }
        auto* item = new JsonItem();
        item->setLocation(line, column, i);
        if (open) {
            open->addChild(item);
            if (open->type == JsonItem::OBJECT)
                item->setKey(pendingKey);
        }
        pendingKey.clear();
        items.append(item);
        ++count;
        const QChar c = text.at(i);
        if (c == u'{' || c == u'[') {
            item->type = c == u'{' ? JsonItem::OBJECT : JsonItem::ARRAY;
            advance();
            stack.push_back(item);
            expectKey = item->type == JsonItem::OBJECT;
            return;
        }
        if (c == u'"') {
            item->type = JsonItem::STRING;
            item->setValue(readString(), false);
        } else {
            // A number, a word, or anything else up to the next separator.
            const qsizetype from = i;
            while (i < n) {
                const QChar d = text.at(i);
                if (d == u' ' || d == u'\t' || d == u'\r' || d == u'\n' || d == u',' || d == u']' ||
                    d == u'}')
                    break;
                advance();
            }
            const QString word = text.mid(from, i - from);
            item->setValue(word, false);
            if (word == QLatin1String("true") || word == QLatin1String("false"))
                item->type = JsonItem::BOOL;
            else if (word == QLatin1String("null"))
                item->type = JsonItem::NULL_TYPE;
            else
                item->type = JsonItem::NUMBER;
        }
        item->setLocationBack(line, column, i);
        item->closed = true;
        expectKey = false;
    }

    static constexpr qsizetype kReportEvery = 1 << 16;

    const QString& text;
    const qsizetype n;
    QList<JsonItem*>& items;
    const int limit;
    const JsonContainer::Progress& progress;
    int count = 0;
    qsizetype i = 0;
    int line = 1;
    int column = 0;
    std::vector<JsonItem*> stack;
    QString pendingKey;
    bool expectKey = false;
};

} // namespace

JsonContainer::JsonContainer(const QString& text) : source(text) {}

JsonContainer::~JsonContainer() {
    clearItems();
}

void JsonContainer::setText(const QString& text) {
    clearItems();
    source = text;
}

void JsonContainer::clearItems() {
    // Items without a parent own the rest: find them all before any is deleted.
    QList<JsonItem*> roots;
    for (JsonItem* item : std::as_const(itemList)) {
        if (!item->parent())
            roots.append(item);
    }
    qDeleteAll(roots);
    itemList.clear();
    lengths.clear();
}

void JsonContainer::parse(int limit) {
    clearItems();
    JsonScanner(source, itemList, limit, {}).run();
}

bool JsonContainer::parse(const Progress& progress) {
    clearItems();
    return JsonScanner(source, itemList, -1, progress).run();
}

JsonItem* JsonContainer::root() const {
    for (JsonItem* item : itemList) {
        if (item->type != JsonItem::COMMENT)
            return item;
    }
    return nullptr;
}

void JsonContainer::computeItemLengths() {
    lengths.clear();
    lengths.reserve(static_cast<std::size_t>(itemList.size()));
    for (const JsonItem* item : std::as_const(itemList)) {
        const qsizetype end = item->closed ? item->end.offset : source.size();
        lengths.push_back(std::max<qsizetype>(0, end - item->start.offset));
    }
}

QString JsonContainer::print() const {
    QStringList lines;
    for (const JsonItem* item : itemList)
        lines.append(item->print());
    return lines.join(QLatin1Char('\n'));
}

void JsonContainer::write(QByteArray& out, bool indentText, LineEndingType lineEnding) const {
    const JsonItem* first = root();
    if (!first)
        return;
    first->addJsonString(out, indentText, lineEnding);
    out += lineEnding == LINE_ENDING_WINDOWS ? "\r\n" : "\n";
}

QByteArray JsonContainer::write(bool indentText, LineEndingType lineEnding) const {
    QByteArray out;
    write(out, indentText, lineEnding);
    return out;
}
