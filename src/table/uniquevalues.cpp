#include "table/uniquevalues.h"

#include "table/tabledata.h"
#include "table/tablemodelworker.h"
#include "util/filterutilities.h"
#include "util/sortutilities.h"

#include <QHash>

#include <algorithm>

namespace UniqueValues {

namespace {

// Progress and cancel every so many cells, as the other column scans do.
constexpr qint64 kCellsPerReport = 4096;

} // namespace

bool countValues(const TableData& data, const CellTransform::CellWalk& cells, bool excludeEmpty,
                 std::vector<UniqueValue>& out, TableModelWorker* worker) {
    out.clear();
    // A hash first and one sort of the distinct texts after: a column of a million cells holds
    // far fewer values, and the natural comparison is the expensive part.
    QHash<QString, int> counts;
    const std::size_t n = cells.size();
    qint64 counted = 0;
    for (std::size_t i = 0; i < n; ++i) {
        if (worker && (i + 1) % kCellsPerReport == 0 && !worker->reportProgress(qint64(i + 1), qint64(n)))
            return false;
        const auto [row, col] = cells.at(i);
        QString text = data.getValueModel(row, col).toString();
        if (excludeEmpty && text.isEmpty())
            continue;
        ++counts[std::move(text)];
        ++counted;
    }
    out.reserve(std::size_t(counts.size()));
    for (auto it = counts.cbegin(); it != counts.cend(); ++it) {
        UniqueValue value;
        value.value = it.key();
        value.count = it.value();
        value.percent = value.count * 100.0 / double(counted);
        out.push_back(std::move(value));
    }
    // Texts the natural order takes as equal ("1" and "1.0") still each get a row, in text order.
    std::sort(out.begin(), out.end(), [](const UniqueValue& a, const UniqueValue& b) {
        if (Utilities::qStringCompare(a.value, b.value, false))
            return true;
        if (Utilities::qStringCompare(b.value, a.value, false))
            return false;
        return a.value < b.value;
    });
    for (std::size_t i = 0; i < out.size(); ++i)
        out[i].rank = int(i);
    return true;
}

int highestCount(const std::vector<UniqueValue>& values) {
    int highest = 0;
    for (const UniqueValue& v : values)
        highest = std::max(highest, v.count);
    return highest;
}

void sortValues(std::vector<UniqueValue>& values, SortColumn column, bool ascending) {
    std::sort(values.begin(), values.end(), [column, ascending](const UniqueValue& a, const UniqueValue& b) {
        if (column != ValueColumn && a.count != b.count)
            return ascending ? a.count < b.count : a.count > b.count;
        if (column == ValueColumn)
            return ascending ? a.rank < b.rank : a.rank > b.rank;
        return a.rank < b.rank;
    });
}

QString filterString(const QStringList& values, bool keep) {
    QStringList parts;
    parts.reserve(values.size());
    for (const QString& value : values) {
        // Lower case, as the filter compares without case.
        const QString piece = Utilities::applyEscapeCharsToFilterStr(value.toLower());
        parts.append(keep ? piece : QStringLiteral("!") + piece);
    }
    // Keeping: any of them; dropping: none of them.
    const QString text = parts.join(keep ? u'|' : u'&');
    // Only the empty value: an empty filter text is no filter at all, and two empty
    // alternatives keep exactly the empty cells.
    return keep && text.isEmpty() && !values.isEmpty() ? QStringLiteral("|") : text;
}

FilterData makeFilter(int rawCol, const QStringList& values, bool keep) {
    FilterData filter;
    filter.range = Range(rawCol, RangeType::Col, RangeIndexType::Raw);
    filter.filterStr = filterString(values, keep);
    filter.convertFilterStrToRegexList();
    return filter;
}

} // namespace UniqueValues
