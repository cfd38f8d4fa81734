// Means of valid samples, once per CPU target. The sum and the number of valid samples of a window go on from row to
// row; they are whole numbers, so that nothing accumulates.
#if defined(VORIP_MASKEDMEANS_INL_H) == defined(HWY_TARGET_TOGGLE)
#  ifdef VORIP_MASKEDMEANS_INL_H
#    undef VORIP_MASKEDMEANS_INL_H
#  else
#    define VORIP_MASKEDMEANS_INL_H
#  endif

#  include <algorithm>

#  include "ipbase/kernels/quotients-inl.h"

HWY_BEFORE_NAMESPACE();
namespace KrN::kernels::HWY_NAMESPACE {
namespace {  // the same short names stand in other files of this folder

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

#  if VORIP_VECTORS
// The first pixels of a row, whole vectors at a time; returns how many.
HWY_ATTR std::size_t SlideBytes(u8* dst, u16* sums, u8* counts, const u8* added, const u8* addedValid,
                                const u8* removed, const u8* removedValid, bool few, std::size_t count) {
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
HWY_ATTR std::size_t SlideWords(u16* dst, u32* sums, u16* counts, const u16* added, const u8* addedValid,
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
#  endif

template <class T, class Sum, class Count>
HWY_ATTR void SlideLoop(T* dst, Sum* sums, Count* counts, const T* added, const u8* addedValid, const T* removed,
                        const u8* removedValid, [[maybe_unused]] std::size_t taps, std::size_t count) {
    std::size_t i = 0;
#  if VORIP_VECTORS
    if constexpr (std::is_same_v<Sum, u16>)
        i = SlideBytes(dst, sums, counts, added, addedValid, removed, removedValid, taps <= kFewTotals, count);
    if constexpr (std::is_same_v<Sum, u32>) {
        const bool single = RoundInSingle(65535, static_cast<std::int64_t>(taps));
        const auto slide = single ? &SlideWords<float> : &SlideWords<double>;
        i = slide(dst, sums, counts, added, addedValid, removed, removedValid, count);
    }
#  endif
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

}  // namespace
}  // namespace KrN::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif  // per-target include guard
