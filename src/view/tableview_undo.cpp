// TableView: the undo stack and the table operations that go through it.

#include "view/tableview.h"

#include "storage/abstractdatacontainer.h"
#include "table/duplicatecellcontentscommand.h"
#include "table/movecommands.h"
#include "table/rowcolcommands.h"
#include "table/saveparametercommands.h"
#include "table/setmodeldatacommand.h"
#include "table/tablemodel.h"
#include "table/transposetablecommand.h"
#include "view/frozentableview.h"
#include "view/workerprogress.h"

#include <QApplication>
#include <QFileInfo>
#include <QTimer>
#include <QUndoStack>

#include <algorithm>

void TableView::connectUndoSignals(TableModel* m) {
    connect(m, &TableModel::loadFinishedSignal, this, &TableView::onTableSavedOrLoaded, Qt::UniqueConnection);
    // A model set again must not be connected twice.
    disconnect(m, &TableModel::undoStackCleanChangedSignal, this, nullptr);
    disconnect(m, &TableModel::scrollToRowSignal, this, nullptr);
    disconnect(m, &TableModel::scrollToColSignal, this, nullptr);
    // A save after an edit succeeded: the file holds what the table shows.
    connect(m, &TableModel::undoStackCleanChangedSignal, this, [this](bool clean) {
        if (clean)
            onTableSavedOrLoaded();
    });
    connect(m, &TableModel::enforceAutoFitRowHeightsSignal, this,
            qOverload<const std::vector<int>&>(&TableView::enforceAutoFitRowHeights), Qt::UniqueConnection);
    connect(m, &TableModel::enforceAutoFitColWidthsSignal, this,
            qOverload<const std::vector<int>&>(&TableView::enforceAutoFitColWidths), Qt::UniqueConnection);
    connect(m, &TableModel::sortedLinesMovedSignal, this, &TableView::fitAfterSort, Qt::UniqueConnection);
    connect(m, &TableModel::scrollToRowSignal, this, [this](int row) { scrollToRow(row, true, true); });
    connect(m, &TableModel::scrollToColSignal, this, [this](int col) { scrollToCol(col, true, true); });
    connect(m, &TableModel::refreshViewSignal, this, &TableView::refreshView, Qt::UniqueConnection);
    connect(m, &TableModel::longWriteSignal, this, &TableView::onLongWrite, Qt::UniqueConnection);
    // The frozen parts' middle-button drags become undo steps here as well.
    for (FrozenTableView* frozen : {frozenRows, frozenCols, frozenCorner})
        connect(frozen, &AbstractTableView::dataChangedSignal, this, &TableView::commitMiddleButtonDrag,
                Qt::UniqueConnection);
}

namespace {

// Names what a view's long writes belong to while it lives.
class LongWriteLabel {
public:
    LongWriteLabel(QString& label, QString& title, const QString& newLabel, const QString& newTitle)
        : label(label), title(title) {
        label = newLabel;
        title = newTitle;
    }
    ~LongWriteLabel() {
        label.clear();
        title.clear();
    }
    LongWriteLabel(const LongWriteLabel&) = delete;
    LongWriteLabel& operator=(const LongWriteLabel&) = delete;

private:
    QString& label;
    QString& title;
};

} // namespace

void TableView::undo() {
    if (isReadOnly() || !undoStackObject->canUndo())
        return;
    const LongWriteLabel named(longWriteLabel, longWriteTitle, tr("Undoing..."), tr("Undo"));
    runningCommand = true;
    undoStackObject->undo();
    runningCommand = false;
    refreshView();
}

void TableView::redo() {
    if (isReadOnly() || !undoStackObject->canRedo())
        return;
    const LongWriteLabel named(longWriteLabel, longWriteTitle, tr("Redoing..."), tr("Redo"));
    runningCommand = true;
    undoStackObject->redo();
    runningCommand = false;
    refreshView();
}

bool TableView::pushCommand(TableUndoCommand* command) {
    if (!command)
        return false;
    if (!command->isValid || isReadOnly() || !tableModel()) {
        delete command;
        return false;
    }
    runningCommand = true;
    undoStackObject->push(command);
    runningCommand = false;
    return true;
}

bool TableView::pushCommand(TableUndoCommand* command, const QString& label, const QString& title) {
    const LongWriteLabel named(longWriteLabel, longWriteTitle, label, title);
    return pushCommand(command);
}

