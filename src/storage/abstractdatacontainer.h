#pragma once

#include <string_view>

#include "storage/fileparameters.h"

#include <QObject>
#include <QString>

#include <atomic>
#include <functional>
#include <string>
#include <vector>

class QMutex;
class QWaitCondition;

// A cell is the raw bytes of one field in the file's encoding, quotes removed and doubled
// quotes undone; an empty vector is an empty cell.
using Cell = std::vector<char>;
using CellRow = std::vector<Cell>;

// The storage contract under TableData. A container holds one table as raw cells in the
// file's own encoding and never decodes them. Every index here is a raw index from 0.
// Editing operations default to quiet no-ops so that a read-only container needs nothing.
class AbstractDataContainer : public QObject {
    Q_OBJECT

public:
    explicit AbstractDataContainer(QObject* parent = nullptr);
    ~AbstractDataContainer() override;

    // The one size that makes a file large: a file above it loads on a thread of its own, and
    // from it on a load reports progress; smaller ones load silently.
    static constexpr qint64 kProgressThreshold = 25165824; // 24 MiB
    static constexpr qint64 kProgressStep = 8388608;       // 8 MiB between reports
    static constexpr qint64 kMaxPieceSize = 268435456;     // 256 MiB: the largest read buffer
    // The piece both readers actually take. Nothing needs the whole file in memory at once, so one
    // small buffer is read into again and again: it stays in the processor's cache, and no buffer
    // of the file's size has its pages faulted in and zeroed. The pieces change nothing read.
    static constexpr qint64 kReadPieceSize = qint64(1) << 20;

    // --- Cells --------------------------------------------------------------------------
    virtual std::vector<char> getValue(int row, int col, bool useOrder = true) const;
    // The cell's stored bytes in place, where the container keeps them in memory as getValue
    // would give them; false where it doesn't (the caller then asks getValue). The view is good
    // until the next change of the container.
    virtual bool getValueView(int row, int col, std::string_view& out) const {
        (void)row;
        (void)col;
        (void)out;
        return false;
    }
    virtual int numRows() const;
    virtual int numCols() const;
    virtual int numColsInRow(int row) const;
    virtual std::vector<int> emptyRows(int index, GetRowColMaskType maskType, const std::vector<int>& mask);
    virtual std::vector<int> emptyCols(int index, GetRowColMaskType maskType, const std::vector<int>& mask);
    virtual int numEmptyRowsAtEnd();
    virtual int numEmptyColsAtEnd();
    virtual bool setValue(const int& row, const int& col, const std::vector<char>& value);
    // Several cells of one row at once, (column, bytes) in ascending columns, as setValue would
    // write them one by one; a container that packs its rows rebuilds the row once.
    virtual void setValuesInRow(int row, const std::vector<std::pair<int, std::string_view>>& cells);
    virtual bool resizeRows(int n);
    virtual bool resizeCols(int n);
    virtual bool clear();
    virtual void getRow(std::vector<std::vector<char>>& out, int row);
    virtual void getCol(std::vector<std::vector<char>>& out, int col);
    virtual void setRow(int row, const std::vector<std::vector<char>>& cells);
    // How many fields a row's line had when it was read, and a row put back as it was read (for
    // undo): a row nobody changed is saved with the fields its line had. 0 when unknown.
    virtual int rowFieldsAsRead(int row) const;
    virtual void setRowAsRead(int row, const std::vector<std::vector<char>>& cells, int fieldsAsRead);
    virtual void setRowFieldsAsRead(int row, int fieldsAsRead);
    virtual void setCol(int col, const std::vector<std::vector<char>>& cells);
    virtual void insertRow(int at, const std::vector<std::vector<char>>& cells);
    virtual void insertCol(int at, const std::vector<std::vector<char>>& cells);
    virtual void insertRows(int at, const std::vector<std::vector<std::vector<char>>>& rowsToInsert);
    virtual void insertCols(int at, const std::vector<std::vector<std::vector<char>>>& colsToInsert);
    virtual bool insertEmptyRows(int at, int count);
    virtual bool insertEmptyCols(int at, int count);
    virtual bool removeRows(int at, int count);
    virtual bool removeCols(int at, int count);
    virtual void copyRowContentsToAnotherRow(int from, int to);
    virtual void copyColContentsToAnotherCol(int from, int to);

