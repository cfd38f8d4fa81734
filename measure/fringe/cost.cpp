#include <algorithm>
#include <array>
#include <limits>
#include <opencv2/core/hal/hal.hpp>
#include <vector>

#include "measure/fringe/costrows.h"
#include "measure/fringe/rowbands.h"
#include "measure/fringe/unwrapinput.h"
#include "measure/unwrap.h"

namespace measure {
namespace {

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();

// Three rows of a band around the current one, each with one more value on both sides.
class RowRing {
public:
    explicit RowRing(int width) : mWidth(static_cast<std::size_t>(width)), mRows(3 * (mWidth + 2), kNan) {}
    float* operator[](int y) { return mRows.data() + static_cast<std::size_t>((y + 3) % 3) * (mWidth + 2) + 1; }

private:
    std::size_t mWidth;
    std::vector<float> mRows;
};

// Visits the rows of a band, each with the wrapped phases around it.
template <class Visit>
void VisitPhaseRows(const cv::Mat1f& phase, const cv::Mat1b& usable, const cv::Range& range, const Visit& visit) {
    RowRing ring(phase.cols);
    const auto load = [&](int y) {
        float* const row = ring[y];
        if (y < 0 || y >= phase.rows) return std::fill_n(row, phase.cols, kNan), void();
        const float* const values = phase[y];
        const std::uint8_t* const use = usable[y];
        for (int x = 0; x < phase.cols; ++x) row[x] = use[x] ? values[x] : kNan;
    };
    load(range.start - 1);
    load(range.start);
    for (int y = range.start; y < range.end; ++y) {
        load(y + 1);
        visit(y, rows::PhaseRows{ring[y - 1], ring[y], ring[y + 1]});
    }
}

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

}  // namespace

cv::Mat1f PhaseBend(const cv::Mat1f& phase, const cv::Mat1b& usable) { return UnwrapCost(phase, usable); }

cv::Mat1b QualityFromPhase(const cv::Mat1f& phase, const cv::Mat1b& usable) {
    RequireSize(phase, usable, "the mask");
    cv::Mat1b quality(phase.size());
    ForRowBands(phase.size(), {}, "", [&](const cv::Range& range) {
        VisitPhaseRows(phase, usable, range, [&](int y, const rows::PhaseRows& around) {
            rows::Straightness(around, quality[y], static_cast<std::size_t>(phase.cols));
        });
    });
    return quality;
}

cv::Mat1f UnwrapCost(const cv::Mat1f& phase, const cv::Mat1b& usable, const cv::Mat1f& contrast) {
    RequireSize(phase, usable, "the mask");
    if (!contrast.empty()) RequireSize(phase, contrast, "the contrast");
    cv::Mat1f cost(phase.size());
    ForRowBands(phase.size(), {}, "", [&](const cv::Range& range) {
        VisitPhaseRows(phase, usable, range, [&](int y, const rows::PhaseRows& around) {
            rows::Bend(around, cost[y], static_cast<std::size_t>(phase.cols));
        });
        if (!contrast.empty()) ContrastCost(contrast, cost).Add(range);
    });
    return cost;
}

}  // namespace measure
