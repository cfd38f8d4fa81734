#pragma once

#include "measure/fringe.h"

namespace measure {

// Throws InputError unless the harmonics of a ripple have finite amplitudes.
void RequireRipple(const Ripple& ripple);
// Also when it is worth correcting and was estimated on fringes of other shifts.
void RequireRippleOf(const Ripple& ripple, const std::vector<double>& shifts);

}  // namespace measure