    // --- Writing ------------------------------------------------------------------------
    virtual bool saveCSV(bool fromUser, bool transposed, const std::vector<int>& rowsToSkip,
                         const std::vector<int>& colsToSkip);
    virtual bool saveCSV(const QString& path, bool fromUser, bool transposed,
                         const std::vector<int>& rowsToSkip, const std::vector<int>& colsToSkip);
    virtual void getRowCSVString(std::vector<char>& out, int row, GetRowColMaskType maskType,
                                 const std::vector<int>& mask);
    virtual void getRowCSVStringMultiByte(std::vector<char>& out, int row, GetRowColMaskType maskType,
                                          const std::vector<int>& mask);
    virtual void getColCSVString(std::vector<char>& out, int col, GetRowColMaskType maskType,
                                 const std::vector<int>& mask);
    virtual void getColCSVStringMultiByte(std::vector<char>& out, int col, GetRowColMaskType maskType,
                                          const std::vector<int>& mask);

    // --- Reading ------------------------------------------------------------------------
    virtual bool loadCSV();
    virtual bool loadCSVNoDelimiter();
    virtual bool loadCSVMultiByte();
    virtual bool loadCSVNoDelimiterMultiByte();

    // --- File parameters (plain setters and getters) ------------------------------------
    void setFilepath(const QString& path) { filepath = path; }
    QString getFilepath() const { return filepath; }
    void setDelimiter(char readDelimiter, char writeDelimiter);
    char getDelimiter() const { return delimiter; }
    char getSaveDelimiter() const { return saveDelimiter; }
    void setLineEnding(LineEndingType type) { lineEnding = type; }
    LineEndingType getLineEnding() const { return lineEnding; }
    void setEncoding(EncodingType type);
    EncodingType getEncoding() const { return encoding; }
    int getBytesPerChar() const { return bytesPerChar; }
    void setParsingStandard(ParsingStandard standard) { parsingStandard = standard; }
    ParsingStandard getParsingStandard() const { return parsingStandard; }
    void setSaveWithTrailingDelimiters(bool on) { saveWithTrailingDelimiters = on; }
    // On (the default), rows unchanged since the load are saved with the fields they were read
    // with, and the trailing delimiter rule applies to the others; off, it applies to every row.
    void setKeepFieldCountsAsRead(bool on) { keepFieldCountsAsRead = on; }
    bool getKeepFieldCountsAsRead() const { return keepFieldCountsAsRead; }
    bool getSaveWithTrailingDelimiters() const { return saveWithTrailingDelimiters; }
    void setLoadCanceled(bool canceled) { loadCanceled = canceled; }
    bool getLoadCanceled() const { return loadCanceled; }
    void setProgressUpdateSync(QMutex* mutex, QWaitCondition* condition);
    bool getHasBom() const { return hasBom; }
    // Why the last load, index or save failed, in the system's words; empty when it didn't, or
    // when it was canceled.
    QString getErrorString() const { return errorString; }
    // Whether the file's last row ended with a line ending: a load finds it out, and a save ends
    // its last line so too. A new table ends with one.
    void setFinalLineEnding(bool on) { finalLineEnding = on; }
    bool getFinalLineEnding() const { return finalLineEnding; }
    const std::vector<char>& getBom() const { return bom; }
    // Called by a save now and then with the lines written so far and the lines in all, on the
    // thread that saves; cleared by setting an empty function.
    using SaveProgress = std::function<void(qint64 done, qint64 total)>;
    void setSaveProgress(SaveProgress progress) { saveProgress = std::move(progress); }

    // --- Byte order marks ---------------------------------------------------------------
    static std::vector<char> getEncodingBom(EncodingType type);
    static int computeBomOffset(const char* buffer, qint64 size, EncodingType type);
    int computeTableBomOffset(const char* buffer, qint64 size, bool recordBom);
    static bool isBomConsistentWithEncoding(const std::vector<char>& bomBytes, EncodingType type);

