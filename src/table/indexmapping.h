#pragma once

#include <vector>

// Mapping between raw indexes (the stored table) and model indexes (what is shown), given the
// sorted list of concealed raw indexes of one axis. Both directions are binary searches over
// that list alone: no table of the visible indexes exists, so an axis with millions of rows
// costs memory only for what is concealed.
namespace IndexMapping {

// Raw index of a model index; -1 for a negative one. A model index past the end maps past
// the raw end by the number of concealed entries.
int rawFromModel(const std::vector<int>& concealed, int model);

// Model index of a raw index; -1 for a negative one. A concealed index gives -1, or with
// `nearest` the first visible index after its run, and the last model index (at least 0)
// when the run reaches the end of the `numRaw` indexes.
int modelFromRaw(const std::vector<int>& concealed, int raw, bool nearest, int numRaw);

// Number of entries below `limit`.
int countBelow(const std::vector<int>& concealed, int limit);

bool contains(const std::vector<int>& concealed, int raw);

} // namespace IndexMapping
