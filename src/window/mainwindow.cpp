#include "window/mainwindow.h"

#include "preferences/defaultextensions.h"
#include "storage/editabledatacontainer.h"
#include "util/fileparameterutilities.h"

#include <QAction>
#include <QApplication>
#include <QCloseEvent>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QFont>
#include <QLabel>
#include <QStatusBar>

namespace {

const QString kProgramName = QStringLiteral("Orvane");

QString normalizedPath(const QString& path) {
    return QDir::cleanPath(QFileInfo(path).absoluteFilePath());
}

char toDelimiterByte(const QString& actual) {
    return actual.isEmpty() ? 0 : actual.at(0).toLatin1();
}

bool isAutoDelimiter(const QString& text) {
    return text.isEmpty() || text.compare(QStringLiteral("(auto)"), Qt::CaseInsensitive) == 0;
}

} // namespace

struct MainWindow::OpenTable {
    QString path;
    ExtensionData parameters;
    bool readOnly = false;
    std::unique_ptr<EditableDataContainer> container;
};

MainWindow::MainWindow(QWidget* parent, Qt::WindowFlags flags) : QMainWindow(parent, flags) {
    setAttribute(Qt::WA_DeleteOnClose);
    setUnifiedTitleAndToolBarOnMac(true);
    setMinimumWidth(200);
    setCentralWidget(new QWidget(this));
    extensions = PreferenceFiles::getDefaultExtensions();
    setupStatusBar();
    updateWindowTitle();

    auto* quitAction = new QAction(this);
    quitAction->setShortcut(QKeySequence::Quit);
    connect(quitAction, &QAction::triggered, qApp, &QApplication::closeAllWindows);
    addAction(quitAction);
}

MainWindow::~MainWindow() {
    updateConfigFile();
}

// --- Files ------------------------------------------------------------------------------------

void MainWindow::openFile(const QString& path) {
    if (path.isEmpty())
        return;
    openFiles({path});
}

bool MainWindow::openFiles(const QList<QString>& paths) {
    return openPaths(paths, std::nullopt);
}

bool MainWindow::openFiles(const QList<QString>& paths, const ExtensionData& parameters) {
    return openPaths(paths, parameters);
}

bool MainWindow::openPaths(const QList<QString>& paths, const std::optional<ExtensionData>& parameters) {
    int firstOpened = -1;
    for (const QString& path : paths) {
        if (path.isEmpty())
            continue;
        int index = getTableIndex(path);
        if (index < 0) {
            if (!QFileInfo(path).isFile())
                continue;
            // Opening for append tells whether we may write, and writes nothing.
            QFile probe(path);
            const bool readOnly = !probe.open(QIODevice::Append);
            probe.close();
            const QString absolute = normalizedPath(path);
            index = addTableEditorFromFile(absolute, readOnly,
                                           parameters ? *parameters : extensionDataFor(absolute));
            if (index < 0)
                continue;
        }
        if (firstOpened < 0)
            firstOpened = index;
    }
    if (firstOpened < 0)
        return false;
    setActiveTable(firstOpened);
    return true;
}

void MainWindow::openFolder(const QString& path) {
    const QFileInfo info(path);
    if (!info.isDir())
        return;
    const QString folder = normalizedPath(path);
    if (!sidebarFolderpathList.contains(folder))
        sidebarFolderpathList.append(folder);
}

QStringList MainWindow::getOpenFilepaths() const {
    QStringList paths;
    for (const auto& table : tables)
        paths.append(table->path);
    return paths;
}

QString MainWindow::getActiveFilepath() const {
    return activeTable >= 0 ? tables[activeTable]->path : QString();
}

const EditableDataContainer* MainWindow::getContainer(const QString& path) const {
    const int index = getTableIndex(path);
    return index >= 0 ? tables[index]->container.get() : nullptr;
}

ExtensionData MainWindow::getFileParameters(const QString& path) const {
    const int index = getTableIndex(path);
    return index >= 0 ? tables[index]->parameters : ExtensionData();
}

