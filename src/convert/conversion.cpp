#include "convert/conversion.h"

#include "convert/jsoncontainer.h"
#include "convert/xmlcontainer.h"
#include "table/tabledata.h"
#include "table/tablemodel.h"

#include <QHash>
#include <QRegularExpression>
#include <QSaveFile>
#include <QXmlStreamReader>

#include <algorithm>
#include <map>

namespace {

// A title split into more levels than this keeps the rest in its last level: the trees are
// written level by level, and a title of thousands of slashes must not run the stack out.
constexpr int kMaxTitleLevels = 256;

QStringList splitTitle(const QString& title, Qt::SplitBehavior behavior = Qt::KeepEmptyParts) {
    QStringList levels = title.split(QLatin1Char('/'), behavior);
    if (levels.size() > kMaxTitleLevels) {
        const QString rest = levels.mid(kMaxTitleLevels - 1).join(QLatin1Char('/'));
        levels.resize(kMaxTitleLevels - 1);
        levels.append(rest);
    }
    return levels;
}

// The rows of a document as they are found: titles in order of first appearance, and for each
// record its cells by column.
class TableBuilder {
public:
    explicit TableBuilder(bool withNames) : withNames(withNames) {}

    void newRecord(const QString& name) {
        records.emplace_back();
        names.append(name);
    }
    bool inRecord() const { return !records.empty(); }
    void set(const QString& title, const QString& value) {
        if (records.empty() || value.isEmpty())
            return;
        auto it = columnOf.constFind(title);
        if (it == columnOf.constEnd()) {
            it = columnOf.insert(title, static_cast<int>(titles.size()));
            titles.append(title);
        }
        records.back()[it.value()] = value; // the last value of a column stands
    }

    Conversion::Rows rows(const QString& namesTitle) const {
        Conversion::Rows out;
        if (records.empty())
            return out;
        const int offset = withNames ? 1 : 0;
        const qsizetype width = titles.size() + offset;
        QStringList header;
        if (withNames)
            header.append(namesTitle);
        header.append(titles);
        out.push_back(header);
        for (std::size_t r = 0; r < records.size(); ++r) {
            QStringList row;
            row.resize(width);
            if (withNames)
                row[0] = names.at(static_cast<qsizetype>(r));
            for (const auto& [col, value] : records[r])
                row[col + offset] = value;
            out.push_back(row);
        }
        return out;
    }

private:
    bool withNames;
    QHash<QString, int> columnOf;
    QStringList titles;
    std::vector<std::map<int, QString>> records;
    QStringList names;
};

// A tree of paths with a value where a path ends: what a table's titles and cells make of a
// document before it is written. Children keep the order in which they first came.
struct PathTree {
    struct Node {
        QString level;
        QString value;
        bool hasValue = false;
        std::vector<int> children;
        QHash<QString, int> childOf;
        QList<QPair<QString, QString>> attributes; // XML
    };
    std::vector<Node> nodes{Node{}};

