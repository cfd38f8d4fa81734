#include "ipbase/kernels/mask.h"

#include <algorithm>
#include <cmath>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "ipbase/kernels/mask.cpp"
#define HWY_DISABLED_TARGETS (HWY_SSSE3 | HWY_AVX3_DL)
#include <hwy/foreach_target.h>

#include "ipbase/kernels/widesums-inl.h"

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

#if VORIP_VECTORS

struct Weights : WeightTotals {
    const i32* at;
    std::size_t count;

    Weights(const i32* weights, std::size_t taps) : WeightTotals(weights, taps), at(weights), count(taps) {}
    bool AreOnes() const {
        return std::all_of(at, at + count, [](i32 weight) { return weight == 1; });
    }
};

// Quotients that differ from a half do so by 1 / (2 * total) or more. In single precision, a quotient and the half that
// is added to it err by less than (2 * quotient + 1/2) / 2^24 together.
constexpr bool RoundInSingle(std::int64_t greatest, std::int64_t total) { return total * (4 * greatest + 1) < 1 << 24; }

// Quotients of integers, rounded half away from zero; a total of 0 gives 0. In double precision what differs from a
// half always is far enough from it.
template <class Real, class V>
HWY_INLINE HWY_ATTR V Quotients(V sums, V totals) {
    const hn::DFromV<V> d32;
    const auto none = hn::Eq(totals, hn::Zero(d32));
    totals = hn::IfThenElse(none, hn::Set(d32, 1), totals);
    if constexpr (std::is_same_v<Real, float>) {
        const hn::RebindToFloat<hn::DFromV<V>> df;
        const auto quotient = hn::Div(hn::ConvertTo(df, sums), hn::ConvertTo(df, totals));
        return hn::IfThenZeroElse(
            none, hn::ConvertTo(d32, hn::Add(quotient, hn::CopySignToAbs(hn::Set(df, 0.5f), quotient))));
    } else {
        const hn::Repartition<double, hn::DFromV<V>> df;
        const hn::Half<hn::DFromV<V>> dh;
        const auto round = [=](auto sum, auto total) HWY_ATTR {
            const auto quotient = hn::Div(hn::PromoteTo(df, sum), hn::PromoteTo(df, total));
            return hn::DemoteTo(dh, hn::Add(quotient, hn::CopySignToAbs(hn::Set(df, 0.5), quotient)));
        };
        return hn::IfThenZeroElse(none, hn::Combine(d32, round(hn::UpperHalf(dh, sums), hn::UpperHalf(dh, totals)),
                                                    round(hn::LowerHalf(dh, sums), hn::LowerHalf(dh, totals))));
    }
}

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

// Even and odd bytes of a vector, as 16-bit numbers, and back.
template <class V>
struct ByteHalves {
    V even, odd;

    HWY_INLINE HWY_ATTR ByteHalves(V e, V o) : even(e), odd(o) {}
    template <class V8>
    HWY_INLINE HWY_ATTR explicit ByteHalves(V8 bytes) {
        const hn::DFromV<V> d16;
        even = hn::And(hn::BitCast(d16, bytes), hn::Set(d16, u16{255}));
        odd = hn::ShiftRight<8>(hn::BitCast(d16, bytes));
    }
    HWY_INLINE HWY_ATTR V Joined() const { return hn::Or(even, hn::ShiftLeft<8>(odd)); }
};

// Totals of up to 16: (sum + add) * factor >> 16 is the rounded quotient, for sums up to 255 * total. A total of 16
// stands at 0, where the sum is 0 if nothing counts.
alignas(16) constexpr u8 kAdd[16] = {8, 1, 1, 1, 2, 2, 3, 3, 4, 4, 5, 5, 6, 6, 7, 7};
constexpr u32 FactorOf(u32 total) { return total == 0 ? 4096 : total == 1 ? 65535 : (65535 + total) / total; }
struct FactorBytes {
    alignas(16) u8 low[16];
    alignas(16) u8 high[16];
    constexpr FactorBytes() : low(), high() {
        for (u32 total = 0; total < 16; ++total) {
            low[total] = static_cast<u8>(FactorOf(total));
            high[total] = static_cast<u8>(FactorOf(total) >> 8);
        }
    }
};
constexpr FactorBytes kFactors;

