#include "table/tablemodel.h"

#include "preferences/settings.h"
#include "storage/abstractdatacontainer.h"
#include "table/tablemodel_p.h"
#include "table/tablemodelworker.h"
#include "util/locationutilities.h"

#include <QEventLoop>
#include <QFileInfo>
#include <QMutex>
#include <QMutexLocker>
#include <QThread>
#include <QWaitCondition>

#include <algorithm>
#include <climits>

using namespace TableModelDetail;

TableModel::TableModel(bool forTableView, QObject* parent)
    : QAbstractTableModel(parent), progressUpdateMutex(std::make_unique<QMutex>()),
      progressUpdateCondition(std::make_unique<QWaitCondition>()), forTableView(forTableView),
      numberRegex(
          QStringLiteral(R"((?<num>(((\+|-)?((\d+|\d*(\.\d+)?))(e|E)(\+|-)?\d+)|(\+|-)?\d*(\.\d+)?)))")),
      workerCancel(std::make_shared<bool>(false)), workerCancelMutex(std::make_shared<QMutex>()) {
    numberRegex.optimize();
    // The worker exists from the start so that a progress dialog can listen to it; its thread
    // starts with the first scan.
    worker = new TableModelWorker(workerCancel, workerCancelMutex);
    tableData.setProgressUpdateMutex(progressUpdateMutex.get(), progressUpdateCondition.get());
    connect(&tableData, &TableData::startProgressUpdateSignal, this, &TableModel::startProgressUpdateSignal);
    connect(&tableData, &TableData::loadProgressUpdateSignal, this, &TableModel::loadProgressUpdateSignal);
    connect(&tableData, &TableData::loadFinishedSignal, this, &TableModel::onLoadFinished);
    connect(&tableData, &TableData::saveStartedSignal, this, &TableModel::saveStartedSignal);
    connect(&tableData, &TableData::saveProgressSignal, this, &TableModel::saveProgressSignal);
    connect(&tableData, &TableData::saveFinishedSignal, this, &TableModel::saveFinishedSignal);
    connect(&tableData, &TableData::tableSizeChangedSignal, this, &TableModel::onTableSizeChanged);
    headerFont.setBold(true);
    setTheme(Theme::darkTheme());
}

TableModel::~TableModel() {
    if (workerThread) {
        cancelWorker();
        workerThread->quit();
        workerThread->wait();
        delete workerThread;
    }
    delete worker;
    // The load thread uses the handshake pair; end it while the pair exists.
    tableData.stopLoadThread(true);
}

// --- Qt model --------------------------------------------------------------------------------

int TableModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : rowCountView;
}

int TableModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : colCountView;
}

Qt::ItemFlags TableModel::flags(const QModelIndex& index) const {
    if (!index.isValid())
        return Qt::NoItemFlags;
    return Qt::ItemIsEditable | Qt::ItemIsEnabled;
}

QVariant TableModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid() || index.model() != this || role > Qt::ForegroundRole)
        return QVariant();
    const int row = index.row();
    const int col = index.column();
    if (row < 0 || col < 0)
        return QVariant();
    // A read-only table reads its file through one buffer, which a scan on the worker is using:
    // painting goes on with the cells held when the scan began.
    if (workerBusy && tableData.getDataContainerType() == TableData::ReadOnly &&
        (role == Qt::DisplayRole || role == Qt::EditRole))
        return role == Qt::DisplayRole ? heldDisplayValue(row, col) : QVariant();
    switch (role) {
    case Qt::DisplayRole:
        return displayValue(row, col, false);
    case Qt::EditRole:
        return displayValue(row, col, true);
    case Qt::FontRole: {
        const bool header =
            (boldHeaderRows && row < numVisibleHeaderRows) || (boldHeaderCols && col < numHeaderCols);
        return header ? headerFont : font;
    }
    case Qt::BackgroundRole:
        return backgroundAt(row, col);
    case Qt::ForegroundRole:
        return previewAt(row, col) ? previewTextBrush : textBrush;
    default:
        break;
    }
    return QVariant();
}

QVariant TableModel::displayValue(int row, int col, bool edit) const {
    QVariant value;
    if (const Range* preview = previewAt(row, col))
        value = preview->value;
    else
        value = tableData.getValueModel(row, col, edit ? 0 : maxCellDisplayLength);
    if (!edit && value.typeId() == QMetaType::QString) {
        const QString text = value.toString();
        if (text.size() > maxCellDisplayLength)
            return QVariant(text.left(maxCellDisplayLength - 3) + QStringLiteral("..."));
    }
    return value;
}

const Range* TableModel::previewAt(int row, int col) const {
    if (!hasFindReplaceQuery || !findReplaceQuery.previewReplace || findReplacePreview.empty())
        return nullptr;
    if (!previewLookupValid) {
        previewLookup.clear();
        for (std::size_t i = 0; i < findReplacePreview.size(); ++i) {
            const Range cell = getModelRange(findReplacePreview[i]);
            if (cell.type == RangeType::Cell && cell.row >= 0 && cell.col >= 0)
                previewLookup.push_back({{cell.row, cell.col}, static_cast<int>(i)});
        }
        std::sort(previewLookup.begin(), previewLookup.end());
        previewLookupValid = true;
    }
    const auto it = std::lower_bound(previewLookup.begin(), previewLookup.end(),
                                     std::make_pair(std::make_pair(row, col), INT_MIN));
    if (it == previewLookup.end() || it->first != std::make_pair(row, col))
        return nullptr;
    return &findReplacePreview[static_cast<std::size_t>(it->second)];
}

