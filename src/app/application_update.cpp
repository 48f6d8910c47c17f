// Application: the start-up report, the update check and its boxes (the network part is
// ExternalServer, on threads of its own).

#include "app/application.h"

#include "app/externalserver.h"
#include "util/msgbox.h"
#include "util/serviceutilities.h"
#include "window/mainwindow.h"

#include <QThread>

#include <algorithm>

namespace {

QString updateBoxTitle() {
    return QCoreApplication::translate("Application", "Check for Updates");
}

std::vector<MsgBox::Button> downloadButtons() {
    return {{QCoreApplication::translate("Application", "&Download"), QMessageBox::AcceptRole},
            {QCoreApplication::translate("Application", "&Close"), QMessageBox::RejectRole}};
}

} // namespace

void Application::startNetworkTasks() {
    startupData();
    if (mainWindow && mainWindow->getSettings().getValueBool(EnableCheckForUpdates))
        checkForUpdates(true, updateIgnoreVersion);
}

void Application::runOnNetworkThread(ExternalServer* server, void (ExternalServer::*start)()) {
    // Tasks whose thread has ended are forgotten.
    networkTasks.erase(std::remove_if(networkTasks.begin(), networkTasks.end(),
                                      [](const NetworkTask& task) { return !task.thread && !task.server; }),
                       networkTasks.end());
    auto* thread = new QThread;
    thread->setObjectName(QStringLiteral("Orvane network"));
    server->moveToThread(thread);
    connect(thread, &QThread::started, server, start, Qt::QueuedConnection);
    // The reply's end quits the thread; its end deletes both.
    connect(thread, &QThread::finished, server, &QObject::deleteLater);
    connect(thread, &QThread::finished, thread, &QObject::deleteLater);
    networkTasks.push_back({thread, server});
    thread->start(QThread::InheritPriority);
}

int Application::liveNetworkObjects() const {
    int count = 0;
    for (const NetworkTask& task : networkTasks)
        count += (task.thread ? 1 : 0) + (task.server ? 1 : 0);
    return count;
}

void Application::stopNetworkTasks() {
    for (const NetworkTask& task : networkTasks) {
        QThread* thread = task.thread;
        if (!thread)
            continue;
        // Its end deletes the server, which drops its request.
        thread->quit();
        if (!thread->wait(5000))
            continue;
        // The deletion asked for at its end needs an event loop that may not run again.
        delete thread;
    }
    networkTasks.clear();
}

void Application::startupData() {
    auto* server = new ExternalServer(QCoreApplication::applicationVersion(), true, updateIgnoreVersion);
    runOnNetworkThread(server, &ExternalServer::uploadStartupData);
}

void Application::checkForUpdates(bool startup, const QString& ignoreVersion) {
    auto* server = new ExternalServer(QCoreApplication::applicationVersion(), startup, ignoreVersion);
    connect(server, &ExternalServer::sameVersionWindowSignal, this, &Application::sameVersionWindow,
            Qt::QueuedConnection);
    connect(server, &ExternalServer::newVersionWindowSignal, this, &Application::newVersionWindow,
            Qt::QueuedConnection);
    // A failure at start stays silent.
    if (!startup)
        connect(server, &ExternalServer::networkErrorSignal, this, &Application::onNetworkError,
                Qt::QueuedConnection);
    runOnNetworkThread(server, &ExternalServer::checkForUpdates);
}

void Application::checkForUpdatesOnCommand() {
    checkForUpdates(false, updateIgnoreVersion);
}

void Application::sameVersionWindow() {
    if (!mainWindow)
        return;
    MsgBox::askTitled(mainWindow, updateBoxTitle(), tr("There are no updates available right now."),
                      {{QStringLiteral("Ok"), QMessageBox::AcceptRole}}, 0);
}

void Application::newVersionWindow(const QString& version) {
    if (!mainWindow)
        return;
    offeredVersion = version;
    bool dontAlert = true;
    MsgBox::Question question;
    question.title = updateBoxTitle();
    question.text = tr("Version %1 is available for download.\n").arg(version);
    question.buttons = downloadButtons();
    question.defaultButton = 0;
    question.checkBoxText = tr("Don't alert me again at startup about this version.");
    question.checked = &dontAlert;
    if (MsgBox::ask(mainWindow, question) == 0)
        onDownloadButtonClicked();
    updateDontBugMeState(dontAlert ? Qt::Checked : Qt::Unchecked);
}

void Application::updateDontBugMeState(int state) {
    // Unchecked, the version to ignore is our own, which no check finds newer: nothing ignored.
    updateIgnoreVersion = state == Qt::Checked && !offeredVersion.isEmpty()
                              ? offeredVersion
                              : QCoreApplication::applicationVersion();
    if (mainWindow)
        mainWindow->updateConfigFile();
}

void Application::onNetworkError(const QString& text) {
    if (!mainWindow)
        return;
    MsgBox::Question question;
    question.title = tr("Check for Updates- Network error");
    question.text = text;
    question.textFormat = Qt::RichText;
    question.buttons = downloadButtons();
    question.defaultButton = 0;
    if (MsgBox::ask(mainWindow, question) == 0)
        onDownloadButtonClicked();
}

void Application::onDownloadButtonClicked() {
    Utilities::openServicePage(Utilities::ServicePath::download);
}
