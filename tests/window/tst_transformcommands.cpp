// The cell transformations as a user drives them: each command through its chain of prompts on
// a real window, the table after it exact, one undo step, and undo and redo exact.
#include "window/mainwindow.h"

#include "table/tablemodel.h"
#include "util/msgboxanswers.h"
#include "view/tableview.h"
#include "window/commands.h"
#include "window/launcher.h"
#include "window/windowtesthelpers.h"

#include <QAction>
#include <QClipboard>
#include <QFile>
#include <QGuiApplication>
#include <QLabel>
#include <QLineEdit>
#include <QRect>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <QUndoStack>

namespace {

const QByteArray kFixture = "name,date,amount,code\n"
                            "the lord of the rings,2024-01-15T12:00:00Z,3.14159,007\n"
                            "helloWorld,1900-03-01T00:00:00Z,42,12a\n"
                            "  padded  ,,1234.5,ID-0042\n";

void selectBlock(TableView* view, const QRect& block) {
    selectBlock(view, block.top(), block.left(), block.bottom(), block.right());
}

QRect cellsRect(int top, int left, int bottom, int right) {
    return QRect(QPoint(left, top), QPoint(right, bottom));
}

} // namespace

class TestTransformCommands : public QObject {
    Q_OBJECT

    std::unique_ptr<QTemporaryDir> dir;

    std::unique_ptr<MainWindow> openWindow() {
        const QString path = dir->filePath(QStringLiteral("table.csv"));
        QFile file(path);
        if (file.open(QIODevice::WriteOnly | QIODevice::Truncate))
            file.write(kFixture);
        file.close();
        auto window = std::make_unique<MainWindow>();
        window->setAttribute(Qt::WA_DeleteOnClose, false);
        window->openFile(path);
        return window;
    }

    // Types each answer into the prompt that is open and presses Return; a list takes the
    // option the text filters to.
    static void answer(MainWindow& window, const QStringList& answers) {
        for (const QString& text : answers) {
            Launcher* launcher = window.getLauncher();
            QVERIFY2(launcher, qPrintable(text));
            launcher->getPromptEditor()->setText(text);
            QTest::keyClick(launcher->getPromptEditor(), Qt::Key_Return);
            // An answered launcher closes itself on the next turn of the event loop.
            QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        }
    }

    static void trigger(MainWindow& window, const QString& name) {
        const Command* command = window.getCommands().findByName(name);
        QVERIFY2(command, qPrintable(name));
        QVERIFY2(command->action->isEnabled(), qPrintable(name));
        command->action->trigger();
    }

private slots:
    void initTestCase() {
        QStandardPaths::setTestModeEnabled(true);
        TableView::autoFitWarningHook = [](const QString&, bool&) { return false; };
    }
    void init() {
        dir = std::make_unique<QTemporaryDir>();
        QVERIFY(dir->isValid());
    }

