#pragma once

#include <vector>

#include "measure/fringe.h"

namespace measure {

using Levels = std::vector<double>;  // of one pixel in all frames

// The levels of about so many usable pixels, evenly spread, without a rhythm that fringes could have.
std::vector<Levels> SampleLevels(const FringeSet& set, const FringePhase& phase, int count = 5000);

// Two frames of a set, from 0; -1 for none.
struct FramePair {
    int a = -1, b = -1;
};

// The two frames whose exchange lowers the rms of the fit's residual over these pixels the most, if that is more than a
// tenth. Three frames fit in any order.
FramePair FindExchange(const std::vector<double>& shifts, std::vector<Levels> pixels);

// Two frames that show the same, beside noise, although their shifts differ: the projector did not go on.
FramePair FindAlike(const std::vector<double>& shifts, const std::vector<Levels>& pixels, double noise);

}  // namespace measure
