#include "util/clipboardutilities.h"

#include <QRandomGenerator>
#include <QTest>

namespace {

// A reader's block as lines of cells joined by "|", for compact expectations.
QStringList rowsOf(const RangeVector& parsed) {
    QStringList out;
    for (const auto& row : Utilities::parsedRows(parsed)) {
        QStringList cells;
        for (const QVariant& v : row)
            cells << v.toString();
        out << cells.join(QLatin1Char('|'));
    }
    return out;
}

std::vector<std::vector<QString>> toTexts(const RangeVector& parsed) {
    std::vector<std::vector<QString>> out;
    for (const auto& row : Utilities::parsedRows(parsed)) {
        auto& line = out.emplace_back();
        for (const QVariant& v : row)
            line.push_back(v.toString());
    }
    return out;
}

// A random table of awkward cells, all rows as wide as `cols`.
std::vector<std::vector<QString>> randomTable(QRandomGenerator& g, int rows, int cols, bool trimmed) {
    static const QStringList pieces{"a",    "Zürich", ",",  "\"",    "\t", "\n",   "|",
                                    "<",    ">",      "&",  "&amp;", " ",  "x y",  ";",
                                    "\r\n", "'",      "\\", "<br>",  "7",  "日本", "\x1e"};
    std::vector<std::vector<QString>> table(static_cast<std::size_t>(rows));
    for (auto& row : table) {
        for (int c = 0; c < cols; ++c) {
            QString cell;
            const int n = g.bounded(4);
            for (int k = 0; k < n; ++k)
                cell += pieces[g.bounded(static_cast<int>(pieces.size()))];
            if (trimmed)
                cell = cell.trimmed();
            row.push_back(cell);
        }
    }
    return table;
}

} // namespace

class TestClipboardUtilities : public QObject {
    Q_OBJECT

private slots:
    void parseCsv_data() {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<char>("delimiter");
        QTest::addColumn<QStringList>("expected");
        QTest::newRow("empty") << QByteArray() << ',' << QStringList();
        QTest::newRow("one cell") << QByteArray("x") << ',' << QStringList{"x"};
        QTest::newRow("trailing newline makes no row")
            << QByteArray("a,b\nc,d\n") << ',' << QStringList{"a|b", "c|d"};
        QTest::newRow("crlf") << QByteArray("a,b\r\nc,d\r\n") << ',' << QStringList{"a|b", "c|d"};
        QTest::newRow("lone cr") << QByteArray("a\rb") << ',' << QStringList{"a", "b"};
        QTest::newRow("record separator") << QByteArray("a\x1e"
                                                        "b")
                                          << ',' << QStringList{"a", "b"};
        QTest::newRow("empty fields") << QByteArray(",a,,\n,") << ',' << QStringList{"|a||", "|"};
        QTest::newRow("empty line in the middle") << QByteArray("a\n\nb") << ',' << QStringList{"a", "", "b"};
        QTest::newRow("quoted delimiter and break")
            << QByteArray("\"x,y\",\"1\n2\"\nz") << ',' << QStringList{"x,y|1\n2", "z"};
        QTest::newRow("doubled quote")
            << QByteArray("\"say \"\"hi\"\"\",b") << ',' << QStringList{"say \"hi\"|b"};
        QTest::newRow("tab inside quotes stays")
            << QByteArray("\"a\tb\"\tc") << '\t' << QStringList{"a\tb|c"};
        QTest::newRow("quote mid field is text")
            << QByteArray("5\" pipe,x") << ',' << QStringList{"5\" pipe|x"};
        QTest::newRow("lax quote after quoted part")
            << QByteArray("\"ab\"cd,e") << ',' << QStringList{"abcd|e"};
        QTest::newRow("unclosed quote runs to end")
            << QByteArray("\"ab,c\nd") << ',' << QStringList{"ab,c\nd"};
        QTest::newRow("ragged rows stay ragged")
            << QByteArray("a\tb\tc\nd\ne\tf") << '\t' << QStringList{"a|b|c", "d", "e|f"};
        QTest::newRow("utf-8") << QByteArray("Zürich;日本") << ';' << QStringList{"Zürich|日本"};
        // Each bad byte reads as a replacement character in its own cell, and the cells
        // after it keep their places.
        QTest::newRow("invalid utf-8") << QByteArray("a\xff,b\n\xfe\xfd"
                                                     "c,\"\xc3\"")
                                       << ',' << QStringList{"a\ufffd|b", "\ufffd\ufffdc|\ufffd"};
    }
    void parseCsv() {
        QFETCH(QByteArray, bytes);
        QFETCH(char, delimiter);
        QFETCH(QStringList, expected);
        RangeVector out;
        Utilities::parseCsvByteArray(bytes, out, delimiter, true);
        QCOMPARE(rowsOf(out), expected);
        QCOMPARE(out.size(), expected.isEmpty() ? std::size_t(0) : std::size_t(1));
    }

