#include "window/mainwindow.h"

#include "analysis/fileanalysiswindow.h"
#include "app/paintclock.h"
#include "panes/filemetadatawidget.h"
#include "panes/sidebar.h"
#include "panes/tabbar.h"
#include "preferences/preferencefiles.h"
#include "storage/editabledatacontainer.h"
#include "table/tablemodel.h"
#include "util/appdatautilities.h"
#include "util/fileparameterutilities.h"
#include "view/tableview.h"
#include "window/paneview.h"
#include "window/statuslabelrow.h"

#include <QAction>
#include <QApplication>
#include <QCloseEvent>
#include <QDir>
#include <QDragEnterEvent>
#include <QFileInfo>
#include <QFileSystemWatcher>
#include <QFont>
#include <QKeyEvent>
#include <QLabel>
#include <QMimeData>
#include <QScrollArea>
#include <QScrollBar>
#include <QSplitter>
#include <QStatusBar>
#include <QTimer>
#include <QUndoStack>
#include <QVBoxLayout>
#include <QVariantAnimation>

#include <algorithm>

namespace {

const QString kProgramName = QStringLiteral("Orvane");

QString plural(qint64 count) {
    return count == 1 ? QString() : QStringLiteral("s");
}

} // namespace

MainWindow::MainWindow(QWidget* parent, Qt::WindowFlags flags) : MainWindow(true, parent, flags) {}

MainWindow::MainWindow(FilesToFollow, QWidget* parent) : MainWindow(false, parent, {}) {}

MainWindow::MainWindow(bool withEmptyTable, QWidget* parent, Qt::WindowFlags flags)
    : QMainWindow(parent, flags) {
    lastUsedDirectory = QDir::homePath();
    setAttribute(Qt::WA_DeleteOnClose);
#ifdef Q_OS_MACOS
    // Lets the title bar take the theme's colour; without a compositor elsewhere it would
    // leave the window's background black.
    setAttribute(Qt::WA_TranslucentBackground);
#endif
    setUnifiedTitleAndToolBarOnMac(true);
    updateWindowTitle();
    setAcceptDrops(true);

    commands.populate(this);
    PaintClock::mark("command table");
    fileWatcher = new QFileSystemWatcher(this);
    connect(fileWatcher, &QFileSystemWatcher::fileChanged, this, &MainWindow::onFileChanged,
            Qt::UniqueConnection);
    preferenceWatcher = new QFileSystemWatcher(this);
    preferenceFilepaths = {Utilities::getSettingsFilepath(), Utilities::getShortcutsFilepath(),
                           Utilities::getExtensionsFilepath()};
    watchPreferenceFiles();
    connect(preferenceWatcher, &QFileSystemWatcher::fileChanged, this, &MainWindow::onPreferenceChanged,
            Qt::UniqueConnection);
    connect(preferenceWatcher, &QFileSystemWatcher::directoryChanged, this,
            &MainWindow::onPreferenceDirChanged, Qt::UniqueConnection);
    themesWatcher = new QFileSystemWatcher(this);
    connect(themesWatcher, &QFileSystemWatcher::directoryChanged, this, &MainWindow::onThemesDirectoryChanged,
            Qt::UniqueConnection);
    connect(themesWatcher, &QFileSystemWatcher::fileChanged, this, &MainWindow::onThemesDirectoryChanged,
            Qt::UniqueConnection);
    loadThemesDirectory();
    PaintClock::mark("watchers and themes");

    loadCommandsFromFile();
    loadSettingsFromFile();
    PaintClock::mark("preference files read");
    setupMenus();
    PaintClock::mark("menus");
    setupLayout();
    setupStatusBar();
    PaintClock::mark("layout and status bar");

    setupExtensions();
    if (withEmptyTable)
        setActiveTable(addEmptyTableEditor());
    PaintClock::mark("empty table");

    setupAnimations();
    setMinimumWidth(200);

    constructing = false;
}

