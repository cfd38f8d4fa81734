#pragma once

#include "imagemodel/imagemodel.h"
#include "ipbase/ipLTrans.h"
#include "ipbase/ipUnwrapRecords.h"

namespace KrN {

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

    void Execute(const KrAOI8* phase, const KrAOI8* mask, std::uint32_t minGroupSize, int* abortFlag) {
        Execute(const_cast<KrAOI8*>(phase), const_cast<KrAOI8*>(mask), minGroupSize, abortFlag);
    }

    // The results. All copy the kept mask into resultMask and describe the values in the information record of result,
    // which is created if there is none. S is the value scale of the phase image's record, 1 without one.
    // All throw KrException, before anything is written, when an image is missing or read-only, result has not the size
    // of the phase, or resultMask not that of the mask (of the phase, if there was no mask).

    // 16 bits, 255 steps per period above the least phase; 0 at masked pixels. Pixels with the least value are masked
    // in resultMask (0): that also marks what was dropped because its group is small.
    virtual void GetResult2(KrAOI16* result, KrAOI8* resultMask);
    // 16 bits: radians * S / 1601.91, truncated toward zero, low bits kept.
    virtual void GetResult(KrAOI16* result, KrAOI8* resultMask);
    // There are no 8-bit results: throws KrNotImplementedException (file "C\ipLUnwrap_Velmor", line 894).
    virtual void GetResult(KrAOI8* result, KrAOI8* resultMask);
    // Radians * S / 6.284.
    virtual void GetResult(KrAOI32Float* result, KrAOI8* resultMask);

    // The unwrapped phase in radians, whatever the unit of the phase image; 0 where there is no result: at masked
    // pixels and in groups of fewer than minGroupSize pixels. resultMask is 255 where there is one, else 0. Before the
    // first Execute the error says so.
    void GetRadians(KrAOI32Float* result, KrAOI8* resultMask) const;

    // Number of groups in the result, and an image of their numbers: 1 to the count in the order of their first pixels,
    // 0 where there is no result. Labels are written to the common region of the result and the image; throws
    // KrException when it is missing.
    std::uint32_t GetComponentCount() const { return mComponentCount; }
    void GetComponentLabels(KrAOI32* labels) const;

    // The value of the abort flag; 0 without one.
    int ShouldBeAborted() const;

    // Raw files: values without header in the order of the machine, row by row. They report on standard output, and
    // return whether they succeeded; what is read is stored only then.
    static bool ReadWrappedValues(const char* file, float* values, std::size_t count);
    static bool ReadMask(const char* file, unsigned char* mask, std::size_t count);
    static bool WriteUnwrappedValues(const char* file, const float* values, std::size_t count);

protected:
    // The algorithm on float images of radians in [0, 2 pi) and an 8-bit mask (may be null), over their common region.
    // `unwrapped` is written at the very end, unless the abort flag is raised before, as are the components. edgeCount
    // becomes the number of pairs of usable neighbours. Throws KrException when an image has another pixel type.
    void Unwrap2DSRNCP(IplImage* wrapped, IplImage* unwrapped, const IplImage* mask, std::uint32_t minGroupSize,
                       int& edgeCount);
    // Its steps. Every one of width * height pixels becomes a group of its own; the array must live until the groups
    // have been gathered. The phase and the masks, 255 where a pixel (extended: and its eight neighbours) is usable,
    // are in the edges already, and may be null.
    void initialisePIXELs(float* wrapped, unsigned char* inputMask, unsigned char* extendedMask, PIXELM* pixels,
                          int width, int height);
    // Merges the groups of these pixels along the edges in their order, which is that of ascending reliabilities. Edges
    // to pixels beyond the image are not allowed. Ends early when the abort flag is raised.
    void gatherPIXELs(EDGE* edges, int width, int height, int& edgeCount);

private:
    void ForgetComponents();
    void CheckResult(const KrAOI* result, const KrAOI* resultMask, std::uint32_t line) const;

    KrLTransfer mTransfer;
    KrAOIInfo mInfo;
    KrBufferAOI32Float mUnwrapped;
    KrBufferAOI8 mMask;
    KrBufferAOI32 mLabels;  // the number of each pixel's group, of the last Unwrap2DSRNCP
    std::uint32_t mComponentCount = 0;
    PIXELM* mPixels = nullptr;  // of the last initialisePIXELs
    int* mAbortFlag = nullptr;
};

}  // namespace KrN
