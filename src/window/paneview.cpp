#include "window/paneview.h"

#include "panes/tabbar.h"
#include "table/tablemodel.h"
#include "view/editorpane.h"
#include "view/headerview.h"
#include "view/tableview.h"
#include "window/launcher.h"
#include "window/prevoptionwidget.h"

#include <QEvent>

#include <QFileInfo>
#include <QKeyEvent>
#include <QLabel>
#include <QPushButton>
#include <QScrollBar>
#include <QShortcut>
#include <QSignalBlocker>
#include <QSplitter>
#include <QSplitterHandle>
#include <QStackedLayout>
#include <QTextCursor>
#include <QTextDocument>
#include <QTimer>
#include <QVBoxLayout>
#include <QVariantAnimation>
#include <algorithm>

namespace {} // namespace

PaneView::PaneView(QWidget* parent) : QWidget(parent) {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);

    tabBar = new TabBar(this);
    tabBar->setFixedHeight(kTabBarHeight);
    layout->addWidget(tabBar);

    splitter = new QSplitter(Qt::Vertical, this);
    splitter->setHandleWidth(0);
    splitter->setContentsMargins(0, 0, 0, 0);
    stackWidget = new QWidget(splitter);
    stackWidget->setMinimumHeight(100);
    stack = new QStackedLayout(stackWidget);
    stack->setContentsMargins(0, 0, 0, 0);
    stackWidget->installEventFilter(this);
    editorPane = new EditorPane(splitter);
    editorPane->hide();
    splitter->addWidget(stackWidget);
    splitter->addWidget(editorPane);
    splitter->setCollapsible(0, false);
    splitter->setStretchFactor(0, 1);
    splitter->setStretchFactor(1, 0);
    layout->addWidget(splitter, 1);
    if (QSplitterHandle* handle = splitter->handle(1))
        handle->installEventFilter(this);
    connect(splitter, &QSplitter::splitterMoved, this, [this] { onEditorPaneHandleMoved(); });

    connect(editorPane, &QPlainTextEdit::textChanged, this, &PaneView::onEditorPaneTextChanged);
    connect(editorPane, &EditorPane::editingFinishedSignal, this, &PaneView::onEditingFinished);
    connect(editorPane, &EditorPane::nextRowWithColumnResetSignal, this, &PaneView::onNextRowWithColumnReset);
    connect(editorPane, &EditorPane::nextColumnWithColumnResetSignal, this,
            &PaneView::onNextColumnWithColumnReset);
    connect(editorPane, &EditorPane::previousColumnWithColumnResetSignal, this,
            &PaneView::onPreviousColumnWithColumnReset);
    connect(editorPane, &EditorPane::EditorPaneFocusInSignal, this, &PaneView::onEditorPaneFocusIn);
    connect(editorPane, &EditorPane::EditorPaneFocusOutSignal, this, &PaneView::onEditorPaneFocusOut);
    QScrollBar* bar = editorPane->verticalScrollBar();
    connect(bar, &QScrollBar::sliderPressed, this, &PaneView::onEditorPaneScrollBarUserAction);
    connect(bar, &QScrollBar::sliderMoved, this, &PaneView::onEditorPaneScrollBarMoved);
    connect(bar, &QScrollBar::actionTriggered, this, &PaneView::onEditorPaneScrollBarActionTriggered);

    // An interval of 0 runs one chunk per pass of the event loop, which stays free between them.
    chunkTimer = new QTimer(this);
    chunkTimer->setInterval(0);
    connect(chunkTimer, &QTimer::timeout, this, &PaneView::onEditorPaneChunkTimeout);

    editorPaneAnimation = new QVariantAnimation(this);
    editorPaneAnimation->setDuration(kAnimationMs);
    editorPaneAnimation->setEasingCurve(QEasingCurve::Linear);
    connect(editorPaneAnimation, &QVariantAnimation::valueChanged, this, &PaneView::setEditorPaneHeightSlot);
    connect(editorPaneAnimation, &QVariantAnimation::finished, this, [this] {
        if (!editorPaneShown)
            editorPane->hide();
    });

    connect(tabBar, &TabBar::tableSelectedSignal, this, [this](TableView* view) { setActiveTable(view); });
}

