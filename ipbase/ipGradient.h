#pragma once

#include <tuple>

#include "imagemodel/krbufferaoi.h"

// Gradients of phase images over a baseline: at every pixel the phase difference accumulated over the next |dx| pixels
// minus the one accumulated over the previous |dx|, plus the same down the columns over |dy|. As each step from pixel
// to pixel is wrapped before it is accumulated, the jumps of a wrapped phase do not show.
//
// dx and dy are baselines in pixels; 0 switches a direction off. Negative ones accumulate backwards, which gives the
// same result when the other direction is off; with both on, the signs choose on which diagonal the two accumulations
// are compared: with A(x, y) = the sum over the next (dx, dy > 0) or minus the sum over the previous (< 0) steps of
// both directions, the gradient is A(x, y) - A(x - dx, y - dy).
//
// The first and last |dx| columns and |dy| rows are border, which is all of the image when it is not wider than 2 |dx|
// and higher than 2 |dy|.
//
// Init must be called with the size of the images before Execute; what is processed is the common region of source,
// destination and that size. Source and destination may be the same image. A read-only destination throws KrException
// before anything is written; nothing else is thrown, null images make an operation do nothing. One object serves one
// thread at a time; copies are independent.
namespace KrN {

// Buffers and sums for one type of the steps from pixel to pixel and one type of their sums; `PhaseBuffer` holds the
// phase as the steps are computed from it.
template <class Step, class SumBuffer, class PhaseBuffer>
class VORIP_API KrTGradient {
public:
    using Sum = typename SumBuffer::Pixel;
    using SumAOI = KrTAOI<Sum>;

    KrTGradient();
    KrTGradient(const KrTGradient&);
    KrTGradient& operator=(const KrTGradient&);
    virtual ~KrTGradient();

    // Sizes the buffers.
    virtual void Init(const KrTSize<short>& size);

protected:
    using StepAOI = KrTAOI<Step>;

    // Each adds sums of n > 0 successive steps to `sums`. RowSum adds the steps x ... x + n - 1 at x (for n greater
    // than the width the whole row at 0), RowSumBack minus the steps x - n ... x - 1; where these leave the image
    // nothing is added. ColSum and ColSumBack do the same along the columns.
    void RowSum(const StepAOI* steps, int n, SumAOI* sums);
    void RowSumBack(const StepAOI* steps, int n, SumAOI* sums);
    void ColSum(const StepAOI* steps, int n, SumAOI* sums);
    void ColSumBack(const StepAOI* steps, int n, SumAOI* sums);

    // Sets the border of the image to `fill`.
    void MaskBoundary(SumAOI* image, int dx, int dy, Sum fill);

    // The gradient of `src` with the given border, which bytes are stretched with; over the common region with the
    // buffers.
    template <class T, class D>
    void Compute(const KrTAOI<T>* src, int dx, int dy, KrTAOI<D>* dst, D border);

private:
    // Steps of bytes are summed as integers, in 16 bits unless they turn out too great.
    using SumBuffers = std::conditional_t<std::is_same_v<PhaseBuffer, KrBufferAOI8>,
                                          std::tuple<KrBufferAOI16, KrBufferAOI32>, std::tuple<SumBuffer>>;

    PhaseBuffer mPhase;  // of sources that cannot be used where they are
    SumBuffers mSums;    // of both directions, of as many rows as are still needed; behind them what is to be stretched
};

extern template class VORIP_API KrTGradient<std::uint8_t, KrBufferAOI32Float, KrBufferAOI8>;
extern template class VORIP_API KrTGradient<double, KrBufferAOI64Double, KrBufferAOI8>;
extern template class VORIP_API KrTGradient<float, KrBufferAOI32Float, KrBufferAOI32Float>;

// 8-bit phases, one period being 256. The result is stretched linearly over 0..255, its least value (the border's 0
// included) giving 0 and its greatest 255: trunc((g - min) * 255 / (max - min)); all 0 when there is only one value.
class VORIP_API KrGradient : public KrTGradient<std::uint8_t, KrBufferAOI32Float, KrBufferAOI8> {
public:
    void Execute(const KrAOI8* src, int dx, int dy, KrAOI8* dst);
};

// Phases 0..255 held as doubles, of which the integer parts count, modulo 256. The border is 0, or +infinity when
// `infiniteBorder` is not 0.
class VORIP_API KrGradientDouble : public KrTGradient<double, KrBufferAOI64Double, KrBufferAOI8> {
public:
    void Execute(const KrAOI64Double* src, int dx, int dy, KrAOI64Double* dst, int infiniteBorder);
};

// Values that are continuous already: the steps are not wrapped. Border as for KrGradientDouble.
class VORIP_API KrGradientFloatNonModulo : public KrTGradient<float, KrBufferAOI32Float, KrBufferAOI32Float> {
public:
    void Execute(const KrAOI32Float* src, int dx, int dy, KrAOI32Float* dst, int infiniteBorder);
};

}  // namespace KrN
