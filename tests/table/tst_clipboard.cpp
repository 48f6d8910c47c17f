// The clipboard ends of the model and the paste command, without a window: what a copy puts
// in the mime data, which format a paste reads, and how a pasted block lands and goes back.

#include "table/pastecommand.h"
#include "tablemodelfixture.h"
#include "util/clipboardutilities.h"

#include <QDataStream>
#include <QElapsedTimer>
#include <QMimeData>
#include <QUndoStack>

using namespace Fixture;

namespace {

QStringList tableRows(const TableModel& model) {
    QStringList out;
    for (int r = 0; r < model.rowCountRaw(); ++r) {
        QStringList cells;
        for (int c = 0; c < model.columnCountRaw(); ++c)
            cells << model.getTableData().getValueRaw(r, c).toString();
        out << cells.join(QLatin1Char(','));
    }
    return out;
}

void select(TableModel& model, int top, int left, int bottom, int right) {
    Range block = table(top, left, bottom, right);
    block.isMainCell = true;
    block.mainCellRow = top;
    block.mainCellCol = left;
    model.setSelection(block);
}

QByteArray dataList(const std::vector<std::tuple<int, int, QString>>& records) {
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    for (const auto& [row, col, text] : records) {
        QMap<int, QVariant> roles;
        roles.insert(Qt::DisplayRole, text);
        stream << row << col << roles;
    }
    return bytes;
}

QStringList pastedRows(const TableModel& model, const QMimeData& mime) {
    RangeVector out;
    model.convertMimeToCellData(&mime, out);
    QStringList rows;
    for (const auto& row : Utilities::parsedRows(out)) {
        QStringList cells;
        for (const QVariant& v : row)
            cells << v.toString();
        rows << cells.join(QLatin1Char('|'));
    }
    return rows;
}

const QStringList kLines{"h0,h1,h2", "a,\"x,y\",c", "d,\"1\n2\",f", "g,h,i"};

} // namespace

class TestClipboard : public QObject {
    Q_OBJECT

private slots:
    void copyBlock() {
        auto m = load(kLines);
        select(*m, 1, 0, 2, 2);
        std::unique_ptr<QMimeData> mime(m->convertCellDataToMime(false));
        QCOMPARE(mime->text(), QStringLiteral("a\tx,y\tc\nd\t\"1\n2\"\tf"));
        QCOMPARE(mime->data("text/csv"), QByteArray("a,\"x,y\",c\nd,\"1\n2\",f\n"));
        QVERIFY(!mime->hasFormat("application/x-qabstractitemmodeldatalist"));
        QVERIFY(mime->html().startsWith(
            "<!DOCTYPE html>\n<html>\n<style>\ntable {\nborder: 1px solid black;\nborder-style: solid;\n"
            "padding: 0px;\nborder-collapse: collapse;\n}\ntd {\nborder: 1px solid black;\n"
            "border-style: solid;\npadding: 4px;\n}\n</style>\n<body>\n<table>\n<tr><td>a</td>\n"));
        QVERIFY(mime->html().contains("<td>1<br>2</td>\n"));
        QVERIFY(mime->html().endsWith("</tr>\n</table>\n</body>\n</html>\n"));
    }

    void copyWithHeaders_data() {
        QTest::addColumn<int>("top");
        QTest::addColumn<QString>("text");
        QTest::newRow("below the header") << 3 << "h1\th2\nh\ti";
        QTest::newRow("header selected already") << 0 << "h1\th2\nx,y\tc\n\"1\n2\"\tf\nh\ti";
    }
    void copyWithHeaders() {
        QFETCH(int, top);
        QFETCH(QString, text);
        auto m = load(kLines);
        select(*m, top, 1, 3, 2);
        std::unique_ptr<QMimeData> mime(m->convertCellDataToMime(true));
        QCOMPARE(mime->text(), text);
    }

