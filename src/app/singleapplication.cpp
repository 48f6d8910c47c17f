#include "app/singleapplication.h"

#include "app/paintclock.h"
#include "app/singleapplicationprivate.h"

#include <QDebug>
#include <QElapsedTimer>
#include <QLocalServer>
#include <QSharedMemory>

namespace {
constexpr qint64 kInconsistentBlockLimitMs = 5000;
}

SingleApplication::SingleApplication(int& argc, char** argv, bool allowSecondary, Options mode, int timeout,
                                     const QString& userData)
    : QApplication(argc, argv), d(new SingleApplicationPrivate(this)) {
    PaintClock::mark("qt application");
    d->options = mode;
    if (!userData.isEmpty())
        d->addAppData(userData);
    d->genBlockServerName();
    // No wait before the first try: the block's lock orders processes that start together, and
    // one that finds the block half written waits a random while below before it looks again.

    // Attaching and letting go clears a block that a crashed process left behind, on systems
    // that keep one until its last user detaches.
    {
        QSharedMemory stale(d->blockServerName);
        if (stale.attach())
            stale.detach();
    }

    d->memory = new QSharedMemory(d->blockServerName);
    if (d->memory->create(static_cast<qsizetype>(sizeof(InstancesInfo)))) {
        if (!d->memory->lock())
            SingleApplicationPrivate::abortSafely(
                "SingleApplication: Unable to lock memory block after create.");
        d->initializeMemoryBlock();
    } else {
        if (d->memory->error() != QSharedMemory::AlreadyExists)
            SingleApplicationPrivate::abortSafely("SingleApplication: Unable to create block.");
        if (!d->memory->attach())
            SingleApplicationPrivate::abortSafely(
                "SingleApplication: Unable to attach to shared memory block.");
        if (!d->memory->lock())
            SingleApplicationPrivate::abortSafely(
                "SingleApplication: Unable to lock memory block after attach.");
    }

    auto* info = static_cast<InstancesInfo*>(d->memory->data());
    QElapsedTimer time;
    time.start();
    while (true) {
        if (SingleApplicationPrivate::blockChecksum(*info) == info->checksum) {
            if (!info->primary) {
                d->startPrimary();
                break;
            }
            if (!allowSecondary) {
                d->memory->unlock();
                d->connectToPrimary(timeout, SingleApplicationPrivate::NewInstance);
                delete d;
                d = nullptr;
                ::exit(EXIT_SUCCESS);
            }
            d->startSecondary();
            if (d->options.testFlag(SecondaryNotification))
                d->connectToPrimary(timeout, SingleApplicationPrivate::SecondaryInstance);
            break;
        }
        // A wrong checksum means another process is half way through writing the block; one that
        // stays wrong belongs to a process that died there.
        if (time.elapsed() > kInconsistentBlockLimitMs) {
            qWarning("SingleApplication: Shared memory block has been in an inconsistent state from more "
                     "than 5s. Assuming primary instance failure.");
            d->initializeMemoryBlock();
        }
        d->memory->unlock();
        SingleApplicationPrivate::randomSleep();
        if (!d->memory->lock())
            SingleApplicationPrivate::abortSafely(
                "SingleApplication: Unable to lock memory after random wait.");
    }
    d->memory->unlock();
}

SingleApplication::~SingleApplication() {
    delete d;
}

bool SingleApplication::isPrimary() const {
    return d->server != nullptr;
}

bool SingleApplication::isSecondary() const {
    return d->server == nullptr;
}

quint32 SingleApplication::instanceId() const {
    return d->instanceNumber;
}

qint64 SingleApplication::primaryPid() const {
    return d->primaryPid();
}

QString SingleApplication::primaryUser() const {
    return d->primaryUser();
}

QString SingleApplication::currentUser() const {
    return SingleApplicationPrivate::getUsername();
}

QStringList SingleApplication::userData() const {
    return d->appData;
}

bool SingleApplication::sendMessage(const QByteArray& message, const QString& workingDirectory, int timeout,
                                    SendMode sendMode) {
    if (isPrimary())
        return false;
    if (!d->connectToPrimary(timeout, SingleApplicationPrivate::Reconnect))
        return false;
    const QByteArray frame = workingDirectory.toUtf8() + '<' + message;
    return d->writeConfirmedMessage(timeout, frame, sendMode);
}