    void transformations_data() {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QRect>("block");
        QTest::addColumn<QStringList>("answers");
        QTest::addColumn<QStringList>("after"); // the changed rows only, "row:cells"
        QTest::newRow("title case") << "Title Case" << cellsRect(1, 0, 2, 0) << QStringList{}
                                    << QStringList{"1:The Lord of the Rings|2024-01-15T12:00:00Z|3.14159|007",
                                                   "2:Hello World|1900-03-01T00:00:00Z|42|12a"};
        QTest::newRow("lower snake") << "Lower Snake Case" << cellsRect(2, 0, 2, 0) << QStringList{}
                                     << QStringList{"2:hello_world|1900-03-01T00:00:00Z|42|12a"};
        QTest::newRow("upper camel") << "Upper Camel Case" << cellsRect(1, 0, 1, 0) << QStringList{}
                                     << QStringList{"1:TheLordOfTheRings|2024-01-15T12:00:00Z|3.14159|007"};
        QTest::newRow("acronym") << "Convert to Acronym" << cellsRect(1, 0, 1, 0) << QStringList{}
                                 << QStringList{"1:TLOTR|2024-01-15T12:00:00Z|3.14159|007"};
        QTest::newRow("upper case skips empty") << "Upper Case" << cellsRect(3, 0, 3, 1) << QStringList{}
                                                << QStringList{"3:  PADDED  ||1234.5|ID-0042"};
        QTest::newRow("iso to excel")
            << "Convert Date/Time Format" << cellsRect(1, 1, 3, 1)
            << QStringList{"ISO 8601 Format", "Excel Format"}
            << QStringList{"1:the lord of the rings|45306.5|3.14159|007", "2:helloWorld|61|42|12a"};
        QTest::newRow("iso to custom") << "Convert Date/Time Format" << cellsRect(1, 1, 2, 1)
                                       << QStringList{"ISO 8601 Format", "Custom Format", "dd.MM.yyyy"}
                                       << QStringList{"1:the lord of the rings|15.01.2024|3.14159|007",
                                                      "2:helloWorld|01.03.1900|42|12a"};
        QTest::newRow("number format")
            << "Convert Number Format" << cellsRect(1, 2, 3, 2) << QStringList{"Comma Decimal"}
            << QStringList{"1:the lord of the rings|2024-01-15T12:00:00Z|3,14159|007",
                           "3:  padded  ||1234,5|ID-0042"};
        QTest::newRow("decimals") << "Set Number of Decimals" << cellsRect(1, 2, 3, 2) << QStringList{"2"}
                                  << QStringList{"1:the lord of the rings|2024-01-15T12:00:00Z|3.14|007",
                                                 "2:helloWorld|1900-03-01T00:00:00Z|42.00|12a",
                                                 "3:  padded  ||1234.50|ID-0042"};
        QTest::newRow("zero fill") << "Zero-Fill Whole Numbers" << cellsRect(1, 2, 3, 3) << QStringList{"5"}
                                   << QStringList{"2:helloWorld|1900-03-01T00:00:00Z|00042|12a"};
        QTest::newRow("leading zeros")
            << "Remove Leading Zeros" << cellsRect(1, 3, 3, 3) << QStringList{}
            << QStringList{"1:the lord of the rings|2024-01-15T12:00:00Z|3.14159|7",
                           "3:  padded  ||1234.5|ID-42"};
        QTest::newRow("trim") << "Trim Selected Cell(s)" << cellsRect(3, 0, 3, 0) << QStringList{}
                              << QStringList{"3:padded||1234.5|ID-0042"};
        QTest::newRow("keep left") << "Keep Only Left Part of Selected Cells" << cellsRect(1, 0, 1, 0)
                                   << QStringList{"-4"}
                                   << QStringList{"1:the lord of the r|2024-01-15T12:00:00Z|3.14159|007"};
        QTest::newRow("keep middle") << "Keep Only Middle Part of Selected Cells" << cellsRect(1, 0, 1, 0)
                                     << QStringList{"4 4"}
                                     << QStringList{"1:lord|2024-01-15T12:00:00Z|3.14159|007"};
        QTest::newRow("keep right") << "Keep Only Right Part of Selected Cells" << cellsRect(1, 3, 3, 3)
                                    << QStringList{"2"}
                                    << QStringList{"1:the lord of the rings|2024-01-15T12:00:00Z|3.14159|07",
                                                   "2:helloWorld|1900-03-01T00:00:00Z|42|2a",
                                                   "3:  padded  ||1234.5|42"};
        QTest::newRow("prepend") << "Prepend Cell Contents" << cellsRect(2, 1, 3, 1) << QStringList{"@"}
                                 << QStringList{"2:helloWorld|@1900-03-01T00:00:00Z|42|12a"};
        QTest::newRow("append") << "Append Cell Contents" << cellsRect(1, 3, 1, 3) << QStringList{"!"}
                                << QStringList{"1:the lord of the rings|2024-01-15T12:00:00Z|3.14159|007!"};
        QTest::newRow("series of numbers")
            << "Fill Selected Cells with Series" << cellsRect(1, 2, 3, 2) << QStringList{"10 -5"}
            << QStringList{"1:the lord of the rings|2024-01-15T12:00:00Z|10|007",
                           "2:helloWorld|1900-03-01T00:00:00Z|5|12a", "3:  padded  ||0|ID-0042"};
        QTest::newRow("series stops when items run out")
            << "Fill Selected Cells with Series" << cellsRect(1, 2, 2, 3) << QStringList{"x \"y z\" w"}
            << QStringList{"1:the lord of the rings|2024-01-15T12:00:00Z|x|y z",
                           "2:helloWorld|1900-03-01T00:00:00Z|w|12a"};
        QTest::newRow("copy main cell")
            << "Copy Main Cell Contents to All Selected Cells" << cellsRect(1, 2, 2, 3) << QStringList{}
            << QStringList{"1:the lord of the rings|2024-01-15T12:00:00Z|3.14159|3.14159",
                           "2:helloWorld|1900-03-01T00:00:00Z|3.14159|3.14159"};
        QTest::newRow("reshape row-wise")
            << "Reshape Selected Cells Row-Wise" << cellsRect(1, 2, 3, 3) << QStringList{"3"}
            << QStringList{"0:name|date|amount|code|",
                           "1:the lord of the rings|2024-01-15T12:00:00Z|3.14159|007|42",
                           "2:helloWorld|1900-03-01T00:00:00Z|12a|1234.5|ID-0042", "3:  padded  ||||"};
        QTest::newRow("reshape column-wise")
            << "Reshape Selected Cells Column-Wise" << cellsRect(1, 2, 2, 3) << QStringList{"3"}
            << QStringList{"1:the lord of the rings|2024-01-15T12:00:00Z|3.14159|12a",
                           "2:helloWorld|1900-03-01T00:00:00Z|42|", "3:  padded  ||007|ID-0042"};
        QTest::newRow("join horizontally")
            << "Join Selected Cells Horizontally" << cellsRect(1, 2, 2, 3) << QStringList{", "}
            << QStringList{"1:the lord of the rings|2024-01-15T12:00:00Z|3.14159, 007|",
                           "2:helloWorld|1900-03-01T00:00:00Z|42, 12a|"};
        QTest::newRow("join vertically, newline")
            << "Join Selected Cells Vertically" << cellsRect(1, 3, 3, 3) << QStringList{"\\n"}
            << QStringList{"1:the lord of the rings|2024-01-15T12:00:00Z|3.14159|007\n12a\nID-0042",
                           "2:helloWorld|1900-03-01T00:00:00Z|42|", "3:  padded  ||1234.5|"};
        QTest::newRow("join, rest of row left")
            << "Join Selected Cells Horizontally, Move Rest of Row Left" << cellsRect(1, 0, 1, 1)
            << QStringList{"@"} << QStringList{"1:the lord of the rings@2024-01-15T12:00:00Z|3.14159|007|"};
        QTest::newRow("split by delimiter")
            << "Split Selected Cells Horizontally" << cellsRect(1, 1, 2, 1)
            << QStringList{"Split by Delimiter", "t"}
            << QStringList{"0:name|date||amount|code",
                           "1:the lord of the rings|2024-01-15|12:00:00Z|3.14159|007",
                           "2:helloWorld|1900-03-01|00:00:00Z|42|12a", "3:  padded  |||1234.5|ID-0042"};
        QTest::newRow("split by index, vertically")
            << "Split Selected Cells Vertically" << cellsRect(1, 3, 1, 3)
            << QStringList{"Split by Index", "1 2"}
            << QStringList{"1:the lord of the rings|2024-01-15T12:00:00Z|3.14159|0", "2:|||0", "3:|||7",
                           "4:helloWorld|1900-03-01T00:00:00Z|42|12a", "5:  padded  ||1234.5|ID-0042"};
        QTest::newRow("split, rest of row right")
            << "Split Selected Cells Horizontally, Move Rest of Row Right" << cellsRect(2, 1, 2, 1)
            << QStringList{"Split by Delimiter", "-"}
            << QStringList{"0:name|date|amount|code||",
                           "1:the lord of the rings|2024-01-15T12:00:00Z|3.14159|007||",
                           "2:helloWorld|1900|03|01T00:00:00Z|42|12a", "3:  padded  ||1234.5|ID-0042||"};
        QTest::newRow("random integers")
            << "Random Integers in Selected Cells" << cellsRect(1, 2, 3, 2) << QStringList{"7-7"}
            << QStringList{"1:the lord of the rings|2024-01-15T12:00:00Z|7|007",
                           "2:helloWorld|1900-03-01T00:00:00Z|7|12a", "3:  padded  ||7|ID-0042"};
        QTest::newRow("random decimals")
            << "Random Decimals (Floats) in Selected Cells" << cellsRect(3, 1, 3, 1) << QStringList{"2.5"}
            << QStringList{"3:  padded  |QRE:[0-2]\\.\\d\\d|1234.5|ID-0042"};
        QTest::newRow("id column") << "Add or Update ID Column" << cellsRect(2, 2, 2, 2) << QStringList{"100"}
                                   << QStringList{
                                          "0:ID|name|date|amount|code",
                                          "1:100|the lord of the rings|2024-01-15T12:00:00Z|3.14159|007",
                                          "2:101|helloWorld|1900-03-01T00:00:00Z|42|12a",
                                          "3:102|  padded  ||1234.5|ID-0042"};
        QTest::newRow("uuids")
            << "Fill Selected Cells with UUID/GUID" << cellsRect(1, 3, 2, 3) << QStringList{"Upper Case With"}
            << QStringList{
                   "1:QRE:the lord of the rings\\|2024-01-15T12:00:00Z\\|3.14159\\|\\{[0-9A-F-]{36}\\}",
                   "2:QRE:helloWorld\\|1900-03-01T00:00:00Z\\|42\\|\\{[0-9A-F-]{36}\\}"};
    }
    void transformations() {
        QFETCH(QString, name);
        QFETCH(QRect, block);
        QFETCH(QStringList, answers);
        QFETCH(QStringList, after);
        MsgBoxAnswers boxes;
        auto window = openWindow();
        TableView* view = window->getActiveTable();
        selectBlock(view, block);
        const QStringList before = cells(view, QLatin1Char('|'));
        const QString selectionBefore = selection(view);
        trigger(*window, name);
        answer(*window, answers);
        QVERIFY2(!window->getLauncher(), "a prompt is still open");
        QCOMPARE(view->undoStack()->count(), 1);
        QStringList expected = before;
        auto check = [&](const QStringList& table) {
            for (const QString& row : after) {
                const int colon = int(row.indexOf(':'));
                const int index = row.left(colon).toInt();
                QVERIFY2(index < table.size(), qPrintable(row));
                const QString want = row.mid(colon + 1);
                if (want.startsWith("QRE:") || want.contains("QRE:")) {
                    QString pattern = want;
                    pattern.replace("QRE:", "");
                    // The marked cells are patterns, the rest as they stand.
                    QVERIFY2(QRegularExpression('^' + pattern + '$').match(table[index]).hasMatch(),
                             qPrintable(table[index]));
                } else {
                    QCOMPARE(table[index], want);
                }
            }
        };
        const QStringList done = cells(view, QLatin1Char('|'));
        check(done);
        // Rows not named stay, unless the table grew.
        if (done.size() == before.size() && !after.front().startsWith("0:")) {
            for (int r = 0; r < before.size(); ++r) {
                const bool named = std::any_of(after.begin(), after.end(), [r](const QString& row) {
                    return row.startsWith(QString::number(r) + ':');
                });
                if (!named)
                    QCOMPARE(done[r], before[r]);
            }
        }
        trigger(*window, QStringLiteral("Undo"));
        QCOMPARE(cells(view, QLatin1Char('|')), before);
        QCOMPARE(selection(view), selectionBefore);
        trigger(*window, QStringLiteral("Redo"));
        check(cells(view, QLatin1Char('|')));
    }

