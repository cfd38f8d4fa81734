#pragma once

namespace measure {

inline constexpr float kPeriodsPerRadian = 0.15915494309189535f;
inline constexpr float kRadiansPerPeriod = 6.283185307179586f;

// The whole number next to v, for |v| < 2^22; loops with it vectorise on every CPU.
inline float Nearest(float v) {
    constexpr float kRounder = 12582912.0f;  // 1.5 · 2^23
    return (v + kRounder) - kRounder;
}

// What remains of v, in periods, after the next whole number is taken off: -1/2 to 1/2.
inline float Fraction(float v) { return v - Nearest(v); }

// The difference of two phases in radians, -pi to pi.
inline float WrapRadians(float v) { return v - kRadiansPerPeriod * Nearest(v * kPeriodsPerRadian); }

}  // namespace measure
