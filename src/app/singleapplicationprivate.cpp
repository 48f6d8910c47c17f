#include "app/singleapplicationprivate.h"

#include <QCryptographicHash>
#include <QDataStream>
#include <QElapsedTimer>
#include <QLocalServer>
#include <QLocalSocket>
#include <QRandomGenerator>
#include <QSharedMemory>
#include <QThread>

#include <algorithm>
#include <cstring>
#include <pwd.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {
// Frames are read by other builds of the program too: the stream format stays fixed.
constexpr QDataStream::Version kStreamVersion = QDataStream::Qt_5_6;
static_assert(kStreamVersion == 17);
} // namespace

SingleApplicationPrivate::SingleApplicationPrivate(SingleApplication* q) : QObject(nullptr), q_ptr(q) {}

SingleApplicationPrivate::~SingleApplicationPrivate() {
    if (socket) {
        socket->close();
        delete socket;
        socket = nullptr;
    }
    if (memory) {
        memory->lock();
        auto* info = static_cast<InstancesInfo*>(memory->data());
        if (server) {
            server->close();
            delete server;
            server = nullptr;
            info->primary = false;
            info->primaryPid = -1;
            std::memset(info->primaryUser, 0, sizeof(info->primaryUser));
            info->checksum = blockChecksum(*info);
        }
        memory->unlock();
        delete memory;
        memory = nullptr;
    }
}

QString SingleApplicationPrivate::getUsername() {
    if (const passwd* entry = ::getpwuid(::geteuid()); entry && entry->pw_name)
        return QString::fromLocal8Bit(entry->pw_name);
    const QString fromEnvironment = qEnvironmentVariable("USER");
    return fromEnvironment.isEmpty() ? QString::number(::geteuid()) : fromEnvironment;
}

quint16 SingleApplicationPrivate::blockChecksum(const InstancesInfo& info) {
    return qChecksum(QByteArrayView(reinterpret_cast<const char*>(&info), offsetof(InstancesInfo, checksum)));
}

QByteArray SingleApplicationPrivate::initMessage(const QByteArray& name, ConnectionType type,
                                                 quint32 instance) {
    QByteArray message;
    QDataStream stream(&message, QIODevice::WriteOnly);
    stream.setVersion(kStreamVersion);
    stream << name << static_cast<quint8>(type) << instance;
    stream << qChecksum(QByteArrayView(message));
    return message;
}

void SingleApplicationPrivate::genBlockServerName() {
    QCryptographicHash hash(QCryptographicHash::Sha256);
    hash.addData(QByteArrayView("SingleApplication"));
    hash.addData(QCoreApplication::applicationName().toUtf8());
    hash.addData(QCoreApplication::organizationName().toUtf8());
    hash.addData(QCoreApplication::organizationDomain().toUtf8());
    if (!appData.isEmpty())
        hash.addData(appData.join(QString()).toUtf8());
    if (!options.testFlag(SingleApplication::ExcludeAppVersion))
        hash.addData(QCoreApplication::applicationVersion().toUtf8());
    if (!options.testFlag(SingleApplication::ExcludeAppPath))
        hash.addData(QCoreApplication::applicationFilePath().toUtf8());
    if (options.testFlag(SingleApplication::User))
        hash.addData(getUsername().toUtf8());
    blockServerName = QString::fromLatin1(hash.result().toBase64().replace('/', '_'));
}

void SingleApplicationPrivate::initializeMemoryBlock() const {
    auto* info = static_cast<InstancesInfo*>(memory->data());
    std::memset(info, 0, sizeof(InstancesInfo));
    info->primary = false;
    info->secondary = 0;
    info->primaryPid = -1;
    info->checksum = blockChecksum(*info);
}

void SingleApplicationPrivate::startPrimary() {
    auto* info = static_cast<InstancesInfo*>(memory->data());
    info->primary = true;
    info->primaryPid = QCoreApplication::applicationPid();
    qstrncpy(info->primaryUser, getUsername().toUtf8().constData(), sizeof(info->primaryUser));
    info->checksum = blockChecksum(*info);
    instanceNumber = 0;

    QLocalServer::removeServer(blockServerName);
    server = new QLocalServer();
    server->setSocketOptions(options.testFlag(SingleApplication::User) ? QLocalServer::UserAccessOption
                                                                       : QLocalServer::WorldAccessOption);
    server->listen(blockServerName);
    connect(server, &QLocalServer::newConnection, this, &SingleApplicationPrivate::slotConnectionEstablished);
}

