#include "ipbase/kernels/median.h"

#include <algorithm>
#include <cstring>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "ipbase/kernels/median.cpp"
#define HWY_DISABLED_TARGETS (HWY_SSSE3 | HWY_AVX3_DL)
#include <hwy/foreach_target.h>

#include "ipbase/kernels/rowloop-inl.h"

HWY_BEFORE_NAMESPACE();
namespace KrN::kernels::HWY_NAMESPACE {
namespace {  // the same short names stand in other files of this folder

// One sample, or a vector of them. What comes out for NaN is one of the samples.
template <class T>
struct One {
    using Pixel = T;
    using V = T;
    static constexpr std::size_t size = 1;
    // Where there are vectors, only rows shorter than one are left for single samples. Unrolling their networks as well
    // would nearly double the time that this file takes to compile.
    static constexpr bool unrolls = !VORIP_VECTORS;
    static HWY_INLINE V Load(const T* at) { return *at; }
    static HWY_INLINE void Store(V v, T* at) { *at = v; }
    static HWY_INLINE V Min(V a, V b) { return b < a ? b : a; }
    static HWY_INLINE V Max(V a, V b) { return a < b ? b : a; }
    // `b` where the rank is `rank`.
    static HWY_INLINE V Pick(V a, V b, const u8* ranks, std::size_t rank) { return *ranks == rank ? b : a; }
};
#if VORIP_VECTORS
template <class T>
struct Many {
    using Pixel = T;
    using D = hn::ScalableTag<T>;
    using V = hn::Vec<D>;
    static constexpr std::size_t size = HWY_LANES(T);
    static constexpr bool unrolls = true;
    static HWY_INLINE HWY_ATTR V Load(const T* at) { return hn::LoadU(D(), at); }
    static HWY_INLINE HWY_ATTR void Store(V v, T* at) { hn::StoreU(v, D(), at); }
    static HWY_INLINE HWY_ATTR V Min(V a, V b) { return hn::Min(a, b); }
    static HWY_INLINE HWY_ATTR V Max(V a, V b) { return hn::Max(a, b); }
    static HWY_INLINE HWY_ATTR V Pick(V a, V b, const u8* ranks, std::size_t rank) {
        using Key = hn::RebindToUnsigned<D>;
        const auto bytes = hn::LoadU(hn::Rebind<u8, D>(), ranks);
        const auto same = [=](auto keys)
                              HWY_ATTR { return hn::Eq(keys, hn::Set(Key(), static_cast<hn::TFromD<Key>>(rank))); };
        if constexpr (sizeof(T) == 1)
            return hn::IfThenElse(same(bytes), b, a);
        else
            return hn::IfThenElse(hn::RebindMask(D(), same(hn::PromoteTo(Key(), bytes))), b, a);
    }
};
#endif

// Calls step(vectors or single samples, i) over a row. The last vector begins before the end of the previous one, which
// gives the same pixels a second time.
template <class T, class F>
HWY_INLINE HWY_ATTR void OverRow(std::size_t count, const F& step) {
#if VORIP_VECTORS
    constexpr std::size_t n = Many<T>::size;
    // One call for both, for `step` is expanded at each.
    for (std::size_t i = 0; count >= n; i = count - n) {
        for (; i + n <= count; i += n) step(Many<T>(), i);
        if (i == count) return;
    }
#endif
    for (std::size_t i = 0; i < count; ++i) step(One<T>(), i);
}

template <class O, class V>
HWY_INLINE HWY_ATTR void Exchange(const Comparator& c, V& low, V& high) {
    const V a = low, b = high;
    if (c.keepLow) low = O::Min(a, b);
    if (c.keepHigh) high = O::Max(a, b);
}

// --- Squares: columns are sorted once and looked at by all windows that they belong to
// Their networks are known here and unrolled, so that samples stay in registers.

template <class O, class Known, std::size_t k>
HWY_INLINE HWY_ATTR void ExchangeKnown(typename O::V* v) {
    constexpr Comparator c = Known::kNetwork.list[k];
    Exchange<O>(c, v[c.low], v[c.high]);
}
template <class O, class Known, std::size_t... k>
HWY_INLINE HWY_ATTR void RunUnrolled(typename O::V* v, std::index_sequence<k...>) {
    (ExchangeKnown<O, Known, k>(v), ...);
}
template <class O, class Known>
HWY_INLINE HWY_ATTR void RunKnown(typename O::V* v) {
    constexpr std::size_t count = Known::kNetwork.list.size();
    if constexpr (O::unrolls) {
        RunUnrolled<O, Known>(v, std::make_index_sequence<count>());
    } else {
        for (std::size_t k = 0; k < count; ++k) {
            const Comparator& c = Known::kNetwork.list[k];
            Exchange<O>(c, v[c.low], v[c.high]);
        }
    }
}
template <std::size_t side>
struct ColumnOf {
    static constexpr FixedNetwork<side, 8 * side> kNetwork{side, 1, 0, side - 1};
};
template <std::size_t side, bool ranked>
struct SquareOf {
    static constexpr std::size_t kMiddle = (side * side + 1) / 2 - 1;
    static constexpr FixedNetwork<side * side, 8 * side * side> kNetwork{side, side, ranked ? 0 : kMiddle, kMiddle};
};

template <class O, std::size_t side, class T>
HWY_INLINE HWY_ATTR void SortColumns(std::size_t i, const T* const* rows, T* sorted, std::size_t stride) {
    using Column = ColumnOf<side>;
    typename O::V v[side];
    for (std::size_t k = 0; k < side; ++k) v[k] = O::Load(rows[k] + i);
    RunKnown<O, Column>(v);
    for (std::size_t k = 0; k < side; ++k) O::Store(v[Column::kNetwork.wires[k]], sorted + k * stride + i);
}
template <class O, std::size_t side, bool ranked, class T>
HWY_INLINE HWY_ATTR void SelectSquare(std::size_t i, T* dst, const u8* ranks, const T* sorted, std::size_t stride) {
    using Square = SquareOf<side, ranked>;
    typename O::V v[side * side];
    for (std::size_t x = 0; x < side; ++x)
        for (std::size_t k = 0; k < side; ++k) v[x * side + k] = O::Load(sorted + k * stride + i + x);
    RunKnown<O, Square>(v);
    auto picked = v[Square::kNetwork.wires.back()];
    if constexpr (ranked)
        for (std::size_t rank = 0; rank < Square::kMiddle; ++rank)
            picked = O::Pick(picked, v[Square::kNetwork.wires[rank]], ranks + i, rank);
    O::Store(picked, dst + i);
}

template <class T, std::size_t side>
HWY_ATTR void SquareLoop(T* dst, const T* const* rows, const u8* ranks, T* scratch, std::size_t count) {
    const std::size_t stride = count + side - 1;
    OverRow<T>(stride,
               [=](auto o, std::size_t i) HWY_ATTR { SortColumns<decltype(o), side>(i, rows, scratch, stride); });
    const auto select = [=](auto ranked) HWY_ATTR {
        OverRow<T>(count, [=](auto o, std::size_t i) HWY_ATTR {
            SelectSquare<decltype(o), side, decltype(ranked)::value>(i, dst, ranks, scratch, stride);
        });
    };
    ranks ? select(std::true_type()) : select(std::false_type());
}

// --- Networks: of any size, made while the program runs

template <class O, class T>
HWY_INLINE HWY_ATTR void RunNetwork(std::size_t i, const T* const* rows, std::size_t rowCount, const Network& network,
                                    T* scratch) {
    for (std::size_t k = 0; k < rowCount; ++k) O::Store(O::Load(rows[k] + i), scratch + k * O::size);
    for (const Comparator& c : network.list) {
        T *low = scratch + c.low * O::size, *high = scratch + c.high * O::size;
        const auto a = O::Load(low), b = O::Load(high);
        if (c.keepLow) O::Store(O::Min(a, b), low);
        if (c.keepHigh) O::Store(O::Max(a, b), high);
    }
}
template <class T>
HWY_ATTR void SelectLoop(T* dst, const T* const* taps, std::size_t tapCount, const Network& network, const u8* ranks,
                         T* scratch, std::size_t count) {
    OverRow<T>(count, [=, &network](auto o, std::size_t i) HWY_ATTR {
        using O = decltype(o);
        RunNetwork<O>(i, taps, tapCount, network, scratch);
        const std::size_t last = network.wires.size() - 1;
        auto picked = O::Load(scratch + network.wires[last] * O::size);
        for (std::size_t rank = 0; ranks && rank < last; ++rank)
            picked = O::Pick(picked, O::Load(scratch + network.wires[rank] * O::size), ranks + i, rank);
        O::Store(picked, dst + i);
    });
}
template <class T>
HWY_ATTR void SortLoop(T* const* sorted, const T* const* rows, std::size_t rowCount, const Network& network, T* scratch,
                       std::size_t count) {
    OverRow<T>(count, [=, &network](auto o, std::size_t i) HWY_ATTR {
        using O = decltype(o);
        RunNetwork<O>(i, rows, rowCount, network, scratch);
        for (std::size_t k = 0; k < rowCount; ++k)
            O::Store(O::Load(scratch + network.wires[k] * O::size), sorted[k] + i);
    });
}

// --- Histograms
// S. Perreault and P. Hebert, "Median Filtering in Constant Time", IEEE Transactions on Image Processing 16 (2007),
// with counts that are cumulative, so that a comparison and a count of bits find the bin.

alignas(16) constexpr u8 kSteps[31] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1,
                                       1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1};

// 16 counts of bytes += or -= 1 from lane `from` on.
template <bool add>
HWY_INLINE HWY_ATTR void Count(u8* counts, unsigned from) {
    const u8* step = kSteps + 15 - from;
#if VORIP_VECTORS
    const hn::FixedTag<u8, 16> d;
    const auto a = hn::LoadU(d, counts), b = hn::LoadU(d, step);
    hn::StoreU(add ? hn::Add(a, b) : hn::Sub(a, b), d, counts);
#else
    for (int k = 0; k < 16; ++k) counts[k] = static_cast<u8>(add ? counts[k] + step[k] : counts[k] - step[k]);
#endif
}

template <bool add>
HWY_ATTR void CountLoop(ColumnCounts* columns, const u8* row, const u8* valid, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        if (valid && !valid[i]) continue;
        Count<add>(columns[i].coarse, row[i] >> 4);
        Count<add>(columns[i].fine[row[i] >> 4], row[i] & 15);
    }
}

