#include "app/application.h"
#include "app/externalserver.h"
#include "util/msgboxanswers.h"
#include "window/mainwindow.h"
#include "window/windowtesthelpers.h"

#include <QDesktopServices>
#include <QElapsedTimer>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSettings>
#include <QStandardPaths>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTest>

namespace {

Application& app() {
    return *static_cast<Application*>(QCoreApplication::instance());
}

const QString kNetworkError = QStringLiteral("There was a network error.<br>Click the <b>Download</b> button "
                                             "to check the Download page.");
const QString kNoUpdates = QStringLiteral("There are no updates available right now.");
const QString kDontAlert = QStringLiteral("Don't alert me again at startup about this version.");

// The boxes that the application's own start asked, answered by closing them.
QStringList boxesAtStart;

} // namespace

// The program's web service, played by a local server: it notes each request and answers
// "/version" with what the test sets, or never answers at all.
class LocalService : public QObject {
    Q_OBJECT

public:
    struct Request {
        QByteArray method;
        QByteArray path;
        QByteArray contentType;
        QByteArray body;
    };
    QList<Request> requests;
    QByteArray answer = "2.4.2";
    QByteArray status = "200 OK";
    bool silent = false;

    bool start() {
        connect(&server, &QTcpServer::newConnection, this, &LocalService::onNewConnection);
        return server.listen(QHostAddress::LocalHost);
    }
    QByteArray base() const { return "http://127.0.0.1:" + QByteArray::number(server.serverPort()); }
    QStringList paths() const {
        QStringList list;
        for (const Request& r : requests)
            list.append(QString::fromLatin1(r.method + ' ' + r.path));
        return list;
    }

private slots:
    void onNewConnection() {
        while (QTcpSocket* socket = server.nextPendingConnection()) {
            socket->setParent(this);
            connect(socket, &QTcpSocket::readyRead, this, [this, socket] { onReadyRead(socket); });
        }
    }

private:
    void onReadyRead(QTcpSocket* socket) {
        QByteArray& buffer = buffers[socket];
        buffer += socket->readAll();
        const qsizetype headerEnd = buffer.indexOf("\r\n\r\n");
        if (headerEnd < 0)
            return;
        Request request;
        qsizetype contentLength = 0;
        const QList<QByteArray> lines = buffer.left(headerEnd).split('\n');
        const QList<QByteArray> first = lines.first().trimmed().split(' ');
        request.method = first.value(0);
        request.path = first.value(1);
        for (const QByteArray& line : lines.mid(1)) {
            const qsizetype colon = line.indexOf(':');
            const QByteArray name = line.left(colon).trimmed().toLower();
            const QByteArray value = line.mid(colon + 1).trimmed();
            if (name == "content-length")
                contentLength = value.toLongLong();
            else if (name == "content-type")
                request.contentType = value;
        }
        if (buffer.size() < headerEnd + 4 + contentLength)
            return;
        request.body = buffer.mid(headerEnd + 4, contentLength);
        buffers.remove(socket);
        requests.append(request);
        if (silent)
            return;
        const QByteArray body = request.path == "/version" ? answer : QByteArray();
        socket->write("HTTP/1.1 " + status + "\r\nContent-Type: text/plain\r\nContent-Length: " +
                      QByteArray::number(body.size()) + "\r\nConnection: close\r\n\r\n" + body);
        socket->disconnectFromHost();
    }

    QTcpServer server;
    QHash<QTcpSocket*, QByteArray> buffers;
};

// Where the pages that the program opens go in this test, instead of to a browser.
class UrlCatcher : public QObject {
    Q_OBJECT

public:
    QList<QUrl> urls;
public slots:
    void open(const QUrl& url) { urls.append(url); }
};

class TestUpdateCheck : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<LocalService> service;
    UrlCatcher catcher;

    MainWindow& window() { return *app().getMainWindow(); }

    // Waits until every thread and object of the report and the checks is gone.
    static bool networkObjectsGone() {
        return QTest::qWaitFor([] { return app().liveNetworkObjects() == 0; }, 5000);
    }

    // Runs a check at start and waits until it ended, boxes included.
    void checkAtStartAndWait(const QString& ignoreVersion) {
        app().checkForUpdates(true, ignoreVersion);
        QTRY_COMPARE(service->requests.size(), 1);
        QVERIFY(networkObjectsGone());
        // The queued answer, if any, has been delivered.
        QCoreApplication::processEvents();
        QTest::qWait(50);
    }

