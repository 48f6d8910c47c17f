#include "table/sorter.h"

#include "util/sortutilities.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>
#include <type_traits>

namespace {

// Progress is asked once per this many comparisons: often enough that a cancel shows within a
// few milliseconds, rare enough that the clock read costs nothing.
constexpr qint64 kProgressMask = (qint64(1) << 14) - 1;
// Shorter pieces are put in order by insertion; a whole list this short needs no buffer.
constexpr std::ptrdiff_t kInsertionRun = 32;
constexpr std::size_t kBufferFrom = 129;

// Packed keys: a byte below kDigitToken names a run of text; kDigitToken + n (n = 1..15) starts n
// digits, two to a byte. Longer keys, runs and digit runs stay plain, which also bounds what a
// comparison unpacks on the stack.
constexpr std::uint8_t kDigitToken = 240;
constexpr std::size_t kMaxPackedDigits = 15;
constexpr std::size_t kMaxRun = 32;
constexpr std::size_t kMaxPackedKey = 255;

template <class Less> class MergeSort {
public:
    MergeSort(const Less& less, const Sorter::Progress& progress) : less(less), progress(progress) {}

    void run(int* first, int* last) {
        const auto count = static_cast<std::size_t>(last - first);
        if (count < 2)
            return;
        if (count < kBufferFrom) {
            insertion(first, last);
            return;
        }
        // A quarter of the list: a merge whose left run is longer splits it first (below).
        std::vector<int> buffer(count / 4 + 1);
        bufferSize = static_cast<std::ptrdiff_t>(buffer.size());
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
        merge(first, mid, last, buffer);
    }

    // Merges the ordered runs [first, mid) and [mid, last).
    void merge(int* first, int* mid, int* last, int* buffer) {
        if (first == mid || mid == last)
            return;
        if (mid - first > bufferSize) {
            // Too long for the buffer: the left run's middle element goes before the right run's
            // first one that is not less than it (the left one first among equals); moving the
            // right run's lesser part in front of it leaves two shorter merges.
            int* cut = first + (mid - first) / 2;
            int* low = mid;
            std::ptrdiff_t span = last - mid;
            while (span > 0) {
                const std::ptrdiff_t half = span / 2;
                if (compare(low[half], *cut)) {
                    low += half + 1;
                    span -= half + 1;
                } else {
                    span = half;
                }
            }
            int* const newMid = std::rotate(cut, mid, low);
            merge(first, cut, newMid, buffer);
            merge(newMid, low, last, buffer);
            return;
        }
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
    std::ptrdiff_t bufferSize = 0;
};

// The code units of one key's text, one byte or two each.
template <bool WideUnits> struct Units {
    const unsigned char* p;
    std::uint32_t n;
    char16_t operator[](std::uint32_t i) const {
        if constexpr (WideUnits) {
            char16_t u;
            std::memcpy(&u, p + 2 * static_cast<std::size_t>(i), 2);
            return u;
        } else {
            return p[i];
        }
    }
};

bool isDigit(char16_t c) {
    return c >= u'0' && c <= u'9';
}

// Plain code-unit comparison of a[ia, ia + na) with b[ib, ib + nb), as QStringView::compare.
template <class A, class B>
int compareRuns(const A& a, std::uint32_t ia, std::uint32_t na, const B& b, std::uint32_t ib,
                std::uint32_t nb) {
    const std::uint32_t common = std::min(na, nb);
    if constexpr (std::is_same_v<A, Units<false>> && std::is_same_v<B, Units<false>>) {
        if (common > 0) {
            if (const int order = std::memcmp(a.p + ia, b.p + ib, common))
                return order;
        }
    } else {
        for (std::uint32_t k = 0; k < common; ++k) {
            const char16_t x = a[ia + k];
            const char16_t y = b[ib + k];
            if (x != y)
                return x < y ? -1 : 1;
        }
    }
    return na == nb ? 0 : (na < nb ? -1 : 1);
}

// A run of digits as QString::toLongLong reads it: an overflowing run counts 0.
template <class A> qint64 runValue(const A& a, std::uint32_t from, std::uint32_t to) {
    qint64 value = 0;
    for (std::uint32_t i = from; i < to; ++i) {
        const int d = a[i] - u'0';
        if (value > (std::numeric_limits<qint64>::max() - d) / 10)
            return 0;
        value = value * 10 + d;
    }
    return value;
}

// The comparator's steps from the leading spaces on, for two keys that are not empty, not
// zero-led and not both numbers.
template <class A, class B> bool lessTexts(const A& a, const B& b, bool descending) {
    std::uint32_t i = 0;
    while (i < a.n && a[i] == u' ')
        ++i;
    std::uint32_t j = 0;
    while (j < b.n && b[j] == u' ')
        ++j;
    if (i != j)
        return (i < j) != descending;
    if (i == a.n)
        return j != b.n && descending;
    if (j == b.n)
        return !descending;
    bool numeric = isDigit(a[i]);
    if (numeric != isDigit(b[j]))
        return (compareRuns(a, i, a.n - i, b, j, b.n - j) < 0) != descending;
    // Alternate runs of digits and of other text; the first that differs decides, and where all
    // of the shorter list agree, the shorter list comes first.
    for (;;) {
        const bool aDone = i >= a.n;
        const bool bDone = j >= b.n;
        if (aDone || bDone)
            return aDone == bDone ? false : aDone != descending;
        std::uint32_t ie = i + 1;
        while (ie < a.n && isDigit(a[ie]) == numeric)
            ++ie;
        std::uint32_t je = j + 1;
        while (je < b.n && isDigit(b[je]) == numeric)
            ++je;
        if (numeric) {
            const qint64 x = runValue(a, i, ie);
            const qint64 y = runValue(b, j, je);
            if (x != y)
                return (x < y) != descending;
        } else if (const int order = compareRuns(a, i, ie - i, b, j, je - j)) {
            return (order < 0) != descending;
        }
        i = ie;
        j = je;
        numeric = !numeric;
    }
}

template <class A, class B> bool lessZeroLed(const A& a, const B& b, bool descending) {
    const int order = compareRuns(a, 0, a.n, b, 0, b.n);
    return order != 0 && (order < 0) != descending;
}

} // namespace

// --- Keys ------------------------------------------------------------------------------------

SortKeys::SortKeys(bool numbersOnly) : numbersOnly(numbersOnly) {}

SortKeys::~SortKeys() {
    std::free(arena);
}

void SortKeys::reserve(std::size_t count) {
    if (numbersOnly) {
        numbers.reserve(count);
    } else {
        flags.reserve(count);
        begins.reserve(count + 1);
    }
}

void SortKeys::clear() {
    std::vector<double>().swap(numbers);
    std::vector<std::uint8_t>().swap(flags);
    std::vector<std::uint32_t>().swap(begins);
    std::vector<std::uint64_t>().swap(wideBegins);
    std::vector<char>().swap(scratch);
    std::vector<std::string>().swap(runs);
    runIds.clear();
    std::string().swap(packedScratch);
    std::free(arena);
    arena = nullptr;
    arenaSize = arenaCapacity = 0;
}

std::size_t SortKeys::memoryBytes() const {
    return numbers.capacity() * sizeof(double) + flags.capacity() +
           begins.capacity() * sizeof(std::uint32_t) + wideBegins.capacity() * sizeof(std::uint64_t) +
           arenaCapacity + runs.size() * (sizeof(std::string) + kMaxRun) * 2;
}

bool SortKeys::pack(const unsigned char* bytes, std::size_t count) {
    if (count > kMaxPackedKey)
        return false;
    packedScratch.clear();
    std::size_t i = 0;
    while (i < count) {
        const bool digits = isDigit(bytes[i]);
        std::size_t end = i + 1;
        while (end < count && isDigit(bytes[end]) == digits)
            ++end;
        const std::size_t length = end - i;
        if (digits) {
            if (length > kMaxPackedDigits)
                return false;
            packedScratch.push_back(static_cast<char>(kDigitToken + length));
            for (std::size_t k = i; k < end; k += 2) {
                const int high = bytes[k] - '0';
                const int low = k + 1 < end ? bytes[k + 1] - '0' : 0;
                packedScratch.push_back(static_cast<char>(high << 4 | low));
            }
        } else {
            if (length > kMaxRun)
                return false;
            const std::string_view run(reinterpret_cast<const char*>(bytes + i), length);
            auto found = runIds.find(run);
            if (found == runIds.end()) {
                if (runs.size() >= kDigitToken)
                    return false;
                runs.emplace_back(run);
                found = runIds.emplace(runs.back(), static_cast<std::uint8_t>(runs.size() - 1)).first;
            }
            packedScratch.push_back(static_cast<char>(found->second));
        }
        i = end;
    }
    return packedScratch.size() < count;
}

std::size_t SortKeys::unpack(const unsigned char* packed, std::size_t length, unsigned char* out) const {
    unsigned char* const start = out;
    const unsigned char* const end = packed + length;
    while (packed < end) {
        const std::uint8_t token = *packed++;
        if (token < kDigitToken) {
            const std::string& run = runs[token];
            std::memcpy(out, run.data(), run.size());
            out += run.size();
            continue;
        }
        const std::size_t digits = token - kDigitToken;
        for (std::size_t k = 0; k < digits; k += 2) {
            const std::uint8_t pair = *packed++;
            *out++ = static_cast<unsigned char>('0' + (pair >> 4));
            if (k + 1 < digits)
                *out++ = static_cast<unsigned char>('0' + (pair & 15));
        }
    }
    return static_cast<std::size_t>(out - start);
}

void SortKeys::append(const void* bytes, std::size_t length) {
    if (arenaSize + length > arenaCapacity) {
        const std::size_t capacity =
            std::max({arenaSize + length, arenaCapacity + arenaCapacity / 2, std::size_t(4096)});
        auto* grown = static_cast<unsigned char*>(std::realloc(arena, capacity));
        if (!grown)
            throw std::bad_alloc();
        arena = grown;
        arenaCapacity = capacity;
    }
    if (length > 0)
        std::memcpy(arena + arenaSize, bytes, length);
    arenaSize += length;
}

void SortKeys::permute(const std::vector<int>& source) {
    if (numbersOnly) {
        std::vector<double> moved(source.size());
        for (std::size_t i = 0; i < source.size(); ++i)
            moved[i] = numbers[static_cast<std::size_t>(source[i])];
        numbers.swap(moved);
        return;
    }
    SortKeys moved(false);
    moved.reserve(source.size());
    if (arenaSize > 0) {
        moved.arena = static_cast<unsigned char*>(std::malloc(arenaSize));
        if (!moved.arena)
            throw std::bad_alloc();
        moved.arenaCapacity = arenaSize;
    }
    if (wideBegins.empty())
        moved.begins.push_back(0);
    else
        moved.wideBegins.assign(1, 0);
    for (const int from : source) {
        const auto key = static_cast<std::size_t>(from);
        const std::uint64_t begin = beginOf(key);
        const std::uint64_t end = beginOf(key + 1);
        moved.append(arena + begin, static_cast<std::size_t>(end - begin));
        if (wideBegins.empty())
            moved.begins.push_back(static_cast<std::uint32_t>(moved.arenaSize));
        else
            moved.wideBegins.push_back(moved.arenaSize);
        moved.flags.push_back(flags[key]);
    }
    std::swap(flags, moved.flags);
    std::swap(begins, moved.begins);
    std::swap(wideBegins, moved.wideBegins);
    std::swap(arena, moved.arena);
    std::swap(arenaSize, moved.arenaSize);
    std::swap(arenaCapacity, moved.arenaCapacity);
}

bool SortKeys::add(QStringView key) {
    const char16_t* s = key.utf16();
    const auto n = static_cast<std::size_t>(key.size());
    if (std::all_of(s, s + n, [](char16_t c) { return c < 256; })) {
        scratch.resize(n);
        for (std::size_t i = 0; i < n; ++i)
            scratch[i] = static_cast<char>(s[i]);
        return addUnits(scratch.data(), n, false);
    }
    return addUnits(s, n, true);
}

void SortKeys::addPlaceholder() {
    if (numbersOnly)
        numbers.push_back(std::numeric_limits<double>::quiet_NaN());
    else
        addUnits(nullptr, 0, false);
}

bool SortKeys::addLatin1(std::string_view key) {
    return addUnits(key.data(), key.size(), false);
}

bool SortKeys::addUnits(const void* units, std::size_t count, bool wide) {
    const auto* bytes = static_cast<const unsigned char*>(units);
    const auto unit = [bytes, wide](std::size_t i) -> char16_t {
        if (!wide)
            return bytes[i];
        char16_t u;
        std::memcpy(&u, bytes + 2 * i, 2);
        return u;
    };
    std::uint8_t keyFlags = count == 0 ? Empty : 0;
    if (wide)
        keyFlags |= Wide;
    std::size_t spaces = 0;
    while (spaces < count && unit(spaces) == u' ')
        ++spaces;
    if (spaces < count && unit(spaces) == u'0' && !(spaces + 1 < count && unit(spaces + 1) == u'.'))
        keyFlags |= ZeroLed;

    // A zero-led key compares as text against anything, so its value is never asked; nor is that
    // of a key with an underscore.
    double value = std::numeric_limits<double>::quiet_NaN();
    if (count > 0 && !(keyFlags & ZeroLed)) {
        // The number reader sees the text as UTF-8 up to a first NUL; it refuses every byte
        // outside ASCII, so a text with one there before the NUL is no number.
        std::string narrow;
        bool candidate = true;
        for (std::size_t i = 0; i < count && candidate; ++i) {
            const char16_t c = unit(i);
            if (c == u'_')
                candidate = false;
            else if (c == 0)
                break;
            else if (c >= 128)
                candidate = false;
            else
                narrow.push_back(static_cast<char>(c));
        }
        if (candidate) {
            for (std::size_t i = narrow.size(); i < count && candidate; ++i)
                candidate = unit(i) != u'_';
        }
        if (candidate) {
            value = Utilities::convertStringToDouble(narrow.c_str(), false);
            if (!std::isnan(value))
                keyFlags |= Number;
        }
    }

    if (numbersOnly) {
        if (!(keyFlags & (Empty | Number)))
            return false;
        numbers.push_back(value);
        return true;
    }

    if (keyFlags & Number)
        append(&value, sizeof(double));
    if (!wide && count > 0 && pack(bytes, count)) {
        keyFlags |= Packed;
        append(packedScratch.data(), packedScratch.size());
    } else {
        append(bytes, count * (wide ? 2 : 1));
    }
    if (begins.empty())
        begins.push_back(0);
    // Offsets take four bytes a key until the arena passes 4 GiB, then eight.
    if (wideBegins.empty() && arenaSize > std::numeric_limits<std::uint32_t>::max()) {
        wideBegins.assign(begins.begin(), begins.end());
        std::vector<std::uint32_t>().swap(begins);
    }
    if (wideBegins.empty())
        begins.push_back(static_cast<std::uint32_t>(arenaSize));
    else
        wideBegins.push_back(arenaSize);
    flags.push_back(keyFlags);
    return true;
}

bool SortKeys::less(int ia, int ib, bool descending) const {
    if (numbersOnly) {
        const double a = numbers[static_cast<std::size_t>(ia)];
        const double b = numbers[static_cast<std::size_t>(ib)];
        // NaN is an empty key: last in ascending order, first in descending.
        if (std::isnan(a))
            return !std::isnan(b) && descending;
        if (std::isnan(b))
            return !descending;
        return a != b && (a < b) != descending;
    }
    return lessGeneral(static_cast<std::size_t>(ia), static_cast<std::size_t>(ib), descending);
}

bool SortKeys::lessGeneral(std::size_t ia, std::size_t ib, bool descending) const {
    const std::uint8_t fa = flags[ia];
    const std::uint8_t fb = flags[ib];
    // Two identical texts are never before one another. Only the branches where identical texts
    // could answer true look for that; the others give false for them by themselves.
    if (fa & Empty)
        return !(fb & Empty) && descending;
    if (fb & Empty)
        return !descending;
    const std::uint64_t beginA = beginOf(ia);
    const std::uint64_t beginB = beginOf(ib);
    const unsigned char* pa = arena + beginA;
    const unsigned char* pb = arena + beginB;
    if (fa & fb & Number) { // a zero-led key is never a number
        double a, b;
        std::memcpy(&a, pa, sizeof a);
        std::memcpy(&b, pb, sizeof b);
        return a != b && (a < b) != descending;
    }
    std::uint64_t lengthA = beginOf(ia + 1) - beginA;
    std::uint64_t lengthB = beginOf(ib + 1) - beginB;
    if (fa & Number) {
        pa += sizeof(double);
        lengthA -= sizeof(double);
    }
    if (fb & Number) {
        pb += sizeof(double);
        lengthB -= sizeof(double);
    }
    const bool zeroLed = (fa | fb) & ZeroLed;
    // Two packed keys that open with different words, neither led by a space, are ordered by
    // those words alone, as the comparison's first step would order them.
    if ((fa & fb & Packed) && !zeroLed && lengthA > 0 && lengthB > 0 && *pa != *pb && *pa < kDigitToken &&
        *pb < kDigitToken) {
        const std::string& wordA = runs[*pa];
        const std::string& wordB = runs[*pb];
        if (wordA[0] != ' ' && wordB[0] != ' ') {
            const auto* a = reinterpret_cast<const unsigned char*>(wordA.data());
            const auto* b = reinterpret_cast<const unsigned char*>(wordB.data());
            const int order = compareRuns(Units<false>{a, static_cast<std::uint32_t>(wordA.size())}, 0,
                                          static_cast<std::uint32_t>(wordA.size()),
                                          Units<false>{b, static_cast<std::uint32_t>(wordB.size())}, 0,
                                          static_cast<std::uint32_t>(wordB.size()));
            return (order < 0) != descending;
        }
    }
    // Packed keys are never wide, and unpack to at most kMaxPackedKey bytes.
    unsigned char textA[kMaxPackedKey];
    unsigned char textB[kMaxPackedKey];
    if (fa & Packed) {
        lengthA = unpack(pa, static_cast<std::size_t>(lengthA), textA);
        pa = textA;
    }
    if (fb & Packed) {
        lengthB = unpack(pb, static_cast<std::size_t>(lengthB), textB);
        pb = textB;
    }
    const auto run = [&](auto a, auto b) {
        return zeroLed ? lessZeroLed(a, b, descending) : lessTexts(a, b, descending);
    };
    const auto na = static_cast<std::uint32_t>(fa & Wide ? lengthA / 2 : lengthA);
    const auto nb = static_cast<std::uint32_t>(fb & Wide ? lengthB / 2 : lengthB);
    if (!((fa | fb) & Wide))
        return run(Units<false>{pa, na}, Units<false>{pb, nb});
    if ((fa & fb) & Wide)
        return run(Units<true>{pa, na}, Units<true>{pb, nb});
    if (fa & Wide)
        return run(Units<true>{pa, na}, Units<false>{pb, nb});
    return run(Units<false>{pa, na}, Units<true>{pb, nb});
}

// --- Sorting ---------------------------------------------------------------------------------

namespace Sorter {

void stableMergeSort(std::vector<int>& order, const std::function<bool(int, int)>& less,
                     const Progress& progress) {
    MergeSort<std::function<bool(int, int)>>(less, progress).run(order.data(), order.data() + order.size());
}

void stableMergeSort(std::vector<int>& order, const SortKeys& keys, bool descending,
                     const Progress& progress) {
    stableMergeSort(order.data(), order.data() + order.size(), keys, descending, progress);
}

void stableMergeSort(int* first, int* last, const SortKeys& keys, bool descending, const Progress& progress) {
    const auto less = [&keys, descending](int a, int b) { return keys.less(a, b, descending); };
    MergeSort<decltype(less)>(less, progress).run(first, last);
}

qint64 expectedComparisons(std::size_t count) {
    if (count < 2)
        return 1;
    const double n = static_cast<double>(count);
    return static_cast<qint64>(n * std::log2(n));
}

} // namespace Sorter
