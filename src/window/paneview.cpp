#include "window/paneview.h"

#include "panes/tabbar.h"
#include "table/tablemodel.h"
#include "view/tableview.h"

#include <QEvent>
#include <QFileInfo>
#include <QLabel>
#include <QPushButton>
#include <QSplitter>
#include <QStackedLayout>
#include <QVBoxLayout>
#include <QVariantAnimation>

namespace {

constexpr quint32 kContextTable = 1;
constexpr quint32 kContextFocus = 4;

} // namespace

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
    // The editor pane's place; the editor itself comes with cell editing.
    editorPane = new QWidget(splitter);
    editorPane->setObjectName(QStringLiteral("editorPane"));
    editorPane->hide();
    splitter->addWidget(stackWidget);
    splitter->addWidget(editorPane);
    splitter->setCollapsible(0, false);
    splitter->setStretchFactor(0, 1);
    splitter->setStretchFactor(1, 0);
    layout->addWidget(splitter, 1);

    editorPaneAnimation = new QVariantAnimation(this);
    editorPaneAnimation->setDuration(kAnimationMs);
    editorPaneAnimation->setEasingCurve(QEasingCurve::Linear);
    connect(editorPaneAnimation, &QVariantAnimation::valueChanged, this, [this](const QVariant& value) {
        const int height = value.toInt();
        const int total = splitter->height();
        splitter->setSizes({std::max(0, total - height), height});
    });
    connect(editorPaneAnimation, &QVariantAnimation::finished, this, [this] {
        if (!editorPaneShown)
            editorPane->hide();
    });

    connect(tabBar, &TabBar::tableSelectedSignal, this, [this](TableView* view) { setActiveTable(view); });
}

PaneView::~PaneView() {
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
    if (old)
        disconnectActive(old);
    stack->setCurrentWidget(view);
    tabBar->selectTable(view);
    if (old) {
        if (auto it = overlays.find(old); it != overlays.end() && it->second.widget)
            it->second.widget->hide();
    }
    activeView = view;
    if (QWidget* overlay = getProgressOverlay(view)) {
        placeOverlays();
        overlay->show();
        overlay->raise();
        emit removeContextSignal(kContextTable);
    } else {
        emit addContextSignal(kContextTable | kContextFocus);
    }
    connectActive(view);
    if (TableModel* model = view->tableModel()) {
        emit mainCellChangedSignal(model->getMainCell());
        emitMainCellLength(model, model->getMainCell());
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
    for (TableView* view : getTableViews())
        view->propagateSettings(settings);
}

void PaneView::showEditorPane(bool show, bool animate) {
    const int current = show ? 0 : editorPane->height();
    if (!show && editorPaneShown && editorPane->height() > 0)
        editorPaneHeight = editorPane->height();
    editorPaneShown = show;
    if (show)
        editorPane->show();
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
    layout->addStretch(1);
    layout->addWidget(label, 0, Qt::AlignCenter);
    layout->addWidget(cancel, 0, Qt::AlignCenter);
    layout->addStretch(1);
    overlays[view] = Overlay{overlay, label};
    placeOverlays();
    if (view == activeView) {
        overlay->show();
        overlay->raise();
        emit removeContextSignal(kContextTable);
    } else {
        overlay->hide();
    }
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
        emit addContextSignal(kContextTable | kContextFocus);
    }
    emit loadFinishedSignal(view);
}

bool PaneView::eventFilter(QObject* watched, QEvent* event) {
    if (watched == stackWidget && event->type() == QEvent::Resize)
        placeOverlays();
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

void PaneView::emitMainCellLength(TableModel* model, const Range& cell) {
    if (cell.row >= 0 && cell.col >= 0)
        emit mainCellLengthChangedSignal(
            static_cast<int>(model->getTableData().getValueModel(cell.row, cell.col).toString().size()));
}

void PaneView::connectActive(TableView* view) {
    TableModel* model = view->tableModel();
    if (!model)
        return;
    connect(model, &TableModel::tableSizeChangedSignal, this, &PaneView::tableSizeChangedSignal);
    connect(model, &TableModel::selectionSizeChangedSignal, this, &PaneView::selectionSizeChangedSignal);
    connect(model, &TableModel::mainCellChangedSignal, this, &PaneView::mainCellChangedSignal);
    connect(model, &TableModel::mainCellChangedSignal, this,
            [this, model](const Range& cell) { emitMainCellLength(model, cell); });
    connect(model, &TableModel::selectionChangedSignal, this,
            [this, view] { emit selectionChangedSignal(view); });
}

void PaneView::disconnectActive(TableView* view) {
    if (TableModel* model = view->tableModel()) {
        disconnect(model, &TableModel::tableSizeChangedSignal, this, nullptr);
        disconnect(model, &TableModel::selectionSizeChangedSignal, this, nullptr);
        disconnect(model, &TableModel::mainCellChangedSignal, this, nullptr);
        disconnect(model, &TableModel::selectionChangedSignal, this, nullptr);
    }
}