PaneView::~PaneView() {
    // The launcher goes with the pane's children; it must not call back into a pane half gone.
    if (launcher)
        disconnect(launcher, nullptr, this, nullptr);
    for (auto& [view, overlay] : overlays)
        delete overlay.widget.data();
}

void PaneView::addTable(TableView* view, const QString& name) {
    if (!view || getTableIndex(view) >= 0)
        return;
    stack->addWidget(view);
    // The stack shows its current widget only; keep a new table out of sight until it is chosen.
    if (stack->currentWidget() != view)
        view->hide();
    tabBar->addTable(view, name);
    if (TableModel* model = view->tableModel()) {
        connect(model, &TableModel::startProgressUpdateSignal, this, &PaneView::onStartProgressUpdate,
                Qt::UniqueConnection);
        connect(model, &TableModel::loadProgressUpdateSignal, this, &PaneView::onLoadProgressUpdate,
                Qt::UniqueConnection);
    }
    // A table that ends its load in the background must not show itself over the active one.
    connect(view, &TableView::loadFinishedSignal, this, &PaneView::onLoadFinished, Qt::UniqueConnection);
}

void PaneView::removeTable(TableView* view) {
    if (!view || getTableIndex(view) < 0)
        return;
    if (view == activeView) {
        disconnectActive(view);
        activeView = nullptr;
    }
    if (auto it = overlays.find(view); it != overlays.end()) {
        dropOverlay(it->second);
        overlays.erase(it);
    }
    if (TableModel* model = view->tableModel())
        disconnect(model, nullptr, this, nullptr);
    disconnect(view, nullptr, this, nullptr);
    tabBar->removeTable(view);
    stack->removeWidget(view);
}

void PaneView::setActiveTable(TableView* view) {
    if (!view || view == activeView || getTableIndex(view) < 0)
        return;
    TableView* old = activeView;
    if (old) {
        // A switch of table commits the edit in progress.
        if (old->isEditing())
            old->stopEditing(true);
        disconnectActive(old);
    }
    stack->setCurrentWidget(view);
    tabBar->selectTable(view);
    if (old) {
        if (auto it = overlays.find(old); it != overlays.end() && it->second.widget)
            it->second.widget->hide();
    }
    activeView = view;
    if (QWidget* overlay = getProgressOverlay(view)) {
        placeOverlays();
        if (overlays[view].due) {
            overlay->show();
            overlay->raise();
        }
        emit removeContextSignal(ContextTableReady);
    } else {
        emit addContextSignal(ContextTableReady | ContextNotEditing);
    }
    connectActive(view);
    const Context paneBit = editorPaneShown ? Context(ContextEditorPaneShown) : Context();
    view->setContext((view->getContext() - ContextEditorPaneShown) | paneBit);
    editorPane->setReadOnly(view->isReadOnly());
    editorPane->setTheme(view->getSettings(false).getTheme());
    editorPane->setFont(view->font());
    if (TableModel* model = view->tableModel()) {
        refreshEditorPane();
        emit tableSizeChangedSignal(model->rowCountRaw(), model->columnCountRaw(), model->rowCountModel(),
                                    model->columnCountModel());
        emit selectionSizeChangedSignal(model->getSelectionSize());
    }
}

void PaneView::setActiveTable(int index) {
    setActiveTable(getTableAt(index));
}

TableView* PaneView::getTableAt(int index) const {
    if (index < 0 || index >= stack->count())
        return nullptr;
    return qobject_cast<TableView*>(stack->widget(index));
}

int PaneView::getTableIndex(TableView* view) const {
    return view ? stack->indexOf(view) : -1;
}

int PaneView::getNumTables() const {
    return stack->count();
}

TableView* PaneView::getTableView(const QString& path) const {
    if (path.isEmpty())
        return nullptr;
    const QString wanted = QFileInfo(path).absoluteFilePath();
    for (TableView* view : getTableViews()) {
        const TableModel* model = view->tableModel();
        if (!model)
            continue;
        const QString own = model->getTableData().getFilepath();
        if (!own.isEmpty() && QFileInfo(own).absoluteFilePath() == wanted)
            return view;
    }
    return nullptr;
}

