#pragma once

#include <cstdint>
#include <vector>

#include "imagemodel/export.h"
#include "imagemodel/krarrays.h"
#include "imagemodel/krvalues.h"

// Filter templates for lines and images. They are instantiated in the library for the pixel types std::uint8_t,
// std::uint16_t, std::int32_t and float; KrTFilter1D and KrTFilter1DMedian for std::uint32_t as well.
namespace KrN {

// Memory that the line filters use again from line to line.
template <class T>
struct KrTFilterWork {
    std::vector<T> padded, filtered;
    std::vector<std::uint8_t> valid, line;  // 255 where samples are valid: with both ends padded, and without
    std::vector<const T*> taps;
    std::vector<const std::uint8_t*> validTaps;
    std::vector<double> sums;
    std::vector<std::int32_t> counts;
};

// Weighted sum along a line, and base of all line filters.
//
// The value of sample i of a line of N samples is computed from K window samples, from i - K/2 on (integer division),
// so that the window of an even K reaches one sample further to the left. Samples beyond the ends of the line are
// copies of its first or last one. A filter without taps leaves a line as it is.
//
// Sums are formed in double precision, products of integer samples and weights modulo 2^32. A sum is multiplied by the
// scale, rounded half away from zero and reduced to the low bits of the sample type, without clamping; float samples
// take the rounded value. What cannot be converted (a divisor of 0, NaN, more than 64 bits) gives 0.
template <class T>
class VORIP_API KrTFilter1D {
public:
    KrTFilter1D();
    // The weights, in the order of the window samples; the scale is 1 / divisor.
    KrTFilter1D(const KrTBuf1D<std::int32_t>& kernel, std::int32_t divisor);
    KrTFilter1D(const KrTFilter1D&);
    KrTFilter1D& operator=(const KrTFilter1D&);

    // New weights, with the scale as it is; a new scale, 1 / divisor.
    virtual void SetKernel(const KrTBuf1D<std::int32_t>& kernel);
    virtual void SetDivisor(std::int32_t divisor);

    // Weighted sum over valid samples alone, divided by the sum of their weights instead of the divisor (normalised
    // convolution: H. Knutsson and C.-F. Westin, "Normalized and Differential Convolution", IEEE Conference on Computer
    // Vision and Pattern Recognition, 1993); that is also what filters with weights of 1 do with a mask, whatever they
    // do without. A sample is valid when its mask value is
    // below 64; invalid ones are left unchanged. Beyond the ends of the line, on both sides, the mask value of the last
    // sample counts; 0 is stored where the weights add up to 0. With `useMask` false, or for an empty mask, the same as
    // Filter(line); a mask shorter than the line goes on with its last value.
    virtual void FilterMasked(KrTBuf1D<T>& line, const KrTBuf1D<std::uint8_t>& mask, bool useMask);
    virtual ~KrTFilter1D();
    // Fills the work line: K/2 copies of the first sample, the line, and copies of the last one up to (K & ~1) + N
    // samples. Returns K/2.
    virtual std::uint32_t PrepareLine(const KrTBuf1D<T>& line);
    // Filters the line in place.
    virtual void Filter(KrTBuf1D<T>& line);

    const KrTBuf1D<std::int32_t>& GetKernel() const { return mKernel; }
    std::uint32_t GetKernelWidth() const { return mKernelWidth; }
    double GetScale() const { return mScale; }

protected:
    // `taps` weights of 1.
    void SetOnes(std::uint32_t taps);
    // The window samples of a line that is to be prepared.
    const T* const* PrepareTaps(const KrTBuf1D<T>& line);

