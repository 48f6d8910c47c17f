// TableView: find and replace turned into selection, undo commands and the live highlight.

#include "view/tableview.h"

#include "table/replacecommand.h"
#include "table/setmodeldatacommand.h"
#include "table/tablemodel.h"
#include "view/workerprogress.h"

#include <QHeaderView>
#include <QScrollBar>

#include <algorithm>

bool TableView::showFoundMatch(Range found, const FindReplaceQuery& query) {
    TableModel* m = tableModel();
    if (!m || !found.isValid()) {
        emit noMatchSignal(query.findStr);
        return false;
    }
    // Within the selection the match becomes the main cell, so the selection stays to search on.
    if (query.inSelectedCells)
        m->setMainCell(found);
    else
        m->setSelection(found);
    scrollToCell(found.row, found.col, true, true);
    return true;
}

bool TableView::findNextMatch(const FindReplaceQuery& query, bool includeStart) {
    TableModel* m = tableModel();
    return m && showFoundMatch(m->findNextMatch(query, includeStart), query);
}

bool TableView::findPrevMatch(const FindReplaceQuery& query, bool includeStart) {
    TableModel* m = tableModel();
    return m && showFoundMatch(m->findPrevMatch(query, includeStart), query);
}

std::vector<FindResult> TableView::findAll(const FindReplaceQuery& query, bool* canceled) {
    std::vector<FindResult> results;
    TableModel* m = tableModel();
    if (canceled)
        *canceled = false;
    if (!m)
        return results;
    bool finished = false;
    {
        WorkerProgress progress(this, m, QObject::tr("Finding..."), QObject::tr("Find All"));
        finished = m->findAllResults(query, results, true);
    }
    if (!finished) {
        if (canceled)
            *canceled = true;
        return results;
    }
    if (results.empty())
        emit noMatchSignal(query.findStr);
    return results;
}

namespace {

// More replaced cells than this are not selected one by one after a replace all.
constexpr qsizetype kMaxSelectedReplacements = 100000;

bool pushReplacement(TableView* view, TableModel* m, Range replaced, bool keepSelection) {
    RangeVector cells;
    Range cell(replaced.row, replaced.col, RangeIndexType::Model);
    cell.value = replaced.value;
    cells.push_back(cell);
    if (!view->pushCommand(new SetModelDataCommand(m, cells)))
        return false;
    if (keepSelection)
        m->setMainCell(cell);
    else
        m->setSelection(cell);
    return true;
}

// Writes a replaced match (one undo step, if its text changes) and scrolls to it; false with the
// no-match signal when there was none.
bool showReplacement(TableView* view, TableModel* m, const Range& replaced, const FindReplaceQuery& query) {
    if (!replaced.isValid()) {
        emit view->noMatchSignal(query.findStr);
        return false;
    }
    if (replaced.value != replaced.oldValue)
        pushReplacement(view, m, replaced, query.inSelectedCells);
    view->scrollToCell(replaced.row, replaced.col, true, true);
    return true;
}

} // namespace

bool TableView::replaceNextMatch(const FindReplaceQuery& query, bool includeStart) {
    TableModel* m = tableModel();
    return m && !isReadOnly() && showReplacement(this, m, m->replaceNextMatch(query, includeStart), query);
}

bool TableView::replacePrevMatch(const FindReplaceQuery& query, bool includeStart) {
    TableModel* m = tableModel();
    return m && !isReadOnly() && showReplacement(this, m, m->replacePrevMatch(query, includeStart), query);
}

bool TableView::replaceAll(const FindReplaceQuery& query, qsizetype* replaced) {
    if (replaced)
        *replaced = 0;
    TableModel* m = tableModel();
    if (!m || isReadOnly())
        return false;
    std::vector<FoundCell> cells;
    bool finished = false;
    {
        WorkerProgress progress(this, m, QObject::tr("Replacing..."), QObject::tr("Replace All"));
        finished = m->findAllCells(query, cells, true, true);
    }
    // Canceled: the search wrote nothing, so the table and the undo stack are as they were.
    if (!finished)
        return false;
    if (cells.empty()) {
        emit noMatchSignal(query.findStr);
        return false;
    }
    Range first = m->getModelRange(Range(cells.front().row, cells.front().col, RangeIndexType::Raw));
    const qsizetype count = static_cast<qsizetype>(cells.size());
    const bool selectAll = count <= kMaxSelectedReplacements;
    // One undo step for every cell; the replaced cells become the selection.
    if (!pushCommand(new ReplaceCommand(m, std::move(cells), selectAll)))
        return false;
    if (!selectAll)
        m->setSelection(first);
    if (replaced)
        *replaced = count;
    scrollToCell(first.row, first.col, true, true);
    return true;
}

