#include "view/tableview.h"

#include "window/commandmenus.h"

#include "table/tablemodel.h"
#include "util/appdatautilities.h"
#include "util/msgbox.h"
#include "view/frozentableview.h"
#include "view/headerview.h"
#include "view/quickedit.h"
#include "view/scrollareabottomrightcornerwidget.h"
#include "view/sectionupdatesheld.h"
#include "view/tabledelegate.h"
#include "view/tlcornerbutton.h"
#include "view/workerprogress.h"

#include <QApplication>
#include <QDir>
#include <QFileInfo>
#include <QKeyEvent>
#include <QMessageBox>
#include <QPushButton>
#include <QScrollBar>
#include <QTimer>
#include <QUndoStack>

#include <algorithm>

std::function<int(const QString&)> TableView::saveQuestionHook;

TableView::TableView(QWidget* parent) : AbstractTableView(parent) {
    setHorizontalScrollMode(QAbstractItemView::ScrollPerPixel);
    setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    setContextMenuPolicy(Qt::CustomContextMenu);
    setFocusPolicy(Qt::StrongFocus);
    connect(this, &QWidget::customContextMenuRequested, this, &TableView::onCustomContextMenu);
    setTableDelegate(new TableDelegate(this));
    undoStackObject = new QUndoStack(this);
    connect(undoStackObject, &QUndoStack::cleanChanged, this, &TableView::onUndoStackCleanChanged);

    snapTimer = new QTimer(this);
    snapTimer->setSingleShot(true);
    snapTimer->setTimerType(Qt::CoarseTimer);
    snapTimer->setInterval(100);
    connect(snapTimer, &QTimer::timeout, this, [this] { snapScrollBarPosition(snapAxis); });

    cornerButton = new TLCornerButton(this);
    connect(cornerButton, &QPushButton::clicked, this, &TableView::selectEntireTable);
    cornerFiller = new ScrollAreaBottomRightCornerWidget(this);
    setCornerWidget(cornerFiller);

    connectHeader(horizontalHeaderView(), true);
    connectHeader(verticalHeaderView(), false);
    connect(this, &AbstractTableView::scrollToMainCellSignal, this, &TableView::scrollToMainCell);

    setupFrozenHeaders();
    for (AbstractTableView* grid :
         {static_cast<AbstractTableView*>(this), static_cast<AbstractTableView*>(frozenRows),
          static_cast<AbstractTableView*>(frozenCols), static_cast<AbstractTableView*>(frozenCorner)})
        connectEditSignals(grid->tableDelegate());
    connect(this, qOverload<bool>(&AbstractTableView::startEditingSignal), this,
            [this](bool clear) { startEditing(clear, true); });
    connect(this, qOverload<bool, QKeyEvent*>(&AbstractTableView::startEditingSignal), this,
            [this](bool clear, QKeyEvent* event) { startEditing(clear, event); });
    context |= ContextNotEditing;
    setTheme(theme);
    hide();
}

TableView::~TableView() {
    // The stack announces a clean state while it is destroyed with the children, when this
    // object is no longer a TableView: it must not reach us then.
    undoStackObject->disconnect(this);
    // The editors and delegates go with the widget tree, after this part of the object: a
    // focus change or their destruction must not reach the edit that was open.
    for (QuickEdit* editor : findChildren<QuickEdit*>())
        editor->disconnect(this);
    for (AbstractTableView* grid :
         {static_cast<AbstractTableView*>(this), static_cast<AbstractTableView*>(frozenRows),
          static_cast<AbstractTableView*>(frozenCols), static_cast<AbstractTableView*>(frozenCorner)})
        if (grid->tableDelegate())
            grid->tableDelegate()->disconnect(this);
    // The registry is this view's own, whether built with it or copied in by propagateSettings.
    settings.clear();
}

FrozenTableView* TableView::frozenView(int type) const {
    switch (type) {
    case 1:
        return frozenRows;
    case 2:
        return frozenCols;
    case 3:
        return frozenCorner;
    default:
        return nullptr;
    }
}

