// Prompts of the File menu: renaming and duplicating the file, reading it again with another
// delimiter, encoding or parsing standard, and the parameters the next save writes with. Also the
// lists behind the status bar's labels.

#include "window/mainwindow.h"

#include "storage/abstractdatacontainer.h"
#include "table/tablemodel.h"
#include "table/tablemodelworker.h"
#include "util/fileoptionutilities.h"
#include "util/fileparameterutilities.h"
#include "util/msgbox.h"
#include "view/tableview.h"
#include "view/workerprogress.h"
#include "window/launcher.h"
#include "window/paneview.h"
#include "window/prevoptionwidget.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLocale>
#include <QUndoStack>

#include <optional>

namespace {

const QString kFileMissing = QStringLiteral("The file doesn't exist. Save it first.");

QString normalizedPath(const QString& path) {
    return QDir::cleanPath(QFileInfo(path).absoluteFilePath());
}

QString filepathOf(const TableView* view) {
    return view && view->tableModel() ? view->tableModel()->getTableData().getFilepath() : QString();
}

// A name beside `path` that nothing uses yet.
QString setAsideName(const QString& path) {
    for (int i = 0;; ++i) {
        const QString candidate = QStringLiteral("%1.replaced-%2").arg(path).arg(i);
        if (!QFileInfo::exists(candidate))
            return candidate;
    }
}

// Puts `source` in place of the existing `target`, moved or (with `keepSource`) copied. The old
// target is set aside first and put back if the new file can't take its place, so a failure
// never leaves the user with neither file.
bool replaceExistingFile(const QString& source, const QString& target, bool keepSource) {
    const QString aside = setAsideName(target);
    if (!QFile::rename(target, aside))
        return false;
    const bool placed = keepSource ? QFile::copy(source, target) : QFile::rename(source, target);
    if (!placed) {
        if (QFileInfo::exists(target))
            QFile::remove(target);
        QFile::rename(aside, target);
        return false;
    }
    QFile::remove(aside);
    return true;
}

std::vector<OptionData> choiceOptions(const std::vector<Utilities::NamedChoice>& choices,
                                      const QString& current) {
    std::vector<OptionData> options;
    options.reserve(choices.size());
    for (const Utilities::NamedChoice& choice : choices) {
        OptionData option;
        option.option = choice.name;
        option.response = choice.response;
        if (choice.response == current)
            option.description = QObject::tr("Now in use");
        options.push_back(std::move(option));
    }
    return options;
}

QString delimiterName(const QString& delimiter) {
    for (const Utilities::NamedChoice& choice : Utilities::getDelimiterChoices()) {
        if (choice.response == delimiter)
            return choice.name;
    }
    return delimiter;
}

QString lineEndingName(LineEndingType type) {
    const QString shortName = Utilities::convertLineEndingTypeToShortString(type, false);
    for (const Utilities::NamedChoice& choice : Utilities::getLineEndingChoices()) {
        if (choice.response == shortName)
            return choice.name;
    }
    return shortName;
}

const QString kDelimiterHelp = QStringLiteral("Choose one, or type any single character.<br>Examples: "
                                              "<b>;</b> or <b>semicolon</b>, <b>\\t</b> or <b>tab</b>");
const QString kEncodingHelp = QStringLiteral("Examples: <b>UTF-8</b>, <b>windows-1252</b>, <b>utf16le</b>");
const QString kStandardHelp =
    QStringLiteral("How quotes are read and written: <b>RFC 4180</b> quotes where needed, <b>All Quotes</b> "
                   "every cell, <b>Delimiter Only</b> never.");

// The file parameters of a table as they stand.
ExtensionData parametersOf(const TableView* view) {
    const TableModel* model = view->tableModel();
    const TableData& data = model->getTableData();
    ExtensionData record;
    record.extension = model->getExtension();
    record.delimiter = data.getDelimiterText();
    record.saveDelimiter = data.getSaveDelimiterText();
    record.lineEnding = data.getLineEnding();
    record.encoding = data.getEncoding();
    record.parsingStandard = data.getParsingStandard();
    return record;
}

// A new read delimiter carries the save delimiter along when the two were one.
void setReadDelimiter(ExtensionData& data, const QString& delimiter) {
    if (data.saveDelimiter.isEmpty() || data.saveDelimiter == data.delimiter)
        data.saveDelimiter = delimiter;
    data.delimiter = delimiter;
}

} // namespace