QVariant TableModel::backgroundAt(int row, int col) const {
    if (row == mainCell.row && col == mainCell.col)
        return mainCellBrush;
    if (inSelectionLookup(row, col))
        return selectionBrush;
    const bool dragging = pendingCornerStart.row >= 0 && pendingCornerStart.col >= 0;
    if (dragging && inPendingRectangle(row, col))
        return selectionBrush;

    const bool header =
        (boldHeaderRows && row < numVisibleHeaderRows) || (boldHeaderCols && col < numHeaderCols);
    const int state =
        ((shadeEveryOtherRow && (row & 1)) ? 1 : 0) | ((shadeEveryOtherCol && (col & 1)) ? 2 : 0);
    const bool highlighted = inHighlightLookup(row, col);
    const QBrush& brush =
        highlighted ? highlightBrushes[state] : (header ? headerCellBrushes[state] : cellBrushes[state]);

    const bool onLine =
        (highlightMainCellRow && row == mainCell.row) || (highlightMainCellCol && col == mainCell.col);
    if (!onLine || dragging || selection.size() != 1 || selection.front().type != RangeType::Cell)
        return brush;
    const QColor base = brush.color();
    if (!base.isValid())
        return QBrush(lineColor);
    return QBrush(blendColors(base, lineColor, lineAlpha));
}

bool TableModel::inPendingRectangle(int row, int col) const {
    if (pendingCornerEnd.row < 0 || pendingCornerEnd.col < 0)
        return row == pendingCornerStart.row && col == pendingCornerStart.col;
    const auto [top, bottom] = std::minmax(pendingCornerStart.row, pendingCornerEnd.row);
    const auto [left, right] = std::minmax(pendingCornerStart.col, pendingCornerEnd.col);
    return row >= top && row <= bottom && col >= left && col <= right;
}

void TableModel::buildSelectionLookup() const {
    fillLookup(selectionLookup, selection);
    selectionLookupValid = true;
}

void TableModel::buildHighlightLookup() const {
    RangeVector model;
    model.reserve(highlightedRange.size());
    for (const Range& range : highlightedRange)
        model.push_back(getModelRange(range));
    fillLookup(highlightLookup, model);
    highlightLookupValid = true;
}

bool TableModel::inSelectionLookup(int row, int col) const {
    if (!selectionLookupValid)
        buildSelectionLookup();
    return lookupHolds(selectionLookup, row, col);
}

bool TableModel::inHighlightLookup(int row, int col) const {
    if (highlightedRange.empty())
        return false;
    if (!highlightLookupValid)
        buildHighlightLookup();
    return lookupHolds(highlightLookup, row, col);
}

bool TableModel::setData(const QModelIndex& index, const QVariant& value, int role) {
    if (!index.isValid() || index.model() != this || (role != Qt::EditRole && role != Qt::DisplayRole))
        return false;
    if (readOnly)
        return false;
    tableData.setValueModel(index.row(), index.column(), value.toString());
    emit dataChanged(index, index);
    emit newDataCommittedSignal();
    return true;
}

bool TableModel::setDataRaw(int rawRow, int rawCol, const QVariant& value) {
    if (readOnly || rawRow < 0 || rawCol < 0)
        return false;
    const bool changed = tableData.setValueRaw(rawRow, rawCol, value.toString());
    const int row = tableData.getModelFromRawRow(rawRow);
    const int col = tableData.getModelFromRawCol(rawCol);
    if (row >= 0 && col >= 0 && row < rowCountView && col < colCountView)
        emit dataChanged(index(row, col), index(row, col));
    if (changed)
        emit newDataCommittedSignal();
    return changed;
}

QVariant TableModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (role == Qt::FontRole)
        return QFont(QStringLiteral("Lucida Grande"), headerTextSize);
    if (role != Qt::DisplayRole)
        return QVariant();
    if (orientation == Qt::Vertical)
        return labelText(tableData.getRawFromModelRow(section), firstRowIndex, false, colSortData);
    return labelText(tableData.getRawFromModelCol(section), firstColIndex, colLetters, rowSortData);
}

QString TableModel::labelText(int raw, int first, bool letters, const SortData& sortData) const {
    QString text;
    if (letters)
        text = Utilities::convertNumberToLetters(raw);
    else if (raw == -1)
        text = QString::number(static_cast<uint>(INT_MIN)); // never asked for in practice
    else
        text = QString::number(static_cast<qint64>(raw) + first);
    if (sortData.index == raw && raw >= 0) {
        if (sortData.type == SortType::Ascending)
            return QStringLiteral("%1 %2").arg(text, QChar(0x2191));
        if (sortData.type == SortType::Descending)
            return QStringLiteral("%1 %2").arg(text, QChar(0x2193));
    }
    return text;
}

bool TableModel::insertRows(int row, int count, const QModelIndex& parent) {
    if (parent.isValid() || row < 0 || count < 1 || row > rowCountView || count > INT_MAX - rowCountView)
        return false;
    return changeViewSize(Qt::Vertical, true, row, count);
}

bool TableModel::insertColumns(int column, int count, const QModelIndex& parent) {
    if (parent.isValid() || column < 0 || count < 1 || column > colCountView ||
        count > INT_MAX - colCountView)
        return false;
    return changeViewSize(Qt::Horizontal, true, column, count);
}

