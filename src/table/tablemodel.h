#pragma once

#include "preferences/theme.h"
#include "storage/fileparameters.h"
#include "table/filterdata.h"
#include "table/findreplacequery.h"
#include "table/progressboundaries.h"
#include "table/range.h"
#include "table/rangevector.h"
#include "table/sortdata.h"
#include "table/tabledata.h"

#include <QAbstractTableModel>
#include <QBrush>
#include <QColor>
#include <QFont>
#include <QHash>
#include <QRegularExpression>

#include <functional>
#include <map>
#include <memory>
#include <utility>
#include <vector>

class QMimeData;
class QMutex;
class QThread;
class QWaitCondition;
class Settings;
class TableModelWorker;
namespace Utilities {
struct TextBlock;
}

// Membership of model cells in a list of ranges, in a form that data() can ask per painted
// cell: single cells, rows and columns by binary search, the few blocks by a scan.
struct TableModelCellLookup {
    std::vector<std::pair<int, int>> cells; // (row, col), sorted
    std::vector<Range> rowRanges;           // sorted by row
    std::vector<Range> colRanges;           // sorted by column
    std::vector<Range> others;              // Table members
};

// The single object through which views, undo commands and tools see one file. On top of
// TableData it keeps the grid larger than the data (buffer rows and columns), the labels,
// the selection with its main cell, the conversions between raw, model and user indexes,
// the cell colours, and the reading and writing of whole ranges.
//
// Qt's own selection is not used: flags() never says selectable, and the selection lives in
// this object as a RangeVector of model ranges.
// The sum and mean of the selected numbers as far as they are read: the rows and columns that
// hold a selected cell, and the place where the reading goes on.
struct SelectionStats {
    std::vector<int> rows;
    std::vector<int> cols;
    bool wholeBlock = false;
    std::size_t nextRow = 0;
    std::size_t nextCol = 0;
    double sum = 0;
    qint64 count = 0;
    bool done() const { return nextRow >= rows.size(); }
};

class TableModel : public QAbstractTableModel {
    Q_OBJECT

public:
    // A cell never shows more than this many characters; longer texts end in "...".
    static constexpr int maxCellDisplayLength = 4096;
    // The main cell's row and column in a selection that holds none yet.
    static constexpr int kNoIndex = -1;

    // `forTableView` is false for plain working models (subsets, preference files) that no
    // view shows.
    explicit TableModel(bool forTableView = true, QObject* parent = nullptr);
    ~TableModel() override;

    TableData& getTableData() { return tableData; }
    const TableData& getTableData() const { return tableData; }
    bool isForTableView() const { return forTableView; }

    // --- Qt model -----------------------------------------------------------------------
    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    int columnCount(const QModelIndex& parent = QModelIndex()) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    bool setData(const QModelIndex& index, const QVariant& value, int role = Qt::EditRole) override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;
    // Outside enforceTableSize these change the data and the view together; inside it they
    // change only the size the view is told.
    bool insertRows(int row, int count, const QModelIndex& parent = QModelIndex()) override;
    bool insertColumns(int column, int count, const QModelIndex& parent = QModelIndex()) override;
    bool removeRows(int row, int count, const QModelIndex& parent = QModelIndex()) override;
    bool removeColumns(int column, int count, const QModelIndex& parent = QModelIndex()) override;

    // Writes one raw cell and tells the view about the model cell, if it is shown.
    bool setDataRaw(int rawRow, int rawCol, const QVariant& value);

    // --- Settings, theme, fonts ---------------------------------------------------------
    void applySettings(const Settings& settings);
    void setTheme(const Theme& theme);
    const Theme& getTheme() const { return theme; }
    void setFont(const QFont& cellFont);
    QFont getFont() const { return font; }
    void setBoldHeaderRows(bool on);
    void setBoldHeaderCols(bool on);
    void setShadeEveryOtherRow(bool on);
    void setShadeEveryOtherCol(bool on);
    void setHighlightMainCellRow(bool on);
    void setHighlightMainCellCol(bool on);
    void setFirstRowIndex(int index);
    void setFirstColIndex(int index);
    void setColLetters(bool on);
    bool isReadOnly() const { return readOnly; }
    // The view switches the mode of a loaded table; writes are refused while it is on.
    void setReadOnly(bool on) { readOnly = on; }
    QString getExtension() const { return extension; }
    void setExtension(const QString& ext);
    QString getDelimiter() const { return delimiter; }
    QString getDelimiterSave() const { return delimiterSave; }
    void setDelimiter(const QString& readDelimiter, const QString& writeDelimiter);
    // Which file parameters the user chose on this table; saving under another extension
    // keeps those and takes the others from the new extension.
    bool getUserSetDelimiter() const { return userSetDelimiter; }
    bool getUserSetLineEnding() const { return userSetLineEnding; }
    bool getUserSetEncoding() const { return userSetEncoding; }
    bool getUserSetParsingStandard() const { return userSetParsingStandard; }
    void setUserSetDelimiter(bool on) { userSetDelimiter = on; }
    void setUserSetLineEnding(bool on) { userSetLineEnding = on; }
    void setUserSetEncoding(bool on) { userSetEncoding = on; }
    void setUserSetParsingStandard(bool on) { userSetParsingStandard = on; }