template <class V, class V8>
HWY_INLINE HWY_ATTR V FewQuotients(const ByteHalves<V>& sums, V8 totals) {
    const hn::DFromV<V8> d8;
    totals = hn::And(totals, hn::Set(d8, u8{15}));
    const auto look = [=](const u8* table) HWY_ATTR { return hn::TableLookupBytes(hn::LoadDup128(d8, table), totals); };
    const ByteHalves<V> add(look(kAdd)), low(look(kFactors.low)), high(look(kFactors.high));
    const auto quotient = [=](V sum, V half, V lowByte, V highByte) HWY_ATTR {
        return hn::MulHigh(hn::Add(sum, half), hn::Or(lowByte, hn::ShiftLeft<8>(highByte)));
    };
    return ByteHalves<V>(quotient(sums.even, add.even, low.even, high.even),
                         quotient(sums.odd, add.odd, low.odd, high.odd))
        .Joined();
}

// Totals of up to 256, which stands at 0, where the sum is 0 if nothing counts.
template <class V, class V8>
HWY_INLINE HWY_ATTR V ManyQuotients(const ByteHalves<V>& sums, V8 totals) {
    const hn::DFromV<V> d16;
    const hn::Repartition<i32, hn::DFromV<V>> d32;
    const hn::Repartition<float, hn::DFromV<V>> df;
    const ByteHalves<V> all(totals);
    const auto round = [=](auto sum, auto total) HWY_ATTR {
        const auto real = hn::Div(hn::ConvertTo(df, hn::BitCast(d32, sum)), hn::ConvertTo(df, hn::BitCast(d32, total)));
        return hn::ConvertTo(d32, hn::Add(real, hn::Set(df, 0.5f)));
    };
    const auto quotient = [=](V sum, V total) HWY_ATTR {
        const hn::Repartition<u32, hn::DFromV<V>> du32;
        total = hn::IfThenElse(hn::Eq(total, hn::Zero(d16)), hn::Set(d16, u16{256}), total);
        const auto s = hn::BitCast(du32, sum), t = hn::BitCast(du32, total), lower = hn::Set(du32, u32{0xFFFF});
        const auto even = round(hn::And(s, lower), hn::And(t, lower));
        const auto odd = round(hn::ShiftRight<16>(s), hn::ShiftRight<16>(t));
        return hn::BitCast(d16, hn::Or(even, hn::ShiftLeft<16>(odd)));
    };
    return ByteHalves<V>(quotient(sums.even, all.even), quotient(sums.odd, all.odd)).Joined();
}

// Bytes with weights that are not negative and whose sum is at most 256: sums fit in 16 bits, totals in 8.
template <bool ones, bool few>
HWY_ATTR bool NarrowLoop(u8* dst, const u8* const* taps, const u8* const* valid, const Weights& weights,
                         std::size_t count) {
    const hn::ScalableTag<u8> d8;
    const hn::Repartition<u16, decltype(d8)> d16;
    using Halves = ByteHalves<hn::Vec<decltype(d16)>>;
    return Stride(count, hn::Lanes(d8), [&](std::size_t i) HWY_ATTR {
        Halves sums(hn::Zero(d16), hn::Zero(d16));
        auto totals = hn::Zero(d8);
        for (std::size_t k = 0; k < weights.count; ++k) {
            Halves pixels(hn::LoadU(d8, taps[k] + i));
            const auto one = hn::LoadU(d8, valid[k] + i);
            if (!ones) {
                const auto w = hn::Set(d16, static_cast<u16>(weights.at[k]));
                pixels.even = hn::Mul(pixels.even, w);
                pixels.odd = hn::Mul(pixels.odd, w);
            }
            sums.even = hn::Add(sums.even, pixels.even);
            sums.odd = hn::Add(sums.odd, pixels.odd);
            totals = ones ? hn::Sub(totals, one)
                          : hn::Add(totals, hn::And(one, hn::Set(d8, static_cast<u8>(weights.at[k]))));
        }
        const auto quotients = few ? FewQuotients(sums, totals) : ManyQuotients(sums, totals);
        hn::StoreU(hn::BitCast(d8, quotients), d8, dst + i);
    });
}

