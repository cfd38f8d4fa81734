#pragma once

#include "imagemodel/imagemodel.h"
#include "ipbase/ipLTrans.h"

namespace KrN {

struct EDGE;
struct PIXELM;

// Phase unwrapping by sorting by reliability, following a non-continuous path.
//
// The reliability of a pixel is the sum of the squared second differences of the wrapped phase through it in four
// directions. The edges between neighbouring pixels are taken in the order of the sums of their pixels' reliabilities,
// the best (least) first; each one joins the groups of its two pixels, unless they are in the same group, after
// shifting the smaller group by whole periods so that the phase has no step over the edge. Pixels at the image's border
// or beside masked pixels come last, in a fixed random order. Every connected group comes out right up to a constant
// number of periods, provided that the phase is consistent.
//
// Execute comes first; the object keeps the unwrapped phase, in radians, and the mask, until the next Execute. A copy
// owns copies of both. In masks the value 255 means usable, and any other value excludes the pixel.
class VORIP_API KrLUnWrap_Velmor {
public:
    KrLUnWrap_Velmor();
    KrLUnWrap_Velmor(const KrLUnWrap_Velmor& other);
    KrLUnWrap_Velmor& operator=(const KrLUnWrap_Velmor& other);
    virtual ~KrLUnWrap_Velmor();

    // Unwraps the common region of phase (256 steps per period) and mask; a null mask means that every pixel is usable.
    // Masked pixels, and the pixels of groups of fewer than minGroupSize pixels, get the least value of the others, or
    // 0 when there are no others. *abortFlag is set to 0 first; when another thread raises it during the run, the run
    // ends soon and the unwrapped phase is 0 throughout. A null flag is never raised. The flag must live for as long as
    // ShouldBeAborted is asked. Throws KrException, before anything is changed, when phase is null.
    virtual void Execute(KrAOI8* phase, KrAOI8* mask, std::uint32_t minGroupSize, int* abortFlag);

    // The results. All copy the kept mask into resultMask and describe the values in the information record of result,
    // which is created if there is none. S is the value scale of the phase image's record, 1 without one.
    // All throw KrException, before anything is written, when an image is missing, result has not the size of the
    // phase, or resultMask not that of the mask (of the phase, if there was no mask).

    // 16 bits, 255 steps per period above the least phase; 0 at masked pixels. Pixels with the least value are masked
    // in resultMask (0): that also marks what was dropped because its group is small.
    virtual void GetResult2(KrAOI16* result, KrAOI8* resultMask);
    // 16 bits: radians * S / 1601.91, truncated toward zero, low bits kept.
    virtual void GetResult(KrAOI16* result, KrAOI8* resultMask);
    // There are no 8-bit results: throws KrNotImplementedException.
    virtual void GetResult(KrAOI8* result, KrAOI8* resultMask);
    // Radians * S / 6.284.
    virtual void GetResult(KrAOI32Float* result, KrAOI8* resultMask);

    // The value of the abort flag; 0 without one.
    int ShouldBeAborted() const;

    // Raw files: values without header in the order of the machine, row by row. They report on standard output, and
    // return whether they succeeded; what is read is stored only then.
    static bool ReadWrappedValues(const char* file, float* values, std::size_t count);
    static bool ReadMask(const char* file, unsigned char* mask, std::size_t count);
    static bool WriteUnwrappedValues(const char* file, const float* values, std::size_t count);

protected:
    // The algorithm on float images of radians in [0, 2 pi) and an 8-bit mask (may be null), over their common region.
    // `unwrapped` is written at the very end, unless the abort flag is raised before. edgeCount becomes the number of
    // pairs of usable neighbours. Throws KrException when an image has another pixel type.
    void Unwrap2DSRNCP(IplImage* wrapped, IplImage* unwrapped, const IplImage* mask, std::uint32_t minGroupSize,
                       int& edgeCount);
    // Its steps: every pixel becomes a group of its own; the groups are merged along the sorted edges.
    void initialisePIXELs(PIXELM* pixels, int width, int height);
    void gatherPIXELs(const EDGE* edges, PIXELM* pixels, int width, int edgeCount);

private:
    void CheckResult(const KrAOI* result, const KrAOI* resultMask, std::uint32_t line) const;

    KrLTransfer mTransfer;
    KrAOIInfo mInfo;
    KrBufferAOI32Float mUnwrapped;
    KrBufferAOI8 mMask;
    int* mAbortFlag = nullptr;
};

}  // namespace KrN
