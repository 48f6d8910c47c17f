// Files of every shape in tests/data/shapes, opened in a real window as a user opens them: the
// encoding and line ending come from the file, the cells read right, a save without an edit gives
// the same bytes, and an edit changes only the bytes of its cell.
#include "window/mainwindow.h"

#include "storage/editabledatacontainer.h"
#include "table/tabledata.h"
#include "table/tablemodel.h"
#include "util/msgboxanswers.h"
#include "view/tableview.h"

#include <QDir>
#include <QFile>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

namespace {

QByteArray readFile(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

class TestFileShapes : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() {
        QStandardPaths::setTestModeEnabled(true);
        TableView::autoFitWarningHook = [](const QString&, bool&) { return false; };
    }

    void openedAndSavedAsTheyAre_data() {
        QTest::addColumn<QString>("name");
        QTest::addColumn<int>("encoding");
        QTest::addColumn<int>("lineEnding");
        QTest::addColumn<bool>("finalLineEnding");
        QTest::addColumn<QString>("cell"); // cell (1, 1)
        const QString city = QStringLiteral("Malm\u00f6, Sk\u00e5ne");
        QTest::newRow("LF") << "lf.csv" << int(UTF_8) << int(LINE_ENDING_UNIX) << true << city;
        QTest::newRow("CR LF") << "crlf.csv" << int(UTF_8) << int(LINE_ENDING_WINDOWS) << true << city;
        QTest::newRow("no final line ending")
            << "no-final-line-ending.csv" << int(UTF_8) << int(LINE_ENDING_UNIX) << false << city;
        QTest::newRow("CR LF, no final line ending")
            << "crlf-no-final.csv" << int(UTF_8) << int(LINE_ENDING_WINDOWS) << false << city;
        QTest::newRow("record separator")
            << "record-separator.csv" << int(UTF_8) << int(LINE_ENDING_RECORD_SEPARATOR) << true << city;
        QTest::newRow("UTF-8 with BOM")
            << "utf8-bom.csv" << int(UTF_8) << int(LINE_ENDING_UNIX) << true << city;
        QTest::newRow("UTF-16LE with BOM")
            << "utf16le-bom.csv" << int(UTF_16LE) << int(LINE_ENDING_WINDOWS) << true << city;
        QTest::newRow("UTF-16BE with BOM")
            << "utf16be-bom.csv" << int(UTF_16BE) << int(LINE_ENDING_UNIX) << true << city;
        QTest::newRow("UTF-32LE with BOM")
            << "utf32le-bom.csv" << int(UTF_32LE) << int(LINE_ENDING_UNIX) << true << city;
        QTest::newRow("UTF-16LE without BOM")
            << "utf16le-no-bom.csv" << int(UTF_16LE) << int(LINE_ENDING_UNIX) << true << city;
        QTest::newRow("Windows-1252")
            << "windows-1252.csv" << int(WINDOWS_1252) << int(LINE_ENDING_WINDOWS) << true << city;
        QTest::newRow("one column") << "one-column.csv" << int(UTF_8) << int(LINE_ENDING_UNIX) << true << "";
        QTest::newRow("one row without line ending")
            << "one-row-no-ending.csv" << int(UTF_8) << -1 << false << "";
        QTest::newRow("empty last field")
            << "empty-last-field.csv" << int(UTF_8) << int(LINE_ENDING_UNIX) << true << "d";
        QTest::newRow("every field quoted")
            << "all-quoted.csv" << int(UTF_8) << int(LINE_ENDING_UNIX) << true << "Ann";
        QTest::newRow("quotes inside fields, none quoted")
            << "never-quoted.csv" << int(UTF_8) << int(LINE_ENDING_UNIX) << true << "5\" pipe";
        QTest::newRow("rows of different lengths")
            << "ragged.csv" << int(UTF_8) << int(LINE_ENDING_UNIX) << true << "1";
        QTest::newRow("quotes only where needed")
            << "minimal-quoting.csv" << int(UTF_8) << int(LINE_ENDING_UNIX) << true << "say \"hi\"";
    }

    void openedAndSavedAsTheyAre() {
        QFETCH(QString, name);
        QFETCH(int, encoding);
        QFETCH(int, lineEnding);
        QFETCH(bool, finalLineEnding);
        QFETCH(QString, cell);
        QTemporaryDir dir;
        const QString path = dir.filePath(name);
        const QByteArray original = readFile(QStringLiteral(TEST_DATA_DIR "/shapes/") + name);
        QVERIFY(!original.isEmpty());
        {
            QFile copy(path);
            QVERIFY(copy.open(QIODevice::WriteOnly) && copy.write(original) == original.size());
        }

        MsgBoxAnswers answers;
        MainWindow window;
        QVERIFY(window.openFiles({path}));
        TableView* view = window.getActiveTable();
        QVERIFY(view);
        TableModel* model = view->tableModel();
        const TableData& data = model->getTableData();
        QCOMPARE(int(data.getEncoding()), encoding);
        if (lineEnding >= 0)
            QCOMPARE(int(data.getLineEnding()), lineEnding);
        const ParsingStandard standard = name == QStringLiteral("all-quoted.csv")     ? ALL_QUOTES
                                         : name == QStringLiteral("never-quoted.csv") ? DELIMITER_ONLY
                                                                                      : RFC_4180;
        QCOMPARE(int(data.getParsingStandard()), int(standard));
        if (!cell.isEmpty())
            QCOMPARE(model->data(model->index(1, 1)).toString(), cell);

        QVERIFY(window.saveFile(view));
        QVERIFY(answers.asked.isEmpty());
        QCOMPARE(readFile(path), original);

        // One edit: the first cell's first letter, "n" or "a" or "v" or "i", in capitals. Its
        // first byte of that value is the only one that changes.
        const QString first = model->data(model->index(0, 0)).toString();
        QVERIFY(!first.isEmpty());
        model->setData(model->index(0, 0), first.left(1).toUpper() + first.mid(1));
        QVERIFY(window.saveFile(view));
        QByteArray expected = original;
        const qsizetype at = expected.indexOf(first.left(1).toLatin1());
        QVERIFY(at >= 0);
        expected[at] = first.left(1).toUpper().at(0).toLatin1();
        QCOMPARE(readFile(path), expected);
        QVERIFY(window.getContainer(path));
        QCOMPARE(window.getContainer(path)->getFinalLineEnding(), finalLineEnding);
    }

    // A UTF-16 file cut off inside its last character: the cell shows the stray byte as a
    // character that doesn't decode, and saves, before and after an edit elsewhere, keep it.
    void cutShortInsideACharacter() {
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("cut.csv"));
        QByteArray original("\xFF\xFE");
        const QString body = QStringLiteral("name,city\nAnn,Malm\u00f6");
        original.append(reinterpret_cast<const char*>(body.utf16()), body.size() * 2);
        original.append('\n'); // the first byte of a line feed
        {
            QFile file(path);
            QVERIFY(file.open(QIODevice::WriteOnly) && file.write(original) == original.size());
        }
        MsgBoxAnswers answers;
        MainWindow window;
        QVERIFY(window.openFiles({path}));
        TableView* view = window.getActiveTable();
        QVERIFY(view);
        TableModel* model = view->tableModel();
        QCOMPARE(int(model->getTableData().getEncoding()), int(UTF_16LE));
        QCOMPARE(model->getTableData().numRawRows(), 2);
        QCOMPARE(model->data(model->index(1, 1)).toString(), QStringLiteral("Malm\u00f6\ufffd"));
        QVERIFY(window.saveFile(view));
        QCOMPARE(readFile(path), original);
        model->setData(model->index(0, 0), QStringLiteral("Name"));
        QVERIFY(window.saveFile(view));
        QByteArray expected = original;
        expected[2] = 'N';
        QCOMPARE(readFile(path), expected);
        QVERIFY(answers.asked.isEmpty());
    }

