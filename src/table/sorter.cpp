#include "table/sorter.h"

#include "util/sortutilities.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

// Progress is asked once per this many comparisons: often enough that a cancel shows within a
// few milliseconds, rare enough that the clock read costs nothing.
constexpr qint64 kProgressMask = (qint64(1) << 14) - 1;
// Shorter pieces are put in order by insertion; a whole list this short needs no buffer.
constexpr std::ptrdiff_t kInsertionRun = 32;
constexpr std::size_t kBufferFrom = 129;

template <class Less> class MergeSort {
public:
    MergeSort(const Less& less, const Sorter::Progress& progress) : less(less), progress(progress) {}

    void run(std::vector<int>& order) {
        if (order.size() < 2)
            return;
        int* first = order.data();
        int* last = first + order.size();
        if (order.size() < kBufferFrom) {
            insertion(first, last);
            return;
        }
        std::vector<int> buffer(order.size() / 2 + 1);
        sort(first, last, buffer.data());
    }

private:
    bool compare(int a, int b) {
        if ((++done & kProgressMask) == 0 && progress && !progress(done))
            throw SortCanceledException();
        return less(a, b);
    }

    void insertion(int* first, int* last) {
        for (int* i = first + 1; i < last; ++i) {
            const int x = *i;
            int* j = i;
            while (j > first && compare(x, *(j - 1))) {
                *j = *(j - 1);
                --j;
            }
            *j = x;
        }
    }

    void sort(int* first, int* last, int* buffer) {
        const std::ptrdiff_t n = last - first;
        if (n <= kInsertionRun) {
            insertion(first, last);
            return;
        }
        int* mid = first + n / 2;
        sort(first, mid, buffer);
        sort(mid, last, buffer);
        if (!compare(*mid, *(mid - 1)))
            return; // the halves are in order already
        int* const leftEnd = std::copy(first, mid, buffer);
        int* left = buffer;
        int* right = mid;
        int* out = first;
        while (left < leftEnd && right < last) {
            // Equal keys take the left one first: that is the stability.
            if (compare(*right, *left))
                *out++ = *right++;
            else
                *out++ = *left++;
        }
        std::copy(left, leftEnd, out);
    }

    const Less& less;
    const Sorter::Progress& progress;
    qint64 done = 0;
};

bool isAsciiDigit(char16_t c) {
    return c >= u'0' && c <= u'9';
}

// QStringView::compare, with the first code units looked at in place: most texts of a column
// differ there, and the call costs more than the comparison.
int compareText(QStringView a, QStringView b) {
    constexpr qsizetype kInline = 16;
    const qsizetype common = std::min(a.size(), b.size());
    const qsizetype inlined = std::min(common, kInline);
    const char16_t* pa = a.utf16();
    const char16_t* pb = b.utf16();
    for (qsizetype i = 0; i < inlined; ++i) {
        if (pa[i] != pb[i])
            return pa[i] < pb[i] ? -1 : 1;
    }
    if (common > kInline)
        return a.sliced(kInline).compare(b.sliced(kInline));
    return a.size() == b.size() ? 0 : (a.size() < b.size() ? -1 : 1);
}

} // namespace

// --- Keys ------------------------------------------------------------------------------------

void SortKeys::reserve(std::size_t count, std::size_t textUnits) {
    keys.reserve(count);
    parts.reserve(count);
    text.reserve(textUnits);
}

void SortKeys::clear() {
    keys.clear();
    parts.clear();
    text.clear();
}