    // --- Size ---------------------------------------------------------------------------
    int rowCountModel() const { return tableData.numModelRows(); }
    int columnCountModel() const { return tableData.numModelCols(); }
    int rowCountRaw() const { return tableData.numRawRows(); }
    int columnCountRaw() const { return tableData.numRawCols(); }
    // Keeps the grid one buffer larger than the data and the selection, at least the minimum.
    void enforceTableSize();
    void enforceTableSizeView() { emit enforceTableSizeSignal(); }
    void setMinNumTableRows(int n);
    void setMinNumTableCols(int n);
    void setNumBufferRows(int n);
    void setNumBufferCols(int n);
    int getMinNumTableRows() const { return minNumTableRows; }
    int getMinNumTableCols() const { return minNumTableCols; }
    int getNumBufferRows() const { return numBufferRows; }
    int getNumBufferCols() const { return numBufferCols; }
    // The explicit shrink after the selection walked past the data and came back.
    void removeExtraneousRows(bool& changed);
    void removeExtraneousCols(bool& changed);
    // Model indexes of the last or first row (column) that holds a value; -1 when none.
    int findBottomOccupiedRow() const;
    int findRightmostOccupiedCol() const;
    int findTopOccupiedRow() const;
    int findLeftmostOccupiedCol() const;
    int numEmptyRowsRawAtEnd() const { return tableData.numEmptyRowsRawAtEnd(); }
    int numEmptyColumnsRawAtEnd() const { return tableData.numEmptyColsRawAtEnd(); }
    // Model rows (columns) that are empty in every column (row), ascending.
    std::vector<int> getEmptyRowsModel() const;
    std::vector<int> getEmptyColumnsModel() const;

    // --- Index conversion ---------------------------------------------------------------
    std::vector<int> convertRowIndexType(const std::vector<int>& rows, RangeIndexType to,
                                         RangeIndexType from) const;
    std::vector<int> convertColIndexType(const std::vector<int>& cols, RangeIndexType to,
                                         RangeIndexType from) const;
    int convertRowIndexType(int row, RangeIndexType to, RangeIndexType from) const;
    int convertColIndexType(int col, RangeIndexType to, RangeIndexType from) const;
    int getRawFromModelRow(int row) const { return tableData.getRawFromModelRow(row); }
    int getRawFromModelCol(int col) const { return tableData.getRawFromModelCol(col); }
    int getModelFromRawRow(int row) const { return tableData.getModelFromRawRow(row); }
    int getModelFromRawCol(int col) const { return tableData.getModelFromRawCol(col); }
    int getRawFromUserRow(int row) const;
    int getRawFromUserCol(int col) const;
    int getUserFromRawRow(int row) const;
    int getUserFromRawCol(int col) const;
    int getUserFromModelRow(int row) const { return getUserFromRawRow(getRawFromModelRow(row)); }
    int getUserFromModelCol(int col) const { return getUserFromRawCol(getRawFromModelCol(col)); }
    int getModelFromUserRow(int row) const { return getModelFromRawRow(getRawFromUserRow(row)); }
    int getModelFromUserCol(int col) const { return getModelFromRawCol(getRawFromUserCol(col)); }
    std::vector<int> getRawFromModelRows(const std::vector<int>& rows) const;
    std::vector<int> getRawFromUserRows(const std::vector<int>& rows) const;
    std::vector<int> getModelFromRawRows(const std::vector<int>& rows) const;
    std::vector<int> getUserFromRawRows(const std::vector<int>& rows) const;
    std::vector<int> getUserFromModelRows(const std::vector<int>& rows) const;
    std::vector<int> getModelFromUserRows(const std::vector<int>& rows) const;
    std::vector<int> getRawFromModelCols(const std::vector<int>& cols) const;
    std::vector<int> getRawFromUserCols(const std::vector<int>& cols) const;
    std::vector<int> getModelFromRawCols(const std::vector<int>& cols) const;
    std::vector<int> getUserFromRawCols(const std::vector<int>& cols) const;
    std::vector<int> getUserFromModelCols(const std::vector<int>& cols) const;
    std::vector<int> getModelFromUserCols(const std::vector<int>& cols) const;
    // A Cell converts row and column; a Row range its row, a Col range its column; a Table
    // range nothing positional. Values, ends and main-cell fields stay.
    Range getRawFromModelRange(const Range& range) const;
    Range getRawFromUserRange(const Range& range) const;
    Range getUserFromRawRange(const Range& range) const;
    Range getModelFromRawRange(const Range& range) const;
    Range getModelFromUserRange(const Range& range) const;
    Range getUserFromModelRange(const Range& range) const;
    Range convertRangeIndex(const Range& range, RangeIndexType to) const;
    RangeVector convertRangeIndex(const RangeVector& ranges, RangeIndexType to) const;
    Range getRawRange(const Range& range) const { return convertRangeIndex(range, RangeIndexType::Raw); }
    Range getModelRange(const Range& range) const { return convertRangeIndex(range, RangeIndexType::Model); }
    Range getUserRange(const Range& range) const { return convertRangeIndex(range, RangeIndexType::User); }
    RangeVector getRawRange(const RangeVector& r) const { return convertRangeIndex(r, RangeIndexType::Raw); }
    RangeVector getModelRange(const RangeVector& r) const {
        return convertRangeIndex(r, RangeIndexType::Model);
    }
    RangeVector getUserRange(const RangeVector& r) const {
        return convertRangeIndex(r, RangeIndexType::User);
    }

