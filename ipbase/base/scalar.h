#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <type_traits>

// Conversions of caller-supplied scalars to pixel values, defined for every double.
namespace KrN {

// Truncation toward zero into 64 bits: NaN gives 0, values beyond the range give its ends.
inline std::int64_t Truncate(double v) {
    constexpr double limit = 9223372036854775808.0;
    if (!(v > -limit)) return v <= -limit ? std::numeric_limits<std::int64_t>::min() : 0;
    if (v >= limit) return std::numeric_limits<std::int64_t>::max();
    return static_cast<std::int64_t>(v);
}

// Truncation toward zero; integers keep the low bits, floating-point types take the value itself.
template <class T>
T TruncateTo(double v) {
    if constexpr (std::is_floating_point_v<T>)
        return static_cast<T>(v);
    else
        return static_cast<T>(Truncate(v));
}

// What pixels without a source become: of integers trunc(fill + 0.5), of which the low bits are kept.
template <class T>
T FillValue(double fill) {
    if constexpr (std::is_integral_v<T>) fill += 0.5;
    return TruncateTo<T>(fill);
}

// floor(v + 0.5) modulo 2^32, so that negative constants wrap; 0 for NaN and infinities.
inline std::uint32_t RoundModulo(double v) {
    const double rounded = std::floor(v + 0.5);
    if (!std::isfinite(rounded)) return 0;
    return static_cast<std::uint32_t>(static_cast<std::int64_t>(std::fmod(rounded, 4294967296.0)));
}

// floor(v + 0.5) brought into -65535..65535, which no clipped sum of 8- or 16-bit pixels can tell from the full value.
inline int RoundClipped(double v) {
    return static_cast<int>(std::clamp<std::int64_t>(Truncate(std::floor(v + 0.5)), -65535, 65535));
}

}  // namespace KrN
