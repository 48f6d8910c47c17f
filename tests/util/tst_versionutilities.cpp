#include "util/serviceutilities.h"
#include "util/versionutilities.h"

#include <QTest>

#include <optional>

using namespace Utilities;

class TestVersionUtilities : public QObject {
    Q_OBJECT

private slots:
    void isVersionNewer_data() {
        QTest::addColumn<QString>("remote");
        QTest::addColumn<QString>("own");
        QTest::addColumn<bool>("newer");
        QTest::newRow("same") << "2.4.2"
                              << "2.4.2" << false;
        QTest::newRow("parts compare as numbers") << "2.4.10"
                                                  << "2.4.2" << true;
        QTest::newRow("older by number") << "2.4.1"
                                         << "2.4.10" << false;
        QTest::newRow("minor ahead") << "2.5"
                                     << "2.4.2" << true;
        QTest::newRow("remote runs out first") << "2.4"
                                               << "2.4.2" << false;
        QTest::newRow("own runs out first") << "2.4.2.1"
                                            << "2.4.2" << true;
        QTest::newRow("major behind") << "1.9.9"
                                      << "2.4.2" << false;
        QTest::newRow("leading zero, same number") << "2.4.02"
                                                   << "2.4.2" << false;
        QTest::newRow("empty parts dropped") << "2..4..3"
                                             << "2.4.2" << true;
        QTest::newRow("empty remote") << ""
                                      << "2.4.2" << false;
        QTest::newRow("text part sorts after") << "2.4.2b"
                                               << "2.4.2" << true;
        QTest::newRow("text part sorts before") << "2.4.1b"
                                                << "2.4.2" << false;
        QTest::newRow("all text") << "abc"
                                  << "2.4.2" << true;
        QTest::newRow("number too large for int is text") << "2.4.99999999999"
                                                          << "2.4.3" << true;
        QTest::newRow("number too large, text order") << "2.4.19999999999"
                                                      << "2.4.3" << false;
        QTest::newRow("negative number") << "2.4.-1"
                                         << "2.4.2" << false;
    }
    void isVersionNewer() {
        QFETCH(QString, remote);
        QFETCH(QString, own);
        QFETCH(bool, newer);
        QCOMPARE(Utilities::isVersionNewer(remote, own), newer);
    }

    void versionFromAnswer_data() {
        QTest::addColumn<QByteArray>("answer");
        QTest::addColumn<QString>("version"); // null: not a version
        QTest::newRow("plain") << QByteArray("2.5.0") << QStringLiteral("2.5.0");
        QTest::newRow("file with line ending") << QByteArray("2.5.0\r\n") << QStringLiteral("2.5.0");
        QTest::newRow("text") << QByteArray("beta") << QStringLiteral("beta");
        QTest::newRow("empty") << QByteArray() << QString();
        QTest::newRow("only white space") << QByteArray(" \n") << QString();
        QTest::newRow("an error page") << QByteArray("<html><body>Not here</body></html>") << QString();
        QTest::newRow("63 characters") << QByteArray(63, '9') << QString(63, QLatin1Char('9'));
        QTest::newRow("64 characters") << QByteArray(64, '9') << QString();
        QTest::newRow("control character") << QByteArray("2.5\x01") << QString();
    }
    void versionFromAnswer() {
        QFETCH(QByteArray, answer);
        QFETCH(QString, version);
        const std::optional<QString> read = Utilities::versionFromAnswer(answer);
        QCOMPARE(read.has_value(), !version.isNull());
        if (read)
            QCOMPARE(*read, version);
    }

    void serviceUrl_data() {
        QTest::addColumn<QByteArray>("base");
        QTest::addColumn<QString>("expected");
        QTest::newRow("ours") << QByteArray() << "https://orvane.app/version";
        QTest::newRow("local server")
            << QByteArray("http://127.0.0.1:8000") << "http://127.0.0.1:8000/version";
        QTest::newRow("base with a path and a slash")
            << QByteArray("http://localhost/api/") << "http://localhost/api/version";
    }
    void serviceUrl() {
        QFETCH(QByteArray, base);
        QFETCH(QString, expected);
        const QByteArray before = qgetenv("ORVANE_SERVICE_URL");
        if (base.isEmpty())
            qunsetenv("ORVANE_SERVICE_URL");
        else
            qputenv("ORVANE_SERVICE_URL", base);
        QCOMPARE(Utilities::serviceUrl(ServicePath::version).toString(), expected);
        qputenv("ORVANE_SERVICE_URL", before);
    }
};

QTEST_GUILESS_MAIN(TestVersionUtilities)
#include "tst_versionutilities.moc"
