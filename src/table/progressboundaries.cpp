#include "table/progressboundaries.h"

#include <algorithm>
#include <cmath>

ProgressBoundaries::ProgressBoundaries(std::vector<int> marks) : boundaries(std::move(marks)) {
    computePhaseRange(currentMin, currentMax);
}

void ProgressBoundaries::computePhaseRange(int& min, int& max) const {
    const int count = static_cast<int>(boundaries.size());
    if (currentIndex < 0 || currentIndex >= count) {
        min = 0;
        max = 100;
        return;
    }
    min = currentIndex == 0 ? 0 : boundaries[currentIndex - 1];
    max = boundaries[currentIndex];
}

void ProgressBoundaries::incrementIndex() {
    if (currentIndex < static_cast<int>(boundaries.size()))
        ++currentIndex;
    computePhaseRange(currentMin, currentMax);
}

void ProgressBoundaries::setCurrentMinMax(int current, int max) {
    int phaseMin = 0;
    int phaseMax = 100;
    computePhaseRange(phaseMin, phaseMax);
    if (max < 1) {
        currentMin = phaseMin;
        currentMax = phaseMax;
        return;
    }
    current = std::clamp(current, 0, max - 1);
    const double width = static_cast<double>(phaseMax - phaseMin) / max;
    currentMin = phaseMin + static_cast<int>(std::lround(width * current));
    currentMax = phaseMin + static_cast<int>(std::lround(width * (current + 1)));
}