// --- Shared prompt pieces ------------------------------------------------------------------------

void MainWindow::raiseChoicePrompt(const QString& title, const QString& description,
                                   const std::vector<OptionData>& options, const QString& text,
                                   const std::function<bool(const QString&)>& take) {
    Launcher* launcher = makePromptLauncher(title, description);
    launcher->setOptions(options);
    if (!text.isEmpty())
        launcher->setEditorText(text);
    connect(launcher, &Launcher::launcherResponseSignal, this,
            [this, title, description, options, take](const QString& response) {
                if (take(response))
                    return;
                // An answer that doesn't read comes back in the prompt, to be put right.
                raiseChoicePrompt(title, description, options, response, take);
            });
    paneView->setLauncher(launcher);
}

// --- Rename --------------------------------------------------------------------------------------

bool MainWindow::commandRenameFile(const QString& path) {
    TableView* view = activeTableForEdit(path);
    if (!view)
        return false;
    const QString file = filepathOf(view);
    if (file.isEmpty() || !QFileInfo::exists(file)) {
        MsgBox::inform(this, kFileMissing);
        return false;
    }
    onRenameFilePrompt(view);
    return true;
}

void MainWindow::onRenameFilePrompt(TableView* view, const QString& text) {
    const QString file = filepathOf(view);
    if (file.isEmpty())
        return;
    const QFileInfo info(file);
    Launcher* launcher = makePromptLauncher(
        tr("Rename File:"),
        tr("A new name for <b>%1</b> in its folder. A file of that name already there is replaced only "
           "if you say so.")
            .arg(info.fileName().toHtmlEscaped()));
    if (text.isEmpty()) {
        launcher->setEditorText(info.fileName());
        launcher->setEditorSelection(0, static_cast<int>(info.completeBaseName().size()));
    } else {
        launcher->setEditorText(text);
    }
    connect(launcher, &Launcher::launcherResponseSignal, this,
            [this, target = QPointer<TableView>(view)](const QString& response) {
                onRenameFilePromptReceived(target, response);
            });
    paneView->setLauncher(launcher);
}

void MainWindow::onRenameFilePromptReceived(TableView* view, const QString& response) {
    paneView->clearPrevOptionList();
    const QString source = normalizedPath(filepathOf(view));
    if (!view || filepathOf(view).isEmpty() || !QFileInfo::exists(source)) {
        MsgBox::inform(this, kFileMissing);
        return;
    }
    const QString name = response.trimmed();
    if (name == QFileInfo(source).fileName())
        return;
    if (!Utilities::fileNameValid(name)) {
        onRenameFilePrompt(view, response);
        return;
    }
    const QString target = normalizedPath(QFileInfo(source).dir().filePath(name));
    if (!QFileInfo::exists(target)) {
        if (!renameFile(source, target))
            MsgBox::inform(this, tr("The file could not be renamed."));
        return;
    }
    if (refuseOpenTarget(target)) {
        onRenameFilePrompt(view, response);
        return;
    }
    switch (askOverwrite()) {
    case OverwriteAnswer::Overwrite:
        if (replaceExistingFile(source, target, false))
            movePathOfTable(source, target);
        else
            MsgBox::inform(this, tr("The file could not be renamed."));
        return;
    case OverwriteAnswer::DontOverwrite:
        onRenameFilePrompt(view, response);
        return;
    case OverwriteAnswer::Cancel:
        return;
    }
}

// --- Duplicate -----------------------------------------------------------------------------------

