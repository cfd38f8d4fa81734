#include "ipbase/kernels/mask.h"

#include <algorithm>

#include "ipbase/base/mask.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "ipbase/kernels/mask.cpp"
#define HWY_DISABLED_TARGETS (HWY_SSSE3 | HWY_AVX3_DL)
#include <hwy/foreach_target.h>

#include "ipbase/kernels/maskedmeans-inl.h"
#include "ipbase/kernels/maskedsums-inl.h"

HWY_BEFORE_NAMESPACE();
namespace KrN::kernels::HWY_NAMESPACE {
namespace {  // the same short names stand in other files of this folder

template <class T>
HWY_ATTR void NeutralizeLoop(T* dst, const T* row, const u8* valid, T neutral, std::size_t count) {
    VORIP_INDEPENDENT_LOOP
    for (std::size_t i = 0; i < count; ++i) dst[i] = valid[i] ? row[i] : neutral;
}
template <class T>
HWY_ATTR void SelectLoop(T* dst, const T* filtered, const T* row, const u8* valid, std::size_t count) {
    VORIP_INDEPENDENT_LOOP
    for (std::size_t i = 0; i < count; ++i) dst[i] = valid[i] ? filtered[i] : row[i];
}
template <class T>
HWY_ATTR void SplitLoop(T* dst, T* zeroed, const T* filtered, const T* row, const u8* valid, std::size_t count) {
    VORIP_INDEPENDENT_LOOP
    for (std::size_t i = 0; i < count; ++i) {
        const T smooth = filtered[i], own = row[i];
        dst[i] = valid[i] ? smooth : own;
        zeroed[i] = valid[i] ? smooth : T{0};
    }
}
HWY_ATTR void ValidateLoop(u8* valid, const u8* mask, std::size_t count) {
    VORIP_INDEPENDENT_LOOP
    for (std::size_t i = 0; i < count; ++i) valid[i] = Admits(mask[i]) ? 255 : 0;
}
HWY_ATTR void CountLoop(u8* counts, const u8* const* valid, std::size_t rowCount, std::size_t count) {
    std::fill_n(counts, count, u8{0});
    for (std::size_t k = 0; k < rowCount; ++k) {
        const u8* one = valid[k];
        VORIP_INDEPENDENT_LOOP
        for (std::size_t i = 0; i < count; ++i) counts[i] = static_cast<u8>(counts[i] - one[i]);
    }
}
HWY_ATTR void MiddleLoop(u8* ranks, const u8* counts, std::size_t taps, std::size_t count) {
    std::fill_n(ranks, count, u8{1});
    for (std::size_t k = 0; k < taps; ++k) {
        VORIP_INDEPENDENT_LOOP
        for (std::size_t i = 0; i < count; ++i) ranks[i] = static_cast<u8>(ranks[i] + counts[i + k]);
    }
    VORIP_INDEPENDENT_LOOP
    for (std::size_t i = 0; i < count; ++i) ranks[i] = static_cast<u8>(ranks[i] < 2 ? 0 : ranks[i] / 2 - 1);
}

template <class... T>
void FillTyped(MaskKernels& all, std::tuple<MaskedPixels<T>...>&) {
    ((std::get<MaskedWeightedRow<T>>(all.weighted) = &WeightedLoop<T>), ...);
    ((std::get<MaskedPixels<T>>(all.pixels) = {&NeutralizeLoop<T>, &SelectLoop<T>, &SplitLoop<T>}), ...);
}

template <class... T, class... Sum, class... Count>
void FillMeans(std::tuple<MaskedMeans<T, Sum, Count>...>& means) {
    ((std::get<MaskedMeans<T, Sum, Count>>(means) = {&SlideLoop<T, Sum, Count>, &DivideLoop<T, Sum, Count>}), ...);
}

const MaskKernels& Kernels() {
    static const MaskKernels table = [] {
        MaskKernels all;
        FillTyped(all, all.pixels);
        FillMeans(all.means);
        all.validate = &ValidateLoop;
        all.count = &CountLoop;
        all.middle = &MiddleLoop;
        return all;
    }();
    return table;
}

}  // namespace
}  // namespace KrN::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace KrN::kernels {
HWY_EXPORT(Kernels);
const MaskKernels& GetMaskKernels() { return HWY_DYNAMIC_DISPATCH(Kernels)(); }
}  // namespace KrN::kernels
#endif