    KrTBuf1D<std::int32_t> mKernel;
    std::uint32_t mKernelWidth = 0;
    double mInvWidth = 0.0;
    std::uint32_t mDivisor = 1;
    double mScale = 1.0;
    int mReady = 0;
    KrTBuf1D<T> mLine;
    KrTFilterWork<T> mWork;
};

// Binomial weights over 2^(taps - 1). More than 34 taps, whose weights exceed 32 bits, count as 33 or 34.
template <class T>
class VORIP_API KrTFilter1DGauss : public KrTFilter1D<T> {
public:
    explicit KrTFilter1DGauss(std::uint32_t taps = 1);
    ~KrTFilter1DGauss() override;
};

// The mean of the window. Here and in the following classes more than 65,535 taps count as that many.
template <class T>
class VORIP_API KrTFilter1DMean : public KrTFilter1D<T> {
public:
    explicit KrTFilter1DMean(std::uint32_t taps = 1);
    ~KrTFilter1DMean() override;
};

// The median of the window; the lower one of the two middle values for an even number of taps. The weights of this and
// of the following classes are 1.
template <class T>
class VORIP_API KrTFilter1DMedian : public KrTFilter1D<T> {
public:
    explicit KrTFilter1DMedian(std::uint32_t taps = 1);
    ~KrTFilter1DMedian() override;
    void Filter(KrTBuf1D<T>& line) override;
};

// The least value of the window.
template <class T>
class VORIP_API KrTFilter1DErosion : public KrTFilter1D<T> {
public:
    explicit KrTFilter1DErosion(std::uint32_t taps = 1);
    ~KrTFilter1DErosion() override;
    void Filter(KrTBuf1D<T>& line) override;
};

// The greatest value of the window.
template <class T>
class VORIP_API KrTFilter1DDilatation : public KrTFilter1D<T> {
public:
    explicit KrTFilter1DDilatation(std::uint32_t taps = 1);
    ~KrTFilter1DDilatation() override;
    void Filter(KrTBuf1D<T>& line) override;
};

// Binary erosion of a line: where it rises to the foreground value or above, or falls below it, K/2 samples from that
// edge on, on the foreground's side of it, become 0, whatever they are. The ends of the line are no edges. By default
// the foreground value is that of the sample type: 255, 65535, -1 or the largest float.
template <class T>
class VORIP_API KrTFilterFastBinary1DErosion : public KrTFilter1D<T> {
public:
    explicit KrTFilterFastBinary1DErosion(std::uint32_t taps = 1);
    KrTFilterFastBinary1DErosion(std::uint32_t taps, T foreground);
    ~KrTFilterFastBinary1DErosion() override;
    void Filter(KrTBuf1D<T>& line) override;

protected:
    T mForeground;
};

// Likewise, K/2 samples from each edge on, on its other side, become the foreground value.
template <class T>
class VORIP_API KrTFilterFastBinary1DDilatation : public KrTFilter1D<T> {
public:
    explicit KrTFilterFastBinary1DDilatation(std::uint32_t taps = 1);
    KrTFilterFastBinary1DDilatation(std::uint32_t taps, T foreground);
    ~KrTFilterFastBinary1DDilatation() override;
    void Filter(KrTBuf1D<T>& line) override;

protected:
    T mForeground;
};

// Weighted sum over Kx * Ky pixels from (x - Kx/2, y - Ky/2) on, and base of all image filters. Pixels beyond the image
// are copies of the nearest one. Sums and rounding are those of KrTFilter1D.
template <class T>
class VORIP_API KrTFilter2D {
public:
    KrTFilter2D();
    KrTFilter2D(const KrTBuf2D<std::int32_t>& kernel, std::int32_t divisor);
    KrTFilter2D(const KrTFilter2D&);
    KrTFilter2D& operator=(const KrTFilter2D&);

    // Pixels whose mask value is 64 or more keep their value and do not count for others. The weighted sum is divided
    // by the sum of the weights that count, or by 1 if that is less than 1, instead of the divisor. With `useMask`
    // false, or for an empty mask, the same as Filter(image). A smaller mask goes on with its nearest pixel; beyond the
    // image, the values of a larger one count for weighted sums and medians.
    virtual void Filter(KrTBuf2D<T>& image, const KrTBuf2D<std::uint8_t>& mask, bool useMask);
    // The work area holds the padded rows of one output row after the other: those of the first one, and the next.
    virtual void PrepareFirstRow(const KrTBuf2D<T>& image);
    virtual void AdvanceRow(const KrTBuf2D<T>& image);
    virtual ~KrTFilter2D();
    virtual void Filter(KrTBuf2D<T>& image);