MainWindow::DuplicateResult MainWindow::tryDuplicateFile(const QString& path, const QString& newName) {
    const QString source = normalizedPath(path);
    if (newName.isEmpty())
        return DuplicateResult::Retry;
    if (newName == QFileInfo(source).fileName()) {
        MsgBox::inform(this, QStringLiteral("Choose a different name from the original."));
        return DuplicateResult::Retry;
    }
    if (path.isEmpty() || !QFileInfo::exists(source)) {
        MsgBox::inform(this, kFileMissing);
        return DuplicateResult::Stop;
    }
    if (!Utilities::fileNameValid(newName))
        return DuplicateResult::Retry;
    const QString target = normalizedPath(QFileInfo(source).dir().filePath(newName));
    if (QFileInfo::exists(target)) {
        if (refuseOpenTarget(target))
            return DuplicateResult::Retry;
        switch (askOverwrite()) {
        case OverwriteAnswer::Overwrite:
            break;
        case OverwriteAnswer::DontOverwrite:
            return DuplicateResult::Retry;
        case OverwriteAnswer::Cancel:
            return DuplicateResult::Stop;
        }
        if (!replaceExistingFile(source, target, true)) {
            MsgBox::inform(this, tr("The file could not be copied."));
            return DuplicateResult::Stop;
        }
    } else if (!QFile::copy(source, target)) {
        MsgBox::inform(this, tr("The file could not be copied."));
        return DuplicateResult::Stop;
    }
    openFile(target);
    return DuplicateResult::Done;
}

bool MainWindow::commandDuplicateFile(const QString& path) {
    TableView* view = activeTableForEdit(path);
    if (!view)
        return false;
    const QString file = filepathOf(view);
    if (file.isEmpty() || !QFileInfo::exists(file)) {
        MsgBox::inform(this, kFileMissing);
        return false;
    }
    onDuplicateFilePrompt(view);
    return true;
}

void MainWindow::onDuplicateFilePrompt(TableView* view) {
    const QString file = filepathOf(view);
    if (file.isEmpty())
        return;
    const QFileInfo info(file);
    const QString proposed = Utilities::makeDuplicateFileName(info.fileName());
    Launcher* launcher =
        makePromptLauncher(tr("Duplicate File Name:"),
                           tr("A copy of <b>%1</b> goes in the same folder under this name and opens.")
                               .arg(info.fileName().toHtmlEscaped()));
    // The prompt stays through a failed answer, with the text as the user left it.
    launcher->setCloseOnResponse(false);
    launcher->setEditorText(proposed);
    launcher->setEditorSelection(0, static_cast<int>(QFileInfo(proposed).completeBaseName().size()));
    connect(launcher, &Launcher::launcherResponseWithStateSignal, this,
            [this, target = QPointer<TableView>(view)](const QString& response, int selectionStart,
                                                       int selectionLength, int cursorPosition) {
                onDuplicateFilePromptReceived(target, response, selectionStart, selectionLength,
                                              cursorPosition);
            });
    paneView->setLauncher(launcher);
}

void MainWindow::onDuplicateFilePromptReceived(TableView* view, const QString& response, int selectionStart,
                                               int selectionLength, int cursorPosition) {
    QPointer<Launcher> launcher = qobject_cast<Launcher*>(sender());
    paneView->clearPrevOptionList();
    const DuplicateResult result =
        view ? tryDuplicateFile(filepathOf(view), response.trimmed()) : DuplicateResult::Stop;
    if (!launcher)
        return;
    if (result != DuplicateResult::Retry) {
        launcher->closeLauncher();
        return;
    }
    launcher->putFocusInPromptEditor();
    if (selectionLength > 0)
        launcher->setEditorSelection(selectionStart, selectionLength);
    else
        launcher->setEditorCursorPosition(cursorPosition);
}

// --- Reload with other parameters ----------------------------------------------------------------

bool MainWindow::reloadFileWithParameters(TableView* view, const ExtensionData& parameters) {
    if (!view || !view->confirmDiscardUnsavedEditsForReload())
        return false;
    const QString file = filepathOf(view);
    if (file.isEmpty() || !QFileInfo::exists(file)) {
        MsgBox::inform(this, kFileMissing);
        return false;
    }
    TableModel* model = view->tableModel();
    const ExtensionData before = parametersOf(view);
    model->setDelimiter(parameters.delimiter, parameters.saveDelimiter);
    TableData& data = model->getTableData();
    // The stored bytes are the file's own: read them as the new encoding, don't convert them.
    data.setEncoding(parameters.encoding, false);
    data.setParsingStandard(parameters.parsingStandard);
    // A choice made here survives a later save under another extension.
    if (parameters.delimiter != before.delimiter)
        model->setUserSetDelimiter(true);
    if (parameters.encoding != before.encoding)
        model->setUserSetEncoding(true);
    if (parameters.parsingStandard != before.parsingStandard)
        model->setUserSetParsingStandard(true);
    retainFiltersForReload(view);
    view->loadCSV(file, QFileInfo(file).size() > AbstractDataContainer::kProgressThreshold);
    view->undoStack()->clear();
    view->markClean();
    recordWatchedFileState(file);
    if (view == activeTable)
        updateStatusBar();
    return true;
}

