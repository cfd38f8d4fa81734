#include "measure/fringe/harmonicrows.h"

#include <algorithm>
#include <cmath>

#include "measure/base/phase.h"
#include "measure/base/wide.h"

// Compiled as phaserows.cpp is.
namespace measure::rows {
namespace {

// sin(2 pi u) for u from -1/4 to 1/4: an odd polynomial whose largest error, 6e-7, is the least of its degree.
inline float QuarterSine(float u) {
    const float v = u * u;
    float p = -70.99343322844288f;
    p = p * v + 81.34076888289724f;
    p = p * v - 41.33714237095139f;
    p = p * v + 6.283164044301314f;
    return p * u;
}

struct SineAndCosine {
    float sine, cosine;
};

// Of 2 pi turns, doubled.
inline SineAndCosine TwiceAt(float turns) {
    const float half = 0.5f * Fraction(turns);
    const float sineOfHalf = QuarterSine(half), cosineOfHalf = QuarterSine(0.25f - std::abs(half));
    return {4 * sineOfHalf * cosineOfHalf, 2 - 4 * sineOfHalf * sineOfHalf};
}

// The sum at that angle, by Clenshaw's recurrence; Count is known for the sake of the compiler.
template <int Count>
inline float SumAt(const Harmonics& h, const SineAndCosine& twice) {
    float s1 = h.sines[Count - 1], c1 = h.cosines[Count - 1], s2 = 0, c2 = 0;
    for (std::size_t m = Count - 1; m-- > 0;) {
        const float s = h.sines[m] + twice.cosine * s1 - s2;
        const float c = h.cosines[m] + twice.cosine * c1 - c2;
        s2 = s1;
        s1 = s;
        c2 = c1;
        c1 = c;
    }
    return 0.5f * (s1 * twice.sine + c1 * twice.cosine) - c2;
}

template <int Count>
void AddHarmonicsOf(const Harmonics& given, int multiple, float* __restrict phase, std::size_t count) {
    const Harmonics h = given;
    const float turnsPerRadian = static_cast<float>(multiple) / (2 * kPi);
    for (std::size_t x = 0; x < count; ++x)
        phase[x] = WrapOnce(phase[x] + SumAt<Count>(h, TwiceAt(phase[x] * turnsPerRadian)));
}

}  // namespace

MEASURE_WIDE void AddHarmonics(const Harmonics& harmonics, int multiple, float* phase, std::size_t count) {
    if (harmonics.count <= 2) return AddHarmonicsOf<2>(harmonics, multiple, phase, count);
    AddHarmonicsOf<Harmonics::kLargest>(harmonics, multiple, phase, count);
}

MEASURE_WIDE void Multiply(const Gain& gain, const float* __restrict phase, const float* __restrict modulation,
                           float* __restrict product, std::size_t count) {
    if (gain.least == gain.most) {
        for (std::size_t x = 0; x < count; ++x) product[x] = modulation[x] * gain.mean;
        return;
    }
    const Harmonics swing = gain.swing;
    const float mean = gain.mean, turnsPerRadian = static_cast<float>(gain.multiple) / (2 * kPi);
    for (std::size_t x = 0; x < count; ++x)
        product[x] = modulation[x] * (mean + SumAt<2>(swing, TwiceAt(phase[x] * turnsPerRadian)));
}

MEASURE_WIDE void PhasorOf(const float* __restrict phase, const float* __restrict modulation, const Ramp& ramp,
                           float* __restrict c, float* __restrict s, std::size_t count) {
    constexpr float kTurnsPerRadian = 0.5f / kPi;
    const float slope = ramp.slope, start = ramp.start;
    for (std::size_t x = 0; x < count; ++x) {
        const float angle = phase[x] - start - slope * static_cast<float>(static_cast<int>(x));
        const SineAndCosine twice = TwiceAt(angle * kTurnsPerRadian);
        c[x] = 0.5f * modulation[x] * twice.cosine;
        s[x] = 0.5f * modulation[x] * twice.sine;
    }
}

}  // namespace measure::rows
