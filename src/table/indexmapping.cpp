#include "table/indexmapping.h"

#include <algorithm>
#include <climits>

namespace IndexMapping {

int rawFromModel(const std::vector<int>& concealed, int model)
{
    if (model < 0)
        return -1;
    // Entry k has k entries before it, so the model indexes just before it end at
    // concealed[k] - k. The answer is model + k for the first k whose span lies past model.
    std::size_t low = 0;
    std::size_t high = concealed.size();
    while (low < high) {
        const std::size_t mid = low + (high - low) / 2;
        if (static_cast<long long>(concealed[mid]) - static_cast<long long>(mid) > model)
            high = mid;
        else
            low = mid + 1;
    }
    return static_cast<int>(std::min<long long>(static_cast<long long>(model) + static_cast<long long>(low), INT_MAX));
}

int modelFromRaw(const std::vector<int>& concealed, int raw, bool nearest, int numRaw)
{
    if (raw < 0)
        return -1;
    const auto it = std::lower_bound(concealed.begin(), concealed.end(), raw);
    const int before = static_cast<int>(it - concealed.begin());
    if (it == concealed.end() || *it != raw)
        return raw - before;
    if (!nearest)
        return -1;
    // Inside a run of consecutive entries raw - position is constant, and it is also the
    // model index of the first visible index after the run.
    const int numModel = numRaw - countBelow(concealed, numRaw);
    const int after = raw - before;
    return after < numModel ? after : std::max(0, numModel - 1);
}

int countBelow(const std::vector<int>& concealed, int limit)
{
    return static_cast<int>(std::lower_bound(concealed.begin(), concealed.end(), limit) - concealed.begin());
}

bool contains(const std::vector<int>& concealed, int raw)
{
    return std::binary_search(concealed.begin(), concealed.end(), raw);
}

} // namespace IndexMapping
