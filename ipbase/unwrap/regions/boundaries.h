#pragma once

#include <cstdint>
#include <vector>

#include "ipbase/unwrap/regions/connections.h"

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

// Numbers the trees of the areas, counted from 0, in raster order: neighbours get numbers close to each other, which
// keeps the memory accesses of measuring and joining close together.
std::vector<std::uint32_t> NumberUnwrapTrees(const UnwrapPlanes& planes, std::uint32_t areaCount);

// Measures the boundaries between all areas; area n is tree treeOfArea[n - 1]. A boundary is recorded from the lower to
// the higher area number, and its order sum says how many periods the higher one lies above the lower one.
UnwrapConnections MeasureUnwrapBoundaries(const UnwrapPlanes& planes, const std::vector<std::uint32_t>& treeOfArea);

}  // namespace KrN
