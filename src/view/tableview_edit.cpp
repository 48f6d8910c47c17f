// TableView: cell editing in a QuickEdit or the editor pane, and the deletion of cell contents.
// Whatever the editor, the text goes into every target cell at each change, outside the undo
// stack, and the end of the edit turns it into one undo step.

#include "view/tableview.h"

#include "table/setmodeldatacommand.h"
#include "table/tablemodel.h"
#include "util/fileparameterutilities.h"
#include "util/msgbox.h"
#include "view/frozentableview.h"
#include "view/quickedit.h"
#include "view/tabledelegate.h"

#include <QApplication>
#include <QFontMetrics>
#include <QHeaderView>
#include <QKeyEvent>
#include <QTextCodec>

#include <algorithm>

namespace {

bool listed(const std::vector<int>& list, int index) {
    return std::find(list.begin(), list.end(), index) != list.end();
}

bool cellExcluded(const Range& range, int row, int col) {
    if (listed(range.excludedRows, row) || listed(range.excludedCols, col))
        return true;
    return std::find(range.excludedCells.begin(), range.excludedCells.end(), std::make_pair(row, col)) !=
           range.excludedCells.end();
}

// Writes `text` into every carried value of the ranges that the range really holds (its
// exclusions keep what they carry). Returns whether any value differs from its old twin, or
// from what it carried before when `againstCurrent`.
bool fillRangeValues(RangeVector& ranges, const QString& text, bool againstCurrent) {
    bool differs = false;
    auto put = [&](QVariant& value, const QVariant& old) {
        if ((againstCurrent ? value : old).toString() != text)
            differs = true;
        value = text;
    };
    for (Range& range : ranges) {
        switch (range.type) {
        case RangeType::Cell:
            put(range.value, range.oldValue);
            break;
        case RangeType::Row:
        case RangeType::Col: {
            const bool isRow = range.type == RangeType::Row;
            const bool anyExcluded = !(isRow ? range.excludedCols : range.excludedRows).empty();
            for (std::size_t i = 0; i < range.rowColValues.size(); ++i) {
                const int offset = static_cast<int>(i);
                const int row = isRow ? range.row : range.row + offset;
                const int col = isRow ? range.col + offset : range.col;
                if (anyExcluded && cellExcluded(range, row, col))
                    continue;
                const QVariant old = i < range.oldRowColValues.size() ? range.oldRowColValues[i] : QVariant();
                put(range.rowColValues[i], old);
            }
            break;
        }
        case RangeType::Table: {
            const bool anyExcluded =
                !range.excludedRows.empty() || !range.excludedCols.empty() || !range.excludedCells.empty();
            for (std::size_t r = 0; r < range.tableValues.size(); ++r) {
                std::vector<QVariant>& line = range.tableValues[r];
                for (std::size_t c = 0; c < line.size(); ++c) {
                    const int row = range.row + static_cast<int>(r);
                    const int col = range.col + static_cast<int>(c);
                    if (anyExcluded && cellExcluded(range, row, col))
                        continue;
                    const QVariant old = r < range.oldTableValues.size() && c < range.oldTableValues[r].size()
                                             ? range.oldTableValues[r][c]
                                             : QVariant();
                    put(line[c], old);
                }
            }
            break;
        }
        case RangeType::Invalid:
            break;
        }
    }
    return differs;
}

// A key that carries typed text, as opposed to what input methods send.
bool hasTypedText(const QKeyEvent* event) {
    return event && event->nativeScanCode() != QuickEdit::kImeScanCode && event->key() != Qt::Key_unknown &&
           !event->text().isEmpty();
}

} // namespace

QuickEdit* TableView::getQuickEdit() const {
    return openEditor.data();
}

QWidget* TableView::activeEditorWidget() const {
    return openEditor.data();
}

void TableView::connectEditSignals(TableDelegate* d) {
    if (!d)
        return;
    connect(d, &TableDelegate::editorCreatedSignal, this, [this, d] {
        QuickEdit* created = d->getEditor();
        openEditor = created;
        // Qt closes an editor by itself when its row or column goes or the model is reset: the
        // cells the edit was for are no longer where they were, so the edit is dropped.
        connect(created, &QObject::destroyed, this, [this, created] {
            if (editingCell && !stoppingEdit && quickEditOfEdit == created)
                abandonEdit();
        });
        quickEditOfEdit = created;
    });
    connect(d, &TableDelegate::textEditedSignal, this, &TableView::onCellTextEdited);
    connect(d, &TableDelegate::stopEditingSignal, this, [this] { stopEditing(true); });
    connect(d, &TableDelegate::nextRowWithColumnResetSignal, this, &TableView::nextRowWithColumnReset);
    connect(d, &TableDelegate::nextColumnWithColumnResetSignal, this, &TableView::nextColumnWithColumnReset);
    connect(d, &TableDelegate::previousColumnWithColumnResetSignal, this,
            &TableView::previousColumnWithColumnReset);
}

