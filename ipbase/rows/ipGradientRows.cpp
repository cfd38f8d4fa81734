#include "ipbase/rows/ipGradientRows.h"

#include <algorithm>

#include "ipbase/ipScalar.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "ipbase/rows/ipGradientRows.cpp"
#define HWY_DISABLED_TARGETS (HWY_SSSE3 | HWY_AVX3_DL)
#include <hwy/foreach_target.h>

#include "ipbase/rows/ipRowLoop-inl.h"

HWY_BEFORE_NAMESPACE();
namespace KrN::rows::HWY_NAMESPACE {
namespace {  // the same short names stand in other files of this folder

struct Step {
    template <class D>
    static HWY_INLINE D Do(D a, D next) {
        if constexpr (sizeof(D) == 1)
            return static_cast<D>(next - a + 128);
        else
            return next - a;
    }
};

// A block of ordinary phases needs no 64-bit conversion, which most targets lack.
HWY_ATTR void WrapLoop(u8* dst, const double* a, std::size_t count) {
    constexpr std::size_t block = 256;
    for (std::size_t start = 0; start < count; start += block) {
        const std::size_t end = std::min(count, start + block);
        bool ordinary = true;
        for (std::size_t i = start; i < end; ++i) ordinary &= a[i] > -2147483648.0 && a[i] < 2147483648.0;
        if (ordinary) {
            VORIP_INDEPENDENT_LOOP
            for (std::size_t i = start; i < end; ++i) dst[i] = static_cast<u8>(static_cast<i32>(a[i]));
        } else {
            for (std::size_t i = start; i < end; ++i) dst[i] = static_cast<u8>(Truncate(a[i]));
        }
    }
}

// Bytes are summed as integers: no sum reaches 2^24, so that float sums would be the same.
template <class T, class S>
using Sum = std::conditional_t<sizeof(T) == 1, i32, S>;

template <std::size_t rows, class T, class S>
HWY_ATTR void SlideWindows(const T* values, std::size_t stride, S* sums, std::size_t sumStride, Windows w) {
    Sum<T, S> sum[rows] = {};
    const T* in[rows];
    S* out[rows];
    std::size_t k = w.fromRight ? w.count - 1 : 0;
    for (std::size_t r = 0; r < rows; ++r) {
        in[r] = values + r * stride;
        out[r] = sums + r * sumStride;
        for (std::size_t i = 0; i < w.n; ++i) sum[r] += in[r][k + i];
        out[r][k] = static_cast<S>(sum[r]);
    }
    const std::size_t leave = w.fromRight ? w.n : std::size_t{0} - 1, enter = w.fromRight ? 0 : w.n - 1;
    for (std::size_t i = 1; i < w.count; ++i) {
        k = w.fromRight ? k - 1 : k + 1;
        for (std::size_t r = 0; r < rows; ++r) {
            sum[r] = (sum[r] - in[r][k + leave]) + in[r][k + enter];
            out[r][k] = static_cast<S>(sum[r]);
        }
    }
}

template <class T, class S>
void WindowLoop(const T* values, std::size_t stride, S* sums, std::size_t sumStride, std::size_t rows, Windows w) {
    if (w.count == 0) return;
    std::size_t r = 0;
    for (; r + kWindowRows <= rows; r += kWindowRows)
        SlideWindows<kWindowRows>(values + r * stride, stride, sums + r * sumStride, sumStride, w);
    for (; r < rows; ++r) SlideWindows<1>(values + r * stride, stride, sums + r * sumStride, sumStride, w);
}

template <class T, class S>
HWY_ATTR void EnterLoop(S* sums, const T* enter, std::size_t count) {
    VORIP_INDEPENDENT_LOOP
    for (std::size_t i = 0; i < count; ++i) sums[i] += static_cast<S>(enter[i]);
}

template <class T, class S>
HWY_ATTR void SlideLoop(S* sums, const T* leave, const T* enter, std::size_t count) {
    VORIP_INDEPENDENT_LOOP
    for (std::size_t i = 0; i < count; ++i) sums[i] = (sums[i] - static_cast<S>(leave[i])) + static_cast<S>(enter[i]);
}

template <class S>
HWY_ATTR void SignedSumLoop(S* dst, const S* a, const S* b, S signA, S signB, std::size_t count) {
    VORIP_INDEPENDENT_LOOP
    for (std::size_t i = 0; i < count; ++i) dst[i] = signA * a[i] + signB * b[i];
}

template <class... T, class... S>
void FillSums(GradientRows& rows, std::tuple<WindowRow<T, S>...>&) {
    ((std::get<WindowRow<T, S>>(rows.windows) = &WindowLoop<T, S>), ...);
    ((std::get<EnterRow<T, S>>(rows.enter) = &EnterLoop<T, S>), ...);
    ((std::get<SlideRow<T, S>>(rows.slide) = &SlideLoop<T, S>), ...);
}

const GradientRows& Rows() {
    static const GradientRows table = [] {
        GradientRows rows;
        Fill<Step>(rows.steps);
        rows.wrap = &WrapLoop;
        FillSums(rows, rows.windows);
        std::get<SignedSumRow<float>>(rows.signedSum) = &SignedSumLoop<float>;
        std::get<SignedSumRow<double>>(rows.signedSum) = &SignedSumLoop<double>;
        return rows;
    }();
    return table;
}

}  // namespace
}  // namespace KrN::rows::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace KrN::rows {
HWY_EXPORT(Rows);
const GradientRows& GetGradientRows() { return HWY_DYNAMIC_DISPATCH(Rows)(); }
}  // namespace KrN::rows
#endif
