// Opening, saving, closing and reloading tables.

#include "window/mainwindow.h"

#include "app/paintclock.h"
#include "window/findreplacewidget.h"

#include "panes/sidebar.h"
#include "panes/tabbar.h"
#include "preferences/defaultextensions.h"
#include "storage/abstractdatacontainer.h"
#include "storage/editabledatacontainer.h"
#include "storage/filesniffer.h"
#include "table/tablemodel.h"
#include "util/fileparameterutilities.h"
#include "util/msgbox.h"
#include "view/tableview.h"
#include "window/filedialoghelper.h"
#include "window/paneview.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QPointer>
#include <QSplitter>
#include <QUndoStack>

namespace {

const QString kAuto = QStringLiteral("(auto)");
const QString kNoExtension = QStringLiteral("(none)");

QString normalizedPath(const QString& path) {
    return QDir::cleanPath(QFileInfo(path).absoluteFilePath());
}

bool isAutoDelimiter(const QString& text) {
    return text.isEmpty() || text.compare(kAuto, Qt::CaseInsensitive) == 0;
}

QString extensionOf(const QString& path) {
    const QString suffix = QFileInfo(path).suffix();
    return suffix.isEmpty() ? kNoExtension : suffix;
}

QString filepathOf(const TableView* view) {
    return view && view->tableModel() ? view->tableModel()->getTableData().getFilepath() : QString();
}

// Puts a parameter record on a fresh table, before its load.
void applyExtensionData(TableView* view, const ExtensionData& record) {
    TableModel* model = view->tableModel();
    model->setExtension(record.extension);
    model->setDelimiter(record.delimiter, record.saveDelimiter);
    model->setUserSetLineEnding(false);
    TableData& data = model->getTableData();
    data.setLineEnding(record.lineEnding);
    data.setEncoding(record.encoding, false);
    data.setParsingStandard(record.parsingStandard);
}

} // namespace

// --- Extension table ----------------------------------------------------------------------------

ExtensionData MainWindow::getExtensionDataFromFileExtension(const QString& extension) const {
    const QString wanted = extension.toLower();
    for (const ExtensionData& data : extensions) {
        if (data.extension == wanted)
            return data;
    }
    ExtensionData unknown;
    unknown.extension = wanted;
    unknown.delimiter.clear();
    unknown.saveDelimiter.clear();
    return unknown;
}

QString MainWindow::getDelimiterFromFileExtension(const QString& extension, bool forLoad,
                                                  bool ignoreActiveTable) const {
    const QString wanted = extension.toLower();
    const auto it = std::find_if(extensions.begin(), extensions.end(),
                                 [&wanted](const ExtensionData& data) { return data.extension == wanted; });
    if (it != extensions.end()) {
        const QString text = forLoad ? it->delimiter : it->saveDelimiter;
        if (!isAutoDelimiter(text)) {
            if (Utilities::delimiterValid(text))
                return Utilities::convertDelimiterFromShortReadableToActual(text);
            if (forLoad)
                return QStringLiteral(",");
            return getDelimiterFromFileExtension(extension, true, ignoreActiveTable);
        }
    }
    const QString activePath = filepathOf(activeTable);
    if (ignoreActiveTable || activePath.isEmpty())
        return QStringLiteral(",");
    return QString(QChar::fromLatin1(Utilities::getDelimiterFromAutoDetect(activePath)));
}

LineEndingType MainWindow::getLineEndingFromFileExtension(const QString& extension) const {
    return getExtensionDataFromFileExtension(extension).lineEnding;
}

EncodingType MainWindow::getEncodingFromFileExtension(const QString& extension) const {
    return getExtensionDataFromFileExtension(extension).encoding;
}

ParsingStandard MainWindow::getParsingStandardFromFileExtension(const QString& extension) const {
    return getExtensionDataFromFileExtension(extension).parsingStandard;
}

ExtensionData MainWindow::findFileParameters(ExtensionData data, const QString& path, bool forceByteOrder) {
    const bool noExtension = data.extension.isEmpty();
    const auto detected = [&path] {
        return QString(QChar::fromLatin1(Utilities::getDelimiterFromAutoDetect(path)));
    };

    QString load = data.delimiter;
    if (noExtension || isAutoDelimiter(load))
        load = detected();
    if (!Utilities::delimiterValid(load))
        load = QStringLiteral(",");

    QString save = data.saveDelimiter;
    if (noExtension || isAutoDelimiter(save))
        save = detected();
    if (!Utilities::delimiterValid(save))
        save = load;

    data.delimiter = Utilities::convertDelimiterFromShortReadableToActual(load);
    data.saveDelimiter = Utilities::convertDelimiterFromShortReadableToActual(save);

    if (data.encoding == UTF_16 || data.encoding == UTF_32) {
        data.encoding = Utilities::getEncodingFromBom(data.encoding, path);
        if (forceByteOrder && data.encoding == UTF_16)
            data.encoding = UTF_16LE;
        else if (forceByteOrder && data.encoding == UTF_32)
            data.encoding = UTF_32LE;
    }
    return data;
}

