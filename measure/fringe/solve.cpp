#include <algorithm>
#include <array>
#include <cmath>

#include "measure/base/arguments.h"
#include "measure/fringe.h"
#include "measure/fringe/framepixels.h"
#include "measure/fringe/fullscale.h"
#include "measure/fringe/neighboursums.h"
#include "measure/fringe/phaserows.h"
#include "measure/fringe/rowbands.h"
#include "measure/fringe/solve.h"
#include "measure/fringe/usabletiles.h"
#include "measure/fringe/weights.h"
#include "measure/io.h"

namespace measure {

void RequireFrames(const FringeSet& set) {
    const std::size_t count = set.frames.size();
    if (count < 3) throw InputError(cv::format("at least three fringe pictures are needed, %zu given", count));
    RequireOneLength("the phase shifts", set.shifts.size(), "the frames", count);
    for (const double shift : set.shifts) RequireFinite("a phase shift", shift);
    const cv::Mat& first = set.frames.front();
    for (std::size_t k = 0; k < count; ++k)
        RequireOneKind({"frames[0]", first}, {{cv::format("frames[%zu]", k), set.frames[k]}});
    RequireFringePixels("frames[0]", first);
}

void RequireFringePixels(const std::string& name, const cv::Mat& picture) {
    const int type = picture.type();
    if (type == CV_8UC1 || type == CV_16UC1 || type == CV_32FC1) return;
    const std::string channels = picture.channels() > 1 ? cv::format(" of %d channels", picture.channels()) : "";
    throw InputError(name + ": a fringe picture has one channel of 8-bit, 16-bit or float pixels, this one has " +
                     PixelTypeName(picture) + " pixels" + channels);
}

namespace {

double FullScale(const FringeLimits& limits, int depth) {
    RequireNotNegative("the full scale", limits.fullScale);
    RequireNotNegative("the least modulation", limits.minModulation);
    RequireNotNegative("the least mean", limits.minMean);
    RequireNotNegative("the saturation", limits.saturation);
    if (depth != CV_32F && limits.fullScale > (depth == CV_8U ? 255.0 : 65535.0))
        throw InputError(cv::format("a full scale of %g is more than pictures of %d bits hold", limits.fullScale,
                                    depth == CV_8U ? 8 : 16));
    if (limits.fullScale > 0) return limits.fullScale;
    if (depth == CV_32F)
        throw InputError(
            "float pictures need a full scale (\"full_scale\" in the description of a scan), the grey level at which "
            "they saturate");
    return depth == CV_8U ? 255.0 : 65535.0;
}

// Solves a band of rows from top to bottom. Of the sums it keeps one row, of means without an image two, of the sums of
// three neighbours three.
class Solver {
public:
    Solver(const FringeSet& set, const std::vector<rows::Weights>& weights, FringePhase& result)
        : mSet(set),
          mWeights(weights),
          mResult(result),
          mWidth(static_cast<std::size_t>(result.phase.cols)),
          mHeight(result.phase.rows),
          mLimits(result.limits),
          mSaturation(result.limits.saturation > 1
                          ? INFINITY
                          : static_cast<float>(result.limits.saturation * result.limits.fullScale)),
          mBuffer(mWidth * 6),
          mCosines(result.phase.size()),
          mSines(result.phase.size()) {}

    void Solve(const cv::Range& range) {
        if (range.start > 0) {
            Sum(range.start - 1);
            SumNeighbours(range.start - 1);
        }
        for (int y = range.start; y < range.end; ++y) {
            Sum(y);
            Store(y);
            SumNeighbours(y);
            if (y > range.start) FindUsable(y - 1);
        }
        if (range.end < mHeight) {
            Sum(range.end);
            SumNeighbours(range.end);
        }
        FindUsable(range.end - 1);
    }

private:
    float* Row(std::size_t i) { return mBuffer.data() + i * mWidth; }
    rows::Sums RowSums() { return {Row(0), Row(1), Row(2), Row(3)}; }
    float* MeanRow(int y) { return mResult.mean.empty() ? Row(4 + static_cast<std::size_t>(y % 2)) : mResult.mean[y]; }

