#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "measure/absolute.h"
#include "measure/absolute/areas.h"
#include "measure/absolute/lifting.h"
#include "measure/absolute/wrapping.h"
#include "measure/error.h"

namespace measure {
namespace {

enum State : unsigned char { eOut, eRest, eQueued, eFixed };  // of a pixel while areas grow

struct Step {
    int dx, dy;
};
constexpr std::array<Step, 8> kAround = {{{-1, 0}, {1, 0}, {0, -1}, {0, 1}, {-1, -1}, {1, 1}, {1, -1}, {-1, 1}}};

// Pixels by cost in 256 levels; within a level the last one comes first.
class CostQueue {
public:
    void Push(int pixel, float share) {
        const auto level = static_cast<std::size_t>(std::clamp(share, 0.0f, 1.0f) * 255.0f);
        mLevels[level].push_back(pixel);
        mLowest = std::min(mLowest, level);
    }
    // -1 when there is none.
    int Pop() {
        while (mLowest < mLevels.size() && mLevels[mLowest].empty()) ++mLowest;
        if (mLowest == mLevels.size()) return -1;
        const int pixel = mLevels[mLowest].back();
        mLevels[mLowest].pop_back();
        return pixel;
    }

private:
    std::array<std::vector<int>, 256> mLevels;
    std::size_t mLowest = 255;
};

class OrderGrowth {
public:
    OrderGrowth(const cv::Mat1f& phase, const cv::Mat1s& order, const cv::Mat1b& trust, const GrowthOptions& options)
        : mPhase(phase), mOrder(order), mTrust(trust), mOptions(options), mState(phase.size()) {
        mGrown.absolute.create(phase.size());
        mGrown.mask.create(phase.size());
        if (options.repeat > 0) mArea.create(phase.size());
    }

    GrownOrders Run(const Progress& progress) {
        progress.Report("finding areas of trusted orders");
        MakeAbsolute();
        const TrustedAreas areas = FindTrustedAreas(mGrown.absolute, mTrust, mOptions.maxStep, mOptions.repeat);
        Fix(areas);
        progress.Report("growing areas of trusted orders", 0.3);
        PushBorders();
        Grow(progress);
        if (mOptions.repeat > 0) mGrown.components = LiftAreas(mGrown.absolute, FixedPixels(), mArea, mOptions.repeat);
        progress.Report("comparing orders", 0.9);
        Compare();
        return std::move(mGrown);
    }

private:
    // From the orders as they were decided.
    float Decided(int y, int x) const { return mPhase(y, x) + kRadiansPerPeriod * static_cast<float>(mOrder(y, x)); }

    void MakeAbsolute() {
        cv::parallel_for_(cv::Range(0, mPhase.rows), [&](const cv::Range& rows) {
            for (int y = rows.start; y < rows.end; ++y) {
                const float* phase = mPhase[y];
                const short* order = mOrder[y];
                const unsigned char* trust = mTrust[y];
                float* absolute = mGrown.absolute[y];
                unsigned char* state = mState[y];
                for (int x = 0; x < mPhase.cols; ++x) {
                    absolute[x] = phase[x] + kRadiansPerPeriod * static_cast<float>(order[x]);
                    state[x] = trust[x] ? eRest : eOut;
                }
            }
        });
    }

    void Fix(TrustedAreas areas) {
        for (std::size_t i = 0; i < areas.runs.size(); ++i) {
            int lift = 0;
            const int area = areas.sets.Find(static_cast<int>(i), lift);
            if (areas.sets.SizeOf(area) < mOptions.minArea) continue;
            const TrustedAreas::Run& run = areas.runs[i];
            std::fill(mState[run.y] + run.first, mState[run.y] + run.end, eFixed);
            if (mOptions.repeat == 0) continue;
            std::fill(mArea[run.y] + run.first, mArea[run.y] + run.end, area);
            const float raise = kRadiansPerPeriod * static_cast<float>(lift * mOptions.repeat);
            for (int x = run.first; x < run.end; ++x) mGrown.absolute(run.y, x) += raise;
        }
    }

    cv::Mat1b FixedPixels() const {
        cv::Mat1b fixed;
        cv::compare(mState, static_cast<int>(eFixed), fixed, cv::CMP_EQ);
        return fixed;
    }

    bool IsInside(int y, int x) const { return y >= 0 && x >= 0 && y < mState.rows && x < mState.cols; }

    void PushBorders() {
        for (int y = 0; y < mState.rows; ++y)
            for (int x = 0; x < mState.cols; ++x)
                if (mState(y, x) == eRest && HasFixedNeighbour(y, x)) Push(y, x);
    }

    bool HasFixedNeighbour(int y, int x) const {
        return std::any_of(kAround.begin(), kAround.end(), [&](const Step& step) {
            return IsInside(y + step.dy, x + step.dx) && mState(y + step.dy, x + step.dx) == eFixed;
        });
    }

    void Push(int y, int x) {
        mState(y, x) = eQueued;
        mQueue.Push(y * mState.cols + x, Curvature(y, x) / kMostCurvature);
    }