namespace {

// The chains ask one parameter a step; each step knows its question, its list and how to put
// an answer into the record.
struct ParameterStep {
    QString title;
    QString description;
    std::function<std::vector<OptionData>(const ExtensionData&)> options;
    std::function<bool(const QString&, ExtensionData&, QString&)> take; // also gives the bar's text
};

ParameterStep delimiterStep(bool forSave) {
    return {forSave ? QObject::tr("Delimiter for File Save:") : QObject::tr("Delimiter:"), kDelimiterHelp,
            [forSave](const ExtensionData& d) {
                return choiceOptions(Utilities::getDelimiterChoices(),
                                     forSave ? d.saveDelimiter : d.delimiter);
            },
            [forSave](const QString& text, ExtensionData& d, QString& shown) {
                QString delimiter;
                if (!Utilities::parseDelimiterAnswer(text, delimiter))
                    return false;
                if (forSave)
                    d.saveDelimiter = delimiter;
                else
                    setReadDelimiter(d, delimiter);
                shown = delimiterName(delimiter);
                return true;
            }};
}

ParameterStep encodingStep(bool forSave) {
    return {forSave ? QObject::tr("Encoding for File Save:") : QObject::tr("Encoding:"), kEncodingHelp,
            [](const ExtensionData& d) {
                return choiceOptions(Utilities::getEncodingChoices(),
                                     Utilities::convertEncodingTypeToString(d.encoding));
            },
            [](const QString& text, ExtensionData& d, QString& shown) {
                if (!Utilities::parseEncodingAnswer(text, d.encoding))
                    return false;
                shown = Utilities::convertEncodingTypeToString(d.encoding);
                return true;
            }};
}

ParameterStep standardStep(bool forSave) {
    return {forSave ? QObject::tr("Parsing Standard for File Save:") : QObject::tr("Parsing Standard:"),
            kStandardHelp,
            [](const ExtensionData& d) {
                return choiceOptions(Utilities::getParsingStandardChoices(),
                                     Utilities::convertParsingStandardToString(d.parsingStandard));
            },
            [](const QString& text, ExtensionData& d, QString& shown) {
                if (!Utilities::parseParsingStandardAnswer(text, d.parsingStandard))
                    return false;
                shown = Utilities::convertParsingStandardToString(d.parsingStandard);
                return true;
            }};
}

ParameterStep lineEndingStep() {
    return {QObject::tr("Line Ending for File Save:"), QString(),
            [](const ExtensionData& d) {
                return choiceOptions(Utilities::getLineEndingChoices(),
                                     Utilities::convertLineEndingTypeToShortString(d.lineEnding, false));
            },
            [](const QString& text, ExtensionData& d, QString& shown) {
                if (!Utilities::parseLineEndingAnswer(text, d.lineEnding))
                    return false;
                shown = lineEndingName(d.lineEnding);
                return true;
            }};
}

using Steps = std::shared_ptr<const std::vector<ParameterStep>>;
using Finish = std::function<void(TableView*, const ExtensionData&)>;

void raiseParameterStep(MainWindow* window, const Steps& steps, size_t index, QPointer<TableView> view,
                        const ExtensionData& data, const Finish& finish) {
    if (!view)
        return;
    const ParameterStep& step = (*steps)[index];
    PaneView* pane = window->getPaneView();
    auto* launcher = new Launcher(window->getSettings(), window);
    launcher->setQueryTitle(step.title);
    if (!step.description.isEmpty())
        launcher->setQueryDescription(step.description);
    launcher->setOptions(step.options(data));
    QObject::connect(launcher, &Launcher::launcherResponseSignal, window,
                     [window, steps, index, view, data, finish](const QString& response) {
                         if (!view)
                             return;
                         ExtensionData next = data;
                         QString shown;
                         const ParameterStep& answered = (*steps)[index];
                         if (!answered.take(response, next, shown)) {
                             raiseParameterStep(window, steps, index, view, data, finish);
                             if (Launcher* again = window->getLauncher())
                                 again->setEditorText(response);
                             return;
                         }
                         if (index + 1 == steps->size()) {
                             window->getPaneView()->clearPrevOptionList();
                             finish(view, next);
                             return;
                         }
                         // A click on the bar asks this step again, with what stood before it.
                         auto* bar = new PrevOptionWidget(answered.title, shown);
                         bar->propagateSettings(window->getSettings());
                         QObject::connect(bar, &PrevOptionWidget::expandThisSignal, window,
                                          [window, steps, index, view, data, finish] {
                                              raiseParameterStep(window, steps, index, view, data, finish);
                                          });
                         window->getPaneView()->addPrevOption(bar);
                         raiseParameterStep(window, steps, index + 1, view, next, finish);
                     });
    pane->setLauncher(launcher);
}

} // namespace