void TableView::addContextBits(Context bits) {
    addContextGlobal(context, bits);
    emit addContextSignal(bits);
}

void TableView::removeContextBits(Context bits) {
    removeContextGlobal(context, bits);
    emit removeContextSignal(bits);
}

AbstractTableView* TableView::gridForCell(int row, int col) {
    const bool inFrozenRows = freezeHeaderRows && row < numHeaderRows && frozenRows->isVisible();
    const bool inFrozenCols = freezeHeaderCols && col < numHeaderCols && frozenCols->isVisible();
    if (inFrozenRows && inFrozenCols)
        return frozenCorner;
    if (inFrozenRows)
        return frozenRows;
    if (inFrozenCols)
        return frozenCols;
    return this;
}

bool TableView::mainCellIsLarge() const {
    const TableModel* m = tableModel();
    if (!m || m->getMainCell().row < 0 || m->getMainCell().col < 0)
        return false;
    const Range& main = m->getMainCell();
    const int rawRow = m->getRawFromModelRow(main.row);
    const int rawCol = m->getRawFromModelCol(main.col);
    // Every encoding takes one to four bytes per character, so the byte count settles most
    // cells without decoding one that may hold megabytes.
    const std::size_t bytes = m->getTableData().getValueRawCharVec(rawRow, rawCol).size();
    if (bytes < static_cast<std::size_t>(largeCellLength))
        return false;
    if (bytes >= static_cast<std::size_t>(largeCellLength) * 4)
        return true;
    return m->getTableData().getValueModel(main.row, main.col).toString().size() >= largeCellLength;
}

bool TableView::mainCellIsMultiLine() const {
    const TableModel* m = tableModel();
    if (!m || m->getMainCell().row < 0 || m->getMainCell().col < 0)
        return false;
    const Range& main = m->getMainCell();
    const QString text = m->getTableData().getValueModel(main.row, main.col).toString();
    return text.contains(QLatin1Char('\n')) || text.contains(QLatin1Char('\r'));
}

bool TableView::resolveEditPathForLargeMainCell(bool& usePane) {
    if (usePane)
        return true;
    if (modalQuestionOpen)
        return false;
    // A line edit shows one line: a cell of several lines is edited in the pane like a large one.
    const bool large = mainCellIsLarge();
    if (!large && !mainCellIsMultiLine())
        return true;
    modalQuestionOpen = true;
    const int answer =
        MsgBox::ask(this,
                    large ? QStringLiteral("This is a large cell which can only be edited in the editor "
                                           "pane.\nWould you like to open the editor pane?")
                          : QStringLiteral("This cell has more than one line, which can only be edited in "
                                           "the editor pane.\nWould you like to open the editor pane?"),
                    {{QStringLiteral("&Open"), QMessageBox::AcceptRole},
                     {QStringLiteral("Do&n't Open"), QMessageBox::RejectRole}},
                    0);
    modalQuestionOpen = false;
    if (answer != 0)
        return false;
    emit showEditorPaneSignal(true, false);
    paneOpenedForThisEdit = true;
    usePane = true;
    return true;
}

bool TableView::takePaneOpenedForThisEdit() {
    const bool was = paneOpenedForThisEdit;
    paneOpenedForThisEdit = false;
    return was;
}

RangeVector TableView::editTargetsFromSelection() const {
    const TableModel* m = tableModel();
    RangeVector targets = m->getModelRange(m->getSelection());
    m->populateCellDataValues(targets, true, true);
    return targets;
}

void TableView::startEditing(bool clear, bool cursorAtEnd) {
    TableModel* m = tableModel();
    if (!m || loading || editingCell || isReadOnly() || context.intersects(ContextReadOnly))
        return;
    const Range main = m->getMainCell();
    if (main.row < 0 || main.col < 0 || main.row >= m->rowCount() || main.col >= m->columnCount())
        return;
    bool usePane = context.intersects(ContextEditorPaneShown);
    if (usePane && mainCellIsLarge())
        paneOpenedForThisEdit = true;
    if (!resolveEditPathForLargeMainCell(usePane))
        return;
    scrollToCell(main.row, main.col, false, true);
    // An edit that isn't typed over a selection is of one cell.
    deselectAllButTheMainCell();
    beginEditState(clear);

    if (usePane) {
        emit startOffCellEditSignal(clear, cursorAtEnd && !paneOpenedForThisEdit);
        return;
    }
    AbstractTableView* grid = gridForCell(main.row, main.col);
    grid->setFocus();
    grid->tableDelegate()->setStartEmpty(clear);
    static_cast<QAbstractItemView*>(grid)->edit(m->index(main.row, main.col));
    grid->tableDelegate()->setStartEmpty(false);
    if (!openEditor) {
        stopEditing(false);
        return;
    }
    if (cursorAtEnd) {
        openEditor->setPendingSelectionClear(true);
        if (openEditor->hasFocus())
            openEditor->applyPendingSelectionClear();
    }
}