std::vector<TableView*> PaneView::getTableViews() const {
    std::vector<TableView*> views;
    for (int i = 0; i < stack->count(); ++i) {
        if (auto* view = qobject_cast<TableView*>(stack->widget(i)))
            views.push_back(view);
    }
    return views;
}

void PaneView::propagateSettings(const Settings& settings) {
    editorPane->setConsumeNavigationKeys(settings.getValueBool(EditorPaneConsumeNavigation));
    editorPane->setTheme(settings.getTheme());
    for (TableView* view : getTableViews())
        view->propagateSettings(settings);
}

QWidget* PaneView::getEditorPaneSlot() const {
    return editorPane;
}

void PaneView::showEditorPane(bool show, bool animate) {
    if (!show && activeView && activeView->isEditing() && editorPane->hasFocus()) {
        activeView->stopEditing(true);
        activeView->setFocus();
    }
    const int current = show ? 0 : editorPane->height();
    if (!show && editorPaneShown && editorPane->height() > 0 && editorPane->height() != editorPaneHeight) {
        editorPaneHeight = editorPane->height();
        emit editorPaneHeightChangedSignal(editorPaneHeight);
    }
    const bool changed = editorPaneShown != show;
    editorPaneShown = show;
    for (TableView* view : getTableViews())
        view->setContext(show ? view->getContext() + ContextEditorPaneShown
                              : view->getContext() - ContextEditorPaneShown);
    if (changed) {
        if (show)
            emit addContextSignal(ContextEditorPaneShown);
        else
            emit removeContextSignal(ContextEditorPaneShown);
    }
    if (show)
        editorPane->show();
    if (show && paneContentStale && activeView && activeView->tableModel())
        refreshEditorPane();
    if (!animate) {
        editorPaneAnimation->stop();
        if (!show)
            editorPane->hide();
        else
            splitter->setSizes({std::max(0, splitter->height() - editorPaneHeight), editorPaneHeight});
        return;
    }
    editorPaneAnimation->stop();
    editorPaneAnimation->setStartValue(current);
    editorPaneAnimation->setEndValue(show ? editorPaneHeight : 0);
    editorPaneAnimation->start();
}

QWidget* PaneView::getProgressOverlay(TableView* view) const {
    const auto it = overlays.find(view);
    return it == overlays.end() ? nullptr : it->second.widget.data();
}

QString PaneView::getProgressText(TableView* view) const {
    const auto it = overlays.find(view);
    return it == overlays.end() || !it->second.label ? QString() : it->second.label->text();
}

TableView* PaneView::viewOfSender() const {
    QObject* from = sender();
    for (TableView* view : getTableViews()) {
        if (view == from || view->tableModel() == from)
            return view;
    }
    return nullptr;
}

void PaneView::onStartProgressUpdate() {
    TableView* view = viewOfSender();
    if (!view || getProgressOverlay(view))
        return;
    auto* overlay = new QWidget(stackWidget);
    overlay->setObjectName(QStringLiteral("loadProgressOverlay"));
    overlay->setAutoFillBackground(true);
    auto* layout = new QVBoxLayout(overlay);
    auto* label = new QLabel(QStringLiteral("0%"), overlay);
    label->setAlignment(Qt::AlignCenter);
    const qreal scaling = std::max<qreal>(1.0, devicePixelRatioF());
    label->setFont(QFont(QStringLiteral("Lucida Grande"), static_cast<int>(75 / scaling)));
    auto* cancel = new QPushButton(QStringLiteral("&Cancel"), overlay);
    cancel->setFixedWidth(130);
    connect(cancel, &QPushButton::clicked, this, [this, view] { emit cancelLoadSignal(view); });
    // Escape stops the load as the button does, while the page is up (a hidden page's shortcut
    // is off).
    auto* escape = new QShortcut(QKeySequence(Qt::Key_Escape), overlay);
    escape->setContext(Qt::WindowShortcut);
    connect(escape, &QShortcut::activated, cancel, &QPushButton::click);
    layout->addStretch(1);
    layout->addWidget(label, 0, Qt::AlignCenter);
    layout->addWidget(cancel, 0, Qt::AlignCenter);
    layout->addStretch(1);
    overlays[view] = Overlay{overlay, label, false};
    placeOverlays();
    overlay->hide();
    // The table takes no commands while it loads, page or no page.
    if (view == activeView)
        emit removeContextSignal(ContextTableReady);
    QTimer::singleShot(kProgressDelayMs, overlay, [this, view] {
        const auto it = overlays.find(view);
        if (it == overlays.end() || !it->second.widget)
            return;
        it->second.due = true;
        if (view == activeView) {
            it->second.widget->show();
            it->second.widget->raise();
        }
    });
}