    // --- Selection ----------------------------------------------------------------------
    const RangeVector& getSelection() const { return selection; }
    const Range& getMainCell() const { return mainCell; }
    const Range& getPendingCornerStart() const { return pendingCornerStart; }
    const Range& getPendingCornerEnd() const { return pendingCornerEnd; }
    // One range becomes the selection; its main position is its main-cell fields (or its
    // first cell). Clears the keyboard extension.
    void setSelection(Range& range);
    // The list becomes the selection; the first member flagged as main gives the main cell.
    void setSelection(RangeVector& ranges, bool resetShift = true);
    void setSelection(Range& newMainCell, RangeVector& ranges);
    // Orders the selection row-major, drops duplicates, tidies exclusions and flags the
    // members that hold the main cell. Throws std::runtime_error for a main cell at -1.
    void sanitizeSelection();
    // Counts the selection and sends selectionSizeChangedSignal.
    RangeSize getSelectionSize();
    // The rectangle that the selected cells form, when they are all Cells and fill exactly
    // one rectangle (as last counted by getSelectionSize); Invalid otherwise.
    const Range& getSelectionBlock() const { return selectionBlock; }
    void resetShiftSelectInfo();
    // The mouse-drag rectangle in progress. An Invalid or negative start ends it.
    void setPendingCorners(const Range& start, const Range& end);
    void setPendingSelectionCorner(const Range& corner, bool isEnd = false);
    void setMainCell(Range& cell);
    // Shift+arrow: extends the selection by one cell or to the next block edge; a step
    // against the last one takes it back.
    bool selectUpOrDown(Direction direction, bool ctrlOnly, bool block, bool* handled = nullptr);
    bool selectLeftOrRight(Direction direction, bool ctrlOnly, bool block, bool* handled = nullptr);
    // Shifts the whole selection; the deltas are cut so the main cell stays inside the grid.
    void moveSelectionRelative(int rows, int cols);
    // An arrow key: the main cell moves one cell or one block and becomes the selection.
    bool moveSelectionVertically(Direction direction, bool block);
    bool moveSelectionHorizontally(Direction direction, bool block);
    void addCellToSelection(const Range& range);
    void addCellsToSelection(const RangeVector& ranges);
    void removeCellFromSelection(int row, int col);
    // Whether a model cell is selected, exclusions honoured.
    bool cellInSelection(const Range& cell) const;
    bool cellInSelection(int row, int col) const;
    // Empties the selection down to `keep` (the main cell when `keep` is Invalid).
    void clearSelection(const Range& keep = Range(RangeType::Invalid));
    // Whether the whole model row (column) is selected.
    bool isRowSelected(int row) const;
    bool isColSelected(int col) const;
    // Selected cells within the data, exclusions honoured.
    qint64 numSelectedCells() const;
    // The selected cells within the data, row-major, as (row, col).
    std::vector<std::pair<int, int>> getSelectionIndexes() const;
    void invertSelectionByRowsHeaderExcluded();
    void invertSelectionByColumnsHeaderExcluded();
    // Distinct model rows (columns) that hold a selected cell, within the data.
    void getOrderedSetOfSelectedRows(std::vector<int>& out) const;
    void getOrderedSetOfSelectedCols(std::vector<int>& out) const;
    void getOrderedSetOfRows(std::vector<int>& out, const RangeVector& ranges) const;
    void getOrderedSetOfCols(std::vector<int>& out, const RangeVector& ranges) const;
    // The target of a ctrl+arrow jump from `start` in model indexes; returns whether it moved.
    bool getNextBlockLocation(const Range& start, Range& out, Direction direction) const;
    int getLastShiftSelection() const { return lastShiftSelection; }
    const std::vector<SelectionType>& getShiftSelectionTypes() const { return shiftSelectionTypes; }
    const RangeVector& getShiftSelection() const { return shiftSelection; }

    // --- Highlight, sort marks, filters, find -------------------------------------------
    void setHighlightedRange(const RangeVector& rawRanges);
    void clearHighlightedRange();
    const RangeVector& getHighlightedRange() const { return highlightedRange; }
    SortData getRowSortData() const { return rowSortData; }
    SortData getColSortData() const { return colSortData; }
    void setRowSortData(const SortData& data);
    void setColSortData(const SortData& data);
    const std::vector<FilterData>& getFilterList() const { return filterList; }