void SortKeys::add(QStringView key) {
    Key k;
    k.textBegin = text.size();
    k.textLength = static_cast<std::uint32_t>(key.size());
    k.partsBegin = parts.size();
    const char16_t* s = key.utf16();
    const std::uint32_t n = k.textLength;
    text.insert(text.end(), s, s + n);
    if (n == 0) {
        k.flags = Empty;
        keys.push_back(k);
        return;
    }
    std::uint32_t spaces = 0;
    while (spaces < n && s[spaces] == u' ')
        ++spaces;
    k.spaces = spaces;
    if (spaces < n && s[spaces] == u'0' && !(spaces + 1 < n && s[spaces + 1] == u'.'))
        k.flags |= ZeroLed;

    // A zero-led key compares as text against anything, so its value is never asked.
    if (!(k.flags & ZeroLed) && std::find(s, s + n, u'_') == s + n) {
        // The number reader sees the text as UTF-8 up to a first NUL; it refuses every byte
        // outside ASCII, so a text with one there before the NUL is no number.
        narrow.clear();
        bool ascii = true;
        for (std::uint32_t i = 0; i < n && s[i] != 0; ++i) {
            if (s[i] >= 128) {
                ascii = false;
                break;
            }
            narrow.push_back(static_cast<char>(s[i]));
        }
        if (ascii) {
            narrow.push_back(0);
            const double value = Utilities::convertStringToDouble(narrow.data(), false);
            if (!std::isnan(value)) {
                k.flags |= Number;
                k.number = value;
            }
        }
    }

    if (spaces < n) {
        if (isAsciiDigit(s[spaces]))
            k.flags |= StartsWithNumber;
        std::uint32_t start = spaces;
        while (start < n) {
            const bool digits = isAsciiDigit(s[start]);
            std::uint32_t end = start + 1;
            while (end < n && isAsciiDigit(s[end]) == digits)
                ++end;
            Part part{};
            if (digits) {
                // As QString::toLongLong reads the run: an overflowing run counts 0.
                qint64 value = 0;
                for (std::uint32_t i = start; i < end; ++i) {
                    const int d = s[i] - u'0';
                    if (value > (std::numeric_limits<qint64>::max() - d) / 10) {
                        value = 0;
                        break;
                    }
                    value = value * 10 + d;
                }
                part.value = value;
            } else {
                part.text.begin = start;
                part.text.length = end - start;
            }
            parts.push_back(part);
            ++k.partCount;
            start = end;
        }
    }
    keys.push_back(k);
}

bool SortKeys::less(int ia, int ib, bool descending) const {
    const Key& a = keys[static_cast<std::size_t>(ia)];
    const Key& b = keys[static_cast<std::size_t>(ib)];
    // Two identical texts are never before one another. Only the branches where identical texts
    // could answer true look for that; the others give false for them by themselves.
    if (a.flags & Empty)
        return !(b.flags & Empty) && descending;
    if (b.flags & Empty)
        return !descending;
    const QStringView va = view(a);
    const QStringView vb = view(b);
    if ((a.flags | b.flags) & ZeroLed) {
        const int order = compareText(va, vb);
        return order != 0 && (order < 0) != descending;
    }
    if (a.flags & b.flags & Number) {
        if (a.number == b.number)
            return false;
        return (a.number < b.number) != descending;
    }
    if (a.spaces != b.spaces)
        return (a.spaces < b.spaces) != descending;
    const QStringView sa = va.mid(a.spaces);
    const QStringView sb = vb.mid(b.spaces);
    if (sa.isEmpty())
        return !sb.isEmpty() && descending;
    if (sb.isEmpty())
        return !descending;
    const bool startsWithNumber = a.flags & StartsWithNumber;
    if (startsWithNumber != static_cast<bool>(b.flags & StartsWithNumber))
        return (compareText(sa, sb) < 0) != descending;
    const std::uint32_t n = std::min(a.partCount, b.partCount);
    const Part* pa = parts.data() + a.partsBegin;
    const Part* pb = parts.data() + b.partsBegin;
    for (std::uint32_t i = 0; i < n; ++i) {
        const bool numeric = startsWithNumber == (i % 2 == 0);
        if (numeric) {
            if (pa[i].value != pb[i].value)
                return (pa[i].value < pb[i].value) != descending;
        } else {
            const int order = compareText(partView(a, pa[i]), partView(b, pb[i]));
            if (order != 0)
                return (order < 0) != descending;
        }
    }
    if (a.partCount == b.partCount)
        return false;
    return (a.partCount < b.partCount) != descending;
}

// --- Sorting ---------------------------------------------------------------------------------

namespace Sorter {

void stableMergeSort(std::vector<int>& order, const std::function<bool(int, int)>& less,
                     const Progress& progress) {
    MergeSort<std::function<bool(int, int)>>(less, progress).run(order);
}

void stableMergeSort(std::vector<int>& order, const SortKeys& keys, bool descending,
                     const Progress& progress) {
    const auto less = [&keys, descending](int a, int b) { return keys.less(a, b, descending); };
    MergeSort<decltype(less)>(less, progress).run(order);
}

qint64 expectedComparisons(std::size_t count) {
    if (count < 2)
        return 1;
    const double n = static_cast<double>(count);
    return static_cast<qint64>(n * std::log2(n));
}

} // namespace Sorter
