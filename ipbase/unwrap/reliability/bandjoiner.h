#pragma once

#include <cstdint>
#include <unordered_map>
#include <vector>

#include "ipbase/unwrap/reliability/groups.h"

namespace KrN {

// Joins the groups of a band of rows along its edges, in the order of their keys, as far as that cannot depend on other
// bands, so that bands can be joined at the same time. An edge joins two groups for good when it is the first one that
// leads out of either of them, whatever has become of the other one (Boruvka's rule). A group whose first edge leads
// into another band is open. Groups that are not open join each other and open ones; open ones wait for the others: the
// edges between them are left. One pass over these, of all bands, then gives what one pass over all sorted edges gives,
// but for the head of the group, above which the periods of its pixels are counted.
class VORIP_API BandJoiner {
public:
    // `pixels` are those of the whole image; all of them lead to their heads directly.
    BandJoiner(PIXELM* pixels, int width, int firstRow, int endRow)
        : mPixels(pixels), mWidth(width), mFirst(firstRow * width), mEnd(endRow * width) {}

    // For pixels of the band whose group has pixels in another one.
    void Open(std::size_t pixel) { Open(FindEnd(static_cast<std::int32_t>(pixel))); }

    // `edges` are sorted, those to the neighbouring bands among them. Returns the ones that are left, in that order.
    std::vector<EDGE> Join(const EDGE* edges, std::ptrdiff_t count);

private:
    struct End {
        ReliabilityHead head;
        bool isOpen;
    };

    bool IsInside(std::int32_t pixel) const { return pixel >= mFirst && pixel < mEnd; }
    // The increment of a head has no other use.
    void Open(const End& end) {
        if (!end.isOpen) mPixels[end.head.pixel].increment = 1;
    }
    End FindEnd(std::int32_t pixel);
    void JoinInside(EDGE edge, std::vector<EDGE>& left);
    bool AreLinked(std::int32_t a, std::int32_t b);
    std::size_t Place(std::int32_t head);
    std::size_t Link(std::size_t place);

    PIXELM* mPixels;
    int mWidth;
    std::int32_t mFirst, mEnd;  // pixels of the band
    // Of open groups between which edges were left: their places, and from place to place towards that which stands
    // for all that the edges link.
    std::unordered_map<std::int32_t, std::size_t> mPlaces;
    std::vector<std::size_t> mLinks;
};

}  // namespace KrN
