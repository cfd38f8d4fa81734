#pragma once

#include <string>

#include "measure/fringe.h"

namespace measure {

// Throws InputError, with the likely right number, where many pixels are clearly brighter than the full scale of
// `phase`.
void RequireFullScale(const FringeSet& set, const FringePhase& phase);

// The grey level, below that of saturation, at which the brightest usable pixels heap up; 0 where they do not.
double FindClipLevel(const FringeSet& set, const FringePhase& phase);
std::string ClipText(double level, double fullScale);

}  // namespace measure
