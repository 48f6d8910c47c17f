#pragma once

#include "preferences/settings.h"
#include "preferences/theme.h"
#include "storage/fileparameters.h"
#include "table/filterdata.h"
#include "table/findreplacequery.h"
#include "table/sortdata.h"
#include "view/abstracttableview.h"
#include "window/context.h"

#include <QFont>
#include <QPointer>

#include <functional>
#include <memory>
#include <vector>

namespace Utilities {
struct TextBlock;
}
class FrozenTableView;
class QuickEdit;
class QProgressDialog;
class QTimer;
class QUndoStack;
class TableUndoCommand;
class WorkerProgress;
enum class DateTimeFormatType;
enum class NumberFormatType;
class ScrollAreaBottomRightCornerWidget;
class TLCornerButton;

// The grid of one open table. Header rows and columns stay on screen through three frozen
// views laid over its edges; scrolling snaps to rows and columns; row heights and column
// widths fit their contents by sampling. It works without a window around it.
class TableView : public AbstractTableView {
    Q_OBJECT

public:
    // Row or column counts from which auto-fit warns before a load.
    static constexpr int autoFitWarningThreshold = 10001;
    // Auto-fit examines every row (column) below this index and samples beyond it.
    static constexpr int autoFitFullSampleCount = 100;
    static constexpr int autoFitColSampleDivisor = 1000;
    static constexpr int autoFitRowSampleDivisor = 100;

    // A main cell this long or longer is edited in the editor pane only.
    static constexpr int largeCellLength = 121;

    explicit TableView(QWidget* parent = nullptr);
    ~TableView() override;

    void setModel(QAbstractItemModel* model) override;
    FrozenTableView* frozenView(int type) const; // 1 rows, 2 columns, 3 corner
    QUndoStack* undoStack() const { return undoStackObject; }

    // --- Navigation and selection (tableview_selection.cpp) -----------------------------
    void moveSelectionRelative(int rows, int cols) override;
    void moveSelectionAbsolute(int row, int col) override;
    void moveSelectionOneScreen(Direction direction);
    void moveSelectionByBlock(Direction direction);
    void extendSelection(Direction direction, bool block);
    Range findFarthestSelectedCellInDirection(Direction direction) const;
    void selectRow(int row);
    void selectCol(int col);
    void selectEntireTable();
    void addWholeTableToSelection();
    void selectEntireRows();
    void selectEntireCols();
    void selectEntireRowsHeaderExcluded();
    void selectEntireColsHeaderExcluded();
    void goToTop();
    void goToBottom();
    void goToFarLeft();
    void goToFarRight();
    void refreshView() override;

    // --- What the selected cells name (tableview_links.cpp) ---------------------------------
    // Each opens its addresses with the desktop; false when the selection names none.
    bool followSelectedHyperlinks();
    bool emailSelectedAddresses();
    // With the search engine and the online map of the table's settings.
    bool webSearchForSelectedTerms();
    bool webSearchForSelectedPlacesInMap();

    // --- Selections to an edge (tableview_navigation.cpp) -------------------------------------
    // Extends the selection from the main cell to the table's edge in `direction`; with
    // `headerExcluded` it stops after the header rows (columns).
    void selectToEdge(Direction direction, bool headerExcluded);

    // --- Cells shifted, cleared or turned (tableview_cells.cpp) -----------------------------
    // Each is one undo step; false when there was nothing to change.
    bool insertCellsMoveRestOfRowRight();
    bool insertCellsMoveRestOfColumnDown();
    bool removeSelectedCellsMoveRestOfRowLeft();
    bool removeSelectedCellsMoveRestOfColumnUp();
    bool removeSelectedCellsAndTheRestOfTheirRows();
    bool removeSelectedCellsAndTheRestOfTheirColumns();
    bool transposeSelectedCells();
    // Removes the empty rows (columns); with `selectedOnly` those empty in the selected
    // columns (rows).
    bool removeEmptyLines(Axis axis, bool selectedOnly);

