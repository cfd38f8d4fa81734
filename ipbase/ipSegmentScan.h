#pragma once

#include <functional>

#include "imagemodel/krbufferaoi.h"
#include "ipbase/ipSegment.h"

namespace KrN {

// Finds, measures and numbers all regions of an 8-bit image, in raster order of their first pixels. What a region is,
// and what is measured, is that of KrSegment; in particular, the outermost rows and columns belong to no region. Takes
// time proportional to the number of pixels. One object serves one thread at a time.
class VORIP_API KrSegmentScan {
public:
    KrSegmentScan();
    KrSegmentScan(const KrSegmentScan&);
    KrSegmentScan& operator=(const KrSegmentScan&);
    virtual ~KrSegmentScan();

    // Where the threshold, the pixel ratio and the treatment of holes are set. It has images during Execute only,
    // also when `found` throws.
    KrSegment& GetSegment() { return mSegment; }
    // Smaller regions (see KrAttribute::area) are left out; 0 at first.
    void SetMinArea(float area) { mMinArea = area; }
    float GetMinArea() const { return mMinArea; }

    // Called for every region with its number 1, 2, ... The attribute's 16-bit label is 258 + (number - 1) % 65278: it
    // comes again after so many regions, the number does not.
    using Found = std::function<void(std::int32_t number, const KrAttribute& attribute)>;

    // Returns the number of regions. `numbers`, unless it is null, becomes 0 outside the regions, and the region's
    // number inside; `found` may be empty, and what it throws ends the search. Throws KrException before anything is
    // written when the image is null, or when `numbers` has not the size of the image or is read-only.
    std::int32_t Execute(const KrAOI8* image, KrAOI32* numbers, const Found& found = {});

private:
    bool Take(const KrTPoint<short>& start, std::int32_t number, KrAOI32* numbers);

    KrSegment mSegment;
    KrBufferAOI16 mWork;
    float mMinArea = 0.0f;
};

}  // namespace KrN
