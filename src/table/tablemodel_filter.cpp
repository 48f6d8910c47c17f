#include "table/tablemodel.h"

#include "table/filterscanner.h"
#include "table/tablemodelworker.h"
#include "util/numberutilities.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <utility>

namespace {

void sortUnique(std::vector<int>& list) {
    std::sort(list.begin(), list.end());
    list.erase(std::unique(list.begin(), list.end()), list.end());
}

// Below this many cell tests a filter runs where it is called: a thread hand-over costs more.
constexpr qint64 kThreadedFilterCells = 200000;

// A whole text as a finite decimal number: an optional sign, digits with an optional point, an
// optional exponent. Per cell of a numeric filter, so without allocation.
bool readNumber(const QString& text, double& out) {
    const qsizetype n = text.size();
    if (n == 0 || n > 400)
        return n > 0 && [&] {
            bool ok = false;
            out = text.toDouble(&ok);
            return ok && std::isfinite(out);
        }();
    char buffer[401];
    qsizetype start = 0;
    if (text[0] == u'+')
        start = 1;
    qsizetype length = 0;
    for (qsizetype i = start; i < n; ++i) {
        const char16_t c = text[i].unicode();
        const bool allowed =
            (c >= u'0' && c <= u'9') || c == u'.' || c == u'-' || c == u'+' || c == u'e' || c == u'E';
        if (!allowed)
            return false;
        buffer[length++] = static_cast<char>(c);
    }
    if (length == 0 || buffer[0] == '+')
        return false;
    const auto [end, error] = std::from_chars(buffer, buffer + length, out);
    return error == std::errc() && end == buffer + length && std::isfinite(out);
}

} // namespace

// --- Matching --------------------------------------------------------------------------------

bool TableModel::parsedFilterMatch(const QString& cell, const FilterData::ParsedFilterData& piece) const {
    if (piece.type == 0)
        return cell == piece.value;
    const QString text = cell.trimmed();
    double number = 0;
    if (!readNumber(text, number))
        return false;
    int low = 0;
    int high = 0;
    const bool shortNumbers = text.size() <= maxDoubleDigits && piece.value.size() <= maxDoubleDigits &&
                              (piece.type != 5 || piece.value2.size() <= maxDoubleDigits);
    if (shortNumbers) {
        low = Utilities::compareNumbers(number, piece.number);
        if (piece.type == 5)
            high = Utilities::compareNumbers(number, piece.number2);
    } else {
        // Doubles keep about 16 digits; longer numbers compare digit by digit.
        const QString canonical = conditionNumberString(text);
        low = Utilities::compareNumberStrings(canonical, conditionNumberString(piece.value));
        if (piece.type == 5)
            high = Utilities::compareNumberStrings(canonical, conditionNumberString(piece.value2));
    }
    switch (piece.type) {
    case 1:
        return low == 1;
    case 2:
        return low == 0 || low == 1;
    case 3:
        return low == 2;
    case 4:
        return low == 0 || low == 2;
    case 5:
        return (low == 0 || low == 2) && (high == 0 || high == 1);
    default:
        return false;
    }
}

QString TableModel::conditionNumberString(const QString& text) const {
    return Utilities::conditionNumberString(text);
}

namespace {

// Whether the pieces of one condition, joined by "*", cover the whole cell. The result before
// any negation.
bool scanPieces(const TableModel& model, const QRegularExpression& numberRegex,
                const std::vector<FilterData::ParsedFilterData>& pieces, const QString& cell,
                Qt::CaseSensitivity cs) {
    const std::size_t n = pieces.size();
    qsizetype position = 0;
    for (std::size_t i = 0; i < n; ++i) {
        const FilterData::ParsedFilterData& piece = pieces[i];
        const bool first = i == 0;
        const bool last = i + 1 == n;
        // What "*" at an end or "**" leaves: nothing to find.
        if (n >= 2 && piece.type == 0 && piece.value.isEmpty())
            continue;
        if (piece.type == 0) {
            if (first && last)
                return cell.compare(piece.value, cs) == 0;
            if (last) {
                // The last piece closes the cell, wherever an earlier occurrence lies.
                if (cell.size() - piece.value.size() < position || !cell.endsWith(piece.value, cs))
                    return false;
                position = cell.size();
                continue;
            }
            const qsizetype found = cell.indexOf(piece.value, position, cs);
            if (found < 0 || (first && found != 0))
                return false;
            position = found + piece.value.size();
            continue;
        }
        // A number term reads the first number from the position on.
        QRegularExpressionMatchIterator it = numberRegex.globalMatch(cell, position);
        QRegularExpressionMatch match;
        bool found = false;
        while (it.hasNext()) {
            match = it.next();
            if (match.capturedLength(u"num") > 0) {
                found = true;
                break;
            }
        }
        if (!found || (first && match.capturedStart(u"num") != 0) ||
            !model.parsedFilterMatch(match.captured(u"num"), piece))
            return false;
        position = match.capturedEnd(u"num");
        if (last && position != cell.size())
            return false;
    }
    return true;
}

} // namespace