// The state of an edit from its start: the selected cells as its targets, and every grid told.
void TableView::beginEditState(bool clear) {
    TableModel* m = tableModel();
    editTargets = editTargetsFromSelection();
    {
        std::vector<int> rows, cols;
        m->getOrderedSetOfRows(rows, editTargets);
        m->getOrderedSetOfCols(cols, editTargets);
        editFieldsAsRead = TableUndoCommand::readFieldsAsRead(*m, rows, cols);
    }
    editClear = clear;
    editText.clear();
    editTextSet = false;
    editRawRows = m->rowCountRaw();
    editRawCols = m->columnCountRaw();
    for (AbstractTableView* grid :
         {static_cast<AbstractTableView*>(this), static_cast<AbstractTableView*>(frozenRows),
          static_cast<AbstractTableView*>(frozenCols), static_cast<AbstractTableView*>(frozenCorner)})
        grid->setEditingCell(true);
    removeContextBits(ContextNotEditing);
    addContextBits(ContextEditing);
}

void TableView::startEditing(bool clear, QKeyEvent* event) {
    TableModel* m = tableModel();
    if (!m || loading || editingCell || isReadOnly() || context.intersects(ContextReadOnly))
        return;
    const Range main = m->getMainCell();
    if (main.row < 0 || main.col < 0 || main.row >= m->rowCount() || main.col >= m->columnCount())
        return;
    // A typed character replaces the text, so the size of the old text does not matter.
    const bool typed = hasTypedText(event);
    if (typed)
        clear = true;
    bool usePane = context.intersects(ContextEditorPaneShown);
    if (usePane && !typed && mainCellIsLarge())
        paneOpenedForThisEdit = true;
    if (!typed && !resolveEditPathForLargeMainCell(usePane))
        return;
    beginEditState(clear);
    scrollToCell(main.row, main.col, false, true);

    if (usePane) {
        emit startOffCellEditSignal(clear, event);
        return;
    }
    AbstractTableView* grid = gridForCell(main.row, main.col);
    grid->setFocus();
    grid->tableDelegate()->setStartEmpty(clear);
    grid->editOnAnyKeyPressed(m->index(main.row, main.col), event);
    grid->tableDelegate()->setStartEmpty(false);
    if (!openEditor) {
        stopEditing(false);
        return;
    }
    // The grid follows from the first key.
    if (!editTextSet || editText != openEditor->text())
        onCellTextEdited(openEditor->text());
}

void TableView::fillEditTargets(const QString& text) {
    fillRangeValues(editTargets, text, false);
}

void TableView::widenColumnsForText(const QString& text) {
    TableModel* m = tableModel();
    if (!autoFitColWidth || !m || text.isEmpty())
        return;
    // Only the first line shows in a cell; no character is narrower than a pixel, so the
    // measured text never needs to be longer than the widest column allowed.
    const QString line = TableDelegate::shownLine(text.left(std::max(0, maxAutoFitColWidth)));
    const Range& main = m->getMainCell();
    const QVariant fontValue = m->data(m->index(std::max(0, main.row), std::max(0, main.col)), Qt::FontRole);
    const QFontMetrics metrics(fontValue.isValid() ? fontValue.value<QFont>() : font());
    const int width =
        std::min(metrics.horizontalAdvance(line) + 2 * TableDelegate::textInset + 2, maxAutoFitColWidth);
    std::vector<int> cols;
    m->getOrderedSetOfCols(cols, editTargets);
    for (int col : cols) {
        if (col < m->columnCount() && columnWidth(col) < width)
            setColumnWidth(col, width);
    }
}

void TableView::onCellTextEdited(const QString& text) {
    emit mainCellLengthChangedSignal(static_cast<int>(text.size()));
    TableModel* m = tableModel();
    if (!m || !editingCell || editTargets.empty())
        return;
    editText = text;
    editTextSet = true;
    fillEditTargets(text);
    writingEdit = true;
    m->populateModel(editTargets, false);
    writingEdit = false;
    widenColumnsForText(text);
}