// 16 sums of counts, below 32768.
struct Sums {
    std::int16_t at[16];

    HWY_INLINE HWY_ATTR void Move(const u8* added, const u8* removed) {
#if VORIP_VECTORS
        const hn::CappedTag<std::int16_t, 16> d;
        const hn::Rebind<u8, decltype(d)> d8;
        for (std::size_t k = 0; k < 16; k += hn::Lanes(d)) {
            const auto more = hn::PromoteTo(d, hn::LoadU(d8, added + k));
            const auto less = hn::PromoteTo(d, hn::LoadU(d8, removed + k));
            hn::StoreU(hn::Add(hn::LoadU(d, at + k), hn::Sub(more, less)), d, at + k);
        }
#else
        for (int k = 0; k < 16; ++k) at[k] = static_cast<std::int16_t>(at[k] + added[k] - removed[k]);
#endif
    }
    // How many are less.
    HWY_INLINE HWY_ATTR unsigned Below(int value) const {
#if VORIP_VECTORS
        const hn::CappedTag<std::int16_t, 16> d;
        std::size_t below = 0;
        for (std::size_t k = 0; k < 16; k += hn::Lanes(d))
            below += hn::CountTrue(d, hn::Lt(hn::LoadU(d, at + k), hn::Set(d, static_cast<std::int16_t>(value))));
        return static_cast<unsigned>(below);
#else
        unsigned below = 0;
        for (int k = 0; k < 16; ++k) below += at[k] < value;
        return below;
#endif
    }
};