bool TableModel::filterMatch(const FilterData& filter, const QString& cellText) const {
    if (filter.isRegex)
        // The cell came from a decoder, so it is valid UTF-16: no need to check it per cell.
        return filter.regex.isValid() && filter.regex
                                             .match(cellText, 0, QRegularExpression::NormalMatch,
                                                    QRegularExpression::DontCheckSubjectStringMatchOption)
                                             .hasMatch();
    if (filter.wholeTexts.contains(cellText))
        return true;
    const Qt::CaseSensitivity cs = filter.caseSensitive ? Qt::CaseSensitive : Qt::CaseInsensitive;
    for (const std::size_t alternative : filter.otherAlternatives) {
        const auto& conditions = filter.parsedList[alternative];
        bool passed = true;
        for (const auto& pieces : conditions) {
            if (pieces.empty())
                continue;
            const bool negate = pieces.front().negate;
            bool ok = false;
            if (pieces.size() == 1 && pieces.front().type != 0)
                ok = parsedFilterMatch(cellText, pieces.front());
            else
                ok = scanPieces(*this, numberRegex, pieces, cellText, cs);
            if (ok == negate) {
                passed = false;
                break;
            }
        }
        if (passed)
            return true;
    }
    return false;
}

// --- Applying --------------------------------------------------------------------------------

bool TableModel::computeConcealment(ConcealmentState& state, bool useThread) {
    std::vector<int> rows = state.hiddenRows;
    std::vector<int> cols = state.hiddenCols;
    const int rawRows = tableData.numRawRows();
    const int rawCols = tableData.numRawCols();
    qint64 total = 0;
    for (const FilterData& filter : state.filters)
        total += filter.range.type == RangeType::Col ? rawRows : rawCols;
    const bool finished = runOnWorker(
        [&](TableModelWorker& work) {
            qint64 done = 0;
            for (const FilterData& filter : state.filters) {
                std::vector<int> exceptions = filter.exceptions;
                sortUnique(exceptions);
                const bool onCol = filter.range.type == RangeType::Col;
                const int count = onCol ? rawRows : rawCols;
                std::vector<int>& out = onCol ? rows : cols;
                FilterScanner scanner(*this, filter);
                for (int raw = std::max(onCol ? numHeaderRows : numHeaderCols, 0); raw < count; ++raw) {
                    if (!scanner.matchesAt(raw) &&
                        !std::binary_search(exceptions.begin(), exceptions.end(), raw))
                        out.push_back(raw);
                    if ((raw & 0x3FFF) == 0 && !work.reportProgress(done + raw, total))
                        return false;
                }
                done += count;
            }
            return true;
        },
        useThread && total >= kThreadedFilterCells);
    if (!finished)
        return false;
    sortUnique(rows);
    sortUnique(cols);
    state.concealedRows = std::move(rows);
    state.concealedCols = std::move(cols);
    return true;
}

TableModel::ConcealmentState TableModel::getConcealmentState() const {
    ConcealmentState state;
    state.filters = filterList;
    state.hiddenRows = hiddenRowsList;
    state.hiddenCols = hiddenColsList;
    tableData.getConcealedRowsRaw(state.concealedRows);
    tableData.getConcealedColsRaw(state.concealedCols);
    return state;
}

void TableModel::setConcealmentState(const ConcealmentState& state) {
    emit layoutAboutToBeChanged();
    filterList = state.filters;
    hiddenRowsList = state.hiddenRows;
    hiddenColsList = state.hiddenCols;
    tableData.showAllRows();
    tableData.showAllCols();
    tableData.concealRawRows(state.concealedRows);
    tableData.concealRawCols(state.concealedCols);
    finishConcealmentChange();
}

void TableModel::finishConcealmentChange() {
    invalidateSelectionLookup();
    highlightLookupValid = false;
    previewLookupValid = false;
    emit layoutChanged();
    emit concealmentChangedSignal(!filterList.empty(), !hiddenRowsList.empty() || !hiddenColsList.empty());
    onTableSizeChanged(tableData.numRawRows(), tableData.numRawCols(), tableData.numModelRows(),
                       tableData.numModelCols());
    emit refreshHeadersSignal();
    emit updateStatusBarSignal();
}

