#pragma once

#include "storage/abstractdatacontainer.h"

#include <functional>
#include <string_view>

class CellWriter;
class QFile;

// A table that stays on disk. Two passes over the file build a sparse index: one entry per 25
// cells of the full rectangle numRows x numCols, so memory is 16 bytes per 25 cells whatever the
// file's size. A cell is read from disk when asked for, by one seek and one read of at most one
// strip. Every editing call is the base class's quiet no-op.
class ReadOnlyDataContainer : public AbstractDataContainer {
    Q_OBJECT

public:
    // Index entry i stands for cell number 25 x i of the full rectangle; `offset` is where that
    // cell starts in the file, in characters. A short row's missing cells point at its line
    // ending, so they read as nothing.
    struct Strip {
        int row;
        int col;
        qint64 offset;
    };
    // A cell asked of the strip scanner; lists are sorted by row, then column.
    struct CellPosition {
        int row;
        int col;
        auto operator<=>(const CellPosition&) const = default;
    };

    explicit ReadOnlyDataContainer(QObject* parent = nullptr);
    ~ReadOnlyDataContainer() override;

    // --- Opening and indexing -----------------------------------------------------------
    bool loadCSV() override;
    bool loadCSVNoDelimiter() override;
    bool loadCSVMultiByte() override;
    bool loadCSVNoDelimiterMultiByte() override;
    bool openCSV();
    void closeCSV();
    bool indexCSV();
    bool indexCSVNoDelimiter();
    bool indexCSVMultiByte();
    bool indexCSVNoDelimiterMultiByte();

    // --- Cells ----------------------------------------------------------------------------
    int numRows() const override { return numRowsIndexed; }
    int numCols() const override { return numColsIndexed; }
    int numColsInRow(int row) const override;
    std::vector<char> getValue(int row, int col, bool useOrder = true) const override;
    std::vector<char> getValueMultiByte(int row, int col) const;
    // The cell's bytes as they stand in the file, quotes and all.
    void getRawCell(int row, int col, std::vector<char>& out) const;
    // Scans `buffer`, the text of the file from the start of the cell (row, col) on, and fills
    // `results` (same length as `wanted`) with the raw bytes of the wanted cells. A wanted cell
    // that doesn't exist in the text comes back empty. The text is read with the container's own
    // parameters: its width of character and its delimiter, or none.
    void getRawCellsFromStrip(std::vector<char>& buffer, int row, int col,
                              const std::vector<CellPosition>& wanted,
                              std::vector<std::vector<char>>& results) const;
    // Raw bytes of any number of cells; the cells of one strip, or of neighbouring strips,
    // cost one read. `wanted` needn't be sorted; results follow its order.
    void getRawCells(const std::vector<CellPosition>& wanted, std::vector<std::vector<char>>& results) const;
    // Cells as getValue(row, col, false) gives them, for many cells at once.
    void getValues(const std::vector<CellPosition>& wanted, std::vector<std::vector<char>>& results) const;
    void getRow(std::vector<std::vector<char>>& out, int row) override;
    void getCol(std::vector<std::vector<char>>& out, int col) override;

    // --- Order set by sorting ------------------------------------------------------------
    // getValue(row, col, true) reads raw row rowOrder[row] (and column colOrder[col]).
    void setRowOrder(std::vector<int> order);
    void setColOrder(std::vector<int> order);
    void clearRowOrder();
    void clearColOrder();
    const std::vector<int>& getRowOrder() const { return rowOrder; }
    const std::vector<int>& getColOrder() const { return colOrder; }
    bool getRowsReordered() const { return rowsReordered; }
    bool getColsReordered() const { return colsReordered; }
    // The line of the file that row (column) `index` reads, through the order.
    int fileRowOf(int row) const;
    int fileColOf(int col) const;
    // The cells of file column (row) `fileIndex`, in file order, `pieceSize` at a time, so that a
    // caller can analyse a huge column without holding its bytes. `sink(first, cells)` gets each
    // piece; false from it stops the read, and the result is then false.
    bool readLineInPieces(bool column, int fileIndex, int pieceSize,
                          const std::function<bool(int, std::vector<std::vector<char>>&)>& sink) const;
    // The cells of file column `fileCol`, in file order, as getValue(row, col, false) gives them,
    // by one front-to-back pass over the file in big reads. `sink` gets each cell; its bytes last
    // until it returns. False from it stops the read, and the result is then false.
    bool readColumn(int fileCol, const std::function<bool(std::string_view)>& sink) const;

    // --- Writing --------------------------------------------------------------------------
    using AbstractDataContainer::saveCSV;
    bool saveCSV(bool fromUser, bool transposed, const std::vector<int>& rowsToSkip,
                 const std::vector<int>& colsToSkip) override;
    void getRowCSVString(std::vector<char>& out, int row, GetRowColMaskType maskType,
                         const std::vector<int>& mask) override;
    void getRowCSVStringMultiByte(std::vector<char>& out, int row, GetRowColMaskType maskType,
                                  const std::vector<int>& mask) override;
    void getColCSVString(std::vector<char>& out, int col, GetRowColMaskType maskType,
                         const std::vector<int>& mask) override;
    void getColCSVStringMultiByte(std::vector<char>& out, int col, GetRowColMaskType maskType,
                                  const std::vector<int>& mask) override;

