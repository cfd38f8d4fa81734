#pragma once

#include "measure/absolute/decodestate.h"

namespace measure {

// Where too few periods are in view for some sets, or all, to tell their ripple, sets of the same shifts tell it
// together: it is the one after whose correction their phases fit to each other best. A set that has taken that of a
// finer one may have more of it, since a projector that is not sharp makes sines of fine fringes. Corrects the phases
// when that is a clear gain; whether it is.
bool CorrectSharedRipple(DecodeState& state);

}  // namespace measure
