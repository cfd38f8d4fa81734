#pragma once

#include <cstdint>

#include "ipbase/ipUnwrapRecords.h"
#include "ipbase/unwrap/reliability/edges.h"

namespace KrN {

struct ReliabilityHead {
    std::int32_t pixel;
    std::int32_t increment;  // periods of the pixel that was asked for, relative to the head
};

// The head of a pixel's group; shortens the way to it for the next time.
inline ReliabilityHead FindHead(PIXELM* pixels, std::int32_t pixel) {
    std::int32_t increment = 0;
    while (true) {
        PIXELM& p = pixels[pixel];
        if (p.group < 0) return {pixel, increment};
        const PIXELM& next = pixels[p.group];
        if (next.group < 0) return {p.group, increment + p.increment};
        p.increment += next.increment;
        p.group = next.group;
        increment += p.increment;
        pixel = p.group;
    }
}

// Merges two groups, given by the heads of the pixels of an edge, the smaller one into the larger one, so that their
// periods agree over the edge. The larger group keeps its periods; of two groups of the same size that is the second
// pixel's, unless both pixels are alone. Returns whether two groups of several pixels were merged.
inline bool MergeHeads(PIXELM* pixels, const ReliabilityHead& first, const ReliabilityHead& second, EDGE edge) {
    PIXELM& a = pixels[first.pixel];
    PIXELM& b = pixels[second.pixel];
    const std::int32_t sizeA = -a.group;
    const std::int32_t sizeB = -b.group;
    const std::int32_t shiftOfB = first.increment - edge.Increment() - second.increment;
    if (sizeB == 1 || sizeA > sizeB) {
        a.group -= sizeB;
        b = {first.pixel, shiftOfB};
    } else {
        b.group -= sizeA;
        a = {second.pixel, -shiftOfB};
    }
    return sizeA > 1 && sizeB > 1;
}

// The same for the groups of an edge's pixels, unless they are one group.
inline bool MergeGroups(PIXELM* pixels, EDGE edge, int width) {
    const ReliabilityHead first = FindHead(pixels, static_cast<std::int32_t>(edge.First()));
    const ReliabilityHead second = FindHead(pixels, static_cast<std::int32_t>(edge.Second(width)));
    return first.pixel != second.pixel && MergeHeads(pixels, first, second, edge);
}

// Merges along the edges in their order; ends early when the flag is raised.
VORIP_API void GatherGroups(const EDGE* edges, std::ptrdiff_t count, PIXELM* pixels, int width, const AbortFlag& abort);

}  // namespace KrN