    // --- Scrolling (tableview_scroll.cpp) -------------------------------------------------
    void scroll(Direction direction, bool page, int dx = 0, int dy = 0);
    // Brings the cell into view: with `nearest` by the least movement, otherwise centred.
    void scrollToCell(int row, int col, bool toEdge, bool nearest);
    void scrollToCellAxis(int index, bool nearest, Axis axis);
    void scrollToMainCell(bool animate, bool toEdge);
    void scrollToRow(int row, bool animate, bool toEdge);
    void scrollToCol(int col, bool animate, bool toEdge);
    void scrollToTopLeft();
    void snapScrollBarPosition(Axis axis);
    // Height of the frozen header rows on screen (0 when not frozen); width of the columns.
    int frozenHeight() const;
    int frozenWidth() const;

    // --- Frozen parts (tableview.cpp) ----------------------------------------------------
    void setupFrozenHeaders();
    void setFrozenColWidths(bool all);
    void setFrozenRowHeights(bool all);
    // After a load: every column width and row height to the frozen parts, the rows of the
    // frozen columns only while they are shown (else when they next show).
    void syncFrozenPartsAfterLoad();
    void setFreezeHeaderRows(bool on, bool notify);
    void setFreezeHeaderColumns(bool on, bool notify);
    void applyVisibleHeaderRows(int count, bool autoFit, bool notify);
    void setNumberOfHeaderColumns(int count, bool autoFit);
    void setFrozenPos();
    void setHorizontalFrozenWidth();
    void setVerticalFrozenHeight();
    void setHorizontalFrozenHeight();
    bool getFreezeHeaderRows() const { return freezeHeaderRows; }
    bool getFreezeHeaderColumns() const { return freezeHeaderCols; }
    int getNumHeaderRows() const { return numHeaderRows; }
    int getNumHeaderCols() const { return numHeaderCols; }

    // --- Sorting (tableview_sort.cpp) -----------------------------------------------------
    // Sorts by a known key, with undo; a sort that runs long shows progress with Cancel. A
    // read-only table changes only the order it shows its file in, without undo. These return
    // whether the table changed (or, for select, the selection).
    bool sortRowsOrCols(const SortData& sortData);
    // Rows by the main cell's column (Row), or columns by its row (Col).
    bool sortRowsOrCols(Axis axis, SortType type);
    // Sorts the values of the selected cells among themselves: within each row (Row) or within
    // each column (Col); the rest of the table stays.
    bool sortSelectedCells(Axis axis, SortType type);
    // Rows (Row) that repeat a row above them, below the header rows, compared over all columns
    // or over the selected ones only; columns (Col) the same way. One undo step removes them;
    // select makes them the selection.
    bool removeDuplicateRowsOrCols(Axis axis, bool basedOnSelection);
    bool selectDuplicateRowsOrCols(Axis axis, bool basedOnSelection);
    // After the lines of `axis` moved (a sort, its undo): with auto-fit on, the rows (Row) or
    // columns (Col) in view fit their new contents; the whole table where it is small.
    void fitAfterSort(Axis axis);

