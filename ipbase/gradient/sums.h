#pragma once

#include <algorithm>
#include <cstdlib>
#include <type_traits>

#include "imagemodel/kraoi.h"
#include "ipbase/kernels/gradient.h"

// The sums of steps from pixel to pixel over a baseline, of which gradients are the differences.
namespace KrN {

// A baseline as a length, longer than any image where it is huge.
inline int Length(int baseline) {
    return static_cast<int>(std::min<std::int64_t>(std::abs(std::int64_t{baseline}), 65536));
}

// Runs `part(first, count)` on a row whose narrowest elements are T: on whole blocks, then on the last block, in which
// some pixels come once more. Remainders would cost most of the time in short rows, but not those of wide elements.
template <class T, class Part>
void InBlocks(std::size_t count, const Part& part) {
    constexpr std::size_t block = kernels::kBlock / sizeof(T);
    const std::size_t rest = count < block || sizeof(T) > 2 ? 0 : count % block;
    part(0, count - rest);
    if (rest > 0) part(count - block, block);
}

// Both baselines. With the rows counted as k = 0 ... H - |dy| - 1 and the columns as j = 0 ... W - |dx| - 1, the sums
// of pixel (k, j) are
//     sign of dx * (steps j ... j + |dx| - 1 of its row) + sign of dy * (steps k ... k + |dy| - 1 of its column),
// the sums of the next steps, or of the previous ones of the pixel |dx| or |dy| further; it lies there in the image.
struct Baselines {
    Baselines(int dx, int dy)
        : a(Length(dx)),
          b(Length(dy)),
          signX(dx < 0 ? -1 : 1),
          signY(dy < 0 ? -1 : 1),
          firstX(dx < 0 ? a : 0),
          firstY(dy < 0 ? b : 0) {}
    int a, b;  // |dx|, |dy|
    int signX, signY;
    int firstX, firstY;  // where pixel (0, 0) lies
};

// A step from one pixel to the next, of bytes wrapped.
template <class T>
using GradientStep = std::conditional_t<std::is_same_v<T, kernels::u8>, kernels::i8, T>;

template <class T>
class StepMaker {
public:
    void operator()(GradientStep<T>* steps, const T* from, const T* to, std::size_t width) const {
        InBlocks<T>(width, [&](std::size_t x, std::size_t count) { mRow(steps + x, from + x, to + x, count); });
    }

private:
    const kernels::PairRow<GradientStep<T>, T, T> mRow =
        std::get<kernels::PairRow<GradientStep<T>, T, T>>(kernels::GetGradientKernels().steps);
};

// The width in whole blocks.
inline std::size_t InWholeBlocks(std::size_t width) {
    return (width + kernels::kBlock - 1) / kernels::kBlock * kernels::kBlock;
}

// The sums of |dx| steps along the rows, computed a few rows at a time; 0 where this direction is off.
template <class T, class C>
class SumsAlong {
public:
    SumsAlong(const KrTAOI<T>& phase, const Baselines& lines, std::size_t width, int rows)
        : mPhase(phase),
          mLines(lines),
          mWidth(width),
          mRows(rows),
          mSteps(InWholeBlocks(width) + kernels::kBlock, kernels::kWindowRows),
          mSums(InWholeBlocks(width) + kernels::kBlock, kernels::kWindowRows) {}

    const C* Row(int k) {
        const int place = k % static_cast<int>(kernels::kWindowRows);
        if (mLines.a > 0 && place == 0) Compute(k);
        return mSums.Row(static_cast<std::size_t>(place));
    }

private:
    void Compute(int k) {
        const std::size_t rows = std::min(kernels::kWindowRows, static_cast<std::size_t>(mRows - k));
        for (std::size_t r = 0; r < rows; ++r) {
            const T* row = mPhase.GetRowPointer(k + mLines.firstY + static_cast<int>(r));
            mMakeSteps(mSteps.Row(r), row, row + 1, mWidth - 1);
        }
        const auto n = static_cast<std::size_t>(mLines.a);
        std::get<kernels::WindowRow<GradientStep<T>, C>>(kernels::GetGradientKernels().windows)(
            mSteps.Row(0), mSteps.Width(), mSums.Row(0), mSums.Width(), rows, {n, mWidth - n, mLines.firstX > 0});
    }

    const StepMaker<T> mMakeSteps;
    const KrTAOI<T>& mPhase;
    Baselines mLines;
    std::size_t mWidth;
    int mRows;
    KrTBuf2D<GradientStep<T>> mSteps;
    KrTBuf2D<C> mSums;
};

// The sums of |dy| steps down all columns, in a window that slides down; 0 where this direction is off.
template <class T, class C>
class SumsDown {
public:
    SumsDown(const KrTAOI<T>& phase, const Baselines& lines, std::size_t width)
        : mPhase(phase), mLength(lines.b), mWidth(width), mSteps(InWholeBlocks(width), 2), mSums(mSteps.Width()) {}

