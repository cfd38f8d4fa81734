#include "ipbase/kernels/combine.h"

#include <limits>

#include "ipbase/base/mask.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "ipbase/kernels/combine.cpp"
#define HWY_DISABLED_TARGETS (HWY_SSSE3 | HWY_AVX3_DL)
#include <hwy/foreach_target.h>

#include "ipbase/kernels/rowloop-inl.h"

HWY_BEFORE_NAMESPACE();
namespace KrN::kernels::HWY_NAMESPACE {
namespace {  // the same short names stand in other files of this folder

template <class T>
HWY_ATTR void SelectLoop(T* dst, const T* a, const T* b, const u8* mask, std::size_t count) {
    VORIP_INDEPENDENT_LOOP
    for (std::size_t i = 0; i < count; ++i) dst[i] = Admits(mask[i]) ? a[i] : b[i];
}

// The sum of the parts stays below 2^24 for words, and n / 255 is that of n + 127 truncated.
template <class T>
HWY_ATTR void BlendLoop(T* dst, const T* a, const T* b, const u8* weight, std::size_t count) {
    VORIP_INDEPENDENT_LOOP
    for (std::size_t i = 0; i < count; ++i) {
        const i32 w = weight[i];
        if constexpr (std::is_integral_v<T>) {
            const i32 sum = a[i] * (255 - w) + b[i] * w + 127;
            if constexpr (sizeof(T) == 1)
                dst[i] = static_cast<T>((sum + 1 + (sum >> 8)) >> 8);
            else
                dst[i] = static_cast<T>(static_cast<std::uint32_t>(sum) / 255u);
        } else {
            // Doubles take the sum of floats without a loss.
            dst[i] = static_cast<T>((static_cast<double>(a[i]) * (255 - w) + static_cast<double>(b[i]) * w) / 255.0);
        }
    }
}

template <class D, class T>
HWY_ATTR void MergeLoop(D* dst, const T* a, const T* b, const Exposures& exposures, std::size_t count) {
    const double saturation = exposures.saturation, gain = exposures.gain;
    VORIP_INDEPENDENT_LOOP
    for (std::size_t i = 0; i < count; ++i) {
        double v = static_cast<double>(b[i]) * gain;
        if constexpr (std::is_integral_v<D>) {
            v = v + 0.5 > 0.0 ? v + 0.5 : 0.0;
            v = v < std::numeric_limits<D>::max() ? v : std::numeric_limits<D>::max();
            dst[i] =
                static_cast<double>(a[i]) >= saturation ? static_cast<D>(static_cast<i32>(v)) : static_cast<D>(a[i]);
        } else {
            dst[i] = static_cast<double>(a[i]) >= saturation ? static_cast<D>(v) : static_cast<D>(a[i]);
        }
    }
}

template <class... T>
void FillSelect(std::tuple<CombineRow<T>...>& rows) {
    rows = {&SelectLoop<T>...};
}
template <class... T>
void FillBlend(std::tuple<CombineRow<T>...>& rows) {
    rows = {&BlendLoop<T>...};
}
template <class... D, class... T>
void FillMerge(std::tuple<ExposureRow<D, T>...>& rows) {
    rows = {&MergeLoop<D, T>...};
}

const CombineKernels& Kernels() {
    static const CombineKernels table = [] {
        CombineKernels kernels;
        FillSelect(kernels.select);
        FillBlend(kernels.blend);
        FillMerge(kernels.merge);
        return kernels;
    }();
    return table;
}

}  // namespace
}  // namespace KrN::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace KrN::kernels {
HWY_EXPORT(Kernels);
const CombineKernels& GetCombineKernels() { return HWY_DYNAMIC_DISPATCH(Kernels)(); }
}  // namespace KrN::kernels
#endif