void TableView::connectHeader(HeaderView* header, bool horizontal) {
    if (horizontal) {
        connect(header, &QHeaderView::sectionResized, this, &TableView::columnResized);
        connect(header, &HeaderView::selectColSignal, this, &TableView::onHorizontalSectionClicked);
        connect(header, &HeaderView::sectionCtrlClicked, this, &TableView::onHorizontalSectionCtrlClicked);
        connect(header, &HeaderView::sectionShiftClicked, this, &TableView::onHorizontalSectionShiftClicked);
        connect(header, &QHeaderView::sectionEntered, this, &TableView::onHorizontalSectionEntered);
        connect(header, &HeaderView::sectionReleasedSignal, this, &TableView::onHorizontalSectionReleased);
        connect(header, &QHeaderView::sectionDoubleClicked, this,
                &TableView::onHorizontalSectionDoubleClicked);
        // The label's context menu works on its column: a column outside the selection becomes it.
        connect(header, &HeaderView::sectionRightClicked, this, [this](int col) {
            if (tableModel() && !tableModel()->isColSelected(col))
                selectCol(col);
        });
    } else {
        connect(header, &QHeaderView::sectionResized, this, &TableView::rowResized);
        connect(header, &HeaderView::selectRowSignal, this, &TableView::onVerticalSectionClicked);
        connect(header, &HeaderView::sectionCtrlClicked, this, &TableView::onVerticalSectionCtrlClicked);
        connect(header, &HeaderView::sectionShiftClicked, this, &TableView::onVerticalSectionShiftClicked);
        connect(header, &QHeaderView::sectionEntered, this, &TableView::onVerticalSectionEntered);
        connect(header, &HeaderView::sectionReleasedSignal, this, &TableView::onVerticalSectionReleased);
        connect(header, &QHeaderView::sectionDoubleClicked, this, &TableView::onVerticalSectionDoubleClicked);
        connect(header, &HeaderView::sectionRightClicked, this, [this](int row) {
            if (tableModel() && !tableModel()->isRowSelected(row))
                selectRow(row);
        });
    }
}

void TableView::setModel(QAbstractItemModel* model) {
    AbstractTableView::setModel(model);
    for (FrozenTableView* frozen : {frozenRows, frozenCols, frozenCorner})
        frozen->setModel(model);
    connectSignalsWithModel();
    if (TableModel* m = tableModel()) {
        m->setNumberOfHeaderRows(numHeaderRows);
        m->setNumberOfHeaderCols(numHeaderCols);
        m->setFirstRowIndex(firstRowIndex);
        m->setFirstColIndex(firstColIndex);
        m->setColLetters(colLetters);
        m->setTheme(theme);
        fileMode = m->isReadOnly() ? FileMode::ReadOnly : FileMode::Editable;
        readOnlyView = m->isReadOnly();
    }
    setDefaultRowHeight(defaultRowHeight);
    setDefaultColumnWidth(defaultColWidth);
    applyVisibleHeaderRows(numHeaderRows, false, false);
    setNumberOfHeaderColumns(numHeaderCols, false);
    setFreezeHeaderRows(freezeHeaderRows, false);
    setFreezeHeaderColumns(freezeHeaderCols, false);
}

void TableView::connectSignalsWithModel() {
    TableModel* m = tableModel();
    if (!m)
        return;
    connect(m, &TableModel::selectionChangedSignal, this, &TableView::onSelectionChanged,
            Qt::UniqueConnection);
    connect(m, &TableModel::updateFindReplaceMatchesSignal, this, &TableView::updateFindReplaceMatches,
            Qt::UniqueConnection);
    connect(m, &TableModel::enforceTableSizeSignal, this, &TableView::onEnforceTableSize,
            Qt::UniqueConnection);
    connect(m, &TableModel::refreshHeadersSignal, this, &TableView::onRefreshHeaders, Qt::UniqueConnection);
    connect(m, &TableModel::startProgressUpdateSignal, this, &TableView::onLoadStarted, Qt::UniqueConnection);
    connect(m, &TableModel::loadProgressUpdateSignal, this, &TableView::onLoadProgressUpdate,
            Qt::UniqueConnection);
    connect(m, &TableModel::loadFinishedSignal, this, &TableView::onLoadFinished, Qt::UniqueConnection);
    connect(m, &TableModel::saveStartedSignal, this, &TableView::onSaveStarted, Qt::UniqueConnection);
    connect(m, &TableModel::saveProgressSignal, this, &TableView::onSaveProgress, Qt::UniqueConnection);
    connect(m, &TableModel::saveFinishedSignal, this, &TableView::onSaveFinished, Qt::UniqueConnection);
    connect(m, &TableModel::newDataCommittedSignal, this, &TableView::onNewDataCommitted,
            Qt::UniqueConnection);
    connect(m, &TableModel::concealmentChangedSignal, this, &TableView::onConcealmentChanged,
            Qt::UniqueConnection);
    connect(m, &TableModel::holdShownCellsSignal, this, &TableView::holdShownCells, Qt::UniqueConnection);
    connectUndoSignals(m);
}