    void detectDelimiter_data() {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<char>("expected");
        QTest::newRow("nothing") << QByteArray() << '\t';
        QTest::newRow("only blank lines") << QByteArray("\n  \n") << '\t';
        QTest::newRow("no candidate") << QByteArray("abc\ndef") << '\t';
        QTest::newRow("commas beat one semicolon") << QByteArray("a,b,c\nd,e;f,g\nh,i,j\n") << ',';
        QTest::newRow("semicolons") << QByteArray("a;b\nc;d\n") << ';';
        QTest::newRow("pipes") << QByteArray("a|b|c\nd|e|f") << '|';
        QTest::newRow("tab wins a tie") << QByteArray("a\tb,c\nd\te,f") << '\t';
        QTest::newRow("consistent beats frequent") << QByteArray("a;b;c;d,e\nf;g,h\ni;j;k;l;m;n,o") << ',';
        QTest::newRow("space never tried") << QByteArray("a b\nc d") << '\t';
        QTest::newRow("trailing empty lines dropped") << QByteArray("a,b\n\n\n") << ',';
    }
    void detectDelimiter() {
        QFETCH(QByteArray, bytes);
        QFETCH(char, expected);
        QCOMPARE(Utilities::detectDelimiterInByteArray(bytes), expected);
    }

    void markdown_data() {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<bool>("contains");
        QTest::addColumn<QStringList>("expected");
        QTest::newRow("outer pipes") << QByteArray("| a | b |\n|---|---|\n| 1 | 2 |\n") << true
                                     << QStringList{"a|b", "1|2"};
        QTest::newRow("no outer pipes")
            << QByteArray("a | b\n--- | ---\n1 | 2") << true << QStringList{"a|b", "1|2"};
        QTest::newRow("alignment colons, crlf")
            << QByteArray("|a|b|\r\n|:--|--:|\r\n|1|2|\r\n") << true << QStringList{"a|b", "1|2"};
        QTest::newRow("text before and after")
            << QByteArray("Intro\n\n| a |\n| - |\n| x |\n\nAfter | text\n") << true << QStringList{"a", "x"};
        QTest::newRow("ragged rows") << QByteArray("|a|b|c|\n|-|-|-|\n|1|\n|1|2|3|4|") << true
                                     << QStringList{"a|b|c", "1", "1|2|3|4"};
        QTest::newRow("escaped pipe and break")
            << QByteArray("|a\\|b|c<br>d|\n|-|-|") << true << QStringList{"a|b|c\nd"};
        QTest::newRow("empty cells") << QByteArray("| | b |\n|--|--|\n|  |  |") << true
                                     << QStringList{"|b", "|"};
        QTest::newRow("separator without header pipe")
            << QByteArray("title\n|---|\n") << false << QStringList();
        QTest::newRow("plain text") << QByteArray("a - b\nc - d") << false << QStringList();
        QTest::newRow("one line") << QByteArray("|---|") << false << QStringList();
    }
    void markdown() {
        QFETCH(QByteArray, bytes);
        QFETCH(bool, contains);
        QFETCH(QStringList, expected);
        QCOMPARE(Utilities::containsMarkdownTable(bytes), contains);
        RangeVector out;
        Utilities::parseMarkdownTableByteArray(bytes, out);
        QCOMPARE(rowsOf(out), expected);
    }

