#include "ipbase/kernels/gradient.h"

#include <algorithm>

#include "ipbase/base/scalar.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "ipbase/kernels/gradient.cpp"
#define HWY_DISABLED_TARGETS (HWY_SSSE3 | HWY_AVX3_DL)
#include <hwy/foreach_target.h>

#include "ipbase/kernels/rowloop-inl.h"

HWY_BEFORE_NAMESPACE();
namespace KrN::kernels::HWY_NAMESPACE {
namespace {  // the same short names stand in other files of this folder

struct Step {
    template <class D, class T>
    static HWY_INLINE D Do(T a, T next) {
        if constexpr (sizeof(D) == 1)
            return static_cast<D>((next < a ? 1 : 0) - (static_cast<i8>(next - a) < 0 ? 1 : 0));
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

// Sums of bytes slide as integers: none reaches 2^24, so that float sums would be the same.
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
HWY_ATTR void Widen(const T* values, S* sums, std::size_t count) {
    VORIP_INDEPENDENT_LOOP
    for (std::size_t i = 0; i < count; ++i) sums[i] = static_cast<S>(+values[i]);
}

template <class F, class S>
HWY_ATTR void DoubleEven(const F* from, S* sums, std::size_t n, std::size_t count) {
    VORIP_INDEPENDENT_LOOP
    for (std::size_t i = 0; i < count; ++i) sums[i] = static_cast<S>(from[i] + from[i + n]);
}

template <class F, class T, class S>
HWY_ATTR void DoubleOdd(const F* from, const T* values, S* sums, std::size_t n, std::size_t count) {
    VORIP_INDEPENDENT_LOOP
    for (std::size_t i = 0; i < count; ++i) sums[i] = static_cast<S>(from[i] + from[i + n] + values[i + 2 * n]);
}

// Integers need not slide, for their sums are exact in any order: as in the binary method for powers, sums over n
// values make those over 2 n or 2 n + 1, one digit of w.n after the other, from the second highest one down. All rows
// for each digit, as what has just been stored is slow to load from another place.
template <class T, class S>
void DoubleWindows(const T* values, std::size_t stride, S* sums, std::size_t sumStride, std::size_t rows, Windows w) {
    const auto blocks = [](std::size_t count) { return (count + kBlock - 1) / kBlock * kBlock; };
    const auto twice = [=](const auto* from, std::size_t fromStride, std::size_t n, std::size_t odd) {
        const std::size_t count = blocks(w.count + w.n - 2 * n - odd);
        for (std::size_t r = 0; r < rows; ++r)
            if (odd)
                DoubleOdd(from + r * fromStride, values + r * stride, sums + r * sumStride, n, count);
            else
                DoubleEven(from + r * fromStride, sums + r * sumStride, n, count);
    };
    if (w.n == 1)
        for (std::size_t r = 0; r < rows; ++r) Widen(values + r * stride, sums + r * sumStride, blocks(w.count));
    std::size_t digits = 0;
    while (w.n >> digits > 1) ++digits;
    while (digits-- > 0) {
        const std::size_t n = w.n >> (digits + 1), odd = w.n >> digits & 1;
        n == 1 ? twice(values, stride, n, odd) : twice(sums, sumStride, n, odd);
    }
}

template <class T, class S>
void WindowLoop(const T* values, std::size_t stride, S* sums, std::size_t sumStride, std::size_t rows, Windows w) {
    if (w.count == 0) return;
    if constexpr (std::is_integral_v<S>) {
        DoubleWindows(values, stride, sums, sumStride, rows, w);
    } else {
        std::size_t r = 0;
        for (; r + kWindowRows <= rows; r += kWindowRows)
            SlideWindows<kWindowRows>(values + r * stride, stride, sums + r * sumStride, sumStride, w);
        for (; r < rows; ++r) SlideWindows<1>(values + r * stride, stride, sums + r * sumStride, sumStride, w);
    }
}

template <class T, class S>
HWY_ATTR void EnterLoop(S* sums, const T* enter, std::size_t count) {
    VORIP_INDEPENDENT_LOOP
    for (std::size_t i = 0; i < count; ++i) sums[i] = static_cast<S>(sums[i] + static_cast<S>(enter[i]));
}

template <class T, class S>
HWY_ATTR void SlideLoop(S* sums, const T* leave, const T* enter, std::size_t count) {
    VORIP_INDEPENDENT_LOOP
    for (std::size_t i = 0; i < count; ++i)
        sums[i] = static_cast<S>((sums[i] - static_cast<S>(leave[i])) + static_cast<S>(enter[i]));
}

template <class S>
HWY_ATTR void SignedSumLoop(S* dst, const S* a, const S* b, S signA, S signB, std::size_t count) {
    VORIP_INDEPENDENT_LOOP
    for (std::size_t i = 0; i < count; ++i) dst[i] = signA * a[i] + signB * b[i];
}

template <class C, class S>
HWY_ATTR bool PhaseSumLoop(S* dst, const Ends& e, const Periods<C>& p, std::size_t count) {
    const u8 *left = e.left, *right = e.right, *top = e.top, *bottom = e.bottom;
    const C *along = p.along, *down = p.down;
    using Unsigned = std::make_unsigned_t<C>;
    const auto flipAlong = static_cast<C>(p.signAlong >> 1), flipDown = static_cast<C>(p.signDown >> 1);
    const int flips = -flipAlong - flipDown;
    Unsigned most = 0;
    VORIP_INDEPENDENT_LOOP
    for (std::size_t i = 0; i < count; ++i) {
        const auto periods = static_cast<C>((along[i] ^ flipAlong) + (down[i] ^ flipDown) + flips);
        dst[i] = static_cast<S>(right[i] - left[i] + bottom[i] - top[i] + 256 * periods);
        if constexpr (sizeof(S) == sizeof(u16)) {
            const auto raisedAlong = static_cast<Unsigned>(along[i] + kMostPeriods);
            const auto raisedDown = static_cast<Unsigned>(down[i] + kMostPeriods);
            const Unsigned more = raisedAlong < raisedDown ? raisedDown : raisedAlong;
            most = most < more ? more : most;
        }
    }
    return most <= 2 * kMostPeriods;
}

struct Difference {
    template <class D, class T>
    static HWY_INLINE D Do(T a, T b) {
        if constexpr (std::is_same_v<T, u16>)
            return static_cast<i16>(a - b);
        else
            return static_cast<D>(a - b);
    }
};

template <class S>
HWY_ATTR void GradientLoop(S* dst, const S* a, const S* b, std::size_t count, Extremes<S>& extremes) {
    S least = extremes.least, greatest = extremes.greatest;
    VORIP_INDEPENDENT_LOOP
    for (std::size_t i = 0; i < count; ++i) {
        const auto v = static_cast<S>(kNoGradient<S> + a[i] - b[i]);
        dst[i] = v;
        least = v < least ? v : least;
        greatest = v > greatest ? v : greatest;
    }
    extremes = {least, greatest};
}

struct StretchOp {
    template <class D>
    static HWY_INLINE D Do(u16 a, Stretched<u16> s) {
        const auto v = static_cast<u16>(a - s.least), scaled = static_cast<u16>(v * s.power);
        const auto high = static_cast<u16>(unsigned{scaled} * unsigned{s.factor} >> 16);
        const auto quotient = static_cast<u16>(high >> 7), product = static_cast<u16>(quotient * s.range);
        return static_cast<D>(quotient + (static_cast<u16>(v * 255U - product) >= s.range ? 1 : 0));
    }
    template <class D>
    static HWY_INLINE D Do(i32 a, Stretched<i32> s) {
        const i32 v = a - s.least, quotient = static_cast<i32>(static_cast<float>(v) * s.factor);
        const auto range = static_cast<unsigned>(s.range);
        const unsigned rest = static_cast<unsigned>(v) * 255U - static_cast<unsigned>(quotient) * range;
        return static_cast<D>(quotient + (rest >= range ? 1 : 0));
    }
};

template <class... T, class... S>
void FillSums(GradientKernels& all, std::tuple<WindowRow<T, S>...>&) {
    ((std::get<WindowRow<T, S>>(all.windows) = &WindowLoop<T, S>), ...);
    ((std::get<EnterRow<T, S>>(all.enter) = &EnterLoop<T, S>), ...);
    ((std::get<SlideRow<T, S>>(all.slide) = &SlideLoop<T, S>), ...);
}

const GradientKernels& Kernels() {
    static const GradientKernels table = [] {
        GradientKernels all;
        Fill<Step>(all.steps);
        all.wrap = &WrapLoop;
        FillSums(all, all.windows);
        all.sum = {&SignedSumLoop<float>, &SignedSumLoop<double>, &PhaseSumLoop<i8, u16>, &PhaseSumLoop<i16, i32>};
        Fill<Difference>(all.difference);
        all.gradient = {&GradientLoop<u16>, &GradientLoop<i32>};
        Fill<StretchOp>(all.stretch);
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
const GradientKernels& GetGradientKernels() { return HWY_DYNAMIC_DISPATCH(Kernels)(); }
}  // namespace KrN::kernels
#endif
