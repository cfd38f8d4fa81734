#include "ipbase/ipGradient.h"

#include <cmath>
#include <cstdlib>
#include <limits>

#include "ipbase/base/rowwalk.h"
#include "ipbase/kernels/gradient.h"
#include "ipbase/kernels/transfer.h"

namespace KrN {

using namespace kernels;

namespace {

// A baseline as a length, longer than any image where it is huge.
int Length(int baseline) { return static_cast<int>(std::min<std::int64_t>(std::abs(std::int64_t{baseline}), 65536)); }

template <class T>
bool IsDirect(const KrTAOI<T>* aoi) {
    return AllowsDirect(Access::eSwitched) && HaveRowPointers(aoi);
}

template <class T, class S>
bool Overlap(const KrTAOI<T>* a, const KrTAOI<S>* b) {
    const auto first = [](const auto* aoi) { return reinterpret_cast<std::uintptr_t>(aoi->GetRowPointer(0)); };
    const auto end = [](const auto* aoi) {
        return reinterpret_cast<std::uintptr_t>(aoi->GetRowPointer(aoi->AOIHeight() - 1) + aoi->AOIWidth());
    };
    return first(a) < end(b) && first(b) < end(a);
}

// Lets `change(y, pixels)` change the columns first ... last - 1 of the rows top ... bottom - 1.
template <class T, class Change>
void ChangeRows(KrTAOI<T>* aoi, int top, int bottom, int first, int last, const Change& change) {
    if (first >= last) return;
    const bool direct = IsDirect(aoi);
    KrTBuf1D<T> buffer(direct ? 0 : static_cast<std::size_t>(last - first));
    for (int y = top; y < bottom; ++y) {
        change(y, direct ? aoi->GetRowPointer(y) + first : buffer.Data());
        if (!direct) aoi->WriteRow(y, {static_cast<std::int16_t>(first), static_cast<std::int16_t>(last - 1)}, buffer);
    }
}

template <class T>
void FillBorder(KrTAOI<T>* aoi, const KrTSize<int>& size, int dx, int dy, T fill) {
    const int left = std::min(Length(dx), size.cx), right = std::max(left, size.cx - left);
    const int top = std::min(Length(dy), size.cy), bottom = std::max(top, size.cy - top);
    const auto row = std::get<FillRow<T>>(GetTransferKernels().fill);
    const auto rectangle = [&](int y0, int y1, int x0, int x1) {
        ChangeRows(aoi, y0, y1, x0, x1, [&](int, T* pixels) { row(pixels, fill, static_cast<std::size_t>(x1 - x0)); });
    };
    rectangle(0, top, 0, size.cx);
    rectangle(top, bottom, 0, left);
    rectangle(top, bottom, right, size.cx);
    rectangle(bottom, size.cy, 0, size.cx);
}

// Runs `part(first, count)` on a row whose narrowest elements are T: on whole blocks, then on the last block, in which
// some pixels come once more. Remainders would cost most of the time in short rows, but not those of wide elements.
template <class T, class Part>
void InBlocks(std::size_t count, const Part& part) {
    constexpr std::size_t block = kBlock / sizeof(T);
    const std::size_t rest = count < block || sizeof(T) > 2 ? 0 : count % block;
    part(0, count - rest);
    if (rest > 0) part(count - block, block);
}

// Goes down the rows of a phase image with the sums of both directions, of which it holds the last |dy| + 1 rows. With
// the rows counted as k = 0 ... H - |dy| - 1 and the columns as j = 0 ... W - |dx| - 1, those of pixel (k, j) are
//     sign of dx * (steps j ... j + |dx| - 1 of its row) + sign of dy * (steps k ... k + |dy| - 1 of its column),
// the sums of the next steps, or of the previous ones of the pixel |dx| or |dy| further; it lies there in the image.
// Along and down, floats are summed as they are, of bytes only the periods in C.
template <class T, class C, class S>
class GradientSums {
public:
    GradientSums(const KrTAOI<T>& phase, KrTAOI<S>& sums, int dx, int dy)
        : mPhase(phase),
          mSums(sums),
          mWidth(static_cast<std::size_t>(sums.AOIWidth())),
          mA(static_cast<std::size_t>(Length(dx))),
          mB(Length(dy)),
          mCount(mWidth - mA),
          mRowOffset(dy < 0 ? mB : 0),
          mColumnOffset(dx < 0 ? mA : 0),
          mSignX(dx < 0 ? -1 : 1),
          mSignY(dy < 0 ? -1 : 1),
          mBlocks((mWidth + kBlock - 1) / kBlock * kBlock),
          mSteps(mBlocks + kBlock, kWindowRows),
          mAlong(mBlocks + kBlock, kWindowRows),
          mDown(mBlocks, 1),
          mOnlyRow(mB > 0 || std::is_same_v<T, S> ? 0 : mWidth) {}