void TableModel::setAndApplyFilterAndHiddenArraysList(const std::vector<FilterData>& filters,
                                                      const std::vector<int>& hiddenRows,
                                                      const std::vector<int>& hiddenCols) {
    ConcealmentState state;
    state.filters = filters;
    state.hiddenRows = hiddenRows;
    state.hiddenCols = hiddenCols;
    sortUnique(state.hiddenRows);
    sortUnique(state.hiddenCols);
    computeConcealment(state, false);
    setConcealmentState(state);
}

void TableModel::setAndApplyFilterList(const std::vector<FilterData>& filters) {
    setAndApplyFilterAndHiddenArraysList(filters, hiddenRowsList, hiddenColsList);
}

void TableModel::setAndApplyHiddenRowsList(const std::vector<int>& rows) {
    setAndApplyFilterAndHiddenArraysList(filterList, rows, hiddenColsList);
}

void TableModel::setAndApplyHiddenColsList(const std::vector<int>& cols) {
    setAndApplyFilterAndHiddenArraysList(filterList, hiddenRowsList, cols);
}

void TableModel::transposeConcealmentLists() {
    for (FilterData& filter : filterList) {
        const bool onCol = filter.range.type == RangeType::Col;
        if (!onCol && filter.range.type != RangeType::Row)
            continue;
        // Exceptions keep their numbers: they name lines across the filter's line either way.
        filter.range = Range(onCol ? filter.range.col : filter.range.row,
                             onCol ? RangeType::Row : RangeType::Col, RangeIndexType::Raw);
    }
    std::swap(hiddenRowsList, hiddenColsList);
    // The filters label names lines: "C2" is now "R2".
    emit refreshHeadersSignal();
    emit updateStatusBarSignal();
}

void TableModel::setHiddenListsDontApply(const std::vector<int>& rows, const std::vector<int>& cols) {
    hiddenRowsList = rows;
    hiddenColsList = cols;
}

RangeVector TableModel::updateFilterViolationList() {
    RangeVector out;
    findFilterViolations(filterList, out, false);
    return out;
}

bool TableModel::findFilterViolations(std::vector<FilterData>& filters, RangeVector& out, bool useThread) {
    // Only shown lines count: walk the raw lines beside the ascending concealed lists.
    std::vector<int> concealedRows;
    std::vector<int> concealedCols;
    tableData.getConcealedRowsRaw(concealedRows);
    tableData.getConcealedColsRaw(concealedCols);
    const int rawRows = tableData.numRawRows();
    const int rawCols = tableData.numRawCols();
    qint64 total = 0;
    for (const FilterData& filter : filters)
        total += filter.range.type == RangeType::Col ? rawRows : rawCols;
    std::vector<std::vector<int>> added(filters.size());
    const bool finished = runOnWorker(
        [&](TableModelWorker& work) {
            qint64 done = 0;
            for (std::size_t i = 0; i < filters.size(); ++i) {
                const FilterData& filter = filters[i];
                const bool onCol = filter.range.type == RangeType::Col;
                const int count = onCol ? rawRows : rawCols;
                const std::vector<int>& concealed = onCol ? concealedRows : concealedCols;
                std::vector<int> exceptions = filter.exceptions;
                sortUnique(exceptions);
                const int first = std::max(onCol ? numHeaderRows : numHeaderCols, 0);
                auto hidden = std::lower_bound(concealed.begin(), concealed.end(), first);
                FilterScanner scanner(*this, filter);
                for (int raw = first; raw < count; ++raw) {
                    if ((raw & 0x3FFF) == 0 && !work.reportProgress(done + raw, total))
                        return false;
                    if (hidden != concealed.end() && *hidden == raw) {
                        ++hidden;
                        continue;
                    }
                    if (!scanner.matchesAt(raw) &&
                        !std::binary_search(exceptions.begin(), exceptions.end(), raw))
                        added[i].push_back(raw);
                }
                done += count;
            }
            return true;
        },
        useThread && total >= kThreadedFilterCells);
    if (!finished)
        return false;
    for (std::size_t i = 0; i < filters.size(); ++i) {
        FilterData& filter = filters[i];
        const RangeType type = filter.range.type == RangeType::Col ? RangeType::Row : RangeType::Col;
        for (int raw : added[i])
            out.push_back(Range(raw, type, RangeIndexType::Raw));
        filter.exceptions.insert(filter.exceptions.end(), added[i].begin(), added[i].end());
        sortUnique(filter.exceptions);
    }
    return true;
}
