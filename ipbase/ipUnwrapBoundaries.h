#pragma once

#include <cstdint>

#include "ipbase/ipUnwrapConnections.h"

namespace KrN {

// Order difference and quality (at least 1) of two neighbouring pixels, given their phases and levels.
struct UnwrapPairQuality {
    std::int32_t order;
    std::uint32_t quality;
};
UnwrapPairQuality CalcOrderQual(std::uint16_t phase1, unsigned level1, std::uint16_t phase2, unsigned level2);

// Quality of a connection: its quality sum, weighted by how close the mean order difference is to a whole number, and
// damped when few pairs were seen.
float CalcConnectionQuality(std::uint32_t pairCount, std::uint32_t qualitySum, std::int32_t orderSum);

// Measures the boundaries between all areas; area n is tree n - 1. A boundary is recorded from the lower to the higher
// area number, and its order sum says how many periods the higher one lies above the lower one.
UnwrapConnections MeasureUnwrapBoundaries(const UnwrapPlanes& planes, std::uint32_t areaCount);

}  // namespace KrN
