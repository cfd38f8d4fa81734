#include "ipbase/ipGradient.h"

#include <cmath>
#include <cstdlib>
#include <limits>

#include "ipbase/ipConvert.h"
#include "ipbase/ipRows.h"
#include "ipbase/rows/ipArithRows.h"
#include "ipbase/rows/ipGradientRows.h"
#include "ipbase/rows/ipTransferRows.h"

namespace KrN {

using namespace rows;

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
    const auto row = std::get<FillRow<T>>(GetTransferRows().fill);
    const auto rectangle = [&](int y0, int y1, int x0, int x1) {
        ChangeRows(aoi, y0, y1, x0, x1, [&](int, T* pixels) { row(pixels, fill, static_cast<std::size_t>(x1 - x0)); });
    };
    rectangle(0, top, 0, size.cx);
    rectangle(top, bottom, 0, left);
    rectangle(top, bottom, right, size.cx);
    rectangle(bottom, size.cy, 0, size.cx);
}

// Goes down the rows of a phase image with the sums of both directions, of which it holds the last |dy| + 1 rows. With
// the rows counted as k = 0 ... H - |dy| - 1 and the columns as j = 0 ... W - |dx| - 1, those of pixel (k, j) are
//     sign of dx * (steps j ... j + |dx| - 1 of its row) + sign of dy * (steps k ... k + |dy| - 1 of its column),
// the sums of the next steps, or of the previous ones of the pixel |dx| or |dy| further; it lies there in the image.
template <class T, class S>
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
          mSignX(static_cast<S>(dx < 0 ? -1 : 1)),
          mSignY(static_cast<S>(dy < 0 ? -1 : 1)),
          mSteps(mWidth, kWindowRows),
          mAlong(mCount, kWindowRows),
          mDown(mWidth, 1) {}

    // Computes row k and returns it; rows come in ascending order.
    const S* Add(int k) {
        if (mA > 0 && k % kRows == 0) SumAlongRows(k);
        if (mB > 0) SumDownColumns(k);
        S* row = Row(k);
        mSignedSum(row, mAlong.Row(static_cast<std::size_t>(k % kRows)), mDown.Row(0) + mColumnOffset, mSignX, mSignY,
                   mCount);
        return row;
    }
    S* Row(int k) const { return mSums.GetRowPointer(k % (mB + 1)); }

private:
    static constexpr int kRows = static_cast<int>(kWindowRows);

    void SumAlongRows(int k) {
        const int rows = std::min(kRows, mSums.AOIHeight() - mB - k);
        for (int r = 0; r < rows; ++r) {
            const T* row = mPhase.GetRowPointer(k + mRowOffset + r);
            mStep(mSteps.Row(static_cast<std::size_t>(r)), row, row + 1, mWidth - 1);
        }
        mWindows(mSteps.Row(0), mWidth, mAlong.Row(0), mCount, static_cast<std::size_t>(rows),
                 {mA, mCount, mColumnOffset > 0});
    }

    void SumDownColumns(int k) {
        if (k == 0)
            for (int y = 0; y < mB; ++y) mEnter(mDown.Row(0), StepsDown(y, 0), mWidth);
        else
            mSlide(mDown.Row(0), StepsDown(k - 1, 0), StepsDown(k + mB - 1, 1), mWidth);
    }

    const T* StepsDown(int y, std::size_t place) {
        T* steps = mStepsDown.Row(place);
        mStep(steps, mPhase.GetRowPointer(y), mPhase.GetRowPointer(y + 1), mWidth);
        return steps;
    }

    const PairRow<T, T, T> mStep = std::get<PairRow<T, T, T>>(GetGradientRows().steps);
    const WindowRow<T, S> mWindows = std::get<WindowRow<T, S>>(GetGradientRows().windows);
    const EnterRow<T, S> mEnter = std::get<EnterRow<T, S>>(GetGradientRows().enter);
    const SlideRow<T, S> mSlide = std::get<SlideRow<T, S>>(GetGradientRows().slide);
    const SignedSumRow<S> mSignedSum = std::get<SignedSumRow<S>>(GetGradientRows().signedSum);
    const KrTAOI<T>& mPhase;
    KrTAOI<S>& mSums;
    std::size_t mWidth, mA;
    int mB;
    std::size_t mCount;
    int mRowOffset;
    std::size_t mColumnOffset;
    S mSignX, mSignY;
    KrTBuf2D<T> mSteps, mStepsDown{mWidth, 2};
    KrTBuf2D<S> mAlong, mDown;  // sums along a few rows and down all columns; 0 where the direction is off
};

