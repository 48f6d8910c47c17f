#include "convert/xmlcontainer.h"

#include <QStringList>
#include <QXmlStreamReader>

XmlContainer::XmlContainer(const QString& text) : source(text) {}

XmlContainer::~XmlContainer() {
    clearItems();
}

void XmlContainer::setText(const QString& text) {
    clearItems();
    source = text;
}

void XmlContainer::clearItems() {
    // Items without a parent own the rest: find them all before any is deleted.
    QList<XmlItem*> roots;
    for (XmlItem* item : std::as_const(itemList)) {
        if (!item->parent())
            roots.append(item);
    }
    qDeleteAll(roots);
    itemList.clear();
    lengths.clear();
    errorText.clear();
}

void XmlContainer::parse(int limit) {
    clearItems();
    QXmlStreamReader reader(source);
    XmlItem* open = nullptr;
    int count = 0;
    const auto add = [&](XmlItem* item) {
        item->setLocation(static_cast<int>(reader.lineNumber()), static_cast<int>(reader.columnNumber()),
                          static_cast<qsizetype>(reader.characterOffset()));
        if (open)
            open->addChild(item);
        itemList.append(item);
        ++count;
    };
    while (!reader.atEnd() && (limit < 0 || count < limit)) {
        switch (reader.readNext()) {
        case QXmlStreamReader::StartDocument: {
            auto* item = new XmlItem(XmlItem::DECLARATION);
            item->value =
                QStringLiteral("version=%1 encoding=%2 standalone=%3")
                    .arg(reader.documentVersion().toString(), reader.documentEncoding().toString(),
                         reader.isStandaloneDocument() ? QStringLiteral("yes") : QStringLiteral("no"));
            add(item);
            item->closed = true;
            break;
        }
        case QXmlStreamReader::StartElement: {
            QXmlStreamAttributes attributes = reader.attributes();
            // Namespace declarations are attributes in the text; keep them so that a written
            // document declares what it uses.
            for (const QXmlStreamNamespaceDeclaration& ns : reader.namespaceDeclarations()) {
                const QString declared = ns.prefix().isEmpty()
                                             ? QStringLiteral("xmlns")
                                             : QStringLiteral("xmlns:") + ns.prefix().toString();
                attributes.append(declared, ns.namespaceUri().toString());
            }
            auto* item = new XmlItem(reader.qualifiedName().toString(), attributes);
            add(item);
            open = item;
            break;
        }
        case QXmlStreamReader::EndElement:
            if (open) {
                open->setLocationBack(static_cast<int>(reader.lineNumber()),
                                      static_cast<int>(reader.columnNumber()),
                                      static_cast<qsizetype>(reader.characterOffset()));
                open->closed = true;
                if (open->children().isEmpty() && open->value.isEmpty())
                    open->type = XmlItem::EMPTY;
                open = open->parent();
            }
            break;
        case QXmlStreamReader::Characters:
            if (reader.isCDATA()) {
                auto* item = new XmlItem(XmlItem::CDATA);
                item->value = reader.text().toString();
                add(item);
                item->closed = true;
            } else if (!reader.isWhitespace() && open) {
                open->value += reader.text();
            }
            break;
        case QXmlStreamReader::Comment: {
            auto* item = new XmlItem(XmlItem::COMMENT);
            item->value = reader.text().toString();
            add(item);
            item->closed = true;
            break;
        }
        case QXmlStreamReader::DTD: {
            auto* item = new XmlItem(XmlItem::DTD);
            item->value = reader.text().toString();
            add(item);
            item->closed = true;
            break;
        }
        default:
            break;
        }
    }
    if (reader.hasError())
        errorText = reader.errorString();
}

void XmlContainer::computeItemLengths() {
    lengths.clear();
    lengths.reserve(static_cast<std::size_t>(itemList.size()));
    for (const XmlItem* item : std::as_const(itemList)) {
        const qsizetype end = item->closed ? item->end.offset : source.size();
        lengths.push_back(std::max<qsizetype>(0, end - item->start.offset));
    }
}

QString XmlContainer::print() const {
    QStringList lines;
    for (const XmlItem* item : itemList)
        lines.append(item->print());
    return lines.join(QLatin1Char('\n'));
}

void XmlContainer::write(QByteArray& out, bool indentText, LineEndingType lineEnding) const {
    for (const XmlItem* item : itemList) {
        if (item->parent())
            continue;
        item->addXmlString(out, indentText, lineEnding);
        out += lineEnding == LINE_ENDING_WINDOWS ? "\r\n" : "\n";
    }
}

QByteArray XmlContainer::write(bool indentText, LineEndingType lineEnding) const {
    QByteArray out;
    write(out, indentText, lineEnding);
    return out;
}
