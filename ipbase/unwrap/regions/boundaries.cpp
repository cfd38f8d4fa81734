#include "ipbase/unwrap/regions/boundaries.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace KrN {
namespace {

class BoundaryScan {
public:
    BoundaryScan(const UnwrapPlanes& planes, const std::vector<std::uint32_t>& treeOfArea, UnwrapConnections& result)
        : mPlanes(planes), mTreeOfArea(treeOfArea), mResult(result) {}

    void AddPair(std::size_t p, std::size_t n, std::uint32_t rank) {
        const std::uint32_t a = mPlanes.area[p];
        const std::uint32_t b = mPlanes.area[n];
        if (!a || !b) return;
        const UnwrapPairQuality pair =
            CalcOrderQual(mPlanes.phase[p], mPlanes.quality[p], mPlanes.phase[n], mPlanes.quality[n]);
        const bool upwards = a < b;
        mResult.AddPair(mTreeOfArea[(upwards ? a : b) - 1], mTreeOfArea[(upwards ? b : a) - 1], pair.quality,
                        upwards ? pair.order : -pair.order, rank);
    }

private:
    const UnwrapPlanes& mPlanes;
    const std::vector<std::uint32_t>& mTreeOfArea;
    UnwrapConnections& mResult;
};

}  // namespace

UnwrapPairQuality CalcOrderQual(std::uint16_t phase1, unsigned level1, std::uint16_t phase2, unsigned level2) {
    const int d = static_cast<std::int16_t>(phase2 - phase1);
    const int e = static_cast<std::int16_t>(d > 0 ? d + 127 : d - 128);
    // The weight (127 - |residual|) / 128 enters squared; all of it is exact in integers. The residual is taken after
    // the shift by half a period, so pairs half a period apart weigh most.
    const int weight = 127 - std::abs(e % 256);
    const unsigned quality = (std::min(level1, level2) * static_cast<unsigned>(weight * weight)) >> 14;
    return {e / 256, std::max(quality, 1u)};
}

float CalcConnectionQuality(std::uint32_t pairCount, std::uint32_t qualitySum, std::int32_t orderSum) {
    static constexpr float kDamping[14] = {0.0f, 0.01f, 0.02f, 0.03f, 0.05f, 0.1f, 0.2f,
                                           0.3f, 0.4f,  0.5f,  0.6f,  0.7f,  0.8f, 0.9f};
    const double mean = static_cast<double>(orderSum) / pairCount;
    const auto a = static_cast<float>((0.5 - std::fabs(mean - std::trunc(mean))) * 2.0);
    float quality = a * a * a * a * static_cast<float>(qualitySum);
    if (pairCount < 14) quality *= kDamping[pairCount];
    return quality;
}

std::vector<std::uint32_t> NumberUnwrapTrees(const UnwrapPlanes& planes, std::uint32_t areaCount) {
    std::vector<std::uint32_t> treeOfArea(areaCount, areaCount < 2 ? 0 : kUnwrapNone);
    if (areaCount < 2) return treeOfArea;
    std::uint32_t count = 0;
    std::uint32_t last = 0;
    for (const std::uint32_t area : planes.area) {
        if (area == last) continue;
        last = area;
        if (area && treeOfArea[area - 1] == kUnwrapNone) treeOfArea[area - 1] = count++;
    }
    return treeOfArea;
}

// One pass in raster order measures horizontal and vertical pairs together. A list is ordered as if all horizontal
// pairs had been met first, by row, and then all vertical ones, by column; the rank of a pair is its place in there.
UnwrapConnections MeasureUnwrapBoundaries(const UnwrapPlanes& planes, const std::vector<std::uint32_t>& treeOfArea) {
    UnwrapConnections connections(static_cast<std::uint32_t>(treeOfArea.size()));
    if (treeOfArea.size() < 2) return connections;
    BoundaryScan scan(planes, treeOfArea, connections);
    const auto width = static_cast<std::uint32_t>(planes.width);
    const auto height = static_cast<std::uint32_t>(planes.height);
    for (std::uint32_t y = 0; y < height; ++y) {
        const std::size_t row = planes.Row(static_cast<int>(y));
        for (std::uint32_t x = 0; x < width; ++x) {
            const std::size_t p = row + x;
            const std::size_t below = p + planes.Stride();
            if (planes.area[p] != planes.area[p + 1]) scan.AddPair(p, p + 1, y * width + x);
            if (planes.area[p] != planes.area[below]) scan.AddPair(p, below, width * height + x * height + y);
        }
    }
    for (std::uint32_t i = 0; i < connections.Count(); ++i) {
        SrUnwrapNeighbour& e = connections[i];
        e.quality = CalcConnectionQuality(e.pairCount, e.qualitySum, static_cast<std::int32_t>(e.orderSum));
    }
    return connections;
}

}  // namespace KrN
