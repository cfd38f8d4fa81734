#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <cstring>
#include <tuple>
#include <utility>

#include "measure/absolute.h"
#include "measure/absolute/areas.h"
#include "measure/absolute/bridging.h"
#include "measure/absolute/growth.h"
#include "measure/absolute/growthrows.h"
#include "measure/absolute/lifting.h"
#include "measure/base/arguments.h"
#include "measure/base/phase.h"
#include "measure/error.h"

namespace measure {
namespace {

struct Step {
    int dx, dy;
};

// The eight neighbours of a pixel, as how many pixels they lie behind it. In place of those beyond the edge of the
// image stands the pixel itself, at 0.
class Neighbours {
public:
    using Offsets = std::array<int, 8>;  // every second one opposite to that before it

    explicit Neighbours(cv::Size size) : mSize(size) {
        constexpr std::array<Step, 8> kAround = {
            {{-1, 0}, {1, 0}, {0, -1}, {0, 1}, {-1, -1}, {1, 1}, {1, -1}, {-1, 1}}};
        for (unsigned edges = 0; edges < mOffsets.size(); ++edges)
            for (std::size_t i = 0; i < kAround.size(); ++i) {
                const auto [dx, dy] = kAround[i];
                const unsigned beyond = EdgesAt(dx == -1, dx == 1, dy == -1, dy == 1);
                mOffsets[edges][i] = (edges & beyond) ? 0 : dy * size.width + dx;
            }
    }

    const Offsets& Of(int pixel) const {
        const int y = pixel / mSize.width, x = pixel - y * mSize.width;
        return mOffsets[EdgesAt(x == 0, x == mSize.width - 1, y == 0, y == mSize.height - 1)];
    }

private:
    static unsigned EdgesAt(bool left, bool right, bool top, bool bottom) {
        return unsigned{left} | unsigned{right} << 1 | unsigned{top} << 2 | unsigned{bottom} << 3;
    }
    cv::Size mSize;
    std::array<Offsets, 16> mOffsets{};  // by the edges that the pixel touches
};

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
    OrderGrowth(const cv::Mat1f& phase, const cv::Mat1s& order, cv::Mat1b trust, const GrowthOptions& options,
                SpareImages& spares)
        : mOrder(order), mOptions(options), mNeighbours(phase.size()), mRepeat(options.repeat) {
        mImages.phase = phase;
        mImages.trust = std::move(trust);
        mImages.absolute = spares.Take<float>(phase.size());
        mImages.state = spares.Take<unsigned char>(phase.size());
        if (mOptions.repeat > 0) mImages.area = cv::Mat1i(phase.size(), -1);
    }

    GrownOrders Run(const Progress& progress) {
        progress.Report("finding areas of trusted orders");
        Lift();
        Fix(FindTrustedAreas(mImages.absolute, mImages.trust, mOptions.maxStep, mOptions.repeat));
        progress.Report("growing areas of trusted orders", 0.3);
        BridgeGaps(mImages);
        PushBorders();
        Grow(progress);
        if (mOptions.repeat > 0) mGrown.components = LiftAreas(mImages.absolute, mImages.area, mOptions.repeat);
        progress.Report("comparing orders", 0.9);
        Compare();
        return std::move(mGrown);
    }

private:
    template <class Visit>
    void ForRows(const Visit& visit) const {
        cv::parallel_for_(cv::Range(0, mOrder.rows), [&](const cv::Range& rows) {
            for (int y = rows.start; y < rows.end; ++y) visit(y);
        });
    }

    void Lift() {
        ForRows([&](int y) {
            rows::LiftRow(mImages.phase[y], mOrder[y], mImages.trust[y], mImages.absolute[y], mImages.state[y],
                          Width());
        });
    }

    void Fix(TrustedAreas areas) {
        for (std::size_t i = 0; i < areas.runs.size(); ++i) {
            int lift = 0;
            const int area = areas.sets.Find(static_cast<int>(i), lift);
            const TrustedAreas::Run& run = areas.runs[i];
            const auto [y, first, end] = run;
            if (areas.sets.SizeOf(area) < kLeastAlone)
                std::fill(mImages.trust[y] + first, mImages.trust[y] + end, static_cast<unsigned char>(eNearly));
            if (areas.sets.SizeOf(area) < mOptions.minArea) continue;
            std::fill(mImages.state[y] + first, mImages.state[y] + end, eFixed);
            if (mOptions.repeat == 0) continue;
            std::fill(mImages.area[y] + first, mImages.area[y] + end, area);
            for (int x = first; x < end; ++x) mImages.absolute(y, x) += mRepeat.radians * static_cast<float>(lift);
        }
    }

    void PushBorders() {
        for (int i = NextRest(0); i >= 0; i = NextRest(i + 1)) {
            const unsigned char* const state = mImages.state.data + i;
            const Neighbours::Offsets& offsets = mNeighbours.Of(i);
            const auto isFixed = [&](int offset) { return state[offset] == eFixed; };
            if (std::any_of(offsets.begin(), offsets.end(), isFixed)) Push(i);
        }
    }

    // The next pixel at rest from a pixel on, -1 when there is none.
    int NextRest(int i) const {
        const unsigned char* const states = mImages.state.data;
        const std::size_t behind = mImages.state.total() - static_cast<std::size_t>(i);
        const auto* const found = static_cast<const unsigned char*>(std::memchr(states + i, eRest, behind));
        return found ? static_cast<int>(found - states) : -1;
    }

    void Push(int i) {
        mImages.state.data[i] = eQueued;
        mQueue.Push(i, Curvature(i) / kMostCurvature);
    }

