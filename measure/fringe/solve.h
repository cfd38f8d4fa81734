#pragma once

#include <vector>

#include "measure/fringe.h"
#include "measure/fringe/phaserows.h"

namespace measure {

// What each frame adds to the fit. Throws InputError for shifts that do not determine the phase.
std::vector<rows::Weights> SolveWeights(const std::vector<double>& shifts);

// SolveFringes but for the image of the mean, which stays empty: Means tells it where it is needed.
FringePhase SolveWithoutMean(const FringeSet& set, const FringeLimits& limits, const Progress& progress);

}  // namespace measure