bool MainWindow::commandReloadFileWithDifferentParameters(const QString& path) {
    TableView* view = activeTableForEdit(path);
    if (!view)
        return false;
    paneView->clearPrevOptionList();
    const auto steps = std::make_shared<const std::vector<ParameterStep>>(
        std::vector<ParameterStep>{delimiterStep(false), encodingStep(false), standardStep(false)});
    raiseParameterStep(
        this, steps, 0, view, parametersOf(view),
        [this](TableView* table, const ExtensionData& data) { reloadFileWithParameters(table, data); });
    return true;
}

namespace {

// One step of the reload chain, asked on its own under the command's title.
void raiseReloadStep(MainWindow* window, TableView* view, ParameterStep step, const QString& title) {
    step.title = title;
    window->getPaneView()->clearPrevOptionList();
    const auto steps =
        std::make_shared<const std::vector<ParameterStep>>(std::vector<ParameterStep>{std::move(step)});
    raiseParameterStep(window, steps, 0, view, parametersOf(view),
                       [window](TableView* table, const ExtensionData& data) {
                           window->reloadFileWithParameters(table, data);
                       });
}

} // namespace

bool MainWindow::commandReloadFileWithDelimiter(const QString& path) {
    TableView* view = activeTableForEdit(path);
    if (!view)
        return false;
    raiseReloadStep(this, view, delimiterStep(false), tr("Reload File with Delimiter:"));
    return true;
}

bool MainWindow::commandReloadFileWithEncoding(const QString& path) {
    TableView* view = activeTableForEdit(path);
    if (!view)
        return false;
    raiseReloadStep(this, view, encodingStep(false), tr("Reload File with Encoding:"));
    return true;
}

bool MainWindow::commandReloadFileWithParsingStandard(const QString& path) {
    TableView* view = activeTableForEdit(path);
    if (!view)
        return false;
    raiseReloadStep(this, view, standardStep(false), tr("Reload File with Parsing Standard:"));
    return true;
}

// --- Parameters of the next save -------------------------------------------------------------------

