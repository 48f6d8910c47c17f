#pragma once

#include <QByteArray>
#include <QList>
#include <QNetworkReply>
#include <QObject>
#include <QSslError>
#include <QString>

class QNetworkAccessManager;

// The program's only network use: the report of version and system at start, and the check for
// a later version. It runs on a thread of its own and reports through queued signals; the end
// of its one request ends the thread, which then deletes it.
class ExternalServer : public QObject {
    Q_OBJECT

public:
    // `startup`: the check runs at program start, where only a later version that isn't
    // `updateIgnoreVersion` is told, and failures are not.
    ExternalServer(const QString& version, bool startup, const QString& updateIgnoreVersion);

    // The system the program runs on, as the report names it ("macOS 14.1").
    static QString operatingSystemText();
    // The report's body: a compact JSON object with "os" and "version".
    static QByteArray startupReportBody(const QString& os, const QString& version);

    // Test seam: how long a request waits without hearing from the server before it fails.
    static void setTransferTimeoutForTesting(int milliseconds);

public slots:
    void uploadStartupData();
    void checkForUpdates();
    void onReplyReadyRead();
    void onNetworkError(QNetworkReply::NetworkError error);
    void onSslErrors(const QList<QSslError>& errors);
    void onReplyFinished(QNetworkReply* finished);

signals:
    void sameVersionWindowSignal();
    void newVersionWindowSignal(QString version);
    void networkErrorSignal(QString text);

private:
    QNetworkAccessManager* networkManager();
    void reportError();

    QString version;
    QString os;
    bool startup = false;
    QString updateIgnoreVersion;
    QNetworkAccessManager* manager = nullptr;
    QNetworkReply* reply = nullptr;
    QByteArray answer;
    bool errorReported = false;
};
