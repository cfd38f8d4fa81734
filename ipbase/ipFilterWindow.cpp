#include "ipbase/ipFilterWindow.h"

#include <algorithm>

namespace KrN {

LineWindow KernelWindow(const KrTBuf1D<std::int32_t>& kernel, double scale) {
    const auto taps = static_cast<std::uint32_t>(kernel.Size());
    return {WindowKind::eWeighted, taps, taps / 2, kernel, scale};
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
    return {WindowKind::eMean, taps, taps / 2, weights, 1.0 / taps};
}

LineWindow RankWindow(WindowKind kind, std::uint32_t taps) {
    taps = std::min(taps, kMostTaps);
    return {kind, taps, taps / 2, KrTBuf1D<std::int32_t>(), 1.0};
}

}  // namespace KrN
