#include "app/terminationsignalwatcher.h"

#include <QScopeGuard>
#include <QSocketNotifier>

#include <array>
#include <csignal>
#include <pthread.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

// [0] is written by the handler, [1] read on the event loop.
int signalSockets[2] = {-1, -1};
constexpr std::array<int, 2> kWatchedSignals = {SIGTERM, SIGHUP};

extern "C" void onTerminationSignal(int signalNumber) {
    const char byte = static_cast<char>(signalNumber);
    // Nothing else is async-signal-safe here; a full pipe means a request is pending anyway.
    [[maybe_unused]] const ssize_t written = ::write(signalSockets[0], &byte, 1);
}

void setHeld(bool held) {
    sigset_t set;
    sigemptyset(&set);
    for (const int signalNumber : kWatchedSignals)
        sigaddset(&set, signalNumber);
    pthread_sigmask(held ? SIG_BLOCK : SIG_UNBLOCK, &set, nullptr);
}

} // namespace

void TerminationSignalWatcher::holdUntilWatched() {
    setHeld(true);
}

void TerminationSignalWatcher::letThrough() {
    setHeld(false);
}

TerminationSignalWatcher::TerminationSignalWatcher(QObject* parent) : QObject(parent) {
    // A signal held back so far comes now, to the handler when it could be set up.
    const auto release = qScopeGuard([] { letThrough(); });
    if (signalSockets[0] != -1 || ::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, signalSockets) != 0)
        return;
    notifier = new QSocketNotifier(signalSockets[1], QSocketNotifier::Read, this);
    connect(notifier, &QSocketNotifier::activated, this, &TerminationSignalWatcher::onReadable);

    struct sigaction action = {};
    action.sa_handler = onTerminationSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    for (const int signalNumber : kWatchedSignals)
        sigaction(signalNumber, &action, nullptr);
}

TerminationSignalWatcher::~TerminationSignalWatcher() {
    if (!notifier)
        return;
    struct sigaction action = {};
    action.sa_handler = SIG_DFL;
    sigemptyset(&action.sa_mask);
    for (const int signalNumber : kWatchedSignals)
        sigaction(signalNumber, &action, nullptr);
    delete notifier;
    notifier = nullptr;
    ::close(signalSockets[0]);
    ::close(signalSockets[1]);
    signalSockets[0] = signalSockets[1] = -1;
}

void TerminationSignalWatcher::onReadable() {
    char byte = 0;
    if (::read(signalSockets[1], &byte, 1) == 1)
        emit terminationRequested(static_cast<unsigned char>(byte));
}