void TableView::holdShownCells() {
    TableModel* m = tableModel();
    if (!m)
        return;
    for (QTableView* grid : std::initializer_list<QTableView*>{this, frozenRows, frozenCols, frozenCorner}) {
        if (!grid || !grid->isVisible())
            continue;
        const QRect shown = grid->viewport()->rect();
        const int top = grid->rowAt(shown.top());
        const int left = grid->columnAt(shown.left());
        if (top < 0 || left < 0)
            continue;
        // Past the last line, rowAt and columnAt say -1: up to the end then.
        int bottom = grid->rowAt(shown.bottom());
        int right = grid->columnAt(shown.right());
        bottom = bottom < 0 ? m->rowCount() - 1 : bottom;
        right = right < 0 ? m->columnCount() - 1 : right;
        // A page more on every side the grid scrolls to, so that a Page Up or Down during the
        // scan still finds its cells, as long as reading them stays quick.
        const int pageRows = bottom - top + 1;
        const int pageCols = right - left + 1;
        const bool scrollsRows = grid != frozenRows && grid != frozenCorner;
        const bool scrollsCols = grid != frozenCols && grid != frozenCorner;
        const int extraRows = scrollsRows ? pageRows : 0;
        const int extraCols = scrollsCols ? pageCols : 0;
        constexpr qint64 quickCells = 20000;
        if (qint64(pageRows + 2 * extraRows) * (pageCols + 2 * extraCols) <= quickCells)
            m->holdCells(top - extraRows, left - extraCols, bottom + extraRows, right + extraCols);
        else
            m->holdCells(top, left, bottom, right);
    }
}

// --- Frozen parts -----------------------------------------------------------------------

void TableView::setupFrozenHeaders() {
    frozenRows = new FrozenTableView(this, TableType::FrozenRows);
    frozenCols = new FrozenTableView(this, TableType::FrozenCols);
    frozenCorner = new FrozenTableView(this, TableType::FrozenCorner);
    for (FrozenTableView* frozen : {frozenRows, frozenCols, frozenCorner}) {
        frozen->setTableDelegate(new TableDelegate(frozen));
        frozen->viewport()->installEventFilter(this);
        connectHeader(frozen->horizontalHeaderView(), true);
        connectHeader(frozen->verticalHeaderView(), false);
        connect(frozen, &AbstractTableView::scrollToMainCellSignal, this, &TableView::scrollToMainCell);
        connect(frozen, qOverload<bool>(&AbstractTableView::startEditingSignal), this,
                [this](bool clear) { emit startEditingSignal(clear); });
        connect(frozen, qOverload<bool, QKeyEvent*>(&AbstractTableView::startEditingSignal), this,
                [this](bool clear, QKeyEvent* event) { emit startEditingSignal(clear, event); });
    }
    frozenRows->stackUnder(frozenCorner);
    frozenCols->stackUnder(frozenCorner);
    frozenCorner->horizontalHeader()->hide();
    frozenCorner->verticalHeader()->hide();
    frozenRows->horizontalHeader()->hide();
    frozenCols->verticalHeader()->hide();
    frozenRows->setNumRows(numHeaderRows);
    frozenCorner->setNumRows(numHeaderRows);
    frozenCols->setNumCols(numHeaderCols);
    frozenCorner->setNumCols(numHeaderCols);

    // The frozen parts follow the main grid's scrolling along their free axis.
    connect(horizontalScrollBar(), &QScrollBar::valueChanged, frozenRows->horizontalScrollBar(),
            &QScrollBar::setValue);
    connect(verticalScrollBar(), &QScrollBar::valueChanged, frozenCols->verticalScrollBar(),
            &QScrollBar::setValue);
    connect(horizontalScrollBar(), &QScrollBar::rangeChanged, this,
            [this](int, int max) { frozenRows->horizontalScrollBar()->setMaximum(max); });
    connect(verticalScrollBar(), &QScrollBar::rangeChanged, this,
            [this](int, int max) { frozenCols->verticalScrollBar()->setMaximum(max); });
    // Matches are highlighted in the cells on screen only, so scrolling looks again.
    connect(horizontalScrollBar(), &QScrollBar::valueChanged, this, &TableView::updateFindReplaceMatches);
    connect(verticalScrollBar(), &QScrollBar::valueChanged, this, &TableView::updateFindReplaceMatches);
    updateFrozenGeometry();
}

void TableView::setFrozenColWidths(bool all) {
    QAbstractItemModel* m = model();
    if (!m)
        return;
    // The frozen rows show every column; the frozen columns and the corner the header columns,
    // or all of them when asked.
    const int cols = m->columnCount();
    // A header that paints after each resize looks up the section's place each time, which
    // makes copying many widths take time in the square of their count.
    const SectionUpdatesHeld held(
        {frozenRows->horizontalHeader(), frozenCols->horizontalHeader(), frozenCorner->horizontalHeader()});
    for (int c = 0; c < cols; ++c) {
        const int w = columnWidth(c);
        if (frozenRows->columnWidth(c) != w)
            frozenRows->setColumnWidth(c, w);
        if (c < numHeaderCols || all) {
            if (frozenCols->columnWidth(c) != w)
                frozenCols->setColumnWidth(c, w);
            if (frozenCorner->columnWidth(c) != w)
                frozenCorner->setColumnWidth(c, w);
        }
    }
}

