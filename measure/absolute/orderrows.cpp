#include <opencv2/core.hpp>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <optional>

#include "measure/absolute.h"
#include "measure/absolute/coding.h"
#include "measure/absolute/wrapping.h"
#include "measure/error.h"

namespace measure {
namespace {

constexpr std::size_t kChunk = 512;  // pixels whose buffers stay in the first-level cache
constexpr float kExcluded = 1e30f;   // the cost of a candidate that is none
constexpr float kNone = -30000.0f;   // in place of a candidate
constexpr int kMostCandidates = 1 << 20;
constexpr float kSystematicError = 0.03f;  // radians, what remains of ripple and light even without noise

// The ratio whose denominator is the number of different fractions that the orders 0 to count - 1 have in a set;
// nothing when all of them differ.
std::optional<Ratio> FindSteps(double q, int count) {
    constexpr double kMostDrift = 0.1;  // of a step, from the first order to the last
    for (int denominator = 2; denominator <= count; ++denominator) {
        const double steps = q * denominator;
        if (std::abs(steps - std::nearbyint(steps)) * count > kMostDrift) continue;
        if (const auto ratio = FindRatio(q, denominator)) return ratio;
    }
    return {};
}

// The candidates of a pixel stand around the whole number next to its centre. What distinguishes them is how well each
// other set fits: r_i = d_i - q_i k, wrapped, in periods.
class OrderKernel {
public:
    OrderKernel(const std::vector<PhaseSet>& sets, const OrderRange& range, double noise)
        : mSets(sets), mRange(range), mOthers(sets.size() - 1) {
        for (const PhaseSet& set : sets) mVariance.push_back(static_cast<float>(2.0 * noise * noise / set.frames));
        for (std::size_t i = 0; i < mOthers; ++i) mRatio.push_back(sets[0].period / sets[i + 1].period);
        mRatioOf.assign(mRatio.begin(), mRatio.end());
        mDifference.resize(mOthers * kChunk);
        mWeight.resize(mOthers * kChunk);
        mSteps.resize(mOthers);
        for (std::size_t i = 0; i < mOthers && range.center.empty(); ++i) mSteps[i] = FindSteps(mRatio[i], range.count);
        if (mOthers == 1 && range.center.empty()) mPair = FindRatio(mRatio[0], range.count);
    }

    void DecideRow(int y, OrderDecision& decision) {
        const int width = mSets[0].phase.cols;
        for (int x = 0; x < width; x += static_cast<int>(kChunk)) {
            mCount = std::min(kChunk, static_cast<std::size_t>(width - x));
            mY = y;
            mX = x;
            if (mOthers == 0) {
                Round(decision);
                continue;
            }
            Prepare();
            if (mPair) {
                DecidePair(decision);
                continue;
            }
            Search();
            Store(decision);
        }
    }

private:
    const float* Center() const { return mRange.center.empty() ? nullptr : mRange.center[mY] + mX; }

    // A single set: the order next to what the code predicts, or 0.
    void Round(OrderDecision& decision) {
        const float* center = Center();
        std::int16_t* orders = decision.order[mY] + mX;
        float *residual = decision.residual[mY] + mX, *lead = decision.lead[mY] + mX;
        for (std::size_t x = 0; x < mCount; ++x) {
            const float predicted = center ? center[x] : 0.0f, nearest = Nearest(predicted);
            orders[x] = ToOrder(nearest);
            residual[x] = std::abs(predicted - nearest);
            lead[x] = kExcluded;
        }
    }

    static std::int16_t ToOrder(float order) {
        return static_cast<std::int16_t>(static_cast<int>(std::abs(order) < 32768.0f ? order : 0.0f));
    }

    void Prepare() {
        const float* center = Center();
        const float* fine = mSets[0].phase[mY] + mX;
        const float* fineModulation = mSets[0].modulation[mY] + mX;
        for (std::size_t x = 0; x < mCount; ++x) {
            mBase[x] = center ? Nearest(center[x]) : 0.0f;
            mFineVariance[x] = Variance(mVariance[0], fineModulation[x]);
        }
        if (mPair) return;
        for (std::size_t x = 0; x < mCount; ++x) mNormal[x] = 1.0f / mFineVariance[x];
        for (std::size_t i = 0; i < mOthers; ++i) {
            const float* phase = mSets[i + 1].phase[mY] + mX;
            const float* modulation = mSets[i + 1].modulation[mY] + mX;
            const auto q = static_cast<float>(mRatio[i]);
            const float levels = mVariance[i + 1];
            float *difference = &mDifference[i * kChunk], *weight = &mWeight[i * kChunk];
            for (std::size_t x = 0; x < mCount; ++x) {
                difference[x] = Fraction((phase[x] - q * fine[x]) * kPeriodsPerRadian - q * mBase[x]);
                weight[x] = 1.0f / Variance(levels, modulation[x]);
                mNormal[x] += q * q * weight[x];
            }
        }
        for (std::size_t x = 0; x < mCount; ++x) mNormal[x] = 1.0f / mNormal[x];
    }

