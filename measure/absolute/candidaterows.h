#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>

#include "measure/absolute/coding.h"
#include "measure/base/phase.h"

// The loops of the decision of orders, over some pixels of a row at a time. `q` is the ratio of the finest period to
// that of a set.
namespace measure::rows {

constexpr std::size_t kChunk = 512;  // pixels whose buffers stay in the first-level cache
constexpr float kExcluded = 1e30f;   // the cost of a candidate that is none
constexpr float kNone = -30000.0f;   // in place of a candidate

using Buffer = float[kChunk];

// Of the phase, in periods squared; `levels` is it for a modulation of 1.
inline float Variance(float levels, float modulation) {
    constexpr float kSystematicError = 0.03f;  // radians, what remains of ripple and light even without noise
    constexpr float kFloor = kSystematicError * kSystematicError;
    return (levels / (modulation * modulation + 1e-6f) + kFloor) * kPeriodsPerRadian * kPeriodsPerRadian;
}

inline std::int16_t ToOrder(float order) {
    return static_cast<std::int16_t>(static_cast<int>(std::abs(order) < 32768.0f ? order : 0.0f));
}

// above = phase - origin
void LiftOff(const float* phase, float origin, float* above, std::size_t count);

// Of the finest set.
void VarianceOf(const float* modulation, float levels, float* variance, std::size_t count);

// values = 1 / values
void Invert(float* values, std::size_t count);

// How far the phase of a set lies from the one that the finest set and the base order ask for.
void CompareSets(const float* fine, const float* phase, const float* base, float q, float* difference,
                 std::size_t count);

// What that counts.
void WeighSet(const float* modulation, float q, float levels, float* weight, float* normal, std::size_t count);

// Of the differences with these weights, the largest one below a limit.
float LargestVariance(const float* weight, const float* fineVariance, float q, float limit, std::size_t count);

// Two sets of n1 : n2 periods: the fractions of the candidates stand at equal distances, so the nearest one is found by
// rounding. The residual is the part of the way to the next one, which is a whole step.
void RoundPair(const float* fine, const float* phase, const Ratio& ratio, float q, std::int16_t* orders,
               float* residual, std::size_t count);
void LeadOfPair(const float* modulation, const float* fineVariance, const Ratio& ratio, float q, float levels,
                const float* residual, float* lead, std::size_t count);

// The candidates of some pixels, and the costs of the best one and the second best one of those tried before.
struct Trials {
    Buffer normal{}, candidate{}, best{}, second{}, order{};
    std::size_t count = 0;
};

// What the other sets say of these pixels, set by set at a distance of kChunk, and their ratios.
struct OtherSets {
    const float *difference, *weight, *ratio;
    std::size_t count;
};

// One candidate for each pixel.
void TryCandidates(const OtherSets& sets, Trials& trials);

// Takes as candidates the orders below `most` whose fraction in a set of n steps lies `step` steps from the measured
// one; `first` is added to those below n. Whether there are any.
bool FindCandidates(const float* difference, const Ratio& ratio, float step, float first, float most, Trials& trials);

// The best candidates above a base order, how far they lie from fitting as well as the second best ones (0 to 1/2), and
// their lead over these.
void StoreBest(const Trials& trials, const float* base, std::int16_t* orders, float* residual, float* lead);

}  // namespace measure::rows