template <class T>
HWY_ATTR bool IntegerLoop(T* dst, const T* const* taps, const u8* const* valid, const Weights& weights, bool atLeastOne,
                          std::size_t count) {
    if constexpr (sizeof(T) == 1)
        if (weights.sum == weights.magnitude && weights.sum <= 256) {
            const bool few = weights.sum <= 16;
            const auto run = weights.AreOnes() ? (few ? &NarrowLoop<true, true> : &NarrowLoop<true, false>)
                                               : (few ? &NarrowLoop<false, true> : &NarrowLoop<false, false>);
            if (run(dst, taps, valid, weights, count)) return true;
        }
    if (weights.magnitude >= 32767) return false;
    if (RoundInSingle(std::numeric_limits<T>::max(), weights.magnitude))
        return WideLoop<float>(dst, taps, valid, weights, atLeastOne, count);
    return WideLoop<double>(dst, taps, valid, weights, atLeastOne, count);
}
#endif

template <class T>
HWY_ATTR void WeightedLoop(T* dst, const T* const* taps, const u8* const* valid, const i32* weights,
                           std::size_t tapCount, bool atLeastOne, std::size_t count) {
#if VORIP_VECTORS
    if constexpr (sizeof(T) < 4)
        if (IntegerLoop(dst, taps, valid, Weights(weights, tapCount), atLeastOne, count)) return;
#endif
    const bool fits = WeightTotals(weights, tapCount).magnitude <= std::numeric_limits<i32>::max();
    (fits ? DoubleLoop<i32, T> : DoubleLoop<double, T>)(dst, taps, valid, weights, tapCount, atLeastOne, count);
}

// --- Means that slide ------------------------------------------------------------------------------------------------

template <class T, class Sum, class Count>
HWY_ATTR void DivideLoop(T* dst, const Sum* sums, const Count* counts, std::size_t count) {
    for (std::size_t start = 0; start < count; start += kBlock) {
        const std::size_t n = std::min(kBlock, count - start);
        double means[kBlock];
        VORIP_INDEPENDENT_LOOP
        for (std::size_t i = 0; i < n; ++i)
            means[i] = static_cast<double>(sums[start + i]) / std::max<i32>(counts[start + i], 1);
        RoundBlock(dst + start, means, n);
    }
}

