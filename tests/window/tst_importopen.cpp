// JSON and XML files on their way to a table: the main window offers them for import, the
// command opens the import window, and the window's choices are remembered.

#include "convert/fileimportwidget.h"
#include "convert/importwindow.h"
#include "util/msgboxanswers.h"
#include "view/tableview.h"
#include "window/mainwindow.h"
#include "windowtesthelpers.h"

#include <QDir>
#include <QFile>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

namespace {

QString writeFile(const QString& path, const QByteArray& content) {
    QFile file(path);
    if (file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        file.write(content);
    return path;
}

} // namespace

class TestImportOpen : public QObject {
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

    // Opening files: the importable ones are offered together; "Import" sends them to the import
    // window and opens the rest, "Don't Import" opens all as tables.
    void offeredOnOpen_data() {
        QTest::addColumn<int>("answer"); // 0 import, 1 don't
        QTest::newRow("import") << 0;
        QTest::newRow("don't import") << 1;
    }
    void offeredOnOpen() {
        QFETCH(int, answer);
        QTemporaryDir dir;
        const QString json = writeFile(dir.filePath(QStringLiteral("a.json")), R"([{"k": 1}, {"k": 2}])");
        const QString xml = writeFile(dir.filePath(QStringLiteral("b.txt")), "<r><k>1</k><k>2</k></r>");
        const QString csv = writeFile(dir.filePath(QStringLiteral("c.csv")), "x,y\n1,2\n");
        MsgBoxAnswers answers;
        answers.queue = {answer};
        MainWindow window;
        window.setAttribute(Qt::WA_DeleteOnClose, false);
        QVERIFY(window.openFiles(QList<QString>{json, xml, csv}));
        QCOMPARE(answers.texts(),
                 QStringList{
                     QStringLiteral("The following files are importable.\nWould you like to import them?")});
        QCOMPARE(answers.asked[0].informativeText, QStringLiteral("a.json (JSON)\nb.txt (XML)"));
        QCOMPARE(answers.asked[0].buttons.size(), std::size_t(2));
        ImportWindow* import = window.getImportWindow();
        if (answer == 0) {
            QVERIFY(import && import->isVisible());
            QCOMPARE(import->numTabs(), 2);
            QCOMPARE(import->tabAt(1)->getFile().fileType, FILE_TYPE_XML);
            QCOMPARE(window.getOpenFilepaths(), QStringList{csv});
        } else {
            QVERIFY(!import);
            QCOMPARE(window.getOpenFilepaths(), (QStringList{json, xml, csv}));
        }
    }

    void oneFileAndTheSetting() {
        QTemporaryDir dir;
        const QString xml = writeFile(dir.filePath(QStringLiteral("feed.xml")), "<r/>");
        {
            MsgBoxAnswers answers;
            answers.queue = {0};
            MainWindow window;
            window.setAttribute(Qt::WA_DeleteOnClose, false);
            window.openFile(xml);
            QCOMPARE(answers.texts(), QStringList{QStringLiteral(
                                          "This appears to be a XML file.\nWould you like to import it?")});
            QVERIFY(window.getImportWindow());
            QVERIFY(!window.getOpenFilepaths().contains(xml));
            // The window stays as it was: one empty table.
            QCOMPARE(window.getNumTables(), 1);
        }
        {
            MsgBoxAnswers answers;
            MainWindow window;
            window.setAttribute(Qt::WA_DeleteOnClose, false);
            QVERIFY(runCommand(window, QStringLiteral("Toggle Detect Imported File Type Upon Opening File")));
            window.openFile(xml);
            QCOMPARE(answers.texts(), QStringList());
            QCOMPARE(window.getOpenFilepaths(), QStringList{xml});
            QVERIFY(runCommand(window, QStringLiteral("Toggle Detect Imported File Type Upon Opening File")));
        }
    }

    // The import window's way of opening: each importable file asked about on its own, with Cancel.
    void openWithParameters_data() {
        QTest::addColumn<int>("answer"); // 0 import, 1 don't, 2 cancel
        QTest::addColumn<bool>("opened");
        QTest::addColumn<bool>("toImport");
        QTest::newRow("import") << 0 << false << true;
        QTest::newRow("don't import") << 1 << true << false;
        QTest::newRow("cancel") << 2 << false << false;
    }
    void openWithParameters() {
        QFETCH(int, answer);
        QFETCH(bool, opened);
        QFETCH(bool, toImport);
        QTemporaryDir dir;
        const QString path = writeFile(dir.filePath(QStringLiteral("odd.csv")), "{\"a\": 1}\n");
        MsgBoxAnswers answers;
        answers.queue = {answer};
        MainWindow window;
        window.setAttribute(Qt::WA_DeleteOnClose, false);
        window.openFiles(QList<QString>{path}, ExtensionData{QStringLiteral("csv")});
        QCOMPARE(answers.texts(), QStringList{QStringLiteral(
                                      "This appears to be a JSON file.\nWould you like to import it?")});
        QCOMPARE(answers.asked[0].buttons[2].text, QStringLiteral("&Cancel"));
        QCOMPARE(window.getOpenFilepaths().contains(path), opened);
        QCOMPARE(window.getImportWindow() != nullptr, toImport);
    }

    // The command opens one window, and its choices go to the window's record when it closes.
    void commandAndDefaults() {
        MainWindow window;
        window.setAttribute(Qt::WA_DeleteOnClose, false);
        ExtensionData saved{QStringLiteral("tsv"), QStringLiteral("\t"), QStringLiteral("\t")};
        saved.lineEnding = LINE_ENDING_WINDOWS;
        window.setImportDefaults(saved, true, false, true);
        QVERIFY(runCommand(window, QStringLiteral("Import from JSON or XML")));
        QPointer<ImportWindow> import = window.getImportWindow();
        QVERIFY(import && import->isVisible());
        QVERIFY(runCommand(window, QStringLiteral("Import from JSON or XML")));
        QCOMPARE(window.getImportWindow(), import.data());
        QCOMPARE(import->getFileParameters().saveDelimiter, QStringLiteral("\t"));
        QCOMPARE(import->getFileParameters().lineEnding, LINE_ENDING_WINDOWS);
        QVERIFY(import->getSaveLocalToOriginating() && import->getPreserveStructure());
        // The window's choices are what the program keeps, also while it is open.
        import->setDefaultOptions(ExtensionData{QStringLiteral("csv")}, false, true, false);
        QVERIFY(window.makeConfigData().importDefaults.openFilesAfterImport);
        import->close();
        QTRY_VERIFY(!import);
        const ImportDefaults kept = window.makeConfigData().importDefaults;
        QCOMPARE(kept.extensionData.extension, QStringLiteral("csv"));
        QCOMPARE(kept.extensionData.saveDelimiter, QStringLiteral(","));
        QVERIFY(!kept.saveLocalInOriginatingDir && kept.openFilesAfterImport && !kept.preserveStructure);
        QVERIFY(!window.getImportWindow());
    }
};

QTEST_MAIN(TestImportOpen)
#include "tst_importopen.moc"
