#pragma once

#include "benchutil.h"

#include <vector>

// Measures the editor pane showing a main cell of `cellBytes` bytes; false on failure.
bool runEditPaneBench(const BenchUtil::ScratchFile& scratch, qint64 cellBytes,
                      std::vector<BenchUtil::Figure>& figures);