void TableView::onLongWrite(bool started) {
    if (!started) {
        longWriteProgress.reset();
        return;
    }
    // A step that shows a dialog of its own already keeps the window painted.
    if (longWriteProgress || WorkerProgress::anyAlive() || QApplication::activeModalWidget() || !isVisible())
        return;
    longWriteProgress = std::make_unique<WorkerProgress>(
        this, tableModel(), longWriteLabel.isEmpty() ? tr("Changing the table...") : longWriteLabel,
        longWriteTitle.isEmpty() ? tr("Edit") : longWriteTitle, QStringLiteral("writeProgressDialog"), false);
}

void TableView::clearUndoStack() {
    undoStackObject->clear();
}

void TableView::reloadFile() {
    TableModel* m = tableModel();
    if (!m)
        return;
    TableData& data = m->getTableData();
    const QString path = data.getFilepath();
    if (path.isEmpty() || !QFileInfo::exists(path))
        return;
    undoStackObject->clear();
    // Large files load on their own thread, as on opening; the finished load marks it clean.
    loadCSV(path, QFileInfo(path).size() > AbstractDataContainer::kProgressThreshold);
}

void TableView::setUndoStackClean() {
    markClean();
}

void TableView::onTableSavedOrLoaded() {
    // Inside push the command is not on the stack yet: mark clean once it is.
    if (runningCommand)
        QTimer::singleShot(0, this, [this] { markClean(); });
    else
        markClean();
}

void TableView::onUndoStackCleanChanged(bool clean) {
    // A cell written outside the stack keeps the file modified whatever the stack says.
    emit undoStackCleanChangedSignal(clean && !isModified());
}

std::vector<int> TableView::selectedLines(Axis axis) const {
    std::vector<int> lines;
    const TableModel* m = tableModel();
    if (!m)
        return lines;
    if (axis == Axis::Row)
        m->getOrderedSetOfSelectedRows(lines);
    else
        m->getOrderedSetOfSelectedCols(lines);
    return lines;
}

// --- Lines -----------------------------------------------------------------------------------

bool TableView::insertRows(std::vector<int> rows, int count, bool after) {
    if (rows.empty())
        rows = selectedLines(Axis::Row);
    return tableModel() && pushCommand(new InsertRowsCommand(tableModel(), rows, count, after));
}

bool TableView::insertCols(std::vector<int> cols, int count, bool after) {
    if (cols.empty())
        cols = selectedLines(Axis::Col);
    return tableModel() && pushCommand(new InsertColsCommand(tableModel(), cols, count, after));
}

bool TableView::removeRows(std::vector<int> rows) {
    if (rows.empty())
        rows = selectedLines(Axis::Row);
    return tableModel() && pushCommand(new RemoveRowsCommand(tableModel(), rows));
}

bool TableView::removeCols(std::vector<int> cols) {
    if (cols.empty())
        cols = selectedLines(Axis::Col);
    return tableModel() && pushCommand(new RemoveColsCommand(tableModel(), cols));
}

bool TableView::removeEmptyRowsColsAtEnd() {
    return tableModel() && pushCommand(new RemoveEmptyRowsColsAtEndCommand(tableModel()));
}

bool TableView::moveRowsRelative(int delta, std::vector<int> rows) {
    if (rows.empty())
        rows = selectedLines(Axis::Row);
    return tableModel() && pushCommand(new MoveRowsRelativeCommand(tableModel(), rows, delta));
}

bool TableView::moveColsRelative(int delta, std::vector<int> cols) {
    if (cols.empty())
        cols = selectedLines(Axis::Col);
    return tableModel() && pushCommand(new MoveColsRelativeCommand(tableModel(), cols, delta));
}

bool TableView::moveRowsAbsolute(int target, std::vector<int> rows) {
    if (rows.empty())
        rows = selectedLines(Axis::Row);
    return tableModel() && pushCommand(new MoveRowsAbsoluteCommand(tableModel(), rows, target));
}

bool TableView::moveColsAbsolute(int target, std::vector<int> cols) {
    if (cols.empty())
        cols = selectedLines(Axis::Col);
    return tableModel() && pushCommand(new MoveColsAbsoluteCommand(tableModel(), cols, target));
}

bool TableView::duplicateRows(int count, bool below, std::vector<int> rows) {
    if (rows.empty())
        rows = selectedLines(Axis::Row);
    return tableModel() && pushCommand(new DuplicateRowsCommand(tableModel(), rows, count, below));
}

bool TableView::duplicateCols(int count, bool below, std::vector<int> cols) {
    if (cols.empty())
        cols = selectedLines(Axis::Col);
    return tableModel() && pushCommand(new DuplicateColsCommand(tableModel(), cols, count, below));
}

// --- Cells and the whole table ---------------------------------------------------------------

bool TableView::moveCellContents(int rows, int cols) {
    TableModel* m = tableModel();
    return m && pushCommand(new MoveCellContentsCommand(m, m->getSelection(), rows, cols));
}