bool TableView::addNextMatchToSelection(const FindReplaceQuery& query) {
    TableModel* m = tableModel();
    if (!m || query.findStr.isEmpty())
        return false;
    FindReplaceQuery q = query;
    q.inSelectedCells = false;
    // A lone selected cell that matches counts as the first match: the walk starts after it.
    Range found = m->findNextMatch(q, false);
    if (found.isValid() && m->cellInSelection(found)) {
        // Already selected: look on once from there.
        Range saved = m->getMainCell();
        m->setMainCell(found);
        found = m->findNextMatch(q, false);
        m->setMainCell(saved);
        if (found.isValid() && m->cellInSelection(found))
            found = Range(RangeType::Invalid);
    }
    if (!found.isValid()) {
        emit noMatchSignal(query.findStr);
        return false;
    }
    m->addCellToSelection(found);
    m->setMainCell(found);
    scrollToMainCell(true, false);
    return true;
}

bool TableView::selectAllMatches(const FindReplaceQuery& query) {
    TableModel* m = tableModel();
    if (!m)
        return false;
    FindReplaceQuery q = query;
    q.inSelectedCells = false;
    std::vector<FoundCell> found;
    bool finished = false;
    {
        WorkerProgress progress(this, m, QObject::tr("Finding..."), QObject::tr("Select All Matches"));
        finished = m->findAllCells(q, found, false, true);
    }
    if (!finished)
        return false;
    if (found.empty()) {
        emit noMatchSignal(query.findStr);
        return false;
    }
    RangeVector cells;
    cells.reserve(found.size());
    for (const FoundCell& raw : found)
        cells.push_back(m->getModelRange(Range(raw.row, raw.col, RangeIndexType::Raw)));
    m->setSelection(cells);
    scrollToMainCell(true, false);
    return true;
}

void TableView::updateFindReplaceMatches() {
    TableModel* m = tableModel();
    // While a scan runs on the worker the cells are its to read; the highlight follows after.
    if (!m || !isVisible() || !m->getHasFindReplaceQuery() || m->isWorkerBusy())
        return;
    const FindReplaceQuery query = m->getFindReplaceQuery();
    if ((!query.highlightMatches && !query.previewReplace) || query.findStr.isEmpty()) {
        m->setFindReplacePreview(RangeVector());
        m->clearHighlightedRange();
        return;
    }
    const int rows = m->rowCountModel();
    const int cols = m->columnCountModel();
    int firstRow = rowAt(0);
    int lastRow = rowAt(viewport()->height() - 1);
    int firstCol = columnAt(0);
    int lastCol = columnAt(viewport()->width() - 1);
    if (firstRow < 0)
        firstRow = 0;
    if (firstCol < 0)
        firstCol = 0;
    if (lastRow < 0 || lastRow >= rows)
        lastRow = rows - 1;
    if (lastCol < 0 || lastCol >= cols)
        lastCol = cols - 1;
    // The frozen header rows and columns stand on screen whatever the scroll.
    std::vector<int> visibleRows;
    std::vector<int> visibleCols;
    for (int r = 0; r < std::min(numHeaderRows, rows); ++r)
        visibleRows.push_back(r);
    for (int r = std::max(firstRow, numHeaderRows); r <= lastRow; ++r)
        visibleRows.push_back(r);
    for (int c = 0; c < std::min(numHeaderCols, cols); ++c)
        visibleCols.push_back(c);
    for (int c = std::max(firstCol, numHeaderCols); c <= lastCol; ++c)
        visibleCols.push_back(c);

    RangeVector highlight;
    RangeVector preview;
    std::vector<int> positions;
    const bool withPreview = query.previewReplace && !isReadOnly();
    for (const int row : visibleRows) {
        for (const int col : visibleCols) {
            if (!m->determineMatch(query, row, col, positions))
                continue;
            Range raw(m->getRawFromModelRow(row), m->getRawFromModelCol(col), RangeIndexType::Raw);
            if (withPreview) {
                Range cell = raw;
                cell.value = m->getTableData().getValueRaw(raw.row, raw.col);
                const Range replaced = m->replace(query, cell, positions, true);
                if (replaced.isValid())
                    preview.push_back(replaced);
            }
            highlight.push_back(raw);
        }
    }
    m->setFindReplaceQuery(query);
    m->setFindReplacePreview(preview);
    m->setHighlightedRange(highlight);
}

void TableView::onFindReplaceEdited(const FindReplaceQuery& query) {
    TableModel* m = tableModel();
    if (!m)
        return;
    m->setFindReplaceQuery(query);
    updateFindReplaceMatches();
}

void TableView::onFindReplaceClosed() {
    if (TableModel* m = tableModel())
        m->onFindReplaceClosed();
}