void TableView::setFrozenRowHeights(bool all) {
    QAbstractItemModel* m = model();
    if (!m)
        return;
    // Rows can number millions: all of them only when asked, the header rows otherwise.
    const int rows = all ? m->rowCount() : std::min(numHeaderRows, m->rowCount());
    const SectionUpdatesHeld held(
        {frozenCols->verticalHeader(), frozenRows->verticalHeader(), frozenCorner->verticalHeader()});
    for (int r = 0; r < rows; ++r) {
        const int h = rowHeight(r);
        if (frozenCols->rowHeight(r) != h)
            frozenCols->setRowHeight(r, h);
        if (r < numHeaderRows) {
            if (frozenRows->rowHeight(r) != h)
                frozenRows->setRowHeight(r, h);
            if (frozenCorner->rowHeight(r) != h)
                frozenCorner->setRowHeight(r, h);
        }
    }
}

void TableView::syncFrozenPartsAfterLoad() {
    setFrozenColWidths(true);
    // Copying every row height costs milliseconds per hundred thousand rows, just before the
    // first paint of a new file; hidden frozen columns take them when they are shown.
    if (frozenCols->isVisibleTo(this)) {
        setFrozenRowHeights(true);
        frozenColsSynced = true;
    } else {
        setFrozenRowHeights(false);
        frozenColsSynced = false;
    }
}

void TableView::setFreezeHeaderRows(bool on, bool notify) {
    freezeHeaderRows = on;
    if (on && numHeaderRows > 0 && model()) {
        frozenRows->show();
        setFrozenRowHeights(false);
        setFrozenColWidths(false);
        if (freezeHeaderCols && numHeaderCols > 0) {
            frozenCorner->show();
            frozenCorner->raise();
        }
    } else {
        frozenRows->hide();
        frozenCorner->hide();
    }
    updateFrozenGeometry();
    refreshView();
    if (notify)
        emit fileMetadataChangedSignal();
}

void TableView::setFreezeHeaderColumns(bool on, bool notify) {
    freezeHeaderCols = on;
    if (on && numHeaderCols > 0 && model()) {
        frozenCols->show();
        setFrozenColWidths(false);
        setFrozenRowHeights(!frozenColsSynced);
        frozenColsSynced = true;
        if (freezeHeaderRows && numHeaderRows > 0) {
            frozenCorner->show();
            frozenCorner->raise();
        }
    } else {
        frozenCols->hide();
        frozenCorner->hide();
    }
    updateFrozenGeometry();
    refreshView();
    if (notify)
        emit fileMetadataChangedSignal();
}

void TableView::applyVisibleHeaderRows(int count, bool autoFit, bool notify) {
    count = std::max(0, count);
    const int before = numHeaderRows;
    numHeaderRows = count;
    for (AbstractTableView* v :
         {static_cast<AbstractTableView*>(this), static_cast<AbstractTableView*>(frozenRows),
          static_cast<AbstractTableView*>(frozenCols), static_cast<AbstractTableView*>(frozenCorner)})
        if (v->tableDelegate())
            v->tableDelegate()->setNumHeaderRows(count);
    if (TableModel* m = tableModel(); m && m->getNumHeaderRows() != count)
        m->setNumberOfHeaderRows(count);
    frozenRows->setNumRows(count);
    frozenCorner->setNumRows(count);
    if (before == 0 && count > 0)
        frozenRows->horizontalScrollBar()->setValue(horizontalScrollBar()->value());
    setFreezeHeaderRows(freezeHeaderRows, false);
    if (autoFit) {
        enforceAutoFitColWidth(true);
        enforceAutoFitRowHeight(true);
    }
    if (notify)
        emit fileMetadataChangedSignal();
}

void TableView::setNumberOfHeaderColumns(int count, bool autoFit) {
    count = std::max(0, count);
    numHeaderCols = count;
    for (AbstractTableView* v :
         {static_cast<AbstractTableView*>(this), static_cast<AbstractTableView*>(frozenRows),
          static_cast<AbstractTableView*>(frozenCols), static_cast<AbstractTableView*>(frozenCorner)})
        if (v->tableDelegate())
            v->tableDelegate()->setNumHeaderCols(count);
    if (TableModel* m = tableModel(); m && m->getNumHeaderCols() != count)
        m->setNumberOfHeaderCols(count);
    frozenCols->setNumCols(count);
    frozenCorner->setNumCols(count);
    setFreezeHeaderColumns(freezeHeaderCols, false);
    if (autoFit) {
        enforceAutoFitColWidth(true);
        enforceAutoFitRowHeight(true);
    }
}

void TableView::setFrozenPos() {
    const int labelHeight = horizontalHeader()->isHidden() ? 0 : horizontalHeader()->height();
    const int labelWidth = verticalHeader()->isHidden() ? 0 : verticalHeader()->width();
    const int frame = frameWidth();
    frozenRows->move(frame, frame + labelHeight);
    frozenCols->move(frame + labelWidth, frame);
    frozenCorner->move(frame + labelWidth, frame + labelHeight);
}

