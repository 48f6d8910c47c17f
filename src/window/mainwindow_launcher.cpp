// The command launcher: every command that can run now, typed by name.

#include "window/mainwindow.h"

#include "table/tablemodel.h"
#include "util/fileparameterutilities.h"
#include "view/tableview.h"
#include "window/launcher.h"
#include "window/paneview.h"

#include <QAction>

QString MainWindow::makeCommandLauncherName(const Command& command) {
    if (command.category == QStringLiteral("-"))
        return command.name;
    return QStringLiteral("%1: %2").arg(command.category, command.name);
}

Launcher* MainWindow::getLauncher() const {
    return paneView ? paneView->getLauncher() : nullptr;
}

bool MainWindow::commandCommandLauncher(const QString&) {
    if (!activeTable)
        return false;
    onCommandLauncher();
    return true;
}

void MainWindow::onCommandLauncher() {
    if (!activeTable)
        return;
    activeTable->stopEditing(true);
    const Settings tableSettings = activeTable->getSettings(false);
    std::vector<OptionData> options;
    options.reserve(commands.wiredCommands().size());
    // The list goes in the table's alphabetical order, not the menus'.
    for (const Command& command : commands.getCommands()) {
        if (!command.showInLauncher || !commands.isWired(command) || !command.matchesContext(context))
            continue;
        OptionData option;
        option.option = makeCommandLauncherName(command);
        option.shortcut = command.shortcut;
        option.value = commandValueText(command, tableSettings);
        options.push_back(std::move(option));
    }
    auto* launcher = new Launcher(settings, this);
    launcher->setQueryTitle(tr("Command:"));
    launcher->setOptions(options);
    connect(launcher, &Launcher::launcherResponseSignal, this,
            &MainWindow::onCommandLauncherResponseReceived);
    paneView->setInitialScrollBarLocations();
    paneView->setLauncher(launcher);
}

QString MainWindow::commandValueText(const Command& command, const Settings& tableSettings) const {
    if (command.setting == NoSetting)
        return QString();
    // The file parameters are the table's own, whatever the defaults for new tables say.
    if (activeModel) {
        const TableData& data = activeModel->getTableData();
        switch (command.setting) {
        case DelimiterLoad:
            return Utilities::convertDelimiterFromActualToShortReadable(data.getDelimiterText());
        case DelimiterSave:
            return Utilities::convertDelimiterFromActualToShortReadable(data.getSaveDelimiterText());
        case EncodingLoad:
        case EncodingSave:
            return Utilities::convertEncodingTypeToString(data.getEncoding());
        case LineEndingSave:
            return Utilities::convertLineEndingTypeToShortString(data.getLineEnding(), false);
        case ParsingStandardLoad:
        case ParsingStandardSave:
            return Utilities::convertParsingStandardToString(data.getParsingStandard());
        default:
            break;
        }
    }
    if (command.scope == Table)
        return tableSettings.convertValueToStringForFile(command.setting);
    if (command.scope == Global)
        return settings.convertValueToStringForFile(command.setting);
    return QString();
}

void MainWindow::onCommandLauncherResponseReceived(const QString& response) {
    paneView->clearPrevOptionList();
    for (const Command* command : commands.wiredCommands()) {
        if (makeCommandLauncherName(*command) != response)
            continue;
        if (command->action)
            command->action->activate(QAction::Trigger);
        return;
    }
}

void MainWindow::closeLauncher() {
    paneView->closeLauncher();
}

void MainWindow::onLauncherDestroyed() {
    // Back to the table that the launcher had the keys from.
    if (activeTable && !getLauncher())
        activeTable->setFocus();
}

Launcher* MainWindow::makePromptLauncher(const QString& title, const QString& description) {
    auto* launcher = new Launcher(settings, this);
    launcher->setQueryTitle(title);
    if (!description.isEmpty())
        launcher->setQueryDescription(description);
    return launcher;
}

QString MainWindow::getCellInputInstructions() const {
    const bool letters =
        activeTable && activeTable->getSettings(false).getValueBool(RepresentColumnsAsLetters);
    QString text = tr("Examples:");
    if (letters) {
        text += QStringLiteral("<br><b>25</b> -> Row 25, Current Column");
        text += QStringLiteral("<br><b>A8</b> or <b>8a</b> -> Row 8, Column A");
        text += QStringLiteral("<br><b>25 AB</b> or <b>ab25</b> or <b>ab, 25</b> -> Row 25, Column AB");
    } else {
        text += QStringLiteral("<br><b>25</b> or <b>r25</b> or <b>row25</b> -> Row 25, Current Column");
        text += QStringLiteral("<br><b>c8</b> or <b>col8</b> -> Column 8, Current Row");
        text += QStringLiteral("<br><b>25 8</b> or <b>r25, c8</b> or <b>c8 25</b> -> Row 25, Column 8");
    }
    return text;
}