// The gradient inside the border; `sums` has the size of the region.
template <class T, class S>
void FillInside(const KrTAOI<T>& phase, KrTAOI<S>& sums, int dx, int dy, KrTAOI<S>* dst) {
    const int a = Length(dx), b = Length(dy), width = sums.AOIWidth(), height = sums.AOIHeight();
    if (2 * a >= width || 2 * b >= height) return;
    GradientSums<T, S> walk(phase, sums, dx, dy);
    for (int k = 0; k < b; ++k) walk.Add(k);
    const auto difference = std::get<PairRow<S, S, S>>(GetArithRows().subFloat);
    const auto count = static_cast<std::size_t>(width - 2 * a);
    ChangeRows(dst, b, height - b, a, width - a, [&](int y, S* pixels) {
        const S* last = walk.Add(y);
        const S* first = walk.Row(y - b);
        const S* here = (dy < 0 ? first : last) + (dx < 0 ? 0 : a);
        const S* before = (dy < 0 ? last : first) + (dx < 0 ? a : 0);
        difference(pixels, here, before, count);
    });
}

template <class T>
void CopyPhase(const KrTAOI<T>* src, KrTAOI<T>* phase) {
    WalkRows(
        Access::eSwitched, [](T* d, const T* s, std::size_t n) { std::copy(s, s + n, d); }, phase, src);
}
void CopyPhase(const KrTAOI<double>* src, KrTAOI<u8>* phase) {
    WalkRows(Access::eSwitched, GetGradientRows().wrap, phase, src);
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
    mSums.Resize(size, 1);
    mPhase.Resize(size, 1);
}

template <class Step, class Sums, class Phase>
template <class T>
void KrTGradient<Step, Sums, Phase>::Compute(const KrTAOI<T>* src, int dx, int dy, SumAOI* dst, Sum fill) {
    const KrTSize<int> size = CommonRegion(src, dst, &mSums);
    if (size.cx == 0) return;
    const KrTRectangle<short> region(0, 0, static_cast<short>(size.cx), static_cast<short>(size.cy));
    KrTAOI<Sum> sums(mSums, region);
    if constexpr (std::is_same_v<T, typename Phase::Pixel>)
        if (IsDirect(src) && IsDirect(dst) && !Overlap(src, dst)) {
            FillInside(*src, sums, dx, dy, dst);
            return FillBorder(dst, size, dx, dy, fill);
        }
    KrTAOI<typename Phase::Pixel> phase(mPhase, region);
    CopyPhase(src, &phase);
    FillInside(phase, sums, dx, dy, dst);
    FillBorder(dst, size, dx, dy, fill);
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
    const SignedSumRow<S> mSignedSum = std::get<SignedSumRow<S>>(GetGradientRows().signedSum);
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
    const auto row = std::get<WindowRow<T, S>>(GetGradientRows().windows);
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
    const auto enter = std::get<EnterRow<T, S>>(GetGradientRows().enter);
    const auto slide = std::get<SlideRow<T, S>>(GetGradientRows().slide);
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

void KrGradient::Init(const KrTSize<short>& size) {
    KrTGradient::Init(size);
    mResult.Resize(size, 1);
}

void KrGradient::Execute(const KrAOI8* src, int dx, int dy, KrAOI8* dst) {
    const KrTSize<int> size = CommonRegion(src, dst, &mResult);
    if (size.cx == 0) return;
    KrAOI32Float result(mResult, {0, 0, static_cast<short>(size.cx), static_cast<short>(size.cy)});
    Compute(src, dx, dy, &result, 0.0f);
    KrLConvertAOI().Execute(&result, dst, KrLConvertAOI::eScannedRange);
}

void KrGradientDouble::Execute(const KrAOI64Double* src, int dx, int dy, KrAOI64Double* dst, int infiniteBorder) {
    Compute(src, dx, dy, dst, Fill<double>(infiniteBorder));
}

void KrGradientFloatNonModulo::Execute(const KrAOI32Float* src, int dx, int dy, KrAOI32Float* dst, int infiniteBorder) {
    Compute(src, dx, dy, dst, Fill<float>(infiniteBorder));
}

}  // namespace KrN
