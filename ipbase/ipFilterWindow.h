#pragma once

#include <cmath>
#include <cstdint>

#include "imagemodel/krarrays.h"

// What the filters compute over the samples around a pixel.
namespace KrN {

// A mean is a weighted sum with weights of 1.
enum class WindowKind { eWeighted, eMean, eMedian, eMinimum, eMaximum };

// A window along a line: `taps` samples, of which `left` lie before the pixel itself. Samples beyond the ends of the
// line are copies of its first or last one.
struct LineWindow {
    WindowKind kind;
    std::uint32_t taps;
    std::uint32_t left;
    KrTBuf1D<std::int32_t> weights;  // of a weighted sum
    double scale = 1.0;              // factor of a weighted sum
};

// No line is longer than 32,767 samples; wider windows of equal samples are cut to this many.
inline constexpr std::uint32_t kMostTaps = 65535;

LineWindow KernelWindow(const KrTBuf1D<std::int32_t>& kernel, double scale);
// Binomial weights over 2^(taps - 1). The weights of more than 34 taps do not fit in 32 bits; there are 33 or 34 then.
LineWindow GaussWindow(std::uint32_t taps);
LineWindow MeanWindow(std::uint32_t taps);
LineWindow RankWindow(WindowKind kind, std::uint32_t taps);

// The pixel value of a sum: rounded half away from zero, the low bits of integers kept. NaN and what is beyond 64 bits
// give 0.
template <class T>
T RoundToPixel(double value) {
    value += value > 0.0 ? 0.5 : -0.5;
    if (!(std::abs(value) < 9223372036854775808.0)) return T{};
    return static_cast<T>(static_cast<std::int64_t>(value));
}

}  // namespace KrN