namespace {

// From this many cells on, the look for text an encoding can't write runs behind a progress
// dialog: a large table takes seconds.
constexpr qint64 kCheckedCellsInPlace = 100000;

// How many cells of the table hold text `type` can't write; -1 when the user canceled the look.
qint64 cellsLostInEncoding(TableView* view, EncodingType type) {
    TableModel* model = view->tableModel();
    const bool useThread = qint64(model->rowCountModel()) * model->columnCountModel() >= kCheckedCellsInPlace;
    std::optional<WorkerProgress> progress;
    if (useThread)
        progress.emplace(view, model, QObject::tr("Checking the cells..."), QObject::tr("Encoding"));
    qint64 lost = 0;
    const bool finished = model->readCellsOnWorker(
        [&](TableModelWorker& worker) {
            lost = model->getTableData().countCellsLostInEncoding(type, &worker);
            return lost >= 0;
        },
        useThread);
    return finished ? lost : -1;
}

// Each parameter that differs is one undo step; several go as one. A read-only table has no
// undo history: its parameters are set outright.
void applySaveParameters(TableView* view, ExtensionData data) {
    TableModel* model = view->tableModel();
    const ExtensionData now = parametersOf(view);
    TableData& table = model->getTableData();
    // Text the new encoding has no codes for would come out as "?": only when the user says so.
    // A canceled look keeps the encoding too.
    if (data.encoding != now.encoding) {
        if (const qint64 lost = cellsLostInEncoding(view, data.encoding); lost < 0) {
            data.encoding = now.encoding;
        } else if (lost > 0) {
            const QString cells = lost == 1 ? QObject::tr("1 cell holds")
                                            : QObject::tr("%1 cells hold").arg(QLocale().toString(lost));
            const QString text = QObject::tr("%1 characters that %2 can't write: they would become \"?\".\n\n"
                                             "Change the encoding anyway?")
                                     .arg(cells, Utilities::convertEncodingTypeToString(data.encoding));
            if (MsgBox::ask(
                    view, text,
                    {{QObject::tr("&Change Encoding"), QMessageBox::AcceptRole},
                     {QObject::tr("&Keep %1").arg(Utilities::convertEncodingTypeToString(now.encoding)),
                      QMessageBox::RejectRole}},
                    1) != 0)
                data.encoding = now.encoding;
        }
    }
    if (view->isReadOnly()) {
        table.setLineEnding(data.lineEnding);
        table.setParsingStandard(data.parsingStandard);
        model->setUserSetLineEnding(data.lineEnding != now.lineEnding || model->getUserSetLineEnding());
        model->setUserSetParsingStandard(data.parsingStandard != now.parsingStandard ||
                                         model->getUserSetParsingStandard());
        return;
    }
    const int changes = int(data.saveDelimiter != now.saveDelimiter) +
                        int(data.lineEnding != now.lineEnding) + int(data.encoding != now.encoding) +
                        int(data.parsingStandard != now.parsingStandard);
    if (changes == 0)
        return;
    QUndoStack* stack = view->undoStack();
    if (changes > 1)
        stack->beginMacro(QObject::tr("Set Parameters for File Save"));
    if (data.saveDelimiter != now.saveDelimiter && view->setDelimiterForFileSave(data.saveDelimiter))
        model->setUserSetDelimiter(true);
    if (data.lineEnding != now.lineEnding && view->setLineEndingForFileSave(data.lineEnding))
        model->setUserSetLineEnding(true);
    if (data.encoding != now.encoding && view->setEncodingForFileSave(data.encoding))
        model->setUserSetEncoding(true);
    if (data.parsingStandard != now.parsingStandard &&
        view->setParsingStandardForFileSave(data.parsingStandard))
        model->setUserSetParsingStandard(true);
    if (changes > 1)
        stack->endMacro();
}

} // namespace

bool MainWindow::commandSetParametersForFileSave(const QString& path) {
    TableView* view = activeTableForEdit(path);
    if (!view)
        return false;
    paneView->clearPrevOptionList();
    const auto steps = std::make_shared<const std::vector<ParameterStep>>(std::vector<ParameterStep>{
        delimiterStep(true), lineEndingStep(), encodingStep(true), standardStep(true)});
    raiseParameterStep(this, steps, 0, view, parametersOf(view),
                       [this](TableView* table, const ExtensionData& data) {
                           applySaveParameters(table, data);
                           if (table == activeTable)
                               updateStatusBar();
                       });
    return true;
}

namespace {

// A single save parameter: the one step, applied at once.
bool raiseSaveParameterStep(MainWindow* window, TableView* view, ParameterStep step,
                            const std::function<void()>& after) {
    if (!view)
        return false;
    window->getPaneView()->clearPrevOptionList();
    const auto steps =
        std::make_shared<const std::vector<ParameterStep>>(std::vector<ParameterStep>{std::move(step)});
    raiseParameterStep(window, steps, 0, view, parametersOf(view),
                       [after](TableView* table, const ExtensionData& data) {
                           applySaveParameters(table, data);
                           after();
                       });
    return true;
}

} // namespace

bool MainWindow::commandSetDelimiterForFileSave(const QString& path) {
    TableView* view = tableForEdit(path);
    if (view && view != activeTable)
        setActiveTable(view);
    return raiseSaveParameterStep(this, view, delimiterStep(true), [this] { updateStatusBar(); });
}