ExtensionData MainWindow::takeParametersFromFile(ExtensionData data, const QString& path) {
    // What the file shows of itself wins over the extension's defaults. Text that isn't UTF-8
    // is taken for Windows-1252 only where the defaults expected UTF-8.
    const char delimiter = data.delimiter.isEmpty() ? '\0' : data.delimiter.at(0).toLatin1();
    const FileSniffer::Findings found = FileSniffer::sniffFile(path, delimiter);
    if (found.encodingFound && (found.encoding != WINDOWS_1252 || data.encoding == UTF_8))
        data.encoding = found.encoding;
    if (found.lineEndingFound)
        data.lineEnding = found.lineEnding;
    // The quoting style only stands in for the common default, never for a standard chosen.
    if (found.standardFound && data.parsingStandard == RFC_4180)
        data.parsingStandard = found.standard;
    return data;
}

QString MainWindow::getFiletypeFilter(bool forOpen) const {
    QStringList parts;
    if (forOpen) {
        QStringList patterns;
        for (const ExtensionData& data : extensions) {
            const QString ext = data.extension.toLower();
            const QString pattern =
                ext.isEmpty() || ext == kNoExtension ? QStringLiteral("*") : QStringLiteral("*.%1").arg(ext);
            if (!patterns.contains(pattern))
                patterns.append(pattern);
        }
        parts << QStringLiteral("Table Files (%1)").arg(patterns.join(QLatin1Char(' ')))
              << QStringLiteral("All Files (*.*)");
    } else {
        parts << QStringLiteral("All Files (*.*)");
        for (const ExtensionData& data : extensions) {
            if (data.extension.isEmpty() || data.extension == kNoExtension)
                continue;
            parts << QStringLiteral("%1 File (*.%2)").arg(data.extension.toUpper(), data.extension.toLower());
        }
        parts << QStringLiteral("No Extension (*.)");
    }
    return parts.join(QStringLiteral(";;"));
}

// --- Table objects ------------------------------------------------------------------------------

TableView* MainWindow::makeEmptyTableObject(const Settings& tableSettings) {
    auto* model = new TableModel(true, nullptr);
    // Parented to the table stack at once, so that no load can show it as a window of its own.
    auto* view = new TableView(paneView->getTableStackWidget());
    view->setupContextMenus(commands);
    view->setModel(model);
    model->setParent(view);

    model->setDelimiter(getDelimiterFromFileExtension(QStringLiteral("csv"), true, true),
                        getDelimiterFromFileExtension(QStringLiteral("csv"), false, true));
    model->setUserSetLineEnding(false);
    TableData& data = model->getTableData();
    data.setLineEnding(getLineEndingFromFileExtension(QStringLiteral("csv")));
    data.setEncoding(getEncodingFromFileExtension(QStringLiteral("csv")), false);
    data.setParsingStandard(getParsingStandardFromFileExtension(QStringLiteral("csv")));
    data.setSaveWithTrailingDelimiters(tableSettings.getValueBool(SaveWithTrailingDelimiters));
    view->propagateSettings(tableSettings);

    connect(view, &TableView::undoStackCleanChangedSignal, this, &MainWindow::onUndoStackCleanChanged);
    connect(view, &TableView::showEditorPaneSignal, this, &MainWindow::showEditorPane);
    connect(view, &TableView::fileMetadataChangedSignal, this, [this, view] {
        if (view == activeTable)
            updateStatusBar();
    });
    // An edit, undo or redo changes the numbers the status bar adds up. Queued: the stack also
    // signals while its table is being destroyed, when nothing of it may be read.
    connect(view->undoStack(), &QUndoStack::indexChanged, this, [this, view] {
        if (view == activeTable)
            QMetaObject::invokeMethod(this, &MainWindow::updateStatsLabel, Qt::QueuedConnection);
    });
    connect(model, &TableModel::saveStartedSignal, this, &MainWindow::onSaveStarted);
    connect(model, &TableModel::saveFinishedSignal, this, &MainWindow::onSaveFinished);
    connect(model, &TableModel::updateStatusBarSignal, this, [this, view] {
        if (view == activeTable)
            updateStatusBar();
    });
    // Queued: the save runs inside the edit's undo step, which the question must not interrupt.
    connect(
        model, &TableModel::saveAfterEditFailedSignal, this,
        [this, guardedView = QPointer<TableView>(view)] {
            if (guardedView)
                informSaveFailed(guardedView);
        },
        Qt::QueuedConnection);
    // The save parameters change from prompts, undo and redo alike; the labels follow each.
    const auto parametersChanged = [this, view] {
        if (view == activeTable)
            updateStatusBar();
    };
    connect(model, &TableModel::setDelimiterSignal, this, parametersChanged);
    connect(model, &TableModel::setLineEndingSignal, this, parametersChanged);
    connect(model, &TableModel::setEncodingSignal, this, parametersChanged);
    connect(model, &TableModel::setParsingStandardSignal, this, parametersChanged);
    // Queued: a load fails inside the call that opens the table, and a file change is found
    // while cells are read. The table may be gone by the time the message is due.
    const QPointer<TableView> guarded(view);
    connect(
        &data, &TableData::loadFailedSignal, this,
        [this, guarded](const QString&, const QString& reason) { onTableLoadFailed(guarded, reason); },
        Qt::QueuedConnection);
    connect(
        &data, &TableData::fileChangedUnderTableSignal, this,
        [this, guarded](const QString&) { onTableFileChanged(guarded); }, Qt::QueuedConnection);
    return view;
}