void SingleApplicationPrivate::startSecondary() {
    auto* info = static_cast<InstancesInfo*>(memory->data());
    info->secondary += 1;
    info->checksum = blockChecksum(*info);
    instanceNumber = info->secondary;
}

bool SingleApplicationPrivate::connectToPrimary(int msecs, ConnectionType connectionType) {
    QElapsedTimer time;
    time.start();
    if (!socket)
        socket = new QLocalSocket();
    if (socket->state() == QLocalSocket::ConnectedState)
        return true;
    while (true) {
        randomSleep();
        if (socket->state() != QLocalSocket::ConnectingState)
            socket->connectToServer(blockServerName, QIODevice::ReadWrite);
        if (socket->state() == QLocalSocket::ConnectingState)
            socket->waitForConnected(static_cast<int>(std::max<qint64>(0, msecs - time.elapsed())));
        if (socket->state() == QLocalSocket::ConnectedState)
            break;
        if (time.elapsed() >= msecs)
            return false;
    }
    const QByteArray message = initMessage(blockServerName.toLatin1(), connectionType, instanceNumber);
    return writeConfirmedMessage(static_cast<int>(std::max<qint64>(0, msecs - time.elapsed())), message);
}

bool SingleApplicationPrivate::writeConfirmedMessage(int msecs, const QByteArray& message,
                                                     SingleApplication::SendMode sendMode) {
    QElapsedTimer time;
    time.start();
    const auto remaining = [&] { return static_cast<int>(std::max<qint64>(0, msecs - time.elapsed())); };
    const auto sendAndConfirm = [&](const QByteArray& bytes) {
        socket->write(bytes);
        socket->flush();
        if (!socket->waitForBytesWritten(remaining()) && socket->bytesToWrite() > 0)
            return false;
        if (socket->bytesAvailable() < 1 && !socket->waitForReadyRead(remaining()))
            return false;
        char acknowledgement = 0;
        return socket->read(&acknowledgement, 1) == 1 && acknowledgement == kAcknowledgement;
    };

    QByteArray header;
    QDataStream headerStream(&header, QIODevice::WriteOnly);
    headerStream.setVersion(kStreamVersion);
    headerStream << static_cast<quint64>(message.size());
    if (!sendAndConfirm(header) || !sendAndConfirm(message))
        return false;
    if (sendMode == SingleApplication::BlockUntilPrimaryExits)
        socket->waitForDisconnected(-1);
    return true;
}

qint64 SingleApplicationPrivate::primaryPid() const {
    memory->lock();
    const qint64 pid = static_cast<const InstancesInfo*>(memory->constData())->primaryPid;
    memory->unlock();
    return pid;
}

QString SingleApplicationPrivate::primaryUser() const {
    memory->lock();
    const auto* info = static_cast<const InstancesInfo*>(memory->constData());
    const QByteArray user(info->primaryUser,
                          static_cast<qsizetype>(qstrnlen(info->primaryUser, sizeof(info->primaryUser))));
    memory->unlock();
    return QString::fromUtf8(user);
}

void SingleApplicationPrivate::slotConnectionEstablished() {
    QLocalSocket* nextConnection = server->nextPendingConnection();
    if (!nextConnection)
        return;
    // The socket file is the user's alone; the peer's credentials say the same for a socket
    // that was reached some other way.
    ucred credentials = {};
    socklen_t length = sizeof(credentials);
    if (::getsockopt(static_cast<int>(nextConnection->socketDescriptor()), SOL_SOCKET, SO_PEERCRED,
                     &credentials, &length) != 0 ||
        credentials.uid != ::geteuid()) {
        nextConnection->abort();
        nextConnection->deleteLater();
        return;
    }
    connectionMap.insert(nextConnection, ConnectionInfo());

    connect(nextConnection, &QLocalSocket::aboutToClose, this, [nextConnection, this]() {
        const auto it = connectionMap.constFind(nextConnection);
        if (it != connectionMap.constEnd())
            slotClientConnectionClosed(nextConnection, it->instanceId);
    });
    connect(nextConnection, &QLocalSocket::disconnected, nextConnection, &QLocalSocket::deleteLater);
    connect(nextConnection, &QLocalSocket::destroyed, this,
            [nextConnection, this]() { connectionMap.remove(nextConnection); });
    connect(nextConnection, &QLocalSocket::readyRead, this, [nextConnection, this]() {
        // One read may carry the rest of a frame and the header of the next.
        while (connectionMap.contains(nextConnection)) {
            const ConnectionInfo before = connectionMap.value(nextConnection);
            switch (before.stage) {
            case StageInitHeader:
                readMessageHeader(nextConnection, StageInitBody);
                break;
            case StageInitBody:
                readInitMessageBody(nextConnection);
                break;
            case StageConnectedHeader:
                readMessageHeader(nextConnection, StageConnectedBody);
                break;
            case StageConnectedBody:
                slotDataAvailable(nextConnection, before.instanceId);
                break;
            default:
                break;
            }
            const auto it = connectionMap.constFind(nextConnection);
            if (it == connectionMap.constEnd() || it->stage == before.stage)
                break;
        }
    });
}

