// Whether the orders of a scan begin anew in the middle of a surface.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "measure/absolute/checknotes.h"
#include "measure/absolute/checks.h"
#include "measure/base/phase.h"

namespace measure {
namespace {

// Walks along lines of pixels and finds where a surface runs on over a step of nearly all orders.
class SeamWalk {
public:
    SeamWalk(const DecodeState& state, const cv::Mat1f& phase, const cv::Mat1s& order)
        : mUsable(state.usable),
          mPhase(phase),
          mOrder(order),
          mLeastStep(std::max(1.0, 0.9 * (state.axis.length / state.periods[0] - 1))) {}

    // Of the rows and columns that are as many pixels apart, how many have a seam.
    int CountRows(int apart) const {
        int seams = 0;
        for (int y = 0; y < mOrder.rows; y += apart) {
            int x = kReach;
            while (x + kReach + 1 < mOrder.cols && !IsSeam({x, y}, {1, 0})) ++x;
            seams += x + kReach + 1 < mOrder.cols;
        }
        return seams;
    }
    int CountColumns(int apart) const {  // row by row, as they lie in memory
        std::vector<std::uint8_t> haveSeam(static_cast<std::size_t>((mOrder.cols + apart - 1) / apart));
        for (int y = kReach; y + kReach + 1 < mOrder.rows; ++y)
            for (int x = 0; x < mOrder.cols; x += apart)
                if (IsSeam({x, y}, {0, 1})) haveSeam[static_cast<std::size_t>(x / apart)] = 1;
        return static_cast<int>(std::count(haveSeam.begin(), haveSeam.end(), 1));
    }

private:
    static constexpr float kMostStep = 1.5f;  // radians between neighbours on a surface
    static constexpr int kReach = 8;          // steps in a row on either side

    bool IsSeam(cv::Point at, cv::Point step) const {
        const int change = std::abs(mOrder(at + step) - mOrder(at));
        if (change + 1 < mLeastStep) return false;  // a wrap changes an order by one
        if (!RunsOn(at, at + step) || std::abs(JumpOf(at, at + step)) < mLeastStep) return false;
        for (int i = 1; i <= kReach; ++i) {
            for (const cv::Point a : {at - i * step, at + i * step})
                if (!RunsOn(a, a + step) || JumpOf(a, a + step) != 0) return false;
        }
        return true;
    }

    bool RunsOn(cv::Point a, cv::Point b) const {
        return mUsable(a) && mUsable(b) && std::abs(WrapRadians(mPhase(b) - mPhase(a))) < kMostStep;
    }

    // By how many orders the neighbours differ from one phase that runs on.
    int JumpOf(cv::Point a, cv::Point b) const {
        const float step = mPhase(b) - mPhase(a);
        const int wraps = cvRound((step - WrapRadians(step)) * kPeriodsPerRadian);
        return mOrder(b) - mOrder(a) + wraps;
    }

    const cv::Mat1b& mUsable;
    const cv::Mat1f& mPhase;
    const cv::Mat1s& mOrder;
    double mLeastStep;
};

}  // namespace

void CheckSeams(DecodeState& state, const cv::Mat1f& phase, const cv::Mat1s& order) {
    constexpr int kLines = 128, kMost = 10;
    if (state.axis.gray || state.result.repeat != 0) return;
    const SeamWalk walk(state, phase, order);
    const int seams =
        walk.CountRows(std::max(1, phase.rows / kLines)) + walk.CountColumns(std::max(1, phase.cols / kLines));
    const std::string set = NameOf(state.order.back());
    Require(state.result,
            {"lines of pixels on which the orders begin anew in the middle of a surface", static_cast<double>(seams),
             kMost, seams <= kMost},
            "the orders begin anew in the middle of a surface (on " + std::to_string(seams) +
                " lines of pixels): are the frames of " + set +
                " rotated, so that its list begins with another one, or is \"length\" or \"origin\" wrong?");
}

}  // namespace measure