    // --- Sorting ------------------------------------------------------------------------
    // The map of a sort (raw index -> raw index after it) by `sortData`, on the worker thread
    // with `useThread`. False when canceled or when there is nothing to sort.
    bool getSortIndexes(std::vector<int>& out, const SortData& sortData, int numHeaders, bool useThread);
    // Applies a map of getSortIndexes: the lines move, and with them concealment, the filters and
    // the other axis' sort mark; this axis' mark becomes (type, index).
    void sortRows(const std::vector<int>& indexes, SortType type, int index, bool useThread = false);
    void sortColumns(const std::vector<int>& indexes, SortType type, int index, bool useThread = false);
    // Computes and applies a sort at once, without undo; false when canceled.
    bool sortRows(const SortData& sortData, bool useThread);
    bool sortColumns(const SortData& sortData, bool useThread);
    // Takes a map of sortRows back; the marks are the caller's to restore.
    void unsortRows(const std::vector<int>& indexes);
    void unsortColumns(const std::vector<int>& indexes);
    // Whether a scan runs on the worker now, or a long write here (see kLongWriteCells).
    bool isWorkerBusy() const { return workerBusy; }
    // Past this many cells a write holds the window for a noticeable moment. It then reports
    // its progress through the worker's updateProgressSignal as a scan does, and counts as the
    // worker's work meanwhile, so that nothing starts a scan, closes the window or reloads the
    // file under it; a progress dialog that a view shows around it keeps the window painted.
    static constexpr qint64 kLongWriteCells = 1000000;
    // A cell written on its own rebuilds its row, which costs about as much as this many cells
    // written a row at a time.
    static constexpr qint64 kCellAloneWeight = 20;
    // Replaces the filter list without applying it: undo commands keep concealment themselves.
    void setFilterListDontApply(const std::vector<FilterData>& filters) { filterList = filters; }
    void setFindReplaceQuery(const FindReplaceQuery& query);
    const FindReplaceQuery& getFindReplaceQuery() const { return findReplaceQuery; }
    bool getHasFindReplaceQuery() const { return hasFindReplaceQuery; }
    // Replaced cells shown instead of the data while a preview is live; raw ranges.
    void setFindReplacePreview(const RangeVector& rawCells);
    void onFindReplaceClosed();

    // --- Filters and hidden rows and columns (tablemodel_filter.cpp) ---------------------
    // Everything that decides which raw rows and columns are concealed, with the concealment
    // it gave. Undo commands hold two of these and set one back whole.
    struct ConcealmentState {
        std::vector<FilterData> filters;
        std::vector<int> hiddenRows; // hidden by hand, raw
        std::vector<int> hiddenCols;
        std::vector<int> concealedRows; // what filters and hand together conceal, raw, ascending
        std::vector<int> concealedCols;
    };
    // Whether one cell's text passes a filter.
    bool filterMatch(const FilterData& filter, const QString& cellText) const;
    // One piece against a whole text: equality for text, a comparison for the number forms.
    bool parsedFilterMatch(const QString& cell, const FilterData::ParsedFilterData& piece) const;
    QString conditionNumberString(const QString& text) const;
    // Shown rows (columns) that break a column (row) filter join its exceptions; returns them as
    // raw Row (Col) ranges. Lines the user is working on don't vanish when filters apply again.
    RangeVector updateFilterViolationList();
    // The same scan over a copy of the filter list, on the worker with `useThread`: false when
    // canceled, with `filters` and `out` untouched.
    bool findFilterViolations(std::vector<FilterData>& filters, RangeVector& out, bool useThread);
    // Rebuilds the concealed sets from filters and the hand-hidden lists; the one place they are
    // rebuilt from scratch. Header rows and columns are never filtered out.
    void setAndApplyFilterAndHiddenArraysList(const std::vector<FilterData>& filters,
                                              const std::vector<int>& hiddenRows,
                                              const std::vector<int>& hiddenCols);
    void setAndApplyFilterList(const std::vector<FilterData>& filters);
    void setAndApplyHiddenRowsList(const std::vector<int>& rows);
    void setAndApplyHiddenColsList(const std::vector<int>& cols);
    // The concealment `state` gives, into its concealed lists; on the worker with `useThread`.
    // False when canceled.
    bool computeConcealment(ConcealmentState& state, bool useThread);
    ConcealmentState getConcealmentState() const;
    // Puts a state computed before back as it was, without matching a cell.
    void setConcealmentState(const ConcealmentState& state);
    const std::vector<int>& getHiddenRows() const { return hiddenRowsList; }
    const std::vector<int>& getHiddenCols() const { return hiddenColsList; }
    // Replaces the hand-hidden lists without applying them, as setFilterListDontApply does.
    void setHiddenListsDontApply(const std::vector<int>& rows, const std::vector<int>& cols);
    // After the table is transposed: a filter on a column becomes one on the same-numbered row
    // and the hand-hidden rows become hidden columns, so each still names the same data. The
    // concealment itself is stored by storage axis and follows by itself.
    void transposeConcealmentLists();
    // Whether filters or hand-hidden lists name lines that commands shifting lines must follow.
    bool hasConcealmentLists() const {
        return !filterList.empty() || !hiddenRowsList.empty() || !hiddenColsList.empty();
    }
    // --- Find and replace (tablemodel_find.cpp) -----------------------------------------
    // From the main cell, or within the selection with `inSelectedCells`. Results in model
    // indexes carry the cell text in `value`; replaced ones the old text in `oldValue`. Nothing
    // is written: the view pushes the undo command.
    Range findNextMatch(const FindReplaceQuery& query, bool includeStart);
    Range findPrevMatch(const FindReplaceQuery& query, bool includeStart);
    // Raw ranges in the view's order.
    RangeVector findAll(const FindReplaceQuery& query);
    Range replaceNextMatch(const FindReplaceQuery& query, bool includeStart);
    Range replacePrevMatch(const FindReplaceQuery& query, bool includeStart);
    // Raw cells, in the view's order, for a ReplaceCommand.
    RangeVector replaceAll(const FindReplaceQuery& query);
    // Every match, or with `replaceIt` every replacement, as a lean list in raw indexes. A large
    // table is searched on the worker (with `useThread`), which reports progress and may be
    // canceled: then the result is false, `out` is empty and nothing has changed.
    bool findAllCells(const FindReplaceQuery& query, std::vector<FoundCell>& out, bool replaceIt,
                      bool useThread);
    // The find-all list: every match with its user row and column, searched as above.
    bool findAllResults(const FindReplaceQuery& query, std::vector<FindResult>& out, bool useThread);
    bool determineMatch(const FindReplaceQuery& query, int row, int col, std::vector<int>& positions) const;
    Range replace(const FindReplaceQuery& query, const Range& cell, const std::vector<int>& positions,
                  bool all) const;

