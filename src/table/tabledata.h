#pragma once

#include <string_view>

#include "storage/fileparameters.h"
#include "table/findreplacequery.h"
#include "table/rangetypes.h"

#include <QByteArray>
#include <QObject>
#include <QRegularExpression>
#include <QString>
#include <QVariant>

#include <array>
#include <functional>
#include <utility>
#include <vector>

class AbstractDataContainer;
class Range;
class RangeVector;
class SortKeys;
class Worker;
enum class SortType;
class QMutex;
class QTextCodec;
class QThread;
class QWaitCondition;

// Stands between the table model and the data container. Owns the container and the load
// thread, turns cell bytes into text and back, and maps between raw indexes (the stored
// table) and model indexes (raw less the concealed rows and columns).
//
// Every operation that ends in `bool ignoreTranspose` takes its arguments in the user's
// orientation when the flag is false: on a transposed table a row operation then runs as
// the column operation. With the flag true the arguments are taken as stated. Raw indexes
// given in the user's orientation are exchanged the same way.
class TableData : public QObject {
    Q_OBJECT

public:
    enum DataContainerType : int {
        Editable = 0,
        ReadOnly = 1,
    };

    static const QString kDefaultWordDelimiters;

    explicit TableData(QObject* parent = nullptr);
    ~TableData() override;

    AbstractDataContainer* getDataContainer() const { return dataContainer; }
    DataContainerType getDataContainerType() const { return dataContainerType; }
    bool isLoading() const { return loading; }

    // --- Counts ---------------------------------------------------------------------------
    int numRawRows(bool ignoreTranspose = false) const;
    int numRawCols(bool ignoreTranspose = false) const;
    int numModelRows(bool ignoreTranspose = false) const;
    int numModelCols(bool ignoreTranspose = false) const;

    // --- Mapping --------------------------------------------------------------------------
    int getRawFromModelRow(int model, bool ignoreTranspose = false) const;
    int getRawFromModelCol(int model, bool ignoreTranspose = false) const;
    int getModelFromRawRow(int raw, bool nearest = false, bool ignoreTranspose = false) const;
    int getModelFromRawCol(int raw, bool nearest = false, bool ignoreTranspose = false) const;
    // Both corners of a range; negative indexes and the end-of-table mark stay as they are.
    Range getRawFromModelRange(const Range& range) const;
    Range getModelFromRawRange(const Range& range, bool nearest = false) const;
    bool isRowConcealed(int raw, bool ignoreTranspose = false) const;
    bool isColConcealed(int raw, bool ignoreTranspose = false) const;

    // --- Cells ----------------------------------------------------------------------------
    // With `prefixLength` above 0 a longer cell may come back cut, though always to more than
    // `prefixLength` characters: enough for a caller that shows only the start of a cell, without
    // decoding megabytes it won't show.
    QVariant getValueModel(int row, int col, int prefixLength = 0) const;
    QVariant getValueRaw(int row, int col, bool ignoreTranspose = false, int prefixLength = 0) const;
    std::vector<char> getValueRawCharVec(int row, int col, bool ignoreTranspose = false) const;
    bool setValueModel(int row, int col, const QString& text);
    bool setValueRaw(int row, int col, const QString& text, bool ignoreTranspose = false);
    bool isCellPopulated(int row, int col) const; // raw, user orientation

    // --- Block writes in UTF-8 (clipboard) --------------------------------------------------
    // The cell's text as UTF-8, appended to `out`: in a UTF-8 table the stored bytes as they
    // are, so that writing them back restores the cell exactly.
    void appendValueModelUtf8(int row, int col, QByteArray& out) const;
    // Writes `numRows` rows of UTF-8 texts from model cell (top, left) on, cell by cell as
    // setValueModel would; `rowTexts(r, texts)` gives row r. A UTF-8 table takes the bytes as
    // they are and each row in one pass, and a change of size is announced once. `rowsDone`, when
    // given, hears every so many rows how many are written.
    void setBlockModelUtf8(int top, int left, int numRows,
                           const std::function<void(int, std::vector<std::string_view>&)>& rowTexts,
                           const std::function<void(int)>& rowsDone = {});
    // Target of a ctrl-arrow jump from the range's active cell, in the range's index space.
    Range getNextBlockLocation(const Range& range, Direction direction) const;
    bool areColumnsInRowBlank(int row, const std::vector<int>& cols, bool ignoreTranspose = false) const;
    bool areRowsInColBlank(int col, const std::vector<int>& rows, bool ignoreTranspose = false) const;