    // --- Filters and hidden rows and columns (tableview_filter.cpp) -----------------------
    // Adds filters, or replaces the one on the same row or column; shown lines that break a
    // filter already in place stay shown. One undo step; a read-only table changes without undo.
    bool includeFilterInList(const FilterData& filter);
    bool includeFiltersInList(const std::vector<FilterData>& filters);
    // Replaces the whole list (removing filters, editing them), keeping exceptions as they are.
    bool setFilterList(const std::vector<FilterData>& filters);
    // Applies every filter afresh, exceptions dropped.
    bool refreshFilters();
    // The filter on that raw row or column, or a default one.
    FilterData getFilterData(const Range& range) const;
    bool hideSelectedRows();
    bool hideSelectedColumns();
    bool hideAllButSelectedRows();
    bool hideAllButSelectedColumns();
    bool showHiddenRowsInSelection();
    bool showHiddenColumnsInSelection();
    bool showAllHiddenRows();
    bool showAllHiddenColumns();
    bool hideEmptyRows();
    bool hideEmptyColumns();
    bool showEmptyRows();
    bool showEmptyColumns();
    bool removeAllFilteredOutAndHiddenData();
    // Makes `list` the hand-hidden rows (columns): one undo step.
    bool includeHiddenLines(bool rows, const std::vector<int>& list);
    // Which raw lines of `axis` a filter text would keep, for a preview while the user types;
    // header lines are always kept. Stops with false after `limit` lines, or once `budgetMs`
    // have passed (when not negative); `looked` tells how many lines past the headers it read.
    bool previewFilter(const FilterData& filter, std::vector<int>& keptRaw, int limit, int& looked,
                       qint64 budgetMs = -1) const;
    // --- Find and replace (tableview_find.cpp) ---------------------------------------------
    // Each moves to (or selects) what it found and says noMatchSignal when there is nothing;
    // the replaces are one undo step each. All return whether they found something. Searches of
    // the whole table run on the worker with a progress dialog; Cancel leaves everything as it
    // was (and sets `canceled`).
    bool findNextMatch(const FindReplaceQuery& query, bool includeStart = false);
    bool findPrevMatch(const FindReplaceQuery& query, bool includeStart = false);
    std::vector<FindResult> findAll(const FindReplaceQuery& query, bool* canceled = nullptr);
    bool replaceNextMatch(const FindReplaceQuery& query, bool includeStart);
    bool replacePrevMatch(const FindReplaceQuery& query, bool includeStart);
    // `replaced` receives the number of cells changed. Up to a limit the changed cells become the
    // selection; past it only the first does, since selecting millions one by one would hold the
    // window far longer than the replace itself.
    bool replaceAll(const FindReplaceQuery& query, qsizetype* replaced = nullptr);
    bool addNextMatchToSelection(const FindReplaceQuery& query);
    bool selectAllMatches(const FindReplaceQuery& query);
    // The highlight (and replace preview) of the matches in the cells on screen.
    void updateFindReplaceMatches();
    void onFindReplaceEdited(const FindReplaceQuery& query);
    void onFindReplaceClosed();
    // Selects (or, within the selection, makes main) what a search found and shows it; says
    // noMatchSignal and returns false when it found nothing.
    bool showFoundMatch(Range found, const FindReplaceQuery& query);

    // --- Fit (tableview_fit.cpp) ---------------------------------------------------------
    void enforceAutoFitRowHeight(bool force);
    void enforceAutoFitRowHeight(int row);
    void enforceAutoFitRowHeights(const std::vector<int>& rows);
    void enforceAutoFitColWidth(bool force);
    void enforceAutoFitColWidth(int col);
    void enforceAutoFitColWidths(const std::vector<int>& cols);
    void enforceEmptyRowHeight();
    void enforceEmptyColumnWidth();
    int calculateAutoFitRowHeight(int row, int sampleDivisor) const;
    int estimateMaxWidthForColumnMainTable(int col, int sampleDivisor, int maxWidth, int minWidth,
                                           bool& allEmpty) const;
    // Asks whether to turn auto-fit off for a table of 10,001 or more rows or columns;
    // returns whether it asked.
    bool warnAutoFitIfLargeFile();
    void resizeColumnsToContents();
    void setDefaultRowHeight(int height);
    void setDefaultColumnWidth(int width);
    // Rows (columns) the selection touches get this size, in pixels.
    void setSelectedRowHeights(int height);
    void setSelectedColumnWidths(int width);
    void setMaxAutoFitRowHeight(int height);
    void setMaxAutoFitColWidth(int width);
    // The numbers the row and column labels start from.
    void setFirstRowIndex(int index);
    void setFirstColIndex(int index);
    bool getAutoFitRowHeight() const { return autoFitRowHeight; }
    bool getAutoFitColWidth() const { return autoFitColWidth; }
    // With `apply` the fit runs at once when turned on.
    void setAutoFitRowHeight(bool on, bool apply = true);
    void setAutoFitColWidth(bool on, bool apply = true);
    static bool suppressAutoFitWarnings;
    // Test seam: answers the auto-fit question instead of a message box. Gets the text and the
    // check box state to fill in; returns true for "disable".
    static std::function<bool(const QString& text, bool& suppress)> autoFitWarningHook;