    // A bad answer brings the prompt back with the text, to be put right.
    void badAnswerComesBack() {
        MsgBoxAnswers boxes;
        auto window = openWindow();
        TableView* view = window->getActiveTable();
        selectBlock(view, cellsRect(1, 2, 3, 2));
        trigger(*window, QStringLiteral("Set Number of Decimals"));
        answer(*window, {QStringLiteral("many")});
        QVERIFY(window->getLauncher());
        QCOMPARE(window->getLauncher()->getPromptEditor()->text(), QStringLiteral("many"));
        answer(*window, {QStringLiteral("1")});
        QCOMPARE(view->tableModel()->data(view->tableModel()->index(1, 2), Qt::EditRole).toString(), "3.1");
    }

    // The reshape prompt shows the new shape before it's answered.
    void reshapePreview() {
        MsgBoxAnswers boxes;
        auto window = openWindow();
        TableView* view = window->getActiveTable();
        selectBlock(view, cellsRect(1, 0, 3, 3));
        trigger(*window, QStringLiteral("Reshape Selected Cells Row-Wise"));
        Launcher* launcher = window->getLauncher();
        QVERIFY(launcher);
        QTest::keyClicks(launcher->getPromptEditor(), QStringLiteral("5"));
        QCOMPARE(launcher->getEntryFeedbackLabel()->text(), QStringLiteral("3 rows x 5 columns"));
        QCOMPARE(view->tableModel()->getHighlightedRange().size(), std::size_t(1));
        QTest::keyClick(launcher->getPromptEditor(), Qt::Key_Escape);
        QCOMPARE(view->undoStack()->count(), 0);
    }

