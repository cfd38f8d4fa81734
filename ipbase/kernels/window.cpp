#include "ipbase/kernels/window.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "ipbase/kernels/window.cpp"
#define HWY_DISABLED_TARGETS (HWY_SSSE3 | HWY_AVX3_DL)
#include <hwy/foreach_target.h>

#include "ipbase/kernels/extremes-inl.h"
#include "ipbase/kernels/means-inl.h"
#include "ipbase/kernels/weighted-inl.h"

HWY_BEFORE_NAMESPACE();
namespace KrN::kernels::HWY_NAMESPACE {
namespace {  // the same short names stand in other files of this folder

template <class Means, class T, class S>
void FillMeans(MeanRows<T, S>& rows) {
    rows = {&Means::Taps, &Means::Slide, &AddLoop<T, S>, &Means::Differences};
}
template <class Op, class... T>
void FillExtremes(std::tuple<TapRow<T>...>& extremes) {
    extremes = {&ExtremeLoop<Op, T>...};
}
template <class... T>
void FillSums(std::tuple<WeightedRow<T>...>& sums) {
    sums = {&WeightedLoop<T>...};
}

const WindowKernels& Kernels() {
    static const WindowKernels table = [] {
        WindowKernels all;
        FillExtremes<Least>(all.minimum);
        FillExtremes<Greatest>(all.maximum);
        FillSums(all.weighted);
        FillMeans<IntegerMeans<NarrowMean>>(std::get<MeanRows<u8, u16>>(all.mean));
        FillMeans<IntegerMeans<WideMean>>(std::get<MeanRows<u16, u32>>(all.mean));
        FillMeans<DoubleMeans<u8>>(std::get<MeanRows<u8, double>>(all.mean));
        FillMeans<DoubleMeans<u16>>(std::get<MeanRows<u16, double>>(all.mean));
        FillMeans<DoubleMeans<i32>>(std::get<MeanRows<i32, double>>(all.mean));
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
const WindowKernels& GetWindowKernels() { return HWY_DYNAMIC_DISPATCH(Kernels)(); }
}  // namespace KrN::kernels
#endif