    // Computes row k and returns it; rows come in ascending order.
    const S* Add(int k) {
        if (mA > 0 && k % kRows == 0) SumAlongRows(k);
        if (mB > 0) SumDownColumns(k);
        const C *along = mAlong.Row(static_cast<std::size_t>(k % kRows)), *down = mDown.Row(0) + mColumnOffset;
        S* row = Row(k);
        if constexpr (!std::is_same_v<T, u8>)
            mSum(row, along, down, static_cast<S>(mSignX), static_cast<S>(mSignY), mCount);
        else
            InBlocks<T>(mCount, [&, ends = EndsOf(k)](std::size_t x, std::size_t count) {
                const Ends from{ends.left + x, ends.right + x, ends.top + x, ends.bottom + x};
                mFit &= mSum(row + x, from, {along + x, down + x, mSignX, mSignY}, count);
            });
        return row;
    }
    S* Row(int k) { return mOnlyRow.Size() > 0 ? mOnlyRow.Data() : mSums.GetRowPointer(k % (mB + 1)); }
    bool Fit() const { return mFit; }  // whether S was wide enough so far

private:
    using Step = std::conditional_t<std::is_same_v<T, u8>, i8, T>;
    using SumRow = std::conditional_t<std::is_same_v<T, u8>, PhaseSumRow<C, S>, SignedSumRow<S>>;
    static constexpr int kRows = static_cast<int>(kWindowRows);

    void Steps(Step* steps, const T* from, const T* to, std::size_t width) const {
        InBlocks<T>(width, [&](std::size_t x, std::size_t count) { mStep(steps + x, from + x, to + x, count); });
    }

    void SumAlongRows(int k) {
        const int rows = std::min(kRows, mSums.AOIHeight() - mB - k);
        for (int r = 0; r < rows; ++r) {
            const T* row = mPhase.GetRowPointer(k + mRowOffset + r);
            Steps(mSteps.Row(static_cast<std::size_t>(r)), row, row + 1, mWidth - 1);
        }
        mWindows(mSteps.Row(0), mSteps.Width(), mAlong.Row(0), mAlong.Width(), static_cast<std::size_t>(rows),
                 {mA, mCount, mColumnOffset > 0});
    }

    void SumDownColumns(int k) {
        if (k == 0)
            for (int y = 0; y < mB; ++y) mEnter(mDown.Row(0), StepsDown(y, 0), mBlocks);
        else
            mSlide(mDown.Row(0), StepsDown(k - 1, 0), StepsDown(k + mB - 1, 1), mBlocks);
    }

    const Step* StepsDown(int y, std::size_t place) {
        Step* steps = mStepsDown.Row(place);
        Steps(steps, mPhase.GetRowPointer(y), mPhase.GetRowPointer(y + 1), mWidth);
        return steps;
    }

    Ends EndsOf(int k) const {
        const u8* row = mPhase.GetRowPointer(k + mRowOffset);
        const u8 *top = mPhase.GetRowPointer(k) + mColumnOffset, *bottom = mPhase.GetRowPointer(k + mB) + mColumnOffset;
        Ends ends{row, row + mA, top, bottom};
        if (mSignX < 0) std::swap(ends.left, ends.right);
        if (mSignY < 0) std::swap(ends.top, ends.bottom);
        return ends;
    }

