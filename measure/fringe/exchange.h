#pragma once

#include "measure/fringe.h"

namespace measure {

// Two frames of a set, from 0; -1 for none.
struct FramePair {
    int a = -1, b = -1;
};

// The two frames whose exchange lowers the rms of the fit's residual the most, if that is more than a tenth, over some
// thousand usable pixels. Three frames fit in any order.
FramePair FindExchange(const FringeSet& set, const FringePhase& phase);

}  // namespace measure
