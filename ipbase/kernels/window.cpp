#include "ipbase/kernels/window.h"

#include <algorithm>
#include <cmath>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "ipbase/kernels/window.cpp"
#define HWY_DISABLED_TARGETS (HWY_SSSE3 | HWY_AVX3_DL)
#include <hwy/foreach_target.h>

#include "ipbase/kernels/widesums-inl.h"

HWY_BEFORE_NAMESPACE();
namespace KrN::kernels::HWY_NAMESPACE {
namespace {  // the same short names stand in other files of this folder

// --- Extremes --------------------------------------------------------------------------------------------------------

// Floats are compared, as integers are; the vector operations have other rules for NaN and signed zeros.
struct Least {
    template <class T>
    static T Do(T a, T b) {
        return b < a ? b : a;
    }
#if VORIP_VECTORS
    template <class V>
    static HWY_INLINE HWY_ATTR V Vector(V a, V b) {
        if constexpr (std::is_floating_point_v<hn::TFromV<V>>)
            return hn::IfThenElse(hn::Lt(b, a), b, a);
        else
            return hn::Min(a, b);
    }
#endif
};
struct Greatest {
    template <class T>
    static T Do(T a, T b) {
        return a < b ? b : a;
    }
#if VORIP_VECTORS
    template <class V>
    static HWY_INLINE HWY_ATTR V Vector(V a, V b) {
        if constexpr (std::is_floating_point_v<hn::TFromV<V>>)
            return hn::IfThenElse(hn::Lt(a, b), b, a);
        else
            return hn::Max(a, b);
    }
#endif
};

#if VORIP_VECTORS
// With a known number of taps their pointers stay in registers.
template <class Op, class T, std::size_t known>
HWY_ATTR bool ExtremeVectors(T* dst, const T* const* rows, std::size_t tapCount, std::size_t count) {
    const hn::ScalableTag<T> d;
    const std::size_t n = hn::Lanes(d);
    const T* few[known > 0 ? known : 1];
    for (std::size_t k = 0; k < known; ++k) few[k] = rows[k];
    const T* const* taps = known > 0 ? few : rows;
    if (known > 0) tapCount = known;
    const auto vector = [&](std::size_t i) HWY_ATTR {
        auto best = hn::LoadU(d, taps[0] + i);
        for (std::size_t k = 1; k < tapCount; ++k) best = Op::Vector(best, hn::LoadU(d, taps[k] + i));
        hn::StoreU(best, d, dst + i);
    };
    const auto two = [&](std::size_t i) HWY_ATTR {
        auto a = hn::LoadU(d, taps[0] + i), b = hn::LoadU(d, taps[0] + i + n);
        for (std::size_t k = 1; k < tapCount; ++k) {
            a = Op::Vector(a, hn::LoadU(d, taps[k] + i));
            b = Op::Vector(b, hn::LoadU(d, taps[k] + i + n));
        }
        hn::StoreU(a, d, dst + i);
        hn::StoreU(b, d, dst + i + n);
    };
    return Stride(count, 2 * n, two) || Stride(count, n, vector);
}
#endif

template <class Op, class T>
HWY_ATTR void ExtremeLoop(T* dst, const T* const* taps, std::size_t tapCount, std::size_t count) {
#if VORIP_VECTORS
    const auto run = tapCount == 2   ? &ExtremeVectors<Op, T, 2>
                     : tapCount == 3 ? &ExtremeVectors<Op, T, 3>
                     : tapCount == 5 ? &ExtremeVectors<Op, T, 5>
                     : tapCount == 9 ? &ExtremeVectors<Op, T, 9>
                                     : &ExtremeVectors<Op, T, 0>;
    if (run(dst, taps, tapCount, count)) return;
#endif
    for (std::size_t i = 0; i < count; ++i) {
        T best = taps[0][i];
        for (std::size_t k = 1; k < tapCount; ++k) best = Op::Do(best, taps[k][i]);
        dst[i] = best;
    }
}

// --- Weighted sums ---------------------------------------------------------------------------------------------------

template <class T>
HWY_ATTR void DoubleLoop(T* dst, const T* const* taps, const i32* weights, std::size_t tapCount, double scale,
                         std::size_t count) {
    for (std::size_t start = 0; start < count; start += kBlock) {
        const std::size_t n = std::min(kBlock, count - start);
        double sums[kBlock] = {};
        SumBlock(sums, taps, start, weights, tapCount, n);
        for (std::size_t i = 0; i < n; ++i) sums[i] *= scale;
        RoundBlock(dst + start, sums, n);
    }
}

#if VORIP_VECTORS

// What decides how a weighted sum of 8- or 16-bit samples is computed.
struct Weights : WeightTotals {
    const i32* at;
    std::size_t count;
    const Rounding& rounding;
    int shift = -1;  // of a scale of 2^-shift
    bool symmetric = true;