namespace {

// How far a copy may land, in rows and columns: farther would only fill the way with empty lines.
constexpr qint64 kMaxLinesAhead = 1000000;

} // namespace

bool TableView::duplicateCellContentsTo(int row, int col) {
    TableModel* m = tableModel();
    if (!m || loading || isReadOnly() || row < 0 || col < 0)
        return false;
    RangeVector cells;
    m->getCellOnlyRangeVector(cells, m->getSelection());
    std::erase_if(cells, [](const Range& r) { return r.type != RangeType::Cell || r.row < 0 || r.col < 0; });
    const Range& main = m->getMainCell();
    const qint64 rows = qint64(row) - main.row;
    const qint64 cols = qint64(col) - main.col;
    if (cells.empty() || (rows == 0 && cols == 0))
        return false;
    m->populateCellDataValues(cells, true, false);
    // The main cell's copy lands on the place typed, the others keep their places around it;
    // only the selected cells are written, so the gaps of a scattered selection stay as they are.
    RangeVector copies;
    copies.reserve(cells.size());
    for (const Range& cell : cells) {
        const qint64 r = cell.row + rows;
        const qint64 c = cell.col + cols;
        if (r < 0 || c < 0 || r >= qint64(m->rowCountRaw()) + kMaxLinesAhead ||
            c >= qint64(m->columnCountRaw()) + kMaxLinesAhead)
            return false;
        Range copy(int(r), int(c), RangeIndexType::Model);
        copy.value = cell.value;
        copies.push_back(std::move(copy));
    }
    const RangeVector selectionBefore = m->getSelection();
    if (!pushCommand(new SetModelDataCommand(m, copies)))
        return false;
    // The copy is selected, as a paste's block is.
    RangeVector selection = shiftedRanges(selectionBefore, int(rows), int(cols));
    m->setSelection(selection);
    return true;
}

bool TableView::duplicateCellContents(Direction direction) {
    TableModel* m = tableModel();
    return m && pushCommand(new DuplicateCellContentsCommand(m, m->getSelection(), direction));
}

bool TableView::setCellValues(const RangeVector& cells) {
    return tableModel() && pushCommand(new SetModelDataCommand(tableModel(), cells));
}

bool TableView::transposeTable() {
    return tableModel() && pushCommand(new TransposeTableCommand(tableModel()));
}

bool TableView::setDelimiterForFileSave(const QString& delimiter) {
    return tableModel() && pushCommand(new SetDelimiterCommand(tableModel(), delimiter));
}

bool TableView::setLineEndingForFileSave(LineEndingType lineEnding) {
    return tableModel() && pushCommand(new SetLineEndingCommand(tableModel(), lineEnding));
}

bool TableView::setEncodingForFileSave(EncodingType encoding) {
    return tableModel() && pushCommand(new SetEncodingCommand(tableModel(), encoding));
}

bool TableView::setParsingStandardForFileSave(ParsingStandard standard) {
    return tableModel() && pushCommand(new SetParsingStandardCommand(tableModel(), standard));
}

void TableView::commitMiddleButtonDrag(const RangeVector& cells) {
    TableModel* m = tableModel();
    if (!m || cells.empty())
        return;
    // The drag wrote its values as it went; put the old ones back so that the command's
    // first redo writes them and counts any lines it adds past the data.
    RangeVector written = cells;
    const int rawRowsAfter = m->rowCountRaw();
    const int rawColsAfter = m->columnCountRaw();
    m->populateModel(written, true);
    // Lines the drag added past the data are empty again: take them off, no further back
    // than the first written line.
    TableData& data = m->getTableData();
    int firstRow = INT_MAX;
    int firstCol = INT_MAX;
    for (const Range& cell : written) {
        firstRow = std::min(firstRow, m->getRawFromModelRow(cell.row));
        firstCol = std::min(firstCol, m->getRawFromModelCol(cell.col));
    }
    const int emptyRows = std::min(data.numEmptyRowsRawAtEnd(), std::max(0, rawRowsAfter - firstRow));
    const int emptyCols = std::min(data.numEmptyColsRawAtEnd(), std::max(0, rawColsAfter - firstCol));
    if (emptyRows > 0)
        data.removeRowsRaw(rawRowsAfter - emptyRows, emptyRows);
    if (emptyCols > 0)
        data.removeColsRaw(rawColsAfter - emptyCols, emptyCols);
    for (Range& cell : written)
        cell.oldValue = QVariant();
    pushCommand(new SetModelDataCommand(m, written));
    emit dataChangedSignal(cells);
}
