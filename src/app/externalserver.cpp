#include "app/externalserver.h"

#include "util/serviceutilities.h"
#include "util/versionutilities.h"

#include <QCoreApplication>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkRequest>
#include <QSysInfo>
#include <QThread>
#include <QVariantMap>

#include <atomic>

namespace {

// Long enough for a slow line, short enough that a silent server doesn't keep a thread for
// the whole session.
std::atomic<int> transferTimeout{15000};

// A version number is a few bytes; anything much longer is not one and is not read to its end.
constexpr qsizetype kMaxAnswerBytes = 4096;

} // namespace

ExternalServer::ExternalServer(const QString& version, bool startup, const QString& updateIgnoreVersion)
    : version(version), os(operatingSystemText()), startup(startup),
      updateIgnoreVersion(updateIgnoreVersion) {}

QString ExternalServer::operatingSystemText() {
#if defined(Q_OS_MACOS)
    return QStringLiteral("macOS %1").arg(QSysInfo::productVersion());
#elif defined(Q_OS_WIN)
    return QStringLiteral("Windows %1").arg(QSysInfo::productVersion());
#else
    // The distribution and its release ("Debian GNU/Linux 12 (bookworm)"), which name the
    // platform better than the kernel does.
    return QSysInfo::prettyProductName();
#endif
}

QByteArray ExternalServer::startupReportBody(const QString& os, const QString& version) {
    QVariantMap map;
    map.insert(QStringLiteral("os"), os);
    map.insert(QStringLiteral("version"), version);
    return QJsonDocument(QJsonObject::fromVariantMap(map)).toJson(QJsonDocument::Compact);
}

void ExternalServer::setTransferTimeoutForTesting(int milliseconds) {
    transferTimeout = milliseconds;
}

QNetworkAccessManager* ExternalServer::networkManager() {
    // Made on the object's own thread, where its replies are to arrive.
    if (!manager) {
        manager = new QNetworkAccessManager(this);
        connect(manager, &QNetworkAccessManager::finished, this, &ExternalServer::onReplyFinished);
    }
    return manager;
}

void ExternalServer::uploadStartupData() {
    QNetworkRequest request(Utilities::serviceUrl(Utilities::ServicePath::startup));
    request.setHeader(QNetworkRequest::ContentTypeHeader, QStringLiteral("application/json"));
    request.setTransferTimeout(transferTimeout);
    reply = networkManager()->post(request, startupReportBody(os, version));
}

void ExternalServer::checkForUpdates() {
    QNetworkRequest request(Utilities::serviceUrl(Utilities::ServicePath::version));
    request.setTransferTimeout(transferTimeout);
    reply = networkManager()->get(request);
    connect(reply, &QNetworkReply::readyRead, this, &ExternalServer::onReplyReadyRead);
    connect(reply, &QNetworkReply::errorOccurred, this, &ExternalServer::onNetworkError);
#ifndef QT_NO_SSL
    connect(reply, &QNetworkReply::sslErrors, this, &ExternalServer::onSslErrors);
#endif
}

void ExternalServer::onReplyReadyRead() {
    if (!reply)
        return;
    answer += reply->readAll();
    if (answer.size() > kMaxAnswerBytes)
        reply->abort();
}

void ExternalServer::onNetworkError(QNetworkReply::NetworkError) {
    reportError();
}

void ExternalServer::onSslErrors(const QList<QSslError>&) {
    reportError();
}

void ExternalServer::reportError() {
    // A failed request may say so more than once (an SSL error, then the failure it causes).
    if (errorReported)
        return;
    errorReported = true;
    emit networkErrorSignal(tr("There was a network error.<br>") +
                            tr("Click the <b>Download</b> button to check the Download page."));
}

void ExternalServer::onReplyFinished(QNetworkReply* finished) {
    // The answer is judged whole: a version may arrive in more than one piece.
    if (finished == reply && reply->operation() == QNetworkAccessManager::GetOperation) {
        if (reply->error() != QNetworkReply::NoError) {
            reportError();
        } else {
            answer += reply->readAll();
            const std::optional<QString> remote =
                answer.size() > kMaxAnswerBytes ? std::nullopt : Utilities::versionFromAnswer(answer);
            if (!remote) {
                reportError();
            } else {
                const bool newer = Utilities::isVersionNewer(*remote, version);
                if (!startup) {
                    if (newer)
                        emit newVersionWindowSignal(*remote);
                    else
                        emit sameVersionWindowSignal();
                } else if (newer && *remote != updateIgnoreVersion) {
                    emit newVersionWindowSignal(*remote);
                }
            }
        }
    }
    finished->deleteLater();
    if (finished == reply)
        reply = nullptr;
    // The one request is over: the thread ends, and with it this object and the thread itself.
    if (thread() != QCoreApplication::instance()->thread())
        thread()->quit();
}
