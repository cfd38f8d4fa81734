#pragma once

#include <vector>

#include "imagemodel/kraoi.h"

namespace KrN {

// What KrSegment finds out about a region. Coordinates are columns and rows of the image.
struct KrAttribute {
    std::uint16_t label = 0;
    // Bounding box, both corners inclusive; (32767, 32767) and (0, 0) when there is no region.
    short minX = 32767;
    short minY = 32767;
    short maxX = 0;
    short maxY = 0;
    // Mean position of the pixels, and the same weighted with their grey values.
    float centroidX = 0.0f;
    float centroidY = 0.0f;
    float weightedCentroidX = 0.0f;
    float weightedCentroidY = 0.0f;
    // Length of the border: horizontal + vertical / r + sqrt(r^2 + 1) * diagonal steps, with the pixel ratio r; in
    // pixel widths when that is 1.
    float perimeter = 0.0f;
    float reserved = 0.0f;  // always 0
    // Number of pixels / r.
    float area = 0.0f;
    // Mean grey value.
    float meanValue = 0.0f;
    // r, the pixel ratio.
    float pixelRatio = 1.0f;
    // In the order of tracing, each point once; the start point comes last.
    KrTMem<KrTPoint<short>> borderPoints;
};

// Traces, measures and labels the regions of an 8-bit image, one after the other: a region is a 4-connected set of
// pixels above a threshold, together with whatever lies in its holes and is above the threshold, too.
//
//     segment.Init(&image, &work);
//     segment.SetThreshold(100);
//     segment.FindSegmentBorder(start);      // for a pixel of a region that is not labelled yet
//     segment.ExtractSegmentAttributes();    // measures
//     segment.Label(258);                    // and takes the region out of the search; these two in any order
//     ... segment.GetAttribute() ...
//
// KrSegmentScan does so for all regions of an image.
//
// The work image holds grey values (0..255, pixels not visited), the border marks of the traced region (256 where a
// scan along a row enters or leaves it, 257 elsewhere), and labels (above 257). A region must be labelled before the
// next one is traced, or its marks are taken for pixels of that one. Labels up to 255 become grey values again: 0 makes
// the region background.
//
// Only read-only images that would be written throw KrException, before anything has changed. The images are not owned
// and must outlive their use; when one of them has another size than at Init, the operations do nothing. One object
// serves one thread at a time.
class VORIP_API KrSegment {
public:
    KrSegment();
    KrSegment(const KrSegment&);
    KrSegment& operator=(const KrSegment&);
    virtual ~KrSegment();

    // Copies the image into the common region of the work image and clears the outermost rows and columns of that, so
    // that no region touches them. The measured attribute is forgotten, threshold, pixel ratio and holes setting stay.
    // Leaves the object not initialised, and nothing written, when an image is null.
    virtual void Init(KrAOI8* image, KrAOI16* work);
    template <class Image, std::enable_if_t<std::is_const_v<Image>, int> = 0>  // which a null pointer is not
    void Init(Image* image, KrAOI16* work) {
        Init(const_cast<KrAOI8*>(static_cast<const KrAOI8*>(image)), work);
    }
    bool IsInitialized() const { return mInitialized; }

    // Pixels above the threshold are bright; 0 at first.
    void SetThreshold(unsigned char threshold) { mThreshold = threshold; }
    unsigned char GetThreshold() const { return mThreshold; }
    // Width of a pixel divided by its height; 1 at first. Areas are in squares of the width.
    void SetPixelRatio(float ratio) { mAttribute.pixelRatio = ratio; }
    float GetPixelRatio() const { return mAttribute.pixelRatio; }
    // Whether the dark pixels in the holes of a region belong to it; they do not at first.
    void ConsiderAllInsideOn() { mAllInside = true; }
    void ConsiderAllInsideOff() { mAllInside = false; }
    bool IsConsiderAllInsideOn() const { return mAllInside; }

    // Traces the border of the region that the start point belongs to: its first pixel from the top, and from the left
    // in that row. From other pixels of the region the trace ends as well, but may enclose a part of it or more than
    // it. A start that is not a bright pixel in the inner part of the image (all but the outermost rows and columns) is
    // refused: the earlier trace and all that is known of it stay as they are.
    void FindSegmentBorder(const KrTPoint<short>& start);
    // Writes the label into every pixel of the traced region.
    void Label(unsigned short label);
    // Writes a number into every pixel of the traced region, in an image of the same size beside the work image. To be
    // called before Label; pixels that the image does not have are left out.
    void Number(KrAOI32* numbers, std::int32_t number);
    // Measures the traced region, also after it has been labelled. Does nothing when nothing was traced.
    void ExtractSegmentAttributes();
    // What is known of the region. Init and the start of a new trace set everything but the pixel ratio to what a new
    // object has; Label sets the label, SetPixelRatio the ratio, and ExtractSegmentAttributes all the rest.
    const KrAttribute& GetAttribute() const { return mAttribute; }

protected:
    // Moves the current point to (x + dx, y) or (x, y + dy) if that pixel is bright or marked.
    bool IsNextXInside(short dx);
    bool IsNextYInside(short dy);
    // Whether the pixel at (x + dx, y) is marked or labelled.
    bool IsNextXLabelled(short dx) const;
    static void SwitchDirection(short& d) { d = static_cast<short>(-d); }
    // Puts the current point on the border, or ends the trace when it is the start.
    void SetBorderPoint(std::uint16_t mark);
    // Adds a pixel of the region to the sums; x counts from the left side of the box.
    void UpdateAttributes(short x, short y, unsigned char value) {
        const std::int64_t column = x + mBox.minX;
        ++mSums.count;
        mSums.value += value;
        mSums.x += column;
        mSums.y += y;
        mSums.xValue += column * value;
        mSums.yValue += std::int64_t{y} * value;
    }
    // Computes the attribute from the sums.
    void SetAttributes();

private:
    struct Box {
        short minX = 32767, minY = 32767, maxX = 0, maxY = 0;
    };
    struct Sums {
        std::int64_t horizontal = 0, vertical = 0, diagonal = 0;  // steps along the border
        std::int64_t count = 0, value = 0, x = 0, y = 0, xValue = 0, yValue = 0;
    };

    void Forget();
    bool HasImages() const;
    bool IsInside(int x, int y) const;
    std::uint8_t& Stamp(const KrTPoint<short>& point);
    bool BeginTrace(const KrTPoint<short>& start);
    bool BeginRound(short d);
    void GoOn(short& d);
    void GoAround(short& d);
    void EndTrace();
    void Measure();
    void CountBorderStep(int x, int y);
    template <class Visit>
    void VisitBox(int firstRow, int lastRow, const Visit& visit) const;
    template <class Visit>
    void VisitRegion(const Visit& visit) const;

    KrAttribute mAttribute;
    KrAOI8* mImage = nullptr;
    KrAOI16* mWork = nullptr;
    KrTSize<int> mSize;
    bool mInitialized = false;
    bool mFinished = false;
    bool mAllInside = false;
    bool mLabelled = false;      // the marks are gone, the sums are those of the region
    bool mStrangeMarks = false;  // there may be marks of regions that were never labelled
    unsigned char mThreshold = 0;
    KrTPoint<short> mStart, mPoint;
    Box mBox;
    Sums mSums;
    KrTMem<KrTPoint<short>> mBorder;
    std::vector<std::uint32_t> mMarks;  // the border as row << 16 | column, in raster order
    std::vector<std::uint8_t> mStamps;  // one per pixel, all 0 between traces
};

}  // namespace KrN