    // Decoding and encoding of one cell in an encoding; a null codec falls back to UTF-8.
    static QString decodeCell(const std::vector<char>& bytes, EncodingType encoding, QTextCodec* codec);
    static QString decodeCell(std::string_view bytes, EncodingType encoding, QTextCodec* codec);
    static QString decodeCellPrefix(std::string_view bytes, EncodingType encoding, QTextCodec* codec,
                                    int prefixLength);
    static std::vector<char> encodeCell(const QString& text, EncodingType encoding, QTextCodec* codec);
    // No byte above 0x7F: in an ASCII-compatible encoding, the text is these bytes as they stand.
    static bool isAscii(std::string_view bytes) {
        // No early exit: the loop vectorises, and cells are short.
        unsigned char any = 0;
        for (const char c : bytes)
            any |= static_cast<unsigned char>(c);
        return any < 0x80;
    }

    // --- Inserting, removing, moving ------------------------------------------------------
    bool insertRowsModel(int at, int count, bool ignoreTranspose = false);
    bool insertColsModel(int at, int count, bool ignoreTranspose = false);
    bool insertRowsRaw(int at, int count, bool ignoreTranspose = false);
    bool insertColsRaw(int at, int count, bool ignoreTranspose = false);
    bool insertRowsRaw(int at, const std::vector<std::vector<std::vector<char>>>& rows,
                       bool ignoreTranspose = false);
    bool insertColsRaw(int at, const std::vector<std::vector<std::vector<char>>>& cols,
                       bool ignoreTranspose = false);
    bool removeRowsModel(int at, int count, bool ignoreTranspose = false);
    bool removeColsModel(int at, int count, bool ignoreTranspose = false);
    bool removeRowsRaw(int at, int count, bool ignoreTranspose = false);
    bool removeColsRaw(int at, int count, bool ignoreTranspose = false);
    // Runs of lines (first raw, count; ascending and apart) removed, or put back where they stood,
    // in one pass over the table however many runs there are.
    bool removeRunsRaw(Axis axis, const std::vector<std::pair<int, int>>& runs, bool ignoreTranspose = false);
    // `fieldsAsRead`, one list per run, gives stored rows back the field counts they were read with.
    bool insertRunsRaw(Axis axis, const std::vector<std::pair<int, int>>& runs,
                       const std::vector<std::vector<std::vector<std::vector<char>>>>& contents,
                       const std::vector<std::vector<int>>* fieldsAsRead = nullptr,
                       bool ignoreTranspose = false);
    bool moveRowRelative(int from, int to, bool ignoreTranspose = false);
    bool moveColRelative(int from, int to, bool ignoreTranspose = false);
    bool duplicateRow(int from, int to, bool ignoreTranspose = false);
    bool duplicateCol(int from, int to, bool ignoreTranspose = false);
    // Each of the model lines (ascending, distinct) gets `count` copies, just below it or just
    // above it, in one pass over the table however many lines there are.
    bool duplicateLines(Axis axis, const std::vector<int>& lines, int count, bool below);

    // --- Concealed rows and columns -------------------------------------------------------
    void concealRawRows(const std::vector<int>& rows, bool ignoreTranspose = false);
    void concealRawCols(const std::vector<int>& cols, bool ignoreTranspose = false);
    void concealRawRow(int row, bool ignoreTranspose = false);
    void concealRawCol(int col, bool ignoreTranspose = false);
    void concealModelRows(const std::vector<int>& rows, bool ignoreTranspose = false);
    void concealModelCols(const std::vector<int>& cols, bool ignoreTranspose = false);
    void concealModelRow(int row, bool ignoreTranspose = false);
    void concealModelCol(int col, bool ignoreTranspose = false);
    void showRawRow(int row, bool ignoreTranspose = false);
    void showRawCol(int col, bool ignoreTranspose = false);
    void showRawRows(const std::vector<int>& rows, bool ignoreTranspose = false);
    void showRawCols(const std::vector<int>& cols, bool ignoreTranspose = false);
    void showAllRows(bool ignoreTranspose = false);
    void showAllCols(bool ignoreTranspose = false);
    void getConcealedRowsRaw(std::vector<int>& out, bool ignoreTranspose = false) const;
    void getConcealedColsRaw(std::vector<int>& out, bool ignoreTranspose = false) const;
    int numConcealedRows(bool ignoreTranspose = false) const;
    int numConcealedCols(bool ignoreTranspose = false) const;