void PaneView::onLoadProgressUpdate(int current, int total, int) {
    TableView* view = viewOfSender();
    const auto it = overlays.find(view);
    if (it == overlays.end() || !it->second.label || total <= 0)
        return;
    const int percent = static_cast<int>(static_cast<qint64>(current) * 100 / total);
    it->second.label->setText(QStringLiteral("%1%").arg(percent));
}

void PaneView::onLoadFinished() {
    TableView* view = viewOfSender();
    if (!view)
        return;
    if (auto it = overlays.find(view); it != overlays.end()) {
        dropOverlay(it->second);
        overlays.erase(it);
    }
    if (view != activeView) {
        view->hide();
    } else {
        emit addContextSignal(ContextTableReady | ContextNotEditing);
    }
    emit loadFinishedSignal(view);
}

bool PaneView::eventFilter(QObject* watched, QEvent* event) {
    if (watched == stackWidget && event->type() == QEvent::Resize) {
        placeOverlays();
        moveAndResizeLauncher();
    }
    if (watched == splitter->handle(1) &&
        (event->type() == QEvent::MouseButtonRelease || event->type() == QEvent::MouseMove))
        onEditorPaneHandleMoved();
    return QWidget::eventFilter(watched, event);
}

void PaneView::dropOverlay(Overlay& overlay) {
    // Later, not now: its cancel button may be the one whose click got us here.
    if (QWidget* widget = overlay.widget.data()) {
        widget->hide();
        widget->deleteLater();
    }
    overlay.widget.clear();
}

void PaneView::placeOverlays() {
    for (auto& [view, overlay] : overlays) {
        if (overlay.widget)
            overlay.widget->setGeometry(stackWidget->rect());
    }
}

void PaneView::connectActive(TableView* view) {
    connect(view, qOverload<bool, bool>(&TableView::startOffCellEditSignal), this,
            qOverload<bool, bool>(&PaneView::onStartOffCellEdit));
    connect(view, qOverload<bool, QKeyEvent*>(&TableView::startOffCellEditSignal), this,
            qOverload<bool, QKeyEvent*>(&PaneView::onStartOffCellEdit));
    connect(view, &TableView::mainCellLengthChangedSignal, this, &PaneView::mainCellLengthChangedSignal);
    connect(view, &TableView::addContextSignal, this, &PaneView::addContextSignal);
    connect(view, &TableView::editingAboutToStopSignal, this, &PaneView::settleEditorPaneFill);
    connect(view, &TableView::removeContextSignal, this, &PaneView::removeContextSignal);
    TableModel* model = view->tableModel();
    if (!model)
        return;
    connect(model, &TableModel::tableSizeChangedSignal, this, &PaneView::tableSizeChangedSignal);
    connect(model, &TableModel::selectionSizeChangedSignal, this, &PaneView::selectionSizeChangedSignal);
    connect(model, &TableModel::mainCellChangedSignal, this, &PaneView::onMainCellChanged);
    // Undo, redo and other commands change the main cell's text without moving it.
    connect(model, &QAbstractItemModel::dataChanged, this,
            [this, view, model](const QModelIndex& topLeft, const QModelIndex& bottomRight) {
                const Range& main = model->getMainCell();
                if (view != activeView || view->isEditing() || main.row < topLeft.row() ||
                    main.row > bottomRight.row() || main.col < topLeft.column() ||
                    main.col > bottomRight.column())
                    return;
                refreshEditorPane();
            });
    connect(model, &TableModel::selectionChangedSignal, this,
            [this, view] { emit selectionChangedSignal(view); });
}

