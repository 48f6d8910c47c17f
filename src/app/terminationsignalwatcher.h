#pragma once

#include <QObject>

class QSocketNotifier;

// Turns SIGTERM and SIGHUP (a logout, `kill`, a closing terminal) into a Qt signal delivered by
// the event loop, so that the program can close its windows as File > Exit does: the window
// state is written and unsaved tables are asked about, instead of the process just vanishing.
// One watcher per process; the signal handler only writes a byte to a socket pair.
class TerminationSignalWatcher : public QObject {
    Q_OBJECT

public:
    explicit TerminationSignalWatcher(QObject* parent = nullptr);
    ~TerminationSignalWatcher() override;

    // False when the handlers could not be set up; the default actions then stay in force.
    bool isActive() const { return notifier != nullptr; }

signals:
    void terminationRequested(int signalNumber);

private:
    void onReadable();

    QSocketNotifier* notifier = nullptr;
};