    int insert(const QStringList& path) {
        int at = 0;
        for (const QString& level : path) {
            const auto found = nodes[static_cast<std::size_t>(at)].childOf.constFind(level);
            if (found != nodes[static_cast<std::size_t>(at)].childOf.constEnd()) {
                at = found.value();
                continue;
            }
            const int added = static_cast<int>(nodes.size());
            Node node;
            node.level = level;
            nodes.push_back(std::move(node));
            nodes[static_cast<std::size_t>(at)].childOf.insert(level, added);
            nodes[static_cast<std::size_t>(at)].children.push_back(added);
            at = added;
        }
        return at;
    }
    Node& operator[](int i) { return nodes[static_cast<std::size_t>(i)]; }
};

// Whether children with these levels make an array: integers that step by one or repeat. No
// children at all make an array too, the empty document being "[]".
bool isArray(PathTree& tree, const std::vector<int>& children) {
    int previous = 0;
    for (std::size_t i = 0; i < children.size(); ++i) {
        bool ok = false;
        const int index = tree[children[i]].level.toInt(&ok);
        if (!ok)
            return false;
        if (i > 0 && index != previous + 1 && index != previous)
            return false;
        previous = index;
    }
    return true;
}

JsonItem* makeJsonItems(PathTree& tree, int node, JsonItem* parent) {
    auto* item = new JsonItem(parent);
    if (parent && parent->type == JsonItem::OBJECT)
        item->setKey(tree[node].level);
    const std::vector<int> children = tree[node].children;
    if (children.empty()) {
        // A double quote is the one character a value has escaped.
        QString value = tree[node].value;
        value.replace(QLatin1Char('"'), QLatin1String("\\\""));
        item->setValue(value, true);
        return item;
    }
    item->type = isArray(tree, children) ? JsonItem::ARRAY : JsonItem::OBJECT;
    for (const int child : children)
        makeJsonItems(tree, child, item);
    return item;
}

XmlItem* makeXmlItems(PathTree& tree, int node, XmlItem* parent) {
    const PathTree::Node& n = tree[node];
    auto* item = new XmlItem(n.level.section(QLatin1Char('&'), 0, 0), parent);
    for (const auto& [name, value] : n.attributes)
        item->attributes.append(name, value);
    const std::vector<int> children = n.children;
    if (children.empty()) {
        item->value = n.value;
        item->type = n.value.isEmpty() ? XmlItem::EMPTY : XmlItem::REGULAR;
        return item;
    }
    for (const int child : children)
        makeXmlItems(tree, child, item);
    return item;
}

// An ASCII letter or digit, "-", ".", "_" (and ":" in an attribute name), or above ASCII a letter
// or a decimal digit.
bool keepsNameCharacter(char32_t u, bool colon) {
    if (u < 128)
        return (u >= 'a' && u <= 'z') || (u >= 'A' && u <= 'Z') || (u >= '0' && u <= '9') || u == '-' ||
               u == '.' || u == '_' || (colon && u == ':');
    return QChar::isLetter(u) || QChar::isDigit(u);
}

// Every other character becomes "-"; a character beyond 16 bits is one character too.
QString cleanLevel(const QString& level, bool colon) {
    QString out;
    out.reserve(level.size());
    for (qsizetype i = 0; i < level.size(); ++i) {
        char32_t u = level.at(i).unicode();
        qsizetype width = 1;
        if (QChar::isHighSurrogate(u) && i + 1 < level.size() && level.at(i + 1).isLowSurrogate()) {
            u = QChar::surrogateToUcs4(level.at(i), level.at(i + 1));
            width = 2;
        }
        if (keepsNameCharacter(u, colon))
            out += QStringView(level).mid(i, width);
        else
            out += QLatin1Char('-');
        i += width - 1;
    }
    return out;
}

} // namespace

// --- Documents to tables ----------------------------------------------------------------------

Conversion::Rows Conversion::convertJsonToTable(const QString& text, bool preserveStructure) {
    return convertJsonToTable(text, preserveStructure, {}, nullptr);
}

namespace {

// Asks every 4096 steps whether to go on; false (and `canceled` set) when the answer is no.
bool goOn(const Conversion::Progress& progress, qint64 step, qint64 total, bool* canceled) {
    if (!progress || (step & 0xFFF) != 0 || progress(step, total))
        return true;
    if (canceled)
        *canceled = true;
    return false;
}

} // namespace

