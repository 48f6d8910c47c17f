// Command slots of the Help menu: the tutorial table with its tour, the user guide, the
// changelog and the about box.

#include "window/mainwindow.h"

#include "table/tablemodel.h"
#include "table/tutorialtable.h"
#include "util/appdatautilities.h"
#include "util/msgbox.h"
#include "view/tableview.h"
#include "window/helpwindow.h"
#include "window/tutorialwindow.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QUrl>

namespace {

const QUrl kUserGuidePage(QStringLiteral("qrc:/help/userguide.html"));
const QUrl kChangelogPage(QStringLiteral("qrc:/help/changelog.html"));

// Raises the window if it exists, else makes it; one of each at a time.
HelpWindow* raiseHelpWindow(QPointer<HelpWindow>& held, QWidget* parent, const QString& title,
                            const QUrl& page, const Theme& theme) {
    if (!held) {
        held = new HelpWindow(title, page, theme, parent);
        // Over the middle of its main window, where the eye already is.
        const QRect frame = parent->frameGeometry();
        held->move(frame.center() - QPoint(held->width() / 2, held->height() / 2));
    }
    held->show();
    held->raise();
    held->activateWindow();
    return held;
}

} // namespace

// --- Tutorial -----------------------------------------------------------------------------------

void MainWindow::showTutorial() {
    const QString path = Utilities::getTutorialFilepath();
    if (!QFileInfo::exists(path)) {
        QDir().mkpath(QFileInfo(path).absolutePath());
        if (!TutorialTable::write(path)) {
            MsgBox::inform(
                this,
                tr("The tutorial table could not be written to:\n%1").arg(QDir::toNativeSeparators(path)));
            return;
        }
    }
    TableView* view = getTableView(path);
    if (!view) {
        openFiles({path});
        view = getTableView(path);
    }
    if (!view)
        return;
    setActiveTable(view);
    if (tutorialWindow && tutorialWindow->getTable() != view)
        closeTutorialWindow(tutorialWindow->getTable());
    if (!tutorialWindow) {
        tutorialWindow = new TutorialWindow(this, view, commands);
        addDockWidget(Qt::RightDockWidgetArea, tutorialWindow);
    }
    tutorialWindow->show();
    tutorialWindow->raise();
    view->setFocus();
}

TutorialWindow* MainWindow::getTutorialWindow() const {
    return tutorialWindow;
}

void MainWindow::closeTutorialWindow(const TableView* view) {
    if (!tutorialWindow || !view || tutorialWindow->getTable() != view)
        return;
    tutorialWindow->blockSignals(true);
    tutorialWindow->close();
    tutorialWindow = nullptr;
}

bool MainWindow::commandOpenTutorial(const QString&) {
    showTutorial();
    return tutorialWindow != nullptr;
}

bool MainWindow::commandRestoreTutorialToDefault(const QString&) {
    const QString path = Utilities::getTutorialFilepath();
    // Restoring is asking to lose the changes to the tutorial table, saved or not: the open
    // table goes without a question and comes back as it first was.
    if (TableView* open = getTableView(path))
        closeFileNoSave(open);
    QDir().mkpath(QFileInfo(path).absolutePath());
    if (!TutorialTable::write(path)) {
        MsgBox::inform(this, tr("File failed to save."));
        return false;
    }
    showTutorial();
    return true;
}

// --- Help pages ---------------------------------------------------------------------------------

HelpWindow* MainWindow::getDocumentationWindow() const {
    return documentationWindow;
}

HelpWindow* MainWindow::getChangelogWindow() const {
    return changelogWindow;
}

bool MainWindow::commandDocumentation(const QString&) {
    raiseHelpWindow(documentationWindow, this, tr("Orvane User Guide"), kUserGuidePage, settings.getTheme());
    return true;
}

void MainWindow::showChangelog() {
    raiseHelpWindow(changelogWindow, this, tr("Orvane Changelog"), kChangelogPage, settings.getTheme());
}

bool MainWindow::commandViewChangelog(const QString&) {
    showChangelog();
    return true;
}

bool MainWindow::commandAbout(const QString&) {
    MsgBox::inform(this, tr("Orvane %1\n\n"
                            "A table editor for delimited text files.\n\n"
                            "Built with Qt %2, running on Qt %3.\n\n"
                            "Licence: proprietary. All rights reserved.")
                             .arg(QCoreApplication::applicationVersion(), QStringLiteral(QT_VERSION_STR),
                                  QString::fromLatin1(qVersion())));
    return true;
}

// --- Updates ------------------------------------------------------------------------------------

bool MainWindow::commandCheckForUpdates(const QString&) {
    emit checkForUpdatesSignal();
    return true;
}
