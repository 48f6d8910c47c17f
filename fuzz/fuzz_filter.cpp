// Feeds arbitrary text to the filter language. Besides crashes and sanitizer reports it checks
// what the commands rely on: a cell's text escaped for the language matches that text and no
// other, and compiling the same text twice gives the same result.

#include "table/filterdata.h"
#include "table/tablemodel.h"
#include "util/filterutilities.h"

#include <QString>

#include <cstdint>
#include <cstdlib>

namespace {

void check(bool condition) {
    if (!condition)
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 1)
        return 0;
    // The first byte picks the flags; the rest is a filter text and a cell, split at the first
    // newline.
    const uint8_t control = data[0];
    const QString input = QString::fromUtf8(reinterpret_cast<const char*>(data + 1), qsizetype(size - 1));
    const qsizetype split = input.indexOf(u'\n');
    const QString filterText = split < 0 ? input : input.left(split);
    const QString cell = split < 0 ? QString() : input.mid(split + 1);
    static TableModel model(false);

    FilterData filter;
    filter.filterStr = filterText;
    filter.caseSensitive = control & 1;
    filter.convertFilterStrToRegexList();
    const bool first = model.filterMatch(filter, cell);
    FilterData again = filter;
    again.convertFilterStrToRegexList();
    check(again.parsedList == filter.parsedList && model.filterMatch(again, cell) == first);

    FilterData exact;
    exact.caseSensitive = true;
    exact.filterStr = Utilities::applyEscapeCharsToFilterStr(cell);
    exact.convertFilterStrToRegexList();
    check(model.filterMatch(exact, cell));
    check(model.filterMatch(exact, filterText) == (filterText == cell));
    return 0;
}