bool MainWindow::isReadOnly(const QString& path) const {
    const int index = getTableIndex(path);
    return index >= 0 && tables[index]->readOnly;
}

int MainWindow::getTableIndex(const QString& path) const {
    if (path.isEmpty())
        return -1;
    const QString wanted = normalizedPath(path);
    for (size_t i = 0; i < tables.size(); ++i) {
        if (tables[i]->path == wanted)
            return static_cast<int>(i);
    }
    return -1;
}

ExtensionData MainWindow::extensionDataFor(const QString& path) const {
    const QString extension = QFileInfo(path).suffix();
    return getExtensionDataFromFileExtension(extension.isEmpty() ? QStringLiteral("(none)") : extension);
}

int MainWindow::addTableEditorFromFile(const QString& path, bool readOnly, const ExtensionData& given) {
    const ExtensionData parameters = findFileParameters(given, path);

    auto container = std::make_unique<EditableDataContainer>();
    container->setFilepath(path);
    container->setDelimiter(toDelimiterByte(parameters.delimiter), toDelimiterByte(parameters.saveDelimiter));
    container->setLineEnding(parameters.lineEnding);
    container->setEncoding(parameters.encoding);
    container->setParsingStandard(parameters.parsingStandard);
    if (!container->loadCSV())
        return -1;

    auto table = std::make_unique<OpenTable>();
    table->path = path;
    table->parameters = parameters;
    table->readOnly = readOnly;
    table->container = std::move(container);
    tables.push_back(std::move(table));
    return static_cast<int>(tables.size()) - 1;
}

void MainWindow::setActiveTable(int index) {
    if (index < 0 || index >= getNumTables())
        return;
    activeTable = index;
    const EditableDataContainer& container = *tables[index]->container;
    onTableSizeChanged(container.numRows(), container.numCols(), container.numRows(), container.numCols());
    updateWindowTitle();
    updateStatusBar();
}

// --- File parameters --------------------------------------------------------------------------

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

ExtensionData MainWindow::findFileParameters(ExtensionData data, const QString& path) {
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
        if (data.encoding == UTF_16)
            data.encoding = UTF_16LE;
        else if (data.encoding == UTF_32)
            data.encoding = UTF_32LE;
    }
    return data;
}

// --- Status bar and title -----------------------------------------------------------------------

void MainWindow::setupStatusBar() {
    auto* bar = new QStatusBar(this);
    bar->setSizeGripEnabled(false);
    bar->setContentsMargins(10, 0, 10, 0);
    setStatusBar(bar);

    const QFont font(QStringLiteral("Lucida Grande"), 12);
    auto makeLabel = [&](Qt::Alignment alignment, int indent) {
        auto* label = new QLabel(bar);
        label->setFont(font);
        label->setAlignment(alignment);
        label->setIndent(indent);
        return label;
    };
    tableSizeLabel = makeLabel(Qt::AlignLeft | Qt::AlignVCenter, 0);
    bar->addWidget(tableSizeLabel);
    encodingLabel = makeLabel(Qt::AlignRight | Qt::AlignVCenter, 30);
    lineEndingLabel = makeLabel(Qt::AlignRight | Qt::AlignVCenter, 30);
    modeLabel = makeLabel(Qt::AlignRight | Qt::AlignVCenter, 30);
    bar->addPermanentWidget(encodingLabel);
    bar->addPermanentWidget(lineEndingLabel);
    bar->addPermanentWidget(modeLabel);
}

QString MainWindow::tableSizeText(int rawRows, int rawCols, int modelRows, int modelCols) {
    const auto suffix = [](bool singular) { return singular ? QString() : QStringLiteral("s"); };
    const QString format = QStringLiteral("%L1 row%2 x %L3 column%4");
    QString text = format.arg(rawRows).arg(suffix(rawRows == 1)).arg(rawCols).arg(suffix(rawCols == 1));
    // Something hidden: the visible counts follow, singular for anything below 2, zero included.
    if (modelRows != rawRows || modelCols != rawCols) {
        text += QStringLiteral(" (") +
                format.arg(modelRows).arg(suffix(modelRows < 2)).arg(modelCols).arg(suffix(modelCols < 2)) +
                QStringLiteral(")");
    }
    return text;
}

