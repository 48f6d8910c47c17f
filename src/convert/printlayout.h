#pragma once

#include "convert/pageindexes.h"

#include <QPageRanges>
#include <QString>

#include <functional>
#include <utility>
#include <vector>

// How a table is cut into pages, without a printer: the page geometry comes in as numbers, so
// the rules can be checked on their own.
namespace PrintLayout {

// The printed size of model row (column) `index`, in device pixels.
using SizeOf = std::function<int(int index)>;

// Cuts the model indexes from `first` to `end` (one past the last) into pages of at most
// `bodySize`. A row larger than the body gets a page of its own, with the body's size.
std::vector<PageIndexes> cutPages(int first, int end, const SizeOf& sizeOf, int bodySize);
// The same over an explicit ordered list of model indexes; the pages hold the indexes.
std::vector<PageIndexes> cutPages(const std::vector<int>& indexes, const SizeOf& sizeOf, int bodySize);

// The selected indexes that print as body: ordered, without the header indexes below
// `numHeaders` when the headers print on every page anyway.
std::vector<int> bodyIndexes(std::vector<int> selected, int numHeaders, bool headersPrinted);

// The row page and the column page of page `n` (from 0) of the document.
std::pair<int, int> pagePosition(int n, int pagesDown, int pagesAcross, bool rowWise);

// "1-3, 5, 7-9": the pages (from 1) to print. Parts that don't read as a page or an ascending
// range of pages are skipped; an empty result means all pages.
QPageRanges parsePageRanges(const QString& text);

// A size on screen times the printer's scale, cut to whole device pixels.
inline int scaled(int screenSize, double scale) {
    return static_cast<int>(screenSize * scale);
}

} // namespace PrintLayout