bool TableModel::removeRows(int row, int count, const QModelIndex& parent) {
    if (parent.isValid() || row < 0 || count < 1 || row >= rowCountView)
        return false;
    return changeViewSize(Qt::Vertical, false, row, std::min(count, rowCountView - row));
}

bool TableModel::removeColumns(int column, int count, const QModelIndex& parent) {
    if (parent.isValid() || column < 0 || count < 1 || column >= colCountView)
        return false;
    return changeViewSize(Qt::Horizontal, false, column, std::min(count, colCountView - column));
}

// The body of the four overrides above, with `at` and `count` already checked.
bool TableModel::changeViewSize(Qt::Orientation orientation, bool insert, int at, int count) {
    const bool rows = orientation == Qt::Vertical;
    int& viewCount = rows ? rowCountView : colCountView;
    const int last = at + count - 1;
    auto begin = [&] {
        if (rows)
            insert ? beginInsertRows(QModelIndex(), at, last) : beginRemoveRows(QModelIndex(), at, last);
        else
            insert ? beginInsertColumns(QModelIndex(), at, last)
                   : beginRemoveColumns(QModelIndex(), at, last);
    };
    auto end = [&] {
        if (rows)
            insert ? endInsertRows() : endRemoveRows();
        else
            insert ? endInsertColumns() : endRemoveColumns();
    };
    if (adjustingTableSize) {
        begin();
        viewCount += insert ? count : -count;
        end();
        return true;
    }
    if (readOnly)
        return false;
    ++sizeRuleHold;
    // Columns go in or out of every row.
    const LongWrite write(*this, rows ? 0 : tableCells());
    begin();
    // Rows and columns inside the buffer past the data are empty already: only the view changes.
    const int dataCount = rows ? rowCountModel() : columnCountModel();
    if (insert ? at <= dataCount : at < dataCount) {
        if (rows)
            insert ? tableData.insertRowsModel(at, count) : tableData.removeRowsModel(at, count);
        else
            insert ? tableData.insertColsModel(at, count) : tableData.removeColsModel(at, count);
    }
    viewCount += insert ? count : -count;
    end();
    --sizeRuleHold;
    invalidateSelectionLookup();
    highlightLookupValid = previewLookupValid = false;
    enforceTableSize();
    return true;
}

// --- Settings, theme, fonts ------------------------------------------------------------------

namespace {

// The most empty rows or columns the minimum size and the buffer add: the grid keeps a record
// per line, so a count in the billions would take the memory and the time of billions of them.
constexpr int kMaxEmptyLines = 1000000;

int emptyLines(int n) {
    return std::clamp(n, 0, kMaxEmptyLines);
}

} // namespace

void TableModel::applySettings(const Settings& settings) {
    minNumTableRows = emptyLines(settings.getValueInt(MinTableRows));
    minNumTableCols = emptyLines(settings.getValueInt(MinTableColumns));
    numBufferRows = emptyLines(settings.getValueInt(BufferRows));
    numBufferCols = emptyLines(settings.getValueInt(BufferColumns));
    firstRowIndex = settings.getValueInt(FirstRowIndex);
    firstColIndex = settings.getValueInt(FirstColumnIndex);
    colLetters = settings.getValueBool(RepresentColumnsAsLetters);
    saveAfterEachEdit = settings.getValueBool(SaveAfterEachEdit);
    tableData.setCaseSensitiveSort(settings.getValueBool(CaseSensitiveSorting));
    boldHeaderRows = settings.getValueBool(HighlightHeaderRows);
    boldHeaderCols = settings.getValueBool(HighlightHeaderColumns);
    shadeEveryOtherRow = settings.getValueBool(ShadeEveryOtherRow);
    shadeEveryOtherCol = settings.getValueBool(ShadeEveryOtherColumn);
    highlightMainCellRow = settings.getValueBool(HighlightMainCellRow);
    highlightMainCellCol = settings.getValueBool(HighlightMainCellColumn);
    headerTextSize = std::max(1, settings.getValueInt(TextSize));
    QFont cellFont = settings.getFont();
    cellFont.setPointSize(headerTextSize);
    font = cellFont;
    headerFont = cellFont;
    headerFont.setBold(true);
    numHeaderCols = std::max(0, settings.getValueInt(HeaderColumns));
    setNumberOfHeaderRows(settings.getValueInt(HeaderRows));
    setTheme(settings.getTheme());
    enforceTableSize();
    if (rowCountView > 0 && colCountView > 0)
        emit dataChanged(index(0, 0), index(rowCountView - 1, colCountView - 1));
    if (rowCountView > 0)
        emit headerDataChanged(Qt::Vertical, 0, rowCountView - 1);
    if (colCountView > 0)
        emit headerDataChanged(Qt::Horizontal, 0, colCountView - 1);
    emit refreshHeadersSignal();
}