    // True once a read found the file changed since it was indexed (by size or time of last
    // change): from then on every cell reads empty, since the index no longer fits the text.
    bool getFileChanged() const { return fileChanged; }

    // --- Inspection ------------------------------------------------------------------------
    qint64 getFileSize() const { return fileSize; }
    const std::vector<Strip>& getStrips() const { return strips; }
    int getStripSize() const { return stripSize; }

    // Size of the piece buffer of the index passes and of a save's reads; tests set it small to
    // check that the machine's state, and lines, carry across pieces. 0 restores the default.
    // Rounded up to 4.
    static void setPieceSizeForTesting(qint64 size);
    // The widest instructions the index passes may use, so that tests reach every path: 0 the
    // best the processor has, 1 the baseline (SSE2, or plain C++), 2 AVX2, 3 AVX-512.
    static void setInstructionSetForTesting(int level);
    // Off, a save reads every line into cells and writes them again, as it once did; for tests
    // that hold the streamed save to that.
    static void setStreamedSaveForTesting(bool on);

signals:
    // The file changed under the index; sent once, at the read that found it.
    void fileChangedSignal(QString path) const;

private:
    // What tells whether the file is still the one indexed.
    struct FileStamp {
        qint64 size = -1;
        qint64 modified = -1;
        bool operator==(const FileStamp&) const = default;
    };
    FileStamp currentStamp() const;
    // False (and the change noted) when the file is no longer the one indexed.
    bool fileUnchanged() const;
    void noteFileChanged() const;

    struct CellCollector; // the strip scanner's sink
    struct ColumnSink;    // readColumn's
    bool runIndex(bool multiByte, bool withDelimiter);
    template <class Traits> bool indexPasses(Traits traitsTemplate, int unitBytes, std::vector<char>& buffer);
    void resetIndex();
    qint64 readAt(qint64 position, char* into, qint64 length, int* error = nullptr) const;
    std::vector<char> applyQuoteRule(std::vector<char> raw) const;
    void scanStrip(std::vector<char>& buffer, int row, int col, const CellPosition* wanted, size_t count,
                   std::vector<char>* results, bool multiByte, bool withDelimiter) const;
    void runCollector(std::vector<char>& buffer, int row, int col, CellCollector& sink, bool multiByte,
                      bool withDelimiter) const;
    // The bytes of rows first..last into readBuffer; the strip they start at, or -1.
    qint64 readRowsBytes(int first, int last) const;
    void readWholeRow(int row, std::vector<std::vector<char>>& cells) const;
    // Every cell of the file's rows from `first` to `last`, a list for each, in one read and one
    // scan: what a save in the file's order reads.
    void readRowRange(int first, int last, std::vector<std::vector<std::vector<char>>>& rows) const;
    // Line `row` of the table from its cells as read (in the file's column order).
    void writeRow(std::vector<char>& out, std::vector<std::vector<char>>& cells, GetRowColMaskType maskType,
                  const std::vector<int>& mask);
    void readLineInOrder(int row, std::vector<std::vector<char>>& cells) const;
    void readRawCellsSorted(const std::vector<CellPosition>& sorted,
                            std::vector<std::vector<char>>& results) const;
    // A line with exactly the fields it was read with.
    void writeLineAsRead(std::vector<char>& out, std::vector<std::vector<char>>& cells);
    void writeLine(std::vector<char>& out, std::vector<std::vector<char>>& cells, qint64 realCount,
                   qint64 logicalCount, GetRowColMaskType maskType, const std::vector<int>& mask);
    // The lines of a save in rows, streamed from the file (readonlydatacontainer_stream.cpp);
    // `rowsDone` the table's rows it wrote, from the first: the cell-by-cell save writes the rest
    // (all of them where the file's parameters don't allow streaming).
    struct StreamSave;
    bool streamSave(const CellWriter& writer, const std::function<bool(const char*, qint64)>& put,
                    const std::vector<int>& rowsToSkip, const std::vector<int>& colsToSkip, int lastRow,
                    int& rowsDone);

    QFile* file = nullptr;
    qint64 fileSize = 0;
    std::vector<Strip> strips;
    int stripSize = 25;
    int numRowsIndexed = 0;
    int numColsIndexed = 0;
    std::vector<int> rowOrder;
    std::vector<int> colOrder;
    bool rowsReordered = false;
    bool colsReordered = false;
    mutable std::vector<char> readBuffer;   // one strip's bytes; reads are never concurrent
    const CellWriter* lineWriter = nullptr; // the save's, while one runs
    FileStamp indexedStamp;
    // How the index found the lines; a save streams them only while they still read the same.
    struct IndexedAs {
        bool quoting = false;
        char delimiter = 0;
        int unitBytes = 0;
    } indexedAs;
    mutable bool fileChanged = false;
};