Conversion::Rows Conversion::convertJsonToTable(const QString& text, bool preserveStructure,
                                                const Progress& progress, bool* canceled) {
    JsonContainer doc(text);
    // Reading the text is the first half of the work, the walk over its items the rest.
    if (progress) {
        if (!doc.parse([&](qint64 done, qint64 of) { return progress(done, of * 2); })) {
            if (canceled)
                *canceled = true;
            return {};
        }
    } else {
        doc.parse(-1);
    }
    const qint64 numItems = doc.size();
    const qint64 total = numItems * 2;
    std::vector<int> depths;
    for (const JsonItem* item : doc.items()) {
        if (item->type != JsonItem::COMMENT)
            depths.push_back(item->indent);
    }
    if (depths.empty())
        return {};
    // The records stand at the shallowest depth that holds two items or more.
    std::sort(depths.begin(), depths.end());
    int recordDepth = depths.back();
    for (std::size_t i = 1; i < depths.size(); ++i) {
        if (depths[i] == depths[i - 1]) {
            recordDepth = depths[i];
            break;
        }
    }
    QString prefix;
    for (const JsonItem* item : doc.items()) {
        if (item->type != JsonItem::COMMENT && item->indent == recordDepth - 1) {
            prefix = item->header();
            break;
        }
    }

    TableBuilder builder(preserveStructure);
    qint64 step = numItems;
    for (const JsonItem* item : doc.items()) {
        if (!goOn(progress, ++step, total, canceled))
            return {};
        if (item->type == JsonItem::COMMENT || item->indent < recordDepth)
            continue;
        const bool scalar = item->type != JsonItem::OBJECT && item->type != JsonItem::ARRAY;
        if (item->indent == recordDepth) {
            QString name = item->header();
            if (!prefix.isEmpty() && name.startsWith(prefix + QLatin1Char('/')))
                name = name.mid(prefix.size() + 1);
            // A record that is a plain value has no column of its own: only its name stands.
            builder.newRecord(name);
            continue;
        }
        if (!scalar)
            continue;
        // The title is the header from the first "/" after the prefix on: a record's key that
        // holds a "/" is cut there like any level.
        const QString h = item->header();
        const qsizetype slash = h.indexOf(QLatin1Char('/'), prefix.isEmpty() ? 0 : prefix.size() + 1);
        const QString title = slash < 0 ? h : h.mid(slash + 1);
        // Values and keys stand as in the text, escapes and all.
        builder.set(title, item->value.toString());
    }
    return builder.rows(prefix + QLatin1Char('/'));
}

Conversion::Rows Conversion::convertXmlToTable(const QString& text, bool preserveStructure) {
    return convertXmlToTable(text, preserveStructure, {}, nullptr);
}

Conversion::Rows Conversion::convertXmlToTable(const QString& text, bool preserveStructure,
                                               const Progress& progress, bool* canceled) {
    // Two passes over the text, progress by the reader's place in it.
    const qint64 total = qint64(text.size()) * 2 + 1;
    qint64 steps = 0;
    const auto goOnAt = [&](qint64 pass, qint64 offset) {
        if (!progress || (++steps & 0xFFF) != 0 || progress(pass * text.size() + offset, total))
            return true;
        if (canceled)
            *canceled = true;
        return false;
    };
    // Start elements per depth, the root element being at depth 0.
    std::map<int, int> perDepth;
    {
        QXmlStreamReader reader(text);
        int depth = 0;
        while (!reader.atEnd()) {
            if (!goOnAt(0, reader.characterOffset()))
                return {};
            const auto token = reader.readNext();
            if (token == QXmlStreamReader::StartElement) {
                // Read down to the depth a JSON document is read to; what lies deeper is left out.
                if (depth < JsonContainer::kMaxDepth)
                    ++perDepth[depth];
                ++depth;
            } else if (token == QXmlStreamReader::EndElement)
                --depth;
        }
        if (reader.hasError() || perDepth.empty())
            return {};
    }
    int recordDepth = perDepth.rbegin()->first;
    for (const auto& [depth, count] : perDepth) {
        if (count >= 2) {
            recordDepth = depth;
            break;
        }
    }

    TableBuilder builder(preserveStructure);
    QStringList stack; // every open element's name
    QStringList texts; // the text read so far in each open element
    QString recordParentPath;
    bool firstRecord = true;
    int tooDeep = 0; // elements open below the depth read to
    QXmlStreamReader reader(text);
    while (!reader.atEnd()) {
        if (!goOnAt(1, reader.characterOffset()))
            return {};
        const QXmlStreamReader::TokenType token = reader.readNext();
        if (tooDeep > 0 ||
            (token == QXmlStreamReader::StartElement && stack.size() >= JsonContainer::kMaxDepth)) {
            if (token == QXmlStreamReader::StartElement)
                ++tooDeep;
            else if (token == QXmlStreamReader::EndElement)
                --tooDeep;
            continue;
        }
        switch (token) {
        case QXmlStreamReader::StartElement: {
            const int depth = static_cast<int>(stack.size());
            const QString name = reader.qualifiedName().toString();
            stack.append(name);
            texts.append(QString());
            if (depth < recordDepth)
                break;
            if (depth == recordDepth) {
                if (firstRecord) {
                    recordParentPath = stack.mid(0, depth).join(QLatin1Char('/'));
                    firstRecord = false;
                }
                builder.newRecord(name);
            }
            const QString path = stack.mid(recordDepth + 1).join(QLatin1Char('/'));
            for (const QXmlStreamAttribute& a : reader.attributes()) {
                const QString title = path.isEmpty()
                                          ? QStringLiteral("%1_").arg(a.qualifiedName().toString())
                                          : QStringLiteral("%1/%2_").arg(path, a.qualifiedName().toString());
                builder.set(title, a.value().toString());
            }
            break;
        }
        case QXmlStreamReader::Characters:
            if (!texts.isEmpty() && !reader.isWhitespace())
                texts.last() += reader.text();
            break;
        case QXmlStreamReader::EndElement: {
            if (stack.isEmpty())
                break;
            const int depth = static_cast<int>(stack.size()) - 1;
            const QString value = texts.takeLast().trimmed();
            // The record's own text has the empty path below the record as its title.
            if (depth >= recordDepth && !value.isEmpty())
                builder.set(stack.mid(recordDepth + 1).join(QLatin1Char('/')), value);
            stack.removeLast();
            break;
        }
        default:
            break;
        }
    }
    return builder.rows(recordParentPath + QLatin1Char('/'));
}

