#include "measure/fringe/costrows.h"

#include <cmath>

namespace measure::rows {
namespace {

constexpr float kPi = 3.14159265F;

inline float Wrapped(float difference) {
    return difference > kPi ? difference - 2 * kPi : difference < -kPi ? difference + 2 * kPi : difference;
}

// NaN when one of the three is.
inline float SecondDifference(float a, float b, float c) { return Wrapped(a - b) + Wrapped(c - b); }

struct FourDirections {
    float horizontal, vertical, falling, rising;
};

inline FourDirections SecondDifferences(const float* above, const float* own, const float* below, std::ptrdiff_t x) {
    const float b = own[x];
    return {SecondDifference(own[x - 1], b, own[x + 1]), SecondDifference(above[x], b, below[x]),
            SecondDifference(above[x - 1], b, below[x + 1]), SecondDifference(above[x + 1], b, below[x - 1])};
}

inline float ZeroForNan(float v) { return v == v ? v : 0.0F; }
inline float OneUnlessNan(float v) { return v == v ? 1.0F : 0.0F; }
inline float Largest(float a, float b) { return a > b ? a : b; }
inline float Least(float a, float b) { return a < b ? a : b; }

}  // namespace

void Bend(const PhaseRows& rows, float* __restrict bend, std::size_t count) {
    const float* __restrict above = rows.above, * __restrict own = rows.own, * __restrict below = rows.below;
    for (std::ptrdiff_t x = 0; x < static_cast<std::ptrdiff_t>(count); ++x) {
        const FourDirections d = SecondDifferences(above, own, below, x);
        const float directions =
            OneUnlessNan(d.horizontal) + OneUnlessNan(d.vertical) + OneUnlessNan(d.falling) + OneUnlessNan(d.rising);
        const float squares = ZeroForNan(d.horizontal * d.horizontal) + ZeroForNan(d.vertical * d.vertical) +
                              ZeroForNan(d.falling * d.falling) + ZeroForNan(d.rising * d.rising);
        const float root = std::sqrt(squares * (4.0F / Largest(directions, 1.0F)));
        bend[x] = directions > 0 ? Least(root, kLargestBend) : kLargestBend;
    }
}

void Straightness(const PhaseRows& rows, std::uint8_t* __restrict quality, std::size_t count) {
    const float* __restrict above = rows.above, * __restrict own = rows.own, * __restrict below = rows.below;
    const auto sizeOrNone = [](float v) { return v == v ? std::abs(v) : -1.0F; };
    for (std::ptrdiff_t x = 0; x < static_cast<std::ptrdiff_t>(count); ++x) {
        const FourDirections d = SecondDifferences(above, own, below, x);
        const float bend = Largest(Largest(sizeOrNone(d.horizontal), sizeOrNone(d.vertical)),
                                   Largest(sizeOrNone(d.falling), sizeOrNone(d.rising)));
        const float straight = Largest(255.0F - bend * (255.0F / kPi), 0.0F);
        quality[x] = static_cast<std::uint8_t>(static_cast<int>(bend >= 0 ? straight + 0.5F : 0.0F));
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
            (Largest(Largest(l0[x], l1[x]), l2[x]) + 0.01F) / (Least(Least(s0[x], s1[x]), s2[x]) + 0.01F);
        change[x] = ratio == ratio ? ratio : 1.0F;
    }
}

void AddContrastCost(const float* __restrict logarithm, float* __restrict cost, std::size_t count) {
    for (std::size_t x = 0; x < count; ++x) cost[x] += 3.0F * logarithm[x];
}

}  // namespace measure::rows