void MainWindow::onTableSizeChanged(int rawRows, int rawCols, int modelRows, int modelCols) {
    tableSizeLabel->setText(tableSizeText(rawRows, rawCols, modelRows, modelCols));
    tableSizeLabel->setFixedWidth(tableSizeLabel->sizeHint().width());
}

QString MainWindow::getTableSizeLabelText() const {
    return tableSizeLabel->text();
}

QString MainWindow::getModeLabelText() const {
    return modeLabel->text();
}

QString MainWindow::getEncodingLabelText() const {
    return encodingLabel->text();
}

void MainWindow::updateStatusBar() {
    if (activeTable < 0)
        return;
    const OpenTable& table = *tables[activeTable];
    modeLabel->setText(table.readOnly ? QStringLiteral("Read-Only") : QStringLiteral("Editable"));
    encodingLabel->setText(Utilities::convertEncodingTypeToString(table.parameters.encoding));
    lineEndingLabel->setText(
        Utilities::convertLineEndingTypeToShortString(table.parameters.lineEnding, false));
    for (QLabel* label : {modeLabel, encodingLabel, lineEndingLabel})
        label->adjustSize();
}

void MainWindow::updateWindowTitle() {
    if (activeTable < 0)
        setWindowTitle(kProgramName);
    else
        setWindowTitle(
            QStringLiteral("%1 - %2").arg(QFileInfo(tables[activeTable]->path).fileName(), kProgramName));
}

// --- What "Orvane.ini" restores -----------------------------------------------------------------

void MainWindow::showTabBar(bool show, bool) {
    paneVisibility.showTabBar = show;
}

void MainWindow::showSideBar(bool show, bool) {
    paneVisibility.showSideBar = show;
}

void MainWindow::showMetadata(bool show, bool) {
    paneVisibility.showFileMetadata = show;
}

void MainWindow::showEditorPane(bool show, bool) {
    paneVisibility.showEditorPane = show;
}

void MainWindow::setImportDefaults(const ExtensionData& extensionData, bool saveLocalInOriginatingDir,
                                   bool openFilesAfterImport, bool preserveStructure) {
    importDefaults = {extensionData, saveLocalInOriginatingDir, openFilesAfterImport, preserveStructure};
}

ConfigData MainWindow::makeConfigData() const {
    ConfigData data;
    data.windowGeometry = saveGeometry();
    data.windowState = static_cast<int>(windowState());
    data.sideBarShowWidth = sidebarShowWidth;
    data.editorPaneShowHeight = editorPaneShowHeight;
    data.defaultOpenFolderpath = defaultOpenFolderpath;
    data.sidebarFolderpathList = sidebarFolderpathList;
    data.recentFilepathList = recentFilepathList.mid(0, 50);
    data.paneVisibility = paneVisibility;
    data.useThousandsSeparators = useThousandsSeparators;
    data.hideColsWithNoData = hideColsWithNoData;
    data.excludeEmptyCells = excludeEmptyCells;
    data.importDefaults = importDefaults;
    data.printData = printSettings;
    return data;
}

void MainWindow::updateConfigFile() {
    if (recentFilepathList.size() > 50)
        recentFilepathList = recentFilepathList.mid(0, 50);
    emit updateConfigFileSignal(makeConfigData());
}

// --- Window events ------------------------------------------------------------------------------

void MainWindow::closeEvent(QCloseEvent* event) {
    emit mainWindowClosedSignal();
    event->accept();
}

void MainWindow::changeEvent(QEvent* event) {
    if (event->type() == QEvent::ActivationChange && isActiveWindow())
        emit mainWindowFocusChangedSignal();
    QMainWindow::changeEvent(event);
}