void MainWindow::ensureTable() {
    if (!activeTable && paneView->getNumTables() == 0)
        setActiveTable(addEmptyTableEditor());
}

MainWindow::~MainWindow() {
    // The tables go with the window's widgets, after this part of the window is gone, and their
    // undo stacks signal on the way: nothing of this window may hear it.
    for (TableView* view : findChildren<TableView*>())
        disconnect(view->undoStack(), nullptr, this, nullptr);
    updateConfigFile();
    commands.clear();
    settings.clear();
}

// --- Structure ----------------------------------------------------------------------------------

void MainWindow::setupLayout() {
    auto* central = new QWidget(this);
    auto* centralLayout = new QVBoxLayout(central);
    centralLayout->setContentsMargins(0, 0, 0, 0);
    centralLayout->setSpacing(0);
    setCentralWidget(central);

    horizontalSplitter = new QSplitter(Qt::Horizontal, central);
    horizontalSplitter->setHandleWidth(5);
    horizontalSplitter->setContentsMargins(0, 0, 0, 0);
    centralLayout->addWidget(horizontalSplitter, 1);

    sideBar = new SideBar(horizontalSplitter);
    sideBar->setMinimumWidth(0);

    verticalSplitter = new QSplitter(Qt::Vertical, horizontalSplitter);
    verticalSplitter->setHandleWidth(5);
    verticalSplitter->setContentsMargins(0, 0, 0, 0);

    paneView = new PaneView(verticalSplitter);
    paneViews.push_back(paneView);
    findArea = new QWidget(verticalSplitter);
    findArea->setObjectName(QStringLiteral("findArea"));
    auto* findLayout = new QVBoxLayout(findArea);
    findLayout->setContentsMargins(0, 0, 0, 0);
    findArea->hide();
    verticalSplitter->addWidget(paneView);
    verticalSplitter->addWidget(findArea);
    verticalSplitter->setStretchFactor(0, 1);
    verticalSplitter->setStretchFactor(1, 0);

    metadataScrollArea = new QScrollArea(horizontalSplitter);
    metadataScrollArea->setFrameShape(QFrame::NoFrame);
    metadataScrollArea->setMaximumHeight(10000);
    metadataScrollArea->setVerticalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    metadataScrollArea->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    metadataScrollArea->setWidgetResizable(true);
    metadataPane = new FileMetadataWidget;
    metadataScrollArea->setWidget(metadataPane);

    horizontalSplitter->addWidget(sideBar);
    horizontalSplitter->addWidget(verticalSplitter);
    horizontalSplitter->addWidget(metadataScrollArea);
    horizontalSplitter->setStretchFactor(0, 0);
    horizontalSplitter->setStretchFactor(1, 1);
    horizontalSplitter->setStretchFactor(2, 0);
    horizontalSplitter->setCollapsible(1, false);
    sideBar->hide();
    metadataScrollArea->hide();

    connect(paneView, &PaneView::addContextSignal, this, [this](Context bits) { addContext(bits); });
    connect(paneView, &PaneView::removeContextSignal, this, [this](Context bits) { removeContext(bits); });
    connect(paneView, &PaneView::launcherDestroyedSignal, this, &MainWindow::onLauncherDestroyed);
    connect(paneView, &PaneView::tableSizeChangedSignal, this, &MainWindow::onTableSizeChanged);
    connect(paneView, &PaneView::selectionSizeChangedSignal, this, &MainWindow::onSelectionSizeChanged);
    connect(paneView, &PaneView::mainCellLengthChangedSignal, this, &MainWindow::onMainCellLengthChanged);
    connect(paneView, &PaneView::loadFinishedSignal, this, &MainWindow::onLoadFinished);
    connect(paneView, &PaneView::editorPaneHeightChangedSignal, this,
            [this](int height) { editorPaneShowHeight = height; });
    connect(paneView, &PaneView::cancelLoadSignal, this, &MainWindow::cancelLoad);
    paneView->getTabBar()->setupContextMenus(commands);
    connect(paneView->getTabBar(), &TabBar::tableSelectedSignal, this, &MainWindow::setActiveTable);
    connect(paneView->getTabBar(), &TabBar::closeTableSignal, this,
            [this](TableView* view) { closeFile(view); });
    setupSidePanes();
}