private slots:
    void initTestCase() {
        QVERIFY(app().getMainWindow());
        // The report and check of the application's own start went to a port where nothing
        // listens, and ended in silence: no box, and every thread gone.
        QVERIFY(networkObjectsGone());
        QCoreApplication::processEvents();
        MsgBox::answerHook = nullptr;
        QCOMPARE(boxesAtStart, QStringList());
        QDesktopServices::setUrlHandler(QStringLiteral("http"), &catcher, "open");
        QDesktopServices::setUrlHandler(QStringLiteral("https"), &catcher, "open");
    }

    void cleanupTestCase() {
        QDesktopServices::unsetUrlHandler(QStringLiteral("http"));
        QDesktopServices::unsetUrlHandler(QStringLiteral("https"));
    }

    void init() {
        service = std::make_unique<LocalService>();
        QVERIFY(service->start());
        qputenv("ORVANE_SERVICE_URL", service->base());
        catcher.urls.clear();
        ExternalServer::setTransferTimeoutForTesting(15000);
    }

    void cleanup() {
        QVERIFY(networkObjectsGone());
        service.reset();
    }

    // --- On the command -------------------------------------------------------------------

    void commandShowsTheAnswer_data() {
        QTest::addColumn<QByteArray>("status");
        QTest::addColumn<QByteArray>("answer");
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("text");
        const QString update = QStringLiteral("Check for Updates");
        const QString failed = QStringLiteral("Check for Updates- Network error");
        QTest::newRow("newer") << QByteArray("200 OK") << QByteArray("2.4.10\n") << update
                               << "Version 2.4.10 is available for download.\n";
        QTest::newRow("same") << QByteArray("200 OK") << QByteArray("2.4.2") << update << kNoUpdates;
        QTest::newRow("older") << QByteArray("200 OK") << QByteArray("2.4") << update << kNoUpdates;
        QTest::newRow("not numeric, compared as text") << QByteArray("200 OK") << QByteArray("beta") << update
                                                       << "Version beta is available for download.\n";
        QTest::newRow("empty answer") << QByteArray("200 OK") << QByteArray() << failed << kNetworkError;
        QTest::newRow("a page, not a version")
            << QByteArray("200 OK") << QByteArray("<html><body>Sign in to this network</body></html>")
            << failed << kNetworkError;
        QTest::newRow("a long answer")
            << QByteArray("200 OK") << QByteArray(100000, '7') << failed << kNetworkError;
        QTest::newRow("not found") << QByteArray("404 Not Found") << QByteArray("2.9") << failed
                                   << kNetworkError;
        QTest::newRow("server error")
            << QByteArray("500 Internal Server Error") << QByteArray() << failed << kNetworkError;
    }
    void commandShowsTheAnswer() {
        QFETCH(QByteArray, status);
        QFETCH(QByteArray, answer);
        QFETCH(QString, title);
        QFETCH(QString, text);
        service->status = status;
        service->answer = answer;
        MsgBoxAnswers answers;
        answers.queue = {-1};
        QVERIFY(runCommand(window(), QStringLiteral("Check for Updates")));
        QTRY_COMPARE(answers.asked.size(), 1);
        QCOMPARE(service->paths(), QStringList{QStringLiteral("GET /version")});
        const MsgBox::Question& box = answers.asked.first();
        QCOMPARE(box.title, title);
        QCOMPARE(box.text, text);
        const bool offer = text.startsWith(QLatin1String("Version"));
        QCOMPARE(box.checkBoxText, offer ? kDontAlert : QString());
        if (offer || title.contains(QLatin1String("error"))) {
            QCOMPARE(box.buttons.size(), std::size_t(2));
            QCOMPARE(box.buttons[0].text, QStringLiteral("&Download"));
        }
        QCOMPARE(box.textFormat, title.contains(QLatin1String("error")) ? Qt::RichText : Qt::PlainText);
        QVERIFY(networkObjectsGone());
        QTest::qWait(50);
        QCOMPARE(answers.asked.size(), 1);
        app().updateDontBugMeState(Qt::Unchecked);
    }

    // The check box of the new-version box decides the version to ignore, written at once.
    void newVersionBox_data() {
        QTest::addColumn<bool>("keepChecked");
        QTest::addColumn<int>("button");
        QTest::addColumn<QString>("ignored");
        QTest::newRow("checked, closed") << true << 1 << "2.5.1";
        QTest::newRow("unchecked, closed") << false << 1 << "2.4.2";
        QTest::newRow("checked, download") << true << 0 << "2.5.1";
    }
    void newVersionBox() {
        QFETCH(bool, keepChecked);
        QFETCH(int, button);
        QFETCH(QString, ignored);
        service->answer = "2.5.1";
        int asked = 0;
        bool initiallyChecked = false;
        MsgBox::answerHook = [&](const MsgBox::Question& question) {
            ++asked;
            initiallyChecked = question.checked && *question.checked;
            if (question.checked)
                *question.checked = keepChecked;
            return button;
        };
        QVERIFY(runCommand(window(), QStringLiteral("Check for Updates")));
        QTRY_COMPARE(asked, 1);
        QVERIFY(initiallyChecked);
        QCOMPARE(app().getUpdateIgnoreVersion(), ignored);
        MsgBox::answerHook = nullptr;
        app().getConfigFile().sync();
        QSettings ini(app().getConfigFilePath(), QSettings::IniFormat);
        QCOMPARE(ini.value(QStringLiteral("main/update_ignore_version")).toString(), ignored);
        const QList<QUrl> expected =
            button == 0 ? QList<QUrl>{QUrl(QString::fromLatin1(service->base() + "/download/"))}
                        : QList<QUrl>{};
        QCOMPARE(catcher.urls, expected);
        // The next check at start says nothing about the version that was ignored.
        if (keepChecked) {
            MsgBoxAnswers answers;
            service->requests.clear();
            checkAtStartAndWait(app().getUpdateIgnoreVersion());
            QCOMPARE(answers.texts(), QStringList());
        }
        app().updateDontBugMeState(Qt::Unchecked);
    }

    void refusedConnection() {
        // A port that was just free: nothing listens there.
        QTcpServer closed;
        QVERIFY(closed.listen(QHostAddress::LocalHost));
        const quint16 port = closed.serverPort();
        closed.close();
        qputenv("ORVANE_SERVICE_URL", "http://127.0.0.1:" + QByteArray::number(port));
        MsgBoxAnswers answers;
        answers.queue = {0};
        QVERIFY(runCommand(window(), QStringLiteral("Check for Updates")));
        QTRY_COMPARE(answers.texts(), QStringList{kNetworkError});
        QCOMPARE(answers.asked.first().title, QStringLiteral("Check for Updates- Network error"));
        // "Download" opens the download page.
        QCOMPARE(catcher.urls, QList<QUrl>{QUrl(QStringLiteral("http://127.0.0.1:%1/download/").arg(port))});
        QVERIFY(networkObjectsGone());
        QCOMPARE(answers.asked.size(), 1);
    }

    void silentServerTimesOut() {
        service->silent = true;
        ExternalServer::setTransferTimeoutForTesting(300);
        MsgBoxAnswers answers;
        QElapsedTimer clock;
        clock.start();
        QVERIFY(runCommand(window(), QStringLiteral("Check for Updates")));
        QTRY_COMPARE(answers.texts(), QStringList{kNetworkError});
        QVERIFY(clock.elapsed() < 5000);
    }

    // --- At start ---------------------------------------------------------------------------

    void atStart_data() {
        QTest::addColumn<QByteArray>("answer");
        QTest::addColumn<QString>("ignored");
        QTest::addColumn<QStringList>("boxes");
        QTest::newRow("newer") << QByteArray("2.5") << QString()
                               << QStringList{"Version 2.5 is available for download.\n"};
        QTest::newRow("newer than the one ignored")
            << QByteArray("2.6") << "2.5" << QStringList{"Version 2.6 is available for download.\n"};
        QTest::newRow("the ignored version") << QByteArray("2.5") << "2.5" << QStringList();
        QTest::newRow("same") << QByteArray("2.4.2") << "2.4.2" << QStringList();
        QTest::newRow("not a version")
            << QByteArray("<html>\n<body>Sign in</body></html>") << QString() << QStringList();
    }
    void atStart() {
        QFETCH(QByteArray, answer);
        QFETCH(QString, ignored);
        QFETCH(QStringList, boxes);
        service->answer = answer;
        MsgBoxAnswers answers;
        answers.queue = {1};
        checkAtStartAndWait(ignored);
        QCOMPARE(answers.texts(), boxes);
        app().updateDontBugMeState(Qt::Unchecked);
    }

    void failureAtStartIsSilent_data() {
        QTest::addColumn<bool>("silent");
        QTest::addColumn<QByteArray>("status");
        QTest::newRow("no answer") << true << QByteArray("200 OK");
        QTest::newRow("not found") << false << QByteArray("404 Not Found");
    }
    void failureAtStartIsSilent() {
        QFETCH(bool, silent);
        QFETCH(QByteArray, status);
        service->silent = silent;
        service->status = status;
        ExternalServer::setTransferTimeoutForTesting(300);
        MsgBoxAnswers answers;
        checkAtStartAndWait(QString());
        QCOMPARE(answers.texts(), QStringList());
    }

    // The start sends its report, and checks only when the setting says so.
    void startReportAndSetting_data() {
        QTest::addColumn<bool>("enabled");
        QTest::addColumn<QStringList>("requests");
        QTest::newRow("check enabled") << true << QStringList{"POST /startup", "GET /version"};
        QTest::newRow("check disabled") << false << QStringList{"POST /startup"};
    }
    void startReportAndSetting() {
        QFETCH(bool, enabled);
        QFETCH(QStringList, requests);
        Settings& settings = window().getSettings();
        const bool before = settings.getValueBool(EnableCheckForUpdates);
        settings.setValue(EnableCheckForUpdates, enabled);
        MsgBoxAnswers answers;
        app().startNetworkTasks();
        QTRY_COMPARE(service->requests.size(), requests.size());
        QVERIFY(networkObjectsGone());
        settings.setValue(EnableCheckForUpdates, before);
        QStringList sorted = service->paths();
        sorted.sort();
        requests.sort();
        QCOMPARE(sorted, requests);
        QCOMPARE(answers.texts(), QStringList());

        const auto report = std::find_if(service->requests.begin(), service->requests.end(),
                                         [](const LocalService::Request& r) { return r.path == "/startup"; });
        QCOMPARE(report->contentType, QByteArray("application/json"));
        QJsonParseError error;
        const QJsonObject body = QJsonDocument::fromJson(report->body, &error).object();
        QCOMPARE(error.error, QJsonParseError::NoError);
        QCOMPARE(body.keys(), (QStringList{"os", "version"}));
        QCOMPARE(body.value("version").toString(), QStringLiteral("2.4.2"));
        QCOMPARE(body.value("os").toString(), ExternalServer::operatingSystemText());
        QVERIFY(!body.value("os").toString().isEmpty());
        // Compact: no white space between the parts.
        QCOMPARE(report->body, QJsonDocument(body).toJson(QJsonDocument::Compact));
    }

    // The end of the program doesn't wait for a server that never answers.
    void stopWhileWaiting() {
        service->silent = true;
        MsgBoxAnswers answers;
        app().checkForUpdates(false, QString());
        app().startupData();
        QTRY_COMPARE(service->requests.size(), 2);
        QVERIFY(app().liveNetworkObjects() > 0);
        QElapsedTimer clock;
        clock.start();
        app().stopNetworkTasks();
        QVERIFY(clock.elapsed() < 2000);
        QCOMPARE(app().liveNetworkObjects(), 0);
        QTest::qWait(50);
        QCOMPARE(answers.texts(), QStringList());
    }

    // --- Contact Us ---------------------------------------------------------------------------

    void contactUs_data() {
        QTest::addColumn<QString>("command");
        QTest::addColumn<QString>("path");
        QTest::newRow("bug") << "Report a Bug"
                             << "/contact/bug";
        QTest::newRow("feature") << "Request a Feature"
                                 << "/contact/feature";
        QTest::newRow("survey") << "Take a Survey"
                                << "/contact/survey";
        QTest::newRow("feedback") << "General Feedback/Questions"
                                  << "/contact/feedback";
    }
    void contactUs() {
        QFETCH(QString, command);
        QFETCH(QString, path);
        QVERIFY(runCommand(window(), command));
        QCOMPARE(catcher.urls, QList<QUrl>{QUrl(QString::fromLatin1(service->base()) + path)});
        // Our own page, not a request of the program.
        QCOMPARE(service->requests.size(), 0);
    }
};

int main(int argc, char** argv) {
    // Everything the application writes goes below a temporary home.
    QTemporaryDir home;
    if (!home.isValid())
        return 1;
    qputenv("HOME", home.path().toUtf8());
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    // The application's own start reaches no service.
    qputenv("ORVANE_SERVICE_URL", "http://127.0.0.1:1");
    QStandardPaths::setTestModeEnabled(true);

    MsgBox::answerHook = [](const MsgBox::Question& question) {
        boxesAtStart.append(question.text);
        return -1;
    };
    int appArgc = 1;
    Application application(appArgc, argv, true, Application::User, 1000);
    QGuiApplication::setQuitOnLastWindowClosed(false);
    TestUpdateCheck test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_updatecheck.moc"