bool MainWindow::commandSetLineEndingForFileSave(const QString& path) {
    TableView* view = tableForEdit(path);
    if (view && view != activeTable)
        setActiveTable(view);
    return raiseSaveParameterStep(this, view, lineEndingStep(), [this] { updateStatusBar(); });
}

bool MainWindow::commandSetEncodingForFileSave(const QString& path) {
    TableView* view = tableForEdit(path);
    if (view && view != activeTable)
        setActiveTable(view);
    return raiseSaveParameterStep(this, view, encodingStep(true), [this] { updateStatusBar(); });
}

bool MainWindow::commandSetParsingStandardForFileSave(const QString& path) {
    TableView* view = tableForEdit(path);
    if (view && view != activeTable)
        setActiveTable(view);
    return raiseSaveParameterStep(this, view, standardStep(true), [this] { updateStatusBar(); });
}

// --- The status bar's lists ------------------------------------------------------------------------

void MainWindow::raiseCommandListPrompt(const QString& title,
                                        const std::function<bool(const Command&)>& wanted) {
    if (!activeTable)
        return;
    activeTable->stopEditing(true);
    const Settings tableSettings = activeTable->getSettings(false);
    std::vector<OptionData> options;
    for (const Command* command : commands.wiredCommands()) {
        if (!command->showInLauncher || !command->matchesContext(context) || !wanted(*command))
            continue;
        OptionData option;
        option.option = makeCommandLauncherName(*command);
        option.shortcut = command->shortcut;
        option.value = commandValueText(*command, tableSettings);
        options.push_back(std::move(option));
    }
    Launcher* launcher = makePromptLauncher(title, QString());
    launcher->setOptions(options);
    connect(launcher, &Launcher::launcherResponseSignal, this,
            &MainWindow::onCommandLauncherResponseReceived);
    paneView->setInitialScrollBarLocations();
    paneView->setLauncher(launcher);
}

void MainWindow::onFileModeOptionsPrompt() {
    raiseCommandListPrompt(tr("File Mode Commands:"), [](const Command& c) {
        return c.setting == ReadOnly || c.setting == SaveAfterEachEdit ||
               c.name.contains(QLatin1String("Read-Only"));
    });
}

void MainWindow::onEncodingOptionsPrompt() {
    raiseCommandListPrompt(tr("Encoding Commands:"), [](const Command& c) {
        return c.setting == EncodingLoad || c.setting == EncodingSave ||
               c.name.contains(QLatin1String("Encoding"));
    });
}

void MainWindow::onDelimiterOptionsPrompt() {
    raiseCommandListPrompt(tr("Delimiter Commands:"), [](const Command& c) {
        return c.setting == DelimiterLoad || c.setting == DelimiterSave ||
               c.setting == SaveWithTrailingDelimiters || c.name.contains(QLatin1String("Delimiter"));
    });
}

void MainWindow::onLineEndingOptionsPrompt() {
    if (!activeTable)
        return;
    activeTable->stopEditing(true);
    commandSetLineEndingForFileSave();
}

void MainWindow::onTableDimensionsOptionsPrompt() {
    raiseCommandListPrompt(tr("Table Dimensions Commands:"), [](const Command& c) {
        return c.setting == MinTableRows || c.setting == MinTableColumns || c.setting == BufferRows ||
               c.setting == BufferColumns || c.setting == RemoveExtraneousRowsColumns ||
               c.name.contains(QLatin1String("Extraneous"));
    });
}

bool MainWindow::commandOpenRecentFile(const QString&) {
    std::vector<OptionData> options;
    for (const QString& path : recentFilepathList) {
        OptionData option;
        const QFileInfo info(path);
        option.option = info.fileName();
        option.description = QDir::toNativeSeparators(info.absolutePath());
        if (getTableView(path))
            option.description += tr(" (open)");
        option.response = path;
        options.push_back(std::move(option));
    }
    raiseChoicePrompt(tr("Open Recent File:"),
                      options.empty() ? tr("No file has been opened yet.") : QString(), options, QString(),
                      [this](const QString& response) {
                          if (!recentFilepathList.contains(response))
                              return false;
                          openRecentFile(response);
                          return true;
                      });
    return true;
}