    // --- Empty rows and columns, through the container ------------------------------------
    // `index` and `mask` select the columns looked at in each row (the rows in each column),
    // in the given index space; the result is in the same space. With Model, concealed rows
    // are not reported. User indexes are taken as raw: their offset belongs to the model.
    std::vector<int> getEmptyRows(int index, RangeIndexType indexType, GetRowColMaskType maskType,
                                  const std::vector<int>& mask, bool ignoreTranspose = false) const;
    std::vector<int> getEmptyCols(int index, RangeIndexType indexType, GetRowColMaskType maskType,
                                  const std::vector<int>& mask, bool ignoreTranspose = false) const;
    // Raw indexes in, raw indexes out.
    std::vector<int> getEmptyRowsRaw(int index, GetRowColMaskType maskType, const std::vector<int>& mask,
                                     bool ignoreTranspose = false) const;
    std::vector<int> getEmptyColsRaw(int index, GetRowColMaskType maskType, const std::vector<int>& mask,
                                     bool ignoreTranspose = false) const;
    int numEmptyRowsRawAtEnd(bool ignoreTranspose = false) const;
    int numEmptyColsRawAtEnd(bool ignoreTranspose = false) const;

    // --- Parameters -----------------------------------------------------------------------
    void setDelimiter(const QString& readDelimiter, const QString& writeDelimiter);
    void setEncoding(EncodingType type, bool reencodeCells);
    // How many cells hold text that `type` can't write, which a change to it would turn into
    // replacement characters; 0 where nothing would be lost or the cells aren't in memory.
    // `worker` gets progress and may cancel, and then the answer is -1.
    qint64 countCellsLostInEncoding(EncodingType type, Worker* worker = nullptr) const;
    void setLineEnding(LineEndingType type);
    void setParsingStandard(ParsingStandard standard);
    void setSaveWithTrailingDelimiters(bool on);
    // Off: the trailing delimiter rule applies to every row, not only to changed ones.
    void setKeepFieldCountsAsRead(bool on);
    bool getKeepFieldCountsAsRead() const { return keepFieldCountsAsRead; }
    void setExtension(const QString& ext) { extension = ext; }
    void setProgressUpdateMutex(QMutex* mutex, QWaitCondition* condition);

    char getDelimiter() const { return delimiter; }
    char getSaveDelimiter() const { return saveDelimiter; }
    QString getDelimiterText() const;
    QString getSaveDelimiterText() const;
    EncodingType getEncoding() const { return encoding; }
    LineEndingType getLineEnding() const { return lineEnding; }
    ParsingStandard getParsingStandard() const { return parsingStandard; }
    bool getSaveWithTrailingDelimiters() const { return saveWithTrailingDelimiters; }
    QString getExtension() const { return extension; }
    QString getFilepath() const;
    QByteArray getCodecName() const { return codecName; }

    // --- Transposition --------------------------------------------------------------------
    bool isTransposed() const { return transposed; }
    void toggleTranspose();

    // --- Loading and saving ---------------------------------------------------------------
    void loadCSV(const QString& path, bool threaded, DataContainerType type, const QString& readDelimiter,
                 const QString& writeDelimiter, EncodingType encodingType, ParsingStandard standard);
    void stopLoadThread(bool cancel);
    void setDataContainerType(DataContainerType type);
    bool saveCSV(bool fromUser, bool visibleOnly);
    bool saveCSV(const QString& path, bool fromUser, bool visibleOnly);
    // The system's reason for the last failed save, or empty.
    QString getSaveErrorString() const;
    void clear();

    // --- Sorting --------------------------------------------------------------------------
    // Computes the stable natural order of the raw lines of `axis` (rows for Row) by the cells
    // of raw line `index` across them, leaving the first `numHeaders` lines in place. `out`
    // becomes the map from each raw index to its index after the sort. Runs on the calling
    // thread; `worker` gets progress and may cancel. False when canceled or there is nothing
    // to sort, with `out` empty.
    bool getSortIndexes(std::vector<int>& out, int index, Axis axis, SortType type, int numHeaders,
                        Worker* worker = nullptr) const;
    // Moves each raw line i to map[i], with its concealment. The read-only container only
    // changes the order it reads the file in. `unsort` takes the same map back.
    bool sortRows(const std::vector<int>& map, bool ignoreTranspose = false);
    bool sortCols(const std::vector<int>& map, bool ignoreTranspose = false);
    bool unsortRows(const std::vector<int>& map, bool ignoreTranspose = false);
    bool unsortCols(const std::vector<int>& map, bool ignoreTranspose = false);
    void setCaseSensitiveSort(bool on) { caseSensitiveSort = on; }
    bool getCaseSensitiveSort() const { return caseSensitiveSort; }