void TableView::setHorizontalFrozenWidth() {
    const QSignalBlocker blocker(frozenRows);
    const int labelWidth = verticalHeader()->isHidden() ? 0 : verticalHeader()->width();
    frozenRows->resize(viewport()->width() + labelWidth + frameWidth() + 2, frozenRows->height());
}

void TableView::setVerticalFrozenHeight() {
    const QSignalBlocker blocker(frozenCols);
    const int labelHeight = horizontalHeader()->isHidden() ? 0 : horizontalHeader()->height();
    frozenCols->resize(frozenCols->width(), viewport()->height() + labelHeight + frameWidth() + 2);
}

void TableView::setHorizontalFrozenHeight() {
    // Each band ends just after the last header row (column); the corner covers both.
    frozenRows->resize(frozenRows->width(), frozenHeight() + 1);
    frozenCols->resize(frozenWidth() + 1, frozenCols->height());
    frozenCorner->resize(frozenWidth() + 1, frozenHeight() + 1);
}

void TableView::updateFrozenGeometry() {
    if (!frozenRows)
        return;
    // The frozen rows draw their own row labels in the main grid's label width, and the frozen
    // columns their column labels in its label height, so that all cells line up.
    frozenRows->verticalHeader()->setVisible(showRowLabels);
    frozenRows->verticalHeader()->setFixedWidth(verticalHeader()->width());
    frozenCols->horizontalHeader()->setVisible(showColLabels);
    frozenCols->horizontalHeader()->setFixedHeight(horizontalHeader()->height());
    setHorizontalFrozenWidth();
    setVerticalFrozenHeight();
    setHorizontalFrozenHeight();
    setFrozenPos();
    const int labelHeight = horizontalHeader()->isHidden() ? 0 : horizontalHeader()->height();
    const int labelWidth = verticalHeader()->isHidden() ? 0 : verticalHeader()->width();
    cornerButton->setGeometry(frameWidth(), frameWidth(), labelWidth, labelHeight);
    cornerButton->setVisible(labelWidth > 0 && labelHeight > 0);
    cornerButton->raise();
}

void TableView::frozenColResized(int col, int, int newWidth) {
    if (columnWidth(col) != newWidth)
        setColumnWidth(col, newWidth);
}

void TableView::columnResized(int col, int, int newWidth) {
    if (syncingSections)
        return;
    syncingSections = true;
    if (columnWidth(col) != newWidth)
        setColumnWidth(col, newWidth);
    // The frozen rows follow every column; the others hold only the header columns.
    if (frozenRows->columnWidth(col) != newWidth)
        frozenRows->setColumnWidth(col, newWidth);
    if (col < numHeaderCols) {
        for (FrozenTableView* frozen : {frozenCols, frozenCorner})
            if (frozen->columnWidth(col) != newWidth)
                frozen->setColumnWidth(col, newWidth);
    }
    syncingSections = false;
    if (col < numHeaderCols)
        updateFrozenGeometry();
}

void TableView::rowResized(int row, int, int newHeight) {
    if (syncingSections)
        return;
    syncingSections = true;
    if (rowHeight(row) != newHeight)
        setRowHeight(row, newHeight);
    if (frozenCols->rowHeight(row) != newHeight)
        frozenCols->setRowHeight(row, newHeight);
    if (row < numHeaderRows) {
        for (FrozenTableView* frozen : {frozenRows, frozenCorner})
            if (frozen->rowHeight(row) != newHeight)
                frozen->setRowHeight(row, newHeight);
    }
    syncingSections = false;
    if (row < numHeaderRows)
        updateFrozenGeometry();
}

void TableView::resizeEvent(QResizeEvent* event) {
    AbstractTableView::resizeEvent(event);
    updateFrozenGeometry();
    // Cells that came into view light up too.
    updateFindReplaceMatches();
}

void TableView::updateGeometries() {
    AbstractTableView::updateGeometries();
    updateFrozenGeometry();
}

bool TableView::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::Resize && frozenRows &&
        (watched == frozenRows->viewport() || watched == frozenCols->viewport()))
        return false;
    return AbstractTableView::eventFilter(watched, event);
}

void TableView::paintEvent(QPaintEvent* event) {
    if (paintSkipCount > 0) {
        --paintSkipCount;
        return;
    }
    AbstractTableView::paintEvent(event);
}

void TableView::refreshView() {
    viewport()->update();
    for (FrozenTableView* frozen : {frozenRows, frozenCols, frozenCorner})
        if (frozen->isVisible())
            frozen->refreshView();
}

// --- Settings ---------------------------------------------------------------------------

