#include "storage/editabledatacontainer.h"

namespace {

// Whether `map` sends 0..n-1 onto 0..n-1, each once.
bool isPermutation(const std::vector<int>& map) {
    std::vector<bool> seen(map.size());
    for (const int target : map) {
        if (target < 0 || static_cast<std::size_t>(target) >= map.size() ||
            seen[static_cast<std::size_t>(target)])
            return false;
        seen[static_cast<std::size_t>(target)] = true;
    }
    return true;
}

} // namespace

bool EditableDataContainer::reorderRows(const std::vector<int>& map) {
    if (!isPermutation(map) || static_cast<int>(map.size()) > std::max(numRowsLogical, numRowsPhysical()))
        return false;
    // Rows past the stored ones are empty; give them places so that rows can move there.
    if (rows.size() < map.size())
        rows.resize(map.size());
    // Each cycle of the permutation is walked once, carrying one row along.
    std::vector<bool> placed(map.size());
    for (std::size_t start = 0; start < map.size(); ++start) {
        if (placed[start] || static_cast<std::size_t>(map[start]) == start)
            continue;
        PackedRow held = std::move(rows[start]);
        std::size_t current = start;
        do {
            const auto target = static_cast<std::size_t>(map[current]);
            std::swap(held, rows[target]);
            placed[target] = true;
            current = target;
        } while (current != start);
    }
    while (!rows.empty() && rows.back().size() == 0 && static_cast<int>(rows.size()) > numRowsLogical)
        rows.pop_back();
    return true;
}

bool EditableDataContainer::reorderCols(const std::vector<int>& map) {
    if (!isPermutation(map) || static_cast<int>(map.size()) > numColsLogical)
        return false;
    std::vector<std::string_view> moved;
    for (std::size_t i = 0; i < rows.size(); ++i) {
        rowPassed(i, rows.size());
        PackedRow& row = rows[i];
        const int width = row.size();
        if (width == 0)
            continue;
        row.views(scratchViews);
        moved.assign(map.size(), std::string_view());
        for (int c = 0; c < width && static_cast<std::size_t>(c) < map.size(); ++c)
            moved[static_cast<std::size_t>(map[static_cast<std::size_t>(c)])] =
                scratchViews[static_cast<std::size_t>(c)];
        // Cells past the map stay where they are.
        for (int c = static_cast<int>(map.size()); c < width; ++c)
            moved.push_back(scratchViews[static_cast<std::size_t>(c)]);
        while (!moved.empty() && moved.back().empty())
            moved.pop_back();
        row = PackedRow::fromCells(moved);
    }
    return true;
}