void TableView::restoreEditTargets() {
    TableModel* m = tableModel();
    if (!m || editTargets.empty())
        return;
    writingEdit = true;
    m->populateModel(editTargets, true);
    // Lines that the typing added past the data are empty again: take them off, so that the
    // command counts them as its own and its undo removes them.
    TableData& data = m->getTableData();
    const int rawRows = m->rowCountRaw();
    const int rawCols = m->columnCountRaw();
    const int emptyRows = std::min(data.numEmptyRowsRawAtEnd(), std::max(0, rawRows - editRawRows));
    const int emptyCols = std::min(data.numEmptyColsRawAtEnd(), std::max(0, rawCols - editRawCols));
    if (emptyRows > 0)
        data.removeRowsRaw(rawRows - emptyRows, emptyRows);
    if (emptyCols > 0)
        data.removeColsRaw(rawCols - emptyCols, emptyCols);
    TableUndoCommand::writeFieldsAsRead(*m, editFieldsAsRead);
    writingEdit = false;
}

void TableView::onCellEditingFinished() {
    TableModel* m = tableModel();
    RangeVector targets;
    std::swap(targets, editTargets);
    bool haveText = editTextSet;
    QString text = editText;
    if (!haveText && editClear) {
        // An edit that started empty and saw no key still ends with the empty text it showed.
        haveText = true;
        text.clear();
    }
    if (m && haveText && !targets.empty()) {
        const bool differs = fillRangeValues(targets, text, false);
        editTargets = targets;
        restoreEditTargets();
        editTargets.clear();
        // Asked with the cells as they were before the edit, which a change of encoding
        // converts and its undo brings back.
        if (differs) {
            offerEncodingForNewText(text, false);
            pushCommand(new SetModelDataCommand(m, targets, true));
        }
    }
    removeContextBits(ContextEditing);
    addContextBits(ContextNotEditing);
    openEditor = nullptr;
    editText.clear();
    editTextSet = false;
    if (!m || targets.empty())
        return;

    // The grid grew with the typing; now it fits what the cells hold.
    if (autoFitRowHeight) {
        std::vector<int> rows;
        m->getOrderedSetOfRows(rows, targets);
        for (int row : rows) {
            const int height = calculateAutoFitRowHeight(row, verticalHeader()->resizeContentsPrecision());
            if (height > 0)
                setRowHeight(row, std::min(std::max(height, defaultRowHeight), maxAutoFitRowHeight));
        }
    }
    if (autoFitColWidth) {
        std::vector<int> cols;
        m->getOrderedSetOfCols(cols, targets);
        const int minWidth = std::min(40, maxAutoFitColWidth);
        for (int col : cols) {
            bool allEmpty = true;
            const int width =
                estimateMaxWidthForColumnMainTable(col, 50, maxAutoFitColWidth, minWidth, allEmpty);
            setColumnWidth(col, allEmpty ? defaultColWidth : std::min(width, maxAutoFitColWidth));
        }
    }
    scrollToMainCell(false, false);
}

void TableView::offerEncodingForNewText(const QString& text, bool pasted) {
    TableModel* m = tableModel();
    if (!m || text.isEmpty() || modalQuestionOpen)
        return;
    TableData& data = m->getTableData();
    const EncodingType encoding = data.getEncoding();
    // The Unicode encodings write every character.
    if (encoding == UTF_8 || Utilities::numBytesPerChar(encoding) > 1)
        return;
    QTextCodec* const codec = QTextCodec::codecForName(data.getCodecName());
    if (TableData::decodeCell(TableData::encodeCell(text, encoding, codec), encoding, codec) == text)
        return;
    const QString name = Utilities::convertEncodingTypeToString(encoding);
    modalQuestionOpen = true;
    const int answer =
        MsgBox::ask(this,
                    (pasted ? tr("%1 can't write some of the characters pasted: they would become \"?\".\n\n"
                                 "Write the file in UTF-8 from now on?")
                            : tr("%1 can't write some of the characters typed: they would become \"?\".\n\n"
                                 "Write the file in UTF-8 from now on?"))
                        .arg(name),
                    {{tr("Change to &UTF-8"), QMessageBox::AcceptRole},
                     {tr("&Keep %1").arg(name), QMessageBox::RejectRole}},
                    0);
    modalQuestionOpen = false;
    if (answer == 0 && setEncodingForFileSave(UTF_8))
        m->setUserSetEncoding(true);
}

