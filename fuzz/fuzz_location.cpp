// Feeds arbitrary text to the location, shape and column list parsers. Besides crashes and
// sanitizer reports it checks the properties the prompts rely on: limits hold, letters and
// numbers convert both ways, and a column list the program writes reads back unchanged.

#include "util/locationutilities.h"

#include <QString>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <vector>

using namespace Utilities;

namespace {

void check(bool condition) {
    if (!condition)
        std::abort();
}

std::vector<int> sortedUnique(std::vector<int> values) {
    std::sort(values.begin(), values.end());
    values.erase(std::unique(values.begin(), values.end()), values.end());
    return values;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 1)
        return 0;
    // The first byte picks the flags and the limit, the rest is the typed text.
    const uint8_t control = data[0];
    const QString text = QString::fromUtf8(reinterpret_cast<const char*>(data + 1), qsizetype(size - 1));
    const bool userIndexes = control & 1;
    const int limit = (control & 2) ? INT_MAX : int(control >> 2) - 16;

    int row = -7;
    int col = -7;
    parseCellLocationString(row, col, text, false, userIndexes);
    if (!userIndexes)
        check((row >= 0 || row == -7) && (col >= 0 || col == -7));
    row = col = -7;
    parseCellLocationString(row, col, text, true, false);
    check(row >= -7 && col >= -7);

    int rows = -1;
    int cols = -1;
    parseShapeStringRowWise(rows, cols, text);
    parseShapeStringColWise(rows, cols, text);
    check(rows >= -1 && cols >= -1);

    std::vector<int> out;
    QString error;
    const bool ok = parseColsString(out, error, text, limit, userIndexes);
    check(ok == error.isEmpty());
    check(std::all_of(out.begin(), out.end(), [&](int v) { return v <= limit && (userIndexes || v >= 0); }));
    if (!out.empty() && out.size() < 100000) {
        const std::vector<int> expected = sortedUnique(out);
        std::vector<int> again;
        QString againError;
        check(parseColsString(again, againError, makeColsStringFromCols(out, false, true), INT_MAX, true));
        check(again == expected);
    }

    out.clear();
    parseColsStringColLetters(out, error, text, limit);
    check(std::all_of(out.begin(), out.end(), [&](int v) { return v >= 0 && v <= limit; }));
    if (!out.empty() && out.size() < 100000) {
        std::vector<int> again;
        QString againError;
        check(parseColsStringColLetters(again, againError, makeColsStringFromCols(out, true, true), INT_MAX));
        check(again == sortedUnique(out));
    }

    const int number = convertLettersToNumber(text);
    if (number != INT_MIN)
        check(number >= 0 && convertNumberToLetters(number) == text.toUpper().trimmed());
    computeCellRangeFeedbackString(row, col, control & 4);
    return 0;
}