void PaneView::disconnectActive(TableView* view) {
    disconnect(view, qOverload<bool, bool>(&TableView::startOffCellEditSignal), this, nullptr);
    disconnect(view, qOverload<bool, QKeyEvent*>(&TableView::startOffCellEditSignal), this, nullptr);
    disconnect(view, &TableView::mainCellLengthChangedSignal, this, nullptr);
    disconnect(view, &TableView::addContextSignal, this, nullptr);
    disconnect(view, &TableView::editingAboutToStopSignal, this, nullptr);
    disconnect(view, &TableView::removeContextSignal, this, nullptr);
    if (TableModel* model = view->tableModel()) {
        disconnect(model, &QAbstractItemModel::dataChanged, this, nullptr);
        disconnect(model, &TableModel::tableSizeChangedSignal, this, nullptr);
        disconnect(model, &TableModel::selectionSizeChangedSignal, this, nullptr);
        disconnect(model, &TableModel::mainCellChangedSignal, this, nullptr);
        disconnect(model, &TableModel::selectionChangedSignal, this, nullptr);
    }
}

// --- Editor pane ----------------------------------------------------------------------------

void PaneView::setEditorPaneShowHeight(int height) {
    if (height > 0)
        editorPaneHeight = height;
}

void PaneView::setLetEditorPaneConsumeNavigationKeystrokes(bool on) {
    editorPane->setConsumeNavigationKeys(on);
}

void PaneView::setEditorPaneHeightSlot(const QVariant& value) {
    const int height = value.toInt();
    const int total = splitter->height();
    splitter->setSizes({std::max(0, total - height), height});
}

void PaneView::onEditorPaneHandleMoved() {
    const QList<int> sizes = splitter->sizes();
    const int height = sizes.size() > 1 ? sizes.at(1) : 0;
    if (height > 0) {
        if (height != editorPaneHeight) {
            editorPaneHeight = height;
            emit editorPaneHeightChangedSignal(height);
        }
        if (!editorPaneShown) {
            editorPaneShown = true;
            for (TableView* view : getTableViews())
                view->setContext(view->getContext() | ContextEditorPaneShown);
            emit addContextSignal(ContextEditorPaneShown);
            if (paneContentStale && activeView && activeView->tableModel())
                refreshEditorPane();
        }
    } else if (editorPaneShown) {
        editorPaneShown = false;
        for (TableView* view : getTableViews())
            view->setContext(view->getContext() - ContextEditorPaneShown);
        emit removeContextSignal(ContextEditorPaneShown);
    }
}

QString PaneView::editorPaneText() {
    if (!paneLineBreakKnown) {
        const qsizetype cr = paneSourceText.indexOf(QLatin1Char('\r'));
        if (cr < 0)
            paneLineBreak = QStringLiteral("\n");
        else if (cr + 1 < paneSourceText.size() && paneSourceText.at(cr + 1) == QLatin1Char('\n'))
            paneLineBreak = QStringLiteral("\r\n");
        else
            paneLineBreak = QStringLiteral("\r");
        paneLineBreakKnown = true;
        paneSourceText.clear();
    }
    QString text = editorPane->toPlainText();
    if (paneLineBreak != QLatin1String("\n"))
        text.replace(QLatin1Char('\n'), paneLineBreak);
    return text;
}

void PaneView::refreshEditorPane() {
    if (!activeView || !activeView->tableModel())
        return;
    // Read again: the text that the main cell carries is that of when it became the main cell.
    Range cell = activeView->tableModel()->getMainCell();
    cell.value = QVariant();
    onMainCellChanged(cell);
}