    // --- Word delimiters for whole-word search --------------------------------------------
    void setWordDelimiters(const QString& chars);
    QString getWordDelimiters() const { return wordDelimiters; }
    bool isWordDelimiter(QChar c) const;
    const std::array<bool, 256>& wordDelimiterLookupTable() const { return wordDelimiterLookup; }
    void rebuildWordDelimiterLookup();

    // --- Find and replace (tabledata_find.cpp) --------------------------------------------
    // Raw indexes in the user's orientation; the walk runs in the view's row-major order and
    // never looks at concealed rows or columns. `positions` receives the start of each match.
    bool determineMatch(const FindReplaceQuery& query, int row, int col) const;
    bool determineMatch(const FindReplaceQuery& query, int row, int col, std::vector<int>& positions) const;
    bool determineMatch(const FindReplaceQuery& query, const QString& text) const;
    bool determineMatch(const FindReplaceQuery& query, const QString& text,
                        std::vector<int>& positions) const;
    bool determineMatchInternal(const FindReplaceQuery& query, const QString& text,
                                std::vector<int>* positions) const;
    // The same with a compiled pattern given, for a search that must not touch the shared cache.
    bool determineMatchWith(const FindReplaceQuery& query, const QString& text, std::vector<int>* positions,
                            const QRegularExpression* regex) const;
    // The compiled pattern of the query, made once per query; `valid` tells whether it compiled.
    const QRegularExpression& getOrCreateRegex(const FindReplaceQuery& query, bool& valid) const;
    // The next (previous, unless `forward`) match after `start`, which is examined last unless
    // `includeStart`; a search wraps once. A Raw Cell with the cell's text as value, or Invalid.
    // `positions`, when given, gets where the query matches in that text; with `cells` the walk
    // goes only through the given raw ranges.
    Range findMatch(const FindReplaceQuery& query, const Range& start, bool includeStart, bool forward,
                    std::vector<int>* positions = nullptr, const RangeVector* cells = nullptr) const;
    Range findNextMatch(const FindReplaceQuery& query, const Range& start, bool includeStart) const;
    Range findPrevMatch(const FindReplaceQuery& query, const Range& start, bool includeStart) const;
    // Every match in row-major order; `worker` gets progress and may cancel (then the list is empty).
    RangeVector findAll(const FindReplaceQuery& query, Worker* worker = nullptr) const;
    // The same as a lean list, or with `replaceIt` the cells a replace all changes. Runs on the
    // calling thread; false when `worker` was canceled.
    bool findAllCells(const FindReplaceQuery& query, std::vector<FoundCell>& out, bool replaceIt,
                      Worker* worker = nullptr) const;
    RangeVector findAll(const FindReplaceQuery& query, const RangeVector& cells) const;
    // The cell with its text replaced in `value` and the old one in `oldValue`; nothing is
    // written. Invalid for an Invalid range or a pattern that doesn't compile.
    Range replace(const FindReplaceQuery& query, const Range& range, const std::vector<int>& positions,
                  bool all) const;
    Range replaceNextMatch(const FindReplaceQuery& query, const Range& start, bool includeStart) const;
    Range replacePrevMatch(const FindReplaceQuery& query, const Range& start, bool includeStart) const;
    RangeVector replaceAll(const FindReplaceQuery& query, Worker* worker = nullptr) const;
    RangeVector replaceAll(const FindReplaceQuery& query, const RangeVector& cells) const;

public slots:
    // A finish from a container that was replaced meanwhile is ignored.
    void onLoadFinished();

signals:
    void loadFinishedSignal();
    // A load that could not read its file. A threaded one stays pending (isLoading() is true)
    // until stopLoadThread() or another load; an unthreaded one finishes with an empty table.
    // The window decides what the user sees.
    // A load that failed; `reason` is the system's word for it, or empty.
    void loadFailedSignal(QString path, QString reason);
    // A read-only table's file changed on disk since it was indexed: its cells read empty now.
    void fileChangedUnderTableSignal(QString path);
    void tableSizeChangedSignal(int rawRows, int rawCols, int modelRows, int modelCols);
    void startProgressUpdateSignal();
    void loadProgressUpdateSignal(int current, int total, int sizeInMiB);
    void saveStartedSignal(QString path);
    // Percent of the lines written, sent when it changes; a small save sends none.
    void saveProgressSignal(int percent);
    void saveFinishedSignal(QString path);

private:
    // The physical axis an operation works on, after transposition is applied.
    enum class Dimension { Rows, Cols };
    Dimension rowAxis(bool ignoreTranspose) const {
        return transposed && !ignoreTranspose ? Dimension::Cols : Dimension::Rows;
    }
    Dimension colAxis(bool ignoreTranspose) const {
        return transposed && !ignoreTranspose ? Dimension::Rows : Dimension::Cols;
    }
    static Dimension other(Dimension axis) {
        return axis == Dimension::Rows ? Dimension::Cols : Dimension::Rows;
    }
    std::vector<int>& concealedOf(Dimension axis) {
        return axis == Dimension::Rows ? concealedRows : concealedCols;
    }
    const std::vector<int>& concealedOf(Dimension axis) const {
        return axis == Dimension::Rows ? concealedRows : concealedCols;
    }
    int& rawCountOf(Dimension axis) { return axis == Dimension::Rows ? rawRows : rawCols; }
    int rawCountOf(Dimension axis) const { return axis == Dimension::Rows ? rawRows : rawCols; }
    int modelCountOf(Dimension axis) const;

