#pragma once

#include "storage/abstractdatacontainer.h"

#include <cstdint>
#include <string_view>
#include <vector>

class PackedRow;
class PartBuffer;
struct RowLineShape;

// How both containers put cells into a line of a saved file: the quoting rule of the standard,
// the save delimiter, the pad of an absent cell and the line ending, in units of the encoding.
//
// A cell is quoted whenever it would not read back as itself otherwise, under every standard
// whose reader honours quotes: it holds the delimiter or a byte that ends a row (LF, CR, record
// separator), it starts with a quote, or it is the file's first cell and starts with the bytes
// of the encoding's byte order mark. "RFC 4180" also quotes every cell with a quote in it, and
// "All Quotes" every cell. "Delimiter Only" and files without a delimiter have no quotes at all.
class CellWriter {
public:
    explicit CellWriter(const AbstractDataContainer& container);

    bool delimited() const { return hasDelimiter; }
    // True when the cell goes out between quotes; `fileStart` marks the file's first cell with
    // nothing (no byte order mark) in front of it.
    bool needsQuotes(std::string_view cell, bool fileStart) const;
    // The cell, quoted as needed, and a delimiter behind it if there is one.
    void appendCell(std::vector<char>& out, std::string_view cell, bool fileStart) const;
    // Cells [from, to) of a row whose cells lie back to back, each as appendCell writes it. One
    // vector scan over the row finds the bytes that call for quotes; `marks` is scratch space.
    void appendRowCells(std::vector<char>& out, const PackedRow& row, int from, int to,
                        std::vector<std::uint64_t>& marks) const;
    // The line of a stored row that doesn't start the file, as appendCell, appendPad, endCells
    // and appendLineEnding write it: cells [0, count) joined by the delimiter and quoted as
    // needed, `pads` absent cells, then the line ending. One vector scan over the row's bytes
    // marks the units that may call for quotes; a cell without a mark goes out in one move with
    // its delimiter behind it, and only a marked one is looked at closely. False, with nothing
    // written, for a row this way doesn't take (no delimiter, a unit cut short in a wide
    // encoding, the plain writer); the caller then writes it cell by cell. `marks` is scratch
    // space.
    bool appendRowLine(PartBuffer& out, const PackedRow& row, int count, int pads,
                       std::vector<std::uint64_t>& marks) const;
    // An absent cell padded up to the table's width: a delimiter, under "All Quotes" two quotes.
    void appendPad(std::vector<char>& out) const;
    // Drops the delimiter behind the line's last cell, if `out` grew since `lineStart`.
    void endCells(std::vector<char>& out, size_t lineStart) const;
    void appendLineEnding(std::vector<char>& out) const;
    std::size_t lineEndingSize() const { return lineEnding.size(); }
    // Takes the line ending off the end of `out` when the line before it has text: a file whose
    // last row had no line ending gets none again. An empty last line keeps it, or the row would
    // be gone.
    void dropFinalLineEnding(std::vector<char>& out, size_t lineStart) const;

    // The scans that find special bytes: 0 the best this processor runs, 1 SSE2 (where there is
    // one), 2 a plain loop over the bytes with the row path off. For tests that hold them to each
    // other; the writers made after the call use it.
    static void setInstructionSetForTesting(int level);

    // The units that call for quotes wherever they stand, in a form the vector scans take.
    struct ScanKeys {
        std::uint32_t units[5] = {};
        int count = 0;
    };
    // Fills marks[b] for the 64-byte blocks of `bytes`: bit k stands for byte 64 b + k and is set
    // where a unit that calls for quotes starts. Returns whether any bit is set; with `marks`
    // null it stops at the first block that has one.
    using ScanFunction = bool (*)(const unsigned char* p, std::size_t blocks, const ScanKeys& keys,
                                  std::uint64_t* marks);

    // Marks the units of a row's bytes that call for quotes, as ScanFunction does, for a stretch
    // of any length that is a whole number of units; reads nothing outside it.
    using RowScanFunction = bool (*)(const char* p, std::size_t size, const ScanKeys& keys,
                                     std::uint64_t* marks);

    // The lines of rows[0 .. n), none of them the file's first, each as appendRowLine writes
    // it with the cells and pads `shape` picks, in one pass that keeps the scan's keys in vector
    // registers from row to row (cellwriter_rows.cpp). Returns how many rows it wrote: fewer
    // than n when the next row is one it doesn't take (long, wide, or with a cell that isn't
    // whole units), which the caller then writes its own way; 0 on a processor without AVX-512
    // and under the test levels that hold the scans back.
    int appendRowLines(PartBuffer& out, const PackedRow* rows, int n, const RowLineShape& shape) const;
    bool rowLinesAvailable() const { return rowPass; }

private:
    static bool rowPassAvailable();
    template <int Width>
    bool appendRowLineAs(PartBuffer& out, const PackedRow& row, int count, int pads,
                         std::vector<std::uint64_t>& marks) const;
    bool scan(const char* p, std::size_t size, std::uint64_t* marks) const;
    void appendQuoted(std::vector<char>& out, std::string_view cell) const;
    bool hasUnit(std::string_view cell, const std::vector<char>& unit) const;
    bool startsWith(std::string_view cell, const std::vector<char>& prefix) const;
    bool startsWithBom(std::string_view cell) const;

    AbstractDataContainer::KeyCharVecs keys;
    std::vector<char> lineEnding;
    char lineEndingBytes[8] = {};        // the same, for a move of fixed size
    std::vector<std::vector<char>> boms; // what a load would take for a byte order mark
    size_t width = 1;
    bool hasDelimiter = true;
    bool always = false;
    bool never = false;
    bool quoteAnywhere = false;  // "RFC 4180": a quote anywhere in the cell
    bool table[256] = {};        // single-byte text: the bytes that call for quotes
    bool plain = false;          // the byte loop of old, for tests
    bool rowPass = false;        // appendRowLines takes rows
    std::uint32_t quoteUnit = 0; // the quote and the delimiter as one unit each, for appendRowLines
    std::uint32_t delimiterUnit = 0;
    ScanKeys scanKeys;
    ScanKeys rowScanKeys;
    ScanFunction scanBlocks = nullptr;
    RowScanFunction scanRow = nullptr;
};