    // --- Reading and writing ranges -----------------------------------------------------
    // Fills the values that the range covers from the table (`current`) and/or into the
    // old... twins (`old`). Row, Col and Table ranges run to the end of the data.
    void populateCellDataValues(Range& range, bool current, bool old) const;
    void populateCellDataValues(RangeVector& ranges, bool current, bool old) const;
    // Writes the values (or old values) carried by the range into the table. A Cell equal to
    // `skip` is left out. With `raw` each cell goes by setDataRaw, otherwise one dataChanged
    // covers the range at the end.
    void populateModel(Range range, bool old, const Range& skip = Range(RangeType::Invalid),
                       bool raw = false);
    void populateModel(RangeVector& ranges, bool old, const Range& skip = Range(RangeType::Invalid),
                       bool raw = false);
    // One RangeVector of Cells per row (column), in order, with Row, Col and Table members
    // expanded within the data and exclusions honoured. With `values`, each cell reads its
    // value from the table (into oldValue with `old`).
    void getCellArrayByRows(std::vector<RangeVector>& out, const RangeVector& ranges, bool old,
                            bool values) const;
    void getCellArrayByCols(std::vector<RangeVector>& out, const RangeVector& ranges, bool old,
                            bool values) const;
    static void convertCellArrayToCells(RangeVector& out, const std::vector<RangeVector>& array);
    // All members as Cells, row-major, duplicates once, carried values kept.
    void getCellOnlyRangeVector(RangeVector& out, const RangeVector& ranges) const;
    // Runs of horizontally (vertically) adjacent cells.
    void getCellBlockArrayHorizontal(std::vector<RangeVector>& out, const RangeVector& ranges) const;
    void getCellBlockArrayVertical(std::vector<RangeVector>& out, const RangeVector& ranges) const;
    // The texts of the selected cells of `ranges`, row-major.
    void getListOfCellValues(std::vector<QString>& out, const RangeVector& ranges) const;
    // The ranges moved so that the least row and column are 0.
    static void getRelativeRangeVector(RangeVector& out, const RangeVector& ranges);
    // Same members at the same relative places; or the same number of cells per row
    // (RowWise) or per column (ColWise).
    bool areRangeVectorsSameShape(const RangeVector& a, const RangeVector& b) const;
    bool areRangeVectorsSameShapeRowWise(const RangeVector& a, const RangeVector& b) const;
    bool areRangeVectorsSameShapeColWise(const RangeVector& a, const RangeVector& b) const;

    // --- Clipboard (tablemodel_clipboard.cpp) ------------------------------------------
    // The selection as tab-separated plain text, and, for a block of more than one cell, as
    // "text/csv" and an HTML document; a single cell goes as plain text and, without headers,
    // in the item list form. With `includeHeaders` the header rows come first when the selection
    // starts below them. Owned by the caller or the clipboard.
    QMimeData* convertCellDataToMime(bool includeHeaders) const;
    // The richest table the mime data holds, as a reader's block (util/clipboardutilities.h):
    // the item list form, then comma-separated text, then an HTML table, then plain text.
    void convertMimeToCellData(const QMimeData* mime, RangeVector& out) const;
    // The same as a compact block of UTF-8 texts, the form a paste keeps.
    void convertMimeToTextBlock(const QMimeData* mime, Utilities::TextBlock& out) const;
    // Writes rows of UTF-8 texts from model cell (top, left) on, as populateModel writes a Table
    // range, without a value object per cell; `rowTexts(r, texts)` gives row r.
    void populateModelUtf8(int top, int left, int numRows, int numCols,
                           const std::function<void(int, std::vector<std::string_view>&)>& rowTexts);
    // The selected texts row by row over the rows and columns that hold a selected cell; a
    // column that a row does not select gives an empty text. Headers as above.
    void forEachSelectedRowText(bool includeHeaders,
                                const std::function<void(const std::vector<QString>&)>& visit) const;
    std::vector<std::vector<QString>> getSelectedTextRows(bool includeHeaders) const;
    // The status bar's "Sum: %1      Mean: %2" of the selected cells that hold numbers, read
    // in one pass, or in slices: begin, then continue for about `budgetMs` at a time until
    // it returns true.
    QString getSelectionSumMeanStr() const;
    void beginSelectionStats(SelectionStats& stats) const;
    bool continueSelectionStats(SelectionStats& stats, int budgetMs) const;
    static QString selectionStatsText(const SelectionStats& stats);

