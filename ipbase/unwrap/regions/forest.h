#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "ipbase/unwrap/regions/planes.h"

namespace KrN {

// A node of a connection tree. Leaf i stands for area i + 1; parents stand behind their children.
struct SrUnwrapNode {
    std::uint32_t firstChild = kUnwrapNone;
    std::uint32_t secondChild = kUnwrapNone;
    std::uint32_t parent = kUnwrapNone;
    std::int32_t orderOffset = 0;  // in periods, relative to the parent
};

// The connection trees of all areas in one array, linked by index, so that they are copied and freed as a whole and
// most walks are a single pass up or down the array.
class UnwrapForest {
public:
    UnwrapForest() = default;
    // One tree per area, in area order.
    explicit UnwrapForest(std::uint32_t areaCount);

    // Joins two trees under a new root, which is returned; the first one is raised by `orderOffset` periods.
    std::uint32_t Join(std::uint32_t first, std::uint32_t second, std::int32_t orderOffset);

    const std::vector<std::uint32_t>& Roots() const { return mRoots; }
    void SetRoots(std::vector<std::uint32_t> roots) { mRoots = std::move(roots); }
    void RemoveRoot(std::uint32_t root);

    // Root of the tree that an area (counted from 0) is in, and the areas of a tree.
    std::uint32_t RootOf(std::uint32_t area) const;
    std::vector<std::uint32_t> AreasOf(std::uint32_t root) const;

    // Per node: its root. Per area: the place of its tree among the roots, counted from 1, or 0 when the root was
    // removed.
    std::vector<std::uint32_t> NodeRoots() const;
    std::vector<std::uint32_t> ComponentOfAreas() const;

    // Per area: the sum of the offsets up to its root, shifted by one value per tree: so that the smallest and the
    // largest lie around 0, or (liftMinimum) so that the smallest is 0.
    std::vector<std::int16_t> Corrections(bool liftMinimum) const;

private:
    std::vector<SrUnwrapNode> mNodes;
    std::vector<std::uint32_t> mRoots;
    std::uint32_t mAreaCount = 0;
};

}  // namespace KrN
