// The import window: the type tests, the target names, and imports from files, the clipboard and
// a URL (a local HTTP server) through to the table files on disk.

#include "convert/fileimportwidget.h"
#include "convert/importwindow.h"
#include "util/msgboxanswers.h"
#include "view/tableview.h"
#include "window/mainwindow.h"
#include "windowtesthelpers.h"

#include <QApplication>
#include <QCheckBox>
#include <QClipboard>
#include <QComboBox>
#include <QDir>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QMimeData>
#include <QNetworkProxy>
#include <QPlainTextEdit>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTabWidget>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

namespace {

QString writeFile(const QString& path, const QByteArray& content) {
    QFile file(path);
    if (file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        file.write(content);
    return path;
}

QByteArray readAll(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(missing)");
}

// Answers every request with one fixed HTTP response.
class HttpServer : public QTcpServer {
public:
    QByteArray response;
    explicit HttpServer(QByteArray answer) : response(std::move(answer)) {
        connect(this, &QTcpServer::newConnection, this, [this] {
            while (QTcpSocket* socket = nextPendingConnection()) {
                connect(socket, &QTcpSocket::readyRead, socket, [this, socket] {
                    // The request's head is all a GET has; answer once it is in.
                    buffer[socket] += socket->readAll();
                    if (!buffer[socket].contains("\r\n\r\n"))
                        return;
                    socket->write(response);
                    socket->disconnectFromHost();
                });
                connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
            }
        });
    }
    static QByteArray ok(const QByteArray& body) {
        return "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nContent-Length: " +
               QByteArray::number(body.size()) + "\r\nConnection: close\r\n\r\n" + body;
    }

private:
    QHash<QTcpSocket*, QByteArray> buffer;
};

} // namespace

class TestImportWindow : public QObject {
    Q_OBJECT

private:
    QTemporaryDir home;

    // An import window of its own with a folder to save to, defaults as a fresh start has them.
    static std::unique_ptr<ImportWindow> makeWindow(const QString& folder) {
        auto window = std::make_unique<ImportWindow>(
            Settings(), folder,
            std::vector<ExtensionData>{
                {QStringLiteral("csv")},
                {QStringLiteral("tsv"), QStringLiteral("\t"), QStringLiteral("\t")},
                {QStringLiteral("dsv"), QStringLiteral("(auto)"), QStringLiteral("(auto)")}});
        window->setAttribute(Qt::WA_DeleteOnClose, false);
        window->setDefaultOptions(ExtensionData{}, false, false, false);
        return window;
    }

private slots:
    void initTestCase() {
        QStandardPaths::setTestModeEnabled(true);
        QVERIFY(home.isValid());
        qputenv("HOME", home.path().toLocal8Bit());
        TableView::autoFitWarningHook = [](const QString&, bool&) { return false; };
        // The local server is reached directly, whatever proxy the machine names.
        QNetworkProxy::setApplicationProxy(QNetworkProxy::NoProxy);
    }

    // --- Type tests ---------------------------------------------------------------------------

    void typeFromText_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("type");
        QTest::newRow("object") << R"({"a": 1})" << int(FILE_TYPE_JSON);
        QTest::newRow("array cut off") << "[1, 2, {\"b\"" << int(FILE_TYPE_JSON);
        QTest::newRow("object after blanks") << "\n  {\"a\": 1}" << int(FILE_TYPE_JSON);
        QTest::newRow("object after a comment") << "// list\n[1]" << int(FILE_TYPE_JSON);
        QTest::newRow("bare number") << "42" << int(FILE_TYPE_NEITHER);
        QTest::newRow("bare string") << "\"text\"" << int(FILE_TYPE_NEITHER);
        QTest::newRow("word") << "true" << int(FILE_TYPE_NEITHER);
        QTest::newRow("xml") << "<root><a>1</a></root>" << int(FILE_TYPE_XML);
        QTest::newRow("a lone <") << "<" << int(FILE_TYPE_XML);
        QTest::newRow("xml after a blank") << " <root/>" << int(FILE_TYPE_NEITHER);
        QTest::newRow("csv") << "a,b\n1,2\n" << int(FILE_TYPE_NEITHER);
        QTest::newRow("empty") << "" << int(FILE_TYPE_NEITHER);
    }
    void typeFromText() {
        QFETCH(QString, text);
        QFETCH(int, type);
        QCOMPARE(int(ImportWindow::getFileTypeFromString(text)), type);
    }