void MainWindow::onTableLoadFailed(TableView* view, const QString& reason) {
    // A part of a file must never pass for the whole of it, so the table goes: nothing can be
    // saved over the file from it.
    QString text = QStringLiteral("File failed to load.");
    if (!reason.isEmpty())
        text += QStringLiteral("\n\n") + reason;
    MsgBox::inform(this, text);
    if (view)
        closeFileNoSave(view);
}

void MainWindow::onTableFileChanged(TableView* view) {
    if (!view || paneView->getTableIndex(view) < 0)
        return;
    MsgBox::inform(this, QStringLiteral("This file has been changed externally.\n\n"
                                        "It is open read-only, so it is read again from the disk now."));
    if (view && paneView->getTableIndex(view) >= 0)
        view->reloadFile();
}

TableView* MainWindow::addEmptyTableEditor() {
    TableView* view = makeEmptyTableObject(settings);
    addTableEditorFromView(view, false);
    // No load selects the first cell of a table that has no file: typing goes there at once.
    Range first(0, 0, RangeIndexType::Model);
    view->tableModel()->setSelection(first);
    return view;
}

void MainWindow::addTableEditorFromView(TableView* view, bool readOnly) {
    Q_UNUSED(readOnly)
    if (!view)
        return;
    paneView->addTable(view, tableName(view));
    const QString path = filepathOf(view);
    sideBar->addTable(view, tableName(view), path);
    view->propagateSettings(settings);
    if (!path.isEmpty() && QFileInfo(path).size() > 0) {
        watchFile(path);
        recordWatchedFileState(path);
    }
}

TableView* MainWindow::addTableEditorFromFile(const QString& path, bool readOnly, bool isPreference) {
    TableView* view = makeEmptyTableObject(settings);
    view->setPaintSkipCount(1);
    TableModel* model = view->tableModel();
    if (isPreference) {
        view->setReadOnly(false, true);
        ExtensionData record;
        record.extension = QStringLiteral("csv");
        record.delimiter = record.saveDelimiter = QStringLiteral(",");
        record.lineEnding = Utilities::getLineEndingFromPlatform();
        record.encoding = UTF_8;
        record.parsingStandard = RFC_4180;
        applyExtensionData(view, record);
        view->loadCSV(path, false);
        addTableEditorFromView(view, false);
    } else {
        view->setReadOnly(readOnly, true);
        ExtensionData record = getExtensionDataFromFileExtension(extensionOf(path));
        record = findFileParameters(record, path, false);
        record = takeParametersFromFile(record, path);
        applyExtensionData(view, record);
        view->loadCSV(path, QFileInfo(path).size() > AbstractDataContainer::kProgressThreshold);
        addTableEditorFromView(view, readOnly);
    }
    model->setUserSetDelimiter(false);
    view->syncFrozenPartsAfterLoad();
    view->scrollToTopLeft();
    view->setPaintSkipCount(-1);
    return view;
}

TableView* MainWindow::addTableEditorFromFile(const QString& path, bool readOnly,
                                              const ExtensionData& parameters) {
    TableView* view = makeEmptyTableObject(settings);
    view->setPaintSkipCount(1);
    view->setReadOnly(readOnly, true);
    applyExtensionData(view, findFileParameters(parameters, path, true));
    view->loadCSV(path, QFileInfo(path).size() > AbstractDataContainer::kProgressThreshold);
    addTableEditorFromView(view, readOnly);
    view->syncFrozenPartsAfterLoad();
    view->scrollToTopLeft();
    view->setPaintSkipCount(-1);
    return view;
}

