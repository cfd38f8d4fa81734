// Sums of products of 8- and 16-bit samples in 32 bits, once per CPU target.
#if defined(VORIP_WIDE_SUMS_INL_H) == defined(HWY_TARGET_TOGGLE)
#  ifdef VORIP_WIDE_SUMS_INL_H
#    undef VORIP_WIDE_SUMS_INL_H
#  else
#    define VORIP_WIDE_SUMS_INL_H
#  endif

#  include <algorithm>

#  include "ipbase/kernels/round-inl.h"

HWY_BEFORE_NAMESPACE();
namespace KrN::kernels::HWY_NAMESPACE {

struct WeightTotals {
    std::int64_t sum = 0, magnitude = 0;

    WeightTotals(const i32* weights, std::size_t count) {
        for (std::size_t k = 0; k < count; ++k) {
            sum += weights[k];
            magnitude += std::abs(std::int64_t{weights[k]});
        }
    }
};

template <class T>
HWY_INLINE double Product(T pixel, i32 weight) {
    if constexpr (std::is_floating_point_v<T>)
        return static_cast<double>(pixel) * weight;
    else {
        const u32 product = static_cast<u32>(pixel) * static_cast<u32>(weight);
        if constexpr (std::is_same_v<T, u32>) return product;
        return static_cast<i32>(product);
    }
}

#  if VORIP_VECTORS

// Products of floats and of 32-bit samples with weights, added in double precision.
template <class D, class W>
HWY_INLINE HWY_ATTR hn::Vec<D> AddProduct(D df, const float* at, W weight, hn::Vec<D> sum) {
    const hn::Rebind<float, D> d;
    return hn::MulAdd(hn::PromoteTo(df, hn::LoadU(d, at)), hn::Set(df, weight), sum);
}
template <class D, class W>
HWY_INLINE HWY_ATTR hn::Vec<D> AddProduct(D df, const i32* at, W weight, hn::Vec<D> sum) {
    const hn::Rebind<i32, D> d;
    return hn::Add(sum, hn::PromoteTo(df, hn::Mul(hn::LoadU(d, at), hn::Set(d, weight))));
}

// Sums of the first samples of a block, whole vectors at a time, in registers; returns of how many. A product of a
// float and a weight of less than 2^29 is exact, so that it may be added without being rounded first.
template <class T>
HWY_ATTR std::size_t SumVectors(double* sums, const T* const* taps, std::size_t start, const i32* weights,
                                std::size_t tapCount, std::size_t count) {
    const hn::ScalableTag<double> df;
    const std::size_t n = hn::Lanes(df);
    if constexpr (std::is_same_v<T, float>)
        for (std::size_t k = 0; k < tapCount; ++k)
            if (weights[k] <= -(1 << 29) || weights[k] >= 1 << 29) return 0;
    std::size_t i = 0;
    for (; i + 4 * n <= count; i += 4 * n) {
        auto a = hn::Zero(df), b = a, c = a, d = a;
        for (std::size_t k = 0; k < tapCount; ++k) {
            const T* tap = taps[k] + start + i;
            a = AddProduct(df, tap, weights[k], a);
            b = AddProduct(df, tap + n, weights[k], b);
            c = AddProduct(df, tap + 2 * n, weights[k], c);
            d = AddProduct(df, tap + 3 * n, weights[k], d);
        }
        hn::StoreU(a, df, sums + i);
        hn::StoreU(b, df, sums + i + n);
        hn::StoreU(c, df, sums + i + 2 * n);
        hn::StoreU(d, df, sums + i + 3 * n);
    }
    return i;
}

#  endif

// Adds the products of samples and weights to the sums of a block, tap after tap.
template <class T>
HWY_ATTR void SumBlock(double* sums, const T* const* taps, std::size_t start, const i32* weights, std::size_t tapCount,
                       std::size_t count) {
    std::size_t first = 0;
#  if VORIP_VECTORS
    if constexpr (std::is_same_v<T, float> || std::is_same_v<T, i32>)
        first = SumVectors(sums, taps, start, weights, tapCount, count);
#  endif
    for (std::size_t k = 0; k < tapCount; ++k) {
        const T* tap = taps[k] + start;
        const i32 weight = weights[k];
        for (std::size_t i = first; i < count; ++i) sums[i] += Product(tap[i], weight);
    }
}

#  if VORIP_VECTORS

// Runs `vectors(i)` for every start of `step` pixels. The last ones begin before the end of the previous ones, which
// gives the same pixels a second time. False when the row is shorter than one step.
template <class F>
HWY_INLINE HWY_ATTR bool Stride(std::size_t count, std::size_t step, const F& vectors) {
    if (count < step) return false;
    for (std::size_t i = 0; i + step <= count; i += step) vectors(i);
    if (count % step != 0) vectors(count - step);
    return true;
}
// Runs `vectors(many, i)` with two vectors of n pixels at a time, whose operations do not wait for each other, or with
// one in rows that are too short; `many` is a constant.
template <class F>
HWY_INLINE HWY_ATTR bool StrideInPairs(std::size_t count, std::size_t n, const F& vectors) {
    using One = std::integral_constant<std::size_t, 1>;
    using Two = std::integral_constant<std::size_t, 2>;
    return Stride(count, 2 * n, [&](std::size_t i) HWY_ATTR { vectors(Two(), i); }) ||
           Stride(count, n, [&](std::size_t i) HWY_ATTR { vectors(One(), i); });
}

// Signed 16-bit samples; words are moved by half their range.
template <class D>
HWY_INLINE HWY_ATTR auto LoadSigned(D d16, const u8* at) {
    return hn::PromoteTo(d16, hn::LoadU(hn::Rebind<u8, D>(), at));
}
template <class D>
HWY_INLINE HWY_ATTR auto LoadSigned(D d16, const u16* at) {
    const hn::RebindToUnsigned<D> du16;
    return hn::BitCast(d16, hn::Xor(hn::LoadU(du16, at), hn::Set(du16, u16{0x8000})));
}

// Halves away from zero.
template <class V>
HWY_INLINE HWY_ATTR V RoundShifted(V sums, int shift, V half) {
    if (shift == 0) return sums;
    return hn::ShiftRightSame(hn::Add(hn::Add(sums, half), hn::ShiftRight<31>(sums)), shift);
}
template <class D, class V>
HWY_INLINE HWY_ATTR V RoundScaled(D d32, V sums, double scale) {
    const hn::Repartition<double, D> df;
    const hn::Half<D> dh;
    const auto round = [=](auto part) HWY_ATTR {
        const auto scaled = hn::Mul(hn::PromoteTo(df, part), hn::Set(df, scale));
        return hn::DemoteTo(dh, hn::Add(scaled, hn::CopySignToAbs(hn::Set(df, 0.5), scaled)));
    };
    return hn::Combine(d32, round(hn::UpperHalf(dh, sums)), round(hn::LowerHalf(dh, sums)));
}

// The low bits of sums that are interleaved like the samples that they come from.
template <class D, class V>
HWY_INLINE HWY_ATTR auto LowBits(D d16, V low, V high) {
    const auto extend = [](V v) HWY_ATTR { return hn::ShiftRight<16>(hn::ShiftLeft<16>(v)); };
    return hn::ReorderDemote2To(d16, extend(low), extend(high));
}
template <class D, class V>
HWY_INLINE HWY_ATTR void StoreLow(D, V v, u16* at) {
    const hn::RebindToUnsigned<D> du16;
    hn::StoreU(hn::BitCast(du16, v), du16, at);
}
template <class D, class V>
HWY_INLINE HWY_ATTR void StoreLow(D, V v, u8* at) {
    const hn::RebindToUnsigned<D> du16;
    const hn::Rebind<u8, D> d8;
    hn::StoreU(hn::TruncateTo(d8, hn::BitCast(du16, v)), d8, at);
}

// Where the sums of samples that were moved by half their range start.
template <class T>
constexpr i32 StartOfSums(std::int64_t weights) {
    return sizeof(T) == 1 ? 0 : static_cast<i32>(weights * 32768);
}

// The weights of two taps each in one number; a last single tap stands beside a weight of 0. None when there are too
// many.
struct PackedWeights {
    static constexpr std::size_t most = 1024;
    std::size_t count = 0;
    std::size_t last = 0;  // tap
    i32 pairs[most];

