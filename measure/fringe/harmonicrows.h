#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace measure::rows {

// The inner loops of the correction of ripple, over `count` pixels of a row.

// A sum of sines and cosines of multiples of an angle: sum over m of sines[m - 1] sin(m angle) + ....
struct Harmonics {
    static constexpr int kLargest = 8;
    std::array<float, kLargest> sines{}, cosines{};
    int count = 0;
};

// Adds to every phase the sum for the angle `multiple` phase, within 1e-5 of its amplitude, and wraps what was within
// [-pi, pi]; NaN stays NaN.
void AddHarmonics(const Harmonics& harmonics, int multiple, float* phase, std::size_t count);

// A factor that swings with a multiple of the phase, of up to two harmonics, and its bounds.
struct Gain {
    float mean = 1, least = 1, most = 1;
    Harmonics swing;
    int multiple = 1;
};
// product = modulation (mean + the sum of `swing` for the angle `multiple` phase)
void Multiply(const Gain& gain, const float* phase, const float* modulation, float* product, std::size_t count);

// c = modulation cos(angle), s = modulation sin(angle), within 1e-6 of the modulation, of angle = phase - ramp.
struct Ramp {
    float slope, start;  // radians per pixel, and at the first one
};
void PhasorOf(const float* phase, const float* modulation, const Ramp& ramp, float* c, float* s, std::size_t count);

}  // namespace measure::rows