void SingleApplicationPrivate::readMessageHeader(QLocalSocket* dataSocket, ConnectionStage nextStage) {
    if (!connectionMap.contains(dataSocket) ||
        dataSocket->bytesAvailable() < static_cast<qint64>(sizeof(quint64)))
        return;
    QDataStream headerStream(dataSocket);
    headerStream.setVersion(kStreamVersion);
    quint64 msgLen = 0;
    headerStream >> msgLen;
    ConnectionInfo& info = connectionMap[dataSocket];
    info.stage = nextStage;
    info.msgLen = msgLen;
    dataSocket->write(&kAcknowledgement, 1);
    dataSocket->flush();
}

bool SingleApplicationPrivate::isFrameComplete(QLocalSocket* dataSocket) {
    const auto it = connectionMap.constFind(dataSocket);
    return it != connectionMap.constEnd() && static_cast<quint64>(dataSocket->bytesAvailable()) >= it->msgLen;
}

void SingleApplicationPrivate::readInitMessageBody(QLocalSocket* sock) {
    if (!isFrameComplete(sock))
        return;
    const QByteArray msgBytes = sock->read(static_cast<qint64>(connectionMap[sock].msgLen));
    QDataStream readStream(msgBytes);
    readStream.setVersion(kStreamVersion);
    QByteArray latin1Name;
    quint8 connectionType = InvalidConnection;
    quint32 instanceId = 0;
    quint16 msgChecksum = 0;
    readStream >> latin1Name >> connectionType >> instanceId >> msgChecksum;
    const quint16 actualChecksum =
        msgBytes.size() >= 2 ? qChecksum(QByteArrayView(msgBytes.constData(), msgBytes.size() - 2)) : 0;
    const bool isValid = readStream.status() == QDataStream::Ok && latin1Name == blockServerName.toLatin1() &&
                         msgChecksum == actualChecksum && msgBytes.size() >= 2;
    if (!isValid) {
        sock->close();
        return;
    }
    ConnectionInfo& info = connectionMap[sock];
    info.instanceId = instanceId;
    info.stage = StageConnectedHeader;
    if (connectionType == NewInstance ||
        (connectionType == SecondaryInstance && options.testFlag(SingleApplication::SecondaryNotification)))
        emit q_ptr->instanceStarted();
    sock->write(&kAcknowledgement, 1);
    sock->flush();
}

void SingleApplicationPrivate::slotDataAvailable(QLocalSocket* dataSocket, quint32 instanceId) {
    if (!isFrameComplete(dataSocket))
        return;
    const QByteArray message = dataSocket->read(static_cast<qint64>(connectionMap[dataSocket].msgLen));
    dataSocket->write(&kAcknowledgement, 1);
    dataSocket->flush();
    connectionMap[dataSocket].stage = StageConnectedHeader;
    emit q_ptr->receivedMessage(instanceId, message);
}

void SingleApplicationPrivate::slotClientConnectionClosed(QLocalSocket* closedSocket, quint32 instanceId) {
    const auto it = connectionMap.constFind(closedSocket);
    if (it != connectionMap.constEnd() && it->stage == StageConnectedBody &&
        closedSocket->bytesAvailable() > 0)
        slotDataAvailable(closedSocket, instanceId);
}

void SingleApplicationPrivate::randomSleep() {
    QThread::msleep(static_cast<unsigned long>(QRandomGenerator::global()->bounded(8, 18)));
}

void SingleApplicationPrivate::abortSafely(const char* message) {
    qCritical("%s", message);
    ::exit(EXIT_FAILURE);
}
