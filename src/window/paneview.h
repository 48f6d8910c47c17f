#pragma once

#include "preferences/settings.h"
#include "table/range.h"
#include "table/rangetypes.h"
#include "window/context.h"

#include <QPointer>
#include <QString>
#include <QWidget>

#include <map>
#include <vector>

class EditorPane;
class Launcher;
class PrevOptionWidget;
class QKeyEvent;
class QLabel;
class QSplitter;
class QTimer;
class QStackedLayout;
class QVariantAnimation;
class TabBar;
class TableModel;
class TableView;

// One pane of the window: the tab bar over a stack of tables, exactly one visible, and the
// editor pane under them. It forwards the active table's signals to the window, and lays a
// progress overlay over a table while it loads on the load thread.
//
// The editor pane always shows the active table's main cell. A cell can hold megabytes, so a
// long text goes in by chunks from the event loop, and a newer main cell makes older work stop.
class PaneView : public QWidget {
    Q_OBJECT

public:
    static constexpr int kTabBarHeight = 28;
    static constexpr int kAnimationMs = 125;
    // Texts longer than this fill the editor pane by chunks of kEditorPaneChunkSize.
    static constexpr int kEditorPaneChunkThreshold = 65536;
    static constexpr int kEditorPaneChunkSize = 16384;

    explicit PaneView(QWidget* parent = nullptr);
    ~PaneView() override;

    TabBar* getTabBar() const { return tabBar; }
    QWidget* getTableStackWidget() const { return stackWidget; }
    QWidget* getEditorPaneSlot() const;
    EditorPane* getEditorPane() const { return editorPane; }
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
    void setContext(Context bits) { context = bits; }
    void propagateSettings(const Settings& settings);
    void showEditorPane(bool show, bool animate);
    bool isEditorPaneShown() const { return editorPaneShown; }
    void setEditorPaneShowHeight(int height);
    int getEditorPaneShowHeight() const { return editorPaneHeight; }
    void setLetEditorPaneConsumeNavigationKeystrokes(bool on);
    // The state of the deferred fill, for tests and the benchmark.
    bool isEditorPaneUpdateRunning() const { return paneUpdateRunning; }
    int getEditorPaneGeneration() const { return paneGeneration; }
    bool hasUserTouchedEditorPaneScrollBar() const { return userTouchedScrollBar; }
    // The progress overlay of a table loading on the load thread; null when there is none.
    QWidget* getProgressOverlay(TableView* view) const;
    QString getProgressText(TableView* view) const;

    // --- Launcher -----------------------------------------------------------------------------
    static constexpr int kLauncherMinWidth = 400;
    static constexpr int kLauncherMaxWidth = 750;
    // Shows `launcher` over the active table, in place of any open one; the pane owns it.
    void setLauncher(Launcher* launcher);
    Launcher* getLauncher() const { return launcher; }
    // Adds the bar of an answered step of a chain above the launcher.
    void addPrevOption(PrevOptionWidget* bar);
    const std::vector<PrevOptionWidget*>& getPrevOptions() const { return prevOptions; }
    void moveAndResizeLauncher();
    // Remembers where the active table is scrolled, for Escape to go back to.
    void setInitialScrollBarLocations();
    void restoreInitialScrollBarLocations();

public slots:
    void onStartProgressUpdate();
    void onLoadProgressUpdate(int current, int total, int sizeInMiB);
    void onLoadFinished();

    // --- Editor pane ------------------------------------------------------------------------
    void onStartOffCellEdit(bool clear, bool cursorAtEnd);
    void onStartOffCellEdit(bool clear, QKeyEvent* event);
    void onEditorPaneTextChanged();
    void onEditingFinished();
    void onNextRowWithColumnReset();
    void onNextColumnWithColumnReset();
    void onPreviousColumnWithColumnReset();
    void onEditorPaneFocusIn();
    void onEditorPaneFocusOut();
    void beginDeferredEditorPaneUpdate(int generation);
    void appendEditorPaneChunk();
    void finishEditorPaneProgrammaticUpdate();
    void cancelEditorPaneProgrammaticUpdate();
    void onEditorPaneChunkTimeout();
    void onMainCellChanged(const Range& cell);
    void onEditorPaneScrollBarUserAction();
    void onEditorPaneScrollBarMoved(int value);
    void onEditorPaneScrollBarActionTriggered(int action);
    void setEditorPaneHeightSlot(const QVariant& value);

    void closeLauncher();
    void clearPrevOptionList();
    void onPrevOptionGoHere();
    void onLauncherDestroyed();

signals:
    void addContextSignal(Context bits);
    void removeContextSignal(Context bits);
    void tableSizeChangedSignal(int rawRows, int rawCols, int modelRows, int modelCols);
    void selectionSizeChangedSignal(RangeSize size);
    void mainCellChangedSignal(Range mainCell);
    void selectionChangedSignal(TableView* view);
    void mainCellLengthChangedSignal(int length);
    void loadFinishedSignal(TableView* view);
    void cancelLoadSignal(TableView* view);
    // The pane took a new height from the user: what it shows at next time.
    void editorPaneHeightChangedSignal(int height);
    void launcherDestroyedSignal();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    struct Overlay {
        QPointer<QWidget> widget;
        QPointer<QLabel> label;
        bool due = false; // shown once a load outlasts kProgressDelayMs
    };
    // A load that ends sooner never flashes a progress page.
    static constexpr int kProgressDelayMs = 400;
    TableView* viewOfSender() const;
    void connectActive(TableView* view);
    void disconnectActive(TableView* view);
    void placeOverlays();
    void dropOverlay(Overlay& overlay);
    // Typing that came in during a fill: the rest of the text goes in at once, so that the
    // edit ends with all of it.
    void settleEditorPaneFill();
    // The pane's text with the line breaks of the cell it came from: the pane itself knows only
    // line feeds.
    QString editorPaneText();
    // Shows the active table's main cell again, read from the table.
    void refreshEditorPane();
    void placeEditorPaneCursor();
    void setEditorPaneScrollValue(int value);
    void restoreEditorPaneUndo();
    // Follows a drag of the splitter handle: the pane is shown while it has height.
    void onEditorPaneHandleMoved();

    TabBar* tabBar = nullptr;
    QSplitter* splitter = nullptr;
    QWidget* stackWidget = nullptr;
    QStackedLayout* stack = nullptr;
    EditorPane* editorPane = nullptr;
    QVariantAnimation* editorPaneAnimation = nullptr;
    QTimer* chunkTimer = nullptr;
    bool editorPaneShown = false;
    int editorPaneHeight = 200;
    TableView* activeView = nullptr;
    std::map<TableView*, Overlay> overlays;
    Context context;
    Launcher* launcher = nullptr; // cleared when it is destroyed
    std::vector<PrevOptionWidget*> prevOptions;
    int initialHorizontalScroll = 0;
    int initialVerticalScroll = 0;

    // The deferred fill of the editor pane.
    QString pendingText;
    qsizetype pendingLength = 0;
    int paneGeneration = 0;
    int runningGeneration = -1;
    qsizetype appendedCount = 0;
    bool paneUpdateRunning = false;
    bool undoWasEnabled = true;
    bool userTouchedScrollBar = false;
    bool programmaticScroll = false;
    bool scrollToEnd = false;
    bool cursorToFront = false;
    bool userEditedDuringFill = false;
    QString paneLineBreak = QStringLiteral("\n");
    QString paneSourceText;
    bool paneLineBreakKnown = true;
    // The main cell changed while the pane was hidden: it fills when it shows.
    bool paneContentStale = false;
};