    // --- Settings (tableview.cpp) --------------------------------------------------------
    void propagateSettings(const Settings& settings);
    Settings getSettings(bool tableOnly) const;
    void setTheme(const Theme& theme);
    void setFont(const QFont& font);
    void setTextSize(int size);
    // Flips one of this table's own switches (header highlight and freeze, auto-fit) and
    // applies it; false for a setting that isn't one of them.
    bool toggleTableSetting(SettingType type);
    bool getTableSettingBool(SettingType type) const;
    void setContext(Context bits) { context = bits; }
    Context getContext() const { return context; }
    void setReadOnly(bool on, bool initial);
    void setReadOnlyAndLoad(bool on);
    bool isReadOnly() const { return fileMode == FileMode::ReadOnly; }
    void setSnapToRow(bool on) { snapToRow = on; }
    void setSnapToCol(bool on) { snapToCol = on; }
    void setShowRowLabels(bool on);
    void setShowColumnLabels(bool on);
    void setPaintSkipCount(int n) { paintSkipCount = n; }
    // Test seam: answers the question about unsaved changes before the switch to read-only:
    // 0 save, 1 don't save, 2 cancel.
    static std::function<int(const QString& text)> saveQuestionHook;

    // --- File (tableview_file.cpp) -------------------------------------------------------
    // Reads `path` with the table's parameters, into the container of the current file mode;
    // `async` runs it on the load thread with the view hidden until it finishes.
    void loadCSV(const QString& path, bool async);
    // Unsaved changes. Until edits go through undo commands, a cell write outside the undo
    // stack also counts.
    bool isModified() const;
    void markClean();
    // The table holds what its file no longer does (the file was removed): it counts as unsaved.
    void markModified();
    bool getSaveAfterEachEdit() const { return saveAfterEachEdit; }
    // Before a reload: asks what to do with unsaved changes; false means stop.
    bool confirmDiscardUnsavedEditsForReload();
    // After a save: a table written with another delimiter than it was read with is read again
    // with the written one, so that it shows the columns the file now has.
    void onTableSaved();

    // --- Cell editing (tableview_edit.cpp) ------------------------------------------------
    // An edit of the main cell alone, in a QuickEdit or the editor pane; `clear` starts it
    // empty.
    void startEditing(bool clear, bool cursorAtEnd);
    // An edit that a key starts: every selected cell receives what is typed.
    void startEditing(bool clear, QKeyEvent* event);
    // Whether an edit may go ahead; a large main cell asks to open the editor pane.
    bool resolveEditPathForLargeMainCell(bool& usePane);
    // Before typed or pasted text goes into the cells: when the file's encoding has no codes for
    // some of its characters, the user picks between writing the file in UTF-8 from now on and
    // keeping the encoding, where those characters become "?".
    void offerEncodingForNewText(const QString& text, bool pasted);
    void stopEditing(bool commit) override;
    void deleteCells() override;
    void clearCellContents();
    bool isEditing() const { return editingCell; }
    QuickEdit* getQuickEdit() const;
    QWidget* activeEditorWidget() const override;
    const RangeVector& getEditTargets() const { return editTargets; }
    // The pane was opened by the question of this edit; the pane then puts the cursor at the
    // front. Reading it clears it.
    bool takePaneOpenedForThisEdit();
    bool isModalQuestionOpen() const { return modalQuestionOpen; }
    void nextColumnWithColumnReset();
    void previousColumnWithColumnReset();