    // --- Data services ------------------------------------------------------------------
    // Model rows below the header rows that repeat a row before them over `cols` (all columns
    // when empty), ascending: the rows a duplicate removal takes out.
    std::vector<int> getEdgeIndexesOfSortedColumns(const std::vector<int>& cols, bool useThread = true);
    std::vector<int> getEdgeIndexesOfSortedColumn(int col, bool useThread = true);
    // The twin: model columns right of the header columns that repeat a column before them over
    // `rows` (all rows when empty), ascending.
    std::vector<int> getEdgeIndexesOfSortedRows(const std::vector<int>& rows, bool useThread = true);
    // Removes those rows from the data at once and returns them. Tables with undo build a
    // RemoveRowsCommand from getEdgeIndexesOfSortedColumns instead.
    std::vector<int> removeDuplicateRows(std::vector<int> cols);
    QHash<QString, QString> parseIntoHashStringString(int keyCol, int valCol, int headerRow,
                                                      bool skipEmpty) const;
    std::map<QString, QString> parseIntoMapStringString(int keyCol, int valCol, int headerRow,
                                                        bool skipEmpty) const;
    std::map<QString, std::vector<QString>>
    parseIntoMapStringStringVector(int keyCol, const std::vector<int>& valCols, int headerRow) const;
    // Writes the values of matching keys into the rows below `headerRow`; with
    // `appendNewKeys`, keys the table lacks become new rows. Returns the cells changed.
    int writeFromHashStringString(const QHash<QString, QString>& values, int keyCol, int valCol,
                                  int headerRow, bool appendNewKeys);
    int writeFromMapStringString(const std::map<QString, QString>& values, int keyCol, int valCol,
                                 int headerRow, bool appendNewKeys);
    int writeFromMapStringStringVector(const std::map<QString, std::vector<QString>>& values, int keyCol,
                                       int valCol, int headerRow, bool appendNewKeys);
    // The cells that writing the map would change, with value and oldValue, for one undo
    // command: rows whose key matches get the values from `valCol` on.
    RangeVector cellDataVecFromMapStringStringVector(const std::map<QString, std::vector<QString>>& values,
                                                     int keyCol, int valCol, int headerRow,
                                                     bool appendNewKeys) const;
    // The first row among the first `maxRows` rows that holds every one of `names` (exact,
    // case-sensitive) within the first `maxCols` columns; `cols` gets each name's column.
    bool getHeaderRowInformation(const std::vector<QString>& names, int& headerRow, std::vector<int>& cols,
                                 int maxRows = 100, int maxCols = 100) const;
    void getColumnLabel(QString& out, int col) const;
    void getColumnLabels(std::vector<QString>& out, const std::vector<int>& cols) const;
    void getAllColumnLabels(std::vector<QString>& out) const;
    void getSelectedColumnLabels(std::vector<QString>& out) const;
    // Mask of 1 Numeric, 2 Date, 4 String over the non-empty cells below the header rows.
    int evaluateColumnFieldTypes(int col) const;
    // Whether every non-empty cell below the header rows is a number.
    bool isColumnAllNumbers(int col, bool useThread = true);
    // A new plain model (owned by the caller) holding the given model columns of every row.
    TableModel* getModelWithColModelSubset(const std::vector<int>& cols, bool useThread = true);
    QString getTableName() const;

    // --- Header rows and columns --------------------------------------------------------
    void setNumberOfHeaderRows(int n);
    void setNumberOfHeaderCols(int n);
    void refreshVisibleHeaderRows();
    int getNumHeaderRows() const { return numHeaderRows; }
    int getNumVisibleHeaderRows() const { return numVisibleHeaderRows; }
    int getNumHeaderCols() const { return numHeaderCols; }

    // --- Loading and saving -------------------------------------------------------------
    void loadCSV(const QString& path, bool threaded, TableData::DataContainerType type,
                 const QString& readDelimiter, const QString& writeDelimiter, EncodingType encoding,
                 ParsingStandard standard);
    bool saveCSV(bool fromUser, bool visibleOnly) { return tableData.saveCSV(fromUser, visibleOnly); }
    bool saveCSV(const QString& path, bool fromUser, bool visibleOnly) {
        return tableData.saveCSV(path, fromUser, visibleOnly);
    }
    // Writes the file at once when "Save After Each Edit" is on and the table has a file.
    void saveAfterEdit();
    void setSaveAfterEachEdit(bool on) { saveAfterEachEdit = on; }
    bool getSaveAfterEachEdit() const { return saveAfterEachEdit; }
    void setProgressIndex(int index) { progressIndex = index; }
    int getProgressIndex() const { return progressIndex; }
    ProgressBoundaries& getProgressBoundaries() { return progressBoundaries; }

    // --- The worker for long scans ------------------------------------------------------
    // Lives as long as the model; listen to its updateProgressSignal for the progress bar.
    TableModelWorker* getWorker() const { return worker; }
    // Asks a running scan to stop; it then reports failure.
    void cancelWorker();
    // A file read in place has one reader, which a scan on the worker takes; before such a scan
    // the views hold the shown cells' texts here (on holdShownCellsSignal), so painting goes on
    // with them while it runs. Dropped when the scan ends.
    void holdCells(int top, int left, int bottom, int right);