void TableModel::setTheme(const Theme& newTheme) {
    theme = newTheme;
    mainCellBrush = QBrush(theme.MainCellColor);
    selectionBrush = QBrush(theme.SelectedCellColor);
    textBrush = QBrush(theme.TextColor);
    previewTextBrush = QBrush(theme.HighlightedCellTextColor);
    // The four states: neither, shaded row, shaded column, both.
    const QColor cells[4] = {theme.CellColor, theme.CellShade1Color, theme.CellShade1Color,
                             theme.CellShade2Color};
    const QColor headers[4] = {theme.HeaderCellColor, theme.HeaderCellShade1Color,
                               theme.HeaderCellShade1Color, theme.HeaderCellShade2Color};
    const QColor highlights[4] = {theme.HighlightedCellColor, theme.HighlightedCellShade1Color,
                                  theme.HighlightedCellShade1Color, theme.HighlightedCellShade2Color};
    for (int i = 0; i < 4; ++i) {
        cellColors[i] = cells[i];
        headerCellColors[i] = headers[i];
        highlightColors[i] = highlights[i];
        cellBrushes[i] = QBrush(cells[i]);
        headerCellBrushes[i] = QBrush(headers[i]);
        highlightBrushes[i] = QBrush(highlights[i]);
    }
    lineColor = theme.HighlightedLineColor;
    lineAlpha = theme.mixFactor;
}

void TableModel::setFont(const QFont& cellFont) {
    font = cellFont;
    headerFont = cellFont;
    headerFont.setBold(true);
    if (cellFont.pointSize() > 0)
        headerTextSize = cellFont.pointSize();
}

void TableModel::setBoldHeaderRows(bool on) {
    boldHeaderRows = on;
}
void TableModel::setBoldHeaderCols(bool on) {
    boldHeaderCols = on;
}
void TableModel::setShadeEveryOtherRow(bool on) {
    shadeEveryOtherRow = on;
}
void TableModel::setShadeEveryOtherCol(bool on) {
    shadeEveryOtherCol = on;
}
void TableModel::setHighlightMainCellRow(bool on) {
    highlightMainCellRow = on;
}
void TableModel::setHighlightMainCellCol(bool on) {
    highlightMainCellCol = on;
}

void TableModel::setFirstRowIndex(int index) {
    firstRowIndex = index;
    if (rowCountView > 0)
        emit headerDataChanged(Qt::Vertical, 0, rowCountView - 1);
}

void TableModel::setFirstColIndex(int index) {
    firstColIndex = index;
    if (colCountView > 0)
        emit headerDataChanged(Qt::Horizontal, 0, colCountView - 1);
}

void TableModel::setColLetters(bool on) {
    colLetters = on;
    if (colCountView > 0)
        emit headerDataChanged(Qt::Horizontal, 0, colCountView - 1);
}

void TableModel::setExtension(const QString& ext) {
    extension = ext;
    tableData.setExtension(ext);
}

void TableModel::setDelimiter(const QString& readDelimiter, const QString& writeDelimiter) {
    delimiter = readDelimiter;
    delimiterSave = writeDelimiter;
    tableData.setDelimiter(readDelimiter, writeDelimiter);
    emit setDelimiterSignal(writeDelimiter);
}

void TableModel::saveAfterEdit() {
    if (!saveAfterEachEdit || readOnly || tableData.getFilepath().isEmpty())
        return;
    if (tableData.saveCSV(false, false))
        emit undoStackCleanChangedSignal(true);
    else
        emit saveAfterEditFailedSignal();
}

// --- Size ------------------------------------------------------------------------------------

void TableModel::setMinNumTableRows(int n) {
    minNumTableRows = emptyLines(n);
    enforceTableSize();
}

void TableModel::setMinNumTableCols(int n) {
    minNumTableCols = emptyLines(n);
    enforceTableSize();
}

void TableModel::setNumBufferRows(int n) {
    numBufferRows = emptyLines(n);
    enforceTableSize();
}

void TableModel::setNumBufferCols(int n) {
    numBufferCols = emptyLines(n);
    enforceTableSize();
}

void TableModel::enforceTableSize() {
    if (sizeRuleHold > 0 || adjustingTableSize)
        return;
    int maxSelRow = 0;
    int maxSelCol = 0;
    for (const Range& range : selection) {
        if (range.type == RangeType::Cell || range.type == RangeType::Row)
            maxSelRow = std::max(maxSelRow, range.row);
        if (range.type == RangeType::Cell || range.type == RangeType::Col)
            maxSelCol = std::max(maxSelCol, range.col);
    }
    const qint64 rowsNeeded = static_cast<qint64>(maxSelRow) + 1;
    const qint64 colsNeeded = static_cast<qint64>(maxSelCol) + 1;

    qint64 rows = tableData.numModelRows();
    qint64 cols = tableData.numModelCols();
    if (!readOnly) {
        // The concealed count comes off the selection term only: a selection deep in a
        // filtered table asks for fewer rows than its model index says.
        rows = std::max(rowsNeeded + numBufferRows - tableData.numConcealedRows(),
                        std::max<qint64>(minNumTableRows, rows + numBufferRows));
        cols = std::max(colsNeeded + numBufferCols - tableData.numConcealedCols(),
                        std::max<qint64>(minNumTableCols, cols + numBufferCols));
    }
    const int newRows = static_cast<int>(std::clamp<qint64>(rows, 0, INT_MAX));
    const int newCols = static_cast<int>(std::clamp<qint64>(cols, 0, INT_MAX));
    if (newRows == rowCountView && newCols == colCountView)
        return;

    // Only the view's size changes: the row and column notifications say all of it. A layout
    // change around them would nest two notifications, which item views do not allow.
    adjustingTableSize = true;
    if (newRows > rowCountView)
        insertRows(rowCountView, newRows - rowCountView);
    else if (newRows < rowCountView)
        removeRows(newRows, rowCountView - newRows);
    if (newCols > colCountView)
        insertColumns(colCountView, newCols - colCountView);
    else if (newCols < colCountView)
        removeColumns(newCols, colCountView - newCols);
    adjustingTableSize = false;

    // Rows: beyond the count; columns: at or beyond it. Kept as the view expects it.
    bool reselect = false;
    if (mainCell.row > newRows) {
        mainCell.row = std::max(newRows - 1, 0);
        reselect = true;
    }
    if (mainCell.col >= newCols && mainCell.col >= 0) {
        mainCell.col = std::max(newCols - 1, 0);
        reselect = true;
    }
    if (reselect) {
        Range cell = mainCell;
        setSelection(cell);
    }
}