    // --- Array drag (tableview_selection.cpp) ---------------------------------------------
    void onArrayDragStart(Axis axis, int index);
    void highlightDragArrays();
    void onArrayDragStop(Axis axis, int index);
    bool arrayDragActive() const { return arrayAxis != 3; }
    // Moves the selected whole rows (columns) by `offset`; the place where the move becomes
    // an undoable command.
    virtual void moveRowContentsRelative(int offset);
    virtual void moveColContentsRelative(int offset);

    // --- Cell transformations (tableview_transform.cpp) -------------------------------------
    // Each rewrites the selected cells as one undo step; false when nothing changed.
    bool upperCase();
    bool lowerCase();
    bool titleCase();
    bool upperCamelCase();
    bool lowerCamelCase();
    bool upperSnakeCase();
    bool lowerSnakeCase();
    bool convertToAcronym();
    bool convertDateTimeFormat(DateTimeFormatType from, DateTimeFormatType to, const QString& fromCustom,
                               const QString& toCustom);
    bool convertNumberFormat(NumberFormatType from, NumberFormatType to);
    bool placeCurrentDateTimeStamp();
    bool zeroFillWholeNumbers(int width);
    bool removeLeadingZeros();
    bool setNumDecimals(int count);
    bool trimSelectedCells();
    bool keepOnlyLeftPartOfCells(int index);
    bool keepOnlyRightPartOfCells(int index);
    bool keepOnlyMiddlePartOfCells(int index, int count);
    bool prependSingleValueToSelectedCells(const QString& text);
    bool appendSingleValueToSelectedCells(const QString& text);
    bool copyMainCellContentsToAllSelectedCells();
    // Every selected cell, empty ones too, gets the next item; the walk stops when they run out.
    bool fillSelectedCellsWithSeries(const QString& text, bool prepend, bool append);
    bool reshapeSelectionRowWise(int width);
    bool reshapeSelectionColWise(int height);
    bool joinSelectedCellsHorizontally(const QString& separator, bool closeGap);
    bool joinSelectedCellsVertically(const QString& separator);
    bool joinSelectedCellsHorizontallyMoveRowLeft(const QString& separator);
    // Split parts go to the right (below); whole new lines are inserted for them, or with
    // `cellsOnly` (horizontal only) just the rest of the row moves right.
    bool splitSelectedCells(Axis axis, const QString& delimiter, bool cellsOnly = false);
    bool splitSelectedCells(Axis axis, const std::vector<int>& indexes, bool cellsOnly = false);
    // (min, max) pairs: one is picked, then a value in it, both uniformly.
    bool placeRandomValuesInt(const std::vector<std::pair<double, double>>& ranges);
    bool placeRandomValuesDouble(const std::vector<std::pair<double, double>>& ranges, int places);
    bool fillCellsWithUuids(bool braces, bool upperCase, UuidType type);
    // A column "ID" before the first column numbered from `firstValue` below the header rows,
    // or, when the first column is already that, renumbered.
    bool addIdColumn(int firstValue);
    bool updateIdColumn();
    bool hasIdColumn() const;
    // The selection's texts through `fn`, empty cells left alone.
    bool transformSelectedCells(const std::function<QString(const QString&)>& fn);
    // Empties a selection of more cells than the window should work on at once, on the worker
    // behind a progress dialog; false, doing nothing, for a smaller one.
    bool clearLargeSelection();
    // `fn` (text, index in the walk) over the selected cells row by row, empty ones passed over
    // with `skipEmpty`. A large selection is worked on the model's worker behind a progress
    // dialog with Cancel; a canceled one changes nothing.
    bool transformSelectedCells(const std::function<QString(const QString&, std::size_t)>& fn,
                                bool skipEmpty);

