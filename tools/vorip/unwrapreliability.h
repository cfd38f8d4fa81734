#pragma once

#include "tools/vorip/inputs.h"
#include "tools/vorip/unwrapresult.h"

namespace vorip {

// Unwraps with the reliability-sorting method. Components are the connected groups of usable pixels; those of fewer
// than minGroup pixels are invalid. The phase becomes 0 at `zero` when that is given; `zeroName` is how messages call
// it. The result is of no use when the flag was raised meanwhile.
UnwrapResult UnwrapByReliability(PhaseImage& phase, std::uint32_t minGroup, const std::optional<Pair<int>>& zero,
                                 const std::string& zeroName, int* abortFlag);

}  // namespace vorip
