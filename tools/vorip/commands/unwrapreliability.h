#pragma once

#include "tools/vorip/commands/unwrapresult.h"
#include "tools/vorip/pictures/inputs.h"

namespace vorip {

// Unwraps with the reliability-sorting method. Components are the connected groups of usable pixels; those of fewer
// than minGroup pixels are invalid. The result is of no use when the flag was raised meanwhile.
UnwrappedSteps UnwrapByReliability(PhaseImage& phase, std::uint32_t minGroup, int* abortFlag);

}  // namespace vorip