#if VORIP_VECTORS
// The first pixels of a row, whole vectors at a time; returns how many.
template <bool few>
HWY_ATTR std::size_t SlideVectors(u8* dst, u16* sums, u8* counts, const u8* added, const u8* addedValid,
                                  const u8* removed, const u8* removedValid, std::size_t count) {
    const hn::ScalableTag<u8> d8;
    const hn::Repartition<u16, decltype(d8)> d16;
    using Halves = ByteHalves<hn::Vec<decltype(d16)>>;
    const std::size_t n = hn::Lanes(d8);
    std::size_t i = 0;
    for (; i + n <= count; i += n) {
        const Halves more(hn::LoadU(d8, added + i)), less(hn::LoadU(d8, removed + i));
        const auto even = hn::Add(hn::LoadU(d16, sums + i), more.even);
        const auto odd = hn::Add(hn::LoadU(d16, sums + i + n / 2), more.odd);
        const auto totals = hn::Sub(hn::LoadU(d8, counts + i), hn::LoadU(d8, addedValid + i));
        const Halves all(even, odd);
        const auto quotients = few ? FewQuotients(all, totals) : ManyQuotients(all, totals);
        hn::StoreU(hn::Sub(even, less.even), d16, sums + i);
        hn::StoreU(hn::Sub(odd, less.odd), d16, sums + i + n / 2);
        hn::StoreU(hn::Add(totals, hn::LoadU(d8, removedValid + i)), d8, counts + i);
        hn::StoreU(hn::BitCast(d8, quotients), d8, dst + i);
    }
    return i;
}
template <class Real>
HWY_ATTR std::size_t SlideVectors(u16* dst, u32* sums, u16* counts, const u16* added, const u8* addedValid,
                                  const u16* removed, const u8* removedValid, std::size_t count) {
    const hn::ScalableTag<u16> d16;
    const hn::Half<decltype(d16)> half16;
    const hn::Repartition<u32, decltype(d16)> du32;
    const hn::Repartition<i32, decltype(d16)> d32;
    const hn::Rebind<u8, decltype(d16)> d8;
    const std::size_t n = hn::Lanes(d16), half = n / 2;
    const auto ones = [=](const u8* valid)
                          HWY_ATTR { return hn::And(hn::PromoteTo(d16, hn::LoadU(d8, valid)), hn::Set(d16, u16{1})); };
    const auto wide = [=](const u16* row) HWY_ATTR { return hn::PromoteTo(du32, hn::LoadU(half16, row)); };
    std::size_t i = 0;
    for (; i + n <= count; i += n) {
        const auto low = hn::Add(hn::LoadU(du32, sums + i), wide(added + i));
        const auto high = hn::Add(hn::LoadU(du32, sums + i + half), wide(added + i + half));
        const auto totals = hn::Add(hn::LoadU(d16, counts + i), ones(addedValid + i));
        const auto a = Quotients<Real>(hn::BitCast(d32, low), hn::PromoteTo(d32, hn::LowerHalf(half16, totals)));
        const auto b = Quotients<Real>(hn::BitCast(d32, high), hn::PromoteTo(d32, hn::UpperHalf(half16, totals)));
        hn::StoreU(hn::Sub(low, wide(removed + i)), du32, sums + i);
        hn::StoreU(hn::Sub(high, wide(removed + i + half)), du32, sums + i + half);
        hn::StoreU(hn::Sub(totals, ones(removedValid + i)), d16, counts + i);
        hn::StoreU(hn::ConcatEven(d16, hn::BitCast(d16, b), hn::BitCast(d16, a)), d16, dst + i);
    }
    return i;
}
#endif

template <class T, class Sum, class Count>
HWY_ATTR void SlideLoop(T* dst, Sum* sums, Count* counts, const T* added, const u8* addedValid, const T* removed,
                        const u8* removedValid, [[maybe_unused]] std::size_t taps, std::size_t count) {
    std::size_t i = 0;
#if VORIP_VECTORS
    if constexpr (std::is_same_v<Sum, u16>)
        i = (taps <= 16 ? &SlideVectors<true> : &SlideVectors<false>)(dst, sums, counts, added, addedValid, removed,
                                                                      removedValid, count);
    if constexpr (std::is_same_v<Sum, u32>)
        i = (RoundInSingle(65535, static_cast<std::int64_t>(taps))
                 ? &SlideVectors<float>
                 : &SlideVectors<double>)(dst, sums, counts, added, addedValid, removed, removedValid, count);
#endif
    const std::size_t first = i;
    VORIP_INDEPENDENT_LOOP
    for (i = first; i < count; ++i) {
        sums[i] = static_cast<Sum>(sums[i] + added[i]);
        counts[i] = static_cast<Count>(counts[i] + (addedValid[i] & 1));
    }
    DivideLoop(dst + first, sums + first, counts + first, count - first);
    VORIP_INDEPENDENT_LOOP
    for (i = first; i < count; ++i) {
        sums[i] = static_cast<Sum>(sums[i] - removed[i]);
        counts[i] = static_cast<Count>(counts[i] - (removedValid[i] & 1));
    }
}

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
    for (std::size_t i = 0; i < count; ++i) valid[i] = mask[i] < 64 ? 255 : 0;
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