    // --- Undo and the operations that go through it (tableview_undo.cpp) -------------------
    void undo();
    void redo();
    // The push pattern: a valid command goes on the stack, any other is deleted. False when
    // the command was dropped or the table is read-only.
    bool pushCommand(TableUndoCommand* command);
    // The same, a long write of the command's (TableModel::kLongWriteCells) showing `label` and
    // `title` in its progress dialog.
    bool pushCommand(TableUndoCommand* command, const QString& label, const QString& title);
    void clearUndoStack();
    // Reads the file again with its parameters; the history goes, since it no longer fits.
    void reloadFile();
    void setUndoStackClean();
    // Lines: the selected ones when the list is empty.
    bool insertRows(std::vector<int> rows, int count, bool after);
    bool insertCols(std::vector<int> cols, int count, bool after);
    bool removeRows(std::vector<int> rows = {});
    bool removeCols(std::vector<int> cols = {});
    bool removeEmptyRowsColsAtEnd();
    bool moveRowsRelative(int delta, std::vector<int> rows = {});
    bool moveColsRelative(int delta, std::vector<int> cols = {});
    bool moveRowsAbsolute(int target, std::vector<int> rows = {});
    bool moveColsAbsolute(int target, std::vector<int> cols = {});
    bool duplicateRows(int count, bool below, std::vector<int> rows = {});
    bool duplicateCols(int count, bool below, std::vector<int> cols = {});
    // The selected cells.
    bool moveCellContents(int rows, int cols);
    bool duplicateCellContents(Direction direction);
    // Copies the selected cells so that the main cell's copy lands on (row, col) and the others
    // keep their places around it; the copy is then selected. False when a copy would fall off
    // the top or left, or more than a million lines past the data.
    bool duplicateCellContentsTo(int row, int col);
    bool setCellValues(const RangeVector& cells);
    // Copies the values of `source`'s value columns into this table's rows whose key matches,
    // from `destValueCol` on, into new columns or over existing ones: one undo step (in
    // tableview_lookup.cpp). Columns are model columns of their tables.
    bool columnLookup(TableModel* source, int keyCol, std::vector<int> valueCols, int destKeyCol,
                      int destValueCol, bool insertNewCols, QString mismatchValue);
    bool transposeTable();
    bool setDelimiterForFileSave(const QString& delimiter);
    bool setLineEndingForFileSave(LineEndingType lineEnding);
    bool setEncodingForFileSave(EncodingType encoding);
    bool setParsingStandardForFileSave(ParsingStandard standard);
    void commitMiddleButtonDrag(const RangeVector& cells) override;