void TableModel::growViewTo(int rows, int cols) {
    if (rows <= rowCountView && cols <= colCountView)
        return;
    adjustingTableSize = true;
    if (rows > rowCountView)
        insertRows(rowCountView, rows - rowCountView);
    if (cols > colCountView)
        insertColumns(colCountView, cols - colCountView);
    adjustingTableSize = false;
}

void TableModel::removeExtraneousRows(bool& changed) {
    removeExtraneous(true, changed);
}

void TableModel::removeExtraneousCols(bool& changed) {
    removeExtraneous(false, changed);
}

void TableModel::removeExtraneous(bool rows, bool& changed) {
    changed = false;
    const int modelCount = rows ? tableData.numModelRows() : tableData.numModelCols();
    const int buffer = rows ? numBufferRows : numBufferCols;
    const int minimum = rows ? minNumTableRows : minNumTableCols;
    const int concealed = rows ? tableData.numConcealedRows() : tableData.numConcealedCols();
    const qint64 maxCount =
        readOnly ? modelCount : std::max<qint64>(static_cast<qint64>(modelCount) + buffer, minimum);
    // The greatest index that still maps to a raw index within int.
    const qint64 indexLimit = static_cast<qint64>(INT_MAX) - 1 - concealed;
    const int limit =
        static_cast<int>(std::max<qint64>(std::min(std::max<qint64>(maxCount, 1) - 1, indexLimit), 0));

    const RangeType lineType = rows ? RangeType::Row : RangeType::Col;
    auto position = [rows](Range& r) -> int& { return rows ? r.row : r.col; };
    bool moved = false;
    for (Range& range : selection) {
        if ((range.type == RangeType::Cell || range.type == lineType) && position(range) > limit) {
            position(range) = limit;
            moved = true;
        }
    }
    if (position(mainCell) > limit) {
        position(mainCell) = limit;
        moved = true;
    }
    if (moved) {
        changed = true;
        invalidateSelectionLookup();
        sanitizeSelection();
        enforceTableSize();
    }

    const int viewCount = rows ? rowCountView : colCountView;
    bool mainErased = false;
    bool erased = false;
    for (auto it = selection.begin(); it != selection.end();) {
        if ((it->type == RangeType::Cell || it->type == lineType) && position(*it) >= viewCount) {
            mainErased = mainErased || it->isMainCell;
            it = selection.erase(it);
            erased = true;
        } else {
            ++it;
        }
    }
    if (erased) {
        changed = true;
        invalidateSelectionLookup();
        if (mainErased && !selection.empty()) {
            Range& first = selection.front();
            first.isMainCell = true;
            setMainCellPosition(first.row, first.col);
        }
    }
    if (changed)
        finishSelectionChange(true);
}

int TableModel::findBottomOccupiedRow() const {
    const int lastRaw = tableData.numRawRows() - tableData.numEmptyRowsRawAtEnd() - 1;
    for (int raw = lastRaw; raw >= 0; --raw) {
        const int model = tableData.getModelFromRawRow(raw);
        if (model >= 0 && !isLineEmpty(tableData, true, model))
            return model;
    }
    return -1;
}

int TableModel::findRightmostOccupiedCol() const {
    const int lastRaw = tableData.numRawCols() - tableData.numEmptyColsRawAtEnd() - 1;
    for (int raw = lastRaw; raw >= 0; --raw) {
        const int model = tableData.getModelFromRawCol(raw);
        if (model >= 0 && !isLineEmpty(tableData, false, model))
            return model;
    }
    return -1;
}

int TableModel::findTopOccupiedRow() const {
    const int rows = tableData.numModelRows();
    for (int row = 0; row < rows; ++row) {
        if (!isLineEmpty(tableData, true, row))
            return row;
    }
    return -1;
}

int TableModel::findLeftmostOccupiedCol() const {
    const int cols = tableData.numModelCols();
    for (int col = 0; col < cols; ++col) {
        if (!isLineEmpty(tableData, false, col))
            return col;
    }
    return -1;
}

std::vector<int> TableModel::getEmptyRowsModel() const {
    std::vector<int> out;
    const int rows = tableData.numModelRows();
    for (int row = 0; row < rows; ++row) {
        if (isLineEmpty(tableData, true, row))
            out.push_back(row);
    }
    return out;
}

std::vector<int> TableModel::getEmptyColumnsModel() const {
    std::vector<int> out;
    const int cols = tableData.numModelCols();
    for (int col = 0; col < cols; ++col) {
        if (isLineEmpty(tableData, false, col))
            out.push_back(col);
    }
    return out;
}

