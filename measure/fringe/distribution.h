#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "measure/fringe.h"

namespace measure {

// How much falls into each of equal parts of a period of the phase, -pi to pi.
constexpr int kBins = 1024;
using Distribution = std::array<std::uint32_t, kBins>;

// The phase of the usable pixels of some lines across the fringes, as far as these are whole periods: parts of a period
// at the borders of objects are no ripple.
struct PhaseDistribution {
    std::vector<Distribution> patches;  // of the image
    // Where the phase would be if it rose evenly within every period, for periods so short that the pixels alone may
    // make it uneven.
    Distribution even{};
    double periods = 0;  // of a line
};

// Periods of up to shortPeriod pixels count as short. Down: the fringes follow each other from row to row.
PhaseDistribution DistributePhase(const FringePhase& set, bool isDown, double shortPeriod, const Progress& progress);

}  // namespace measure
