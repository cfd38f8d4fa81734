#include "ipbase/unwrap/reliability/bandjoiner.h"

#include <hwy/cache_control.h>

namespace KrN {

// Pixels are fetched before they are needed, as in GatherGroups.
std::vector<EDGE> BandJoiner::Join(const EDGE* edges, std::ptrdiff_t count) {
    constexpr std::ptrdiff_t kAhead = 16;
    std::vector<EDGE> left;
    for (std::ptrdiff_t i = 0; i < count; ++i) {
        if (i + kAhead < count) {
            hwy::Prefetch(mPixels + edges[i + kAhead].First());
            hwy::Prefetch(mPixels + edges[i + kAhead].Second(mWidth));
        }
        const EDGE edge = edges[i];
        const auto first = static_cast<std::int32_t>(edge.First());
        const auto second = static_cast<std::int32_t>(edge.Second(mWidth));
        if (IsInside(first) && IsInside(second)) {
            JoinInside(edge, left);
        } else if (IsInside(first)) {
            Open(FindEnd(first));
            left.push_back(edge);
        } else {
            Open(FindEnd(second));
        }
    }
    return left;
}

// Heads of open groups stay as they are, since other bands may look at them meanwhile; what joins one is put below it.
void BandJoiner::JoinInside(EDGE edge, std::vector<EDGE>& left) {
    const End a = FindEnd(static_cast<std::int32_t>(edge.First()));
    const End b = FindEnd(static_cast<std::int32_t>(edge.Second(mWidth)));
    if (a.head.pixel == b.head.pixel) return;
    const std::int32_t shiftOfB = a.head.increment - edge.Increment() - b.head.increment;
    if (!a.isOpen && !b.isOpen)
        MergeHeads(mPixels, a.head, b.head, edge);
    else if (!b.isOpen)
        mPixels[b.head.pixel] = {a.head.pixel, shiftOfB};
    else if (!a.isOpen)
        mPixels[a.head.pixel] = {b.head.pixel, -shiftOfB};
    else if (!AreLinked(a.head.pixel, b.head.pixel))
        left.push_back(edge);
}

BandJoiner::End BandJoiner::FindEnd(std::int32_t pixel) {
    const ReliabilityHead head = FindHead(mPixels, pixel);
    return {head, !IsInside(head.pixel) || mPixels[head.pixel].increment != 0};
}

// Whether the edges that were left link two open groups; from now on they are linked.
bool BandJoiner::AreLinked(std::int32_t a, std::int32_t b) {
    const std::size_t first = Link(Place(a)), second = Link(Place(b));
    mLinks[first] = second;
    return first == second;
}

std::size_t BandJoiner::Place(std::int32_t head) {
    const auto [found, isNew] = mPlaces.emplace(head, mLinks.size());
    if (isNew) mLinks.push_back(found->second);
    return found->second;
}

std::size_t BandJoiner::Link(std::size_t place) {
    for (; mLinks[place] != place; place = mLinks[place]) mLinks[place] = mLinks[mLinks[place]];
    return place;
}

}  // namespace KrN