void TableView::propagateSettings(const Settings& source) {
    settings.clear();
    settings = source.copySettings();
    ownsSettings = true;
    snapToRow = settings.getValueBool(SnapToRow);
    snapToCol = settings.getValueBool(SnapToColumn);
    autoFitRowHeight = settings.getValueBool(AutoFitRowHeight);
    autoFitColWidth = settings.getValueBool(AutoFitColumnWidth);
    maxAutoFitRowHeight = settings.getValueInt(MaxAutoFitRowHeight);
    maxAutoFitColWidth = settings.getValueInt(MaxAutoFitColumnWidth);
    showRowLabels = settings.getValueBool(ShowRowLabels);
    showColLabels = settings.getValueBool(ShowColumnLabels);
    firstRowIndex = settings.getValueInt(FirstRowIndex);
    firstColIndex = settings.getValueInt(FirstColumnIndex);
    colLetters = settings.getValueBool(RepresentColumnsAsLetters);
    saveAfterEachEdit = settings.getValueBool(SaveAfterEachEdit);
    uuidType = settings.getUuidType();
    for (FrozenTableView* frozen : {frozenRows, frozenCols, frozenCorner})
        frozen->setUuidType(uuidType);
    suppressAutoFitWarnings = settings.getValueBool(SuppressAutoFitWarnings);
    freezeHeaderRows = settings.getValueBool(FreezeHeaderRows);
    freezeHeaderCols = settings.getValueBool(FreezeHeaderColumns);
    if (TableModel* m = tableModel()) {
        m->applySettings(settings);
        m->setFirstRowIndex(firstRowIndex);
        m->setFirstColIndex(firstColIndex);
        m->setColLetters(colLetters);
    }
    QFont f = settings.getFont();
    f.setPointSize(settings.getValueInt(TextSize));
    // Resizing reaches every row: on a large table it takes long, and it undoes the widths and
    // heights the user set. Settings that leave the sizes as they were (a theme, say) skip it.
    const QString sizing = QStringLiteral("%1|%2|%3|%4|%5|%6|%7|%8|%9")
                               .arg(settings.getValueInt(DefaultRowHeight))
                               .arg(settings.getValueInt(DefaultColumnWidth))
                               .arg(f.toString())
                               .arg(int(autoFitRowHeight))
                               .arg(int(autoFitColWidth))
                               .arg(maxAutoFitRowHeight)
                               .arg(maxAutoFitColWidth)
                               .arg(settings.getValueInt(HeaderRows))
                               .arg(settings.getValueInt(HeaderColumns));
    const bool resize = sizing != appliedSizing;
    if (resize) {
        setDefaultRowHeight(settings.getValueInt(DefaultRowHeight));
        setDefaultColumnWidth(settings.getValueInt(DefaultColumnWidth));
        setFont(f);
    }
    setTheme(settings.getTheme());
    applyLabelVisibility();
    applyVisibleHeaderRows(settings.getValueInt(HeaderRows), false, false);
    setNumberOfHeaderColumns(settings.getValueInt(HeaderColumns), false);
    // A new default size resets every row and column, and the font may have changed: a table
    // that already holds its file is fitted again.
    if (!loading && resize) {
        enforceAutoFitColWidth(false);
        enforceAutoFitRowHeight(false);
        appliedSizing = sizing;
    }
    refreshView();
}

Settings TableView::getSettings(bool tableOnly) const {
    Settings out = tableOnly ? settings.copySettings() : settings;
    if (!ownsSettings)
        return out;
    out.setValue(HeaderRows, numHeaderRows);
    out.setValue(HeaderColumns, numHeaderCols);
    out.setValue(FreezeHeaderRows, freezeHeaderRows);
    out.setValue(FreezeHeaderColumns, freezeHeaderCols);
    out.setValue(AutoFitRowHeight, autoFitRowHeight);
    out.setValue(AutoFitColumnWidth, autoFitColWidth);
    out.setValue(FirstRowIndex, firstRowIndex);
    out.setValue(FirstColumnIndex, firstColIndex);
    return out;
}

void TableView::setTheme(const Theme& t) {
    theme = t;
    tableDelegate()->setTheme(t);
    for (AbstractTableView* grid :
         {static_cast<AbstractTableView*>(this), static_cast<AbstractTableView*>(frozenRows),
          static_cast<AbstractTableView*>(frozenCols), static_cast<AbstractTableView*>(frozenCorner)}) {
        if (grid && grid->tableDelegate()) {
            grid->tableDelegate()->setEditorBackgroundColor(t.MainCellColor);
            grid->tableDelegate()->setTextColor(t.TextColor);
        }
    }
    for (FrozenTableView* frozen : {frozenRows, frozenCols, frozenCorner})
        if (frozen)
            frozen->setTheme(t);
    if (TableModel* m = tableModel())
        m->setTheme(t);
    setLineColor(t.HighlightedLineColor);
    QPalette p = palette();
    p.setColor(QPalette::Base, t.CellColor);
    p.setColor(QPalette::Window, t.Background1Color);
    p.setColor(QPalette::Text, t.TextColor);
    p.setColor(QPalette::WindowText, t.StaticTextColor);
    p.setColor(QPalette::Button, t.HeaderColor);
    p.setColor(QPalette::ButtonText, t.StaticTextColor);
    p.setColor(QPalette::Mid, t.Background5Color);
    setPalette(p);
    for (FrozenTableView* frozen : {frozenRows, frozenCols, frozenCorner})
        if (frozen)
            frozen->setPalette(p);
    cornerButton->setColor(t.HeaderColor);
    cornerFiller->setColor(t.Background1Color);
    refreshView();
}