    void copySingleCell() {
        auto m = load(kLines);
        select(*m, 2, 1, 2, 1);
        std::unique_ptr<QMimeData> mime(m->convertCellDataToMime(false));
        QCOMPARE(mime->text(), QStringLiteral("1\n2"));
        QVERIFY(!mime->hasFormat("text/csv"));
        QVERIFY(!mime->hasHtml());
        QVERIFY(mime->hasFormat("application/x-qabstractitemmodeldatalist"));
        QCOMPARE(pastedRows(*m, *mime), QStringList{"1\n2"});
    }

    // Cells that a row does not select are empty fields, so every row has the same width.
    void copyScatteredSelection() {
        auto m = load(kLines);
        RangeVector cells{cell(1, 0), cell(3, 2)};
        cells.front().isMainCell = true;
        m->setSelection(cells);
        std::unique_ptr<QMimeData> mime(m->convertCellDataToMime(false));
        QCOMPARE(mime->text(), QStringLiteral("a\t\n\ti"));
    }

    void pasteFormats_data() {
        QTest::addColumn<QStringList>("types");
        QTest::addColumn<QByteArrayList>("payloads");
        QTest::addColumn<QStringList>("expected");
        QTest::newRow("datalist rows 1 and 3 pack")
            << QStringList{"application/x-qabstractitemmodeldatalist", "text/plain"}
            << QByteArrayList{dataList({{1, 4, "a"}, {3, 4, "b"}, {3, 6, "c"}}), "ignored"}
            << QStringList{"a", "b|c"};
        QTest::newRow("csv before plain") << QStringList{"text/csv", "text/plain"}
                                          << QByteArrayList{"\"a,b\",c\n", "x"} << QStringList{"a,b|c"};
        QTest::newRow("Csv name") << QStringList{"Csv"} << QByteArrayList{"1,2\n3,4"}
                                  << QStringList{"1|2", "3|4"};
        QTest::newRow("plain, trailing newline")
            << QStringList{"text/plain"} << QByteArrayList{"a\tb\n\n"} << QStringList{"a|b"};
        QTest::newRow("plain keeps trailing empty cell")
            << QStringList{"text/plain"} << QByteArrayList{"a\t\n"} << QStringList{"a|"};
        QTest::newRow("plain, tab in quotes")
            << QStringList{"text/plain"} << QByteArrayList{"\"a\tb\"\tc"} << QStringList{"a\tb|c"};
        QTest::newRow("utf-8 plain name")
            << QStringList{"text/plain;charset=utf-8"} << QByteArrayList{"é\tü"} << QStringList{"é|ü"};
        QTest::newRow("html table before plain text")
            << QStringList{"text/html", "text/plain"}
            << QByteArrayList{"<table><tr><td>1<br>2</td><td>&lt;b&gt;</td></tr></table>", "1 2\t<b>"}
            << QStringList{"1\n2|<b>"};
        QTest::newRow("html without table falls back")
            << QStringList{"text/html", "text/plain"} << QByteArrayList{"<p>hi</p>", "hi"}
            << QStringList{"hi"};
        QTest::newRow("html only, no table")
            << QStringList{"text/html"} << QByteArrayList{"<p>hi</p>"} << QStringList();
        QTest::newRow("nothing") << QStringList{"image/png"} << QByteArrayList{"\x89PNG"} << QStringList();
    }
    void pasteFormats() {
        QFETCH(QStringList, types);
        QFETCH(QByteArrayList, payloads);
        QFETCH(QStringList, expected);
        auto m = load(kLines);
        QMimeData mime;
        for (qsizetype i = 0; i < types.size(); ++i)
            mime.setData(types[i], payloads[i]);
        QCOMPARE(pastedRows(*m, mime), expected);
    }

