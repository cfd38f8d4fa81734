#pragma once

#include <cstdint>
#include <vector>

#include "ipbase/unwrap/regions/planes.h"

namespace KrN {

// A candidate connection from one tree of areas to another, with the links of the structures that it stands in.
struct SrUnwrapNeighbour {
    std::uint32_t from = 0;
    std::uint32_t to = 0;
    std::uint32_t pairCount = 0;   // boundary pixel pairs seen; 0 when the entry has been dropped
    std::uint32_t qualitySum = 0;  // of the pairs
    std::uint32_t orderSum = 0;    // of the pairs' order differences, modulo 2^32
    std::uint32_t firstMet = 0;    // rank of the first pair in the order of the boundary scan
    float quality = 0.0f;

    std::uint32_t nextOut = kUnwrapNone;  // next entry of `from`
    std::uint32_t nextIn = kUnwrapNone;   // next entry that leads to `to`
    std::uint32_t heapChild = kUnwrapNone;
    std::uint32_t heapNext = kUnwrapNone;
    std::uint32_t heapPrev = kUnwrapNone;  // left sibling, or the parent of a first child
};

// All connections, found by the two trees that they lead from and to.
class UnwrapConnections {
public:
    explicit UnwrapConnections(std::uint32_t treeCount);

    std::uint32_t Count() const { return static_cast<std::uint32_t>(mEntries.size()); }
    SrUnwrapNeighbour& operator[](std::uint32_t entry) { return mEntries[entry]; }
    const SrUnwrapNeighbour& operator[](std::uint32_t entry) const { return mEntries[entry]; }

    // Adds one boundary pair.
    void AddPair(std::uint32_t from, std::uint32_t to, std::uint32_t quality, std::int32_t order, std::uint32_t rank);

    // Lets an entry lead between two other trees. When another entry does so already, that one is returned and nothing
    // changes; otherwise kUnwrapNone is returned.
    std::uint32_t Redirect(std::uint32_t entry, std::uint32_t from, std::uint32_t to);

private:
    std::size_t Home(std::uint32_t from, std::uint32_t to) const;
    std::size_t Slot(std::uint32_t from, std::uint32_t to) const;
    void Enter(std::size_t slot, std::uint32_t entry);
    void Rebuild();

    std::vector<SrUnwrapNeighbour> mEntries;
    // Open addressing. A redirected or dropped entry stays in its old slot, where no search can match it any more,
    // because trees that have been joined into another are never asked for again.
    std::vector<std::uint32_t> mSlots;
    std::size_t mUsed = 0;
    std::uint64_t mSlotsPerSum = 0;  // times 256
};

}  // namespace KrN
