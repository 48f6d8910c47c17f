// Documents flattened into tables and tables written back as documents: the shapes documents
// take, the exact bytes written, round trips over random tables, and the files on disk.

#include "convert/conversion.h"
#include "table/tabledata.h"
#include "table/tablemodel.h"

#include <QFile>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>

#include <map>

using Rows = Conversion::Rows;
Q_DECLARE_METATYPE(Rows)

namespace {

// A table as lines of cells joined by "|", the way the cases below state them; a row without
// cells is an empty line.
QStringList linesOf(const Rows& rows) {
    QStringList lines;
    for (const QStringList& row : rows)
        lines.append(row.join(QLatin1Char('|')));
    return lines;
}

Rows table(const QStringList& lines) {
    Rows rows;
    for (const QString& line : lines)
        rows.push_back(line.split(QLatin1Char('|')));
    return rows;
}

// Each column as its title and values, rows that hold nothing left out: two tables that say the
// same with their columns in another order compare equal.
std::map<QString, QStringList> columnsOf(const Rows& rows) {
    std::map<QString, QStringList> columns;
    if (rows.empty())
        return columns;
    for (qsizetype c = 0; c < rows.front().size(); ++c) {
        QStringList& values = columns[rows.front().at(c)];
        for (std::size_t r = 1; r < rows.size(); ++r) {
            if (std::any_of(rows[r].begin(), rows[r].end(), [](const QString& s) { return !s.isEmpty(); }))
                values.append(rows[r].value(c));
        }
    }
    return columns;
}

QByteArray readAll(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

class TestConversion : public QObject {
    Q_OBJECT

private slots:
    void jsonToTable_data() {
        QTest::addColumn<QString>("json");
        QTest::addColumn<bool>("names");
        QTest::addColumn<QStringList>("expected");
        QTest::newRow("records of an array") << "[{\"a\": 1, \"b\": {\"c\": 2}}, {\"a\": 3, \"d\": [4, 5]}]"
                                             << false << QStringList{"a|b/c|d/0|d/1", "1|2||", "3||4|5"};
        // A record that is a plain value has no column: only its name is kept.
        QTest::newRow("a top-level object of plain values: each key a record")
            << "{\"x\": 1, \"y\": \"two\"}" << false << QStringList{"", "", ""};
        QTest::newRow("with the records' names")
            << "{\"x\": 1, \"y\": \"two\"}" << true << QStringList{"/", "x", "y"};
        QTest::newRow("records below a key, named")
            << "{\"meta\": 1, \"data\": {\"rows\": [{\"k\": \"a\"}, {\"k\": \"b\"}]}}" << true
            << QStringList{"/|rows/0/k|rows/1/k", "meta||", "data|a|b"};
        QTest::newRow("records deep in the tree")
            << "{\"data\": {\"rows\": [{\"k\": \"a\"}, {\"k\": \"b\", \"m\": true}]}}" << true
            << QStringList{"data/rows/|k|m", "0|a|", "1|b|true"};
        QTest::newRow("escapes kept as they stand")
            << "[{\"t\": \"a\\\"b\\\\c\\nd\\u00e9\"}, {\"t\\/u\": \"x\"}]" << false
            << QStringList{"t|t\\/u", "a\\\"b\\\\c\\nd\\u00e9|", "|x"};
        QTest::newRow("a record's key with a slash is cut at it")
            << "{\"a/b\": {\"c\": 1}, \"d\": {\"c\": 2}}" << true << QStringList{"/|b/c|c", "a/b|1|", "d||2"};
        QTest::newRow("null and empty strings")
            << "[{\"a\": null, \"b\": \"\"}, {\"a\": 1}]" << false << QStringList{"a", "null", "1"};
        QTest::newRow("nothing") << "" << false << QStringList{};
        QTest::newRow("only a comment") << "// x" << false << QStringList{};
    }
    void jsonToTable() {
        QFETCH(QString, json);
        QFETCH(bool, names);
        QFETCH(QStringList, expected);
        QCOMPARE(linesOf(Conversion::convertJsonToTable(json, names)), expected);
    }

    void xmlToTable_data() {
        QTest::addColumn<QString>("xml");
        QTest::addColumn<bool>("names");
        QTest::addColumn<QStringList>("expected");
        QTest::newRow("records with attributes")
            << "<?xml version=\"1.0\"?><root><p id=\"1\"><n>Ann</n><a c=\"x\">1 Main</a></p><p id=\"2\"><n> "
               "Bo </n></p></root>"
            << false << QStringList{"id_|n|a/c_|a", "1|Ann|x|1 Main", "2|Bo||"};
        // A record's own text has the empty path below the record.
        QTest::newRow("named records")
            << "<root><x>1</x><y><z>2</z></y></root>" << true << QStringList{"root/||z", "x|1|", "y||2"};
        QTest::newRow("a repeated child: the last value stands")
            << "<r><i><t>a</t><t>b</t></i><i><t>c</t></i></r>" << false << QStringList{"t", "b", "c"};
        QTest::newRow("no repeats: the deepest element")
            << "<a><b><c>1</c></b></a>" << false << QStringList{"", "1"};
        QTest::newRow("CDATA is text")
            << "<r><i><![CDATA[<b>]]></i><i>2</i></r>" << false << QStringList{"", "<b>", "2"};
        QTest::newRow("malformed gives nothing") << "<r><i>1</i><i>2</r>" << false << QStringList{};
        QTest::newRow("not XML") << "a,b\n1,2" << false << QStringList{};
    }
    void xmlToTable() {
        QFETCH(QString, xml);
        QFETCH(bool, names);
        QFETCH(QStringList, expected);
        QCOMPARE(linesOf(Conversion::convertXmlToTable(xml, names)), expected);
    }

    void tableToJson_data() {
        QTest::addColumn<QStringList>("rows");
        QTest::addColumn<QByteArray>("json");
        QTest::newRow("records in an array, empty cells and a last empty row left out")
            << QStringList{"a|b/c|d/0|d/1", "1|2||", "3||4|5", "||"}
            << QByteArray(
                   "[\n    {\n        \"a\" : 1,\n        \"b\" : {\n            \"c\" : 2\n        }\n"
                   "    },\n    {\n        \"a\" : 3,\n        \"d\" : [\n            4,\n            5\n"
                   "        ]\n    }\n]\n");
        // Row r is record r - 1: an empty row between records leaves a gap in the numbers.
        QTest::newRow("a gap between records makes an object")
            << QStringList{"a", "1", "", "x"}
            << QByteArray("{\n    \"0\" : {\n        \"a\" : 1\n    },\n    \"2\" : {\n"
                          "        \"a\" : \"x\"\n    }\n}\n");
        QTest::newRow("indexes that skip make an object") << QStringList{"a/0|a/2", "p|q"}
                                                          << QByteArray("[\n    {\n        \"a\" : {\n"
                                                                        "            \"0\" : \"p\",\n"
                                                                        "            \"2\" : \"q\"\n"
                                                                        "        }\n    }\n]\n");
        // Only a double quote in a value is escaped; a key is written as it stands.
        QTest::newRow("value types and the one escape")
            << QStringList{"n|z|f|w|s|h|q\"k", "-1.5e3|007|false|null|say \"hi\"\\\n|2e552|t\\u"}
            << QByteArray("[\n    {\n        \"n\" : -1.5e3,\n        \"z\" : 007,\n        \"f\" : false,\n"
                          "        \"w\" : null,\n        \"s\" : \"say \\\"hi\\\"\\\n\",\n        \"h\" : "
                          "\"2e552\",\n        \"q\"k\" : \"t\\u\"\n    }\n]\n");
        QTest::newRow("named records") << QStringList{"data/|v", "x|1", "y|2"}
                                       << QByteArray("{\n    \"data\" : {\n        \"x\" : {\n"
                                                     "            \"v\" : 1\n        },\n"
                                                     "        \"y\" : {\n            \"v\" : 2\n        }\n"
                                                     "    }\n}\n");
        QTest::newRow("an untitled column is the empty key")
            << QStringList{"a|", "1|2"}
            << QByteArray("[\n    {\n        \"a\" : 1,\n        \"\" : 2\n    }\n]\n");
        QTest::newRow("no data") << QStringList{"a|b"} << QByteArray("[]\n");
        QTest::newRow("nothing") << QStringList{} << QByteArray("[]\n");
    }
    void tableToJson() {
        QFETCH(QStringList, rows);
        QFETCH(QByteArray, json);
        QCOMPARE(Conversion::convertTableToJson(table(rows), LINE_ENDING_UNIX), json);
    }

    void tableToXml_data() {
        QTest::addColumn<QStringList>("rows");
        QTest::addColumn<QByteArray>("xml");
        const QByteArray declaration("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n");
        QTest::newRow("attribute of the record, element text")
            << QStringList{"id_|name|a/x_", "1|A & <B>|", "2||q\"r"}
            << declaration +
                   "<root>\n    <record id=\"1\">\n        <name>A & &lt;B&gt;</name>\n    </record>\n"
                   "    <record id=\"2\">\n        <a x=\"q&amp;quot;r\"/>\n    </record>\n</root>\n";
        QTest::newRow("indexes repeat an element")
            << QStringList{"t/0|t/1", "a|b"}
            << declaration + "<root>\n    <record>\n        <t>a</t>\n"
                             "        <t>b</t>\n    </record>\n</root>\n";
        QTest::newRow("named records, names cleaned")
            << QStringList{"list/|v|-y/w e|p:q_", "item|1|2|", "\u03a9|3||z"}
            << declaration +
                   "<list>\n    <item>\n        <v>1</v>\n        <-y>\n            <w-e>2</w-e>\n"
                   "        </-y>\n    </item>\n    <\u03a9 p:q=\"z\">\n        <v>3</v>\n    </\u03a9>\n"
                   "</list>\n";
        QTest::newRow("records named at the top level get a root")
            << QStringList{"//|v", "a|1", "b|2"}
            << declaration +
                   "<root>\n    <a>\n        <v>1</v>\n    </a>\n    <b>\n        <v>2</v>\n    </b>\n"
                   "</root>\n";
        QTest::newRow("no data") << QStringList{"a"} << declaration + "<root/>\n";
    }
    void tableToXml() {
        QFETCH(QStringList, rows);
        QFETCH(QByteArray, xml);
        QCOMPARE(Conversion::convertTableToXml(table(rows), LINE_ENDING_UNIX), xml);
    }

    void sanitizers() {
        QString header = QStringLiteral("/ a b/ /c:d/é1 ");
        Conversion::sanitizeXmlHeader(header);
        QCOMPARE(header, QStringLiteral("a-b/-/c-d/é1"));
        QString attribute = QStringLiteral(" x:y z ");
        Conversion::sanitizeXmlAttributeName(attribute);
        QCOMPARE(attribute, QStringLiteral("x:y-z"));
        // The quote first, so its entity's ampersand is escaped in turn; nothing else changes.
        QString value = QStringLiteral("\"&'<>\n\t");
        Conversion::sanitizeXmlAttributeValue(value);
        QCOMPARE(value, QStringLiteral("&amp;quot;&amp;&apos;&lt;&gt;\n\t"));
        QString contents = QStringLiteral("a & <b>\"'\r");
        Conversion::sanitizeXmlElementContents(contents);
        QCOMPARE(contents, QStringLiteral("a & &lt;b&gt;\"'\r"));
        // Digits after any "/" become an index.
        QString path = QStringLiteral("root/record/3/item/0/x/2b");
        Conversion::modifyHeaderNumericalIndexes(path);
        QCOMPARE(path, QStringLiteral("root/record&3/item&0/x&2b"));
    }

    // Above ASCII a letter or a decimal digit stays in a name, counted by character (a letter
    // beyond 16 bits too); anything else becomes one "-".
    void nameCharacters_data() {
        QTest::addColumn<QString>("level");
        QTest::addColumn<QString>("cleaned");
        QTest::newRow("letters") << QStringLiteral("\u00c5b\u00aa\u03a9")
                                 << QStringLiteral("\u00c5b\u00aa\u03a9");
        QTest::newRow("decimal digits") << QStringLiteral("1\u0660") << QStringLiteral("1\u0660");
        QTest::newRow("a digit that is not decimal") << QStringLiteral("x\u00b2") << QStringLiteral("x-");
        QTest::newRow("symbols") << QStringLiteral("\u2211+\u00d7") << QStringLiteral("---");
        QTest::newRow("beyond 16 bits")
            << QStringLiteral("\U0001d49c\U0001f600") << QStringLiteral("\U0001d49c-");
        QTest::newRow("a lone surrogate") << QString(QChar(0xd800)) << QStringLiteral("-");
        QTest::newRow("a leading digit stays") << QStringLiteral("2nd") << QStringLiteral("2nd");
    }
    void nameCharacters() {
        QFETCH(QString, level);
        QFETCH(QString, cleaned);
        QString header = level;
        Conversion::sanitizeXmlHeader(header);
        QCOMPARE(header, cleaned);
        QString attribute = level;
        Conversion::sanitizeXmlAttributeName(attribute);
        QCOMPARE(attribute, cleaned);
    }

    // Random tables go to a document and back and say the same: every title with its values,
    // whatever the numbers, words and characters in the cells that the rules carry through (not
    // a double quote or backslash in JSON, which are read back as they are written, nor a bare
    // ampersand or line break in XML).
    void roundTrips_data() {
        QTest::addColumn<bool>("xml");
        QTest::newRow("JSON") << false;
        QTest::newRow("XML") << true;
    }
    void roundTrips() {
        QFETCH(bool, xml);
        QRandomGenerator random(xml ? 8 : 4);
        const QStringList jsonTitles{"a", "b/c", "b/d", "e/f/g", "h i", "ü"};
        const QStringList xmlTitles{"a", "b/c", "b/d", "e/f/g", "id_", "b/k_"};
        const QStringList pieces{"x", "7", "-2.5", "007", "true", "null", "<",
                                 ">", "'", "é",    "漢",  "/",    "%1"};
        for (int round = 0; round < 60; ++round) {
            const QStringList& pool = xml ? xmlTitles : jsonTitles;
            QStringList titles;
            for (const QString& t : pool) {
                if (random.bounded(3) > 0)
                    titles.append(t);
            }
            if (titles.isEmpty())
                titles.append(pool.front());
            Rows rows{titles};
            const int numRows = 2 + random.bounded(4);
            for (int r = 0; r < numRows; ++r) {
                QStringList row;
                for (qsizetype c = 0; c < titles.size(); ++c) {
                    QString cell;
                    const int length = random.bounded(4);
                    for (int i = 0; i < length; ++i)
                        cell += pieces.at(random.bounded(pieces.size()));
                    row.append(cell);
                }
                // Every record holds something: an empty one is not written.
                if (row.join(QString()).isEmpty())
                    row[0] = QStringLiteral("v");
                rows.push_back(row);
            }
            const QByteArray document = xml ? Conversion::convertTableToXml(rows, LINE_ENDING_UNIX)
                                            : Conversion::convertTableToJson(rows, LINE_ENDING_UNIX);
            const Rows back = xml ? Conversion::convertXmlToTable(QString::fromUtf8(document), false)
                                  : Conversion::convertJsonToTable(QString::fromUtf8(document), false);
            // A column empty in every row is not in the document.
            std::map<QString, QStringList> expected = columnsOf(rows);
            std::erase_if(expected, [](const auto& column) {
                return std::all_of(column.second.begin(), column.second.end(),
                                   [](const QString& s) { return s.isEmpty(); });
            });
            QCOMPARE(columnsOf(back), expected);
        }
    }

    // A long export hears its progress and stops when told: nothing half written comes back.
    void progressAndStop() {
        Rows rows{QStringList{QStringLiteral("a"), QStringLiteral("b/c_")}};
        for (int r = 0; r < 5000; ++r)
            rows.push_back(QStringList{QString::number(r), QStringLiteral("x")});
        const Conversion::RowReader rowAt = [&rows](int r) { return rows[static_cast<std::size_t>(r)]; };
        const int numRows = static_cast<int>(rows.size());
        for (const bool xml : {false, true}) {
            qint64 last = 0;
            const auto convert = [&](const Conversion::Progress& progress) {
                return xml ? Conversion::convertTableToXml(numRows, rowAt, LINE_ENDING_UNIX, progress)
                           : Conversion::convertTableToJson(numRows, rowAt, LINE_ENDING_UNIX, progress);
            };
            const QByteArray whole = convert([&](qint64 done, qint64 total) {
                last = done;
                return total == numRows;
            });
            QCOMPARE(whole, xml ? Conversion::convertTableToXml(rows, LINE_ENDING_UNIX)
                                : Conversion::convertTableToJson(rows, LINE_ENDING_UNIX));
            QVERIFY(last > numRows / 2);
            QVERIFY(convert([](qint64, qint64) { return false; }).isEmpty());
        }
    }

    // Named records come back with their names.
    void roundTripNamed() {
        const Rows rows = table({"data/items/|v|w/0", "first|1|x", "second|2|y"});
        QCOMPARE(Conversion::convertJsonToTable(
                     QString::fromUtf8(Conversion::convertTableToJson(rows, LINE_ENDING_UNIX)), true),
                 rows);
        const Rows xmlRows = table({"data/|v|w", "first|1|x", "second|2|y"});
        QCOMPARE(Conversion::convertXmlToTable(
                     QString::fromUtf8(Conversion::convertTableToXml(xmlRows, LINE_ENDING_UNIX)), true),
                 xmlRows);
    }

    // The files: a table file with the parameters asked for, a document from a loaded table
    // with the table's line ending, and a write that fails leaving nothing half done.
    void files() {
        QTemporaryDir dir;
        const NonTableFile json{FILE_TYPE_JSON, SOURCE_LOCAL_FILE, QString(),
                                QStringLiteral("[{\"a\": \"x\\ty\", \"b\": 1}, {\"a\": \"é\"}]"), false};
        ExtensionData tsv;
        tsv.extension = QStringLiteral("tsv");
        tsv.saveDelimiter = QStringLiteral("\t");
        tsv.lineEnding = LINE_ENDING_WINDOWS;
        tsv.encoding = UTF_16;
        const QString tablePath = dir.filePath(QStringLiteral("t.tsv"));
        QVERIFY(Conversion::convertToTable(json, tablePath, tsv, false));
        // The escape stays as it stands in the document, and comes back out the same.
        const QByteArray expected = QStringLiteral("a\tb\r\nx\\ty\t1\r\né\t\r\n").toUtf8();
        const QByteArray written = readAll(tablePath);
        QCOMPARE(
            QString::fromUtf16(reinterpret_cast<const char16_t*>(written.constData()), written.size() / 2),
            QString::fromUtf8(expected));

        // Records that are plain values give rows without cells.
        const NonTableFile plain{FILE_TYPE_JSON, SOURCE_LOCAL_FILE, QString(),
                                 QStringLiteral("{\"x\": 1, \"y\": 2}"), false};
        const QString plainPath = dir.filePath(QStringLiteral("p.csv"));
        QVERIFY(Conversion::convertToTable(plain, plainPath, ExtensionData(), true));
        QCOMPARE(readAll(plainPath), QByteArray("/\nx\ny\n"));

        QVERIFY(
            !Conversion::convertToTable(NonTableFile{}, dir.filePath(QStringLiteral("n.csv")), tsv, false));
        QVERIFY(!QFile::exists(dir.filePath(QStringLiteral("n.csv"))));

        TableModel model(false);
        model.loadCSV(tablePath, false, TableData::Editable, QStringLiteral("\t"), QStringLiteral("\t"),
                      UTF_16LE, RFC_4180);
        model.getTableData().setLineEnding(LINE_ENDING_WINDOWS);
        const QString jsonPath = dir.filePath(QStringLiteral("t.json"));
        QVERIFY(Conversion::convertFromTable(FILE_TYPE_JSON, model, jsonPath));
        QCOMPARE(readAll(jsonPath),
                 QByteArray("[\r\n    {\r\n        \"a\" : \"x\\ty\",\r\n        \"b\" : 1\r\n"
                            "    },\r\n    {\r\n        \"a\" : \"\xc3\xa9\"\r\n    }\r\n]\r\n"));
        QVERIFY(!Conversion::convertFromTable(FILE_TYPE_XML, model,
                                              dir.filePath(QStringLiteral("no/such/t.xml"))));
    }
};

QTEST_GUILESS_MAIN(TestConversion)
#include "tst_conversion.moc"