    // The root of the sum of squares of the phase's second differences along rows, columns and diagonals.
    float Curvature(int y, int x) const {
        float squares = 0;
        int directions = 0;
        for (std::size_t i = 0; i < kAround.size(); i += 2) {
            const Step &before = kAround[i], &after = kAround[i + 1];
            if (!IsInside(y + before.dy, x + before.dx) || !IsInside(y + after.dy, x + after.dx)) continue;
            if (!mState(y + before.dy, x + before.dx) || !mState(y + after.dy, x + after.dx)) continue;
            const float here = mPhase(y, x);
            const float second = WrapRadians(mPhase(y + before.dy, x + before.dx) - here) +
                                 WrapRadians(mPhase(y + after.dy, x + after.dx) - here);
            squares += second * second;
            ++directions;
        }
        if (directions == 0) return kMostCurvature;
        return std::min(std::sqrt(squares * 4 / static_cast<float>(directions)), kMostCurvature);
    }

    void Grow(const Progress& progress) {
        constexpr int kReportEvery = 1 << 18;
        int count = 0;
        for (int pixel = mQueue.Pop(); pixel >= 0; pixel = mQueue.Pop()) {
            if (++count % kReportEvery == 0) progress.Report("growing areas of trusted orders", 0.5);
            const int y = pixel / mState.cols, x = pixel % mState.cols;
            if (!Vote(y, x)) {
                mState(y, x) = eRest;  // until another neighbour is fixed
                continue;
            }
            mState(y, x) = eFixed;
            for (const Step& step : kAround)
                if (IsInside(y + step.dy, x + step.dx) && mState(y + step.dy, x + step.dx) == eRest)
                    Push(y + step.dy, x + step.dx);
        }
    }

    // Each fixed neighbour votes with weight 2 for the order that continues it, the pixel's own order has weight 1.
    // Where that may be wrong by one at most, neighbours that ask for more lie on another surface.
    bool Vote(int y, int x) {
        constexpr float kOnePeriod = kRadiansPerPeriod + 1;
        const float reach = mTrust(y, x) == eDoubtful ? std::numeric_limits<float>::infinity() : kOnePeriod;
        struct Candidate {
            float absolute;
            int weight, area;
        };
        std::array<Candidate, kAround.size()> candidates;
        std::size_t count = 0;
        const float phase = mPhase(y, x), own = Decided(y, x);
        for (const Step& step : kAround) {
            const int ny = y + step.dy, nx = x + step.dx;
            if (!IsInside(ny, nx) || mState(ny, nx) != eFixed) continue;
            const float order = Nearest((mGrown.absolute(ny, nx) - phase) * kPeriodsPerRadian);
            const float absolute = phase + kRadiansPerPeriod * order;
            if (std::abs(absolute - own) > reach) continue;
            const int area = mOptions.repeat > 0 ? mArea(ny, nx) : 0;
            std::size_t i = 0;
            while (i < count && !(std::abs(candidates[i].absolute - absolute) < 1 && candidates[i].area == area)) ++i;
            if (i == count) candidates[count++] = {absolute, AreSame(absolute, own) ? 1 : 0, area};
            candidates[i].weight += 2;
        }
        if (count == 0) return false;
        const auto best = std::max_element(candidates.begin(), candidates.begin() + static_cast<std::ptrdiff_t>(count),
                                           [](const Candidate& a, const Candidate& b) { return a.weight < b.weight; });
        mGrown.absolute(y, x) = best->absolute;
        if (mOptions.repeat > 0) mArea(y, x) = best->area;
        return true;
    }

    // Absolute phases are compared, never orders: the wrapped phase of a pixel may be -pi or pi by the sign of a zero.
    bool AreSame(float a, float b) const {
        float difference = a - b;
        if (mOptions.repeat > 0) {
            const float repeat = kRadiansPerPeriod * static_cast<float>(mOptions.repeat);
            difference -= repeat * Nearest(difference / repeat);
        }
        return std::abs(difference) <= 1.0f;
    }

    // Drops what contradicts its own trusted order, and what nothing trusted reaches.
    void Compare() {
        for (int y = 0; y < mState.rows; ++y)
            for (int x = 0; x < mState.cols; ++x) {
                const bool isTrusted = mTrust(y, x) == eTrusted, isFixed = mState(y, x) == eFixed;
                const bool isSame = isFixed && AreSame(mGrown.absolute(y, x), Decided(y, x));
                const bool isValid = isFixed ? isSame || !isTrusted : isTrusted && mOptions.repeat == 0;
                mGrown.mask(y, x) = isValid ? 255 : 0;
                if (!isValid) mGrown.absolute(y, x) = std::numeric_limits<float>::quiet_NaN();
                if (isFixed && !isSame) ++(isTrusted ? mGrown.contradicted : mGrown.corrected);
            }
    }

    static constexpr float kMostCurvature = 10.0f;
    const cv::Mat1f& mPhase;
    const cv::Mat1s& mOrder;
    const cv::Mat1b& mTrust;
    const GrowthOptions& mOptions;
    cv::Mat1b mState;
    cv::Mat1i mArea;
    CostQueue mQueue;
    GrownOrders mGrown;
};

}  // namespace

GrownOrders GrowOrders(const cv::Mat1f& phase, const cv::Mat1s& order, const cv::Mat1b& trust,
                       const GrowthOptions& options, const Progress& progress) {
    if (order.size() != phase.size() || trust.size() != phase.size())
        throw InputError("phase, orders and trust must have one size");
    return OrderGrowth(phase, order, trust, options).Run(progress);
}

}  // namespace measure