    bool editable() const;
    bool insertEmpty(Dimension axis, int at, int count);
    bool insertFilled(Dimension axis, int at, const std::vector<std::vector<std::vector<char>>>& lines);
    bool removeLines(Dimension axis, int at, int count); // no signal
    // The runs (first, count), ascending, removed from the last one back; the size signal once.
    bool removeRunsFromLast(Dimension axis, const std::vector<std::pair<int, int>>& runs);
    bool removeModel(Dimension axis, int at, int count);
    bool insertModel(Dimension axis, int at, int count);
    bool moveLine(Dimension axis, int from, int to);
    bool duplicateLine(Dimension axis, int from, int to);
    void conceal(Dimension axis, std::vector<int> raws);
    void show(Dimension axis, const std::vector<int>& raws);
    bool linesBlank(Dimension axis, int line, const std::vector<int>& across) const;
    std::vector<int> emptyLines(Dimension axis, int index, GetRowColMaskType maskType,
                                const std::vector<int>& mask) const;
    std::vector<int> emptyLinesIn(Dimension axis, int index, RangeIndexType indexType,
                                  GetRowColMaskType maskType, const std::vector<int>& mask) const;

    // Find: the text of a raw cell in the user's orientation, and the walk of the finds.
    QString findCellText(int row, int col) const;
    struct FindWalk;
    FindWalk makeFindWalk(const Range& start, const RangeVector* cells) const;
    Range findMatchFrom(const FindReplaceQuery& query, const Range& start, bool includeStart, bool forward,
                        bool replaceIt) const;
    QString replacedText(const FindReplaceQuery& query, const QString& text,
                         const std::vector<int>& positions, bool all, bool& valid,
                         const QRegularExpression* regex = nullptr) const;

    // False when the read stops; `refused` then says whether a numbers-only set met another key.
    // The keys of the first `numHeaders` raw lines are placeholders.
    bool readSortKeys(SortKeys& keys, Dimension moving, int index, int numHeaders, Worker* worker,
                      bool& refused) const;
    bool reorderLines(Dimension axis, const std::vector<int>& map);

    void emitTableSizeChanged();
    void keepContainerSize();
    AbstractDataContainer* createDataContainer(DataContainerType type);
    void finishLoad();
    void endLoadThread();
    static char delimiterFromText(const QString& text);

    AbstractDataContainer* dataContainer = nullptr;
    DataContainerType dataContainerType = Editable;
    // The raw counts; numRawRows() and numRawCols() read them in the user's orientation.
    int rawRows = 0;
    int rawCols = 0;
    bool transposed = false;
    std::vector<int> concealedRows;
    std::vector<int> concealedCols;
    bool keepFieldCountsAsRead = true;
    bool saveWithTrailingDelimiters = true;
    char delimiter = ',';
    char saveDelimiter = ',';
    LineEndingType lineEnding = LINE_ENDING_UNIX;
    EncodingType encoding = UTF_8;
    ParsingStandard parsingStandard = RFC_4180;
    QByteArray codecName;
    QTextCodec* codec = nullptr;
    QString extension = QStringLiteral("csv");
    QThread* loadThread = nullptr;
    bool loading = false;
    // Counts loads so that a finish queued by a replaced container is recognised even if a
    // new container happens to get the old one's address.
    quint64 loadGeneration = 0;
    QString wordDelimiters;
    std::array<bool, 256> wordDelimiterLookup{};
    QMutex* progressUpdateMutex = nullptr;
    QWaitCondition* progressUpdateCondition = nullptr;
    bool caseSensitiveSort = true;
    // The pattern of the last regular-expression query, compiled once for all its cells.
    mutable FindReplaceQuery cachedFindQuery;
    mutable QRegularExpression cachedRegex;
    mutable bool cacheValid = false;
    mutable bool cachedValid = false;
};