    // --- Clipboard (tableview_clipboard.cpp) ---------------------------------------------
    // Copies put the selection on the system clipboard; pastes are one undo step each and
    // answer false when there was nothing to paste. A large copy or paste shows progress.
    bool copyCells(bool includeHeaders);
    bool cutCells();
    bool pasteCells();
    // `format` is "Delimiter" (with `delimiter`), "Markdown", "HTML" or "Straight Text".
    bool pasteCellsWithFormat(const QString& format, const QString& delimiter);
    bool copyCellsToMarkdown(bool includeHeaders);
    bool copyCellsToHtml(bool includeHeaders);
    // Spreads the text of each selected cell into a table from that cell rightwards and
    // downwards; with `detect` the format is found from the text itself.
    bool parseSelectedCellContentsAsTable(const QString& format, const QString& delimiter, bool detect);
    // A reader's block at the main cell (or over the selection, for one cell).
    bool pasteBlock(Utilities::TextBlock pasted);
    bool dropCells(const QMimeData* mime, const Range& target) override;

public slots:
    void onLoadStarted();
    void onLoadProgressUpdate(int current, int total, int sizeInMiB);
    void onLoadFinished();
    // A save that outlasts a moment shows its progress; input waits until it ends.
    void onSaveStarted();
    void onSaveProgress(int percent);
    void onSaveFinished();
    void onSelectionChanged();
    void onEnforceTableSize();
    void onRefreshHeaders();
    void onHorizontalSectionClicked(int col);
    void onHorizontalSectionCtrlClicked(int col);
    void onHorizontalSectionShiftClicked(int col);
    void onHorizontalSectionEntered(int col);
    void onHorizontalSectionReleased(int col);
    void onHorizontalSectionDoubleClicked(int col);
    void onVerticalSectionClicked(int row);
    void onVerticalSectionCtrlClicked(int row);
    void onVerticalSectionShiftClicked(int row);
    void onVerticalSectionEntered(int row);
    void onVerticalSectionReleased(int row);
    void onVerticalSectionDoubleClicked(int row);
    void columnResized(int col, int oldWidth, int newWidth);
    void rowResized(int row, int oldHeight, int newHeight);
    void frozenColResized(int col, int oldWidth, int newWidth);
    void onCustomContextMenu(const QPoint& pos);
    void onTableSavedOrLoaded();
    void onUndoStackCleanChanged(bool clean);
    void onCellTextEdited(const QString& text);
    void onCellEditingFinished();

signals:
    void startOffCellEditSignal(bool clear, bool cursorAtEnd);
    void startOffCellEditSignal(bool clear, QKeyEvent* event);
    void showEditorPaneSignal(bool show, bool animate);
    void mainCellLengthChangedSignal(int length);
    void addContextSignal(Context bits);
    void removeContextSignal(Context bits);
    // An edit is about to end: an editor outside the view hands in what it still holds.
    void editingAboutToStopSignal();
    void fileMetadataChangedSignal();
    void undoStackCleanChangedSignal(bool clean);
    void suppressAutoFitWarningsChangedSignal(bool on);
    void loadProgressSignal(int percent, int sizeInMiB);
    void loadFinishedSignal();
    // A find that found nothing for `text`.
    void noMatchSignal(QString text);

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;
    void updateGeometries() override;
    bool edit(const QModelIndex& index, EditTrigger trigger, QEvent* event) override;
    bool focusNextPrevChild(bool next) override;

private slots:
    void onNewDataCommitted();
    void onConcealmentChanged(bool filtersActive, bool hiddenActive);

private:
    // Pushes a concealment command, or on a read-only table runs it without undo.
    bool runConcealmentCommand(TableUndoCommand* command);
    // Keeps shown lines that break a filter (with `keepViolations`), then runs what `build` makes;
    // a cancel at either step changes nothing.
    bool applyConcealmentChange(bool keepViolations,
                                const std::function<TableUndoCommand*(TableModel*)>& build);
    void connectSignalsWithModel();
    // Hands the model the cells this grid and its frozen parts show, to paint during a scan.
    void holdShownCells();
    // Shows a progress dialog over a long write of the model's (TableModel::kLongWriteCells),
    // labelled for what is running (undo, redo, or another step).
    void onLongWrite(bool started);
    bool pushCellValues(RangeVector& cells);
    // Moves the selected cells' rows (columns) on by the selection's width: `insert` opens
    // empty cells there, otherwise the cells go and the rest closes up.
    bool shiftSelectedCells(Axis axis, bool insert);
    bool clearRestOfLines(Axis axis);
    // The texts of the selected cells that aren't blank, in row order.
    QStringList selectedTexts() const;
    bool searchSelectedTexts(const QString& site);
    // The cell of line `line` along `axis` at `across`; an empty text outside the table.
    QVariant cellAt(Axis axis, int line, int across) const;
    void connectUndoSignals(TableModel* m);
    std::vector<int> selectedLines(Axis axis) const;
    void connectHeader(HeaderView* header, bool horizontal);
    void applyLabelVisibility();
    void updateFrozenGeometry();
    void selectWholeLines(Axis axis, int from, int to, bool add);
    void selectLinesOf(Axis axis, const std::vector<int>& indexes);
    static bool askAutoFitWarning(const QString& text, bool& suppress);
    void connectEditSignals(TableDelegate* d);
    // The grid (main or frozen) that shows the cell.
    AbstractTableView* gridForCell(int row, int col);
    void addContextBits(Context bits);
    void removeContextBits(Context bits);
    // The selection as targets of an edit: each value and old value the cell's text now.
    RangeVector editTargetsFromSelection() const;
    void beginEditState(bool clear);
    void moveAlongRunOfColumns(int step);
    void fillEditTargets(const QString& text);
    void widenColumnsForText(const QString& text);
    // Puts the old values back and drops lines the edit added past the data, so that the
    // command that follows sees the table as it was.
    void restoreEditTargets();
    // Ends an edit whose cells went away under it, writing nothing.
    void abandonEdit();
    bool mainCellIsLarge() const;
    bool mainCellIsMultiLine() const;
    static int askSaveQuestion(const QString& text, QWidget* parent);
    int rowsInPage(int fromRow, Direction direction) const;