void TableModel::onTableSizeChanged(int rawRows, int rawCols, int modelRows, int modelCols) {
    highlightLookupValid = false;
    previewLookupValid = false;
    refreshVisibleHeaderRows();
    emit tableSizeChangedSignal(rawRows, rawCols, modelRows, modelCols);
    if (sizeRuleHold > 0)
        return;
    enforceTableSize();
    // Concealment changes which data each model index shows without changing the size.
    if (rowCountView > 0 && colCountView > 0)
        emit dataChanged(index(0, 0), index(rowCountView - 1, colCountView - 1));
    if (rowCountView > 0)
        emit headerDataChanged(Qt::Vertical, 0, rowCountView - 1);
    if (colCountView > 0)
        emit headerDataChanged(Qt::Horizontal, 0, colCountView - 1);
}

// --- Index conversion ------------------------------------------------------------------------

namespace {
int addClamped(int value, qint64 delta) {
    return static_cast<int>(std::clamp<qint64>(static_cast<qint64>(value) + delta, INT_MIN, INT_MAX));
}
} // namespace

int TableModel::getRawFromUserRow(int row) const {
    return row == INT_MIN ? 0 : addClamped(row, -qint64(firstRowIndex));
}
int TableModel::getRawFromUserCol(int col) const {
    return col == INT_MIN ? 0 : addClamped(col, -qint64(firstColIndex));
}
int TableModel::getUserFromRawRow(int row) const {
    return addClamped(row, firstRowIndex);
}
int TableModel::getUserFromRawCol(int col) const {
    return addClamped(col, firstColIndex);
}

int TableModel::convertRowIndexType(int row, RangeIndexType to, RangeIndexType from) const {
    if (to == from)
        return row;
    int raw = row;
    if (from == RangeIndexType::Model)
        raw = getRawFromModelRow(row);
    else if (from == RangeIndexType::User)
        raw = getRawFromUserRow(row);
    if (to == RangeIndexType::Raw)
        return raw;
    return to == RangeIndexType::Model ? getModelFromRawRow(raw) : getUserFromRawRow(raw);
}

int TableModel::convertColIndexType(int col, RangeIndexType to, RangeIndexType from) const {
    if (to == from)
        return col;
    int raw = col;
    if (from == RangeIndexType::Model)
        raw = getRawFromModelCol(col);
    else if (from == RangeIndexType::User)
        raw = getRawFromUserCol(col);
    if (to == RangeIndexType::Raw)
        return raw;
    return to == RangeIndexType::Model ? getModelFromRawCol(raw) : getUserFromRawCol(raw);
}

std::vector<int> TableModel::convertRowIndexType(const std::vector<int>& rows, RangeIndexType to,
                                                 RangeIndexType from) const {
    if (to == from)
        return rows;
    std::vector<int> out;
    out.reserve(rows.size());
    for (const int row : rows)
        out.push_back(convertRowIndexType(row, to, from));
    return out;
}

std::vector<int> TableModel::convertColIndexType(const std::vector<int>& cols, RangeIndexType to,
                                                 RangeIndexType from) const {
    if (to == from)
        return cols;
    std::vector<int> out;
    out.reserve(cols.size());
    for (const int col : cols)
        out.push_back(convertColIndexType(col, to, from));
    return out;
}

// clang-format off
std::vector<int> TableModel::getRawFromModelRows(const std::vector<int>& v) const { return convertRowIndexType(v, RangeIndexType::Raw, RangeIndexType::Model); }
std::vector<int> TableModel::getRawFromUserRows(const std::vector<int>& v) const { return convertRowIndexType(v, RangeIndexType::Raw, RangeIndexType::User); }
std::vector<int> TableModel::getModelFromRawRows(const std::vector<int>& v) const { return convertRowIndexType(v, RangeIndexType::Model, RangeIndexType::Raw); }
std::vector<int> TableModel::getUserFromRawRows(const std::vector<int>& v) const { return convertRowIndexType(v, RangeIndexType::User, RangeIndexType::Raw); }
std::vector<int> TableModel::getUserFromModelRows(const std::vector<int>& v) const { return convertRowIndexType(v, RangeIndexType::User, RangeIndexType::Model); }
std::vector<int> TableModel::getModelFromUserRows(const std::vector<int>& v) const { return convertRowIndexType(v, RangeIndexType::Model, RangeIndexType::User); }
std::vector<int> TableModel::getRawFromModelCols(const std::vector<int>& v) const { return convertColIndexType(v, RangeIndexType::Raw, RangeIndexType::Model); }
std::vector<int> TableModel::getRawFromUserCols(const std::vector<int>& v) const { return convertColIndexType(v, RangeIndexType::Raw, RangeIndexType::User); }
std::vector<int> TableModel::getModelFromRawCols(const std::vector<int>& v) const { return convertColIndexType(v, RangeIndexType::Model, RangeIndexType::Raw); }
std::vector<int> TableModel::getUserFromRawCols(const std::vector<int>& v) const { return convertColIndexType(v, RangeIndexType::User, RangeIndexType::Raw); }
std::vector<int> TableModel::getUserFromModelCols(const std::vector<int>& v) const { return convertColIndexType(v, RangeIndexType::User, RangeIndexType::Model); }
std::vector<int> TableModel::getModelFromUserCols(const std::vector<int>& v) const { return convertColIndexType(v, RangeIndexType::Model, RangeIndexType::User); }
// clang-format on

