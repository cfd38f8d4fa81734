#include "ipbase/kernels/zoom.h"

#include <limits>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "ipbase/kernels/zoom.cpp"
#define HWY_DISABLED_TARGETS (HWY_SSSE3 | HWY_AVX3_DL)
#include <hwy/foreach_target.h>

#include "ipbase/kernels/rowloop-inl.h"

HWY_BEFORE_NAMESPACE();
namespace KrN::kernels::HWY_NAMESPACE {
namespace {  // the same short names stand in other files of this folder

// Strides that the compiler knows become shuffles of whole vectors.
template <class Loop>
HWY_INLINE void WithKnownStep(int step, Loop loop) {
    switch (step) {
        case 2: return loop(std::integral_constant<int, 2>());
        case 3: return loop(std::integral_constant<int, 3>());
        case 4: return loop(std::integral_constant<int, 4>());
        default: return loop(step);
    }
}

template <class S, class T>
HWY_ATTR void BlockSumLoop(S* sums, const T* src, int width, std::size_t count) {
    WithKnownStep(width, [=](auto step) HWY_ATTR {
        const auto n = static_cast<std::size_t>(step);
        VORIP_INDEPENDENT_LOOP
        for (std::size_t i = 0; i < count; ++i) {
            S sum = sums[i];
            for (std::size_t k = 0; k < n; ++k) sum += static_cast<S>(src[i * n + k]);
            sums[i] = sum;
        }
    });
}

template <class T>
HWY_ATTR void PickLoop(T* dst, const T* src, int width, std::size_t count) {
    WithKnownStep(width, [=](auto step) HWY_ATTR {
        VORIP_INDEPENDENT_LOOP
        for (std::size_t i = 0; i < count; ++i) dst[i] = src[i * static_cast<std::size_t>(step)];
    });
}

// A quotient in floating point, truncated, is the integer quotient where the sum itself is exact: it lies at least
// 1 / pixels below the next integer, which is more than the rounding error.
template <class F, class D, class S>
HWY_ATTR void QuotientLoop(D* dst, const S* sums, F pixels, std::size_t count) {
    VORIP_INDEPENDENT_LOOP
    for (std::size_t i = 0; i < count; ++i)
        dst[i] = static_cast<D>(static_cast<i32>(static_cast<F>(static_cast<std::make_signed_t<S>>(sums[i])) / pixels));
}

template <class D, class S>
HWY_ATTR void MeanLoop(D* dst, const S* sums, int pixels, std::size_t count) {
    if constexpr (std::is_integral_v<D>) {
        using F = std::conditional_t<sizeof(S) == 4, float, double>;
        if (pixels <= (std::int64_t{1} << std::numeric_limits<F>::digits) / std::numeric_limits<D>::max())
            return QuotientLoop<F>(dst, sums, static_cast<F>(pixels), count);
    }
    for (std::size_t i = 0; i < count; ++i) dst[i] = static_cast<D>(sums[i] / static_cast<S>(pixels));
}

template <class S, class T>
void AssignSum(BlockSumRow<S, T>& row) {
    row = &BlockSumLoop<S, T>;
}
template <class D, class S>
void AssignMean(ConstantRow<D, S, int>& row) {
    row = &MeanLoop<D, S>;
}
template <class T>
void AssignPick(PickRow<T>& row) {
    row = &PickLoop<T>;
}

const ZoomKernels& Kernels() {
    static const ZoomKernels table = [] {
        ZoomKernels all;
        std::apply([](auto&... row) { (AssignSum(row), ...); }, all.sum);
        std::apply([](auto&... row) { (AssignMean(row), ...); }, all.mean);
        std::apply([](auto&... row) { (AssignPick(row), ...); }, all.pick);
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
const ZoomKernels& GetZoomKernels() { return HWY_DYNAMIC_DISPATCH(Kernels)(); }
}  // namespace KrN::kernels
#endif