    void typeOfFile_data() {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<int>("type");
        // An object far longer than the sample: only its start is read.
        QByteArray longObject = "{\"items\": [";
        for (int i = 0; i < 100; ++i)
            longObject += "{\"n\": " + QByteArray::number(i) + "},";
        longObject += "{}]}";
        QTest::newRow("txt holding a long object") << "data.txt" << longObject << int(FILE_TYPE_JSON);
        QTest::newRow("suffix decides, upper case")
            << "odd.JSON" << QByteArray("not json") << int(FILE_TYPE_JSON);
        QTest::newRow("empty xml") << "empty.xml" << QByteArray() << int(FILE_TYPE_XML);
        QTest::newRow("csv") << "t.csv" << QByteArray("a,b\n") << int(FILE_TYPE_NEITHER);
        QTest::newRow("no suffix, xml") << "feed" << QByteArray("<rss/>") << int(FILE_TYPE_XML);
    }
    void typeOfFile() {
        QFETCH(QString, name);
        QFETCH(QByteArray, content);
        QFETCH(int, type);
        QTemporaryDir dir;
        const QString path = writeFile(dir.filePath(name), content);
        QCOMPARE(int(ImportWindow::getFileType(path)), type);
        QCOMPARE(int(ImportWindow::getFileType(dir.filePath(QStringLiteral("missing.txt")))),
                 int(FILE_TYPE_NEITHER));
    }

    // --- Targets ------------------------------------------------------------------------------

    void targetNames() {
        QTemporaryDir dir;
        QTemporaryDir elsewhere;
        auto window = makeWindow(dir.path());
        NonTableFile url;
        url.sourceType = SOURCE_URL;
        url.source =
            QStringLiteral("https://example.org/") + QString(280, QLatin1Char('a')) + QStringLiteral(".json");
        QCOMPARE(url.source.size(), 305);
        const QString urlTarget = window->getInitialSaveFilepath(url);
        const QString base = QFileInfo(urlTarget).completeBaseName();
        QCOMPARE(base.size(), 255);
        QVERIFY(!base.contains(QLatin1Char('.')) && !base.contains(QLatin1Char('/')));
        QVERIFY(base.startsWith(QLatin1String("https_example_org_aaa")));
        QCOMPARE(QFileInfo(urlTarget).suffix(), QStringLiteral("csv"));

        NonTableFile clip;
        clip.sourceType = SOURCE_CLIPBOARD;
        QCOMPARE(window->getInitialSaveFilepath(clip),
                 dir.filePath(QStringLiteral("clipboard contents.csv")));

        // A local file goes to the folder of the line edit, or beside itself with the box checked.
        const QString local = writeFile(elsewhere.filePath(QStringLiteral("data.v2.json")), "[{\"a\": 1}]");
        QVERIFY(window->openFile(local));
        MsgBoxAnswers answers;
        QApplication::clipboard()->clear();
        window->openByClipboardContents(); // nothing on it: told, and no tab
        QCOMPARE(answers.texts(), QStringList{QStringLiteral("The clipboard holds no text.")});
        QApplication::clipboard()->setText(QStringLiteral("<r><a>1</a><a>2</a></r>"));
        window->openByClipboardContents();
        QCOMPARE(window->numTabs(), 2);
        FileImportWidget* fileTab = window->tabAt(0);
        FileImportWidget* clipTab = window->tabAt(1);
        QCOMPARE(fileTab->getSaveFilepath(), dir.filePath(QStringLiteral("data.csv")));
        window->findChild<QCheckBox*>(QStringLiteral("saveLocalCheck"))->setChecked(true);
        QCOMPARE(fileTab->getSaveFilepath(), elsewhere.filePath(QStringLiteral("data.csv")));
        QCOMPARE(clipTab->getSaveFilepath(), dir.filePath(QStringLiteral("clipboard contents.csv")));
        // A target the user typed stays when the extension changes; the others follow.
        clipTab->getSaveFileEdit()->setFocus();
        clipTab->getSaveFileEdit()->selectAll();
        QTest::keyClicks(clipTab->getSaveFileEdit(), dir.filePath(QStringLiteral("mine.txt")));
        auto* extension = window->findChild<QComboBox*>(QStringLiteral("extensionCombo"));
        extension->setCurrentText(QStringLiteral("tsv"));
        QCOMPARE(fileTab->getSaveFilepath(), elsewhere.filePath(QStringLiteral("data.tsv")));
        QCOMPARE(clipTab->getSaveFilepath(), dir.filePath(QStringLiteral("mine.txt")));
        // The extension table's parameters come with its extension; a delimiter it leaves to be
        // found when read is written as the comma.
        QCOMPARE(window->getFileParameters().saveDelimiter, QStringLiteral("\t"));
        extension->setCurrentText(QStringLiteral("dsv"));
        QCOMPARE(window->findChild<QComboBox*>(QStringLiteral("delimiterCombo"))->currentText(),
                 QStringLiteral(","));
        QCOMPARE(window->getFileParameters().saveDelimiter, QStringLiteral(","));
    }

