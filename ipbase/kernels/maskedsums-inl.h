// Weighted sums of valid samples, once per CPU target.
#if defined(VORIP_MASKEDSUMS_INL_H) == defined(HWY_TARGET_TOGGLE)
#  ifdef VORIP_MASKEDSUMS_INL_H
#    undef VORIP_MASKEDSUMS_INL_H
#  else
#    define VORIP_MASKEDSUMS_INL_H
#  endif

#  include <algorithm>
#  include <limits>

#  include "ipbase/kernels/quotients-inl.h"

HWY_BEFORE_NAMESPACE();
namespace KrN::kernels::HWY_NAMESPACE {
namespace {  // the same short names stand in other files of this folder

// Not part of its caller's loop over the taps: compilers would exchange the two, and run along the taps of each pixel.
template <class Total>
HWY_NOINLINE HWY_ATTR void AddWhereValid(Total* totals, const u8* valid, i32 weight, std::size_t count) {
    VORIP_INDEPENDENT_LOOP
    for (std::size_t i = 0; i < count; ++i) totals[i] += valid[i] ? weight : 0;
}

template <class Total, class T>
HWY_ATTR void DoubleLoop(T* dst, const T* const* taps, const u8* const* valid, const i32* weights, std::size_t tapCount,
                         bool atLeastOne, std::size_t count) {
    for (std::size_t start = 0; start < count; start += kBlock) {
        const std::size_t n = std::min(kBlock, count - start);
        double sums[kBlock] = {};
        Total totals[kBlock] = {};
        SumBlock(sums, taps, start, weights, tapCount, n);
        for (std::size_t k = 0; k < tapCount; ++k) AddWhereValid(totals, valid[k] + start, weights[k], n);
        for (std::size_t i = 0; i < n; ++i) {
            const double total = atLeastOne && totals[i] < 1 ? 1.0 : totals[i];
            sums[i] = total != 0.0 ? sums[i] / total : 0.0;
        }
        RoundBlock(dst + start, sums, n);
    }
}

#  if VORIP_VECTORS

struct Weights : WeightTotals {
    const i32* at;
    std::size_t count;

