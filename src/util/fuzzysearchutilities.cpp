#include "util/fuzzysearchutilities.h"

#include <algorithm>

namespace Utilities {

namespace {

constexpr int kScorePerCharacter = 60;
constexpr int kGapBase = 20;
constexpr int kGapPerStep = 3;

} // namespace

void fuzzySearchScoreAndMatch(int& score, std::vector<int>& positions, const QString& query,
                              const QString& target) {
    score = -1;
    positions.clear();

    // The target without spaces, folded, with the index each character had in `target`.
    std::vector<char16_t> folded;
    std::vector<int> original;
    folded.reserve(static_cast<size_t>(target.size()));
    original.reserve(static_cast<size_t>(target.size()));
    for (qsizetype i = 0; i < target.size(); ++i) {
        const QChar c = target.at(i);
        if (c == QLatin1Char(' '))
            continue;
        folded.push_back(c.toCaseFolded().unicode());
        original.push_back(static_cast<int>(i));
    }
    std::vector<char16_t> needle;
    needle.reserve(static_cast<size_t>(query.size()));
    for (const QChar c : query) {
        if (c != QLatin1Char(' '))
            needle.push_back(c.toCaseFolded().unicode());
    }
    if (needle.empty())
        return;

    // Every place of each query character in the target, in order.
    std::vector<std::vector<int>> places(needle.size());
    for (size_t q = 0; q < needle.size(); ++q) {
        for (size_t t = 0; t < folded.size(); ++t) {
            if (folded[t] == needle[q])
                places[q].push_back(static_cast<int>(t));
        }
        if (places[q].empty())
            return;
    }

    const int full = kScorePerCharacter * static_cast<int>(needle.size());
    bool found = false;
    int bestScore = 0;
    std::vector<int> candidate(needle.size());
    std::vector<int> best;
    for (const int start : places[0]) {
        candidate[0] = start;
        bool complete = true;
        int candidateScore = full;
        for (size_t q = 1; q < needle.size(); ++q) {
            const std::vector<int>& list = places[q];
            const auto next = std::upper_bound(list.begin(), list.end(), candidate[q - 1]);
            if (next == list.end()) {
                complete = false;
                break;
            }
            candidate[q] = *next;
            const int distance = candidate[q] - candidate[q - 1];
            if (distance >= 2)
                candidateScore -= kGapBase + kGapPerStep * distance;
        }
        // A start with no complete match leaves none for any later start either.
        if (!complete)
            break;
        if (!found || candidateScore > bestScore) {
            found = true;
            bestScore = candidateScore;
            best = candidate;
        }
    }
    if (!found)
        return;

    score = bestScore;
    positions.reserve(best.size());
    for (const int p : best)
        positions.push_back(original[static_cast<size_t>(p)]);
}

} // namespace Utilities
