#pragma once

#include "imagemodel/kraoi.h"

// Filters of two-dimensional neighbourhoods, as the image filters of Core/vorTools/Inc/syfilt2d.h compute them.
//
// They work on the common region of source and destination; a null destination, or one that is the source, filters in
// place. Pixel types 8, 16, 32 and F, source and destination alike; others throw KrNotImplementedException (file
// "C\ipLFilt2d"), and KrException is thrown when the image that would be written is read-only, or a const source comes
// without a destination; nothing has been written then. Nothing else is validated: without taps nothing changes,
// weights and divisors may be anything, and a divisor of 0 gives 0.
//
// With eConsiderMask (or any value but eIgnoreMask), pixels whose mask value is 64 or more keep the source's value and
// do not count for others. A mask that is smaller than the image goes on with its nearest pixel; without a mask all
// pixels are valid. Beyond the border, the values of a mask that is larger than the image count for KrFilter and
// KrFilterMedian, and those at the border for minimum and maximum; for Gauss and mean, beyond both ends of a line the
// mask of its last pixel counts, so that an invalid first pixel counts there when the last one is valid.
namespace KrN {

// clang-format off
#define VORIP_UNPACK(...) __VA_ARGS__
#define VORIP_IMAGE_FILTER_CLASS(Name, Params, args)                                                               \
    class VORIP_API Name {                                                                                         \
    public:                                                                                                        \
        Name();                                                                                                    \
        Name(const Name&);                                                                                         \
        Name& operator=(const Name&);                                                                              \
        virtual ~Name();                                                                                           \
        virtual void Execute(VORIP_UNPACK Params, KrAOI* src, KrAOI* dst, KrAOI8* mask,                            \
                             MaskConsideration consideration);                                                     \
        void Execute(VORIP_UNPACK Params, const KrAOI* src, KrAOI* dst, const KrAOI8* mask,                        \
                     MaskConsideration consideration) {                                                            \
            Execute(VORIP_UNPACK args, KrConstSource(src, dst), dst, const_cast<KrAOI8*>(mask), consideration);    \
        }                                                                                                          \
    }
#define VORIP_SIZE_FILTER_CLASS(Name) VORIP_IMAGE_FILTER_CLASS(Name, (const KrTSize<std::uint32_t>& size), (size))
// clang-format on

// Sum of the pixels around each pixel times the weights, over the divisor; with a mask, over the weights that count.
VORIP_IMAGE_FILTER_CLASS(KrFilter, (const KrTBuf2D<std::int32_t>& kernel, std::int32_t divisor), (kernel, divisor));
// Binomial smoothing of the rows, then of the columns.
VORIP_SIZE_FILTER_CLASS(KrFilterGauss);
// Mean of the rows, then of the columns, each rounded.
VORIP_SIZE_FILTER_CLASS(KrFilterMeanSepXY);
VORIP_SIZE_FILTER_CLASS(KrFilterMedian);
// Minimum and maximum.
VORIP_SIZE_FILTER_CLASS(KrFilterErosion);
VORIP_SIZE_FILTER_CLASS(KrFilterDilatation);
// Erosion and dilatation of a foreground (255, 65535, from -1 on, or the largest float) with a cost that does not
// depend on the size. The border of the image is no edge. They throw KrNotImplementedException (file
// "Core\vorTools\Inc\syfilt2d") when a mask is to be considered.
VORIP_SIZE_FILTER_CLASS(KrFilterFastBinaryErosion);
VORIP_SIZE_FILTER_CLASS(KrFilterFastBinaryDilatation);
// Recursive smoothing (see KrFilterHorRecursive) of the rows, then of the columns.
class VORIP_API KrFilterRecursive {
public:
    KrFilterRecursive();
    KrFilterRecursive(const KrFilterRecursive&);
    KrFilterRecursive& operator=(const KrFilterRecursive&);
    virtual ~KrFilterRecursive();
    virtual void Execute(double alpha, KrAOI* src, KrAOI* dst);
    void Execute(double alpha, const KrAOI* src, KrAOI* dst) { Execute(alpha, KrConstSource(src, dst), dst); }
};
#undef VORIP_SIZE_FILTER_CLASS
#undef VORIP_IMAGE_FILTER_CLASS
#undef VORIP_UNPACK

// Binomial smoothing of 8-bit images by KrFilterBinominal1D, 2 to 23 taps each way, with its errors. Both passes read
// the source and the vertical one writes last, so that the result is smoothed in both directions only in place.
class VORIP_API KrFilterBinominal {
public:
    KrFilterBinominal();
    KrFilterBinominal(const KrFilterBinominal&);
    KrFilterBinominal& operator=(const KrFilterBinominal&);
    ~KrFilterBinominal();
    void Execute(const KrTSize<std::uint32_t>& size, const KrAOI* src, KrAOI* dst);
};

}  // namespace KrN