void MainWindow::setupAnimations() {
    auto make = [this](Pane pane) {
        auto* animation = new QVariantAnimation(this);
        animation->setDuration(kPaneAnimationMs);
        animation->setEasingCurve(QEasingCurve::Linear);
        connect(animation, &QVariantAnimation::valueChanged, this,
                [this, pane](const QVariant& value) { setPaneSize(pane, value.toInt()); });
        return animation;
    };
    tabBarAnimation = make(Pane::TabBar);
    sideBarAnimation = make(Pane::SideBar);
    metadataAnimation = make(Pane::Metadata);
    auto hideAtZero = [](QWidget* widget, QVariantAnimation* animation) {
        if (animation->endValue().toInt() == 0)
            widget->hide();
    };
    connect(tabBarAnimation, &QVariantAnimation::finished, this,
            [this, hideAtZero] { hideAtZero(paneView->getTabBar(), tabBarAnimation); });
    connect(sideBarAnimation, &QVariantAnimation::finished, this,
            [this, hideAtZero] { hideAtZero(sideBar, sideBarAnimation); });
    connect(metadataAnimation, &QVariantAnimation::finished, this, [this, hideAtZero] {
        hideAtZero(metadataScrollArea, metadataAnimation);
        if (metadataScrollArea->isVisible())
            metadataScrollArea->setMinimumWidth(std::min(380, std::max(0, (width() + 1) * 2 / 3)));
    });
}

void MainWindow::setupStatusBar() {
    auto* bar = new QStatusBar(this);
    bar->setSizeGripEnabled(false);
    bar->setContentsMargins(10, 0, 10, 0);
    setStatusBar(bar);

    // When the window is narrow the selection details give way first, then the visible counts
    // and the filter list (down to the table's own size and "Filters:" with the first filter),
    // and only then the file's mode, encoding, delimiter and line ending.
    using Side = StatusLabelRow::Side;
    auto* row = new StatusLabelRow(bar);
    const auto nothing = [](const QString&) { return qsizetype(0); };
    const auto firstFilter = [](const QString& text) {
        const qsizetype comma = text.indexOf(QLatin1Char(','));
        return comma < 0 ? text.size() : comma;
    };
    const auto ownSize = [](const QString& text) {
        const qsizetype bracket = text.indexOf(QStringLiteral(" ("));
        return bracket < 0 ? text.size() : bracket;
    };
    const QFont font(QStringLiteral("Lucida Grande"), 12);
    auto makeLabel = [&](Side side, int rank, const StatusLabelRow::KeepUntil& keepUntil) {
        QLabel* label = row->addLabel(side, rank, keepUntil);
        label->setFont(font);
        label->installEventFilter(this);
        return label;
    };
    tableSizeLabel = makeLabel(Side::Left, 3, ownSize);
    selectionSizeLabel = makeLabel(Side::Left, 2, nothing);
    cellLengthLabel = makeLabel(Side::Left, 1, nothing);
    statsLabel = makeLabel(Side::Left, 0, nothing);
    statsTimer = new QTimer(this);
    connect(statsTimer, &QTimer::timeout, this, &MainWindow::onStatsTimeout);
    filtersLabel = makeLabel(Side::Right, 4, firstFilter);
    delimiterLabel = makeLabel(Side::Right, 5, {});
    encodingLabel = makeLabel(Side::Right, 6, {});
    lineEndingLabel = makeLabel(Side::Right, 7, {});
    modeLabel = makeLabel(Side::Right, 8, {});
    bar->addWidget(row, 1);
    setupSidePaneButtons();
}