    // --- Lines inserted in groups (InsertLineGroupsCommand) ------------------------------
    // Adds `count` empty lines after the last raw line and moves every line to map[line] (raw);
    // removeLineGroups takes the same back.
    void insertLineGroups(Axis axis, const std::vector<int>& map, int count);
    void removeLineGroups(Axis axis, const std::vector<int>& map, int count);
    // Copies of whole lines (TableData::duplicateLines), and runs of raw lines taken out again
    // (TableData::removeRunsRaw). A column pass rewrites every row: on a large table it shows
    // its progress as other long writes do.
    bool duplicateLines(Axis axis, const std::vector<int>& lines, int count, bool below);
    bool removeLineRuns(Axis axis, const std::vector<std::pair<int, int>>& runs);

    // --- Cell transformations
    // Runs a job that only reads the table's cells: on the worker with `useThread`, while a
    // local event loop keeps the window alive, else here. False when it failed or was canceled.
    bool readCellsOnWorker(const std::function<bool(TableModelWorker&)>& job, bool useThread);
    // Writes `count` texts, text i at model cell at(i), as populateModel does for cells, without
    // a value object per cell: the undo steps of the transformations write a million at once.
    // With `atRawCells`, at(i) is a raw cell, and cells of hidden rows and columns are written too.
    void writeCellTexts(std::size_t count, const std::function<std::pair<int, int>(std::size_t)>& at,
                        const std::function<QString(std::size_t)>& text, bool atRawCells = false);

public slots:
    void onLoadFinished();
    void onTableSizeChanged(int rawRows, int rawCols, int modelRows, int modelCols);
    void onMainCellChanged();

signals:
    void newDataCommittedSignal();
    void startProgressUpdateSignal();
    void loadProgressUpdateSignal(int current, int total, int sizeInMiB);
    void loadFinishedSignal();
    void enforceTableSizeSignal();
    void toggleTransposeSignal();
    void saveStartedSignal(QString path);
    void saveProgressSignal(int percent);
    void saveFinishedSignal(QString path);
    void selectionChangedSignal();
    void mainCellChangedSignal(Range mainCell);
    void tableSizeChangedSignal(int rawRows, int rawCols, int modelRows, int modelCols);
    void setDelimiterSignal(QString delimiter);
    void setLineEndingSignal(LineEndingType lineEnding);
    void setEncodingSignal(EncodingType encoding);
    void setParsingStandardSignal(ParsingStandard standard);
    void updateStatusBarSignal();
    void updateFindReplaceMatchesSignal();
    void selectionSizeChangedSignal(RangeSize size);
    void undoStackCleanChangedSignal(bool clean);
    // A save after an edit failed: the table holds what its file doesn't.
    void saveAfterEditFailedSignal();
    void updateStatsLabelSignal(QString text);
    void refreshHeadersSignal();
    // Requests of undo commands to the view that shows this model.
    void enforceAutoFitRowHeightsSignal(std::vector<int> rows);
    void enforceAutoFitColWidthsSignal(std::vector<int> cols);
    // The lines of `axis` moved: rows (Row) or columns (Col) now hold other contents.
    void sortedLinesMovedSignal(Axis axis);
    void scrollToRowSignal(int row);
    void scrollToColSignal(int col);
    void refreshViewSignal();
    // Filters or hand-hidden lists went from empty to not or back.
    void concealmentChangedSignal(bool filtersActive, bool hiddenActive);
    // A scan is about to take the table's only reader: hold what you show (holdCells).
    void holdShownCellsSignal();
    // A long write (kLongWriteCells) starts or has ended.
    void longWriteSignal(bool started);

private:
    bool changeViewSize(Qt::Orientation orientation, bool insert, int at, int count);
    std::vector<int> findDuplicateLines(Axis axis, const std::vector<int>& keys, bool useThread);
    friend class TableModelWorker;

    // Ends every change of the selection: flags, signals, size.
    void finishSelectionChange(bool mainCellMoved);
    void clearShiftState();
    void replaceSelectionKeepShift(RangeVector ranges);
    bool extendSelection(bool vertical, Direction direction, bool ctrlOnly, bool block, bool* handled);
    bool moveMainCell(bool vertical, Direction direction, bool block);
    void removeExtraneous(bool rows, bool& changed);
    void invertSelection(bool byRows);
    void setMainCellPosition(int row, int col);
    // The cached lookups that keep data() cheap for large selections and highlights.
    void invalidateSelectionLookup() { selectionLookupValid = false; }
    void buildSelectionLookup() const;
    void buildHighlightLookup() const;
    bool inSelectionLookup(int row, int col) const;
    bool inHighlightLookup(int row, int col) const;
    bool inPendingRectangle(int row, int col) const;
    QVariant backgroundAt(int row, int col) const;
    QVariant displayValue(int row, int col, bool edit) const;
    const Range* previewAt(int row, int col) const;
    QString labelText(int raw, int first, bool letters, const SortData& sortData) const;
    int lastDataRowForSentinel(const Range& range) const;
    int lastDataColForSentinel(const Range& range) const;
    QVariant readCell(RangeIndexType indexType, int row, int col) const;
    void writeCell(RangeIndexType indexType, int row, int col, const QVariant& value);
    void growViewTo(int rows, int cols);
    // Cells of the ranges within the data, row-major, each once, with carried values.
    void expandToCells(std::vector<Range>& out, const RangeVector& ranges) const;
    // Runs `job` on the worker thread (or here without `useThread`) while a local event loop
    // keeps the GUI alive; returns its result.
    bool runOnWorker(const std::function<bool(TableModelWorker&)>& job, bool useThread);
    // The cells of the table's raw rows and columns: what a pass over every row touches.
    qint64 tableCells() const;
    // A write of `cells` cells for as long as this lives: from kLongWriteCells on, the model is
    // busy and report() sends the progress out.
    class LongWrite {
    public:
        LongWrite(TableModel& model, qint64 cells);
        ~LongWrite();
        LongWrite(const LongWrite&) = delete;
        LongWrite& operator=(const LongWrite&) = delete;
        bool isOn() const { return on; }
        // `done` of `total` steps written.
        void report(qint64 done, qint64 total) const;