    // Rows come in ascending order.
    const C* Row(int k) {
        if (mLength > 0 && k > 0)
            mSlide(mSums.Data(), Steps(k - 1, 0), Steps(k + mLength - 1, 1), mSums.Size());
        else
            for (int y = 0; y < mLength; ++y) mEnter(mSums.Data(), Steps(y, 0), mSums.Size());
        return mSums.Data();
    }

private:
    const GradientStep<T>* Steps(int y, std::size_t place) {
        mMakeSteps(mSteps.Row(place), mPhase.GetRowPointer(y), mPhase.GetRowPointer(y + 1), mWidth);
        return mSteps.Row(place);
    }

    const StepMaker<T> mMakeSteps;
    const kernels::EnterRow<GradientStep<T>, C> mEnter =
        std::get<kernels::EnterRow<GradientStep<T>, C>>(kernels::GetGradientKernels().enter);
    const kernels::SlideRow<GradientStep<T>, C> mSlide =
        std::get<kernels::SlideRow<GradientStep<T>, C>>(kernels::GetGradientKernels().slide);
    const KrTAOI<T>& mPhase;
    int mLength;
    std::size_t mWidth;
    KrTBuf2D<GradientStep<T>> mSteps;
    KrTBuf1D<C> mSums;
};

// Goes down the rows of a phase image with the sums of both directions, of which it holds the last |dy| + 1 rows. Along
// and down, floats are summed as they are, of bytes only the periods in C.
template <class T, class C, class S>
class GradientSums {
public:
    GradientSums(const KrTAOI<T>& phase, KrTAOI<S>& sums, const Baselines& lines)
        : mPhase(phase),
          mSums(sums),
          mLines(lines),
          mCount(static_cast<std::size_t>(sums.AOIWidth() - lines.a)),
          mAlong(phase, lines, static_cast<std::size_t>(sums.AOIWidth()), sums.AOIHeight() - lines.b),
          mDown(phase, lines, static_cast<std::size_t>(sums.AOIWidth())),
          mOnlyRow(lines.b > 0 || std::is_same_v<T, S> ? 0 : static_cast<std::size_t>(sums.AOIWidth())) {}

    // Computes row k and returns it; rows come in ascending order.
    const S* Add(int k) {
        const C *along = mAlong.Row(k), *down = mDown.Row(k) + mLines.firstX;
        S* row = Row(k);
        if constexpr (!std::is_same_v<T, kernels::u8>)
            mSum(row, along, down, static_cast<S>(mLines.signX), static_cast<S>(mLines.signY), mCount);
        else
            InBlocks<T>(mCount, [&, ends = EndsOf(k)](std::size_t x, std::size_t count) {
                const kernels::Ends from{ends.left + x, ends.right + x, ends.top + x, ends.bottom + x};
                mFit &= mSum(row + x, from, {along + x, down + x, mLines.signX, mLines.signY}, count);
            });
        return row;
    }
    S* Row(int k) { return mOnlyRow.Size() > 0 ? mOnlyRow.Data() : mSums.GetRowPointer(k % (mLines.b + 1)); }
    bool Fit() const { return mFit; }  // whether S was wide enough so far

private:
    using SumRow =
        std::conditional_t<std::is_same_v<T, kernels::u8>, kernels::PhaseSumRow<C, S>, kernels::SignedSumRow<S>>;

    kernels::Ends EndsOf(int k) const {
        const kernels::u8* row = mPhase.GetRowPointer(k + mLines.firstY);
        const kernels::u8 *top = mPhase.GetRowPointer(k) + mLines.firstX,
                          *bottom = mPhase.GetRowPointer(k + mLines.b) + mLines.firstX;
        kernels::Ends ends{row, row + mLines.a, top, bottom};
        if (mLines.signX < 0) std::swap(ends.left, ends.right);
        if (mLines.signY < 0) std::swap(ends.top, ends.bottom);
        return ends;
    }

    const SumRow mSum = std::get<SumRow>(kernels::GetGradientKernels().sum);
    const KrTAOI<T>& mPhase;
    KrTAOI<S>& mSums;
    Baselines mLines;
    std::size_t mCount;
    SumsAlong<T, C> mAlong;
    SumsDown<T, C> mDown;
    KrTBuf1D<S> mOnlyRow;  // for |dy| = 0, where the gradients of bytes take all rows of mSums
    bool mFit = true;
};

}  // namespace KrN
