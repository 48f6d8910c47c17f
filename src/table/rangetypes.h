#pragma once

#include <cstdint>

// The small vocabulary shared by Range, the selection and the table operations. The integer
// values are fixed: code does arithmetic on them (Direction to SelectionType, ±1 steps) and
// stores them in settings.

// What a Range covers.
enum class RangeType {
    Cell = 0,    // one cell at (row, col)
    Row = 1,     // row `row`, from column `col` to `endCol`
    Col = 2,     // column `col`, from row `row` to `endRow`
    Table = 3,   // every cell from (row, col) to (endRow, endCol)
    Invalid = 4, // nothing: what a failed move or a default leaves
};

// The index space in which all positions of a Range are given.
enum class RangeIndexType {
    Raw = 0,   // position in the data container, before sort, filter and hiding
    Model = 1, // position as the view shows it
    User = 2,  // raw position plus the user's first row or column index
};

enum class Direction {
    Up = 0,
    Down = 1,
    Left = 2,
    Right = 3,
};

// One recorded step of a keyboard extension of the selection: a single cell, or a jump to the
// next block edge. A Block value is its Direction plus 4.
enum class SelectionType {
    Up = 0,
    Down = 1,
    Left = 2,
    Right = 3,
    BlockUp = 4,
    BlockDown = 5,
    BlockLeft = 6,
    BlockRight = 7,
};

// Along which index an operation runs. Row: one row's values decide a column order.
enum class Axis {
    Row = 0,
    Col = 1,
};

// The size of a selection: cells of single-cell and table ranges, and whole row and column
// ranges, counted apart.
struct RangeSize {
    std::int32_t numCells = 0;
    std::int32_t numRows = 0;
    std::int32_t numCols = 0;

    friend bool operator==(const RangeSize&, const RangeSize&) = default;
};