void PaneView::onMainCellChanged(const Range& cell) {
    TableModel* model = activeView ? activeView->tableModel() : nullptr;
    // Text typed into the pane belongs to the cell it was typed for.
    if (activeView && activeView->isEditing() && !activeView->getQuickEdit() && editorPane->hasFocus())
        activeView->stopEditing(true);
    chunkTimer->stop();
    if (paneUpdateRunning)
        restoreEditorPaneUndo();
    paneUpdateRunning = false;
    appendedCount = 0;
    userEditedDuringFill = false;
    pendingText.clear();
    pendingLength = 0;
    // The model sends the main cell with its text, decoded once for everyone.
    if (cell.value.typeId() == QMetaType::QString)
        pendingText = cell.value.toString();
    else if (model && cell.row >= 0 && cell.col >= 0)
        pendingText = model->getTableData().getValueModel(cell.row, cell.col).toString();
    pendingLength = pendingText.size();
    // Shared, not copied; its line breaks are looked for only when the pane's text is used.
    paneSourceText = pendingText;
    paneLineBreakKnown = false;
    if (editorPaneShown) {
        paneContentStale = false;
        const int generation = ++paneGeneration;
        // Changes in a burst collapse into the last: older generations find themselves stale.
        QTimer::singleShot(0, this, [this, generation] { beginDeferredEditorPaneUpdate(generation); });
    } else {
        ++paneGeneration;
        paneContentStale = true;
    }
    if (activeView)
        editorPane->setReadOnly(activeView->isReadOnly());
    emit mainCellChangedSignal(cell);
    if (cell.row >= 0 && cell.col >= 0)
        emit mainCellLengthChangedSignal(static_cast<int>(pendingLength));
    if (!editorPaneShown) {
        pendingText.clear();
        pendingLength = 0;
    }
}

void PaneView::beginDeferredEditorPaneUpdate(int generation) {
    if (generation != paneGeneration)
        return;
    if (pendingLength <= kEditorPaneChunkThreshold) {
        {
            const QSignalBlocker blocker(editorPane);
            editorPane->setPlainText(pendingText);
        }
        placeEditorPaneCursor();
        pendingText.clear();
        pendingLength = 0;
        return;
    }
    paneUpdateRunning = true;
    runningGeneration = generation;
    userTouchedScrollBar = false;
    userEditedDuringFill = false;
    undoWasEnabled = editorPane->isUndoRedoEnabled();
    editorPane->setUndoRedoEnabled(false);
    {
        const QSignalBlocker blocker(editorPane);
        editorPane->clear();
    }
    QScrollBar* bar = editorPane->verticalScrollBar();
    setEditorPaneScrollValue(scrollToEnd ? bar->maximum() : 0);
    appendEditorPaneChunk();
    if (appendedCount < pendingLength)
        chunkTimer->start();
    else
        finishEditorPaneProgrammaticUpdate();
}

void PaneView::appendEditorPaneChunk() {
    if (!paneUpdateRunning || runningGeneration != paneGeneration || appendedCount >= pendingLength)
        return;
    const qsizetype count = std::min<qsizetype>(kEditorPaneChunkSize, pendingLength - appendedCount);
    QScrollBar* bar = editorPane->verticalScrollBar();
    const int kept = bar->value();
    {
        const QSignalBlocker blocker(editorPane);
        QTextCursor cursor(editorPane->document());
        cursor.movePosition(QTextCursor::End);
        cursor.insertText(pendingText.mid(appendedCount, count));
    }
    appendedCount += count;
    if (!userTouchedScrollBar)
        setEditorPaneScrollValue(scrollToEnd ? bar->maximum() : kept);
}

void PaneView::onEditorPaneChunkTimeout() {
    if (!paneUpdateRunning || runningGeneration != paneGeneration) {
        cancelEditorPaneProgrammaticUpdate();
        return;
    }
    appendEditorPaneChunk();
    if (appendedCount >= pendingLength)
        finishEditorPaneProgrammaticUpdate();
}

void PaneView::finishEditorPaneProgrammaticUpdate() {
    chunkTimer->stop();
    restoreEditorPaneUndo();
    paneUpdateRunning = false;
    pendingText.clear();
    pendingLength = 0;
    appendedCount = 0;
    if (!userTouchedScrollBar)
        placeEditorPaneCursor();
    // Typing that came in during the fill is the cell's new text, now that all of it is here.
    if (userEditedDuringFill && activeView && activeView->isEditing())
        activeView->onCellTextEdited(editorPaneText());
    userEditedDuringFill = false;
}

void PaneView::settleEditorPaneFill() {
    if (!paneUpdateRunning || !userEditedDuringFill)
        return;
    while (appendedCount < pendingLength)
        appendEditorPaneChunk();
    finishEditorPaneProgrammaticUpdate();
}