    private:
        TableModel& model;
        bool on = false;
    };
    // Moves the lines of `axis` by `map` (back by it with `unsort`), with everything that names them.
    void applySortMap(Axis axis, const std::vector<int>& map, bool unsort);
    void sortFilterLines(Axis axis, const std::vector<int>& map);
    // Tells the view the new concealment: sizes, labels, context bits.
    void finishConcealmentChange();
    template <typename Map> Map parseIntoMap(int keyCol, int valCol, int headerRow, bool skipEmpty) const;

    // The load handshake pair; declared before tableData so that it outlives any load.
    std::unique_ptr<QMutex> progressUpdateMutex;
    std::unique_ptr<QWaitCondition> progressUpdateCondition;
    TableData tableData;
    bool forTableView = true;
    int rowCountView = 0;
    int colCountView = 0;
    QRegularExpression numberRegex;
    int maxDoubleDigits = 16;

    Theme theme;
    QBrush mainCellBrush;
    QBrush selectionBrush;
    QBrush textBrush;
    QBrush previewTextBrush;
    QColor cellColors[4];       // neither, row shade, column shade, both
    QColor headerCellColors[4]; // the same for header rows and columns
    QColor highlightColors[4];
    QColor lineColor;
    float lineAlpha = 0.2f;
    QBrush cellBrushes[4];
    QBrush headerCellBrushes[4];
    QBrush highlightBrushes[4];

    bool boldHeaderRows = true;
    bool boldHeaderCols = true;
    bool shadeEveryOtherRow = false;
    bool shadeEveryOtherCol = false;
    bool highlightMainCellRow = false;
    bool highlightMainCellCol = false;
    QFont font;
    QFont headerFont;
    int headerTextSize = 12;
    bool readOnly = false;
    bool saveAfterEachEdit = false;
    QString extension = QStringLiteral("csv");
    QString delimiter = QStringLiteral(",");
    QString delimiterSave = QStringLiteral(",");
    bool userSetDelimiter = false;
    bool userSetLineEnding = false;
    bool userSetEncoding = false;
    bool userSetParsingStandard = false;
    int numVisibleHeaderRows = 1;
    int numHeaderRows = 1;
    int numHeaderCols = 0;
    int minNumTableRows = 0;
    int minNumTableCols = 0;
    int numBufferRows = 0;
    int numBufferCols = 0;
    int firstRowIndex = 0;
    int firstColIndex = 0;
    bool colLetters = false;
    RangeVector selection;
    Range mainCell{kNoIndex, kNoIndex, RangeIndexType::Model};
    Range pendingCornerStart{kNoIndex, kNoIndex, RangeIndexType::Model};
    Range pendingCornerEnd{kNoIndex, kNoIndex, RangeIndexType::Model};
    RangeVector shiftSelection;
    Range shiftMainCell{kNoIndex, kNoIndex, RangeIndexType::Model};
    std::vector<SelectionType> shiftSelectionTypes;
    int lastShiftSelection = 4;
    RangeVector highlightedRange;
    SortData colSortData;
    SortData rowSortData;
    std::vector<FilterData> filterList;
    std::vector<int> hiddenRowsList;
    std::vector<int> hiddenColsList;
    FindReplaceQuery findReplaceQuery;
    bool hasFindReplaceQuery = false;
    RangeVector findReplacePreview;
    int progressIndex = 100;
    ProgressBoundaries progressBoundaries;
    bool adjustingTableSize = false;
    // Nested structural changes hold off the size rule until the outermost one ends.
    int sizeRuleHold = 0;
    Range selectionBlock{RangeType::Invalid};

    // Lookups rebuilt on demand after the selection or the highlight changed.
    mutable TableModelCellLookup selectionLookup;
    mutable bool selectionLookupValid = false;
    mutable TableModelCellLookup highlightLookup;
    mutable bool highlightLookupValid = false;
    mutable std::vector<std::pair<std::pair<int, int>, int>> previewLookup; // model cell -> index
    mutable bool previewLookupValid = false;

    QThread* workerThread = nullptr;
    TableModelWorker* worker = nullptr;
    std::shared_ptr<bool> workerCancel;
    std::shared_ptr<QMutex> workerCancelMutex;
    bool workerBusy = false;
    // What data() shows of a file read in place while a scan runs; see holdCells.
    struct HeldCells {
        int top, left, bottom, right;
        std::vector<QVariant> display; // row by row
    };
    std::vector<HeldCells> heldCells;
    QVariant heldDisplayValue(int row, int col) const;
};
