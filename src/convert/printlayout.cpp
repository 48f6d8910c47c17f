#include "convert/printlayout.h"

#include <QStringList>

#include <algorithm>

namespace PrintLayout {

namespace {

// The walk shared by both forms: `at(k)` is the model index of place k of `count` places.
template <typename At>
std::vector<PageIndexes> cut(int count, const At& at, const SizeOf& sizeOf, int bodySize, bool explicitList) {
    std::vector<PageIndexes> pages;
    const auto close = [&](int start, int end, int size) {
        PageIndexes page;
        page.startIndex = explicitList ? start : at(start);
        page.endIndex = explicitList ? end : at(start) + (end - start);
        page.size = size;
        page.useIndexes = explicitList;
        if (explicitList) {
            page.indexes.reserve(static_cast<std::size_t>(end - start));
            for (int k = start; k < end; ++k)
                page.indexes.push_back(at(k));
        }
        pages.push_back(std::move(page));
    };
    int start = 0;
    int running = 0;
    for (int k = 0; k < count; ++k) {
        const int size = sizeOf(at(k));
        if (size > bodySize) {
            // Too large for any page: alone on one, clipped to the body.
            if (k > start)
                close(start, k, running);
            close(k, k + 1, bodySize);
            start = k + 1;
            running = 0;
        } else if (running + size <= bodySize) {
            running += size;
        } else {
            close(start, k, running);
            start = k;
            running = size;
        }
    }
    if (start < count)
        close(start, count, running);
    return pages;
}

bool readPage(const QString& text, int& page) {
    bool ok = false;
    page = text.trimmed().toInt(&ok);
    return ok;
}

} // namespace

std::vector<PageIndexes> cutPages(int first, int end, const SizeOf& sizeOf, int bodySize) {
    first = std::max(first, 0);
    if (end <= first)
        return {};
    return cut(
        end - first, [first](int k) { return first + k; }, sizeOf, bodySize, false);
}

std::vector<PageIndexes> cutPages(const std::vector<int>& indexes, const SizeOf& sizeOf, int bodySize) {
    return cut(
        static_cast<int>(indexes.size()), [&indexes](int k) { return indexes[static_cast<std::size_t>(k)]; },
        sizeOf, bodySize, true);
}

std::vector<int> bodyIndexes(std::vector<int> selected, int numHeaders, bool headersPrinted) {
    std::sort(selected.begin(), selected.end());
    selected.erase(std::unique(selected.begin(), selected.end()), selected.end());
    if (headersPrinted)
        selected.erase(std::remove_if(selected.begin(), selected.end(),
                                      [numHeaders](int index) { return index < numHeaders; }),
                       selected.end());
    return selected;
}

std::pair<int, int> pagePosition(int n, int pagesDown, int pagesAcross, bool rowWise) {
    if (rowWise)
        return {n / std::max(pagesAcross, 1), n % std::max(pagesAcross, 1)};
    return {n % std::max(pagesDown, 1), n / std::max(pagesDown, 1)};
}

QPageRanges parsePageRanges(const QString& text) {
    QPageRanges ranges;
    const QStringList parts = text.trimmed().split(QLatin1Char(','), Qt::SkipEmptyParts);
    for (const QString& rawPart : parts) {
        const QString part = rawPart.trimmed();
        if (part.isEmpty())
            continue;
        const QStringList ends = part.split(QLatin1Char('-'));
        int from = 0;
        int to = 0;
        if (ends.size() == 1) {
            if (!readPage(part, from) || from < 1)
                continue;
            to = from;
        } else if (ends.size() == 2) {
            if (!readPage(ends[0], from) || !readPage(ends[1], to) || from < 1 || to < from)
                continue;
        } else {
            continue;
        }
        ranges.addRange(from, to);
    }
    return ranges;
}

} // namespace PrintLayout
