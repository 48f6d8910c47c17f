#include "table/indexmapping.h"

#include <algorithm>
#include <climits>

namespace IndexMapping {

int rawFromModel(const std::vector<int>& concealed, int model) {
    if (model < 0)
        return -1;
    // Entry k has k entries before it, so the model indexes just before it end at
    // concealed[k] - k, which never decreases with k. The answer is model + k for the first k
    // whose span lies past `model`. The search is written without branches in the loop: it
    // runs for every painted cell, and a mispredicted step costs more than the compare.
    if (concealed.empty())
        return model;
    const int* const base = concealed.data();
    const int* p = base;
    std::size_t length = concealed.size();
    auto before = [base, model](const int* q) { return static_cast<long long>(*q) - (q - base) <= model; };
    while (length > 1) {
        const std::size_t half = length / 2;
        // Both possible next middles, fetched ahead: on a long list each step is a cache miss.
        __builtin_prefetch(p + half / 2);
        __builtin_prefetch(p + half + half / 2);
        p = before(p + half) ? p + half : p;
        length -= half;
    }
    const long long first = (p - base) + (before(p) ? 1 : 0);
    return static_cast<int>(std::min<long long>(static_cast<long long>(model) + first, INT_MAX));
}

int modelFromRaw(const std::vector<int>& concealed, int raw, bool nearest, int numRaw) {
    if (raw < 0)
        return -1;
    const int before = countBelow(concealed, raw);
    if (before == static_cast<int>(concealed.size()) || concealed[static_cast<std::size_t>(before)] != raw)
        return raw - before;
    if (!nearest)
        return -1;
    // Inside a run of consecutive entries raw - position is constant, and it is also the
    // model index of the first visible index after the run.
    const int after = raw - before;
    // Entries past the raw end take nothing away, so this bound is safe without a search.
    if (after < numRaw - static_cast<int>(concealed.size()))
        return after;
    const int numModel = numRaw - countBelow(concealed, numRaw);
    return after < numModel ? after : std::max(0, numModel - 1);
}

int countBelow(const std::vector<int>& concealed, int limit) {
    // A lower bound without branches in the loop, as above.
    if (concealed.empty())
        return 0;
    const int* p = concealed.data();
    std::size_t length = concealed.size();
    while (length > 1) {
        const std::size_t half = length / 2;
        __builtin_prefetch(p + half / 2);
        __builtin_prefetch(p + half + half / 2);
        p = p[half] < limit ? p + half : p;
        length -= half;
    }
    return static_cast<int>(p - concealed.data()) + (*p < limit ? 1 : 0);
}

bool contains(const std::vector<int>& concealed, int raw) {
    return std::binary_search(concealed.begin(), concealed.end(), raw);
}

} // namespace IndexMapping
