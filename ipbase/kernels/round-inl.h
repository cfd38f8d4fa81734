// Doubles into pixels, once per CPU target.
#if defined(VORIP_ROUND_INL_H) == defined(HWY_TARGET_TOGGLE)
#  ifdef VORIP_ROUND_INL_H
#    undef VORIP_ROUND_INL_H
#  else
#    define VORIP_ROUND_INL_H
#  endif

#  include <cmath>

#  include "ipbase/base/window.h"
#  include "ipbase/kernels/rowloop-inl.h"

HWY_BEFORE_NAMESPACE();
namespace KrN::kernels::HWY_NAMESPACE {

constexpr std::size_t kBlock = 256;  // pixels whose sums stay in the first-level cache

// Values beyond 32 bits are rare, and most targets lack 64-bit conversions.
template <class T>
HWY_ATTR void RoundBlock(T* dst, const double* values, std::size_t count) {
    bool ordinary = true;
    for (std::size_t i = 0; i < count; ++i) ordinary &= std::abs(values[i]) < 2147483647.0;
    if (!ordinary) {
        for (std::size_t i = 0; i < count; ++i) dst[i] = RoundToPixel<T>(values[i]);
        return;
    }
    VORIP_INDEPENDENT_LOOP
    for (std::size_t i = 0; i < count; ++i)
        dst[i] = static_cast<T>(static_cast<i32>(values[i] + (values[i] > 0.0 ? 0.5 : -0.5)));
}

}  // namespace KrN::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif  // per-target include guard