// --- Tables to documents ----------------------------------------------------------------------

namespace {

// Asks every so many rows whether to go on.
bool stopped(const Conversion::Progress& progress, int row, int numRows) {
    return progress && row % 1024 == 0 && !progress(row, numRows);
}

QByteArray lineEndOf(LineEndingType lineEnding) {
    return lineEnding == LINE_ENDING_WINDOWS ? QByteArrayLiteral("\r\n") : QByteArrayLiteral("\n");
}

// How the titles of a table read for JSON: the record-name column, and each other column's levels.
struct JsonColumns {
    bool recordColumn = false;
    QStringList recordLevels;
    std::vector<std::pair<int, QStringList>> columns;

    explicit JsonColumns(const QStringList& titles) {
        recordColumn = !titles.isEmpty() && titles.front().endsWith(QLatin1Char('/'));
        if (recordColumn)
            recordLevels = splitTitle(titles.front(), Qt::SkipEmptyParts);
        for (int c = recordColumn ? 1 : 0; c < titles.size(); ++c) {
            columns.emplace_back(c, splitTitle(titles.at(c)));
        }
    }
    bool hasData(const QStringList& row) const {
        return std::any_of(columns.begin(), columns.end(),
                           [&](const auto& col) { return !row.value(col.first).isEmpty(); });
    }
    // The row's values below `prefix`; the first value of a path stands.
    void insert(PathTree& tree, const QStringList& prefix, const QStringList& row) const {
        for (const auto& [c, levels] : columns) {
            const QString value = row.value(c);
            if (value.isEmpty())
                continue;
            const int node = tree.insert(prefix + levels);
            if (!tree[node].hasValue) {
                tree[node].value = value;
                tree[node].hasValue = true;
            }
        }
    }
};

// How the titles of a table read for XML.
struct XmlColumns {
    struct Column {
        int index;
        QString elementPath; // below the record, cleaned
        QString attribute;   // empty for an element column
        QString suffix;      // what the element path adds to a record's path, indexes joined
    };
    bool recordColumn = false;
    QString recordPath;
    std::vector<Column> columns;