    const GradientKernels& mRows = GetGradientKernels();
    const PairRow<Step, T, T> mStep = std::get<PairRow<Step, T, T>>(mRows.steps);
    const WindowRow<Step, C> mWindows = std::get<WindowRow<Step, C>>(mRows.windows);
    const EnterRow<Step, C> mEnter = std::get<EnterRow<Step, C>>(mRows.enter);
    const SlideRow<Step, C> mSlide = std::get<SlideRow<Step, C>>(mRows.slide);
    const SumRow mSum = std::get<SumRow>(mRows.sum);
    const KrTAOI<T>& mPhase;
    KrTAOI<S>& mSums;
    std::size_t mWidth, mA;
    int mB;
    std::size_t mCount;
    int mRowOffset;
    std::size_t mColumnOffset;
    int mSignX, mSignY;
    std::size_t mBlocks;  // the width in whole blocks
    bool mFit = true;
    KrTBuf2D<Step> mSteps, mStepsDown{mBlocks, 2};
    KrTBuf2D<C> mAlong, mDown;  // sums along a few rows and down all columns; 0 where the direction is off
    KrTBuf1D<S> mOnlyRow;       // for |dy| = 0, where the gradients of bytes take all rows of mSums
};

// Sets the columns |dx| ... W - |dx| - 1 of the rows |dy| ... H - |dy| - 1 by `difference(pixels, here, before,
// count)`; `sums` has the size of the region. False when S is too narrow for the sums; the pixels are wrong then.
template <class C, class T, class S, class D, class Difference>
bool FillInside(const KrTAOI<T>& phase, KrTAOI<S>& sums, int dx, int dy, KrTAOI<D>* dst, const Difference& difference) {
    const int a = Length(dx), b = Length(dy), width = sums.AOIWidth(), height = sums.AOIHeight();
    GradientSums<T, C, S> walk(phase, sums, dx, dy);
    for (int k = 0; k < b; ++k) walk.Add(k);
    const auto count = static_cast<std::size_t>(width - 2 * a);
    ChangeRows(dst, b, height - b, a, width - a, [&](int y, D* pixels) {
        if (!walk.Fit()) return;
        const S* last = walk.Add(y);
        const S* first = walk.Row(y - b);
        const S* here = (dy < 0 ? first : last) + (dx < 0 ? 0 : a);
        const S* before = (dy < 0 ? last : first) + (dx < 0 ? a : 0);
        InBlocks<S>(count, [&](std::size_t x, std::size_t n) { difference(pixels + x, here + x, before + x, n); });
    });
    return walk.Fit();
}

// The same stretched, together with the border's 0, which `border` becomes. Nothing changes when it is false.
template <class C, class T, class S>
bool StretchInside(const KrTAOI<T>& phase, KrTAOI<S>& sums, int dx, int dy, KrTAOI<u8>* dst, u8& border) {
    const int a = Length(dx), b = Length(dy), width = sums.AOIWidth(), height = sums.AOIHeight();
    const short top = b > 0 ? 1 : 0;  // the gradient's row |dy| stands below the |dy| + 1 rows of sums
    KrTAOI<S> gradient(sums, {0, top, static_cast<short>(width), static_cast<short>(height - top)});
    Extremes<S> extremes{kNoGradient<S>, kNoGradient<S>};
    const auto subtract = std::get<GradientRow<S>>(GetGradientKernels().gradient);
    const auto difference = [&](S* pixels, const S* here, const S* before, std::size_t count) {
        subtract(pixels, here, before, count, extremes);
    };
    if (!FillInside<C>(phase, sums, dx, dy, &gradient, difference)) return false;
    const Stretched<S> range(extremes);
    const auto stretch = std::get<ConstantRow<u8, S, Stretched<S>>>(GetGradientKernels().stretch);
    ChangeRows(dst, b, height - b, a, width - a, [&](int y, u8* pixels) {
        const S* row = gradient.GetRowPointer(y) + a;
        InBlocks<u8>(static_cast<std::size_t>(width - 2 * a),
                     [&](std::size_t x, std::size_t n) { stretch(pixels + x, row + x, range, n); });
    });
    stretch(&border, &kNoGradient<S>, range, 1);
    return true;
}

template <class C, class T, class S, class D>
bool ComputeInside(const KrTAOI<T>& phase, KrTAOI<S>& sums, int dx, int dy, KrTAOI<D>* dst, D& border) {
    if constexpr (std::is_same_v<D, u8>)
        return StretchInside<C>(phase, sums, dx, dy, dst, border);
    else
        return FillInside<C>(phase, sums, dx, dy, dst, std::get<PairRow<D, S, S>>(GetGradientKernels().difference));
}

template <class T>
void CopyPhase(const KrTAOI<T>* src, KrTAOI<T>* phase) {
    WalkRows(
        Access::eSwitched, [](T* d, const T* s, std::size_t n) { std::copy(s, s + n, d); }, phase, src);
}
void CopyPhase(const KrTAOI<double>* src, KrTAOI<u8>* phase) {
    WalkRows(Access::eSwitched, GetGradientKernels().wrap, phase, src);
}

template <class T>
T Fill(int infiniteBorder) {
    return infiniteBorder ? std::numeric_limits<T>::infinity() : T{0};
}

}  // namespace

template <class Step, class Sums, class Phase>
KrTGradient<Step, Sums, Phase>::KrTGradient() = default;
template <class Step, class Sums, class Phase>
KrTGradient<Step, Sums, Phase>::KrTGradient(const KrTGradient&) = default;
template <class Step, class Sums, class Phase>
KrTGradient<Step, Sums, Phase>& KrTGradient<Step, Sums, Phase>::operator=(const KrTGradient&) = default;
template <class Step, class Sums, class Phase>
KrTGradient<Step, Sums, Phase>::~KrTGradient() = default;

template <class Step, class Sums, class Phase>
void KrTGradient<Step, Sums, Phase>::Init(const KrTSize<short>& size) {
    std::apply([&](auto&... sums) { (sums.Resize(size, 1), ...); }, mSums);
    mPhase.Resize(size, 1);
}

template <class Step, class Sums, class Phase>
template <class T, class D>
void KrTGradient<Step, Sums, Phase>::Compute(const KrTAOI<T>* src, int dx, int dy, KrTAOI<D>* dst, D border) {
    using P = typename Phase::Pixel;
    const KrTSize<int> size = CommonRegion(src, dst, &mPhase);
    if (size.cx == 0) return;
    const KrTRectangle<short> region(0, 0, static_cast<short>(size.cx), static_cast<short>(size.cy));
    if (2 * Length(dx) >= size.cx || 2 * Length(dy) >= size.cy) return FillBorder(dst, size, dx, dy, border);

    KrTAOI<P> copy(mPhase, region);
    const KrTAOI<P>* phase = &copy;
    if constexpr (std::is_same_v<T, P>)
        if (IsDirect(src) && (std::is_same_v<D, u8> || (IsDirect(dst) && !Overlap(src, dst)))) phase = src;
    if (phase == &copy) CopyPhase(src, &copy);

    const auto compute = [&](auto step, auto& buffer) {
        KrTAOI sums(buffer, region);
        return ComputeInside<decltype(step)>(*phase, sums, dx, dy, dst, border);
    };
    if constexpr (std::is_same_v<P, u8>) {
        const bool narrow = std::max(Length(dx), Length(dy)) <= kNarrowBaseline;
        if (!narrow || !compute(i8{}, std::get<0>(mSums))) compute(i16{}, std::get<1>(mSums));
    } else {
        compute(P{}, std::get<0>(mSums));
    }
    FillBorder(dst, size, dx, dy, border);
}

namespace {

// Reads rows of one image and adds what is computed from them to rows of another.
template <class T, class S>
class RowAdder {
public:
    RowAdder(const KrTAOI<T>* values, KrTAOI<S>* sums)
        : mSize(CommonRegion(values, sums)),
          mDirect(mSize.cx > 0 && IsDirect(values) && IsDirect(sums)),
          mValues(values),
          mSums(sums),
          mRead(static_cast<std::size_t>(mSize.cx)),
          mOld(static_cast<std::size_t>(mSize.cx)) {}

