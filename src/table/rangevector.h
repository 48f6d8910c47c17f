#pragma once

#include "table/range.h"

#include <vector>

// A list of ranges: a selection, the before and after picture of an undo command, a clipboard
// payload, a set of find matches. It is a std::vector<Range> with the table size recorded by
// its producer and the queries that the table operations ask of a selection.
class RangeVector : public std::vector<Range> {
public:
    using std::vector<Range>::vector;

    // Sort in place: by column, last key row (sanitizeRowWise), or by row, last key column
    // (sanitize, sanitizeColWise). A single Table range is left alone by sanitize. These are
    // plain unstable sorts; callers that need a true row-major order sort stably themselves.
    void sanitize();
    void sanitizeRowWise();
    void sanitizeColWise();

    // Number of values carried, not the geometric size.
    int numCells() const;

    // Least and greatest start row or column over the list, at least 0. An empty list gives
    // EndOfTable for the minimum and 0 for the maximum.
    int minRow() const;
    int maxRow() const;
    int minCol() const;
    int maxCol() const;

    // Appends the columns selected in `row`: ranges standing at that row or at a negative row.
    // Open-ended Row and Table ranges end at numTableCols, or at column 1000 when no table size
    // is recorded. With `sort` the list is first sanitized row-wise; the walk stops at the first
    // range that starts below `row`.
    void colsInRow(std::vector<int>& out, int row, bool sort);

    // The lowest negative start row (column) over the list, or -1 when no range starts at a
    // negative index. Sorts the list by row (column), stably.
    int findLowestRowStartIndex();
    int findLowestColStartIndex();
    // Sorts the list by row and returns no rows; kept for its callers.
    std::vector<int> findUnselectedRowsAboveRowStartIndex();

    // Sorts `in` and appends each distinct value to `out`.
    static void getOrderedSet(std::vector<int>& out, std::vector<int>& in);
    // Appends the distinct start rows of all ranges in order; a Col or Table range gives -1,
    // so a leading -1 says that some range spans all rows. Columns mirror this.
    void getOrderedSetOfRowsRaw(std::vector<int>& out) const;
    void getOrderedSetOfColsRaw(std::vector<int>& out) const;

    bool hasTableCell() const;
    bool hasRowCell() const;
    bool hasColCell() const;

    // Whether any member contains `range` (Range::containsRange).
    bool containsRange(const Range& range) const;

    // Moves every member; with removeIfOut a cell pushed off the table is dropped.
    void moveRelative(int rows, int cols, bool removeIfOut);

    // The range with rows and columns exchanged, in model indexes, without values and
    // exclusions. A Row range becomes a whole Col range and the reverse; a Table range has
    // its start and its ends exchanged. Main-cell fields are carried over unswapped.
    static Range transposeRange(const Range& range);

    // Reserved: declared so that callers link; they answer 0 and leave their arguments alone.
    int numRows() const;
    int numCols() const;
    bool hasRow(int row) const;
    bool hasCol(int col) const;
    int numCellsInRow(int row) const;
    int numCellsInCol(int col) const;
    int numRowRangesInRow(int row) const;
    int numColRangesInCol(int col) const;
    void rowsInCol(std::vector<int>& out, int col, bool sort);
    void getDimensions(int& rows, int& cols) const;

    // Table size to which open-ended ranges are cut; -1 until a producer records it.
    int numTableRows = -1;
    int numTableCols = -1;
};