    explicit XmlColumns(const QStringList& titles) {
        recordColumn =
            !titles.isEmpty() && titles.front().size() >= 2 && titles.front().endsWith(QLatin1Char('/'));
        if (recordColumn) {
            recordPath = titles.front();
            Conversion::sanitizeXmlHeader(recordPath);
            if (!recordPath.isEmpty())
                recordPath += QLatin1Char('/');
        }
        for (int c = recordColumn ? 1 : 0; c < titles.size(); ++c) {
            const QString& title = titles.at(c);
            Column column{c, QString(), QString(), QString()};
            if (title.size() >= 2 && title.endsWith(QLatin1Char('_'))) {
                QStringList levels = splitTitle(title);
                column.attribute = levels.takeLast().chopped(1);
                Conversion::sanitizeXmlAttributeName(column.attribute);
                if (column.attribute.isEmpty())
                    continue;
                column.elementPath = levels.join(QLatin1Char('/'));
            } else {
                column.elementPath = title;
            }
            Conversion::sanitizeXmlHeader(column.elementPath);
            if (column.attribute.isEmpty() && column.elementPath.isEmpty())
                continue;
            // The indexes below a record are the same in every row: joined once here, and each
            // row's own path is joined once in insert().
            if (!column.elementPath.isEmpty()) {
                column.suffix = QStringLiteral("x/") + column.elementPath;
                Conversion::modifyHeaderNumericalIndexes(column.suffix);
                column.suffix.remove(0, 1);
            }
            columns.push_back(column);
        }
    }
    bool hasData(const QStringList& row) const {
        return std::any_of(columns.begin(), columns.end(),
                           [&](const Column& col) { return !row.value(col.index).isEmpty(); });
    }
    // The row as record number `record`, below "root/record" or, with the record-name column,
    // below the record path and the row's name.
    void insert(PathTree& tree, int record, const QStringList& row) const {
        QString base;
        if (recordColumn) {
            QString name = row.value(0);
            Conversion::sanitizeXmlHeader(name);
            name.replace(QLatin1Char('/'), QLatin1Char('-'));
            // A record without a name still needs one to be an element.
            if (name.isEmpty())
                name = QStringLiteral("_");
            base = recordPath + name + QStringLiteral("/%1").arg(record);
        } else {
            base = QStringLiteral("root/record/%1").arg(record);
        }
        Conversion::modifyHeaderNumericalIndexes(base);
        for (const Column& column : columns) {
            QString value = row.value(column.index);
            if (value.isEmpty())
                continue;
            const int node = tree.insert((base + column.suffix).split(QLatin1Char('/')));
            if (column.attribute.isEmpty()) {
                Conversion::sanitizeXmlElementContents(value);
                tree[node].value = value;
                tree[node].hasValue = true;
            } else {
                Conversion::sanitizeXmlAttributeValue(value);
                auto& attributes = tree[node].attributes;
                const auto same = std::find_if(attributes.begin(), attributes.end(),
                                               [&](const auto& a) { return a.first == column.attribute; });
                if (same != attributes.end())
                    same->second = value;
                else
                    attributes.append({column.attribute, value});
            }
        }
    }
};

} // namespace

QByteArray Conversion::convertTableToJson(const Rows& rows, LineEndingType lineEnding) {
    return convertTableToJson(
        static_cast<int>(rows.size()), [&rows](int r) { return rows[static_cast<std::size_t>(r)]; },
        lineEnding);
}

QByteArray Conversion::convertTableToJson(int numRows, const RowReader& rowAt, LineEndingType lineEnding,
                                          const Progress& progress) {
    const QByteArray lineEnd = lineEndOf(lineEnding);
    const JsonColumns columns(numRows > 0 ? rowAt(0) : QStringList());
    QByteArray out;
    if (!columns.recordColumn) {
        // Row r is the record r - 1, each written as it is read: the table is never held twice.
        // The records make an array while their numbers follow each other; an empty row between
        // two records leaves a gap, and then the root is an object keyed by the numbers, so the
        // rows are read again in that form.
        for (const JsonItem::Type rootType : {JsonItem::ARRAY, JsonItem::OBJECT}) {
            JsonItem root(rootType);
            out = rootType == JsonItem::ARRAY ? "[" : "{";
            int records = 0;
            bool gap = false;
            bool restart = false;
            for (int r = 1; r < numRows; ++r) {
                if (stopped(progress, r, numRows))
                    return QByteArray();
                const QStringList row = rowAt(r);
                if (!columns.hasData(row)) {
                    gap = records > 0;
                    continue;
                }
                restart = gap && rootType == JsonItem::ARRAY;
                if (restart)
                    break;
                PathTree tree;
                columns.insert(tree, QStringList(), row);
                out += records++ == 0 ? lineEnd : QByteArray(",") + lineEnd;
                JsonItem* item = makeJsonItems(tree, 0, &root);
                if (rootType == JsonItem::OBJECT)
                    item->setKey(QString::number(r - 1));
                item->addJsonString(out, true, lineEnding);
                root.removeChildren(0, root.childCount() - 1, true);
            }
            if (restart)
                continue;
            if (records > 0)
                out += lineEnd;
            out += rootType == JsonItem::ARRAY ? ']' : '}';
            out += lineEnd;
            return out;
        }
        return out;
    }
    // Named records may share a name, and the names decide the document's shape: the whole
    // tree first.
    PathTree tree;
    for (int r = 1; r < numRows; ++r) {
        if (stopped(progress, r, numRows))
            return QByteArray();
        const QStringList row = rowAt(r);
        if (columns.hasData(row))
            columns.insert(tree, columns.recordLevels + QStringList{row.value(0)}, row);
    }
    JsonContainer doc;
    auto* root = new JsonItem(isArray(tree, tree[0].children) ? JsonItem::ARRAY : JsonItem::OBJECT);
    for (const int child : std::vector<int>(tree[0].children))
        makeJsonItems(tree, child, root);
    doc.addItem(root);
    return doc.write(true, lineEnding);
}