namespace {
// Converts the positional fields of `range` from `from` to `to` with the two index converters.
template <typename RowFn, typename ColFn>
Range convertedRange(const Range& range, RangeIndexType to, RowFn row, ColFn col) {
    Range out = range;
    out.indexType = to;
    switch (range.type) {
    case RangeType::Cell:
        out.row = row(range.row);
        out.col = col(range.col);
        break;
    case RangeType::Row:
        out.row = row(range.row);
        break;
    case RangeType::Col:
        out.col = col(range.col);
        break;
    default:
        break;
    }
    return out;
}
} // namespace

Range TableModel::getRawFromModelRange(const Range& range) const {
    return convertedRange(
        range, RangeIndexType::Raw, [this](int v) { return getRawFromModelRow(v); },
        [this](int v) { return getRawFromModelCol(v); });
}

Range TableModel::getRawFromUserRange(const Range& range) const {
    return convertedRange(
        range, RangeIndexType::Raw, [this](int v) { return getRawFromUserRow(v); },
        [this](int v) { return getRawFromUserCol(v); });
}

Range TableModel::getUserFromRawRange(const Range& range) const {
    return convertedRange(
        range, RangeIndexType::User, [this](int v) { return getUserFromRawRow(v); },
        [this](int v) { return getUserFromRawCol(v); });
}

Range TableModel::getModelFromRawRange(const Range& range) const {
    return convertedRange(
        range, RangeIndexType::Model, [this](int v) { return getModelFromRawRow(v); },
        [this](int v) { return getModelFromRawCol(v); });
}

Range TableModel::getModelFromUserRange(const Range& range) const {
    return convertedRange(
        range, RangeIndexType::Model, [this](int v) { return getModelFromUserRow(v); },
        [this](int v) { return getModelFromUserCol(v); });
}

Range TableModel::getUserFromModelRange(const Range& range) const {
    return convertedRange(
        range, RangeIndexType::User, [this](int v) { return getUserFromModelRow(v); },
        [this](int v) { return getUserFromModelCol(v); });
}

Range TableModel::convertRangeIndex(const Range& range, RangeIndexType to) const {
    if (range.indexType == to)
        return range;
    switch (to) {
    case RangeIndexType::Raw:
        return range.indexType == RangeIndexType::Model ? getRawFromModelRange(range)
                                                        : getRawFromUserRange(range);
    case RangeIndexType::Model:
        return range.indexType == RangeIndexType::Raw ? getModelFromRawRange(range)
                                                      : getModelFromUserRange(range);
    case RangeIndexType::User:
        return range.indexType == RangeIndexType::Raw ? getUserFromRawRange(range)
                                                      : getUserFromModelRange(range);
    }
    return range;
}

RangeVector TableModel::convertRangeIndex(const RangeVector& ranges, RangeIndexType to) const {
    RangeVector out;
    out.reserve(ranges.size());
    for (const Range& range : ranges)
        out.push_back(convertRangeIndex(range, to));
    out.numTableRows = ranges.numTableRows;
    out.numTableCols = ranges.numTableCols;
    return out;
}

// --- Highlight, sort marks, find -------------------------------------------------------------

void TableModel::setHighlightedRange(const RangeVector& rawRanges) {
    highlightedRange = rawRanges;
    highlightLookupValid = false;
    emit updateStatusBarSignal();
    if (rowCountView > 0 && colCountView > 0)
        emit dataChanged(index(0, 0), index(rowCountView - 1, colCountView - 1), {Qt::BackgroundRole});
}

void TableModel::clearHighlightedRange() {
    setHighlightedRange(RangeVector());
}

void TableModel::setRowSortData(const SortData& data) {
    rowSortData = data;
    emit refreshHeadersSignal();
}

void TableModel::setColSortData(const SortData& data) {
    colSortData = data;
    emit refreshHeadersSignal();
}

void TableModel::setFindReplaceQuery(const FindReplaceQuery& query) {
    findReplaceQuery = query;
    hasFindReplaceQuery = true;
    previewLookupValid = false;
}

void TableModel::setFindReplacePreview(const RangeVector& rawCells) {
    findReplacePreview = rawCells;
    previewLookupValid = false;
}

void TableModel::onFindReplaceClosed() {
    hasFindReplaceQuery = false;
    findReplacePreview.clear();
    previewLookupValid = false;
    clearHighlightedRange();
}

// --- Header rows -----------------------------------------------------------------------------

void TableModel::setNumberOfHeaderRows(int n) {
    if (n < 1) {
        numHeaderRows = 0;
        numVisibleHeaderRows = 0;
        return;
    }
    numHeaderRows = tableData.getRawFromModelRow(n - 1) + 1;
    refreshVisibleHeaderRows();
}

void TableModel::setNumberOfHeaderCols(int n) {
    numHeaderCols = std::max(0, n);
}

void TableModel::refreshVisibleHeaderRows() {
    // The header rows that are shown are the model rows whose raw index is below the raw
    // header count; raw grows with model, so a binary search finds them without copying the
    // concealed list.
    int low = 0;
    int high = std::max(numHeaderRows, 0);
    while (low < high) {
        const int mid = low + (high - low) / 2;
        if (tableData.getRawFromModelRow(mid) < numHeaderRows)
            low = mid + 1;
        else
            high = mid;
    }
    numVisibleHeaderRows = low;
}

// --- Loading ---------------------------------------------------------------------------------