// --- Status bar and title -----------------------------------------------------------------------

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

QString MainWindow::selectionSizeText(const RangeSize& size) {
    if (size.numCells > 0)
        return QStringLiteral("Selected: %1 cell%2").arg(size.numCells).arg(plural(size.numCells));
    if (size.numRows > 0 && size.numCols == 0)
        return QStringLiteral("Selected: %1 row%2").arg(size.numRows).arg(plural(size.numRows));
    if (size.numCols > 0 && size.numRows == 0)
        return QStringLiteral("Selected: %1 column%2").arg(size.numCols).arg(plural(size.numCols));
    if (size.numRows > 0 && size.numCols > 0)
        return QStringLiteral("Selected: %1 row%2, %3 column%4")
            .arg(size.numRows)
            .arg(plural(size.numRows))
            .arg(size.numCols)
            .arg(plural(size.numCols));
    return QString();
}

void MainWindow::onTableSizeChanged(int rawRows, int rawCols, int modelRows, int modelCols) {
    tableSizeLabel->setText(tableSizeText(rawRows, rawCols, modelRows, modelCols));
    if (metadataScrollArea->isVisible())
        metadataPane->refreshTableSize();
}

void MainWindow::onSelectionSizeChanged(const RangeSize& size) {
    selectionSizeLabel->setText(selectionSizeText(size));
    updateStatsLabel();
    const bool multi = size.numCells > 1 || size.numRows > 0 || size.numCols > 0;
    if (multi != context.intersects(ContextMultiSelection)) {
        if (activeTable)
            activeTable->setContext(multi ? activeTable->getContext() + ContextMultiSelection
                                          : activeTable->getContext() - ContextMultiSelection);
        if (multi)
            addContext(ContextMultiSelection);
        else
            removeContext(ContextMultiSelection);
    }
}

