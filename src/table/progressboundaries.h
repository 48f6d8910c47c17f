#pragma once

#include <vector>

// Cuts one long operation into phases of a progress bar. The marks are percentages: phase i
// runs from mark i-1 (0 for the first phase) to mark i. Past the last mark the whole bar,
// 0 to 100, is the range.
class ProgressBoundaries {
public:
    ProgressBoundaries() = default;
    explicit ProgressBoundaries(std::vector<int> marks);

    // Moves on to the next phase.
    void incrementIndex();
    // Narrows the range to item `current` of `max` equal parts of the current phase, for work
    // nested inside it. A `max` below 1 restores the whole phase.
    void setCurrentMinMax(int current, int max);

    int getCurrentIndex() const { return currentIndex; }
    int getCurrentMin() const { return currentMin; }
    int getCurrentMax() const { return currentMax; }

private:
    void computePhaseRange(int& min, int& max) const;

    std::vector<int> boundaries;
    int currentIndex = 0;
    int currentMin = 0;
    int currentMax = 100;
};
