#pragma once

#include "measure/fringe.h"
#include "measure/fringe/harmonicrows.h"

namespace measure {

// What takes the swing of the modulation off that the harmonics of a ripple leave beside that of the phase, for equal
// steps: 1 / |1 + u e^(-i N phase)|, of the corrected phase.
rows::Gain GainOf(const Ripple& ripple);

}  // namespace measure
