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

    // Holds the signals back from the start of the process until a watcher takes them (its
    // constructor lets them through), so that one arriving while the program starts is a
    // request it answers rather than the default action's end. `letThrough` is for a process
    // that makes no watcher.
    static void holdUntilWatched();
    static void letThrough();

signals:
    void terminationRequested(int signalNumber);

private:
    void onReadable();

    QSocketNotifier* notifier = nullptr;
};
