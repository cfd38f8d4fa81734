#include "measure/fringe/bandjoiner.h"

namespace measure {

using KrN::EDGE;
using KrN::ReliabilityHead;

std::vector<EDGE> BandJoiner::Join(const EDGE* edges, std::size_t count) {
    std::vector<EDGE> left;
    for (std::size_t i = 0; i < count; ++i) {
        const EDGE edge = edges[i];
        const auto first = static_cast<std::int32_t>(edge.First()),
                   second = static_cast<std::int32_t>(edge.Second(mWidth));
        const bool isOwn = IsInside(first);
        if (!isOwn || !IsInside(second)) {
            Freeze(edge.First() + (isOwn ? 0U : static_cast<std::uint32_t>(mWidth)));
            if (isOwn) left.push_back(edge);
            continue;
        }
        const ReliabilityHead a = Head(first), b = Head(second);
        if (a.pixel == b.pixel) continue;
        if (!IsFrozen(a.pixel) && !IsFrozen(b.pixel)) {
            KrN::MergeHeads(mPixels, a, b, edge);
            continue;
        }
        FreezeHead(a.pixel);
        FreezeHead(b.pixel);
        if (!WereJoint(a.pixel, b.pixel)) left.push_back(edge);
    }
    return left;
}

// Ways through other bands lead over frozen groups only, which nobody changes; they are read, never shortened.
ReliabilityHead BandJoiner::Head(std::int32_t pixel) {
    ReliabilityHead head{pixel, 0};
    for (const KrN::PIXELM* p = mPixels + pixel; p->group >= 0; p = mPixels + p->group) {
        head.increment += p->increment;
        head.pixel = p->group;
    }
    return IsFrozen(head.pixel) ? head : KrN::FindHead(mPixels, pixel);
}

// Whether edges that were left before will have joined two frozen groups; from now on they count as joined.
bool BandJoiner::WereJoint(std::int32_t a, std::int32_t b) {
    if (!IsInside(a) || !IsInside(b)) return false;
    const std::int32_t first = Joint(a), second = Joint(b);
    mJoint[Place(first)] = second;
    return first == second;
}

std::int32_t BandJoiner::Joint(std::int32_t head) {
    while (mJoint[Place(head)] != head) {
        std::int32_t& next = mJoint[Place(head)];
        next = mJoint[Place(next)];
        head = next;
    }
    return head;
}

}  // namespace measure
