// Feeds arbitrary text to the page range parser of the print dialog and arbitrary sizes to the
// page cut. Besides crashes it checks what printing relies on: every range is of real pages in
// ascending order, a range the program writes reads back the same, and a cut keeps every row
// once, in order, within the page.

#include "convert/printlayout.h"

#include <QString>
#include <QStringList>

#include <cstdint>
#include <cstdlib>
#include <vector>

namespace {

void check(bool condition) {
    if (!condition)
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QString text = QString::fromUtf8(reinterpret_cast<const char*>(data), qsizetype(size));
    const QPageRanges ranges = PrintLayout::parsePageRanges(text);
    QStringList parts;
    for (const QPageRanges::Range& range : ranges.toRangeList()) {
        check(range.from >= 1 && range.to >= range.from);
        parts.append(QStringLiteral("%1-%2").arg(range.from).arg(range.to));
    }
    check(PrintLayout::parsePageRanges(parts.join(QStringLiteral(", "))) == ranges);

    // The same bytes as row heights, cut into pages of a height the first byte gives.
    if (size < 2)
        return 0;
    const int body = data[0] + 1;
    std::vector<int> sizes(data + 1, data + size);
    const auto sizeOf = [&sizes](int i) { return sizes[static_cast<std::size_t>(i)]; };
    const std::vector<PageIndexes> pages =
        PrintLayout::cutPages(0, static_cast<int>(sizes.size()), sizeOf, body);
    int next = 0;
    for (const PageIndexes& page : pages) {
        check(page.startIndex == next && page.count() > 0);
        check(page.size <= body);
        next = page.endIndex;
    }
    check(next == static_cast<int>(sizes.size()));
    return 0;
}
