// The document trees: what the JSON scanner and the XML reader build, the paths they give each
// item, what they write, and that no text makes them crash, hang or stop without what they read.

#include "convert/jsoncontainer.h"
#include "convert/xmlcontainer.h"

#include <QTest>

namespace {

// Each item as "header=TYPE:value", in document order.
QString describe(const JsonContainer& doc) {
    QStringList parts;
    for (const JsonItem* item : doc.items())
        parts.append(QStringLiteral("%1=%2:%3")
                         .arg(item->header(), JsonItem::typeName(item->type), item->value.toString()));
    return parts.join(QLatin1Char(' '));
}

QString describe(const XmlContainer& doc) {
    QStringList parts;
    for (const XmlItem* item : doc.items()) {
        if (item->type == XmlItem::REGULAR || item->type == XmlItem::EMPTY)
            parts.append(QStringLiteral("%1=%2").arg(item->header(-1, true), item->value));
    }
    return parts.join(QLatin1Char(' '));
}

} // namespace

class TestDocuments : public QObject {
    Q_OBJECT

private slots:
    void jsonItems_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("items");
        QTest::newRow("array under a key") << "{\"a\": [1, 2]}"
                                           << "=OBJECT: a=ARRAY: a/0=NUMBER:1 a/1=NUMBER:2";
        QTest::newRow("words") << "[true, false, null]"
                               << "=ARRAY: 0=BOOL:true 1=BOOL:false 2=NULL_TYPE:null";
        QTest::newRow("escaped quote keeps its backslash")
            << "{\"q\": \"say \\\"hi\\\"\", \"b\": \"a\\\\\"}"
            << "=OBJECT: q=STRING:say \\\"hi\\\" b=STRING:a\\\\";
        QTest::newRow("comment before the root") << "// about\n/* more */ {\"a\": 1}"
                                                 << "=COMMENT: about =COMMENT: more  =OBJECT: a=NUMBER:1";
        QTest::newRow("comment inside stays on its container") << "{\"a\": 1, // note\r\n\"b\": 2}"
                                                               << "=OBJECT: a=NUMBER:1 b=NUMBER:2";
        QTest::newRow("nested paths")
            << "[{\"x\": {\"y\": [[5]]}}]"
            << "=ARRAY: 0=OBJECT: 0/x=OBJECT: 0/x/y=ARRAY: 0/x/y/0=ARRAY: 0/x/y/0/0=NUMBER:5";
        QTest::newRow("empty containers") << "{\"o\": {}, \"a\": []}"
                                          << "=OBJECT: o=OBJECT: a=ARRAY:";
        // Bad input: the scanner goes on, and what it built stands.
        QTest::newRow("empty text") << ""
                                    << "";
        QTest::newRow("unclosed string") << "{\"a\": \"open"
                                         << "=OBJECT: a=STRING:open";
        QTest::newRow("unclosed containers") << "[{\"a\": [1"
                                             << "=ARRAY: 0=OBJECT: 0/a=ARRAY: 0/a/0=NUMBER:1";
        QTest::newRow("stray closers") << "]]}[1]}"
                                       << "=ARRAY: 0=NUMBER:1";
        QTest::newRow("unclosed block comment") << "[1 /* never ends"
                                                << "=ARRAY: 0=NUMBER:1";
        QTest::newRow("missing colon and comma") << "{\"a\" 1 \"b\" 2}"
                                                 << "=OBJECT: a=NUMBER:1 =STRING:b =NUMBER:2";
        QTest::newRow("lone backslash at the end") << "[\"a\\"
                                                   << "=ARRAY: 0=STRING:a\\";
        QTest::newRow("bare word") << "nope"
                                   << "=NUMBER:nope";
    }
    void jsonItems() {
        QFETCH(QString, text);
        QFETCH(QString, items);
        JsonContainer doc(text);
        doc.parse();
        QCOMPARE(describe(doc), items);
    }

    // A preview reads only its first items; a document nested deeper than the limit is read down
    // to it, without running the stack out on the way or when it is freed.
    void jsonLimits() {
        JsonContainer preview(QStringLiteral("{\"a\": [1, 2, 3], \"b\": "));
        preview.parse(2);
        QCOMPARE(preview.size(), 2);
        QCOMPARE(preview[0]->type, JsonItem::OBJECT);

        const int depth = 200000;
        JsonContainer deep(QString(depth, u'[') + QString(depth, u']'));
        deep.parse();
        QCOMPARE(deep.size(), qsizetype(JsonContainer::kMaxDepth));
        QCOMPARE(deep.items().last()->header().count(u'/'), JsonContainer::kMaxDepth - 2);
    }

    void jsonWrite_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("lineEnding");
        QTest::addColumn<QByteArray>("written");
        QTest::newRow("object")
            << "// c\n{\"a\": [1, \"x\"], \"b\": {}, \"c\": {\"d\": null}}" << int(LINE_ENDING_UNIX)
            << QByteArray("{\n    \"a\" : [\n        1,\n        \"x\"\n    ],\n    \"b\" : {},\n"
                          "    \"c\" : {\n        \"d\" : null\n    }\n}\n");
        QTest::newRow("windows line ends")
            << "[true]" << int(LINE_ENDING_WINDOWS) << QByteArray("[\r\n    true\r\n]\r\n");
        QTest::newRow("nothing") << "// only a comment" << int(LINE_ENDING_UNIX) << QByteArray();
    }
    void jsonWrite() {
        QFETCH(QString, text);
        QFETCH(int, lineEnding);
        QFETCH(QByteArray, written);
        JsonContainer doc(text);
        doc.parse();
        QCOMPARE(doc.write(true, LineEndingType(lineEnding)), written);
    }

    void xmlItems_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("items");
        QTest::addColumn<bool>("error");
        QTest::newRow("same-named siblings get indexes, a single child none")
            << "<r><a>1</a><a>2</a><b>3</b></r>"
            << "/r= /r/a/0=1 /r/a/1=2 /r/b=3" << false;
        QTest::newRow("text beside whitespace") << "<r>\n  <a> x </a>\n</r>"
                                                << "/r= /r/a= x " << false;
        QTest::newRow("entities read") << "<r>a &amp; b</r>"
                                       << "/r=a & b" << false;
        QTest::newRow("unclosed: what was read stands") << "<r><a>1</a><b>"
                                                        << "/r= /r/a=1 /r/b=" << true;
        QTest::newRow("mismatched end") << "<r><a>1</b></r>"
                                        << "/r= /r/a=1" << true;
        QTest::newRow("not XML") << "{\"a\": 1}"
                                 << "" << true;
        QTest::newRow("empty") << ""
                               << "" << true;
    }
    void xmlItems() {
        QFETCH(QString, text);
        QFETCH(QString, items);
        QFETCH(bool, error);
        XmlContainer doc(text);
        doc.parse();
        QCOMPARE(describe(doc), items);
        QCOMPARE(doc.hasError(), error);
    }

    void xmlHeaderValues() {
        XmlContainer doc(QStringLiteral("<r><p id=\"7\" k=\"v\">t</p></r>"));
        doc.parse();
        const XmlItem* p = doc.items().last();
        const QList<QPair<QString, QString>> expected{{QStringLiteral("/r/p/id_"), QStringLiteral("7")},
                                                      {QStringLiteral("/r/p/k_"), QStringLiteral("v")},
                                                      {QStringLiteral("/r/p"), QStringLiteral("t")}};
        QCOMPARE(p->headerValues(), expected);
        QCOMPARE(p->header(1), QStringLiteral("/p"));
    }

    // Elements without children or text are written short; the declaration comes first.
    void xmlWrite() {
        XmlContainer doc;
        doc.addItem(new XmlItem(XmlItem::DECLARATION));
        auto* root = new XmlItem(QStringLiteral("root"));
        QXmlStreamAttributes attributes;
        attributes.append(QStringLiteral("id"), QStringLiteral("1"));
        auto* empty = new XmlItem(QStringLiteral("e"), attributes, root);
        empty->type = XmlItem::EMPTY;
        new XmlItem(QStringLiteral("t"), QStringLiteral("text"), root);
        doc.addItem(root);
        QCOMPARE(doc.write(true, LINE_ENDING_UNIX),
                 QByteArray("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<root>\n    <e id=\"1\"/>\n"
                            "    <t>text</t>\n</root>\n"));
    }
};

QTEST_GUILESS_MAIN(TestDocuments)
#include "tst_documents.moc"