// The coarse sums tell which of the 16 ranges holds the median. The fine ones of a range are brought up to date when it
// is needed: by the columns that came and went since, or anew when these are more than half of the window's.
HWY_ATTR void HistogramLoop(u8* dst, const ColumnCounts* columns, std::size_t taps, std::size_t count) {
    static constexpr u8 kNone[16] = {};
    Sums coarse{}, fine[16];
    std::size_t seen[16];  // the start of the window that the fine sums belong to
    std::fill_n(seen, 16, count + taps);
    for (std::size_t k = 0; k + 1 < taps; ++k) coarse.Move(columns[k].coarse, kNone);
    for (std::size_t x = 0; x < count; ++x) {
        coarse.Move(columns[x + taps - 1].coarse, x > 0 ? columns[x - 1].coarse : kNone);
        if (coarse.at[15] == 0) continue;
        const int rank = (coarse.at[15] + 1) / 2;
        const unsigned bin = coarse.Below(rank);
        Sums& sums = fine[bin];
        if (seen[bin] > x || 2 * (x - seen[bin]) > taps) {
            sums = {};
            for (std::size_t k = 0; k < taps; ++k) sums.Move(columns[x + k].fine[bin], kNone);
        } else {
            for (std::size_t k = seen[bin]; k < x; ++k) sums.Move(columns[k + taps].fine[bin], columns[k].fine[bin]);
        }
        seen[bin] = x;
        const int before = bin > 0 ? coarse.at[bin - 1] : 0;
        dst[x] = static_cast<u8>(16 * bin + sums.Below(rank - before));
    }
}

template <class... T>
void FillSquares(MedianKernels& all, std::tuple<SquareRow<T>...>&) {
    ((std::get<SquareRow<T>>(all.square3) = &SquareLoop<T, 3>), ...);
    ((std::get<SquareRow<T>>(all.square5) = &SquareLoop<T, 5>), ...);
    ((std::get<NetworkRow<T>>(all.network) = {&SelectLoop<T>, &SortLoop<T>}), ...);
}

const MedianKernels& Kernels() {
    static const MedianKernels table = [] {
        MedianKernels all;
        FillSquares(all, all.square3);
        all.histogram = {&CountLoop<true>, &CountLoop<false>, &HistogramLoop};
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
const MedianKernels& GetMedianKernels() { return HWY_DYNAMIC_DISPATCH(Kernels)(); }
}  // namespace KrN::kernels
#endif