void MainWindow::setActiveTable(TableView* view) {
    if (!view || paneView->getTableIndex(view) < 0)
        return;
    if (activeTable && activeTable != view && context.intersects(ContextEditing))
        activeTable->stopEditing(true);
    paneView->setActiveTable(view);
    activeTable = view;
    activeModel = view->tableModel();
    activeDelegate = view->tableDelegate();

    Context bits = (context - TableContextBits) | (view->getContext() & TableContextBits);
    const bool loading = view->isLoading();
    bits = loading ? bits - ContextTableReady : bits + ContextTableReady;
    const QString path = filepathOf(view);
    if (!path.isEmpty() && QFileInfo::exists(path) && !loading)
        bits |= ContextFileOnDisk;
    else
        bits = bits - ContextFileOnDisk;
    if (view->isReadOnly())
        bits |= ContextReadOnly;
    else
        bits = bits - ContextReadOnly;
    setContext(bits);
    sideBar->selectItem(view);
    view->setFocus();
    // An open find area stays and moves its highlight to the new table.
    if (!findArea->isHidden() && getFindReplaceWidget())
        onFindReplaceQueryEdited(getFindReplaceWidget()->getFindReplaceQuery(true));
    else
        hideFindArea();

    updateWindowTitle();
    followActiveTableInAnalysis();
    updateStatusBar();
    refreshToggles();
    if (!path.isEmpty())
        bumpUpFileInRecentFilepaths(path);
}

TableView* MainWindow::getTableView(const QString& path) const {
    for (PaneView* pane : paneViews) {
        if (TableView* view = pane->getTableView(path))
            return view;
    }
    return nullptr;
}

TableView* MainWindow::getTableViewElsewhere(const QString& path, MainWindow** window) const {
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        auto* other = qobject_cast<MainWindow*>(widget);
        if (!other || other == this)
            continue;
        if (TableView* view = other->getTableView(path)) {
            if (window)
                *window = other;
            return view;
        }
    }
    return nullptr;
}

std::vector<TableView*> MainWindow::getAllTableViews() const {
    std::vector<TableView*> all;
    for (PaneView* pane : paneViews) {
        const std::vector<TableView*> views = pane->getTableViews();
        all.insert(all.end(), views.begin(), views.end());
    }
    return all;
}

TableView* MainWindow::resolveTable(const QString& path) const {
    return path.isEmpty() ? activeTable : getTableView(path);
}

bool MainWindow::isPreferencePath(const QString& path) const {
    return !path.isEmpty() && preferenceFilepaths.contains(normalizedPath(path));
}

// --- Opening ------------------------------------------------------------------------------------

void MainWindow::openFile(const QString& path) {
    if (path.isEmpty())
        return;
    openFiles(QList<QString>{path});
}

bool MainWindow::openFiles(QList<QString> paths) {
    return openPaths(std::move(paths), nullptr);
}

bool MainWindow::openFiles(const QList<QString>& paths, const ExtensionData& parameters) {
    return openPaths(paths, &parameters);
}

MainWindow::LargeFileAnswer MainWindow::askLargeFileQuestion(qint64 sizeMiB) {
    const int answer = MsgBox::ask(this,
                                   QStringLiteral("This file is large (%1 MB).\n").arg(sizeMiB) +
                                       QStringLiteral("Would you like to open it in read-only mode?"),
                                   {{QStringLiteral("Open as &Read-Only"), QMessageBox::AcceptRole, 130},
                                    {QStringLiteral("Open in &Edit Mode"), QMessageBox::AcceptRole, 130},
                                    {QStringLiteral("&Cancel"), QMessageBox::DestructiveRole}},
                                   0);
    return answer == 0 || answer == 1 ? static_cast<LargeFileAnswer>(answer) : LargeFileAnswer::Cancel;
}

