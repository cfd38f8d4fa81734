#include "ipbase/unwrap/reliability/groups.h"

namespace KrN {

bool MergeGroups(PIXELM* pixels, EDGE edge, int width) {
    const ReliabilityHead first = FindHead(pixels, static_cast<std::int32_t>(edge.First()));
    const ReliabilityHead second = FindHead(pixels, static_cast<std::int32_t>(edge.Second(width)));
    if (first.pixel == second.pixel) return false;
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

}  // namespace KrN
