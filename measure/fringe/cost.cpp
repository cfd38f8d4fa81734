#include <algorithm>
#include <limits>
#include <opencv2/core/hal/hal.hpp>
#include <vector>

#include "measure/base/arguments.h"
#include "measure/fringe/costrows.h"
#include "measure/fringe/figures.h"
#include "measure/fringe/neighboursums.h"
#include "measure/fringe/rowbands.h"
#include "measure/unwrap.h"

namespace measure {
namespace {

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();

// Visits the rows of a band, each with the differences of the phase around it. Of everything two rows are kept, with
// one more value on both sides.
class DifferenceRows {
public:
    DifferenceRows(const cv::Mat1f& phase, const cv::Mat1b& usable)
        : mPhase(phase),
          mUsable(usable),
          mStride(static_cast<std::size_t>(phase.cols) + 2),
          mRows(10 * mStride, kNan) {}

    // visit(y, differences of the previous row, those of the row)
    template <class Function>
    void Visit(const cv::Range& range, const Function& visit) {
        Load(range.start - 1);
        Load(range.start);
        Differ(range.start - 1);
        for (int y = range.start; y < range.end; ++y) {
            Load(y + 1);
            Differ(y);
            visit(y, Differences(y - 1), Differences(y));
        }
    }

private:
    float* Row(int kind, int y) { return mRows.data() + static_cast<std::size_t>(2 * kind + (y & 1)) * mStride + 1; }
    rows::Differences Differences(int y) { return {Row(1, y), Row(2, y), Row(3, y), Row(4, y)}; }
    void Differ(int y) { rows::Differ(Row(0, y), Row(0, y + 1), Differences(y), mStride - 2); }

    void Load(int y) {
        float* const row = Row(0, y);
        if (y < 0 || y >= mPhase.rows) return std::fill_n(row, mPhase.cols, kNan), void();
        const float* const values = mPhase[y];
        const std::uint8_t* const use = mUsable[y];
        for (int x = 0; x < mPhase.cols; ++x) row[x] = use[x] ? values[x] : kNan;
    }

    const cv::Mat1f& mPhase;
    const cv::Mat1b& mUsable;
    const std::size_t mStride;
    std::vector<float> mRows;
};

// Adds the cost of changes of the contrast to a band of rows.
class ContrastCost {
public:
    ContrastCost(const cv::Mat1f& contrast, cv::Mat1f& cost)
        : mContrast(contrast),
          mCost(cost),
          mWidth(static_cast<std::size_t>(contrast.cols)),
          mPadded(mWidth + 2),
          mBuffer(7 * mWidth) {}

    void Add(const cv::Range& range) {
        Load(std::max(range.start - 1, 0));
        Load(range.start);
        for (int y = range.start; y < range.end; ++y) {
            const int above = std::max(y - 1, 0), below = std::min(y + 1, mContrast.rows - 1);
            Load(below);
            float* const change = mBuffer.data() + 6 * mWidth;
            rows::ContrastChange({{Largest(above), Largest(y), Largest(below)}, {Least(above), Least(y), Least(below)}},
                                 change, mWidth);
            cv::hal::log32f(change, change, mContrast.cols);
            rows::AddContrastCost(change, mCost[y], mWidth);
        }
    }

private:
    float* Largest(int y) { return mBuffer.data() + static_cast<std::size_t>(y % 3) * mWidth; }
    float* Least(int y) { return Largest(y) + 3 * mWidth; }

    void Load(int y) {
        std::copy_n(mContrast[y], mWidth, mPadded.begin() + 1);
        mPadded.front() = mPadded[1];
        mPadded.back() = mPadded[mWidth];
        rows::ExtremesOfThree(mPadded.data() + 1, Largest(y), Least(y), mWidth);
    }

    const cv::Mat1f& mContrast;
    cv::Mat1f& mCost;
    const std::size_t mWidth;
    std::vector<float> mPadded, mBuffer;
};

// Reduces the bend to kCalm where noise alone gives more. The noise of a phase falls with the modulation, which is
// taken as the mean of 3 x 3 pixels; how large it is the median of bend times modulation tells.
void ReduceNoise(const cv::Mat1f& modulation, const cv::Mat1b& usable, cv::Mat1f& bend) {
    constexpr double kCalm = 0.2;  // radians
    auto noises = Sample(bend.size(), [&](int y, int x) { return usable(y, x) ? bend(y, x) * modulation(y, x) : NAN; });
    const auto noise = static_cast<double>(MedianOf(noises));
    if (!(noise > 0)) return;
    const auto scale = static_cast<float>(kCalm / noise / 9);
    ForRowBands(bend.size(), {}, "", [&](const cv::Range& range) {
        NeighbourSums sums(bend.size());
        const auto load = [&](int y) { sums.Load(y, modulation[y]); };
        load(std::max(range.start - 1, 0));
        load(range.start);
        for (int y = range.start; y < range.end; ++y) {
            if (y + 1 < bend.rows) load(y + 1);
            const rows::ThreeRows around = sums.Around(y);
            rows::ReduceBend(around.above, around.own, around.below, scale, bend[y],
                             static_cast<std::size_t>(bend.cols));
        }
    });
}

}  // namespace

cv::Mat1f PhaseBend(const cv::Mat1f& phase, const cv::Mat1b& usable) { return UnwrapCost(phase, usable); }

cv::Mat1b QualityFromPhase(const cv::Mat1f& phase, const cv::Mat1b& usable) {
    RequireOneSize({"the phase", phase}, {{"the mask", usable}});
    cv::Mat1b quality(phase.size());
    ForRowBands(phase.size(), {}, "", [&](const cv::Range& range) {
        DifferenceRows(phase, usable).Visit(range, [&](int y, const auto& previous, const auto& own) {
            rows::Straightness(previous, own, quality[y], static_cast<std::size_t>(phase.cols));
        });
    });
    return quality;
}

cv::Mat1f UnwrapCost(const cv::Mat1f& phase, const cv::Mat1b& usable, const cv::Mat1f& contrast,
                     const cv::Mat1f& modulation) {
    RequireOneSize(
        {"the phase", phase},
        {{"the mask", usable}, {"the contrast", contrast, kOptional}, {"the modulation", modulation, kOptional}});
    cv::Mat1f cost(phase.size());
    const auto addContrast = [&](const cv::Range& range) {
        if (!contrast.empty()) ContrastCost(contrast, cost).Add(range);
    };
    ForRowBands(phase.size(), {}, "", [&](const cv::Range& range) {
        DifferenceRows(phase, usable).Visit(range, [&](int y, const auto& previous, const auto& own) {
            rows::Bend(previous, own, cost[y], static_cast<std::size_t>(phase.cols));
        });
        if (modulation.empty()) addContrast(range);
    });
    if (modulation.empty()) return cost;
    ReduceNoise(modulation, usable, cost);
    ForRowBands(phase.size(), {}, "", addContrast);
    return cost;
}

}  // namespace measure