    void html_data() {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<bool>("contains");
        QTest::addColumn<QStringList>("expected");
        QTest::newRow("th row is a normal row")
            << QByteArray("<table><tr><th>a</th><th>b</th></tr><tr><td>1</td><td>2</td></tr></table>") << true
            << QStringList{"a|b", "1|2"};
        QTest::newRow("attributes, thead, tbody, upper case")
            << QByteArray("<TABLE border=1><THEAD><TR class=x><TH align=left>a</TH></TR></THEAD>"
                          "<tbody><tr><td colspan=\"1\"><b>1</b></td></tr></tbody></TABLE>")
            << true << QStringList{"a", "1"};
        QTest::newRow("entities and breaks")
            << QByteArray("<table><tr><td>&quot;x&quot; &lt;&amp;&gt;</td><td>1<br>2</td><td><br></td>"
                          "<td>&#9;&#x41;&nbsp;</td></tr></table>")
            << true << QStringList{"\"x\" <&>|1\n2||\tA\u00a0"};
        QTest::newRow("source whitespace collapses")
            << QByteArray("<table>\n <tr>\n  <td>\n   a\n   b  c\n  </td>\n </tr>\n</table>") << true
            << QStringList{"a b c"};
        QTest::newRow("closing tags left out")
            << QByteArray("<table><tr><td>a<td>b<tr><td>c</table>") << true << QStringList{"a|b", "c"};
        QTest::newRow("only the first table")
            << QByteArray("<table><tr><td>1</td></tr></table><table><tr><td>2</td></tr></table>") << true
            << QStringList{"1"};
        QTest::newRow("no table") << QByteArray("<p>hello <b>you</b></p>") << false << QStringList();
        QTest::newRow("table without rows") << QByteArray("<table></table>") << true << QStringList();
        QTest::newRow("blanks: unicode ones trimmed, around breaks dropped, tags join runs")
            << QByteArray("<table><tr><td>\xc2\xa0 a <i> </i> b \xe2\x80\x83</td><td> x <br/> y </td>"
                          "<td> <BR> \n <br /> </td><td>&nbsp;k&#32;</td></tr></table>")
            << true << QStringList{"a b|x\ny||\u00a0k "};
        QTest::newRow("invalid utf-8 and a br mark lookalike")
            << QByteArray("<table><tr><td>\xff<br>\xfe</td><td>\xef\xbf\xbd</td></tr></table>") << true
            << QStringList{"\ufffd\n\ufffd|\ufffd"};
        QTest::newRow("unknown entity kept") << QByteArray("<table><tr><td>&bogus; & x</td></tr></table>")
                                             << true << QStringList{"&bogus; & x"};
    }
    void html() {
        QFETCH(QByteArray, bytes);
        QFETCH(bool, contains);
        QFETCH(QStringList, expected);
        QCOMPARE(Utilities::containsHtmlTable(bytes), contains);
        RangeVector out;
        Utilities::parseHtmlTableByteArray(bytes, out);
        QCOMPARE(rowsOf(out), expected);
    }

    void straightText() {
        RangeVector out;
        Utilities::parseStraightTextByteArray("a,b\tc\r\n\"d\n", out);
        QCOMPARE(rowsOf(out), (QStringList{"a,b\tc", "\"d"}));
    }