    // Copy then paste in every format gives the same cells back.
    void roundTripThroughMime_data() {
        QTest::addColumn<QString>("keep");
        QTest::newRow("csv") << "text/csv";
        QTest::newRow("html") << "text/html";
        QTest::newRow("plain") << "text/plain";
    }
    void roundTripThroughMime() {
        QFETCH(QString, keep);
        auto m =
            load({"\"a\tb\",\"<&>\",\"\"\"q\"\"\"", "\"x\ny\",,\"|p|\"", "\" lead\",\"two  spaces\",end"});
        select(*m, 0, 0, 2, 2);
        std::unique_ptr<QMimeData> full(m->convertCellDataToMime(false));
        QMimeData only;
        only.setData(keep, full->data(keep));
        QCOMPARE(pastedRows(*m, only), (QStringList{"a\tb|<&>|\"q\"", "x\ny|||p|", " lead|two  spaces|end"}));
    }

    void pasteOneCellFillsSelection() {
        auto m = load(kLines);
        select(*m, 1, 1, 3, 1);
        RangeVector pasted;
        Utilities::makeParsedBlock(pasted, {{QVariant(QStringLiteral("z"))}});
        QUndoStack stack;
        const QStringList before = tableRows(*m);
        stack.push(new PasteCommand(m.model.get(), m->getSelection(), pasted, true));
        QCOMPARE(tableRows(*m), (QStringList{"h0,h1,h2", "a,z,c", "d,z,f", "g,z,i"}));
        stack.undo();
        QCOMPARE(tableRows(*m), before);
    }

    void pasteBlockAtMainCellGrowsTable() {
        auto m = load(kLines);
        select(*m, 2, 1, 2, 1);
        QByteArray bytes("1\t2\t3\n4\n5\t6");
        RangeVector pasted;
        Utilities::parseCsvByteArray(bytes, pasted, '\t', true);
        QUndoStack stack;
        const QStringList before = tableRows(*m);
        stack.push(new PasteCommand(m.model.get(), m->getSelection(), pasted, true));
        QCOMPARE(tableRows(*m), (QStringList{"h0,h1,h2,", "a,x,y,c,", "d,1,2,3", "g,4,i,", ",5,6,"}));
        QCOMPARE(stack.count(), 1);
        // The block is the new selection, its main cell at the top left.
        QCOMPARE(m->getMainCell().row, 2);
        QCOMPARE(m->getMainCell().col, 1);
        QVERIFY(m->cellInSelection(4, 3));
        stack.undo();
        QCOMPARE(tableRows(*m), before);
        QCOMPARE(m->rowCountRaw(), 4);
        QCOMPARE(m->columnCountRaw(), 3);
        QVERIFY(m->cellInSelection(2, 1));
        QVERIFY(!m->cellInSelection(3, 1));
        stack.redo();
        QCOMPARE(m->getTableData().getValueRaw(4, 2).toString(), QStringLiteral("6"));
    }

    // The block lands where the cell-by-cell writes would put it, in whatever the table's
    // orientation, concealment and encoding, and undo and redo give back every cell.
    void pasteBlockLandsAndUndoes_data() {
        QTest::addColumn<QString>("setup");
        QTest::addColumn<int>("row");
        QTest::addColumn<int>("col");
        QTest::addColumn<QByteArray>("clip");
        QTest::addColumn<QStringList>("expected");
        QTest::newRow("ragged; empty cells outside write nothing")
            << "" << 3 << 2 << QByteArray("1\t2\n\t\n3")
            << QStringList{"h0,h1,h2,", "a,x,y,c,", "d,1\n2,f,", "g,h,1,2", ",,,", ",,3,"};
        QTest::newRow("over a hidden column") << "hidden" << 1 << 1 << QByteArray("p\tq")
                                              << QStringList{"h0,h1,h2,", "a,x,y,p,q", "d,1\n2,f,", "g,h,i,"};
        QTest::newRow("transposed") << "transposed" << 0 << 3 << QByteArray("p\tq")
                                    << QStringList{"h0,a,d,p,q", "h1,x,y,1\n2,h,", "h2,c,f,i,"};
        QTest::newRow("latin-1 table") << "latin1" << 0 << 0 << QByteArray("\xc3\xa9\t\xc3\xbc")
                                       << QStringList{"é,ü,h2", "a,x,y,c", "d,1\n2,f", "g,h,i"};
    }
    void pasteBlockLandsAndUndoes() {
        QFETCH(QString, setup);
        QFETCH(int, row);
        QFETCH(int, col);
        QFETCH(QByteArray, clip);
        QFETCH(QStringList, expected);
        auto m = load(kLines);
        TableData& data = m->getTableData();
        if (setup == "hidden")
            data.concealRawCols({1});
        else if (setup == "transposed")
            data.toggleTranspose();
        else if (setup == "latin1")
            data.setEncoding(ISO_8859_1, true);
        select(*m, row, col, row, col);
        const QStringList before = tableRows(*m);
        Utilities::TextBlock block;
        Utilities::parseCsvBlock(clip, block, '\t', true);
        QUndoStack stack;
        stack.push(new PasteCommand(m.model.get(), m->getSelection(), std::move(block), true));
        QCOMPARE(stack.count(), 1);
        QCOMPARE(tableRows(*m), expected);
        if (setup == "latin1")
            QCOMPARE(data.getValueRawCharVec(0, 1), std::vector<char>{char(0xFC)});
        stack.undo();
        QCOMPARE(tableRows(*m), before);
        stack.redo();
        QCOMPARE(tableRows(*m), expected);
    }

