#pragma once

#include "preferences/settings.h"
#include "table/range.h"
#include "table/rangetypes.h"

#include <QPointer>
#include <QWidget>

#include <map>
#include <vector>

class QLabel;
class QSplitter;
class QStackedLayout;
class QVariantAnimation;
class TabBar;
class TableModel;
class TableView;

// One pane of the window: the tab bar over a stack of tables, exactly one visible, and the
// editor pane's place under them. It forwards the active table's signals to the window, and
// lays a progress overlay over a table while it loads on the load thread.
class PaneView : public QWidget {
    Q_OBJECT

public:
    static constexpr int kTabBarHeight = 28;
    static constexpr int kAnimationMs = 125;

    explicit PaneView(QWidget* parent = nullptr);
    ~PaneView() override;

    TabBar* getTabBar() const { return tabBar; }
    QWidget* getTableStackWidget() const { return stackWidget; }
    QWidget* getEditorPaneSlot() const { return editorPane; }
    QSplitter* getSplitter() const { return splitter; }

    void addTable(TableView* view, const QString& name);
    void removeTable(TableView* view);
    void setActiveTable(TableView* view);
    void setActiveTable(int index);
    TableView* getActiveTable() const { return activeView; }
    TableView* getTableAt(int index) const;
    int getTableIndex(TableView* view) const;
    int getNumTables() const;
    bool tableAlreadyOpen(const QString& path) const { return getTableView(path) != nullptr; }
    TableView* getTableView(const QString& path) const;
    std::vector<TableView*> getTableViews() const;
    void setContext(quint32 bits) { context = bits; }
    void propagateSettings(const Settings& settings);
    void showEditorPane(bool show, bool animate);
    bool isEditorPaneShown() const { return editorPaneShown; }
    // The progress overlay of a table loading on the load thread; null when there is none.
    QWidget* getProgressOverlay(TableView* view) const;
    QString getProgressText(TableView* view) const;

public slots:
    void onStartProgressUpdate();
    void onLoadProgressUpdate(int current, int total, int sizeInMiB);
    void onLoadFinished();

signals:
    void addContextSignal(quint32 bits);
    void removeContextSignal(quint32 bits);
    void tableSizeChangedSignal(int rawRows, int rawCols, int modelRows, int modelCols);
    void selectionSizeChangedSignal(RangeSize size);
    void mainCellChangedSignal(Range mainCell);
    void selectionChangedSignal(TableView* view);
    void mainCellLengthChangedSignal(int length);
    void loadFinishedSignal(TableView* view);
    void cancelLoadSignal(TableView* view);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    struct Overlay {
        QPointer<QWidget> widget;
        QPointer<QLabel> label;
    };
    TableView* viewOfSender() const;
    void connectActive(TableView* view);
    void disconnectActive(TableView* view);
    void placeOverlays();
    void dropOverlay(Overlay& overlay);
    void emitMainCellLength(TableModel* model, const Range& cell);

    TabBar* tabBar = nullptr;
    QSplitter* splitter = nullptr;
    QWidget* stackWidget = nullptr;
    QStackedLayout* stack = nullptr;
    QWidget* editorPane = nullptr;
    QVariantAnimation* editorPaneAnimation = nullptr;
    bool editorPaneShown = false;
    int editorPaneHeight = 200;
    TableView* activeView = nullptr;
    std::map<TableView*, Overlay> overlays;
    quint32 context = 0;
};