    // The seven key sequences of the multi-byte parsers and writers, in this order.
    struct KeyCharVecs {
        std::vector<char> delimiter;
        std::vector<char> saveDelimiter;
        std::vector<char> cr;
        std::vector<char> lf;
        std::vector<char> recordSeparator;
        std::vector<char> quote;
        std::vector<char> doubledQuote;
    };
    KeyCharVecs setKeyCharVecs() const;

    // --- Text operations on cells -------------------------------------------------------
    // stringReplace replaces every occurrence left to right without rescanning what it wrote.
    void stringReplace(std::vector<char>& s, char target, char replacement) const;
    void stringReplace(std::vector<char>& s, const std::vector<char>& target,
                       const std::vector<char>& replacement) const;
    void stringReplace(std::vector<char>& s, const std::string& target, const std::string& replacement) const;
    // Position of the first occurrence at or after `from`, or -1.
    qsizetype findChars(const std::vector<char>& s, const std::vector<char>& target,
                        qsizetype from = 0) const;
    void replaceChars(std::vector<char>& s, qsizetype pos, qsizetype length,
                      const std::vector<char>& with) const;
    std::vector<char> stdStringToCharVec(const std::string& s) const;
    std::string charVecToStdString(const std::vector<char>& v) const;
    bool areCharVecsEqual(const std::vector<char>& a, const std::vector<char>& b) const;
    bool areCharVecsEqual(const char* a, const std::vector<char>& b) const; // compares b.size() bytes

    // Hears (rows done, rows in all) every few thousand rows of a pass that rebuilds every row
    // (columns reordered, inserted or removed), for a progress bar; empty for none.
    void setRowPassProgress(std::function<void(qint64, qint64)> sink) { rowPassProgress = std::move(sink); }

signals:
    void startProgressUpdateSignal();
    void loadProgressUpdateSignal(int current, int total, int sizeInMiB);
    void loadFinishedSignal();

protected:
    // Records why a read ended before the file's end: the system's error number, or 0 when the
    // file simply ended early, that is, it got shorter while it was read.
    void setReadError(int error);
    // The unit that ends the `size` bytes of descriptor `fd`, if it ends a row (LF, CR, record
    // separator, in the encoding's width), else empty.
    std::vector<char> lastTerminator(int fd, qint64 size) const;

    // Row `i` of `total` of a pass over every row comes next.
    void rowPassed(std::size_t i, std::size_t total) const {
        if (rowPassProgress && i % 4096 == 0)
            rowPassProgress(qint64(i), qint64(total));
    }

    // Progress handshake of a load: call once at the start, then at each row start.
    void beginProgress(qint64 fileSize);
    void reportProgressIfDue(qint64 position, qint64 fileSize, int bytesPerUnit);

    std::function<void(qint64, qint64)> rowPassProgress;
    std::atomic<bool> loadCanceled = false; // written by the GUI thread, read by the loader
    QString filepath;
    char delimiter = ',';
    char saveDelimiter = ',';
    LineEndingType lineEnding = LINE_ENDING_UNIX;
    EncodingType encoding = UTF_8;
    ParsingStandard parsingStandard = RFC_4180;
    int bytesPerChar = 1;
    QMutex* progressUpdateMutex = nullptr;
    QWaitCondition* progressUpdateCondition = nullptr;
    bool saveWithTrailingDelimiters = true;
    bool keepFieldCountsAsRead = true;
    bool hasBom = false;
    std::vector<char> bom;
    QString errorString;
    SaveProgress saveProgress;
    void reportSaveProgress(qint64 done, qint64 total) const {
        if (saveProgress)
            saveProgress(done, total);
    }
    bool finalLineEnding = true;
    // Set by a save while nothing stands in front of the first cell in the file, not even a byte
    // order mark: that cell is quoted if a load would take its first bytes for a mark.
    bool writingFileStart = false;

    qint64 nextProgressMark = -1;
};
