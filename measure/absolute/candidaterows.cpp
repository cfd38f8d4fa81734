#include "measure/absolute/candidaterows.h"

#include <algorithm>
#include <cstring>

#include "measure/base/wide.h"

namespace measure::rows {
namespace {

// With a number of sets that the compiler knows; 0: any.
template <std::size_t kOthers>
inline void TryWith(const OtherSets& sets, Trials& t) {
    const std::size_t others = kOthers > 0 ? kOthers : sets.count;
    const float *difference = sets.difference, *weight = sets.weight, *ratio = sets.ratio;
    for (std::size_t x = 0; x < t.count; ++x) {
        const float k = t.candidate[x];
        float sum = 0, mixed = 0;
        for (std::size_t i = 0; i < others; ++i) {
            const float residual = Fraction(difference[i * kChunk + x] - ratio[i] * k);
            const float weighted = residual * weight[i * kChunk + x];
            sum += residual * weighted;
            mixed += ratio[i] * weighted;
        }
        const float own = sum - mixed * mixed * t.normal[x];
        const float cost = k > kNone ? own : kExcluded;
        t.order[x] = cost < t.best[x] ? k : t.order[x];
        t.second[x] = std::min(t.second[x], std::max(t.best[x], cost));
        t.best[x] = std::min(t.best[x], cost);
    }
}

}  // namespace

MEASURE_WIDE void LiftOff(const float* __restrict phase, float origin, float* __restrict above, std::size_t count) {
    for (std::size_t x = 0; x < count; ++x) above[x] = phase[x] - origin;
}

MEASURE_WIDE void VarianceOf(const float* __restrict modulation, float levels, float* __restrict variance,
                             std::size_t count) {
    for (std::size_t x = 0; x < count; ++x) variance[x] = Variance(levels, modulation[x]);
}

MEASURE_WIDE void Invert(float* values, std::size_t count) {
    for (std::size_t x = 0; x < count; ++x) values[x] = 1.0f / values[x];
}

MEASURE_WIDE void CompareSets(const float* __restrict fine, const float* __restrict phase, const float* __restrict base,
                              float q, float* __restrict difference, std::size_t count) {
    for (std::size_t x = 0; x < count; ++x)
        difference[x] = Fraction((phase[x] - q * fine[x]) * kPeriodsPerRadian - q * base[x]);
}

MEASURE_WIDE void WeighSet(const float* __restrict modulation, float q, float levels, float* __restrict weight,
                           float* __restrict normal, std::size_t count) {
    for (std::size_t x = 0; x < count; ++x) {
        weight[x] = 1.0f / Variance(levels, modulation[x]);
        normal[x] += q * q * weight[x];
    }
}

// The bits of floats above 0 are in the order of their values, and integers make vectors.
MEASURE_WIDE float LargestVariance(const float* weight, const float* fineVariance, float q, float limit,
                                   std::size_t count) {
    std::int32_t most = 0;
    for (std::size_t x = 0; x < count; ++x) {
        const float variance = 1.0f / weight[x] + q * q * fineVariance[x];
        const float counted = variance < limit ? variance : 0.0f;
        std::int32_t bits = 0;
        std::memcpy(&bits, &counted, sizeof bits);
        most = std::max(most, bits);
    }
    float largest = 0;
    std::memcpy(&largest, &most, sizeof largest);
    return largest;
}

MEASURE_WIDE void RoundPair(const float* __restrict fine, const float* __restrict phase, const Ratio& ratio, float q,
                            std::int16_t* __restrict orders, float* __restrict residual, std::size_t count) {
    const auto n = static_cast<float>(ratio.denominator), inverse = static_cast<float>(ratio.inverse);
    const float perOrder = 1.0f / n, scale = n * kPeriodsPerRadian;
    for (std::size_t x = 0; x < count; ++x) {
        const float scaled = (phase[x] - q * fine[x]) * scale;
        const float whole = Nearest(scaled);
        const float m = whole - n * Nearest(whole * perOrder);  // modulo n, -n/2 to n/2
        const float product = m * inverse;
        orders[x] = ToOrder(product - n * Nearest((product + 0.5f) * perOrder - 0.5f));
        residual[x] = std::abs(scaled - whole);
    }
}

MEASURE_WIDE void LeadOfPair(const float* __restrict modulation, const float* __restrict fineVariance,
                             const Ratio& ratio, float q, float levels, const float* __restrict residual,
                             float* __restrict lead, std::size_t count) {
    const float perOrder = 1.0f / static_cast<float>(ratio.denominator);
    for (std::size_t x = 0; x < count; ++x) {
        const float variance = Variance(levels, modulation[x]) + q * q * fineVariance[x];
        lead[x] = (1.0f - 2.0f * residual[x]) * perOrder * perOrder / variance;
    }
}

MEASURE_WIDE void TryCandidates(const OtherSets& sets, Trials& trials) {
    switch (sets.count) {
        case 1: return TryWith<1>(sets, trials);
        case 2: return TryWith<2>(sets, trials);
        case 3: return TryWith<3>(sets, trials);
        default: return TryWith<0>(sets, trials);
    }
}

MEASURE_WIDE bool FindCandidates(const float* __restrict difference, const Ratio& ratio, float step, float first,
                                 float most, Trials& trials) {
    const auto n = static_cast<float>(ratio.denominator), inverse = static_cast<float>(ratio.inverse);
    const float perStep = 1 / n;
    int any = 0;
    for (std::size_t x = 0; x < trials.count; ++x) {
        const float product = (Nearest(difference[x] * n) + step) * inverse;
        const float k = product - n * Nearest((product + 0.5f) * perStep - 0.5f) + first;
        any |= k < most;
        trials.candidate[x] = k < most ? k : kNone;
    }
    return any != 0;
}

MEASURE_WIDE void StoreBest(const Trials& trials, const float* __restrict base, std::int16_t* __restrict orders,
                            float* __restrict residual, float* __restrict lead) {
    for (std::size_t x = 0; x < trials.count; ++x) {
        const float best = trials.best[x], second = trials.second[x];
        const float deviation = std::sqrt(std::max(best, 0.0f));
        orders[x] = ToOrder(base[x] + trials.order[x]);
        residual[x] = deviation / (deviation + std::sqrt(std::max(second, 0.0f)) + 1e-12f);
        lead[x] = second - best;
    }
}

}  // namespace measure::rows
