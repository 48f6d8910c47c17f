#pragma once

#include <QString>
#include <QStringView>

#include <cstdint>
#include <exception>
#include <functional>
#include <vector>

// Ends a sort from inside its comparison when the user cancels.
class SortCanceledException : public std::exception {
public:
    const char* what() const noexcept override { return "Sort operation cancelled by user"; }
};

// The keys of one sort, each analysed once: empty, zero-led, numeric value, leading spaces and
// the runs of digits and of text. less() gives for every pair exactly what
// Utilities::qStringCompare gives for the same two texts, at a fraction of the cost, so a sort
// over these keys yields the same permutation as one over the texts.
class SortKeys {
public:
    void reserve(std::size_t count, std::size_t textUnits);
    // Keys are compared as given: fold case before adding for a case-insensitive sort.
    void add(QStringView key);
    std::size_t size() const { return keys.size(); }
    bool less(int a, int b, bool descending) const;
    void clear();

private:
    enum Flag : std::uint8_t {
        Empty = 1,
        ZeroLed = 2,
        Number = 4,
        StartsWithNumber = 8,
    };
    struct Key {
        std::uint64_t textBegin = 0;
        std::uint32_t textLength = 0;
        std::uint32_t spaces = 0;
        std::uint64_t partsBegin = 0;
        std::uint32_t partCount = 0;
        std::uint8_t flags = 0;
        double number = 0.0;
    };
    // A run of digits keeps its value, a run of text where it stands in its key's text. Which of
    // the two a run is follows from its place and the key's StartsWithNumber.
    union Part {
        qint64 value;
        struct {
            std::uint32_t begin;
            std::uint32_t length;
        } text;
    };
    QStringView view(const Key& key) const {
        return QStringView(text.data() + key.textBegin, static_cast<qsizetype>(key.textLength));
    }
    QStringView partView(const Key& key, const Part& part) const {
        return QStringView(text.data() + key.textBegin + part.text.begin,
                           static_cast<qsizetype>(part.text.length));
    }

    std::vector<Key> keys;
    std::vector<Part> parts;
    std::vector<char16_t> text;
    std::vector<char> narrow; // scratch of add()
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

// The estimate of comparisons that progress fractions are taken of: n log2 n.
qint64 expectedComparisons(std::size_t count);

} // namespace Sorter
