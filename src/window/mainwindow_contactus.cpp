// Command slots of the Contact Us menu: each opens its page of the program's web service in the
// browser.

#include "window/mainwindow.h"

#include "util/serviceutilities.h"

bool MainWindow::commandReportABug(const QString&) {
    return Utilities::openServicePage(Utilities::ServicePath::reportBug);
}

bool MainWindow::commandRequestAFeature(const QString&) {
    return Utilities::openServicePage(Utilities::ServicePath::requestFeature);
}

bool MainWindow::commandTakeASurvey(const QString&) {
    return Utilities::openServicePage(Utilities::ServicePath::survey);
}

bool MainWindow::commandGeneralFeedbackQuestions(const QString&) {
    return Utilities::openServicePage(Utilities::ServicePath::feedback);
}