    const KrTSize<int>& Size() const { return mSize; }
    std::size_t Width() const { return mRead.Size(); }

    const T* Values(int y) {
        if (mDirect) return mValues->GetRowPointer(y);
        mValues->ReadRow(y, walk::Columns(mSize.cx), mRead);
        return mRead.Data();
    }
    void Add(int y, std::size_t first, const S* values, std::size_t count, S sign) {
        S* row = mDirect ? mSums->GetRowPointer(y) : mOld.Data();
        if (!mDirect) mSums->ReadRow(y, walk::Columns(mSize.cx), mOld);
        mSignedSum(row + first, row + first, values, S{1}, sign, count);
        if (!mDirect) mSums->WriteRow(y, walk::Columns(mSize.cx), mOld);
    }

private:
    const SignedSumRow<S> mSignedSum = std::get<SignedSumRow<S>>(GetGradientKernels().sum);
    KrTSize<int> mSize;
    bool mDirect;
    const KrTAOI<T>* mValues;
    KrTAOI<S>* mSums;
    KrTBuf1D<T> mRead;
    KrTBuf1D<S> mOld;
};

template <class T, class S>
void AddRowSums(const KrTAOI<T>* steps, int baseline, KrTAOI<S>* sums, bool back) {
    RowAdder<T, S> adder(steps, sums);
    if (baseline <= 0 || (back && baseline >= adder.Size().cx)) return;
    const std::size_t width = adder.Width(), n = std::min(static_cast<std::size_t>(baseline), width);
    const Windows windows{n, back ? width - n : width - n + 1, back};
    const auto row = std::get<WindowRow<T, S>>(GetGradientKernels().windows);
    KrTBuf1D<S> found(width + 1);
    for (int y = 0; y < adder.Size().cy; ++y) {
        row(adder.Values(y), width, found.Data(), width, 1, windows);
        adder.Add(y, back ? n : 0, found.Data(), windows.count, static_cast<S>(back ? -1 : 1));
    }
}

template <class T, class S>
void AddColumnSums(const KrTAOI<T>* steps, int baseline, KrTAOI<S>* sums, bool back) {
    RowAdder<T, S> adder(steps, sums);
    const int height = adder.Size().cy;
    if (baseline <= 0 || (back && baseline >= height)) return;
    const int n = std::min(baseline, height);
    const std::size_t width = adder.Width();
    const auto enter = std::get<EnterRow<T, S>>(GetGradientKernels().enter);
    const auto slide = std::get<SlideRow<T, S>>(GetGradientKernels().slide);
    KrTBuf1D<S> sum(width);
    KrTBuf1D<T> leaving(width);
    for (int y = 0; y < n; ++y) enter(sum.Data(), adder.Values(y), width);
    for (int k = 0; k < height - n + (back ? 0 : 1); ++k) {
        if (k > 0) {
            const T* leave = adder.Values(k - 1);
            std::copy(leave, leave + width, leaving.Data());
            slide(sum.Data(), leaving.Data(), adder.Values(k + n - 1), width);
        }
        adder.Add(back ? k + n : k, 0, sum.Data(), width, static_cast<S>(back ? -1 : 1));
    }
}

}  // namespace

template <class Step, class Sums, class Phase>
void KrTGradient<Step, Sums, Phase>::RowSum(const StepAOI* steps, int n, SumAOI* sums) {
    AddRowSums(steps, n, sums, false);
}
template <class Step, class Sums, class Phase>
void KrTGradient<Step, Sums, Phase>::RowSumBack(const StepAOI* steps, int n, SumAOI* sums) {
    AddRowSums(steps, n, sums, true);
}
template <class Step, class Sums, class Phase>
void KrTGradient<Step, Sums, Phase>::ColSum(const StepAOI* steps, int n, SumAOI* sums) {
    AddColumnSums(steps, n, sums, false);
}
template <class Step, class Sums, class Phase>
void KrTGradient<Step, Sums, Phase>::ColSumBack(const StepAOI* steps, int n, SumAOI* sums) {
    AddColumnSums(steps, n, sums, true);
}
template <class Step, class Sums, class Phase>
void KrTGradient<Step, Sums, Phase>::MaskBoundary(SumAOI* image, int dx, int dy, Sum fill) {
    FillBorder(image, CommonRegion(image), dx, dy, fill);
}

template class KrTGradient<std::uint8_t, KrBufferAOI32Float, KrBufferAOI8>;
template class KrTGradient<double, KrBufferAOI64Double, KrBufferAOI8>;
template class KrTGradient<float, KrBufferAOI32Float, KrBufferAOI32Float>;

void KrGradient::Execute(const KrAOI8* src, int dx, int dy, KrAOI8* dst) { Compute(src, dx, dy, dst, u8{0}); }

void KrGradientDouble::Execute(const KrAOI64Double* src, int dx, int dy, KrAOI64Double* dst, int infiniteBorder) {
    Compute(src, dx, dy, dst, Fill<double>(infiniteBorder));
}

void KrGradientFloatNonModulo::Execute(const KrAOI32Float* src, int dx, int dy, KrAOI32Float* dst, int infiniteBorder) {
    Compute(src, dx, dy, dst, Fill<float>(infiniteBorder));
}

}  // namespace KrN
