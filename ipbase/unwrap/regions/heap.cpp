#include "ipbase/unwrap/regions/heap.h"

#include <algorithm>
#include <utility>

namespace KrN {

std::uint32_t UnwrapHeap::Insert(std::uint32_t top, std::uint32_t entry) {
    SrUnwrapNeighbour& e = mEntries[entry];
    e.heapChild = e.heapNext = e.heapPrev = kUnwrapNone;
    return top == kUnwrapNone ? entry : Meld(top, entry);
}

std::uint32_t UnwrapHeap::Remove(std::uint32_t top, std::uint32_t entry) {
    const std::uint32_t below = MeldChildren(entry);
    if (entry == top) return below;
    const SrUnwrapNeighbour& e = mEntries[entry];
    SrUnwrapNeighbour& prev = mEntries[e.heapPrev];
    (prev.heapChild == entry ? prev.heapChild : prev.heapNext) = e.heapNext;
    if (e.heapNext != kUnwrapNone) mEntries[e.heapNext].heapPrev = e.heapPrev;
    return below == kUnwrapNone ? top : Meld(top, below);
}

// Joins two heaps; the siblings of their tops are not looked at.
std::uint32_t UnwrapHeap::Meld(std::uint32_t a, std::uint32_t b) {
    const SrUnwrapNeighbour& ea = mEntries[a];
    const SrUnwrapNeighbour& eb = mEntries[b];
    if (eb.quality > ea.quality || (eb.quality == ea.quality && eb.firstMet < ea.firstMet)) std::swap(a, b);
    SrUnwrapNeighbour& parent = mEntries[a];
    SrUnwrapNeighbour& child = mEntries[b];
    child.heapNext = parent.heapChild;
    child.heapPrev = a;
    if (parent.heapChild != kUnwrapNone) mEntries[parent.heapChild].heapPrev = b;
    parent.heapChild = b;
    return a;
}

// Joins the children of an entry into one heap: in pairs from left to right, then the pairs from right to left.
std::uint32_t UnwrapHeap::MeldChildren(std::uint32_t parent) {
    std::uint32_t pairs = kUnwrapNone;
    for (std::uint32_t first = mEntries[parent].heapChild; first != kUnwrapNone;) {
        std::uint32_t pair = first;
        const std::uint32_t second = mEntries[first].heapNext;
        first = kUnwrapNone;
        if (second != kUnwrapNone) {
            first = mEntries[second].heapNext;
            pair = Meld(pair, second);
        }
        mEntries[pair].heapNext = pairs;
        pairs = pair;
    }
    std::uint32_t top = pairs;
    if (top == kUnwrapNone) return top;
    for (std::uint32_t pair = mEntries[pairs].heapNext; pair != kUnwrapNone;) {
        const std::uint32_t next = mEntries[pair].heapNext;
        top = Meld(top, pair);
        pair = next;
    }
    mEntries[top].heapNext = mEntries[top].heapPrev = kUnwrapNone;
    return top;
}

UnwrapTournament::UnwrapTournament(std::uint32_t count) {
    std::size_t groups = count;
    do {
        groups = groups / kGroup + 1;
        mLevels.emplace_back(groups * kGroup, 0.0f);
    } while (groups > 1);
}

float UnwrapTournament::GroupBest(const Level& level, std::size_t group) {
    const float* const values = level.data() + group * kGroup;
    return *std::max_element(values, values + kGroup);
}

std::uint32_t UnwrapTournament::BestIndex() const {
    const float best = Best();
    std::size_t index = 0;
    for (std::size_t i = mLevels.size(); i-- > 0;) {
        index *= kGroup;
        while (mLevels[i][index] != best) ++index;
    }
    return static_cast<std::uint32_t>(index);
}

void UnwrapTournament::Set(std::uint32_t index, float value) {
    std::size_t i = index;
    for (std::size_t level = 0;; ++level) {
        const float before = std::exchange(mLevels[level][i], value);
        i /= kGroup;
        if (level + 1 == mLevels.size()) return;
        // Only the former best of a group can lower it.
        const float best = mLevels[level + 1][i];
        if (value < best && before < best) return;
        value = value >= best ? value : GroupBest(mLevels[level], i);
        if (value == best) return;
    }
}

}  // namespace KrN
