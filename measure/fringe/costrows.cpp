#include "measure/fringe/costrows.h"

#include <cmath>

#include "measure/base/phase.h"

namespace measure::rows {
namespace {

inline float ZeroForNan(float v) { return v == v ? v : 0.0f; }
inline float OneUnlessNan(float v) { return v == v ? 1.0f : 0.0f; }
inline float Largest(float a, float b) { return a > b ? a : b; }
inline float Least(float a, float b) { return a < b ? a : b; }

}  // namespace

void Differ(const float* __restrict phase, const float* __restrict phaseBelow, const Differences& differences,
            std::size_t count) {
    float* __restrict right = differences.right, * __restrict below = differences.below;
    float* __restrict belowRight = differences.belowRight, * __restrict belowLeft = differences.belowLeft;
    right[-1] = WrapOnce(phase[0] - phase[-1]);
    for (std::ptrdiff_t x = 0; x < static_cast<std::ptrdiff_t>(count); ++x) {
        right[x] = WrapOnce(phase[x + 1] - phase[x]);
        below[x] = WrapOnce(phaseBelow[x] - phase[x]);
        belowRight[x] = WrapOnce(phaseBelow[x + 1] - phase[x]);
        belowLeft[x] = WrapOnce(phaseBelow[x - 1] - phase[x]);
    }
}

void Bend(const Differences& previous, const Differences& own, float* __restrict bend, std::size_t count) {
    const float* __restrict right = own.right;
    const float* __restrict below = own.below, * __restrict above = previous.below;
    const float* __restrict belowRight = own.belowRight, * __restrict aboveLeft = previous.belowRight;
    const float* __restrict belowLeft = own.belowLeft, * __restrict aboveRight = previous.belowLeft;
    for (std::ptrdiff_t x = 0; x < static_cast<std::ptrdiff_t>(count); ++x) {
        const float horizontal = right[x] - right[x - 1], vertical = below[x] - above[x];
        const float falling = belowRight[x] - aboveLeft[x - 1], rising = belowLeft[x] - aboveRight[x + 1];
        const float directions =
            OneUnlessNan(horizontal) + OneUnlessNan(vertical) + OneUnlessNan(falling) + OneUnlessNan(rising);
        const float squares = ZeroForNan(horizontal * horizontal) + ZeroForNan(vertical * vertical) +
                              ZeroForNan(falling * falling) + ZeroForNan(rising * rising);
        const float root = std::sqrt(squares * (4.0f / Largest(directions, 1.0f)));
        bend[x] = directions > 0 ? Least(root, kLargestBend) : kLargestBend;
    }
}

void Straightness(const Differences& previous, const Differences& own, std::uint8_t* __restrict quality,
                  std::size_t count) {
    const float* __restrict right = own.right;
    const float* __restrict below = own.below, * __restrict above = previous.below;
    const float* __restrict belowRight = own.belowRight, * __restrict aboveLeft = previous.belowRight;
    const float* __restrict belowLeft = own.belowLeft, * __restrict aboveRight = previous.belowLeft;
    const auto sizeOrNone = [](float v) { return v == v ? std::abs(v) : -1.0f; };
    for (std::ptrdiff_t x = 0; x < static_cast<std::ptrdiff_t>(count); ++x) {
        const float bend = Largest(
            Largest(sizeOrNone(right[x] - right[x - 1]), sizeOrNone(below[x] - above[x])),
            Largest(sizeOrNone(belowRight[x] - aboveLeft[x - 1]), sizeOrNone(belowLeft[x] - aboveRight[x + 1])));
        const float straight = Largest(255.0f - bend * (255.0f / kPi), 0.0f);
        quality[x] = static_cast<std::uint8_t>(static_cast<int>(bend >= 0 ? straight + 0.5f : 0.0f));
    }
}

void ExtremesOfThree(const float* __restrict values, float* __restrict largest, float* __restrict least,
                     std::size_t count) {
    for (std::ptrdiff_t x = 0; x < static_cast<std::ptrdiff_t>(count); ++x) {
        largest[x] = Largest(Largest(values[x - 1], values[x]), values[x + 1]);
        least[x] = Least(Least(values[x - 1], values[x]), values[x + 1]);
    }
}

void ContrastChange(const ExtremeRows& rows, float* __restrict change, std::size_t count) {
    const float* __restrict l0 = rows.largest[0], * __restrict l1 = rows.largest[1], * __restrict l2 = rows.largest[2];
    const float* __restrict s0 = rows.least[0], * __restrict s1 = rows.least[1], * __restrict s2 = rows.least[2];
    for (std::size_t x = 0; x < count; ++x) {
        const float ratio =
            (Largest(Largest(l0[x], l1[x]), l2[x]) + 0.01f) / (Least(Least(s0[x], s1[x]), s2[x]) + 0.01f);
        change[x] = ratio == ratio ? ratio : 1.0f;
    }
}

void ReduceBend(const float* __restrict above, const float* __restrict own, const float* __restrict below, float scale,
                float* __restrict bend, std::size_t count) {
    for (std::size_t x = 0; x < count; ++x) {
        const float factor = scale * (above[x] + own[x] + below[x]);
        bend[x] *= factor < 1.0f ? factor : 1.0f;
    }
}

void AddContrastCost(const float* __restrict logarithm, float* __restrict cost, std::size_t count) {
    for (std::size_t x = 0; x < count; ++x) cost[x] += 3.0f * logarithm[x];
}

}  // namespace measure::rows
