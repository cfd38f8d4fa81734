#include "ipbase/rows/ipMedianRows.h"

#include <algorithm>
#include <cstring>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "ipbase/rows/ipMedianRows.cpp"
#define HWY_DISABLED_TARGETS (HWY_SSSE3 | HWY_AVX3_DL)
#include <hwy/foreach_target.h>

#include "ipbase/rows/ipRowLoop-inl.h"

HWY_BEFORE_NAMESPACE();
namespace KrN::rows::HWY_NAMESPACE {
namespace {  // the same short names stand in other files of this folder

namespace hn = hwy::HWY_NAMESPACE;

#undef VORIP_VECTORS
#define VORIP_VECTORS (HWY_TARGET != HWY_SCALAR && !HWY_HAVE_SCALABLE)

// One sample, or a vector of them. What comes out for NaN is one of the samples.
template <class T>
struct One {
    using Pixel = T;
    using V = T;
    static constexpr std::size_t size = 1;
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

// Runs Step<vectors or single samples>::Do(i, arguments...) over a row.
template <template <class> class Step, class T, class... Args>
HWY_INLINE HWY_ATTR void OverRow(std::size_t count, Args... args) {
    std::size_t i = 0;
#if VORIP_VECTORS
    constexpr std::size_t n = Many<T>::size;
    for (; i + n <= count; i += n) Step<Many<T>>::Do(i, args...);
    if (i < count && count >= n) {
        Step<Many<T>>::Do(count - n, args...);
        i = count;
    }
#endif
    for (; i < count; ++i) Step<One<T>>::Do(i, args...);
}

template <class O>
HWY_INLINE HWY_ATTR void Sort(typename O::V& a, typename O::V& b) {
    const auto low = O::Min(a, b);
    b = O::Max(a, b);
    a = low;
}
template <class O>
HWY_INLINE HWY_ATTR typename O::V Middle(typename O::V a, typename O::V b, typename O::V c) {
    return O::Max(O::Min(a, b), O::Min(O::Max(a, b), c));
}
template <class O>
HWY_INLINE HWY_ATTR void Sort5(typename O::V* v) {
    Sort<O>(v[0], v[1]);
    Sort<O>(v[3], v[4]);
    Sort<O>(v[2], v[4]);
    Sort<O>(v[2], v[3]);
    Sort<O>(v[1], v[4]);
    Sort<O>(v[0], v[3]);
    Sort<O>(v[0], v[2]);
    Sort<O>(v[1], v[3]);
    Sort<O>(v[1], v[2]);
}

// --- Squares: columns are sorted once and looked at by all windows that they belong to -------------------------------

template <class O>
struct SortColumns3 {
    template <class T>
    static HWY_INLINE HWY_ATTR void Do(std::size_t i, const T* const* rows, T* sorted, std::size_t stride) {
        auto a = O::Load(rows[0] + i), b = O::Load(rows[1] + i), c = O::Load(rows[2] + i);
        Sort<O>(a, b);
        Sort<O>(b, c);
        Sort<O>(a, b);
        O::Store(a, sorted + i);
        O::Store(b, sorted + stride + i);
        O::Store(c, sorted + 2 * stride + i);
    }
};
template <class O>
struct Median3 {
    template <class T>
    static HWY_INLINE HWY_ATTR void Do(std::size_t i, T* dst, const T* low, std::size_t stride) {
        const auto load = [](const T* at) HWY_ATTR { return O::Load(at); };
        const T *middle = low + stride + i, *high = middle + stride;
        low += i;
        const auto a = O::Max(O::Max(load(low), load(low + 1)), load(low + 2));
        const auto b = Middle<O>(load(middle), load(middle + 1), load(middle + 2));
        const auto c = O::Min(O::Min(load(high), load(high + 1)), load(high + 2));
        O::Store(Middle<O>(a, b, c), dst + i);
    }
};
template <class T>
HWY_ATTR void SquareLoop3(T* dst, const T* const* rows, T* scratch, std::size_t count) {
    OverRow<SortColumns3, T>(count + 2, rows, scratch, count + 2);
    OverRow<Median3, T>(count, dst, static_cast<const T*>(scratch), count + 2);
}

template <class O>
struct SortColumns5 {
    template <class T>
    static HWY_INLINE HWY_ATTR void Do(std::size_t i, const T* const* rows, T* sorted, std::size_t stride) {
        typename O::V v[5];
        for (std::size_t k = 0; k < 5; ++k) v[k] = O::Load(rows[k] + i);
        Sort5<O>(v);
        for (std::size_t k = 0; k < 5; ++k) O::Store(v[k], sorted + k * stride + i);
    }
};

// Moves the least of v[0..n-1] to the front and the greatest to the end.
template <class O, std::size_t n>
HWY_INLINE HWY_ATTR void Extremes(typename O::V* v) {
    for (std::size_t k = 0; k < n / 2; ++k) Sort<O>(v[k], v[n - 1 - k]);
    for (std::size_t k = 1; k < (n + 1) / 2; ++k) Sort<O>(v[0], v[k]);
    for (std::size_t k = n / 2; k + 1 < n; ++k) Sort<O>(v[k], v[n - 1]);
}

// With sorted columns, the rows are sorted, too. What has 13 samples on one side of it, or fewer than the window needs
// on either, is not the median; it is that of the 13 samples that remain.
template <class O>
struct Median5 {
    template <class T>
    static HWY_INLINE HWY_ATTR void Do(std::size_t i, T* dst, const T* sorted, std::size_t stride) {
        typename O::V r[5][5];
        for (std::size_t j = 0; j < 5; ++j) {
            for (std::size_t k = 0; k < 5; ++k) r[j][k] = O::Load(sorted + j * stride + i + k);
            Sort5<O>(r[j]);
        }
        // Of 8, 7, 6, ... samples the extremes cannot be the median of 13.
        typename O::V v[8] = {r[0][3], r[0][4], r[1][2], r[1][3], r[3][1], r[3][2], r[4][0], r[4][1]};
        Extremes<O, 8>(v);
        v[0] = r[1][4];
        Extremes<O, 7>(v);
        v[0] = r[3][0];
        Extremes<O, 6>(v);
        v[0] = r[2][1];
        Extremes<O, 5>(v);
        v[0] = r[2][3];
        Extremes<O, 4>(v);
        O::Store(Middle<O>(v[1], v[2], r[2][2]), dst + i);
    }
};
template <class T>
HWY_ATTR void SquareLoop5(T* dst, const T* const* rows, T* scratch, std::size_t count) {
    OverRow<SortColumns5, T>(count + 4, rows, scratch, count + 4);
    OverRow<Median5, T>(count, dst, static_cast<const T*>(scratch), count + 4);
}

// --- Networks --------------------------------------------------------------------------------------------------------

template <class T>
struct NetworkJob {
    const T* const* taps;
    std::size_t tapCount;
    const Comparator *list, *end;
    std::size_t rank;
    const u8* ranks;
    T* scratch;
};
template <class O>
struct Network {
    template <class T>
    static HWY_INLINE HWY_ATTR void Do(std::size_t i, T* dst, const NetworkJob<T>* job) {
        for (std::size_t k = 0; k < job->tapCount; ++k) O::Store(O::Load(job->taps[k] + i), job->scratch + k * O::size);
        for (const Comparator* c = job->list; c != job->end; ++c) {
            T *low = job->scratch + c->low * O::size, *high = job->scratch + c->high * O::size;
            const auto a = O::Load(low), b = O::Load(high);
            if (c->keepLow) O::Store(O::Min(a, b), low);
            if (c->keepHigh) O::Store(O::Max(a, b), high);
        }
        auto picked = O::Load(job->scratch + job->rank * O::size);
        if (job->ranks)
            for (std::size_t rank = 0; rank < job->rank; ++rank)
                picked = O::Pick(picked, O::Load(job->scratch + rank * O::size), job->ranks + i, rank);
        O::Store(picked, dst + i);
    }
};
template <class T>
HWY_ATTR void NetworkLoop(T* dst, const T* const* taps, std::size_t tapCount, const Comparator* list,
                          std::size_t comparators, std::size_t rank, T* scratch, std::size_t count) {
    const NetworkJob<T> job{taps, tapCount, list, list + comparators, rank, nullptr, scratch};
    OverRow<Network, T>(count, dst, &job);
}
template <class T>
HWY_ATTR void RankedLoop(T* dst, const T* const* taps, std::size_t tapCount, const Comparator* list,
                         std::size_t comparators, std::size_t rank, const u8* ranks, T* scratch, std::size_t count) {
    const NetworkJob<T> job{taps, tapCount, list, list + comparators, rank, ranks, scratch};
    OverRow<Network, T>(count, dst, &job);
}

// --- Histograms ------------------------------------------------------------------------------------------------------
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
void FillSquares(MedianRows& rows, std::tuple<SquareRow<T>...>&) {
    ((std::get<SquareRow<T>>(rows.square3) = &SquareLoop3<T>), ...);
    ((std::get<SquareRow<T>>(rows.square5) = &SquareLoop5<T>), ...);
    ((std::get<NetworkRow<T>>(rows.network) = {&NetworkLoop<T>, &RankedLoop<T>}), ...);
}

const MedianRows& Rows() {
    static const MedianRows table = [] {
        MedianRows rows;
        FillSquares(rows, rows.square3);
        rows.histogram = {&CountLoop<true>, &CountLoop<false>, &HistogramLoop};
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
const MedianRows& GetMedianRows() { return HWY_DYNAMIC_DISPATCH(Rows)(); }
}  // namespace KrN::rows
#endif