void TableModel::loadCSV(const QString& path, bool threaded, TableData::DataContainerType type,
                         const QString& readDelimiter, const QString& writeDelimiter, EncodingType encoding,
                         ParsingStandard standard) {
    readOnly = type == TableData::ReadOnly;
    delimiter = readDelimiter;
    delimiterSave = writeDelimiter;
    beginResetModel();
    rowCountView = 0;
    colCountView = 0;
    selection.clear();
    mainCell = Range(kNoIndex, kNoIndex, RangeIndexType::Model);
    pendingCornerStart = pendingCornerEnd = mainCell;
    clearShiftState();
    highlightedRange.clear();
    findReplacePreview.clear();
    hasFindReplaceQuery = false;
    filterList.clear();
    hiddenRowsList.clear();
    hiddenColsList.clear();
    emit concealmentChangedSignal(false, false);
    rowSortData = SortData();
    colSortData = SortData();
    invalidateSelectionLookup();
    highlightLookupValid = previewLookupValid = false;
    endResetModel();
    tableData.loadCSV(path, threaded, type, readDelimiter, writeDelimiter, encoding, standard);
}

void TableModel::onLoadFinished() {
    refreshVisibleHeaderRows();
    ++sizeRuleHold;
    Range first(0, 0, RangeIndexType::Model);
    setSelection(first);
    --sizeRuleHold;
    enforceTableSize();
    emit loadFinishedSignal();
}

QString TableModel::getTableName() const {
    const QString path = tableData.getFilepath();
    return path.isEmpty() ? QString() : QFileInfo(path).fileName();
}

// --- Worker ----------------------------------------------------------------------------------

void TableModel::cancelWorker() {
    QMutexLocker locker(workerCancelMutex.get());
    *workerCancel = true;
}

bool TableModel::runOnWorker(const std::function<bool(TableModelWorker&)>& job, bool useThread) {
    {
        QMutexLocker locker(workerCancelMutex.get());
        *workerCancel = false;
    }
    if (!useThread) {
        TableModelWorker local(workerCancel, workerCancelMutex);
        local.initiateProgressUpdate();
        return job(local) && !local.isCanceled();
    }
    // The progress dialog is modal, so nothing should start a second scan; refuse if it does.
    if (workerBusy)
        return false;
    if (!workerThread) {
        workerThread = new QThread;
        worker->moveToThread(workerThread);
        workerThread->start(QThread::InheritPriority);
    }
    bool result = false;
    QEventLoop loop;
    connect(
        worker, &TableModelWorker::finishedSignal, &loop,
        [&result, &loop](bool ok) {
            result = ok;
            loop.quit();
        },
        Qt::QueuedConnection);
    if (tableData.getDataContainerType() == TableData::ReadOnly)
        emit holdShownCellsSignal();
    worker->setJob(job);
    workerBusy = true;
    QMetaObject::invokeMethod(worker, "run", Qt::QueuedConnection);
    loop.exec();
    workerBusy = false;
    heldCells.clear();
    return result;
}

qint64 TableModel::tableCells() const {
    return readOnly ? 0 : qint64(rowCountRaw()) * qint64(columnCountRaw());
}

TableModel::LongWrite::LongWrite(TableModel& m, qint64 cells) : model(m) {
    if (cells < kLongWriteCells || model.workerBusy)
        return;
    on = true;
    model.workerBusy = true;
    model.worker->setProgressMinMax(0, 100);
    model.worker->initiateProgressUpdate();
    if (AbstractDataContainer* container = model.tableData.getDataContainer())
        container->setRowPassProgress([this](qint64 done, qint64 total) { report(done, total); });
    emit model.longWriteSignal(true);
}

TableModel::LongWrite::~LongWrite() {
    if (!on)
        return;
    if (AbstractDataContainer* container = model.tableData.getDataContainer())
        container->setRowPassProgress({});
    model.workerBusy = false;
    emit model.longWriteSignal(false);
}

void TableModel::LongWrite::report(qint64 done, qint64 total) const {
    // Half written cells can't be left as they are: a cancel asked meanwhile is not heard.
    if (on && model.worker->readyForUpdate())
        model.worker->showProgress(total > 0 ? float(double(done) / double(total)) : 1.0f);
}

void TableModel::holdCells(int top, int left, int bottom, int right) {
    top = std::max(top, 0);
    left = std::max(left, 0);
    bottom = std::min(bottom, rowCountView - 1);
    right = std::min(right, colCountView - 1);
    // A screenful; a block larger than any screen shows is not a view's.
    constexpr qint64 mostCells = 100000;
    if (workerBusy || top > bottom || left > right ||
        qint64(bottom - top + 1) * (right - left + 1) > mostCells)
        return;
    HeldCells held{top, left, bottom, right, {}};
    held.display.reserve(static_cast<std::size_t>(bottom - top + 1) *
                         static_cast<std::size_t>(right - left + 1));
    for (int row = top; row <= bottom; ++row) {
        for (int col = left; col <= right; ++col)
            held.display.push_back(displayValue(row, col, false));
    }
    heldCells.push_back(std::move(held));
}

QVariant TableModel::heldDisplayValue(int row, int col) const {
    for (const HeldCells& held : heldCells) {
        if (row >= held.top && row <= held.bottom && col >= held.left && col <= held.right)
            return held.display[static_cast<std::size_t>(row - held.top) *
                                    static_cast<std::size_t>(held.right - held.left + 1) +
                                static_cast<std::size_t>(col - held.left)];
    }
    return QVariant();
}
