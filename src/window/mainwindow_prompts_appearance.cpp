// Prompts of the program's settings that take a name, a choice or a size: the text editor, what
// happens when a file changes on disk, the search engine and map, the font and the text size.
// Each answer is remembered in the settings file.

#include "window/mainwindow.h"

#include "preferences/preferencefiles.h"
#include "preferences/settingutilities.h"
#include "util/fileoptionutilities.h"
#include "view/tableview.h"
#include "window/launcher.h"
#include "window/paneview.h"

#include <QFontDatabase>

namespace {

// Sizes beyond this only make a table that shows a letter or two.
constexpr int kMaxTextSize = 200;

// A host or an address: something without blanks.
bool readHost(const QString& text, QString& host) {
    const QString body = text.trimmed();
    if (body.isEmpty() || body.contains(QLatin1Char(' ')))
        return false;
    host = body;
    return true;
}

std::vector<OptionData> namedOptions(const QStringList& hosts, const QString& current) {
    std::vector<OptionData> options;
    for (const QString& host : hosts) {
        OptionData option;
        option.option = host;
        if (host == current)
            option.description = QObject::tr("Now in use");
        options.push_back(std::move(option));
    }
    return options;
}

} // namespace

bool MainWindow::commandSetTextEditor(const QString&) {
    if (!activeTable)
        return false;
    Launcher* launcher = makePromptLauncher(
        tr("Text Editor:"),
        tr("The program that opens files as text: a name found on the PATH or a full path. "
           "Leave empty for the desktop's editor.<br>Examples: <b>gedit</b>, <b>/usr/bin/kate</b>"));
    launcher->setEditorText(settings.getValueString(TextEditor));
    connect(launcher, &Launcher::launcherResponseSignal, this, [this](const QString& response) {
        paneView->clearPrevOptionList();
        const QString editor = response.trimmed();
        settings.setValue(TextEditor,
                          editor.isEmpty() ? settings.get(TextEditor)->defaultValue : QVariant(editor));
        PreferenceFiles::writeSettingToFile(settings, TextEditor);
    });
    paneView->setLauncher(launcher);
    return true;
}

bool MainWindow::commandSetBehaviorWhenFileIsChangedExternally(const QString&) {
    if (!activeTable)
        return false;
    const QString current = Utilities::convertRefreshBehaviorTypeToString(
        settings.getValueRefreshBehavior(RefreshBehaviorOption));
    std::vector<OptionData> options;
    const QStringList descriptions{tr("Read the file again; unsaved changes ask first"),
                                   tr("Ask each time whether to read the file again"),
                                   tr("Keep the table as it is")};
    const std::vector<Utilities::NamedChoice> choices = Utilities::getRefreshBehaviorChoices();
    for (size_t i = 0; i < choices.size(); ++i) {
        OptionData option;
        option.option = choices[i].name;
        option.response = choices[i].response;
        option.description = descriptions.value(static_cast<qsizetype>(i));
        if (choices[i].response == current)
            option.description += tr(" (now in use)");
        options.push_back(std::move(option));
    }
    raiseChoicePrompt(tr("When a File Is Changed Externally:"), QString(), options, QString(),
                      [this](const QString& response) {
                          paneView->clearPrevOptionList();
                          RefreshBehavior behavior = RefreshBehaviorRefresh;
                          if (!Utilities::parseRefreshBehaviorAnswer(response, behavior))
                              return false;
                          settings.setValue(RefreshBehaviorOption, int(behavior));
                          PreferenceFiles::writeSettingToFile(settings, RefreshBehaviorOption);
                          return true;
                      });
    return true;
}

bool MainWindow::commandSetSearchEngine(const QString&) {
    if (!activeTable)
        return false;
    raiseChoicePrompt(
        tr("Search Engine:"),
        tr("Choose one, or type the address of another.<br>Example: <b>search.example.org</b>"),
        namedOptions(Utilities::getSearchEngineOptions(), settings.getValueString(SearchEngine)), QString(),
        [this](const QString& response) {
            paneView->clearPrevOptionList();
            QString host;
            if (!readHost(response, host))
                return false;
            settings.setValue(SearchEngine, host);
            PreferenceFiles::writeSettingToFile(settings, SearchEngine);
            return true;
        });
    return true;
}

bool MainWindow::commandSetOnlineMap(const QString&) {
    if (!activeTable)
        return false;
    raiseChoicePrompt(tr("Online Map:"),
                      tr("Choose one, or type the address of another.<br>Example: <b>maps.example.org</b>"),
                      namedOptions(Utilities::getOnlineMapOptions(), settings.getValueString(OnlineMap)),
                      QString(), [this](const QString& response) {
                          paneView->clearPrevOptionList();
                          QString host;
                          if (!readHost(response, host))
                              return false;
                          settings.setValue(OnlineMap, host);
                          PreferenceFiles::writeSettingToFile(settings, OnlineMap);
                          return true;
                      });
    return true;
}

bool MainWindow::commandSetFont(const QString&) {
    if (!activeTable)
        return false;
    const QString current = settings.getFont().family();
    const QStringList families = QFontDatabase::families();
    raiseChoicePrompt(tr("Font:"), tr("The font of the table's cells."), namedOptions(families, current),
                      QString(), [this, families](const QString& response) {
                          paneView->clearPrevOptionList();
                          const QString wanted = response.trimmed();
                          for (const QString& family : families) {
                              if (family.compare(wanted, Qt::CaseInsensitive) != 0)
                                  continue;
                              setFont(QFont(family));
                              PreferenceFiles::writeSettingToFile(settings, FontFamily);
                              return true;
                          }
                          return false;
                      });
    return true;
}

bool MainWindow::commandSetTextSize(const QString&) {
    if (!activeTable)
        return false;
    raiseNumberPrompt(tr("Text Size:"),
                      tr("In points, from 1 to %1. Now: <b>%2</b><br>Examples: <b>12</b>, <b>14</b>")
                          .arg(kMaxTextSize)
                          .arg(settings.getValueInt(TextSize)),
                      QString(), 1, kMaxTextSize, [this](int size) {
                          setTextSize(size);
                          PreferenceFiles::writeSettingToFile(settings, TextSize);
                      });
    return true;
}