    // Of the phase, in periods squared.
    static float Variance(float levels, float modulation) {
        constexpr float kFloor = kSystematicError * kSystematicError;
        return (levels / (modulation * modulation + 1e-6f) + kFloor) * kPeriodsPerRadian * kPeriodsPerRadian;
    }

    // Two sets of n1 : n2 periods: the fractions of the candidates stand at equal distances, so the nearest one is
    // found by rounding.
    void DecidePair(OrderDecision& decision) {
        const auto n = static_cast<float>(mPair->denominator), inverse = static_cast<float>(mPair->inverse);
        const auto q = static_cast<float>(mRatio[0]);
        const float perOrder = 1.0f / n, levels = mVariance[1], scale = n * kPeriodsPerRadian;
        const float *fine = mSets[0].phase[mY] + mX, *phase = mSets[1].phase[mY] + mX;
        const float* modulation = mSets[1].modulation[mY] + mX;
        std::int16_t* orders = decision.order[mY] + mX;
        float *residual = decision.residual[mY] + mX, *lead = decision.lead[mY] + mX;
        for (std::size_t x = 0; x < mCount; ++x) {
            const float scaled = (phase[x] - q * fine[x]) * scale;
            const float whole = Nearest(scaled);
            const float m = whole - n * Nearest(whole * perOrder);  // modulo n, -n/2 to n/2
            const float product = m * inverse;
            orders[x] = ToOrder(product - n * Nearest((product + 0.5f) * perOrder - 0.5f));
            const float distance = std::abs(scaled - whole);
            const float variance = Variance(levels, modulation[x]) + q * q * mFineVariance[x];
            residual[x] = distance;  // of the way to the next one, which is a whole step
            lead[x] = (1.0f - 2.0f * distance) * perOrder * perOrder / variance;
        }
    }

    void Search() {
        std::fill_n(mBest.begin(), mCount, kExcluded);
        std::fill_n(mSecond.begin(), mCount, kExcluded);
        std::fill_n(mOrder.begin(), mCount, 0.0f);
        if (Center()) return TryAroundCenter();
        const Guide guide = FindGuide();
        if (guide.candidates < mRange.count) return TryNear(guide);
        for (int k = 0; k < mRange.count; ++k) {
            std::fill_n(mCandidate.begin(), mCount, static_cast<float>(k));
            Try();
        }
    }

    void TryAroundCenter() {
        const float* center = Center();
        const float reach = 0.5f * static_cast<float>(mRange.count) + 1e-4f;
        for (int j = -(mRange.count / 2); j <= mRange.count / 2; ++j) {
            const auto k = static_cast<float>(j);
            for (std::size_t x = 0; x < mCount; ++x)
                mCandidate[x] = std::abs(center[x] - mBase[x] - k) > reach ? kNone : k;
            Try();
        }
    }

    // A set whose phase alone excludes most orders: those whose fraction lies more than `reach` steps from its own.
    struct Guide {
        std::size_t set = 0;
        int reach = 0;
        int candidates = kMostCandidates;
    };

    // The best one for these pixels. The likelihood of an order is never above that which one set gives it.
    Guide FindGuide() const {
        constexpr float kDeviations = 5.0f;
        // Phases of more noise tell nothing, whatever is tried.
        constexpr float kMostDeviation = 0.25f * kPeriodsPerRadian;
        Guide best;
        for (std::size_t i = 0; i < mOthers; ++i) {
            if (!mSteps[i]) continue;
            const auto q = static_cast<float>(mRatio[i]);
            const float* weight = &mWeight[i * kChunk];
            float most = 0;
            for (std::size_t x = 0; x < mCount; ++x) {
                const float variance = 1.0f / weight[x] + q * q * mFineVariance[x];
                const float counted = variance < kMostDeviation * kMostDeviation ? variance : 0.0f;
                most = most > counted ? most : counted;
            }
            const int steps = mSteps[i]->denominator;
            const float wanted = std::ceil(kDeviations * std::sqrt(most) * static_cast<float>(steps) - 0.5f);
            const int reach = std::max(1, static_cast<int>(wanted));
            const int candidates = (2 * reach + 1) * ((mRange.count + steps - 1) / steps);
            if (2 * reach + 1 < steps && candidates < best.candidates) best = {i, reach, candidates};
        }
        return best;
    }

