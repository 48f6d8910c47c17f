#pragma once

#include <QString>
#include <QStringView>

#include <cstdint>
#include <exception>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

// Ends a sort from inside its comparison when the user cancels.
class SortCanceledException : public std::exception {
public:
    const char* what() const noexcept override { return "Sort operation cancelled by user"; }
};

// The keys of one sort, each analysed once (empty, zero-led, numeric value), held compactly: one
// byte of flags and four of offset a key, and one arena of text, one byte a code unit where every
// unit of the key is below 256 and two otherwise, behind the key's value if it is a number. Keys
// made of a few recurring words and runs of digits ("IMG_845.png") are packed to about half: a
// byte names each word, digits go two to a byte. A column of numbers alone keeps nothing but the values.
// less() gives for every pair exactly what Utilities::qStringCompare gives for the same two texts, at a
// fraction of the cost, so a sort over these keys yields the same permutation as one over the texts.
class SortKeys {
public:
    // With `numbersOnly`, the keys must all be numbers that compare by value, or empty: add()
    // refuses the first other one, and the caller starts over without.
    explicit SortKeys(bool numbersOnly = false);
    ~SortKeys();
    SortKeys(const SortKeys&) = delete;
    SortKeys& operator=(const SortKeys&) = delete;

    void reserve(std::size_t count);
    // Keys are compared as given: fold case before adding for a case-insensitive sort. False
    // only when a numbers-only set refuses the key.
    bool add(QStringView key);
    // A key whose code units are these bytes (below 256 each, as in ASCII or Latin-1 text).
    bool addLatin1(std::string_view key);
    // A key that never takes part in a comparison (a header line's), taken by any set.
    void addPlaceholder();
    std::size_t size() const { return numbersOnly ? numbers.size() : flags.size(); }
    bool isNumbersOnly() const { return numbersOnly; }
    bool less(int a, int b, bool descending) const;
    // Puts key source[i] at place i (a permutation of the keys), so that a sort over lines in
    // another order than the keys were read in walks them front to back. Holds both sets for
    // the while.
    void permute(const std::vector<int>& source);
    // Gives all memory back; the set is empty and may be filled again.
    void clear();
    // Bytes held, for measuring.
    std::size_t memoryBytes() const;

private:
    enum Flag : std::uint8_t {
        Empty = 1,
        ZeroLed = 2,
        Number = 4,
        Wide = 8,
        Packed = 16, // the text is held as tokens, see pack()
    };
    // Transparent, so that a run is looked up without a string made for it.
    struct RunHash {
        using is_transparent = void;
        std::size_t operator()(std::string_view s) const { return std::hash<std::string_view>{}(s); }
    };
    bool addUnits(const void* units, std::size_t count, bool wide);
    void append(const void* bytes, std::size_t length);
    std::uint64_t beginOf(std::size_t key) const {
        return wideBegins.empty() ? begins[key] : wideBegins[key];
    }
    bool lessGeneral(std::size_t a, std::size_t b, bool descending) const;
    bool pack(const unsigned char* bytes, std::size_t count);
    std::size_t unpack(const unsigned char* packed, std::size_t length, unsigned char* out) const;

    bool numbersOnly;
    std::vector<double> numbers;           // numbers-only: the values; NaN for an empty key
    std::vector<std::uint8_t> flags;       // the rest: one set of flags a key,
    std::vector<std::uint32_t> begins;     // where each key starts in the arena, and where it ends
    std::vector<std::uint64_t> wideBegins; // the same once the arena outgrows 32-bit offsets
    unsigned char* arena = nullptr;        // grown by realloc: large blocks move without a copy
    std::size_t arenaSize = 0;
    std::size_t arenaCapacity = 0;
    std::vector<char> scratch; // of add()
    // Runs of text without digits that packed keys name by number (the first 240 distinct).
    std::vector<std::string> runs;
    std::unordered_map<std::string, std::uint8_t, RunHash, std::equal_to<>> runIds;
    std::string packedScratch; // of pack()
};

namespace Sorter {

// Called every so many comparisons with the count so far; returns false to cancel.
using Progress = std::function<bool(qint64 done)>;

// The order of `order` (indexes into whatever `less` compares) by a stable merge sort. Progress
// is asked every few thousand comparisons; a false answer throws SortCanceledException. The
// algorithm is fixed so that two comparators that agree on every pair give the same permutation,
// even where they are no strict weak order.
void stableMergeSort(std::vector<int>& order, const std::function<bool(int, int)>& less,
                     const Progress& progress = {});

// The same with the analysed keys, without a call through std::function per comparison.
void stableMergeSort(std::vector<int>& order, const SortKeys& keys, bool descending,
                     const Progress& progress = {});
// Only the indexes in [first, last).
void stableMergeSort(int* first, int* last, const SortKeys& keys, bool descending,
                     const Progress& progress = {});

// The estimate of comparisons that progress fractions are taken of: n log2 n.
qint64 expectedComparisons(std::size_t count);

} // namespace Sorter