    void seriesPreview() {
        MsgBoxAnswers boxes;
        auto window = openWindow();
        selectBlock(window->getActiveTable(), cellsRect(1, 2, 3, 2));
        trigger(*window, QStringLiteral("Fill Selected Cells with Series"));
        Launcher* launcher = window->getLauncher();
        QVERIFY(launcher);
        QTest::keyClicks(launcher->getPromptEditor(), QStringLiteral("1 2"));
        QCOMPARE(launcher->getEntryFeedbackLabel()->text(), QStringLiteral("Series: 1, 3, 5, 7, ..."));
    }

    // The custom source format starts from the shape of the main cell, or of the first selected
    // cell that looks like a date.
    void customFormatGuess() {
        MsgBoxAnswers boxes;
        auto window = openWindow();
        TableView* view = window->getActiveTable();
        view->tableModel()->setData(view->tableModel()->index(1, 1), QStringLiteral("07/04/2024"));
        selectBlock(view, cellsRect(1, 1, 1, 1));
        trigger(*window, QStringLiteral("Convert Date/Time Format"));
        answer(*window, {QStringLiteral("Custom Format")});
        QVERIFY(window->getLauncher());
        QCOMPARE(window->getLauncher()->getPromptEditor()->text(), QStringLiteral("MM/dd/yyyy"));
        answer(*window, {QStringLiteral("MM/dd/yyyy"), QStringLiteral("ISO 8601 Format (date only)")});
        QCOMPARE(view->tableModel()->data(view->tableModel()->index(1, 1), Qt::EditRole).toString(),
                 "2024-07-04");
        view->undo();
        // A selected column's main cell is its header: the guess comes from the first cell below
        // it that has a date's shape, and the preview tries the format on that cell.
        selectBlock(view, cellsRect(0, 1, 3, 1));
        trigger(*window, QStringLiteral("Convert Date/Time Format"));
        answer(*window, {QStringLiteral("Custom Format")});
        QVERIFY(window->getLauncher());
        QCOMPARE(window->getLauncher()->getPromptEditor()->text(), QStringLiteral("MM/dd/yyyy"));
        QCOMPARE(window->getLauncher()->getEntryFeedbackLabel()->text(),
                 QStringLiteral("\"07/04/2024\" reads as 2024-07-04T00:00:00Z"));
    }