    void TryNear(const Guide& guide) {
        const Ratio& ratio = *mSteps[guide.set];
        const auto n = static_cast<float>(ratio.denominator), inverse = static_cast<float>(ratio.inverse);
        const auto count = static_cast<float>(mRange.count), perStep = 1 / n;
        const float* difference = &mDifference[guide.set * kChunk];
        for (int step = -guide.reach; step <= guide.reach; ++step)
            for (float more = 0; more < count; more += n) {
                for (std::size_t x = 0; x < mCount; ++x) {
                    const float product = (Nearest(difference[x] * n) + static_cast<float>(step)) * inverse;
                    const float k = product - n * Nearest((product + 0.5f) * perStep - 0.5f) + more;
                    mCandidate[x] = k < count ? k : kNone;
                }
                Try();
            }
    }

    // One candidate for each pixel.
    void Try() {
        switch (mOthers) {
            case 1: return TryWith<1>();
            case 2: return TryWith<2>();
            case 3: return TryWith<3>();
            default: return TryWith<0>();
        }
    }

    // With a number of other sets that the compiler knows; 0: any.
    template <std::size_t kOthers>
    void TryWith() {
        const std::size_t others = kOthers > 0 ? kOthers : mOthers;
        const float *difference = mDifference.data(), *weight = mWeight.data(), *ratio = mRatioOf.data();
        for (std::size_t x = 0; x < mCount; ++x) {
            const float k = mCandidate[x];
            float sum = 0, mixed = 0;
            for (std::size_t i = 0; i < others; ++i) {
                const float residual = Fraction(difference[i * kChunk + x] - ratio[i] * k);
                const float weighted = residual * weight[i * kChunk + x];
                sum += residual * weighted;
                mixed += ratio[i] * weighted;
            }
            const float own = sum - mixed * mixed * mNormal[x];
            const float cost = k > kNone ? own : kExcluded;
            mOrder[x] = cost < mBest[x] ? k : mOrder[x];
            mSecond[x] = std::min(mSecond[x], std::max(mBest[x], cost));
            mBest[x] = std::min(mBest[x], cost);
        }
    }

    void Store(OrderDecision& decision) {
        const float* center = Center();
        cv::Mat1s order = decision.order;
        std::int16_t* orders = order[mY] + mX;
        float* residual = decision.residual[mY] + mX;
        float* lead = decision.lead[mY] + mX;
        for (std::size_t x = 0; x < mCount; ++x) {
            orders[x] = ToOrder(mBase[x] + mOrder[x]);
            const float best = std::sqrt(std::max(mBest[x], 0.0f)), second = std::sqrt(std::max(mSecond[x], 0.0f));
            residual[x] = best / (best + second + 1e-12f);
            lead[x] = mSecond[x] - mBest[x];
        }
        if (!center) return;
        const float perOrder = 1.0f / static_cast<float>(mRange.count);
        for (std::size_t x = 0; x < mCount; ++x)
            residual[x] = std::max(residual[x], std::abs(center[x] - mBase[x] - mOrder[x]) * perOrder);
    }

    const std::vector<PhaseSet>& mSets;
    const OrderRange& mRange;
    std::size_t mOthers;
    std::vector<double> mRatio;
    std::vector<float> mRatioOf;               // the same
    std::vector<float> mVariance;              // of the phase times the modulation squared
    std::vector<std::optional<Ratio>> mSteps;  // of the other sets, see FindSteps
    std::optional<Ratio> mPair;
    std::size_t mCount = 0;
    int mY = 0, mX = 0;
    using Buffer = std::array<float, kChunk>;
    Buffer mBase{}, mFineVariance{}, mNormal{}, mBest{}, mSecond{}, mOrder{}, mCandidate{};
    std::vector<float> mDifference, mWeight;
};

}  // namespace

OrderDecision DecideOrders(const std::vector<PhaseSet>& sets, const OrderRange& range, double noise) {
    if (sets.empty() || range.count < 1) throw InputError("orders need at least one set of fringes and one candidate");
    const cv::Size size = sets[0].phase.size();
    for (const PhaseSet& set : sets)
        if (set.phase.size() != size || set.modulation.size() != size)
            throw InputError("the phases of several sets must have one size");
    if (!range.center.empty() && range.center.size() != size)
        throw InputError("the orders that a code predicts must have the size of the phase");
    OrderDecision decision{cv::Mat1s(size), cv::Mat1f(size), cv::Mat1f(size)};
    cv::parallel_for_(cv::Range(0, size.height), [&](const cv::Range& rows) {
        OrderKernel kernel(sets, range, noise);
        for (int y = rows.start; y < rows.end; ++y) kernel.DecideRow(y, decision);
    });
    return decision;
}

}  // namespace measure