    PackedWeights(const i32* weights, std::size_t tapCount) : last(tapCount - 1) {
        if (tapCount > 2 * most) return;
        for (std::size_t k = 0; k < tapCount; k += 2) {
            const u32 next = k < last ? static_cast<u32>(weights[k + 1]) << 16 : 0;
            pairs[count++] = static_cast<i32>((static_cast<u32>(weights[k]) & 0xFFFF) | next);
        }
    }
    // The second tap of a pair; where there is none, any.
    std::size_t Second(std::size_t pair) const { return std::min(pair * 2 + 1, last); }
};

// Sums of products of two taps at a time, interleaved like the samples of two vectors. They start where they shall only
// in the end: before, CPUs hold the parts of a sum in different lanes.
template <class T>
struct PairSums {
    using D16 = hn::ScalableTag<std::int16_t>;
    using D32 = hn::Repartition<i32, D16>;
    using V = hn::Vec<D32>;
    V start, low, high, lowOdd, highOdd;

    PairSums() = default;
    HWY_INLINE HWY_ATTR explicit PairSums(V first)
        : start(first), low(hn::Zero(D32())), high(low), lowOdd(low), highOdd(low) {}
    HWY_INLINE HWY_ATTR void Add(const PackedWeights& weights, const T* const* taps, std::size_t pair, std::size_t i) {
        const auto w = hn::BitCast(D16(), hn::Set(D32(), weights.pairs[pair]));
        const auto a = LoadSigned(D16(), taps[2 * pair] + i), b = LoadSigned(D16(), taps[weights.Second(pair)] + i);
        low = hn::ReorderWidenMulAccumulate(D32(), hn::InterleaveLower(D16(), a, b), w, low, lowOdd);
        high = hn::ReorderWidenMulAccumulate(D32(), hn::InterleaveUpper(D16(), a, b), w, high, highOdd);
    }
    HWY_INLINE HWY_ATTR V Low() const { return hn::Add(start, hn::RearrangeToOddPlusEven(low, lowOdd)); }
    HWY_INLINE HWY_ATTR V High() const { return hn::Add(start, hn::RearrangeToOddPlusEven(high, highOdd)); }
};

#  endif

}  // namespace KrN::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif  // per-target include guard