void PaneView::cancelEditorPaneProgrammaticUpdate() {
    chunkTimer->stop();
    if (paneUpdateRunning)
        restoreEditorPaneUndo();
    paneUpdateRunning = false;
    userEditedDuringFill = false;
    pendingText.clear();
    pendingLength = 0;
    appendedCount = 0;
}

void PaneView::restoreEditorPaneUndo() {
    editorPane->setUndoRedoEnabled(undoWasEnabled);
}

void PaneView::setEditorPaneScrollValue(int value) {
    programmaticScroll = true;
    editorPane->verticalScrollBar()->setValue(value);
    programmaticScroll = false;
}

void PaneView::placeEditorPaneCursor() {
    if (scrollToEnd) {
        editorPane->moveCursor(QTextCursor::End);
        setEditorPaneScrollValue(editorPane->verticalScrollBar()->maximum());
    } else if (cursorToFront) {
        editorPane->moveCursor(QTextCursor::Start);
        setEditorPaneScrollValue(0);
    }
}

void PaneView::onStartOffCellEdit(bool clear, bool cursorAtEnd) {
    {
        const QSignalBlocker blocker(editorPane);
        scrollToEnd = cursorAtEnd;
        cursorToFront = activeView && activeView->takePaneOpenedForThisEdit();
        if (clear) {
            // An edit that starts empty makes the text on its way irrelevant.
            cancelEditorPaneProgrammaticUpdate();
            ++paneGeneration;
            editorPane->clear();
        }
    }
    editorPane->setFocus();
    const bool follow = paneUpdateRunning && !userTouchedScrollBar;
    if (scrollToEnd) {
        editorPane->moveCursor(QTextCursor::End);
        if (follow)
            setEditorPaneScrollValue(editorPane->verticalScrollBar()->maximum());
    } else if (cursorToFront) {
        editorPane->moveCursor(QTextCursor::Start);
        if (follow)
            setEditorPaneScrollValue(0);
    }
}

void PaneView::onStartOffCellEdit(bool clear, QKeyEvent* event) {
    scrollToEnd = true;
    cursorToFront = false;
    if (activeView)
        activeView->takePaneOpenedForThisEdit();
    editorPane->setFocus();
    if (clear) {
        const QSignalBlocker blocker(editorPane);
        cancelEditorPaneProgrammaticUpdate();
        ++paneGeneration;
        editorPane->clear();
    }
    if (event)
        editorPane->typeKey(event);
    editorPane->moveCursor(QTextCursor::End);
    if (paneUpdateRunning && !userTouchedScrollBar)
        setEditorPaneScrollValue(editorPane->verticalScrollBar()->maximum());
}

void PaneView::onEditorPaneTextChanged() {
    if (paneUpdateRunning) {
        userEditedDuringFill = true;
        return;
    }
    if (!activeView)
        return;
    if (!activeView->isEditing()) {
        activeView->startEditing(false, false);
        if (!activeView->isEditing())
            return;
    }
    activeView->onCellTextEdited(editorPaneText());
}

void PaneView::onEditingFinished() {
    if (!activeView)
        return;
    activeView->stopEditing(true);
    activeView->setFocus();
}

void PaneView::onNextRowWithColumnReset() {
    if (activeView)
        activeView->nextRowWithColumnReset();
}

void PaneView::onNextColumnWithColumnReset() {
    if (activeView)
        activeView->nextColumnWithColumnReset();
}

void PaneView::onPreviousColumnWithColumnReset() {
    if (activeView)
        activeView->previousColumnWithColumnReset();
}

void PaneView::onEditorPaneFocusIn() {
    // A click into the pane edits the main cell.
    if (activeView && !activeView->isEditing())
        activeView->startEditing(false, false);
}

void PaneView::onEditorPaneFocusOut() {
    // A click elsewhere ends the edit; the focus goes where the click went.
    if (activeView && activeView->isEditing())
        activeView->stopEditing(true);
}

void PaneView::onEditorPaneScrollBarUserAction() {
    if (!programmaticScroll)
        userTouchedScrollBar = true;
}

void PaneView::onEditorPaneScrollBarMoved(int) {
    if (!programmaticScroll)
        userTouchedScrollBar = true;
}

void PaneView::onEditorPaneScrollBarActionTriggered(int) {
    if (!programmaticScroll)
        userTouchedScrollBar = true;
}

