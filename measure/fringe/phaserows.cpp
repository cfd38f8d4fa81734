#include "measure/fringe/phaserows.h"

#include <algorithm>
#include <cmath>

#include "measure/base/phase.h"
#include "measure/base/wide.h"

// This file is compiled so that comparisons need not raise floating-point exceptions: only then loops that choose
// between values become vectors.
namespace measure::rows {
namespace {

template <class T>
void Start(const T* __restrict frame, const Weights w, const Sums& sums, std::size_t count) {
    float* __restrict a = sums.a, * __restrict c = sums.c, * __restrict s = sums.s, * __restrict peak = sums.peak;
    for (std::size_t x = 0; x < count; ++x) {
        const auto v = static_cast<float>(frame[x]);
        a[x] = w.a * v;
        c[x] = w.c * v;
        s[x] = w.s * v;
        peak[x] = v;
    }
}

template <class T>
void Add(const T* __restrict frame, const Weights w, const Sums& sums, std::size_t count) {
    float* __restrict a = sums.a, * __restrict c = sums.c, * __restrict s = sums.s, * __restrict peak = sums.peak;
    for (std::size_t x = 0; x < count; ++x) {
        const auto v = static_cast<float>(frame[x]);
        a[x] += w.a * v;
        c[x] += w.c * v;
        s[x] += w.s * v;
        peak[x] = v > peak[x] ? v : peak[x];
    }
}

template <class T>
void AddOrStart(const T* frame, const Weights& w, bool first, const Sums& sums, std::size_t count) {
    first ? Start(frame, w, sums, count) : Add(frame, w, sums, count);
}

template <class T>
inline void AddWeighted(const T* __restrict frame, float weight, float* __restrict mean, std::size_t count) {
    for (std::size_t x = 0; x < count; ++x) mean[x] += weight * static_cast<float>(frame[x]);
}

template <class T>
void AddSquaresOf(const T* __restrict frame, float cosine, float sine, const Sums& sums, float* __restrict squares,
                  std::size_t count) {
    const float* __restrict a = sums.a, * __restrict c = sums.c, * __restrict s = sums.s;
    for (std::size_t x = 0; x < count; ++x) {
        const float rest = static_cast<float>(frame[x]) - (a[x] + c[x] * cosine - s[x] * sine);
        squares[x] += rest * rest;
    }
}

constexpr float kHalfPi = 1.57079633f;

// The arc tangent of t in [0, 1]: an odd polynomial whose largest error, 4e-8, is the least possible of its degree.
inline float ArcTangent(float t) {
    const float u = t * t;
    float p = -0.004054562460623301f;
    p = p * u + 0.02186294023108487f;
    p = p * u - 0.055912300617501826f;
    p = p * u + 0.09642195358744954f;
    p = p * u - 0.13908628758351144f;
    p = p * u + 0.1994656548866534f;
    p = p * u - 0.3332986076969252f;
    p = p * u + 0.9999993355745624f;
    return p * t;
}

}  // namespace

void AddFrame(const std::uint8_t* frame, const Weights& weights, bool first, const Sums& sums, std::size_t count) {
    AddOrStart(frame, weights, first, sums, count);
}
void AddFrame(const std::uint16_t* frame, const Weights& weights, bool first, const Sums& sums, std::size_t count) {
    AddOrStart(frame, weights, first, sums, count);
}
void AddFrame(const float* frame, const Weights& weights, bool first, const Sums& sums, std::size_t count) {
    AddOrStart(frame, weights, first, sums, count);
}

MEASURE_WIDE void AddMean(const std::uint8_t* frame, float weight, float* mean, std::size_t count) {
    AddWeighted(frame, weight, mean, count);
}
MEASURE_WIDE void AddMean(const std::uint16_t* frame, float weight, float* mean, std::size_t count) {
    AddWeighted(frame, weight, mean, count);
}
MEASURE_WIDE void AddMean(const float* frame, float weight, float* mean, std::size_t count) {
    AddWeighted(frame, weight, mean, count);
}

void AddSquares(const std::uint8_t* frame, float cosine, float sine, const Sums& sums, float* squares,
                std::size_t count) {
    AddSquaresOf(frame, cosine, sine, sums, squares, count);
}
void AddSquares(const std::uint16_t* frame, float cosine, float sine, const Sums& sums, float* squares,
                std::size_t count) {
    AddSquaresOf(frame, cosine, sine, sums, squares, count);
}
void AddSquares(const float* frame, float cosine, float sine, const Sums& sums, float* squares, std::size_t count) {
    AddSquaresOf(frame, cosine, sine, sums, squares, count);
}

void RootOf(float* values, float scale, std::size_t count) {
    for (std::size_t x = 0; x < count; ++x) values[x] = std::sqrt(values[x] * scale);
}

void PhaseOf(const float* __restrict c, const float* __restrict s, float* __restrict phase,
             float* __restrict modulation, std::size_t count) {
    constexpr float kTiny = 1e-37f;  // instead of 0 / 0
    for (std::size_t x = 0; x < count; ++x) {
        const float cx = c[x], sx = s[x];
        const float ac = std::abs(cx), as = std::abs(sx);
        const float large = ac > as ? ac : as, small = ac > as ? as : ac;
        float angle = ArcTangent(small / (large > kTiny ? large : kTiny));
        angle = as > ac ? kHalfPi - angle : angle;
        angle = cx < 0 ? kPi - angle : angle;
        angle = sx < 0 ? -angle : angle;
        phase[x] = angle + (cx - cx) + (sx - sx);  // NaN where one is not finite
        modulation[x] = std::sqrt(cx * cx + sx * sx);
    }
}

void SumThree(const float* __restrict values, float* __restrict sums, std::size_t count) {
    for (std::size_t x = 1; x + 1 < count; ++x) sums[x] = values[x - 1] + values[x] + values[x + 1];
    const std::size_t last = count - 1;
    sums[0] = values[0] + values[0] + values[std::min<std::size_t>(1, last)];
    if (last > 0) sums[last] = values[last - 1] + values[last] + values[last];
}

void MarkSaturated(const float* __restrict peak, float level, std::uint8_t* __restrict saturated, std::size_t count) {
    for (std::size_t x = 0; x < count; ++x) saturated[x] = peak[x] >= level ? 255 : 0;
}

void MarkUsable(const float* __restrict mean, const float* __restrict modulation,
                const std::uint8_t* __restrict saturated, const Neighbourhood& around, const Limits& limits,
                std::uint8_t* __restrict usable, std::size_t count) {
    const float* __restrict c0 = around.c.above, * __restrict c1 = around.c.own, * __restrict c2 = around.c.below;
    const float* __restrict s0 = around.s.above, * __restrict s1 = around.s.own, * __restrict s2 = around.s.below;
    const float leastMean = limits.mean, leastOwn = limits.modulation / 2;
    const float leastSquare = 81.0f * limits.modulation * limits.modulation;
    for (std::size_t x = 0; x < count; ++x) {
        const float c = c0[x] + c1[x] + c2[x];
        const float s = s0[x] + s1[x] + s2[x];
        const bool bright = mean[x] >= leastMean;
        const bool own = modulation[x] >= leastOwn;
        const bool together = c * c + s * s >= leastSquare;
        const auto good = static_cast<std::uint8_t>((bright & own & together) ? 255 : 0);
        usable[x] = static_cast<std::uint8_t>(good & static_cast<std::uint8_t>(~saturated[x]));
    }
}

MEASURE_WIDE bool MayHaveCandidates(const float* __restrict modulation, const std::uint8_t* __restrict saturated,
                                    const std::uint8_t* __restrict usable, const Limits& limits, std::size_t count) {
    int found = 0;
    for (std::size_t x = 0; x < count; ++x) found |= (saturated[x] | usable[x]) == 0;
    if (found == 0) return false;
    const float leastOwn = limits.modulation / 2;
    found = 0;
    for (std::size_t x = 0; x < count; ++x)
        found |= static_cast<int>((saturated[x] | usable[x]) == 0) & static_cast<int>(modulation[x] >= leastOwn);
    return found != 0;
}

MEASURE_WIDE bool MarkCandidates(const float* __restrict mean, const float* __restrict modulation,
                                 const std::uint8_t* __restrict saturated, const std::uint8_t* __restrict usable,
                                 const Limits& limits, std::uint8_t* __restrict marks, std::size_t count) {
    const float leastMean = limits.mean, leastOwn = limits.modulation / 2;
    int found = 0;
    for (std::size_t x = 0; x < count; ++x) {
        const int isOut = static_cast<int>((saturated[x] | usable[x]) == 0);
        const int could = isOut & static_cast<int>(mean[x] >= leastMean) & static_cast<int>(modulation[x] >= leastOwn);
        marks[x] = static_cast<std::uint8_t>(marks[x] | could);
        found |= could;
    }
    return found != 0;
}

void Contrast(const ThreeRows& mean, const ThreeRows& modulation, float* __restrict contrast, std::size_t count) {
    const float* __restrict a0 = mean.above, * __restrict a1 = mean.own, * __restrict a2 = mean.below;
    const float* __restrict b0 = modulation.above, * __restrict b1 = modulation.own, * __restrict b2 = modulation.below;
    for (std::size_t x = 0; x < count; ++x) {
        const float c = (b0[x] + b1[x] + b2[x]) / (a0[x] + a1[x] + a2[x] + 9.0f);
        contrast[x] = c > 1.0f ? 1.0f : c;
    }
}

}  // namespace measure::rows
