#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>

#include "measure/base/phase.h"

// The loops of the growth of orders, over `count` pixels of a row. Absolute phases are compared, never orders: the
// wrapped phase of a pixel may be -pi or pi by the sign of a zero.
namespace measure::rows {

// Radians after which the orders repeat; 0: they do not.
struct Repeat {
    explicit Repeat(int orders = 0)
        : radians(kRadiansPerPeriod * static_cast<float>(orders)), inverse(orders > 0 ? 1 / radians : 0.0f) {}
    bool AreSame(float a, float b) const {
        const float difference = a - b;
        return std::abs(difference - radians * Nearest(difference * inverse)) <= 1.0f;
    }
    float radians, inverse;
};

// absolute = phase + 2 pi order; a pixel of any trust is at rest, others are out.
void LiftRow(const float* phase, const std::int16_t* order, const std::uint8_t* trust, float* absolute,
             std::uint8_t* state, std::size_t count);

// 0 where a pixel is not trusted, 1 where it is, 2 where it continues the trusted pixel before it: their absolute
// phases are less than `maxStep` apart.
void LinkRow(const float* absolute, const std::uint8_t* trust, float maxStep, std::uint8_t* links, std::size_t count);

// What has grown of a row, and what its pixels said by themselves.
struct GrownRow {
    float* absolute;
    std::uint8_t* state;
    const float* phase;
    const std::int16_t* order;
    const std::uint8_t* trust;
};
struct Differences {
    int corrected = 0, contradicted = 0;
};
// Drops what contradicts its own trusted order, and what nothing trusted reaches: absolute phases become NaN there, the
// states a mask of the others.
Differences CompareRow(const GrownRow& row, const Repeat& repeat, std::size_t count);

}  // namespace measure::rows