bool MainWindow::openPaths(QList<QString> paths, const ExtensionData* parameters) {
    // JSON and XML files are offered to the import window first; those the user sends there
    // leave the list. Files from the import window itself are asked about one at a time below.
    if (!parameters && settings.getValueBool(DetectImportedFileType))
        handleImportableFiles(paths);
    static const QStringList preferenceNames{QStringLiteral("Settings (User).csv"),
                                             QStringLiteral("Shortcuts (User).csv"),
                                             QStringLiteral("File Extensions (User).csv")};
    bool activated = false;
    QStringList missing;
    for (const QString& given : paths) {
        if (given.isEmpty())
            continue;
        TableView* table = getTableView(given);
        // A table already open keeps its state: its unsaved edits stay marked as such.
        const bool alreadyOpen = table != nullptr;
        // One open in another window is shown there: two tables of one file would each save
        // over the other's edits.
        MainWindow* holder = nullptr;
        if (TableView* elsewhere = table ? nullptr : getTableViewElsewhere(normalizedPath(given), &holder)) {
            holder->setActiveTable(elsewhere);
            if (holder->isMinimized())
                holder->showNormal();
            holder->raise();
            holder->activateWindow();
            continue;
        }
        if (!table) {
            const QFileInfo info(given);
            // Folders belong to the side bar; a path that names nothing is reported below.
            if (!info.exists())
                missing.append(QDir::toNativeSeparators(info.absoluteFilePath()));
            if (!info.isFile())
                continue;
            const QString path = normalizedPath(given);
            const bool isPreference =
                !parameters && std::any_of(preferenceNames.begin(), preferenceNames.end(),
                                           [&path](const QString& name) { return path.contains(name); });
            const bool readOnlySetting = settings.getValueBool(ReadOnly);
            // Opening for append tells whether we may write, and writes nothing.
            QFile probe(path);
            const bool writable = probe.open(QIODevice::Append);
            probe.close();
            bool readOnly = readOnlySetting || !writable;
            if (parameters && settings.getValueBool(DetectImportedFileType)) {
                const ImportAnswer answer = askImportQuestion(path);
                if (answer == ImportAnswer::Import)
                    importFile(path);
                if (answer != ImportAnswer::DontImport)
                    continue;
            }
            const qint64 sizeMiB = info.size() >> 20;
            if (!readOnlySetting && writable && !isPreference &&
                settings.getValueInt(MinFileSizeReadOnlyQuery) <= sizeMiB) {
                // The question stands over a window with a table, as at any other time.
                ensureTable();
                const LargeFileAnswer answer = askLargeFileQuestion(sizeMiB);
                if (answer == LargeFileAnswer::Cancel)
                    continue;
                readOnly = answer == LargeFileAnswer::ReadOnly;
            }
            // While the question stood, the same file may have come again (a second launch hands
            // its files over): it is opened once.
            if (TableView* meanwhile = getTableView(path)) {
                if (!activated) {
                    setActiveTable(meanwhile);
                    activated = true;
                }
                continue;
            }
            if (isPreference) {
                table = addTableEditorFromFile(path, false, true);
            } else {
                table = parameters ? addTableEditorFromFile(path, readOnly, *parameters)
                                   : addTableEditorFromFile(path, readOnly, false);
                addFilepathToRecentFilepaths(path);
            }
        }
        if (!activated && table) {
            setActiveTable(table);
            if (!alreadyOpen)
                table->markClean();
            activated = true;
        }
    }
    afterFirstActivation(activated);
    ensureTable();
    if (!missing.isEmpty())
        MsgBox::inform(this, QStringLiteral("These files could not be opened because they don't exist:\n") +
                                 missing.join(QLatin1Char('\n')));
    return activated;
}

void MainWindow::afterFirstActivation(bool activated) {
    if (!activated)
        return;
    addContext(ContextTableReady);
    // The empty table of a fresh window gives way to the first real file.
    TableView* first = paneView->getTableAt(0);
    if (first && first != activeTable && filepathOf(first).isEmpty() &&
        tableName(first) == QStringLiteral("untitled")) {
        const TableModel* model = first->tableModel();
        if (model && model->rowCountModel() == 0 && model->columnCountModel() == 0)
            closeFile(first);
    }
}

void MainWindow::openFolder(const QString& path) {
    if (!QFileInfo(path).isDir())
        return;
    sideBar->openFolder(normalizedPath(path));
    // A folder just opened comes into view, however the side bar was set.
    if (!paneVisibility.showSideBarFolders)
        showSideBarFolders(true);
    if (!paneVisibility.showSideBar || getSideBarWidth() == 0)
        showSideBar(true, !constructing && isVisible());
}

void MainWindow::onLoadFinished(TableView* view) {
    PaintClock::mark("file loaded");
    if (!view)
        return;
    finishExternalReload(view);
    // A load on the load thread ends after the table was set up: its frozen parts follow now.
    view->syncFrozenPartsAfterLoad();
    restoreRetainedFilters(view);
    if (view != activeTable)
        return;
    Context bits = context | ContextTableReady | ContextNotEditing;
    if (QFileInfo::exists(filepathOf(view)))
        bits |= ContextFileOnDisk;
    setContext(bits);
    updateStatusBar();
}

void MainWindow::cancelLoad(TableView* view) {
    if (view && view->isLoading())
        closeFileNoSave(view);
}

void MainWindow::onUndoStackCleanChanged(bool clean) {
    auto* view = qobject_cast<TableView*>(sender());
    if (view) {
        paneView->getTabBar()->onSavedStatusChanged(clean, view);
        sideBar->onSavedStatusChanged(clean, view);
    }
}

// --- What the window holds ----------------------------------------------------------------------

namespace {

bool isTableWorking(const TableView* view) {
    const TableModel* model = view ? view->tableModel() : nullptr;
    return model && model->isWorkerBusy();
}

} // namespace

