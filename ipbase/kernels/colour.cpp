#include "ipbase/kernels/colour.h"

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

const ColourKernels& Kernels() {
    static const ColourKernels table{{&IndexLoop<i32>, &IndexLoop<float>, &IndexLoop<double>}};
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