    // Writers and readers give back the same cells for random tables full of delimiters,
    // quotes, breaks, pipes and HTML specials.
    void roundTrips_data() {
        QTest::addColumn<QString>("format");
        for (const char* f : {"csv", "tab", "markdown", "html"})
            QTest::newRow(f) << QString::fromLatin1(f);
    }
    void roundTrips() {
        QFETCH(QString, format);
        QRandomGenerator g(7);
        for (int round = 0; round < 200; ++round) {
            const bool markdown = format == QLatin1String("markdown");
            // Markdown trims its cells and has no way to write a lone CR.
            auto table = randomTable(g, 1 + g.bounded(5), 1 + g.bounded(4), markdown);
            if (markdown) {
                for (auto& row : table) {
                    for (QString& cell : row) {
                        cell.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
                        cell.replace(QStringLiteral("<br>"), QString());
                        cell = cell.trimmed();
                    }
                }
            }
            if (format == QLatin1String("html")) {
                for (auto& row : table) {
                    for (QString& cell : row) {
                        cell.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
                        // A cell of nothing but breaks reads as empty, as spreadsheets write them.
                        if (!cell.isEmpty() && cell.count(u'\n') == cell.size())
                            cell.clear();
                    }
                }
            }
            QString text;
            RangeVector out;
            if (format == QLatin1String("csv") || format == QLatin1String("tab")) {
                const bool csv = format == QLatin1String("csv");
                for (const auto& row : table) {
                    QStringList fields;
                    for (QString cell : row) {
                        if (csv)
                            Utilities::convertCellValueRawToQuotes(cell);
                        else
                            Utilities::convertCellValueToTabField(cell);
                        fields << cell;
                    }
                    text += fields.join(csv ? u',' : u'\t') + u'\n';
                }
                QByteArray bytes = text.toUtf8();
                Utilities::parseCsvByteArray(bytes, out, csv ? ',' : '\t', true);
            } else if (markdown) {
                text = Utilities::buildMarkdownTable(table);
                QVERIFY(Utilities::containsMarkdownTable(text.toUtf8()));
                Utilities::parseMarkdownTableByteArray(text.toUtf8(), out);
            } else {
                text = Utilities::buildHtmlTable(table);
                Utilities::parseHtmlTableByteArray(text.toUtf8(), out);
            }
            QVERIFY2(toTexts(out) == table, qPrintable(text));
        }
    }

    void markdownLayout() {
        const QString md = Utilities::buildMarkdownTable({{"name", "x"}, {"a|b", ""}, {"c"}});
        QCOMPARE(md, QStringLiteral("| name | x |\n| ---- | - |\n| a\\|b |   |\n| c    |   |\n"));
    }

    void htmlLayout() {
        const QString html = Utilities::buildHtmlTable({{"h", ""}, {"<a & \"b\">", "1\n2"}});
        QCOMPARE(html, QStringLiteral(
                           "<table>\n<tr><th>h</th><th></th></tr>\n"
                           "<tr><td>&lt;a &amp; &quot;b&quot;&gt;</td><td>1<br>2</td></tr>\n</table>\n"));
    }

    // Arbitrary bytes never crash a reader, and what comes back is a block or nothing.
    void binaryInput() {
        QRandomGenerator g(11);
        for (int round = 0; round < 300; ++round) {
            QByteArray bytes(g.bounded(400), '\0');
            for (char& b : bytes)
                b = static_cast<char>(g.bounded(256));
            if (round % 3 == 0)
                bytes.prepend("<table><tr><td>");
            if (round % 3 == 1)
                bytes.prepend("|a|\n|-|\n|");
            RangeVector out;
            Utilities::parseCsvByteArray(bytes, out, '\t', true);
            QVERIFY(out.size() <= 1);
            Utilities::parseMarkdownTableByteArray(bytes, out);
            QVERIFY(out.size() <= 1);
            Utilities::parseHtmlTableByteArray(bytes, out);
            QVERIFY(out.size() <= 1);
            Utilities::detectDelimiterInByteArray(bytes);
        }
    }

    void pasteDelimiter_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("ok");
        QTest::addColumn<QString>("delimiter");
        QTest::newRow("char") << ";" << true << ";";
        QTest::newRow("tab name") << " Tab " << true << "\t";
        QTest::newRow("escaped tab") << "\\t" << true << "\t";
        QTest::newRow("space") << "space" << true << " ";
        QTest::newRow("quote refused") << "\"" << false << "";
        QTest::newRow("non-ascii refused") << "§" << false << "";
        QTest::newRow("two chars refused") << ";;" << false << "";
        QTest::newRow("empty refused") << "" << false << "";
    }
    void pasteDelimiter() {
        QFETCH(QString, text);
        QFETCH(bool, ok);
        QFETCH(QString, delimiter);
        QString out;
        QCOMPARE(Utilities::parsePasteDelimiterString(text, out), ok);
        if (ok)
            QCOMPARE(out, delimiter);
    }
};

QTEST_GUILESS_MAIN(TestClipboardUtilities)
#include "tst_clipboardutilities.moc"