void TableView::abandonEdit() {
    for (AbstractTableView* grid :
         {static_cast<AbstractTableView*>(this), static_cast<AbstractTableView*>(frozenRows),
          static_cast<AbstractTableView*>(frozenCols), static_cast<AbstractTableView*>(frozenCorner)})
        grid->setEditingCell(false);
    editTargets.clear();
    editText.clear();
    editTextSet = false;
    openEditor = nullptr;
    quickEditOfEdit = nullptr;
    removeContextBits(ContextEditing);
    addContextBits(ContextNotEditing);
}

void TableView::stopEditing(bool commit) {
    if (stoppingEdit)
        return;
    quickEditOfEdit = nullptr;
    paneOpenedForThisEdit = false;
    if (editingCell)
        emit editingAboutToStopSignal();
    const bool wasEditing = editingCell;
    for (AbstractTableView* grid :
         {static_cast<AbstractTableView*>(this), static_cast<AbstractTableView*>(frozenRows),
          static_cast<AbstractTableView*>(frozenCols), static_cast<AbstractTableView*>(frozenCorner)})
        grid->setEditingCell(false);
    if (!context.intersects(ContextEditing) && !wasEditing)
        return;
    if (editTargets.empty()) {
        removeContextBits(ContextEditing);
        addContextBits(ContextNotEditing);
        return;
    }
    stoppingEdit = true;
    // The editor's text is read before it goes; closing it moves the focus, which would
    // otherwise ask for this again.
    if (openEditor) {
        editText = openEditor->text();
        editTextSet = true;
    }
    // The grid takes the focus back from its editor, not from a widget the user went to.
    QWidget* focus = QApplication::focusWidget();
    const bool takeFocus = !focus || focus == this || isAncestorOf(focus);
    for (AbstractTableView* grid :
         {static_cast<AbstractTableView*>(this), static_cast<AbstractTableView*>(frozenRows),
          static_cast<AbstractTableView*>(frozenCols), static_cast<AbstractTableView*>(frozenCorner)})
        grid->closeEditorPublic();
    if (takeFocus)
        setFocus();
    if (commit) {
        onCellEditingFinished();
    } else {
        restoreEditTargets();
        editTargets.clear();
        openEditor = nullptr;
        editText.clear();
        editTextSet = false;
        removeContextBits(ContextEditing);
        addContextBits(ContextNotEditing);
    }
    stoppingEdit = false;
}

bool TableView::edit(const QModelIndex& index, EditTrigger trigger, QEvent* event) {
    if (editingCell || (trigger != QAbstractItemView::AllEditTriggers && !(trigger & editTriggers())))
        return AbstractTableView::edit(index, trigger, event);
    TableModel* m = tableModel();
    if (!m || !index.isValid())
        return false;
    if (m->getMainCell().row != index.row() || m->getMainCell().col != index.column())
        moveSelectionAbsolute(index.row(), index.column());
    // The same way as every other edit: a large cell goes to the pane, and no QuickEdit opens.
    startEditing(false, true);
    return openEditor != nullptr;
}

void TableView::clearCellContents() {
    TableModel* m = tableModel();
    if (!m || loading || editingCell || isReadOnly())
        return;
    // A large selection (a whole big table) is emptied as a transformation rewrites cells: read
    // on the worker behind a progress dialog with Cancel, its old texts kept compactly for undo
    // rather than as a cell record each, which for millions of cells would hold the window for
    // many seconds and take gigabytes.
    if (clearLargeSelection())
        return;
    RangeVector cells = m->getModelRange(m->getSelection());
    m->populateCellDataValues(cells, true, false);
    if (!fillRangeValues(cells, QString(), true))
        return;
    pushCommand(new SetModelDataCommand(m, cells, true));
}

void TableView::deleteCells() {
    clearCellContents();
}

void TableView::nextColumnWithColumnReset() {
    moveAlongRunOfColumns(1);
}

void TableView::previousColumnWithColumnReset() {
    moveAlongRunOfColumns(-1);
}

void TableView::moveAlongRunOfColumns(int step) {
    TableModel* m = tableModel();
    if (!m || m->getMainCell().row < 0)
        return;
    const Range& main = m->getMainCell();
    // The first Tab of a run remembers where the row began, for the Return that ends it.
    if (!rowResetCell.isValid() || rowResetCell.row != main.row)
        rowResetCell = Range(main.row, main.col, RangeIndexType::Model);
    moveSelectionAbsolute(main.row, std::max(0, main.col + step));
}

bool TableView::focusNextPrevChild(bool next) {
    // Tab and Backtab move the selection within the table rather than the focus.
    if (tableModel())
        return false;
    return AbstractTableView::focusNextPrevChild(next);
}
