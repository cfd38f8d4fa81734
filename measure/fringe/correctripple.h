#pragma once

#include "measure/fringe.h"
#include "measure/fringe/means.h"

namespace measure {

// CorrectRipple for a phase without an image of the mean.
void CorrectRipple(FringePhase& phase, const Means& means, const Ripple& ripple, const Progress& progress = {});

}  // namespace measure