    FrozenTableView* frozenRows = nullptr;
    FrozenTableView* frozenCols = nullptr;
    FrozenTableView* frozenCorner = nullptr;
    TLCornerButton* cornerButton = nullptr;
    ScrollAreaBottomRightCornerWidget* cornerFiller = nullptr;
    QTimer* snapTimer = nullptr;
    Axis snapAxis = Axis::Row;
    QUndoStack* undoStackObject = nullptr;
    // Set while a command runs, so that a save inside it marks the stack clean after the push.
    bool runningCommand = false;
    // While a long write runs; its label, and its title, say what the write belongs to.
    std::unique_ptr<WorkerProgress> longWriteProgress;
    QString longWriteLabel;
    QString longWriteTitle;

    Settings settings;
    bool ownsSettings = false; // whether propagateSettings has given the view its settings
    // What propagateSettings last sized the rows and columns by (defaults, font, auto-fit).
    QString appliedSizing;
    Theme theme;
    QFont cellFont;
    int textSize = 12;
    int numHeaderRows = 1;
    int numHeaderCols = 0;
    bool freezeHeaderRows = true;
    bool freezeHeaderCols = false;
    bool snapToRow = true;
    bool snapToCol = false;
    bool autoFitRowHeight = false;
    bool autoFitColWidth = true;
    int maxAutoFitRowHeight = 240;
    int maxAutoFitColWidth = 800;
    int defaultRowHeight = 24;
    int defaultColWidth = 80;
    bool showRowLabels = true;
    bool showColLabels = true;
    int firstRowIndex = 0;
    int firstColIndex = 0;
    bool colLetters = false;
    enum class FileMode { Editable, ReadOnly };
    FileMode fileMode = FileMode::Editable;
    bool saveAfterEachEdit = false;
    Context context;
    int paintSkipCount = 0;
    bool editedOutsideUndo = false;
    bool syncingSections = false;
    // Whether the frozen columns have had every row height copied once; later changes follow
    // row by row.
    bool frozenColsSynced = false;

    // The edit in progress.
    RangeVector editTargets;
    // The fields the targets' stored rows had as read, given back when the typed text is taken
    // out of the cells again (see TableUndoCommand::readFieldsAsRead).
    std::vector<std::pair<int, int>> editFieldsAsRead;
    bool editClear = false;
    QString editText;
    bool editTextSet = false;
    int editRawRows = 0;
    int editRawCols = 0;
    QPointer<QuickEdit> openEditor;
    QPointer<QProgressDialog> saveProgressDialog;
    // The editor of the edit in progress, compared by address only: it may be gone already.
    const QuickEdit* quickEditOfEdit = nullptr;
    bool paneOpenedForThisEdit = false;
    bool modalQuestionOpen = false;
    bool stoppingEdit = false;
    // Writes of the edit itself, which the undo command that ends it accounts for.
    bool writingEdit = false;

    // Array drag.
    int arrayAxis = 3; // 0 rows, 1 columns, 3 none
    int arrayStart = -1;
    int arrayCurrent = -1;
    std::vector<int> arraySelected;
    // Whole-line selection by dragging over labels.
    int labelPressIndex = -1;
};
