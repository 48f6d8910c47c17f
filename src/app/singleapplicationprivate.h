#pragma once

#include "app/singleapplication.h"

#include <QByteArray>
#include <QHash>
#include <QObject>
#include <QString>
#include <QStringList>

#include <cstddef>

class QLocalServer;
class QLocalSocket;
class QSharedMemory;

// The block that every process of one name shares, 152 bytes in the machine's byte order.
struct InstancesInfo {
    bool primary;
    char reserved1[3];
    quint32 secondary;
    qint64 primaryPid;
    char primaryUser[128];
    quint16 checksum;
    char reserved2[6];
};
static_assert(sizeof(InstancesInfo) == 152);
static_assert(offsetof(InstancesInfo, secondary) == 4);
static_assert(offsetof(InstancesInfo, primaryPid) == 8);
static_assert(offsetof(InstancesInfo, primaryUser) == 16);
static_assert(offsetof(InstancesInfo, checksum) == 144);

// Where the primary stands with one connected process.
struct ConnectionInfo {
    quint64 msgLen = 0;
    quint32 instanceId = 0;
    quint8 stage = 0;
};

class SingleApplicationPrivate : public QObject {
    Q_OBJECT

public:
    enum ConnectionType : quint8 {
        InvalidConnection = 0,
        NewInstance = 1,
        SecondaryInstance = 2,
        Reconnect = 3
    };
    enum ConnectionStage : quint8 {
        StageInitHeader = 0,
        StageInitBody = 1,
        StageConnectedHeader = 2,
        StageConnectedBody = 3
    };
    static constexpr char kAcknowledgement = '\n';

    explicit SingleApplicationPrivate(SingleApplication* q);
    ~SingleApplicationPrivate() override;

    static QString getUsername();
    static quint16 blockChecksum(const InstancesInfo& info);
    // The init frame a process sends first: name, type, instance, checksum of what comes before.
    static QByteArray initMessage(const QByteArray& name, ConnectionType type, quint32 instance);

    void genBlockServerName();
    void initializeMemoryBlock() const;
    void startPrimary();
    void startSecondary();
    bool connectToPrimary(int msecs, ConnectionType connectionType);
    bool writeConfirmedMessage(int msecs, const QByteArray& message,
                               SingleApplication::SendMode sendMode = SingleApplication::NonBlocking);
    qint64 primaryPid() const;
    QString primaryUser() const;
    void readMessageHeader(QLocalSocket* socket, ConnectionStage nextStage);
    void readInitMessageBody(QLocalSocket* socket);
    bool isFrameComplete(QLocalSocket* socket);
    static void randomSleep();
    void addAppData(const QString& data) { appData.append(data); }
    [[noreturn]] static void abortSafely(const char* message);

    SingleApplication* q_ptr;
    QSharedMemory* memory = nullptr;
    QLocalSocket* socket = nullptr;
    QLocalServer* server = nullptr;
    quint32 instanceNumber = 0;
    QString blockServerName;
    SingleApplication::Options options;
    QHash<QLocalSocket*, ConnectionInfo> connectionMap;
    QStringList appData;

public slots:
    void slotConnectionEstablished();
    void slotDataAvailable(QLocalSocket* dataSocket, quint32 instanceId);
    void slotClientConnectionClosed(QLocalSocket* closedSocket, quint32 instanceId);
};
