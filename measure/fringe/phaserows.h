#pragma once

#include <cstddef>
#include <cstdint>

#include "measure/fringe.h"

namespace measure::rows {

// The inner loops of fringe evaluation, over `count` pixels of a row.

// What one frame adds to the estimates of A, C = B cos(phase) and S = B sin(phase).
struct Weights {
    float a, c, s;
};

// The sums of one row over the frames, and the largest value of each pixel.
struct Sums {
    float *a, *c, *s, *peak;
};

// Adds a frame to the sums; the first one starts them.
void AddFrame(const std::uint8_t* frame, const Weights& weights, bool first, const Sums& sums, std::size_t count);
void AddFrame(const std::uint16_t* frame, const Weights& weights, bool first, const Sums& sums, std::size_t count);
void AddFrame(const float* frame, const Weights& weights, bool first, const Sums& sums, std::size_t count);

// mean += weight frame
void AddMean(const std::uint8_t* frame, float weight, float* mean, std::size_t count);
void AddMean(const std::uint16_t* frame, float weight, float* mean, std::size_t count);
void AddMean(const float* frame, float weight, float* mean, std::size_t count);

// Adds the square of frame - (A + C cosine - S sine) to squares.
void AddSquares(const std::uint8_t* frame, float cosine, float sine, const Sums& sums, float* squares,
                std::size_t count);
void AddSquares(const std::uint16_t* frame, float cosine, float sine, const Sums& sums, float* squares,
                std::size_t count);
void AddSquares(const float* frame, float cosine, float sine, const Sums& sums, float* squares, std::size_t count);

// values = sqrt(scale values)
void RootOf(float* values, float scale, std::size_t count);

// phase = atan2(s, c), within 4e-7 of the exact angle, in [-pi, pi]; 0 where both are 0, NaN where one is not finite.
// modulation = sqrt(c^2 + s^2).
void PhaseOf(const float* c, const float* s, float* phase, float* modulation, std::size_t count);

// sums[x] = values[x - 1] + values[x] + values[x + 1], the outermost values once more beyond the ends.
void SumThree(const float* values, float* sums, std::size_t count);

// 255 where peak >= level, else 0.
void MarkSaturated(const float* peak, float level, std::uint8_t* saturated, std::size_t count);

// Of mean and modulation, grey levels.
struct Limits {
    explicit Limits(const FringeLimits& limits)
        : mean(static_cast<float>(limits.minMean * limits.fullScale)),
          modulation(static_cast<float>(limits.minModulation * limits.fullScale)) {}
    float mean, modulation;
};
// Three rows of sums of three pixels each.
struct ThreeRows {
    const float *above, *own, *below;
};
struct Neighbourhood {
    ThreeRows c, s;
};
void MarkUsable(const float* mean, const float* modulation, const std::uint8_t* saturated, const Neighbourhood& around,
                const Limits& limits, std::uint8_t* usable, std::size_t count);
// Marks the pixels that are not usable and could be with other neighbours, and leaves other marks; whether there are
// any. MayHaveCandidates tells sooner, and without the mean, where there are none.
bool MayHaveCandidates(const float* modulation, const std::uint8_t* saturated, const std::uint8_t* usable,
                       const Limits& limits, std::size_t count);
bool MarkCandidates(const float* mean, const float* modulation, const std::uint8_t* saturated,
                    const std::uint8_t* usable, const Limits& limits, std::uint8_t* marks, std::size_t count);

// contrast = min(1, B / (A + 1)) of the means of nine pixels.
void Contrast(const ThreeRows& mean, const ThreeRows& modulation, float* contrast, std::size_t count);

}  // namespace measure::rows
