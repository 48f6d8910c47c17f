#pragma once

#include <QApplication>
#include <QByteArray>
#include <QFlags>
#include <QString>
#include <QStringList>

class SingleApplicationPrivate;

// One primary process per user and installed copy. A later process finds the primary through a
// shared memory block and hands it a message over a local socket that only the same user can
// reach; whether it then goes on running is its own choice.
class SingleApplication : public QApplication {
    Q_OBJECT

public:
    enum Mode { User = 1, System = 2, SecondaryNotification = 4, ExcludeAppVersion = 8, ExcludeAppPath = 16 };
    Q_DECLARE_FLAGS(Options, Mode)
    enum SendMode { NonBlocking = 0, BlockUntilPrimaryExits = 1 };

    SingleApplication(int& argc, char** argv, bool allowSecondary = false, Options mode = User,
                      int timeout = 1000, const QString& userData = {});
    ~SingleApplication() override;

    bool isPrimary() const;
    bool isSecondary() const;
    quint32 instanceId() const;
    qint64 primaryPid() const;
    QString primaryUser() const;
    QString currentUser() const;
    QStringList userData() const;

    // From a secondary process: `workingDirectory`, "<", then `message`, confirmed by the primary
    // within `timeout` ms. False in the primary and when the primary can't be reached.
    bool sendMessage(const QByteArray& message, const QString& workingDirectory, int timeout = 100,
                     SendMode sendMode = NonBlocking);

signals:
    void instanceStarted();
    void receivedMessage(quint32 instanceId, const QByteArray& message);

private:
    SingleApplicationPrivate* d = nullptr;
    friend class SingleApplicationPrivate;
};

Q_DECLARE_OPERATORS_FOR_FLAGS(SingleApplication::Options)
