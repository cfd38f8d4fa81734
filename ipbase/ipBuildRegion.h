#pragma once

#include "imagemodel/krbufferaoi.h"

namespace KrN {

// Builds a binary image of the region around a seed point: the 4-connected set of pixels that contains the seed and
// that a mask does not block. One object serves one thread at a time.
//
//     KrBuildRegion region;
//     region.SetMask(&mask);  // non-zero pixels block
//     region.Execute(&image, {120, 80}, &dst);
class VORIP_API KrBuildRegion {
public:
    KrBuildRegion();
    KrBuildRegion(const KrBuildRegion&);
    KrBuildRegion& operator=(const KrBuildRegion&);
    virtual ~KrBuildRegion();

    // The mask, which is not owned and is read by Execute; a null mask is ignored. Throws KrException, and keeps the
    // earlier mask, when a side has more than 32765 pixels.
    void SetMask(const KrAOI8* mask);

    // The values of pixels inside and outside the region; 255 and 0 at first.
    unsigned char& RegionLabel() { return mRegionLabel; }
    const unsigned char& RegionLabel() const { return mRegionLabel; }
    unsigned char& NotRegionLabel() { return mNotRegionLabel; }
    const unsigned char& NotRegionLabel() const { return mNotRegionLabel; }

    // Writes the region around the seed into `dst`, of which pixels beyond the mask become NotRegionLabel. `image` has
    // the size of the mask; its pixels do not matter. A seed on a blocked pixel or outside the image has no region.
    // Pixels whose mask value is 32 count as region wherever they are, and so do pixels of `dst` more than two columns
    // or rows beyond the mask that hold 32.
    //
    // Throws KrException when no mask was set, KrNotImplementedException (file "C\ipBuildRegion") when an image is
    // null, and cv::Exception when image and mask have different sizes and the seed lies in the image; nothing is
    // written then.
    void Execute(const KrAOI8* image, const KrTPoint<short>& seed, KrAOI8* dst);

protected:
    static bool IsInsideAOI(const KrTPoint<short>& point, const KrAOI8* aoi);

private:
    void Fill(const KrAOI8& image, const KrTPoint<short>& seed);

    const KrAOI8* mMask = nullptr;
    KrBufferAOI8 mWorkMask;  // the mask in a frame of one pixel
    unsigned char mRegionLabel = 255;
    unsigned char mNotRegionLabel = 0;
};

}  // namespace KrN
