#pragma once

#include "imagemodel/kraoi.h"

namespace KrN {

// Counts of the grey values of an 8- or 16-bit image in equal bins.
//
// With `steps` bins the value v falls into bin floor(steps * v / 256), for 16 bits floor(steps * v / 65536): with as
// many bins as values each value has a bin of its own. Counted are the pixels in every x-th column and y-th row of the
// view, from the first on, where (x, y) is the undersampling, and, with a mask, those of the common region whose mask
// value is below 64. One object serves one thread at a time.
class VORIP_API KrLHistogram {
public:
    KrLHistogram();
    KrLHistogram(const KrLHistogram&);
    KrLHistogram& operator=(const KrLHistogram&);
    virtual ~KrLHistogram();

    // Replaces the counts and the grey range by those of the image. Types 8 and 16; other ones, and null images or
    // masks, throw KrNotImplementedException (file "C\ipLHistogram"), and a number of steps that is 0 or above
    // kMaxSteps throws KrException. The histogram then stays as it was.
    virtual void Create(const KrAOI* aoi, const KrAOI8* pMaskAOI, std::uint32_t steps);
    virtual void Create(const KrAOI* aoi, std::uint32_t steps);
    static constexpr std::uint32_t kMaxSteps = 1u << 24;

    // Statistics of the counted pixels, each taken as the number x of its bin: the grey value itself when every value
    // has a bin (CalcRange tells the grey values of a bin). They are those of the N counted pixels as a whole
    // population, divided by N and not by N - 1. All are 0 for an empty histogram.
    //
    // sum(x) / N
    virtual double GetArithmeticMean() const;
    // N-th root of the product of all x; 0 when bin 0 is not empty.
    virtual double GetGeometricMean() const;
    // N / sum(1 / x); 0 when bin 0 is not empty.
    virtual double GetHarmonicMean() const;
    // m4 / m2^2 with the central moments mk = sum((x - mean)^k) / N: 3 for a normal distribution; 0 when m2 is 0.
    virtual double GetKurtosis() const;
    // The same as GetArithmeticMean.
    virtual double GetMean() const;
    // m2, the variance.
    virtual double GetMeanSquareDeviation() const;
    // The middle one of the sorted x; the mean of the middle two when N is even.
    virtual double GetMedian() const;
    // sqrt(sum(x^2) / N)
    virtual double GetQuadraticMean() const;
    // m3 / m2^1.5, positive for a long tail to the right; 0 when m2 is 0.
    virtual double GetSkewness() const;

    // trunc(steps * (value - least value) / number of values), brought into 0..2^32 - 1. NaN gives 0.
    std::uint32_t CalcIndex(double value) const;
    // The values of a bin: from index * width up to (index + 1) * width - 2.2e-16, which keeps neighbouring bins apart
    // where double precision can tell. The width is 0 when there are no bins.
    KrTFloatRange<double> CalcRange(std::uint32_t index) const;

    // The first of the fullest bins and its count; 0 and 0 for an empty histogram.
    std::uint32_t GetMaxIndex() const;
    std::uint32_t GetMaxPixels() const;

    // Number of bins; 0 before the first Create.
    std::uint32_t GetNumSteps() const { return static_cast<std::uint32_t>(mContent.counts.Size()); }
    // The counts, one per bin.
    KrTBuf1D<std::uint32_t>& GetBuffer() { return mContent.counts; }
    const KrTBuf1D<std::uint32_t>& GetBuffer() const { return mContent.counts; }
    // The count of a bin; throws KrException when there is no such bin.
    std::uint32_t& operator[](std::uint32_t index);
    std::uint32_t operator[](std::uint32_t index) const;

    // The first and the last bin that is not empty; (255, 0), or (65535, 0) for 16 bits, when nothing was counted.
    const KrTFloatRange<double>& GetAOIGreyRange() const { return mContent.greyRange; }

    // Steps of 0 or less count as 1, which they are after construction.
    const KrTPoint<short>& GetUndersampling() const { return mUndersampling; }
    void SetUndersampling(const KrTPoint<short>& step) { mUndersampling = step; }

    template <class>
    friend struct OperationsOf;

protected:
    // The kernels, which may be replaced. They find the counts at 0, one for each step, the scale set for the pixel
    // type and the grey range empty, and are not called for an empty common region. They fill the counts and set the
    // grey range. Whatever they throw, the histogram is then what it was before.
    virtual void Histo8SW(const KrAOI8* aoi, std::uint32_t steps);
    virtual void Histo16SW(const KrAOI16* aoi, std::uint32_t steps);
    virtual void Histo8MSW(const KrAOI8* aoi, const KrAOI8* mask, std::uint32_t steps);
    virtual void Histo16MSW(const KrAOI16* aoi, const KrAOI8* mask, std::uint32_t steps);

    // The first and the last bin that is not empty.
    void SetAOIGreyRange(const KrTFloatRange<double>& range) { mContent.greyRange = range; }

private:
    // What Create replaces.
    struct Content {
        KrTFloatRange<double> greyRange{255.0, 0.0};
        KrTBuf1D<std::uint32_t> counts;
        double valueMin = 0.0;
        double valueMax = 255.0;
        double scale = 1.0 / 256.0;
    };
    class Refill;

    template <class T>
    void Count(const KrTAOI<T>* aoi, const KrAOI8* mask, std::uint32_t steps);

    KrTPoint<short> mUndersampling{1, 1};
    Content mContent;
};

}  // namespace KrN