    // Texts beyond ASCII survive the UTF-8 forms of a copy, and a paste of each reads them back.
    void copyKeepsNonAscii() {
        auto m = load({"é,\xF0\x9F\x98\x80", "ß,\"<ü> &\""});
        select(*m, 0, 0, 1, 1);
        std::unique_ptr<QMimeData> mime(m->convertCellDataToMime(false));
        QCOMPARE(mime->data("text/csv"), QByteArray("é,\xF0\x9F\x98\x80\nß,<ü> &\n"));
        QVERIFY(mime->html().contains(QString::fromUtf8("<td>\xF0\x9F\x98\x80</td>")));
        QVERIFY(mime->html().contains(QString::fromUtf8("<td>&lt;ü&gt; &amp;</td>")));
        for (const QString type : {"text/csv", "text/html"}) {
            QMimeData only;
            only.setData(type, mime->data(type));
            QCOMPARE(pastedRows(*m, only), QStringList({"é|\xF0\x9F\x98\x80", "ß|<ü> &"}));
        }
    }

    void emptyPasteIsNoCommand() {
        auto m = load(kLines);
        select(*m, 1, 1, 1, 1);
        PasteCommand command(m.model.get(), m->getSelection(), RangeVector(), true);
        QVERIFY(!command.isValid);
    }

    // A large paste is one step and quick enough; the full million-cell figures are in the benchmark.
    void largePasteOneStep() {
        auto m = load(kLines);
        select(*m, 1, 0, 1, 0);
        QByteArray bytes;
        for (int r = 0; r < 20000; ++r)
            bytes += "alpha\t\"b\tc\"\t3.25\t\t" + QByteArray::number(r) + "\n";
        RangeVector pasted;
        Utilities::parseCsvByteArray(bytes, pasted, '\t', true);
        QCOMPARE(Utilities::parsedCellCount(pasted), qint64(100000));
        QUndoStack stack;
        stack.push(new PasteCommand(m.model.get(), m->getSelection(), pasted, true));
        QCOMPARE(stack.count(), 1);
        QCOMPARE(m->rowCountRaw(), 20001);
        QCOMPARE(m->getTableData().getValueRaw(20000, 4).toString(), QStringLiteral("19999"));
        QCOMPARE(m->getTableData().getValueRaw(5, 1).toString(), QStringLiteral("b\tc"));
        stack.undo();
        QCOMPARE(tableRows(*m).join('\n'), QStringLiteral("h0,h1,h2\na,x,y,c\nd,1\n2,f\ng,h,i"));
    }
};

QTEST_GUILESS_MAIN(TestClipboard)
#include "tst_clipboard.moc"