// --- Launcher --------------------------------------------------------------------------------

void PaneView::setLauncher(Launcher* newLauncher) {
    if (launcher && launcher != newLauncher) {
        // The old one goes without ending the chain the new one continues.
        disconnect(launcher, nullptr, this, nullptr);
        launcher->hide();
        launcher->deleteLater();
    }
    launcher = newLauncher;
    emit addContextSignal(ContextLauncherOpen);
    launcher->setParent(this);
    launcher->setWindowFlags(Qt::Widget | Qt::FramelessWindowHint);
    moveAndResizeLauncher();
    launcher->show();
    launcher->raise();
    launcher->putFocusInPromptEditor();
    // The widget has only just been shown: focus it again once the event loop has placed it.
    QTimer::singleShot(0, launcher, [target = launcher] { target->putFocusInPromptEditor(); });
    connect(launcher, &QObject::destroyed, this, &PaneView::onLauncherDestroyed);
    connect(launcher, &Launcher::launcherClosedSignal, this, &PaneView::clearPrevOptionList);
    connect(launcher, &Launcher::launcherEscapedSignal, this, &PaneView::restoreInitialScrollBarLocations);
    if (!prevOptions.empty())
        connect(launcher, &Launcher::goBackSignal, prevOptions.back(), &PrevOptionWidget::goHereSignal);
}

void PaneView::addPrevOption(PrevOptionWidget* bar) {
    bar->setParent(this);
    prevOptions.push_back(bar);
    connect(bar, &PrevOptionWidget::goHereSignal, this, &PaneView::onPrevOptionGoHere);
    bar->show();
    bar->raise();
    moveAndResizeLauncher();
}

void PaneView::moveAndResizeLauncher() {
    const int width = std::clamp(this->width() * 8 / 10, kLauncherMinWidth, kLauncherMaxWidth);
    const int left = (this->width() - width) / 2;
    int top = stackWidget->geometry().top();
    if (activeView && activeView->horizontalHeaderView() && activeView->horizontalHeaderView()->isVisible())
        top += activeView->horizontalHeaderView()->height();
    for (PrevOptionWidget* bar : prevOptions) {
        bar->setGeometry(left, top, width, PrevOptionWidget::kHeight);
        top += PrevOptionWidget::kHeight + 10 + 1;
    }
    if (launcher) {
        launcher->setFixedWidth(width);
        launcher->adjustHeight(0);
        launcher->move(left, top);
    }
}

void PaneView::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    moveAndResizeLauncher();
}

void PaneView::closeLauncher() {
    if (launcher)
        launcher->closeLauncher();
    clearPrevOptionList();
}

void PaneView::clearPrevOptionList() {
    for (PrevOptionWidget* bar : prevOptions) {
        bar->hide();
        bar->deleteLater();
    }
    prevOptions.clear();
}

void PaneView::onPrevOptionGoHere() {
    auto* bar = qobject_cast<PrevOptionWidget*>(sender());
    const auto it = std::find(prevOptions.begin(), prevOptions.end(), bar);
    if (it == prevOptions.end())
        return;
    for (auto later = it; later != prevOptions.end(); ++later) {
        (*later)->hide();
        (*later)->deleteLater();
    }
    prevOptions.erase(it, prevOptions.end());
    emit bar->expandThisSignal();
}

void PaneView::onLauncherDestroyed() {
    // A newer launcher may already stand in its place.
    if (sender() != launcher)
        return;
    launcher = nullptr;
    emit removeContextSignal(ContextLauncherOpen);
    emit launcherDestroyedSignal();
}

void PaneView::setInitialScrollBarLocations() {
    if (!activeView)
        return;
    initialHorizontalScroll = activeView->horizontalScrollBar()->value();
    initialVerticalScroll = activeView->verticalScrollBar()->value();
}

void PaneView::restoreInitialScrollBarLocations() {
    if (!activeView)
        return;
    if (TableModel* model = activeView->tableModel())
        model->clearHighlightedRange();
    activeView->clearLineHighlights();
    activeView->horizontalScrollBar()->setValue(initialHorizontalScroll);
    activeView->verticalScrollBar()->setValue(initialVerticalScroll);
}