    void Sum(int y) {
        for (std::size_t k = 0; k < mWeights.size(); ++k) {
            WithPixelOf(mSet.frames[k], [&](auto pixel) {
                rows::AddFrame(mSet.frames[k].ptr<decltype(pixel)>(y), mWeights[k], k == 0, RowSums(), mWidth);
            });
        }
    }

    void Store(int y) {
        const rows::Sums sums = RowSums();
        std::copy_n(sums.a, mWidth, MeanRow(y));
        rows::PhaseOf(sums.c, sums.s, mResult.phase[y], mResult.modulation[y], mWidth);
        rows::MarkSaturated(sums.peak, mSaturation, mResult.saturated[y], mWidth);
        if (mResult.residual.empty()) return;
        float* const squares = mResult.residual[y];
        std::fill_n(squares, mWidth, 0.0f);
        for (std::size_t k = 0; k < mWeights.size(); ++k) {
            const auto cosine = static_cast<float>(std::cos(mSet.shifts[k]));
            const auto sine = static_cast<float>(std::sin(mSet.shifts[k]));
            WithPixelOf(mSet.frames[k], [&](auto pixel) {
                rows::AddSquares(mSet.frames[k].ptr<decltype(pixel)>(y), cosine, sine, sums, squares, mWidth);
            });
        }
        rows::RootOf(squares, 1.0f / static_cast<float>(mWeights.size()), mWidth);
    }

    void SumNeighbours(int y) {
        mCosines.Load(y, RowSums().c);
        mSines.Load(y, RowSums().s);
    }

    void FindUsable(int y) {
        rows::MarkUsable(MeanRow(y), mResult.modulation[y], mResult.saturated[y],
                         {mCosines.Around(y), mSines.Around(y)}, mLimits, mResult.usable[y], mWidth);
    }

    const FringeSet& mSet;
    const std::vector<rows::Weights>& mWeights;
    FringePhase& mResult;
    const std::size_t mWidth;
    const int mHeight;
    const rows::Limits mLimits;
    const float mSaturation;
    std::vector<float> mBuffer;
    NeighbourSums mCosines, mSines;
};

}  // namespace

std::vector<double> EqualShifts(int count) {
    constexpr int kMost = 10000;
    RequireNumber(count >= 1 && count <= kMost, "the number of shifts", count, "1 to 10000");
    std::vector<double> shifts;
    for (int k = 0; k < count; ++k) shifts.push_back(2.0 * CV_PI * k / count);
    return shifts;
}

namespace {

FringePhase Solve(const FringeSet& set, const FringeLimits& limits, const Progress& progress, bool keepMean) {
    RequireFrames(set);
    const std::vector<rows::Weights> weights = SolveWeights(set.shifts);
    const cv::Size size = set.frames.front().size();
    FringePhase result;
    result.limits = limits;
    result.limits.fullScale = FullScale(limits, set.frames.front().depth());
    result.shifts = set.shifts;
    result.phase.create(size);
    if (keepMean) result.mean.create(size);
    result.modulation.create(size);
    if (set.frames.size() > 3) result.residual.create(size);
    result.saturated.create(size);
    result.usable.create(size);
    constexpr int kPixelsPerStretch = 1 << 21;
    const auto solve = [&](const cv::Range& range) { Solver(set, weights, result).Solve(range); };
    ForRowBands(size, progress, "fitting the fringes", solve, kPixelsPerStretch);
    progress.Report("judging the pixels", 0.9);
    RequireFullScale(set, result);
    UsableTiles(result, keepMean ? Means(result.mean) : Means(set)).AddWithoutSlope();
    return result;
}

}  // namespace

FringePhase SolveFringes(const FringeSet& set, const FringeLimits& limits, const Progress& progress) {
    return Solve(set, limits, progress, true);
}

FringePhase SolveWithoutMean(const FringeSet& set, const FringeLimits& limits, const Progress& progress) {
    return Solve(set, limits, progress, false);
}

}  // namespace measure