void TableView::setFont(const QFont& f) {
    cellFont = f;
    textSize = f.pointSize() > 0 ? f.pointSize() : textSize;
    AbstractTableView::setFont(f);
    tableDelegate()->setFont(f);
    for (FrozenTableView* frozen : {frozenRows, frozenCols, frozenCorner}) {
        if (frozen) {
            frozen->setFont(f);
            if (frozen->tableDelegate())
                frozen->tableDelegate()->setFont(f);
        }
    }
    if (TableModel* m = tableModel())
        m->setFont(f);
}

void TableView::setTextSize(int size) {
    if (size <= 0)
        return;
    QFont f = cellFont;
    f.setPointSize(size);
    setFont(f);
    enforceAutoFitRowHeight(false);
    enforceAutoFitColWidth(false);
}

void TableView::setShowRowLabels(bool on) {
    showRowLabels = on;
    applyLabelVisibility();
}

void TableView::setShowColumnLabels(bool on) {
    showColLabels = on;
    applyLabelVisibility();
}

void TableView::applyLabelVisibility() {
    verticalHeader()->setVisible(showRowLabels);
    horizontalHeader()->setVisible(showColLabels);
    updateFrozenGeometry();
}

int TableView::askSaveQuestion(const QString& text, QWidget* parent) {
    if (saveQuestionHook)
        return saveQuestionHook(text);
    const int answer = MsgBox::ask(parent, text,
                                   {{QStringLiteral("&Save"), QMessageBox::AcceptRole},
                                    {QStringLiteral("Do&n't Save"), QMessageBox::DestructiveRole},
                                    {QStringLiteral("&Cancel"), QMessageBox::RejectRole}},
                                   0);
    return answer < 0 ? 2 : answer;
}

void TableView::setReadOnly(bool on, bool initial) {
    TableModel* m = tableModel();
    // A cell being edited counts among the changes to ask about, and its editor can't stay open
    // on a read-only table.
    if (!initial)
        stopEditing(true);
    if (!initial && on && m && isModified()) {
        const QString name = QFileInfo(m->getTableData().getFilepath()).fileName();
        const int answer =
            askSaveQuestion(QStringLiteral("Do you want to save changes to %1?").arg(name), this);
        if (answer == 2)
            return;
        if (answer == 0 && !m->saveCSV(true, false)) {
            MsgBox::inform(this, QStringLiteral("File failed to save."));
            return;
        }
    }
    if (!initial && m) {
        // The program's own preference files stay editable.
        const QString path = QFileInfo(m->getTableData().getFilepath()).absoluteFilePath();
        const QString dataFolder = Utilities::getAppDataLocation();
        for (const char* name : {"Settings (User).csv", "Shortcuts (User).csv"})
            if (on && !path.isEmpty() && path == QDir(dataFolder).absoluteFilePath(QString::fromLatin1(name)))
                return;
    }
    undoStackObject->clear();
    markClean();
    fileMode = on ? FileMode::ReadOnly : FileMode::Editable;
    readOnlyView = on;
    for (FrozenTableView* frozen : {frozenRows, frozenCols, frozenCorner})
        frozen->setReadOnlyView(on);
    context = on ? context + ContextReadOnly : context - ContextReadOnly;
    const int precision = on ? 50 : 1000;
    horizontalHeader()->setResizeContentsPrecision(precision);
    verticalHeader()->setResizeContentsPrecision(precision);
    if (m)
        m->setReadOnly(on);
    refreshView();
    emit fileMetadataChangedSignal();
}

void TableView::setReadOnlyAndLoad(bool on) {
    TableModel* m = tableModel();
    if (!m)
        return;
    const bool wasReadOnly = fileMode == FileMode::ReadOnly;
    setReadOnly(on, false);
    if ((fileMode == FileMode::ReadOnly) != on || wasReadOnly == on)
        return;
    TableData& data = m->getTableData();
    const QString path = data.getFilepath();
    if (path.isEmpty())
        return;
    m->loadCSV(path, false, on ? TableData::ReadOnly : TableData::Editable, data.getDelimiterText(),
               data.getSaveDelimiterText(), data.getEncoding(), data.getParsingStandard());
}

// --- Loading ----------------------------------------------------------------------------