bool MainWindow::isWorking() const {
    const std::vector<TableView*> views = getAllTableViews();
    return std::any_of(views.begin(), views.end(), isTableWorking) || isImporting();
}

void MainWindow::cancelWork() {
    cancelImport();
    for (TableView* view : getAllTableViews()) {
        if (isTableWorking(view))
            view->tableModel()->cancelWorker();
    }
}

int MainWindow::getNumTables() const {
    return static_cast<int>(getAllTableViews().size());
}

QStringList MainWindow::getOpenFilepaths() const {
    QStringList paths;
    for (TableView* view : getAllTableViews())
        paths.append(filepathOf(view));
    return paths;
}

QString MainWindow::getActiveFilepath() const {
    return filepathOf(activeTable);
}

const EditableDataContainer* MainWindow::getContainer(const QString& path) const {
    const TableView* view = getTableView(path);
    if (!view)
        return nullptr;
    return dynamic_cast<const EditableDataContainer*>(view->tableModel()->getTableData().getDataContainer());
}

ExtensionData MainWindow::getFileParameters(const QString& path) const {
    const TableView* view = getTableView(path);
    if (!view)
        return ExtensionData();
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

bool MainWindow::isReadOnly(const QString& path) const {
    const TableView* view = getTableView(path);
    return view && view->isReadOnly();
}

// --- Saving -------------------------------------------------------------------------------------

bool MainWindow::saveFile(TableView* view) {
    if (!view)
        return false;
    const QString path = filepathOf(view);
    if (path.isEmpty())
        return saveFileAs(view, false);
    const bool notPreference = !isPreferencePath(path);
    TableModel* model = view->tableModel();
    if (settings.getValueBool(RemoveExtraneousRowsColumns)) {
        bool changed = false;
        model->removeExtraneousRows(changed);
        model->removeExtraneousCols(changed);
    }
    if (model->saveCSV(notPreference, false)) {
        view->markClean();
        view->onTableSaved();
        recordWatchedFileState(path);
        // A preference file saved from its tab takes effect at once.
        if (!notPreference)
            onPreferenceChanged(path);
        view->scrollToMainCell(false, false);
        if (view == activeTable)
            updateStatusBar();
        return true;
    }
    // A failed save keeps the table and its edits: a close or quit that asked for it stops here.
    informSaveFailed(view);
    return false;
}

void MainWindow::informSaveFailed(TableView* view) {
    const QString reason = view->tableModel()->getTableData().getSaveErrorString();
    QString text = QStringLiteral("File failed to save.");
    if (!reason.isEmpty())
        text += QStringLiteral("\n") + reason;
    MsgBox::inform(this, text);
}

bool MainWindow::saveFileAs(TableView* view, bool visibleDataOnly) {
    if (!view)
        return false;
    TableModel* model = view->tableModel();
    TableData& data = model->getTableData();
    const QString oldPath = filepathOf(view);
    const QString currentExtension = model->getExtension();
    QString selectedFilter =
        QStringLiteral("%1 File (*.%2)").arg(currentExtension.toUpper(), currentExtension.toLower());
    const QString start =
        oldPath.isEmpty() ? QDir(lastUsedDirectory).filePath(QStringLiteral("untitled.csv")) : oldPath;
    const QString chosen = FileDialogHelper::getSaveFileName(this, QStringLiteral("Save File"), start,
                                                             getFiletypeFilter(false), &selectedFilter);
    if (chosen.isEmpty())
        return false;
    const QString path = normalizedPath(chosen);
    lastUsedDirectory = QFileInfo(path).absolutePath();
    // Another table of the same file would show what is no longer there, and a save from it
    // would write over this one: with unsaved changes of its own it keeps the file, else it
    // closes once the file is written.
    MainWindow* otherWindow = this;
    TableView* other = getTableView(path);
    if (other == view)
        other = nullptr;
    if (!other)
        other = getTableViewElsewhere(path, &otherWindow);
    if (other && (other->isModified() || isTableWorking(other))) {
        MsgBox::inform(this, QStringLiteral("This file is open in another tab with unsaved changes:\n%1\n"
                                            "Save or close it there first.")
                                 .arg(QDir::toNativeSeparators(path)));
        return false;
    }

    // What a table written only in part keeps: its own file and parameters.
    const QString beforeLoad = data.getDelimiterText();
    const QString beforeSave = data.getSaveDelimiterText();
    const LineEndingType beforeLineEnding = data.getLineEnding();
    const EncodingType beforeEncoding = data.getEncoding();
    const ParsingStandard beforeStandard = data.getParsingStandard();

    const QString extension = extensionOf(path);
    // A table read in place goes on reading its file with the delimiter and encoding it was
    // indexed with: the new file's extension decides only what is written (and the table is
    // read again from the new file when its delimiter differs).
    const bool inPlace = model->isReadOnly();
    if (!model->getUserSetDelimiter())
        model->setDelimiter(inPlace ? beforeLoad : getDelimiterFromFileExtension(extension, true, false),
                            getDelimiterFromFileExtension(extension, false, false));
    if (!model->getUserSetLineEnding())
        data.setLineEnding(getLineEndingFromFileExtension(extension));
    if (!model->getUserSetEncoding() && !inPlace) {
        EncodingType encoding = getEncodingFromFileExtension(extension);
        // A new file has no byte order mark to tell; write little-endian.
        if (encoding == UTF_16)
            encoding = UTF_16LE;
        else if (encoding == UTF_32)
            encoding = UTF_32LE;
        data.setEncoding(encoding, true);
    }
    if (!model->getUserSetParsingStandard())
        data.setParsingStandard(getParsingStandardFromFileExtension(extension));
    const QString beforeExtension = model->getExtension();
    model->setExtension(extension.toLower());

    addFilepathToRecentFilepaths(path);
    const bool notPreference = !isPreferencePath(path);
    const bool saved = model->saveCSV(path, notPreference, visibleDataOnly);

    if (visibleDataOnly || !saved) {
        // The table stays with its file: the written copy is another file.
        if (AbstractDataContainer* container = data.getDataContainer())
            container->setFilepath(oldPath);
        model->setExtension(beforeExtension);
        model->setDelimiter(beforeLoad, beforeSave);
        data.setLineEnding(beforeLineEnding);
        data.setEncoding(beforeEncoding, true);
        data.setParsingStandard(beforeStandard);
    }
    if (!saved) {
        removeFilepathFromRecentFilepaths(path);
        informSaveFailed(view);
        return false;
    }
    if (other)
        otherWindow->closeFileNoSave(other);

    if (!visibleDataOnly) {
        view->markClean();
        paneView->getTabBar()->onSavedStatusChanged(true, view);
        sideBar->onSavedStatusChanged(true, view);
        if (!oldPath.isEmpty()) {
            unwatchFile(oldPath);
            clearWatchedFileState(oldPath);
        }
        watchFile(path);
        recordWatchedFileState(path);
        paneView->getTabBar()->renameTable(view, tableName(view));
        sideBar->renameTable(view, tableName(view), path);
        view->onTableSaved();
    } else {
        const qint64 sizeMiB = QFileInfo(path).size() >> 20;
        int choice = 1;
        if (sizeMiB >= settings.getValueInt(MinFileSizeReadOnlyQuery)) {
            choice = MsgBox::ask(this,
                                 QStringLiteral("The new file is large (%1 MB).\n").arg(sizeMiB) +
                                     QStringLiteral("How would you like to open it?"),
                                 {{QStringLiteral("&Read-Only\nMode"), QMessageBox::AcceptRole, 0, 40},
                                  {QStringLiteral("&Edit Mode"), QMessageBox::AcceptRole, 0, 40},
                                  {QStringLiteral("Do&n't Open"), QMessageBox::DestructiveRole, 0, 40}},
                                 0);
        }
        if (choice == 0 || choice == 1) {
            TableView* written = getTableView(path);
            if (!written) {
                written = addTableEditorFromFile(path, choice == 0, false);
                addFilepathToRecentFilepaths(path);
            }
            setActiveTable(written);
            written->markClean();
        }
    }
    if (activeTable) {
        if (activeTable == view)
            setContext(context | ContextFileOnDisk);
        updateWindowTitle();
        updateStatusBar();
    }
    return true;
}

bool MainWindow::commandSaveFile(const QString& path) {
    TableView* view = resolveTable(path);
    if (!view)
        return false;
    view->stopEditing(true);
    const bool result = saveFile(view);
    if (view == activeTable && QFileInfo::exists(filepathOf(view)))
        addContext(ContextFileOnDisk);
    return result;
}

bool MainWindow::commandSaveFileAs(const QString& path) {
    TableView* view = resolveTable(path);
    if (!view)
        return false;
    view->stopEditing(true);
    return saveFileAs(view, false);
}

bool MainWindow::commandSaveVisibleDataAs(const QString& path) {
    TableView* view = resolveTable(path);
    if (!view)
        return false;
    view->stopEditing(true);
    return saveFileAs(view, true);
}

bool MainWindow::commandSaveAllFiles() {
    if (activeTable)
        activeTable->stopEditing(true);
    bool all = true;
    for (TableView* view : paneView->getTableViews())
        all = saveFile(view) && all;
    addContext(ContextFileOnDisk);
    return all;
}

// --- Closing ------------------------------------------------------------------------------------

bool MainWindow::closeFile(TableView* view) {
    if (!view || isTableWorking(view))
        return false;
    // The text of a cell still being edited is in no undo step yet: the edit ends first, so that
    // the question below knows of it and a save writes it.
    view->stopEditing(true);
    // Saved after each edit, a table is clean; one that isn't holds edits a save failed to write.
    if (view->isModified() && !view->isReadOnly()) {
        if (view != activeTable)
            setActiveTable(view);
        const int answer =
            MsgBox::ask(this, QStringLiteral("Do you want to save changes to %1?").arg(tableName(view)),
                        {{QStringLiteral("&Save"), QMessageBox::AcceptRole},
                         {QStringLiteral("Do&n't Save"), QMessageBox::DestructiveRole},
                         {QStringLiteral("&Cancel"), QMessageBox::RejectRole}},
                        0);
        if (answer == 0) {
            const bool saved = filepathOf(view).isEmpty() ? saveFileAs(view, false) : saveFile(view);
            if (!saved)
                return false;
        } else if (answer != 1) {
            return false;
        }
    }
    closeFileNoSave(view);
    return true;
}

bool MainWindow::closeFile(const QString& path) {
    return closeFile(getTableView(path));
}

bool MainWindow::closeFileNoSave(TableView* view) {
    if (!view || paneView->getTableIndex(view) < 0 || isTableWorking(view))
        return false;
    retainedFilters.erase(view);
    retainedSorts.erase(view);
    const QString path = filepathOf(view);
    if (!path.isEmpty()) {
        unwatchFile(path);
        clearWatchedFileState(path);
        reloadingFilepaths.removeAll(path);
        pendingExternalChangeTokens.erase(path);
    }
    // The tour goes with the tutorial table.
    closeTutorialWindow(view);
    const int count = paneView->getNumTables();
    const int index = paneView->getTableIndex(view);
    sideBar->removeTable(view);
    if (count == 1) {
        paneView->removeTable(view);
        delete view;
        activeTable = nullptr;
        activeModel = nullptr;
        activeDelegate = nullptr;
        // There is always one table in a pane. A pane opened for a cell of the closed table
        // goes with it; one the user asked for stays.
        if (!windowClosing) {
            showEditorPane(settings.getValueBool(ShowEditorPane), false);
            commandNewFile();
        } else
            updateWindowTitle();
        return true;
    }
    paneView->removeTable(view);
    if (view == activeTable) {
        // Closing index 0 or 1 activates index 0, closing a later one the one before it.
        const int next = std::min(count - 2, std::max(index, 1) - 1);
        setActiveTable(paneView->getTableAt(next));
    }
    delete view;
    return true;
}

void MainWindow::closeFiles(const std::vector<TableView*>& views) {
    for (TableView* view : views)
        closeFile(view);
}

bool MainWindow::commandCloseFile(const QString& path) {
    TableView* view = resolveTable(path);
    return view && closeFile(view);
}

bool MainWindow::commandCloseAllFiles() {
    const int count = getNumTables();
    bool all = true;
    for (int i = 0; i < count; ++i) {
        // A refused close or a failed save leaves this table and every one after it open.
        if (!closeFile(activeTable)) {
            all = false;
            break;
        }
    }
    if (all)
        removeContext(ContextFileOnDisk);
    return all;
}

void MainWindow::commandNewFile() {
    TableView* view = addEmptyTableEditor();
    setActiveTable(view);
    view->setReadOnly(false, true);
    setContext((context | ContextTableReady) & ~(ContextFileOnDisk | ContextReadOnly));
    updateStatusBar();
}

// --- Reloading and the file mode ----------------------------------------------------------------

bool MainWindow::commandReloadFile(const QString& path) {
    TableView* view = resolveTable(path);
    if (!view || !view->confirmDiscardUnsavedEditsForReload())
        return false;
    const QString file = filepathOf(view);
    if (file.isEmpty() || !QFileInfo::exists(file))
        return false;
    retainFiltersForReload(view);
    rememberReloadPlace(view, file);
    view->loadCSV(file, QFileInfo(file).size() > AbstractDataContainer::kProgressThreshold);
    view->undoStack()->clear();
    view->markClean();
    recordWatchedFileState(file);
    if (view == activeTable)
        updateStatusBar();
    return true;
}

void MainWindow::commandToggleReadOnly() {
    TableView* view = activeTable;
    if (!view)
        return;
    const bool on = !view->isReadOnly();
    const QString path = filepathOf(view);
    view->setReadOnly(on, false);
    // The container follows the mode: read again into the file-indexed or the editable one.
    if (view->isReadOnly() == on && !path.isEmpty() && QFileInfo::exists(path))
        view->loadCSV(path, QFileInfo(path).size() > AbstractDataContainer::kProgressThreshold);
    setContext(view->isReadOnly() ? context + ContextReadOnly : context - ContextReadOnly);
    updateStatusBar();
}
