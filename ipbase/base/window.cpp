#include "ipbase/base/window.h"

#include <algorithm>

namespace KrN {

namespace {

// The product with the scale may fall short of a half that the quotient has: the sums of which that is true are tried,
// if they are few.
bool RoundsHalvesUp(double scale, std::uint64_t divisor, std::uint64_t most) {
    if (divisor % 2 != 0) return true;
    if (most / divisor > 2048) return false;
    for (std::uint64_t whole = 0, sum = divisor / 2; sum <= most; ++whole, sum += divisor)
        if (static_cast<std::uint64_t>(static_cast<double>(sum) * scale + 0.5) != whole + 1) return false;
    return true;
}

// The greatest sum of bytes, or 0 when weights are negative.
std::uint64_t GreatestSum(const KrTBuf1D<std::int32_t>& weights) {
    std::uint64_t sum = 0;
    for (std::size_t k = 0; k < weights.Size(); ++k) {
        if (weights[k] < 0) return 0;
        sum += static_cast<std::uint64_t>(weights[k]);
    }
    return 255 * sum;
}

}  // namespace

// The factor is 2^(16 + shift) / divisor, rounded up. What that adds to the quotient must not reach the next integer.
Rounding RoundingOf(double scale, std::uint64_t most) {
    Rounding rounding{scale};
    const double inverse = 1.0 / scale;
    if (most == 0 || !(inverse >= 1.5 && inverse < 65536.0)) return rounding;
    const auto divisor = static_cast<std::uint64_t>(std::lround(inverse)), half = divisor / 2;
    if (scale != 1.0 / static_cast<double>(divisor) || most + half > 65535) return rounding;
    while (std::uint64_t{2} << rounding.shift < divisor) ++rounding.shift;
    const std::uint64_t power = std::uint64_t{65536} << rounding.shift, factor = (power + divisor - 1) / divisor;
    if ((most + half) * (factor * divisor - power) >= power || !RoundsHalvesUp(scale, divisor, most)) return rounding;
    rounding.half = static_cast<std::uint16_t>(half);
    rounding.factor = static_cast<std::uint16_t>(factor);
    return rounding;
}

LineWindow KernelWindow(const KrTBuf1D<std::int32_t>& kernel, double scale) {
    const auto taps = static_cast<std::uint32_t>(kernel.Size());
    return {WindowKind::eWeighted, taps, taps / 2, kernel, RoundingOf(scale, GreatestSum(kernel))};
}

LineWindow GaussWindow(std::uint32_t taps) {
    if (taps > 34) taps = 33 + (taps + 1) % 2;
    KrTBuf1D<std::int32_t> weights(taps);
    for (std::uint32_t row = 0; row < taps; ++row) {
        weights[row] = 1;
        for (std::uint32_t k = row; k-- > 1;) weights[k] += weights[k - 1];
    }
    return KernelWindow(weights, std::ldexp(1.0, 1 - static_cast<int>(taps)));
}

LineWindow MeanWindow(std::uint32_t taps) {
    taps = std::min(taps, kMostTaps);
    KrTBuf1D<std::int32_t> weights(taps);
    std::fill_n(weights.Data(), taps, 1);
    LineWindow window = KernelWindow(weights, 1.0 / taps);
    window.kind = WindowKind::eMean;
    return window;
}

LineWindow RankWindow(WindowKind kind, std::uint32_t taps) {
    taps = std::min(taps, kMostTaps);
    return {kind, taps, taps / 2, KrTBuf1D<std::int32_t>()};
}

LineWindow CutToLine(LineWindow window, std::size_t extent) {
    if (window.kind != WindowKind::eMinimum && window.kind != WindowKind::eMaximum) return window;
    const auto reach = [=](std::size_t samples) { return static_cast<std::uint32_t>(std::min(samples, extent - 1)); };
    const std::uint32_t right = reach(PaddingOf(window) - window.left);
    window.left = reach(window.left);
    window.taps = window.left + 1 + right;
    return window;
}

}  // namespace KrN
