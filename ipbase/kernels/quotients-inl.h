// Sums over totals of weights, rounded, for weighted sums and means of valid samples; once per CPU target.
#if defined(VORIP_QUOTIENTS_INL_H) == defined(HWY_TARGET_TOGGLE)
#  ifdef VORIP_QUOTIENTS_INL_H
#    undef VORIP_QUOTIENTS_INL_H
#  else
#    define VORIP_QUOTIENTS_INL_H
#  endif

#  include <algorithm>

#  include "ipbase/kernels/widesums-inl.h"

HWY_BEFORE_NAMESPACE();
namespace KrN::kernels::HWY_NAMESPACE {
namespace {  // the same short names stand in other files of this folder

#  if VORIP_VECTORS

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
// stands at 0, where the sum is 0 if nothing counts. Bytes have no division, and a table of 16 is a single lookup.
constexpr int kFewTotals = 16;
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

#  endif

}  // namespace
}  // namespace KrN::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif  // per-target include guard
