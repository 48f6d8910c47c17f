// "Export to JSON or XML" on a real window: the file dialog is answered, the document on disk
// is checked byte for byte, and the table stays as it was.

#include "window/mainwindow.h"

#include "util/msgboxanswers.h"
#include "view/tableview.h"
#include "window/commands.h"
#include "window/filedialoghelper.h"
#include "window/windowtesthelpers.h"

#include <QAction>
#include <QDir>
#include <QFile>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <QUndoStack>

namespace {

QByteArray readAll(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

class TestExportCommand : public QObject {
    Q_OBJECT

private:
    QTemporaryDir home;

private slots:
    void initTestCase() {
        QStandardPaths::setTestModeEnabled(true);
        QVERIFY(home.isValid());
        qputenv("HOME", home.path().toLocal8Bit());
        TableView::autoFitWarningHook = [](const QString&, bool&) { return false; };
    }
    void cleanup() { FileDialogHelper::saveFileNameHook = nullptr; }

    void exportTable_data() {
        QTest::addColumn<QString>("answer"); // the name given in the dialog; empty: cancelled
        QTest::addColumn<QByteArray>("written");
        QTest::newRow("json") << "out.json"
                              << QByteArray(
                                     "[\n    {\n        \"name\" : \"Ann\",\n        \"age\" : 31\n    },\n"
                                     "    {\n        \"name\" : \"Bo \\\"B\\\"\"\n    }\n]\n");
        QTest::newRow("xml, the extension in upper case")
            << "out.XML"
            << QByteArray(
                   "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<root>\n    <record>\n        "
                   "<name>Ann</name>\n"
                   "        <age>31</age>\n    </record>\n    <record>\n        <name>Bo \"B\"</name>\n"
                   "    </record>\n</root>\n");
        QTest::newRow("no extension: the first filter's type") << "out" << QByteArray("[\n");
        QTest::newRow("cancelled") << "" << QByteArray();
    }
    void exportTable() {
        QFETCH(QString, answer);
        QFETCH(QByteArray, written);
        QTemporaryDir dir;
        const QString tablePath = dir.filePath(QStringLiteral("people.csv"));
        QFile table(tablePath);
        QVERIFY(table.open(QIODevice::WriteOnly));
        table.write("name,age\nAnn,31\n\"Bo \"\"B\"\"\",\n");
        table.close();

        MainWindow window;
        window.setAttribute(Qt::WA_DeleteOnClose, false);
        window.openFile(tablePath);
        TableView* view = window.getActiveTable();
        QVERIFY(view);
        const QStringList before = cells(view);
        QString asked;
        QString start;
        FileDialogHelper::saveFileNameHook = [&](const QString& title, const QString& startPath,
                                                 const QString&) {
            asked = title;
            start = startPath;
            return answer.isEmpty() ? QString() : dir.filePath(answer);
        };
        MsgBoxAnswers answers;
        const Command* command = window.getCommands().findByName(QStringLiteral("Export to JSON or XML"));
        QVERIFY(command && command->action->isEnabled());
        command->action->trigger();

        QCOMPARE(asked, QStringLiteral("Export to JSON or XML"));
        QCOMPARE(start, dir.filePath(QStringLiteral("people.json")));
        QVERIFY(answers.asked.isEmpty());
        if (answer.isEmpty())
            QCOMPARE(QDir(dir.path()).entryList(QDir::Files), QStringList{QStringLiteral("people.csv")});
        else
            QVERIFY(readAll(dir.filePath(answer)).startsWith(written));
        QCOMPARE(cells(view), before);
        QCOMPARE(view->undoStack()->count(), 0);
        QCOMPARE(window.getActiveTable(), view);
    }

    // A document that can't be written says so, and leaves the table open as it was.
    void exportFails() {
        QTemporaryDir dir;
        MainWindow window;
        window.setAttribute(Qt::WA_DeleteOnClose, false);
        FileDialogHelper::saveFileNameHook = [&](const QString&, const QString&, const QString&) {
            return dir.filePath(QStringLiteral("missing/out.json"));
        };
        MsgBoxAnswers answers;
        QVERIFY(!window.commandExportToJSONOrXML());
        QCOMPARE(answers.texts(), QStringList{QStringLiteral("File failed to save.")});
    }
};

QTEST_MAIN(TestExportCommand)
#include "tst_exportcommand.moc"