void MainWindow::onMainCellLengthChanged(int length) {
    cellLengthLabel->setText(QStringLiteral("Cell Length: %1").arg(length));
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

QString MainWindow::getDelimiterLabelText() const {
    return delimiterLabel->text();
}

QString MainWindow::getSelectionLabelText() const {
    return selectionSizeLabel->text();
}

QString MainWindow::getCellLengthLabelText() const {
    return cellLengthLabel->text();
}

void MainWindow::updateStatusBar() {
    if (!activeTable || !activeModel)
        return;
    const TableData& data = activeModel->getTableData();
    modeLabel->setText(activeTable->isReadOnly() ? QStringLiteral("Read-Only") : QStringLiteral("Editable"));
    const QString load = Utilities::convertDelimiterFromActualToShortReadable(data.getDelimiterText());
    const QString save = Utilities::convertDelimiterFromActualToShortReadable(data.getSaveDelimiterText());
    if (load == save || data.getSaveDelimiterText().isEmpty())
        delimiterLabel->setText(QStringLiteral("Delimiter: %1").arg(load));
    else
        delimiterLabel->setText(QStringLiteral("Delimiters (Load, Save): %1, %2").arg(load, save));
    encodingLabel->setText(Utilities::convertEncodingTypeToString(data.getEncoding()));
    lineEndingLabel->setText(Utilities::convertLineEndingTypeToShortString(data.getLineEnding(), false));
    updateFiltersLabel();
    onTableSizeChanged(activeModel->rowCountRaw(), activeModel->columnCountRaw(),
                       activeModel->rowCountModel(), activeModel->columnCountModel());
    refreshMetadata();
    // The selection and the main cell are the active table's, also right after a tab closed.
    onSelectionSizeChanged(activeModel->getSelectionSize());
    const Range& main = activeModel->getMainCell();
    const bool hasMain = main.row >= 0 && main.col >= 0;
    onMainCellLengthChanged(
        hasMain ? static_cast<int>(
                      activeModel->getTableData().getValueModel(main.row, main.col).toString().size())
                : 0);
}

QString MainWindow::getStatsLabelText() const {
    return statsLabel->text();
}

void MainWindow::updateStatsLabel() {
    // A sum over this many cells is read at once; more are read a slice at a time.
    constexpr qint64 kAtOnce = 5000;
    statsTimer->stop();
    statsRun.reset();
    statsModel = nullptr;
    if (!activeTable || !activeModel) {
        statsLabel->clear();
        return;
    }
    if (activeTable->isReadOnly() || activeTable->isLoading()) {
        statsLabel->setText(QStringLiteral("Sum: -      Mean: -"));
        return;
    }
    if (activeModel->numSelectedCells() < kAtOnce) {
        statsLabel->setText(activeModel->getSelectionSumMeanStr());
        return;
    }
    statsLabel->setText(QStringLiteral("Sum: ...    Mean: ..."));
    statsRun = std::make_shared<SelectionStats>();
    statsModel = activeModel;
    activeModel->beginSelectionStats(*statsRun);
    statsTimer->start(0);
}

void MainWindow::onStatsTimeout() {
    // A slice of a few milliseconds, so that the window answers every key and paints on time.
    constexpr int kSliceMs = 8;
    if (!statsRun || !statsModel || statsModel != activeModel) {
        statsTimer->stop();
        return;
    }
    // Sorts and other long work read and write the table on their worker meanwhile.
    if (isWorking() || statsModel->isWorkerBusy())
        return;
    if (!statsModel->continueSelectionStats(*statsRun, kSliceMs))
        return;
    statsTimer->stop();
    statsLabel->setText(TableModel::selectionStatsText(*statsRun));
    statsRun.reset();
}

QString MainWindow::tableName(const TableView* view) {
    if (!view || !view->tableModel())
        return QString();
    const QString name = view->tableModel()->getTableName();
    return name.isEmpty() ? QStringLiteral("untitled") : name;
}

void MainWindow::updateWindowTitle() {
    if (!activeTable)
        setWindowTitle(kProgramName);
    else
        setWindowTitle(QStringLiteral("%1 - %2").arg(tableName(activeTable), kProgramName));
}

// --- Panes --------------------------------------------------------------------------------------

int MainWindow::paneSize(Pane pane) const {
    const QList<int> sizes = horizontalSplitter->sizes();
    switch (pane) {
    case Pane::TabBar:
        return paneView->getTabBar()->isVisible() ? paneView->getTabBar()->height() : 0;
    case Pane::SideBar:
        return sideBar->isVisible() ? sizes.value(0) : 0;
    case Pane::Metadata:
        return metadataScrollArea->isVisible() ? sizes.value(2) : 0;
    }
    return 0;
}

int MainWindow::getTabBarHeight() const {
    return paneSize(Pane::TabBar);
}

int MainWindow::getSideBarWidth() const {
    return paneSize(Pane::SideBar);
}

int MainWindow::getMetadataWidth() const {
    return paneSize(Pane::Metadata);
}

void MainWindow::setPaneSize(Pane pane, int size) {
    size = std::max(0, size);
    if (pane == Pane::TabBar) {
        paneView->getTabBar()->setFixedHeight(size);
        return;
    }
    QList<int> sizes = horizontalSplitter->sizes();
    if (sizes.size() < 3)
        return;
    const int index = pane == Pane::SideBar ? 0 : 2;
    if (pane == Pane::Metadata)
        metadataScrollArea->setMinimumWidth(0);
    // The table area gains what the pane loses.
    sizes[1] = std::max(0, sizes[1] + sizes[index] - size);
    sizes[index] = size;
    horizontalSplitter->setSizes(sizes);
}

void MainWindow::showPane(Pane pane, bool show, bool animate) {
    QWidget* widget = pane == Pane::TabBar    ? static_cast<QWidget*>(paneView->getTabBar())
                      : pane == Pane::SideBar ? sideBar
                                              : static_cast<QWidget*>(metadataScrollArea);
    QVariantAnimation* animation = pane == Pane::TabBar    ? tabBarAnimation
                                   : pane == Pane::SideBar ? sideBarAnimation
                                                           : metadataAnimation;
    int& remembered = pane == Pane::TabBar    ? tabBarShowHeight
                      : pane == Pane::SideBar ? sidebarShowWidth
                                              : metadataShowWidth;
    const int current = paneSize(pane);
    // A pane shown already keeps the size the user dragged it to.
    const bool animating = animation && animation->state() == QAbstractAnimation::Running;
    if (current > 0 && (!show || !animating))
        remembered = current;
    int target = show ? remembered : 0;
    if (pane == Pane::TabBar && target > 100)
        target = 21;
    if (show && pane != Pane::TabBar)
        target = std::min(target, (width() + 1) * 2 / 3);
    if (show)
        widget->show();
    if (animation)
        animation->stop();
    if (!animate || !animation) {
        setPaneSize(pane, target);
        if (!show)
            widget->hide();
        return;
    }
    animation->setStartValue(current);
    animation->setEndValue(target);
    animation->start();
}

void MainWindow::showTabBar(bool show, bool animate) {
    paneVisibility.showTabBar = show;
    settings.setValue(ShowTabBar, show);
    showPane(Pane::TabBar, show, animate);
    refreshToggles();
}

void MainWindow::showSideBar(bool show, bool animate) {
    paneVisibility.showSideBar = show;
    settings.setValue(ShowSideBar, show);
    // With both of its parts off the side bar takes no room.
    showPane(Pane::SideBar, show && sideBar->hasContent(), animate);
    refreshToggles();
}

void MainWindow::showMetadata(bool show, bool animate) {
    paneVisibility.showFileMetadata = show;
    settings.setValue(ShowFileMetadata, show);
    showPane(Pane::Metadata, show, animate);
    refreshMetadata();
    refreshToggles();
}

void MainWindow::showEditorPane(bool show, bool animate) {
    paneVisibility.showEditorPane = show;
    paneView->showEditorPane(show, animate);
}

void MainWindow::setEditorPaneShowHeight(int height) {
    editorPaneShowHeight = height;
    paneView->setEditorPaneShowHeight(height);
}

// --- Settings -----------------------------------------------------------------------------------

void MainWindow::propagateSettings() {
    if (constructing)
        return;
    showTabBar(settings.getValueBool(ShowTabBar), false);
    showSideBar(settings.getValueBool(ShowSideBar), false);
    showMetadata(settings.getValueBool(ShowFileMetadata), false);
    emit setThemeSignal(settings.getTheme());
    paneView->propagateSettings(settings);
    if (fileAnalysisWindow)
        fileAnalysisWindow->propagateSettings(settings);
}

namespace {
template <typename T> void applyToTables(const std::vector<TableView*>& views, T apply) {
    for (TableView* view : views)
        apply(view);
}
} // namespace

void MainWindow::saveAfterEachEdit(bool on) {
    settings.setValue(SaveAfterEachEdit, on);
    paneView->propagateSettings(settings);
}

void MainWindow::saveWithTrailingDelimiters(bool on) {
    settings.setValue(SaveWithTrailingDelimiters, on);
    applyToTables(getAllTableViews(), [on](TableView* view) {
        // The user asking for the rule asks for it on every row, not only on changed ones.
        if (TableModel* model = view->tableModel()) {
            model->getTableData().setSaveWithTrailingDelimiters(on);
            model->getTableData().setKeepFieldCountsAsRead(false);
        }
    });
}

void MainWindow::letEditorPaneConsumeNavigationKeystrokes(bool on) {
    settings.setValue(EditorPaneConsumeNavigation, on);
    paneView->setLetEditorPaneConsumeNavigationKeystrokes(on);
}

void MainWindow::setTextSize(int size) {
    settings.setValue(TextSize, size);
    applyToTables(getAllTableViews(), [size](TableView* view) { view->setTextSize(size); });
}

void MainWindow::setFont(const QFont& font) {
    settings.setValue(FontFamily, font.family());
    applyToTables(getAllTableViews(), [&font](TableView* view) { view->setFont(font); });
}

void MainWindow::setShowRowLabelsCommand(bool on) {
    settings.setValue(ShowRowLabels, on);
    applyToTables(getAllTableViews(), [on](TableView* view) { view->setShowRowLabels(on); });
}

void MainWindow::setShowColLabelsCommand(bool on) {
    settings.setValue(ShowColumnLabels, on);
    applyToTables(getAllTableViews(), [on](TableView* view) { view->setShowColumnLabels(on); });
}

void MainWindow::setRepresentColumnsAsLettersCommand(bool on) {
    settings.setValue(RepresentColumnsAsLetters, on);
    applyToTables(getAllTableViews(), [on](TableView* view) {
        if (TableModel* model = view->tableModel())
            model->setColLetters(on);
    });
}

void MainWindow::setCaseSensitiveSorting(bool on) {
    settings.setValue(CaseSensitiveSorting, on);
    applyToTables(getAllTableViews(), [on](TableView* view) {
        if (TableModel* model = view->tableModel())
            model->getTableData().setCaseSensitiveSort(on);
    });
}

void MainWindow::setSnapToRowAfterScrolling(bool on) {
    settings.setValue(SnapToRow, on);
    applyToTables(getAllTableViews(), [on](TableView* view) { view->setSnapToRow(on); });
}

void MainWindow::setSnapToColumnAfterScrolling(bool on) {
    settings.setValue(SnapToColumn, on);
    applyToTables(getAllTableViews(), [on](TableView* view) { view->setSnapToCol(on); });
}

void MainWindow::setRemoveExtraneousRowsColumnsOnFileSave(bool on) {
    settings.setValue(RemoveExtraneousRowsColumns, on);
}

void MainWindow::setMinNumTableRows(int n) {
    settings.setValue(MinTableRows, n);
    applyToTables(getAllTableViews(), [n](TableView* view) {
        if (TableModel* model = view->tableModel())
            model->setMinNumTableRows(n);
    });
}

void MainWindow::setMinNumTableCols(int n) {
    settings.setValue(MinTableColumns, n);
    applyToTables(getAllTableViews(), [n](TableView* view) {
        if (TableModel* model = view->tableModel())
            model->setMinNumTableCols(n);
    });
}

void MainWindow::setNumBufferRows(int n) {
    settings.setValue(BufferRows, n);
    applyToTables(getAllTableViews(), [n](TableView* view) {
        if (TableModel* model = view->tableModel())
            model->setNumBufferRows(n);
    });
}

void MainWindow::setNumBufferCols(int n) {
    settings.setValue(BufferColumns, n);
    applyToTables(getAllTableViews(), [n](TableView* view) {
        if (TableModel* model = view->tableModel())
            model->setNumBufferCols(n);
    });
}

void MainWindow::setMinimumFileSizeAskAboutReadOnlyMb(int mb) {
    settings.setValue(MinFileSizeReadOnlyQuery, std::max(0, mb));
}

// --- What "Orvane.ini" restores -----------------------------------------------------------------

void MainWindow::setImportDefaults(const ExtensionData& extensionData, bool saveLocalInOriginatingDir,
                                   bool openFilesAfterImport, bool preserveStructure) {
    importDefaults = {extensionData, saveLocalInOriginatingDir, openFilesAfterImport, preserveStructure};
}

ConfigData MainWindow::makeConfigData() const {
    ConfigData data;
    data.windowGeometry = saveGeometry();
    data.windowState = static_cast<int>(windowState());
    data.sideBarShowWidth = getSideBarWidth() > 0 ? getSideBarWidth() : sidebarShowWidth;
    data.editorPaneShowHeight = editorPaneShowHeight;
    data.defaultOpenFolderpath = defaultOpenFolderpath;
    data.sidebarFolderpathList = sidebarFolderpathList;
    data.recentFilepathList = recentFilepathList.mid(0, 50);
    data.paneVisibility = paneVisibility;
    data.useThousandsSeparators = useThousandsSeparators;
    data.hideColsWithNoData = hideColsWithNoData;
    data.excludeEmptyCells = excludeEmptyCells;
    data.importDefaults = currentImportDefaults();
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
    if (isWorking()) {
        event->ignore();
        return;
    }
    const int count = getNumTables();
    // A window on its way out needs no fresh table after its last one.
    windowClosing = true;
    for (int i = 0; i < count; ++i) {
        if (!closeFile(activeTable)) {
            windowClosing = false;
            event->ignore();
            return;
        }
    }
    windowClosing = false;
    emit mainWindowClosedSignal();
    event->accept();
}

void MainWindow::changeEvent(QEvent* event) {
    if (event->type() == QEvent::ActivationChange && isActiveWindow())
        emit mainWindowFocusChangedSignal();
    QMainWindow::changeEvent(event);
}

void MainWindow::keyPressEvent(QKeyEvent* event) {
    if (event->key() != Qt::Key_Escape) {
        QMainWindow::keyPressEvent(event);
        return;
    }
    if (context.intersects(ContextEditing) && !context.intersects(ContextReadOnly)) {
        if (activeTable)
            activeTable->stopEditing(true);
        removeContext(ContextEditing);
        return;
    }
    if (context.contains(ContextNotEditing | ContextFindOpen) && !context.intersects(ContextLauncherOpen)) {
        hideFindArea();
        return;
    }
    if (context.contains(ContextNotEditing | ContextMultiSelection) &&
        !context.intersects(ContextFindOpen | ContextLauncherOpen) && activeModel) {
        Range main = activeModel->getMainCell();
        activeModel->setSelection(main);
    }
}

bool MainWindow::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::MouseButtonPress && activeTable) {
        // The labels of the status bar open the lists of commands that change what they show.
        const std::pair<QLabel*, void (MainWindow::*)()> prompts[] = {
            {modeLabel, &MainWindow::onFileModeOptionsPrompt},
            {encodingLabel, &MainWindow::onEncodingOptionsPrompt},
            {lineEndingLabel, &MainWindow::onLineEndingOptionsPrompt},
            {delimiterLabel, &MainWindow::onDelimiterOptionsPrompt},
            {filtersLabel, &MainWindow::onFiltersOptionsPrompt},
            {tableSizeLabel, &MainWindow::onTableDimensionsOptionsPrompt}};
        for (const auto& [label, prompt] : prompts) {
            if (watched != label)
                continue;
            if (label == tableSizeLabel && activeTable->isReadOnly())
                break;
            (this->*prompt)();
            return true;
        }
    }
    return QMainWindow::eventFilter(watched, event);
}

void MainWindow::dragEnterEvent(QDragEnterEvent* event) {
    const QList<QUrl> urls = event->mimeData()->urls();
    if (std::any_of(urls.begin(), urls.end(), [](const QUrl& url) { return url.isLocalFile(); }))
        event->acceptProposedAction();
}

void MainWindow::dragMoveEvent(QDragMoveEvent* event) {
    const QList<QUrl> urls = event->mimeData()->urls();
    if (std::any_of(urls.begin(), urls.end(), [](const QUrl& url) { return url.isLocalFile(); }))
        event->acceptProposedAction();
}

void MainWindow::dropEvent(QDropEvent* event) {
    QList<QString> files;
    for (const QUrl& url : event->mimeData()->urls()) {
        if (!url.isLocalFile())
            continue;
        const QString path = url.toLocalFile();
        if (QFileInfo(path).isDir())
            openFolder(path);
        else
            files.append(path);
    }
    if (!files.isEmpty())
        openFiles(files);
    event->acceptProposedAction();
}
