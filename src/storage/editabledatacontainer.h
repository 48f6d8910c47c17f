#pragma once

#include "storage/abstractdatacontainer.h"
#include "storage/largepageallocator.h"
#include "storage/packedrow.h"

#include <memory>
#include <string_view>
#include <vector>

// The in-memory container. Rows hold only the cells that were stored, so the table is ragged
// in memory and may be physically shorter than its logical size; whatever lies beyond the
// physical end reads as empty and costs nothing.
class CellWriter;
class MappedFile;

class EditableDataContainer : public AbstractDataContainer {
    Q_OBJECT

public:
    explicit EditableDataContainer(QObject* parent = nullptr);
    ~EditableDataContainer() override;

    std::vector<char> getValue(int row, int col, bool useOrder = true) const override;
    bool getValueView(int row, int col, std::string_view& out) const override;
    int numRows() const override { return numRowsLogical; }
    int numCols() const override { return numColsLogical; }
    int numColsInRow(int row) const override;
    std::vector<int> emptyRows(int index, GetRowColMaskType maskType, const std::vector<int>& mask) override;
    std::vector<int> emptyCols(int index, GetRowColMaskType maskType, const std::vector<int>& mask) override;
    int numEmptyRowsAtEnd() override;
    int numEmptyColsAtEnd() override;
    bool setValue(const int& row, const int& col, const std::vector<char>& value) override;
    void setValuesInRow(int row, const std::vector<std::pair<int, std::string_view>>& cells) override;
    bool resizeRows(int n) override;
    bool resizeCols(int n) override;
    bool clear() override;
    void getRow(std::vector<std::vector<char>>& out, int row) override;
    void getCol(std::vector<std::vector<char>>& out, int col) override;
    void setRow(int row, const std::vector<std::vector<char>>& cells) override;
    int rowFieldsAsRead(int row) const override;
    void setRowAsRead(int row, const std::vector<std::vector<char>>& cells, int fieldsAsRead) override;
    void setRowFieldsAsRead(int row, int fieldsAsRead) override;
    void setCol(int col, const std::vector<std::vector<char>>& cells) override;
    void insertRow(int at, const std::vector<std::vector<char>>& cells) override;
    void insertCol(int at, const std::vector<std::vector<char>>& cells) override;
    void insertRows(int at, const std::vector<std::vector<std::vector<char>>>& rowsToInsert) override;
    void insertCols(int at, const std::vector<std::vector<std::vector<char>>>& colsToInsert) override;
    bool insertEmptyRows(int at, int count) override;
    bool insertEmptyCols(int at, int count) override;
    bool removeRows(int at, int count) override;
    bool removeCols(int at, int count) override;
    void copyRowContentsToAnotherRow(int from, int to) override;
    void copyColContentsToAnotherCol(int from, int to) override;
    // Moves row i to map[i] (column i to map[i]); false, with nothing changed, when `map` is no
    // permutation of the rows (columns). Rows move as pointers: no cell is copied.
    bool reorderRows(const std::vector<int>& map);
    bool reorderCols(const std::vector<int>& map);

    bool loadCSV() override;
    bool loadCSVNoDelimiter() override;
    bool loadCSVMultiByte() override;
    bool loadCSVNoDelimiterMultiByte() override;

    bool saveCSV(bool fromUser, bool transposed, const std::vector<int>& rowsToSkip,
                 const std::vector<int>& colsToSkip) override;
    using AbstractDataContainer::saveCSV;
    void getRowCSVString(std::vector<char>& out, int row, GetRowColMaskType maskType,
                         const std::vector<int>& mask) override;
    void getRowCSVStringMultiByte(std::vector<char>& out, int row, GetRowColMaskType maskType,
                                  const std::vector<int>& mask) override;
    void getColCSVString(std::vector<char>& out, int col, GetRowColMaskType maskType,
                         const std::vector<int>& mask) override;
    void getColCSVStringMultiByte(std::vector<char>& out, int col, GetRowColMaskType maskType,
                                  const std::vector<int>& mask) override;

    // Number of rows physically stored (for the writer and tests; never above numRows()
    // except right after setValue grew the table).
    int numRowsPhysical() const { return static_cast<int>(rows.size()); }
    // Number of cells physically stored in a row.
    int numCellsStored(int row) const;
    // A cell's bytes without copying them; empty beyond what is stored. Valid until the next
    // edit or load.
    std::string_view cellView(int row, int col) const;

    qint64 getFileSize() const { return fileSize; }

    // Size of the read buffer; tests set it small to check that state carries across pieces.
    // 0 restores the default. Multi-byte loads round it up to a multiple of 4.
    static void setPieceSizeForTesting(qint64 size);
    // The instructions of the single-byte loader's scan: 1 the plain ones every processor has,
    // 2 AVX2 at most, 0 the best this one runs. For tests that hold the variants to each other.
    static void setInstructionSetForTesting(int level);
    // Large files are read in parts at once; tests make parts of `partSize`
    // bytes (up to 64 of them) in files of any size, or none with a negative size, and may
    // leave every part to the helpers. The parts in the file's middle are cut in quarters as a
    // large file's are only when `finerMiddle` says so. 0 restores the default.
    static void setSplitLoadForTesting(qint64 partSize, bool helpersOnly = false, bool finerMiddle = false);
    // How many parts loads have taken from their threads so far.
    static qint64 splitPartsTakenForTesting();
    // Where a load reads the file's bytes: BySize maps files large enough for it to pay, Never
    // copies every piece out of the file, Always maps any file that the system lets it map.
    enum class MappedLoad { BySize, Never, Always };
    static void setMappedLoadForTesting(MappedLoad use);
    // Saves are made in parts of `lines` lines on `helpers` threads beside the caller, whatever
    // the table's size; 0 lines makes them in one part on the caller alone, as a plain loop.
    // A negative count restores the default.
    static void setSavePartsForTesting(int lines, int helpers);

private:
    // The parsers and the row builder they share live in the implementation file.
    struct RowSink;
    struct ByteMachine;
    template <int BytesPerUnit> struct UnitMachine;
    struct LoadPart;
    struct SplitLoad;
    enum class PartOutcome { Taken, Refused, Canceled };
    template <class Machine> bool runLoad(Machine& machine);
    // The parts of the file from `from` on, and the helpers that read them while the loader
    // reads from the front; null when the file is read in one go.
    template <class Machine>
    std::unique_ptr<SplitLoad> startSplitLoad(int fd, const MappedFile* mapping, qint64 from,
                                              qint64 pieceSize, bool withDelimiter, bool honourQuotes);
    // Waits for a part that a helper took and appends its rows, if it is usable.
    PartOutcome takePart(SplitLoad& split, LoadPart& part);

    // What building lines needs beside the table: the writer, whether the next cell is the file's
    // first, scratch space. One per thread of a save.
    struct LineState;
    // Cells of one line of the saved file: the row's cells, or the column's cells down the rows.
    // Reads the table only, so the parts of a save are built on several threads at once.
    void buildLine(std::vector<char>& out, int index, bool column, GetRowColMaskType maskType,
                   const std::vector<int>& mask, LineState& state) const;
    // Replaces cell col of a row, storing empty cells before it as needed.
    void setStoredCell(PackedRow& row, int col, std::string_view value);

    std::vector<PackedRow, LargePageAllocator<PackedRow>> rows; // a big load makes millions
    std::vector<std::string_view> scratchViews;                 // reused by edits that rebuild rows
    qint64 fileSize = 0;
    int numRowsLogical = 0;
    int numColsLogical = 0;
};