    void uuidTypeAndEncodings() {
        MsgBoxAnswers boxes;
        auto window = openWindow();
        trigger(*window, QStringLiteral("Set UUID Type"));
        answer(*window, {QStringLiteral("v7")});
        QCOMPARE(window->getSettings().getUuidType(), UuidV7);
        TableView* view = window->getActiveTable();
        selectBlock(view, cellsRect(1, 3, 1, 3));
        trigger(*window, QStringLiteral("Fill Selected Cells with UUID/GUID"));
        answer(*window, {QString()});
        const QString uuid =
            view->tableModel()->data(view->tableModel()->index(1, 3), Qt::EditRole).toString();
        QVERIFY2(QRegularExpression("^[0-9a-f]{8}-[0-9a-f]{4}-7[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}$")
                     .match(uuid)
                     .hasMatch(),
                 qPrintable(uuid));
        trigger(*window, QStringLiteral("List Character Encodings"));
        answer(*window, {QStringLiteral("UTF-16BE")});
        QCOMPARE(QGuiApplication::clipboard()->text(), QStringLiteral("UTF-16BE"));
        QCOMPARE(view->undoStack()->count(), 1);
        window->getSettings().setValue(UuidTypeOption, int(UuidV4));
    }

    // Over 100,000 cells go through the table's worker: the same result, one undo step, and undo
    // gives back table and selection.
    void largeSelectionOnWorker() {
        MsgBoxAnswers boxes;
        const QString path = dir->filePath(QStringLiteral("large.csv"));
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        for (int r = 0; r < 26000; ++r)
            file.write(QStringLiteral("a%1,b c,d%1,\n").arg(r).toUtf8());
        file.close();
        auto window = std::make_unique<MainWindow>();
        window->setAttribute(Qt::WA_DeleteOnClose, false);
        window->openFile(path);
        TableView* view = window->getActiveTable();
        TableModel* m = view->tableModel();
        m->setNumberOfHeaderRows(0);
        selectBlock(view, 0, 0, 25999, 3);
        QVERIFY(m->numSelectedCells() > 100000);
        trigger(*window, QStringLiteral("Upper Case"));
        QCOMPARE(view->undoStack()->count(), 1);
        QCOMPARE(m->data(m->index(25999, 0), Qt::EditRole).toString(), QStringLiteral("A25999"));
        QCOMPARE(m->data(m->index(7, 1), Qt::EditRole).toString(), QStringLiteral("B C"));
        QCOMPARE(m->data(m->index(7, 3), Qt::EditRole).toString(), QString());
        view->undoStack()->undo();
        QCOMPARE(m->data(m->index(25999, 0), Qt::EditRole).toString(), QStringLiteral("a25999"));
        QCOMPARE(m->numSelectedCells(), 26000 * 4);
    }

    // A second run of the ID command renumbers the column it made.
    void idColumnUpdates() {
        MsgBoxAnswers boxes;
        auto window = openWindow();
        TableView* view = window->getActiveTable();
        trigger(*window, QStringLiteral("Add or Update ID Column"));
        answer(*window, {QStringLiteral("1")});
        TableModel* m = view->tableModel();
        m->setData(m->index(2, 0), QStringLiteral("x"));
        m->setData(m->index(1, 0), QStringLiteral("5"));
        trigger(*window, QStringLiteral("Add or Update ID Column"));
        QVERIFY(!window->getLauncher());
        QCOMPARE(m->data(m->index(2, 0), Qt::EditRole).toString(), QStringLiteral("6"));
        QCOMPARE(m->data(m->index(3, 0), Qt::EditRole).toString(), QStringLiteral("7"));
        QCOMPARE(m->columnCountModel(), 5);
    }
};

QTEST_MAIN(TestTransformCommands)
#include "tst_transformcommands.moc"
