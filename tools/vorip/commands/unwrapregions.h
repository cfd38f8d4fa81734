#pragma once

#include "tools/vorip/commands/runs.h"
#include "tools/vorip/commands/unwrapresult.h"
#include "tools/vorip/pictures/inputs.h"

namespace vorip {

// Unwraps with the region-based method, whose fringe orders are 8 bits wide: a component may span up to 255 periods,
// and is refused beyond.
UnwrappedSteps UnwrapByRegions(PhaseImage& phase, cv::Mat& quality, const UnwrapOptions& options);

}  // namespace vorip
