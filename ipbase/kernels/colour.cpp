#include "ipbase/kernels/colour.h"

#include <algorithm>
#include <limits>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "ipbase/kernels/colour.cpp"
#define HWY_DISABLED_TARGETS (HWY_SSSE3 | HWY_AVX3_DL)
#include <hwy/foreach_target.h>

#include "ipbase/kernels/rowloop-inl.h"

HWY_BEFORE_NAMESPACE();
namespace KrN::kernels::HWY_NAMESPACE {
namespace {  // the same short names stand in other files of this folder

// A binary search in eight steps without branches: the number of thresholds from the second on that are at most v.
template <class T>
HWY_ATTR void IndexLoop(u8* dst, const T* src, const Thresholds& thresholds, std::size_t count) {
    const double* values = thresholds.values;
    const i32 reserved = thresholds.reserved;
    VORIP_INDEPENDENT_LOOP
    for (std::size_t i = 0; i < count; ++i) {
        const auto v = static_cast<double>(src[i]);
        i32 index = 0;
        for (i32 step = 128; step > 0; step /= 2) index += values[index + step] <= v ? step : 0;
        dst[i] = static_cast<u8>(v == v ? index : reserved);
    }
}

// Distances above the index, so that one minimum finds both.
HWY_ATTR u8 Nearest(const i32* reds, const i32* greens, const i32* blues, i32 r, i32 g, i32 b) {
    i32 best = std::numeric_limits<i32>::max();
    for (i32 i = 0; i < 256; ++i) {
        const i32 x = reds[i] - r, y = greens[i] - g, z = blues[i] - b;
        best = std::min(best, std::min(x * x + y * y + z * z, 1 << 22) << 8 | i);
    }
    return static_cast<u8>(best & 255);
}

const ColourKernels& Kernels() {
    static const ColourKernels table{{&IndexLoop<i32>, &IndexLoop<float>, &IndexLoop<double>}, &Nearest};
    return table;
}

}  // namespace
}  // namespace KrN::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace KrN::kernels {
HWY_EXPORT(Kernels);
const ColourKernels& GetColourKernels() { return HWY_DYNAMIC_DISPATCH(Kernels)(); }
}  // namespace KrN::kernels
#endif
