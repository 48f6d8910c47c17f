// Prompts of the clipboard: the format of a special paste and its delimiter.

#include "window/mainwindow.h"

#include "util/clipboardutilities.h"
#include "view/tableview.h"
#include "window/launcher.h"
#include "window/paneview.h"

void MainWindow::onPasteCellsSpecialPrompt() {
    if (!activeTable)
        return;
    std::vector<OptionData> options;
    for (const QString& format : Utilities::pasteFormats())
        options.push_back(OptionData{format, Utilities::pasteFormatDescription(format), {}, {}, {}});
    Launcher* launcher = makePromptLauncher(tr("Select Paste Format:"), QString());
    launcher->setOptions(options);
    connect(launcher, &Launcher::launcherResponseSignal, this,
            &MainWindow::onPasteCellsSpecialPromptReceived);
    paneView->setLauncher(launcher);
}

void MainWindow::onPasteCellsSpecialPromptReceived(const QString& response) {
    paneView->clearPrevOptionList();
    if (!activeTable || !Utilities::pasteFormats().contains(response))
        return;
    if (response == QLatin1String("Delimiter")) {
        onPasteDelimiterPrompt();
        return;
    }
    activeTable->pasteCellsWithFormat(response, QString());
}

void MainWindow::onPasteDelimiterPrompt() {
    if (!activeTable)
        return;
    Launcher* launcher = makePromptLauncher(tr("Paste with Delimiter:"),
                                            tr("One character, or a name.<br>Examples: <b>;</b>, <b>|</b>, "
                                               "<b>tab</b>, <b>comma</b>, <b>space</b>"));
    connect(launcher, &Launcher::launcherResponseSignal, this, &MainWindow::onPasteDelimiterPromptReceived);
    paneView->setLauncher(launcher);
}

void MainWindow::onPasteDelimiterPromptReceived(const QString& response) {
    paneView->clearPrevOptionList();
    QString delimiter;
    if (!activeTable)
        return;
    if (!Utilities::parsePasteDelimiterString(response, delimiter)) {
        // Not a delimiter: asked again, with the answer there to put right.
        askAgain(&MainWindow::onPasteDelimiterPrompt, response);
        return;
    }
    activeTable->pasteCellsWithFormat(QStringLiteral("Delimiter"), delimiter);
}