    Weights(const i32* weights, std::size_t taps) : WeightTotals(weights, taps), at(weights), count(taps) {}
    bool AreOnes() const {
        return std::all_of(at, at + count, [](i32 weight) { return weight == 1; });
    }
};

// Sums of 32 bits as without masks, and totals of weights in 16 bits.
template <class Real, class T>
HWY_ATTR bool WideLoop(T* dst, const T* const* taps, const u8* const* valid, const Weights& weights, bool atLeastOne,
                       std::size_t count) {
    const PackedWeights packed(weights.at, weights.count);
    if (packed.count == 0) return false;
    const hn::ScalableTag<std::int16_t> d16;
    const hn::Repartition<i32, decltype(d16)> d32;
    const hn::Rebind<std::int8_t, decltype(d16)> d8;
    const auto least = hn::Set(d32, atLeastOne ? 1 : std::numeric_limits<i32>::min());
    return Stride(count, hn::Lanes(d16), [&](std::size_t i) HWY_ATTR {
        PairSums<T> sums(hn::Set(d32, StartOfSums<T>(weights.sum)));
        for (std::size_t k = 0; k < packed.count; ++k) sums.Add(packed, taps, k, i);
        auto totals = hn::Zero(d16);
        for (std::size_t k = 0; k < weights.count; ++k) {
            const auto one = hn::PromoteTo(d16, hn::LoadU(d8, reinterpret_cast<const std::int8_t*>(valid[k] + i)));
            totals = hn::Add(totals, hn::And(one, hn::Set(d16, static_cast<std::int16_t>(weights.at[k]))));
        }
        // In the order of the sums.
        const auto wide = [=](auto interleaved)
                              HWY_ATTR { return hn::Max(hn::ShiftRight<16>(hn::BitCast(d32, interleaved)), least); };
        const auto low = Quotients<Real>(sums.Low(), wide(hn::InterleaveLower(d16, hn::Zero(d16), totals)));
        const auto high = Quotients<Real>(sums.High(), wide(hn::InterleaveUpper(d16, hn::Zero(d16), totals)));
        StoreLow(d16, LowBits(d16, low, high), dst + i);
    });
}

// What a sample adds to a sum and to the total of weights, in bytes that are 255 where samples are valid.
struct Ones {
    template <class V, class V8>
    static HWY_INLINE HWY_ATTR void Add(ByteHalves<V>& sums, V8& totals, ByteHalves<V> pixels, V8 valid, i32) {
        sums.even = hn::Add(sums.even, pixels.even);
        sums.odd = hn::Add(sums.odd, pixels.odd);
        totals = hn::Sub(totals, valid);
    }
};
struct AnyWeights {
    template <class V, class V8>
    static HWY_INLINE HWY_ATTR void Add(ByteHalves<V>& sums, V8& totals, ByteHalves<V> pixels, V8 valid, i32 weight) {
        const V w = hn::Set(hn::DFromV<V>(), static_cast<u16>(weight));
        sums.even = hn::Add(sums.even, hn::Mul(pixels.even, w));
        sums.odd = hn::Add(sums.odd, hn::Mul(pixels.odd, w));
        totals = hn::Add(totals, hn::And(valid, hn::Set(hn::DFromV<V8>(), static_cast<u8>(weight))));
    }
};

// Bytes with weights that are not negative and whose sum is at most 256: sums fit in 16 bits, totals in 8.
template <class Weighting>
HWY_ATTR bool NarrowLoop(u8* dst, const u8* const* taps, const u8* const* valid, const Weights& weights,
                         std::size_t count) {
    const hn::ScalableTag<u8> d8;
    const hn::Repartition<u16, decltype(d8)> d16;
    using Halves = ByteHalves<hn::Vec<decltype(d16)>>;
    const bool few = weights.sum <= kFewTotals;
    return Stride(count, hn::Lanes(d8), [&](std::size_t i) HWY_ATTR {
        Halves sums(hn::Zero(d16), hn::Zero(d16));
        auto totals = hn::Zero(d8);
        for (std::size_t k = 0; k < weights.count; ++k)
            Weighting::Add(sums, totals, Halves(hn::LoadU(d8, taps[k] + i)), hn::LoadU(d8, valid[k] + i),
                           weights.at[k]);
        const auto quotients = few ? FewQuotients(sums, totals) : ManyQuotients(sums, totals);
        hn::StoreU(hn::BitCast(d8, quotients), d8, dst + i);
    });
}

template <class T>
HWY_ATTR bool IntegerLoop(T* dst, const T* const* taps, const u8* const* valid, const Weights& weights, bool atLeastOne,
                          std::size_t count) {
    if constexpr (sizeof(T) == 1)
        if (weights.sum == weights.magnitude && weights.sum <= 256) {
            const auto run = weights.AreOnes() ? &NarrowLoop<Ones> : &NarrowLoop<AnyWeights>;
            if (run(dst, taps, valid, weights, count)) return true;
        }
    if (weights.magnitude >= 32767) return false;
    if (RoundInSingle(std::numeric_limits<T>::max(), weights.magnitude))
        return WideLoop<float>(dst, taps, valid, weights, atLeastOne, count);
    return WideLoop<double>(dst, taps, valid, weights, atLeastOne, count);
}
#  endif

template <class T>
HWY_ATTR void WeightedLoop(T* dst, const T* const* taps, const u8* const* valid, const i32* weights,
                           std::size_t tapCount, bool atLeastOne, std::size_t count) {
#  if VORIP_VECTORS
    if constexpr (sizeof(T) < 4)
        if (IntegerLoop(dst, taps, valid, Weights(weights, tapCount), atLeastOne, count)) return;
#  endif
    const bool fits = WeightTotals(weights, tapCount).magnitude <= std::numeric_limits<i32>::max();
    (fits ? DoubleLoop<i32, T> : DoubleLoop<double, T>)(dst, taps, valid, weights, tapCount, atLeastOne, count);
}

}  // namespace
}  // namespace KrN::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif  // per-target include guard