    Weights(const i32* weights, std::size_t taps, const Rounding& rule)
        : WeightTotals(weights, taps), at(weights), count(taps), rounding(rule) {
        for (std::size_t k = 0; k < count / 2; ++k) symmetric = symmetric && at[k] == at[count - 1 - k];
        int exponent = 0;
        constexpr int most = 18;  // beyond, the half that rounds does not fit beside the largest sum
        if (std::frexp(rounding.scale, &exponent) == 0.5 && exponent <= 1 && exponent > -most) shift = 1 - exponent;
    }
    i32 Half() const { return shift > 0 ? 1 << (shift - 1) : 0; }
    bool FitIn16Bits() const {
        return rounding.factor != 0 || (shift >= 0 && sum == magnitude && magnitude * 255 + Half() < 65536);
    }
    bool FitIn32Bits() const {
        return magnitude < 32767 && 65535.0 * 32767.0 * std::abs(rounding.scale) < 2147483646.0;
    }
};

// Bytes with sums of 16 bits, rounded and shifted.
HWY_ATTR bool NarrowLoop(u8* dst, const u8* const* taps, const Weights& weights, std::size_t count) {
    const hn::ScalableTag<u8> d8;
    const hn::Half<decltype(d8)> half8;
    const hn::Repartition<u16, decltype(d8)> d16;
    const std::size_t n = hn::Lanes(d8);
    const std::size_t pairs = weights.symmetric ? weights.count / 2 : 0, last = weights.count - 1;
    const auto load = [=](const u8* at) HWY_ATTR { return hn::PromoteTo(d16, hn::LoadU(half8, at)); };
    const auto half = hn::Set(d16, weights.shift >= 0 ? static_cast<u16>(weights.Half()) : weights.rounding.half);
    const auto factor = hn::Set(d16, weights.rounding.factor);
    const auto finish = [=, &weights](auto sums) HWY_ATTR {
        if (weights.shift >= 0) return hn::ShiftRightSame(sums, weights.shift);
        return hn::ShiftRightSame(hn::MulHigh(sums, factor), weights.rounding.shift);
    };
    return Stride(count, n, [&](std::size_t i) HWY_ATTR {
        auto a = half, b = half;
        for (std::size_t k = 0; k < pairs; ++k) {
            const auto w = hn::Set(d16, static_cast<u16>(weights.at[k]));
            const u8 *left = taps[k] + i, *right = taps[last - k] + i;
            a = hn::Add(a, hn::Mul(hn::Add(load(left), load(right)), w));
            b = hn::Add(b, hn::Mul(hn::Add(load(left + n / 2), load(right + n / 2)), w));
        }
        for (std::size_t k = pairs; k < weights.count - pairs; ++k) {
            const auto w = hn::Set(d16, static_cast<u16>(weights.at[k]));
            a = hn::Add(a, hn::Mul(load(taps[k] + i), w));
            b = hn::Add(b, hn::Mul(load(taps[k] + i + n / 2), w));
        }
        hn::StoreU(hn::ConcatEven(d8, hn::BitCast(d8, finish(b)), hn::BitCast(d8, finish(a))), d8, dst + i);
    });
}

template <class T>
HWY_ATTR bool WideLoop(T* dst, const T* const* taps, const Weights& weights, std::size_t count) {
    const hn::ScalableTag<std::int16_t> d16;
    const hn::Repartition<i32, decltype(d16)> d32;
    const PackedWeights packed(weights.at, weights.count);
    if (packed.count == 0) return false;
    const std::size_t n = hn::Lanes(d16);
    const auto half = hn::Set(d32, weights.Half());
    const auto finish = [&](auto sums) HWY_ATTR {
        return weights.shift >= 0 ? RoundShifted(sums, weights.shift, half)
                                  : RoundScaled(d32, sums, weights.rounding.scale);
    };
    const auto start = hn::Set(d32, StartOfSums<T>(weights.sum));
    const auto vector = [&](std::size_t i) HWY_ATTR {
        PairSums<T> sums(start);
        for (std::size_t k = 0; k < packed.count; ++k) sums.Add(packed, taps, k, i);
        StoreLow(d16, LowBits(d16, finish(sums.Low()), finish(sums.High())), dst + i);
    };
    const auto two = [&](std::size_t i) HWY_ATTR {
        PairSums<T> a(start), b(start);
        for (std::size_t k = 0; k < packed.count; ++k) {
            a.Add(packed, taps, k, i);
            b.Add(packed, taps, k, i + n);
        }
        StoreLow(d16, LowBits(d16, finish(a.Low()), finish(a.High())), dst + i);
        StoreLow(d16, LowBits(d16, finish(b.Low()), finish(b.High())), dst + i + n);
    };
    return Stride(count, 2 * n, two) || Stride(count, n, vector);
}

#endif

template <class T>
HWY_ATTR void WeightedLoop(T* dst, const T* const* taps, const i32* at, std::size_t tapCount, const Rounding& rounding,
                           std::size_t count) {
#if VORIP_VECTORS
    if constexpr (sizeof(T) < 4) {
        const Weights weights(at, tapCount, rounding);
        if constexpr (sizeof(T) == 1)
            if (weights.FitIn16Bits() && NarrowLoop(dst, taps, weights, count)) return;
        if (weights.FitIn32Bits() && WideLoop(dst, taps, weights, count)) return;
    }
#endif
    DoubleLoop(dst, taps, at, tapCount, rounding.scale, count);
}

// --- Means -----------------------------------------------------------------------------------------------------------

struct NarrowMean {
    using Sum = u16;
    using Pixel = u8;
    const Rounding& rounding;

#if VORIP_VECTORS
    template <class D, class V>
    HWY_INLINE HWY_ATTR V Scaled(D d16, V sums) const {
        const V rounded = hn::Add(sums, hn::Set(d16, rounding.half));
        return hn::ShiftRightSame(hn::MulHigh(rounded, hn::Set(d16, rounding.factor)), rounding.shift);
    }
#endif
    u8 One(u16 sum) const {
        return static_cast<u8>(((sum + rounding.half) * u32{rounding.factor}) >> (16 + rounding.shift));
    }
};
struct WideMean {
    using Sum = u32;
    using Pixel = u16;
    const Rounding& rounding;

#if VORIP_VECTORS
    template <class D, class V>
    HWY_INLINE HWY_ATTR V Scaled(D d32, V sums) const {
        const hn::RebindToSigned<D> di32;
        return hn::BitCast(d32, RoundScaled(di32, hn::BitCast(di32, sums), rounding.scale));
    }
#endif
    u16 One(u32 sum) const { return static_cast<u16>(static_cast<i32>(sum * rounding.scale + 0.5)); }
};

// Two vectors of sums give one of pixels.
template <class Mean>
struct IntegerMeans {
    using S = typename Mean::Sum;
    using T = typename Mean::Pixel;

#if VORIP_VECTORS
    using D = hn::ScalableTag<T>;
    using H = hn::Half<D>;
    using DS = hn::Repartition<S, D>;

