#pragma once

// Phases are radians; loops over rows with these functions vectorise on every CPU.
namespace measure {

inline constexpr float kPi = 3.14159265f;
inline constexpr double kTwoPi = 6.283185307179586;
inline constexpr float kPeriodsPerRadian = 0.15915494309189535f;
inline constexpr auto kRadiansPerPeriod = static_cast<float>(kTwoPi);

// Phases from here on count as none: below, the periods between two of them are numbers that an int, and Nearest, hold.
inline constexpr float kLeastHugePhase = 1e6f;

// The whole number next to v, for |v| < 2^22.
inline float Nearest(float v) {
    constexpr float kRounder = 12582912.0f;  // 1.5 · 2^23
    return (v + kRounder) - kRounder;
}

// What remains of v, in periods, after the next whole number is taken off: -1/2 to 1/2.
inline float Fraction(float v) { return v - Nearest(v); }

// A difference of any two phases, -pi to pi.
inline float WrapRadians(float v) { return v - kRadiansPerPeriod * Nearest(v * kPeriodsPerRadian); }

// The same of two wrapped phases, which is off by one period at most.
inline float WrapOnce(float step) { return step - (step > kPi ? 2 * kPi : 0.0f) + (step < -kPi ? 2 * kPi : 0.0f); }

}  // namespace measure
