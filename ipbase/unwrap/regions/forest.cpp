#include "ipbase/unwrap/regions/forest.h"

#include <algorithm>
#include <numeric>

namespace KrN {

UnwrapForest::UnwrapForest(std::uint32_t areaCount) : mNodes(areaCount), mRoots(areaCount), mAreaCount(areaCount) {
    std::iota(mRoots.begin(), mRoots.end(), 0u);
    mNodes.reserve(std::size_t{2} * areaCount);
}

std::uint32_t UnwrapForest::Join(std::uint32_t first, std::uint32_t second, std::int32_t orderOffset) {
    const auto root = static_cast<std::uint32_t>(mNodes.size());
    mNodes.push_back({first, second, kUnwrapNone, 0});
    mNodes[first].parent = mNodes[second].parent = root;
    mNodes[first].orderOffset = orderOffset;
    return root;
}

void UnwrapForest::RemoveRoot(std::uint32_t root) {
    mRoots.erase(std::remove(mRoots.begin(), mRoots.end(), root), mRoots.end());
}

std::uint32_t UnwrapForest::RootOf(std::uint32_t area) const {
    std::uint32_t node = area;
    while (mNodes[node].parent != kUnwrapNone) node = mNodes[node].parent;
    return node;
}

std::vector<std::uint32_t> UnwrapForest::AreasOf(std::uint32_t root) const {
    std::vector<std::uint32_t> areas;
    std::vector<std::uint32_t> stack{root};
    while (!stack.empty()) {
        const std::uint32_t node = stack.back();
        stack.pop_back();
        if (node < mAreaCount) {
            areas.push_back(node);
        } else {
            stack.push_back(mNodes[node].firstChild);
            stack.push_back(mNodes[node].secondChild);
        }
    }
    return areas;
}

std::vector<std::uint32_t> UnwrapForest::NodeRoots() const {
    std::vector<std::uint32_t> roots(mNodes.size());
    for (std::size_t i = mNodes.size(); i-- > 0;)
        roots[i] = mNodes[i].parent == kUnwrapNone ? static_cast<std::uint32_t>(i) : roots[mNodes[i].parent];
    return roots;
}

std::vector<std::uint32_t> UnwrapForest::ComponentOfAreas() const {
    std::vector<std::uint32_t> component(mNodes.size());
    for (std::size_t i = 0; i < mRoots.size(); ++i) component[mRoots[i]] = static_cast<std::uint32_t>(i) + 1;
    for (std::size_t i = mNodes.size(); i-- > 0;)
        if (mNodes[i].parent != kUnwrapNone) component[i] = component[mNodes[i].parent];
    component.resize(mAreaCount);
    return component;
}

std::vector<std::int16_t> UnwrapForest::Corrections(bool liftMinimum) const {
    struct Extremes {
        std::int16_t minimum = 32767;
        std::int16_t maximum = -32768;
    };
    // Offsets add up modulo 2^16 in any case: only their low bytes reach the phase.
    std::vector<std::uint16_t> value(mNodes.size());
    for (std::size_t i = mNodes.size(); i-- > 0;) {
        const SrUnwrapNode& node = mNodes[i];
        if (node.parent != kUnwrapNone) value[i] = static_cast<std::uint16_t>(value[node.parent] + node.orderOffset);
    }
    const std::vector<std::uint32_t> roots = NodeRoots();
    std::vector<Extremes> extremes(mNodes.size());
    for (std::uint32_t area = 0; area < mAreaCount; ++area) {
        Extremes& e = extremes[roots[area]];
        e.minimum = std::min(e.minimum, static_cast<std::int16_t>(value[area]));
        e.maximum = std::max(e.maximum, static_cast<std::int16_t>(value[area]));
    }
    std::vector<std::int16_t> corrections(mAreaCount);
    for (std::uint32_t area = 0; area < mAreaCount; ++area) {
        const Extremes& e = extremes[roots[area]];
        const int shift = liftMinimum ? -e.minimum : -((e.minimum + e.maximum) / 2);
        corrections[area] = static_cast<std::int16_t>(static_cast<std::int16_t>(value[area]) + shift);
    }
    return corrections;
}

}  // namespace KrN