    static HWY_INLINE HWY_ATTR auto Load(const T* at) { return hn::PromoteTo(DS(), hn::LoadU(H(), at)); }
    template <class V>
    static HWY_INLINE HWY_ATTR void Store(const Mean& mean, V low, V high, T* dst) {
        const auto a = hn::BitCast(D(), mean.Scaled(DS(), low)), b = hn::BitCast(D(), mean.Scaled(DS(), high));
        hn::StoreU(hn::ConcatEven(D(), b, a), D(), dst);
    }
#endif

    static HWY_ATTR void Taps(T* dst, const T* const* taps, std::size_t tapCount, const Rounding& rounding,
                              std::size_t count) {
        const Mean mean{rounding};
#if VORIP_VECTORS
        const std::size_t n = hn::Lanes(D());
        const bool done = Stride(count, n, [&](std::size_t i) HWY_ATTR {
            auto a = Load(taps[0] + i), b = Load(taps[0] + i + n / 2);
            for (std::size_t k = 1; k < tapCount; ++k) {
                a = hn::Add(a, Load(taps[k] + i));
                b = hn::Add(b, Load(taps[k] + i + n / 2));
            }
            Store(mean, a, b, dst + i);
        });
        if (done) return;
#endif
        for (std::size_t i = 0; i < count; ++i) {
            S sum = 0;
            for (std::size_t k = 0; k < tapCount; ++k) sum = static_cast<S>(sum + taps[k][i]);
            dst[i] = mean.One(sum);
        }
    }
    static HWY_ATTR void Slide(T* dst, S* sums, const T* added, const T* removed, const Rounding& rounding,
                               std::size_t count) {
        const Mean mean{rounding};
        std::size_t i = 0;
#if VORIP_VECTORS
        const std::size_t n = hn::Lanes(D());
        for (; i + n <= count; i += n) {
            const auto a = hn::Add(hn::LoadU(DS(), sums + i), Load(added + i));
            const auto b = hn::Add(hn::LoadU(DS(), sums + i + n / 2), Load(added + i + n / 2));
            hn::StoreU(hn::Sub(a, Load(removed + i)), DS(), sums + i);
            hn::StoreU(hn::Sub(b, Load(removed + i + n / 2)), DS(), sums + i + n / 2);
            Store(mean, a, b, dst + i);
        }
#endif
        for (; i < count; ++i) {
            const auto sum = static_cast<S>(sums[i] + added[i]);
            dst[i] = mean.One(sum);
            sums[i] = static_cast<S>(sum - removed[i]);
        }
    }
    static HWY_ATTR void Differences(T* dst, const S* prefix, std::size_t taps, const Rounding& rounding,
                                     std::size_t count) {
        const Mean mean{rounding};
#if VORIP_VECTORS
        const std::size_t n = hn::Lanes(D());
        const auto load = [=](std::size_t i) HWY_ATTR {
            return hn::Sub(hn::LoadU(DS(), prefix + taps + i), hn::LoadU(DS(), prefix + i));
        };
        if (Stride(count, n, [&](std::size_t i) HWY_ATTR { Store(mean, load(i), load(i + n / 2), dst + i); })) return;
#endif
        for (std::size_t i = 0; i < count; ++i) dst[i] = mean.One(static_cast<S>(prefix[i + taps] - prefix[i]));
    }
};

template <class T>
struct DoubleMeans {
    static HWY_ATTR void Taps(T* dst, const T* const* taps, std::size_t tapCount, const Rounding& rounding,
                              std::size_t count) {
        for (std::size_t start = 0; start < count; start += kBlock) {
            const std::size_t n = std::min(kBlock, count - start);
            double sums[kBlock] = {};
            for (std::size_t k = 0; k < tapCount; ++k)
                for (std::size_t i = 0; i < n; ++i) sums[i] += taps[k][start + i];
            for (std::size_t i = 0; i < n; ++i) sums[i] *= rounding.scale;
            RoundBlock(dst + start, sums, n);
        }
    }
    static HWY_ATTR void Slide(T* dst, double* sums, const T* added, const T* removed, const Rounding& rounding,
                               std::size_t count) {
        for (std::size_t start = 0; start < count; start += kBlock) {
            const std::size_t n = std::min(kBlock, count - start);
            double scaled[kBlock];
            for (std::size_t i = 0; i < n; ++i) {
                const double sum = sums[start + i] + added[start + i];
                scaled[i] = sum * rounding.scale;
                sums[start + i] = sum - removed[start + i];
            }
            RoundBlock(dst + start, scaled, n);
        }
    }
    static HWY_ATTR void Differences(T* dst, const double* prefix, std::size_t taps, const Rounding& rounding,
                                     std::size_t count) {
        for (std::size_t start = 0; start < count; start += kBlock) {
            const std::size_t n = std::min(kBlock, count - start);
            double scaled[kBlock];
            for (std::size_t i = 0; i < n; ++i)
                scaled[i] = (prefix[start + taps + i] - prefix[start + i]) * rounding.scale;
            RoundBlock(dst + start, scaled, n);
        }
    }
};

template <class T, class S>
HWY_ATTR void AddLoop(S* sums, const T* added, std::size_t count) {
    VORIP_INDEPENDENT_LOOP
    for (std::size_t i = 0; i < count; ++i) sums[i] = static_cast<S>(sums[i] + added[i]);
}

template <class Means, class T, class S>
void FillMeans(MeanRows<T, S>& rows) {
    rows = {&Means::Taps, &Means::Slide, &AddLoop<T, S>, &Means::Differences};
}
template <class... T>
void FillTaps(WindowKernels& all, std::tuple<TapRow<T>...>&) {
    ((std::get<TapRow<T>>(all.minimum) = &ExtremeLoop<Least, T>), ...);
    ((std::get<TapRow<T>>(all.maximum) = &ExtremeLoop<Greatest, T>), ...);
    ((std::get<WeightedRow<T>>(all.weighted) = &WeightedLoop<T>), ...);
}

const WindowKernels& Kernels() {
    static const WindowKernels table = [] {
        WindowKernels all;
        FillTaps(all, all.minimum);
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