    // Files dropped on the window become tabs; a folder or a URL of the web does not.
    void drop() {
        QTemporaryDir dir;
        auto window = makeWindow(dir.path());
        window->show();
        QMimeData mime;
        mime.setUrls({QUrl::fromLocalFile(writeFile(dir.filePath(QStringLiteral("a.xml")), "<a/>")),
                      QUrl::fromLocalFile(dir.path()), QUrl(QStringLiteral("https://example.org/b.json"))});
        QDragEnterEvent enter(QPoint(50, 50), Qt::CopyAction, &mime, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(window.get(), &enter);
        QVERIFY(enter.isAccepted());
        QDropEvent drop(QPointF(50, 50), Qt::CopyAction, &mime, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(window.get(), &drop);
        QCOMPARE(window->numTabs(), 1);
        QCOMPARE(window->tabAt(0)->getFile().fileType, FILE_TYPE_XML);
    }

    // --- Imports ------------------------------------------------------------------------------

    // From a file and from the clipboard on a real window: the files on disk, and the tables opened.
    void importOpensTables() {
        QTemporaryDir dir;
        MsgBoxAnswers answers;
        MainWindow main;
        main.setAttribute(Qt::WA_DeleteOnClose, false);
        const QString source =
            writeFile(dir.filePath(QStringLiteral("people.json")),
                      R"([{"name": "Ann", "age": 31}, {"name": "Bo", "tags": ["x", "y"]}])");
        main.importFile(source);
        QPointer<ImportWindow> window = main.getImportWindow();
        QVERIFY(window && window->isVisible());
        QCOMPARE(window->numTabs(), 1);
        QCOMPARE(window->tabAt(0)->findChild<QLabel*>(QStringLiteral("typeLabel"))->text(),
                 QStringLiteral("JSON"));
        QCOMPARE(window->tabAt(0)->findChild<QLabel*>(QStringLiteral("sourceLabel"))->text(),
                 QDir::toNativeSeparators(source) + QStringLiteral(" (Local File)"));
        QApplication::clipboard()->setText(
            QStringLiteral("<list><item id=\"1\"><v>a</v></item><item id=\"2\"><v>b</v></item></list>"));
        window->openByClipboardContents();
        window->setDefaultOptions(ExtensionData{QStringLiteral("csv")}, false, true, false);
        window->setSaveFolder(dir.path());
        QVERIFY(window->importFiles());
        QVERIFY(answers.asked.isEmpty());
        QCOMPARE(readAll(dir.filePath(QStringLiteral("people.csv"))),
                 QByteArray("name,age,tags/0,tags/1\nAnn,31,,\nBo,,x,y\n"));
        QCOMPARE(readAll(dir.filePath(QStringLiteral("clipboard contents.csv"))),
                 QByteArray("id_,v\n1,a\n2,b\n"));
        // The window closed and the tables are open, the first one active.
        QTRY_VERIFY(!window);
        const QStringList open = main.getOpenFilepaths();
        QVERIFY(open.contains(dir.filePath(QStringLiteral("people.csv"))));
        QVERIFY(open.contains(dir.filePath(QStringLiteral("clipboard contents.csv"))));
        QCOMPARE(main.getActiveFilepath(), dir.filePath(QStringLiteral("people.csv")));
        // What the window was left with is remembered for the next one.
        QVERIFY(main.makeConfigData().importDefaults.openFilesAfterImport);
    }

    void overwriteQuestion_data() {
        QTest::addColumn<int>("answer"); // 0 overwrite, 1 don't
        QTest::newRow("overwrite") << 0;
        QTest::newRow("don't overwrite") << 1;
    }
    void overwriteQuestion() {
        QFETCH(int, answer);
        QTemporaryDir dir;
        auto window = makeWindow(dir.path());
        window->show();
        const QString target = writeFile(dir.filePath(QStringLiteral("a.csv")), "old\n");
        writeFile(dir.filePath(QStringLiteral("b.csv")), "old b\n");
        QVERIFY(
            window->openFile(writeFile(dir.filePath(QStringLiteral("a.json")), R"([{"x": 1}, {"x": 3}])")));
        QVERIFY(window->openFile(writeFile(dir.filePath(QStringLiteral("b.xml")), "<r><x>2</x></r>")));
        MsgBoxAnswers answers;
        answers.queue = {answer};
        QCOMPARE(window->importFiles(), answer == 0);
        QCOMPARE(answers.texts(), QStringList{QStringLiteral(
                                      "The following files already exist. Do you want to overwrite them?")});
        QCOMPARE(answers.asked[0].informativeText,
                 QDir::toNativeSeparators(target) + QLatin1Char('\n') +
                     QDir::toNativeSeparators(dir.filePath(QStringLiteral("b.csv"))));
        QCOMPARE(answers.asked[0].buttons[0].text, QStringLiteral("&Overwrite"));
        QCOMPARE(answers.asked[0].buttons[1].text, QStringLiteral("Do&n't Overwrite"));
        QCOMPARE(readAll(target), answer == 0 ? QByteArray("x\n1\n3\n") : QByteArray("old\n"));
        QCOMPARE(window->isVisible(), answer != 0);
    }

    // A source that is neither is refused at import with its name; the others still go.
    void refusedSources() {
        QTemporaryDir dir;
        auto window = makeWindow(dir.path());
        const QString text = writeFile(dir.filePath(QStringLiteral("notes.txt")), "just words");
        QVERIFY(window->openFile(text));
        QVERIFY(window->openFile(writeFile(dir.filePath(QStringLiteral("ok.json")), "[1, 2]")));
        QCOMPARE(window->tabAt(0)->findChild<QLabel*>(QStringLiteral("typeLabel"))->text(),
                 QStringLiteral("Not JSON or XML. Cannot import."));
        QCOMPARE(window->tabAt(0)->getSaveFileEdit()->text(),
                 QStringLiteral("(Cannot save. Invalid file type.)"));
        MsgBoxAnswers answers;
        // A file that can't be read adds no tab and is named; a folder is no file.
        window->openFiles({dir.filePath(QStringLiteral("missing.json")), dir.path()});
        QCOMPARE(answers.texts(), QStringList{QStringLiteral("The following files could not be read:")});
        QCOMPARE(answers.asked[0].informativeText,
                 QDir::toNativeSeparators(dir.filePath(QStringLiteral("missing.json"))) + QLatin1Char('\n') +
                     QDir::toNativeSeparators(dir.path()));
        QCOMPARE(window->numTabs(), 2);
        answers.asked.clear();
        QVERIFY(window->importFiles());
        QCOMPARE(answers.texts(),
                 QStringList{QStringLiteral(
                     "The following sources cannot be imported because they're not JSON or XML:")});
        QCOMPARE(answers.asked[0].informativeText, QDir::toNativeSeparators(text));
        QCOMPARE(readAll(dir.filePath(QStringLiteral("ok.csv"))), QByteArray("\n\n\n"));
        QVERIFY(!QFile::exists(dir.filePath(QStringLiteral("notes.csv"))));
    }

    // A table file that can't be written is named, and the window stays to choose another place.
    void unwritableTarget() {
        QTemporaryDir dir;
        auto window = makeWindow(dir.filePath(QStringLiteral("nowhere")));
        window->show();
        QVERIFY(window->openFile(writeFile(dir.filePath(QStringLiteral("a.json")), "[1, 2]")));
        MsgBoxAnswers answers;
        QVERIFY(window->importFiles());
        QCOMPARE(answers.texts(), QStringList{QStringLiteral("The following files could not be written:")});
        QCOMPARE(answers.asked[0].informativeText,
                 QDir::toNativeSeparators(dir.filePath(QStringLiteral("nowhere/a.csv"))));
        QVERIFY(window->isVisible());
        window->setSaveFolder(dir.path());
        QVERIFY(window->importFiles());
        QVERIFY(QFile::exists(dir.filePath(QStringLiteral("a.csv"))));
        QVERIFY(!window->isVisible());
    }

    // Documents that are empty, cut off, not what they claim, or deep: a table or an empty file,
    // never a crash or a hang.
    void oddDocuments_data() {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<QByteArray>("written");
        QTest::newRow("empty json") << "e.json" << QByteArray() << QByteArray();
        QTest::newRow("empty xml") << "e.xml" << QByteArray() << QByteArray();
        QTest::newRow("json cut off")
            << "c.json" << QByteArray(R"([{"a": 1}, {"a": 2, "b": [3)") << QByteArray("a,b/0\n1,\n2,3\n");
        QTest::newRow("xml cut off") << "c.xml" << QByteArray("<r><a>1</a><a>2") << QByteArray();
        // Two bare words: two records that are plain values, rows without cells.
        QTest::newRow("json that is prose") << "p.json" << QByteArray("hello there") << QByteArray("\n\n\n");
        QTest::newRow("xml that is prose") << "p.xml" << QByteArray("hello <there>") << QByteArray();
        QByteArray deep(20000, '[');
        // Read down to 1,000 levels: the innermost array is the one record.
        QTest::newRow("json nested 20000 deep") << "d.json" << deep << QByteArray("\n\n");
        QByteArray deepXml;
        for (int i = 0; i < 5000; ++i)
            deepXml += "<a>";
        QTest::newRow("xml nested 5000 deep") << "d.xml" << deepXml << QByteArray();
    }
    void oddDocuments() {
        QFETCH(QString, name);
        QFETCH(QByteArray, content);
        QFETCH(QByteArray, written);
        QTemporaryDir dir;
        auto window = makeWindow(dir.path());
        QVERIFY(window->openFile(writeFile(dir.filePath(name), content)));
        MsgBoxAnswers answers;
        QVERIFY(window->importFiles());
        QCOMPARE(answers.texts(), QStringList());
        QCOMPARE(readAll(dir.filePath(QFileInfo(name).completeBaseName() + QStringLiteral(".csv"))), written);
    }

    // A document larger than the preview: the tab shows its start, the import reads it all, on
    // the worker.
    void largeDocument() {
        QTemporaryDir dir;
        auto window = makeWindow(dir.path());
        QByteArray json = "[";
        const int records = 40000;
        for (int i = 0; i < records; ++i)
            json += (i ? "," : "") + QByteArray("{\"id\": ") + QByteArray::number(i) + ", \"name\": \"n" +
                    QByteArray::number(i) + "\"}\n";
        json += "]";
        QVERIFY(json.size() > ImportWindow::kPreviewChars);
        QVERIFY(window->openFile(writeFile(dir.filePath(QStringLiteral("big.json")), json)));
        const QString shown = window->tabAt(0)->getContentsEdit()->toPlainText();
        QCOMPARE(shown,
                 QString::fromUtf8(json.left(ImportWindow::kPreviewChars)) + QStringLiteral("\n(truncated)"));
        // The window waits for its import: a close while it runs is refused.
        bool importingMeanwhile = false;
        bool closedMeanwhile = true;
        QTimer::singleShot(0, window.get(), [&] {
            importingMeanwhile = window->isImporting();
            closedMeanwhile = window->close();
        });
        QVERIFY(window->importFiles());
        QVERIFY(importingMeanwhile);
        QVERIFY(!closedMeanwhile);
        QVERIFY(!window->isImporting());
        const QList<QByteArray> lines = readAll(dir.filePath(QStringLiteral("big.csv"))).split('\n');
        QCOMPARE(lines.size(), records + 2);
        QCOMPARE(lines.at(0), QByteArray("id,name"));
        QCOMPARE(lines.at(records), QByteArray("39999,n39999"));
    }

    // --- URLs ---------------------------------------------------------------------------------

    void urlImport() {
        const QByteArray body = R"({"rows": [{"a": 1}, {"a": 2}]})";
        HttpServer server(HttpServer::ok(body));
        QVERIFY(server.listen(QHostAddress::LocalHost));
        QTemporaryDir dir;
        auto window = makeWindow(dir.path());
        QSignalSpy fetched(window.get(), &ImportWindow::urlFetchedSignal);
        const QString url = QStringLiteral("http://127.0.0.1:%1/data.json").arg(server.serverPort());
        MsgBoxAnswers answers;
        window->openUrl(url);
        QVERIFY(fetched.wait(5000));
        QCOMPARE(answers.texts(), QStringList());
        QCOMPARE(window->numTabs(), 1);
        QCOMPARE(window->tabAt(0)->findChild<QLabel*>(QStringLiteral("sourceLabel"))->text(),
                 url + QStringLiteral(" (URL)"));
        const QString target =
            dir.filePath(QStringLiteral("http_127_0_0_1:%1_data_json.csv").arg(server.serverPort()));
        QCOMPARE(window->tabAt(0)->getSaveFilepath(), target);
        QVERIFY(window->importFiles());
        QCOMPARE(readAll(target), QByteArray("a\n1\n2\n"));
    }

    void urlErrors_data() {
        QTest::addColumn<bool>("refused");
        QTest::addColumn<QString>("text");
        QTest::newRow("not found")
            << false
            << "There was a network error:<br>ContentNotFoundError: The remote content was not "
               "found at the server (similar to HTTP error 404).";
        QTest::newRow("connection refused") << true
                                            << "There was a network error:<br>ConnectionRefusedError: The "
                                               "remote server refused the connection (the "
                                               "server is not accepting requests).";
    }
    void urlErrors() {
        QFETCH(bool, refused);
        QFETCH(QString, text);
        HttpServer server(
            "HTTP/1.1 404 Not Found\r\nContent-Length: 9\r\nConnection: close\r\n\r\nnot found");
        QVERIFY(server.listen(QHostAddress::LocalHost));
        const quint16 port = server.serverPort();
        if (refused)
            server.close(); // nothing listens there now
        QTemporaryDir dir;
        auto window = makeWindow(dir.path());
        QSignalSpy fetched(window.get(), &ImportWindow::urlFetchedSignal);
        MsgBoxAnswers answers;
        window->openUrl(QStringLiteral("http://127.0.0.1:%1/x.json").arg(port));
        QVERIFY(fetched.wait(5000));
        QCOMPARE(answers.texts(), QStringList{text});
        QCOMPARE(answers.asked[0].title, QStringLiteral("Network error"));
        QCOMPARE(window->numTabs(), 0);
        QVERIFY(!window->isFetching());
    }
};

QTEST_MAIN(TestImportWindow)
#include "tst_importwindow.moc"
