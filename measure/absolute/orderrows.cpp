#include <opencv2/core.hpp>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <optional>
#include <string>

#include "measure/absolute.h"
#include "measure/absolute/candidaterows.h"
#include "measure/absolute/coding.h"
#include "measure/absolute/orderrows.h"
#include "measure/base/arguments.h"
#include "measure/base/phase.h"
#include "measure/error.h"
#include "measure/fringe/rowbands.h"

namespace measure {
namespace {

using namespace rows;

constexpr int kMostCandidates = 1 << 20;

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
        mPhase.resize(sets.size() * kChunk);
        mDifference.resize(mOthers * kChunk);
        mWeight.resize(mOthers * kChunk);
        mSteps.resize(mOthers);
        for (std::size_t i = 0; i < mOthers && range.center.empty(); ++i) mSteps[i] = FindSteps(mRatio[i], range.count);
        if (mOthers == 1 && range.center.empty()) mPair = FindRatio(mRatio[0], range.count);
    }

    void DecideRow(int y, OrderDecision& decision) {
        const int width = mSets[0].phase.cols;
        for (int x = 0; x < width; x += static_cast<int>(kChunk)) {
            mTrials.count = mCount = std::min(kChunk, static_cast<std::size_t>(width - x));
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

    // Of these pixels, above the origin of the set.
    const float* PhaseOf(std::size_t set) {
        const float* const phase = mSets[set].phase[mY] + mX;
        if (mSets[set].origin == 0) return phase;
        float* const above = &mPhase[set * kChunk];
        LiftOff(phase, static_cast<float>(mSets[set].origin), above, mCount);
        return above;
    }

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

    void Prepare() {
        const std::size_t count = mCount;
        const float* center = Center();
        const float* fine = PhaseOf(0);
        for (std::size_t x = 0; center && x < count; ++x) mBase[x] = Nearest(center[x]);  // else 0
        VarianceOf(mSets[0].modulation[mY] + mX, mVariance[0], mFineVariance, count);
        if (mPair) return;
        std::copy_n(mFineVariance, count, mTrials.normal);
        Invert(mTrials.normal, count);
        for (std::size_t i = 0; i < mOthers; ++i) {
            const float* phase = PhaseOf(i + 1);
            const float* modulation = mSets[i + 1].modulation[mY] + mX;
            const auto q = static_cast<float>(mRatio[i]);
            const float levels = mVariance[i + 1];
            float *difference = &mDifference[i * kChunk], *weight = &mWeight[i * kChunk];
            CompareSets(fine, phase, mBase, q, difference, count);
            WeighSet(modulation, q, levels, weight, mTrials.normal, count);
        }
        Invert(mTrials.normal, count);
    }

    void DecidePair(OrderDecision& decision) {
        RoundPair(PhaseOf(0), PhaseOf(1), *mPair, static_cast<float>(mRatio[0]), decision.order[mY] + mX,
                  decision.residual[mY] + mX, mCount);
        LeadOfPair(mSets[1].modulation[mY] + mX, mFineVariance, *mPair, static_cast<float>(mRatio[0]), mVariance[1],
                   decision.residual[mY] + mX, decision.lead[mY] + mX, mCount);
    }

    void Search() {
        std::fill_n(mTrials.best, mCount, kExcluded);
        std::fill_n(mTrials.second, mCount, kExcluded);
        std::fill_n(mTrials.order, mCount, 0.0f);
        if (Center()) return TryAroundCenter();
        const Guide guide = FindGuide();
        if (guide.candidates < mRange.count) return TryNear(guide);
        for (int k = 0; k < mRange.count; ++k) {
            std::fill_n(mTrials.candidate, mCount, static_cast<float>(k));
            Try();
        }
    }

    void TryAroundCenter() {
        const float* center = Center();
        const float reach = 0.5f * static_cast<float>(mRange.count) + 1e-4f;
        for (int j = -(mRange.count / 2); j <= mRange.count / 2; ++j) {
            const auto k = static_cast<float>(j);
            for (std::size_t x = 0; x < mCount; ++x)
                mTrials.candidate[x] = std::abs(center[x] - mBase[x] - k) > reach ? kNone : k;
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
            const float most = LargestVariance(weight, mFineVariance, q, kMostDeviation * kMostDeviation, mCount);
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
        const auto count = static_cast<float>(mRange.count), n = static_cast<float>(ratio.denominator);
        const float* difference = &mDifference[guide.set * kChunk];
        for (int step = -guide.reach; step <= guide.reach; ++step)
            for (float more = 0; more < count; more += n)
                if (FindCandidates(difference, ratio, static_cast<float>(step), more, count, mTrials)) Try();
    }

    // One candidate for each pixel.
    void Try() { TryCandidates({mDifference.data(), mWeight.data(), mRatioOf.data(), mOthers}, mTrials); }

    void Store(OrderDecision& decision) {
        const float* center = Center();
        float* residual = decision.residual[mY] + mX;
        StoreBest(mTrials, mBase, decision.order[mY] + mX, residual, decision.lead[mY] + mX);
        if (!center) return;
        const float perOrder = 1.0f / static_cast<float>(mRange.count);
        for (std::size_t x = 0; x < mCount; ++x)
            residual[x] = std::max(residual[x], std::abs(center[x] - mBase[x] - mTrials.order[x]) * perOrder);
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
    Buffer mBase{}, mFineVariance{};
    Trials mTrials;
    std::vector<float> mPhase, mDifference, mWeight;
};

void RequireSets(const std::vector<PhaseSet>& sets, const OrderRange& range, double noise) {
    if (sets.empty()) throw InputError("orders need at least one set of fringes");
    RequireNumber(range.count >= 1 && range.count <= kMostOrders, "the number of possible orders", range.count,
                  "1 to 32767");
    RequireNotNegative("the noise", noise);
    const cv::Mat1f& first = sets[0].phase;
    for (std::size_t i = 0; i < sets.size(); ++i) {
        const PhaseSet& set = sets[i];
        const std::string name = "sets[" + std::to_string(i) + "].";
        RequireOneSize({"sets[0].phase", first}, {{name + "phase", set.phase}, {name + "modulation", set.modulation}});
        RequirePositive(name + "period", set.period);
        RequireNumber(set.period >= sets[0].period, name + "period", set.period, "at least that of the first set");
        RequireNumber(set.frames >= 1, name + "frames", set.frames, "1 or more");
        RequireFinite(name + "origin", set.origin);
    }
    RequireOneSize({"sets[0].phase", first}, {{"the predicted orders", range.center, kOptional}});
    if (sets.size() == 1 && range.count > 1 && range.center.empty())
        throw InputError("a single set of fringes cannot tell its order: it needs a prediction");
}

}  // namespace

OrderDecision DecideOrders(const std::vector<PhaseSet>& sets, const OrderRange& range, double noise,
                           const Progress& progress) {
    OrderDecision decision;
    DecideOrders(sets, range, noise, decision, progress);
    return decision;
}

void DecideOrders(const std::vector<PhaseSet>& sets, const OrderRange& range, double noise, OrderDecision& decision,
                  const Progress& progress) {
    RequireSets(sets, range, noise);
    const cv::Size size = sets[0].phase.size();
    decision.order.create(size);
    decision.residual.create(size);
    decision.lead.create(size);
    ForRowBands(size, progress, "deciding the orders", [&](const cv::Range& rows) {
        OrderKernel kernel(sets, range, noise);
        for (int y = rows.start; y < rows.end; ++y) kernel.DecideRow(y, decision);
    });
}

}  // namespace measure
