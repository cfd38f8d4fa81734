#include "ipbase/unwrap/regions/connections.h"

#include <algorithm>

namespace KrN {

UnwrapConnections::UnwrapConnections(std::uint32_t treeCount) {
    // Areas on a pixel grid form a planar graph, which has fewer than three boundaries per area.
    const std::size_t atMost = std::size_t{3} * treeCount;
    mEntries.reserve(atMost);
    unsigned bits = 4;
    while ((std::size_t{1} << bits) < 2 * atMost) ++bits;
    mSlots.assign(std::size_t{1} << bits, kUnwrapNone);
    mSlotsPerSum = treeCount ? (std::uint64_t{256} << bits) / (2 * std::uint64_t{treeCount}) : 0;
}

// Neighbouring trees have numbers close to each other, so the sum of the numbers keeps what is joined at one place of
// the image together in memory; it also spreads the entries of a tree with many neighbours. The mixed low bits break up
// sums that happen to be equal.
std::size_t UnwrapConnections::Home(std::uint32_t from, std::uint32_t to) const {
    const std::uint64_t mixed = (std::uint64_t{from} << 32 | to) * 0x9E3779B97F4A7C15u;
    return (static_cast<std::size_t>((std::uint64_t{from} + to) * mSlotsPerSum >> 8) + (mixed >> 55)) &
           (mSlots.size() - 1);
}

// The slot of the entry between two trees, or the empty slot where it belongs.
std::size_t UnwrapConnections::Slot(std::uint32_t from, std::uint32_t to) const {
    std::size_t slot = Home(from, to);
    while (mSlots[slot] != kUnwrapNone) {
        const SrUnwrapNeighbour& e = mEntries[mSlots[slot]];
        if (e.from == from && e.to == to && e.pairCount) break;
        slot = (slot + 1) & (mSlots.size() - 1);
    }
    return slot;
}

void UnwrapConnections::AddPair(std::uint32_t from, std::uint32_t to, std::uint32_t quality, std::int32_t order,
                                std::uint32_t rank) {
    const std::size_t slot = Slot(from, to);
    std::uint32_t entry = mSlots[slot];
    const bool isNew = entry == kUnwrapNone;
    if (isNew) {
        entry = Count();
        mEntries.emplace_back();
        mEntries[entry].from = from;
        mEntries[entry].to = to;
        mEntries[entry].firstMet = rank;
    }
    SrUnwrapNeighbour& e = mEntries[entry];
    ++e.pairCount;
    e.qualitySum += quality;
    e.orderSum += static_cast<std::uint32_t>(order);
    e.firstMet = std::min(e.firstMet, rank);
    if (isNew) Enter(slot, entry);
}

std::uint32_t UnwrapConnections::Redirect(std::uint32_t entry, std::uint32_t from, std::uint32_t to) {
    const std::size_t slot = Slot(from, to);
    if (mSlots[slot] != kUnwrapNone) return mSlots[slot];
    mEntries[entry].from = from;
    mEntries[entry].to = to;
    Enter(slot, entry);
    return kUnwrapNone;
}

void UnwrapConnections::Enter(std::size_t slot, std::uint32_t entry) {
    mSlots[slot] = entry;
    if (++mUsed * 4 > mSlots.size() * 3) Rebuild();
}

// Keeps only what can still be found. There are never more live entries than boundaries, so that the table is at most
// half full afterwards and the next rebuilding is far away.
void UnwrapConnections::Rebuild() {
    std::fill(mSlots.begin(), mSlots.end(), kUnwrapNone);
    mUsed = 0;
    for (std::uint32_t entry = 0; entry < Count(); ++entry) {
        const SrUnwrapNeighbour& e = mEntries[entry];
        if (!e.pairCount) continue;
        mSlots[Slot(e.from, e.to)] = entry;
        ++mUsed;
    }
}

}  // namespace KrN
