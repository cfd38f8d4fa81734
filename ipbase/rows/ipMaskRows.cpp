#include "ipbase/rows/ipMaskRows.h"

#include <algorithm>
#include <cmath>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "ipbase/rows/ipMaskRows.cpp"
#define HWY_DISABLED_TARGETS (HWY_SSSE3 | HWY_AVX3_DL)
#include <hwy/foreach_target.h>

#include "ipbase/rows/ipWideSums-inl.h"

HWY_BEFORE_NAMESPACE();
namespace KrN::rows::HWY_NAMESPACE {
namespace {  // the same short names stand in other files of this folder

template <class T>
HWY_ATTR void DoubleLoop(T* dst, const T* const* taps, const u8* const* valid, const i32* weights, std::size_t tapCount,
                         bool atLeastOne, std::size_t count) {
    for (std::size_t start = 0; start < count; start += kBlock) {
        const std::size_t n = std::min(kBlock, count - start);
        double sums[kBlock] = {}, totals[kBlock] = {};
        for (std::size_t k = 0; k < tapCount; ++k) {
            const T* tap = taps[k] + start;
            const u8* one = valid[k] + start;
            const i32 weight = weights[k];
            for (std::size_t i = 0; i < n; ++i) {
                sums[i] += Product(tap[i], weight);
                totals[i] += static_cast<double>(one[i]) * weight;
            }
        }
        for (std::size_t i = 0; i < n; ++i) {
            const double total = atLeastOne && totals[i] < 1.0 ? 1.0 : totals[i];
            sums[i] = total != 0.0 ? sums[i] / total : 0.0;
        }
        RoundBlock(dst + start, sums, n);
    }
}

#if VORIP_VECTORS
// The double quotient of two integers that differ from a half is rounded like the exact one.
template <class D, class V>
HWY_INLINE HWY_ATTR V Quotients(D d32, V sums, V totals) {
    const hn::Repartition<double, D> df;
    const hn::Half<D> dh;
    const auto round = [=](auto sum, auto total) HWY_ATTR {
        const auto quotient = hn::Div(hn::PromoteTo(df, sum), hn::PromoteTo(df, total));
        return hn::DemoteTo(dh, hn::Add(quotient, hn::CopySignToAbs(hn::Set(df, 0.5), quotient)));
    };
    const auto none = hn::Eq(totals, hn::Zero(d32));
    totals = hn::IfThenElse(none, hn::Set(d32, 1), totals);
    const auto rounded = hn::Combine(d32, round(hn::UpperHalf(dh, sums), hn::UpperHalf(dh, totals)),
                                     round(hn::LowerHalf(dh, sums), hn::LowerHalf(dh, totals)));
    return hn::IfThenZeroElse(none, rounded);
}

template <class T>
HWY_ATTR bool WideLoop(T* dst, const T* const* taps, const u8* const* valid, const i32* weights, std::size_t tapCount,
                       bool atLeastOne, std::size_t count) {
    std::int64_t sum = 0, magnitude = 0;
    for (std::size_t k = 0; k < tapCount; ++k) {
        sum += weights[k];
        magnitude += std::abs(std::int64_t{weights[k]});
    }
    const PackedWeights packed(weights, tapCount);
    if (magnitude >= 32767 || packed.count == 0) return false;
    const hn::ScalableTag<std::int16_t> d16;
    const hn::Repartition<i32, decltype(d16)> d32;
    const auto least = hn::Set(d32, atLeastOne ? 1 : std::numeric_limits<i32>::min());
    return Stride(count, hn::Lanes(d16), [&](std::size_t i) HWY_ATTR {
        PairSums<T> sums(hn::Set(d32, StartOfSums<T>(sum)));
        PairSums<u8> totals(hn::Zero(d32));
        for (std::size_t k = 0; k < packed.count; ++k) {
            sums.Add(packed, taps, k, i);
            totals.Add(packed, valid, k, i);
        }
        const auto low = Quotients(d32, sums.Low(), hn::Max(totals.Low(), least));
        const auto high = Quotients(d32, sums.High(), hn::Max(totals.High(), least));
        StoreLow(d16, LowBits(d16, low, high), dst + i);
    });
}

// Bytes with weights that are not negative and whose sum is at most 256: all sums fit in 16 bits, and the rounding of
// single-precision quotients is exact, for what is not a half is further from it than they err.
HWY_ATTR bool NarrowLoop(u8* dst, const u8* const* taps, const u8* const* valid, const i32* weights,
                         std::size_t tapCount, std::size_t count) {
    std::int64_t sum = 0;
    for (std::size_t k = 0; k < tapCount; ++k) {
        if (weights[k] < 0) return false;
        sum += weights[k];
    }
    if (sum > 256) return false;
    const hn::ScalableTag<u8> d8;
    const hn::Half<decltype(d8)> half8;
    const hn::Repartition<u16, decltype(d8)> d16;
    const hn::Half<decltype(d16)> half16;
    const hn::Repartition<i32, decltype(d8)> d32;
    const hn::Repartition<float, decltype(d8)> df;
    const std::size_t n = hn::Lanes(d8);
    const auto load = [=](const u8* at) HWY_ATTR { return hn::PromoteTo(d16, hn::LoadU(half8, at)); };
    const auto quotients = [=](auto sums, auto totals) HWY_ATTR {
        const auto real = [=](auto part) HWY_ATTR { return hn::ConvertTo(df, hn::PromoteTo(d32, part)); };
        const auto round = [=](auto s, auto t) HWY_ATTR {
            return hn::BitCast(d16, hn::ConvertTo(d32, hn::Add(hn::Div(s, t), hn::Set(df, 0.5f))));
        };
        totals = hn::Max(totals, hn::Set(d16, u16{1}));
        const auto low = round(real(hn::LowerHalf(half16, sums)), real(hn::LowerHalf(half16, totals)));
        const auto high = round(real(hn::UpperHalf(half16, sums)), real(hn::UpperHalf(half16, totals)));
        return hn::BitCast(d8, hn::ConcatEven(d16, high, low));
    };
    return Stride(count, n, [&](std::size_t i) HWY_ATTR {
        auto a = hn::Zero(d16), b = a, aTotal = a, bTotal = a;
        for (std::size_t k = 0; k < tapCount; ++k) {
            const auto w = hn::Set(d16, static_cast<u16>(weights[k]));
            a = hn::Add(a, hn::Mul(load(taps[k] + i), w));
            b = hn::Add(b, hn::Mul(load(taps[k] + i + n / 2), w));
            aTotal = hn::Add(aTotal, hn::Mul(load(valid[k] + i), w));
            bTotal = hn::Add(bTotal, hn::Mul(load(valid[k] + i + n / 2), w));
        }
        hn::StoreU(hn::ConcatEven(d8, quotients(b, bTotal), quotients(a, aTotal)), d8, dst + i);
    });
}
#endif

template <class T>
HWY_ATTR void WeightedLoop(T* dst, const T* const* taps, const u8* const* valid, const i32* weights,
                           std::size_t tapCount, bool atLeastOne, std::size_t count) {
#if VORIP_VECTORS
    if constexpr (sizeof(T) == 1)
        if (NarrowLoop(dst, taps, valid, weights, tapCount, count)) return;
    if constexpr (sizeof(T) < 4)
        if (WideLoop(dst, taps, valid, weights, tapCount, atLeastOne, count)) return;
#endif
    DoubleLoop(dst, taps, valid, weights, tapCount, atLeastOne, count);
}

template <class T>
HWY_ATTR void NeutralizeLoop(T* dst, const T* row, const u8* mask, T neutral, std::size_t count) {
    VORIP_INDEPENDENT_LOOP
    for (std::size_t i = 0; i < count; ++i) dst[i] = mask[i] < kFirstInvalid ? row[i] : neutral;
}
template <class T>
HWY_ATTR void SelectLoop(T* dst, const T* filtered, const T* row, const u8* mask, std::size_t count) {
    VORIP_INDEPENDENT_LOOP
    for (std::size_t i = 0; i < count; ++i) dst[i] = mask[i] < kFirstInvalid ? filtered[i] : row[i];
}
HWY_ATTR void ValidateLoop(u8* valid, const u8* mask, std::size_t count) {
    VORIP_INDEPENDENT_LOOP
    for (std::size_t i = 0; i < count; ++i) valid[i] = mask[i] < kFirstInvalid;
}
HWY_ATTR void MiddleLoop(u8* ranks, const u8* const* valid, std::size_t tapCount, std::size_t count) {
    std::fill_n(ranks, count, u8{1});
    for (std::size_t k = 0; k < tapCount; ++k) {
        const u8* one = valid[k];
        VORIP_INDEPENDENT_LOOP
        for (std::size_t i = 0; i < count; ++i) ranks[i] = static_cast<u8>(ranks[i] + one[i]);
    }
    VORIP_INDEPENDENT_LOOP
    for (std::size_t i = 0; i < count; ++i) ranks[i] = static_cast<u8>(ranks[i] < 2 ? 0 : ranks[i] / 2 - 1);
}

template <class... T>
void FillTyped(MaskRows& rows, std::tuple<MaskedPixels<T>...>&) {
    ((std::get<MaskedWeightedRow<T>>(rows.weighted) = &WeightedLoop<T>), ...);
    ((std::get<MaskedPixels<T>>(rows.pixels) = {&NeutralizeLoop<T>, &SelectLoop<T>}), ...);
}

const MaskRows& Rows() {
    static const MaskRows table = [] {
        MaskRows rows;
        FillTyped(rows, rows.pixels);
        rows.validate = &ValidateLoop;
        rows.middle = &MiddleLoop;
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
const MaskRows& GetMaskRows() { return HWY_DYNAMIC_DISPATCH(Rows)(); }
}  // namespace KrN::rows
#endif