QByteArray Conversion::convertTableToXml(const Rows& rows, LineEndingType lineEnding) {
    return convertTableToXml(
        static_cast<int>(rows.size()), [&rows](int r) { return rows[static_cast<std::size_t>(r)]; },
        lineEnding);
}

QByteArray Conversion::convertTableToXml(int numRows, const RowReader& rowAt, LineEndingType lineEnding,
                                         const Progress& progress) {
    const QByteArray lineEnd = lineEndOf(lineEnding);
    const XmlColumns columns(numRows > 0 ? rowAt(0) : QStringList());
    QByteArray out;
    XmlItem(XmlItem::DECLARATION).addXmlString(out, true, lineEnding);
    out += lineEnd;
    if (!columns.recordColumn) {
        // Each row is a record of its own below "root", written as it is read.
        XmlItem root(QStringLiteral("root"));
        int record = 0;
        for (int r = 1; r < numRows; ++r) {
            if (stopped(progress, r, numRows))
                return QByteArray();
            const QStringList row = rowAt(r);
            if (!columns.hasData(row))
                continue;
            PathTree tree;
            columns.insert(tree, record, row);
            if (record++ == 0)
                out += "<root>" + lineEnd;
            for (const int top : std::vector<int>(tree[0].children)) {
                for (const int child : std::vector<int>(tree[top].children)) {
                    makeXmlItems(tree, child, &root)->addXmlString(out, true, lineEnding);
                    out += lineEnd;
                }
            }
            root.removeChildren(0, root.childCount() - 1, true);
        }
        out += record > 0 ? QByteArray("</root>") : QByteArray("<root/>");
        out += lineEnd;
        return out;
    }
    PathTree tree;
    int record = 0;
    for (int r = 1; r < numRows; ++r) {
        if (stopped(progress, r, numRows))
            return QByteArray();
        const QStringList row = rowAt(r);
        if (columns.hasData(row))
            columns.insert(tree, record++, row);
    }
    XmlContainer doc;
    const std::vector<int> top = tree[0].children;
    if (top.empty()) {
        auto* root = new XmlItem(QStringLiteral("root"));
        root->type = XmlItem::EMPTY;
        doc.addItem(root);
    } else if (top.size() == 1) {
        doc.addItem(makeXmlItems(tree, top.front(), nullptr));
    } else {
        // Records named at the top level need one element around them to be a document.
        auto* root = new XmlItem(QStringLiteral("root"));
        for (const int child : top)
            makeXmlItems(tree, child, root);
        doc.addItem(root);
    }
    doc.write(out, true, lineEnding);
    return out;
}

// --- Files ------------------------------------------------------------------------------------

Conversion::RowReader Conversion::tableRowReader(const TableModel& model) {
    const TableData& data = model.getTableData();
    const int numCols = data.numRawCols();
    return [&data, numCols](int r) {
        QStringList row;
        row.reserve(numCols);
        for (int c = 0; c < numCols; ++c)
            row.append(data.getValueRaw(r, c).toString());
        return row;
    };
}

bool Conversion::writeDocument(const QString& path, const QByteArray& document) {
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    if (file.write(document) != document.size()) {
        file.cancelWriting();
        return false;
    }
    return file.commit();
}

