#pragma once

#include "measure/absolute/decodestate.h"

namespace measure {

// Where too few periods are in view for any set to tell its ripple, sets of the same shifts tell it together: it is the
// one after whose correction their phases fit to each other best. Corrects the phases when that is a clear gain.
void CorrectSharedRipple(DecodeState& state);

}  // namespace measure
