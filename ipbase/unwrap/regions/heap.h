#pragma once

#include <cstdint>
#include <vector>

#include "ipbase/unwrap/regions/connections.h"

namespace KrN {

// A pairing heap of the connections that lead away from one tree: the best one on top, among equals the one that the
// boundary scan met first. The links stand in the connections; a heap is known by its top entry.
class UnwrapHeap {
public:
    explicit UnwrapHeap(UnwrapConnections& connections) : mEntries(connections) {}

    // Each returns the new top. Insert takes an entry that is in no heap.
    std::uint32_t Insert(std::uint32_t top, std::uint32_t entry);
    std::uint32_t Remove(std::uint32_t top, std::uint32_t entry);

private:
    std::uint32_t Meld(std::uint32_t a, std::uint32_t b);
    std::uint32_t MeldChildren(std::uint32_t parent);

    UnwrapConnections& mEntries;
};

// Keeps the best of a fixed number of values while they change; among equals the first one is the best. A tree of
// groups that fill a cache line each.
class UnwrapTournament {
public:
    explicit UnwrapTournament(std::uint32_t count);
    float Best() const { return GroupBest(mLevels.back(), 0); }
    std::uint32_t BestIndex() const;
    void Set(std::uint32_t index, float value);

private:
    static constexpr std::size_t kGroup = 16;
    using Level = std::vector<float>;
    static float GroupBest(const Level& level, std::size_t group);

    std::vector<Level> mLevels;  // the values first, then the bests of the groups below, up to a single group
};

}  // namespace KrN