    const KrTBuf2D<std::int32_t>& GetKernel() const { return mKernel; }
    double GetScale() const { return mScale; }

protected:
    KrTBuf2D<std::int32_t> mKernel;
    double mScale = 1.0;
    int mReady = 0;
    KrTBuf2D<T> mWork;         // Ky padded rows, in a ring
    std::size_t mWorkRow = 0;  // the output row that they belong to
};

// The filters below are made from the numbers of taps in x and y. `Filter` with a mask follows the rules of KrTFilter2D
// unless stated otherwise.
#define VORIP_SIZE_FILTER(Name)                                                                 \
  template <class T>                                                                            \
  class VORIP_API Name : public KrTFilter2D<T> {                                                \
public:                                                                                         \
    explicit Name(const KrTSize<std::uint32_t>& size = {1, 1});                                 \
    ~Name() override;                                                                           \
    void Filter(KrTBuf2D<T>& image, const KrTBuf2D<std::uint8_t>& mask, bool useMask) override; \
    void Filter(KrTBuf2D<T>& image) override;                                                   \
                                                                                                \
protected:                                                                                      \
    KrTSize<std::uint32_t> mSize;                                                               \
  }
// Separable: the line Gauss on all rows, then on all columns, with masks as KrTFilter1D::FilterMasked has them.
VORIP_SIZE_FILTER(KrTFilter2DGauss);
// The line mean on all rows, then on all columns, likewise.
VORIP_SIZE_FILTER(KrTFilter2DMeanSepXY);
// The median of the window, the lower middle value for an even number of pixels that count. Here
// and in the next two filters, NaN in the window gives any value.
VORIP_SIZE_FILTER(KrTFilter2DMedian);
// The least and the greatest value of the window.
VORIP_SIZE_FILTER(KrTFilter2DErosion);
VORIP_SIZE_FILTER(KrTFilter2DDilatation);
#undef VORIP_SIZE_FILTER

// The binary line filters on all rows, then on all columns. They have no masks and throw KrNotImplementedException
// (file "Core\vorTools\Inc\syfilt2d") when one is to be used.
#define VORIP_BINARY_FILTER(Name)                                                               \
  template <class T>                                                                            \
  class VORIP_API Name : public KrTFilter2D<T> {                                                \
public:                                                                                         \
    explicit Name(const KrTSize<std::uint32_t>& size = {1, 1});                                 \
    Name(const KrTSize<std::uint32_t>& size, T foreground);                                     \
    ~Name() override;                                                                           \
    void Filter(KrTBuf2D<T>& image, const KrTBuf2D<std::uint8_t>& mask, bool useMask) override; \
    void Filter(KrTBuf2D<T>& image) override;                                                   \
                                                                                                \
protected:                                                                                      \
    KrTSize<std::uint32_t> mSize;                                                               \
    T mForeground;                                                                              \
  }
VORIP_BINARY_FILTER(KrTFilterFastBinary2DErosion);
VORIP_BINARY_FILTER(KrTFilterFastBinary2DDilatation);
#undef VORIP_BINARY_FILTER

#define VORIP_FILTERS_OF(T)                                 \
  extern template class KrTFilter1D<T>;                     \
  extern template class KrTFilter1DGauss<T>;                \
  extern template class KrTFilter1DMean<T>;                 \
  extern template class KrTFilter1DMedian<T>;               \
  extern template class KrTFilter1DErosion<T>;              \
  extern template class KrTFilter1DDilatation<T>;           \
  extern template class KrTFilterFastBinary1DErosion<T>;    \
  extern template class KrTFilterFastBinary1DDilatation<T>; \
  extern template class KrTFilter2D<T>;                     \
  extern template class KrTFilter2DGauss<T>;                \
  extern template class KrTFilter2DMeanSepXY<T>;            \
  extern template class KrTFilter2DMedian<T>;               \
  extern template class KrTFilter2DErosion<T>;              \
  extern template class KrTFilter2DDilatation<T>;           \
  extern template class KrTFilterFastBinary2DErosion<T>;    \
  extern template class KrTFilterFastBinary2DDilatation<T>
VORIP_FILTERS_OF(std::uint8_t);
VORIP_FILTERS_OF(std::uint16_t);
VORIP_FILTERS_OF(std::int32_t);
VORIP_FILTERS_OF(float);
extern template class KrTFilter1D<std::uint32_t>;
extern template class KrTFilter1DMedian<std::uint32_t>;
#undef VORIP_FILTERS_OF

}  // namespace KrN
