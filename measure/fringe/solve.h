#pragma once

#include "measure/fringe.h"

namespace measure {

// SolveFringes but for the image of the mean, which stays empty: Means tells it where it is needed.
FringePhase SolveWithoutMean(const FringeSet& set, const FringeLimits& limits, const Progress& progress);

}  // namespace measure