void TableView::onLoadStarted() {
    loading = true;
    setUpdatesEnabled(false);
    hide();
}

void TableView::onLoadProgressUpdate(int current, int total, int sizeInMiB) {
    const int percent = total > 0 ? static_cast<int>(static_cast<qint64>(current) * 100 / total) : 0;
    emit loadProgressSignal(std::clamp(percent, 0, 100), sizeInMiB);
}

void TableView::onLoadFinished() {
    loading = false;
    for (FrozenTableView* frozen : {frozenRows, frozenCols, frozenCorner})
        frozen->setLoading(false);
    TableModel* m = tableModel();
    if (m) {
        fileMode = m->isReadOnly() ? FileMode::ReadOnly : FileMode::Editable;
        readOnlyView = m->isReadOnly();
        context = readOnlyView ? context + ContextReadOnly : context - ContextReadOnly;
        horizontalHeader()->setResizeContentsPrecision(50);
        verticalHeader()->setResizeContentsPrecision(50);
    }
    warnAutoFitIfLargeFile();
    setUpdatesEnabled(true);
    enforceAutoFitColWidth(false);
    enforceAutoFitRowHeight(false);
    applyVisibleHeaderRows(numHeaderRows, false, false);
    setNumberOfHeaderColumns(numHeaderCols, false);
    show();
    scrollToTopLeft();
    emit loadFinishedSignal();
}

void TableView::onSelectionChanged() {
    refreshView();
}

void TableView::onEnforceTableSize() {
    if (TableModel* m = tableModel())
        m->enforceTableSize();
}

void TableView::onRefreshHeaders() {
    horizontalHeader()->viewport()->update();
    verticalHeader()->viewport()->update();
}

void TableView::onCustomContextMenu(const QPoint& pos) {
    TableModel* m = tableModel();
    if (!m || loading)
        return;
    // A click outside the selection first selects the cell under the pointer.
    const Range cell = cellAtPos(pos.x(), pos.y());
    if (cell.isValid() && !m->cellInSelection(cell.row, cell.col))
        moveSelectionAbsolute(cell.row, cell.col);
    CommandMenus::exec(this, contextMenuActions, viewport()->mapToGlobal(pos));
}

// --- Keys and wheel ---------------------------------------------------------------------

void TableView::keyPressEvent(QKeyEvent* event) {
    // Up and Down that a QuickEdit passes on end the edit and then move as usual.
    if (editingCell && (event->key() == Qt::Key_Up || event->key() == Qt::Key_Down) && openEditor) {
        stopEditing(true);
        keyPressEvent(event);
        return;
    }
    // Every other key with a meaning of its own is a command's shortcut and reaches the window's
    // action first. Tab and Backtab walk a run of columns, which no command does.
    if (!middleButtonDragActive() && !loading && !leftPressed && tableModel() && !editingCell) {
        const Qt::KeyboardModifiers mods = event->modifiers() & ~Qt::KeypadModifier;
        if (event->key() == Qt::Key_Tab && mods == Qt::NoModifier) {
            nextColumnWithColumnReset();
            event->accept();
            return;
        }
        if (event->key() == Qt::Key_Backtab) {
            previousColumnWithColumnReset();
            event->accept();
            return;
        }
    }
    AbstractTableView::keyPressEvent(event);
}

void TableView::wheelEvent(QWheelEvent* event) {
    event->accept();
    const QPoint pixels = event->pixelDelta();
    if (!pixels.isNull()) {
        const bool horizontal = std::abs(pixels.x()) > std::abs(pixels.y());
        QScrollBar* bar = horizontal ? horizontalScrollBar() : verticalScrollBar();
        bar->setValue(std::max(0, bar->value() - (horizontal ? pixels.x() : pixels.y())));
        snapAxis = horizontal ? Axis::Col : Axis::Row;
        snapTimer->start();
        return;
    }
    const QPoint angle = event->angleDelta();
    const int delta = angle.y() != 0 ? angle.y() : angle.x();
    if (delta == 0)
        return;
    const Qt::KeyboardModifiers mods = event->modifiers();
    const int notches = std::max(1, std::abs(delta) / 120);
    const int rowStep = QApplication::wheelScrollLines() * verticalHeader()->defaultSectionSize() * notches;
    const int colStep =
        QApplication::wheelScrollLines() * horizontalHeader()->defaultSectionSize() * notches / 2;
    if (mods == Qt::ControlModifier)
        scroll(delta > 0 ? Direction::Up : Direction::Down, true);
    else if (mods == Qt::ShiftModifier || (mods == Qt::NoModifier && angle.y() == 0))
        scroll(delta > 0 ? Direction::Left : Direction::Right, false, colStep, 0);
    else if (mods == Qt::NoModifier)
        scroll(delta > 0 ? Direction::Up : Direction::Down, false, 0, rowStep);
    else
        scroll(delta > 0 ? Direction::Left : Direction::Right, true);
}