bool Conversion::convertFromTable(FileType type, const TableModel& model, const QString& path) {
    const TableData& data = model.getTableData();
    if (type == FILE_TYPE_JSON)
        return writeDocument(
            path, convertTableToJson(data.numRawRows(), tableRowReader(model), data.getLineEnding()));
    if (type == FILE_TYPE_XML)
        return writeDocument(
            path, convertTableToXml(data.numRawRows(), tableRowReader(model), data.getLineEnding()));
    return false;
}

bool Conversion::convertToTable(const NonTableFile& file, const QString& path,
                                const ExtensionData& parameters, bool preserveStructure) {
    return convertToTable(file, path, parameters, preserveStructure, {}, nullptr);
}

bool Conversion::convertToTable(const NonTableFile& file, const QString& path,
                                const ExtensionData& parameters, bool preserveStructure,
                                const Progress& progress, bool* canceled) {
    bool stopped = false;
    Rows rows;
    if (file.fileType == FILE_TYPE_JSON)
        rows = convertJsonToTable(file.contents, preserveStructure, progress, &stopped);
    else if (file.fileType == FILE_TYPE_XML)
        rows = convertXmlToTable(file.contents, preserveStructure, progress, &stopped);
    else
        return false;
    // A last look before the file is written: it is written whole or not at all.
    if (!stopped && progress && !progress(1, 1))
        stopped = true;
    if (stopped) {
        if (canceled)
            *canceled = true;
        return false;
    }

    TableModel model(false);
    TableData& data = model.getTableData();
    data.setEncoding(UTF_8, false);
    std::vector<std::vector<std::vector<char>>> lines;
    lines.reserve(rows.size());
    for (const QStringList& row : rows) {
        auto& line = lines.emplace_back();
        line.reserve(static_cast<std::size_t>(row.size()));
        for (const QString& cell : row) {
            const QByteArray utf8 = cell.toUtf8();
            line.emplace_back(utf8.begin(), utf8.end());
        }
    }
    if (!lines.empty())
        data.insertRowsRaw(0, lines);
    model.setDelimiter(parameters.saveDelimiter, parameters.saveDelimiter);
    data.setLineEnding(parameters.lineEnding);
    EncodingType encoding = parameters.encoding;
    // A new file has no byte order mark to tell; write little-endian.
    if (encoding == UTF_16)
        encoding = UTF_16LE;
    else if (encoding == UTF_32)
        encoding = UTF_32LE;
    data.setEncoding(encoding, true);
    data.setParsingStandard(parameters.parsingStandard);
    model.setExtension(parameters.extension);
    return model.saveCSV(path, true, false);
}

// --- Text rules -------------------------------------------------------------------------------

void Conversion::sanitizeXmlHeader(QString& text) {
    if (text.startsWith(QLatin1Char('/')))
        text.remove(0, 1);
    QStringList levels = text.trimmed().split(QLatin1Char('/'), Qt::SkipEmptyParts);
    for (QString& level : levels)
        level = cleanLevel(level, false);
    text = levels.join(QLatin1Char('/'));
}

void Conversion::sanitizeXmlAttributeName(QString& text) {
    text = cleanLevel(text.trimmed(), true);
}

void Conversion::sanitizeXmlAttributeValue(QString& text) {
    // In this order: the ampersand of "&quot;" is escaped in turn.
    text.replace(QLatin1Char('"'), QLatin1String("&quot;"));
    text.replace(QLatin1Char('&'), QLatin1String("&amp;"));
    text.replace(QLatin1Char('\''), QLatin1String("&apos;"));
    text.replace(QLatin1Char('<'), QLatin1String("&lt;"));
    text.replace(QLatin1Char('>'), QLatin1String("&gt;"));
}

void Conversion::sanitizeXmlElementContents(QString& text) {
    text.replace(QLatin1Char('<'), QLatin1String("&lt;"));
    text.replace(QLatin1Char('>'), QLatin1String("&gt;"));
}

void Conversion::modifyHeaderNumericalIndexes(QString& path) {
    static const QRegularExpression index(QStringLiteral("(.+?)/(\\d+)"));
    for (;;) {
        const QRegularExpressionMatch match = index.match(path);
        if (!match.hasMatch())
            return;
        path.replace(match.capturedStart(), match.capturedLength(),
                     match.captured(1) + QLatin1Char('&') + match.captured(2));
    }
}
