#pragma once

#include <cstdint>
#include <opencv2/core.hpp>
#include <vector>

#include "ipbase/unwrap/reliability/groups.h"

namespace measure {

// Joins the groups of a band of rows along its edges as far as other bands have no say, so that bands can be joined at
// the same time. What comes out, together with a pass over the edges that are left, is what one pass over the sorted
// edges of the whole image gives: a group is frozen as soon as the next edge that touches it leads to pixels of another
// band, or to a frozen group, and until then nothing outside can have changed it.
class BandJoiner {
public:
    // `pixels` are those of the whole image.
    BandJoiner(KrN::PIXELM* pixels, int width, const cv::Range& rows)
        : mPixels(pixels),
          mWidth(width),
          mFirst(rows.start * width),
          mEnd(rows.end * width),
          mFrozen(static_cast<std::size_t>(mEnd - mFirst)),
          mJoint(mFrozen.size()) {}

    // For pixels of the band whose group has pixels in another one.
    void Freeze(std::size_t pixel) { FreezeHead(Head(static_cast<std::int32_t>(pixel)).pixel); }

    // `edges` are sorted, those to the neighbouring bands among them. Returns the ones that are left, in the same
    // order.
    std::vector<KrN::EDGE> Join(const KrN::EDGE* edges, std::size_t count);

private:
    bool IsInside(std::int32_t pixel) const { return pixel >= mFirst && pixel < mEnd; }
    std::size_t Place(std::int32_t pixel) const { return static_cast<std::size_t>(pixel - mFirst); }
    bool IsFrozen(std::int32_t head) const { return !IsInside(head) || mFrozen[Place(head)] != 0; }
    void FreezeHead(std::int32_t head) {
        if (IsFrozen(head)) return;
        mFrozen[Place(head)] = 1;
        mJoint[Place(head)] = head;
    }
    KrN::ReliabilityHead Head(std::int32_t pixel);
    bool WereJoint(std::int32_t a, std::int32_t b);
    std::int32_t Joint(std::int32_t head);

    KrN::PIXELM* mPixels;
    int mWidth;
    std::int32_t mFirst, mEnd;          // pixels of the band
    std::vector<std::uint8_t> mFrozen;  // by head
    std::vector<std::int32_t>
        mJoint;  // by frozen head: towards the one of those that will be joined by edges seen so far
};

}  // namespace measure
