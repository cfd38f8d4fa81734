#pragma once

#include "imagemodel/kraoi.h"

// Filters along the rows or the columns of an image.
//
// They work on the common region of source and destination; a null destination, or one that is the source, filters in
// place. The borders, rounding and even windows are those of the line filters in Core/vorTools/Inc/syfilt2d.h. Nothing
// is validated: without taps nothing is written, a divisor of 0 gives 0. Pixel types that are not listed throw
// KrNotImplementedException (file "C\ipLFilt1d"), and KrException is thrown when the image that would be written is
// read-only, or a const source comes without a destination; nothing has been written then. The two 8-bit filters below,
// which take every source as const, filter one that is not read-only in place.
namespace KrN {

enum EDir : int { eHor = 0, eVert = 1 };

// 8, 16, 32 and F, source and destination alike.
// clang-format off
#define VORIP_UNPACK(...) __VA_ARGS__
#define VORIP_LINE_FILTER_CLASS(Name, Params, args)                                  \
    class VORIP_API Name {                                                           \
    public:                                                                          \
        Name();                                                                      \
        Name(const Name&);                                                           \
        Name& operator=(const Name&);                                                \
        virtual ~Name();                                                             \
        virtual void Execute(VORIP_UNPACK Params, KrAOI* src, KrAOI* dst);           \
        void Execute(VORIP_UNPACK Params, const KrAOI* src, KrAOI* dst) {            \
            Execute(VORIP_UNPACK args, KrConstSource(src, dst), dst);                \
        }                                                                            \
    }
// clang-format on

// Sum of the window samples times the weights, over the divisor.
VORIP_LINE_FILTER_CLASS(KrFilterHorizontal, (const KrTBuf1D<std::int32_t>& kernel, std::int32_t divisor),
                        (kernel, divisor));
VORIP_LINE_FILTER_CLASS(KrFilterVertical, (const KrTBuf1D<std::int32_t>& kernel, std::int32_t divisor),
                        (kernel, divisor));
// Binomial weights over 2^(taps - 1).
VORIP_LINE_FILTER_CLASS(KrFilterHorGauss, (std::uint32_t taps), (taps));
VORIP_LINE_FILTER_CLASS(KrFilterVerGauss, (std::uint32_t taps), (taps));
// Median, the lower middle value for an even number of taps.
VORIP_LINE_FILTER_CLASS(KrFilterHorMedian, (std::uint32_t taps), (taps));
VORIP_LINE_FILTER_CLASS(KrFilterVerMedian, (std::uint32_t taps), (taps));
// Minimum.
VORIP_LINE_FILTER_CLASS(KrFilterHorErosion, (std::uint32_t taps), (taps));
VORIP_LINE_FILTER_CLASS(KrFilterVerErosion, (std::uint32_t taps), (taps));
// Maximum.
VORIP_LINE_FILTER_CLASS(KrFilterHorDilatation, (std::uint32_t taps), (taps));
VORIP_LINE_FILTER_CLASS(KrFilterVerDilatation, (std::uint32_t taps), (taps));
// Recursive smoothing in place of the line: forwards x[i] = a x[i-1] + (1-a) x[i], then backwards
// x[i] = (1-a) x[i] + a x[i+1], where each value is stored in the pixel type (integers rounded half away from zero)
// before the next one is computed. There is no padding.
VORIP_LINE_FILTER_CLASS(KrFilterHorRecursive, (double alpha), (alpha));
VORIP_LINE_FILTER_CLASS(KrFilterVerRecursive, (double alpha), (alpha));
#undef VORIP_LINE_FILTER_CLASS
#undef VORIP_UNPACK

// Finite impulse response filter of 8-bit images. The window of pixel i starts at i - (K-1)/2 (integer division), so
// that the one of an even K reaches one sample further to the right or down.
class VORIP_API KrFilterFIR1D {
public:
    KrFilterFIR1D();
    KrFilterFIR1D(const KrFilterFIR1D&);
    KrFilterFIR1D& operator=(const KrFilterFIR1D&);
    virtual ~KrFilterFIR1D();

    // The weights in the order of the window samples, and what their sum is divided by. Neither is validated: without
    // weights nothing is written, a divisor of 0 gives 0.
    void SetKernel(const KrTBuf1D<std::int32_t>& kernel, double divisor);
    const KrTBuf1D<std::int32_t>& GetKernel() const { return mKernel; }
    std::uint32_t GetKernelWidth() const { return static_cast<std::uint32_t>(mKernel.Size()); }
    // 0 as long as no divisor was set.
    double GetDivisor() const { return mScale == 0.0 ? 0.0 : 1.0 / mScale; }
    bool IsKernelSet() const { return mKernel.Size() > 0 && mScale != 0.0; }

    // 8 -> 8. Sums are rounded half away from zero; their low 8 bits are stored, without clamping. Products are formed
    // modulo 2^32; those of a symmetric kernel of five or more taps from the sums of the two samples that share a
    // weight, except where the window reaches beyond the line.
    virtual void Execute(const KrAOI* src, KrAOI* dst, EDir dir);

protected:
    virtual void Execute8(const KrAOI8* src, KrAOI8* dst, EDir dir);
    // For derived classes: one line of `count` samples; steps from one sample to the next in bytes. Execute8 computes
    // the same with whole rows at a time.
    void FilterLine8(const unsigned char* src, unsigned char* dst, std::uint32_t srcStep, std::uint32_t dstStep,
                     std::uint32_t count);

private:
    KrTBuf1D<std::int32_t> mKernel;
    double mScale = 0.0;
};

// Binomial smoothing of 8-bit images, by pair sums. The window of pixel i starts at i - (order-1)/2; the sum is rounded
// half up.
class VORIP_API KrFilterBinominal1D {
public:
    KrFilterBinominal1D();
    KrFilterBinominal1D(const KrFilterBinominal1D&);
    KrFilterBinominal1D& operator=(const KrFilterBinominal1D&);
    virtual ~KrFilterBinominal1D();

    // 8 -> 8, 2 to 23 taps.
    virtual void Execute(const KrAOI* src, KrAOI* dst, unsigned short order, EDir dir);

protected:
    virtual void Execute8(const KrAOI8* src, KrAOI8* dst, unsigned short order, EDir dir);
    // Turns length + passes values into `length` sums of passes + 1 neighbours with binomial weights, in place, divided
    // by 2^passes.
    void Filter(std::uint32_t* buffer, std::uint32_t length, std::uint32_t passes);
};

}  // namespace KrN
