#pragma once

#include <vector>

#include "measure/fringe/phaserows.h"

namespace measure {

// What each frame adds to the fit. Throws InputError for shifts that do not determine the phase.
std::vector<rows::Weights> SolveWeights(const std::vector<double>& shifts);

}  // namespace measure