    // Published files, opened and saved with what was found in them, come back byte for byte;
    // a changed cell changes only its own bytes.
    void realDataSetsSaveAsTheyAre_data() {
        QTest::addColumn<QString>("name");
        const QDir real(QStringLiteral(TEST_DATA_DIR "/real"));
        const QStringList names = real.entryList({QStringLiteral("*.csv")}, QDir::Files, QDir::Name);
        QVERIFY(names.size() >= 5);
        for (const QString& name : names)
            QTest::newRow(qPrintable(name)) << name;
    }
    void realDataSetsSaveAsTheyAre() {
        QFETCH(QString, name);
        QTemporaryDir dir;
        const QString path = dir.filePath(name);
        const QByteArray original = readFile(QStringLiteral(TEST_DATA_DIR "/real/") + name);
        {
            QFile copy(path);
            QVERIFY(copy.open(QIODevice::WriteOnly) && copy.write(original) == original.size());
        }
        MsgBoxAnswers answers;
        MainWindow window;
        QVERIFY(window.openFiles({path}));
        TableView* view = window.getActiveTable();
        QVERIFY(view);
        QVERIFY(window.saveFile(view));
        QVERIFY(answers.asked.isEmpty());
        QCOMPARE(readFile(path), original);

        // The header's first cell gets a mark in front.
        TableModel* model = view->tableModel();
        const QString first = model->data(model->index(0, 0)).toString();
        model->setData(model->index(0, 0), QStringLiteral("#") + first);
        QVERIFY(window.saveFile(view));
        QCOMPARE(readFile(path), QByteArray("#") + original);
    }
};

QTEST_MAIN(TestFileShapes)
#include "tst_fileshapes.moc"
