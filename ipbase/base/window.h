#pragma once

#include <cmath>
#include <cstdint>

#include "imagemodel/krarrays.h"

// What the filters compute over the samples around a pixel.
namespace KrN {

// A mean is a weighted sum with weights of 1.
enum class WindowKind { eWeighted, eMean, eMedian, eMinimum, eMaximum };

// How sums become pixels: they are multiplied by `scale` and rounded half away from zero. When `factor` is not 0, all
// sums of the window over bytes fit in 16 bits, and (sum + half) * factor >> (16 + shift) is the same.
struct Rounding {
    double scale = 1.0;
    std::uint16_t half = 0, factor = 0;
    int shift = 0;
};
// For sums from 0 to `most`; a `most` of 0 stands for sums of unknown size or sign.
Rounding RoundingOf(double scale, std::uint64_t most);

// A window along a line: `taps` samples, of which `left` lie before the pixel itself. Samples beyond the ends of the
// line are copies of its first or last one.
struct LineWindow {
    WindowKind kind;
    std::uint32_t taps;
    std::uint32_t left;
    KrTBuf1D<std::int32_t> weights;  // of a weighted sum
    Rounding rounding = {};
};

// No line is longer than 32,767 samples; wider windows of equal samples are cut to this many.
inline constexpr std::uint32_t kMostTaps = 65535;

LineWindow KernelWindow(const KrTBuf1D<std::int32_t>& kernel, double scale);
// Binomial weights over 2^(taps - 1). The weights of more than 34 taps do not fit in 32 bits; there are 33 or 34 then.
LineWindow GaussWindow(std::uint32_t taps);
LineWindow MeanWindow(std::uint32_t taps);
LineWindow RankWindow(WindowKind kind, std::uint32_t taps);

// Samples that a window of at least one tap needs on both sides of a line.
inline std::size_t PaddingOf(const LineWindow& window) { return window.taps - 1; }

// A window of extremes on a line of `extent` samples, without what it sees of the ends more than once.
LineWindow CutToLine(LineWindow window, std::size_t extent);

// The pixel value of a sum: rounded half away from zero, the low bits of integers kept. NaN and what is beyond 64 bits
// give 0.
template <class T>
T RoundToPixel(double value) {
    value += value > 0.0 ? 0.5 : -0.5;
    if (!(std::abs(value) < 9223372036854775808.0)) return T{};
    return static_cast<T>(static_cast<std::int64_t>(value));
}

}  // namespace KrN