    // The root of the sum of squares of the phase's second differences along rows, columns and diagonals.
    float Curvature(int i) const {
        const unsigned char* state = mImages.state.data + i;
        const float* phase = mImages.phase[0] + i;
        const Neighbours::Offsets& offsets = mNeighbours.Of(i);
        float squares = 0;
        int directions = 0;
        for (std::size_t k = 0; k < offsets.size(); k += 2) {
            const int before = offsets[k], after = offsets[k + 1];
            if (before == 0 || after == 0 || state[before] == eOut || state[after] == eOut) continue;
            const float second = WrapRadians(phase[before] - *phase) + WrapRadians(phase[after] - *phase);
            squares += second * second;
            ++directions;
        }
        if (directions == 0) return kMostCurvature;
        return std::min(std::sqrt(squares * 4 / static_cast<float>(directions)), kMostCurvature);
    }

    void Grow(const Progress& progress) {
        constexpr int kReportEvery = 1 << 20;
        int count = 0;
        for (int i = mQueue.Pop(); i >= 0; i = mQueue.Pop()) {
            if (++count % kReportEvery == 0) progress.Report("growing areas of trusted orders", 0.5);
            if (!Vote(i)) {
                mImages.state.data[i] = eRest;  // until another neighbour is fixed
                continue;
            }
            mImages.state.data[i] = eFixed;
            for (const int offset : mNeighbours.Of(i))
                if (mImages.state.data[i + offset] == eRest) Push(i + offset);
        }
    }

    // Each fixed neighbour votes with weight 2 for the order that continues it, the pixel's own order has weight 1.
    // Where that may be wrong by one at most, neighbours that ask for more lie on another surface.
    bool Vote(int i) {
        struct Candidate {
            float absolute;
            int weight, area;
        };
        const float phase = mImages.phase[0][i], own = mImages.absolute[0][i], reach = ReachOf(mImages.trust.data[i]);
        std::array<Candidate, std::tuple_size_v<Neighbours::Offsets>> candidates;
        std::size_t count = 0;
        for (const int offset : mNeighbours.Of(i)) {
            if (mImages.state.data[i + offset] != eFixed) continue;
            const float order = Nearest((mImages.absolute[0][i + offset] - phase) * kPeriodsPerRadian);
            const float absolute = phase + kRadiansPerPeriod * order;
            if (std::abs(absolute - own) > reach) continue;
            const int area = mOptions.repeat > 0 ? mImages.area[0][i + offset] : 0;
            std::size_t k = 0;
            while (k < count && !(std::abs(candidates[k].absolute - absolute) < 1 && candidates[k].area == area)) ++k;
            if (k == count) candidates[count++] = {absolute, mRepeat.AreSame(absolute, own) ? 1 : 0, area};
            candidates[k].weight += 2;
        }
        if (count == 0) return false;
        std::size_t best = 0;
        for (std::size_t k = 1; k < count; ++k)
            if (candidates[k].weight > candidates[best].weight) best = k;
        mImages.absolute[0][i] = candidates[best].absolute;
        if (mOptions.repeat > 0) mImages.area[0][i] = candidates[best].area;
        return true;
    }

    // Leaves the result in the images that have grown.
    void Compare() {
        std::atomic<int> corrected{0}, contradicted{0};
        ForRows([&](int y) {
            const rows::GrownRow row{mImages.absolute[y], mImages.state[y], mImages.phase[y], mOrder[y],
                                     mImages.trust[y]};
            const auto [replaced, dropped] = rows::CompareRow(row, mRepeat, Width());
            corrected += replaced;
            contradicted += dropped;
        });
        mGrown.absolute = mImages.absolute;
        mGrown.mask = mImages.state;
        mGrown.corrected = corrected;
        mGrown.contradicted = contradicted;
    }

    std::size_t Width() const { return static_cast<std::size_t>(mOrder.cols); }

    static constexpr float kMostCurvature = 10.0f;
    // At edges, where pixels mix two surfaces, sets of fringes fit to each other by accident: whoever agrees with fewer
    // others than this is not trusted.
    static constexpr int kLeastAlone = 8;
    const cv::Mat1s& mOrder;
    const GrowthOptions& mOptions;
    const Neighbours mNeighbours;
    const rows::Repeat mRepeat;
    GrowthImages mImages;
    CostQueue mQueue;
    GrownOrders mGrown;
};

void RequireOptions(const GrowthOptions& options) {
    RequireNotNegative("growth.minArea", options.minArea);
    RequirePositive("growth.maxStep", static_cast<double>(options.maxStep));
    RequireNotNegative("growth.repeat", options.repeat);
}

}  // namespace

GrownOrders GrowOrders(const cv::Mat1f& phase, const cv::Mat1s& order, const cv::Mat1b& trust,
                       const GrowthOptions& options, const Progress& progress) {
    RequireOneSize({"the phase", phase}, {{"the orders", order}, {"the trust", trust}});
    double most = 0;
    cv::minMaxLoc(trust, nullptr, &most);
    RequireNumber(most <= static_cast<double>(eTrusted), "a value of the trust", most, "one of Trust, 0 to 3");
    cv::Mat1b own = trust.clone();
    own.setTo(eNoPhase, ~(cv::abs(phase) < kLeastHugePhase));  // also where it is no number
    SpareImages none;
    return GrowOrders(phase.isContinuous() ? phase : cv::Mat1f(phase.clone()), order, own, options, none, progress);
}

GrownOrders GrowOrders(const cv::Mat1f& phase, const cv::Mat1s& order, cv::Mat1b trust, const GrowthOptions& options,
                       SpareImages& spares, const Progress& progress) {
    RequireOptions(options);
    return OrderGrowth(phase, order, std::move(trust), options, spares).Run(progress);
}

}  // namespace measure
