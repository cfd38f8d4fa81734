#pragma once

#include <cmath>
#include <cstdint>

namespace measure::simulate {

// Normally distributed numbers, the same on every platform: SplitMix64 (Steele, Lea, Flood 2014) and Box–Muller.
class Noise {
public:
    // A stream of its own for every combination of the three.
    Noise(std::uint64_t seed, std::uint64_t picture, std::uint64_t row)
        : mState(Mix(Mix(Mix(seed) + picture * kStep) + row * kStep)) {}

    float Next() {
        if (mHasSpare) {
            mHasSpare = false;
            return mSpare;
        }
        const double u = (static_cast<double>(Bits() >> 11) + 1.0) * 0x1p-53;  // 0 < u ≤ 1
        const double angle = static_cast<double>(Bits() >> 11) * (0x1p-53 * 6.283185307179586);
        const double radius = std::sqrt(-2.0 * std::log(u));
        mSpare = static_cast<float>(radius * std::sin(angle));
        mHasSpare = true;
        return static_cast<float>(radius * std::cos(angle));
    }

    static std::uint64_t Mix(std::uint64_t z) {
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9U;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBU;
        return z ^ (z >> 31);
    }

private:
    static constexpr std::uint64_t kStep = 0x9E3779B97F4A7C15U;
    std::uint64_t Bits() { return Mix(mState += kStep); }

    std::uint64_t mState;
    float mSpare = 0;
    bool mHasSpare = false;
};

}  // namespace measure::simulate
