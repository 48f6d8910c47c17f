#pragma once

#include <QString>

#include <vector>

// The fuzzy match of the launcher: how well a typed query fits an option's text, and which
// characters of that text it took.
namespace Utilities {

// Scores `query` against `target`, ignoring case and spaces in both. Each run of adjacent
// characters is free; each gap of d >= 2 between matched characters costs 20 + 3 * d off
// 60 per query character. Of the candidates that begin at each occurrence of the first query
// character, the highest score wins, the earliest among equals. `positions` are indexes into
// `target` as given, spaces included. No match, or an empty query, leaves `score` at -1 and
// `positions` empty; a match can also score below 0, which callers treat as no match.
void fuzzySearchScoreAndMatch(int& score, std::vector<int>& positions, const QString& query,
                              const QString& target);

} // namespace Utilities
